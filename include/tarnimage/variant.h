#ifndef TARNIMAGE_VARIANT_H
#define TARNIMAGE_VARIANT_H

#include <atomic>

#include <tarnimage/export.h>
#include <tarnimage/refcnt.h>
#include <tarnimage/tarn_string.h>

class ITarnFeatureGeometry;

struct TARN_EXPORT CTarnDate {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
};

/* A tagged value. Type 7 carries a block of memory: data() and length() give
 * it to the host, which must not free it; the holder's release does. */
class TARN_EXPORT CTarnVariant : public ITarnRefCnt {
public:
    enum Type {
        TypeEmpty = 0, TypeLong = 1, TypeDouble = 2, TypeFloat = 3, TypeShort = 4,
        TypeString = 5, TypeDate = 6, TypeMemory = 7, TypeGeometry = 8
    };

    CTarnVariant();
    explicit CTarnVariant(ITarnFeatureGeometry* geometry);
    explicit CTarnVariant(CTarnDate& date);
    explicit CTarnVariant(CTarnUString& text);
    explicit CTarnVariant(long value);
    explicit CTarnVariant(double& value);
    explicit CTarnVariant(float value);
    explicit CTarnVariant(short value);
    CTarnVariant(const CTarnVariant& other);
    CTarnVariant& operator=(const CTarnVariant& other);
    ~CTarnVariant() override;

    long addRef() override;
    long release() override;
    virtual void* queryInterface(long id);
    virtual CTarnVariant* clone() const;

    int getType() const { return m_type; }
    void setType(int type) { m_type = type; }
    void* data() const { return m_data; }
    long length() const { return m_length; }
    void setData(void* data, long length) { m_data = data; m_length = length; }

    long asLong() const;
    double asDouble() const;
    const CTarnUString& asString() const { return m_text; }
    const CTarnDate& asDate() const { return m_date; }
    ITarnFeatureGeometry* asGeometry() const { return m_geometry; }

    /* Copies the value, never the reference count. A holder overrides it so
     * that it never shares a block with another object. */
    virtual void assign(const CTarnVariant& other);

protected:
    int m_type = TypeEmpty;
    void* m_data = nullptr;
    long m_length = 0;

private:
    std::atomic<long> m_variantRefCount{1};
    long m_long = 0;
    double m_double = 0.0;
    CTarnUString m_text;
    CTarnDate m_date;
    ITarnFeatureGeometry* m_geometry = nullptr;
};

/* The carrier of every block of pixels that getData hands out. */
class TARN_EXPORT DirectMemoryHolder : public CTarnVariant {
public:
    typedef void (*Deallocator)(void*);

    DirectMemoryHolder();
    explicit DirectMemoryHolder(ITarnFeatureGeometry* geometry);
    explicit DirectMemoryHolder(CTarnDate& date);
    explicit DirectMemoryHolder(CTarnUString& text);
    explicit DirectMemoryHolder(long value);
    explicit DirectMemoryHolder(double& value);
    explicit DirectMemoryHolder(float value);
    explicit DirectMemoryHolder(short value);
    DirectMemoryHolder(const DirectMemoryHolder& other);
    explicit DirectMemoryHolder(const CTarnVariant& other);
    DirectMemoryHolder(void* data, long length, Deallocator deallocator);
    DirectMemoryHolder& operator=(const DirectMemoryHolder&) = delete;
    ~DirectMemoryHolder() override;

    void assign(const CTarnVariant& other) override;

    long addRef() override;
    long release() override;
    void* queryInterface(long id) override;
    CTarnVariant* clone() const override;
    void clear();

    long refCount() const { return m_refCount; }

private:
    void ownCopyOfBlock();

    std::atomic<long> m_refCount{1};
    Deallocator m_deallocator = nullptr;
};

#endif
