// Formats that keep their type codes but have no reader here: Impell run
// images, GRASS cells, SVF, LATTICE, grids and Grafile. Every open fails with
// -1 and every probe answers no; the close and window hooks accept quietly,
// since nothing they would act on can have been opened.

#include "drivers/builtin/shells.h"

#include "drivers/drivers.h"

extern "C" {

int EditGridExists(void) { return 0; }
int GenStackExists(void) { return 0; }
int CellLyrExists(const char*) { return 0; }

int open_IMPELL(Image*, const char*, int) { return -1; }
int setup_runio_IMPELL(Image*) { return -1; }
int isok_runio_IMPELL(Image*) { return 0; }

int open_GRASS(Image*, const char*, int) { return -1; }
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
int store_external_colormap_GRID(Image*, void*) { return 1; }
int store_external_lut_GRID(Image*, void*) { return 1; }

int open_GRAFILE(Image*, int, int) { return -1; }
int get_graimg_end(void*, void*) { return 0; }

}  // extern "C"
