// tarnimage: a command-line host of the library. It uses nothing but the
// public headers (getManager, the interfaces, the naming calls), as any map
// server would.

#include <tarnimage/formats.h>
#include <tarnimage/naming.h>
#include <tarnimage/tarnimage.h>
#include <tarnimage/udf.h>

#include "cli_support.h"

#include <png.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

const char kUsage[] =
    "usage: tarnimage [-v] COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  info DIR [FILE] [--json]\n"
    "      Connect to directory DIR (or to FILE inside it) and list every image\n"
    "      admitted: name, type code and name, width, height, bands, depth in\n"
    "      bits, and whether it is georeferenced with the six numbers of its\n"
    "      georeference: a b c d e f with x = a*col + b*row + c and\n"
    "      y = d*col + e*row + f at pixel centres. With --json, print a JSON\n"
    "      array of objects with the keys name, type, type_name, width,\n"
    "      height, bands, depth, georeferenced and geotransform, or [] when\n"
    "      nothing is admitted. The type name is the format's keyword: the\n"
    "      built-in one for codes up to 1000 (SUNRASTER, ERDAS, BIL, BIP, BSQ,\n"
    "      BMP, ...), and for a registered driver (codes above 1000) the\n"
    "      keyword it registered with (gif, SRP, ArcDRG, CADRG, CIB, JPG, NITF,\n"
    "      TIFF6, ERDAS Imagine); null in JSON when the code has none.\n"
    "  render DIR FILE [--clip X,Y,W,H] [--scale S] [--max-pixels N]\n"
    "         -o OUT.png|OUT.rgba|OUT.npy\n"
    "      Read the RGBA block of one image, over the clip rectangle (image\n"
    "      pixels; default the whole image) at scale S (source pixels per\n"
    "      output pixel; default 1), and write it as an RGBA PNG, as raw\n"
    "      bytes R, G, B, A when OUT ends in .rgba, or as a NumPy array of\n"
    "      uint8 with shape (height, width, 4) when OUT ends in .npy. Prints\n"
    "      the result rectangle as: result X Y W H. A block of more than N\n"
    "      pixels (default 268435456) is refused before it is read.\n"
    "  value DIR FILE X Y [--json]\n"
    "      Print, for every band, the raw value its band stream gives at image\n"
    "      pixel (X, Y): the stored bit pattern as an unsigned number (signed\n"
    "      and float samples are not converted). With --json, an array of\n"
    "      {band, depth_code, value}; depth codes 3, 5 and 7 are 8-, 16- and\n"
    "      32-bit samples.\n"
    "  bands DIR FILE [--band N] [--clip X,Y,W,H] -o OUT.raw|OUT.npy\n"
    "      Write the raw values of every band (or band N) over the clip, band\n"
    "      after band, rows top to bottom, one sample a pixel in host byte\n"
    "      order: unsigned 8-bit up to 8 bits, 16-bit for 16, 32-bit above.\n"
    "      .npy is NumPy's format with shape (bands, rows, columns).\n"
    "  formats [--json]\n"
    "      List every format the library knows: type code, keyword, suffix\n"
    "      and description; the built-in ones by type code, then the\n"
    "      registered drivers with the codes they got in this process.\n"
    "  --version\n"
    "      Print the version.\n"
    "  --help, help\n"
    "      Print this text.\n"
    "\n"
    "options:\n"
    "  -v  Print every message of the library on stderr, also why a file is\n"
    "      not an image at all. Without it, only why a file cannot be read\n"
    "      and how much of a block is missing.\n"
    "\n"
    "Exit status: 0 on success; 1 when no image was admitted, the directory\n"
    "does not exist, the block is too large or cannot be written, or no row\n"
    "of the block could be read; 2 on a usage error; 3 when some rows of the\n"
    "block could not be read (the block is written all the same).\n";

// The library's messages, as a host sees them: printed on stderr, and the
// count of unread rows that a getData reports kept for the exit status.
struct Messages {
    bool verbose = false;
    long unread = -1;
    long total = -1;
};
Messages g_messages;

const char kUnreadRows[] = " rows could not be read";

void on_message(int level, const char* text, void* user) {
    Messages* messages = static_cast<Messages*>(user);
    if (level == TARN_MESSAGE_WARNING) {
        // "PATH: N of M rows could not be read"
        size_t length = std::strlen(text), tail = sizeof kUnreadRows - 1;
        const char* numbers = std::strrchr(text, ':');
        long unread = 0, total = 0;
        if (length > tail && std::strcmp(text + length - tail, kUnreadRows) == 0 && numbers &&
            std::sscanf(numbers + 1, " %ld of %ld", &unread, &total) == 2) {
            messages->unread = unread;
            messages->total = total;
        }
    }
    if (level == TARN_MESSAGE_INFORMATION && !messages->verbose) return;
    std::fprintf(stderr, "tarnimage: %s\n", text);
}

struct Released {
    void operator()(ITarnRefCnt* object) const {
        if (object) object->release();
    }
};

struct ImageFacts {
    std::string name;
    long type = -1;
    std::string type_name;
    long width = 0, height = 0, bands = 0, depth = 0;
    bool georeferenced = false;
    double geo[6] = {0, 0, 0, 0, 0, 0};
};

ImageFacts facts_of(IInternalImage* image) {
    ImageFacts f;
    f.name = image->getName().toUTF8();
    f.type = image->getType();
    // Registered drivers' keywords live in the registry, which is filled only
    // while a manager is alive.
    char keyword[64];
    if (f.type > 1000 ? II_GetUDFKeyword(static_cast<uint32_t>(f.type), keyword, sizeof keyword) >= 0
                      : keyword_from_type(keyword, static_cast<int>(f.type)) == 1)
        f.type_name = keyword;
    f.width = image->getWidth();
    f.height = image->getHeight();
    f.bands = image->getBandCount();
    f.depth = image->getPixelDepth(0L);
    f.georeferenced = image->isGeoReferenced();
    image->getGeoReference(&f.geo[0], &f.geo[1], &f.geo[2], &f.geo[3], &f.geo[4], &f.geo[5]);
    return f;
}

int command_info(const std::vector<std::string>& args) {
    bool json = false;
    std::vector<std::string> positional;
    for (const std::string& arg : args) {
        if (arg == "--json") json = true;
        else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "tarnimage: unknown option %s for info\n", arg.c_str());
            return 2;
        } else positional.push_back(arg);
    }
    if (positional.empty() || positional.size() > 2) {
        std::fprintf(stderr, "tarnimage: info needs DIR and at most one FILE (see --help)\n");
        return 2;
    }
    const std::string& dir = positional[0];
    if (!is_directory(dir)) {
        std::fprintf(stderr, "tarnimage: %s: no such directory\n", dir.c_str());
        return 1;
    }
    IInternalImageManager* manager = getManager();
    if (!manager) {
        std::fprintf(stderr, "tarnimage: the library could not start\n");
        return 1;
    }
    CTarnUString file(positional.size() > 1 ? positional[1].c_str() : "");
    manager->connect(CTarnUString(dir.c_str()), file);
    std::vector<ImageFacts> all;
    for (long i = 0; i < manager->getImageCount(); ++i) {
        IInternalImage* image = manager->getImage(i);
        if (!image) continue;
        all.push_back(facts_of(image));
        image->release();
    }
    manager->release();
    if (all.empty()) {
        if (json) std::printf("[]\n");
        std::fprintf(stderr, "tarnimage: no image admitted from %s%s%s\n", dir.c_str(),
                     positional.size() > 1 ? "/" : "",
                     positional.size() > 1 ? positional[1].c_str() : "");
        return 1;
    }
    if (json) {
        std::printf("[");
        for (size_t i = 0; i < all.size(); ++i) {
            const ImageFacts& f = all[i];
            std::printf("%s\n  {\"name\": \"%s\", \"type\": %ld, \"type_name\": %s, "
                        "\"width\": %ld, \"height\": %ld, \"bands\": %ld, \"depth\": %ld, "
                        "\"georeferenced\": %s, \"geotransform\": ",
                        i ? "," : "", json_escape(f.name).c_str(), f.type,
                        f.type_name.empty() ? "null"
                                            : ("\"" + json_escape(f.type_name) + "\"").c_str(),
                        f.width, f.height, f.bands, f.depth, f.georeferenced ? "true" : "false");
            if (f.georeferenced) {
                std::printf("[");
                for (int k = 0; k < 6; ++k)
                    std::printf("%s%s", k ? ", " : "", json_number(f.geo[k]).c_str());
                std::printf("]}");
            } else {
                std::printf("null}");
            }
        }
        std::printf("\n]\n");
    } else {
        for (const ImageFacts& f : all) {
            std::printf("%s  type %ld%s%s  %ldx%ld  bands %ld  depth %ld", f.name.c_str(), f.type,
                        f.type_name.empty() ? "" : " ", f.type_name.c_str(), f.width, f.height,
                        f.bands, f.depth);
            if (f.georeferenced)
                std::printf("  geotransform %.17g %.17g %.17g %.17g %.17g %.17g\n", f.geo[0],
                            f.geo[1], f.geo[2], f.geo[3], f.geo[4], f.geo[5]);
            else
                std::printf("  not georeferenced\n");
        }
    }
    return 0;
}

bool write_png(const std::string& path, const unsigned char* rgba, long width, long height) {
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool ok = false;
    if (png && info && !setjmp(png_jmpbuf(png))) {
        png_init_io(png, out);
        png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height),
                     8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        for (long r = 0; r < height; ++r)
            png_write_row(png, const_cast<png_bytep>(rgba + static_cast<size_t>(r) * width * 4));
        png_write_end(png, nullptr);
        ok = true;
    }
    png_destroy_write_struct(png ? &png : nullptr, info ? &info : nullptr);
    return std::fclose(out) == 0 && ok;
}

bool write_raw(const std::string& path, const unsigned char* rgba, long width, long height) {
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out) return false;
    size_t bytes = static_cast<size_t>(width) * height * 4;
    bool ok = std::fwrite(rgba, 1, bytes, out) == bytes;
    return std::fclose(out) == 0 && ok;
}

// The block's side as the library will make it: the clip side over the
// scale, cut to a whole pixel.
double block_side(long clip, double scale) { return std::floor(static_cast<double>(clip) / scale); }

int command_render(const std::vector<std::string>& args) {
    std::vector<std::string> positional;
    std::string output;
    bool has_clip = false;
    long clip[4] = {0, 0, 0, 0};
    double scale = 1.0;
    long long max_pixels = 268435456;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        auto value = [&](const char* option) -> const std::string* {
            if (i + 1 >= args.size()) {
                std::fprintf(stderr, "tarnimage: %s needs a value\n", option);
                return nullptr;
            }
            return &args[++i];
        };
        if (arg == "--clip") {
            const std::string* v = value("--clip");
            if (!v) return 2;
            if (!parse_long_list(*v, clip, 4)) {
                std::fprintf(stderr, "tarnimage: --clip wants X,Y,W,H, got %s\n", v->c_str());
                return 2;
            }
            has_clip = true;
        } else if (arg == "--scale") {
            const std::string* v = value("--scale");
            if (!v) return 2;
            char* end = nullptr;
            scale = std::strtod(v->c_str(), &end);
            if (end == v->c_str() || *end || !(scale > 0) || !std::isfinite(scale)) {
                std::fprintf(stderr, "tarnimage: --scale wants a positive number, got %s\n",
                             v->c_str());
                return 2;
            }
        } else if (arg == "--max-pixels") {
            const std::string* v = value("--max-pixels");
            if (!v) return 2;
            char* end = nullptr;
            errno = 0;
            max_pixels = std::strtoll(v->c_str(), &end, 10);
            if (end == v->c_str() || *end || errno || max_pixels < 1) {
                std::fprintf(stderr, "tarnimage: --max-pixels wants a positive whole number, got %s\n",
                             v->c_str());
                return 2;
            }
        } else if (arg == "-o" || arg == "--output") {
            const std::string* v = value("-o");
            if (!v) return 2;
            output = *v;
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "tarnimage: unknown option %s for render\n", arg.c_str());
            return 2;
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() != 2 || output.empty()) {
        std::fprintf(stderr, "tarnimage: render needs DIR, FILE and -o OUT (see --help)\n");
        return 2;
    }
    enum { kPng, kRaw, kNpy } form;
    if (ends_with(output, ".png")) form = kPng;
    else if (ends_with(output, ".rgba")) form = kRaw;
    else if (ends_with(output, ".npy")) form = kNpy;
    else {
        std::fprintf(stderr, "tarnimage: %s: the output name must end in .png, .rgba or .npy\n",
                     output.c_str());
        return 2;
    }
    if (!is_directory(positional[0])) {
        std::fprintf(stderr, "tarnimage: %s: no such directory\n", positional[0].c_str());
        return 1;
    }
    const std::string& dir = positional[0];
    const std::string path = dir + (dir.back() == '/' ? "" : "/") + positional[1];
    IInternalImageManager* manager = getManager();
    if (!manager) {
        std::fprintf(stderr, "tarnimage: the library could not start\n");
        return 1;
    }
    manager->connect(CTarnUString(positional[0].c_str()), CTarnUString(positional[1].c_str()));
    IInternalImage* image = manager->getImage(0);
    if (!image) {
        manager->release();
        std::fprintf(stderr, "tarnimage: %s: not admitted as an image\n", path.c_str());
        return 1;
    }
    // The clip as the image object pins it to the image.
    long width = image->getWidth(), height = image->getHeight();
    long cx = 0, cy = 0, cw = width, ch = height;
    if (has_clip) {
        cx = clip[0] < 0 ? 0 : clip[0];
        cy = clip[1] < 0 ? 0 : clip[1];
        cw = clip[2] < width - cx ? clip[2] : width - cx;
        ch = clip[3] < height - cy ? clip[3] : height - cy;
        if (cw < 0) cw = 0;
        if (ch < 0) ch = 0;
        image->setClipRect(clip[0], clip[1], clip[2], clip[3]);
    }
    image->setScale(scale);
    double bw = block_side(cw, scale), bh = block_side(ch, scale);
    if (bw * bh > static_cast<double>(max_pixels)) {
        std::fprintf(stderr,
                     "tarnimage: %s: a block of %.0f x %.0f pixels is above --max-pixels %lld; "
                     "read less with a larger --scale or a smaller --clip\n",
                     path.c_str(), bw, bh, max_pixels);
        image->release();
        manager->release();
        return 1;
    }
    if (bw < 1 || bh < 1) {
        std::fprintf(stderr, "tarnimage: %s: the block is empty\n", path.c_str());
        image->release();
        manager->release();
        return 1;
    }
    g_messages.unread = g_messages.total = -1;
    long x = 0, y = 0, w = 0, h = 0;
    DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
    image->release();
    int status = 0;
    bool all_unread = g_messages.unread > 0 && g_messages.unread >= g_messages.total;
    if (!block || !block->data() || w <= 0 || h <= 0 || all_unread) {
        // The library has said why; a block of unread rows is not written.
        if (!all_unread) std::fprintf(stderr, "tarnimage: %s: no row could be read\n", path.c_str());
        status = 1;
    } else {
        const unsigned char* rgba = static_cast<const unsigned char*>(block->data());
        bool written = form == kPng   ? write_png(output, rgba, w, h)
                       : form == kRaw ? write_raw(output, rgba, w, h)
                                      : write_npy(output, rgba, static_cast<size_t>(w) * h * 4, "|u1", {h, w, 4});
        if (!written) {
            std::fprintf(stderr, "tarnimage: %s: cannot write\n", output.c_str());
            status = 1;
        } else {
            std::printf("result %ld %ld %ld %ld\n", x, y, w, h);
            if (g_messages.unread > 0) status = 3;
        }
    }
    if (block) block->release();
    manager->release();
    return status;
}

int command_formats(const std::vector<std::string>& args) {
    bool json = false;
    for (const std::string& arg : args) {
        if (arg == "--json") json = true;
        else {
            std::fprintf(stderr, "tarnimage: formats takes only --json\n");
            return 2;
        }
    }
    // A live manager has the library's own drivers registered.
    IInternalImageManager* manager = getManager();
    if (json) std::printf("[");
    TarnFormat format;
    for (int i = 0; tarn_get_format(i, &format); ++i) {
        if (json)
            std::printf("%s\n  {\"type\": %d, \"keyword\": \"%s\", \"suffix\": \"%s\", "
                        "\"description\": \"%s\", \"registered\": %s}",
                        i ? "," : "", format.type, json_escape(format.keyword).c_str(),
                        json_escape(format.suffix).c_str(), json_escape(format.description).c_str(),
                        format.registered ? "true" : "false");
        else
            std::printf("%5d  %-14s %-5s %s\n", format.type, format.keyword, format.suffix,
                        format.description);
    }
    if (json) std::printf("\n]\n");
    if (manager) manager->release();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "-v" || arg == "--verbose") g_messages.verbose = true;
        else args.push_back(arg);
    }
    tarn_set_message_handler(on_message, &g_messages);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    for (const std::string& arg : args)
        if (arg == "--help" || arg == "-h" || (&arg == &args[0] && arg == "help")) {
            std::fputs(kUsage, stdout);
            return 0;
        }
    for (const std::string& arg : args)
        if (arg == "--version") {
            std::printf("tarnimage %s\n", TARN_VERSION);
            return 0;
        }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command == "info") return command_info(args);
    if (command == "render") return command_render(args);
    if (command == "value") return command_value(args);
    if (command == "formats") return command_formats(args);
    if (command == "bands") return command_bands(args);
    std::fprintf(stderr, "tarnimage: unknown command %s (see --help)\n", command.c_str());
    return 2;
}
