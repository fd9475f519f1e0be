// Colormap and Lut records, their copies into an image, and the colour-space
// conversions against Python's colorsys.

#include <gtest/gtest.h>

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "channel/channel.h"
#include "colour/colormap.h"
#include "test_support.h"

namespace {

using MapPtr = std::unique_ptr<Colormap, void (*)(Colormap*)>;

uint32_t* table_of(std::initializer_list<uint32_t> values) {
    uint32_t* table = static_cast<uint32_t*>(malloc(values.size() * sizeof(uint32_t)));
    std::copy(values.begin(), values.end(), table);
    return table;
}

TEST(Colormap, CreateSizesAndPlacesPixelColours) {
    const struct { int count, low, first, ncolors, high; } cases[] = {
        {10, 5, 2, 12, 14}, {256, 0, 0, 256, 255}, {1, -3, 1, 2, -3}};
    for (const auto& c : cases) {
        MapPtr map(create_colormap("pal", c.count, c.low, 0, 1, c.first), free_colormap);
        ASSERT_TRUE(map);
        EXPECT_EQ(map->ncolors, c.ncolors);
        EXPECT_EQ(map->high, c.high);
        // Pixel value `low` is pixel colour 0, stored at array index `first`.
        set_colormap_pixclr(map.get(), 0, 0, 11, 22, 33);
        EXPECT_EQ(map->red[c.first] + map->blue[c.first], 11 + 33);
        // Indices outside the arrays are ignored on write and read as black.
        set_colormap_pixclr(map.get(), c.count, 9, 9, 9, 9);
        int a = -1, r = -1, g = -1, b = -1;
        get_colormap_pixclr(map.get(), c.ncolors, &a, &r, &g, &b);
        EXPECT_EQ(r + g + b + a, 0);
    }
    EXPECT_EQ(create_colormap("bad", -5, 0, 0, 0, 2), nullptr);
}

TEST(Colormap, ExternalNamesAndRandomPattern) {
    MapPtr map(create_colormap("EXTERNAL", 4, 0, 0, 0, 0), free_colormap);
    char text[128] = "x";
    EXPECT_EQ(decode_external_colormap(map.get(), text), 1);
    strcpy(map->name, "EXTERNALS");  // the exact name only
    EXPECT_EQ(decode_external_colormap(map.get(), text), 0);
    EXPECT_STREQ(text, "EXTERNALS");

    Colormap random;
    reset_colormap(&random);
    ASSERT_EQ(initialize_random_colormap(&random, 12, 100, 109, 0, 1, 2), 1);
    EXPECT_EQ(std::vector<int>({random.red[7], random.green[7], random.blue[7]}),
              std::vector<int>({175, 240, 60}));  // 49 mod 5 is 4
    for (int i = 2; i <= 11; ++i) EXPECT_NE(random.blue[i], 0) << i;
    EXPECT_EQ(random.red[1] + random.green[1] + random.blue[1], 0);  // out-of-range colour is black
    // A range wider than the arrays stops at their end; a refill frees the old arrays.
    ASSERT_EQ(initialize_random_colormap(&random, 4, 0, 1000, 0, 0, 0), 1);
    EXPECT_EQ(random.red[3], 75);
    free_colormap_buffers(&random);
}

TEST(Colormap, CopiesAndReplacementsOwnTheirArrays) {
    MapPtr source(create_colormap("EXTERNAL", 3, 0, 0, 0, 0), free_colormap);
    set_colormap_pixclr(source.get(), 0, 5, 10, 20, 30);
    source->pixels = static_cast<int32_t*>(calloc(3, sizeof(int32_t)));
    for (int optional : {1, 0}) {  // alpha and pixels are copied only when flagged
        source->has_alpha = source->has_pixels = optional;
        Colormap copy;
        ASSERT_EQ(copy_colormap(source.get(), &copy), 1);
        EXPECT_NE(copy.red, source->red);
        EXPECT_EQ(copy.red[0], 10);
        EXPECT_EQ(copy.alpha != nullptr && copy.pixels != nullptr, optional == 1);
        free_colormap_buffers(&copy);
    }

    Image image;
    memset(&image, 0, sizeof image);
    reset_image(&image);
    ASSERT_EQ(image_replace_colormap(&image, source.get()), 1);
    ASSERT_EQ(image_replace_colormap(&image, source.get()), 1);  // the first copy is freed
    EXPECT_NE(image.colormap.red, source->red);

    // A single LUT keeps the colormap; its table becomes the image's own.
    Lut* single = create_single_lut("EXTERNAL", 1, 10, 12, 0.25, 1.0, table_of({9, 9, 9}));
    set_lut_red_table(single, table_of({1, 2, 3}));  // the first table is freed
    ASSERT_EQ(image_replace_lut(&image, single), 1);
    EXPECT_NE(image.lut.red.table, single->red.table);
    EXPECT_EQ(image.lut.red.table[2], 3u);
    EXPECT_EQ(image.colormap.ncolors, 3);
    free_lut(single);

    // A multi LUT replaces the colormap with an empty one.
    Lut* multi = create_multi_lut("EXTERNAL");
    set_multi_lut_red(multi, 1, 0, 1, 0.0, 1.0, table_of({4, 5}));
    set_multi_lut_green(multi, 0, 0, 1, 0.0, 1.0, nullptr);
    set_multi_lut_blue(multi, 1, 0, 0, 0.0, 1.0, table_of({8}));
    ASSERT_EQ(image_replace_lut(&image, multi), 1);
    EXPECT_EQ(image.colormap.ncolors, 0);
    EXPECT_STREQ(image.colormap.name, "DEFAULT");
    EXPECT_EQ(image.lut.red.table[1] + image.lut.blue.table[0], 5u + 8u);
    EXPECT_EQ(image.lut.green.table, nullptr);
    free_lut(multi);
    for (int twice = 0; twice < 2; ++twice) free_lut_buffers(&image.lut);
    free_colormap_buffers(&image.colormap);
    free_lut(nullptr);
    free_colormap(nullptr);
}

double circular(double a, double b) {
    double d = fabs(a - b);
    return d < 1.0 - d ? d : 1.0 - d;
}

// The conversions against Python's colorsys on 200 colours (make_colour.sh):
// greys, primaries, hues either side of 0, and spread colours. Our hue is in
// degrees, and -1 for a grey where colorsys gives 0.
TEST(ColourSpace, AgreesWithPythonsColorsys) {
    std::ifstream in(tarntest::data_path("colour/colorsys-rgb-to-hsv-200.txt"));
    std::string comment;
    ASSERT_TRUE(std::getline(in, comment));
    int r, g, b, rows = 0;
    double h, s, v;
    for (; in >> r >> g >> b >> h >> s >> v; ++rows) {
        SCOPED_TRACE(std::to_string(r) + " " + std::to_string(g) + " " + std::to_string(b));
        float hue, sat, val;
        ii_rgb_to_hsv(static_cast<float>(r), static_cast<float>(g), static_cast<float>(b), &hue,
                      &sat, &val);
        if (s == 0.0) EXPECT_EQ(hue, -1.0f);
        else EXPECT_LT(circular(hue / 360.0, h), 1e-5);
        EXPECT_NEAR(sat, s, 1e-5);
        EXPECT_NEAR(val, v, 1e-5);
        float rgb[3];
        ii_hsv_to_rgb(static_cast<float>(h * 360.0), static_cast<float>(s), static_cast<float>(v),
                      &rgb[0], &rgb[1], &rgb[2]);
        const int want[3] = {r, g, b};
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(rgb[k], want[k] / 255.0, 1e-4);
    }
    EXPECT_EQ(rows, 200);
}

}  // namespace
