#ifndef TARNIMAGE_TARN_FILE_H
#define TARNIMAGE_TARN_FILE_H

/* The file layer: every read and write of the library goes through here.
 * Names are UTF-8. Every call accepts a null FILE* and fails quietly. */

#include <tarnimage/export.h>
#include <stddef.h>
#include <stdio.h>

TARN_BEGIN_C

/* NULL for a null or empty name, a directory, or a file that won't open. */
TARN_EXPORT FILE* tarn_fopen(const char* name, const char* mode);
TARN_EXPORT int tarn_fclose(FILE* file);
TARN_EXPORT size_t tarn_fread(void* buffer, size_t size, size_t count, FILE* file);
TARN_EXPORT size_t tarn_fwrite(const void* buffer, size_t size, size_t count, FILE* file);
TARN_EXPORT int tarn_fseek(FILE* file, long offset, int whence);
TARN_EXPORT long tarn_ftell(FILE* file);
TARN_EXPORT void tarn_rewind(FILE* file);
TARN_EXPORT int tarn_feof(FILE* file);
TARN_EXPORT int tarn_ferror(FILE* file);
TARN_EXPORT int tarn_fgetc(FILE* file);
TARN_EXPORT int tarn_ungetc(int c, FILE* file);
TARN_EXPORT int tarn_fprintf(FILE* file, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/* 0 when the name is accessible in the sense of access(2), else -1. */
TARN_EXPORT int tarn_accessFile(const char* name, int mode);
/* 0 when the file was removed, else -1. */
TARN_EXPORT int tarn_deleteFile(const char* name);
/* 1 for an existing directory, else 0. */
TARN_EXPORT int tarn_isDirectory(const char* name);

/* Reads the six numbers of a world file from the current position: xscale,
 * yskew, xskew, yscale, xorigin, yorigin, one per line. Gives 1 and fills
 * values when all six were read, else 0 with values untouched. */
TARN_EXPORT int tarn_read_world_file(FILE* file, double values[6]);

TARN_END_C

#ifdef __cplusplus
#include <tarnimage/tarn_string.h>

TARN_EXPORT FILE* tarn_fopen(const CTarnUString& name, const char* mode);
/* Sets target from a file-system path in UTF-8; null gives the empty string. */
TARN_EXPORT void tarn_setFileSystemPath(CTarnUString& target, const char* path);
#endif

#endif
