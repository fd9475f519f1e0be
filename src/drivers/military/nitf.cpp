// NITF: images of NITF files other than CADRG and CIB frames.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_NITF = {0, 0};

// UDF_LibCanExit does not ask this driver; its answer would be 1 like all the others.
extern const RegisteredDriver registered_NITF = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "NITF", "ntf", "NITF (*.ntf)", "*.ntf",
    START_COUNTED, false, nullptr, nullptr, &state_NITF,
};
