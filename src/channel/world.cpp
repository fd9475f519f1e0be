// World transforms. Sources are tried in a fixed order and the first that
// answers wins: a world file beside the image, then the format's header, then
// the identity from the image's size.

#include "channel/world.h"

#include <string.h>

#include "channel/properties.h"
#include "drivers/driver.h"
#include <tarnimage/tarn_file.h>

void make_world_file_name_83(std::string& name) {
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || name.size() - dot != 5) return;
    char last = name.back();
    if (last != 'w' && last != 'W') return;
    // "a.tifw" becomes "a.tfw"; the case of the extension stays as it was.
    name.erase(dot + 2, 1);
}

extern "C" {

int read_world_transformation(const char* name, double transform[6]) {
    if (!name) return -1;
    std::string base(name);
    std::string candidates[6] = {base + "w", base + "W", base + "w",
                                 base + "W", base + ".world", base + ".WORLD"};
    make_world_file_name_83(candidates[0]);
    make_world_file_name_83(candidates[1]);
    for (const std::string& candidate : candidates) {
        FILE* file = tarn_fopen(candidate.c_str(), "r");
        if (!file) continue;
        // The first file that opens decides, whether or not it parses.
        double values[6];
        int read = tarn_read_world_file(file, values);
        tarn_fclose(file);
        if (!read) return -1;
        memcpy(transform, values, sizeof values);
        return 1;
    }
    return -1;
}

double* get_identity_transformation(int rows, int, double transform[6]) {
    transform[0] = 1.0;
    transform[1] = 0.0;
    transform[2] = 0.0;
    transform[3] = -1.0;
    transform[4] = 0.0;
    transform[5] = static_cast<double>(rows) - 1.0;
    return transform;
}

int read_an_identity_trans(const char* name, int type, double transform[6]) {
    int rows = 0, columns = 0;
    if (get_image_extent(type, name, &rows, &columns) < 0) return -1;
    get_identity_transformation(rows, columns, transform);
    return 1;
}

int get_image_to_world_transform(int type, const char* name, double transform[6]) {
    if (!name || !*name || !transform) return -1;
    const ImageDriver* driver = find_image_driver(type);
    if (!driver || (driver->flags & DRIVER_UNPLACED)) return -1;
    if (driver->flags & DRIVER_HEADER_PLACES_ONLY)
        return driver->read_header_trans && driver->read_header_trans(name, type, transform) == 1
                   ? 1
                   : -1;
    if (read_world_transformation(name, transform) == 1) return 1;
    if (driver->read_header_trans) {
        int header = driver->read_header_trans(name, type, transform);
        bool taken = (driver->flags & DRIVER_HEADER_TRANSFORM_UNSIGNED) ? header >= 0 : header == 1;
        if (taken) return 1;
    }
    return read_an_identity_trans(name, type, transform);
}

int calc_image_world_box(int rows, int columns, const double t[6], double box[4]) {
    const double corners[4][2] = {{-0.5, -0.5},
                                  {columns - 0.5, -0.5},
                                  {columns - 0.5, rows - 0.5},
                                  {-0.5, rows - 0.5}};
    for (int i = 0; i < 4; ++i) {
        double c = corners[i][0], r = corners[i][1];
        double x = t[0] * c + t[2] * r + t[4];
        double y = t[1] * c + t[3] * r + t[5];
        if (i == 0 || x < box[0]) box[0] = x;
        if (i == 0 || y < box[1]) box[1] = y;
        if (i == 0 || x > box[2]) box[2] = x;
        if (i == 0 || y > box[3]) box[3] = y;
    }
    return 1;
}

}  // extern "C"
