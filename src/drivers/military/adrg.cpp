// ADRG products as a registered driver: .img, .ovr and legend files.
//
// Files of a distribution rectangle (ISO 8211, read at fixed field positions):
//   NAME01.GEN  record 2 (DSS): count of GIN records at data offset 10 (often short); record 3
//               is the overview's; then one GIN record per image: name at data
//               offset 10, zone, ARV, BRV, origin (DMS text), tile rows and
//               columns, tile map flag, then 5-digit tile map entries (0: absent)
//   NAMExx.IMG  record 2 holds the tiles in its third field: 128 x 128 pixels,
//   NAMExx.OVR  three bands of 16384 bytes one after another (49152 per tile),
//               absent tiles not stored
//   NAMExx.Lnn  legends, described by NAMEnn.SOU
// Rows are read forward only: a tile row once passed is gone.

#include "drivers/military/adrg.h"

#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <tarnimage/tarn_file.h>

#include "udf/registered_drivers.h"

static RegisteredState state_ADRG = {0, 0};

namespace {

const int tile_len = 128;
const long ADRG_1_tile = 16384;
const long ADRG_2_tiles = 2 * ADRG_1_tile;
const long ADRG_tile = 3 * ADRG_1_tile;

struct ADRGState {
    double origin_x, origin_y, end_x, end_y, pixel_x, pixel_y;
    FILE* file;
    int32_t subtype, zone, tile_rows, tile_cols, rows, columns;
    int32_t image_field_length, image_field_position;
    int32_t nbands, nselected, select[3];
    int32_t first_row, next_row, tile_map_present, tile_index, tiles_present;
    uint16_t* tile_map;
    uint8_t* plane[3];
    uint8_t* selected_plane[3];
    int32_t first_read;
    uint8_t blank[128];
};

struct Leader {
    long length, base;
    int size_length, size_position, size_tag;
};

bool read_text(FILE* fp, int length, char* out) {
    if (length < 0 || tarn_fread(out, 1, size_t(length), fp) != size_t(length)) return false;
    out[length] = 0;
    return true;
}

bool digits_value(const char* text, int length, long* value) {
    long v = 0;
    for (int i = 0; i < length; ++i) {
        if (!isdigit(static_cast<unsigned char>(text[i]))) return false;
        if (v > 100000000L) return false;
        v = v * 10 + (text[i] - '0');
    }
    *value = v;
    return true;
}

bool ADRG_get_leader_info(FILE* fp, Leader* l) {
    char leader[25];
    if (!read_text(fp, 24, leader)) return false;
    long size = 0;
    if (!digits_value(leader, 5, &l->length) || !digits_value(leader + 12, 5, &l->base)) return false;
    if (l->length < 24 || l->base < 24 || l->base > l->length) return false;
    if (!digits_value(leader + 20, 1, &size)) return false;
    l->size_length = int(size);
    if (!digits_value(leader + 21, 1, &size)) return false;
    l->size_position = int(size);
    if (!digits_value(leader + 23, 1, &size)) return false;
    l->size_tag = int(size);
    return l->size_length > 0 && l->size_position > 0 && l->size_tag > 0;
}

bool ADRG_skip_record(FILE* fp) {
    Leader l;
    return ADRG_get_leader_info(fp, &l) && tarn_fseek(fp, l.length - 24, SEEK_CUR) == 0;
}

// Stands on the data of the record; remaining is its length from there.
bool ADRG_skip_leader_and_directory(FILE* fp, long* remaining) {
    Leader l;
    if (!ADRG_get_leader_info(fp, &l) || tarn_fseek(fp, l.base - 24, SEEK_CUR) != 0) return false;
    *remaining = l.length - l.base;
    return true;
}

// Seeks skip forward and reads length characters; the bytes moved, or -1.
long ADRG_skip_and_read_string(FILE* fp, long skip, int length, char* out) {
    if (tarn_fseek(fp, skip, SEEK_CUR) != 0 || !read_text(fp, length, out)) return -1;
    return skip + length;
}

bool ADRG_read_directory_entry(FILE* fp, const Leader& l, long* length, long* position) {
    char text[16];
    if (l.size_tag > 9 || l.size_length > 9 || l.size_position > 9) return false;
    return read_text(fp, l.size_tag, text) && read_text(fp, l.size_length, text) &&
           digits_value(text, l.size_length, length) && read_text(fp, l.size_position, text) &&
           digits_value(text, l.size_position, position);
}

int strcmp_no_case(const char* a, const char* b) {
    if (strlen(a) > 255 || strlen(b) > 255) return -1;
    for (; *a && *b; ++a, ++b) {
        const int d = toupper(static_cast<unsigned char>(*a)) - toupper(static_cast<unsigned char>(*b));
        if (d) return d;
    }
    return toupper(static_cast<unsigned char>(*a)) - toupper(static_cast<unsigned char>(*b));
}

bool openable(const std::string& path) {
    FILE* f = tarn_fopen(path.c_str(), "r");
    if (!f) return false;
    tarn_fclose(f);
    return true;
}

int get_adrg_subtype(const char* name, std::string* path) {
    path->clear();
    const std::string n(name ? name : "");
    if (n.size() < 6) return 0;
    const std::string end = n.substr(n.size() - 4);
    int subtype = 0;
    std::string upper, lower;
    if (end == ".img" || end == ".IMG" || end == ".ovr" || end == ".OVR") {
        subtype = end[1] == 'i' || end[1] == 'I' ? 1 : 2;
        upper = n.substr(0, n.size() - 6) + "01.GEN";
        lower = n.substr(0, n.size() - 6) + "01.gen";
    } else if (end[0] == '.' && (end[1] == 'l' || end[1] == 'L')) {
        // Legend NAMEnn.Lxy is described by NAMExy.SOU.
        subtype = 3;
        std::string stem = n.substr(0, n.size() - 4);
        stem[stem.size() - 2] = end[2];
        stem[stem.size() - 1] = end[3];
        upper = stem + ".SOU";
        lower = stem + ".sou";
    } else {
        return 0;
    }
    if (openable(upper)) *path = upper;
    else if (openable(lower)) *path = lower;
    else return 0;
    return subtype;
}

double ADRG_dms_string_to_decimal_degree(const char* text) {
    const size_t n = strlen(text);
    if (n < 8) return 0.0;
    const double seconds = atof(text + n - 5);
    char minutes[3] = {text[n - 7], text[n - 6], 0};
    std::string degrees(text, n - 7);
    const double d = atof(degrees.c_str());
    const double fraction = atof(minutes) / 60.0 + seconds / 3600.0;
    return d <= 0 ? d - fraction : d + fraction;
}

void calc_ADRG_coordinates(ADRGState* s, double arv, double brv, double lon, double lat) {
    const double degree = 111217.77777777778, earth = 40038400.0, rad = 0.017453292519943;
    if (lat > 80) {
        s->origin_x = (90 - lat) * degree * sin(lon * rad);
        s->origin_y = (90 - lat) * -degree * cos(lon * rad);
        s->pixel_x = s->pixel_y = brv != 0 ? earth / brv : 1.0;
    } else if (lat < -80) {
        s->origin_x = (lat + 90) * degree * sin(lon * rad);
        s->origin_y = (lat + 90) * degree * cos(lon * rad);
        s->pixel_x = s->pixel_y = brv != 0 ? earth / brv : 1.0;
    } else {
        s->origin_x = lon;
        s->origin_y = lat;
        s->pixel_x = arv != 0 ? 360.0 / arv : 1.0;
        s->pixel_y = brv != 0 ? 360.0 / brv : 1.0;
    }
    // Rows pair with x and columns with y here; users' files depend on it.
    s->end_x = s->rows * s->pixel_x + s->origin_x;
    s->end_y = s->origin_y - s->columns * s->pixel_y;
}

std::string last12(const char* name) {
    const size_t n = strlen(name);
    return std::string(n > 12 ? name + n - 12 : name);
}

// Tile rows and columns are known: checks them and reads or builds the map.
bool read_tile_map(FILE* fp, ADRGState* s, bool present) {
    if (s->tile_rows < 1 || s->tile_cols < 1) return false;
    const long n = long(s->tile_rows) * s->tile_cols;
    s->rows = s->tile_rows * tile_len;
    s->columns = s->tile_cols * tile_len;
    s->tile_map = static_cast<uint16_t*>(calloc(size_t(n), sizeof(uint16_t)));
    if (!s->tile_map) return false;
    s->tile_map_present = present ? 1 : 0;
    for (long i = 0; i < n; ++i) {
        if (present) {
            char text[6];
            long v = 0;
            if (!read_text(fp, 5, text) || !digits_value(text, 5, &v)) return false;
            s->tile_map[i] = uint16_t(v > 65535 ? 65535 : v);  // only 0 means absent
        } else {
            s->tile_map[i] = uint16_t(i + 1);
        }
    }
    return true;
}

// Reads the fields of a GIN or overview record behind its name.
bool read_geo_fields(FILE* fp, ADRGState* s, bool with_zone, long rows_skip) {
    char zone[3] = "0", arv[9], brv[9], lon[12], lat[11], rows[4], cols[4], flag[2], ignored[6];
    if (with_zone && ADRG_skip_and_read_string(fp, 110, 2, zone) < 0) return false;
    if (ADRG_skip_and_read_string(fp, with_zone ? 6 : 2, 8, arv) < 0 || ADRG_skip_and_read_string(fp, 0, 8, brv) < 0 ||
        ADRG_skip_and_read_string(fp, 0, 11, lon) < 0 || ADRG_skip_and_read_string(fp, 0, 10, lat) < 0 ||
        ADRG_skip_and_read_string(fp, rows_skip, 3, rows) < 0 || ADRG_skip_and_read_string(fp, 0, 3, cols) < 0 ||
        ADRG_skip_and_read_string(fp, 29, 1, flag) < 0 || ADRG_skip_and_read_string(fp, 42, 5, ignored) < 0)
        return false;
    long r = 0, c = 0;
    if (!digits_value(rows, 3, &r) || !digits_value(cols, 3, &c)) return false;
    s->tile_rows = int32_t(r);
    s->tile_cols = int32_t(c);
    if (!read_tile_map(fp, s, flag[0] == 'Y')) return false;
    const double latitude = ADRG_dms_string_to_decimal_degree(lat);
    s->zone = with_zone ? atoi(zone) : latitude > 80 ? 9 : latitude < -80 ? 18 : 0;
    calc_ADRG_coordinates(s, atof(arv), atof(brv), ADRG_dms_string_to_decimal_degree(lon), latitude);
    return true;
}

bool read_ADRG_img_info(const char* name, const std::string& gen_path, ADRGState* s, bool overview) {
    FILE* fp = tarn_fopen(gen_path.c_str(), "r");
    if (!fp) return false;
    bool ok = false;
    long remaining = 0;
    char text[16];
    long count = 0;
    if (ADRG_skip_record(fp) && ADRG_skip_leader_and_directory(fp, &remaining) && remaining >= 12 &&
        ADRG_skip_and_read_string(fp, 10, 2, text) >= 0 && digits_value(text, 2, &count) &&
        tarn_fseek(fp, remaining - 12, SEEK_CUR) == 0) {
        const std::string wanted = last12(name);
        if (overview) {
            // The overview's own record comes straight behind the count.
            if (ADRG_skip_leader_and_directory(fp, &remaining) && remaining >= 18 &&
                ADRG_skip_and_read_string(fp, 10, 8, text) >= 0 &&
                strcmp_no_case((std::string(text) + ".OVR").c_str(), wanted.c_str()) == 0)
                ok = read_geo_fields(fp, s, false, 25);
        } else if (ADRG_skip_record(fp)) {
            // Real products undercount their GIN records (a two-image GEN says 1),
            // so every record to the end of the file is asked; names decide.
            for (;;) {
                if (!ADRG_skip_leader_and_directory(fp, &remaining) || remaining < 18 ||
                    ADRG_skip_and_read_string(fp, 10, 8, text) < 0)
                    break;
                if (strcmp_no_case((std::string(text) + ".IMG").c_str(), wanted.c_str()) == 0) {
                    ok = read_geo_fields(fp, s, true, 89);
                    break;
                }
                if (tarn_fseek(fp, remaining - 18, SEEK_CUR) != 0) break;
            }
        }
    }
    tarn_fclose(fp);
    return ok;
}

bool read_ADRG_lgg_info(const char* name, const std::string& sou_path, ADRGState* s) {
    FILE* fp = tarn_fopen(sou_path.c_str(), "r");
    if (!fp) return false;
    bool ok = false;
    long remaining = 0, count = 0;
    char text[16];
    if (ADRG_skip_record(fp) && ADRG_skip_leader_and_directory(fp, &remaining) && remaining >= 12 &&
        ADRG_skip_and_read_string(fp, 10, 2, text) >= 0 && digits_value(text, 2, &count) &&
        tarn_fseek(fp, remaining - 12, SEEK_CUR) == 0) {
        const std::string wanted = last12(name);
        for (long i = 0; i < count && !ok; ++i) {
            char rows[4], cols[4], legend[13], flag[2], ignored[6];
            long r = 0, c = 0;
            if (!ADRG_skip_leader_and_directory(fp, &remaining) || remaining < 75 ||
                ADRG_skip_and_read_string(fp, 40, 3, rows) < 0 || ADRG_skip_and_read_string(fp, 0, 3, cols) < 0 ||
                ADRG_skip_and_read_string(fp, 17, 12, legend) < 0)
                break;
            if (strcmp_no_case(legend, wanted.c_str()) != 0) {
                if (tarn_fseek(fp, remaining - 75, SEEK_CUR) != 0) break;
                continue;
            }
            if (ADRG_skip_and_read_string(fp, 0, 1, flag) < 0 || ADRG_skip_and_read_string(fp, 42, 5, ignored) < 0 ||
                !digits_value(rows, 3, &r) || !digits_value(cols, 3, &c))
                break;
            s->tile_rows = int32_t(r);
            s->tile_cols = int32_t(c);
            if (!read_tile_map(fp, s, flag[0] == 'Y')) break;
            // A legend has no geography: pixel units, y up from the bottom row.
            s->zone = -1;
            s->origin_x = 0;
            s->origin_y = s->rows - 1;
            s->end_x = s->columns - 1;
            s->end_y = 0;
            s->pixel_x = s->pixel_y = 1;
            ok = true;
        }
    }
    tarn_fclose(fp);
    return ok;
}

bool read_ADRG_info(const char* name, const std::string& path, ADRGState* s) {
    bool ok = s->subtype == 3 ? read_ADRG_lgg_info(name, path, s) : read_ADRG_img_info(name, path, s, s->subtype == 2);
    if (!ok) {
        // A file its companion does not describe opens as 0 x 0.
        free(s->tile_map);
        s->tile_map = nullptr;
        s->tile_rows = s->tile_cols = s->rows = s->columns = 0;
        s->origin_x = s->origin_y = s->end_x = s->end_y = s->pixel_x = s->pixel_y = 0;
    }
    return ok;
}

bool read_ADRG_data(ADRGState* s) {
    Leader l;
    long length[3], position[3];
    if (!ADRG_skip_record(s->file) || !ADRG_get_leader_info(s->file, &l)) return false;
    for (int i = 0; i < 3; ++i)
        if (!ADRG_read_directory_entry(s->file, l, &length[i], &position[i])) return false;
    s->image_field_length = int32_t(length[1]);
    s->image_field_position = int32_t(position[2]);
    return tarn_fseek(s->file, 1 + position[2], SEEK_CUR) == 0;
}

bool init_get_row(ADRGState* s) {
    // Planes hold the present tiles of one row, which the file must be able to hold.
    long widest = 0;
    for (int r = 0; r < s->tile_rows; ++r) {
        long present = 0;
        for (int t = 0; t < s->tile_cols; ++t)
            if (s->tile_map[long(r) * s->tile_cols + t] != 0) ++present;
        if (present > widest) widest = present;
    }
    const long here = tarn_ftell(s->file);
    if (here < 0 || tarn_fseek(s->file, 0, SEEK_END) != 0) return false;
    const long size = tarn_ftell(s->file);
    if (tarn_fseek(s->file, here, SEEK_SET) != 0 || widest * ADRG_tile > size) return false;
    for (int p = 0; p < s->nselected; ++p) {
        s->plane[p] = static_cast<uint8_t*>(malloc(size_t(widest > 0 ? widest : 1) * ADRG_1_tile));
        if (!s->plane[p]) return false;
        s->selected_plane[p] = s->plane[p];
    }
    if (s->nselected == 1 && tarn_fseek(s->file, s->select[0] * ADRG_1_tile, SEEK_CUR) != 0) return false;
    memset(s->blank, 0, sizeof s->blank);
    s->first_read = 0;
    return true;
}

void next_tile_row(ADRGState* s) {
    s->tile_index = s->tile_index < 0 ? 0 : s->tile_index + s->tile_cols;
    s->tiles_present = 0;
    for (int t = 0; t < s->tile_cols; ++t)
        if (s->tile_map[s->tile_index + t] != 0) ++s->tiles_present;
}

void advance_rows(ADRGState* s) {
    s->first_row = s->first_row < 0 ? 0 : s->first_row + tile_len;
    s->next_row = s->first_row + tile_len;
}

bool skip_ADRG_row_tiles(ADRGState* s) {
    next_tile_row(s);
    advance_rows(s);
    return tarn_fseek(s->file, long(s->tiles_present) * ADRG_tile, SEEK_CUR) == 0;
}

bool load_ADRG_row_tiles(ADRGState* s) {
    next_tile_row(s);
    advance_rows(s);
    uint8_t* tile = nullptr;
    if (s->nselected == 3) {
        tile = static_cast<uint8_t*>(malloc(ADRG_tile));
        if (!tile) return false;
    }
    bool ok = true;
    for (int i = 0; i < s->tiles_present && ok; ++i) {
        const size_t at = size_t(i) * ADRG_1_tile;
        if (s->nselected == 3) {
            ok = tarn_fread(tile, 1, ADRG_tile, s->file) == size_t(ADRG_tile);
            for (int p = 0; p < 3 && ok; ++p) memcpy(s->plane[p] + at, tile + p * ADRG_1_tile, ADRG_1_tile);
        } else {
            ok = tarn_fread(s->plane[0] + at, 1, ADRG_1_tile, s->file) == size_t(ADRG_1_tile) &&
                 tarn_fseek(s->file, ADRG_2_tiles, SEEK_CUR) == 0;
        }
    }
    free(tile);
    return ok;
}

}  // namespace

extern "C" {

int ADRG_exist(const char* name, char* out_path, FILE*) {
    std::string path;
    if (get_adrg_subtype(name, &path) == 0) return 0;
    if (out_path != name) strcpy(out_path, name);
    return int(state_ADRG.type);
}

int ADRG_open(const char* name, int band, int red, int green, int blue, UDFHeader* header) {
    if (!header) return -1;
    std::string path;
    const int subtype = get_adrg_subtype(name, &path);
    if (subtype == 0) return -1;
    ADRGState* s = static_cast<ADRGState*>(calloc(1, sizeof(ADRGState)));
    if (!s) return -1;
    s->subtype = subtype;
    s->first_row = -1;
    s->next_row = 0;
    s->tile_index = -1;
    s->nbands = 3;
    const bool described = read_ADRG_info(name, path, s) && s->tile_cols <= 8192 && s->tile_rows <= 8192;
    s->file = tarn_fopen(name, "r");
    if (!s->file) {
        ADRG_close_state(s);
        return -1;
    }
    if (!described || !read_ADRG_data(s)) {
        free(s->tile_map);
        s->tile_map = nullptr;
        s->tile_rows = s->tile_cols = s->rows = s->columns = 0;
    }
    UDFinitial(header);
    header->type = state_ADRG.type;
    header->depth = 8;
    header->rows = s->rows;
    header->columns = s->columns;
    header->nbands = s->nbands;
    header->origin_x = s->origin_x;
    header->origin_y = s->origin_y;
    header->pixel_x = s->pixel_x;
    header->pixel_y = s->pixel_y;
    header->priv = s;
    if (band > 0) {
        s->nselected = 1;
        s->select[0] = band - 1;
    } else if (red != 0 && green != 0 && blue != 0) {
        s->nselected = 3;
        s->select[0] = red - 1;
        s->select[1] = green - 1;
        s->select[2] = blue - 1;
    } else {
        s->nselected = 3;
        s->select[0] = 0, s->select[1] = 1, s->select[2] = 2;
    }
    for (int i = 0; i < s->nselected; ++i)
        if (s->select[i] < 0 || s->select[i] > 2) s->select[i] = i;
    s->first_read = 1;
    return 0;
}

int ADRG_close(UDFHeader* header) {
    if (!header) return 0;
    ADRGState* s = static_cast<ADRGState*>(header->priv);
    if (s) ADRG_close_state(s);
    header->priv = nullptr;
    return 0;
}

int ADRG_getrow(int row, void* buffer, UDFHeader* header) {
    ADRGState* s = header ? static_cast<ADRGState*>(header->priv) : nullptr;
    if (!s || !buffer || row < 0 || row >= s->rows || !s->tile_map) return -1;
    if (s->first_read && !init_get_row(s)) return -1;
    if (row < s->first_row) return -1;
    while (s->next_row + tile_len <= row)
        if (!skip_ADRG_row_tiles(s)) return -1;
    if (s->next_row <= row && !load_ADRG_row_tiles(s)) {
        s->first_row = s->rows;  // a tile row that failed is not read again
        return -1;
    }
    const int line = row - s->first_row;
    uint8_t* out = static_cast<uint8_t*>(buffer);
    // Planes are packed: an absent tile takes no room in them.
    for (int p = 0; p < s->nselected; ++p) {
        uint8_t* dst = out + size_t(p) * size_t(s->columns);
        const uint8_t* src = s->selected_plane[p] + size_t(line) * tile_len;
        for (int t = 0; t < s->tile_cols; ++t) {
            if (s->tile_map[s->tile_index + t] == 0) {
                memcpy(dst + t * tile_len, s->blank, tile_len);
            } else {
                memcpy(dst + t * tile_len, src, tile_len);
                src += ADRG_1_tile;
            }
        }
    }
    return 0;
}

void ADRG_close_state(void* state) {
    ADRGState* s = static_cast<ADRGState*>(state);
    if (!s) return;
    if (s->file) tarn_fclose(s->file);
    free(s->tile_map);
    for (uint8_t* p : s->plane) free(p);
    free(s);
}

}  // extern "C"

extern const RegisteredDriver registered_ADRG = {
    ADRG_exist, ADRG_open, ADRG_close, ADRG_getrow,
    "ArcDRG", "ovr", "ADRG (*.img; *.ovr; *.l*)", "*.img;*.ovr;*.l*",
    START_COUNTED, true, nullptr, nullptr, &state_ADRG,
};
