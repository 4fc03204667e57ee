// SPDX-License-Identifier: Apache-2.0
//
// The medians of the image filter, on an image without holes and on one with a tenth of its pixels as holes.
// Where OpenCV is installed, its median runs on the first image too.
#include <memory>
#include <vector>

#include "ImageFilterMedian.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"
#include "tests/core/externals/RawDataProcessingTamver/src/ImageFilterMedianRule.h"
#if QOR_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#endif

namespace {

struct Workload {
    Workload()
        : scratch(std::make_unique<ImageFilterScratch>()),
          full(kPixelCount),
          holed(kPixelCount),
          result(kPixelCount) {
        testing_support::Random random(4);
        for (size_t i = 0; i < full.size(); ++i) {
            full[i] = random.real(0.1F, 8.0F);
            holed[i] = random.integer(0, 9) == 0 ? 0.0F : full[i];
        }
    }

    std::unique_ptr<ImageFilterScratch> scratch;
    std::vector<float> full, holed, result;
};

Workload& workload() {
    static Workload instance;
    return instance;
}

void median3x3Of(Workload& w, const std::vector<float>& image) {
    median3x3(image.data(), w.result.data(), kImageWidth, kImageHeight, 0, kImageHeight);
}

void median5x5Of(Workload& w, std::vector<float>& image) {
    median5x5(image.data(), w.result.data(), kImageWidth, kImageHeight, 0, kImageHeight, w.scratch.get(), 0);
}

#if QOR_HAVE_OPENCV
void registerOpenCv(const char* name, int maskSize) {
    benchmark::RegisterBenchmark(name, [maskSize](benchmark::State& state) {
        cv::setNumThreads(1);
        Workload& w = workload();
        const cv::Mat image(kImageHeight, kImageWidth, CV_32F, w.full.data());
        cv::Mat result(kImageHeight, kImageWidth, CV_32F, w.result.data());
        for (auto _ : state) {
            cv::medianBlur(image, result, maskSize);
            benchmark::ClobberMemory();
        }
        benchmark_support::countPixels(state);
    });
}
#endif

const bool registered = [] {
    using namespace benchmark_support;
    registerOnEveryTarget("median3x3", repeat(workload, [](Workload& w) { median3x3Of(w, w.full); }));
    registerOnEveryTarget("median3x3WithHoles",
                          repeat(workload, [](Workload& w) { median3x3Of(w, w.holed); }));
    registerScalar("median3x3WithHoles", repeat(workload, [](Workload& w) {
                       rule::median3x3(w.holed.data(), w.result.data(), kImageWidth, kImageHeight, 0,
                                       kImageHeight);
                   }));
    registerOnEveryTarget("median5x5", repeat(workload, [](Workload& w) { median5x5Of(w, w.full); }));
    registerOnEveryTarget("median5x5WithHoles",
                          repeat(workload, [](Workload& w) { median5x5Of(w, w.holed); }));
    registerScalar("median5x5WithHoles", repeat(workload, [](Workload& w) {
                       rule::median5x5(w.holed.data(), w.result.data(), kImageWidth, kImageHeight, 0,
                                       kImageHeight);
                   }));
#if QOR_HAVE_OPENCV
    registerOpenCv("median3x3/OpenCV", 3);
    registerOpenCv("median5x5/OpenCV", 5);
#endif
    return true;
}();

}  // namespace
