#ifndef TARN_DRIVERS_GENERAL_GEOTIFF_H
#define TARN_DRIVERS_GENERAL_GEOTIFF_H

/* A TIFF's georeference as six terms: x pixel size, two rotation terms, y
 * pixel size (negative for north up), and the world x, y of the first pixel's
 * centre. Each GetFrom answers 0 when its tags gave the terms, -1 when they
 * are absent; callers try world text, model, then position. */

#include <tiffio.h>
#include <geotiff/geotiffio.h>

int GetFromWorld(TIFF* tif, GTIF* gtif, double* transform);
int GetFromModel(TIFF* tif, GTIF* gtif, double* transform);
/* Never fails: a file with no georeference puts row 0 at y = length - 1. */
int GetFromPosition(TIFF* tif, GTIF* gtif, double* transform);
/* Moves the reference point to the pixel centre when the raster is PixelIsArea. */
void UpdateTransfRasterSpace(TIFF* tif, GTIF* gtif, double* transform);
/* The GTRasterTypeGeoKey, or 0 when absent. */
int GetGeoKeyAreaPoint(TIFF* tif, GTIF* gtif, int* out);
double MapUnitFactor(int unit);

#endif
