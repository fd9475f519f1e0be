// ADRG products as a registered driver: .img, .ovr and legend files.
//
// Until the reader lands, the row holds the driver's place and type code in
// the registry: exist declines every file and open fails.

#include "udf/registered_drivers.h"

static RegisteredState state_ADRG = {0, 0};

extern const RegisteredDriver registered_ADRG = {
    placeholder_exist, placeholder_open, placeholder_close, placeholder_getrow,
    "ArcDRG", "ovr", "ADRG (*.img; *.ovr; *.l*)", "*.img;*.ovr;*.l*",
    START_COUNTED, true, nullptr, nullptr, &state_ADRG,
};
