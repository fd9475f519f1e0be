// NITF image driver on the conformance harness: NITF 2.0 files that GDAL
// wrote (as 2.1, rewritten to 2.0 by make_nitf.py) against GDAL's decode:
// IMODE B, P and S with padded edge blocks, one block, 12 bits in 16, RGB/LUT,
// JPEG in one block and in blocks of one and three bands, masked JPEG with an
// absent block; broken files; the JITC samples against GDAL's values. Then
// what is the format's own: the IGEOLO georeference, the refused samples, the
// blocked-JPEG decode made once per process and never left on disk, rows in
// any order.

#include <gtest/gtest.h>
#include <tarnimage/properties.h>
#include <tarnimage/tarnimage.h>

#include <dirent.h>
#include <math.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/identify.h"
#include "conformance.h"
#include "drivers/military/nitf.h"
#include "drivers/military/nitf_jpeg.h"
#include "test_support.h"
#include "udf/udf.h"

extern "C" int fuzz_nitf_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;

long number(const Bytes& b, size_t at, size_t n) {
    if (at + n > b.size()) return -1;
    return strtol(std::string(b.begin() + long(at), b.begin() + long(at + n)).c_str(), nullptr, 10);
}

// Offsets in these files: HL at 354, the first LISH at 363, fields of the
// first image subheader from HL on.
size_t nitf_header(const Bytes& file) {
    const long hl = number(file, 354, 6), lish = number(file, 363, 6);
    if (hl < 0 || lish < 0) return file.size();
    return std::min(file.size(), size_t(hl + lish));
}

Bytes fixture_bytes(const std::string& name) { return tarntest::read_file(tarntest::data_path("nitf/" + name)); }

// The fixture with `text` written at `offset` of its first image subheader (or of the file).
Bytes patched(const std::string& name, size_t offset, const std::string& text, bool in_subheader = true) {
    Bytes b = fixture_bytes(name);
    const size_t at = offset + (in_subheader ? size_t(number(b, 354, 6)) : 0);
    std::copy(text.begin(), text.end(), b.begin() + long(at));
    return b;
}

// Offset of IC in a subheader without IGEOLO and comments, and of IMODE
// behind one band without tables.
const size_t kIC = 373, kIMODE = 373 + 2 + 1 + 13 + 1;

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".ntf";
        s.type = tarntest::kByIdentification;
        s.header_size = nitf_header;
        s.fuzz = fuzz_nitf_one_input;
        const struct { const char* name; int width, height, bands, depth; } rows[] = {
            {"nc-imode-b-rgb-37x23", 37, 23, 3, 8},       {"nc-imode-p-rgb-37x23", 37, 23, 3, 8},
            {"nc-imode-s-rgb-37x23", 37, 23, 3, 8},       {"nc-grey-single-block-29x13", 29, 13, 1, 8},
            {"nc-rgb-lut-25x19", 25, 19, 3, 8},
            {"c3-grey-one-block-40x24", 40, 24, 1, 8},    {"c3-grey-blocked-37x23", 37, 23, 1, 8},
            {"c3-rgb-blocked-37x23", 37, 23, 3, 8},       {"m3-grey-blocked-37x23", 37, 23, 1, 8},
            {"m3-rgb-blocked-37x23", 37, 23, 3, 8},       {"m3-grey-absent-block-37x23", 37, 23, 1, 8},
        };
        for (const auto& r : rows)
            s.fixtures.push_back({"nitf/" + std::string(r.name) + ".ntf",
                                  "nitf/" + std::string(r.name) + (r.bands == 3 ? ".ppm" : ".pgm"), r.width, r.height,
                                  r.bands, r.depth, 0, r.bands == 3 ? 1 : -1, {}});
        s.windows = {
            {"nitf/nc-imode-s-rgb-37x23.ntf", 2, 15, 36, 3, 2},
            {"nitf/c3-rgb-blocked-37x23.ntf", 3, 17, 33, 5, 4},
            {"nitf/c3-grey-one-block-40x24.ntf", 1, 9, 39, 2, 5},
        };
        const int kNone = -1;
        s.broken = {
            {"IMODE R", patched("nc-grey-single-block-29x13.ntf", kIMODE, "R"), 1, 1,
             std::vector<int>(13, -1)},
            {"IC C1", patched("c3-grey-one-block-40x24.ntf", kIC, "C1"), 1, 1, std::vector<int>(24, -1)},
            {"12-bit JPEG", patched("c3-grey-one-block-40x24.ntf", kIMODE + 4 + 17, "12"), -1, -1, {}},
            {"JPEG of 9 bits", patched("c3-grey-one-block-40x24.ntf", kIMODE + 4 + 17, "09"), 1, 1,
             std::vector<int>(24, -1)},
            {"NITF 2.1 header", patched("nc-grey-single-block-29x13.ntf", 0, "NITF02.10", false), -1, -1, {}, kNone},
            {"CADRG frame", patched("nc-grey-single-block-29x13.ntf", 2, "CADRG     "), -1, -1, {}},  // admitted as a frame, whose open fails
            {"CIB frame", patched("nc-grey-single-block-29x13.ntf", 2, "CIB       "), -1, -1, {}},
            {"blocks that don't cover NCOLS", patched("nc-grey-single-block-29x13.ntf", kIMODE + 9, "0002"), -1, -1, {}},
            {"blocks beyond the data", patched("nc-grey-single-block-29x13.ntf", kIMODE + 13, "0099"), -1, -1, {}},
            {"JPEG blocks whose streams are not JPEG",
             [] {
                 Bytes b = fixture_bytes("c3-grey-blocked-37x23.ntf");
                 const size_t data = nitf_header(b);
                 std::fill(b.begin() + long(data), b.begin() + long(data) + 40, 'x');
                 return b;
             }(),
             1, 1, std::vector<int>(23, -1)},
            {"mask offset past the data", [] {
                 Bytes b = fixture_bytes("m3-grey-blocked-37x23.ntf");
                 const size_t data = nitf_header(b);
                 b[data + 10] = 0x7F;  // the first block's offset
                 return b;
             }(),
             1, 1, std::vector<int>(23, -1)},
        };
        if (tarntest::samples_present()) {
            for (const tarntest::SampleHash& l : tarntest::read_sample_hashes("nitf/samples.txt"))
                s.samples.push_back({"nitf/" + l.name, l.rows, l.columns, l.bands, l.name == "U_4007A.NTF" ? 16 : 8, 1,
                                     l.hash});
            s.samples.push_back({"nitf/U_1050A.NTF", 1024, 1024, 1, 8, 1, 0});  // C1: rows fail
        }
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(Nitf, suite())

int identified(const std::string& path) {
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    get_image_type_from_name(path.c_str(), resolved.data(), &type);
    return type;
}

// The driver's code in this process: codes grow as managers come and go.
int nitf_type() { return identified(tarntest::data_path("nitf/nc-grey-single-block-29x13.ntf")); }

class NitfFiles : public ::testing::Test {
protected:
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    tarntest::TempDir m_dir;
    ~NitfFiles() override { m_manager->release(); }

    // Every row of a one-band or three-band open of the file's own bands, in
    // the order given, checked against the reference.
    void expect_rows(const std::string& path, const std::string& reference, const std::vector<int>& order) {
        const tarntest::Pnm ref = tarntest::read_pnm(reference);
        Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
        ASSERT_EQ(open_image_channel(image, path.c_str(), 'r', identified(path), 0), 1);
        const int bands = ref.channels;
        std::vector<uint32_t> row(size_t(ref.width) * bands);
        for (int y : order) {
            ASSERT_EQ(get_image_row(image, y, row.data(), int(row.size())), 1) << y;
            for (int x = 0; x < ref.width; ++x)
                for (int c = 0; c < bands; ++c)
                    ASSERT_EQ(int(row[size_t(c) * ref.width + x]), ref.at(x, y, c)) << x << "," << y << " " << c;
        }
        close_image_channel(image, 'r');
    }
};

TEST_F(NitfFiles, GeoreferenceFromIgeoloCorners) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    // Corner 1 163958S 0114500E, corner 3 200000S 0125924E over 1024 x 1024.
    const double lat1 = -(16 + 39 / 60.0 + 58 / 3600.0), lon1 = 11.75, lat3 = -20.0,
                 lon3 = 12 + 59 / 60.0 + 24 / 3600.0;
    const std::string path = tarntest::sample_path("nitf/U_3050B.NTF");
    double t[6] = {};
    ASSERT_EQ(read_UDF_header_trans(path.c_str(), identified(path), t), 0);
    const double want[6] = {(lon3 - lon1) / 1024, 0, 0, -(lat1 - lat3) / 1024, lon1, lat1};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(t[i], want[i], 1e-12) << i;
    // Without corners: pixels of 1, origin 0.
    const std::string plain = tarntest::data_path("nitf/nc-grey-single-block-29x13.ntf");
    ASSERT_EQ(read_UDF_header_trans(plain.c_str(), identified(plain), t), 0);
    EXPECT_EQ(std::vector<double>(t, t + 6), std::vector<double>({1, 0, 0, -1, 0, 0}));
}

TEST_F(NitfFiles, RefusedSamples) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    const std::string twelve = tarntest::sample_path("nitf/U_4017A.NTF");
    const int type = identified(twelve);
    EXPECT_EQ(type, nitf_type());
    int rows, columns, bands, depth;
    EXPECT_EQ(get_image_info(type, twelve.c_str(), &rows, &columns, &bands, &depth), -1);
    // NITF 2.1 and NSIF files are not this driver's.
    for (const char* name : {"i_3034c.ntf", "i_3309a.ntf", "ns3301j.nsf", "gen_c3_blocked_lut.ntf"}) {
        char out[TARN_UDF_PATH_MAX];
        FILE* fp = fopen(tarntest::sample_path(std::string("nitf/") + name).c_str(), "rb");
        ASSERT_NE(fp, nullptr) << name;
        EXPECT_EQ(NITF_exist(name, out, fp), 0) << name;
        fclose(fp);
        EXPECT_NE(identified(tarntest::sample_path(std::string("nitf/") + name)), nitf_type()) << name;
    }
}

TEST_F(NitfFiles, RowsInAnyOrder) {
    std::vector<int> backward;
    for (int y = 23; y-- > 0;) backward.push_back(y);
    expect_rows(tarntest::data_path("nitf/c3-rgb-blocked-37x23.ntf"), tarntest::data_path("nitf/c3-rgb-blocked-37x23.ppm"),
                backward);
    // One JPEG stream read forward, started again for a row behind it.
    expect_rows(tarntest::data_path("nitf/c3-grey-one-block-40x24.ntf"),
                tarntest::data_path("nitf/c3-grey-one-block-40x24.pgm"), {3, 20, 2, 2, 23, 0, 11});
    expect_rows(tarntest::data_path("nitf/nc-imode-p-rgb-37x23.ntf"), tarntest::data_path("nitf/nc-imode-p-rgb-37x23.ppm"),
                {22, 0, 16, 15});
}

TEST_F(NitfFiles, BlockedJpegIsDecodedOncePerFileAndSelection) {
    // The same base name in two folders holds two different images.
    tarntest::TempDir a, b;
    const std::string first = a.copy_in(tarntest::data_path("nitf/c3-grey-blocked-37x23.ntf"), "same.ntf");
    const std::string second = b.copy_in(tarntest::data_path("nitf/m3-grey-blocked-37x23.ntf"), "same.ntf");
    const int before = NITF_DecodedImageCount();
    expect_rows(first, tarntest::data_path("nitf/c3-grey-blocked-37x23.pgm"), {0, 22, 5});
    expect_rows(first, tarntest::data_path("nitf/c3-grey-blocked-37x23.pgm"), {7, 1});
    EXPECT_EQ(NITF_DecodedImageCount(), before + 1);
    expect_rows(second, tarntest::data_path("nitf/m3-grey-blocked-37x23.pgm"), {0, 22, 5});
    EXPECT_EQ(NITF_DecodedImageCount(), before + 2);
    // Another band selection is another decode.
    const std::string rgb = a.copy_in(tarntest::data_path("nitf/c3-rgb-blocked-37x23.ntf"), "rgb.ntf");
    expect_rows(rgb, tarntest::data_path("nitf/c3-rgb-blocked-37x23.ppm"), {4});
    UDFHeader header;
    ASSERT_EQ(NITF_open(rgb.c_str(), 2, 0, 0, 0, &header), 0);
    std::vector<uint8_t> row(37);
    ASSERT_EQ(NITF_getrow(4, row.data(), &header), 0);
    const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("nitf/c3-rgb-blocked-37x23.ppm"));
    for (int x = 0; x < 37; ++x) EXPECT_EQ(row[size_t(x)], ref.at(x, 4, 1)) << x;
    NITF_close(&header);
    EXPECT_EQ(NITF_DecodedImageCount(), before + 4);
}

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0) names.push_back(e->d_name);
        closedir(d);
    }
    return names;
}

TEST_F(NitfFiles, LargeDecodesGoToAFileThatIsNeverSeenOnDisk) {
    tarntest::TempDir temp;
    const char* old = getenv("TMPDIR");
    const std::string saved = old ? old : "";
    setenv("TMPDIR", temp.path().c_str(), 1);
    NITF_SetDecodedMemoryLimit(0);
    const std::string path = m_dir.copy_in(tarntest::data_path("nitf/m3-rgb-blocked-37x23.ntf"), "big.ntf");
    const int before = NITF_DecodedImageCount();
    expect_rows(path, tarntest::data_path("nitf/m3-rgb-blocked-37x23.ppm"), {22, 0, 9, 16, 15});
    EXPECT_EQ(NITF_DecodedImageCount(), before + 1);
    EXPECT_EQ(entries(temp.path()), std::vector<std::string>());
    NITF_SetDecodedMemoryLimit(size_t(32) << 20);
    if (old)
        setenv("TMPDIR", saved.c_str(), 1);
    else
        unsetenv("TMPDIR");
    EXPECT_EQ(entries(temp.path()), std::vector<std::string>());
}

// Shown through the grey ramp of deep data, so outside the harness's RGBA checks.
TEST_F(NitfFiles, TwelveBitSamplesComeDownToEight) {
    const std::string path = tarntest::data_path("nitf/nc-12bit-abpp-21x17.ntf");
    int rows, columns, bands, depth;
    ASSERT_EQ(get_image_info(identified(path), path.c_str(), &rows, &columns, &bands, &depth), 0);
    EXPECT_EQ(std::vector<int>({rows, columns, bands, depth}), std::vector<int>({17, 21, 1, 16}));
    std::vector<int> all;
    for (int y = 0; y < 17; ++y) all.push_back(y);
    expect_rows(path, tarntest::data_path("nitf/nc-12bit-abpp-21x17.pgm"), all);
}

TEST_F(NitfFiles, SingleBandOfAnRgbLutImageIsItsTable) {
    const std::string path = tarntest::data_path("nitf/nc-rgb-lut-25x19.ntf");
    const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("nitf/nc-rgb-lut-25x19.ppm"));
    for (int band = 1; band <= 3; ++band) {
        UDFHeader header;
        ASSERT_EQ(NITF_open(path.c_str(), band, 0, 0, 0, &header), 0);
        EXPECT_EQ(header.nbands, 3);
        std::vector<uint8_t> row(25);
        ASSERT_EQ(NITF_getrow(7, row.data(), &header), 0);
        for (int x = 0; x < 25; ++x) EXPECT_EQ(row[size_t(x)], ref.at(x, 7, band - 1)) << band << " " << x;
        NITF_close(&header);
    }
}

}  // namespace
