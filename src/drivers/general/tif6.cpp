// TIFF 6 driver: TIFF and GeoTIFF files, reached as a registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t tiff6_type = 0;
// Registration is counted: only the first start registers, only the last
// exit removes.
int32_t initialized = 0;

}  // namespace

extern "C" {

int TIF6_exist(const char*, char*, FILE*) { return 0; }

int TIF6_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int TIF6_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int TIF6_getrow(int, void*, UDFHeader*) { return -1; }

int TIF6_LibInit(void) {
    if (++initialized != 1) return 0;
    UDFRecord record = {};
    record.exist = TIF6_exist;
    record.open = TIF6_open;
    record.close = TIF6_close;
    record.getrow = TIF6_getrow;
    record.keyword = const_cast<char*>("TIFF6");
    record.suffix = const_cast<char*>("tif");
    record.description = const_cast<char*>("TIFF (*.tif; *.tff; *.tiff)");
    record.filter = const_cast<char*>("*.tif;*.tff;*.tiff");
    tiff6_type = II_RegisterUDF(&record);
    return 0;
}

void TIF6_LibExit(void) {
    if (--initialized != 0) return;
    II_UnregisterUDF(tiff6_type);
    tiff6_type = 0;
}

int TIF6_LibCanExit(void) { return 1; }

}  // extern "C"
