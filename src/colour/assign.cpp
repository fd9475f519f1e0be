// Colour assignment: an empty colormap gets a default ramp, then each channel
// gets either a table of packed colours (remap) or a dither function.

#include "colour/assign.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform/alloc.h"
#include "platform/report.h"
#include "colour/colormap.h"
#include "colour/dither.h"
#include "drivers/driver.h"
#include <tarnimage/bitmap_shim.h>

namespace {

// One process-wide value, unlocked; the RGB stream sets it to 0 under its lock.
float dither_threshold = 0.75f;

constexpr int kTrueColourCount = 0x1000000;

struct CubeMember {
    int red_bits, green_bits, blue_bits;
    ImageDitherFunc colour, multi, packed;
};

// Members by screen bits: 1 to 12 and 24; any other count takes 444.
const CubeMember kCube[] = {
    {1, 0, 0, colordither_to_100_bits, multicolordither_to_100_bits, truecolordither_to_100_bits},
    {1, 1, 0, colordither_to_110_bits, multicolordither_to_110_bits, truecolordither_to_110_bits},
    {1, 1, 1, colordither_to_111_bits, multicolordither_to_111_bits, truecolordither_to_111_bits},
    {2, 1, 1, colordither_to_211_bits, multicolordither_to_211_bits, truecolordither_to_211_bits},
    {2, 2, 1, colordither_to_221_bits, multicolordither_to_221_bits, truecolordither_to_221_bits},
    {2, 2, 2, colordither_to_222_bits, multicolordither_to_222_bits, truecolordither_to_222_bits},
    {3, 2, 2, colordither_to_322_bits, multicolordither_to_322_bits, truecolordither_to_322_bits},
    {3, 3, 2, colordither_to_332_bits, multicolordither_to_332_bits, truecolordither_to_332_bits},
    {3, 3, 3, colordither_to_333_bits, multicolordither_to_333_bits, truecolordither_to_333_bits},
    {4, 3, 3, colordither_to_433_bits, multicolordither_to_433_bits, truecolordither_to_433_bits},
    {4, 4, 3, colordither_to_443_bits, multicolordither_to_443_bits, truecolordither_to_443_bits},
    {4, 4, 4, colordither_to_444_bits, multicolordither_to_444_bits, truecolordither_to_444_bits},
};
const CubeMember kCube888 = {8, 8, 8, colordither_to_888_bits, multicolordither_to_888_bits,
                             truecolordither_to_888_bits};

const CubeMember& cube_member(int bits) {
    if (bits == 24) return kCube888;
    if (bits >= 1 && bits <= 12) return kCube[bits - 1];
    return kCube[11];
}

struct GreyMember {
    ImageDitherFunc dither;
    int levels;
};

GreyMember grey_member(int gray_bits) {
    switch (gray_bits) {
    case 1: return {graydither_to_1_bits, 2};
    case 2: return {graydither_to_2_bits, 4};
    case 3: return {graydither_to_3_bits, 8};
    case 4:
    case 5:
    case 6:
    case 7: return {graydither_to_4_bits, 16};
    default: return {graydither_to_8_bits, 256};
    }
}

// (float) truncated to an int and kept in a byte; a value no int holds
// converts to the indefinite integer, whose low byte is 0.
uint8_t truncated_byte(float value) {
    if (!(value > -2147483648.0f && value < 2147483648.0f)) return 0;
    return static_cast<uint8_t>(static_cast<int32_t>(value));
}

// Replaces the table of a channel with a fresh zeroed one of `count` entries.
uint32_t* fresh_table(Image* image, long count) {
    free(image->clr_table);
    image->clr_table = static_cast<uint32_t*>(calloc(static_cast<size_t>(count > 0 ? count : 1),
                                                     sizeof(uint32_t)));
    return image->clr_table;
}

// The colour arrays of an empty colormap, zeroed. Stale arrays of a record
// that claims no colours would be lost, so they go first.
int allocate_colour_arrays(Colormap* map) {
    free(map->red);
    free(map->green);
    free(map->blue);
    size_t n = static_cast<size_t>(map->ncolors);
    map->red = static_cast<uint8_t*>(C_calloc(n, 1));
    map->green = static_cast<uint8_t*>(C_calloc(n, 1));
    map->blue = static_cast<uint8_t*>(C_calloc(n, 1));
    return map->red && map->green && map->blue ? 1 : -1;
}

// The colour cube of a palette screen, as three arrays of n entries.
int build_cube(int n, const CubeMember* member, bool grey, uint8_t** red, uint8_t** green,
               uint8_t** blue) {
    *red = static_cast<uint8_t*>(calloc(static_cast<size_t>(n), 1));
    *green = static_cast<uint8_t*>(calloc(static_cast<size_t>(n), 1));
    *blue = static_cast<uint8_t*>(calloc(static_cast<size_t>(n), 1));
    if (!*red || !*green || !*blue) return -1;
    if (grey)
        fill_grey_cube(n, *red, *green, *blue);
    else
        fill_colour_cube(member->red_bits, member->green_bits, member->blue_bits, *red, *green,
                         *blue);
    return 1;
}

// A colour type with no dither family (a stray color_type of a record) leaves
// the row as it is rather than calling through null.
void dither_nothing(Image*, int) {}

}  // namespace

extern "C" {

void set_dither_threshold(const float* threshold) {
    if (threshold && !(*threshold < 0.0f)) dither_threshold = *threshold;
}

void get_dither_threshold(float* threshold) {
    if (threshold) *threshold = dither_threshold;
}

int initialize_image_colors(void*, Image*) { return 1; }
int translate_colormap_indices(void*, Image*) { return 1; }
int translate_image_truecolor(Image*) { return 1; }

int get_available_depth(unsigned count) {
    int bits = 0;
    while (bits < 32 && (1ull << bits) < count) ++bits;
    return bits;
}

int get_equal_color_levels(int count) {
    if (count <= 0) return 0;
    long long levels = 0;
    while ((levels + 1) * (levels + 1) * (levels + 1) <= count) ++levels;
    return static_cast<int>(levels);
}

int get_available_colors_for_image(void* screen, int* true_colour, int* levels, int* colours,
                                   int* free_count) {
    *true_colour = TarnImage_IsTrueColor();
    TarnImage_DescribeColorMap(screen, colours, levels, free_count);
    return 1;
}

int allocate_image_colors(void* screen, int count, uint32_t* table, const uint8_t* red,
                          const uint8_t* green, const uint8_t* blue, int) {
    if (!table || count <= 0) return 1;
    if (TarnImage_IsTrueColor()) {
        for (int i = 0; i < count; ++i) {
            uint32_t r = red ? red[i] : 0, g = green ? green[i] : 0, b = blue ? blue[i] : 0;
            table[i] = b << 16 | g << 8 | r;
        }
        return 1;
    }
    void* rgb = TarnImage_ReturnRgbArray(screen, count);
    TarnImage_TranslateRgbArray(screen, rgb, count, table);
    TarnImage_DisposeRgbArray(screen, rgb);
    return 1;
}

int is_gray_colormap(const Colormap* map) {
    if (map->ncolors <= 0 || !map->red || !map->green || !map->blue) return 1;
    for (int i = 0; i < map->ncolors; ++i) {
        int r = map->red[i], g = map->green[i], b = map->blue[i];
        if (abs(r - g) > 2 || abs(b - g) > 2) return 0;
    }
    return 1;
}

int is_bw_colormap(const Colormap* map) {
    if (!map || map->ncolors != 2 || !map->red || !map->green || !map->blue) return 0;
    bool black_white = (map->red[0] == 0 && map->red[1] == 255) ||
                       (map->red[0] == 255 && map->red[1] == 0);
    if (!black_white) return 0;
    for (int i = 0; i < 2; ++i)
        if (map->green[i] != map->red[i] || map->blue[i] != map->green[i]) return 0;
    return 1;
}

void fill_colour_cube(int red_bits, int green_bits, int blue_bits, uint8_t* red, uint8_t* green,
                      uint8_t* blue) {
    int rb = red_bits, gb = green_bits, bb = blue_bits;
    auto step_of = [](int bits) { return bits >= 1 ? 255 / ((1 << bits) - 1) : 0; };
    int rs = step_of(rb), gs = step_of(gb), bs = step_of(bb);
    int n = 1 << (rb + gb + bb);
    for (int i = 0; i < n; ++i) {
        int r = (i >> (gb + bb)) & ((1 << rb) - 1);
        int g = (i >> bb) & ((1 << gb) - 1);
        int b = i & ((1 << bb) - 1);
        red[i] = static_cast<uint8_t>(r * rs);
        green[i] = static_cast<uint8_t>(g * gs);
        blue[i] = static_cast<uint8_t>(b * bs);
        // A one-bit cube is grey; the (1, 1, 0) cube has a middle blue.
        if (rb + gb + bb == 1) green[i] = blue[i] = red[i];
        if (rb + gb + bb == 2) blue[i] = 127;
    }
}

void fill_grey_cube(int n, uint8_t* red, uint8_t* green, uint8_t* blue) {
    int step = n > 1 ? 255 / (n - 1) : 0;
    for (int i = 0; i < n; ++i) red[i] = green[i] = blue[i] = static_cast<uint8_t>(i * step);
}

void fill_grey_ramp(uint8_t* array, int ncolors, uint32_t low, uint32_t high, float* step,
                    int bilevel_reversed) {
    if (!array || ncolors < 1) return;
    long long n = ncolors;
    float s = *step;
    if (s > 0.0f) {
        // The bounds come from the record; the loops stop at the array's end.
        long long i = 0;
        for (; i <= static_cast<long long>(low) && i < n; ++i) array[i] = 0;
        for (i = static_cast<long long>(low) + 1; i < static_cast<long long>(high) && i < n; ++i)
            array[i] = truncated_byte(static_cast<float>(i - low) * s);
        for (i = high; i < n; ++i) array[i] = 255;
        return;
    }
    if (n == 2 && bilevel_reversed) {
        // Bi-level images show 0 as white.
        array[0] = 255;
        array[1] = 0;
        return;
    }
    // A single colour has no steps: it stays black.
    int even = n > 1 ? 255 / (ncolors - 1) : 0;
    *step = static_cast<float>(even);
    for (long long i = 0; i < n; ++i) array[i] = static_cast<uint8_t>(i * even);
}

int image_alloc_colors(void* screen, Image* image, int multi, int colour_type, int dither) {
    int true_colour = 0, levels = 0, colours = 0, free_count = 0;
    if (get_available_colors_for_image(screen, &true_colour, &levels, &colours, &free_count) < 0)
        return -1;
    int bits, gray_bits;
    if (!true_colour) {
        long long available = static_cast<long long>(colours) + free_count;
        if (available < 2) {
            user_error("No colors available for image display\n");
            return -1;
        }
        bits = get_available_depth(static_cast<unsigned>(available > 0xFFFFFFFFLL ? 0xFFFFFFFFLL
                                                                                  : available));
        if (levels == 0 && colours != 0) {
            levels = get_equal_color_levels(colours);
            if (levels < 2) levels = 2;
        }
        levels += free_count;
        gray_bits = get_available_depth(static_cast<unsigned>(levels > 0 ? levels : 0));
    } else {
        colours = free_count = levels = kTrueColourCount;
        bits = 24;
        gray_bits = 8;
    }
    float t = 0.0f;
    get_dither_threshold(&t);

    Colormap& map = image->colormap;
    float n = static_cast<float>(map.ncolors);
    bool remap = !multi && ((colour_type == TARN_COLOUR &&
                             (n * t <= static_cast<float>(free_count) ||
                              t * 4.0f * n <= static_cast<float>(colours))) ||
                            (colour_type == TARN_GREY && levels > 19) || map.has_pixels != 0);
    if (remap) {
        image->dither_on = 0;
        if (!fresh_table(image, map.ncolors)) return -1;
        allocate_image_colors(screen, map.ncolors, image->clr_table, map.red, map.green, map.blue,
                              dither);
        if (map.has_pixels) {
            translate_colormap_indices(screen, image);
            for (int i = 0; map.pixels && i < map.ncolors; ++i)
                if (map.pixels[i] >= 0) image->clr_table[i] = static_cast<uint32_t>(map.pixels[i]);
        }
        return 1;
    }

    image->dither_on = 1;
    const CubeMember& member = cube_member(bits);
    bool grey = colour_type == TARN_GREY;
    int cube_size;
    if (grey) {
        GreyMember g = grey_member(gray_bits);
        image->dither = g.dither;
        cube_size = g.levels;
    } else {
        if (colour_type == TARN_COLOUR)
            image->dither = member.colour;
        else if (colour_type == TARN_TRUE_COLOUR)
            image->dither = multi ? member.multi : member.packed;
        else if (!image->dither)
            image->dither = dither_nothing;
        cube_size = 1 << (member.red_bits + member.green_bits + member.blue_bits);
    }
    if (true_colour) return 1;

    uint8_t *red = nullptr, *green = nullptr, *blue = nullptr;
    int result = build_cube(cube_size, &member, grey, &red, &green, &blue);
    // The table also covers every colormap index, so a remap of it stays inside.
    long entries = cube_size > map.ncolors ? cube_size : map.ncolors;
    if (result == 1 && !fresh_table(image, entries)) result = -1;
    if (result == 1)
        allocate_image_colors(screen, cube_size, image->clr_table, red, green, blue, dither);
    free(red);
    free(green);
    free(blue);
    return result;
}

static uint32_t driver_flags(const Image* image) {
    const ImageDriver* driver = find_image_driver(image->type);
    return driver ? driver->flags : 0;
}

int image_assign_colors(void* screen, Image* image, int skip, int dither) {
    if (!skip) initialize_image_colors(screen, image);
    Colormap& map = image->colormap;
    const uint32_t flags = driver_flags(image);
    int colour_type;
    if (map.ncolors < 1) {
        if (flags & DRIVER_TRUE_COLOUR_WITHOUT_MAP) {
            colour_type = TARN_TRUE_COLOUR;
        } else {
            colour_type = TARN_GREY;
            int d = image->depth;
            if ((flags & DRIVER_WIDE_PIXELS_AS_BYTES) && (d == 24 || d == 32)) d = 8;
            if (flags & DRIVER_BYTE_RAMP) {
                map.ncolors = 256;
                map.low = 0;
                map.high = 255;
            } else {
                if (d > 16 || d < 1) return -1;
                map.ncolors = 1 << d;
            }
            if (allocate_colour_arrays(&map) != 1) return -1;
            fill_grey_ramp(map.red, map.ncolors, map.gray_low, map.gray_high, &map.gray_step, 1);
            memcpy(map.green, map.red, static_cast<size_t>(map.ncolors));
            memcpy(map.blue, map.red, static_cast<size_t>(map.ncolors));
        }
    } else if (flags & DRIVER_STORED_COLOUR_TYPE) {
        colour_type = map.color_type;
        if ((flags & DRIVER_STORED_COLOUR_TYPE_GREY_TESTED) && colour_type == TARN_COLOUR &&
            is_gray_colormap(&map))
            colour_type = TARN_GREY;
    } else {
        colour_type = is_gray_colormap(&map) ? TARN_GREY : TARN_COLOUR;
    }
    if (!skip && image_alloc_colors(screen, image, 0, colour_type, dither) < 0) return -1;
    return colour_type;
}

int multi_image_assign_colors(void* screen, Image* image, int skip, int dither) {
    if (!skip) initialize_image_colors(screen, image);
    Colormap& map = image->colormap;
    if (map.ncolors == 0) {
        if (driver_flags(image) & (DRIVER_WIDE_PIXELS_AS_BYTES | DRIVER_BYTE_RAMP)) {
            map.ncolors = 256;
        } else {
            if (image->depth > 16 || image->depth < 1) return -1;
            map.ncolors = 1 << image->depth;
        }
        if (allocate_colour_arrays(&map) != 1) return -1;
        uint8_t* arrays[3] = {map.red, map.green, map.blue};
        for (int k = 0; k < 3; ++k)
            fill_grey_ramp(arrays[k], map.ncolors, map.band_low[k], map.band_high[k],
                           &map.band_step[k], 0);
    }
    if (!skip && image_alloc_colors(screen, image, 1, TARN_TRUE_COLOUR, dither) < 0) return -1;
    return 0;
}

void clr_remap_buf(Image* image, const uint32_t* source, uint32_t* target, int count) {
    if (!source || !target || count <= 0) return;
    // The table and its length in locals: stores to target could otherwise
    // alias the record and force a reload per pixel.
    const uint32_t* table = image->clr_table;
    int32_t colours = image->colormap.ncolors;
    if (!table || colours < 1) {
        memset(target, 0, static_cast<size_t>(count) * sizeof(uint32_t));
        return;
    }
    uint32_t last = static_cast<uint32_t>(colours - 1);
    for (int i = 0; i < count; ++i) {
        uint32_t value = source[i];
        target[i] = table[value < last ? value : last];
    }
}

void clr_remap_8(Image* image, uint32_t* target, int count) {
    if (!image->row8 || !target) return;
    for (int i = 0; i < count; ++i) target[i] = clr_table_entry(image, image->row8[i]);
}

void clr_remap_16(Image* image, uint32_t* target, int count) {
    if (!image->row16 || !target) return;
    for (int i = 0; i < count; ++i) target[i] = clr_table_entry(image, image->row16[i]);
}

void clr_remap_32(Image* image, uint32_t* target, int count) {
    if (!image->row32 || !target) return;
    for (int i = 0; i < count; ++i) target[i] = clr_table_entry(image, image->row32[i]);
}

}
