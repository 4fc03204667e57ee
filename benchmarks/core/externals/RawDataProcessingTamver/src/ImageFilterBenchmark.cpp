// SPDX-License-Identifier: Apache-2.0
//
// The loops of the image filter except its medians: mean and adaptive smoothing over time, mean and bilateral
// filter over the neighbourhood, each on an image without holes and on one with a tenth of its pixels
// invalid. Where OpenCV is installed, its functions run on the same images; they know no holes.
#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#ifdef QOR_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

#include "ImageFilter.h"
#include "ImageFilterSpatialKernels.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/externals/RawDataProcessingTamver/src/ImageFilterRule.h"

namespace {

using benchmark_support::registerOnEveryTarget;
using benchmark_support::registerScalar;
using benchmark_support::repeat;

constexpr uint32_t kFrames = 5;

/** A tilted wall with noise of 1 cm, with and without holes. */
struct Workload {
    Workload() : target(kPixelCount), confidence(kPixelCount), state(std::make_unique<ImageFilterState>()) {
        testing_support::Random random(1);
        for (std::vector<float>* const image : {&wall, &wallWithHoles}) {
            image->resize(kPixelCount);
            for (int32_t i = 0; i < kPixelCount; ++i) {
                const float column = static_cast<float>(i % kImageWidth);
                (*image)[static_cast<size_t>(i)] = 1.0F + column * 0.01F + random.real(-0.02F, 0.02F);
            }
        }
        for (float& pixel : wallWithHoles) {
            pixel = random.integer(0, 9) == 0 ? 0.0F : pixel;
        }
        tables[0] = rule::bilateralTables({FilterMaskSize_3x3, 1.5F, 0.05F});
        tables[1] = rule::bilateralTables({FilterMaskSize_5x5, 1.5F, 0.05F});
    }

    BilateralWeights weights(int32_t halfSize) const {
        const rule::BilateralTables& t = tables[halfSize - 1];
        return {t.spatialWeights, t.slope, t.offset, t.step};
    }

    FilterBand band(bool withHoles, int32_t halfSize) {
        return {withHoles ? wallWithHoles.data() : wall.data(), target.data(), kImageWidth, halfSize,
                kImageHeight - halfSize};
    }

    std::vector<float> wall, wallWithHoles, target;
    std::vector<uint16_t> confidence;
    std::unique_ptr<ImageFilterState> state;
    rule::BilateralTables tables[2];
};

Workload& workload() {
    static Workload instance;
    return instance;
}

#ifdef QOR_HAVE_OPENCV
/** Registers a function of OpenCV from the one image to the other, under name/OpenCV. */
template <class Filter>
void registerOpenCv(const std::string& name, Filter filter) {
    benchmark::RegisterBenchmark((name + "/OpenCV").c_str(), [filter](benchmark::State& state) {
        Workload& w = workload();
        const cv::Mat source(kImageHeight, kImageWidth, CV_32F, w.wall.data());
        cv::Mat target(kImageHeight, kImageWidth, CV_32F, w.target.data());
        cv::setNumThreads(1);
        for (auto _ : state) {
            filter(source, target);
            benchmark::ClobberMemory();
        }
        benchmark_support::countPixels(state);
    });
}
#endif

std::string rowName(const char* filter, int32_t halfSize, bool withHoles) {
    const std::string size = halfSize == 1 ? "3x3" : "5x5";
    return filter + size + (withHoles ? "Holes" : "");
}

/** The temporal filters work in place: each call filters the result of the call before. */
void registerTemporalFilters() {
    const TempFilterMeanSettings meanSettings = {kFrames};
    registerOnEveryTarget("imageFilterTemporalMean", [meanSettings](benchmark::State& state) {
        Workload& w = workload();
        ImFTemporalBuffer& history = w.state->tempMeanDist;
        std::memset(&history, 0, sizeof history);
        w.target = w.wallWithHoles;
        for (auto _ : state) {
            applyTemporalMeanFilter(w.target.data(), 0, kPixelCount, &history, &meanSettings);
            history.currentTempBuf = (history.currentTempBuf + 1) % kFrames;
            benchmark::ClobberMemory();
        }
    });
    const TempFilterAdaptExpSettings adaptiveSettings = {0.1F, 0.2F, 0.5F, 0.9F};
    registerOnEveryTarget("imageFilterAdaptive", [adaptiveSettings](benchmark::State& state) {
        Workload& w = workload();
        ImFTemporalBuffer& history = w.state->tempMeanDist;
        std::memset(&history, 0, sizeof history);
        w.target = w.wallWithHoles;
        for (auto _ : state) {
            applyTemporalAdExpFilter(w.target.data(), w.wall.data(), 0, kPixelCount, kPixelCount, nullptr,
                                     w.state.get(), &history, &adaptiveSettings);
            benchmark::ClobberMemory();
        }
    });
}

void registerSpatialFilters(int32_t halfSize, bool withHoles) {
    const std::string mean = rowName("imageFilterMean", halfSize, withHoles);
    registerOnEveryTarget(mean, repeat(workload, [=](Workload& w) {
                              ImageFilter_ComputeMeans(halfSize, w.band(withHoles, halfSize));
                          }));
    registerScalar(mean, repeat(workload, [=](Workload& w) {
                       rule::meanFilter(halfSize, w.band(withHoles, halfSize));
                   }));
    const std::string bilateral = rowName("imageFilterBilateral", halfSize, withHoles);
    registerOnEveryTarget(bilateral, repeat(workload, [=](Workload& w) {
                              ImageFilter_ComputeBilateral(halfSize, w.weights(halfSize),
                                                           w.band(withHoles, halfSize));
                          }));
    registerScalar(bilateral, repeat(workload, [=](Workload& w) {
                       rule::bilateralFilter(halfSize, w.weights(halfSize), w.band(withHoles, halfSize));
                   }));
#ifdef QOR_HAVE_OPENCV
    if (withHoles) {
        return;
    }
    const int size = 2 * halfSize + 1;
    registerOpenCv(mean, [size](const cv::Mat& source, cv::Mat& target) {
        cv::blur(source, target, {size, size});
    });
    registerOpenCv(bilateral, [size](const cv::Mat& source, cv::Mat& target) {
        cv::bilateralFilter(source, target, size, 0.05, 1.5);
    });
#endif
}

const bool registered = [] {
    registerTemporalFilters();
    for (const bool withHoles : {false, true}) {
        registerSpatialFilters(1, withHoles);
        registerSpatialFilters(2, withHoles);
    }
    registerOnEveryTarget("imageFilterConfidence", repeat(workload, [](Workload& w) {
                              ImageFilter_UpdateConfidence(w.wallWithHoles.data(), w.confidence.data(),
                                                           kPixelCount);
                          }));
    return true;
}();

}  // namespace
