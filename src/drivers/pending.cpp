// Built-in formats whose readers are not written yet: ERDAS LAN and GIS, the
// BIL, BIP and BSQ family, the built-in TIFF strip reader, ADRG and BMP. Identification
// already knows them, so a file of theirs is taken and then fails cleanly at
// open; each reader that lands takes its row and probes into a file of its own.
//
// Signatures read here (first bytes of the file):
//   ERDAS  0  6 chars "HEADER" (4-bit LAN) or "HEAD74" (7.4 and later)
//   BMP    0  2 chars "BM"
//   TIFF   0  u16 0x4949 "II" or 0x4D4D "MM"; 2 u16 42 in file order

#include <string.h>

#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "platform/byteorder.h"
#include "platform/tarn_paths.h"
#include <tarnimage/naming.h>
#include <tarnimage/tarn_file.h>

namespace {

// Rewinds and reads up to `size` bytes; the count read, or -1 when the file
// can't be rewound.
long read_head(FILE* fp, uint8_t* buffer, size_t size) {
    if (!fp || tarn_fseek(fp, 0, SEEK_SET) != 0) return -1;
    return static_cast<long>(tarn_fread(buffer, 1, size, fp));
}

// An ADRG image is recognised by the general information file beside it,
// named after the stem without its last two characters.
bool adrg_gen_beside(const std::string& stem) {
    std::string base = stem.substr(0, stem.size() >= 2 ? stem.size() - 2 : 0);
    return file_exists(base + "01.GEN") || file_exists(base + "01.gen");
}

}  // namespace

extern "C" {

int open_ERDAS(Image*, const char*, int, int) { return -1; }
int open_multi_ERDAS(Image*, const char*, int, int, int, int) { return -1; }
int open_multi_TIFF(Image*, const char*, int, int, int, int) { return -1; }
int open_STANDARD(Image*, const char*, int, int, int) { return -1; }
int open_multi_STANDARD(Image*, const char*, int, int, int, int, int) { return -1; }
int open_ADRG(Image*, const char*, int, int) { return -1; }
int open_multi_ADRG(Image*, const char*, int, int, int, int) { return -1; }
int open_BMP(Image*, const char*, int, int) { return -1; }
int open_multi_BMP(Image*, const char*, int, int, int, int) { return -1; }

int close_TIFF(Image*) { return 0; }
int close_ADRG(Image*) { return 0; }

int setup_runio_TIFF(Image*) { return -1; }
int isok_runio_TIFF(Image*) { return 0; }
int initialize_BMPRow_IO(Image*) { return 1; }

int clrrd_STANDARD_hdr(Image*) { return 1; }
int clrrd_TIFF_hdr(Image*) { return 1; }
int clrrd_BMP_hdr(Image*) { return 1; }
int clrrd_ADRG_hdr(Image*) { return 1; }

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

int check_format_BIL(FILE*) { return 0; }
int check_format_BIP(FILE*) { return 0; }
int check_format_BSQ(FILE*) { return 0; }

int check_format_ADRG(const char* name) {
    if (!name) return 0;
    std::string path = get_image_path(name);
    size_t length = path.size();
    if (length <= 15) return 0;
    std::string pair = path.substr(length - 15, 2);
    std::string tail = path.substr(length - 4);
    return tail == ".L" + pair || tail == ".l" + pair ? 1 : 0;
}

}  // extern "C"

extern const ImageDriver driver_ERDAS, driver_BMP, driver_BIL, driver_BIP, driver_BSQ;

int extend_and_check_if_ERDAS(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_ERDAS, stem, candidate);
}
int extend_and_check_if_BMP(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BMP, stem, candidate);
}
int extend_and_check_if_BIL(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BIL, stem, candidate);
}
int extend_and_check_if_BIP(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BIP, stem, candidate);
}
int extend_and_check_if_BSQ(const std::string& stem, std::string& candidate) {
    return extend_with_suffixes(driver_BSQ, stem, candidate);
}
int extend_and_check_if_TIFF(const std::string&, std::string&) { return 0; }

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

namespace {

int open_erdas(Image* image, const char* name, int band, int display, int, char*, char*) {
    return open_ERDAS(image, name, band, display);
}
int open_multi_erdas(Image* image, const char* name, int red, int green, int blue, int display,
                     int, char*, char*) {
    return open_multi_ERDAS(image, name, red, green, blue, display);
}
int open_standard(Image* image, const char* name, int band, int display, int type, char*, char*) {
    return open_STANDARD(image, name, band, display, type);
}
int open_multi_standard(Image* image, const char* name, int red, int green, int blue, int display,
                        int type, char*, char*) {
    return open_multi_STANDARD(image, name, red, green, blue, display, type);
}
int open_multi_tiff(Image* image, const char* name, int red, int green, int blue, int display,
                    int, char*, char*) {
    return open_multi_TIFF(image, name, red, green, blue, display);
}
int open_adrg(Image* image, const char* name, int band, int display, int, char*, char*) {
    return open_ADRG(image, name, band, display);
}
int open_multi_adrg(Image* image, const char* name, int red, int green, int blue, int display,
                    int, char*, char*) {
    return open_multi_ADRG(image, name, red, green, blue, display);
}
int open_bmp(Image* image, const char* name, int band, int display, int, char*, char*) {
    return open_BMP(image, name, band, display);
}
int open_multi_bmp(Image* image, const char* name, int red, int green, int blue, int display, int,
                   char*, char*) {
    return open_multi_BMP(image, name, red, green, blue, display);
}

}  // namespace

// A .gis or .lan that fails the content probe is not rejected: it goes on to
// the later rows and tests.
extern const ImageDriver driver_ERDAS = {
    3, "ERDAS", DRIVER_NAMED_BY_SUFFIX | DRIVER_SUFFIX_NEEDS_CONTENT, {".gis", ".lan"},
    nullptr, check_format_ERDAS, extend_and_check_if_ERDAS,
    open_erdas, open_multi_erdas, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    COLOURS_PLAIN, 0, 0,
};

// Three layouts of one driver, told apart by their type codes.
#define STANDARD_ROW(code, keyword, suffix, probe, extend)                                      \
    {code, keyword, DRIVER_NAMED_BY_SUFFIX, {suffix},                                          \
     nullptr, probe, extend,                                                                   \
     open_standard, open_multi_standard, nullptr, nullptr, clrrd_STANDARD_hdr,                 \
     nullptr, nullptr, nullptr, nullptr, nullptr,                                              \
     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,                                     \
     COLOURS_RANGED, 1, 0}
extern const ImageDriver driver_BIL = STANDARD_ROW(8, "BIL", ".bil", check_format_BIL, extend_and_check_if_BIL);
extern const ImageDriver driver_BIP = STANDARD_ROW(9, "BIP", ".bip", check_format_BIP, extend_and_check_if_BIP);
extern const ImageDriver driver_BSQ = STANDARD_ROW(11, "BSQ", ".bsq", check_format_BSQ, extend_and_check_if_BSQ);
#undef STANDARD_ROW

// Identification never gives this code: a TIFF on disk goes to the registered
// TIFF driver. Only an explicit open with the code reaches it.
extern const ImageDriver driver_TIFF = {
    7, "TIFF", DRIVER_RESAMPLES_ROWS | DRIVER_RESAMPLES_MULTI_ROWS, {".tif"},
    nullptr, nullptr, nullptr,
    nullptr, open_multi_tiff, close_TIFF, close_TIFF, clrrd_TIFF_hdr,
    nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr, setup_runio_TIFF, isok_runio_TIFF, nullptr, nullptr, nullptr,
    COLOURS_PLAIN, 0, 0,
};

extern const ImageDriver driver_ADRG = {
    13, "ADRG", DRIVER_NO_EXTENSION_TYPE | DRIVER_NEEDS_COMPANION | DRIVER_BYTE_RAMP,
    {".img", ".cph", ".ovr"},
    nullptr, nullptr, extend_and_check_if_ADRG,
    open_adrg, open_multi_adrg, close_ADRG, close_ADRG, clrrd_ADRG_hdr,
    nullptr, nullptr, constant_property<3>, constant_property<8>, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    COLOURS_PLAIN, 0, 0,
};

// suffname does not know ".BMP", although it is a built-in suffix everywhere else.
extern const ImageDriver driver_BMP = {
    14, "BMP", DRIVER_NAMED_BY_SUFFIX | DRIVER_SUFFIX_UNLISTED, {".bmp"},
    nullptr, check_format_BMP, extend_and_check_if_BMP,
    open_bmp, open_multi_bmp, nullptr, nullptr, clrrd_BMP_hdr,
    nullptr, nullptr, nullptr, nullptr, nullptr,
    initialize_BMPRow_IO, nullptr, nullptr, nullptr, nullptr, nullptr,
    COLOURS_PLAIN, 0, 0,
};
