// Fuzz entry point for the RPF frame parser and the shared row decoder: the
// bytes become a file whose frame is read in both layouts (fixed CIB and from
// the file), and whose rows are decoded as CADRG (three planes) and CIB (one)
// would ask for them, without the channel in between.

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <vector>

#include "drivers/military/rpf_frame.h"
#include "drivers/military/rpf_vq.h"
#include "fuzz_support.h"

namespace {

void decode_rows(RPFFrameState* s, int format) {
    const int rows = s->subheader.NROWS < 4096 ? s->subheader.NROWS : 4096;
    const int columns = s->subheader.NCOLS < 8192 ? s->subheader.NCOLS : 8192;
    if (rows <= 0 || columns <= 0) return;
    static const int select[3] = {0, 1, 2};
    const int across = format == RPF_FORMAT_CIB ? 6 : columns / 256;
    const int planes = format == RPF_FORMAT_CIB ? 1 : 3;
    const int width = format == RPF_FORMAT_CIB ? (columns < 1536 ? columns : 1536) : across * 256;
    std::vector<uint8_t> buffer(size_t(columns) * planes);
    RPFRowLayout layout = {across, width, columns, planes, select, format != RPF_FORMAT_CIB};
    for (int row = 0; row < rows; ++row)
        if (RPF_DecodeVQRow(&s->file, &s->frame, &layout, row, buffer.data()) != 0) break;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = tarnfuzz::temp_path("rpf", ".ntf");
    if (!tarnfuzz::write_file(path, data, size)) return 0;
    for (int format : {RPF_FORMAT_CIB, RPF_FORMAT_FROM_FILE}) {
        RPFFrameState* s = nullptr;
        if (RPF_OpenFrame(path.c_str(), format, &s) != 0) continue;
        decode_rows(s, format);
        RPF_CloseFrame(s);
    }
    unlink(path.c_str());
    return 0;
}
