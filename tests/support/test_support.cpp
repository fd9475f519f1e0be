#include "test_support.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <stdlib.h>

namespace fs = std::filesystem;

namespace tarntest {

std::string data_path(const std::string& relative) {
    return std::string(TARN_TEST_DATA_DIR) + "/" + relative;
}

std::vector<SampleHash> read_sample_hashes(const std::string& relative) {
    std::vector<SampleHash> list;
    std::ifstream in(data_path(relative));
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        SampleHash s;
        std::string hash;
        fields >> s.name >> s.rows >> s.columns >> s.bands >> hash;
        s.hash = uint32_t(std::stoul(hash, nullptr, 16));
        list.push_back(s);
    }
    return list;
}

std::string unpacked_path(const std::string& relative) {
    return std::string(TARN_TEST_UNPACKED_DIR) + "/" + relative;
}

bool samples_present() {
    std::error_code ec;
    return fs::is_directory(TARN_SAMPLES_DIR, ec);
}

std::string sample_path(const std::string& relative) {
    if (!samples_present()) return std::string();
    return std::string(TARN_SAMPLES_DIR) + "/" + relative;
}

TempDir::TempDir() {
    std::string tmpl = (fs::temp_directory_path() / "tarntest-XXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    m_path = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    fs::remove_all(m_path, ec);
}

std::string TempDir::write(const std::string& name, const std::string& bytes) const {
    std::string path = file(name);
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::string TempDir::write(const std::string& name, const std::vector<unsigned char>& bytes) const {
    return write(name, std::string(bytes.begin(), bytes.end()));
}

std::string TempDir::copy_in(const std::string& source, const std::string& name) const {
    std::string path = file(name);
    fs::copy_file(source, path, fs::copy_options::overwrite_existing);
    return path;
}

std::vector<unsigned char> read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> sun_fixtures() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(data_path("sunraster")))
        if (entry.path().extension() == ".ras") names.push_back(entry.path().stem().string());
    if (names.empty()) throw std::runtime_error("no Sun raster fixtures");  // no silent empty loops
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<unsigned char> sun_raster(int width, int height, int depth, int type,
                                      const std::vector<unsigned char>& data, int maptype,
                                      const std::vector<unsigned char>& map, int length, int maplength) {
    std::vector<unsigned char> out;
    const int words[8] = {0x59a66a95, width, height, depth,
                          length == kFromData ? static_cast<int>(data.size()) : length, type, maptype,
                          maplength == kFromData ? static_cast<int>(map.size()) : maplength};
    for (int w : words)
        for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(w >> shift));
    out.insert(out.end(), map.begin(), map.end());
    out.insert(out.end(), data.begin(), data.end());
    return out;
}

Pnm read_pnm(const std::string& path) {
    // netpbm writes no comments; maxval is 255 in all fixtures.
    std::ifstream in(path, std::ios::binary);
    std::string magic;
    int maxval = 0;
    Pnm pnm;
    in >> magic >> pnm.width >> pnm.height;
    if (magic != "P4") in >> maxval;
    in.get();
    if (!in || (magic != "P4" && magic != "P5" && magic != "P6")) return Pnm();
    pnm.bitmap = magic == "P4";
    pnm.channels = magic == "P6" ? 3 : 1;
    const size_t stride = pnm.bitmap ? (pnm.width + 7) / 8 : size_t(pnm.width) * pnm.channels;
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < stride * pnm.height) return Pnm();
    for (size_t y = 0; y < size_t(pnm.height); ++y)
        for (size_t x = 0; x < (pnm.bitmap ? size_t(pnm.width) : stride); ++x) {
            const unsigned char byte = bytes[y * stride + (pnm.bitmap ? x / 8 : x)];
            pnm.samples.push_back(pnm.bitmap ? (byte >> (7 - x % 8)) & 1 : byte);
        }
    return pnm;
}

void Pnm::rgba(int x, int y, unsigned char out[4]) const {
    if (channels == 3) {
        for (int c = 0; c < 3; ++c) out[c] = static_cast<unsigned char>(at(x, y, c));
    } else {
        int v = at(x, y, 0);
        unsigned char grey = static_cast<unsigned char>(bitmap ? (v ? 0 : 255) : v);
        out[0] = out[1] = out[2] = grey;
    }
    out[3] = 255;
}

}  // namespace tarntest
