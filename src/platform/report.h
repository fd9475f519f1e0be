#ifndef TARN_PLATFORM_REPORT_H
#define TARN_PLATFORM_REPORT_H

/* Message sinks. Drivers format their text and hand it here; the text goes to
 * the host's handler (<tarnimage/messages.h>) when one is installed, and
 * nowhere otherwise. A message never changes a result. */

#include <tarnimage/export.h>
#include <tarnimage/messages.h>

TARN_BEGIN_C
void user_error(const char* text);
void user_mesg(const char* text);
void user_warn(const char* text);
void fatal_error(const char* text);

/* Non-zero while a handler is installed. Code that would have to look
 * further into a file only to explain a refusal asks this first. */
int tarn_messages_wanted(void);
/* A message of the given level, formatted as by printf. */
void tarn_report(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
TARN_END_C

#ifdef __cplusplus
/* Names the file that this thread's messages are about while the scope lives;
 * they reach the handler as "FILE: text". The name is not copied. With
 * mute_errors, error-level messages are counted but not delivered, for a file
 * whose refusal has already been explained once. */
class MessageFileScope {
public:
    explicit MessageFileScope(const char* file, bool mute_errors = false);
    ~MessageFileScope();
    MessageFileScope(const MessageFileScope&) = delete;
    MessageFileScope& operator=(const MessageFileScope&) = delete;

    /* Error-level messages given while this scope was the innermost. */
    int errors() const { return m_errors; }

private:
    friend void deliver_message(int level, const char* text);
    const char* m_file;
    bool m_mute;
    int m_errors = 0;
    MessageFileScope* m_outer;
};
void deliver_message(int level, const char* text);
#endif

#endif
