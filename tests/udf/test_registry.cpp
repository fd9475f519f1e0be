// The driver registry: codes, the dense table, suffix lookup and the
// library's own drivers. Codes are never reused in a process, so the tests
// compare codes relative to each other and leave the table as they found it.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "udf/udf.h"

namespace {

int dummy_exist(const char*, char*, FILE*) { return 0; }

UDFRecord make_record(const char* keyword, const char* suffix) {
    UDFRecord record = {};
    record.exist = dummy_exist;
    record.keyword = const_cast<char*>(keyword), record.suffix = const_cast<char*>(suffix);
    return record;
}

// Types of the occupied slots, from slot `from` on.
std::vector<uint32_t> slot_types(uint32_t from = 0) {
    std::vector<uint32_t> types;
    for (uint32_t i = from; const UDFRecord* slot = UDFindex(i); ++i) types.push_back(slot->type);
    return types;
}

uint32_t occupied() { return static_cast<uint32_t>(slot_types().size()); }

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
        ASSERT_GT(code, 1000u);
        EXPECT_EQ(record.type, code);
        if (!codes.empty()) { EXPECT_EQ(code, codes.back() + 1); }
        codes.push_back(code);
    }
    EXPECT_EQ(UDFindex(31)->type, codes.back());
    EXPECT_EQ(UDFindex(32), nullptr);

    UDFRecord overflow = make_record("OVER", "ovf");
    EXPECT_EQ(II_RegisterUDF(&overflow), 0u);
    EXPECT_EQ(overflow.type, 0u);

    for (uint32_t code : codes) II_UnregisterUDF(code);
    EXPECT_EQ(occupied(), before);
    // The refused registration spent no code, and freed codes are not handed out again.
    EXPECT_EQ(next_code(), codes.back() + 1);
}

TEST(UdfRegistry, UnregisteringMovesTheLastSlotIntoTheGap) {
    const uint32_t base = occupied();
    UDFRecord a = make_record("A", "aaa"), b = make_record("B", "bbb"), c = make_record("C", "ccc");
    uint32_t ca = II_RegisterUDF(&a), cb = II_RegisterUDF(&b), cc = II_RegisterUDF(&c);
    ASSERT_TRUE(ca && cb && cc);
    II_UnregisterUDF(ca);
    EXPECT_EQ(slot_types(base), (std::vector<uint32_t>{cc, cb}));  // C jumped ahead of B
    EXPECT_STREQ(UDFindex(base)->keyword, "C");
    EXPECT_EQ(UDFentry(ca), nullptr);
    II_UnregisterUDF(cb);  // removing the last slot moves nothing
    EXPECT_EQ(slot_types(base), (std::vector<uint32_t>{cc}));
    II_UnregisterUDF(cc);
    EXPECT_EQ(occupied(), base);
}

TEST(UdfRegistry, UnknownOrZeroCodeLeavesTheTableAlone) {
    UDFRecord host = make_record("HOST", "hst");
    uint32_t code = II_RegisterUDF(&host);
    ASSERT_NE(code, 0u);
    const std::vector<uint32_t> before = slot_types();
    for (uint32_t unknown : {0u, 1u, 1000u, code + 1000u}) {
        II_UnregisterUDF(unknown);
        EXPECT_EQ(slot_types(), before) << unknown;
    }
    EXPECT_EQ(UDFentry(code + 1000u), nullptr);

    // The library's start and exit leave the host's driver alone. (Order and
    // codes: udf_process/.)
    const size_t drivers = TARN_WITH_IMAGINE ? 9 : 8;
    UDF_LibInit();
    ASSERT_EQ(occupied(), before.size() + drivers);
    for (size_t i = before.size(); i < before.size() + drivers; ++i) {
        // No driver accepts or opens a file that is not there.
        const UDFRecord* slot = UDFindex(static_cast<uint32_t>(i));
        char out[TARN_UDF_PATH_MAX] = "";
        UDFHeader header = {};
        EXPECT_EQ(slot->exist("x", out, nullptr), 0) << slot->keyword;
        EXPECT_LT(slot->open("x", 1, 0, 0, 0, &header), 0) << slot->keyword;
    }
    EXPECT_EQ(UDF_LibCanExit(), 1);
    UDF_LibExit();
    ASSERT_NE(UDFentry(code), nullptr);
    II_UnregisterUDF(code);
    II_UnregisterUDF(code);  // twice is as good as once
    EXPECT_EQ(occupied(), before.size() - 1);
}

TEST(UdfRegistry, TheSlotKeepsItsOwnCopiesAndLowerCasesTheSuffix) {
    std::string keyword = "MyFmt", suffix = "MyF", description = "My format";
    UDFRecord record = make_record(keyword.c_str(), suffix.c_str());
    record.description = &description[0];
    uint32_t code = II_RegisterUDF(&record);
    keyword.assign("xxxxx");
    suffix.assign("xxx");
    description.assign("xxxxxxxxx");
    const UDFRecord* slot = UDFentry(code);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(std::string(slot->keyword) + slot->suffix + slot->description, "MyFmtmyfMy format");
    EXPECT_EQ(UDFsuffix("myf"), code);
    char buffer[4];
    EXPECT_EQ(II_GetUDFKeyword(code, buffer, sizeof buffer), 5);
    EXPECT_STREQ(buffer, "MyF");  // cut to fit, terminated
    II_UnregisterUDF(code);
    EXPECT_EQ(UDFsuffix("myf"), 0u);
    EXPECT_EQ(II_RegisterUDF(nullptr), 0u);
}

TEST(UdfRegistry, UnregisterAllAndTheEmptyTable) {
    if (occupied() != 0) GTEST_SKIP() << "another driver is registered in this process";
    UDFRecord record = make_record("ALL", "all");
    uint32_t first = II_RegisterUDF(&record);
    II_RegisterUDF(&record);
    II_UnregisterAllUDF();
    EXPECT_EQ(occupied(), 0u);
    EXPECT_EQ(UDFentry(first), nullptr);
    EXPECT_EQ(next_code(), first + 2);  // the counter is kept
    II_UnregisterAllUDF();
}

}  // namespace
