#ifndef TARNIMAGE_TARNIMAGE_H
#define TARNIMAGE_TARNIMAGE_H

/* Everything a host needs: getManager and the interfaces it leads to. */

#include <tarnimage/export.h>
#include <tarnimage/interfaces.h>
#include <tarnimage/refcnt.h>
#include <tarnimage/tarn_string.h>
#include <tarnimage/variant.h>

#endif
