// Fuzz entry point for the NITF file structure and image driver. The bytes
// become a file; the structure reader walks its header, every image and data
// extension subheader and the first image's mask table; then the file is
// taken as identification finds it with the library's drivers started and
// driven through the RGB path's opens, the flat channel and getData.

#include <string.h>

#include "drivers/military/nitf_file.h"
#include "fuzz_image.h"

namespace {

void walk_structure(const uint8_t* data, size_t size) {
    const std::string path = tarnfuzz::temp_path("nitf-structure", ".ntf");
    if (!tarnfuzz::write_file(path, data, size)) return;
    NITFFile file;
    memset(&file, 0, sizeof file);
    if (NITF_OpenFile(path.c_str(), "rb", &file) == 0) {
        for (int i = 0; i < file.NUMI && i < 8; ++i) {
            NITFImageSubHeader sub;
            if (NITF_ReadImageSubHeader(i, &file, &sub) == 0 && i == 0) {
                NITFImageDataMask mask;
                NITF_InitImageDataMaskHeader(&mask);
                NITF_ReadImageDataMaskHeader(0, &file, &sub, &mask);
                NITF_FreeImageDataMaskHeader(&mask);
            }
            NITF_FreeImageSubHeader(&sub);
        }
        for (int i = 0; i < file.NUMDES && i < 8; ++i) {
            NITFDataExtSubHeader des;
            if (NITF_ReadDataExtSubHeader(i, &file, &des) == 0) NITF_FreeDataExtSubHeader(&des);
        }
        NITF_CloseFile(&file);
    }
    unlink(path.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    walk_structure(data, size);
    return tarnfuzz::exercise(data, size, "nitf", ".ntf", -1);
}
