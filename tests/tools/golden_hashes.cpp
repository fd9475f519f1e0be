// golden_hashes: prints one line for every property, block and row the library
// gives for the files of the directories named on the command line, through
// the objects and through the flat channel interface. Blocks and rows appear as
// 64-bit FNV-1a hashes. Paths are printed relative to the directory given, so
// the output can be compared with a committed record wherever the tree lives.
//
// usage: golden_hashes ROOT DIR...   (each DIR relative to ROOT)

#include <tarnimage/channel.h>
#include <tarnimage/naming.h>
#include <tarnimage/properties.h>
#include <tarnimage/tarnimage.h>
#include <tarnimage/udf.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

uint64_t fnv1a(const void* data, size_t length, uint64_t hash = 14695981039346656037ull) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < length; ++i) hash = (hash ^ p[i]) * 1099511628211ull;
    return hash;
}

// Every line starts with the file it is about, relative to the directory given.
std::string g_prefix;

void line(const char* format, ...) __attribute__((format(printf, 1, 2)));
void line(const char* format, ...) {
    std::printf("%s ", g_prefix.c_str());
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fputc('\n', stdout);
}

// Quoted, with the directory stripped so that no absolute path reaches the output.
std::string utf8(const CTarnUString& text, const std::string& dir) {
    if (text.isBogus()) return "<bogus>";
    std::string s = text.toUTF8();
    if (s.compare(0, dir.size(), dir) == 0)
        s = "<dir>/" + s.substr(std::min(s.find_first_not_of('/', dir.size()), s.size()));
    return "\"" + s + "\"";
}

struct Request {
    const char* label;
    long x, y, width, height;
    double scale;
};

// The clip rectangles and scales asked of every image, relative to its size:
// whole images at several scales, inner clips, clips past the edges, single
// pixels and empty clips.
std::vector<Request> requests(long w, long h) {
    return {{"full", 0, 0, w, h, 1.0}, {"full", 0, 0, w, h, 0.5}, {"full", 0, 0, w, h, 2.0},
            {"full", 0, 0, w, h, 3.7}, {"full", 0, 0, w, h, 8.0}, {"full", 0, 0, w, h, 0.25},
            {"full", 0, 0, w, h, 1000.0}, {"centre", w / 4, h / 4, w / 2, h / 2, 1.0},
            {"centre", w / 4, h / 4, w / 2, h / 2, 1.5}, {"past-edge", w / 2, h / 2, w, h, 1.0},
            {"past-edge", w / 3, h / 3, w, h, 0.75}, {"before-origin", -3, -2, w, h, 1.0},
            {"pixel-first", 0, 0, 1, 1, 1.0}, {"pixel-last", w - 1, h - 1, 1, 1, 1.0},
            {"pixel-last", w - 1, h - 1, 1, 1, 0.25}, {"pixel-middle", w / 2, h / 2, 1, 1, 3.0},
            {"empty", 0, 0, 0, 0, 1.0}, {"empty-width", 0, 0, 0, h, 1.0},
            {"outside", w + 2, h + 2, 5, 5, 1.0}, {"full", 0, 0, w, h, 0.0},
            {"full", 0, 0, w, h, -1.0}};
}

void report_block(IInternalImage* image, const char* what, const Request& r) {
    image->setClipRect(r.x, r.y, r.width, r.height);
    image->setScale(r.scale);
    long cx = -1, cy = -1, cw = -1, ch = -1, bw = -1, bh = -1;
    image->getResultRect(&cx, &cy, &cw, &ch);
    image->getBlockSize(&bw, &bh);
    long x = -1, y = -1, width = -1, height = -1;
    DirectMemoryHolder* holder = image->getData(&x, &y, &width, &height);
    char result[160];
    if (!holder) {
        std::snprintf(result, sizeof result, "null %ld %ld %ld %ld", x, y, width, height);
    } else {
        std::snprintf(result, sizeof result, "%ld %ld %ld %ld len %ld type %d hash %016llx", x, y,
                      width, height, holder->length(), holder->getType(),
                      static_cast<unsigned long long>(fnv1a(holder->data(),
                                                            static_cast<size_t>(holder->length()))));
        holder->release();
    }
    line("%s getData %s(%ld,%ld,%ld,%ld) scale %.17g clip %ld %ld %ld %ld block %ld %ld -> %s more %ld",
         what, r.label, r.x, r.y, r.width, r.height, r.scale, cx, cy, cw, ch, bw, bh, result,
         image->hasMore());
    image->reset();
}

// Registered drivers' codes depend on how often drivers were registered in
// the process; the record names them by keyword instead.
std::string type_text(long type) {
    if (type <= 1000) return std::to_string(type);
    char keyword[64];
    return II_GetUDFKeyword(static_cast<uint32_t>(type), keyword, sizeof keyword) >= 0
               ? std::string("udf:") + keyword
               : std::string("udf:unregistered");
}

void report_image(IInternalImage* image, const char* what, const std::string& dir,
                  bool all_requests) {
    long bands = image->getBandCount();
    line("%s name %s type %s size %ld %ld bands %ld depth %ld pixel %ld scalable %ld fetch %ld "
         "stat %ld %ld", what, utf8(image->getName(), dir).c_str(), type_text(image->getType()).c_str(),
         image->getWidth(), image->getHeight(), bands, image->getPixelDepth(0L),
         image->getPixelDepth(), image->canBeScaled(), image->getFetchModes(),
         image->hasStatistic(), image->getStatistic(0));
    for (long b = 0; b < std::min(bands, 8L); ++b)
        line("%s band %ld name %s depth %ld", what, b, utf8(image->getBandName(b), dir).c_str(),
             image->getPixelDepth(b));
    double g[6] = {-1, -1, -1, -1, -1, -1};
    bool geo = image->isGeoReferenced();
    image->getGeoReference(&g[0], &g[1], &g[2], &g[3], &g[4], &g[5]);
    line("%s geo %d %.17g %.17g %.17g %.17g %.17g %.17g projection %s", what, geo ? 1 : 0, g[0],
         g[1], g[2], g[3], g[4], g[5], utf8(image->getProjectionParameters(), dir).c_str());
    ITarnRasterColorMap* map = image->getColorMap();
    line("%s colormap %s", what, map ? "present" : "null");
    if (map) {
        long count = map->getLookupCount();
        uint64_t hash = fnv1a(&count, sizeof count);
        for (long i = 0; i < count; ++i) {
            double low = 0, high = 0;
            unsigned char rgba[4] = {0, 0, 0, 0};
            int kind = 0;
            CTarnUString label;
            long res = map->getLookup(i, low, high, rgba[0], rgba[1], rgba[2], rgba[3], kind, label);
            std::string text = utf8(label, dir);
            double values[2] = {low, high};
            long ints[2] = {res, kind};
            hash = fnv1a(values, sizeof values, fnv1a(ints, sizeof ints, fnv1a(rgba, 4, hash)));
            hash = fnv1a(text.data(), text.size(), hash);
        }
        line("%s colormap lookups %ld hash %016llx", what, count,
             static_cast<unsigned long long>(hash));
        map->release();
    }
    int wanted[1] = {1};
    IInternalRStreamCollection* streams = image->getStreams(wanted, 1);
    line("%s streams %s", what, streams ? "present" : "null");
    if (streams) line("%s streams count %ld", what, streams->getCount());
    if (streams) streams->release();
    // An image from the directory listing gets the whole-image block only; the
    // connection to its single file asks for every other request.
    std::vector<Request> all = requests(image->getWidth(), image->getHeight());
    if (!all_requests) all.resize(1);
    for (const Request& r : all) report_block(image, what, r);
    IInternalImage* copy = image->clone();
    if (copy) {
        long c[4] = {-1, -1, -1, -1};
        copy->getResultRect(&c[0], &c[1], &c[2], &c[3]);
        line("%s clone type %s clip %ld %ld %ld %ld", what, type_text(copy->getType()).c_str(), c[0], c[1], c[2], c[3]);
        copy->release();
    }
}

// Connects one manager to dir (and file, when not empty) and reports what it admits.
void report_connection(const std::string& dir, const std::string& file, long* type) {
    IInternalImageManager* manager = getManager();
    bool ok = manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
    long count = manager->getImageCount();
    line("connect %d count %ld connect-string %s options %s", ok ? 1 : 0, count,
         utf8(manager->getConnectString(), dir).c_str(),
         utf8(manager->getOptionsString(), dir).c_str());
    for (long i = 0; i < count; ++i) {
        const std::string saved = g_prefix;
        if (file.empty()) g_prefix += " [" + std::to_string(i) + "]";
        line("image-name %s", utf8(manager->getImageName(i), dir).c_str());
        IInternalImage* found = manager->findImage(manager->getImageName(i));
        line("find %s", found ? "found" : "null");
        if (found) found->release();
        IInternalImage* image = manager->getImage(i);
        if (!image) line("getImage null");
        if (image && type && i == 0) *type = image->getType();
        if (image) report_image(image, file.empty() ? "dir" : "file", dir, !file.empty());
        if (image) image->release();
        g_prefix = saved;
    }
    IInternalImage* past = manager->getImage(count);
    line("getImage past-end %s", past ? "present" : "null");
    if (past) past->release();
    manager->release();
}

void report_channel(const std::string& path, int type) {
    const char* p = path.c_str();
    int rows = -1, columns = -1, bands = -1, depth = -1;
    int res = get_image_info(type, p, &rows, &columns, &bands, &depth);
    line("channel type %s info %d rows %d columns %d bands %d depth %d", type_text(type).c_str(), res, rows, columns,
         bands, depth);
    rows = columns = bands = depth = -1;
    res = get_image_extent(type, p, &rows, &columns);
    line("channel type %s extent %d rows %d columns %d", type_text(type).c_str(), res, rows, columns);
    res = get_image_nbands(type, p, &bands);
    line("channel type %s nbands %d bands %d", type_text(type).c_str(), res, bands);
    res = get_image_depth(type, p, &depth);
    line("channel type %s depth %d depth %d", type_text(type).c_str(), res, depth);
    for (int band : {0, 1, 2, 3, 4}) {
        if (band > 1 && band > bands + 1) break;  // one past the bands the file claims
        Image* image = static_cast<Image*>(std::calloc(1, sizeof(Image)));
        int opened = open_image_channel(image, p, 'r', type, band);
        line("channel type %s band %d open %d", type_text(type).c_str(), band, opened);
        if (opened != 1) { std::free(image); continue; }
        int n = image_rows(image), c = image_columns(image), nb = image_nbands(image);
        line("channel type %s band %d rows %d columns %d bandgap %d depth %d nbands %d type %s "
             "multi %d runio %d", type_text(type).c_str(), band, n, c, image_bandgap(image), image_depth(image), nb,
             type_text(image_type(image)).c_str(), multi_I_band(image), runio_I_image(image));
        // Fixtures are small; a header claiming more is read only as far as this.
        const int capacity = static_cast<int>(
            std::min<long long>(1LL * std::max(c, 1) * std::max(nb, 1), 1 << 20));
        n = std::min(n, 4096);
        std::vector<uint32_t> row32(static_cast<size_t>(capacity));
        std::vector<uint8_t> row8(static_cast<size_t>(capacity));
        for (int r = -1; r <= n; ++r) {
            std::fill(row32.begin(), row32.end(), 0xA5A5A5A5u);
            std::fill(row8.begin(), row8.end(), 0xA5);
            int res32 = get_image_row(image, r, row32.data(), capacity);
            int res8 = get_image_row8(image, r, row8.data(), capacity);
            line("channel type %s band %d row %d get_image_row %d %016llx get_image_row8 %d %016llx",
                 type_text(type).c_str(), band, r, res32,
                 static_cast<unsigned long long>(fnv1a(row32.data(), row32.size() * 4)), res8,
                 static_cast<unsigned long long>(fnv1a(row8.data(), row8.size())));
        }
        const size_t entries = static_cast<size_t>(std::max(image->colormap.ncolors, 0)) + 2;
        std::vector<uint8_t> red(entries, 0xA5), green(entries, 0xA5), blue(entries, 0xA5);
        int first = -99, last = -99;
        int mapped = get_image_colormap(image, &first, &last, red.data(), green.data(), blue.data());
        uint64_t hash = fnv1a(blue.data(), entries, fnv1a(green.data(), entries,
                                                          fnv1a(red.data(), entries)));
        line("channel type %s band %d colors %d colormap %d first %d last %d hash %016llx", type_text(type).c_str(),
             band, image_colors(image), mapped, first, last, static_cast<unsigned long long>(hash));
        int rewound = image_channel_rewind(image);
        line("channel type %s band %d rewind %d close %d", type_text(type).c_str(), band, rewound, close_image_channel(image, 'r'));
    }
}

void report_directory(const std::string& dir) {
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(dir, error))
        if (entry.is_regular_file()) files.push_back(entry.path().filename().string());
    std::sort(files.begin(), files.end());
    g_prefix = "<dir>";
    report_connection(dir, "", nullptr);
    for (const std::string& file : files) {
        g_prefix = file;
        long object_type = -1;
        report_connection(dir, file, &object_type);
        // Files no object admits are still put to the channel as their suffix says.
        std::string::size_type dot = file.rfind('.');
        int suffix_type = dot == std::string::npos ? -1 : get_type_from_extension(file.c_str() + dot + 1);
        line("types object %s suffix %d suffname %d", type_text(object_type).c_str(), suffix_type,
             suffname(file.c_str()));
        const std::string path = dir + "/" + file;
        if (object_type > 0) report_channel(path, static_cast<int>(object_type));
        if (suffix_type > 0 && suffix_type != object_type) report_channel(path, suffix_type);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: golden_hashes ROOT DIR...\n");
        return 2;
    }
    // One manager lives through the run, so the registered drivers keep their
    // codes and the channel reports reach them too.
    IInternalImageManager* keeper = getManager();
    for (int i = 2; i < argc; ++i) {
        std::string dir = std::string(argv[1]) + "/" + argv[i];
        while (dir.size() > 1 && dir.back() == '/') dir.pop_back();
        std::printf("== %s\n", argv[i]);
        report_directory(dir);
    }
    keeper->release();
    return 0;
}
