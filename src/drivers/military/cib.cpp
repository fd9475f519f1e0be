// CIB frames: NITF 2.0 files whose first image identifier starts with "CIB",
// the grey sibling of CADRG frames, registered as "CIB".
//
// Layout: as a CADRG frame (cadrg.cpp, rpf_vq.h), but always 6 x 6
// subframes of 256 x 256 pixels whatever the image description says, and
// one band: byte 0 of each entry of colour table 0.

#include <string.h>

#include "drivers/military/rpf_vq.h"
#include "udf/registered_drivers.h"

static RegisteredState state_CIB = {0, 0};

namespace {

const int kCIBAcross = 6;

void georeference(const RPFFrameCoverage& c, UDFHeader* h) {
    h->origin_x = c.nw_lon;
    h->origin_y = c.nw_lat;
    h->pixel_x = c.lon_interval;
    h->pixel_y = c.lat_interval;
    if (h->pixel_x == 0.0 || h->pixel_y == 0.0) h->pixel_x = h->pixel_y = 1.0;
}

// Six subframes across; a narrower frame's row is clipped to its columns.
int GetCIBRow(RPFFrameState* s, int row, uint8_t* buffer, int columns) {
    static const int kGrey[1] = {0};
    const int full = kCIBAcross * RPF_SUBFRAME_SIDE;
    RPFRowLayout layout = {kCIBAcross, columns < full ? columns : full, columns, 1, kGrey, 0};
    if (columns > full) memset(buffer + full, 0, size_t(columns - full));
    return RPF_DecodeVQRow(&s->file, &s->frame, &layout, row, buffer);
}

}  // namespace

extern "C" {

int CIB_exist(const char* name, char* out_path, FILE* fp) {
    if (!name || !out_path) return 0;
    if (out_path != name) strcpy(out_path, name);
    return RPF_FrameIs(name, fp, "CIB", 3) ? static_cast<int>(state_CIB.type) : 0;
}

// Band selections are ignored: a CIB frame has one band.
int CIB_open(const char* name, int, int, int, int, UDFHeader* header) {
    if (!header) return -1;
    RPFFrameState* s;
    UDFinitial(header);
    const int opened = RPF_OpenFrame(name, RPF_FORMAT_CIB, &s);
    // A frame whose image subheader is unreadable opens with no rows and no
    // columns, and every row of it fails.
    if (opened == RPF_NO_SUBHEADER) return 0;
    if (opened != 0) return -1;
    const NITFImageSubHeader& sub = s->subheader;
    s->nselected = 1;
    header->type = state_CIB.type;
    header->depth = 8;
    header->rows = sub.NROWS;
    header->columns = sub.NCOLS;
    header->nbands = 1;
    georeference(s->frame.coverage, header);
    header->priv = s;
    return 0;
}

int CIB_getrow(int row, void* buffer, UDFHeader* header) {
    RPFFrameState* s = header ? static_cast<RPFFrameState*>(header->priv) : nullptr;
    if (!s || !buffer || row < 0 || row >= header->rows || header->columns <= 0) return -1;
    return GetCIBRow(s, row, static_cast<uint8_t*>(buffer), header->columns) == 0 ? 0 : -1;
}

int CIB_close(UDFHeader* header) {
    if (!header) return 0;
    if (RPF_CloseFrame(static_cast<RPFFrameState*>(header->priv)) != 0) return -1;
    header->priv = nullptr;
    return 0;
}

}  // extern "C"

extern const RegisteredDriver registered_CIB = {
    CIB_exist, CIB_open, CIB_close, CIB_getrow,
    "CIB", "cib", "CIB (*.*)", "*.*",
    START_COUNTED, true, nullptr, nullptr, &state_CIB,
};
