#include "platform/tarn_paths.h"

#include <stdlib.h>
#include <unistd.h>

#include <tarnimage/tarn_file.h>

std::string ascii_lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string ascii_upper(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

bool file_exists(const std::string& name) { return tarn_accessFile(name.c_str(), 0) == 0; }

std::string tarn_current_directory() {
    char* cwd = getcwd(nullptr, 0);
    if (!cwd) return std::string();
    std::string directory(cwd);
    free(cwd);
    return directory;
}

std::string get_image_path(const std::string& name) {
    if (!name.empty() && name[0] == '/') return name;
    if (name.find('/') != std::string::npos) return name;
    std::string directory = tarn_current_directory();
    return directory.empty() ? name : directory + "/" + name;
}
