// Replays fuzz inputs without libFuzzer: every file named on the command line,
// or every file in a directory named there, goes once through the entry point.
// Missing directories are skipped, so a target with no regressions yet passes.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace fs = std::filesystem;

static void run_file(const fs::path& path, int& count) {
    std::ifstream in(path, std::ios::binary);
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++count;
}

int main(int argc, char** argv) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        fs::path path(argv[i]);
        if (fs::is_directory(path, ec)) {
            std::vector<fs::path> files;
            for (const auto& entry : fs::directory_iterator(path, ec))
                if (entry.is_regular_file()) files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto& file : files) run_file(file, count);
        } else if (fs::is_regular_file(path, ec)) {
            run_file(path, count);
        }
    }
    std::printf("replayed %d inputs\n", count);
    return 0;
}
