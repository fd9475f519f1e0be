#ifndef TARN_PIPELINE_BAND_PIPELINE_H
#define TARN_PIPELINE_BAND_PIPELINE_H

/* One raw sample of one band at a point: the band stream's path. It opens the
 * band, maps a one-to-one window from the point, reads the rows the window
 * covers and leaves the first sample of the last row read at the start of the
 * block. No colour step runs: the values are the file's. */

#include <stdint.h>

#include <tarnimage/image.h>

/* Pixel depth codes of band streams. */
enum BandDepthCode {
    BAND_DEPTH_8 = 3,
    BAND_DEPTH_16 = 5,
    BAND_DEPTH_32 = 7,
    BAND_DEPTH_FLOAT = 9,
    BAND_DEPTH_OTHER = -1,
};
/* The code of a band of `depth` bits: 1, 4 and 8 give 8-bit samples. */
int band_depth_code(int depth);

struct BandSource {
    const char* path;          /* as the image object keeps it */
    int32_t type;
    int32_t band;              /* 1-based */
    int32_t band_count;
    int32_t columns;           /* image width: where the band's samples start in a whole-pixel row */
    int32_t block_width, block_height;
    int32_t x, y;              /* image position of the window's top left */
    int32_t depth_code;
};

struct BandPipeline {
    Image image;
    int32_t type;
    int32_t stream_state;      /* 0 closed, 1 open, 2 failed */
    int32_t next_row, last_row, out_row;
    int32_t depth_code;
    int32_t offset;            /* samples before the band's own in a row */
    char colormap_name[128];
    char lut_name[128];
};

void band_init(BandPipeline* pipeline);
/* 1 when open, 0 otherwise with everything taken given back. */
int band_open(BandPipeline* pipeline, const BandSource& source);
/* Reads the next row the window needs and copies its first sample to block. */
void band_row(BandPipeline* pipeline, void* block);
int band_close(BandPipeline* pipeline);
int band_error(BandPipeline* pipeline);
/* True when the sample at the start of block is the format's no-data mark. */
bool band_sample_is_no_data(const BandPipeline* pipeline, const void* block);

#endif
