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
    void palette(int count) {
        Colormap* map = create_colormap("file", count, 0, 0, 0, 0);
        for (int i = 0; i < count; ++i)
            set_colormap_pixclr(map, i, 0, (i * 37) & 255, (i * 91 + 5) & 255, (i * 13 + 200) & 255);
        image_replace_colormap(&image, map);
        free_colormap(map);
    }
    int assign(int skip = 0) { return image_assign_colors(nullptr, &image, skip, 0); }
    int assign_multi() { return multi_image_assign_colors(nullptr, &image, 0, 0); }
    Image image;
};

uint32_t packed(const Colormap& map, int i) { return map.red[i] + map.green[i] * 256u + map.blue[i] * 65536u; }

TEST(ColourAssignment, PaletteRemapsEveryEntryToItsPackedColour) {
    TestImage t(2, 8);
    t.palette(200);
    ASSERT_EQ(t.assign(), TARN_COLOUR);
    ASSERT_EQ(t.assign(), TARN_COLOUR);  // the first table is freed
    EXPECT_EQ(t.image.dither_on, 0);
    for (int i = 0; i < 200; ++i) ASSERT_EQ(t.image.clr_table[i], packed(t.image.colormap, i)) << i;

    // Fixed screen values override the table where not negative.
    TestImage fixed(2, 8);
    fixed.palette(3);
    Colormap& map = fixed.image.colormap;
    map.has_pixels = 1;
    map.pixels = static_cast<int32_t*>(malloc(3 * sizeof(int32_t)));
    map.pixels[0] = 0x123456;
    map.pixels[1] = -1;
    map.pixels[2] = 7;
    EXPECT_EQ(fixed.assign(), TARN_COLOUR);
    EXPECT_EQ(std::vector<uint32_t>(fixed.image.clr_table, fixed.image.clr_table + 3),
              std::vector<uint32_t>({0x123456u, packed(map, 1), 7u}));
    free_graphic_buffers(&fixed.image);
    free_graphic_buffers(&fixed.image);
    EXPECT_EQ(fixed.image.clr_table, nullptr);
}

TEST(ColourAssignment, ThreeBandsDitherThroughThePlanes) {
    for (int type : {2, 8, 10}) {
        TestImage t(type, 8);
        EXPECT_EQ(t.assign_multi(), 0);
        EXPECT_EQ(t.image.dither_on, 1);
        EXPECT_EQ(t.image.dither, multicolordither_to_888_bits);
        EXPECT_EQ(t.image.clr_table, nullptr);  // true colour needs no table
        EXPECT_EQ(t.image.colormap.red[200], 200);
        EXPECT_FLOAT_EQ(t.image.colormap.band_step[2], 1.0f);
    }
    TestImage wide(8, 24);
    EXPECT_EQ(wide.assign_multi(), -1);
    TestImage two(8, 1);  // no white-black reversal for three bands
    EXPECT_EQ(two.assign_multi(), 0);
    EXPECT_EQ(two.image.colormap.red[1], 255);
}

TEST(ColourAssignment, EmptyColormapsGetGreyRamps) {
    const struct {
        int type, depth, ncolors;
        float step;
        int index;
        uint32_t colour;
    } cases[] = {
        {2, 1, 2, 0.0f, 0, 0xFFFFFF},       // bi-level: 0 is white
        {2, 1, 2, 0.0f, 1, 0x000000},       // and 1 is black
        {8, 4, 16, 17.0f, 15, 0xFFFFFF},    {8, 4, 16, 17.0f, 1, 0x111111},
        {2, 24, 256, 1.0f, 255, 0xFFFFFF},  // a 24-bit Sun raster as one band uses 8 bits
        {10, 16, 256, 1.0f, 3, 0x030303},   // grid: always 256 entries
        {8, 16, 65536, 0.0f, 65535, 0},     // the even step of a 16-bit ramp is 0
    };
    for (const auto& c : cases) {
        TestImage t(c.type, c.depth);
        EXPECT_EQ(t.assign(), TARN_GREY) << c.depth;
        EXPECT_EQ(t.image.dither_on, 0);
        EXPECT_EQ(t.image.colormap.ncolors, c.ncolors);
        EXPECT_FLOAT_EQ(t.image.colormap.gray_step, c.step);
        EXPECT_EQ(t.image.clr_table[c.index], c.colour) << c.type << "/" << c.depth;
    }
    TestImage grey(2, 8);
    ASSERT_EQ(grey.assign(), TARN_GREY);
    EXPECT_FLOAT_EQ(grey.image.colormap.gray_step, 1.0f);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(grey.image.clr_table[i], i * 0x010101u);
    for (int depth : {32, 0}) {  // single-band 32 bits has no ramp; nor has a depth of 0
        TestImage t(8, depth);
        EXPECT_EQ(t.assign(), -1) << depth;
        EXPECT_EQ(t.image.clr_table, nullptr);
    }
}

TEST(ColourAssignment, SteppedRampAndItsBounds) {
    TestImage t(8, 8);
    Colormap& map = t.image.colormap;
    map.gray_low = 10;
    map.gray_high = 20;
    map.gray_step = 25.5f;
    ASSERT_EQ(t.assign(), TARN_GREY);
    const int want[][2] = {{10, 0}, {11, 25}, {19, 229}, {20, 255}};
    for (const auto& w : want) EXPECT_EQ(map.red[w[0]], w[1]) << w[0];
    TestImage far(8, 4);  // ramp bounds past the table stop at its end
    far.image.colormap.gray_low = 1000;
    far.image.colormap.gray_high = 0xFFFFFFFFu;
    far.image.colormap.gray_step = 3.0f;
    ASSERT_EQ(far.assign(), TARN_GREY);
    EXPECT_EQ(far.image.colormap.red[15], 0);
    uint8_t ramp[1];
    float step = 0.0f;
    fill_grey_ramp(ramp, 1, 0, 0, &step, 1);  // one colour: no division by zero
    EXPECT_EQ(ramp[0], 0);
}

TEST(ColourAssignment, ColourTypeOfAFilledMap) {
    const struct {
        int type, color_type;
        uint8_t r, g, b;
        int expected;
    } cases[] = {
        {2, 2, 100, 102, 100, TARN_GREY},  {2, 2, 100, 103, 100, TARN_COLOUR},
        {10, 2, 50, 50, 50, TARN_GREY},    {10, 1, 50, 90, 50, TARN_GREY},
        {100, 0, 50, 90, 50, TARN_TRUE_COLOUR},
    };
    for (const auto& c : cases) {
        TestImage t(c.type, 8);
        t.palette(4);
        Colormap& map = t.image.colormap;
        for (int i = 0; i < 4; ++i) map.red[i] = map.green[i] = map.blue[i] = static_cast<uint8_t>(i);
        map.red[2] = c.r;
        map.green[2] = c.g;
        map.blue[2] = c.b;
        map.color_type = c.color_type;
        EXPECT_EQ(t.assign(1), c.expected) << c.type;
        EXPECT_EQ(t.image.clr_table, nullptr);  // skip fills nothing more
    }
    TestImage truecolour(100, 24);
    EXPECT_EQ(truecolour.assign(), TARN_TRUE_COLOUR);
    EXPECT_EQ(truecolour.image.dither_on, 1);
    EXPECT_EQ(truecolour.image.dither, truecolordither_to_888_bits);
    TestImage odd(100, 8);  // a stray colour type still leaves a callable dither
    odd.palette(2);
    odd.image.colormap.color_type = 9;
    EXPECT_EQ(odd.assign(), 9);
    EXPECT_NE(odd.image.dither, nullptr);
}

TEST(ColourAssignment, HelpersAndThreshold) {
    const int depths[][2] = {{1, 0}, {2, 1}, {3, 2}, {257, 9}};
    for (const auto& c : depths) EXPECT_EQ(get_available_depth(c[0]), c[1]) << c[0];
    const int cubes[][2] = {{7, 1}, {8, 2}, {216, 6}, {215, 5}};
    for (const auto& c : cubes) EXPECT_EQ(get_equal_color_levels(c[0]), c[1]) << c[0];
    uint8_t red[2] = {255, 0}, green[2] = {255, 0}, blue[2] = {255, 1};
    Colormap map;
    reset_colormap(&map);
    map.ncolors = 2;
    map.red = red;
    map.green = green;
    map.blue = blue;
    EXPECT_EQ(is_gray_colormap(&map), 1);  // within 2 is grey, but not exactly black and white
    EXPECT_EQ(is_bw_colormap(&map), 0);
    blue[1] = 0;
    EXPECT_EQ(is_bw_colormap(&map), 1);
    float got = -1.0f;
    for (float value : {0.5f, -0.1f, 0.0f}) {  // a negative threshold is ignored
        set_dither_threshold(&value);
        get_dither_threshold(&got);
        EXPECT_EQ(got, value < 0 ? 0.5f : value);
    }
}

TEST(ColourRemap, ValuesPastTheTableTakeItsLastEntry) {
    TestImage t(2, 8);
    t.palette(4);
    ASSERT_EQ(t.assign(), TARN_COLOUR);
    const uint32_t last = t.image.clr_table[3];
    uint32_t source[6] = {0, 3, 4, 255, 70000, 0xFFFFFFFFu}, target[6];
    clr_remap_buf(&t.image, source, target, 6);
    EXPECT_EQ(target[0], t.image.clr_table[0]);
    for (int i = 1; i < 6; ++i) EXPECT_EQ(target[i], last) << i;
    uint8_t row8[3] = {1, 200, 3};
    t.image.row8 = row8;
    clr_remap_8(&t.image, target, 3);
    EXPECT_EQ(target[1], last);
    t.image.row8 = nullptr;
    TestImage bare(2, 8);  // no table: black
    clr_remap_buf(&bare.image, source, target, 6);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(target[i], 0u);
}

}  // namespace
