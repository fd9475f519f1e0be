// Format identification and naming. A name becomes a type code and the path of
// the file actually found. Formats without a signature worth testing are told
// by extension, those with one by content; then the registered drivers are
// asked in slot order; last, the name is tried with the built-in suffixes, so
// a bare stem finds its file. The order of the tests decides between formats
// that would both accept a file and is kept exactly.
//
// Signatures read here (first bytes of the file):
//   Sun raster  0  u32 BE  0x59A66A95
//   ERDAS       0  6 chars "HEADER" (4-bit LAN) or "HEAD74" (7.4 and later)
//   BMP         0  2 chars "BM"
//   TIFF        0  u16     0x4949 "II" or 0x4D4D "MM"; 2 u16 42 in file order

#include "channel/identify.h"

#include <algorithm>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <vector>

#include "channel/byteorder.h"
#include "drivers/builtin/shells.h"
#include "udf/udf.h"
#include <tarnimage/tarn_file.h>
#include <tarnimage/udf.h>

namespace {

// Suffixes that suffname knows, upper case with their dot. ".BMP" is not one
// of them, although .bmp is a built-in extension everywhere else.
const char* const Suffix[16] = {".RLC", ".GIS", ".LAN", ".SVF", ".LAT", ".TIF",
                                ".BIL", ".BIP", ".BSQ", ".IMG", ".CPH", ".OVR"};

// Indexed by type code. GRAFILE (100) and USER DEFINED (1000) are known to
// keyword_from_type only.
const char* const Keyword[16] = {"SAME", "RLC",  "SUNRASTER", "ERDAS", "GRASS",
                                 "SVF",  "LATTICE", "TIFF",   "BIL",   "BIP",
                                 "GRID", "BSQ",  "IMAGINE",   "ADRG",  "BMP"};

// ASCII folding of the whole name, directories included.
std::string chrlowC(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string chrcasC(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

bool file_exists(const std::string& name) { return tarn_accessFile(name.c_str(), 0) == 0; }

bool is_separator(char c) { return c == '/' || c == '\\'; }

// Rewinds and reads up to `size` bytes; the count read, or -1 when the file
// can't be rewound.
long read_head(FILE* fp, uint8_t* buffer, size_t size) {
    if (!fp || tarn_fseek(fp, 0, SEEK_SET) != 0) return -1;
    return static_cast<long>(tarn_fread(buffer, 1, size, fp));
}

// Extension rows: each matches exactly one lower and one upper spelling, so
// "a.Rlc" is no Impell image. A .gis or .lan must also carry an ERDAS header;
// one that doesn't goes on to the later rows and tests.
struct ExtensionRow {
    const char* lower;
    const char* upper;
    int type;
    bool needs_erdas_header;
};
const ExtensionRow kExtensionRows[] = {
    {".rlc", ".RLC", 1, false}, {".gis", ".GIS", 3, true},  {".lan", ".LAN", 3, true},
    {".svf", ".SVF", 5, false}, {".lat", ".LAT", 6, false}, {".bmp", ".BMP", 14, false},
    {".bil", ".BIL", 8, false}, {".bip", ".BIP", 9, false}, {".bsq", ".BSQ", 11, false},
};

// Only the Sun raster, ERDAS and BMP tests can answer yes; the others hold the
// place where such a test would go.
struct ContentTest {
    int (*test)(FILE*);
    int type;
};
const ContentTest kContentTests[] = {
    {check_format_IMPELL, 1}, {check_format_SUNRASTER, 2}, {check_format_ERDAS, 3},
    {check_format_GRASS, 4},  {check_format_SVF, 5},       {check_format_LATTICE, 6},
    {check_format_BMP, 14},   {check_format_BIL, 8},       {check_format_BIP, 9},
    {check_format_BSQ, 11},
};

// Impell comes first, so a stem with both x.rlc and a valid x.gis is Impell.
struct Probe {
    int (*probe)(const std::string&, std::string&);
    int type;
};
const Probe kProbes[] = {
    {extend_and_check_if_IMPELL, 1}, {extend_and_check_if_SUNRASTER, 2},
    {extend_and_check_if_ERDAS, 3},  {extend_and_check_if_GRASS, 4},
    {extend_and_check_if_SVF, 5},    {extend_and_check_if_LATTICE, 6},
    {extend_and_check_if_BMP, 14},   {extend_and_check_if_BIL, 8},
    {extend_and_check_if_BIP, 9},    {extend_and_check_if_BSQ, 11},
    {extend_and_check_if_ADRG, 13},
};

// The lower-case suffix is tried before the upper-case one; existence is
// enough.
int exists_with_suffix(const std::string& stem, std::string& candidate, const char* lower,
                       const char* upper) {
    candidate = stem + lower;
    if (file_exists(candidate)) return 1;
    candidate = stem + upper;
    return file_exists(candidate) ? 1 : 0;
}

// An ADRG image is recognised by the general information file beside it,
// named after the stem without its last two characters.
bool adrg_gen_beside(const std::string& stem) {
    std::string base = stem.substr(0, stem.size() >= 2 ? stem.size() - 2 : 0);
    return file_exists(base + "01.GEN") || file_exists(base + "01.gen");
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

std::string get_image_path(const std::string& name) {
    if (!name.empty() && name[0] == '/') return name;
    std::string full = name;
    if (full.find('/') == std::string::npos) {
        char* cwd = getcwd(nullptr, 0);
        if (cwd) {
            full = std::string(cwd) + "/" + full;
            free(cwd);
        }
    }
    return full;
}

int type_from_name(const std::string& name, std::string& found, int* type) {
    std::string found_name = name;
    int decided_type = -1;
    bool decided = false;
    FILE* fp = nullptr;

    if (EditGridExists() || GenStackExists() || CellLyrExists(name.c_str())) {
        decided_type = 10;
        decided = true;
    }

    if (!decided) fp = tarn_fopen(name.c_str(), "r");
    if (fp) {
        // The last "." of the whole name, so "/a.b/file" has an extension
        // that runs over the separator and matches no row.
        size_t at = name.rfind('.');
        std::string extension = at == std::string::npos ? std::string() : name.substr(at);
        for (const ExtensionRow& row : kExtensionRows) {
            if (extension != row.lower && extension != row.upper) continue;
            if (row.needs_erdas_header && !check_format_ERDAS(fp)) continue;
            decided_type = row.type;
            decided = true;
            break;
        }
        // A ".lat" match is closed once, at the end, like every other.
        for (size_t i = 0; !decided && i < sizeof kContentTests / sizeof kContentTests[0]; ++i)
            if (kContentTests[i].test(fp)) {
                decided_type = kContentTests[i].type;
                decided = true;
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

    for (size_t i = 0; !decided && i < sizeof kProbes / sizeof kProbes[0]; ++i)
        if (kProbes[i].probe(name, found_name)) {
            decided_type = kProbes[i].type;
            decided = true;
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
        std::string lower = chrlowC(fixed);
        if (lower != fixed) result = type_from_name(lower, found_name, &found_type);
    }
    if (result == -1) {
        std::string upper = chrcasC(fixed);
        if (upper != fixed) result = type_from_name(upper, found_name, &found_type);
    }
    if (type) *type = found_type;
    if (found_type == 10) {
        found = found_name;
        return 10;
    }
    if (result < 1) return result;
    found = get_image_path(found_name);
    return result;
}

int extend_and_check_if_IMPELL(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".rlc", ".RLC");
}

int extend_and_check_if_SVF(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".svf", ".SVF");
}

int extend_and_check_if_LATTICE(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".lat", ".LAT");
}

int extend_and_check_if_BMP(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".bmp", ".BMP");
}

int extend_and_check_if_BIL(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".bil", ".BIL");
}

int extend_and_check_if_BIP(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".bip", ".BIP");
}

int extend_and_check_if_BSQ(const std::string& stem, std::string& candidate) {
    return exists_with_suffix(stem, candidate, ".bsq", ".BSQ");
}

int extend_and_check_if_ERDAS(const std::string& stem, std::string& candidate) {
    for (const char* suffix : {".gis", ".GIS", ".lan", ".LAN"}) {
        candidate = stem + suffix;
        if (!file_exists(candidate)) continue;
        FILE* fp = tarn_fopen(candidate.c_str(), "r");
        if (!fp) continue;
        int ok = check_format_ERDAS(fp);
        tarn_fclose(fp);
        if (ok) return 1;
    }
    return 0;
}

int extend_and_check_if_ADRG(const std::string& stem, std::string& candidate) {
    candidate = stem + ".img";
    if (file_exists(candidate) && adrg_gen_beside(stem)) return 1;
    candidate = stem;
    if (file_exists(candidate) && adrg_gen_beside(stem)) return 1;
    for (const char* suffix : {".cph", ".CPH", ".ovr", ".OVR"}) {
        candidate = stem + suffix;
        if (file_exists(candidate)) return 1;
    }
    // A legend file: the path plus ".L" and the two characters that begin its
    // last eleven. A shorter path has no such pair and no legend.
    std::string path = get_image_path(stem);
    if (path.size() <= 11) return 0;
    std::string pair = path.substr(path.size() - 11, 2);
    for (const char* mark : {".L", ".l"}) {
        std::string legend = path + mark + pair;
        if (file_exists(legend)) {
            candidate = legend;
            return 1;
        }
    }
    return 0;
}

int extend_and_check_if_SUNRASTER(const std::string&, std::string&) { return 0; }
int extend_and_check_if_GRASS(const std::string&, std::string&) { return 0; }
int extend_and_check_if_TIFF(const std::string&, std::string&) { return 0; }
int extend_and_check_if_EIMG(const std::string&, std::string&) { return 0; }

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

int check_format_SUNRASTER(FILE* fp) {
    uint8_t head[4];
    if (read_head(fp, head, sizeof head) != static_cast<long>(sizeof head)) return 0;
    return read_be32(head) == 0x59A66A95u ? 1 : 0;
}

int check_format_ERDAS(FILE* fp) {
    uint8_t head[7];
    if (read_head(fp, head, sizeof head) != static_cast<long>(sizeof head)) return 0;
    return memcmp(head, "HEADER", 6) == 0 || memcmp(head, "HEAD74", 6) == 0 ? 1 : 0;
}

int check_format_BMP(FILE* fp) {
    uint8_t head[8];
    if (read_head(fp, head, sizeof head) < 2) return 0;
    return head[0] == 'B' && head[1] == 'M' ? 1 : 0;
}

// The two words are compared in file order on this little-endian host, so
// "MM" files carry 42 as 0x2A00.
int check_format_TIFF(FILE* fp) {
    uint8_t head[4];
    if (read_head(fp, head, sizeof head) != static_cast<long>(sizeof head)) return 0;
    uint16_t order = read_le16(head);
    uint16_t magic = read_le16(head + 2);
    return (order == 0x4949 || order == 0x4D4D) && (magic == 42 || magic == 0x2A00) ? 1 : 0;
}

int check_format_IMPELL(FILE*) { return 0; }
int check_format_GRASS(FILE*) { return 0; }
int check_format_SVF(FILE*) { return 0; }
int check_format_LATTICE(FILE*) { return 0; }
int check_format_BIL(FILE*) { return 0; }
int check_format_BIP(FILE*) { return 0; }
int check_format_BSQ(FILE*) { return 0; }
int check_format_EIMG(FILE*) { return 0; }

int check_format_ADRG(const char* name) {
    if (!name) return 0;
    std::string path = get_image_path(name);
    size_t length = path.size();
    if (length <= 15) return 0;
    std::string pair = path.substr(length - 15, 2);
    std::string tail = path.substr(length - 4);
    return tail == ".L" + pair || tail == ".l" + pair ? 1 : 0;
}

int dot(const char* name) {
    if (!name) return 0;
    const char* last = strrchr(name, '.');
    return static_cast<int>(last ? last - name : static_cast<long>(strlen(name)));
}

int suffname(const char* name) {
    if (!name) return -1;
    int at = dot(name);
    std::string text = chrcasC(name + at);
    for (int i = 0; Suffix[i]; ++i)
        if (text == Suffix[i]) return at;
    // The registry keeps suffixes in lower case without a dot, so this finds
    // only a registered empty suffix, and that only for a name without a dot.
    for (uint32_t i = 0; const UDFRecord* slot = UDFindex(i); ++i)
        if (slot->suffix && text == slot->suffix) return at;
    return -1;
}

int type_from_keyword(const char* keyword, int* type) {
    if (!keyword) return -1;
    std::string wanted = chrcasC(keyword);
    for (int i = 0; Keyword[i]; ++i)
        if (strncmp(Keyword[i], wanted.c_str(), wanted.size()) == 0) {
            if (type) *type = i;
            return i;
        }
    for (uint32_t i = 0; const UDFRecord* slot = UDFindex(i); ++i)
        if (slot->keyword && strncmp(slot->keyword, wanted.c_str(), wanted.size()) == 0) {
            if (type) *type = static_cast<int>(slot->type);
            return static_cast<int>(slot->type);
        }
    return -1;
}

int keyword_from_type(char* buffer, int type) {
    const char* keyword = nullptr;
    if (type >= 1 && type <= 14) keyword = Keyword[type];
    else if (type == 100) keyword = "GRAFILE";
    else if (type == 1000) keyword = "USER DEFINED";
    if (!keyword) return -1;
    if (buffer) strcpy(buffer, keyword);
    return 1;
}

int name_from_type(int type, char* name) {
    if (!name) return 0;
    const char* suffix = nullptr;
    switch (type) {
    case 1: suffix = ".rlc"; break;
    case 3: suffix = ".gis"; break;
    case 5: suffix = ".svf"; break;
    case 6: suffix = ".lat"; break;
    case 7: suffix = ".tif"; break;
    case 8: suffix = ".bil"; break;
    case 9: suffix = ".bip"; break;
    case 11: suffix = ".bsq"; break;
    case 13: suffix = ".img"; break;
    case 14: suffix = ".bmp"; break;
    default:
        // A registered driver's suffix goes on as stored: lower case, no dot.
        if (type >= 1000) {
            const UDFRecord* slot = UDFentry(static_cast<uint32_t>(type));
            if (slot) suffix = slot->suffix;
        }
    }
    if (suffix) strcat(name, suffix);
    return 0;
}

int get_type_from_extension(const char* extension) {
    if (!extension || !*extension) return -1;
    std::string lower = chrlowC(extension);
    static const struct {
        const char* extension;
        int type;
    } kBuiltIn[] = {{"rlc", 1}, {"gis", 3}, {"svf", 5}, {"lat", 6}, {"tif", 7},
                    {"bmp", 14}, {"bil", 8}, {"bip", 9}, {"bsq", 11}};
    for (const auto& row : kBuiltIn)
        if (lower == row.extension) return row.type;
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
