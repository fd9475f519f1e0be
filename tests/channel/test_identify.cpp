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

struct Identified {
    int result;
    int type;
    std::string found;
};

Identified identify(const std::string& name) {
    Identified id;
    char resolved[TARN_PATH_MAX];
    strcpy(resolved, "untouched");
    id.type = 12345;
    id.result = get_image_type_from_name(name.c_str(), resolved, &id.type);
    id.found = resolved;
    return id;
}

// Runs the body with the working directory set to dir.
template <typename Body>
void in_directory(const std::string& dir, Body body) {
    char* previous = getcwd(nullptr, 0);
    ASSERT_NE(previous, nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    body();
    EXPECT_EQ(chdir(previous), 0);
    free(previous);
}

TEST(Identify, FilesMadeByIndependentTools) {
    const struct {
        const char* fixture;  // null: the content is given inline
        const char* content;
        const char* name;
        int result;
        int type;
    } cases[] = {
        // By content alone: a Sun raster has no customary suffix.
        {"sun-grey-7x5", nullptr, "sun", 1, 2},
        {"erdas-head74-grey-7x5.lan", nullptr, "erdas.lan", 1, 3},
        {"erdas-head74-grey-7x5.lan", nullptr, "erdas.GIS", 1, 3},
        {"erdas-head74-grey-7x5.lan", nullptr, "erdas", 1, 3},
        {"ehdr-grey-7x5.bil", nullptr, "ehdr.bil", 1, 8},
        {"ehdr-grey-7x5.bil", nullptr, "ehdr.BIL", 1, 8},
        {"bmp-grey-7x5.bmp", nullptr, "bmp.bmp", 1, 14},
        {"bmp-grey-7x5.bmp", nullptr, "bmp", 1, 14},
        // The extension row comes before any reader of TIFF.
        {"geotiff-le-grey-7x5.tif", nullptr, "x.bmp", 1, 14},
        // A BMP named .tif is a BMP by content, before the drivers are asked.
        {"bmp-grey-7x5.bmp", nullptr, "bmp.tif", 1, 14},
        // A .lan without an ERDAS header goes on to the content tests.
        {"sun-grey-7x5", nullptr, "sun.lan", 1, 2},
        // Extension by name alone, whatever the content.
        {"sun-grey-7x5", nullptr, "sun.bsq", 1, 11},
        {nullptr, "not an image", "x.rlc", 1, 1},
        {nullptr, "not an image", "x.RLC", 1, 1},
        {nullptr, "not an image", "x.svf", 1, 5},
        {nullptr, "not an image", "x.LAT", 1, 6},
        {nullptr, "not an image", "x.bip", 1, 9},
        {nullptr, "", "x.bmp", 1, 14},
        // One exact spelling per row: "Rlc" is no Impell name.
        {nullptr, "not an image", "a.Rlc", -1, -1},
        {nullptr, "", "x.lan", -1, -1},
        {nullptr, "HEAD7", "short.lan", -1, -1},
        {nullptr, "HEAD74", "six.gis", -1, -1},  // 7 bytes are read
        {nullptr, "HEAD74\x01", "seven.gis", 1, 3},
        {nullptr, "HEADER\x01", "header.lan", 1, 3},
        {nullptr, "B", "b", -1, -1},
        {nullptr, "BM", "bm", 1, 14},
        {nullptr, "\x59\xA6\x6A", "sunshort", -1, -1},
        {nullptr, "\x59\xA6\x6A\x95", "sunmagic", 1, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tarntest::TempDir dir;
        std::string path = c.fixture ? dir.copy_in(fixture(c.fixture), c.name)
                                     : dir.write(c.name, std::string(c.content));
        Identified id = identify(path);
        EXPECT_EQ(id.result, c.result);
        EXPECT_EQ(id.type, c.type);
        EXPECT_EQ(id.found, c.result == 1 ? path : std::string("untouched"));
    }
}

TEST(Identify, ATiffIsNeverTheOlderTiffType) {
    for (const char* name : {"geotiff-le-grey-7x5.tif", "geotiff-be-grey-7x5.tif"}) {
        Identified id = identify(fixture(name));
        EXPECT_NE(id.type, 7) << name;
    }
}

TEST(Identify, ABareNameBecomesAbsolute) {
    tarntest::TempDir dir;
    dir.copy_in(fixture("sun-grey-7x5"), "sun");
    in_directory(dir.path(), [&] {
        char* cwd = getcwd(nullptr, 0);
        Identified id = identify("sun");
        EXPECT_EQ(id.result, 1);
        EXPECT_EQ(id.type, 2);
        EXPECT_EQ(id.found, std::string(cwd) + "/sun");
        free(cwd);
    });
    // A relative name with a directory in it stays relative.
    in_directory(dir.path() + "/..", [&] {
        std::string relative = dir.path().substr(dir.path().rfind('/') + 1) + "/sun";
        Identified id = identify(relative);
        EXPECT_EQ(id.type, 2);
        EXPECT_EQ(id.found, relative);
    });
}

TEST(Identify, WholeNameCaseRetries) {
    tarntest::TempDir dir;
    dir.write("lower.bil", "");
    dir.write("UPPER.BSQ", "");
    dir.write("Mixed.Bip", "");
    in_directory(dir.path(), [&] {
        char* here = getcwd(nullptr, 0);
        const std::string cwd = here ? here : "";
        free(here);
        const struct {
            const char* asked;
            int type;
            const char* found;  // relative to the directory
        } cases[] = {
            {"LOWER.BIL", 8, "lower.bil"},
            {"Lower.Bil", 8, "lower.bil"},
            {"upper.bsq", 11, "UPPER.BSQ"},
            {"uPPer.BsQ", 11, "UPPER.BSQ"},
            // Neither retry spells a file that exists.
            {"mixed.bip", -1, nullptr},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(c.asked);
            Identified id = identify(c.asked);
            EXPECT_EQ(id.type, c.type);
            if (c.found) {
                EXPECT_EQ(id.found, cwd + "/" + c.found);
            }
        }
        // The file exists, but ".Bip" is no extension row, and the retries
        // spell other names: mixed case is never folded at the extension.
        EXPECT_EQ(identify("Mixed.Bip").type, -1);
    });
}

TEST(Identify, ExtendedNamesOfAStem) {
    const struct {
        std::vector<std::pair<const char*, std::string>> files;
        int type;
        const char* found;
    } cases[] = {
        // Impell is probed first.
        {{{"x.gis", "HEAD74\x01"}, {"x.rlc", ""}}, 1, "x.rlc"},
        {{{"x.GIS", "HEAD74\x01"}}, 3, "x.GIS"},
        // A .gis without the header is passed over for a .lan with one.
        {{{"x.gis", "nope...."}, {"x.LAN", "HEADER\x01"}}, 3, "x.LAN"},
        {{{"x.gis", "nope...."}}, -1, nullptr},
        {{{"x.SVF", ""}}, 5, "x.SVF"},
        {{{"x.lat", ""}}, 6, "x.lat"},
        {{{"x.BMP", ""}}, 14, "x.BMP"},
        {{{"x.bil", ""}, {"x.bsq", ""}}, 8, "x.bil"},
        {{{"x.BIP", ""}}, 9, "x.BIP"},
        {{{"x.bsq", ""}}, 11, "x.bsq"},
        // An existing file that matches nothing still tries the suffixes.
        {{{"x", "plain text"}, {"x.rlc", ""}}, 1, "x.rlc"},
        // ADRG: an image beside its general information file, named after the
        // stem without its last two characters.
        {{{"TRANSH01.img", ""}, {"TRANSH01.GEN", ""}}, 13, "TRANSH01.img"},
        {{{"TRANSH01.img", ""}, {"TRANSH01.gen", ""}}, 13, "TRANSH01.img"},
        {{{"TRANSH01.img", ""}}, -1, nullptr},
        {{{"x.cph", ""}}, 13, "x.cph"},
        {{{"x.OVR", ""}}, 13, "x.OVR"},
    };
    for (const auto& c : cases) {
        tarntest::TempDir dir;
        std::string stem_name = "x";
        for (const auto& file : c.files) {
            dir.write(file.first, file.second);
            if (std::string(file.first).rfind("TRANSH01", 0) == 0) stem_name = "TRANSH01";
        }
        SCOPED_TRACE(c.files.front().first);
        Identified id = identify(dir.file(stem_name));
        EXPECT_EQ(id.type, c.type);
        EXPECT_EQ(id.found, c.found ? dir.file(c.found) : std::string("untouched"));
    }
}

TEST(Identify, AdrgStemFoundThroughItsImageOrItself) {
    // The stem itself, when it exists beside its general information file.
    tarntest::TempDir dir;
    dir.write("ABCDEF01", "not a raster");
    dir.write("ABCDEF01.GEN", "");
    Identified id = identify(dir.file("ABCDEF01"));
    EXPECT_EQ(id.type, 13);
    EXPECT_EQ(id.found, dir.file("ABCDEF01"));
}

TEST(Identify, AdrgLegendNextToAStem) {
    tarntest::TempDir dir;
    std::string stem = dir.file("LEGEND01");
    std::string pair = stem.substr(stem.size() - 11, 2);
    std::string legend = stem + ".l" + pair;
    dir.write(legend.substr(legend.rfind('/') + 1), "");
    Identified id = identify(stem);
    EXPECT_EQ(id.type, 13);
    EXPECT_EQ(id.found, legend);
    EXPECT_EQ(check_format_ADRG(legend.c_str()), 1);
}

TEST(Identify, GridMemberIsAskedForUnderItsDirectory) {
    tarntest::TempDir dir;
    ASSERT_EQ(mkdir(dir.file("grid").c_str(), 0755), 0);
    std::string member = dir.write("grid/hdr.adf", "grid header");
    // The directory is no format, so the member fails...
    EXPECT_EQ(identify(member).result, -1);
    // ...unless a file spelled as the directory plus a suffix is there.
    dir.write("grid.rlc", "");
    Identified id = identify(member);
    EXPECT_EQ(id.type, 1);
    EXPECT_EQ(id.found, dir.file("grid.rlc"));
}

TEST(Identify, FixGridNameTable) {
    const struct {
        const char* name;
        const char* fixed;
    } cases[] = {
        {"/data/grid/hdr.adf", "/data/grid"},
        {"/data/grid/w001001.ADF", "/data/grid"},
        {"c:\\data\\grid\\hdr.adf", "c:\\data\\grid"},
        {"rel/grid/hdr.adf", "rel/grid"},
        {"hdr.adf", ""},  // no directory in front: the empty name, which fails later
        {"/hdr.adf", ""},
        {"/data/grid/hdr.Adf", "/data/grid/hdr.Adf"},
        {"/data/grid.adf/hdr", "/data/grid.adf/hdr"},
        {"/data/grid/hdr.adfx", "/data/grid/hdr.adfx"},
        {"x.adf", "x.adf"},  // the dot at position 1
        {".adf", ".adf"},
        {"", ""},
        {"/data/grid/", "/data/grid/"},
    };
    for (const auto& c : cases) EXPECT_EQ(FixGridName(c.name), c.fixed) << c.name;
}

TEST(Identify, NamesOfAnyLength) {
    tarntest::TempDir dir;
    std::string deep = dir.path();
    for (int i = 0; i < 6; ++i) {
        deep += "/" + std::string(60, static_cast<char>('a' + i));
        ASSERT_EQ(mkdir(deep.c_str(), 0755), 0);
    }
    std::string sun = deep + "/" + std::string(100, 's');
    std::vector<unsigned char> bytes = tarntest::read_file(fixture("sun-grey-7x5"));
    FILE* out = fopen(sun.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    fwrite(bytes.data(), 1, bytes.size(), out);
    fclose(out);
    ASSERT_GT(sun.size(), 400u);
    Identified id = identify(sun);
    EXPECT_EQ(id.type, 2);
    EXPECT_EQ(id.found, sun);

    // A stem of that length still finds its extended name.
    std::string stem = deep + "/" + std::string(90, 'r');
    FILE* rlc = fopen((stem + ".rlc").c_str(), "wb");
    ASSERT_NE(rlc, nullptr);
    fclose(rlc);
    id = identify(stem);
    EXPECT_EQ(id.type, 1);
    EXPECT_EQ(id.found, stem + ".rlc");

    // Past what any file system opens: refused, not overrun.
    std::string huge = "/" + std::string(TARN_PATH_MAX + 100, 'h');
    id = identify(huge);
    EXPECT_EQ(id.result, -1);
    EXPECT_EQ(id.found, "untouched");
}

TEST(Identify, NullAndEmptyNames) {
    int type = 0;
    char resolved[TARN_PATH_MAX] = "untouched";
    EXPECT_EQ(get_image_type_from_name(nullptr, resolved, &type), -1);
    EXPECT_EQ(type, -1);
    EXPECT_STREQ(resolved, "untouched");
    tarntest::TempDir dir;
    in_directory(dir.path(), [&] { EXPECT_EQ(identify("").result, -1); });
}

TEST(Identify, LatticeHandleIsClosedOnce) {
    // Under the sanitizers a second fclose of the handle would be reported.
    tarntest::TempDir dir;
    std::string path = dir.write("surface.lat", "lattice");
    for (int i = 0; i < 3; ++i) EXPECT_EQ(identify(path).type, 6);
}

TEST(Identify, GetImagePath) {
    EXPECT_EQ(get_image_path("/abs/x.bil"), "/abs/x.bil");
    EXPECT_EQ(get_image_path("rel/x.bil"), "rel/x.bil");
    char* cwd = getcwd(nullptr, 0);
    ASSERT_NE(cwd, nullptr);
    EXPECT_EQ(get_image_path("x.bil"), std::string(cwd) + "/x.bil");
    free(cwd);
}

TEST(ContentTests, FirstBytes) {
    const struct {
        std::string bytes;
        int sun, erdas, bmp, tiff;
    } cases[] = {
        {std::string("\x59\xA6\x6A\x95", 4), 1, 0, 0, 0},
        {std::string("\x95\x6A\xA6\x59", 4), 0, 0, 0, 0},  // the word is big-endian
        {std::string("HEAD74\x00", 7), 0, 1, 0, 0},
        {std::string("HEADER\x00", 7), 0, 1, 0, 0},
        {"HEAD74", 0, 0, 0, 0},  // seven bytes are read
        {std::string("HEAD75\x00", 7), 0, 0, 0, 0},
        {"BM", 0, 0, 1, 0},
        {"BMxxxxxxxxxx", 0, 0, 1, 0},
        {std::string("II\x2A\x00", 4), 0, 0, 0, 1},
        {std::string("MM\x00\x2A", 4), 0, 0, 0, 1},
        {std::string("II\x00\x2A", 4), 0, 0, 0, 1},  // either magic in either order
        {std::string("IM\x2A\x00", 4), 0, 0, 0, 0},
        {std::string("II\x2B\x00", 4), 0, 0, 0, 0},  // BigTIFF is not this test's
        {"II*", 0, 0, 0, 0},
        {"", 0, 0, 0, 0},
    };
    tarntest::TempDir dir;
    int n = 0;
    for (const auto& c : cases) {
        std::string path = dir.write("f" + std::to_string(n++), c.bytes);
        FILE* fp = fopen(path.c_str(), "r");
        ASSERT_NE(fp, nullptr);
        // Each test rewinds by itself, wherever the file stands.
        fseek(fp, 0, SEEK_END);
        EXPECT_EQ(check_format_SUNRASTER(fp), c.sun) << n;
        EXPECT_EQ(check_format_ERDAS(fp), c.erdas) << n;
        EXPECT_EQ(check_format_BMP(fp), c.bmp) << n;
        EXPECT_EQ(check_format_TIFF(fp), c.tiff) << n;
        for (auto constant : {check_format_IMPELL, check_format_GRASS, check_format_SVF,
                              check_format_LATTICE, check_format_BIL, check_format_BIP,
                              check_format_BSQ, check_format_EIMG})
            EXPECT_EQ(constant(fp), 0);
        fclose(fp);
    }
    EXPECT_EQ(check_format_SUNRASTER(nullptr), 0);
    EXPECT_EQ(check_format_TIFF(nullptr), 0);
}

TEST(ContentTests, TiffFromGdal) {
    for (const char* name : {"geotiff-le-grey-7x5.tif", "geotiff-be-grey-7x5.tif"}) {
        FILE* fp = fopen(fixture(name).c_str(), "r");
        ASSERT_NE(fp, nullptr);
        EXPECT_EQ(check_format_TIFF(fp), 1) << name;
        fclose(fp);
    }
    FILE* fp = fopen(fixture("bmp-grey-7x5.bmp").c_str(), "r");
    EXPECT_EQ(check_format_TIFF(fp), 0);
    EXPECT_EQ(check_format_BMP(fp), 1);
    fclose(fp);
}

TEST(ContentTests, AdrgLegendNames) {
    const struct {
        const char* name;
        int yes;
    } cases[] = {
        // The pair is the two characters that begin the last fifteen.
        {"/data/ADRG/TRANSH01.LRG", 1},
        {"/data/ADRG/TRANSH01.lRG", 1},
        {"/data/ADRG/TRANSH01.LRX", 0},
        {"/data/ADRG/TRANSH01.IMG", 0},
        {"/ab/cdefghi.Lab", 0},  // 15 characters: too short
        {"/abc/defghij.Lab", 1},
    };
    for (const auto& c : cases) EXPECT_EQ(check_format_ADRG(c.name), c.yes) << c.name;
    EXPECT_EQ(check_format_ADRG(nullptr), 0);
}

TEST(Naming, TypeFromKeyword) {
    const struct {
        const char* keyword;
        int type;
    } cases[] = {
        {"BI", 8}, {"T", 7}, {"", 0}, {"tiff", 7}, {"sun", 2}, {"SUNRASTER", 2},
        {"rlc", 1}, {"GRID", 10}, {"IMAG", 12}, {"adrg", 13}, {"BMP", 14}, {"BSQ", 11},
        {"GRAFILE", -1}, {"USER DEFINED", -1}, {"SUNRASTERX", -1}, {"Q", -1},
    };
    for (const auto& c : cases) {
        int type = 777;
        EXPECT_EQ(type_from_keyword(c.keyword, &type), c.type) << c.keyword;
        EXPECT_EQ(type, c.type == -1 ? 777 : c.type) << c.keyword;
    }
    EXPECT_EQ(type_from_keyword(nullptr, nullptr), -1);
}

TEST(Naming, KeywordFromType) {
    const struct {
        int type;
        const char* keyword;
    } cases[] = {
        {1, "RLC"}, {2, "SUNRASTER"}, {3, "ERDAS"}, {4, "GRASS"}, {5, "SVF"}, {6, "LATTICE"},
        {7, "TIFF"}, {8, "BIL"}, {9, "BIP"}, {10, "GRID"}, {11, "BSQ"}, {12, "IMAGINE"},
        {13, "ADRG"}, {14, "BMP"}, {100, "GRAFILE"}, {1000, "USER DEFINED"},
        {0, nullptr}, {-1, nullptr}, {15, nullptr}, {99, nullptr}, {1001, nullptr},
        {1008, nullptr},
    };
    for (const auto& c : cases) {
        char buffer[16] = "unchanged";
        EXPECT_EQ(keyword_from_type(buffer, c.type), c.keyword ? 1 : -1) << c.type;
        EXPECT_STREQ(buffer, c.keyword ? c.keyword : "unchanged") << c.type;
    }
}

TEST(Naming, BuiltInSuffixesAndExtensions) {
    const struct {
        int type;
        const char* appended;
    } names[] = {
        {1, ".rlc"}, {2, ""}, {3, ".gis"}, {4, ""}, {5, ".svf"}, {6, ".lat"}, {7, ".tif"},
        {8, ".bil"}, {9, ".bip"}, {10, ""}, {11, ".bsq"}, {12, ""}, {13, ".img"}, {14, ".bmp"},
        {100, ""}, {1000, ""}, {-1, ""},
    };
    for (const auto& c : names) {
        char name[32] = "stem";
        EXPECT_EQ(name_from_type(c.type, name), 0);
        EXPECT_EQ(std::string(name), std::string("stem") + c.appended) << c.type;
    }
    const struct {
        const char* extension;
        int type;
    } extensions[] = {
        {"rlc", 1}, {"RLC", 1}, {"gis", 3}, {"svf", 5}, {"lat", 6}, {"tif", 7}, {"Tif", 7},
        {"bmp", 14}, {"bil", 8}, {"bip", 9}, {"bsq", 11}, {"lan", -1}, {"", -1}, {".tif", -1},
        {"img", -1},
    };
    for (const auto& c : extensions)
        EXPECT_EQ(get_type_from_extension(c.extension), c.type) << c.extension;
    EXPECT_EQ(get_type_from_extension(nullptr), -1);

    const struct {
        const char* name;
        int position;
    } suffixes[] = {
        {"a.tif", 1}, {"dir/a.b.Lan", 7}, {"x.IMG", 1}, {"x.ovr", 1}, {"x.cph", 1},
        {"a.bmp", -1}, {"a.tiff", -1}, {"a.jpg", -1}, {"a.", -1},
    };
    for (const auto& c : suffixes) EXPECT_EQ(suffname(c.name), c.position) << c.name;
    EXPECT_EQ(dot("a.b/c"), 1);
    EXPECT_EQ(dot("abc"), 3);
}

TEST(Naming, RegisteredDrivers) {
    UDF_LibInit();
    const uint32_t gif = UDFsuffix("gif");
    ASSERT_NE(gif, 0u);
    const int tif6 = static_cast<int>(UDFsuffix("tif"));
    EXPECT_EQ(tif6, static_cast<int>(gif) + 7);

    char buffer[16] = "unchanged";
    EXPECT_EQ(keyword_from_type(buffer, tif6), -1);
    EXPECT_STREQ(buffer, "unchanged");

    // Built-in keywords first; the upper-cased keyword misses "gif" and
    // "ArcDRG", whose registered spelling has lower-case letters.
    int type = 0;
    EXPECT_EQ(type_from_keyword("TIFF", &type), 7);
    EXPECT_EQ(type_from_keyword("TIFF6", &type), tif6);
    EXPECT_EQ(type, tif6);
    EXPECT_EQ(type_from_keyword("jpg", &type), static_cast<int>(gif) + 5);
    EXPECT_EQ(type_from_keyword("C", &type), static_cast<int>(gif) + 3);  // CADRG before CIB
    EXPECT_EQ(type_from_keyword("CI", &type), static_cast<int>(gif) + 4);
    EXPECT_EQ(type_from_keyword("gif", &type), -1);
    EXPECT_EQ(type_from_keyword("Arc", &type), -1);
    EXPECT_EQ(type_from_keyword("ERDAS", &type), 3);

    // A driver's suffix is appended as stored, with no dot.
    char name[32] = "stem";
    name_from_type(tif6, name);
    EXPECT_STREQ(name, "stemtif");
    strcpy(name, "stem");
    name_from_type(static_cast<int>(gif) + 1, name);  // SRP registers an empty suffix
    EXPECT_STREQ(name, "stem");

    EXPECT_EQ(get_type_from_extension("gif"), static_cast<int>(gif));
    EXPECT_EQ(get_type_from_extension("GIF"), static_cast<int>(gif));
    EXPECT_EQ(get_type_from_extension("ovr"), static_cast<int>(gif) + 2);
    EXPECT_EQ(get_type_from_extension("ntf"), static_cast<int>(gif) + 6);
    EXPECT_EQ(get_type_from_extension("tif"), 7);  // the built-in row is reached first
    EXPECT_EQ(get_type_from_extension("img"), -1);

    // The registry's suffixes have no dot, so a dotted suffix never matches
    // them; the empty one of SRP matches a name without a dot.
    EXPECT_EQ(suffname("a.gif"), -1);
    EXPECT_EQ(suffname("abc"), 3);
    UDF_LibExit();
    EXPECT_EQ(suffname("abc"), -1);
}

TEST(Naming, ParseGrassName) {
    char location[64], mapset[64], map[64];
    EXPECT_EQ(parse_grass_name("spearfish:PERMANENT:elevation", location, mapset, map), 1);
    EXPECT_STREQ(location, "spearfish");
    EXPECT_STREQ(mapset, "PERMANENT");
    EXPECT_STREQ(map, "elevation");
    EXPECT_EQ(parse_grass_name("/db/a:b:c:d", location, mapset, map), 1);
    EXPECT_STREQ(location, "/db/a:b");
    EXPECT_STREQ(mapset, "c");
    EXPECT_STREQ(map, "d");
    EXPECT_EQ(parse_grass_name("::", location, mapset, map), 1);
    EXPECT_STREQ(location, "");
    EXPECT_EQ(parse_grass_name("mapset:map", location, mapset, map), -1);
    EXPECT_STREQ(map, "map");  // partly written
    EXPECT_EQ(parse_grass_name("plain", location, mapset, map), -1);
    EXPECT_EQ(parse_grass_name(nullptr, location, mapset, map), -1);
}

}  // namespace
