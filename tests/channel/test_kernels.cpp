// Row kernels on rows built in memory, and their selection by depth, type
// and direct resampling.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/kernels.h"
#include "colour/colormap.h"

namespace {

struct KernelImage {
    KernelImage(int depth, int columns) {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.depth = depth;
        image.columns = image.win_cols = image.out_cols = columns;
        image.nbands = 1;
    }
    ~KernelImage() {
        free_buffers(&image);
        free_multi_internal_buffers(&image);
        free_multi_graphic_buffers(&image);
    }
    KernelImage(const KernelImage&) = delete;
    KernelImage& operator=(const KernelImage&) = delete;

    void lut(LutChannel& channel, int low, std::vector<uint32_t> values) {
        channel.enabled = 1;
        channel.low = low;
        channel.high = low + static_cast<int>(values.size()) - 1;
        channel.table = static_cast<uint32_t*>(malloc(values.size() * sizeof(uint32_t)));
        memcpy(channel.table, values.data(), values.size() * sizeof(uint32_t));
    }
    Image image;
};

uint32_t bits_of(float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    return bits;
}

float float_of(uint32_t bits) {
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

TEST(ScaleKernels, SixteenBitsWrapToTheLowByte) {
    KernelImage k(16, 5);
    ASSERT_EQ(allocate_internal_buffers(&k.image), 1);
    const uint16_t in[5] = {600, 7, 255, 511, 65535};
    memcpy(k.image.row16, in, sizeof in);
    k.image.colormap.gray_low = 0;
    k.image.colormap.gray_step = 0.5f;
    Scale16BitBuf(&k.image);
    EXPECT_EQ(k.image.row16[0], 44);  // 300 cut to its low byte
    EXPECT_EQ(k.image.row16[1], 3);
    EXPECT_EQ(k.image.row16[2], 127);
    EXPECT_EQ(k.image.row16[3], 255);
    EXPECT_EQ(k.image.row16[4], (32767 & 255));

    // Below the minimum the signed difference truncates toward zero.
    memcpy(k.image.row16, in, sizeof in);
    k.image.colormap.gray_low = 10;
    k.image.colormap.gray_step = 1.0f;
    Scale16BitBuf(&k.image);
    EXPECT_EQ(k.image.row16[1], 253);  // -3

    // A scale of exactly 0 leaves the row alone; a product past 64 bits gives 0.
    memcpy(k.image.row16, in, sizeof in);
    k.image.colormap.gray_step = 0.0f;
    Scale16BitBuf(&k.image);
    EXPECT_EQ(k.image.row16[0], 600);
    k.image.colormap.gray_low = 0;
    k.image.colormap.gray_step = 1e30f;
    Scale16BitBuf(&k.image);
    EXPECT_EQ(k.image.row16[0], 0);
}

TEST(ScaleKernels, ThirtyTwoBitDifferenceIsUnsigned) {
    KernelImage k(32, 3);
    ASSERT_EQ(allocate_internal_buffers(&k.image), 1);
    const uint32_t in[3] = {5, 1000, 0xFFFFFFFFu};
    memcpy(k.image.row32, in, sizeof in);
    k.image.colormap.gray_low = 10;
    k.image.colormap.gray_step = 1.0f;
    Scale32BitBuf(&k.image);
    EXPECT_EQ(k.image.row32[0], 0xFBu);  // 0xFFFFFFFB, not -5
    EXPECT_EQ(k.image.row32[1], (990u & 255));
    EXPECT_EQ(k.image.row32[2], 0xF5u);
}

TEST(ScaleKernels, MultiBandColumnsWalkTheRecordWords) {
    // Column i takes minimum word i and scale word i + 6 of the view: the
    // band arrays, then the lut record, then zeros.
    KernelImage k(16, 70);
    ASSERT_EQ(allocate_multi_internal_buffers(&k.image), 1);
    Colormap& map = k.image.colormap;
    const uint32_t lows[3] = {0, 1, 2}, highs[3] = {3, 4, 5};
    const float steps[3] = {0.5f, 2.0f, 3.0f};
    memcpy(map.band_low, lows, sizeof lows);
    memcpy(map.band_high, highs, sizeof highs);
    memcpy(map.band_step, steps, sizeof steps);
    for (int plane = 0; plane < 3; ++plane)
        for (int c = 0; c < 70; ++c) k.image.mrow16[plane][c] = static_cast<uint16_t>(100 + c);

    EXPECT_EQ(scale_record_word(&k.image, 0), 0u);
    EXPECT_EQ(scale_record_word(&k.image, 3), 3u);
    EXPECT_EQ(scale_record_word(&k.image, 8), bits_of(3.0f));
    EXPECT_EQ(scale_record_word(&k.image, 9), 0x41464544u);  // "DEFA"
    EXPECT_EQ(scale_record_word(&k.image, 10), 0x00544C55u);  // "ULT\0"
    EXPECT_EQ(scale_record_word(&k.image, 9 + 32), 1u);       // is_single
    EXPECT_EQ(scale_record_word(&k.image, 9 + 33 + 2), static_cast<uint32_t>(k.image.lut.red.high));
    EXPECT_EQ(scale_record_word(&k.image, 9 + 33 + 3), 0u);   // no table
    EXPECT_EQ(scale_record_word(&k.image, 9 + 51), 0u);       // past the records
    EXPECT_EQ(scale_record_word(&k.image, 100000), 0u);

    Scale16BitMultibuf(&k.image);
    for (int c = 0; c < 70; ++c) {
        uint32_t minimum = scale_record_word(&k.image, c);
        float scale = float_of(scale_record_word(&k.image, c + 6));
        long double product = static_cast<long double>(static_cast<int32_t>(100 + c - minimum)) *
                              static_cast<long double>(scale);
        uint16_t expected = static_cast<uint16_t>(static_cast<int64_t>(product) & 255);
        EXPECT_EQ(k.image.mrow16[0][c], expected) << c;
    }
    EXPECT_EQ(k.image.mrow16[0][0], 50);   // (100 - 0) * 0.5
    EXPECT_EQ(k.image.mrow16[0][1], 200);  // (101 - 1) * 2
    EXPECT_EQ(k.image.mrow16[0][2], 44);   // (102 - 2) * 3 = 300
    EXPECT_EQ(k.image.mrow16[0][4], 0);    // a denormal scale from the lut's name
    EXPECT_EQ(k.image.mrow16[0][69], 0);   // zeros past the records
    // Only plane 0 is scaled at two columns or more.
    EXPECT_EQ(k.image.mrow16[1][0], 100);
    EXPECT_EQ(k.image.mrow16[2][5], 105);

    // A zero first scale passes the counter to plane 1.
    map.band_step[0] = 0.0f;
    Scale16BitMultibuf(&k.image);
    EXPECT_EQ(k.image.mrow16[1][1], 200);
    EXPECT_EQ(k.image.mrow16[2][1], 101);
}

TEST(ScaleKernels, NarrowWindowsScaleEachBandOnce) {
    // With one column the counter comes back to band 2 for ever; each band is
    // scaled once and the kernel returns.
    KernelImage k(32, 1);
    ASSERT_EQ(allocate_multi_internal_buffers(&k.image), 1);
    Colormap& map = k.image.colormap;
    map.band_step[0] = 2.0f;
    map.band_step[1] = 5.0f;
    map.band_step[2] = 2.0f;
    for (int plane = 0; plane < 3; ++plane) k.image.mrow32[plane][0] = 10;
    Scale32BitMultibuf(&k.image);
    EXPECT_EQ(k.image.mrow32[0][0], 20u);
    EXPECT_EQ(k.image.mrow32[1][0], 10u);  // band 1 is skipped by the counter
    EXPECT_EQ(k.image.mrow32[2][0], 20u);  // entry 0 for column 0

    k.image.win_cols = 0;
    Scale32BitMultibuf(&k.image);
    Scale16BitMultibuf(&k.image);
    EXPECT_EQ(k.image.mrow32[0][0], 20u);
}

TEST(IndexKernels, RangeMapsToBaseAndOthersToOutOfRange) {
    KernelImage k(8, 5);
    ASSERT_EQ(allocate_internal_buffers(&k.image), 1);
    Colormap& map = k.image.colormap;
    map.ncolors = 1;  // counted, not read
    map.low = 10;
    map.high = 20;
    map.first = 100;
    map.outclr = 0;
    const uint8_t in[5] = {15, 25, 10, 20, 9};
    memcpy(k.image.row8, in, sizeof in);
    Index8BitBuf(&k.image);
    EXPECT_EQ(k.image.row8[0], 105);
    EXPECT_EQ(k.image.row8[1], 0);
    EXPECT_EQ(k.image.row8[2], 100);
    EXPECT_EQ(k.image.row8[3], 110);
    EXPECT_EQ(k.image.row8[4], 0);

    // 8- and 16-bit compare signed; the result is cut to the width.
    KernelImage w(16, 2);
    ASSERT_EQ(allocate_internal_buffers(&w.image), 1);
    w.image.colormap = map;
    w.image.colormap.low = -5;
    w.image.colormap.high = 70000;
    w.image.colormap.first = 65530;
    w.image.row16[0] = 3;
    w.image.row16[1] = 65535;
    Index16BitBuf(&w.image);
    EXPECT_EQ(w.image.row16[0], static_cast<uint16_t>(3 + 5 + 65530));
    EXPECT_EQ(w.image.row16[1], static_cast<uint16_t>(65535 + 5 + 65530));

    // 32-bit compares unsigned: a low of -1 is the largest value.
    KernelImage d(32, 2);
    ASSERT_EQ(allocate_internal_buffers(&d.image), 1);
    d.image.colormap = map;
    d.image.colormap.low = -1;
    d.image.colormap.high = -1;
    d.image.colormap.first = 2;
    d.image.colormap.outclr = 1;
    d.image.row32[0] = 0xFFFFFFFFu;
    d.image.row32[1] = 5;
    Index32BitBuf(&d.image);
    EXPECT_EQ(d.image.row32[0], 2u);
    EXPECT_EQ(d.image.row32[1], 1u);

    // An empty colormap leaves the row alone.
    d.image.colormap.ncolors = 0;
    d.image.row32[1] = 5;
    Index32BitBuf(&d.image);
    EXPECT_EQ(d.image.row32[1], 5u);
    map.ncolors = 0;
}

TEST(LookupKernels, ClampThenReplaceAndKeepNoData) {
    KernelImage k(32, 4);
    ASSERT_EQ(allocate_internal_buffers(&k.image), 1);
    k.lut(k.image.lut.red, 0, {10, 11, 12, 13});
    const uint32_t in[4] = {static_cast<uint32_t>(-7), 2, 99, 0x80000001u};
    memcpy(k.image.row32, in, sizeof in);
    Lookup32BitBuf(&k.image);
    EXPECT_EQ(k.image.row32[0], 10u);
    EXPECT_EQ(k.image.row32[1], 12u);
    EXPECT_EQ(k.image.row32[2], 13u);
    EXPECT_EQ(k.image.row32[3], 0x80000001u);

    KernelImage b(8, 3);
    ASSERT_EQ(allocate_internal_buffers(&b.image), 1);
    b.lut(b.image.lut.red, 100, {1, 2, 3});
    b.image.row8[0] = 0;
    b.image.row8[1] = 101;
    b.image.row8[2] = 255;
    Lookup8BitBuf(&b.image);
    EXPECT_EQ(b.image.row8[0], 1);
    EXPECT_EQ(b.image.row8[1], 2);
    EXPECT_EQ(b.image.row8[2], 3);

    // No table: nothing happens.
    KernelImage n(16, 1);
    ASSERT_EQ(allocate_internal_buffers(&n.image), 1);
    n.image.row16[0] = 500;
    Lookup16BitBuf(&n.image);
    EXPECT_EQ(n.image.row16[0], 500);
}

TEST(LookupKernels, MultiPlanesUseTheirOwnTables) {
    KernelImage k(32, 2);
    ASSERT_EQ(allocate_multi_internal_buffers(&k.image), 1);
    k.lut(k.image.lut.red, 0, {7, 8});
    k.lut(k.image.lut.blue, 0, {9, 10});
    for (int p = 0; p < 3; ++p) {
        k.image.mrow32[p][0] = 0x80000001u;  // no no-data rule on planes
        k.image.mrow32[p][1] = 1;
    }
    Lookup32BitMultibuf(&k.image);
    EXPECT_EQ(k.image.mrow32[0][0], 7u);
    EXPECT_EQ(k.image.mrow32[0][1], 8u);
    EXPECT_EQ(k.image.mrow32[1][1], 1u);  // no green table
    EXPECT_EQ(k.image.mrow32[2][1], 10u);
}

TEST(LookupKernels, ResampledRowsWithAndWithoutATable) {
    KernelImage k(12, 4);
    k.image.out_cols = 4;
    ASSERT_EQ(allocate_graphic_buffers(&k.image, 's'), 1);
    const uint32_t in[4] = {0x1234, 70000, static_cast<uint32_t>(-5), 0x80000001u};
    memcpy(k.image.grow, in, sizeof in);
    LookupResampleBuf(&k.image);
    EXPECT_EQ(k.image.grow[0], 0x12u);
    EXPECT_EQ(k.image.grow[1], 255u);
    EXPECT_EQ(k.image.grow[2], 0u);
    EXPECT_EQ(k.image.grow[3], 0x80000001u);

    k.lut(k.image.lut.red, 0, {4, 5});
    memcpy(k.image.grow, in, sizeof in);
    LookupResampleBuf(&k.image);
    EXPECT_EQ(k.image.grow[0], 5u);
    EXPECT_EQ(k.image.grow[2], 4u);
    EXPECT_EQ(k.image.grow[3], 0x80000001u);
}

TEST(ResampleKernels, ColumnMapPicksAndWidens) {
    KernelImage k(16, 6);
    k.image.out_cols = 8;
    ASSERT_EQ(allocate_internal_buffers(&k.image), 1);
    ASSERT_EQ(allocate_graphic_buffers(&k.image, 's'), 1);
    for (int c = 0; c < 6; ++c) k.image.row16[c] = static_cast<uint16_t>(1000 + c);
    int32_t map[8] = {0, 0, 1, 1, 2, 5, 6, -1};  // the last two stray outside the window
    k.image.col_map = static_cast<int32_t*>(malloc(sizeof map));
    memcpy(k.image.col_map, map, sizeof map);
    Resample16BitBuf(&k.image);
    const uint32_t expected[8] = {1000, 1000, 1001, 1001, 1002, 1005, 1005, 1005};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(k.image.grow[i], expected[i]) << i;

    // Through the colour table, bounded by the colormap's colours.
    k.image.colormap.ncolors = 1002;
    k.image.clr_table = static_cast<uint32_t*>(calloc(1002, sizeof(uint32_t)));
    k.image.clr_table[1000] = 0xAA;
    k.image.clr_table[1001] = 0xBB;
    ResampleCMap16BitBuf(&k.image);
    EXPECT_EQ(k.image.grow[0], 0xAAu);
    EXPECT_EQ(k.image.grow[5], 0xBBu);  // 1005 is past the table
    k.image.grow[0] = 5000;
    ResampleCMapInPlace(&k.image);
    EXPECT_EQ(k.image.grow[0], 0xBBu);
    EXPECT_EQ(k.image.grow[1], 0u);  // 0xAA is an index like any other
    k.image.colormap.ncolors = 0;
}

TEST(ResampleKernels, MultiPlanesAndGivenIndexMembers) {
    KernelImage k(8, 3);
    ASSERT_EQ(allocate_multi_internal_buffers(&k.image), 1);
    ASSERT_EQ(allocate_internal_buffers(&k.image), 1);
    ASSERT_EQ(allocate_multi_graphic_buffers(&k.image, 's'), 1);
    for (int p = 0; p < 3; ++p)
        for (int c = 0; c < 3; ++c) k.image.mrow8[p][c] = static_cast<uint8_t>(10 * p + c);
    k.image.col_map = static_cast<int32_t*>(calloc(3, sizeof(int32_t)));
    k.image.col_map[0] = 2;
    Resample8BitMultibuf(&k.image);
    EXPECT_EQ(k.image.mgrow[1][0], 12u);
    EXPECT_EQ(k.image.mgrow[2][1], 20u);

    const int32_t index[3] = {1, 1, 0};
    Resample_Multi_8(&k.image, index, 3);
    EXPECT_EQ(k.image.mgrow[2][0], 21u);
    k.image.row8[0] = 4;
    k.image.row8[1] = 5;
    Resample_Dither_8(&k.image, index, 3);
    EXPECT_EQ(k.image.grow[0], 5u);
    Resample_Copy_8(&k.image, 2);
    EXPECT_EQ(k.image.grow[0], 4u);
    Resample_Multi_Copy_8(&k.image, 3);
    EXPECT_EQ(k.image.mgrow[1][2], 12u);
    EXPECT_EQ(k.image.grow[1], 5u);

    std::vector<uint32_t> mask(3);
    k.image.grow[2] = 0;
    Resample_Transparent_Mask(&k.image, mask.data(), 3, 0xFF);
    EXPECT_EQ(mask[0], 0xFFu);
    EXPECT_EQ(mask[2], 0u);
    Resample_Transparent_FG(&k.image, mask.data(), 3);  // no table: black
    EXPECT_EQ(mask[0], 0u);
}

TEST(KernelSelection, DepthPicksTheFamily) {
    const struct {
        int depth;
        ImageKernelFunc resample;
        ImageKernelFunc multi;
    } cases[] = {{1, Resample8BitBuf, Resample8BitMultibuf},
                 {8, Resample8BitBuf, Resample8BitMultibuf},
                 {12, Resample16BitBuf, Resample16BitMultibuf},
                 {16, Resample16BitBuf, Resample16BitMultibuf},
                 {24, Resample32BitBuf, Resample32BitMultibuf},
                 {32, Resample32BitBuf, Resample32BitMultibuf}};
    for (const auto& c : cases) {
        KernelImage k(c.depth, 4);
        k.image.type = 2;
        EXPECT_EQ(allocate_resamplers(&k.image), 1);
        EXPECT_EQ(k.image.resample, c.resample) << c.depth;
        EXPECT_EQ(k.image.lookup, LookupNoOp);
        EXPECT_EQ(k.image.index, IndexNoOp);
        EXPECT_EQ(k.image.row_resampled, 0);
        KernelImage m(c.depth, 4);
        EXPECT_EQ(allocate_multi_resamplers(&m.image), 1);
        EXPECT_EQ(m.image.resample, c.multi);
    }
    // A depth past 32 bits leaves no slot to call through null.
    KernelImage wide(40, 4);
    allocate_resamplers(&wide.image);
    EXPECT_EQ(wide.image.resample, ResampleNoOp);
    EXPECT_EQ(wide.image.lookup, LookupNoOp);
}

TEST(KernelSelection, ExternalRecordsBringTheirKernels) {
    KernelImage k(16, 4);
    strcpy(k.image.lut.name, "EXTERNAL");
    k.lut(k.image.lut.red, 0, {1});
    strcpy(k.image.colormap.name, "EXTERNAL");
    allocate_resamplers(&k.image);
    EXPECT_EQ(k.image.lookup, Lookup16BitBuf);
    EXPECT_EQ(k.image.index, Index16BitBuf);

    // A driver's scaler stays when the LUT is not external.
    KernelImage s(16, 4);
    s.image.lookup = Scale16BitBuf;
    allocate_resamplers(&s.image);
    EXPECT_EQ(s.image.lookup, Scale16BitBuf);

    KernelImage m(8, 4);
    strcpy(m.image.lut.name, "EXTERNAL");
    k.lut(m.image.lut.green, 0, {1});
    strcpy(m.image.colormap.name, "EXTERNAL");
    allocate_multi_resamplers(&m.image);
    EXPECT_EQ(m.image.lookup, Lookup8BitMultibuf);
    EXPECT_EQ(m.image.index, IndexNoOp);
}

TEST(KernelSelection, DirectResamplingOnlyForImpellAndTiff) {
    KernelImage sun(8, 4);
    sun.image.type = 2;
    sun.image.direct_resampling = 1;
    allocate_resamplers(&sun.image);
    EXPECT_EQ(sun.image.resample, Resample8BitBuf);
    EXPECT_EQ(sun.image.row_resampled, 0);

    KernelImage tiff(8, 4);
    tiff.image.type = 7;
    tiff.image.direct_resampling = 1;
    strcpy(tiff.image.lut.name, "EXTERNAL");
    strcpy(tiff.image.colormap.name, "EXTERNAL");
    allocate_resamplers(&tiff.image);
    EXPECT_EQ(tiff.image.resample, ResampleNoOp);
    EXPECT_EQ(tiff.image.row_resampled, 1);
    EXPECT_EQ(tiff.image.lookup, LookupResampleBuf);
    EXPECT_EQ(tiff.image.index, IndexResampleBuf);

    KernelImage push(8, 4);
    push.image.type = 10;
    push.image.row_resampled = 7;
    allocate_resamplers_push(&push.image);
    EXPECT_EQ(push.image.resample, ResampleNoOp);
    EXPECT_EQ(push.image.row_resampled, 7);

    KernelImage grid(8, 4);
    grid.image.type = 10;
    grid.image.direct_resampling = 1;
    allocate_multi_resamplers(&grid.image);
    EXPECT_EQ(grid.image.resample, ResampleNoOp);
    EXPECT_EQ(grid.image.lookup, LookupNoOp);

    KernelImage mtiff(8, 4);
    mtiff.image.type = 7;
    mtiff.image.direct_resampling = 1;
    allocate_multi_resamplers(&mtiff.image);
    EXPECT_EQ(mtiff.image.resample, ResampleNoOp);
    EXPECT_EQ(mtiff.image.lookup, LookupNoOp);
    strcpy(mtiff.image.lut.name, "EXTERNAL");
    mtiff.lut(mtiff.image.lut.blue, 0, {1});
    allocate_multi_resamplers_push(&mtiff.image);
    EXPECT_EQ(mtiff.image.lookup, LookupMultiResampleBuf);
}

}  // namespace
