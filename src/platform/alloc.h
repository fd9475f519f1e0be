#ifndef TARN_PLATFORM_ALLOC_H
#define TARN_PLATFORM_ALLOC_H

/* Thin wrappers of the system allocator, used by every driver. */

#include <stddef.h>
#include <stdint.h>
#include <tarnimage/export.h>

TARN_BEGIN_C
void* CAllocate1(size_t count, size_t size);          /* zeroed, or null */
void** CAllocate2(size_t rows, size_t cols, size_t size); /* row pointers + one zeroed block */
void CFree1(void* block);
void CFree2(void** block);
void* C_calloc(size_t count, size_t size);
/* Rounds the byte count up to whole 32-bit words, zeroed; null for a
 * non-positive count. */
uint8_t* allocate_byte_buffer(long bytes);
TARN_END_C

#endif
