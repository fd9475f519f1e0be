#ifndef TARN_PIPELINE_RGBA_PIPELINE_H
#define TARN_PIPELINE_RGBA_PIPELINE_H

/* From a clip rectangle and a scale to a block of RGBA pixels: one open maps
 * the window, allocates every buffer and picks the kernels; each output row
 * reads at most one image row; the close gives everything back. The image
 * object holds one of these and forwards to it. */

#include <stdint.h>

#include <tarnimage/image.h>

/* The true-colour screen a read draws on, as the bitmap shim reports it. The
 * pipeline passes its address wherever a screen is asked for. */
struct DisplayState {
    uint32_t magic;            /* kDisplayMagic while the record is live */
    int32_t bitmap_depth;      /* bits per pixel of the screen: 32 */
    int32_t colour_count;      /* colours the screen can show */
    int32_t colour_count2;
    uint8_t* row_buffer;       /* one row of 32-bit pixels */
    int32_t frame_x;
    int32_t frame_y;
    int32_t result_width;      /* pixels of one output row */
};

constexpr uint32_t kDisplayMagic = 0x54524742u;

/* What one read is about. The external colour map belongs to the caller; on
 * the colour-map path the pipeline creates it there when there is none. */
struct RgbaSource {
    const char* path;          /* UTF-8 */
    int32_t type;
    int32_t band_count;
    int32_t width;             /* image columns */
    int32_t clip_x, clip_y, clip_width, clip_height;
    double scale;
    Colormap** external_colormap;
    /* Set when a host-changed colour map colours the raw samples: `lookup`
     * then fills grow2 for each row instead of the kernels and colour table. */
    bool map_path;
    void (*lookup)(void* context, Image* image);
    void* context;
};

struct RgbaPipeline {
    Image image;
    DisplayState display;
    int32_t stream_state;      /* 0 closed, 1 open, 2 failed */
    int32_t next_row;          /* image row the next output row needs */
    int32_t last_row;          /* image row last read; -1 when none */
    int32_t out_row;
    int32_t single_buffers;    /* a multi-band read also took single-band buffers */
    int32_t colour_result;
    int32_t has_external_colormap;
    int32_t has_external_lut;
    void* external_lut;
    char colormap_name[128];
    char lut_name[128];
    int32_t multi;
    int32_t result_x, result_y, result_height;
    double scale;
    bool map_path;
    void (*lookup)(void* context, Image* image);
    void* context;
    /* Output rows the read wrote; below image.out_rows after a failed row. */
    int32_t rows_done;
    /* Bytes from the block's start that rows have written. */
    size_t bytes_written;
    /* One pass for the common case, chosen at open: 8-bit samples through a
     * colour table, no lookup, index or dither step; `palette` holds the
     * finished RGBA word of every sample value. */
    bool one_pass_8bit;
    uint32_t palette[256];
    /* The same for three 8-bit planes through the colour arrays: each table
     * holds a plane's finished byte at its place in the word. */
    bool one_pass_planes;
    bool planes_of_words;  /* 32-bit samples in mrow32, else bytes in mrow8 */
    uint32_t plane_words[3][256];
};

/* A fresh, closed pipeline; rgba_release gives back what it holds. */
void rgba_init(RgbaPipeline* pipeline);
void rgba_release(RgbaPipeline* pipeline);
/* 1 when open (state 1), 0 otherwise, with everything taken given back. */
int rgba_open(RgbaPipeline* pipeline, const RgbaSource& source);
/* Writes the next output row at its place in the block of result_width *
 * result_height pixels; a failed read sets the state to 2. */
void rgba_row(RgbaPipeline* pipeline, void* block);
/* 1, or 0 when nothing was open or a clean-up step failed. */
int rgba_close(RgbaPipeline* pipeline);
int rgba_error(RgbaPipeline* pipeline);

#endif
