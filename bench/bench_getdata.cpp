// getData throughput, measured as a map host sees it: whole 4096 x 4096 images
// at scales 1, 2 and 8, 512 x 512 clips, and a tile workload of 2000 random
// 256 x 256 requests over an 8192 x 8192 image. Files: Sun rasters (8-bit
// with a palette, 24-bit), BIL (8-bit three bands, 16-bit one band stretched
// by its .stx), TIFF (LZW and Deflate, strips and tiles) and NITF (JPEG in
// 256 x 256 blocks), all of the same
// pixels so that bench/gdal_compare.py can time GDAL on them; libtiff's own
// decode of every strip or tile is timed here as the floor for TIFF. A CADRG
// frame of the shared samples is read when run.sh finds it.
//
// Usage: bench_getdata --keep DIR [benchmark flags]
//        bench_getdata --peak DIR FILE   (one getData at scale 1, then the peak RSS)

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <tarnimage/tarnimage.h>
#include <tiffio.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int kSize = 4096;
constexpr int kLarge = 8192;
constexpr int kTiles = 2000;
std::string g_dir;

void put_be32(std::vector<unsigned char>& out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<unsigned char>(v >> shift));
}

// Band k of pixel (x, y), shared by every file: runs of 8 equal pixels, so
// that compression and run encoding have something to do.
unsigned char sample(int x, int y, int k) {
    int xr = x & ~7;
    return static_cast<unsigned char>((xr * (k + 1) + y * 3 + ((xr ^ y) >> 4)) & 255);
}
uint16_t sample16(int x, int y) { return static_cast<uint16_t>(1000 + sample(x, y, 0) * 37 + (y & 15)); }

// The palette of the 8-bit files: red i, green 255 - i, blue i.
unsigned char palette(int channel, int i) { return static_cast<unsigned char>(channel == 1 ? 255 - i : i); }

void write_file(const std::string& path, const std::vector<unsigned char>& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return;
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
}

void write_sun(const std::string& path, int size, int depth) {
    const int bpp = depth / 8;
    const int row_bytes = (size * bpp + 1) & ~1;
    std::vector<unsigned char> file;
    put_be32(file, 0x59A66A95);
    put_be32(file, size);
    put_be32(file, size);
    put_be32(file, depth);
    put_be32(file, static_cast<uint32_t>(row_bytes) * size);
    put_be32(file, 1);
    put_be32(file, depth == 8 ? 1 : 0);
    put_be32(file, depth == 8 ? 768 : 0);
    if (depth == 8)
        for (int c = 0; c < 3; ++c)
            for (int i = 0; i < 256; ++i) file.push_back(palette(c, i));
    file.reserve(file.size() + static_cast<size_t>(row_bytes) * size);
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < row_bytes / bpp; ++x)
            for (int k = bpp - 1; k >= 0; --k)  // blue, green, red on disk
                file.push_back(bpp == 1 ? sample(x, y, 0) : sample(x, y, k));
    write_file(path, file);
}

// Band interleaved by line, which both readers take from the .bil suffix.
void write_bil(const std::string& stem, int size, int bands, int bits) {
    std::vector<unsigned char> data;
    data.reserve(static_cast<size_t>(size) * size * bands * (bits / 8));
    for (int y = 0; y < size; ++y)
        for (int k = 0; k < bands; ++k)
            for (int x = 0; x < size; ++x) {
                if (bits == 16) {
                    uint16_t v = sample16(x, y);
                    data.push_back(static_cast<unsigned char>(v & 255));
                    data.push_back(static_cast<unsigned char>(v >> 8));
                } else {
                    data.push_back(bands == 1 ? sample(x, y, 0) : sample(x, y, k));
                }
            }
    write_file(stem + ".bil", data);
    FILE* h = std::fopen((stem + ".hdr").c_str(), "w");
    if (!h) return;
    std::fprintf(h, "BYTEORDER I\nLAYOUT BIL\nNROWS %d\nNCOLS %d\nNBANDS %d\nNBITS %d\n", size, size, bands, bits);
    std::fclose(h);
}

void write_clr(const std::string& stem) {
    FILE* f = std::fopen((stem + ".clr").c_str(), "w");
    if (!f) return;
    for (int i = 0; i < 256; ++i) std::fprintf(f, "%d %d %d %d\n", i, palette(0, i), palette(1, i), palette(2, i));
    std::fclose(f);
}

void write_stx(const std::string& stem) {
    FILE* f = std::fopen((stem + ".stx").c_str(), "w");
    if (!f) return;
    std::fprintf(f, "1 1000 10450 5700 2700\n");
    std::fclose(f);
}

void write_tiff(const std::string& path, uint16_t compression, bool tiled) {
    TIFF* t = TIFFOpen(path.c_str(), "w");
    if (!t) return;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, kSize);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, kSize);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 3);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, compression);
    std::vector<unsigned char> row(static_cast<size_t>(kSize) * 3);
    auto fill = [&](int y) {
        for (int x = 0; x < kSize; ++x)
            for (int k = 0; k < 3; ++k) row[static_cast<size_t>(x) * 3 + k] = sample(x, y, k);
    };
    if (tiled) {
        const int side = 256;
        TIFFSetField(t, TIFFTAG_TILEWIDTH, side);
        TIFFSetField(t, TIFFTAG_TILELENGTH, side);
        std::vector<unsigned char> tile(static_cast<size_t>(side) * side * 3);
        for (int ty = 0; ty < kSize; ty += side)
            for (int tx = 0; tx < kSize; tx += side) {
                for (int y = 0; y < side; ++y) {
                    fill(ty + y);
                    std::memcpy(&tile[static_cast<size_t>(y) * side * 3], &row[static_cast<size_t>(tx) * 3],
                                static_cast<size_t>(side) * 3);
                }
                TIFFWriteTile(t, tile.data(), static_cast<uint32_t>(tx), static_cast<uint32_t>(ty), 0, 0);
            }
    } else {
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, 16);
        for (int y = 0; y < kSize; ++y) {
            fill(y);
            TIFFWriteScanline(t, row.data(), static_cast<uint32_t>(y), 0);
        }
    }
    TIFFClose(t);
}

struct Case {
    const char* label;  // what the table calls it
    const char* file;
};
const Case kCases[] = {
    {"sun-palette8", "palette8.ras"},     {"sun-rgb24", "rgb24.ras"},
    {"bil-rgb8", "rgb8.bil"},             {"bil-gray16-stretch", "gray16.bil"},
    {"tiff-lzw-strips", "lzw-strips.tif"}, {"tiff-deflate-strips", "deflate-strips.tif"},
    {"tiff-lzw-tiles", "lzw-tiles.tif"},   {"tiff-deflate-tiles", "deflate-tiles.tif"},
    // Written by bench/make_nitf.py and linked from the shared samples by
    // bench/run.sh; skipped when absent. The JPEG image is decoded once per
    // process, so its figures are those of the reads after the first.
    {"nitf-c3-blocked", "nitf-c3-blocked.ntf"}, {"cadrg", "U_3058B.NTF"},
};

void make_files() {
    auto missing = [](const char* name) { return !fs::exists(g_dir + "/" + name); };
    if (missing("palette8.ras")) write_sun(g_dir + "/palette8.ras", kSize, 8);
    if (missing("rgb24.ras")) write_sun(g_dir + "/rgb24.ras", kSize, 24);
    if (missing("palette8-8192.ras")) write_sun(g_dir + "/palette8-8192.ras", kLarge, 8);
    if (missing("rgb8.bil")) write_bil(g_dir + "/rgb8", kSize, 3, 8);
    if (missing("gray16.bil")) {
        write_bil(g_dir + "/gray16", kSize, 1, 16);
        write_stx(g_dir + "/gray16");
    }
    // GDAL's copies of the paletted pixels (it has no Sun raster reader).
    if (missing("gdal-palette8.bil")) {
        write_bil(g_dir + "/gdal-palette8", kSize, 1, 8);
        write_clr(g_dir + "/gdal-palette8");
    }
    if (missing("gdal-palette8-8192.bil")) {
        write_bil(g_dir + "/gdal-palette8-8192", kLarge, 1, 8);
        write_clr(g_dir + "/gdal-palette8-8192");
    }
    if (missing("lzw-strips.tif")) write_tiff(g_dir + "/lzw-strips.tif", COMPRESSION_LZW, false);
    if (missing("deflate-strips.tif")) write_tiff(g_dir + "/deflate-strips.tif", COMPRESSION_ADOBE_DEFLATE, false);
    if (missing("lzw-tiles.tif")) write_tiff(g_dir + "/lzw-tiles.tif", COMPRESSION_LZW, true);
    if (missing("deflate-tiles.tif")) write_tiff(g_dir + "/deflate-tiles.tif", COMPRESSION_ADOBE_DEFLATE, true);
    // The tile requests, shared with the GDAL side: x y scale, one per line.
    if (missing("tiles.txt")) {
        std::mt19937 random(20261123);
        FILE* f = std::fopen((g_dir + "/tiles.txt").c_str(), "w");
        if (!f) return;
        for (int i = 0; i < kTiles; ++i) {
            const int scale = 1 + static_cast<int>(random() % 16);
            const int span = 256 * scale;
            const int x = static_cast<int>(random() % static_cast<unsigned>(kLarge - span + 1));
            const int y = static_cast<int>(random() % static_cast<unsigned>(kLarge - span + 1));
            std::fprintf(f, "%d %d %d\n", x, y, scale);
        }
        std::fclose(f);
    }
}

struct Opened {
    IInternalImageManager* manager = nullptr;
    IInternalImage* image = nullptr;
    explicit Opened(const char* name) {
        manager = getManager();
        manager->connect(CTarnUString(g_dir.c_str()), CTarnUString(name));
        image = manager->getImage(0);
    }
    ~Opened() {
        if (image) image->release();
        manager->release();
    }
};

// One getData; the output pixels, or -1.
long read_block(IInternalImage* image) {
    long x, y, w, h;
    DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
    if (!block) return -1;
    benchmark::DoNotOptimize(block->data());
    block->release();
    return w * h;
}

void BM_Window(benchmark::State& state, const char* file, double scale, int clip) {
    Opened o(file);
    if (!o.image) {
        state.SkipWithError("image not admitted");
        return;
    }
    if (clip > 0) {
        const long side = o.image->getWidth();
        o.image->setClipRect((side - clip) / 2, (side - clip) / 2, clip, clip);
    }
    o.image->setScale(scale);
    long out_pixels = 0;
    for (auto _ : state) {
        long n = read_block(o.image);
        if (n < 0) {
            state.SkipWithError("getData failed");
            break;
        }
        out_pixels += n;
    }
    state.counters["out_MP/s"] = benchmark::Counter(out_pixels / 1e6, benchmark::Counter::kIsRate);
}

void BM_Tiles(benchmark::State& state) {
    Opened o("palette8-8192.ras");
    std::vector<int> requests;
    if (FILE* f = std::fopen((g_dir + "/tiles.txt").c_str(), "r")) {
        int x, y, s;
        while (std::fscanf(f, "%d %d %d", &x, &y, &s) == 3) requests.insert(requests.end(), {x, y, s});
        std::fclose(f);
    }
    if (!o.image || requests.empty()) {
        state.SkipWithError("no image or no requests");
        return;
    }
    long tiles = 0;
    for (auto _ : state) {
        for (size_t i = 0; i + 2 < requests.size(); i += 3) {
            const int scale = requests[i + 2];
            o.image->setClipRect(requests[i], requests[i + 1], 256 * scale, 256 * scale);
            o.image->setScale(scale);
            if (read_block(o.image) < 0) {
                state.SkipWithError("getData failed");
                return;
            }
            ++tiles;
        }
    }
    state.counters["tiles/s"] = benchmark::Counter(static_cast<double>(tiles), benchmark::Counter::kIsRate);
}

// libtiff's decode of every strip or tile of the file, nothing else.
void BM_LibtiffDecode(benchmark::State& state, const char* file) {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    TIFF* t = TIFFOpen((g_dir + "/" + file).c_str(), "r");
    if (!t) {
        state.SkipWithError("libtiff could not open the file");
        return;
    }
    const bool tiled = TIFFIsTiled(t);
    const tmsize_t size = tiled ? TIFFTileSize(t) : TIFFStripSize(t);
    const uint32_t count = tiled ? TIFFNumberOfTiles(t) : TIFFNumberOfStrips(t);
    std::vector<unsigned char> buffer(static_cast<size_t>(size));
    long pixels = 0;
    for (auto _ : state) {
        for (uint32_t i = 0; i < count; ++i) {
            if (tiled) TIFFReadEncodedTile(t, i, buffer.data(), size);
            else TIFFReadEncodedStrip(t, i, buffer.data(), size);
        }
        benchmark::DoNotOptimize(buffer.data());
        pixels += static_cast<long>(kSize) * kSize;
    }
    TIFFClose(t);
    state.counters["out_MP/s"] = benchmark::Counter(pixels / 1e6, benchmark::Counter::kIsRate);
}

int peak(const std::string& dir, const char* file) {
    g_dir = dir;
    long before_kb, after_kb;
    rusage usage;
    {
        Opened o(file);
        if (!o.image) return 1;
        getrusage(RUSAGE_SELF, &usage);
        before_kb = usage.ru_maxrss;
        long x, y, w, h;
        DirectMemoryHolder* block = o.image->getData(&x, &y, &w, &h);
        if (!block) return 1;
        getrusage(RUSAGE_SELF, &usage);
        after_kb = usage.ru_maxrss;
        std::printf("%s block %.1f MB, peak RSS %.1f MB before getData, %.1f MB after (%.1f MB above the block)\n",
                    file, w * h * 4 / 1048576.0, before_kb / 1024.0, after_kb / 1024.0,
                    (after_kb - before_kb) / 1024.0 - w * h * 4 / 1048576.0);
        block->release();
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--peak") == 0) return peak(argv[2], argv[3]);
    // A map host holds its manager for its whole life; so does this run.
    IInternalImageManager* host = getManager();
    std::string keep;
    std::vector<char*> rest = {argv[0]};
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--keep") == 0 && i + 1 < argc) keep = argv[++i];
        else rest.push_back(argv[i]);
    }
    g_dir = keep.empty() ? (fs::temp_directory_path() / "tarn-bench").string() : keep;
    fs::create_directories(g_dir);
    make_files();
    for (const Case& c : kCases) {
        for (double scale : {1.0, 2.0, 8.0})
            benchmark::RegisterBenchmark(
                (std::string("getData/") + c.label + "/scale" + std::to_string(int(scale))).c_str(),
                [file = c.file, scale](benchmark::State& s) { BM_Window(s, file, scale, 0); })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        benchmark::RegisterBenchmark((std::string("clip512/") + c.label + "/scale1").c_str(),
                                     [file = c.file](benchmark::State& s) { BM_Window(s, file, 1.0, 512); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    for (const Case& c : kCases)
        if (std::strstr(c.file, ".tif"))
            benchmark::RegisterBenchmark((std::string("libtiff/") + c.label).c_str(),
                                         [file = c.file](benchmark::State& s) { BM_LibtiffDecode(s, file); })
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
    benchmark::RegisterBenchmark("tiles/sun-palette8-8192", BM_Tiles)->Unit(benchmark::kMillisecond)->UseRealTime();
    int count = static_cast<int>(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (keep.empty()) fs::remove_all(g_dir);
    host->release();
    return 0;
}
