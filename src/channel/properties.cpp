// Property queries by type code. Each answers from the format's header, read
// afresh; no state is kept between calls. A format without a reader for a
// property answers -1.

#include "channel/properties.h"

#include <string.h>

#include "drivers/driver.h"
#include <tarnimage/tarn_file.h>

extern "C" {

int get_image_info(int type, const char* name, int* rows, int* columns, int* bands, int* depth) {
    const ImageDriver* driver = find_image_driver(type);
    return driver && driver->get_info ? driver->get_info(type, name, rows, columns, bands, depth) : -1;
}

int get_image_extent(int type, const char* name, int* rows, int* columns) {
    const ImageDriver* driver = find_image_driver(type);
    return driver && driver->read_extent ? driver->read_extent(type, name, rows, columns) : -1;
}

int get_image_nbands(int type, const char* name, int* bands) {
    const ImageDriver* driver = find_image_driver(type);
    return driver && driver->read_nbands ? driver->read_nbands(type, name, bands) : -1;
}

int get_image_depth(int type, const char* name, int* depth) {
    const ImageDriver* driver = find_image_driver(type);
    return driver && driver->get_depth ? driver->get_depth(type, name, depth) : -1;
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
