// The RGB stream of an image: the object's side of a read. The path itself,
// from clip and scale to RGBA block, is the pipeline's; one getData opens it,
// takes every row, and closes it again under the class's lock.

#include <string.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <stdlib.h>

#include "objects/colormap_impl.h"
#include "objects/image_impl.h"
#include "platform/blocks.h"
#include "platform/report.h"

static void free_block(void* block) { tarn_block_give(block); }

namespace {

// The path that names the file in messages, as the host gave it; copied only
// for a host that listens, and out of memory for it the messages go unnamed.
struct MessageName {
    explicit MessageName(const CTarnUString& path) {
        if (!tarn_messages_wanted()) return;
        try {
            data = path.getUTF8EncodedBuffer();
        } catch (...) {
            data = nullptr;
        }
    }
    ~MessageName() { CTarnUString::releaseCharBuffer(data); }
    MessageName(const MessageName&) = delete;
    MessageName& operator=(const MessageName&) = delete;
    char* data = nullptr;
};

}  // namespace

DirectMemoryHolder* CIImageImpl::getData(long* x, long* y, long* width, long* height) {
    void* block = nullptr;
    {
        MessageName path(m_givenPath);
        MessageFileScope about(path.data, m_refusalExplained);
        std::lock_guard<std::mutex> guard(integratorLock());
        if (m_pipeline.stream_state != 1)
            resetRGBStreamOpen(m_clipX, m_clipY, m_clipWidth, m_clipHeight);
        if (m_pipeline.stream_state != 1) {
            resetRGBStreamClose();
            if (about.errors() == 0)
                tarn_report(TARN_MESSAGE_ERROR, "the image could not be opened for reading");
            return nullptr;
        }
        size_t bytes = static_cast<size_t>(m_pipeline.display.result_width) * 4 *
                       static_cast<size_t>(m_pipeline.result_height);
        // Rows after a failed one are black and transparent, never what a
        // reused block held: what the rows did not write is cleared below.
        bool zeroed = true;
        block = bytes ? tarn_block_take(bytes, &zeroed) : nullptr;
        if (!block) {
            resetRGBStreamClose();
            if (bytes)
                tarn_report(TARN_MESSAGE_ERROR,
                            "a block of %d x %d pixels is more than the library could allocate",
                            static_cast<int>(m_pipeline.display.result_width),
                            static_cast<int>(m_pipeline.result_height));
            return nullptr;
        }
        while (m_pipeline.stream_state == 1 && m_pipeline.out_row < m_pipeline.image.out_rows)
            getRGBStreamRow(block);
        if (!zeroed) {
            const size_t written = std::min(bytes, m_pipeline.bytes_written);
            memset(static_cast<uint8_t*>(block) + written, 0, bytes - written);
        }
        if (m_pipeline.stream_state == 2) {
            // The block and the results stay as they are; only the host that
            // listens learns how much of it is blank for want of rows.
            int total = m_pipeline.image.out_rows;
            tarn_report(TARN_MESSAGE_WARNING, "%d of %d rows could not be read",
                        total - m_pipeline.rows_done, total);
        }
        resetRGBStreamClose();
    }
    long result_width = m_pipeline.display.result_width;
    long result_height = m_pipeline.result_height;
    if (x) *x = m_pipeline.result_x;
    if (y) *y = m_pipeline.result_y;
    if (width) *width = result_width;
    if (height) *height = result_height;
    m_hasMore = 0;
    DirectMemoryHolder* holder =
        new (std::nothrow) DirectMemoryHolder(block, result_width * 4 * result_height, free_block);
    if (!holder) tarn_block_give(block);
    return holder;
}

long CIImageImpl::reset() {
    if (m_pipeline.stream_state == 1) resetRGBStreamClose();
    else if (m_pipeline.stream_state == 2) resetRGBStreamError();
    m_hasMore = 1;
    return 1;
}

int CIImageImpl::resetRGBStreamOpen(long, long, long, long) try {
    // The clip and scale come from the members, whatever the arguments say.
    Utf8 path(m_path);
    RgbaSource source = {};
    source.path = path.data;
    source.type = m_type;
    source.band_count = m_bandCount;
    source.width = m_width;
    source.clip_x = m_clipX;
    source.clip_y = m_clipY;
    source.clip_width = m_clipWidth;
    source.clip_height = m_clipHeight;
    source.scale = m_scale;
    source.external_colormap = &m_externalColorMap;
    source.map_path = m_colorMap && m_colorMap->changed();
    source.lookup = [](void* self, Image* image) {
        static_cast<CIImageImpl*>(self)->lookupFunction(image);
    };
    source.context = this;
    return rgba_open(&m_pipeline, source);
} catch (...) {
    return 0;  // out of memory for the path: no read, and nothing escapes
}

int CIImageImpl::resetRGBStreamClose() { return rgba_close(&m_pipeline); }

int CIImageImpl::resetRGBStreamError() { return rgba_error(&m_pipeline); }

void CIImageImpl::getRGBStreamRow(void* block) { rgba_row(&m_pipeline, block); }

void CIImageImpl::lookupFunction(Image* image) {
    if (m_bandCount >= 3 || !m_colorMap || !image->grow2) return;
    const int w = image->out_last_x - image->out_x + 1;
    uint8_t* target = reinterpret_cast<uint8_t*>(image->grow2);
    for (int i = 0; i < w; ++i) {
        double value;
        if (image->row_resampled) {
            if (!image->grow) return;
            value = image->grow[i];
        } else {
            const int32_t column = image->col_map ? image->col_map[i] : i;
            if (m_depth <= 8 && image->row8) value = image->row8[column];
            else if (m_depth > 8 && m_depth <= 16 && image->row16) value = image->row16[column];
            // 32-bit samples are signed integers here: no float grid reaches this path.
            else if (m_depth > 16 && m_depth <= 32 && image->row32)
                value = static_cast<int32_t>(image->row32[column]);
            else return;
        }
        unsigned char r, g, b, a;
        m_colorMap->getColor(value, r, g, b, a);
        uint8_t* pixel = target + 4 * static_cast<size_t>(i);
        pixel[0] = r;
        pixel[1] = g;
        pixel[2] = b;
        pixel[3] = a;
    }
}
