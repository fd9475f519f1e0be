// Window mapping at a zoom. Arithmetic runs in extended precision and every
// conversion to an integer truncates toward zero; zooms and origins arrive in
// single precision.

#include "channel/window.h"

#include <math.h>
#include <stdint.h>
#include <stdlib.h>

#include "platform/alloc.h"
#include "channel/channel.h"
#include "drivers/driver.h"

namespace {

// Truncation toward zero, saturated at the 32-bit range so that absurd zooms
// and origins give a clean failure rather than an undefined conversion.
int32_t trunc_i32(long double value) {
    if (value != value) return 0;
    if (value >= 2147483647.0L) return INT32_MAX;
    if (value <= -2147483648.0L) return INT32_MIN;
    return static_cast<int32_t>(value);
}

int32_t clamp_i32(long long value) {
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

// Cut what lies before the image's first pixel edge off the output, keeping
// the output's far edge.
void cut_overhang(int& out_start, int& out_extent, float zoom, float* origin) {
    if (*origin >= -0.5f) return;
    long long end = (long long)out_start + out_extent;
    long double p = (long double)out_start - (long double)*origin * (long double)zoom;
    *origin = -0.5f;
    out_start = trunc_i32(-0.5L * zoom + p + 0.5L);
    out_extent = clamp_i32(end - out_start);
}

// Output extent of a clipped side: what remains of the window from the origin.
int32_t clipped_extent(int win, float origin, float zoom) {
    float span = static_cast<float>((long double)win - ((long double)origin + 0.5L));
    return trunc_i32((long double)span * zoom + 0.5L);
}

}  // namespace

extern "C" {

int image_window_map(Image* image, int type, int out_x, int out_y, int out_width, int out_height,
                     float* zoom_x, float* zoom_y, float* origin_x, float* origin_y) {
    const long double zx = *zoom_x;
    const long double zy = *zoom_y;
    if (!(zx > 0) || !(zy > 0) || !isfinite(*zoom_x) || !isfinite(*zoom_y) ||
        !isfinite(*origin_x) || !isfinite(*origin_y))
        return -1;

    cut_overhang(out_x, out_width, *zoom_x, origin_x);
    cut_overhang(out_y, out_height, *zoom_y, origin_y);

    long long cw = (long long)trunc_i32(out_width / zx + 0.5L) + 2;
    long long ch = (long long)trunc_i32(out_height / zy + 0.5L) + 2;

    int32_t first_col = trunc_i32((long double)*origin_x + 0.5L);
    int32_t first_row = trunc_i32((long double)*origin_y + 0.5L);
    if (first_col < 0) first_col = 0;
    if (first_row < 0) first_row = 0;
    image->first_col = first_col;
    image->first_row = first_row;
    image->col_origin = static_cast<float>((long double)*origin_x - first_col);
    image->row_origin = static_cast<float>((long double)*origin_y - first_row);

    bool cols_clipped = false;
    bool rows_clipped = false;
    long long last_col = first_col + cw - 1;
    long long last_row = first_row + ch - 1;
    if ((long long)image->columns - 1 < last_col) {
        last_col = (long long)image->columns - 1;
        cols_clipped = true;
    }
    if ((long long)image->rows - 1 < last_row) {
        last_row = (long long)image->rows - 1;
        rows_clipped = true;
    }
    image->last_col = clamp_i32(last_col);
    image->last_row = clamp_i32(last_row);
    if (last_col < first_col || last_row < first_row) return -1;

    image->win_rows = static_cast<int32_t>(last_row - first_row + 1);
    image->win_cols = static_cast<int32_t>(last_col - first_col + 1);

    set_window_bytes(image);

    image->out_x = out_x;
    image->out_y = out_y;
    int32_t out_cols =
        cols_clipped ? clipped_extent(image->win_cols, image->col_origin, *zoom_x) : out_width;
    int32_t out_rows =
        rows_clipped ? clipped_extent(image->win_rows, image->row_origin, *zoom_y) : out_height;
    long long out_last_x = (long long)out_x + out_cols - 1;
    long long out_last_y = (long long)out_y + out_rows - 1;
    long long limit_x = (long long)out_x + out_width - 1;
    long long limit_y = (long long)out_y + out_height - 1;
    if (out_last_x > limit_x) {
        out_last_x = limit_x;
        out_cols = clamp_i32(out_last_x - out_x + 1);
    }
    if (out_last_y > limit_y) {
        out_last_y = limit_y;
        out_rows = clamp_i32(out_last_y - out_y + 1);
    }
    image->out_cols = out_cols;
    image->out_rows = out_rows;
    image->out_last_x = clamp_i32(out_last_x);
    image->out_last_y = clamp_i32(out_last_y);
    if (out_last_x < out_x || out_last_y < out_y) return -1;

    // A second mapping of the same open would otherwise lose the first map.
    free(image->col_map);
    image->col_map = static_cast<int32_t*>(C_calloc(static_cast<size_t>(out_cols), sizeof(int32_t)));
    if (!image->col_map) return -1;
    const long double origin = image->col_origin;
    for (int32_t i = 0; i < out_cols; ++i) {
        long double column = i / zx + origin + 0.5L;
        int64_t wide = column >= 9.2e18L ? INT64_MAX : static_cast<int64_t>(column);
        image->col_map[i] = static_cast<int32_t>(static_cast<uint32_t>(wide));
    }
    // Clamp the tail into the window; the spare column of the window keeps
    // the entries ahead of it inside.
    const uint32_t last_index = static_cast<uint32_t>(image->win_cols - 1);
    for (int32_t i = out_cols - 1; i >= 0; --i) {
        if (static_cast<uint32_t>(image->col_map[i]) <= last_index) break;
        image->col_map[i] = static_cast<int32_t>(last_index);
    }

    const ImageDriver* driver = find_image_driver(type);
    if (driver && driver->map_window && driver->map_window(image) < 0) return -1;
    return 1;
}

}
