// GIF driver on the conformance harness: files written by GDAL and ImageMagick
// (make_gif.sh) against GDAL's decode through GDAL's colour table, broken
// files, the shared samples; then what is the format's own: the EGA colours
// of files without a table, local tables over the global one, the first frame
// of an animation, and headers that claim far more pixels than their data.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/identify.h"
#include "conformance.h"
#include "drivers/general/gif.h"
#include "test_support.h"

extern "C" int fuzz_gif_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;

// LZW codes of one width, packed from the lowest bit up.
Bytes pack(const std::vector<int>& codes, int bits) {
    Bytes out;
    uint32_t acc = 0;
    int filled = 0;
    for (int c : codes) {
        acc |= static_cast<uint32_t>(c) << filled;
        filled += bits;
        while (filled >= 8) {
            out.push_back(static_cast<unsigned char>(acc & 255));
            acc >>= 8;
            filled -= 8;
        }
    }
    if (filled > 0) out.push_back(static_cast<unsigned char>(acc));
    return out;
}

// Pixels as a code stream that never widens: a clear code before every pair.
std::vector<int> literal_codes(const std::vector<int>& pixels, int minimum, bool end = true) {
    const int clear = 1 << minimum;
    std::vector<int> codes;
    for (size_t i = 0; i < pixels.size(); ++i) {
        if (i % 2 == 0) codes.push_back(clear);
        codes.push_back(pixels[i]);
    }
    if (end) codes.push_back(clear + 1);
    return codes;
}

struct Gif {
    std::string version = "GIF89a";
    int width = 4, height = 3;
    Bytes global;  // red, green, blue triplets; a power of two of them, or none
    uint8_t aspect = 0;
    Bytes extensions;  // whole blocks between the screen and the image
    uint8_t image_flags = 0;
    Bytes local;
    int minimum = 2;
    Bytes data;  // the codes, cut into sub-blocks here
    bool terminated = true;  // the zero block and the trailer
};

int table_bits(const Bytes& table) {
    int bits = 1;
    while ((3u << bits) < table.size()) ++bits;
    return bits;
}

Bytes build(const Gif& g) {
    Bytes b(g.version.begin(), g.version.end());
    auto le16 = [&b](int v) {
        b.push_back(static_cast<unsigned char>(v & 255));
        b.push_back(static_cast<unsigned char>(v >> 8));
    };
    le16(g.width);
    le16(g.height);
    b.push_back(g.global.empty() ? 0 : static_cast<unsigned char>(0x80 | (table_bits(g.global) - 1)));
    b.push_back(0);
    b.push_back(g.aspect);
    b.insert(b.end(), g.global.begin(), g.global.end());
    b.insert(b.end(), g.extensions.begin(), g.extensions.end());
    b.push_back(0x2C);
    le16(0);
    le16(0);
    le16(g.width);
    le16(g.height);
    uint8_t flags = g.image_flags;
    if (!g.local.empty()) flags |= static_cast<uint8_t>(0x80 | (table_bits(g.local) - 1));
    b.push_back(flags);
    b.insert(b.end(), g.local.begin(), g.local.end());
    b.push_back(static_cast<unsigned char>(g.minimum));
    for (size_t at = 0; at < g.data.size(); at += 255) {
        const size_t n = std::min<size_t>(255, g.data.size() - at);
        b.push_back(static_cast<unsigned char>(n));
        b.insert(b.end(), g.data.begin() + long(at), g.data.begin() + long(at + n));
    }
    if (g.terminated) {
        b.push_back(0);
        b.push_back(0x3B);
    }
    return b;
}

// A 4 x 3 image of pixels 0 to 3 over a four-colour table.
Gif small_gif() {
    Gif g;
    g.global = {0, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255};
    g.data = pack(literal_codes({0, 1, 2, 3, 1, 2, 3, 0, 2, 3, 0, 1}, 2), 3);
    return g;
}

Bytes cut(Bytes b, size_t n) {
    b.resize(n);
    return b;
}

template <typename F>
Bytes small_with(F change) {
    Gif g = small_gif();
    change(g);
    return build(g);
}

// The shared samples GDAL reads: size and hashes of GDAL's decode.
struct SampleDecode {
    std::string name;
    int rows, columns;
    uint32_t indices, colours;
};

std::vector<SampleDecode> sample_decodes() {
    std::vector<SampleDecode> list;
    std::ifstream in(tarntest::data_path("gif/samples.txt"));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        SampleDecode d;
        std::string indices, colours;
        fields >> d.name >> d.rows >> d.columns >> indices >> colours;
        d.indices = uint32_t(std::stoul(indices, nullptr, 16));
        d.colours = uint32_t(std::stoul(colours, nullptr, 16));
        list.push_back(d);
    }
    return list;
}

// Bytes up to the LZW data of the first image.
size_t gif_header(const Bytes& file) {
    size_t at = 13;
    if (file.size() < at) return file.size();
    if (file[10] & 0x80) at += 3u << ((file[10] & 7) + 1);
    while (at < file.size() && file[at] == 0x21) {  // extensions
        at += 2;
        while (at < file.size() && file[at] != 0) at += 1 + file[at];
        ++at;
    }
    if (at + 10 > file.size()) return file.size();
    const uint8_t flags = file[at + 9];
    at += 10;
    if (flags & 0x80) at += 3u << ((flags & 7) + 1);
    return std::min(at + 1, file.size());
}

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".gif";
        s.type = tarntest::kByIdentification;
        s.header_size = gif_header;
        s.fuzz = fuzz_gif_one_input;
        const struct { const char* name; int width, height; } rows[] = {
            {"gdal-2c-13x7", 13, 7},
            {"gdal-4c-1x1", 1, 1},
            {"gdal-16c-37x11", 37, 11},
            {"gdal-16c-interlaced-37x11", 37, 11},
            {"gdal-256c-29x17", 29, 17},
            {"gdal-256c-interlaced-1x9", 1, 9},
            {"gdal-256c-interlaced-13x3", 13, 3},
            {"gdal-256c-noise-64x64", 64, 64},
            {"gdal-200c-noise-interlaced-45x31", 45, 31},
            {"magick-animation-23x14", 23, 14},
            {"magick-frame-in-screen-10x8", 10, 8},
        };
        for (const auto& r : rows)
            s.fixtures.push_back({"gif/" + std::string(r.name) + ".gif", "gif/" + std::string(r.name) + ".ppm",
                                  r.width, r.height, 1, 8, 256, -1, {}});
        s.windows = {
            {"gif/gdal-256c-noise-64x64.gif", 1, 5, 40, 3, 5},
            {"gif/gdal-200c-noise-interlaced-45x31.gif", 1, 20, 44, 0, 3},
            {"gif/gdal-16c-interlaced-37x11.gif", 1, 1, 30, 1, 2},
        };
        const int kGif = tarntest::kUnchecked;
        s.broken = {
            {"trailer and no image", Bytes{'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0, 0x3B}, -1, -1, {}},
            {"only the signature", Bytes{'G', 'I', 'F', '8', '9', 'a'}, -1, -1, {}},
            {"three bytes: not identified", Bytes{'G', 'I', 'F'}, -1, -1, {}, -1},
            {"GIF87a with an aspect byte", small_with([](Gif& g) { g.version = "GIF87a", g.aspect = 49; }), -1, -1,
             {}},
            {"image of width 0", small_with([](Gif& g) { g.width = 0; }), -1, -1, {}},
            {"LZW code size 0", small_with([](Gif& g) { g.minimum = 0; }), -1, -1, {}},
            {"LZW code size 9", small_with([](Gif& g) { g.minimum = 9; }), -1, -1, {}},
            {"global table longer than the file",
             Bytes{'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x87, 0, 0, 1, 2, 3}, -1, -1, {}},
            {"local table longer than the file",
             Bytes{'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0, 0x2C, 0, 0, 0, 0, 1, 0, 1, 0, 0x85, 7, 7}, -1,
             -1, {}},
            {"unknown block before the image", small_with([](Gif& g) { g.extensions = {0x99, 0, 0}; }), -1, -1, {}},
            {"extension running past the end", small_with([](Gif& g) { g.extensions = {0x21, 0xFE, 200, 'x'}; }),
             -1, -1, {}},
            {"codes end after the first row",
             small_with([](Gif& g) { g.data = pack(literal_codes({0, 1, 2, 3}, 2, false), 3); }), 1, 1,
             {1, -1, -1}},
            {"file ends inside the first sub-block", cut(build(small_gif()), 38), 1, 1, {-1, -1, -1}},
            {"a code beyond the table", small_with([](Gif& g) { g.data = pack({4, 1, 2, 4, 3, 0, 4, 1, 7, 1}, 3); }),
             1, 1, {1, -1, -1}},
            {"first code after a clear is not a pixel",
             small_with([](Gif& g) { g.data = pack({4, 1, 2, 4, 3, 0, 4, 6, 1}, 3); }), 1, 1, {1, -1, -1}},
            {"interlaced, only the first pass", small_with([](Gif& g) {
                 g.height = 8;
                 g.image_flags = 0x40;
                 g.data = pack(literal_codes({1, 2, 3, 0}, 2), 3);
             }),
             1, 1, {1, -1, -1, -1, -1, -1, -1, -1}},
            {"header of 2000 x 1000 pixels with codes for one row", small_with([](Gif& g) {
                 g.width = 2000;
                 g.height = 1000;
                 std::vector<int> pixels(2000, 3);
                 g.data = pack(literal_codes(pixels, 2), 3);
             }),
             1, 1, {1, -1}, kGif},
            {"GIF89a with an aspect byte", small_with([](Gif& g) { g.aspect = 49; }), 1, 1, {1, 1, 1}},
            {"extensions before the image", small_with([](Gif& g) {
                 g.extensions = {0x21, 0xF9, 4, 1, 0, 0, 2, 0, 0x21, 0xFE, 3, 'a', 'b', 'c', 0,
                                 0x21, 0x01, 12, 0, 0, 0, 0, 4, 0, 4, 0, 8, 8, 0, 1, 2, 'h', 'i', 0};
             }),
             1, 1, {1, 1, 1}},
        };
        if (tarntest::samples_present())
            for (const SampleDecode& d : sample_decodes())
                s.samples.push_back({"gif/" + d.name, d.rows, d.columns, 1, 8, 1, d.indices});
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(Gif, suite())

// Opens through identification and the channel; the colour table and the
// rows as indices, or false.
struct Decoded {
    int width = 0, height = 0;
    uint8_t rgb[3][256] = {};
    std::vector<std::vector<uint32_t>> rows;  // empty where the row failed
};

bool decode(const std::string& path, Decoded* out) {
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    if (get_image_type_from_name(path.c_str(), resolved.data(), &type) != 1 || type <= 1000) return false;
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    if (open_image_channel(image, path.c_str(), 'r', type, 0) != 1) {
        free(image);
        return false;
    }
    out->width = image_columns(image);
    out->height = image_rows(image);
    int first = -1, last = -1;
    get_image_colormap(image, &first, &last, out->rgb[0], out->rgb[1], out->rgb[2]);
    for (int y = 0; y < out->height; ++y) {
        std::vector<uint32_t> row(size_t(out->width));
        if (get_image_row(image, y, row.data(), out->width) != 1) row.clear();
        out->rows.push_back(row);
    }
    close_image_channel(image, 'r');
    return true;
}

class GifFiles : public ::testing::Test {
protected:
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    tarntest::TempDir m_dir;
    ~GifFiles() override { m_manager->release(); }
};

TEST_F(GifFiles, WithoutATableEveryIndexTakesTheEgaColourOfIndexMod16) {
    const uint8_t ega[16][3] = {{0, 0, 0},       {0, 0, 128},     {0, 128, 0},     {0, 128, 128},
                                {128, 0, 0},     {128, 0, 128},   {128, 128, 0},   {200, 200, 200},
                                {100, 100, 100}, {100, 100, 255}, {100, 255, 100}, {100, 255, 255},
                                {255, 100, 100}, {255, 100, 255}, {255, 255, 100}, {255, 255, 255}};
    Gif g;
    g.width = 2, g.height = 1, g.minimum = 8;
    g.data = pack(literal_codes({20, 255}, 8), 9);
    Decoded d;
    ASSERT_TRUE(decode(m_dir.write("ega.gif", build(g)), &d));
    for (int i = 0; i < 256; ++i)
        for (int c = 0; c < 3; ++c) ASSERT_EQ(d.rgb[c][i], ega[i % 16][c]) << "entry " << i;
    ASSERT_EQ(d.rows.size(), 1u);
    EXPECT_EQ(d.rows[0], (std::vector<uint32_t>{20, 255}));
    EXPECT_EQ(std::vector<int>({d.rgb[0][20], d.rgb[1][20], d.rgb[2][20]}), std::vector<int>({128, 0, 0}));
}

TEST_F(GifFiles, NoPaletteSampleShowsEgaColours) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    Decoded d;
    ASSERT_TRUE(decode(tarntest::sample_path("gif/no_palette.gif"), &d));
    EXPECT_EQ(std::vector<int>({d.width, d.height}), std::vector<int>({1, 1}));
    ASSERT_EQ(d.rows.size(), 1u);
    EXPECT_EQ(d.rows[0], std::vector<uint32_t>{0});
    EXPECT_EQ(std::vector<int>({d.rgb[0][9], d.rgb[1][9], d.rgb[2][9], d.rgb[0][22], d.rgb[1][22], d.rgb[2][22]}),
              std::vector<int>({100, 100, 255, 128, 128, 0}));
}

TEST_F(GifFiles, LocalTableReplacesTheFirstEntriesOfTheGlobalOne) {
    Gif g = small_gif();
    g.global = {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8};
    g.global.resize(24);
    g.local = {10, 20, 30, 40, 50, 60};
    Decoded d;
    ASSERT_TRUE(decode(m_dir.write("local.gif", build(g)), &d));
    const std::vector<int> want = {10, 20, 30, 40, 50, 60, 3, 3, 3, 4, 4, 4, 8, 8, 8, 0, 0, 0};
    std::vector<int> got;
    for (int i : {0, 1, 2, 3, 7, 8})
        for (int c = 0; c < 3; ++c) got.push_back(d.rgb[c][i]);
    EXPECT_EQ(got, want);
}

TEST_F(GifFiles, SamplesRenderToGdalColours) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const std::vector<SampleDecode> decodes = sample_decodes();
    ASSERT_EQ(decodes.size(), 5u);
    for (const SampleDecode& s : decodes) {
        SCOPED_TRACE(s.name);
        Decoded d;
        ASSERT_TRUE(decode(tarntest::sample_path("gif/" + s.name), &d));
        ASSERT_EQ(std::vector<int>({d.height, d.width}), std::vector<int>({s.rows, s.columns}));
        uint32_t hash = 2166136261u;
        for (const auto& row : d.rows) {
            ASSERT_EQ(row.size(), size_t(d.width));
            for (uint32_t v : row)
                for (int c = 0; c < 3; ++c) hash = (hash ^ d.rgb[c][v & 255]) * 16777619u;
        }
        EXPECT_EQ(hash, s.colours);
    }
}

TEST_F(GifFiles, FakeBigSampleIsRefused) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    // Its header claims 32767 x 32767 pixels and no code follows.
    Decoded d;
    EXPECT_FALSE(decode(tarntest::sample_path("gif/fakebig.gif"), &d));
}

TEST_F(GifFiles, HugeHeaderWithFewCodesAllocatesOnlyWhatTheyDecode) {
    // Interlaced, so the codes (half of row 0) are all there is of the picture.
    Gif g = small_gif();
    g.width = 32767, g.height = 32767, g.image_flags = 0x40;
    g.data = pack(literal_codes(std::vector<int>(16000, 2), 2), 3);
    const std::string path = m_dir.write("big.gif", build(g));
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    ASSERT_EQ(get_image_type_from_name(path.c_str(), resolved.data(), &type), 1);
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
    EXPECT_EQ(std::vector<int>({image_rows(image), image_columns(image)}), std::vector<int>({32767, 32767}));
    std::vector<uint32_t> row(32767);
    for (int y : {0, 1, 8, 32766}) EXPECT_EQ(get_image_row(image, y, row.data(), 32767), -1) << y;
    close_image_channel(image, 'r');
}

TEST_F(GifFiles, PicturesAboveThePixelLimitAreRefused) {
    Gif g = small_gif();
    g.width = 65535, g.height = 65535;
    Decoded d;
    EXPECT_FALSE(decode(m_dir.write("limit.gif", build(g)), &d));
}

TEST(GifEntryPoints, ExistAnswersOnTheSignatureOnly) {
    IInternalImageManager* manager = getManager();
    tarntest::TempDir dir;
    char out[TARN_PATH_MAX];
    EXPECT_EQ(CheckGIFLZW(), 1);
    EXPECT_EQ(GIF_exist("x.gif", out, nullptr), 0);
    EXPECT_STREQ(out, "x.gif");
    const struct { Bytes bytes; bool accepted; } cases[] = {
        {{'G', 'I', 'F', '8', '9', 'a'}, true},
        {{'G', 'I', 'F', 'x', 'y', 'z', 1}, true},  // the version is the open's to check
        {{'G', 'I', 'F', '8', '9'}, false},
        {{'g', 'i', 'f', '8', '9', 'a'}, false},
    };
    for (const auto& c : cases) {
        const std::string path = dir.write("e.gif", c.bytes);
        FILE* fp = fopen(path.c_str(), "rb");
        ASSERT_NE(fp, nullptr);
        const int answer = GIF_exist(path.c_str(), out, fp);
        fclose(fp);
        EXPECT_EQ(answer > 1000, c.accepted) << answer;
        if (!c.accepted) {
            EXPECT_EQ(answer, 0);
        }
    }
    manager->release();
}

}  // namespace
