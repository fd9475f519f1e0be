// JFIF: JPEG files.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_JFIF = {0, 0};

extern const RegisteredDriver registered_JFIF = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "JPG", "jpg", "JFIF (*.jpg)", "*.jpg",
    START_UNGUARDED, true, nullptr, nullptr, &state_JFIF,
};
