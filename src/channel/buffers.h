#ifndef TARN_CHANNEL_BUFFERS_H
#define TARN_CHANNEL_BUFFERS_H

/* Row buffers of the Image record. reset_* null pointers of a fresh record;
 * free_* free and null, so a second free does nothing. Also the display
 * bitmap that the bitmap shim stands in for, the grid path's two-dimensional
 * buffers, and the conversions of rows between bit depths. */

#include <stdint.h>
#include <tarnimage/bitmap_shim.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

int get_internal_buffer_depth(int depth);
int reset_buffers(Image* image);
int reset_internal_buffers(Image* image);
int reset_other_buffers(Image* image);
int allocate_internal_buffers(Image* image);
int allocate_multi_internal_buffers(Image* image);
int free_internal_buffers(Image* image);
int free_multi_internal_buffers(Image* image);
int free_buffers(Image* image);
int free_multi_buffers(Image* image);
int free_other_buffers(Image* image);
int reset_graphic_buffers(Image* image);
int reset_other_graphic_buffers(Image* image);
int allocate_graphic_buffers(Image* image, int mode);
int allocate_multi_graphic_buffers(Image* image, int mode);
int free_graphic_buffers(Image* image);
int free_multi_graphic_buffers(Image* image);
int free_other_graphic_buffers(Image* image);

/* The display bitmap. `owner` is what the bitmap shim reads (see
 * tarnimage/bitmap_shim.h). */
int tarn_screen_init(void* owner, Image* image, int unused);
int allocate_display_buffer(void* owner, Image* image, int unused, int mode);
int allocate_2d_display_buffer(void* owner, Image* image, int unused, int width, int height);
int set_image_repack(void* owner, Image* image);
int reset_all_display_buffers(Image* image);
int free_all_display_buffers(Image* image);

/* Two-dimensional buffers of the grid path, kept in the GridClyr record in
 * `clyr` (channel/clyr.h). Each answers -1 when the image has no such record. */
int reset_clyr_buffers(Image* image);
int reset_clyr_internal_buffers(Image* image);
int reset_clyr_graphic_buffers(Image* image);
int allocate_clyr_internal_buffers(Image* image, int unused, float x, float y);
int allocate_clyr_multi_intrnl_buf(Image* image, int unused, float x, float y);
int allocate_clyr_graphic_buffers(Image* image, int mode);
int allocate_clyr_multi_graphic_buf(Image* image, int mode);
int free_clyr_buffers(Image* image);
int free_clyr_multi_buffers(Image* image);
int free_clyr_graphic_buffers(Image* image);
int free_clyr_multi_graphic_buffers(Image* image);
int free_clyr_other_graphic_buffers(Image* image);
int set_clyr_display_buffer(Image* image, int width, int height);
int allocate_clyr_display_buffer(void* owner, Image* image);

/* Widening from the row buffers. */
void repack_8to32(const uint8_t* source, uint32_t* target, int count);
void repack_16to32(const uint16_t* source, uint32_t* target, int count);

/* Graphic row (32-bit values) to display depth; these fit Image.repack. */
void repack_32to32(uint32_t* source, void* target, int count);
void repack_32to24(uint32_t* source, void* target, int count);
void repack_32to16(uint32_t* source, void* target, int count);
void repack_32to12(uint32_t* source, void* target, int count);
void repack_32to8(uint32_t* source, void* target, int count);
void repack_32to6(uint32_t* source, void* target, int count);
void repack_32to4(uint32_t* source, void* target, int count);
void repack_32to1(uint32_t* source, void* target, int count);

/* Unpacking direction: repack_4to8, and the exported repack_2to8,
 * repack_6to8, repack_12to16 of tarnimage/colour.h. The source must hold
 * the packed bits of `count` values, rounded up to whole 32-bit words. */
void repack_4to8(uint32_t* source, void* target, int count);

TARN_END_C

#endif
