// TIFF 6 through libtiff, with the GeoTIFF georeference.
//
//   0   u16  "II" (0x4949) or "MM" (0x4D4D)
//   2   u16  42 (classic) or 43 (BigTIFF), in file order
//   4   u32  offset of the first directory (u64 at 8 in BigTIFF)
//   directory: tag entries; 256/257 size, 258 bits, 259 compression, 262
//   photometric, 273/279 strips or 322-325 tiles, 277 samples, 284 planar
//   configuration, 320 colour map, 338 extra samples, 529/530 YCbCr
//
// libtiff decodes a strip or a row of tiles at a time; a put function chosen
// at open turns its samples into 8-bit grey bytes or 32-bit pixels (red in the
// low byte) in a cached block, from which rows are copied as one or three planes.

#include "drivers/general/tif6.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <cmath>
#include <mutex>
#include <tarnimage/tarn_file.h>

#include <geotiff/xtiffio.h>

#include "drivers/general/geotiff.h"
#include "udf/registered_drivers.h"

namespace {

RegisteredState state_TIF6 = {0, 0};

const uint32_t kMaxSide = 1u << 24;
// A block buffer or a decoded strip beyond this is refused rather than allocated.
const int64_t kMaxBlockBytes = int64_t(1) << 28;

const int kMessageSize = 1024;

void format(char* message, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void format(char* message, const char* fmt, ...) {
    if (!message) return;
    va_list args;
    va_start(args, fmt);
    vsnprintf(message, kMessageSize, fmt, args);
    va_end(args);
}

// libtiff prints to stderr unless told otherwise; probing files that are not
// TIFFs, or GeoTIFFs with tags it does not know, must stay quiet.
void quiet_libtiff() {
    static std::once_flag once;
    std::call_once(once, [] {
        TIFFSetErrorHandler(nullptr);
        TIFFSetWarningHandler(nullptr);
        TIFFSetErrorHandlerExt(nullptr);
        TIFFSetWarningHandlerExt(nullptr);
        XTIFFInitialize();
    });
}

// The file behind one TIFF handle, and whether libtiff complained about it
// since the last look.
struct TiffFile {
    FILE* fp = nullptr;
    int complaints = 0;
};

int note_complaint(TIFF*, void* user, const char*, const char*, va_list) {
    if (user) ++static_cast<TiffFile*>(user)->complaints;
    return 1;
}

tmsize_t file_read(thandle_t h, void* buffer, tmsize_t size) {
    if (size <= 0) return 0;
    return static_cast<tmsize_t>(tarn_fread(buffer, 1, size_t(size), static_cast<TiffFile*>(h)->fp));
}
tmsize_t file_write(thandle_t, void*, tmsize_t) { return -1; }
toff_t file_seek(thandle_t h, toff_t offset, int whence) {
    if (offset > toff_t(INT64_MAX)) return toff_t(-1);
    FILE* fp = static_cast<TiffFile*>(h)->fp;
    if (tarn_fseek(fp, long(offset), whence) != 0) return toff_t(-1);
    return toff_t(tarn_ftell(fp));
}
int file_close(thandle_t) { return 0; }
toff_t file_size(thandle_t h) {
    FILE* fp = static_cast<TiffFile*>(h)->fp;
    const long at = tarn_ftell(fp);
    tarn_fseek(fp, 0, SEEK_END);
    const long size = tarn_ftell(fp);
    tarn_fseek(fp, at, SEEK_SET);
    return size < 0 ? 0 : toff_t(size);
}
// A damaged key directory is simply no georeference.
void quiet_geokeys(GTIF*, int, const char*, ...) {}

int file_map(thandle_t, void**, toff_t*) { return 0; }
void file_unmap(thandle_t, void*, toff_t) {}

// An open TIFF over the file layer, its complaints counted instead of printed.
struct OpenTiff {
    TiffFile file;
    TIFF* tif = nullptr;
};

bool looks_like_tiff(FILE* fp) {
    unsigned char head[4];
    if (tarn_fseek(fp, 0, SEEK_SET) != 0 || tarn_fread(head, 1, 4, fp) != 4) return false;
    tarn_fseek(fp, 0, SEEK_SET);
    if (head[0] == 'I' && head[1] == 'I') return head[3] == 0 && (head[2] == 42 || head[2] == 43);
    if (head[0] == 'M' && head[1] == 'M') return head[2] == 0 && (head[3] == 42 || head[3] == 43);
    return false;
}

OpenTiff* open_tiff(const char* name) {
    quiet_libtiff();
    OpenTiff* t = new OpenTiff;
    t->file.fp = tarn_fopen(name, "rb");
    if (!t->file.fp || !looks_like_tiff(t->file.fp)) {
        if (t->file.fp) tarn_fclose(t->file.fp);
        delete t;
        return nullptr;
    }
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMaxBlockBytes);
    TIFFOpenOptionsSetErrorHandlerExtR(options, note_complaint, &t->file);
    TIFFOpenOptionsSetWarningHandlerExtR(options, note_complaint, &t->file);
    // "m": no memory mapping, every read goes through the file layer.
    t->tif = TIFFClientOpenExt(name, "rm", &t->file, file_read, file_write, file_seek, file_close, file_size,
                               file_map, file_unmap, options);
    TIFFOpenOptionsFree(options);
    if (!t->tif) {
        tarn_fclose(t->file.fp);
        delete t;
        return nullptr;
    }
    return t;
}

void close_tiff(OpenTiff* t) {
    if (!t) return;
    if (t->tif) XTIFFClose(t->tif);
    if (t->file.fp) tarn_fclose(t->file.fp);
    delete t;
}

bool is_ccitt(uint16_t compression) {
    return compression == COMPRESSION_CCITTRLE || compression == COMPRESSION_CCITTFAX3 ||
           compression == COMPRESSION_CCITTFAX4 || compression == COMPRESSION_CCITTRLEW;
}

// Old-style JPEG, the 32895-32898 group, 32947 and JBIG are not read. 32946,
// a second code for Deflate that real files carry, is read: libtiff decodes it like 8.
bool refused_compression(uint16_t c) {
    return c == COMPRESSION_OJPEG || (c >= 32895 && c <= 32898) || c == 32947 || c == COMPRESSION_JBIG;
}

}  // namespace

struct YCbCrConversion {
    uint8_t* clamptab;  // entry 0 of a table from -256 to 767
    int32_t* Cr_r_tab;
    int32_t* Cb_b_tab;
    int32_t* Cr_g_tab;
    int32_t* Cb_g_tab;
    float coeffs[3];
    uint8_t clamp_storage[1024];
    int32_t tables[4][256];
};

namespace {

// ---- Put functions ------------------------------------------------------

const uint8_t* row_of(const uint8_t* src, uint32_t r, int64_t fromskew) { return src + int64_t(r) * fromskew; }

template <typename T>
T* dest_row(void* dest, int64_t at, int64_t toskew, uint32_t r) {
    return static_cast<T*>(dest) + at + int64_t(r) * toskew;
}

// Grey at 1, 2, 4 and 8 bits: BWmap turns a packed byte into its pixels.
template <int Bits>
void put_bw(const UDF_TIFFImage* img, void* dest, int64_t at, int64_t toskew, uint32_t w, uint32_t h,
            int64_t fromskew, const uint8_t* const src[4]) {
    const int per_byte = 8 / Bits;
    for (uint32_t r = 0; r < h; ++r) {
        const uint8_t* s = row_of(src[0], r, fromskew);
        uint8_t* d = dest_row<uint8_t>(dest, at, toskew, r);
        for (uint32_t i = 0; i < w; ++i) d[i] = uint8_t(img->BWmap[s[i / per_byte]][i % per_byte]);
    }
}

template <int Bits>
void put_cmap(const UDF_TIFFImage* img, void* dest, int64_t at, int64_t toskew, uint32_t w, uint32_t h,
              int64_t fromskew, const uint8_t* const src[4]) {
    const int per_byte = 8 / Bits;
    for (uint32_t r = 0; r < h; ++r) {
        const uint8_t* s = row_of(src[0], r, fromskew);
        uint32_t* d = dest_row<uint32_t>(dest, at, toskew, r);
        for (uint32_t i = 0; i < w; ++i) d[i] = img->PALmap[s[i / per_byte]][i % per_byte];
    }
}

uint32_t pack(uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
    return (r & 0xFF) | (g & 0xFF) << 8 | (b & 0xFF) << 16 | (a & 0xFF) << 24;
}

enum AlphaKind { kNoAlpha = 0, kAssociated = 1, kUnassociated = 2 };

// RGB at 8 or 16 bits, contiguous or separate, with or without alpha; 16-bit
// samples are in host order as libtiff delivers them.
template <int Bytes, int Alpha, bool Mapped, bool Separate>
void put_rgb(const UDF_TIFFImage* img, void* dest, int64_t at, int64_t toskew, uint32_t w, uint32_t h,
             int64_t fromskew, const uint8_t* const src[4]) {
    const int64_t spp = img->samplesperpixel;
    for (uint32_t r = 0; r < h; ++r) {
        uint32_t* d = dest_row<uint32_t>(dest, at, toskew, r);
        for (uint32_t i = 0; i < w; ++i) {
            uint32_t v[4] = {0, 0, 0, 0xFFFF};
            for (int k = 0; k < (Alpha ? 4 : 3); ++k) {
                const uint8_t* s = Separate ? row_of(src[k], r, fromskew) + int64_t(i) * Bytes
                                            : row_of(src[0], r, fromskew) + (int64_t(i) * spp + k) * Bytes;
                if (Bytes == 1) {
                    v[k] = Mapped ? img->Map[*s] : *s;
                } else {
                    uint16_t x;
                    memcpy(&x, s, 2);
                    v[k] = x;
                }
            }
            if (Bytes == 1) {
                const uint32_t a = Alpha ? v[3] : 0xFF;
                if (Alpha == kUnassociated)
                    for (int k = 0; k < 3; ++k) v[k] = v[k] * a / 255;
                d[i] = pack(v[0], v[1], v[2], a);
            } else if (Alpha == kUnassociated) {
                const uint32_t a = v[3] >> 4;
                d[i] = pack(v[0] * a / 69375, v[1] * a / 69375, v[2] * a / 69375, a);
            } else {
                d[i] = pack(v[0] >> 8, v[1] >> 8, v[2] >> 8, Alpha ? v[3] >> 8 : 0xFF);
            }
        }
    }
}

template <bool Mapped>
void put_cmyk(const UDF_TIFFImage* img, void* dest, int64_t at, int64_t toskew, uint32_t w, uint32_t h,
              int64_t fromskew, const uint8_t* const src[4]) {
    const int64_t spp = img->samplesperpixel;
    for (uint32_t r = 0; r < h; ++r) {
        const uint8_t* s = row_of(src[0], r, fromskew);
        uint32_t* d = dest_row<uint32_t>(dest, at, toskew, r);
        for (uint32_t i = 0; i < w; ++i, s += spp) {
            const uint32_t k = 255 - s[3];
            uint32_t c[3];
            for (int j = 0; j < 3; ++j) {
                c[j] = k * (255 - s[j]) / 255;
                if (Mapped) c[j] = img->Map[c[j]];
            }
            d[i] = pack(c[0], c[1], c[2], 0xFF);
        }
    }
}

// YCbCr in units of H x V luma samples then Cb and Cr; fromskew steps from one
// band of V rows to the next. A remainder at the block's edge is cut.
template <int H, int V>
void put_ycbcr(const UDF_TIFFImage* img, void* dest, int64_t at, int64_t toskew, uint32_t w, uint32_t h,
               int64_t fromskew, const uint8_t* const src[4]) {
    const YCbCrConversion* y = img->ycbcr;
    const uint32_t units = (w + H - 1) / H;
    for (uint32_t band = 0; band * V < h; ++band) {
        const uint8_t* s = row_of(src[0], band, fromskew);
        for (uint32_t u = 0; u < units; ++u, s += H * V + 2) {
            const int cb = s[H * V], cr = s[H * V + 1];
            const int red = y->Cr_r_tab[cr], blue = y->Cb_b_tab[cb];
            const int green = (y->Cb_g_tab[cb] + y->Cr_g_tab[cr]) >> 16;
            for (int j = 0; j < V && band * V + j < h; ++j) {
                uint32_t* d = dest_row<uint32_t>(dest, at, toskew, band * V + j);
                for (int k = 0; k < H && u * H + k < w; ++k) {
                    const int luma = s[j * H + k];
                    d[u * H + k] = pack(y->clamptab[luma + red], y->clamptab[luma + green],
                                        y->clamptab[luma + blue], 0xFF);
                }
            }
        }
    }
}

// ---- Tables --------------------------------------------------------------

int setupMap(UDF_TIFFImage* img);

// Packed byte to its 8 / bits pixels, the first pixel from the top bits.
uint32_t** make_runs(int bits, uint32_t (*pixel)(const UDF_TIFFImage*, uint32_t), const UDF_TIFFImage* img) {
    const int per_byte = 8 / bits;
    uint32_t** map = static_cast<uint32_t**>(malloc(256 * sizeof(uint32_t*) + 256 * per_byte * sizeof(uint32_t)));
    if (!map) return nullptr;
    uint32_t* runs = reinterpret_cast<uint32_t*>(map + 256);
    const uint32_t mask = (1u << bits) - 1;
    for (uint32_t b = 0; b < 256; ++b) {
        map[b] = runs + b * per_byte;
        for (int p = 0; p < per_byte; ++p) map[b][p] = pixel(img, (b >> (8 - bits * (p + 1))) & mask);
    }
    return map;
}

uint32_t grey_pixel(const UDF_TIFFImage* img, uint32_t v) { return img->Map[v] * 65793u | 0xFF000000u; }
uint32_t palette_pixel(const UDF_TIFFImage* img, uint32_t v) {
    return pack(img->redcmap[v], img->greencmap[v], img->bluecmap[v], 0xFF);
}

int setupMap(UDF_TIFFImage* img) {
    const int32_t range = (int32_t(1) << img->bitspersample) - 1;
    img->Map = static_cast<uint8_t*>(malloc(size_t(range) + 1));
    if (!img->Map) return 0;  // "No space for photometric conversion table"
    for (int32_t x = 0; x <= range; ++x)
        img->Map[x] = uint8_t(img->photometric == PHOTOMETRIC_MINISWHITE ? ((range - x) * 255) / range
                                                                          : (x * 255) / range);
    if (img->bitspersample <= 8 && img->photometric < PHOTOMETRIC_RGB) {
        img->BWmap = make_runs(img->bitspersample, grey_pixel, img);
        free(img->Map);
        img->Map = nullptr;
        if (!img->BWmap) return 0;  // "No space for B&W mapping table"
    }
    return 1;
}

int checkcmap(const UDF_TIFFImage* img) {
    const uint32_t n = 1u << img->bitspersample;
    for (uint32_t i = 0; i < n; ++i)
        if (img->redcmap[i] > 255 || img->greencmap[i] > 255 || img->bluecmap[i] > 255) return 16;
    return 8;
}

void cvtcmap(UDF_TIFFImage* img) {
    for (uint32_t i = 1u << img->bitspersample; i-- > 0;) {
        img->redcmap[i] >>= 8;
        img->greencmap[i] >>= 8;
        img->bluecmap[i] >>= 8;
    }
}

int buildMap(UDF_TIFFImage* img) {
    switch (img->photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK: return setupMap(img);
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_SEPARATED:
    case PHOTOMETRIC_YCBCR: return img->bitspersample == 8 ? 1 : setupMap(img);
    case PHOTOMETRIC_PALETTE:
        if (!img->redcmap) return 0;
        if (checkcmap(img) == 16) cvtcmap(img);  // else "Assuming 8-bit colormap"
        if (img->bitspersample <= 8) {
            img->PALmap = make_runs(img->bitspersample, palette_pixel, img);
            if (!img->PALmap) return 0;
        }
        return 1;
    }
    return 1;
}

int32_t fix(double x) { return int32_t(x * 65536.0 + 0.5); }

void UDF_TIFFYCbCrToRGBInit(YCbCrConversion* y, const float coeffs[3]) {
    y->clamptab = y->clamp_storage + 256;
    memset(y->clamp_storage, 0, 256);
    for (int i = 0; i < 256; ++i) y->clamp_storage[256 + i] = uint8_t(i);
    memset(y->clamp_storage + 512, 0xFF, 512);
    y->Cr_r_tab = y->tables[0];
    y->Cb_b_tab = y->tables[1];
    y->Cr_g_tab = y->tables[2];
    y->Cb_g_tab = y->tables[3];
    memcpy(y->coeffs, coeffs, sizeof y->coeffs);
    const double lr = coeffs[0], lg = coeffs[1], lb = coeffs[2];
    const double f1 = 2 - 2 * lr, f2 = lr * f1 / lg, f3 = 2 - 2 * lb, f4 = lb * f3 / lg;
    for (int i = 0; i < 256; ++i) {
        const int32_t x = i - 128;
        y->Cr_r_tab[i] = (fix(f1) * x + 0x8000) >> 16;
        y->Cb_b_tab[i] = (fix(f3) * x + 0x8000) >> 16;
        y->Cr_g_tab[i] = -fix(f2) * x;
        y->Cb_g_tab[i] = -fix(f4) * x + 0x8000;
    }
}

TIFFPutFunc initYCbCrConversion(UDF_TIFFImage* img) {
    float* coeffs = nullptr;
    if (TIFFGetFieldDefaulted(img->tif, TIFFTAG_YCBCRCOEFFICIENTS, &coeffs) != 1 || !coeffs) return nullptr;
    // Coefficients far from any real file would overflow the fixed-point tables.
    for (int i = 0; i < 3; ++i)
        if (!std::isfinite(coeffs[i]) || std::fabs(coeffs[i]) > 4) return nullptr;
    if (std::fabs(coeffs[1]) < 0.01) return nullptr;
    if (!img->ycbcr) {
        img->ycbcr = static_cast<YCbCrConversion*>(calloc(1, sizeof(YCbCrConversion)));
        if (!img->ycbcr) return nullptr;  // "No space for YCbCr->RGB conversion state"
        UDF_TIFFYCbCrToRGBInit(img->ycbcr, coeffs);
    } else if (memcmp(img->ycbcr->coeffs, coeffs, sizeof img->ycbcr->coeffs) != 0) {
        UDF_TIFFYCbCrToRGBInit(img->ycbcr, coeffs);
    }
    uint16_t h = 2, v = 2;
    TIFFGetFieldDefaulted(img->tif, TIFFTAG_YCBCRSUBSAMPLING, &h, &v);
    img->ycbcr_h = h, img->ycbcr_v = v;
    switch (h * 16 + v) {
    case 17: return put_ycbcr<1, 1>;
    case 33: return put_ycbcr<2, 1>;
    case 34: return put_ycbcr<2, 2>;
    case 65: return put_ycbcr<4, 1>;
    case 66: return put_ycbcr<4, 2>;
    case 68: return put_ycbcr<4, 4>;
    }
    return nullptr;
}

void UDFpickTileContigCase(UDF_TIFFImage* img) {
    img->put = nullptr;
    if (!buildMap(img)) return;
    const int bits = img->bitspersample;
    switch (img->photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        img->put = bits == 1 ? put_bw<1> : bits == 2 ? put_bw<2> : bits == 4 ? put_bw<4> : bits == 8 ? put_bw<8>
                                                                                                     : nullptr;
        break;
    case PHOTOMETRIC_RGB:
        if (bits == 8) {
            if (img->Map) img->put = put_rgb<1, kNoAlpha, true, false>;
            else if (img->alpha == kAssociated) img->put = put_rgb<1, kAssociated, false, false>;
            else if (img->alpha == kUnassociated) img->put = put_rgb<1, kUnassociated, false, false>;
            else img->put = put_rgb<1, kNoAlpha, false, false>;
        } else if (bits == 16) {
            if (!img->Map && img->alpha == kAssociated) img->put = put_rgb<2, kAssociated, false, false>;
            else if (!img->Map && img->alpha == kUnassociated) img->put = put_rgb<2, kUnassociated, false, false>;
            else img->put = put_rgb<2, kNoAlpha, false, false>;
        }
        break;
    case PHOTOMETRIC_PALETTE:
        img->put = bits == 1 ? put_cmap<1> : bits == 2 ? put_cmap<2> : bits == 4 ? put_cmap<4>
                 : bits == 8 ? put_cmap<8> : nullptr;
        break;
    case PHOTOMETRIC_SEPARATED:
        if (bits == 8) img->put = img->Map ? put_cmyk<true> : put_cmyk<false>;
        break;
    case PHOTOMETRIC_YCBCR:
        if (bits == 8) img->put = initYCbCrConversion(img);
        break;
    }
}

void UDFpickTileSeparateCase(UDF_TIFFImage* img) {
    img->put = nullptr;
    if (!buildMap(img) || img->photometric != PHOTOMETRIC_RGB) return;
    if (img->bitspersample == 8) {
        if (img->Map) img->put = put_rgb<1, kNoAlpha, true, true>;
        else if (img->alpha == kAssociated) img->put = put_rgb<1, kAssociated, false, true>;
        else if (img->alpha == kUnassociated) img->put = put_rgb<1, kUnassociated, false, true>;
        else img->put = put_rgb<1, kNoAlpha, false, true>;
    } else if (img->bitspersample == 16) {
        if (!img->Map && img->alpha == kAssociated) img->put = put_rgb<2, kAssociated, false, true>;
        else if (!img->Map && img->alpha == kUnassociated) img->put = put_rgb<2, kUnassociated, false, true>;
        else img->put = put_rgb<2, kNoAlpha, false, true>;
    }
}

// The tests common to the acceptance test and the start of decoding; with
// `begin`, photometric is settled for the decoder too.
int check_directory(TIFF* tif, char* message, bool begin, uint16_t* photometric_out) {
    uint16_t bits = 1, spp = 1, planar = 1, extra = 0, compression = 1, photometric = 0;
    uint16_t* sampleinfo = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    switch (bits) {
    case 1: case 2: case 4: case 8: case 16: break;
    default:
        format(message, begin ? "Sorry, can not image with %d-bit samples"
                              : "Sorry, can not handle images with %d-bit samples", bits);
        return 0;
    }
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extra, &sampleinfo);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    const int colorchannels = int(spp) - int(extra);
    const bool has_compression = TIFFGetField(tif, TIFFTAG_COMPRESSION, &compression) == 1;
    if (TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &photometric) != 1) {
        if (colorchannels == 1) {
            photometric = begin && has_compression && is_ccitt(compression) ? PHOTOMETRIC_MINISWHITE
                                                                             : PHOTOMETRIC_MINISBLACK;
        } else if (colorchannels == 3) {
            photometric = PHOTOMETRIC_RGB;
        } else {
            format(message, "Missing needed %s tag", "PhotometricInterpretation");
            return 0;
        }
    }
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_PALETTE:
        if (planar == PLANARCONFIG_CONTIG && spp != 1) {
            format(message, "Sorry, can not handle contiguous data with %s=%d, and %s=%d",
                   "PhotometricInterpretation", photometric, "Samples/pixel", spp);
            return 0;
        }
        break;
    case PHOTOMETRIC_RGB:
        if (colorchannels < 3) {
            format(message, "Sorry, can not handle RGB image with %s=%d", "Color channels", colorchannels);
            return 0;
        }
        break;
    case PHOTOMETRIC_SEPARATED: {
        uint16_t inkset = INKSET_CMYK;
        TIFFGetFieldDefaulted(tif, TIFFTAG_INKSET, &inkset);
        if (inkset != INKSET_CMYK) {
            format(message, "Sorry, can not handle separated image with %s=%d", "InkSet", inkset);
            return 0;
        }
        if (spp != 4) {
            format(message, "Sorry, can not handle separated image with %s=%d", "Samples/pixel", spp);
            return 0;
        }
        break;
    }
    case PHOTOMETRIC_YCBCR:
        if (planar != PLANARCONFIG_CONTIG) {
            format(message, "Sorry, can not handle YCbCr images with %s=%d", "Planarconfiguration", planar);
            return 0;
        }
        break;
    case PHOTOMETRIC_LOGL:
        if (compression != COMPRESSION_SGILOG) {
            format(message, "Sorry, LogL data must have %s=%d", "Compression", COMPRESSION_SGILOG);
            return 0;
        }
        break;
    case PHOTOMETRIC_LOGLUV:
        if (compression != COMPRESSION_SGILOG && compression != COMPRESSION_SGILOG24) {
            format(message, "Sorry, LogLuv data must have %s=%d or %d", "Compression", COMPRESSION_SGILOG,
                   COMPRESSION_SGILOG24);
            return 0;
        }
        if (planar != PLANARCONFIG_CONTIG) {
            format(message, "Sorry, can not handle LogLuv images with %s=%d", "Planarconfiguration", planar);
            return 0;
        }
        break;
    default:
        format(message, "Sorry, can not handle image with %s=%d", "PhotometricInterpretation", photometric);
        return 0;
    }
    if (photometric_out) *photometric_out = photometric;
    return 1;
}

}  // namespace

int II_TIFFImageOK(TIFF* tif, char* message) { return tif && check_directory(tif, message, false, nullptr); }

int UDF_TIFFImageOK(TIFF* tif, char* message) {
    if (!II_TIFFImageOK(tif, message)) return 0;
    uint16_t compression = 0;
    if (TIFFGetField(tif, TIFFTAG_COMPRESSION, &compression) != 1) return 0;
    return refused_compression(compression) ? 0 : 1;
}

int UDF_TIFFImageBegin(UDF_TIFFImage* img, TIFF* tif, int stoponerr, char* message) {
    memset(img, 0, sizeof *img);
    img->tif = tif;
    img->stoponerr = stoponerr;
    uint16_t photometric = 0;
    if (!check_directory(tif, message, true, &photometric)) return 0;
    uint16_t bits = 1, spp = 1, planar = 1, extra = 0, compression = 1;
    uint16_t* sampleinfo = nullptr;
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extra, &sampleinfo);
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &compression);
    img->alpha = extra == 1 && sampleinfo && (sampleinfo[0] == 1 || sampleinfo[0] == 2) ? sampleinfo[0] : 0;
    if (photometric == PHOTOMETRIC_PALETTE) {
        uint16_t *r = nullptr, *g = nullptr, *b = nullptr;
        if (TIFFGetField(tif, TIFFTAG_COLORMAP, &r, &g, &b) != 1 || !r || !g || !b || bits > 16) {
            format(message, "Missing required \"Colormap\" tag");
            return 0;
        }
        // Our own copies: the 16-bit entries may be brought down to 8 bits.
        const size_t n = size_t(1) << bits;
        img->redcmap = static_cast<uint16_t*>(malloc(3 * n * sizeof(uint16_t)));
        if (!img->redcmap) return 0;
        img->greencmap = img->redcmap + n;
        img->bluecmap = img->redcmap + 2 * n;
        memcpy(img->redcmap, r, n * 2);
        memcpy(img->greencmap, g, n * 2);
        memcpy(img->bluecmap, b, n * 2);
    }
    if (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG) {
        // libtiff converts to RGB itself.
        TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        photometric = PHOTOMETRIC_RGB;
    } else if (photometric == PHOTOMETRIC_LOGL || photometric == PHOTOMETRIC_LOGLUV) {
        TIFFSetField(tif, TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_8BIT);
        photometric = photometric == PHOTOMETRIC_LOGL ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB;
        bits = 8;
    }
    img->photometric = photometric;
    img->bitspersample = bits;
    img->samplesperpixel = spp;
    img->planarconfig = planar;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &img->width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &img->height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_ORIENTATION, &img->orientation);
    img->isContig = !(planar == PLANARCONFIG_SEPARATE && spp - extra > 1);
    if (img->isContig) UDFpickTileContigCase(img);
    else UDFpickTileSeparateCase(img);
    return 1;
}

void UDF_TIFFImageEnd(UDF_TIFFImage* img) {
    free(img->Map);
    free(img->BWmap);
    free(img->PALmap);
    free(img->ycbcr);
    free(img->redcmap);
    img->Map = nullptr;
    img->BWmap = img->PALmap = nullptr;
    img->ycbcr = nullptr;
    img->redcmap = img->greencmap = img->bluecmap = nullptr;
}

namespace {

struct Tif6State {
    OpenTiff* file;
    uint16_t band_count;
    uint16_t band_index[3];
    uint16_t planes;
    uint32_t* rgba;
    uint8_t* grey;
    UDF_TIFFImage image;
    int32_t cached_block;
    uint32_t block_rows;
    uint32_t block_count;
    bool tiled;
    uint32_t tile_width;
    int64_t raw_size;  // bytes of one decoded strip or tile
    uint8_t* raw;      // planes of one strip or tile, four when separate
};

// Bytes from one source row (or band of YCbCr rows) to the next, for blocks
// `columns` pixels wide.
int64_t source_stride(const UDF_TIFFImage& img, uint32_t columns) {
    if (img.photometric == PHOTOMETRIC_YCBCR && img.ycbcr_h && img.ycbcr_v)
        return int64_t((columns + img.ycbcr_h - 1) / img.ycbcr_h) * (img.ycbcr_h * img.ycbcr_v + 2);
    const int64_t samples = img.planarconfig == PLANARCONFIG_CONTIG ? img.samplesperpixel : 1;
    return (int64_t(columns) * samples * img.bitspersample + 7) / 8;
}

// Rows of source the put reads for `rows` image rows.
int64_t source_rows(const UDF_TIFFImage& img, uint32_t rows) {
    if (img.photometric == PHOTOMETRIC_YCBCR && img.ycbcr_v) return (rows + img.ycbcr_v - 1) / img.ycbcr_v;
    return rows;
}

// A block whose bytes lie past the end of the file fails its rows. Other
// decoding trouble is passed over, delivering what was decoded: real files
// carry tiles with fewer bytes than their codec expects.
bool decode_ok(Tif6State* s, uint32_t strile, tmsize_t got) {
    s->file->file.complaints = 0;
    if (got >= 0) return true;
    const uint64_t offset = TIFFGetStrileOffset(s->image.tif, strile);
    const uint64_t bytes = TIFFGetStrileByteCount(s->image.tif, strile);
    const uint64_t size = file_size(&s->file->file);
    return offset <= size && bytes <= size - offset;
}

// Decodes the block starting at row `first` (rows first .. first + nrow - 1)
// into the block buffer. Tiles of a bottom-left image fill it from its last
// row upward; strips always top-down.
bool read_block(Tif6State* s, uint32_t first) {
    UDF_TIFFImage& img = s->image;
    TIFF* tif = img.tif;
    const uint32_t width = img.width;
    const uint32_t nrow = first + s->block_rows > img.height ? img.height - first : s->block_rows;
    void* dest = s->planes == 3 ? static_cast<void*>(s->rgba) : static_cast<void*>(s->grey);
    const int nplanes = img.isContig ? 1 : (img.alpha ? 4 : 3);
    const uint8_t* src[4] = {s->raw, nullptr, nullptr, nullptr};
    for (int p = 0; p < nplanes; ++p) src[p] = s->raw + p * s->raw_size;

    const uint32_t columns = s->tiled ? s->tile_width : width;
    const int64_t fromskew = source_stride(img, columns);
    if (source_rows(img, nrow) * fromskew > s->raw_size) return false;
    s->file->file.complaints = 0;
    if (!s->tiled) {
        for (int p = 0; p < nplanes; ++p) {
            const uint32_t strip = TIFFComputeStrip(tif, first, uint16_t(p));
            if (!decode_ok(s, strip, TIFFReadEncodedStrip(tif, strip, s->raw + p * s->raw_size, s->raw_size)))
                return false;
        }
        img.put(&img, dest, 0, width, width, nrow, fromskew, src);
        return true;
    }
    // A bottom-left image's tiles walk up from the block's last row.
    const bool up = img.orientation == ORIENTATION_BOTLEFT;
    const int64_t toskew = up ? -int64_t(width) : int64_t(width);
    const int64_t start = up ? int64_t(nrow - 1) * width : 0;
    for (uint32_t x = 0; x < width; x += s->tile_width) {
        for (int p = 0; p < nplanes; ++p)
            if (!decode_ok(s, TIFFComputeTile(tif, x, first, 0, uint16_t(p)),
                           TIFFReadTile(tif, s->raw + p * s->raw_size, x, first, 0, uint16_t(p))))
                return false;
        const uint32_t npix = x + s->tile_width > width ? width - x : s->tile_width;
        img.put(&img, dest, start + x, toskew, npix, nrow, fromskew, src);
        if (x > UINT32_MAX - s->tile_width) break;
    }
    return true;
}

void free_state(Tif6State* s) {
    if (!s) return;
    free(s->rgba);
    free(s->grey);
    free(s->raw);
    UDF_TIFFImageEnd(&s->image);
    close_tiff(s->file);
    free(s);
}

// Settles orientation as the readers use it: the bottom-up kinds read as
// bottom-left, everything else as top-left.
void setorientation(UDF_TIFFImage* img) {
    switch (img->orientation) {
    case ORIENTATION_TOPLEFT:
    case ORIENTATION_BOTLEFT: break;
    case ORIENTATION_BOTRIGHT:
    case ORIENTATION_LEFTBOT:
    case ORIENTATION_RIGHTBOT: img->orientation = ORIENTATION_BOTLEFT; break;  // "using bottom-left orientation"
    default: img->orientation = ORIENTATION_TOPLEFT; break;                      // "using top-left orientation"
    }
}

}  // namespace

static void file_transform(TIFF* tif, double t[6]) {
    for (int i = 0; i < 6; ++i) t[i] = 0.0;
    GTIF* gtif = GTIFNewEx(tif, quiet_geokeys, nullptr);
    if (GetFromWorld(tif, gtif, t) < 0 && GetFromModel(tif, gtif, t) < 0) GetFromPosition(tif, gtif, t);
    if (gtif) GTIFFree(gtif);
}

// Only a transform the header cannot carry (rotation, or y and x pixel sizes
// that differ) is given; every other file is placed by its header as before.
static int TIF6_header_transform(const char* name, double transform[6]) {
    OpenTiff* t = open_tiff(name);
    if (!t) return -1;
    double m[6];
    file_transform(t->tif, m);
    close_tiff(t);
    if (m[1] == 0.0 && m[2] == 0.0 && m[3] == -m[0]) return -1;
    for (int i = 0; i < 6; ++i) transform[i] = m[i];
    return 0;
}

int TIF6_exist(const char* name, char* out_path, FILE*) {
    if (!name) return 0;
    OpenTiff* t = open_tiff(name);
    if (!t) return 0;
    char message[kMessageSize];
    const int ok = UDF_TIFFImageOK(t->tif, message);
    close_tiff(t);
    if (!ok) return 0;
    if (out_path && out_path != name) strcpy(out_path, name);
    return int(state_TIF6.type);
}

int TIF6_open(const char* name, int band, int red, int green, int blue, UDFHeader* header) {
    UDFinitial(header);
    Tif6State* s = static_cast<Tif6State*>(calloc(1, sizeof(Tif6State)));
    if (!s) return -1;
    s->file = open_tiff(name);
    if (!s->file) {
        free(s);
        return -1;
    }
    TIFF* tif = s->file->tif;
    if (band >= 1) {
        s->band_count = 1;
        s->band_index[0] = uint16_t(band - 1);
    } else if (red == 0 || green == 0 || blue == 0) {
        s->band_count = 3;
        s->band_index[0] = 0, s->band_index[1] = 1, s->band_index[2] = 2;
    } else {
        s->band_count = 3;
        s->band_index[0] = uint16_t(red - 1), s->band_index[1] = uint16_t(green - 1);
        s->band_index[2] = uint16_t(blue - 1);
    }
    char message[kMessageSize];
    UDF_TIFFImage& img = s->image;
    if (!UDF_TIFFImageOK(tif, message) || !UDF_TIFFImageBegin(&img, tif, 0, message) || !img.put) {
        free_state(s);
        return -1;
    }
    double t[6];
    file_transform(tif, t);

    switch (img.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK: s->planes = 1; break;
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_PALETTE:
    case PHOTOMETRIC_SEPARATED:
    case PHOTOMETRIC_YCBCR:
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_LOGL:
    case PHOTOMETRIC_LOGLUV: s->planes = 3; break;
    default: free_state(s); return -1;
    }
    if (img.width == 0 || img.height == 0 || img.width > kMaxSide || img.height > kMaxSide) {
        free_state(s);
        return -1;
    }
    setorientation(&img);
    s->cached_block = -1;
    s->tiled = TIFFIsTiled(tif) != 0;
    uint32_t block_rows = 0;
    if (s->tiled) {
        if (TIFFGetField(tif, TIFFTAG_TILELENGTH, &block_rows) != 1 ||
            TIFFGetField(tif, TIFFTAG_TILEWIDTH, &s->tile_width) != 1 || s->tile_width == 0) {
            free_state(s);
            return -1;
        }
        s->raw_size = TIFFTileSize64(tif);
    } else {
        if (TIFFGetField(tif, TIFFTAG_ROWSPERSTRIP, &block_rows) != 1) {
            free_state(s);
            return -1;
        }
        if (block_rows > img.height) block_rows = img.height;
        s->raw_size = TIFFStripSize64(tif);
    }
    const int64_t block_bytes = int64_t(img.width) * block_rows * (s->planes == 3 ? 4 : 1);
    const int nplanes = img.isContig ? 1 : 4;
    if (block_rows == 0 || block_rows > kMaxSide || block_bytes > kMaxBlockBytes || s->raw_size <= 0 ||
        s->raw_size > kMaxBlockBytes / nplanes) {
        free_state(s);
        return -1;
    }
    s->block_rows = block_rows;
    s->block_count = uint32_t((uint64_t(img.height) + block_rows - 1) / block_rows);

    header->type = state_TIF6.type;
    header->depth = 8;
    header->nbands = s->planes;
    header->rows = int32_t(img.height);
    header->columns = int32_t(img.width);
    // The header has no room for rotation terms.
    header->pixel_x = t[0];
    header->pixel_y = t[0];
    header->origin_x = t[4];
    header->origin_y = t[5];
    header->priv = s;
    return 0;
}

int TIF6_close(UDFHeader* header) {
    if (!header) return 0;
    free_state(static_cast<Tif6State*>(header->priv));
    header->priv = nullptr;
    return 0;
}

int TIF6_getrow(int row, void* out, UDFHeader* header) {
    Tif6State* s = header ? static_cast<Tif6State*>(header->priv) : nullptr;
    if (!s || !out || (s->planes != 1 && s->planes != 3)) return -1;
    const UDF_TIFFImage& img = s->image;
    if (row < 0 || uint32_t(row) >= img.height) return -1;
    // Block numbers are kept in 16 bits: images of more than 65535 blocks repeat.
    const uint16_t block = uint16_t(uint32_t(row) / s->block_rows);
    if (int32_t(block) != s->cached_block) {
        const int64_t pixels = int64_t(img.width) * s->block_rows;
        if (s->planes == 3 && !s->rgba) s->rgba = static_cast<uint32_t*>(calloc(size_t(pixels), 4));
        if (s->planes == 1 && !s->grey) s->grey = static_cast<uint8_t*>(calloc(size_t(pixels), 1));
        if (!s->raw) s->raw = static_cast<uint8_t*>(calloc(size_t(s->raw_size), img.isContig ? 1 : 4));
        if ((s->planes == 3 ? !s->rgba : !s->grey) || !s->raw) return -1;
        s->cached_block = -1;
        if (!read_block(s, uint32_t(row) - uint32_t(row) % s->block_rows)) return -1;
    }
    const uint16_t line16 = uint16_t(uint32_t(row) % s->block_rows);
    const int64_t line = line16;
    const int64_t columns = img.width;
    uint8_t* o = static_cast<uint8_t*>(out);
    if (s->planes == 1) {
        memcpy(o, s->grey + line * columns, size_t(columns));
    } else {
        // A single-band open gets its band alone, as the channel unpacks one
        // band from the start of the row; other opens get the three planes.
        const uint32_t* p = s->rgba + line * columns;
        const int count = s->band_count == 1 ? 1 : 3;
        for (int k = 0; k < count; ++k) {
            const int shift = 8 * (count == 1 && s->band_index[0] < 3 ? s->band_index[0] : k);
            uint8_t* plane = o + k * columns;
            for (int64_t i = 0; i < columns; ++i) plane[i] = uint8_t(p[i] >> shift);
        }
    }
    s->cached_block = block;
    return 0;
}

extern const RegisteredDriver registered_TIF6 = {
    TIF6_exist, TIF6_open, TIF6_close, TIF6_getrow,
    "TIFF6", "tif", "TIFF (*.tif; *.tff; *.tiff)", "*.tif;*.tff;*.tiff",
    START_COUNTED, true, nullptr, nullptr, &state_TIF6, false, nullptr, TIF6_header_transform,
};
