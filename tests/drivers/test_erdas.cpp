// ERDAS LAN and GIS driver on the conformance harness: files laid out by
// make_erdas.py with the values it wrote, broken headers, the shared samples
// (GDAL's values; the 4-bit sample in low-nibble-first order); then the
// header georeference and the three-band open's refusals.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include "conformance.h"
#include "drivers/builtin/erdas.h"
#include "test_support.h"

extern "C" int fuzz_erdas_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;
using tarntest::OpenImage;

const int kErdas = 3;

Bytes head74(int pack, int bands, int width, int height, const Bytes& data, int map_type = 0) {
    Bytes b(128, 0);
    memcpy(b.data(), "HEAD74", 6);
    b[6] = uint8_t(pack), b[7] = uint8_t(pack >> 8), b[8] = uint8_t(bands), b[9] = uint8_t(bands >> 8);
    for (int i = 0; i < 4; ++i) b[16 + i] = uint8_t(uint32_t(width) >> (8 * i)), b[20 + i] = uint8_t(uint32_t(height) >> (8 * i));
    b[88] = uint8_t(map_type);
    b.insert(b.end(), data.begin(), data.end());
    return b;
}

size_t erdas_header(const Bytes& file) { return std::min<size_t>(file.size(), 128); }

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".lan";
        s.type = kErdas;
        s.header_size = erdas_header;
        s.fuzz = fuzz_erdas_one_input;
        s.identified_by_content = false;
        s.fixtures = {
            {"erdas/header-be-3x5.lan", "erdas/header-be-3x5.pgm", 3, 5, 1, 8, 0, -1, {}},
            {"erdas/trailer-9x4.gis", "erdas/trailer-9x4.ppm", 9, 4, 1, 8, 256, -1, {"erdas/trailer-9x4.trl"}},
            {"erdas/stats-3band-7x6.lan", "erdas/stats-3band-7x6.ppm", 7, 6, 3, 8, 0, 1, {"erdas/stats-3band-7x6.sta"}},
        };
        s.windows = {{"erdas/stats-3band-7x6.lan", 3, 2, 5, 1, 2}};
        s.broken = {
            {"no bands", head74(0, 0, 2, 2, Bytes(4)), 1, -1, {}},
            {"negative width", head74(0, 1, -2, 2, Bytes(4)), 1, -1, {}},
            {"width above 2^24", head74(0, 1, 1 << 25, 1, Bytes(4)), 1, -1, {}},
            {"one row larger than the file", head74(0, 3, 100, 2, Bytes(10)), 1, -1, {}},
            {"rows cut short", head74(0, 1, 4, 3, Bytes(6, 1)), 1, 1, {1, -1, -1}},
            {"4-bit single band cut short", head74(1, 1, 4, 3, Bytes(3, 0x21)), 1, 1, {1, -1, -1}},
            {"header shorter than 128 bytes", Bytes{'H', 'E', 'A', 'D', '7', '4', 0, 0}, -1, -1, {}},
        };
        s.samples = {
            {"lan/fakelan.lan", 2, 2, 1, 8, 1, 0x5734a87du},
            {"lan/fakelan4bit.lan", 2, 2, 1, 4, 1, 0x17fddb01u},  // 2, 1, 4, 3
            {"lan/gen_int16.lan", 20, 20, 1, 16, 1, 0x06e289e5u},
            {"lan/gen_rgbsmall.lan", 50, 50, 3, 8, 1, 0x2b14fa41u},
            {"lan/gen_small_world.gis", 200, 400, 1, 8, 1, 0x62885774u},
        };
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(Erdas, suite())

TEST(ErdasHeader, GeoreferenceByMapType) {
    tarntest::TempDir dir;
    const struct { int map_type; int result; } cases[] = {{0, -1}, {1, 1}, {20, 1}, {21, -1}, {98, -1}, {99, 1}, {100, -1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.map_type);
        Bytes b = head74(0, 1, 2, 2, Bytes(4), c.map_type);
        const float geo[4] = {440750.0f, 3751290.0f, 60.0f, 30.0f};
        memcpy(&b[112], geo, sizeof geo);
        const std::string path = dir.write("g.lan", b);
        double t[6] = {9, 9, 9, 9, 9, 9};
        ASSERT_EQ(read_ERDAS_header_trans(path.c_str(), kErdas, t), c.result);
        if (c.result == 1) {
            EXPECT_EQ(std::vector<double>(t, t + 6), (std::vector<double>{60, 0, 0, -30, 440750, 3751290}));
        }
    }
}

TEST(ErdasOpen, RefusalsAndBands) {
    tarntest::TempDir dir;
    const std::string lan = dir.write("a.lan", head74(0, 2, 2, 2, Bytes(8, 1)));
    const std::string gis = dir.write("a.gis", head74(0, 1, 2, 2, Bytes(4, 1)));
    const std::string other = dir.write("a.img", head74(0, 1, 2, 2, Bytes(4, 1)));
    const struct { const char* what; std::string path; bool multi; int a, b, c, result; } cases[] = {
        {"band 0 in the three-band open", lan, true, 0, 1, 2, -1},
        {"band above the count", lan, true, 1, 2, 3, -1},
        {"bands in range", lan, true, 2, 1, 2, 1},
        {"a GIS never opens three bands", gis, true, 1, 1, 1, -1},
        {"a GIS band too high reads band 1", gis, false, 5, 0, 0, 1},
        {"a LAN band too high", lan, false, 3, 0, 0, -1},
        {"an unknown suffix", other, false, 1, 0, 0, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        OpenImage im;
        EXPECT_EQ(c.multi ? im.open_multi(c.path, kErdas, c.a, c.b, c.c) : im.open(c.path, kErdas, c.a), c.result);
    }
}

}  // namespace

namespace {

// Two deviations around the mean, per band: band 2's record gives 60 to 140.
TEST(ErdasStatistics, StretchFromTheStaRecord) {
    tarntest::TempDir dir;
    Bytes sta;
    for (float mean : {127.5f, 100.0f, 127.5f}) {
        Bytes record(1152, 0);
        memcpy(record.data(), "TRAIL74", 7);
        const float deviation = mean == 100.0f ? 20.0f : 63.75f;
        memcpy(&record[12], &mean, 4);
        memcpy(&record[24], &deviation, 4);
        sta.insert(sta.end(), record.begin(), record.end());
    }
    dir.write("s.sta", sta);
    const std::string path = dir.write("s.lan", tarntest::read_file(tarntest::data_path("erdas/stats-3band-7x6.lan")));
    OpenImage one, three;
    ASSERT_EQ(one.open(path, kErdas, 2), 1);
    EXPECT_EQ(std::vector<double>({double(one.image.colormap.gray_low), double(one.image.colormap.gray_high),
                                   one.image.colormap.gray_step}),
              (std::vector<double>{60, 140, 3.2f}));
    ASSERT_EQ(three.open_multi(path, kErdas, 2, 1, 3), 1);
    EXPECT_EQ(std::vector<uint32_t>({three.image.colormap.band_low[0], three.image.colormap.band_high[0],
                                     three.image.colormap.band_low[1], three.image.colormap.band_high[1]}),
              (std::vector<uint32_t>{60, 140, 0, 255}));
}

}  // namespace

namespace {

// 4-bit rows as the file has them, one value per pixel: the one-band form
// runs on across rows (row 1 of a 5-wide image starts on a high nibble), the
// three-band form pads each band row; windows start mid-byte.
TEST(ErdasFourBit, RowsEqualTheWrittenValues) {
    const struct { const char* file; const char* reference; int band, first_col, last_col; } cases[] = {
        {"erdas/four-1band-5x3.lan", "erdas/four-1band-5x3.pgm", 1, 0, 4},
        {"erdas/four-1band-5x3.lan", "erdas/four-1band-5x3.pgm", 1, 1, 3},
        {"erdas/four-3band-5x4.lan", "erdas/four-3band-5x4.ppm", 1, 0, 4},
        {"erdas/four-3band-5x4.lan", "erdas/four-3band-5x4.ppm", 2, 1, 4},
        {"erdas/four-3band-5x4.lan", "erdas/four-3band-5x4.ppm", 3, 3, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.file) + " band " + std::to_string(c.band) + " from " + std::to_string(c.first_col));
        const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path(c.reference));
        OpenImage im;
        ASSERT_EQ(im.open(tarntest::data_path(c.file), kErdas, c.band), 1);
        ASSERT_TRUE(im.map(kErdas, c.first_col, c.last_col, 0, ref.height - 1));
        for (int y = 0; y < ref.height; ++y) {
            ASSERT_EQ(im.image.get_row(&im.image, y), 0);
            for (int x = c.first_col; x <= c.last_col; ++x)
                ASSERT_EQ(int(im.at(x - c.first_col)), ref.at(x, y, ref.channels == 3 ? c.band - 1 : 0)) << x << "," << y;
        }
    }
    const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("erdas/four-3band-5x4.ppm"));
    OpenImage three;
    ASSERT_EQ(three.open_multi(tarntest::data_path("erdas/four-3band-5x4.lan"), kErdas, 3, 1, 2), 1);
    ASSERT_TRUE(three.map(kErdas, 0, 4, 0, 3));
    for (int y = 0; y < 4; ++y) {
        ASSERT_EQ(three.image.get_row(&three.image, y), 0);
        for (int x = 0; x < 5; ++x)
            for (int k = 0; k < 3; ++k) ASSERT_EQ(int(three.at(x, k)), ref.at(x, y, (k + 2) % 3)) << x << "," << y;
    }
}

}  // namespace

namespace {

// A pack type of 3 has no depth: the info and depth queries fail, the
// extent and band count still read.
TEST(ErdasHeader, UnknownPackType) {
    tarntest::TempDir dir;
    const std::string path = dir.write("p.lan", head74(3, 2, 4, 5, Bytes(40)));
    int rows = 0, columns = 0, bands = 0, depth = 0;
    EXPECT_EQ(get_ERDAS_info(path.c_str(), &rows, &columns, &bands, &depth), -1);
    EXPECT_EQ(get_ERDAS_depth(path.c_str(), &depth), -1);
    EXPECT_EQ(read_ERDAS_extent(path.c_str(), &rows, &columns), 1);
    EXPECT_EQ(read_ERDAS_nbands(path.c_str(), &bands), 1);
    EXPECT_EQ(std::vector<int>({rows, columns, bands}), std::vector<int>({5, 4, 2}));
    OpenImage im;
    EXPECT_EQ(im.open(path, kErdas, 1), -1);
}

}  // namespace
