// Rows of Sun raster fixtures through the whole colour path: driver row,
// lookup, index, resample, then the remap or the dither. The packed colours
// must equal netpbm's decode of the same file (tests/data/make_sunraster.sh).

#include <gtest/gtest.h>

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/kernels.h"
#include "colour/assign.h"
#include "colour/dither.h"
#include "test_support.h"

namespace {

struct Pnm {
    int width = 0, height = 0;
    std::vector<uint32_t> packed;  // red + green * 256 + blue * 65536
};

// P4, P5 and P6 as netpbm writes them: one blank after each header field.
bool read_pnm(const std::string& path, Pnm* pnm) {
    std::vector<unsigned char> bytes = tarntest::read_file(path);
    if (bytes.size() < 3 || bytes[0] != 'P') return false;
    char kind = static_cast<char>(bytes[1]);
    size_t pos = 2;
    int fields[3] = {0, 0, 1};
    int needed = kind == '4' ? 2 : 3;
    for (int f = 0; f < needed; ++f) {
        while (pos < bytes.size() && isspace(bytes[pos])) ++pos;
        while (pos < bytes.size() && isdigit(bytes[pos]))
            fields[f] = fields[f] * 10 + (bytes[pos++] - '0');
    }
    ++pos;
    pnm->width = fields[0];
    pnm->height = fields[1];
    for (int y = 0; y < pnm->height; ++y) {
        for (int x = 0; x < pnm->width; ++x) {
            uint32_t r, g, b;
            if (kind == '4') {
                size_t stride = (pnm->width + 7) / 8;
                int bit = (bytes[pos + y * stride + x / 8] >> (7 - x % 8)) & 1;
                r = g = b = bit ? 0 : 255;
            } else if (kind == '5') {
                r = g = b = bytes[pos + y * pnm->width + x];
            } else {
                const unsigned char* p = &bytes[pos + 3 * (y * pnm->width + x)];
                r = p[0];
                g = p[1];
                b = p[2];
            }
            pnm->packed.push_back(r | g << 8 | b << 16);
        }
    }
    return true;
}

// A one-to-one window over the whole image.
void map_whole_image(Image* image) {
    ASSERT_EQ(image_row_map(image, image->type, 0, image->columns - 1, 0, image->rows - 1), 1);
    image->out_cols = image->win_cols;
    image->out_rows = image->win_rows;
    image->out_last_x = image->out_cols - 1;
    image->out_last_y = image->out_rows - 1;
    image->col_map = static_cast<int32_t*>(calloc(image->out_cols, sizeof(int32_t)));
    for (int i = 0; i < image->out_cols; ++i) image->col_map[i] = i;
}

std::vector<uint32_t> read_row(Image* image, int row) {
    EXPECT_NE(image->get_row(image, row), -1) << row;
    image->lookup(image);
    image->index(image);
    image->resample(image);
    if (image->dither_on)
        image->dither(image, row);
    else
        clr_remap_buf(image, image->grow, image->grow2, image->out_cols);
    return std::vector<uint32_t>(image->grow2, image->grow2 + image->out_cols);
}

struct Fixture {
    const char* name;
    int colour_type;
};

TEST(ColourPipeline, SingleBandSunRastersMatchNetpbm) {
    const Fixture fixtures[] = {
        {"std-palette-8bit-13x7", TARN_COLOUR}, {"rle-palette-8bit-37x5", TARN_COLOUR},
        {"std-grey-8bit-38x6", TARN_GREY},      {"std-grey-8bit-nomap-13x7", TARN_GREY},
        {"std-bw-1bit-37x5", TARN_GREY},        {"rle-bw-1bit-70x6", TARN_GREY},
    };
    char lut[1] = {0}, map[1] = {0};
    for (const auto& f : fixtures) {
        SCOPED_TRACE(f.name);
        Pnm expected;
        ASSERT_TRUE(read_pnm(tarntest::data_path(std::string("sunraster/") + f.name + ".pnm"),
                             &expected));
        Image image;
        memset(&image, 0, sizeof image);
        std::string path = tarntest::data_path(std::string("sunraster/") + f.name + ".ras");
        ASSERT_EQ(image_open(&image, path.c_str(), 2, 1, 1, lut, map), 1);
        ASSERT_EQ(image.columns, expected.width);
        map_whole_image(&image);
        ASSERT_EQ(tarn_screen_init(nullptr, &image, 0), 1);
        ASSERT_EQ(allocate_internal_buffers(&image), 1);
        ASSERT_EQ(allocate_graphic_buffers(&image, 's'), 1);
        ASSERT_EQ(allocate_display_buffer(nullptr, &image, 0, 0), 1);
        float zero = 0.0f;
        set_dither_threshold(&zero);
        EXPECT_EQ(image_assign_colors(nullptr, &image, 0, 0), f.colour_type);
        EXPECT_EQ(image.dither_on, 0);
        ASSERT_EQ(allocate_resamplers(&image), 1);
        initialize_row_IO(&image);
        for (int row = 0; row < image.rows; ++row) {
            std::vector<uint32_t> got = read_row(&image, row);
            std::vector<uint32_t> want(expected.packed.begin() + row * expected.width,
                                       expected.packed.begin() + (row + 1) * expected.width);
            ASSERT_EQ(got, want) << "row " << row;
        }
        image_close(&image);
        free_buffers(&image);
        free_graphic_buffers(&image);
        free_all_display_buffers(&image);
    }
}

TEST(ColourPipeline, ThreeBandSunRastersPassEightBitsABand) {
    char lut[1] = {0}, map[1] = {0};
    for (const char* name : {"std-rgb-24bit-29x15", "rle-rgb-24bit-37x9", "std-rgb-32bit-13x7"}) {
        SCOPED_TRACE(name);
        Pnm expected;
        ASSERT_TRUE(read_pnm(tarntest::data_path(std::string("sunraster/") + name + ".pnm"),
                             &expected));
        Image image;
        memset(&image, 0, sizeof image);
        std::string path = tarntest::data_path(std::string("sunraster/") + name + ".ras");
        ASSERT_EQ(multi_image_open(&image, path.c_str(), 2, 1, 2, 3, 1, lut, map), 1);
        map_whole_image(&image);
        ASSERT_EQ(tarn_screen_init(nullptr, &image, 0), 1);
        ASSERT_EQ(allocate_multi_internal_buffers(&image), 1);
        ASSERT_EQ(allocate_multi_graphic_buffers(&image, 's'), 1);
        float zero = 0.0f;
        set_dither_threshold(&zero);
        EXPECT_EQ(multi_image_assign_colors(nullptr, &image, 0, 0), 0);
        EXPECT_EQ(image.dither_on, 1);
        EXPECT_EQ(image.dither, multicolordither_to_888_bits);
        EXPECT_EQ(image.clr_table, nullptr);
        ASSERT_EQ(allocate_multi_resamplers(&image), 1);
        initialize_row_IO(&image);
        for (int row = 0; row < image.rows; ++row) {
            std::vector<uint32_t> got = read_row(&image, row);
            std::vector<uint32_t> want(expected.packed.begin() + row * expected.width,
                                       expected.packed.begin() + (row + 1) * expected.width);
            ASSERT_EQ(got, want) << "row " << row;
        }
        multi_image_close(&image);
        free_multi_buffers(&image);
        free_multi_graphic_buffers(&image);
    }
}

TEST(ColourPipeline, PixelsPastASmallPaletteTakeItsLastColour) {
    // 8-bit, 4 by 2, a 4-entry map; values 4 and up lie beyond it.
    const std::vector<unsigned char> file = {
        0x59, 0xa6, 0x6a, 0x95, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0, 8,  // magic, size, depth
        0, 0, 0, 8, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 12,             // length, type, RGB map
        10, 20, 30, 40,                                              // red
        50, 60, 70, 80,                                              // green
        90, 100, 110, 120,                                           // blue
        0, 3, 4, 200,                                                // row 0
        255, 1, 2, 9,                                                // row 1
    };
    tarntest::TempDir dir;
    std::string path = dir.write("small-palette.ras", file);
    char lut[1] = {0}, map[1] = {0};
    Image image;
    memset(&image, 0, sizeof image);
    ASSERT_EQ(image_open(&image, path.c_str(), 2, 1, 1, lut, map), 1);
    ASSERT_EQ(image.colormap.ncolors, 4);
    map_whole_image(&image);
    ASSERT_EQ(allocate_internal_buffers(&image), 1);
    ASSERT_EQ(allocate_graphic_buffers(&image, 's'), 1);
    float zero = 0.0f;
    set_dither_threshold(&zero);
    ASSERT_EQ(image_assign_colors(nullptr, &image, 0, 0), TARN_COLOUR);
    ASSERT_EQ(allocate_resamplers(&image), 1);
    initialize_row_IO(&image);
    const uint32_t last = 40 | 80 << 8 | 120 << 16;
    EXPECT_EQ(read_row(&image, 0),
              (std::vector<uint32_t>{10 | 50 << 8 | 90 << 16, last, last, last}));
    const uint32_t second = 20 | 60 << 8 | 100 << 16, third = 30 | 70 << 8 | 110 << 16;
    EXPECT_EQ(read_row(&image, 1), (std::vector<uint32_t>{last, second, third, last}));
    image_close(&image);
}

}  // namespace
