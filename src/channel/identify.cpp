// Format identification and naming. A name becomes a type code and the path of
// the file actually found. Formats without a signature worth testing are told
// by suffix, those with one by content; then the registered drivers are asked
// in slot order; last, the name is tried with the formats' suffixes, so a bare
// stem finds its file. Every step walks the driver table from the top, so the
// table's order decides between formats that would both take a file.

#include "channel/identify.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <vector>

#include "drivers/driver.h"
#include "platform/tarn_paths.h"
#include "udf/udf.h"
#include <tarnimage/tarn_file.h>
#include <tarnimage/udf.h>

namespace {

bool is_separator(char c) { return c == '/' || c == '\\'; }

struct DriverRows {
    const ImageDriver* const* rows;
    size_t count;
    const ImageDriver* const* begin() const { return rows; }
    const ImageDriver* const* end() const { return rows + count; }
};

DriverRows drivers() {
    DriverRows list;
    list.rows = image_drivers(&list.count);
    return list;
}

// Each suffix matches exactly one lower and one upper spelling, so "a.Rlc" is
// no Impell image. A suffix that needs content too and fails its probe goes on
// to the later rows and tests.
const ImageDriver* driver_by_suffix(const std::string& extension, FILE* fp) {
    for (const ImageDriver* driver : drivers()) {
        if (!(driver->flags & DRIVER_NAMED_BY_SUFFIX)) continue;
        for (const char* suffix : driver->suffixes) {
            if (!suffix) break;
            if (extension != suffix && extension != ascii_upper(suffix)) continue;
            if ((driver->flags & DRIVER_SUFFIX_NEEDS_CONTENT) && !(driver->check && driver->check(fp)))
                continue;
            return driver;
        }
    }
    return nullptr;
}

}  // namespace

std::string FixGridName(const std::string& name) {
    size_t length = name.size();
    if (length == 0) return name;
    // The member's extension: a "." after the last separator.
    size_t dot_at = std::string::npos;
    for (size_t i = length - 1; i >= 1; --i) {
        if (name[i] == '.') {
            dot_at = i;
            break;
        }
        if (is_separator(name[i])) return name;
    }
    if (dot_at == std::string::npos) {
        if (name[0] != '.') return name;
        dot_at = 0;
    }
    std::string extension = name.substr(dot_at);
    if (extension != ".adf" && extension != ".ADF") return name;
    if (dot_at <= 1) return name;
    // Cut at the separator before the member's name; a member with no
    // directory in front leaves the empty name, which then fails to identify.
    size_t cut = dot_at - 2;
    while (cut > 0 && !is_separator(name[cut])) --cut;
    return name.substr(0, cut);
}

int type_from_name(const std::string& name, std::string& found, int* type) {
    std::string found_name = name;
    int decided_type = -1;
    bool decided = false;
    FILE* fp = nullptr;

    for (const ImageDriver* driver : drivers())
        if (driver->claims_name && driver->claims_name(name.c_str())) {
            decided_type = driver->type;
            decided = true;
            break;
        }

    if (!decided) fp = tarn_fopen(name.c_str(), "r");
    if (fp) {
        // The last "." of the whole name, so "/a.b/file" has an extension
        // that runs over the separator and matches no row.
        size_t at = name.rfind('.');
        std::string extension = at == std::string::npos ? std::string() : name.substr(at);
        if (const ImageDriver* driver = driver_by_suffix(extension, fp)) {
            decided_type = driver->type;
            decided = true;
        }
        for (const ImageDriver* driver : drivers()) {
            if (decided) break;
            if (driver->check && driver->check(fp)) {
                decided_type = driver->type;
                decided = true;
            }
        }
    }

    if (!decided) {
        // The driver may write the path it will open; it starts as the name.
        std::vector<char> out_path(std::max<size_t>(TARN_UDF_PATH_MAX, name.size() + 256), '\0');
        memcpy(out_path.data(), name.c_str(), name.size() + 1);
        int answer = UDFExist(name.c_str(), out_path.data(), fp);
        if (answer != 0) {
            out_path.back() = '\0';
            found_name = out_path.data();
            decided_type = answer;
            decided = true;
        }
    }

    for (const ImageDriver* driver : drivers()) {
        if (decided) break;
        if (driver->extend_and_check && driver->extend_and_check(name, found_name)) {
            decided_type = driver->type;
            decided = true;
        }
    }

    if (fp) tarn_fclose(fp);
    if (type) *type = decided_type;
    if (decided_type == -1) return -1;
    found = found_name;
    return 1;
}

int identify_image_name(const std::string& name, std::string& found, int* type) {
    std::string fixed = FixGridName(name);
    std::string found_name;
    int found_type = -1;
    int result = type_from_name(fixed, found_name, &found_type);
    // Case is never folded at the extension alone: the whole name goes to one
    // case and that file is looked for.
    if (result == -1) {
        std::string lower = ascii_lower(fixed);
        if (lower != fixed) result = type_from_name(lower, found_name, &found_type);
    }
    if (result == -1) {
        std::string upper = ascii_upper(fixed);
        if (upper != fixed) result = type_from_name(upper, found_name, &found_type);
    }
    if (type) *type = found_type;
    // A dataset (a grid directory) answers with its type and keeps its name.
    const ImageDriver* driver = found_type == -1 ? nullptr : find_image_driver(found_type);
    if (driver && (driver->flags & DRIVER_CLAIMS_DATASETS)) {
        found = found_name;
        return found_type;
    }
    if (result < 1) return result;
    found = get_image_path(found_name);
    return result;
}

extern "C" {

int get_image_type_from_name(const char* name, char* resolved, int* type) {
    int found_type = -1;
    int result = -1;
    std::string found;
    if (name) {
        try {
            result = identify_image_name(name, found, &found_type);
        } catch (...) {
            result = -1;
            found_type = -1;
        }
    }
    // A found path that doesn't fit the caller's buffer can't be opened either.
    if (result != -1 && found.size() >= TARN_PATH_MAX) {
        result = -1;
        found_type = -1;
    }
    if (type) *type = found_type;
    if (result != -1 && resolved) memcpy(resolved, found.c_str(), found.size() + 1);
    return result;
}

int image_type_is_dataset(int type) {
    const ImageDriver* driver = type == -1 ? nullptr : find_image_driver(type);
    return driver && (driver->flags & DRIVER_CLAIMS_DATASETS) ? 1 : 0;
}

int dot(const char* name) {
    if (!name) return 0;
    const char* last = strrchr(name, '.');
    return static_cast<int>(last ? last - name : static_cast<long>(strlen(name)));
}

int suffname(const char* name) {
    if (!name) return -1;
    int at = dot(name);
    std::string text = ascii_upper(name + at);
    for (const ImageDriver* driver : drivers()) {
        if (driver->flags & DRIVER_SUFFIX_UNLISTED) continue;
        for (const char* suffix : driver->suffixes)
            if (suffix && text == ascii_upper(suffix)) return at;
    }
    // The registry keeps suffixes in lower case without a dot, so this finds
    // only a registered empty suffix, and that only for a name without a dot.
    for (uint32_t i = 0; const UDFRecord* slot = UDFindex(i); ++i)
        if (slot->suffix && text == slot->suffix) return at;
    return -1;
}

int type_from_keyword(const char* keyword, int* type) {
    if (!keyword) return -1;
    std::string wanted = ascii_upper(keyword);
    // Keywords are matched as prefixes, lowest type code first: "BI" is BIL.
    const ImageDriver* match = nullptr;
    for (const ImageDriver* driver : drivers()) {
        if (!driver->keyword || (driver->flags & DRIVER_KEYWORD_UNMATCHED)) continue;
        if (strncmp(driver->keyword, wanted.c_str(), wanted.size()) != 0) continue;
        if (!match || driver->type < match->type) match = driver;
    }
    if (match) {
        if (type) *type = match->type;
        return match->type;
    }
    for (uint32_t i = 0; const UDFRecord* slot = UDFindex(i); ++i)
        if (slot->keyword && strncmp(slot->keyword, wanted.c_str(), wanted.size()) == 0) {
            if (type) *type = static_cast<int>(slot->type);
            return static_cast<int>(slot->type);
        }
    return -1;
}

int keyword_from_type(char* buffer, int type) {
    const ImageDriver* driver = find_image_driver(type);
    if (!driver || driver->type != type || !driver->keyword ||
        (driver->flags & DRIVER_KEYWORD_UNNAMED))
        return -1;
    if (buffer) strcpy(buffer, driver->keyword);
    return 1;
}

int name_from_type(int type, char* name) {
    if (!name) return 0;
    const char* suffix = nullptr;
    const ImageDriver* driver = find_image_driver(type);
    if (driver && driver->type == type) {
        suffix = driver->suffixes[0];
    } else if (driver && (driver->flags & DRIVER_TYPE_RANGE)) {
        // A registered driver's suffix goes on as stored: lower case, no dot.
        const UDFRecord* slot = UDFentry(static_cast<uint32_t>(type));
        if (slot) suffix = slot->suffix;
    }
    if (suffix) strcat(name, suffix);
    return 0;
}

int get_type_from_extension(const char* extension) {
    if (!extension || !*extension) return -1;
    std::string lower = ascii_lower(extension);
    for (const ImageDriver* driver : drivers()) {
        const char* suffix = driver->suffixes[0];
        if (!suffix || (driver->flags & DRIVER_NO_EXTENSION_TYPE)) continue;
        if (lower == suffix + 1) return driver->type;
    }
    uint32_t type = UDFsuffix(lower.c_str());
    return type == 0 ? -1 : static_cast<int>(type);
}

int parse_grass_name(const char* name, char* location, char* mapset, char* map) {
    if (!name) return -1;
    std::string rest = name;
    size_t colon = rest.rfind(':');
    if (colon == std::string::npos) return -1;
    if (map) strcpy(map, rest.c_str() + colon + 1);
    rest.resize(colon);
    colon = rest.rfind(':');
    if (colon == std::string::npos) return -1;
    if (mapset) strcpy(mapset, rest.c_str() + colon + 1);
    rest.resize(colon);
    if (location) strcpy(location, rest.c_str());
    return 1;
}

}  // extern "C"
