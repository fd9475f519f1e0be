#ifndef TARN_PLATFORM_COLLECTION_H
#define TARN_PLATFORM_COLLECTION_H

#include <tarnimage/refcnt.h>

#include <vector>

/* A growable array of counted objects. Each occupied slot holds one reference. */
class CTarnObjectCollectionImpl {
public:
    CTarnObjectCollectionImpl();
    virtual ~CTarnObjectCollectionImpl();
    CTarnObjectCollectionImpl(const CTarnObjectCollectionImpl&) = delete;
    CTarnObjectCollectionImpl& operator=(const CTarnObjectCollectionImpl&) = delete;

    /* Stores object at position, growing the array with empty slots as needed:
     * adds a reference to it and releases what stood there. 1 on success, 0 for
     * a negative position, one beyond a million slots, or when memory runs out. */
    long set(long position, ITarnRefCnt* object);
    /* The object at position without a new reference; null when out of range. */
    ITarnRefCnt* getObject(long position) const;
    /* Number of slots, empty ones included. */
    long getObjectCount() const;
    /* Releases every object and empties the array. */
    void clearObjects();

private:
    std::vector<ITarnRefCnt*> m_objects;
};

#endif
