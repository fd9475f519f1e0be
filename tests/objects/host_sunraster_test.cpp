// A host connects to a directory of pnmtorast outputs: each is admitted as a
// Sun raster with the size of netpbm's reference decode and the bands and
// depth of the file.

#include <gtest/gtest.h>
#include <tarnimage/channel.h>
#include <tarnimage/tarnimage.h>

#include <cstdlib>
#include <map>
#include <string>

#include "test_support.h"

namespace {

struct Facts {
    long width, height, bands, depth;
};

TEST(HostSunRaster, DirectoryOfSunRastersIsListedWithItsProperties) {
    // Named without extension, as pnmtorast leaves them: identified by content.
    const std::map<std::string, Facts> files = {
        {"rle-bw-1bit-37x5", {37, 5, 1, 1}},        {"std-bw-1bit-13x7", {13, 7, 1, 1}},
        {"std-grey-8bit-13x7", {13, 7, 1, 8}},      {"rle-grey-8bit-38x6", {38, 6, 1, 8}},
        {"rle-palette-8bit-37x5", {37, 5, 1, 8}},   {"std-palette-8bit-13x7", {13, 7, 1, 8}},
        {"std-rgb-24bit-29x15", {29, 15, 3, 8}},    {"rle-rgb-32bit-13x7", {13, 7, 3, 8}},
    };
    tarntest::TempDir dir;
    for (const auto& f : files) dir.copy_in(tarntest::data_path("sunraster/" + f.first + ".ras"), f.first);

    IInternalImageManager* manager = getManager();
    ASSERT_NE(manager, nullptr);
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("")));
    ASSERT_EQ(manager->getImageCount(), static_cast<long>(files.size()));
    for (long i = 0; i < manager->getImageCount(); ++i) {
        IInternalImage* image = manager->getImage(i);
        ASSERT_NE(image, nullptr);
        std::string name = image->getName().toUTF8();
        SCOPED_TRACE(name);
        auto found = files.find(name);
        ASSERT_NE(found, files.end());
        EXPECT_EQ(image->getType(), 2);
        EXPECT_EQ(image->getWidth(), found->second.width);
        EXPECT_EQ(image->getHeight(), found->second.height);
        EXPECT_EQ(image->getBandCount(), found->second.bands);
        EXPECT_EQ(image->getPixelDepth(0), found->second.depth);
        image->release();
    }
    manager->release();
}

TEST(HostSunRaster, AFailedChannelOpenLeavesNothingOpen) {
    // The header promises a colour map and rows past the end: the driver has
    // opened the file and its record before it refuses. LeakSanitizer sees
    // whatever stays.
    tarntest::TempDir dir;
    auto bytes = tarntest::read_file(tarntest::data_path("sunraster/std-grey-8bit-13x7.ras"));
    bytes.resize(40);
    std::string path = dir.write("cut.ras", bytes);
    Image* record = static_cast<Image*>(calloc(1, sizeof(Image)));
    EXPECT_EQ(open_image_channel(record, path.c_str(), 'r', 2, 1), -1);
    EXPECT_EQ(record->read_open, 0);
    free(record);  // after -1 the record is still ours
}

}  // namespace
