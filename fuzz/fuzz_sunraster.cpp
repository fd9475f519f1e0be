// Fuzz entry point for the Sun raster driver. The bytes become a file, taken
// by its type code, and driven through the RGB path's opens, the flat channel
// and the image object's getData.

#include "fuzz_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return tarnfuzz::exercise(data, size, "sunraster", ".ras", 2);
}
