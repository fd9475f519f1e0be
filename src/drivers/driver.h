#ifndef TARN_DRIVERS_DRIVER_H
#define TARN_DRIVERS_DRIVER_H

/* A built-in format's whole contract with the core: one row of the driver
 * table, defined at the bottom of the driver's own file. The core looks a type
 * code up here and never names a format itself. A null member means the
 * format lacks that ability: a probe says no, an open or a property read
 * fails, a close just closes the record's file handle. */

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include <string>

#include <tarnimage/image.h>

typedef int (*DriverOpenFunc)(Image* image, const char* name, int band, int display, int type,
                              char* lut_name, char* colormap_name);
typedef int (*DriverMultiOpenFunc)(Image* image, const char* name, int red, int green, int blue,
                                   int display, int type, char* lut_name, char* colormap_name);
typedef int (*DriverImageFunc)(Image* image);
typedef int (*DriverStoreFunc)(Image* image, void* table);
typedef int (*DriverContentProbe)(FILE* file);
typedef int (*DriverNameProbe)(const std::string& stem, std::string& candidate);
typedef int (*DriverNameClaim)(const char* name);
/* Property readers are asked with the type, which one row may stand for many of. */
typedef int (*DriverInfoFunc)(int type, const char* name, int* rows, int* columns, int* bands,
                              int* depth);
typedef int (*DriverExtentFunc)(int type, const char* name, int* rows, int* columns);
typedef int (*DriverValueFunc)(int type, const char* name, int* value);
/* 1 when the format's header gave the six transform numbers, else not 1. */
typedef int (*DriverTransformFunc)(const char* name, int type, double* transform);

enum ImageDriverFlags : uint32_t {
    /* Identification takes a file by its suffix alone... */
    DRIVER_NAMED_BY_SUFFIX = 1u << 0,
    /* ...or, with this too, only when the content probe also says yes. */
    DRIVER_SUFFIX_NEEDS_CONTENT = 1u << 1,
    /* suffname does not know the suffixes. */
    DRIVER_SUFFIX_UNLISTED = 1u << 2,
    /* get_type_from_extension does not give the type for the first suffix. */
    DRIVER_NO_EXTENSION_TYPE = 1u << 3,
    /* type_from_keyword skips the keyword; keyword_from_type still gives it. */
    DRIVER_KEYWORD_UNMATCHED = 1u << 4,
    /* keyword_from_type does not give the keyword; type_from_keyword matches it. */
    DRIVER_KEYWORD_UNNAMED = 1u << 5,
    /* The open is handed a companion (clyr) record. */
    DRIVER_NEEDS_COMPANION = 1u << 6,
    /* Rows can be resampled by the driver as it reads them (direct resampling),
     * single-band and multi-band. */
    DRIVER_RESAMPLES_ROWS = 1u << 7,
    DRIVER_RESAMPLES_MULTI_ROWS = 1u << 8,
    /* Rows arrive resampled and coloured: no lookup, index or resample step. */
    DRIVER_FINISHED_ROWS = 1u << 9,
    /* 24- and 32-bit pixels are shown through an 8-bit grey ramp, and a
     * multi-band open gets one of 256 entries. */
    DRIVER_WIDE_PIXELS_AS_BYTES = 1u << 10,
    /* Without a colour map, a ramp of 256 greys over 0..255 whatever the depth. */
    DRIVER_BYTE_RAMP = 1u << 11,
    /* Without a colour map the pixels are true colour. */
    DRIVER_TRUE_COLOUR_WITHOUT_MAP = 1u << 12,
    /* The colour map's own colour type stands, rather than a test of its entries;
     * with the next flag a colour map that is all greys is still taken as grey. */
    DRIVER_STORED_COLOUR_TYPE = 1u << 13,
    DRIVER_STORED_COLOUR_TYPE_GREY_TESTED = 1u << 14,
    /* The row stands for its type code and every code above it (registered drivers). */
    DRIVER_TYPE_RANGE = 1u << 15,
    /* The name claim answers for a whole dataset: identification gives the type
     * code as its result and leaves the found name as the claim saw it. */
    DRIVER_CLAIMS_DATASETS = 1u << 16,
    /* No world transform is made for the code: not from a world file, the
     * header or the size. */
    DRIVER_UNPLACED = 1u << 17,
    /* The header transform is the only source: no world file, no identity. */
    DRIVER_HEADER_PLACES_ONLY = 1u << 18,
    /* The header transform counts when it answers anything but a negative value. */
    DRIVER_HEADER_TRANSFORM_UNSIGNED = 1u << 19,
    /* Samples can be the format's no-data mark (255 at 8 bits, 0x80000001 at 32),
     * for which a band stream answers no value. */
    DRIVER_NO_DATA_SAMPLES = 1u << 20,
};

/* How the channel's image_colors and get_image_colormap present the colour map. */
enum DriverColourForm {
    COLOURS_PLAIN = 0,   /* entries 0 .. ncolors - 1 */
    COLOURS_NONE,        /* no colours: image_colors 0, get_image_colormap -1 */
    COLOURS_BILEVEL,     /* black and white, whatever the record holds */
    COLOURS_RANGED,      /* values low .. high from the map's first entry */
    COLOURS_UNRANGED,    /* the range lives elsewhere: first and last 0 */
};

/* Every member but the type defaults to nothing, so a row names only what its
 * format has: `{.type = 2, .keyword = "SUNRASTER", .open = ...}`. */
struct ImageDriver {
    int32_t type = -1;
    const char* keyword = nullptr;
    /* What `tarnimage formats` shows; null for rows that are no format. */
    const char* description = nullptr;
    uint32_t flags = 0;
    /* Lower-case suffixes with their dot; the first is the one name_from_type adds. */
    const char* suffixes[4] = {};

    DriverNameClaim claims_name = nullptr;     /* asked before the file is even opened */
    DriverContentProbe check = nullptr;        /* first bytes; rewinds the file itself */
    DriverNameProbe extend_and_check = nullptr;

    DriverOpenFunc open = nullptr;
    DriverMultiOpenFunc open_multi = nullptr;
    DriverImageFunc close = nullptr;           /* null: the record's file handle is closed */
    DriverImageFunc close_multi = nullptr;
    DriverImageFunc clear_header = nullptr;    /* null: nothing to clear, 1 */

    DriverInfoFunc get_info = nullptr;
    DriverExtentFunc read_extent = nullptr;
    DriverValueFunc read_nbands = nullptr;
    DriverValueFunc get_depth = nullptr;
    DriverTransformFunc read_header_trans = nullptr;

    DriverImageFunc init_row_io = nullptr;
    DriverImageFunc setup_runio = nullptr;     /* null: no run mode, -1 */
    DriverImageFunc isok_runio = nullptr;      /* null: 0 */
    DriverImageFunc map_window = nullptr;      /* after the window is set */
    DriverStoreFunc store_colormap = nullptr;  /* null: -1 */
    DriverStoreFunc store_lut = nullptr;
    /* Non-zero when a row of the type holds every band, one image width each. */
    int (*all_bands_in_row)(int type) = nullptr;

    DriverColourForm colour_form = COLOURS_PLAIN;
    int32_t reserved_colours = 0;              /* entries image_colors leaves out */
    int32_t colormap_skip = 0;                 /* entries get_image_colormap skips */
};

/* The opens keep the signatures their formats need; these give them the
 * table's. */
template <int (*Open)(Image*, const char*, int)>
int open_without_band(Image* image, const char* name, int, int display, int, char*, char*) {
    return Open(image, name, display);
}
template <int (*Open)(Image*, const char*, int, int)>
int open_one_band(Image* image, const char* name, int band, int display, int, char*, char*) {
    return Open(image, name, band, display);
}
template <int (*Open)(Image*, const char*, int, int, int, int)>
int open_three_bands(Image* image, const char* name, int red, int green, int blue, int display, int,
                     char*, char*) {
    return Open(image, name, red, green, blue, display);
}

/* The row for a type code, or null. */
const ImageDriver* find_image_driver(int type);
/* The rows in the binding order of identification: formats earlier in the
 * table win a file that later ones would also take. */
const ImageDriver* const* image_drivers(size_t* count);
/* Replaces the table (null restores the library's own); for tests of the
 * dispatch with drivers of their own. */
void set_image_drivers(const ImageDriver* const* table, size_t count);

/* The probe of a format known by suffixes: stem plus each suffix, lower case
 * before upper, is looked for; with DRIVER_SUFFIX_NEEDS_CONTENT the file must
 * also open and pass the content probe. Non-zero with candidate set on a hit. */
int extend_with_suffixes(const ImageDriver& driver, const std::string& stem,
                         std::string& candidate);

/* A property that needs no file: the value is written and answered. */
template <int Value>
int constant_property(int, const char*, int* out) {
    *out = Value;
    return Value;
}

/* Property readers of formats with one type code, which need only the name. */
template <int (*Read)(const char*, int*, int*, int*, int*)>
int info_by_name(int, const char* name, int* rows, int* columns, int* bands, int* depth) {
    return Read(name, rows, columns, bands, depth);
}
template <int (*Read)(const char*, int*, int*)>
int extent_by_name(int, const char* name, int* rows, int* columns) {
    return Read(name, rows, columns);
}
template <int (*Read)(const char*, int*)>
int value_by_name(int, const char* name, int* value) {
    return Read(name, value);
}

/* Channel kernels an open installs itself: scaling of 16- and 32-bit samples
 * to bytes in the lookup slot, the colour map's range in the index slot, and
 * the word-wise expansion of 4-bit samples. */
TARN_BEGIN_C
void Scale16BitBuf(Image* image);
void Scale32BitBuf(Image* image);
void Scale16BitMultibuf(Image* image);
void Scale32BitMultibuf(Image* image);
void Index8BitBuf(Image* image);
void Index16BitBuf(Image* image);
void Index32BitBuf(Image* image);
void repack_4to8(uint32_t* source, void* target, int count);
TARN_END_C

#endif
