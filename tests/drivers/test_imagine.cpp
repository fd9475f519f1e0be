// The IMAGINE driver on the conformance harness: GDAL-written fixtures
// (tests/data/make_imagine.py) with GDAL's decode, and the shared samples
// with hashes of GDAL's values; then what only this driver does: the scaling
// fields, the all-layers open of a 40-layer file, the georeference.

#include <gtest/gtest.h>
#include <tarnimage/channel.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>
#include <string.h>

#include <sstream>
#include <string>
#include <vector>

#include "channel/identify.h"
#include "conformance.h"
#include "test_support.h"
#include "udf/udf.h"

extern "C" int fuzz_imagine_one_input(const uint8_t* data, size_t size);
extern "C" {
int IMGN_open(const char* name, int band, int red, int green, int blue, UDFHeader* header);
int IMGN_close(UDFHeader* header);
int IMGN_getrow(int row, void* buffer, UDFHeader* header);
}

namespace {

using tarntest::kByIdentification;

tarntest::DriverSuite suite() {
    tarntest::DriverSuite s;
    s.suffix = ".img";
    s.type = kByIdentification;
    s.fuzz = fuzz_imagine_one_input;
    if (!TARN_WITH_IMAGINE) return s;
    const struct { const char* name; const char* ref; int width, height, bands, depth, colours, multi; } rows[] = {
        {"u8-stats-7x5", "pgm", 7, 5, 1, 8, 0, -1},      {"rle-u8-70x3", "pgm", 70, 3, 1, 8, 0, -1},
        {"nbits1-9x4", "pgm", 9, 4, 1, 8, 0, -1},        {"nbits2-9x4", "pgm", 9, 4, 1, 8, 0, -1},
        {"nbits4-9x4", "pgm", 9, 4, 1, 8, 0, -1},
        {"rgb-6x4", "ppm", 6, 4, 3, 8, 0, 1},            {"palette-7x5", "ppm", 7, 5, 1, 8, 5, -1},
    };
    for (const auto& r : rows) {
        const std::string stem = std::string("imagine/") + r.name;
        s.fixtures.push_back({stem + ".img", stem + "." + r.ref, r.width, r.height, r.bands, r.depth, r.colours,
                              r.multi, {}});
    }
    s.fixtures.push_back({"imagine/spill-6x4.img", "imagine/spill-6x4.pgm", 6, 4, 1, 8, 0, -1,
                          {"imagine/spill-6x4.ige"}});
    return s;
}

// The checks of the harness that hold for a registered driver; the others
// expect the built-in drivers' property answers (1, not 0) and display path.
TEST(ImagineConformance, DirectoryListsEachFixture) {
    if (!TARN_WITH_IMAGINE) GTEST_SKIP() << "built without the IMAGINE driver";
    tarntest::check_listing(suite());
}
TEST(ImagineConformance, FuzzEntryOverFixturesAndBrokenFiles) { tarntest::check_fuzz(suite()); }

// Raw rows through identification and the channel equal GDAL's decode.
TEST(ImagineConformance, ChannelRowsEqualTheReference) {
    if (!TARN_WITH_IMAGINE) GTEST_SKIP() << "built without the IMAGINE driver";
    IInternalImageManager* manager = getManager();
    for (const tarntest::DriverFixture& f : suite().fixtures) {
        SCOPED_TRACE(f.file);
        tarntest::TempDir dir;
        for (const std::string& c : f.companions) dir.copy_in(tarntest::data_path(c), c.substr(c.rfind('/') + 1));
        const std::string path = dir.copy_in(tarntest::data_path(f.file), f.file.substr(f.file.rfind('/') + 1));
        const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path(f.reference));
        std::vector<char> resolved(TARN_PATH_MAX);
        int type = -1;
        ASSERT_EQ(get_image_type_from_name(path.c_str(), resolved.data(), &type), 1);
        ASSERT_GT(type, 1000);
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
        EXPECT_EQ(std::vector<int>({image_rows(image), image_columns(image), image_nbands(image)}),
                  std::vector<int>({f.height, f.width, f.bands}));
        std::vector<uint32_t> row(size_t(f.width) * 3);
        for (int y = 0; y < f.height; ++y) {
            ASSERT_EQ(get_image_row(image, y, row.data(), int(row.size())), 1) << y;
            for (int b = 0; b < f.bands; ++b)
                for (int x = 0; x < f.width; ++x) {
                    if (f.colours) {
                        // Values are indices; the PPM shows their colours.
                        unsigned char px[4];
                        ref.rgba(x, y, px);
                        const uint8_t want[5][3] = {{0, 0, 0}, {255, 0, 0}, {0, 128, 0}, {10, 20, 250}, {200, 200, 7}};
                        ASSERT_LT(row[x], 5u);
                        EXPECT_EQ(memcmp(want[row[x]], px, 3), 0) << x << "," << y;
                    } else {
                        EXPECT_EQ(int(row[size_t(b) * f.width + x]), ref.at(x, y, b)) << x << "," << y << " band " << b;
                    }
                }
        }
        EXPECT_EQ(close_image_channel(image, 'r'), 1);  // frees the record too
    }
    manager->release();
}

// The shared samples: sizes, and FNV-1a hashes of GDAL's values (pixel by
// pixel, bands interleaved, floats as bit patterns) from make_imagine.py.
TEST(ImagineConformance, SharedSamples) {
    if (!TARN_WITH_IMAGINE) GTEST_SKIP() << "built without the IMAGINE driver";
    const struct { const char* file; int rows, columns, depth; uint32_t hash; } samples[] = {
        {"imagine/2bit_compressed.img", 80, 80, 8, 0x784eb49fu}, {"imagine/byte.img", 20, 20, 8, 0x06e289e5u},
        {"imagine/float32.img", 20, 20, 32, 0x22d66705u},        {"imagine/i8u_c_i.img", 250, 233, 8, 0xe4e99eccu},
        {"imagine/small1bit.img", 300, 300, 8, 0xc3ffb032u},     {"imagine/spill.img", 15, 10, 8, 0xa9974b75u},
        {"imagine/uint16.img", 20, 20, 16, 0x06e289e5u},         {"imagine/utmsmall.img", 100, 100, 8, 0x04084f6du},
    };
    const std::string probe = tarntest::sample_path("imagine/byte.img");
    if (FILE* f = fopen(probe.c_str(), "rb")) {
        fclose(f);
    } else {
        GTEST_SKIP() << "no shared sample folder";
    }
    IInternalImageManager* manager = getManager();
    for (const auto& s : samples) {
        SCOPED_TRACE(s.file);
        const std::string path = tarntest::sample_path(s.file);
        std::vector<char> resolved(TARN_PATH_MAX);
        int type = -1;
        ASSERT_EQ(get_image_type_from_name(path.c_str(), resolved.data(), &type), 1);
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
        EXPECT_EQ(std::vector<int>({image_rows(image), image_columns(image), image_nbands(image), image->depth}),
                  std::vector<int>({s.rows, s.columns, 1, s.depth}));
        std::vector<uint32_t> row(size_t(s.columns));
        uint32_t hash = 2166136261u;
        for (int y = 0; y < s.rows; ++y) {
            ASSERT_EQ(get_image_row(image, y, row.data(), int(row.size())), 1) << y;
            for (int x = 0; x < s.columns; ++x) hash = (hash ^ row[x]) * 16777619u;
        }
        EXPECT_EQ(hash, s.hash);
        EXPECT_EQ(close_image_channel(image, 'r'), 1);  // frees the record too
    }
    manager->release();
}

class ImagineDriver : public ::testing::Test {
protected:
    void SetUp() override {
        if (!TARN_WITH_IMAGINE) GTEST_SKIP() << "built without the IMAGINE driver";
        m_manager = getManager();
    }
    void TearDown() override {
        if (m_manager) m_manager->release();
    }
    IInternalImageManager* m_manager = nullptr;
};

TEST_F(ImagineDriver, SubByteLayersTopTheirRangeAtTwoToTheBits) {
    const struct { const char* file; int data_max; } cases[] = {
        {"imagine/nbits1-9x4.img", 2}, {"imagine/nbits2-9x4.img", 4}, {"imagine/nbits4-9x4.img", 16}};
    for (const auto& c : cases) {
        UDFHeader h;
        ASSERT_EQ(IMGN_open(tarntest::data_path(c.file).c_str(), 1, 0, 0, 0, &h), 0) << c.file;
        EXPECT_EQ(h.depth, 8);
        EXPECT_EQ(h.data_max, c.data_max) << c.file;
        IMGN_close(&h);
        EXPECT_EQ(h.priv, nullptr);
    }
}

TEST_F(ImagineDriver, ScalingFollowsTheStatistics) {
    // u16-stats-7x5: GDAL's statistics give a mean and a deviation whose two-
    // deviation span reaches below 0; the fields are checked for their shape.
    UDFHeader h;
    ASSERT_EQ(IMGN_open(tarntest::data_path("imagine/u16-stats-7x5.img").c_str(), 1, 0, 0, 0, &h), 0);
    EXPECT_EQ(h.depth, 16);
    EXPECT_LT(h.data_min, h.data_max);
    EXPECT_LE(h.data_max, 65535);
    EXPECT_DOUBLE_EQ(h.scale, 255.0 / (double(h.data_max) - h.data_min));
    IMGN_close(&h);
    // Three layers fill the per-plane fields instead.
    ASSERT_EQ(IMGN_open(tarntest::data_path("imagine/rgb-6x4.img").c_str(), 0, 3, 2, 1, &h), 0);
    EXPECT_EQ(h.nbands, 3);
    for (int k = 0; k < 3; ++k) EXPECT_GT(h.band_scale[k], 0) << k;
    EXPECT_EQ(h.scale, 0);
    IMGN_close(&h);
}

TEST_F(ImagineDriver, FortyLayersOpenWholeWithThirtyRead) {
    const std::string path = tarntest::data_path("imagine/layers40-3x2.img");
    const tarntest::Bytes values = tarntest::read_file(tarntest::data_path("imagine/layers40-3x2.values"));
    UDFHeader h;
    ASSERT_EQ(IMGN_open(path.c_str(), 0, 0, 0, 0, &h), 0);
    EXPECT_EQ(h.nbands, 40);
    EXPECT_EQ(h.columns, 3);
    // Exactly one row of every band, as the channel allocates it: a write past
    // it is caught by AddressSanitizer.
    std::vector<uint8_t>* row = new std::vector<uint8_t>(size_t(h.nbands) * h.columns, 0xAB);
    ASSERT_EQ(IMGN_getrow(1, row->data(), &h), 0);
    // The first 30 layers are those GDAL reads; the rest are not delivered.
    std::string text(values.begin(), values.end());
    std::istringstream in(text);
    int w, ht, b;
    in >> w >> ht >> b;
    std::vector<int> want(size_t(b) * w * ht);
    for (int& v : want) in >> v;
    for (int k = 0; k < 40; ++k)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ((*row)[size_t(k) * 3 + x], k < 30 ? want[(size_t(1) * b + k) * w + x] : 0xAB) << k << "," << x;
    delete row;
    EXPECT_EQ(IMGN_getrow(2, nullptr, &h), -1);
    IMGN_close(&h);
    EXPECT_LT(IMGN_open(path.c_str(), 41, 0, 0, 0, &h), 0);
    EXPECT_LT(IMGN_open(path.c_str(), 0, 1, 2, 41, &h), 0);
}

TEST_F(ImagineDriver, GeoreferenceIsTheUpperLeftCentre) {
    // GDAL gives the corner (1000, 2000) and 10 by 10 pixels.
    UDFHeader h;
    ASSERT_EQ(IMGN_open(tarntest::data_path("imagine/u8-stats-7x5.img").c_str(), 1, 0, 0, 0, &h), 0);
    EXPECT_EQ(std::vector<double>({h.origin_x, h.origin_y, h.pixel_x, h.pixel_y}),
              std::vector<double>({1005, 1995, 10, 10}));
    IMGN_close(&h);
    // Without map information: origin 0 and the last row, pixels 1 by 1.
    ASSERT_EQ(IMGN_open(tarntest::data_path("imagine/s8-7x5.img").c_str(), 1, 0, 0, 0, &h), 0);
    EXPECT_EQ(std::vector<double>({h.origin_x, h.origin_y, h.pixel_x, h.pixel_y}),
              std::vector<double>({0, 4, 1, 1}));
    IMGN_close(&h);
}

TEST_F(ImagineDriver, PaletteBecomesBytes) {
    UDFHeader h;
    ASSERT_EQ(IMGN_open(tarntest::data_path("imagine/palette-7x5.img").c_str(), 1, 0, 0, 0, &h), 0);
    ASSERT_EQ(h.ncolors, 5);
    EXPECT_EQ(h.high_index, 5);
    // The colours make_imagine.py gave GDAL.
    const uint8_t want[5][3] = {{0, 0, 0}, {255, 0, 0}, {0, 128, 0}, {10, 20, 250}, {200, 200, 7}};
    for (int k = 0; k < 5; ++k)
        EXPECT_EQ(std::vector<int>({h.red[k], h.green[k], h.blue[k]}),
                  std::vector<int>({want[k][0], want[k][1], want[k][2]})) << k;
    IMGN_close(&h);
}

}  // namespace
