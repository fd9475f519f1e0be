// GeoTIFF tag values to transform terms; see geotiff_terms.h.

#include "drivers/geotiff_terms.h"

void geo_terms_from_matrix(const double* m, double* t) {
    // The x skew is the matrix's second term; its third is the z column, 0 in
    // every 2-D file, which would drop the rotation.
    t[0] = m[0], t[1] = m[4], t[2] = m[1], t[3] = m[5], t[4] = m[3], t[5] = m[7];
}

void geo_terms_from_tiepoint(const double* p, const double* scale, double* t) {
    if (scale) {
        t[0] = scale[0], t[1] = t[2] = 0, t[3] = -scale[1];
        t[4] = p[3] - p[0] * scale[0];
        t[5] = p[1] * scale[1] + p[4];
    } else {
        t[0] = t[1] = t[2] = t[3] = 0;
        t[4] = p[3] - p[0];
        t[5] = p[4] + p[1];
    }
}

void geo_terms_from_scale(const double* scale, double* t) {
    t[0] = scale[0], t[1] = t[2] = 0, t[3] = -scale[1], t[4] = t[5] = 0;
}

void geo_terms_from_position(double* t, double factor, long long length) {
    if (t[0] == 0 && t[3] == 0) {
        t[0] = t[3] = 1.0;
    } else if (t[0] == 0) {
        t[0] = t[3];
    } else if (t[3] == 0) {
        t[3] = t[0];
    }
    const bool plain = t[0] == t[3] && t[0] == 1.0 && t[4] == t[5] && t[4] == 0;
    t[0] *= factor, t[3] *= factor, t[4] *= factor, t[5] *= factor;
    t[1] = t[2] = 0;
    t[3] = -t[3];
    t[5] = -t[5];
    if (plain && length >= 0) t[5] = (double(length) - 1) + t[5];
}

void geo_terms_to_centre(int raster_type, double* t) {
    if (raster_type != kGeoPixelIsArea) return;
    t[4] += t[0] * 0.5;
    t[5] += t[3] * 0.5;
}
