// GIF: the first image of a GIF87a or GIF89a file, registered as "gif".
//
// Layout (16-bit words little-endian):
//   offset  bytes        use
//   0       6            "GIF87a" or "GIF89a"
//   6       2, 2         screen width, height (not used for the picture)
//   10      1            flags: bit 7 global colour table, bits 0-2 table bits - 1
//   11      1            background index
//   12      1            aspect; must be 0 in a GIF87a file
//   13      3 * 2^bits   global colour table, red green blue, when flagged
//   then blocks, each told by its first byte:
//   0x21    label, sub-blocks                      extension (skipped)
//   0x2C    left, top, width, height (2 each),     image; left and top are not
//           flags (bit 6 interlaced, bit 7 local   applied, so a frame smaller
//           table of 2^(bits 0-2 + 1) entries),    than its screen is the picture
//           [local table], LZW minimum code size,
//           sub-blocks of LZW codes
//   0x3B                                           trailer
//   sub-block: a length byte, that many bytes; length 0 ends the run.
//
// Codes are packed from the lowest bit of each byte up and widen from
// minimum + 1 bits to 12 as the table fills.

#include "drivers/general/gif.h"

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <tarnimage/tarn_file.h>

#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include "udf/registered_drivers.h"

static RegisteredState state_GIF = {0, 0};

namespace {

constexpr int kTableSize = 4096;
constexpr int kMaxCodeBits = 12;

// Colours of the files that carry no global table: index mod 16.
constexpr uint8_t kEGAPalette[16][3] = {
    {0, 0, 0},       {0, 0, 128},     {0, 128, 0},     {0, 128, 128},
    {128, 0, 0},     {128, 0, 128},   {128, 128, 0},   {200, 200, 200},
    {100, 100, 100}, {100, 100, 255}, {100, 255, 100}, {100, 255, 255},
    {255, 100, 100}, {255, 100, 255}, {255, 255, 100}, {255, 255, 255},
};

// The driver's state while an image is open. Pixels are kept in the order the
// codes gave them, so only what the data decoded is ever allocated; a row the
// data never reached fails.
struct GIFPicture {
    uint8_t* pixels;  // decoded pixels in stream order
    size_t decoded;   // how many of them the data gave
    int32_t width, height;
    bool interlaced;
    uint8_t red[256], green[256], blue[256];
};

// The file in memory, read by position; nothing past its end is ever touched.
struct Bytes {
    const uint8_t* data;
    size_t size, pos;
    bool has(size_t n) const { return pos <= size && size - pos >= n; }
};

// Skips a run of sub-blocks; false when the file ends inside it.
bool skip_sub_blocks(Bytes& in) {
    for (;;) {
        if (!in.has(1)) return false;
        const size_t length = in.data[in.pos++];
        if (length == 0) return true;
        if (!in.has(length)) return false;
        in.pos += length;
    }
}

// The LZW codes of the image, read bit by bit from the lowest bit up.
struct CodeReader {
    const uint8_t* data;
    size_t size;
    uint64_t bit = 0;
    // The next code, or -1 when its bits are not all in the data: a code cut
    // by the end of the file would only decode to wrong pixels.
    int read(int bits) {
        if (bit + static_cast<uint64_t>(bits) > static_cast<uint64_t>(size) * 8) return -1;
        const size_t at = static_cast<size_t>(bit / 8);
        const unsigned shift = static_cast<unsigned>(bit % 8);
        uint32_t word = data[at];
        if (at + 1 < size) word |= static_cast<uint32_t>(data[at + 1]) << 8;
        if (at + 2 < size) word |= static_cast<uint32_t>(data[at + 2]) << 16;
        bit += static_cast<uint64_t>(bits);
        return static_cast<int>((word >> shift) & ((1u << bits) - 1));
    }
};

// Pixels in stream order, grown as the codes deliver them up to `limit`.
struct PixelSink {
    uint8_t* data = nullptr;
    size_t count = 0, capacity = 0, limit = 0;
    bool failed = false;
    bool full() const { return count >= limit; }
    void put(const uint8_t* values, size_t n) {
        if (n > limit - count) n = limit - count;
        if (count + n > capacity) {
            size_t grown = capacity ? capacity : 65536;
            while (grown < count + n) grown *= 2;
            if (grown > limit) grown = limit;
            uint8_t* bigger = static_cast<uint8_t*>(realloc(data, grown));
            if (!bigger) {
                failed = true;
                return;
            }
            data = bigger;
            capacity = grown;
        }
        memcpy(data + count, values, n);
        count += n;
    }
};

// Decodes until the end code, the end of the data, a code that cannot be, or
// a full picture. A table that fills up stops growing until the next clear.
void decode_lzw(const uint8_t* codes, size_t size, int minimum, PixelSink& out) {
    uint16_t prefix[kTableSize];
    uint8_t suffix[kTableSize];
    uint8_t stack[kTableSize + 1];
    const int clear = 1 << minimum, end = clear + 1, first_free = clear + 2;
    for (int i = 0; i < clear; ++i) {
        prefix[i] = 0;
        suffix[i] = static_cast<uint8_t>(i);
    }
    CodeReader in{codes, size};
    int code_size = minimum + 1, max_code = 1 << code_size, free_code = first_free;
    int old_code = -1;
    uint8_t first_char = 0;
    while (!out.full() && !out.failed) {
        int code = in.read(code_size);
        if (code < 0 || code == end) return;
        if (code == clear) {
            code_size = minimum + 1;
            max_code = 1 << code_size;
            free_code = first_free;
            old_code = -1;
            continue;
        }
        if (old_code < 0) {  // the first code after a clear, or of a stream that has none
            if (code > clear) return;
            first_char = static_cast<uint8_t>(code);
            out.put(&first_char, 1);
            old_code = code;
            continue;
        }
        if (code > free_code) return;
        const int in_code = code;
        size_t depth = 0;
        if (code == free_code) {  // the code being defined: the old string and its own first character
            stack[depth++] = first_char;
            code = old_code;
        }
        while (code > end) {
            if (depth >= kTableSize) return;
            stack[depth++] = suffix[code];
            code = prefix[code];
        }
        first_char = static_cast<uint8_t>(code);
        stack[depth++] = first_char;
        for (size_t i = 0, j = depth - 1; i < j; ++i, --j) {  // the chain gave the string backwards
            const uint8_t t = stack[i];
            stack[i] = stack[j];
            stack[j] = t;
        }
        out.put(stack, depth);
        if (free_code < kTableSize) {
            prefix[free_code] = static_cast<uint16_t>(old_code);
            suffix[free_code] = first_char;
            ++free_code;
            if (free_code >= max_code && code_size < kMaxCodeBits) {
                ++code_size;
                max_code *= 2;
            }
        }
        old_code = in_code;
    }
}

// Where row `row` starts in the stream: interlaced pictures come in four
// passes, rows 0, 8, ...; 4, 12, ...; 2, 6, ...; 1, 3, ....
size_t stream_row(const GIFPicture& p, int row) {
    if (!p.interlaced) return static_cast<size_t>(row);
    static const int kStart[4] = {0, 4, 2, 1}, kStep[4] = {8, 8, 4, 2};
    const int pass = row % 8 == 0 ? 0 : row % 8 == 4 ? 1 : row % 4 == 2 ? 2 : 3;
    size_t before = 0;
    for (int k = 0; k < pass; ++k)
        if (kStart[k] < p.height) before += static_cast<size_t>((p.height - kStart[k] + kStep[k] - 1) / kStep[k]);
    return before + static_cast<size_t>((row - kStart[pass]) / kStep[pass]);
}

void read_table(const uint8_t* bytes, int entries, GIFPicture* p) {
    for (int i = 0; i < entries; ++i) {
        p->red[i] = bytes[3 * i];
        p->green[i] = bytes[3 * i + 1];
        p->blue[i] = bytes[3 * i + 2];
    }
}

// Reads the image descriptor at the position and decodes its codes; false
// with a message when the file cannot hold the image.
bool read_image(Bytes& in, GIFPicture* p) {
    if (!in.has(9)) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF data read failed");
        return false;
    }
    const uint8_t* d = in.data + in.pos;
    p->width = read_le16(d + 4);
    p->height = read_le16(d + 6);
    const uint8_t flags = d[8];
    in.pos += 9;
    p->interlaced = (flags & 0x40) != 0;
    if (p->width == 0 || p->height == 0) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF image of %d x %d pixels", p->width, p->height);
        return false;
    }
    if (static_cast<long long>(p->width) * p->height > GIF_MAX_PIXELS) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF image of %d x %d pixels is larger than %lld pixels", p->width,
                    p->height, static_cast<long long>(GIF_MAX_PIXELS));
        return false;
    }
    if (flags & 0x80) {  // the local table replaces the first entries of the global one
        const int entries = 1 << ((flags & 7) + 1);
        if (!in.has(static_cast<size_t>(entries) * 3)) {
            tarn_report(TARN_MESSAGE_ERROR, "GIF data read failed");
            return false;
        }
        read_table(in.data + in.pos, entries, p);
        in.pos += static_cast<size_t>(entries) * 3;
    }
    if (!in.has(1)) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF data read failed");
        return false;
    }
    const int minimum = in.data[in.pos++];
    if (minimum < 1 || minimum > 8) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF image with an LZW code size of %d", minimum);
        return false;
    }

    // The sub-blocks joined; a file cut inside them keeps what it has.
    uint8_t* codes = allocate_byte_buffer(static_cast<long>(in.size - in.pos + 1));
    if (!codes) {
        tarn_report(TARN_MESSAGE_ERROR, "not enough memory to read gif file");
        return false;
    }
    size_t length = 0;
    while (in.has(1)) {
        size_t block = in.data[in.pos++];
        if (block == 0) break;
        if (!in.has(block)) block = in.size - in.pos;
        memcpy(codes + length, in.data + in.pos, block);
        length += block;
        in.pos += block;
    }
    PixelSink sink;
    sink.limit = static_cast<size_t>(p->width) * static_cast<size_t>(p->height);
    decode_lzw(codes, length, minimum, sink);
    free(codes);
    if (sink.failed) {
        free(sink.data);
        tarn_report(TARN_MESSAGE_ERROR, "couldn't malloc 'pic8'");
        return false;
    }
    p->pixels = sink.data;
    p->decoded = sink.count;
    return true;
}

// The whole file, or null with a message.
uint8_t* read_whole_file(const char* name, size_t* size) {
    FILE* fp = tarn_fopen(name, "rb");
    if (!fp) {
        tarn_report(TARN_MESSAGE_ERROR, "can't open file");
        return nullptr;
    }
    uint8_t* bytes = nullptr;
    long length = -1;
    if (tarn_fseek(fp, 0, SEEK_END) == 0) length = tarn_ftell(fp);
    if (length < 0 || tarn_fseek(fp, 0, SEEK_SET) != 0) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF data read failed");
    } else if (!(bytes = allocate_byte_buffer(length + 1))) {
        tarn_report(TARN_MESSAGE_ERROR, "not enough memory to read gif file");
    } else if (tarn_fread(bytes, 1, static_cast<size_t>(length), fp) != static_cast<size_t>(length)) {
        tarn_report(TARN_MESSAGE_ERROR, "GIF data read failed");
        free(bytes);
        bytes = nullptr;
    }
    tarn_fclose(fp);
    *size = static_cast<size_t>(length);
    return bytes;
}

// Fills the picture from the file; false with a message, and nothing held,
// when there is no first image to show.
bool load_gif(const char* name, GIFPicture* p) {
    size_t size = 0;
    uint8_t* file = read_whole_file(name, &size);
    if (!file) return false;
    Bytes in{file, size, 0};
    bool ok = false;
    if (!in.has(13) || (memcmp(file, "GIF87a", 6) != 0 && memcmp(file, "GIF89a", 6) != 0)) {
        tarn_report(TARN_MESSAGE_ERROR, "not a GIF file");
    } else if (file[4] == '7' && file[12] != 0) {
        tarn_report(TARN_MESSAGE_ERROR, "corrupt GIF file (screen descriptor)");
    } else {
        const uint8_t flags = file[10];
        in.pos = 13;
        for (int i = 0; i < 256; ++i) {
            p->red[i] = kEGAPalette[i % 16][0];
            p->green[i] = kEGAPalette[i % 16][1];
            p->blue[i] = kEGAPalette[i % 16][2];
        }
        bool table_ok = true;
        if (flags & 0x80) {  // entries past the table stay black
            const int entries = 1 << ((flags & 7) + 1);
            memset(p->red, 0, sizeof p->red);
            memset(p->green, 0, sizeof p->green);
            memset(p->blue, 0, sizeof p->blue);
            table_ok = in.has(static_cast<size_t>(entries) * 3);
            if (table_ok) {
                read_table(file + in.pos, entries, p);
                in.pos += static_cast<size_t>(entries) * 3;
            } else {
                tarn_report(TARN_MESSAGE_ERROR, "GIF data read failed");
            }
        }
        bool found = false, unknown = false;
        while (table_ok && in.has(1)) {
            const uint8_t block = file[in.pos];
            if (block == 0x2C) {
                ++in.pos;
                found = true;
                ok = read_image(in, p);
                break;
            }
            if (block != 0x21) {
                if (block != 0x3B) {
                    tarn_report(TARN_MESSAGE_ERROR, "Unknown block type (0x%02x) at offset 0x%lx", block,
                                static_cast<unsigned long>(in.pos));
                    unknown = true;
                }
                break;
            }
            in.pos += 2;  // the introducer and the label
            if (!skip_sub_blocks(in)) break;
        }
        if (table_ok && !found && !unknown) tarn_report(TARN_MESSAGE_ERROR, "no image data found in GIF file");
    }
    free(file);
    return ok;
}

}  // namespace

extern "C" {

int CheckGIFLZW(void) { return 1; }

int GIF_exist(const char* name, char* out_path, FILE* fp) {
    if (out_path != name) strcpy(out_path, name);
    if (!fp) return 0;
    unsigned char magic[6];
    if (tarn_fread(magic, 1, sizeof magic, fp) != sizeof magic) return 0;
    if (memcmp(magic, "GIF", 3) != 0) return 0;
    if (!CheckGIFLZW()) return -3;
    return static_cast<int>(state_GIF.type);
}

int GIF_open(const char* name, int, int, int, int, UDFHeader* header) {
    GIFPicture* p = static_cast<GIFPicture*>(calloc(1, sizeof(GIFPicture)));
    if (!p) return -1;
    if (!load_gif(name, p)) {
        free(p);
        return -1;
    }
    UDFinitial(header);
    header->type = state_GIF.type;
    header->depth = 8;
    header->rows = p->height;
    header->columns = p->width;
    header->nbands = 1;
    header->ncolors = 256;
    header->low_index = 0;
    header->high_index = 255;
    header->red = p->red;
    header->green = p->green;
    header->blue = p->blue;
    header->origin_x = 0.0;
    header->origin_y = 0.0;
    header->pixel_x = 1.0;
    header->pixel_y = 1.0;
    header->priv = p;
    return 0;
}

int GIF_close(UDFHeader* header) {
    if (!header) return 0;
    GIFPicture* p = static_cast<GIFPicture*>(header->priv);
    if (p) {
        free(p->pixels);
        free(p);
    }
    header->priv = nullptr;
    header->red = header->green = header->blue = nullptr;
    return 0;
}

int GIF_getrow(int row, void* buffer, UDFHeader* header) {
    const GIFPicture* p = header ? static_cast<const GIFPicture*>(header->priv) : nullptr;
    if (!p || !buffer || row < 0 || row >= p->height) return -1;
    const size_t width = static_cast<size_t>(p->width);
    const size_t start = stream_row(*p, row) * width;
    if (start + width > p->decoded) return -1;  // the data ended before this row
    memcpy(buffer, p->pixels + start, width);
    return 0;
}

}  // extern "C"

extern const RegisteredDriver registered_GIF = {
    GIF_exist, GIF_open, GIF_close, GIF_getrow,
    "gif", "gif", "GIF (*.gif)", "*.gif",
    START_COUNTED, true, nullptr, nullptr, &state_GIF,
};
