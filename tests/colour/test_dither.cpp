// Dither functions on rows built in memory: the ordered patterns, the cube
// index of each member, and the plain packings of true colour.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

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
        if (multi)
            EXPECT_EQ(allocate_multi_graphic_buffers(&image, 's'), 1);
        else
            EXPECT_EQ(allocate_graphic_buffers(&image, 's'), 1);
    }
    ~DitherRow() {
        free_multi_graphic_buffers(&image);
        free_colormap_buffers(&image.colormap);
    }
    DitherRow(const DitherRow&) = delete;
    DitherRow& operator=(const DitherRow&) = delete;

    // A colormap of n entries from a function of the index.
    template <typename F>
    void colormap(int n, F colour) {
        Colormap& map = image.colormap;
        map.ncolors = n;
        map.red = static_cast<uint8_t*>(calloc(n, 1));
        map.green = static_cast<uint8_t*>(calloc(n, 1));
        map.blue = static_cast<uint8_t*>(calloc(n, 1));
        for (int i = 0; i < n; ++i) colour(i, map.red[i], map.green[i], map.blue[i]);
    }
    // clr_table[i] = i + offset, n entries.
    void table(int n, uint32_t offset = 0) {
        image.clr_table = static_cast<uint32_t*>(malloc(n * sizeof(uint32_t)));
        for (int i = 0; i < n; ++i) image.clr_table[i] = i + offset;
    }
    Image image;
};

void identity(int i, uint8_t& r, uint8_t& g, uint8_t& b) { r = g = b = static_cast<uint8_t>(i); }

TEST(DitherPatterns, ScaledTablesAndPhase) {
    const int32_t base[16] = {7, 0, -5, -4, -6, -3, 6, 1, 4, 3, -8, -1, -7, -2, 5, 2};
    for (int k = 0; k < 16; ++k) {
        EXPECT_EQ(opt0dither[k], 0);
        EXPECT_EQ(opt1dither[k], base[k]);
        EXPECT_EQ(opt2dither[k], 2 * base[k]);
        EXPECT_EQ(opt4dither[k], 4 * base[k]);
        EXPECT_EQ(opt8dither[k], 8 * base[k]);
    }
    // Entry (row mod 4) + 4 * (column mod 4): with an identity table the
    // output is 128 plus the pattern.
    DitherRow row(12);
    row.colormap(256, identity);
    row.table(256);
    for (int c = 0; c < 12; ++c) row.image.grow[c] = 128;
    for (int r = 0; r < 4; ++r) {
        graydither(&row.image, r, opt1dither, 0);
        std::vector<uint32_t> first(row.image.grow2, row.image.grow2 + 12);
        for (int c = 0; c < 12; ++c) {
            EXPECT_EQ(first[c], 128u + opt1dither[r + 4 * (c % 4)]) << r << "," << c;
            if (c >= 4) {
                EXPECT_EQ(first[c], first[c - 4]);
            }
        }
        graydither(&row.image, r + 4, opt1dither, 0);
        EXPECT_EQ(std::vector<uint32_t>(row.image.grow2, row.image.grow2 + 12), first);
        graydither(&row.image, r + 8, opt1dither, 0);
        EXPECT_EQ(std::vector<uint32_t>(row.image.grow2, row.image.grow2 + 12), first);
    }
}

TEST(GreyDither, EightBitsIsAStraightRemap) {
    DitherRow row(64);
    row.colormap(256, identity);
    row.table(256, 0x10000);
    for (int c = 0; c < 64; ++c) row.image.grow[c] = (c * 53 + 7) & 255;
    std::vector<uint32_t> remapped(64);
    clr_remap_buf(&row.image, row.image.grow, remapped.data(), 64);
    for (int r = 0; r < 5; ++r) {
        graydither_to_8_bits(&row.image, r);
        EXPECT_EQ(std::vector<uint32_t>(row.image.grow2, row.image.grow2 + 64), remapped) << r;
    }
}

TEST(GreyDither, BandsClampAndShift) {
    DitherRow row(4);
    row.colormap(256, identity);
    row.table(256);
    row.image.grow[0] = 250;  // row 0, column 0: +56
    graydither(&row.image, 0, opt8dither, 0);
    EXPECT_EQ(row.image.grow2[0], 255u);
    row.image.grow[2] = 5;  // row 2, column 2: -64
    graydither(&row.image, 2, opt8dither, 0);
    EXPECT_EQ(row.image.grow2[2], 0u);

    const struct {
        void (*member)(Image*, int);
        uint32_t expected;  // 200 + pattern entry 0, shifted
    } members[] = {{graydither_to_1_bits, (200 + 56) > 255 ? 1u : 0u},
                   {graydither_to_2_bits, (200 + 28) >> 6},
                   {graydither_to_3_bits, (200 + 14) >> 5},
                   {graydither_to_4_bits, (200 + 7) >> 4},
                   {graydither_to_8_bits, 200}};
    row.image.grow[0] = 200;
    for (const auto& m : members) {
        m.member(&row.image, 0);
        EXPECT_EQ(row.image.grow2[0], m.expected);
    }
}

TEST(ColourDither, CubeIndexOfEachMember) {
    // One pixel at row 1, column 3: pattern entry 13 (opt1 -2, opt2 -4, opt4 -8, opt8 -16).
    const uint8_t r = 0xB7, g = 0x5A, b = 0xE3;
    auto expect = [&](int pr, int pg, int pb, uint32_t mr, uint32_t mg, uint32_t mb, int sr, int sg,
                      int sb, bool left) {
        auto band = [](int v, int scale) {
            v -= 2 * scale;
            return static_cast<uint32_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        };
        uint32_t rv = band(r, pr) & mr, gv = band(g, pg) & mg, bv = band(b, pb) & mb;
        return (left ? rv << sr : rv >> sr) | gv >> sg | bv >> sb;
    };
    const struct {
        void (*colour)(Image*, int);
        void (*multi)(Image*, int);
        void (*packed)(Image*, int);
        uint32_t index;
    } members[] = {
        {colordither_to_110_bits, multicolordither_to_110_bits, truecolordither_to_110_bits,
         expect(8, 8, 8, 128, 128, 0, 6, 7, 0, false)},
        {colordither_to_111_bits, multicolordither_to_111_bits, truecolordither_to_111_bits,
         expect(8, 8, 8, 128, 128, 128, 5, 6, 7, false)},
        {colordither_to_211_bits, multicolordither_to_211_bits, truecolordither_to_211_bits,
         expect(4, 8, 8, 192, 128, 128, 4, 6, 7, false)},
        {colordither_to_221_bits, multicolordither_to_221_bits, truecolordither_to_221_bits,
         expect(4, 4, 8, 192, 192, 128, 3, 5, 7, false)},
        {colordither_to_222_bits, multicolordither_to_222_bits, truecolordither_to_222_bits,
         expect(4, 4, 4, 192, 192, 192, 2, 4, 6, false)},
        {colordither_to_322_bits, multicolordither_to_322_bits, truecolordither_to_322_bits,
         expect(2, 4, 4, 224, 192, 192, 1, 4, 6, false)},
        {colordither_to_332_bits, multicolordither_to_332_bits, truecolordither_to_332_bits,
         expect(2, 2, 4, 224, 224, 192, 0, 3, 6, false)},
        {colordither_to_333_bits, multicolordither_to_333_bits, truecolordither_to_333_bits,
         expect(2, 2, 2, 224, 224, 224, 1, 2, 5, true)},
        {colordither_to_433_bits, multicolordither_to_433_bits, truecolordither_to_433_bits,
         expect(1, 2, 2, 240, 224, 224, 2, 2, 5, true)},
        {colordither_to_443_bits, multicolordither_to_443_bits, truecolordither_to_443_bits,
         expect(1, 1, 2, 240, 240, 224, 3, 1, 5, true)},
        {colordither_to_444_bits, multicolordither_to_444_bits, truecolordither_to_444_bits,
         expect(1, 1, 1, 240, 240, 240, 4, 0, 4, true)},
    };
    EXPECT_EQ(members[10].index, 0xB5Eu);  // (0xB5, 0x58, 0xE1) cut to 4 bits each
    for (const auto& m : members) {
        // Through the colormap at grow[c].
        DitherRow colour(4);
        colour.colormap(8, [&](int i, uint8_t& rr, uint8_t& gg, uint8_t& bb) {
            rr = i == 5 ? r : 0;
            gg = i == 5 ? g : 0;
            bb = i == 5 ? b : 0;
        });
        colour.table(4096, 1);
        colour.image.grow[3] = 5;
        m.colour(&colour.image, 1);
        EXPECT_EQ(colour.image.grow2[3], m.index + 1);

        // Three planes, each through its colormap array.
        DitherRow multi(4, true);
        multi.colormap(256, identity);
        multi.table(4096, 1);
        multi.image.mgrow[0][3] = r;
        multi.image.mgrow[1][3] = g;
        multi.image.mgrow[2][3] = b;
        m.multi(&multi.image, 1);
        EXPECT_EQ(multi.image.grow2[3], m.index + 1);

        // Packed colour, without a colormap.
        DitherRow packed(4);
        packed.table(4096, 1);
        packed.image.grow[3] = r | g << 8 | b << 16;
        m.packed(&packed.image, 1);
        EXPECT_EQ(packed.image.grow2[3], m.index + 1);
    }
}

TEST(ColourDither, OneBitMembersAverageTheBands) {
    DitherRow row(4);
    row.table(2, 40);
    row.colormap(4, [](int i, uint8_t& r, uint8_t& g, uint8_t& b) {
        r = g = b = static_cast<uint8_t>(i * 80);
    });
    row.image.grow[0] = 2;  // 160 + 56: the upper half
    row.image.grow[1] = 1;  // 80 + opt8[4] = 80 - 48
    colordither_to_100_bits(&row.image, 0);
    EXPECT_EQ(row.image.grow2[0], 41u);
    EXPECT_EQ(row.image.grow2[1], 40u);

    free_colormap_buffers(&row.image.colormap);
    row.image.grow[0] = 100 | 50 << 8 | 30 << 16;  // mean 60, +56: lower half
    truecolordither_to_100_bits(&row.image, 0);
    EXPECT_EQ(row.image.grow2[0], 40u);
}

TEST(TrueColour, PackingsOfTheEightBitMembers) {
    DitherRow planes(3, true);
    planes.colormap(256, [](int i, uint8_t& r, uint8_t& g, uint8_t& b) {
        r = static_cast<uint8_t>(i);
        g = static_cast<uint8_t>(255 - i);
        b = static_cast<uint8_t>(i / 2);
    });
    for (int c = 0; c < 3; ++c) {
        planes.image.mgrow[0][c] = 10 * c;
        planes.image.mgrow[1][c] = 20 * c;
        planes.image.mgrow[2][c] = 30 * c;
    }
    multicolordither_to_888_bits(&planes.image, 0);
    for (uint32_t c = 0; c < 3; ++c)
        EXPECT_EQ(planes.image.grow2[c], (10 * c) | (255 - 20 * c) << 8 | (15 * c) << 16);

    DitherRow single(2);
    single.colormap(4, [](int i, uint8_t& r, uint8_t& g, uint8_t& b) {
        r = static_cast<uint8_t>(i + 1);
        g = static_cast<uint8_t>(i + 2);
        b = static_cast<uint8_t>(i + 3);
    });
    single.image.grow[0] = 1;
    single.image.grow[1] = 1000;  // past the map: its last entry
    colordither_to_888_bits(&single.image, 0);
    EXPECT_EQ(single.image.grow2[0], 0x040302u);
    EXPECT_EQ(single.image.grow2[1], 0x060504u);

    single.image.grow[0] = 0x00030201;  // bytes through the map, each clamped to it
    truecolordither_to_888_bits(&single.image, 0);
    EXPECT_EQ(single.image.grow2[0], 0x060402u);
    EXPECT_NE(single.image.grow2, single.image.grow);
}

TEST(TrueColour, WithoutAColormapTheRowIsAlreadyPacked) {
    DitherRow row(3);
    row.image.grow[1] = 0x00ABCDEF;
    truecolordither_to_888_bits(&row.image, 0);
    EXPECT_EQ(row.image.grow2, row.image.grow);
    EXPECT_NE(row.image.gbuf2, row.image.gbuf);
    EXPECT_EQ(row.image.grow2[1], 0x00ABCDEFu);
    // The owner pointers still free cleanly (the destructor frees twice).
    free_graphic_buffers(&row.image);
}

TEST(TrueColour, MissingRowsDoNothing) {
    Image image;
    memset(&image, 0, sizeof image);
    reset_image(&image);
    image.out_cols = 8;
    colordither_to_444_bits(&image, 0);
    multicolordither_to_888_bits(&image, 0);
    graydither_to_8_bits(&image, 0);
    truecolordither_to_100_bits(&image, 0);
    EXPECT_EQ(image.grow2, nullptr);
}

}  // namespace
