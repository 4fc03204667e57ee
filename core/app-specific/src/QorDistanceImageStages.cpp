// SPDX-License-Identifier: Apache-2.0
#include "QorDistanceImageStages.h"

#include <algorithm>
#include <iterator>

#include "ALUtil.h"
#include "QorDescriptors.h"
#include "QorDistanceImageKernels.h"

namespace driver {

namespace {

/** m/s: unique range = this / modulation frequency. */
constexpr float32_t kHalfSpeedOfLightInAir = 149852320.0F;
constexpr float32_t kOneDivTwoPi = 0.15915494F;
constexpr float32_t kRangesBeforeRemainder =
    4.0F;  ///< added so that a distance is positive before it is folded
constexpr float32_t kThreeFreqMax2FLineDistPercentage = 42.0F;
constexpr float32_t kOneDivPixelCount = 2.5955149e-05F;
constexpr int32_t kDefaultMaxSumExposureTime = 1300;
constexpr float64_t kMicrosecondsPerMillisecond = 1000.0000500222087;  ///< booked runtimes depend on it

/** Scattered light is smooth: an eighth of the resolution holds it. */
constexpr int32_t kStraylightPyramidLevel = 3;

/** Points farther away than this, on any axis, are marked invalid. Metres. */
constexpr ClippingCuboid kClipping = {
    .xMin = -1000.0F, .xMax = 1000.0F, .yMin = -1000.0F, .yMax = 1000.0F, .zMin = -1000.0F, .zMax = 1000.0F};

/** Working copy of the straylight calibration. */
constinit StraylightCalib slcalib = {};
const RefPin g_slcalibPin(&slcalib, sizeof slcalib);

/** The end of a step: a failure is reported at the step's own line. */
int32_t passed(int32_t failed, int32_t line = __builtin_LINE()) noexcept {
    return failed != 0 ? reportFailure(kSourceFile, nullptr, line) : 0;
}

void book(Call& call, ALProfilingItem& item) noexcept {
    al_profile(&item, call.data.services.ifServices.fctGetTime, &call.startTime);
}

/** The end of a stage: reports a failure at the stage's own line, or else books the stage's time. */
int32_t finish(Call& call, int32_t failed, ALProfilingItem& item, int32_t line = __builtin_LINE()) noexcept {
    if (passed(failed, line) != 0) {
        return 1;
    }
    book(call, item);
    return 0;
}

/** With a single frequency the result is the working image; no second one is needed. */
bool worksInResult(const QorStaticData& data) noexcept {
    return data.calib.multiFreq.frequencyMode == MultiFreq_FModeSingleFreq;
}

/** The working copy is made once per process; it depends on no input. */
int32_t defaultSLCCalib() noexcept {
    static int32_t initialized = 0;
    if (initialized != 0) {
        return 0;
    }
    if (al_memcpy(&slcalib, getCompiledInCalib(), sizeof slcalib) != 0) {
        return reportFailure(kSourceFile);
    }
    initialized = 1;
    return 0;
}

/** Noise model of the imager; the calibration's own parameters are not used. */
const NoiseCalib* defaultNoiseCalib() noexcept {
    static constexpr NoiseCalib calib = {{0x1.6a1002p-5F, 0x1.e4944p+3F, 0x1.3d8578p-4F, 0x1.037656p+8F}};
    return &calib;
}

/** A record on its way out. In the caller's buffers it takes two entries, the other for its definition. */
struct Offer {
    uint32_t channelID;
    const void* record;
    uint32_t size;
    FctZeltaGet descriptor;
};

constexpr int32_t kEntriesOfAnOffer = 2;
constexpr int32_t kOffersOfAFrame = 1;  ///< offerResult

void offer(Call& call, const Offer& channel) noexcept {
    al_packZeltaBuffer(call.measBuffers, &call.nextMeasBuffer, channel.channelID, channel.record,
                       channel.size, channel.descriptor);
}

/** Delivers the pose always, and the rays only after a change, because they are large. */
int32_t copyDistToCart(Call& call) noexcept {
    QorStaticData& data = call.data;
    call.result.distToCartesian.cameraCalibration = data.state.camToWorld.currentCalib;
    if (data.output.camToWorld.changeCounter == data.state.lastUVChangeCounter) {
        return 0;
    }
    return copyUnitVectors(data, call.result.distToCartesian);
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// Initialisation

int32_t initRawToDist(QorStaticData& data) noexcept {
    return passed(QorRawToDist_Init(&data.state.rawToDistState, &data.ifCalib.imagerCalib));
}

int32_t buildWigglingTables(QorStaticData& data) noexcept {
    return passed(Wiggling_Init(&data.calib.wiggling, &data.state.wigglingState, &data.scratch.wiggling));
}

int32_t initWiggling(QorStaticData& data) noexcept {
    WigglingCalib& calib = data.calib.wiggling;
    calib.binningEnabled = 0;
    calib.freqDepCalib = data.ifCalib.imagerCalib.freqDependent;
    calib.numFreqs = static_cast<uint32_t>(data.ifCalib.imagerCalib.numberOfFrequencies);
    calib.referenceFunc = ReferenceFunc_UnitSquare;
    return buildWigglingTables(data);
}

int32_t initStraylight(QorStaticData& data) noexcept {
    data.calib.straylight.binningEnabled = 0;
    if (defaultSLCCalib() != 0) {
        return 1;
    }
    data.calib.straylight.systemCalib = &slcalib;
    return 0;
}

int32_t initSuspectPixels(QorStaticData& data) noexcept {
    SuspectPixelTreatmentCalib& calib = data.calib.suspectPT;
    calib.width = kImageWidth;
    calib.height = kImageHeight;
    calib.badPixelMatrix = nullptr;
    calib.badPixelIdx = data.ifCalib.imagerCalib.freqIndependent.badPixelIdx;
    calib.numBadPixel = data.ifCalib.imagerCalib.freqIndependent.numBadPixel;
    return passed(SuspectPixelTreatment_Init(&calib, &data.state.suspectPT));
}

int32_t initAutoExposure(QorStaticData& data) noexcept {
    const FreqIndependentCalibration& calib = data.ifCalib.imagerCalib.freqIndependent;
    const int32_t sampleRange = calib.maxDiff - calib.minDiff;
    AutoExposureParam& param = data.param.autoExpParam;
    param.maxExpTime = data.ifInput.param.maxExposureTime;
    param.maxSumExpTime = data.ifInput.param.maxSumExposureTime != 0 ? data.ifInput.param.maxSumExposureTime
                                                                     : kDefaultMaxSumExposureTime;
    param.minExpTime = 50;
    param.expTimeDiscretization = 50;
    param.maintainIntegerFactor = 0;
    param.score_x_kneepoints[0] = 50;
    param.score_x_kneepoints[1] = 60;
    param.score_x_kneepoints[2] = 100;
    param.score_x_kneepoints[3] =
        static_cast<uint32_t>(static_cast<int32_t>(static_cast<float32_t>(sampleRange) * 0.5F));
    param.score_slopes[0] = 0.01F;
    param.score_slopes[1] = 1.0F;
    param.score_slopes[2] = 0.2F;
    param.score_slopes[3] = 0.01F;
    param.numPieces = 4;
    param.imgWidth = kImageWidth;
    param.imgHeight = kImageHeight;
    return passed(AutoExposure_Init(&param, &data.state.autoExpState, &data.output.autoExpOutput));
}

int32_t initIntensityImage(QorStaticData& data) noexcept {
    return passed(IntensityImgInit(&data.state.intImg, &data.ifCalib.imagerCalib.freqIndependent));
}

int32_t initMultiFreq(QorStaticData& data) noexcept {
    MultiFreqCalib& calib = data.calib.multiFreq;
    calib.frequencies = data.ifCalib.imagerCalib.frequencies;
    calib.freqCount = data.ifCalib.imagerCalib.numberOfFrequencies;
    calib.hoppingTable = &data.ifInput.freqHoppingTable;
    switch (data.ifInput.param.numFrequencies) {
        case 1:
            calib.frequencyMode = MultiFreq_FModeSingleFreq;
            break;
        case 2:
            calib.frequencyMode = MultiFreq_FModeTwoFreq;
            break;
        default:
            return reportFailure(kSourceFile, "Number of frequencies must be either 1 or 2");
    }
    MultiFreqParam& param = data.param.multiFreq;
    param.continuousMultiFreq = 0;
    param.numThreads = 0;
    param.maxRange = data.ifInput.param.maxUniqueRange;
    param.halfLineDist = -1.0F;  // from the spacing of the lines
    param.verticalAssignment = data.ifInput.param.verticalAssignment;
    data.services.multiFreq = {};
    return passed(MultiFreq_Init(&data.state.multiFreq, &param, &calib));
}

int32_t initImageFilter(QorStaticData& data) noexcept {
    data.services.imageFilter = {};
    data.param.imageFilter.numThreads = 0;
    return passed(ImageFilter_Init(&g_imageFilterState, &data.param.imageFilter, &data.services.imageFilter));
}

int32_t initCamToWorld(QorStaticData& data, const AlgoExtrinsicCalibration& userCalibration) noexcept {
    data.state.lastUVChangeCounter = 0;
    CamToWorldCalib& calib = data.calib.camToWorld;
    calib.width = kImageWidth;
    calib.height = kImageHeight;
    calib.intrinsicCalib = &data.ifCalib.intrinsicCalibration;
    calib.inverseIntrinsicCalib = nullptr;
    calib.binningMode = CamToWorld_BinningOff;
    calib.unitVectors = data.ifCalib.unitVectors;
    data.services.camToWorld = {};
    data.param.camToWorld.extrinsicCalib = userCalibration;
    return passed(
        CamToWorld_Init(&data.state.camToWorld, &calib, &data.param.camToWorld, &data.output.camToWorld));
}

int32_t copyUnitVectors(QorStaticData& data, QorDistToCartesian& distToCartesian) noexcept {
    data.state.lastUVChangeCounter = data.output.camToWorld.changeCounter;
    if (al_memcpy(distToCartesian.unitVector, data.state.camToWorld.unit_vectors,
                  sizeof distToCartesian.unitVector) != 0) {
        return reportFailure(kSourceFile);
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------
// With every image

int32_t updateTimeMapping(QorStaticData& data) noexcept {
    const QorDistanceImageServices& services = data.services.ifServices;
    if (services.fctGetTime == nullptr || services.fctGetSystemTime == nullptr) {
        return reportFailure(kSourceFile);
    }
    data.debug.monotonicTimestamp = services.fctGetTime();
    data.debug.systemTime = services.fctGetSystemTime();
    return 0;
}

void offerDebugChannels(Call& call) noexcept {
    const QorStaticData& data = call.data;
    const Offer offers[] = {
        {channel::kInput, &data.ifInput, sizeof data.ifInput, zeltaGet_QorDistanceImageIFInput},
        {channel::kState, &data.state, sizeof data.state, zeltaGet_QorDistanceImageState},
        {channel::kStageInput, &data.input, sizeof data.input, zeltaGet_QorDistanceImageInput},
        {channel::kStageOutput, &data.output, sizeof data.output, zeltaGet_QorDistanceImageOutput},
        {channel::kDebug, &data.debug, sizeof data.debug, zeltaGet_QorDistanceImageDebug},
        {channel::kProfiling, &data.profiling, sizeof data.profiling, zeltaGet_QorDistanceImageProfiling},
        {channel::kRawData, call.rawData.phaseData, kRawPhaseBytes, zeltaGet_QorRawPhaseData},
    };
    static_assert(kEntriesOfAnOffer * (std::size(offers) + kOffersOfAFrame) <= kMeasBufferCount,
                  "the callers' buffers have no room for so many channels");
    std::fill_n(call.measBuffers, call.measBufferCount, AlgoMeasBuffer{});
    for (const Offer& channel : offers) {
        offer(call, channel);
    }
}

int32_t chooseWorkingSet(Call& call) noexcept {
    QorDistanceImageState& state = call.data.state;
    switch (state.rawToDistActualBuffer) {
        case -1:
            state.rawToDistActualBuffer = 0;
            break;
        case 0:
        case 1:
            if (state.rawToDistOut[state.rawToDistActualBuffer].outputComplete != 0) {
                state.rawToDistActualBuffer = 1 - state.rawToDistActualBuffer;
            }
            break;
        default:
            return reportFailure(kSourceFile);
    }
    call.current = state.rawToDistActualBuffer;
    QorRawToDistOutput& output = call.rawToDistOut();
    output.distance = worksInResult(call.data) ? call.result.distance : call.matrices().distance;
    output.normalizedAmplitude = call.result.normalizedAmplitude;
    output.confidence = call.confidence();
    output.histograms = state.histograms;
    return 0;
}

int32_t takeIntensityImage(Call& call) noexcept {
    if (call.info().intensityMeasurement == 0) {
        return 0;
    }
    QorStaticData& data = call.data;
    uint8_t* const samples = call.rawData.phaseData;
    data.input.intImg.intensityPhase = samples != nullptr ? samples + kRawRowBytes : nullptr;
    if (IntensityImgApply(&data.state.intImg, &data.input.intImg, &data.output.intImg) != 0) {
        return reportFailure(kSourceFile);
    }
    data.state.lastIntensityPhaseValid = 1;
    data.state.lastIntensityPhaseExpTime = static_cast<uint32_t>(call.info().exposureTime);
    return 0;
}

int32_t rawToDist(Call& call) noexcept {
    QorStaticData& data = call.data;
    const QorDistanceImageCustomization& customization = call.customization();
    QorRawToDistInput& input = data.input.rawToDist;
    input.rawData = &call.rawData;
    input.minAmp = customization.minAmplitude;
    input.maxSymmetry = customization.maximumRawSymmetry;
    input.auto_exposure_output = customization.autoExpSet.applyAutoExposure != 0 ? 1 : 0;
    input.autoExpRoi = data.output.autoExpOutput.roi;
    input.intensity = data.state.lastIntensityPhaseValid != 0 ? data.output.intImg.intensity : nullptr;
    input.intensityExposure = data.state.lastIntensityPhaseExpTime;
    input.compensateAmbientLightDrift = customization.compensateAmbientLightDrift;
    if (data.output.autoExpOutput.roi_width != kImageWidth ||
        data.output.autoExpOutput.roi_height != kImageHeight) {
        return reportFailure(kSourceFile);
    }
    data.param.rawToDist.numExposures = data.ifInput.param.numExposures;
    return finish(call,
                  QorRawToDist_Apply(&data.state.rawToDistState, &data.param.rawToDist,
                                     &data.ifCalib.imagerCalib, &input, &call.rawToDistOut()),
                  data.profiling.rawToDist);
}

// ---------------------------------------------------------------------------------------------------------------------
// With a finished phase group

int32_t wigglingBackward(Call& call) noexcept {
    QorStaticData& data = call.data;
    WigglingBackwardInput& input = data.input.wigglingBackward;
    input.nPixel = kPixelCount;
    input.freqIdx = static_cast<uint32_t>(call.info().freqIdx);
    input.phi = call.rawToDistOut().distance;
    input.ampl = call.rawToDistOut().normalizedAmplitude;
    data.inout.wigglingBackward.xyReal = call.matrices().xyReal;
    data.inout.wigglingBackward.xyImag = call.matrices().xyImag;
    return finish(call,
                  Wiggling_Backward(&input, &data.state.wigglingState, &data.calib.wiggling,
                                    &data.inout.wigglingBackward),
                  data.profiling.wigglingBackward);
}

int32_t correctStraylight(Call& call) noexcept {
    QorStaticData& data = call.data;
    ALSLC_Inout& inout = data.inout.slc;
    inout.numberOfThreads = 0;
    inout.pyrLevel = kStraylightPyramidLevel;
    inout.width = kImageWidth;
    inout.height = kImageHeight;
    inout.xyReal = call.matrices().xyReal;
    inout.xyImag = call.matrices().xyImag;
    return finish(call,
                  StraylightCorrection_Apply(&data.calib.straylight, &data.state.slcState,
                                             &data.scratch.slcScratch, &inout),
                  data.profiling.straylight);
}

int32_t wigglingForward(Call& call) noexcept {
    QorStaticData& data = call.data;
    WigglingForwardInput& input = data.input.wigglingForward;
    input.xyReal = call.matrices().xyReal;
    input.xyImag = call.matrices().xyImag;
    input.expSource = nullptr;
    input.nPixel = kPixelCount;
    input.freqIdx = static_cast<uint32_t>(call.info().freqIdx);
    input.expTimes = nullptr;
    input.numExpTimes = 0;
    input.applyFPPN = 0;
    data.inout.wigglingForward.phi = call.matrices().phaseAfterSLC;
    data.inout.wigglingForward.ampl = call.matrices().amplAfterSLC;
    return finish(call,
                  Wiggling_Forward(&input, &data.state.wigglingState, &data.calib.wiggling,
                                   &data.inout.wigglingForward),
                  data.profiling.wigglingForward);
}

int32_t rawToDistRemaining(Call& call) noexcept {
    const QorRawToDistCalib& calib = call.data.ifCalib.imagerCalib;
    const FreqDependentCalibration& c = calib.freqDependent[call.info().freqIdx];
    const float32_t dT = call.info().illuTemperature - c.refTemperature;
    const float32_t* const factor = c.temperatureFactor;
    PhaseToMetresParam param = {};
    param.tempCorr = (factor[0] + (factor[1] + dT * factor[2]) * dT) * dT;
    param.range = kHalfSpeedOfLightInAir / calib.frequencies[call.info().freqIdx];
    param.metresPerRadian = param.range * kOneDivTwoPi;
    param.offset = param.range * kRangesBeforeRemainder;

    float32_t* const distance = call.rawToDistOut().distance;
    uint16_t* const confidence = call.confidence();
    if (!call.correctsStraylight()) {
        DistanceImage_PhaseToMetres(param, distance, confidence);
    } else {
        const StraylightComparison straylight = {
            .amplitude = call.rawToDistOut().normalizedAmplitude,
            .phaseAfterSLC = call.matrices().phaseAfterSLC,
            .amplAfterSLC = call.matrices().amplAfterSLC,
            .maxPhaseChange = call.customization().absDistStraylightThreshold / param.metresPerRadian,
            .maxAmplitudeChange = call.customization().relAmpStraylightThreshold};
        DistanceImage_CorrectedPhaseToMetres(param, straylight, distance, confidence);
    }
    book(call, call.data.profiling.rawToDistRemaining);
    return 0;
}

int32_t repairSuspectPixels(Call& call) noexcept {
    QorStaticData& data = call.data;
    SuspectPixelTreatmentInOut& inout = data.inout.suspectPT;
    inout.width = kImageWidth;
    inout.height = kImageHeight;
    inout.confidence = call.confidence();
    inout.distance = call.rawToDistOut().distance;
    inout.normalizedAmplitude = call.rawToDistOut().normalizedAmplitude;
    inout.amplitude = nullptr;
    data.input.suspectPT.applyTreatement = 1;
    return finish(call, SuspectPixelTreatment_Apply(&data.input.suspectPT, &data.state.suspectPT, &inout),
                  data.profiling.suspectPT);
}

int32_t multiFreq(Call& call) noexcept {
    QorStaticData& data = call.data;
    MultiFreqInput& input = data.input.multiFreq;
    input.currentFreqIdx = call.info().freqIdx;
    input.width = kImageWidth;
    input.height = kImageHeight;
    input.currentDistance = call.rawToDistOut().distance;
    input.currentConfidence = call.confidence();
    input.previousDistance = call.previousRawToDistOut().distance;
    input.previousConfidence = call.previousRawToDistOut().confidence;
    input.twoFreqMaxLineDistPercentage = call.customization().twoFreqMaxLineDistPercentage;
    input.threeFreqMax2FLineDistPercentage = kThreeFreqMax2FLineDistPercentage;
    input.filterAssignment = call.customization().filter2FreqAssignment;
    data.output.multiFreq.distance = call.result.distance;
    data.output.multiFreq.confidence = call.confidence();
    return finish(
        call,
        MultiFreq_Apply(&data.state.multiFreq, &data.scratch.multiFreq, &data.calib.multiFreq, &input,
                        &data.param.multiFreq, &data.output.multiFreq, &data.services.multiFreq),
        data.profiling.multiFreq);
}

// ---------------------------------------------------------------------------------------------------------------------
// With a finished frame

int32_t deliverNoiseAndIntensity(Call& call) noexcept {
    QorStaticData& data = call.data;
    if (call.customization().enableNoiseEstimation == 0) {
        return 0;
    }
    if (data.state.lastIntensityPhaseValid == 0) {
        return reportFailure(kSourceFile, "No intensity phase recorded for noise estimation");
    }
    const float32_t* const frequencies = data.ifCalib.imagerCalib.frequencies;
    const QorRawToDistOutput& exposures = call.rawToDistOut();
    DistnoiseInput& input = data.input.distNoise;
    input.calib = defaultNoiseCalib();
    input.uniqueRange[0] = kHalfSpeedOfLightInAir / frequencies[call.info().freqIdx];
    input.uniqueRange[1] = kHalfSpeedOfLightInAir / frequencies[data.state.lastFreqIdx];
    input.numFrequenciesUsed = data.ifInput.param.verticalAssignment != 0
                                   ? 1
                                   : static_cast<uint32_t>(data.ifInput.param.numFrequencies);
    input.intensityExpTime = static_cast<float32_t>(data.state.lastIntensityPhaseExpTime);
    input.xyReal = call.matrices().xyReal;
    input.xyImag = call.matrices().xyImag;
    input.xyWidth = kImageWidth;
    input.xyHeight = kImageHeight;
    input.intensity = data.output.intImg.intensity;
    for (int32_t e = 0; e < kMaxExposures; ++e) {
        input.expTimes[e] = static_cast<float32_t>(exposures.expTimes[e]);
        input.ampNormFactors[e] = exposures.ampNormFactors[e];
    }
    input.numExpTimes = static_cast<int32_t>(exposures.numExpTimes);
    input.distNoiseThreshold = call.customization().distNoiseThreshold;
    DistnoiseInOut& inout = data.inout.distNoise;
    inout.noise = call.result.distanceNoise;
    inout.distance = call.result.distance;
    inout.confidence = call.confidence();
    if (DistnoiseApply(&input, &inout, &data.output.distNoise) != 0) {
        return reportFailure(kSourceFile);
    }
    book(call, data.profiling.distNoise);
    if (al_memcpy(call.result.intensity, data.output.intImg.intensity, sizeof call.result.intensity) != 0) {
        return reportFailure(kSourceFile);
    }
    call.result.intensityInvalid = 0;
    call.result.distanceNoiseInvalid = 0;
    return 0;
}

int32_t autoExposure(Call& call) noexcept {
    QorStaticData& data = call.data;
    AutoExposureInput& input = data.input.autoExpInput;
    input.settings = call.customization().autoExpSet;
    const auto saturatedPixels = static_cast<float32_t>(input.settings.maxNumberOfSaturatedPixels);
    for (SingleAlgoSettings& settings : input.specificSettings) {
        settings.saturationCheckQuantile = 1.0F - saturatedPixels * kOneDivPixelCount;
        settings.expTimeFactorBetweenSettings = 1.5F;
    }
    input.specificSettings[0].numExpTimesBase = 20;
    input.specificSettings[1].numExpTimesBase = 10;
    input.histograms = call.rawToDistOut().histograms;
    input.numExposures = static_cast<uint32_t>(data.ifInput.param.numExposures);
    for (int32_t e = 0; e < kMaxExposures; ++e) {
        input.expTimes[e] = static_cast<uint32_t>(call.rawToDistOut().expTimes[e]);
    }
    return finish(call,
                  AutoExposure_Apply(&input, &data.param.autoExpParam, &data.state.autoExpState,
                                     &data.scratch.autoExpScratch, &data.output.autoExpOutput),
                  data.profiling.autoExposure);
}

void applyVignetting(Call& call) noexcept {
    DistanceImage_ApplyVignetting(call.result.normalizedAmplitude,
                                  call.data.ifCalib.imagerCalib.freqIndependent.vignetting);
}

int32_t imageFilter(Call& call) noexcept {
    QorStaticData& data = call.data;
    ImageFilterInOut& inout = data.inout.imageFilter;
    inout.amplitude = call.result.normalizedAmplitude;
    inout.normalizedAmplitude = call.result.normalizedAmplitude;
    inout.distance = call.result.distance;
    inout.confidence = call.confidence();
    ImageFilterInput& input = data.input.imageFilter;
    input.width = kImageWidth;
    input.height = kImageHeight;
    input.settings = call.customization().filterSet;
    return finish(call,
                  ImageFilter_Apply(&g_imageFilterState, &input, &inout, &data.scratch.imageFilter,
                                    &data.param.imageFilter, &data.services.imageFilter),
                  data.profiling.imageFilter);
}

int32_t camToWorld(Call& call) noexcept {
    QorStaticData& data = call.data;
    data.inout.camToWorld.conf = call.confidence();
    data.inout.camToWorld.distance = call.result.distance;
    CamToWorldInput& input = data.input.camToWorld;
    input.width = kImageWidth;
    input.height = kImageHeight;
    input.extrinsicCalib = &call.customization().extrinsicCalibrationCamera;
    input.applyDistortion = 1;
    input.clipping = &kClipping;
    input.disableCalcCartesian = call.customization().disableCalcCartesian;
    input.numThreads = 0;
    data.output.camToWorld.X = call.result.X;
    data.output.camToWorld.Y = call.result.Y;
    data.output.camToWorld.Z = call.result.Z;
    if (CamToWorld_Apply(&data.state.camToWorld, &input, &data.inout.camToWorld, &data.output.camToWorld,
                         &data.services.camToWorld) != 0) {
        return reportFailure(kSourceFile);
    }
    call.result.unitVectorChangeCounter = data.output.camToWorld.changeCounter;
    call.result.coord3Dinvalid = input.disableCalcCartesian;
    if (copyDistToCart(call) != 0) {
        return 1;
    }
    book(call, data.profiling.camToWorld);
    return 0;
}

void offerResult(Call& call) noexcept {
    offer(call, {channel::kResult, &call.result, sizeof call.result, zeltaGet_QorDistanceImageIFOutput});
}

int32_t deliverExposureProposal(Call& call) noexcept {
    const AutoExposureOutput& proposal = call.data.output.autoExpOutput;
    call.result.autoExpReady = proposal.autoExpReady;
    switch (proposal.numExposures) {
        case 1:
            call.result.longAutoExpTime = proposal.newExpTimes[0];
            return 0;
        case 2:
            call.result.shortAutoExpTime = proposal.newExpTimes[0];
            call.result.longAutoExpTime = proposal.newExpTimes[1];
            return 0;
        default:
            return reportFailure(kSourceFile);
    }
}

void bookTotals(Call& call, Timestamp_t saveStartTime, bool frameFinished) noexcept {
    QorStaticData& data = call.data;
    const FctGetTime now = data.services.ifServices.fctGetTime;
    ALProfilingItem& frame = data.state.total_frame_profiling;
    book(call, frame);
    if (frameFinished) {
        const float64_t microseconds =
            std::clamp(frame.cumRuntimeMsecs * kMicrosecondsPerMillisecond, 0.0, 4294967295.0);
        call.startTime = now() - static_cast<Timestamp_t>(microseconds);
        book(call, data.profiling.total_frame);
        al_mem_zero(&frame, sizeof frame);
    }
    al_profile(&data.profiling.total, now, &saveStartTime);
}

}  // namespace driver
