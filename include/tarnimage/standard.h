#ifndef TARNIMAGE_STANDARD_H
#define TARNIMAGE_STANDARD_H

/* Raw band files (BIL, BIP, BSQ) and their text side files: the header
 * (".hdr"), the colour file (".clr") and the statistics file (".stx"). The
 * writers are for a host that makes such files; the library itself only
 * reads them. Side file names are the image path without its last four
 * characters plus the suffix, so a name buffer `out` needs room for
 * strlen(path) + 5 bytes. */

#include <stdint.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

/* Statistics slots, indexed by band number itself: slot 0 stays unused and
 * bands 1 to 11 are kept. */
#define STANDARD_STAT_SLOTS 12

typedef struct StandardHeader {
    int32_t byte_order;    /* 0x4949 little-endian (default), 0x4D4D big-endian */
    int32_t nrows;
    int32_t ncols;
    int32_t nbands;        /* default 1 */
    int32_t nbits;         /* default 8 */
    int32_t layout;        /* 8 BIL, 9 BIP, 11 BSQ; -1 when the header gave none */
    int32_t skipbytes;     /* bytes ahead of the raster data */
    int32_t has_map;       /* 1 when both ULXMAP and ULYMAP were read */
    float ulxmap;          /* world x and y of the centre of the first pixel */
    float ulymap;
    float xdim;            /* default 1 */
    float ydim;            /* default 1 */
    int32_t bandrowbytes;  /* 0: no padding */
    int32_t totalrowbytes;
    int32_t bandgapbytes;
    int32_t stat_present[STANDARD_STAT_SLOTS];
    float stat_min[STANDARD_STAT_SLOTS];
    float stat_max[STANDARD_STAT_SLOTS];
    float stat_mean[STANDARD_STAT_SLOTS];
    float stat_stddev[STANDARD_STAT_SLOTS];  /* -1: absent */
    float stat_low[STANDARD_STAT_SLOTS];     /* with stat_high: a stretch; absent while high <= low */
    float stat_high[STANDARD_STAT_SLOTS];
    int32_t valid;
} StandardHeader;

/* The defaults above. */
TARN_EXPORT void initialize_standard_header(StandardHeader* header);

/* The side file names to write: lower-case suffix, always 1. */
TARN_EXPORT int get_standard_header_writename(const char* path, char* out);
TARN_EXPORT int get_standard_color_writename(const char* path, char* out);
TARN_EXPORT int get_standard_stats_writename(const char* path, char* out);

/* The header beside `path`: 1, or -1 when the byte order or layout has no
 * keyword or the file does not open. SKIPBYTES is not written. */
TARN_EXPORT int write_standard_header(const char* path, const StandardHeader* header);
/* Values low to high with the colours at rgb[k][value - low]: 1, or -1 when
 * the file does not open. */
TARN_EXPORT int write_standard_colormap(const char* path, uint8_t* const rgb[3], int low, int high);
TARN_EXPORT int write_standard_colors(const char* file_name, uint8_t* const rgb[3], int low,
                                      int high);
/* One line for each present band of the slots. Both answer -1, also after
 * writing everything: callers cannot tell success here. */
TARN_EXPORT int write_standard_statistics(const char* path, const int32_t* present, const float* min,
                                          const float* max, const float* mean, const float* stddev,
                                          const float* low, const float* high);
TARN_EXPORT int write_standard_stats(const char* file_name, const int32_t* present, const float* min,
                                     const float* max, const float* mean, const float* stddev,
                                     const float* low, const float* high);

/* Three arrays of 257 bytes from malloc: entry 0 is 0 and entry i is i - 1.
 * 257, or -1 when an allocation fails (nothing is then left allocated). */
TARN_EXPORT int get_8bit_grayscale_ramp(uint8_t* rgb[3]);

TARN_END_C

#endif
