// The message handler as a host uses it: broken Sun rasters get their reason,
// a short read its count of unread rows, and without a handler every result
// is what it is with one.

#include <gtest/gtest.h>
#include <tarnimage/tarnimage.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "test_support.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Messages = std::vector<std::pair<int, std::string>>;

void listen(int level, const char* text, void* user) {
    static_cast<Messages*>(user)->emplace_back(level, text);
}

Bytes fixture(const std::string& name, size_t keep = SIZE_MAX) {
    Bytes bytes = tarntest::read_file(tarntest::data_path("sunraster/" + name));
    bytes.resize(std::min(keep, bytes.size()));
    return bytes;
}

// Sets one big-endian header word of a Sun raster.
Bytes with_word(Bytes bytes, int word, int value) {
    for (int k = 0; k < 4; ++k) bytes[word * 4 + k] = static_cast<unsigned char>(value >> (24 - 8 * k));
    return bytes;
}

struct Read {
    bool admitted = false, block = false;
    long rect[4] = {-1, -1, -1, -1};
    Bytes pixels;
    Messages heard;
    bool same_result(const Read& o) const {
        return admitted == o.admitted && block == o.block && pixels == o.pixels &&
               std::equal(rect, rect + 4, o.rect);
    }
};

// Connects to one file and, when `read`, reads it whole (with null rectangle
// pointers unless `rect`). Messages are heard from the connect on when `from`
// is 'c', from the read on when 'r', not at all otherwise.
Read open_and_read(const std::string& dir, const std::string& file, char from, bool read = true,
                   bool rect = true) {
    Read r;
    if (from == 'c') tarn_set_message_handler(listen, &r.heard);
    IInternalImageManager* manager = getManager();
    manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
    IInternalImage* image = read ? manager->getImage(0) : nullptr;
    if (image) {
        r.admitted = true;
        if (from == 'r') tarn_set_message_handler(listen, &r.heard);
        long* p = rect ? r.rect : nullptr;
        DirectMemoryHolder* block = image->getData(p, p ? p + 1 : p, p ? p + 2 : p, p ? p + 3 : p);
        if (block) {
            r.block = true;
            const unsigned char* data = static_cast<const unsigned char*>(block->data());
            if (data) r.pixels.assign(data, data + block->length());
            block->release();
        }
        image->release();
    }
    tarn_set_message_handler(nullptr, nullptr);
    manager->release();
    return r;
}

struct Broken {
    const char* name;
    Bytes bytes;
    int level;
    const char* reason;
};

std::vector<Broken> broken_files() {
    const Bytes rgb = fixture("std-rgb-24bit-29x15.ras"), grey = fixture("std-grey-8bit-13x7.ras");
    const Bytes eight(8, 0x55);
    const int error = TARN_MESSAGE_ERROR;
    return {
        {"cut-after-header.ras", fixture("std-rgb-24bit-29x15.ras", 32), error,
         "Sun raster ends after its 32-byte header: no rows"},
        {"cut-in-header.ras", fixture("std-rgb-24bit-29x15.ras", 20), error,
         "Sun raster is shorter than its 32-byte header (20 bytes)"},
        {"four-bit.ras", tarntest::sun_raster(8, 2, 4, 1, eight), error,
         "Sun raster header gives 4 bits per pixel; only 1, 8, 16, 24 and 32 are read"},
        {"type-three.ras", with_word(rgb, 5, 3), error, "Sun raster of type 3 (RGB order) has no row reader"},
        {"type-five.ras", with_word(grey, 5, 5), error, "Sun raster of type 5 has no row reader"},
        {"raw-map.ras", with_word(grey, 6, 2), error, "Sun raster with a colour map of type 2 (raw) is not read"},
        {"rgb-with-map.ras", tarntest::sun_raster(2, 2, 24, 1, Bytes(12, 7), 1, Bytes(6, 1)), error,
         "Sun raster of 24 bits per pixel with a colour map is not read"},
        {"map-past-end.ras", tarntest::sun_raster(4, 2, 8, 1, eight, 1, {}, 8, 900), error,
         "Sun raster header gives a colour map of 900 bytes past the end of the file (40 bytes)"},
        {"wide.ras", tarntest::sun_raster(1000, 2, 8, 0, Bytes(10, 0)), error,
         "Sun raster header gives sizes past the end of the file (42 bytes)"},
        {"no-width.ras", tarntest::sun_raster(0, 2, 8, 0, eight), error,
         "Sun raster header gives a width of 0, a height of 2 and a depth of 8; none may be below 1"},
        {"huge.ras", tarntest::sun_raster(100000, 100000, 32, 0, eight), error,
         "Sun raster header gives 100000 x 100000 pixels at 32 bits, a size the library will not allocate"},
        {"empty.ras", {}, TARN_MESSAGE_INFORMATION, "not an image of any known kind"},
        {"x.ras", Bytes{'h', 'e', 'l', 'l', 'o', '\n'}, TARN_MESSAGE_INFORMATION,
         "not an image of any known kind"},
    };
}

TEST(HostMessages, EachBrokenFileGetsOneReasonNamingIt) {
    tarntest::TempDir dir;
    for (const Broken& file : broken_files()) {
        SCOPED_TRACE(file.name);
        dir.write(file.name, file.bytes);
        Messages heard = open_and_read(dir.path(), file.name, 'c', false).heard;
        EXPECT_EQ(heard, (Messages{{file.level, dir.file(file.name) + ": " + file.reason}}));
    }
    // A handler set to null hears nothing more, whatever its user pointer.
    Messages heard;
    tarn_set_message_handler(listen, &heard);
    tarn_set_message_handler(nullptr, &heard);
    open_and_read(dir.path(), "x.ras", 0, false);
    EXPECT_TRUE(heard.empty());
}

TEST(HostMessages, AWholeFileSaysNothing) {
    for (const std::string& name : tarntest::sun_fixtures()) {
        Read r = open_and_read(tarntest::data_path("sunraster"), name + ".ras", 'c', true, false);
        EXPECT_TRUE(r.block) << name;
        EXPECT_EQ(r.heard, Messages()) << name;
    }
}

TEST(HostMessages, AShortReadCountsItsUnreadRows) {
    // Rows are 88 bytes (29 pixels of 3 bytes, padded to even); the 668 bytes
    // after the header hold 7 of the 15.
    const Bytes four_bit = tarntest::sun_raster(8, 2, 4, 1, Bytes(8, 0x55));
    const struct { const char* name; Bytes bytes; char from; Messages heard; } cases[] = {
        {"half.ras", fixture("std-rgb-24bit-29x15.ras", 700), 'r',
         {{TARN_MESSAGE_WARNING, "8 of 15 rows could not be read"}}},
        {"type-three.ras", with_word(fixture("std-rgb-24bit-29x15.ras"), 5, 3), 'r',
         {{TARN_MESSAGE_WARNING, "15 of 15 rows could not be read"}}},
        // A host that starts listening only for the read hears the open's own words...
        {"four-bit.ras", four_bit, 'r', {{TARN_MESSAGE_ERROR, "SUNRASTER 4-Bit data not supported"}}},
        // ...and one that listened from the admission hears the reason once.
        {"four-bit.ras", four_bit, 'c',
         {{TARN_MESSAGE_ERROR, "Sun raster header gives 4 bits per pixel; only 1, 8, 16, 24 and 32 are read"}}},
    };
    tarntest::TempDir dir;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.name) + " from " + c.from);
        dir.write(c.name, c.bytes);
        Read r = open_and_read(dir.path(), c.name, c.from);
        EXPECT_TRUE(r.admitted);
        Messages want = c.heard;
        for (auto& m : want) m.second = dir.file(c.name) + ": " + m.second;
        EXPECT_EQ(r.heard, want);
    }
}

TEST(HostMessages, AHandlerChangesNoResult) {
    tarntest::TempDir dir;
    std::vector<std::string> names = {"half.ras", "whole.ras"};
    dir.write("half.ras", fixture("std-rgb-24bit-29x15.ras", 700));
    dir.copy_in(tarntest::data_path("sunraster/rle-rgb-24bit-37x9.ras"), "whole.ras");
    for (const Broken& file : broken_files()) {
        dir.write(file.name, file.bytes);
        names.push_back(file.name);
    }
    for (const std::string& name : names)
        EXPECT_TRUE(open_and_read(dir.path(), name, 'c').same_result(open_and_read(dir.path(), name, 0))) << name;
}

}  // namespace
