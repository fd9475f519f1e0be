// Row kernels and their selection. Each kernel is one tight loop on one sample
// width; the choice is made once per open.

#include "channel/kernels.h"

#include <string.h>

#include "colour/assign.h"
#include "colour/colormap.h"
#include "drivers/builtin/decompress.h"
#include "drivers/driver.h"

namespace {

constexpr uint32_t kNoData = 0x80000001u;

enum Family { kFamily8, kFamily16, kFamily32, kFamilyNone };

Family family_of(int depth) {
    if (depth <= 8) return kFamily8;
    if (depth <= 16) return kFamily16;
    if (depth <= 32) return kFamily32;
    return kFamilyNone;
}

template <typename F8, typename F16, typename F32>
void choose(ImageKernelFunc& slot, int depth, F8 k8, F16 k16, F32 k32) {
    switch (family_of(depth)) {
    case kFamily8: slot = k8; break;
    case kFamily16: slot = k16; break;
    case kFamily32: slot = k32; break;
    case kFamilyNone: break;
    }
}

bool lut_has_table(const LutChannel& channel) {
    return channel.table && channel.high >= channel.low;
}

// Table entry for a value clamped into the channel's range.
inline uint32_t lut_value(const LutChannel& channel, int64_t value) {
    if (value < channel.low) value = channel.low;
    if (value > channel.high) value = channel.high;
    return channel.table[value - channel.low];
}

template <typename T>
void lookup_row(const LutChannel& channel, T* row, int count) {
    if (!row || !lut_has_table(channel)) return;
    for (int i = 0; i < count; ++i) row[i] = static_cast<T>(lut_value(channel, row[i]));
}

// 32-bit samples are signed; the no-data value passes untouched.
void lookup_row_nodata(const LutChannel& channel, uint32_t* row, int count) {
    if (!row || !lut_has_table(channel)) return;
    for (int i = 0; i < count; ++i) {
        if (row[i] == kNoData) continue;
        row[i] = lut_value(channel, static_cast<int32_t>(row[i]));
    }
}

template <typename T>
void index_row(const Colormap& map, T* row, int count) {
    if (map.ncolors == 0 || !row) return;
    for (int i = 0; i < count; ++i) {
        int64_t v = row[i];
        row[i] = static_cast<T>(v >= map.low && v <= map.high ? v - map.low + map.first
                                                              : map.outclr);
    }
}

void index_row_unsigned(const Colormap& map, uint32_t* row, int count) {
    if (map.ncolors == 0 || !row) return;
    uint32_t low = static_cast<uint32_t>(map.low), high = static_cast<uint32_t>(map.high);
    for (int i = 0; i < count; ++i) {
        uint32_t v = row[i];
        row[i] = v >= low && v <= high ? v - low + static_cast<uint32_t>(map.first)
                                       : static_cast<uint32_t>(map.outclr);
    }
}

// trunc(product) cut to its low byte through a 64-bit integer. A product
// beyond that integer's range (or NaN) converts to the indefinite integer,
// whose low byte is 0.
inline uint32_t scaled_low_byte(long double product) {
    if (!(product > -9.2e18L && product < 9.2e18L)) return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(product) & 255);
}

inline uint32_t scale16(uint32_t value, uint32_t minimum, float scale) {
    int32_t difference = static_cast<int32_t>(value - minimum);
    return scaled_low_byte(static_cast<long double>(difference) * static_cast<long double>(scale));
}

inline uint32_t scale32(uint32_t value, uint32_t minimum, float scale) {
    uint64_t difference = static_cast<uint32_t>(value - minimum);
    return scaled_low_byte(static_cast<long double>(difference) * static_cast<long double>(scale));
}

uint32_t float_bits(float value) {
    uint32_t bits;
    memcpy(&bits, &value, sizeof bits);
    return bits;
}

float bits_float(uint32_t bits) {
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

uint32_t lut_channel_word(const LutChannel& channel, long index) {
    switch (index) {
    case 0: return static_cast<uint32_t>(channel.enabled);
    case 1: return static_cast<uint32_t>(channel.low);
    case 2: return static_cast<uint32_t>(channel.high);
    case 3: return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(channel.table));
    case 4: return float_bits(channel.float_low);
    default: return float_bits(channel.float_high);
    }
}

constexpr long kNameWords = 128 / 4;
constexpr long kChannelWords = 6;
constexpr long kLutWords = kNameWords + 1 + 3 * kChannelWords;

// The multi-band scalers walk their band arrays by column. Column i uses
// minimum word i and scale word i + 6 of this view, so columns past the third
// take the words of the fields that follow in the records; the view ends in
// zeros, so no column reads past them.
template <typename T>
void scale_multi(Image* image, T** planes, uint32_t (*scale)(uint32_t, uint32_t, float)) {
    bool scaled[3] = {false, false, false};
    int counter = 0;
    do {
        T* plane = planes[counter];
        float band_scale = image->colormap.band_step[counter];
        if (band_scale != 0.0f) {
            // A window of 0 or 1 column brings the counter back to a band
            // already done, which never ends; each band is scaled once.
            if (scaled[counter]) return;
            scaled[counter] = true;
            for (counter = 0; counter < image->win_cols; ++counter) {
                if (!plane) continue;
                uint32_t minimum = scale_record_word(image, counter);
                float step = bits_float(scale_record_word(image, counter + 6L));
                plane[counter] = static_cast<T>(scale(plane[counter], minimum, step));
            }
        }
        ++counter;
    } while (counter <= 2);
}

template <typename T>
void resample_row(const Image* image, const T* row, uint32_t* target, const int32_t* map,
                  int count) {
    int limit = image->win_cols;
    if (!row || !target || !map || limit <= 0) return;
    for (int i = 0; i < count; ++i) {
        uint32_t column = static_cast<uint32_t>(map[i]);
        // Maps come from the window mapper and stay inside the window.
        if (column >= static_cast<uint32_t>(limit)) column = static_cast<uint32_t>(limit - 1);
        target[i] = row[column];
    }
}

template <typename T>
void resample_cmap_row(Image* image, const T* row) {
    int limit = image->win_cols;
    if (!row || !image->grow || !image->col_map || limit <= 0) return;
    for (int i = 0; i < image->out_cols; ++i) {
        uint32_t column = static_cast<uint32_t>(image->col_map[i]);
        if (column >= static_cast<uint32_t>(limit)) column = static_cast<uint32_t>(limit - 1);
        image->grow[i] = clr_table_entry(image, row[column]);
    }
}

template <typename T>
void firstfit_row(Image* image, const T* row, const int32_t* index, int count) {
    if (!image->grow || !index) return;
    uint32_t* target = image->grow;
    resample_row(image, row, target, index, count);
    for (int i = 0; i < count && row; ++i) target[i] = clr_table_entry(image, target[i]);
}

template <typename T>
void copy_row(const T* row, uint32_t* target, int count) {
    if (!row || !target) return;
    for (int i = 0; i < count; ++i) target[i] = row[i];
}

// A depth past 32 bits leaves a slot as it was; a slot still empty then does
// nothing rather than being called through null.
void finish_selection(Image* image) {
    if (!image->lookup) image->lookup = LookupNoOp;
    if (!image->index) image->index = IndexNoOp;
    if (!image->resample) image->resample = ResampleNoOp;
    if (image->depth == 1) {
        set_g3_globals();
        set_g4_globals();
    }
}

}  // namespace

extern "C" {

uint32_t scale_record_word(const Image* image, long index) {
    const Colormap& map = image->colormap;
    if (index < 0) return 0;
    if (index < 3) return map.band_low[index];
    if (index < 6) return map.band_high[index - 3];
    if (index < 9) return float_bits(map.band_step[index - 6]);
    index -= 9;
    if (index >= kLutWords) return 0;
    const Lut& lut = image->lut;
    if (index < kNameWords) {
        const unsigned char* name = reinterpret_cast<const unsigned char*>(lut.name) + 4 * index;
        return name[0] | name[1] << 8 | name[2] << 16 | static_cast<uint32_t>(name[3]) << 24;
    }
    index -= kNameWords;
    if (index == 0) return static_cast<uint32_t>(lut.is_single);
    index -= 1;
    const LutChannel* channels[3] = {&lut.red, &lut.green, &lut.blue};
    return lut_channel_word(*channels[index / kChannelWords], index % kChannelWords);
}

/* ---- lookup ---- */

void Lookup8BitBuf(Image* image) { lookup_row(image->lut.red, image->row8, image->win_cols); }
void Lookup16BitBuf(Image* image) { lookup_row(image->lut.red, image->row16, image->win_cols); }
void Lookup32BitBuf(Image* image) {
    lookup_row_nodata(image->lut.red, image->row32, image->win_cols);
}

void LookupResampleBuf(Image* image) {
    uint32_t* row = image->grow;
    if (!row) return;
    if (lut_has_table(image->lut.red)) {
        lookup_row_nodata(image->lut.red, row, image->out_cols);
        return;
    }
    // 16-bit rows without a table come down to 8 bits.
    if (image->depth < 9 || image->depth > 16) return;
    for (int i = 0; i < image->out_cols; ++i) {
        if (row[i] == kNoData) continue;
        int32_t v = static_cast<int32_t>(row[i]);
        if (v < 0) v = 0;
        if (v > 65535) v = 65535;
        row[i] = static_cast<uint32_t>(v) >> 8;
    }
}

void Lookup8BitMultibuf(Image* image) {
    const LutChannel* channels[3] = {&image->lut.red, &image->lut.green, &image->lut.blue};
    for (int k = 0; k < 3; ++k) lookup_row(*channels[k], image->mrow8[k], image->win_cols);
}

void Lookup16BitMultibuf(Image* image) {
    const LutChannel* channels[3] = {&image->lut.red, &image->lut.green, &image->lut.blue};
    for (int k = 0; k < 3; ++k) lookup_row(*channels[k], image->mrow16[k], image->win_cols);
}

void Lookup32BitMultibuf(Image* image) {
    const LutChannel* channels[3] = {&image->lut.red, &image->lut.green, &image->lut.blue};
    for (int k = 0; k < 3; ++k) {
        // Planes are plain values here: no no-data rule.
        uint32_t* row = image->mrow32[k];
        const LutChannel& channel = *channels[k];
        if (!row || !lut_has_table(channel)) continue;
        for (int i = 0; i < image->win_cols; ++i)
            row[i] = lut_value(channel, static_cast<int32_t>(row[i]));
    }
}

void LookupMultiResampleBuf(Image* image) {
    const LutChannel* channels[3] = {&image->lut.red, &image->lut.green, &image->lut.blue};
    for (int k = 0; k < 3; ++k) {
        uint32_t* row = image->mgrow[k];
        const LutChannel& channel = *channels[k];
        if (!row || !lut_has_table(channel)) continue;
        for (int i = 0; i < image->out_cols; ++i)
            row[i] = lut_value(channel, static_cast<int32_t>(row[i]));
    }
}

void LookupNoOp(Image*) {}

/* ---- scale ---- */

void Scale16BitBuf(Image* image) {
    float scale = image->colormap.gray_step;
    uint16_t* row = image->row16;
    if (scale == 0.0f || !row) return;
    uint32_t minimum = image->colormap.gray_low;
    for (int i = 0; i < image->win_cols; ++i)
        row[i] = static_cast<uint16_t>(scale16(row[i], minimum, scale));
}

void Scale32BitBuf(Image* image) {
    float scale = image->colormap.gray_step;
    uint32_t* row = image->row32;
    if (scale == 0.0f || !row) return;
    uint32_t minimum = image->colormap.gray_low;
    for (int i = 0; i < image->win_cols; ++i) row[i] = scale32(row[i], minimum, scale);
}

void Scale16BitMultibuf(Image* image) { scale_multi(image, image->mrow16, scale16); }
void Scale32BitMultibuf(Image* image) { scale_multi(image, image->mrow32, scale32); }

/* ---- index ---- */

void Index8BitBuf(Image* image) { index_row(image->colormap, image->row8, image->win_cols); }
void Index16BitBuf(Image* image) { index_row(image->colormap, image->row16, image->win_cols); }
void Index32BitBuf(Image* image) {
    index_row_unsigned(image->colormap, image->row32, image->win_cols);
}

void IndexResampleBuf(Image* image) {
    // grow holds widened samples: compared as the row's own width would be.
    if (image->depth <= 16)
        index_row(image->colormap, image->grow, image->out_cols);
    else
        index_row_unsigned(image->colormap, image->grow, image->out_cols);
}

void IndexNoOp(Image*) {}

/* ---- resample ---- */

void Resample8BitBuf(Image* image) {
    resample_row(image, image->row8, image->grow, image->col_map, image->out_cols);
}
void Resample16BitBuf(Image* image) {
    resample_row(image, image->row16, image->grow, image->col_map, image->out_cols);
}
void Resample32BitBuf(Image* image) {
    resample_row(image, image->row32, image->grow, image->col_map, image->out_cols);
}

void Resample8BitMultibuf(Image* image) {
    for (int k = 0; k < 3; ++k)
        resample_row(image, image->mrow8[k], image->mgrow[k], image->col_map, image->out_cols);
}
void Resample16BitMultibuf(Image* image) {
    for (int k = 0; k < 3; ++k)
        resample_row(image, image->mrow16[k], image->mgrow[k], image->col_map, image->out_cols);
}
void Resample32BitMultibuf(Image* image) {
    for (int k = 0; k < 3; ++k)
        resample_row(image, image->mrow32[k], image->mgrow[k], image->col_map, image->out_cols);
}

void ResampleCMap8BitBuf(Image* image) { resample_cmap_row(image, image->row8); }
void ResampleCMap16BitBuf(Image* image) { resample_cmap_row(image, image->row16); }
void ResampleCMap32BitBuf(Image* image) { resample_cmap_row(image, image->row32); }

void ResampleCMapInPlace(Image* image) { Resample_Color_Lookup(image, image->out_cols); }

void ResampleNoOp(Image*) {}

void Resample_Firstfit_8(Image* image, const int32_t* index, int count) {
    firstfit_row(image, image->row8, index, count);
}
void Resample_Firstfit_16(Image* image, const int32_t* index, int count) {
    firstfit_row(image, image->row16, index, count);
}
void Resample_Firstfit_32(Image* image, const int32_t* index, int count) {
    firstfit_row(image, image->row32, index, count);
}

void Resample_Color_Lookup(Image* image, int count) {
    uint32_t* row = image->grow;
    if (!row) return;
    for (int i = 0; i < count; ++i) row[i] = clr_table_entry(image, row[i]);
}

void Resample_Transparent_FG(Image* image, uint32_t* target, int count) {
    const uint32_t* row = image->grow;
    if (!row || !target) return;
    for (int i = 0; i < count; ++i) target[i] = row[i] ? clr_table_entry(image, row[i]) : 0;
}

void Resample_Transparent_Mask(Image* image, uint32_t* target, int count, uint32_t value) {
    const uint32_t* row = image->grow;
    if (!row || !target) return;
    for (int i = 0; i < count; ++i) target[i] = row[i] ? value : 0;
}

void Resample_Dither_8(Image* image, const int32_t* index, int count) {
    resample_row(image, image->row8, image->grow, index, count);
}
void Resample_Dither_16(Image* image, const int32_t* index, int count) {
    resample_row(image, image->row16, image->grow, index, count);
}
void Resample_Dither_32(Image* image, const int32_t* index, int count) {
    resample_row(image, image->row32, image->grow, index, count);
}

void Resample_Multi_8(Image* image, const int32_t* index, int count) {
    for (int k = 0; k < 3; ++k) resample_row(image, image->mrow8[k], image->mgrow[k], index, count);
}
void Resample_Multi_16(Image* image, const int32_t* index, int count) {
    for (int k = 0; k < 3; ++k)
        resample_row(image, image->mrow16[k], image->mgrow[k], index, count);
}
void Resample_Multi_32(Image* image, const int32_t* index, int count) {
    for (int k = 0; k < 3; ++k)
        resample_row(image, image->mrow32[k], image->mgrow[k], index, count);
}

void Resample_Copy_8(Image* image, int count) { copy_row(image->row8, image->grow, count); }
void Resample_Copy_16(Image* image, int count) { copy_row(image->row16, image->grow, count); }
void Resample_Copy_32(Image* image, int count) { copy_row(image->row32, image->grow, count); }

void Resample_Multi_Copy_8(Image* image, int count) {
    for (int k = 0; k < 3; ++k) copy_row(image->mrow8[k], image->mgrow[k], count);
    copy_row(image->row8, image->grow, count);
}
void Resample_Multi_Copy_16(Image* image, int count) {
    for (int k = 0; k < 3; ++k) copy_row(image->mrow16[k], image->mgrow[k], count);
    copy_row(image->row16, image->grow, count);
}
void Resample_Multi_Copy_32(Image* image, int count) {
    for (int k = 0; k < 3; ++k) copy_row(image->mrow32[k], image->mgrow[k], count);
    copy_row(image->row32, image->grow, count);
}

/* ---- selection ---- */

int allocate_lookup(Image* image) {
    if (is_external_lut(&image->lut) && image->lut.red.table)
        choose(image->lookup, image->depth, Lookup8BitBuf, Lookup16BitBuf, Lookup32BitBuf);
    else if (!image->lookup)
        image->lookup = LookupNoOp;
    if (is_external_colormap(&image->colormap))
        choose(image->index, image->depth, Index8BitBuf, Index16BitBuf, Index32BitBuf);
    else if (!image->index)
        image->index = IndexNoOp;
    return 1;
}

int allocate_multi_lookup(Image* image) {
    const Lut& lut = image->lut;
    if (is_external_lut(&lut) && (lut.red.table || lut.green.table || lut.blue.table))
        choose(image->lookup, image->depth, Lookup8BitMultibuf, Lookup16BitMultibuf,
               Lookup32BitMultibuf);
    else if (!image->lookup)
        image->lookup = LookupNoOp;
    image->index = IndexNoOp;
    return 1;
}

static uint32_t driver_flags(const Image* image) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver ? driver->flags : 0;
}

// Only some drivers can resample rows as they read them.
static void select_direct_single(Image* image) {
    if (!(driver_flags(image) & DRIVER_RESAMPLES_ROWS)) return;
    if (is_external_lut(&image->lut)) image->lookup = LookupResampleBuf;
    if (is_external_colormap(&image->colormap)) image->index = IndexResampleBuf;
    image->resample = ResampleNoOp;
}

int allocate_resamplers(Image* image) {
    allocate_lookup(image);
    image->row_resampled = 0;
    choose(image->resample, image->depth, Resample8BitBuf, Resample16BitBuf, Resample32BitBuf);
    if (image->direct_resampling && (driver_flags(image) & DRIVER_RESAMPLES_ROWS)) {
        select_direct_single(image);
        image->row_resampled = 1;
    }
    finish_selection(image);
    return 1;
}

int allocate_resamplers_push(Image* image) {
    allocate_lookup(image);
    choose(image->resample, image->depth, Resample8BitBuf, Resample16BitBuf, Resample32BitBuf);
    if (driver_flags(image) & DRIVER_FINISHED_ROWS) {
        image->lookup = LookupNoOp;
        image->index = IndexNoOp;
        image->resample = ResampleNoOp;
    } else if (image->direct_resampling) {
        select_direct_single(image);
    }
    finish_selection(image);
    return 1;
}

static void select_direct_multi_tiff(Image* image) {
    const Lut& lut = image->lut;
    bool any_table = lut.red.table || lut.green.table || lut.blue.table;
    if (!is_external_lut(&lut) || !any_table) {
        image->resample = ResampleNoOp;
        return;
    }
    image->lookup = LookupMultiResampleBuf;
    image->index = IndexNoOp;
    image->resample = ResampleNoOp;
}

int allocate_multi_resamplers(Image* image) {
    allocate_multi_lookup(image);
    choose(image->resample, image->depth, Resample8BitMultibuf, Resample16BitMultibuf,
           Resample32BitMultibuf);
    if (image->direct_resampling) {
        if (driver_flags(image) & DRIVER_FINISHED_ROWS) {
            image->lookup = LookupNoOp;
            image->index = IndexNoOp;
            image->resample = ResampleNoOp;
        } else if (driver_flags(image) & DRIVER_RESAMPLES_MULTI_ROWS) {
            select_direct_multi_tiff(image);
        }
    }
    finish_selection(image);
    return 1;
}

int allocate_multi_resamplers_push(Image* image) {
    allocate_multi_lookup(image);
    choose(image->resample, image->depth, Resample8BitMultibuf, Resample16BitMultibuf,
           Resample32BitMultibuf);
    if (driver_flags(image) & DRIVER_FINISHED_ROWS) {
        image->lookup = LookupNoOp;
        image->index = IndexNoOp;
        image->resample = ResampleNoOp;
    } else if (image->direct_resampling && (driver_flags(image) & DRIVER_RESAMPLES_MULTI_ROWS)) {
        select_direct_multi_tiff(image);
    }
    finish_selection(image);
    return 1;
}

}
