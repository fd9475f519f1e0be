#include "platform/text_lines.h"

#include <tarnimage/tarn_file.h>

extern "C" {

char* S_BasicReadStr(char* buffer, int size, FILE* file) {
    if (!buffer || size < 1) return nullptr;
    int stored = 0;
    for (;;) {
        if (stored >= size - 1) break;
        int c = tarn_fgetc(file);
        if (c == EOF) {
            buffer[stored] = '\0';
            return nullptr;
        }
        if (c == '\n') break;
        buffer[stored++] = static_cast<char>(c);
    }
    buffer[stored] = '\0';
    return buffer;
}

}
