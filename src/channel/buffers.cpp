// Row buffers of the Image record, the display bitmap, the grid path's
// two-dimensional buffers, and the repackers between bit depths.

#include "channel/buffers.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform/alloc.h"
#include "channel/clyr.h"
#include "platform/report.h"
#include "colour/colormap.h"
#include <tarnimage/repack.h>

static_assert(sizeof(GridClyr) <= TARN_CLYR_RECORD_BYTES, "grid record outgrows its block");

namespace {

// Largest two-dimensional grid buffer we agree to allocate; grid geometry comes
// from files.
constexpr long long kMaxClyrBytes = 1LL << 28;

template <typename T>
void free_and_null(T*& pointer) {
    free(pointer);
    pointer = nullptr;
}

template <typename T>
T* zeroed_row(long count) {
    if (count <= 0) return nullptr;
    return static_cast<T*>(calloc(static_cast<size_t>(count), sizeof(T)));
}

template <typename T>
void free2_and_null(T**& block) {
    CFree2(reinterpret_cast<void**>(block));
    block = nullptr;
}

GridClyr* clyr_of(Image* image) { return static_cast<GridClyr*>(image->clyr); }

}  // namespace

extern "C" {

int get_internal_buffer_depth(int depth) {
    if (depth < 9) return 8;
    if (depth < 17) return 16;
    if (depth < 33) return 32;
    return -1;
}

int reset_internal_buffers(Image* image) {
    image->buf8 = nullptr;
    image->buf16 = nullptr;
    image->buf32 = nullptr;
    image->row8 = nullptr;
    image->row16 = nullptr;
    image->row32 = nullptr;
    for (int k = 0; k < 3; ++k) {
        image->mbuf8[k] = nullptr;
        image->mbuf16[k] = nullptr;
        image->mbuf32[k] = nullptr;
        image->mrow8[k] = nullptr;
        image->mrow16[k] = nullptr;
        image->mrow32[k] = nullptr;
    }
    return 1;
}

int reset_other_buffers(Image* image) {
    image->file_buffer = image->file_buffer2 = image->file_buffer3 = image->file_buffer4 = nullptr;
    image->aux_buffer = nullptr;
    image->colormap.alpha = image->colormap.red = image->colormap.green = image->colormap.blue =
        nullptr;
    image->colormap.pixels = nullptr;
    return 1;
}

int reset_buffers(Image* image) {
    reset_internal_buffers(image);
    reset_other_buffers(image);
    return 1;
}

int allocate_internal_buffers(Image* image) {
    long count = static_cast<long>(image->columns) * (image->nbands > 0 ? image->nbands : 1);
    switch (get_internal_buffer_depth(image->depth)) {
    case 8:
        image->buf8 = zeroed_row<uint8_t>(count);
        image->row8 = image->buf8;
        return image->buf8 ? 1 : -1;
    case 16:
        image->buf16 = zeroed_row<uint16_t>(count);
        image->row16 = image->buf16;
        return image->buf16 ? 1 : -1;
    case 32:
        image->buf32 = zeroed_row<uint32_t>(count);
        image->row32 = image->buf32;
        return image->buf32 ? 1 : -1;
    default:
        return -1;
    }
}

int allocate_multi_internal_buffers(Image* image) {
    long count = image->columns;
    for (int k = 0; k < 3; ++k) {
        switch (get_internal_buffer_depth(image->depth)) {
        case 8:
            image->mbuf8[k] = image->mrow8[k] = zeroed_row<uint8_t>(count);
            if (!image->mbuf8[k]) return -1;
            break;
        case 16:
            image->mbuf16[k] = image->mrow16[k] = zeroed_row<uint16_t>(count);
            if (!image->mbuf16[k]) return -1;
            break;
        case 32:
            image->mbuf32[k] = image->mrow32[k] = zeroed_row<uint32_t>(count);
            if (!image->mbuf32[k]) return -1;
            break;
        default:
            return -1;
        }
    }
    return 1;
}

int free_internal_buffers(Image* image) {
    switch (get_internal_buffer_depth(image->depth)) {
    case 8:
        free_and_null(image->buf8);
        image->row8 = nullptr;
        break;
    case 16:
        free_and_null(image->buf16);
        image->row16 = nullptr;
        break;
    case 32:
        free_and_null(image->buf32);
        image->row32 = nullptr;
        break;
    default:
        break;
    }
    return 1;
}

int free_multi_internal_buffers(Image* image) {
    for (int k = 0; k < 3; ++k) {
        switch (get_internal_buffer_depth(image->depth)) {
        case 8:
            free_and_null(image->mbuf8[k]);
            image->mrow8[k] = nullptr;
            break;
        case 16:
            free_and_null(image->mbuf16[k]);
            image->mrow16[k] = nullptr;
            break;
        case 32:
            free_and_null(image->mbuf32[k]);
            image->mrow32[k] = nullptr;
            break;
        default:
            break;
        }
    }
    return 1;
}

int free_other_buffers(Image* image) {
    free_and_null(image->file_buffer);
    free_and_null(image->file_buffer2);
    free_and_null(image->file_buffer4);
    free_and_null(image->file_buffer3);
    free_and_null(image->aux_buffer);
    free_colormap_buffers(&image->colormap);
    free_lut_buffers(&image->lut);
    return 1;
}

int free_buffers(Image* image) {
    free_internal_buffers(image);
    free_other_buffers(image);
    return 1;
}

int free_multi_buffers(Image* image) {
    free_multi_internal_buffers(image);
    free_other_buffers(image);
    return 1;
}

int reset_other_graphic_buffers(Image* image) {
    image->clr_table = nullptr;
    image->col_map = nullptr;
    return 1;
}

int reset_graphic_buffers(Image* image) {
    image->gbuf = image->grow = image->gbuf2 = image->grow2 = nullptr;
    for (int k = 0; k < 3; ++k) image->mgbuf[k] = image->mgrow[k] = nullptr;
    reset_other_graphic_buffers(image);
    return 1;
}

static long graphic_width(const Image* image, int mode) {
    switch (mode) {
    case 's': return image->out_cols;
    case 'i': return image->win_cols;
    case 'p': return image->out_cols > image->win_cols ? image->out_cols : image->win_cols;
    default: return -1;
    }
}

int allocate_graphic_buffers(Image* image, int mode) {
    long width = graphic_width(image, mode);
    if (width <= 0) return -1;
    image->gbuf = image->grow = zeroed_row<uint32_t>(width);
    image->gbuf2 = image->grow2 = zeroed_row<uint32_t>(width);
    return image->gbuf && image->gbuf2 ? 1 : -1;
}

int allocate_multi_graphic_buffers(Image* image, int mode) {
    long width = graphic_width(image, mode);
    if (width <= 0) return -1;
    image->gbuf = image->grow = zeroed_row<uint32_t>(width);
    for (int k = 0; k < 3; ++k) {
        image->mgbuf[k] = image->mgrow[k] = zeroed_row<uint32_t>(width);
        if (!image->mgbuf[k]) return -1;
    }
    image->gbuf2 = image->grow2 = zeroed_row<uint32_t>(width);
    return image->gbuf && image->gbuf2 ? 1 : -1;
}

int free_other_graphic_buffers(Image* image) {
    free_and_null(image->col_map);
    free_and_null(image->clr_table);
    return 1;
}

int free_graphic_buffers(Image* image) {
    free_and_null(image->gbuf);
    free_and_null(image->gbuf2);
    image->grow = image->grow2 = nullptr;
    free_other_graphic_buffers(image);
    return 1;
}

int free_multi_graphic_buffers(Image* image) {
    free_graphic_buffers(image);
    for (int k = 0; k < 3; ++k) {
        free_and_null(image->mgbuf[k]);
        image->mgrow[k] = nullptr;
    }
    return 1;
}

/* ---- The display bitmap ---- */

int tarn_screen_init(void* owner, Image* image, int) {
    image->screen_depth = TarnImage_GetBitmapDepth(owner);
    image->screen = owner;
    image->bitmap_bits = nullptr;
    image->bitmap_rows = nullptr;
    image->bitmap = nullptr;
    return 1;
}

int set_image_repack(void* owner, Image* image) {
    int bits = TarnImage_GetBitmapBitsPerPixel(owner);
    switch (bits) {
    case 1: image->repack = repack_32to1; break;
    case 4: image->repack = repack_32to4; break;
    case 6: image->repack = repack_32to6; break;
    case 8: image->repack = repack_32to8; break;
    case 16: image->repack = repack_32to16; break;
    case 24: image->repack = repack_32to24; break;
    case 32: image->repack = repack_32to32; break;
    default: {
        char text[64];
        snprintf(text, sizeof text, "%d-bit displays not supported\n", bits);
        user_error(text);
        return -1;
    }
    }
    return 1;
}

int allocate_display_buffer(void* owner, Image* image, int, int mode) {
    int width = mode ? image->win_cols : image->out_cols;
    image->bitmap_height = mode ? 1 : 16;
    image->bitmap = TarnImage_CreateBitmap(owner, width, image->bitmap_height);
    image->bitmap_bits = TarnImage_GetBitmapBuffer(owner);
    set_image_repack(owner, image);
    return 1;
}

int allocate_2d_display_buffer(void* owner, Image* image, int, int width, int height) {
    if (height <= 0 || width <= 0) return -1;
    image->bitmap_height = height;
    image->bitmap = TarnImage_CreateBitmap(owner, width, height);
    image->bitmap_bits = TarnImage_GetBitmapBuffer(owner);
    free_and_null(image->bitmap_rows);
    image->bitmap_rows = zeroed_row<uint8_t*>(height);
    if (!image->bitmap_rows) return -1;
    uint8_t* bits = static_cast<uint8_t*>(image->bitmap_bits);
    long stride = TarnImage_GetBitmapBytesPerLine(owner);
    // Without a buffer there are no rows to point at; they stay null.
    if (bits)
        for (int r = 0; r < height; ++r) image->bitmap_rows[r] = bits + r * stride;
    set_image_repack(owner, image);
    return 1;
}

int reset_all_display_buffers(Image* image) {
    image->bitmap_bits = nullptr;
    image->bitmap_rows = nullptr;
    image->bitmap = nullptr;
    return 1;
}

int free_all_display_buffers(Image* image) {
    // The bitmap is the owning object itself; only the row index is ours.
    if (image->bitmap) TarnImage_ReleaseBitmap(image->screen, image->bitmap);
    image->bitmap = nullptr;
    image->bitmap_bits = nullptr;
    free_and_null(image->bitmap_rows);
    return 1;
}

/* ---- Grid path buffers ---- */

int reset_clyr_internal_buffers(Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    clyr->row_index = nullptr;
    clyr->words = nullptr;
    clyr->samples = nullptr;
    for (int k = 0; k < 3; ++k) clyr->msamples[k] = nullptr;
    return 1;
}

int reset_clyr_graphic_buffers(Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    for (int k = 0; k < 4; ++k) clyr->graphic[k] = nullptr;
    return 1;
}

int reset_clyr_buffers(Image* image) {
    if (!clyr_of(image)) return -1;
    reset_clyr_internal_buffers(image);
    return 1;
}

// Twice the grid's extent at the given cell size, or twice a block, whichever
// is larger. A non-positive cell size counts the block only.
static int clyr_extent(int cells, float cell_size, int block) {
    double by_cells = 0.0;
    if (cell_size > 0.0f) by_cells = 2.0 * (static_cast<double>(cells) / cell_size);
    double by_block = 2.0 * static_cast<double>(block);
    double extent = by_cells > by_block ? by_cells : by_block;
    if (!(extent >= 1.0) || extent > 1e9) return -1;
    return static_cast<int>(extent);
}

static bool clyr_size_ok(long long width, long long height, long long sample_bytes) {
    return width > 0 && height > 0 && width * height * sample_bytes <= kMaxClyrBytes;
}

static int allocate_clyr_common(Image* image, float x, float y, bool multi) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    int width = clyr_extent(clyr->cells_across, x, clyr->block_width);
    int height = clyr_extent(clyr->cells_down, y, clyr->block_height);
    size_t sample = image->depth > 8 ? sizeof(uint32_t) : sizeof(uint8_t);
    if (!clyr_size_ok(width, height, sizeof(uint32_t))) return -1;
    clyr->buffer_width = width;
    clyr->buffer_height = height;
    clyr->row_index = static_cast<void**>(CAllocate1(height, sizeof(void*)));
    if (!clyr->row_index) return -1;
    clyr->words = reinterpret_cast<uint32_t**>(CAllocate2(height, width, sizeof(uint32_t)));
    if (!clyr->words) return -1;
    if (!multi) {
        clyr->samples = CAllocate2(height, width, sample);
        return clyr->samples ? 1 : -1;
    }
    for (int k = 0; k < 3; ++k) {
        clyr->msamples[k] = CAllocate2(height, width, sample);
        if (!clyr->msamples[k]) return -1;
    }
    return 1;
}

int allocate_clyr_internal_buffers(Image* image, int, float x, float y) {
    return allocate_clyr_common(image, x, y, false);
}

int allocate_clyr_multi_intrnl_buf(Image* image, int, float x, float y) {
    return allocate_clyr_common(image, x, y, true);
}

static int allocate_clyr_graphic_common(Image* image, int mode, int count) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    int width, height;
    switch (mode) {
    case 's': width = clyr->screen_width; height = clyr->screen_height; break;
    case 'i': width = clyr->block_width; height = clyr->block_height; break;
    default: return -1;
    }
    if (!clyr_size_ok(width, height, sizeof(uint32_t))) return -1;
    clyr->graphic_width = width;
    clyr->graphic_height = height;
    for (int k = 0; k < count; ++k) {
        void** block = CAllocate2(height, width, sizeof(uint32_t));
        clyr->graphic[k] = reinterpret_cast<uint32_t**>(block);
        if (!clyr->graphic[k]) return -1;
    }
    return 1;
}

int allocate_clyr_graphic_buffers(Image* image, int mode) {
    return allocate_clyr_graphic_common(image, mode, 2);
}

int allocate_clyr_multi_graphic_buf(Image* image, int mode) {
    return allocate_clyr_graphic_common(image, mode, 4);
}

int free_clyr_buffers(Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    CFree1(clyr->row_index);
    clyr->row_index = nullptr;
    free2_and_null(clyr->words);
    free2_and_null(clyr->samples);
    return 1;
}

int free_clyr_multi_buffers(Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    free_clyr_buffers(image);
    for (int k = 0; k < 3; ++k) free2_and_null(clyr->msamples[k]);
    return 1;
}

int free_clyr_other_graphic_buffers(Image* image) {
    // The colour table and column map are the Image's, as on the row path.
    return free_other_graphic_buffers(image);
}

int free_clyr_graphic_buffers(Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    free2_and_null(clyr->graphic[0]);
    free2_and_null(clyr->graphic[1]);
    free_clyr_other_graphic_buffers(image);
    return 1;
}

int free_clyr_multi_graphic_buffers(Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    for (int k = 0; k < 4; ++k) free2_and_null(clyr->graphic[k]);
    free_clyr_other_graphic_buffers(image);
    return 1;
}

int set_clyr_display_buffer(Image* image, int width, int height) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    clyr->display_width = width;
    clyr->display_height = height;
    return 1;
}

int allocate_clyr_display_buffer(void* owner, Image* image) {
    GridClyr* clyr = clyr_of(image);
    if (!clyr) return -1;
    return allocate_2d_display_buffer(owner, image, 0, clyr->display_width, clyr->display_height);
}

/* ---- Repacking ---- */

void repack_8to32(const uint8_t* source, uint32_t* target, int count) {
    for (int i = 0; i < count; ++i) target[i] = source[i];
}

void repack_16to32(const uint16_t* source, uint32_t* target, int count) {
    for (int i = 0; i < count; ++i) target[i] = source[i];
}

void repack_32to32(uint32_t* source, void* target, int count) {
    if (count > 0 && source != target)
        memmove(target, source, static_cast<size_t>(count) * sizeof(uint32_t));
}

void repack_32to16(uint32_t* source, void* target, int count) {
    uint16_t* out = static_cast<uint16_t*>(target);
    for (int i = 0; i < count; ++i) out[i] = static_cast<uint16_t>(source[i]);
}

void repack_32to8(uint32_t* source, void* target, int count) {
    uint8_t* out = static_cast<uint8_t*>(target);
    for (int i = 0; i < count; ++i) out[i] = static_cast<uint8_t>(source[i]);
}

void repack_32to24(uint32_t* source, void* target, int count) {
    uint8_t* out = static_cast<uint8_t*>(target);
    for (int i = 0; i < count; ++i) {
        *out++ = static_cast<uint8_t>(source[i] >> 16);
        *out++ = static_cast<uint8_t>(source[i] >> 8);
        *out++ = static_cast<uint8_t>(source[i]);
    }
}

void repack_32to12(uint32_t*, void*, int) {}

void repack_32to1(uint32_t* source, void* target, int count) {
    uint32_t* out = static_cast<uint32_t*>(target);
    for (int base = 0; base < count; base += 32) {
        uint32_t word = 0;
        int n = count - base < 32 ? count - base : 32;
        for (int k = 0; k < n; ++k)
            if (source[base + k]) word |= 1u << k;
        *out++ = word;
    }
}

void repack_32to4(uint32_t* source, void* target, int count) {
    uint32_t* out = static_cast<uint32_t*>(target);
    for (int base = 0; base < count; base += 8) {
        uint32_t word = 0;
        int n = count - base < 8 ? count - base : 8;
        for (int k = 0; k < n; ++k) word |= (source[base + k] & 15u) << (28 - 4 * k);
        *out++ = word;
    }
}

// Sixteen values to three words, five fields a word from the top, the sixth
// and eleventh split across word boundaries. Values are ORed with 63 rather
// than masked, so every field reads 63 and upper bits spill into neighbours:
// displays of this depth have always shown it so.
void repack_32to6(uint32_t* source, void* target, int count) {
    uint32_t* out = static_cast<uint32_t*>(target);
    for (int base = 0; base < count; base += 16) {
        int n = count - base < 16 ? count - base : 16;
        uint32_t v[16];
        for (int k = 0; k < 16; ++k) v[k] = k < n ? (source[base + k] | 63u) : 0u;
        uint32_t w0 = v[0] << 26 | v[1] << 20 | v[2] << 14 | v[3] << 8 | v[4] << 2 | v[5] >> 4;
        uint32_t w1 = v[5] << 28 | v[6] << 22 | v[7] << 16 | v[8] << 10 | v[9] << 4 | v[10] >> 2;
        uint32_t w2 = v[10] << 30 | v[11] << 24 | v[12] << 18 | v[13] << 12 | v[14] << 6 | v[15];
        // A short tail writes only the words its fields reach.
        int words = (n * 6 + 31) / 32;
        *out++ = w0;
        if (words > 1) *out++ = w1;
        if (words > 2) *out++ = w2;
    }
}

// The packed readers below load the tail word only when values remain in it:
// a whole number of groups never touches the word after the data.
void repack_2to8(uint32_t* source, void* target, int count) {
    uint8_t* out = static_cast<uint8_t*>(target);
    int groups = count > 0 ? count / 16 : 0;
    for (int g = 0; g < groups; ++g) {
        uint32_t word = source[g];
        for (int k = 0; k < 16; ++k) *out++ = static_cast<uint8_t>((word >> (30 - 2 * k)) & 3u);
    }
    int tail = count > 0 ? count % 16 : 0;
    if (tail) {
        uint32_t word = source[groups];
        for (int k = 0; k < tail; ++k) *out++ = static_cast<uint8_t>((word >> (30 - 2 * k)) & 3u);
    }
}

void repack_4to8(uint32_t* source, void* target, int count) {
    uint8_t* out = static_cast<uint8_t*>(target);
    int groups = count > 0 ? count / 8 : 0;
    for (int g = 0; g < groups; ++g) {
        uint32_t word = source[g];
        for (int k = 0; k < 8; ++k) *out++ = static_cast<uint8_t>((word >> (28 - 4 * k)) & 15u);
    }
    int tail = count > 0 ? count % 8 : 0;
    if (tail) {
        uint32_t word = source[groups];
        for (int k = 0; k < tail; ++k) *out++ = static_cast<uint8_t>((word >> (28 - 4 * k)) & 15u);
    }
}

void repack_6to8(uint32_t* source, void* target, int count) {
    const uint8_t* in = reinterpret_cast<const uint8_t*>(source);
    uint8_t* out = static_cast<uint8_t*>(target);
    for (int i = 0; i < count; ++i) {
        // Value i occupies bits 6i .. 6i+5 of the stream, low bits first.
        long bit = 6L * i;
        long byte = bit / 8;
        int shift = static_cast<int>(bit % 8);
        unsigned value = in[byte];
        if (shift > 2) value |= static_cast<unsigned>(in[byte + 1]) << 8;
        out[i] = static_cast<uint8_t>((value >> shift) & 63u);
    }
}

void repack_12to16(uint32_t* source, void* target, int count) {
    const uint8_t* in = reinterpret_cast<const uint8_t*>(source);
    uint16_t* out = static_cast<uint16_t*>(target);
    for (int i = 0; i < count; ++i) {
        const uint8_t* pair = in + 3L * (i / 2);
        if (i % 2 == 0)
            out[i] = static_cast<uint16_t>(pair[0] | (pair[1] & 0x0F) << 8);
        else
            out[i] = static_cast<uint16_t>(pair[1] >> 4 | pair[2] << 4);
    }
}

}
