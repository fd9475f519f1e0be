// The band stream's path: raw samples of one band, with no colour step.

#include "pipeline/band_pipeline.h"

#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/kernels.h"
#include "channel/window.h"
#include "drivers/driver.h"

namespace {

struct OpenFailed {};

void check(int result) {
    if (result == -1) throw OpenFailed();
}

// The no-data mark of 32-bit integer samples.
constexpr uint32_t kNoData32 = 0x80000001u;

// One sample, the window's first, at the start of the block; an offset past
// what the row holds leaves the block as it is.
void copy_first_sample(const BandPipeline* p, void* block) {
    const Image* image = &p->image;
    const long at = p->offset;
    const long held = static_cast<long>(image->win_cols) * (image->nbands > 1 ? image->nbands : 1);
    if (at >= held) return;
    switch (p->depth_code) {
    case BAND_DEPTH_8: {
        // 24- and 32-bit pixels arrive as wider samples of the one band asked
        // for; their low byte is that band's value.
        uint8_t value = 0;
        if (image->row8) value = image->row8[at];
        else if (image->row16) value = static_cast<uint8_t>(image->row16[at]);
        else if (image->row32) value = static_cast<uint8_t>(image->row32[at]);
        else break;
        memcpy(block, &value, 1);
        break;
    }
    case BAND_DEPTH_16:
        if (image->row16) memcpy(block, image->row16 + at, 2);
        break;
    case BAND_DEPTH_32:
    case BAND_DEPTH_FLOAT:
        if (image->row32) memcpy(block, image->row32 + at, 4);
        break;
    default: break;
    }
}

}  // namespace

int band_depth_code(int depth) {
    switch (depth) {
    case 1:
    case 4:
    case 8: return BAND_DEPTH_8;
    case 16: return BAND_DEPTH_16;
    case 32: return BAND_DEPTH_32;
    default: return BAND_DEPTH_OTHER;
    }
}

void band_init(BandPipeline* p) {
    memset(p, 0, sizeof *p);
    reset_image(&p->image);
    p->last_row = -1;
}

int band_open(BandPipeline* p, const BandSource& source) {
    if (p->stream_state != 0) return 0;
    p->depth_code = source.depth_code;
    p->type = source.type;
    p->offset = 0;
    Image* image = &p->image;
    try {
        memset(image, 0, sizeof *image);
        reset_image(image);
        reset_buffers(image);
        reset_graphic_buffers(image);
        reset_all_display_buffers(image);
        image->raw_values = 1;
        if (!source.path) throw OpenFailed();

        // A format whose rows hold every band opens them all; the band's
        // samples then start one image width per band further on.
        const ImageDriver* driver = find_image_driver(source.type);
        bool whole_pixels = driver && driver->all_bands_in_row && driver->all_bands_in_row(source.type);
        int band = whole_pixels ? source.band_count : source.band;
        if (whole_pixels) p->offset = source.columns * (source.band - 1);

        check(image_open(image, source.path, source.type, band, 1, p->lut_name, p->colormap_name));
        // No screen: the buffer code then sees a true-colour screen without a bitmap.
        check(tarn_screen_init(nullptr, image, 0));
        float zoom_x = 1.0f, zoom_y = 1.0f;
        float origin_x = static_cast<float>(source.x - 0.5);
        float origin_y = static_cast<float>(source.y - 0.5);
        check(image_window_map(image, source.type, 0, 0, source.block_width, source.block_height,
                               &zoom_x, &zoom_y, &origin_x, &origin_y));
        check(allocate_internal_buffers(image));
        check(allocate_graphic_buffers(image, 's'));
        check(allocate_display_buffer(nullptr, image, 0, 0));
        check(allocate_resamplers(image));
        initialize_row_IO(image);
        p->next_row = image->first_row;
        p->out_row = 0;
        p->last_row = -1;
        p->stream_state = 1;
        return 1;
    } catch (...) {
        p->stream_state = 1;
        band_close(p);
        return 0;
    }
}

int band_close(BandPipeline* p) {
    if (p->stream_state == 0) return 0;
    Image* image = &p->image;
    image_close(image);
    free_buffers(image);
    free_graphic_buffers(image);
    free_all_display_buffers(image);
    p->stream_state = 0;
    return 1;
}

int band_error(BandPipeline* p) {
    band_close(p);
    p->stream_state = 0;
    return 1;
}

void band_row(BandPipeline* p, void* block) {
    Image* image = &p->image;
    if (p->stream_state != 1 || p->out_row >= image->out_rows) return;
    // A row that the last one already served advances without a read, so the
    // caller's loop always ends.
    if (p->last_row != p->next_row) {
        p->last_row = p->next_row;
        if (p->next_row > image->last_row) {
            p->out_row = image->out_rows;
            return;
        }
        if (!image->get_row || image->get_row(image, p->last_row) == -1) {
            p->stream_state = 2;
            return;
        }
        copy_first_sample(p, block);
    }
    ++p->out_row;
    long double next = static_cast<long double>(p->out_row) + image->first_row +
                       static_cast<long double>(image->row_origin) + 0.5L;
    p->next_row = static_cast<int32_t>(next);
}

bool band_sample_is_no_data(const BandPipeline* p, const void* block) {
    const ImageDriver* driver = find_image_driver(p->type);
    if (!driver || !(driver->flags & DRIVER_NO_DATA_SAMPLES)) return false;
    uint8_t byte;
    uint32_t word;
    switch (p->depth_code) {
    case BAND_DEPTH_8:
        memcpy(&byte, block, 1);
        return byte == 255;
    case BAND_DEPTH_32:
        memcpy(&word, block, 4);
        return word == kNoData32;
    default: return false;
    }
}
