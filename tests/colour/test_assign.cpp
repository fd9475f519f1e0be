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
    free_graphic_buffers(&t.image);
    free_graphic_buffers(&t.image);
    EXPECT_EQ(t.image.clr_table, nullptr);
}

TEST(ColourAssignment, ThreeBandsDitherThroughThePlanes) {
    for (int type : {2, 8, 10}) {
        TestImage t(type, 8);
        EXPECT_EQ(t.assign_multi(), 0);
        EXPECT_EQ(t.image.dither_on, 1);
        EXPECT_EQ(t.image.dither, multicolordither_to_888_bits);
        EXPECT_EQ(t.image.clr_table, nullptr);  // true colour needs no table
        EXPECT_FLOAT_EQ(t.image.colormap.band_step[2], 1.0f);
    }
    TestImage wide(8, 24);
    EXPECT_EQ(wide.assign_multi(), -1);
    // A true-colour single band packs its bytes through the dither.
    TestImage packed(100, 24);
    EXPECT_EQ(packed.assign(), TARN_TRUE_COLOUR);
    EXPECT_EQ(packed.image.dither, truecolordither_to_888_bits);
}

TEST(ColourAssignment, EmptyColormapsGetGreyRamps) {
    const struct { int type, depth, ncolors; float step; int index; uint32_t colour; } cases[] = {
        {2, 1, 2, 0.0f, 0, 0xFFFFFF},       // bi-level: 0 is white
        {2, 1, 2, 0.0f, 1, 0x000000},       // and 1 is black
        {8, 4, 16, 17.0f, 1, 0x111111},
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
