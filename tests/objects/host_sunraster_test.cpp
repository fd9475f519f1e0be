// A host connects to a directory of pnmtorast outputs: each is admitted as a Sun
// raster with the size of netpbm's decode and the bands and depth its name gives.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <string>
#include <vector>

#include "test_support.h"

namespace {

TEST(HostSunRaster, DirectoryOfSunRastersIsListedWithItsProperties) {
    // Named without extension, as pnmtorast leaves them: identified by content.
    const std::vector<std::string> names = tarntest::sun_fixtures();
    tarntest::TempDir dir;
    for (const auto& name : names) dir.copy_in(tarntest::data_path("sunraster/" + name + ".ras"), name);

    IInternalImageManager* manager = getManager();
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("")));
    ASSERT_EQ(manager->getImageCount(), static_cast<long>(names.size()));
    for (long i = 0; i < manager->getImageCount(); ++i) {
        IInternalImage* image = manager->getImage(i);
        ASSERT_NE(image, nullptr);
        std::string name = image->getName().toUTF8();
        SCOPED_TRACE(name);
        tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("sunraster/" + name + ".pnm"));
        ASSERT_GT(ref.width, 0);
        const long bands = name.find("rgb") != std::string::npos ? 3 : 1;
        const long depth = name.find("1bit") != std::string::npos ? 1 : 8;
        EXPECT_EQ(image->getType(), 2);
        EXPECT_EQ((std::vector<long>{image->getWidth(), image->getHeight(), image->getBandCount(),
                                     image->getPixelDepth(0)}),
                  (std::vector<long>{ref.width, ref.height, bands, depth}));
        image->release();
    }
    manager->release();
}

}  // namespace
