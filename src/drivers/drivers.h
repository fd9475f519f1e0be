#ifndef TARN_DRIVERS_DRIVERS_H
#define TARN_DRIVERS_DRIVERS_H

/* Open and close entry points of the built-in drivers, as the open dispatchers
 * call them. Every open answers exactly -1 on failure. */

#include <stdio.h>
#include <tarnimage/image.h>

TARN_BEGIN_C

int open_IMPELL(Image* image, const char* name, int display);
int open_SUNRASTER(Image* image, const char* name, int band, int display);
int open_multi_SUNRASTER(Image* image, const char* name, int red, int green, int blue, int display);
int open_ERDAS(Image* image, const char* name, int band, int display);
int open_multi_ERDAS(Image* image, const char* name, int red, int green, int blue, int display);
int open_GRASS(Image* image, const char* name, int display);
int open_multi_GRASS(Image* image, const char* name, int red, int green, int blue, int display);
int open_SVF(Image* image, const char* name, int display);
int open_LATTICE(Image* image, const char* name, int display);
int open_multi_TIFF(Image* image, const char* name, int red, int green, int blue, int display);
int open_STANDARD(Image* image, const char* name, int band, int display, int type);
int open_multi_STANDARD(Image* image, const char* name, int red, int green, int blue, int display,
                        int type);
int open_GRID(Image* image, const char* name, int band, int display, char* lut_name,
              char* colormap_name);
int open_multi_GRID(Image* image, const char* name, int red, int green, int blue, int display,
                    char* lut_name, char* colormap_name);
int open_ADRG(Image* image, const char* name, int band, int display);
int open_multi_ADRG(Image* image, const char* name, int red, int green, int blue, int display);
int open_BMP(Image* image, const char* name, int band, int display);
int open_multi_BMP(Image* image, const char* name, int red, int green, int blue, int display);
int open_GRAFILE(Image* image, int band, int display);

int close_TIFF(Image* image);
int close_GRID(Image* image);
int close_multi_GRID(Image* image);
int close_ADRG(Image* image);
int gcloseC(void* handle);
int latclsC(void* handle, int* status);
int get_graimg_end(void* handle, void* buffer);

int setup_runio_TIFF(Image* image);
int isok_runio_TIFF(Image* image);
int setup_runio_IMPELL(Image* image);
int isok_runio_IMPELL(Image* image);
int grid_window_map(Image* image, int first_col, int first_row, int win_cols, int win_rows);
int store_external_colormap_GRID(Image* image, void* colormap);
int store_external_lut_GRID(Image* image, void* lut);
int initialize_BMPRow_IO(Image* image);

/* Header-valid flags of the drivers' private records, cleared at channel close. */
int clrrd_SUNRASTER_hdr(Image* image);
int clrrd_STANDARD_hdr(Image* image);
int clrrd_TIFF_hdr(Image* image);
int clrrd_BMP_hdr(Image* image);
int clrrd_ADRG_hdr(Image* image);
int read_ADRG_header_trans(const char* name, int type, double* transform);

/* Content probes: 1 when the first bytes match, else 0. Each rewinds the file.
 * The constant ones hold the place where such a test would go. */
int check_format_SUNRASTER(FILE* file);
int check_format_ERDAS(FILE* file);
int check_format_BMP(FILE* file);
int check_format_IMPELL(FILE* file);
int check_format_GRASS(FILE* file);
int check_format_SVF(FILE* file);
int check_format_LATTICE(FILE* file);
int check_format_BIL(FILE* file);
int check_format_BIP(FILE* file);
int check_format_BSQ(FILE* file);
int check_format_EIMG(FILE* file);

TARN_END_C

#ifdef __cplusplus
#include <string>

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
