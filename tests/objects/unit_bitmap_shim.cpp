// The bitmap shim with an image object, another object and no owner.

#include <gtest/gtest.h>

#include <stdlib.h>
#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "objects/image_impl.h"
#include <tarnimage/bitmap_shim.h>

namespace {

struct OtherObject : ITarnRefCnt {
    long addRef() override { return 1; }
    long release() override { return 0; }
};

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

TEST(BitmapShim, AnImageObjectIsItsOwnBitmap) {
    CIImageImpl object;
    object.m_bitmapDepth = 32;
    object.m_resultWidth = 10;
    object.m_rowBuffer = static_cast<uint8_t*>(malloc(10 * 4 * 3));  // freed by the object
    void* owner = &object;
    EXPECT_EQ(TarnImage_CreateBitmap(owner, 10, 16), owner);
    EXPECT_EQ(TarnImage_GetBitmapBytesPerLine(owner), 40);

    ShimImage s;
    ASSERT_EQ(tarn_screen_init(owner, &s.image, 0), 1);
    EXPECT_EQ(s.image.screen_depth, 32);
    ASSERT_EQ(allocate_display_buffer(owner, &s.image, 0, 0), 1);
    EXPECT_EQ(s.image.bitmap_bits, object.m_rowBuffer);
    ASSERT_EQ(allocate_2d_display_buffer(owner, &s.image, 0, 10, 3), 1);
    EXPECT_EQ(s.image.bitmap_rows[2], object.m_rowBuffer + 80);

    // Each display depth has its repacker; others are refused.
    const struct { int depth; ImageRepackFunc repack; } depths[] = {
        {1, repack_32to1}, {4, repack_32to4}, {6, repack_32to6}, {8, repack_32to8},
        {16, repack_32to16}, {24, repack_32to24}, {32, repack_32to32}};
    for (const auto& d : depths) {
        object.m_bitmapDepth = d.depth;
        EXPECT_EQ(set_image_repack(owner, &s.image), 1);
        EXPECT_EQ(s.image.repack, d.repack) << d.depth;
    }
    object.m_bitmapDepth = 12;
    EXPECT_EQ(set_image_repack(owner, &s.image), -1);
    EXPECT_EQ(allocate_display_buffer(owner, &s.image, 0, 1), 1);  // the refusal is ignored
    free_all_display_buffers(&s.image);
    EXPECT_EQ(s.image.bitmap, nullptr);
}

TEST(BitmapShim, OtherOwnersGetATrueColourScreenWithoutBuffer) {
    OtherObject other;
    for (void* owner : {static_cast<void*>(&other), static_cast<void*>(nullptr)}) {
        EXPECT_EQ(TarnImage_GetBitmapDepth(owner), 32);
        EXPECT_EQ(TarnImage_GetBitmapBuffer(owner), nullptr);
        ShimImage s;
        EXPECT_EQ(tarn_screen_init(owner, &s.image, 0), 1);
        EXPECT_EQ(allocate_display_buffer(owner, &s.image, 0, 0), 1);
        EXPECT_EQ(s.image.repack, repack_32to32);
    }
}

}  // namespace
