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

struct Block {
    long x = -1, y = -1, width = -1, height = -1;
    std::vector<unsigned char> rgba;
    bool null = true;
};

// One manager over one file of the fixture folder.
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
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
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

// Compares a block with the reference pixels (x0 + col * step, y0 + row * step),
// step being a fraction for enlargements.
::testing::AssertionResult matches(const Block& block, const tarntest::Pnm& ref, double x0,
                                   double y0, double step) {
    for (long r = 0; r < block.height; ++r)
        for (long c = 0; c < block.width; ++c) {
            unsigned char want[4];
            ref.rgba(static_cast<int>(x0 + c * step), static_cast<int>(y0 + r * step), want);
            const unsigned char* got = &block.rgba[(static_cast<size_t>(r) * block.width + c) * 4];
            if (std::memcmp(got, want, 4) != 0)
                return ::testing::AssertionFailure()
                       << "pixel (" << c << ", " << r << "): got " << int(got[0]) << ","
                       << int(got[1]) << "," << int(got[2]) << "," << int(got[3]) << " want "
                       << int(want[0]) << "," << int(want[1]) << "," << int(want[2]) << ","
                       << int(want[3]);
        }
    return ::testing::AssertionSuccess();
}

TEST(HostGetData, WholeImageEqualsNetpbmDecode) {
    for (const char* name :
         {"std-bw-1bit-13x7", "rle-bw-1bit-13x7", "std-bw-1bit-37x5", "rle-bw-1bit-37x5",
          "std-bw-1bit-70x6", "rle-bw-1bit-70x6", "std-grey-8bit-13x7", "rle-grey-8bit-13x7",
          "std-grey-8bit-38x6", "rle-grey-8bit-38x6", "std-grey-8bit-nomap-13x7",
          "std-palette-8bit-13x7", "rle-palette-8bit-13x7", "std-palette-8bit-37x5",
          "rle-palette-8bit-37x5", "std-rgb-24bit-29x15", "rle-rgb-24bit-29x15",
          "std-rgb-24bit-37x9", "rle-rgb-24bit-37x9", "std-rgb-32bit-13x7",
          "rle-rgb-32bit-13x7"}) {
        SCOPED_TRACE(name);
        tarntest::Pnm ref = tarntest::read_pnm(kDir + "/" + name + ".pnm");
        ASSERT_GT(ref.width, 0);
        Host host(kDir, std::string(name) + ".ras");
        ASSERT_NE(host.image(), nullptr);
        Block block = host.read();
        ASSERT_FALSE(block.null);
        EXPECT_EQ(block.x, 0);
        EXPECT_EQ(block.y, 0);
        ASSERT_EQ(block.width, ref.width);
        ASSERT_EQ(block.height, ref.height);
        ASSERT_EQ(block.rgba.size(), static_cast<size_t>(ref.width) * ref.height * 4);
        EXPECT_TRUE(matches(block, ref, 0, 0, 1));
    }
}

TEST(HostGetData, ClipAtScalesOneTwoAndOneHalf) {
    const std::string name = "std-rgb-24bit-29x15";
    tarntest::Pnm ref = tarntest::read_pnm(kDir + "/" + name + ".pnm");
    Host host(kDir, name + ".ras");
    ASSERT_NE(host.image(), nullptr);
    host.image()->setClipRect(3, 4, 10, 10);

    Block one = host.read();
    ASSERT_FALSE(one.null);
    EXPECT_EQ(one.width, 10);
    EXPECT_EQ(one.height, 10);
    EXPECT_TRUE(matches(one, ref, 3, 4, 1));

    host.image()->setScale(2.0);
    Block two = host.read();
    ASSERT_FALSE(two.null);
    EXPECT_EQ(two.x, 1);  // the clip's origin divided by the scale
    EXPECT_EQ(two.y, 2);
    EXPECT_EQ(two.width, 5);
    EXPECT_EQ(two.height, 5);
    EXPECT_TRUE(matches(two, ref, 3, 4, 2));  // rows 4, 6, 8, 10, 12; columns 3, 5, ...

    host.image()->setScale(0.5);
    Block half = host.read();
    ASSERT_FALSE(half.null);
    EXPECT_EQ(half.width, 20);
    EXPECT_EQ(half.height, 20);
    EXPECT_TRUE(matches(half, ref, 3, 4, 0.5));  // every row and column twice
}

TEST(HostGetData, EmptyClipRepeatedReadsAndHasMore) {
    const std::string name = "rle-palette-8bit-37x5";
    Host host(kDir, name + ".ras");
    ASSERT_NE(host.image(), nullptr);
    IInternalImage* image = host.image();
    EXPECT_EQ(image->hasMore(), 1);
    Block first = host.read();
    Block second = host.read();
    ASSERT_FALSE(first.null);
    ASSERT_FALSE(second.null);
    EXPECT_EQ(first.rgba, second.rgba);
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

TEST(HostGetData, TheRGBStreamIsTheImage) {
    const std::string name = "std-grey-8bit-13x7";
    Host host(kDir, name + ".ras");
    ASSERT_NE(host.image(), nullptr);
    IInternalRStream* stream = host.image()->getRGBStream();
    ASSERT_NE(stream, nullptr);
    long x, y, w, h;
    DirectMemoryHolder* block = stream->getData(&x, &y, &w, &h);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->length(), 13L * 7 * 4);
    EXPECT_EQ(block->getType(), 7);
    block->release();
    stream->release();
}

TEST(HostGetData, TruncatedFileKeepsTheRowsBeforeTheDamage) {
    for (const char* name : {"std-rgb-24bit-37x9", "rle-grey-8bit-38x6", "std-palette-8bit-37x5"}) {
        SCOPED_TRACE(name);
        tarntest::Pnm ref = tarntest::read_pnm(kDir + "/" + std::string(name) + ".pnm");
        std::vector<unsigned char> bytes = tarntest::read_file(kDir + "/" + name + ".ras");
        tarntest::TempDir dir;
        // Keep the header, the map and two thirds of the pixel data.
        size_t map = (size_t(bytes[28]) << 24) | (size_t(bytes[29]) << 16) |
                     (size_t(bytes[30]) << 8) | bytes[31];
        size_t keep = 32 + map + (bytes.size() - 32 - map) * 2 / 3;
        dir.write("cut.ras", std::vector<unsigned char>(bytes.begin(), bytes.begin() + keep));
        Host host(dir.path(), "cut.ras");
        ASSERT_NE(host.image(), nullptr);
        Block block = host.read();
        ASSERT_FALSE(block.null);
        ASSERT_EQ(block.width, ref.width);
        // The first row is whole in every cut above.
        Block first_row = block;
        first_row.height = 1;
        EXPECT_TRUE(matches(first_row, ref, 0, 0, 1));
    }
}

}  // namespace
