// IMAGINE (HFA) files.
//
//   offset        bytes  content
//   0             16     "EHFA_HEADER_TAG" and a zero byte
//   16            4      u32 position of the file record
//   file record   18     u32 version, u32 free list, u32 root entry, u16 entry
//                        header length, u32 position of the dictionary text
//   entry         128    u32 next, previous, parent, first child, data position,
//                        data size; 64 bytes name, 32 bytes type name, u32 time
//   dictionary    text   "{fields}TypeName," repeated: the layout of every type
//
// Layers are the root's children of type Eimg_Layer. Their pixels sit in
// blocks listed by the child RasterDMS (raw or run-length coded, in this
// file) or, for ExternalRasterDMS, in a spill file beside it (raw, with one
// validity bit per block).

#include "hfa/hfa.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <string>
#include <vector>

#include <tarnimage/tarn_file.h>

#include "platform/byteorder.h"

namespace hfa {
namespace {

const char kTag[] = "EHFA_HEADER_TAG";
const char kSpillTag[] = "ERDAS_IMG_EXTERNAL_RASTER";
const size_t kEntryBytes = 128;
const size_t kMaxDictionary = 1u << 20;
const size_t kMaxEntryData = 1u << 26;
const int kMaxDepth = 16;
const int kMaxDimension = 1 << 24;
const int kMaxBlockSide = 1 << 14;
const uint64_t kMaxBlockBytes = 1u << 26;
const uint64_t kMaxCacheBytes = 1u << 26;
const int kMaxColours = 1 << 16;

// ---------------------------------------------------------------- dictionary

struct Field {
    uint32_t count = 0;
    char pointer = 0;  // 0, 'p' or '*'
    char letter = 0;
    std::string object;  // type of an 'o' (or inline 'x') field
    std::string name;
};

struct Type {
    std::vector<Field> fields;
};

using Dictionary = std::map<std::string, Type>;

// Reads "{fields}Name," at text[i]; false when malformed.
bool parse_type(const std::string& text, size_t& i, Dictionary& dict, int depth);

bool read_until(const std::string& text, size_t& i, char end, std::string* out) {
    const size_t stop = text.find(end, i);
    if (stop == std::string::npos) return false;
    if (out) out->assign(text, i, stop - i);
    i = stop + 1;
    return true;
}

bool parse_field(const std::string& text, size_t& i, Field& f, Dictionary& dict, int depth) {
    std::string number;
    if (!read_until(text, i, ':', &number) || number.empty() || number.size() > 9) return false;
    for (char c : number)
        if (c < '0' || c > '9') return false;
    f.count = static_cast<uint32_t>(strtoul(number.c_str(), nullptr, 10));
    if (i < text.size() && (text[i] == 'p' || text[i] == '*')) f.pointer = text[i++];
    if (i >= text.size()) return false;
    f.letter = text[i++];
    if (f.letter == 'o') {
        if (!read_until(text, i, ',', &f.object)) return false;
    } else if (f.letter == 'x' && i < text.size() && text[i] == '{') {
        // An inline type carries its own name; it is read like any other.
        const size_t start = i;
        if (!parse_type(text, i, dict, depth + 1)) return false;
        const size_t close = text.rfind('}', i - 1);
        if (close == std::string::npos || close < start) return false;
        f.object.assign(text, close + 1, i - close - 2);
        f.letter = 'o';
    } else if (f.letter == 'e') {
        std::string names;
        if (!read_until(text, i, ':', &names) || names.empty() || names.size() > 9) return false;
        const unsigned long n = strtoul(names.c_str(), nullptr, 10);
        for (unsigned long k = 0; k < n; ++k)
            if (!read_until(text, i, ',', nullptr)) return false;
    }
    return read_until(text, i, ',', &f.name);
}

bool parse_type(const std::string& text, size_t& i, Dictionary& dict, int depth) {
    if (depth > kMaxDepth || i >= text.size() || text[i] != '{') return false;
    ++i;
    Type type;
    while (i < text.size() && text[i] != '}') {
        Field f;
        if (!parse_field(text, i, f, dict, depth)) return false;
        type.fields.push_back(f);
    }
    if (i >= text.size()) return false;
    ++i;
    std::string name;
    if (!read_until(text, i, ',', &name)) return false;
    dict[name] = type;
    return true;
}

// Bytes of one item of a fixed-size letter, 0 for the others.
size_t letter_bytes(char letter) {
    switch (letter) {
    case 'c': case 'C': return 1;
    case 'e': case 's': case 'S': return 2;
    case 'l': case 'L': case 't': case 'f': return 4;
    case 'd': case 'm': return 8;
    case 'M': return 16;
    default: return 0;
    }
}

const size_t kBad = static_cast<size_t>(-1);

struct Decoder {
    const Dictionary& dict;

    size_t type_size(const std::string& name, const uint8_t* p, size_t avail, int depth) const {
        auto it = dict.find(name);
        if (it == dict.end() || depth > kMaxDepth) return kBad;
        size_t used = 0;
        for (const Field& f : it->second.fields) {
            const size_t n = field_size(f, p + used, avail - used, depth);
            if (n == kBad) return kBad;
            used += n;
        }
        return used;
    }

    // Bytes the field takes at p, counted within avail; kBad when it runs past.
    size_t field_size(const Field& f, const uint8_t* p, size_t avail, int depth) const {
        uint64_t count = f.count;
        size_t head = 0;
        if (f.pointer) {
            if (avail < 8) return kBad;
            count = read_le32(p);
            head = 8;
        }
        uint64_t bytes = 0;
        switch (f.letter) {
        case '1': case '2': case '4':
            bytes = (count * static_cast<uint64_t>(f.letter - '0') + 7) / 8;
            break;
        case 'o': {
            size_t used = head;
            for (uint64_t k = 0; k < count; ++k) {
                if (used > avail) return kBad;
                const size_t n = type_size(f.object, p + used, avail - used, depth + 1);
                // Items of no bytes would let a count loop for nothing.
                if (n == kBad || n == 0) return kBad;
                used += n;
            }
            return used <= avail ? used : kBad;
        }
        case 'b': {
            if (avail < head + 12) return kBad;
            const uint8_t* b = p + head;
            const uint64_t cells = static_cast<uint64_t>(read_le32(b)) * read_le32(b + 4);
            const int bits = pixel_bits(read_le16(b + 8));
            if (bits == 0) return kBad;
            bytes = 12 + (cells * static_cast<uint64_t>(bits) + 7) / 8;
            if (count > 1) return kBad;
            if (count == 0) bytes = 0;
            break;
        }
        default: {
            const size_t item = letter_bytes(f.letter);
            if (item == 0) return kBad;
            if (count > avail) return kBad;
            bytes = count * item;
        }
        }
        if (head > avail || bytes > avail - head) return kBad;
        return head + static_cast<size_t>(bytes);
    }
};

// A field found in an entry's data: its items start at `p` and take `size` bytes.
struct FieldRef {
    char letter = 0;
    uint32_t count = 0;
    const uint8_t* p = nullptr;
    size_t size = 0;
    std::string object;
};

bool find_field(const Decoder& dec, const std::string& type, const uint8_t* p, size_t avail,
                const std::string& path, FieldRef* out, int depth = 0) {
    auto it = dec.dict.find(type);
    if (it == dec.dict.end() || depth > kMaxDepth) return false;
    const size_t dot = path.find('.');
    const std::string head = path.substr(0, dot);
    size_t used = 0;
    for (const Field& f : it->second.fields) {
        const size_t n = dec.field_size(f, p + used, avail - used, depth);
        if (n == kBad) return false;
        if (f.name == head) {
            const size_t skip = f.pointer ? 8 : 0;
            const uint8_t* items = p + used + skip;
            const size_t size = n - skip;
            const uint32_t count = f.pointer ? read_le32(p + used) : f.count;
            if (dot == std::string::npos) {
                out->letter = f.letter, out->count = count, out->p = items, out->size = size;
                out->object = f.object;
                return true;
            }
            if (f.letter != 'o' || count == 0) return false;
            return find_field(dec, f.object, items, size, path.substr(dot + 1), out, depth + 1);
        }
        used += n;
    }
    return false;
}

bool field_double(const FieldRef& f, uint32_t index, double* out) {
    if (index >= f.count) return false;
    const size_t item = f.letter == 'o' || f.letter == 'b' ? 0 : letter_bytes(f.letter);
    if (item == 0 || (static_cast<uint64_t>(index) + 1) * item > f.size) return false;
    const uint8_t* q = f.p + index * item;
    switch (f.letter) {
    case 'c': case 'C': *out = q[0]; return true;
    case 'e': case 's': *out = read_le16(q); return true;
    case 'S': *out = static_cast<int16_t>(read_le16(q)); return true;
    case 'l': case 't': *out = read_le32(q); return true;
    case 'L': *out = static_cast<int32_t>(read_le32(q)); return true;
    case 'f': *out = read_le_f32(q); return true;
    case 'd': *out = read_le_f64(q); return true;
    default: return false;
    }
}

bool field_u32(const FieldRef& f, uint32_t index, uint32_t* out) {
    if (index >= f.count) return false;
    const size_t item = letter_bytes(f.letter);
    if ((item != 2 && item != 4) || f.letter == 'f' || (static_cast<uint64_t>(index) + 1) * item > f.size)
        return false;
    const uint8_t* q = f.p + index * item;
    *out = item == 2 ? read_le16(q) : read_le32(q);
    return true;
}

// A 64-bit position stored as two 32-bit words, low word first.
bool field_u64(const FieldRef& f, uint64_t* out) {
    uint32_t low = 0, high = 0;
    if (f.count == 1) {
        if (!field_u32(f, 0, &low)) return false;
    } else if (!field_u32(f, 0, &low) || !field_u32(f, 1, &high)) {
        return false;
    }
    *out = (static_cast<uint64_t>(high) << 32) | low;
    return true;
}

std::string field_string(const FieldRef& f) {
    if (f.letter != 'c' && f.letter != 'C') return std::string();
    const size_t n = f.count < f.size ? f.count : f.size;
    const void* zero = memchr(f.p, 0, n);
    return std::string(reinterpret_cast<const char*>(f.p),
                       zero ? static_cast<const uint8_t*>(zero) - f.p : n);
}

// ---------------------------------------------------------------- tree

struct Entry {
    uint32_t data_pos = 0, data_size = 0;
    std::string name, type;
    std::vector<int> children;
};

struct Block {
    uint64_t offset = 0;
    uint32_t size = 0;
    bool valid = false, compressed = false;
};

struct Slot {
    int64_t index = -1;
    std::vector<uint8_t> data;
};

struct Layer {
    int entry = -1;
    LayerInfo info = {};
    int blocks_x = 0, blocks_y = 0;
    uint64_t block_bytes = 0;
    int loaded = 0;  // 0 not yet, 1 ready, -1 broken
    bool spill = false;
    std::vector<Block> blocks;
    std::vector<Slot> cache;
    int stats_state = 0;  // 0 unknown, 1 known, -1 unavailable
    Statistics stats = {};
    std::vector<double> colours[3];
    int colours_state = 0;
};

}  // namespace

struct File {
    FILE* fp = nullptr;
    uint64_t size = 0;
    FILE* spill = nullptr;
    uint64_t spill_size = 0;
    std::string path;
    std::vector<Entry> entries;
    Dictionary dict;
    std::vector<Layer> layers;
    std::vector<std::string> names;
    std::vector<uint8_t> scratch;
};

namespace {

bool read_at(FILE* fp, uint64_t file_size, uint64_t pos, void* out, size_t n) {
    if (pos > file_size || n > file_size - pos || pos > 0x7FFFFFFFFFFFull) return false;
    if (n == 0) return true;
    return tarn_fseek(fp, static_cast<long>(pos), SEEK_SET) == 0 && tarn_fread(out, 1, n, fp) == n;
}

uint64_t file_size_of(FILE* fp) {
    if (tarn_fseek(fp, 0, SEEK_END) != 0) return 0;
    const long end = tarn_ftell(fp);
    return end > 0 ? static_cast<uint64_t>(end) : 0;
}

std::string cut_name(const uint8_t* p, size_t n) {
    const void* zero = memchr(p, 0, n);
    return std::string(reinterpret_cast<const char*>(p), zero ? static_cast<const uint8_t*>(zero) - p : n);
}

// Reads the entry tree from the root; a repeated position (a cycle) or an
// entry past the end breaks the file.
bool read_tree(File& f, uint32_t root) {
    std::set<uint32_t> seen;
    std::map<uint32_t, int> index;
    struct Pending { uint32_t pos; int parent; };
    std::vector<Pending> todo = {{root, -1}};
    while (!todo.empty()) {
        Pending at = todo.back();
        todo.pop_back();
        // Walks one sibling chain, queueing each first child.
        for (uint32_t pos = at.pos; pos != 0;) {
            if (!seen.insert(pos).second) return false;
            uint8_t raw[kEntryBytes];
            if (!read_at(f.fp, f.size, pos, raw, kEntryBytes)) return false;
            Entry e;
            e.data_pos = read_le32(raw + 16);
            e.data_size = read_le32(raw + 20);
            e.name = cut_name(raw + 24, 64);
            e.type = cut_name(raw + 88, 32);
            const int me = static_cast<int>(f.entries.size());
            f.entries.push_back(e);
            if (at.parent >= 0) f.entries[at.parent].children.push_back(me);
            const uint32_t child = read_le32(raw + 12);
            if (child) todo.push_back({child, me});
            if (at.parent < 0) break;  // the root has no siblings to follow
            pos = read_le32(raw);
        }
    }
    return !f.entries.empty();
}

bool entry_data(const File& f, int entry, std::vector<uint8_t>* out) {
    const Entry& e = f.entries[entry];
    if (e.data_size > kMaxEntryData) return false;
    try {
        out->assign(e.data_size, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return read_at(f.fp, f.size, e.data_pos, out->data(), e.data_size);
}

int child_named(const File& f, int entry, const char* name, const char* type) {
    for (int c : f.entries[entry].children)
        if (f.entries[c].name == name && (!type || f.entries[c].type == type)) return c;
    return -1;
}

// An entry's data and a field of it by path.
struct EntryFields {
    std::vector<uint8_t> data;
    std::string type;
    bool ok = false;
    EntryFields(const File& f, int entry) : type(f.entries[entry].type) { ok = entry_data(f, entry, &data); }
    bool get(const File& f, const std::string& path, FieldRef* out) const {
        Decoder dec{f.dict};
        return ok && find_field(dec, type, data.data(), data.size(), path, out);
    }
    bool number(const File& f, const std::string& path, double* out) const {
        FieldRef r;
        return get(f, path, &r) && field_double(r, 0, out);
    }
};

bool whole(double v, double lo, double hi) { return v >= lo && v <= hi && v == floor(v); }

bool read_layer_info(File& f, Layer& layer) {
    EntryFields e(f, layer.entry);
    double w = 0, h = 0, type = 0, bw = 0, bh = 0;
    if (!e.number(f, "width", &w) || !e.number(f, "height", &h) || !e.number(f, "pixelType", &type) ||
        !e.number(f, "blockWidth", &bw) || !e.number(f, "blockHeight", &bh))
        return false;
    if (!whole(w, 1, kMaxDimension) || !whole(h, 1, kMaxDimension) || !whole(type, 0, 12) ||
        !whole(bw, 1, kMaxBlockSide) || !whole(bh, 1, kMaxBlockSide))
        return false;
    LayerInfo& i = layer.info;
    i.width = static_cast<int>(w), i.height = static_cast<int>(h), i.pixel_type = static_cast<int>(type);
    i.block_width = static_cast<int>(bw), i.block_height = static_cast<int>(bh);
    layer.blocks_x = (i.width + i.block_width - 1) / i.block_width;
    layer.blocks_y = (i.height + i.block_height - 1) / i.block_height;
    layer.block_bytes = (static_cast<uint64_t>(i.block_width) * i.block_height * pixel_bits(i.pixel_type) + 7) / 8;
    return layer.block_bytes <= kMaxBlockBytes;
}

// ---------------------------------------------------------------- blocks

bool load_internal_blocks(File& f, Layer& layer, int dms, uint64_t nblocks) {
    EntryFields e(f, dms);
    FieldRef list;
    if (!e.get(f, "blockinfo", &list) || list.letter != 'o' || list.count < nblocks) return false;
    Decoder dec{f.dict};
    const uint8_t* p = list.p;
    size_t avail = list.size;
    layer.blocks.resize(static_cast<size_t>(nblocks));
    for (uint64_t k = 0; k < nblocks; ++k) {
        const size_t n = dec.type_size(list.object, p, avail, 1);
        if (n == kBad || n == 0) return false;
        FieldRef r;
        double offset, size, valid, compression;
        if (!find_field(dec, list.object, p, n, "offset", &r) || !field_double(r, 0, &offset) ||
            !find_field(dec, list.object, p, n, "size", &r) || !field_double(r, 0, &size) ||
            !find_field(dec, list.object, p, n, "logvalid", &r) || !field_double(r, 0, &valid) ||
            !find_field(dec, list.object, p, n, "compressionType", &r) || !field_double(r, 0, &compression))
            return false;
        Block& b = layer.blocks[k];
        b.valid = valid != 0;
        b.compressed = compression != 0;
        if (b.valid) {
            if (!whole(offset, 0, 4294967295.0) || !whole(size, 0, 4294967295.0)) return false;
            b.offset = static_cast<uint64_t>(offset);
            b.size = static_cast<uint32_t>(size);
            if (b.offset + b.size > f.size) return false;
            // A raw block holds exactly one block of pixels; a coded one needs
            // at least its 13 bytes of header.
            if (!b.compressed && b.size != layer.block_bytes) return false;
            const uint64_t pixels = static_cast<uint64_t>(layer.info.block_width) * layer.info.block_height;
            if (b.compressed && (b.size < 13 || b.size > 8 * pixels + 16)) return false;
        }
        p += n, avail -= n;
    }
    return true;
}

bool load_spill_blocks(File& f, Layer& layer, int ext, uint64_t nblocks) {
    EntryFields e(f, ext);
    FieldRef r;
    if (!e.get(f, "fileName.string", &r)) return false;
    std::string name = field_string(r);
    const size_t slash = name.find_last_of("/\\");
    if (slash != std::string::npos) name.erase(0, slash + 1);
    if (name.empty()) return false;
    uint64_t flags = 0, data = 0;
    double stack = 0, index = 0;
    if (!e.get(f, "layerStackValidFlagsOffset", &r) || !field_u64(r, &flags) ||
        !e.get(f, "layerStackDataOffset", &r) || !field_u64(r, &data) ||
        !e.number(f, "layerStackCount", &stack) || !e.number(f, "layerStackIndex", &index))
        return false;
    if (!whole(stack, 1, 65536) || !whole(index, 0, stack - 1)) return false;
    if (!f.spill) {
        const size_t dir = f.path.find_last_of('/');
        const std::string spill = (dir == std::string::npos ? std::string() : f.path.substr(0, dir + 1)) + name;
        f.spill = tarn_fopen(spill.c_str(), "rb");
        if (!f.spill) return false;
        f.spill_size = file_size_of(f.spill);
        char tag[sizeof kSpillTag];
        if (!read_at(f.spill, f.spill_size, 0, tag, sizeof tag) || memcmp(tag, kSpillTag, sizeof tag) != 0)
            return false;
    }
    const uint64_t row_bytes = (static_cast<uint64_t>(layer.blocks_x) + 7) / 8;
    const uint64_t map_bytes = row_bytes * layer.blocks_y + 20;
    if (map_bytes > f.spill_size || flags > f.spill_size || data > f.spill_size) return false;
    std::vector<uint8_t> map(static_cast<size_t>(map_bytes));
    if (!read_at(f.spill, f.spill_size, flags + static_cast<uint64_t>(index) * map_bytes, map.data(), map.size()))
        return false;
    layer.blocks.resize(static_cast<size_t>(nblocks));
    const uint64_t n = static_cast<uint64_t>(stack), k = static_cast<uint64_t>(index);
    for (uint64_t i = 0; i < nblocks; ++i) {
        const uint64_t bit = (i / layer.blocks_x) * row_bytes * 8 + (i % layer.blocks_x) + 20 * 8;
        Block& b = layer.blocks[i];
        b.valid = (map[bit >> 3] >> (bit & 7)) & 1;
        b.size = static_cast<uint32_t>(layer.block_bytes);
        if (!b.valid) continue;
        // Checked by division first, as a stack of large blocks overflows 64 bits.
        const uint64_t slot = i * n + k;
        if (layer.block_bytes && slot > (f.spill_size - data) / layer.block_bytes) return false;
        b.offset = data + slot * layer.block_bytes;
        if (layer.block_bytes > f.spill_size - b.offset) return false;
    }
    layer.spill = true;
    return true;
}

bool load_blocks(File& f, Layer& layer) {
    if (layer.loaded) return layer.loaded > 0;
    layer.loaded = -1;
    const uint64_t nblocks = static_cast<uint64_t>(layer.blocks_x) * layer.blocks_y;
    // Every block needs its record in the file, so the count is bounded by it.
    if (nblocks > f.size) return false;
    const int dms = child_named(f, layer.entry, "RasterDMS", nullptr);
    const int ext = child_named(f, layer.entry, "ExternalRasterDMS", nullptr);
    bool ok = false;
    try {
        if (dms >= 0)
            ok = load_internal_blocks(f, layer, dms, nblocks);
        else if (ext >= 0)
            ok = load_spill_blocks(f, layer, ext, nblocks);
        if (ok) {
            uint64_t slots = kMaxCacheBytes / (layer.block_bytes ? layer.block_bytes : 1);
            if (slots < 1) slots = 1;
            if (slots > static_cast<uint64_t>(layer.blocks_x)) slots = layer.blocks_x;
            layer.cache.resize(static_cast<size_t>(slots));
        }
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    if (!ok) {
        layer.blocks.clear();
        return false;
    }
    layer.loaded = 1;
    return true;
}

void put_value(uint8_t* out, int pixel_type, uint64_t i, uint32_t v) {
    const int bits = pixel_bits(pixel_type);
    if (bits < 8) {
        const uint64_t bit = i * bits;
        const uint8_t mask = static_cast<uint8_t>((1u << bits) - 1);
        uint8_t& b = out[bit >> 3];
        b = static_cast<uint8_t>((b & ~(mask << (bit & 7))) | ((v & mask) << (bit & 7)));
    } else if (bits == 8) {
        out[i] = static_cast<uint8_t>(v);
    } else if (bits == 16) {
        out[i * 2] = static_cast<uint8_t>(v), out[i * 2 + 1] = static_cast<uint8_t>(v >> 8);
    } else {
        for (int k = 0; k < 4; ++k) out[i * 4 + k] = static_cast<uint8_t>(v >> (8 * k));
    }
}

// Value `index` of a stream of `bits`-bit values; false past its end.
bool coded_value(const uint8_t* p, size_t n, uint64_t index, int bits, uint32_t* v) {
    if (bits == 0) return *v = 0, true;
    const uint64_t bit = index * bits;
    if (bits < 8) {
        if ((bit >> 3) >= n) return false;
        *v = (p[bit >> 3] >> (bit & 7)) & ((1u << bits) - 1);
        return true;
    }
    const uint64_t at = bit >> 3, bytes = bits / 8;
    if (at + bytes > n) return false;
    *v = bytes == 1 ? p[at] : bytes == 2 ? read_be16(p + at) : read_be32(p + at);
    return true;
}

bool decode_runs(const uint8_t* d, size_t n, const Layer& layer, uint8_t* out) {
    const int bits_of_type = pixel_bits(layer.info.pixel_type);
    if (n < 13 || bits_of_type > 32) return false;
    const uint32_t minimum = read_le32(d);
    const int32_t runs = static_cast<int32_t>(read_le32(d + 4));
    const int32_t values_at = static_cast<int32_t>(read_le32(d + 8));
    const int bits = d[12];
    if (bits != 0 && bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16 && bits != 32) return false;
    const uint64_t pixels = static_cast<uint64_t>(layer.info.block_width) * layer.info.block_height;
    if (runs == -1) {
        for (uint64_t i = 0; i < pixels; ++i) {
            uint32_t v;
            if (!coded_value(d + 13, n - 13, i, bits, &v)) return false;
            put_value(out, layer.info.pixel_type, i, v + minimum);
        }
        return true;
    }
    if (runs < 0 || values_at < 13 || static_cast<size_t>(values_at) > n) return false;
    const uint8_t* counter = d + 13;
    const uint8_t* counters_end = d + values_at;
    uint64_t pixel = 0;
    for (int32_t r = 0; r < runs; ++r) {
        if (counter >= counters_end) return false;
        const int extra = *counter >> 6;
        if (counters_end - counter < extra + 1) return false;
        uint64_t count = *counter++ & 0x3f;
        for (int k = 0; k < extra; ++k) count = (count << 8) | *counter++;
        uint32_t v;
        if (!coded_value(d + values_at, n - values_at, static_cast<uint64_t>(r), bits, &v)) return false;
        if (count > pixels - pixel) return false;  // expands past its block
        for (uint64_t k = 0; k < count; ++k) put_value(out, layer.info.pixel_type, pixel + k, v + minimum);
        pixel += count;
    }
    return true;
}

// The decoded block, raw layout, from the cache or the file.
const uint8_t* get_block(File& f, Layer& layer, uint64_t index) {
    Slot& slot = layer.cache[static_cast<size_t>(index % layer.cache.size())];
    if (slot.index == static_cast<int64_t>(index)) return slot.data.data();
    slot.index = -1;
    try {
        slot.data.assign(static_cast<size_t>(layer.block_bytes), 0);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    const Block& b = layer.blocks[static_cast<size_t>(index)];
    if (b.valid) {
        FILE* fp = layer.spill ? f.spill : f.fp;
        const uint64_t size = layer.spill ? f.spill_size : f.size;
        if (!b.compressed) {
            if (!read_at(fp, size, b.offset, slot.data.data(), slot.data.size())) return nullptr;
        } else {
            try {
                f.scratch.resize(b.size);
            } catch (const std::bad_alloc&) {
                return nullptr;
            }
            if (!read_at(fp, size, b.offset, f.scratch.data(), b.size) ||
                !decode_runs(f.scratch.data(), b.size, layer, slot.data.data()))
                return nullptr;
        }
    }
    slot.index = static_cast<int64_t>(index);
    return slot.data.data();
}

double sample(const uint8_t* row, int pixel_type, int x) {
    const uint8_t* p = row + static_cast<size_t>(x) * row_pixel_bytes(pixel_type);
    uint16_t u16;
    uint32_t u32;
    float f32;
    switch (pixel_type) {
    case S8: return static_cast<int8_t>(p[0]);
    case U16: memcpy(&u16, p, 2); return u16;
    case S16: memcpy(&u16, p, 2); return static_cast<int16_t>(u16);
    case U32: memcpy(&u32, p, 4); return u32;
    case S32: memcpy(&u32, p, 4); return static_cast<int32_t>(u32);
    case F32: memcpy(&f32, p, 4); return f32;
    default: return p[0];
    }
}

// A table of unique-value bins gives one row per pixel value listed in the
// bin function; the rows are spread out to be indexed by the value itself.
bool apply_bins(const File& f, int table, std::vector<double> colours[3]) {
    const int entry = child_named(f, table, "#Bin_Function840#", nullptr);
    if (entry < 0) return true;
    EntryFields e(f, entry);
    FieldRef r;
    if (!e.get(f, "binFunction.type.string", &r) || field_string(r) != "BFUnique") return true;
    if (!e.get(f, "binFunction.MIFDictionary", &r)) return false;
    const std::string text = field_string(r);
    Dictionary mini;
    for (size_t i = 0; i < text.size() && text[i] == '{';)
        if (!parse_type(text, i, mini, 0)) break;
    FieldRef object, limits;
    Decoder dec{mini};
    if (!e.get(f, "binFunction.MIFObject", &object) ||
        !find_field(dec, "BFUnique", object.p, object.size, "binLimits", &limits) || limits.letter != 'b' ||
        limits.size < 12)
        return false;
    const uint64_t values = static_cast<uint64_t>(read_le32(limits.p)) * read_le32(limits.p + 4);
    if (read_le16(limits.p + 8) != F64 || values != colours[0].size() || 12 + values * 8 > limits.size) return false;
    std::vector<double> spread[3];
    for (uint64_t k = 0; k < values; ++k) {
        const double v = read_le_f64(limits.p + 12 + k * 8);
        if (!whole(v, 0, kMaxColours - 1)) return false;
        const size_t at = static_cast<size_t>(v);
        for (int c = 0; c < 3; ++c) {
            if (spread[c].size() <= at) spread[c].resize(at + 1, 0.0);
            spread[c][at] = k < colours[c].size() ? colours[c][k] : 0.0;
        }
    }
    for (int c = 0; c < 3; ++c) colours[c].swap(spread[c]);
    return true;
}

bool compute_statistics(File& f, int index, Statistics* out) {
    const Layer& layer = f.layers[index];
    if (pixel_bits(layer.info.pixel_type) > 32) return false;
    std::vector<uint8_t> row(static_cast<size_t>(layer.info.width) * row_pixel_bytes(layer.info.pixel_type));
    double sum = 0, squares = 0, lo = 0, hi = 0;
    uint64_t count = 0;
    for (int y = 0; y < layer.info.height; ++y) {
        if (read_row(&f, index, y, row.data()) != 0) return false;
        for (int x = 0; x < layer.info.width; ++x) {
            const double v = sample(row.data(), layer.info.pixel_type, x);
            if (!std::isfinite(v)) continue;
            if (count == 0 || v < lo) lo = v;
            if (count == 0 || v > hi) hi = v;
            sum += v, squares += v * v, ++count;
        }
    }
    if (count == 0) return false;
    const double mean = sum / count;
    const double variance = squares / count - mean * mean;
    *out = {lo, hi, mean, variance > 0 ? sqrt(variance) : 0};
    return true;
}

}  // namespace

// ---------------------------------------------------------------- interface

int pixel_bits(int pixel_type) {
    static const int bits[] = {1, 2, 4, 8, 8, 16, 16, 32, 32, 32, 64, 64, 128};
    return pixel_type >= 0 && pixel_type <= 12 ? bits[pixel_type] : 0;
}

int row_pixel_bytes(int pixel_type) {
    const int bits = pixel_bits(pixel_type);
    return bits <= 8 ? 1 : bits / 8;
}

bool identify(const uint8_t* head, size_t size) {
    return size >= sizeof kTag && memcmp(head, kTag, sizeof kTag) == 0;
}

File* open(const char* path) {
    if (!path) return nullptr;
    std::unique_ptr<File> f(new (std::nothrow) File);
    if (!f) return nullptr;
    f->fp = tarn_fopen(path, "rb");
    if (!f->fp) return nullptr;
    f->path = path;
    f->size = file_size_of(f->fp);
    uint8_t head[20], record[18];
    if (!read_at(f->fp, f->size, 0, head, sizeof head) || !identify(head, sizeof head) ||
        !read_at(f->fp, f->size, read_le32(head + 16), record, sizeof record)) {
        close(f.release());
        return nullptr;
    }
    try {
        const uint32_t root = read_le32(record + 8);
        const uint32_t dict_pos = read_le32(record + 14);
        if (dict_pos >= f->size) throw 0;
        std::string text(static_cast<size_t>(std::min<uint64_t>(f->size - dict_pos, kMaxDictionary)), '\0');
        if (!read_at(f->fp, f->size, dict_pos, &text[0], text.size())) throw 0;
        text.resize(strnlen(text.c_str(), text.size()));
        for (size_t i = 0; i < text.size() && text[i] == '{';)
            if (!parse_type(text, i, f->dict, 0)) break;  // the types before a flaw stay usable
        if (!read_tree(*f, root)) throw 0;
        for (int c : f->entries[0].children) {
            if (f->entries[c].type != "Eimg_Layer") continue;
            Layer layer;
            layer.entry = c;
            if (!read_layer_info(*f, layer)) throw 0;
            f->layers.push_back(layer);
            f->names.push_back(f->entries[c].name);
        }
        if (f->layers.empty()) throw 0;
    } catch (...) {
        close(f.release());
        return nullptr;
    }
    return f.release();
}

void close(File* file) {
    if (!file) return;
    if (file->fp) tarn_fclose(file->fp);
    if (file->spill) tarn_fclose(file->spill);
    delete file;
}

int layer_count(const File* file) { return file ? static_cast<int>(file->layers.size()) : 0; }

const char* layer_name(const File* file, int layer) {
    return file && layer >= 0 && layer < layer_count(file) ? file->names[layer].c_str() : nullptr;
}

int layer_info(const File* file, int layer, LayerInfo* info) {
    if (!file || layer < 0 || layer >= layer_count(file)) return -1;
    *info = file->layers[layer].info;
    return 0;
}

int read_row(File* file, int index, int row, void* out) {
    if (!file || index < 0 || index >= layer_count(file)) return -1;
    Layer& layer = file->layers[index];
    const LayerInfo& i = layer.info;
    if (row < 0 || row >= i.height || !load_blocks(*file, layer)) return -1;
    const int bits = pixel_bits(i.pixel_type);
    const int bytes = row_pixel_bytes(i.pixel_type);
    uint8_t* dst = static_cast<uint8_t*>(out);
    const uint64_t in_block = static_cast<uint64_t>(row % i.block_height) * i.block_width;
    for (int bx = 0; bx < layer.blocks_x; ++bx) {
        const uint8_t* block = get_block(*file, layer, static_cast<uint64_t>(row / i.block_height) * layer.blocks_x + bx);
        if (!block) return -1;
        const int x0 = bx * i.block_width;
        const int n = std::min(i.block_width, i.width - x0);
        for (int x = 0; x < n; ++x) {
            const uint64_t pixel = in_block + x;
            uint8_t* d = dst + static_cast<size_t>(x0 + x) * bytes;
            if (bits < 8) {
                const uint64_t bit = pixel * bits;
                *d = (block[bit >> 3] >> (bit & 7)) & ((1u << bits) - 1);
            } else if (bits == 8) {
                *d = block[pixel];
            } else if (bits == 16) {
                const uint16_t v = read_le16(block + pixel * 2);
                memcpy(d, &v, 2);
            } else {
                for (int w = 0; w < bytes / 4; ++w) {
                    const uint32_t v = read_le32(block + pixel * bytes + w * 4);
                    memcpy(d + w * 4, &v, 4);
                }
            }
        }
    }
    return 0;
}

int map_info(File* file, int layer, MapInfo* info) {
    if (!file || layer < 0 || layer >= layer_count(file)) return -1;
    const int entry = child_named(*file, file->layers[layer].entry, "Map_Info", nullptr);
    if (entry < 0) return 0;
    EntryFields e(*file, entry);
    MapInfo m;
    if (!e.number(*file, "upperLeftCenter.x", &m.upper_left_x) || !e.number(*file, "upperLeftCenter.y", &m.upper_left_y) ||
        !e.number(*file, "pixelSize.width", &m.pixel_width) || !e.number(*file, "pixelSize.height", &m.pixel_height))
        return -1;
    if (!std::isfinite(m.upper_left_x) || !std::isfinite(m.upper_left_y) || !std::isfinite(m.pixel_width) ||
        !std::isfinite(m.pixel_height))
        return -1;
    *info = m;
    return 1;
}

int colour_table(File* file, int index, int* count, const double* rgb[3]) {
    if (!file || index < 0 || index >= layer_count(file)) return -1;
    Layer& layer = file->layers[index];
    if (layer.colours_state == 0) {
        layer.colours_state = -1;
        const int table = child_named(*file, layer.entry, "Descriptor_Table", nullptr);
        if (table < 0) {
            layer.colours_state = 2;
        } else {
            const char* names[3] = {"Red", "Green", "Blue"};
            int found = 0;
            for (int c = 0; c < 3; ++c) {
                const int column = child_named(*file, table, names[c], nullptr);
                if (column < 0) continue;
                ++found;
                EntryFields e(*file, column);
                double rows, at;
                if (!e.number(*file, "numRows", &rows) || !e.number(*file, "columnDataPtr", &at) ||
                    !whole(rows, 0, kMaxColours) || !whole(at, 0, 4294967295.0))
                    return -1;
                std::vector<uint8_t> raw(static_cast<size_t>(rows) * 8);
                if (!read_at(file->fp, file->size, static_cast<uint64_t>(at), raw.data(), raw.size())) return -1;
                layer.colours[c].resize(static_cast<size_t>(rows));
                for (size_t k = 0; k < layer.colours[c].size(); ++k) {
                    const double v = read_le_f64(raw.data() + k * 8);
                    layer.colours[c][k] = std::isfinite(v) ? v : 0;
                }
            }
            if (found != 0 && found != 3) return -1;
            if (found && !apply_bins(*file, table, layer.colours)) return -1;
            layer.colours_state = found ? 1 : 2;
            if (found && layer.colours[0].empty()) layer.colours_state = 2;
        }
    }
    if (layer.colours_state < 0) return -1;
    if (layer.colours_state == 2) {
        *count = 0;
        return 0;
    }
    size_t n = layer.colours[0].size();
    for (int c = 1; c < 3; ++c) n = std::min(n, layer.colours[c].size());
    *count = static_cast<int>(n);
    for (int c = 0; c < 3; ++c) rgb[c] = layer.colours[c].data();
    return 1;
}

int statistics(File* file, int index, Statistics* stats) {
    if (!file || index < 0 || index >= layer_count(file)) return -1;
    Layer& layer = file->layers[index];
    if (layer.stats_state == 0) {
        layer.stats_state = -1;
        const int entry = child_named(*file, layer.entry, "Statistics", nullptr);
        Statistics s;
        bool ok = false;
        if (entry >= 0) {
            EntryFields e(*file, entry);
            ok = e.number(*file, "minimum", &s.minimum) && e.number(*file, "maximum", &s.maximum) &&
                 e.number(*file, "mean", &s.mean) && e.number(*file, "stddev", &s.stddev);
        }
        // A file written without statistics has them counted once, here.
        if (!ok) ok = compute_statistics(*file, index, &s);
        if (ok) layer.stats = s, layer.stats_state = 1;
    }
    if (layer.stats_state < 0) return -1;
    *stats = layer.stats;
    return 0;
}

}  // namespace hfa
