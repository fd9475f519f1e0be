// Sun raster driver on the conformance harness: files written by pnmtorast (a
// few by make_sunraster.sh) against rasttopnm's decode, broken files, shared
// samples; then what is the format's own: the run decoder's rules on
// hand-made streams, the three-band open's refusals, a short palette.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>

#include <string>
#include <vector>

#include "conformance.h"
#include "drivers/builtin/sunraster.h"
#include "test_support.h"

extern "C" int fuzz_sunraster_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;
using tarntest::kFromData;
using tarntest::OpenImage;
using tarntest::sun_raster;

const int kSun = 2;

// The header and the colour map come before the pixels.
size_t sun_header(const Bytes& file) {
    if (file.size() < 32) return file.size();
    return 32 + (size_t(file[28]) << 24 | size_t(file[29]) << 16 | size_t(file[30]) << 8 | file[31]);
}

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".ras";
        s.type = kSun;
        s.header_size = sun_header;
        s.fuzz = fuzz_sunraster_one_input;
        // Grey and few-colour images come as 8-bit indices into a 256-entry map.
        const struct { const char* name; int width, height, bands, depth, colours; } rows[] = {
            {"rle-bw-1bit-13x7", 13, 7, 1, 1, 0},          {"rle-bw-1bit-37x5", 37, 5, 1, 1, 0},
            {"rle-bw-1bit-70x6", 70, 6, 1, 1, 0},          {"rle-grey-8bit-13x7", 13, 7, 1, 8, 256},
            {"rle-grey-8bit-38x6", 38, 6, 1, 8, 256},      {"rle-palette-8bit-13x7", 13, 7, 1, 8, 256},
            {"rle-palette-8bit-37x5", 37, 5, 1, 8, 256},   {"rle-rgb-24bit-29x15", 29, 15, 3, 8, 0},
            {"rle-rgb-24bit-37x9", 37, 9, 3, 8, 0},        {"rle-rgb-32bit-13x7", 13, 7, 3, 8, 0},
            {"std-bw-1bit-13x7", 13, 7, 1, 1, 0},          {"std-bw-1bit-37x5", 37, 5, 1, 1, 0},
            {"std-bw-1bit-70x6", 70, 6, 1, 1, 0},          {"std-grey-8bit-13x7", 13, 7, 1, 8, 256},
            {"std-grey-8bit-38x6", 38, 6, 1, 8, 256},      {"std-grey-8bit-nomap-13x7", 13, 7, 1, 8, 0},
            {"std-palette-8bit-13x7", 13, 7, 1, 8, 256},   {"std-palette-8bit-37x5", 37, 5, 1, 8, 256},
            {"std-rgb-24bit-29x15", 29, 15, 3, 8, 0},      {"std-rgb-24bit-37x9", 37, 9, 3, 8, 0},
            {"std-rgb-32bit-13x7", 13, 7, 3, 8, 0},
        };
        for (const auto& r : rows) {
            s.fixtures.push_back({"sunraster/" + std::string(r.name) + ".ras",
                                  "sunraster/" + std::string(r.name) + ".pnm", r.width, r.height, r.bands, r.depth,
                                  r.colours, r.bands == 3 ? 1 : -1, {}});
        }
        // Windows narrower than the image, rows with gaps; band 7 of a
        // true-colour file is out of range, so the first.
        s.windows = {
            {"sunraster/std-grey-8bit-38x6.ras", 1, 3, 20, 1, 2},
            {"sunraster/rle-grey-8bit-38x6.ras", 1, 30, 37, 0, 1},
            {"sunraster/rle-palette-8bit-37x5.ras", 1, 10, 30, 1, 3},
            {"sunraster/rle-rgb-24bit-29x15.ras", 3, 1, 27, 0, 4},
            {"sunraster/rle-rgb-32bit-13x7.ras", 7, 4, 9, 3, 1},
            {"sunraster/std-bw-1bit-70x6.ras", 1, 8, 47, 1, 1},
            {"sunraster/rle-bw-1bit-70x6.ras", 1, 16, 69, 0, 2},
            {"sunraster/rle-bw-1bit-37x5.ras", 1, 32, 36, 1, 1},
        };
        s.broken = {
            {"run-encoded file cut short", sun_raster(4, 3, 8, 2, {1, 2, 3, 4, 128, 3, 7, 9}), 1, 1, {1, 1, -1}},
            {"run value missing at the end", sun_raster(2, 2, 8, 2, {1, 2, 128, 5}), 1, 1, {1, -1}},
            {"run past the end of the last row", sun_raster(2, 2, 8, 2, {1, 2, 128, 9, 7}), 1, 1, {1, -1}},
            {"run-encoded file with no rows at all", sun_raster(2, 2, 8, 2, {}), 1, -1, {}},
            {"plain file cut short", sun_raster(4, 3, 8, 1, {1, 2, 3, 4, 5, 6}), 1, 1, {1, -1, -1}},
            {"colour map longer than the file", sun_raster(2, 1, 8, 1, {1, 2}, 1, {1, 2, 3}, kFromData, 900), 1, -1,
             {}},
            {"negative colour map length", sun_raster(2, 1, 8, 1, {1, 2}, 1, {}, kFromData, -6), 1, -1, {}},
            {"raw colour map", sun_raster(2, 1, 8, 1, {1, 2}, 2, {1, 2, 3}), 1, -1, {}},
            {"negative height", sun_raster(4, -3, 8, 1, Bytes(10)), -1, -1, {}},
            {"depth 0", sun_raster(4, 3, 0, 1, Bytes(10)), -1, -1, {}},
            {"row wider than 32-bit sizes", sun_raster(0x7FFFFFFF, 1, 32, 1, Bytes(10)), -1, -1, {}},
            {"raster beyond 4 GiB", sun_raster(65536, 65537, 8, 2, Bytes(10)), -1, -1, {}},
            {"one row larger than the file", sun_raster(100000, 1, 8, 1, Bytes(100)), 1, -1, {}},
            {"depth 4, which is reported but not read", sun_raster(4, 2, 4, 1, Bytes(4)), 1, -1, {}},
            {"depth 64", sun_raster(1, 2, 64, 1, Bytes(32)), 1, -1, {}, kSun},
            {"header shorter than 32 bytes", Bytes{0x59, 0xa6, 0x6a, 0x95, 0, 0, 0, 4}, -1, -1, {},
             kSun},  // identified by the magic number alone
            {"encoding 3 (RGB-ordered): no row reader", sun_raster(2, 2, 24, 3, Bytes(12, 9)), 1, 1, {-1, -1}},
            {"encoding -1", sun_raster(2, 2, 8, -1, Bytes(4, 9)), 1, 1, {-1}},
        };
        // rasttopnm refuses sunraster.im1, whose length word is the decoded
        // size: that hash comes from a decode in Python (bit 1 black).
        // 32bpp.ras has its pad byte first, as rasttopnm reads it.
        s.samples = {
            {"sunraster/hopper.ras", 128, 128, 3, 8, 1, 0},  // encoding 3: opens, no rows
            {"sunraster/sunraster.im1", 400, 640, 1, 1, 1, 0x78096610u},
            {"sunraster/gray.ras", 768, 1024, 1, 8, 1, 0x0a247a77u},
            {"sunraster/4bpp.ras", 768, 1024, 1, 4, -1, 0},  // depth 4 is not read
            {"sunraster/32bpp.ras", 768, 1024, 3, 8, 1, 0x4c959e8du},
        };
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(SunRaster, suite())

TEST(SunRasterTables, EveryFixtureIsInTheTable) {
    std::vector<std::string> listed;
    for (const auto& f : suite().fixtures) listed.push_back(f.file.substr(10, f.file.size() - 14));
    EXPECT_EQ(listed, tarntest::sun_fixtures());
}

TEST(SunRasterRunDecoder, Rules) {
    // No rows given: all of them.
    const struct { const char* what; Bytes stream; int width, height, first_col, last_col; std::vector<int> rows;
                   Bytes want; } cases[] = {
        {"literals", {1, 2, 3, 4}, 2, 2, 0, -1, {}, {1, 2, 3, 4}},
        {"128,0 is one byte 128", {128, 0, 5, 128, 0, 6}, 2, 2, 0, -1, {}, {128, 5, 128, 6}},
        {"a run of n+1 bytes", {128, 3, 9}, 2, 2, 0, -1, {}, {9, 9, 9, 9}},
        {"128,1,v is two bytes 128 whatever v is", {128, 1, 7, 1, 2}, 2, 2, 0, -1, {}, {128, 128, 1, 2}},
        {"a run crossing into the next row", {1, 128, 3, 5, 2, 3, 4}, 4, 2, 0, -1, {}, {1, 5, 5, 5, 5, 2, 3, 4}},
        {"a run covering whole rows and more", {128, 8, 4, 1, 2}, 2, 5, 0, -1, {}, {4, 4, 4, 4, 4, 4, 4, 4, 4, 1}},
        {"a window skips what lies right of it", {1, 2, 3, 4, 5, 6, 7, 8}, 4, 2, 1, 2, {}, {2, 3, 6, 7}},
        {"rows with gaps", {1, 2, 3, 4, 5, 6, 7, 8}, 2, 4, 0, -1, {0, 2, 3}, {1, 2, 5, 6, 7, 8}},
        {"a row behind the decoder gives its run's byte", {128, 5, 4, 9, 9}, 2, 4, 0, -1, {2, 0},
         {4, 4, 4, 4}},
        // A pair ending on the row's last byte stores only its first byte; the
        // last keeps what the buffer held (the previous row's 4).
        {"a pair ending on the last byte", {1, 2, 3, 4, 5, 6, 128, 1, 0, 7, 8, 9, 10}, 4, 3, 0, -1, {},
         {1, 2, 3, 4, 5, 6, 128, 4, 7, 8, 9, 10}},
        {"a pair starting on the last byte", {6, 128, 1, 0, 4}, 2, 2, 0, -1, {}, {6, 128, 128, 4}},
    };
    tarntest::TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        OpenImage im;
        ASSERT_EQ(im.open(dir.write("a.ras", sun_raster(c.width, c.height, 8, 2, c.stream)), kSun, 1), 1);
        ASSERT_TRUE(im.map(kSun, c.first_col, c.last_col < 0 ? c.width - 1 : c.last_col, 0, c.height - 1));
        std::vector<int> rows = c.rows;
        if (rows.empty())
            for (int y = 0; y < c.height; ++y) rows.push_back(y);
        Bytes got;
        for (int y : rows) {
            ASSERT_EQ(im.image.get_row(&im.image, y), 0);
            got.insert(got.end(), im.image.row8, im.image.row8 + im.image.win_cols);
        }
        EXPECT_EQ(got, c.want);
    }
}

TEST(SunRasterMultiOpen, RefusalsAndLengthFromTheFileSize) {
    tarntest::TempDir dir;
    const struct { const char* what; Bytes file; int r, g, b; } cases[] = {
        {"8-bit file", sun_raster(2, 2, 8, 1, Bytes(4)), 1, 2, 3},
        {"band 0", sun_raster(2, 2, 24, 1, Bytes(12)), 0, 2, 3},
        {"band 4", sun_raster(2, 2, 24, 1, Bytes(12)), 1, 4, 3},
        {"colour map", sun_raster(2, 2, 24, 1, Bytes(12), 1, {1, 2, 3}), 1, 2, 3},
        {"absurd width", sun_raster(0x40000000, 2, 24, 1, Bytes(12)), 1, 2, 3},
        {"short header", Bytes(20, 0), 1, 2, 3},
    };
    for (const auto& c : cases) {
        OpenImage im;
        EXPECT_EQ(im.open_multi(dir.write("m.ras", c.file), kSun, c.r, c.g, c.b), -1) << c.what;
    }
    OpenImage absent;
    EXPECT_EQ(absent.open_multi(dir.file("absent.ras"), kSun, 1, 2, 3), -1);

    Bytes data = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    OpenImage im;
    ASSERT_EQ(im.open_multi(dir.write("z.ras", sun_raster(2, 2, 24, 0, data, 0, {}, 0)), kSun, 1, 2, 3), 1);
    SunHeader header;
    ASSERT_EQ(rdhdr_SUN(&im.image, &header, nullptr), 0);
    EXPECT_EQ(header.length, 12);
    ASSERT_TRUE(im.map(kSun, 0, 1, 0, 1));
    ASSERT_EQ(im.image.get_row(&im.image, 1), 0);
    EXPECT_EQ(im.image.mrow32[0][0], 9u);  // blue, green, red in the file
    EXPECT_EQ(im.image.mrow32[2][1], 10u);
}

// A palette shorter than the pixel range: values past it take its last colour.
TEST(SunRasterPalette, PixelsPastASmallPaletteTakeItsLastColour) {
    tarntest::TempDir dir;
    dir.write("small.ras", sun_raster(4, 2, 8, 1, {0, 3, 4, 200, 255, 1, 2, 9}, 1,
                                      {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120}));
    IInternalImageManager* manager = getManager();
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("small.ras")));
    IInternalImage* image = manager->getImage(0);
    ASSERT_NE(image, nullptr);
    long x, y, width, height;
    DirectMemoryHolder* block = image->getData(&x, &y, &width, &height);
    ASSERT_NE(block, nullptr);
    const unsigned char* p = static_cast<const unsigned char*>(block->data());
    const Bytes got(p, p + block->length());
    block->release();
    image->release();
    manager->release();
    const Bytes first = {10, 50, 90, 255}, second = {20, 60, 100, 255}, third = {30, 70, 110, 255},
                last = {40, 80, 120, 255};
    Bytes want;
    for (const Bytes* pixel : {&first, &last, &last, &last, &last, &second, &third, &last})
        want.insert(want.end(), pixel->begin(), pixel->end());
    EXPECT_EQ(got, want);
}

}  // namespace
