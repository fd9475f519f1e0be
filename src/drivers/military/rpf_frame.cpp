// RPF frame sections: the records of rpf_frame.h from a NITF frame file.
//
// Layout (all numbers big-endian):
//   UDHD of the file header   "RPFHDR", length "00048", endian (1, must be 0),
//                             header length (2), file name (12), new/update (1),
//                             standard number (15), date (8), classification (1),
//                             country (2), release (2), location offset (4)
//   UDID of image subheader 0 "RPFIMG", length (5), then one after another,
//   each taking at least the length of its location record:
//     location      section length (2), table offset (4), count (2), record
//                   length (2), aggregate length (4), count x {id (2),
//                   length (4), file offset (4)}
//     130 coverage  12 doubles: four corners (lat, lon), resolutions, intervals
//     134 colour    colour tables (1), converters (1), external name (12)
//     135 colourmap offset table offset (4), record length (2), per table
//                   {id 2, records 4, element length 1, histogram length 2,
//                   table offset 4, histogram offset 4}, the entries of every
//                   table, then the histograms
//     139 converter offset table offset (4), record lengths (2, 2), per
//                   converter {id 2, records 4, three offsets 4}, their u32s
//     136 image     six u16 (groups, table entries, band tables, lines,
//                   subframes across, down), two u32 (columns and rows per
//                   subframe), two mask table offsets (4, 4)
//   at file offsets:
//     131           algorithm (2), lookup tables (2), parameter records (2)
//     132           offset table offset (4), record length (2), per table
//                   {id 2, records 4, values 2, bits 2, offset 4}, the tables
//     138 mask      subframe and transparency sequence lengths (2, 2), code
//                   length in bits (2), [code byte], subframe offsets, then
//                   transparency offsets, [group][row][column] of u32 each
//     137           image rows (4), codes per row (4), code bit length (1)

#include "drivers/military/rpf_frame.h"

#include <stdlib.h>
#include <string.h>

#include <tarnimage/tarn_file.h>

#include "platform/byteorder.h"

namespace {

// A bounded view of bytes in memory.
struct Cursor {
    const uint8_t* p;
    size_t left;
    bool take(size_t n, const uint8_t** at) {
        if (n > left) return false;
        *at = p;
        p += n;
        left -= n;
        return true;
    }
    bool u8(uint8_t* v) {
        const uint8_t* a;
        if (!take(1, &a)) return false;
        *v = a[0];
        return true;
    }
    bool u16(uint16_t* v) {
        const uint8_t* a;
        if (!take(2, &a)) return false;
        *v = read_be16(a);
        return true;
    }
    bool u32(uint32_t* v) {
        const uint8_t* a;
        if (!take(4, &a)) return false;
        *v = read_be32(a);
        return true;
    }
    bool f64(double* v) {
        const uint8_t* a;
        if (!take(8, &a)) return false;
        *v = read_be_f64(a);
        return true;
    }
    bool text(char* out, size_t n) {
        const uint8_t* a;
        if (!take(n, &a)) return false;
        memcpy(out, a, n);
        out[n] = '\0';
        return true;
    }
    bool copy(uint8_t* out, size_t n) {
        const uint8_t* a;
        if (!take(n, &a)) return false;
        memcpy(out, a, n);
        return true;
    }
};

// Reads a section's bytes at a file offset, never past the end of the file.
struct FileReader {
    FILE* fp;
    long size;
    long at;
    bool seek(uint32_t offset) {
        if (!fp || static_cast<long long>(offset) > size) return false;
        at = static_cast<long>(offset);
        return tarn_fseek(fp, at, SEEK_SET) == 0;
    }
    size_t remaining() const { return at < size ? static_cast<size_t>(size - at) : 0; }
    bool bytes(void* out, size_t n) {
        if (n > remaining()) return false;
        if (n && tarn_fread(out, 1, n, fp) != n) return false;
        at += static_cast<long>(n);
        return true;
    }
    bool u8(uint8_t* v) { return bytes(v, 1); }
    bool u16(uint16_t* v) {
        uint8_t b[2];
        if (!bytes(b, 2)) return false;
        *v = read_be16(b);
        return true;
    }
    bool u32(uint32_t* v) {
        uint8_t b[4];
        if (!bytes(b, 4)) return false;
        *v = read_be32(b);
        return true;
    }
};

FileReader reader_of(NITFFile* file) { return FileReader{file ? file->file : nullptr, file ? file->FL : 0, 0}; }

bool located(const RPFFrameFile* frame, uint16_t id) {
    for (uint16_t i = 0; i < frame->location.count; ++i)
        if (frame->location.records[i].id == id) return true;
    return false;
}

template <typename T>
T* zeroed(size_t n) {
    return static_cast<T*>(calloc(n ? n : 1, sizeof(T)));
}

// Tables of `n` records of `each` bytes from the cursor, or false when the
// bytes aren't there (checked before allocating).
bool table_bytes(Cursor& c, uint64_t n, uint64_t each, uint8_t** out) {
    const uint64_t total = n * each;
    if (each != 0 && total / each != n) return false;
    if (total > c.left) return false;
    *out = static_cast<uint8_t*>(malloc(total ? size_t(total) : 1));
    return *out && c.copy(*out, size_t(total));
}

bool extract_colormap(Cursor& c, RPFFrameColorGrayscale* g) {
    if (!c.u32(&g->colormap_offset_table_offset) || !c.u16(&g->offset_record_length)) return false;
    const uint16_t n = g->ncolor_tables;
    g->color_records = zeroed<RPFColorTableRecord>(n);
    g->colors = zeroed<uint8_t*>(n);
    g->histograms = zeroed<uint8_t*>(n);
    if (!g->color_records || !g->colors || !g->histograms) return false;
    for (uint16_t t = 0; t < n; ++t) {
        RPFColorTableRecord& r = g->color_records[t];
        if (!c.u16(&r.id) || !c.u32(&r.records) || !c.u8(&r.element_length) || !c.u16(&r.histogram_length) ||
            !c.u32(&r.table_offset) || !c.u32(&r.histogram_offset))
            return false;
    }
    for (uint16_t t = 0; t < n; ++t)
        if (!table_bytes(c, g->color_records[t].records, g->color_records[t].element_length, &g->colors[t]))
            return false;
    for (uint16_t t = 0; t < n; ++t) {
        const RPFColorTableRecord& r = g->color_records[t];
        // Each histogram record is turned as a whole word, so room is kept for
        // the last one's rounding.
        const uint64_t total = uint64_t(r.records) * r.histogram_length;
        if (total > c.left) return false;
        g->histograms[t] = static_cast<uint8_t*>(calloc(size_t(total) + 4, 1));
        if (!g->histograms[t] || !c.copy(g->histograms[t], size_t(total))) return false;
        if (r.histogram_length != 0)
            for (uint32_t k = 0; k < r.records; ++k) {
                const int length = r.histogram_length;
                swpbyt_(g->histograms[t] + size_t(k) * r.histogram_length, &length);
            }
    }
    return true;
}

bool extract_converters(Cursor& c, RPFFrameColorGrayscale* g) {
    if (!c.u32(&g->converter_offset_table_offset) || !c.u16(&g->converter_offset_record_length) ||
        !c.u16(&g->converter_record_length))
        return false;
    const uint16_t n = g->nconverter_tables;
    g->converter_records = zeroed<RPFConverterRecord>(n);
    g->converters = zeroed<uint32_t*>(n);
    if (!g->converter_records || !g->converters) return false;
    for (uint16_t t = 0; t < n; ++t) {
        RPFConverterRecord& r = g->converter_records[t];
        if (!c.u16(&r.id) || !c.u32(&r.records) || !c.u32(&r.table_offset) || !c.u32(&r.source_offset) ||
            !c.u32(&r.target_offset))
            return false;
    }
    for (uint16_t t = 0; t < n; ++t) {
        const uint32_t records = g->converter_records[t].records;
        if (uint64_t(records) * 4 > c.left) return false;
        g->converters[t] = zeroed<uint32_t>(records);
        if (!g->converters[t]) return false;
        for (uint32_t k = 0; k < records; ++k)
            if (!c.u32(&g->converters[t][k])) return false;
    }
    return true;
}

// The CIB layout, whatever its file says.
void force_cib_layout(RPFFrameImage* image) {
    image->spectral_groups = 1;
    image->subframe_table_entries = 36;
    image->band_tables = 1;
    image->lines_per_row = 1;
    image->subframes_across = 6;
    image->subframes_down = 6;
    image->columns_per_subframe = 256;
    image->rows_per_subframe = 256;
}

bool read_offsets(FileReader& r, uint32_t n, uint32_t** out) {
    if (uint64_t(n) * 4 > r.remaining()) return false;
    *out = zeroed<uint32_t>(n);
    if (!*out) return false;
    for (uint32_t k = 0; k < n; ++k)
        if (!r.u32(&(*out)[k])) return false;
    return true;
}

// A section in the user data takes at least the length its location record
// gives: GDAL writes colour map sections with slack behind the histograms.
bool skip_slack(Cursor& c, const RPFFrameFile* frame, uint16_t id, const uint8_t* start) {
    uint32_t offset, length;
    if (RPF_FindSection(frame, id, &offset, &length) != 0) return true;
    const size_t used = size_t(c.p - start);
    if (length <= used) return true;
    const uint8_t* rest;
    return c.take(length - used, &rest);
}

}  // namespace

extern "C" {

void RPF_InitFrameHeader(RPFFrameHeader* header) {
    if (!header) return;
    memset(header, 0, sizeof *header);
}

void RPF_InitFrameLocation(RPFFrameLocation* location) {
    if (!location) return;
    memset(location, 0, sizeof *location);
}

void RPF_InitFrameCoverage(RPFFrameCoverage* coverage) {
    if (!coverage) return;
    memset(coverage, 0, sizeof *coverage);
}

void RPF_InitFrameCompression(RPFFrameCompression* compression) {
    if (!compression) return;
    memset(compression, 0, sizeof *compression);
}

void RPF_InitFrameColorGrayscale(RPFFrameColorGrayscale* color) {
    if (!color) return;
    memset(color, 0, sizeof *color);
}

void RPF_InitFrameImage(RPFFrameImage* image, int format) {
    if (!image) return;
    memset(image, 0, sizeof *image);
    if (format == RPF_FORMAT_CIB) force_cib_layout(image);
}

void RPF_InitFrameFile(RPFFrameFile* frame, int format) {
    if (!frame) return;
    frame->format = format;
    RPF_InitFrameHeader(&frame->header);
    RPF_InitFrameLocation(&frame->location);
    RPF_InitFrameCoverage(&frame->coverage);
    RPF_InitFrameCompression(&frame->compression);
    RPF_InitFrameColorGrayscale(&frame->color);
    RPF_InitFrameImage(&frame->image, format);
}

int RPF_FindSection(const RPFFrameFile* frame, uint16_t id, uint32_t* offset, uint32_t* length) {
    if (!frame || !frame->location.records) return -1;
    int found = -1;
    for (uint16_t i = 0; i < frame->location.count; ++i)
        if (frame->location.records[i].id == id) {
            if (offset) *offset = frame->location.records[i].offset;
            if (length) *length = frame->location.records[i].length;
            found = 0;
        }
    return found;
}

int RPF_ExtractFrameHeader(NITFFile* file, RPFFrameFile* frame) {
    if (!file || !frame || file->UDHDL == 0 || !file->UDHD) return -1;
    // UDHD holds UDHDL - 3 bytes, the overflow field taking the rest.
    const long held = long(file->UDHDL) - 3;
    if (held < 11 + 48) return -1;
    Cursor c{file->UDHD, size_t(held)};
    const uint8_t* tag;
    c.take(11, &tag);
    if (memcmp(tag, "RPFHDR", 6) != 0 || memcmp(tag + 6, "00048", 5) != 0) return -1;
    uint8_t endian, indicator;
    const uint8_t* raw;
    c.u8(&endian);
    if (endian != 0) return -1;
    RPFFrameHeader& h = frame->header;
    h.endian = 1;
    c.take(2, &raw);
    memcpy(&h.header_length, raw, 2);
    c.text(h.file_name, 12);
    c.u8(&indicator);
    h.new_indicator = indicator;
    c.text(h.standard_number, 15);
    c.text(h.standard_date, 8);
    uint8_t classification;
    c.u8(&classification);
    h.classification = char(classification);
    c.text(h.country, 2);
    c.text(h.release, 2);
    c.take(4, &raw);
    memcpy(&h.location_offset, raw, 4);
    return 0;
}

int RPF_ExtractFrameInformation(NITFImageSubHeader* subheader, RPFFrameFile* frame) {
    if (!subheader || !frame || subheader->UDIDL <= 3 || !subheader->UDID) return -1;
    Cursor c{subheader->UDID, size_t(subheader->UDIDL - 3)};
    const uint8_t* tag;
    if (!c.take(11, &tag) || memcmp(tag, "RPFIMG", 6) != 0) return -1;
    RPFFrameLocation& loc = frame->location;
    if (!c.u16(&loc.section_length) || !c.u32(&loc.table_offset) || !c.u16(&loc.count) ||
        !c.u16(&loc.record_length) || !c.u32(&loc.aggregate_length))
        return -1;
    if (size_t(loc.count) * 10 > c.left) return -1;
    loc.records = zeroed<RPFLocationRecord>(loc.count);
    if (!loc.records) return -1;
    uint64_t sum = 0;
    for (uint16_t i = 0; i < loc.count; ++i) {
        RPFLocationRecord& r = loc.records[i];
        c.u16(&r.id);
        c.u32(&r.length);
        c.u32(&r.offset);
        sum += r.length;
    }
    if (sum != loc.aggregate_length) return -1;

    const uint8_t* start = c.p;
    if (located(frame, RPF_COVERAGE)) {
        RPFFrameCoverage& v = frame->coverage;
        double* fields[12] = {&v.nw_lat, &v.nw_lon, &v.sw_lat, &v.sw_lon, &v.ne_lat, &v.ne_lon,
                              &v.se_lat, &v.se_lon, &v.ns_resolution, &v.ew_resolution, &v.lat_interval,
                              &v.lon_interval};
        for (double* f : fields)
            if (!c.f64(f)) return -1;
        if (!skip_slack(c, frame, RPF_COVERAGE, start)) return -1;
    }
    RPFFrameColorGrayscale& g = frame->color;
    start = c.p;
    if (located(frame, RPF_COLOR_GRAYSCALE)) {
        uint8_t tables, converters;
        if (!c.u8(&tables) || !c.u8(&converters) || !c.text(g.external_name, 12)) return -1;
        g.ncolor_tables = tables;
        g.nconverter_tables = converters;
        if (!skip_slack(c, frame, RPF_COLOR_GRAYSCALE, start)) return -1;
        start = c.p;
        if (located(frame, RPF_COLORMAP) &&
            (!extract_colormap(c, &g) || !skip_slack(c, frame, RPF_COLORMAP, start)))
            return -1;
    }
    start = c.p;
    if (located(frame, RPF_COLOR_CONVERTER) &&
        (!extract_converters(c, &g) || !skip_slack(c, frame, RPF_COLOR_CONVERTER, start)))
        return -1;

    RPFFrameImage& im = frame->image;
    if (!c.u16(&im.spectral_groups) || !c.u16(&im.subframe_table_entries) || !c.u16(&im.band_tables) ||
        !c.u16(&im.lines_per_row) || !c.u16(&im.subframes_across) || !c.u16(&im.subframes_down) ||
        !c.u32(&im.columns_per_subframe) || !c.u32(&im.rows_per_subframe))
        return -1;
    if (frame->format == RPF_FORMAT_CIB) force_cib_layout(&im);
    if (!c.u32(&im.subframe_mask_offset) || !c.u32(&im.transparency_mask_offset)) return -1;
    return 0;
}

int RPF_ExtractFrameCompression(NITFFile* file, RPFFrameFile* frame) {
    if (!file || !frame) return -1;
    uint32_t at131, at132;
    if (RPF_FindSection(frame, RPF_COMPRESSION, &at131, nullptr) != 0) return -1;
    FileReader r = reader_of(file);
    RPFFrameCompression& k = frame->compression;
    if (!r.seek(at131) || !r.u16(&k.algorithm) || !r.u16(&k.ntables) || !r.u16(&k.nparameters)) return -1;
    if (RPF_FindSection(frame, RPF_LOOKUP, &at132, nullptr) != 0) {
        k.ntables = 0;  // nothing to decode with
        return 0;
    }
    if (!r.seek(at132) || !r.u32(&k.offset_table_offset) || !r.u16(&k.offset_record_length)) return -1;
    if (size_t(k.ntables) * 14 > r.remaining()) return -1;
    k.records = zeroed<RPFLookupTableRecord>(k.ntables);
    k.record_bytes = zeroed<uint32_t>(k.ntables);
    k.tables = zeroed<uint8_t*>(k.ntables);
    if (!k.records || !k.record_bytes || !k.tables) return -1;
    for (uint16_t t = 0; t < k.ntables; ++t) {
        RPFLookupTableRecord& rec = k.records[t];
        if (!r.u16(&rec.id) || !r.u32(&rec.records) || !r.u16(&rec.values) || !r.u16(&rec.bits) ||
            !r.u32(&rec.offset))
            return -1;
        k.record_bytes[t] = uint32_t(rec.values) * (rec.bits / 8u);
    }
    // The tables follow one another, whatever their own offsets say.
    for (uint16_t t = 0; t < k.ntables; ++t) {
        const uint64_t total = uint64_t(k.records[t].records) * k.record_bytes[t];
        if (total > r.remaining()) return -1;
        k.tables[t] = static_cast<uint8_t*>(malloc(total ? size_t(total) : 1));
        if (!k.tables[t] || !r.bytes(k.tables[t], size_t(total))) return -1;
    }
    return 0;
}

int RPF_ExtractFrameImageMask(NITFFile* file, RPFFrameFile* frame) {
    if (!file || !frame) return -1;
    uint32_t at;
    if (RPF_FindSection(frame, RPF_MASK, &at, nullptr) != 0) return -1;
    FileReader r = reader_of(file);
    RPFFrameImage& im = frame->image;
    if (!r.seek(at) || !r.u16(&im.subframe_sequence_length) || !r.u16(&im.transparency_sequence_length) ||
        !r.u16(&im.transparent_code_length))
        return -1;
    if (im.transparent_code_length != 0 && im.transparent_code_length != 8) return -1;
    if (im.transparent_code_length == 8) {
        im.transparent_code = static_cast<uint8_t*>(malloc(1));
        if (!im.transparent_code || !r.u8(im.transparent_code)) return -1;
    }
    im.mask_entries = uint32_t(im.spectral_groups) * im.subframes_down * im.subframes_across;
    if (im.subframe_sequence_length != 0 && !read_offsets(r, im.mask_entries, &im.subframe_offsets)) return -1;
    if (im.transparency_sequence_length != 0 && !read_offsets(r, im.mask_entries, &im.transparency_offsets))
        return -1;
    return 0;
}

int RPF_ExtractFrameImageParameters(NITFFile* file, RPFFrameFile* frame) {
    if (!file || !frame) return -1;
    uint32_t at;
    if (RPF_FindSection(frame, RPF_DISPLAY_PARAMETERS, &at, nullptr) != 0) return -1;
    FileReader r = reader_of(file);
    RPFFrameImage& im = frame->image;
    if (!r.seek(at) || !r.u32(&im.image_rows) || !r.u32(&im.codes_per_row) || !r.u8(&im.code_bit_length)) return -1;
    return 0;
}

int RPF_ReadFile(NITFFile* file, RPFFrameFile* frame, int format) {
    if (!file || !frame) return -1;
    RPF_InitFrameFile(frame, format);
    if (RPF_ExtractFrameHeader(file, frame) != 0) return -1;
    NITFImageSubHeader sub;
    if (NITF_ReadImageSubHeader(0, file, &sub) != 0) return -1;
    if (RPF_ExtractFrameInformation(&sub, frame) != 0 || RPF_ExtractFrameCompression(file, frame) != 0) {
        NITF_FreeImageSubHeader(&sub);
        RPF_FreeFrameFile(frame);
        return -1;
    }
    // A frame without a mask or display parameters stands with an empty mask:
    // every subframe present at the regular spacing.
    if (RPF_ExtractFrameImageMask(file, frame) != 0) {
        RPF_FreeFrameImage(&frame->image);
        frame->image.subframe_sequence_length = frame->image.transparency_sequence_length = 0;
        frame->image.transparent_code_length = 0;
        frame->image.mask_entries = 0;
    }
    RPF_ExtractFrameImageParameters(file, frame);
    NITF_FreeImageSubHeader(&sub);
    return 0;
}

void RPF_FreeFrameLocation(RPFFrameLocation* location) {
    if (!location) return;
    free(location->records);
    location->records = nullptr;
    location->count = 0;
}

void RPF_FreeFrameCompression(RPFFrameCompression* k) {
    if (!k) return;
    if (k->tables)
        for (uint16_t t = 0; t < k->ntables; ++t) free(k->tables[t]);
    free(k->tables);
    free(k->records);
    free(k->record_bytes);
    k->tables = nullptr;
    k->records = nullptr;
    k->record_bytes = nullptr;
    k->ntables = 0;
}

void RPF_FreeFrameColorGrayscale(RPFFrameColorGrayscale* g) {
    if (!g) return;
    for (uint16_t t = 0; t < g->ncolor_tables; ++t) {
        if (g->colors) free(g->colors[t]);
        if (g->histograms) free(g->histograms[t]);
    }
    if (g->converters)
        for (uint16_t t = 0; t < g->nconverter_tables; ++t) free(g->converters[t]);
    free(g->colors);
    free(g->histograms);
    free(g->color_records);
    free(g->converters);
    free(g->converter_records);
    g->colors = g->histograms = nullptr;
    g->color_records = nullptr;
    g->converters = nullptr;
    g->converter_records = nullptr;
    g->ncolor_tables = g->nconverter_tables = 0;
}

void RPF_FreeFrameImage(RPFFrameImage* image) {
    if (!image) return;
    free(image->transparent_code);
    free(image->subframe_offsets);
    free(image->transparency_offsets);
    image->transparent_code = nullptr;
    image->subframe_offsets = nullptr;
    image->transparency_offsets = nullptr;
}

void RPF_FreeFrameFile(RPFFrameFile* frame) {
    if (!frame) return;
    RPF_FreeFrameLocation(&frame->location);
    RPF_FreeFrameCompression(&frame->compression);
    RPF_FreeFrameColorGrayscale(&frame->color);
    RPF_FreeFrameImage(&frame->image);
}

}  // extern "C"
