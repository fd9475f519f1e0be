// NITF: the first image segment of a NITF 2.0 file that isn't a CADRG or CIB
// frame, registered as "NITF".
//
// Layout of the image data (header and subheaders: nitf_file.h), blocks in
// row-major order, NBPP bits a sample, most significant bit first:
//   IMODE B   each block holds band 1's NPPBV rows of NPPBH samples, then band 2's, ...
//   IMODE P   each block holds pixels, the NBANDS samples of a pixel together
//   IMODE S   all blocks of band 1, then all of band 2, ...
//   IC NM     the image data mask first; blocks at the offsets it records
//   IC C3/M3  JPEG streams, one per block (nitf_jpeg.h)
// Edge blocks are padded to the full block size; what lies past NCOLS and
// NROWS is never delivered.

#include "drivers/military/nitf.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <tarnimage/tarn_file.h>

#include "drivers/military/nitf_file.h"
#include "drivers/military/nitf_jpeg.h"
#include "platform/byteorder.h"
#include "udf/registered_drivers.h"

static RegisteredState state_NITF = {0, 0};

namespace {

const int32_t kMaxSide = 1 << 24;

struct NITFState {
    NITFFile file;
    NITFImageSubHeader subheader;
    int nselected;
    int columns;
    int select[NITF_MAX_BANDS];  // zero-based band (or lookup table) per plane
    JPEGRowState jpeg;
    char* path;
    int lut;         // one band through three lookup tables
    int jpeg_image;  // IC C3 or M3
    int blocked;     // more than one block
    int element;     // bytes of a sample: 1 or 2
    long data_start, data_end;
    NITFImageDataMask mask;
    NITFDecodedImage* decoded;
    uint8_t* scratch;  // one plane, for the lookup tables
    uint8_t* span;     // bytes of one block's row
    size_t span_size;
};

bool starts(const char* text, const char* prefix) { return strncmp(text, prefix, strlen(prefix)) == 0; }
bool ic_is(const NITFImageSubHeader& s, const char* code) { return strncmp(s.IC, code, 2) == 0; }

void release(NITFState* s) {
    if (!s) return;
    JPEGclose(&s->subheader, &s->jpeg);
    NITF_FreeImageDataMaskHeader(&s->mask);
    NITF_FreeImageSubHeader(&s->subheader);
    NITF_CloseFile(&s->file);
    free(s->path);
    free(s->scratch);
    free(s->span);
    free(s);
}

double dmsdd(double ddmmss) {
    const double degrees = trunc(ddmmss / 10000.0);
    const double rest = ddmmss - degrees * 10000.0;
    const double minutes = trunc(rest / 100.0);
    const double seconds = rest - minutes * 100.0;
    return degrees + minutes / 60.0 + seconds / 3600.0;
}

// Corners 1 (upper left) and 3 (lower right) of IGEOLO; the pole rows mix them.
void georeference(const NITFImageSubHeader& sub, UDFHeader* h) {
    h->origin_x = 0.0, h->origin_y = 0.0, h->pixel_x = 1.0, h->pixel_y = 1.0;
    if (sub.ICORDS != 'G' && sub.ICORDS != 'C') return;
    int lat1, lon1, lat3, lon3;
    char h1, h2, h3, h4;
    if (sscanf(sub.IGEOLO, "%6d%c%7d%c%*6d%*c%*7d%*c%6d%c%7d%c", &lat1, &h1, &lon1, &h2, &lat3, &h3, &lon3, &h4) !=
        8)
        return;
    double la1 = dmsdd(lat1), lo1 = dmsdd(lon1), la3 = dmsdd(lat3), lo3 = dmsdd(lon3);
    if (h1 == 'S') la1 = -la1;
    if (h2 == 'W') lo1 = -lo1;
    if (h3 == 'S') la3 = -la3;
    if (h4 == 'W') lo3 = -lo3;
    const double K = 111217.77777777778, rad = 0.017453292519943;
    double x1 = lo1, y1 = la1, x3 = lo3, y3 = la3;
    if (la3 > 80) {
        x1 = (90 - la1) * -K * cos(lo3 * rad);
        y1 = (90 - la3) * K * sin(lo1 * rad);
        x3 = (90 - la3) * -K * cos(lo1 * rad);
        y3 = (90 - la1) * K * sin(lo3 * rad);
    } else if (la1 < -80) {
        x1 = (la1 + 90) * K * cos(lo3 * rad);
        y1 = (la3 + 90) * K * sin(lo1 * rad);
        x3 = (la3 + 90) * K * cos(lo1 * rad);
        y3 = (la1 + 90) * K * sin(lo3 * rad);
    }
    h->origin_x = x1;
    h->origin_y = y1;
    h->pixel_x = (x3 - x1) / sub.NCOLS;
    h->pixel_y = (y1 - y3) / sub.NROWS;
}

// Sizes the rows and blocks can be read with; false refuses the image.
bool plausible(NITFState* s) {
    NITFImageSubHeader& h = s->subheader;
    if (h.NROWS < 1 || h.NCOLS < 1 || h.NROWS > kMaxSide || h.NCOLS > kMaxSide) return false;
    if (h.NBPR < 1 || h.NBPC < 1 || h.NPPBH < 0 || h.NPPBV < 0) return false;
    // A single block may leave its size at 0.
    if (h.NPPBH == 0 && h.NBPR == 1) h.NPPBH = h.NCOLS;
    if (h.NPPBV == 0 && h.NBPC == 1) h.NPPBV = h.NROWS;
    if (h.NPPBH < 1 || h.NPPBV < 1) return false;
    if (static_cast<long long>(h.NBPR) * h.NPPBH < h.NCOLS || static_cast<long long>(h.NBPC) * h.NPPBV < h.NROWS)
        return false;
    // Even masked and JPEG images need some data for their pixels; a header
    // that claims far more pixels than the file could hold is refused.
    if (static_cast<long long>(h.NROWS) * h.NCOLS > static_cast<long long>(s->file.FL) * 1024) return false;
    s->data_start = static_cast<long>(CalcFileOffset(NITF_IMAGE_SEGMENT, 0, &s->file)) + s->file.LISH[0];
    s->data_end = s->data_start + s->file.LI[0];
    if (ic_is(h, "NC") && h.NBPP >= 1 && h.NBPP <= 16) {
        const long long bits = static_cast<long long>(h.NBPR) * h.NBPC * h.NPPBH * h.NPPBV * h.NBANDS * h.NBPP;
        if ((bits + 7) / 8 > s->file.LI[0]) return false;
    }
    return true;
}

// Reads `bits` bits from bit `start` of the image data into s->span.
bool read_bits(NITFState* s, long long start, long long bits) {
    const long long first = start / 8, last = (start + bits + 7) / 8;
    const size_t n = static_cast<size_t>(last - first);
    if (s->data_start + last > s->data_end) return false;
    if (n > s->span_size) {
        uint8_t* grown = static_cast<uint8_t*>(realloc(s->span, n));
        if (!grown) return false;
        s->span = grown;
        s->span_size = n;
    }
    return tarn_fseek(s->file.file, static_cast<long>(s->data_start + first), SEEK_SET) == 0 &&
           tarn_fread(s->span, 1, n, s->file.file) == n;
}

uint32_t sample_at(const uint8_t* span, long long bit, int nbpp) {
    if (nbpp == 8) return span[bit >> 3];
    if (nbpp == 16 && (bit & 7) == 0) return read_be16(span + (bit >> 3));
    uint32_t v = 0;
    for (int i = 0; i < nbpp; ++i, ++bit) v = (v << 1) | ((span[bit >> 3] >> (7 - (bit & 7))) & 1u);
    return v;
}

// One plane of row `row`: band `band`'s samples into `out` (NCOLS elements).
int read_uncompressed_plane(NITFState* s, int band, int row, uint8_t* out) {
    const NITFImageSubHeader& h = s->subheader;
    const long long bpp = h.NBPP, block_pixels = static_cast<long long>(h.NPPBH) * h.NPPBV;
    const long long band_bits = block_pixels * bpp, block_bits = band_bits * h.NBANDS;
    const int br = row / h.NPPBV, yi = row % h.NPPBV;
    const bool masked = ic_is(h, "NM");
    const char mode = h.IMODE;
    for (int bc = 0; bc < h.NBPR; ++bc) {
        const int x0 = bc * h.NPPBH;
        if (x0 >= h.NCOLS) break;
        const int n = h.NCOLS - x0 < h.NPPBH ? h.NCOLS - x0 : h.NPPBH;
        const long long block = static_cast<long long>(br) * h.NBPR + bc;
        long long start, stride = bpp, within;
        if (mode == 'B')
            within = band * band_bits + static_cast<long long>(yi) * h.NPPBH * bpp;
        else if (mode == 'P')
            within = (static_cast<long long>(yi) * h.NPPBH * h.NBANDS + band) * bpp, stride = bpp * h.NBANDS;
        else if (mode == 'S')
            within = static_cast<long long>(yi) * h.NPPBH * bpp;
        else
            return -1;
        if (masked) {
            const uint32_t* table = s->mask.BMR[mode == 'S' ? band : 0];
            const uint32_t at = table ? table[block] : NITF_BLOCK_ABSENT;
            if (at == NITF_BLOCK_ABSENT) {  // absent blocks read as zeros
                memset(out + static_cast<size_t>(x0) * s->element, 0, static_cast<size_t>(n) * s->element);
                continue;
            }
            start = (static_cast<long long>(s->mask.IMDATOFF) + at) * 8 + within;
        } else if (mode == 'S') {
            start = (band * static_cast<long long>(h.NBPR) * h.NBPC + block) * band_bits + within;
        } else {
            start = block * block_bits + within;
        }
        if (!read_bits(s, start, (n - 1) * stride + bpp)) return -1;
        const long long base = start & 7;
        for (int i = 0; i < n; ++i) {
            const uint32_t v = sample_at(s->span, base + i * stride, h.NBPP);
            if (s->element == 1)
                out[x0 + i] = static_cast<uint8_t>(v);
            else
                reinterpret_cast<uint16_t*>(out)[x0 + i] = static_cast<uint16_t>(v);
        }
    }
    return 0;
}

// The source planes of the row: the selected bands, or band 0 for the tables.
int read_source(NITFState* s, int row, uint8_t* out, const int* select, int planes) {
    const NITFImageSubHeader& h = s->subheader;
    const size_t plane = static_cast<size_t>(h.NCOLS) * s->element;
    if (s->jpeg_image) {
        if (h.NBPP != 8) return -1;
        if (s->blocked) {
            if (!s->decoded) s->decoded = ReadBlockedJPEG(s->path, &s->file, &s->subheader, select, planes);
            return GetRowFromFile(s->decoded, row, out);
        }
        // One stream, read forward; a row behind the decoder starts it again.
        const bool behind = s->jpeg.initialised && static_cast<long>(s->jpeg.cinfo.output_scanline) > row + 1;
        if (!s->jpeg.initialised || behind || s->jpeg.failed) {
            long offset = s->data_start, limit = s->file.LI[0];
            if (ic_is(h, "M3")) {
                if (!s->mask.BMR[0] || s->mask.BMR[0][0] == NITF_BLOCK_ABSENT) {
                    memset(out, 0, plane * planes);
                    return 0;
                }
                offset += static_cast<long>(s->mask.IMDATOFF) + static_cast<long>(s->mask.BMR[0][0]);
                limit = s->data_end - offset;
                if (limit <= 0) return -1;
            }
            if (s->jpeg.failed) return -1;
            if (JPEGinitAt(&s->file, &s->subheader, offset, limit, &s->jpeg) != 0) return -1;
        }
        return GetJPEGRow(&s->file, &s->subheader, select, planes, row + 1, out, h.NCOLS, &s->jpeg);
    }
    if (!ic_is(h, "NC") && !ic_is(h, "NM")) return -1;  // C0-C4, M0, M4 and unknown codes
    if (h.NBPP < 1 || h.NBPP > 16) return -1;
    for (int k = 0; k < planes; ++k)
        if (read_uncompressed_plane(s, select[k], row, out + k * plane) != 0) return -1;
    return 0;
}

}  // namespace

extern "C" {

int NITF_exist(const char* name, char* out_path, FILE* fp) {
    if (!name || !out_path) return 0;
    if (out_path != name) strcpy(out_path, name);
    FILE* own = nullptr;
    if (!fp) {
        char* tried = static_cast<char*>(malloc(strlen(name) + 5));
        if (!tried) return 0;
        for (const char* suffix : {".ntf", ".NTF"}) {
            strcpy(tried, name);
            strcat(tried, suffix);
            if ((own = tarn_fopen(tried, "rb")) != nullptr) {
                strcpy(out_path, tried);
                break;
            }
        }
        free(tried);
        if (!own) return 0;
    }
    FILE* handle = fp ? fp : own;
    char magic[4];
    int accepted = 0;
    if (tarn_fread(magic, 1, 4, handle) == 4 && memcmp(magic, "NITF", 4) == 0) {
        NITFFile file;
        memset(&file, 0, sizeof file);
        file.file = handle;
        NITFImageSubHeader sub;
        NITF_InitImageSubHeader(&sub);
        if (NITF_OpenFile(out_path, "rb", &file) == 0) {
            if (NITF_ReadImageSubHeader(0, &file, &sub) == 0)
                accepted = memcmp(file.FHDR, "NITF02.00", 9) == 0 && !starts(sub.IID, "CIB") &&
                           !starts(sub.IID, "CADRG");
            NITF_FreeImageSubHeader(&sub);
            file.file = nullptr;  // the handle is the caller's or closed below
            NITF_CloseFile(&file);
        }
    }
    if (own) tarn_fclose(own);
    return accepted ? static_cast<int>(state_NITF.type) : 0;
}

int NITF_open(const char* name, int band, int red, int green, int blue, UDFHeader* header) {
    if (!name || !header) return -1;
    NITFState* s = static_cast<NITFState*>(calloc(1, sizeof(NITFState)));
    if (!s) return -1;
    NITF_InitImageDataMaskHeader(&s->mask);
    if (NITF_OpenFile(name, "rb", &s->file) != 0) {
        free(s);
        return -1;
    }
    UDFinitial(header);
    NITFImageSubHeader& h = s->subheader;
    s->path = strdup(name);
    if (!s->path || NITF_ReadImageSubHeader(0, &s->file, &h) != 0 || !plausible(s)) {
        release(s);
        return -1;
    }
    s->lut = h.NBANDS == 1 && h.NLUTS[0] == 3 && starts(h.IREP, "RGB/LUT");
    const int nbands = (h.NBANDS == 1 && starts(h.IREP, "RGB/LUT")) ? 3 : h.NBANDS;
    if (band > 0) {
        s->nselected = 1;
        s->select[0] = band - 1;
    } else if (red && green && blue) {
        s->nselected = 3;
        s->select[0] = red - 1, s->select[1] = green - 1, s->select[2] = blue - 1;
    } else {
        // The file's own bands, in file order.
        s->nselected = nbands;
        for (int k = 0; k < nbands; ++k) s->select[k] = k;
    }
    for (int k = 0; k < s->nselected; ++k)
        if (s->select[k] < 0 || s->select[k] >= nbands || (s->lut ? s->select[k] > 2 : false)) s->nselected = 0;
    if (starts(h.IREP, "RGB/LUT") && h.NBANDS == 1 && !s->lut) s->nselected = 0;  // tables missing
    s->columns = h.NCOLS;
    s->element = h.NBPP > 8 ? 2 : 1;
    s->jpeg_image = ic_is(h, "C3") || ic_is(h, "M3");
    s->blocked = h.NBPR > 1 || h.NBPC > 1;
    if (s->jpeg_image && h.NBPP == 12) {
        release(s);
        return -1;
    }
    if (NITF_ImageIsBlocked(&h) && (!s->jpeg_image || !s->blocked) &&
        NITF_ReadImageDataMaskHeader(0, &s->file, &h, &s->mask) != 0) {
        release(s);
        return -1;
    }
    if (s->lut) {
        s->scratch = static_cast<uint8_t*>(calloc(static_cast<size_t>(h.NCOLS), static_cast<size_t>(s->element)));
        if (!s->scratch) {
            release(s);
            return -1;
        }
    }
    header->type = state_NITF.type;
    header->depth = h.NBPP <= 8 ? 8 : (h.NBPP <= 16 ? 16 : 0);
    header->rows = h.NROWS;
    header->columns = h.NCOLS;
    header->nbands = nbands;
    georeference(h, header);
    header->priv = s;
    return 0;
}

int NITF_getrow(int row, void* buffer, UDFHeader* header) {
    NITFState* s = header ? static_cast<NITFState*>(header->priv) : nullptr;
    if (!s || !buffer) return -1;
    const NITFImageSubHeader& h = s->subheader;
    if (row < 0 || row >= h.NROWS) return -1;
    if (s->nselected == 0) return 0;  // nothing asked for that the file has
    uint8_t* out = static_cast<uint8_t*>(buffer);
    const size_t columns = static_cast<size_t>(h.NCOLS);
    if (s->lut) {
        const int zero[1] = {0};
        if (read_source(s, row, s->scratch, zero, 1) != 0) return -1;
        const int entries = h.NELUT[0];
        for (int k = 0; k < s->nselected; ++k) {
            const uint8_t* table = h.LUTD[0] + static_cast<size_t>(s->select[k]) * static_cast<size_t>(entries);
            for (size_t i = 0; i < columns; ++i) {
                const uint32_t v = s->element == 1 ? s->scratch[i] : reinterpret_cast<uint16_t*>(s->scratch)[i];
                const uint8_t c = v < static_cast<uint32_t>(entries) ? table[v] : 0;
                if (s->element == 1)
                    out[k * columns + i] = c;
                else
                    reinterpret_cast<uint16_t*>(out)[k * columns + i] = c;
            }
        }
    } else if (read_source(s, row, out, s->select, s->nselected) != 0) {
        return -1;
    }
    // Deep samples come down to 8 bits.
    if (h.ABPP > 8 && h.ABPP <= 16 && s->element == 2) {
        const int divisor = 1 << (h.ABPP - 8);
        int16_t* v = reinterpret_cast<int16_t*>(out);
        const size_t n = columns * static_cast<size_t>(s->nselected);
        for (size_t i = 0; i < n; ++i) v[i] = static_cast<int16_t>(v[i] / divisor);
    }
    return 0;
}

int NITF_close(UDFHeader* header) {
    if (!header) return 0;
    release(static_cast<NITFState*>(header->priv));
    header->priv = nullptr;
    return 0;
}

}  // extern "C"

// UDF_LibCanExit does not ask this driver; its answer would be 1 like all the others.
extern const RegisteredDriver registered_NITF = {
    NITF_exist, NITF_open, NITF_close, NITF_getrow,
    "NITF", "ntf", "NITF (*.ntf)", "*.ntf",
    START_COUNTED, false, nullptr, nullptr, &state_NITF,
    false, NITF_ReleaseDecodedImages,
};
