// ADRG driver: ADRG images (.IMG with their .GEN), overviews and legends,
// reached as a registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t adrg_type = 0;
// Registration is counted: only the first start registers, only the last
// exit removes.
int32_t initialized = 0;

}  // namespace

extern "C" {

int ADRG_exist(const char*, char*, FILE*) { return 0; }

int ADRG_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int ADRG_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int ADRG_getrow(int, void*, UDFHeader*) { return -1; }

int ADRG_LibInit(void) {
    if (++initialized != 1) return 0;
    UDFRecord record = {};
    record.exist = ADRG_exist;
    record.open = ADRG_open;
    record.close = ADRG_close;
    record.getrow = ADRG_getrow;
    record.keyword = const_cast<char*>("ArcDRG");
    record.suffix = const_cast<char*>("ovr");
    record.description = const_cast<char*>("ADRG (*.img; *.ovr; *.l*)");
    record.filter = const_cast<char*>("*.img;*.ovr;*.l*");
    adrg_type = II_RegisterUDF(&record);
    return 0;
}

void ADRG_LibExit(void) {
    if (--initialized != 0) return;
    II_UnregisterUDF(adrg_type);
    adrg_type = 0;
}

int ADRG_LibCanExit(void) { return 1; }

}  // extern "C"
