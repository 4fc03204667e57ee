// SPDX-License-Identifier: Apache-2.0

#include "page/Page.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>

#include "texts/Markup.h"

namespace page {
namespace {

namespace fs = std::filesystem;

std::array<fs::path, 2> places() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    return {(folder / "../share/qor/workbench.html").lexically_normal(),
            (folder / "../../../wasm/web/workbench.html").lexically_normal()};
}

void replaceMark(std::string& text, const std::string& mark, const std::string& content,
                 const fs::path& page) {
    const std::size_t at = text.rfind(mark);
    if (at == std::string::npos) {
        throw PageError(page.string() + " is not the page of the workbench.");
    }
    text.replace(at, mark.size(), content);
}

}  // namespace

std::optional<fs::path> defaultPage() {
    std::error_code error;
    for (const fs::path& place : places()) {
        if (fs::exists(place, error)) {
            return place;
        }
    }
    return std::nullopt;
}

std::string howToGetThePage() {
    return "The page of the workbench is neither at " + places()[0].string() + " nor at " +
           places()[1].string() +
           ". Build it with scripts/setup --wasm, cmake --preset wasm and cmake --build --preset wasm, or "
           "name it "
           "with --page.";
}

std::string pageWith(const fs::path& page, const std::string& report, const std::string& recordings) {
    std::ifstream file(page, std::ios::binary);
    if (!file) {
        throw PageError("Cannot read " + page.string() + ": " + std::strerror(errno) + ".");
    }
    std::string text(std::istreambuf_iterator<char>(file), {});
    replaceMark(text, "<!--RECORDINGS-->", recordings, page);
    replaceMark(text, "<!--REPORT-->", report, page);
    return text;
}

std::string reportAlone(const std::string& title, const std::string& report) {
    return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" "
           "content=\"width=device-width, initial-scale=1\">\n<title>" +
           texts::escaped(title) + "</title>\n</head>\n<body>\n" + report + "</body>\n</html>\n";
}

}  // namespace page
