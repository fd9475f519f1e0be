#ifndef TARN_DRIVERS_BUILTIN_SHELLS_H
#define TARN_DRIVERS_BUILTIN_SHELLS_H

/* Formats that keep a type code without a reader in this library: Impell run
 * images (1), GRASS (4), SVF (5), LATTICE (6), grids (10) and Grafile (100).
 * Their probes answer no and their opens fail, so a file only reaches them
 * by extension and then fails cleanly at open. */

#include <tarnimage/export.h>

TARN_BEGIN_C

/* The grid probes that identification asks before anything else. */
int EditGridExists(void);
int GenStackExists(void);
int CellLyrExists(const char* name);

TARN_END_C

#endif
