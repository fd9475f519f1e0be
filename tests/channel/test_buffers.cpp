// Row buffers of the Image record, the display bitmap, the grid path's
// buffers and the repackers between bit depths.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <vector>

#include "channel/alloc.h"
#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/clyr.h"
#include "colour/colormap.h"
#include <tarnimage/repack.h>

namespace {

struct Record {
    Record() {
        memset(&image, 0, sizeof image);
        reset_image(&image);
    }
    ~Record() {
        free_buffers(&image);
        free_multi_buffers(&image);
        free_multi_graphic_buffers(&image);
        free_all_display_buffers(&image);
        if (image.clyr) {
            free_clyr_multi_buffers(&image);
            free_clyr_multi_graphic_buffers(&image);
            free(image.clyr);
        }
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
    Image image;
};

TEST(Buffers, InternalBuffersFollowTheDepthFamily) {
    const struct {
        int depth;
        int family;
    } cases[] = {{1, 8}, {8, 8}, {9, 16}, {12, 16}, {16, 16}, {17, 32}, {24, 32}, {32, 32}};
    for (const auto& c : cases) {
        Record r;
        r.image.depth = c.depth;
        r.image.columns = 7;
        r.image.nbands = 3;
        EXPECT_EQ(get_internal_buffer_depth(c.depth), c.family);
        ASSERT_EQ(allocate_internal_buffers(&r.image), 1) << c.depth;
        void* owner = c.family == 8 ? static_cast<void*>(r.image.buf8)
                      : c.family == 16 ? static_cast<void*>(r.image.buf16)
                                       : static_cast<void*>(r.image.buf32);
        void* current = c.family == 8 ? static_cast<void*>(r.image.row8)
                        : c.family == 16 ? static_cast<void*>(r.image.row16)
                                         : static_cast<void*>(r.image.row32);
        ASSERT_NE(owner, nullptr);
        EXPECT_EQ(owner, current);
        // Sized by the whole row of all bands: the last sample is writable.
        if (c.family == 8) r.image.row8[20] = 1;
        if (c.family == 16) r.image.row16[20] = 1;
        if (c.family == 32) r.image.row32[20] = 1;
        ASSERT_EQ(allocate_multi_internal_buffers(&r.image), 1);
        free_internal_buffers(&r.image);
        free_internal_buffers(&r.image);
        free_multi_internal_buffers(&r.image);
        free_multi_internal_buffers(&r.image);
        EXPECT_EQ(r.image.buf8, nullptr);
        EXPECT_EQ(r.image.row16, nullptr);
        EXPECT_EQ(r.image.mbuf32[2], nullptr);
        EXPECT_EQ(r.image.mrow8[0], nullptr);
    }
    Record wide;
    wide.image.depth = 33;
    wide.image.columns = 4;
    EXPECT_EQ(get_internal_buffer_depth(33), -1);
    EXPECT_EQ(allocate_internal_buffers(&wide.image), -1);
    EXPECT_EQ(allocate_multi_internal_buffers(&wide.image), -1);
    EXPECT_EQ(wide.image.buf32, nullptr);
    EXPECT_EQ(wide.image.mbuf32[0], nullptr);
}

TEST(Buffers, FreeingTwiceDoesNothingTheSecondTime) {
    Record r;
    r.image.depth = 8;
    r.image.columns = 5;
    r.image.file_buffer = allocate_byte_buffer(10);
    r.image.file_buffer3 = allocate_byte_buffer(3);
    r.image.aux_buffer = static_cast<uint8_t*>(malloc(4));
    Colormap* map = create_colormap("m", 4, 0, 0, 0, 0);
    image_replace_colormap(&r.image, map);
    free_colormap(map);
    r.image.lut.red.table = static_cast<uint32_t*>(malloc(8));
    ASSERT_EQ(allocate_internal_buffers(&r.image), 1);
    EXPECT_EQ(free_buffers(&r.image), 1);
    EXPECT_EQ(free_buffers(&r.image), 1);
    EXPECT_EQ(r.image.file_buffer, nullptr);
    EXPECT_EQ(r.image.aux_buffer, nullptr);
    EXPECT_EQ(r.image.colormap.ncolors, 0);
    EXPECT_EQ(r.image.colormap.red, nullptr);
    EXPECT_EQ(r.image.lut.red.table, nullptr);
    EXPECT_EQ(free_multi_buffers(&r.image), 1);
}

TEST(Buffers, GraphicRowsBySizeMode) {
    const struct {
        int mode;
        int width;  // out_cols 6, win_cols 9
    } cases[] = {{'s', 6}, {'i', 9}, {'p', 9}};
    for (const auto& c : cases) {
        Record r;
        r.image.out_cols = 6;
        r.image.win_cols = 9;
        ASSERT_EQ(allocate_graphic_buffers(&r.image, c.mode), 1);
        EXPECT_EQ(r.image.grow, r.image.gbuf);
        EXPECT_EQ(r.image.grow2, r.image.gbuf2);
        r.image.grow[c.width - 1] = 1;
        r.image.grow2[c.width - 1] = 1;
        r.image.col_map = static_cast<int32_t*>(C_calloc(6, sizeof(int32_t)));
        r.image.clr_table = static_cast<uint32_t*>(C_calloc(6, sizeof(uint32_t)));
        free_graphic_buffers(&r.image);
        free_graphic_buffers(&r.image);
        EXPECT_EQ(r.image.gbuf, nullptr);
        EXPECT_EQ(r.image.col_map, nullptr);
        EXPECT_EQ(r.image.clr_table, nullptr);

        ASSERT_EQ(allocate_multi_graphic_buffers(&r.image, c.mode), 1);
        for (int k = 0; k < 3; ++k) r.image.mgrow[k][c.width - 1] = 1;
        free_multi_graphic_buffers(&r.image);
        free_multi_graphic_buffers(&r.image);
        EXPECT_EQ(r.image.mgbuf[1], nullptr);
    }
    Record r;
    r.image.out_cols = 6;
    EXPECT_EQ(allocate_graphic_buffers(&r.image, 'x'), -1);
    EXPECT_EQ(allocate_multi_graphic_buffers(&r.image, 'x'), -1);
    EXPECT_EQ(r.image.gbuf, nullptr);
}

TEST(DisplayBuffer, WithoutAnImageOwnerTheScreenIsThirtyTwoBits) {
    Record r;
    r.image.out_cols = 10;
    r.image.win_cols = 12;
    ASSERT_EQ(tarn_screen_init(nullptr, &r.image, 0), 1);
    EXPECT_EQ(r.image.screen_depth, 32);
    EXPECT_EQ(r.image.bitmap, nullptr);
    ASSERT_EQ(allocate_display_buffer(nullptr, &r.image, 0, 0), 1);
    EXPECT_EQ(r.image.bitmap_height, 16);
    EXPECT_EQ(r.image.repack, repack_32to32);
    ASSERT_EQ(allocate_display_buffer(nullptr, &r.image, 0, 1), 1);
    EXPECT_EQ(r.image.bitmap_height, 1);
    ASSERT_EQ(allocate_2d_display_buffer(nullptr, &r.image, 0, 8, 5), 1);
    EXPECT_EQ(r.image.bitmap_height, 5);
    ASSERT_NE(r.image.bitmap_rows, nullptr);
    EXPECT_EQ(r.image.bitmap_rows[4], nullptr);  // no buffer, no rows
    ASSERT_EQ(allocate_2d_display_buffer(nullptr, &r.image, 0, 8, 3), 1);  // replaces the index
    free_all_display_buffers(&r.image);
    free_all_display_buffers(&r.image);
    EXPECT_EQ(r.image.bitmap_rows, nullptr);
    EXPECT_EQ(allocate_2d_display_buffer(nullptr, &r.image, 0, 8, 0), -1);
    reset_all_display_buffers(&r.image);
    EXPECT_EQ(r.image.bitmap_bits, nullptr);
}

TEST(ClyrBuffers, GridBuffersAllocateAndFreeByTheRecord) {
    Record r;
    r.image.depth = 16;
    EXPECT_EQ(allocate_clyr_internal_buffers(&r.image, 0, 1.0f, 1.0f), -1);  // no record
    EXPECT_EQ(free_clyr_buffers(&r.image), -1);
    ASSERT_EQ(image_clyr_make(&r.image), 1);
    GridClyr* clyr = static_cast<GridClyr*>(r.image.clyr);
    clyr->cells_across = 50;
    clyr->cells_down = 10;
    clyr->block_width = 8;
    clyr->block_height = 16;
    ASSERT_EQ(allocate_clyr_internal_buffers(&r.image, 0, 2.0f, 1.0f), 1);
    EXPECT_EQ(clyr->buffer_width, 50);   // twice 50 / 2 beats twice 8
    EXPECT_EQ(clyr->buffer_height, 32);  // twice 16 beats twice 10 / 1
    static_cast<uint32_t**>(static_cast<void*>(clyr->samples))[31][49] = 7;  // words above 8 bits
    clyr->words[31][49] = 7;
    EXPECT_EQ(free_clyr_buffers(&r.image), 1);
    EXPECT_EQ(free_clyr_buffers(&r.image), 1);
    EXPECT_EQ(clyr->samples, nullptr);

    ASSERT_EQ(allocate_clyr_multi_intrnl_buf(&r.image, 0, 0.0f, 0.0f), 1);
    EXPECT_EQ(clyr->buffer_width, 16);
    EXPECT_NE(clyr->msamples[2], nullptr);
    free_clyr_multi_buffers(&r.image);
    free_clyr_multi_buffers(&r.image);

    clyr->screen_width = 20;
    clyr->screen_height = 4;
    ASSERT_EQ(allocate_clyr_graphic_buffers(&r.image, 's'), 1);
    clyr->graphic[1][3][19] = 1;
    EXPECT_EQ(clyr->graphic[2], nullptr);
    free_clyr_graphic_buffers(&r.image);
    ASSERT_EQ(allocate_clyr_multi_graphic_buf(&r.image, 'i'), 1);
    clyr->graphic[3][15][7] = 1;
    free_clyr_multi_graphic_buffers(&r.image);
    free_clyr_multi_graphic_buffers(&r.image);
    EXPECT_EQ(allocate_clyr_graphic_buffers(&r.image, 'x'), -1);

    // Sizes from a broken grid header are refused, not allocated.
    clyr->cells_across = 2000000000;
    EXPECT_EQ(allocate_clyr_internal_buffers(&r.image, 0, 0.001f, 1.0f), -1);

    set_clyr_display_buffer(&r.image, 6, 3);
    ASSERT_EQ(allocate_clyr_display_buffer(nullptr, &r.image), 1);
    EXPECT_EQ(r.image.bitmap_height, 3);
}

TEST(Repack, WideningAndNarrowing) {
    uint8_t bytes[3] = {0, 128, 255};
    uint16_t words[3] = {1, 40000, 65535};
    uint32_t wide[3];
    repack_8to32(bytes, wide, 3);
    EXPECT_EQ(wide[2], 255u);
    repack_16to32(words, wide, 3);
    EXPECT_EQ(wide[1], 40000u);

    uint32_t source[2] = {0x00112233, 0xAABBCCDD};
    uint8_t out24[6];
    repack_32to24(source, out24, 2);
    const uint8_t expected24[6] = {0x11, 0x22, 0x33, 0xBB, 0xCC, 0xDD};
    EXPECT_EQ(memcmp(out24, expected24, 6), 0);
    uint16_t out16[2];
    repack_32to16(source, out16, 2);
    EXPECT_EQ(out16[1], 0xCCDD);
    uint8_t out8[2];
    repack_32to8(source, out8, 2);
    EXPECT_EQ(out8[0], 0x33);
    uint32_t out32[2];
    repack_32to32(source, out32, 2);
    EXPECT_EQ(out32[1], 0xAABBCCDDu);
    uint32_t untouched = 0x5A5A5A5A;
    repack_32to12(source, &untouched, 2);
    EXPECT_EQ(untouched, 0x5A5A5A5Au);
}

TEST(Repack, BitsAndNibbles) {
    std::vector<uint32_t> values(33, 0);
    values[0] = 1;
    values[5] = 77;
    values[31] = 2;
    values[32] = 9;
    uint32_t bits[2] = {0, 0};
    repack_32to1(values.data(), bits, 33);
    EXPECT_EQ(bits[0], 0x80000021u);
    EXPECT_EQ(bits[1], 1u);

    uint32_t nibbles_in[11] = {1, 2, 3, 4, 5, 6, 7, 0x1F, 0xA, 0xB, 0xC};
    uint32_t nibbles[2] = {0, 0};
    repack_32to4(nibbles_in, nibbles, 11);
    EXPECT_EQ(nibbles[0], 0x1234567Fu);
    EXPECT_EQ(nibbles[1], 0xABC00000u);  // the tail is left-justified
}

TEST(Repack, SixBitFieldsReadSixtyThreeThroughTheOr) {
    std::vector<uint32_t> values(16, 0);
    uint32_t words[3] = {0, 0, 0};
    repack_32to6(values.data(), words, 16);
    EXPECT_EQ(words[0], 0xFFFFFFFFu);
    EXPECT_EQ(words[1], 0xFFFFFFFFu);
    EXPECT_EQ(words[2], 0xFFFFFFFFu);
    // Upper bits survive the OR and spill into the neighbouring field.
    values.assign(16, 0);
    values[1] = 0x40;  // 0x7F << 20 reaches bit 26, the first field's lowest bit
    uint32_t spill[3];
    repack_32to6(values.data(), spill, 16);
    EXPECT_EQ(spill[0], 0xFFFFFFFFu);
    // A tail of 5 values fills only the first word.
    uint32_t tail[2] = {0, 0x12345678};
    repack_32to6(values.data(), tail, 5);
    EXPECT_EQ(tail[0], 0xFFFFFFFCu);
    EXPECT_EQ(tail[1], 0x12345678u);
}

TEST(Repack, PackedReadersStayInsideTheirSource) {
    // Exactly sized heap sources: a whole number of groups reads no word past
    // the data, and the tail reads only its own word.
    uint32_t* two = static_cast<uint32_t*>(malloc(2 * sizeof(uint32_t)));
    two[0] = 0xE4E4E4E4;  // 3 2 1 0 repeated, highest pair first
    two[1] = 0x1B000000;  // 0 1 2 3
    uint8_t out[32];
    repack_2to8(two, out, 16);
    EXPECT_EQ(out[0], 3);
    EXPECT_EQ(out[3], 0);
    EXPECT_EQ(out[15], 0);
    repack_2to8(two, out, 20);
    EXPECT_EQ(out[16], 0);
    EXPECT_EQ(out[17], 1);
    EXPECT_EQ(out[19], 3);
    free(two);

    uint32_t* four = static_cast<uint32_t*>(malloc(sizeof(uint32_t)));
    four[0] = 0x0123ABCD;
    repack_4to8(four, out, 8);
    const uint8_t expected[8] = {0, 1, 2, 3, 0xA, 0xB, 0xC, 0xD};
    EXPECT_EQ(memcmp(out, expected, 8), 0);
    repack_4to8(four, out, 3);
    EXPECT_EQ(out[2], 2);
    free(four);
}

TEST(Repack, SixAndTwelveBitStreams) {
    // Four 6-bit values a group of 3 bytes, low bits first: 1, 2, 3, 63.
    uint32_t v = 1u | 2u << 6 | 3u << 12 | 63u << 18;
    uint8_t* packed = static_cast<uint8_t*>(malloc(3));
    packed[0] = static_cast<uint8_t>(v);
    packed[1] = static_cast<uint8_t>(v >> 8);
    packed[2] = static_cast<uint8_t>(v >> 16);
    uint8_t out[4];
    repack_6to8(reinterpret_cast<uint32_t*>(packed), out, 4);
    EXPECT_EQ(out[0], 1);
    EXPECT_EQ(out[1], 2);
    EXPECT_EQ(out[2], 3);
    EXPECT_EQ(out[3], 63);
    free(packed);

    uint8_t twelve[3] = {0x21, 0x43, 0x65};  // 0x321, 0x654
    uint16_t words[2];
    repack_12to16(reinterpret_cast<uint32_t*>(twelve), words, 2);
    EXPECT_EQ(words[0], 0x321);
    EXPECT_EQ(words[1], 0x654);
}

TEST(Repack, DisplayDepthsSelectTheirRepacker) {
    // The shim reports 32 bits for any owner that is not an image object;
    // other depths are checked through the unsupported answer.
    Record r;
    EXPECT_EQ(set_image_repack(nullptr, &r.image), 1);
    EXPECT_EQ(r.image.repack, repack_32to32);
}

}  // namespace
