// SPDX-License-Identifier: Apache-2.0
//
// The pipeline as its host sees it: a plain calibration, clocks that tests set, images in, result out.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "QorDistanceImageInterface.h"
#include "support/RawImages.h"

namespace testing_support {

/** The microseconds that the host's clock shows. */
inline Timestamp_t g_time = 0;

/** A host with a calibration that corrects nothing. Every test initialises the one pipeline anew. */
class PipelineHost : public ::testing::Test {
 protected:
    PipelineHost()
        : calib_(std::make_unique<QorDistanceImageIFCalib>()),
          result_(std::make_unique<QorDistanceImageIFOutput>()),
          distToCartesian_(std::make_unique<QorDistToCartesian>()) {
        QorRawToDistCalib& imager = calib_->imagerCalib;
        for (FreqDependentCalibration& frequency : imager.freqDependent) {
            frequency.ampWigg[0] = 1.0F;
            frequency.refTemperature = 40.0F;
        }
        imager.freqIndependent.maxDiff = 4095;
        std::fill_n(imager.freqIndependent.vignetting, kPixelCount, 1.0F);
        imager.frequencies[0] = 60e6F;
        imager.frequencies[1] = 80e6F;
        imager.numberOfFrequencies = 2;
        for (int32_t pixel = 0; pixel < kPixelCount; ++pixel) {
            calib_->unitVectors[3 * pixel + 2] = 1.0F;  // every pixel looks along the optical axis
        }
        calib_->intrinsicCalibration.fx = 200.0F;
        calib_->intrinsicCalibration.fy = 200.0F;
        calib_->intrinsicCalibration.mx = 112.0F;
        calib_->intrinsicCalibration.my = 86.0F;
        hopping_.frequencyHoppingTable[0] = {0, 1, 1};
        hopping_.frequencyHoppingTable[1] = {1, 0, 1};
        param_.numExposures = 1;
        param_.numFrequencies = 1;
        param_.maxUniqueRange = -1.0F;
        param_.maxExposureTime = 2000;
        customization_.maximumRawSymmetry = 1.0F;
        services_.fctGetTime = [] { return g_time += 10; };
        services_.fctGetSystemTime = [] { return AlgoSystemTime{123, 456}; };
        for (QorRawdataPhase& phase : group_) {
            phase.info.illuTemperature = 40.0F;
        }
    }

    int32_t init() {
        hopping_.frequencyHoppingTableLength = param_.numFrequencies == 1 ? 1 : 2;
        return QorDistanceImage_Init(calib_.get(), &hopping_, &param_, &userCalibration_, &services_,
                                     distToCartesian_.get());
    }

    int32_t apply(const QorRawdataPhase& image) {
        return QorDistanceImage_Apply(&image, &customization_, result_.get(), measBuffers_,
                                      std::size(measBuffers_));
    }

    /** The result of the last image of a group whose others must pass. */
    int32_t applyGroup(const PhaseGroup& group) {
        for (size_t k = 0; k < 3; ++k) {
            EXPECT_EQ(apply(group[k]), 0) << errorString();
        }
        return apply(group[3]);
    }

    static std::string errorString() {
        char text[200] = "untouched";
        EXPECT_EQ(QorDistanceImage_GetErrorString(text, sizeof text), 0);
        return text;
    }

    /** The message of the first error, without file and line. */
    static std::string errorMessage() {
        const std::string text = errorString();
        const size_t colon = text.find(": ");
        return colon == std::string::npos ? text : text.substr(colon + 2);
    }

    /** Auto exposure over the whole image. */
    void askForExposureTimes() {
        AutoExpSettings& settings = customization_.autoExpSet;
        settings.applyAutoExposure = AutoExposureApplyMode_Normal;
        settings.minLongShortFactor = 2;
        settings.maxLongShortFactor = 8;
        ROIItem& whole = settings.roiSettings.rois.ROIs[0];
        whole.type = ROITypeRectangle;
        whole.rectangle = {{kImageWidth / 2.0F, kImageHeight / 2.0F}, kImageWidth, kImageHeight, 0.0F};
        settings.roiSettings.rois.noROIs = 1;
    }

    std::unique_ptr<QorDistanceImageIFCalib> calib_;
    std::unique_ptr<QorDistanceImageIFOutput> result_;
    std::unique_ptr<QorDistToCartesian> distToCartesian_;
    RuvoFrequencyHoppingTable hopping_ = {};
    QorDistanceImageIFParam param_ = {};
    QorDistanceImageCustomization customization_ = {};
    AlgoExtrinsicCalibration userCalibration_ = {};
    QorDistanceImageServices services_ = {};
    AlgoMeasBuffer measBuffers_[kMeasBufferCount] = {};
    PhaseGroup group_;
};

}  // namespace testing_support
