// Fuzz entry point for the IMAGINE reader and driver. The bytes become a .img
// file, read first through the HFA reader directly (every layer's rows, map
// information, colour table, statistics) and then through identification and
// the channel, with one layer, three layers and all layers.

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <tarnimage/tarnimage.h>

#include "channel/channel.h"
#include "channel/identify.h"
#include "hfa/hfa.h"

namespace {

const std::string& temp_path() {
    static const std::string path = "/tmp/fuzz_imagine_" + std::to_string(getpid()) + ".img";
    return path;
}

bool write_file(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) return false;
    bool ok = size == 0 || fwrite(data, 1, size, file) == size;
    return fclose(file) == 0 && ok;
}

void reader(const char* path) {
    hfa::File* file = hfa::open(path);
    if (!file) return;
    for (int k = 0; k < hfa::layer_count(file) && k < 4; ++k) {
        hfa::LayerInfo info;
        if (hfa::layer_info(file, k, &info) != 0) continue;
        if (static_cast<long long>(info.width) * info.height > (1LL << 20)) continue;
        std::vector<uint8_t> row(static_cast<size_t>(info.width) * hfa::row_pixel_bytes(info.pixel_type));
        for (int y = 0; y < info.height; ++y)
            if (hfa::read_row(file, k, y, row.data()) != 0) break;
        hfa::MapInfo map;
        hfa::map_info(file, k, &map);
        int count;
        const double* rgb[3];
        hfa::colour_table(file, k, &count, rgb);
        hfa::Statistics stats;
        hfa::statistics(file, k, &stats);
    }
    hfa::close(file);
}

void channel(const char* path, int type, int band) {
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    if (!image) return;
    if (open_image_channel(image, path, 'r', type, band) != 1) {
        free(image);
        return;
    }
    const long width = static_cast<long>(image->columns) * (image->nbands > 3 ? image->nbands : 3);
    if (width > 0 && static_cast<long long>(width) * image->rows <= (1LL << 22)) {
        std::vector<uint32_t> row(static_cast<size_t>(width));
        for (int y = 0; y < image->rows; ++y)
            if (get_image_row(image, y, row.data(), static_cast<int>(width)) == -1) break;
    }
    close_image_channel(image, 'r');
}

int open_descriptors() {
    int count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (readdir(dir)) ++count;
        closedir(dir);
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& path = temp_path();
    if (!write_file(path, data, size)) return 0;
    // A manager while the file is read keeps the registered drivers in.
    IInternalImageManager* manager = getManager();
    const int descriptors = open_descriptors();
    reader(path.c_str());
    std::vector<char> resolved(TARN_PATH_MAX);
    int type = -1;
    if (get_image_type_from_name(path.c_str(), resolved.data(), &type) == 1 && type > 1000) {
        channel(path.c_str(), type, 0);
        channel(path.c_str(), type, 1);
    }
    unlink(path.c_str());
    manager->release();
    if (open_descriptors() != descriptors) abort();
    return 0;
}
