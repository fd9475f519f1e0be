// The image object: what Open admits, the clip rectangle, clone and the
// reference counts.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/image_impl.h"
#include "test_support.h"

struct CIImageImplTestAccess {
    static void pretend(CIImageImpl& image, int width, int height) {
        image.m_valid = 1, image.m_width = width, image.m_height = height;
    }
};

namespace {

TEST(ImageObject, CompanionFilesWorldFilesAndShortNamesAreNeverValid) {
    tarntest::TempDir dir;
    auto raster = tarntest::sun_raster(4, 2, 8, 1, {10, 20, 30, 40, 50, 60, 70, 80});
    // The same raster under each name; "view" ends in "w" yet is no world file.
    const struct { const char* name; int valid; } cases[] = {
        {"image.met", 0}, {"imagemet", 0}, {"x.aux", 0}, {"x.xml", 0}, {"x.rrd", 0},
        {"b", 0},         {"bc", 0},       {"view", 1},
    };
    for (const auto& c : cases) {
        CIImageImpl image{CTarnUString(dir.write(c.name, raster).c_str())};
        EXPECT_EQ(image.isValid(), c.valid) << c.name;
    }
    CIImageImpl world{CTarnUString(dir.write("x.tfw", "2.0\n0.0\n0.0\n-2.0\n100.0\n200.0\n").c_str())};
    EXPECT_EQ(world.isValid(), 0);
    // The separator test looks at the first two of the last three characters only.
    EXPECT_EQ(CIImageImpl{CTarnUString("a/bc")}.isValid(), 0);
}

// Clips on real files at and past the edges are in the golden record; these
// are the sizes no file test asks for.
TEST(ImageObject, ClipRectangleClamps) {
    const struct { long x, y, w, h; long ex, ey, ew, eh; } cases[] = {
        {-10, -10, 50, 50, 0, 0, 50, 50},  // the size is not shortened by the shift
        {10, 20, -5, 30, 10, 20, 0, 30},
        {0, 0, 1L << 40, 1L << 40, 0, 0, 100, 100},
    };
    for (const auto& c : cases) {
        CIImageImpl image;
        CIImageImplTestAccess::pretend(image, 100, 100);
        image.setClipRect(c.x, c.y, c.w, c.h);
        long x, y, w, h, bw, bh;
        image.getResultRect(&x, &y, &w, &h);
        image.getBlockSize(&bw, &bh);
        EXPECT_EQ((std::vector<long>{x, y, w, h, bw, bh}), (std::vector<long>{c.ex, c.ey, c.ew, c.eh, c.ew, c.eh}));
    }
}

TEST(ImageObject, InternalReferencesKeepTheObjectAliveAndCloneCopiesValidity) {
    CIImageImpl* image = new CIImageImpl();
    EXPECT_EQ(image->internalAddRef(), 1);
    EXPECT_EQ(image->release(), 0);  // the host's last reference
    EXPECT_EQ(image->addRef(), 1);   // still alive, held internally
    EXPECT_EQ(image->release(), 0);
    IInternalImage* copy = image->clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(static_cast<CIImageImpl*>(copy)->isValid(), 0);
    copy->release();
    EXPECT_EQ(image->internalRelease(), 0);  // now it goes; ASan checks the rest
}

}  // namespace

namespace {

// Large blocks are reused once the host gives them back: a read whose rows
// fail part-way must still leave those rows black and transparent, never the
// pixels of the read before. 1024 x 1024 pixels make a block of 4 MiB.
TEST(ImageObject, AReusedBlockShowsNothingOfTheReadBefore) {
    tarntest::TempDir dir;
    const int side = 1024;
    std::vector<unsigned char> data(size_t(side) * side, 7), map(768, 200);
    const auto whole = tarntest::sun_raster(side, side, 8, 1, data, 1, map);
    auto cut = whole;
    cut.resize(32 + 768 + size_t(side) * 100);  // 100 rows of 1024
    dir.write("whole.ras", whole);
    dir.write("cut.ras", cut);
    for (int round = 0; round < 2; ++round) {
        for (const char* name : {"whole.ras", "cut.ras"}) {
            SCOPED_TRACE(name);
            CIImageImpl image{CTarnUString(dir.file(name).c_str())};
            ASSERT_EQ(image.isValid(), 1);
            long x, y, w, h;
            DirectMemoryHolder* block = image.getData(&x, &y, &w, &h);
            ASSERT_NE(block, nullptr);
            ASSERT_EQ(std::vector<long>({w, h}), std::vector<long>({side, side}));
            const uint32_t* p = static_cast<const uint32_t*>(block->data());
            const int good_rows = std::string(name) == "whole.ras" ? side : 100;
            size_t coloured = 0, blank = 0;
            for (size_t i = 0; i < size_t(side) * side; ++i) {
                if (p[i] == 0) ++blank;
                else if (p[i] == 0xFFC8C8C8u) ++coloured;
            }
            EXPECT_EQ(coloured, size_t(good_rows) * side);
            EXPECT_EQ(blank, size_t(side - good_rows) * side);
            block->release();
        }
    }
}

}  // namespace
