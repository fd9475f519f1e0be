#ifndef TARNIMAGE_EXPORT_H
#define TARNIMAGE_EXPORT_H

/* Everything the library does not mark with TARN_EXPORT stays hidden. */
#if defined(TARN_BUILDING_LIBRARY)
#define TARN_EXPORT __attribute__((visibility("default")))
#else
#define TARN_EXPORT
#endif

#ifdef __cplusplus
#define TARN_BEGIN_C extern "C" {
#define TARN_END_C }
#else
#define TARN_BEGIN_C
#define TARN_END_C
#endif

#endif
