// Fuzz entry point for the CADRG driver: the bytes become a file, taken as
// identification finds it with the library's drivers started, and driven
// through the RGB path's opens, the flat channel and getData.

#include "fuzz_image.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return tarnfuzz::exercise(data, size, "cadrg", ".ntf", -1);
}
