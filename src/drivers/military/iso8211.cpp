// ISO 8211 records: the general, quality, header and image files of ADRG,
// ASRP and USRP products.
//
// Every record: a 24-byte leader, a directory, the field area.
//
//   leader  use
//   0-4     record length, 5 digits, leader included
//   5       interchange level (descriptive record)
//   6       'L' descriptive record, 'D' or 'R' data record
//   7       inline code extension
//   10-11   field control length, 2 digits (descriptive record)
//   12-16   base address of the field area, 5 digits from the record start
//   17-19   extended character set
//   20-23   entry map: digits of a field length, of a field position, 0,
//           characters of a tag
//
//   directory  entries of tag, length, position (from the base address),
//              ended by 0x1E
//   fields     each ended by 0x1E; variable-width subfields end with 0x1F
//
// The descriptive record's fields describe one tag each: field controls (as
// many characters as the field control length), the name, 0x1F, the labels
// joined by '!' ('*' before a label: the labels from there on repeat until the
// field ends), 0x1F, the format controls in parentheses. Format controls:
// A, I, R, S, C characters, B(n) n bits, b1w / b2w unsigned / signed binary of
// w bytes; "(w)" fixes a width, without it a subfield ends at 0x1F or at the
// field's end; a count repeats a control or a parenthesised group.
//
// The file control field (tag of zeros) describes nothing and is skipped.
// Trailing bytes that don't begin with five digits end the file: products pad
// their files with '^' to a block, and some images carry a stray terminator.

#include "drivers/military/iso8211.h"

#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr unsigned char kFieldTerminator = 0x1E;
constexpr unsigned char kUnitTerminator = 0x1F;
constexpr int kLeaderSize = 24;
// Expanded format controls of one field; a real description has a few dozen.
constexpr size_t kMaxFormats = 65536;
constexpr size_t kMaxGroupDepth = 32;
constexpr int kIndexGrowth = 5;

struct Format {
    char type = 'A';
    size_t width = 0;  // bytes; 0 for a subfield that ends at 0x1F
    std::string text;
};

struct FieldDescription {
    std::vector<std::string> labels;
    size_t repeat_from = 0;  // labels.size() when nothing repeats
    std::vector<Format> formats;
};

struct Entry {
    std::string tag;
    size_t begin = 0, end = 0;  // within the record's bytes, terminator excluded
};

struct Record {
    std::vector<unsigned char> bytes;
    std::vector<Entry> entries;
};

struct Span {
    size_t label;  // index into the description's labels, or 0 when it has none
    size_t format;
    size_t begin, length;
};

}  // namespace

struct ISO8211Reader {
    FILE* fp = nullptr;
    long size = 0;
    std::unordered_map<std::string, FieldDescription> fields;
    std::vector<long> offsets;  // of the data records
};

namespace {

void report(const char* text) { user_error(text); }

bool digits(const unsigned char* p, size_t count, size_t* value) {
    size_t v = 0;
    for (size_t i = 0; i < count; ++i) {
        if (p[i] < '0' || p[i] > '9') return false;
        v = v * 10 + (p[i] - '0');
    }
    *value = v;
    return true;
}

// Reads the record at offset and checks its leader and directory against the
// record and the file. False for anything that doesn't fit.
bool load_record(ISO8211Reader* reader, long offset, Record* record) {
    if (offset < 0 || reader->size - offset < kLeaderSize) return false;
    unsigned char leader[kLeaderSize];
    if (tarn_fseek(reader->fp, offset, SEEK_SET) != 0 ||
        tarn_fread(leader, 1, kLeaderSize, reader->fp) != size_t(kLeaderSize))
        return false;
    size_t length = 0, base = 0, length_size = 0, position_size = 0, tag_size = 0;
    if (!digits(leader, 5, &length) || !digits(leader + 12, 5, &base) ||
        !digits(leader + 20, 1, &length_size) || !digits(leader + 21, 1, &position_size) ||
        !digits(leader + 23, 1, &tag_size))
        return false;
    if (length < size_t(kLeaderSize) || length > size_t(reader->size - offset)) return false;
    if (base <= size_t(kLeaderSize) || base > length) return false;
    if (length_size == 0 || position_size == 0 || tag_size == 0) return false;
    record->bytes.assign(leader, leader + kLeaderSize);
    record->bytes.resize(length);
    if (tarn_fread(record->bytes.data() + kLeaderSize, 1, length - kLeaderSize, reader->fp) !=
        length - kLeaderSize)
        return false;
    record->entries.clear();
    const unsigned char* bytes = record->bytes.data();
    const size_t entry_size = tag_size + length_size + position_size;
    const size_t area = length - base;
    for (size_t at = kLeaderSize; at < base && bytes[at] != kFieldTerminator; at += entry_size) {
        if (base - at < entry_size) return false;
        size_t field_length = 0, field_position = 0;
        if (!digits(bytes + at + tag_size, length_size, &field_length) ||
            !digits(bytes + at + tag_size + length_size, position_size, &field_position))
            return false;
        if (field_position > area || field_length > area - field_position) return false;
        Entry entry;
        entry.tag.assign(reinterpret_cast<const char*>(bytes + at), tag_size);
        entry.begin = base + field_position;
        entry.end = entry.begin + field_length;
        if (entry.end > entry.begin && bytes[entry.end - 1] == kFieldTerminator) --entry.end;
        record->entries.push_back(std::move(entry));
    }
    return true;
}

// Appends copies of out[from, end) until the group has appeared count times.
bool repeat_tail(std::vector<Format>* out, size_t from, size_t count) {
    size_t group = out->size() - from;
    if (count > 1 && group > 0 && (count - 1) > (kMaxFormats - out->size()) / group) return false;
    for (size_t n = 1; n < count; ++n)
        for (size_t i = 0; i < group; ++i) out->push_back((*out)[from + i]);
    return true;
}

// Expands format controls such as "(A(3),2(I,R(5)),b12)" into one control a
// subfield. Groups are kept on an explicit stack, so nesting costs no
// recursion; an unbalanced or unreadable text gives false.
bool expand_formats(const std::string& text, std::vector<Format>* out) {
    struct Group {
        size_t from, count;
    };
    std::vector<Group> groups;
    size_t i = 0;
    const size_t n = text.size();
    while (i < n) {
        char c = text[i];
        if (c == ' ' || c == ',') {
            ++i;
            continue;
        }
        size_t count = 1;
        if (c >= '0' && c <= '9') {
            count = 0;
            while (i < n && text[i] >= '0' && text[i] <= '9') {
                count = count * 10 + size_t(text[i] - '0');
                if (count > kMaxFormats) return false;
                ++i;
            }
            if (i >= n) return false;
            if (count == 0) count = 1;
            c = text[i];
        }
        if (c == '(') {
            if (groups.size() >= kMaxGroupDepth) return false;
            groups.push_back({out->size(), count});
            ++i;
            continue;
        }
        if (c == ')') {
            if (groups.empty()) return false;
            Group group = groups.back();
            groups.pop_back();
            if (!repeat_tail(out, group.from, group.count)) return false;
            ++i;
            continue;
        }
        if (!strchr("AIRSCBbX", c)) return false;
        size_t start = i++;
        Format format;
        format.type = c;
        if (c == 'b') {
            // b, then the kind of number, then its width in bytes.
            if (n - i < 2 || text[i] < '0' || text[i] > '9' || text[i + 1] < '1' || text[i + 1] > '9')
                return false;
            format.width = size_t(text[i + 1] - '0');
            i += 2;
        } else if (i < n && text[i] == '(') {
            size_t close = text.find(')', i);
            if (close == std::string::npos) return false;
            size_t width = 0;
            bool fixed = close > i + 1;
            for (size_t k = i + 1; k < close && fixed; ++k) {
                if (text[k] < '0' || text[k] > '9') fixed = false;
                else if ((width = width * 10 + size_t(text[k] - '0')) > 1000000) return false;
            }
            // A delimiter in place of a width, as in "A(,)", reads as unit-terminated.
            if (fixed) format.width = c == 'B' ? (width + 7) / 8 : width;
            i = close + 1;
        }
        format.text = text.substr(start, i - start);
        if (out->size() + count > kMaxFormats) return false;
        for (size_t k = 0; k < count; ++k) out->push_back(format);
    }
    while (!groups.empty()) {
        Group group = groups.back();
        groups.pop_back();
        if (!repeat_tail(out, group.from, group.count)) return false;
    }
    return true;
}

bool describe_field(const unsigned char* p, size_t size, size_t control_length, FieldDescription* field) {
    if (size <= control_length) return true;  // controls only: one subfield of everything
    std::vector<std::string> parts;
    std::string part;
    for (size_t i = control_length; i < size; ++i) {
        if (p[i] == kUnitTerminator) {
            parts.push_back(part);
            part.clear();
        } else {
            part.push_back(char(p[i]));
        }
    }
    parts.push_back(part);
    if (parts.size() >= 2 && !parts[1].empty()) {
        field->repeat_from = SIZE_MAX;
        std::string label;
        const std::string& descriptor = parts[1];
        for (size_t i = 0; i <= descriptor.size(); ++i) {
            if (i == descriptor.size() || descriptor[i] == '!') {
                field->labels.push_back(label);
                label.clear();
            } else if (descriptor[i] == '*') {
                if (field->repeat_from == SIZE_MAX) field->repeat_from = field->labels.size();
            } else {
                label.push_back(descriptor[i]);
            }
        }
        if (field->repeat_from == SIZE_MAX || field->repeat_from > field->labels.size())
            field->repeat_from = field->labels.size();
        if (field->labels.size() > kMaxFormats) return false;
    }
    if (parts.size() >= 3 && !expand_formats(parts[2], &field->formats)) return false;
    return true;
}

bool read_description(ISO8211Reader* reader, ISO8211File* file, long* next) {
    Record ddr;
    if (!load_record(reader, 0, &ddr)) return false;
    const unsigned char* leader = ddr.bytes.data();
    size_t control_length = 0;
    if (leader[6] != 'L' || !digits(leader + 10, 2, &control_length)) return false;
    file->level = leader[5] >= '0' && leader[5] <= '9' ? leader[5] - '0' : 0;
    file->inline_code = char(leader[7]);
    memcpy(file->version, leader + 17, 3);
    for (const Entry& entry : ddr.entries) {
        if (entry.tag.find_first_not_of('0') == std::string::npos) continue;
        FieldDescription field;
        if (!describe_field(ddr.bytes.data() + entry.begin, entry.end - entry.begin, control_length, &field))
            return false;
        reader->fields[entry.tag] = std::move(field);
    }
    *next = long(ddr.bytes.size());
    return true;
}

const Format& format_of(const FieldDescription& field, size_t label, Format* fallback) {
    if (field.formats.empty()) return *fallback;
    return field.formats[label < field.formats.size() ? label : field.formats.size() - 1];
}

// Cuts a field into subfields. Each subfield takes at least one byte, so a
// field yields no more subfields than it has bytes, and a repeating group
// stops at the field's end. visit answers false to stop early.
template <typename Visit>
void split_field(const FieldDescription& field, const unsigned char* bytes, size_t begin, size_t end,
                 Visit visit) {
    Format plain;
    size_t cursor = begin;
    const size_t nlabels = field.labels.size();
    size_t label = 0;
    while (cursor < end) {
        const size_t slot = label;
        const Format& format = format_of(field, slot, &plain);
        size_t start = cursor, length;
        if (nlabels == 0 && field.formats.size() <= 1) {
            length = end - cursor;  // an elementary field is one subfield
            cursor = end;
        } else if (format.width > 0) {
            length = format.width < end - cursor ? format.width : end - cursor;
            cursor += length;
        } else {
            const void* stop = memchr(bytes + cursor, kUnitTerminator, end - cursor);
            size_t to = stop ? size_t(static_cast<const unsigned char*>(stop) - bytes) : end;
            length = to - cursor;
            cursor = to < end ? to + 1 : end;
        }
        if (!visit(Span{slot, slot, start, length})) return;
        if (nlabels == 0) {
            if (field.formats.size() <= 1) return;
            ++label;
            if (label >= field.formats.size()) return;
            continue;
        }
        if (++label == nlabels) {
            if (field.repeat_from >= nlabels) return;
            label = field.repeat_from;
        }
    }
}

const FieldDescription* describe(const ISO8211Reader* reader, const std::string& tag) {
    auto found = reader->fields.find(tag);
    return found == reader->fields.end() ? nullptr : &found->second;
}

void copy_text(char* target, size_t size, const std::string& text) {
    size_t n = text.size() < size - 1 ? text.size() : size - 1;
    memcpy(target, text.data(), n);
    target[n] = '\0';
}

void free_fields(ISO8211Field* fields, int count) {
    if (!fields) return;
    for (int f = 0; f < count; ++f) {
        for (int s = 0; s < fields[f].nsubfields; ++s) free(fields[f].subfields[s].value);
        free(fields[f].subfields);
    }
    free(fields);
}

void shut(ISO8211File* file) {
    if (file->reader) {
        if (file->reader->fp) tarn_fclose(file->reader->fp);
        delete file->reader;
    }
    free(file->index);
    file->reader = nullptr;
    file->index = nullptr;
    file->handle = 0;
    file->position = 0;
    file->mode = ' ';
    file->nrecords = 0;
    file->level = 0;
    file->inline_code = ' ';
    memset(file->version, ' ', sizeof file->version);
}

int fail_open(ISO8211File* file, int code, const char* text) {
    report(text);
    shut(file);
    return code;
}

bool is_open(const ISO8211File* file) { return file->reader && file->handle != 0 && file->mode == 'r'; }

// Finds RTY and RID in a data record, reading subfields in order until both
// have been seen, and writes the index entry.
int index_record(ISO8211File* file, const Record& record, unsigned char* entry) {
    bool have_type = false, have_id = false;
    int code = 0;
    const char* text = nullptr;
    for (const Entry& field_entry : record.entries) {
        const FieldDescription* field = describe(file->reader, field_entry.tag);
        if (!field) {
            code = -10;
            text = "Read8211File: Bad subfield";
            break;
        }
        split_field(*field, record.bytes.data(), field_entry.begin, field_entry.end, [&](const Span& span) {
            if (span.length > ISO8211_MAX_SUBFIELD) {
                code = -10;
                text = "Read8211File: Subfield length exceeds 2048 bytes";
                return false;
            }
            const char* value = reinterpret_cast<const char*>(record.bytes.data() + span.begin);
            const std::string label = field->labels.empty() ? std::string() : field->labels[span.label];
            if (label == "RTY" && !have_type) {
                if (span.length != 3) {
                    code = -10;
                    text = "Read8211File: Bad subfield";
                    return false;
                }
                memcpy(entry, value, 3);
                have_type = true;
            } else if (label == "RID" && !have_id) {
                std::string id(value, span.length);
                char* padded = nullptr;
                int result = prependZero(id.c_str(), 10, &padded);
                if (result == -1) {
                    code = -1;
                    text = "Read8211File: Out of memory";
                    return false;
                }
                if (result < 0) {
                    code = -10;
                    text = "Read8211File: Bad subfield";
                    return false;
                }
                memcpy(entry + 3, padded, 10);
                entry[13] = '\0';
                free(padded);
                have_id = true;
            }
            return !(have_type && have_id);
        });
        if (code != 0 || (have_type && have_id)) break;
    }
    if (code == 0 && !(have_type && have_id)) {
        code = -8;
        text = "Read8211File: Record is missing RTY or RID";
    }
    if (code != 0) return fail_open(file, code, text);
    return 0;
}

// Whether the bytes at offset could begin another record.
bool record_follows(ISO8211Reader* reader, long offset) {
    unsigned char head[5];
    if (reader->size - offset < 5) return false;
    if (tarn_fseek(reader->fp, offset, SEEK_SET) != 0 || tarn_fread(head, 1, 5, reader->fp) != 5) return false;
    size_t ignored;
    return digits(head, 5, &ignored);
}

int scan(ISO8211File* file, long offset) {
    ISO8211Reader* reader = file->reader;
    size_t capacity = kIndexGrowth;
    file->index = static_cast<unsigned char*>(malloc(capacity * ISO8211_INDEX_ENTRY));
    if (!file->index) return fail_open(file, -1, "Read8211File: Out of memory");
    Record record;
    while (offset < reader->size && record_follows(reader, offset)) {
        if (!load_record(reader, offset, &record))
            return fail_open(file, -11, "Read8211File: Error reading record");
        if (file->nrecords == INT32_MAX) return fail_open(file, -1, "Read8211File: Out of memory");
        ++file->position;
        if (size_t(file->nrecords) == capacity) {
            capacity += kIndexGrowth;
            void* grown = realloc(file->index, capacity * ISO8211_INDEX_ENTRY);
            if (!grown) return fail_open(file, -1, "Read8211File: Out of memory");
            file->index = static_cast<unsigned char*>(grown);
        }
        unsigned char* entry = file->index + size_t(file->nrecords) * ISO8211_INDEX_ENTRY;
        memset(entry, 0, ISO8211_INDEX_ENTRY);
        ++file->nrecords;
        entry[14] = static_cast<unsigned char>(file->nrecords & 0xFF);
        int code = index_record(file, record, entry);
        if (code != 0) return code;
        reader->offsets.push_back(offset);
        offset += long(record.bytes.size());
    }
    if (size_t(file->nrecords) < capacity && file->nrecords > 0) {
        void* shrunk = realloc(file->index, size_t(file->nrecords) * ISO8211_INDEX_ENTRY);
        if (shrunk) file->index = static_cast<unsigned char*>(shrunk);
    }
    file->position = 1;
    return 0;
}

int read_subfields(const ISO8211Reader* reader, const Record& record, const Entry& entry, ISO8211Field* out) {
    copy_text(out->tag, sizeof out->tag, entry.tag);
    const FieldDescription* field = describe(reader, entry.tag);
    if (!field) {
        report("Read8211FieldSubFields: Error reading in subfield");
        return -10;
    }
    std::vector<Span> spans;
    bool too_long = false;
    split_field(*field, record.bytes.data(), entry.begin, entry.end, [&](const Span& span) {
        if (span.length > ISO8211_MAX_SUBFIELD) {
            too_long = true;
            return false;
        }
        spans.push_back(span);
        return true;
    });
    if (too_long) {
        report("Read8211FieldSubFields: Error reading in subfield");
        return -10;
    }
    if (spans.empty()) return 0;
    out->subfields = static_cast<ISO8211SubField*>(calloc(spans.size(), sizeof(ISO8211SubField)));
    if (!out->subfields) {
        report("Read8211FieldSubFields: Out of memory");
        return -1;
    }
    for (const Span& span : spans) {
        ISO8211SubField* sub = &out->subfields[out->nsubfields];
        sub->value = static_cast<char*>(calloc(span.length + 1, 1));
        if (!sub->value) {
            report("Read8211FieldSubFields: Out of memory");
            return -1;
        }
        ++out->nsubfields;
        memcpy(sub->value, record.bytes.data() + span.begin, span.length);
        sub->length = int32_t(span.length);
        if (!field->labels.empty()) copy_text(sub->label, sizeof sub->label, field->labels[span.label]);
        Format fallback;
        const Format& format = format_of(*field, span.format, &fallback);
        copy_text(sub->format, sizeof sub->format, format.text.empty() ? std::string("A") : format.text);
    }
    return 0;
}

int read_fields(const ISO8211Reader* reader, const Record& record, ISO8211Record* out) {
    if (record.entries.empty()) return 0;
    out->fields = static_cast<ISO8211Field*>(calloc(record.entries.size(), sizeof(ISO8211Field)));
    if (!out->fields) {
        report("Read8211RecordFields: Out of memory");
        return -1;
    }
    for (const Entry& entry : record.entries) {
        int code = read_subfields(reader, record, entry, &out->fields[out->nfields]);
        ++out->nfields;
        if (code != 0) return code;
    }
    return 0;
}

}  // namespace

int prependZero(const char* text, int width, char** out) {
    if (!text || !out || width < 1) {
        report("prependZero : Illegal Parameter");
        return -19;
    }
    size_t length = strlen(text);
    if (length > size_t(width)) return -11;
    char* padded = static_cast<char*>(malloc(size_t(width) + 1));
    if (!padded) {
        report("prependZero : unable to allocate memory");
        return -1;
    }
    size_t pad = size_t(width) - length;
    memset(padded, '0', pad);
    memcpy(padded + pad, text, length + 1);
    *out = padded;
    return 0;
}

int Read8211File(ISO8211File* file, const char* name) {
    if (!file || !name) {
        report("Read8211File: Illegal parameter");
        return -19;
    }
    memset(file, 0, sizeof *file);
    shut(file);
    file->mode = 'r';
    FILE* fp = tarn_fopen(name, "rb");
    if (!fp) return fail_open(file, -2, "Read8211File: Error opening ISO 8211 File");
    ISO8211Reader* reader = new (std::nothrow) ISO8211Reader;
    if (!reader) {
        tarn_fclose(fp);
        return fail_open(file, -1, "Read8211File: Out of memory");
    }
    reader->fp = fp;
    file->reader = reader;
    file->handle = 1;
    if (tarn_fseek(fp, 0, SEEK_END) != 0 || (reader->size = tarn_ftell(fp)) < 0)
        return fail_open(file, -2, "Read8211File: Error opening ISO 8211 File");
    long next = 0;
    try {
        if (!read_description(reader, file, &next))
            return fail_open(file, -7, "Read8211File: Bad Data Description Record");
        file->position = 1;
        return scan(file, next);
    } catch (const std::bad_alloc&) {
        return fail_open(file, -1, "Read8211File: Out of memory");
    }
}

int Close8211File(ISO8211File* file) {
    if (!file || !is_open(file)) {
        report("Close8211File: Illegal parameter");
        return -19;
    }
    int closed = tarn_fclose(file->reader->fp);
    file->reader->fp = nullptr;
    shut(file);
    if (closed != 0) {
        report("Close8211File: Error closing file");
        return -5;
    }
    return 0;
}

int ReadNext8211Record(ISO8211File* file, ISO8211Record* record) {
    if (!file || !record) {
        report("ReadNext8211Record: Illegal parameter");
        return -19;
    }
    if (!is_open(file)) {
        report("ReadNext8211Record: file not open");
        return -19;
    }
    if (file->position > file->nrecords || file->position < 1) {
        report("ReadNext8211Record: attempt to read past end of file");
        return -12;
    }
    Free8211Record(record);
    try {
        Record loaded;
        if (!load_record(file->reader, file->reader->offsets[size_t(file->position) - 1], &loaded)) {
            report("ReadNext8211Record: Error reading record");
            return -11;
        }
        ++file->position;
        int code = read_fields(file->reader, loaded, record);
        if (code != 0) Free8211Record(record);
        return code;
    } catch (const std::bad_alloc&) {
        Free8211Record(record);
        report("Read8211RecordFields: Out of memory");
        return -1;
    }
}

int Read8211Record(ISO8211File* file, int number, ISO8211Record* record) {
    if (!file || !record || number < 1) {
        report("Read8211Record: Illegal parameter");
        return -19;
    }
    if (!is_open(file)) {
        report("Read8211Record: File not open");
        return -19;
    }
    if (number > file->nrecords) {
        report("Read8211Record: Illegal parameter");
        return -19;
    }
    // Records are reached by their offsets, so stepping back or forward is a
    // change of position.
    file->position = number;
    return ReadNext8211Record(file, record);
}

int ReadFirst8211Record(ISO8211File* file, ISO8211Record* record) {
    if (!file || !record) {
        report("ReadFirst8211Record: Illegal parameter");
        return -19;
    }
    return Read8211Record(file, 1, record);
}

int Free8211Record(ISO8211Record* record) {
    if (!record) {
        report("Free8211Record: Illegal parameter");
        return -19;
    }
    free_fields(record->fields, record->nfields);
    record->fields = nullptr;
    record->nfields = 0;
    return 0;
}

int Free8211Field(ISO8211Record* record, const char* tag) {
    if (!record || !tag) {
        report("Free8211Field: Illegal parameter");
        return -19;
    }
    if (record->nfields <= 0 || !record->fields) return 0;
    for (int f = 0; f < record->nfields; ++f) {
        ISO8211Field* field = &record->fields[f];
        if (strcmp(field->tag, tag) != 0) continue;
        for (int s = 0; s < field->nsubfields; ++s) free(field->subfields[s].value);
        free(field->subfields);
        field->subfields = nullptr;
        field->nsubfields = 0;
        return 0;
    }
    return -13;
}

int Find8211Field(ISO8211Record* record, const char* tag, int start) {
    if (!record || !tag || start < 0) {
        report("Find8211Field: Illegal parameter");
        return -19;
    }
    for (int f = start; f < record->nfields; ++f)
        if (strcmp(record->fields[f].tag, tag) == 0) return f;
    return -13;
}

int Find8211SubField(ISO8211Record* record, const char* label, int field, int start) {
    if (!record || !label || start < 0 || field < 0 || field >= record->nfields) {
        report("Find8211SubField: Illegal parameter");
        return -19;
    }
    const ISO8211Field& f = record->fields[field];
    for (int s = start; s < f.nsubfields; ++s)
        if (strcmp(f.subfields[s].label, label) == 0) return s;
    return -13;
}

int Dump8211Record(ISO8211Record* record, FILE* fp) {
    if (!record || !fp) {
        report("Dump8211Record: Illegal parameter");
        return -19;
    }
    tarn_fprintf(fp, "\nRecord contain %d fields\n", record->nfields);
    for (int f = 0; f < record->nfields; ++f) {
        const ISO8211Field& field = record->fields[f];
        tarn_fprintf(fp, "\tField: %s\t", field.tag);
        tarn_fprintf(fp, "(%d subfields)\n", field.nsubfields);
        for (int s = 0; s < field.nsubfields; ++s)
            tarn_fprintf(fp, "\t\t%s\t%s\t%s\n", field.subfields[s].label, field.subfields[s].format,
                         field.subfields[s].value ? field.subfields[s].value : "");
    }
    return 0;
}

int Locate8211Field(ISO8211File* file, int number, const char* tag, long* offset, long* length) {
    if (!file || !tag || !offset || !length || !is_open(file) || number < 1 || number > file->nrecords) {
        report("Locate8211Field: Illegal parameter");
        return -19;
    }
    try {
        Record loaded;
        const long start = file->reader->offsets[size_t(number) - 1];
        if (!load_record(file->reader, start, &loaded)) {
            report("Locate8211Field: Error reading record");
            return -11;
        }
        for (const Entry& entry : loaded.entries) {
            if (entry.tag != tag) continue;
            *offset = start + long(entry.begin);
            *length = long(entry.end - entry.begin);
            return 0;
        }
        return -13;
    } catch (const std::bad_alloc&) {
        report("Locate8211Field: Out of memory");
        return -1;
    }
}

int Get8211BinaryValue(const ISO8211SubField* subfield, int64_t* value) {
    if (!subfield || !value || !subfield->value || subfield->length < 1 || subfield->length > 8) return -19;
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(subfield->value);
    const int length = subfield->length;
    if (subfield->format[0] == 'b') {
        const char kind = subfield->format[1];
        if ((kind != '1' && kind != '2') || subfield->format[2] - '0' != length) return -19;
        uint64_t bits = 0;
        if (length == 2) bits = read_le16(bytes);
        else if (length == 4) bits = read_le32(bytes);
        else
            for (int i = length - 1; i >= 0; --i) bits = bits << 8 | bytes[i];
        if (kind == '2' && length < 8 && (bits >> (8 * length - 1)) & 1) bits |= ~uint64_t(0) << (8 * length);
        memcpy(value, &bits, sizeof bits);
        return 0;
    }
    if (subfield->format[0] == 'B' && subfield->format[1] == '(') {
        int nbits = atoi(subfield->format + 2);
        if (nbits < 1 || (nbits + 7) / 8 != length) return -19;
        uint64_t bits = 0;
        for (int i = 0; i < length; ++i) bits = bits << 8 | bytes[i];
        *value = int64_t(bits >> (8 * length - nbits));
        return 0;
    }
    return -19;
}
