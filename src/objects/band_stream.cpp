// Band streams and their collection: the objects' side of raw band reads. The
// path itself is the band pipeline's.

#include "objects/band_stream.h"

#include <new>
#include <stdlib.h>
#include <string.h>

#include "channel/identify.h"
#include "objects/image_impl.h"

namespace {

// A sample of up to 4 bytes is written to the start of every block.
constexpr size_t kMinimumBlock = 4;

void free_block(void* block) { free(block); }

}  // namespace

std::mutex& CIIBandStreamImpl::integratorLock() {
    static std::mutex lock;
    return lock;
}

CIIBandStreamImpl::CIIBandStreamImpl(CIImageImpl* parent, const CTarnUString& path, long band,
                                     long, long, long width, long height)
    : m_blockWidth(static_cast<int32_t>(width)),
      m_blockHeight(static_cast<int32_t>(height)),
      m_path(path),
      m_band(static_cast<int32_t>(band)),
      m_parent(parent) {
    band_init(&m_pipeline);
    m_parent->internalAddRef();
    char resolved[TARN_PATH_MAX];
    resolved[0] = '\0';
    int type = -1;
    Utf8 name(m_path);
    if (name.data) get_image_type_from_name(name.data, resolved, &type);
    m_type = type;
    GetPDPixelDepth(m_parent->getPixelDepth(0), resolved);
}

CIIBandStreamImpl::~CIIBandStreamImpl() {
    if (m_pipeline.stream_state != 0) band_close(&m_pipeline);
    m_parent->internalRelease();
}

long CIIBandStreamImpl::release() {
    long count = --m_refCount;
    if (count == 0) delete this;
    return count;
}

void CIIBandStreamImpl::GetPDPixelDepth(long depth, char*) {
    m_pixelDepth = band_depth_code(static_cast<int>(depth));
    m_sampleBits = depth < 9 ? 8 : static_cast<int32_t>(depth);
}

void CIIBandStreamImpl::getBlockSize(long* width, long* height) {
    if (width) *width = m_blockWidth;
    if (height) *height = m_blockHeight;
}

long CIIBandStreamImpl::reset() {
    if (m_pipeline.stream_state == 1) resetBandStreamClose();
    else if (m_pipeline.stream_state == 2) resetBandStreamError();
    m_hasMore = 1;
    return 1;
}

int CIIBandStreamImpl::resetBandStreamOpen(long x, long y, long, long) try {
    Utf8 path(m_path);
    BandSource source = {};
    source.path = path.data;
    source.type = m_type;
    source.band = m_band;
    source.band_count = static_cast<int32_t>(m_parent->getBandCount());
    source.columns = static_cast<int32_t>(m_parent->getWidth());
    source.block_width = m_blockWidth;
    source.block_height = m_blockHeight;
    source.x = static_cast<int32_t>(x);
    source.y = static_cast<int32_t>(y);
    source.depth_code = m_pixelDepth;
    return band_open(&m_pipeline, source);
} catch (...) {
    return 0;
}

int CIIBandStreamImpl::resetBandStreamClose() { return band_close(&m_pipeline); }

int CIIBandStreamImpl::resetBandStreamError() { return band_error(&m_pipeline); }

void CIIBandStreamImpl::getBandStreamRow(void* block) { band_row(&m_pipeline, block); }

DirectMemoryHolder* CIIBandStreamImpl::getData(long* x, long* y, long* width, long* height) {
    if (!x || !y || !width || !height) return nullptr;
    void* block = nullptr;
    size_t bytes = 0;
    {
        std::lock_guard<std::mutex> guard(integratorLock());
        if (m_pipeline.stream_state != 1) resetBandStreamOpen(*x, *y, *width, *height);
        if (m_pipeline.stream_state != 1) {
            resetBandStreamClose();
            return nullptr;
        }
        bytes = static_cast<size_t>(m_blockWidth > 0 ? m_blockWidth : 0) *
                static_cast<size_t>(m_blockHeight > 0 ? m_blockHeight : 0);
        if (bytes < kMinimumBlock) bytes = kMinimumBlock;
        block = calloc(bytes, 1);
        if (!block) {
            resetBandStreamClose();
            return nullptr;
        }
        while (m_pipeline.stream_state == 1 && m_pipeline.out_row < m_pipeline.image.out_rows)
            getBandStreamRow(block);
        bool no_data = band_sample_is_no_data(&m_pipeline, block);
        resetBandStreamClose();
        m_hasMore = 0;
        if (no_data) {
            free(block);
            return nullptr;
        }
    }
    DirectMemoryHolder* holder = new (std::nothrow)
        DirectMemoryHolder(block, static_cast<long>(m_blockWidth) * m_blockHeight, free_block);
    if (!holder) free(block);
    return holder;
}

CIIStreamCollectionImpl::CIIStreamCollectionImpl(CIImageImpl* parent, const CTarnUString& path,
                                                 long x, long y, long width, long height)
    : m_clipX(static_cast<int32_t>(x)),
      m_clipY(static_cast<int32_t>(y)),
      m_clipWidth(static_cast<int32_t>(width)),
      m_clipHeight(static_cast<int32_t>(height)),
      m_path(path),
      m_parent(parent) {
    m_parent->internalAddRef();
}

CIIStreamCollectionImpl::~CIIStreamCollectionImpl() {
    // Each slot holds one reference, dropped here; the host's references from
    // get are the host's to release.
    clearObjects();
    free(m_bands);
    m_parent->internalRelease();
}

long CIIStreamCollectionImpl::release() {
    long count = --m_refCount;
    if (count == 0) delete this;
    return count;
}

long CIIStreamCollectionImpl::checkIndex(long band) {
    for (int32_t i = 0; i < m_bandCount; ++i)
        if (m_bands[i] == band) return 0;
    return 1;
}

long CIIStreamCollectionImpl::addStream(long band) {
    if (!checkIndex(band)) return 0;
    int32_t* bands = static_cast<int32_t*>(realloc(m_bands, sizeof(int32_t) * (m_bandCount + 1)));
    if (!bands) return 0;
    m_bands = bands;
    CIIBandStreamImpl* stream = new (std::nothrow) CIIBandStreamImpl(
        m_parent, m_path, band, m_clipWidth / 2 + m_clipX + 1, m_clipHeight / 2 + m_clipY + 1,
        m_clipWidth, m_clipHeight);
    if (!stream) return 0;
    if (!set(m_bandCount, stream)) {
        stream->release();
        return 0;
    }
    m_bands[m_bandCount++] = static_cast<int32_t>(band);
    stream->release();  // the slot holds it now
    return 1;
}

IInternalRStream* CIIStreamCollectionImpl::get(long index) {
    if (index < 0 || index >= m_bandCount) return nullptr;
    auto* stream = static_cast<CIIBandStreamImpl*>(getObject(index));
    if (stream) stream->addRef();
    return stream;
}

long CIIStreamCollectionImpl::getBandNumber(long index) {
    if (index < 0 || index >= m_bandCount) return -1;
    return m_bands[index];
}
