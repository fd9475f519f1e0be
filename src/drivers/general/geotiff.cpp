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

#include "drivers/geotiff_terms.h"

namespace {

const ttag_t kWorldText = 34442;
const ttag_t kModelTransformation = 34264;
const ttag_t kModelTiepoint = 33922;
const ttag_t kModelPixelScale = 33550;

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
    if (GTIFKeyGet(gtif, static_cast<geokey_t>(kGeoRasterTypeKey), &value, 0, 1) == 1) *out = value;
    return *out;
}

void UpdateTransfRasterSpace(TIFF* tif, GTIF* gtif, double* t) {
    int raster_type = 0;
    GetGeoKeyAreaPoint(tif, gtif, &raster_type);
    geo_terms_to_centre(raster_type, t);
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
        geo_terms_from_matrix(m, t);
    } else if (counted_doubles(tif, kModelTiepoint, &count, &m) && count >= 6) {
        geo_terms_from_tiepoint(m, has_scale ? s : nullptr, t);
    } else if (has_scale) {
        geo_terms_from_scale(s, t);
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
    uint32_t length = 0;
    const bool has_length = TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &length) == 1;
    geo_terms_from_position(t, factor, has_length ? (long long)length : -1);
    UpdateTransfRasterSpace(tif, gtif, t);
    return 0;
}
