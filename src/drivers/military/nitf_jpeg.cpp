// JPEG rows of NITF image segments (IC "C3" and "M3").
//
// Layout of the image data:
//   C3, one block     one JPEG stream (SOI ... EOI)
//   C3, blocked       NBPR * NBPC streams back to back, row-major, each block
//                     NPPBH x NPPBV pixels; edge blocks padded, clipped here
//   M3                image data mask (nitf_file.h), then the streams at the
//                     offsets it records; absent blocks read as zeros
//
// A blocked image can't be read row by row forward without decoding every
// block of a row, so it is decoded once per process into a cache keyed by
// the file and the band selection: small images in memory, larger ones in a
// temporary file unlinked as soon as it is made.

#include "drivers/military/nitf_jpeg.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <tarnimage/tarn_file.h>

namespace {

const UINT8 def_bits_dc_tbl[17] = {0, 0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0};
const UINT8 def_huff_dc_tbl[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
const UINT8 def_bits_ac_tbl[17] = {0, 0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 0x7d};
const UINT8 def_huff_ac_tbl[256] = {
    0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
    0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72,
    0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37,
    0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
    0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
    0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3,
    0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
    0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2,
    0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa,
};

const unsigned int def_quant_tables[5][64] = {
    {8,   72,  72,  72,  72,  72,  72,  72,  72,  72,  78,  74,  76,  74,  78,  89,
     81,  84,  84,  81,  89,  106, 93,  94,  99,  94,  93,  106, 129, 111, 108, 116,
     116, 108, 111, 129, 135, 128, 136, 145, 136, 128, 135, 155, 160, 177, 177, 160,
     155, 193, 213, 228, 213, 193, 255, 255, 255, 255, 255, 255, 255, 255, 255, 255},
    {8,  36, 36, 36, 36,  36,  36,  36,  36,  36,  39,  37,  38,  37,  39,  45,
     41, 42, 42, 41, 45,  53,  47,  47,  50,  47,  47,  53,  65,  56,  54,  59,
     59, 54, 56, 65, 68,  64,  69,  73,  69,  64,  68,  78,  81,  89,  89,  81,
     78, 98, 108, 115, 108, 98, 130, 144, 144, 130, 178, 190, 178, 243, 243, 255},
    {8,  10, 10, 10, 10, 10, 10, 10, 10, 10, 11, 10, 11, 10, 11, 13, 11, 12, 12, 11, 13, 15,
     13, 13, 14, 13, 13, 15, 18, 16, 15, 16, 16, 15, 16, 18, 19, 18, 19, 21, 19, 18, 19, 22,
     23, 25, 25, 23, 22, 27, 30, 32, 30, 27, 36, 40, 40, 36, 50, 53, 50, 68, 68, 91},
    {8, 7,  7,  7,  7,  7,  7,  7,  7,  7,  8,  7,  8,  7,  8,  9,  8,  8,  8,  8,  9,  11,
     9, 9,  10, 9,  9,  11, 13, 11, 11, 12, 12, 11, 11, 13, 14, 13, 14, 15, 14, 13, 14, 16,
     16, 18, 18, 16, 16, 20, 22, 23, 22, 20, 26, 29, 29, 26, 36, 38, 36, 49, 49, 65},
    {4, 4, 4, 4, 4, 4, 4, 4, 4,  4,  4,  4,  4,  4,  4,  5,  5,  5,  5,  5,  5,  6,
     5, 5, 6, 5, 5, 6, 7, 6, 6,  6,  6,  6,  6,  7,  8,  7,  8,  8,  8,  7,  8,  9,
     9, 10, 10, 9, 9, 11, 12, 13, 12, 11, 14, 16, 16, 14, 20, 21, 20, 27, 27, 36},
};

bool text_is(const char* field, const char* value) {
    const size_t n = strlen(value);
    if (strncmp(field, value, n) != 0) return false;
    for (const char* p = field + n; *p; ++p)
        if (*p != ' ') return false;
    return true;
}

long data_start(NITFFile* file, int index) {
    if (!file || index < 0 || index >= file->NUMI || !file->LISH) return -1;
    return long(CalcFileOffset(NITF_IMAGE_SEGMENT, index, file)) + file->LISH[index];
}

// The bodies below run with a recovery point armed by their public caller.

void install_tables(NITFImageSubHeader* sub, JPEGRowState* s) {
    j_common_ptr common = reinterpret_cast<j_common_ptr>(&s->cinfo);
    if (text_is(sub->IREP, "RGB"))
        s->cinfo.jpeg_color_space = JCS_RGB;
    else if (text_is(sub->IREP, "MONO"))
        s->cinfo.jpeg_color_space = JCS_GRAYSCALE;
    else if (text_is(sub->IREP, "YCbCr601"))
        s->cinfo.jpeg_color_space = JCS_YCbCr;
    const char digit = sub->COMRAT[3];
    if (digit >= '1' && digit <= '5') {
        if (!s->cinfo.quant_tbl_ptrs[0]) s->cinfo.quant_tbl_ptrs[0] = jpeg_alloc_quant_table(common);
        const unsigned int* table = def_quant_tables[digit - '1'];
        for (int i = 0; i < DCTSIZE2; ++i) s->cinfo.quant_tbl_ptrs[0]->quantval[i] = UINT16(table[i]);
    }
    // Blocks written without tables rely on these; a stream's own stay.
    if (!s->cinfo.dc_huff_tbl_ptrs[0]) {
        JHUFF_TBL* t = jpeg_alloc_huff_table(common);
        memcpy(t->bits, def_bits_dc_tbl, sizeof def_bits_dc_tbl);
        memset(t->huffval, 0, sizeof t->huffval);
        memcpy(t->huffval, def_huff_dc_tbl, sizeof def_huff_dc_tbl);
        s->cinfo.dc_huff_tbl_ptrs[0] = t;
    }
    if (!s->cinfo.ac_huff_tbl_ptrs[0]) {
        JHUFF_TBL* t = jpeg_alloc_huff_table(common);
        memcpy(t->bits, def_bits_ac_tbl, sizeof def_bits_ac_tbl);
        memcpy(t->huffval, def_huff_ac_tbl, sizeof t->huffval);
        s->cinfo.ac_huff_tbl_ptrs[0] = t;
    }
}

// Reads the next stream's header and starts it.
int start_stream(NITFImageSubHeader* sub, JPEGRowState* s) {
    if (jpeg_read_header(&s->cinfo, TRUE) != JPEG_HEADER_OK || s->source.ended) return -1;
    install_tables(sub, s);
    if (!jpeg_start_decompress(&s->cinfo)) return -1;
    s->started = 1;
    if (s->source.ended) return -1;
    s->row_samples = int(s->cinfo.output_width) * s->cinfo.output_components;
    s->scanline = (*s->cinfo.mem->alloc_sarray)(reinterpret_cast<j_common_ptr>(&s->cinfo), JPOOL_IMAGE,
                                               JDIMENSION(s->row_samples), 1);
    s->green_offset = int(s->cinfo.output_width);
    s->blue_offset = 2 * int(s->cinfo.output_width);
    return 0;
}

// An empty state with its error manager; nothing here can fail.
void prepare(JPEGRowState* s) {
    memset(s, 0, sizeof *s);
    s->cinfo.err = jpeg_silent_errors(&s->jerr);
}

int create(NITFFile* file, JPEGRowState* s) {
    jpeg_create_decompress(&s->cinfo);
    s->initialised = 1;
    jpeg_file_source(&s->cinfo, &s->source, file->file);
    return 0;
}

int init_at(NITFImageSubHeader* sub, long offset, long limit, JPEGRowState* s) {
    if (s->started) {
        jpeg_abort_decompress(&s->cinfo);
        s->started = 0;
    }
    s->failed = 0;
    if (jpeg_source_seek(&s->source, offset, limit) != 0) return -1;
    return start_stream(sub, s);
}

int reset(NITFImageSubHeader* sub, JPEGRowState* s) {
    if (s->started) {
        // The remaining lines are read so that the stream ends where the next begins.
        while (s->cinfo.output_scanline < s->cinfo.output_height)
            if (jpeg_read_scanlines(&s->cinfo, s->scanline, 1) != 1) return -1;
        jpeg_finish_decompress(&s->cinfo);
        s->started = 0;
    }
    return start_stream(sub, s);
}

// Lines until `row_count` have been decoded; -1 past the stream's end.
int decode_to(int row_count, JPEGRowState* s) {
    if (!s->started) return -1;
    while (s->cinfo.output_scanline < s->cinfo.output_height && s->cinfo.output_scanline < JDIMENSION(row_count)) {
        if (jpeg_read_scanlines(&s->cinfo, s->scanline, 1) != 1 || s->source.ended) return -1;
    }
    return s->cinfo.output_scanline >= JDIMENSION(row_count) && row_count > 0 ? 0 : -1;
}

bool selection_fits(const int* select, int nselected, int components) {
    for (int k = 0; k < nselected; ++k)
        if (select[k] < 0 || select[k] >= components) return false;
    return true;
}

}  // namespace

int JPEGinitAt(NITFFile* file, NITFImageSubHeader* sub, long offset, long limit, JPEGRowState* s) {
    if (!file || !file->file || !sub || !s) return -1;
    if (!s->initialised) prepare(s);
    if (setjmp(s->jerr.jump)) {
        s->failed = 1;
        return -1;
    }
    if (!s->initialised) create(file, s);
    if (init_at(sub, offset, limit, s) != 0) {
        s->failed = 1;
        return -1;
    }
    return 0;
}

int JPEGinit(NITFFile* file, NITFImageSubHeader* sub, int image_index, JPEGRowState* s) {
    const long start = data_start(file, image_index);
    if (start < 0) return -1;
    return JPEGinitAt(file, sub, start, file->LI[image_index], s);
}

int ResetJPEG(NITFFile*, NITFImageSubHeader* sub, JPEGRowState* s) {
    if (!s || !sub || !s->initialised || s->failed) return -1;
    if (setjmp(s->jerr.jump)) {
        s->failed = 1;
        return -1;
    }
    if (reset(sub, s) != 0) {
        s->failed = 1;
        return -1;
    }
    return 0;
}

int GetJPEGRow(NITFFile*, NITFImageSubHeader*, const int select[3], int nselected, int row_count, void* out,
               int out_width, JPEGRowState* s) {
    if (!s || !out || !s->initialised || s->failed) return -1;
    if (setjmp(s->jerr.jump)) {
        s->failed = 1;
        return -1;
    }
    if (decode_to(row_count, s) != 0) {
        s->failed = s->source.ended;
        return -1;
    }
    if (!selection_fits(select, nselected, s->cinfo.output_components)) return -1;
    jpeg_split_line(s->scanline[0], int(s->cinfo.output_width), s->cinfo.output_components, select, nselected,
                    static_cast<uint8_t*>(out), out_width);
    return 0;
}

void JPEGclose(NITFImageSubHeader*, JPEGRowState* s) {
    if (!s || !s->initialised) return;
    if (setjmp(s->jerr.jump) == 0) {
        if (s->started && !s->failed) {
            if (s->cinfo.output_scanline >= s->cinfo.output_height)
                jpeg_finish_decompress(&s->cinfo);
            else
                jpeg_abort_decompress(&s->cinfo);
        }
    }
    jpeg_destroy_decompress(&s->cinfo);
    s->initialised = 0;
    s->started = 0;
}

// --- Blocked images, decoded once --------------------------------------------

struct NITFDecodedImage {
    int ok = 0;
    int rows = 0, width = 0, planes = 0;
    std::vector<uint8_t> memory;
    FILE* file = nullptr;  // unlinked temporary file, when not in memory
    std::mutex lock;       // the file's position
    ~NITFDecodedImage() {
        if (file) tarn_fclose(file);
    }
};

namespace {

std::mutex g_cache_lock;
std::map<std::string, std::unique_ptr<NITFDecodedImage>> g_cache;
int g_decodes = 0;
size_t g_memory_limit = size_t(32) << 20;

FILE* temporary_file() {
    const char* dir = getenv("TMPDIR");
    std::string name = std::string(dir && *dir ? dir : "/tmp") + "/tarnimage-XXXXXX";
    std::vector<char> path(name.begin(), name.end());
    path.push_back(0);
    const int fd = mkstemp(path.data());
    if (fd < 0) return nullptr;
    unlink(path.data());  // nothing stays behind, whatever happens to the process
    FILE* fp = fdopen(fd, "w+b");
    if (!fp) close(fd);
    return fp;
}

struct BlockedDecode {
    NITFFile* file;
    NITFImageSubHeader* sub;
    const int* select;
    int nselected;
    NITFDecodedImage* image;
    std::vector<uint8_t> band_rows;  // one block row, when the image goes to a file

    uint8_t* row_at(int y) {
        const size_t row_bytes = size_t(image->width) * size_t(image->planes);
        if (image->file) return band_rows.data() + size_t(y % sub->NPPBV) * row_bytes;
        return image->memory.data() + size_t(y) * row_bytes;
    }

    // Decodes the stream started in `s` as block (br, bc).
    int block(JPEGRowState* s, int br, int bc) {
        const int components = s->cinfo.output_components;
        if (!selection_fits(select, nselected, components)) return -1;
        const int x0 = bc * sub->NPPBH;
        int n = sub->NPPBH;
        if (n > int(s->cinfo.output_width)) n = int(s->cinfo.output_width);
        if (n > image->width - x0) n = image->width - x0;
        while (s->cinfo.output_scanline < s->cinfo.output_height) {
            const int line = int(s->cinfo.output_scanline);
            if (jpeg_read_scanlines(&s->cinfo, s->scanline, 1) != 1 || s->source.ended) return -1;
            const int y = br * sub->NPPBV + line;
            if (line >= sub->NPPBV || y >= image->rows || n <= 0) continue;
            uint8_t* row = row_at(y);
            for (int k = 0; k < nselected; ++k) {
                uint8_t* to = row + size_t(k) * size_t(image->width) + size_t(x0);
                const JSAMPLE* from = s->scanline[0] + select[k];
                for (int i = 0; i < n; ++i, from += components) to[i] = *from;
            }
        }
        return 0;
    }

    int flush(int br) {
        if (!image->file) return 0;
        const size_t row_bytes = size_t(image->width) * size_t(image->planes);
        int count = image->rows - br * sub->NPPBV;
        if (count > sub->NPPBV) count = sub->NPPBV;
        if (tarn_fwrite(band_rows.data(), row_bytes, size_t(count), image->file) != size_t(count)) return -1;
        memset(band_rows.data(), 0, band_rows.size());
        return 0;
    }

    // All blocks, with the recovery point of `s` armed by the caller.
    int run(JPEGRowState* s, const NITFImageDataMask* mask) {
        const long start = data_start(file, 0);
        const long end = start + file->LI[0];
        for (int br = 0; br < sub->NBPC; ++br) {
            for (int bc = 0; bc < sub->NBPR; ++bc) {
                const int index = br * sub->NBPR + bc;
                if (mask) {
                    const uint32_t at = mask->BMR[0] ? mask->BMR[0][index] : NITF_BLOCK_ABSENT;
                    if (at == NITF_BLOCK_ABSENT) continue;
                    const long offset = start + long(mask->IMDATOFF) + long(at);
                    if (offset >= end) return -1;
                    if (init_at(sub, offset, end - offset, s) != 0) return -1;
                } else if (index == 0) {
                    if (init_at(sub, start, file->LI[0], s) != 0) return -1;
                } else if (reset(sub, s) != 0) {
                    return -1;
                }
                if (block(s, br, bc) != 0) return -1;
            }
            if (flush(br) != 0) return -1;
        }
        return 0;
    }
};

int decode_blocked(NITFFile* file, NITFImageSubHeader* sub, const int* select, int nselected,
                   NITFDecodedImage* image) {
    const size_t row_bytes = size_t(image->width) * size_t(image->planes);
    const size_t total = row_bytes * size_t(image->rows);
    if (total > (size_t(1) << 31)) return -1;
    BlockedDecode d{file, sub, select, nselected, image, {}};
    if (total <= g_memory_limit) {
        image->memory.assign(total, 0);
    } else {
        if (size_t(sub->NPPBV) > (size_t(1) << 31) / row_bytes) return -1;
        image->file = temporary_file();
        if (!image->file) return -1;
        d.band_rows.assign(row_bytes * size_t(sub->NPPBV), 0);
    }
    NITFImageDataMask mask;
    NITF_InitImageDataMaskHeader(&mask);
    const bool masked = NITF_ImageIsBlocked(sub);
    if (masked && (NITF_ReadImageDataMaskHeader(0, file, sub, &mask) != 0 || !mask.BMR[0])) {
        NITF_FreeImageDataMaskHeader(&mask);
        return -1;
    }
    JPEGRowState* s = static_cast<JPEGRowState*>(calloc(1, sizeof(JPEGRowState)));
    volatile int result = -1;
    if (s) {
        prepare(s);
        if (setjmp(s->jerr.jump) == 0) {
            create(file, s);
            result = d.run(s, masked ? &mask : nullptr);
        }
        JPEGclose(sub, s);
        free(s);
    }
    NITF_FreeImageDataMaskHeader(&mask);
    if (result == 0 && image->file && fflush(image->file) != 0) result = -1;
    return result;
}

}  // namespace

NITFDecodedImage* ReadBlockedJPEG(const char* path, NITFFile* file, NITFImageSubHeader* sub, const int select[3],
                                  int nselected) {
    if (!path || !file || !sub || nselected < 1 || nselected > 3) return nullptr;
    char real[PATH_MAX];
    struct stat st;
    if (!realpath(path, real) || stat(real, &st) != 0) return nullptr;
    std::string key = std::string(real) + '\n' + std::to_string(st.st_size) + ' ' + std::to_string(st.st_mtim.tv_sec) +
                      '.' + std::to_string(st.st_mtim.tv_nsec) + ' ' + std::to_string(st.st_ino) + ' ' +
                      std::to_string(sub->NROWS) + 'x' + std::to_string(sub->NCOLS);
    for (int k = 0; k < nselected; ++k) key += ' ' + std::to_string(select[k]);
    std::lock_guard<std::mutex> hold(g_cache_lock);
    auto found = g_cache.find(key);
    if (found != g_cache.end()) return found->second.get();
    std::unique_ptr<NITFDecodedImage> image(new NITFDecodedImage);
    image->rows = sub->NROWS;
    image->width = sub->NCOLS;
    image->planes = nselected;
    ++g_decodes;
    image->ok = decode_blocked(file, sub, select, nselected, image.get()) == 0;
    NITFDecodedImage* kept = image.get();
    g_cache[key] = std::move(image);
    return kept;
}

int GetRowFromFile(NITFDecodedImage* image, int row, void* out) {
    if (!image || !out || !image->ok || row < 0 || row >= image->rows) return -1;
    const size_t row_bytes = size_t(image->width) * size_t(image->planes);
    if (!image->file) {
        memcpy(out, image->memory.data() + size_t(row) * row_bytes, row_bytes);
        return 0;
    }
    std::lock_guard<std::mutex> hold(image->lock);
    if (tarn_fseek(image->file, long(size_t(row) * row_bytes), SEEK_SET) != 0) return -1;
    if (tarn_fread(out, 1, row_bytes, image->file) != row_bytes) return -1;
    return tarn_ferror(image->file) ? -1 : 0;
}

void NITF_ReleaseDecodedImages(void) {
    std::lock_guard<std::mutex> hold(g_cache_lock);
    g_cache.clear();
}

int NITF_DecodedImageCount(void) {
    std::lock_guard<std::mutex> hold(g_cache_lock);
    return g_decodes;
}

void NITF_SetDecodedMemoryLimit(size_t bytes) {
    std::lock_guard<std::mutex> hold(g_cache_lock);
    g_memory_limit = bytes;
}
