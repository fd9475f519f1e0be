#ifndef TARN_OBJECTS_IMAGE_IMPL_H
#define TARN_OBJECTS_IMAGE_IMPL_H

#include <atomic>
#include <mutex>
#include <stdint.h>

#include <tarnimage/image.h>
#include <tarnimage/interfaces.h>

#include "pipeline/rgba_pipeline.h"

/* A temporary UTF-8 copy of a string, released with the scope. */
struct Utf8 {
    explicit Utf8(const CTarnUString& text) : data(text.getUTF8EncodedBuffer()) {}
    ~Utf8() { CTarnUString::releaseCharBuffer(data); }
    Utf8(const Utf8&) = delete;
    Utf8& operator=(const Utf8&) = delete;
    char* data;
};

/* One raster file as the host sees it. The embedded Image is idle between
 * reads: every getData opens the file and closes it again. */
class CIntegratorCMapImpl;

class CIImageImpl : public IInternalImage, public IInternalRStream {
public:
    CIImageImpl();
    explicit CIImageImpl(const CTarnUString& path);
    ~CIImageImpl() override;
    CIImageImpl(const CIImageImpl&) = delete;
    CIImageImpl& operator=(const CIImageImpl&) = delete;

    long addRef() override;
    long release() override;
    IInternalImage* clone() const override;
    long getType() override { return m_type; }
    long getWidth() override { return m_width; }
    long getHeight() override { return m_height; }
    long getPixelDepth(long) override { return m_depth; }
    long getBandCount() override { return m_bandCount; }
    const CTarnUString& getName() override { return m_name; }
    const CTarnUString& getBandName(long) override { return m_bandName; }
    bool isGeoReferenced() override;
    const CTarnUString& getProjectionParameters() override { return m_projection; }
    void getGeoReference(double* a, double* b, double* c, double* d, double* e, double* f) override;
    long hasStatistic() override { return 0; }
    long getStatistic(long) override { return 0; }
    void setClipRect(long x, long y, long width, long height) override;
    void getResultRect(long* x, long* y, long* width, long* height) override;
    long canBeScaled() override { return 1; }
    void setScale(double scale) override { m_scale = scale; }
    double getScale() override { return m_scale; }
    IInternalRStream* getRGBStream() override;
    IInternalRStreamCollection* getStreams(int* bands, int count) override;
    ITarnRasterColorMap* getColorMap() override;
    void Open(const CTarnUString& path) override;
    void Close() override {}
    long internalAddRef() override;
    long internalRelease() override;
    long getFetchModes() override { return 1; }
    long reset() override;
    long setFetchMode(long mode) override;
    long getPixelDepth() override { return 7; }
    void getBlockSize(long* width, long* height) override;
    DirectMemoryHolder* getData(long* x, long* y, long* width, long* height) override;
    long hasMore() override { return m_hasMore; }

    int isValid() const { return m_valid; }

    /* The RGB stream, forwarded to the pipeline: one open, one pass over the
     * rows, one close per getData. */
    int resetRGBStreamOpen(long x, long y, long width, long height);
    int resetRGBStreamClose();
    int resetRGBStreamError();
    void getRGBStreamRow(void* block);
    void lookupFunction(Image* image);
    const CTarnUString& getPath() const { return m_path; }
    Colormap* MakeGridColorMap(char* name);
    static void SetNominalColors(uint8_t* red, uint8_t* green, uint8_t* blue);
    /* The one lock of this class around the core: identification in Open, the
     * world transform, and whole reads in getData. */
    static std::mutex& integratorLock();

private:
    friend struct CIImageImplTestAccess;
    void initialise();
    void storeGeoReference(const double transform[6]);
    void reportUnreadableHeader();
    void destroy();

    std::atomic<int32_t> m_refCount{1};
    std::atomic<int32_t> m_internalRefCount{0};
    /* Host and internal references together: the one count whose last
     * release deletes, so that two threads never both see the end. */
    std::atomic<int32_t> m_liveCount{1};
    int32_t m_colorMapPending = 1;
    CIntegratorCMapImpl* m_colorMap = nullptr;
    /* The read in progress, with its Image record and display state. */
    RgbaPipeline m_pipeline;
    /* Set, after the georeference is stored, by the first isGeoReferenced;
     * threads sharing the object may ask at once. */
    std::atomic<uint8_t> m_geoTried{0};
    uint8_t m_geoValid = 0;
    double m_geoReference[6] = {0, 0, 0, 0, 0, 0};
    int32_t m_type = -1;
    int32_t m_bandCount = 0;
    int32_t m_valid = 0;
    int32_t m_depth = 0;
    int32_t m_width = 0;
    int32_t m_height = 0;
    int32_t m_fetchMode = 4;
    int32_t m_hasMore = 0;
    Colormap* m_externalColorMap = nullptr;
    CTarnUString m_path;
    CTarnUString m_name;
    CTarnUString m_bandName;
    CTarnUString m_projection;
    IInternalRStreamCollection* m_streams = nullptr;
    int32_t m_clipX = 0;
    int32_t m_clipY = 0;
    int32_t m_clipWidth = 0;
    int32_t m_clipHeight = 0;
    double m_scale = 1.0;
    bool m_refusalExplained = false;  // Open gave an error message for the file
    CTarnUString m_givenPath;         // the path as the host named it, for messages
};

#endif
