#ifndef TARN_PLATFORM_BLOCKS_H
#define TARN_PLATFORM_BLOCKS_H

/* Output blocks that getData hands to the host. A 4096 x 4096 RGBA block is
 * 64 MiB: taken page by page from the system it costs more in faults and
 * kernel zeroing than the whole decode, so large blocks are mapped with
 * transparent huge pages, and the last large block a host gave back is kept
 * for the next request it can serve. */

#include <stddef.h>

/* A block of at least `bytes`, or null. *zeroed is true when every byte is 0;
 * a reused block holds what its last user left, and the caller clears what
 * it does not write. */
void* tarn_block_take(size_t bytes, bool* zeroed);
/* Gives a block back (null is ignored); usable as a holder's deallocator. */
void tarn_block_give(void* block);
/* Unmaps the kept block, when the last manager goes. */
void tarn_block_trim();

#endif
