// SPDX-License-Identifier: Apache-2.0
//
// docs/pipeline.md has a row for each stage.
#include <gtest/gtest.h>

#include "Checkout.h"

namespace {

TEST(Pipeline, TheTableHasEveryStageThatTheDriverCalls) {
    const std::string page = checkout::textOf(checkout::path("docs/pipeline.md"));
    const std::regex apply("\n(alif_)?int(32_t)? [A-Za-z]+_?Apply\\(");
    int stages = 0;
    for (const char* const folder : {"core/app-specific/src", "core/externals/RawDataProcessingTamver/src"}) {
        for (const std::filesystem::path& header : checkout::filesBelow(folder, ".h")) {
            if (header.stem() == "QorDistanceImageInterface" ||
                !std::regex_search(checkout::textOf(header), apply)) {
                continue;
            }
            ++stages;
            const std::string name = std::string(folder) + "/" + header.stem().string();
            EXPECT_NE(page.find("| `" + name + "` |"), std::string::npos) << name;
        }
    }
    EXPECT_GE(stages, 9);
}

}  // namespace
