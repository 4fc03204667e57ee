// SPDX-License-Identifier: Apache-2.0
#include "QorDICalibInterpreter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "Camera.h"
#include "QorDescriptors.h"
#include "TestMemory.h"

namespace {

using host_testing::Bytes;
using host_testing::Camera;
using host_testing::Layout;
using host_testing::LayoutChange;
using host_testing::OwnedChunk;

constexpr char kPrefix[] = "CalibInterpreter_Apply Exception: ";

class CalibInterpreter : public ::testing::Test {
 protected:
    CalibInterpreter() : calibration_(std::make_unique<QorDistanceImageIFCalib>()) {
        std::memset(calibration_.get(), 0x5A, sizeof *calibration_);
        std::memset(&auxInfo_, 0x5A, sizeof auxInfo_);
        for (AlgoMeasBuffer& buffer : measBuffer_) {
            buffer = {&auxInfo_, 7, 7, 7};
        }
    }

    int apply(const std::vector<OwnedChunk>& chunks, alif_uint32_t slots = 6) {
        return DICI_Qor::CalibInterpreter_Apply(host_testing::viewOf(chunks), *calibration_, auxInfo_,
                                                measBuffer_, slots);
    }

    std::vector<OwnedChunk> bothChunks() const {
        return {camera_.auxiliaryChunk(), camera_.calibrationChunk()};
    }

    const QorDICIError& error() const { return *static_cast<const QorDICIError*>(measBuffer_[0].buffer); }

    /** The text of the error record; all 512 bytes if nothing ends it. */
    std::string errorText() const {
        const char* const text = reinterpret_cast<const char*>(error().ErrorMsg);
        return std::string(text, strnlen(text, sizeof error().ErrorMsg));
    }

    void expectSlot(int slot, const Bytes& bytes, int channelID) const {
        const AlgoMeasBuffer& buffer = measBuffer_[slot];
        ASSERT_NE(buffer.buffer, nullptr) << slot;
        ASSERT_EQ(buffer.sizeTotal, bytes.size()) << slot;
        EXPECT_EQ(std::memcmp(buffer.buffer, bytes.data(), bytes.size()), 0) << slot;
        EXPECT_EQ(buffer.sizeReady, 0U) << slot;
        EXPECT_EQ(buffer.channelID, channelID) << slot;
    }

    void expectErrorSlots() const {
        EXPECT_EQ(measBuffer_[0].sizeTotal, 516U);
        EXPECT_EQ(measBuffer_[0].sizeReady, 0U);
        EXPECT_EQ(measBuffer_[0].channelID, 3224);
        expectSlot(1, host_testing::nativeDefinition(zeltaGet_QorDICIError), 3225);
    }

    void expectEmptySlot(int slot) const {
        const AlgoMeasBuffer& buffer = measBuffer_[slot];
        EXPECT_EQ(buffer.buffer, nullptr) << slot;
        EXPECT_EQ(buffer.sizeTotal, 0U) << slot;
        EXPECT_EQ(buffer.sizeReady, 0U) << slot;
        EXPECT_EQ(buffer.channelID, 0) << slot;
    }

    /** The buffers as the fixture left them. */
    void expectUntouchedSlots() const {
        for (const AlgoMeasBuffer& buffer : measBuffer_) {
            EXPECT_EQ(buffer.channelID, 7);
        }
    }

    void expectZeroRecords() const {
        const auto zeroCalibration = std::make_unique<QorDistanceImageIFCalib>();
        const QorDICIAuxiliaryParam zeroAux = {};
        EXPECT_EQ(std::memcmp(calibration_.get(), zeroCalibration.get(), sizeof *calibration_), 0);
        EXPECT_EQ(std::memcmp(&auxInfo_, &zeroAux, sizeof auxInfo_), 0);
    }

    Camera camera_;
    std::unique_ptr<QorDistanceImageIFCalib> calibration_;
    QorDICIAuxiliaryParam auxInfo_;
    AlgoMeasBuffer measBuffer_[6];
};

TEST_F(CalibInterpreter, BothRecordsArriveAsTheyWereSent) {
    EXPECT_EQ(apply(bothChunks()), 0);
    EXPECT_EQ(std::memcmp(calibration_.get(), camera_.calib.get(), sizeof *calibration_), 0);
    EXPECT_EQ(std::memcmp(&auxInfo_, &camera_.auxiliary, sizeof auxInfo_), 0);
}

TEST_F(CalibInterpreter, ASuccessFillsAllSixSlots) {
    const std::vector<OwnedChunk> chunks = bothChunks();
    EXPECT_EQ(apply(chunks), 0);
    expectErrorSlots();
    EXPECT_EQ(error().errorOccured, 0);
    EXPECT_EQ(errorText(), "");
    expectSlot(2, chunks[0].data, 3226);
    expectSlot(3, chunks[0].description, 3227);
    expectSlot(4, chunks[1].data, 3212);
    expectSlot(5, chunks[1].description, 3213);
}

TEST_F(CalibInterpreter, TheSlotsHoldCopiesThatOutliveThePacket) {
    std::vector<OwnedChunk> chunks = bothChunks();
    const std::vector<OwnedChunk> expected = chunks;
    EXPECT_EQ(apply(chunks), 0);
    for (OwnedChunk& chunk : chunks) {
        std::fill(chunk.data.begin(), chunk.data.end(), std::uint8_t{0xEE});
        std::fill(chunk.description.begin(), chunk.description.end(), std::uint8_t{0xEE});
    }
    chunks.clear();
    expectSlot(2, expected[0].data, 3226);
    expectSlot(3, expected[0].description, 3227);
    expectSlot(4, expected[1].data, 3212);
    expectSlot(5, expected[1].description, 3213);
}

TEST_F(CalibInterpreter, ANewerLayoutWithAddedMembersGivesTheMembersInCommon) {
    LayoutChange newer;
    newer.added = true;
    newer.reversed = true;
    const OwnedChunk calibration =
        Layout(zeltaGet_QorDistanceImageIFCalib, newer).chunk(3212, camera_.calib.get());
    const OwnedChunk auxiliary =
        Layout(zeltaGet_QorDICIAuxiliaryParam, newer).chunk(3226, &camera_.auxiliary);
    ASSERT_GT(calibration.data.size(), sizeof(QorDistanceImageIFCalib));
    EXPECT_EQ(apply({calibration, auxiliary}), 0);
    EXPECT_EQ(std::memcmp(calibration_.get(), camera_.calib.get(), sizeof *calibration_), 0);
    EXPECT_EQ(std::memcmp(&auxInfo_, &camera_.auxiliary, sizeof auxInfo_), 0);
    expectSlot(4, calibration.data, 3212);
    expectSlot(5, calibration.description, 3213);
}

TEST_F(CalibInterpreter, MembersThatAnOlderSenderLacksAreZero) {
    LayoutChange older;
    older.removed = {"QorDistanceImageIFCalib.intrinsicCalibration", "QorDICIAuxiliaryParam.refClock"};
    EXPECT_EQ(apply({Layout(zeltaGet_QorDistanceImageIFCalib, older).chunk(3212, camera_.calib.get()),
                     Layout(zeltaGet_QorDICIAuxiliaryParam, older).chunk(3226, &camera_.auxiliary)}),
              0);
    EXPECT_EQ(calibration_->intrinsicCalibration.fx, 0.0F);
    EXPECT_EQ(calibration_->imagerCalib.frequencies[1], 80e6F);
    EXPECT_EQ(auxInfo_.refClock, 0.0F);
    EXPECT_EQ(auxInfo_.maxExpDurationThresh, -5);
}

TEST_F(CalibInterpreter, WithoutAuxiliaryChunkTheCalibrationMovesUp) {
    const OwnedChunk calibration = camera_.calibrationChunk();
    EXPECT_EQ(apply({calibration}), 1);
    const std::string message =
        std::string(kPrefix) + "Unable to find requested channel 3226 in ZeltaChunk vector";
    EXPECT_EQ(DICI_Qor::GetLastErrorString(), message);
    expectErrorSlots();
    EXPECT_EQ(error().errorOccured, 0);
    EXPECT_EQ(errorText(), message);
    expectSlot(2, calibration.data, 3212);
    expectSlot(3, calibration.description, 3213);
    expectEmptySlot(4);
    expectEmptySlot(5);
}

TEST_F(CalibInterpreter, WithoutAuxiliaryChunkTheCalibrationRecordIsFilledAllTheSame) {
    EXPECT_EQ(apply({camera_.calibrationChunk()}), 1);
    EXPECT_EQ(calibration_->imagerCalib.frequencies[0], 60e6F);
}

TEST_F(CalibInterpreter, WithoutCalibrationChunkOnlyTheErrorIsOffered) {
    EXPECT_EQ(apply({camera_.auxiliaryChunk()}), 1);
    expectErrorSlots();
    EXPECT_EQ(errorText(),
              std::string(kPrefix) + "Unable to find requested channel 3212 in ZeltaChunk vector");
    for (int slot = 2; slot < 6; ++slot) {
        expectEmptySlot(slot);
    }
}

TEST_F(CalibInterpreter, WithoutCalibrationChunkBothRecordsAreZero) {
    EXPECT_EQ(apply({camera_.auxiliaryChunk()}), 1);
    expectZeroRecords();
}

TEST_F(CalibInterpreter, AnUnreadableCalibrationIsOfferedWithoutTheAuxiliaryChunk) {
    OwnedChunk calibration = camera_.calibrationChunk();
    calibration.description[0] = 0;
    EXPECT_EQ(apply({camera_.auxiliaryChunk(), calibration}), 1);
    expectSlot(2, calibration.data, 3212);
    expectSlot(3, calibration.description, 3213);
    expectEmptySlot(4);
    expectEmptySlot(5);
    EXPECT_NE(errorText().find("magic number at the beginning (0xdade) missing"), std::string::npos);
}

TEST_F(CalibInterpreter, AnUnreadableAuxiliaryChunkIsOfferedWithTheCalibration) {
    OwnedChunk auxiliary = camera_.auxiliaryChunk();
    auxiliary.data.pop_back();
    const OwnedChunk calibration = camera_.calibrationChunk();
    EXPECT_EQ(apply({auxiliary, calibration}), 1);
    expectSlot(2, auxiliary.data, 3226);
    expectSlot(3, auxiliary.description, 3227);
    expectSlot(4, calibration.data, 3212);
    expectSlot(5, calibration.description, 3213);
    EXPECT_EQ(error().errorOccured, 0);
}

TEST_F(CalibInterpreter, ARootOfAnotherNameIsNamedAsAnExpressionThatFails) {
    OwnedChunk calibration = camera_.calibrationChunk();
    calibration.description = host_testing::nativeDefinition(zeltaGet_QorDistanceImageCalib);
    EXPECT_EQ(apply({calibration, camera_.auxiliaryChunk()}), 1);
    EXPECT_NE(errorText().find("Error while interpreting expression:"), std::string::npos) << errorText();
    EXPECT_NE(errorText().find("\"QorDistanceImageIFCalib\""), std::string::npos) << errorText();
}

TEST_F(CalibInterpreter, FiveBuffersAreRefusedInTheErrorStringAlone) {
    EXPECT_EQ(apply(bothChunks(), 5), 1);
    EXPECT_EQ(DICI_Qor::GetLastErrorString(),
              std::string(kPrefix) + "Unexpected number of measurement buffers");
    expectUntouchedSlots();
    EXPECT_EQ(apply(bothChunks()), 0);
    EXPECT_EQ(errorText(), "");
}

TEST_F(CalibInterpreter, SevenBuffersAreRefused) {
    EXPECT_EQ(apply(bothChunks(), 7), 1);
    EXPECT_EQ(DICI_Qor::GetLastErrorString(),
              std::string(kPrefix) + "Unexpected number of measurement buffers");
}

TEST_F(CalibInterpreter, NullBuffersAreRefusedInTheErrorStringAlone) {
    const std::vector<OwnedChunk> chunks = bothChunks();
    EXPECT_EQ(
        DICI_Qor::CalibInterpreter_Apply(host_testing::viewOf(chunks), *calibration_, auxInfo_, nullptr, 6),
        1);
    EXPECT_EQ(DICI_Qor::GetLastErrorString(), std::string(kPrefix) + "Meas Buffer pointer is NULL");
    EXPECT_EQ(calibration_->imagerCalib.frequencies[0], 60e6F);
}

TEST_F(CalibInterpreter, NullBuffersAreToldBeforeTheirNumber) {
    EXPECT_EQ(DICI_Qor::CalibInterpreter_Apply({}, *calibration_, auxInfo_, nullptr, 5), 1);
    EXPECT_EQ(DICI_Qor::GetLastErrorString(), std::string(kPrefix) + "Meas Buffer pointer is NULL");
}

TEST_F(CalibInterpreter, TheOldMessageOutlivesASuccess) {
    EXPECT_EQ(apply({camera_.calibrationChunk()}), 1);
    const std::string message = DICI_Qor::GetLastErrorString();
    EXPECT_EQ(apply(bothChunks()), 0);
    EXPECT_EQ(DICI_Qor::GetLastErrorString(), message);
    EXPECT_EQ(errorText(), "");
}

TEST_F(CalibInterpreter, AnEmptyPacketFails) {
    EXPECT_EQ(apply({}), 1);
    expectErrorSlots();
    expectZeroRecords();
}

TEST_F(CalibInterpreter, TheFirstChunkOfAChannelCounts) {
    const OwnedChunk first = camera_.auxiliaryChunk();
    camera_.auxiliary.maxExpDurationThresh = 77;
    EXPECT_EQ(apply({first, camera_.auxiliaryChunk(), camera_.calibrationChunk()}), 0);
    EXPECT_EQ(auxInfo_.maxExpDurationThresh, -5);
    expectSlot(2, first.data, 3226);
}

/** An enciphered definition hands its bytes to the function that the host installed; its exceptions pass
 * through the interpreter's handlers. */
class CalibInterpreterDecipher : public CalibInterpreter {
 protected:
    ~CalibInterpreterDecipher() override {
        zelta::setDecipher(nullptr);
        PacketCacheClear();
    }

    OwnedChunk encipheredCalibration() const {
        OwnedChunk chunk = camera_.calibrationChunk();
        chunk.description = host_testing::encipheredDefinitionOf("any payload");
        return chunk;
    }
};

TEST_F(CalibInterpreterDecipher, AMessageOf600BytesIsCutTo512WithoutATerminator) {
    zelta::setDecipher([](unsigned int, unsigned int, unsigned char*, unsigned int) {
        throw std::runtime_error(std::string(600 - (sizeof kPrefix - 1), 'x'));
    });
    EXPECT_EQ(apply({encipheredCalibration(), camera_.auxiliaryChunk()}), 1);
    EXPECT_EQ(DICI_Qor::GetLastErrorString().size(), 600U);
    EXPECT_EQ(errorText(), DICI_Qor::GetLastErrorString().substr(0, 512));
    EXPECT_EQ(error().ErrorMsg[511], 'x');
    EXPECT_EQ(error().errorOccured, 0);
}

TEST_F(CalibInterpreterDecipher, AShorterMessageLeavesNothingOfALongerOne) {
    zelta::setDecipher([](unsigned int, unsigned int, unsigned char*, unsigned int) {
        throw std::runtime_error(std::string(600, 'x'));
    });
    EXPECT_EQ(apply({encipheredCalibration()}), 1);
    EXPECT_EQ(apply({camera_.auxiliaryChunk()}), 1);
    EXPECT_EQ(errorText(), DICI_Qor::GetLastErrorString());
    EXPECT_LT(errorText().size(), 200U);
}

TEST_F(CalibInterpreterDecipher, AnExceptionOfNoStandardTypeLeavesTheBuffersUntouched) {
    zelta::setDecipher([](unsigned int, unsigned int, unsigned char*, unsigned int) { throw 42; });
    EXPECT_EQ(apply({encipheredCalibration(), camera_.auxiliaryChunk()}), 1);
    EXPECT_EQ(DICI_Qor::GetLastErrorString(), "Unknown Exception during CalibInterpreter_Apply occured");
    expectUntouchedSlots();
}

TEST_F(CalibInterpreterDecipher, WithoutAFunctionTheDefinitionIsACryptError) {
    EXPECT_EQ(apply({encipheredCalibration(), camera_.auxiliaryChunk()}), 1);
    EXPECT_NE(errorText().find("Crypt error"), std::string::npos) << errorText();
}

/** A failure whose text does not fit into the previous text's memory, while memory runs out a little later
 * each time, even at the text itself. */
TEST_F(CalibInterpreterDecipher, NoExceptionLeavesWhereverMemoryRunsOut) {
    static std::string longest(1000, 'x');
    longest += longest;
    zelta::setDecipher(
        [](unsigned int, unsigned int, unsigned char*, unsigned int) { throw std::runtime_error(longest); });
    const std::string whole = kPrefix + longest;
    const std::string noMemory = std::string(kPrefix) + "std::bad_alloc";
    const std::vector<OwnedChunk> chunks = {encipheredCalibration(), camera_.auxiliaryChunk()};
    const Packet packet = host_testing::viewOf(chunks);
    std::string message;
    for (std::size_t allocations = 0; message != whole && allocations < 1000; ++allocations) {
        test_memory::g_allocationsLeft = allocations;
        const int result = DICI_Qor::CalibInterpreter_Apply(packet, *calibration_, auxInfo_, measBuffer_, 6);
        test_memory::g_allocationsLeft = test_memory::kWithoutEnd;
        ASSERT_EQ(result, 1) << allocations;
        message = DICI_Qor::GetLastErrorString();
        ASSERT_TRUE(whole.rfind(message, 0) == 0 || noMemory.rfind(message, 0) == 0) << message;
    }
    EXPECT_EQ(message, whole);
}

}  // namespace
