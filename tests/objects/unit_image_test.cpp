// The image object: what Open admits, the clip rectangle, the fetch modes and
// the reference counts.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "objects/image_impl.h"
#include "test_support.h"

struct CIImageImplTestAccess {
    static void pretend(CIImageImpl& image, int width, int height, int bands) {
        image.m_valid = 1;
        image.m_width = width;
        image.m_height = height;
        image.m_bandCount = bands;
    }
};

namespace {

// An 8-bit grey Sun raster of 4 x 2 pixels, written out by hand.
std::vector<unsigned char> tiny_sun_raster() {
    const unsigned char header[32] = {0x59, 0xA6, 0x6A, 0x95, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0, 8,
                                      0,    0,    0,    8,    0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0};
    std::vector<unsigned char> bytes(header, header + 32);
    for (unsigned char v : {10, 20, 30, 40, 50, 60, 70, 80}) bytes.push_back(v);
    return bytes;
}

TEST(ImageObject, CompanionEndingsAndShortNamesAreNeverValid) {
    tarntest::TempDir dir;
    auto raster = tiny_sun_raster();
    for (const char* name : {"image.met", "imagemet", "x.aux", "x.xml", "x.rrd", "b", "bc"}) {
        std::string path = dir.write(name, raster);
        CIImageImpl image{CTarnUString(path.c_str())};
        EXPECT_EQ(image.isValid(), 0) << name;
    }
    // The separator test looks at the first two of the last three characters only.
    CIImageImpl a{CTarnUString("a/b")};
    CIImageImpl bc{CTarnUString("a/bc")};
    EXPECT_EQ(a.isValid(), 0);
    EXPECT_EQ(bc.isValid(), 0);
}

TEST(ImageObject, ARasterUnderAnOrdinaryNameIsValid) {
    tarntest::TempDir dir;
    std::string path = dir.write("tiny", tiny_sun_raster());
    CIImageImpl image{CTarnUString(path.c_str())};
    ASSERT_EQ(image.isValid(), 1);
    EXPECT_EQ(image.getType(), 2);
    EXPECT_EQ(image.getWidth(), 4);
    EXPECT_EQ(image.getHeight(), 2);
    EXPECT_EQ(image.getBandCount(), 1);
    EXPECT_EQ(image.getPixelDepth(0L), 8);
    EXPECT_TRUE(image.getName().isEqualTo("tiny"));
    EXPECT_TRUE(image.getPath().isEqualTo(path.c_str()));
    EXPECT_EQ(image.hasMore(), 1);
    long x, y, w, h;
    image.getResultRect(&x, &y, &w, &h);
    EXPECT_EQ(w, 4);
    EXPECT_EQ(h, 2);
}

TEST(ImageObject, WorldFileStaysInvalidButViewIsTried) {
    tarntest::TempDir dir;
    std::string world = dir.write("x.tfw", "2.0\n0.0\n0.0\n-2.0\n100.0\n200.0\n");
    CIImageImpl image{CTarnUString(world.c_str())};
    EXPECT_EQ(image.isValid(), 0);
    // A name ending in "w" that holds a raster is no world file.
    std::string view = dir.write("view", tiny_sun_raster());
    CIImageImpl raster{CTarnUString(view.c_str())};
    EXPECT_EQ(raster.isValid(), 1);
}

TEST(ImageObject, ClipRectangleClamps) {
    const struct {
        long x, y, w, h;
        long ex, ey, ew, eh;
    } cases[] = {
        {-10, -10, 50, 50, 0, 0, 50, 50},  // the size is not shortened by the shift
        {90, 90, 50, 50, 90, 90, 10, 10},
        {200, 0, 50, 50, 200, 0, 0, 50},
        {0, 0, 100, 100, 0, 0, 100, 100},
        {10, 20, -5, 30, 10, 20, 0, 30},
        {0, 0, 1L << 40, 1L << 40, 0, 0, 100, 100},
    };
    for (const auto& c : cases) {
        CIImageImpl image;
        CIImageImplTestAccess::pretend(image, 100, 100, 1);
        image.setClipRect(c.x, c.y, c.w, c.h);
        long x, y, w, h;
        image.getResultRect(&x, &y, &w, &h);
        EXPECT_EQ(x, c.ex) << c.x << "," << c.y;
        EXPECT_EQ(y, c.ey);
        EXPECT_EQ(w, c.ew);
        EXPECT_EQ(h, c.eh);
        long bw, bh;
        image.getBlockSize(&bw, &bh);
        EXPECT_EQ(bw, c.ew);
        EXPECT_EQ(bh, c.eh);
    }
}

TEST(ImageObject, FetchModesAndFixedAnswers) {
    CIImageImpl image;
    CIImageImplTestAccess::pretend(image, 10, 8, 1);
    image.setClipRect(0, 0, 10, 8);
    EXPECT_EQ(image.getFetchModes(), 1);
    EXPECT_EQ(image.setFetchMode(2), 0);
    long w, h;
    image.getBlockSize(&w, &h);
    EXPECT_EQ(h, 8);
    EXPECT_EQ(image.setFetchMode(1), 1);
    image.getBlockSize(&w, &h);
    EXPECT_EQ(w, 10);
    EXPECT_EQ(h, 8);
    EXPECT_EQ(image.getPixelDepth(), 7);
    EXPECT_EQ(image.canBeScaled(), 1);
    EXPECT_EQ(image.hasStatistic(), 0);
    EXPECT_DOUBLE_EQ(image.getScale(), 1.0);
    image.setScale(2.5);
    EXPECT_DOUBLE_EQ(image.getScale(), 2.5);
    EXPECT_TRUE(image.getBandName(0).isEmpty());
    EXPECT_TRUE(image.getProjectionParameters().isEmpty());
}

TEST(ImageObject, NoGeoreferenceGivesZerosAndNoColourMapForThreeBands) {
    CIImageImpl image;
    CIImageImplTestAccess::pretend(image, 10, 8, 3);
    double v[6] = {1, 1, 1, 1, 1, 1};
    image.getGeoReference(&v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
    for (double d : v) EXPECT_EQ(d, 0.0);
    EXPECT_FALSE(image.isGeoReferenced());
    EXPECT_EQ(image.getColorMap(), nullptr);
}

TEST(ImageObject, InternalReferencesKeepTheObjectAlive) {
    CIImageImpl* image = new CIImageImpl();
    EXPECT_EQ(image->internalAddRef(), 1);
    EXPECT_EQ(image->release(), 0);  // the host's last reference
    EXPECT_EQ(image->addRef(), 1);   // still alive, held internally
    EXPECT_EQ(image->release(), 0);
    EXPECT_EQ(image->internalRelease(), 0);  // now it goes; ASan checks the rest
}

TEST(ImageObject, CloneOfAnInvalidImageIsInvalid) {
    CIImageImpl image;
    IInternalImage* copy = image.clone();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(static_cast<CIImageImpl*>(copy)->isValid(), 0);
    copy->release();
    IInternalRStream* stream = image.getRGBStream();
    EXPECT_EQ(stream->getPixelDepth(), 7);
    stream->release();
}

}  // namespace
