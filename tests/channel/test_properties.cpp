// Property dispatch by type code.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel/properties.h"
#include "test_support.h"

namespace {

const std::string kAbsent = "/nonexistent/tarn/raster.img";

TEST(ImageProperties, CodesWithoutAMemberFailWithoutTheFile) {
    for (int type : {0, 7, 12, 99, 100, 999, -1, -1000}) {
        SCOPED_TRACE(type);
        int rows = -9, columns = -9, bands = -9, depth = -9;
        EXPECT_EQ(get_image_info(type, kAbsent.c_str(), &rows, &columns, &bands, &depth), -1);
        EXPECT_EQ(get_image_extent(type, kAbsent.c_str(), &rows, &columns), -1);
        EXPECT_EQ(get_image_nbands(type, kAbsent.c_str(), &bands), -1);
        EXPECT_EQ(get_image_depth(type, kAbsent.c_str(), &depth), -1);
        EXPECT_EQ(rows, -9);
        EXPECT_EQ(bands, -9);
    }
    // Even a real Sun raster given the older TIFF code.
    std::string sun = tarntest::data_path("sunraster/std-grey-8bit-13x7.ras");
    int rows, columns, bands, depth;
    EXPECT_EQ(get_image_info(7, sun.c_str(), &rows, &columns, &bands, &depth), -1);
}

TEST(ImageProperties, FixedAnswersNeedNoFile) {
    struct Case {
        int type;
        int bands;  // -1: fails
        int depth;  // -1: fails
    };
    const std::vector<Case> cases = {
        {1, 1, 1}, {4, 1, -1}, {5, 1, 16}, {6, 1, 32}, {13, 3, 8},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        int bands = -9, depth = -9;
        int nb = get_image_nbands(c.type, kAbsent.c_str(), &bands);
        int dp = get_image_depth(c.type, kAbsent.c_str(), &depth);
        if (c.bands < 0) {
            EXPECT_LT(nb, 0);
        } else {
            EXPECT_GE(nb, 0);
            EXPECT_EQ(bands, c.bands);
        }
        if (c.depth < 0) {
            EXPECT_LT(dp, 0);
        } else {
            EXPECT_GE(dp, 0);
            EXPECT_EQ(depth, c.depth);
        }
    }
    // ADRG and GRASS report no size through this path.
    int rows, columns, bands, depth;
    for (int type : {4, 13}) {
        EXPECT_EQ(get_image_info(type, kAbsent.c_str(), &rows, &columns, &bands, &depth), -1);
        EXPECT_EQ(get_image_extent(type, kAbsent.c_str(), &rows, &columns), -1);
    }
}

TEST(ImageProperties, SunRasterBandsAndDepth) {
    struct Case {
        const char* file;
        int rows, columns, bands, depth;
    };
    const std::vector<Case> cases = {
        {"std-bw-1bit-37x5.ras", 5, 37, 1, 1},
        {"rle-palette-8bit-13x7.ras", 7, 13, 1, 8},
        {"std-rgb-24bit-37x9.ras", 9, 37, 3, 8},
        {"rle-rgb-32bit-13x7.ras", 7, 13, 3, 8},  // the pad byte is no band
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        std::string path = tarntest::data_path(std::string("sunraster/") + c.file);
        int rows = 0, columns = 0, bands = 0, depth = 0;
        ASSERT_EQ(get_image_info(2, path.c_str(), &rows, &columns, &bands, &depth), 1);
        EXPECT_EQ(rows, c.rows);
        EXPECT_EQ(columns, c.columns);
        EXPECT_EQ(bands, c.bands);
        EXPECT_EQ(depth, c.depth);
    }
    int rows, columns;
    EXPECT_EQ(get_image_extent(2, kAbsent.c_str(), &rows, &columns), -1);
}

TEST(StandardColorName, LowerThenUpperSuffix) {
    tarntest::TempDir dir;
    std::string image = dir.write("scene.bil", std::string("x"));
    std::vector<char> name(image.size() + 1);
    EXPECT_EQ(get_standard_color_name(image.c_str(), name.data()), -1);
    EXPECT_STREQ(name.data(), "");

    dir.write("scene.CLR", std::string("0 1 2 3\n"));
    ASSERT_EQ(get_standard_color_name(image.c_str(), name.data()), 1);
    EXPECT_EQ(std::string(name.data()), dir.file("scene.CLR"));

    dir.write("scene.clr", std::string("0 1 2 3\n"));
    ASSERT_EQ(get_standard_color_name(image.c_str(), name.data()), 1);
    EXPECT_EQ(std::string(name.data()), dir.file("scene.clr"));

    // Whatever the last four characters are, they give way to the suffix.
    std::string odd = dir.file("sceneXbil");
    std::vector<char> odd_name(odd.size() + 1);
    ASSERT_EQ(get_standard_color_name(odd.c_str(), odd_name.data()), 1);
    EXPECT_EQ(std::string(odd_name.data()), dir.file("scene.clr"));

    char tiny[8];
    EXPECT_EQ(get_standard_color_name("ab", tiny), -1);
}

}  // namespace
