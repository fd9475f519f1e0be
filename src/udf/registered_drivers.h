#ifndef TARN_UDF_REGISTERED_DRIVERS_H
#define TARN_UDF_REGISTERED_DRIVERS_H

/* Entry points of the drivers that the library registers at start-up. Each
 * keeps its own type code; LibInit registers it, LibExit removes it,
 * LibCanExit answers 1. */

#include "udf/udf.h"

#define TARN_DECLARE_UDF_DRIVER(X)                                                           \
    int X##_exist(const char* name, char* out_path, FILE* fp);                               \
    int X##_open(const char* name, int band, int red, int green, int blue, UDFHeader* header); \
    int X##_close(UDFHeader* header);                                                        \
    int X##_getrow(int row, void* buffer, UDFHeader* header);                                \
    int X##_LibInit(void);                                                                   \
    void X##_LibExit(void);                                                                  \
    int X##_LibCanExit(void);

TARN_BEGIN_C

TARN_DECLARE_UDF_DRIVER(GIF)
TARN_DECLARE_UDF_DRIVER(SRP)
TARN_DECLARE_UDF_DRIVER(ADRG)
TARN_DECLARE_UDF_DRIVER(CADRG)
TARN_DECLARE_UDF_DRIVER(CIB)
TARN_DECLARE_UDF_DRIVER(JFIF)
TARN_DECLARE_UDF_DRIVER(NITF)
TARN_DECLARE_UDF_DRIVER(TIF6)
TARN_DECLARE_UDF_DRIVER(IMGN)

TARN_END_C

#endif
