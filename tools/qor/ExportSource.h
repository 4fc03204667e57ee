// SPDX-License-Identifier: Apache-2.0
//
// What of a recording is exported: images of its frames, or members of its records.

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exporting/Channel.h"
#include "qor/FrameSelection.h"
#include "qor/ResultFrame.h"
#include "recording/RecordingReader.h"

namespace qor {

// The images that a frame can have, in the order in which they are exported, separated by ", ".
std::string imageNames();
std::string checkImageName(const std::string& name);

struct ExportWishes {
    std::vector<std::string> images;   // by name
    bool points = false;               // the positions of the pixels
    std::vector<std::string> members;  // expressions; in place of images
    std::optional<int> channel;        // of the members; none: any
    FrameSelection frames;
};

// One frame with its images, or one packet with its members.
struct ExportItem {
    std::size_t frame = 0;
    std::size_t packet = 0;
    std::vector<exporting::Channel> channels;
    std::optional<ResultFrame> points;  // with coordinates
};

struct ExportFindings {
    std::map<std::string, std::size_t> found;  // by wish: the items that have it
    std::size_t items = 0;
    std::vector<std::string> faults;  // of records that could not be read; the first of them
    std::size_t moreFaults = 0;

    void addFault(std::string sentence);
};

// The name under which the points of a frame count as found.
inline constexpr const char* pointsName = "points";

// Gives every item that is wished for, in order. `wanted` is asked before each packet; the reading ends when
// it says false. Frames are counted from 0 as their first images come; where a recording has no images, as
// their results come. What comes before the first frame belongs to it. Pixels that are not usable have NaN in
// place of distance, amplitude, noise and coordinates. Throws NoSuchExpression for members that their record
// does not have, recording::RecordingError at a damage; all that is whole before it was given then.
void forEachItem(recording::RecordingReader& reader, const ExportWishes& wishes, ExportFindings& findings,
                 const std::function<bool()>& wanted, const std::function<void(const ExportItem&)>& give);

}  // namespace qor
