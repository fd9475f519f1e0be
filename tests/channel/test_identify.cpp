// Format identification and naming, on files made by netpbm and GDAL
// (tests/data/make_ident.sh) and on small byte strings written inline.

#include <gtest/gtest.h>
#include <tarnimage/naming.h>

#include <cstring>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "channel/identify.h"
#include "test_support.h"
#include "udf/udf.h"

namespace {

std::string fixture(const std::string& name) { return tarntest::data_path("ident/" + name); }

struct Identified { int result; int type; std::string found; };

Identified identify(const std::string& name) {
    Identified id;
    char resolved[TARN_PATH_MAX] = "untouched";
    id.type = 12345;
    id.result = get_image_type_from_name(name.c_str(), resolved, &id.type);
    id.found = resolved;
    return id;
}

std::string cwd() {
    char here[4096];
    return getcwd(here, sizeof here) ? here : "";
}

// Runs the body with the working directory set to dir.
template <typename Body>
void in_directory(const std::string& dir, Body body) {
    const std::string previous = cwd();
    ASSERT_EQ(chdir(dir.c_str()), 0);
    body();
    EXPECT_EQ(chdir(previous.c_str()), 0);
}

// The bytes of a fixture made by netpbm or GDAL.
std::string made(const char* name) {
    std::vector<unsigned char> bytes = tarntest::read_file(fixture(name));
    return std::string(bytes.begin(), bytes.end());
}

TEST(Identify, FilesMadeByIndependentToolsAndExtendedNames) {
    const struct {
        const char* asked;
        std::vector<std::pair<const char*, std::string>> files;
        int type;           // -1: not identified
        const char* found;  // null: the name asked
    } cases[] = {
        // By content alone: a Sun raster has no customary suffix.
        {"sun", {{"sun", made("sun-grey-7x5")}}, 2, nullptr},
        {"erdas.lan", {{"erdas.lan", made("erdas-head74-grey-7x5.lan")}}, 3, nullptr},
        {"ehdr.bil", {{"ehdr.bil", made("ehdr-grey-7x5.bil")}}, 8, nullptr},
        {"bmp.bmp", {{"bmp.bmp", made("bmp-grey-7x5.bmp")}}, 14, nullptr},
        // The extension row comes before any reader of TIFF.
        {"x.bmp", {{"x.bmp", made("geotiff-le-grey-7x5.tif")}}, 14, nullptr},
        // A BMP named .tif is a BMP by content, before the drivers are asked.
        {"bmp.tif", {{"bmp.tif", made("bmp-grey-7x5.bmp")}}, 14, nullptr},
        // A .lan without an ERDAS header goes on to the content tests.
        {"sun.lan", {{"sun.lan", made("sun-grey-7x5")}}, 2, nullptr},
        // Extension by name alone, whatever the content.
        {"sun.bsq", {{"sun.bsq", made("sun-grey-7x5")}}, 11, nullptr},
        {"x.RLC", {{"x.RLC", "not an image"}}, 1, nullptr},
        // One exact spelling per row: "Rlc" is no Impell name.
        {"a.Rlc", {{"a.Rlc", "not an image"}}, -1, nullptr},
        {"x.lan", {{"x.lan", ""}}, -1, nullptr},
        {"header.lan", {{"header.lan", "HEADER\x01"}}, 3, nullptr},
        {"sunswapped", {{"sunswapped", "\x95\x6A\xA6\x59"}}, -1, nullptr},  // the magic word is big-endian
        // Extended names of a stem; Impell is probed first.
        {"x", {{"x.gis", "HEAD74\x01"}, {"x.rlc", ""}}, 1, "x.rlc"},
        // A .gis without the header is passed over for a .lan with one.
        {"x", {{"x.gis", "nope...."}, {"x.LAN", "HEADER\x01"}}, 3, "x.LAN"},
        {"x", {{"x.BMP", ""}}, 14, "x.BMP"},
        {"x", {{"x.bil", ""}, {"x.bsq", ""}}, 8, "x.bil"},
        // An existing file that matches nothing still tries the suffixes.
        {"x", {{"x", "plain text"}, {"x.rlc", ""}}, 1, "x.rlc"},
        // ADRG: an image beside its general information file, named after the
        // stem without its last two characters; or the stem itself beside it.
        {"TRANSH01", {{"TRANSH01.img", ""}, {"TRANSH01.gen", ""}}, 13, "TRANSH01.img"},
        {"ABCDEF01", {{"ABCDEF01", "not a raster"}, {"ABCDEF01.GEN", ""}}, 13, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.files.front().first);
        tarntest::TempDir dir;
        for (const auto& file : c.files) dir.write(file.first, file.second);
        Identified id = identify(dir.file(c.asked));
        EXPECT_EQ(id.result, c.type == -1 ? -1 : 1);
        EXPECT_EQ(id.type, c.type);
        EXPECT_EQ(id.found, c.type == -1 ? "untouched" : dir.file(c.found ? c.found : c.asked));
    }
    // ADRG legends by name alone: ".l" and two letters, fifteen characters from the end.
    EXPECT_EQ(check_format_ADRG("/data/ADRG/TRANSH01.lRG"), 1);
    EXPECT_EQ(check_format_ADRG("/ab/cdefghi.Lab"), 0);  // one character short
}

TEST(Identify, BareNamesBecomeAbsoluteAndCaseRetriesFindTheFile) {
    tarntest::TempDir dir;
    dir.copy_in(fixture("sun-grey-7x5"), "sun");
    dir.write("lower.bil", "");
    dir.write("UPPER.BSQ", "");
    dir.write("Mixed.Bip", "");
    in_directory(dir.path(), [&] {
        const std::string here = cwd();
        const struct {
            const char* asked;
            const char* found;  // relative to the directory; null: not identified
        } cases[] = {
            {"sun", "sun"}, {"LOWER.BIL", "lower.bil"}, {"uPPer.BsQ", "UPPER.BSQ"},
            // Neither retry spells a file that exists, and ".Bip" is no
            // extension row: mixed case is never folded at the extension.
            {"mixed.bip", nullptr}, {"Mixed.Bip", nullptr},
        };
        for (const auto& c : cases)
            EXPECT_EQ(identify(c.asked).found, c.found ? here + "/" + c.found : "untouched") << c.asked;
    });
}

TEST(Identify, GridMemberIsAskedForUnderItsDirectory) {
    tarntest::TempDir dir;
    ASSERT_EQ(mkdir(dir.file("grid").c_str(), 0755), 0);
    std::string member = dir.write("grid/hdr.adf", "grid header");
    // The directory is no format, so the member fails...
    EXPECT_EQ(identify(member).result, -1);
    // ...unless a file spelled as the directory plus a suffix is there.
    dir.write("grid.rlc", "");
    EXPECT_EQ(identify(member).found, dir.file("grid.rlc"));

    const struct { const char* name; const char* fixed; } cases[] = {
        {"/data/grid/w001001.ADF", "/data/grid"}, {"c:\\data\\grid\\hdr.adf", "c:\\data\\grid"},
        {"hdr.adf", ""},  // no directory in front: the empty name, which fails later
        {"/data/grid/hdr.Adf", "/data/grid/hdr.Adf"}, {"/data/grid.adf/hdr", "/data/grid.adf/hdr"},
    };
    for (const auto& c : cases) EXPECT_EQ(FixGridName(c.name), c.fixed) << c.name;
    // Under the sanitizers a second fclose of the lattice probe's handle would be reported.
    std::string lattice = dir.write("surface.lat", "lattice");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(identify(lattice).type, 6);
}

TEST(Identify, NamesOfAnyLength) {
    tarntest::TempDir dir;
    std::string deep;  // relative to the directory
    for (int i = 0; i < 6; ++i) {
        deep += (i ? "/" : "") + std::string(60, static_cast<char>('a' + i));
        ASSERT_EQ(mkdir(dir.file(deep).c_str(), 0755), 0);
    }
    std::string sun = dir.copy_in(fixture("sun-grey-7x5"), deep + "/" + std::string(100, 's'));
    ASSERT_GT(sun.size(), 400u);
    EXPECT_EQ(identify(sun).found, sun);

    // Past what any file system opens, null or empty: refused, not overrun.
    EXPECT_EQ(identify("/" + std::string(TARN_PATH_MAX + 100, 'h')).found, "untouched");
    int type = 0;
    char resolved[TARN_PATH_MAX];
    EXPECT_EQ(get_image_type_from_name(nullptr, resolved, &type), -1);
    in_directory(dir.path(), [&] { EXPECT_EQ(identify("").result, -1); });
}


TEST(ContentTests, TiffMagicInEitherOrder) {
    const std::pair<std::string, int> cases[] = {
        {made("geotiff-le-grey-7x5.tif"), 1}, {made("geotiff-be-grey-7x5.tif"), 1},
        {std::string("II\x00\x2A", 4), 1}, {std::string("MM\x2A\x00", 4), 1},  // either magic in either order
        {std::string("IM\x2A\x00", 4), 0}, {std::string("II\x2B\x00", 4), 0},  // BigTIFF is not this test's
        {"II*", 0}, {"", 0}};
    tarntest::TempDir dir;
    for (const auto& c : cases) {
        FILE* fp = fopen(dir.write("f", c.first).c_str(), "r");
        fseek(fp, 0, SEEK_END);  // the test rewinds by itself
        EXPECT_EQ(check_format_TIFF(fp), c.second) << c.first.substr(0, 4);
        fclose(fp);
    }
    EXPECT_EQ(check_format_TIFF(nullptr), 0);
    // GDAL's TIFFs pass, yet never take the built-in TIFF strip type.
    EXPECT_NE(identify(fixture("geotiff-be-grey-7x5.tif")).type, 7);
}

TEST(Naming, BuiltInKeywordsNamesAndExtensions) {
    const struct { const char* keyword; int type; } keywords[] = {
        {"BI", 8}, {"T", 7}, {"sun", 2}, {"", 0}, {"GRAFILE", -1}, {"SUNRASTERX", -1}};
    for (const auto& c : keywords) {
        int type = 777;
        EXPECT_EQ(type_from_keyword(c.keyword, &type), c.type) << c.keyword;
        EXPECT_EQ(type, c.type == -1 ? 777 : c.type) << c.keyword;
    }
    EXPECT_EQ(type_from_keyword(nullptr, nullptr), -1);

    // The ends of the built-in range and the codes around them.
    const std::pair<int, const char*> names[] = {{1, "RLC"}, {14, "BMP"}, {100, "GRAFILE"},
        {1000, "USER DEFINED"}, {0, nullptr}, {15, nullptr}, {99, nullptr}, {1001, nullptr}};
    for (const auto& c : names) {
        char buffer[16] = "unchanged";
        EXPECT_EQ(keyword_from_type(buffer, c.first), c.second ? 1 : -1) << c.first;
        EXPECT_STREQ(buffer, c.second ? c.second : "unchanged") << c.first;
    }

    const std::pair<int, const char*> appended[] = {
        {1, ".rlc"}, {2, ""}, {7, ".tif"}, {13, ".img"}, {-1, ""}};
    for (const auto& c : appended) {
        char name[32] = "stem";
        EXPECT_EQ(name_from_type(c.first, name), 0);
        EXPECT_EQ(std::string(name), std::string("stem") + c.second) << c.first;
    }
    const std::pair<const char*, int> extensions[] = {{"RLC", 1}, {"Tif", 7}, {"bsq", 11},
                                                      {"lan", -1}, {".tif", -1}, {"", -1}};
    for (const auto& c : extensions) EXPECT_EQ(get_type_from_extension(c.first), c.second) << c.first;
    EXPECT_EQ(get_type_from_extension(nullptr), -1);
    const std::pair<const char*, int> suffixes[] = {{"a.tif", 1}, {"dir/a.b.Lan", 7}, {"x.ovr", 1},
                                                    {"a.tiff", -1}, {"a.", -1}};
    for (const auto& c : suffixes) EXPECT_EQ(suffname(c.first), c.second) << c.first;
    EXPECT_EQ(dot("a.b/c"), 1);
    EXPECT_EQ(dot("abc"), 3);
}

}  // namespace
