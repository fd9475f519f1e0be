#ifndef TARN_CHANNEL_CHANNEL_H
#define TARN_CHANNEL_CHANNEL_H

/* The Image record's life: reset, open by type code, close; and the flat
 * channel interface with its accessors. */

#include <tarnimage/channel.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

int reset_image(Image* image);
int image_open(Image* image, const char* name, int type, int band, int display,
               char* lut_name, char* colormap_name);
int multi_image_open(Image* image, const char* name, int type, int red, int green, int blue,
                     int display, char* lut_name, char* colormap_name);
int image_close(Image* image);
int multi_image_close(Image* image);
int image_close_files(Image* image);
int multi_image_close_files(Image* image);
int image_clyr_make(Image* image);
int switch_image_runio(Image* image, int mode);
int image_setup_runio(Image* image);
int image_isok_runio(Image* image);
/* Byte positions and sizes of the window first_col..last_col at the record's
 * depth: first_byte/bit, last_byte/bit, win_bytes, win_longs. */
void set_window_bytes(Image* image);
int image_row_map(Image* image, int type, int first_col, int last_col, int first_row, int last_row);
int set_getrow_buffer_depth(Image* image);
int set_image_direct_resampling_on(Image* image);
int set_image_direct_resampling_off(Image* image);
int image_store_external_colormap(Image* image, void* colormap);
int image_store_external_lut(Image* image, void* lut);
int initialize_row_IO(Image* image);
int initialize_StandardRow_IO(Image* image);
int setrd_on(Image* image, int type);
int setrd_off(Image* image);
int clrrd_hdr(Image* image);

TARN_END_C

#endif
