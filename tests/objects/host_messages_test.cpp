// The message handler as a host uses it: broken Sun rasters get their reason,
// a short read its count of unread rows, and without a handler every result
// is what it is with one.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Heard {
    std::vector<std::pair<int, std::string>> messages;
};

void listen(int level, const char* text, void* user) {
    static_cast<Heard*>(user)->messages.emplace_back(level, text);
}

// Installs the handler for one test and takes it away again.
class Listening {
public:
    Listening() { tarn_set_message_handler(listen, &heard); }
    ~Listening() { tarn_set_message_handler(nullptr, nullptr); }
    Heard heard;
};

Bytes fixture(const std::string& name) {
    return tarntest::read_file(tarntest::data_path("sunraster/" + name));
}

Bytes first_bytes(Bytes bytes, size_t count) {
    bytes.resize(count);
    return bytes;
}

// Sets one big-endian header word of a Sun raster.
Bytes with_word(Bytes bytes, int word, int value) {
    for (int k = 0; k < 4; ++k) bytes[word * 4 + k] = static_cast<unsigned char>(value >> (24 - 8 * k));
    return bytes;
}

struct Broken {
    const char* name;
    Bytes bytes;
    int level;
    const char* reason;
};

std::vector<Broken> broken_files() {
    const Bytes rgb = fixture("std-rgb-24bit-29x15.ras");
    const Bytes grey = fixture("std-grey-8bit-13x7.ras");
    const Bytes eight(8, 0x55);
    return {
        {"cut-after-header.ras", first_bytes(rgb, 32), TARN_MESSAGE_ERROR,
         "Sun raster ends after its 32-byte header: no rows"},
        {"cut-in-header.ras", first_bytes(rgb, 20), TARN_MESSAGE_ERROR,
         "Sun raster is shorter than its 32-byte header (20 bytes)"},
        {"four-bit.ras", tarntest::sun_raster(8, 2, 4, 1, eight), TARN_MESSAGE_ERROR,
         "Sun raster header gives 4 bits per pixel; only 1, 8, 16, 24 and 32 are read"},
        {"type-three.ras", with_word(rgb, 5, 3), TARN_MESSAGE_ERROR,
         "Sun raster of type 3 (RGB order) has no row reader"},
        {"type-five.ras", with_word(grey, 5, 5), TARN_MESSAGE_ERROR,
         "Sun raster of type 5 has no row reader"},
        {"raw-map.ras", with_word(grey, 6, 2), TARN_MESSAGE_ERROR,
         "Sun raster with a colour map of type 2 (raw) is not read"},
        {"rgb-with-map.ras", tarntest::sun_raster(2, 2, 24, 1, Bytes(12, 7), 1, Bytes(6, 1)),
         TARN_MESSAGE_ERROR, "Sun raster of 24 bits per pixel with a colour map is not read"},
        {"map-past-end.ras", tarntest::sun_raster(4, 2, 8, 1, eight, 1, {}, 8, 900),
         TARN_MESSAGE_ERROR,
         "Sun raster header gives a colour map of 900 bytes past the end of the file (40 bytes)"},
        {"wide.ras", tarntest::sun_raster(1000, 2, 8, 0, Bytes(10, 0)), TARN_MESSAGE_ERROR,
         "Sun raster header gives sizes past the end of the file (42 bytes)"},
        {"no-width.ras", tarntest::sun_raster(0, 2, 8, 0, eight), TARN_MESSAGE_ERROR,
         "Sun raster header gives a width of 0, a height of 2 and a depth of 8; none may be "
         "below 1"},
        {"huge.ras", tarntest::sun_raster(100000, 100000, 32, 0, eight), TARN_MESSAGE_ERROR,
         "Sun raster header gives 100000 x 100000 pixels at 32 bits, a size the library will "
         "not allocate"},
        {"empty.ras", {}, TARN_MESSAGE_INFORMATION, "not an image of any known kind"},
        {"x.ras", Bytes{'h', 'e', 'l', 'l', 'o', '\n'}, TARN_MESSAGE_INFORMATION,
         "not an image of any known kind"},
    };
}

std::vector<std::pair<int, std::string>> messages_of_connect(const std::string& dir,
                                                             const std::string& file) {
    Listening listening;
    IInternalImageManager* manager = getManager();
    manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
    manager->release();
    return listening.heard.messages;
}

TEST(HostMessages, EachBrokenFileGetsOneReasonNamingIt) {
    tarntest::TempDir dir;
    for (const Broken& file : broken_files()) {
        SCOPED_TRACE(file.name);
        dir.write(file.name, file.bytes);
        auto heard = messages_of_connect(dir.path(), file.name);
        ASSERT_EQ(heard.size(), 1u);
        EXPECT_EQ(heard[0].first, file.level);
        EXPECT_EQ(heard[0].second, dir.file(file.name) + ": " + file.reason);
    }
}

TEST(HostMessages, AWholeFileSaysNothing) {
    for (const std::string& name : tarntest::sun_fixtures()) {
        SCOPED_TRACE(name);
        Listening listening;
        IInternalImageManager* manager = getManager();
        manager->connect(CTarnUString(tarntest::data_path("sunraster").c_str()),
                         CTarnUString((name + ".ras").c_str()));
        IInternalImage* image = manager->getImage(0);
        EXPECT_NE(image, nullptr);
        if (image) {
            DirectMemoryHolder* block = image->getData(nullptr, nullptr, nullptr, nullptr);
            EXPECT_NE(block, nullptr);
            if (block) block->release();
            image->release();
        }
        manager->release();
        EXPECT_TRUE(listening.heard.messages.empty()) << listening.heard.messages[0].second;
    }
}

struct Read {
    bool admitted = false;
    bool block = false;
    long x = -1, y = -1, w = -1, h = -1;
    Bytes pixels;
};

Read read_whole(const std::string& dir, const std::string& file) {
    Read read;
    IInternalImageManager* manager = getManager();
    manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
    IInternalImage* image = manager->getImage(0);
    if (image) {
        read.admitted = true;
        DirectMemoryHolder* block = image->getData(&read.x, &read.y, &read.w, &read.h);
        if (block) {
            read.block = true;
            const unsigned char* data = static_cast<const unsigned char*>(block->data());
            if (data) read.pixels.assign(data, data + block->length());
            block->release();
        }
        image->release();
    }
    manager->release();
    return read;
}

// Rows are 88 bytes (29 pixels of 3 bytes, padded to even); the 668 bytes
// after the header hold 7 of the 15.
Bytes cut_in_half() { return first_bytes(fixture("std-rgb-24bit-29x15.ras"), 700); }

TEST(HostMessages, AShortReadCountsItsUnreadRows) {
    struct Case {
        const char* name;
        Bytes bytes;
        bool listen_from_connect;
        std::vector<std::pair<int, std::string>> heard;
    };
    const Bytes four_bit = tarntest::sun_raster(8, 2, 4, 1, Bytes(8, 0x55));
    const std::vector<Case> cases = {
        {"half.ras", cut_in_half(), false, {{TARN_MESSAGE_WARNING, "8 of 15 rows could not be read"}}},
        {"type-three.ras", with_word(fixture("std-rgb-24bit-29x15.ras"), 5, 3), false,
         {{TARN_MESSAGE_WARNING, "15 of 15 rows could not be read"}}},
        // A host that starts listening only for the read hears the open's own words...
        {"four-bit.ras", four_bit, false, {{TARN_MESSAGE_ERROR, "SUNRASTER 4-Bit data not supported"}}},
        // ...and one that listened from the admission hears the reason once.
        {"four-bit.ras", four_bit, true,
         {{TARN_MESSAGE_ERROR,
           "Sun raster header gives 4 bits per pixel; only 1, 8, 16, 24 and 32 are read"}}},
    };
    tarntest::TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + (c.listen_from_connect ? ", from the connect" : ""));
        dir.write(c.name, c.bytes);
        Heard heard;
        if (c.listen_from_connect) tarn_set_message_handler(listen, &heard);
        IInternalImageManager* manager = getManager();
        manager->connect(CTarnUString(dir.path().c_str()), CTarnUString(c.name));
        IInternalImage* image = manager->getImage(0);
        EXPECT_NE(image, nullptr);
        if (image) {
            tarn_set_message_handler(listen, &heard);
            long x, y, w, h;
            DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
            if (block) block->release();
            image->release();
        }
        tarn_set_message_handler(nullptr, nullptr);
        manager->release();
        EXPECT_EQ(heard.messages.size(), c.heard.size());
        for (size_t i = 0; i < c.heard.size() && i < heard.messages.size(); ++i) {
            EXPECT_EQ(heard.messages[i].first, c.heard[i].first);
            EXPECT_EQ(heard.messages[i].second, dir.file(c.name) + ": " + c.heard[i].second);
        }
    }
}

TEST(HostMessages, AHandlerChangesNoResult) {
    tarntest::TempDir dir;
    std::vector<std::string> names;
    for (const Broken& file : broken_files()) {
        dir.write(file.name, file.bytes);
        names.push_back(file.name);
    }
    dir.write("half.ras", cut_in_half());
    names.push_back("half.ras");
    dir.copy_in(tarntest::data_path("sunraster/rle-rgb-24bit-37x9.ras"), "whole.ras");
    names.push_back("whole.ras");
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        Read quiet = read_whole(dir.path(), name);
        Read heard;
        {
            Listening listening;
            heard = read_whole(dir.path(), name);
        }
        EXPECT_EQ(heard.admitted, quiet.admitted);
        EXPECT_EQ(heard.block, quiet.block);
        EXPECT_EQ(heard.x, quiet.x);
        EXPECT_EQ(heard.y, quiet.y);
        EXPECT_EQ(heard.w, quiet.w);
        EXPECT_EQ(heard.h, quiet.h);
        EXPECT_EQ(heard.pixels, quiet.pixels);
    }
}

TEST(HostMessages, ARemovedHandlerHearsNothingMore) {
    tarntest::TempDir dir;
    dir.write("x.ras", "not an image\n");
    Heard heard;
    tarn_set_message_handler(listen, &heard);
    tarn_set_message_handler(nullptr, &heard);
    IInternalImageManager* manager = getManager();
    manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("x.ras"));
    manager->release();
    EXPECT_TRUE(heard.messages.empty());
}

}  // namespace
