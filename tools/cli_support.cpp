// Helpers the tarnimage commands share.

#include "cli_support.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

std::string json_escape(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out;
}

std::string json_number(double value) {
    if (!std::isfinite(value)) return "null";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17g", value);
    return buf;
}

bool is_directory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool parse_long_list(const std::string& text, long* values, int count) {
    const char* p = text.c_str();
    for (int i = 0; i < count; ++i) {
        char* end = nullptr;
        errno = 0;
        values[i] = std::strtol(p, &end, 10);
        if (end == p || errno) return false;
        p = end;
        if (i + 1 < count) {
            if (*p != ',') return false;
            ++p;
        }
    }
    return *p == '\0';
}

bool ends_with(const std::string& text, const char* suffix) {
    size_t n = std::strlen(suffix);
    return text.size() > n && text.compare(text.size() - n, n, suffix) == 0;
}

// NPY format 1.0: magic, version, a little-endian header length, and a
// Python dict literal padded with spaces to a multiple of 64 bytes.
bool write_npy(const std::string& path, const void* data, size_t bytes, const char* descr,
               std::initializer_list<long> shape) {
    std::string dims;
    for (long side : shape) dims += std::to_string(side) + ", ";
    if (shape.size() > 1) dims.resize(dims.size() - 2);
    std::string dict = std::string("{'descr': '") + descr + "', 'fortran_order': False, 'shape': (" +
                       dims + "), }";
    size_t unpadded = 10 + dict.size() + 1;
    dict.append((64 - unpadded % 64) % 64, ' ');
    dict += '\n';
    std::string head = "\x93NUMPY";
    head += '\x01';
    head += '\x00';
    head += static_cast<char>(dict.size() & 0xFF);
    head += static_cast<char>((dict.size() >> 8) & 0xFF);
    head += dict;
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return false;
    bool ok = std::fwrite(head.data(), 1, head.size(), out) == head.size() &&
              std::fwrite(data, 1, bytes, out) == bytes;
    return std::fclose(out) == 0 && ok;
}
