#ifndef TARN_HFA_HFA_H
#define TARN_HFA_HFA_H

/* A read-only reader of IMAGINE (HFA) files: the entry tree, the data
 * dictionary that describes every entry's bytes, and the raster layers with
 * their raw, run-length and spill-file blocks. Everything on disk is
 * little-endian; rows come out in the host's byte order. */

#include <stddef.h>
#include <stdint.h>

namespace hfa {

/* Pixel types of a layer, as the file numbers them. */
enum PixelType { U1, U2, U4, U8, S8, U16, S16, U32, S32, F32, F64, C64, C128 };

/* Bits of one pixel of a pixel type; 0 for a number that is none. */
int pixel_bits(int pixel_type);

struct File;

struct LayerInfo {
    int width, height, pixel_type, block_width, block_height;
};

/* Map information: the centre of the upper-left pixel and the pixel size. */
struct MapInfo {
    double upper_left_x, upper_left_y, pixel_width, pixel_height;
};

struct Statistics {
    double minimum, maximum, mean, stddev;
};

/* Whether the first bytes of a file carry the header tag. */
bool identify(const uint8_t* head, size_t size);

/* Opens the file and reads its tree, dictionary and layer descriptions; null
 * when it is not an HFA file or its structure is broken. */
File* open(const char* path);
void close(File* file);

int layer_count(const File* file);
const char* layer_name(const File* file, int layer);
/* 0, or -1 for a layer number out of range. */
int layer_info(const File* file, int layer, LayerInfo* info);

/* Bytes of one pixel of a row from read_row: sub-byte layers one byte per
 * pixel, the others their own size. */
int row_pixel_bytes(int pixel_type);
/* Row `row` of a layer into out (width * row_pixel_bytes bytes), in host
 * order. 0, or -1 when a block is broken or cannot be read. */
int read_row(File* file, int layer, int row, void* out);

/* 1 with the layer's map information, 0 when it has none, -1 when broken. */
int map_info(File* file, int layer, MapInfo* info);

/* The colour table of a layer: `count` entries of red, green and blue between
 * 0 and 1, each table in its own array owned by the file until close. Gives
 * 1, 0 without a table, -1 when broken. */
int colour_table(File* file, int layer, int* count, const double* rgb[3]);

/* The layer's statistics; a layer without them has them computed over all
 * its pixels once, and kept. 0, or -1 when they cannot be had. */
int statistics(File* file, int layer, Statistics* stats);

}  // namespace hfa

#endif
