// ASRP and USRP products: .img files described by their general information file.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_SRP = {0, 0};

extern const RegisteredDriver registered_SRP = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "SRP", "", "ASRP/USRP (*.img; *.ovr; *.l*)", "*.img;*.ovr;*.l*",
    START_UNGUARDED, true, nullptr, nullptr, &state_SRP,
};
