// SPDX-License-Identifier: Apache-2.0
//
// qor import, from files of every kind to distances.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "arrays/NumpyFile.h"
#include "imaging/Png.h"
#include "tools/importing/Stacks.h"
#include "tools/qor/Command.h"

namespace {

constexpr std::size_t width = 224;
constexpr std::size_t height = 172;
constexpr arrays::ElementType signedWord{arrays::ElementKind::SignedInteger, 2, false};

class Import : public Command {
 protected:
    void write(const std::string& name, const std::vector<double>& samples, std::vector<std::size_t> shape,
               arrays::ElementType type = {}) const {
        arrays::writeNpy(path(name), stacks::arrayOf(samples, std::move(shape), type));
    }

    void writeReference() const { arrays::writeNpy(path("ref.npy"), stacks::distancesOf(width, height)); }

    // Imports and runs; the median error against the reference, millimetres.
    double medianError(const std::string& arguments) const {
        const Outcome imported = run("import " + arguments + " --reference ref.npy:mm -o a.zelta --quiet");
        EXPECT_EQ(imported.exitCode, 0) << imported.errors;
        const Outcome ran = run("run a.zelta -o out-" + std::to_string(runs_++) + " --json");
        EXPECT_EQ(ran.exitCode, 0) << ran.errors;
        const nlohmann::json document = nlohmann::json::parse(ran.output);
        EXPECT_GT(document.at("validShare").get<double>(), 0.99);
        return 1000.0 * document.at("medianErrorMetres").get<double>();
    }

    mutable int runs_ = 0;
};

TEST_F(Import, APlainStackGivesItsDistances) {
    write("a.npy", stacks::phases(60.0e6, width, height), {4, height, width});
    writeReference();
    EXPECT_LT(medianError("a.npy --frequencies 60MHz"), 1.5);
}

TEST_F(Import, TwoFrequenciesAndTwoExposuresComeInTheOrderOfTheImager) {
    std::vector<double> samples;
    for (const double frequency : {60.0e6, 80.0e6}) {
        for (const double amplitude : {200.0, 800.0}) {
            stacks::Signal signal;
            signal.amplitude = amplitude;
            const std::vector<double> part = stacks::phases(frequency, width, height, signal);
            samples.insert(samples.end(), part.begin(), part.end());
        }
    }
    write("a.npy", samples, {2, 2, 4, height, width});
    writeReference();
    EXPECT_LT(
        medianError("a.npy --axes freq,exposure,phase,y,x --frequencies 60MHz,80MHz --exposures 250us,1ms"),
        1.5);
}

TEST_F(Import, SignedSamplesInADifferentOrderComeOutTheSame) {
    stacks::Signal signal;
    signal.mid = 0.0;
    signal.degrees = {0, 180, 90, 270};
    write("a.npy", stacks::phases(60.0e6, width, height, signal), {4, height, width}, signedWord);
    writeReference();
    EXPECT_LT(medianError("a.npy --signed 12 --order 0,180,90,270 --frequencies 60MHz"), 1.5);
    EXPECT_LT(medianError("a.npy --signed 12 --frequencies 60MHz"), 1.5);
}

TEST_F(Import, PicturesWithoutAHeaderOfAnotherSizeAreFitted) {
    const std::vector<double> samples = stacks::phases(60.0e6, 448, 344);
    std::vector<std::uint8_t> bytes;
    for (const double sample : samples) {
        const auto word = static_cast<unsigned int>(sample);
        bytes.push_back(static_cast<std::uint8_t>(word >> 8U));
        bytes.push_back(static_cast<std::uint8_t>(word));
    }
    writeBytes(path("a.bin"), bytes);
    arrays::writeNpy(path("ref.npy"), stacks::distancesOf(448, 344));
    EXPECT_LT(medianError("a.bin --format u16be,448x344 --frequencies 60MHz --fit nearest"), 1.5);
    // A distance is one sample of the reference, up to half a pixel from the middle: 2 mm of the slope.
    EXPECT_LT(medianError("a.bin --format u16be,448x344 --frequencies 60MHz --fit area"), 4.0);
}

TEST_F(Import, PhasesAsPicturesAreFoundByTheirPattern) {
    const std::vector<double> samples = stacks::phases(60.0e6, width, height);
    for (std::size_t k = 0; k < 4; ++k) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(k * width * height);
        imaging::writePng16(path("shot_" + std::to_string(k) + ".png"),
                            std::vector<std::uint16_t>(begin, begin + width * height), width, height);
    }
    writeReference();
    EXPECT_LT(medianError("'shot_{phase}.png' --frequencies 60MHz"), 1.5);
}

TEST_F(Import, WithoutTheirSignSamplesAreRefusedWithTheOption) {
    stacks::Signal signal;
    signal.mid = 0.0;
    std::vector<double> samples = stacks::phases(60.0e6, width, height, signal);
    for (double& sample : samples) {
        sample += sample < 0.0 ? 4096.0 : 0.0;
    }
    write("a.npy", samples, {4, height, width});
    const Outcome outcome = run("import a.npy --frequencies 60MHz -o a.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("--signed 12"), std::string::npos) << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(path("a.zelta")));
    EXPECT_EQ(run("import a.npy --frequencies 60MHz --signed 12 -o a.zelta").exitCode, 0);
}

TEST_F(Import, AnOrderThatThePairSumsContradictIsToldWithoutAReference) {
    stacks::Signal signal;
    signal.degrees = {0, 180, 90, 270};
    write("a.npy", stacks::phases(60.0e6, width, height, signal), {4, height, width});
    const Outcome outcome = run("import a.npy --order 0,90,180,270 --frequencies 60MHz -o a.zelta");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.errors.find("the sums of opposite phases agree for 0,180,90,270"), std::string::npos)
        << outcome.errors;
    EXPECT_TRUE(std::filesystem::exists(path("a.zelta")));
}

TEST_F(Import, AWrongSignOrHalfATurnIsToldByTheReference) {
    write("a.npy", stacks::phases(60.0e6, width, height), {4, height, width});
    writeReference();
    const Outcome sign = run("import a.npy --sign - --reference ref.npy:mm --frequencies 60MHz -o a.zelta");
    EXPECT_EQ(sign.exitCode, 1);
    EXPECT_NE(sign.errors.find("the other way round"), std::string::npos) << sign.errors;
    const Outcome turn =
        run("import a.npy --order 180,270,0,90 --reference ref.npy:mm --frequencies 60MHz -o b.zelta");
    EXPECT_EQ(turn.exitCode, 1);
    EXPECT_NE(turn.errors.find("half a turn"), std::string::npos) << turn.errors;
}

TEST_F(Import, AReferenceThatFitsNeitherWayIsRefused) {
    write("a.npy", stacks::phases(60.0e6, width, height), {4, height, width});
    write("ref.npy", std::vector<double>(width * height, 1000.0), {height, width});
    const Outcome outcome = run("import a.npy --reference ref.npy:mm --frequencies 60MHz -o a.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("do not fit"), std::string::npos) << outcome.errors;
    EXPECT_FALSE(std::filesystem::exists(path("a.zelta")));
}

TEST_F(Import, SamplesThatDoNotFitAreRefusedUnlessClipped) {
    std::vector<double> samples = stacks::phases(60.0e6, width, height);
    samples[0] = 5000.0;
    write("a.npy", samples, {4, height, width});
    const Outcome refused = run("import a.npy --frequencies 60MHz -o a.zelta");
    EXPECT_EQ(refused.exitCode, 3);
    EXPECT_NE(refused.errors.find("1 above 4095"), std::string::npos) << refused.errors;
    EXPECT_FALSE(std::filesystem::exists(path("a.zelta")));
    const nlohmann::json clipped = jsonOf("import a.npy --clip --frequencies 60MHz -o a.zelta");
    EXPECT_EQ(clipped.at("samples").at("above"), 1);
}

TEST_F(Import, AFrequencyWithoutItsUnitIsTold) {
    write("a.npy", stacks::phases(60.0e6, width, height), {4, height, width});
    const Outcome outcome = run("import a.npy --frequencies 60 -o a.zelta");
    EXPECT_EQ(outcome.exitCode, 3);
    EXPECT_NE(outcome.errors.find("as in 60MHz"), std::string::npos) << outcome.errors;
}

// A million rows of eight random bytes: as they are, after the mark of each format, and as samples in a true
// header.
TEST_F(Import, AMillionRowsOfRandomBytesAreToldInWordsInEveryFormat) {
    const unsigned int seed = 41;
    constexpr std::size_t rows = 1'000'000;
    std::mt19937 random(seed);
    std::string bytes(8 * rows, 0);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random()); });
    const auto expectRefused = [this, seed](const std::string& name, const std::string& content,
                                            const std::string& options) {
        std::ofstream(path(name), std::ios::binary) << content;
        const Outcome outcome = run("import " + name + " --frequencies 60MHz -o a.zelta " + options);
        EXPECT_EQ(outcome.exitCode, 3) << name << ", seed " << seed;
        EXPECT_EQ(outcome.errors.rfind("qor import: ", 0), 0U) << name << ": " << outcome.errors;
        EXPECT_FALSE(std::filesystem::exists(path("a.zelta"))) << name;
    };
    expectRefused("a.npy", bytes, "");
    expectRefused("b.npy", std::string("\x93NUMPY\x01\x00", 8) + bytes, "");
    expectRefused("a.npz", bytes, "");
    expectRefused("b.npz", "PK\x03\x04" + bytes, "");
    expectRefused("a.png", bytes, "");
    expectRefused("b.png", "\x89PNG\r\n\x1a\n" + bytes, "");
    expectRefused("a.bin", bytes, "--format u16le,224x172");
    expectRefused("b.bin", bytes.substr(0, 8 * width * height), "--format u16le,224x172");
    std::vector<double> samples(4 * width * height);
    std::generate(samples.begin(), samples.end(),
                  [&random] { return static_cast<double>(random() % 65536); });
    write("c.npy", samples, {4, height, width});
    expectRefused("c.npy", contentOf(path("c.npy")), "");
}

TEST_F(Import, PaddedPixelsComeOutInvalid) {
    write("a.npy", stacks::phases(60.0e6, 112, 86), {4, 86, 112});
    ASSERT_EQ(run("import a.npy --fit pad --frequencies 60MHz -o a.zelta").exitCode, 0);
    const nlohmann::json document = jsonOf("run a.zelta -o out");
    EXPECT_NEAR(document.at("validShare").get<double>(), 0.25, 0.01);
}

TEST_F(Import, AnIntensityImageComesFirstInItsFrame) {
    write("a.npy", stacks::phases(60.0e6, width, height), {4, height, width});
    write("i.npy", std::vector<double>(width * height, 300.0), {height, width});
    ASSERT_EQ(run("import a.npy --intensity i.npy --frequencies 60MHz -o a.zelta").exitCode, 0);
    EXPECT_EQ(run("show a.zelta 3208 QorDistanceImageIFInput.phaseInfo.intensityMeasurement --all").output,
              "1\n0\n0\n0\n0\n");
}

TEST_F(Import, EachFrameIsAFrameOfTheRecording) {
    std::vector<double> samples = stacks::phases(60.0e6, width, height);
    const std::vector<double> one = samples;
    samples.insert(samples.end(), one.begin(), one.end());
    samples.insert(samples.end(), one.begin(), one.end());
    write("a.npy", samples, {3, 4, height, width});
    EXPECT_EQ(jsonOf("import a.npy --frequencies 60MHz -o a.zelta").at("frames"), 3);
    EXPECT_EQ(jsonOf("info a.zelta").at("frames"), 3);
    EXPECT_EQ(jsonOf("run a.zelta -o out").at("finishedFrames"), 3);
}

}  // namespace
