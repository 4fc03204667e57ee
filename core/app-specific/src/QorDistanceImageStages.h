// SPDX-License-Identifier: Apache-2.0
//
// The stages as the driver calls them: each function here fills the input record of one stage, calls it and
// books its time. The order of the stages is not known here; it stands in QorDistanceImageInterface.cpp. All
// of them return 0, or 1 after a report under the driver's own path.
#pragma once

#include "ALErrorHandling.h"
#include "QorData.h"

namespace driver {

inline constexpr char_t kSourceFile[] = "core/app-specific/src/QorDistanceImageInterface";

/** One call of QorDistanceImage_Apply. */
struct Call {
    QorStaticData& data;
    const QorRawdataPhase& rawData;
    QorDistanceImageIFOutput& result;
    AlgoMeasBuffer* measBuffers;
    uint32_t measBufferCount;
    uint32_t nextMeasBuffer;
    Timestamp_t startTime;  ///< moves on with every stage that is booked
    int32_t current;        ///< which of the two working sets is being filled

    const QorRawdataPhaseInfo& info() const noexcept { return rawData.info; }
    /** The settings of this call, as the input channel shows them. */
    const QorDistanceImageCustomization& customization() const noexcept { return data.ifInput.customization; }
    bool correctsStraylight() const noexcept { return customization().enableStraylightCorrection != 0; }
    QorMatrices& matrices() const noexcept { return data.state.matrices[current]; }
    /** The sixteen-bit confidence image that every stage marks. */
    uint16_t* confidence() const noexcept { return matrices().confidence; }
    QorRawToDistOutput& rawToDistOut() const noexcept { return data.state.rawToDistOut[current]; }
    QorRawToDistOutput& previousRawToDistOut() const noexcept { return data.state.rawToDistOut[1 - current]; }
};

// Initialisation: one step per stage.

int32_t initRawToDist(QorStaticData& data) noexcept;
int32_t initWiggling(QorStaticData& data) noexcept;
/** Builds the tables of initWiggling once more. */
int32_t buildWigglingTables(QorStaticData& data) noexcept;
int32_t initStraylight(QorStaticData& data) noexcept;
int32_t initSuspectPixels(QorStaticData& data) noexcept;
int32_t initAutoExposure(QorStaticData& data) noexcept;
int32_t initIntensityImage(QorStaticData& data) noexcept;
int32_t initMultiFreq(QorStaticData& data) noexcept;
int32_t initImageFilter(QorStaticData& data) noexcept;
int32_t initCamToWorld(QorStaticData& data, const AlgoExtrinsicCalibration& userCalibration) noexcept;
/** The viewing rays. Later changes are then recognised as such. */
int32_t copyUnitVectors(QorStaticData& data, QorDistToCartesian& distToCartesian) noexcept;

// With every image.

/** Reads both clocks at once, so that a host can relate their times. */
int32_t updateTimeMapping(QorStaticData& data) noexcept;
void offerDebugChannels(Call& call) noexcept;
/** Switches the working set at the first image after a finished phase group. */
int32_t chooseWorkingSet(Call& call) noexcept;
int32_t takeIntensityImage(Call& call) noexcept;
int32_t rawToDist(Call& call) noexcept;

// With a finished phase group.

int32_t wigglingBackward(Call& call) noexcept;
int32_t correctStraylight(Call& call) noexcept;
int32_t wigglingForward(Call& call) noexcept;
/** Phases to metres, in place. With straylight correction the corrected phase is used. */
int32_t rawToDistRemaining(Call& call) noexcept;
int32_t repairSuspectPixels(Call& call) noexcept;
int32_t multiFreq(Call& call) noexcept;

// With a finished frame.

/** Needs an intensity image since the previous frame; does nothing while noise estimation is off. */
int32_t deliverNoiseAndIntensity(Call& call) noexcept;
/** Runs in every mode; when switched off, it proposes the times of this frame. */
int32_t autoExposure(Call& call) noexcept;
void applyVignetting(Call& call) noexcept;
int32_t imageFilter(Call& call) noexcept;
int32_t camToWorld(Call& call) noexcept;
void offerResult(Call& call) noexcept;
int32_t deliverExposureProposal(Call& call) noexcept;

/** Books the call and, when a frame is finished, the runtime of all its calls. */
void bookTotals(Call& call, Timestamp_t saveStartTime, bool frameFinished) noexcept;

}  // namespace driver
