// Fuzz entry point for the TIFF tag library and the type-7 strip reader. The
// bytes become a file: its first IFD is read, every tag listed and its data
// read in each mode; then the file is opened as type 7 for display (three
// bands, direct resampling) and for data, every row read, and the property
// readers and the georeference are asked.

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vector>

#include "drivers/builtin/tiff.h"
#include "fuzz_image.h"
#include <tarnimage/tarn_file.h>
#include <tarnimage/tifflib.h>

namespace {

constexpr int kTiffType = 7;
// Reads of a tag's data are capped: the buffer is the fuzzer's, not the file's.
constexpr uint32_t kMaxItems = 4096;

void tags(const char* path) {
    FILE* file = tarn_fopen(path, "r");
    if (!file) return;
    TifError error;
    TifFile* tif = tifOpen(file, 0x4949, 42, 0, &error);
    int count = 0;
    TifIfd* ifd = tif ? tifReadIFD(tif, &count, &error) : nullptr;
    if (ifd && tifReadIFD(tif, &count, &error)) abort();  // only the first IFD is read
    std::vector<uint8_t> buffer(size_t(kMaxItems) * 8);
    for (int i = 0; ifd && i < count; ++i) {
        int tag = 0, type = 0;
        uint32_t n = 0, value = 0;
        if (!tifReadNTag(tif, ifd, i, &tag, &type, &n, &value, &error)) abort();
        const uint32_t items = n < kMaxItems ? n : kMaxItems;
        uint32_t pair[2];
        if (tifReadData(tif, ifd, tag, 0, pair, 0, TIF_DATA_TAG, &error) != 1) abort();
        tifReadData(tif, ifd, tag, 0, buffer.data(), items, TIF_DATA_ITEMS, &error);
        tifReadData(tif, ifd, tag, 0, buffer.data(), items, TIF_DATA_BYTES, &error);
        tifReadData(tif, ifd, tag, 0, buffer.data(), items, TIF_DATA_BYTES, &error);
        for (uint32_t k = 0; k < 3 && k < n; ++k)
            tifReadData(tif, ifd, tag, k, buffer.data(), items, TIF_DATA_STRIP, &error);
    }
    if (tif) tifClose(tif, 0, &error);
    tarn_fclose(file);
}

void data_rows(const char* path) {
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    if (multi_image_open(&image, path, kTiffType, 1, 2, 3, 0, empty, empty) == 1 &&
        image_row_map(&image, kTiffType, 0, image.columns - 1, 0, image.rows - 1) == 1) {
        initialize_row_IO(&image);
        if (allocate_multi_internal_buffers(&image) == 1)
            for (int row = image.rows - 1; row >= 0; --row)
                if (image.get_row(&image, row) == -1) break;
    }
    free_multi_buffers(&image);
    multi_image_close(&image);
}

void single_band(const char* path) {
    Image image;
    memset(&image, 0, sizeof image);
    reset_image(&image);
    if (open_TIFF(&image, path, 1, 0) == 1 &&
        image_row_map(&image, kTiffType, 0, image.columns - 1, 0, image.rows - 1) == 1) {
        initialize_row_IO(&image);
        if (allocate_internal_buffers(&image) == 1)
            for (int row = 0; row < image.rows; ++row)
                if (image.get_row(&image, row) == -1) break;
    }
    image_close(&image);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = tarnfuzz::temp_path("tifflib", ".tif");
    if (!tarnfuzz::write_file(path, data, size)) return 0;
    const int descriptors = tarnfuzz::open_descriptors();
    tags(path.c_str());
    tarnfuzz::open_and_read(kTiffType, path.c_str(), true, 0, 0);
    data_rows(path.c_str());
    single_band(path.c_str());
    int rows, columns, bands, depth;
    read_TIFF_extent(path.c_str(), &rows, &columns);
    read_TIFF_nbands(path.c_str(), &bands);
    get_TIFF_depth(path.c_str(), &depth);
    is_TIFF_LZW(path.c_str());
    double transform[6] = {0, 0, 0, 0, 0, 0};
    read_TIFF_header_trans(path.c_str(), kTiffType, transform);
    unlink(path.c_str());
    if (tarnfuzz::open_descriptors() != descriptors) abort();
    return 0;
}
