// IMAGINE .img files, through the HFA reader of src/hfa.
//
//   what                 where in the file (see src/hfa/hfa.cpp)
//   header tag           "EHFA_HEADER_TAG" at offset 0: the only identification
//   layers               the root's Eimg_Layer entries, in file order; each is a band
//   pixels               RasterDMS blocks, or a spill file (.ige) beside the .img
//   georeference         Map_Info: centre of the upper-left pixel, pixel size
//   colours              Descriptor_Table columns Red, Green, Blue, fractions 0..1
//   scaling              Statistics (mean, standard deviation, minimum, maximum)
//
// Rows reach the channel one byte per pixel up to 8 bits (sub-byte layers
// widened), otherwise at the layer's own size; floats as their bit patterns.

#include <math.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <tarnimage/tarn_file.h>

#include "hfa/hfa.h"
#include "platform/tarn_paths.h"
#include "udf/registered_drivers.h"

#ifndef TARN_WITH_IMAGINE
#define TARN_WITH_IMAGINE 1
#endif

static RegisteredState state_IMGN = {0, 0};

namespace {

const int kMaxOpenLayers = 30;

struct IMGNState {
    int32_t columns, rows, pixel_bytes, row_bytes, blue_offset;
    int32_t nselected;  // 1, 3, or -1 for all layers
    int32_t nlayers;
    int32_t select[kMaxOpenLayers];
    uint8_t *red, *green, *blue;
    hfa::File* file;
};

// Statistics counted for layers that have none, kept per file (path, size,
// time, inode) because every property query opens the file afresh.
struct StatsKey {
    std::string path;
    long long size, seconds, nanoseconds, inode;
    int layer;
    bool operator<(const StatsKey& o) const {
        if (path != o.path) return path < o.path;
        if (layer != o.layer) return layer < o.layer;
        if (size != o.size) return size < o.size;
        if (seconds != o.seconds) return seconds < o.seconds;
        if (nanoseconds != o.nanoseconds) return nanoseconds < o.nanoseconds;
        return inode < o.inode;
    }
};
std::mutex g_stats_lock;
std::map<StatsKey, hfa::Statistics> g_stats;

bool stats_key(const char* name, int layer, StatsKey* key) {
    struct stat st;
    if (stat(name, &st) != 0) return false;
    *key = {name, static_cast<long long>(st.st_size), static_cast<long long>(st.st_mtim.tv_sec),
            static_cast<long long>(st.st_mtim.tv_nsec), static_cast<long long>(st.st_ino), layer};
    return true;
}

int layer_statistics(hfa::File* file, const char* name, int layer, hfa::Statistics* out) {
    StatsKey key;
    const bool keyed = stats_key(name, layer, &key);
    if (keyed) {
        std::lock_guard<std::mutex> hold(g_stats_lock);
        auto it = g_stats.find(key);
        if (it != g_stats.end()) {
            *out = it->second;
            return 0;
        }
    }
    if (hfa::statistics(file, layer, out) != 0) return -1;
    if (keyed) {
        std::lock_guard<std::mutex> hold(g_stats_lock);
        if (g_stats.size() >= 256) g_stats.clear();
        g_stats[key] = *out;
    }
    return 0;
}

// A double into the header's 32-bit fields, NaN as 0 and the rest clamped.
int32_t to_i32(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return 2147483647;
    if (v <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int32_t>(v);
}

bool integer_type(int pixel_type) { return pixel_type <= hfa::S32; }

// The display range of a layer: two standard deviations about the mean,
// fitted below the layer's maximum.
void scaling(const hfa::Statistics& s, int pixel_type, int32_t* data_min, int32_t* data_max, double* scale) {
    double lo = to_i32(floor(s.mean - 2 * s.stddev + 0.5));
    double hi = to_i32(floor(s.mean + 2 * s.stddev + 0.5));
    const double distance = hi - lo;
    if (s.maximum < distance && s.maximum != 0) {
        const double by = distance / s.maximum;
        lo = to_i32(lo / by), hi = to_i32(hi / by);
    }
    if (lo < 0) hi += -lo;
    if (hi > s.maximum) {
        lo -= hi - s.maximum;
        hi = s.maximum;
    }
    *data_min = to_i32(lo);
    *data_max = to_i32(hi);
    if (s.maximum - s.minimum != 0 && *data_max != *data_min) *scale = 255.0 / (double(*data_max) - *data_min);
    const int bits = hfa::pixel_bits(pixel_type);
    if (integer_type(pixel_type) && bits < 8) *data_max = 1 << bits;
}

void free_state(IMGNState* s) {
    if (!s) return;
    hfa::close(s->file);
    free(s->red);
    free(s->green);
    free(s->blue);
    free(s);
}

// Each table's entries as bytes, all three as long as the longest.
bool colour_tables(IMGNState* s, const int layers[3], UDFHeader* header) {
    int counts[3] = {0, 0, 0};
    const double* tables[3] = {nullptr, nullptr, nullptr};
    int ncolors = 0;
    for (int c = 0; c < 3; ++c) {
        const double* rgb[3];
        const int found = hfa::colour_table(s->file, layers[c], &counts[c], rgb);
        if (found < 0) return false;
        if (found == 0) counts[c] = 0;
        tables[c] = found > 0 ? rgb[c] : nullptr;
        if (counts[c] > ncolors) ncolors = counts[c];
    }
    if (ncolors == 0) return true;
    uint8_t** out[3] = {&s->red, &s->green, &s->blue};
    for (int c = 0; c < 3; ++c) {
        *out[c] = static_cast<uint8_t*>(calloc(static_cast<size_t>(ncolors), 1));
        if (!*out[c]) return false;
        for (int k = 0; k < counts[c]; ++k) {
            const double v = floor(tables[c][k] * 255 + 0.5);
            (*out[c])[k] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
        }
    }
    header->ncolors = header->high_index = ncolors;
    header->red = s->red, header->green = s->green, header->blue = s->blue;
    return true;
}

}  // namespace

TARN_BEGIN_C

int IMGN_exist(const char* name, char* out_path, FILE* fp) {
    if (!name) return 0;
    const std::string candidates[3] = {name, std::string(name) + ".img", std::string(name) + ".IMG"};
    for (const std::string& path : candidates) {
        if (!file_exists(path)) continue;
        uint8_t head[16] = {};
        size_t got = 0;
        if (fp && path == name) {
            got = tarn_fread(head, 1, sizeof head, fp);
        } else if (FILE* own = tarn_fopen(path.c_str(), "rb")) {
            got = tarn_fread(head, 1, sizeof head, own);
            tarn_fclose(own);
        }
        if (!hfa::identify(head, got)) return 0;
        if (out_path) strcpy(out_path, path.c_str());
        return static_cast<int>(state_IMGN.type);
    }
    return 0;
}

int IMGN_open(const char* name, int band, int red, int green, int blue, UDFHeader* header) {
    if (!name || !header) return -1;
    IMGNState* s = static_cast<IMGNState*>(calloc(1, sizeof(IMGNState)));
    if (!s) return -1;
    auto fail = [&]() {
        free_state(s);
        header->red = header->green = header->blue = nullptr;
        header->priv = nullptr;
        return -1;
    };
    s->file = hfa::open(name);
    if (!s->file) return fail();
    const int n = hfa::layer_count(s->file);
    int colour_layers[3];
    if (band == 0 && red && green && blue) {
        s->nselected = 3, s->nlayers = 3;
        const int asked[3] = {red, green, blue};
        for (int k = 0; k < 3; ++k) {
            if (asked[k] < 1 || asked[k] > n) return fail();
            s->select[k] = colour_layers[k] = asked[k] - 1;
        }
    } else if (band == 0) {
        s->nselected = -1;
        s->nlayers = n < kMaxOpenLayers ? n : kMaxOpenLayers;
        for (int k = 0; k < s->nlayers; ++k) s->select[k] = k;
        for (int k = 0; k < 3; ++k) colour_layers[k] = n > 2 ? k : 0;
    } else {
        if (band < 0 || band > n) return fail();
        s->nselected = 1, s->nlayers = 1;
        s->select[0] = band - 1;
        for (int k = 0; k < 3; ++k) colour_layers[k] = band - 1;
    }

    UDFinitial(header);
    hfa::LayerInfo first;
    hfa::layer_info(s->file, s->select[0], &first);
    hfa::MapInfo map;
    if (hfa::map_info(s->file, s->select[0], &map) == 1) {
        header->origin_x = map.upper_left_x, header->origin_y = map.upper_left_y;
        header->pixel_x = map.pixel_width, header->pixel_y = map.pixel_height;
    } else {
        header->origin_x = 0, header->origin_y = first.height - 1;
        header->pixel_x = header->pixel_y = 1;
    }
    header->type = state_IMGN.type;
    header->depth = 8;
    header->rows = first.height;
    header->columns = first.width;
    header->nbands = n;
    const int bits = hfa::pixel_bits(first.pixel_type);
    if (bits == 0) return fail();
    if (bits > 8) header->depth = bits;
    // Planes share one row layout, so every selected layer must match the first.
    for (int k = 1; k < s->nlayers; ++k) {
        hfa::LayerInfo other;
        hfa::layer_info(s->file, s->select[k], &other);
        if (other.width != first.width || other.height != first.height ||
            hfa::row_pixel_bytes(other.pixel_type) != hfa::row_pixel_bytes(first.pixel_type))
            return fail();
    }
    if (!colour_tables(s, colour_layers, header)) return fail();

    if (s->nselected == 1 || s->nselected == 3) {
        for (int k = 0; k < s->nselected; ++k) {
            hfa::Statistics stats;
            hfa::LayerInfo info;
            hfa::layer_info(s->file, s->select[k], &info);
            // Layers the channel cannot show (64 bits and complex) have none.
            if (hfa::pixel_bits(info.pixel_type) > 32) continue;
            if (layer_statistics(s->file, name, s->select[k], &stats) != 0) return fail();
            if (s->nselected == 1)
                scaling(stats, info.pixel_type, &header->data_min, &header->data_max, &header->scale);
            else
                scaling(stats, info.pixel_type, &header->band_min[k], &header->band_max[k], &header->band_scale[k]);
        }
    }

    s->columns = header->columns, s->rows = header->rows;
    s->pixel_bytes = header->depth <= 8 ? 1 : header->depth / 8;
    s->row_bytes = s->pixel_bytes * s->columns;
    s->blue_offset = s->row_bytes * 2;
    header->priv = s;
    return 0;
}

int IMGN_getrow(int row, void* buffer, UDFHeader* header) {
    IMGNState* s = header ? static_cast<IMGNState*>(header->priv) : nullptr;
    if (!s || !buffer || row < 0 || row >= s->rows) return -1;
    uint8_t* out = static_cast<uint8_t*>(buffer);
    for (int k = 0; k < s->nlayers; ++k)
        if (hfa::read_row(s->file, s->select[k], row, out + static_cast<size_t>(k) * s->row_bytes) != 0) return -1;
    return 0;
}

int IMGN_close(UDFHeader* header) {
    if (!header) return -1;
    free_state(static_cast<IMGNState*>(header->priv));
    header->priv = nullptr;
    header->red = header->green = header->blue = nullptr;
    return 0;
}

TARN_END_C

namespace {

// The reader is our own, so the driver starts whenever it is built in.
int start_imagine_toolkit(void) { return TARN_WITH_IMAGINE ? 1 : 0; }

}  // namespace

extern const RegisteredDriver registered_IMGN = {
    IMGN_exist, IMGN_open, IMGN_close, IMGN_getrow,
    "ERDAS Imagine", "img", "Imagine (*.img)", "*.img",
    START_TOOLKIT_GATED, true, start_imagine_toolkit, nullptr, &state_IMGN,
};
