// SPDX-License-Identifier: Apache-2.0

#include "plugin/FrameSequence.h"

#include <algorithm>

namespace plugin {
namespace {

constexpr int phasesPerGroup = 4;

// The imager counts its images with 12 bits. When a multiple of 4096 images is lost, only the clock shows it.
// Exposure control makes a frame at most some forty times as long as another.
constexpr std::uint16_t counterMask = 0xFFF;
constexpr std::uint64_t longestGrowth = 64;

std::uint16_t counterAfter(const ImageInfo& image, std::int64_t images) {
    return static_cast<std::uint16_t>((image.counter + images) & counterMask);
}

// Below 0 if `later` is the older one; the clock wraps.
std::int32_t clockFrom(const ImageInfo& earlier, const ImageInfo& later) {
    return static_cast<std::int32_t>(later.clock - earlier.clock);
}

std::string number(const ImageInfo& image) {
    return std::to_string(image.sequence);
}

std::string missing(std::int64_t first, std::int64_t last) {
    return first == last ? "image " + std::to_string(first) + " is missing"
                         : "images " + std::to_string(first) + " to " + std::to_string(last) + " are missing";
}

}  // namespace

FrameSequence::Verdict FrameSequence::next(const ImageInfo& image) {
    if (cameBefore(image)) {
        return {false, false,
                frameName() + ": image " + number(image) + " came twice; what came later is held back."};
    }
    return image.sequence == 0 ? begin(image) : goOn(image);
}

std::string FrameSequence::atEnd() const {
    return state_ == State::Within
               ? frameName() + " is incomplete: nothing came after its image " + number(last_) + "."
               : "";
}

FrameSequence::Verdict FrameSequence::begin(const ImageInfo& image) {
    Verdict verdict;
    verdict.loss = atEnd();
    countMissingBefore(image);
    unfinishedBefore_ = unfinishedBefore_ || state_ == State::Within;
    verdict.startsAnew = unfinishedBefore_;
    unfinishedBefore_ = false;
    ++framesBegun_;
    first_ = image;
    phases_ = 0;
    const bool known = (image.numExposures == 1 || image.numExposures == 2) &&
                       (image.numFrequencies == 1 || image.numFrequencies == 2);
    state_ = known ? State::Within : State::Unjudged;
    if (known) {
        accept(image);
    }
    return verdict;
}

FrameSequence::Verdict FrameSequence::goOn(const ImageInfo& image) {
    if (state_ == State::Unjudged) {
        return {};
    }
    if (state_ == State::Broken) {
        return {false, false, ""};
    }
    if (const std::string fault = faultOf(image); !fault.empty()) {
        return refuse(fault);
    }
    accept(image);
    return {};
}

FrameSequence::Verdict FrameSequence::refuse(const std::string& reason) {
    unfinishedBefore_ = unfinishedBefore_ || state_ == State::Within;
    state_ = State::Broken;
    return {false, false, reason + "; the rest of the frame is held back."};
}

void FrameSequence::accept(const ImageInfo& image) {
    last_ = image;
    if (image.intensity) {
        return;
    }
    if (phases_ % phasesPerGroup == 0) {
        group_ = image;
    }
    if (phases_ == 0) {
        firstFrequency_ = image.frequency;
    }
    ++phases_;
    if (phases_ == phasesPerFrame()) {
        state_ = State::Between;
        longestFrame_ = std::max(longestFrame_, image.clock - first_.clock);
    }
}

void FrameSequence::countMissingBefore(const ImageInfo& image) {
    if (state_ != State::Between || framesBegun_ == 0) {
        return;
    }
    const int images = (image.counter - counterAfter(last_, 1)) & counterMask;
    missingBetweenFrames_ += images <= counterMask / 2 ? static_cast<std::size_t>(images) : 0;
}

// Frame counters distinguish a repeated image from one of another frame. An image 0 always begins a frame.
bool FrameSequence::cameBefore(const ImageInfo& image) const {
    const bool taken = framesBegun_ > 0 && (state_ == State::Within || state_ == State::Between) &&
                       image.sequence > 0 && image.sequence <= last_.sequence;
    return taken && image.counter == counterAfter(first_, image.sequence) && clockFrom(first_, image) >= 0 &&
           clockFrom(image, last_) >= 0;
}

std::string FrameSequence::faultOf(const ImageInfo& image) const {
    if (framesBegun_ == 0) {
        return "The frame before the first whole one is incomplete: it begins with image " + number(image);
    }
    const std::int64_t due = std::int64_t{last_.sequence} + 1;
    const bool inNext =
        state_ == State::Between;  // the first images of the next frame may be the missing ones
    if (inNext && !(image.intensity && image.sequence == due)) {
        return "The frame after " + frameName() + " is incomplete: it begins with image " + number(image);
    }
    if (image.sequence > due) {
        return frameName() + " is incomplete: " + missing(due, std::int64_t{image.sequence} - 1);
    }
    const std::string mixed = frameName() + " is mixed up: image " + number(image);
    if (image.sequence < due) {
        return mixed + " came after image " + number(last_);
    }
    if (image.counter != counterAfter(last_, 1)) {
        return mixed + " has the frame counter " + std::to_string(image.counter) + " where " +
               std::to_string(counterAfter(last_, 1)) + " was due";
    }
    if (clockFrom(last_, image) < 0) {
        return mixed + " is older than the image before it";
    }
    if (longestFrame_ > 0 && image.clock - first_.clock > longestGrowth * longestFrame_) {
        return mixed + " is far younger than the image before it";
    }
    if (image.parameters != first_.parameters) {
        return mixed + " has other parameters than the first image";
    }
    return groupFaultOf(image);
}

std::string FrameSequence::groupFaultOf(const ImageInfo& image) const {
    const std::string mixed = frameName() + " is mixed up: image " + number(image);
    const int groupsBefore = phases_ / phasesPerGroup;
    const bool groupBegins = phases_ % phasesPerGroup == 0;
    if (image.intensity) {
        return groupBegins ? "" : mixed + " is an intensity image among four phases that belong together";
    }
    if (!groupBegins) {
        if (image.exposure != group_.exposure) {
            return mixed + " has the exposure time " + std::to_string(image.exposure) + " where " +
                   std::to_string(group_.exposure) + " was due";
        }
        if (image.frequency != group_.frequency) {
            return mixed + " has frequency " + std::to_string(image.frequency) + " where " +
                   std::to_string(group_.frequency) + " was due";
        }
        return "";
    }
    if (groupsBefore == 0) {
        return "";
    }
    const bool longerExposure = groupsBefore % first_.numExposures != 0;
    if (longerExposure && image.frequency != group_.frequency) {
        return mixed + " has frequency " + std::to_string(image.frequency) + " where " +
               std::to_string(group_.frequency) + " was due";
    }
    if (longerExposure && image.exposure < group_.exposure) {
        return mixed + " has an exposure time of " + std::to_string(image.exposure) +
               ", shorter than the first exposure of " + std::to_string(group_.exposure);
    }
    if (!longerExposure && image.frequency == firstFrequency_) {
        return mixed + " has frequency " + std::to_string(image.frequency) + " for a second time";
    }
    return "";
}

std::string FrameSequence::frameName() const {
    return "Frame " + std::to_string(framesBegun_ == 0 ? 0 : framesBegun_ - 1);
}

}  // namespace plugin
