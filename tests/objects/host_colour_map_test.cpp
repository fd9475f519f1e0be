// A host edits the colour map object of a one-band image, and getData then
// paints the raw values through it.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <string>

#include "test_support.h"

namespace {

TEST(HostColourMap, AnAddedEntryPaintsExactlyItsValue) {
    const std::string name = "std-grey-8bit-nomap-13x7";
    tarntest::TempDir dir;
    dir.copy_in(tarntest::data_path("sunraster/" + name + ".ras"), "a.ras");
    tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("sunraster/" + name + ".pnm"));
    IInternalImageManager* manager = getManager();
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("a.ras")));
    IInternalImage* image = manager->getImage(0);
    ASSERT_NE(image, nullptr);
    ITarnRasterColorMap* map = image->getColorMap();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->getLookupCount(), 0);  // no colour file beside the image
    const int value = ref.at(4, 2, 0);
    CTarnUString label("mine");
    ASSERT_EQ(map->addExact(value, 10, 20, 30, 0, label), 1);
    long x, y, w, h;
    DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
    ASSERT_NE(block, nullptr);
    ASSERT_EQ(w * h, ref.width * ref.height);
    const unsigned char* rgba = static_cast<const unsigned char*>(block->data());
    int painted = 0;
    for (int py = 0; py < h; ++py)
        for (int px = 0; px < w; ++px) {
            const unsigned char* p = rgba + 4 * (py * w + px);
            bool mine = ref.at(px, py, 0) == value;
            painted += mine;
            const int want[4] = {mine ? 10 : 0, mine ? 20 : 0, mine ? 30 : 0, mine ? 0 : 255};
            for (int k = 0; k < 4; ++k) ASSERT_EQ(p[k], want[k]) << px << "," << py;
        }
    EXPECT_GT(painted, 0);
    block->release();
    map->clear();
    EXPECT_EQ(map->getLookupCount(), 0);
    map->release();
    image->release();
    manager->release();
}

}  // namespace
