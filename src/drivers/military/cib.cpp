// CIB frames: RPF frame files of grey images.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_CIB = {0, 0};

extern const RegisteredDriver registered_CIB = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "CIB", "cib", "CIB (*.*)", "*.*",
    START_COUNTED, true, nullptr, nullptr, &state_CIB,
};
