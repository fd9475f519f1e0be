// TIFF 6 files with their GeoTIFF keys.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_TIF6 = {0, 0};

extern const RegisteredDriver registered_TIF6 = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "TIFF6", "tif", "TIFF (*.tif; *.tff; *.tiff)", "*.tif;*.tff;*.tiff",
    START_COUNTED, true, nullptr, nullptr, &state_TIF6, true,
};
