// CADRG frames: NITF 2.0 files whose first image has the identifier "CADRG"
// and is stored as RPF sections (rpf_frame.h), registered as "CADRG".
//
// Layout of the picture (rpf_vq.h):
//   subframes      256 x 256 pixels, columns / 256 across a subframe row,
//                  6144 bytes each in the spatial data section, in row-major
//                  order or at the offsets of the mask (0xFFFFFFFF: absent)
//   code lines     64 per subframe, 96 bytes: 64 codes of 12 bits
//   kernel         a code stands for 4 x 4 pixels; line t of it is the code's
//                  record in lookup table t, four indices into colour table 0
//   colour entry   bytes red, green, blue (, grey) of colour table 0
// Rows: each selected byte of the colour entries as one plane.

#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "drivers/military/rpf_vq.h"
#include "udf/registered_drivers.h"

static RegisteredState state_CADRG = {0, 0};

namespace {

const double kMetresPerDegree = 111319.4907933;
const double kPi = 3.141592653589793;

// Polar frames (zone 9 north, J south) are placed in metres on a polar
// plane; the others in degrees. The zone is the twelfth character of the
// frame file's name, which FTITLE holds.
void georeference(const NITFFile& file, const RPFFrameCoverage& c, UDFHeader* h) {
    const double lat = c.nw_lat, lon = c.nw_lon;
    const bool no_scale = c.lon_interval == 0.0 || c.lat_interval == 0.0;
    const double theta = kPi * lon / 180.0;
    const char zone = file.FTITLE[11];
    double x = lon, y = lat;
    h->pixel_x = c.lon_interval;
    h->pixel_y = c.lat_interval;
    if (zone == '9' || zone == 'J') {
        if (zone == '9') {
            x = (90.0 - lat) * kMetresPerDegree * sin(theta);
            y = (90.0 - lat) * -kMetresPerDegree * cos(theta);
        } else {
            x = (lat + 90.0) * kMetresPerDegree * sin(theta);
            y = (lat + 90.0) * kMetresPerDegree * cos(theta);
        }
        h->pixel_x = no_scale ? 1.0 : c.lon_interval * kMetresPerDegree;
        h->pixel_y = no_scale ? 1.0 : c.lat_interval * kMetresPerDegree;
    }
    // The world position stands for the centre of the top left pixel.
    h->origin_x = x + h->pixel_x * 0.5;
    h->origin_y = y - h->pixel_y * 0.5;
}

// Subframes across are columns / 256; a part subframe at the right is left 0.
int GetCADRGRow(RPFFrameState* s, int row, uint8_t* buffer, int columns) {
    const int across = columns / RPF_SUBFRAME_SIDE;
    RPFRowLayout layout = {across, across * RPF_SUBFRAME_SIDE, columns, s->nselected, s->select, 1};
    for (int p = 0; p < s->nselected; ++p)
        memset(buffer + long(p) * columns + layout.width, 0, size_t(columns - layout.width));
    return RPF_DecodeVQRow(&s->file, &s->frame, &layout, row, buffer);
}

}  // namespace

extern "C" {

int CADRG_exist(const char* name, char* out_path, FILE* fp) {
    if (!name || !out_path) return 0;
    if (out_path != name) strcpy(out_path, name);
    return RPF_FrameIs(name, fp, "CADRG", 5) ? static_cast<int>(state_CADRG.type) : 0;
}

int CADRG_open(const char* name, int band, int red, int green, int blue, UDFHeader* header) {
    if (!header) return -1;
    RPFFrameState* s;
    UDFinitial(header);
    if (RPF_OpenFrame(name, RPF_FORMAT_FROM_FILE, &s) != 0) return -1;
    const NITFImageSubHeader& sub = s->subheader;
    const int nbands = (sub.NBANDS == 1 && strncmp(sub.IREP, "RGB/LUT", 7) == 0) ? 3 : sub.NBANDS;
    if (band > 0) {
        s->nselected = 1;
        s->select[0] = band - 1;
    } else if (red && green && blue) {
        s->nselected = 3;
        s->select[0] = red - 1, s->select[1] = green - 1, s->select[2] = blue - 1;
    } else {
        // A one-band (MONO) frame is given one plane: the row has room for no more.
        s->nselected = nbands < 3 ? nbands : 3;
        for (int p = 0; p < 3; ++p) s->select[p] = p;
    }
    header->type = state_CADRG.type;
    header->depth = 8;
    header->rows = sub.NROWS;
    header->columns = sub.NCOLS;
    header->nbands = nbands;
    georeference(s->file, s->frame.coverage, header);
    header->priv = s;
    return 0;
}

int CADRG_getrow(int row, void* buffer, UDFHeader* header) {
    RPFFrameState* s = header ? static_cast<RPFFrameState*>(header->priv) : nullptr;
    if (!s || !buffer || row < 0 || row >= header->rows || header->columns <= 0) return -1;
    return GetCADRGRow(s, row, static_cast<uint8_t*>(buffer), header->columns) == 0 ? 0 : -1;
}

int CADRG_close(UDFHeader* header) {
    if (!header) return 0;
    if (RPF_CloseFrame(static_cast<RPFFrameState*>(header->priv)) != 0) return -1;
    header->priv = nullptr;
    return 0;
}

}  // extern "C"

extern const RegisteredDriver registered_CADRG = {
    CADRG_exist, CADRG_open, CADRG_close, CADRG_getrow,
    "CADRG", "cdg", "CADRG (*.*)", "*.*",
    START_COUNTED, true, nullptr, nullptr, &state_CADRG,
};
