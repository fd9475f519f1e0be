// Fuzz entry point for the ASRP/USRP driver. A product is three files, so the
// input is cut in three: two little-endian 16-bit lengths, then the general
// file, the quality file and (the rest) the image. They are written side by
// side as one product, identified, opened through the channel and read row by
// row; the digest of the general file is asked for too.

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "channel/channel.h"
#include "channel/identify.h"
#include "drivers/military/srp.h"
#include "fuzz_image.h"
#include <tarnimage/tarnimage.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    const size_t gen = size_t(data[0] | data[1] << 8), qal = size_t(data[2] | data[3] << 8);
    if (gen + qal > size - 4) return 0;
    const std::string dir = tarnfuzz::temp_path("srp", "");
    mkdir(dir.c_str(), 0700);
    const std::string gen_path = dir + "/FKUSRP01.GEN", qal_path = dir + "/FKUSRP01.QAL",
                      img_path = dir + "/FKUSRP01.IMG";
    const uint8_t* at = data + 4;
    const bool written = tarnfuzz::write_file(gen_path, at, gen) && tarnfuzz::write_file(qal_path, at + gen, qal) &&
                         tarnfuzz::write_file(img_path, at + gen + qal, size - 4 - gen - qal);
    const int descriptors = tarnfuzz::open_descriptors();
    if (written) {
        IInternalImageManager* manager = getManager();
        std::string resolved(TARN_PATH_MAX, '\0');
        int type = -1;
        if (get_image_type_from_name(img_path.c_str(), &resolved[0], &type) == 1 && type > 1000) {
            tarnfuzz::channel(type, img_path.c_str());
        }
        std::string name = img_path;
        GetDigestGenMetaData(&name[0]);
        manager->release();
    }
    if (tarnfuzz::open_descriptors() != descriptors) abort();
    unlink(gen_path.c_str());
    unlink(qal_path.c_str());
    unlink(img_path.c_str());
    rmdir(dir.c_str());
    return 0;
}
