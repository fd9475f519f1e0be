// tarnimage value and bands against other readers: every BIL, BIP and BSQ
// fixture's values as GDAL (or the fixture script) holds them, every Sun
// raster against netpbm's decode, and band values at points against
// gdallocationinfo (tests/data/make_band_points.sh).
// Usage: test_band_values TOOL DATA_DIR SAMPLES_DIR

#include <dirent.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

std::string g_tool, g_data, g_samples, g_scratch;
int g_failures = 0;

void fail(const std::string& what) {
    printf("FAIL: %s\n", what.c_str());
    ++g_failures;
}

std::string run(const std::string& command) {
    std::string out;
    if (FILE* pipe = popen((command + " 2>/dev/null").c_str(), "r")) {
        char buffer[256];
        while (fgets(buffer, sizeof buffer, pipe)) out += buffer;
        pclose(pipe);
    }
    return out;
}

// The samples of a .npy as unsigned numbers, with its shape; empty when unreadable.
std::vector<uint32_t> read_npy(const std::string& path, std::vector<long>* shape) {
    std::vector<unsigned char> bytes = tarntest::read_file(path);
    if (bytes.size() < 10 || memcmp(bytes.data(), "\x93NUMPY", 6) != 0) return {};
    size_t header = bytes[8] | bytes[9] << 8;
    std::string dict(bytes.begin() + 10, bytes.begin() + 10 + static_cast<long>(header));
    int size = dict.find("u1") != std::string::npos ? 1 : dict.find("u2") != std::string::npos ? 2 : 4;
    std::istringstream dims(dict.substr(dict.find('(') + 1));
    shape->clear();
    for (long side; dims >> side;) {
        shape->push_back(side);
        if (dims.peek() == ',') dims.get();
    }
    std::vector<uint32_t> values;
    for (size_t at = 10 + header; at + size <= bytes.size(); at += static_cast<size_t>(size)) {
        uint32_t v = 0;
        memcpy(&v, &bytes[at], static_cast<size_t>(size));
        values.push_back(v);
    }
    return values;
}

void check_bands(const std::string& dir, const std::string& file, const std::vector<uint32_t>& want,
                 const std::vector<long>& shape) {
    std::string out = g_scratch + "/bands.npy";
    remove(out.c_str());
    run(g_tool + " bands '" + dir + "' '" + file + "' -o '" + out + "'");
    std::vector<long> got_shape;
    std::vector<uint32_t> got = read_npy(out, &got_shape);
    if (got_shape != shape || got != want) fail("bands of " + file);
}

// Fixtures with the values GDAL or the script wrote: "width height bands",
// then each row of each band, row by row.
void bands_of_standard_fixtures() {
    std::string dir = g_data + "/standard";
    DIR* listing = opendir(dir.c_str());
    if (!listing) return fail("no fixture folder " + dir);
    int checked = 0;
    while (dirent* entry = readdir(listing)) {
        std::string name = entry->d_name;
        if (name.size() < 8 || name.compare(name.size() - 7, 7, ".values") != 0) continue;
        std::string stem = name.substr(0, name.size() - 7), raster;
        for (const char* suffix : {".bil", ".bip", ".bsq"})
            if (FILE* f = fopen((dir + "/" + stem + suffix).c_str(), "rb")) {
                fclose(f);
                raster = stem + suffix;
            }
        std::ifstream in(dir + "/" + name);
        long width, height, bands;
        in >> width >> height >> bands;
        std::vector<long long> rows;
        for (long long v; in >> v;) rows.push_back(v);
        std::vector<uint32_t> want(static_cast<size_t>(width * height * bands));
        for (long y = 0; y < height; ++y)
            for (long b = 0; b < bands; ++b)
                for (long x = 0; x < width; ++x)
                    want[static_cast<size_t>((b * height + y) * width + x)] =
                        static_cast<uint32_t>(rows.at(static_cast<size_t>((y * bands + b) * width + x)));
        check_bands(dir, raster, want, {bands, height, width});
        ++checked;
    }
    closedir(listing);
    if (checked < 10) fail("too few BIL, BIP and BSQ fixtures: " + std::to_string(checked));
}

// Sun rasters against netpbm's decode: direct colours and greys are the
// samples themselves; indices, through the colour map in the file's header
// (maplength / 3 reds, then greens, then blues after the 32-byte header),
// give netpbm's colours.
void bands_of_sun_rasters() {
    for (const std::string& name : tarntest::sun_fixtures()) {
        tarntest::Pnm ref = tarntest::read_pnm(g_data + "/sunraster/" + name + ".pnm");
        std::vector<unsigned char> ras = tarntest::read_file(g_data + "/sunraster/" + name + ".ras");
        if (ref.width == 0 || ras.size() < 32) continue;
        auto word = [&](int i) { return static_cast<size_t>(ras[4 * i] << 24 | ras[4 * i + 1] << 16 | ras[4 * i + 2] << 8 | ras[4 * i + 3]); };
        const size_t map_colours = word(6) == 1 ? word(7) / 3 : 0;
        if (map_colours == 0) {
            std::vector<uint32_t> want;
            for (int c = 0; c < ref.channels; ++c)
                for (int y = 0; y < ref.height; ++y)
                    for (int x = 0; x < ref.width; ++x) want.push_back(static_cast<uint32_t>(ref.at(x, y, c)));
            check_bands(g_data + "/sunraster", name + ".ras", want, {ref.channels, ref.height, ref.width});
            continue;
        }
        std::string out = g_scratch + "/indices.npy";
        remove(out.c_str());
        run(g_tool + " bands '" + g_data + "/sunraster' '" + name + ".ras' -o '" + out + "'");
        std::vector<long> shape;
        std::vector<uint32_t> indices = read_npy(out, &shape);
        if (shape != std::vector<long>{1, ref.height, ref.width}) {
            fail("bands of " + name + ".ras");
            continue;
        }
        for (int y = 0; y < ref.height; ++y)
            for (int x = 0; x < ref.width; ++x) {
                size_t index = indices[static_cast<size_t>(y * ref.width + x)];
                for (int c = 0; c < ref.channels && index < map_colours; ++c)
                    if (ras[32 + c * map_colours + index] != ref.at(x, y, c))
                        return fail("colour of index at " + std::to_string(x) + "," + std::to_string(y) + " of " + name);
                if (index >= map_colours) return fail("index past the map in " + name);
            }
    }
}

uint32_t bit_pattern(const std::string& type, const std::string& text) {
    double value = strtod(text.c_str(), nullptr);
    if (type == "f32") {
        float f = static_cast<float>(value);
        uint32_t bits;
        memcpy(&bits, &f, 4);
        return bits;
    }
    long long whole = strtoll(text.c_str(), nullptr, 10);
    if (type == "i16") return static_cast<uint16_t>(whole);
    return static_cast<uint32_t>(whole);
}

void values_at_points() {
    std::ifstream in(g_data + "/standard/points.txt");
    std::string line;
    int checked = 0;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string file, type, x, y;
        fields >> file >> type >> x >> y;
        std::string path;
        if (file.compare(0, 8, "samples:") == 0) {
            if (g_samples.empty()) continue;
            path = g_samples + "/" + file.substr(8);
        } else {
            path = g_data + "/" + file;
        }
        size_t slash = path.rfind('/');
        std::string out = run(g_tool + " value '" + path.substr(0, slash) + "' '" +
                              path.substr(slash + 1) + "' " + x + " " + y);
        std::string want, value;
        for (int band = 1; fields >> value; ++band)
            want += "band " + std::to_string(band) + ": " + std::to_string(bit_pattern(type, value)) + "\n";
        if (out != want) fail(file + " at " + x + "," + y + ": got\n" + out + "wanted\n" + want);
        ++checked;
    }
    if (checked < 10) fail("too few points");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: test_band_values TOOL DATA_DIR [SAMPLES_DIR]\n");
        return 2;
    }
    g_tool = argv[1];
    g_data = argv[2];
    if (argc > 3 && tarntest::samples_present()) g_samples = argv[3];
    tarntest::TempDir scratch;
    g_scratch = scratch.path();
    bands_of_standard_fixtures();
    bands_of_sun_rasters();
    values_at_points();
    printf("%s\n", g_failures ? "band values differ" : "band values agree");
    return g_failures ? 1 : 0;
}
