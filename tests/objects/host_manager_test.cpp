// The library as a host sees it: only getManager and the interfaces.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tarnimage/naming.h>
#include <tarnimage/tarnimage.h>
#include <tarnimage/udf.h>

#include "test_support.h"

namespace {

TEST(HostManager, EmptyOrMissingDirectoryAdmitsNothing) {
    tarntest::TempDir dir;
    IInternalImageManager* manager = getManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_FALSE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("")));
    EXPECT_EQ(manager->getImageCount(), 0);
    EXPECT_FALSE(manager->connect(CTarnUString("/nonexistent/tarn"), CTarnUString("x.tif")));
    EXPECT_EQ(manager->getImage(0), nullptr);
    EXPECT_EQ(manager->findImage(CTarnUString("x.ras")), nullptr);
    // Out of range the name is a new empty string each time, owned by the caller.
    const CTarnUString& first = manager->getImageName(-1);
    const CTarnUString& second = manager->getImageName(-1);
    EXPECT_NE(&first, &second);
    EXPECT_TRUE(first.isEmpty());
    delete &first;
    delete &second;
    EXPECT_EQ(manager->release(), 0);
}

TEST(HostManager, WorldFileCompanionsAndAFifoAreNeverImages) {
    tarntest::TempDir dir;
    dir.write("x.tfw", "1.0\n0.0\n0.0\n-1.0\n100.5\n200.5\n");
    dir.write("x.aux", "whatever");
    dir.write("x.xml", "<a/>");
    ASSERT_EQ(mkfifo(dir.file("x.pipe").c_str(), 0600), 0);  // once hung the walk
    IInternalImageManager* manager = getManager();
    EXPECT_FALSE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("")));
    EXPECT_FALSE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("x.tfw")));
    EXPECT_EQ(manager->getImageCount(), 0);
    manager->release();
}

// A host's own driver, registered through the public header, as the naming
// calls then see it.
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
