// SPDX-License-Identifier: Apache-2.0
//
// Regions of interest: which pixels an ellipse, a rectangle and a polygon hold, by either fill rule.
#include "RegionOfInterest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "support/Floats.h"
#include "support/GuardedBytes.h"
#include "support/Random.h"
#include "support/Reports.h"

namespace {

using testing_support::Random;
using testing_support::sameValues;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kHuge = std::numeric_limits<float>::max();
constexpr double kPi = 3.14159265358979;

using Picture = std::vector<std::string>;

ROIPolygon polygonOf(const std::vector<AlgoPoint2D>& points) {
    ROIPolygon polygon = {};
    polygon.noPoints = static_cast<uint32_t>(points.size());
    std::copy(points.begin(), points.end(), polygon.points2D);
    return polygon;
}

// The sense is that of the image: x to the right, y down, so this square turns from x to y.
const ROIPolygon kSquare = polygonOf({{1, 1}, {4, 1}, {4, 4}, {1, 4}});
const ROIPolygon kFigureEight = polygonOf({{1, 1}, {7, 7}, {7, 1}, {1, 7}});
// An L: concave, but it does not cut itself.
const ROIPolygon kAngle = polygonOf({{1, 1}, {3, 1}, {3, 4}, {6, 4}, {6, 6}, {1, 6}});

ROIPolygon reversed(ROIPolygon polygon) {
    std::reverse(polygon.points2D, polygon.points2D + polygon.noPoints);
    return polygon;
}

class Regions : public ::testing::Test {
 protected:
    Regions()
        : input_(std::make_unique<RegionOfInterestInput>()),
          scratch_(std::make_unique<RegionOfInterestScratch>()),
          output_(std::make_unique<RegionOfInterestOutput>()) {
        input_->width = 8;
        input_->height = 8;
        std::fill_n(output_->mask, kPixelCount, ~uint64_t{0});
        std::fill_n(output_->polygonComplex, kMaxRegions, kUntouched);
        std::fill_n(output_->polygonOutOfBounds, kMaxRegions, kUntouched);
        output_->width = kUntouched;
        output_->height = kUntouched;
    }

    ROIItem& add(ROIType type, int32_t id) {
        ROIItem& item = input_->regions.ROIs[input_->regions.noROIs++];
        item.type = type;
        item.ID = id;
        return item;
    }
    void addPolygon(const ROIPolygon& polygon, int32_t id = 0) { add(ROITypePolygon, id).polygon = polygon; }
    void addRectangle(const ROIRectangle& rectangle, int32_t id = 0) {
        add(ROITypeRectangle, id).rectangle = rectangle;
    }
    void addEllipse(const ROIEllipse& ellipse, int32_t id = 0) { add(ROITypeEllipse, id).ellipse = ellipse; }

    int32_t apply() { return RegionOfInterest_Apply(input_.get(), scratch_.get(), output_.get()); }

    /** The pixels of a region, line by line. */
    Picture picture(int32_t id = 0) const {
        Picture lines;
        for (int32_t y = 0; y < input_->height; ++y) {
            std::string line;
            for (int32_t x = 0; x < input_->width; ++x) {
                line += (output_->mask[y * input_->width + x] >> id & 1) != 0 ? '#' : '.';
            }
            lines.push_back(line);
        }
        return lines;
    }

    bool maskIsZero() const {
        return std::all_of(output_->mask, output_->mask + kPixelCount, [](uint64_t m) { return m == 0; });
    }

    void expectFailureWithoutMessage() {
        ASSERT_EQ(reports_.count(), 1);
        EXPECT_EQ(reports_.file(), "RegionOfInterest");
        // Without a message of its own the entry names its place.
        EXPECT_NE(reports_.text().find("RegionOfInterest"), std::string::npos);
        reports_.clear();
    }

    static constexpr int32_t kUntouched = -7;

    std::unique_ptr<RegionOfInterestInput> input_;
    std::unique_ptr<RegionOfInterestScratch> scratch_;
    std::unique_ptr<RegionOfInterestOutput> output_;
    testing_support::Reports reports_;
};

// --- The list of regions ---

TEST_F(Regions, WithoutRegionsTheMaskIsZeroAndTheSizeIsSet) {
    input_->width = kImageWidth;
    input_->height = kImageHeight;
    EXPECT_EQ(apply(), 0);
    EXPECT_TRUE(maskIsZero());
    EXPECT_EQ(output_->width, kImageWidth);
    EXPECT_EQ(output_->height, kImageHeight);
    EXPECT_EQ(reports_.count(), 0);
}

TEST_F(Regions, NullPointersFail) {
    EXPECT_EQ(RegionOfInterest_Apply(nullptr, scratch_.get(), output_.get()), 1);
    expectFailureWithoutMessage();
    EXPECT_EQ(RegionOfInterest_Apply(input_.get(), scratch_.get(), nullptr), 1);
    expectFailureWithoutMessage();
    EXPECT_EQ(RegionOfInterest_Apply(input_.get(), nullptr, output_.get()), 1);
    expectFailureWithoutMessage();
    EXPECT_EQ(output_->mask[0], ~uint64_t{0});
}

TEST_F(Regions, TwoRegionsOfOneIdFailAndLeaveTheMaskZero) {
    addPolygon(kSquare, 5);
    addPolygon(kAngle, 5);
    EXPECT_EQ(apply(), 1);
    EXPECT_TRUE(maskIsZero());
    EXPECT_EQ(output_->width, kUntouched);
    expectFailureWithoutMessage();
}

TEST_F(Regions, AnIdOutside0To63Fails) {
    for (const int32_t id :
         {-1, 64, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
        input_->regions.noROIs = 0;
        addPolygon(kSquare, id);
        EXPECT_EQ(apply(), 1) << id;
        EXPECT_TRUE(maskIsZero()) << id;
        expectFailureWithoutMessage();
    }
}

TEST_F(Regions, AnInvalidItemMayRepeatAnId) {
    add(ROITypeInvalid, 5).polygon = kAngle;
    addPolygon(kSquare, 5);
    add(ROITypeInvalid, -1);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(picture(5)[1], ".###....");
}

TEST_F(Regions, AnUnknownTypeNeedsAValidIdAndDrawsNothing) {
    add(ROITypeMax, 1).polygon = kSquare;
    add(static_cast<ROIType>(-1), 2).polygon = kSquare;
    EXPECT_EQ(apply(), 0);
    EXPECT_TRUE(maskIsZero());
    input_->regions.ROIs[1].ID = 1;
    EXPECT_EQ(apply(), 1);
}

TEST_F(Regions, Id63SetsTheTopBit) {
    addPolygon(kSquare, 63);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->mask[9], uint64_t{1} << 63);
}

TEST_F(Regions, APixelOfTwoRegionsCarriesBothBits) {
    addPolygon(kSquare, 3);
    addEllipse({{4.5F, 4.5F}, 3.0F, 3.0F, 0.0F}, 40);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->mask[3 * 8 + 3], uint64_t{1} << 3 | uint64_t{1} << 40);
    EXPECT_EQ(output_->mask[1 * 8 + 1], uint64_t{1} << 3);
    EXPECT_EQ(output_->mask[5 * 8 + 5], uint64_t{1} << 40);
}

TEST_F(Regions, FlagsAreWrittenByPositionAndForPolygonsAlone) {
    addEllipse({{4, 4}, 2, 2, 0}, 10);
    addPolygon(kFigureEight, 9);
    addRectangle({{0, 4}, 2, 2, 0}, 8);
    add(ROITypeInvalid, 0);
    addPolygon(kSquare, 7);
    EXPECT_EQ(apply(), 0);
    const int32_t complex[] = {kUntouched, 1, 0, kUntouched, 0, kUntouched};
    const int32_t outOfBounds[] = {kUntouched, 0, 1, kUntouched, 0, kUntouched};
    EXPECT_TRUE(sameValues(output_->polygonComplex, complex, 6));
    EXPECT_TRUE(sameValues(output_->polygonOutOfBounds, outOfBounds, 6));
}

TEST_F(Regions, TheInputStaysAsItIs) {
    addRectangle({{4, 4}, 2, 2, 0.5F});
    const ROIItem before = input_->regions.ROIs[0];
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(input_->regions.ROIs[0].type, ROITypeRectangle);
    EXPECT_EQ(input_->regions.ROIs[0].polygon.noPoints, before.polygon.noPoints);
    EXPECT_EQ(scratch_->regions.ROIs[0].type, ROITypePolygon);
    EXPECT_EQ(scratch_->regions.ROIs[0].polygon.noPoints, 4U);
}

// --- Rectangles ---

TEST_F(Regions, ARectangleHoldsThePixelsWhoseCentresItHolds) {
    addRectangle({{4, 3}, 4, 2, 0});
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(picture(), (Picture{"........", "........", "..####..", "..####..", "........", "........",
                                  "........", "........"}));
}

TEST_F(Regions, ARectangleTurnedByLessThanATenThousandthIsParallelToTheAxes) {
    addRectangle({{100, 80}, 90, 30, 0.00005F}, 0);
    addRectangle({{100, 80}, 90, 30, 0.0F}, 1);
    addRectangle({{100, 80}, 90, 30, -0.0001F}, 2);
    addRectangle({{100, 80}, 90, 30, 0.00011F}, 3);
    input_->width = kImageWidth;
    input_->height = kImageHeight;
    EXPECT_EQ(apply(), 0);
    const ROIItem* const items = scratch_->regions.ROIs;
    const AlgoPoint2D parallel[] = {{55, 65}, {145, 65}, {145, 95}, {55, 95}};
    for (int32_t i = 0; i < 3; ++i) {
        for (int32_t k = 0; k < 4; ++k) {
            EXPECT_EQ(items[i].polygon.points2D[k].x, parallel[k].x) << i << ' ' << k;
            EXPECT_EQ(items[i].polygon.points2D[k].y, parallel[k].y) << i << ' ' << k;
        }
    }
    EXPECT_NE(items[3].polygon.points2D[0].x, 55.0F);
}

TEST_F(Regions, ARectangleTurnsFromXToY) {
    addRectangle({{4, 4}, 6, 2, static_cast<float>(kPi / 2)});
    EXPECT_EQ(apply(), 0);
    const AlgoPoint2D* const corners = scratch_->regions.ROIs[0].polygon.points2D;
    // (-3, -1) turned by a quarter is (1, -3).
    EXPECT_NEAR(corners[0].x, 5.0F, 1e-4F);
    EXPECT_NEAR(corners[0].y, 1.0F, 1e-4F);
    EXPECT_EQ(picture(), (Picture{"........", "...##...", "...##...", "...##...", "...##...", "...##...",
                                  "...##...", "........"}));
}

TEST_F(Regions, ARectangleOfNegativeAngleTurnsFromYToX) {
    addRectangle({{4, 4}, 6, 2, static_cast<float>(-kPi / 2)});
    addRectangle({{100, 80}, 90, 30, -0.00011F}, 1);
    EXPECT_EQ(apply(), 0);
    const ROIItem* const items = scratch_->regions.ROIs;
    // (-3, -1) turned back by a quarter is (-1, 3).
    EXPECT_NEAR(items[0].polygon.points2D[0].x, 3.0F, 1e-4F);
    EXPECT_NEAR(items[0].polygon.points2D[0].y, 7.0F, 1e-4F);
    EXPECT_LT(items[1].polygon.points2D[0].x, 55.0F);  // (-45, -15): x - 0.00011 * 15
    EXPECT_GT(items[1].polygon.points2D[0].y, 65.0F);
}

TEST_F(Regions, ARectangleThatOverhangsTheImageIsFilledByWinding) {
    addRectangle({{1.9F, 4}, 4, 4, 0});  // its left side is at -0.1
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->polygonOutOfBounds[0], 1);
    EXPECT_EQ(output_->polygonComplex[0], 0);
    EXPECT_EQ(picture(), (Picture{"........", "........", "####....", "####....", "####....", "####....",
                                  "........", "........"}));
}

TEST_F(Regions, ARectangleOfTheWholeImageHoldsAllPixels) {
    input_->width = kImageWidth;
    input_->height = kImageHeight;
    addRectangle({{112, 86}, 224, 172, 0});
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->polygonOutOfBounds[0], 1);  // x = width lies outside
    EXPECT_EQ(std::count(output_->mask, output_->mask + kPixelCount, uint64_t{1}), kPixelCount);
}

TEST_F(Regions, ARectangleOfNegativeSizeIsFilledAsItsMirrorImage) {
    addRectangle({{4, 3}, -4, -2, 0}, 0);
    addRectangle({{4, 3}, 4, -2, 0}, 1);
    addRectangle({{4, 3}, 4, 2, 0}, 2);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(picture(0), picture(2));
    EXPECT_EQ(picture(1), picture(2));
}

// --- Ellipses ---

TEST_F(Regions, AnEllipseReachesHalfItsAxisToEachSide) {
    input_->width = 16;
    addEllipse({{8.0F, 4.0F}, 10.0F, 4.0F, 0.0F});
    EXPECT_EQ(apply(), 0);
    // Centres at half pixels: 4.5 left of the centre is inside, 5.5 is not, in the lines half a pixel off.
    // At 0.5 from the axis: u^2 <= 25 (1 - 0.0625), |u| <= 4.84; at 1.5: u^2 <= 25 (1 - 0.5625), |u| <= 3.31.
    EXPECT_EQ(picture(),
              (Picture{"................", "................", ".....######.....", "...##########...",
                       "...##########...", ".....######.....", "................", "................"}));
}

TEST_F(Regions, AnEllipseOfLength10Covers5PixelsToEachSide) {
    input_->width = 16;
    addEllipse({{8.0F, 4.5F}, 10.0F, 2.0F, 0.0F});
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(picture()[4], "...##########...");
    // The approximated cosine of 0 is 1.0000036, so the border itself lies just outside.
    const ROIEllipse& ellipse = input_->regions.ROIs[0].ellipse;
    EXPECT_EQ(point_in_ellipse(ellipse, {12.9999F, 4.5F}), 1);
    EXPECT_EQ(point_in_ellipse(ellipse, {13.0F, 4.5F}), 0);
    EXPECT_EQ(point_in_ellipse(ellipse, {3.0001F, 4.5F}), 1);
    EXPECT_EQ(point_in_ellipse(ellipse, {8.0F, 5.4999F}), 1);
    EXPECT_EQ(point_in_ellipse(ellipse, {8.0F, 5.5001F}), 0);
}

TEST_F(Regions, AnEllipseTurnsFromXToY) {
    const ROIEllipse ellipse = {{0, 0}, 10.0F, 2.0F, static_cast<float>(kPi / 6)};
    const auto c = static_cast<float>(std::cos(kPi / 6));
    const auto s = static_cast<float>(std::sin(kPi / 6));
    EXPECT_EQ(point_in_ellipse(ellipse, {4.9F * c, 4.9F * s}), 1);
    EXPECT_EQ(point_in_ellipse(ellipse, {5.1F * c, 5.1F * s}), 0);
    EXPECT_EQ(point_in_ellipse(ellipse, {4.9F * c, -4.9F * s}), 0);
    EXPECT_EQ(point_in_ellipse(ellipse, {-0.9F * s, 0.9F * c}), 1);
    EXPECT_EQ(point_in_ellipse(ellipse, {-1.1F * s, 1.1F * c}), 0);
}

TEST_F(Regions, AnEllipseWithoutExtentHoldsNothing) {
    EXPECT_EQ(point_in_ellipse({{1, 1}, 0, 0, 0}, {1, 1}), 0);  // 0 / 0
    EXPECT_EQ(point_in_ellipse({{1, 1}, 0, 2, 0}, {2, 1}), 0);
    EXPECT_EQ(point_in_ellipse({{kNaN, 1}, 2, 2, 0}, {1, 1}), 0);
    EXPECT_EQ(point_in_ellipse({{1, 1}, 2, 2, kNaN}, {1, 1}), 0);
}

// --- Polygons: their shape ---

TEST_F(Regions, ConvexAndConcaveOutlinesAreToldWithTheirSense) {
    EXPECT_EQ(ispolysimple(kSquare), 1);
    EXPECT_EQ(ispolysimple(reversed(kSquare)), -1);
    EXPECT_EQ(ispolysimple(kAngle), 2);
    EXPECT_EQ(ispolysimple(reversed(kAngle)), -2);
}

TEST_F(Regions, AnOutlineThatCutsItselfIsNotSimple) {
    EXPECT_EQ(ispolysimple(kFigureEight), 0);
    // It turns once altogether, and one edge of its dent runs through the bottom.
    EXPECT_EQ(ispolysimple(polygonOf({{1, 1}, {4, 9}, {7, 1}, {7, 7}, {1, 7}})), 0);
    // A pentagram turns twice.
    EXPECT_EQ(ispolysimple(polygonOf({{4, 0}, {6, 7}, {0, 3}, {8, 3}, {2, 7}})), 0);
}

TEST_F(Regions, AnOutlineOfFewerThanThreePointsIsNotSimple) {
    EXPECT_EQ(ispolysimple(polygonOf({})), 0);
    EXPECT_EQ(ispolysimple(polygonOf({{1, 1}})), 0);
    EXPECT_EQ(ispolysimple(polygonOf({{1, 1}, {5, 5}})), 0);
    EXPECT_EQ(ispolysimple(polygonOf({{1, 1}, {5, 5}, {3, 3}})), 0);  // nor one on a line
}

TEST_F(Regions, AnOutlineThatTurnsStraightOnInBetweenIsAsConcaveAsWithoutThat) {
    // A point in the middle of each edge: the turns to either side are never consecutive.
    const ROIPolygon polygon = polygonOf(
        {{1, 1}, {2, 1}, {3, 1}, {3, 2}, {3, 4}, {5, 4}, {6, 4}, {6, 5}, {6, 6}, {3, 6}, {1, 6}, {1, 3}});
    EXPECT_EQ(ispolysimple(polygon), 2);
    EXPECT_EQ(ispolysimple(reversed(polygon)), -2);
}

TEST_F(Regions, EdgesThatTouchCross) {
    // A dent from above whose tip ends on the bottom, and one that ends short of it.
    const ROIPolygon touching = polygonOf({{1, 1}, {4, 7}, {7, 1}, {7, 7}, {1, 7}});
    EXPECT_EQ(ispolysimple(touching), 0);
    EXPECT_EQ(ispolysimple(reversed(touching)), 0);
    const ROIPolygon apart = polygonOf({{1, 1}, {4, 6.9F}, {7, 1}, {7, 7}, {1, 7}});
    EXPECT_EQ(ispolysimple(apart), 2);
    EXPECT_EQ(ispolysimple(reversed(apart)), -2);
}

TEST_F(Regions, OneEndOfAnEdgeOnAnotherIsACrossing) {
    // In each outline one pair of edges has a point in common, and it is the end named here.
    const ROIPolygon startOfTheFirst = polygonOf({{3, 4}, {2, 1}, {0, 5}, {5, 5}, {1, 4}, {5, 4}});
    const ROIPolygon endOfTheFirst = polygonOf({{3, 0}, {5, 5}, {1, 3}, {2, 4}, {0, 2}});
    const ROIPolygon endOfTheSecond = polygonOf({{2, 0}, {2, 4}, {4, 2}, {3, 2}, {2, 1}});
    const ROIPolygon startOfTheSecond = polygonOf({{3, 5}, {0, 1}, {5, 0}, {3, 2}, {4, 1}, {2, 1}});
    EXPECT_EQ(ispolysimple(startOfTheFirst), 0);
    EXPECT_EQ(ispolysimple(endOfTheFirst), 0);
    EXPECT_EQ(ispolysimple(endOfTheSecond), 0);
    EXPECT_EQ(ispolysimple(startOfTheSecond), 0);
}

TEST_F(Regions, EdgesOfADeterminantBelowTheSmallestCountAsParallel) {
    // The dent that touches the bottom, made small: the determinant is 36 times the square of the size.
    for (const auto& [size, shape] : {std::pair(0x1p-14F, 0), {0x1p-17F, 2}}) {  // 1.3e-7, 2.1e-9
        ROIPolygon polygon = polygonOf({{1, 1}, {4, 7}, {7, 1}, {7, 7}, {1, 7}});
        for (AlgoPoint2D& point : polygon.points2D) {
            point = {point.x * size, point.y * size};
        }
        EXPECT_EQ(ispolysimple(polygon), shape) << size;
    }
}

TEST_F(Regions, ParallelEdgesNeverCross) {
    // The sides of the notch are parallel, and the edges left and right of it lie on one line.
    const ROIPolygon notch = polygonOf({{0, 0}, {6, 0}, {6, 4}, {4, 4}, {4, 2}, {2, 2}, {2, 4}, {0, 4}});
    EXPECT_EQ(ispolysimple(notch), 2);
}

TEST_F(Regions, AnOutlineIsOutOfTheImageFromItsRightAndLowerBorderOn) {
    EXPECT_EQ(ispolyoutofimagebounds(kSquare, 8, 8), 0);
    EXPECT_EQ(ispolyoutofimagebounds(kSquare, 5, 5), 0);
    EXPECT_EQ(ispolyoutofimagebounds(kSquare, 4, 5), 1);
    EXPECT_EQ(ispolyoutofimagebounds(kSquare, 5, 4), 1);
    EXPECT_EQ(ispolyoutofimagebounds(polygonOf({{0, -0.0F}}), 1, 1), 0);
    EXPECT_EQ(ispolyoutofimagebounds(polygonOf({{-0.1F, 0}}), 1, 1), 1);
    EXPECT_EQ(ispolyoutofimagebounds(polygonOf({{0, -0.1F}}), 1, 1), 1);
    EXPECT_EQ(ispolyoutofimagebounds(polygonOf({}), 0, 0), 0);
}

TEST_F(Regions, TheWindingNumberCountsTurnsWithTheirSense) {
    EXPECT_EQ(polywind(kSquare, {2.5F, 2.5F}), 1);
    EXPECT_EQ(polywind(reversed(kSquare), {2.5F, 2.5F}), -1);
    EXPECT_EQ(polywind(kSquare, {5.5F, 2.5F}), 0);
    EXPECT_EQ(polywind(kSquare, {0.5F, 2.5F}), 0);
    EXPECT_EQ(polywind(polygonOf({}), {0, 0}), 0);
    // Twice around.
    EXPECT_EQ(polywind(polygonOf({{1, 1}, {5, 1}, {3, 5}, {1, 1}, {5, 1}, {3, 5}}), {3, 2}), 2);
}

TEST_F(Regions, OfTheEdgesThemselvesTheLeftAndTheUpperBelongToTheOutline) {
    for (const auto& [outline, inside] : {std::pair(kSquare, 1), {reversed(kSquare), -1}}) {
        EXPECT_EQ(polywind(outline, {1.0F, 2.5F}), inside);
        EXPECT_EQ(polywind(outline, {4.0F, 2.5F}), 0);
        EXPECT_EQ(polywind(outline, {2.5F, 1.0F}), inside);
        EXPECT_EQ(polywind(outline, {2.5F, 4.0F}), 0);
    }
}

TEST_F(Regions, AVertexAtThePointsHeightCountsOnce) {
    // Both side vertices lie at the height of the points.
    const ROIPolygon diamond = polygonOf({{4, 1}, {7, 4}, {4, 7}, {1, 4}});
    for (const ROIPolygon& polygon : {diamond, reversed(diamond)}) {
        EXPECT_EQ(std::abs(polywind(polygon, {4.5F, 4.0F})), 1);
        EXPECT_EQ(std::abs(polywind(polygon, {1.5F, 4.0F})), 1);
        EXPECT_EQ(polywind(polygon, {0.5F, 4.0F}), 0);
        EXPECT_EQ(polywind(polygon, {7.5F, 4.0F}), 0);
        EXPECT_EQ(polywind(polygon, {5.0F, 1.0F}), 0);
        EXPECT_EQ(polywind(polygon, {5.0F, 7.0F}), 0);
    }
}

// --- Polygons: their pixels ---

TEST_F(Regions, AnOutlineOfTwoPointsIsComplexAndDrawsNothing) {
    addPolygon(polygonOf({{1, 1}, {6, 5}}));
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->polygonComplex[0], 1);
    EXPECT_TRUE(maskIsZero());
}

TEST_F(Regions, BothLobesOfAFigureEightAreDrawn) {
    // It goes down through its centre to the right, so up on the right side and down again on the left.
    EXPECT_EQ(polywind(kFigureEight, {2.5F, 4.5F}), 1);
    EXPECT_EQ(polywind(kFigureEight, {5.5F, 4.5F}), -1);
    addPolygon(kFigureEight);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->polygonComplex[0], 1);
    const Picture lines = picture();
    EXPECT_EQ(lines[3].substr(1, 2), "##");
    EXPECT_EQ(lines[3].substr(5, 2), "##");
    EXPECT_EQ(lines[1].substr(3, 2), "..");
    EXPECT_EQ(lines[6].substr(3, 2), "..");
}

TEST_F(Regions, ASimpleOutlineIsFilledBetweenItsCrossings) {
    addPolygon(kAngle);
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(output_->polygonComplex[0], 0);
    EXPECT_EQ(output_->polygonOutOfBounds[0], 0);
    EXPECT_EQ(picture(), (Picture{"........", ".##.....", ".##.....", ".##.....", ".#####..", ".#####..",
                                  "........", "........"}));
}

TEST_F(Regions, AVertexOnALinesCentreCountsForTheEdgeAboveItOnly) {
    // The triangle covers the lines 2, 3 and 4: its lower side lies on the centre of line 4, its upper vertex
    // on that of line 1, which no edge above it reaches. Crossings at 3.5 and 5.5, 2.5 and 6.5, 1.5 and 7.5;
    // the first pixel not left of a crossing is the one whose centre lies on it.
    addPolygon(polygonOf({{4.5F, 1.5F}, {7.5F, 4.5F}, {1.5F, 4.5F}}));
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(picture(), (Picture{"........", "........", "...##...", "..####..", ".######.", "........",
                                  "........", "........"}));
}

TEST_F(Regions, APixelHitByTwoCrossingsIsKept) {
    // A needle within column 2: both sides cross each line between 1.5 and 2.5.
    addPolygon(polygonOf({{2.2F, 1}, {2.3F, 1}, {2.3F, 4}, {2.2F, 4}}));
    EXPECT_EQ(apply(), 0);
    ASSERT_EQ(output_->polygonComplex[0], 0);
    EXPECT_EQ(scratch_->corners[8 + 2], 2);
    EXPECT_EQ(picture(), (Picture{"........", "..#.....", "..#.....", "..#.....", "........", "........",
                                  "........", "........"}));
}

TEST_F(Regions, ACrossingInALinesLastHalfPixelCountsOnTheNextLinesFirstPixel) {
    // The right side at 7.75 falls on column 8. On lines 2 and 3 that is the first pixel of lines 3 and 4. In
    // line 3 the crossing at column 0 switches on, and the one at column 5 off; line 4 begins inside.
    addPolygon(polygonOf({{5, 2}, {7.75F, 2}, {7.75F, 4}, {5, 4}}));
    EXPECT_EQ(apply(), 0);
    ASSERT_EQ(output_->polygonOutOfBounds[0], 0);
    EXPECT_EQ(picture(), (Picture{"........", "........", ".....###", "#####...", "########", "........",
                                  "........", "........"}));
}

TEST_F(Regions, ACrossingBehindTheLastLineIsDropped) {
    testing_support::GuardedBytes mask(8 * 8 * sizeof(uint64_t), true);
    testing_support::GuardedBytes corners(8 * 8, true);
    auto* const words = reinterpret_cast<uint64_t*>(mask.data());
    edgeflag(polygonOf({{5, 6}, {7.75F, 6}, {7.75F, 7.9F}, {5, 7.9F}}), 0, 8, 8, words, corners.data());
    EXPECT_EQ(corners.data()[7 * 8], 1);
    EXPECT_EQ(corners.data()[7 * 8 + 5], 1);
    EXPECT_EQ(std::count(corners.data(), corners.data() + 64, 1), 3);
}

TEST_F(Regions, EdgeflagAddsToTheMask) {
    std::fill_n(output_->mask, kPixelCount, uint64_t{2});
    edgeflag(kSquare, 4, 8, 8, output_->mask, scratch_->corners);
    EXPECT_EQ(output_->mask[9], 18U);
    EXPECT_EQ(output_->mask[0], 2U);
}

TEST_F(Regions, HorizontalEdgesDoNotCross) {
    edgeflag(polygonOf({{1, 2.5F}, {6, 2.5F}, {3, 2.5F}}), 0, 8, 8, output_->mask, scratch_->corners);
    EXPECT_EQ(std::count(scratch_->corners, scratch_->corners + kPixelCount, 0), kPixelCount);
}

/** Whether the centre of a pixel is inside by the even-odd rule, and how far it is from the outline. */
struct InsideAndDistance {
    bool inside;
    double distance;
};

InsideAndDistance judge(const ROIPolygon& polygon, double px, double py) {
    InsideAndDistance result = {false, 1e9};
    for (uint32_t i = 0; i < polygon.noPoints; ++i) {
        const AlgoPoint2D& a = polygon.points2D[i];
        const AlgoPoint2D& b = polygon.points2D[(i + 1) % polygon.noPoints];
        const auto ax = static_cast<double>(a.x);
        const auto ay = static_cast<double>(a.y);
        const auto bx = static_cast<double>(b.x);
        const auto by = static_cast<double>(b.y);
        if ((ay > py) != (by > py) && px < ax + (py - ay) / (by - ay) * (bx - ax)) {
            result.inside = !result.inside;
        }
        const double along =
            ((px - ax) * (bx - ax) + (py - ay) * (by - ay)) / ((bx - ax) * (bx - ax) + (by - ay) * (by - ay));
        const double t = std::clamp(along, 0.0, 1.0);
        result.distance =
            std::min(result.distance, std::hypot(px - ax - t * (bx - ax), py - ay - t * (by - ay)));
    }
    return result;
}

/** A star-shaped outline: it never cuts itself, and is concave more often than not. */
ROIPolygon starOutline(Random& random, double cx, double cy, double radius) {
    ROIPolygon polygon = {};
    polygon.noPoints = static_cast<uint32_t>(random.integer(3, 32));
    for (uint32_t i = 0; i < polygon.noPoints; ++i) {
        const double angle = 2 * kPi * (i + 0.8 * static_cast<double>(random.real(0, 1))) / polygon.noPoints;
        const double r = radius * static_cast<double>(random.real(0.2F, 1.0F));
        polygon.points2D[i] = {static_cast<float>(cx + r * std::cos(angle)),
                               static_cast<float>(cy + r * std::sin(angle))};
    }
    return polygon;
}

TEST_F(Regions, BothFillRulesAgreeWithGeometryAwayFromTheOutline) {
    Random random(5);
    SCOPED_TRACE(random.seedText());
    input_->width = kImageWidth;
    input_->height = kImageHeight;
    int32_t scanFilled = 0;
    int32_t byWinding = 0;
    for (int32_t round = 0; round < 60; ++round) {
        const bool overhangs = round % 3 == 0;
        const ROIPolygon polygon =
            starOutline(random, overhangs ? 20.0 : 110.0, 86.0, static_cast<double>(random.real(20, 80)));
        input_->regions.noROIs = 0;
        addPolygon(polygon);
        ASSERT_EQ(apply(), 0);
        const int32_t scanFilledBefore = scanFilled;
        scanFilled += output_->polygonComplex[0] == 0 && output_->polygonOutOfBounds[0] == 0 ? 1 : 0;
        byWinding += output_->polygonOutOfBounds[0];
        for (int32_t i = 0; i < kPixelCount; ++i) {
            const InsideAndDistance truth =
                judge(polygon, i % kImageWidth + 0.5, static_cast<double>(i / kImageWidth) + 0.5);
            // A pixel that two crossings hit counts, though they may lie up to a pixel left of its centre.
            const bool hitTwice = scanFilled > scanFilledBefore && scratch_->corners[i] > 1;
            if (truth.distance > (hitTwice ? 1.01 : 0.01)) {
                ASSERT_EQ(output_->mask[i], truth.inside ? 1U : 0U) << "round " << round << ", pixel " << i;
            }
        }
    }
    EXPECT_GT(scanFilled, 20);
    EXPECT_GT(byWinding, 5);
}

// --- Values from outside ---

TEST_F(Regions, RegionsBeyondThe64thDoNotCount) {
    for (int32_t i = 0; i < kMaxRegions; ++i) {
        addPolygon(kSquare, i);
    }
    for (const uint32_t number : {64U, 65U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        input_->regions.noROIs = number;
        EXPECT_EQ(apply(), 0) << number;
        EXPECT_EQ(output_->mask[9], ~uint64_t{0}) << number;
        EXPECT_EQ(output_->mask[0], 0U) << number;
    }
}

TEST_F(Regions, PointsBeyondThe32ndDoNotCount) {
    ROIPolygon polygon = {};
    for (uint32_t i = 0; i < 32; ++i) {
        const double angle = 2 * kPi * i / 32;
        polygon.points2D[i] = {static_cast<float>(4 + 3 * std::cos(angle)),
                               static_cast<float>(4 + 3 * std::sin(angle))};
    }
    polygon.noPoints = 32;
    addPolygon(polygon);
    EXPECT_EQ(apply(), 0);
    const Picture whole = picture();
    EXPECT_EQ(whole[3], ".######.");
    for (const uint32_t number : {33U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        polygon.noPoints = number;
        input_->regions.ROIs[0].polygon = polygon;
        EXPECT_EQ(apply(), 0) << number;
        EXPECT_EQ(picture(), whole) << number;
        EXPECT_EQ(ispolysimple(polygon), 1);
        EXPECT_NE(polywind(polygon, {4, 4}), 0);
        EXPECT_EQ(ispolyoutofimagebounds(polygon, 8, 8), 0);
    }
}

TEST_F(Regions, AnImageOfMorePixelsThanTheMaskFails) {
    addPolygon(kSquare);
    for (const auto& [width, height] : std::vector<std::pair<int32_t, int32_t>>{
             {224, 173}, {kPixelCount + 1, 1}, {1, 0x7FFFFFFF}, {0x7FFFFFFF, 0x7FFFFFFF}, {65536, 65536}}) {
        input_->width = width;
        input_->height = height;
        EXPECT_EQ(apply(), 1) << width << ' ' << height;
        EXPECT_TRUE(maskIsZero());
        expectFailureWithoutMessage();
    }
    input_->width = kPixelCount;
    input_->height = 1;
    EXPECT_EQ(apply(), 0);
}

TEST_F(Regions, AnImageWithoutPixelsHoldsNothing) {
    addPolygon(kSquare, 0);
    addEllipse({{1, 1}, 5, 5, 0}, 1);
    addPolygon(kFigureEight, 2);
    const int32_t limits[] = {std::numeric_limits<int32_t>::min(), -1, 0,
                              std::numeric_limits<int32_t>::max()};
    for (const int32_t width : limits) {
        for (const int32_t height : limits) {
            if (width > 0 && height > 0) {
                continue;
            }
            input_->width = width;
            input_->height = height;
            EXPECT_EQ(apply(), 0) << width << ' ' << height;
            EXPECT_TRUE(maskIsZero());
            EXPECT_EQ(output_->width, width);
            EXPECT_EQ(output_->height, height);
            edgeflag(kSquare, 0, width, height, output_->mask, scratch_->corners);
            EXPECT_TRUE(maskIsZero());
        }
    }
}

TEST_F(Regions, AnEdgeOfHugeLengthIsLimitedToTheImage) {
    testing_support::GuardedBytes mask(8 * 8 * sizeof(uint64_t), true);
    testing_support::GuardedBytes corners(8 * 8, true);
    auto* const words = reinterpret_cast<uint64_t*>(mask.data());
    const auto begin = std::chrono::steady_clock::now();
    for (const float y : {1e9F, 3e9F, kHuge, kInfinity}) {
        for (const float x : {0.0F, 1e9F, -1e9F, kHuge, -kHuge, kInfinity, kNaN}) {
            std::fill_n(words, 64, uint64_t{0});
            std::fill_n(corners.data(), 64, uint8_t{0});
            edgeflag(polygonOf({{2, -y}, {x, y}, {kNaN, 4}}), 0, 8, 8, words, corners.data());
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_LE(*std::max_element(corners.data(), corners.data() + 64), 16);
}

TEST_F(Regions, EdgeflagIgnoresAnIdOutsideTheWord) {
    for (const int32_t id : {-1, 64, std::numeric_limits<int32_t>::min()}) {
        std::fill_n(output_->mask, kPixelCount, uint64_t{0});
        edgeflag(kSquare, id, 8, 8, output_->mask, scratch_->corners);
        EXPECT_TRUE(maskIsZero());
    }
}

TEST_F(Regions, AnyCoordinatesAreBorneWithoutHarm) {
    Random random(6);
    SCOPED_TRACE(random.seedText());
    constexpr float kExtremes[] = {kNaN,  kInfinity, -kInfinity, kHuge, -kHuge, 0.0F,
                                   -0.0F, 1e-38F,    7.99999F,   3e9F,  -3e9F,  -0.49999997F};
    const auto coordinate = [&] {
        return random.bits() % 2 == 0 ? kExtremes[random.bits() % std::size(kExtremes)] : random.real(-2, 10);
    };
    for (int32_t round = 0; round < 2000; ++round) {
        input_->regions.noROIs = 0;
        ROIPolygon polygon = {};
        polygon.noPoints = random.bits() % 8 == 0 ? random.bits() : random.bits() % 8;
        for (AlgoPoint2D& point : polygon.points2D) {
            point = {coordinate(), coordinate()};
        }
        addPolygon(polygon, 0);
        addRectangle({{coordinate(), coordinate()}, coordinate(), coordinate(), coordinate()}, 1);
        addEllipse({{coordinate(), coordinate()}, coordinate(), coordinate(), coordinate()}, 2);
        ASSERT_EQ(apply(), 0);
        // Nothing outside the image, nothing but the three bits.
        for (int32_t i = 0; i < kPixelCount; ++i) {
            ASSERT_LT(output_->mask[i], i < 64 ? 8U : 1U) << "round " << round << ", pixel " << i;
        }
    }
}

}  // namespace
