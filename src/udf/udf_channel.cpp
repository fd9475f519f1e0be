// The bridge from a registered driver to the Image record: one row of the
// driver table stands for every type code from 1000 on. The channel spares the
// drivers the row buffer, the unpackers, the copies of colour tables and a
// default scaling of deep data to 8 bits; drivers deliver whole rows in the
// host's byte order.
//
// A row as getrow leaves it in file_buffer:
//   band 1 | band 2 | ...   each band's row starts on a byte boundary; at 1 and
//                            4 bits the leftmost pixel is the highest bit
//   single-band open: the one band; multi-band open: red, green, blue planes

#include <stdlib.h>
#include <string.h>

#include <string>

#include "drivers/builtin/standard.h"
#include <tarnimage/standard.h>
#include "drivers/driver.h"
#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include "udf/udf.h"

namespace {

// The query functions' one slot: the name last asked about and its header.
// Keyed by the name alone, and kept even when the open failed, so a second
// question about that name is answered from whatever the slot holds.
UDFHeader UDF_header;
char prv_fname[512] = "Z";
int32_t UDF_sethdr = 0;

constexpr uint32_t kHostOrder = 0x4949;

UDFHeader* udf_header(Image* image) { return static_cast<UDFHeader*>(image->clyr); }

const UDFRecord* driver_of(int type) {
    return type > 0 ? UDFentry(static_cast<uint32_t>(type)) : nullptr;
}

// Bytes of one band's row at `depth` bits, or -1 for a depth no unpacker reads.
long band_row_bytes(int depth, long columns) {
    switch (depth) {
    case 1: return (columns + 7) / 8;
    case 4: return (columns + 1) / 2;
    case 8: return columns;
    case 16: return columns * 2;
    case 32: return columns * 4;
    default: return -1;
    }
}

// A size a header claims that no image can have is refused before allocating.
bool header_sizes_ok(const UDFHeader& h) {
    return h.rows > 0 && h.columns > 0 && h.nbands > 0 && h.rows <= (1 << 24) &&
           h.columns <= (1 << 24) && h.nbands <= 4096;
}

void unsupported_depth(int depth) {
    char text[64];
    snprintf(text, sizeof text, "UDF %d-Bit data not supported\n", depth);
    user_error(text);
}

// The 256-entry grey ramp of deep data shown without colours.
int install_grey_ramp(Image* image) {
    uint8_t* ramp[3] = {nullptr, nullptr, nullptr};
    if (get_8bit_grayscale_ramp(ramp) < 0) return -1;
    Colormap& map = image->colormap;
    free(map.red);
    free(map.green);
    free(map.blue);
    map.red = ramp[0];
    map.green = ramp[1];
    map.blue = ramp[2];
    map.ncolors = 256;
    map.low = 0;
    map.high = 255;
    return 1;
}

// 1 shifted left by depth in 32 bits: a depth of 32 wraps the shift to 1.
int32_t value_range(int depth) { return static_cast<int32_t>(1u << (depth & 31)); }

int copy_table(const uint8_t* table, int32_t count, uint8_t** target) {
    if (!table) return 1;
    uint8_t* copy = allocate_byte_buffer(count);
    if (!copy) return -1;
    memcpy(copy, table, static_cast<size_t>(count));
    free(*target);
    *target = copy;
    return 1;
}

template <typename T>
void remap(Image* image, T* values) {
    const Colormap& map = image->colormap;
    if (map.ncolors == 0 || !values) return;
    const uint32_t first = static_cast<uint32_t>(map.low), last = static_cast<uint32_t>(map.high);
    for (int i = 0; i < image->win_cols; ++i) {
        uint32_t v = values[i];
        values[i] = static_cast<T>(v >= first && v <= last ? v - first : 0);
    }
}

// Rows come in the host's order: nothing is swapped unless a record says otherwise.
template <typename T>
T* point_at_window(Image* image) {
    if (!image->file_buffer) return nullptr;
    return reinterpret_cast<T*>(image->file_buffer + image->first_byte);
}

// Three planes of deep data to bytes: each by its band's scale and minimum,
// the low 8 bits kept; a plane whose scale is 0 is left as it is.
template <typename T>
void scale_planes(Image* image, T* const planes[3]) {
    const Colormap& map = image->colormap;
    for (int k = 0; k < 3; ++k) {
        if (!planes[k] || map.band_step[k] == 0.0f) continue;
        const int32_t minimum = static_cast<int32_t>(map.band_low[k]);
        for (int i = 0; i < image->win_cols; ++i) {
            long double scaled = static_cast<long double>(static_cast<int32_t>(planes[k][i]) - static_cast<int64_t>(minimum)) *
                                 map.band_step[k];
            int64_t whole = scaled > -9.2e18L && scaled < 9.2e18L ? static_cast<int64_t>(scaled) : 0;
            planes[k][i] = static_cast<T>(whole & 255);
        }
    }
}

}  // namespace

extern "C" {

int Unpack_01Bit(Image* image) {
    static const uint8_t MASK1B[8] = {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01};
    if (!image->row8 || !image->file_buffer) return 1;
    for (int i = 0; i < image->win_cols; ++i) {
        int p = i + image->first_col;
        image->row8[i] = (image->file_buffer[p / 8] & MASK1B[p % 8]) ? 1 : 0;
    }
    return 1;
}

int Unpack_04Bit(Image* image) {
    static const int SHFT4B[2] = {4, 0};
    if (!image->row8 || !image->file_buffer) return 1;
    for (int i = 0; i < image->win_cols; ++i) {
        int p = i + image->first_col;
        image->row8[i] = static_cast<uint8_t>((image->file_buffer[p / 2] >> SHFT4B[p % 2]) & 15);
    }
    return 1;
}

int Unpack_UDF_1_Bit_Data(Image* image) { return Unpack_01Bit(image); }
int Unpack_UDF_4_Bit_Data(Image* image) { return Unpack_04Bit(image); }

int Unpack_UDF_8_Bit_Data(Image* image) {
    image->row8 = point_at_window<uint8_t>(image);
    return 1;
}

int Unpack_UDF_16_Bit_Data(Image* image) {
    image->row16 = point_at_window<uint16_t>(image);
    int count = image->win_cols;
    if (image->row16 && image->byte_order != kHostOrder) swi2aa_(image->row16, &count);
    return 1;
}

int Unpack_UDF_32_Bit_Data(Image* image) {
    image->row32 = point_at_window<uint32_t>(image);
    int count = image->win_cols;
    if (image->row32 && image->byte_order != kHostOrder) swi4aa_(image->row32, &count);
    return 1;
}

int Unpack_UDF_1_Bit_Color(Image* image) {
    Unpack_UDF_1_Bit_Data(image);
    remap(image, image->row8);
    return 1;
}
int Unpack_UDF_4_Bit_Color(Image* image) {
    Unpack_UDF_4_Bit_Data(image);
    remap(image, image->row8);
    return 1;
}
int Unpack_UDF_8_Bit_Color(Image* image) {
    Unpack_UDF_8_Bit_Data(image);
    remap(image, image->row8);
    return 1;
}
int Unpack_UDF_16_Bit_Color(Image* image) {
    Unpack_UDF_16_Bit_Data(image);
    remap(image, image->row16);
    return 1;
}
int Unpack_UDF_32_Bit_Color(Image* image) {
    Unpack_UDF_32_Bit_Data(image);
    remap(image, image->row32);
    return 1;
}

int Unpack_UDF_16_Bit_Scale(Image* image) {
    Unpack_UDF_16_Bit_Data(image);
    const float scale = image->colormap.gray_step;
    if (scale == 0.0f || !image->row16) return 1;
    const int32_t minimum = static_cast<int32_t>(image->colormap.gray_low);
    for (int i = 0; i < image->win_cols; ++i) {
        long double scaled = static_cast<long double>(static_cast<int32_t>(image->row16[i]) - minimum) * scale;
        image->row16[i] = static_cast<uint16_t>(static_cast<int64_t>(scaled));
    }
    return 1;
}

int Unpack_UDF_32_Bit_Scale(Image* image) {
    Unpack_UDF_32_Bit_Data(image);
    const float scale = image->colormap.gray_step;
    if (scale == 0.0f || !image->row32) return 1;
    const uint32_t minimum = image->colormap.gray_low;
    for (int i = 0; i < image->win_cols; ++i) {
        long double scaled = static_cast<long double>(image->row32[i] - minimum) * scale;
        // Beyond 64 bits the value has no integer part to keep.
        image->row32[i] = scaled < 1.8e19L ? static_cast<uint32_t>(static_cast<uint64_t>(scaled)) : 0;
    }
    return 1;
}

int Unpk_StdBIL_16_Bit_Multi_Scale(Image* image) {
    int result = Unpk_StdBIL_16_Bit_Multi_Data(image);
    scale_planes(image, image->mrow16);
    return result;
}

int Unpk_StdBIL_32_Bit_Multi_Scale(Image* image) {
    int result = Unpk_StdBIL_32_Bit_Multi_Data(image);
    scale_planes(image, image->mrow32);
    return result;
}

int Get_UDF_Row(Image* image, int row) {
    const UDFRecord* driver = driver_of(image->type);
    UDFHeader* header = udf_header(image);
    if (!driver || !driver->getrow || !header || !image->file_buffer) return -1;
    int result;
    try {
        result = driver->getrow(row, image->file_buffer, header);
    } catch (...) {
        result = -1;  // a driver that throws has failed the row
    }
    if (result < 0 || !image->unpack) return -1;
    image->unpack(image);
    return 0;
}

int open_UDF(Image* image, const char* name, int band, int display, int type) {
    if (display != 0 && band == 0) return -1;
    const UDFRecord* driver = driver_of(type);
    if (!driver || !driver->open) return -1;
    UDFHeader* header = static_cast<UDFHeader*>(calloc(1, sizeof(UDFHeader)));
    if (!header) return -1;
    int opened;
    try {
        opened = driver->open(name, band, 0, 0, 0, header);
    } catch (...) {
        opened = -1;
    }
    if (opened < 0) {
        free(header);
        return -1;
    }
    // From here on a failure closes the driver's open and gives the header back.
    auto fail = [&]() {
        if (driver->close) driver->close(header);
        free(header);
        image->clyr = nullptr;
        return -1;
    };
    UDF_sethdr = 1;
    image->type = type;
    image->byte_order = kHostOrder;
    image->rows = header->rows;
    image->columns = header->columns;
    image->depth = header->depth;
    image->nbands = header->nbands;
    image->get_row = Get_UDF_Row;
    if (!header_sizes_ok(*header)) return fail();
    if (header->depth == 1 && header->nbands != 1) return fail();
    if (header->nbands < band) {
        char text[600];
        snprintf(text, sizeof text, "Invalid band number, %s has %d band(s)\n", name,
                 header->nbands);
        user_error(text);
        return fail();
    }
    const bool full = display == 0 && band == 0;
    ImageUnpackFunc by_depth[5] = {
        full ? Unpk_StdBIL_1_Bit_Full : Unpack_UDF_1_Bit_Data,
        full ? Unpk_StdBIL_4_Bit_Full : Unpack_UDF_4_Bit_Data,
        full ? Unpk_StdBIL_8_Bit_Full : Unpack_UDF_8_Bit_Data,
        full ? Unpk_StdBIL_16_Bit_Full : Unpack_UDF_16_Bit_Data,
        full ? Unpk_StdBIL_32_Bit_Full : Unpack_UDF_32_Bit_Data,
    };
    Colormap& map = image->colormap;
    map.ncolors = header->ncolors > 0 ? header->ncolors : 0;
    map.low = header->low_index;
    map.high = header->high_index;
    if (header->ncolors > 0 && (copy_table(header->red, header->ncolors, &map.red) < 0 ||
                                copy_table(header->green, header->ncolors, &map.green) < 0 ||
                                copy_table(header->blue, header->ncolors, &map.blue) < 0))
        return fail();
    if (header->nbands == 1 && map.ncolors > 0 && display != 0) {
        by_depth[0] = Unpack_UDF_1_Bit_Color;
        by_depth[1] = Unpack_UDF_4_Bit_Color;
        by_depth[2] = Unpack_UDF_8_Bit_Color;
        by_depth[3] = Unpack_UDF_16_Bit_Color;
        by_depth[4] = Unpack_UDF_32_Bit_Color;
    }
    map.gray_step = static_cast<float>(header->scale);
    map.gray_low = static_cast<uint32_t>(header->data_min);
    map.gray_high = static_cast<uint32_t>(header->data_max);
    if (display != 0 && map.ncolors == 0 && header->depth > 8) {
        // The quotient is an integer one: 16-bit data stays unscaled, and a
        // driver that wants it brought to 8 bits fills scale itself.
        const int32_t range = value_range(header->depth);
        if (map.gray_step == 0.0f) {
            map.gray_step = static_cast<float>(256 / range);
            map.gray_low = 0;
            map.gray_high = static_cast<uint32_t>(range - 1);
        }
        by_depth[3] = Unpack_UDF_16_Bit_Scale;
        by_depth[4] = Unpack_UDF_32_Bit_Scale;
        if (install_grey_ramp(image) < 0) return fail();
    }
    int slot;
    switch (header->depth) {
    case 1: slot = 0; break;
    case 4: slot = 1; break;
    case 8: slot = 2; break;
    case 16: slot = 3; break;
    case 32: slot = 4; break;
    default:
        unsupported_depth(header->depth);
        return fail();
    }
    image->unpack = by_depth[slot];
    const long band_bytes = band_row_bytes(header->depth, header->columns);
    const long long total = static_cast<long long>(band_bytes) * header->nbands;
    if (total > 0x7FFFFFFFLL) return fail();
    image->row_bytes = static_cast<int32_t>(total);
    image->band = static_cast<int32_t>(band_bytes);
    image->file_buffer = allocate_byte_buffer(image->row_bytes);
    if (!image->file_buffer) return fail();
    image->clyr = header;
    return 1;
}

int open_multi_UDF(Image* image, const char* name, int red, int green, int blue, int display,
                   int type) {
    if (display == 0) return -1;
    const UDFRecord* driver = driver_of(type);
    if (!driver || !driver->open) return -1;
    UDFHeader* header = static_cast<UDFHeader*>(calloc(1, sizeof(UDFHeader)));
    if (!header) return -1;
    int opened;
    try {
        opened = driver->open(name, 0, red, green, blue, header);
    } catch (...) {
        opened = -1;
    }
    // Every failure gives the header back, and closes the driver once it opened.
    auto fail = [&](bool close) {
        if (close && driver->close) driver->close(header);
        free(header);
        image->clyr = nullptr;
        return -1;
    };
    if (opened < 0) return fail(false);
    if (header->nbands < 2) return fail(true);
    UDF_sethdr = 1;
    if (header->depth == 1 || !header_sizes_ok(*header)) return fail(true);
    image->type = type;
    image->byte_order = kHostOrder;
    image->rows = header->rows;
    image->columns = header->columns;
    image->depth = header->depth;
    image->nbands = header->nbands;
    image->get_row = Get_UDF_Row;
    image->clyr = header;

    Colormap& map = image->colormap;
    map.ncolors = 0;
    map.gray_step = 0.0f;
    for (int k = 0; k < 3; ++k) {
        map.band_low[k] = static_cast<uint32_t>(header->band_min[k]);
        map.band_high[k] = static_cast<uint32_t>(header->band_max[k]);
        map.band_step[k] = static_cast<float>(header->band_scale[k]);
    }
    ImageUnpackFunc deep16 = Unpk_StdBIL_16_Bit_Multi_Data, deep32 = Unpk_StdBIL_32_Bit_Multi_Data;
    if (header->depth > 8) {
        const int32_t range = value_range(header->depth);
        for (int k = 0; k < 3; ++k)
            if (map.band_step[k] == 0.0f) {
                map.band_step[k] = static_cast<float>(256 / range);
                map.band_low[k] = 0;
                map.band_high[k] = static_cast<uint32_t>(range - 1);
            }
        deep16 = Unpk_StdBIL_16_Bit_Multi_Scale;
        deep32 = Unpk_StdBIL_32_Bit_Multi_Scale;
        if (install_grey_ramp(image) < 0) return fail(true);
    }
    switch (header->depth) {
    case 4: image->unpack = Unpk_StdBIL_4_Bit_Multi_Data; break;
    case 8: image->unpack = Unpk_StdBIL_8_Bit_Multi_Data; break;
    case 16: image->unpack = deep16; break;
    case 32: image->unpack = deep32; break;
    default:
        unsupported_depth(header->depth);
        return fail(true);
    }
    const long band_bytes = band_row_bytes(header->depth, header->columns);
    const int planes = header->nbands < 4 ? header->nbands : 3;
    image->row_bytes = static_cast<int32_t>(band_bytes * planes);
    image->red_band = 0;
    image->green_band = static_cast<int32_t>(band_bytes);
    image->blue_band = static_cast<int32_t>(band_bytes * 2);
    // A two-band driver's third plane is read all the same: the buffer holds
    // three planes whatever row_bytes says.
    image->file_buffer = allocate_byte_buffer(band_bytes * 3 > image->row_bytes ? band_bytes * 3
                                                                                : image->row_bytes);
    if (!image->file_buffer) return fail(true);
    return 1;
}

int close_UDF(Image* image) {
    const UDFRecord* driver = driver_of(image->type);
    if (!driver) return -1;
    UDFHeader* header = udf_header(image);
    if (!header) return 0;
    try {
        if (driver->close) driver->close(header);
    } catch (...) {
        // The header goes all the same.
    }
    free(header);
    image->clyr = nullptr;
    return 0;
}

// Every query opens the driver on band 1 and closes it again, unless the name
// is the one asked about last.
static int query_header(const char* name, int type) {
    if (!name) return -1;
    if (strcmp(name, prv_fname) == 0) return 0;
    snprintf(prv_fname, sizeof prv_fname, "%s", name);
    const UDFRecord* driver = driver_of(type);
    if (!driver || !driver->open || !driver->close) return -1;
    try {
        if (driver->open(name, 1, 0, 0, 0, &UDF_header) < 0) return -1;
        if (driver->close(&UDF_header) < 0) return -1;
    } catch (...) {
        return -1;
    }
    return 0;
}

int read_UDF_extent(const char* name, int type, int* rows, int* columns) {
    if (query_header(name, type) < 0) return -1;
    *rows = UDF_header.rows;
    *columns = UDF_header.columns;
    return 0;
}

int read_UDF_nbands(const char* name, int type, int* nbands) {
    if (query_header(name, type) < 0) return -1;
    *nbands = UDF_header.nbands;
    return 0;
}

int get_UDF_depth(const char* name, int type, int* depth) {
    if (query_header(name, type) < 0) return -1;
    *depth = UDF_header.depth;
    return 0;
}

int get_UDF_info(const char* name, int type, int* rows, int* columns, int* nbands, int* depth) {
    if (query_header(name, type) < 0) return -1;
    *rows = UDF_header.rows;
    *columns = UDF_header.columns;
    *nbands = UDF_header.nbands;
    *depth = UDF_header.depth;
    return 0;
}

int read_UDF_header_trans(const char* name, int type, double* transform) {
    if (query_header(name, type) < 0) return -1;
    if (registered_header_transform(type, name, transform) == 0) return 0;
    transform[0] = UDF_header.pixel_x;
    transform[1] = 0.0;
    transform[2] = 0.0;
    transform[3] = -UDF_header.pixel_y;
    transform[4] = UDF_header.origin_x;
    transform[5] = UDF_header.origin_y;
    return 0;
}

int rdhdr_UDF(Image* image, int, void* out) {
    if (!image || !image->clyr) return -1;
    // The colormap record as it stands, whatever its size on this machine.
    if (out) memcpy(out, &image->colormap, sizeof(Colormap));
    return 0;
}

int clrrd_UDF_hdr(void) {
    UDF_sethdr = 0;
    return 0;
}

}  // extern "C"

namespace {

int open_udf(Image* image, const char* name, int band, int display, int type, char*, char*) {
    return open_UDF(image, name, band, display, type);
}
int open_multi_udf(Image* image, const char* name, int red, int green, int blue, int display,
                   int type, char*, char*) {
    return open_multi_UDF(image, name, red, green, blue, display, type);
}
int udf_info(int type, const char* name, int* rows, int* columns, int* bands, int* depth) {
    return get_UDF_info(name, type, rows, columns, bands, depth);
}
int udf_extent(int type, const char* name, int* rows, int* columns) {
    return read_UDF_extent(name, type, rows, columns);
}
int udf_nbands(int type, const char* name, int* bands) { return read_UDF_nbands(name, type, bands); }
int udf_depth(int type, const char* name, int* depth) { return get_UDF_depth(name, type, depth); }

}  // namespace

// "USER DEFINED" is the generic word for these formats: keyword_from_type
// gives it for 1000, type_from_keyword never matches it.
extern const ImageDriver driver_UDF = {
    .type = 1000, .keyword = "USER DEFINED",
    .flags = DRIVER_TYPE_RANGE | DRIVER_KEYWORD_UNMATCHED | DRIVER_HEADER_TRANSFORM_UNSIGNED,
    .open = open_udf, .open_multi = open_multi_udf, .close = close_UDF, .close_multi = close_UDF,
    .get_info = udf_info, .read_extent = udf_extent, .read_nbands = udf_nbands,
    .get_depth = udf_depth, .read_header_trans = read_UDF_header_trans, .all_bands_in_row = registered_all_bands_in_row,
    .colour_form = COLOURS_RANGED,
};
