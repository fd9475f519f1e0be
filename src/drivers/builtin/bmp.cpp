// BMP files, type code 14.
//
//   offset  size  field
//   0       2     "BM"
//   2       4     file size (not trusted)
//   10      4     offset of the pixels
//   14      4     info header size: 12 (OS/2: u16 width, height, planes, bit
//                 count), or 40 and up (i32 width, height; u16 planes, bit
//                 count; u32 compression, image size; i32 x and y pixels per
//                 metre; u32 colours used, important). 52, 56, 108 and 124
//                 carry the bit-field masks at 54 and more we do not read
//   54      12    red, green, blue masks: inside a header of 52 and up, or
//                 after a 40-byte header with compression 3
//   14+size       palette: 3-byte (OS/2) or 4-byte entries blue, green, red
//                 [, 0]; colours used, or 1 << bit count when that is 0
//   offset        rows, each padded to 4 bytes, bottom row first unless the
//                 height is negative; pixels of 1 and 4 bits from the high
//                 bits down; 24 bits blue, green, red; 16 bits 5-5-5 unless
//                 masked; 32 bits blue, green, red, unused unless masked
//
// RLE8 (compression 1) and RLE4 (2) code the whole bitmap as byte pairs: n > 0
// is n pixels of the value (RLE4: its high and low nibble in turn), and may
// run on into the row's padding; 0,0 ends a
// line, 0,1 the bitmap, 0,2,dx,dy moves right and up; 0,n with n >= 3 is n
// literal pixels padded to a 16-bit boundary. Pixels a run never reaches are 0.

#include "drivers/builtin/bmp.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr int kBmpType = 14;
constexpr int kFileHeader = 14;
constexpr long long kMaxSide = 1LL << 24;
// RLE images are decoded whole; above this many pixels they are refused.
constexpr long long kMaxRlePixels = 1LL << 25;

enum Compression { kPlain = 0, kRle8 = 1, kRle4 = 2, kBitFields = 3, kAlphaBitFields = 6 };

// What a row delivers.
enum Mode { kIndex, kPlane, kFull, kPacked, kMulti };

struct BmpState {
    BmpHeader header;
    int bits;
    int mode;
    int plane;               // kPlane: 0 red, 1 green, 2 blue
    int planes[3];           // kMulti
    long long stride;        // bytes of a plain row
    long long file_size;
    bool top_down;
    bool rle;
    uint32_t masks[3];
    int shifts[3], widths[3];
    int decoded;             // RLE: 0 not yet, 1 whole, -1 failed
    const uint8_t* current;  // the row of the last read
};

BmpState* bmp_state(Image* image) { return static_cast<BmpState*>(image->driver); }

long long file_size(FILE* file) {
    if (tarn_fseek(file, 0, SEEK_END) != 0) return -1;
    long size = tarn_ftell(file);
    if (tarn_fseek(file, 0, SEEK_SET) != 0) return -1;
    return size;
}

// Rows as the properties give them: a top-down file's negative height too.
long long row_count(const BmpHeader& h) { return h.height < 0 ? -(long long)h.height : h.height; }

bool palette_bits(int bits) { return bits == 1 || bits == 4 || bits == 8; }

// A mask's lowest set bit and its width; false for a mask with no bits.
bool mask_shape(uint32_t mask, int* shift, int* width) {
    if (mask == 0) return false;
    int s = 0;
    while (!(mask & 1u)) {
        mask >>= 1;
        ++s;
    }
    int w = 0;
    while (mask & 1u) {
        mask >>= 1;
        ++w;
    }
    *shift = s;
    *width = w;
    return true;
}

// A field widened to 8 bits by repeating its bits, as 5-5-5 and 5-6-5
// pixels are commonly shown; wider fields keep their top 8 bits.
uint8_t widen(uint32_t value, int width) {
    if (width >= 8) return static_cast<uint8_t>(value >> (width - 8));
    uint32_t out = 0;
    int filled = 0;
    while (filled < 8) {
        out = (out << width) | value;
        filled += width;
    }
    return static_cast<uint8_t>(out >> (filled - 8));
}

bool fail(const char* format, long long a = 0, long long b = 0) {
    tarn_report(TARN_MESSAGE_ERROR, format, a, b);
    return false;
}

// Checks the header against the file and fills the decoding state.
bool check_header(BmpState* s) {
    const BmpHeader& h = s->header;
    const int bits = h.bit_count;
    s->bits = bits;
    if (h.header_size != 12 && (h.header_size < 40 || h.header_size > 1024))
        return fail("BMP info header of %lld bytes is not a known form", h.header_size);
    if (h.width < 1 || h.height == 0 || h.width > kMaxSide || row_count(h) > kMaxSide)
        return fail("BMP header gives %lld x %lld pixels, a size the library will not read",
                    h.width, h.height);
    if (!palette_bits(bits) && bits != 16 && bits != 24 && bits != 32)
        return fail("BMP of %lld bits per pixel is not read", bits);
    s->top_down = h.height < 0;
    s->rle = false;
    switch (h.compression) {
    case kPlain: break;
    case kRle8:
    case kRle4:
        if (bits != (h.compression == kRle8 ? 8 : 4))
            return fail("BMP run-length coding %lld does not fit %lld bits per pixel",
                        h.compression, bits);
        s->rle = true;
        break;
    case kBitFields:
    case kAlphaBitFields:
        if (bits != 16 && bits != 32)
            return fail("BMP bit fields do not fit %lld bits per pixel", bits);
        break;
    default: return fail("BMP compression %lld is not read", h.compression);
    }
    s->stride = ((long long)h.width * bits + 31) / 32 * 4;
    if (s->stride > INT_MAX - 8) return fail("BMP rows of %lld bytes are not read", s->stride);
    if (h.data_offset < kFileHeader + h.header_size || h.data_offset >= s->file_size)
        return fail("BMP pixels start at %lld, outside the file of %lld bytes", h.data_offset,
                    s->file_size);
    long long data = s->file_size - h.data_offset;
    if (s->rle) {
        if ((long long)h.width * row_count(h) > kMaxRlePixels)
            return fail("BMP run-length image of %lld x %lld pixels is larger than the library "
                        "decodes", h.width, row_count(h));
    } else if (data < s->stride) {
        return fail("BMP rows of %lld bytes do not fit the %lld bytes of pixels", s->stride, data);
    }
    if (bits == 16 || bits == 32) {
        static const uint32_t k555[3] = {0x7C00, 0x03E0, 0x001F};
        static const uint32_t k888[3] = {0xFF0000, 0xFF00, 0xFF};
        bool masked = h.compression == kBitFields || h.compression == kAlphaBitFields;
        for (int k = 0; k < 3; ++k) {
            s->masks[k] = masked ? h.masks[k] : bits == 16 ? k555[k] : k888[k];
            if (bits == 16) s->masks[k] &= 0xFFFF;
            if (!mask_shape(s->masks[k], &s->shifts[k], &s->widths[k]))
                return fail("BMP bit field %lld has no bits", k);
        }
    }
    return true;
}

int read_palette(Image* image, BmpState* s) {
    const BmpHeader& h = s->header;
    long long count = h.colours_used ? h.colours_used : 1LL << s->bits;
    if (count > (1LL << s->bits)) count = 1LL << s->bits;
    const int entry = h.header_size == 12 ? 3 : 4;
    long long start = kFileHeader + (long long)h.header_size;
    if (start + count * entry > s->file_size) {
        tarn_report(TARN_MESSAGE_ERROR, "BMP palette of %lld colours runs past the end of the file",
                    count);
        return -1;
    }
    uint8_t raw[256 * 4];
    if (tarn_fseek(image->file, static_cast<long>(start), SEEK_SET) != 0 ||
        tarn_fread(raw, 1, static_cast<size_t>(count * entry), image->file) !=
            static_cast<size_t>(count * entry))
        return -1;
    Colormap& map = image->colormap;
    map.ncolors = static_cast<int32_t>(count);
    map.red = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(count), 1));
    map.green = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(count), 1));
    map.blue = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(count), 1));
    if (!map.red || !map.green || !map.blue) return -1;
    for (long long i = 0; i < count; ++i) {
        map.blue[i] = raw[i * entry];
        map.green[i] = raw[i * entry + 1];
        map.red[i] = raw[i * entry + 2];
    }
    map.low = 0;
    map.first = 0;
    map.high = static_cast<int32_t>(count - 1);
    return 1;
}

// The open both forms share: the state, the file, the checked header.
int open_common(Image* image, const char* name, BmpState** out) {
    image->type = kBmpType;
    BmpState* s = static_cast<BmpState*>(calloc(1, sizeof(BmpState)));
    if (!s) return -1;
    image->driver = s;
    *out = s;
    image->file = tarn_fopen(name, "r");
    if (!image->file) return -1;
    s->file_size = file_size(image->file);
    if (s->file_size < 0 || read_bmp_header(image->file, &s->header) != 1) return -1;
    s->header.valid = 1;
    if (!check_header(s)) return -1;
    image->rows = static_cast<int32_t>(row_count(s->header));
    image->columns = s->header.width;
    image->file_depth = s->bits;
    image->row_bytes = static_cast<int32_t>(s->stride);
    long long raster = s->file_size - s->header.data_offset;
    image->data_bytes = raster > INT_MAX ? INT_MAX : static_cast<int32_t>(raster);
    image->byte_order = 0x4949;
    image->get_row = Get_BMP_Row;
    if (!s->rle) {
        image->file_buffer = allocate_byte_buffer(static_cast<long>(s->stride));
        if (!image->file_buffer) return -1;
    }
    return 1;
}

// Decodes the whole run-length bitmap into aux_buffer, one index byte per
// pixel, rows from the top. A fault or a stream cut short leaves it failed.
void decode_rle(Image* image, BmpState* s) {
    const long long width = image->columns, rows = image->rows;
    s->decoded = -1;
    image->aux_buffer = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(width * rows), 1));
    if (!image->aux_buffer) return;
    long long size = s->file_size - s->header.data_offset;
    uint8_t* data = static_cast<uint8_t*>(malloc(static_cast<size_t>(size)));
    if (!data) return;
    if (tarn_fseek(image->file, static_cast<long>(s->header.data_offset), SEEK_SET) != 0 ||
        tarn_fread(data, 1, static_cast<size_t>(size), image->file) != static_cast<size_t>(size)) {
        free(data);
        return;
    }
    const bool four = s->header.compression == kRle4;
    // Writers code the row's padding too, so a run may reach the padded
    // width; those pixels are dropped.
    const long long padded = four ? s->stride * 2 : s->stride;
    long long p = 0, x = 0, y = 0;  // y counts rows in file order
    auto put = [&](uint8_t value) {
        long long row = s->top_down ? y : rows - 1 - y;
        if (x < width) image->aux_buffer[row * width + x] = value;
        ++x;
    };
    for (;;) {
        if (p + 2 > size) break;  // cut short: no end-of-bitmap
        uint8_t n = data[p], v = data[p + 1];
        p += 2;
        if (n > 0) {
            if (y >= rows || x + n > padded) break;
            for (int i = 0; i < n; ++i) put(four ? ((i & 1) ? v & 0x0F : v >> 4) : v);
            continue;
        }
        if (v == 0) {  // end of line
            ++y;
            x = 0;
            if (y > rows) break;
            continue;
        }
        if (v == 1) {  // end of bitmap
            s->decoded = 1;
            break;
        }
        if (v == 2) {  // delta
            if (p + 2 > size) break;
            long long dx = data[p], dy = data[p + 1];
            p += 2;
            if (x + dx > padded || y + dy > rows) break;
            x += dx;
            y += dy;
            continue;
        }
        // Literal pixels, padded to a 16-bit boundary.
        long long bytes = four ? (v + 1) / 2 : v;
        if (p + bytes > size || y >= rows || x + v > padded) break;
        for (int i = 0; i < v; ++i) {
            uint8_t b = data[p + (four ? i / 2 : i)];
            put(four ? ((i & 1) ? b & 0x0F : b >> 4) : b);
        }
        p += bytes + (bytes & 1);
    }
    free(data);
}

// The file row of an image row, in file_buffer or aux_buffer.
int fetch_row(Image* image, BmpState* s, int row) {
    if (row < 0 || row >= image->rows) return -1;
    if (s->rle) {
        if (s->decoded == 0) decode_rle(image, s);
        if (!image->aux_buffer) return -1;
        // A fault anywhere in the coding spoils the bitmap: no row is served.
        if (s->decoded != 1) return -1;
        s->current = image->aux_buffer + (long long)row * image->columns;
        return 0;
    }
    long long file_row = s->top_down ? row : (long long)image->rows - 1 - row;
    long long target = s->header.data_offset + file_row * s->stride;
    if (!image->file_buffer || target + s->stride > s->file_size ||
        tarn_fseek(image->file, static_cast<long>(target), SEEK_SET) != 0)
        return -1;
    if (tarn_fread(image->file_buffer, 1, static_cast<size_t>(s->stride), image->file) !=
        static_cast<size_t>(s->stride))
        return -1;
    image->io_pos = static_cast<uint32_t>(target + s->stride);
    s->current = image->file_buffer;
    return 0;
}

uint8_t index_at(const BmpState* s, long long x) {
    if (s->rle) return s->current[x];
    switch (s->bits) {
    case 1: return (s->current[x >> 3] >> (7 - (x & 7))) & 1;
    case 4: return (x & 1) ? s->current[x >> 1] & 0x0F : s->current[x >> 1] >> 4;
    default: return s->current[x];
    }
}

// Red, green, blue of a true-colour pixel.
void colour_at(const BmpState* s, long long x, uint8_t rgb[3]) {
    if (s->bits == 24) {
        const uint8_t* p = s->current + 3 * x;
        rgb[0] = p[2];
        rgb[1] = p[1];
        rgb[2] = p[0];
        return;
    }
    uint32_t pixel = s->bits == 16 ? read_le16(s->current + 2 * x) : read_le32(s->current + 4 * x);
    for (int k = 0; k < 3; ++k)
        rgb[k] = widen((pixel & s->masks[k]) >> s->shifts[k], s->widths[k]);
}

bool window_ok(const Image* image) {
    return image->first_col >= 0 && image->win_cols > 0 &&
           (long long)image->first_col + image->win_cols <= image->columns;
}

int unpack_bmp(Image* image) {
    BmpState* s = bmp_state(image);
    if (!s || !s->current || !window_ok(image)) return -1;
    const int first = image->first_col, count = image->win_cols;
    uint8_t rgb[3];
    switch (s->mode) {
    case kIndex:
        if (!image->row8) return -1;
        for (int i = 0; i < count; ++i) image->row8[i] = index_at(s, first + i);
        return 0;
    case kPlane:
        if (!image->row8) return -1;
        for (int i = 0; i < count; ++i) {
            colour_at(s, first + i, rgb);
            image->row8[i] = rgb[s->plane];
        }
        return 0;
    case kFull:
        if (!image->row8) return -1;
        for (int i = 0; i < count; ++i) {
            colour_at(s, first + i, rgb);
            for (int k = 0; k < 3; ++k) image->row8[(long long)k * image->columns + i] = rgb[k];
        }
        return 0;
    case kPacked:
        if (!image->row32) return -1;
        for (int i = 0; i < count; ++i) {
            colour_at(s, first + i, rgb);
            image->row32[i] = rgb[0] | (uint32_t)rgb[1] << 8 | (uint32_t)rgb[2] << 16;
        }
        return 0;
    case kMulti:
        for (int k = 0; k < 3; ++k)
            if (!image->mrow8[k]) return -1;
        for (int i = 0; i < count; ++i) {
            colour_at(s, first + i, rgb);
            for (int k = 0; k < 3; ++k) image->mrow8[k][i] = rgb[s->planes[k]];
        }
        return 0;
    default: return -1;
    }
}

// Properties read from the headers alone, whatever they hold: the file's
// own fields, zero where it is short.
int read_properties(const char* name, BmpHeader* h) {
    FILE* file = tarn_fopen(name, "r");
    if (!file) return -1;
    memset(h, 0, sizeof *h);
    read_bmp_header(file, h);
    tarn_fclose(file);
    return 0;
}

}  // namespace

extern "C" {

int read_bmp_header(FILE* file, BmpHeader* h) {
    uint8_t raw[kFileHeader + 56] = {};
    if (tarn_fseek(file, 0, SEEK_SET) != 0) return -1;
    size_t got = tarn_fread(raw, 1, sizeof raw, file);
    h->file_size = read_le32(raw + 2);
    h->data_offset = read_le32(raw + 10);
    h->header_size = read_le32(raw + 14);
    if (h->header_size == 12) {
        h->width = read_le16(raw + 18);
        h->height = read_le16(raw + 20);
        h->planes = read_le16(raw + 22);
        h->bit_count = read_le16(raw + 24);
        h->compression = 0;
        h->x_per_metre = h->y_per_metre = 0;
        h->colours_used = 0;
        for (int k = 0; k < 3; ++k) h->masks[k] = 0;
        return got >= 26 && raw[0] == 'B' && raw[1] == 'M' ? 1 : -1;
    }
    h->width = static_cast<int32_t>(read_le32(raw + 18));
    h->height = static_cast<int32_t>(read_le32(raw + 22));
    h->planes = read_le16(raw + 26);
    h->bit_count = read_le16(raw + 28);
    h->compression = read_le32(raw + 30);
    h->x_per_metre = static_cast<int32_t>(read_le32(raw + 38));
    h->y_per_metre = static_cast<int32_t>(read_le32(raw + 42));
    h->colours_used = read_le32(raw + 46);
    for (int k = 0; k < 3; ++k) h->masks[k] = read_le32(raw + 54 + 4 * k);
    bool masked = h->compression == kBitFields || h->compression == kAlphaBitFields;
    size_t needed = masked ? kFileHeader + 52 : kFileHeader + 40;
    return got >= needed && raw[0] == 'B' && raw[1] == 'M' ? 1 : -1;
}

// Rows are the height word's size: a top-down file's negative height gives
// its rows too.
int get_BMP_info(const char* name, int* rows, int* columns, int* bands, int* depth) {
    BmpHeader h;
    if (read_properties(name, &h) == -1) return -1;
    *rows = static_cast<int>(row_count(h) > INT_MAX ? INT_MAX : row_count(h));
    *columns = h.width;
    *bands = h.bit_count == 24 ? 3 : h.planes;
    *depth = h.bit_count == 24 ? 8 : h.bit_count;
    return 0;
}

int read_BMP_extent(const char* name, int* rows, int* columns) {
    BmpHeader h;
    if (read_properties(name, &h) == -1) return -1;
    *rows = static_cast<int>(row_count(h) > INT_MAX ? INT_MAX : row_count(h));
    *columns = h.width;
    return 0;
}

int read_BMP_nbands(const char* name, int* bands) {
    BmpHeader h;
    if (read_properties(name, &h) == -1) return -1;
    *bands = h.bit_count == 24 ? 3 : h.planes;
    return 0;
}

int get_BMP_depth(const char* name, int* depth) {
    BmpHeader h;
    if (read_properties(name, &h) == -1) return -1;
    *depth = h.bit_count == 24 ? 8 : h.bit_count;
    return 0;
}

// The resolution is written when the header has one, and still -1 is the
// answer: the identity that follows overwrites it.
int read_BMP_header_trans(const char* name, int, double* transform) {
    BmpHeader h;
    if (read_properties(name, &h) == -1) return -1;
    if (h.x_per_metre != 0 && h.y_per_metre != 0) {
        transform[0] = h.x_per_metre;
        transform[1] = transform[2] = 0.0;
        transform[3] = -static_cast<double>(h.y_per_metre);
        transform[4] = transform[5] = 0.0;
    }
    return -1;
}

int open_BMP(Image* image, const char* name, int band, int) {
    BmpState* s = nullptr;
    if (open_common(image, name, &s) == -1) return -1;
    if (palette_bits(s->bits)) {
        s->mode = kIndex;
        image->depth = 8;
        image->nbands = 1;
        if (read_palette(image, s) == -1) return -1;
    } else {
        image->nbands = 3;
        image->depth = 8;
        if (band == 0) {
            s->mode = kFull;
        } else if (s->bits == 24) {
            // A band out of range reads the first.
            s->mode = kPlane;
            s->plane = band >= 1 && band <= 3 ? band - 1 : 0;
        } else {
            // 16- and 32-bit files are one band of packed colours.
            s->mode = kPacked;
            image->depth = 32;
        }
    }
    image->unpack = unpack_bmp;
    return 1;
}

int open_multi_BMP(Image* image, const char* name, int red, int green, int blue, int) {
    BmpState* s = nullptr;
    if (open_common(image, name, &s) == -1) return -1;
    if (palette_bits(s->bits)) return -1;
    const int bands[3] = {red, green, blue};
    for (int k = 0; k < 3; ++k) {
        if (bands[k] < 1 || bands[k] > 3) return -1;
        s->planes[k] = bands[k] - 1;
    }
    s->mode = kMulti;
    image->nbands = 3;
    image->depth = 8;
    image->unpack = unpack_bmp;
    return 1;
}

int Get_BMP_Row(Image* image, int row) {
    BmpState* s = bmp_state(image);
    if (!s || !image->unpack || fetch_row(image, s, row) == -1) return -1;
    return image->unpack(image) == -1 ? -1 : 0;
}

int initialize_BMPRow_IO(Image* image) {
    image->io_pos = 0;
    return 1;
}

int clrrd_BMP_hdr(Image* image) {
    if (image->driver) bmp_state(image)->header.valid = 0;
    return 1;
}

int check_format_BMP(FILE* fp) {
    uint8_t head[2];
    if (!fp || tarn_fseek(fp, 0, SEEK_SET) != 0) return 0;
    if (tarn_fread(head, 1, sizeof head, fp) != sizeof head) return 0;
    return head[0] == 'B' && head[1] == 'M' ? 1 : 0;
}

}  // extern "C"

extern const ImageDriver driver_BMP;

int extend_and_check_if_BMP(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BMP, stem, candidate);
}

// suffname does not know ".BMP", although it is a built-in suffix everywhere
// else. Without a palette the pixels are true colour.
extern const ImageDriver driver_BMP = {
    .type = kBmpType, .keyword = "BMP", .description = "Windows bitmap",
    .flags = DRIVER_NAMED_BY_SUFFIX | DRIVER_SUFFIX_UNLISTED | DRIVER_TRUE_COLOUR_WITHOUT_MAP,
    .suffixes = {".bmp"}, .check = check_format_BMP, .extend_and_check = extend_and_check_if_BMP,
    .open = open_one_band<open_BMP>, .open_multi = open_three_bands<open_multi_BMP>,
    .clear_header = clrrd_BMP_hdr, .get_info = info_by_name<get_BMP_info>,
    .read_extent = extent_by_name<read_BMP_extent>, .read_nbands = value_by_name<read_BMP_nbands>,
    .get_depth = value_by_name<get_BMP_depth>, .read_header_trans = read_BMP_header_trans,
    .init_row_io = initialize_BMPRow_IO,
};
