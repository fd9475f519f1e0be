// ASRP/USRP driver: the image files of an ASRP or USRP product with their
// general information and quality files, reached as a registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t srp_type = 0;

}  // namespace

extern "C" {

int SRP_exist(const char*, char*, FILE*) { return 0; }

int SRP_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int SRP_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int SRP_getrow(int, void*, UDFHeader*) { return -1; }

// No guard: every start registers and every exit removes.
int SRP_LibInit(void) {
    UDFRecord record = {};
    record.exist = SRP_exist;
    record.open = SRP_open;
    record.close = SRP_close;
    record.getrow = SRP_getrow;
    record.keyword = const_cast<char*>("SRP");
    record.suffix = const_cast<char*>("");
    record.description = const_cast<char*>("ASRP/USRP (*.img; *.ovr; *.l*)");
    record.filter = const_cast<char*>("*.img;*.ovr;*.l*");
    srp_type = II_RegisterUDF(&record);
    return 0;
}

void SRP_LibExit(void) {
    II_UnregisterUDF(srp_type);
    srp_type = 0;
}

int SRP_LibCanExit(void) { return 1; }

}  // extern "C"
