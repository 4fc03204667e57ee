// SPDX-License-Identifier: Apache-2.0
#include "golden/Recordings.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Camera.h"
#include "golden/Hash.h"
#include "golden/Scenes.h"

namespace golden {
namespace {

using host_testing::Camera;
using host_testing::LayoutChange;
using Settings = std::function<void(Camera& camera)>;

/** A camera whose packets are kept. */
class Take {
 public:
    explicit Take(const LayoutChange& change = {}) : camera(change) { camera.scene = sceneOf(View::Room); }

    void calibration() { packet(camera.calibrationPacket()); }
    void customPin() { packet(camera.customizationPacket(), true); }
    void newAlgorithm() { m_steps.push_back({}); }
    void images(int count) {
        for (int image = 0; image < count; ++image) {
            packet(camera.imagePacket());
        }
    }
    void frames(int count) { images(count * camera.imagesPerFrame()); }
    void packet(Bytes bytes, bool fromCustomPin = false) {
        m_steps.push_back({std::move(bytes), fromCustomPin});
    }

    const std::vector<Step>& steps() const { return m_steps; }

    Camera camera;

 private:
    std::vector<Step> m_steps;
};

void measureWith(Camera& camera, int exposures, int frequencies) {
    QorDistanceImageIFInput& input = camera.input;
    input.param.numExposures = exposures;
    input.param.numFrequencies = frequencies;
    input.freqHoppingTable.frequencyHoppingTable[0] = {0, static_cast<alif_uint16_t>(frequencies - 1), 1};
    input.freqHoppingTable.frequencyHoppingTable[1] = {1, 0, 1};
    input.freqHoppingTable.frequencyHoppingTableLength = frequencies;
    input.customization.twoFreqMaxLineDistPercentage = 80.0F;
    input.customization.minAmplitude = 15.0F;
}

void setRich(Camera& camera) {
    camera.input = host_testing::richInput();
    camera.input.customization.enableStraylightCorrection = 0;
    camera.intensityImage = true;
}

ImageFilterSettings& filtersOf(Camera& camera) {
    ImageFilterSettings& filters = camera.input.customization.filterSet;
    filters.applyDistanceFilter = 1;
    filters.applyAmplitudeFilter = 1;
    filters.tempMeanSettings.numberOfFrames = 3;
    filters.tempAdexpSettings = {0.02F, 0.3F, 0.2F, 0.9F};
    filters.spatBilateralSettings = {FilterMaskSize_3x3, 1.2F, 0.08F};
    return filters;
}

AutoExpSettings& exposureControlOf(Camera& camera) {
    AutoExpSettings& control = camera.input.customization.autoExpSet;
    control.applyAutoExposure = AutoExposureApplyMode_Normal;
    control.minLongShortFactor = 2;
    control.maxLongShortFactor = 8;
    control.maxNumberOfSaturatedPixels = 60;
    return control;
}

ROIItem& addRegion(AutoExpSettings& control, ROIType type) {
    RegionsOfInterest& regions = control.roiSettings.rois;
    ROIItem& region = regions.ROIs[regions.noROIs];
    region.ID = static_cast<alif_int32_t>(regions.noROIs++);
    region.type = type;
    return region;
}

void setPolygon(ROIItem& region, std::initializer_list<AlgoPoint2D> corners) {
    std::copy(corners.begin(), corners.end(), region.polygon.points2D);
    region.polygon.noPoints = static_cast<alif_uint32_t>(corners.size());
}

void compensateDrift(Camera& camera) {
    useDriftFrequencies(*camera.calib);
    camera.scene = sceneOf(View::Room, 1, kDriftRanges);
    camera.input.customization.compensateAmbientLightDrift = 1;
}

/** Unit vectors of a different lens, in place of those that the intrinsic model gives. */
void setUnitVectors(QorDistanceImageIFCalib& calib) {
    for (int pixel = 0; pixel < kPixelCount; ++pixel) {
        const float x = (static_cast<float>(pixel % kImageWidth) - 111.5F) / 180.0F;
        const float y = (static_cast<float>(pixel / kImageWidth) - 85.5F) / 180.0F;
        const float length = std::sqrt(x * x + y * y + 1.0F);
        calib.unitVectors[3 * pixel] = x / length;
        calib.unitVectors[3 * pixel + 1] = y / length;
        calib.unitVectors[3 * pixel + 2] = 1.0F / length;
    }
}

class List {
 public:
    void add(const std::string& name, const std::function<void(Take& take)>& shoot,
             const LayoutChange& change = {}) {
        m_recordings.push_back({name, [shoot, change] {
                                    Take take(change);
                                    shoot(take);
                                    return take.steps();
                                }});
    }

    /** Two frames, or as many as given, after the calibration. */
    void addFrames(const std::string& name, const Settings& set, int frames = 2,
                   const LayoutChange& change = {}) {
        add(
            name,
            [set, frames](Take& take) {
                measureWith(take.camera, 1, 1);
                set(take.camera);
                take.calibration();
                take.frames(frames);
            },
            change);
    }

    std::vector<Recording> take() { return std::move(m_recordings); }

 private:
    std::vector<Recording> m_recordings;
};

void addModes(List& list) {
    for (const int exposures : {1, 2}) {
        for (const int frequencies : {1, 2}) {
            const std::string name =
                std::to_string(exposures) + "-exposures-" + std::to_string(frequencies) + "-frequencies";
            list.addFrames(name, [=](Camera& camera) { measureWith(camera, exposures, frequencies); });
            list.addFrames(name + "-full-calibration", [=](Camera& camera) {
                measureWith(camera, exposures, frequencies);
                camera.calib = fullCalibration(17);
                camera.input.phaseInfo.illuTemperature = 55.5F;
                camera.input.customization.maximumRawSymmetry = 0.2F;
            });
        }
    }
    list.addFrames("two-frequencies-filtered-assignment", [](Camera& camera) {
        measureWith(camera, 1, 2);
        camera.input.customization.filter2FreqAssignment = 1;
        camera.input.customization.twoFreqMaxLineDistPercentage = 25.0F;
    });
    list.addFrames("two-frequencies-limited-range", [](Camera& camera) {
        measureWith(camera, 1, 2);
        camera.input.param.maxUniqueRange = 6.0F;
    });
    list.addFrames("two-frequencies-vertical-assignment", [](Camera& camera) {
        measureWith(camera, 2, 2);
        camera.input.param.verticalAssignment = 1;
    });
}

void addFilters(List& list) {
    const auto spatial = [&](const std::string& name, SpatialFilter filter, FilterMaskSize mask) {
        list.addFrames("spatial-" + name, [=](Camera& camera) {
            camera.scene = sceneOf(View::Holes, 3);
            ImageFilterSettings& filters = filtersOf(camera);
            filters.spatialFilter = filter;
            filters.spatMedianSettings.maskSize = mask;
            filters.spatMeanSettings.maskSize = mask;
            filters.spatBilateralSettings.maskSize = mask;
        });
    };
    spatial("median-3", SpatialFilter_Median, FilterMaskSize_3x3);
    spatial("median-5", SpatialFilter_Median, FilterMaskSize_5x5);
    spatial("mean-3", SpatialFilter_Mean, FilterMaskSize_3x3);
    spatial("mean-5", SpatialFilter_Mean, FilterMaskSize_5x5);
    spatial("bilateral-3", SpatialFilter_Bilateral, FilterMaskSize_3x3);
    spatial("bilateral-5", SpatialFilter_Bilateral, FilterMaskSize_5x5);
    for (const TemporalFilter filter : {TempFilter_Mean, TempFilter_AdaptiveExponential}) {
        const std::string name = filter == TempFilter_Mean ? "mean" : "adaptive-exponential";
        list.addFrames(
            "temporal-" + name,
            [=](Camera& camera) {
                camera.scene = sceneOf(View::Holes, 4);
                filtersOf(camera).temporalFilter = filter;
            },
            5);
        list.addFrames(
            "temporal-" + name + "-and-spatial",
            [=](Camera& camera) {
                measureWith(camera, 1, 2);
                ImageFilterSettings& filters = filtersOf(camera);
                filters.temporalFilter = filter;
                filters.spatialFilter =
                    filter == TempFilter_Mean ? SpatialFilter_Median : SpatialFilter_Bilateral;
            },
            3);
    }
    list.addFrames("filter-of-the-distance-alone", [](Camera& camera) {
        ImageFilterSettings& filters = filtersOf(camera);
        filters.spatialFilter = SpatialFilter_Mean;
        filters.applyAmplitudeFilter = 0;
    });
    list.addFrames("filter-of-the-amplitude-alone", [](Camera& camera) {
        ImageFilterSettings& filters = filtersOf(camera);
        filters.spatialFilter = SpatialFilter_Bilateral;
        filters.applyDistanceFilter = 0;
    });
    list.add("filters-that-change", [](Take& take) {
        measureWith(take.camera, 1, 1);
        ImageFilterSettings& filters = filtersOf(take.camera);
        take.calibration();
        for (const TemporalFilter filter : {TempFilter_Mean, TempFilter_AdaptiveExponential, TempFilter_Mean,
                                            TempFilter_None, TempFilter_Mean}) {
            filters.temporalFilter = filter;
            take.frames(1);
            filters.tempMeanSettings.numberOfFrames += filter == TempFilter_None ? 4 : 0;
        }
    });
}

void addProducts(List& list) {
    for (const int exposures : {1, 2}) {
        for (const int frequencies : {1, 2}) {
            const std::string name =
                "noise-" + std::to_string(exposures) + "-by-" + std::to_string(frequencies);
            list.addFrames(name, [=](Camera& camera) {
                measureWith(camera, exposures, frequencies);
                camera.calib = fullCalibration(5);
                camera.intensityImage = true;
                camera.input.customization.enableNoiseEstimation = 1;
                camera.input.customization.distNoiseThreshold = 0.02F;
            });
        }
    }
    list.addFrames("drift-compensation", [](Camera& camera) {
        measureWith(camera, 2, 1);
        camera.intensityImage = true;
        compensateDrift(camera);
    });
    list.addFrames("drift-compensation-refused", [](Camera& camera) {
        camera.intensityImage = true;
        camera.input.customization.compensateAmbientLightDrift = 1;
    });
    list.addFrames("drift-compensation-with-noise", [](Camera& camera) {
        setRich(camera);
        camera.calib = fullCalibration(6);
        compensateDrift(camera);
    });
    list.addFrames("pose-of-the-camera", [](Camera& camera) {
        camera.input.customization.extrinsicCalibrationCamera = {0.5F, -1.25F, 2.0F, 0.3F, -0.7F, 1.9F};
    });
    list.addFrames("unit-vectors-given", [](Camera& camera) { setUnitVectors(*camera.calib); });
    list.addFrames("no-coordinates",
                   [](Camera& camera) { camera.input.customization.disableCalcCartesian = 1; });
    list.addFrames("all-products", setRich, 3);
}

void addExposureControl(List& list) {
    list.addFrames("exposure-whole-image", [](Camera& camera) {
        addRegion(exposureControlOf(camera), ROITypeRectangle).rectangle = {
            {112.0F, 86.0F}, 224.0F, 172.0F, 0.0F};
    });
    list.addFrames(
        "exposure-of-two",
        [](Camera& camera) {
            measureWith(camera, 2, 2);
            AutoExpSettings& control = exposureControlOf(camera);
            addRegion(control, ROITypeEllipse).ellipse = {{100.0F, 70.0F}, 150.0F, 60.0F, 0.6F};
            addRegion(control, ROITypeRectangle).rectangle = {{150.0F, 100.0F}, 60.0F, 30.0F, 0.4F};
            control.continuous = 1;
            control.expTimeLowerLimit = 150;
        },
        3);
    list.addFrames("exposure-polygon", [](Camera& camera) {
        AutoExpSettings& control = exposureControlOf(camera);
        setPolygon(addRegion(control, ROITypePolygon),
                   {{20.0F, 20.0F}, {200.5F, 31.25F}, {120.0F, 90.0F}, {190.0F, 160.0F}, {12.0F, 150.0F}});
    });
    list.addFrames("exposure-expanded-regions-refused", [](Camera& camera) {
        AutoExpSettings& control = exposureControlOf(camera);
        control.applyAutoExposure = AutoExposureApplyMode_ROIExpansion;
        addRegion(control, ROITypeRectangle).rectangle = {{60.0F, 60.0F}, 12.0F, 9.0F, 0.2F};
    });
    list.addFrames("exposure-reference-point-refused", [](Camera& camera) {
        measureWith(camera, 2, 1);
        AutoExpSettings& control = exposureControlOf(camera);
        control.roiSettings.type = AutoExposureROIType_ReferencePoint;
        control.roiSettings.referencePoint = {70.0F, 70.0F};
    });
    list.addFrames("exposure-saturated", [](Camera& camera) {
        measureWith(camera, 2, 1);
        camera.scene = sceneOf(View::Saturated);
        addRegion(exposureControlOf(camera), ROITypeRectangle).rectangle = {
            {112.0F, 86.0F}, 224.0F, 172.0F, 0.0F};
    });
    list.addFrames("exposure-dark", [](Camera& camera) {
        measureWith(camera, 2, 1);
        camera.scene = sceneOf(View::Dark);
        addRegion(exposureControlOf(camera), ROITypeRectangle).rectangle = {
            {112.0F, 86.0F}, 224.0F, 172.0F, 0.0F};
    });
}

void addScenes(List& list) {
    const auto scene = [&](const std::string& name, View view) {
        list.addFrames("scene-" + name, [view](Camera& camera) {
            setRich(camera);
            camera.calib = fullCalibration(23);
            camera.scene = sceneOf(view, 9);
        });
    };
    scene("dark", View::Dark);
    scene("saturated", View::Saturated);
    scene("holes", View::Holes);
    scene("zeros", View::Zeros);
    scene("full", View::Full);
    scene("any-bytes", View::AnyBytes);
}

void addExtremes(List& list) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kMax = std::numeric_limits<float>::max();
    for (const auto& [name, value] :
         {std::pair{"infinite", kInfinity}, {"not-a-number", kNan}, {"largest", kMax}, {"zero", 0.0F}}) {
        list.addFrames(std::string("settings-") + name, [value = value](Camera& camera) {
            setRich(camera);
            QorDistanceImageCustomization& custom = camera.input.customization;
            custom.distNoiseThreshold = value;
            custom.filterSet.tempAdexpSettings = {value, value, value, value};
            custom.filterSet.spatBilateralSettings.sigmaDistance = value;
            custom.extrinsicCalibrationCamera.transX = value;
        });
        list.addFrames(std::string("gates-") + name, [value = value](Camera& camera) {
            setRich(camera);
            QorDistanceImageCustomization& custom = camera.input.customization;
            custom.minAmplitude = value;
            custom.maximumRawSymmetry = value;
            custom.twoFreqMaxLineDistPercentage = value;
        });
        list.addFrames(std::string("calibration-") + name, [value = value](Camera& camera) {
            setRich(camera);
            camera.calib = fullCalibration(31);
            for (FreqDependentCalibration& frequency : camera.calib->imagerCalib.freqDependent) {
                std::fill_n(frequency.FPPN + 5000, 700, value);
            }
            std::fill_n(camera.calib->imagerCalib.freqIndependent.vignetting + 9000, 900, value);
        });
    }
    list.addFrames("temperature-far-off", [](Camera& camera) {
        setRich(camera);
        camera.calib = fullCalibration(32);
        camera.input.phaseInfo.illuTemperature = -273.0F;
    });
}

void addLayouts(List& list) {
    LayoutChange bigEndian;
    bigEndian.bigEndian = true;
    list.addFrames("layout-big-endian", setRich, 1, bigEndian);
    LayoutChange moved;
    moved.reversed = true;
    moved.added = true;
    moved.version = 0x0200;
    list.addFrames("layout-reversed", setRich, 1, moved);
    LayoutChange all = moved;
    all.bigEndian = true;
    all.version = 0x0100;
    list.addFrames("layout-reversed-big-endian", setRich, 1, all);
    LayoutChange without;
    without.removed = {"QorDistanceImageIFInput.customization.filterSet",
                       "QorDistanceImageIFInput.phaseInfo.timestamp"};
    list.addFrames("layout-without-members", setRich, 1, without);
    LayoutChange retyped;
    retyped.retyped = {"QorDistanceImageIFInput.phaseInfo.timestamp",
                       "QorDistanceImageIFInput.customization.filterSet.applyDistanceFilter"};
    list.addFrames("layout-other-signs", setRich, 1, retyped);
}

void addStraylight(List& list) {
    for (const int exposures : {1, 2}) {
        for (const int frequencies : {1, 2}) {
            const std::string name =
                "straylight-" + std::to_string(exposures) + "-by-" + std::to_string(frequencies);
            list.addFrames(name, [=](Camera& camera) {
                measureWith(camera, exposures, frequencies);
                camera.calib = fullCalibration(41);
                camera.input.customization.enableStraylightCorrection = 1;
            });
        }
    }
    list.addFrames("straylight-thresholds", [](Camera& camera) {
        camera.input.customization.enableStraylightCorrection = 1;
        camera.input.customization.absDistStraylightThreshold = 0.03F;
        camera.input.customization.relAmpStraylightThreshold = 0.1F;
        camera.scene = sceneOf(View::Holes, 2);
    });
    list.addFrames("straylight-with-all-products", [](Camera& camera) {
        setRich(camera);
        camera.input.customization.enableStraylightCorrection = 1;
        camera.calib = fullCalibration(42);
    });
    list.addFrames("straylight-saturated", [](Camera& camera) {
        setRich(camera);
        camera.input.customization.enableStraylightCorrection = 1;
        camera.scene = sceneOf(View::Saturated);
    });
    list.addFrames("straylight-any-bytes", [](Camera& camera) {
        camera.input.customization.enableStraylightCorrection = 1;
        camera.scene = sceneOf(View::AnyBytes);
    });
}

/** What hosts do between frames, and what goes wrong in them. */
void addSessions(List& list) {
    list.add("parameters-that-change", [](Take& take) {
        measureWith(take.camera, 1, 1);
        take.calibration();
        take.frames(1);
        measureWith(take.camera, 2, 2);
        take.camera.restartFrame();
        take.frames(1);
        take.camera.input.param.maxUniqueRange = 5.0F;
        take.frames(1);
    });
    list.add("custom-pin", [](Take& take) {
        setRich(take.camera);
        take.customPin();
        take.calibration();
        take.camera.input.customization = {};
        take.frames(2);
    });
    list.add("new-algorithm", [](Take& take) {
        setRich(take.camera);
        take.calibration();
        take.frames(1);
        take.newAlgorithm();
        take.camera.calib = fullCalibration(51);
        take.calibration();
        take.frames(1);
    });
    list.add("image-without-input", [](Take& take) {
        measureWith(take.camera, 1, 1);
        take.calibration();
        take.images(2);
        take.packet(take.camera.rawPacket());
        take.images(2);
        take.frames(1);
    });
    list.add("image-before-calibration", [](Take& take) {
        measureWith(take.camera, 1, 1);
        take.images(4);
        take.calibration();
        take.frames(1);
    });
    list.add("failure-and-recovery", [](Take& take) {
        measureWith(take.camera, 1, 1);
        take.calibration();
        take.frames(1);
        take.images(3);
        take.camera.nextImage();
        take.camera.input.phaseInfo.freqIdx = host_testing::kNoFrequencySlot;
        take.packet(host_testing::packetOf({take.camera.inputChunk(), take.camera.rawChunk()}));
        take.frames(2);
    });
    list.add("no-intensity-image-for-noise", [](Take& take) {
        measureWith(take.camera, 1, 1);
        take.camera.input.customization.enableNoiseEstimation = 1;
        take.calibration();
        take.frames(1);
        take.camera.input.customization.enableNoiseEstimation = 0;
        take.frames(1);
    });
    list.add("lost-image", [](Take& take) {
        measureWith(take.camera, 1, 2);
        take.calibration();
        take.frames(1);
        take.images(2);
        take.camera.nextImage();
        take.images(5);
        take.frames(2);
    });
}

std::vector<Recording> makeRecordings() {
    List list;
    addModes(list);
    addFilters(list);
    addProducts(list);
    addExposureControl(list);
    addStraylight(list);
    addScenes(list);
    addExtremes(list);
    addLayouts(list);
    addSessions(list);
    return list.take();
}

}  // namespace

const std::vector<Recording>& recordings() {
    static const std::vector<Recording> all = makeRecordings();
    return all;
}

std::uint64_t hashOfInput(const std::vector<Step>& steps) {
    Hash hash;
    for (const Step& step : steps) {
        hash.add(step.fromCustomPin ? 1 : 0);
        Packet chunks;
        if (!step.packet.empty()) {
            packet_parse(step.packet.data(), static_cast<int>(step.packet.size()), chunks);
        }
        for (const ZeltaChunk& chunk : chunks) {
            hash.add(static_cast<std::uint32_t>(chunk.channelID));
            hash.addBytes(static_cast<const std::uint8_t*>(chunk.data),
                          static_cast<std::size_t>(chunk.dataSize));
        }
    }
    return hash.value();
}

}  // namespace golden
