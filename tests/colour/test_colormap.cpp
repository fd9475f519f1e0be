// Colormap and Lut records, their copies into an image, and the colour-space
// conversions against Python's colorsys.

#include <gtest/gtest.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>

#include "channel/channel.h"
#include "colour/colormap.h"
#include "test_support.h"

namespace {

struct MapHolder {
    explicit MapHolder(Colormap* created) : map(created) {}
    ~MapHolder() { free_colormap(map); }
    MapHolder(const MapHolder&) = delete;
    MapHolder& operator=(const MapHolder&) = delete;
    Colormap* map;
};

uint32_t* table_of(std::initializer_list<uint32_t> values) {
    uint32_t* table = static_cast<uint32_t*>(malloc(values.size() * sizeof(uint32_t)));
    size_t i = 0;
    for (uint32_t v : values) table[i++] = v;
    return table;
}

TEST(Colormap, CreateSizesAndPlacesPixelColours) {
    const struct {
        int count, low, first;
        int ncolors, high;
    } cases[] = {{10, 5, 2, 12, 14}, {256, 0, 0, 256, 255}, {1, -3, 1, 2, -3}};
    for (const auto& c : cases) {
        MapHolder holder(create_colormap("pal", c.count, c.low, 0, 1, c.first));
        Colormap* map = holder.map;
        ASSERT_NE(map, nullptr);
        EXPECT_EQ(map->ncolors, c.ncolors);
        EXPECT_EQ(map->high, c.high);
        EXPECT_STREQ(map->name, "pal");
        EXPECT_EQ(get_colormap_npixclr(map), c.count);
        // Pixel value `low` is pixel colour 0, stored at array index `first`.
        set_colormap_pixclr(map, c.low - map->low, 0, 11, 22, 33);
        EXPECT_EQ(map->red[c.first], 11);
        EXPECT_EQ(map->blue[c.first], 33);
    }
}

TEST(Colormap, EmptyMapHoldsNoArraysAndFreesNothing) {
    MapHolder holder(create_colormap("none", 0, 0, 0, 0, 0));
    ASSERT_NE(holder.map, nullptr);
    EXPECT_EQ(holder.map->red, nullptr);
    Colormap record;
    reset_colormap(&record);
    uint8_t sentinel[4];
    record.red = sentinel;  // never ours to free while ncolors is 0
    EXPECT_EQ(free_colormap_buffers(&record), 0);
    EXPECT_EQ(record.red, sentinel);
    EXPECT_EQ(create_colormap("bad", -5, 0, 0, 0, 2), nullptr);
}

TEST(Colormap, AlphaIsStickyAndReadsZeroUntilSet) {
    MapHolder holder(create_colormap("a", 4, 0, 0, 0, 0));
    Colormap* map = holder.map;
    int a = -1, r = -1, g = -1, b = -1;
    set_colormap_pixclr(map, 1, 0, 1, 2, 3);
    EXPECT_EQ(map->has_alpha, 0);
    get_colormap_pixclr(map, 1, &a, &r, &g, &b);
    EXPECT_EQ(a, 0);
    EXPECT_EQ(r, 1);
    set_colormap_pixclr(map, 2, 1, 0, 0, 0);
    EXPECT_EQ(map->has_alpha, 1);
    set_colormap_pixclr(map, 2, 0, 0, 0, 0);
    EXPECT_EQ(map->has_alpha, 1);
    // Indices outside the arrays are ignored on write and read as black.
    set_colormap_pixclr(map, 4, 9, 9, 9, 9);
    set_colormap_pixclr(map, -1, 9, 9, 9, 9);
    get_colormap_pixclr(map, 100, &a, &r, &g, &b);
    EXPECT_EQ(r + g + b + a, 0);
    set_colormap_ndclr(map, 0, 7, 8, 9);
    get_colormap_ndclr(map, &a, &r, &g, &b);
    EXPECT_EQ(r, 7);
    EXPECT_EQ(b, 9);
}

TEST(Colormap, ValidateSetsHighOnlyWithoutSpecialColours) {
    Colormap map;
    reset_colormap(&map);
    map.low = 5;
    map.ncolors = 10;
    validate_colormap(&map);
    EXPECT_EQ(map.high, 14);
    map.low = -20;
    validate_colormap(&map);
    EXPECT_EQ(map.high, 0);
    map.first = 1;
    map.high = 77;
    validate_colormap(&map);
    EXPECT_EQ(map.high, 77);
}

TEST(Colormap, ExternalNamesAndDecoding) {
    Colormap map;
    reset_colormap(&map);
    char text[128];
    memset(text, 'x', sizeof text);
    EXPECT_EQ(decode_external_colormap(nullptr, text), 0);
    EXPECT_STREQ(text, " ");
    EXPECT_EQ(is_external_colormap(nullptr), 0);
    EXPECT_EQ(decode_external_colormap(&map, text), 0);
    EXPECT_STREQ(text, "DEFAULT");
    strcpy(map.name, "external");
    EXPECT_EQ(is_external_colormap(&map), 0);
    strcpy(map.name, "EXTERNALS");
    EXPECT_EQ(is_external_colormap(&map), 0);
    strcpy(map.name, "EXTERNAL");
    EXPECT_EQ(is_external_colormap(&map), 1);
    EXPECT_EQ(decode_external_colormap(&map, text), 1);
    EXPECT_STREQ(text, " ");

    Lut lut;
    reset_lut(&lut);
    EXPECT_EQ(is_external_lut(&lut), 0);
    EXPECT_EQ(decode_external_lut(nullptr, text), 0);
    EXPECT_STREQ(text, " ");
    strcpy(lut.name, "EXTERNAL");
    EXPECT_EQ(decode_external_lut(&lut, text), 1);
}

TEST(Colormap, CopyOwnsItsArraysAndOptionalOnes) {
    MapHolder holder(create_colormap("src", 3, 0, 0, 0, 0));
    Colormap* source = holder.map;
    set_colormap_pixclr(source, 0, 5, 10, 20, 30);
    source->has_pixels = 1;
    source->pixels = static_cast<int32_t*>(malloc(3 * sizeof(int32_t)));
    source->pixels[0] = 7;
    source->pixels[1] = -1;
    source->pixels[2] = 9;
    Colormap copy;
    ASSERT_EQ(copy_colormap(source, &copy), 1);
    EXPECT_NE(copy.red, source->red);
    EXPECT_EQ(copy.red[0], 10);
    ASSERT_NE(copy.alpha, nullptr);
    EXPECT_EQ(copy.alpha[0], 5);
    ASSERT_NE(copy.pixels, nullptr);
    EXPECT_EQ(copy.pixels[2], 9);
    free_colormap_buffers(&copy);

    source->has_alpha = 0;
    source->has_pixels = 0;
    ASSERT_EQ(copy_colormap(source, &copy), 1);
    EXPECT_EQ(copy.alpha, nullptr);
    EXPECT_EQ(copy.pixels, nullptr);
    free_colormap_buffers(&copy);
}

TEST(Colormap, ImageReplaceColormapAndLut) {
    Image image;
    memset(&image, 0, sizeof image);
    reset_image(&image);
    MapHolder holder(create_colormap("EXTERNAL", 2, 0, 0, 0, 0));
    ASSERT_EQ(image_replace_colormap(&image, holder.map), 1);
    ASSERT_EQ(image_replace_colormap(&image, holder.map), 1);  // the first copy is freed
    EXPECT_EQ(image.colormap.ncolors, 2);
    EXPECT_NE(image.colormap.red, holder.map->red);

    // A single LUT keeps the colormap; its table becomes the image's own.
    Lut* single = create_single_lut("EXTERNAL", 1, 10, 12, 0.0, 1.0, table_of({1, 2, 3}));
    ASSERT_EQ(image_replace_lut(&image, single), 1);
    EXPECT_NE(image.lut.red.table, single->red.table);
    EXPECT_EQ(image.lut.red.table[2], 3u);
    EXPECT_EQ(image.colormap.ncolors, 2);
    free_lut(single);

    // A multi LUT replaces the colormap with an empty one.
    Lut* multi = create_multi_lut("EXTERNAL");
    set_multi_lut_red(multi, 1, 0, 1, 0.0, 1.0, table_of({4, 5}));
    uint32_t* refused = table_of({6, 7});
    set_multi_lut_green(multi, 0, 0, 1, 0.0, 1.0, refused);  // disabled: not kept
    free(refused);
    set_multi_lut_blue(multi, 1, 0, 0, 0.0, 1.0, table_of({8}));
    EXPECT_EQ(get_lut_green_table(multi), nullptr);
    ASSERT_EQ(image_replace_lut(&image, multi), 1);
    EXPECT_EQ(image.colormap.ncolors, 0);
    EXPECT_STREQ(image.colormap.name, "DEFAULT");
    EXPECT_EQ(image.lut.red.table[1], 5u);
    EXPECT_EQ(image.lut.green.table, nullptr);
    EXPECT_EQ(image.lut.blue.table[0], 8u);
    free_lut(multi);
    free_lut_buffers(&image.lut);
    free_lut_buffers(&image.lut);
    free_colormap_buffers(&image.colormap);
}

TEST(Colormap, LutSettersReplaceTables) {
    uint32_t* refused = table_of({1, 2, 3, 4});
    Lut* lut = create_single_lut("L", 0, 0, 3, 0.25, 0.75, refused);
    ASSERT_NE(lut, nullptr);
    EXPECT_EQ(get_lut_table(lut), nullptr);  // disabled: the builder leaves it with the caller
    free(refused);
    EXPECT_FLOAT_EQ(lut->red.float_low, 0.25f);
    lut->red.enabled = 1;
    set_lut_table(lut, table_of({1, 2, 3, 4}));
    set_lut_red_table(lut, table_of({5, 6, 7, 8}));  // the first table is freed
    EXPECT_EQ(get_lut_red_table(lut)[0], 5u);
    EXPECT_EQ(get_lut_table(lut), get_lut_red_table(lut));
    free_lut(lut);
    free_lut(nullptr);
    free_colormap(nullptr);
}

TEST(Colormap, RandomColormapPattern) {
    Colormap map;
    reset_colormap(&map);
    ASSERT_EQ(initialize_random_colormap(&map, 12, 100, 109, 0, 1, 2), 1);
    EXPECT_STREQ(map.name, "DEFAULT");
    EXPECT_EQ(map.alpha, nullptr);
    EXPECT_EQ(map.red[7], 175);
    EXPECT_EQ(map.green[7], 240);
    EXPECT_EQ(map.blue[7], 60);
    for (int i = 2; i <= 11; ++i) EXPECT_NE(map.blue[i], 0) << i;
    EXPECT_EQ(map.red[0] + map.green[0] + map.blue[0], 0);
    EXPECT_EQ(map.red[1] + map.green[1] + map.blue[1], 0);
    // A range wider than the arrays stops at their end; a refill frees the old arrays.
    ASSERT_EQ(initialize_random_colormap(&map, 4, 0, 1000, 0, 0, 0), 1);
    EXPECT_EQ(map.red[3], 75);
    ASSERT_EQ(initialize_random_colormap(&map, 4, 0, 3, 0, 0, 9), 1);  // first past the bound
    EXPECT_EQ(map.red[3], 0);
    free_colormap_buffers(&map);
}

uint32_t lcg_state = 20240917u;
int lcg_step() {
    lcg_state = lcg_state * 1664525u + 1013904223u;
    return static_cast<int>(lcg_state >> 24);
}

double circular(double a, double b) {
    double d = fabs(a - b);
    return d < 1.0 - d ? d : 1.0 - d;
}

TEST(ColourSpace, AgreesWithColorsysOnTenThousandColours) {
    std::ifstream in(tarntest::data_path("colour/colorsys_hsv.txt"));
    ASSERT_TRUE(in.good());
    std::string line;
    int rows = 0;
    lcg_state = 20240917u;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        long long H, S, V;
        ASSERT_EQ(sscanf(line.c_str(), "%lld %lld %lld", &H, &S, &V), 3) << line;
        double h = H / 1e8, s = S / 1e8, v = V / 1e8;
        int r = lcg_step(), g = lcg_step(), b = lcg_step();
        ++rows;

        float hue, sat, val;
        ii_rgb_to_hsv(static_cast<float>(r), static_cast<float>(g), static_cast<float>(b), &hue,
                      &sat, &val);
        if (r == g && g == b) {
            EXPECT_EQ(hue, -1.0f);
        } else {
            EXPECT_LT(circular(hue / 360.0, h), 1e-5) << r << " " << g << " " << b;
        }
        EXPECT_NEAR(sat, s, 1e-5);
        EXPECT_NEAR(val, v, 1e-5);

        float red, green, blue;
        ii_hsv_to_rgb(static_cast<float>(h * 360.0), static_cast<float>(s), static_cast<float>(v),
                      &red, &green, &blue);
        EXPECT_NEAR(red, r / 255.0, 1e-5) << h << " " << s << " " << v;
        EXPECT_NEAR(green, g / 255.0, 1e-5);
        EXPECT_NEAR(blue, b / 255.0, 1e-5);
    }
    EXPECT_EQ(rows, 10000);
}

TEST(ColourSpace, GreysAndEdges) {
    float hue, sat, val;
    ii_rgb_to_hsv(128, 128, 128, &hue, &sat, &val);
    EXPECT_EQ(hue, -1.0f);
    EXPECT_EQ(sat, 0.0f);
    EXPECT_FLOAT_EQ(val, 128.0f / 255.0f);
    ii_rgb_to_hsv(0, 0, 0, &hue, &sat, &val);
    EXPECT_EQ(hue, -1.0f);
    EXPECT_EQ(val, 0.0f);

    float r0, g0, b0, r1, g1, b1;
    ii_hsv_to_rgb(0.0f, 0.8f, 0.6f, &r0, &g0, &b0);
    ii_hsv_to_rgb(360.0f, 0.8f, 0.6f, &r1, &g1, &b1);
    EXPECT_EQ(r0, r1);
    EXPECT_EQ(g0, g1);
    EXPECT_EQ(b0, b1);
    ii_hsv_to_rgb(-1.0f, 0.8f, 0.6f, &r0, &g0, &b0);  // a grey's hue gives the value
    EXPECT_FLOAT_EQ(r0, 0.6f);
    EXPECT_FLOAT_EQ(b0, 0.6f);
    ii_hsv_to_rgb(400.0f, 0.8f, 0.6f, &r0, &g0, &b0);  // no sector: black
    EXPECT_EQ(r0 + g0 + b0, 0.0f);
    ii_hsv_to_rgb(NAN, 0.8f, 0.6f, &r0, &g0, &b0);
    EXPECT_EQ(r0 + g0 + b0, 0.0f);
}

}  // namespace
