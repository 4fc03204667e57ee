// SPDX-License-Identifier: Apache-2.0

#include "exporting/Table.h"

#include <gtest/gtest.h>

#include <limits>

#include "tools/TestFolder.h"

namespace exporting {
namespace {

std::string textIn(const std::filesystem::path& path) {
    const std::vector<std::uint8_t> bytes = fileBytes(path);
    return {bytes.begin(), bytes.end()};
}

template <typename T>
Channel channelOf(std::string name, const std::vector<T>& numbers, std::vector<std::size_t> shape) {
    return {std::move(name), "", arrayOf(std::span<const T>(numbers), std::move(shape))};
}

TEST(TableFile, HasALineOfNamesAndALineARow) {
    const TestFolder folder;
    TableFile table(folder.path() / "deep/t.csv", {"a", "b,c", "d\"e"});
    table.add(7);
    table.addNothing();
    table.add(8);
    table.endRow();
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "deep/t.csv"));
    table.finish();
    const std::string text = textIn(folder.path() / "deep/t.csv");
    EXPECT_EQ(text, "a,\"b,c\",\"d\"\"e\"\n7,,8\n");
    EXPECT_EQ(table.rows(), 1U);
    EXPECT_EQ(table.bytes(), text.size());
}

// 0.1F has the digits 0.1 as a float and 0.10000000149011612 as a double.
TEST(TableFile, NumbersHaveTheDigitsOfTheirType) {
    const TestFolder folder;
    TableFile table(folder.path() / "t.csv", {"x"});
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    const Channel floats = channelOf<float>("f", {0.1F, nan, -nan, 16777216.0F, -0.0F, 1e-45F}, {6});
    const Channel doubles = channelOf<double>("d", {0.1, std::numeric_limits<double>::quiet_NaN()}, {2});
    const Channel small = channelOf<signed char>("s", {-128, 65}, {2});
    const Channel large = channelOf<unsigned long long>("l", {18446744073709551615ULL}, {1});
    const Channel lowest = channelOf<long long>("n", {std::numeric_limits<long long>::min()}, {1});
    for (const Channel* channel : {&floats, &doubles, &small, &large, &lowest}) {
        for (std::size_t k = 0; k < channel->array.count(); ++k) {
            table.add(channel->array, k * channel->array.type.size);
        }
    }
    table.endRow();
    table.finish();
    EXPECT_EQ(textIn(folder.path() / "t.csv"),
              "x\n0.1,,,16777216,-0,1e-45,0.1,,-128,65,18446744073709551615,-9223372036854775808\n");
}

TEST(TableFile, LongTablesAreWrittenPieceByPiece) {
    const TestFolder folder;
    TableFile table(folder.path() / "t.csv", {"n"});
    std::string expected = "n\n";
    for (std::uint64_t k = 0; k < 300000; ++k) {
        table.add(k);
        table.endRow();
        expected += std::to_string(k) + "\n";
    }
    table.finish();
    EXPECT_EQ(textIn(folder.path() / "t.csv"), expected);
    EXPECT_EQ(table.bytes(), expected.size());
}

TEST(Pixels, HaveARowEachAndAColumnForEachPicture) {
    const TestFolder folder;
    const std::vector<Channel> channels{channelOf<float>("d", {0.5F, 1.5F, 2.5F, 3.5F}, {2, 2}),
                                        channelOf<unsigned short>("r", {1, 2, 3, 4, 5, 6, 7, 8}, {2, 2, 2})};
    TableFile table(folder.path() / "t.csv", pixelColumns(channels));
    addPixels(table, 9, channels);
    table.finish();
    EXPECT_EQ(textIn(folder.path() / "t.csv"),
              "frame,row,column,d,r0,r1\n9,0,0,0.5,1,5\n9,0,1,1.5,2,6\n9,1,0,2.5,3,7\n9,1,1,3.5,4,8\n");
}

TEST(Pixels, OfDifferentSizesAreRefused) {
    const TestFolder folder;
    const std::vector<Channel> channels{channelOf<float>("a", {0.5F, 1.5F}, {1, 2}),
                                        channelOf<float>("b", {0.5F, 1.5F}, {2, 1})};
    TableFile table(folder.path() / "t.csv", pixelColumns(channels));
    EXPECT_THROW(addPixels(table, 0, channels), ExportError);
    EXPECT_THROW(pixelColumns(std::vector{channelOf<float>("c", {0.5F}, {1})}), ExportError);
}

}  // namespace
}  // namespace exporting
