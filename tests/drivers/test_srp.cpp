// ASRP/USRP driver: the six tile codings on hand-made tiles whose pixels are
// known, then the shared USRP samples (one per coding in use) through
// identification and the channel against GDAL's decode (make_srp.sh).

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/identify.h"
#include "drivers/military/srp.h"
#include "test_support.h"

namespace {

using Tile = std::vector<uint8_t>;

Tile decode_runs(const std::vector<uint8_t>& data, int pcb, int pvb, int ws1 = 7, int ws2 = 9, int* result = nullptr) {
    Tile out(SRP_TILE_BYTES, 0);
    const int r = srp_decode_runs(data.data(), data.size(), pcb, pvb, ws1, ws2, out.data());
    if (result) *result = r;
    return out;
}

// Data repeated for all 128 lines.
std::vector<uint8_t> every_line(const std::vector<uint8_t>& line) {
    std::vector<uint8_t> data;
    for (int i = 0; i < 128; ++i) data.insert(data.end(), line.begin(), line.end());
    return data;
}

// Expected line from (count, value) runs.
std::vector<uint8_t> line_of(const std::vector<std::pair<int, int>>& runs) {
    // runs beyond column 128 are cut
    std::vector<uint8_t> line;
    for (auto [count, value] : runs) line.insert(line.end(), size_t(count), uint8_t(value));
    line.resize(128, 0);
    return line;
}

std::vector<uint8_t> line_at(const Tile& t, int y) {
    return std::vector<uint8_t>(t.begin() + y * 128, t.begin() + (y + 1) * 128);
}

TEST(SrpTiles, RawCodings) {
    std::vector<uint8_t> bytes(SRP_TILE_BYTES);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = uint8_t(i * 7 + 3);
    Tile out(SRP_TILE_BYTES, 0);
    ASSERT_EQ(srp_decode_raw(bytes.data(), bytes.size(), 8, out.data()), 0);
    EXPECT_EQ(out, bytes);

    std::vector<uint8_t> nibbles(SRP_TILE_BYTES / 2, 0x5C);
    nibbles[0] = 0x1F;
    nibbles.back() = 0xA0;
    ASSERT_EQ(srp_decode_raw(nibbles.data(), nibbles.size(), 4, out.data()), 0);
    EXPECT_EQ(std::vector<int>({out[0], out[1], out[2], out[3], out[16382], out[16383]}),
              std::vector<int>({1, 15, 5, 12, 10, 0}));

    EXPECT_EQ(srp_decode_raw(bytes.data(), SRP_TILE_BYTES - 1, 8, out.data()), -1);
    EXPECT_EQ(srp_decode_raw(nibbles.data(), SRP_TILE_BYTES / 2 - 1, 4, out.data()), -1);
}

TEST(SrpTiles, RunCodingsGiveTheirLines) {
    const struct {
        const char* what;
        int pcb, pvb;
        std::vector<uint8_t> line_data;
        std::vector<std::pair<int, int>> runs;  // ws2 = 9 first, ws1 = 7 second
    } cases[] = {
        {"count/value pairs", 8, 8, {100, 3, 28, 200}, {{100, 3}, {28, 200}}},
        {"two-colour runs of 8 bits", 8, 0, {50, 60, 10, 8}, {{50, 9}, {60, 7}, {10, 9}, {8, 7}}},
        // 16 columns, then four (15, 15) bytes: the last run passes column 128 and is cut
        {"two-colour runs of 4 bits", 4, 0, {0xF1, 0xFF, 0xFF, 0xFF, 0xFF},
         {{15, 9}, {1, 7}, {15, 9}, {15, 7}, {15, 9}, {15, 7}, {15, 9}, {15, 7}, {15, 9}, {15, 7}}},
        // as the samples write it: a line ending on a pair's first code has only its two bytes
        {"12-bit pairs, a line ending on a first code", 4, 8,
         {0xF1, 0xFF, 0x02, 0xF1, 0xFF, 0x02, 0xF1, 0xFF, 0x02, 0xF1, 0xFF, 0x02, 0x81, 0x00},
         {{15, 0x1F}, {15, 2}, {15, 0x1F}, {15, 2}, {15, 0x1F}, {15, 2}, {15, 0x1F}, {15, 2}, {8, 0x10}}},
        // 128 columns do not end a line of this coding; the next high nibble does,
        // and the low nibble behind it is dropped, not carried
        {"two-colour runs of 4 bits, a line ending on a high nibble", 4, 0,
         {0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x15},
         {{8, 9}, {8, 7}, {8, 9}, {8, 7}, {8, 9}, {8, 7}, {8, 9}, {8, 7},
          {8, 9}, {8, 7}, {8, 9}, {8, 7}, {8, 9}, {8, 7}, {8, 9}, {8, 7}}},
        {"12-bit pairs", 4, 8, {0x42, 0x1C, 0xAB, 0xF3, 0x0F, 0x31, 0xF3, 0x2F, 0x33, 0xF3, 0x4F, 0x35, 0xF3, 0x67, 0x37},
         {{4, 0x21}, {12, 0xAB}, {15, 0x30}, {15, 0x31}, {15, 0x32}, {15, 0x33}, {15, 0x34}, {15, 0x35}, {15, 0x36},
          {7, 0x37}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        int result = 0;
        const Tile t = decode_runs(every_line(c.line_data), c.pcb, c.pvb, 7, 9, &result);
        ASSERT_EQ(result, 0);
        for (int y : {0, 1, 64, 127}) EXPECT_EQ(line_at(t, y), line_of(c.runs)) << "line " << y;
    }
}

TEST(SrpTiles, RunPastTheLineEndIsCutAndTheNextLineStartsAfresh) {
    // Line 0: 120 of 5 then 30 of 6 (8 past the end); every later line: 128 of 4.
    std::vector<uint8_t> data = {120, 5, 30, 6};
    for (int i = 1; i < 128; ++i) data.insert(data.end(), {128, 4});
    int result = 0;
    const Tile t = decode_runs(data, 8, 8, 0, 0, &result);
    ASSERT_EQ(result, 0);
    EXPECT_EQ(line_at(t, 0), line_of({{120, 5}, {8, 6}}));
    EXPECT_EQ(line_at(t, 1), line_of({{128, 4}}));
    EXPECT_EQ(line_at(t, 127), line_of({{128, 4}}));
}

TEST(SrpTiles, DataEndingBeforeTheLastLineFailsAndUnknownCodingsLeaveTheTile) {
    int result = 0;
    decode_runs(std::vector<uint8_t>(254, 128), 8, 8, 0, 0, &result);  // 127 lines of 128
    EXPECT_EQ(result, -1);
    decode_runs({}, 4, 8, 0, 0, &result);
    EXPECT_EQ(result, -1);
    const Tile t = decode_runs({1, 2, 3}, 8, 4, 0, 0, &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(t, Tile(SRP_TILE_BYTES, 0));
}

// GDAL's decode of one product: colours and row hashes.
struct Expected {
    int rows = 0, columns = 0;
    std::vector<std::vector<int>> colours;
    std::vector<uint32_t> hashes;
};

Expected read_expected(const std::string& product) {
    Expected e;
    std::ifstream in(tarntest::data_path("srp/" + product + ".txt"));
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream f(line);
        std::string key;
        f >> key;
        if (key == "size") f >> e.rows >> e.columns;
        if (key == "colour") {
            int i, r, g, b;
            f >> i >> r >> g >> b;
            e.colours.push_back({i, r, g, b});
        }
        if (key == "row") {
            int y;
            std::string h;
            f >> y >> h;
            e.hashes.push_back(uint32_t(std::stoul(h, nullptr, 16)));
        }
    }
    return e;
}

class SrpSamples : public ::testing::TestWithParam<const char*> {
protected:
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    ~SrpSamples() override { m_manager->release(); }
};

TEST_P(SrpSamples, AdmittedBySrpAndRowsEqualGdal) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const Expected e = read_expected(GetParam());
    ASSERT_EQ(e.hashes.size(), 128u);
    const std::string path = tarntest::sample_path(std::string("srp/") + GetParam() + "/FKUSRP01.IMG");
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    ASSERT_EQ(get_image_type_from_name(path.c_str(), resolved.data(), &type), 1);
    char keyword[64] = {};
    ASSERT_GT(II_GetUDFKeyword(uint32_t(type), keyword, sizeof keyword), 0);
    EXPECT_STREQ(keyword, "SRP");
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
    EXPECT_EQ(std::vector<int>({image_rows(image), image_columns(image)}), std::vector<int>({e.rows, e.columns}));
    uint8_t rgb[3][256] = {};
    int first = -1, last = -1;
    get_image_colormap(image, &first, &last, rgb[0], rgb[1], rgb[2]);
    for (const auto& c : e.colours)
        EXPECT_EQ(std::vector<int>({rgb[0][c[0]], rgb[1][c[0]], rgb[2][c[0]]}), std::vector<int>({c[1], c[2], c[3]}))
            << "colour " << c[0];
    std::vector<uint32_t> row(size_t(e.columns));
    for (int y = 0; y < e.rows; ++y) {
        if (get_image_row(image, y, row.data(), e.columns) != 1) {
            ADD_FAILURE() << "row " << y << " failed";
            break;
        }
        uint32_t h = 2166136261u;
        for (uint32_t v : row) h = (h ^ (v & 255)) * 16777619u;
        EXPECT_EQ(h, e.hashes[size_t(y)]) << "row " << y;
    }
    close_image_channel(image, 'r');
}

INSTANTIATE_TEST_SUITE_P(Usrp, SrpSamples, ::testing::Values("USRP_PCB0", "USRP_PCB4", "USRP_PCB8"));

TEST(SrpDigest, GivesTheGeneralRecordsFields) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    std::string path = tarntest::sample_path("srp/USRP_PCB4/FKUSRP01.IMG");
    // Fields as the GEN's GIN record writes them: name, zone, no ARV/BRV in
    // USRP, origin, one tile across and down.
    EXPECT_STREQ(GetDigestGenMetaData(&path[0]), "USRP;+17;-1;-1;+000500000;+005000000;001;001;");
    EXPECT_STREQ(GetDigestGenMetaData(nullptr), "ERROR");
    std::string missing = "/nonexistent/FKUSRP01.IMG";
    EXPECT_STREQ(GetDigestGenMetaData(&missing[0]), "ERROR");
}

// A copy of the 8-bit run sample under the given names, the GEN changed by edit.
struct Product {
    std::string gen = "FKUSRP01.GEN", qal = "FKUSRP01.QAL", img = "FKUSRP01.IMG";
    std::string from, to;  // one replacement in the GEN's bytes
};

int open_copy(const tarntest::TempDir& dir, const Product& p, int* rows) {
    const std::string base = tarntest::sample_path("srp/USRP_PCB8/");
    std::vector<unsigned char> gen = tarntest::read_file(base + "FKUSRP01.GEN");
    std::string text(gen.begin(), gen.end());
    if (!p.from.empty()) {
        const size_t at = text.find(p.from);
        if (at == std::string::npos) return -99;
        text.replace(at, p.from.size(), p.to);
    }
    dir.write(p.gen, text);
    if (!p.qal.empty()) dir.copy_in(base + "FKUSRP01.QAL", p.qal);
    const std::string img = dir.copy_in(base + "FKUSRP01.IMG", p.img);
    UDFHeader h;
    memset(&h, 0, sizeof h);
    const int r = SRP_open(img.c_str(), 1, 0, 0, 0, &h);
    *rows = h.rows;
    if (r == 0) {
        std::vector<uint8_t> row(size_t(h.columns));
        if (SRP_getrow(h.rows - 1, row.data(), &h) != 0) *rows = -1;
        SRP_close(&h);
    }
    return r;
}

TEST(SrpProducts, CompanionFilesAndGeneralFileChecks) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const struct {
        const char* what;
        Product product;
        int result, rows;
    } cases[] = {
        {"the sample as it is", {}, 0, 128},
        {"lower-case names", {"fkusrp01.gen", "fkusrp01.qal", "fkusrp01.img", "", ""}, 0, 128},
        {"no quality file", {"FKUSRP01.GEN", "", "FKUSRP01.IMG", "", ""}, -1, 0},
        {"tile width 64", {"FKUSRP01.GEN", "FKUSRP01.QAL", "FKUSRP01.IMG", "001001128128", "001001064128"}, -1, 0},
        {"pixel value bits 2", {"FKUSRP01.GEN", "FKUSRP01.QAL", "FKUSRP01.IMG", "01088FKUSRP", "01082FKUSRP"}, -1, 0},
        {"an image the GEN does not name",
         {"FKUSRP01.GEN", "FKUSRP01.QAL", "FKUSRP01.IMG", "FKUSRP01.IMG", "FKUSRP09.IMG"}, -1, 0},
        {"level other than 4", {"FKUSRP01.GEN", "FKUSRP01.QAL", "FKUSRP01.IMG", "FKUSRP\x1e" "4", "FKUSRP\x1e" "3"}, -1, 0},
        {"a product letter in lower case", {"FKUSRP01.GEN", "FKUSRP01.QAL", "FKUSRP01.IMG", "USRP\x1f", "uSRP\x1f"}, 0, 128},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        tarntest::TempDir dir;
        int rows = 0;
        EXPECT_EQ(open_copy(dir, c.product, &rows), c.result);
        EXPECT_EQ(rows, c.rows);
    }
}

}  // namespace
