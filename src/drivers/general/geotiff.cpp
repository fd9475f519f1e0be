// GeoTIFF georeference over libtiff: the text world tag, the model tags
// (matrix, tie point and pixel scale) and the resolution/position tags.
//
//   tag 34442  ASCII   six numbers: the transform terms in order
//   tag 34264  double  16, a 4x4 matrix by rows
//   tag 33922  double  6n, tie points: raster x, y, z, model x, y, z
//   tag 33550  double  3, pixel scale x, y, z
//   tag 34735  short   the key directory; key 1025 is the raster type
//   tags 282, 283, 286, 287  rational resolution and position; 296 unit

#include "drivers/general/geotiff.h"

#include <stdio.h>
#include <string.h>

#include <string>

namespace {

const ttag_t kWorldText = 34442;
const ttag_t kModelTransformation = 34264;
const ttag_t kModelTiepoint = 33922;
const ttag_t kModelPixelScale = 33550;
const int kRasterTypeKey = 1025;
const int kPixelIsArea = 1;

// Doubles of a counted tag; libtiff hands out its own memory.
bool counted_doubles(TIFF* tif, ttag_t tag, uint16_t* count, double** values) {
    *count = 0;
    *values = nullptr;
    return TIFFGetField(tif, tag, count, values) == 1 && *values;
}

}  // namespace

double MapUnitFactor(int) { return 1.0; }

int GetGeoKeyAreaPoint(TIFF*, GTIF* gtif, int* out) {
    *out = 0;
    if (!gtif) return 0;
    uint16_t value = 0;
    if (GTIFKeyGet(gtif, static_cast<geokey_t>(kRasterTypeKey), &value, 0, 1) == 1) *out = value;
    return *out;
}

void UpdateTransfRasterSpace(TIFF* tif, GTIF* gtif, double* t) {
    int raster_type = 0;
    GetGeoKeyAreaPoint(tif, gtif, &raster_type);
    if (raster_type == kPixelIsArea) {
        t[4] += t[0] * 0.5;
        t[5] += t[3] * 0.5;
    }
}

int GetFromWorld(TIFF* tif, GTIF*, double* t) {
    // libtiff does not know the tag, so it comes back as a counted ASCII field.
    uint32_t count = 0;
    const char* text = nullptr;
    if (TIFFGetField(tif, kWorldText, &count, &text) != 1 || !text) return -1;
    const std::string whole(text, strnlen(text, count));
    double v[6];
    if (sscanf(whole.c_str(), "%lf%lf%lf%lf%lf%lf", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]) != 6) return -1;
    memcpy(t, v, sizeof v);
    return 0;
}

int GetFromModel(TIFF* tif, GTIF* gtif, double* t) {
    uint16_t count = 0, scale_count = 0;
    double* m = nullptr;
    double* s = nullptr;
    const bool has_scale = counted_doubles(tif, kModelPixelScale, &scale_count, &s) && scale_count >= 2;
    if (counted_doubles(tif, kModelTransformation, &count, &m) && count >= 16) {
        // The x skew is the matrix's second term; its third is the z column,
        // 0 in every 2-D file, which would drop the rotation.
        t[0] = m[0], t[1] = m[4], t[2] = m[1], t[3] = m[5], t[4] = m[3], t[5] = m[7];
    } else if (counted_doubles(tif, kModelTiepoint, &count, &m) && count >= 6) {
        if (has_scale) {
            t[0] = s[0], t[1] = t[2] = 0, t[3] = -s[1];
            t[4] = m[3] - m[0] * s[0];
            t[5] = m[1] * s[1] + m[4];
        } else {
            t[0] = t[1] = t[2] = t[3] = 0;
            t[4] = m[3] - m[0];
            t[5] = m[4] + m[1];
        }
    } else if (has_scale) {
        t[0] = s[0], t[1] = t[2] = 0, t[3] = -s[1], t[4] = t[5] = 0;
    } else {
        return -1;
    }
    UpdateTransfRasterSpace(tif, gtif, t);
    return 0;
}

int GetFromPosition(TIFF* tif, GTIF* gtif, double* t) {
    uint16_t unit = 2;
    if (TIFFGetField(tif, TIFFTAG_RESOLUTIONUNIT, &unit) != 1) unit = 2;
    const double factor = MapUnitFactor(unit);
    // Rationals come back from libtiff as float.
    float value = 0;
    t[4] = TIFFGetField(tif, TIFFTAG_XPOSITION, &value) == 1 ? value : 0.0;
    t[5] = TIFFGetField(tif, TIFFTAG_YPOSITION, &value) == 1 ? value : 0.0;
    t[0] = TIFFGetField(tif, TIFFTAG_XRESOLUTION, &value) == 1 && value != 0 ? 1.0 / value : 0.0;
    t[3] = TIFFGetField(tif, TIFFTAG_YRESOLUTION, &value) == 1 && value != 0 ? 1.0 / value : 0.0;
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
    uint32_t length = 0;
    if (plain && TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &length) == 1) t[5] = (double(length) - 1) + t[5];
    UpdateTransfRasterSpace(tif, gtif, t);
    return 0;
}
