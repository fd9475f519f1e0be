#ifndef TARN_PLATFORM_TEXT_LINES_H
#define TARN_PLATFORM_TEXT_LINES_H

/* Lines of the text side files (headers, colour and statistics files). */

#include <stdio.h>

#include <tarnimage/export.h>

TARN_BEGIN_C

/* One character with CR, CR LF and LF all read as LF. */
int S_BasicReadChar(FILE* file);
/* A line without its end, cut at size - 1 characters; null when the read
 * ended on the end of the file, even after some characters, so a last line
 * without a line feed is not read. A longer line comes back in pieces. */
char* S_BasicReadStr(char* buffer, int size, FILE* file);

TARN_END_C

#endif
