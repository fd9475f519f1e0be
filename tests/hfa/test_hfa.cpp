// The HFA reader on files GDAL wrote (tests/data/make_imagine.py): sizes,
// pixel types, rows, map information and colours equal what GDAL read, and
// damaged structures give failures, never a read outside the file.

#include <gtest/gtest.h>
#include <string.h>

#include <fstream>
#include <string>
#include <vector>

#include "hfa/hfa.h"
#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Values {
    int width = 0, height = 0, bands = 0;
    std::vector<long long> v;  // row by row, band by band
};

Values read_values(const std::string& path) {
    Values out;
    std::ifstream in(path);
    in >> out.width >> out.height >> out.bands;
    long long x;
    while (in >> x) out.v.push_back(x);
    return out;
}

// Value of one pixel of a row as read_row delivers it, by pixel type.
long long pixel(const std::vector<uint8_t>& row, int type, int x) {
    const uint8_t* p = row.data() + size_t(x) * hfa::row_pixel_bytes(type);
    uint16_t u16;
    uint32_t u32;
    switch (hfa::row_pixel_bytes(type)) {
    case 1: return p[0];
    case 2: memcpy(&u16, p, 2); return type == hfa::S16 ? int16_t(u16) : u16;
    default: memcpy(&u32, p, 4); return type == hfa::S32 ? int32_t(u32) : (long long)u32;
    }
}

struct Expected {
    const char* name;
    int pixel_type, bands;
    bool georeferenced;
    int colours;
};

// Pixel types as GDAL's HFA writer chose them for each file.
const Expected kFiles[] = {
    {"u8-stats-7x5", hfa::U8, 1, true, 0},      {"s8-7x5", hfa::S8, 1, false, 0},
    {"u16-stats-7x5", hfa::U16, 1, true, 0},    {"s16-7x5", hfa::S16, 1, true, 0},
    {"u32-stats-7x5", hfa::U32, 1, true, 0},    {"s32-7x5", hfa::S32, 1, true, 0},
    {"f32-stats-7x5", hfa::F32, 1, true, 0},    {"nbits1-9x4", hfa::U1, 1, true, 0},
    {"nbits2-9x4", hfa::U2, 1, true, 0},        {"nbits4-9x4", hfa::U4, 1, true, 0},
    {"rle-u8-70x3", hfa::U8, 1, true, 0},       {"rle-s16-9x4", hfa::S16, 1, true, 0},
    {"rgb-6x4", hfa::U8, 3, true, 0},           {"palette-7x5", hfa::U8, 1, true, 5},
    {"spill-6x4", hfa::U8, 1, true, 0},         {"layers40-3x2", hfa::U8, 40, false, 0},
};

// From expected.txt: GDAL's origin (pixel corner) and pixel size.
bool gdal_georef(const std::string& name, double g[4]) {
    std::ifstream in(tarntest::data_path("imagine/expected.txt"));
    std::string file;
    int w, h, b, c;
    while (in >> file >> w >> h >> b >> g[0] >> g[1] >> g[2] >> g[3] >> c)
        if (file == name + ".img") return true;
    return false;
}

TEST(HfaReader, FilesReadAsGdalReadThem) {
    for (const Expected& e : kFiles) {
        SCOPED_TRACE(e.name);
        const std::string path = tarntest::data_path(std::string("imagine/") + e.name + ".img");
        const Values want = read_values(tarntest::data_path(std::string("imagine/") + e.name + ".values"));
        hfa::File* f = hfa::open(path.c_str());
        ASSERT_NE(f, nullptr);
        ASSERT_EQ(hfa::layer_count(f), e.bands);
        for (int b = 0; b < e.bands; ++b) {
            hfa::LayerInfo info;
            ASSERT_EQ(hfa::layer_info(f, b, &info), 0);
            EXPECT_EQ(std::vector<int>({info.width, info.height, info.pixel_type}),
                      std::vector<int>({want.width, want.height, e.pixel_type}));
            std::vector<uint8_t> row(size_t(info.width) * hfa::row_pixel_bytes(info.pixel_type));
            long long lo = 0, hi = 0;
            for (int y = 0; y < info.height; ++y) {
                ASSERT_EQ(hfa::read_row(f, b, y, row.data()), 0) << "row " << y;
                for (int x = 0; x < info.width; ++x) {
                    long long v = pixel(row, info.pixel_type, x);
                    long long w = want.v[(size_t(y) * e.bands + b) * info.width + x];
                    if (info.pixel_type == hfa::S8) w &= 0xff;
                    ASSERT_EQ(v, w) << "x " << x << " y " << y << " band " << b;
                    if ((x == 0 && y == 0) || v < lo) lo = v;
                    if ((x == 0 && y == 0) || v > hi) hi = v;
                }
            }
            hfa::Statistics s;
            ASSERT_EQ(hfa::statistics(f, b, &s), 0);
            if (info.pixel_type != hfa::F32 && info.pixel_type != hfa::S8) {
                EXPECT_EQ(s.minimum, double(lo));  // kept or counted, the extremes are the data's
                EXPECT_EQ(s.maximum, double(hi));
            }
        }
        hfa::MapInfo map;
        double g[4];
        ASSERT_TRUE(gdal_georef(e.name, g));
        if (e.georeferenced) {
            ASSERT_EQ(hfa::map_info(f, 0, &map), 1);
            // The file stores the upper-left pixel's centre: GDAL's corner plus half a pixel.
            EXPECT_DOUBLE_EQ(map.upper_left_x, g[0] + g[2] / 2);
            EXPECT_DOUBLE_EQ(map.upper_left_y, g[1] - g[3] / 2);
            EXPECT_DOUBLE_EQ(map.pixel_width, g[2]);
            EXPECT_DOUBLE_EQ(map.pixel_height, g[3]);
        } else {
            EXPECT_EQ(hfa::map_info(f, 0, &map), 0);
        }
        int count = -1;
        const double* rgb[3];
        EXPECT_EQ(hfa::colour_table(f, 0, &count, rgb), e.colours ? 1 : 0);
        EXPECT_EQ(count, e.colours);
        hfa::close(f);
    }
}

TEST(HfaReader, PaletteEntriesAreGdalsColours) {
    // The palette fixture's PPM shows each pixel in GDAL's colour for its value.
    const std::string path = tarntest::data_path("imagine/palette-7x5.img");
    const tarntest::Pnm ppm = tarntest::read_pnm(tarntest::data_path("imagine/palette-7x5.ppm"));
    hfa::File* f = hfa::open(path.c_str());
    ASSERT_NE(f, nullptr);
    int count;
    const double* rgb[3];
    ASSERT_EQ(hfa::colour_table(f, 0, &count, rgb), 1);
    std::vector<uint8_t> row(7);
    for (int y = 0; y < 5; ++y) {
        ASSERT_EQ(hfa::read_row(f, 0, y, row.data()), 0);
        for (int x = 0; x < 7; ++x)
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(rgb[c][row[x]] * 255, ppm.at(x, y, c), 0.5) << x << "," << y;
    }
    hfa::close(f);
}

TEST(HfaReader, IdentifiesOnlyTheHeaderTag) {
    const uint8_t good[] = "EHFA_HEADER_TAG";
    const uint8_t bad[] = "EHFA_HEADER_TAX";
    EXPECT_TRUE(hfa::identify(good, sizeof good));
    EXPECT_FALSE(hfa::identify(good, 15));
    EXPECT_FALSE(hfa::identify(bad, sizeof bad));
}

// Entry positions found by walking the tree as stored, for the damage below.
uint32_t u32(const Bytes& b, size_t at) { return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t(b[at + 3]) << 24; }
void put32(Bytes& b, size_t at, uint32_t v) {
    for (int k = 0; k < 4; ++k) b[at + k] = uint8_t(v >> (8 * k));
}
uint32_t root_of(const Bytes& b) { return u32(b, u32(b, 16) + 8); }
uint32_t child_named(const Bytes& b, uint32_t parent, const char* name) {
    for (uint32_t e = u32(b, parent + 12), n = 0; e && n < 100; e = u32(b, e), ++n)
        if (strcmp(reinterpret_cast<const char*>(&b[e + 24]), name) == 0) return e;
    return 0;
}

// Opens the bytes as a file and reads every row of every layer: -1 when the
// open or a row fails, 0 when all reads.
int read_all(const Bytes& bytes) {
    tarntest::TempDir dir;
    const std::string path = dir.write("x.img", bytes);
    hfa::File* f = hfa::open(path.c_str());
    if (!f) return -1;
    int result = 0;
    for (int k = 0; k < hfa::layer_count(f) && result == 0; ++k) {
        hfa::LayerInfo info;
        hfa::layer_info(f, k, &info);
        std::vector<uint8_t> row(size_t(info.width) * 4);
        for (int y = 0; y < info.height && result == 0; ++y) result = hfa::read_row(f, k, y, row.data());
    }
    hfa::close(f);
    return result;
}

TEST(HfaReader, DamagedStructuresFail) {
    const Bytes plain = tarntest::read_file(tarntest::data_path("imagine/u8-stats-7x5.img"));
    const Bytes coded = tarntest::read_file(tarntest::data_path("imagine/rle-u8-70x3.img"));
    ASSERT_EQ(read_all(plain), 0);
    ASSERT_EQ(read_all(coded), 0);
    const uint32_t layer = child_named(plain, root_of(plain), "Layer_1");
    ASSERT_NE(layer, 0u);
    const uint32_t coded_layer = child_named(coded, root_of(coded), "Layer_1");
    const uint32_t dms = child_named(coded, coded_layer, "RasterDMS");
    ASSERT_NE(dms, 0u);
    // Edms_State as GDAL writes it: three u32 and an enum, then the block list
    // (count and position), then 14 bytes a block: u16 file, u32 offset, u32 size, ...
    const uint32_t first_block = u32(coded, u32(coded, dms + 16) + 14 + 8 + 2);

    struct Case {
        const char* what;
        Bytes bytes;
    };
    std::vector<Case> cases;
    auto add = [&](const char* what, const Bytes& base, auto change) {
        Bytes b = base;
        change(b);
        cases.push_back({what, b});
    };
    add("a sibling that is itself", plain, [&](Bytes& b) { put32(b, layer, layer); });
    add("a child that is its parent", plain, [&](Bytes& b) { put32(b, layer + 12, root_of(b)); });
    add("the first child past the end", plain, [&](Bytes& b) { put32(b, root_of(b) + 12, uint32_t(b.size()) + 5); });
    add("layer data past the end", plain, [&](Bytes& b) { put32(b, layer + 16, uint32_t(b.size()) - 4); });
    add("the dictionary past the end", plain, [&](Bytes& b) { put32(b, u32(b, 16) + 14, uint32_t(b.size()) + 1); });
    add("a block width beyond any layer", plain, [&](Bytes& b) { put32(b, u32(b, layer + 16) + 12, 1u << 30); });
    add("a block past the end", coded, [&](Bytes& b) { put32(b, u32(b, dms + 16) + 14 + 8 + 2, uint32_t(b.size()) - 2); });
    add("a block record larger than its block", coded,
        [&](Bytes& b) { put32(b, u32(b, dms + 16) + 14 + 8 + 6, 1u << 20); });
    add("a run that expands past its block", coded, [&](Bytes& b) {
        b[first_block + 13] = 0xbf;  // two more count bytes: a run of 0x3fffff pixels
        b[first_block + 14] = 0xff;
        b[first_block + 15] = 0xff;
    });
    add("more runs than counters", coded, [&](Bytes& b) { put32(b, first_block + 4, 0x7fffffff); });
    add("values before the counters", coded, [&](Bytes& b) { put32(b, first_block + 8, 3); });
    add("a value width of 3 bits", coded, [&](Bytes& b) { b[first_block + 12] = 3; });
    for (const Case& c : cases) EXPECT_EQ(read_all(c.bytes), -1) << c.what;

    // Cut anywhere, a file fails or reads, never reading outside itself.
    for (size_t cut = 0; cut < plain.size(); cut += 97) read_all(Bytes(plain.begin(), plain.begin() + cut));
}

TEST(HfaReader, SpillFileIsNeeded) {
    tarntest::TempDir dir;
    const std::string path = dir.copy_in(tarntest::data_path("imagine/spill-6x4.img"), "spill-6x4.img");
    hfa::File* f = hfa::open(path.c_str());
    ASSERT_NE(f, nullptr);
    std::vector<uint8_t> row(6);
    EXPECT_EQ(hfa::read_row(f, 0, 0, row.data()), -1);  // no .ige beside it
    hfa::close(f);
    Bytes ige = tarntest::read_file(tarntest::data_path("imagine/spill-6x4.ige"));
    ige[0] = 'X';
    dir.write("spill-6x4.ige", ige);
    f = hfa::open(path.c_str());
    EXPECT_EQ(hfa::read_row(f, 0, 0, row.data()), -1);  // not a spill file
    hfa::close(f);
}

}  // namespace
