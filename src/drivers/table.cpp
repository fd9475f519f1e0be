// The driver table. Its order is the order in which identification asks the
// formats: extension rows, content probes and extended-name probes all walk it
// from the top, so a format placed earlier wins a file that a later one would
// also take (a stem with both x.rlc and a valid x.gis is Impell).

#include "drivers/driver.h"

#include "platform/tarn_paths.h"
#include <tarnimage/tarn_file.h>

// The rows in binding order. The grid claim is asked before any file is
// opened, so it leads; the rows after ADRG have no probe that identification
// asks. A new format is one file with its row plus one name here.
#define TARN_DRIVER_ROWS(X)                                                                      \
    X(GRID) X(SAME) X(IMPELL) X(SUNRASTER) X(ERDAS) X(GRASS) X(SVF) X(LATTICE) X(BMP) X(BIL)      \
    X(BIP) X(BSQ) X(ADRG) X(TIFF) X(IMAGINE) X(GRAFILE) X(UDF)

#define TARN_DECLARE_ROW(name) extern const ImageDriver driver_##name;
TARN_DRIVER_ROWS(TARN_DECLARE_ROW)

// The keyword table's first row, "SAME": no format of its own, and a keyword
// that only type_from_keyword knows.
const ImageDriver driver_SAME = {
    .type = 0, .keyword = "SAME", .flags = DRIVER_KEYWORD_UNNAMED | DRIVER_UNPLACED};

namespace {

#define TARN_ROW_ADDRESS(name) &driver_##name,
const ImageDriver* const kDrivers[] = {TARN_DRIVER_ROWS(TARN_ROW_ADDRESS)};

const ImageDriver* const* g_table = kDrivers;
size_t g_count = sizeof kDrivers / sizeof kDrivers[0];

}  // namespace

const ImageDriver* find_image_driver(int type) {
    for (size_t i = 0; i < g_count; ++i) {
        const ImageDriver* row = g_table[i];
        if (row->type == type || ((row->flags & DRIVER_TYPE_RANGE) && type > row->type))
            return row;
    }
    return nullptr;
}

const ImageDriver* const* image_drivers(size_t* count) {
    *count = g_count;
    return g_table;
}

void set_image_drivers(const ImageDriver* const* table, size_t count) {
    if (table) {
        g_table = table;
        g_count = count;
    } else {
        g_table = kDrivers;
        g_count = sizeof kDrivers / sizeof kDrivers[0];
    }
}

int extend_with_suffixes(const ImageDriver& driver, const std::string& stem,
                         std::string& candidate) {
    for (const char* suffix : driver.suffixes) {
        if (!suffix) break;
        for (const std::string& spelling : {std::string(suffix), ascii_upper(suffix)}) {
            candidate = stem + spelling;
            if (!file_exists(candidate)) continue;
            if (!(driver.flags & DRIVER_SUFFIX_NEEDS_CONTENT)) return 1;
            FILE* file = tarn_fopen(candidate.c_str(), "r");
            if (!file) continue;
            int ok = driver.check ? driver.check(file) : 0;
            tarn_fclose(file);
            if (ok) return 1;
        }
    }
    return 0;
}
