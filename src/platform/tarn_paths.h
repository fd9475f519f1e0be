#ifndef TARN_PLATFORM_TARN_PATHS_H
#define TARN_PLATFORM_TARN_PATHS_H

/* Small name helpers shared by identification and the drivers' probes. Case
 * folding is ASCII only: names are bytes, whatever their encoding. */

#include <string>

std::string ascii_lower(std::string text);
std::string ascii_upper(std::string text);
/* True when tarn_accessFile finds the name. */
bool file_exists(const std::string& name);
/* The working directory, or empty when it cannot be had. */
std::string tarn_current_directory();
/* Absolute for a bare file name (the working directory in front); a name with
 * a directory in it stays as it is. */
std::string get_image_path(const std::string& name);

#endif
