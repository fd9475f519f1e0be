#include "platform/blocks.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>

#include <mutex>

namespace {

// Below this a block comes from the heap; above it, from its own mapping.
const size_t kMappedFrom = size_t(2) << 20;
const size_t kHugePage = size_t(2) << 20;
// A kept block serves a request at least half its size, so a 256 x 256 tile
// never pins a whole-image block.
const size_t kKeepAtMost = size_t(512) << 20;

// In front of every block: how it was taken and how much it spans.
// 32 bytes, so the block keeps the heap's 16-byte alignment.
struct BlockHead {
    void* base;       // start of the mapping, or of the heap allocation
    size_t mapped;    // length of the mapping; 0 for the heap
    size_t capacity;  // bytes usable behind the head
    size_t unused;
};
static_assert(sizeof(BlockHead) % 16 == 0, "blocks stay 16-byte aligned");

void unmap(BlockHead* head) {
    if (head) munmap(head->base, head->mapped);
}

std::mutex g_lock;
struct Kept {
    BlockHead* head = nullptr;
    ~Kept() { unmap(head); }
} g_kept_slot;
BlockHead*& g_kept = g_kept_slot.head;

BlockHead* map_block(size_t bytes) {
    // The block itself starts on a huge-page boundary, its head just before it
    // on an ordinary page: a 64 MiB block then costs 32 huge pages, not 33.
    const size_t length = (bytes + sizeof(BlockHead) + kHugePage - 1) / kHugePage * kHugePage + kHugePage;
    void* base = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) return nullptr;
    const uintptr_t start = uintptr_t(base);
    const uintptr_t data = (start + sizeof(BlockHead) + kHugePage - 1) / kHugePage * kHugePage;
#ifdef MADV_HUGEPAGE
    madvise(reinterpret_cast<void*>(data), length - (data - start), MADV_HUGEPAGE);
#endif
    BlockHead* head = reinterpret_cast<BlockHead*>(data) - 1;
    head->base = base;
    head->mapped = length;
    head->capacity = length - (data - start);
    return head;
}

}  // namespace

void* tarn_block_take(size_t bytes, bool* zeroed) {
    *zeroed = true;
    if (bytes == 0 || bytes > SIZE_MAX / 2) return nullptr;
    BlockHead* head = nullptr;
    if (bytes < kMappedFrom) {
        void* base = calloc(1, bytes + sizeof(BlockHead));
        if (!base) return nullptr;
        head = static_cast<BlockHead*>(base);
        head->base = base;
        head->mapped = 0;
        head->capacity = bytes;
        return head + 1;
    }
    {
        std::lock_guard<std::mutex> guard(g_lock);
        if (g_kept && g_kept->capacity >= bytes && g_kept->capacity / 2 <= bytes) {
            head = g_kept;
            g_kept = nullptr;
            *zeroed = false;
        }
    }
    if (!head) head = map_block(bytes);
    return head ? head + 1 : nullptr;
}

void tarn_block_give(void* block) {
    if (!block) return;
    BlockHead* head = static_cast<BlockHead*>(block) - 1;
    if (head->mapped == 0) {
        free(head->base);
        return;
    }
    BlockHead* dropped = head;
    if (head->capacity <= kKeepAtMost) {
        std::lock_guard<std::mutex> guard(g_lock);
        dropped = g_kept;
        g_kept = head;
    }
    unmap(dropped);
}

void tarn_block_trim() {
    BlockHead* dropped;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        dropped = g_kept;
        g_kept = nullptr;
    }
    unmap(dropped);
}
