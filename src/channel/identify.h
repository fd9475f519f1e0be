#ifndef TARN_CHANNEL_IDENTIFY_H
#define TARN_CHANNEL_IDENTIFY_H

/* Names and contents become type codes. The exported naming functions are in
 * <tarnimage/naming.h>. */

#include <stdio.h>
#include <tarnimage/export.h>
#include <tarnimage/naming.h>

TARN_BEGIN_C

/* The type of the raster a name stands for, and the absolute path of the file
 * actually found (resolved must hold at least TARN_PATH_MAX bytes). Gives 1
 * when found, -1 when nothing took the name, and for a dataset that a driver
 * claims by name (a grid directory) its type code; a registered driver may
 * leave a negative type with the result 1. */
#define TARN_PATH_MAX 4096
int get_image_type_from_name(const char* name, char* resolved, int* type);

/* 1 when the type names a dataset claimed by name (a grid directory) rather
 * than one file, else 0. */
int image_type_is_dataset(int type);

/* Position of the last "." of the whole name, or its length. */
int dot(const char* name);

TARN_END_C

#ifdef __cplusplus
#include <string>

/* The path of a grid directory for the name of one of its ".adf" members;
 * any other name unchanged. */
std::string FixGridName(const std::string& name);
/* One identification of one spelling of the name: 1 with type and found set,
 * or -1 with found untouched and type -1. */
int type_from_name(const std::string& name, std::string& found, int* type);
/* The whole identification behind get_image_type_from_name, for names of any
 * length. */
int identify_image_name(const std::string& name, std::string& found, int* type);

#endif

#endif
