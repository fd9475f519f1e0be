#ifndef TARN_COLOUR_ASSIGN_H
#define TARN_COLOUR_ASSIGN_H

/* Colour assignment: how a pixel value becomes a packed screen colour
 * (red + green * 256 + blue * 65536). Either a remap through clr_table
 * (dither_on 0) or a dither function (dither_on 1). */

#include <stdint.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* Colour type answered by image_assign_colors. */
enum { TARN_TRUE_COLOUR = 0, TARN_GREY = 1, TARN_COLOUR = 2 };

/* `screen` is the owner the bitmap shim reads. Answer the colour type, or -1. */
int image_assign_colors(void* screen, Image* image, int skip, int dither);
/* 0, or -1. */
int multi_image_assign_colors(void* screen, Image* image, int skip, int dither);
int image_alloc_colors(void* screen, Image* image, int multi, int colour_type, int dither);
int is_gray_colormap(const Colormap* colormap);
int get_available_depth(unsigned count);
int get_equal_color_levels(int count);
int get_available_colors_for_image(void* screen, int* true_colour, int* levels, int* colours,
                                   int* free_count);
int allocate_image_colors(void* screen, int count, uint32_t* table, const uint8_t* red,
                          const uint8_t* green, const uint8_t* blue, int dither);
int initialize_image_colors(void* screen, Image* image);
int translate_colormap_indices(void* screen, Image* image);
int translate_image_truecolor(Image* image);
void set_dither_threshold(const float* threshold);
void get_dither_threshold(float* threshold);

/* Fills a colour array with a grey ramp for `ncolors` entries: black up to
 * low, steps of `step` to high, white from high on; a step of 0 or less asks
 * for an even ramp and is replaced by it. `bilevel_reversed` makes a
 * two-entry even ramp white, black. */
void fill_grey_ramp(uint8_t* array, int ncolors, uint32_t low, uint32_t high, float* step,
                    int bilevel_reversed);

/* The colour cube of a palette screen: index = red level in the high bits,
 * then green, then blue; each level times 255 / (2^bits - 1). Arrays hold
 * 2^(red + green + blue bits) entries. The grey cube has n even steps. */
void fill_colour_cube(int red_bits, int green_bits, int blue_bits, uint8_t* red, uint8_t* green,
                      uint8_t* blue);
void fill_grey_cube(int n, uint8_t* red, uint8_t* green, uint8_t* blue);

/* clr_table remaps: target[i] = clr_table[value]. */
void clr_remap_buf(Image* image, const uint32_t* source, uint32_t* target, int count);
void clr_remap_8(Image* image, uint32_t* target, int count);
void clr_remap_16(Image* image, uint32_t* target, int count);
void clr_remap_32(Image* image, uint32_t* target, int count);

TARN_END_C

/* clr_table of a remap holds one entry per colormap colour. A value past it
 * takes the last entry, and with no table every value is black. */
static inline uint32_t clr_table_entry(const Image* image, uint32_t value) {
    const uint32_t* table = image->clr_table;
    int32_t count = image->colormap.ncolors;
    if (!table || count < 1) return 0;
    return table[value < (uint32_t)count ? value : (uint32_t)(count - 1)];
}

/* A colormap array read at a pixel value: past the end gives the last entry,
 * no array gives 0. */
static inline uint32_t colormap_entry(const uint8_t* array, int32_t ncolors, uint32_t value) {
    if (!array || ncolors < 1) return 0;
    return array[value < (uint32_t)ncolors ? value : (uint32_t)(ncolors - 1)];
}

#endif
