#include "platform/collection.h"

#include <exception>

namespace {
// Far beyond any band count; keeps a wild position from asking for terabytes.
const long kMaxSlots = 1L << 20;
}

CTarnObjectCollectionImpl::CTarnObjectCollectionImpl() {}

CTarnObjectCollectionImpl::~CTarnObjectCollectionImpl() { clearObjects(); }

long CTarnObjectCollectionImpl::set(long position, ITarnRefCnt* object) {
    if (position < 0 || position >= kMaxSlots) return 0;
    size_t index = static_cast<size_t>(position);
    if (index >= m_objects.size()) {
        try {
            m_objects.resize(index + 1, nullptr);
        } catch (const std::exception&) {
            return 0;
        }
    }
    // Reference the new one first: it may be the very object it replaces.
    if (object) object->addRef();
    ITarnRefCnt* previous = m_objects[index];
    m_objects[index] = object;
    if (previous) previous->release();
    return 1;
}

ITarnRefCnt* CTarnObjectCollectionImpl::getObject(long position) const {
    if (position < 0 || static_cast<size_t>(position) >= m_objects.size()) return nullptr;
    return m_objects[static_cast<size_t>(position)];
}

long CTarnObjectCollectionImpl::getObjectCount() const { return static_cast<long>(m_objects.size()); }

void CTarnObjectCollectionImpl::clearObjects() {
    // Detach first, so a release that reaches back into this collection sees it empty.
    std::vector<ITarnRefCnt*> objects;
    objects.swap(m_objects);
    for (ITarnRefCnt* object : objects)
        if (object) object->release();
}
