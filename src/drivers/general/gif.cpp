// GIF driver: GIF87a and GIF89a images, reached as a registered driver.
//
// Until the reader lands, exist declines every file and open fails, so the
// driver holds its place and its type code in the registry.

#include "udf/registered_drivers.h"

namespace {

uint32_t gif_type = 0;
// Registration is counted: only the first start registers, only the last
// exit removes.
int32_t initialized = 0;

}  // namespace

extern "C" {

int GIF_exist(const char*, char*, FILE*) { return 0; }

int GIF_open(const char*, int, int, int, int, UDFHeader*) { return -1; }

int GIF_close(UDFHeader* header) {
    if (header) header->priv = nullptr;
    return 0;
}

int GIF_getrow(int, void*, UDFHeader*) { return -1; }

int GIF_LibInit(void) {
    if (++initialized != 1) return 0;
    UDFRecord record = {};
    record.exist = GIF_exist;
    record.open = GIF_open;
    record.close = GIF_close;
    record.getrow = GIF_getrow;
    record.keyword = const_cast<char*>("gif");
    record.suffix = const_cast<char*>("gif");
    record.description = const_cast<char*>("GIF (*.gif)");
    record.filter = const_cast<char*>("*.gif");
    gif_type = II_RegisterUDF(&record);
    return 0;
}

void GIF_LibExit(void) {
    if (--initialized != 0) return;
    II_UnregisterUDF(gif_type);
    gif_type = 0;
}

int GIF_LibCanExit(void) { return 1; }

}  // extern "C"
