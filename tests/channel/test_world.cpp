// World transforms: which file beside an image places it, in what order the
// sources are tried, and the box a transform covers. The world files are
// GDAL's (tests/data/make_world.sh).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel/world.h"
#include "test_support.h"
#include <tarnimage/tarnimage.h>

namespace {

using Six = std::vector<double>;

const char* const kSun = "sunraster/std-grey-8bit-13x7.ras";  // 13 x 7

Six transform_of(const std::string& path, int type = 2) {
    double t[6] = {9, 9, 9, 9, 9, 9};
    if (get_image_to_world_transform(type, path.c_str(), t) != 1) return {};
    return Six(t, t + 6);
}

const Six kIdentity = {1, 0, 0, -1, 0, 6};
const Six kRotated = {2.5, -0.25, 0.125, -2.5, 440721.3125, 3751318.625};

TEST(WorldTransform, TheFirstCandidateThatOpensDecides) {
    const std::string tfw = tarntest::data_path("world/rotated-4x3.tfw");
    const struct { const char* image; std::vector<std::pair<const char*, std::string>> beside; Six want; } cases[] = {
        {"a.tif", {{"a.tfw", tfw}}, kRotated},               // a.tifw shortened to 8.3
        {"a.TIF", {{"a.tfw", tfw}}, kIdentity},              // the extension keeps its case: a.TFw
        {"a.tif", {{"a.tifw", tfw}}, kRotated},
        {"a.tif", {{"a.tif.world", tfw}}, kRotated},
        {"x", {{"xw", tfw}}, kRotated},                      // no extension, no shortening
        {"a.tif", {{"a.tfw", "not a world file\n"}, {"a.tifw", tfw}}, kIdentity},
        {"a.tif", {}, kIdentity},                            // y up: row 0 lies at rows - 1
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.image) + (c.beside.empty() ? "" : " beside " + std::string(c.beside[0].first)));
        tarntest::TempDir dir;
        std::string image = dir.copy_in(tarntest::data_path(kSun), c.image);
        for (const auto& file : c.beside) {
            if (file.second.find('/') == 0) dir.copy_in(file.second, file.first);
            else dir.write(file.first, file.second);
        }
        EXPECT_EQ(transform_of(image), c.want);
    }
}

TEST(WorldTransform, CodesWithoutPlacementAndMissingNames) {
    std::string sun = tarntest::data_path(kSun);
    EXPECT_EQ(transform_of(sun, 7), Six());    // the TIFF strip type is never placed
    EXPECT_EQ(transform_of(sun, 13), Six());   // ADRG without a world file has no size
    EXPECT_EQ(transform_of(""), Six());
    EXPECT_EQ(transform_of("/nonexistent/tarn/x.ras"), Six());
}

TEST(WorldTransform, ShortNamesForWorldFiles) {
    const std::pair<std::string, std::string> cases[] = {
        {"a.tifw", "a.tfw"}, {"a.TIFW", "a.TFW"}, {"a.bilW", "a.blW"},
        {"a.jpw", "a.jpw"}, {"a.tifx", "a.tifx"}, {"dir.v2/xw", "dir.v2/xw"}, {"xw", "xw"},
    };
    for (const auto& c : cases) {
        std::string name = c.first;
        make_world_file_name_83(name);
        EXPECT_EQ(name, c.second);
    }
}

TEST(WorldBox, ThePixelsAreaAndTheBoundsOfARotation) {
    double identity[6], box[4];
    get_identity_transformation(100, 50, identity);
    EXPECT_EQ(calc_image_world_box(100, 50, identity, box), 1);
    EXPECT_EQ(Six(box, box + 4), (Six{-0.5, -0.5, 49.5, 99.5}));
    // GDAL's rotated grid of 4 x 3: its corner points, from the GeoTransform.
    calc_image_world_box(3, 4, kRotated.data(), box);
    EXPECT_EQ(Six(box, box + 4), (Six{440720.0, 3751311.5, 440730.375, 3751320.0}));
}

// The image object hands the transform out as x = a c + b r + c0, y = d c + e r + f0.
TEST(WorldTransform, TheImageObjectGivesTheCoefficientsInItsOrder) {
    tarntest::TempDir dir;
    dir.copy_in(tarntest::data_path(kSun), "a.tif");
    dir.copy_in(tarntest::data_path("world/rotated-4x3.tfw"), "a.tfw");
    IInternalImageManager* manager = getManager();
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("a.tif")));
    IInternalImage* image = manager->getImage(0);
    ASSERT_NE(image, nullptr);
    EXPECT_TRUE(image->isGeoReferenced());
    Six got(6);
    image->getGeoReference(&got[0], &got[1], &got[2], &got[3], &got[4], &got[5]);
    // GDAL's GeoTransform (440720, 2.5, 0.125, 3751320, -0.25, -2.5) moved to the centre of pixel 0.
    EXPECT_EQ(got, (Six{2.5, 0.125, 440720.0 + 1.25 + 0.0625, -0.25, -2.5, 3751320.0 - 0.125 - 1.25}));
    image->release();
    manager->release();
}

}  // namespace
