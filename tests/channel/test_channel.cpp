// The Image record's open and close dispatch and the flat channel interface.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"

namespace {

struct FreshImage {
    FreshImage() {
        image = static_cast<Image*>(calloc(1, sizeof(Image)));
        reset_image(image);
    }
    ~FreshImage() {
        free_buffers(image);
        free_graphic_buffers(image);
        free(image);
    }
    FreshImage(const FreshImage&) = delete;
    FreshImage& operator=(const FreshImage&) = delete;
    Image* image;
};

TEST(ImageOpen, TypesWithoutADriverAreRefused) {
    char lut[1] = {0}, map[1] = {0};
    for (int type : {7, 0, 12, 99, 101, 999, -1, -77, 1000, 1001, 5000}) {
        FreshImage fresh;
        // A colormap that validation would shorten proves it ran.
        EXPECT_EQ(image_open(fresh.image, "/nonexistent/x", type, 1, 1, lut, map), -1) << type;
        EXPECT_EQ(fresh.image->file, nullptr);
        EXPECT_STREQ(fresh.image->colormap.name, "DEFAULT");
    }
    for (int type : {1, 5, 6, 100, 0, 12, -3, 1001}) {
        FreshImage fresh;
        EXPECT_EQ(multi_image_open(fresh.image, "/nonexistent/x", type, 1, 2, 3, 1, lut, map), -1)
            << type;
    }
}

TEST(ImageOpen, DisplayModesSetDirectResampling) {
    char lut[1] = {0}, map[1] = {0};
    const struct { int display; int expected; } cases[] = {{0, 0}, {1, 1}, {2, 0}, {4, 1}};
    for (const auto& c : cases) {
        FreshImage fresh;
        image_open(fresh.image, "/nonexistent/x", 99, 1, c.display, lut, map);
        EXPECT_EQ(fresh.image->direct_resampling, c.expected) << c.display;
    }
}

TEST(ImageRecord, ResetLeavesAKnownState) {
    Image image;
    memset(&image, 0x5A, sizeof image);
    EXPECT_EQ(reset_image(&image), 1);
    EXPECT_EQ(image.type, -1);
    EXPECT_EQ(image.nbands, 1);
    EXPECT_EQ(image.file_depth, 0);
    EXPECT_EQ(image.get_row, nullptr);
    EXPECT_EQ(image.driver, nullptr);
    EXPECT_EQ(image.clyr, nullptr);
    EXPECT_EQ(image.buf8, nullptr);
    EXPECT_EQ(image.file_buffer, nullptr);
    EXPECT_EQ(image.gbuf, nullptr);
    EXPECT_EQ(image.col_map, nullptr);
    EXPECT_STREQ(image.colormap.name, "DEFAULT");
    EXPECT_EQ(image.colormap.red, nullptr);
    EXPECT_STREQ(image.lut.name, "DEFAULT");
    EXPECT_EQ(image.lut.is_single, 1);
}

TEST(Channel, AccessorsAnswerMinusOneBeforeAnOpen) {
    FreshImage fresh;
    Image* image = fresh.image;
    image->rows = 10;
    image->columns = 20;
    EXPECT_EQ(image_rows(image), -1);
    EXPECT_EQ(image_columns(image), -1);
    EXPECT_EQ(image_bandgap(image), -1);
    EXPECT_EQ(image_depth(image), -1);
    EXPECT_EQ(image_nbands(image), -1);
    EXPECT_EQ(image_type(image), -1);
    setrd_on(image, 2);
    EXPECT_EQ(image_rows(image), 10);
    EXPECT_EQ(image_columns(image), 20);
    image->nbands = 0;
    EXPECT_EQ(image_nbands(image), 1);
    setrd_off(image);
    EXPECT_EQ(image_rows(image), -1);
}

TEST(Channel, OpenModesAndSecondOpen) {
    FreshImage fresh;
    EXPECT_EQ(open_image_channel(fresh.image, "/nonexistent/x", 'w', 2, 1), -1);
    EXPECT_EQ(open_image_channel(fresh.image, "/nonexistent/x", 'x', 2, 1), -1);
    // A refused open leaves the record with its caller: the close finds it shut.
    EXPECT_EQ(open_image_channel(fresh.image, "/nonexistent/x", 'r', 99, 1), -1);
    EXPECT_EQ(fresh.image->read_open, 0);
    EXPECT_EQ(close_image_channel(fresh.image, 'r'), -1);
    fresh.image->read_open = 1;
    EXPECT_EQ(open_image_channel(fresh.image, "/nonexistent/x", 'r', 2, 1), -2);
    EXPECT_EQ(fresh.image->read_open, 1);
    EXPECT_EQ(close_image_channel(fresh.image, 'w'), -1);
    fresh.image->read_open = 0;
}

TEST(RowMap, ClampsAndRefuses) {
    FreshImage fresh;
    Image* image = fresh.image;
    image->columns = 100;
    image->rows = 50;
    image->depth = 8;
    ASSERT_EQ(image_row_map(image, 2, -5, 1000000, -1, 49), 1);
    EXPECT_EQ(image->first_col, 0);
    EXPECT_EQ(image->last_col, 99);
    EXPECT_EQ(image->win_cols, 100);
    EXPECT_EQ(image->win_rows, 50);
    EXPECT_EQ(image->win_bytes, 100);
    EXPECT_EQ(image->win_longs, 25);
    // First above last after clamping: refused, the window stays as it was.
    EXPECT_EQ(image_row_map(image, 2, 60, 40, 0, 10), -1);
    EXPECT_EQ(image_row_map(image, 2, 10, 5, 0, 10), -1);
    EXPECT_EQ(image_row_map(image, 2, 0, 10, 30, 20), -1);
    EXPECT_EQ(image->first_col, 0);
    EXPECT_EQ(image->last_col, 99);
    EXPECT_EQ(image->win_rows, 50);
}

TEST(RowMap, BitPositionsAtOneBitAndMirrorColumns) {
    FreshImage fresh;
    Image* image = fresh.image;
    image->columns = 100;
    image->rows = 4;
    image->depth = 1;
    ASSERT_EQ(image_row_map(image, 2, 13, 29, 0, 3), 1);
    EXPECT_EQ(image->first_byte, 1);
    EXPECT_EQ(image->first_bit, 5);
    EXPECT_EQ(image->last_byte, 3);
    EXPECT_EQ(image->last_bit, 5);
    EXPECT_EQ(image->win_cols, 17);
    EXPECT_EQ(image->win_bytes, 3);
    EXPECT_EQ(image->win_longs, 1);
    ASSERT_EQ(image_row_map(image, 1, 10, 19, 0, 3), 1);
    EXPECT_EQ(image->mirror_first_col, 80);
    EXPECT_EQ(image->mirror_last_col, 89);
}

// A driver in miniature: rows of 16-bit values from a table.
const uint16_t kRow16[] = {0, 255, 256, 1000, 65535, 7};

int fake_row16(Image* image, int row) {
    if (row == 3) return -1;
    for (int i = 0; i < image->win_cols * image->nbands; ++i)
        image->row16[i] = kRow16[i % 6];
    return 0;
}

TEST(Channel, RowsNarrowAndWidenWithBoundChecks) {
    FreshImage fresh;
    Image* image = fresh.image;
    image->columns = 6;
    image->rows = 4;
    image->depth = 16;
    image->nbands = 1;
    image->get_row = fake_row16;
    setrd_on(image, 2);
    ASSERT_EQ(image_row_map(image, 2, 0, 5, 0, 3), 1);
    set_getrow_buffer_depth(image);
    EXPECT_EQ(image->getrow_depth, 16);
    ASSERT_EQ(allocate_internal_buffers(image), 1);

    uint8_t bytes[6];
    ASSERT_EQ(get_image_row8(image, 0, bytes, 6), 1);
    const uint8_t expected8[] = {0, 255, 255, 255, 255, 7};
    EXPECT_EQ(memcmp(bytes, expected8, 6), 0);
    uint32_t words[6];
    ASSERT_EQ(get_image_row(image, 1, words, 6), 1);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(words[i], kRow16[i]);

    EXPECT_EQ(get_image_row(image, -1, words, 6), -1);
    EXPECT_EQ(get_image_row(image, 4, words, 6), -1);
    EXPECT_EQ(get_image_row(image, 0, words, 5), -1);
    EXPECT_EQ(get_image_row8(image, 0, bytes, 5), -1);
    EXPECT_EQ(get_image_row(image, 3, words, 6), -1);  // the driver's failure
}

TEST(Channel, MultiBandCapacityIsHeldAgainstTheWindow) {
    FreshImage fresh;
    Image* image = fresh.image;
    image->columns = 4;
    image->rows = 2;
    image->depth = 16;
    image->nbands = 3;
    image->get_row = fake_row16;
    setrd_on(image, 2);
    ASSERT_EQ(image_row_map(image, 2, 0, 3, 0, 1), 1);
    set_getrow_buffer_depth(image);
    ASSERT_EQ(allocate_internal_buffers(image), 1);
    image->multi_in = 1;
    uint32_t words[12] = {0};
    EXPECT_EQ(get_image_row(image, 0, words, 4), 1);   // passes with win_cols
    EXPECT_EQ(get_image_row(image, 0, words, 12), 1);
    EXPECT_EQ(words[11], kRow16[11 % 6]);
    uint8_t bytes[12];
    EXPECT_EQ(get_image_row8(image, 0, bytes, 4), -1);  // here the count rules
    EXPECT_EQ(get_image_row8(image, 0, bytes, 12), 1);
}

TEST(Channel, ColourCountsAndColormapByType) {
    FreshImage fresh;
    Image* image = fresh.image;
    uint8_t r[4], g[4], b[4];
    int first = -9, last = -9;
    setrd_on(image, 5);
    EXPECT_EQ(image_colors(image), 0);
    EXPECT_EQ(get_image_colormap(image, &first, &last, r, g, b), -1);
    EXPECT_EQ(first, -9);
    setrd_on(image, 1);
    EXPECT_EQ(image_colors(image), 2);
    EXPECT_EQ(get_image_colormap(image, &first, &last, r, g, b), 1);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(last, 1);
    EXPECT_EQ(r[0], 0);
    EXPECT_EQ(b[1], 255);
    setrd_on(image, 2);
    EXPECT_EQ(image_colors(image), 0);
    EXPECT_EQ(get_image_colormap(image, &first, &last, r, g, b), 1);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(last, -1);
}

TEST(Channel, DirectResamplingSwitches) {
    FreshImage fresh;
    EXPECT_EQ(set_image_direct_resampling_on(fresh.image), 1);
    EXPECT_EQ(fresh.image->direct_resampling, 1);
    EXPECT_EQ(set_image_direct_resampling_off(fresh.image), 1);
    EXPECT_EQ(fresh.image->direct_resampling, 0);
    EXPECT_EQ(image_store_external_colormap(fresh.image, nullptr), -1);
    EXPECT_EQ(image_store_external_lut(fresh.image, nullptr), -1);
    EXPECT_EQ(switch_image_runio(fresh.image, 0), -1);
    EXPECT_EQ(image_isok_runio(fresh.image), 0);
}

}  // namespace
