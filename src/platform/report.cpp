// The library has no log and no console: a driver's message ends here, and
// its caller sees only the result.

#include "platform/report.h"

extern "C" {
void user_error(const char*) {}
void user_mesg(const char*) {}
void user_warn(const char*) {}
void fatal_error(const char*) {}
}
