// The host's colour map object: colour files, the search over exact entries
// and ranges, and the edits a host makes.

#include <gtest/gtest.h>

#include <math.h>

#include <fstream>
#include <string>
#include <vector>

#include "objects/colormap_impl.h"
#include "test_support.h"

namespace {

using Rgba = std::vector<int>;

Rgba colour_of(CIntegratorCMapImpl& map, double v) {
    unsigned char r, g, b, a;
    map.getColor(v, r, g, b, a);
    return {r, g, b, a};
}

TEST(ColourMapObject, ReadsAColourFile) {
    tarntest::TempDir dir;
    std::string name = dir.write("a.clr",
                                 "# a comment\n"
                                 "! another\n"
                                 "12 255 0 0\n"
                                 "3 0 255 0 low  # kept\n"
                                 "-1 9 9 9\n"
                                 "7 1 2\n"
                                 "\n"
                                 "20 0 0 255 last line without a line feed");
    CIntegratorCMapImpl map(CTarnUString(name.c_str()), 0);
    ASSERT_EQ(map.getLookupCount(), 2);
    double low, high;
    unsigned char r, g, b, a;
    int kind;
    CTarnUString label;
    ASSERT_EQ(map.getLookup(0, low, high, r, g, b, a, kind, label), 1);
    EXPECT_EQ((Rgba{int(low), int(high), r, g, b, a, kind}), (Rgba{3, 3, 0, 255, 0, 255, 2}));
    EXPECT_EQ(label.toUTF8(), "low  # kept");
    ASSERT_EQ(map.getLookup(1, low, high, r, g, b, a, kind, label), 1);
    EXPECT_EQ(label.toUTF8(), "12");
    EXPECT_EQ(map.getLookup(2, low, high, r, g, b, a, kind, label), 0);
    // Anything between or beyond the entries has the colour of the lowest one.
    EXPECT_EQ(colour_of(map, 5), (Rgba{0, 255, 0, 255}));
    EXPECT_EQ(colour_of(map, 12), (Rgba{255, 0, 0, 255}));
    EXPECT_EQ(colour_of(map, 99), (Rgba{0, 255, 0, 255}));
}

TEST(ColourMapObject, SearchesExactEntriesAndRanges) {
    CIntegratorCMapImpl map;
    CTarnUString label("x");
    // Ranges by kind: 0 [a, b], 1 (a, b], 2 [a, b), 3 (a, b).
    ASSERT_EQ(map.addRange(10, 20, 1, 0, 0, 255, 2, label), 1);
    ASSERT_EQ(map.addRange(20, 30, 2, 0, 0, 255, 1, label), 1);
    ASSERT_EQ(map.addExact(40, 3, 0, 0, 128, label), 1);
    ASSERT_EQ(map.addExact(50, 4, 0, 0, 255, label), 1);
    ASSERT_EQ(map.addRange(60, 70, 5, 0, 0, 255, 3, label), 1);
    EXPECT_EQ(map.addExact(15, 9, 9, 9, 9, label), 0);  // inside a range already there
    EXPECT_EQ(map.addRange(39, 41, 6, 0, 0, 255, 9, label), 1);  // overlaps are allowed
    EXPECT_EQ(map.getLookupCount(), 6);
    const struct { double v; int red; } cases[] = {
        {9.99, 0}, {10, 1}, {19.5, 1}, {20, 0}, {20.5, 2}, {30, 2}, {30.5, 0}, {45, 0},
        {50, 4}, {60, 0}, {65, 5}, {70, 0}, {71, 0},
    };
    for (const auto& c : cases) EXPECT_EQ(colour_of(map, c.v)[0], c.red) << c.v;
    EXPECT_EQ(map.getMinIndex(), 10);
    EXPECT_EQ(map.getMaxIndex(), 70);
}

TEST(ColourMapObject, NanTakesTheMiddleEntryAndClearEmpties) {
    CIntegratorCMapImpl map;
    CTarnUString label("v");
    for (int v = 1; v <= 5; ++v) map.addExact(v, static_cast<unsigned char>(v), 0, 0, 255, label);
    EXPECT_EQ(colour_of(map, NAN)[0], 3);
    EXPECT_EQ(map.setOther(7, 8, 9, 10, label), 1);
    EXPECT_EQ(colour_of(map, 2.5), (Rgba{7, 8, 9, 10}));
    map.clear();
    EXPECT_EQ(map.getLookupCount(), 0);
    unsigned char r, g, b, a;
    CTarnUString other;
    map.getOther(r, g, b, a, other);
    EXPECT_EQ((Rgba{r, g, b, a}), (Rgba{0, 0, 0, 255}));
    EXPECT_EQ(other.toUTF8(), "Out of range");
    EXPECT_EQ(colour_of(map, 1), (Rgba{0, 0, 0, 255}));
}

// The .clr GDAL wrote for a paletted image against GDAL's own colour table.
TEST(ColourMapObject, ReadsGdalsColourFile) {
    CIntegratorCMapImpl map(CTarnUString(tarntest::data_path("standard/palette8-7x5.clr").c_str()), 0);
    std::ifstream gdal(tarntest::data_path("standard/palette8-7x5.palette"));
    int index, red, green, blue, alpha, count = 0;
    for (; gdal >> index >> red >> green >> blue >> alpha; ++count) {
        double low, high;
        unsigned char r, g, b, a;
        int kind;
        CTarnUString label;
        ASSERT_EQ(map.getLookup(index, low, high, r, g, b, a, kind, label), 1);
        EXPECT_EQ((Rgba{int(low), r, g, b, a}), (Rgba{index, red, green, blue, alpha}));
        EXPECT_EQ(label.toUTF8(), std::to_string(index));
    }
    EXPECT_EQ(map.getLookupCount(), count);
    EXPECT_GT(count, 0);
}

TEST(ColourMapObject, ReadsTheSampleWithNegativeValues) {
    std::string name = tarntest::sample_path("ehdr/int16_rat.clr");
    if (name.empty()) GTEST_SKIP() << "no shared sample folder";
    CIntegratorCMapImpl map(CTarnUString(name.c_str()), 0);
    EXPECT_GT(map.getLookupCount(), 0);
    EXPECT_GE(map.getMinIndex(), 0);  // negative values are not entries
}

}  // namespace
