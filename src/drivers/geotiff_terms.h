#ifndef TARN_DRIVERS_GEOTIFF_TERMS_H
#define TARN_DRIVERS_GEOTIFF_TERMS_H

/* The arithmetic that turns GeoTIFF tag values into the six transform terms
 * (x pixel size, two rotation terms, y pixel size, world x and y of the
 * reference point), shared by the readers over libtiff and over the tag
 * library. Nothing here reads a file. */

/* GTRasterTypeGeoKey and its value for pixels that are areas. */
constexpr int kGeoRasterTypeKey = 1025;
constexpr int kGeoPixelIsArea = 1;

/* ModelTransformation: a 4 by 4 matrix by rows. */
void geo_terms_from_matrix(const double* m, double* t);
/* ModelTiepoint (raster x, y, z, model x, y, z) with ModelPixelScale, or
 * with null for no scale: the pixel size then stays 0. */
void geo_terms_from_tiepoint(const double* p, const double* scale, double* t);
/* ModelPixelScale alone: placed at the origin. */
void geo_terms_from_scale(const double* scale, double* t);
/* The resolution tags: t[0] and t[3] hold the pixel sizes (0 where a
 * resolution is missing), t[4] and t[5] the positions. With no usable size and
 * no position the rows are numbered upwards from 0 at the bottom when the
 * length is known (not negative). */
void geo_terms_from_position(double* t, double factor, long long length);
/* Pixel-is-area moves the reference point to the first pixel's centre. */
void geo_terms_to_centre(int raster_type, double* t);

#endif
