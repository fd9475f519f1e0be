// Rows of Sun raster fixtures through the whole colour path: driver row,
// lookup, index, resample, then the remap or the dither. The packed colours
// must equal netpbm's decode of the same file (tests/data/make_sunraster.sh).

#include <gtest/gtest.h>

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

// Opens one band (or bands 1, 2, 3) with a one-to-one window over the whole
// image, buffers and colours assigned as the RGB stream does.
struct ColourPath {
    ColourPath(const std::string& path, bool multi) : m_multi(multi) {
        memset(&image, 0, sizeof image);
        char none[1] = {0};
        if ((multi ? multi_image_open(&image, path.c_str(), 2, 1, 2, 3, 1, none, none)
                   : image_open(&image, path.c_str(), 2, 1, 1, none, none)) != 1)
            return;
        bool mapped = image_row_map(&image, image.type, 0, image.columns - 1, 0, image.rows - 1) == 1;
        image.out_cols = image.win_cols;
        image.out_rows = image.win_rows;
        image.out_last_x = image.out_cols - 1;
        image.out_last_y = image.out_rows - 1;
        image.col_map = static_cast<int32_t*>(calloc(image.out_cols, sizeof(int32_t)));
        for (int i = 0; i < image.out_cols; ++i) image.col_map[i] = i;
        float zero = 0.0f;
        set_dither_threshold(&zero);
        ready = mapped && tarn_screen_init(nullptr, &image, 0) == 1 &&
                (multi ? allocate_multi_internal_buffers(&image) + allocate_multi_graphic_buffers(&image, 's')
                       : allocate_internal_buffers(&image) + allocate_graphic_buffers(&image, 's')) == 2;
        colour_type = multi ? multi_image_assign_colors(nullptr, &image, 0, 0)
                            : image_assign_colors(nullptr, &image, 0, 0);
        ready = ready && (multi ? allocate_multi_resamplers(&image) : allocate_resamplers(&image)) == 1;
        initialize_row_IO(&image);
    }
    ~ColourPath() {
        m_multi ? multi_image_close(&image) : image_close(&image);
        free_buffers(&image);
        free_multi_buffers(&image);
        free_graphic_buffers(&image);
        free_multi_graphic_buffers(&image);
    }
    std::vector<uint32_t> row(int y) {
        EXPECT_NE(image.get_row(&image, y), -1) << y;
        image.lookup(&image);
        image.index(&image);
        image.resample(&image);
        if (image.dither_on)
            image.dither(&image, y);
        else
            clr_remap_buf(&image, image.grow, image.grow2, image.out_cols);
        return std::vector<uint32_t>(image.grow2, image.grow2 + image.out_cols);
    }
    Image image;
    int colour_type = -1;
    bool ready = false;
    bool m_multi;
};

TEST(ColourPipeline, SunRastersMatchNetpbm) {
    for (const std::string& name : tarntest::sun_fixtures()) {
        SCOPED_TRACE(name);
        const bool multi = name.find("rgb") != std::string::npos;
        tarntest::Pnm want = tarntest::read_pnm(tarntest::data_path("sunraster/" + name + ".pnm"));
        ColourPath path(tarntest::data_path("sunraster/" + name + ".ras"), multi);
        ASSERT_TRUE(path.ready);
        ASSERT_EQ(path.image.columns, want.width);
        // Palettes and greys remap; three bands pass 8 bits a band through the dither.
        EXPECT_EQ(path.colour_type, multi ? 0 : name.find("palette") != std::string::npos ? TARN_COLOUR : TARN_GREY);
        EXPECT_EQ(path.image.dither_on, multi ? 1 : 0);
        for (int y = 0; y < want.height; ++y) {
            std::vector<uint32_t> expected;
            for (int x = 0; x < want.width; ++x) {
                unsigned char p[4];
                want.rgba(x, y, p);
                expected.push_back(p[0] | p[1] << 8 | p[2] << 16);
            }
            ASSERT_EQ(path.row(y), expected) << "row " << y;
        }
    }
}

TEST(ColourPipeline, PixelsPastASmallPaletteTakeItsLastColour) {
    // 8-bit, 4 by 2, a 4-entry map; values 4 and up lie beyond it.
    tarntest::TempDir dir;
    ColourPath path(dir.write("small-palette.ras",
                              tarntest::sun_raster(4, 2, 8, 1, {0, 3, 4, 200, 255, 1, 2, 9}, 1,
                                                   {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120})),
                    false);
    ASSERT_TRUE(path.ready);
    ASSERT_EQ(path.image.colormap.ncolors, 4);
    ASSERT_EQ(path.colour_type, TARN_COLOUR);
    const uint32_t first = 10 | 50 << 8 | 90 << 16, second = 20 | 60 << 8 | 100 << 16,
                   third = 30 | 70 << 8 | 110 << 16, last = 40 | 80 << 8 | 120 << 16;
    EXPECT_EQ(path.row(0), (std::vector<uint32_t>{first, last, last, last}));
    EXPECT_EQ(path.row(1), (std::vector<uint32_t>{last, second, third, last}));
}

}  // namespace
