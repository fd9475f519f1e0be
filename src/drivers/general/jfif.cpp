// JFIF driver: JPEG files, reached as a registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t jfif_type = 0;

}  // namespace

extern "C" {

int JFIF_exist(const char*, char*, FILE*) { return 0; }

int JFIF_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int JFIF_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int JFIF_getrow(int, void*, UDFHeader*) { return -1; }

// No guard: every start registers and every exit removes.
int JFIF_LibInit(void) {
    UDFRecord record = {};
    record.exist = JFIF_exist;
    record.open = JFIF_open;
    record.close = JFIF_close;
    record.getrow = JFIF_getrow;
    record.keyword = const_cast<char*>("JPG");
    record.suffix = const_cast<char*>("jpg");
    record.description = const_cast<char*>("JFIF (*.jpg)");
    record.filter = const_cast<char*>("*.jpg");
    jfif_type = II_RegisterUDF(&record);
    return 0;
}

void JFIF_LibExit(void) {
    II_UnregisterUDF(jfif_type);
    jfif_type = 0;
}

int JFIF_LibCanExit(void) { return 1; }

}  // extern "C"
