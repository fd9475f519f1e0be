// Fuzz entry point for the ADRG driver. A product is two files, so the input
// is cut in two: a little-endian 16-bit length, the general file, and (the
// rest) the image. They are written side by side as one product, identified,
// opened through the channel and read row by row, and opened on one band and
// read from the last row back to show that a row behind the reader fails.

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "channel/channel.h"
#include "channel/identify.h"
#include "drivers/military/adrg.h"
#include "fuzz_image.h"
#include <tarnimage/tarnimage.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const size_t gen = size_t(data[0] | data[1] << 8);
    if (gen > size - 2) return 0;
    const std::string dir = tarnfuzz::temp_path("adrg", "");
    mkdir(dir.c_str(), 0700);
    const std::string gen_path = dir + "/ABCDEF01.GEN", img_path = dir + "/ABCDEF01.IMG";
    const uint8_t* at = data + 2;
    const bool written =
        tarnfuzz::write_file(gen_path, at, gen) && tarnfuzz::write_file(img_path, at + gen, size - 2 - gen);
    const int descriptors = tarnfuzz::open_descriptors();
    if (written) {
        IInternalImageManager* manager = getManager();
        std::string resolved(TARN_PATH_MAX, '\0');
        int type = -1;
        if (get_image_type_from_name(img_path.c_str(), &resolved[0], &type) == 1 && type > 1000) {
            tarnfuzz::channel(type, img_path.c_str());
        }
        UDFHeader header;
        memset(&header, 0, sizeof header);
        if (ADRG_open(img_path.c_str(), 2, 0, 0, 0, &header) == 0) {
            if (header.rows > 0 && header.columns > 0 && header.columns <= (1 << 20)) {
                uint8_t* row = static_cast<uint8_t*>(malloc(size_t(header.columns) * 3));
                if (row) {
                    for (int y = header.rows - 1; y >= 0 && y >= header.rows - 300; y -= 97)
                        ADRG_getrow(y, row, &header);
                    free(row);
                }
            }
            ADRG_close(&header);
        }
        manager->release();
    }
    if (tarnfuzz::open_descriptors() != descriptors) abort();
    unlink(gen_path.c_str());
    unlink(img_path.c_str());
    rmdir(dir.c_str());
    return 0;
}
