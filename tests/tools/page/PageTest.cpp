// SPDX-License-Identifier: Apache-2.0

#include "page/Page.h"

#include <gtest/gtest.h>

#include "tools/TestFolder.h"

namespace page {
namespace {

std::filesystem::path pageOf(const TestFolder& folder, const std::string& text) {
    const std::filesystem::path path = folder.path() / "workbench.html";
    writeBytes(path, {text.begin(), text.end()});
    return path;
}

TEST(Page, TakesReportAndRecordingsAtTheirPlaces) {
    const TestFolder folder;
    const auto path = pageOf(folder, "<a><!--REPORT--><b><!--RECORDINGS--><c>");
    EXPECT_EQ(pageWith(path, "R", "D"), "<a>R<b>D<c>");
}

// A report may quote whatever a recording says.
TEST(Page, DoesNotTakeWordsOfTheReportForPlaces) {
    const TestFolder folder;
    const auto path = pageOf(folder, "<!--REPORT--><!--RECORDINGS-->");
    EXPECT_EQ(pageWith(path, "<!--RECORDINGS-->", "D"), "<!--RECORDINGS-->D");
    EXPECT_EQ(pageWith(path, "$& \\1", ""), "$& \\1");
}

TEST(Page, ThatIsAnotherFileIsRefused) {
    const TestFolder folder;
    EXPECT_THROW(pageWith(pageOf(folder, "<html></html>"), "R", "D"), PageError);
    EXPECT_THROW(pageWith(pageOf(folder, "<!--REPORT-->"), "R", "D"), PageError);
}

TEST(Page, ThatIsNotThereIsRefusedWithItsName) {
    try {
        pageWith("/nonexistent/workbench.html", "", "");
        FAIL() << "it was read";
    } catch (const PageError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "Cannot read /nonexistent/workbench.html: No such file or directory.");
    }
}

TEST(Page, WithoutTheWorkbenchIsTheReportWithAnEscapedTitle) {
    const std::string text = reportAlone("a<b", "<p>R</p>");
    EXPECT_NE(text.find("<title>a&lt;b</title>"), std::string::npos);
    EXPECT_NE(text.find("<body>\n<p>R</p></body>"), std::string::npos);
}

TEST(Page, HowToGetItNamesThePlacesAndTheCommands) {
    const std::string words = howToGetThePage();
    EXPECT_NE(words.find("share/qor/workbench.html"), std::string::npos);
    EXPECT_NE(words.find("cmake --build --preset wasm"), std::string::npos);
    EXPECT_NE(words.find("--page"), std::string::npos);
}

}  // namespace
}  // namespace page
