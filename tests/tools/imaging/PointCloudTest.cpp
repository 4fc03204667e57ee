// SPDX-License-Identifier: Apache-2.0

#include "imaging/PointCloud.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "tools/TestFolder.h"

namespace imaging {
namespace {

// Three columns, two rows; the second pixel is invalid, the fifth has no number for z.
struct Points {
    std::vector<float> x{0.0F, 1.0F, 2.0F, 3.0F, 4.0F, 5.0F};
    std::vector<float> y{0.5F, 1.5F, 2.5F, 3.5F, 4.5F, 5.5F};
    std::vector<float> z{10.0F, 11.0F, 12.0F, 13.0F, std::numeric_limits<float>::quiet_NaN(), 15.0F};
    std::vector<float> amplitude{1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F};
    std::vector<std::uint8_t> valid{1, 0, 1, 1, 1, 1};

    PointImage image() const { return {x, y, z, amplitude, valid, 3, 2}; }
};

struct CloudFile {
    std::string head;
    std::vector<float> numbers;
};

// Splits after the line `last`.
CloudFile readCloud(const std::filesystem::path& path, const std::string& last) {
    const std::vector<std::uint8_t> bytes = fileBytes(path);
    const std::string all(bytes.begin(), bytes.end());
    const std::size_t end = all.find(last + "\n") + last.size() + 1;
    CloudFile file{all.substr(0, end), std::vector<float>((all.size() - end) / sizeof(float))};
    if (!file.numbers.empty()) {
        std::memcpy(file.numbers.data(), all.data() + end, file.numbers.size() * sizeof(float));
    }
    return file;
}

TEST(PointCloud, PlyHoldsTheValidPointsOnly) {
    const TestFolder folder;
    const std::filesystem::path path = folder.path() / "deep/p.ply";
    writePly(path, Points().image());
    const CloudFile file = readCloud(path, "end_header");
    EXPECT_EQ(file.head,
              "ply\nformat binary_little_endian 1.0\n"
              "comment metres; x to the right, y down, z along the optical axis\n"
              "comment amplitude in counts per microsecond; invalid pixels are left out\n"
              "element vertex 4\nproperty float x\nproperty float y\nproperty float z\n"
              "property float amplitude\nend_header\n");
    EXPECT_EQ(file.numbers, (std::vector<float>{0.0F, 0.5F, 10.0F, 1.0F, 2.0F, 2.5F, 12.0F, 3.0F,  //
                                                3.0F, 3.5F, 13.0F, 4.0F, 5.0F, 5.5F, 15.0F, 6.0F}));
}

TEST(PointCloud, PcdIsOrganisedAndHasNoNumberWhereThereIsNoPoint) {
    const TestFolder folder;
    const std::filesystem::path path = folder.path() / "p.pcd";
    writePcd(path, Points().image());
    const CloudFile file = readCloud(path, "DATA binary");
    for (const char* line : {"# .PCD v0.7 - Point Cloud Data file format\n", "# metres; ",
                             "FIELDS x y z amplitude\n", "WIDTH 3\n", "HEIGHT 2\n", "POINTS 6\n"}) {
        EXPECT_NE(file.head.find(line), std::string::npos) << line;
    }
    ASSERT_EQ(file.numbers.size(), 24U);
    for (std::size_t i = 0; i < 6; ++i) {
        const bool isPoint = i != 1 && i != 4;
        EXPECT_EQ(std::isnan(file.numbers[4 * i]), !isPoint) << i;
        EXPECT_EQ(std::isnan(file.numbers[4 * i + 1]), !isPoint) << i;
        EXPECT_EQ(std::isnan(file.numbers[4 * i + 2]), !isPoint) << i;
        EXPECT_EQ(file.numbers[4 * i + 3], static_cast<float>(i + 1)) << i;
    }
    EXPECT_EQ(file.numbers[8], 2.0F);
}

TEST(PointCloud, PlyAsTextHasALineForEachPoint) {
    const TestFolder folder;
    const std::filesystem::path path = folder.path() / "p.ply";
    Points points;
    points.x[0] = 0.1F;
    EXPECT_EQ(writePly(path, points.image(), CloudEncoding::Text), 4U);
    const std::vector<std::uint8_t> bytes = fileBytes(path);
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_NE(text.find("ply\nformat ascii 1.0\n"), std::string::npos);
    EXPECT_EQ(text.substr(text.find("end_header\n") + 11),
              "0.1 0.5 10 1\n2 2.5 12 3\n3 3.5 13 4\n5 5.5 15 6\n");
}

TEST(PointCloud, PcdAsTextHasALineForEachPixel) {
    const TestFolder folder;
    const std::filesystem::path path = folder.path() / "p.pcd";
    Points points;
    points.amplitude[5] = std::numeric_limits<float>::infinity();
    EXPECT_EQ(writePcd(path, points.image(), CloudEncoding::Text), 6U);
    const std::vector<std::uint8_t> bytes = fileBytes(path);
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_EQ(text.substr(text.find("DATA ascii\n") + 11),
              "0 0.5 10 1\nnan nan nan 2\n2 2.5 12 3\n3 3.5 13 4\nnan nan nan 5\n5 5.5 15 nan\n");
}

TEST(PointCloud, WithoutValidPointsPlyHasNoVertex) {
    const TestFolder folder;
    Points points;
    points.valid.assign(6, 0);
    writePly(folder.path() / "p.ply", points.image());
    const CloudFile file = readCloud(folder.path() / "p.ply", "end_header");
    EXPECT_NE(file.head.find("element vertex 0\n"), std::string::npos);
    EXPECT_TRUE(file.numbers.empty());
}

TEST(PointCloud, CountsThatDoNotFitAreRefused) {
    const TestFolder folder;
    Points points;
    PointImage image = points.image();
    image.width = 4;
    EXPECT_THROW(writePly(folder.path() / "p", image), std::invalid_argument);
    image = points.image();
    image.height = 0;
    EXPECT_THROW(writePcd(folder.path() / "p", image), std::invalid_argument);
    points.amplitude.pop_back();
    EXPECT_THROW(writePcd(folder.path() / "p", points.image()), std::invalid_argument);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(PointCloud, APlaceThatCannotBeWrittenIsTold) {
    const TestFolder folder;
    writeBytes(folder.path() / "file", {1});
    EXPECT_THROW(writePly(folder.path() / "file/p.ply", Points().image()), std::runtime_error);
}

}  // namespace
}  // namespace imaging
