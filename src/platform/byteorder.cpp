#include "platform/byteorder.h"

namespace {

template <typename Word, typename Flip>
void each_word(void* buffer, const int* count, Flip flip) {
    if (!buffer || !count) return;
    uint8_t* bytes = static_cast<uint8_t*>(buffer);
    for (int i = 0; i < *count; ++i) {
        Word word;
        memcpy(&word, bytes + i * sizeof(Word), sizeof word);
        word = flip(word);
        memcpy(bytes + i * sizeof(Word), &word, sizeof word);
    }
}

uint64_t flip8(uint64_t v) { return __builtin_bswap64(v); }

void reverse4(void* b, const int* n) { each_word<uint32_t>(b, n, flip4); }
void reverse2(void* b, const int* n) { each_word<uint16_t>(b, n, flip2); }
void reverse8(void* b, const int* n) { each_word<uint64_t>(b, n, flip8); }

// Bytes in the order 2, 3, 0, 1 of the word as it lies in memory.
uint32_t swap_halves(uint32_t v) { return (v >> 16) | (v << 16); }
// Bytes in the order 1, 0, 3, 2.
uint32_t swap_within_halves(uint32_t v) {
    return ((v & 0x00FF00FFu) << 8) | ((v & 0xFF00FF00u) >> 8);
}

}  // namespace

extern "C" {

uint32_t flip4(uint32_t value) { return __builtin_bswap32(value); }
uint16_t flip2(uint16_t value) { return static_cast<uint16_t>((value << 8) | (value >> 8)); }
uint32_t flip4vl(uint32_t value) { return swap_halves(value) - 0x1000000u; }
uint32_t flip4lv(uint32_t value) { return swap_halves(value) + 256u; }
uint32_t flip4vb(uint32_t value) { return swap_within_halves(value) - 1u; }
uint32_t flip4bv(uint32_t value) { return swap_within_halves(value) + 256u; }

void swi4bn_(void* b, const int* n) { reverse4(b, n); }
void swi4nb_(void* b, const int* n) { reverse4(b, n); }
void swi4aa_(void* b, const int* n) { reverse4(b, n); }
void swr4bn_(void* b, const int* n) { reverse4(b, n); }
void swr4nb_(void* b, const int* n) { reverse4(b, n); }
void swr4gn_(void* b, const int* n) { reverse4(b, n); }
void swi2bn_(void* b, const int* n) { reverse2(b, n); }
void swi2nb_(void* b, const int* n) { reverse2(b, n); }
void swi2aa_(void* b, const int* n) { reverse2(b, n); }
void swd8bn_(void* b, const int* n) { reverse8(b, n); }
void swd8nb_(void* b, const int* n) { reverse8(b, n); }

// Little-endian and VAX integer orders are the host's own.
void swi4ln_(void*, const int*) {}
void swi4nl_(void*, const int*) {}
void swr4ln_(void*, const int*) {}
void swr4nl_(void*, const int*) {}
void swi2ln_(void*, const int*) {}
void swi2nl_(void*, const int*) {}
void swd8ln_(void*, const int*) {}
void swd8nl_(void*, const int*) {}
void swi4vn_(void*, const int*) {}
void swi4nv_(void*, const int*) {}
void swi2vn_(void*, const int*) {}
void swi2nv_(void*, const int*) {}
void swd8vn_(void*, const int*) {}
void swd8nv_(void*, const int*) {}

// VAX floats: a zero stays zero, anything else has its halves exchanged and
// its exponent bias moved.
void swr4vn_(void* b, const int* n) {
    each_word<uint32_t>(b, n, [](uint32_t v) { return v ? flip4vl(v) : v; });
}
void swr4nv_(void* b, const int* n) {
    each_word<uint32_t>(b, n, [](uint32_t v) { return v ? flip4lv(v) : v; });
}

void swpby2_(void* buffer, const int* count) {
    if (!buffer || !count) return;
    uint8_t* bytes = static_cast<uint8_t*>(buffer);
    int half = *count / 2;
    // Pairs start at every second position below half the byte count.
    for (int i = 0; i < half && i + 1 < *count; i += 2) {
        uint8_t t = bytes[i];
        bytes[i] = bytes[i + 1];
        bytes[i + 1] = t;
    }
}

void swpbyt_(void* buffer, const int* count) {
    if (!buffer || !count || *count <= 0) return;
    int words = (*count + 3) / 4;
    reverse4(buffer, &words);
}

void swpwrd_(uint16_t* a, uint16_t* b) {
    uint16_t t = *a;
    *a = *b;
    *b = t;
}

}
