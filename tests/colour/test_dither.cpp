// Dither functions on rows built in memory: the ordered patterns, the cube
// index of each member, and the plain packings of true colour.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "colour/assign.h"
#include "colour/colormap.h"
#include "colour/dither.h"

namespace {

struct DitherRow {
    explicit DitherRow(int columns, bool multi = false) {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.out_cols = columns;
        EXPECT_EQ(multi ? allocate_multi_graphic_buffers(&image, 's')
                        : allocate_graphic_buffers(&image, 's'), 1);
    }
    ~DitherRow() {
        free_multi_graphic_buffers(&image);
        free_colormap_buffers(&image.colormap);
    }
    // A colormap of n entries from a function of the index.
    template <typename F>
    void colormap(int n, F colour) {
        Colormap& map = image.colormap;
        map.ncolors = n;
        for (uint8_t** band : {&map.red, &map.green, &map.blue}) *band = static_cast<uint8_t*>(calloc(n, 1));
        for (int i = 0; i < n; ++i) colour(i, map.red[i], map.green[i], map.blue[i]);
    }
    // clr_table[i] = i + offset, n entries.
    void table(int n, uint32_t offset = 0) {
        image.clr_table = static_cast<uint32_t*>(malloc(n * sizeof(uint32_t)));
        for (int i = 0; i < n; ++i) image.clr_table[i] = i + offset;
    }
    std::vector<uint32_t> out() const { return {image.grow2, image.grow2 + image.out_cols}; }
    Image image;
};

void identity(int i, uint8_t& r, uint8_t& g, uint8_t& b) { r = g = b = static_cast<uint8_t>(i); }

TEST(GreyDither, PatternsMembersAndStraightRemap) {
    const int32_t base[16] = {7, 0, -5, -4, -6, -3, 6, 1, 4, 3, -8, -1, -7, -2, 5, 2};
    DitherRow row(12);
    row.colormap(256, identity);
    row.table(256);
    // Entry (row mod 4) + 4 * (column mod 4), repeating every 4 rows and
    // columns: with an identity table the output is 128 plus the pattern.
    for (int c = 0; c < 12; ++c) row.image.grow[c] = 128;
    for (int r = 0; r < 12; ++r) {
        graydither(&row.image, r, opt1dither, 0);
        for (int c = 0; c < 12; ++c)
            EXPECT_EQ(row.image.grow2[c], 128u + base[r % 4 + 4 * (c % 4)]) << r << "," << c;
    }

    // 200 at pattern entry 0, cut to the member's bits.
    const struct { void (*member)(Image*, int); uint32_t expected; } members[] = {
        {graydither_to_1_bits, 1}, {graydither_to_2_bits, 3}, {graydither_to_3_bits, 6},
        {graydither_to_4_bits, 12}, {graydither_to_8_bits, 200}};
    row.image.grow[0] = 200;
    for (const auto& m : members) {
        m.member(&row.image, 0);
        EXPECT_EQ(row.image.grow2[0], m.expected);
    }

    // With opt0dither graydither_to_8_bits is a straight remap, on any row.
    for (int i = 0; i < 256; ++i) row.image.clr_table[i] = 0x10000 + 255 - i;
    for (int c = 0; c < 12; ++c) row.image.grow[c] = (c * 53 + 7) & 255;
    std::vector<uint32_t> remapped(12);
    clr_remap_buf(&row.image, row.image.grow, remapped.data(), 12);
    for (int r = 0; r < 5; ++r) {
        graydither_to_8_bits(&row.image, r);
        EXPECT_EQ(row.out(), remapped) << r;
    }
}

TEST(ColourDither, CubeIndexOfEachMember) {
    // One pixel at row 1, column 3 (pattern entry 13, -2 in opt1dither, scaled
    // by 2^(4 - bits) for each band); red is highest in the cube index.
    const int r = 0xB7, g = 0x5A, b = 0xE3;
    using Member = void (*)(Image*, int);
    const struct { Member colour, multi, packed; uint32_t index; } members[] = {
        {colordither_to_110_bits, multicolordither_to_110_bits, truecolordither_to_110_bits, 2},
        {colordither_to_111_bits, multicolordither_to_111_bits, truecolordither_to_111_bits, 5},
        {colordither_to_211_bits, multicolordither_to_211_bits, truecolordither_to_211_bits, 9},
        {colordither_to_221_bits, multicolordither_to_221_bits, truecolordither_to_221_bits, 19},
        {colordither_to_222_bits, multicolordither_to_222_bits, truecolordither_to_222_bits, 39},
        {colordither_to_322_bits, multicolordither_to_322_bits, truecolordither_to_322_bits, 87},
        {colordither_to_332_bits, multicolordither_to_332_bits, truecolordither_to_332_bits, 171},
        {colordither_to_333_bits, multicolordither_to_333_bits, truecolordither_to_333_bits, 342},
        {colordither_to_433_bits, multicolordither_to_433_bits, truecolordither_to_433_bits, 726},
        {colordither_to_443_bits, multicolordither_to_443_bits, truecolordither_to_443_bits, 1454},
        {colordither_to_444_bits, multicolordither_to_444_bits, truecolordither_to_444_bits, 0xB5E},
    };
    for (const auto& m : members) {
        SCOPED_TRACE(m.index);
        // Through the colormap at grow[c]; three planes through the colormap
        // arrays; packed colour without a colormap.
        DitherRow colour(4), multi(4, true), packed(4);
        colour.colormap(8, [&](int i, uint8_t& rr, uint8_t& gg, uint8_t& bb) {
            rr = i == 5 ? r : 0, gg = i == 5 ? g : 0, bb = i == 5 ? b : 0;
        });
        colour.image.grow[3] = 5;
        multi.colormap(256, identity);
        multi.image.mgrow[0][3] = r;
        multi.image.mgrow[1][3] = g;
        multi.image.mgrow[2][3] = b;
        packed.image.grow[3] = r | g << 8 | b << 16;
        for (DitherRow* row : {&colour, &multi, &packed}) row->table(4096, 1);
        m.colour(&colour.image, 1);
        m.multi(&multi.image, 1);
        m.packed(&packed.image, 1);
        EXPECT_EQ((std::vector<uint32_t>{colour.image.grow2[3], multi.image.grow2[3], packed.image.grow2[3]}),
                  std::vector<uint32_t>(3, m.index + 1));
    }
}

TEST(ColourDither, OneBitMembersAverageTheBands) {
    DitherRow row(4);
    row.table(2, 40);
    row.image.grow[0] = 100 | 50 << 8 | 30 << 16;  // mean 60, +56: lower half
    truecolordither_to_100_bits(&row.image, 0);
    EXPECT_EQ(row.image.grow2[0], 40u);
    row.colormap(4, [](int i, uint8_t& r, uint8_t& g, uint8_t& b) { r = g = b = static_cast<uint8_t>(i * 80); });
    row.image.grow[0] = 2;  // 160 + 56: the upper half
    colordither_to_100_bits(&row.image, 0);
    EXPECT_EQ(row.image.grow2[0], 41u);
}

TEST(TrueColour, PackingsOfTheEightBitMembers) {
    DitherRow planes(3, true);
    planes.colormap(256, [](int i, uint8_t& r, uint8_t& g, uint8_t& b) { r = i, g = 255 - i, b = i / 2; });
    for (int c = 0; c < 3; ++c) {
        planes.image.mgrow[0][c] = 10 * c;
        planes.image.mgrow[1][c] = 20 * c;
        planes.image.mgrow[2][c] = 30 * c;
    }
    multicolordither_to_888_bits(&planes.image, 0);
    for (uint32_t c = 0; c < 3; ++c)
        EXPECT_EQ(planes.image.grow2[c], (10 * c) | (255 - 20 * c) << 8 | (15 * c) << 16);

    DitherRow single(2);
    single.colormap(4, [](int i, uint8_t& r, uint8_t& g, uint8_t& b) { r = i + 1, g = i + 2, b = i + 3; });
    single.image.grow[0] = 1;
    single.image.grow[1] = 1000;  // past the map: its last entry
    colordither_to_888_bits(&single.image, 0);
    EXPECT_EQ(single.out(), (std::vector<uint32_t>{0x040302u, 0x060504u}));

    // Without a colormap the row is already packed: grow2 aliases grow, and
    // the owner pointers still free cleanly (the destructor frees again).
    DitherRow bare(3);
    bare.image.grow[1] = 0x00ABCDEF;
    truecolordither_to_888_bits(&bare.image, 0);
    EXPECT_EQ(bare.image.grow2, bare.image.grow);
    EXPECT_NE(bare.image.gbuf2, bare.image.gbuf);
    free_graphic_buffers(&bare.image);
}

}  // namespace
