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

Expected read_expected() {
    Expected e;
    std::ifstream in(tarntest::data_path("adrg/SMALL_ADRG.txt"));
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

std::string sample(const char* relative) { return tarntest::sample_path(std::string("adrg/") + relative); }

class AdrgFiles : public ::testing::Test {
protected:
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    tarntest::TempDir m_dir;
    ~AdrgFiles() override { m_manager->release(); }
};

TEST_F(AdrgFiles, SampleIsAdmittedByAdrgAndEqualsGdal) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const Expected e = read_expected();
    ASSERT_EQ(e.hashes.size(), 128u);
    const std::string path = sample("SMALL_ADRG/ABCDEF01.IMG");
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    ASSERT_EQ(get_image_type_from_name(path.c_str(), resolved.data(), &type), 1);
    char keyword[64] = {};
    ASSERT_GT(II_GetUDFKeyword(uint32_t(type), keyword, sizeof keyword), 0);
    EXPECT_STREQ(keyword, "ArcDRG");
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
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

TEST_F(AdrgFiles, HeaderGeoreferenceIsGdals) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const Expected e = read_expected();
    UDFHeader h;
    memset(&h, 0, sizeof h);
    ASSERT_EQ(ADRG_open(sample("SMALL_ADRG/ABCDEF01.IMG").c_str(), 0, 0, 0, 0, &h), 0);
    EXPECT_EQ(std::vector<int>({h.rows, h.columns, h.nbands, h.depth}), std::vector<int>({128, 128, 3, 8}));
    EXPECT_NEAR(h.origin_x, e.origin_x, 1e-12);
    EXPECT_NEAR(h.origin_y, e.origin_y, 1e-12);
    EXPECT_NEAR(h.pixel_x, e.pixel_x, 1e-12);
    EXPECT_NEAR(h.pixel_y, e.pixel_y, 1e-12);
    ADRG_close(&h);
    EXPECT_EQ(h.priv, nullptr);
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

}  // namespace
