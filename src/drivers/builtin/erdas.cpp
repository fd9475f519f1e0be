// ERDAS LAN and GIS files, type code 3.
//
// Header, 128 bytes. "HEAD74" files are little-endian with integer sizes;
// "HEADER" files (the 4-bit LAN form) are big-endian with real sizes.
//
//   offset  size  field       use
//   0       6     magic       "HEAD74" or "HEADER"; anything else is refused
//   6       2     pack_type   0 8 bits, 1 4 bits, 2 16 bits
//   8       2     band_count
//   16      4     width       i32 in "HEAD74", f32 in "HEADER" (truncated)
//   20      4     height      likewise
//   88      2     map_type    0 no map; 1 to 20 and 99 place the image
//   112     4     map_x       f32, x of the centre of the first pixel
//   116     4     map_y       f32, y of the centre of the first pixel
//   120     4     cell_x      f32, pixel width
//   124     4     cell_y      f32, pixel height
//   128           rows        each band's row in turn; a band row is columns
//                             bytes (8 bits), 2 * columns (16 bits, file order)
//                             or (columns + 1) / 2 (4 bits, low nibble first).
//                             A one-band 4-bit file has no row padding: pixel
//                             r * columns + c is nibble that of byte 128 + it / 2.
//
// Side files, named after the image without its four-character suffix:
//   .trl (GIS)  "TRAILER"/"TRAIL74", then at 128: 256 greens, 256 reds, 256 blues
//   .sta (LAN)  one 1152-byte record per band: the magic, mean f32 at 12,
//               standard deviation f32 at 24; big-endian unless "TRAIL74" or
//               the image is "HEAD74"

#include "drivers/builtin/erdas.h"

#include <limits.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include "platform/tarn_paths.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr int kErdasType = 3;
constexpr int kHeaderBytes = 128;
constexpr uint32_t kLittle = 0x4949;
constexpr uint32_t kBig = 0x4D4D;
constexpr long kStatRecord = 1152;
constexpr long long kMaxSide = 1LL << 24;

ErdasHeader* erdas_record(Image* image) { return static_cast<ErdasHeader*>(image->driver); }

// Reals past the int range (or NaN) truncate to 0 rather than to undefined values.
int32_t truncate_real(float value) {
    if (!(value > -2147483648.0f && value < 2147483648.0f)) return 0;
    return static_cast<int32_t>(value);
}

int depth_of(int pack_type) {
    switch (pack_type) {
    case 0: return 8;
    case 1: return 4;
    case 2: return 16;
    default: return -1;
    }
}

long long band_row_bytes(long long columns, int depth) {
    return depth == 4 ? (columns + 1) / 2 : columns * depth / 8;
}

long long file_size(FILE* file) {
    long here = tarn_ftell(file);
    if (here < 0 || tarn_fseek(file, 0, SEEK_END) != 0) return -1;
    long size = tarn_ftell(file);
    if (tarn_fseek(file, here, SEEK_SET) != 0) return -1;
    return size;
}

// Sizes no image has, and a raster the file cannot hold even one row of,
// are refused before anything is allocated.
bool geometry_ok(const ErdasHeader& h, int depth, long long size) {
    if (h.width < 1 || h.height < 1 || h.width > kMaxSide || h.height > kMaxSide) return false;
    if (h.band_count == 0) return false;
    long long row = band_row_bytes(h.width, depth) * h.band_count;
    if (row > INT_MAX - 8) return false;
    long long data = size - kHeaderBytes;
    if (h.band_count == 1 && depth == 4) {
        if (((long long)h.width * h.height + 1) / 2 > 0xFFFFFFFFLL) return false;
        return data >= 1;
    }
    if (row * h.height > 0xFFFFFFFFLL) return false;
    return data >= row;
}

void explain_geometry(const ErdasHeader& h, int depth, long long size) {
    if (h.width < 1 || h.height < 1 || h.band_count < 1)
        tarn_report(TARN_MESSAGE_ERROR,
                    "Erdas header gives %d columns, %d rows and %d bands; none may be below 1",
                    h.width, h.height, h.band_count);
    else if (h.width > kMaxSide || h.height > kMaxSide)
        tarn_report(TARN_MESSAGE_ERROR,
                    "Erdas header gives %d x %d pixels, a size the library will not allocate",
                    h.width, h.height);
    else
        tarn_report(TARN_MESSAGE_ERROR,
                    "Erdas header gives %d bands of %d x %d pixels at %d bits, more than the "
                    "file holds (%lld bytes)",
                    h.band_count, h.width, h.height, depth, size);
}

// Minimum and maximum two deviations around the mean, held inside the
// depth's values.
void stretch(double mean, double deviation, long long span, uint32_t* low, uint32_t* high,
             int* difference) {
    auto clamp = [span](double value) -> int32_t {
        if (!(value > -1.0)) return 0;
        if (value >= static_cast<double>(span)) return static_cast<int32_t>(span - 1);
        long long t = static_cast<long long>(value);
        return t < 0 ? 0 : t >= span ? static_cast<int32_t>(span - 1) : static_cast<int32_t>(t);
    };
    int32_t lo = clamp(mean - 2.0 * deviation), hi = clamp(mean + 2.0 * deviation);
    *low = static_cast<uint32_t>(lo);
    *high = static_cast<uint32_t>(hi);
    *difference = hi - lo;
}

// One band's record of a .sta file; false when the record is missing or
// carries no magic.
bool read_band_stats(FILE* file, int band, uint32_t image_order, double* mean,
                     double* deviation) {
    if (band < 1 || tarn_fseek(file, (band - 1) * kStatRecord, SEEK_SET) != 0) return false;
    uint8_t record[28];
    if (tarn_fread(record, 1, sizeof record, file) != sizeof record) return false;
    bool trail74 = memcmp(record, "TRAIL74", 7) == 0;
    if (!trail74 && memcmp(record, "TRAILER", 7) != 0) return false;
    bool little = trail74 || image_order == kLittle;
    *mean = little ? read_le_f32(record + 12) : read_be_f32(record + 12);
    *deviation = little ? read_le_f32(record + 24) : read_be_f32(record + 24);
    return true;
}

void free_colours(Colormap& map) {
    free(map.red);
    free(map.green);
    free(map.blue);
    map.red = map.green = map.blue = nullptr;
    map.ncolors = 0;
}

// The 256 colours of a .trl file: 1, or -1 when out of memory.
int read_trailer_colours(Image* image, const char* path) {
    std::vector<char> name(strlen(path) + 1);
    Get_Erdas_Trailer_Name(0, path, name.data());
    FILE* file = tarn_fopen(name.data(), "r");
    if (!file) return 1;
    uint8_t magic[7];
    if (tarn_fread(magic, 1, 7, file) != 7 ||
        (memcmp(magic, "TRAILER", 7) != 0 && memcmp(magic, "TRAIL74", 7) != 0)) {
        tarn_fclose(file);
        return 1;
    }
    Colormap& map = image->colormap;
    map.ncolors = 256;
    map.red = static_cast<uint8_t*>(C_calloc(256, 1));
    map.green = static_cast<uint8_t*>(C_calloc(256, 1));
    map.blue = static_cast<uint8_t*>(C_calloc(256, 1));
    if (!map.red || !map.green || !map.blue) {
        tarn_fclose(file);
        return -1;
    }
    bool whole = tarn_fseek(file, kHeaderBytes, SEEK_SET) == 0 &&
                 tarn_fread(map.green, 1, 256, file) == 256 &&
                 tarn_fread(map.red, 1, 256, file) == 256 &&
                 tarn_fread(map.blue, 1, 256, file) == 256;
    tarn_fclose(file);
    // A trailer cut short gives no colours rather than a half-read table.
    if (!whole) {
        free_colours(map);
        return 1;
    }
    map.low = 0;
    map.first = 0;
    map.high = 255;
    return 1;
}

// Opens the file and reads the header into a fresh record: what the two
// opens share. The depth, or -1.
int open_and_read(Image* image, const char* path, ErdasHeader** out, long long* size) {
    ErdasHeader* header = static_cast<ErdasHeader*>(calloc(1, sizeof(ErdasHeader)));
    if (!header) return -1;
    image->driver = header;
    image->type = kErdasType;
    *out = header;
    image->file = tarn_fopen(path, "r");
    if (!image->file) return -1;
    *size = file_size(image->file);
    if (tarn_fread(header->bytes, 1, kHeaderBytes, image->file) != kHeaderBytes) return -1;
    int order = swap_erdas_header_for_read(header);
    if (order < 0) return -1;
    header->valid = 1;
    image->byte_order = static_cast<uint32_t>(order);
    image->rows = header->height;
    image->columns = header->width;
    image->nbands = header->band_count;
    return 1;
}

int unsupported_pack(int pack_type) {
    char text[64];
    snprintf(text, sizeof text, "Erdas %d-Bit data not supported\n", pack_type);
    user_error(text);
    return -1;
}

// Nibbles first .. first + count - 1 of `in` (low nibble first), one byte each.
void unpack_nibbles(const uint8_t* in, long long first, int count, uint8_t* out) {
    for (int i = 0; i < count; ++i) {
        long long n = first + i;
        uint8_t byte = in[n >> 1];
        out[i] = (n & 1) ? byte >> 4 : byte & 0x0F;
    }
}

void unpack_words(const uint8_t* in, int count, bool little, uint16_t* out) {
    for (int i = 0; i < count; ++i) out[i] = little ? read_le16(in + 2 * i) : read_be16(in + 2 * i);
}

bool window_ok(const Image* image) {
    return image->first_col >= 0 && image->win_cols > 0 &&
           (long long)image->first_col + image->win_cols <= image->columns;
}

// Bytes of one band row that the window needs: from the window's first
// sample to its last.
void window_bytes(const Image* image, long long* offset, long long* count) {
    if (image->depth == 4) {
        long long first = image->first_col / 2, last = (image->first_col + image->win_cols - 1) / 2;
        *offset = first;
        *count = last - first + 1;
    } else {
        int bytes = image->depth / 8;
        *offset = (long long)image->first_col * bytes;
        *count = (long long)image->win_cols * bytes;
    }
}

// Reads `count` bytes at `target` from the start of the raster, where the open
// left the file, by a relative seek from io_pos.
int read_at(Image* image, long long target, long long count) {
    if (!image->file || !image->file_buffer || target < 0 || count <= 0 ||
        count > image->row_bytes + 1LL || target + count > 0xFFFFFFFFLL)
        return -1;
    if (tarn_fseek(image->file, static_cast<long>(target - (long long)image->io_pos), SEEK_CUR) != 0)
        return -1;
    if (tarn_fread(image->file_buffer, 1, static_cast<size_t>(count), image->file) !=
        static_cast<size_t>(count))
        return -1;
    image->io_pos = static_cast<uint32_t>(target + count);
    return 0;
}

int unpack_row(Image* image) {
    if (!image->unpack) return -1;
    return image->unpack(image) == -1 ? -1 : 0;
}

// A plane's samples for the window, from a whole row in file_buffer.
template <typename T>
int unpack_plane(Image* image, long long band_offset, T* out);

template <>
int unpack_plane<uint8_t>(Image* image, long long band_offset, uint8_t* out) {
    long long band_row = band_row_bytes(image->columns, image->depth);
    if (!out || band_offset < 0 || band_offset + band_row > image->row_bytes) return -1;
    const uint8_t* in = image->file_buffer + band_offset;
    if (image->depth == 4)
        unpack_nibbles(in, image->first_col, image->win_cols, out);
    else
        memcpy(out, in + image->first_col, static_cast<size_t>(image->win_cols));
    return 0;
}

template <>
int unpack_plane<uint16_t>(Image* image, long long band_offset, uint16_t* out) {
    long long band_row = band_row_bytes(image->columns, image->depth);
    if (!out || band_offset < 0 || band_offset + band_row > image->row_bytes) return -1;
    unpack_words(image->file_buffer + band_offset + 2LL * image->first_col, image->win_cols,
                 image->byte_order == kLittle, out);
    return 0;
}

// Every band of the row, one image width apart.
template <typename T>
int unpack_full(Image* image, T* out) {
    if (!out || !image->file_buffer || !window_ok(image)) return -1;
    long long band_row = band_row_bytes(image->columns, image->depth);
    for (int k = 0; k < image->nbands; ++k)
        if (unpack_plane<T>(image, k * band_row, out + (long long)k * image->columns) == -1)
            return -1;
    return 0;
}

template <typename T>
int unpack_multi(Image* image, T** planes) {
    if (!image->file_buffer || !window_ok(image)) return -1;
    const long long offsets[3] = {image->red_band, image->green_band, image->blue_band};
    for (int k = 0; k < 3; ++k)
        if (unpack_plane<T>(image, offsets[k], planes[k]) == -1) return -1;
    return 0;
}

}  // namespace

extern "C" {

int swap_erdas_header_for_read(ErdasHeader* h) {
    const uint8_t* b = h->bytes;
    int order;
    if (memcmp(b, "HEAD74", 6) == 0)
        order = kLittle;
    else if (memcmp(b, "HEADER", 6) == 0)
        order = kBig;
    else
        order = -1;
    h->byte_order = order;
    if (order == static_cast<int>(kBig)) {
        h->pack_type = read_be16(b + 6);
        h->band_count = read_be16(b + 8);
        h->width_real = read_be_f32(b + 16);
        h->height_real = read_be_f32(b + 20);
        h->width = truncate_real(h->width_real);
        h->height = truncate_real(h->height_real);
        h->map_type = read_be16(b + 88);
        h->map_x = read_be_f32(b + 112);
        h->map_y = read_be_f32(b + 116);
        h->cell_x = read_be_f32(b + 120);
        h->cell_y = read_be_f32(b + 124);
    } else {
        h->pack_type = read_le16(b + 6);
        h->band_count = read_le16(b + 8);
        h->width = static_cast<int32_t>(read_le32(b + 16));
        h->height = static_cast<int32_t>(read_le32(b + 20));
        h->width_real = h->height_real = 0.0f;
        h->map_type = read_le16(b + 88);
        h->map_x = read_le_f32(b + 112);
        h->map_y = read_le_f32(b + 116);
        h->cell_x = read_le_f32(b + 120);
        h->cell_y = read_le_f32(b + 124);
    }
    return order;
}

int read_erdas_header(const char* path, ErdasHeader* header) {
    FILE* file = tarn_fopen(path, "r");
    if (!file) return -1;
    size_t got = tarn_fread(header->bytes, 1, kHeaderBytes, file);
    tarn_fclose(file);
    if (got != kHeaderBytes) return -1;
    swap_erdas_header_for_read(header);
    return 1;
}

int Get_Erdas_Type(const char* path) {
    size_t n = path ? strlen(path) : 0;
    if (n < 4) return 2;
    const char* tail = path + n - 4;
    if (strcmp(tail, ".gis") == 0 || strcmp(tail, ".GIS") == 0) return 0;
    if (strcmp(tail, ".lan") == 0 || strcmp(tail, ".LAN") == 0) return 1;
    return 2;
}

int Get_Erdas_Trailer_Name(int kind, const char* path, char* out) {
    if (kind != 0 && kind != 1) return 0;
    size_t n = strlen(path);
    std::string stem(path, n >= 4 ? n - 4 : 0);
    std::string lower = stem + (kind == 0 ? ".trl" : ".sta");
    std::string upper = stem + (kind == 0 ? ".TRL" : ".STA");
    // The upper-case name is taken without looking for it.
    const std::string& name = file_exists(lower) ? lower : upper;
    memcpy(out, name.c_str(), name.size() + 1);
    return 0;
}

int get_ERDAS_info(const char* name, int* rows, int* columns, int* bands, int* depth) {
    ErdasHeader h;
    if (read_erdas_header(name, &h) == -1) {
        user_error("Unable to read Erdas header\n");
        return -1;
    }
    // A header of neither form leaves the size unwritten.
    if (h.byte_order != -1) {
        *rows = h.height;
        *columns = h.width;
    }
    *bands = h.band_count;
    int d = depth_of(h.pack_type);
    if (d < 0) return -1;
    *depth = d;
    return 1;
}

int read_ERDAS_extent(const char* name, int* rows, int* columns) {
    ErdasHeader h;
    if (read_erdas_header(name, &h) == -1) {
        user_error("Unable to read Erdas header\n");
        return -1;
    }
    if (h.byte_order != -1) {
        *rows = h.height;
        *columns = h.width;
    }
    return 1;
}

int read_ERDAS_nbands(const char* name, int* bands) {
    ErdasHeader h;
    if (read_erdas_header(name, &h) == -1) {
        user_error("Unable to read Erdas header\n");
        return -1;
    }
    *bands = h.band_count;
    return 1;
}

// Unlike the other members, a header of neither form is a failure here.
int get_ERDAS_depth(const char* name, int* depth) {
    FILE* file = tarn_fopen(name, "r");
    if (!file) return -1;
    ErdasHeader h;
    size_t got = tarn_fread(h.bytes, kHeaderBytes, 1, file);
    tarn_fclose(file);
    if (got != 1 || swap_erdas_header_for_read(&h) < 0) return -1;
    int d = depth_of(h.pack_type);
    if (d < 0) return -1;
    *depth = d;
    return 1;
}

int read_ERDAS_header_trans(const char* name, int, double* transform) {
    ErdasHeader h;
    if (read_erdas_header(name, &h) == -1) {
        user_error("Unable to read Erdas header\n");
        return -1;
    }
    if (h.map_type == 0) return -1;
    if (h.map_type > 20 && h.map_type != 99) {
        user_error("Unknown Erdas World Coordinate System\n");
        return -1;
    }
    transform[0] = h.cell_x;
    transform[1] = 0.0;
    transform[2] = 0.0;
    transform[3] = -static_cast<double>(h.cell_y);
    transform[4] = h.map_x;
    transform[5] = h.map_y;
    return 1;
}

int open_ERDAS(Image* image, const char* path, int band, int) {
    int kind = Get_Erdas_Type(path);
    ErdasHeader* h = nullptr;
    if (kind > 1) {
        image->type = kErdasType;
        user_error("Unknown Erdas File Type\n");
        return -1;
    }
    long long size = -1;
    bool all_bands = band == 0;
    if (band < 0) return -1;
    if (all_bands) band = 1;
    if (open_and_read(image, path, &h, &size) == -1) return -1;
    if (band > h->band_count) {
        if (kind == 0) {
            user_mesg("An ERDAS GIS image has only 1 band\n");
            band = 1;
        } else {
            std::vector<char> text(strlen(path) + 64);
            snprintf(text.data(), text.size(), "Invalid band number, %s has %d band(s)\n", path,
                     h->band_count);
            user_error(text.data());
            return -1;
        }
    }
    const int depth = depth_of(h->pack_type);
    if (depth < 0) return unsupported_pack(h->pack_type);
    image->depth = depth;
    if (!geometry_ok(*h, depth, size)) {
        explain_geometry(*h, depth, size);
        return -1;
    }
    const long long band_row = band_row_bytes(h->width, depth);
    image->row_bytes = static_cast<int32_t>(band_row * h->band_count);
    long long raster = (long long)image->row_bytes * h->height;
    image->data_bytes = raster > INT_MAX ? INT_MAX : static_cast<int32_t>(raster);
    image->band = static_cast<int32_t>(band_row * (band - 1));
    if (all_bands) {
        image->get_row = Get_Erdas_Multi_Row;
        image->unpack = depth == 4 ? Unpack_Erdas_4_Bit_Full
                        : depth == 8 ? Unpack_Erdas_8_Bit_Full
                                     : Unpack_Erdas_16_Bit_Full;
    } else {
        image->get_row = Get_Erdas_Standard_Row;
        image->unpack = depth == 4 ? Unpack_Erdas_4_Bit_Data
                        : depth == 8 ? Unpack_Erdas_8_Bit_Data
                                     : Unpack_Erdas_16_Bit_Data;
    }
    // One more byte: a window of the unpadded 4-bit form may start mid-byte.
    image->file_buffer = allocate_byte_buffer(image->row_bytes + 1L);
    if (!image->file_buffer) return -1;
    if (depth == 4 && h->band_count == 1) image->get_row = Get_Erdas_4Bit_Row;

    Colormap& map = image->colormap;
    map.ncolors = 0;
    map.gray_step = 0.0f;
    if (kind == 0) return read_trailer_colours(image, path);

    std::vector<char> name(strlen(path) + 1);
    Get_Erdas_Trailer_Name(1, path, name.data());
    FILE* stats = tarn_fopen(name.data(), "r");
    if (!stats) return 1;
    double mean = 0, deviation = 0;
    if (read_band_stats(stats, band, image->byte_order, &mean, &deviation)) {
        int difference = 0;
        stretch(mean, deviation, 1LL << depth, &map.gray_low, &map.gray_high, &difference);
        map.gray_step = difference < 1 ? 256.0f : 256.0f / static_cast<float>(difference);
    }
    tarn_fclose(stats);
    return 1;
}

int open_multi_ERDAS(Image* image, const char* path, int red, int green, int blue, int) {
    int kind = Get_Erdas_Type(path);
    image->type = kErdasType;
    if (kind > 1) return -1;
    ErdasHeader* h = nullptr;
    long long size = -1;
    if (open_and_read(image, path, &h, &size) == -1) return -1;
    // A GIS image has one band and never opens three.
    if (kind == 0) {
        tarn_fclose(image->file);
        image->file = nullptr;
        return -1;
    }
    const int bands[3] = {red, green, blue};
    // Band 0 has no place in a row: its offset would lie ahead of it.
    for (int b : bands)
        if (b < 1 || b > h->band_count) return -1;
    const int depth = depth_of(h->pack_type);
    if (depth < 0) return unsupported_pack(h->pack_type);
    image->depth = depth;
    if (!geometry_ok(*h, depth, size)) {
        explain_geometry(*h, depth, size);
        return -1;
    }
    image->unpack = depth == 4 ? Unpack_Erdas_4_Bit_Multi_Data
                    : depth == 8 ? Unpack_Erdas_8_Bit_Multi_Data
                                 : Unpack_Erdas_16_Bit_Multi_Data;
    const long long band_row = band_row_bytes(h->width, depth);
    image->row_bytes = static_cast<int32_t>(band_row * h->band_count);
    long long raster = (long long)image->row_bytes * h->height;
    image->data_bytes = raster > INT_MAX ? INT_MAX : static_cast<int32_t>(raster);
    image->red_band = static_cast<int32_t>(band_row * (red - 1));
    image->green_band = static_cast<int32_t>(band_row * (green - 1));
    image->blue_band = static_cast<int32_t>(band_row * (blue - 1));
    image->file_buffer = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(image->row_bytes) + 4, 1));
    if (!image->file_buffer) return -1;
    image->get_row = Get_Erdas_Multi_Row;

    Colormap& map = image->colormap;
    map.ncolors = 0;
    for (int k = 0; k < 3; ++k) map.band_step[k] = 0.0f;
    std::vector<char> name(strlen(path) + 1);
    Get_Erdas_Trailer_Name(1, path, name.data());
    FILE* stats = tarn_fopen(name.data(), "r");
    if (!stats) return 1;
    for (int k = 0; k < 3; ++k) {
        double mean = 0, deviation = 0;
        if (!read_band_stats(stats, bands[k], image->byte_order, &mean, &deviation)) continue;
        int difference = 0;
        stretch(mean, deviation, 1LL << depth, &map.band_low[k], &map.band_high[k], &difference);
        // Red takes the full scale below a difference of 1, green and blue
        // only at exactly 0, so a reversed stretch scales them negatively.
        bool full = k == 0 ? difference < 1 : difference == 0;
        map.band_step[k] = full ? 256.0f : 256.0f / static_cast<float>(difference);
    }
    tarn_fclose(stats);
    return 1;
}

int rdhdr_ERDAS(Image* image, ErdasHeader* header_out, Colormap* colormap_out) {
    ErdasHeader* h = erdas_record(image);
    if (!h || !h->valid) return -1;
    memcpy(header_out->bytes, h->bytes, kHeaderBytes);
    swap_erdas_header_for_read(header_out);
    header_out->valid = 0;
    if (colormap_out) *colormap_out = image->colormap;
    return 0;
}

int clrrd_ERDAS_hdr(Image* image) {
    if (image->driver) erdas_record(image)->valid = 0;
    return 1;
}

int Get_Erdas_Standard_Row(Image* image, int row) {
    if (row < 0 || row >= image->rows || !window_ok(image)) return -1;
    long long offset = 0, count = 0;
    window_bytes(image, &offset, &count);
    long long target = (long long)row * image->row_bytes + image->band + offset;
    if (image->band < 0 || image->band + offset + count > image->row_bytes) return -1;
    if (read_at(image, target, count) == -1) return -1;
    return unpack_row(image);
}

int Get_Erdas_Multi_Row(Image* image, int row) {
    if (row < 0 || row >= image->rows) return -1;
    if (read_at(image, (long long)row * image->row_bytes, image->row_bytes) == -1)
        return -1;
    return unpack_row(image);
}

// Rows of a one-band 4-bit file run on without padding, so a row may begin
// on a high nibble.
int Get_Erdas_4Bit_Row(Image* image, int row) {
    if (row < 0 || row >= image->rows || !window_ok(image) || !image->row8 || !image->file_buffer)
        return -1;
    long long pixel = (long long)row * image->columns + image->first_col;
    long long first = pixel / 2, last = (pixel + image->win_cols - 1) / 2;
    long long count = last - first + 1;
    if (count > image->row_bytes + 1LL) return -1;
    if (tarn_fseek(image->file, static_cast<long>(kHeaderBytes + first), SEEK_SET) != 0) return -1;
    if (tarn_fread(image->file_buffer, 1, static_cast<size_t>(count), image->file) !=
        static_cast<size_t>(count))
        return -1;
    unpack_nibbles(image->file_buffer, pixel & 1, image->win_cols, image->row8);
    return 0;
}

int Unpack_Erdas_4_Bit_Data(Image* image) {
    if (!image->row8 || !image->file_buffer || !window_ok(image)) return -1;
    unpack_nibbles(image->file_buffer, image->first_col & 1, image->win_cols, image->row8);
    return 0;
}

int Unpack_Erdas_8_Bit_Data(Image* image) {
    if (!image->file_buffer) return -1;
    image->row8 = image->file_buffer;
    return 0;
}

int Unpack_Erdas_16_Bit_Data(Image* image) {
    if (!image->row16 || !image->file_buffer || !window_ok(image)) return -1;
    unpack_words(image->file_buffer, image->win_cols, image->byte_order == kLittle, image->row16);
    return 0;
}

int Unpack_Erdas_4_Bit_Full(Image* image) { return unpack_full<uint8_t>(image, image->row8); }
int Unpack_Erdas_8_Bit_Full(Image* image) { return unpack_full<uint8_t>(image, image->row8); }
int Unpack_Erdas_16_Bit_Full(Image* image) { return unpack_full<uint16_t>(image, image->row16); }
int Unpack_Erdas_4_Bit_Multi_Data(Image* image) { return unpack_multi<uint8_t>(image, image->mrow8); }
int Unpack_Erdas_8_Bit_Multi_Data(Image* image) { return unpack_multi<uint8_t>(image, image->mrow8); }
int Unpack_Erdas_16_Bit_Multi_Data(Image* image) {
    return unpack_multi<uint16_t>(image, image->mrow16);
}

int check_format_ERDAS(FILE* fp) {
    uint8_t head[7];
    if (!fp || tarn_fseek(fp, 0, SEEK_SET) != 0) return 0;
    if (tarn_fread(head, 1, sizeof head, fp) != sizeof head) return 0;
    return memcmp(head, "HEADER", 6) == 0 || memcmp(head, "HEAD74", 6) == 0 ? 1 : 0;
}

}  // extern "C"

extern const ImageDriver driver_ERDAS;

int extend_and_check_if_ERDAS(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_ERDAS, stem, candidate);
}

// A .gis or .lan that fails the content probe is not rejected: it goes on to
// the later rows and tests.
extern const ImageDriver driver_ERDAS = {
    .type = kErdasType, .keyword = "ERDAS", .description = "ERDAS LAN and GIS",
    .flags = DRIVER_NAMED_BY_SUFFIX | DRIVER_SUFFIX_NEEDS_CONTENT, .suffixes = {".gis", ".lan"},
    .check = check_format_ERDAS, .extend_and_check = extend_and_check_if_ERDAS,
    .open = open_one_band<open_ERDAS>, .open_multi = open_three_bands<open_multi_ERDAS>,
    .clear_header = clrrd_ERDAS_hdr, .get_info = info_by_name<get_ERDAS_info>,
    .read_extent = extent_by_name<read_ERDAS_extent>,
    .read_nbands = value_by_name<read_ERDAS_nbands>, .get_depth = value_by_name<get_ERDAS_depth>,
    .read_header_trans = read_ERDAS_header_trans,
};
