#ifndef TARN_CHANNEL_BUFFERS_H
#define TARN_CHANNEL_BUFFERS_H

/* Row buffers of the Image record. reset_* null pointers of a fresh record;
 * free_* free and null, so a second free does nothing. */

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
int reset_all_display_buffers(Image* image);
int free_all_display_buffers(Image* image);
int reset_clyr_buffers(Image* image);
int reset_clyr_graphic_buffers(Image* image);

TARN_END_C

#endif
