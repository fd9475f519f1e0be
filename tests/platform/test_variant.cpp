#include <tarnimage/variant.h>

#include "platform/collection.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

int g_deallocations = 0;
void counting_free(void* data) { ++g_deallocations, std::free(data); }
void throwing_free(void* data) { ++g_deallocations, std::free(data); throw 1; }

void* block_of(const char* text) { return std::memcpy(std::malloc(std::strlen(text)), text, std::strlen(text)); }

TEST(Variant, ClonesAndSaturatingConversion) {
    double d = -2.75, huge = 1e300;
    EXPECT_EQ(CTarnVariant(huge).asLong(), std::numeric_limits<long>::max());
    CTarnVariant* original = new CTarnVariant(d);
    CTarnVariant* copy = original->clone();
    EXPECT_EQ(copy->asDouble(), -2.75);
    EXPECT_EQ(copy->release() + original->release(), 0);
}

TEST(MemoryHolder, DeallocatorRunsOnceAndClonesOwnTheirBytes) {
    g_deallocations = 0;
    auto* holder = new DirectMemoryHolder(block_of("pixels"), 6, counting_free);
    EXPECT_EQ(holder->getType(), CTarnVariant::TypeMemory);
    EXPECT_EQ(holder->queryInterface(24), holder);  // with a new reference
    auto* clone = static_cast<DirectMemoryHolder*>(holder->clone());
    ASSERT_EQ(clone->length(), 6);
    static_cast<char*>(clone->data())[0] = 'P';
    EXPECT_EQ(std::memcmp(holder->data(), "pixels", 6), 0);
    {
        DirectMemoryHolder copied(*holder);
        CTarnVariant& asVariant = copied;
        asVariant = *clone;  // through the base it still takes its own block
        EXPECT_NE(copied.data(), clone->data());
        EXPECT_EQ(std::memcmp(copied.data(), "Pixels", 6), 0);
    }
    EXPECT_EQ(clone->release(), 0);
    EXPECT_EQ(holder->release(), 1);
    EXPECT_EQ(g_deallocations, 0);
    EXPECT_EQ(holder->release(), 0);
    EXPECT_EQ(g_deallocations, 1);
    {
        DirectMemoryHolder plain(block_of("abc"), 3, nullptr);  // free(), not delete: ASan checks the pair
        DirectMemoryHolder throwing(block_of("abc"), 3, throwing_free);
        throwing.clear();  // the deallocator's exception stays inside
        EXPECT_TRUE(throwing.data() == nullptr && throwing.length() == 0);
        DirectMemoryHolder empty(nullptr, 0, counting_free);
    }
    EXPECT_EQ(g_deallocations, 2);
}

struct Counted : ITarnRefCnt {
    explicit Counted(int* deleted) : m_deleted(deleted) {}
    ~Counted() override { ++*m_deleted; }
    long addRef() override { return ++m_count; }
    long release() override { return --m_count == 0 ? (delete this, 0) : m_count; }
    long m_count = 1;
    int* m_deleted;
};

TEST(ObjectCollection, HoldsOneReferencePerSlot) {
    int deleted = 0;
    Counted* a = new Counted(&deleted);
    Counted* b = new Counted(&deleted);
    {
        CTarnObjectCollectionImpl collection;
        EXPECT_EQ(collection.set(0, a) + collection.set(3, b) + collection.set(0, a), 3);
        EXPECT_EQ(collection.set(-1, a) + collection.set(std::numeric_limits<long>::max(), a), 0);
        EXPECT_EQ(collection.getObjectCount(), 4);
        EXPECT_EQ(collection.getObject(3), b);
        EXPECT_EQ(collection.getObject(4), nullptr);
        EXPECT_EQ(a->m_count, 2);
        b->release();
        collection.set(3, a);  // replacing b drops its last reference
        EXPECT_EQ(deleted, 1);
        collection.clearObjects();
        EXPECT_EQ(collection.getObjectCount(), 0);
        EXPECT_EQ(a->m_count, 1);
        collection.set(1, a);
    }
    EXPECT_EQ(a->m_count, 1);  // the destructor released the last slot
    a->release();
    EXPECT_EQ(deleted, 2);
}

}  // namespace
