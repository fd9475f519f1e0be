// The driver registry: codes, the dense table, suffix lookup, the probe walk,
// and the library's own drivers. Codes are never reused in a process, so the
// tests compare codes relative to each other and leave the table as they
// found it.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"
#include "udf/udf.h"

namespace {

int dummy_exist(const char*, char*, FILE*) { return 0; }

UDFRecord make_record(const char* keyword, const char* suffix) {
    UDFRecord record = {};
    record.exist = dummy_exist;
    record.keyword = const_cast<char*>(keyword);
    record.suffix = const_cast<char*>(suffix);
    record.description = const_cast<char*>("test driver");
    record.filter = const_cast<char*>("*.*");
    return record;
}

uint32_t occupied() {
    uint32_t n = 0;
    while (UDFindex(n)) ++n;
    return n;
}

std::vector<uint32_t> slot_types() {
    std::vector<uint32_t> types;
    for (uint32_t i = 0; const UDFRecord* slot = UDFindex(i); ++i) types.push_back(slot->type);
    return types;
}

// Registers a driver only to learn the counter's current value.
uint32_t next_code() {
    UDFRecord record = make_record("PROBE", "zzz");
    uint32_t code = II_RegisterUDF(&record);
    II_UnregisterUDF(code);
    return code;
}

TEST(UdfRegistry, ThirtyTwoFillTheTableAndTheNextGetsZero) {
    const uint32_t before = occupied();
    ASSERT_LT(before, 32u);
    std::vector<uint32_t> codes;
    while (occupied() < 32) {
        UDFRecord record = make_record("FILL", "fil");
        uint32_t code = II_RegisterUDF(&record);
        ASSERT_NE(code, 0u);
        EXPECT_EQ(record.type, code);
        if (!codes.empty()) {
            EXPECT_EQ(code, codes.back() + 1);
        }
        EXPECT_GT(code, 1000u);
        codes.push_back(code);
    }
    EXPECT_EQ(UDFindex(31)->type, codes.back());
    EXPECT_EQ(UDFindex(32), nullptr);

    UDFRecord overflow = make_record("OVER", "ovf");
    EXPECT_EQ(II_RegisterUDF(&overflow), 0u);
    EXPECT_EQ(overflow.type, 0u);

    for (uint32_t code : codes) II_UnregisterUDF(code);
    EXPECT_EQ(occupied(), before);
    // The refused registration spent no code.
    EXPECT_EQ(next_code(), codes.back() + 1);
}

TEST(UdfRegistry, UnregisteringMovesTheLastSlotIntoTheGap) {
    const uint32_t base = occupied();
    UDFRecord a = make_record("A", "aaa"), b = make_record("B", "bbb"), c = make_record("C", "ccc");
    uint32_t ca = II_RegisterUDF(&a), cb = II_RegisterUDF(&b), cc = II_RegisterUDF(&c);
    ASSERT_TRUE(ca && cb && cc);
    EXPECT_EQ(slot_types().size(), base + 3);

    II_UnregisterUDF(ca);
    std::vector<uint32_t> types = slot_types();
    ASSERT_EQ(types.size(), base + 2);
    EXPECT_EQ(types[base], cc);  // C jumped ahead of B
    EXPECT_EQ(types[base + 1], cb);
    EXPECT_STREQ(UDFindex(base)->keyword, "C");
    EXPECT_EQ(UDFentry(ca), nullptr);

    // Removing the last slot moves nothing.
    II_UnregisterUDF(cb);
    types = slot_types();
    ASSERT_EQ(types.size(), base + 1);
    EXPECT_EQ(types[base], cc);
    II_UnregisterUDF(cc);
    EXPECT_EQ(occupied(), base);
}

TEST(UdfRegistry, UnknownOrZeroCodeLeavesTheTableAlone) {
    UDFRecord host = make_record("HOST", "hst");
    uint32_t code = II_RegisterUDF(&host);
    ASSERT_NE(code, 0u);
    const std::vector<uint32_t> before = slot_types();
    for (uint32_t unknown : {0u, 1u, 999u, 1000u, code + 1000u}) {
        II_UnregisterUDF(unknown);
        EXPECT_EQ(slot_types(), before) << unknown;
    }
    ASSERT_NE(UDFentry(code), nullptr);
    EXPECT_STREQ(UDFentry(code)->keyword, "HOST");
    EXPECT_EQ(UDFentry(code + 1000u), nullptr);
    II_UnregisterUDF(code);
    // Twice is as good as once.
    II_UnregisterUDF(code);
    EXPECT_EQ(slot_types().size(), before.size() - 1);
}

TEST(UdfRegistry, CodesAreNeverReused) {
    UDFRecord record = make_record("AGAIN", "agn");
    uint32_t first = II_RegisterUDF(&record);
    II_UnregisterUDF(first);
    uint32_t second = II_RegisterUDF(&record);
    EXPECT_GT(second, first);
    II_UnregisterUDF(second);
}

TEST(UdfRegistry, TheSlotKeepsItsOwnCopiesAndLowerCasesTheSuffix) {
    std::string keyword = "MyFmt", suffix = "MyF", description = "My format", filter = "*.myf";
    UDFRecord record = make_record(keyword.c_str(), suffix.c_str());
    record.description = &description[0];
    record.filter = &filter[0];
    record.spare1 = 7;
    uint32_t code = II_RegisterUDF(&record);
    keyword.assign("xxxxx");
    suffix.assign("xxx");
    description.assign("xxxxxxxxx");
    const UDFRecord* slot = UDFentry(code);
    ASSERT_NE(slot, nullptr);
    EXPECT_STREQ(slot->keyword, "MyFmt");
    EXPECT_STREQ(slot->suffix, "myf");
    EXPECT_STREQ(slot->description, "My format");
    EXPECT_STREQ(slot->filter, "*.myf");
    EXPECT_EQ(slot->spare1, 7u);
    EXPECT_EQ(slot->exist, &dummy_exist);
    // The registered suffix is lower case; the argument is taken as it is.
    EXPECT_EQ(UDFsuffix("myf"), code);
    EXPECT_EQ(UDFsuffix("MYF"), 0u);
    char buffer[4];
    EXPECT_EQ(II_GetUDFKeyword(code, buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "MyF");  // cut to fit, terminated
    EXPECT_EQ(II_GetUDFKeyword(code, nullptr, 0), 5);
    EXPECT_EQ(II_GetUDFKeyword(0, buffer, sizeof buffer), -1);
    II_UnregisterUDF(code);
    EXPECT_EQ(UDFsuffix("myf"), 0u);
    EXPECT_EQ(II_GetUDFKeyword(code, buffer, sizeof buffer), -1);
}

TEST(UdfRegistry, NullStringsAreStoredEmpty) {
    UDFRecord record = {};
    uint32_t code = II_RegisterUDF(&record);
    ASSERT_NE(code, 0u);
    EXPECT_STREQ(UDFentry(code)->keyword, "");
    EXPECT_STREQ(UDFentry(code)->suffix, "");
    II_UnregisterUDF(code);
    EXPECT_EQ(II_RegisterUDF(nullptr), 0u);
}

TEST(UdfRegistry, UnregisterAllEmptiesTheTableButKeepsTheCounter) {
    const uint32_t before = occupied();
    if (before != 0) GTEST_SKIP() << "another driver is registered in this process";
    UDFRecord record = make_record("ALL", "all");
    uint32_t first = II_RegisterUDF(&record);
    II_RegisterUDF(&record);
    II_UnregisterAllUDF();
    EXPECT_EQ(occupied(), 0u);
    EXPECT_EQ(UDFentry(first), nullptr);
    EXPECT_EQ(next_code(), first + 2);
    II_UnregisterAllUDF();  // on an empty table: nothing
}

// A driver that counts its calls and records where the file stood.
struct Probe {
    int calls = 0;
    long position = -2;
    bool had_file = false;
};
Probe g_probe;

int counting_exist(const char*, char*, FILE* fp) {
    ++g_probe.calls;
    g_probe.had_file = fp != nullptr;
    g_probe.position = fp ? ftell(fp) : -1;
    return 0;
}

TEST(UdfRegistry, EmptyTableAsksNobodyAndLeavesTheFileAlone) {
    if (occupied() != 0) GTEST_SKIP() << "another driver is registered in this process";
    tarntest::TempDir dir;
    std::string path = dir.write("f", "0123456789");
    FILE* fp = fopen(path.c_str(), "r");
    ASSERT_NE(fp, nullptr);
    fseek(fp, 5, SEEK_SET);
    char out[TARN_UDF_PATH_MAX] = "unchanged";
    EXPECT_EQ(UDFExist(path.c_str(), out, fp), 0);
    EXPECT_EQ(ftell(fp), 5);
    EXPECT_STREQ(out, "unchanged");
    fclose(fp);
}

TEST(UdfRegistry, ExistSeesTheFileRewoundAndAHandleOnlyWhenOneIsOpen) {
    UDFRecord record = make_record("COUNT", "cnt");
    record.exist = counting_exist;
    uint32_t code = II_RegisterUDF(&record);
    tarntest::TempDir dir;
    std::string path = dir.write("f", "0123456789");
    FILE* fp = fopen(path.c_str(), "r");
    ASSERT_NE(fp, nullptr);
    fseek(fp, 7, SEEK_SET);
    char out[TARN_UDF_PATH_MAX] = "";
    g_probe = Probe();
    EXPECT_EQ(UDFExist(path.c_str(), out, fp), 0);
    EXPECT_EQ(g_probe.calls, 1);
    EXPECT_TRUE(g_probe.had_file);
    EXPECT_EQ(g_probe.position, 0);
    fclose(fp);

    g_probe = Probe();
    EXPECT_EQ(UDFExist("/nonexistent/f", out, nullptr), 0);
    EXPECT_EQ(g_probe.calls, 1);
    EXPECT_FALSE(g_probe.had_file);
    II_UnregisterUDF(code);
}

TEST(UdfRegistry, HeaderIsZeroedByUdfInitial) {
    UDFHeader header;
    memset(&header, 0xAB, sizeof header);
    EXPECT_EQ(UDFinitial(&header), 0);
    EXPECT_EQ(header.rows, 0);
    EXPECT_EQ(header.scale, 0.0);
    EXPECT_EQ(header.priv, nullptr);
    EXPECT_EQ(header.red, nullptr);
    EXPECT_EQ(UDFinitial(nullptr), 0);
}

struct BuiltIn {
    const char* keyword;
    const char* suffix;
    const char* description;
    const char* filter;
};
// Registration order is probe order; IMAGINE stays out without its toolkit.
const BuiltIn kBuiltIns[] = {
    {"gif", "gif", "GIF (*.gif)", "*.gif"},
    {"SRP", "", "ASRP/USRP (*.img; *.ovr; *.l*)", "*.img;*.ovr;*.l*"},
    {"ArcDRG", "ovr", "ADRG (*.img; *.ovr; *.l*)", "*.img;*.ovr;*.l*"},
    {"CADRG", "cdg", "CADRG (*.*)", "*.*"},
    {"CIB", "cib", "CIB (*.*)", "*.*"},
    {"JPG", "jpg", "JFIF (*.jpg)", "*.jpg"},
    {"NITF", "ntf", "NITF (*.ntf)", "*.ntf"},
    {"TIFF6", "tif", "TIFF (*.tif; *.tff; *.tiff)", "*.tif;*.tff;*.tiff"},
};

TEST(UdfRegistry, LibInitRegistersTheEightDriversInOrderAndLibExitRemovesThem) {
    const uint32_t base = occupied();
    const uint32_t expected_first = next_code() + 1;
    UDF_LibInit();
    ASSERT_EQ(occupied(), base + 8);
    for (uint32_t i = 0; i < 8; ++i) {
        const UDFRecord* slot = UDFindex(base + i);
        SCOPED_TRACE(kBuiltIns[i].keyword);
        EXPECT_EQ(slot->type, expected_first + i);
        EXPECT_STREQ(slot->keyword, kBuiltIns[i].keyword);
        EXPECT_STREQ(slot->suffix, kBuiltIns[i].suffix);
        EXPECT_STREQ(slot->description, kBuiltIns[i].description);
        EXPECT_STREQ(slot->filter, kBuiltIns[i].filter);
        EXPECT_NE(slot->exist, nullptr);
        EXPECT_NE(slot->open, nullptr);
        EXPECT_NE(slot->close, nullptr);
        EXPECT_NE(slot->getrow, nullptr);
        // Until the readers land, every driver declines and fails to open.
        char out[TARN_UDF_PATH_MAX] = "";
        EXPECT_EQ(slot->exist("x", out, nullptr), 0);
        UDFHeader header = {};
        EXPECT_LT(slot->open("x", 1, 0, 0, 0, &header), 0);
    }
    EXPECT_EQ(UDFsuffix("tif"), expected_first + 7);
    EXPECT_EQ(UDFsuffix("TIF"), 0u);
    EXPECT_EQ(UDFsuffix("gif"), expected_first);
    EXPECT_EQ(UDFsuffix("img"), 0u);  // no IMAGINE driver
    EXPECT_EQ(UDF_LibCanExit(), 1);

    UDF_LibExit();
    EXPECT_EQ(occupied(), base);
    EXPECT_EQ(UDFsuffix("tif"), 0u);

    // A second start hands out fresh codes.
    UDF_LibInit();
    EXPECT_EQ(UDFindex(base)->type, expected_first + 8);
    EXPECT_EQ(UDFsuffix("tif"), expected_first + 15);
    UDF_LibExit();
    EXPECT_EQ(occupied(), base);
}

TEST(UdfRegistry, ExitWithoutImagineKeepsAHostDriver) {
    // The IMAGINE exit unregisters code 0 when it never registered; a host's
    // driver must survive that.
    UDF_LibInit();
    UDFRecord record = make_record("MINE", "min");
    uint32_t mine = II_RegisterUDF(&record);
    UDF_LibExit();
    ASSERT_NE(UDFentry(mine), nullptr);
    EXPECT_STREQ(UDFentry(mine)->keyword, "MINE");
    II_UnregisterUDF(mine);
}

}  // namespace
