// BIL, BIP and BSQ on the conformance harness (8-bit and 1-bit files against
// GDAL's or make_standard.py's decode, broken headers, the shared samples),
// then every fixture's raw values through the channel and the opens against
// its .values file, the header's line rules, the side files, the stretch and
// ramp rules, and the world file over the header's map keys.

#include <gtest/gtest.h>
#include <tarnimage/properties.h>
#include <tarnimage/standard.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/kernels.h"
#include "channel/world.h"
#include "conformance.h"
#include "drivers/builtin/standard.h"
#include "test_support.h"

extern "C" int fuzz_standard_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;
using tarntest::OpenImage;

const int kBIL = 8, kBIP = 9, kBSQ = 11;

int type_of(const std::string& file) {
    const std::string tail = file.substr(file.size() - 4);
    return tail == ".bip" ? kBIP : tail == ".bsq" ? kBSQ : kBIL;
}


tarntest::BrokenFile broken(const char* what, const std::string& header, const Bytes& raster, int info,
                            int open, std::vector<int> rows,
                            std::vector<std::pair<std::string, std::string>> more = {}) {
    more.insert(more.begin(), {".hdr", header});
    return {what, raster, info, open, rows, tarntest::kUnchecked, more};
}

tarntest::DriverSuite make_suite(int type) {
    tarntest::DriverSuite s;
    s.type = type;
    s.suffix = type == kBIP ? ".bip" : type == kBSQ ? ".bsq" : ".bil";
    s.identified_by_content = false;
    s.fuzz = fuzz_standard_one_input;
    const struct { const char* name; int width, height, bands, depth; const char* ref; } rows[] = {
        {"grey8-7x5.bil", 7, 5, 1, 8, "pgm"},          {"rgb8-9x6.bil", 9, 6, 3, 8, "ppm"},
        {"bw1-13x4.bil", 13, 4, 1, 1, "pbm"},          {"rgb8-bip-6x4.bip", 6, 4, 3, 8, "ppm"},
        {"rgb8-bsq-skip-4x5.bsq", 4, 5, 3, 8, "ppm"},
    };
    for (const auto& r : rows) {
        const std::string file = "standard/" + std::string(r.name);
        if (type_of(file) != type) continue;
        const std::string stem = file.substr(0, file.size() - 4);
        s.fixtures.push_back({file, stem + "." + r.ref, r.width, r.height, r.bands, r.depth, 0,
                              r.bands == 3 ? 1 : -1, {stem + ".hdr"}});
    }
    if (type == kBSQ) s.header_size = [](const Bytes&) { return size_t(13); };  // SKIPBYTES
    const std::string h34 = "NROWS 4\nNCOLS 3\n";
    s.broken = {
        broken("no header beside it", "", Bytes(12), -1, -1, {}),
        broken("0 columns", "NROWS 2\nNCOLS 0\n", Bytes(4), -1, -1, {}),
        broken("columns above 2^24", "NROWS 1\nNCOLS 16777217\n", Bytes(4), -1, -1, {}),
        broken("rows of more than 2^31 bytes", "NROWS 1\nNCOLS 16777216\nNBANDS 200\nNBITS 32\n", Bytes(4),
               1, -1, {}),
        broken("a value that does not parse", "NROWS four\nNCOLS 3\n", Bytes(12), -1, -1, {}),
        broken("layout in mixed case", h34 + "LAYOUT Bil\n", Bytes(12), -1, -1, {}),
        broken("byte order X", h34 + "BYTEORDER X\n", Bytes(12), -1, -1, {}),
        broken("12 bits", h34 + "NBITS 12\n", Bytes(24), 1, -1, {}),
        broken("BANDROWBYTES below the data", h34 + "BANDROWBYTES 2\n", Bytes(12), 1, -1, {}),
        broken("TOTALROWBYTES below the data", h34 + "NBANDS 2\nTOTALROWBYTES 2\n", Bytes(24), 1, -1, {}),
        broken("more rows than the file holds", h34, Bytes(7, 3), 1, 1, {1, 1, -1, -1}),
        broken("a file shorter than one row", "NROWS 4\nNCOLS 30\n", Bytes(12), 1, -1, {}),
        broken("the last line without a line feed", "NROWS 2\nNCOLS 2\nNBITS 16", Bytes(4, 1), 1, 1,
               {1, 1}),
        broken("statistics of band 11, a colour file without an entry", h34, Bytes(12, 5), 1, 1,
               {1, 1, 1, 1}, {{".stx", "11 0 255 1 2 3 4\n"}, {".clr", "# none\n-5 1 2 3\n4 5\n"}}),
        broken("a colour file spanning 2^30 values", h34, Bytes(12, 5), 1, 1, {1, 1, 1, 1},
               {{".clr", "1 1 2 3\n1073741823 4 5 6\n"}}),
        broken("1 bit in two bands", h34 + "NBITS 1\nNBANDS 2\n", Bytes(8), 1, type == kBIP ? -1 : 1,
               type == kBIP ? std::vector<int>{} : std::vector<int>{1, 1, 1, 1}),
        broken("4 bits in three bands", h34 + "NBITS 4\nNBANDS 3\n", Bytes(24, 0x5a), 1, 1,
               {1, 1, 1, 1}),
        broken("a negative SKIPBYTES", h34 + "SKIPBYTES -9\n", Bytes(12), 1, 1, {1, 1, 1, 1}),
        broken("a band gap past the end", h34 + "NBANDS 2\nBANDGAPBYTES 2000000000\n", Bytes(24), 1, 1,
               type == kBSQ ? std::vector<int>{-1, -1, -1, -1} : std::vector<int>{1, 1, 1, 1}),
    };
    // FNV-1a of GDAL's band values, pixel by pixel (make_standard.py).
    if (type == kBIL)
        s.samples = {{"ehdr/gen_rgbsmall.bil", 50, 50, 3, 8, 1, 0x2b14fa41u},
                     {"ehdr/float32.bil", 20, 20, 1, 32, 1, 0x0c40eae4u},
                     {"ehdr/int16_rat.bil", 20, 20, 1, 16, 1, 0x06e289e5u}};
    if (type == kBIP) s.samples = {{"ehdr/gen_rgbsmall_bip.bip", 50, 50, 3, 8, 1, 0x2b14fa41u}};
    if (type == kBSQ) s.samples = {{"ehdr/gen_rgbsmall_bsq.bsq", 50, 50, 3, 8, 1, 0x2b14fa41u}};
    return s;
}

const tarntest::DriverSuite& bil() {
    static const tarntest::DriverSuite s = make_suite(kBIL);
    return s;
}
const tarntest::DriverSuite& bip() {
    static const tarntest::DriverSuite s = make_suite(kBIP);
    return s;
}
const tarntest::DriverSuite& bsq() {
    static const tarntest::DriverSuite s = make_suite(kBSQ);
    return s;
}

TARN_DRIVER_CONFORMANCE(StandardBIL, bil())
TARN_DRIVER_CONFORMANCE(StandardBIP, bip())
TARN_DRIVER_CONFORMANCE(StandardBSQ, bsq())

// A .values file: width, height, bands, then per row one line per band.
struct Values {
    int width = 0, height = 0, bands = 0;
    std::vector<uint32_t> v;  // [y][band][x]
    uint32_t at(int x, int y, int b) const { return v[(size_t(y) * bands + b) * width + x]; }
};

Values read_values(const std::string& path) {
    std::ifstream in(path);
    Values values;
    in >> values.width >> values.height >> values.bands;
    long long x;
    while (in >> x) values.v.push_back(uint32_t(x));
    EXPECT_EQ(values.v.size(), size_t(values.width) * values.height * values.bands) << path;
    return values;
}

// Every fixture: size and depth, all rows through the channel (all bands),
// the last band alone through a window from column 1, and for several bands
// the three-band open of bands 2, 1, 2.
TEST(StandardValues, EveryFixtureReadsAsItsValuesFile) {
    const struct { const char* name; int depth; } fixtures[] = {
        {"grey8-7x5.bil", 8},         {"rgb8-9x6.bil", 8},          {"u16-2band-8x5.bil", 16},
        {"i32-2band-6x4.bil", 32},    {"palette8-7x5.bil", 8},      {"rgb8-bip-6x4.bip", 8},
        {"rgb8-bsq-skip-4x5.bsq", 8}, {"be16-2band-5x3.bil", 16},   {"be32-bip-4x2.bip", 32},
        {"padded16-2band-5x3.bil", 16}, {"padded8-bsq-5x4.bsq", 8}, {"bw1-13x4.bil", 1},
        {"nibble4-2band-7x3.bil", 4}, {"nibble4-bip-8x2.bip", 4},
    };
    for (const auto& f : fixtures) {
        SCOPED_TRACE(f.name);
        const std::string path = tarntest::data_path(std::string("standard/") + f.name);
        const Values want = read_values(path.substr(0, path.size() - 4) + ".values");
        const int type = type_of(path);
        int rows, columns, bands, depth;
        ASSERT_EQ(get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth), 1);
        EXPECT_EQ(std::vector<int>({columns, rows, bands, depth}),
                  std::vector<int>({want.width, want.height, want.bands, f.depth}));
        // A 1-bit channel row holds the first band only.
        const int channel_bands = f.depth == 1 ? 1 : want.bands;

        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
        std::vector<uint32_t> row(size_t(want.width) * want.bands);
        for (int y = 0; y < want.height; ++y) {
            ASSERT_EQ(get_image_row(image, y, row.data(), int(row.size())), 1) << "row " << y;
            for (int b = 0; b < channel_bands; ++b)
                for (int x = 0; x < want.width; ++x)
                    ASSERT_EQ(row[size_t(b) * want.width + x], want.at(x, y, b)) << x << "," << y << " band " << b;
        }
        EXPECT_EQ(close_image_channel(image, 'r'), 1);

        OpenImage single;
        ASSERT_EQ(single.open(path, type, want.bands), 1);
        ASSERT_TRUE(single.map(type, 1, want.width - 1, 0, want.height - 1));
        for (int y = want.height - 1; y >= 0; --y) {  // backwards: rows in any order
            ASSERT_NE(single.image.get_row(&single.image, y), -1) << "row " << y;
            for (int x = 1; x < want.width; ++x)
                ASSERT_EQ(single.at(x - 1), want.at(x, y, want.bands - 1)) << x << "," << y;
        }

        if (want.bands < 2 || f.depth == 1) continue;
        OpenImage multi;
        ASSERT_EQ(multi.open_multi(path, type, 2, 1, 2), 1);
        ASSERT_TRUE(multi.map(type, 0, want.width - 1, 0, want.height - 1));
        for (int y = 0; y < want.height; ++y) {
            ASSERT_NE(multi.image.get_row(&multi.image, y), -1) << "row " << y;
            for (int x = 0; x < want.width; ++x)
                for (int k = 0; k < 3; ++k)
                    ASSERT_EQ(multi.at(x, k), want.at(x, y, k == 1 ? 0 : 1)) << x << "," << y << " plane " << k;
        }
    }
}

// The .clr of GDAL's writer becomes the colour map, values 0 to 5.
TEST(StandardValues, ColourFileOfGdal) {
    const std::string path = tarntest::data_path("standard/palette8-7x5.bil");
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', kBIL, 0), 1);
    EXPECT_EQ(image_colors(image), 5);  // six entries, of which the first is left out
    uint8_t red[8] = {}, green[8] = {}, blue[8] = {};
    int first = -1, last = -1;
    ASSERT_EQ(get_image_colormap(image, &first, &last, red, green, blue), 1);
    EXPECT_EQ(std::vector<int>({first, last}), std::vector<int>({0, 5}));
    EXPECT_EQ(Bytes(red, red + 6), Bytes({255, 0, 0, 10, 200, 1}));
    EXPECT_EQ(Bytes(green, green + 6), Bytes({0, 255, 0, 20, 100, 2}));
    EXPECT_EQ(Bytes(blue, blue + 6), Bytes({0, 0, 255, 30, 50, 3}));
    close_image_channel(image, 'r');
}

struct HeaderCase {
    const char* what;
    std::string text;
    int result, rows, columns, bands, bits, layout, order, has_map;
};

TEST(StandardHeader, LineRules) {
    const HeaderCase cases[] = {
        {"only rows and columns", "NROWS 3\nNCOLS 4\n", 1, 3, 4, 1, 8, -1, 0x4949, 0},
        {"keys in lower case, tabs", "nrows\t3\nNcols   4\nnbits 16\nbyteorder m\n", 1, 3, 4, 1, 16, -1, 0x4D4D,
         0},
        {"CR LF and CR line ends", "NROWS 3\r\nNCOLS 4\rNBANDS 2\r\n", 1, 3, 4, 2, 8, -1, 0x4949, 0},
        {"a later line wins", "NROWS 3\nNCOLS 4\nNROWS 9\n", 1, 9, 4, 1, 8, -1, 0x4949, 0},
        {"unknown keys and one-word lines skipped", "PIXELTYPE FLOAT\nJUNK\nNROWS 3\nNCOLS 4\n", 1, 3, 4, 1, 8,
         -1, 0x4949, 0},
        {"the last line without a line feed", "NROWS 3\nNCOLS 4\nNBITS 16", 1, 3, 4, 1, 8, -1, 0x4949, 0},
        {"layout bsq", "NROWS 3\nNCOLS 4\nLAYOUT bsq\n", 1, 3, 4, 1, 8, 11, 0x4949, 0},
        {"both map keys", "ULXMAP 10.5\nULYMAP -3\n", 1, 0, 0, 1, 8, -1, 0x4949, 1},
        {"one map key", "ULXMAP 10.5\n", 1, 0, 0, 1, 8, -1, 0x4949, 0},
        {"layout Bil", "LAYOUT Bil\n", -1, 0, 0, 1, 8, -1, 0x4949, 0},
        {"byte order II", "BYTEORDER II\n", -1, 0, 0, 1, 8, -1, 0x4949, 0},
        {"XDIM that does not parse", "XDIM x\n", -1, 0, 0, 1, 8, -1, 0x4949, 0},
    };
    tarntest::TempDir dir;
    const std::string image = dir.file("a.bil");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        dir.write("a.hdr", c.text);
        StandardHeader h;
        ASSERT_EQ(read_standard_header(image.c_str(), &h), c.result);
        if (c.result != 1) continue;
        EXPECT_EQ(std::vector<int>({h.nrows, h.ncols, h.nbands, h.nbits, h.layout, h.byte_order, h.has_map}),
                  std::vector<int>({c.rows, c.columns, c.bands, c.bits, c.layout, c.order, c.has_map}));
    }
    // The last four characters go, whatever they are; lower case wins over upper.
    dir.write("noext.HDR", "NROWS 5\n");
    dir.write("no.hdr", "NROWS 6\n");
    dir.write("no.HDR", "NROWS 7\n");
    StandardHeader h;
    ASSERT_EQ(read_standard_header(dir.file("noextxxxx").c_str(), &h), 1);
    EXPECT_EQ(h.nrows, 5);
    ASSERT_EQ(read_standard_header(dir.file("no.bip").c_str(), &h), 1);
    EXPECT_EQ(h.nrows, 6);
    EXPECT_EQ(read_standard_header(dir.file("absent.bil").c_str(), &h), -1);
}

TEST(StandardSideFiles, ColourAndStatisticsLines) {
    tarntest::TempDir dir;
    uint8_t* rgb[3] = {};
    int low = 0, high = 0;
    // Values 10 and 12: three entries, 11 takes the lowest value's colour;
    // colours wrap to a byte, comments, blanks and negative values are skipped.
    dir.write("c.clr", "# value r g b\n\n! note\n12 300 2 3 label\n-1 9 9 9\n10 4 5 6\n");
    ASSERT_EQ(read_standard_colors(dir.file("c.clr").c_str(), rgb, &low, &high, 0), 3);
    EXPECT_EQ(std::vector<int>({low, high}), std::vector<int>({10, 12}));
    EXPECT_EQ(Bytes(rgb[0], rgb[0] + 3), Bytes({4, 4, 44}));
    EXPECT_EQ(Bytes(rgb[2], rgb[2] + 3), Bytes({6, 6, 3}));
    for (uint8_t*& a : rgb) free(a);
    dir.write("e.clr", "# nothing\n1 2\n");
    EXPECT_EQ(read_standard_colors(dir.file("e.clr").c_str(), rgb, &low, &high, 0), 0);
    EXPECT_EQ(read_standard_colors(dir.file("absent.clr").c_str(), rgb, &low, &high, 0), -1);

    StandardHeader h;
    initialize_standard_header(&h);
    dir.write("s.stx", "1 5 250\n2 0 100 50.5 12.25\n3 1 2 # # 7 9\n11 1 3\n12 1 2\n# 4 1 2\n5 x 2\n");
    ASSERT_EQ(read_standard_stats(dir.file("s.stx").c_str(), h.stat_present, h.stat_min, h.stat_max, h.stat_mean,
                                  h.stat_stddev, h.stat_low, h.stat_high),
              1);
    EXPECT_EQ(std::vector<int>(h.stat_present, h.stat_present + 12),
              std::vector<int>({0, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(std::vector<float>({h.stat_min[1], h.stat_max[1], h.stat_stddev[1], h.stat_mean[2], h.stat_stddev[2],
                                  h.stat_mean[3], h.stat_stddev[3], h.stat_low[3], h.stat_high[3]}),
              std::vector<float>({5, 250, -1, 50.5f, 12.25f, -1, -1, 7, 9}));
}

// What the writers give, GDAL 3.6 read back (see make_standard.py's notes):
// 4 x 3, 2 bands of 16 bits, BIP, big-endian, origin 100.5, 200.25 at the
// first pixel's centre with 2 x 3 pixels, and the colours below.
TEST(StandardSideFiles, WritersRoundTrip) {
    tarntest::TempDir dir;
    const std::string image = dir.file("w.bip");
    StandardHeader h;
    initialize_standard_header(&h);
    h.byte_order = 0x4D4D;
    h.layout = kBIP;
    h.nrows = 3;
    h.ncols = 4;
    h.nbands = 2;
    h.nbits = 16;
    h.has_map = 1;
    h.ulxmap = 100.5f;
    h.ulymap = 200.25f;
    h.xdim = 2;
    h.ydim = 3;
    ASSERT_EQ(write_standard_header(image.c_str(), &h), 1);
    EXPECT_EQ(tarntest::read_file(dir.file("w.hdr")), tarntest::read_file(tarntest::data_path("standard/written.hdr")));
    StandardHeader back;
    ASSERT_EQ(read_standard_header(image.c_str(), &back), 1);
    EXPECT_EQ(memcmp(&back, &h, sizeof h), 0);
    h.layout = 7;
    EXPECT_EQ(write_standard_header(image.c_str(), &h), -1);

    uint8_t red[3] = {255, 0, 7}, green[3] = {0, 128, 8}, blue[3] = {1, 2, 9};
    uint8_t* const rgb[3] = {red, green, blue};
    ASSERT_EQ(write_standard_colormap(image.c_str(), rgb, 4, 6), 1);
    EXPECT_EQ(tarntest::read_file(dir.file("w.clr")), tarntest::read_file(tarntest::data_path("standard/written.clr")));
    uint8_t* got[3] = {};
    int low = 0, high = 0;
    ASSERT_EQ(read_standard_colormap(image.c_str(), got, &low, &high), 3);
    EXPECT_EQ(std::vector<int>({low, high}), std::vector<int>({4, 6}));
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(Bytes(got[k], got[k] + 3), Bytes(rgb[k], rgb[k] + 3));
        free(got[k]);
    }

    StandardHeader s;
    initialize_standard_header(&s);
    const struct { int band; float min, max, mean, stddev, low, high; } stats[] = {
        {1, 3, 900, 450.5f, 12.5f, 10, 800}, {2, 0, 65535, 0, -1, 5, 60000}, {3, 1, 2, 1.5f, 0.5f, 0, -1},
        {4, 7, 8, 0, -1, 0, -1}};
    for (const auto& t : stats) {
        s.stat_present[t.band] = 1;
        s.stat_min[t.band] = t.min, s.stat_max[t.band] = t.max, s.stat_mean[t.band] = t.mean;
        s.stat_stddev[t.band] = t.stddev, s.stat_low[t.band] = t.low, s.stat_high[t.band] = t.high;
    }
    EXPECT_EQ(write_standard_statistics(image.c_str(), s.stat_present, s.stat_min, s.stat_max, s.stat_mean,
                                        s.stat_stddev, s.stat_low, s.stat_high),
              -1);  // written all the same
    EXPECT_EQ(tarntest::read_file(dir.file("w.stx")), tarntest::read_file(tarntest::data_path("standard/written.stx")));
    StandardHeader r;
    initialize_standard_header(&r);
    ASSERT_EQ(read_standard_statistics(image.c_str(), r.stat_present, r.stat_min, r.stat_max, r.stat_mean,
                                       r.stat_stddev, r.stat_low, r.stat_high),
              1);
    EXPECT_EQ(memcmp(r.stat_present, s.stat_present, sizeof r.stat_present), 0);
    for (const auto& t : stats)
        EXPECT_EQ(std::vector<float>({r.stat_min[t.band], r.stat_max[t.band], r.stat_mean[t.band],
                                      r.stat_stddev[t.band], r.stat_low[t.band], r.stat_high[t.band]}),
                  std::vector<float>({s.stat_min[t.band], s.stat_max[t.band], t.stddev > 0 ? t.mean : -1,
                                      t.stddev > 0 ? t.stddev : -1, t.high > t.low ? t.low : 0,
                                      t.high > t.low ? t.high : -1}))
            << "band " << t.band;
}

// The single open scales wide samples by a float quotient, the three-band
// open by an integer one; both show them through a ramp of 257 entries.
TEST(StandardDisplay, StretchAndRampRules) {
    uint8_t* ramp[3] = {};
    ASSERT_EQ(get_8bit_grayscale_ramp(ramp), 257);
    EXPECT_EQ(std::vector<int>({ramp[0][0], ramp[0][1], ramp[1][128], ramp[2][256]}),
              std::vector<int>({0, 0, 127, 255}));
    for (uint8_t*& a : ramp) free(a);

    tarntest::TempDir dir;
    for (const char* name : {"u16-2band-8x5", "i32-2band-6x4"}) {
        dir.copy_in(tarntest::data_path(std::string("standard/") + name + ".bil"), std::string(name) + ".bil");
        dir.copy_in(tarntest::data_path(std::string("standard/") + name + ".hdr"), std::string(name) + ".hdr");
    }
    const struct { const char* name; int band; float step; uint32_t low, high; } singles[] = {
        {"u16-2band-8x5", 1, 1.0f / 256, 0, 65535},  // no statistics: 256 / 65536
        {"i32-2band-6x4", 2, 256.0f, 0, 0},         // 32 bits: a span of 1
    };
    for (const auto& c : singles) {
        SCOPED_TRACE(c.name);
        OpenImage im;
        ASSERT_EQ(im.open(dir.file(std::string(c.name) + ".bil"), kBIL, c.band), 1);
        const Colormap& map = im.image.colormap;
        EXPECT_EQ(std::vector<float>({map.gray_step, float(map.gray_low), float(map.gray_high), float(map.ncolors),
                                      float(map.first)}),
                  std::vector<float>({c.step, float(c.low), float(c.high), 257, 1}));
        OpenImage multi;
        ASSERT_EQ(multi.open_multi(dir.file(std::string(c.name) + ".bil"), kBIL, 1, 2, 1), 1);
        // 256 / 65536 in integers is 0: such a band stays unscaled.
        EXPECT_EQ(multi.image.colormap.band_step[0], c.step == 256.0f ? 256.0f : 0.0f);
        EXPECT_EQ(multi.image.colormap.ncolors, 257);
    }

    // With GDAL's statistics: mean 55086.5 and deviation 393.22 give 54300 to
    // 55872 (two deviations each way, truncated), so 256 / 1572 a step.
    OpenImage im;
    ASSERT_EQ(im.open(tarntest::data_path("standard/u16-2band-8x5.bil"), kBIL, 1), 1);
    EXPECT_EQ(std::vector<uint32_t>({im.image.colormap.gray_low, im.image.colormap.gray_high}),
              std::vector<uint32_t>({54300, 55872}));
    EXPECT_FLOAT_EQ(im.image.colormap.gray_step, 256.0f / 1572);
    EXPECT_EQ(im.image.lookup, Scale16BitBuf);
    EXPECT_EQ(im.image.index, Index16BitBuf);
}

TEST(StandardWorld, WorldFileOverHeaderOverIdentity) {
    tarntest::TempDir dir;
    const std::string image = dir.copy_in(tarntest::data_path("standard/grey8-7x5.bil"), "g.bil");
    dir.copy_in(tarntest::data_path("standard/grey8-7x5.hdr"), "g.hdr");
    double t[6];
    // GDAL's geotransform (500000, 30, 0, 4100000, 0, -30) at pixel centres.
    ASSERT_EQ(get_image_to_world_transform(kBIL, image.c_str(), t), 1);
    EXPECT_EQ(std::vector<double>(t, t + 6), std::vector<double>({30, 0, 0, -30, 500015, 4099985}));
    dir.write("g.blw", "2\n0\n0\n-2\n10\n20\n");
    ASSERT_EQ(get_image_to_world_transform(kBIL, image.c_str(), t), 1);
    EXPECT_EQ(std::vector<double>(t, t + 6), std::vector<double>({2, 0, 0, -2, 10, 20}));
    dir.write("g.hdr", "NROWS 5\nNCOLS 7\n");
    std::remove(dir.file("g.blw").c_str());
    ASSERT_EQ(get_image_to_world_transform(kBIL, image.c_str(), t), 1);
    EXPECT_EQ(std::vector<double>(t, t + 6), std::vector<double>({1, 0, 0, -1, 0, 4}));
}

// The shared samples, in place: the three layouts of one image render alike,
// as GDAL's band values (the .stx beside the BIL leaves bytes unstretched),
// and are placed as GDAL places them, in 32-bit floats.
TEST(StandardSamples, ThreeLayoutsRenderAsGdalReadsThem) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const tarntest::Pnm want = tarntest::read_pnm(tarntest::data_path("standard/gen_rgbsmall-gdal.ppm"));
    ASSERT_EQ(want.width, 50);
    for (const char* stem : {"gen_rgbsmall", "gen_rgbsmall_bip", "gen_rgbsmall_bsq"}) {
        SCOPED_TRACE(stem);
        const std::string suffix = std::string(stem) == "gen_rgbsmall"       ? ".bil"
                                   : std::string(stem) == "gen_rgbsmall_bip" ? ".bip"
                                                                              : ".bsq";
        tarntest::TempDir dir;
        dir.copy_in(tarntest::sample_path(std::string("ehdr/") + stem + ".hdr"), std::string(stem) + ".hdr");
        dir.copy_in(tarntest::sample_path(std::string("ehdr/") + stem + suffix), std::string(stem) + suffix);
        if (suffix == std::string(".bil"))
            dir.copy_in(tarntest::sample_path("ehdr/gen_rgbsmall.stx"), "gen_rgbsmall.stx");
        IInternalImageManager* manager = getManager();
        ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString((stem + suffix).c_str())));
        IInternalImage* image = manager->getImage(0);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(std::vector<long>({image->getWidth(), image->getHeight(), image->getBandCount(),
                                     image->getPixelDepth(0)}),
                  std::vector<long>({50, 50, 3, 8}));
        ASSERT_TRUE(image->isGeoReferenced());
        double g[6];
        image->getGeoReference(&g[0], &g[1], &g[2], &g[3], &g[4], &g[5]);
        // x scale, x skew, x origin, y skew, y scale, y origin
        EXPECT_EQ(std::vector<double>(g, g + 6),
                  std::vector<double>({double(0.003432f), 0, double(-44.838604f), 0, -double(0.003432f),
                                       double(-22.9343f)}));
        long x, y, w, h;
        DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
        ASSERT_NE(block, nullptr);
        const unsigned char* p = static_cast<const unsigned char*>(block->data());
        ASSERT_EQ(block->length(), 50u * 50 * 4);
        for (int i = 0; i < 50 * 50; ++i) {
            unsigned char px[4];
            want.rgba(i % 50, i / 50, px);
            ASSERT_EQ(Bytes(p + 4 * i, p + 4 * i + 4), Bytes(px, px + 4)) << "pixel " << i;
        }
        block->release();
        image->release();
        manager->release();
    }
}

}  // namespace
