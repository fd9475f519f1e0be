#ifndef TARN_PLATFORM_TEXT_LINES_H
#define TARN_PLATFORM_TEXT_LINES_H

/* Lines of the text side files (headers, colour and statistics files). */

#include <stdio.h>

#include <tarnimage/export.h>

TARN_BEGIN_C

/* Stores characters up to a line feed, the end of the file or size - 1
 * characters, ends them with a zero and answers buffer; null when the read
 * ended on the end of the file, even after some characters, so a last line
 * without a line feed is not read. A longer line comes back in pieces. */
char* S_BasicReadStr(char* buffer, int size, FILE* file);

TARN_END_C

#endif
