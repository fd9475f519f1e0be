#include "drivers/general/jpeg_rows.h"

#include <string.h>

#include <tarnimage/tarn_file.h>

namespace {

void jump_back(j_common_ptr cinfo) {
    JPEGErrorManager* err = reinterpret_cast<JPEGErrorManager*>(cinfo->err);
    longjmp(err->jump, 1);
}

// Warnings and traces are counted by libjpeg but never shown.
void no_output(j_common_ptr) {}
void no_emit(j_common_ptr cinfo, int level) {
    if (level < 0) ++cinfo->err->num_warnings;
}

void init_source(j_decompress_ptr) {}

boolean fill_input_buffer(j_decompress_ptr cinfo) {
    JPEGFileSource* src = reinterpret_cast<JPEGFileSource*>(cinfo->src);
    size_t want = JPEG_SOURCE_BUFFER;
    if (src->left >= 0 && static_cast<unsigned long>(src->left) < want) want = static_cast<size_t>(src->left);
    size_t got = want ? tarn_fread(src->buffer, 1, want, src->file) : 0;
    if (src->left >= 0) src->left -= static_cast<long>(got);
    if (got == 0) {
        // A cut stream: an end marker lets libjpeg finish; the reader learns of it by `ended`.
        src->ended = 1;
        src->buffer[0] = 0xFF;
        src->buffer[1] = JPEG_EOI;
        got = 2;
    }
    src->pub.next_input_byte = src->buffer;
    src->pub.bytes_in_buffer = got;
    return TRUE;
}

void skip_input_data(j_decompress_ptr cinfo, long count) {
    if (count <= 0) return;
    jpeg_source_mgr* src = cinfo->src;
    while (count > static_cast<long>(src->bytes_in_buffer)) {
        count -= static_cast<long>(src->bytes_in_buffer);
        fill_input_buffer(cinfo);
        if (reinterpret_cast<JPEGFileSource*>(src)->ended) return;
    }
    src->next_input_byte += count;
    src->bytes_in_buffer -= static_cast<size_t>(count);
}

void term_source(j_decompress_ptr) {}

}  // namespace

jpeg_error_mgr* jpeg_silent_errors(JPEGErrorManager* err) {
    jpeg_error_mgr* pub = jpeg_std_error(&err->pub);
    pub->error_exit = jump_back;
    pub->output_message = no_output;
    pub->emit_message = no_emit;
    return pub;
}

void jpeg_file_source(j_decompress_ptr cinfo, JPEGFileSource* src, FILE* file) {
    memset(src, 0, sizeof *src);
    src->file = file;
    src->left = -1;
    src->pub.init_source = init_source;
    src->pub.fill_input_buffer = fill_input_buffer;
    src->pub.skip_input_data = skip_input_data;
    src->pub.resync_to_restart = jpeg_resync_to_restart;
    src->pub.term_source = term_source;
    cinfo->src = &src->pub;
    cinfo->mem->max_memory_to_use = JPEG_MEMORY_LIMIT;
}

int jpeg_source_seek(JPEGFileSource* src, long offset, long limit) {
    src->pub.bytes_in_buffer = 0;
    src->pub.next_input_byte = nullptr;
    src->ended = 0;
    src->left = limit;
    return offset >= 0 && tarn_fseek(src->file, offset, SEEK_SET) == 0 ? 0 : -1;
}

void jpeg_split_line(const JSAMPLE* line, int width, int components, const int* select, int nselected,
                     uint8_t* out, int out_width) {
    const int n = width < out_width ? width : out_width;
    for (int k = 0; k < nselected; ++k) {
        uint8_t* plane = out + static_cast<size_t>(k) * static_cast<size_t>(out_width);
        const JSAMPLE* from = line + select[k];
        for (int i = 0; i < n; ++i, from += components) plane[i] = *from;
        if (n < out_width) memset(plane + n, 0, static_cast<size_t>(out_width - n));
    }
}
