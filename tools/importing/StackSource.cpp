// SPDX-License-Identifier: Apache-2.0

#include "importing/StackSource.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "arrays/NumpyFile.h"
#include "importing/ImportError.h"

namespace importing {
namespace {

using arrays::Array;

struct Parts {
    std::vector<Array> arrays;
    std::vector<OuterAxis> outer;
};

// Several whole arrays are the phases of all frequencies, the phases of a frequency together.
std::vector<OuterAxis> outerAxesOf(std::size_t count, std::size_t frequencies) {
    if (count == 1) {
        return {};
    }
    if (count == phaseCount) {
        return {{Axis::Phase, phaseCount}};
    }
    if (count == phaseCount * frequencies) {
        return {{Axis::Frequency, frequencies}, {Axis::Phase, phaseCount}};
    }
    throw ImportError("From " + std::to_string(count) +
                      " arrays no stack follows: give one, or four (one a phase)" +
                      (frequencies > 1 ? ", or four for each frequency." : "."));
}

Parts namedArrays(const StackRequest& request) {
    if (request.files.size() != 1 || !request.files[0].ends_with(".npz")) {
        throw ImportError("--arrays names the arrays of one .npz archive.");
    }
    Parts parts;
    for (const std::string& name : request.arrays) {
        parts.arrays.push_back(arrays::readNpz(request.files[0], name));
    }
    parts.outer = outerAxesOf(parts.arrays.size(), request.frequencies);
    return parts;
}

// A pattern such as shot_{frame}_{phase}.png, taken apart: texts, and axes between them.
struct Pattern {
    std::filesystem::path folder;
    std::vector<std::string> texts;  // one more than axes
    std::vector<Axis> axes;
};

Pattern readPattern(const std::string& file) {
    Pattern pattern;
    const std::filesystem::path path = file;
    pattern.folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    std::string rest = path.filename().string();
    while (true) {
        const std::size_t open = rest.find('{');
        const std::size_t close = rest.find('}', open);
        pattern.texts.push_back(rest.substr(0, open));
        if (open == std::string::npos) {
            return pattern;
        }
        const auto axis =
            close == std::string::npos ? std::nullopt : readAxes(rest.substr(open + 1, close - open - 1));
        if (!axis || axis->size() != 1) {
            throw ImportError(
                "The pattern " + file +
                " holds something else than {frame}, {freq}, {exposure} and {phase} in braces.");
        }
        pattern.axes.push_back((*axis)[0]);
        rest = rest.substr(close + 1);
    }
}

// The numbers of a file name at the pattern's axes, if the name is of the pattern.
std::optional<std::vector<unsigned long>> matched(const Pattern& pattern, const std::string& name) {
    std::vector<unsigned long> numbers;
    std::string_view rest = name;
    for (std::size_t k = 0; k < pattern.texts.size(); ++k) {
        if (!rest.starts_with(pattern.texts[k])) {
            return std::nullopt;
        }
        rest.remove_prefix(pattern.texts[k].size());
        if (k == pattern.axes.size()) {
            break;
        }
        unsigned long number = 0;
        const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), number);
        if (error != std::errc{}) {
            return std::nullopt;
        }
        numbers.push_back(number);
        rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
    }
    return rest.empty() ? std::optional(numbers) : std::nullopt;
}

using Files =
    std::map<std::vector<unsigned long>, std::filesystem::path>;  // in the order of the pattern's axes

Files filesOf(const Pattern& pattern) {
    Files files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(pattern.folder, error)) {
        const std::string name = entry.path().filename().string();
        if (const auto numbers = matched(pattern, name)) {
            if (!files.emplace(*numbers, entry.path()).second) {
                throw ImportError(entry.path().string() + " and " + files[*numbers].string() +
                                  " stand for the same image.");
            }
        }
    }
    if (error) {
        throw ImportError("The folder " + pattern.folder.string() + " cannot be read: " + error.message() +
                          ".");
    }
    return files;
}

Parts patternArrays(const std::string& file) {
    const Pattern pattern = readPattern(file);
    const Files files = filesOf(pattern);
    if (files.empty()) {
        throw ImportError("No file is called like " + file + ".");
    }
    Parts parts;
    std::size_t expected = 1;
    for (std::size_t k = 0; k < pattern.axes.size(); ++k) {
        std::set<unsigned long> numbers;
        for (const auto& [key, path] : files) {
            numbers.insert(key[k]);
        }
        parts.outer.push_back({pattern.axes[k], numbers.size()});
        expected *= numbers.size();
    }
    if (files.size() != expected) {
        throw ImportError("Of the files called like " + file + " some are missing: there are " +
                          std::to_string(files.size()) + " of " + std::to_string(expected) + ".");
    }
    for (const auto& [key, path] : files) {
        parts.arrays.push_back(arrays::readArray(path.string()));
    }
    return parts;
}

// A file without a header holds pictures one after the other; the axes before them come from how many there
// are.
Array divided(Array array, const std::vector<Axis>& axes, const StackRequest& request) {
    StackSize size;
    size[Axis::Frequency] = request.frequencies;
    size[Axis::Exposure] = request.exposures;
    size[Axis::Phase] = phaseCount;
    const std::size_t height = array.shape[1];
    const std::size_t width = array.shape[2];
    std::size_t known = 1;
    bool hasFrames = false;
    for (const Axis axis : axes) {
        hasFrames = hasFrames || axis == Axis::Frame;
        known *= axis == Axis::Row || axis == Axis::Column ? 1 : size[axis];
    }
    const std::size_t pictures = array.shape[0];
    if (pictures % known != 0 || (!hasFrames && pictures != known)) {
        throw ImportError("The file holds " + std::to_string(pictures) + " pictures, which is not " +
                          (hasFrames ? "a whole number of frames of " : "") + std::to_string(known) + ".");
    }
    size[Axis::Frame] = pictures / known;
    size[Axis::Row] = height;
    size[Axis::Column] = width;
    std::vector<std::size_t> shape(axes.size());
    std::transform(axes.begin(), axes.end(), shape.begin(), [&size](Axis axis) { return size[axis]; });
    return arrays::makeArray(array.type, std::move(shape), std::move(array.bytes));
}

void checkRawAxes(const std::vector<Axis>& axes) {
    if (axes.size() < 3 || axes[axes.size() - 2] != Axis::Row || axes.back() != Axis::Column) {
        throw ImportError("The axes of a file without a header end in y,x.");
    }
}

Parts readParts(const StackRequest& request) {
    if (!request.arrays.empty()) {
        return namedArrays(request);
    }
    if (request.files.size() == 1 && request.files[0].find('{') != std::string::npos) {
        return patternArrays(request.files[0]);
    }
    Parts parts;
    for (const std::string& file : request.files) {
        parts.arrays.push_back(request.format ? arrays::readRawFile(file, *request.format)
                                              : arrays::readArray(file));
    }
    parts.outer = outerAxesOf(parts.arrays.size(), request.frequencies);
    return parts;
}

// The axes that the dimensions of an array must be, if it leaves a choice of frames only.
std::vector<Axis> guessedAxes(const Array& array, const std::vector<OuterAxis>& outer,
                              const StackRequest& request) {
    const auto isOuter = [&](Axis axis) {
        return std::any_of(outer.begin(), outer.end(),
                           [&](const OuterAxis& other) { return other.axis == axis; });
    };
    std::vector<Axis> axes;
    const auto add = [&](Axis axis, bool isThere) {
        if (isThere && !isOuter(axis)) {
            axes.push_back(axis);
        }
    };
    add(Axis::Frequency, request.frequencies > 1);
    add(Axis::Exposure, request.exposures > 1);
    add(Axis::Phase, true);
    add(Axis::Row, true);
    add(Axis::Column, true);
    if (array.shape.size() == axes.size() + 1 && !isOuter(Axis::Frame)) {
        axes.insert(axes.begin(), Axis::Frame);
    }
    if (array.shape.size() != axes.size()) {
        throw ImportError(
            "What the dimensions of " + arrays::shapeText(array.shape) +
            " are does not follow from their number; name them, for example --axes freq,phase,y,x.");
    }
    return axes;
}

void checkLength(const StackSize& size, Axis axis, std::size_t expected, const char* option) {
    if (size[axis] != expected) {
        throw ImportError("The stack has " + std::to_string(size[axis]) + " along its axis \"" +
                          nameOf(axis) + "\", but " + option + " names " + std::to_string(expected) + ".");
    }
}

}  // namespace

StackSource readStack(const StackRequest& request) {
    Parts parts = readParts(request);
    std::vector<std::string> assumptions;
    std::vector<Axis> axes;
    if (request.format && parts.arrays.size() == 1) {
        axes = request.axes.value_or(std::vector<Axis>{Axis::Frame, Axis::Frequency, Axis::Exposure,
                                                       Axis::Phase, Axis::Row, Axis::Column});
        checkRawAxes(axes);
        parts.arrays[0] = divided(std::move(parts.arrays[0]), axes, request);
    } else {
        axes = request.axes ? *request.axes : guessedAxes(parts.arrays[0], parts.outer, request);
    }
    if (!request.axes) {
        assumptions.push_back("The dimensions of " + arrays::shapeText(parts.arrays[0].shape) + " are " +
                              axesText(axes) + ".");
    }
    PhaseStack stack(std::move(parts.arrays), std::move(parts.outer), std::move(axes));
    checkLength(stack.size(), Axis::Frequency, request.frequencies, "--frequencies");
    checkLength(stack.size(), Axis::Exposure, request.exposures, "--exposures");
    return {std::move(stack), std::move(assumptions)};
}

}  // namespace importing
