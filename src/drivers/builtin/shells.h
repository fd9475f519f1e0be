#ifndef TARN_DRIVERS_BUILTIN_SHELLS_H
#define TARN_DRIVERS_BUILTIN_SHELLS_H

/* Formats that keep a type code without a reader in this library: Impell run
 * images, GRASS, SVF, LATTICE, grids and Grafile. Their probes answer no and
 * their opens fail, so a file only reaches them by its suffix and then fails
 * cleanly at open. */

#include <tarnimage/export.h>

TARN_BEGIN_C

/* The grid probes that identification asks before anything else. */
int EditGridExists(void);
int GenStackExists(void);
int CellLyrExists(const char* name);
/* The GRASS shell has no cell header to read: always -1. */
int read_GRASS_extent(const char* name, int* rows, int* columns);
int read_GRASS_header_trans(const char* name, int type, double* transform);
/* Grids are placed by their own data only, which is never read here: -1. */
int get_GRID_trans(const char* name, int type, double* transform);

TARN_END_C

#endif
