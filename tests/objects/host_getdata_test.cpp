// RGBA blocks through the host interface, compared with netpbm's decodes of
// the same Sun rasters.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using tarntest::Pnm;

struct Block {
    long x = -1, y = -1, width = -1, height = -1;
    std::vector<unsigned char> rgba;
    bool null = true;
};

// One manager over one file of a folder.
class Host {
public:
    explicit Host(const std::string& dir, const std::string& file) {
        m_manager = getManager();
        m_manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
        m_image = m_manager->getImage(0);
    }
    ~Host() {
        if (m_image) m_image->release();
        m_manager->release();
    }
    IInternalImage* image() const { return m_image; }
    Block read() {
        Block b;
        DirectMemoryHolder* holder = m_image->getData(&b.x, &b.y, &b.width, &b.height);
        if (!holder) return b;
        b.null = false;
        const unsigned char* p = static_cast<const unsigned char*>(holder->data());
        b.rgba.assign(p, p + holder->length());
        holder->release();
        return b;
    }

private:
    IInternalImageManager* m_manager = nullptr;
    IInternalImage* m_image = nullptr;
};

const std::string kDir = tarntest::data_path("sunraster");
Pnm reference(const std::string& name) { return tarntest::read_pnm(kDir + "/" + name + ".pnm"); }

// Compares the first `rows` rows of a block with the reference pixels
// (x0 + col * step, y0 + row * step), step being a fraction for enlargements.
::testing::AssertionResult matches(const Block& block, const Pnm& ref, double x0, double y0, double step,
                                   long rows = -1) {
    if (block.null || block.rgba.size() != static_cast<size_t>(block.width * block.height * 4))
        return ::testing::AssertionFailure() << "no block of " << block.width << " x " << block.height;
    for (long r = 0; r < (rows < 0 ? block.height : rows); ++r)
        for (long c = 0; c < block.width; ++c) {
            unsigned char want[4];
            ref.rgba(static_cast<int>(x0 + c * step), static_cast<int>(y0 + r * step), want);
            if (std::memcmp(&block.rgba[(static_cast<size_t>(r) * block.width + c) * 4], want, 4) != 0)
                return ::testing::AssertionFailure() << "pixel (" << c << ", " << r << ")";
        }
    return ::testing::AssertionSuccess();
}

TEST(HostGetData, WholeImageEqualsNetpbmDecode) {
    for (const std::string& name : tarntest::sun_fixtures()) {
        SCOPED_TRACE(name);
        Pnm ref = reference(name);
        ASSERT_GT(ref.width, 0);
        Host host(kDir, name + ".ras");
        ASSERT_NE(host.image(), nullptr);
        Block block = host.read();
        EXPECT_EQ((std::vector<long>{block.x, block.y, block.width, block.height}),
                  (std::vector<long>{0, 0, ref.width, ref.height}));
        EXPECT_TRUE(matches(block, ref, 0, 0, 1));
    }
}

TEST(HostGetData, ClipAtScalesOneTwoAndOneHalf) {
    const std::string name = "std-rgb-24bit-29x15";
    Pnm ref = reference(name);
    Host host(kDir, name + ".ras");
    ASSERT_NE(host.image(), nullptr);
    host.image()->setClipRect(3, 4, 10, 10);
    const struct { double scale; long x, y, size; } cases[] = {
        {1.0, 3, 4, 10},
        {2.0, 1, 2, 5},    // rows 4, 6, 8, 10, 12; the origin divided by the scale
        {0.5, 6, 8, 20}};  // every row and column twice
    for (const auto& c : cases) {
        host.image()->setScale(c.scale);
        Block block = host.read();
        EXPECT_EQ((std::vector<long>{block.x, block.y, block.width, block.height}),
                  (std::vector<long>{c.x, c.y, c.size, c.size})) << c.scale;
        EXPECT_TRUE(matches(block, ref, 3, 4, c.scale)) << c.scale;
    }
    host.image()->setClipRect(0, 0, 29, 15);  // a full clip below scale 1: rows wider than the image's
    Block whole = host.read();
    EXPECT_EQ(whole.width, 58);
    EXPECT_TRUE(matches(whole, ref, 0, 0, 0.5));
}

TEST(HostGetData, EmptyClipRepeatedReadsAndHasMore) {
    Host host(kDir, "rle-palette-8bit-37x5.ras");
    IInternalImage* image = host.image();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->hasMore(), 1);
    Block first = host.read();
    ASSERT_FALSE(first.null);
    EXPECT_EQ(first.rgba, host.read().rgba);
    EXPECT_EQ(image->hasMore(), 0);
    EXPECT_EQ(image->reset(), 1);
    EXPECT_EQ(image->hasMore(), 1);

    image->setClipRect(0, 0, 0, 5);
    EXPECT_TRUE(host.read().null);
    image->setClipRect(40, 0, 5, 5);  // wholly right of the image: width 0
    EXPECT_TRUE(host.read().null);
    image->setClipRect(0, 0, 37, 5);
    for (double scale : {0.0, -1.0, 1e-300, std::nan("")}) {
        image->setScale(scale);  // no window at such a scale
        EXPECT_TRUE(host.read().null) << scale;
    }
}

TEST(HostGetData, TruncatedFileKeepsTheRowsBeforeTheDamage) {
    for (const char* name : {"std-rgb-24bit-37x9", "rle-grey-8bit-38x6", "std-palette-8bit-37x5"}) {
        SCOPED_TRACE(name);
        std::vector<unsigned char> bytes = tarntest::read_file(kDir + "/" + name + ".ras");
        // Keep the header, the map and two thirds of the pixel data.
        size_t map = size_t(bytes[28]) << 24 | bytes[29] << 16 | bytes[30] << 8 | bytes[31];
        bytes.resize(32 + map + (bytes.size() - 32 - map) * 2 / 3);
        tarntest::TempDir dir;
        dir.write("cut.ras", bytes);
        Host host(dir.path(), "cut.ras");
        ASSERT_NE(host.image(), nullptr);
        EXPECT_TRUE(matches(host.read(), reference(name), 0, 0, 1, 1));  // the first row is whole in each
    }
}

// A Sun palette smaller than the pixel range: values past it take its last colour.
TEST(HostGetData, PixelsPastASmallPaletteTakeItsLastColour) {
    tarntest::TempDir dir;
    dir.write("small.ras", tarntest::sun_raster(4, 2, 8, 1, {0, 3, 4, 200, 255, 1, 2, 9}, 1,
                                                {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120}));
    Host host(dir.path(), "small.ras");
    ASSERT_NE(host.image(), nullptr);
    const std::vector<unsigned char> first = {10, 50, 90, 255}, second = {20, 60, 100, 255},
                                     third = {30, 70, 110, 255}, last = {40, 80, 120, 255};
    std::vector<unsigned char> want;
    for (const auto* pixel : {&first, &last, &last, &last, &last, &second, &third, &last})
        want.insert(want.end(), pixel->begin(), pixel->end());
    EXPECT_EQ(host.read().rgba, want);
}

}  // namespace
