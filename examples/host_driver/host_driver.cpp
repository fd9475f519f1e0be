// A host with a format of its own. It registers a driver for "stripes" files
// (a text line "STRIPES width height"), connects a directory, and writes the
// first image it admits as a PNG.
//
//   host_driver DIR OUT.png
//
// The driver keeps the rules every driver keeps: rows are whole (every column
// of the band), in the host's byte order; no exception leaves its calls;
// close leaves the plain header fields readable; and it is unregistered
// before the program ends.

#include <tarnimage/tarnimage.h>
#include <tarnimage/udf.h>

#include <png.h>

#include <cstdio>
#include <cstring>

namespace {

uint32_t g_type = 0;  // the code the registry gave the driver

// Four colours; a pixel's value is its index.
uint8_t kRed[4] = {230, 250, 40, 20};
uint8_t kGreen[4] = {60, 200, 160, 40};
uint8_t kBlue[4] = {40, 30, 90, 120};

int stripes_exist(const char*, char*, FILE* fp) {
    char head[8];
    if (!fp || std::fread(head, 1, sizeof head, fp) != sizeof head) return 0;
    return std::memcmp(head, "STRIPES ", 8) == 0 ? static_cast<int>(g_type) : 0;
}

int stripes_open(const char* name, int band, int, int, int, UDFHeader* header) {
    std::memset(header, 0, sizeof *header);
    FILE* fp = std::fopen(name, "r");
    int width = 0, height = 0;
    bool ok = fp && std::fscanf(fp, "STRIPES %d %d", &width, &height) == 2;
    if (fp) std::fclose(fp);
    if (!ok || width < 1 || height < 1 || width > 4096 || height > 4096 || band > 1) return -1;
    header->type = g_type;
    header->depth = 8;
    header->rows = height;
    header->columns = width;
    header->nbands = 1;
    header->ncolors = 4;
    header->low_index = 0;
    header->high_index = 3;
    header->red = kRed;
    header->green = kGreen;
    header->blue = kBlue;
    header->pixel_x = header->pixel_y = 1.0;
    return 1;
}

int stripes_close(UDFHeader* header) {
    header->priv = nullptr;  // nothing of our own to free; the plain fields stay
    return 0;
}

// Diagonal stripes four pixels wide.
int stripes_getrow(int row, void* buffer, UDFHeader* header) {
    if (row < 0 || row >= header->rows) return -1;
    uint8_t* out = static_cast<uint8_t*>(buffer);
    for (int x = 0; x < header->columns; ++x) out[x] = static_cast<uint8_t>(((x + row) / 4) % 4);
    return 0;
}

bool write_png(const char* path, const unsigned char* rgba, long width, long height) {
    FILE* out = std::fopen(path, "wb");
    if (!out) return false;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    bool ok = false;
    if (png && info && !setjmp(png_jmpbuf(png))) {
        png_init_io(png, out);
        png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                     PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                     PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        for (long r = 0; r < height; ++r)
            png_write_row(png, const_cast<png_bytep>(rgba + r * width * 4));
        png_write_end(png, nullptr);
        ok = true;
    }
    png_destroy_write_struct(png ? &png : nullptr, info ? &info : nullptr);
    return std::fclose(out) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: host_driver DIR OUT.png\n");
        return 2;
    }
    // The library's own drivers start with the first manager; ours comes after them.
    IInternalImageManager* manager = getManager();
    UDFRecord record = {};
    record.exist = stripes_exist;
    record.open = stripes_open;
    record.close = stripes_close;
    record.getrow = stripes_getrow;
    record.keyword = const_cast<char*>("STRIPES");
    record.suffix = const_cast<char*>("stp");
    record.description = const_cast<char*>("Stripes (*.stp)");
    record.filter = const_cast<char*>("*.stp");
    g_type = II_RegisterUDF(&record);

    int status = 1;
    if (g_type && manager->connect(CTarnUString(argv[1]), CTarnUString("")) &&
        manager->getImageCount() > 0) {
        IInternalImage* image = manager->getImage(0);
        long x, y, w, h;
        DirectMemoryHolder* block = image->getData(&x, &y, &w, &h);
        if (block && write_png(argv[2], static_cast<const unsigned char*>(block->data()), w, h)) {
            std::printf("%s: type %ld, %ldx%ld\n", argv[2], image->getType(), w, h);
            status = 0;
        }
        if (block) block->release();
        image->release();
    }
    manager->release();
    II_UnregisterUDF(g_type);
    return status;
}
