// Sun raster files, type code 2.
//
// Layout: a header of eight 32-bit big-endian words, an optional colour map,
// then the rows.
//
//   offset  word       use
//   0       magic      0x59a66a95; the content probe tests it, the opens do not
//   4       width      columns
//   8       height     rows
//   12      depth      bits per pixel: 1, 8, 16, 24 or 32
//   16      length     bytes of raster data (encoded length for type 2)
//   20      type       0 plain, 1 plain with length, 2 byte-run-encoded; other
//                      values (3, RGB-ordered true colour) open without a row reader
//   24      maptype    0 none, 1 RGB planes, 2 raw (refused)
//   28      maplength  bytes of the map
//   32      map        maplength / 3 reds, then as many greens, then blues
//   32+map  rows       each padded to an even byte count; true-colour pixels are
//                      blue, green, red, and a 32-bit pixel has a leading pad byte
//
// Byte-run encoding: 128 is the only escape. 128,0 is one byte 128; 128,n,v
// with n >= 1 is n + 1 bytes v. The encoded stream ignores row ends, so runs
// cross from one row into the next.

#include "drivers/builtin/sunraster.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include "drivers/driver.h"
#include "drivers/drivers.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr int kSunType = 2;
constexpr int kHeaderBytes = 32;
constexpr int kHeaderWords = 8;
constexpr int kEscape = 128;
// A three-byte run yields at most 256 bytes.
constexpr long long kMaxRunGain = 86;

SunHeader* sun_record(Image* image) { return static_cast<SunHeader*>(image->driver); }

void parse_header(const uint8_t* bytes, SunHeader* header) {
    int32_t words[kHeaderWords];
    memcpy(words, bytes, sizeof words);
    int count = kHeaderWords;
    swi4bn_(words, &count);
    header->magic = words[0];
    header->width = words[1];
    header->height = words[2];
    header->depth = words[3];
    header->length = words[4];
    header->type = words[5];
    header->maptype = words[6];
    header->maplength = words[7];
}

// Rows are padded to 16 bits.
long long sun_row_bytes(long long width, long long depth) {
    return ((width * depth + 15) >> 3) & ~1LL;
}

// Sizes that no image can have: the row stride must fit 32 bits and the whole
// raster the 32-bit position counter of the row readers.
bool header_sizes_ok(const SunHeader& header) {
    if (header.width < 1 || header.height < 1 || header.depth < 1) return false;
    long long row_bytes = sun_row_bytes(header.width, header.depth);
    if (row_bytes > INT_MAX) return false;
    return row_bytes * header.height <= 0xFFFFFFFFLL;
}

long long file_size(FILE* file) {
    long here = tarn_ftell(file);
    if (here < 0 || tarn_fseek(file, 0, SEEK_END) != 0) return -1;
    long size = tarn_ftell(file);
    if (tarn_fseek(file, here, SEEK_SET) != 0) return -1;
    return size;
}

// A row that the file cannot hold even once, plain or at the best run gain,
// is a broken header; refusing it keeps a small file from asking for a huge
// buffer.
bool row_fits_file(const SunHeader& header, long long size) {
    long long data = size - kHeaderBytes;
    if (data <= 0) return false;
    long long unpadded = ((long long)header.width * header.depth + 7) / 8;
    if (header.type == 0 || header.type == 1) return unpadded <= data;
    return unpadded <= data * kMaxRunGain;
}

int read_header_into(Image* image, SunHeader* header) {
    uint8_t raw[kHeaderBytes];
    size_t got = tarn_fread(raw, 1, kHeaderBytes, image->file);
    header->valid = 1;
    // A short header leaves nothing to go on.
    if (got != kHeaderBytes) return -1;
    parse_header(raw, header);
    return 1;
}

int install_row_reader(Image* image, const SunHeader& header) {
    switch (header.type) {
    case 0: {
        long long bytes = (long long)image->row_bytes * image->rows;
        image->data_bytes = bytes > INT_MAX ? INT_MAX : static_cast<int32_t>(bytes);
        image->get_row = Get_Sun_Standard_Row;
        break;
    }
    case 1:
        image->data_bytes = header.length;
        image->get_row = Get_Sun_Standard_Row;
        break;
    case 2:
        image->data_bytes = header.length;
        image->get_row = Get_Sun_Run_Encoded_Row;
        break;
    default:
        // RGB-ordered and other encodings have no reader; the open still
        // succeeds, and every row answers -1.
        image->get_row = Get_Sun_Unsupported_Row;
        break;
    }
    return 1;
}

int read_colour_map(Image* image, const SunHeader& header, long long size) {
    if (header.maplength < 0 || header.maplength > size - kHeaderBytes) return -1;
    int count = header.maplength / 3;
    if (count <= 0) return 1;
    Colormap& map = image->colormap;
    // The count goes in first so that the close frees whatever was allocated.
    map.ncolors = count;
    map.red = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(count), 1));
    if (!map.red) return -1;
    map.green = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(count), 1));
    if (!map.green) return -1;
    map.blue = static_cast<uint8_t*>(C_calloc(static_cast<size_t>(count), 1));
    if (!map.blue) return -1;
    tarn_fread(map.red, 1, static_cast<size_t>(count), image->file);
    tarn_fread(map.green, 1, static_cast<size_t>(count), image->file);
    tarn_fread(map.blue, 1, static_cast<size_t>(count), image->file);
    map.low = 0;
    map.first = 0;
    map.high = count - 1;
    return 1;
}

// The bytes of one window row must fit the row buffer, which holds row_bytes.
bool window_fits_row(const Image* image, long long first_byte, long long nbytes) {
    return image->file_buffer && nbytes > 0 && first_byte >= 0 &&
           first_byte + nbytes <= image->row_bytes;
}

// Plain read of nbytes at offset within a row, by a relative seek from io_pos.
int read_plain_bytes(Image* image, int row, long long offset, int nbytes) {
    if (!image->file || row < 0 || !window_fits_row(image, offset, nbytes)) return -1;
    long long target = (long long)row * image->row_bytes + offset;
    if (target + nbytes > 0xFFFFFFFFLL) return -1;
    if (tarn_fseek(image->file, static_cast<long>(target - image->io_pos), SEEK_CUR) != 0)
        return -1;
    if (tarn_fread(image->file_buffer, 1, static_cast<size_t>(nbytes), image->file) !=
        static_cast<size_t>(nbytes))
        return -1;
    image->io_pos = static_cast<uint32_t>(target + nbytes);
    return 0;
}

// One unit of the encoded stream.
struct RunUnit {
    uint32_t count;  // decoded bytes
    uint8_t value;
    bool pair;       // 128,1,v: always two bytes 128, v is not looked at
};

int take_unit(FILE* file, RunUnit* unit) {
    int c = tarn_fgetc(file);
    if (c == EOF) return -1;
    unit->pair = false;
    if (c != kEscape) {
        unit->count = 1;
        unit->value = static_cast<uint8_t>(c);
        return 0;
    }
    int n = tarn_fgetc(file);
    if (n == EOF) return -1;
    if (n == 0) {
        unit->count = 1;
        unit->value = kEscape;
        return 0;
    }
    int v = tarn_fgetc(file);
    if (v == EOF) return -1;
    unit->count = static_cast<uint32_t>(n) + 1;
    if (n == 1) {
        unit->pair = true;
        unit->value = kEscape;
    } else {
        unit->value = static_cast<uint8_t>(v);
    }
    return 0;
}

unsigned long long decoded_total(const Image* image) {
    return (unsigned long long)(image->rows > 0 ? image->rows : 0) *
           (unsigned long long)(image->row_bytes > 0 ? image->row_bytes : 0);
}

int unpack_row(Image* image) {
    if (!image->unpack) return -1;
    return image->unpack(image) == -1 ? -1 : 0;
}

// Band index 0 is red, the last colour byte of a pixel.
inline int colour_offset(int bytes_per_pixel, int band) { return bytes_per_pixel - 1 - band; }

int unpack_single(Image* image, int bytes_per_pixel) {
    if (!image->row32 || image->band < 0 || image->band > 2 ||
        !window_fits_row(image, 0, (long long)image->win_cols * bytes_per_pixel))
        return -1;
    const uint8_t* in = image->file_buffer + colour_offset(bytes_per_pixel, image->band);
    for (int i = 0; i < image->win_cols; ++i) image->row32[i] = in[i * bytes_per_pixel];
    return 0;
}

// The three planes lie one image width apart, also for a narrower window.
int unpack_full(Image* image, int bytes_per_pixel) {
    if (!image->row32 || image->win_cols > image->columns ||
        !window_fits_row(image, 0, (long long)image->win_cols * bytes_per_pixel))
        return -1;
    const uint8_t* in = image->file_buffer;
    for (int k = 0; k < 3; ++k) {
        uint32_t* out = image->row32 + (long)k * image->columns;
        int offset = colour_offset(bytes_per_pixel, k);
        for (int i = 0; i < image->win_cols; ++i) out[i] = in[i * bytes_per_pixel + offset];
    }
    return 0;
}

int unpack_multi(Image* image, int bytes_per_pixel) {
    const int bands[3] = {image->red_band, image->green_band, image->blue_band};
    for (int k = 0; k < 3; ++k)
        if (!image->mrow32[k] || bands[k] < 0 || bands[k] > 2) return -1;
    if (!window_fits_row(image, 0, (long long)image->win_cols * bytes_per_pixel)) return -1;
    const uint8_t* in = image->file_buffer;
    const int count = image->win_cols;  // a local: the stores below may alias the record
    for (int k = 0; k < 3; ++k) {
        const uint8_t* from = in + colour_offset(bytes_per_pixel, bands[k]);
        uint32_t* to = image->mrow32[k];
        for (int i = 0; i < count; ++i) to[i] = from[i * bytes_per_pixel];
    }
    return 0;
}

// Why the opens will refuse a file, or read none of its rows, in the order
// they test; said only to a host that listens, and never changing a result.
void explain_sun_file(const char* name) {
    FILE* file = tarn_fopen(name, "r");
    if (!file) {
        tarn_report(TARN_MESSAGE_ERROR, "cannot be opened");
        return;
    }
    long long size = file_size(file);
    uint8_t raw[kHeaderBytes];
    size_t got = tarn_fread(raw, 1, kHeaderBytes, file);
    tarn_fclose(file);
    if (got != kHeaderBytes) {
        tarn_report(TARN_MESSAGE_ERROR, "Sun raster is shorter than its %d-byte header (%lld bytes)",
                    kHeaderBytes, size);
        return;
    }
    SunHeader h;
    parse_header(raw, &h);
    bool true_colour = h.depth == 24 || h.depth == 32;
    if (h.width < 1 || h.height < 1 || h.depth < 1) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "Sun raster header gives a width of %d, a height of %d and a depth of %d; "
                    "none may be below 1",
                    h.width, h.height, h.depth);
    } else if (!header_sizes_ok(h)) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "Sun raster header gives %d x %d pixels at %d bits, a size the library "
                    "will not allocate",
                    h.width, h.height, h.depth);
    } else if (h.depth != 1 && h.depth != 8 && h.depth != 16 && !true_colour) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "Sun raster header gives %d bits per pixel; only 1, 8, 16, 24 and 32 are read",
                    h.depth);
    } else if (size <= kHeaderBytes) {
        tarn_report(TARN_MESSAGE_ERROR, "Sun raster ends after its %d-byte header: no rows",
                    kHeaderBytes);
    } else if (!row_fits_file(h, size)) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "Sun raster header gives sizes past the end of the file (%lld bytes)", size);
    } else if (h.maptype == 2) {
        tarn_report(TARN_MESSAGE_ERROR, "Sun raster with a colour map of type 2 (raw) is not read");
    } else if (true_colour && h.maptype == 1) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "Sun raster of %d bits per pixel with a colour map is not read", h.depth);
    } else if (h.maptype == 1 && (h.maplength < 0 || h.maplength > size - kHeaderBytes)) {
        tarn_report(TARN_MESSAGE_ERROR,
                    "Sun raster header gives a colour map of %d bytes past the end of the file "
                    "(%lld bytes)",
                    h.maplength, size);
    } else if (h.type == 3) {
        tarn_report(TARN_MESSAGE_ERROR, "Sun raster of type 3 (RGB order) has no row reader");
    } else if (h.type < 0 || h.type > 3) {
        tarn_report(TARN_MESSAGE_ERROR, "Sun raster of type %d has no row reader", h.type);
    }
}

int open_file_and_header(Image* image, const char* name, SunHeader** out) {
    image->type = kSunType;
    SunHeader* header = static_cast<SunHeader*>(calloc(1, sizeof(SunHeader)));
    if (!header) return -1;
    image->driver = header;
    header->valid = 0;
    *out = header;
    image->file = tarn_fopen(name, "r");
    if (!image->file) return -1;
    return read_header_into(image, header);
}

}  // namespace

extern "C" {

int read_sun_header(const char* name, SunHeader* header) {
    FILE* file = tarn_fopen(name, "r");
    if (!file) return -1;
    uint8_t raw[kHeaderBytes];
    size_t got = tarn_fread(raw, 1, kHeaderBytes, file);
    tarn_fclose(file);
    if (got != kHeaderBytes) return -1;
    parse_header(raw, header);
    header->valid = 1;
    return header_sizes_ok(*header) ? 1 : -1;
}

int open_SUNRASTER(Image* image, const char* name, int band, int display) {
    SunHeader* header = nullptr;
    band = (band >= 1 && band <= 3) ? band - 1 : 0;
    if (open_file_and_header(image, name, &header) == -1) return -1;

    image->rows = header->height;
    image->columns = header->width;
    image->depth = header->depth;
    switch (header->depth) {
    case 1: image->unpack = Unpack_Sun_1_Bit_Data; break;
    case 8: image->unpack = Unpack_Sun_8_Bit_Data; break;
    case 16: image->unpack = Unpack_Sun_16_Bit_Data; break;
    case 24: image->unpack = Unpack_Sun_24_Bit_Single; break;
    case 32: image->unpack = Unpack_Sun_32_Bit_Single; break;
    default: {
        char text[80];
        snprintf(text, sizeof text, "SUNRASTER %d-Bit data not supported\n", header->depth);
        user_error(text);
        return -1;
    }
    }
    image->nbands = (header->depth == 24 || header->depth == 32) ? 3 : 1;

    long long size = file_size(image->file);
    if (!header_sizes_ok(*header) || !row_fits_file(*header, size)) return -1;
    image->row_bytes = static_cast<int32_t>(sun_row_bytes(header->width, header->depth));
    image->file_buffer = allocate_byte_buffer(image->row_bytes);
    if (!image->file_buffer) return -1;
    install_row_reader(image, *header);

    image->colormap.ncolors = 0;
    image->colormap.gray_step = 0.0f;
    if (header->maptype == 1) {
        if (read_colour_map(image, *header, size) == -1) return -1;
    } else if (header->maptype == 2) {
        return -1;
    }
    // The file now stands at the first byte of the rows. A map remainder that
    // is not a multiple of 3, or a maplength without a map, is read as rows.

    if (display == 0 && header->depth == 24) image->unpack = Unpack_Sun_24_Bit_Full;
    if (display == 0 && header->depth == 32) image->unpack = Unpack_Sun_32_Bit_Full;
    image->band = band;
    return 1;
}

int open_multi_SUNRASTER(Image* image, const char* name, int red, int green, int blue,
                         int /*display*/) {
    SunHeader* header = nullptr;
    if (open_file_and_header(image, name, &header) == -1) return -1;

    image->rows = header->height;
    image->columns = header->width;
    image->depth = header->depth;
    image->nbands = 3;
    if (header->depth != 24 && header->depth != 32) return -1;
    if (red < 1 || red > 3) return -1;
    image->red_band = red - 1;
    if (green < 1 || green > 3) return -1;
    image->green_band = green - 1;
    if (blue < 1 || blue > 3) return -1;
    image->blue_band = blue - 1;

    long long size = file_size(image->file);
    if (!header_sizes_ok(*header) || !row_fits_file(*header, size)) return -1;
    if (header->length == 0) {
        long long length = size - header->maplength - kHeaderBytes;
        header->length = length > INT_MAX ? INT_MAX : length < INT_MIN ? INT_MIN
                                                                       : static_cast<int32_t>(length);
        if (tarn_fseek(image->file, kHeaderBytes, SEEK_SET) != 0) return -1;
    }
    image->row_bytes = static_cast<int32_t>(sun_row_bytes(header->width, header->depth));
    // The header size stands here until the window is mapped.
    image->first_byte = kHeaderBytes;
    image->file_buffer = allocate_byte_buffer(image->row_bytes);
    if (!image->file_buffer) return -1;
    install_row_reader(image, *header);
    image->unpack = header->depth == 24 ? Unpack_Sun_24_Bit_Multi : Unpack_Sun_32_Bit_Multi;

    image->colormap.ncolors = 0;
    image->colormap.gray_step = 0.0f;
    for (int k = 0; k < 3; ++k) image->colormap.band_step[k] = 0.0f;
    // A three-band open takes no colour map. Without one the file stands at
    // offset 32, so a stray maplength is read as rows.
    if (header->maptype == 1 || header->maptype == 2) return -1;
    return 1;
}

int rdhdr_SUN(Image* image, SunHeader* header_out, Colormap* colormap_out) {
    SunHeader* header = sun_record(image);
    if (!header || !header->valid) return -1;
    // The eight words only, not the flag.
    header_out->magic = header->magic;
    header_out->width = header->width;
    header_out->height = header->height;
    header_out->depth = header->depth;
    header_out->length = header->length;
    header_out->type = header->type;
    header_out->maptype = header->maptype;
    header_out->maplength = header->maplength;
    if (colormap_out) *colormap_out = image->colormap;
    return 0;
}

int clrrd_SUNRASTER_hdr(Image* image) {
    if (image->driver) sun_record(image)->valid = 0;
    return 1;
}

int get_SUNRASTER_info(const char* name, int* rows, int* columns, int* bands, int* depth) {
    // The image object asks this once as it admits a file: the place to say
    // what the later opens would refuse.
    if (tarn_messages_wanted()) explain_sun_file(name);
    SunHeader header;
    if (read_sun_header(name, &header) == -1) return -1;
    bool true_colour = header.depth == 24 || header.depth == 32;
    *rows = header.height;
    *columns = header.width;
    // The spare byte of a 32-bit pixel is no band.
    *bands = true_colour ? 3 : 1;
    *depth = true_colour ? 8 : header.depth;
    return 1;
}

int read_SUNRASTER_extent(const char* name, int* rows, int* columns) {
    SunHeader header;
    if (read_sun_header(name, &header) == -1) {
        user_error("Unable to read Sun header\n");
        return -1;
    }
    *rows = header.height;
    *columns = header.width;
    return 1;
}

int read_SUNRASTER_nbands(const char* name, int* bands) {
    SunHeader header;
    if (read_sun_header(name, &header) == -1) return -1;
    *bands = (header.depth == 24 || header.depth == 32) ? 3 : 1;
    return 1;
}

int get_SUNRASTER_depth(const char* name, int* depth) {
    SunHeader header;
    if (read_sun_header(name, &header) == -1) return -1;
    *depth = (header.depth == 24 || header.depth == 32) ? 8 : header.depth;
    return 1;
}

int Get_Sun_Standard_Row(Image* image, int row) {
    if (read_plain_bytes(image, row, image->first_byte, image->win_bytes) == -1) return -1;
    return unpack_row(image);
}

int Get_Sun_Run_Encoded_Row(Image* image, int row) {
    if (Get_Sun_Decompressed_Bytes(image, row, image->row_bytes, image->first_byte,
                                   image->win_bytes) == -1)
        return -1;
    return unpack_row(image);
}

int Get_Sun_Unsupported_Row(Image*, int) { return -1; }

int Get_Sun_Multi24_Row(Image* image, int row) {
    if (read_plain_bytes(image, row, (long long)image->first_col * 3, image->win_cols * 3) == -1)
        return -1;
    return unpack_row(image);
}

int Get_Sun_Multi32_Row(Image* image, int row) {
    if (read_plain_bytes(image, row, (long long)image->first_col * 4, image->win_cols * 4) == -1)
        return -1;
    return unpack_row(image);
}

int Get_Sun_Comp24_Row(Image* image, int row) {
    if (Get_Sun_Decompressed_Bytes(image, row, image->row_bytes, image->first_col * 3,
                                   image->win_cols * 3) == -1)
        return -1;
    return unpack_row(image);
}

int Get_Sun_Comp32_Row(Image* image, int row) {
    if (Get_Sun_Decompressed_Bytes(image, row, image->row_bytes, image->first_col * 4,
                                   image->win_cols * 4) == -1)
        return -1;
    return unpack_row(image);
}

int Position_Sun_Run_Encoded(Image* image, uint32_t target) {
    if (!image->file) return -1;
    unsigned long long total = decoded_total(image);
    while (image->io_pos <= target) {
        RunUnit unit;
        // A stream cut short, or a run beyond the last row, ends the decoding.
        if (take_unit(image->file, &unit) == -1) return -1;
        if (image->io_pos + (unsigned long long)unit.count > total) return -1;
        image->io_mark = unit.value;
        image->io_pos += unit.count;
    }
    return 0;
}

int Get_Sun_Decompressed_Bytes(Image* image, int row, int row_bytes, int first_byte,
                               int nbytes) {
    if (!image->file || row < 0 || row_bytes < 0 || !window_fits_row(image, first_byte, nbytes))
        return -1;
    unsigned long long first = (unsigned long long)row * row_bytes + first_byte;
    unsigned long long last = first + nbytes - 1;
    unsigned long long total = decoded_total(image);
    if (last >= total) return -1;
    uint8_t* out = image->file_buffer;

    if (image->io_pos <= first) {
        if (Position_Sun_Run_Encoded(image, static_cast<uint32_t>(first)) == -1) return -1;
    }
    if (last < image->io_pos) {
        // The whole range lies in a run the decoder has already passed.
        memset(out, static_cast<int>(image->io_mark & 0xFF), static_cast<size_t>(nbytes));
        return 0;
    }
    // The tail of a run that began before this range.
    for (unsigned long long p = first; p < image->io_pos; ++p)
        out[p - first] = static_cast<uint8_t>(image->io_mark);

    while (image->io_pos <= last) {
        RunUnit unit;
        if (take_unit(image->file, &unit) == -1) return -1;
        unsigned long long pos = image->io_pos;
        if (pos + unit.count > total) return -1;
        if (unit.count == 1) {
            out[pos - first] = unit.value;
        } else if (unit.pair) {
            // Tested against pos + 2, so a pair ending exactly on the last byte
            // stores only its first byte, and the row's last byte keeps its value.
            if (pos + 2 <= last) {
                out[pos - first] = kEscape;
                out[pos - first + 1] = kEscape;
            } else {
                out[pos - first] = kEscape;
                image->io_mark = kEscape;
            }
        } else if (pos + unit.count <= last) {
            memset(out + (pos - first), unit.value, unit.count);
        } else {
            memset(out + (pos - first), unit.value, static_cast<size_t>(last - pos + 1));
            image->io_mark = unit.value;
        }
        image->io_pos = static_cast<uint32_t>(pos + unit.count);
    }
    return 0;
}

int Unpack_Image_1_Bit_Data(Image* image) {
    const uint8_t* in = image->file_buffer;
    uint8_t* out = image->row8;
    int first_bit = image->first_bit;
    int cols = image->win_cols;
    if (!in || !out || cols <= 0 || first_bit < 0 || first_bit > 7) return -1;
    int done = 0;
    uint32_t word = read_be32(in) << first_bit;
    int limit = first_bit + cols < 32 ? first_bit + cols : 32;
    for (int bit = first_bit; bit < limit; ++bit) {
        out[done++] = (word & 0x80000000u) ? 1 : 0;
        word <<= 1;
    }
    int w = 1;
    for (; w < image->win_longs - 1 && done + 32 <= cols; ++w) {
        word = read_be32(in + 4 * w);
        for (int bit = 0; bit < 32; ++bit) {
            out[done++] = (word & 0x80000000u) ? 1 : 0;
            word <<= 1;
        }
    }
    // The last word is read only when pixels remain; a window whose first
    // column is off a byte boundary may take its last pixels from zero bits.
    if (done < cols) {
        word = read_be32(in + 4 * w);
        while (done < cols) {
            out[done++] = (word & 0x80000000u) ? 1 : 0;
            word <<= 1;
        }
    }
    return 0;
}

int Unpack_Sun_1_Bit_Data(Image* image) {
    // Every word the unpacker may touch must lie in the row buffer, which
    // holds row_bytes rounded up to whole words.
    long long words = (image->row_bytes + 3LL) / 4;
    long long needed = ((long long)image->first_bit + image->win_cols + 31) / 32;
    if (needed > words || image->win_longs > words || image->row_bytes <= 0) return -1;
    return Unpack_Image_1_Bit_Data(image) == -1 ? -1 : 0;
}

int Unpack_Sun_8_Bit_Data(Image* image) {
    if (!image->file_buffer) return -1;
    image->row8 = image->file_buffer;
    return 0;
}

int Unpack_Sun_16_Bit_Data(Image* image) {
    if (!image->file_buffer || 2LL * image->columns > image->row_bytes) return -1;
    image->row16 = reinterpret_cast<uint16_t*>(image->file_buffer);
    int count = image->columns;
    swi2bn_(image->file_buffer, &count);
    return 0;
}

int Unpack_Sun_24_Bit_Single(Image* image) { return unpack_single(image, 3); }
int Unpack_Sun_32_Bit_Single(Image* image) { return unpack_single(image, 4); }
int Unpack_Sun_24_Bit_Full(Image* image) { return unpack_full(image, 3); }
int Unpack_Sun_32_Bit_Full(Image* image) { return unpack_full(image, 4); }
int Unpack_Sun_24_Bit_Multi(Image* image) { return unpack_multi(image, 3); }
int Unpack_Sun_32_Bit_Multi(Image* image) { return unpack_multi(image, 4); }

int Unpack_Sun_24_Bit_Data(Image* image) {
    if (!image->row32 || !window_fits_row(image, 0, (long long)image->win_cols * 3)) return -1;
    const uint8_t* in = image->file_buffer;
    uint32_t* out = image->row32;
    const int count = image->win_cols;
    for (int i = 0; i < count; ++i)
        out[i] = ((uint32_t)in[3 * i] << 16) | ((uint32_t)in[3 * i + 1] << 8) | in[3 * i + 2];
    return 0;
}

int Unpack_Sun_32_Bit_Data(Image* image) {
    if (!image->file_buffer || 4LL * image->columns > image->row_bytes) return -1;
    image->row32 = reinterpret_cast<uint32_t*>(image->file_buffer);
    int count = image->columns;
    swi4bn_(image->file_buffer, &count);
    return 0;
}

}  // extern "C"

int check_format_SUNRASTER(FILE* fp) {
    uint8_t head[4];
    if (!fp || tarn_fseek(fp, 0, SEEK_SET) != 0) return 0;
    if (tarn_fread(head, 1, sizeof head, fp) != sizeof head) return 0;
    return read_be32(head) == 0x59A66A95u ? 1 : 0;
}

// Sun rasters are told by content only: there is no suffix to try.
int extend_and_check_if_SUNRASTER(const std::string&, std::string&) { return 0; }

// True-colour pixels without a map are shown through an 8-bit grey ramp.
extern const ImageDriver driver_SUNRASTER = {
    .type = kSunType, .keyword = "SUNRASTER", .description = "Sun raster", .flags = DRIVER_WIDE_PIXELS_AS_BYTES,
    .check = check_format_SUNRASTER, .extend_and_check = extend_and_check_if_SUNRASTER,
    .open = open_one_band<open_SUNRASTER>, .open_multi = open_three_bands<open_multi_SUNRASTER>,
    .clear_header = clrrd_SUNRASTER_hdr, .get_info = info_by_name<get_SUNRASTER_info>,
    .read_extent = extent_by_name<read_SUNRASTER_extent>,
    .read_nbands = value_by_name<read_SUNRASTER_nbands>,
    .get_depth = value_by_name<get_SUNRASTER_depth>,
};
