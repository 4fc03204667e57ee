// SPDX-License-Identifier: Apache-2.0
//
// The straylight correction of a phase group, two images at level 3: the whole, its parts, and, where FFTW is
// installed, the whole with its transforms in place of ours.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "ALImageResize.h"
#include "ALfft.h"
#include "ALfftKernels.h"
#include "StraylightCorrection.h"
#include "StraylightCorrectionKernels.h"
#include "benchmarks/support/Targets.h"
#include "support/Random.h"

#ifdef QOR_BENCHMARK_FFTW
#include <fftw3.h>
#endif

namespace {

using benchmark_support::registerOnEveryTarget;

constexpr int32_t kLevel = 3;
constexpr uint32_t kReducedWidth = 28;
constexpr uint32_t kReducedHeight = 22;
constexpr uint32_t kFftSize = 64;
constexpr uint32_t kFftPixels = kFftSize * kFftSize;

/** Records of the stage and two images, prepared for the level. */
struct Workload {
    Workload() : state(std::make_unique<ALSLC_State>()), scratch(std::make_unique<ALSLC_Scratch>()) {
        testing_support::Random random(1);
        for (std::vector<float>& image : images) {
            image.resize(kPixelCount);
            for (float& pixel : image) {
                pixel = random.real(-500.0F, 500.0F);
            }
        }
        calib.systemCalib = getCompiledInCalib();
        inout = {images[0].data(), images[1].data(), kImageWidth, kImageHeight, 0, kLevel};
        StraylightCorrection_Apply(&calib, state.get(), scratch.get(), &inout);
    }

    const float* psfSpectrum() const { return state->fftPsf + state->fftPsfOffset; }

    /** Image `i` halved to the level; lies in one of the two memories. */
    const float* reduce(size_t i) {
        ALSLC_FFTProcScratch& s = scratch->fftProcScratch[i];
        float* targets[2] = {s.dsbuffer, s.dsbuffer + kMaxFftPixels / 2};
        const float* from = images[i].data();
        uint32_t width = kImageWidth;
        uint32_t height = kImageHeight;
        for (int32_t level = 0; level < kLevel; ++level) {
            float* const to = targets[level % 2];
            ire_binom_half(to, &width, &height, from, width, height, -1, -1, IRE_FLOAT32_BINOM3x3,
                           s.filteredImg, sizeof s.filteredImg);
            from = to;
        }
        return from;
    }

    void subtract(size_t i, const float* scattered) {
        ALSLC_FFTProcScratch& s = scratch->fftProcScratch[i];
        Straylight_Subtract({images[i].data(), kImageWidth, kImageHeight, scattered, kReducedWidth,
                             kReducedHeight, kLevel, 1.609766F, s.fftImg});
    }

    ALSLC_Calib calib = {};
    ALSLC_Inout inout = {};
    std::vector<float> images[2];
    std::unique_ptr<ALSLC_State> state;
    std::unique_ptr<ALSLC_Scratch> scratch;
    alignas(64) float spectrum[kFftPixels] = {};
    float reduced[kReducedWidth * kReducedHeight] = {};
};

Workload& workload() {
    static Workload instance;
    return instance;
}

/** Repeats `work(workload, image)` for both images as long as the benchmark asks for. */
template <class Work>
auto onBothImages(Work work) {
    return [work](benchmark::State& state) {
        Workload& w = workload();
        for (auto _ : state) {
            work(w, 0);
            work(w, 1);
            benchmark::ClobberMemory();
        }
    };
}

#ifdef QOR_BENCHMARK_FFTW

/** The circular convolution with FFTW's two-dimensional transforms. */
class FftwConvolution {
 public:
    FftwConvolution() {
        forward_ = fftwf_plan_dft_r2c_2d(kFftSize, kFftSize, image_, spectrum_, FFTW_PATIENT);
        inverse_ = fftwf_plan_dft_c2r_2d(kFftSize, kFftSize, spectrum_, image_, FFTW_PATIENT);
        std::fill_n(&psf_[0][0], 2 * kSpectrum, 0.5F);
    }
    ~FftwConvolution() {
        fftwf_destroy_plan(forward_);
        fftwf_destroy_plan(inverse_);
    }
    FftwConvolution(const FftwConvolution&) = delete;
    FftwConvolution& operator=(const FftwConvolution&) = delete;

    void convolve(const float* from, float* to) {
        std::fill_n(image_, kFftPixels, 0.0F);
        for (size_t y = 0; y < kReducedHeight; ++y) {
            std::memcpy(image_ + y * kFftSize, from + y * kReducedWidth, kReducedWidth * sizeof(float));
        }
        fftwf_execute(forward_);
        for (size_t i = 0; i < kSpectrum; ++i) {
            const float real = spectrum_[i][0] * psf_[i][0] - spectrum_[i][1] * psf_[i][1];
            const float imag = spectrum_[i][0] * psf_[i][1] + spectrum_[i][1] * psf_[i][0];
            spectrum_[i][0] = real;
            spectrum_[i][1] = imag;
        }
        fftwf_execute(inverse_);
        constexpr float kScale = 1.0F / static_cast<float>(kFftPixels);
        for (size_t y = 0; y < kReducedHeight; ++y) {
            for (size_t x = 0; x < kReducedWidth; ++x) {
                to[y * kReducedWidth + x] = image_[y * kFftSize + x] * kScale;
            }
        }
    }

 private:
    static constexpr size_t kSpectrum = kFftSize * (kFftSize / 2 + 1);
    alignas(64) float image_[kFftPixels];
    alignas(64) fftwf_complex spectrum_[kSpectrum];
    alignas(64) fftwf_complex psf_[kSpectrum];
    fftwf_plan forward_;
    fftwf_plan inverse_;
};

FftwConvolution& fftwConvolution() {
    static FftwConvolution instance;
    return instance;
}

void correctWithFftw(Workload& w, size_t i) {
    fftwConvolution().convolve(w.reduce(i), w.reduced);
    w.subtract(i, w.reduced);
}

#endif

const bool registered = [] {
    registerOnEveryTarget("Straylight/PhaseGroup", [](benchmark::State& state) {
        Workload& w = workload();
        for (auto _ : state) {
            StraylightCorrection_Apply(&w.calib, w.state.get(), w.scratch.get(), &w.inout);
            benchmark::ClobberMemory();
        }
    });
#ifdef QOR_BENCHMARK_FFTW
    fftwConvolution();  // plans for a while
    registerOnEveryTarget("Straylight/PhaseGroupWithFftw", onBothImages(correctWithFftw));
#endif
    registerOnEveryTarget("Straylight/Pyramid", onBothImages([](Workload& w, size_t i) { w.reduce(i); }));
    registerOnEveryTarget("Straylight/Forward", onBothImages([](Workload& w, size_t i) {
                              alfft_fft2_r2c(w.images[i].data(), kReducedWidth, kReducedHeight, w.spectrum,
                                             kFftSize, kFftSize, w.state->ffthandle[i]);
                          }));
    registerOnEveryTarget("Straylight/Multiply", onBothImages([](Workload& w, size_t) {
                              std::fill_n(w.spectrum, kFftPixels, 1.0F);  // products grow without end
                              ALfft_MultiplySpectra(w.spectrum, w.psfSpectrum(), kFftSize, kFftSize);
                          }));
    registerOnEveryTarget("Straylight/Inverse", onBothImages([](Workload& w, size_t i) {
                              alfft_ifft2_r2c(w.psfSpectrum(), kFftSize, kFftSize, w.reduced, kReducedWidth,
                                              kReducedHeight, w.state->ffthandle[i]);
                          }));
    registerOnEveryTarget("Straylight/Subtraction",
                          onBothImages([](Workload& w, size_t i) { w.subtract(i, w.reduced); }));
    return true;
}();

}  // namespace
