// The type-7 TIFF strip reader. Identification never gives the code, so the
// files are opened with it explicitly rather than through the conformance
// harness: GDAL-written RGB strips and an ImageMagick fill-order-2 file must
// read as GDAL decodes them (make_tifflib.sh); the kinds the reader refuses
// fail quietly; the property readers and the header georeference are held
// against tiffinfo's listing of the tags under the placement rules.

#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/window.h"
#include "channel/world.h"
#include "drivers/builtin/tiff.h"
#include "test_support.h"
#include <tarnimage/messages.h>
#include <tarnimage/properties.h>
#include <tarnimage/tarn_file.h>
#include <tarnimage/tifflib.h>

namespace {

using Bytes = std::vector<unsigned char>;
using tarntest::Pnm;

constexpr int kTiff = 7;

// A three-band type-7 open, closed with the object.
struct Multi {
    Image image;
    int opened = -1;
    Multi(const std::string& path, int r, int g, int b, int display = 0) {
        memset(&image, 0, sizeof image);
        char empty[1] = {0};
        opened = multi_image_open(&image, path.c_str(), kTiff, r, g, b, display, empty, empty);
        if (opened == 1 && (image_row_map(&image, kTiff, 0, image.columns - 1, 0, image.rows - 1) != 1 ||
                            initialize_row_IO(&image) == -1 || allocate_multi_internal_buffers(&image) != 1))
            opened = -2;
    }
    ~Multi() {
        free_multi_buffers(&image);
        multi_image_close(&image);
    }
    Multi(const Multi&) = delete;
    Multi& operator=(const Multi&) = delete;
    int row(int y) { return image.get_row(&image, y); }
    // Row y of the last read against the reference's channels in `order`.
    bool equals(const Pnm& ref, int y, const int order[3]) const {
        for (int k = 0; k < 3; ++k)
            for (int x = 0; x < ref.width; ++x)
                if (image.mrow8[k][x] != ref.at(x, y, order[k])) return false;
        return true;
    }
};

const int kRgb[3] = {0, 1, 2};

struct Fixture {
    const char* name;
    int rows_ok;  // rows from the top that equal GDAL's; the rest answer -1
};

// All 20 rows, but: a planar-2 file whose last strip is partial (rows 18 and
// 19) lays its planes one full strip apart, past what the strip holds; a
// two-strip file whose SHORT byte counts differ (864 and 576) takes them high
// half first, so strip 0 is read with 576 bytes (its rows 8 to 11 lie past
// them) and strip 1 with 864, which runs past the end of the file.
const Fixture kFixtures[] = {
    {"rgb-none-strips4", 20},         {"rgb-none-onestrip", 20},
    {"rgb-none-strips10", 20},        {"rgb-packbits-strips5", 20},
    {"rgb-packbits-strips10", 20},    {"rgb-band-strips4", 20},
    {"rgb-band-packbits-strips10", 20}, {"rgb-bigendian-strips4", 20},
    {"rgb-bigendian-band-packbits", 20}, {"rgb-fillorder2", 20},
    {"rgb-band-strips6", 18},         {"rgb-none-strips12", 8},
    {"written-rgb", 4},
};

std::string fixture(const std::string& name) { return tarntest::data_path("tifflib/" + name + ".tif"); }

TEST(TiffStrips, RowsEqualGdal) {
    for (const Fixture& f : kFixtures) {
        SCOPED_TRACE(f.name);
        const Pnm ref = tarntest::read_pnm(tarntest::data_path(std::string("tifflib/") + f.name + ".ppm"));
        Multi m(fixture(f.name), 1, 2, 3);
        ASSERT_EQ(m.opened, 1);
        EXPECT_EQ(std::vector<int>({m.image.rows, m.image.columns, m.image.nbands, m.image.depth}),
                  (std::vector<int>{ref.height, ref.width, 3, 8}));
        for (int y = 0; y < ref.height; ++y) {
            if (y < f.rows_ok) {
                ASSERT_EQ(m.row(y), 0) << y;
                EXPECT_TRUE(m.equals(ref, y, kRgb)) << "row " << y;
            } else {
                EXPECT_EQ(m.row(y), -1) << y;
            }
        }
    }
}

// A SHORT pair of byte counts in the value field is taken high half first:
// in a little-endian file that is the second strip's count.
TEST(TiffStrips, TwoStripShortCountsTakenHighFirst) {
    const struct { const char* name; unsigned first, second; } cases[] = {
        {"rgb-none-strips12", 576, 864}, {"rgb-none-strips10", 720, 720}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Multi m(fixture(c.name), 1, 2, 3);
        ASSERT_EQ(m.opened, 1);
        TifHeader h;
        ASSERT_EQ(rdhdr_TIFF(&m.image, &h), 0);
        ASSERT_EQ(h.byte_count_count, 2u);
        EXPECT_EQ(std::vector<unsigned>({h.byte_counts[0], h.byte_counts[1]}), (std::vector<unsigned>{c.first, c.second}));
    }
}

TEST(TiffStrips, BandOrderAndDirectResampling) {
    const Pnm ref = tarntest::read_pnm(tarntest::data_path("tifflib/rgb-band-strips4.ppm"));
    const int bgr[3] = {2, 1, 0};
    // Planar 2 read for data takes every plane in file order, whatever bands were asked.
    const struct { const char* name; int display; const int* order; } cases[] = {
        {"rgb-none-strips4", 0, bgr}, {"rgb-none-strips4", 1, bgr}, {"rgb-band-strips4", 1, bgr},
        {"rgb-band-strips4", 0, kRgb}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " display " + std::to_string(c.display));
        Multi m(fixture(c.name), 3, 2, 1, c.display);
        ASSERT_EQ(m.opened, 1);
        for (int y = 0; y < 20; ++y) ASSERT_TRUE(m.row(y) == 0 && m.equals(ref, y, c.order)) << y;
    }
    // Display opens resample as they unpack: every second column at zoom 1/2.
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    ASSERT_EQ(multi_image_open(&image, fixture("rgb-packbits-strips5").c_str(), kTiff, 1, 2, 3, 1, empty, empty), 1);
    float zoom_x = 0.5f, zoom_y = 0.5f, origin_x = -0.5f, origin_y = -0.5f;
    ASSERT_EQ(image_window_map(&image, kTiff, 0, 0, 12, 10, &zoom_x, &zoom_y, &origin_x, &origin_y), 1);
    initialize_row_IO(&image);
    ASSERT_EQ(allocate_multi_internal_buffers(&image), 1);
    ASSERT_EQ(allocate_multi_graphic_buffers(&image, 's'), 1);
    ASSERT_NE(image.col_map, nullptr);
    ASSERT_EQ(image.get_row(&image, 6), 0);
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < image.out_cols; ++i)
            EXPECT_EQ(int(image.mgrow[k][i]), ref.at(image.first_col + image.col_map[i], 6, k)) << k << "," << i;
    free_multi_buffers(&image);
    free_multi_graphic_buffers(&image);
    multi_image_close(&image);
}

TEST(TiffStrips, RowOrder) {
    // PackBits rows are read forward only; plain rows in any order.
    const struct { const char* name; int backwards; } cases[] = {
        {"rgb-packbits-strips5", -1}, {"rgb-bigendian-band-packbits", -1}, {"rgb-none-strips4", 0}, {"rgb-band-strips4", 0}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Multi m(fixture(c.name), 1, 2, 3);
        ASSERT_EQ(m.opened, 1);
        EXPECT_EQ(m.row(12), 0);
        EXPECT_EQ(m.row(11), c.backwards);
        EXPECT_EQ(m.row(19), 0);
        EXPECT_EQ(m.row(0), c.backwards);
    }
}

// Each refused kind fails with -1 and says nothing on stderr.
TEST(TiffStrips, RefusedKinds) {
    const char* const names[] = {"rgb-lzw", "rgb-lzw-predictor2", "rgb-tiled16", "rgb-jpeg", "rgb-deflate",
                                 "rgba", "rgb-16bit"};
    for (const char* name : names) {
        SCOPED_TRACE(name);
        testing::internal::CaptureStderr();
        {
            Multi m(fixture(name), 1, 2, 3);
            EXPECT_EQ(m.opened, -1);
        }
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
    // Bands beyond the samples, or none; a one-band open has no case for the code.
    const struct { int r, g, b; } bands[] = {{1, 2, 4}, {0, 1, 2}, {1, 1, 1}};
    const int want[] = {-1, -1, 1};
    for (int i = 0; i < 3; ++i) {
        Multi m(fixture("rgb-none-strips4"), bands[i].r, bands[i].g, bands[i].b);
        EXPECT_EQ(m.opened, want[i]) << i;
    }
    Multi grey(fixture("grey-strips4"), 1, 1, 2);
    EXPECT_EQ(grey.opened, -1);
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    EXPECT_EQ(image_open(&image, fixture("rgb-none-strips4").c_str(), kTiff, 1, 0, empty, empty), -1);
    image_close(&image);
}

// The refusals with their reasons, through the host's message handler.
TEST(TiffStrips, RefusalMessages) {
    static std::vector<std::string> said;
    said.clear();
    tarn_set_message_handler([](int, const char* text, void*) { said.push_back(text); }, nullptr);
    {
        Multi tiled(fixture("rgb-tiled16"), 1, 2, 3);
        Multi wide(fixture("rgb-16bit"), 1, 2, 3);
        Multi four(fixture("rgba"), 1, 2, 3);
    }
    tarn_set_message_handler(nullptr, nullptr);
    EXPECT_EQ(said, (std::vector<std::string>{"Can't handle TIFF 6.0 Tiled Images",
                                              "Non_Standard true color image (16,16,16)",
                                              "Non_Standard true color image (8,8,8)"}));
}

// The position statics serve one image: a second open is refused until the
// first is closed.
TEST(TiffStrips, OneImageAtATime) {
    const Pnm ref = tarntest::read_pnm(tarntest::data_path("tifflib/rgb-none-strips4.ppm"));
    auto first = std::make_unique<Multi>(fixture("rgb-none-strips4"), 1, 2, 3);
    ASSERT_EQ(first->opened, 1);
    {
        Multi second(fixture("rgb-band-strips4"), 1, 2, 3);
        EXPECT_EQ(second.opened, -1);
    }
    ASSERT_EQ(first->row(5), 0);
    EXPECT_TRUE(first->equals(ref, 5, kRgb));
    first.reset();
    Multi third(fixture("rgb-band-strips4"), 1, 2, 3);
    EXPECT_EQ(third.opened, 1);
}

// Every cut of a file opens or not, and each row reads or fails: no fault.
TEST(TiffStrips, CutFilesFailCleanly) {
    tarntest::TempDir dir;
    for (const char* name : {"rgb-packbits-strips5", "rgb-bigendian-band-packbits", "rgb-fillorder2"}) {
        const Bytes whole = tarntest::read_file(fixture(name));
        for (size_t cut = 0; cut < whole.size(); cut += 7) {
            const std::string path = dir.write("cut.tif", Bytes(whole.begin(), whole.begin() + cut));
            Multi m(path, 1, 2, 3);
            if (m.opened != 1) continue;
            for (int y = 0; y < m.image.rows; ++y) {
                const int r = m.row(y);
                EXPECT_TRUE(r == 0 || r == -1);
            }
        }
    }
}

// The single-band open, which nothing in the library calls: grey, one plane
// of a planar-2 file, and a grey file without byte counts.
TEST(TiffStrips, SingleBandOpen) {
    const struct { const char* name; const char* ref; int band, mode, channel; } cases[] = {
        {"grey-strips4", "grey-strips4.pgm", 1, 0, 0},
        {"rgb-band-strips4", "rgb-band-strips4.ppm", 2, 1, 1},
        {"rgb-band-strips4", "rgb-band-strips4.ppm", 3, 1, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " band " + std::to_string(c.band));
        const Pnm ref = tarntest::read_pnm(tarntest::data_path(std::string("tifflib/") + c.ref));
        Image image;
        memset(&image, 0, sizeof image);
        reset_image(&image);
        ASSERT_EQ(open_TIFF(&image, fixture(c.name).c_str(), c.band, c.mode), 1);
        ASSERT_EQ(image_row_map(&image, kTiff, 0, image.columns - 1, 0, image.rows - 1), 1);
        initialize_row_IO(&image);
        ASSERT_EQ(allocate_internal_buffers(&image), 1);
        for (int y = 0; y < ref.height; ++y) {
            ASSERT_EQ(image.get_row(&image, y), 0);
            for (int x = 0; x < ref.width; ++x) ASSERT_EQ(image.row8[x], ref.at(x, y, c.channel)) << x << "," << y;
        }
        image_close(&image);
    }
}

TEST(TiffProperties, FromTheTags) {
    const struct { const char* name; int rows, columns, bands, depth, lzw; } cases[] = {
        {"rgb-none-strips4", 20, 24, 3, 8, 0}, {"rgb-lzw", 20, 24, 3, 8, 1}, {"rgba", 20, 24, 4, 8, 0},
        {"rgb-16bit", 20, 24, 3, 16, 0},       {"grey-strips4", 20, 24, 1, 8, 0},
        {"rgb-bigendian-strips4", 20, 24, 3, 8, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = fixture(c.name);
        int rows = -9, columns = -9, bands = -9, depth = -9;
        EXPECT_EQ(get_image_extent(kTiff, path.c_str(), &rows, &columns), 1);
        EXPECT_EQ(get_image_nbands(kTiff, path.c_str(), &bands), 1);
        EXPECT_EQ(get_image_depth(kTiff, path.c_str(), &depth), 1);
        EXPECT_EQ(std::vector<int>({rows, columns, bands, depth, is_TIFF_LZW(path.c_str())}),
                  (std::vector<int>{c.rows, c.columns, c.bands, c.depth, c.lzw}));
    }
    int rows, columns;
    EXPECT_EQ(read_TIFF_extent("/nonexistent.tif", &rows, &columns), -1);
    EXPECT_EQ(read_TIFF_extent(tarntest::data_path("tifflib/blocks.txt").c_str(), &rows, &columns), -1);
}

// What tiffinfo lists: "Tag N: a,b,c", "Resolution: x, y", "Position: x, y",
// "Image Length: n".
struct Listing {
    std::map<int, std::vector<double>> numbers;
    std::map<int, std::string> text;
    double xres = 0, yres = 0, xpos = 0, ypos = 0;
    int length = -1;
};

Listing read_listing(const std::string& path) {
    Listing l;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        int tag;
        char rest[4096];
        if (sscanf(line.c_str(), " Tag %d: %4095[^\n]", &tag, rest) == 2) {
            l.text[tag] = rest;
            std::vector<double> v;
            std::stringstream s(rest);
            std::string item;
            while (std::getline(s, item, ',')) v.push_back(strtod(item.c_str(), nullptr));
            l.numbers[tag] = v;
        }
        sscanf(line.c_str(), " Resolution: %lf, %lf", &l.xres, &l.yres);
        sscanf(line.c_str(), " Position: %lf, %lf", &l.xpos, &l.ypos);
        const size_t at = line.find("Image Length: ");
        if (at != std::string::npos) l.length = atoi(line.c_str() + at + 14);
    }
    return l;
}

// The placement rules over the listed tags: the text world tag, else the
// matrix, tie point and scale, else resolution and position; pixel-is-area
// (a key directory without key 1025 = 2) moves to the pixel centre.
std::vector<double> expected_transform(const Listing& l) {
    std::vector<double> t(6, 0.0);
    auto has = [&](int tag) { return l.numbers.count(tag) > 0; };
    if (l.text.count(34442)) {
        sscanf(l.text.at(34442).c_str(), "%lf%lf%lf%lf%lf%lf", &t[0], &t[1], &t[2], &t[3], &t[4], &t[5]);
        return t;
    }
    bool placed = true;
    if (has(34264)) {
        const auto& m = l.numbers.at(34264);
        t = {m[0], m[4], m[1], m[5], m[3], m[7]};  // the x skew is the second term
    } else if (has(33922)) {
        const auto& p = l.numbers.at(33922);
        if (has(33550)) {
            const auto& s = l.numbers.at(33550);
            t = {s[0], 0, 0, -s[1], p[3] - p[0] * s[0], p[1] * s[1] + p[4]};
        } else {
            t = {0, 0, 0, 0, p[3] - p[0], p[4] + p[1]};
        }
    } else if (has(33550)) {
        const auto& s = l.numbers.at(33550);
        t = {s[0], 0, 0, -s[1], 0, 0};
    } else {
        placed = false;
    }
    if (!placed) {
        double x = l.xres ? 1 / l.xres : 0, y = l.yres ? 1 / l.yres : 0;
        if (x == 0 && y == 0) x = y = 1;
        else if (x == 0) x = y;
        else if (y == 0) y = x;
        t = {x, 0, 0, -y, l.xpos, -l.ypos};
        if (x == 1 && y == 1 && l.xpos == 0 && l.ypos == 0) t[5] = l.length - 1 + t[5];
    }
    if (has(34735)) {
        int raster = 1;
        const auto& k = l.numbers.at(34735);
        for (size_t i = 4; i + 3 < k.size(); i += 4)
            if (k[i] == 1025) {
                raster = k[i + 3] == 2 ? 2 : 1;
                break;
            }
        if (raster == 1) t[4] += t[0] / 2, t[5] += t[3] / 2;
    }
    return t;
}

void expect_near(const std::vector<double>& got, const std::vector<double>& want) {
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(got[i], want[i], 1e-6 * (1 + fabs(want[i]))) << "term " << i;
}

TEST(TiffGeoreference, HeaderTransformFollowsTheListedTags) {
    std::vector<std::pair<std::string, std::string>> files;
    for (const char* name : {"geo-area.tif", "geo-point.tif", "geo-worldtag.tif", "plain-res300.tif"})
        files.push_back({tarntest::data_path(std::string("tiff/") + name),
                         tarntest::data_path(std::string("tifflib/tiff/") + name + ".tiffinfo")});
    files.push_back({fixture("rgb-none-strips4"), ""});
    if (tarntest::samples_present())
        for (const char* name : {"byte.tif", "byte_nogeoref.tif", "geomatrix.tif", "utmsmall.tif", "small_world_pct.tif",
                                 "int16_big_endian.tif", "rgbsmall.tif", "sasha.tif", "float32.tif", "zackthecat.tif"})
            files.push_back({tarntest::sample_path(std::string("tiff/") + name),
                             tarntest::data_path(std::string("tifflib/samples/") + name + ".tiffinfo")});
    for (const auto& f : files) {
        SCOPED_TRACE(f.first);
        std::vector<double> got(6, -7.0);
        ASSERT_EQ(read_TIFF_header_trans(f.first.c_str(), kTiff, got.data()), 1);
        if (f.second.empty()) {
            // No georeference and no resolution: rows numbered up from the bottom.
            expect_near(got, {1, 0, 0, -1, 0, 19});
            continue;
        }
        expect_near(got, expected_transform(read_listing(f.second)));
    }
    double t[6];
    EXPECT_EQ(read_TIFF_header_trans("/nonexistent.tif", kTiff, t), -1);
    // The type is not placed by the channel: no world file, no header.
    EXPECT_EQ(get_image_to_world_transform(kTiff, tarntest::data_path("tiff/geo-area.tif").c_str(), t), -1);
}

}  // namespace

namespace {

// A tags-only TIFF written with the tag library's write side.
struct TagEntry {
    int tag, type;
    std::vector<double> doubles;   // type 12
    std::vector<uint32_t> longs;   // types 3 (as SHORTs), 4, 5 (pairs) and 10 (pairs)
    std::string text;              // type 2
};

std::string write_tags(const tarntest::TempDir& dir, const std::vector<TagEntry>& entries) {
    const std::string path = dir.file("tags.tif");
    FILE* file = tarn_fopen(path.c_str(), "w+");
    TifError e;
    TifFile* tif = tifOpen(file, 0x4949, 42, 1, &e);
    TifIfd* ifd = tifMakeIFD(tif, int(entries.size()) + 2, &e);
    auto put = [&](const TagEntry& s) {
        const void* data = nullptr;
        uint32_t count = 0;
        std::vector<uint16_t> shorts(s.longs.begin(), s.longs.end());
        if (s.type == 12) data = s.doubles.data(), count = uint32_t(s.doubles.size());
        else if (s.type == 2) data = s.text.c_str(), count = uint32_t(s.text.size() + 1);
        else if (s.type == 3) data = shorts.data(), count = uint32_t(shorts.size());
        else if (s.type == 4) data = s.longs.data(), count = uint32_t(s.longs.size());
        else data = s.longs.data(), count = uint32_t(s.longs.size() / 2);
        return tifWriteTag(tif, ifd, s.tag, s.type, 0, 0, &e) == 1 &&
               tifWriteData(tif, ifd, s.tag, 0, data, count, TIF_DATA_ITEMS, &e) == 1;
    };
    bool ok = put({256, 3, {}, {4}, ""}) && put({257, 3, {}, {6}, ""});
    for (const TagEntry& s : entries) ok = ok && put(s);
    EXPECT_TRUE(ok);
    tifClose(tif, 1, &e);
    return path;
}

// The placement rules of the reader over the tag library where the one over libtiff
// differs: a key directory without the raster type key means pixel-is-area,
// only 2 is point, rationals are exact and signed for positions.
TEST(TiffGeoreference, TagLibraryRules) {
    tarntest::TempDir dir;
    const TagEntry scale = {33550, 12, {2, 2, 0}, {}, ""};
    const struct {
        const char* what;
        std::vector<TagEntry> tags;
        std::vector<double> want;
    } cases[] = {
        {"scale, key directory without 1025", {scale, {34735, 3, {}, {1, 1, 0, 1, 1024, 0, 1, 1}, ""}}, {2, 0, 0, -2, 1, -1}},
        {"scale, raster type 2", {scale, {34735, 3, {}, {1, 1, 0, 1, 1025, 0, 1, 2}, ""}}, {2, 0, 0, -2, 0, 0}},
        {"scale, raster type 3", {scale, {34735, 3, {}, {1, 1, 0, 1, 1025, 0, 1, 3}, ""}}, {2, 0, 0, -2, 1, -1}},
        {"scale, no key directory", {scale}, {2, 0, 0, -2, 0, 0}},
        {"tie point at raster (10, 0), scale 2",
         {scale, {33922, 12, {10, 0, 0, 500, 900, 0}, {}, ""}}, {2, 0, 0, -2, 480, 900}},
        {"tie point without scale", {{33922, 12, {3, 4, 0, 500, 900, 0}, {}, ""}}, {0, 0, 0, 0, 497, 904}},
        {"matrix over tie point",
         {scale, {33922, 12, {0, 0, 0, 1, 1, 0}, {}, ""},
          {34264, 12, {1.5, -5, 0, 1841000, -5, -1.5, 0, 1144000, 0, 0, 0, 0, 0, 0, 0, 1}, {}, ""}},
         {1.5, -5, -5, -1.5, 1841000, 1144000}},
        {"world text over matrix",
         {{34264, 12, {1, 0, 0, 7, 0, 1, 0, 8, 0, 0, 0, 0, 0, 0, 0, 1}, {}, ""},
          {34442, 2, {}, {}, "0.5 0.25 0.125 -0.5 100.5 200.5"}},
         {0.5, 0.25, 0.125, -0.5, 100.5, 200.5}},
        {"resolution 300/1 alone", {{282, 5, {}, {300, 1}, ""}}, {1.0 / 300, 0, 0, -1.0 / 300, 0, 0}},
        {"resolutions 3/2 and 5/4", {{282, 5, {}, {3, 2}, ""}, {283, 5, {}, {5, 4}, ""}}, {2.0 / 3, 0, 0, -0.8, 0, 0}},
        {"signed positions",
         {{286, 5, {}, {uint32_t(-5), 2}, ""}, {287, 5, {}, {7, 4}, ""}}, {1, 0, 0, -1, -2.5, -1.75}},
        {"nothing: rows numbered up", {}, {1, 0, 0, -1, 0, 5}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string path = write_tags(dir, c.tags);
        std::vector<double> got(6, -7.0);
        ASSERT_EQ(read_TIFF_header_trans(path.c_str(), kTiff, got.data()), 1);
        expect_near(got, c.want);
    }
}

}  // namespace
