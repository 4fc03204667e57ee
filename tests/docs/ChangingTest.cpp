// SPDX-License-Identifier: Apache-2.0
//
// docs/changing.md: its table of channels, and what it asks of a kernel.
#include <gtest/gtest.h>

#include <map>

#include "Checkout.h"

namespace {

TEST(Changing, TheTableHasEveryChannel) {
    const std::string page = checkout::textOf(checkout::path("docs/changing.md"));
    const std::vector<std::string> rows = checkout::channelRows();
    EXPECT_GE(rows.size(), 12U);
    for (const std::string& row : rows) {
        EXPECT_NE(page.find("\n| " + row + " | "), std::string::npos) << row;
    }
}

/** Where the kernels of one file are tested and measured, when not under the file's own name. */
struct Elsewhere {
    std::string test;
    std::string benchmark;
};

const std::map<std::string, Elsewhere> kElsewhere = {
    {"ALImageResize", {"ALImageResizeTest.cpp", "StraylightCorrectionBenchmark.cpp"}},
    {"ALfft", {"ALfftTest.cpp", "StraylightCorrectionBenchmark.cpp"}},
    {"ImageFilterSpatial", {"ImageFilterKernelsTest.cpp", "ImageFilterBenchmark.cpp"}},
    {"ImageFilterTemporal", {"ImageFilterKernelsTest.cpp", "ImageFilterBenchmark.cpp"}},
    {"StraylightCorrection", {"StraylightCorrectionTest.cpp", "StraylightCorrectionBenchmark.cpp"}},
};

/** Whether a file of that name below `folder` has the word. */
bool hasWord(const std::string& folder, const std::string& name, const std::string& word) {
    for (const std::filesystem::path& file : checkout::filesBelow(folder, ".cpp")) {
        if (file.filename() == name && checkout::textOf(file).find(word) != std::string::npos) {
            return true;
        }
    }
    return false;
}

TEST(Changing, EveryKernelIsTestedOnEveryTargetAndMeasured) {
    const std::string ending = "Kernels.cpp";
    const std::vector<std::filesystem::path> sources = checkout::filesBelow("core", ending);
    EXPECT_GE(sources.size(), 13U);
    for (const std::filesystem::path& source : sources) {
        const std::string name = source.filename().string();
        const std::string stage = name.substr(0, name.size() - ending.size());
        const auto found = kElsewhere.find(stage);
        const Elsewhere place = found != kElsewhere.end()
                                    ? found->second
                                    : Elsewhere{stage + "KernelsTest.cpp", stage + "Benchmark.cpp"};
        EXPECT_TRUE(hasWord("tests", place.test, "INSTANTIATE_ON_EVERY_TARGET")) << place.test;
        EXPECT_TRUE(hasWord("benchmarks", place.benchmark, "registerOnEveryTarget")) << place.benchmark;
    }
}

}  // namespace
