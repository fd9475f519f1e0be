// Formats that keep their type codes but have no reader here: Impell run
// images, GRASS cells, SVF, LATTICE, grids and Grafile, and the IMAGINE keyword,
// whose files a registered driver reads. Every open fails with -1 and every
// probe answers no; the close and window hooks accept quietly, since nothing
// they would act on can have been opened. A file named with one of their
// suffixes is still taken by name, and then fails cleanly at open.

#include "drivers/builtin/shells.h"

#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "platform/report.h"

extern "C" {

int EditGridExists(void) { return 0; }
int GenStackExists(void) { return 0; }
int CellLyrExists(const char*) { return 0; }

int open_IMPELL(Image*, const char*, int) { return -1; }
int setup_runio_IMPELL(Image*) { return -1; }
int isok_runio_IMPELL(Image*) { return 0; }

int open_GRASS(Image*, const char*, int) { return -1; }
int read_GRASS_extent(const char*, int*, int*) {
    user_error("Unable to read Grass header\n");
    return -1;
}
int read_GRASS_header_trans(const char*, int, double*) {
    user_error("Unable to read Grass header\n");
    return -1;
}
int open_multi_GRASS(Image*, const char*, int, int, int, int) { return -1; }

int open_SVF(Image*, const char*, int) { return -1; }
int gcloseC(void*) { return 0; }

int open_LATTICE(Image*, const char*, int) { return -1; }
int latclsC(void*, int* status) {
    if (status) *status = 0;
    return 0;
}

int open_GRID(Image*, const char*, int, int, char*, char*) { return -1; }
int open_multi_GRID(Image*, const char*, int, int, int, int, char*, char*) { return -1; }
int close_GRID(Image*) { return 0; }
int close_multi_GRID(Image*) { return 0; }
int grid_window_map(Image*, int, int, int, int) { return -1; }
int get_GRID_trans(const char*, int, double*) { return -1; }
int store_external_colormap_GRID(Image*, void*) { return 1; }
int store_external_lut_GRID(Image*, void*) { return 1; }

int open_GRAFILE(Image*, int, int) { return -1; }
int get_graimg_end(void*, void*) { return 0; }

int check_format_IMPELL(FILE*) { return 0; }
int check_format_GRASS(FILE*) { return 0; }
int check_format_SVF(FILE*) { return 0; }
int check_format_LATTICE(FILE*) { return 0; }
int check_format_EIMG(FILE*) { return 0; }

}  // extern "C"

extern const ImageDriver driver_IMPELL, driver_GRASS, driver_SVF, driver_LATTICE, driver_GRID,
    driver_IMAGINE, driver_GRAFILE;

int extend_and_check_if_IMPELL(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_IMPELL, stem, candidate);
}
int extend_and_check_if_SVF(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_SVF, stem, candidate);
}
int extend_and_check_if_LATTICE(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_LATTICE, stem, candidate);
}
int extend_and_check_if_GRASS(const std::string&, std::string&) { return 0; }
int extend_and_check_if_EIMG(const std::string&, std::string&) { return 0; }

namespace {

int open_grid(Image* image, const char* name, int band, int display, int, char* lut_name,
              char* colormap_name) {
    return open_GRID(image, name, band, display, lut_name, colormap_name);
}
int open_multi_grid(Image* image, const char* name, int red, int green, int blue, int display, int,
                    char* lut_name, char* colormap_name) {
    return open_multi_GRID(image, name, red, green, blue, display, lut_name, colormap_name);
}
int open_grafile(Image* image, const char*, int band, int display, int, char*, char*) {
    return open_GRAFILE(image, band, display);
}

// SVF, LATTICE and Grafile keep their reader's handle beside the file's.
int close_svf(Image* image) {
    gcloseC(image->file2);
    image->file2 = nullptr;
    return 0;
}
int close_lattice(Image* image) {
    int status = 0;
    latclsC(image->file2, &status);
    image->file2 = nullptr;
    return 0;
}
int close_grafile(Image* image) {
    get_graimg_end(image->file2, image->file_buffer);
    image->file2 = nullptr;
    return 0;
}

// Impell rows are stored mirrored.
int mirror_window(Image* image) {
    image->mirror_first_col = image->columns - image->last_col - 1;
    image->mirror_last_col = image->columns - image->first_col - 1;
    return 1;
}
int map_grid_window(Image* image) {
    return grid_window_map(image, image->first_col, image->first_row, image->win_cols,
                           image->win_rows);
}

int grids_claim(const char* name) {
    return EditGridExists() || GenStackExists() || CellLyrExists(name);
}

}  // namespace

extern const ImageDriver driver_IMPELL = {
    .type = 1, .keyword = "RLC", .description = "Impell run-length image (no reader)", .flags = DRIVER_NAMED_BY_SUFFIX | DRIVER_RESAMPLES_ROWS,
    .suffixes = {".rlc"}, .check = check_format_IMPELL,
    .extend_and_check = extend_and_check_if_IMPELL, .open = open_without_band<open_IMPELL>,
    .read_nbands = constant_property<1>, .get_depth = constant_property<1>,
    .setup_runio = setup_runio_IMPELL, .isok_runio = isok_runio_IMPELL,
    .map_window = mirror_window, .colour_form = COLOURS_BILEVEL,
};

extern const ImageDriver driver_GRASS = {
    .type = 4, .keyword = "GRASS", .description = "GRASS cell file (no reader)", .check = check_format_GRASS,
    .extend_and_check = extend_and_check_if_GRASS, .open = open_without_band<open_GRASS>,
    .open_multi = open_three_bands<open_multi_GRASS>, .read_extent = extent_by_name<read_GRASS_extent>,
    .read_nbands = constant_property<1>, .read_header_trans = read_GRASS_header_trans,
    .colour_form = COLOURS_UNRANGED,
    .reserved_colours = 2, .colormap_skip = 2,
};

extern const ImageDriver driver_SVF = {
    .type = 5, .keyword = "SVF", .description = "SVF (no reader)", .flags = DRIVER_NAMED_BY_SUFFIX, .suffixes = {".svf"},
    .check = check_format_SVF, .extend_and_check = extend_and_check_if_SVF,
    .open = open_without_band<open_SVF>, .close = close_svf,
    .read_nbands = constant_property<1>, .get_depth = constant_property<16>,
    .colour_form = COLOURS_NONE,
};

extern const ImageDriver driver_LATTICE = {
    .type = 6, .keyword = "LATTICE", .description = "LATTICE (no reader)", .flags = DRIVER_NAMED_BY_SUFFIX, .suffixes = {".lat"},
    .check = check_format_LATTICE, .extend_and_check = extend_and_check_if_LATTICE,
    .open = open_without_band<open_LATTICE>, .close = close_lattice,
    .read_nbands = constant_property<1>, .get_depth = constant_property<32>,
    .colour_form = COLOURS_NONE,
};

extern const ImageDriver driver_GRID = {
    .type = 10, .keyword = "GRID", .description = "Grid (no reader)",
    .flags = DRIVER_NEEDS_COMPANION | DRIVER_FINISHED_ROWS | DRIVER_BYTE_RAMP |
             DRIVER_STORED_COLOUR_TYPE | DRIVER_STORED_COLOUR_TYPE_GREY_TESTED |
             DRIVER_CLAIMS_DATASETS | DRIVER_HEADER_PLACES_ONLY | DRIVER_NO_DATA_SAMPLES,
    .claims_name = grids_claim, .open = open_grid, .open_multi = open_multi_grid,
    .close = close_GRID, .close_multi = close_multi_GRID, .read_header_trans = get_GRID_trans,
    .map_window = map_grid_window,
    .store_colormap = store_external_colormap_GRID, .store_lut = store_external_lut_GRID,
    .colour_form = COLOURS_RANGED, .reserved_colours = 1, .colormap_skip = 1,
};

extern const ImageDriver driver_IMAGINE = {.type = 12, .keyword = "IMAGINE", .flags = DRIVER_UNPLACED};

extern const ImageDriver driver_GRAFILE = {
    .type = 100, .keyword = "GRAFILE", .description = "Grafile (no reader)",
    .flags = DRIVER_KEYWORD_UNMATCHED | DRIVER_TRUE_COLOUR_WITHOUT_MAP | DRIVER_STORED_COLOUR_TYPE |
             DRIVER_UNPLACED,
    .open = open_grafile, .close = close_grafile,
};
