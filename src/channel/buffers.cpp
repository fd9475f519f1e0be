#include "channel/buffers.h"

#include <stdlib.h>
#include <string.h>

#include "colour/colormap.h"

namespace {

template <typename T>
void free_and_null(T*& pointer) {
    free(pointer);
    pointer = nullptr;
}

template <typename T>
T* zeroed_row(long count) {
    if (count <= 0) return nullptr;
    return static_cast<T*>(calloc(static_cast<size_t>(count), sizeof(T)));
}

}  // namespace

extern "C" {

int get_internal_buffer_depth(int depth) {
    if (depth < 9) return 8;
    if (depth < 17) return 16;
    if (depth < 33) return 32;
    return -1;
}

int reset_internal_buffers(Image* image) {
    image->buf8 = nullptr;
    image->buf16 = nullptr;
    image->buf32 = nullptr;
    image->row8 = nullptr;
    image->row16 = nullptr;
    image->row32 = nullptr;
    for (int k = 0; k < 3; ++k) {
        image->mbuf8[k] = nullptr;
        image->mbuf16[k] = nullptr;
        image->mbuf32[k] = nullptr;
        image->mrow8[k] = nullptr;
        image->mrow16[k] = nullptr;
        image->mrow32[k] = nullptr;
    }
    return 1;
}

int reset_other_buffers(Image* image) {
    image->file_buffer = image->file_buffer2 = image->file_buffer3 = image->file_buffer4 = nullptr;
    image->aux_buffer = nullptr;
    image->colormap.alpha = image->colormap.red = image->colormap.green = image->colormap.blue =
        nullptr;
    image->colormap.pixels = nullptr;
    return 1;
}

int reset_buffers(Image* image) {
    reset_internal_buffers(image);
    reset_other_buffers(image);
    return 1;
}

int allocate_internal_buffers(Image* image) {
    long count = static_cast<long>(image->columns) * (image->nbands > 0 ? image->nbands : 1);
    switch (get_internal_buffer_depth(image->depth)) {
    case 8:
        image->buf8 = zeroed_row<uint8_t>(count);
        image->row8 = image->buf8;
        return image->buf8 ? 1 : -1;
    case 16:
        image->buf16 = zeroed_row<uint16_t>(count);
        image->row16 = image->buf16;
        return image->buf16 ? 1 : -1;
    case 32:
        image->buf32 = zeroed_row<uint32_t>(count);
        image->row32 = image->buf32;
        return image->buf32 ? 1 : -1;
    default:
        return -1;
    }
}

int allocate_multi_internal_buffers(Image* image) {
    long count = image->columns;
    for (int k = 0; k < 3; ++k) {
        switch (get_internal_buffer_depth(image->depth)) {
        case 8:
            image->mbuf8[k] = image->mrow8[k] = zeroed_row<uint8_t>(count);
            if (!image->mbuf8[k]) return -1;
            break;
        case 16:
            image->mbuf16[k] = image->mrow16[k] = zeroed_row<uint16_t>(count);
            if (!image->mbuf16[k]) return -1;
            break;
        case 32:
            image->mbuf32[k] = image->mrow32[k] = zeroed_row<uint32_t>(count);
            if (!image->mbuf32[k]) return -1;
            break;
        default:
            return -1;
        }
    }
    return 1;
}

int free_internal_buffers(Image* image) {
    switch (get_internal_buffer_depth(image->depth)) {
    case 8:
        free_and_null(image->buf8);
        image->row8 = nullptr;
        break;
    case 16:
        free_and_null(image->buf16);
        image->row16 = nullptr;
        break;
    case 32:
        free_and_null(image->buf32);
        image->row32 = nullptr;
        break;
    default:
        break;
    }
    return 1;
}

int free_multi_internal_buffers(Image* image) {
    for (int k = 0; k < 3; ++k) {
        switch (get_internal_buffer_depth(image->depth)) {
        case 8:
            free_and_null(image->mbuf8[k]);
            image->mrow8[k] = nullptr;
            break;
        case 16:
            free_and_null(image->mbuf16[k]);
            image->mrow16[k] = nullptr;
            break;
        case 32:
            free_and_null(image->mbuf32[k]);
            image->mrow32[k] = nullptr;
            break;
        default:
            break;
        }
    }
    return 1;
}

int free_other_buffers(Image* image) {
    free_and_null(image->file_buffer);
    free_and_null(image->file_buffer2);
    free_and_null(image->file_buffer4);
    free_and_null(image->file_buffer3);
    free_and_null(image->aux_buffer);
    free_colormap_buffers(&image->colormap);
    free_lut_buffers(&image->lut);
    return 1;
}

int free_buffers(Image* image) {
    free_internal_buffers(image);
    free_other_buffers(image);
    return 1;
}

int free_multi_buffers(Image* image) {
    free_multi_internal_buffers(image);
    free_other_buffers(image);
    return 1;
}

int reset_other_graphic_buffers(Image* image) {
    image->clr_table = nullptr;
    image->col_map = nullptr;
    return 1;
}

int reset_graphic_buffers(Image* image) {
    image->gbuf = image->grow = image->gbuf2 = image->grow2 = nullptr;
    for (int k = 0; k < 3; ++k) image->mgbuf[k] = image->mgrow[k] = nullptr;
    reset_other_graphic_buffers(image);
    return 1;
}

static long graphic_width(const Image* image, int mode) {
    switch (mode) {
    case 's': return image->out_cols;
    case 'i': return image->win_cols;
    case 'p': return image->out_cols > image->win_cols ? image->out_cols : image->win_cols;
    default: return -1;
    }
}

int allocate_graphic_buffers(Image* image, int mode) {
    long width = graphic_width(image, mode);
    if (width <= 0) return -1;
    image->gbuf = image->grow = zeroed_row<uint32_t>(width);
    image->gbuf2 = image->grow2 = zeroed_row<uint32_t>(width);
    return image->gbuf && image->gbuf2 ? 1 : -1;
}

int allocate_multi_graphic_buffers(Image* image, int mode) {
    long width = graphic_width(image, mode);
    if (width <= 0) return -1;
    image->gbuf = image->grow = zeroed_row<uint32_t>(width);
    for (int k = 0; k < 3; ++k) {
        image->mgbuf[k] = image->mgrow[k] = zeroed_row<uint32_t>(width);
        if (!image->mgbuf[k]) return -1;
    }
    image->gbuf2 = image->grow2 = zeroed_row<uint32_t>(width);
    return image->gbuf && image->gbuf2 ? 1 : -1;
}

int free_other_graphic_buffers(Image* image) {
    free_and_null(image->col_map);
    free_and_null(image->clr_table);
    return 1;
}

int free_graphic_buffers(Image* image) {
    free_and_null(image->gbuf);
    free_and_null(image->gbuf2);
    image->grow = image->grow2 = nullptr;
    free_other_graphic_buffers(image);
    return 1;
}

int free_multi_graphic_buffers(Image* image) {
    free_graphic_buffers(image);
    for (int k = 0; k < 3; ++k) {
        free_and_null(image->mgbuf[k]);
        image->mgrow[k] = nullptr;
    }
    return 1;
}

int reset_all_display_buffers(Image* image) {
    image->bitmap_bits = nullptr;
    image->bitmap_rows = nullptr;
    image->bitmap = nullptr;
    return 1;
}

int free_all_display_buffers(Image* image) {
    // The bitmap is the owning object itself (see the bitmap shim); only the
    // row index is ours to free.
    image->bitmap = nullptr;
    image->bitmap_bits = nullptr;
    free_and_null(image->bitmap_rows);
    return 1;
}

int reset_clyr_buffers(Image*) { return 1; }
int reset_clyr_graphic_buffers(Image*) { return 1; }

}
