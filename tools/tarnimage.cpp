// tarnimage: a command-line host of the library. It uses nothing but
// getManager and the interfaces, as any map server would.

#include <tarnimage/tarnimage.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

const char kUsage[] =
    "usage: tarnimage COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  info DIR [FILE] [--json]\n"
    "      Connect to directory DIR (or to FILE inside it) and list every image\n"
    "      admitted: name, type code and name, width, height, bands, depth in\n"
    "      bits, and whether it is georeferenced with the six numbers of its\n"
    "      georeference: a b c d e f with x = a*col + b*row + c and\n"
    "      y = d*col + e*row + f at pixel centres. With --json, print a JSON\n"
    "      array of objects\n"
    "      with the keys name, type, type_name, width, height, bands, depth,\n"
    "      georeferenced and geotransform.\n"
    "  --help, help\n"
    "      Print this text.\n"
    "\n"
    "Exit status: 0 when at least one image was admitted, 1 when none was or\n"
    "the directory does not exist, 2 on a usage error.\n";

struct Released {
    void operator()(ITarnRefCnt* object) const {
        if (object) object->release();
    }
};

std::string json_escape(const std::string& text) {
    std::string out;
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out;
}

std::string json_number(double value) {
    if (!std::isfinite(value)) return "null";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.17g", value);
    return buf;
}

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
    f.width = image->getWidth();
    f.height = image->getHeight();
    f.bands = image->getBandCount();
    f.depth = image->getPixelDepth(0L);
    f.georeferenced = image->isGeoReferenced();
    image->getGeoReference(&f.geo[0], &f.geo[1], &f.geo[2], &f.geo[3], &f.geo[4], &f.geo[5]);
    return f;
}

bool is_directory(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
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

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (args.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string command = args[0];
    args.erase(args.begin());
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(kUsage, stdout);
        return 0;
    }
    for (const std::string& arg : args)
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
    if (command == "info") return command_info(args);
    std::fprintf(stderr, "tarnimage: unknown command %s (see --help)\n", command.c_str());
    return 2;
}
