// SPDX-License-Identifier: Apache-2.0
//
// The command qor as its users meet it: arguments in, texts, files and an exit code out.

#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "tools/TestFolder.h"

struct Outcome {
    int exitCode = -1;
    std::string output;
    std::string errors;
};

inline std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

class Command : public testing::Test {
 protected:
    // Runs in the folder of the test; `before` are settings of the environment or the start of a pipe;
    // `arguments` may redirect, too.
    Outcome run(const std::string& arguments, const std::string& before = "") const {
        const std::filesystem::path output = folder_.path() / "stdout.txt";
        const std::filesystem::path errors = folder_.path() / "stderr.txt";
        const std::string line = "cd '" + folder_.path().string() + "' && { " + before +
                                 " '" QOR_COMMAND "' " + arguments + "; } > '" + output.string() + "' 2> '" +
                                 errors.string() + "'";
        const int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output), contentOf(errors)};
    }

    // A recording of the wall; what is more to say goes into `arguments`.
    void simulate(const std::string& arguments = "", const char* name = "r.zelta") const {
        const Outcome outcome =
            run(std::string("simulate --scene wall --quiet --out ") + name + " " + arguments);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        ASSERT_EQ(outcome.output + outcome.errors, "");
    }

    nlohmann::json jsonOf(const std::string& arguments, const std::string& before = "") const {
        const Outcome outcome = run(arguments + " --json", before);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        return nlohmann::json::parse(outcome.output);
    }

    std::filesystem::path path(const std::string& name) const { return folder_.path() / name; }

    TestFolder folder_;
};
