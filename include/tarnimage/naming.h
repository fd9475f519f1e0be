#ifndef TARNIMAGE_NAMING_H
#define TARNIMAGE_NAMING_H

/* Format type codes, their keywords and file suffixes.
 *
 * Type codes: -1 not identified; 1 RLC (Impell), 2 SUNRASTER, 3 ERDAS (LAN and
 * GIS), 4 GRASS, 5 SVF, 6 LATTICE, 7 TIFF, 8 BIL, 9 BIP, 10 GRID, 11 BSQ,
 * 12 IMAGINE, 13 ADRG, 14 BMP, 100 GRAFILE, 1000 USER DEFINED; above 1000 a
 * registered driver (<tarnimage/udf.h>), whose keyword and suffix are the ones
 * it registered with. Case folding is ASCII only. */

#include <stdio.h>
#include <tarnimage/export.h>

TARN_BEGIN_C

/* The type whose keyword begins with `keyword`. The keyword is upper-cased
 * first, so a registered driver's keyword with lower-case letters ("gif")
 * matches only on a prefix without them. The built-in keywords are tried
 * first, in code order, then the registered drivers. Gives the type and
 * stores it in *type, or -1 leaving *type alone. "BI" is 8, "T" is 7, the
 * empty keyword 0 ("SAME"). */
TARN_EXPORT int type_from_keyword(const char* keyword, int* type);

/* Writes the keyword of a built-in code (1 to 14, 100, 1000) into buffer,
 * which holds at least 16 bytes, and gives 1; any other code, registered
 * drivers among them, gives -1 and writes nothing. */
TARN_EXPORT int keyword_from_type(char* buffer, int type);

/* Appends the code's file suffix to name: ".rlc", ".gis", ".svf", ".lat",
 * ".tif", ".bil", ".bip", ".bsq", ".img" or ".bmp" for the built-in codes that
 * have one; for a registered driver its stored suffix as it is, with no dot
 * added. name needs room for what is appended. Gives 0. */
TARN_EXPORT int name_from_type(int type, char* name);

/* The type of a file extension given without its dot, in any case: rlc gis
 * svf lat tif bmp bil bip bsq, then the registered drivers' suffixes. The empty
 * extension and an unknown one give -1. */
TARN_EXPORT int get_type_from_extension(const char* extension);

/* Position of the dot of the name's suffix (its last "."; the length when it
 * has none) when that suffix, upper-cased, is one the library knows: .RLC
 * .GIS .LAN .SVF .LAT .TIF .BIL .BIP .BSQ .IMG .CPH .OVR; else -1. The same
 * text is then compared with the registered drivers' stored suffixes, which
 * have no dot, so only a driver registered with an empty suffix matches, and
 * only a name without a dot. */
TARN_EXPORT int suffname(const char* name);

/* 1 when the name has the form of an ADRG legend file: its absolute path ends
 * in ".L" or ".l" and the two characters that begin its last fifteen. */
TARN_EXPORT int check_format_ADRG(const char* name);

/* 1 when the file, rewound, starts with a TIFF byte-order mark and 42. */
TARN_EXPORT int check_format_TIFF(FILE* file);

/* Splits "location:mapset:map" at its last two colons into the three parts,
 * each of which needs room for strlen(name) + 1 bytes. Gives 1, or -1 for a
 * name with fewer than two colons (the parts may then be partly written). */
TARN_EXPORT int parse_grass_name(const char* name, char* location, char* mapset, char* map);

TARN_END_C

#endif
