// The TIFF tag library against tiffdump's listings of the fixtures and the
// shared samples (both byte orders), strip reads against GDAL's block
// offsets and sizes, the write side against what tiffinfo and GDAL read back
// (make_tifflib.sh), and the record's rules on hand-made files.

#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"
#include <tarnimage/tarn_file.h>
#include <tarnimage/tifflib.h>

namespace {

using Bytes = std::vector<unsigned char>;

std::string read_text(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// A file opened for reading with its first IFD; closed with the object.
struct TagReader {
    FILE* file = nullptr;
    TifFile* tif = nullptr;
    TifIfd* ifd = nullptr;
    TifError error = {9, 9, 9};
    int count = -1;
    explicit TagReader(const std::string& path) {
        file = tarn_fopen(path.c_str(), "r");
        tif = file ? tifOpen(file, 0x4949, 42, 0, &error) : nullptr;
        ifd = tif ? tifReadIFD(tif, &count, &error) : nullptr;
    }
    ~TagReader() {
        if (tif) tifClose(tif, 0, &error);
        if (file) tarn_fclose(file);
    }
    uint32_t value(int tag) {
        uint32_t n = 0, v = 0;
        return tifReadTag(tif, ifd, tag, &n, &v, &error) ? v : 0;
    }
    uint32_t count_of(int tag) {
        uint32_t n = 0, v = 0;
        return tifReadTag(tif, ifd, tag, &n, &v, &error) ? n : 0;
    }
};

// The value field's four bytes as the file holds them.
void field_bytes(const TifError& e, uint32_t value, uint8_t out[4]) {
    for (int i = 0; i < 4; ++i) out[i] = uint8_t(e.swap ? value >> (24 - 8 * i) : value >> (8 * i));
}

std::string ascii(const uint8_t* p, size_t n) {
    std::string s;
    char octal[8];
    for (size_t i = 0; i < n; ++i) {
        const uint8_t c = p[i];
        switch (c) {
        case 0: s += "\\0"; break;
        case '\n': s += "\\n"; break;
        case '\t': s += "\\t"; break;
        case '\r': s += "\\r"; break;
        default:
            if (c >= 32 && c < 127) {
                s += char(c);
            } else {
                snprintf(octal, sizeof octal, "\\%03o", c);
                s += octal;
            }
        }
    }
    return s;
}

// One tag as tiffdump prints it after the name: "TYPE_NUMBER COUNT<values>".
std::string dump_tag(TagReader& r, int index) {
    int tag = 0, type = 0;
    uint32_t count = 0, value = 0;
    if (!tifReadNTag(r.tif, r.ifd, index, &tag, &type, &count, &value, &r.error)) return "unreadable";
    const int size = tifBytesPerType(type);
    std::vector<uint8_t> data(size_t(count) * (size ? size : 1) + 8, 0);
    if (uint64_t(count) * size <= 4) {
        if (type == 3 && count == 1) {
            memcpy(data.data(), &value, 2);  // host order
        } else if (type == 4 && count == 1) {
            memcpy(data.data(), &value, 4);
        } else {
            uint8_t raw[4];
            field_bytes(r.error, value, raw);
            for (uint32_t i = 0; i < count && size == 2; ++i) {
                const uint16_t w = r.error.swap ? uint16_t(raw[2 * i] << 8 | raw[2 * i + 1])
                                                : uint16_t(raw[2 * i + 1] << 8 | raw[2 * i]);
                memcpy(&data[2 * i], &w, 2);
            }
            if (size == 1) memcpy(data.data(), raw, count);
        }
    } else if (tifReadData(r.tif, r.ifd, tag, 0, data.data(), count, TIF_DATA_ITEMS, &r.error) != 1) {
        return "no data";
    }
    std::ostringstream s;
    s << tag << " " << type << " " << count << "<";
    char text[64];
    if (type == 2) s << ascii(data.data(), count);
    for (uint32_t i = 0; i < count && type != 2; ++i) {
        if (i) s << " ";
        uint16_t w;
        uint32_t l[2];
        double d;
        switch (type) {
        case 1:
        case 7: snprintf(text, sizeof text, "%#02x", data[i]); break;
        case 3: memcpy(&w, &data[2 * i], 2), snprintf(text, sizeof text, "%u", w); break;
        case 4: memcpy(l, &data[4 * i], 4), snprintf(text, sizeof text, "%u", l[0]); break;
        case 5: memcpy(l, &data[8 * i], 8), snprintf(text, sizeof text, "%g", double(l[0]) / l[1]); break;
        case 12: memcpy(&d, &data[8 * i], 8), snprintf(text, sizeof text, "%g", d); break;
        default: snprintf(text, sizeof text, "?");
        }
        s << text;
    }
    s << ">";
    return s.str();
}

// tiffdump's lines of directory 0 in the same form.
std::vector<std::string> expected_dump(const std::string& path) {
    std::vector<std::string> out;
    std::istringstream in(read_text(path));
    const std::regex line(R"(^.* \((\d+)\) \S+ \((\d+)\) (\d+)<(.*)>$)");
    const std::regex hex_tag(R"(^(\d+) \(0x[0-9a-f]+\) \S+ \((\d+)\) (\d+)<(.*)>$)");
    std::string text;
    int directory = -1;
    while (std::getline(in, text)) {
        if (text.rfind("Directory ", 0) == 0) ++directory;
        if (directory != 0) continue;
        std::smatch m;
        if (std::regex_match(text, m, hex_tag) || std::regex_match(text, m, line))
            out.push_back(m[1].str() + " " + m[2].str() + " " + m[3].str() + "<" + m[4].str() + ">");
    }
    return out;
}

std::vector<std::string> library_dump(const std::string& path) {
    TagReader r(path);
    std::vector<std::string> out;
    if (!r.ifd) return {"no IFD"};
    for (int i = 0; i < r.count; ++i) out.push_back(dump_tag(r, i));
    return out;
}

const char* const kFixtures[] = {
    "grey-strips4", "rgb-16bit", "rgb-band-packbits-strips10", "rgb-band-strips4", "rgb-band-strips6",
    "rgb-bigendian-band-packbits", "rgb-bigendian-strips4", "rgb-deflate", "rgb-fillorder2", "rgb-jpeg",
    "rgb-lzw", "rgb-lzw-predictor2", "rgb-none-onestrip", "rgb-none-strips10", "rgb-none-strips4",
    "rgb-none-strips12", "rgb-packbits-strips10", "rgb-packbits-strips5", "rgb-tiled16", "rgba", "written-rgb",
};

const char* const kSamples[] = {
    "byte.tif", "byte_JPEG_tiled.tif", "byte_LZW_predictor_2.tif", "byte_LZW_tiled.tif", "byte_nogeoref.tif",
    "float32.tif", "geomatrix.tif", "int16_big_endian.tif", "miniswhite-1c-1b.tiff", "palette-1c-4b.tiff",
    "rgb-3c-16b.tiff", "rgba.tif", "rgbsmall.tif", "rgbsmall_cmyk.tif", "sasha.tif", "separate_tiled.tif",
    "seperate_strip.tif", "slim_g4.tif", "small_world_pct.tif", "utmsmall.tif", "ycbcr_22_lzw.tif",
    "zackthecat.tif",
};

TEST(TagLibrary, FixtureTagsEqualTiffdump) {
    for (const char* name : kFixtures) {
        SCOPED_TRACE(name);
        const std::string base = tarntest::data_path(std::string("tifflib/") + name);
        const std::vector<std::string> want = expected_dump(base + ".tiffdump");
        ASSERT_FALSE(want.empty());
        EXPECT_EQ(library_dump(base + ".tif"), want);
    }
}

TEST(TagLibrary, SampleAndGeoFixtureTagsEqualTiffdump) {
    for (const char* name : {"geo-area.tif", "geo-point.tif", "geo-worldtag.tif", "plain-res300.tif"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(library_dump(tarntest::data_path(std::string("tiff/") + name)),
                  expected_dump(tarntest::data_path(std::string("tifflib/tiff/") + name + ".tiffdump")));
    }
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared samples";
    for (const char* name : kSamples) {
        SCOPED_TRACE(name);
        const std::vector<std::string> want =
            expected_dump(tarntest::data_path(std::string("tifflib/samples/") + name + ".tiffdump"));
        ASSERT_FALSE(want.empty());
        EXPECT_EQ(library_dump(tarntest::sample_path(std::string("tiff/") + name)), want);
    }
}

// Each strip GDAL locates by BLOCK_OFFSET and BLOCK_SIZE: a strip read of
// the tag library gives its bytes (mode 3 for a lone strip, else mode 5).
TEST(TagLibrary, StripReadsGiveGdalsBlocks) {
    std::istringstream in(read_text(tarntest::data_path("tifflib/blocks.txt")));
    std::string name;
    int band, row;
    uint32_t offset, size;
    int checked = 0;
    while (in >> name >> band >> row >> offset >> size) {
        SCOPED_TRACE(name + " band " + std::to_string(band) + " strip " + std::to_string(row));
        const std::string path = tarntest::data_path("tifflib/" + name);
        TagReader r(path);
        ASSERT_NE(r.ifd, nullptr);
        const uint32_t strips = r.count_of(273);
        const bool planar2 = r.value(284) == 2;
        if (!planar2 && band > 1) continue;  // the same strips again
        const uint32_t index = (planar2 ? (strips / r.value(277)) * (band - 1) : 0) + row;
        const Bytes file = tarntest::read_file(path);
        Bytes got(size + 16, 0xEE);
        const int mode = strips == 1 ? TIF_DATA_BYTES : TIF_DATA_STRIP;
        ASSERT_EQ(tifReadData(r.tif, r.ifd, 273, index, got.data(), size, mode, &r.error), long(size));
        ASSERT_LE(size_t(offset) + size, file.size());
        EXPECT_EQ(Bytes(got.begin(), got.begin() + size), Bytes(file.begin() + offset, file.begin() + offset + size));
        ++checked;
    }
    EXPECT_GT(checked, 40);
}

// Header, IFD and tags of a little- or big-endian file, built by hand.
struct Builder {
    bool big;
    Bytes b;
    explicit Builder(bool big_endian) : big(big_endian) {
        b = big ? Bytes{'M', 'M', 0, 42, 0, 0, 0, 8} : Bytes{'I', 'I', 42, 0, 8, 0, 0, 0};
    }
    void u16(size_t at, uint16_t v) {
        b[at] = uint8_t(big ? v >> 8 : v), b[at + 1] = uint8_t(big ? v : v >> 8);
    }
    void u32(size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i) b[at + i] = uint8_t(v >> (big ? 24 - 8 * i : 8 * i));
    }
    // An IFD at 8 of the given tags (tag, type, count, value as the field's
    // leading SHORT when short_field, else a LONG), then `tail` bytes.
    struct Entry {
        uint16_t tag, type;
        uint32_t count, value;
        bool short_field;
    };
    void ifd(const std::vector<Entry>& entries, size_t tail = 0) {
        b.resize(8 + 2 + 12 * entries.size() + 4 + tail, 0);
        u16(8, uint16_t(entries.size()));
        for (size_t i = 0; i < entries.size(); ++i) {
            const size_t at = 10 + 12 * i;
            u16(at, entries[i].tag);
            u16(at + 2, entries[i].type);
            u32(at + 4, entries[i].count);
            if (entries[i].short_field) u16(at + 8, uint16_t(entries[i].value));
            else u32(at + 8, entries[i].value);
        }
    }
};

TEST(TagLibrary, RecordRules) {
    tarntest::TempDir dir;
    for (bool big : {false, true}) {
        SCOPED_TRACE(big ? "big-endian" : "little-endian");
        Builder f(big);
        // Data at 8 + 2 + 36 + 4 = 50: four SHORTs, then "abcdefgh".
        f.ifd({{300, 3, 1, 513, true}, {301, 3, 4, 50, false}, {302, 2, 8, 58, false}}, 16);
        for (int i = 0; i < 4; ++i) f.u16(50 + 2 * i, uint16_t(1000 + i));
        memcpy(&f.b[58], "abcdefgh", 8);
        const std::string path = dir.write(big ? "b.tif" : "l.tif", f.b);
        TagReader r(path);
        ASSERT_NE(r.ifd, nullptr);
        EXPECT_EQ(r.error.swap, big ? 1 : 0);
        EXPECT_EQ(r.value(300), 513u);  // a SHORT in the field's leading half
        uint16_t words[4] = {};
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 301, 1, words, 3, TIF_DATA_ITEMS, &r.error), 1);
        EXPECT_EQ(std::vector<int>(words, words + 3), (std::vector<int>{1001, 1002, 1003}));
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 301, 4, words, 1, TIF_DATA_ITEMS, &r.error), 0);
        // Two byte reads of one tag go on where the first stopped; another tag in between starts over.
        char text[8] = {};
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 302, 0, text, 3, TIF_DATA_BYTES, &r.error), 3);
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 302, 0, text + 3, 3, TIF_DATA_BYTES, &r.error), 3);
        EXPECT_EQ(std::string(text, 6), "abcdef");
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 301, 0, words, 1, TIF_DATA_ITEMS, &r.error), 1);
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 302, 0, text, 2, TIF_DATA_BYTES, &r.error), 2);
        EXPECT_EQ(std::string(text, 2), "ab");
        // Only the first IFD is read; an IFD the record does not hold is refused.
        int count = 0;
        EXPECT_EQ(tifReadIFD(r.tif, &count, &r.error), nullptr);
        TifIfd stranger = *r.ifd;
        EXPECT_EQ(tifReadTag(r.tif, &stranger, 300, nullptr, nullptr, &r.error), 0);
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 999, 0, words, 1, TIF_DATA_ITEMS, &r.error), 0);
        EXPECT_EQ(tifReadData(r.tif, r.ifd, 301, 0, words, 1, 4, &r.error), 0);
    }
}

TEST(TagLibrary, OpenRefusals) {
    tarntest::TempDir dir;
    Builder version43(false);
    version43.b[2] = 43;
    version43.ifd({{256, 3, 1, 1, true}});
    Builder too_many(false);
    too_many.ifd({});
    too_many.u16(8, TIF_MAX_TAGS + 1);
    too_many.b.resize(8 + 2 + 12 * (TIF_MAX_TAGS + 1) + 4, 0);
    Builder most(false);
    most.ifd({});
    most.u16(8, TIF_MAX_TAGS);
    most.b.resize(8 + 2 + 12 * TIF_MAX_TAGS + 4, 0);
    Builder cut(false);
    cut.ifd({{256, 3, 1, 1, true}, {257, 3, 1, 1, true}});
    cut.b.resize(cut.b.size() - 6);
    const struct {
        const char* what;
        Bytes bytes;
        bool opens, reads;
    } cases[] = {
        {"version 43", version43.b, false, false},
        {"header cut short", Bytes{'I', 'I', 42, 0, 8}, false, false},
        {"5461 tags", too_many.b, true, false},
        {"5460 tags", most.b, true, true},
        {"IFD cut short", cut.b, true, false},
        {"IFD past the end", Bytes{'I', 'I', 42, 0, 0xFF, 0, 0, 0}, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        TagReader r(dir.write("x.tif", c.bytes));
        EXPECT_EQ(r.tif != nullptr, c.opens);
        EXPECT_EQ(r.ifd != nullptr, c.reads);
    }
}

TEST(TagLibrary, HelpersAndBadRecords) {
    const int sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 0, 8, 0};
    for (int type = 0; type < 14; ++type) EXPECT_EQ(tifBytesPerType(type), sizes[type]) << type;
    const uint16_t words[] = {5, 0, 7, 0};
    EXPECT_EQ(findW(words, 0, 4), 1);
    EXPECT_EQ(findW(words, 9, 4), TIF_NOT_FOUND);
    TifTag tags[] = {{300, 3, 1, 0}, {256, 3, 1, 0}, {273, 4, 1, 0}, {257, 3, 1, 0}};
    tifSortTags(tags, 4);
    EXPECT_EQ(std::vector<int>({tags[0].tag, tags[1].tag, tags[2].tag, tags[3].tag}),
              (std::vector<int>{256, 257, 273, 300}));
    uint16_t at = 0;
    EXPECT_EQ(tifSearchTags(tags, 273, 4, &at), 1);
    EXPECT_EQ(at, 2);
    EXPECT_EQ(tifSearchTags(tags, 274, 4, &at), 0);
    EXPECT_EQ(at, TIF_NOT_FOUND);
    const TifError reading_big = {1, 0, 1}, writing_big = {1, 1, 1};
    EXPECT_EQ(uSwapValue(&reading_big, 0x01020000u), 0x0201u);
    EXPECT_EQ(uSwapValue(&writing_big, 0x0102u), 0x02010000u);
    TifFile dead;
    memset(&dead, 0, sizeof dead);
    TifError e;
    EXPECT_EQ(tifClose(&dead, 0, &e), 0);
    EXPECT_EQ(tifMakeIFD(&dead, 4, &e), nullptr);
    EXPECT_EQ(tifAlloc(&dead, 4), -1);
    EXPECT_EQ(tifReadIFD(nullptr, nullptr, &e), nullptr);
}

// A file opened to read is left as it was by tifClose; tifExit frees
// without writing (the sanitizer checks the freeing).
TEST(TagLibrary, ClosingAReadFileWritesNothing) {
    tarntest::TempDir dir;
    const std::string path = dir.copy_in(tarntest::data_path("tifflib/rgb-none-strips4.tif"), "a.tif");
    const Bytes before = tarntest::read_file(path);
    FILE* file = tarn_fopen(path.c_str(), "r+");
    ASSERT_NE(file, nullptr);
    TifError e;
    TifFile* tif = tifOpen(file, 0x4949, 42, 0, &e);
    int count = 0;
    ASSERT_NE(tifReadIFD(tif, &count, &e), nullptr);
    EXPECT_EQ(tifClose(tif, 1, &e), 1);
    EXPECT_EQ(tarntest::read_file(path), before);
    FILE* again = tarn_fopen(path.c_str(), "r");
    TifFile* other = tifOpen(again, 0x4949, 42, 0, &e);
    ASSERT_NE(tifReadIFD(other, &count, &e), nullptr);
    tifExit(other);
    tarn_fclose(again);
}

// 6 x 4 RGB in two strips of two rows, tags given out of order. The pixels
// are what written-rgb.ppm, GDAL's decode of the file, must hold.
uint8_t written_sample(int x, int y, int c) { return uint8_t(x * 40 + y * 7 + c * 85); }

Bytes write_rgb(const std::string& path) {
    FILE* file = tarn_fopen(path.c_str(), "w+");
    if (!file) return {};
    TifError e;
    TifFile* tif = tifOpen(file, 0x4949, 42, 1, &e);
    TifIfd* ifd = tifMakeIFD(tif, 14, &e);
    const uint16_t bits[3] = {8, 8, 8};
    const uint32_t resolution[2] = {72, 1};
    const uint32_t no_offsets[2] = {0, 0}, counts[2] = {36, 36};
    bool ok = tifWriteTag(tif, ifd, 279, 4, 0, 0, &e) && tifWriteData(tif, ifd, 279, 0, counts, 2, 2, &e) &&
              tifWriteTag(tif, ifd, 257, 3, 1, 4, &e) && tifWriteTag(tif, ifd, 256, 3, 1, 6, &e) &&
              tifWriteTag(tif, ifd, 258, 3, 0, 0, &e) && tifWriteData(tif, ifd, 258, 0, bits, 3, 2, &e) &&
              tifWriteTag(tif, ifd, 259, 3, 1, 1, &e) && tifWriteTag(tif, ifd, 262, 3, 1, 2, &e) &&
              tifWriteTag(tif, ifd, 277, 3, 1, 3, &e) && tifWriteTag(tif, ifd, 278, 3, 1, 2, &e) &&
              tifWriteTag(tif, ifd, 284, 3, 1, 1, &e) && tifWriteTag(tif, ifd, 296, 3, 1, 2, &e) &&
              tifWriteTag(tif, ifd, 282, 5, 0, 0, &e) && tifWriteData(tif, ifd, 282, 0, resolution, 1, 2, &e) &&
              tifWriteTag(tif, ifd, 283, 5, 0, 0, &e) && tifWriteData(tif, ifd, 283, 0, resolution, 1, 2, &e) &&
              tifWriteTag(tif, ifd, 273, 4, 0, 0, &e) && tifWriteData(tif, ifd, 273, 0, no_offsets, 2, 2, &e);
    for (int strip = 0; ok && strip < 2; ++strip) {
        uint8_t data[36];
        for (int i = 0; i < 36; ++i) data[i] = written_sample(i / 3 % 6, strip * 2 + i / 18, i % 3);
        ok = tifWriteData(tif, ifd, 273, uint32_t(strip), data, 36, TIF_DATA_STRIP, &e) == 1;
    }
    // The tag exists: its count and value are replaced, its type stays.
    uint16_t at = 0;
    ok = ok && tifWriteTag(tif, ifd, 296, 4, 1, 2, &e) && ifd->count == 13 && tifSearchTags(ifd->tags, 296, 13, &at) &&
         ifd->tags[at].type == 3;
    EXPECT_TRUE(ok);
    EXPECT_EQ(tifClose(tif, 1, &e), 1);
    return tarntest::read_file(path);
}

TEST(TiffWriter, RoundTrip) {
    tarntest::TempDir dir;
    if (const char* target = getenv("TARN_TIFFLIB_WRITE")) {
        write_rgb(target);
        return;
    }
    const Bytes written = write_rgb(dir.file("w.tif"));
    EXPECT_EQ(written, tarntest::read_file(tarntest::data_path("tifflib/written-rgb.tif")));
    // What GDAL read back.
    const tarntest::Pnm gdal = tarntest::read_pnm(tarntest::data_path("tifflib/written-rgb.ppm"));
    ASSERT_EQ(std::vector<int>({gdal.width, gdal.height, gdal.channels}), (std::vector<int>{6, 4, 3}));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 6; ++x)
            for (int c = 0; c < 3; ++c) ASSERT_EQ(gdal.at(x, y, c), written_sample(x, y, c)) << x << "," << y;
    // What tiffinfo read back: the tags, and no complaint.
    const std::string info = read_text(tarntest::data_path("tifflib/written-rgb.tiffinfo"));
    for (const char* line : {"Image Width: 6 Image Length: 4", "Resolution: 72, 72 pixels/inch", "Bits/Sample: 8",
                             "Compression Scheme: None", "Photometric Interpretation: RGB color",
                             "Samples/Pixel: 3", "Rows/Strip: 2", "Planar Configuration: single image plane"})
        EXPECT_NE(info.find(line), std::string::npos) << line;
    EXPECT_EQ(info.find("Warning"), std::string::npos);
    EXPECT_EQ(info.find("Error"), std::string::npos);
    // The tags come back sorted, as tiffdump lists them.
    EXPECT_EQ(library_dump(dir.file("w.tif")), expected_dump(tarntest::data_path("tifflib/written-rgb.tiffdump")));
}

TEST(TiffWriter, Refusals) {
    tarntest::TempDir dir;
    FILE* file = tarn_fopen(dir.file("r.tif").c_str(), "w+");
    TifError e;
    TifFile* tif = tifOpen(file, 0x4949, 42, 1, &e);
    TifIfd* ifd = tifMakeIFD(tif, 1, &e);
    ASSERT_NE(ifd, nullptr);
    const uint8_t bytes[4] = {1, 2, 3, 4};
    EXPECT_EQ(tifWriteTag(tif, ifd, 256, 3, 1, 5, &e), 1);
    EXPECT_EQ(tifWriteTag(tif, ifd, 257, 3, 1, 5, &e), 0);  // no room
    EXPECT_EQ(tifWriteData(tif, ifd, 999, 0, bytes, 4, 2, &e), 0);  // no such tag
    EXPECT_EQ(tifWriteData(tif, ifd, 256, 0, bytes, 4, TIF_DATA_STRIP, &e), 0);  // not a LONG
    EXPECT_EQ(tifMakeIFD(tif, TIF_MAX_TAGS + 1, &e), nullptr);
    EXPECT_EQ(tifClose(tif, 1, &e), 1);
}

}  // namespace
