// Property queries by type code. Each answers from the format's header, read
// afresh; no state is kept between calls. Formats whose readers are not part
// of the library answer -1.

#include "channel/properties.h"

#include <string.h>

#include "channel/report.h"
#include "drivers/builtin/sunraster.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr int kFirstRegisteredType = 1000;

// The GRASS shell has no header reader: every read fails.
int read_grass_header() { return -1; }

int read_GRASS_extent(const char*, int*, int*) {
    if (read_grass_header() == -1) {
        user_error("Unable to read Grass header\n");
        return -1;
    }
    return 1;
}

// Members whose answer needs no file: the value is written and answered.
int constant_member(int value, int* out) {
    *out = value;
    return value;
}

}  // namespace

extern "C" {

int get_image_info(int type, const char* name, int* rows, int* columns, int* bands, int* depth) {
    if (type >= kFirstRegisteredType) return -1;  // no registered driver reports here yet
    switch (type) {
    case 2: return get_SUNRASTER_info(name, rows, columns, bands, depth);
    default: return -1;  // 4 (GRASS) and 13 (ADRG) answer -1 by design; 0, 7, 12, 100 have no member
    }
}

int get_image_extent(int type, const char* name, int* rows, int* columns) {
    if (type >= kFirstRegisteredType) return -1;
    switch (type) {
    case 2: return read_SUNRASTER_extent(name, rows, columns);
    case 4: return read_GRASS_extent(name, rows, columns);
    default: return -1;
    }
}

int get_image_nbands(int type, const char* name, int* bands) {
    if (type >= kFirstRegisteredType) return -1;
    switch (type) {
    case 1:
    case 4:
    case 5:
    case 6: return constant_member(1, bands);
    case 13: return constant_member(3, bands);
    case 2: return read_SUNRASTER_nbands(name, bands);
    default: return -1;
    }
}

int get_image_depth(int type, const char* name, int* depth) {
    if (type >= kFirstRegisteredType) return -1;
    switch (type) {
    case 1: return constant_member(1, depth);
    case 5: return constant_member(16, depth);
    case 6: return constant_member(32, depth);
    case 13: return constant_member(8, depth);
    case 2: return get_SUNRASTER_depth(name, depth);
    default: return -1;  // 4: the GRASS shell finds no cell header
    }
}

int get_standard_color_name(const char* name, char* color_name) {
    if (color_name) color_name[0] = '\0';
    if (!name || !color_name) return -1;
    size_t length = strlen(name);
    // The last four characters are taken for the extension, whatever they are.
    if (length < 4) return -1;
    static const char* const kSuffixes[] = {".clr", ".CLR"};
    for (const char* suffix : kSuffixes) {
        memcpy(color_name, name, length - 4);
        memcpy(color_name + length - 4, suffix, 5);
        if (tarn_accessFile(color_name, 0) == 0) return 1;
    }
    color_name[0] = '\0';
    return -1;
}

}
