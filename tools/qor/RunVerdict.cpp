// SPDX-License-Identifier: Apache-2.0

#include "qor/RunVerdict.h"

#include <fmt/format.h>

#include "qor/Arguments.h"
#include "qor/ExitCode.h"
#include "qor/FrameSelection.h"
#include "qor/Report.h"
#include "recording/Channels.h"

namespace qor {

namespace {

bool selectsNone(const RunOptions& options, const ReplayCounts& counts) {
    const auto selection = readFrameSelection(options.frames);
    return selection && counts.framesBegun <= selection->from && !counts.interrupted;
}

void addEmptyScenes(Complaints& complaints, const RunProducts& products) {
    for (std::size_t k = 0; k < products.scenes().size(); ++k) {
        const figures::PixelCounts& counts = products.scenes()[k].counts();
        const std::string frames =
            products.scenes().size() == 1 ? "the finished frames" : fmt::format("scene {}", k + 1);
        if (counts.valid == 0) {
            complaints.add(ExitCode::Findings, "no pixel of " + frames + " is valid.");
        } else if (counts.usable == 0) {
            complaints.add(ExitCode::Findings, "no valid pixel of " + frames + " has a distance above 0.");
        }
    }
}

}  // namespace

Complaints complaintsOf(const RunOptions& options, const RunOutcome& outcome, const RunProducts& products) {
    const ReplayCounts& counts = outcome.counts;
    Complaints complaints("run");
    for (const std::string& sentence : outcome.troubles) {
        complaints.add(ExitCode::Findings, sentence);
    }
    for (const std::string& sentence : products.missing()) {
        complaints.add(ExitCode::Findings, sentence + ".");
    }
    if (counts.failed > 0) {
        complaints.add(ExitCode::BadData,
                       fmt::format("{} of {} failed.", counts.failed, counted(counts.read, "packet")));
    }
    if (!counts.damage.empty()) {
        complaints.add(ExitCode::BadData, counts.damage);
    }
    if (counts.interrupted) {
        complaints.add(ExitCode::Findings,
                       fmt::format("interrupted after {}; what was written is complete up to there.",
                                   counted(counts.read, "packet")));
    }
    if (counts.uncalibratedImages > 0) {
        complaints.add(
            ExitCode::Findings,
            fmt::format("no calibration (channel {}) came before the first {}.",
                        recording::channel::calibration, counted(counts.uncalibratedImages, "image")));
    }
    if (counts.read == 0 && counts.damage.empty()) {
        complaints.add(ExitCode::BadData, "the recording holds no packets.");
    } else if (selectsNone(options, counts)) {
        complaints.add(ExitCode::Findings, fmt::format("--frames {} selects none of the {}.", options.frames,
                                                       counted(counts.framesBegun, "frame")));
    } else if (counts.results == 0) {
        complaints.add(ExitCode::Findings, "the plug-in gave no result; nothing was written.");
    } else if (products.frames() == 0) {
        complaints.add(ExitCode::Findings, "no frame was finished; there are no pictures.");
    }
    addEmptyScenes(complaints, products);
    if (products.counts().notFinite() > 0) {
        complaints.add(ExitCode::Findings, notFiniteText(products.counts()) + ".");
    }
    return complaints;
}

}  // namespace qor
