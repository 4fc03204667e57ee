// SPDX-License-Identifier: Apache-2.0

#include "importing/PhaseStack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "importing/ImportError.h"
#include "tools/importing/Stacks.h"

namespace {

using importing::Axis;
using importing::ImportError;
using importing::PhaseStack;

const std::vector<Axis> cameraOrder{Axis::Frame, Axis::Frequency, Axis::Exposure,
                                    Axis::Phase, Axis::Row,       Axis::Column};
constexpr std::size_t lengths[] = {2, 2, 2, 4, 3, 5};

// A stack whose samples tell their own place: digits for frame, frequency, exposure, phase, row and column.
arrays::Array placesAlong(const std::vector<Axis>& axes) {
    std::vector<std::size_t> shape;
    for (const Axis axis : axes) {
        shape.push_back(lengths[static_cast<std::size_t>(axis)]);
    }
    std::vector<double> samples;
    std::vector<std::size_t> index(axes.size(), 0);
    const std::size_t count = arrays::countOf(shape);
    constexpr double digits[] = {100000, 10000, 1000, 100, 10, 1};
    for (std::size_t k = 0; k < count; ++k) {
        std::size_t rest = k;
        double sample = 0;
        for (std::size_t dimension = axes.size(); dimension-- > 0;) {
            sample += digits[static_cast<std::size_t>(axes[dimension])] *
                      static_cast<double>(rest % shape[dimension]);
            rest /= shape[dimension];
        }
        samples.push_back(sample);
    }
    return stacks::arrayOf(samples, shape, {arrays::ElementKind::UnsignedInteger, 4, false});
}

TEST(PhaseStack, GivesTheSameImagesWhateverTheOrderOfTheAxes) {
    std::vector<Axis> axes = cameraOrder;
    do {
        const PhaseStack stack({placesAlong(axes)}, {}, axes);
        const std::vector<double> image = stack.image({1, 0, 1, 3});
        ASSERT_EQ(image.size(), 15U);
        EXPECT_EQ(image[0], 101300.0);
        EXPECT_EQ(image[14], 101324.0);
    } while (std::next_permutation(axes.begin(), axes.end()));
}

TEST(PhaseStack, WholeArraysFollowEachOtherAlongOuterAxesTheLastFastest) {
    std::vector<arrays::Array> parts;
    for (int k = 0; k < 8; ++k) {
        parts.push_back(stacks::arrayOf({static_cast<double>(k)}, {1, 1}));
    }
    const PhaseStack stack(parts, {{Axis::Frequency, 2}, {Axis::Phase, 4}}, {Axis::Row, Axis::Column});
    EXPECT_EQ(stack.image({0, 1, 0, 2})[0], 6.0);
}

TEST(PhaseStack, OtherThanFourPhasesAreRefused) {
    EXPECT_THROW(
        PhaseStack({stacks::arrayOf({1, 2, 3}, {3, 1, 1})}, {}, {Axis::Phase, Axis::Row, Axis::Column}),
        ImportError);
    EXPECT_THROW(PhaseStack({stacks::arrayOf({1}, {1, 1})}, {}, {Axis::Row, Axis::Column}), ImportError);
}

TEST(PhaseStack, AxesThatAreTwiceThereMissingOrTooManyAreRefused) {
    const arrays::Array four = stacks::arrayOf({1, 2, 3, 4}, {4, 1, 1});
    EXPECT_THROW(PhaseStack({four}, {}, {Axis::Phase, Axis::Row}), ImportError);
    EXPECT_THROW(PhaseStack({four}, {}, {Axis::Phase, Axis::Frame, Axis::Row}), ImportError);
    EXPECT_THROW(
        PhaseStack({four, four, four, four}, {{Axis::Phase, 4}}, {Axis::Phase, Axis::Row, Axis::Column}),
        ImportError);
}

TEST(PhaseStack, ArraysThatDifferOrAreEmptyAreRefused) {
    const arrays::Array one = stacks::arrayOf({1}, {1, 1});
    const arrays::Array wide = stacks::arrayOf({1, 2}, {1, 2});
    const arrays::Array other = stacks::arrayOf({1}, {1, 1}, {arrays::ElementKind::SignedInteger, 2, false});
    const std::vector<Axis> picture{Axis::Row, Axis::Column};
    EXPECT_THROW(PhaseStack({one, one, one, wide}, {{Axis::Phase, 4}}, picture), ImportError);
    EXPECT_THROW(PhaseStack({one, one, one, other}, {{Axis::Phase, 4}}, picture), ImportError);
    EXPECT_THROW(PhaseStack({one, one, one}, {{Axis::Phase, 4}}, picture), ImportError);
    EXPECT_THROW(PhaseStack({stacks::arrayOf({}, {4, 0, 1})}, {}, {Axis::Phase, Axis::Row, Axis::Column}),
                 ImportError);
}

TEST(Axes, ListsAreReadOnceEach) {
    EXPECT_EQ(importing::readAxes("freq,phase,y,x"),
              (std::vector<Axis>{Axis::Frequency, Axis::Phase, Axis::Row, Axis::Column}));
    for (const char* text : {"", "y,", ",y", "y,y", "z", "y x", "Y"}) {
        EXPECT_FALSE(importing::readAxes(text)) << text;
    }
}

}  // namespace
