// Fuzz entry point for the ERDAS LAN and GIS driver. The bytes become a file, which
// is opened as the objects open it and as the channel interface opens it, and
// then read by the image object as a host would, through getData.

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/window.h"
#include "objects/image_impl.h"

namespace {

const int kErdas = 3;

const std::string& temp_path() {
    static const std::string path = "/tmp/fuzz_erdas_" + std::to_string(getpid()) + ".lan";
    return path;
}

bool write_file(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) return false;
    bool ok = size == 0 || fwrite(data, 1, size, file) == size;
    return fclose(file) == 0 && ok;
}

// Opens as the objects do, with one band for display (three_bands false) or
// three bands, maps the full window, allocates its buffers and reads every
// row until the first that fails.
void open_and_read(const char* path, bool three_bands, int band, int display) {
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    float zoom_x = 1.0f, zoom_y = 1.0f, origin_x = -0.5f, origin_y = -0.5f;
    if ((three_bands ? multi_image_open(&image, path, kErdas, 3, 2, 1, 1, empty, empty)
                     : image_open(&image, path, kErdas, band, display, empty, empty)) == 1 &&
        image_window_map(&image, kErdas, 0, 0, image.columns, image.rows, &zoom_x, &zoom_y,
                         &origin_x, &origin_y) == 1) {
        initialize_row_IO(&image);
        if (three_bands ? allocate_multi_internal_buffers(&image) == 1 && allocate_multi_graphic_buffers(&image, 's') == 1
                        : allocate_internal_buffers(&image) == 1 && allocate_graphic_buffers(&image, 's') == 1)
            for (int row = image.first_row; row <= image.last_row; ++row)
                if (!image.get_row || image.get_row(&image, row) == -1) break;
    }
    if (three_bands) {
        free_multi_buffers(&image);
        free_multi_graphic_buffers(&image);
        multi_image_close(&image);
    } else {
        image_close(&image);
    }
}

void channel(const char* path) {
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    if (!image) return;
    if (open_image_channel(image, path, 'r', kErdas, 0) != 1) {
        // A failed open leaves the record, and what the driver took, with us.
        image_close(image);
        free(image);
        return;
    }
    long width = static_cast<long>(image->win_cols) * (image->nbands > 0 ? image->nbands : 1);
    uint32_t* row = static_cast<uint32_t*>(calloc(static_cast<size_t>(width), sizeof(uint32_t)));
    if (row) {
        for (int y = 0; y < image->rows; ++y)
            if (get_image_row(image, y, row, static_cast<int>(width)) == -1) break;
        free(row);
    }
    close_image_channel(image, 'r');
}

// The host's path: the image object admits the file and getData reads the
// whole of it at three scales. Blocks the host could not sensibly ask for are
// left out, as the block is as large as the host's rectangle.
void objects(const char* path) {
    CIImageImpl* image = new CIImageImpl(CTarnUString(path));
    if (image->isValid() &&
        static_cast<long long>(image->getWidth()) * image->getHeight() <= (1LL << 22)) {
        for (double scale : {1.0, 2.0, 0.5}) {
            image->setScale(scale);
            long x, y, w, h;
            DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
            if (block) block->release();
        }
    }
    image->release();
}

// Open descriptors of this process: a handle left open by any path is a
// finding, as a server would run out of them.
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
    int descriptors = open_descriptors();
    open_and_read(path.c_str(), false, 1, 1);
    open_and_read(path.c_str(), false, 3, 0);
    open_and_read(path.c_str(), true, 0, 0);
    channel(path.c_str());
    objects(path.c_str());
    unlink(path.c_str());
    if (open_descriptors() != descriptors) abort();
    return 0;
}
