#include "objects/image_impl.h"

#include <mutex>
#include <string>
#include <vector>
#include <new>
#include <stdlib.h>
#include <string.h>

#include "channel/channel.h"
#include "objects/band_stream.h"
#include "objects/colormap_impl.h"
#include "channel/identify.h"
#include "channel/properties.h"
#include "channel/world.h"
#include "colour/colormap.h"
#include "platform/report.h"
#include <tarnimage/tarn_file.h>
#include <tarnimage/udf.h>

namespace {

// Companion files that sit beside rasters and must never be listed as images.
const char* const kCompanionEndings[] = {"met", "aux", "xml", "rrd"};

}  // namespace

std::mutex& CIImageImpl::integratorLock() {
    // Serialises this class's calls into the core, whose identification and
    // drivers keep static state.
    static std::mutex lock;
    return lock;
}

CIImageImpl::CIImageImpl() { initialise(); }

CIImageImpl::CIImageImpl(const CTarnUString& path) {
    initialise();
    Open(path);
    m_clipX = m_clipY = 0;
    m_clipWidth = m_width;
    m_clipHeight = m_height;
}

void CIImageImpl::initialise() { rgba_init(&m_pipeline); }

CIImageImpl::~CIImageImpl() { destroy(); }

void CIImageImpl::destroy() {
    reset();
    rgba_release(&m_pipeline);
    free_colormap(m_externalColorMap);
    m_externalColorMap = nullptr;
    if (m_colorMap) m_colorMap->release();
    m_colorMap = nullptr;
}

long CIImageImpl::addRef() {
    ++m_liveCount;
    return ++m_refCount;
}

long CIImageImpl::release() {
    long count = --m_refCount;
    if (count == 0 && m_streams) {
        // The collection goes with the host's last reference; the object itself
        // lives on while the collection's internal references are dropped.
        IInternalRStreamCollection* streams = m_streams;
        m_streams = nullptr;
        streams->release();
    }
    if (--m_liveCount == 0) delete this;
    return count;
}

long CIImageImpl::internalAddRef() {
    ++m_liveCount;
    return ++m_internalRefCount;
}

long CIImageImpl::internalRelease() {
    long count = --m_internalRefCount;
    if (--m_liveCount == 0) delete this;
    return count;
}

void CIImageImpl::Open(const CTarnUString& path) {
    m_valid = 0;
    // A second Open on the same object must not strand the first grid map.
    free_colormap(m_externalColorMap);
    m_externalColorMap = nullptr;
    std::mutex& lock = integratorLock();
    bool locked = false;
    try {
        CTarnUString name(path);
        CTarnUString ending = name.right(3);
        for (const char* companion : kCompanionEndings)
            if (ending.isEqualTo(companion)) return;
        // A last component shorter than three characters is no raster of ours.
        if (ending.charAt(0) == '/' || ending.charAt(1) == '/') return;

        if (name.endsWith("w") || name.endsWith("W")) {
            // A world file describes its neighbour; it is never an image itself.
            FILE* file = tarn_fopen(name, "r");
            if (file) {
                double transform[6];
                int read = tarn_read_world_file(file, transform);
                tarn_fclose(file);
                if (read) {
                    storeGeoReference(transform);
                    return;
                }
            }
        }

        char resolved[TARN_PATH_MAX];
        resolved[0] = '\0';
        Utf8 utf8(name);
        if (!utf8.data) return;
        MessageFileScope about(utf8.data);
        {
            lock.lock();
            locked = true;
            int type = -1;
            int result = get_image_type_from_name(utf8.data, resolved, &type);
            m_type = type;
            lock.unlock();
            locked = false;
            if (result == -1) {
                tarn_report(TARN_MESSAGE_INFORMATION, "not an image of any known kind");
                return;
            }
            // Any result but 1 names a dataset (a grid directory), whose colours
            // come from a map of its own.
            if (result != 1) m_externalColorMap = MakeGridColorMap(resolved);
        }

        lock.lock();
        locked = true;
        int rows = 0, columns = 0, bands = 0, depth = 0;
        int info = get_image_info(m_type, resolved, &rows, &columns, &bands, &depth);
        lock.unlock();
        locked = false;
        if (info == -1) {
            if (about.errors() == 0) reportUnreadableHeader();
            return;
        }
        // The driver has said why the rows cannot be read; a later getData
        // need not say it again in the words of each failing step.
        m_refusalExplained = about.errors() > 0;
        m_height = rows;
        m_width = columns;
        m_bandCount = bands;
        m_depth = depth;

        m_givenPath = name;
        m_valid = 1;
        tarn_setFileSystemPath(m_path, resolved);
        m_path.correctPath();
        m_name = m_path;
        m_name.subtractPath();
        m_hasMore = 1;
    } catch (...) {
        if (locked) lock.unlock();
        m_valid = 0;
    }
}

void CIImageImpl::reportUnreadableHeader() {
    if (!tarn_messages_wanted()) return;
    char keyword[64] = "";
    bool named = m_type > 1000
                     ? II_GetUDFKeyword(static_cast<uint32_t>(m_type), keyword, sizeof keyword) >= 0
                     : keyword_from_type(keyword, m_type) == 1;
    if (named)
        tarn_report(TARN_MESSAGE_ERROR, "identified as %s, but its header could not be read",
                    keyword);
    else
        tarn_report(TARN_MESSAGE_ERROR, "identified as type %d, but its header could not be read",
                    static_cast<int>(m_type));
}

bool CIImageImpl::isGeoReferenced() {
    if (!m_geoTried) {
        std::lock_guard<std::mutex> guard(integratorLock());
        if (!m_geoTried) {
            double t[6] = {0, 0, 0, 0, 0, 0};
            int result = -1;
            try {
                Utf8 utf8(m_path);
                result = utf8.data ? get_image_to_world_transform(m_type, utf8.data, t) : -1;
            } catch (...) {
                result = -1;  // out of memory: no georeference, and nothing escapes
            }
            if (result == -1) {
                m_geoValid = 0;
            } else {
                m_geoValid = 1;
                storeGeoReference(t);
            }
            m_geoTried = 1;
        }
    }
    return m_geoValid != 0;
}

// A transform (xscale, yskew, xskew, yscale, xorigin, yorigin) is kept as the
// coefficients of x = a*col + b*row + c and y = d*col + e*row + f.
void CIImageImpl::storeGeoReference(const double t[6]) {
    const int order[6] = {0, 2, 4, 1, 3, 5};
    for (int i = 0; i < 6; ++i) m_geoReference[i] = t[order[i]];
}

void CIImageImpl::getGeoReference(double* a, double* b, double* c, double* d, double* e,
                                  double* f) {
    bool valid = isGeoReferenced();
    double* out[6] = {a, b, c, d, e, f};
    for (int i = 0; i < 6; ++i)
        if (out[i]) *out[i] = valid ? m_geoReference[i] : 0.0;
}

void CIImageImpl::setClipRect(long x, long y, long width, long height) {
    // Kept in the record's 32-bit fields; a host's longs beyond that range
    // are pinned rather than wrapped.
    auto pin = [](long v) -> int32_t {
        if (v > INT32_MAX) return INT32_MAX;
        if (v < INT32_MIN) return INT32_MIN;
        return static_cast<int32_t>(v);
    };
    m_clipX = pin(x);
    m_clipY = pin(y);
    m_clipWidth = pin(width);
    m_clipHeight = pin(height);
    if (m_clipX < 0) m_clipX = 0;
    if (m_clipY < 0) m_clipY = 0;
    if (static_cast<long long>(m_clipX) + m_clipWidth >= m_width) m_clipWidth = m_width - m_clipX;
    if (static_cast<long long>(m_clipY) + m_clipHeight >= m_height)
        m_clipHeight = m_height - m_clipY;
    if (m_clipWidth < 0) m_clipWidth = 0;
    if (m_clipHeight < 0) m_clipHeight = 0;
    if (m_streams) {
        m_streams->release();
        m_streams = nullptr;
    }
}

void CIImageImpl::getResultRect(long* x, long* y, long* width, long* height) {
    if (x) *x = m_clipX;
    if (y) *y = m_clipY;
    if (width) *width = m_clipWidth;
    if (height) *height = m_clipHeight;
}

IInternalImage* CIImageImpl::clone() const {
    // Out of memory gives null rather than an exception in the host.
    if (!m_valid) return new (std::nothrow) CIImageImpl();
    CIImageImpl* copy = nullptr;
    try {
        copy = new CIImageImpl(m_path);
    } catch (...) {
        return nullptr;
    }
    copy->setClipRect(m_clipX, m_clipY, m_clipWidth, m_clipHeight);
    return copy;
}

IInternalRStream* CIImageImpl::getRGBStream() {
    addRef();
    return static_cast<IInternalRStream*>(this);
}

IInternalRStreamCollection* CIImageImpl::getStreams(int* bands, int count) {
    // One collection per clip: a second call gives the same streams, whatever
    // bands it asks for, until setClipRect drops them.
    if (!m_streams) {
        auto* streams = new (std::nothrow)
            CIIStreamCollectionImpl(this, m_path, m_clipX, m_clipY, m_clipWidth, m_clipHeight);
        if (!streams) return nullptr;
        for (int i = 0; bands && i < count; ++i) streams->addStream(bands[i]);
        m_streams = streams;
    }
    m_streams->addRef();
    return m_streams;
}

ITarnRasterColorMap* CIImageImpl::getColorMap() {
    if (!m_valid || m_bandCount > 1) return nullptr;
    if (m_colorMapPending) {
        m_colorMapPending = 0;
        m_colorMap = nullptr;
        try {
            Utf8 path(m_path);
            std::string name = path.data ? path.data : "";
            // Grids have no extension for the colour file's name to replace.
            if (image_type_is_dataset(m_type)) name += ".aaa";
            std::vector<char> colour_name(name.size() + 8, '\0');
            if (get_standard_color_name(name.c_str(), colour_name.data()) < 0) {
                m_colorMap = new (std::nothrow) CIntegratorCMapImpl();
            } else {
                m_colorMap = new (std::nothrow)
                    CIntegratorCMapImpl(CTarnUString(colour_name.data()), m_type);
                if (m_colorMap) m_colorMap->setChanged();
            }
        } catch (...) {
            m_colorMap = nullptr;  // out of memory: no map, and nothing escapes
        }
    }
    if (m_colorMap) m_colorMap->addRef();
    return m_colorMap;
}

long CIImageImpl::setFetchMode(long mode) {
    if (mode != 1) return 0;
    m_fetchMode = 1;
    return 1;
}

void CIImageImpl::getBlockSize(long* width, long* height) {
    if (width) *width = m_clipWidth;
    if (height) *height = m_fetchMode == 2 ? 1 : m_clipHeight;
}

void CIImageImpl::SetNominalColors(uint8_t* red, uint8_t* green, uint8_t* blue) {
    static const uint8_t kNominal[16][3] = {
        {0, 0, 0},       {255, 255, 255}, {255, 0, 0},     {0, 255, 0},
        {0, 0, 255},     {0, 255, 255},   {255, 0, 255},   {255, 255, 0},
        {255, 165, 0},   {152, 251, 152}, {127, 255, 0},   {0, 0, 128},
        {160, 32, 240},  {255, 20, 147},  {192, 192, 192}, {105, 105, 105}};
    for (int i = 0; i < 16; ++i) {
        red[i] = kNominal[i][0];
        green[i] = kNominal[i][1];
        blue[i] = kNominal[i][2];
    }
}

Colormap* CIImageImpl::MakeGridColorMap(char*) {
    // Grids are never identified here (their probes always answer no).
    return nullptr;
}

