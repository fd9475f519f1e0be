#ifndef TARN_FUZZ_SUPPORT_H
#define TARN_FUZZ_SUPPORT_H

/* What every fuzz entry point needs: the input as a file of its own, and a
 * count of the process's open descriptors, since a handle left open by any
 * path is a finding (a server would run out of them). */

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <unistd.h>

#include <string>

namespace tarnfuzz {

/* A path in /tmp for this process: name and suffix as given. */
inline std::string temp_path(const char* name, const char* suffix) {
    return "/tmp/fuzz_" + std::string(name) + "_" + std::to_string(getpid()) + suffix;
}

inline bool write_file(const std::string& path, const uint8_t* data, size_t size) {
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) return false;
    bool ok = size == 0 || fwrite(data, 1, size, file) == size;
    return fclose(file) == 0 && ok;
}

inline int open_descriptors() {
    int count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (readdir(dir)) ++count;
        closedir(dir);
    }
    return count;
}

}  // namespace tarnfuzz

#endif
