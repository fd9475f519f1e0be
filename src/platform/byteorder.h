#ifndef TARN_PLATFORM_BYTEORDER_H
#define TARN_PLATFORM_BYTEORDER_H

/* Byte order. The host is little-endian. The sw* functions work in place on
 * a buffer of `*count` items; their names give the item (i integer, r real,
 * d double), its size, and the source and target order (b big-endian,
 * l little-endian, n native, v VAX, a always, g G-float). The read_* helpers
 * take one value out of a byte buffer; every multi-byte field of a file goes
 * through one of them or through the sw* family. */

#include <stdint.h>
#include <string.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

void swi4bn_(void* buffer, const int* count);
void swi4nb_(void* buffer, const int* count);
void swi4aa_(void* buffer, const int* count);
void swr4bn_(void* buffer, const int* count);
void swr4nb_(void* buffer, const int* count);
void swr4gn_(void* buffer, const int* count);
void swi2bn_(void* buffer, const int* count);
void swi2nb_(void* buffer, const int* count);
void swi2aa_(void* buffer, const int* count);
void swd8bn_(void* buffer, const int* count);
void swd8nb_(void* buffer, const int* count);
void swi4ln_(void* buffer, const int* count);
void swi4nl_(void* buffer, const int* count);
void swr4ln_(void* buffer, const int* count);
void swr4nl_(void* buffer, const int* count);
void swi2ln_(void* buffer, const int* count);
void swi2nl_(void* buffer, const int* count);
void swd8ln_(void* buffer, const int* count);
void swd8nl_(void* buffer, const int* count);
void swi4vn_(void* buffer, const int* count);
void swi4nv_(void* buffer, const int* count);
void swi2vn_(void* buffer, const int* count);
void swi2nv_(void* buffer, const int* count);
void swd8vn_(void* buffer, const int* count);
void swd8nv_(void* buffer, const int* count);
void swr4vn_(void* buffer, const int* count);
void swr4nv_(void* buffer, const int* count);
void swpby2_(void* buffer, const int* count);
void swpbyt_(void* buffer, const int* count);
void swpwrd_(uint16_t* a, uint16_t* b);
uint32_t flip4(uint32_t value);
uint16_t flip2(uint16_t value);
uint32_t flip4vl(uint32_t value);
uint32_t flip4lv(uint32_t value);
uint32_t flip4vb(uint32_t value);
uint32_t flip4bv(uint32_t value);

TARN_END_C

static inline uint16_t read_be16(const uint8_t* p) { return (uint16_t)((p[0] << 8) | p[1]); }
static inline uint16_t read_le16(const uint8_t* p) { return (uint16_t)((p[1] << 8) | p[0]); }
static inline uint32_t read_be32(const uint8_t* p) {
    return ((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3];
}
static inline uint32_t read_le32(const uint8_t* p) {
    return ((uint32_t)p[3] << 24) | ((uint32_t)p[2] << 16) | ((uint32_t)p[1] << 8) | p[0];
}
static inline float read_le_f32(const uint8_t* p) {
    uint32_t bits = read_le32(p);
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}
static inline float read_be_f32(const uint8_t* p) {
    uint32_t bits = read_be32(p);
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}
static inline double read_le_f64(const uint8_t* p) {
    uint64_t bits = ((uint64_t)read_le32(p + 4) << 32) | read_le32(p);
    double value;
    memcpy(&value, &bits, sizeof value);
    return value;
}
static inline double read_be_f64(const uint8_t* p) {
    uint64_t bits = ((uint64_t)read_be32(p) << 32) | read_be32(p + 4);
    double value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

#endif
