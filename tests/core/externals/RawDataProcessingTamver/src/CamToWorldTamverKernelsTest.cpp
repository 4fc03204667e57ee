// SPDX-License-Identifier: Apache-2.0
//
// The loops of the distance to cartesian stage: their rules, and their equality with the plain statement on
// every target.
#include "CamToWorldTamverKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "CamToWorldTamverRule.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Targets.h"

namespace {

using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;

constexpr ClippingCuboid kNoClipping = {-1000.0F, 1000.0F, -1000.0F, 1000.0F, -1000.0F, 1000.0F};
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// ---------------------------------------------------------------------------------------------------------------------

class RotateVectors : public testing_support::OnEveryTarget {};
INSTANTIATE_ON_EVERY_TARGET(RotateVectors);

TEST_P(RotateVectors, EqualsTheRuleForAnyCountAndTouchesNothingBehind) {
    Random random(51);
    SCOPED_TRACE(random.seedText());
    for (int32_t count = 0; count <= 40; ++count) {
        float rotation[3][3];
        for (auto& row : rotation) {
            for (float& v : row) {
                v = random.real(-1.0F, 1.0F);
            }
        }
        std::vector<float> vectors(static_cast<size_t>(3 * count));
        for (float& v : vectors) {
            v = random.real(-1.0F, 1.0F);
        }
        std::vector<float> rotated(vectors.size() + 3, 42.0F);
        std::vector<float> expected = rotated;
        rule::rotateVectors(rotation, vectors.data(), expected.data(), count);
        CamToWorld_RotateVectors(rotation, vectors.data(), rotated.data(), count);
        EXPECT_TRUE(sameFloats(rotated.data(), expected.data(), rotated.size())) << count;
    }
}

TEST_P(RotateVectors, NoComponentIsMinusZero) {
    const float rotation[3][3] = {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}};
    const std::vector<float> vectors(3 * 17, -0.0F);
    std::vector<float> rotated(vectors.size(), 42.0F);
    const std::vector<float> expected(vectors.size(), 0.0F);
    CamToWorld_RotateVectors(rotation, vectors.data(), rotated.data(), 17);
    EXPECT_TRUE(sameFloats(rotated.data(), expected.data(), rotated.size()));
}

TEST_P(RotateVectors, EqualsTheRuleForAnyFloats) {
    Random random(52);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 20; ++round) {
        float rotation[3][3];
        for (auto& row : rotation) {
            for (float& v : row) {
                v = random.anyFloat();
            }
        }
        std::vector<float> vectors(3 * 100);
        for (float& v : vectors) {
            v = random.anyFloat();
        }
        std::vector<float> rotated(vectors.size());
        std::vector<float> expected(vectors.size());
        rule::rotateVectors(rotation, vectors.data(), expected.data(), 100);
        CamToWorld_RotateVectors(rotation, vectors.data(), rotated.data(), 100);
        EXPECT_TRUE(sameFloats(rotated.data(), expected.data(), rotated.size()));
    }
}

// ---------------------------------------------------------------------------------------------------------------------

/** Images of a stretch of pixels, with some room after them that must stay as it is. */
struct Images {
    static constexpr int32_t kRoom = 16;

    explicit Images(int32_t count)
        : rays(static_cast<size_t>(3 * count)),
          conf(static_cast<size_t>(count + kRoom), 0x0010),
          distance(conf.size(), 1.0F),
          x(conf.size(), 42.0F),
          y(conf.size(), 42.0F),
          z(conf.size(), 42.0F) {}

    CamToWorldPixels pixels() {
        return {rays.data(), conf.data(), distance.data(), x.data(), y.data(), z.data()};
    }

    std::vector<float> rays;
    std::vector<uint16_t> conf;
    std::vector<float> distance, x, y, z;
};

void expectSame(const Images& actual, const Images& expected) {
    EXPECT_TRUE(sameValues(actual.conf.data(), expected.conf.data(), actual.conf.size()));
    EXPECT_TRUE(sameFloats(actual.distance.data(), expected.distance.data(), actual.distance.size()));
    EXPECT_TRUE(sameFloats(actual.x.data(), expected.x.data(), actual.x.size()));
    EXPECT_TRUE(sameFloats(actual.y.data(), expected.y.data(), actual.y.size()));
    EXPECT_TRUE(sameFloats(actual.z.data(), expected.z.data(), actual.z.size()));
}

class ComputePoints : public testing_support::OnEveryTarget {
 protected:
    static void expectEqualToTheRule(Images& images, const AlgoPoint3D& origin,
                                     const ClippingCuboid& clipping, int32_t count) {
        Images expected = images;
        rule::computePoints(expected.pixels(), origin, clipping, count);
        CamToWorld_ComputePoints(images.pixels(), origin, clipping, count);
        expectSame(images, expected);
    }

    /** One stretch of four pixels whose first looks along (1, 2, 3). */
    ComputePoints() : images_(4) {
        images_.rays[0] = 1.0F;
        images_.rays[1] = 2.0F;
        images_.rays[2] = 3.0F;
    }

    void compute(const ClippingCuboid& clipping = kNoClipping, const AlgoPoint3D& origin = {}) {
        CamToWorld_ComputePoints(images_.pixels(), origin, clipping, 4);
    }

    Images images_;
};
INSTANTIATE_ON_EVERY_TARGET(ComputePoints);

TEST_P(ComputePoints, EqualsTheRuleForAnyMultipleOfFourAndTouchesNothingBehind) {
    Random random(53);
    SCOPED_TRACE(random.seedText());
    for (int32_t count = 0; count <= 80; count += 4) {
        Images images(count);
        for (float& v : images.rays) {
            v = random.real(-1.0F, 1.0F);
        }
        for (int32_t i = 0; i < count; ++i) {
            const auto pixel = static_cast<size_t>(i);
            images.distance[pixel] = random.integer(0, 4) == 0 ? 0.0F : random.real(0.0F, 8.0F);
            images.conf[pixel] = static_cast<uint16_t>(random.bits());
        }
        expectEqualToTheRule(images, {0.1F, -0.2F, 0.3F}, {-2.0F, 2.5F, -3.0F, 1.0F, 0.5F, 6.0F}, count);
    }
}

TEST_P(ComputePoints, EqualsTheRuleWhereverTheCuboidLies) {
    // Small and large cuboids, around the origin and beside it, with points that are near as well as far.
    Random random(56);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 200; ++round) {
        Images images(64);
        const float farthest = random.real(0.1F, 4.0F);
        for (float& v : images.rays) {
            v = random.real(-1.0F, 1.0F);
        }
        for (size_t i = 0; i < 64; ++i) {
            images.distance[i] = random.integer(0, 40) == 0 ? random.anyFloat() : random.real(0.0F, farthest);
        }
        float bounds[6];
        for (size_t axis = 0; axis < 3; ++axis) {
            const float centre = round % 2 == 0 ? 0.0F : random.real(-2.0F, 2.0F);
            bounds[2 * axis] = centre - random.real(0.0F, 4.0F);
            bounds[2 * axis + 1] = centre + random.real(0.0F, 4.0F);
        }
        if (random.integer(0, 3) == 0) {
            bounds[random.integer(0, 5)] = random.anyFloat();
        }
        expectEqualToTheRule(images, {0.1F, -0.2F, 0.3F},
                             {bounds[0], bounds[1], bounds[2], bounds[3], bounds[4], bounds[5]}, 64);
    }
}

TEST_P(ComputePoints, ANaNInOneCoordinateDoesNotHideThatAnotherLiesOutside) {
    const ClippingCuboid cuboid = {-2.0F, 2.0F, -2.0F, 2.0F, -2.0F, 2.0F};
    constexpr int32_t kCount = 64;
    for (size_t undefined = 0; undefined < 3; ++undefined) {
        for (size_t beyond = 0; beyond < 3; ++beyond) {
            if (beyond == undefined) {
                continue;
            }
            Images images(kCount);
            for (size_t pixel = 0; pixel < kCount; ++pixel) {
                images.rays[3 * pixel + undefined] = kNaN;
                images.rays[3 * pixel + beyond] = 3.0F;
            }
            Images alone = images;
            for (size_t pixel = 0; pixel < kCount; ++pixel) {
                alone.rays[3 * pixel + beyond] = 0.0F;
            }
            CamToWorld_ComputePoints(images.pixels(), {}, cuboid, kCount);
            CamToWorld_ComputePoints(alone.pixels(), {}, cuboid, kCount);
            for (size_t pixel = 0; pixel < kCount; ++pixel) {
                // NaN is neither below nor above a face, so it marks nothing itself.
                EXPECT_EQ(images.conf[pixel], 0x0411) << undefined << beyond << pixel;
                EXPECT_EQ(alone.conf[pixel], 0x0010) << undefined << beyond << pixel;
            }
        }
    }
}

TEST_P(ComputePoints, EqualsTheRuleForAnyFloats) {
    Random random(54);
    SCOPED_TRACE(random.seedText());
    for (int round = 0; round < 60; ++round) {
        Images images(100);
        for (float& v : images.rays) {
            v = random.anyFloat();
        }
        for (size_t i = 0; i < 100; ++i) {
            images.distance[i] = random.anyFloat();
            images.conf[i] = static_cast<uint16_t>(random.bits());
        }
        const AlgoPoint3D origin = {random.anyFloat(), random.anyFloat(), random.anyFloat()};
        const ClippingCuboid clipping = {random.anyFloat(), random.anyFloat(), random.anyFloat(),
                                         random.anyFloat(), random.anyFloat(), random.anyFloat()};
        expectEqualToTheRule(images, origin, clipping, 100);
    }
}

TEST_P(ComputePoints, APointIsTheOriginPlusTheDistanceAlongTheRay) {
    images_.distance[0] = 2.0F;
    compute(kNoClipping, {10.0F, 20.0F, 30.0F});
    EXPECT_EQ(images_.x[0], 12.0F);
    EXPECT_EQ(images_.y[0], 24.0F);
    EXPECT_EQ(images_.z[0], 36.0F);
    EXPECT_EQ(images_.distance[0], 2.0F);
    EXPECT_EQ(images_.conf[0], 0x0010);
}

TEST_P(ComputePoints, AValidPixelWithoutDistanceIsTheOrigin) {
    images_.distance[0] = 0.0F;
    compute(kNoClipping, {10.0F, 20.0F, 30.0F});
    EXPECT_EQ(images_.x[0], 10.0F);
    EXPECT_EQ(images_.y[0], 20.0F);
    EXPECT_EQ(images_.z[0], 30.0F);
}

TEST_P(ComputePoints, AnInvalidPixelLeavesWithZeros) {
    images_.conf[0] = 0x0009;
    compute(kNoClipping, {10.0F, 20.0F, 30.0F});
    EXPECT_EQ(images_.x[0], 0.0F);
    EXPECT_EQ(images_.y[0], 0.0F);
    EXPECT_EQ(images_.z[0], 0.0F);
    EXPECT_EQ(images_.distance[0], 0.0F);
    EXPECT_EQ(images_.conf[0], 0x0009);
}

TEST_P(ComputePoints, APointBeyondAFaceIsMarkedOneOnItIsNot) {
    // The point of the first pixel at distance 1 is (1, 2, 3).
    struct Bound {
        float ClippingCuboid::*member;
        float onFace;
        float beyond;
    };
    const Bound bounds[] = {
        {&ClippingCuboid::xMin, 1.0F, 1.0000001F}, {&ClippingCuboid::xMax, 1.0F, 0.9999999F},
        {&ClippingCuboid::yMin, 2.0F, 2.0000002F}, {&ClippingCuboid::yMax, 2.0F, 1.9999999F},
        {&ClippingCuboid::zMin, 3.0F, 3.0000002F}, {&ClippingCuboid::zMax, 3.0F, 2.9999998F}};
    for (const Bound& bound : bounds) {
        for (const bool beyond : {false, true}) {
            images_.distance[0] = 1.0F;
            images_.conf[0] = 0x0010;
            ClippingCuboid clipping = kNoClipping;
            clipping.*bound.member = beyond ? bound.beyond : bound.onFace;
            compute(clipping);
            EXPECT_EQ(images_.conf[0], beyond ? 0x0411 : 0x0010) << bound.onFace;
            EXPECT_EQ(images_.distance[0], beyond ? 0.0F : 1.0F) << bound.onFace;
            EXPECT_EQ(images_.z[0], beyond ? 0.0F : 3.0F) << bound.onFace;
        }
    }
}

TEST_P(ComputePoints, APixelWithoutDistanceIsNeverMarked) {
    for (const float zero : {0.0F, -0.0F}) {
        images_.distance[0] = zero;
        images_.conf[0] = 0x0010;
        compute({5.0F, 6.0F, 5.0F, 6.0F, 5.0F, 6.0F});
        EXPECT_EQ(images_.conf[0], 0x0010);
    }
}

TEST_P(ComputePoints, WithEqualBoundsOnlyPointsOfThatPlaneStay) {
    for (size_t i = 0; i < 4; ++i) {
        images_.rays[3 * i] = 1.0F;
        images_.distance[i] = static_cast<float>(i);
    }
    compute({2.0F, 2.0F, -1000.0F, 1000.0F, -1000.0F, 1000.0F});
    EXPECT_EQ(images_.conf[1], 0x0411);
    EXPECT_EQ(images_.conf[2], 0x0010);
    EXPECT_EQ(images_.conf[3], 0x0411);
}

TEST_P(ComputePoints, NaNStaysNaNEvenWhereThePixelIsInvalid) {
    images_.distance[0] = kNaN;
    images_.distance[1] = kNaN;
    images_.conf[1] = 0x0001;
    images_.rays[6] = kInfinity;  // x of the third pixel
    images_.conf[2] = 0x0001;
    compute();
    EXPECT_TRUE(std::isnan(images_.distance[0]));
    EXPECT_TRUE(std::isnan(images_.x[0]));
    EXPECT_EQ(images_.conf[0], 0x0010);  // a point without place lies outside of nothing
    EXPECT_TRUE(std::isnan(images_.distance[1]));
    EXPECT_TRUE(std::isnan(images_.z[1]));
    EXPECT_TRUE(std::isnan(images_.x[2]));  // infinity times 0
}

TEST_P(ComputePoints, AllOtherConfidenceBitsPass) {
    images_.conf[0] = 0xFFFE;
    images_.conf[1] = 0xFFFF;
    compute();
    EXPECT_EQ(images_.conf[0], 0xFFFE);
    EXPECT_EQ(images_.conf[1], 0xFFFF);
}

}  // namespace
