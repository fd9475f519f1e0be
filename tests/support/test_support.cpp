#include "test_support.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <stdlib.h>

namespace fs = std::filesystem;

namespace tarntest {

std::string data_path(const std::string& relative) {
    return std::string(TARN_TEST_DATA_DIR) + "/" + relative;
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

}  // namespace tarntest
