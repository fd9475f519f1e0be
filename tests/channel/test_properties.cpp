// Property dispatch by type code: a code without a reader, or a reader without
// a file, fails and writes nothing. Sun raster properties against netpbm are in
// tests/drivers/test_sunraster.cpp.

#include <gtest/gtest.h>

#include <string>

#include "channel/properties.h"
#include "test_support.h"

namespace {

TEST(ImageProperties, CodesWithoutAReaderOrFileFail) {
    std::string sun = tarntest::data_path("sunraster/std-grey-8bit-13x7.ras");
    const struct { int type; std::string name; } cases[] = {
        {0, sun}, {7, sun}, {1001, sun}, {-1000, sun}, {2, "/nonexistent/tarn/raster.ras"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.type);
        int rows = -9, columns = -9, bands = -9, depth = -9;
        EXPECT_EQ(get_image_info(c.type, c.name.c_str(), &rows, &columns, &bands, &depth), -1);
        EXPECT_EQ(get_image_extent(c.type, c.name.c_str(), &rows, &columns), -1);
        EXPECT_EQ(get_image_nbands(c.type, c.name.c_str(), &bands), -1);
        EXPECT_EQ(get_image_depth(c.type, c.name.c_str(), &depth), -1);
        EXPECT_EQ(rows + columns + bands + depth, -36);
    }
}

}  // namespace
