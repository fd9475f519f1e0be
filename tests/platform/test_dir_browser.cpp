#include "platform/dir_browser.h"

#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <string>
#include <vector>

namespace {

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
