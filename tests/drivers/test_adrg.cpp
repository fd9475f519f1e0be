// ADRG driver: the shared sample through identification and the channel
// against GDAL's decode and georeference (make_adrg.sh), then what the format
// asks of its reader: images the GEN does not list open as 0 x 0, rows are
// read forward only, band selection, and the polar zone's square pixels.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <math.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/identify.h"
#include "drivers/military/adrg.h"
#include "test_support.h"

namespace {

struct Expected {
    int rows = 0, columns = 0, bands = 0;
    double origin_x = 0, origin_y = 0, pixel_x = 0, pixel_y = 0;
    std::vector<std::vector<uint32_t>> hashes;  // per row, one per band
};

Expected read_expected(const char* name = "SMALL_ADRG.txt") {
    Expected e;
    std::ifstream in(tarntest::data_path(std::string("adrg/") + name));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream f(line);
        std::string key;
        f >> key;
        if (key == "size") f >> e.rows >> e.columns >> e.bands;
        if (key == "origin") f >> e.origin_x >> e.origin_y;
        if (key == "pixel") f >> e.pixel_x >> e.pixel_y;
        if (key == "row") {
            int y;
            std::string h[3];
            f >> y >> h[0] >> h[1] >> h[2];
            std::vector<uint32_t> row;
            for (const auto& s : h) row.push_back(uint32_t(std::stoul(s, nullptr, 16)));
            e.hashes.push_back(row);
        }
    }
    return e;
}

uint32_t fnv(const uint8_t* p, size_t n) {
    uint32_t h = 2166136261u;
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 16777619u;
    return h;
}

// A record whose data start right behind a one-byte directory.
std::string gen_record(const std::string& data) {
    char leader[25];
    snprintf(leader, sizeof leader, "%05d D     %05d   3403", int(25 + data.size()), 25);
    return std::string(leader) + "\x1e" + data;
}

std::string at_least(std::string s, size_t n) {
    s.resize(std::max(s.size(), n), ' ');
    return s;
}

// Pixel of a hand-made tile: tile number, band, line.
uint8_t tile_pixel(int tile, int band, int line) { return uint8_t(tile * 50 + band * 10 + line % 7); }

// A 2 x 2 tile rectangle TESTAA01.IMG whose second tile is absent: the GEN's
// GIN record at the fixed field positions, the image's tiles in its third field.
void write_rectangle(const tarntest::TempDir& dir) {
    std::string gin = "GIN01\x1e" "ADRGTESTAA01";
    gin = at_least(gin, 128) + "05";
    gin = at_least(gin, 136) + "00046067" + "00036000" + "+0100000.00" + "+450000.00";
    gin = at_least(gin, 262) + "002002";
    gin = at_least(gin, 297) + "Y";
    gin = at_least(gin, 345) + "00001000000000200003\x1e";
    const std::string gen = gen_record("GENERAL") + gen_record("DSS01\x1e" "010101010\x1e") + gen_record("OVV01\x1e") +
                            gen_record(gin);
    dir.write("TESTAA01.GEN", gen);
    std::string img = gen_record("DDR");
    img += "99999 D     00088   9903";
    img += "001000000006000000000PAD000000010000000006SCN000147456000000016\x1e";
    img += std::string(16, '.');
    for (int tile = 1; tile <= 3; ++tile)
        for (int band = 0; band < 3; ++band)
            for (int line = 0; line < 128; ++line) img += std::string(128, char(tile_pixel(tile, band, line)));
    dir.write("TESTAA01.IMG", img);
}

// Row y of band b as the rectangle's tiles make it.
std::vector<uint8_t> rectangle_row(int y, int band) {
    std::vector<uint8_t> row(256, 0);
    const int left = y < 128 ? 1 : 2, right = y < 128 ? 0 : 3;
    for (int x = 0; x < 128; ++x) row[size_t(x)] = tile_pixel(left, band, y % 128);
    if (right)
        for (int x = 128; x < 256; ++x) row[size_t(x)] = tile_pixel(right, band, y % 128);
    return row;
}

std::string sample(const char* relative) { return tarntest::sample_path(std::string("adrg/") + relative); }

class AdrgFiles : public ::testing::Test {
protected:
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    tarntest::TempDir m_dir;
    ~AdrgFiles() override { m_manager->release(); }
};

// GDAL's values and placing of: the shared sample, the second image of the
// two-image sample (its GEN counts one GIN record), and two rectangles that
// GDAL's own writer made.
TEST_F(AdrgFiles, ImagesAreAdmittedByAdrgAndEqualGdal) {
    const struct { std::string path; const char* expected; bool sample; } cases[] = {
        {sample("SMALL_ADRG/ABCDEF01.IMG"), "SMALL_ADRG.txt", true},
        {sample("subdataset/XXXXXX02.IMG"), "subdataset-02.txt", true},
        {tarntest::unpacked_path("adrg/gdal-384x256/ABCDEF01.IMG"), "gdal-384x256.txt", false},
        {tarntest::unpacked_path("adrg/gdal-128x128/ABCDEF01.IMG"), "gdal-128x128.txt", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.expected);
        if (c.sample && !tarntest::samples_present()) continue;
        const Expected e = read_expected(c.expected);
        ASSERT_EQ(e.hashes.size(), size_t(e.rows));
        std::vector<char> resolved(TARN_PATH_MAX);
        int type = -1;
        ASSERT_EQ(get_image_type_from_name(c.path.c_str(), resolved.data(), &type), 1);
        char keyword[64] = {};
        ASSERT_GT(II_GetUDFKeyword(uint32_t(type), keyword, sizeof keyword), 0);
        EXPECT_STREQ(keyword, "ArcDRG");

        UDFHeader h;
        memset(&h, 0, sizeof h);
        ASSERT_EQ(ADRG_open(c.path.c_str(), 0, 0, 0, 0, &h), 0);
        EXPECT_EQ(std::vector<int>({h.rows, h.columns, h.nbands, h.depth}),
                  std::vector<int>({e.rows, e.columns, 3, 8}));
        EXPECT_NEAR(h.origin_x, e.origin_x, 1e-12);
        EXPECT_NEAR(h.origin_y, e.origin_y, 1e-12);
        EXPECT_NEAR(h.pixel_x, e.pixel_x, 1e-12);
        EXPECT_NEAR(h.pixel_y, e.pixel_y, 1e-12);
        ADRG_close(&h);
        EXPECT_EQ(h.priv, nullptr);

        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        ASSERT_EQ(open_image_channel(image, c.path.c_str(), 'r', type, 0), 1);
        EXPECT_EQ(std::vector<int>({image_rows(image), image_columns(image)}), std::vector<int>({e.rows, e.columns}));
        const size_t width = size_t(e.columns);
        std::vector<uint32_t> row(width * 3);
        std::vector<uint8_t> bytes(width);
        for (int y = 0; y < e.rows; ++y) {
            if (get_image_row(image, y, row.data(), int(row.size())) != 1) {
                ADD_FAILURE() << "row " << y << " failed";
                break;
            }
            for (int b = 0; b < 3; ++b) {
                for (size_t x = 0; x < width; ++x) bytes[x] = uint8_t(row[b * width + x]);
                EXPECT_EQ(fnv(bytes.data(), width), e.hashes[size_t(y)][size_t(b)]) << "row " << y << " band " << b;
            }
        }
        close_image_channel(image, 'r');
    }
}

TEST_F(AdrgFiles, PolarZoneHasSquarePixelsOfTheEarthOverBrv) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    // The GEN's BRV of the polar sample: 8 characters behind ARV in its GIN record.
    UDFHeader h;
    memset(&h, 0, sizeof h);
    ASSERT_EQ(ADRG_open(sample("SMALL_ADRG_ZNA9/ABCDEF01.IMG").c_str(), 0, 0, 0, 0, &h), 0);
    EXPECT_GT(h.rows, 0);
    EXPECT_EQ(h.pixel_x, h.pixel_y);
    EXPECT_GT(h.pixel_x, 1.0);  // metres, not degrees
    std::vector<uint8_t> row(size_t(h.columns) * 3);
    EXPECT_EQ(ADRG_getrow(0, row.data(), &h), 0);
    ADRG_close(&h);
}

TEST_F(AdrgFiles, ImageTheGenDoesNotListOpensAsZeroByZero) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    m_dir.copy_in(sample("SMALL_ADRG/ABCDEF01.GEN"), "ABCDEF01.GEN");
    const std::string img = m_dir.copy_in(sample("SMALL_ADRG/ABCDEF01.IMG"), "ABCDEF02.IMG");
    char out[TARN_PATH_MAX];
    EXPECT_GT(ADRG_exist(img.c_str(), out, nullptr), 0);
    UDFHeader h;
    memset(&h, 0, sizeof h);
    ASSERT_EQ(ADRG_open(img.c_str(), 0, 0, 0, 0, &h), 0);
    EXPECT_EQ(std::vector<int>({h.rows, h.columns}), std::vector<int>({0, 0}));
    uint8_t row[3 * 128];
    EXPECT_EQ(ADRG_getrow(0, row, &h), -1);
    ADRG_close(&h);
}

TEST_F(AdrgFiles, CompanionNamesAndForwardOnlyRows) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    char out[TARN_PATH_MAX];
    EXPECT_EQ(ADRG_exist((m_dir.path() + "/NOGEN01.IMG").c_str(), out, nullptr), 0);
    EXPECT_EQ(ADRG_exist((m_dir.path() + "/x.tif").c_str(), out, nullptr), 0);
    UDFHeader h;
    memset(&h, 0, sizeof h);
    EXPECT_EQ(ADRG_open((m_dir.path() + "/NOGEN01.IMG").c_str(), 0, 0, 0, 0, &h), -1);
    // One band selected: the plane of band 2 alone, equal to GDAL's band 2.
    const Expected e = read_expected();
    ASSERT_EQ(ADRG_open(sample("SMALL_ADRG/ABCDEF01.IMG").c_str(), 2, 0, 0, 0, &h), 0);
    std::vector<uint8_t> row(128 * 3);
    ASSERT_EQ(ADRG_getrow(5, row.data(), &h), 0);
    EXPECT_EQ(fnv(row.data(), 128), e.hashes[5][1]);
    ASSERT_EQ(ADRG_getrow(100, row.data(), &h), 0);
    EXPECT_EQ(fnv(row.data(), 128), e.hashes[100][1]);
    EXPECT_EQ(ADRG_getrow(4, row.data(), &h), 0) << "rows of the tile row in memory stay readable";
    EXPECT_EQ(ADRG_getrow(128, row.data(), &h), -1);
    EXPECT_EQ(ADRG_getrow(-1, row.data(), &h), -1);
    ADRG_close(&h);
}

TEST_F(AdrgFiles, HandMadeRectangleAbsentTilesAreBlankAndRowsGoForwardOnly) {
    write_rectangle(m_dir);
    const std::string img = m_dir.file("TESTAA01.IMG");
    UDFHeader h;
    memset(&h, 0, sizeof h);
    ASSERT_EQ(ADRG_open(img.c_str(), 0, 0, 0, 0, &h), 0);
    ASSERT_EQ(std::vector<int>({h.rows, h.columns, h.nbands}), std::vector<int>({256, 256, 3}));
    EXPECT_NEAR(h.origin_x, 10.0, 1e-12);
    EXPECT_NEAR(h.origin_y, 45.0, 1e-12);
    EXPECT_NEAR(h.pixel_x, 360.0 / 46067, 1e-15);
    EXPECT_NEAR(h.pixel_y, 0.01, 1e-15);
    std::vector<uint8_t> row(256 * 3);
    for (int y : {0, 5, 127, 128, 200, 255}) {
        ASSERT_EQ(ADRG_getrow(y, row.data(), &h), 0) << y;
        for (int b = 0; b < 3; ++b)
            EXPECT_EQ(std::vector<uint8_t>(row.begin() + b * 256, row.begin() + (b + 1) * 256), rectangle_row(y, b))
                << "row " << y << " band " << b;
    }
    EXPECT_EQ(ADRG_getrow(127, row.data(), &h), -1) << "a tile row once passed is gone";
    ADRG_close(&h);

    // One band, and a first row in the second tile row: the first is skipped
    // by its one present tile.
    ASSERT_EQ(ADRG_open(img.c_str(), 3, 0, 0, 0, &h), 0);
    ASSERT_EQ(ADRG_getrow(130, row.data(), &h), 0);
    EXPECT_EQ(std::vector<uint8_t>(row.begin(), row.begin() + 256), rectangle_row(130, 2));
    ADRG_close(&h);
}

}  // namespace
