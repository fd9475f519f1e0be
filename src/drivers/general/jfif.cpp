// JFIF: JPEG files through the system libjpeg, registered as "JPG".
//
// Layout (markers are 0xFF and a code; segments carry a big-endian length):
//   0       FF D8          start of image
//   2       FF E0 ...      APP0 "JFIF" (optional: any FF D8 FF start is taken)
//           FF Cx ...      frame header: precision, height, width, components
//           FF C4/DB ...   Huffman and quantisation tables
//           FF DA ...      scan header, then entropy-coded data
//           FF D9          end of image
//
// Rows are decoded forward; a row behind the decoder gives the last decoded
// line again. The decoder starts at the first row, so an open that only asks
// for the size never decodes.

#include "drivers/general/jfif.h"

#include <stdlib.h>
#include <string.h>

#include <string>

#include <tarnimage/tarn_file.h>

#include "drivers/general/jpeg_rows.h"
#include "udf/registered_drivers.h"

static RegisteredState state_JFIF = {0, 0};

namespace {

struct JFIFState {
    FILE* file;
    int nselected;
    int select[3];
    int green_offset, blue_offset;
    int row_samples;
    JSAMPARRAY scanline;
    jpeg_decompress_struct cinfo;
    JPEGErrorManager jerr;
    JPEGFileSource source;
    int created;        // cinfo holds a decoder
    int start_pending;  // 1 from open until the first row
    int started;
    int failed;         // a fatal decoder error or a cut file: every later row fails
};

void release(JFIFState* s) {
    if (s->created) jpeg_destroy_decompress(&s->cinfo);
    if (s->file) tarn_fclose(s->file);
    free(s);
}

bool has_signature(FILE* fp) {
    unsigned char head[512];
    const size_t n = tarn_fread(head, 1, sizeof head, fp);
    return n >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
}

}  // namespace

extern "C" {

int JFIF_exist(const char* name, char* out_path, FILE* fp) {
    if (!name || !out_path) return 0;
    if (out_path != name) strcpy(out_path, name);
    FILE* own = nullptr;
    if (!fp) {
        for (const char* suffix : {".jpg", ".JPG"}) {
            const std::string tried = std::string(name) + suffix;
            own = tarn_fopen(tried.c_str(), "r");
            if (own) {
                strcpy(out_path, tried.c_str());
                break;
            }
        }
        if (!own) return 0;
    }
    const bool ours = has_signature(own ? own : fp);
    if (own) tarn_fclose(own);
    return ours ? static_cast<int>(state_JFIF.type) : 0;
}

int JFIF_open(const char* name, int band, int red, int green, int blue, UDFHeader* header) {
    if (!header) return -1;
    JFIFState* s = static_cast<JFIFState*>(calloc(1, sizeof(JFIFState)));
    if (!s) return -1;
    s->file = tarn_fopen(name, "rb");
    if (!s->file) {
        free(s);
        return -1;
    }
    s->cinfo.err = jpeg_silent_errors(&s->jerr);
    if (setjmp(s->jerr.jump)) {
        release(s);
        header->priv = nullptr;
        return -1;
    }
    jpeg_create_decompress(&s->cinfo);
    s->created = 1;
    jpeg_file_source(&s->cinfo, &s->source, s->file);
    if (jpeg_read_header(&s->cinfo, TRUE) != JPEG_HEADER_OK || s->source.ended) {
        release(s);
        return -1;
    }
    UDFinitial(header);
    const int width = static_cast<int>(s->cinfo.image_width), height = static_cast<int>(s->cinfo.image_height);
    const int components = s->cinfo.num_components;
    s->start_pending = 1;
    s->row_samples = width * components;
    header->type = state_JFIF.type;
    header->depth = 8;
    header->rows = height;
    header->columns = width;
    header->nbands = components;
    header->origin_x = 0.0;
    header->origin_y = height - 1;
    header->pixel_x = 1.0;
    header->pixel_y = 1.0;
    if (band >= 1) {
        s->nselected = 1;
        s->select[0] = band - 1;
    } else if (red && green && blue) {
        s->nselected = 3;
        s->select[0] = red - 1, s->select[1] = green - 1, s->select[2] = blue - 1;
    } else if (components == 1) {
        s->nselected = 1;
    } else if (components == 3) {
        s->nselected = 3;
        s->select[0] = 0, s->select[1] = 1, s->select[2] = 2;
    }
    // Other counts (CMYK) leave the selection empty: rows write nothing.
    for (int k = 0; k < s->nselected; ++k)
        if (s->select[k] < 0 || s->select[k] >= components) s->nselected = 0;
    s->green_offset = width;
    s->blue_offset = 2 * width;
    header->priv = s;
    return 0;
}

int JFIF_getrow(int row, void* buffer, UDFHeader* header) {
    JFIFState* s = header ? static_cast<JFIFState*>(header->priv) : nullptr;
    if (!s || !buffer || s->failed) return -1;
    if (setjmp(s->jerr.jump)) {
        s->failed = 1;
        return -1;
    }
    if (s->start_pending) {
        s->start_pending = 0;
        if (!jpeg_start_decompress(&s->cinfo)) {
            s->failed = 1;
            return -1;
        }
        s->started = 1;
        s->row_samples = static_cast<int>(s->cinfo.output_width) * s->cinfo.output_components;
        s->scanline = (*s->cinfo.mem->alloc_sarray)(reinterpret_cast<j_common_ptr>(&s->cinfo), JPOOL_IMAGE,
                                                   static_cast<JDIMENSION>(s->row_samples), 1);
        // A progressive file is read whole by the start: a cut one fails here.
        if (s->source.ended) {
            s->failed = 1;
            return -1;
        }
    }
    if (!s->started || row < 0 || row >= static_cast<int>(s->cinfo.output_height)) return -1;
    bool decoded = s->cinfo.output_scanline > 0;
    while (static_cast<JDIMENSION>(row) >= s->cinfo.output_scanline) {
        if (jpeg_read_scanlines(&s->cinfo, s->scanline, 1) != 1) {
            s->failed = 1;
            return -1;
        }
        decoded = true;
        // Lines decoded after the bytes ran out are made up.
        if (s->source.ended) {
            s->failed = 1;
            return -1;
        }
    }
    if (!decoded) return -1;
    const int components = s->cinfo.output_components;
    for (int k = 0; k < s->nselected; ++k)
        if (s->select[k] >= components) return -1;
    jpeg_split_line(s->scanline[0], static_cast<int>(s->cinfo.output_width), components, s->select, s->nselected,
                    static_cast<uint8_t*>(buffer), header->columns);
    return 0;
}

int JFIF_close(UDFHeader* header) {
    JFIFState* s = header ? static_cast<JFIFState*>(header->priv) : nullptr;
    if (!s) return 0;
    if (setjmp(s->jerr.jump) == 0) {
        if (s->started && !s->failed) {
            if (s->cinfo.output_scanline >= s->cinfo.output_height)
                jpeg_finish_decompress(&s->cinfo);
            else
                jpeg_abort_decompress(&s->cinfo);
        }
    }
    release(s);
    header->priv = nullptr;
    return 0;
}

}  // extern "C"

extern const RegisteredDriver registered_JFIF = {
    JFIF_exist, JFIF_open, JFIF_close, JFIF_getrow,
    "JPG", "jpg", "JFIF (*.jpg)", "*.jpg",
    START_UNGUARDED, true, nullptr, nullptr, &state_JFIF,
};
