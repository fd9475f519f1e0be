// Row buffers of the Image record, the display bitmap, the grid path's
// buffers and the repackers between bit depths. Every free runs twice: the
// sanitizers report a second release of the same memory.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <vector>

#include "platform/alloc.h"
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
    Image image;
};

template <typename T>
std::vector<uint32_t> got(const T* source, int count) {
    return std::vector<uint32_t>(source, source + count);
}

TEST(Buffers, InternalBuffersFollowTheDepthFamily) {
    const struct { int depth, family; } cases[] = {
        {1, 8}, {8, 8}, {9, 16}, {16, 16}, {17, 32}, {32, 32}, {33, -1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.depth);
        Record r;
        r.image.depth = c.depth;
        r.image.columns = 7;
        r.image.nbands = 3;
        EXPECT_EQ(get_internal_buffer_depth(c.depth), c.family);
        EXPECT_EQ(allocate_internal_buffers(&r.image), c.family < 0 ? -1 : 1);
        EXPECT_EQ(allocate_multi_internal_buffers(&r.image), c.family < 0 ? -1 : 1);
        // Sized by the whole row of all bands: the last sample is writable.
        if (c.family == 8) r.image.row8[20] = r.image.mrow8[2][6] = 1;
        if (c.family == 16) r.image.row16[20] = r.image.mrow16[2][6] = 1;
        if (c.family == 32) r.image.row32[20] = r.image.mrow32[2][6] = 1;
        for (int twice = 0; twice < 2; ++twice) free_internal_buffers(&r.image), free_multi_internal_buffers(&r.image);
        EXPECT_TRUE(r.image.row16 == nullptr && r.image.buf32 == nullptr && r.image.mbuf32[2] == nullptr);
    }
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
    EXPECT_EQ(free_buffers(&r.image) + free_buffers(&r.image) + free_multi_buffers(&r.image), 3);
    EXPECT_TRUE(r.image.file_buffer == nullptr && r.image.lut.red.table == nullptr);
    EXPECT_EQ(r.image.colormap.ncolors, 0);

    // Display rows: 16 by default, 1 in mode 1; a second 2-d buffer replaces the index.
    r.image.out_cols = 10;
    ASSERT_EQ(allocate_display_buffer(nullptr, &r.image, 0, 0), 1);
    EXPECT_EQ(r.image.bitmap_height, 16);
    ASSERT_EQ(allocate_display_buffer(nullptr, &r.image, 0, 1), 1);
    EXPECT_EQ(r.image.bitmap_height, 1);
    ASSERT_EQ(allocate_2d_display_buffer(nullptr, &r.image, 0, 8, 5), 1);
    ASSERT_EQ(allocate_2d_display_buffer(nullptr, &r.image, 0, 8, 3), 1);
    free_all_display_buffers(&r.image);
    free_all_display_buffers(&r.image);
    EXPECT_EQ(allocate_2d_display_buffer(nullptr, &r.image, 0, 8, 0), -1);
}

TEST(Buffers, GraphicRowsBySizeMode) {
    // out_cols 6, win_cols 9; width 0: refused.
    const struct { int mode, width; } cases[] = {{'s', 6}, {'i', 9}, {'p', 9}, {'x', 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(static_cast<char>(c.mode));
        Record r;
        r.image.out_cols = 6;
        r.image.win_cols = 9;
        EXPECT_EQ(allocate_graphic_buffers(&r.image, c.mode), c.width ? 1 : -1);
        if (c.width) {
            r.image.grow[c.width - 1] = r.image.grow2[c.width - 1] = 1;
            r.image.col_map = static_cast<int32_t*>(C_calloc(6, sizeof(int32_t)));
            r.image.clr_table = static_cast<uint32_t*>(C_calloc(6, sizeof(uint32_t)));
        }
        for (int twice = 0; twice < 2; ++twice) free_graphic_buffers(&r.image);
        EXPECT_TRUE(r.image.col_map == nullptr && r.image.clr_table == nullptr);
        EXPECT_EQ(allocate_multi_graphic_buffers(&r.image, c.mode), c.width ? 1 : -1);
        for (int k = 0; c.width && k < 3; ++k) r.image.mgrow[k][c.width - 1] = 1;
        for (int twice = 0; twice < 2; ++twice) free_multi_graphic_buffers(&r.image);
    }
}

TEST(Repack, WordsToDisplayDepths) {
    uint32_t source[2] = {0x00112233, 0xAABBCCDD};
    uint8_t out24[6];
    repack_32to24(source, out24, 2);
    EXPECT_EQ(got(out24, 6), (std::vector<uint32_t>{0x11, 0x22, 0x33, 0xBB, 0xCC, 0xDD}));
    uint16_t out16[2];
    repack_32to16(source, out16, 2);
    EXPECT_EQ(out16[1], 0xCCDD);

    std::vector<uint32_t> values(33, 0);
    values[0] = values[31] = values[32] = 1;
    values[5] = 77;
    uint32_t bits[2] = {0, 0};
    repack_32to1(values.data(), bits, 33);
    EXPECT_EQ(got(bits, 2), (std::vector<uint32_t>{0x80000021u, 1}));

    uint32_t nibbles_in[11] = {1, 2, 3, 4, 5, 6, 7, 0x1F, 0xA, 0xB, 0xC};
    uint32_t nibbles[2] = {0, 0};
    repack_32to4(nibbles_in, nibbles, 11);
    EXPECT_EQ(got(nibbles, 2), (std::vector<uint32_t>{0x1234567Fu, 0xABC00000u}));  // tail left-justified

    // Six bits: the OR with 63 makes every field read 63; a tail of 5 fills one word.
    std::vector<uint32_t> six(16, 0);
    uint32_t words[2] = {0, 0x12345678};
    repack_32to6(six.data(), words, 5);
    EXPECT_EQ(got(words, 2), (std::vector<uint32_t>{0xFFFFFFFCu, 0x12345678}));
}

TEST(Repack, PackedReadersStayInsideTheirSource) {
    // Exactly sized heap sources: a whole number of groups reads no word past
    // the data, and the tail reads only its own word.
    uint32_t* two = static_cast<uint32_t*>(malloc(2 * sizeof(uint32_t)));
    two[0] = 0xE4E4E4E4;  // 3 2 1 0 repeated, highest pair first
    two[1] = 0x1B000000;  // 0 1 2 3
    uint8_t out[32];
    repack_2to8(two, out, 16);
    EXPECT_EQ(got(out, 4), (std::vector<uint32_t>{3, 2, 1, 0}));
    repack_2to8(two, out, 20);
    EXPECT_EQ(got(out + 16, 4), (std::vector<uint32_t>{0, 1, 2, 3}));
    free(two);

    uint32_t* four = static_cast<uint32_t*>(malloc(sizeof(uint32_t)));
    four[0] = 0x0123ABCD;
    repack_4to8(four, out, 8);
    EXPECT_EQ(got(out, 8), (std::vector<uint32_t>{0, 1, 2, 3, 0xA, 0xB, 0xC, 0xD}));
    free(four);

    // Four 6-bit values a group of 3 bytes, low bits first: 1, 2, 3, 63.
    uint32_t v = 1u | 2u << 6 | 3u << 12 | 63u << 18;
    uint8_t* packed = static_cast<uint8_t*>(malloc(3));
    for (int i = 0; i < 3; ++i) packed[i] = static_cast<uint8_t>(v >> (8 * i));
    repack_6to8(reinterpret_cast<uint32_t*>(packed), out, 4);
    EXPECT_EQ(got(out, 4), (std::vector<uint32_t>{1, 2, 3, 63}));
    free(packed);

    uint8_t twelve[3] = {0x21, 0x43, 0x65};
    uint16_t wide[2];
    repack_12to16(reinterpret_cast<uint32_t*>(twelve), wide, 2);
    EXPECT_EQ(got(wide, 2), (std::vector<uint32_t>{0x321, 0x654}));
}

}  // namespace
