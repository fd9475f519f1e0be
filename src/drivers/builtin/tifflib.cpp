// TIFF tags, read and written.
//
//   0   u16  byte order: "II" 0x4949 or "MM" 0x4D4D
//   2   u16  version, 42
//   4   u32  offset of the first IFD
//   IFD: u16 tag count; 12 bytes a tag (u16 tag, u16 type, u32 count, u32
//        value or offset); u32 offset of the next IFD
//
// Values of up to four bytes stand in the value field itself, left-justified
// in file order: a big-endian SHORT is in the field's high half.

#include <tarnimage/tifflib.h>

#include <string.h>

#include "platform/alloc.h"
#include "platform/byteorder.h"
#include "platform/report.h"
#include <tarnimage/tarn_file.h>

namespace {

constexpr uint16_t kBigEndian = 0x4D4D;
constexpr int kTagBytes = 12;

bool live(const TifFile* tif) { return tif && tif->magic == TIF_MAGIC; }

void fill_error(const TifFile* tif, TifError* error, int writing) {
    if (!error) return;
    error->swap = tif->host_order != tif->file_order ? 1 : 0;
    error->writing = static_cast<uint16_t>(writing);
    error->big = tif->host_order == kBigEndian ? 1 : 0;
}

// The caller's TifError, or a local one when they passed none.
struct ErrorSlot {
    TifError local = {0, 0, 0};
    TifError* use;
    explicit ErrorSlot(TifError* given) : use(given ? given : &local) {}
};

bool held(const TifFile* tif, const TifIfd* ifd) {
    if (!ifd) return false;
    for (const TifIfd* slot : tif->ifds)
        if (slot == ifd) return true;
    return false;
}

int free_slot(const TifFile* tif) {
    for (int i = 0; i < TIF_MAX_IFDS; ++i)
        if (!tif->ifds[i]) return i;
    return -1;
}

TifIfd* new_ifd(uint16_t capacity) {
    TifIfd* ifd = static_cast<TifIfd*>(CAllocate1(1, sizeof(TifIfd)));
    if (!ifd) return nullptr;
    ifd->capacity = capacity;
    ifd->tags = static_cast<TifTag*>(CAllocate1(capacity ? capacity : 1, sizeof(TifTag)));
    if (!ifd->tags) {
        CFree1(ifd);
        return nullptr;
    }
    return ifd;
}

void free_ifd(TifIfd* ifd) {
    if (!ifd) return;
    CFree1(ifd->tags);
    CFree1(ifd);
}

bool seek(FILE* file, uint32_t offset) {
    // Offsets are unsigned 32-bit; a long holds every one of them here.
    return tarn_fseek(file, static_cast<long>(offset), SEEK_SET) == 0;
}

// Multi-byte values are written in host order, which is the file's when writing.
void put16(uint8_t* p, uint16_t v) { memcpy(p, &v, 2); }
void put32(uint8_t* p, uint32_t v) { memcpy(p, &v, 4); }

bool write16(FILE* file, uint16_t v) {
    uint8_t b[2];
    put16(b, v);
    return tarn_fwrite(b, 1, 2, file) == 2;
}
bool write32(FILE* file, uint32_t v) {
    uint8_t b[4];
    put32(b, v);
    return tarn_fwrite(b, 1, 4, file) == 4;
}

void note_read(TifFile* tif, const TifIfd* ifd, int tag, uint32_t index) {
    tif->last_ifd = ifd ? ifd->offset : 0;
    tif->last_tag = static_cast<uint32_t>(tag);
    tif->last_index = index;
}

// Items swapped in place from file to host order; signed types stay as read.
void swap_items(const TifError* error, int type, void* buffer, uint32_t count) {
    switch (type) {
    case 3:
        uSwapWords(error, static_cast<uint16_t*>(buffer), count);
        break;
    case 4:
        uSwapLongs(error, static_cast<uint32_t*>(buffer), count);
        break;
    case 5:
        uSwapLongs(error, static_cast<uint32_t*>(buffer), count * 2);
        break;
    case 12:
        uSwapDoubles(error, static_cast<double*>(buffer), count);
        break;
    default:
        break;
    }
}

}  // namespace

extern "C" {

int tifBytesPerType(int type) {
    switch (type) {
    case 1: case 2: case 6: case 7: return 1;
    case 3: case 8: return 2;
    case 4: case 9: return 4;
    case 5: case 10: case 12: return 8;
    default: return 0;
    }
}

int uIsByteSwap(const TifFile* tif) { return tif && tif->host_order != tif->file_order ? 1 : 0; }

long tifAlloc(TifFile* tif, uint32_t size) {
    if (!live(tif)) return -1;
    // Offsets stay even: readers expect data on word boundaries.
    uint64_t end = uint64_t(tif->next_free) + size + (size & 1);
    if (end > UINT32_MAX) return -1;
    long at = static_cast<long>(tif->next_free);
    tif->next_free = static_cast<uint32_t>(end);
    return at;
}

uint16_t findW(const uint16_t* words, uint16_t value, int count) {
    for (int i = 0; i < count; ++i)
        if (words[i] == value) return static_cast<uint16_t>(i);
    return TIF_NOT_FOUND;
}

int tifSearchTags(const TifTag* tags, int tag, int count, uint16_t* index_out) {
    for (int i = 0; i < count; ++i)
        if (tags[i].tag == tag) {
            *index_out = static_cast<uint16_t>(i);
            return 1;
        }
    *index_out = TIF_NOT_FOUND;
    return 0;
}

void tifSortTags(TifTag* tags, int count) {
    for (int pass = 0; pass < count; ++pass) {
        bool changed = false;
        for (int i = 0; i + 1 < count - pass; ++i)
            if (tags[i].tag > tags[i + 1].tag) {
                TifTag t = tags[i];
                tags[i] = tags[i + 1];
                tags[i + 1] = t;
                changed = true;
            }
        if (!changed) break;
    }
}

void tifSwapTags(const TifError* error, TifTag* tags, int count) {
    for (int i = 0; i < count; ++i) {
        TifTag& t = tags[i];
        // A single SHORT is told by type and count in host order: before the
        // swap when writing, after it when reading.
        const bool short_before = t.type == 3 && t.count == 1;
        t.tag = uSwapWord(error, t.tag);
        t.type = uSwapWord(error, t.type);
        t.count = uSwapLong(error, t.count);
        const bool one_short = error->writing ? short_before : t.type == 3 && t.count == 1;
        t.value = one_short ? uSwapValue(error, t.value) : uSwapLong(error, t.value);
    }
}

uint16_t uSwapWord(const TifError* error, uint16_t value) { return error->swap ? flip2(value) : value; }

uint32_t uSwapLong(const TifError* error, uint32_t value) { return error->swap ? flip4(value) : value; }

double uSwapDouble(const TifError* error, double value) {
    if (!error->swap) return value;
    int one = 1;
    swd8bn_(&value, &one);
    return value;
}

uint32_t uSwapValue(const TifError* error, uint32_t value) {
    if (!error->writing) {
        if (error->big) value >>= 16;
        return uSwapWord(error, static_cast<uint16_t>(value & 0xFFFF));
    }
    uint32_t v = uSwapWord(error, static_cast<uint16_t>(value & 0xFFFF));
    return error->big ? v << 16 : v;
}

void uSwapWords(const TifError* error, uint16_t* values, uint32_t count) {
    if (!error->swap) return;
    for (uint32_t i = 0; i < count; ++i) values[i] = flip2(values[i]);
}

void uSwapLongs(const TifError* error, uint32_t* values, uint32_t count) {
    if (!error->swap) return;
    for (uint32_t i = 0; i < count; ++i) values[i] = flip4(values[i]);
}

void uSwapDoubles(const TifError* error, double* values, uint32_t count) {
    if (!error->swap) return;
    for (uint32_t i = 0; i < count; ++i) values[i] = uSwapDouble(error, values[i]);
}

TifFile* tifOpen(FILE* file, int host_order, int version, int mode, TifError* error) {
    ErrorSlot e(error);
    TifFile* tif = static_cast<TifFile*>(CAllocate1(1, sizeof(TifFile)));
    if (!tif) return nullptr;
    tif->magic = TIF_MAGIC;
    tif->host_order = static_cast<uint16_t>(host_order);
    tif->writing = mode == 1 ? 1 : 0;
    tif->file = file;
    tif->next_free = 8;
    if (mode == 1) {
        tif->file_order = tif->host_order;
        tif->version = static_cast<uint16_t>(version);
        tif->first_ifd = 0;
        fill_error(tif, e.use, 1);
        return tif;
    }
    uint8_t head[8];
    if (!file || tarn_fseek(file, 0, SEEK_SET) != 0 || tarn_fread(head, 1, 8, file) != 8) {
        CFree1(tif);
        return nullptr;
    }
    // The first word is not tested: anything but the host's mark counts as
    // the opposite order.
    tif->file_order = read_le16(head);
    fill_error(tif, e.use, 0);
    tif->version = uSwapWord(e.use, read_le16(head + 2));
    tif->first_ifd = uSwapLong(e.use, read_le32(head + 4));
    if (tif->version != version) {
        CFree1(tif);
        return nullptr;
    }
    return tif;
}

TifIfd* tifReadIFD(TifFile* tif, int* count_out, TifError* error) {
    ErrorSlot e(error);
    if (!live(tif)) return nullptr;
    fill_error(tif, e.use, 0);
    // Only the first IFD is read: the record holds no chain to follow.
    if (free_slot(tif) != 0) return nullptr;
    uint8_t word[2];
    if (!seek(tif->file, tif->first_ifd) || tarn_fread(word, 1, 2, tif->file) != 2) return nullptr;
    const uint16_t count = uSwapWord(e.use, read_le16(word));
    if (count > TIF_MAX_TAGS) return nullptr;
    TifIfd* ifd = new_ifd(count);
    if (!ifd) return nullptr;
    ifd->offset = tif->first_ifd;
    ifd->count = count;
    const size_t bytes = size_t(count) * kTagBytes + 4;
    uint8_t* raw = static_cast<uint8_t*>(CAllocate1(bytes, 1));
    if (!raw || tarn_fread(raw, 1, bytes, tif->file) != bytes) {
        CFree1(raw);
        free_ifd(ifd);
        return nullptr;
    }
    for (int i = 0; i < count; ++i) {
        const uint8_t* p = raw + size_t(i) * kTagBytes;
        ifd->tags[i] = {read_le16(p), read_le16(p + 2), read_le32(p + 4), read_le32(p + 8)};
    }
    ifd->next = uSwapLong(e.use, read_le32(raw + size_t(count) * kTagBytes));
    CFree1(raw);
    tif->ifds[0] = ifd;
    tifSwapTags(e.use, ifd->tags, count);
    if (count_out) *count_out = count;
    return ifd;
}

TifIfd* tifMakeIFD(TifFile* tif, int capacity, TifError* error) {
    ErrorSlot e(error);
    if (!live(tif)) {
        user_warn("magic number wrong \n");
        return nullptr;
    }
    fill_error(tif, e.use, tif->writing);
    const int slot = free_slot(tif);
    if (slot < 0 || capacity < 0 || capacity > TIF_MAX_TAGS) return nullptr;
    TifIfd* ifd = new_ifd(static_cast<uint16_t>(capacity));
    if (!ifd) return nullptr;
    const long at = tifAlloc(tif, static_cast<uint32_t>(capacity) * kTagBytes + 12);
    if (at < 0) {
        free_ifd(ifd);
        return nullptr;
    }
    ifd->offset = static_cast<uint32_t>(at);
    tif->ifds[slot] = ifd;
    tif->file_dirty = 1;
    return ifd;
}

int tifReadTag(TifFile* tif, TifIfd* ifd, int tag, uint32_t* count_out, uint32_t* value_out,
               TifError* error) {
    ErrorSlot e(error);
    if (!live(tif)) {
        user_warn("tifReadTag: bad magic number\n");
        return 0;
    }
    fill_error(tif, e.use, 0);
    if (!held(tif, ifd)) {
        user_warn("tifReadTag: invalid IFD\n");
        return 0;
    }
    uint16_t index;
    if (!tifSearchTags(ifd->tags, tag, ifd->count, &index)) return 0;
    if (count_out) *count_out = ifd->tags[index].count;
    if (value_out) *value_out = ifd->tags[index].value;
    return 1;
}

int tifReadNTag(TifFile* tif, TifIfd* ifd, int index, int* tag_out, int* type_out, uint32_t* count_out,
                uint32_t* value_out, TifError* error) {
    ErrorSlot e(error);
    if (!live(tif) || !held(tif, ifd)) return 0;
    fill_error(tif, e.use, 0);
    if (index < 0 || index >= ifd->count) return 0;
    const TifTag& t = ifd->tags[index];
    if (tag_out) *tag_out = t.tag;
    if (type_out) *type_out = t.type;
    if (count_out) *count_out = t.count;
    if (value_out) *value_out = t.value;
    return 1;
}

long tifReadData(TifFile* tif, TifIfd* ifd, int tag, uint32_t index, void* buffer, uint32_t count, int mode,
                 TifError* error) {
    ErrorSlot e(error);
    if (mode == TIF_DATA_TAG) {
        uint32_t* out = static_cast<uint32_t*>(buffer);
        int found = tifReadTag(tif, ifd, tag, out, out ? out + 1 : nullptr, e.use);
        if (live(tif)) note_read(tif, nullptr, 0, 0);
        return found;
    }
    if (!live(tif) || !held(tif, ifd)) return 0;
    fill_error(tif, e.use, 0);
    uint16_t at;
    if (!tifSearchTags(ifd->tags, tag, ifd->count, &at)) return 0;
    const TifTag t = ifd->tags[at];
    const int size = tifBytesPerType(t.type);
    const bool same_tag = tif->last_ifd == ifd->offset && tif->last_tag == uint32_t(tag);
    const bool same_read = same_tag && tif->last_index == index;
    long answer = 0;
    switch (mode) {
    case TIF_DATA_ITEMS: {
        if (index >= t.count) break;
        const size_t bytes = size_t(count) * size;
        memset(buffer, 0, bytes);
        // A short read leaves the missing items 0.
        if (seek(tif->file, static_cast<uint32_t>(t.value + uint64_t(index) * size)))
            tarn_fread(buffer, 1, bytes, tif->file);
        swap_items(e.use, t.type, buffer, count);
        answer = 1;
        break;
    }
    case TIF_DATA_BYTES:
        if (!same_tag && !seek(tif->file, t.value)) break;
        answer = static_cast<long>(tarn_fread(buffer, 1, count, tif->file));
        break;
    case TIF_DATA_STRIP: {
        if (index >= t.count) break;
        if (!same_read) {
            uint32_t offset;
            if (t.count == 2 && t.type == 3) {
                offset = (t.value >> (1 - index)) & 0xFFFF;
            } else {
                uint8_t item[4] = {0, 0, 0, 0};
                const int item_size = size > 4 ? 4 : size;
                if (item_size == 0 || !seek(tif->file, static_cast<uint32_t>(t.value + uint64_t(index) * size)) ||
                    tarn_fread(item, 1, size_t(item_size), tif->file) != size_t(item_size))
                    break;
                offset = item_size == 2 ? uSwapWord(e.use, read_le16(item))
                         : item_size == 4 ? uSwapLong(e.use, read_le32(item))
                                          : item[0];
            }
            if (!seek(tif->file, offset)) break;
        }
        answer = static_cast<long>(tarn_fread(buffer, 1, count, tif->file));
        break;
    }
    default:
        return 0;
    }
    // A read of values leaves the file elsewhere: nothing for a later byte or
    // strip read of the tag to go on from.
    if (mode == TIF_DATA_ITEMS) note_read(tif, nullptr, 0, 0);
    else note_read(tif, ifd, tag, index);
    return answer;
}

int tifWriteTag(TifFile* tif, TifIfd* ifd, int tag, int type, uint32_t count, uint32_t value, TifError* error) {
    ErrorSlot e(error);
    if (!live(tif)) {
        user_warn("bad magic number\n");
        return 0;
    }
    fill_error(tif, e.use, 1);
    if (!held(tif, ifd)) return 0;
    uint16_t at;
    if (tifSearchTags(ifd->tags, tag, ifd->count, &at)) {
        ifd->tags[at].count = count;
        ifd->tags[at].value = value;
        return 1;
    }
    if (ifd->count >= ifd->capacity) {
        user_warn("no more room for new tags\n");
        return 0;
    }
    ifd->tags[ifd->count++] = {static_cast<uint16_t>(tag), static_cast<uint16_t>(type), count, value};
    return 1;
}

int tifWriteData(TifFile* tif, TifIfd* ifd, int tag, uint32_t index, const void* buffer, uint32_t count,
                 int mode, TifError* error) {
    ErrorSlot e(error);
    if (!live(tif)) {
        user_warn("bad magic number\n");
        return 0;
    }
    fill_error(tif, e.use, 1);
    uint16_t at;
    if (!held(tif, ifd) || !tifSearchTags(ifd->tags, tag, ifd->count, &at)) {
        user_warn("tag not found\n");
        return 0;
    }
    TifTag& t = ifd->tags[at];
    const int size = tifBytesPerType(t.type);
    if (mode == TIF_DATA_ITEMS && size > 0 && index == 0) {
        const uint64_t bytes = uint64_t(count) * size;
        if (bytes <= 4) {
            uint8_t field[4] = {0, 0, 0, 0};
            memcpy(field, buffer, size_t(bytes));
            t.value = t.type == 3 && count == 1 ? read_le16(field) : read_le32(field);
        } else {
            const long offset = bytes <= UINT32_MAX ? tifAlloc(tif, static_cast<uint32_t>(bytes)) : -1;
            if (offset < 0 || !seek(tif->file, static_cast<uint32_t>(offset)) ||
                tarn_fwrite(buffer, 1, size_t(bytes), tif->file) != bytes)
                return 0;
            t.value = static_cast<uint32_t>(offset);
        }
        t.count = count;
        return 1;
    }
    if (mode == TIF_DATA_STRIP && t.type == 4 && index < t.count) {
        const long offset = tifAlloc(tif, count);
        if (offset < 0 || !seek(tif->file, static_cast<uint32_t>(offset)) ||
            tarn_fwrite(buffer, 1, count, tif->file) != count)
            return 0;
        if (t.count == 1) {
            t.value = static_cast<uint32_t>(offset);
            return 1;
        }
        return seek(tif->file, static_cast<uint32_t>(t.value + uint64_t(index) * 4)) &&
                       write32(tif->file, static_cast<uint32_t>(offset))
                   ? 1
                   : 0;
    }
    user_warn("incorrect tag type or select is out of range");
    return 0;
}

int tifClose(TifFile* tif, int close_file, TifError* error) {
    ErrorSlot e(error);
    if (!live(tif)) {
        user_warn("bad magic number\n");
        return 0;
    }
    fill_error(tif, e.use, tif->writing);
    FILE* file = tif->file;
    const bool write = tif->file_dirty && tif->writing;
    bool ok = true;
    if (write) {
        ok = tarn_fseek(file, 0, SEEK_SET) == 0 && write16(file, tif->file_order) &&
             write16(file, uSwapWord(e.use, tif->version));
    }
    for (TifIfd*& ifd : tif->ifds) {
        if (!ifd) continue;
        if (write && ok) {
            // The offset continues the link that the header or the IFD before left open.
            ok = write32(file, uSwapLong(e.use, ifd->offset)) && seek(file, ifd->offset) &&
                 write16(file, uSwapWord(e.use, ifd->count));
            tifSortTags(ifd->tags, ifd->count);
            tifSwapTags(e.use, ifd->tags, ifd->count);
            for (int i = 0; ok && i < ifd->count; ++i) {
                uint8_t raw[kTagBytes];
                put16(raw, ifd->tags[i].tag);
                put16(raw + 2, ifd->tags[i].type);
                put32(raw + 4, ifd->tags[i].count);
                put32(raw + 8, ifd->tags[i].value);
                ok = tarn_fwrite(raw, 1, kTagBytes, file) == size_t(kTagBytes);
            }
        }
        free_ifd(ifd);
        ifd = nullptr;
    }
    if (write && ok) write32(file, 0);
    tif->magic = 0;
    CFree1(tif);
    if (close_file && file) tarn_fclose(file);
    return 1;
}

void tifExit(TifFile* tif) {
    if (!tif) return;
    // The list is taken before the record goes.
    TifIfd* ifds[TIF_MAX_IFDS];
    memcpy(ifds, tif->ifds, sizeof ifds);
    tif->magic = 0;
    CFree1(tif);
    for (TifIfd* ifd : ifds) free_ifd(ifd);
}

}  // extern "C"
