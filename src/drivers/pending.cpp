// Built-in formats whose readers are not written yet: ADRG. Identification
// already knows it, so a file of its is taken and then fails cleanly at open;
// each reader that lands takes its row and probes into a file of its own.

#include <string.h>

#include "drivers/driver.h"
#include "drivers/drivers.h"
#include "platform/tarn_paths.h"
#include <tarnimage/naming.h>
#include <tarnimage/tarn_file.h>

namespace {

// An ADRG image is recognised by the general information file beside it,
// named after the stem without its last two characters.
bool adrg_gen_beside(const std::string& stem) {
    std::string base = stem.substr(0, stem.size() >= 2 ? stem.size() - 2 : 0);
    return file_exists(base + "01.GEN") || file_exists(base + "01.gen");
}

}  // namespace

extern "C" {

int open_ADRG(Image*, const char*, int, int) { return -1; }
int open_multi_ADRG(Image*, const char*, int, int, int, int) { return -1; }

int close_ADRG(Image*) { return 0; }

int clrrd_ADRG_hdr(Image*) { return 1; }
// ADRG images are placed by a world file only: the header member gives 0.
int read_ADRG_header_trans(const char*, int, double*) { return 0; }

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

extern const ImageDriver driver_ADRG = {
    .type = 13, .keyword = "ADRG", .description = "ADRG (no reader under this code)",
    .flags = DRIVER_NO_EXTENSION_TYPE | DRIVER_NEEDS_COMPANION | DRIVER_BYTE_RAMP,
    .suffixes = {".img", ".cph", ".ovr"}, .extend_and_check = extend_and_check_if_ADRG,
    .open = open_one_band<open_ADRG>, .open_multi = open_three_bands<open_multi_ADRG>,
    .close = close_ADRG, .close_multi = close_ADRG, .clear_header = clrrd_ADRG_hdr,
    .read_nbands = constant_property<3>, .get_depth = constant_property<8>,
    .read_header_trans = read_ADRG_header_trans,
};
