// Vector-quantised rows of RPF frames, for CADRG and CIB alike.
//
// Spatial data (section 140): subframes of 6144 bytes in row-major order, or
// at the offsets of the subframe mask; each subframe is 64 code lines of 96
// bytes; three bytes hold two 12-bit codes (aaaaaaaa aaaabbbb bbbbbbbb).

#include "drivers/military/rpf_vq.h"

#include <stdlib.h>
#include <string.h>

#include <tarnimage/tarn_file.h>

namespace {

void zero_span(const RPFRowLayout* l, int x, int n, uint8_t* buffer) {
    for (int p = 0; p < l->nplanes; ++p) memset(buffer + p * l->plane_stride + x, 0, size_t(n));
}

// Lookup tables 0 to 3 (one per kernel line) with at least 4 values a record,
// and colour table 0.
bool tables_usable(const RPFFrameFile* f) {
    const RPFFrameCompression& k = f->compression;
    if (k.ntables < 4 || !k.tables || !k.record_bytes || !k.records) return false;
    for (int t = 0; t < 4; ++t)
        if (!k.tables[t] || k.record_bytes[t] < 4) return false;
    return f->color.ncolor_tables >= 1 && f->color.colors && f->color.color_records && f->color.colors[0];
}

}  // namespace

extern "C" {

int RPF_ReadVQCodeLine(NITFFile* file, const RPFFrameFile* frame, uint32_t offset, int row, uint16_t* codes) {
    uint32_t start, length;
    if (!file || !file->file || RPF_FindSection(frame, RPF_SPATIAL_DATA, &start, &length) != 0) return -1;
    const uint64_t within = uint64_t(offset) + uint64_t((row / 4) % RPF_CODES_PER_LINE) * RPF_CODE_LINE_BYTES;
    if (within + RPF_CODE_LINE_BYTES > length) return -1;
    const uint64_t at = uint64_t(start) + within;
    if (at + RPF_CODE_LINE_BYTES > uint64_t(file->FL)) return -1;
    uint8_t line[RPF_CODE_LINE_BYTES];
    if (tarn_fseek(file->file, long(at), SEEK_SET) != 0 ||
        tarn_fread(line, 1, sizeof line, file->file) != sizeof line)
        return -1;
    for (int g = 0; g < RPF_CODES_PER_LINE / 2; ++g) {
        const uint8_t* b = line + 3 * g;
        codes[2 * g] = uint16_t((b[0] << 4) | (b[1] >> 4));
        codes[2 * g + 1] = uint16_t(((b[1] & 0x0F) << 8) | b[2]);
    }
    return 0;
}

int RPF_DecodeVQRow(NITFFile* file, const RPFFrameFile* frame, const RPFRowLayout* l, int row, uint8_t* buffer) {
    if (!file || !frame || !l || !buffer || row < 0 || l->across < 0 || l->width < 0) return -1;
    if (!tables_usable(frame)) return -1;
    const RPFFrameCompression& k = frame->compression;
    const RPFFrameImage& im = frame->image;
    const RPFColorTableRecord& colour = frame->color.color_records[0];
    const uint8_t* entries = frame->color.colors[0];
    const int kernel_line = row % 4;
    const uint8_t* table = k.tables[kernel_line];
    const uint32_t record_bytes = k.record_bytes[kernel_line];
    const uint32_t records = k.records[kernel_line].records;
    const bool has_code = im.transparent_code_length != 0 && im.transparent_code;
    const int sub_row = row / RPF_SUBFRAME_SIDE;
    for (int i = 0; i < l->across; ++i) {
        const int x = i * RPF_SUBFRAME_SIDE;
        if (x >= l->width) break;
        const int n = l->width - x < RPF_SUBFRAME_SIDE ? l->width - x : RPF_SUBFRAME_SIDE;
        const uint64_t subframe = uint64_t(sub_row) * uint64_t(l->across) + uint64_t(i);
        uint64_t offset = subframe * RPF_SUBFRAME_BYTES;
        if (im.subframe_offsets) {
            if (subframe >= im.mask_entries) return -1;  // the mask has no entry for it
            if (im.subframe_offsets[subframe] == RPF_SUBFRAME_ABSENT) {
                zero_span(l, x, n, buffer);
                continue;
            }
            offset = im.subframe_offsets[subframe];
        }
        if (offset > 0xFFFFFFFFu) return -1;
        uint16_t codes[RPF_CODES_PER_LINE];
        if (RPF_ReadVQCodeLine(file, frame, uint32_t(offset), row, codes) != 0) return -1;
        for (int c = 0; c < RPF_CODES_PER_LINE; ++c) {
            if (codes[c] >= records) return -1;  // the lookup table is shorter than the codes
            const uint8_t* kernel = table + size_t(codes[c]) * record_bytes;
            for (int j = 0; j < 4; ++j) {
                const int col = c * 4 + j;
                if (col >= n) break;
                const uint8_t v = kernel[j];
                const bool transparent = has_code && (v == *im.transparent_code || (l->d8_transparent && v == 0xD8));
                for (int p = 0; p < l->nplanes; ++p) {
                    uint8_t out = 0;
                    const int byte = l->select[p];
                    if (!transparent && v < colour.records && byte >= 0 && byte < colour.element_length)
                        out = entries[size_t(v) * colour.element_length + size_t(byte)];
                    buffer[p * l->plane_stride + x + col] = out;
                }
            }
        }
    }
    return 0;
}

int RPF_FrameIs(const char* name, FILE* fp, const char* iid, size_t n) {
    if (!name || !iid) return 0;
    NITFFile file;
    memset(&file, 0, sizeof file);
    file.file = fp;
    if (NITF_OpenFile(name, "rb", &file) != 0) return 0;
    NITFImageSubHeader sub;
    int accepted = 0;
    if (NITF_ReadImageSubHeader(0, &file, &sub) == 0)
        accepted = memcmp(file.FHDR, "NITF02.00", 9) == 0 && strncmp(sub.IID, iid, n) == 0;
    NITF_FreeImageSubHeader(&sub);
    if (fp) file.file = nullptr;  // the caller's handle stays open
    NITF_CloseFile(&file);
    return accepted;
}

int RPF_OpenFrame(const char* name, int format, RPFFrameState** state) {
    if (!state) return RPF_NO_FILE;
    *state = nullptr;
    RPFFrameState* s = static_cast<RPFFrameState*>(calloc(1, sizeof(RPFFrameState)));
    if (!s) return RPF_NO_FILE;
    if (!name || NITF_OpenFile(name, "rb", &s->file) != 0) {
        free(s);
        return RPF_NO_FILE;
    }
    if (NITF_ReadImageSubHeader(0, &s->file, &s->subheader) != 0) {
        NITF_CloseFile(&s->file);
        free(s);
        return RPF_NO_SUBHEADER;
    }
    if (RPF_ReadFile(&s->file, &s->frame, format) != 0) {
        RPF_FreeFrameFile(&s->frame);
        NITF_FreeImageSubHeader(&s->subheader);
        NITF_CloseFile(&s->file);
        free(s);
        return RPF_NO_FRAME;
    }
    *state = s;
    return 0;
}

int RPF_CloseFrame(RPFFrameState* s) {
    if (!s) return 0;
    NITF_FreeImageSubHeader(&s->subheader);
    RPF_FreeFrameFile(&s->frame);
    if (NITF_CloseFile(&s->file) != 0) return -1;
    free(s);
    return 0;
}

}  // extern "C"
