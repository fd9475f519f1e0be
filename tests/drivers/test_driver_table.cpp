// A format that exists only in this test, added as a driver file and one row
// of the driver table, reaches every part of the library: identification,
// naming, properties, the channel and the objects' getData. No core file knows
// of it.
//
//   offset  field    use
//   0       magic    "TGRY"
//   4       width    u16 little-endian
//   6       height   u16 little-endian
//   8       pixels   width * height bytes of grey, top row first

#include <gtest/gtest.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "channel/identify.h"
#include "drivers/driver.h"
#include "platform/byteorder.h"
#include "test_support.h"
#include <tarnimage/channel.h>
#include <tarnimage/naming.h>
#include <tarnimage/properties.h>
#include <tarnimage/tarn_file.h>
#include <tarnimage/tarnimage.h>

namespace {

constexpr int kTestType = 50;

bool read_header(FILE* file, int* width, int* height) {
    uint8_t head[8];
    if (!file || tarn_fseek(file, 0, SEEK_SET) != 0) return false;
    if (tarn_fread(head, 1, sizeof head, file) != sizeof head) return false;
    if (memcmp(head, "TGRY", 4) != 0) return false;
    *width = read_le16(head + 4);
    *height = read_le16(head + 6);
    return *width > 0 && *height > 0;
}

int check_grey(FILE* file) {
    int width, height;
    return read_header(file, &width, &height);
}

int grey_row(Image* image, int row) {
    long offset = 8L + static_cast<long>(row) * image->columns + image->first_col;
    if (tarn_fseek(image->file, offset, SEEK_SET) != 0) return -1;
    size_t count = static_cast<size_t>(image->win_cols);
    if (tarn_fread(image->file_buffer, 1, count, image->file) != count) return -1;
    image->row8 = image->file_buffer;
    return 0;
}

int open_grey(Image* image, const char* name, int, int, int, char*, char*) {
    image->type = kTestType;
    image->file = tarn_fopen(name, "r");
    int width, height;
    if (!read_header(image->file, &width, &height)) return -1;
    image->columns = image->row_bytes = width;
    image->rows = height;
    image->depth = 8;
    image->nbands = 1;
    image->file_buffer = static_cast<uint8_t*>(calloc(static_cast<size_t>(width), 1));
    image->get_row = grey_row;
    return image->file_buffer ? 1 : -1;
}

int grey_info(int, const char* name, int* rows, int* columns, int* bands, int* depth) {
    FILE* file = tarn_fopen(name, "r");
    bool ok = read_header(file, columns, rows);
    if (file) tarn_fclose(file);
    *bands = 1;
    *depth = 8;
    return ok ? 1 : -1;
}

int extend_grey(const std::string& stem, std::string& candidate);

// The row is everything the core learns of the format; the probe, the open
// and the property reader above are the driver.
const ImageDriver driver_TESTGREY = {
    .type = kTestType, .keyword = "TESTGREY", .flags = DRIVER_NAMED_BY_SUFFIX,
    .suffixes = {".tgr"}, .check = check_grey, .extend_and_check = extend_grey,
    .open = open_grey, .get_info = grey_info,
};

int extend_grey(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_TESTGREY, stem, candidate);
}

// The library's table with the test row added, for the life of the test, and
// a 5 x 3 image whose pixel (x, y) is 10 * y + x under two names.
TEST(TestDriverTable, ANewRowIsIdentifiedNamedReadAndShownByTheObjects) {
    size_t count = 0;
    const ImageDriver* const* library = image_drivers(&count);
    std::vector<const ImageDriver*> rows(library, library + count);
    rows.push_back(&driver_TESTGREY);
    set_image_drivers(rows.data(), rows.size());
    struct Restore { ~Restore() { set_image_drivers(nullptr, 0); } } restore;
    tarntest::TempDir dir;
    std::vector<unsigned char> bytes = {'T', 'G', 'R', 'Y', 5, 0, 3, 0};
    for (int v : {0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 20, 21, 22, 23, 24}) bytes.push_back(static_cast<unsigned char>(v));
    std::string by_suffix = dir.write("a.tgr", bytes), by_content = dir.write("b", bytes);

    char resolved[TARN_PATH_MAX];
    int type = -1;
    EXPECT_EQ(get_image_type_from_name(by_suffix.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, kTestType);
    EXPECT_EQ(get_image_type_from_name(by_content.c_str(), resolved, &type), 1);
    EXPECT_EQ(type, kTestType);
    EXPECT_EQ(get_image_type_from_name(dir.file("a").c_str(), resolved, &type), 1);
    EXPECT_EQ(std::string(resolved), by_suffix);

    char keyword[32] = "";
    EXPECT_EQ(keyword_from_type(keyword, kTestType), 1);
    EXPECT_STREQ(keyword, "TESTGREY");
    EXPECT_EQ(type_from_keyword("testg", &type), kTestType);
    EXPECT_EQ(get_type_from_extension("TGR"), kTestType);
    EXPECT_EQ(suffname("x.tgr"), 1);

    int info[4] = {0, 0, 0, 0};
    EXPECT_EQ(get_image_info(kTestType, by_suffix.c_str(), &info[0], &info[1], &info[2], &info[3]), 1);
    EXPECT_EQ(std::vector<int>(info, info + 4), std::vector<int>({3, 5, 1, 8}));

    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    ASSERT_EQ(open_image_channel(image, by_suffix.c_str(), 'r', kTestType, 1), 1);
    uint32_t row[5];
    ASSERT_EQ(get_image_row(image, 2, row, 5), 1);
    EXPECT_EQ(std::vector<uint32_t>(row, row + 5), std::vector<uint32_t>({20, 21, 22, 23, 24}));
    EXPECT_EQ(close_image_channel(image, 'r'), 1);

    // The objects list it from its directory; grey without a colour map is shown as it is.
    remove(by_content.c_str());
    IInternalImageManager* manager = getManager();
    ASSERT_TRUE(manager->connect(CTarnUString(dir.path().c_str()), CTarnUString("")));
    ASSERT_EQ(manager->getImageCount(), 1);
    IInternalImage* object = manager->getImage(0);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->getType(), kTestType);
    EXPECT_EQ(object->getWidth() * 10 + object->getHeight(), 53);
    object->setClipRect(1, 1, 4, 2);
    long x, y, width, height;
    DirectMemoryHolder* block = object->getData(&x, &y, &width, &height);
    ASSERT_NE(block, nullptr);
    ASSERT_EQ(width * height, 8);
    const unsigned char want[4] = {24, 24, 24, 255};
    EXPECT_EQ(memcmp(static_cast<const unsigned char*>(block->data()) + 4 * 7, want, 4), 0);
    block->release();
    object->release();
    manager->release();
}

}  // namespace
