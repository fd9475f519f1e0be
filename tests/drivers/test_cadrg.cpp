// CADRG and CIB frames. On the conformance harness: the shared sample frames
// against the hash of GDAL's RGB expansion (make_cadrg.py), and broken copies
// of U_3058B.NTF made here (no frame is small enough to commit). Then what is
// the formats' own: the georeference from each frame's coverage section, the
// CIB copy of U_3058B.NTF against the red plane of GDAL's expansion, a
// narrowed CIB frame clipped to its columns, a MONO frame given one plane, a
// CIB frame whose image subheader is broken opening with no extent, and the
// frames that are refused.

#include <gtest/gtest.h>
#include <tarnimage/properties.h>
#include <tarnimage/tarnimage.h>

#include <math.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/identify.h"
#include "conformance.h"
#include "test_support.h"
#include "udf/udf.h"

extern "C" int fuzz_cadrg_one_input(const uint8_t* data, size_t size);
extern "C" int fuzz_cib_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;

using Expected = tarntest::SampleHash;

// make_cadrg.py's samples.txt by name.
std::map<std::string, Expected> expected() {
    std::map<std::string, Expected> list;
    for (const Expected& e : tarntest::read_sample_hashes("cadrg/samples.txt")) list[e.name] = e;
    return list;
}

struct Coverage {
    std::string name;
    char zone;
    double v[12];  // nw lat, nw lon, sw lat, sw lon, ne lat, ne lon, se lat, se lon, ns, ew, lat, lon intervals
};

std::vector<Coverage> coverages() {
    std::vector<Coverage> list;
    std::ifstream in(tarntest::data_path("cadrg/coverage.txt"));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        Coverage c;
        fields >> c.name >> c.zone;
        for (double& d : c.v) fields >> d;
        list.push_back(c);
    }
    return list;
}

Bytes sample(const std::string& name) { return tarntest::read_file(tarntest::sample_path("cadrg/" + name)); }

uint32_t be32(const Bytes& b, size_t at) {
    return uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 | b[at + 3];
}
void put_be32(Bytes& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + size_t(i)] = uint8_t(v >> (24 - 8 * i));
}
void put_text(Bytes& b, size_t at, const std::string& text) { std::copy(text.begin(), text.end(), b.begin() + long(at)); }

// Where things lie in a frame, read the way a hex dump would: HL, the
// "RPFIMG" record, its location records.
struct FrameMap {
    size_t hl, location;
    std::map<int, size_t> record;  // section id -> offset of its location record
};

FrameMap map_of(const Bytes& b) {
    FrameMap m;
    m.hl = size_t(strtol(std::string(b.begin() + 354, b.begin() + 360).c_str(), nullptr, 10));
    const std::string text(b.begin(), b.end());
    m.location = text.find("RPFIMG") + 11;
    const int count = b[m.location + 6] << 8 | b[m.location + 7];
    for (int i = 0; i < count; ++i) {
        const size_t at = m.location + 14 + 10 * size_t(i);
        m.record[b[at] << 8 | b[at + 1]] = at;
    }
    return m;
}
uint32_t section_offset(const Bytes& b, const FrameMap& m, int id) { return be32(b, m.record.at(id) + 6); }

// Offsets in the image subheader (ISDWNG blank): IID, NROWS, NCOLS, IREP, NBANDS.
const size_t kIID = 2, kNROWS = 333, kNCOLS = 341, kIREP = 352;

Bytes as_cib(Bytes b) {
    put_text(b, map_of(b).hl + kIID, "CIB  ");
    return b;
}

// Copies of U_3058B.NTF with one fault each.
Bytes sections_not_adding_up(Bytes b) {
    const FrameMap m = map_of(b);
    put_be32(b, m.location + 10, be32(b, m.location + 10) + 1);
    return b;
}
Bytes lookup_tables_cut(Bytes b) {
    const FrameMap m = map_of(b);
    const uint32_t at = section_offset(b, m, 132) + 6;
    for (int t = 0; t < 4; ++t) put_be32(b, at + 14 * size_t(t) + 2, 16);  // 16 of 4096 records
    return b;
}
Bytes lookup_tables_past_the_end(Bytes b) {
    const FrameMap m = map_of(b);
    put_be32(b, m.record.at(132) + 6, uint32_t(b.size() - 1000));
    return b;
}
Bytes spatial_data_past_the_end(Bytes b) {
    const FrameMap m = map_of(b);
    put_be32(b, m.record.at(140) + 6, uint32_t(b.size() - 100));
    return b;
}
Bytes mask_outside_the_subframes(Bytes b) {
    const FrameMap m = map_of(b);
    // Mask: two sequence lengths, the code length 8, its code, then the offsets.
    put_be32(b, section_offset(b, m, 138) + 7, 0x00100000);
    return b;
}
Bytes without_lookup_section(Bytes b) {
    const FrameMap m = map_of(b);
    b[m.record.at(132) + 1] = 133;
    return b;
}
Bytes narrowed(Bytes b, int columns) {
    char digits[9];
    snprintf(digits, sizeof digits, "%08d", columns);
    put_text(b, map_of(b).hl + kNCOLS, digits);
    return b;
}

int type_of(const std::string& path) {
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    get_image_type_from_name(path.c_str(), resolved.data(), &type);
    return type;
}

tarntest::DriverSuite cadrg_suite() {
    tarntest::DriverSuite s;
    s.suffix = ".ntf";
    s.fuzz = fuzz_cadrg_one_input;
    s.info_success = 0;
    if (!tarntest::samples_present()) return s;
    for (const auto& e : expected())
        if (e.first.compare(0, 4, "cib:") != 0)
            s.samples.push_back({"cadrg/" + e.first, e.second.rows, e.second.columns, e.second.bands, 8, 1,
                                 e.second.hash});
    const Bytes frame = sample("U_3058B.NTF");
    const std::vector<int> fail_first = {-1};
    s.broken = {
        {"section lengths not adding up to the aggregate", sections_not_adding_up(frame), -1, -1, {}},
        {"lookup tables shorter than the codes", lookup_tables_cut(frame), 0, 1, fail_first},
        {"lookup tables reaching past the end", lookup_tables_past_the_end(frame), -1, -1, {}},
        {"spatial data past the end", spatial_data_past_the_end(frame), 0, 1, fail_first},
        {"mask offset outside the spatial data", mask_outside_the_subframes(frame), 0, 1, fail_first},
        {"no lookup subsection", without_lookup_section(frame), 0, 1, fail_first},
    };
    return s;
}

tarntest::DriverSuite cib_suite() {
    tarntest::DriverSuite s;
    s.suffix = ".ntf";
    s.fuzz = fuzz_cib_one_input;
    s.info_success = 0;
    if (!tarntest::samples_present()) return s;
    const Bytes frame = as_cib(sample("U_3058B.NTF"));
    const std::vector<int> fail_first = {-1};
    s.broken = {
        {"section lengths not adding up to the aggregate", sections_not_adding_up(frame), -1, -1, {}},
        {"lookup tables shorter than the codes", lookup_tables_cut(frame), 0, 1, fail_first},
        {"lookup tables reaching past the end", lookup_tables_past_the_end(frame), -1, -1, {}},
        {"mask offset outside the spatial data", mask_outside_the_subframes(frame), 0, 1, fail_first},
        {"narrowed to 1000 columns: rows clipped", narrowed(frame, 1000), 0, 1, {1, 1, 1}},
        {"narrowed to 100 columns: rows clipped", narrowed(frame, 100), 0, 1, {1, 1, 1}},
    };
    return s;
}

}  // namespace

TARN_DRIVER_CONFORMANCE(Cadrg, cadrg_suite())
TARN_DRIVER_CONFORMANCE(Cib, cib_suite())

namespace {

class RpfFrames : public ::testing::Test {
protected:
    void SetUp() override {
        if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    }
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    tarntest::TempDir m_dir;
    ~RpfFrames() override { m_manager->release(); }

    int cadrg_type() { return type_of(tarntest::sample_path("cadrg/U_3058B.NTF")); }

    // Every row through the channel: the FNV-1a hash, pixel by pixel with
    // bands interleaved, and the rows themselves when asked for.
    uint32_t channel_hash(const std::string& path, int type, int rows, int columns, int bands,
                          std::vector<std::vector<uint32_t>>* kept = nullptr) {
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        EXPECT_EQ(open_image_channel(image, path.c_str(), 'r', type, 0), 1);
        std::vector<uint32_t> row(size_t(columns) * bands);
        uint32_t hash = 2166136261u;
        for (int y = 0; y < rows; ++y) {
            EXPECT_EQ(get_image_row(image, y, row.data(), int(row.size())), 1) << "row " << y;
            for (int x = 0; x < columns; ++x)
                for (int k = 0; k < bands; ++k) hash = (hash ^ row[size_t(k) * columns + x]) * 16777619u;
            if (kept) kept->push_back(row);
        }
        EXPECT_EQ(close_image_channel(image, 'r'), 1);
        return hash;
    }
};

// Polar frames are placed in metres (zone 9 north, J south), the others in
// degrees; the position is the centre of the top left pixel.
TEST_F(RpfFrames, GeoreferenceComesFromTheCoverageSection) {
    const double k = 111319.4907933, pi = 3.141592653589793;
    for (const Coverage& c : coverages()) {
        SCOPED_TRACE(c.name);
        const std::string path = tarntest::sample_path("cadrg/" + c.name);
        const int type = type_of(path);
        ASSERT_EQ(type, cadrg_type());
        const double lat = c.v[0], lon = c.v[1], lat_int = c.v[10], lon_int = c.v[11];
        double x = lon, y = lat, px = lon_int, py = lat_int;
        if (c.zone == '9') {
            x = (90 - lat) * k * sin(pi * lon / 180);
            y = (90 - lat) * -k * cos(pi * lon / 180);
            px = lon_int * k, py = lat_int * k;
        }
        double t[6];
        ASSERT_EQ(read_UDF_header_trans(path.c_str(), type, t), 0);
        EXPECT_DOUBLE_EQ(t[0], px);
        EXPECT_DOUBLE_EQ(t[3], -py);
        EXPECT_NEAR(t[4], x + px / 2, 1e-9 * (1 + fabs(x)));
        EXPECT_NEAR(t[5], y - py / 2, 1e-9 * (1 + fabs(y)));
    }
}

TEST_F(RpfFrames, CibCopyIsGreyRedPlaneOfTheExpansion) {
    const Expected e = expected().at("cib:U_3058B.NTF");
    const std::string path = m_dir.write("cib.ntf", as_cib(sample("U_3058B.NTF")));
    const int type = type_of(path);
    ASSERT_GT(type, 1000);
    EXPECT_NE(type, cadrg_type());
    int rows, columns, bands, depth;
    ASSERT_EQ(get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth), 0);
    EXPECT_EQ(std::vector<int>({rows, columns, bands, depth}), std::vector<int>({e.rows, e.columns, 1, 8}));
    EXPECT_EQ(channel_hash(path, type, rows, columns, 1), e.hash);
    // No half-pixel shift in a CIB frame.
    const Coverage c = coverages().front();
    ASSERT_EQ(c.name, "U_3058B.NTF");
    double t[6];
    ASSERT_EQ(read_UDF_header_trans(path.c_str(), type, t), 0);
    EXPECT_EQ(std::vector<double>({t[0], t[3], t[4], t[5]}), std::vector<double>({c.v[11], -c.v[10], c.v[1], c.v[0]}));
}

TEST_F(RpfFrames, NarrowedCibFrameIsClippedToItsColumns) {
    const std::string full = m_dir.write("full.ntf", as_cib(sample("U_3058B.NTF")));
    const int type = type_of(full);
    std::vector<std::vector<uint32_t>> wide, narrow;
    channel_hash(full, type, 300, 1536, 1, &wide);
    for (int columns : {1000, 700, 100}) {
        SCOPED_TRACE(columns);
        narrow.clear();
        const std::string path = m_dir.write("narrow.ntf", narrowed(as_cib(sample("U_3058B.NTF")), columns));
        ASSERT_EQ(type_of(path), type);
        channel_hash(path, type, 300, columns, 1, &narrow);
        ASSERT_EQ(narrow.size(), wide.size());
        for (size_t y = 0; y < wide.size(); ++y)
            ASSERT_EQ(narrow[y], std::vector<uint32_t>(wide[y].begin(), wide[y].begin() + columns)) << "row " << y;
    }
}

// A MONO frame says one band; it gets one plane, the first byte of each colour.
TEST_F(RpfFrames, MonoFrameGivesOnePlane) {
    Bytes b = sample("U_3058B.NTF");
    put_text(b, map_of(b).hl + kIREP, "MONO    ");
    const std::string path = m_dir.write("mono.ntf", b);
    const int type = type_of(path);
    ASSERT_EQ(type, cadrg_type());
    int rows, columns, bands, depth;
    ASSERT_EQ(get_image_info(type, path.c_str(), &rows, &columns, &bands, &depth), 0);
    EXPECT_EQ(bands, 1);
    EXPECT_EQ(channel_hash(path, type, rows, columns, 1), expected().at("cib:U_3058B.NTF").hash);
}

// A narrowed CADRG frame keeps whole subframes: 1000 columns are three subframes and a zero rest.
TEST_F(RpfFrames, CadrgPartSubframeIsZero) {
    const std::string full = m_dir.write("full.ntf", sample("U_3058B.NTF"));
    const std::string part = m_dir.write("part.ntf", narrowed(sample("U_3058B.NTF"), 1000));
    const int type = cadrg_type();
    std::vector<std::vector<uint32_t>> wide, narrow;
    channel_hash(full, type, 20, 1536, 3, &wide);
    channel_hash(part, type, 20, 1000, 3, &narrow);
    for (size_t y = 0; y < wide.size(); ++y)
        for (int k = 0; k < 3; ++k) {
            std::vector<uint32_t> want(wide[y].begin() + k * 1536, wide[y].begin() + k * 1536 + 768);
            want.resize(1000, 0);
            ASSERT_EQ(std::vector<uint32_t>(narrow[y].begin() + k * 1000, narrow[y].begin() + (k + 1) * 1000), want)
                << "row " << y << " plane " << k;
        }
}

TEST_F(RpfFrames, CibWithBrokenSubheaderOpensEmptyAndFailsRows) {
    const std::string good = m_dir.write("cib.ntf", as_cib(sample("U_3058B.NTF")));
    const UDFRecord* cib = UDFentry(uint32_t(type_of(good)));
    ASSERT_NE(cib, nullptr);
    Bytes b = as_cib(sample("U_3058B.NTF"));
    const FrameMap m = map_of(b);
    const std::string text(b.begin() + long(m.hl), b.begin() + long(m.hl + 600));
    // NBANDS follows IC "M4" and COMRAT; 0 bands is no subheader.
    const size_t ic = text.find("M4");
    ASSERT_NE(ic, std::string::npos);
    b[m.hl + ic + 2 + 4] = '0';
    const std::string path = m_dir.write("broken.ntf", b);
    UDFHeader header;
    memset(&header, 0xAB, sizeof header);
    ASSERT_EQ(cib->open(path.c_str(), 0, 0, 0, 0, &header), 0);
    EXPECT_EQ(std::vector<int>({header.rows, header.columns}), std::vector<int>({0, 0}));
    std::vector<uint8_t> row(1536);
    EXPECT_EQ(cib->getrow(0, row.data(), &header), -1);
    EXPECT_EQ(cib->close(&header), 0);
}

// Neither is admitted: RPFTOC01.ON2 is shorter than its FL, and testtest.on9's
// image segment reaches far past its 1099 bytes.
TEST_F(RpfFrames, FramesWhoseSegmentsDontFitAreRefused) {
    for (const char* name : {"gdal_toc/RPFTOC01.ON2", "testtest.on9"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(type_of(tarntest::sample_path(std::string("cadrg/") + name)), -1);
    }
}

TEST_F(RpfFrames, ExistLeavesTheCallersHandleOpen) {
    const int type = cadrg_type();
    const UDFRecord* cadrg = UDFentry(uint32_t(type));
    ASSERT_NE(cadrg, nullptr);
    const std::string path = tarntest::sample_path("cadrg/U_3058B.NTF");
    FILE* fp = fopen(path.c_str(), "rb");
    ASSERT_NE(fp, nullptr);
    std::vector<char> out(path.size() + 300);
    EXPECT_EQ(cadrg->exist(path.c_str(), out.data(), fp), type);
    EXPECT_EQ(fseek(fp, 0, SEEK_SET), 0);
    char magic[4];
    EXPECT_EQ(fread(magic, 1, 4, fp), 4u);
    fclose(fp);
}

}  // namespace
