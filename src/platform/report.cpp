// The library has no log and no console: a message goes to the host's handler
// or nowhere. The common case is no handler, so the first test is one atomic
// load and nothing is formatted or copied.

#include "platform/report.h"

#include <atomic>
#include <mutex>
#include <stdarg.h>
#include <stdio.h>
#include <string>

namespace {

std::atomic<bool> g_installed{false};
// The handler and its user pointer change together, so they share a lock
// rather than being two atomics a reader could see half-swapped.
std::mutex g_lock;
TarnMessageHandler g_handler = nullptr;
void* g_user = nullptr;

thread_local MessageFileScope* t_scope = nullptr;

bool is_space(char c) { return c == '\n' || c == '\r' || c == ' ' || c == '\t'; }

}  // namespace

MessageFileScope::MessageFileScope(const char* file, bool mute_errors)
    : m_file(file), m_mute(mute_errors), m_outer(t_scope) {
    t_scope = this;
}

MessageFileScope::~MessageFileScope() { t_scope = m_outer; }

void deliver_message(int level, const char* text) {
    MessageFileScope* scope = t_scope;
    if (level == TARN_MESSAGE_ERROR && scope) ++scope->m_errors;
    if (!g_installed.load(std::memory_order_acquire) || !text) return;
    if (level == TARN_MESSAGE_ERROR && scope && scope->m_mute) return;
    TarnMessageHandler handler;
    void* user;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        handler = g_handler;
        user = g_user;
    }
    if (!handler) return;
    try {
        // Driver texts end in a newline and some hold one inside; a message
        // is one line.
        std::string body(text);
        while (!body.empty() && is_space(body.back())) body.pop_back();
        size_t start = 0;
        while (start < body.size() && is_space(body[start])) ++start;
        body.erase(0, start);
        if (body.empty()) return;
        for (char& c : body)
            if (c == '\n' || c == '\r') c = ' ';
        std::string line;
        if (scope && scope->m_file && *scope->m_file) {
            line = scope->m_file;
            line += ": ";
        }
        line += body;
        handler(level, line.c_str(), user);
    } catch (...) {
        // Out of memory for the text: the message is dropped, never the read.
    }
}

extern "C" {

TARN_EXPORT void tarn_set_message_handler(TarnMessageHandler handler, void* user) {
    std::lock_guard<std::mutex> guard(g_lock);
    g_handler = handler;
    g_user = handler ? user : nullptr;
    g_installed.store(handler != nullptr, std::memory_order_release);
}

int tarn_messages_wanted(void) { return g_installed.load(std::memory_order_acquire) ? 1 : 0; }

void tarn_report(int level, const char* format, ...) {
    if (!tarn_messages_wanted()) {
        // Still counted, so a scope knows a refusal was met.
        if (level == TARN_MESSAGE_ERROR) deliver_message(level, nullptr);
        return;
    }
    char text[512];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    deliver_message(level, text);
}

void user_error(const char* text) { deliver_message(TARN_MESSAGE_ERROR, text); }
void user_mesg(const char* text) { deliver_message(TARN_MESSAGE_INFORMATION, text); }
void user_warn(const char* text) { deliver_message(TARN_MESSAGE_WARNING, text); }
void fatal_error(const char* text) { deliver_message(TARN_MESSAGE_ERROR, text); }
}
