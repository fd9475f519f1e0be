// NITF 2.0 file structure: header, segment lengths, subheaders, image data mask.
//
// Layout (text fields blank-padded ASCII, numbers decimal ASCII):
//   file header        FHDR "NITF02.00" ... FL (12), HL (6), then six groups of
//                      segments, each a 3-digit count and per segment two
//                      lengths (subheader, data): image 6+10, symbol 4+6,
//                      label 4+3, text 4+5, data extension 4+9, reserved 4+7;
//                      UDHDL (5) [UDHOFL (3), UDHD], XHDL (5) [XHD]
//   segments           from HL on, in group order, each subheader then data
//   image data mask    at the start of a masked image's data, big-endian:
//                      IMDATOFF (4), BMRLNTH (2), TMRLNTH (2), TPXCDLNTH (2),
//                      pad code, then block offsets and pad mask offsets
//
// The fields of each record are one table below (name, width, kind,
// condition); the reader and the writer walk the same rows.

#include "drivers/military/nitf_file.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <tarnimage/tarn_file.h>

#include "platform/byteorder.h"

namespace {

enum class Kind {
    Text,      // char[width + 1]
    Char,      // one char
    Int16,     // decimal, kept as int16_t
    Int32,     // decimal, kept as int32_t
    Segments,  // count (int16_t) and two arrays of lengths
    Bytes,     // a buffer whose length an earlier field gives
    Comments,  // NICOM texts of 80
    Bands,     // the per-band rows, NBANDS times
    SegmentData,  // the data of a data extension segment, LD bytes
};

enum class When {
    Always,
    Downgraded,  // the text at `ref` is "999998"
    HasCorners,  // the char at `ref` isn't 'N' or 'n'
    Compressed,  // the IC at `ref` is one of the compressed codes
    NonZero,     // the number at `ref` isn't 0
    Positive,    // the number at `ref` is above 0
};

enum class Check {
    None,
    FileSize,       // FL equals the size of the file
    AtMost9,        // NICOM
    OneTo9,         // NBANDS
    AtMost4,        // NLUTS
    LutEntries,     // NELUT 1 to 65536
    AtMost99999,    // UDIDL
    EndsWhenZero,   // IXSHDL: at most 99999, and 0 ends the record
};

struct Field {
    const char* name;
    int width;
    Kind kind;
    When when = When::Always;
    size_t at = 0;       // offset of the member
    size_t ref = 0;      // offset of the member the condition or the length reads
    Check check = Check::None;
    // Segments: width of the data length and the offsets of both arrays.
    // Bytes: bytes read are the length less `less`; room is the length.
    int width2 = 0;
    size_t lengths = 0, data_lengths = 0;
    int less = 0;
    bool ref_is_i16 = false;  // the number at `ref` is an int16_t
    size_t stride = 0, ref_stride = 0;  // per band, for the band rows
};

#define F(rec, m) offsetof(rec, m)
#define H(m) F(NITFFile, m)
#define I(m) F(NITFImageSubHeader, m)
#define D(m) F(NITFDataExtSubHeader, m)

Field text(const char* name, int width, size_t at) { return {name, width, Kind::Text, When::Always, at}; }
Field chr(const char* name, size_t at) { return {name, 1, Kind::Char, When::Always, at}; }
Field i16(const char* name, int width, size_t at, Check check = Check::None) {
    Field f{name, width, Kind::Int16, When::Always, at};
    f.check = check;
    return f;
}
Field i32(const char* name, int width, size_t at, Check check = Check::None) {
    Field f{name, width, Kind::Int32, When::Always, at};
    f.check = check;
    return f;
}
Field when(Field f, When w, size_t ref) {
    f.when = w;
    f.ref = ref;
    return f;
}
Field segments(const char* name, size_t count, size_t lengths, int w1, size_t data_lengths, int w2) {
    Field f{name, 3, Kind::Segments, When::Always, count};
    f.lengths = lengths;
    f.data_lengths = data_lengths;
    f.width2 = w2;
    f.width = 3;
    f.less = w1;  // width of the subheader length
    return f;
}
Field bytes(const char* name, size_t at, size_t length, When w, int less = 0) {
    Field f{name, 0, Kind::Bytes, w, at, length};
    f.less = less;
    return f;
}
Field band(Field f, size_t stride) {
    f.stride = stride;
    return f;
}

const Field kHeader[] = {
    text("FHDR", 9, H(FHDR)),
    i16("CLEVEL", 2, H(CLEVEL)),
    text("STYPE", 4, H(STYPE)),
    text("OSTAID", 10, H(OSTAID)),
    text("FDT", 14, H(FDT)),
    text("FTITLE", 80, H(FTITLE)),
    chr("FSCLAS", H(FSCLAS)),
    text("FSCODE", 40, H(FSCODE)),
    text("FSCTLH", 40, H(FSCTLH)),
    text("FSREL", 40, H(FSREL)),
    text("FSCAUT", 20, H(FSCAUT)),
    text("FSCTLN", 20, H(FSCTLN)),
    text("FSDWNG", 6, H(FSDWNG)),
    when(text("FSDEVT", 40, H(FSDEVT)), When::Downgraded, H(FSDWNG)),
    i32("FSCOP", 5, H(FSCOP)),
    i32("FSCPYS", 5, H(FSCPYS)),
    chr("ENCRYP", H(ENCRYP)),
    text("ONAME", 27, H(ONAME)),
    text("OPHONE", 18, H(OPHONE)),
    i32("FL", 12, H(FL), Check::FileSize),
    i32("HL", 6, H(HL)),
    segments("NUMI", H(NUMI), H(LISH), 6, H(LI), 10),
    segments("NUMS", H(NUMS), H(LSSH), 4, H(LS), 6),
    segments("NUML", H(NUML), H(LLSH), 4, H(LL), 3),
    segments("NUMT", H(NUMT), H(LTSH), 4, H(LT), 5),
    segments("NUMDES", H(NUMDES), H(LDSH), 4, H(LD), 9),
    segments("NUMRES", H(NUMRES), H(LRESH), 4, H(LRE), 7),
    i32("UDHDL", 5, H(UDHDL)),
    when(i32("UDHOFL", 3, H(UDHOFL)), When::NonZero, H(UDHDL)),
    bytes("UDHD", H(UDHD), H(UDHDL), When::Positive),
    i32("XHDL", 5, H(XHDL)),
    bytes("XHD", H(XHD), H(XHDL), When::Positive),
};

const Field kImageBand[] = {
    band(text("IREPBAND", 2, I(IREPBAND)), 3),
    band(text("ISUBCAT", 6, I(ISUBCAT)), 7),
    band(chr("IFC", I(IFC)), 1),
    band(text("IMFLT", 3, I(IMFLT)), 4),
    band(i16("NLUTS", 1, I(NLUTS), Check::AtMost4), sizeof(int16_t)),
    [] {
        Field f = band(when(i32("NELUT", 5, I(NELUT), Check::LutEntries), When::Positive, I(NLUTS)),
                       sizeof(int32_t));
        f.ref_is_i16 = true;
        f.ref_stride = sizeof(int16_t);
        return f;
    }(),
    [] {
        // NLUTS * NELUT bytes; the walker multiplies the two.
        Field f = band(bytes("LUTD", I(LUTD), I(NLUTS), When::Positive), sizeof(uint8_t*));
        f.ref_is_i16 = true;
        f.ref_stride = sizeof(int16_t);
        return f;
    }(),
};

const Field kImage[] = {
    text("IM", 2, I(IM)),
    text("IID", 10, I(IID)),
    text("IDATIM", 14, I(IDATIM)),
    text("TGTID", 17, I(TGTID)),
    text("ITITLE", 80, I(ITITLE)),
    chr("ISCLAS", I(ISCLAS)),
    text("ISCODE", 40, I(ISCODE)),
    text("ISCTLH", 40, I(ISCTLH)),
    text("ISREL", 40, I(ISREL)),
    text("ISCAUT", 20, I(ISCAUT)),
    text("ISCTLN", 20, I(ISCTLN)),
    text("ISDWNG", 6, I(ISDWNG)),
    when(text("ISDEVT", 40, I(ISDEVT)), When::Downgraded, I(ISDWNG)),
    chr("ENCRYP", I(ENCRYP)),
    text("ISORCE", 42, I(ISORCE)),
    i32("NROWS", 8, I(NROWS)),
    i32("NCOLS", 8, I(NCOLS)),
    text("PVTYPE", 3, I(PVTYPE)),
    text("IREP", 8, I(IREP)),
    text("ICAT", 8, I(ICAT)),
    i16("ABPP", 2, I(ABPP)),
    chr("PJUST", I(PJUST)),
    chr("ICORDS", I(ICORDS)),
    when(text("IGEOLO", 60, I(IGEOLO)), When::HasCorners, I(ICORDS)),
    i16("NICOM", 1, I(NICOM), Check::AtMost9),
    Field{"ICOM", 80, Kind::Comments, When::Always, I(ICOM), I(NICOM)},
    text("IC", 2, I(IC)),
    when(text("COMRAT", 4, I(COMRAT)), When::Compressed, I(IC)),
    i16("NBANDS", 1, I(NBANDS), Check::OneTo9),
    Field{"bands", 0, Kind::Bands, When::Always, 0, I(NBANDS)},
    i16("ISYNC", 1, I(ISYNC)),
    chr("IMODE", I(IMODE)),
    i32("NBPR", 4, I(NBPR)),
    i32("NBPC", 4, I(NBPC)),
    i32("NPPBH", 4, I(NPPBH)),
    i32("NPPBV", 4, I(NPPBV)),
    i16("NBPP", 2, I(NBPP)),
    i16("IDLVL", 3, I(IDLVL)),
    i16("IALVL", 3, I(IALVL)),
    text("ILOC", 10, I(ILOC)),
    text("IMAG", 4, I(IMAG)),
    i32("UDIDL", 5, I(UDIDL), Check::AtMost99999),
    when(i32("UDOFL", 3, I(UDOFL)), When::NonZero, I(UDIDL)),
    bytes("UDID", I(UDID), I(UDIDL), When::NonZero, 3),
    i32("IXSHDL", 5, I(IXSHDL), Check::EndsWhenZero),
    when(i32("IXSOFL", 3, I(IXSOFL)), When::NonZero, I(IXSHDL)),
    bytes("IXSHD", I(IXSHD), I(IXSHDL), When::NonZero, 3),
};

const Field kDataExt[] = {
    text("DE", 2, D(DE)),
    text("DESTAG", 25, D(DESTAG)),
    i16("DESVER", 2, D(DESVER)),
    chr("DESCLAS", D(DESCLAS)),
    text("DESCODE", 40, D(DESCODE)),
    text("DESCTLH", 40, D(DESCTLH)),
    text("DESREL", 40, D(DESREL)),
    text("DESCAUT", 20, D(DESCAUT)),
    text("DESCTLN", 20, D(DESCTLN)),
    text("DESDWNG", 6, D(DESDWNG)),
    when(text("DESDEVT", 40, D(DESDEVT)), When::Downgraded, D(DESDWNG)),
    text("DESOFLW", 6, D(DESOFLW)),
    i16("DESITEM", 3, D(DESITEM)),
    i32("DESSHL", 4, D(DESSHL)),
    bytes("DESSHF", D(DESSHF), D(DESSHL), When::Positive),
    Field{"DESDATA", 0, Kind::SegmentData, When::Positive, D(DESDATA), D(DESSHL)},
};

template <typename T>
T& member(void* record, size_t at) {
    return *reinterpret_cast<T*>(static_cast<char*>(record) + at);
}

const char* const kCompressedCodes[] = {"C0", "C1", "C2", "C3", "C4", "M0", "M3", "M4"};

// Bytes from the current position to the end of the file, or -1.
long remaining(FILE* fp) {
    const long here = tarn_ftell(fp);
    if (here < 0 || tarn_fseek(fp, 0, SEEK_END) != 0) return -1;
    const long end = tarn_ftell(fp);
    if (tarn_fseek(fp, here, SEEK_SET) != 0 || end < here) return -1;
    return end - here;
}

bool read_exact(FILE* fp, void* to, size_t n) { return n == 0 || tarn_fread(to, 1, n, fp) == n; }

bool read_number(FILE* fp, int width, long* value) {
    char digits[16];
    if (width <= 0 || width >= static_cast<int>(sizeof digits) || !read_exact(fp, digits, size_t(width)))
        return false;
    digits[width] = 0;
    *value = strtol(digits, nullptr, 10);
    return true;
}

// Where a field of band `b` lies (b is 0 for the fields outside the band rows).
struct Place {
    void* record;
    int b;
    template <typename T>
    T& at(const Field& f) const { return member<T>(record, f.at + size_t(b) * f.stride); }
    long ref(const Field& f) const {
        const size_t off = f.ref + size_t(b) * f.ref_stride;
        if (f.ref_is_i16) return member<int16_t>(record, off);
        return member<int32_t>(record, off);
    }
    const char* ref_text(const Field& f) const { return &member<char>(record, f.ref); }
};

bool applies(const Field& f, const Place& p, bool writing) {
    switch (f.when) {
    case When::Always: return true;
    case When::Downgraded:
        // Readers take any case; the writers write the field for the exact text only.
        return writing ? strcmp(p.ref_text(f), "999998") == 0 : strcasecmp(p.ref_text(f), "999998") == 0;
    case When::HasCorners: {
        const char c = member<char>(p.record, f.ref);
        return c != 'N' && c != 'n';
    }
    case When::Compressed:
        for (const char* code : kCompressedCodes)
            if (strncasecmp(p.ref_text(f), code, 2) == 0) return true;
        return false;
    case When::NonZero: return p.ref(f) != 0;
    case When::Positive: return p.ref(f) > 0;
    }
    return false;
}

bool passes(const Field& f, long v, FILE* fp) {
    switch (f.check) {
    case Check::None: return true;
    case Check::FileSize: {
        const long here = tarn_ftell(fp);
        if (here < 0 || tarn_fseek(fp, 0, SEEK_END) != 0) return false;
        const long size = tarn_ftell(fp);
        return tarn_fseek(fp, here, SEEK_SET) == 0 && size == v;
    }
    case Check::AtMost9: return v <= NITF_MAX_COMMENTS;
    case Check::OneTo9: return v >= 1 && v <= NITF_MAX_BANDS;
    case Check::AtMost4: return v <= NITF_MAX_LUTS;
    case Check::LutEntries: return v >= 1 && v <= NITF_MAX_LUT_ENTRIES;
    case Check::AtMost99999:
    case Check::EndsWhenZero: return v <= 99999;
    }
    return false;
}

struct Reader {
    FILE* fp;
    NITFFile* file;   // for the data length of a data extension segment
    int index;
    bool ended = false;  // IXSHDL of 0 ends the record

    bool read_bytes(uint8_t** to, long length, long room, bool terminate) {
        if (length < 0 || room < length) return false;
        const long left = remaining(fp);
        if (left < 0 || length > left) return false;  // refused before allocating
        *to = static_cast<uint8_t*>(calloc(size_t(room) + (terminate ? 1 : 0), 1));
        if (!*to) return false;
        return read_exact(fp, *to, size_t(length));
    }

    bool field(const Field& f, const Place& p) {
        if (!applies(f, p, false)) return true;
        long v = 0;
        switch (f.kind) {
        case Kind::Text: {
            char* t = &p.at<char>(f);
            if (!read_exact(fp, t, size_t(f.width))) return false;
            t[f.width] = 0;
            return true;
        }
        case Kind::Char: return read_exact(fp, &p.at<char>(f), 1);
        case Kind::Int16:
            if (!read_number(fp, f.width, &v)) return false;
            p.at<int16_t>(f) = static_cast<int16_t>(v);
            if (f.check == Check::EndsWhenZero && v == 0) ended = true;
            return passes(f, static_cast<int16_t>(v), fp);
        case Kind::Int32:
            if (!read_number(fp, f.width, &v)) return false;
            p.at<int32_t>(f) = static_cast<int32_t>(v);
            if (f.check == Check::EndsWhenZero && v == 0) ended = true;
            return passes(f, static_cast<int32_t>(v), fp);
        case Kind::Segments: {
            if (!read_number(fp, f.width, &v)) return false;
            int16_t& count = p.at<int16_t>(f);
            count = static_cast<int16_t>(v);
            if (count < 0) return false;
            if (count == 0) return true;
            int32_t*& lengths = member<int32_t*>(p.record, f.lengths);
            int32_t*& data = member<int32_t*>(p.record, f.data_lengths);
            lengths = static_cast<int32_t*>(calloc(size_t(count), sizeof(int32_t)));
            data = static_cast<int32_t*>(calloc(size_t(count), sizeof(int32_t)));
            if (!lengths || !data) {
                free(lengths);
                free(data);
                lengths = data = nullptr;
                count = 0;
                return false;
            }
            for (int i = 0; i < count; ++i) {
                long a = 0, b = 0;
                if (!read_number(fp, f.less, &a) || !read_number(fp, f.width2, &b)) return false;
                lengths[i] = static_cast<int32_t>(a);
                data[i] = static_cast<int32_t>(b);
                if (lengths[i] < 0 || data[i] < 0) return false;
            }
            return true;
        }
        case Kind::Bytes: {
            uint8_t*& to = p.at<uint8_t*>(f);
            long room = p.ref(f);
            if (f.stride) room *= member<int32_t>(p.record, F(NITFImageSubHeader, NELUT) + size_t(p.b) * sizeof(int32_t));
            const bool terminate = f.at == F(NITFImageSubHeader, IXSHD) && f.less == 3;
            return read_bytes(&to, room - f.less, room, terminate);
        }
        case Kind::Comments: {
            const long n = member<int16_t>(p.record, f.ref);
            for (long i = 0; i < n; ++i) {
                char* t = &member<char>(p.record, f.at + size_t(i) * 81);
                if (!read_exact(fp, t, 80)) return false;
                t[80] = 0;
            }
            return true;
        }
        case Kind::Bands: {
            const long n = member<int16_t>(p.record, f.ref);
            for (int b = 0; b < n; ++b)
                for (const Field& g : kImageBand)
                    if (!field(g, Place{p.record, b})) return false;
            return true;
        }
        case Kind::SegmentData:
            if (!file || index < 0 || index >= file->NUMDES || !file->LD) return false;
            return read_bytes(&p.at<uint8_t*>(f), file->LD[index], file->LD[index], false);
        }
        return false;
    }

    template <size_t N>
    bool walk(const Field (&table)[N], void* record) {
        for (const Field& f : table) {
            if (!field(f, Place{record, 0})) return false;
            if (ended) return true;
        }
        return true;
    }
};

struct Writer {
    FILE* fp;

    bool number(long v, int width) { return tarn_fprintf(fp, "%0*ld", width, v) == width; }

    bool field(const Field& f, const Place& p) {
        if (!applies(f, p, true)) return true;
        switch (f.kind) {
        case Kind::Text: return tarn_fprintf(fp, "%*s", f.width, &p.at<char>(f)) == f.width;
        case Kind::Char: return tarn_fprintf(fp, "%c", p.at<char>(f)) == 1;
        case Kind::Int16: return number(p.at<int16_t>(f), f.width);
        case Kind::Int32: return number(p.at<int32_t>(f), f.width);
        case Kind::Segments: {
            const int16_t count = p.at<int16_t>(f);
            if (!number(count, f.width)) return false;
            const int32_t* lengths = member<int32_t*>(p.record, f.lengths);
            const int32_t* data = member<int32_t*>(p.record, f.data_lengths);
            for (int i = 0; i < count; ++i)
                if (!lengths || !data || !number(lengths[i], f.less) || !number(data[i], f.width2)) return false;
            return true;
        }
        case Kind::Bytes: {
            const uint8_t* from = p.at<uint8_t*>(f);
            long n = p.ref(f);
            if (f.stride) n *= member<int32_t>(p.record, F(NITFImageSubHeader, NELUT) + size_t(p.b) * sizeof(int32_t));
            n -= f.less;
            if (n <= 0) return n == 0;
            return from && tarn_fwrite(from, 1, size_t(n), fp) == size_t(n);
        }
        case Kind::Comments: {
            const long n = member<int16_t>(p.record, f.ref);
            for (long i = 0; i < n && i < NITF_MAX_COMMENTS; ++i)
                if (tarn_fprintf(fp, "%80s", &member<char>(p.record, f.at + size_t(i) * 81)) != 80) return false;
            return true;
        }
        case Kind::Bands: {
            const long n = member<int16_t>(p.record, f.ref);
            if (n < 1 || n > NITF_MAX_BANDS) return false;
            for (int b = 0; b < n; ++b)
                for (const Field& g : kImageBand)
                    if (!field(g, Place{p.record, b})) return false;
            return true;
        }
        case Kind::SegmentData: return true;
        }
        return false;
    }

    template <size_t N>
    bool walk(const Field (&table)[N], void* record) {
        for (const Field& f : table) {
            if (!field(f, Place{record, 0})) return false;
            if (f.check == Check::EndsWhenZero && member<int32_t>(record, f.at) == 0) return true;
        }
        return true;
    }
};

void blank_texts(const Field* table, size_t n, void* record, int bands) {
    for (size_t i = 0; i < n; ++i) {
        const Field& f = table[i];
        if (f.kind == Kind::Text)
            for (int b = 0; b < (f.stride ? bands : 1); ++b) {
                char* t = &member<char>(record, f.at + size_t(b) * f.stride);
                memset(t, ' ', size_t(f.width));
                t[f.width] = 0;
            } else if (f.kind == Kind::Char) {
            for (int b = 0; b < (f.stride ? bands : 1); ++b) member<char>(record, f.at + size_t(b) * f.stride) = ' ';
        }
    }
}

void free_lengths(int16_t& count, int32_t*& a, int32_t*& b) {
    free(a);
    free(b);
    a = b = nullptr;
    count = 0;
}

// Empties every field but the handle.
void empty_file(NITFFile* file) {
    FILE* keep = file->file;
    memset(file, 0, sizeof *file);
    blank_texts(kHeader, sizeof kHeader / sizeof kHeader[0], file, 1);
    file->file = keep;
}

// Whether every segment the header lists lies inside FL.
bool segments_fit(const NITFFile* f) {
    if (f->HL < 0 || f->HL > f->FL) return false;
    long long end = f->HL;
    const struct { int16_t n; const int32_t *a, *b; } groups[] = {
        {f->NUMI, f->LISH, f->LI}, {f->NUMS, f->LSSH, f->LS},     {f->NUML, f->LLSH, f->LL},
        {f->NUMT, f->LTSH, f->LT}, {f->NUMDES, f->LDSH, f->LD}, {f->NUMRES, f->LRESH, f->LRE},
    };
    for (const auto& g : groups)
        for (int i = 0; i < g.n; ++i) end += (long long)g.a[i] + g.b[i];
    return end <= f->FL;
}

}  // namespace

extern "C" {

int NITF_OpenFile(const char* name, const char* mode, NITFFile* file) {
    if (!name || !*name || !mode || !*mode || !file) return -1;
    empty_file(file);
    const bool callers = file->file != nullptr;
    if (!callers) file->file = tarn_fopen(name, mode);
    if (!file->file) return -1;
    if (strcmp(mode, "rb") != 0) return 0;
    if (NITF_ReadHeader(file) != 0) {
        if (callers) file->file = nullptr;
        NITF_CloseFile(file);
        return -1;
    }
    return 0;
}

int NITF_CloseFile(NITFFile* file) {
    if (!file) return -1;
    if (file->file) tarn_fclose(file->file);
    file->file = nullptr;
    free_lengths(file->NUMI, file->LISH, file->LI);
    free_lengths(file->NUMS, file->LSSH, file->LS);
    free_lengths(file->NUML, file->LLSH, file->LL);
    free_lengths(file->NUMT, file->LTSH, file->LT);
    free_lengths(file->NUMDES, file->LDSH, file->LD);
    free_lengths(file->NUMRES, file->LRESH, file->LRE);
    free(file->UDHD);
    free(file->XHD);
    file->UDHD = file->XHD = nullptr;
    return 0;
}

int NITF_ReadHeader(NITFFile* file) {
    if (!file || !file->file) return -1;
    if (tarn_fseek(file->file, 0, SEEK_SET) != 0) return -1;
    Reader r{file->file, file, -1};
    if (!r.walk(kHeader, file)) return -1;
    return segments_fit(file) ? 0 : -1;
}

unsigned long CalcFileOffset(int kind, int index, NITFFile* file) {
    if (!file || index < 0) return static_cast<unsigned long>(-1);
    if (kind < NITF_IMAGE_SEGMENT || kind > NITF_RESERVED_SEGMENT) return 0;
    const struct { int16_t n; const int32_t *a, *b; } groups[] = {
        {file->NUMI, file->LISH, file->LI},       {file->NUMS, file->LSSH, file->LS},
        {file->NUML, file->LLSH, file->LL},       {file->NUMT, file->LTSH, file->LT},
        {file->NUMDES, file->LDSH, file->LD},     {file->NUMRES, file->LRESH, file->LRE},
    };
    unsigned long offset = static_cast<unsigned long>(file->HL);
    for (int g = 0; g < kind; ++g) {
        const int n = g == kind - 1 ? (index < groups[g].n ? index : groups[g].n) : groups[g].n;
        for (int i = 0; i < n; ++i) offset += static_cast<unsigned long>(groups[g].a[i]) + groups[g].b[i];
    }
    return offset;
}

int NITF_ImageIsBlocked(NITFImageSubHeader* header) {
    if (!header) return 0;
    for (const char* code : {"NM", "M0", "M3", "M4"})
        if (strncasecmp(header->IC, code, 2) == 0) return 1;
    return 0;
}

void NITF_InitImageSubHeader(NITFImageSubHeader* header) {
    if (!header) return;
    memset(header, 0, sizeof *header);
    blank_texts(kImage, sizeof kImage / sizeof kImage[0], header, 1);
    blank_texts(kImageBand, sizeof kImageBand / sizeof kImageBand[0], header, NITF_MAX_BANDS);
    for (int i = 0; i < NITF_MAX_COMMENTS; ++i) {
        memset(header->ICOM[i], ' ', 80);
        header->ICOM[i][80] = 0;
    }
    for (int b = 0; b < NITF_MAX_BANDS; ++b) header->IFC[b] = 'N';
}

void NITF_InitDataExtSubHeader(NITFDataExtSubHeader* header) {
    if (!header) return;
    memset(header, 0, sizeof *header);
    blank_texts(kDataExt, sizeof kDataExt / sizeof kDataExt[0], header, 1);
}

void NITF_InitImageDataMaskHeader(NITFImageDataMask* mask) {
    if (mask) memset(mask, 0, sizeof *mask);
}

void NITF_FreeImageSubHeader(NITFImageSubHeader* header) {
    if (!header) return;
    for (auto& lut : header->LUTD) {
        free(lut);
        lut = nullptr;
    }
    free(header->UDID);
    free(header->IXSHD);
    header->UDID = header->IXSHD = nullptr;
}

void NITF_FreeDataExtSubHeader(NITFDataExtSubHeader* header) {
    if (!header) return;
    free(header->DESSHF);
    free(header->DESDATA);
}

void NITF_FreeImageDataMaskHeader(NITFImageDataMask* mask) {
    if (!mask) return;
    free(mask->TPXCD);
    for (int i = 0; i < NITF_MAX_BANDS; ++i) {
        free(mask->BMR[i]);
        free(mask->TMR[i]);
    }
}

int NITF_ReadImageSubHeader(int index, NITFFile* file, NITFImageSubHeader* header) {
    NITF_InitImageSubHeader(header);
    if (!file || !header || !file->file || index < 0 || index >= file->NUMI) return -1;
    if (tarn_fseek(file->file, long(CalcFileOffset(NITF_IMAGE_SEGMENT, index, file)), SEEK_SET) != 0) return -1;
    Reader r{file->file, file, index};
    if (!r.walk(kImage, header)) {
        NITF_FreeImageSubHeader(header);
        return -1;
    }
    return 0;
}

int NITF_ReadDataExtSubHeader(int index, NITFFile* file, NITFDataExtSubHeader* header) {
    if (!file || !header || !file->file || index < 0 || index >= file->NUMDES) return -1;
    NITF_InitDataExtSubHeader(header);
    if (tarn_fseek(file->file, long(CalcFileOffset(NITF_DATA_EXT_SEGMENT, index, file)), SEEK_SET) != 0)
        return -1;
    Reader r{file->file, file, index};
    if (!r.walk(kDataExt, header)) {
        NITF_FreeDataExtSubHeader(header);
        header->DESSHF = header->DESDATA = nullptr;
        return -1;
    }
    return 0;
}

// The mask table is big-endian in every file seen, as the rest of NITF's binary data.
int NITF_ReadImageDataMaskHeader(int index, NITFFile* file, NITFImageSubHeader* header,
                                 NITFImageDataMask* mask) {
    if (!file || !header || !mask || !file->file || index < 0 || index >= file->NUMI) return -1;
    NITF_InitImageDataMaskHeader(mask);
    if (!NITF_ImageIsBlocked(header)) return 0;
    FILE* fp = file->file;
    const long data = long(CalcFileOffset(NITF_IMAGE_SEGMENT, index, file)) + file->LISH[index];
    if (tarn_fseek(fp, data, SEEK_SET) != 0) return -1;
    uint8_t fixed[10];
    if (!read_exact(fp, fixed, sizeof fixed)) return -1;
    mask->IMDATOFF = read_be32(fixed);
    mask->BMRLNTH = read_be16(fixed + 4);
    mask->TMRLNTH = read_be16(fixed + 6);
    mask->TPXCDLNTH = read_be16(fixed + 8);
    const size_t code = (mask->TPXCDLNTH + 7u) / 8u;
    if (code > 0) {
        mask->TPXCD = static_cast<uint8_t*>(calloc(code, 1));
        if (!mask->TPXCD || !read_exact(fp, mask->TPXCD, code)) return -1;
    }
    if (header->NBPR < 1 || header->NBPC < 1) return -1;
    mask->ntables = (header->IMODE == 'S' || header->IMODE == 's') ? header->NBANDS : 1;
    if (mask->ntables < 1 || mask->ntables > NITF_MAX_BANDS) return -1;
    const unsigned long long blocks = (unsigned long long)header->NBPR * (unsigned long long)header->NBPC;
    const int kinds = (mask->BMRLNTH ? 1 : 0) + (mask->TMRLNTH ? 1 : 0);
    const long left = remaining(fp);
    if (left < 0 || blocks * 4ull * (unsigned long long)mask->ntables * (unsigned long long)kinds > (unsigned long long)left)
        return -1;
    uint8_t word[4];
    for (int kind = 0; kind < 2; ++kind) {
        if ((kind == 0 ? mask->BMRLNTH : mask->TMRLNTH) == 0) continue;
        uint32_t** tables = kind == 0 ? mask->BMR : mask->TMR;
        for (int t = 0; t < mask->ntables; ++t) {
            tables[t] = static_cast<uint32_t*>(malloc(size_t(blocks) * sizeof(uint32_t)));
            if (!tables[t]) return -1;
            for (unsigned long long i = 0; i < blocks; ++i) {
                if (!read_exact(fp, word, 4)) return -1;
                tables[t][i] = read_be32(word);
            }
        }
    }
    return 0;
}

int NITF_WriteHeader(NITFFile* file) {
    if (!file || !file->file) return -1;
    if (tarn_fseek(file->file, 0, SEEK_SET) != 0) return -1;
    Writer w{file->file};
    return w.walk(kHeader, file) ? 0 : -1;
}

int NITF_WriteImageSubHeader(int index, NITFFile* file, NITFImageSubHeader* header) {
    if (!file || !header || !file->file || index < 0) return -1;
    if (tarn_fseek(file->file, long(CalcFileOffset(NITF_IMAGE_SEGMENT, index, file)), SEEK_SET) != 0) return -1;
    Writer w{file->file};
    return w.walk(kImage, header) ? 0 : -1;
}

}  // extern "C"
