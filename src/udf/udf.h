#ifndef TARN_UDF_UDF_H
#define TARN_UDF_UDF_H

/* The registry of drivers with type codes above 1000, and the bridge from a
 * registered driver to the Image record. */

#include <tarnimage/image.h>

TARN_BEGIN_C

int UDF_LibInit(void);
int UDF_LibExit(void);
int open_UDF(Image* image, const char* name, int band, int display, int type);
int open_multi_UDF(Image* image, const char* name, int red, int green, int blue, int display,
                   int type);
int close_UDF(Image* image);

TARN_END_C

#endif
