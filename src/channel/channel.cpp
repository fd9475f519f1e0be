// The Image record's life and the flat channel interface. Every format
// question is put to the driver table.

#include "channel/channel.h"

#include <stdlib.h>
#include <string.h>

#include "platform/alloc.h"
#include "channel/buffers.h"
#include "channel/clyr.h"
#include "colour/colormap.h"
#include "drivers/driver.h"
#include "drivers/builtin/decompress.h"
#include <tarnimage/tarn_file.h>

namespace {

// Repacks for the channel's get_image_row: widen every sample to 32 bits.
template <typename T>
void widen_to_32(const T* source, uint32_t* target, int count) {
    for (int i = 0; i < count; ++i) target[i] = source[i];
}

template <typename T>
void narrow_to_8(const T* source, uint8_t* target, int count) {
    for (int i = 0; i < count; ++i) target[i] = source[i] < 256 ? static_cast<uint8_t>(source[i]) : 255;
}

}  // namespace

extern "C" {

int reset_image(Image* image) {
    image->type = -1;
    image->nbands = 1;
    image->file_depth = 0;
    image->get_row = nullptr;
    image->get_row_runs = nullptr;
    image->unpack = nullptr;
    image->lookup = nullptr;
    image->index = nullptr;
    image->resample = nullptr;
    image->repack = nullptr;
    image->dither = nullptr;
    image->direct_resampling = 0;
    image->clyr = nullptr;
    image->driver = nullptr;
    reset_buffers(image);
    reset_graphic_buffers(image);
    reset_colormap(&image->colormap);
    reset_lut(&image->lut);
    return 1;
}

int image_clyr_make(Image* image) {
    // The grid companion record: the grid shell keeps its per-open state here.
    image->clyr = calloc(1, TARN_CLYR_RECORD_BYTES);
    if (!image->clyr) return -1;
    reset_clyr_buffers(image);
    reset_clyr_graphic_buffers(image);
    return 1;
}

int image_open(Image* image, const char* name, int type, int band, int display, char* lut_name,
               char* colormap_name) {
    reset_image(image);
    image->direct_resampling = (display == 1 || display == 4) ? 1 : 0;
    int result = -1;
    const ImageDriver* driver = find_image_driver(type);
    if (driver && driver->open) {
        if (driver->flags & DRIVER_NEEDS_COMPANION) image_clyr_make(image);
        result = driver->open(image, name, band, display, type, lut_name, colormap_name);
    }
    validate_colormap(&image->colormap);
    return result == -1 ? -1 : 1;
}

int multi_image_open(Image* image, const char* name, int type, int red, int green, int blue,
                     int display, char* lut_name, char* colormap_name) {
    reset_image(image);
    image->direct_resampling = (display == 1 || display == 4) ? 1 : 0;
    int result = -1;
    const ImageDriver* driver = find_image_driver(type);
    if (driver && driver->open_multi) {
        if (driver->flags & DRIVER_NEEDS_COMPANION) image_clyr_make(image);
        result = driver->open_multi(image, name, red, green, blue, display, type, lut_name,
                                    colormap_name);
    }
    validate_colormap(&image->colormap);
    return result == -1 ? -1 : 1;
}

static void free_companions(Image* image) {
    free(image->clyr);
    image->clyr = nullptr;
    free(image->driver);
    image->driver = nullptr;
}

// Closes the handle of whatever the record holds, once, and frees the
// companion records. A driver without a close of its own has only the
// record's file handle.
static int close_files(Image* image, bool multi) {
    const ImageDriver* driver = find_image_driver(image->type);
    DriverImageFunc close = driver ? (multi ? driver->close_multi : driver->close) : nullptr;
    if (close) close(image);
    else if (image->file) tarn_fclose(image->file);
    // A handle is closed once: a second close finds nothing.
    image->file = nullptr;
    free_companions(image);
    return 0;
}

int image_close_files(Image* image) { return close_files(image, false); }

int multi_image_close_files(Image* image) { return close_files(image, true); }

int image_close(Image* image) {
    free_buffers(image);
    free_graphic_buffers(image);
    image_close_files(image);
    return 0;
}

int multi_image_close(Image* image) {
    multi_image_close_files(image);
    return 0;
}

int setrd_on(Image* image, int type) {
    image->rd_type = type;
    image->rd_on = 1;
    return 1;
}

int setrd_off(Image* image) {
    image->rd_on = 0;
    return 1;
}

Image* getrd_image(Image* image) { return image; }

int clrrd_hdr(Image* image) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver && driver->clear_header ? driver->clear_header(image) : 1;
}

int set_getrow_buffer_depth(Image* image) {
    int depth = get_internal_buffer_depth(image->depth);
    if (depth > 0) image->getrow_depth = image->putrow_depth = depth;
    return 1;
}

int initialize_StandardRow_IO(Image* image) {
    image->io_pos = image->io_mark = image->io_row = 0;
    return 1;
}

int initialize_row_IO(Image* image) {
    image->io_pos = image->io_mark = image->io_row = 0;
    initialize_StandardRow_IO(image);
    const ImageDriver* driver = find_image_driver(image->type);
    if (driver && driver->init_row_io) driver->init_row_io(image);
    if (image->depth == 1) {
        set_g3_globals();
        set_g4_globals();
    }
    return 1;
}

int image_channel_rewind(Image* image) { return initialize_row_IO(image); }

int set_image_direct_resampling_on(Image* image) {
    image->direct_resampling = 1;
    return 1;
}

int set_image_direct_resampling_off(Image* image) {
    image->direct_resampling = 0;
    if (image->depth == 1) {
        set_g3_globals();
        set_g4_globals();
    }
    return 1;
}

int image_store_external_colormap(Image* image, void* colormap) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver && driver->store_colormap ? driver->store_colormap(image, colormap) : -1;
}

int image_store_external_lut(Image* image, void* lut) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver && driver->store_lut ? driver->store_lut(image, lut) : -1;
}

void set_window_bytes(Image* image) {
    long long depth = image->depth;
    long long first = image->first_col, last = image->last_col;
    image->first_byte = static_cast<int32_t>(first * depth / 8);
    image->first_bit = static_cast<int32_t>((first * depth) % 8);
    image->last_byte = static_cast<int32_t>(last * depth / 8);
    image->last_bit = static_cast<int32_t>((last * depth) % 8);
    long long bits = static_cast<long long>(image->win_cols) * depth;
    image->win_bytes = static_cast<int32_t>(bits / 8 + (bits % 8 ? 1 : 0));
    image->win_longs = image->win_bytes / 4 + (image->win_bytes % 4 ? 1 : 0);
}

int image_row_map(Image* image, int type, int first_col, int last_col, int first_row,
                  int last_row) {
    auto clamp = [](int value, int count) {
        if (value < 0) return 0;
        if (value >= count) return count - 1;
        return value;
    };
    // An image without a pixel has no window (the clamps below would give -1..0).
    if (image->columns < 1 || image->rows < 1) return -1;
    first_col = clamp(first_col, image->columns);
    last_col = clamp(last_col, image->columns);
    if (first_col > last_col) return -1;
    first_row = clamp(first_row, image->rows);
    last_row = clamp(last_row, image->rows);
    if (first_row > last_row) return -1;

    image->first_col = first_col;
    image->last_col = last_col;
    image->first_row = first_row;
    image->last_row = last_row;
    image->win_cols = last_col - first_col + 1;
    image->win_rows = last_row - first_row + 1;

    set_window_bytes(image);
    image->col_map = nullptr;

    const ImageDriver* driver = find_image_driver(type);
    if (driver && driver->map_window && driver->map_window(image) < 0) return -1;
    return 1;
}

// Everything a close does but freeing the record itself.
static void close_channel_files(Image* image) {
    free_buffers(image);
    image_close_files(image);
    image->read_open = 0;
    setrd_off(image);
    clrrd_hdr(image);
}

int open_image_channel(Image* image, const char* name, char mode, int type, int band) {
    if ((mode == 'r' && image->read_open) || (mode == 'w' && image->write_open)) return -2;
    if (mode != 'r') return -1;
    reset_buffers(image);
    char empty_lut[1] = {0};
    char empty_map[1] = {0};
    if (image_open(image, name, type, band, 0, empty_lut, empty_map) != -1) {
        setrd_on(image, type);
        image->read_open = 1;
        if (image_row_map(image, type, 0, image->columns - 1, 0, image->rows - 1) != -1 &&
            initialize_row_IO(image) != -1 && set_getrow_buffer_depth(image) != -1 &&
            allocate_internal_buffers(image) != -1) {
            image->multi_in = band == 0 ? 1 : 0;
            image->runio_in = 0;
            return 1;
        }
    }
    // Every -1 means the same to the caller: nothing is left open, and the
    // record, never freed here, stays theirs. A host can't reach the internal
    // close, so what a failed driver open took is given back now.
    close_channel_files(image);
    return -1;
}

int close_image_channel(Image* image, char mode) {
    if (mode != 'r' || !image->read_open) return -1;
    close_channel_files(image);
    CFree1(image);
    return 1;
}

int switch_image_runio(Image* image, int mode) {
    if (mode != 0 || !image->read_open) return -1;
    if (image_setup_runio(image) == -1) return -1;
    image->runio_in = 1;
    return 1;
}

int image_setup_runio(Image* image) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver && driver->setup_runio ? driver->setup_runio(image) : -1;
}

int image_isok_runio(Image* image) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver && driver->isok_runio ? driver->isok_runio(image) : 0;
}

int image_rows(Image* image) { return image->rd_on ? image->rows : -1; }
int image_columns(Image* image) { return image->rd_on ? image->columns : -1; }
int image_bandgap(Image* image) { return image->rd_on ? image->bandgap : -1; }
int image_depth(Image* image) { return image->rd_on ? image->depth : -1; }
int image_type(Image* image) { return image->rd_on ? image->type : -1; }
int image_nbands(Image* image) {
    if (!image->rd_on) return -1;
    return image->nbands < 1 ? 1 : image->nbands;
}
int multi_I_band(Image* image) { return image->multi_in; }
int multi_O_band(Image* image) { return image->multi_out; }
int runio_I_image(Image* image) { return image->runio_in; }
int runio_O_image(Image* image) { return image->runio_out; }

// The row functions below also guard against a record with no driver row
// function or no row buffer, which a failed or partial open can leave.
static int read_channel_row(Image* image, int row, int capacity, int needed) {
    if (row < 0 || row >= image->rows || capacity < needed) return -1;
    if (!image->get_row) return -1;
    return image->get_row(image, row) == -1 ? -1 : 1;
}

static int channel_count(Image* image) {
    int count = image->win_cols;
    if (image->multi_in) count *= image_nbands(image) > 0 ? image_nbands(image) : 1;
    return count;
}

int get_image_row(Image* image, int row, uint32_t* out, int capacity) {
    int count = channel_count(image);
    // The capacity is held against the window width, as callers of the
    // multi-band channel rely on; the copy never goes beyond what they gave.
    if (read_channel_row(image, row, capacity, image->win_cols) == -1) return -1;
    if (count > capacity) count = capacity;  // never write past the caller's buffer
    switch (image->getrow_depth) {
    case 8:
        if (!image->row8) return -1;
        widen_to_32(image->row8, out, count);
        break;
    case 16:
        if (!image->row16) return -1;
        widen_to_32(image->row16, out, count);
        break;
    case 32:
        if (!image->row32) return -1;
        memcpy(out, image->row32, static_cast<size_t>(count) * sizeof(uint32_t));
        break;
    default:
        return -1;
    }
    return 1;
}

int get_image_row8(Image* image, int row, uint8_t* out, int capacity) {
    int count = channel_count(image);
    if (read_channel_row(image, row, capacity, count) == -1) return -1;
    switch (image->getrow_depth) {
    case 8:
        if (!image->row8) return -1;
        memcpy(out, image->row8, static_cast<size_t>(count));
        break;
    case 16:
        if (!image->row16) return -1;
        narrow_to_8(image->row16, out, count);
        break;
    case 32:
        if (!image->row32) return -1;
        narrow_to_8(image->row32, out, count);
        break;
    default:
        return -1;
    }
    return 1;
}

int get_image_row_runs(Image* image, int row, int a, int b, int c) {
    if (row < 0 || row >= image->rows) return -1;
    if (!image->get_row_runs) return -1;
    return image->get_row_runs(image, row, a, b, c) == -1 ? -1 : 1;
}

int image_colors(Image* image) {
    const ImageDriver* driver = find_image_driver(image->rd_type);
    DriverColourForm form = driver ? driver->colour_form : COLOURS_PLAIN;
    if (form == COLOURS_NONE) return 0;
    if (form == COLOURS_BILEVEL) return 2;
    int count = image->colormap.ncolors;
    if (count == 0) return 0;
    return count - (driver ? driver->reserved_colours : 0);
}

static void copy_colours(const Colormap& map, int from, int count, uint8_t* red, uint8_t* green,
                         uint8_t* blue) {
    // Bounded by the arrays the record really holds.
    if (from < 0 || count <= 0 || !map.red || !map.green || !map.blue) return;
    if (from + count > map.ncolors) count = map.ncolors - from;
    if (count <= 0) return;
    memcpy(red, map.red + from, static_cast<size_t>(count));
    memcpy(green, map.green + from, static_cast<size_t>(count));
    memcpy(blue, map.blue + from, static_cast<size_t>(count));
}

int get_image_colormap(Image* image, int* first, int* last, uint8_t* red, uint8_t* green,
                       uint8_t* blue) {
    const Colormap& map = image->colormap;
    const ImageDriver* driver = find_image_driver(image->rd_type);
    DriverColourForm form = driver ? driver->colour_form : COLOURS_PLAIN;
    int skip = driver ? driver->colormap_skip : 0;
    switch (form) {
    case COLOURS_NONE: return -1;
    case COLOURS_BILEVEL:
        *first = 0;
        *last = 1;
        red[0] = green[0] = blue[0] = 0;
        red[1] = green[1] = blue[1] = 255;
        return 1;
    case COLOURS_UNRANGED:
        *first = 0;
        *last = 0;
        break;
    case COLOURS_RANGED:
        *first = map.first;
        *last = map.high - map.low + map.first;
        break;
    case COLOURS_PLAIN:
        *first = 0;
        *last = map.ncolors - 1;
        break;
    }
    copy_colours(map, skip, map.ncolors - skip, red, green, blue);
    return 1;
}

}
