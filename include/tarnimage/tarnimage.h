#ifndef TARNIMAGE_TARNIMAGE_H
#define TARNIMAGE_TARNIMAGE_H

/* Everything a host needs: getManager, the interfaces it leads to, and the
 * message handler. */

#include <tarnimage/export.h>
#include <tarnimage/interfaces.h>
#include <tarnimage/messages.h>
#include <tarnimage/refcnt.h>
#include <tarnimage/tarn_string.h>
#include <tarnimage/variant.h>

#endif
