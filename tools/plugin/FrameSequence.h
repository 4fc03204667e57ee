// SPDX-License-Identifier: Apache-2.0
//
// Follows the images of a camera and tells which of them make whole frames.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "plugin/ImageInfo.h"

namespace plugin {

// A frame begins with the image of sequence 0 and has four phases for each exposure of each frequency, with
// intensity images before, between or after these groups. Its images follow one another in sequence and frame
// counter, their clock does not run back, and the images of a group of four have one frequency and one
// exposure time.
//
// The algorithm believes its host: it joins whatever groups of four reach it. It must get the images of a
// frame only as long as they belong together.
class FrameSequence {
 public:
    struct Verdict {
        bool fits = true;         // the image is part of a frame that is whole up to here
        bool startsAnew = false;  // and the algorithm still has images of another frame that it cannot finish
        std::string loss;         // what was missing or wrong, as a sentence; empty if nothing was
    };

    Verdict next(const ImageInfo& image);

    // What is missing when no more images come; empty if nothing is.
    std::string atEnd() const;

    // Between whole frames, by the frame counter; a counter that goes back says nothing.
    std::size_t missingBetweenFrames() const { return missingBetweenFrames_; }

 private:
    enum class State {
        Between,   // the latest frame is whole, or none has begun
        Within,    // images of the frame are still to come
        Broken,    // the rest of the frame is of no use
        Unjudged,  // no frame has such parameters; the algorithm decides what to make of it
    };

    Verdict begin(const ImageInfo& image);
    Verdict goOn(const ImageInfo& image);
    Verdict refuse(const std::string& reason);
    void accept(const ImageInfo& image);
    void countMissingBefore(const ImageInfo& image);
    bool cameBefore(const ImageInfo& image) const;
    std::string faultOf(const ImageInfo& image) const;
    std::string groupFaultOf(const ImageInfo& image) const;
    std::string frameName() const;
    int phasesPerFrame() const { return 4 * first_.numExposures * first_.numFrequencies; }

    State state_ = State::Between;
    std::size_t framesBegun_ = 0;
    std::size_t missingBetweenFrames_ = 0;
    bool unfinishedBefore_ = false;  // the algorithm has images of a frame that will not be finished
    ImageInfo first_;                // of the frame
    ImageInfo last_;                 // that was taken
    ImageInfo group_;                // first phase of the latest group of four
    int phases_ = 0;                 // of the frame that were taken
    std::int32_t firstFrequency_ = 0;
    std::uint32_t longestFrame_ = 0;  // by the clock, of the whole frames so far
};

}  // namespace plugin
