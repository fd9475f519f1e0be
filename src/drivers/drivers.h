#ifndef TARN_DRIVERS_DRIVERS_H
#define TARN_DRIVERS_DRIVERS_H

/* Open and close entry points of the built-in drivers, as the open dispatchers
 * call them. Every open answers exactly -1 on failure. */

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
int set_g3_globals(void);
int set_g4_globals(void);

/* Header-valid flags of the drivers' private records, cleared at channel close. */
int clrrd_SUNRASTER_hdr(Image* image);
int clrrd_STANDARD_hdr(Image* image);
int clrrd_TIFF_hdr(Image* image);
int clrrd_BMP_hdr(Image* image);
int clrrd_ADRG_hdr(Image* image);

TARN_END_C

#endif
