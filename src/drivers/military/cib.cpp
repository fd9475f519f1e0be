// CIB driver: RPF frame files of controlled image base, reached as a
// registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t cib_type = 0;
// Registration is counted: only the first start registers, only the last
// exit removes.
int32_t initialized = 0;

}  // namespace

extern "C" {

int CIB_exist(const char*, char*, FILE*) { return 0; }

int CIB_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int CIB_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int CIB_getrow(int, void*, UDFHeader*) { return -1; }

int CIB_LibInit(void) {
    if (++initialized != 1) return 0;
    UDFRecord record = {};
    record.exist = CIB_exist;
    record.open = CIB_open;
    record.close = CIB_close;
    record.getrow = CIB_getrow;
    record.keyword = const_cast<char*>("CIB");
    record.suffix = const_cast<char*>("cib");
    record.description = const_cast<char*>("CIB (*.*)");
    record.filter = const_cast<char*>("*.*");
    cib_type = II_RegisterUDF(&record);
    return 0;
}

void CIB_LibExit(void) {
    if (--initialized != 0) return;
    II_UnregisterUDF(cib_type);
    cib_type = 0;
}

int CIB_LibCanExit(void) { return 1; }

}  // extern "C"
