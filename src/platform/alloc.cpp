#include "platform/alloc.h"

#include <stdlib.h>
#include <string.h>

extern "C" {

void* CAllocate1(size_t count, size_t size) {
    if (count == 0 || size == 0) return nullptr;
    return calloc(count, size);
}

void** CAllocate2(size_t rows, size_t cols, size_t size) {
    if (rows == 0 || cols == 0 || size == 0) return nullptr;
    if (cols > SIZE_MAX / size || rows > SIZE_MAX / (cols * size)) return nullptr;
    void** index = static_cast<void**>(calloc(rows, sizeof(void*)));
    if (!index) return nullptr;
    unsigned char* block = static_cast<unsigned char*>(calloc(rows * cols, size));
    if (!block) {
        free(index);
        return nullptr;
    }
    for (size_t r = 0; r < rows; ++r) index[r] = block + r * cols * size;
    return index;
}

void CFree1(void* block) { free(block); }

void CFree2(void** block) {
    if (!block) return;
    free(block[0]);
    free(block);
}

void* C_calloc(size_t count, size_t size) { return calloc(count, size); }

uint8_t* allocate_byte_buffer(long bytes) {
    if (bytes <= 0) return nullptr;
    size_t words = (static_cast<size_t>(bytes) + 3) / 4;
    return static_cast<uint8_t*>(calloc(words, 4));
}

}
