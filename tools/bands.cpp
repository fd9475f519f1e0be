// tarnimage value and bands: raw band values, as a map host asks "what is
// here?" and as users compare the library with other readers. Values come
// without any colour step; every sample keeps the bit pattern the file holds.

#include <tarnimage/channel.h>
#include <tarnimage/tarnimage.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cli_support.h"

namespace {

// An image of DIR/FILE, with the manager that keeps the drivers started.
struct OpenedImage {
    IInternalImageManager* manager = nullptr;
    IInternalImage* image = nullptr;
    ~OpenedImage() {
        if (image) image->release();
        if (manager) manager->release();
    }
    bool open(const std::string& dir, const std::string& file) {
        if (!is_directory(dir)) {
            std::fprintf(stderr, "tarnimage: %s: no such directory\n", dir.c_str());
            return false;
        }
        manager = getManager();
        if (manager) manager->connect(CTarnUString(dir.c_str()), CTarnUString(file.c_str()));
        if (manager && manager->getImageCount() > 0) image = manager->getImage(0);
        if (!image) std::fprintf(stderr, "tarnimage: %s/%s: not admitted\n", dir.c_str(), file.c_str());
        return image != nullptr;
    }
};

// Bytes of one sample of a band of `depth` bits in the raw output.
int sample_bytes(long depth) { return depth <= 8 ? 1 : depth <= 16 ? 2 : 4; }

}  // namespace

int command_value(const std::vector<std::string>& args) {
    bool json = false;
    std::vector<std::string> positional;
    for (const std::string& arg : args) {
        if (arg == "--json") json = true;
        else if (arg.size() > 1 && arg[0] == '-' && !(arg[1] >= '0' && arg[1] <= '9')) {
            std::fprintf(stderr, "tarnimage: unknown option %s for value\n", arg.c_str());
            return 2;
        } else positional.push_back(arg);
    }
    long point[2];
    if (positional.size() != 4 || !parse_long_list(positional[2], &point[0], 1) ||
        !parse_long_list(positional[3], &point[1], 1)) {
        std::fprintf(stderr, "tarnimage: value needs DIR FILE X Y (see --help)\n");
        return 2;
    }
    OpenedImage opened;
    if (!opened.open(positional[0], positional[1])) return 1;
    IInternalImage* image = opened.image;
    if (point[0] < 0 || point[1] < 0 || point[0] >= image->getWidth() || point[1] >= image->getHeight()) {
        std::fprintf(stderr, "tarnimage: %ld,%ld lies outside the image of %ldx%ld\n", point[0],
                     point[1], image->getWidth(), image->getHeight());
        return 1;
    }
    image->setClipRect(point[0], point[1], 1, 1);
    std::vector<int> wanted;
    for (long b = 1; b <= image->getBandCount(); ++b) wanted.push_back(static_cast<int>(b));
    IInternalRStreamCollection* streams =
        image->getStreams(wanted.data(), static_cast<int>(wanted.size()));
    if (!streams) {
        std::fprintf(stderr, "tarnimage: no band streams\n");
        return 1;
    }
    if (json) std::printf("[");
    int status = 0;
    for (long i = 0; i < streams->getCount(); ++i) {
        IInternalRStream* stream = streams->get(i);
        if (!stream) continue;
        long x = point[0], y = point[1], w = 1, h = 1;
        DirectMemoryHolder* block = stream->getData(&x, &y, &w, &h);
        long code = stream->getPixelDepth();
        std::string value = "null";
        if (block && block->data()) {
            const unsigned char* p = static_cast<const unsigned char*>(block->data());
            uint32_t sample = 0;
            std::memcpy(&sample, p, code == 3 ? 1 : code == 5 ? 2 : 4);
            value = std::to_string(sample);
        } else {
            status = 1;
        }
        if (block) block->release();
        if (json)
            std::printf("%s\n  {\"band\": %ld, \"depth_code\": %ld, \"value\": %s}", i ? "," : "",
                        streams->getBandNumber(i), code, value.c_str());
        else
            std::printf("band %ld: %s\n", streams->getBandNumber(i),
                        value == "null" ? "no value" : value.c_str());
        stream->release();
    }
    if (json) std::printf("\n]\n");
    streams->release();
    return status;
}

int command_bands(const std::vector<std::string>& args) {
    std::vector<std::string> positional;
    std::string output;
    long only = 0;
    long clip[4] = {0, 0, 0, 0};
    bool has_clip = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        bool last = i + 1 >= args.size();
        if ((arg == "--band" || arg == "--clip" || arg == "-o") && last) {
            std::fprintf(stderr, "tarnimage: %s needs a value\n", arg.c_str());
            return 2;
        }
        if (arg == "--band") {
            if (!parse_long_list(args[++i], &only, 1) || only < 1) {
                std::fprintf(stderr, "tarnimage: --band wants a band number from 1\n");
                return 2;
            }
        } else if (arg == "--clip") {
            if (!parse_long_list(args[++i], clip, 4)) {
                std::fprintf(stderr, "tarnimage: --clip wants X,Y,W,H\n");
                return 2;
            }
            has_clip = true;
        } else if (arg == "-o") {
            output = args[++i];
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::fprintf(stderr, "tarnimage: unknown option %s for bands\n", arg.c_str());
            return 2;
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() != 2 || output.empty()) {
        std::fprintf(stderr, "tarnimage: bands needs DIR, FILE and -o OUT (see --help)\n");
        return 2;
    }
    bool npy = ends_with(output, ".npy");
    if (!npy && !ends_with(output, ".raw")) {
        std::fprintf(stderr, "tarnimage: the output name must end in .raw or .npy\n");
        return 2;
    }
    OpenedImage opened;
    if (!opened.open(positional[0], positional[1])) return 1;
    IInternalImage* image = opened.image;
    const long width = image->getWidth(), height = image->getHeight(), nbands = image->getBandCount();
    if (only > nbands) {
        std::fprintf(stderr, "tarnimage: the image has %ld bands\n", nbands);
        return 1;
    }
    long x0 = 0, y0 = 0, w = width, h = height;
    if (has_clip) {
        x0 = clip[0] < 0 ? 0 : clip[0];
        y0 = clip[1] < 0 ? 0 : clip[1];
        w = clip[2] < width - x0 ? clip[2] : width - x0;
        h = clip[3] < height - y0 ? clip[3] : height - y0;
    }
    if (w < 1 || h < 1) {
        std::fprintf(stderr, "tarnimage: the clip holds no pixel of the image\n");
        return 1;
    }
    const int bytes = sample_bytes(image->getPixelDepth(0L));
    const long first = only ? only : 1, last = only ? only : nbands;
    std::string path = positional[0] + "/" + image->getName().toUTF8();
    // Every band at once: rows come as one plane of the image's width per band.
    Image* channel = static_cast<Image*>(std::calloc(1, sizeof(Image)));
    if (!channel || open_image_channel(channel, path.c_str(), 'r', static_cast<int>(image->getType()), 0) != 1) {
        std::free(channel);
        std::fprintf(stderr, "tarnimage: %s: cannot be opened for reading\n", path.c_str());
        return 1;
    }
    const long planes = nbands > 0 ? nbands : 1;
    std::vector<uint32_t> row(static_cast<size_t>(width * planes));
    std::vector<unsigned char> out(static_cast<size_t>((last - first + 1) * w * h * bytes));
    int status = 0;
    for (long r = 0; r < h && status == 0; ++r) {
        if (get_image_row(channel, static_cast<int>(y0 + r), row.data(), static_cast<int>(row.size())) != 1) {
            std::fprintf(stderr, "tarnimage: %s: row %ld could not be read\n", path.c_str(), y0 + r);
            status = 1;
            break;
        }
        for (long b = first; b <= last; ++b)
            for (long c = 0; c < w; ++c) {
                uint32_t sample = row[static_cast<size_t>((b - 1) * width + x0 + c)];
                size_t at = static_cast<size_t>((((b - first) * h + r) * w + c) * bytes);
                std::memcpy(&out[at], &sample, static_cast<size_t>(bytes));  // little-endian host
            }
    }
    close_image_channel(channel, 'r');
    if (status != 0) return status;
    const char* descr = bytes == 1 ? "|u1" : bytes == 2 ? "<u2" : "<u4";
    bool written = false;
    if (npy) {
        written = write_npy(output, out.data(), out.size(), descr, {last - first + 1, h, w});
    } else if (FILE* file = std::fopen(output.c_str(), "wb")) {
        written = std::fwrite(out.data(), 1, out.size(), file) == out.size();
        written = std::fclose(file) == 0 && written;
    }
    if (!written) {
        std::fprintf(stderr, "tarnimage: %s: cannot write\n", output.c_str());
        return 1;
    }
    std::printf("bands %ld..%ld  %ldx%ld at %ld,%ld  %d byte%s a sample\n", first, last, w, h, x0,
                y0, bytes, bytes == 1 ? "" : "s");
    return 0;
}
