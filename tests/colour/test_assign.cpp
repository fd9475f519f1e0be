// Colour assignment on records built in memory: remap tables, grey ramps,
// the dither choice of three-band opens, and bounded remaps.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "colour/assign.h"
#include "colour/colormap.h"
#include "colour/dither.h"

namespace {

struct TestImage {
    TestImage(int type, int depth) {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.type = type;
        image.depth = depth;
        float zero = 0.0f;
        set_dither_threshold(&zero);  // as every RGB stream runs
    }
    ~TestImage() {
        free_buffers(&image);
        free_graphic_buffers(&image);
    }
    TestImage(const TestImage&) = delete;
    TestImage& operator=(const TestImage&) = delete;

    void palette(int count) {
        Colormap* map = create_colormap("file", count, 0, 0, 0, 0);
        ASSERT_NE(map, nullptr);
        for (int i = 0; i < count; ++i)
            set_colormap_pixclr(map, i, 0, (i * 37) & 255, (i * 91 + 5) & 255,
                                (i * 13 + 200) & 255);
        image_replace_colormap(&image, map);
        free_colormap(map);
    }
    Image image;
};

uint32_t packed(int r, int g, int b) { return r + g * 256u + b * 65536u; }

TEST(ColourAssignment, PaletteRemapsEveryEntryToItsPackedColour) {
    TestImage t(2, 8);
    t.palette(200);
    EXPECT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_COLOUR);
    EXPECT_EQ(t.image.dither_on, 0);
    ASSERT_NE(t.image.clr_table, nullptr);
    const Colormap& map = t.image.colormap;
    for (int i = 0; i < map.ncolors; ++i)
        ASSERT_EQ(t.image.clr_table[i], packed(map.red[i], map.green[i], map.blue[i])) << i;
}

TEST(ColourAssignment, FixedScreenValuesOverrideTheTable) {
    TestImage t(2, 8);
    t.palette(3);
    Colormap& map = t.image.colormap;
    map.has_pixels = 1;
    map.pixels = static_cast<int32_t*>(malloc(3 * sizeof(int32_t)));
    map.pixels[0] = 0x123456;
    map.pixels[1] = -1;
    map.pixels[2] = 7;
    EXPECT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_COLOUR);
    EXPECT_EQ(t.image.clr_table[0], 0x123456u);
    EXPECT_EQ(t.image.clr_table[1], packed(map.red[1], map.green[1], map.blue[1]));
    EXPECT_EQ(t.image.clr_table[2], 7u);
}

TEST(ColourAssignment, ThreeBandsDitherThroughThePlanes) {
    for (int type : {2, 8, 10}) {
        TestImage t(type, 8);
        EXPECT_EQ(multi_image_assign_colors(nullptr, &t.image, 0, 0), 0);
        EXPECT_EQ(t.image.dither_on, 1);
        EXPECT_EQ(t.image.dither, multicolordither_to_888_bits);
        EXPECT_EQ(t.image.clr_table, nullptr);  // true colour needs no table
        EXPECT_EQ(t.image.colormap.ncolors, 256);
        EXPECT_EQ(t.image.colormap.red[200], 200);
        EXPECT_FLOAT_EQ(t.image.colormap.band_step[2], 1.0f);
    }
    TestImage wide(8, 24);
    EXPECT_EQ(multi_image_assign_colors(nullptr, &wide.image, 0, 0), -1);
    TestImage two(8, 1);  // no white-black reversal for three bands
    EXPECT_EQ(multi_image_assign_colors(nullptr, &two.image, 0, 0), 0);
    EXPECT_EQ(two.image.colormap.red[0], 0);
    EXPECT_EQ(two.image.colormap.red[1], 255);
}

TEST(ColourAssignment, EmptyColormapsGetGreyRamps) {
    const struct {
        int type, depth;
        int ncolors;
        float step;
        int index;
        uint32_t colour;
    } cases[] = {
        {2, 1, 2, 0.0f, 0, 0xFFFFFF},   // bi-level: 0 is white
        {2, 1, 2, 0.0f, 1, 0x000000},   // and 1 is black
        {2, 8, 256, 1.0f, 77, 0x4D4D4D},
        {8, 4, 16, 17.0f, 15, 0xFFFFFF},
        {8, 4, 16, 17.0f, 1, 0x111111},
        {2, 24, 256, 1.0f, 255, 0xFFFFFF},  // a 24-bit Sun raster as one band uses 8 bits
        {10, 16, 256, 1.0f, 3, 0x030303},   // grid: always 256 entries
        {8, 16, 65536, 0.0f, 65535, 0},     // the even step of a 16-bit ramp is 0
    };
    for (const auto& c : cases) {
        TestImage t(c.type, c.depth);
        EXPECT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_GREY) << c.depth;
        EXPECT_EQ(t.image.dither_on, 0);
        EXPECT_EQ(t.image.colormap.ncolors, c.ncolors);
        EXPECT_FLOAT_EQ(t.image.colormap.gray_step, c.step);
        ASSERT_NE(t.image.clr_table, nullptr);
        EXPECT_EQ(t.image.clr_table[c.index], c.colour) << c.type << "/" << c.depth;
    }
    TestImage grey(2, 8);
    ASSERT_EQ(image_assign_colors(nullptr, &grey.image, 0, 0), TARN_GREY);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(grey.image.clr_table[i], i * 0x010101u);
}

TEST(ColourAssignment, DepthsWithoutAColourAnswerMinusOne) {
    for (int type : {8, 3, 14, 1001}) {
        TestImage t(type, 32);
        EXPECT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), -1) << type;
        EXPECT_EQ(t.image.clr_table, nullptr);
    }
    TestImage broken(8, 0);
    EXPECT_EQ(image_assign_colors(nullptr, &broken.image, 0, 0), -1);
}

TEST(ColourAssignment, SteppedRampAndItsBounds) {
    TestImage t(8, 8);
    Colormap& map = t.image.colormap;
    map.gray_low = 10;
    map.gray_high = 20;
    map.gray_step = 25.5f;
    ASSERT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_GREY);
    EXPECT_EQ(map.red[10], 0);
    EXPECT_EQ(map.red[11], 25);
    EXPECT_EQ(map.red[19], 229);
    EXPECT_EQ(map.red[20], 255);
    EXPECT_EQ(map.blue[11], 25);

    // Ramp bounds past the table stop at its end.
    TestImage far(8, 4);
    far.image.colormap.gray_low = 1000;
    far.image.colormap.gray_high = 0xFFFFFFFFu;
    far.image.colormap.gray_step = 3.0f;
    ASSERT_EQ(image_assign_colors(nullptr, &far.image, 0, 0), TARN_GREY);
    EXPECT_EQ(far.image.colormap.red[15], 0);

    uint8_t ramp[8];
    float step = 100.0f;  // a step past a byte wraps
    fill_grey_ramp(ramp, 8, 0, 8, &step, 1);
    EXPECT_EQ(ramp[3], static_cast<uint8_t>(300));
    step = 0.0f;
    fill_grey_ramp(ramp, 1, 0, 0, &step, 1);  // one colour: no division by zero
    EXPECT_EQ(ramp[0], 0);
}

TEST(ColourAssignment, ColourTypeOfAFilledMap) {
    const struct {
        int type;
        int color_type;
        uint8_t r, g, b;
        int expected;
    } cases[] = {
        {2, 2, 100, 102, 100, TARN_GREY},
        {2, 2, 100, 103, 100, TARN_COLOUR},
        {2, 2, 100, 100, 98, TARN_GREY},
        {10, 2, 50, 50, 50, TARN_GREY},
        {10, 2, 50, 90, 50, TARN_COLOUR},
        {10, 1, 50, 90, 50, TARN_GREY},
        {100, 0, 50, 90, 50, TARN_TRUE_COLOUR},
    };
    for (const auto& c : cases) {
        TestImage t(c.type, 8);
        t.palette(4);
        Colormap& map = t.image.colormap;
        for (int i = 0; i < 4; ++i)
            map.red[i] = map.green[i] = map.blue[i] = static_cast<uint8_t>(i);
        map.red[2] = c.r;
        map.green[2] = c.g;
        map.blue[2] = c.b;
        map.color_type = c.color_type;
        EXPECT_EQ(image_assign_colors(nullptr, &t.image, 1, 0), c.expected) << c.type;
        EXPECT_EQ(t.image.clr_table, nullptr);  // skip fills nothing more
    }
}

TEST(ColourAssignment, TrueColourSingleBandDithers) {
    TestImage t(100, 24);
    EXPECT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_TRUE_COLOUR);
    EXPECT_EQ(t.image.dither_on, 1);
    EXPECT_EQ(t.image.dither, truecolordither_to_888_bits);
    // A stray colour type still leaves a callable dither.
    TestImage odd(100, 8);
    odd.palette(2);
    odd.image.colormap.color_type = 9;
    EXPECT_EQ(image_assign_colors(nullptr, &odd.image, 0, 0), 9);
    ASSERT_NE(odd.image.dither, nullptr);
}

TEST(ColourAssignment, ThresholdIsKeptUnlessNegative) {
    float value = 0.5f, got = -1.0f;
    set_dither_threshold(&value);
    get_dither_threshold(&got);
    EXPECT_EQ(got, 0.5f);
    value = -0.1f;
    set_dither_threshold(&value);
    get_dither_threshold(&got);
    EXPECT_EQ(got, 0.5f);
    value = 0.0f;
    set_dither_threshold(&value);
    get_dither_threshold(&got);
    EXPECT_EQ(got, 0.0f);
}

TEST(ColourAssignment, CountingHelpers) {
    const struct { unsigned n; int bits; } depths[] = {{0, 0}, {1, 0}, {2, 1}, {3, 2}, {256, 8},
                                                        {257, 9}, {0x1000000, 24}};
    for (const auto& c : depths) EXPECT_EQ(get_available_depth(c.n), c.bits) << c.n;
    const struct { int n; int levels; } cubes[] = {{0, 0}, {7, 1}, {8, 2}, {216, 6}, {215, 5}};
    for (const auto& c : cubes) EXPECT_EQ(get_equal_color_levels(c.n), c.levels) << c.n;

    Colormap map;
    reset_colormap(&map);
    EXPECT_EQ(is_gray_colormap(&map), 1);
    EXPECT_EQ(is_bw_colormap(&map), 0);
    uint8_t red[2] = {255, 0}, green[2] = {255, 0}, blue[2] = {255, 0};
    map.ncolors = 2;
    map.red = red;
    map.green = green;
    map.blue = blue;
    EXPECT_EQ(is_bw_colormap(&map), 1);
    blue[1] = 1;
    EXPECT_EQ(is_bw_colormap(&map), 0);
    EXPECT_EQ(is_gray_colormap(&map), 1);
}

TEST(ColourAssignment, PaletteScreenCubes) {
    uint8_t r[8], g[8], b[8];
    fill_colour_cube(1, 0, 0, r, g, b);  // one bit: grey
    EXPECT_EQ(r[1], 255);
    EXPECT_EQ(g[1], 255);
    EXPECT_EQ(b[0], 0);
    fill_colour_cube(1, 1, 0, r, g, b);  // blue is a constant middle value
    EXPECT_EQ(r[2], 255);
    EXPECT_EQ(g[1], 255);
    EXPECT_EQ(b[3], 127);
    fill_colour_cube(1, 1, 1, r, g, b);
    EXPECT_EQ(r[4] + g[4] + b[4], 255);
    EXPECT_EQ(b[1], 255);
    uint8_t r4[4096], g4[4096], b4[4096];
    fill_colour_cube(4, 4, 4, r4, g4, b4);
    EXPECT_EQ(r4[0x123], 17);
    EXPECT_EQ(g4[0x123], 34);
    EXPECT_EQ(b4[0x123], 51);
    fill_grey_cube(4, r, g, b);
    EXPECT_EQ(r[3], 255);
    EXPECT_EQ(b[1], 85);
}

TEST(ColourRemap, ValuesPastTheTableTakeItsLastEntry) {
    TestImage t(2, 8);
    t.palette(4);
    ASSERT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_COLOUR);
    const uint32_t last = t.image.clr_table[3];
    uint32_t source[6] = {0, 3, 4, 255, 70000, 0xFFFFFFFFu};
    uint32_t target[6];
    clr_remap_buf(&t.image, source, target, 6);
    EXPECT_EQ(target[0], t.image.clr_table[0]);
    EXPECT_EQ(target[1], last);
    for (int i = 2; i < 6; ++i) EXPECT_EQ(target[i], last) << i;

    uint8_t row8[3] = {1, 200, 3};
    t.image.row8 = row8;
    clr_remap_8(&t.image, target, 3);
    EXPECT_EQ(target[1], last);
    t.image.row8 = nullptr;

    // No table: black.
    TestImage bare(2, 8);
    target[0] = 99;
    clr_remap_buf(&bare.image, source, target, 6);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(target[i], 0u);
}

TEST(ColourAssignment, RepeatedAssignmentReplacesTheTable) {
    TestImage t(2, 8);
    t.palette(16);
    ASSERT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_COLOUR);
    ASSERT_EQ(image_assign_colors(nullptr, &t.image, 0, 0), TARN_COLOUR);  // no leak
    free_graphic_buffers(&t.image);
    free_graphic_buffers(&t.image);
    EXPECT_EQ(t.image.clr_table, nullptr);
}

}  // namespace
