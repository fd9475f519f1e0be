// A host's own driver, registered through the public header and the shared
// library, as the naming calls then see it.

#include <gtest/gtest.h>
#include <tarnimage/naming.h>
#include <tarnimage/tarnimage.h>
#include <tarnimage/udf.h>

namespace {

int declines(const char*, char*, FILE*) { return 0; }

TEST(HostUdf, RegistersItsOwnDriver) {
    UDFRecord record = {};
    record.exist = declines;
    record.keyword = const_cast<char*>("HOSTFMT");
    record.suffix = const_cast<char*>("HFM");
    uint32_t code = II_RegisterUDF(&record);
    ASSERT_GT(code, 1000u);
    EXPECT_EQ(record.type, code);

    char keyword[32];
    EXPECT_EQ(II_GetUDFKeyword(code, keyword, sizeof keyword), 7);
    EXPECT_STREQ(keyword, "HOSTFMT");
    EXPECT_EQ(get_type_from_extension("HFM"), static_cast<int>(code));
    int type = 0;
    EXPECT_EQ(type_from_keyword("hostf", &type), static_cast<int>(code));
    char name[16] = "x.";
    name_from_type(static_cast<int>(code), name);
    EXPECT_STREQ(name, "x.hfm");

    II_UnregisterUDF(code);
    EXPECT_EQ(II_GetUDFKeyword(code, keyword, sizeof keyword), -1);
    EXPECT_EQ(get_type_from_extension("hfm"), -1);
}

}  // namespace
