// SPDX-License-Identifier: Apache-2.0
#include "CamToWorldTamver.h"

#include <cstddef>

#include "ALCameraModel.h"
#include "ALErrorHandling.h"
#include "ALMath.h"
#include "ALUtil.h"
#include "CamToWorldTamverKernels.h"
#include "RotationMatrix.h"

namespace {

constexpr char_t kSourceFile[] = "core/externals/RawDataProcessingTamver/src/CamToWorldTamver";

constexpr float32_t kMaxInternalTranslation = 0.3F;   ///< metres
constexpr float32_t kMaxInternalAngle = 0.17453294F;  ///< ten degrees
constexpr int32_t kSlicePixels = 4;                   ///< a slice has a multiple of this
constexpr int32_t kFloatsPerRay = kUnitVectorFloats / kPixelCount;

// The slices of a call share these; there is one call at a time. They are static because a worker that could
// not be joined may still read them.
constinit CamToWorldApplyArgs g_applyArgs = {};
constinit CamToWorldThreadData g_threadData[kMaxThreads] = {
    {&g_applyArgs, 0}, {&g_applyArgs, 1}, {&g_applyArgs, 2}, {&g_applyArgs, 3}, {&g_applyArgs, 4},
    {&g_applyArgs, 5}, {&g_applyArgs, 6}, {&g_applyArgs, 7}, {&g_applyArgs, 8}, {&g_applyArgs, 9}};

/** False for NaN. */
bool isWithin(float32_t value, float32_t lowest, float32_t highest) noexcept {
    return value >= lowest && value <= highest;
}

/** True if the tables of rays have room for such an image. */
bool isImageSize(int32_t width, int32_t height) noexcept {
    return width >= 0 && width <= kImageWidth && height >= 0 && height <= kImageHeight;
}

// ---------------------------------------------------------------------------------------------------------------------
// Rays

int32_t checkIntrinsics(const AlgoIntrinsicCalibration& calib, int32_t width, int32_t height) noexcept {
    const auto w = static_cast<float32_t>(width);
    const auto h = static_cast<float32_t>(height);
    const struct {
        float32_t value;
        float32_t lowest;
        float32_t highest;
        const char_t* message;
    } ranges[] = {
        {calib.fx, 30.0F, 900.0F, "Intrinsic fx out of range"},
        {calib.fy, 30.0F, 900.0F, "Intrinsic fy out of range"},
        {calib.mx, 0.25F * w, 0.75F * w, "Intrinsic mx out of range"},
        {calib.my, 0.25F * h, 0.75F * h, "Intrinsic my out of range"},
        {calib.alpha, -0.1F, 0.1F, "Intrinsic alpha out of range"},
        // The messages number the coefficients by their place in the record.
        {calib.k1, -10.0F, 10.0F, "Intrinsic k1 out of range"},
        {calib.k2, -10.0F, 10.0F, "Intrinsic k2 out of range"},
        {calib.k5, -10.0F, 10.0F, "Intrinsic k3 out of range"},
        {calib.k3, -0.2F, 0.2F, "Intrinsic k4 out of range"},
        {calib.k4, -0.2F, 0.2F, "Intrinsic k5 out of range"},
    };
    for (const auto& range : ranges) {
        if (!isWithin(range.value, range.lowest, range.highest)) {
            return reportFailure(kSourceFile, range.message);
        }
    }
    return 0;
}

/** Turns the rays of the optical system into the world. */
int32_t rotate_unit_vectors(CamToWorldState& state) noexcept {
    RM_RotationMatrix rotation;
    if (rotMatCreate3(rotation, state.currentCalib.rotX, state.currentCalib.rotY, state.currentCalib.rotZ) !=
        0) {
        return reportFailure(kSourceFile);
    }
    state.changeCounter = static_cast<uint8_t>(state.changeCounter + 1);
    CamToWorld_RotateVectors(rotation, state.bouget_vectors, state.unit_vectors,
                             state.calibVariants.width * state.calibVariants.height);
    return 0;
}

bool differ(const AlgoExtrinsicCalibration& a, const AlgoExtrinsicCalibration& b) noexcept {
    return a.rotX != b.rotX || a.rotY != b.rotY || a.rotZ != b.rotZ || a.transX != b.transX ||
           a.transY != b.transY || a.transZ != b.transZ;
}

// ---------------------------------------------------------------------------------------------------------------------
// Initialisation

int32_t checkInitArguments(const CamToWorldState* state, const CamToWorldCalib* calib,
                           const CamToWorldParam* param, const CamToWorldOutput* output) noexcept {
    if (state == nullptr || calib == nullptr || calib->intrinsicCalib == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (calib->width < 1 || calib->width > kImageWidth) {
        return reportFailure(kSourceFile);
    }
    if (calib->height < 1 || calib->height > kImageHeight) {
        return reportFailure(kSourceFile);
    }
    if (param == nullptr || output == nullptr) {
        return reportFailure(kSourceFile);
    }
    return 0;
}

int32_t checkInternalPose(const AlgoExtrinsicCalibration& pose) noexcept {
    for (const float32_t translation : {pose.transX, pose.transY, pose.transZ}) {
        if (!isWithin(translation, -kMaxInternalTranslation, kMaxInternalTranslation)) {
            return reportFailure(kSourceFile);
        }
    }
    for (const float32_t angle : {pose.rotX, pose.rotY, pose.rotZ}) {
        if (!isWithin(angle, -kMaxInternalAngle, kMaxInternalAngle)) {
            return reportFailure(kSourceFile);
        }
    }
    return 0;
}

/** The camera model of an image with half the pixels per axis. */
void halve(AlgoIntrinsicCalibration& calib) noexcept {
    calib.fx *= 0.5F;
    calib.fy *= 0.5F;
    calib.mx *= 0.5F;
    calib.my *= 0.5F;
}

AlgoIntrinsicCalibration withoutDistortion(AlgoIntrinsicCalibration calib) noexcept {
    calib.k1 = 0.0F;
    calib.k2 = 0.0F;
    calib.k5 = 0.0F;
    calib.k3 = 0.0F;
    calib.k4 = 0.0F;
    return calib;
}

int32_t applyBinning(IntrinsicCalibrationVariants& variants) noexcept {
    if (variants.width % 2 != 0) {
        return reportFailure(kSourceFile, "Calibration width must be a even number for 2x2 binning");
    }
    if (variants.height % 2 != 0) {
        return reportFailure(kSourceFile, "Calibration height must be a even number for 2x2 binning");
    }
    variants.width /= 2;
    variants.height /= 2;
    halve(variants.intrinsicCalib);
    halve(variants.inverseIntrinsicCalib);
    return 0;
}

int32_t initVariants(const CamToWorldCalib& calib, IntrinsicCalibrationVariants& variants) noexcept {
    const AlgoIntrinsicCalibration* const inverse = calib.inverseIntrinsicCalib;
    variants.intrinsicCalib = *calib.intrinsicCalib;
    variants.inverseIntrinsicCalib = inverse != nullptr ? *inverse : AlgoIntrinsicCalibration{};
    variants.width = calib.width;
    variants.height = calib.height;
    if (calib.binningMode == CamToWorld_Binning2x2 && applyBinning(variants) != 0) {
        return 1;
    }
    variants.intrinsicCalibPinhole = withoutDistortion(variants.intrinsicCalib);
    variants.inverseIntrinsicCalibPinhole = withoutDistortion(variants.inverseIntrinsicCalib);
    return 0;
}

/** Takes the rays from the host's table, whose size is that before
 * binning, or from the camera model. */
int32_t initRays(const CamToWorldCalib& calib, CamToWorldState& state) noexcept {
    const float32_t* const unitVectors = calib.unitVectors;
    if (unitVectors == nullptr) {
        state.useBouguet = 1;
        return create_bouguet_vectors(1, &state) != 0 ? reportFailure(kSourceFile) : 0;
    }
    const int32_t floats = calib.width * calib.height * kFloatsPerRay;
    state.useBouguet = 0;
    if (al_memcpy(state.bouget_vectors, unitVectors, floats * static_cast<int32_t>(sizeof(float32_t))) != 0) {
        return reportFailure(kSourceFile);
    }
    state.distortionApplied = 1;
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// One call of CamToWorld_Apply

int32_t checkClipping(const ClippingCuboid& clipping) noexcept {
    if (clipping.xMin > clipping.xMax) {
        return reportFailure(kSourceFile, "Clipping xmin cannot be greater than xmax");
    }
    if (clipping.yMin > clipping.yMax) {
        return reportFailure(kSourceFile, "Clipping ymin cannot be greater than ymax");
    }
    if (clipping.zMin > clipping.zMax) {
        return reportFailure(kSourceFile, "Clipping zmin cannot be greater than zmax");
    }
    return 0;
}

int32_t followDistortion(CamToWorldState& state, int32_t applyDistortion) noexcept {
    if (applyDistortion == state.distortionApplied) {
        return 0;
    }
    if (state.useBouguet == 0) {
        return reportFailure(kSourceFile,
                             "Distortion cannot be changed, because we rely on external unit vectors");
    }
    // A camera model that is refused costs the change, not the frame: the present rays stay in use.
    create_bouguet_vectors(applyDistortion, &state);
    return rotate_unit_vectors(state) != 0 ? reportFailure(kSourceFile) : 0;
}

int32_t followExtrinsics(CamToWorldState& state, const AlgoExtrinsicCalibration& extrinsicCalib) noexcept {
    if (!differ(extrinsicCalib, state.lastExtIFCalib)) {
        return 0;
    }
    state.lastExtIFCalib = extrinsicCalib;
    if (merge_calibrations(&state.currentCalib, &state.lastExtIFCalib,
                           &state.calibVariants.intrinsicCalib.internalTransRot) != 0) {
        return reportFailure(kSourceFile);
    }
    return rotate_unit_vectors(state) != 0 ? reportFailure(kSourceFile) : 0;
}

/** Starts a worker per slice and waits for all of them. If one cannot be started,
 * the others outlive this call. */
int32_t applyOnThreads(const CamToWorldServices* services) noexcept {
    if (services == nullptr || services->fctCreateThread == nullptr || services->fctJoinThread == nullptr) {
        return reportFailure(kSourceFile);
    }
    alif_int32_t handles[kMaxThreads] = {};
    const int32_t numThreads = g_applyArgs.numThreads;
    for (int32_t i = 0; i < numThreads; ++i) {
        if (services->fctCreateThread(Call_CamToWorld_Apply, &g_threadData[i], &handles[i]) != 0) {
            return reportFailure(kSourceFile, "Error creating thread");
        }
    }
    bool joined = true;
    for (int32_t i = 0; i < numThreads; ++i) {
        joined = services->fctJoinThread(handles[i]) == 0 && joined;
    }
    if (!joined) {
        return reportFailure(kSourceFile, "Error joining thread");
    }
    return ErrorHandling_PerFrameErrorOccured() != 0 ? reportFailure(kSourceFile) : 0;
}

/** Which pixels a slice has: `endIdx` is the first after it. */
struct Slice {
    int32_t startIdx;
    int32_t endIdx;
};

/** The last slice takes the remainder. */
int32_t cutSlice(int32_t overallPixel, int32_t numThreads, int32_t threadIdx, Slice& slice) noexcept {
    const float32_t share = static_cast<float32_t>(overallPixel) / static_cast<float32_t>(numThreads);
    const int32_t numPixels = al_truncate(share) / kSlicePixels * kSlicePixels;
    if (numPixels < kSlicePixels) {
        return reportFailure(kSourceFile, "Invalid number of pixels - lower number of threads!");
    }
    slice.startIdx = numPixels * threadIdx;
    slice.endIdx = threadIdx == numThreads - 1 ? overallPixel : slice.startIdx + numPixels;
    if ((slice.endIdx - slice.startIdx) % kSlicePixels != 0) {
        return reportFailure(kSourceFile, "Number of pixels must be a multiple of 4");
    }
    return 0;
}

}  // namespace

int32_t create_bouguet_vectors(int applyDistortion, CamToWorldState* state) noexcept {
    if (state == nullptr) {
        return reportFailure(kSourceFile);
    }
    const IntrinsicCalibrationVariants& variants = state->calibVariants;
    const AlgoIntrinsicCalibration& calib =
        applyDistortion != 0 ? variants.intrinsicCalib : variants.intrinsicCalibPinhole;
    state->distortionApplied = applyDistortion;
    if (!isImageSize(variants.width, variants.height)) {
        return reportFailure(kSourceFile);
    }
    if (checkIntrinsics(calib, variants.width, variants.height) != 0) {
        return 1;
    }
    float32_t* ray = state->bouget_vectors;
    for (int32_t row = 0; row < variants.height; ++row) {
        for (int32_t column = 0; column < variants.width; ++column) {
            const AlgoPoint2D pixel = {static_cast<float32_t>(column), static_cast<float32_t>(row)};
            AlgoPoint3D direction;
            if (bouguetModel(&calib, &pixel, &direction, 1) != 0) {
                return reportFailure(kSourceFile);
            }
            ray[0] = direction.x;
            ray[1] = direction.y;
            ray[2] = direction.z;
            ray += kFloatsPerRay;
        }
    }
    return 0;
}

int32_t merge_calibrations(AlgoExtrinsicCalibration* world2optsys, const AlgoExtrinsicCalibration* world2ref,
                           const AlgoExtrinsicCalibration* ref2optsys) noexcept {
    if (world2optsys == nullptr || world2ref == nullptr || ref2optsys == nullptr) {
        return reportFailure(kSourceFile);
    }
    RM_RotationMatrix A;
    RM_RotationMatrix B;
    RM_RotationMatrix C;
    AlgoExtrinsicCalibration merged = {};
    if (rotMatCreate3(A, world2ref->rotX, world2ref->rotY, world2ref->rotZ) != 0 ||
        rotMatCreate3(B, ref2optsys->rotX, ref2optsys->rotY, ref2optsys->rotZ) != 0 ||
        rotMatMultiply(C, A, B) != 0 || rotMatReverse(&merged.rotX, &merged.rotY, &merged.rotZ, C) != 0) {
        return reportFailure(kSourceFile);
    }
    const AlgoExtrinsicCalibration& t = *ref2optsys;
    merged.transX = ((A[0][1] * t.transY + A[0][0] * t.transX) + world2ref->transX) + A[0][2] * t.transZ;
    merged.transY = ((A[1][1] * t.transY + A[1][0] * t.transX) + world2ref->transY) + A[1][2] * t.transZ;
    merged.transZ = ((A[2][1] * t.transY + A[2][0] * t.transX) + world2ref->transZ) + A[2][2] * t.transZ;
    *world2optsys = merged;
    return 0;
}

int32_t CamToWorld_Init(CamToWorldState* state, const CamToWorldCalib* calib, const CamToWorldParam* param,
                        CamToWorldOutput* output) noexcept {
    if (checkInitArguments(state, calib, param, output) != 0) {
        return 1;
    }
    state->changeCounter = 0;
    output->changeCounter = 0;
    if (checkInternalPose(calib->intrinsicCalib->internalTransRot) != 0) {
        return 1;
    }
    output->calibVariants = &state->calibVariants;
    if (initVariants(*calib, state->calibVariants) != 0) {
        return 1;
    }
    state->lastExtIFCalib = param->extrinsicCalib;
    if (initRays(*calib, *state) != 0) {
        return 1;
    }
    if (merge_calibrations(&state->currentCalib, &state->lastExtIFCalib,
                           &calib->intrinsicCalib->internalTransRot) != 0) {
        return reportFailure(kSourceFile);
    }
    return rotate_unit_vectors(*state) != 0 ? reportFailure(kSourceFile) : 0;
}

int32_t CamToWorld_Apply(CamToWorldState* state, CamToWorldInput* input, CamToWorldInOut* inout,
                         CamToWorldOutput* output, CamToWorldServices* services) noexcept {
    if (state == nullptr || input == nullptr || input->extrinsicCalib == nullptr || output == nullptr ||
        input->clipping == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (checkClipping(*input->clipping) != 0) {
        return 1;
    }
    if (input->width != state->calibVariants.width || input->height != state->calibVariants.height ||
        !isImageSize(input->width, input->height)) {
        return reportFailure(kSourceFile);
    }
    if (followDistortion(*state, input->applyDistortion) != 0 ||
        followExtrinsics(*state, *input->extrinsicCalib) != 0) {
        return 1;
    }
    output->calibVariants = &state->calibVariants;
    output->changeCounter = state->changeCounter;
    output->currentCalib = state->currentCalib;
    if (input->disableCalcCartesian != 0) {
        return 0;
    }
    if (input->numThreads > kMaxThreads) {
        return reportFailure(kSourceFile, "Number of threads exceeds maximum");
    }
    g_applyArgs = {.state = state,
                   .input = input,
                   .output = output,
                   .inout = inout,
                   .numThreads = al_maxi(input->numThreads, 1)};
    if (input->numThreads >= 1) {
        return applyOnThreads(services);
    }
    return CamToWorld_ApplyMultiThread(&g_threadData[0]) != 0 ? reportFailure(kSourceFile) : 0;
}

int32_t CamToWorld_ApplyMultiThread(CamToWorldThreadData* arg) noexcept {
    if (arg == nullptr || arg->applyArg == nullptr) {
        return reportFailure(kSourceFile);
    }
    const CamToWorldApplyArgs& args = *arg->applyArg;
    if (args.state == nullptr || args.input == nullptr || args.output == nullptr || args.inout == nullptr) {
        return reportFailure(kSourceFile);
    }
    const CamToWorldPixels image = {.unitVectors = args.state->unit_vectors,
                                    .conf = args.inout->conf,
                                    .distance = args.inout->distance,
                                    .X = args.output->X,
                                    .Y = args.output->Y,
                                    .Z = args.output->Z};
    if (image.conf == nullptr || image.distance == nullptr || image.X == nullptr || image.Y == nullptr ||
        image.Z == nullptr) {
        return reportFailure(kSourceFile);
    }
    const ClippingCuboid* const clipping = args.input->clipping;
    if (clipping == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (!isImageSize(args.input->width, args.input->height) || arg->threadIdx < 0 ||
        arg->threadIdx >= args.numThreads) {
        return reportFailure(kSourceFile);
    }
    Slice slice = {};
    if (cutSlice(args.input->width * args.input->height, args.numThreads, arg->threadIdx, slice) != 0) {
        return 1;
    }
    const int32_t first = slice.startIdx;
    const CamToWorldPixels pixels = {.unitVectors = image.unitVectors + kFloatsPerRay * first,
                                     .conf = image.conf + first,
                                     .distance = image.distance + first,
                                     .X = image.X + first,
                                     .Y = image.Y + first,
                                     .Z = image.Z + first};
    const AlgoExtrinsicCalibration& pose = args.state->currentCalib;
    CamToWorld_ComputePoints(pixels, {pose.transX, pose.transY, pose.transZ}, *clipping,
                             slice.endIdx - first);
    return 0;
}

void* Call_CamToWorld_Apply(void* arg) noexcept {
    CamToWorld_ApplyMultiThread(static_cast<CamToWorldThreadData*>(arg));
    return nullptr;
}
