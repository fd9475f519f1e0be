// The Image record's open and close dispatch, the flat channel interface and
// property dispatch. Sun raster properties against netpbm are in
// tests/drivers/test_sunraster.cpp.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/properties.h"
#include "test_support.h"

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
    Image* image;
};

TEST(ImageOpen, TypesWithoutADriverAreRefused) {
    char lut[1] = {0}, map[1] = {0};
    const int types[] = {7, 0, 12, 99, 101, 999, -1, 1000, 1001}, displays[] = {0, 1, 2, 4};
    for (int i = 0; i < 9; ++i) {
        FreshImage fresh;
        const int display = displays[i % 4];
        EXPECT_EQ(image_open(fresh.image, "/nonexistent/x", types[i], 1, display, lut, map), -1) << types[i];
        EXPECT_EQ(fresh.image->file, nullptr);
        // Validation ran (the name is set); display modes 1 and 4 ask for direct resampling.
        EXPECT_STREQ(fresh.image->colormap.name, "DEFAULT");
        EXPECT_EQ(fresh.image->direct_resampling, display == 1 || display == 4 ? 1 : 0);
    }
    for (int type : {1, 5, 6, 100, 0, -3, 1001}) {
        FreshImage fresh;
        EXPECT_EQ(multi_image_open(fresh.image, "/nonexistent/x", type, 1, 2, 3, 1, lut, map), -1)
            << type;
    }
}

TEST(Channel, OpenModesAndSecondOpen) {
    FreshImage fresh;
    EXPECT_EQ(open_image_channel(fresh.image, "/nonexistent/x", 'w', 2, 1), -1);
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

// A driver in miniature: rows of 16-bit values from a table.
const uint16_t kRow16[] = {0, 255, 256, 1000, 65535, 7};

int fake_row16(Image* image, int row) {
    if (row == 3) return -1;
    for (int i = 0; i < image->win_cols * image->nbands; ++i) image->row16[i] = kRow16[i % 6];
    return 0;
}

void open_fake(Image* image, int columns, int rows, int bands) {
    image->columns = columns;
    image->rows = rows;
    image->depth = 16;
    image->nbands = bands;
    image->get_row = fake_row16;
    setrd_on(image, 2);
    ASSERT_EQ(image_row_map(image, 2, 0, columns - 1, 0, rows - 1), 1);
    set_getrow_buffer_depth(image);
    ASSERT_EQ(allocate_internal_buffers(image), 1);
}

TEST(Channel, RowsNarrowAndWidenWithBoundChecks) {
    FreshImage fresh;
    Image* image = fresh.image;
    open_fake(image, 6, 4, 1);
    uint8_t bytes[6];
    ASSERT_EQ(get_image_row8(image, 0, bytes, 6), 1);
    const uint8_t expected8[] = {0, 255, 255, 255, 255, 7};
    EXPECT_EQ(memcmp(bytes, expected8, 6), 0);
    uint32_t words[6];
    ASSERT_EQ(get_image_row(image, 1, words, 6), 1);
    EXPECT_EQ(std::vector<uint32_t>(words, words + 6), std::vector<uint32_t>(kRow16, kRow16 + 6));

    EXPECT_EQ(get_image_row(image, -1, words, 6), -1);
    EXPECT_EQ(get_image_row(image, 4, words, 6), -1);
    EXPECT_EQ(get_image_row(image, 0, words, 5), -1);
    EXPECT_EQ(get_image_row8(image, 0, bytes, 5), -1);
    EXPECT_EQ(get_image_row(image, 3, words, 6), -1);  // the driver's failure
}

TEST(Channel, MultiBandCapacityIsHeldAgainstTheWindow) {
    FreshImage fresh;
    Image* image = fresh.image;
    open_fake(image, 4, 2, 3);
    image->multi_in = 1;
    uint32_t words[12] = {0};
    EXPECT_EQ(get_image_row(image, 0, words, 4), 1);  // passes with win_cols
    uint8_t bytes[12];
    EXPECT_EQ(get_image_row8(image, 0, bytes, 4), -1);  // here the count rules
    EXPECT_EQ(get_image_row8(image, 0, bytes, 12), 1);
}

// Property dispatch by type code: a code without a reader, or a reader without
// a file, fails and writes nothing.
TEST(ImageProperties, CodesWithoutAReaderOrFileFail) {
    std::string sun = tarntest::data_path("sunraster/std-grey-8bit-13x7.ras");
    const struct { int type; std::string name; } cases[] = {
        {0, sun}, {7, sun}, {-1000, sun}, {2, "/nonexistent/tarn/raster.ras"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        int rows = -9, columns = -9, bands = -9, depth = -9;
        EXPECT_EQ(get_image_info(c.type, c.name.c_str(), &rows, &columns, &bands, &depth), -1);
        EXPECT_EQ(get_image_extent(c.type, c.name.c_str(), &rows, &columns), -1);
        EXPECT_EQ(get_image_nbands(c.type, c.name.c_str(), &bands), -1);
        EXPECT_EQ(get_image_depth(c.type, c.name.c_str(), &depth), -1);
        EXPECT_EQ(rows + columns + bands + depth, -36);
    }
}

}  // namespace
