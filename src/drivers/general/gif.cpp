// GIF: GIF87a and GIF89a images.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_GIF = {0, 0};

extern const RegisteredDriver registered_GIF = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "gif", "gif", "GIF (*.gif)", "*.gif",
    START_COUNTED, true, nullptr, nullptr, &state_GIF,
};
