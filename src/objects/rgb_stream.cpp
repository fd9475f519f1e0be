// The RGB stream of an image: from a clip rectangle and a scale to a block of
// RGBA pixels. One getData opens the file, maps the window, allocates every
// buffer, reads each needed row once, and closes everything again.

#include <cfloat>
#include <cmath>
#include <mutex>
#include <stdlib.h>
#include <string.h>

#include "channel/buffers.h"
#include "channel/channel.h"
#include "channel/kernels.h"
#include "channel/window.h"
#include "colour/assign.h"
#include "colour/colormap.h"
#include "colour/dither.h"
#include "objects/image_impl.h"
#include <new>
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
    if (!(side < 2147483648.0)) throw OpenFailed();
    return static_cast<int32_t>(side);
}

}  // namespace

void copyRGBAtoBGRA(void* source, void* target, int bytes) {
    // Despite the name nothing is exchanged: the packed colours already lie
    // red first in memory; only alpha is set. Word-wise, on a little-endian host.
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

static void free_block(void* block) { free(block); }

DirectMemoryHolder* CIImageImpl::getData(long* x, long* y, long* width, long* height) {
    void* block = nullptr;
    {
        std::lock_guard<std::mutex> guard(integratorLock());
        if (m_streamState != 1) resetRGBStreamOpen(m_clipX, m_clipY, m_clipWidth, m_clipHeight);
        if (m_streamState != 1) {
            resetRGBStreamClose();
            return nullptr;
        }
        size_t bytes = static_cast<size_t>(m_resultWidth) * 4 * static_cast<size_t>(m_resultHeight);
        // Zeroed, so rows after a failed one are black and transparent rather
        // than whatever the allocator left.
        block = bytes ? calloc(bytes, 1) : nullptr;
        if (!block) {
            resetRGBStreamClose();
            return nullptr;
        }
        while (m_streamState == 1 && m_outRow < m_image.out_rows) getRGBStreamRow(block);
        resetRGBStreamClose();
    }
    if (x) *x = m_resultX;
    if (y) *y = m_resultY;
    if (width) *width = m_resultWidth;
    if (height) *height = m_resultHeight;
    m_hasMore = 0;
    DirectMemoryHolder* holder = new (std::nothrow) DirectMemoryHolder(
        block, static_cast<long>(m_resultWidth) * 4 * m_resultHeight, free_block);
    if (!holder) free(block);
    return holder;
}

long CIImageImpl::reset() {
    if (m_streamState == 1) resetRGBStreamClose();
    else if (m_streamState == 2) resetRGBStreamError();
    m_hasMore = 1;
    return 1;
}

int CIImageImpl::resetRGBStreamOpen(long x, long y, long, long) {
    if (m_streamState != 0) return 0;
    bool multi = m_bandCount >= 3;
    try {
        // Only a positive finite scale whose zoom fits a float maps a window.
        if (!(m_scale > 0) || !std::isfinite(m_scale) || 1.0 / m_scale > FLT_MAX) throw OpenFailed();
        m_resultWidth = result_side(m_clipWidth, m_scale);
        m_resultHeight = result_side(m_clipHeight, m_scale);
        m_resultX = result_side(m_clipX, m_scale);
        m_resultY = result_side(m_clipY, m_scale);

        m_externalLut = nullptr;
        m_singleBuffers = 0;
        Image* image = &m_image;
        memset(image, 0, sizeof(*image));
        reset_image(image);
        reset_buffers(image);
        reset_graphic_buffers(image);
        reset_all_display_buffers(image);

        // One row of 32-bit pixels, wide enough for the output as well as the
        // image: at scales below 1 the output is the wider.
        long pixels = m_width > m_resultWidth ? m_width : m_resultWidth;
        free(m_rowBuffer);
        m_rowBuffer = static_cast<uint8_t*>(malloc(static_cast<size_t>(pixels > 0 ? pixels : 1) * 4));
        if (!m_rowBuffer) throw OpenFailed();

        m_hasExternalColorMap = decode_external_colormap(m_externalColorMap, m_colorMapName);
        m_hasExternalLut = decode_external_lut(static_cast<Lut*>(m_externalLut), m_lutName);
        image->raw_values = 0;
        // A colour map object changed by the host is applied later, row by row.
        if (m_colorMap && m_colorMapChanged && m_bandCount == 1) {
            if (!m_externalColorMap) {
                m_externalColorMap = create_colormap("EXTERNAL", 256, 0, 0, 0, 0);
                if (!m_externalColorMap) throw OpenFailed();
                for (int i = 0; i < 256; ++i) set_colormap_pixclr(m_externalColorMap, i, 0, i, i, i);
            }
            m_hasExternalColorMap = 1;
            image->raw_values = 1;
        }
        float threshold = 0.0f;
        set_dither_threshold(&threshold);

        Utf8 path(m_path);
        if (!path.data) throw OpenFailed();
        if (!multi) {
            check(image_open(image, path.data, m_type, m_bandCount, 1, m_lutName, m_colorMapName));
            if (m_hasExternalColorMap) check(image_replace_colormap(image, m_externalColorMap));
            if (m_hasExternalLut) check(image_replace_lut(image, static_cast<Lut*>(m_externalLut)));
        } else {
            check(multi_image_open(image, path.data, m_type, 1, 2, 3, 1, m_lutName, m_colorMapName));
            if (m_hasExternalColorMap && m_hasExternalLut) {
                check(image_store_external_colormap(image, m_externalColorMap));
                check(image_store_external_lut(image, m_externalLut));
            } else if (m_hasExternalLut) {
                check(image_replace_lut(image, static_cast<Lut*>(m_externalLut)));
            }
        }
        check(tarn_screen_init(this, image, 0));

        float zoom = static_cast<float>(1.0 / m_scale);
        float zoom_x = zoom, zoom_y = zoom;
        float origin_x = static_cast<float>(x - 0.5);
        float origin_y = static_cast<float>(y - 0.5);
        check(image_window_map(image, m_type, 0, 0, m_resultWidth, m_resultHeight, &zoom_x, &zoom_y,
                               &origin_x, &origin_y));
        if (!multi) {
            check(allocate_internal_buffers(image));
            check(allocate_graphic_buffers(image, 's'));
        } else {
            if (m_hasExternalColorMap && m_hasExternalLut) {
                check(allocate_internal_buffers(image));
                m_singleBuffers = 1;
            }
            check(allocate_multi_internal_buffers(image));
            check(allocate_multi_graphic_buffers(image, 's'));
        }
        check(allocate_display_buffer(this, image, 0, 0));
        if (!multi) {
            m_colorResult = image_assign_colors(this, image, 0, 0);
            check(m_colorResult);
            check(allocate_resamplers(image));
        } else {
            m_colorResult = multi_image_assign_colors(this, image, 0, 0);
            check(m_colorResult);
            check(allocate_multi_resamplers(image));
        }
        initialize_row_IO(image);

        m_frame = {0, 0, image->out_cols, 1, image->out_x, image->out_y, image->out_cols,
                   image->out_rows, 1.0, 1.0, image->out_y};
        m_nextRow = image->first_row;
        m_outRow = 0;
        m_lastRow = -1;
        m_streamState = 1;
        return 1;
    } catch (...) {
        // A failed open gives back what it took, the file and the buffers,
        // whether the driver's open or a later step failed.
        closeStream();
        m_streamState = 0;
        return 0;
    }
}

int CIImageImpl::resetRGBStreamClose() {
    if (m_streamState == 0) return 0;
    return closeStream();
}

int CIImageImpl::closeStream() {
    Image* image = &m_image;
    int result = 1;
    try {
        if (m_bandCount >= 3) {
            multi_image_close(image);
            if (m_singleBuffers) free_internal_buffers(image);
            m_singleBuffers = 0;
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
    free(m_rowBuffer);
    m_rowBuffer = nullptr;
    m_streamState = 0;
    return result;
}

int CIImageImpl::resetRGBStreamError() {
    resetRGBStreamClose();
    m_streamState = 0;
    return 1;
}

void CIImageImpl::getRGBStreamRow(void* block) {
    Image* image = &m_image;
    if (m_streamState != 1 || m_outRow >= image->out_rows) return;
    try {
        int w = image->out_last_x - image->out_x + 1;
        uint8_t* target = static_cast<uint8_t*>(block) + static_cast<size_t>(w) * m_outRow * 4;
        bool mapPath = m_colorMap && m_colorMapChanged && m_bandCount == 1;
        if (m_nextRow != m_lastRow) {
            m_lastRow = m_nextRow;
            if (m_lastRow > image->last_row) {
                m_outRow = image->out_rows;
                return;
            }
            if (!image->get_row || image->get_row(image, m_lastRow) == -1) throw OpenFailed();
            if (mapPath) {
                lookupFunction(image);
                memcpy(target, image->grow2, static_cast<size_t>(w) * 4);
            } else {
                if (image->lookup) image->lookup(image);
                if (image->index) image->index(image);
                if (image->resample) image->resample(image);
                if (image->dither_on && image->dither) image->dither(image, m_outRow);
                else clr_remap_buf(image, image->grow, image->grow2, image->out_cols);
                copyRGBAtoBGRA(image->grow2, target, w * 4);
            }
        } else if (mapPath) {
            memcpy(target, image->grow2, static_cast<size_t>(w) * 4);
        } else {
            // The same image row serves this output row too; ordered dithers
            // still follow the output row.
            if (image->dither_on && image->dither) image->dither(image, m_outRow);
            if (image->repack) image->repack(image->grow2, image->bitmap_bits, image->out_cols);
            copyRGBAtoBGRA(m_rowBuffer, target, w * 4);
        }
        ++m_frame.row;
        ++m_frame.runningY;
        ++m_outRow;
        long double next = static_cast<long double>(image->first_row) +
                           static_cast<long double>(image->row_origin) +
                           static_cast<long double>(m_outRow) * static_cast<long double>(m_scale) +
                           0.5L;
        m_nextRow = static_cast<int32_t>(next);
    } catch (...) {
        m_streamState = 2;
    }
}

void CIImageImpl::lookupFunction(Image*) {
    // Colour map objects are not served yet; nothing reaches here.
}
