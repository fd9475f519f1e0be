#ifndef TARNIMAGE_COLOUR_H
#define TARNIMAGE_COLOUR_H

/* Colormaps and lookup tables as stand-alone records, the colour-space
 * conversions, and the ordered dither patterns.
 *
 * A Colormap maps pixel value v in low..high to array index v - low + first;
 * indices below `first` hold the special colours (no-data, out of range).
 * A Lut clamps a value into low..high and replaces it by table[v - low].
 * Only records named "EXTERNAL" are applied when rows are read. */

#include <stdint.h>
#include <tarnimage/export.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

/* Colormap records. create_colormap gives a record with count + first
 * colours, all black, or null when out of memory. */
TARN_EXPORT Colormap* create_colormap(const char* name, int count, int low, int ndclr, int outclr,
                                      int first);
TARN_EXPORT int copy_colormap(const Colormap* source, Colormap* destination);
TARN_EXPORT void free_colormap(Colormap* colormap);
/* 1 when the record is named "EXTERNAL"; 0 for any other name or null. */
TARN_EXPORT int is_external_colormap(const Colormap* colormap);
/* As is_external_colormap; text (128 bytes) gets a single blank, or the
 * record's name when it is not "EXTERNAL". */
TARN_EXPORT int decode_external_colormap(const Colormap* colormap, char* text);
TARN_EXPORT void set_colormap_pixclr(Colormap* colormap, int index, int alpha, int red, int green,
                                     int blue);
TARN_EXPORT void set_colormap_ndclr(Colormap* colormap, int alpha, int red, int green, int blue);
TARN_EXPORT void set_colormap_outclr(Colormap* colormap, int alpha, int red, int green, int blue);
TARN_EXPORT int get_colormap_npixclr(const Colormap* colormap);
TARN_EXPORT void get_colormap_pixclr(const Colormap* colormap, int index, int* alpha, int* red,
                                     int* green, int* blue);
TARN_EXPORT void get_colormap_ndclr(const Colormap* colormap, int* alpha, int* red, int* green,
                                    int* blue);
TARN_EXPORT void get_colormap_outclr(const Colormap* colormap, int* alpha, int* red, int* green,
                                     int* blue);
/* Fills a reset or created record with a fixed pattern of distinct colours;
 * 1, or -1 when out of memory. */
TARN_EXPORT int initialize_random_colormap(Colormap* colormap, int ncolors, int low, int high,
                                           int ndclr, int outclr, int first);
/* 1 when the map is exactly black and white in two entries. */
TARN_EXPORT int is_bw_colormap(const Colormap* colormap);

/* Lookup tables. A table (malloc'd, high - low + 1 entries) given to a
 * builder or setter of an enabled channel is kept, not copied: the record owns
 * it from then on and free_lut frees it. A disabled channel keeps no table and
 * leaves the one given with the caller. A setter frees the table it replaces. */
TARN_EXPORT Lut* create_single_lut(const char* name, int enabled, int low, int high,
                                   double float_low, double float_high, uint32_t* table);
TARN_EXPORT Lut* create_multi_lut(const char* name);
TARN_EXPORT int set_multi_lut_red(Lut* lut, int enabled, int low, int high, double float_low,
                                  double float_high, uint32_t* table);
TARN_EXPORT int set_multi_lut_green(Lut* lut, int enabled, int low, int high, double float_low,
                                    double float_high, uint32_t* table);
TARN_EXPORT int set_multi_lut_blue(Lut* lut, int enabled, int low, int high, double float_low,
                                   double float_high, uint32_t* table);
TARN_EXPORT void set_lut_table(Lut* lut, uint32_t* table);
TARN_EXPORT void set_lut_red_table(Lut* lut, uint32_t* table);
TARN_EXPORT void set_lut_green_table(Lut* lut, uint32_t* table);
TARN_EXPORT void set_lut_blue_table(Lut* lut, uint32_t* table);
TARN_EXPORT uint32_t* get_lut_table(const Lut* lut);
TARN_EXPORT uint32_t* get_lut_red_table(const Lut* lut);
TARN_EXPORT uint32_t* get_lut_green_table(const Lut* lut);
TARN_EXPORT uint32_t* get_lut_blue_table(const Lut* lut);
TARN_EXPORT void free_lut(Lut* lut);
TARN_EXPORT int is_external_lut(const Lut* lut);
TARN_EXPORT int decode_external_lut(const Lut* lut, char* text);

/* Colour spaces. Red, green, blue 0 to 255 in; hue in degrees (-1 for a
 * grey), saturation and value 0 to 1 out. The reverse gives 0 to 1. */
TARN_EXPORT void ii_rgb_to_hsv(float red, float green, float blue, float* hue, float* saturation,
                               float* value);
TARN_EXPORT void ii_hsv_to_rgb(float hue, float saturation, float value, float* red, float* green,
                               float* blue);

/* Ordered 4 by 4 dither patterns: entry (row mod 4) + 4 * (column mod 4).
 * opt1dither is the base; opt2, opt4 and opt8 are it times 2, 4 and 8. */
TARN_EXPORT extern const int32_t opt0dither[16];
TARN_EXPORT extern const int32_t opt1dither[16];
TARN_EXPORT extern const int32_t opt2dither[16];
TARN_EXPORT extern const int32_t opt4dither[16];
TARN_EXPORT extern const int32_t opt8dither[16];

TARN_END_C

#endif
