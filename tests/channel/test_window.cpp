// Window mapping at a zoom, and the one-to-one row map.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <vector>

#include "channel/channel.h"
#include "channel/window.h"

namespace {

struct Record {
    Image image;
    Record(int columns, int rows, int depth = 8) {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.columns = columns;
        image.rows = rows;
        image.depth = depth;
    }
    ~Record() { free(image.col_map); }
    int map(int out_x, int out_y, int width, int height, float zoom_x, float zoom_y, float& origin_x,
            float& origin_y, int type = 2) {
        return image_window_map(&image, type, out_x, out_y, width, height, &zoom_x, &zoom_y, &origin_x,
                                &origin_y);
    }
    std::vector<int> col_map() const {
        return std::vector<int>(image.col_map, image.col_map + image.out_cols);
    }
};

TEST(ImageWindowMap, OneToOneFromAFractionalOrigin) {
    Record r(100, 100);
    float ox = 2.5f, oy = 3.5f;
    ASSERT_EQ(r.map(0, 0, 10, 10, 1.0f, 1.0f, ox, oy), 1);
    const Image& i = r.image;
    EXPECT_EQ(i.first_col, 3);
    EXPECT_EQ(i.first_row, 4);
    EXPECT_FLOAT_EQ(i.col_origin, -0.5f);
    EXPECT_FLOAT_EQ(i.row_origin, -0.5f);
    EXPECT_EQ(i.last_col, 14);
    EXPECT_EQ(i.last_row, 15);
    EXPECT_EQ(i.win_cols, 12);
    EXPECT_EQ(i.win_rows, 12);
    EXPECT_EQ(i.out_x, 0);
    EXPECT_EQ(i.out_cols, 10);
    EXPECT_EQ(i.out_rows, 10);
    EXPECT_EQ(i.out_last_x, 9);
    EXPECT_EQ(i.out_last_y, 9);
    EXPECT_EQ(r.col_map(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(i.first_byte, 3);
    EXPECT_EQ(i.win_bytes, 12);
    EXPECT_EQ(i.win_longs, 3);
}

TEST(ImageWindowMap, LeftAndTopOverhangMoveTheOutput) {
    Record r(100, 100);
    float ox = -10.5f, oy = -0.5f;
    ASSERT_EQ(r.map(0, 0, 60, 8, 2.0f, 2.0f, ox, oy), 1);
    EXPECT_EQ(r.image.out_x, 20);
    EXPECT_FLOAT_EQ(ox, -0.5f);
    EXPECT_EQ(r.image.out_cols, 40);  // the right edge stays where it was
    EXPECT_EQ(r.image.out_last_x, 59);
    EXPECT_EQ(r.image.first_col, 0);
    EXPECT_EQ(r.image.out_y, 0);
    // An origin between -0.5 and 0.5 keeps column 0.
    for (float o : {-0.5f, -0.2f, 0.0f, 0.49f}) {
        Record s(10, 10);
        float x = o, y = o;
        ASSERT_EQ(s.map(0, 0, 4, 4, 1.0f, 1.0f, x, y), 1);
        EXPECT_EQ(s.image.first_col, 0) << o;
        EXPECT_FLOAT_EQ(x, o);
    }
}

TEST(ImageWindowMap, ColumnMapsAtZooms) {
    struct Case {
        float zoom;
        std::vector<int> head;
    };
    const std::vector<Case> cases = {
        {1.0f / 3.0f, {0, 2, 5, 8, 11}},
        {2.0f, {0, 0, 1, 1}},
        {0.5f, {0, 2, 4, 6}},
        {1.0f, {0, 1, 2, 3}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zoom);
        Record r(1000, 1000);
        float ox = -0.5f, oy = -0.5f;
        ASSERT_EQ(r.map(0, 0, 20, 20, c.zoom, c.zoom, ox, oy), 1);
        std::vector<int> map = r.col_map();
        ASSERT_GE(map.size(), c.head.size());
        EXPECT_EQ(std::vector<int>(map.begin(), map.begin() + static_cast<long>(c.head.size())), c.head);
        for (int v : map) {
            EXPECT_GE(v, 0);
            EXPECT_LT(v, r.image.win_cols);
        }
    }
}

TEST(ImageWindowMap, OutputWiderThanTheImageShrinksToItsShare) {
    Record r(20, 10);
    float ox = -0.5f, oy = -0.5f;
    ASSERT_EQ(r.map(5, 5, 50, 50, 1.0f, 2.0f, ox, oy), 1);
    EXPECT_EQ(r.image.last_col, 19);
    EXPECT_EQ(r.image.last_row, 9);
    EXPECT_EQ(r.image.win_cols, 20);
    EXPECT_EQ(r.image.out_cols, 20);
    EXPECT_EQ(r.image.out_rows, 20);
    EXPECT_EQ(r.image.out_last_x, 24);
    EXPECT_EQ(r.image.out_last_y, 24);
    std::vector<int> map = r.col_map();
    EXPECT_EQ(map.back(), 19);
}

TEST(ImageWindowMap, Refusals) {
    struct Case {
        const char* what;
        int width;
        float zoom, ox, oy;
    };
    const std::vector<Case> cases = {
        {"window right of the image", 10, 1.0f, 150.0f, 0.0f},
        {"window below the image", 10, 1.0f, 0.0f, 150.0f},
        {"no output width", 0, 1.0f, 0.0f, 0.0f},
        {"negative output width", -4, 1.0f, 0.0f, 0.0f},
        {"zoom 0", 10, 0.0f, 0.0f, 0.0f},
        {"negative zoom", 10, -1.0f, 0.0f, 0.0f},
        {"origin not a number", 10, 1.0f, __builtin_nanf(""), 0.0f},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Record r(100, 100);
        float ox = c.ox, oy = c.oy;
        EXPECT_EQ(r.map(0, 0, c.width, 10, c.zoom, c.zoom, ox, oy), -1);
    }
}

TEST(ImageWindowMap, BitFieldsAtDepthOne) {
    Record r(100, 10, 1);
    float ox = 12.5f, oy = 0.0f;
    ASSERT_EQ(r.map(0, 0, 15, 5, 1.0f, 1.0f, ox, oy), 1);
    EXPECT_EQ(r.image.first_col, 13);
    EXPECT_EQ(r.image.first_byte, 1);
    EXPECT_EQ(r.image.first_bit, 5);
    EXPECT_EQ(r.image.win_cols, 17);
    EXPECT_EQ(r.image.win_bytes, 3);
    EXPECT_EQ(r.image.win_longs, 1);
    EXPECT_EQ(r.image.last_byte, 3);
    EXPECT_EQ(r.image.last_bit, 5);
}

TEST(ImageWindowMap, MirrorColumnsOfType1) {
    Record r(50, 10, 1);
    float ox = 9.5f, oy = 0.0f;
    ASSERT_EQ(r.map(0, 0, 8, 5, 1.0f, 1.0f, ox, oy, 1), 1);
    EXPECT_EQ(r.image.mirror_first_col, 50 - r.image.last_col - 1);
    EXPECT_EQ(r.image.mirror_last_col, 50 - r.image.first_col - 1);
}

TEST(ImageWindowMap, MappingTwiceKeepsOneMap) {
    Record r(100, 100);
    float ox = 0.0f, oy = 0.0f;
    ASSERT_EQ(r.map(0, 0, 10, 10, 1.0f, 1.0f, ox, oy), 1);
    ASSERT_EQ(r.map(0, 0, 30, 10, 1.0f, 1.0f, ox, oy), 1);  // LeakSanitizer checks the first map
    EXPECT_EQ(r.col_map().size(), 30u);
}

TEST(ImageRowMap, ClampsAndRefuses) {
    Record r(100, 50, 1);
    ASSERT_EQ(image_row_map(&r.image, 2, -5, 1000000, 0, 49), 1);
    EXPECT_EQ(r.image.first_col, 0);
    EXPECT_EQ(r.image.last_col, 99);
    EXPECT_EQ(r.image.win_cols, 100);
    EXPECT_EQ(r.image.col_map, nullptr);

    ASSERT_EQ(image_row_map(&r.image, 2, 13, 29, 2, 3), 1);
    EXPECT_EQ(r.image.first_byte, 1);
    EXPECT_EQ(r.image.first_bit, 5);
    EXPECT_EQ(r.image.win_bytes, 3);
    EXPECT_EQ(r.image.win_longs, 1);

    // First above last after clamping: the window stays as it was.
    EXPECT_EQ(image_row_map(&r.image, 2, 50, 10, 0, 10), -1);
    EXPECT_EQ(image_row_map(&r.image, 2, 0, 10, 40, 20), -1);
    EXPECT_EQ(r.image.first_col, 13);
    EXPECT_EQ(r.image.last_col, 29);
    EXPECT_EQ(r.image.first_row, 2);
}

}  // namespace
