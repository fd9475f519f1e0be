#ifndef TARN_OBJECTS_BAND_STREAM_H
#define TARN_OBJECTS_BAND_STREAM_H

#include <atomic>
#include <mutex>
#include <stdint.h>

#include <tarnimage/interfaces.h>

#include "pipeline/band_pipeline.h"
#include "platform/collection.h"

class CIImageImpl;

/* Raw values of one band: each getData answers the sample at the top left of
 * the rectangle it is given. Holds its image with an internal reference. */
class CIIBandStreamImpl : public IInternalRStream {
public:
    CIIBandStreamImpl(CIImageImpl* parent, const CTarnUString& path, long band, long x, long y,
                      long width, long height);
    ~CIIBandStreamImpl() override;
    CIIBandStreamImpl(const CIIBandStreamImpl&) = delete;
    CIIBandStreamImpl& operator=(const CIIBandStreamImpl&) = delete;

    long addRef() override { return ++m_refCount; }
    long release() override;
    long getFetchModes() override { return 1; }
    long reset() override;
    long setFetchMode(long) override { return 0; }
    long getPixelDepth() override { return m_pixelDepth; }
    void getBlockSize(long* width, long* height) override;
    /* The arguments are the rectangle to read, not outputs. */
    DirectMemoryHolder* getData(long* x, long* y, long* width, long* height) override;
    long hasMore() override { return m_hasMore; }

    void GetPDPixelDepth(long depth, char* path);
    int resetBandStreamOpen(long x, long y, long width, long height);
    int resetBandStreamClose();
    int resetBandStreamError();
    void getBandStreamRow(void* block);
    /* The one lock of this class around the core, apart from the RGB stream's. */
    static std::mutex& integratorLock();

private:
    std::atomic<int32_t> m_refCount{1};
    int32_t m_hasMore = 1;
    int32_t m_blockWidth = 0;
    int32_t m_blockHeight = 0;
    CTarnUString m_path;
    int32_t m_band = 0;
    int32_t m_pixelDepth = -1;
    int32_t m_type = -1;
    CIImageImpl* m_parent = nullptr;
    BandPipeline m_pipeline;
    int32_t m_sampleBits = 8;
};

/* The band streams of one image over one clip rectangle, one per band asked
 * for, duplicates dropped. */
class CIIStreamCollectionImpl : public IInternalRStreamCollection, public CTarnObjectCollectionImpl {
public:
    CIIStreamCollectionImpl(CIImageImpl* parent, const CTarnUString& path, long x, long y,
                            long width, long height);
    ~CIIStreamCollectionImpl() override;

    long addRef() override { return ++m_refCount; }
    long release() override;
    long getCount() override { return m_bandCount; }
    /* The stream at a position, with a new reference; null past the count. */
    IInternalRStream* get(long index) override;
    long getBandNumber(long index) override;
    /* 1 when a stream was added, 0 for a band already present or a failure. */
    long addStream(long band);
    /* 1 when the band is not yet in the collection. */
    long checkIndex(long band);

private:
    std::atomic<int32_t> m_refCount{1};
    int32_t* m_bands = nullptr;
    int32_t m_bandCount = 0;
    int32_t m_clipX, m_clipY, m_clipWidth, m_clipHeight;
    CTarnUString m_path;
    CIImageImpl* m_parent;
};

#endif
