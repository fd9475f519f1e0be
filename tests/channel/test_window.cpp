// Window mapping at a zoom, and the one-to-one row map.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include <vector>

#include "channel/channel.h"
#include "channel/window.h"

namespace {

using Ints = std::vector<int>;

struct Record {
    Image image;
    Record(int columns, int rows, int depth = 8) {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.columns = columns, image.rows = rows, image.depth = depth;
    }
    ~Record() { free(image.col_map); }
    int map(int out_x, int width, int height, float zoom, float& origin_x, float& origin_y, int type = 2) {
        float zoom_y = zoom;
        return image_window_map(&image, type, out_x, 0, width, height, &zoom, &zoom_y, &origin_x, &origin_y);
    }
    Ints col_map() const { return Ints(image.col_map, image.col_map + image.out_cols); }
    Ints window() const {
        return {image.first_col, image.last_col, image.first_row, image.last_row, image.win_cols, image.win_rows};
    }
    Ints bytes() const {
        return {image.first_byte, image.first_bit, image.last_byte, image.last_bit, image.win_bytes, image.win_longs};
    }
    Ints output() const { return {image.out_x, image.out_last_x, image.out_cols, image.out_rows}; }
};

TEST(ImageWindowMap, OneToOneFromAFractionalOrigin) {
    Record r(100, 100);
    float ox = 2.5f, oy = 3.5f;
    ASSERT_EQ(r.map(0, 10, 10, 1.0f, ox, oy), 1);
    EXPECT_EQ(r.window(), (Ints{3, 14, 4, 15, 12, 12}));
    EXPECT_FLOAT_EQ(r.image.col_origin, -0.5f);
    EXPECT_FLOAT_EQ(r.image.row_origin, -0.5f);
    EXPECT_EQ(r.output(), (Ints{0, 9, 10, 10}));
    EXPECT_EQ(r.col_map(), (Ints{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(r.bytes(), (Ints{3, 0, 14, 0, 12, 3}));

    // Mapping again replaces the column map (LeakSanitizer checks the first).
    ASSERT_EQ(r.map(0, 30, 10, 1.0f, ox, oy), 1);
    EXPECT_EQ(r.col_map().size(), 30u);

    // A wide output shrinks to the image's share.
    Record w(20, 10);
    float zoom_y = 2.0f, zoom_x = 1.0f;
    ox = oy = -0.5f;
    ASSERT_EQ(image_window_map(&w.image, 2, 5, 5, 50, 50, &zoom_x, &zoom_y, &ox, &oy), 1);
    EXPECT_EQ(w.window(), (Ints{0, 19, 0, 9, 20, 10}));
    EXPECT_EQ(w.output(), (Ints{5, 24, 20, 20}));
    EXPECT_EQ(w.col_map().back(), 19);
}


TEST(ImageWindowMap, ColumnMapsAtZooms) {
    const struct { float zoom; Ints head; } cases[] = {
        {1.0f / 3.0f, {0, 2, 5, 8, 11}}, {2.0f, {0, 0, 1, 1}}, {0.5f, {0, 2, 4, 6}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.zoom);
        Record r(1000, 1000);
        float ox = -0.5f, oy = -0.5f;
        ASSERT_EQ(r.map(0, 20, 20, c.zoom, ox, oy), 1);
        Ints map = r.col_map();
        ASSERT_GE(map.size(), c.head.size());
        EXPECT_EQ(Ints(map.begin(), map.begin() + static_cast<long>(c.head.size())), c.head);
        for (int v : map) {
            EXPECT_GE(v, 0);
            EXPECT_LT(v, r.image.win_cols);
        }
    }
}

TEST(ImageWindowMap, Refusals) {
    const struct { const char* what; int width; float zoom, ox, oy; } cases[] = {
        {"window right of the image", 10, 1.0f, 150.0f, 0.0f},
        {"window below the image", 10, 1.0f, 0.0f, 150.0f},
        {"no output width", 0, 1.0f, 0.0f, 0.0f},
        {"zoom 0", 10, 0.0f, 0.0f, 0.0f},
        {"origin not a number", 10, 1.0f, __builtin_nanf(""), 0.0f},
    };
    for (const auto& c : cases) {
        Record r(100, 100);
        float ox = c.ox, oy = c.oy;
        EXPECT_EQ(r.map(0, c.width, 10, c.zoom, ox, oy), -1) << c.what;
    }
}

TEST(ImageRowMap, ClampsAndRefuses) {
    Record r(100, 50, 1);
    ASSERT_EQ(image_row_map(&r.image, 2, -5, 1000000, -1, 49), 1);
    EXPECT_EQ(r.window(), (Ints{0, 99, 0, 49, 100, 50}));
    EXPECT_EQ(r.image.col_map, nullptr);
    ASSERT_EQ(image_row_map(&r.image, 2, 13, 29, 2, 3), 1);
    EXPECT_EQ(r.bytes(), (Ints{1, 5, 3, 5, 3, 1}));
    // First above last after clamping: the window stays as it was.
    EXPECT_EQ(image_row_map(&r.image, 2, 50, 10, 0, 10), -1);
    EXPECT_EQ(image_row_map(&r.image, 2, 0, 10, 40, 20), -1);
    EXPECT_EQ(r.window(), (Ints{13, 29, 2, 3, 17, 2}));
}

}  // namespace
