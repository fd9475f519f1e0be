#ifndef TARNIMAGE_MESSAGES_H
#define TARNIMAGE_MESSAGES_H

/* Why a file was refused or a read came short, in words. The library only
 * talks when a host installs a handler; without one it stays silent and
 * skips the work of explaining.
 *
 * Each text is one line of plain English without a trailing newline, and
 * starts with the path of the file it is about ("PATH: reason") whenever the
 * library knows it. The handler is called on the thread that met the
 * problem, possibly on several threads at once; it must not call back into
 * the library's image objects. A message never changes a result. */

#include <tarnimage/export.h>

/* Levels. An error says why a file cannot be read; a warning that a read
 * gave less than was asked, for example "PATH: N of M rows could not be
 * read" at the end of a getData whose rows did not all come; information
 * says why a file was passed over, for example "PATH: not an image of any
 * known kind". */
#define TARN_MESSAGE_ERROR 1
#define TARN_MESSAGE_WARNING 2
#define TARN_MESSAGE_INFORMATION 3

TARN_BEGIN_C

typedef void (*TarnMessageHandler)(int level, const char* text, void* user);

/* Installs the handler for the whole process, replacing any earlier one;
 * a null handler silences the library again. user is handed back on each
 * call. A call already under way on another thread may still finish with
 * the handler it started with. */
TARN_EXPORT void tarn_set_message_handler(TarnMessageHandler handler, void* user);

TARN_END_C

#endif
