// getData throughput on large Sun rasters: 4096 x 4096, 8-bit with a palette
// and 24-bit, plain and run-encoded, whole image at scales 1, 2 and 8.
// Reports megapixels per second of output, and of the input rows that the
// scale makes the stream read. Usage: bench_getdata [--keep DIR] [benchmark flags]

#include <benchmark/benchmark.h>
#include <tarnimage/tarnimage.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kSize = 4096;
std::string g_dir;

void put_be32(std::vector<unsigned char>& out, uint32_t v) {
    out.push_back(static_cast<unsigned char>(v >> 24));
    out.push_back(static_cast<unsigned char>(v >> 16));
    out.push_back(static_cast<unsigned char>(v >> 8));
    out.push_back(static_cast<unsigned char>(v));
}

// Pixel content shared with the GDAL comparison (bench/gdal_compare.py makes
// the same values): band k of pixel (x, y) is (x * (k + 1) + y * 3 + (x ^ y) / 16) & 255,
// with runs of equal values so that run encoding has something to do.
unsigned char sample(int x, int y, int k) {
    int xr = x & ~7;  // runs of 8 equal pixels
    return static_cast<unsigned char>((xr * (k + 1) + y * 3 + ((xr ^ y) >> 4)) & 255);
}

// Sun run encoding: 0x80 escapes; runs of 3 or more become 0x80, n-1, value.
void encode_rle(const std::vector<unsigned char>& in, std::vector<unsigned char>& out) {
    size_t i = 0;
    while (i < in.size()) {
        size_t run = 1;
        while (i + run < in.size() && in[i + run] == in[i] && run < 256) ++run;
        if (run >= 3 || in[i] == 0x80) {
            if (in[i] == 0x80 && run < 3) {
                for (size_t k = 0; k < run; ++k) {
                    out.push_back(0x80);
                    out.push_back(0);
                }
            } else {
                out.push_back(0x80);
                out.push_back(static_cast<unsigned char>(run - 1));
                out.push_back(in[i]);
            }
        } else {
            for (size_t k = 0; k < run; ++k) out.push_back(in[i]);
        }
        i += run;
    }
}

void write_raster(const std::string& path, int depth, bool rle) {
    int bpp = depth / 8;
    int row_bytes = (kSize * bpp + 1) & ~1;
    std::vector<unsigned char> data;
    data.reserve(static_cast<size_t>(row_bytes) * kSize);
    for (int y = 0; y < kSize; ++y)
        for (int x = 0; x < row_bytes / bpp; ++x)
            for (int k = bpp - 1; k >= 0; --k)  // blue, green, red on disk
                data.push_back(bpp == 1 ? sample(x, y, 0) : sample(x, y, k));
    std::vector<unsigned char> body;
    if (rle) encode_rle(data, body);
    else body.swap(data);
    std::vector<unsigned char> file;
    put_be32(file, 0x59A66A95);
    put_be32(file, kSize);
    put_be32(file, kSize);
    put_be32(file, depth);
    put_be32(file, static_cast<uint32_t>(body.size()));
    put_be32(file, rle ? 2 : 1);
    put_be32(file, depth == 8 ? 1 : 0);
    put_be32(file, depth == 8 ? 768 : 0);
    if (depth == 8)
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 256; ++i) file.push_back(static_cast<unsigned char>(c == 1 ? 255 - i : i));
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    std::fwrite(file.data(), 1, file.size(), f);
    std::fwrite(body.data(), 1, body.size(), f);
    std::fclose(f);
}

// The same pixels as an EHdr raster that GDAL reads (band interleaved by pixel,
// red, green, blue), for the comparison in gdal_compare.py.
void write_ehdr(const std::string& stem, int bands) {
    FILE* f = std::fopen((stem + ".bil").c_str(), "wb");
    if (!f) return;
    std::vector<unsigned char> row(static_cast<size_t>(kSize) * bands);
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x)
            for (int k = 0; k < bands; ++k) row[static_cast<size_t>(x) * bands + k] = sample(x, y, k);
        std::fwrite(row.data(), 1, row.size(), f);
    }
    std::fclose(f);
    FILE* h = std::fopen((stem + ".hdr").c_str(), "w");
    if (!h) return;
    std::fprintf(h, "BYTEORDER I\nLAYOUT BIP\nNROWS %d\nNCOLS %d\nNBANDS %d\nNBITS 8\n"
                    "BANDROWBYTES %d\nTOTALROWBYTES %d\n",
                 kSize, kSize, bands, kSize, kSize * bands);
    std::fclose(h);
}

void BM_GetData(benchmark::State& state, const char* name, double scale) {
    IInternalImageManager* manager = getManager();
    manager->connect(CTarnUString(g_dir.c_str()), CTarnUString(name));
    IInternalImage* image = manager->getImage(0);
    if (!image) {
        state.SkipWithError("image not admitted");
        manager->release();
        return;
    }
    image->setScale(scale);
    long out_pixels = 0, rows_read = 0;
    for (auto _ : state) {
        long x, y, w, h;
        DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
        if (!block) {
            state.SkipWithError("getData failed");
            break;
        }
        benchmark::DoNotOptimize(block->data());
        out_pixels += w * h;
        rows_read += h < kSize ? h : kSize;  // one image row per output row at scale >= 1
        block->release();
    }
    state.counters["out_MP/s"] = benchmark::Counter(out_pixels / 1e6, benchmark::Counter::kIsRate);
    state.counters["in_MP/s"] =
        benchmark::Counter(static_cast<double>(rows_read) * kSize / 1e6, benchmark::Counter::kIsRate);
    image->release();
    manager->release();
}

}  // namespace

int main(int argc, char** argv) {
    std::string keep;
    std::vector<char*> rest = {argv[0]};
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--keep") == 0 && i + 1 < argc) keep = argv[++i];
        else rest.push_back(argv[i]);
    }
    g_dir = keep.empty() ? (fs::temp_directory_path() / "tarn-bench").string() : keep;
    fs::create_directories(g_dir);
    const struct { const char* name; int depth; bool rle; } files[] = {
        {"palette8.ras", 8, false}, {"palette8-rle.ras", 8, true},
        {"rgb24.ras", 24, false},   {"rgb24-rle.ras", 24, true}};
    for (const auto& f : files) {
        std::string path = g_dir + "/" + f.name;
        if (!fs::exists(path)) write_raster(path, f.depth, f.rle);
    }
    if (!fs::exists(g_dir + "/gdal-gray8.bil")) write_ehdr(g_dir + "/gdal-gray8", 1);
    if (!fs::exists(g_dir + "/gdal-rgb24.bil")) write_ehdr(g_dir + "/gdal-rgb24", 3);
    for (const auto& f : files)
        for (double scale : {1.0, 2.0, 8.0})
            benchmark::RegisterBenchmark(
                (std::string("getData/") + f.name + "/scale" + std::to_string(int(scale))).c_str(),
                [name = f.name, scale](benchmark::State& s) { BM_GetData(s, name, scale); })
                ->Unit(benchmark::kMillisecond);
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (keep.empty()) fs::remove_all(g_dir);
    return 0;
}
