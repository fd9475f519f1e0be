#ifndef TARN_TEST_SUPPORT_H
#define TARN_TEST_SUPPORT_H

#include <stdint.h>

#include <string>
#include <vector>

namespace tarntest {

/* Path of a committed fixture under tests/data, or of a shared sample (empty without the folder). */
std::string data_path(const std::string& relative);
/* Path inside a packed fixture (tests/data/X/Y.tgz unpacks to "X/Y/"). */
std::string unpacked_path(const std::string& relative);
std::string sample_path(const std::string& relative);
bool samples_present();

/* A fresh, empty directory that is removed with the object. */
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    /* Writes bytes to a file in the directory and gives its path. */
    std::string write(const std::string& name, const std::string& bytes) const;
    std::string write(const std::string& name, const std::vector<unsigned char>& bytes) const;
    std::string copy_in(const std::string& source, const std::string& name) const;

private:
    std::string m_path;
};

std::vector<unsigned char> read_file(const std::string& path);

/* One line of a fixture script's hash list under tests/data: a name, the
 * size and the FNV-1a 32 hash (hex) of the values a reference tool gave.
 * Blank lines and lines starting with "#" are skipped. */
struct SampleHash {
    std::string name;
    int rows = 0, columns = 0, bands = 0;
    uint32_t hash = 0;
};
std::vector<SampleHash> read_sample_hashes(const std::string& relative);

/* Names, without ".ras", of the Sun rasters under tests/data/sunraster, sorted;
 * netpbm's decode of each lies beside it as ".pnm". */
std::vector<std::string> sun_fixtures();

/* A Sun raster in memory: header, colour map, data. Length words left at
 * kFromData are those of the bytes given. */
constexpr int kFromData = INT32_MIN;
std::vector<unsigned char> sun_raster(int width, int height, int depth, int type,
                                      const std::vector<unsigned char>& data, int maptype = 0,
                                      const std::vector<unsigned char>& map = {},
                                      int length = kFromData, int maplength = kFromData);

/* A decoded binary PBM, PGM or PPM: one entry per sample, 0/1 for bitmaps
 * (1 black). Empty (width 0) when the file is not one. */
struct Pnm {
    int width = 0, height = 0, channels = 0;
    bool bitmap = false;
    std::vector<int> samples;
    int at(int x, int y, int c) const { return samples[(static_cast<size_t>(y) * width + x) * channels + c]; }
    /* The pixel as red, green, blue, alpha 255 in memory order. */
    void rgba(int x, int y, unsigned char out[4]) const;
};
Pnm read_pnm(const std::string& path);

}  // namespace tarntest

#endif
