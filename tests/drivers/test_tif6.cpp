// TIFF driver on the conformance harness: files written by GDAL under each
// compression, layout and photometric kind (make_tiff.sh) against libtiff's
// RGBA decode, broken files, shared samples; then what is the format's own:
// the georeference, the samples that are refused, and quiet probing.

#include <gtest/gtest.h>
#include <tarnimage/properties.h>
#include <tarnimage/tarnimage.h>

#include <dirent.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "channel/identify.h"
#include "conformance.h"
#include "test_support.h"
#include "udf/udf.h"

extern "C" int fuzz_tif6_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;

// A classic little-endian header whose first directory lies at `offset`.
Bytes header_only(uint32_t offset, size_t pad) {
    Bytes b = {'I', 'I', 42, 0, uint8_t(offset), uint8_t(offset >> 8), uint8_t(offset >> 16), uint8_t(offset >> 24)};
    b.resize(b.size() + pad, 0);
    return b;
}

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".tif";
        s.type = tarntest::kByIdentification;
        s.fuzz = fuzz_tif6_one_input;
        // Grey kinds deliver one plane; palette, RGB, CMYK and YCbCr three.
        const struct { const char* name; int bands; } rows[] = {
            {"grey-none-strips5", 1},  {"grey-lzw", 1},          {"grey-deflate", 1},
            {"grey-packbits", 1},      {"grey-zstd", 1},         {"grey-lzma", 1},
            {"grey-jpeg-tiled16", 1},  {"grey-lzw-tiled16", 1},  {"grey-lzw-predictor2", 1},
            {"grey-bigendian", 1},     {"bilevel-none", 1},      {"bilevel-ccitt3", 1},
            {"bilevel-ccitt4", 1},     {"bilevel-miniswhite", 1}, {"grey-2bit", 1},
            {"grey-4bit-tiled16", 1},  {"rgb-pixel-lzw", 3},     {"rgb-band-strips3", 3},
            {"rgb-band-tiled16", 3},   {"rgb-pixel-tiled16-bigendian", 3}, {"rgb-ycbcr-jpeg", 3},
            {"rgb-16bit", 3},          {"rgb-16bit-band", 3},    {"rgba-unassociated", 3},
            {"rgba-associated", 3},    {"cmyk", 3},              {"palette-8bit", 3},
            {"palette-4bit", 3},       {"geo-point", 1},         {"geo-area", 1},
            {"geo-worldtag", 1},
        };
        for (const auto& r : rows) {
            const std::string base = "tiff/" + std::string(r.name);
            s.fixtures.push_back({base + ".tif", base + (r.bands == 1 ? ".pgm" : ".ppm"), 37, 23, r.bands, 8, 0,
                                  r.bands == 3 ? 1 : -1, {}});
        }
        s.windows = {
            {"tiff/grey-lzw-tiled16.tif", 1, 17, 36, 5, 3},
            {"tiff/rgb-band-tiled16.tif", 2, 15, 33, 16, 1},
            {"tiff/rgb-ycbcr-jpeg.tif", 3, 0, 20, 7, 2},
        };
        s.broken = {
            {"header with no directory", header_only(8, 0), -1, -1, {}, -1},
            {"directory past the end", header_only(4096, 8), -1, -1, {}, -1},
            {"not a TIFF at all", Bytes{'I', 'I', 0, 42, 1, 2, 3, 4}, -1, -1, {}, -1},
        };
        // Hashes of libtiff's RGBA decode (tiff2rgba); rgb-3c-16b.tiff is
        // GDAL's samples, high byte.
        s.samples = {
            {"tiff/byte.tif", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"tiff/byte_JPEG_tiled.tif", 20, 20, 1, 8, 1, 0xf794233du},
            {"tiff/byte_LZW_tiled.tif", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"tiff/byte_LZW_predictor_2.tif", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"tiff/byte_nogeoref.tif", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"tiff/geomatrix.tif", 20, 20, 1, 8, 1, 0x06e289e5u},
            {"tiff/utmsmall.tif", 100, 100, 1, 8, 1, 0x04084f6du},
            {"tiff/miniswhite-1c-1b.tiff", 151, 157, 1, 8, 1, 0x888abcfcu},
            {"tiff/palette-1c-4b.tiff", 151, 157, 3, 8, 1, 0xd3ea50c6u},
            {"tiff/rgb-3c-16b.tiff", 151, 157, 3, 8, 1, 0x89f0bcbbu},
            {"tiff/rgba.tif", 20, 20, 3, 8, 1, 0x68075335u},
            {"tiff/rgbsmall.tif", 50, 50, 3, 8, 1, 0x2b14fa41u},
            {"tiff/rgbsmall_cmyk.tif", 50, 50, 3, 8, 1, 0x14f056d4u},
            {"tiff/sasha.tif", 420, 560, 3, 8, 1, 0xe97c5537u},
            {"tiff/separate_tiled.tif", 37, 35, 3, 8, 1, 0x35d45cf2u},
            {"tiff/seperate_strip.tif", 37, 35, 3, 8, 1, 0x35d45cf2u},
            {"tiff/small_world_pct.tif", 200, 400, 3, 8, 1, 0x108e2075u},
            {"tiff/ycbcr_22_lzw.tif", 39, 39, 3, 8, 1, 0x10f6aba9u},
        };
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(Tif6, suite())

int identified(const std::string& path) {
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    get_image_type_from_name(path.c_str(), resolved.data(), &type);
    return type;
}

// The header's transform: x pixel size, 0, 0, y pixel size, origin x, origin y.
std::vector<double> header_trans(const std::string& path) {
    double t[6] = {-9, -9, -9, -9, -9, -9};
    EXPECT_EQ(read_UDF_header_trans(path.c_str(), identified(path), t), 0);
    return std::vector<double>(t, t + 6);
}

TEST(Tif6Georeference, HeaderTransform) {
    IInternalImageManager* manager = getManager();
    // geo-point's tie point is the first pixel's centre, (1001, 1999) as
    // tiffinfo shows it; geo-area's corner (1000, 2000) moves half a pixel.
    const struct { std::string file; std::vector<double> want; } cases[] = {
        {"tiff/geo-area.tif", {2, 0, 0, -2, 1001, 1999}},
        {"tiff/geo-point.tif", {2, 0, 0, -2, 1001, 1999}},
        {"tiff/geo-worldtag.tif", {2.5, 0, 0, -2.5, 5000.25, 7000.75}},
        {"tiff/grey-lzw.tif", {1, 0, 0, -1, 0, 22}},  // none: row 0 at y = length - 1
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        EXPECT_EQ(header_trans(tarntest::data_path(c.file)), c.want);
    }
    manager->release();
}

TEST(Tif6Georeference, Samples) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    IInternalImageManager* manager = getManager();
    // GDAL's origin plus half a pixel for the PixelIsArea files; the matrix
    // of geomatrix.tif keeps its rotation terms.
    const struct { std::string file; std::vector<double> want; } cases[] = {
        {"tiff/byte.tif", {60, 0, 0, -60, 440750, 3751290}},
        {"tiff/utmsmall.tif", {60, 0, 0, -60, 440750, 3751290}},
        // GDAL: (1841001.75, 1.5, -5, 1144003.25, -5, -1.5), moved by GDAL half
        // a pixel from the PixelIsPoint matrix, which places the first centre.
        {"tiff/geomatrix.tif", {1.5, -5, -5, -1.5, 1841000, 1144000}},
        {"tiff/byte_nogeoref.tif", {1, 0, 0, -1, 0, 19}},  // its world file is the channel's to read
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        EXPECT_EQ(header_trans(tarntest::sample_path(c.file)), c.want);
    }
    manager->release();
}

TEST(Tif6Samples, RefusedOnes) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    IInternalImageManager* manager = getManager();
    // 32-bit floats fail the acceptance test; old-style JPEG is not read; 16-bit
    // grey is accepted but has no put function, so its open fails.
    EXPECT_EQ(identified(tarntest::sample_path("tiff/float32.tif")), -1);
    EXPECT_EQ(identified(tarntest::sample_path("tiff/zackthecat.tif")), -1);
    const std::string int16 = tarntest::sample_path("tiff/int16_big_endian.tif");
    const int type = identified(int16);
    EXPECT_GT(type, 1000);
    int rows, columns, bands, depth;
    EXPECT_EQ(get_image_info(type, int16.c_str(), &rows, &columns, &bands, &depth), -1);
    manager->release();
}

TEST(Tif6Samples, ProbingPrintsNothing) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    IInternalImageManager* manager = getManager();
    const std::string root = tarntest::sample_path("");
    testing::internal::CaptureStderr();
    if (DIR* top = opendir(root.c_str())) {
        while (dirent* folder = readdir(top)) {
            if (folder->d_name[0] == '.') continue;
            if (DIR* dir = opendir((root + "/" + folder->d_name).c_str())) {
                while (dirent* file = readdir(dir)) {
                    if (file->d_name[0] == '.') continue;
                    const std::string path = root + "/" + folder->d_name + "/" + file->d_name;
                    const int type = identified(path);
                    int rows, columns, bands, depth;
                    if (type > 1000) get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth);
                }
                closedir(dir);
            }
        }
        closedir(top);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    manager->release();
}

}  // namespace
