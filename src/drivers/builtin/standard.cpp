// Raw band files described by a text header beside them: type codes 8 (BIL,
// band interleaved by line), 9 (BIP, by pixel) and 11 (BSQ, sequential). The
// layout is the image file's extension, not the header's LAYOUT key, and the
// side files are the image path without its last four characters plus
// ".hdr", ".clr" or ".stx" (lower case first, then upper).
//
// .hdr  one "KEY value" a line, keys in any case, unknown keys skipped, a
//       later line wins; a last line without a line feed is not read
//   BYTEORDER      I | i (little-endian), M | m (big-endian); else the header fails
//   LAYOUT         bil BIL bip BIP bsq BSQ; else the header fails
//   NROWS NCOLS NBANDS NBITS SKIPBYTES                 integers
//   BANDROWBYTES TOTALROWBYTES BANDGAPBYTES            integers (0: no padding)
//   ULXMAP ULYMAP XDIM YDIM                            floats, the first pixel's centre
// .clr  "value red green blue [label]" a line; "#" or "!" lines and blanks
//       skipped, negative values skipped, colours taken modulo 256
// .stx  "band min max [mean stddev [low high]]" a line, band 1 to 11; "#" or
//       "!" in a field's place marks it absent
//
// Rows, with b = bytes of one band's row (NCOLS * NBITS / 8 rounded up, or
// BANDROWBYTES) and r = bytes of one row (TOTALROWBYTES, or b times NBANDS,
// or b for BSQ), all after SKIPBYTES:
//   BIL  row y, band k at y * r + k * b
//   BIP  row y at y * r; pixel x, band k is sample x * NBANDS + k
//   BSQ  band k, row y at k * (NROWS * r + BANDGAPBYTES) + y * r
// 1- and 4-bit samples are packed high bits first; 16- and 32-bit samples in
// BYTEORDER. In BIP rows 4-bit samples are expanded by 32-bit host words.

#include "drivers/builtin/standard.h"
#include "platform/text_lines.h"

#include <ctype.h>
#include <limits.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "drivers/builtin/sunraster.h"
#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include "platform/tarn_paths.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr int kBIL = 8;
constexpr int kBIP = 9;
constexpr int kBSQ = 11;
constexpr int kLittle = 0x4949;
constexpr int kBig = 0x4D4D;
constexpr int kRampColours = 257;
constexpr long kMaxSide = 1L << 24;          // rows or columns
constexpr long long kMaxRowBytes = 1LL << 31;
constexpr long kMaxColourSpan = 1L << 24;    // values of one .clr
constexpr long kSlack = 8;                   // bytes past each input buffer

// The open's own record: the header as read, and where the rows start.
struct StandardState {
    StandardHeader header;
    long data_start;
};

StandardState* state_of(Image* image) { return static_cast<StandardState*>(image->driver); }

const char* layout_name(int type) {
    return type == kBIP ? "BIP" : type == kBSQ ? "BSQ" : "BIL";
}

std::string side_name(const char* path, const char* suffix) {
    size_t length = strlen(path);
    return std::string(path, length >= 4 ? length - 4 : 0) + suffix;
}

int find_side_file(const char* path, const char* lower, const char* upper, char* out) {
    if (!path || !out) return -1;
    std::string name = side_name(path, lower);
    int found = 1;
    if (!file_exists(name)) {
        name = side_name(path, upper);
        found = file_exists(name) ? 1 : -1;
    }
    memcpy(out, name.c_str(), name.size() + 1);
    return found;
}

std::string found_side_file(const char* path, const char* lower, const char* upper) {
    std::string buffer(strlen(path) + 8, '\0');
    if (find_side_file(path, lower, upper, &buffer[0]) != 1) return std::string();
    return std::string(buffer.c_str());
}

// "%d": leading space, a sign, digits; what follows is ignored. Values past
// the 32-bit range are held at its ends.
bool parse_int(const char* text, int32_t* out) {
    char* end = nullptr;
    long long value = strtoll(text, &end, 10);
    if (end == text) return false;
    *out = value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : static_cast<int32_t>(value);
    return true;
}

bool parse_float(const char* text, float* out) {
    char* end = nullptr;
    float value = strtof(text, &end);
    if (end == text) return false;
    *out = value;
    return true;
}

std::string upper(const char* text) { return ascii_upper(text); }

// What the header reader tripped on, for the explanation of a refusal.
struct HeaderFault {
    std::string line;
};

int read_header_file(const char* path, StandardHeader* header, HeaderFault* fault) {
    initialize_standard_header(header);
    std::string name = found_side_file(path, ".hdr", ".HDR");
    if (name.empty()) return -1;
    FILE* file = tarn_fopen(name.c_str(), "r");
    if (!file) return -1;
    bool x_seen = false, y_seen = false;
    char line[512], key[512], value[512];
    while (S_BasicReadStr(line, sizeof line, file)) {
        if (sscanf(line, "%511s %511s", key, value) != 2) continue;
        std::string k = upper(key);
        bool ok = true;
        if (k == "BYTEORDER") {
            if (!strcmp(value, "I") || !strcmp(value, "i"))
                header->byte_order = kLittle;
            else if (!strcmp(value, "M") || !strcmp(value, "m"))
                header->byte_order = kBig;
            else
                ok = false;
        } else if (k == "LAYOUT") {
            if (!strcmp(value, "bil") || !strcmp(value, "BIL"))
                header->layout = kBIL;
            else if (!strcmp(value, "bip") || !strcmp(value, "BIP"))
                header->layout = kBIP;
            else if (!strcmp(value, "bsq") || !strcmp(value, "BSQ"))
                header->layout = kBSQ;
            else
                ok = false;
        } else if (k == "NROWS") {
            ok = parse_int(value, &header->nrows);
        } else if (k == "NCOLS") {
            ok = parse_int(value, &header->ncols);
        } else if (k == "NBANDS") {
            ok = parse_int(value, &header->nbands);
        } else if (k == "NBITS") {
            ok = parse_int(value, &header->nbits);
        } else if (k == "SKIPBYTES") {
            ok = parse_int(value, &header->skipbytes);
        } else if (k == "ULXMAP") {
            ok = parse_float(value, &header->ulxmap);
            x_seen = true;
        } else if (k == "ULYMAP") {
            ok = parse_float(value, &header->ulymap);
            y_seen = true;
        } else if (k == "XDIM") {
            ok = parse_float(value, &header->xdim);
        } else if (k == "YDIM") {
            ok = parse_float(value, &header->ydim);
        } else if (k == "BANDROWBYTES") {
            ok = parse_int(value, &header->bandrowbytes);
        } else if (k == "TOTALROWBYTES") {
            ok = parse_int(value, &header->totalrowbytes);
        } else if (k == "BANDGAPBYTES") {
            ok = parse_int(value, &header->bandgapbytes);
        }
        if (!ok) {
            if (fault) fault->line = std::string(key) + " " + value;
            tarn_fclose(file);
            return -1;
        }
    }
    header->has_map = x_seen && y_seen ? 1 : 0;
    tarn_fclose(file);
    return 1;
}

bool depth_supported(int depth) {
    return depth == 1 || depth == 4 || depth == 8 || depth == 16 || depth == 32;
}

long long band_row_bytes(long long columns, int depth) {
    switch (depth) {
    case 1: return columns / 8 + (columns % 8 ? 1 : 0);
    case 4: return columns / 2 + (columns % 2);
    case 8: return columns;
    case 16: return 2 * columns;
    case 32: return 4 * columns;
    default: return -1;
    }
}

// The row geometry of a header read as `layout`: 1 when it holds, else -1.
struct Geometry {
    long long band_row, row_bytes, buffer_bytes;
};

int geometry(const StandardHeader& h, int layout, Geometry* g) {
    g->band_row = band_row_bytes(h.ncols, h.nbits);
    if (g->band_row < 0) return -1;
    if (h.bandrowbytes != 0) {
        if (h.bandrowbytes < g->band_row) return -1;
        g->band_row = h.bandrowbytes;
    }
    g->row_bytes = layout == kBSQ ? g->band_row : g->band_row * h.nbands;
    if (h.totalrowbytes != 0) {
        if (h.totalrowbytes < g->row_bytes) return -1;
        g->row_bytes = h.totalrowbytes;
    }
    g->buffer_bytes = layout == kBSQ ? g->row_bytes * h.nbands : g->row_bytes;
    return 1;
}

// Sizes no image can have are refused before any buffer is sized by them.
bool sides_ok(const StandardHeader& h) {
    return h.nrows >= 1 && h.nrows <= kMaxSide && h.ncols >= 1 && h.ncols <= kMaxSide &&
           h.nbands >= 1 && h.nbands <= kMaxSide;
}

long long file_size(FILE* file) {
    long here = tarn_ftell(file);
    if (here < 0 || tarn_fseek(file, 0, SEEK_END) != 0) return -1;
    long size = tarn_ftell(file);
    if (tarn_fseek(file, here, SEEK_SET) != 0) return -1;
    return size;
}

// A row buffer larger than the whole file could never be filled: such a
// header is broken, and refusing it keeps a small file from a huge buffer.
bool buffers_ok(const Geometry& g, long long size) {
    return g.row_bytes > 0 && g.row_bytes <= kMaxRowBytes && g.buffer_bytes <= kMaxRowBytes &&
           g.buffer_bytes <= size;
}

// Why the opens refuse a file, in the order they test; said only to a host
// that listens.
void explain_standard_file(const char* name, int type) {
    const char* kind = layout_name(type);
    StandardHeader h;
    HeaderFault fault;
    if (found_side_file(name, ".hdr", ".HDR").empty()) {
        tarn_report(TARN_MESSAGE_ERROR, "%s file has no header file beside it (.hdr)", kind);
        return;
    }
    if (read_header_file(name, &h, &fault) != 1) {
        tarn_report(TARN_MESSAGE_ERROR, "%s header line \"%s\" does not parse", kind,
                    fault.line.c_str());
        return;
    }
    if (h.nrows < 1 || h.ncols < 1 || h.nbands < 1) {
        tarn_report(TARN_MESSAGE_ERROR, "%s header gives %d rows, %d columns and %d bands", kind,
                    h.nrows, h.ncols, h.nbands);
        return;
    }
    if (!sides_ok(h)) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "%s header gives %d x %d pixels in %d bands, a size the library will not "
                    "allocate",
                    kind, h.ncols, h.nrows, h.nbands);
        return;
    }
    if (!depth_supported(h.nbits)) {
        tarn_report(TARN_MESSAGE_ERROR, "%s header gives %d bits per sample; only 1, 4, 8, 16 and "
                    "32 are read", kind, h.nbits);
        return;
    }
    Geometry g;
    if (geometry(h, type, &g) != 1) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "%s header gives BANDROWBYTES %d or TOTALROWBYTES %d, smaller than the data "
                    "of a row", kind, h.bandrowbytes, h.totalrowbytes);
        return;
    }
    FILE* file = tarn_fopen(name, "r");
    if (!file) {
        tarn_report(TARN_MESSAGE_ERROR, "cannot be opened");
        return;
    }
    long long size = file_size(file);
    tarn_fclose(file);
    if (!buffers_ok(g, size))
        tarn_report(TARN_MESSAGE_ERROR, "%s header gives rows of %lld bytes, more than the file "
                    "holds (%lld bytes)", kind, g.buffer_bytes, size);
}

// Header values truncated toward zero, then held inside 0 .. span - 1.
int32_t clamp_to_span(double value, long long span) {
    if (!(value > -1.0)) return 0;  // NaN too
    if (value >= static_cast<double>(span)) return static_cast<int32_t>(span - 1);
    long long truncated = static_cast<long long>(value);
    return truncated < 0 ? 0 : static_cast<int32_t>(truncated);
}

// The stretch of one band from its statistics: minimum, maximum, scale.
void band_stretch(const StandardHeader& h, int band, long long span, uint32_t* low,
                  uint32_t* high, float* step) {
    double minimum, maximum;
    if (h.stat_high[band] > h.stat_low[band]) {
        minimum = h.stat_low[band];
        maximum = h.stat_high[band];
    } else if (h.stat_stddev[band] < 0) {
        minimum = h.stat_min[band];
        maximum = h.stat_max[band];
    } else {
        minimum = h.stat_mean[band] - 2.0 * h.stat_stddev[band];
        maximum = h.stat_mean[band] + 2.0 * h.stat_stddev[band];
    }
    int32_t lo = clamp_to_span(minimum, span), hi = clamp_to_span(maximum, span);
    *low = static_cast<uint32_t>(lo);
    *high = static_cast<uint32_t>(hi);
    *step = hi - lo > 0 ? 256.0f / static_cast<float>(hi - lo) : 256.0f;
}

long long span_of(int depth) {
    // 1 shifted by the depth modulo 32, as a signed 32-bit value: 32 bits give 1.
    return static_cast<int32_t>(1u << (static_cast<unsigned>(depth) & 31u));
}

bool band_has_stats(const StandardHeader& h, int band) {
    return band >= 0 && band < STANDARD_STAT_SLOTS && h.stat_present[band];
}

void free_rgb(uint8_t* rgb[3]) {
    for (int k = 0; k < 3; ++k) {
        free(rgb[k]);
        rgb[k] = nullptr;
    }
}

void install_colours(Colormap& map, uint8_t* rgb[3], int count, int low, int high) {
    map.ncolors = count;
    map.red = rgb[0];
    map.green = rgb[1];
    map.blue = rgb[2];
    map.low = low;
    map.high = high;
}

// The open's record, owned by the image from here on.
int new_state(Image* image, StandardState** out) {
    StandardState* state = static_cast<StandardState*>(calloc(1, sizeof(StandardState)));
    if (!state) return -1;
    image->driver = state;
    *out = state;
    return 1;
}

// Reads the header, opens the file at SKIPBYTES and copies the sizes: what
// the two opens share.
int read_and_check(Image* image, const char* path, int type, StandardState* state,
                   Geometry* g) {
    StandardHeader& h = state->header;
    image->type = type;
    if (read_standard_header(path, &h) != 1) return -1;
    h.valid = 1;
    if (!sides_ok(h)) return -1;
    image->file = tarn_fopen(path, "r");
    if (!image->file) return -1;
    long long size = file_size(image->file);
    tarn_fseek(image->file, h.skipbytes, SEEK_SET);
    image->byte_order = static_cast<uint32_t>(h.byte_order);
    image->rows = h.nrows;
    image->columns = h.ncols;
    image->depth = h.nbits;
    image->nbands = h.nbands;
    image->bandgap = h.bandgapbytes;
    if (type != kBIL && type != kBIP && type != kBSQ) return -1;
    h.layout = type;
    // Geometry is checked here only when the depth is one of ours; another
    // depth is refused with its message where the unpacker is chosen.
    if (depth_supported(h.nbits)) {
        int layout = (h.nbits == 1 && type == kBIP && h.nbands == 1) ? kBIL : type;
        if (geometry(h, layout, g) == 1 && !buffers_ok(*g, size)) return -1;
    }
    return 1;
}

int unsupported_depth(int depth) {
    char text[64];
    snprintf(text, sizeof text, "Standard %d-Bit data not supported\n", depth);
    user_error(text);
    return -1;
}

int depth_index(int depth) {
    switch (depth) {
    case 1: return 0;
    case 4: return 1;
    case 8: return 2;
    case 16: return 3;
    case 32: return 4;
    default: return -1;
    }
}

typedef int (*Unpacker)(Image*);

// [layout: BIL, BSQ, BIP][form: data, multi, full][depth 1, 4, 8, 16, 32]
const Unpacker kUnpackers[3][3][5] = {
    {{Unpk_StdBIL_1_Bit_Data, Unpk_StdBIL_4_Bit_Data, Unpk_StdBIL_8_Bit_Data,
      Unpk_StdBIL_16_Bit_Data, Unpk_StdBIL_32_Bit_Data},
     {nullptr, Unpk_StdBIL_4_Bit_Multi_Data, Unpk_StdBIL_8_Bit_Multi_Data,
      Unpk_StdBIL_16_Bit_Multi_Data, Unpk_StdBIL_32_Bit_Multi_Data},
     {Unpk_StdBIL_1_Bit_Full, Unpk_StdBIL_4_Bit_Full, Unpk_StdBIL_8_Bit_Full,
      Unpk_StdBIL_16_Bit_Full, Unpk_StdBIL_32_Bit_Full}},
    {{Unpk_StdBSQ_1_Bit_Data, Unpk_StdBSQ_4_Bit_Data, Unpk_StdBSQ_8_Bit_Data,
      Unpk_StdBSQ_16_Bit_Data, Unpk_StdBSQ_32_Bit_Data},
     {nullptr, Unpk_StdBSQ_4_Bit_Multi_Data, Unpk_StdBSQ_8_Bit_Multi_Data,
      Unpk_StdBSQ_16_Bit_Multi_Data, Unpk_StdBSQ_32_Bit_Multi_Data},
     {Unpk_StdBSQ_1_Bit_Full, Unpk_StdBSQ_4_Bit_Full, Unpk_StdBSQ_8_Bit_Full,
      Unpk_StdBSQ_16_Bit_Full, Unpk_StdBSQ_32_Bit_Full}},
    {{nullptr, Unpk_StdBIP_4_Bit_Data, Unpk_StdBIP_8_Bit_Data, Unpk_StdBIP_16_Bit_Data,
      Unpk_StdBIP_32_Bit_Data},
     {nullptr, Unpk_StdBIP_4_Bit_Multi_Data, Unpk_StdBIP_8_Bit_Multi_Data,
      Unpk_StdBIP_16_Bit_Multi_Data, Unpk_StdBIP_32_Bit_Multi_Data},
     {nullptr, Unpk_StdBIP_4_Bit_Full, Unpk_StdBIP_8_Bit_Full, Unpk_StdBIP_16_Bit_Full,
      Unpk_StdBIP_32_Bit_Full}}};

int layout_index(int layout) { return layout == kBIL ? 0 : layout == kBSQ ? 1 : 2; }

enum Form { kData = 0, kMulti = 1, kFull = 2 };

int allocate_buffers(Image* image, const Geometry& g, bool second) {
    image->row_bytes = static_cast<int32_t>(g.row_bytes);
    long long total = g.row_bytes * image->rows;
    image->data_bytes = total > INT_MAX ? INT_MAX : static_cast<int32_t>(total);
    image->file_buffer = allocate_byte_buffer(static_cast<long>(g.buffer_bytes + kSlack));
    if (!image->file_buffer) return -1;
    if (second) {
        // The 4-bit expansion writes one byte per sample of the row.
        long long samples = (long long)image->columns * image->nbands;
        long long bytes = samples > g.row_bytes ? samples : g.row_bytes;
        image->file_buffer2 = allocate_byte_buffer(static_cast<long>(bytes + kSlack));
        if (!image->file_buffer2) return -1;
    }
    return 1;
}

/* ---- unpacking helpers ---- */

// `count` 4-bit samples from nibble `nibble` of `in`, high nibble first.
bool unpack_nibbles(const uint8_t* in, long long avail, long long nibble, long long count,
                    uint8_t* out) {
    if (!in || !out || nibble < 0 || count <= 0 || (nibble + count + 1) / 2 > avail) return false;
    for (long long i = 0; i < count; ++i) {
        long long n = nibble + i;
        uint8_t byte = in[n >> 1];
        out[i] = (n & 1) ? byte & 15 : byte >> 4;
    }
    return true;
}

template <typename T>
T sample_at(const uint8_t* p, bool big) {
    if (sizeof(T) == 2) return static_cast<T>(big ? read_be16(p) : read_le16(p));
    return static_cast<T>(big ? read_be32(p) : read_le32(p));
}

template <typename T>
T*& single_row(Image* image);
template <>
uint8_t*& single_row<uint8_t>(Image* image) { return image->row8; }
template <>
uint16_t*& single_row<uint16_t>(Image* image) { return image->row16; }
template <>
uint32_t*& single_row<uint32_t>(Image* image) { return image->row32; }

template <typename T>
T** plane_rows(Image* image);
template <>
uint8_t** plane_rows<uint8_t>(Image* image) { return image->mrow8; }
template <>
uint16_t** plane_rows<uint16_t>(Image* image) { return image->mrow16; }
template <>
uint32_t** plane_rows<uint32_t>(Image* image) { return image->mrow32; }

template <typename T>
T** plane_buffers(Image* image);
template <>
uint8_t** plane_buffers<uint8_t>(Image* image) { return image->mbuf8; }
template <>
uint16_t** plane_buffers<uint16_t>(Image* image) { return image->mbuf16; }
template <>
uint32_t** plane_buffers<uint32_t>(Image* image) { return image->mbuf32; }

template <typename T>
T* single_buffer(Image* image);
template <>
uint8_t* single_buffer<uint8_t>(Image* image) { return image->buf8; }
template <>
uint16_t* single_buffer<uint16_t>(Image* image) { return image->buf16; }
template <>
uint32_t* single_buffer<uint32_t>(Image* image) { return image->buf32; }

bool window_ok(const Image* image) {
    return image->file_buffer && image->win_cols > 0 && image->first_col >= 0 &&
           (long long)image->first_col + image->win_cols <= image->columns &&
           image->row_bytes > 0 && image->nbands >= 1;
}

bool swapped(const Image* image) { return image->byte_order != static_cast<uint32_t>(kLittle); }

// Bytes in file_buffer: one row, or one row of every band for BSQ.
long long buffer_bytes(const Image* image, bool all_planes) {
    return all_planes ? (long long)image->row_bytes * image->nbands : image->row_bytes;
}

int unpack_one_bit(Image* image) {
    if (!window_ok(image) || !image->row8 || image->first_bit < 0 || image->first_bit > 7)
        return -1;
    long long words = (image->row_bytes + 3LL) / 4;
    long long needed = ((long long)image->first_bit + image->win_cols + 31) / 32;
    if (needed > words || image->win_longs > words) return -1;
    return Unpack_Image_1_Bit_Data(image) == -1 ? -1 : 0;
}

// BIL and BSQ, one band: the window's bytes stand at the start of file_buffer.
int unpack_data_4(Image* image) {
    if (!window_ok(image) || !image->row8) return -1;
    return unpack_nibbles(image->file_buffer, image->row_bytes, image->first_bit / 4,
                          image->win_cols, image->row8)
               ? 0
               : -1;
}

int unpack_data_8(Image* image) {
    if (!window_ok(image)) return -1;
    image->row8 = image->file_buffer;
    return 0;
}

template <typename T>
int unpack_data_wide(Image* image) {
    if (!window_ok(image) || (long long)(image->win_cols * sizeof(T)) > image->row_bytes) return -1;
    single_row<T>(image) = reinterpret_cast<T*>(image->file_buffer);
    if (swapped(image)) {
        int count = image->win_cols;
        if (sizeof(T) == 2)
            swi2aa_(image->file_buffer, &count);
        else
            swi4aa_(image->file_buffer, &count);
    }
    return 0;
}

// BIL and BSQ, three planes at the byte offsets red_band, green_band, blue_band.
bool plane_span_ok(const Image* image, long long offset, long long bytes, bool all_planes) {
    return offset >= 0 && offset + bytes <= buffer_bytes(image, all_planes);
}

long long plane_offset(const Image* image, int k) {
    const int32_t bands[3] = {image->red_band, image->green_band, image->blue_band};
    return (long long)bands[k] + image->first_byte;
}

int unpack_multi_4(Image* image, bool all_planes) {
    if (!window_ok(image)) return -1;
    for (int k = 0; k < 3; ++k) {
        long long offset = plane_offset(image, k) - image->first_byte;
        if (offset < 0 || !image->mrow8[k]) return -1;
        const uint8_t* from = image->file_buffer + offset;
        long long avail = buffer_bytes(image, all_planes) - offset;
        long long nibble = (long long)image->first_byte * 2 + image->first_bit / 4;
        if (!unpack_nibbles(from, avail, nibble, image->win_cols, image->mrow8[k])) return -1;
    }
    return 0;
}

int unpack_multi_8(Image* image, bool all_planes) {
    if (!window_ok(image)) return -1;
    uint8_t* planes[3];
    for (int k = 0; k < 3; ++k) {
        long long offset = plane_offset(image, k);
        if (!plane_span_ok(image, offset, image->win_cols, all_planes)) return -1;
        planes[k] = image->file_buffer + offset;
    }
    for (int k = 0; k < 3; ++k) image->mrow8[k] = planes[k];
    return 0;
}

// In place when no swap is needed and the plane is aligned; otherwise copied
// into the plane's own buffer, so that planes sharing bytes are not swapped twice.
template <typename T>
int unpack_multi_wide(Image* image, bool all_planes) {
    if (!window_ok(image)) return -1;
    const bool big = swapped(image);
    const int count = image->win_cols;
    for (int k = 0; k < 3; ++k) {
        long long offset = plane_offset(image, k);
        if (!plane_span_ok(image, offset, (long long)count * sizeof(T), all_planes)) return -1;
        const uint8_t* from = image->file_buffer + offset;
        if (!big && offset % sizeof(T) == 0) {
            plane_rows<T>(image)[k] = reinterpret_cast<T*>(image->file_buffer + offset);
            continue;
        }
        T* to = plane_buffers<T>(image)[k];
        if (!to) return -1;
        for (int i = 0; i < count; ++i) to[i] = sample_at<T>(from + i * sizeof(T), big);
        plane_rows<T>(image)[k] = to;
    }
    return 0;
}

// Every band of the row, band after band, at `columns` spacing in the row
// buffer; the planes stand `band` bytes apart in file_buffer.
int unpack_full_4(Image* image, bool all_planes) {
    if (!window_ok(image) || !image->buf8) return -1;
    long long stride = (image->columns + 1LL) / 2;
    if (image->band > stride) stride = image->band;
    for (int b = 0; b < image->nbands; ++b) {
        long long offset = stride * b;
        long long avail = buffer_bytes(image, all_planes) - offset;
        if (!unpack_nibbles(image->file_buffer + offset, avail, 0, image->columns,
                            image->buf8 + (long long)b * image->columns))
            return -1;
    }
    image->row8 = image->buf8;
    return 0;
}

template <typename T>
int unpack_full_wide(Image* image, bool all_planes) {
    if (!window_ok(image)) return -1;
    const long long plane = (long long)image->columns * sizeof(T);
    const long long total = (long long)image->columns * image->nbands;
    if (plane == image->band) {
        if (total * (long long)sizeof(T) > buffer_bytes(image, all_planes)) return -1;
        single_row<T>(image) = reinterpret_cast<T*>(image->file_buffer);
    } else {
        T* to = single_buffer<T>(image);
        if (!to || image->band < 0) return -1;
        for (int b = 0; b < image->nbands; ++b) {
            long long offset = (long long)image->band * b;
            if (offset + plane > buffer_bytes(image, all_planes)) return -1;
            memcpy(to + (long long)b * image->columns, image->file_buffer + offset,
                   static_cast<size_t>(plane));
        }
        single_row<T>(image) = to;
    }
    if (sizeof(T) > 1 && swapped(image)) {
        if (total > INT_MAX) return -1;
        int count = static_cast<int>(total);
        if (sizeof(T) == 2)
            swi2aa_(single_row<T>(image), &count);
        else
            swi4aa_(single_row<T>(image), &count);
    }
    return 0;
}

int unpack_full_1(Image* image) { return unpack_one_bit(image); }

/* BIP: samples of a pixel side by side. */

bool bip_ok(const Image* image, int sample_bytes_times_two) {
    // sample_bytes_times_two: 1 for 4-bit samples, 2, 4, 8 for 8, 16, 32 bits.
    return window_ok(image) &&
           (long long)image->columns * image->nbands * sample_bytes_times_two <=
               2LL * image->row_bytes;
}

// The row's samples, one a byte, in file_buffer2.
const uint8_t* bip_expand_4(Image* image) {
    if (!bip_ok(image, 1) || !image->file_buffer2) return nullptr;
    long long samples = (long long)image->columns * image->nbands;
    if (samples > INT_MAX) return nullptr;
    repack_4to8(reinterpret_cast<uint32_t*>(image->file_buffer), image->file_buffer2,
                static_cast<int>(samples));
    return image->file_buffer2;
}

bool bip_band_ok(const Image* image, int band) { return band >= 0 && band < image->nbands; }

template <typename T>
void bip_pick(const Image* image, const uint8_t* samples, int band, T* out, bool big) {
    const long long nbands = image->nbands;
    for (int i = 0; i < image->win_cols; ++i) {
        long long index = band + nbands * (image->first_col + i);
        if (sizeof(T) == 1)
            out[i] = samples[index];
        else
            out[i] = sample_at<T>(samples + index * sizeof(T), big);
    }
}

template <typename T>
int unpack_bip_data(Image* image, bool four) {
    if (!bip_band_ok(image, image->band) || !bip_ok(image, four ? 1 : 2 * sizeof(T))) return -1;
    const uint8_t* samples = four ? bip_expand_4(image) : image->file_buffer;
    T* out = single_buffer<T>(image);
    if (!samples || !out) return -1;
    bip_pick<T>(image, samples, image->band, out, swapped(image));
    single_row<T>(image) = out;
    return 0;
}

template <typename T>
int unpack_bip_multi(Image* image, bool four) {
    const int32_t bands[3] = {image->red_band, image->green_band, image->blue_band};
    if (!bip_ok(image, four ? 1 : 2 * sizeof(T))) return -1;
    for (int k = 0; k < 3; ++k)
        if (!bip_band_ok(image, bands[k]) || !plane_buffers<T>(image)[k]) return -1;
    const uint8_t* samples = four ? bip_expand_4(image) : image->file_buffer;
    if (!samples) return -1;
    for (int k = 0; k < 3; ++k) {
        T* out = plane_buffers<T>(image)[k];
        bip_pick<T>(image, samples, bands[k], out, swapped(image));
        plane_rows<T>(image)[k] = out;
    }
    return 0;
}

template <typename T>
int unpack_bip_full(Image* image, bool four) {
    if (!bip_ok(image, four ? 1 : 2 * sizeof(T))) return -1;
    const uint8_t* samples = four ? bip_expand_4(image) : image->file_buffer;
    T* out = single_buffer<T>(image);
    if (!samples || !out) return -1;
    for (int b = 0; b < image->nbands; ++b)
        bip_pick<T>(image, samples, b, out + (long long)b * image->columns, swapped(image));
    single_row<T>(image) = out;
    return 0;
}

/* ---- row reading ---- */

int call_unpack(Image* image) {
    if (!image->unpack) return -1;
    return image->unpack(image) == -1 ? -1 : 0;
}

// Reads `bytes` at `target` from where the open left the file into `to`.
// Rows are placed from the start of the data rather than from io_pos, so a
// failed read leaves nothing behind for the next one.
int read_at(Image* image, long long target, long long bytes, uint8_t* to) {
    StandardState* state = state_of(image);
    if (!state || !image->file || target < 0 || bytes <= 0) return -1;
    long long where = state->data_start + target;
    if (where > LONG_MAX || tarn_fseek(image->file, static_cast<long>(where), SEEK_SET) != 0)
        return -1;
    if (tarn_fread(to, 1, static_cast<size_t>(bytes), image->file) != static_cast<size_t>(bytes))
        return -1;
    return 0;
}

}  // namespace

extern "C" {

void initialize_standard_header(StandardHeader* h) {
    memset(h, 0, sizeof *h);
    h->byte_order = kLittle;
    h->nbands = 1;
    h->nbits = 8;
    h->layout = -1;
    h->xdim = 1.0f;
    h->ydim = 1.0f;
    for (int i = 0; i < STANDARD_STAT_SLOTS; ++i) {
        h->stat_stddev[i] = -1.0f;
        h->stat_high[i] = -1.0f;
    }
}

int get_standard_header_name(const char* path, char* out) {
    return find_side_file(path, ".hdr", ".HDR", out);
}
int get_standard_stats_name(const char* path, char* out) {
    return find_side_file(path, ".stx", ".STX", out);
}

static int write_name(const char* path, const char* suffix, char* out) {
    if (!path || !out) return -1;
    std::string name = side_name(path, suffix);
    memcpy(out, name.c_str(), name.size() + 1);
    return 1;
}
int get_standard_header_writename(const char* path, char* out) { return write_name(path, ".hdr", out); }
int get_standard_color_writename(const char* path, char* out) { return write_name(path, ".clr", out); }
int get_standard_stats_writename(const char* path, char* out) { return write_name(path, ".stx", out); }

int read_standard_header(const char* path, StandardHeader* header) {
    if (!path || !header) return -1;
    return read_header_file(path, header, nullptr);
}

int read_standard_colors(const char* file_name, uint8_t* rgb[3], int* low, int* high,
                         int first_index) {
    FILE* file = file_name ? tarn_fopen(file_name, "r") : nullptr;
    if (!file) return -1;
    struct Entry {
        int32_t value;
        uint8_t red, green, blue;
    };
    std::vector<Entry> entries;
    int32_t lowest = 0x40000000, highest = -1;
    uint8_t fill[3] = {0, 0, 0};
    char line[256];
    while (S_BasicReadStr(line, sizeof line, file)) {
        char first[256];
        if (sscanf(line, "%255s", first) != 1 || first[0] == '!' || first[0] == '#') continue;
        int value, red, green, blue;
        if (sscanf(line, "%d %d %d %d", &value, &red, &green, &blue) != 4 || value < 0) continue;
        Entry e = {value, static_cast<uint8_t>(red), static_cast<uint8_t>(green),
                   static_cast<uint8_t>(blue)};
        entries.push_back(e);
        if (value > highest) highest = value;
        // Among equal lowest values the last one gives the fill colour.
        if (value <= lowest) {
            lowest = value;
            fill[0] = e.red;
            fill[1] = e.green;
            fill[2] = e.blue;
        }
    }
    tarn_fclose(file);
    // No usable line: no map, and no span to size one by.
    if (entries.empty()) return 0;
    long long span = (long long)highest - lowest + 1;
    long long count = first_index + span;
    if (first_index < 0 || span < 1 || span > kMaxColourSpan) {
        char text[96];
        snprintf(text, sizeof text, "Colour file spans %lld values; at most %ld are read\n", span,
                 kMaxColourSpan);
        user_error(text);
        return -1;
    }
    uint8_t* arrays[3] = {nullptr, nullptr, nullptr};
    for (int k = 0; k < 3; ++k) {
        arrays[k] = static_cast<uint8_t*>(malloc(static_cast<size_t>(count)));
        if (!arrays[k]) {
            free_rgb(arrays);
            return -1;
        }
        arrays[k][0] = 0;
        memset(arrays[k] + first_index, fill[k], static_cast<size_t>(span));
    }
    for (const Entry& e : entries) {
        long long at = (long long)e.value - lowest + first_index;
        arrays[0][at] = e.red;
        arrays[1][at] = e.green;
        arrays[2][at] = e.blue;
    }
    for (int k = 0; k < 3; ++k) rgb[k] = arrays[k];
    *low = lowest;
    *high = highest;
    return static_cast<int>(count);
}

int read_standard_colormap(const char* path, uint8_t* rgb[3], int* low, int* high) {
    if (!path) return -1;
    std::string name = found_side_file(path, ".clr", ".CLR");
    if (name.empty()) return -1;
    return read_standard_colors(name.c_str(), rgb, low, high, 0);
}

int read_standard_stats(const char* file_name, int32_t* present, float* min, float* max,
                        float* mean, float* stddev, float* low, float* high) {
    FILE* file = file_name ? tarn_fopen(file_name, "r") : nullptr;
    if (!file) return -1;
    char line[256];
    while (S_BasicReadStr(line, sizeof line, file)) {
        char f[6][256];
        int band = 0;
        int n = sscanf(line, "%d %255s %255s %255s %255s %255s %255s", &band, f[0], f[1], f[2],
                       f[3], f[4], f[5]);
        if (n < 3 || band < 1 || band >= STANDARD_STAT_SLOTS) continue;
        float lo, hi;
        if (!parse_float(f[0], &lo) || !parse_float(f[1], &hi)) continue;
        auto given = [&](int i, float* out) {
            return f[i][0] != '#' && f[i][0] != '!' && parse_float(f[i], out);
        };
        present[band] = 1;
        min[band] = lo;
        max[band] = hi;
        if (n > 4) {
            if (!given(2, &mean[band])) mean[band] = -1.0f;
            if (!given(3, &stddev[band])) stddev[band] = -1.0f;
        }
        if (n == 7 && given(4, &low[band])) given(5, &high[band]);
    }
    tarn_fclose(file);
    return 1;
}

int read_standard_statistics(const char* path, int32_t* present, float* min, float* max,
                             float* mean, float* stddev, float* low, float* high) {
    if (!path) return -1;
    std::string name = found_side_file(path, ".stx", ".STX");
    if (name.empty()) return -1;
    return read_standard_stats(name.c_str(), present, min, max, mean, stddev, low, high);
}

int write_standard_header(const char* path, const StandardHeader* h) {
    if (!path || !h) return -1;
    if (h->byte_order != kLittle && h->byte_order != kBig) return -1;
    if (h->layout != kBIL && h->layout != kBIP && h->layout != kBSQ) return -1;
    std::string name = side_name(path, ".hdr");
    FILE* file = tarn_fopen(name.c_str(), "w");
    if (!file) return -1;
    tarn_fprintf(file, "BYTEORDER      %s\n", h->byte_order == kLittle ? "I" : "M");
    tarn_fprintf(file, "LAYOUT       %s\n", layout_name(h->layout));
    tarn_fprintf(file, "NROWS         %d\n", h->nrows);
    tarn_fprintf(file, "NCOLS         %d\n", h->ncols);
    tarn_fprintf(file, "NBANDS        %d\n", h->nbands);
    tarn_fprintf(file, "NBITS         %d\n", h->nbits);
    if (h->has_map) {
        tarn_fprintf(file, "ULXMAP       %f\n", h->ulxmap);
        tarn_fprintf(file, "ULYMAP       %f\n", h->ulymap);
        tarn_fprintf(file, "XDIM         %f\n", h->xdim);
        tarn_fprintf(file, "YDIM         %f\n", h->ydim);
    }
    tarn_fprintf(file, "BANDROWBYTES         %d\n", h->bandrowbytes);
    tarn_fprintf(file, "TOTALROWBYTES        %d\n", h->totalrowbytes);
    tarn_fprintf(file, "BANDGAPBYTES         %d\n", h->bandgapbytes);
    tarn_fclose(file);
    return 1;
}

int write_standard_colors(const char* file_name, uint8_t* const rgb[3], int low, int high) {
    FILE* file = file_name ? tarn_fopen(file_name, "w") : nullptr;
    if (!file) return -1;
    tarn_fprintf(file, "# value red green blue\n\n");
    for (long long v = low; v <= high; ++v) {
        long long i = v - low;
        tarn_fprintf(file, "%lld %d %d %d\n", v, rgb[0][i], rgb[1][i], rgb[2][i]);
    }
    tarn_fclose(file);
    return 1;
}

int write_standard_colormap(const char* path, uint8_t* const rgb[3], int low, int high) {
    if (!path) return -1;
    std::string name = side_name(path, ".clr");
    return write_standard_colors(name.c_str(), rgb, low, high);
}

int write_standard_stats(const char* file_name, const int32_t* present, const float* min,
                         const float* max, const float* mean, const float* stddev,
                         const float* low, const float* high) {
    FILE* file = file_name ? tarn_fopen(file_name, "w") : nullptr;
    if (!file) return -1;
    for (int i = 0; i < 11; ++i) {
        if (!present[i]) continue;
        bool stretch = high[i] > low[i], spread = stddev[i] > 0;
        if (stretch && spread)
            tarn_fprintf(file, "%d %.0f %.0f %.1f %.1f %.1f %.1f\n", i, min[i], max[i], mean[i],
                         stddev[i], low[i], high[i]);
        else if (stretch)
            tarn_fprintf(file, "%d %.0f %.0f # # %.1f %.1f\n", i, min[i], max[i], low[i], high[i]);
        else if (spread)
            tarn_fprintf(file, "%d %.0f %.0f %.1f %.1f\n", i, min[i], max[i], mean[i], stddev[i]);
        else
            tarn_fprintf(file, "%d %.0f %.0f # # \n", i, min[i], max[i]);
    }
    tarn_fclose(file);
    // Callers have always been given -1 here, written or not.
    return -1;
}

int write_standard_statistics(const char* path, const int32_t* present, const float* min,
                              const float* max, const float* mean, const float* stddev,
                              const float* low, const float* high) {
    if (!path) return -1;
    std::string name = side_name(path, ".stx");
    return write_standard_stats(name.c_str(), present, min, max, mean, stddev, low, high);
}

int get_8bit_grayscale_ramp(uint8_t* rgb[3]) {
    uint8_t* arrays[3] = {nullptr, nullptr, nullptr};
    for (int k = 0; k < 3; ++k) {
        arrays[k] = static_cast<uint8_t*>(malloc(kRampColours));
        if (!arrays[k]) {
            free_rgb(arrays);
            return -1;
        }
        arrays[k][0] = 0;
        for (int i = 1; i < kRampColours; ++i) arrays[k][i] = static_cast<uint8_t>(i - 1);
    }
    for (int k = 0; k < 3; ++k) rgb[k] = arrays[k];
    return kRampColours;
}

int open_STANDARD(Image* image, const char* path, int band, int mode, int type) {
    StandardState* state = nullptr;
    if (new_state(image, &state) == -1) return -1;
    if (mode != 0 && band == 0) return -1;
    Geometry g = {0, 0, 0};
    if (read_and_check(image, path, type, state, &g) == -1) return -1;
    StandardHeader& h = state->header;
    int layout = type;
    if (image->depth == 1 && layout == kBIP) {
        if (image->nbands != 1) return -1;
        layout = kBIL;
    }
    if (band > image->nbands) {
        std::vector<char> text(strlen(path) + 64);
        snprintf(text.data(), text.size(), "Invalid band number, %s has %d band(s)\n", path,
                 image->nbands);
        user_error(text.data());
        return -1;
    }
    if (band < 0) return -1;

    Form form = band != 0 ? kData : mode == 0 ? kFull : kData;
    if (layout == kBIL)
        image->get_row = form == kData ? Get_StandardBIL_Row : Get_Standard_Multi_Row;
    else if (layout == kBSQ)
        image->get_row = form == kData ? Get_StandardBIL_Row : Get_Standard_Multi_BSQ_Row;
    else
        image->get_row = Get_Standard_Multi_Row;

    Colormap& map = image->colormap;
    map.ncolors = 0;
    map.gray_step = 0.0f;
    uint8_t* rgb[3] = {nullptr, nullptr, nullptr};
    int low = 0, high = 0;
    int count = image->nbands == 1 ? read_standard_colormap(path, rgb, &low, &high) : -1;
    if (count > 0) {
        map.ndclr = map.outclr = map.first = 0;
        install_colours(map, rgb, count, low, high);
        if (mode != 0)
            image->index = image->depth <= 8 ? Index8BitBuf
                           : image->depth <= 16 ? Index16BitBuf
                                                : Index32BitBuf;
    }

    const int depth = image->depth;
    if (depth_index(depth) < 0) return unsupported_depth(depth);
    const long long span = span_of(depth);
    map.gray_step = 0.0f;
    // Statistics stretch deeper samples only: bytes are shown as stored, as
    // every other reader of these files shows them.
    if (read_standard_statistics(path, h.stat_present, h.stat_min, h.stat_max, h.stat_mean,
                                 h.stat_stddev, h.stat_low, h.stat_high) > 0 &&
        depth > 8 && band_has_stats(h, band))
        band_stretch(h, band, span, &map.gray_low, &map.gray_high, &map.gray_step);
    if (mode != 0) {
        if (depth == 1) {
            map.gray_step = 0.0f;
            map.gray_low = 0;
            map.gray_high = 1;
        }
        if (map.ncolors == 0 && depth > 8) {
            if (map.gray_step == 0.0f) {
                // A float quotient here; the three-band open divides as integers.
                map.gray_step = static_cast<float>(256.0 / static_cast<double>(span));
                map.gray_low = 0;
                map.gray_high = static_cast<uint32_t>(span - 1);
            }
            image->lookup = depth <= 16 ? Scale16BitBuf : Scale32BitBuf;
            if (get_8bit_grayscale_ramp(rgb) == kRampColours) {
                map.ndclr = map.outclr = 0;
                map.first = 1;
                install_colours(map, rgb, kRampColours, 0, 255);
            }
            image->index = depth <= 16 ? Index16BitBuf : Index32BitBuf;
        }
    }

    image->unpack = kUnpackers[layout_index(layout)][form][depth_index(depth)];
    if (!image->unpack || geometry(h, layout, &g) != 1) return -1;
    // Each band's place: the byte offset within a row for BIL, the sample for
    // BIP; single-band BIL and BSQ reads start at the band itself.
    long long move = 0;
    if (band == 0) {
        image->band = static_cast<int32_t>(g.band_row);
    } else if (layout == kBIL) {
        image->band = static_cast<int32_t>((band - 1) * g.band_row);
        move = image->band;
    } else if (layout == kBSQ) {
        move = (band - 1) * (g.row_bytes * image->rows + image->bandgap);
        image->band = static_cast<int32_t>((band - 1) * g.row_bytes);
    } else {
        image->band = band - 1;
    }
    long here = tarn_ftell(image->file);
    if (here < 0 || here + move < 0 || here + move > LONG_MAX ||
        tarn_fseek(image->file, static_cast<long>(move), SEEK_CUR) != 0)
        return -1;
    state->data_start = here + static_cast<long>(move);
    // A single-band BSQ read takes one plane's rows only.
    Geometry buffers = g;
    if (layout == kBSQ && form == kData) buffers.buffer_bytes = g.row_bytes;
    return allocate_buffers(image, buffers, layout == kBIP && depth < 8);
}

int open_multi_STANDARD(Image* image, const char* path, int red, int green, int blue, int mode,
                        int type) {
    StandardState* state = nullptr;
    if (new_state(image, &state) == -1) return -1;
    if (mode == 0) return -1;
    Geometry g = {0, 0, 0};
    if (read_and_check(image, path, type, state, &g) == -1) return -1;
    StandardHeader& h = state->header;
    if (image->nbands < 2) return -1;
    const int depth = image->depth;
    if (depth == 1) return -1;

    Colormap& map = image->colormap;
    map.ncolors = 0;
    map.gray_step = 0.0f;
    for (int k = 0; k < 3; ++k) map.band_step[k] = 0.0f;
    const int bands[3] = {red, green, blue};
    const long long span = depth_index(depth) >= 0 ? span_of(depth) : 1;
    if (read_standard_statistics(path, h.stat_present, h.stat_min, h.stat_max, h.stat_mean,
                                 h.stat_stddev, h.stat_low, h.stat_high) > 0) {
        for (int k = 0; k < 3; ++k) {
            if (bands[k] > image->nbands) return -1;
            if (depth > 8 && band_has_stats(h, bands[k]))
                band_stretch(h, bands[k], span, &map.band_low[k], &map.band_high[k],
                             &map.band_step[k]);
        }
    }
    if (depth > 8 && depth_index(depth) >= 0) {
        for (int k = 0; k < 3; ++k) {
            if (map.band_step[k] != 0.0f) continue;
            // Integer division: 16-bit bands get 0 and stay unscaled.
            map.band_step[k] = static_cast<float>(256 / span);
            map.band_low[k] = 0;
            map.band_high[k] = static_cast<uint32_t>(span - 1);
        }
        image->lookup = depth <= 16 ? Scale16BitMultibuf : Scale32BitMultibuf;
        uint8_t* rgb[3] = {nullptr, nullptr, nullptr};
        if (get_8bit_grayscale_ramp(rgb) == kRampColours) install_colours(map, rgb, kRampColours, 0, 255);
    }

    if (depth_index(depth) < 0) return unsupported_depth(depth);
    if (geometry(h, type, &g) != 1) return -1;
    image->unpack = kUnpackers[layout_index(type)][kMulti][depth_index(depth)];
    image->get_row = type == kBSQ ? Get_Standard_Multi_BSQ_Row : Get_Standard_Multi_Row;
    long long offsets[3];
    for (int k = 0; k < 3; ++k) {
        long long b = bands[k] - 1LL;
        offsets[k] = type == kBIL ? b * g.band_row : type == kBSQ ? b * g.row_bytes : b;
        if (offsets[k] < INT_MIN || offsets[k] > INT_MAX) return -1;
    }
    image->red_band = static_cast<int32_t>(offsets[0]);
    image->green_band = static_cast<int32_t>(offsets[1]);
    image->blue_band = static_cast<int32_t>(offsets[2]);
    long here = tarn_ftell(image->file);
    if (here < 0) return -1;
    state->data_start = here;
    return allocate_buffers(image, g, type == kBIP && depth == 4);
}

int rdhdr_STANDARD(Image* image, StandardHeader* header_out, Colormap* colormap_out) {
    StandardState* state = state_of(image);
    if (!state || !state->header.valid) return -1;
    if (header_out) *header_out = state->header;
    if (colormap_out) *colormap_out = image->colormap;
    return 0;
}

int clrrd_STANDARD_hdr(Image* image) {
    if (image->driver) state_of(image)->header.valid = 0;
    return 1;
}

int get_STANDARD_info(const char* name, int* rows, int* columns, int* bands, int* depth) {
    // Asked once as the image object admits a file: the place to say why
    // the later opens would refuse it. The layout is the name's.
    if (tarn_messages_wanted()) {
        size_t length = strlen(name);
        const char* tail = length >= 4 ? name + length - 4 : name;
        int type = !strcmp(tail, ".bip") || !strcmp(tail, ".BIP")   ? kBIP
                   : !strcmp(tail, ".bsq") || !strcmp(tail, ".BSQ") ? kBSQ
                                                                    : kBIL;
        explain_standard_file(name, type);
    }
    StandardHeader h;
    if (read_standard_header(name, &h) != 1 || !sides_ok(h)) return -1;
    *rows = h.nrows;
    *columns = h.ncols;
    *bands = h.nbands;
    *depth = h.nbits;
    return 1;
}

int read_STANDARD_extent(const char* name, int* rows, int* columns) {
    StandardHeader h;
    if (read_standard_header(name, &h) != 1 || !sides_ok(h)) {
        user_error("Unable to read Standard header\n");
        return -1;
    }
    *rows = h.nrows;
    *columns = h.ncols;
    return 1;
}

int read_STANDARD_nbands(const char* name, int* bands) {
    StandardHeader h;
    if (read_standard_header(name, &h) != 1 || !sides_ok(h)) {
        user_error("Unable to read Standard header\n");
        return -1;
    }
    *bands = h.nbands;
    return 1;
}

int get_STANDARD_depth(const char* name, int* depth) {
    StandardHeader h;
    if (read_standard_header(name, &h) != 1 || !sides_ok(h)) return -1;
    *depth = h.nbits;
    return 1;
}

int read_STANDARD_header_trans(const char* name, int, double* transform) {
    StandardHeader h;
    if (read_standard_header(name, &h) != 1) {
        user_error("Unable to read ascii image header\n");
        return -1;
    }
    if (!h.has_map) return 0;
    transform[0] = h.xdim;
    transform[1] = 0.0;
    transform[2] = 0.0;
    transform[3] = -static_cast<double>(h.ydim);
    transform[4] = h.ulxmap;
    transform[5] = h.ulymap;
    return 1;
}

int Get_StandardBIL_Row(Image* image, int row) {
    if (row < 0 || !image->file_buffer || image->first_byte < 0 || image->first_bit < 0) return -1;
    // Packed samples: the bytes from the window's first bit to its last, which
    // may be one more than win_bytes when the window starts inside a byte.
    long long bytes = image->depth < 8
                          ? ((long long)image->first_bit + (long long)image->win_cols * image->depth + 7) / 8
                          : image->win_bytes;
    if (bytes <= 0 || (long long)image->first_byte + bytes > image->row_bytes) return -1;
    long long target = (long long)row * image->row_bytes + image->first_byte;
    if (read_at(image, target, bytes, image->file_buffer) == -1) return -1;
    image->io_pos = static_cast<uint32_t>(target + bytes);
    return call_unpack(image);
}

int Get_Standard_Multi_Row(Image* image, int row) {
    if (row < 0 || !image->file_buffer) return -1;
    long long target = (long long)row * image->row_bytes;
    if (read_at(image, target, image->row_bytes, image->file_buffer) == -1) return -1;
    image->io_pos = static_cast<uint32_t>(target + image->row_bytes);
    return call_unpack(image);
}

int Get_Standard_Multi_BSQ_Row(Image* image, int row) {
    if (row < 0 || !image->file_buffer) return -1;
    const long long target = (long long)row * image->row_bytes;
    const long long plane = (long long)image->rows * image->row_bytes + image->bandgap;
    for (int b = 0; b < image->nbands; ++b) {
        if (read_at(image, b * plane + target, image->row_bytes,
                    image->file_buffer + (long long)b * image->row_bytes) == -1)
            return -1;
    }
    image->io_pos = static_cast<uint32_t>(target + image->row_bytes);
    return call_unpack(image);
}

#define TARN_STANDARD_PLANAR(layout, all)                                                   \
    int Unpk_Std##layout##_1_Bit_Data(Image* image) { return unpack_one_bit(image); }        \
    int Unpk_Std##layout##_4_Bit_Data(Image* image) { return unpack_data_4(image); }         \
    int Unpk_Std##layout##_8_Bit_Data(Image* image) { return unpack_data_8(image); }         \
    int Unpk_Std##layout##_16_Bit_Data(Image* image) { return unpack_data_wide<uint16_t>(image); } \
    int Unpk_Std##layout##_32_Bit_Data(Image* image) { return unpack_data_wide<uint32_t>(image); } \
    int Unpk_Std##layout##_4_Bit_Multi_Data(Image* image) { return unpack_multi_4(image, all); } \
    int Unpk_Std##layout##_8_Bit_Multi_Data(Image* image) { return unpack_multi_8(image, all); } \
    int Unpk_Std##layout##_16_Bit_Multi_Data(Image* image) {                                 \
        return unpack_multi_wide<uint16_t>(image, all);                                      \
    }                                                                                        \
    int Unpk_Std##layout##_32_Bit_Multi_Data(Image* image) {                                 \
        return unpack_multi_wide<uint32_t>(image, all);                                      \
    }                                                                                        \
    int Unpk_Std##layout##_1_Bit_Full(Image* image) { return unpack_full_1(image); }         \
    int Unpk_Std##layout##_4_Bit_Full(Image* image) { return unpack_full_4(image, all); }    \
    int Unpk_Std##layout##_8_Bit_Full(Image* image) { return unpack_full_wide<uint8_t>(image, all); } \
    int Unpk_Std##layout##_16_Bit_Full(Image* image) {                                       \
        return unpack_full_wide<uint16_t>(image, all);                                       \
    }                                                                                        \
    int Unpk_Std##layout##_32_Bit_Full(Image* image) {                                       \
        return unpack_full_wide<uint32_t>(image, all);                                       \
    }
TARN_STANDARD_PLANAR(BIL, false)
TARN_STANDARD_PLANAR(BSQ, true)
#undef TARN_STANDARD_PLANAR

int Unpk_StdBIP_4_Bit_Data(Image* image) { return unpack_bip_data<uint8_t>(image, true); }
int Unpk_StdBIP_8_Bit_Data(Image* image) { return unpack_bip_data<uint8_t>(image, false); }
int Unpk_StdBIP_16_Bit_Data(Image* image) { return unpack_bip_data<uint16_t>(image, false); }
int Unpk_StdBIP_32_Bit_Data(Image* image) { return unpack_bip_data<uint32_t>(image, false); }
int Unpk_StdBIP_4_Bit_Multi_Data(Image* image) { return unpack_bip_multi<uint8_t>(image, true); }
int Unpk_StdBIP_8_Bit_Multi_Data(Image* image) { return unpack_bip_multi<uint8_t>(image, false); }
int Unpk_StdBIP_16_Bit_Multi_Data(Image* image) { return unpack_bip_multi<uint16_t>(image, false); }
int Unpk_StdBIP_32_Bit_Multi_Data(Image* image) { return unpack_bip_multi<uint32_t>(image, false); }
int Unpk_StdBIP_4_Bit_Full(Image* image) { return unpack_bip_full<uint8_t>(image, true); }
int Unpk_StdBIP_8_Bit_Full(Image* image) { return unpack_bip_full<uint8_t>(image, false); }
int Unpk_StdBIP_16_Bit_Full(Image* image) { return unpack_bip_full<uint16_t>(image, false); }
int Unpk_StdBIP_32_Bit_Full(Image* image) { return unpack_bip_full<uint32_t>(image, false); }

// The layouts are told by suffix alone: there is nothing in a raw file to test.
int check_format_BIL(FILE*) { return 0; }
int check_format_BIP(FILE*) { return 0; }
int check_format_BSQ(FILE*) { return 0; }

}  // extern "C"

extern const ImageDriver driver_BIL, driver_BIP, driver_BSQ;

int extend_and_check_if_BIL(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BIL, stem, candidate);
}
int extend_and_check_if_BIP(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BIP, stem, candidate);
}
int extend_and_check_if_BSQ(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BSQ, stem, candidate);
}

namespace {

int open_standard(Image* image, const char* name, int band, int display, int type, char*, char*) {
    return open_STANDARD(image, name, band, display, type);
}
int open_multi_standard(Image* image, const char* name, int red, int green, int blue, int display,
                        int type, char*, char*) {
    return open_multi_STANDARD(image, name, red, green, blue, display, type);
}

}  // namespace

// Three layouts of one driver, told apart by their type codes. The colour
// count includes the ramp's entry 0, which image_colors leaves out.
#define STANDARD_ROW(code, name, suffix, text)                                                 \
    {.type = code, .keyword = #name, .description = text, .flags = DRIVER_NAMED_BY_SUFFIX,     \
     .suffixes = {suffix}, .check = check_format_##name,                                       \
     .extend_and_check = extend_and_check_if_##name, .open = open_standard,                    \
     .open_multi = open_multi_standard, .clear_header = clrrd_STANDARD_hdr,                    \
     .get_info = info_by_name<get_STANDARD_info>,                                              \
     .read_extent = extent_by_name<read_STANDARD_extent>,                                      \
     .read_nbands = value_by_name<read_STANDARD_nbands>,                                       \
     .get_depth = value_by_name<get_STANDARD_depth>,                                           \
     .read_header_trans = read_STANDARD_header_trans, .colour_form = COLOURS_RANGED,           \
     .reserved_colours = 1}
extern const ImageDriver driver_BIL =
    STANDARD_ROW(kBIL, BIL, ".bil", "Raw bands, interleaved by line, with .hdr");
extern const ImageDriver driver_BIP =
    STANDARD_ROW(kBIP, BIP, ".bip", "Raw bands, interleaved by pixel, with .hdr");
extern const ImageDriver driver_BSQ =
    STANDARD_ROW(kBSQ, BSQ, ".bsq", "Raw bands, one after another, with .hdr");
#undef STANDARD_ROW
