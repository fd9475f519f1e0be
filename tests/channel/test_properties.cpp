// Property dispatch by type code. Sun raster properties against netpbm are
// in tests/drivers/test_sunraster.cpp.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel/properties.h"
#include "test_support.h"

namespace {

const char* const kAbsent = "/nonexistent/tarn/raster.img";

TEST(ImageProperties, AnswersByTypeCode) {
    // bands, depth -1: fails; info and extent fail for all of these.
    const struct { int type, bands, depth; } cases[] = {
        {0, -1, -1}, {7, -1, -1}, {12, -1, -1}, {100, -1, -1}, {-1000, -1, -1},
        // Fixed answers that need no file; ADRG and GRASS report no size.
        {1, 1, 1}, {4, 1, -1}, {5, 1, 16}, {6, 1, 32}, {13, 3, 8},
        {2, -1, -1},  // a Sun raster that isn't there
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        int rows = -9, columns = -9, bands = -9, depth = -9;
        EXPECT_EQ(get_image_info(c.type, kAbsent, &rows, &columns, &bands, &depth), -1);
        EXPECT_EQ(get_image_extent(c.type, kAbsent, &rows, &columns), -1);
        EXPECT_EQ(rows, -9);
        const int nb = get_image_nbands(c.type, kAbsent, &bands);
        const int dp = get_image_depth(c.type, kAbsent, &depth);
        EXPECT_EQ(nb < 0 ? -1 : bands, c.bands);
        EXPECT_EQ(dp < 0 ? -1 : depth, c.depth);
    }
    // Even a real Sun raster given the TIFF strip type.
    std::string sun = tarntest::data_path("sunraster/std-grey-8bit-13x7.ras");
    int rows, columns, bands, depth;
    EXPECT_EQ(get_image_info(7, sun.c_str(), &rows, &columns, &bands, &depth), -1);
}

}  // namespace
