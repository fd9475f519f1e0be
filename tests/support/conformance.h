#ifndef TARN_TEST_CONFORMANCE_H
#define TARN_TEST_CONFORMANCE_H

/* The checks every format driver passes. A driver's test describes its files
 * in a DriverSuite (fixtures with an independent reader's decode, broken files
 * with the result each gives, windows, shared samples, its fuzz entry) and
 * TARN_DRIVER_CONFORMANCE makes one test per check. Each check ends with as
 * many open descriptors as it began with. */

#include <gtest/gtest.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <utility>
#include <vector>

#include <tarnimage/image.h>

namespace tarntest {

using Bytes = std::vector<unsigned char>;

/* Type of a suite whose files are found by identification: registered drivers. */
constexpr int kByIdentification = 0;
constexpr int kUnchecked = -1000;

/* A file decoded by an independent reader into `reference`, a PBM, PGM or PPM
 * under tests/data. With a palette (`colours` > 0) the driver's values are
 * indices whose colours are the reference's; otherwise they are its samples
 * (for a PBM, 1 is black). */
struct DriverFixture {
    std::string file, reference;  // under tests/data
    int width, height, bands, depth;
    int colours = 0;  // what image_colors answers
    int multi = -1;   // what multi_image_open answers for bands 1, 2, 3
    std::vector<std::string> companions;  // files beside it that the driver reads too
};

/* A one-band open read through a window, rows first_row, first_row + step, ... */
struct Window {
    std::string file;
    int band, first_col, last_col, first_row, step;
};

/* A damaged file: what the property queries, the channel open, and
 * get_image_row for each row in order answer. */
struct BrokenFile {
    std::string what;
    Bytes bytes;
    int info, open;
    std::vector<int> rows;
    int identified = kUnchecked;  // type the content is identified as
    /* Side files written beside it, named "broken" plus the suffix given. */
    std::vector<std::pair<std::string, std::string>> beside = {};
};

/* A file of the shared sample folder, with the FNV-1a hash of an independent
 * decode over all rows, pixel by pixel with bands interleaved (0: no row reads). */
struct SampleFile {
    std::string file;
    int rows, columns, bands, depth, opens;
    uint32_t hash;
};

struct DriverSuite {
    std::string suffix;  // of the files the harness writes
    int type = kByIdentification;
    std::vector<DriverFixture> fixtures;
    std::vector<Window> windows;
    std::vector<BrokenFile> broken;
    std::vector<SampleFile> samples;
    /* Bytes before the pixel data; a file is cut at each of them. */
    size_t (*header_size)(const Bytes& file) = nullptr;
    int (*fuzz)(const uint8_t* data, size_t size) = nullptr;
    bool identified_by_content = true;  // listed under names without extension
    int info_success = 1;  // what the property queries answer for a file they read
};

void check_rows(const DriverSuite& suite);
void check_windows(const DriverSuite& suite);
void check_get_data(const DriverSuite& suite);
void check_truncation(const DriverSuite& suite);
void check_broken(const DriverSuite& suite);
void check_listing(const DriverSuite& suite);
void check_samples(const DriverSuite& suite);
void check_fuzz(const DriverSuite& suite);

/* An Image record opened with image_open or multi_image_open, closed with the object. */
struct OpenImage {
    Image image;
    bool multi = false;
    OpenImage() { memset(&image, 0, sizeof image); }
    ~OpenImage();
    OpenImage(const OpenImage&) = delete;
    OpenImage& operator=(const OpenImage&) = delete;
    int open(const std::string& path, int type, int band);
    int open_multi(const std::string& path, int type, int r, int g, int b);
    /* Maps a window one to one and readies the row buffers. */
    bool map(int type, int first_col, int last_col, int first_row, int last_row);
    /* Sample i of the last row read, of plane k for a multi-band open. */
    uint32_t at(int i, int k = 0) const;
};

}  // namespace tarntest

/* `suite` is an expression giving the DriverSuite, evaluated by each test. */
#define TARN_DRIVER_CONFORMANCE(Name, suite)                                              \
    TEST(Name##Conformance, PropertiesAndRowsEqualTheReference) { tarntest::check_rows(suite); } \
    TEST(Name##Conformance, WindowsEqualTheReference) { tarntest::check_windows(suite); } \
    TEST(Name##Conformance, GetDataAtClipsAndScales) { tarntest::check_get_data(suite); } \
    TEST(Name##Conformance, TruncatedFilesFailCleanly) { tarntest::check_truncation(suite); } \
    TEST(Name##Conformance, BrokenFilesGiveTheirResults) { tarntest::check_broken(suite); } \
    TEST(Name##Conformance, DirectoryListsEachFixture) { tarntest::check_listing(suite); } \
    TEST(Name##Conformance, SharedSamples) { tarntest::check_samples(suite); }            \
    TEST(Name##Conformance, FuzzEntryOverFixturesAndBrokenFiles) { tarntest::check_fuzz(suite); }

#endif
