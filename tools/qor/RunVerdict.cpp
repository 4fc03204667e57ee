// SPDX-License-Identifier: Apache-2.0

#include "qor/RunVerdict.h"

#include <fmt/format.h>

#include <algorithm>

#include "qor/Arguments.h"
#include "qor/ExitCode.h"
#include "qor/FrameSelection.h"
#include "qor/StandardError.h"
#include "recording/Channels.h"

namespace qor {

void complainOfRun(const std::string& sentence) {
    printError("qor run: {}\n", sentence);
}

namespace {

bool selectsNone(const RunOptions& options, const ReplayCounts& counts) {
    const auto selection = readFrameSelection(options.frames);
    return selection && counts.framesBegun <= selection->from && !counts.interrupted;
}

}  // namespace

std::vector<RunFinding> findingsOf(const RunOptions& options, const RunOutcome& outcome,
                                   const RunProducts& products) {
    const ReplayCounts& counts = outcome.counts;
    std::vector<RunFinding> findings;
    const auto find = [&findings](int code, const std::string& sentence) {
        findings.push_back({code, sentence});
    };
    for (const std::string& sentence : outcome.troubles) {
        find(ExitCode::Findings, sentence);
    }
    for (const std::string& sentence : products.missing()) {
        find(ExitCode::Findings, sentence + ".");
    }
    if (counts.failed > 0) {
        find(ExitCode::BadData,
             fmt::format("{} of {} failed.", counts.failed, counted(counts.read, "packet")));
    }
    if (!counts.damage.empty()) {
        find(ExitCode::BadData, counts.damage);
    }
    if (counts.interrupted) {
        find(ExitCode::Findings,
             fmt::format("interrupted after {}; what was written is complete up to there.",
                         counted(counts.read, "packet")));
    }
    if (counts.uncalibratedImages > 0) {
        find(ExitCode::Findings,
             fmt::format("no calibration (channel {}) came before the first {}.",
                         recording::channel::calibration, counted(counts.uncalibratedImages, "image")));
    }
    if (counts.read == 0 && counts.damage.empty()) {
        find(ExitCode::BadData, "the recording holds no packets.");
    } else if (selectsNone(options, counts)) {
        find(ExitCode::Findings, fmt::format("--frames {} selects none of the {}.", options.frames,
                                             counted(counts.framesBegun, "frame")));
    } else if (counts.results == 0) {
        find(ExitCode::Findings, "the plug-in gave no result; nothing was written.");
    } else if (products.frames() == 0) {
        find(ExitCode::Findings, "no frame was finished; there are no pictures.");
    } else if (products.counts().valid == 0) {
        find(ExitCode::Findings, "no pixel of the finished frames is valid.");
    } else if (products.counts().usable == 0) {
        find(ExitCode::Findings, "no valid pixel of the finished frames has a distance above 0.");
    }
    if (products.counts().notFinite() > 0) {
        find(ExitCode::Findings, notFiniteText(products.counts()) + ".");
    }
    return findings;
}

int conclude(const std::vector<RunFinding>& findings, std::size_t told) {
    int exitCode = ExitCode::Good;
    for (const RunFinding& finding : findings) {
        exitCode = std::max(exitCode, finding.exitCode);
    }
    for (std::size_t k = told; k < findings.size(); ++k) {
        complainOfRun(findings[k].sentence);
    }
    return exitCode;
}

}  // namespace qor
