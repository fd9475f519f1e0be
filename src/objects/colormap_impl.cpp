// The host's colour map object. Colour files hold one line per value:
//
//   value red green blue [label]      decimal, the label the rest of the line
//   # or ! as the first word          a comment
//
// Entries are searched by a binary search over a sorted array; the order of
// entries is not a strict one (two ranges that both open at the same low end
// each sort after the other), so a stable merge sort of our own gives every
// run the same order.

#include "objects/colormap_impl.h"

#include <new>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "platform/text_lines.h"
#include <tarnimage/tarn_file.h>

namespace {

const char kOtherLabel[] = "Out of range";
constexpr int32_t kFirstCapacity = 256;

bool open_low(const CMapEntry* e) { return !e->exact && (e->kind == 1 || e->kind == 3); }
bool open_high(const CMapEntry* e) { return !e->exact && (e->kind == 2 || e->kind == 3); }
double top(const CMapEntry* e) { return e->exact ? e->low : e->high; }

// The tests are written as failures of plain comparisons, so that a NaN
// passes every one of them.
bool below_low(const CMapEntry* e, double v) { return open_low(e) ? !(v > e->low) : v < e->low; }
bool above_top(const CMapEntry* e, double v) {
    if (e->exact) return v > e->low;
    return open_high(e) ? !(v < e->high) : v > e->high;
}
bool contains(const CMapEntry* e, double v) {
    if (e->exact) return v == e->low;
    return !below_low(e, v) && !above_top(e, v);
}

int compare_tarncmap(const CMapEntry* a, const CMapEntry* b) {
    if (open_low(a) ? a->low >= b->low : a->low > b->low) return 1;
    if (open_low(b) ? b->low >= a->low : b->low > a->low) return -1;
    if (open_high(b) ? a->high >= b->high : a->high > top(b)) return 1;
    if (open_high(a)) return b->high >= a->high ? -1 : 0;
    return b->high > top(a) ? -1 : 0;
}

void merge_sort(CMapEntry** items, CMapEntry** scratch, int32_t count) {
    if (count < 2) return;
    int32_t half = count / 2;
    merge_sort(items, scratch, half);
    merge_sort(items + half, scratch, count - half);
    int32_t i = 0, j = half, k = 0;
    while (i < half && j < count)
        scratch[k++] = compare_tarncmap(items[j], items[i]) < 0 ? items[j++] : items[i++];
    while (i < half) scratch[k++] = items[i++];
    while (j < count) scratch[k++] = items[j++];
    memcpy(items, scratch, sizeof(CMapEntry*) * static_cast<size_t>(count));
}

}  // namespace

CIntegratorCMapImpl::CIntegratorCMapImpl() : m_otherLabel(kOtherLabel) {}

CIntegratorCMapImpl::CIntegratorCMapImpl(const CTarnUString& name, long)
    : m_otherLabel(kOtherLabel) {
    FILE* file = tarn_fopen(name, "rb");
    if (!file) return;
    char line[512];
    for (;;) {
        char* got = S_BasicReadStr(line, sizeof line, file);
        if (!got) break;
        char word[512];
        if (sscanf(line, "%511s", word) != 1 || word[0] == '!' || word[0] == '#') continue;
        int value, red, green, blue;
        char label[512] = "";
        int items = sscanf(line, "%d %d %d %d %511[^\n]", &value, &red, &green, &blue, label);
        if (items < 4 || value < 0) continue;
        if (items == 4) snprintf(label, sizeof label, "%d", value);
        CMapEntry* entry = new (std::nothrow) CMapEntry{2, CTarnUString(label), double(value),
                                                        double(value), 1, {0, 0, 0, 255}};
        if (!entry) break;
        entry->color[0] = static_cast<unsigned char>(red);
        entry->color[1] = static_cast<unsigned char>(green);
        entry->color[2] = static_cast<unsigned char>(blue);
        if (!append(entry)) break;
    }
    tarn_fclose(file);
    sort();
    // The other colour of a map read from a file is that of its lowest value;
    // a file without entries leaves it black.
    if (m_count > 0) memcpy(m_other, m_entries[0]->color, sizeof m_other);
    m_fromFile = 1;
    m_sorted = 0;
}

CIntegratorCMapImpl::~CIntegratorCMapImpl() { clear(); }

long CIntegratorCMapImpl::release() {
    long count = --m_refCount;
    if (count == 0) delete this;
    return count;
}

bool CIntegratorCMapImpl::append(CMapEntry* entry) {
    if (m_count >= m_capacity) {
        int32_t capacity = m_capacity == 0 ? kFirstCapacity : m_capacity * 2;
        auto** grown = static_cast<CMapEntry**>(
            realloc(m_entries, sizeof(CMapEntry*) * static_cast<size_t>(capacity)));
        if (!grown) {
            delete entry;
            return false;
        }
        m_entries = grown;
        m_capacity = capacity;
    }
    m_entries[m_count++] = entry;
    m_sorted = 0;
    return true;
}

void CIntegratorCMapImpl::sort() {
    if (m_count > 1) {
        std::vector<CMapEntry*> scratch(static_cast<size_t>(m_count));
        merge_sort(m_entries, scratch.data(), m_count);
    }
    m_sorted = 1;
}

void CIntegratorCMapImpl::getColor(double v, unsigned char& red, unsigned char& green,
                                   unsigned char& blue, unsigned char& alpha) {
    const unsigned char* colour = m_other;
    if (!m_sorted) sort();
    if (m_count > 0 && !below_low(m_entries[0], v) && !above_top(m_entries[m_count - 1], v)) {
        int32_t lo = 0, hi = m_count - 1, mid = hi / 2;
        const unsigned char* found = nullptr;
        while (lo != hi - 1 && !found) {
            int32_t step;
            if (above_top(m_entries[mid], v)) {
                lo = mid;
                step = hi - mid;
            } else if (!below_low(m_entries[mid], v)) {
                found = m_entries[mid]->color;
                break;
            } else {
                hi = mid;
                step = mid - lo;
            }
            mid = lo + step / 2;
            // A single entry leaves lo and hi at 0: the end tests found it already.
            if (hi == lo) break;
        }
        if (found) colour = found;
        else if (contains(m_entries[hi], v)) colour = m_entries[hi]->color;
        else if (contains(m_entries[lo], v)) colour = m_entries[lo]->color;
    }
    red = colour[0];
    green = colour[1];
    blue = colour[2];
    alpha = colour[3];
}

double CIntegratorCMapImpl::getMinIndex() {
    if (!m_sorted) sort();
    return m_count > 0 ? m_entries[0]->low : 0.0;
}

double CIntegratorCMapImpl::getMaxIndex() {
    if (!m_sorted) sort();
    return m_count > 0 ? m_entries[m_count - 1]->high : 0.0;
}

long CIntegratorCMapImpl::getLookup(long index, double& low, double& high, unsigned char& red,
                                    unsigned char& green, unsigned char& blue,
                                    unsigned char& alpha, int& kind, CTarnUString& label) {
    if (index < 0 || index >= m_count) return 0;
    if (!m_sorted) sort();
    const CMapEntry* e = m_entries[index];
    low = e->low;
    high = e->high;
    red = e->color[0];
    green = e->color[1];
    blue = e->color[2];
    alpha = e->color[3];
    kind = e->kind;
    label = e->label;
    return 1;
}

void CIntegratorCMapImpl::getOther(unsigned char& red, unsigned char& green, unsigned char& blue,
                                   unsigned char& alpha, CTarnUString& label) {
    red = m_other[0];
    green = m_other[1];
    blue = m_other[2];
    alpha = m_other[3];
    label = m_otherLabel;
}

void CIntegratorCMapImpl::clear() {
    for (int32_t i = 0; i < m_count; ++i) delete m_entries[i];
    free(m_entries);
    m_entries = nullptr;
    m_count = m_capacity = 0;
    m_other[0] = m_other[1] = m_other[2] = 0;
    m_other[3] = 255;
    m_otherLabel = CTarnUString(kOtherLabel);
    m_sorted = 0;
}

long CIntegratorCMapImpl::addExact(double value, unsigned char red, unsigned char green,
                                   unsigned char blue, unsigned char alpha, CTarnUString& label) {
    for (int32_t i = 0; i < m_count; ++i)
        if (contains(m_entries[i], value)) return 0;
    CMapEntry* entry = new (std::nothrow)
        CMapEntry{2, label, value, value, 1, {red, green, blue, alpha}};
    if (!entry || !append(entry)) return 0;
    m_changed = 1;
    return 1;
}

long CIntegratorCMapImpl::addRange(double low, double high, unsigned char red,
                                   unsigned char green, unsigned char blue, unsigned char alpha,
                                   int kind, CTarnUString& label) {
    if (kind < 0 || kind > 3) kind = 2;
    CMapEntry* entry = new (std::nothrow)
        CMapEntry{kind, label, low, high, 0, {red, green, blue, alpha}};
    if (!entry || !append(entry)) return 0;
    m_changed = 1;
    return 1;
}

long CIntegratorCMapImpl::setOther(unsigned char red, unsigned char green, unsigned char blue,
                                   unsigned char alpha, CTarnUString& label) {
    m_other[0] = red;
    m_other[1] = green;
    m_other[2] = blue;
    m_other[3] = alpha;
    m_otherLabel = label;
    m_changed = 1;
    return 1;
}
