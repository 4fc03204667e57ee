// SPDX-License-Identifier: Apache-2.0
//
// Distance to cartesian: where the rays come from, when they are rebuilt, what fails, and the threaded form.
#include "CamToWorldTamver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ALCameraModel.h"
#include "RotationMatrix.h"
#include "support/Floats.h"
#include "support/Random.h"
#include "support/Reports.h"
#include "support/Threads.h"

namespace {

using testing_support::Random;
using testing_support::sameFloats;
using testing_support::sameValues;
using testing_support::ThreadServices;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kTenDegrees = 0.17453294F;
constexpr int32_t kSmallWidth = 16;
constexpr int32_t kSmallHeight = 8;
constexpr int32_t kHostileSizes[] = {0, -1, std::numeric_limits<int32_t>::min(),
                                     std::numeric_limits<int32_t>::max()};

/** A host with a camera model and a small image. */
class CamToWorld : public ::testing::Test {
 protected:
    CamToWorld()
        : state_(std::make_unique<CamToWorldState>()),
          conf_(kPixelCount, 0x0010),
          distance_(kPixelCount, 2.0F),
          x_(kPixelCount, 42.0F),
          y_(kPixelCount, 42.0F),
          z_(kPixelCount, 42.0F) {
        calib_.intrinsicCalib = &intrinsics_;
        input_.extrinsicCalib = &extrinsics_;
        input_.applyDistortion = 1;
        input_.clipping = &clipping_;
        inout_.conf = conf_.data();
        inout_.distance = distance_.data();
        output_.X = x_.data();
        output_.Y = y_.data();
        output_.Z = z_.data();
        setSize(kSmallWidth, kSmallHeight);
    }

    void setSize(int32_t width, int32_t height) {
        calib_.width = input_.width = width;
        calib_.height = input_.height = height;
        intrinsics_ = {};
        intrinsics_.fx = 100.0F;
        intrinsics_.fy = 110.0F;
        intrinsics_.mx = static_cast<float>(width) * 0.5F;
        intrinsics_.my = static_cast<float>(height) * 0.5F;
        intrinsics_.k1 = -0.2F;
        intrinsics_.k3 = 0.01F;
    }

    int32_t init() { return CamToWorld_Init(state_.get(), &calib_, &param_, &output_); }
    int32_t apply() { return CamToWorld_Apply(state_.get(), &input_, &inout_, &output_, &services_); }

    /** Initialises with a table in which every ray looks along z. */
    void initWithStraightRays() {
        externalRays_.assign(kUnitVectorFloats, 0.0F);
        for (size_t i = 2; i < externalRays_.size(); i += 3) {
            externalRays_[i] = 1.0F;
        }
        calib_.unitVectors = externalRays_.data();
        ASSERT_EQ(init(), 0);
    }

    std::string firstError() const { return reports_.text(); }
    void forgetErrors() { reports_.clear(); }

    /** `action` fails, and the first report is without a message: it names its place instead. */
    template <class Action>
    void expectFailureWithoutMessage(Action action) {
        forgetErrors();
        EXPECT_EQ(action(), 1);
        EXPECT_EQ(firstError().substr(0, 21), "ERR@CamToWorldTamver:") << firstError();
    }

    int32_t pixels() const { return input_.width * input_.height; }

    std::unique_ptr<CamToWorldState> state_;
    AlgoIntrinsicCalibration intrinsics_ = {};
    AlgoExtrinsicCalibration extrinsics_ = {};
    ClippingCuboid clipping_ = {-1000.0F, 1000.0F, -1000.0F, 1000.0F, -1000.0F, 1000.0F};
    CamToWorldCalib calib_ = {};
    CamToWorldParam param_ = {};
    CamToWorldInput input_ = {};
    CamToWorldInOut inout_ = {};
    CamToWorldOutput output_ = {};
    CamToWorldServices services_ = {};
    testing_support::Reports reports_;
    std::vector<float> externalRays_;
    std::vector<uint16_t> conf_;
    std::vector<float> distance_, x_, y_, z_;
};

// --- Initialisation ---

TEST_F(CamToWorld, AfterTheInitialisationTheStateCountsOneRebuildAndTheOutputNone) {
    state_->changeCounter = 77;
    output_.changeCounter = 77;
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(state_->changeCounter, 1);
    EXPECT_EQ(output_.changeCounter, 0);
    EXPECT_EQ(output_.calibVariants, &state_->calibVariants);
    EXPECT_EQ(state_->useBouguet, 1);
    EXPECT_EQ(state_->distortionApplied, 1);
}

TEST_F(CamToWorld, TheRaysOfTheOpticalSystemAreThoseOfTheCameraModel) {
    ASSERT_EQ(init(), 0);
    for (int32_t row = 0; row < kSmallHeight; ++row) {
        for (int32_t column = 0; column < kSmallWidth; ++column) {
            const AlgoPoint2D pixel = {static_cast<float>(column), static_cast<float>(row)};
            AlgoPoint3D ray = {};
            ASSERT_EQ(bouguetModel(&intrinsics_, &pixel, &ray, 1), 0);
            const float* const entry = state_->bouget_vectors + (row * kSmallWidth + column) * 3;
            EXPECT_EQ(entry[0], ray.x);
            EXPECT_EQ(entry[1], ray.y);
            EXPECT_EQ(entry[2], ray.z);
        }
    }
}

TEST_F(CamToWorld, TheRaysOfTheWorldAreTurnedByTheMergedPose) {
    param_.extrinsicCalib = {0.1F, 0.2F, 0.3F, 0.4F, -0.5F, 0.6F};
    intrinsics_.internalTransRot = {0.01F, 0.02F, 0.03F, 0.1F, -0.05F, 0.02F};
    ASSERT_EQ(init(), 0);
    AlgoExtrinsicCalibration pose = {};
    ASSERT_EQ(merge_calibrations(&pose, &param_.extrinsicCalib, &intrinsics_.internalTransRot), 0);
    EXPECT_EQ(state_->currentCalib.rotX, pose.rotX);
    EXPECT_EQ(state_->currentCalib.transZ, pose.transZ);
    RM_RotationMatrix rotation;
    ASSERT_EQ(rotMatCreate3(rotation, pose.rotX, pose.rotY, pose.rotZ), 0);
    for (int32_t i = 0; i < pixels(); ++i) {
        RM_Vector ray = {};
        ASSERT_EQ(rotMatMultiplyVector(ray, rotation, state_->bouget_vectors + 3 * i), 0);
        EXPECT_TRUE(sameFloats(state_->unit_vectors + 3 * i, ray, 3)) << i;
    }
}

TEST_F(CamToWorld, WithoutAnyPoseTheRaysOfTheWorldAreThoseOfTheOpticalSystem) {
    ASSERT_EQ(init(), 0);
    for (int32_t i = 0; i < 3 * pixels(); ++i) {
        EXPECT_NEAR(state_->unit_vectors[i], state_->bouget_vectors[i], 1e-5) << i;
    }
}

TEST_F(CamToWorld, NullArgumentsFailToInitialise) {
    expectFailureWithoutMessage([&] { return CamToWorld_Init(nullptr, &calib_, &param_, &output_); });
    expectFailureWithoutMessage([&] { return CamToWorld_Init(state_.get(), nullptr, &param_, &output_); });
    expectFailureWithoutMessage([&] { return CamToWorld_Init(state_.get(), &calib_, nullptr, &output_); });
    expectFailureWithoutMessage([&] { return CamToWorld_Init(state_.get(), &calib_, &param_, nullptr); });
    calib_.intrinsicCalib = nullptr;
    expectFailureWithoutMessage([&] { return init(); });
}

TEST_F(CamToWorld, ASizeBeyondTheTablesFailsToInitialise) {
    for (const int32_t width : kHostileSizes) {
        calib_.width = width;
        expectFailureWithoutMessage([&] { return init(); });
    }
    calib_.width = kImageWidth + 1;
    expectFailureWithoutMessage([&] { return init(); });
    calib_.width = kSmallWidth;
    for (const int32_t height : kHostileSizes) {
        calib_.height = height;
        expectFailureWithoutMessage([&] { return init(); });
    }
    calib_.height = kImageHeight + 1;
    expectFailureWithoutMessage([&] { return init(); });
}

TEST_F(CamToWorld, SizesFromOnePixelToTheWholeImagePass) {
    for (const int32_t width : {1, kImageWidth}) {
        for (const int32_t height : {1, kImageHeight}) {
            setSize(width, height);
            EXPECT_EQ(init(), 0) << firstError();
        }
    }
}

TEST_F(CamToWorld, AnInternalPoseOnItsLimitsPassesOneStepBeyondFails) {
    struct Limit {
        float AlgoExtrinsicCalibration::*member;
        float limit;
    };
    const Limit limits[] = {
        {&AlgoExtrinsicCalibration::transX, 0.3F},      {&AlgoExtrinsicCalibration::transY, 0.3F},
        {&AlgoExtrinsicCalibration::transZ, 0.3F},      {&AlgoExtrinsicCalibration::rotX, kTenDegrees},
        {&AlgoExtrinsicCalibration::rotY, kTenDegrees}, {&AlgoExtrinsicCalibration::rotZ, kTenDegrees}};
    for (const Limit& l : limits) {
        for (const float sign : {1.0F, -1.0F}) {
            intrinsics_.internalTransRot = {};
            intrinsics_.internalTransRot.*l.member = sign * l.limit;
            EXPECT_EQ(init(), 0) << firstError();
            intrinsics_.internalTransRot.*l.member = sign * std::nextafter(l.limit, 1.0F);
            expectFailureWithoutMessage([&] { return init(); });
        }
        intrinsics_.internalTransRot.*l.member = kNaN;
        expectFailureWithoutMessage([&] { return init(); });
    }
}

TEST_F(CamToWorld, AnIntrinsicValueOnItsLimitsPassesOneStepBeyondFails) {
    struct Range {
        float AlgoIntrinsicCalibration::*member;
        float lowest;
        float highest;
        const char* message;
    };
    // The last three are reported by their place in the record.
    const Range ranges[] = {
        {&AlgoIntrinsicCalibration::fx, 30.0F, 900.0F, "Intrinsic fx out of range"},
        {&AlgoIntrinsicCalibration::fy, 30.0F, 900.0F, "Intrinsic fy out of range"},
        {&AlgoIntrinsicCalibration::mx, 4.0F, 12.0F, "Intrinsic mx out of range"},  // of a width of 16
        {&AlgoIntrinsicCalibration::my, 2.0F, 6.0F, "Intrinsic my out of range"},   // of a height of 8
        {&AlgoIntrinsicCalibration::alpha, -0.1F, 0.1F, "Intrinsic alpha out of range"},
        {&AlgoIntrinsicCalibration::k1, -10.0F, 10.0F, "Intrinsic k1 out of range"},
        {&AlgoIntrinsicCalibration::k2, -10.0F, 10.0F, "Intrinsic k2 out of range"},
        {&AlgoIntrinsicCalibration::k5, -10.0F, 10.0F, "Intrinsic k3 out of range"},
        {&AlgoIntrinsicCalibration::k3, -0.2F, 0.2F, "Intrinsic k4 out of range"},
        {&AlgoIntrinsicCalibration::k4, -0.2F, 0.2F, "Intrinsic k5 out of range"}};
    const float infinity = std::numeric_limits<float>::infinity();
    for (const Range& range : ranges) {
        setSize(kSmallWidth, kSmallHeight);
        for (const float passing : {range.lowest, range.highest}) {
            intrinsics_.*range.member = passing;
            EXPECT_EQ(init(), 0) << passing << ": " << firstError();
        }
        for (const float failing : {std::nextafter(range.lowest, -infinity),
                                    std::nextafter(range.highest, infinity), kNaN, infinity, -infinity}) {
            forgetErrors();
            intrinsics_.*range.member = failing;
            EXPECT_EQ(init(), 1) << failing;
            EXPECT_EQ(firstError(), range.message) << failing;
            EXPECT_EQ(reports_.count(), 2);  // and once more by the initialisation
        }
    }
}

TEST_F(CamToWorld, TheFirstIntrinsicValueOutOfRangeIsTheOneReported) {
    intrinsics_.k4 = 1.0F;
    intrinsics_.my = -1.0F;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(firstError(), "Intrinsic my out of range");
}

// --- Variants of the camera model ---

TEST_F(CamToWorld, ThePinholesAreTheModelsWithoutDistortion) {
    AlgoIntrinsicCalibration inverse = {};
    inverse.fx = 5.0F;  // the inverse is not tested
    inverse.k1 = inverse.k2 = inverse.k5 = inverse.k3 = inverse.k4 = 3.0F;
    inverse.alpha = 0.5F;
    calib_.inverseIntrinsicCalib = &inverse;
    intrinsics_.k2 = intrinsics_.k5 = intrinsics_.k4 = 0.05F;
    intrinsics_.alpha = 0.02F;
    intrinsics_.internalTransRot.transX = 0.25F;
    ASSERT_EQ(init(), 0);
    const IntrinsicCalibrationVariants& v = state_->calibVariants;
    EXPECT_EQ(v.intrinsicCalib.k1, -0.2F);
    EXPECT_EQ(v.inverseIntrinsicCalib.k4, 3.0F);
    for (const AlgoIntrinsicCalibration* pinhole :
         {&v.intrinsicCalibPinhole, &v.inverseIntrinsicCalibPinhole}) {
        EXPECT_EQ(pinhole->k1, 0.0F);
        EXPECT_EQ(pinhole->k2, 0.0F);
        EXPECT_EQ(pinhole->k5, 0.0F);
        EXPECT_EQ(pinhole->k3, 0.0F);
        EXPECT_EQ(pinhole->k4, 0.0F);
    }
    EXPECT_EQ(v.intrinsicCalibPinhole.fx, 100.0F);
    EXPECT_EQ(v.intrinsicCalibPinhole.alpha, 0.02F);
    EXPECT_EQ(v.intrinsicCalibPinhole.internalTransRot.transX, 0.25F);
    EXPECT_EQ(v.inverseIntrinsicCalibPinhole.fx, 5.0F);
    EXPECT_EQ(v.inverseIntrinsicCalibPinhole.alpha, 0.5F);
}

TEST_F(CamToWorld, WithoutAnInverseModelItsVariantsAreZero) {
    state_->calibVariants.inverseIntrinsicCalib.fx = 9.0F;
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(state_->calibVariants.inverseIntrinsicCalib.fx, 0.0F);
    EXPECT_EQ(state_->calibVariants.inverseIntrinsicCalibPinhole.fx, 0.0F);
}

TEST_F(CamToWorld, BinningHalvesTheSizeAndTheFourPixelValuesOfBothModels) {
    AlgoIntrinsicCalibration inverse = {};
    inverse.fx = 80.0F;
    inverse.my = 3.0F;
    calib_.inverseIntrinsicCalib = &inverse;
    calib_.binningMode = CamToWorld_Binning2x2;
    ASSERT_EQ(init(), 0) << firstError();
    const IntrinsicCalibrationVariants& v = state_->calibVariants;
    EXPECT_EQ(v.width, kSmallWidth / 2);
    EXPECT_EQ(v.height, kSmallHeight / 2);
    EXPECT_EQ(v.intrinsicCalib.fx, 50.0F);
    EXPECT_EQ(v.intrinsicCalib.fy, 55.0F);
    EXPECT_EQ(v.intrinsicCalib.mx, 4.0F);
    EXPECT_EQ(v.intrinsicCalib.my, 2.0F);
    EXPECT_EQ(v.intrinsicCalib.k1, -0.2F);
    EXPECT_EQ(v.intrinsicCalibPinhole.fx, 50.0F);
    EXPECT_EQ(v.inverseIntrinsicCalib.fx, 40.0F);
    EXPECT_EQ(v.inverseIntrinsicCalib.my, 1.5F);
    EXPECT_EQ(v.inverseIntrinsicCalibPinhole.fx, 40.0F);
}

TEST_F(CamToWorld, BinningOfAnOddSizeFails) {
    calib_.binningMode = CamToWorld_Binning2x2;
    setSize(15, 7);
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(firstError(), "Calibration width must be a even number for 2x2 binning");
    forgetErrors();
    setSize(16, 7);
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(firstError(), "Calibration height must be a even number for 2x2 binning");
}

// --- Rays from outside ---

TEST_F(CamToWorld, RaysFromOutsideTakeThePlaceOfTheModel) {
    intrinsics_.fx = 1.0F;  // out of range, but no rays are built from it
    externalRays_.resize(static_cast<size_t>(3 * pixels()));
    for (size_t i = 0; i < externalRays_.size(); ++i) {
        externalRays_[i] = static_cast<float>(i);
    }
    calib_.unitVectors = externalRays_.data();
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(state_->useBouguet, 0);
    EXPECT_EQ(state_->distortionApplied, 1);
    EXPECT_TRUE(sameFloats(state_->bouget_vectors, externalRays_.data(), externalRays_.size()));
    EXPECT_NEAR(state_->unit_vectors[100], 100.0, 1e-2);
}

TEST_F(CamToWorld, WithBinningTheFirstRaysFromOutsideServeWithTheShorterRow) {
    externalRays_.resize(static_cast<size_t>(3 * pixels()));
    for (size_t i = 0; i < externalRays_.size(); ++i) {
        externalRays_[i] = static_cast<float>(i / 3);  // the number of the ray
    }
    calib_.unitVectors = externalRays_.data();
    calib_.binningMode = CamToWorld_Binning2x2;
    ASSERT_EQ(init(), 0);
    EXPECT_TRUE(sameFloats(state_->bouget_vectors, externalRays_.data(), externalRays_.size()));
    const int32_t binned = pixels() / 4;
    for (int32_t i = 0; i < binned; ++i) {
        EXPECT_NEAR(state_->unit_vectors[3 * i], i, 1e-3);  // pixel i has ray i, whatever its row
    }
    EXPECT_EQ(state_->unit_vectors[3 * binned], 0.0F);
    input_.width /= 2;
    input_.height /= 2;
    ASSERT_EQ(apply(), 0);
    EXPECT_NEAR(x_[static_cast<size_t>(binned - 1)], 2.0 * (binned - 1), 1e-2);
    EXPECT_EQ(x_[static_cast<size_t>(binned)], 42.0F);
}

TEST_F(CamToWorld, ATableOfRaysInsideTheStateFails) {
    calib_.unitVectors = state_->bouget_vectors + 3;
    EXPECT_EQ(init(), 1);
}

// --- Merging poses ---

TEST_F(CamToWorld, MergingWithNoPoseGivesTheOther) {
    const AlgoExtrinsicCalibration none = {};
    const AlgoExtrinsicCalibration pose = {0.5F, -1.5F, 2.5F, 0.3F, -0.2F, 0.1F};
    for (const bool poseFirst : {true, false}) {
        AlgoExtrinsicCalibration merged = {};
        ASSERT_EQ(merge_calibrations(&merged, poseFirst ? &pose : &none, poseFirst ? &none : &pose), 0);
        // The matrix of no rotation is 1.0000072 times the identity.
        EXPECT_NEAR(merged.transX, pose.transX, 3e-5);
        EXPECT_NEAR(merged.transY, pose.transY, 3e-5);
        EXPECT_NEAR(merged.transZ, pose.transZ, 3e-5);
        EXPECT_NEAR(merged.rotX, pose.rotX, 1e-5);
        EXPECT_NEAR(merged.rotY, pose.rotY, 1e-5);
        EXPECT_NEAR(merged.rotZ, pose.rotZ, 1e-5);
    }
}

TEST_F(CamToWorld, MergedPosesTurnAndMoveLikeOneAfterTheOther) {
    const AlgoExtrinsicCalibration first = {1.0F, 2.0F, 3.0F, 0.5F, 0.4F, -0.3F};
    const AlgoExtrinsicCalibration second = {0.1F, 0.2F, -0.3F, -0.1F, 0.15F, 0.05F};
    AlgoExtrinsicCalibration merged = {};
    ASSERT_EQ(merge_calibrations(&merged, &first, &second), 0);
    RM_RotationMatrix a;
    RM_RotationMatrix b;
    RM_RotationMatrix ab;
    RM_RotationMatrix c;
    rotMatCreate3(a, first.rotX, first.rotY, first.rotZ);
    rotMatCreate3(b, second.rotX, second.rotY, second.rotZ);
    rotMatMultiply(ab, a, b);
    rotMatCreate3(c, merged.rotX, merged.rotY, merged.rotZ);
    for (int i = 0; i < 9; ++i) {
        EXPECT_NEAR(c[i / 3][i % 3], ab[i / 3][i % 3], 2e-5) << i;
    }
}

TEST_F(CamToWorld, MergedTranslationsAreSummedInTheirOrder) {
    // y, x, the outer translation, z: in single precision another order shows in the last bit.
    Random random(57);
    SCOPED_TRACE(random.seedText());
    for (int i = 0; i < 50; ++i) {
        const auto any = [&] { return random.real(-1.0F, 1.0F); };
        const AlgoExtrinsicCalibration first = {any(), any(), any(), any(), any(), any()};
        const AlgoExtrinsicCalibration second = {any(), any(), any(), any(), any(), any()};
        RM_RotationMatrix a;
        ASSERT_EQ(rotMatCreate3(a, first.rotX, first.rotY, first.rotZ), 0);
        const float outer[3] = {first.transX, first.transY, first.transZ};
        float expected[3];
        for (int row = 0; row < 3; ++row) {
            const float inPlane = a[row][1] * second.transY + a[row][0] * second.transX;
            expected[row] = (inPlane + outer[row]) + a[row][2] * second.transZ;
        }
        AlgoExtrinsicCalibration merged = {};
        ASSERT_EQ(merge_calibrations(&merged, &first, &second), 0);
        EXPECT_EQ(merged.transX, expected[0]);
        EXPECT_EQ(merged.transY, expected[1]);
        EXPECT_EQ(merged.transZ, expected[2]);
    }
}

TEST_F(CamToWorld, ThePoseThatIsMergedCanTakeTheResult) {
    const AlgoExtrinsicCalibration first = {1.0F, 2.0F, 3.0F, 0.5F, 0.4F, -0.3F};
    const AlgoExtrinsicCalibration second = {0.1F, 0.2F, -0.3F, -0.1F, 0.15F, 0.05F};
    AlgoExtrinsicCalibration expected = {};
    ASSERT_EQ(merge_calibrations(&expected, &first, &second), 0);
    AlgoExtrinsicCalibration merged = first;
    ASSERT_EQ(merge_calibrations(&merged, &merged, &second), 0);
    EXPECT_EQ(merged.transX, expected.transX);
    EXPECT_EQ(merged.transZ, expected.transZ);
    EXPECT_EQ(merged.rotZ, expected.rotZ);
}

TEST_F(CamToWorld, NullArgumentsFailToMerge) {
    AlgoExtrinsicCalibration pose = {};
    expectFailureWithoutMessage([&] { return merge_calibrations(nullptr, &pose, &pose); });
    expectFailureWithoutMessage([&] { return merge_calibrations(&pose, nullptr, &pose); });
    expectFailureWithoutMessage([&] { return merge_calibrations(&pose, &pose, nullptr); });
}

// --- Points ---

TEST_F(CamToWorld, APointLiesAtItsDistanceAlongTheRayFromTheCamera) {
    extrinsics_ = param_.extrinsicCalib = {10.0F, 20.0F, 30.0F, 0.0F, 0.0F, 0.0F};
    initWithStraightRays();
    ASSERT_EQ(apply(), 0);
    EXPECT_NEAR(x_[5], 10.0, 1e-5);
    EXPECT_NEAR(y_[5], 20.0, 1e-5);
    EXPECT_NEAR(z_[5], 32.0, 1e-4);
    EXPECT_EQ(distance_[5], 2.0F);
    EXPECT_EQ(conf_[5], 0x0010);
    EXPECT_EQ(x_[static_cast<size_t>(pixels())], 42.0F);  // after the image
}

TEST_F(CamToWorld, ACameraTurnedAQuarterAboutYLooksAlongX) {
    extrinsics_ = param_.extrinsicCalib = {0.0F, 0.0F, 0.0F, 0.0F, 1.5707964F, 0.0F};
    initWithStraightRays();
    ASSERT_EQ(apply(), 0);
    EXPECT_NEAR(x_[5], 2.0, 1e-4);
    EXPECT_NEAR(y_[5], 0.0, 1e-4);
    EXPECT_NEAR(z_[5], 0.0, 1e-4);
}

TEST_F(CamToWorld, APointOutsideOfTheCuboidIsClippedAndZeroed) {
    initWithStraightRays();
    clipping_.zMax = 1.5F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(conf_[5], 0x0411);
    EXPECT_EQ(distance_[5], 0.0F);
    EXPECT_EQ(z_[5], 0.0F);
}

TEST_F(CamToWorld, EqualBoundsOfTheCuboidPass) {
    initWithStraightRays();
    clipping_.xMin = clipping_.xMax = 0.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(conf_[5], 0x0010);
    clipping_.yMin = clipping_.yMax = 0.0F;
    clipping_.zMin = clipping_.zMax = 2.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(conf_[6], 0x0411);  // the ray is 1.0000072 long
}

TEST_F(CamToWorld, ALowerBoundAboveTheUpperOneFails) {
    ASSERT_EQ(init(), 0);
    const ClippingCuboid whole = clipping_;
    clipping_.xMin = 1001.0F;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Clipping xmin cannot be greater than xmax");
    forgetErrors();
    clipping_ = whole;
    clipping_.yMax = -1001.0F;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Clipping ymin cannot be greater than ymax");
    forgetErrors();
    clipping_ = whole;
    clipping_.zMin = std::nextafter(1000.0F, 2000.0F);
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Clipping zmin cannot be greater than zmax");
}

TEST_F(CamToWorld, NullArgumentsAndImagesFailToApply) {
    ASSERT_EQ(init(), 0);
    expectFailureWithoutMessage(
        [&] { return CamToWorld_Apply(nullptr, &input_, &inout_, &output_, &services_); });
    expectFailureWithoutMessage(
        [&] { return CamToWorld_Apply(state_.get(), nullptr, &inout_, &output_, &services_); });
    expectFailureWithoutMessage(
        [&] { return CamToWorld_Apply(state_.get(), &input_, &inout_, nullptr, &services_); });
    expectFailureWithoutMessage(
        [&] { return CamToWorld_Apply(state_.get(), &input_, nullptr, &output_, &services_); });
    input_.extrinsicCalib = nullptr;
    expectFailureWithoutMessage([&] { return apply(); });
    input_.extrinsicCalib = &extrinsics_;
    input_.clipping = nullptr;
    expectFailureWithoutMessage([&] { return apply(); });
    input_.clipping = &clipping_;
    inout_.conf = nullptr;
    expectFailureWithoutMessage([&] { return apply(); });
    inout_.conf = conf_.data();
    inout_.distance = nullptr;
    expectFailureWithoutMessage([&] { return apply(); });
    inout_.distance = distance_.data();
    for (Ref<float32_t> CamToWorldOutput::*image :
         {&CamToWorldOutput::X, &CamToWorldOutput::Y, &CamToWorldOutput::Z}) {
        float32_t* const pointer = output_.*image;
        output_.*image = nullptr;
        expectFailureWithoutMessage([&] { return apply(); });
        output_.*image = pointer;
    }
    forgetErrors();
    EXPECT_EQ(apply(), 0);
}

TEST_F(CamToWorld, WithoutServicesTheCallersThreadSuffices) {
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(CamToWorld_Apply(state_.get(), &input_, &inout_, &output_, nullptr), 0);
}

TEST_F(CamToWorld, AnotherSizeThanAtTheStartFails) {
    ASSERT_EQ(init(), 0);
    input_.width = kSmallHeight;
    input_.height = kSmallWidth;
    expectFailureWithoutMessage([&] { return apply(); });
    input_.width = kSmallWidth;
    expectFailureWithoutMessage([&] { return apply(); });
}

TEST_F(CamToWorld, ASizeThatFitsNoTableFailsEvenIfTheStateAgrees) {
    ASSERT_EQ(init(), 0);
    for (const int32_t size : {-4, 1024, std::numeric_limits<int32_t>::max()}) {
        state_->calibVariants.width = input_.width = size;
        state_->calibVariants.height = input_.height = size;
        extrinsics_.rotX += 0.1F;  // a rebuild would leave the tables
        expectFailureWithoutMessage([&] { return apply(); });
        expectFailureWithoutMessage([&] { return create_bouguet_vectors(1, state_.get()); });
    }
}

TEST_F(CamToWorld, AStateThatWasNeverInitialisedFails) {
    input_.width = input_.height = 0;
    EXPECT_EQ(apply(), 1);
}

// --- Rebuilds ---

TEST_F(CamToWorld, UnchangedSettingsRebuildNothing) {
    ASSERT_EQ(init(), 0);
    state_->bouget_vectors[7] = 3.5F;  // a rebuild would show
    state_->unit_vectors[7] = 4.5F;
    for (int frame = 0; frame < 10; ++frame) {
        ASSERT_EQ(apply(), 0);
        EXPECT_EQ(output_.changeCounter, 1);
    }
    EXPECT_EQ(state_->bouget_vectors[7], 3.5F);
    EXPECT_EQ(state_->unit_vectors[7], 4.5F);
}

TEST_F(CamToWorld, EachMemberOfANewPoseRebuildsTheWorldsRaysOnce) {
    ASSERT_EQ(init(), 0);
    uint8_t expected = 1;
    for (float AlgoExtrinsicCalibration::*member :
         {&AlgoExtrinsicCalibration::rotX, &AlgoExtrinsicCalibration::rotY, &AlgoExtrinsicCalibration::rotZ,
          &AlgoExtrinsicCalibration::transX, &AlgoExtrinsicCalibration::transY,
          &AlgoExtrinsicCalibration::transZ}) {
        extrinsics_.*member = 0x1p-20F;
        state_->bouget_vectors[7] = 3.5F;
        ++expected;
        for (int frame = 0; frame < 3; ++frame) {
            ASSERT_EQ(apply(), 0);
            EXPECT_EQ(output_.changeCounter, expected);
            EXPECT_EQ(state_->changeCounter, expected);
        }
        EXPECT_EQ(state_->lastExtIFCalib.*member, 0x1p-20F);
        EXPECT_EQ(state_->bouget_vectors[7], 3.5F);
    }
    EXPECT_EQ(output_.currentCalib.transX, 0x1p-20F);
}

TEST_F(CamToWorld, MinusZeroIsNoNewPose) {
    ASSERT_EQ(init(), 0);
    extrinsics_.rotX = -0.0F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output_.changeCounter, 1);
}

TEST_F(CamToWorld, APoseThatIsNoNumberIsNewInEveryFrame) {
    ASSERT_EQ(init(), 0);
    extrinsics_.rotX = kNaN;
    ASSERT_EQ(apply(), 0);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output_.changeCounter, 3);
    EXPECT_TRUE(std::isnan(x_[0]));
}

TEST_F(CamToWorld, AnotherDistortionRebuildsTheRaysFromTheOtherModel) {
    ASSERT_EQ(init(), 0);
    const std::vector<float> distorted(state_->bouget_vectors, state_->bouget_vectors + 3 * pixels());
    input_.applyDistortion = 0;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output_.changeCounter, 2);
    EXPECT_EQ(state_->distortionApplied, 0);
    const AlgoPoint2D corner = {0.0F, 0.0F};
    AlgoPoint3D ray = {};
    ASSERT_EQ(bouguetModel(&state_->calibVariants.intrinsicCalibPinhole, &corner, &ray, 1), 0);
    EXPECT_EQ(state_->bouget_vectors[0], ray.x);
    EXPECT_NE(state_->bouget_vectors[0], distorted[0]);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output_.changeCounter, 2);
    input_.applyDistortion = 1;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output_.changeCounter, 3);
    EXPECT_TRUE(sameFloats(state_->bouget_vectors, distorted.data(), distorted.size()));
}

TEST_F(CamToWorld, AnotherDistortionAndAnotherPoseRebuildTwice) {
    ASSERT_EQ(init(), 0);
    input_.applyDistortion = 0;
    extrinsics_.rotZ = 0.5F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(output_.changeCounter, 3);
}

TEST_F(CamToWorld, TheCounterOfRebuildsWrapsAfter255) {
    ASSERT_EQ(init(), 0);
    state_->changeCounter = 255;
    extrinsics_.rotX = 0.1F;
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(state_->changeCounter, 0);
    EXPECT_EQ(output_.changeCounter, 0);
}

TEST_F(CamToWorld, TheDistortionOfRaysFromOutsideCannotChange) {
    initWithStraightRays();
    input_.applyDistortion = 0;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Distortion cannot be changed, because we rely on external unit vectors");
    EXPECT_EQ(state_->changeCounter, 1);
    EXPECT_EQ(z_[0], 42.0F);
}

TEST_F(CamToWorld, AFocalLengthOutOfRangeFailsToInitialise) {
    intrinsics_.fx = 29.9F;
    EXPECT_EQ(init(), 1);
    EXPECT_EQ(firstError(), "Intrinsic fx out of range");
}

TEST_F(CamToWorld, AFocalLengthOutOfRangeAtRunTimeIsReportedOnceAndTheFramesGoOn) {
    ASSERT_EQ(init(), 0);
    state_->calibVariants.intrinsicCalibPinhole.fx = 29.9F;
    const std::vector<float> rays(state_->bouget_vectors, state_->bouget_vectors + 3 * pixels());
    input_.applyDistortion = 0;
    EXPECT_EQ(apply(), 0);
    EXPECT_EQ(firstError(), "Intrinsic fx out of range");
    EXPECT_EQ(reports_.count(), 1);
    EXPECT_EQ(output_.changeCounter, 2);  // the rays that were there are turned again
    EXPECT_EQ(state_->distortionApplied, 0);
    EXPECT_TRUE(sameFloats(state_->bouget_vectors, rays.data(), rays.size()));
    EXPECT_NE(z_[0], 42.0F);
    EXPECT_EQ(apply(), 0);  // not tried again
    EXPECT_EQ(reports_.count(), 1);
    EXPECT_EQ(output_.changeCounter, 2);
}

TEST_F(CamToWorld, WithoutCartesianImagesThePoseIsFollowedAndNoImageTouched) {
    ASSERT_EQ(init(), 0);
    extrinsics_ = {1.0F, 2.0F, 3.0F, 0.0F, 0.0F, 0.0F};
    clipping_.zMax = 1.0F;
    conf_[3] = 0x0001;
    input_.disableCalcCartesian = 1;
    ASSERT_EQ(CamToWorld_Apply(state_.get(), &input_, nullptr, &output_, nullptr), 0);
    EXPECT_EQ(output_.changeCounter, 2);
    EXPECT_EQ(output_.currentCalib.transX, 1.0F);
    EXPECT_EQ(output_.currentCalib.transZ, 3.0F);
    ASSERT_EQ(apply(), 0);
    EXPECT_EQ(x_[0], 42.0F);
    EXPECT_EQ(distance_[3], 2.0F);
    EXPECT_EQ(conf_[0], 0x0010);
}

// --- Slices and threads ---

/** The images of the caller's thread, and workers that must give the same. */
class CamToWorldThreads : public CamToWorld {
 protected:
    CamToWorldThreads() {
        services_.fctCreateThread = ThreadServices::create;
        services_.fctJoinThread = ThreadServices::join;
    }

    /** A slice of the whole image, whose pixels lie at distance 2, by itself. */
    int32_t applySlice(int32_t numThreads, int threadIdx) {
        CamToWorldApplyArgs args = {state_.get(), &input_, &output_, &inout_, numThreads};
        CamToWorldThreadData data = {&args, threadIdx};
        return CamToWorld_ApplyMultiThread(&data);
    }

    ThreadServices threads_;
};

TEST_F(CamToWorldThreads, AnyNumberOfThreadsGivesTheSameImages) {
    setSize(kImageWidth, kImageHeight);
    extrinsics_ = param_.extrinsicCalib = {0.1F, 0.2F, 0.3F, 0.1F, -0.2F, 0.3F};
    clipping_ = {-2.0F, 2.0F, -1.0F, 1.5F, 0.0F, 5.0F};
    ASSERT_EQ(init(), 0);
    Random random(55);
    SCOPED_TRACE(random.seedText());
    std::vector<float> distance(kPixelCount);
    std::vector<uint16_t> conf(kPixelCount);
    for (size_t i = 0; i < distance.size(); ++i) {
        distance[i] = random.integer(0, 9) == 0 ? 0.0F : random.real(0.0F, 8.0F);
        conf[i] = static_cast<uint16_t>(random.integer(0, 9) == 0 ? 0x0011 : 0x0010);
    }
    distance_ = distance;
    conf_ = conf;
    ASSERT_EQ(apply(), 0);
    const std::vector<float> expectedDistance = distance_;
    const std::vector<float> expectedX = x_;
    const std::vector<float> expectedY = y_;
    const std::vector<float> expectedZ = z_;
    const std::vector<uint16_t> expectedConf = conf_;
    for (int32_t n = 1; n <= kMaxThreads; ++n) {
        distance_ = distance;
        conf_ = conf;
        for (std::vector<float>* image : {&x_, &y_, &z_}) {
            std::fill(image->begin(), image->end(), 42.0F);
        }
        inout_.conf = conf_.data();
        inout_.distance = distance_.data();
        input_.numThreads = n;
        threads_.joinAll();
        ASSERT_EQ(apply(), 0) << n;
        EXPECT_EQ(threads_.created, n);
        EXPECT_EQ(threads_.joined, n);
        EXPECT_TRUE(sameFloats(distance_.data(), expectedDistance.data(), kPixelCount)) << n;
        EXPECT_TRUE(sameFloats(x_.data(), expectedX.data(), kPixelCount)) << n;
        EXPECT_TRUE(sameFloats(y_.data(), expectedY.data(), kPixelCount)) << n;
        EXPECT_TRUE(sameFloats(z_.data(), expectedZ.data(), kPixelCount)) << n;
        EXPECT_TRUE(sameValues(conf_.data(), expectedConf.data(), kPixelCount)) << n;
    }
}

TEST_F(CamToWorldThreads, ANegativeNumberOfThreadsIsNone) {
    ASSERT_EQ(init(), 0);
    for (const int32_t number : {-1, std::numeric_limits<int32_t>::min()}) {
        input_.numThreads = number;
        EXPECT_EQ(apply(), 0);
        EXPECT_EQ(threads_.created, 0);
    }
}

TEST_F(CamToWorldThreads, MoreThanTenThreadsFailAndNoneIsStarted) {
    ASSERT_EQ(init(), 0);
    for (const int32_t number : {11, std::numeric_limits<int32_t>::max()}) {
        forgetErrors();
        input_.numThreads = number;
        EXPECT_EQ(apply(), 1);
        EXPECT_EQ(firstError(), "Number of threads exceeds maximum");
        EXPECT_EQ(threads_.created, 0);
        EXPECT_EQ(z_[0], 42.0F);
    }
}

TEST_F(CamToWorldThreads, TheLastOfThreeSlicesTakesTheRemainder) {
    setSize(kImageWidth, kImageHeight);
    initWithStraightRays();
    const size_t bounds[] = {0, 12840, 25680, kPixelCount};
    for (const int slice : {0, 1, 2}) {
        std::fill(z_.begin(), z_.end(), 42.0F);
        ASSERT_EQ(applySlice(3, slice), 0);
        for (size_t i = 0; i < z_.size(); ++i) {
            const bool inSlice = i >= bounds[slice] && i < bounds[slice + 1];
            ASSERT_EQ(z_[i] != 42.0F, inSlice) << "slice " << slice << ", pixel " << i;
        }
    }
}

TEST_F(CamToWorldThreads, ASliceOfNoMultipleOfFourFails) {
    setSize(3, 2);
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Number of pixels must be a multiple of 4");
    EXPECT_EQ(z_[0], 42.0F);
}

TEST_F(CamToWorldThreads, MoreSlicesThanGroupsOfFourFail) {
    setSize(4, 3);
    ASSERT_EQ(init(), 0);
    input_.numThreads = 3;
    EXPECT_EQ(apply(), 0) << firstError();
    input_.numThreads = 4;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Invalid number of pixels - lower number of threads!");
}

TEST_F(CamToWorldThreads, AnImageOfLessThanFourPixelsFails) {
    setSize(3, 1);
    ASSERT_EQ(init(), 0);
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Invalid number of pixels - lower number of threads!");
}

TEST_F(CamToWorldThreads, ASliceThatDoesNotExistFails) {
    ASSERT_EQ(init(), 0);
    const int32_t highest = std::numeric_limits<int32_t>::max();
    const int32_t lowest = std::numeric_limits<int32_t>::min();
    const struct {
        int32_t numThreads;
        int threadIdx;
    } slices[] = {{1, 1}, {2, -1}, {2, highest}, {0, 0}, {-1, 0}, {lowest, lowest}};
    for (const auto& slice : slices) {
        expectFailureWithoutMessage([&] { return applySlice(slice.numThreads, slice.threadIdx); });
    }
    EXPECT_EQ(z_[0], 42.0F);
}

TEST_F(CamToWorldThreads, ASliceWithoutItsRecordsFails) {
    ASSERT_EQ(init(), 0);
    expectFailureWithoutMessage([&] { return CamToWorld_ApplyMultiThread(nullptr); });
    CamToWorldThreadData data = {nullptr, 0};
    expectFailureWithoutMessage([&] { return CamToWorld_ApplyMultiThread(&data); });
    const CamToWorldApplyArgs complete = {state_.get(), &input_, &output_, &inout_, 1};
    for (const int missing : {0, 1, 2, 3}) {
        CamToWorldApplyArgs args = complete;
        if (missing == 0) {
            args.state = nullptr;
        } else if (missing == 1) {
            args.input = nullptr;
        } else if (missing == 2) {
            args.output = nullptr;
        } else {
            args.inout = nullptr;
        }
        data.applyArg = &args;
        expectFailureWithoutMessage([&] { return CamToWorld_ApplyMultiThread(&data); });
    }
}

TEST_F(CamToWorldThreads, ASliceOfMissingImagesOrWithoutACuboidFails) {
    ASSERT_EQ(init(), 0);
    const auto fails = [this](auto& pointer) {
        const auto kept = pointer;
        pointer = nullptr;
        expectFailureWithoutMessage([this] { return applySlice(1, 0); });
        pointer = kept;
    };
    fails(inout_.conf);
    fails(inout_.distance);
    fails(output_.X);
    fails(output_.Y);
    fails(output_.Z);
    fails(input_.clipping);
}

TEST_F(CamToWorldThreads, ASliceOfAnImageThatFitsNoTableFails) {
    ASSERT_EQ(init(), 0);
    const int32_t width = input_.width;
    for (const int32_t size : {-1, 225}) {
        input_.width = size;
        expectFailureWithoutMessage([this] { return applySlice(1, 0); });
    }
    input_.width = width;
    for (const int32_t size : {-1, 173}) {
        input_.height = size;
        expectFailureWithoutMessage([this] { return applySlice(1, 0); });
    }
}

TEST_F(CamToWorld, RaysOfNoStateFail) {
    expectFailureWithoutMessage([] { return create_bouguet_vectors(1, nullptr); });
}

TEST_F(CamToWorldThreads, TheEntryOfAWorkerReturnsNull) {
    ASSERT_EQ(init(), 0);
    CamToWorldApplyArgs args = {state_.get(), &input_, &output_, &inout_, 1};
    CamToWorldThreadData data = {&args, 0};
    EXPECT_EQ(Call_CamToWorld_Apply(&data), nullptr);
    EXPECT_NE(z_[0], 42.0F);
    EXPECT_EQ(Call_CamToWorld_Apply(nullptr), nullptr);
    EXPECT_EQ(reports_.count(), 1);
}

TEST_F(CamToWorldThreads, AWorkerThatFailsFailsTheCall) {
    ASSERT_EQ(init(), 0);
    inout_.conf = nullptr;
    input_.numThreads = 2;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(threads_.joined, 2);
    EXPECT_EQ(reports_.count(), 3);  // one by each worker, one by the call
}

TEST_F(CamToWorldThreads, AThreadThatDoesNotStartFailsAtOnce) {
    ASSERT_EQ(init(), 0);
    input_.numThreads = 3;
    threads_.createFailsAt = 2;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Error creating thread");
    EXPECT_EQ(threads_.created, 2);
    EXPECT_EQ(threads_.joined, 0);
    threads_.joinAll();
}

TEST_F(CamToWorldThreads, AThreadThatCannotBeJoinedFails) {
    ASSERT_EQ(init(), 0);
    input_.numThreads = 3;
    threads_.joinFailsAt = 1;
    EXPECT_EQ(apply(), 1);
    EXPECT_EQ(firstError(), "Error joining thread");
    EXPECT_EQ(threads_.joined, 2);  // nobody else goes on writing
    threads_.joinAll();
}

TEST_F(CamToWorldThreads, ThreadsWithoutServicesFail) {
    ASSERT_EQ(init(), 0);
    input_.numThreads = 1;
    expectFailureWithoutMessage(
        [&] { return CamToWorld_Apply(state_.get(), &input_, &inout_, &output_, nullptr); });
    services_.fctJoinThread = nullptr;
    expectFailureWithoutMessage([&] { return apply(); });
    services_ = {nullptr, ThreadServices::join};
    expectFailureWithoutMessage([&] { return apply(); });
    EXPECT_EQ(threads_.created, 0);
}

}  // namespace
