// SPDX-License-Identifier: Apache-2.0
#include "StraylightCorrection.h"

#include "ALErrorHandling.h"
#include "ALImageResize.h"
#include "ALUtil.h"
#include "ALfft.h"
#include "StraylightCorrectionKernels.h"

namespace {

constexpr char_t kSourceFile[] = "core/app-specific/src/StraylightCorrection";
constexpr FixedLineReport fail = {kSourceFile};

// Lines under which failures are known.
constexpr int32_t kLinePsfCopy = 29;
constexpr int32_t kLinePsfReduction = 33;
constexpr int32_t kLinePsfCopyBack = 34;
constexpr int32_t kLinePsfSum = 47;
constexpr int32_t kLineFirstSetup = 93;
constexpr int32_t kLineSecondSetup = 96;
constexpr int32_t kLineNoAlignedStart = 106;
constexpr int32_t kLinePsfTransform = 111;
constexpr int32_t kLineInitRecordNull = 121;
constexpr int32_t kLineInitCalibNull = 122;
constexpr int32_t kLineInitPsfHeight = 123;
constexpr int32_t kLineInitPsfWidth = 124;
constexpr int32_t kLineLevel = 161;
constexpr int32_t kLineNoPsfHeight = 172;
constexpr int32_t kLineNoPsfWidth = 173;
constexpr int32_t kLinePreparation = 181;
constexpr int32_t kLineScratchNull = 184;
constexpr int32_t kLineCreateThread = 202;
constexpr int32_t kLineImage = 207;
constexpr int32_t kLineJoinThread = 212;
constexpr int32_t kLineReduction = 252;
constexpr int32_t kLineReducedSize = 253;
constexpr int32_t kLineConvolution = 266;
constexpr int32_t kLineInterpolationSize = 281;
constexpr int32_t kLineInterpolation = 289;
constexpr int32_t kLineReducedWidth = 321;

constexpr int32_t kMaxLevel = 5;
constexpr uint64_t kHalfPixels = kMaxFftPixels / 2;
constexpr uint32_t kLineMemoryBytes = sizeof(ALSLC_FFTProcScratch::filteredImg);
static_assert(kHalfPixels == 221184 && kLineMemoryBytes == 154112);

FctCreateThread g_createThread = nullptr;
FctJoinThread g_joinThread = nullptr;
SLC_ProcessHDR_Args g_threadArgs = {};  // of the started thread, which outlives a call that failed to join it

/** The two halves of the pyramid's memory, used in turn. */
float32_t* halfOf(ALSLC_FFTProcScratch& scratch, int32_t index) noexcept {
    return scratch.dsbuffer + static_cast<uint64_t>(index) * kHalfPixels;
}

// --- Preparation -----------------------------------------------------------------------------------------

/** An image and its size. */
struct Image {
    float32_t* pixels;
    uint32_t width;
    uint32_t height;
};

/** Copies the point spread function into fftImg. */
int32_t copyPsf(const StraylightCalib& calib, ALSLC_FFTProcScratch& scratch, Image& psf) noexcept {
    const uint64_t size = uint64_t{calib.psfWidth} * calib.psfHeight;
    if (calib.psfWidth > kMaxFftWidth || calib.psfHeight > kMaxFftHeight || size > kPsfSize) {
        return fail(kLinePsfCopy);
    }
    psf = {scratch.fftImg, calib.psfWidth, calib.psfHeight};
    const auto bytes = static_cast<int32_t>(size * sizeof(float32_t));
    return al_memcpy(psf.pixels, calib.psf, bytes) != 0 ? fail(kLinePsfCopy) : 0;
}

/** Halves the point spread function. Each pixel then stands for four. */
int32_t halvePsf(ALSLC_FFTProcScratch& scratch, Image& psf) noexcept {
    if (ire_binom_half(scratch.dsbuffer, &psf.width, &psf.height, psf.pixels, psf.width, psf.height, -1, -1,
                       IRE_FLOAT32_BINOM3x3, scratch.filteredImg, kLineMemoryBytes) != 0) {
        return fail(kLinePsfReduction);
    }
    const auto bytes = static_cast<int32_t>(psf.width * psf.height * sizeof(float32_t));
    return al_memcpy(psf.pixels, scratch.dsbuffer, bytes) != 0 ? fail(kLinePsfCopyBack) : 0;
}

/**
 * Scales the function so that its integral is that of the full image, removes the central peak (the light
 * that was not scattered), and divides the remainder by the whole sum.
 */
int32_t keepScatterPart(const Image& psf, float32_t scale, float32_t filterCutOff) noexcept {
    const uint32_t count = psf.width * psf.height;
    float32_t sum = 0.0F;
    float32_t mx = 0.0F;
    for (uint32_t i = 0; i < count; ++i) {
        const float32_t v = psf.pixels[i] * scale;
        psf.pixels[i] = v;
        sum += v;
        mx = al_maxf(v, mx);
    }
    if (!(sum > 0.0F)) {
        return fail(kLinePsfSum);
    }
    const float32_t inv = 1.0F / sum;
    const float32_t cut = al_minf(mx, filterCutOff);
    for (uint32_t i = 0; i < count; ++i) {
        const float32_t v = psf.pixels[i];
        psf.pixels[i] = cut > v ? v * inv : 0.0F;
    }
    return 0;
}

/** Mirrors the function about its centre and wraps it around, so that the centre moves to (0, 0). */
void placePsf(const Image& psf, int32_t fftWidth, int32_t fftHeight, float32_t* placed) noexcept {
    const auto width = static_cast<int32_t>(psf.width);
    const auto height = static_cast<int32_t>(psf.height);
    al_mem_zero(placed, fftWidth * fftHeight * static_cast<int32_t>(sizeof(float32_t)));
    for (int32_t y = 0; y < height; ++y) {
        const int32_t dy = height / 2 - y;
        const int32_t ty = dy < 0 ? dy + fftHeight : dy;
        for (int32_t x = 0; x < width; ++x) {
            const int32_t dx = width / 2 - x;
            const int32_t tx = dx < 0 ? dx + fftWidth : dx;
            placed[ty * fftWidth + tx] = psf.pixels[y * width + x];
        }
    }
}

/** The first 16-byte boundary in fftPsf. */
int32_t alignTransform(ALSLC_State& state) noexcept {
    for (int32_t k = 0; k < 5; ++k) {
        if (reinterpret_cast<uintptr_t>(&state.fftPsf[k]) % 16 == 0) {
            state.fftPsfOffset = k;
            return 0;
        }
    }
    state.fftPsfOffset = 5;
    return fail(kLineNoAlignedStart);
}

int32_t setUpTransforms(ALSLC_State& state, void* (&handles)[2]) noexcept {
    constexpr int32_t kLines[] = {kLineFirstSetup, kLineSecondSetup};
    for (int32_t i = 0; i < 2; ++i) {
        if (setup_fft2(&handles[i], state.fftWidth, state.fftHeight, state.fftBuffer[i], kFftSetupBytes) !=
            0) {
            return fail(kLines[i]);
        }
    }
    return 0;
}

/**
 * Transforms the point spread function for a level. The handles are set when all is done: without them the
 * convolution fails.
 */
int32_t prepare_fft(const StraylightCalib& calib, ALSLC_State& state, ALSLC_FFTProcScratch& scratch,
                    int32_t level) noexcept {
    state.pyrLevel = level;
    state.ffthandle[0] = nullptr;
    state.ffthandle[1] = nullptr;
    Image psf = {};
    if (copyPsf(calib, scratch, psf) != 0) {
        return 1;
    }
    float32_t scale = 1.0F;
    for (int32_t i = 0; i < level; ++i) {
        if (halvePsf(scratch, psf) != 0) {
            return 1;
        }
        scale *= 4.0F;
    }
    if (keepScatterPart(psf, scale, calib.filterCutOff) != 0) {
        return 1;
    }
    state.fftWidth = static_cast<int32_t>(alfft_next_fftsize(psf.width));
    state.fftHeight = static_cast<int32_t>(alfft_next_fftsize(psf.height));
    placePsf(psf, state.fftWidth, state.fftHeight, scratch.dsbuffer);
    void* handles[2] = {};
    if (setUpTransforms(state, handles) != 0 || alignTransform(state) != 0) {
        return 1;
    }
    const auto fftWidth = static_cast<uint32_t>(state.fftWidth);
    const auto fftHeight = static_cast<uint32_t>(state.fftHeight);
    if (alfft_fft2_r2c(scratch.dsbuffer, fftWidth, fftHeight, state.fftPsf + state.fftPsfOffset, fftWidth,
                       fftHeight, handles[0]) != 0) {
        return fail(kLinePsfTransform);
    }
    state.ffthandle[0] = handles[0];
    state.ffthandle[1] = handles[1];
    return 0;
}

// --- One image -------------------------------------------------------------------------------------------

/** Halves `from` into `to`, one half of the pyramid's memory. */
int32_t halveImage(const Image& from, Image& to, ALSLC_FFTProcScratch& scratch) noexcept {
    const uint64_t width = from.width / 2 + from.width % 2;
    const uint64_t height = from.height / 2 + from.height % 2;
    const bool linesFit = width * 3 * sizeof(float32_t) <= kLineMemoryBytes;
    if (linesFit && width * height > kHalfPixels) {
        return fail(kLineReducedSize);  // before a row is written
    }
    return ire_binom_half(to.pixels, &to.width, &to.height, from.pixels, from.width, from.height, -1, -1,
                          IRE_FLOAT32_BINOM3x3, scratch.filteredImg, kLineMemoryBytes) != 0
               ? fail(kLineReduction)
               : 0;
}

int32_t bilinear_upsampling(const SLC_ProcessHDR_Args& args, const Image& scattered, int32_t levels,
                            float32_t* lines) noexcept {
    if (uint64_t{args.w} * args.h > kHalfPixels) {
        return fail(kLineInterpolationSize);
    }
    if (args.w >> levels != scattered.width) {
        reportError(kSourceFile, kLineReducedWidth, nullptr);
        return fail(kLineInterpolation);
    }
    Straylight_Subtract({.image = args.hdr_image,
                         .width = args.w,
                         .height = args.h,
                         .scattered = scattered.pixels,
                         .scatteredWidth = scattered.width,
                         .scatteredHeight = scattered.height,
                         .levels = levels,
                         .factor = args.corr_factor,
                         .lines = lines});
    return 0;
}

void* processOnThread(void* args) noexcept {
    slcProcessHDR(static_cast<SLC_ProcessHDR_Args*>(args));  // a failure is in the error history
    return nullptr;
}

}  // namespace

int StraylightCorrection_Init(const ALSLC_Calib* calib, ALSLC_State* state, FctGetTime /*ffctGetTime*/,
                              FctCreateThread ffctCreateThread, FctJoinThread ffctJoinThread) noexcept {
    if (calib == nullptr || state == nullptr) {
        return fail(kLineInitRecordNull);
    }
    const StraylightCalib* const systemCalib = calib->systemCalib;
    if (systemCalib == nullptr) {
        return fail(kLineInitCalibNull);
    }
    if (systemCalib->psfHeight > kMaxFftHeight) {
        return fail(kLineInitPsfHeight);
    }
    if (systemCalib->psfWidth > kMaxFftWidth) {
        return fail(kLineInitPsfWidth);
    }
    state->pyrLevel = -1;
    g_createThread = ffctCreateThread;
    g_joinThread = ffctJoinThread;
    return 0;
}

int StraylightCorrection_Apply(const ALSLC_Calib* calib, ALSLC_State* state, ALSLC_Scratch* scratch,
                               ALSLC_Inout* inout) noexcept {
    if (calib == nullptr || state == nullptr || inout == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (inout->pyrLevel > kMaxLevel) {
        return fail(kLineLevel);
    }
    if (inout->pyrLevel < 0) {
        return 0;
    }
    const StraylightCalib* const systemCalib = calib->systemCalib;
    if (systemCalib == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (systemCalib->psfHeight == 0) {
        return fail(kLineNoPsfHeight);
    }
    if (systemCalib->psfWidth == 0) {
        return fail(kLineNoPsfWidth);
    }
    if (scratch == nullptr) {
        return fail(kLineScratchNull);
    }
    if (inout->pyrLevel != state->pyrLevel &&
        prepare_fft(*systemCalib, *state, scratch->fftProcScratch[0], inout->pyrLevel) != 0) {
        return fail(kLinePreparation);
    }

    // One thread is started at most: there are two images, and the caller takes one of them.
    const bool onThread = inout->numberOfThreads > 1;
    SLC_ProcessHDR_Args args = {.calib = calib,
                                .state = state,
                                .scratch = &scratch->fftProcScratch[0],
                                .hdr_image = inout->xyReal,
                                .w = inout->width,
                                .h = inout->height,
                                .corr_factor = systemCalib->correctionFactor,
                                .binnedMode = calib->binningEnabled,
                                .xyidx = 0};
    int32_t thread = 0;
    if (onThread) {
        g_threadArgs = args;
        if (g_createThread == nullptr || g_joinThread == nullptr ||
            g_createThread(processOnThread, &g_threadArgs, &thread) != 0) {
            return fail(kLineCreateThread);
        }
    } else if (slcProcessHDR(&args) != 0) {
        return fail(kLineImage);
    }
    args.scratch = &scratch->fftProcScratch[1];
    args.hdr_image = inout->xyImag;
    args.xyidx = 1;
    const int32_t failed = slcProcessHDR(&args) != 0 ? fail(kLineImage) : 0;
    if (onThread && g_joinThread(thread) != 0) {
        return fail(kLineJoinThread);
    }
    return failed;
}

int slcProcessHDR(SLC_ProcessHDR_Args* args) noexcept {
    if (args == nullptr || args->state == nullptr || args->scratch == nullptr || args->hdr_image == nullptr) {
        return reportFailure(kSourceFile);
    }
    if (args->w == 0 || args->h == 0 || args->xyidx < 0 || args->xyidx > 1) {
        return reportFailure(kSourceFile);
    }
    const ALSLC_State& state = *args->state;
    ALSLC_FFTProcScratch& scratch = *args->scratch;
    const int32_t levels = state.pyrLevel - (args->binnedMode != 0 ? 1 : 0);
    if (levels < 0 || levels > kMaxLevel) {
        return reportFailure(kSourceFile);  // a binned image has no level 0
    }

    Image current = {args->hdr_image, args->w, args->h};
    int32_t target = state.pyrLevel % 2 != 0 ? 0 : 1;
    for (int32_t i = 0; i < levels; ++i) {
        Image halved = {halfOf(scratch, target), 0, 0};
        if (halveImage(current, halved, scratch) != 0) {
            return 1;
        }
        current = halved;
        target = 1 - target;
    }
    if (uint64_t{current.width} * current.height > kHalfPixels) {
        return fail(kLineInterpolationSize);  // an image that was not halved is too large to correct
    }
    const Image scattered = {halfOf(scratch, target), current.width, current.height};
    if (alfft_fft2_circ_convolve(current.pixels, current.width, current.height,
                                 state.fftPsf + state.fftPsfOffset, static_cast<uint32_t>(state.fftWidth),
                                 static_cast<uint32_t>(state.fftHeight), scattered.pixels, scattered.width,
                                 scattered.height, state.ffthandle[args->xyidx]) != 0) {
        return fail(kLineConvolution);
    }
    return bilinear_upsampling(*args, scattered, levels, halfOf(scratch, 1 - target));
}
