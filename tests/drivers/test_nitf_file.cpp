// NITF file structure: hand-built NITF 2.0 files for the conditional fields,
// the limits and the offsets; the JITC samples' segment tables against the
// byte positions of their subheaders; writers giving back the bytes they read.

#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <tarnimage/tarn_file.h>

#include "drivers/military/nitf_file.h"
#include "test_support.h"

namespace {

std::string pad(const std::string& s, size_t n) { return (s + std::string(n, ' ')).substr(0, n); }
std::string num(long v, int n) {
    char b[32];
    snprintf(b, sizeof b, "%0*ld", n, v);
    return b;
}

// An image subheader built field by field; the members are the field texts.
struct Sub {
    std::string iid = "TEST", isdwng = "", icords = "N", igeolo, nicom = "0", ic = "NC", comrat = "",
                nbands = "1", irep = "MONO", imode = "B";
    std::vector<std::string> comments;
    std::string nluts = "0", nelut;
    std::vector<unsigned char> lut;
    int rows = 2, cols = 3, nbpr = 1, nbpc = 1, ppbh = 3, ppbv = 2, nbpp = 8;
    std::string udidl = "00000", udid, ixshdl = "00000", ixshd;

    std::string bytes() const {
        std::string s = "IM" + pad(iid, 10) + num(0, 14) + pad("", 17) + pad("title", 80) + "U" + pad("", 40) +
                        pad("", 40) + pad("", 40) + pad("", 20) + pad("", 20) + pad(isdwng, 6);
        if (isdwng == "999998") s += pad("event", 40);
        s += "0" + pad("", 42) + num(rows, 8) + num(cols, 8) + "INT" + pad(irep, 8) + pad("VIS", 8) +
             num(nbpp, 2) + "R" + icords;
        if (icords != "N" && icords != "n") s += pad(igeolo, 60);
        s += nicom;
        for (const auto& c : comments) s += pad(c, 80);
        s += ic + comrat + nbands;
        const int n = atoi(nbands.c_str());
        for (int b = 0; b < n; ++b) {
            s += pad("M", 2) + pad("", 6) + "N" + pad("", 3) + nluts;
            if (atoi(nluts.c_str()) > 0) s += nelut + std::string(lut.begin(), lut.end());
        }
        s += "0" + imode + num(nbpr, 4) + num(nbpc, 4) + num(ppbh, 4) + num(ppbv, 4) + num(nbpp, 2) + "001" +
             "000" + "0000000000" + "1.0 " + udidl + udid + ixshdl + ixshd;
        return s;
    }
};

struct File {
    std::string fsdwng = "";
    std::vector<std::string> images = {Sub().bytes()};
    std::vector<std::string> data = {"abcdef"};
    long fl_delta = 0;
    std::string tail;  // bytes after the segments

    std::string header(size_t fl, size_t hl) const {
        std::string s = "NITF02.00" + std::string("01") + pad("BF01", 4) + pad("STATION", 10) + num(0, 14) +
                        pad("title", 80) + "U" + pad("", 40) + pad("", 40) + pad("", 40) + pad("", 20) +
                        pad("", 20) + pad(fsdwng, 6);
        if (fsdwng == "999998") s += pad("event", 40);
        s += "00000" + std::string("00000") + "0" + pad("name", 27) + pad("phone", 18) + num(long(fl), 12) +
             num(long(hl), 6) + num(long(images.size()), 3);
        for (size_t i = 0; i < images.size(); ++i) s += num(long(images[i].size()), 6) + num(long(data[i].size()), 10);
        s += "000" "000" "000" "000" "000" "00000" "00000";
        return s;
    }
    std::string bytes() const {
        const size_t hl = header(0, 0).size();
        size_t fl = hl + tail.size();
        for (size_t i = 0; i < images.size(); ++i) fl += images[i].size() + data[i].size();
        std::string s = header(size_t(long(fl) + fl_delta), hl);
        for (size_t i = 0; i < images.size(); ++i) s += images[i] + data[i];
        return s + tail;
    }
};

class NitfFile : public ::testing::Test {
protected:
    tarntest::TempDir m_dir;
    NITFFile m_file;
    NITFImageSubHeader m_sub;
    NitfFile() {
        memset(&m_file, 0, sizeof m_file);
        NITF_InitImageSubHeader(&m_sub);
    }
    ~NitfFile() override {
        NITF_FreeImageSubHeader(&m_sub);
        NITF_CloseFile(&m_file);
    }
    int open(const std::string& bytes) {
        NITF_CloseFile(&m_file);
        return NITF_OpenFile(m_dir.write("f.ntf", bytes).c_str(), "rb", &m_file);
    }
    // Opens a file of one image and reads its subheader.
    int image(const Sub& sub) {
        File f;
        f.images = {sub.bytes()};
        if (open(f.bytes()) != 0) return -2;
        NITF_FreeImageSubHeader(&m_sub);
        return NITF_ReadImageSubHeader(0, &m_file, &m_sub);
    }
};

TEST_F(NitfFile, HeaderFieldsAndOffsets) {
    File f;
    f.images = {Sub().bytes(), Sub().bytes()};
    f.data = {"abcdef", "ghijklmnop"};
    ASSERT_EQ(open(f.bytes()), 0);
    EXPECT_STREQ(m_file.FHDR, "NITF02.00");
    EXPECT_STREQ(m_file.OSTAID, "STATION   ");
    EXPECT_EQ(m_file.NUMI, 2);
    const size_t hl = f.header(0, 0).size(), lish = Sub().bytes().size();
    EXPECT_EQ(m_file.HL, int32_t(hl));
    EXPECT_EQ(std::vector<int32_t>({m_file.LISH[0], m_file.LI[0], m_file.LISH[1], m_file.LI[1]}),
              std::vector<int32_t>({int32_t(lish), 6, int32_t(lish), 10}));
    EXPECT_EQ(CalcFileOffset(NITF_IMAGE_SEGMENT, 0, &m_file), hl);
    EXPECT_EQ(CalcFileOffset(NITF_IMAGE_SEGMENT, 1, &m_file), hl + lish + 6);
    // Every later group starts behind all the image segments.
    for (int kind = 2; kind <= 6; ++kind) EXPECT_EQ(CalcFileOffset(kind, 0, &m_file), hl + 2 * lish + 16) << kind;
    EXPECT_EQ(CalcFileOffset(7, 0, &m_file), 0u);
    EXPECT_EQ(CalcFileOffset(0, 0, &m_file), 0u);
    EXPECT_EQ(CalcFileOffset(1, -1, &m_file), static_cast<unsigned long>(-1));
    EXPECT_EQ(CalcFileOffset(1, 0, nullptr), static_cast<unsigned long>(-1));
    ASSERT_EQ(NITF_ReadImageSubHeader(1, &m_file, &m_sub), 0);
    EXPECT_EQ(NITF_ReadImageSubHeader(2, &m_file, &m_sub), -1);
    EXPECT_EQ(NITF_ReadImageSubHeader(-1, &m_file, &m_sub), -1);
}

TEST_F(NitfFile, FileLengthAndSegmentsMustFitTheFile) {
    const struct { const char* what; long fl_delta; std::string tail; int want; } cases[] = {
        {"exact", 0, "", 0},
        {"FL one byte long", 1, "", -1},
        {"FL one byte short", -1, "", -1},
        {"bytes behind the segments", 0, "xyz", 0},
    };
    for (const auto& c : cases) {
        File f;
        f.fl_delta = c.fl_delta;
        f.tail = c.tail;
        EXPECT_EQ(open(f.bytes()), c.want) << c.what;
    }
    // A data length that reaches past FL.
    File f;
    std::string b = f.bytes();
    const size_t at = f.header(0, 0).size() - 25 - 10;  // LI of the one image
    b.replace(at, 10, num(6 + 1000, 10));
    EXPECT_EQ(open(b), -1);
    EXPECT_EQ(m_file.file, nullptr);
}

TEST_F(NitfFile, DowngradeEventsAddTheirFields) {
    for (const char* dwng : {"999998", "999999", ""}) {
        File f;
        f.fsdwng = dwng;
        Sub s;
        s.isdwng = dwng;
        f.images = {s.bytes()};
        ASSERT_EQ(open(f.bytes()), 0) << dwng;
        EXPECT_EQ(std::string(m_file.FSDEVT).substr(0, 5), strcmp(dwng, "999998") == 0 ? "event" : "     ") << dwng;
        NITF_FreeImageSubHeader(&m_sub);
        ASSERT_EQ(NITF_ReadImageSubHeader(0, &m_file, &m_sub), 0) << dwng;
        EXPECT_EQ(std::string(m_sub.ISDEVT).substr(0, 5), strcmp(dwng, "999998") == 0 ? "event" : "     ") << dwng;
        EXPECT_EQ(m_sub.NROWS, 2) << dwng;
    }
}

TEST_F(NitfFile, ImageSubheaderLimits) {
    const struct {
        const char* what;
        void (*change)(Sub&);
        int want;
    } cases[] = {
        {"plain", [](Sub&) {}, 0},
        {"nine comments", [](Sub& s) { s.nicom = "9", s.comments.assign(9, "comment"); }, 0},
        {"NBANDS 0", [](Sub& s) { s.nbands = "0"; }, -1},
        {"NBANDS 3", [](Sub& s) { s.nbands = "3"; }, 0},
        {"NC has no COMRAT", [](Sub& s) { s.ic = "NC"; }, 0},
        {"M4 has COMRAT", [](Sub& s) { s.ic = "M4", s.comrat = "1.00"; }, 0},
        {"c3 in lower case has COMRAT", [](Sub& s) { s.ic = "c3", s.comrat = "00.2"; }, 0},
        {"corners", [](Sub& s) { s.icords = "G", s.igeolo = std::string(60, '1'); }, 0},
        {"NLUTS 5", [](Sub& s) { s.nluts = "5", s.nelut = "00001", s.lut.assign(5, 7); }, -1},
        {"NELUT 65536", [](Sub& s) { s.nluts = "1", s.nelut = "65536", s.lut.assign(65536, 7); }, 0},
        {"NELUT 65537", [](Sub& s) { s.nluts = "1", s.nelut = "65537", s.lut.assign(65537, 7); }, -1},
        {"NELUT 0", [](Sub& s) { s.nluts = "1", s.nelut = "00000"; }, -1},
        {"LUT longer than the file", [](Sub& s) { s.nluts = "3", s.nelut = "60000", s.lut.assign(100, 7); }, -1},
        {"user data", [](Sub& s) { s.udidl = "00008", s.udid = "000abcde"; }, 0},
        {"UDIDL 2", [](Sub& s) { s.udidl = "00002", s.udid = "00"; }, -1},
        {"extended data", [](Sub& s) { s.ixshdl = "00006", s.ixshd = "000xyz"; }, 0},
    };
    for (const auto& c : cases) {
        Sub s;
        c.change(s);
        EXPECT_EQ(image(s), c.want) << c.what;
    }
}

TEST_F(NitfFile, ImageSubheaderValues) {
    Sub s;
    s.nicom = "2";
    s.comments = {"first", "second"};
    s.ic = "M4";
    s.comrat = "1.00";
    s.nbands = "1";
    s.nluts = "3";
    s.nelut = "00002";
    s.lut = {1, 2, 3, 4, 5, 6};
    s.ixshdl = "00006";
    s.ixshd = "000xyz";
    ASSERT_EQ(image(s), 0);
    EXPECT_EQ(std::string(m_sub.ICOM[1]).substr(0, 6), "second");
    EXPECT_STREQ(m_sub.IC, "M4");
    EXPECT_STREQ(m_sub.COMRAT, "1.00");
    EXPECT_EQ(m_sub.NLUTS[0], 3);
    EXPECT_EQ(m_sub.NELUT[0], 2);
    ASSERT_NE(m_sub.LUTD[0], nullptr);
    EXPECT_EQ(std::vector<int>(m_sub.LUTD[0], m_sub.LUTD[0] + 6), std::vector<int>({1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(m_sub.IXSHDL, 6);
    ASSERT_NE(m_sub.IXSHD, nullptr);
    EXPECT_STREQ(reinterpret_cast<char*>(m_sub.IXSHD), "xyz");
    EXPECT_EQ(std::vector<int>({m_sub.NROWS, m_sub.NCOLS, m_sub.NBPR, m_sub.NPPBH, m_sub.NBPP}),
              std::vector<int>({2, 3, 1, 3, 8}));
    EXPECT_EQ(m_sub.IMODE, 'B');
    EXPECT_TRUE(NITF_ImageIsBlocked(&m_sub));
    NITFImageSubHeader empty;
    NITF_InitImageSubHeader(&empty);
    EXPECT_EQ(empty.IFC[8], 'N');
    EXPECT_STREQ(empty.IC, "  ");
    for (const char* ic : {"NM", "m0", "M3", "M4"}) {
        memcpy(empty.IC, ic, 2);
        EXPECT_TRUE(NITF_ImageIsBlocked(&empty)) << ic;
    }
    for (const char* ic : {"NC", "C3", "M1", "C4"}) {
        memcpy(empty.IC, ic, 2);
        EXPECT_FALSE(NITF_ImageIsBlocked(&empty)) << ic;
    }
}

TEST_F(NitfFile, MaskTableIsReadBigEndianForMaskedImagesOnly) {
    Sub s;
    s.ic = "NM";
    s.nbpr = 2;
    s.nbpc = 1;
    s.cols = 4;
    s.ppbh = 2;
    File f;
    f.images = {s.bytes()};
    // IMDATOFF 18, BMRLNTH 4, TMRLNTH 0, TPXCDLNTH 8, pad code, offsets 0 and absent.
    const unsigned char mask[] = {0, 0, 0, 18, 0, 4, 0, 0, 0, 8, 0x55, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    f.data = {std::string(reinterpret_cast<const char*>(mask), sizeof mask) + "abcd"};
    ASSERT_EQ(open(f.bytes()), 0);
    ASSERT_EQ(NITF_ReadImageSubHeader(0, &m_file, &m_sub), 0);
    NITFImageDataMask m;
    ASSERT_EQ(NITF_ReadImageDataMaskHeader(0, &m_file, &m_sub, &m), 0);
    EXPECT_EQ(m.IMDATOFF, 18u);
    EXPECT_EQ(m.BMRLNTH, 4);
    EXPECT_EQ(m.TPXCDLNTH, 8);
    ASSERT_NE(m.TPXCD, nullptr);
    EXPECT_EQ(m.TPXCD[0], 0x55);
    ASSERT_NE(m.BMR[0], nullptr);
    EXPECT_EQ(m.BMR[0][0], 0u);
    EXPECT_EQ(m.BMR[0][1], NITF_BLOCK_ABSENT);
    EXPECT_EQ(m.TMR[0], nullptr);
    NITF_FreeImageDataMaskHeader(&m);

    memcpy(m_sub.IC, "NC", 2);
    ASSERT_EQ(NITF_ReadImageDataMaskHeader(0, &m_file, &m_sub, &m), 0);
    EXPECT_EQ(m.BMR[0], nullptr);
    // A table of more blocks than the file holds.
    memcpy(m_sub.IC, "NM", 2);
    m_sub.NBPR = 9999;
    m_sub.NBPC = 9999;
    EXPECT_EQ(NITF_ReadImageDataMaskHeader(0, &m_file, &m_sub, &m), -1);
    NITF_FreeImageDataMaskHeader(&m);
}

TEST_F(NitfFile, CallersHandleStaysOpenAndWritingModeReadsNothing) {
    const std::string path = m_dir.write("c.ntf", File().bytes());
    FILE* fp = tarn_fopen(path.c_str(), "rb");
    ASSERT_NE(fp, nullptr);
    memset(&m_file, 0, sizeof m_file);
    m_file.file = fp;
    ASSERT_EQ(NITF_OpenFile(path.c_str(), "rb", &m_file), 0);
    EXPECT_EQ(m_file.file, fp);
    EXPECT_EQ(m_file.NUMI, 1);
    EXPECT_EQ(NITF_OpenFile(nullptr, "rb", &m_file), -1);
    EXPECT_EQ(NITF_OpenFile(path.c_str(), "", &m_file), -1);
    EXPECT_EQ(NITF_CloseFile(nullptr), -1);
}

// Reading a file and writing its header and subheader gives the same bytes.
TEST_F(NitfFile, WritersGiveBackWhatTheReadersRead) {
    File f;
    f.fsdwng = "999998";
    Sub s;
    s.isdwng = "999998";
    s.nicom = "1";
    s.comments = {"a comment"};
    s.ic = "C3";
    s.comrat = "00.2";
    s.icords = "G";
    s.igeolo = "123456N1234567E123456N1234567E123456N1234567E123456N1234567E";
    s.nbands = "1";
    s.nluts = "2";
    s.nelut = "00003";
    s.lut = {9, 8, 7, 6, 5, 4};
    s.udidl = "00006";
    s.udid = "000uvw";
    s.ixshdl = "00005";
    s.ixshd = "000pq";
    f.images = {s.bytes()};
    const std::string original = f.bytes();
    ASSERT_EQ(open(original), 0);
    ASSERT_EQ(NITF_ReadImageSubHeader(0, &m_file, &m_sub), 0);

    NITFFile out = m_file;
    out.file = tarn_fopen(m_dir.file("w.ntf").c_str(), "wb");
    ASSERT_NE(out.file, nullptr);
    EXPECT_EQ(NITF_WriteHeader(&out), 0);
    EXPECT_EQ(NITF_WriteImageSubHeader(0, &out, &m_sub), 0);
    tarn_fclose(out.file);
    const std::vector<unsigned char> written = tarntest::read_file(m_dir.file("w.ntf"));
    const size_t end = size_t(m_file.HL) + size_t(m_file.LISH[0]);
    ASSERT_EQ(written.size(), end);
    EXPECT_EQ(std::string(written.begin(), written.end()), original.substr(0, end));

    // A value too wide for its field.
    out.file = tarn_fopen(m_dir.file("w2.ntf").c_str(), "wb");
    m_sub.NROWS = 123456789;
    EXPECT_EQ(NITF_WriteImageSubHeader(0, &out, &m_sub), -1);
    out.FSCOP = 100000;
    EXPECT_EQ(NITF_WriteHeader(&out), -1);
    tarn_fclose(out.file);
    out.file = nullptr;
    EXPECT_EQ(NITF_WriteHeader(&out), -1);
}

TEST_F(NitfFile, DataExtensionSubheader) {
    // Build a file with no image and one data extension segment.
    const std::string des = "DE" + pad("TAG", 25) + "01" + "U" + pad("", 40) + pad("", 40) + pad("", 40) +
                            pad("", 20) + pad("", 20) + pad("", 6) + pad("", 6) + "000" + "0004" + "shfl";
    const std::string data = "payload";
    std::string head = "NITF02.00" "01" + pad("BF01", 4) + pad("", 10) + num(0, 14) + pad("", 80) + "U" +
                       pad("", 40) + pad("", 40) + pad("", 40) + pad("", 20) + pad("", 20) + pad("", 6) +
                       "00000" "00000" "0" + pad("", 27) + pad("", 18);
    const size_t hl = head.size() + 12 + 6 + 3 + 3 + 3 + 3 + 3 + 13 + 3 + 5 + 5;
    head += num(long(hl + des.size() + data.size()), 12) + num(long(hl), 6) + "000000000000001" +
            num(long(des.size()), 4) + num(long(data.size()), 9) + "000" "00000" "00000";
    ASSERT_EQ(head.size(), hl);
    ASSERT_EQ(open(head + des + data), 0);
    NITFDataExtSubHeader d;
    ASSERT_EQ(NITF_ReadDataExtSubHeader(0, &m_file, &d), 0);
    EXPECT_EQ(std::string(d.DESTAG).substr(0, 3), "TAG");
    EXPECT_EQ(d.DESSHL, 4);
    ASSERT_NE(d.DESSHF, nullptr);
    EXPECT_EQ(std::string(d.DESSHF, d.DESSHF + 4), "shfl");
    ASSERT_NE(d.DESDATA, nullptr);
    EXPECT_EQ(std::string(d.DESDATA, d.DESDATA + 7), "payload");
    NITF_FreeDataExtSubHeader(&d);
    EXPECT_EQ(NITF_ReadDataExtSubHeader(1, &m_file, &d), -1);
}

// The JITC files: each image subheader starts with "IM" where the tables say.
TEST(NitfFileSamples, SubheadersLieWhereTheLengthsSay) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    for (const char* name : {"U_1034A.NTF", "U_2001A.NTF", "U_3002A.NTF", "U_3050B.NTF", "U_4007A.NTF",
                             "U_1125C.NTF", "U_1050A.NTF", "U_4017A.NTF"}) {
        SCOPED_TRACE(name);
        const std::string path = tarntest::sample_path(std::string("nitf/") + name);
        const std::vector<unsigned char> bytes = tarntest::read_file(path);
        NITFFile f;
        memset(&f, 0, sizeof f);
        ASSERT_EQ(NITF_OpenFile(path.c_str(), "rb", &f), 0);
        EXPECT_STREQ(f.FHDR, "NITF02.00");
        ASSERT_GE(f.NUMI, 1);
        EXPECT_EQ(size_t(f.FL), bytes.size());
        for (int i = 0; i < f.NUMI; ++i) {
            const unsigned long at = CalcFileOffset(NITF_IMAGE_SEGMENT, i, &f);
            ASSERT_LT(at + 1, bytes.size());
            EXPECT_EQ(std::string(bytes.begin() + long(at), bytes.begin() + long(at) + 2), "IM");
            NITFImageSubHeader s;
            ASSERT_EQ(NITF_ReadImageSubHeader(i, &f, &s), 0);
            EXPECT_EQ(tarn_ftell(f.file), long(at) + f.LISH[i]) << "subheader length";
            NITF_FreeImageSubHeader(&s);
        }
        NITF_CloseFile(&f);
    }
}

TEST(NitfFileSamples, OtherVersionsFailTheStructure) {
    if (!tarntest::samples_present()) GTEST_SKIP() << "no shared sample folder";
    for (const char* name : {"i_3034c.ntf", "i_3309a.ntf", "ns3301j.nsf", "gen_c3_blocked_lut.ntf"}) {
        NITFFile f;
        memset(&f, 0, sizeof f);
        const int opened = NITF_OpenFile(tarntest::sample_path(std::string("nitf/") + name).c_str(), "rb", &f);
        if (opened == 0) {
            EXPECT_STRNE(f.FHDR, "NITF02.00") << name;
            NITF_CloseFile(&f);
        }
    }
}

}  // namespace
