// Band streams through the host interface: one stream per band asked for, the
// raw sample at a point against netpbm's decode, and an image released before
// its streams.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <string>
#include <vector>

#include "test_support.h"

namespace {

struct Connected {
    explicit Connected(const std::string& file, const std::string& as = "image.ras",
                       const std::vector<std::string>& beside = {}) {
        dir.copy_in(file, as);
        for (const std::string& side : beside)
            dir.copy_in(file.substr(0, file.rfind('.')) + side, as.substr(0, as.rfind('.')) + side);
        manager = getManager();
        EXPECT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString(as.c_str())));
        image = manager->getImage(0);
    }
    ~Connected() {
        if (image) image->release();
        manager->release();
    }
    tarntest::TempDir dir;
    IInternalImageManager* manager;
    IInternalImage* image;
};

// The sample a stream gives for a 1 x 1 block at (x, y), or -1 for no block.
long sample_at(IInternalRStream* stream, long x, long y, int bytes) {
    long w = 1, h = 1;
    DirectMemoryHolder* block = stream->getData(&x, &y, &w, &h);
    if (!block) return -1;
    const unsigned char* p = static_cast<const unsigned char*>(block->data());
    long value = bytes == 1 ? p[0] : p[0] | p[1] << 8;
    block->release();
    return value;
}

TEST(BandStreams, OneStreamPerBandWithTheFilesSamples) {
    const std::string name = "std-rgb-24bit-29x15";
    Connected c(tarntest::data_path("sunraster/" + name + ".ras"));
    ASSERT_NE(c.image, nullptr);
    tarntest::Pnm ref = tarntest::read_pnm(tarntest::data_path("sunraster/" + name + ".pnm"));
    c.image->setClipRect(0, 0, 1, 1);
    int bands[] = {1, 2, 3, 3};
    IInternalRStreamCollection* streams = c.image->getStreams(bands, 4);
    ASSERT_NE(streams, nullptr);
    EXPECT_EQ(streams->getCount(), 3);
    EXPECT_EQ(streams->getBandNumber(-1), -1);
    EXPECT_EQ(streams->get(3), nullptr);
    // The host may let the image go first and still read through the streams.
    c.image->release();
    c.image = nullptr;
    for (long i = 0; i < 3; ++i) {
        EXPECT_EQ(streams->getBandNumber(i), i + 1);
        IInternalRStream* stream = streams->get(i);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(stream->getPixelDepth(), 3);
        EXPECT_EQ(stream->setFetchMode(1), 0);
        for (const auto& p : {std::pair<int, int>{0, 0}, {28, 0}, {5, 7}, {28, 14}}) {
            EXPECT_EQ(sample_at(stream, p.first, p.second, 1), ref.at(p.first, p.second, i))
                << "band " << i + 1 << " at " << p.first << "," << p.second;
        }
        EXPECT_EQ(stream->hasMore(), 0);
        stream->reset();
        EXPECT_EQ(stream->hasMore(), 1);
        stream->release();
    }
    streams->release();
}

TEST(BandStreams, SixteenBitSamplesComeAsStored) {
    // A 3 x 2 grey raster of big-endian words after the 32-byte header.
    std::string path = tarntest::data_path("../../fuzz/corpus/sunraster/std-grey-16bit-3x2.ras");
    std::vector<unsigned char> bytes = tarntest::read_file(path);
    ASSERT_GE(bytes.size(), 32u + 12u);
    Connected c(path);
    ASSERT_NE(c.image, nullptr);
    c.image->setClipRect(0, 0, 1, 1);
    int band = 1;
    IInternalRStreamCollection* streams = c.image->getStreams(&band, 1);
    IInternalRStream* stream = streams->get(0);
    EXPECT_EQ(stream->getPixelDepth(), 5);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) {
            size_t at = 32 + (static_cast<size_t>(y) * 3 + x) * 2;
            EXPECT_EQ(sample_at(stream, x, y, 2), bytes[at] << 8 | bytes[at + 1]) << x << "," << y;
        }
    stream->release();
    streams->release();
}

TEST(BandStreams, DepthCodesFollowTheSampleSize) {
    const struct { const char* file; long code; } cases[] = {
        {"standard/grey8-7x5.bil", 3}, {"standard/u16-2band-8x5.bil", 5}, {"standard/i32-2band-6x4.bil", 7}};
    for (const auto& c : cases) {
        Connected connected(tarntest::data_path(c.file), "image.bil", {".hdr"});
        ASSERT_NE(connected.image, nullptr) << c.file;
        int band = 1;
        IInternalRStreamCollection* streams = connected.image->getStreams(&band, 1);
        IInternalRStream* stream = streams->get(0);
        EXPECT_EQ(stream->getPixelDepth(), c.code) << c.file;
        stream->release();
        streams->release();
    }
}

}  // namespace
