// Files, world files and directory listings, on names of any script.
#include <tarnimage/tarn_file.h>

#include "platform/dir_browser.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

TEST(TarnFile, WorldFilesWrittenByGdalVariantsAndRefusals) {
    auto gdal = [](const char* name) {
        std::vector<unsigned char> bytes = tarntest::read_file(tarntest::data_path(name));
        return std::string(bytes.begin(), bytes.end());
    };
    std::string straddling = "1\n2\n3\n4\n5\n";  // the sixth number is cut by the 4 KB read bound
    straddling += std::string(4093 - straddling.size() - 1, ' ') + "\n123456\n";
    struct Case { const char* what; std::string bytes; std::vector<double> values; };  // none: refused
    const Case cases[] = {
        // The transforms of tests/data/make_world.sh, with the origin moved to
        // the centre of the top-left pixel as GDAL writes it.
        {"GDAL, rotated", gdal("world/rotated-4x3.tfw"), {2.5, -0.25, 0.125, -2.5, 440721.3125, 3751318.625}},
        {"GDAL, north up", gdal("world/northup-30m-5x2.tfw"), {30.0, 0.0, 0.0, -30.0, 500015.0, 4099985.0}},
        {"CRLF, blanks, blank lines", "\n1.5 \r\n\n \n-2\t\r\n3\r\n4\r\n5\r\n6e2  \r\n", {1.5, -2, 3, 4, 5, 600}},
        {"no final newline", "+1E3\n2\n3\n4\n5\n6", {1000, 2, 3, 4, 5, 6}},
        {"lines after the sixth", "1\n2\n3\n4\n5\n6\ngarbage\n", {1, 2, 3, 4, 5, 6}},
        {"five lines", "1\n2\n3\n4\n5\n", {}},
        {"number with tail", "1\n2\n3\n4\n5\n6m\n", {}},
        {"not finite", "1\n2\nnan\n4\n5\ninf\n", {}},
        {"NUL byte", std::string("1\n2\n3\n4\n5\0\n6\n", 13), {}},
        {"number cut by the bound", straddling, {}},
        {"megabyte of digits", std::string(1 << 20, '7'), {}},
    };
    tarntest::TempDir dir;
    for (const Case& c : cases) {
        double values[6] = {-7, -7, -7, -7, -7, -7};
        FILE* file = tarn_fopen(dir.write("x.tfw", c.bytes).c_str(), "rb");
        EXPECT_EQ(tarn_read_world_file(file, values), c.values.empty() ? 0 : 1) << c.what;
        tarn_fclose(file);
        EXPECT_EQ(std::vector<double>(values, values + 6), c.values.empty() ? std::vector<double>(6, -7) : c.values);
    }
}

TEST(TarnFile, ReadWriteSeekOnANonAsciiNameAndNoDirectories) {
    tarntest::TempDir dir;
    EXPECT_EQ(tarn_fopen(dir.path().c_str(), "r"), nullptr);
    EXPECT_EQ(tarn_isDirectory(dir.path().c_str()), 1);
    CTarnUString name;
    tarn_setFileSystemPath(name, dir.path().c_str());
    name.addFile(CTarnUString("kort_\xC3\xBC_\xF0\x9F\x97\xBA.bil"));
    FILE* out = tarn_fopen(name, "wb");
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(tarn_fwrite("abc", 1, 3, out), 3u);
    EXPECT_EQ(tarn_fprintf(out, "%d-%s", 42, "z"), 4);
    EXPECT_EQ(tarn_fclose(out), 0);

    const std::string utf8 = name.toUTF8();
    EXPECT_EQ(tarn_accessFile(utf8.c_str(), R_OK), 0);
    FILE* in = tarn_fopen(utf8.c_str(), "r");
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(fcntl(fileno(in), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);  // no leak into a host's children
    char buffer[8] = {0};
    EXPECT_EQ(tarn_fread(buffer, 1, 7, in), 7u);
    EXPECT_STREQ(buffer, "abc42-z");
    EXPECT_EQ(tarn_fseek(in, 3, SEEK_SET), 0);
    EXPECT_EQ(tarn_fgetc(in), '4');
    tarn_fclose(in);
    EXPECT_EQ(tarn_deleteFile(utf8.c_str()), 0);
    EXPECT_EQ(tarn_accessFile(utf8.c_str(), F_OK), -1);
}

std::vector<std::string> walk(CTarnUString path) {
    TarnDirBrowser browser(path);
    std::vector<std::string> names;
    for (int more = browser.findFirst(); more; more = browser.findNext()) names.push_back(browser.getName().toUTF8());
    EXPECT_EQ(browser.findNext(), 0);
    return names;
}

TEST(DirBrowser, ListsEntriesInByteOrderWithoutDescending) {
    tarntest::TempDir dir;
    for (const char* name : {"b.ras", "a.ras", "B.ras", ".hidden", "\xC3\x86r\xC3\xB8.tif", "a.ras.aux"})
        dir.write(name, "x");
    ASSERT_EQ(mkdir(dir.file("sub").c_str(), 0755), 0);
    dir.write("sub/inner.ras", "x");
    const std::vector<std::string> expected = {
        ".hidden", "B.ras", "a.ras", "a.ras.aux", "b.ras", "sub", "\xC3\x86r\xC3\xB8.tif"};
    EXPECT_EQ(walk(CTarnUString(dir.path())), expected);

    tarntest::TempDir empty;
    for (const std::string& path : {empty.path(), dir.file("missing"), dir.file("b.ras"), std::string()})
        EXPECT_TRUE(walk(CTarnUString(path)).empty()) << path;
}

}  // namespace
