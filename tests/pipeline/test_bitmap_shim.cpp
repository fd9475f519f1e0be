// The bitmap shim with a read's display state, some other object and no owner.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "pipeline/rgba_pipeline.h"
#include <tarnimage/bitmap_shim.h>

namespace {

struct ShimImage {
    ShimImage() {
        memset(&image, 0, sizeof image);
        reset_image(&image);
        image.out_cols = 10;
        image.win_cols = 12;
    }
    ~ShimImage() { free_all_display_buffers(&image); }
    Image image;
};

TEST(BitmapShim, TheDisplayStateIsTheBitmap) {
    RgbaPipeline pipeline;
    rgba_init(&pipeline);
    DisplayState& screen = pipeline.display;
    screen.result_width = 10;
    screen.row_buffer = static_cast<uint8_t*>(malloc(10 * 4 * 3));  // freed by rgba_release
    void* owner = &screen;
    EXPECT_EQ(TarnImage_CreateBitmap(owner, 10, 16), owner);
    EXPECT_EQ(TarnImage_GetBitmapBytesPerLine(owner), 40);

    ShimImage s;
    ASSERT_EQ(tarn_screen_init(owner, &s.image, 0), 1);
    EXPECT_EQ(s.image.screen_depth, 32);
    ASSERT_EQ(allocate_display_buffer(owner, &s.image, 0, 0), 1);
    EXPECT_EQ(s.image.bitmap_bits, screen.row_buffer);
    EXPECT_EQ(s.image.repack, repack_32to32);
    ASSERT_EQ(allocate_2d_display_buffer(owner, &s.image, 0, 10, 3), 1);
    EXPECT_EQ(s.image.bitmap_rows[2], screen.row_buffer + 80);

    // A screen depth without a repacker is refused, and the buffer set-up goes on.
    screen.bitmap_depth = 12;
    EXPECT_EQ(set_image_repack(owner, &s.image), -1);
    EXPECT_EQ(allocate_display_buffer(owner, &s.image, 0, 1), 1);
    free_all_display_buffers(&s.image);
    EXPECT_EQ(s.image.bitmap, nullptr);

    const int pair[2] = {5, 7};
    TarnImage_SetBitmapFrame(owner, nullptr, pair);
    EXPECT_EQ(screen.frame_x + screen.frame_y, 12);
    rgba_release(&pipeline);
}

TEST(BitmapShim, OtherOwnersGetATrueColourScreenWithoutBuffer) {
    uint32_t other[16] = {1, 2, 3};
    for (void* owner : {static_cast<void*>(other), static_cast<void*>(nullptr)}) {
        EXPECT_EQ(TarnImage_GetBitmapDepth(owner), 32);
        EXPECT_EQ(TarnImage_GetBitmapBuffer(owner), nullptr);
        ShimImage s;
        EXPECT_EQ(tarn_screen_init(owner, &s.image, 0), 1);
        EXPECT_EQ(allocate_display_buffer(owner, &s.image, 0, 0), 1);
        EXPECT_EQ(s.image.repack, repack_32to32);
    }
}

}  // namespace
