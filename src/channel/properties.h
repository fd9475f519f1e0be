#ifndef TARN_CHANNEL_PROPERTIES_H
#define TARN_CHANNEL_PROPERTIES_H

/* Size, bands and depth of a raster from its name and type code, without an
 * Image record. The four queries are public (tarnimage/properties.h). */

#include <tarnimage/export.h>
#include <tarnimage/properties.h>

TARN_BEGIN_C

/* The colour file beside a raster: the name with its last four characters
 * replaced by ".clr", else ".CLR". 1 and the name when one exists, else -1.
 * color_name must hold strlen(name) + 1 bytes. */
int get_standard_color_name(const char* name, char* color_name);

TARN_END_C

#endif
