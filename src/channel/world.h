#ifndef TARN_CHANNEL_WORLD_H
#define TARN_CHANNEL_WORLD_H

/* Pixel centres to world coordinates. A world file beside the image wins over
 * the image's own header; an image with neither gets the y-up identity, so
 * every image whose size can be read has a transform. */

#include <tarnimage/export.h>
#include <tarnimage/world.h>

TARN_BEGIN_C

/* 1 with the six fields written, or -1 when no transform could be made. */
int get_image_to_world_transform(int type, const char* name, double transform[6]);
/* The first world file of the six candidate names that opens: 1 when it
 * parsed, -1 when it did not or none opened. */
int read_world_transformation(const char* name, double transform[6]);
/* The identity from the image's size: 1, or -1 when the size cannot be read. */
int read_an_identity_trans(const char* name, int type, double transform[6]);
/* xscale 1, yscale -1, no skew, origin (0, rows - 1): row 0 lies highest. */
double* get_identity_transformation(int rows, int columns, double transform[6]);

TARN_END_C

#ifdef __cplusplus
#include <string>
/* A world file name of the form "stem.abcw" shortened to "stem.acw" (the
 * third of the five characters after the last "." dropped); any other name
 * unchanged. */
void make_world_file_name_83(std::string& name);
#endif

#endif
