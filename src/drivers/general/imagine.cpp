// IMAGINE .img files.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

namespace {

// The IMAGINE toolkit is not part of this build: it never gives an instance,
// so the driver stays out of the registry.
int start_imagine_toolkit(void) { return 0; }

}  // namespace

static RegisteredState state_IMGN = {0, 0};

extern const RegisteredDriver registered_IMGN = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "ERDAS Imagine", "img", "Imagine (*.img)", "*.img",
    START_TOOLKIT_GATED, true, start_imagine_toolkit, nullptr, &state_IMGN,
};
