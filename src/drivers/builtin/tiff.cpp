// TIFF strips over the tag library, type code 7.
//
//   0     u16  "II" 0x4949 or "MM" 0x4D4D
//   2     u16  42
//   4     u32  offset of the first IFD, the only one read
//   IFD   256/257 width, length; 258 bits (8,8,8 for colour); 259 compression
//         1 or 32773 (PackBits) read, 2 opens single-band only; 262
//         photometric 0..3; 266 fill order; 273/279 strip offsets and byte
//         counts; 277 samples; 278 rows per strip; 284 planar configuration
//   strips planar 1: rows of interleaved samples; planar 2: the strips of
//         each sample in turn, strip_count / samples of them
//   geo   33550 scale, 33922 tie point, 34264 matrix, 34442 text world,
//         34735 key directory (key 1025, raster type); 282/283 resolution,
//         286/287 position, 296 unit
//
// Tiles, LZW, JPEG, CCITT, predictors and orientations other than 1 are
// refused. The row position is kept in statics: one type-7 image at a time.

#include "drivers/builtin/tiff.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "drivers/geotiff_terms.h"
#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include <tarnimage/bitmap_shim.h>
#include <tarnimage/naming.h>
#include <tarnimage/tarn_file.h>

namespace {

constexpr int kTiffType = 7;
constexpr int kHostOrder = 0x4949;
constexpr int kVersion = 42;
constexpr uint32_t kMaxSide = 1u << 24;
constexpr int64_t kMaxBuffer = int64_t(1) << 31;
constexpr int kMaxMake = 255;

enum : int {
    kTagNewSubfile = 254, kTagSubfile = 255, kTagWidth = 256, kTagLength = 257, kTagBits = 258,
    kTagCompression = 259, kTagPhotometric = 262, kTagThreshold = 263, kTagCellWidth = 264,
    kTagCellLength = 265, kTagFillOrder = 266, kTagDocumentName = 269, kTagDescription = 270,
    kTagMake = 271, kTagModel = 272, kTagStripOffsets = 273, kTagOrientation = 274, kTagSamples = 277,
    kTagRowsPerStrip = 278, kTagByteCounts = 279, kTagMinSample = 280, kTagMaxSample = 281,
    kTagXResolution = 282, kTagYResolution = 283, kTagPlanar = 284, kTagXPosition = 286,
    kTagYPosition = 287, kTagGroup4 = 293, kTagResolutionUnit = 296, kTagSoftware = 305,
    kTagPredictor = 317, kTagColormap = 320, kTagTileFirst = 322, kTagTileLast = 325,
    kTagModelScale = 33550, kTagModelTiepoint = 33922, kTagModelMatrix = 34264,
    kTagWorldText = 34442, kTagGeoKeys = 34735,
};

// The row position of the one open type-7 image.
struct RowPosition {
    Image* owner = nullptr;
    int current_row = 0;
    int current_strip = -1;
    int current_nbands = 0;
    int current_byte = 0;
    int current_cell = 0;
    TifFile* hpTif = nullptr;
    TifIfd* hpIfd = nullptr;
    TifHeader* hpHTif = nullptr;
    const uint8_t* DBuf = nullptr;
};
RowPosition g_pos;

TifHeader* header_of(Image* image) { return static_cast<TifHeader*>(image->driver); }

// A value field as the file's four bytes, whatever the swap made of it.
void field_bytes(const TifError& e, uint32_t value, uint8_t out[4]) {
    for (int i = 0; i < 4; ++i) out[i] = uint8_t(e.swap ? value >> (24 - 8 * i) : value >> (8 * i));
}

// A one-item integer tag. A BYTE stands in the field's first byte.
uint32_t scalar(const TifError& e, int type, uint32_t value) {
    if (type != 1 && type != 6) return value;
    uint8_t b[4];
    field_bytes(e, value, b);
    return b[0];
}

// Items of `size` bytes at the value's offset can't outnumber the file's bytes.
bool fits_file(uint32_t count, int size, uint32_t file_size) {
    return size > 0 && uint64_t(count) * size <= file_size;
}

// Text of a tag, with a terminating zero; null when it can't be had or the
// tag's items are not bytes.
char* NewString(TifFile* tif, TifIfd* ifd, TifError* e, int tag, int type, uint32_t count, uint32_t value,
                uint32_t file_size) {
    if (tifBytesPerType(type) != 1 || (count > 4 && count > file_size)) return nullptr;
    char* text = static_cast<char*>(CAllocate1(size_t(count) + 1, 1));
    if (!text) return nullptr;
    if (count <= 4) {
        uint8_t b[4];
        field_bytes(*e, value, b);
        memcpy(text, b, count);
    } else {
        tifReadData(tif, ifd, tag, 0, text, count, TIF_DATA_ITEMS, e);
    }
    text[count] = 0;
    return text;
}

// Doubles of a tag: the first `want` items, when the tag has that many.
bool read_doubles(TifFile* tif, TifIfd* ifd, TifError* e, int tag, int type, uint32_t count, uint32_t want,
                  double* out, uint32_t file_size) {
    if (type != 12 || count < want || !fits_file(want, 8, file_size)) return false;
    return tifReadData(tif, ifd, tag, 0, out, want, TIF_DATA_ITEMS, e) == 1;
}

// A RATIONAL's two parts.
bool read_rational(TifFile* tif, TifIfd* ifd, TifError* e, int tag, uint32_t parts[2]) {
    uint32_t count = 0, value = 0;
    int type = 0;
    for (int i = 0; i < ifd->count; ++i)
        if (ifd->tags[i].tag == tag) type = ifd->tags[i].type;
    if (!tifReadTag(tif, ifd, tag, &count, &value, e) || (type != 5 && type != 10) || count < 1) return false;
    return tifReadData(tif, ifd, tag, 0, parts, 1, TIF_DATA_ITEMS, e) == 1;
}

// An array of 32-bit values for a tag of offsets or counts.
uint32_t* GetOffset(TifHeader* h, int tag, int type, uint32_t count, uint32_t value) {
    const int size = tifBytesPerType(type);
    if (count == 0 || size == 0 || size > 4) return nullptr;
    if (count > 2 && !fits_file(count, size, h->file_size)) return nullptr;
    uint32_t* out = static_cast<uint32_t*>(CAllocate1(count, sizeof(uint32_t)));
    if (!out) {
        user_warn("Unable to allocate memory for StripByteCount\n");
        return nullptr;
    }
    if (count == 1) {
        out[0] = scalar(h->tif_error, type, value);
    } else if (count == 2 && type == 3) {
        // Two SHORTs in the field, taken high half first.
        out[0] = value >> 16;
        out[1] = value & 0xFFFF;
    } else if (size == 4) {
        tifReadData(h->tif, h->ifd, tag, 0, out, count, TIF_DATA_ITEMS, &h->tif_error);
    } else {
        uint8_t* items = static_cast<uint8_t*>(CAllocate1(count, size_t(size)));
        if (!items) {
            CFree1(out);
            return nullptr;
        }
        tifReadData(h->tif, h->ifd, tag, 0, items, count, TIF_DATA_ITEMS, &h->tif_error);
        for (uint32_t i = 0; i < count; ++i) {
            uint16_t word;
            memcpy(&word, items + size_t(i) * 2, 2);
            out[i] = size == 2 ? word : items[i];
        }
        CFree1(items);
    }
    return out;
}

void initTOH(TifHeader* h) {
    memset(h, 0, sizeof *h);
    h->compression = 1;
    h->bits = 1;
    h->fill_order = 1;
    h->orientation = 1;
    h->samples = 1;
    h->rows_per_strip = 0xFFFFFFFFu;
    h->planar = 1;
    h->resolution_unit = 2;
    h->predictor = 1;
    initLZWdata(&h->lzw);
}

void TifBufferFree(TifHeader* h) {
    char** texts[] = {&h->document_name, &h->description, &h->make, &h->model, &h->software};
    for (char** t : texts) {
        CFree1(*t);
        *t = nullptr;
    }
    CFree1(h->strip_offsets);
    CFree1(h->byte_counts);
    CFree1(h->colormap);
    h->strip_offsets = h->byte_counts = nullptr;
    h->colormap = nullptr;
}

uint32_t CountEof(FILE* file) {
    if (tarn_fseek(file, 0, SEEK_END) != 0) return 0;
    long end = tarn_ftell(file);
    return end < 0 ? 0 : end > long(UINT32_MAX) ? UINT32_MAX : uint32_t(end);
}

// The tags of the first IFD into the header; the IFD, or null for a file
// this driver refuses.
TifIfd* TifGetTags(Image*, TifHeader* h) {
    TifError* e = &h->tif_error;
    int count = 0;
    h->ifd = tifReadIFD(h->tif, &count, e);
    if (!h->ifd) return nullptr;
    TifFile* tif = h->tif;
    TifIfd* ifd = h->ifd;
    char text[128];
    for (int i = 0; i < count; ++i) {
        int tag = 0, type = 0;
        uint32_t n = 0, value = 0;
        if (!tifReadNTag(tif, ifd, i, &tag, &type, &n, &value, e)) return nullptr;
        const uint32_t v = scalar(*e, type, value);
        switch (tag) {
        case kTagNewSubfile:
        case kTagSubfile: h->new_subfile = v; break;
        case kTagWidth: h->width = v; break;
        case kTagLength: h->length = v; break;
        case kTagBits:
            if (n <= 1) {
                h->bits = v;
            } else {
                uint16_t words[3] = {0, 0, 0};
                const uint32_t want = n < 3 ? n : 3;
                if (type == 3 && n > 2 && fits_file(want, 2, h->file_size))
                    tifReadData(tif, ifd, tag, 0, words, want, TIF_DATA_ITEMS, e);
                if (n != 3 || words[0] != 8 || words[1] != 8 || words[2] != 8) {
                    snprintf(text, sizeof text, "Non_Standard true color image (%d,%d,%d)\n", words[0], words[1],
                             words[2]);
                    user_warn(text);
                    return nullptr;
                }
                h->bits = 8;
            }
            break;
        case kTagCompression:
            if (v == 6) {
                user_warn("Can't handle TIFF 6.0 JPEG compression\n");
                return nullptr;
            }
            if (v != 1 && v != 2 && v != 4 && v != 32773) return nullptr;
            h->compression = v;
            break;
        case kTagPhotometric:
            if (v > 3) return nullptr;
            h->photometric = v;
            break;
        case kTagThreshold: h->threshold = v; break;
        case kTagCellWidth: h->cell_width = v; break;
        case kTagCellLength: h->cell_length = v; break;
        case kTagFillOrder: h->fill_order = v; break;
        case kTagDocumentName:
        case kTagDescription:
        case kTagModel:
        case kTagSoftware:
        case kTagMake: {
            char** slot = tag == kTagDocumentName ? &h->document_name
                          : tag == kTagDescription ? &h->description
                          : tag == kTagModel       ? &h->model
                          : tag == kTagSoftware    ? &h->software
                                                   : &h->make;
            CFree1(*slot);
            *slot = NewString(tif, ifd, e, tag, type, n, value, h->file_size);
            if (tag == kTagMake && *slot) {
                char make[kMaxMake + 1];
                snprintf(make, sizeof make, "%s", *slot);
                h->opti = strncmp(make, "OPTI", 4) == 0 ? 1 : 0;
            }
            break;
        }
        case kTagStripOffsets:
            CFree1(h->strip_offsets);
            h->strip_offsets = GetOffset(h, tag, type, n, value);
            h->strip_count = h->strip_offsets ? n : 0;
            break;
        case kTagByteCounts:
            CFree1(h->byte_counts);
            h->byte_counts = GetOffset(h, tag, type, n, value);
            h->byte_count_count = h->byte_counts ? n : 0;
            break;
        case kTagOrientation: h->orientation = v; break;
        case kTagSamples: h->samples = v; break;
        case kTagRowsPerStrip: h->rows_per_strip = v; break;
        case kTagMinSample: h->min_sample = v; break;
        case kTagMaxSample: h->max_sample = v; break;
        case kTagXResolution:
        case kTagYResolution: {
            uint32_t parts[2] = {0, 0};
            if (read_rational(tif, ifd, e, tag, parts) && parts[0] != 0 && parts[1] != 0)
                (tag == kTagXResolution ? h->x_resolution : h->y_resolution) = double(parts[0]) / parts[1];
            break;
        }
        case kTagPlanar: h->planar = v; break;
        case kTagGroup4: h->group4_options = v; break;
        case kTagResolutionUnit: h->resolution_unit = v; break;
        case kTagPredictor: h->predictor = v; break;
        case kTagColormap:
            CFree1(h->colormap);
            h->colormap = nullptr;
            h->colormap_count = 0;
            if (type == 3 && n > 2 && fits_file(n, 2, h->file_size)) {
                h->colormap = static_cast<uint16_t*>(CAllocate1(n, 2));
                if (h->colormap && tifReadData(tif, ifd, tag, 0, h->colormap, n, TIF_DATA_ITEMS, e) == 1)
                    h->colormap_count = n;
            }
            break;
        case kTagWorldText: {
            char* world = NewString(tif, ifd, e, tag, type, n, value, h->file_size);
            double a = 0, b = 0, c = 0, d = 0;
            // The first and fourth numbers are the pixel sizes.
            if (world && sscanf(world, "%lf%lf%lf%lf", &a, &b, &c, &d) == 4) {
                if (a != 0) h->x_resolution = 1.0 / (a < 0 ? -a : a);
                if (d != 0) h->y_resolution = 1.0 / (d < 0 ? -d : d);
            }
            CFree1(world);
            break;
        }
        case kTagModelScale:
            h->has_scale = read_doubles(tif, ifd, e, tag, type, n, n < 3 ? 2 : 3, h->scale, h->file_size);
            break;
        case kTagModelTiepoint:
            h->has_tiepoint = read_doubles(tif, ifd, e, tag, type, n, 6, h->tiepoint, h->file_size);
            break;
        case kTagModelMatrix:
            h->has_matrix = read_doubles(tif, ifd, e, tag, type, n, 16, h->matrix, h->file_size);
            break;
        default:
            if (tag >= kTagTileFirst && tag <= kTagTileLast) {
                user_warn("Can't handle TIFF 6.0 Tiled Images\n");
                return nullptr;
            }
            break;
        }
    }
    return ifd;
}

int TifChkTags(Image*, TifHeader* h) {
    char text[128];
    if (h->width == 0 || h->length == 0 || h->width > kMaxSide || h->length > kMaxSide || h->samples == 0 ||
        h->rows_per_strip == 0 || h->strip_count == 0)
        return -1;
    if (!h->byte_counts) {
        h->byte_counts = static_cast<uint32_t*>(CAllocate1(h->strip_count, sizeof(uint32_t)));
        if (!h->byte_counts) {
            user_warn("Unable to allocate memory for StripByteCount\n");
            return -1;
        }
        h->byte_count_count = h->strip_count;
        if (h->compression == 1 && h->strip_count == 1) {
            const uint64_t f = h->planar == 1 ? h->samples : 1;
            const uint64_t bytes = (uint64_t(h->width) * h->length * h->bits * f + 7) / 8;
            h->byte_counts[0] = bytes > UINT32_MAX ? UINT32_MAX : uint32_t(bytes);
        } else {
            for (uint32_t i = 0; i + 1 < h->strip_count; ++i)
                h->byte_counts[i] = h->strip_offsets[i + 1] > h->strip_offsets[i]
                                        ? h->strip_offsets[i + 1] - h->strip_offsets[i]
                                        : 0;
            const uint32_t last = h->strip_offsets[h->strip_count - 1];
            h->byte_counts[h->strip_count - 1] = last < h->file_size ? h->file_size - last : 0;
        }
    }
    if (h->strip_count == 1) {
        const uint32_t room = h->strip_offsets[0] < h->file_size ? h->file_size - h->strip_offsets[0] : 0;
        if (h->byte_counts[0] > room) h->byte_counts[0] = room;
        h->byte_count_count = 1;
    }
    if (h->photometric == 3 && !h->colormap) {
        user_warn("ColorMap is missing\n");
        return -1;
    }
    if (!((h->bits >= 1 && h->bits <= 8) || h->bits == 16 || h->bits == 24 || h->bits == 32)) {
        snprintf(text, sizeof text, "BitsPerSample = %u is not supported\n", h->bits);
        user_warn(text);
        return -1;
    }
    if (h->compression == 3) {
        user_warn("CCITT group 3 compression is not supported\n");
        return -1;
    }
    if (h->compression == 4) {
        user_warn("CCITT group 4 compression is not supported\n");
        return -1;
    }
    if (h->group4_options & ~2u) {
        snprintf(text, sizeof text, "Unknown CCITT group 4 options(%u)\n", h->group4_options);
        user_warn(text);
        return -1;
    }
    if (h->predictor != 1) {
        user_warn("Can't handle PREDICTION scheme\n");
        return -1;
    }
    if (h->orientation != 1) {
        snprintf(text, sizeof text, "Can't handle Orientation (%u)\n", h->orientation);
        user_warn(text);
        return -1;
    }
    if (h->rows_per_strip > h->length) h->rows_per_strip = h->length;
    if (h->opti && h->photometric == 1) h->photometric = 0;
    if (h->x_resolution == 0 && h->y_resolution == 0) h->x_resolution = h->y_resolution = 1.0;
    else if (h->x_resolution == 0) h->x_resolution = h->y_resolution;
    else if (h->y_resolution == 0) h->y_resolution = h->x_resolution;
    return 0;
}

// The largest strip, no larger than the file.
uint32_t MaxStripSize(const TifHeader* h) {
    uint32_t most = 0;
    for (uint32_t i = 0; i < h->byte_count_count; ++i)
        if (h->byte_counts[i] > most) most = h->byte_counts[i];
    return most < h->file_size ? most : h->file_size;
}

void TifGetInit(TifHeader* h, int nbands, int mode) {
    g_pos.current_byte = g_pos.current_cell = g_pos.current_row = 0;
    g_pos.current_strip = -1;
    g_pos.current_nbands = nbands;
    g_pos.hpTif = h->tif;
    g_pos.hpIfd = h->ifd;
    g_pos.hpHTif = h;
    g_pos.DBuf = nullptr;
    h->display_mode = mode;
}

// Gives back what a failed open took, so that nothing depends on a close.
int fail_open(Image* image) {
    TifHeader* h = header_of(image);
    if (h) {
        if (h->tif) tifExit(h->tif);
        TifBufferFree(h);
        LZWFree(&h->lzw);
        CFree1(h);
        image->driver = nullptr;
    }
    if (image->file) tarn_fclose(image->file);
    image->file = nullptr;
    CFree1(image->file_buffer);
    CFree1(image->file_buffer2);
    image->file_buffer = image->file_buffer2 = nullptr;
    if (g_pos.owner == image) g_pos = RowPosition();
    return -1;
}

// Open steps shared by both forms: the header, the file, its tags.
int open_common(Image* image, const char* path) {
    if (g_pos.owner) return -1;
    TifHeader* h = static_cast<TifHeader*>(CAllocate1(1, sizeof(TifHeader)));
    if (!h) return -1;
    initTOH(h);
    image->driver = h;
    image->type = kTiffType;
    image->file = tarn_fopen(path, "r");
    if (!image->file) return fail_open(image);
    h->file = image->file;
    h->file_size = CountEof(image->file);
    h->tif = tifOpen(image->file, kHostOrder, kVersion, 0, &h->tif_error);
    if (!h->tif || !TifGetTags(image, h) || TifChkTags(image, h) != 0) return fail_open(image);
    // A row of every sample (the channel's buffers hold that many values)
    // can't be more than PackBits makes of the whole file.
    const int64_t row_values = int64_t(h->width) * h->samples;
    if (row_values * ((h->bits + 7) / 8) > int64_t(h->file_size) * 256 + 4096) return fail_open(image);
    h->valid = 1;
    g_pos.owner = image;
    return 1;
}

int allocate_strip_buffers(Image* image, TifHeader* h, int planes) {
    // Strips are the file's bytes: room for a few files' worth is never needed.
    const int64_t first = int64_t(MaxStripSize(h)) * planes;
    if (first <= 0 || first >= kMaxBuffer || first > int64_t(h->file_size) * 4 + 4096) return -1;
    image->file_buffer = allocate_byte_buffer(long(first));
    if (!image->file_buffer) return -1;
    h->buffer_bytes = int32_t(first);
    if (h->compression == 1) return 1;
    // PackBits makes at most 64 bytes of two; the buffer holds every plane's
    // share of a row times the planes, so a few times that is allowed.
    const int64_t second = int64_t(planes) * image->row_bytes * h->rows_per_strip;
    if (second <= 0 || second >= kMaxBuffer || second > int64_t(h->file_size) * 256 + 4096) return -1;
    image->file_buffer2 = allocate_byte_buffer(long(second));
    if (!image->file_buffer2) return -1;
    h->buffer2_bytes = int32_t(second);
    if (h->compression == 5 && LZWBuffer(&h->lzw, int(second)) != 0) return -1;
    return 1;
}

// Bytes UnPackBits writes from `input` into room for `out_size`.
int packbits_written(const uint8_t* input, int in_size, int out_size) {
    long long out_left = out_size, in_left = in_size, written = 0;
    const uint8_t* p = input;
    const uint8_t* end = input + (in_size > 0 ? in_size : 0);
    while (in_left > 0) {
        const int control = static_cast<int8_t>(*p++);
        in_left -= 1;
        if (control == -128) continue;
        if (control < 0) {
            const int count = 1 - control;
            in_left -= 1;
            out_left -= count;
            if (out_left >= 0) {
                if (p >= end) break;
                ++p;
                written += count;
            }
        } else {
            const int count = control + 1;
            in_left -= count;
            out_left -= count;
            if (out_left >= 0) {
                const long long n = count > end - p ? end - p : count;
                p += n;
                written += n;
                if (n < count) break;
            }
        }
    }
    return int(written);
}

// One strip by index into `dest`, whose room is `room`: its bytes or -1.
int read_strip(TifHeader* h, uint32_t index, uint8_t* dest, int64_t room) {
    if (index >= h->strip_count || index >= h->byte_count_count) return -1;
    const uint32_t count = h->byte_counts[index];
    if (int64_t(count) > room) return -1;
    const int mode = h->strip_count == 1 ? TIF_DATA_BYTES : TIF_DATA_STRIP;
    const long got = tifReadData(h->tif, h->ifd, kTagStripOffsets, index, dest, count, mode, &h->tif_error);
    return got == long(count) ? int(count) : -1;
}

const uint8_t* reversed_bits() {
    static uint8_t table[256];
    static bool made = false;
    if (!made) {
        for (int i = 0; i < 256; ++i) {
            int r = 0;
            for (int b = 0; b < 8; ++b)
                if (i & (1 << b)) r |= 0x80 >> b;
            table[i] = uint8_t(r);
        }
        made = true;
    }
    return table;
}

// Where one row of the current strip starts in DBuf, and whether `need`
// bytes from there lie inside what was read or expanded.
bool row_in_data(const TifHeader* h, int64_t last_byte) {
    const int available = h->compression == 1 ? h->strip_bytes : h->expanded_bytes;
    return last_byte >= 0 && last_byte < available;
}

int run_unpack(Image* image) { return image->unpack && image->unpack(image) != -1 ? 0 : -1; }

int strip_row_common(Image* image, int row, bool expand) {
    TifHeader* h = header_of(image);
    if (!h || !h->valid || g_pos.owner != image || row < 0 || row >= image->rows) return -1;
    if (expand && row < g_pos.current_row) return -1;
    const int strip = int(uint32_t(row) / h->rows_per_strip);
    if (strip != g_pos.current_strip) {
        const int bytes = GetTifStrip(image, strip, h->all_bands);
        if (bytes < 0) return -1;
        h->strip_bytes = bytes;
        h->expanded_bytes = 0;
        if (expand) {
            if (h->compression == 5) {
                h->expanded_bytes = LZWExpand(&h->lzw, image->file_buffer, image->file_buffer2, bytes);
            } else {
                if (UnPackBits(h->buffer2_bytes, image->file_buffer, image->file_buffer2, bytes) == -1) return -1;
                h->expanded_bytes = packbits_written(image->file_buffer, bytes, h->buffer2_bytes);
            }
        }
        g_pos.current_strip = strip;
    }
    g_pos.current_row = row;
    g_pos.DBuf = expand ? image->file_buffer2 : image->file_buffer;
    return run_unpack(image);
}

// Bits of one row, most significant first, from a byte offset.
uint32_t bits_at(const uint8_t* row, int64_t bit, int size) {
    uint32_t v = 0;
    for (int i = 0; i < size; ++i, ++bit) v = (v << 1) | ((row[bit >> 3] >> (7 - (bit & 7))) & 1);
    return v;
}

// The start of the current row in DBuf for single-band opens, or -1 when the
// window's part of it does not lie inside the data.
int64_t single_row_start(Image* image) {
    const TifHeader* h = header_of(image);
    const int64_t row_in_strip = g_pos.current_row % int64_t(h->rows_per_strip);
    const int64_t start = row_in_strip * image->row_bytes;
    return row_in_data(h, start + image->row_bytes - 1) ? start : -1;
}

template <typename T>
int unpack_wide(Image* image, T* out, int bytes) {
    const TifHeader* h = header_of(image);
    const int64_t start = single_row_start(image);
    if (start < 0 || !out) return -1;
    const uint8_t* p = g_pos.DBuf + start;
    const bool big = h->tif_error.swap != 0;
    for (int i = 0; i < image->win_cols; ++i) {
        const uint8_t* s = p + int64_t(image->first_col + i) * bytes;
        uint32_t v = 0;
        for (int b = 0; b < bytes; ++b) v |= uint32_t(s[big ? b : bytes - 1 - b]) << (8 * (bytes - 1 - b));
        out[i] = T(v);
    }
    return 0;
}

}  // namespace

extern "C" {

void FillOrder(int count, uint8_t* buffer) {
    const uint8_t* table = reversed_bits();
    for (int i = 0; i < count; ++i) buffer[i] = table[buffer[i]];
}

int GetTifStrip(Image* image, int strip, int all_bands) {
    TifHeader* h = header_of(image);
    if (!h || strip < 0 || !image->file_buffer) return -1;
    const uint32_t per_plane = h->planar == 2 ? h->strip_count / h->samples : 0;
    int total = 0;
    auto take = [&](int64_t plane) {
        if (total < 0) return;
        const int64_t index = int64_t(per_plane) * plane + strip;
            const int got = index <= int64_t(UINT32_MAX)
                            ? read_strip(h, uint32_t(index), image->file_buffer + total, int64_t(h->buffer_bytes) - total)
                            : -1;
        total = got < 0 ? -1 : total + got;
    };
    if (!all_bands || per_plane == 0) {
        take(image->band);
    } else if (h->display_mode != 0) {
        take(image->red_band);
        take(image->green_band);
        take(image->blue_band);
    } else {
        for (uint32_t k = 0; k < h->samples; ++k) take(k);
    }
    if (total < 0) return -1;
    if (h->fill_order == 2) FillOrder(total, image->file_buffer);
    return total;
}

int Get_Tif_Standard_Row(Image* image, int row) { return strip_row_common(image, row, false); }
int Get_Tif_PackBits_Row(Image* image, int row) { return strip_row_common(image, row, true); }
int Get_Tif_5_Compressed_Row(Image* image, int row) { return strip_row_common(image, row, true); }
// No fax decoder is built: the 1-D and group 4 rows deliver nothing, group 3 fails.
int Get_Tif_2_Compressed_Row(Image*, int) { return 0; }
int Get_Tif_4_Compressed_Row(Image*, int) { return 0; }
int Get_Tif_3_Compressed_Row(Image*, int) { return -1; }

int Unpack_Tif_8Mult_Data(Image* image) {
    const TifHeader* h = header_of(image);
    if (!h || !g_pos.DBuf) return -1;
    const int64_t samples = h->samples, width = h->width;
    const int64_t step = h->planar == 1 ? samples : 1;
    const int64_t row_in_strip = g_pos.current_row % int64_t(h->rows_per_strip);
    const int64_t place = h->planar == 1 ? row_in_strip * image->row_bytes : row_in_strip * image->row_bytes / samples;
    int64_t offset[3];
    const int bands[3] = {image->red_band, image->green_band, image->blue_band};
    for (int k = 0; k < 3; ++k) offset[k] = h->planar == 1 ? bands[k] : k * int64_t(h->rows_per_strip) * width;
    const bool direct = image->direct_resampling && image->col_map;
    const int64_t last_col = image->first_col + int64_t(image->win_cols) - 1;
    for (int k = 0; k < 3; ++k) {
        if (image->first_col < 0 || offset[k] < 0 || !row_in_data(h, place + last_col * step + offset[k]))
            return -1;
        if (direct ? !image->mgrow[k] : !image->mrow8[k]) return -1;
    }
    const uint8_t* base = g_pos.DBuf + place;
    for (int k = 0; k < 3; ++k) {
        if (direct) {
            for (int i = 0; i < image->out_cols; ++i) {
                uint32_t column = uint32_t(image->col_map[i]);
                if (column >= uint32_t(image->win_cols)) column = uint32_t(image->win_cols - 1);
                image->mgrow[k][i] = base[(image->first_col + int64_t(column)) * step + offset[k]];
            }
        } else {
            for (int i = 0; i < image->win_cols; ++i)
                image->mrow8[k][i] = base[(image->first_col + int64_t(i)) * step + offset[k]];
        }
    }
    return 0;
}

int Unpack_Tif_0xBit_Data(Image* image) {
    const TifHeader* h = header_of(image);
    const int64_t start = h && g_pos.DBuf ? single_row_start(image) : -1;
    if (start < 0 || !image->row8) return -1;
    const int size = int(h->bits);
    for (int i = 0; i < image->win_cols; ++i)
        image->row8[i] = uint8_t(bits_at(g_pos.DBuf + start, int64_t(image->first_col + i) * size, size));
    return 0;
}

int Unpack_Tif_08Bit_Data(Image* image) {
    const int64_t start = header_of(image) && g_pos.DBuf ? single_row_start(image) : -1;
    if (start < 0 || !image->row8) return -1;
    memcpy(image->row8, g_pos.DBuf + start + image->first_col, size_t(image->win_cols));
    return 0;
}

int Unpack_Tif_16Bit_Data(Image* image) {
    return header_of(image) && g_pos.DBuf ? unpack_wide(image, image->row16, 2) : -1;
}
int Unpack_Tif_24Bit_Data(Image* image) {
    return header_of(image) && g_pos.DBuf ? unpack_wide(image, image->row32, 3) : -1;
}
int Unpack_Tif_32Bit_Data(Image* image) {
    return header_of(image) && g_pos.DBuf ? unpack_wide(image, image->row32, 4) : -1;
}

int open_multi_TIFF(Image* image, const char* path, int red, int green, int blue, int mode) {
    if (open_common(image, path) == -1) return -1;
    TifHeader* h = header_of(image);
    const int64_t samples = h->samples;
    if (red < 1 || green < 1 || blue < 1 || red > samples || green > samples || blue > samples)
        return fail_open(image);
    const int64_t row_bytes = (int64_t(h->width) * h->bits * samples + 7) / 8;
    if (row_bytes >= kMaxBuffer) return fail_open(image);
    image->depth = int(h->bits);
    image->rows = int(h->length);
    image->columns = int(h->width);
    image->nbands = int(samples);
    image->row_bytes = int(row_bytes);
    image->band = 0;
    image->red_band = red - 1;
    image->green_band = green - 1;
    image->blue_band = blue - 1;
    const int planes = h->planar != 1 ? 3 : 1;
    h->all_bands = 1;
    char text[96];
    switch (h->compression) {
    case 1:
        image->get_row = Get_Tif_Standard_Row;
        break;
    case 5:
        if (!TarnImage_HasLZW()) {
            user_warn("LZW compression is not supported\n");
            return fail_open(image);
        }
        image->get_row = Get_Tif_5_Compressed_Row;
        break;
    case 32773:
        image->get_row = Get_Tif_PackBits_Row;
        break;
    default:
        snprintf(text, sizeof text, "Compression %u is not supported\n", h->compression);
        user_warn(text);
        return fail_open(image);
    }
    if (allocate_strip_buffers(image, h, planes) != 1) return fail_open(image);
    if (image->depth != 8) {
        snprintf(text, sizeof text, "True color image with depth %d is not supported\n", image->depth);
        user_warn(text);
        return fail_open(image);
    }
    image->unpack = Unpack_Tif_8Mult_Data;
    for (int k = 0; k < 3; ++k) image->colormap.band_step[k] = 0;
    image->colormap.gray_step = 0;
    image->colormap.ncolors = 0;
    TifGetInit(h, 3, mode);
    return 1;
}

int open_TIFF(Image* image, const char* path, int band, int mode) {
    if (open_common(image, path) == -1) return -1;
    TifHeader* h = header_of(image);
    char text[160];
    if (band < 0 || uint32_t(band) > h->samples) {
        snprintf(text, sizeof text, "Invalid band number, %s has %u band(s)\n", path, h->samples);
        user_warn(text);
        return fail_open(image);
    }
    const int64_t row_bytes = (int64_t(h->width) * h->bits * (h->planar == 1 ? h->samples : 1) + 7) / 8;
    if (row_bytes >= kMaxBuffer) return fail_open(image);
    image->depth = int(h->bits);
    image->rows = int(h->length);
    image->columns = int(h->width);
    image->nbands = int(h->samples);
    image->row_bytes = int(row_bytes);
    image->band = band == 0 ? 0 : band - 1;
    // A pixel-interleaved file of several samples is read through the first.
    const int planes = mode == 0 && h->planar != 1 ? int(h->samples) : 1;
    h->all_bands = planes > 1;
    switch (h->compression) {
    case 1: image->get_row = Get_Tif_Standard_Row; break;
    case 2: image->get_row = Get_Tif_2_Compressed_Row; break;
    case 3: image->get_row = Get_Tif_3_Compressed_Row; break;
    case 4:
        image->get_row = h->group4_options & 2 ? Get_Tif_3_Compressed_Row : Get_Tif_4_Compressed_Row;
        break;
    case 5: image->get_row = Get_Tif_5_Compressed_Row; break;
    case 32773: image->get_row = Get_Tif_PackBits_Row; break;
    default:
        snprintf(text, sizeof text, "Unknown compression(%u)\n", h->compression);
        user_warn(text);
        return fail_open(image);
    }
    if (allocate_strip_buffers(image, h, planes) != 1) return fail_open(image);
    switch (h->bits) {
    case 8: image->unpack = Unpack_Tif_08Bit_Data; break;
    case 16: image->unpack = Unpack_Tif_16Bit_Data; break;
    case 24: image->unpack = Unpack_Tif_24Bit_Data; break;
    case 32: image->unpack = Unpack_Tif_32Bit_Data; break;
    default:
        if (h->bits > 8) {
            snprintf(text, sizeof text, "Tiff %u bit data not supported\n", h->bits);
            user_warn(text);
            return fail_open(image);
        }
        image->unpack = Unpack_Tif_0xBit_Data;
        break;
    }
    TifGetInit(h, 1, mode);
    return 1;
}

int close_TIFF(Image* image) {
    TifHeader* h = header_of(image);
    if (h) {
        // The tag library closes the file; the record's handle is that file.
        if (h->tif) tifClose(h->tif, 1, &h->tif_error);
        else if (image->file) tarn_fclose(image->file);
        h->tif = nullptr;
        h->ifd = nullptr;
        TifBufferFree(h);
        LZWFree(&h->lzw);
        h->valid = 0;
    } else if (image->file) {
        tarn_fclose(image->file);
    }
    image->file = nullptr;
    if (g_pos.owner == image) g_pos = RowPosition();
    return 0;
}

int rdhdr_TIFF(Image* image, TifHeader* header_out) {
    TifHeader* h = header_of(image);
    if (!h || !h->valid) return -1;
    if (header_out) *header_out = *h;
    return 0;
}

int clrrd_TIFF_hdr(Image* image) {
    if (image->driver) header_of(image)->valid = 0;
    return 1;
}

// Run rows of 1-bit fax strips: no fax decoder is built.
static int Get_Tif_Compressed_Runs(Image*, int, int, int, int) { return -1; }

int isok_runio_TIFF(Image* image) {
    const TifHeader* h = header_of(image);
    return h && h->bits == 1 && h->samples == 1 && (h->compression == 2 || h->compression == 4) ? 1 : 0;
}

int setup_runio_TIFF(Image* image) {
    if (!isok_runio_TIFF(image)) return -1;
    image->get_row_runs = Get_Tif_Compressed_Runs;
    image->unpack = nullptr;
    return 1;
}

}  // extern "C"

// Property readers and the georeference: the first IFD of a file opened for
// the one question.
namespace {

struct TagFile {
    FILE* file = nullptr;
    TifFile* tif = nullptr;
    TifIfd* ifd = nullptr;
    TifError error = {0, 0, 0};
    uint32_t size = 0;
    explicit TagFile(const char* name) {
        file = name ? tarn_fopen(name, "r") : nullptr;
        if (!file) return;
        size = CountEof(file);
        tif = tifOpen(file, kHostOrder, kVersion, 0, &error);
        int count = 0;
        if (tif) ifd = tifReadIFD(tif, &count, &error);
    }
    ~TagFile() {
        if (tif) tifClose(tif, 0, &error);
        if (file) tarn_fclose(file);
    }
    TagFile(const TagFile&) = delete;
    TagFile& operator=(const TagFile&) = delete;
    bool ok() const { return ifd != nullptr; }
    int type_of(int tag) const {
        for (int i = 0; i < ifd->count; ++i)
            if (ifd->tags[i].tag == tag) return ifd->tags[i].type;
        return 0;
    }
    // A one-value integer tag, or `fallback` when absent.
    uint32_t value(int tag, uint32_t fallback) {
        uint32_t count = 0, v = 0;
        if (!tifReadTag(tif, ifd, tag, &count, &v, &error)) return fallback;
        if (count <= 1) return scalar(error, type_of(tag), v);
        // Several SHORTs (bits per sample): the first.
        if (type_of(tag) == 3) {
            uint8_t b[4];
            field_bytes(error, v, b);
            if (count == 2) return error.swap ? read_be16(b) : read_le16(b);
            uint16_t first = 0;
            tifReadData(tif, ifd, tag, 0, &first, 1, TIF_DATA_ITEMS, &error);
            return first;
        }
        return v;
    }
    bool has(int tag) { return tifReadTag(tif, ifd, tag, nullptr, nullptr, &error) == 1; }
    uint32_t count(int tag) {
        uint32_t n = 0, v = 0;
        return tifReadTag(tif, ifd, tag, &n, &v, &error) ? n : 0;
    }
};

// The tag-library reading of the GeoTIFF tags; each GetFrom answers 0 when
// its tags gave the terms, -1 when they are absent.
double MapUnitFactor(int) { return 1.0; }

int GeoKeyTagExist(TagFile& f) { return f.has(kTagGeoKeys) ? 1 : 0; }

// With a key directory the raster is taken as pixel-is-area unless key 1025 says 2.
int GetGeoKeyAreaPoint(TagFile& f, int* out) {
    *out = 0;
    if (!GeoKeyTagExist(f)) return 0;
    *out = 1;
    const uint32_t count = f.count(kTagGeoKeys);
    if (f.type_of(kTagGeoKeys) != 3 || count <= 4 || !fits_file(count, 2, f.size)) return *out;
    uint16_t* words = static_cast<uint16_t*>(CAllocate1(count, 2));
    if (!words) return *out;
    tifReadData(f.tif, f.ifd, kTagGeoKeys, 0, words, count, TIF_DATA_ITEMS, &f.error);
    for (uint32_t i = 4; i + 3 < count; i += 4)
        if (words[i] == kGeoRasterTypeKey) {
            *out = words[i + 3] == 2 ? 2 : 1;
            break;
        }
    CFree1(words);
    return *out;
}

void UpdateTransfRasterSpace(TagFile& f, double* t) {
    int raster_type = 0;
    GetGeoKeyAreaPoint(f, &raster_type);
    geo_terms_to_centre(raster_type, t);
}

int GetFromWorld(TagFile& f, double* t) {
    uint32_t count = 0, value = 0;
    if (!tifReadTag(f.tif, f.ifd, kTagWorldText, &count, &value, &f.error)) return -1;
    char* text =
        NewString(f.tif, f.ifd, &f.error, kTagWorldText, f.type_of(kTagWorldText), count, value, f.size);
    if (!text) return -1;
    sscanf(text, "%lf%lf%lf%lf%lf%lf", &t[0], &t[1], &t[2], &t[3], &t[4], &t[5]);
    CFree1(text);
    return 0;
}

int GetFromModel(TagFile& f, double* t) {
    double m[16], p[6], s[3];
    const int scale_type = f.type_of(kTagModelScale);
    const bool has_scale = read_doubles(f.tif, f.ifd, &f.error, kTagModelScale, scale_type,
                                        f.count(kTagModelScale), 2, s, f.size);
    if (read_doubles(f.tif, f.ifd, &f.error, kTagModelMatrix, f.type_of(kTagModelMatrix),
                     f.count(kTagModelMatrix), 16, m, f.size)) {
        geo_terms_from_matrix(m, t);
    } else if (read_doubles(f.tif, f.ifd, &f.error, kTagModelTiepoint, f.type_of(kTagModelTiepoint),
                            f.count(kTagModelTiepoint), 6, p, f.size)) {
        geo_terms_from_tiepoint(p, has_scale ? s : nullptr, t);
    } else if (has_scale) {
        geo_terms_from_scale(s, t);
    } else {
        return -1;
    }
    UpdateTransfRasterSpace(f, t);
    return 0;
}

int GetFromPosition(TagFile& f, double* t) {
    const double factor = MapUnitFactor(int(f.value(kTagResolutionUnit, 2)));
    uint32_t parts[2];
    for (int k = 0; k < 2; ++k) {
        const int tag = k == 0 ? kTagXPosition : kTagYPosition;
        double& place = t[4 + k];
        place = 0;
        parts[0] = parts[1] = 0;
        if (read_rational(f.tif, f.ifd, &f.error, tag, parts) && parts[1] != 0)
            place = double(int32_t(parts[0])) / double(int32_t(parts[1]));
    }
    for (int k = 0; k < 2; ++k) {
        const int tag = k == 0 ? kTagXResolution : kTagYResolution;
        double& size = t[k == 0 ? 0 : 3];
        size = 0;
        parts[0] = parts[1] = 0;
        if (read_rational(f.tif, f.ifd, &f.error, tag, parts) && parts[0] != 0 && parts[1] != 0)
            size = double(uint64_t(parts[1])) / double(uint64_t(parts[0]));
    }
    const long long length = f.has(kTagLength) ? (long long)f.value(kTagLength, 0) : -1;
    geo_terms_from_position(t, factor, length);
    UpdateTransfRasterSpace(f, t);
    return 0;
}

}  // namespace

extern "C" {

int get_TIFF_depth(const char* name, int* depth) {
    TagFile f(name);
    if (!f.ok()) return -1;
    *depth = int(f.value(kTagBits, 1));
    return 1;
}

int read_TIFF_extent(const char* name, int* rows, int* columns) {
    TagFile f(name);
    if (!f.ok()) return -1;
    *rows = int(f.value(kTagLength, 0));
    *columns = int(f.value(kTagWidth, 0));
    return 1;
}

int read_TIFF_nbands(const char* name, int* bands) {
    TagFile f(name);
    if (!f.ok()) return -1;
    *bands = int(f.value(kTagSamples, 1));
    return 1;
}

int is_TIFF_LZW(const char* name) {
    TagFile f(name);
    if (!f.ok()) return -1;
    return f.value(kTagCompression, 1) == 5 ? 1 : 0;
}

int read_TIFF_header_trans(const char* name, int, double* transform) {
    TagFile f(name);
    if (!f.ok()) return -1;
    if (GetFromWorld(f, transform) < 0 && GetFromModel(f, transform) < 0) GetFromPosition(f, transform);
    return 1;
}

// The two words are compared in file order on this little-endian host, so
// "MM" files carry 42 as 0x2A00.
int check_format_TIFF(FILE* fp) {
    uint8_t head[4];
    if (!fp || tarn_fseek(fp, 0, SEEK_SET) != 0 || tarn_fread(head, 1, sizeof head, fp) != sizeof head) return 0;
    const uint16_t order = read_le16(head);
    const uint16_t magic = read_le16(head + 2);
    return (order == 0x4949 || order == 0x4D4D) && (magic == 42 || magic == 0x2A00) ? 1 : 0;
}

}  // extern "C"

int extend_and_check_if_TIFF(const std::string&, std::string&) { return 0; }

// Identification never gives this code: a TIFF on disk goes to the registered
// TIFF driver. Only an explicit open with the code reaches it.
extern const ImageDriver driver_TIFF = {
    .type = kTiffType, .keyword = "TIFF", .description = "TIFF strips, three bands",
    .flags = DRIVER_RESAMPLES_ROWS | DRIVER_RESAMPLES_MULTI_ROWS | DRIVER_UNPLACED,
    .suffixes = {".tif"}, .open_multi = open_three_bands<open_multi_TIFF>, .close = close_TIFF,
    .close_multi = close_TIFF, .clear_header = clrrd_TIFF_hdr,
    .read_extent = extent_by_name<read_TIFF_extent>, .read_nbands = value_by_name<read_TIFF_nbands>,
    .get_depth = value_by_name<get_TIFF_depth>, .read_header_trans = read_TIFF_header_trans,
    .setup_runio = setup_runio_TIFF, .isok_runio = isok_runio_TIFF,
};
