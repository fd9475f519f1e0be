#ifndef TARN_TOOLS_CLI_SUPPORT_H
#define TARN_TOOLS_CLI_SUPPORT_H

#include <initializer_list>
#include <stddef.h>
#include <string>
#include <vector>

std::string json_escape(const std::string& text);
/* %.17g, or null for a value JSON cannot hold. */
std::string json_number(double value);
bool is_directory(const std::string& path);
/* count integers separated by commas, nothing else. */
bool parse_long_list(const std::string& text, long* values, int count);
bool ends_with(const std::string& text, const char* suffix);
/* A NumPy array file of the bytes given, with descr such as "|u1" or "<u2". */
bool write_npy(const std::string& path, const void* data, size_t bytes, const char* descr,
               std::initializer_list<long> shape);

int command_value(const std::vector<std::string>& args);
int command_bands(const std::vector<std::string>& args);

#endif
