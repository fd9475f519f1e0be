#ifndef TARN_OBJECTS_COLORMAP_IMPL_H
#define TARN_OBJECTS_COLORMAP_IMPL_H

#include <atomic>
#include <stdint.h>

#include <tarnimage/interfaces.h>

/* One entry: an exact value or a range, with which ends belong to it. */
struct CMapEntry {
    int32_t kind;      /* bit 0 opens the low end, bit 1 the high end */
    CTarnUString label;
    double low;
    double high;       /* equals low for an exact entry */
    int32_t exact;
    unsigned char color[4];
};

/* The sparse colour map a host sees and edits: pixel values, exact or in
 * ranges, to red, green, blue and alpha, and an "other" colour for the rest. */
class CIntegratorCMapImpl : public ITarnRasterColorMap {
public:
    CIntegratorCMapImpl();
    /* The map of a colour file: "value red green blue [label]" lines. */
    CIntegratorCMapImpl(const CTarnUString& name, long unused);
    ~CIntegratorCMapImpl() override;
    CIntegratorCMapImpl(const CIntegratorCMapImpl&) = delete;
    CIntegratorCMapImpl& operator=(const CIntegratorCMapImpl&) = delete;

    long addRef() override { return ++m_refCount; }
    long release() override;
    long getLookupCount() override { return m_count; }
    long getLookup(long index, double& low, double& high, unsigned char& red,
                   unsigned char& green, unsigned char& blue, unsigned char& alpha, int& kind,
                   CTarnUString& label) override;
    void getOther(unsigned char& red, unsigned char& green, unsigned char& blue,
                  unsigned char& alpha, CTarnUString& label) override;
    long canChange() override { return 1; }
    void clear() override;
    long addExact(double value, unsigned char red, unsigned char green, unsigned char blue,
                  unsigned char alpha, CTarnUString& label) override;
    long addRange(double low, double high, unsigned char red, unsigned char green,
                  unsigned char blue, unsigned char alpha, int kind, CTarnUString& label) override;
    long setOther(unsigned char red, unsigned char green, unsigned char blue, unsigned char alpha,
                  CTarnUString& label) override;

    void getColor(double value, unsigned char& red, unsigned char& green, unsigned char& blue,
                  unsigned char& alpha);
    double getMinIndex();
    double getMaxIndex();
    /* The map has content worth applying to the image's pixels. */
    bool changed() const { return m_changed != 0; }
    void setChanged() { m_changed = 1; }

private:
    bool append(CMapEntry* entry);
    void sort();

    int32_t m_sorted = 0;
    int32_t m_capacity = 0;
    std::atomic<int32_t> m_refCount{1};
    CMapEntry** m_entries = nullptr;
    int32_t m_count = 0;
    CTarnUString m_otherLabel;
    int32_t m_fromFile = 0;
    unsigned char m_other[4] = {0, 0, 0, 255};
    int32_t m_changed = 0;
};

#endif
