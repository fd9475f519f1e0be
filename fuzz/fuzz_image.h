#ifndef TARN_FUZZ_IMAGE_H
#define TARN_FUZZ_IMAGE_H

/* The paths every image driver's fuzz entry point drives a file through: the
 * opens the RGB path makes (one band for display, one band of data, three
 * bands) with every row read, the flat channel with every row, and the image
 * object's getData at three scales. A handle left open by any of them is a
 * finding, as a server would run out of them. */

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/identify.h"
#include "channel/window.h"
#include "fuzz_support.h"
#include "objects/image_impl.h"

namespace tarnfuzz {

inline void open_and_read(int type, const char* path, bool three_bands, int band, int display) {
    Image image;
    memset(&image, 0, sizeof image);
    char empty[1] = {0};
    float zoom_x = 1.0f, zoom_y = 1.0f, origin_x = -0.5f, origin_y = -0.5f;
    if ((three_bands ? multi_image_open(&image, path, type, 3, 2, 1, 1, empty, empty)
                     : image_open(&image, path, type, band, display, empty, empty)) == 1 &&
        image_window_map(&image, type, 0, 0, image.columns, image.rows, &zoom_x, &zoom_y, &origin_x,
                         &origin_y) == 1) {
        initialize_row_IO(&image);
        if (three_bands ? allocate_multi_internal_buffers(&image) == 1 &&
                              allocate_multi_graphic_buffers(&image, 's') == 1
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

inline void channel(int type, const char* path) {
    Image* image = static_cast<Image*>(calloc(1, sizeof(Image)));
    if (!image) return;
    if (open_image_channel(image, path, 'r', type, 0) != 1) {
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

// Blocks the host could not sensibly ask for are left out, as the block is as
// large as the host's rectangle.
inline void objects(const char* path) {
    CIImageImpl* image = new CIImageImpl(CTarnUString(path));
    if (image->isValid() && static_cast<long long>(image->getWidth()) * image->getHeight() <= (1LL << 22)) {
        for (double scale : {1.0, 2.0, 0.5}) {
            image->setScale(scale);
            long x, y, w, h;
            DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
            if (block) block->release();
        }
    }
    image->release();
}

/* Writes the input as NAME_pid.SUFFIX and drives it through every path, as
 * `type`, or, for registered drivers (type -1), as identification finds it
 * with the library's drivers started. */
inline int exercise(const uint8_t* data, size_t size, const char* name, const char* suffix, int type) {
    const std::string path = temp_path(name, suffix);
    if (!write_file(path, data, size)) return 0;
    const int descriptors = open_descriptors();
    IInternalImageManager* manager = type < 0 ? getManager() : nullptr;
    if (type < 0) {
        std::string resolved(TARN_PATH_MAX, '\0');
        if (get_image_type_from_name(path.c_str(), &resolved[0], &type) != 1 || type <= 1000) type = -1;
    }
    if (type >= 0) {
        open_and_read(type, path.c_str(), false, 1, 1);
        open_and_read(type, path.c_str(), false, 3, 0);
        open_and_read(type, path.c_str(), true, 0, 0);
        channel(type, path.c_str());
        objects(path.c_str());
    }
    if (manager) manager->release();
    unlink(path.c_str());
    if (open_descriptors() != descriptors) abort();
    return 0;
}

}  // namespace tarnfuzz

#endif
