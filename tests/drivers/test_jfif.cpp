// JFIF driver on the conformance harness: files written by cjpeg (baseline,
// progressive, arithmetic, restart markers, 4:2:0 and 4:4:4, one without its
// APP0 segment; make_jfif.sh) against djpeg's decode, broken files, the shared
// samples; then what is the format's own: the signature rule, 12-bit and
// CMYK files, the band choice and rows asked for again or behind the decoder.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "channel/channel.h"
#include "channel/identify.h"
#include "conformance.h"
#include "drivers/general/jfif.h"
#include "objects/image_impl.h"
#include "test_support.h"

extern "C" int fuzz_jfif_one_input(const uint8_t* data, size_t size);

namespace {

using tarntest::Bytes;

// Bytes up to the end of the first scan header: the entropy-coded data follows.
size_t jpeg_header(const Bytes& file) {
    size_t at = 2;
    while (at + 4 <= file.size() && file[at] == 0xFF) {
        const size_t length = size_t(file[at + 2]) << 8 | file[at + 3];
        if (file[at + 1] == 0xDA) return std::min(file.size(), at + 2 + length);
        at += 2 + length;
    }
    return file.size();
}

Bytes fixture_bytes(const std::string& name) { return tarntest::read_file(tarntest::data_path("jfif/" + name)); }

Bytes cut(Bytes b, size_t n) {
    b.resize(std::min(n, b.size()));
    return b;
}

const tarntest::DriverSuite& suite() {
    static const tarntest::DriverSuite s = [] {
        tarntest::DriverSuite s;
        s.suffix = ".jpg";
        s.type = tarntest::kByIdentification;
        s.header_size = jpeg_header;
        s.fuzz = fuzz_jfif_one_input;
        const struct { const char* name; int width, height, bands; } rows[] = {
            {"grey-baseline-23x17", 23, 17, 1},   {"grey-no-app0-23x17", 23, 17, 1},
            {"grey-restart-23x17", 23, 17, 1},    {"rgb-420-37x21", 37, 21, 3},
            {"rgb-444-37x21", 37, 21, 3},         {"rgb-progressive-37x21", 37, 21, 3},
            {"rgb-arithmetic-37x21", 37, 21, 3},
        };
        for (const auto& r : rows)
            s.fixtures.push_back({"jfif/" + std::string(r.name) + ".jpg",
                                  "jfif/" + std::string(r.name) + (r.bands == 3 ? ".ppm" : ".pgm"), r.width, r.height,
                                  r.bands, 8, 0, r.bands == 3 ? 1 : -1, {}});
        s.windows = {
            {"jfif/rgb-420-37x21.jpg", 2, 5, 30, 2, 3},
            {"jfif/grey-restart-23x17.jpg", 1, 0, 22, 1, 1},
        };
        const Bytes grey = fixture_bytes("grey-baseline-23x17.jpg");
        Bytes no_frame = grey;  // the frame header's marker made an unknown one
        for (size_t at = 2; at + 4 < no_frame.size(); at += 2 + (size_t(no_frame[at + 2]) << 8 | no_frame[at + 3]))
            if (no_frame[at + 1] == 0xC0) {
                no_frame[at + 1] = 0xC3;  // lossless: not decoded by an 8-bit libjpeg for this file
                break;
            }
        s.broken = {
            {"the signature alone", Bytes{0xFF, 0xD8, 0xFF}, -1, -1, {}},
            {"start and end of image only", Bytes{0xFF, 0xD8, 0xFF, 0xD9}, -1, -1, {}},
            {"header cut before the scan", cut(grey, 200), -1, -1, {}},
            {"two bytes: not identified", Bytes{0xFF, 0xD8}, -1, -1, {}, -1},
            {"frame of another process", no_frame, -1, -1, {}},
        };
        if (tarntest::samples_present())
            for (const tarntest::SampleHash& l : tarntest::read_sample_hashes("jfif/samples.txt"))
                s.samples.push_back({"jfif/" + l.name, l.rows, l.columns, l.bands, 8, 1, l.hash});
        return s;
    }();
    return s;
}

TARN_DRIVER_CONFORMANCE(Jfif, suite())

class JfifEntryPoints : public ::testing::Test {
protected:
    IInternalImageManager* m_manager = getManager();  // keeps the drivers registered
    tarntest::TempDir m_dir;
    UDFHeader m_header;
    ~JfifEntryPoints() override { m_manager->release(); }
};

TEST_F(JfifEntryPoints, ExistTakesAnyFileThatStartsFFD8FF) {
    char out[TARN_UDF_PATH_MAX];
    const struct { Bytes bytes; bool accepted; } cases[] = {
        {{0xFF, 0xD8, 0xFF}, true},
        {{0xFF, 0xD8, 0xFF, 0xDB, 0, 0}, true},  // no JFIF segment
        {{0xFF, 0xD8, 0xFE}, false},
        {{0xFF, 0xD8}, false},
        {{'G', 'I', 'F', '8', '9', 'a'}, false},
    };
    for (const auto& c : cases) {
        const std::string path = m_dir.write("x.jpg", c.bytes);
        FILE* fp = fopen(path.c_str(), "rb");
        ASSERT_NE(fp, nullptr);
        EXPECT_EQ(JFIF_exist(path.c_str(), out, fp) > 1000, c.accepted);
        fclose(fp);
    }
    // Without a handle the name with ".jpg" is tried.
    m_dir.write("pic.jpg", Bytes{0xFF, 0xD8, 0xFF, 0xE0});
    const std::string bare = m_dir.file("pic");
    EXPECT_GT(JFIF_exist(bare.c_str(), out, nullptr), 1000);
    EXPECT_EQ(std::string(out), bare + ".jpg");
    EXPECT_EQ(JFIF_exist(m_dir.file("none").c_str(), out, nullptr), 0);
}

TEST_F(JfifEntryPoints, BandChoiceAndRowsAskedForAgainOrBehind) {
    const std::string path = tarntest::data_path("jfif/rgb-444-37x21.jpg");
    const tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("jfif/rgb-444-37x21.ppm"));
    ASSERT_EQ(JFIF_open(path.c_str(), 2, 0, 0, 0, &m_header), 0);
    EXPECT_EQ(std::vector<int>({m_header.rows, m_header.columns, m_header.nbands, m_header.depth}),
              std::vector<int>({21, 37, 3, 8}));
    std::vector<uint8_t> row(37), again(37);
    ASSERT_EQ(JFIF_getrow(5, row.data(), &m_header), 0);
    for (int x = 0; x < 37; ++x) ASSERT_EQ(row[size_t(x)], ref.at(x, 5, 1)) << x;
    ASSERT_EQ(JFIF_getrow(5, again.data(), &m_header), 0);
    EXPECT_EQ(again, row);
    // A row behind the decoder gives the last decoded line.
    ASSERT_EQ(JFIF_getrow(1, again.data(), &m_header), 0);
    EXPECT_EQ(again, row);
    EXPECT_EQ(JFIF_getrow(21, row.data(), &m_header), -1);
    EXPECT_EQ(JFIF_getrow(-1, row.data(), &m_header), -1);
    JFIF_close(&m_header);
    EXPECT_EQ(m_header.priv, nullptr);

    // Open and close without a row: nothing is decoded, nothing leaks.
    ASSERT_EQ(JFIF_open(path.c_str(), 0, 3, 2, 1, &m_header), 0);
    JFIF_close(&m_header);
    EXPECT_EQ(JFIF_open(m_dir.file("missing.jpg").c_str(), 1, 0, 0, 0, &m_header), -1);
}

TEST_F(JfifEntryPoints, TwelveBitAndCmykSamples) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    EXPECT_EQ(JFIF_open(tarntest::sample_path("jfif/12bit_rose_extract.jpg").c_str(), 1, 0, 0, 0, &m_header), -1);
    // Four components: four bands and no planes, so the rows stay as they were.
    const std::string cmyk = tarntest::sample_path("jfif/pil_sample_cmyk.jpg");
    ASSERT_EQ(JFIF_open(cmyk.c_str(), 0, 0, 0, 0, &m_header), 0);
    EXPECT_EQ(m_header.nbands, 4);
    std::vector<uint8_t> row(400, 0);
    for (int y = 0; y < 100; ++y) ASSERT_EQ(JFIF_getrow(y, row.data(), &m_header), 0);
    EXPECT_EQ(row, std::vector<uint8_t>(400, 0));
    JFIF_close(&m_header);
    // It renders through the image object.
    CIImageImpl* image = new CIImageImpl(CTarnUString(cmyk.c_str()));
    ASSERT_TRUE(image->isValid());
    long x, y, w, h;
    DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::vector<long>({w, h}), std::vector<long>({100, 100}));
    block->release();
    image->release();
}

TEST_F(JfifEntryPoints, ProgressiveFileCutInItsScansGivesNoRowsAtAll) {
    // The start of decompression reads every scan of a progressive file.
    const Bytes whole = fixture_bytes("rgb-progressive-37x21.jpg");
    const std::string path = m_dir.write("cut.jpg", cut(whole, whole.size() - 40));
    ASSERT_EQ(JFIF_open(path.c_str(), 1, 0, 0, 0, &m_header), 0);
    std::vector<uint8_t> row(37);
    EXPECT_EQ(JFIF_getrow(0, row.data(), &m_header), -1);
    EXPECT_EQ(JFIF_getrow(1, row.data(), &m_header), -1);
    JFIF_close(&m_header);
}

}  // namespace
