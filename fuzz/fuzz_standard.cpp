// Fuzz entry point for the BIL, BIP and BSQ driver. The input is cut at each
// "\n--\n" into a header, the raster, a colour file and a statistics file
// (missing parts are not written), which go beside each other in a fresh
// directory. Each layout opens them as the objects do (one band for display,
// three bands) and as the channel does, reading every row until the first
// that fails; then the image object reads the input's own layout through
// getData.

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "fuzz_image.h"
#include <vector>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/window.h"
#include "objects/image_impl.h"

namespace {

const char kSeparator[] = "\n--\n";

const std::string& temp_stem() {
    static const std::string stem = "/tmp/fuzz_standard_" + std::to_string(getpid());
    return stem;
}


bool map_full_window(Image* image, int type) {
    float zoom_x = 1.0f, zoom_y = 1.0f, origin_x = -0.5f, origin_y = -0.5f;
    if (image_window_map(image, type, 0, 0, image->columns, image->rows, &zoom_x, &zoom_y,
                         &origin_x, &origin_y) != 1)
        return false;
    initialize_row_IO(image);
    return true;
}

// Rows from the first, then one from the middle again: reads need not be in order.
void read_rows(Image* image) {
    for (int row = image->first_row; row <= image->last_row; ++row)
        if (!image->get_row || image->get_row(image, row) == -1) break;
    if (image->get_row) image->get_row(image, (image->first_row + image->last_row) / 2);
}

void single_band(const char* path, int type, int band, int display) {
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    if (image_open(&image, path, type, band, display, empty, empty) == 1 &&
        map_full_window(&image, type) && allocate_internal_buffers(&image) == 1 &&
        allocate_graphic_buffers(&image, 's') == 1)
        read_rows(&image);
    image_close(&image);
}

void three_bands(const char* path, int type) {
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    if (multi_image_open(&image, path, type, 3, 1, 2, 1, empty, empty) == 1 &&
        map_full_window(&image, type) && allocate_multi_internal_buffers(&image) == 1 &&
        allocate_multi_graphic_buffers(&image, 's') == 1)
        read_rows(&image);
    free_multi_buffers(&image);
    free_multi_graphic_buffers(&image);
    multi_image_close(&image);
}

void objects(const char* path) {
    CIImageImpl* image = new CIImageImpl(CTarnUString(path));
    if (image->isValid() &&
        static_cast<long long>(image->getWidth()) * image->getHeight() <= (1LL << 20)) {
        for (double scale : {1.0, 0.5}) {
            image->setScale(scale);
            long x, y, w, h;
            DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
            if (block) block->release();
        }
    }
    image->release();
}


}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // header, raster, colours, statistics
    static const char* const kSides[] = {".hdr", nullptr, ".clr", ".stx"};
    std::vector<std::pair<const uint8_t*, size_t>> parts;
    const uint8_t* start = data;
    const uint8_t* end = data + size;
    const size_t sep = sizeof kSeparator - 1;
    while (parts.size() < 3) {
        const uint8_t* hit = static_cast<const uint8_t*>(
            memmem(start, static_cast<size_t>(end - start), kSeparator, sep));
        if (!hit) break;
        parts.push_back({start, static_cast<size_t>(hit - start)});
        start = hit + sep;
    }
    parts.push_back({start, static_cast<size_t>(end - start)});

    const std::string& stem = temp_stem();
    std::vector<std::string> written;
    for (size_t i = 0; i < parts.size(); ++i)
        if (i != 1) {
            written.push_back(stem + kSides[i]);
            if (!tarnfuzz::write_file(written.back(), parts[i].first, parts[i].second)) return 0;
        }
    static const struct { int type; const char* suffix; } kLayouts[] = {
        {8, ".bil"}, {9, ".bip"}, {11, ".bsq"}};
    const uint8_t* raster = parts.size() > 1 ? parts[1].first : nullptr;
    const size_t raster_size = parts.size() > 1 ? parts[1].second : 0;
    int descriptors = tarnfuzz::open_descriptors();
    for (const auto& layout : kLayouts) {
        std::string path = stem + layout.suffix;
        if (!tarnfuzz::write_file(path, raster, raster_size)) continue;
        written.push_back(path);
        single_band(path.c_str(), layout.type, 1, 1);
        single_band(path.c_str(), layout.type, 2, 0);
        three_bands(path.c_str(), layout.type);
        tarnfuzz::channel(layout.type, path.c_str());
    }
    objects((stem + kLayouts[size % 3].suffix).c_str());
    for (const std::string& path : written) unlink(path.c_str());
    if (tarnfuzz::open_descriptors() != descriptors) abort();
    return 0;
}
