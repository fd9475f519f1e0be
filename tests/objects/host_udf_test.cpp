// A host's view of the registry and the naming calls: public headers only,
// through the shared library.

#include <gtest/gtest.h>
#include <tarnimage/naming.h>
#include <tarnimage/tarnimage.h>
#include <tarnimage/udf.h>

#include <string>

namespace {

int declines(const char*, char*, FILE*) { return 0; }

TEST(HostUdf, RegistersItsOwnDriver) {
    UDFRecord record = {};
    record.exist = declines;
    record.keyword = const_cast<char*>("HOSTFMT");
    record.suffix = const_cast<char*>("HFM");
    record.description = const_cast<char*>("Host format (*.hfm)");
    record.filter = const_cast<char*>("*.hfm");
    uint32_t code = II_RegisterUDF(&record);
    ASSERT_GT(code, 1000u);
    EXPECT_EQ(record.type, code);

    char keyword[32];
    EXPECT_EQ(II_GetUDFKeyword(code, keyword, sizeof keyword), 7);
    EXPECT_STREQ(keyword, "HOSTFMT");
    EXPECT_EQ(get_type_from_extension("hfm"), static_cast<int>(code));
    EXPECT_EQ(get_type_from_extension("HFM"), static_cast<int>(code));
    int type = 0;
    EXPECT_EQ(type_from_keyword("hostf", &type), static_cast<int>(code));
    char name[16] = "x.";
    name_from_type(static_cast<int>(code), name);
    EXPECT_STREQ(name, "x.hfm");
    EXPECT_EQ(keyword_from_type(keyword, static_cast<int>(code)), -1);

    II_UnregisterUDF(code);
    EXPECT_EQ(II_GetUDFKeyword(code, keyword, sizeof keyword), -1);
    EXPECT_EQ(get_type_from_extension("hfm"), -1);
}

TEST(HostUdf, LibraryDriversLiveWhileAManagerDoes) {
    EXPECT_EQ(get_type_from_extension("jpg"), -1);
    IInternalImageManager* manager = getManager();
    int jpg = get_type_from_extension("jpg");
    ASSERT_GT(jpg, 1000);
    char keyword[32];
    EXPECT_EQ(II_GetUDFKeyword(static_cast<uint32_t>(jpg), keyword, sizeof keyword), 3);
    EXPECT_STREQ(keyword, "JPG");
    EXPECT_EQ(get_type_from_extension("tif"), 7);
    manager->release();
    EXPECT_EQ(get_type_from_extension("jpg"), -1);
}

TEST(HostUdf, NamingCalls) {
    int type = 0;
    EXPECT_EQ(type_from_keyword("BI", &type), 8);
    EXPECT_EQ(type_from_keyword("T", &type), 7);
    char keyword[16];
    EXPECT_EQ(keyword_from_type(keyword, 3), 1);
    EXPECT_STREQ(keyword, "ERDAS");
    EXPECT_EQ(suffname("scene.LAN"), 5);
    EXPECT_EQ(check_format_ADRG("/data/ADRG/TRANSH01.LRG"), 1);
    char location[32], mapset[32], map[32];
    EXPECT_EQ(parse_grass_name("a:b:c", location, mapset, map), 1);
    EXPECT_EQ(check_format_TIFF(nullptr), 0);
}

}  // namespace
