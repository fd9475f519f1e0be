#ifndef TARN_DRIVERS_BUILTIN_DECOMPRESS_H
#define TARN_DRIVERS_BUILTIN_DECOMPRESS_H

/* Buffer-to-buffer expanders shared by the built-in drivers: the LZW of TIFF
 * strips (most significant bit first, clear code 256, end code 257, early
 * change of code width) and PackBits. Neither reads a file. */

#include <stdint.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

/* Entries of the string table and of the reversal stack. */
#define LZW_TABLE_SIZE 8101

typedef struct LZWEntry {
    uint16_t prefix;
    uint16_t suffix;
} LZWEntry;

typedef struct LZWData {
    LZWEntry* table;
    uint8_t* stack;
    int32_t out_limit;   /* bytes the output may take */
    int32_t next_code;
    int32_t out_count;   /* bytes written */
    int32_t in_pos;
    int32_t bits_left;   /* bits of the current input byte not yet used */
    int32_t in_size;
    int32_t code_bits;
    int32_t code_mask;   /* largest code of the current width */
    const uint8_t* input;
    uint8_t* output;
} LZWData;

void initLZWdata(LZWData* state);
/* Allocates table and stack once; sets the output limit. 0, or -1 when out of memory. */
int LZWBuffer(LZWData* state, int limit);
/* Expands one strip; the answer is the count of bytes written. */
int LZWExpand(LZWData* state, const uint8_t* input, uint8_t* output, int in_size);
void LZWFree(LZWData* state);
void InitStringTable(LZWData* state);
int GetNextCode(LZWData* state);

/* 0, or -1 when the output would overflow. */
int UnPackBits(int out_size, const uint8_t* input, uint8_t* output, int in_size);
/* No PackBits writer is built: always 0. */
int PackBitsBuffer(const uint8_t* input, uint8_t* output, int in_size);

/* Reset the state of the 1-bit fax codings before a new pass over the rows.
 * No fax decoder is built, so there is none to reset: both answer 1. */
int set_g3_globals(void);
int set_g4_globals(void);

TARN_END_C

#endif
