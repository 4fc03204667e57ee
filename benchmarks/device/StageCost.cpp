// SPDX-License-Identifier: Apache-2.0
//
// What each stage costs on a device: plays a recording to the plug-in and measures the driver's stages from
// outside. The linker leads their calls through the functions here (--wrap), so the library is the one that
// ships. scripts/device-figures makes the tables of docs/device.md with it.
//
//   stage_cost marks RECORDING FRAMES [SETTING...]   calls stage_begin_NAME and stage_end_NAME around each
//                                                    stage of the last frame, for a counter of instructions
//   stage_cost stack RECORDING FRAMES [SETTING...]   prints the most stack that each stage took, in bytes
#include <ucontext.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "QorDistanceImageInterface.h"
#include "QorDistanceImageStages.h"
#include "QorPlugin.h"
#include "zelta_packet.h"

namespace {

using Task = std::function<void()>;

bool g_measuresStack = false;
bool g_inLastFrame = false;
std::map<std::string, std::size_t> g_stack;  ///< bytes, by stage
std::vector<std::string> g_settings;

// ---------------------------------------------------------------------------------------------------------------------
// The stack of a task: it runs on a stack of its own, filled with a pattern before.

constexpr std::size_t kStackBytes = std::size_t{1} << 20;
constexpr unsigned char kPattern = 0xA5;

alignas(64) std::array<unsigned char, kStackBytes> g_ownStack;
ucontext_t g_caller;
ucontext_t g_callee;
const Task* g_task = nullptr;

void runTask() {
    (*g_task)();
}

std::size_t stackOf(const Task& task) {
    g_ownStack.fill(kPattern);
    g_task = &task;
    getcontext(&g_callee);
    g_callee.uc_stack.ss_sp = g_ownStack.data();
    g_callee.uc_stack.ss_size = g_ownStack.size();
    g_callee.uc_link = &g_caller;
    makecontext(&g_callee, runTask, 0);
    swapcontext(&g_caller, &g_callee);
    const auto deepest =
        std::find_if(g_ownStack.begin(), g_ownStack.end(), [](unsigned char c) { return c != kPattern; });
    return static_cast<std::size_t>(g_ownStack.end() - deepest);
}

void measure(const char* name, void (*begin)(), void (*end)(), const Task& task) {
    if (g_measuresStack) {
        g_stack[name] = std::max(g_stack[name], stackOf(task));
        return;
    }
    if (g_inLastFrame) {
        begin();
    }
    task();
    if (g_inLastFrame) {
        end();
    }
}

template <typename Stage>
auto measured(const char* name, void (*begin)(), void (*end)(), const Stage& stage) {
    if constexpr (std::is_void_v<decltype(stage())>) {
        measure(name, begin, end, stage);
    } else {
        decltype(stage()) result{};
        measure(name, begin, end, [&] { result = stage(); });
        return result;
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Settings that a recording of the simulated camera cannot have

void apply(const std::string& setting, QorDistanceImageCustomization& customization) {
    ImageFilterSettings& filters = customization.filterSet;
    filters.applyDistanceFilter = 1;
    const FilterMaskSize mask = setting.ends_with("5x5") ? FilterMaskSize_5x5 : FilterMaskSize_3x3;
    if (setting == "straylight") {
        customization.enableStraylightCorrection = 1;
    } else if (setting.starts_with("median")) {
        filters.spatialFilter = SpatialFilter_Median;
        filters.spatMedianSettings.maskSize = mask;
    } else if (setting.starts_with("mean")) {
        filters.spatialFilter = SpatialFilter_Mean;
        filters.spatMeanSettings.maskSize = mask;
    } else if (setting.starts_with("bilateral")) {
        filters.spatialFilter = SpatialFilter_Bilateral;
        filters.spatBilateralSettings.maskSize = mask;
    } else if (setting == "temporal-mean") {
        filters.temporalFilter = TempFilter_Mean;
    } else if (setting == "temporal-adaptive") {
        filters.temporalFilter = TempFilter_AdaptiveExponential;
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------------------------------
// The marks, and the functions that stand before the stages

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker's own names
// Each mark has a text of its own, so that no two of them become one function.
#define QOR_MARKS(name)                                      \
    extern "C" [[gnu::noinline]] void stage_begin_##name() { \
        __asm__ volatile("/* begin " #name " */");           \
    }                                                        \
    extern "C" [[gnu::noinline]] void stage_end_##name() {   \
        __asm__ volatile("/* end " #name " */");             \
    }

#define QOR_STAGE(type, length, name)                                                                    \
    QOR_MARKS(name)                                                                                      \
    type real_##name(driver::Call& call) __asm__("__real__ZN6driver" #length #name "ERNS_4CallE");       \
    type wrap_##name(driver::Call& call) __asm__("__wrap__ZN6driver" #length #name "ERNS_4CallE");       \
    type wrap_##name(driver::Call& call) {                                                               \
        return measured(#name, stage_begin_##name, stage_end_##name, [&] { return real_##name(call); }); \
    }

// The lengths belong to the names that the linker sees; a wrong one does not link.
QOR_STAGE(int32_t, 18, takeIntensityImage)
QOR_STAGE(int32_t, 9, rawToDist)
QOR_STAGE(int32_t, 16, wigglingBackward)
QOR_STAGE(int32_t, 17, correctStraylight)
QOR_STAGE(int32_t, 15, wigglingForward)
QOR_STAGE(int32_t, 18, rawToDistRemaining)
QOR_STAGE(int32_t, 19, repairSuspectPixels)
QOR_STAGE(int32_t, 9, multiFreq)
QOR_STAGE(int32_t, 24, deliverNoiseAndIntensity)
QOR_STAGE(int32_t, 12, autoExposure)
QOR_STAGE(void, 15, applyVignetting)
QOR_STAGE(int32_t, 11, imageFilter)
QOR_STAGE(int32_t, 10, camToWorld)

QOR_MARKS(pipeline)
QOR_MARKS(packet)
QOR_MARKS(result)

extern "C" alif_int32_t __real_QorDistanceImage_Apply(const QorRawdataPhase* ruvoRawData,
                                                      const QorDistanceImageCustomization* diCustomization,
                                                      QorDistanceImageIFOutput* result,
                                                      AlgoMeasBuffer* measBuffer,
                                                      alif_uint32_t measBuffersArraySize) noexcept;

extern "C" alif_int32_t __wrap_QorDistanceImage_Apply(const QorRawdataPhase* ruvoRawData,
                                                      const QorDistanceImageCustomization* diCustomization,
                                                      QorDistanceImageIFOutput* result,
                                                      AlgoMeasBuffer* measBuffer,
                                                      alif_uint32_t measBuffersArraySize) noexcept {
    QorDistanceImageCustomization customization = *diCustomization;
    for (const std::string& setting : g_settings) {
        apply(setting, customization);
    }
    const auto pipeline = [&] {
        return __real_QorDistanceImage_Apply(ruvoRawData, &customization, result, measBuffer,
                                             measBuffersArraySize);
    };
    return g_measuresStack ? pipeline()
                           : measured("pipeline", stage_begin_pipeline, stage_end_pipeline, pipeline);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace {

// ---------------------------------------------------------------------------------------------------------------------
// The recording

using Bytes = std::vector<char>;

std::vector<Bytes> packetsOf(const char* path) {
    std::vector<Bytes> packets;
    std::FILE* const file = std::fopen(path, "rb");
    if (file == nullptr) {
        return packets;
    }
    std::vector<zelta::ZeltaChunk> chunks;
    std::unique_ptr<char[]> storage;
    for (long begin = 0; zelta::packet_parse(file, chunks, storage) == 0; begin = std::ftell(file)) {
        Bytes packet(static_cast<std::size_t>(std::ftell(file) - begin));
        std::fseek(file, begin, SEEK_SET);
        if (std::fread(packet.data(), 1, packet.size(), file) != packet.size()) {
            break;
        }
        packets.push_back(std::move(packet));
        if (std::fgetc(file) == EOF) {
            break;
        }
        std::fseek(file, -1, SEEK_CUR);
    }
    std::fclose(file);
    return packets;
}

bool processed(const Bytes& packet) {
    const bool marks = g_inLastFrame && !g_measuresStack;
    const auto mark = [marks](void (*function)()) {
        if (marks) {
            function();
        }
    };
    int32_t failed = 0;
    mark(stage_begin_packet);
    processZelta(packet.data(), static_cast<int32_t>(packet.size()), 0, &failed);
    mark(stage_end_packet);
    if (failed != 0) {
        std::fprintf(stderr, "%s\n", lastExceptionMessage());
        return false;
    }
    mark(stage_begin_result);
    static Bytes result;
    result.resize(static_cast<std::size_t>(getRequiredOutputSize(1)));
    packResult(result.data(), static_cast<int>(result.size()));
    mark(stage_end_result);
    return true;
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 4) {
        std::fprintf(stderr, "stage_cost marks|stack RECORDING FRAMES [SETTING...]\n");
        return 2;
    }
    g_measuresStack = std::strcmp(arguments[1], "stack") == 0;
    g_settings.assign(arguments + 4, arguments + count);
    const std::vector<Bytes> packets = packetsOf(arguments[2]);
    const auto frames = static_cast<std::size_t>(std::atoi(arguments[3]));
    if (frames == 0 || packets.size() < 1 + frames) {
        std::fprintf(stderr, "%s does not hold a calibration and so many frames.\n", arguments[2]);
        return 3;
    }
    const std::size_t imagesOfFrame = (packets.size() - 1) / frames;
    createAlgo();
    for (std::size_t k = 0; k < packets.size(); ++k) {
        g_inLastFrame = k + imagesOfFrame >= packets.size();
        if (!processed(packets[k])) {
            return 3;
        }
    }
    clearAlgo();
    for (const auto& [name, bytes] : g_stack) {
        std::printf("%s %zu\n", name.c_str(), bytes);
    }
    return 0;
}
