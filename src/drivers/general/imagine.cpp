// IMAGINE driver: .img files read through the IMAGINE toolkit, reached as a
// registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t imgn_type = 0;
// Counts starts that found the toolkit; an exit without one leaves it below
// zero, and no start registers again after that.
int32_t initialized = 0;

// The toolkit is not part of this build: it never gives an instance, so the
// driver stays out of the table.
void InitIMAGINELibrary(int* instance) { *instance = 0; }

}  // namespace

extern "C" {

int IMGN_exist(const char*, char*, FILE*) { return 0; }

int IMGN_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int IMGN_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int IMGN_getrow(int, void*, UDFHeader*) { return -1; }

int IMGN_LibInit(void) {
    if (initialized != 0) return 0;
    int instance = 0;
    InitIMAGINELibrary(&instance);
    if (instance == 0) return 0;
    ++initialized;
    UDFRecord record = {};
    record.exist = IMGN_exist;
    record.open = IMGN_open;
    record.close = IMGN_close;
    record.getrow = IMGN_getrow;
    record.keyword = const_cast<char*>("ERDAS Imagine");
    record.suffix = const_cast<char*>("img");
    record.description = const_cast<char*>("Imagine (*.img)");
    record.filter = const_cast<char*>("*.img");
    imgn_type = II_RegisterUDF(&record);
    return 0;
}

// Unregisters whatever code it holds; 0, when the driver never registered,
// leaves the table alone.
void IMGN_LibExit(void) {
    II_UnregisterUDF(imgn_type);
    if (--initialized == 0) imgn_type = 0;
}

int IMGN_LibCanExit(void) { return 1; }

}  // extern "C"
