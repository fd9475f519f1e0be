// Fuzz entry point for the ISO 8211 reader. The bytes become a file, which is
// indexed; then every record is read in order, every field and subfield is
// looked up and printed, binary subfields are decoded, and the records are
// read again backwards by number before the file is closed.

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "fuzz_support.h"

#include "drivers/military/iso8211.h"

namespace {




void visit(ISO8211Record* record, FILE* sink) {
    Dump8211Record(record, sink);
    for (int f = 0; f < record->nfields; ++f) {
        const ISO8211Field& field = record->fields[f];
        if (Find8211Field(record, field.tag, 0) > f) abort();
        for (int s = 0; s < field.nsubfields; ++s) {
            const ISO8211SubField& sub = field.subfields[s];
            if (!sub.value || sub.length < 0 || sub.length > ISO8211_MAX_SUBFIELD || sub.value[sub.length] != '\0')
                abort();
            if (Find8211SubField(record, sub.label, f, 0) > s) abort();
            int64_t value;
            Get8211BinaryValue(&sub, &value);
        }
    }
    if (record->nfields > 0) Free8211Field(record, record->fields[0].tag);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = tarnfuzz::temp_path("iso8211", ".gen");
    if (!tarnfuzz::write_file(path, data, size)) return 0;
    static FILE* sink = fopen("/dev/null", "w");
    int descriptors = tarnfuzz::open_descriptors();
    ISO8211File file;
    if (Read8211File(&file, path.c_str()) == 0) {
        ISO8211Record record = {};
        while (ReadNext8211Record(&file, &record) == 0) visit(&record, sink);
        for (int n = file.nrecords; n >= 1 && n > file.nrecords - 3; --n)
            if (Read8211Record(&file, n, &record) == 0) visit(&record, sink);
        Free8211Record(&record);
        if (Close8211File(&file) != 0) abort();
    } else if (file.handle != 0 || file.index != nullptr) {
        abort();
    }
    unlink(path.c_str());
    if (tarnfuzz::open_descriptors() != descriptors) abort();
    return 0;
}
