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

int judgeRun(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products) {
    const ReplayCounts& counts = outcome.counts;
    int exitCode = ExitCode::Good;
    const auto find = [&exitCode](int code, const std::string& sentence) {
        complainOfRun(sentence);
        exitCode = std::max(exitCode, code);
    };
    if (outcome.troubles.size() > mostSentences) {
        complainOfRun(fmt::format("{} more of this kind.", outcome.troubles.size() - mostSentences));
    }
    if (!outcome.troubles.empty()) {
        exitCode = ExitCode::Findings;
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
    } else if (products.validPixels() == 0) {
        find(ExitCode::Findings, "no pixel of the finished frames is valid.");
    }
    return exitCode;
}

}  // namespace qor
