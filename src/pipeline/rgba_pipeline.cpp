// The RGB path: from a clip rectangle and a scale to a block of RGBA pixels.
// One open maps the window, allocates every buffer and chooses the kernels;
// each output row then costs at most one driver row, and rows that a scale
// above 1 skips are never read.

#include "pipeline/rgba_pipeline.h"

#include <cfloat>
#include <cmath>
#include <stdlib.h>
#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/kernels.h"
#include "channel/window.h"
#include "colour/assign.h"
#include "colour/colormap.h"
#include "colour/dither.h"
#include <tarnimage/rgba.h>

namespace {

struct OpenFailed {};

void check(int result) {
    if (result == -1) throw OpenFailed();
}

// One side of the result rectangle, truncated toward zero. A value beyond 32
// bits fails the open instead of converting undefinedly.
int32_t result_side(int32_t clip, double scale) {
    double side = clip / scale;
    if (!(side < 2147483648.0 && side > -2147483649.0)) throw OpenFailed();
    return static_cast<int32_t>(side);
}

// The screen is always true colour: 32 bits, every colour.
constexpr int32_t kScreenDepth = 32;
constexpr int32_t kScreenColours = 0x1000000;

// The general path runs resample, colour table and alpha as three passes over
// a row; for 8-bit samples through a colour table with nothing in between,
// one table of finished words does all three in one pass, byte for byte the
// same.
void choose_one_pass_planes(RgbaPipeline* p) {
    Image* image = &p->image;
    if (image->resample == Resample8BitMultibuf) p->planes_of_words = false;
    else if (image->resample == Resample32BitMultibuf) p->planes_of_words = true;
    else return;
    if (image->lookup != LookupNoOp || image->index != IndexNoOp || !image->dither_on ||
        image->dither != multicolordither_to_888_bits)
        return;
    if (!image->col_map || image->win_cols < 1 || image->out_last_x - image->out_x + 1 != image->out_cols) return;
    const Colormap& map = image->colormap;
    const uint8_t* arrays[3] = {map.red, map.green, map.blue};
    for (int k = 0; k < 3; ++k)
        for (uint32_t v = 0; v < 256; ++v)
            p->plane_words[k][v] = colormap_entry(arrays[k], map.ncolors, v) << (8 * k) | (k == 0 ? 0xFF000000u : 0u);
    p->one_pass_planes = true;
}

void choose_one_pass(RgbaPipeline* p) {
    Image* image = &p->image;
    p->one_pass_8bit = false;
    p->one_pass_planes = false;
    const int32_t colours = image->colormap.ncolors;
    if (p->map_path || image->row_resampled) return;
    if (p->multi) {
        choose_one_pass_planes(p);
        return;
    }
    if (image->depth > 8) return;
    if (image->lookup != LookupNoOp || image->index != IndexNoOp ||
        image->resample != Resample8BitBuf || (image->dither_on && image->dither))
        return;
    if (!image->clr_table || colours < 1 || !image->col_map || image->win_cols < 1) return;
    if (image->out_last_x - image->out_x + 1 != image->out_cols) return;
    const uint32_t last = static_cast<uint32_t>(colours - 1);
    for (uint32_t v = 0; v < 256; ++v) p->palette[v] = image->clr_table[v < last ? v : last] | 0xFF000000u;
    p->one_pass_8bit = true;
}

void one_pass_row(const RgbaPipeline* p, uint8_t* target) {
    const Image* image = &p->image;
    const uint8_t* row = image->row8;
    const int32_t* map = image->col_map;
    const uint32_t limit = static_cast<uint32_t>(image->win_cols - 1);
    const int count = image->out_cols;
    uint32_t* out = reinterpret_cast<uint32_t*>(target);
    for (int i = 0; i < count; ++i) {
        uint32_t column = static_cast<uint32_t>(map[i]);
        out[i] = p->palette[row[column <= limit ? column : limit]];
    }
}

// A plane's word for a sample: from the table, or for a wide sample past it,
// from the colour array as the general path reads it.
template <typename T>
inline uint32_t plane_word(const RgbaPipeline* p, int k, const uint8_t* array, T value) {
    if (sizeof(T) == 1 || value < 256) return p->plane_words[k][value];
    return colormap_entry(array, p->image.colormap.ncolors, value) << (8 * k) | (k == 0 ? 0xFF000000u : 0u);
}

template <typename T>
void one_pass_planes_row(const RgbaPipeline* p, const T* const planes[3], uint8_t* target) {
    const Image* image = &p->image;
    const Colormap& colours = image->colormap;
    const int32_t* map = image->col_map;
    const uint32_t limit = static_cast<uint32_t>(image->win_cols - 1);
    const int count = image->out_cols;
    uint32_t* out = reinterpret_cast<uint32_t*>(target);
    for (int i = 0; i < count; ++i) {
        uint32_t column = static_cast<uint32_t>(map[i]);
        if (column > limit) column = limit;
        out[i] = plane_word(p, 0, colours.red, planes[0][column]) | plane_word(p, 1, colours.green, planes[1][column]) |
                 plane_word(p, 2, colours.blue, planes[2][column]);
    }
}

// False when the rows are not there, and the general path must run.
bool one_pass_planes(const RgbaPipeline* p, uint8_t* target) {
    const Image* image = &p->image;
    if (p->planes_of_words) {
        const uint32_t* const planes[3] = {image->mrow32[0], image->mrow32[1], image->mrow32[2]};
        if (!planes[0] || !planes[1] || !planes[2]) return false;
        one_pass_planes_row(p, planes, target);
    } else {
        const uint8_t* const planes[3] = {image->mrow8[0], image->mrow8[1], image->mrow8[2]};
        if (!planes[0] || !planes[1] || !planes[2]) return false;
        one_pass_planes_row(p, planes, target);
    }
    return true;
}

}  // namespace

extern "C" {

void copyRGBAtoBGRA(void* source, void* target, int bytes) {
    // Word-wise on this little-endian host: only alpha changes.
    const uint8_t* from = static_cast<const uint8_t*>(source);
    uint8_t* to = static_cast<uint8_t*>(target);
    for (int i = 0; i + 3 < bytes; i += 4) {
        uint32_t pixel;
        memcpy(&pixel, from + i, sizeof pixel);
        pixel |= 0xFF000000u;
        memcpy(to + i, &pixel, sizeof pixel);
    }
}

void S_ConvertRGBAToBGRA(void* block, long row_bytes, long rows) {
    uint8_t* bytes = static_cast<uint8_t*>(block);
    for (long r = 0; r < rows; ++r) {
        uint8_t* row = bytes + r * row_bytes;
        for (long i = 0; i + 3 < row_bytes; i += 4) {
            uint8_t t = row[i];
            row[i] = row[i + 2];
            row[i + 2] = t;
        }
    }
}

}  // extern "C"

void rgba_init(RgbaPipeline* p) {
    memset(p, 0, sizeof *p);
    reset_image(&p->image);
    p->display.magic = kDisplayMagic;
    p->display.bitmap_depth = kScreenDepth;
    p->display.colour_count = p->display.colour_count2 = kScreenColours;
    p->last_row = -1;
    p->scale = 1.0;
}

void rgba_release(RgbaPipeline* p) {
    if (p->stream_state != 0) rgba_close(p);
    free(p->display.row_buffer);
    p->display.row_buffer = nullptr;
}

int rgba_open(RgbaPipeline* p, const RgbaSource& source) {
    if (p->stream_state != 0) return 0;
    p->multi = source.band_count >= 3;
    p->map_path = source.map_path && source.band_count == 1;
    p->lookup = source.lookup;
    p->context = source.context;
    p->scale = source.scale;
    p->rows_done = 0;
    p->bytes_written = 0;
    const double scale = source.scale;
    DisplayState* screen = &p->display;
    try {
        // Only a positive finite scale whose zoom fits a float maps a window.
        if (!(scale > 0) || !std::isfinite(scale) || 1.0 / scale > FLT_MAX) throw OpenFailed();
        screen->result_width = result_side(source.clip_width, scale);
        p->result_height = result_side(source.clip_height, scale);
        p->result_x = result_side(source.clip_x, scale);
        p->result_y = result_side(source.clip_y, scale);

        p->external_lut = nullptr;
        p->single_buffers = 0;
        Image* image = &p->image;
        memset(image, 0, sizeof(*image));
        reset_image(image);
        reset_buffers(image);
        reset_graphic_buffers(image);
        reset_all_display_buffers(image);

        // One row of 32-bit pixels, wide enough for the output as well as the
        // image: at scales below 1 the output is the wider.
        long pixels = source.width > screen->result_width ? source.width : screen->result_width;
        // A width from a header the driver has not yet checked; no image is wider.
        if (pixels > (1L << 24)) throw OpenFailed();
        free(screen->row_buffer);
        screen->row_buffer = static_cast<uint8_t*>(malloc(static_cast<size_t>(pixels > 0 ? pixels : 1) * 4));
        if (!screen->row_buffer) throw OpenFailed();

        Colormap*& external = *source.external_colormap;
        p->has_external_colormap = decode_external_colormap(external, p->colormap_name);
        p->has_external_lut = decode_external_lut(static_cast<Lut*>(p->external_lut), p->lut_name);
        image->raw_values = 0;
        // A colour map changed by the host colours the raw samples, row by row.
        if (p->map_path) {
            if (!external) {
                external = create_colormap("EXTERNAL", 256, 0, 0, 0, 0);
                if (!external) throw OpenFailed();
                for (int i = 0; i < 256; ++i) set_colormap_pixclr(external, i, 0, i, i, i);
            }
            p->has_external_colormap = 1;
            image->raw_values = 1;
        }
        float threshold = 0.0f;
        set_dither_threshold(&threshold);

        if (!source.path) throw OpenFailed();
        Lut* lut = static_cast<Lut*>(p->external_lut);
        if (!p->multi) {
            // The band opened is the band count: a two-band image shows band 2.
            check(image_open(image, source.path, source.type, source.band_count, 1, p->lut_name,
                             p->colormap_name));
            if (p->has_external_colormap) check(image_replace_colormap(image, external));
            if (p->has_external_lut) check(image_replace_lut(image, lut));
        } else {
            check(multi_image_open(image, source.path, source.type, 1, 2, 3, 1, p->lut_name,
                                   p->colormap_name));
            if (p->has_external_colormap && p->has_external_lut) {
                check(image_store_external_colormap(image, external));
                check(image_store_external_lut(image, lut));
            } else if (p->has_external_lut) {
                check(image_replace_lut(image, lut));
            }
        }
        check(tarn_screen_init(screen, image, 0));

        float zoom_x = static_cast<float>(1.0 / scale), zoom_y = zoom_x;
        float origin_x = static_cast<float>(source.clip_x - 0.5);
        float origin_y = static_cast<float>(source.clip_y - 0.5);
        check(image_window_map(image, source.type, 0, 0, screen->result_width, p->result_height,
                               &zoom_x, &zoom_y, &origin_x, &origin_y));
        if (!p->multi) {
            check(allocate_internal_buffers(image));
            check(allocate_graphic_buffers(image, 's'));
        } else {
            if (p->has_external_colormap && p->has_external_lut) {
                check(allocate_internal_buffers(image));
                p->single_buffers = 1;
            }
            check(allocate_multi_internal_buffers(image));
            check(allocate_multi_graphic_buffers(image, 's'));
        }
        check(allocate_display_buffer(screen, image, 0, 0));
        if (!p->multi) {
            p->colour_result = image_assign_colors(screen, image, 0, 0);
            check(p->colour_result);
            check(allocate_resamplers(image));
        } else {
            p->colour_result = multi_image_assign_colors(screen, image, 0, 0);
            check(p->colour_result);
            check(allocate_multi_resamplers(image));
        }
        initialize_row_IO(image);
        choose_one_pass(p);

        p->next_row = image->first_row;
        p->out_row = 0;
        p->last_row = -1;
        p->stream_state = 1;
        return 1;
    } catch (...) {
        // A failed open gives back what it took, the file and the buffers,
        // whether the driver's open or a later step failed.
        p->stream_state = 1;
        rgba_close(p);
        return 0;
    }
}

int rgba_close(RgbaPipeline* p) {
    if (p->stream_state == 0) return 0;
    Image* image = &p->image;
    int result = 1;
    try {
        if (p->multi) {
            multi_image_close(image);
            if (p->single_buffers) free_internal_buffers(image);
            p->single_buffers = 0;
            free_multi_buffers(image);
            free_multi_graphic_buffers(image);
        } else {
            image_close(image);
            free_buffers(image);
            free_graphic_buffers(image);
        }
        free_all_display_buffers(image);
    } catch (...) {
        result = 0;
    }
    free(p->display.row_buffer);
    p->display.row_buffer = nullptr;
    p->stream_state = 0;
    return result;
}

int rgba_error(RgbaPipeline* p) {
    rgba_close(p);
    p->stream_state = 0;
    return 1;
}

void rgba_row(RgbaPipeline* p, void* block) {
    Image* image = &p->image;
    if (p->stream_state != 1 || p->out_row >= image->out_rows) return;
    try {
        int w = image->out_last_x - image->out_x + 1;
        uint8_t* target = static_cast<uint8_t*>(block) + static_cast<size_t>(w) * p->out_row * 4;
        if (p->next_row != p->last_row) {
            p->last_row = p->next_row;
            if (p->last_row > image->last_row) {
                // Past the window: the stream ends early, and the rest stays blank.
                p->out_row = p->rows_done = image->out_rows;
                return;
            }
            if (!image->get_row || image->get_row(image, p->last_row) == -1) throw OpenFailed();
            if (p->one_pass_8bit && image->row8) {
                one_pass_row(p, target);
            } else if (p->one_pass_planes && one_pass_planes(p, target)) {
            } else if (p->map_path) {
                if (p->lookup) p->lookup(p->context, image);
                memcpy(target, image->grow2, static_cast<size_t>(w) * 4);
            } else {
                if (image->lookup) image->lookup(image);
                if (image->index) image->index(image);
                if (image->resample) image->resample(image);
                if (image->dither_on && image->dither) image->dither(image, p->out_row);
                else clr_remap_buf(image, image->grow, image->grow2, image->out_cols);
                copyRGBAtoBGRA(image->grow2, target, w * 4);
            }
        } else if ((p->one_pass_8bit || p->one_pass_planes) && p->out_row > 0) {
            // The row before was made from the same image row.
            memcpy(target, target - static_cast<size_t>(w) * 4, static_cast<size_t>(w) * 4);
        } else if (p->map_path) {
            memcpy(target, image->grow2, static_cast<size_t>(w) * 4);
        } else {
            // The same image row serves this output row too; ordered dithers
            // still follow the output row.
            if (image->dither_on && image->dither) image->dither(image, p->out_row);
            if (image->repack) image->repack(image->grow2, image->bitmap_bits, image->out_cols);
            copyRGBAtoBGRA(p->display.row_buffer, target, w * 4);
        }
        ++p->out_row;
        p->rows_done = p->out_row;
        p->bytes_written = static_cast<size_t>(w) * 4 * static_cast<size_t>(p->out_row);
        long double next = static_cast<long double>(image->first_row) +
                           static_cast<long double>(image->row_origin) +
                           static_cast<long double>(p->out_row) * static_cast<long double>(p->scale) +
                           0.5L;
        p->next_row = static_cast<int32_t>(next);
    } catch (...) {
        p->stream_state = 2;
    }
}
