// SPDX-License-Identifier: Apache-2.0

#include "importing/Samples.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tools/importing/Stacks.h"

namespace {

using importing::RoundingReport;
using importing::SampleConverter;
using importing::SampleFormat;
using importing::twosComplementBits;
using importing::wholeSamples;

std::vector<double> converted(const SampleFormat& format, bool isStoredSigned, std::vector<double> samples) {
    return SampleConverter(format, isStoredSigned).counts(samples);
}

TEST(Samples, TwelveUnsignedBitsStayAsTheyAre) {
    EXPECT_EQ(converted({}, false, {0, 2048, 4095}), (std::vector<double>{0, 2048, 4095}));
}

TEST(Samples, SignedOnesAreMovedToTheMiddle) {
    SampleFormat format;
    format.isSigned = true;
    EXPECT_EQ(converted(format, true, {-2048, 0, 2047}), (std::vector<double>{0, 2048, 4095}));
}

TEST(Samples, TwosComplementInAnUnsignedFileGetsItsSignBack) {
    SampleFormat format;
    format.isSigned = true;
    EXPECT_EQ(converted(format, false, {0, 2047, 2048, 4095}), (std::vector<double>{2048, 4095, 0, 2047}));
}

TEST(Samples, MoreBitsAreScaledToFitAndFewerAreNot) {
    SampleFormat wide;
    wide.bits = 16;
    EXPECT_EQ(converted(wide, false, {0, 32768, 65520}), (std::vector<double>{0, 2048, 4095}));
    SampleFormat narrow;
    narrow.bits = 10;
    EXPECT_EQ(converted(narrow, false, {0, 512, 1023}), (std::vector<double>{1536, 2048, 2559}));
}

TEST(Samples, MidAndScaleCanBeGiven) {
    SampleFormat format;
    format.mid = 100.0;
    format.scale = 2.0;
    EXPECT_EQ(converted(format, false, {100, 101}), (std::vector<double>{2048, 2050}));
}

TEST(Samples, RoundingGoesToTheNearestAndIsReported) {
    RoundingReport report;
    EXPECT_EQ(wholeSamples(std::vector<double>{1.25, 1.5, 2.0}, report),
              (std::vector<std::uint16_t>{1, 2, 2}));
    EXPECT_EQ(report.largestRounding, 0.5);
    EXPECT_EQ(report.outside(), 0U);
}

TEST(Samples, WhatDoesNotFitIsCountedAndClipped) {
    const double infinity = std::numeric_limits<double>::infinity();
    RoundingReport report;
    const std::vector<double> counts{-0.4, -0.6, 4095.4, 4095.6, -infinity, infinity, std::nan("")};
    EXPECT_EQ(wholeSamples(counts, report), (std::vector<std::uint16_t>{0, 0, 4095, 4095, 0, 4095, 0}));
    EXPECT_EQ(report.samples, 7U);
    EXPECT_EQ(report.below, 1U);
    EXPECT_EQ(report.above, 1U);
    EXPECT_EQ(report.notFinite, 3U);
}

TEST(Samples, SignedNumbersReadWithoutTheirSignAreRecognised) {
    for (const unsigned int bits : {10U, 12U, 16U}) {
        const double span = std::ldexp(1.0, static_cast<int>(bits));
        stacks::Signal signal;
        signal.mid = 0.0;
        signal.amplitude = span / 10.0;
        std::vector<double> samples = stacks::phases(60.0e6, 100, 10, signal);
        for (double& sample : samples) {
            sample += sample < 0.0 ? span : 0.0;
        }
        EXPECT_EQ(twosComplementBits(samples), bits);
    }
}

TEST(Samples, UnsignedNumbersAreNotTakenForSignedOnes) {
    EXPECT_FALSE(twosComplementBits(stacks::phases(60.0e6, 100, 10)));
    stacks::Signal strong;
    strong.amplitude = 2000.0;
    EXPECT_FALSE(twosComplementBits(stacks::phases(60.0e6, 100, 10, strong)));
    EXPECT_FALSE(twosComplementBits({}));
    EXPECT_FALSE(twosComplementBits(std::vector<double>{-1.0, 5.0}));
    EXPECT_FALSE(twosComplementBits(std::vector<double>{1.0e9}));
}

}  // namespace
