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
 * when found, 10 for a grid, -1 when nothing took the name; a registered
 * driver may leave a negative type with the result 1. */
#define TARN_PATH_MAX 4096
int get_image_type_from_name(const char* name, char* resolved, int* type);

/* Content tests: 1 when the first bytes match, else 0. Each rewinds the file.
 * The constant ones hold the place where such a test would go. */
int check_format_SUNRASTER(FILE* fp);
int check_format_ERDAS(FILE* fp);
int check_format_BMP(FILE* fp);
int check_format_IMPELL(FILE* fp);
int check_format_GRASS(FILE* fp);
int check_format_SVF(FILE* fp);
int check_format_LATTICE(FILE* fp);
int check_format_BIL(FILE* fp);
int check_format_BIP(FILE* fp);
int check_format_BSQ(FILE* fp);
int check_format_EIMG(FILE* fp);

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
/* Absolute for a bare file name (the working directory in front); a name with
 * a directory in it stays as it is. */
std::string get_image_path(const std::string& name);
/* The whole identification behind get_image_type_from_name, for names of any
 * length. */
int identify_image_name(const std::string& name, std::string& found, int* type);

/* Extended-name probes: non-zero when stem plus one of the format's suffixes
 * names such a file, which is then left in candidate. */
int extend_and_check_if_IMPELL(const std::string& stem, std::string& candidate);
int extend_and_check_if_SUNRASTER(const std::string& stem, std::string& candidate);
int extend_and_check_if_ERDAS(const std::string& stem, std::string& candidate);
int extend_and_check_if_GRASS(const std::string& stem, std::string& candidate);
int extend_and_check_if_SVF(const std::string& stem, std::string& candidate);
int extend_and_check_if_LATTICE(const std::string& stem, std::string& candidate);
int extend_and_check_if_BMP(const std::string& stem, std::string& candidate);
int extend_and_check_if_BIL(const std::string& stem, std::string& candidate);
int extend_and_check_if_BIP(const std::string& stem, std::string& candidate);
int extend_and_check_if_BSQ(const std::string& stem, std::string& candidate);
int extend_and_check_if_TIFF(const std::string& stem, std::string& candidate);
int extend_and_check_if_EIMG(const std::string& stem, std::string& candidate);
int extend_and_check_if_ADRG(const std::string& stem, std::string& candidate);
#endif

#endif
