// SPDX-License-Identifier: Apache-2.0

#include "recording/TruthRecords.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "recording/Channels.h"
#include "simulation/Image.h"

namespace recording {
namespace {

using simulation::pixelCount;

std::vector<double> ramp(double start) {
    std::vector<double> values(pixelCount);
    for (std::size_t i = 0; i < pixelCount; ++i) {
        values[i] = start + static_cast<double>(i) / 16.0;  // exact in single precision
    }
    return values;
}

simulation::Truth sampleTruth() {
    simulation::Truth truth;
    truth.distance = ramp(0.0);
    truth.X = ramp(-100.0);
    truth.Y = ramp(-200.0);
    truth.Z = ramp(1.0);
    truth.amplitude = ramp(2.0);
    truth.edge.assign(pixelCount, 0);
    truth.edge[7] = 1;
    truth.badPixel.assign(pixelCount, 0);
    truth.badPixel[9] = 1;
    for (int k = 0; k < 2; ++k) {
        simulation::FrequencyTruth frequency;
        frequency.wraps.assign(pixelCount, k);
        frequency.wraps[3] = 1000 + k;
        frequency.exposures = {{ramp(10.0 + k), ramp(20.0 + k)}, {ramp(30.0 + k), ramp(40.0 + k)}};
        truth.frequencies.push_back(frequency);
    }
    return truth;
}

SimulationSettings sampleSettings() {
    SimulationSettings settings;
    settings.scene = "room";
    settings.nearest = 0.25;
    settings.furthest = 7.5;
    settings.seed = 18446744073709551615ULL;
    settings.photonNoise = false;
    settings.ambient = 12.5;
    settings.temperature = -3.0;
    settings.frequencies = {60.0e6, 80.0e6};
    settings.exposureTimes = {250, 2000};
    return settings;
}

TEST(TruthRecords, TheTruthComesBackAsItWas) {
    const simulation::Truth truth = sampleTruth();
    const Record scene = sceneRecord(truth);
    const Record frequencies = frequencyRecord(truth);
    const auto read = truthIn({scene.chunk(channel::sceneTruth), frequencies.chunk(channel::frequencyTruth)});
    ASSERT_TRUE(read);
    EXPECT_EQ(read->distance, truth.distance);
    EXPECT_EQ(read->X, truth.X);
    EXPECT_EQ(read->Y, truth.Y);
    EXPECT_EQ(read->Z, truth.Z);
    EXPECT_EQ(read->amplitude, truth.amplitude);
    EXPECT_EQ(read->edge, truth.edge);
    EXPECT_EQ(read->badPixel, truth.badPixel);
    ASSERT_EQ(read->frequencies.size(), 2U);
    for (std::size_t k = 0; k < 2; ++k) {
        EXPECT_EQ(read->frequencies[k].wraps, truth.frequencies[k].wraps);
        ASSERT_EQ(read->frequencies[k].exposures.size(), 2U);
        for (std::size_t m = 0; m < 2; ++m) {
            EXPECT_EQ(read->frequencies[k].exposures[m].rawAmplitude,
                      truth.frequencies[k].exposures[m].rawAmplitude);
            EXPECT_EQ(read->frequencies[k].exposures[m].distanceDeviation,
                      truth.frequencies[k].exposures[m].distanceDeviation);
        }
    }
}

TEST(TruthRecords, TheSettingsComeBackAsTheyWere) {
    const Record record = recordOf(sampleSettings());
    const auto read = simulationSettingsIn({record.chunk(channel::simulation)});
    ASSERT_TRUE(read);
    EXPECT_EQ(read->scene, "room");
    EXPECT_EQ(read->nearest, 0.25);
    EXPECT_EQ(read->furthest, 7.5);
    EXPECT_EQ(read->seed, 18446744073709551615ULL);
    EXPECT_EQ(read->photonNoise, false);
    EXPECT_EQ(read->ambient, 12.5);
    EXPECT_EQ(read->temperature, -3.0);
    EXPECT_EQ(read->frequencies, (std::vector<double>{60.0e6, 80.0e6}));
    EXPECT_EQ(read->exposureTimes, (std::vector<std::int32_t>{250, 2000}));
}

TEST(TruthRecords, ASceneNameIsCutToItsPlace) {
    SimulationSettings settings = sampleSettings();
    settings.scene = std::string(100, 'n');
    const Record record = recordOf(settings);
    EXPECT_EQ(simulationSettingsIn({record.chunk(channel::simulation)})->scene, std::string(31, 'n'));
}

TEST(TruthRecords, APacketWithoutThemHasNone) {
    EXPECT_FALSE(truthIn({}));
    EXPECT_FALSE(simulationSettingsIn({}));
    const Record frequencies = frequencyRecord(sampleTruth());
    EXPECT_FALSE(truthIn({frequencies.chunk(channel::frequencyTruth)})) << "no distances are no truth";
}

TEST(TruthRecords, DistancesAloneAreATruth) {
    Record scene(structure("SceneTruth", {float32("distance", {172, 224})}));
    scene.set<float>("SceneTruth.distance[171][223]", 2.5F);
    const auto truth = truthIn({scene.chunk(channel::sceneTruth)});
    ASSERT_TRUE(truth);
    EXPECT_EQ(truth->distance.size(), pixelCount);
    EXPECT_EQ(truth->distance.back(), 2.5);
    EXPECT_TRUE(truth->X.empty());
    EXPECT_TRUE(truth->edge.empty());
    EXPECT_TRUE(truth->badPixel.empty());
    EXPECT_TRUE(truth->frequencies.empty());
}

TEST(TruthRecords, ATruthWithoutDistancesIsRefused) {
    const Record scene(structure("SceneTruth", {uint8("edge", {172, 224})}));
    EXPECT_THROW(truthIn({scene.chunk(channel::sceneTruth)}), RecordError);
}

TEST(TruthRecords, SettingsThatARecordingDoesNotTellAreEmpty) {
    Record record(structure("Simulation", {float64("frequencies", {1})}));
    record.set<double>("Simulation.frequencies[0]", 60.0e6);
    const auto settings = simulationSettingsIn({record.chunk(channel::simulation)});
    ASSERT_TRUE(settings);
    EXPECT_EQ(settings->frequencies, std::vector<double>{60.0e6});
    EXPECT_TRUE(settings->scene.empty());
    EXPECT_EQ(settings->nearest, std::nullopt);
    EXPECT_EQ(settings->seed, std::nullopt);
    EXPECT_EQ(settings->photonNoise, std::nullopt);
    EXPECT_EQ(settings->ambient, std::nullopt);
    EXPECT_TRUE(settings->exposureTimes.empty());
}

TEST(TruthRecords, AFrequencyWithoutItsUnitIsToldAsSuch) {
    Record record = recordOf(sampleSettings());
    record.set<double>("Simulation.frequencies[1]", 60.0);
    try {
        simulationSettingsIn({record.chunk(channel::simulation)});
        FAIL() << "no exception";
    } catch (const RecordError& error) {
        EXPECT_STREQ(
            error.what(),
            "\"Simulation.frequencies\" is wrong. A modulation frequency is from 1 MHz to 1 GHz, not "
            "60 Hz; a unit may be missing, as in 60MHz.");
    }
}

TEST(TruthRecords, ValuesThatCannotBeAreRefused) {
    const simulation::Truth truth = sampleTruth();
    const Record frequencies = frequencyRecord(truth);
    for (const float value :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        Record scene = sceneRecord(truth);
        scene.set<float>("SceneTruth.distance[171][223]", value);
        EXPECT_THROW(truthIn({scene.chunk(channel::sceneTruth), frequencies.chunk(channel::frequencyTruth)}),
                     RecordError);
    }
    Record scene = sceneRecord(truth);
    scene.set<unsigned char>("SceneTruth.edge[0][0]", 2);
    EXPECT_THROW(truthIn({scene.chunk(channel::sceneTruth), frequencies.chunk(channel::frequencyTruth)}),
                 RecordError);
    for (const double frequency : {0.0, -60.0e6, std::nan(""), 999999.0, 1.0e9 + 1.0}) {
        Record record = recordOf(sampleSettings());
        record.set<double>("Simulation.frequencies[1]", frequency);
        EXPECT_THROW(simulationSettingsIn({record.chunk(channel::simulation)}), RecordError) << frequency;
    }
    Record record = recordOf(sampleSettings());
    record.set<double>("Simulation.furthest", 0.25);
    EXPECT_THROW(simulationSettingsIn({record.chunk(channel::simulation)}), RecordError);
    record = recordOf(sampleSettings());
    record.set<int>("Simulation.exposureTimes[0]", -1);
    EXPECT_THROW(simulationSettingsIn({record.chunk(channel::simulation)}), RecordError);
}

TEST(TruthRecords, RecordsOfAnotherShapeAreRefused) {
    const Record other(structure("SceneTruth", {float32("distance", {3})}));
    const Record frequencies = frequencyRecord(sampleTruth());
    EXPECT_THROW(truthIn({other.chunk(channel::sceneTruth), frequencies.chunk(channel::frequencyTruth)}),
                 RecordError);
    EXPECT_THROW(simulationSettingsIn({other.chunk(channel::simulation)}), RecordError);
}

}  // namespace
}  // namespace recording
