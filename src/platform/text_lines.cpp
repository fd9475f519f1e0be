#include "platform/text_lines.h"

#include <tarnimage/tarn_file.h>

extern "C" {

int S_BasicReadChar(FILE* file) {
    int c = tarn_fgetc(file);
    if (c != '\r') return c;
    int next = tarn_fgetc(file);
    if (next != '\n' && next != EOF) tarn_fseek(file, tarn_ftell(file) - 1, SEEK_SET);
    return '\n';
}

char* S_BasicReadStr(char* buffer, int size, FILE* file) {
    if (!buffer || size < 1) return nullptr;
    int n = 0;
    while (n < size - 1) {
        int c = S_BasicReadChar(file);
        if (c == EOF) {
            buffer[n] = '\0';
            return nullptr;
        }
        if (c == '\n') break;
        buffer[n++] = static_cast<char>(c);
    }
    buffer[n] = '\0';
    return buffer;
}

}
