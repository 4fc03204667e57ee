// SPDX-License-Identifier: Apache-2.0
//
// What a raw image costs around the pipeline: the packet is taken apart, its records are assigned, and the
// result is packed. In place of the pipeline stand functions that only offer their channels. Beside it a
// plain copy of the same bytes; the work around the pipeline may cost 1.5 times that plus 10 microseconds.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <memory>

#include "ALUtil.h"
#include "AlgoDistanceImage.h"
#include "Camera.h"
#include "QorData.h"
#include "QorDescriptors.h"
#include "QorDistanceImageInterface.h"
#include "TestMemory.h"

// ---------------------------------------------------------------------------------------------------------------------
// A pipeline that does nothing but offer its channels

extern "C" {
const alif_char_t* const g_vStr = "";
}

namespace {
int g_imagesOfFrame = 0;
}

alif_int32_t QorDistanceImage_Init(const QorDistanceImageIFCalib*, const RuvoFrequencyHoppingTable*,
                                   const QorDistanceImageIFParam*, const AlgoExtrinsicCalibration*,
                                   const QorDistanceImageServices*, QorDistToCartesian*) noexcept {
    g_imagesOfFrame = 0;
    return 0;
}

alif_int32_t QorDistanceImage_Apply(const QorRawdataPhase* image, const QorDistanceImageCustomization*,
                                    QorDistanceImageIFOutput* result, AlgoMeasBuffer* measBuffer,
                                    alif_uint32_t measBuffersArraySize) noexcept {
    static QorDistanceImageIFInput input;
    static QorDistanceImageState state;
    static QorDistanceImageInput stageInput;
    static QorDistanceImageOutput stageOutput;
    static QorDistanceImageDebug debug;
    static QorDistanceImageProfiling profiling;
    std::fill_n(measBuffer, measBuffersArraySize, AlgoMeasBuffer{});
    std::uint32_t next = 0;
    const auto offer = [&](std::uint32_t channel, const void* record, std::uint32_t size,
                           FctZeltaGet getter) {
        al_packZeltaBuffer(measBuffer, &next, channel, record, size, getter);
    };
    offer(3208, &input, sizeof input, zeltaGet_QorDistanceImageIFInput);
    offer(3214, &state, sizeof state, zeltaGet_QorDistanceImageState);
    offer(3216, &stageInput, sizeof stageInput, zeltaGet_QorDistanceImageInput);
    offer(3218, &stageOutput, sizeof stageOutput, zeltaGet_QorDistanceImageOutput);
    offer(3220, &debug, sizeof debug, zeltaGet_QorDistanceImageDebug);
    offer(3222, &profiling, sizeof profiling, zeltaGet_QorDistanceImageProfiling);
    offer(3200, image->phaseData, kRawPhaseBytes, zeltaGet_QorRawPhaseData);
    g_imagesOfFrame = (g_imagesOfFrame + 1) % kPhasesPerExposure;
    result->outputInvalid = g_imagesOfFrame == 0 ? 0 : 1;
    if (result->outputInvalid == 0) {
        offer(3210, result, sizeof *result, zeltaGet_QorDistanceImageIFOutput);
    }
    return 0;
}

alif_int32_t QorDistanceImage_GetErrorString(alif_char_t* errorString, alif_int32_t) noexcept {
    *errorString = 0;
    return 0;
}

alif_int32_t QorDistanceImage_QueryVersion(AlgoVersion* version) noexcept {
    *version = {};
    return 0;
}

// ---------------------------------------------------------------------------------------------------------------------

namespace {

using host_testing::Bytes;
using Clock = std::chrono::steady_clock;

double nanoseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::nano>(duration).count();
}

/** An algorithm after its first frame, and the packets of a frame. */
class Session {
 public:
    explicit Session(const host_testing::LayoutChange& change) {
        host_testing::Camera camera(change);
        process(camera.calibrationPacket());
        for (Bytes& packet : m_packets) {
            packet = camera.imagePacket();
        }
        for (int frame = 0; frame < 2; ++frame) {
            takeFrame([](auto&& take) { take(); });
        }
    }

    /** All images of a frame; `onImage(take)` takes one that does not finish it. */
    template <class OnImage>
    void takeFrame(OnImage onImage) {
        for (std::size_t image = 0; image + 1 < m_packets.size(); ++image) {
            onImage([&] { m_bytesOut = take(m_packets[image]); });
        }
        take(m_packets.back());
    }

    /** Copies as many bytes as an image and its result have, and does nothing else. */
    void copy(std::size_t image) {
        std::memcpy(m_copies[image].data(), m_packets[image].data(), m_packets[image].size());
        std::memcpy(m_result.data(), m_source.data(), m_bytesOut);
        benchmark::ClobberMemory();
    }

    std::size_t bytes() const { return m_packets[0].size() + m_bytesOut; }

 private:
    void process(const Bytes& packet) {
        m_algorithm->processZelta(packet.data(), static_cast<int>(packet.size()), false);
    }

    /** Takes a packet in and the short result out; returns its size. */
    std::size_t take(const Bytes& packet) {
        process(packet);
        const int size = m_algorithm->getRequiredOutputSize(true);
        m_algorithm->packResult(m_result.data(), size);
        return static_cast<std::size_t>(size);
    }

    static constexpr std::size_t kLargestImagePacket = 1 << 17;
    static constexpr std::size_t kLargestResult = 1 << 21;

    std::unique_ptr<AlgoDistanceImage> m_algorithm = std::make_unique<AlgoDistanceImage>();
    std::array<Bytes, kPhasesPerExposure> m_packets;
    std::array<Bytes, kPhasesPerExposure> m_copies = {Bytes(kLargestImagePacket), Bytes(kLargestImagePacket),
                                                      Bytes(kLargestImagePacket), Bytes(kLargestImagePacket)};
    Bytes m_result = Bytes(kLargestResult);
    Bytes m_source = Bytes(kLargestResult);
    std::size_t m_bytesOut = 0;
};

/** Images that finish no frame. Copies alternate with them, so that both see the same machine. */
void aroundThePipeline(benchmark::State& state, const host_testing::LayoutChange& change) {
    constexpr std::size_t kImages = kPhasesPerExposure - 1;
    Session session(change);
    double around = 0.0;
    double copied = 0.0;
    std::size_t allocations = 0;
    for (auto _ : state) {
        double frame = 0.0;
        session.takeFrame([&](auto&& take) {
            const std::size_t allocationsBefore = test_memory::g_allocations;
            const Clock::time_point start = Clock::now();
            take();
            frame += nanoseconds(Clock::now() - start);
            allocations += test_memory::g_allocations - allocationsBefore;
        });
        const Clock::time_point start = Clock::now();
        for (std::size_t image = 0; image < kImages; ++image) {
            session.copy(image);
        }
        copied += nanoseconds(Clock::now() - start);
        around += frame;
        state.SetIterationTime(frame / kImages * 1e-9);
    }
    const double images = static_cast<double>(state.iterations()) * kImages;
    state.counters["memcpy_us"] = copied / images * 1e-3;
    state.counters["bound_us"] = 1.5 * copied / images * 1e-3 + 10.0;
    state.counters["of_bound"] = around / images / (1.5 * copied / images + 10000.0);
    state.counters["allocations"] = static_cast<double>(allocations) / images;
    state.counters["bytes"] = static_cast<double>(session.bytes());
}

void nativeSender(benchmark::State& state) {
    aroundThePipeline(state, {});
}

void reorderedSender(benchmark::State& state) {
    host_testing::LayoutChange change;
    change.reversed = true;
    aroundThePipeline(state, change);
}

void bigEndianSender(benchmark::State& state) {
    host_testing::LayoutChange change;
    change.bigEndian = true;
    aroundThePipeline(state, change);
}

BENCHMARK(nativeSender)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(reorderedSender)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(bigEndianSender)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace
