// CADRG driver: RPF frame files of compressed ADRG, reached as a registered
// driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t cadrg_type = 0;
// Registration is counted: only the first start registers, only the last
// exit removes.
int32_t initialized = 0;

}  // namespace

extern "C" {

int CADRG_exist(const char*, char*, FILE*) { return 0; }

int CADRG_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int CADRG_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int CADRG_getrow(int, void*, UDFHeader*) { return -1; }

int CADRG_LibInit(void) {
    if (++initialized != 1) return 0;
    UDFRecord record = {};
    record.exist = CADRG_exist;
    record.open = CADRG_open;
    record.close = CADRG_close;
    record.getrow = CADRG_getrow;
    record.keyword = const_cast<char*>("CADRG");
    record.suffix = const_cast<char*>("cdg");
    record.description = const_cast<char*>("CADRG (*.*)");
    record.filter = const_cast<char*>("*.*");
    cadrg_type = II_RegisterUDF(&record);
    return 0;
}

void CADRG_LibExit(void) {
    if (--initialized != 0) return;
    II_UnregisterUDF(cadrg_type);
    cadrg_type = 0;
}

int CADRG_LibCanExit(void) { return 1; }

}  // extern "C"
