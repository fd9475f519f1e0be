// BMP driver on the conformance harness: files written by ImageMagick (a few
// laid out by make_bmp.sh) against ImageMagick's decode, broken files, the
// shared samples (GDAL's values); then what the harness cannot say: 16- and
// 32-bit files, whose one band of packed colours renders as true colour.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include "conformance.h"
#include "channel/world.h"
#include "drivers/builtin/bmp.h"
#include <tarnimage/properties.h>
#include "test_support.h"

extern "C" int fuzz_bmp_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;
using tarntest::OpenImage;

const int kBmp = 14;

void put32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (8 * i));
}

// A 40-byte-header file; the palette has `colours` grey entries.
Bytes bmp(int width, int height, int bits, int compression, int colours, const Bytes& data, uint32_t used = 0,
          int masks_at = 0, const std::vector<uint32_t>& masks = {}) {
    Bytes b(54, 0);
    b[0] = 'B', b[1] = 'M';
    put32(b, 14, 40);
    put32(b, 18, uint32_t(width));
    put32(b, 22, uint32_t(height));
    b[26] = 1, b[28] = uint8_t(bits);
    put32(b, 30, uint32_t(compression));
    put32(b, 46, used);
    if (masks_at)
        for (uint32_t m : masks) b.insert(b.end(), {uint8_t(m), uint8_t(m >> 8), uint8_t(m >> 16), uint8_t(m >> 24)});
    for (int i = 0; i < colours; ++i) b.insert(b.end(), {uint8_t(i), uint8_t(i), uint8_t(i), 0});
    put32(b, 10, uint32_t(b.size()));
    b.insert(b.end(), data.begin(), data.end());
    put32(b, 2, uint32_t(b.size()));
    return b;
}

size_t bmp_header(const Bytes& file) {
    if (file.size() < 14) return file.size();
    return std::min<size_t>(file.size(), size_t(file[10]) | size_t(file[11]) << 8);
}

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".bmp";
        s.type = kBmp;
        s.info_success = 0;
        s.header_size = bmp_header;
        s.fuzz = fuzz_bmp_one_input;
        s.identified_by_content = false;
        const struct { const char* name; int width, height, bands, depth, colours; } rows[] = {
            {"pal-1bit-bmp3-37x7", 37, 7, 1, 1, 2},      {"pal-4bit-bmp3-37x7", 37, 7, 1, 4, 16},
            {"pal-4bit-bmp5-37x7", 37, 7, 1, 4, 16},     {"pal-8bit-bmp3-29x9", 29, 9, 1, 8, 256},
            {"pal-8bit-bmp5-29x9", 29, 9, 1, 8, 256},    {"pal-8bit-os2-29x9", 29, 9, 1, 8, 256},
            {"rle4-11x4", 11, 4, 1, 4, 16},              {"rle8-bmp3-29x9", 29, 9, 1, 8, 256},
            {"rle8-delta-9x5", 9, 5, 1, 8, 256},         {"topdown-8bit-13x6", 13, 6, 1, 8, 256},
            {"rgb-24bit-bmp3-29x9", 29, 9, 3, 8, 0},     {"rgb-24bit-bmp5-29x9", 29, 9, 3, 8, 0},
            {"rgb-24bit-os2-29x9", 29, 9, 3, 8, 0},      {"rgb-32bit-bmp3-29x9", 29, 9, 3, 8, 0},
            {"topdown-24bit-7x5", 7, 5, 3, 8, 0},
        };
        for (const auto& r : rows)
            s.fixtures.push_back({"bmp/" + std::string(r.name) + ".bmp", "bmp/" + std::string(r.name) + ".ppm",
                                  r.width, r.height, r.bands, r.depth, r.colours, r.bands == 3 ? 1 : -1, {}});
        s.windows = {
            {"bmp/pal-1bit-bmp3-37x7.bmp", 1, 9, 30, 1, 2},
            {"bmp/rle4-11x4.bmp", 1, 3, 9, 0, 1},
            {"bmp/rgb-24bit-bmp3-29x9.bmp", 7, 4, 20, 2, 1},
        };
        s.broken = {
            {"bit fields with no bits", bmp(2, 2, 16, 3, 0, Bytes(8), 0, 1, {0xF800, 0, 0x1F}), 0, -1, {}},
            {"palette longer than the file", bmp(2, 2, 8, 0, 0, Bytes(8), 200), 0, -1, {}},
            {"RLE8 run past the row", bmp(2, 2, 8, 1, 4, Bytes{9, 1, 0, 1}, 4), 0, 1, {-1, -1}},
            {"RLE8 run past the image", bmp(4, 1, 8, 1, 4, Bytes{4, 1, 0, 0, 4, 2, 0, 1}, 4), 0, 1, {-1}},
            {"RLE8 leaves pixels unset", bmp(4, 2, 8, 1, 4, Bytes{0, 1}, 4), 0, 1, {1, 1}},
            {"width that overflows", bmp(0x7FFFFFFF, 1, 24, 0, 0, Bytes(8)), 0, -1, {}},
            {"negative width", bmp(-3, 1, 8, 0, 2, Bytes(8), 2), 0, -1, {}},
            {"compression 4 (JPEG)", bmp(2, 2, 24, 4, 0, Bytes(16)), 0, -1, {}},
            {"rows cut short", bmp(4, 3, 8, 0, 2, Bytes(4), 2), 0, 1, {-1, -1, 1}},
            {"header cut short", Bytes{'B', 'M', 0, 0, 0, 0}, 0, -1, {}},
        };
        s.samples = {
            {"bmp/1bit.bmp", 32, 32, 1, 1, 1, 0x17e1e595u},
            {"bmp/4bit_pal.bmp", 20, 20, 1, 4, 1, 0x1d624c79u},
            {"bmp/8bit_pal.bmp", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"bmp/byte_rle8.bmp", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"bmp/rgb24.bmp", 64, 127, 3, 8, 1, 0x03b3e94fu},
            {"bmp/red_rgb_1x1.bmp", 1, 1, 3, 8, 1, 0x236d9dfeu},  // 108-byte header
        };
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(Bmp, suite())

// 16 and 32 bits: one band of packed colours (red + green * 256 + blue *
// 65536), and three planes through the three-band open; both equal the decode.
TEST(BmpTrueColour, PackedAndPlanesEqualTheReference) {
    const struct { const char* name; int width, height, depth; } files[] = {
        {"rgb-16bit-555-29x9", 29, 9, 16}, {"rgb-16bit-565-29x9", 29, 9, 16}, {"rgb-32bit-bmp5-29x9", 29, 9, 32},
        {"fields-16bit-52-6x4", 6, 4, 16}, {"fields-32bit-56-5x4", 5, 4, 32},
    };
    for (const auto& f : files) {
        SCOPED_TRACE(f.name);
        const std::string path = tarntest::data_path("bmp/" + std::string(f.name) + ".bmp");
        const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("bmp/" + std::string(f.name) + ".ppm"));
        int rows = 0, columns = 0, bands = 0, depth = 0;
        ASSERT_EQ(get_image_info(kBmp, path.c_str(), &rows, &columns, &bands, &depth), 0);
        EXPECT_EQ(std::vector<int>({rows, columns, bands, depth}), std::vector<int>({f.height, f.width, 1, f.depth}));
        OpenImage one, three;
        ASSERT_EQ(one.open(path, kBmp, 1), 1);
        ASSERT_TRUE(one.map(kBmp, 0, f.width - 1, 0, f.height - 1));
        ASSERT_EQ(three.open_multi(path, kBmp, 1, 2, 3), 1);
        ASSERT_TRUE(three.map(kBmp, 0, f.width - 1, 0, f.height - 1));
        for (int y = 0; y < f.height; ++y) {
            ASSERT_EQ(one.image.get_row(&one.image, y), 0);
            ASSERT_EQ(three.image.get_row(&three.image, y), 0);
            for (int x = 0; x < f.width; ++x) {
                const uint32_t want = uint32_t(ref.at(x, y, 0)) | uint32_t(ref.at(x, y, 1)) << 8 |
                                      uint32_t(ref.at(x, y, 2)) << 16;
                ASSERT_EQ(one.at(x), want) << x << "," << y;
                for (int c = 0; c < 3; ++c) ASSERT_EQ(int(three.at(x, c)), ref.at(x, y, c)) << x << "," << y;
            }
        }
    }
}

TEST(BmpGeoreference, ResolutionNeverPlaces) {
    const std::string path = tarntest::data_path("bmp/rgb-24bit-bmp3-29x9.bmp");
    double t[6] = {};
    EXPECT_EQ(read_BMP_header_trans(path.c_str(), kBmp, t), -1);
    ASSERT_EQ(get_image_to_world_transform(kBmp, path.c_str(), t), 1);
    EXPECT_EQ(std::vector<double>(t, t + 6), (std::vector<double>{1, 0, 0, -1, 0, 8}));
}

}  // namespace
