// SPDX-License-Identifier: Apache-2.0
//
// The folder of a run. It holds what this run wrote and nothing of an earlier one. A list in the folder names
// what the run wrote, so that the next one can remove exactly that.

#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace qor {

// A sentence about a folder that a run must not use.
class FolderInUse : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

class RunFolder {
 public:
    static constexpr const char* listName = "qor-run.txt";
    static constexpr const char* resultName = "result.zelta";
    static constexpr const char* settingsName = "settings.txt";

    // Looks at the folder without changing it. `recording` is what the run reads. Throws FolderInUse if the
    // folder holds results of an earlier run and `force` does not allow removing them; if it holds files with
    // names of a run that no list contains; or if the recording would be removed.
    RunFolder(std::filesystem::path folder, const std::filesystem::path& recording, bool force);

    // Removes what the earlier run wrote and begins the list. Throws std::runtime_error.
    void begin();

    // Adds names of files to the list, before the run writes them: however it ends, the next run with force
    // finds them there.
    void add(const std::vector<std::string>& names);

    // Whether a run uses such a file name.
    static bool isNameOfARun(const std::string& name);

 private:
    std::filesystem::path folder_;
    std::vector<std::string> earlier_;  // names of files of the earlier run
    std::ofstream list_;
};

}  // namespace qor
