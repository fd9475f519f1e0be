#include <tarnimage/variant.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {
const long kHolderInterfaceId = 24;
}

CTarnVariant::CTarnVariant() {}
CTarnVariant::CTarnVariant(ITarnFeatureGeometry* geometry) : m_type(TypeGeometry), m_geometry(geometry) {}
CTarnVariant::CTarnVariant(CTarnDate& date) : m_type(TypeDate), m_date(date) {}
CTarnVariant::CTarnVariant(CTarnUString& text) : m_type(TypeString), m_text(text) {}
CTarnVariant::CTarnVariant(long value) : m_type(TypeLong), m_long(value) {}
CTarnVariant::CTarnVariant(double& value) : m_type(TypeDouble), m_double(value) {}
CTarnVariant::CTarnVariant(float value) : m_type(TypeFloat), m_double(value) {}
CTarnVariant::CTarnVariant(short value) : m_type(TypeShort), m_long(value) {}

CTarnVariant::CTarnVariant(const CTarnVariant& other) : ITarnRefCnt() { CTarnVariant::assign(other); }

CTarnVariant& CTarnVariant::operator=(const CTarnVariant& other) {
    assign(other);
    return *this;
}

CTarnVariant::~CTarnVariant() {}

long CTarnVariant::addRef() { return ++m_variantRefCount; }

long CTarnVariant::release() {
    long count = --m_variantRefCount;
    if (count == 0) delete this;
    return count;
}

void* CTarnVariant::queryInterface(long) { return nullptr; }

CTarnVariant* CTarnVariant::clone() const { return new (std::nothrow) CTarnVariant(*this); }

long CTarnVariant::asLong() const {
    switch (m_type) {
    case TypeLong:
    case TypeShort:
        return m_long;
    case TypeDouble:
    case TypeFloat: {
        // Truncates toward zero; values beyond long's range clamp instead of overflowing.
        const double limit = std::ldexp(1.0, std::numeric_limits<long>::digits);
        if (std::isnan(m_double)) return 0;
        if (m_double >= limit) return std::numeric_limits<long>::max();
        if (m_double < -limit) return std::numeric_limits<long>::min();
        return static_cast<long>(m_double);
    }
    default:
        return 0;
    }
}

double CTarnVariant::asDouble() const {
    switch (m_type) {
    case TypeLong:
    case TypeShort:
        return static_cast<double>(m_long);
    case TypeDouble:
    case TypeFloat:
        return m_double;
    default:
        return 0.0;
    }
}

void CTarnVariant::assign(const CTarnVariant& other) {
    if (&other == this) return;
    m_type = other.m_type;
    m_data = other.m_data;
    m_length = other.m_length;
    m_long = other.m_long;
    m_double = other.m_double;
    m_text = other.m_text;
    m_date = other.m_date;
    m_geometry = other.m_geometry;
}

DirectMemoryHolder::DirectMemoryHolder() {}
DirectMemoryHolder::DirectMemoryHolder(ITarnFeatureGeometry* geometry) : CTarnVariant(geometry) {}
DirectMemoryHolder::DirectMemoryHolder(CTarnDate& date) : CTarnVariant(date) {}
DirectMemoryHolder::DirectMemoryHolder(CTarnUString& text) : CTarnVariant(text) {}
DirectMemoryHolder::DirectMemoryHolder(long value) : CTarnVariant(value) {}
DirectMemoryHolder::DirectMemoryHolder(double& value) : CTarnVariant(value) {}
DirectMemoryHolder::DirectMemoryHolder(float value) : CTarnVariant(value) {}
DirectMemoryHolder::DirectMemoryHolder(short value) : CTarnVariant(value) {}

DirectMemoryHolder::DirectMemoryHolder(const DirectMemoryHolder& other) : CTarnVariant(other) { ownCopyOfBlock(); }
DirectMemoryHolder::DirectMemoryHolder(const CTarnVariant& other) : CTarnVariant(other) { ownCopyOfBlock(); }

DirectMemoryHolder::DirectMemoryHolder(void* data, long length, Deallocator deallocator)
    : m_deallocator(deallocator) {
    m_data = data;
    m_length = length;
    m_type = TypeMemory;
}

DirectMemoryHolder::~DirectMemoryHolder() { clear(); }

long DirectMemoryHolder::addRef() { return ++m_refCount; }

long DirectMemoryHolder::release() {
    long count = --m_refCount;
    if (count == 0) delete this;
    return count;
}

void* DirectMemoryHolder::queryInterface(long id) {
    if (id != kHolderInterfaceId) return nullptr;
    addRef();
    return this;
}

CTarnVariant* DirectMemoryHolder::clone() const {
    DirectMemoryHolder* copy = new (std::nothrow) DirectMemoryHolder();
    if (copy) copy->assign(*this);
    return copy;
}

void DirectMemoryHolder::assign(const CTarnVariant& other) {
    if (&other == this) return;
    clear();
    CTarnVariant::assign(other);
    ownCopyOfBlock();
}

/* Two holders never share a block: each frees its own, so a copy takes the
 * bytes into a fresh malloc'd block that clear() frees. */
void DirectMemoryHolder::ownCopyOfBlock() {
    m_deallocator = nullptr;
    if (m_type != TypeMemory || !m_data) return;
    void* copy = m_length > 0 ? std::malloc(static_cast<size_t>(m_length)) : nullptr;
    if (copy) std::memcpy(copy, m_data, static_cast<size_t>(m_length));
    m_data = copy;
    if (!copy) m_length = 0;
}

void DirectMemoryHolder::clear() {
    if (m_data) {
        if (m_deallocator) {
            try {
                m_deallocator(m_data);
            } catch (...) {
            }
        } else {
            std::free(m_data);  // blocks without a deallocator come from malloc
        }
    }
    m_data = nullptr;
    m_length = 0;
    m_deallocator = nullptr;
}
