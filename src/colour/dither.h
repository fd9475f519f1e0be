#ifndef TARN_COLOUR_DITHER_H
#define TARN_COLOUR_DITHER_H

/* Dither functions: one output row of pixel values (grow, or the three mgrow
 * planes) to packed screen colours in grow2. An ordered 4 by 4 pattern is
 * added to each band, each band is cut to the bits the screen's colour cube
 * gives it, and the cube index is looked up in clr_table. The 888 members
 * pack 8 bits a band with no pattern. `row` is the output row, used only for
 * the phase of the pattern. */

#include <stdint.h>
#include <tarnimage/colour.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* General members: the pattern table, mask and shift of red, green and blue.
 * Members without a 2 shift every band right; with a 2, red goes left. */
typedef void GeneralDitherMember(Image* image, int row, const int32_t* red_pattern,
                                 const int32_t* green_pattern, const int32_t* blue_pattern,
                                 uint32_t red_mask, uint32_t green_mask, uint32_t blue_mask,
                                 int red_shift, int green_shift, int blue_shift);
GeneralDitherMember colordither;
GeneralDitherMember colordither2;
GeneralDitherMember multicolordither;
GeneralDitherMember multicolordither2;
GeneralDitherMember truecolordither;
GeneralDitherMember truecolordither2;
GeneralDitherMember truecolordither_cmap;
GeneralDitherMember truecolordither2_cmap;
void graydither(Image* image, int row, const int32_t* pattern, int shift);

void graydither_to_1_bits(Image* image, int row);
void graydither_to_2_bits(Image* image, int row);
void graydither_to_3_bits(Image* image, int row);
void graydither_to_4_bits(Image* image, int row);
void graydither_to_8_bits(Image* image, int row);

void colordither_to_100_bits(Image* image, int row);
void colordither_to_110_bits(Image* image, int row);
void colordither_to_111_bits(Image* image, int row);
void colordither_to_211_bits(Image* image, int row);
void colordither_to_221_bits(Image* image, int row);
void colordither_to_222_bits(Image* image, int row);
void colordither_to_322_bits(Image* image, int row);
void colordither_to_332_bits(Image* image, int row);
void colordither_to_333_bits(Image* image, int row);
void colordither_to_433_bits(Image* image, int row);
void colordither_to_443_bits(Image* image, int row);
void colordither_to_444_bits(Image* image, int row);
void colordither_to_888_bits(Image* image, int row);

void multicolordither_to_100_bits(Image* image, int row);
void multicolordither_to_110_bits(Image* image, int row);
void multicolordither_to_111_bits(Image* image, int row);
void multicolordither_to_211_bits(Image* image, int row);
void multicolordither_to_221_bits(Image* image, int row);
void multicolordither_to_222_bits(Image* image, int row);
void multicolordither_to_322_bits(Image* image, int row);
void multicolordither_to_332_bits(Image* image, int row);
void multicolordither_to_333_bits(Image* image, int row);
void multicolordither_to_433_bits(Image* image, int row);
void multicolordither_to_443_bits(Image* image, int row);
void multicolordither_to_444_bits(Image* image, int row);
void multicolordither_to_888_bits(Image* image, int row);

void truecolordither_to_100_bits(Image* image, int row);
void truecolordither_to_110_bits(Image* image, int row);
void truecolordither_to_111_bits(Image* image, int row);
void truecolordither_to_211_bits(Image* image, int row);
void truecolordither_to_221_bits(Image* image, int row);
void truecolordither_to_222_bits(Image* image, int row);
void truecolordither_to_322_bits(Image* image, int row);
void truecolordither_to_332_bits(Image* image, int row);
void truecolordither_to_333_bits(Image* image, int row);
void truecolordither_to_433_bits(Image* image, int row);
void truecolordither_to_443_bits(Image* image, int row);
void truecolordither_to_444_bits(Image* image, int row);
void truecolordither_to_888_bits(Image* image, int row);
void truecolordither_to_100_bitsCmap(Image* image, int row);

TARN_END_C

#endif
