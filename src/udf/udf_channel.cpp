// The bridge from a registered driver to the Image record: one row of the
// driver table stands for every type code from 1000 on.

#include "drivers/driver.h"
#include "udf/udf.h"

extern "C" {

// Until the bridge lands, a registered type fails at open.
int open_UDF(Image*, const char*, int, int, int) { return -1; }
int open_multi_UDF(Image*, const char*, int, int, int, int, int) { return -1; }
int close_UDF(Image*) { return 0; }
int read_UDF_header_trans(const char*, int, double*) { return -1; }

}

namespace {

int open_udf(Image* image, const char* name, int band, int display, int type, char*, char*) {
    return open_UDF(image, name, band, display, type);
}
int open_multi_udf(Image* image, const char* name, int red, int green, int blue, int display,
                   int type, char*, char*) {
    return open_multi_UDF(image, name, red, green, blue, display, type);
}

}  // namespace

// "USER DEFINED" is the generic word for these formats: keyword_from_type
// gives it for 1000, type_from_keyword never matches it.
extern const ImageDriver driver_UDF = {
    .type = 1000, .keyword = "USER DEFINED",
    .flags = DRIVER_TYPE_RANGE | DRIVER_KEYWORD_UNMATCHED | DRIVER_HEADER_TRANSFORM_UNSIGNED,
    .open = open_udf, .open_multi = open_multi_udf, .close = close_UDF, .close_multi = close_UDF,
    .read_header_trans = read_UDF_header_trans, .all_bands_in_row = registered_all_bands_in_row,
    .colour_form = COLOURS_RANGED,
};
