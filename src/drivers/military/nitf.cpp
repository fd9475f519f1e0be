// NITF driver: images of NITF files other than CADRG and CIB frames, reached
// as a registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t nitf_type = 0;
// Registration is counted: only the first start registers, only the last
// exit removes.
int32_t initialized = 0;

}  // namespace

extern "C" {

int NITF_exist(const char*, char*, FILE*) { return 0; }

int NITF_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int NITF_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int NITF_getrow(int, void*, UDFHeader*) { return -1; }

int NITF_LibInit(void) {
    if (++initialized != 1) return 0;
    UDFRecord record = {};
    record.exist = NITF_exist;
    record.open = NITF_open;
    record.close = NITF_close;
    record.getrow = NITF_getrow;
    record.keyword = const_cast<char*>("NITF");
    record.suffix = const_cast<char*>("ntf");
    record.description = const_cast<char*>("NITF (*.ntf)");
    record.filter = const_cast<char*>("*.ntf");
    nitf_type = II_RegisterUDF(&record);
    return 0;
}

void NITF_LibExit(void) {
    if (--initialized != 0) return;
    II_UnregisterUDF(nitf_type);
    nitf_type = 0;
}

int NITF_LibCanExit(void) { return 1; }

}  // extern "C"
