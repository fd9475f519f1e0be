// Row kernels on rows built in memory.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/kernels.h"
#include "colour/colormap.h"

namespace {

using Row = std::vector<uint32_t>;

struct KernelImage {
    // buffers: 'i' internal, 'm' multi-band internal, 'g' graphic rows.
    KernelImage(int depth, int columns, const char* buffers = "", int out_cols = 0) {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.depth = depth;
        image.columns = image.win_cols = columns;
        image.out_cols = out_cols ? out_cols : columns;
        for (const char* b = buffers; *b; ++b)
            EXPECT_EQ(*b == 'i'   ? allocate_internal_buffers(&image)
                      : *b == 'm' ? allocate_multi_internal_buffers(&image)
                                  : allocate_graphic_buffers(&image, 's'), 1);
    }
    ~KernelImage() { free_buffers(&image), free_multi_internal_buffers(&image), free_multi_graphic_buffers(&image); }
    void lut(LutChannel& channel, int low, const Row& values) {
        channel.enabled = 1, channel.low = low, channel.high = low + static_cast<int>(values.size()) - 1;
        channel.table = static_cast<uint32_t*>(malloc(values.size() * sizeof(uint32_t)));
        memcpy(channel.table, values.data(), values.size() * sizeof(uint32_t));
    }
    Image image;
};

template <typename T>
void put(T* target, const Row& values) {
    for (size_t i = 0; i < values.size(); ++i) target[i] = static_cast<T>(values[i]);
}

template <typename T>
Row got(const T* source, int count) { return Row(source, source + count); }

TEST(ScaleKernels, SingleBandWrapsToTheLowByte) {
    KernelImage k(16, 1, "i");
    const struct { int low; float step; uint16_t in, out; } cases[] = {
        {0, 0.5f, 600, 44},  // 300 cut to its low byte
        {10, 1.0f, 7, 253},    // -3: the signed difference truncates toward zero
        {10, 0.0f, 600, 600},  // a scale of exactly 0 leaves the row alone
        {0, 1e30f, 600, 0},    // a product past 64 bits gives 0
    };
    for (const auto& c : cases) {
        k.image.row16[0] = c.in;
        k.image.colormap.gray_low = c.low, k.image.colormap.gray_step = c.step;
        Scale16BitBuf(&k.image);
        EXPECT_EQ(k.image.row16[0], c.out) << c.in << " " << c.step;
    }
    // At 32 bits the difference is unsigned: 5 - 10 is 0xFFFFFFFB, not -5.
    KernelImage w(32, 3, "i");
    put(w.image.row32, {5, 1000, 0xFFFFFFFFu});
    w.image.colormap.gray_low = 10, w.image.colormap.gray_step = 1.0f;
    Scale32BitBuf(&w.image);
    EXPECT_EQ(got(w.image.row32, 3), (Row{0xFB, 990 & 255, 0xF5}));
}

TEST(ScaleKernels, MultiBandColumnsWalkTheRecordWords) {
    // Column i takes minimum word i and scale word i + 6 of a bounded view:
    // the band arrays, then the lut record, then zeros.
    KernelImage k(16, 70, "m");
    Colormap& map = k.image.colormap;
    put(map.band_low, {0, 1, 2});
    put(map.band_high, {3, 4, 5});
    map.band_step[0] = 0.5f, map.band_step[1] = 2.0f, map.band_step[2] = 3.0f;
    for (int plane = 0; plane < 3; ++plane)
        for (int c = 0; c < 70; ++c) k.image.mrow16[plane][c] = static_cast<uint16_t>(100 + c);
    EXPECT_EQ(scale_record_word(&k.image, 9), 0x41464544u);  // "DEFA", the lut's name
    EXPECT_EQ(scale_record_word(&k.image, 100000), 0u);

    Scale16BitMultibuf(&k.image);
    // (100 - 0) * 0.5, (101 - 1) * 2, (102 - 2) * 3 = 300; only plane 0 at two columns or more...
    EXPECT_EQ(got(k.image.mrow16[0], 3), (Row{50, 200, 44}));
    EXPECT_EQ(got(k.image.mrow16[1], 2), (Row{100, 101}));
    // ...unless a zero first scale passes the counter to plane 1.
    map.band_step[0] = 0.0f;
    Scale16BitMultibuf(&k.image);
    EXPECT_EQ(k.image.mrow16[1][1], 200);
    EXPECT_EQ(k.image.mrow16[2][1], 101);

    // With one column the counter comes back to band 2: each band once, band 1 skipped.
    KernelImage n(32, 1, "m");
    n.image.colormap.band_step[0] = n.image.colormap.band_step[2] = 2.0f, n.image.colormap.band_step[1] = 5.0f;
    for (int plane = 0; plane < 3; ++plane) n.image.mrow32[plane][0] = 10;
    Scale32BitMultibuf(&n.image);
    EXPECT_EQ((Row{n.image.mrow32[0][0], n.image.mrow32[1][0], n.image.mrow32[2][0]}), (Row{20, 10, 20}));
}

TEST(IndexKernels, RangeMapsToBaseAndOthersToOutOfRange) {
    KernelImage k(8, 5, "i");
    Colormap& map = k.image.colormap;
    map.ncolors = 1;  // counted, not read
    map.low = 10, map.high = 20, map.first = 100, map.outclr = 0;
    put(k.image.row8, {15, 25, 10, 20, 9});
    Index8BitBuf(&k.image);
    EXPECT_EQ(got(k.image.row8, 5), (Row{105, 0, 100, 110, 0}));

    // 32-bit compares unsigned: a low of -1 is the largest value.
    KernelImage d(32, 2, "i");
    d.image.colormap = map;
    d.image.colormap.low = d.image.colormap.high = -1;
    d.image.colormap.first = 2, d.image.colormap.outclr = 1;
    put(d.image.row32, {0xFFFFFFFFu, 5});
    Index32BitBuf(&d.image);
    EXPECT_EQ(got(d.image.row32, 2), (Row{2, 1}));
    map.ncolors = 0;
}

TEST(LookupKernels, ClampThenReplaceAndKeepNoData) {
    KernelImage k(32, 4, "i");
    k.lut(k.image.lut.red, 0, {10, 11, 12, 13});
    put(k.image.row32, {static_cast<uint32_t>(-7), 2, 99, 0x80000001u});
    Lookup32BitBuf(&k.image);
    EXPECT_EQ(got(k.image.row32, 4), (Row{10, 12, 13, 0x80000001u}));

    // Planes go through their own tables, with no no-data rule.
    KernelImage m(32, 2, "m");
    m.lut(m.image.lut.red, 0, {7, 8});
    m.lut(m.image.lut.blue, 0, {9, 10});
    for (int p = 0; p < 3; ++p) put(m.image.mrow32[p], {0x80000001u, 1});
    Lookup32BitMultibuf(&m.image);
    EXPECT_EQ(got(m.image.mrow32[0], 2), (Row{7, 8}));
    EXPECT_EQ(got(m.image.mrow32[1], 2), (Row{0x80000001u, 1}));  // no green table
    EXPECT_EQ(got(m.image.mrow32[2], 2), (Row{9, 10}));

    // On grow without a table, 9 to 16 bits clamp and shift down to 8.
    KernelImage r(12, 4, "g");
    put(r.image.grow, {0x1234, 70000, static_cast<uint32_t>(-5), 0x80000001u});
    LookupResampleBuf(&r.image);
    EXPECT_EQ(got(r.image.grow, 4), (Row{0x12, 255, 0, 0x80000001u}));
}

TEST(ResampleKernels, ColumnMapPicksAndWidens) {
    KernelImage k(16, 6, "ig", 8);
    put(k.image.row16, {1000, 1001, 1002, 1003, 1004, 1005});
    k.image.col_map = static_cast<int32_t*>(malloc(8 * sizeof(int32_t)));
    put(k.image.col_map, {0, 0, 1, 1, 2, 5, 6, static_cast<uint32_t>(-1)});  // the last two stray
    Resample16BitBuf(&k.image);
    EXPECT_EQ(got(k.image.grow, 8), (Row{1000, 1000, 1001, 1001, 1002, 1005, 1005, 1005}));

    // Through the colour table, bounded by the colormap's colours.
    k.image.colormap.ncolors = 1002;
    k.image.clr_table = static_cast<uint32_t*>(calloc(1002, sizeof(uint32_t)));
    k.image.clr_table[1000] = 0xAA, k.image.clr_table[1001] = 0xBB;
    ResampleCMap16BitBuf(&k.image);
    EXPECT_EQ(k.image.grow[0], 0xAAu);
    EXPECT_EQ(k.image.grow[5], 0xBBu);  // 1005 is past the table
    k.image.grow[0] = 5000;
    ResampleCMapInPlace(&k.image);
    EXPECT_EQ(k.image.grow[0], 0xBBu);
    k.image.colormap.ncolors = 0;
}

TEST(KernelSelection, NoSlotIsLeftEmpty) {
    // A depth no kernel serves still gets callable no-ops, single and multi-band.
    for (bool multi : {false, true}) {
        KernelImage k(40, 4);
        EXPECT_EQ(multi ? allocate_multi_resamplers(&k.image) : allocate_resamplers(&k.image), 1);
        EXPECT_TRUE(k.image.lookup && k.image.index && k.image.resample) << multi;
    }
}

}  // namespace
