// SPDX-License-Identifier: Apache-2.0
//
// docs/settings.md explains every setting.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "Checkout.h"
#include "QorRecordLayout.h"

namespace {

/** The names that a row of the tables begins with: of an array of structures with [] in place of the index.
 */
std::vector<std::string> members() {
    std::array<std::string, 10> path;
    std::vector<std::string> found;
    bool isSetting = false;
    for (const layout::Row& row : layout_tables::kQorDistanceImageIFInput) {
        if (row.level == 1) {
            isSetting = row.name == "customization" || row.name == "param";
        }
        if (!isSetting || row.level < 2) {
            continue;
        }
        path.at(static_cast<std::size_t>(row.level)) = std::string(row.name);
        if (row.kind == layout::Kind::Record) {
            continue;
        }
        std::string name = path[2];
        for (std::size_t level = 3; level <= static_cast<std::size_t>(row.level); ++level) {
            name += "." + path[level];
        }
        found.push_back(name);
    }
    return found;
}

TEST(Settings, EveryMemberIsExplained) {
    const std::string page = checkout::textOf(checkout::path("docs/settings.md"));
    const std::string plain = std::regex_replace(page, std::regex("\\[\\]"), "");
    const std::vector<std::string> names = members();
    EXPECT_GE(names.size(), 60U);
    for (const std::string& name : names) {
        EXPECT_NE(plain.find("\n| `" + name + "` | "), std::string::npos) << name;
    }
}

}  // namespace
