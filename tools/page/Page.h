// SPDX-License-Identifier: Apache-2.0
//
// The page of the workbench, in which recordings and a report are put.

#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace page {

class PageError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// The page that belongs to this command: in share/qor when installed, in the build tree otherwise. None if it
// was not built.
std::optional<std::filesystem::path> defaultPage();

// Where the page may be, and how to get it; a sentence.
std::string howToGetThePage();

// The page with a report before the workbench and recordings in it. Throws PageError if the file is no such
// page.
std::string pageWith(const std::filesystem::path& page, const std::string& report,
                     const std::string& recordings);

// The same without the workbench, for a build without the page: the report alone.
std::string reportAlone(const std::string& title, const std::string& report);

}  // namespace page
