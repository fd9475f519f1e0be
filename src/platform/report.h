#ifndef TARN_PLATFORM_REPORT_H
#define TARN_PLATFORM_REPORT_H

/* Message sinks. Drivers format their text and hand it here; the library has
 * no log, so the caller only ever sees the failure result. */

#include <tarnimage/export.h>

TARN_BEGIN_C
void user_error(const char* text);
void user_mesg(const char* text);
void user_warn(const char* text);
void fatal_error(const char* text);
TARN_END_C

#endif
