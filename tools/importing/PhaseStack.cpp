// SPDX-License-Identifier: Apache-2.0

#include "importing/PhaseStack.h"

#include <algorithm>

#include "importing/ImportError.h"

namespace importing {
namespace {

bool contains(const std::vector<Axis>& axes, Axis axis) {
    return std::find(axes.begin(), axes.end(), axis) != axes.end();
}

void checkArrays(const std::vector<arrays::Array>& arrays, std::size_t expected) {
    if (arrays.empty() || arrays.size() != expected) {
        throw ImportError("There are " + std::to_string(arrays.size()) + " arrays, where " +
                          std::to_string(expected) + " are needed.");
    }
    for (const arrays::Array& array : arrays) {
        if (array.shape != arrays.front().shape) {
            throw ImportError("The arrays differ in shape: " + arrays::shapeText(arrays.front().shape) +
                              " and " + arrays::shapeText(array.shape) + ".");
        }
        if (array.type.kind != arrays.front().type.kind || array.type.size != arrays.front().type.size) {
            throw ImportError("The arrays differ in type: " + arrays::nameOf(arrays.front().type) + " and " +
                              arrays::nameOf(array.type) + ".");
        }
    }
}

}  // namespace

PhaseStack::PhaseStack(std::vector<arrays::Array> arrays, std::vector<OuterAxis> outer,
                       std::vector<Axis> inner)
    : arrays_(std::move(arrays)) {
    std::size_t arrayCount = 1;
    std::vector<Axis> seen = inner;
    for (std::size_t k = outer.size(); k-- > 0;) {
        if (contains(seen, outer[k].axis)) {
            throw ImportError("The axis \"" + nameOf(outer[k].axis) + "\" is there twice.");
        }
        seen.push_back(outer[k].axis);
        arraySteps_[static_cast<std::size_t>(outer[k].axis)] = arrayCount;
        size_[outer[k].axis] = outer[k].length;
        arrayCount *= outer[k].length;
    }
    checkArrays(arrays_, arrayCount);
    const arrays::Array& first = arrays_.front();
    if (inner.size() != first.shape.size()) {
        throw ImportError("An array of " + arrays::shapeText(first.shape) + " has " +
                          std::to_string(first.shape.size()) + " dimensions, but the axes " +
                          axesText(inner) + " name " + std::to_string(inner.size()) + ".");
    }
    for (std::size_t k = 0; k < inner.size(); ++k) {
        size_[inner[k]] = first.shape[k];
        byteSteps_[static_cast<std::size_t>(inner[k])] = first.strides[k];
    }
    if (!contains(seen, Axis::Row) || !contains(seen, Axis::Column)) {
        throw ImportError("The axes " + axesText(seen) + " lack y or x.");
    }
    if (size_[Axis::Phase] != phaseCount) {
        throw ImportError("Four phases are needed; this stack has " + std::to_string(size_[Axis::Phase]) +
                          " along its axis \"phase\".");
    }
    if (std::find(size_.lengths.begin(), size_.lengths.end(), 0U) != size_.lengths.end()) {
        throw ImportError("An array of " + arrays::shapeText(first.shape) + " is empty.");
    }
}

std::vector<double> PhaseStack::image(const ImageIndex& index) const {
    const std::array<std::size_t, 4> place{index.frame, index.frequency, index.exposure, index.phase};
    std::size_t array = 0;
    std::size_t begin = 0;
    for (std::size_t k = 0; k < place.size(); ++k) {
        array += place[k] * arraySteps_[k];
        begin += place[k] * byteSteps_[k];
    }
    const std::size_t rowStep = byteSteps_[static_cast<std::size_t>(Axis::Row)];
    const std::size_t columnStep = byteSteps_[static_cast<std::size_t>(Axis::Column)];
    std::vector<double> values;
    values.reserve(size_[Axis::Row] * size_[Axis::Column]);
    for (std::size_t y = 0; y < size_[Axis::Row]; ++y) {
        for (std::size_t x = 0; x < size_[Axis::Column]; ++x) {
            values.push_back(arrays::numberAt(arrays_[array], begin + y * rowStep + x * columnStep));
        }
    }
    return values;
}

}  // namespace importing
