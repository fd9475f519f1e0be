// ASRP and USRP products: .img files described by their general information file.
//
// Files of a product (names upper case in every real product; lower case tried first):
//   NAME01.GEN  ISO 8211; the GIN record of each image: product, zone, ARV/BRV or
//               pixel size, origin, tile rows and columns, PCB/PVB, image name,
//               then the tile index map (11 decimal characters per tile)
//   NAME01.QAL  ISO 8211; record 1, field COL: CCD (index), NSR, NSG, NSB per colour
//   NAMExx.IMG  ISO 8211; the SCN field of its data record holds the tiles,
//               tile index entries count from 1 at the field's first byte
// Tile codings (PCB, PVB): (0,8) raw bytes; (0,4) raw nibbles, high first;
// (8,8) count/value byte pairs; (8,0) alternating run bytes of two colours;
// (4,0) two run nibbles per byte; (4,8) 12-bit count/value codes in pairs.

#include "drivers/military/srp.h"

#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <tarnimage/tarn_file.h>

#include "drivers/military/iso8211.h"
#include "udf/registered_drivers.h"

static RegisteredState state_SRP = {0, 0};

namespace {

struct ColorTable {
    int32_t count;
    uint8_t* red;
    uint8_t* green;
    uint8_t* blue;
};

struct TileIndexMap {
    int32_t x, y, count;
    int32_t* entries;
    long file_offset;
};

struct SRPhdr {
    FILE* file;
    int32_t nCurRow, nTileX, nTileY, nPCB, nPVB, nPSP, nWS1, nWS2;
    std::string gen_path;
    char product;
    ColorTable colors;
    TileIndexMap tile_map;
    uint8_t* tile_row;
    long data_start;  // the image file's SCN field
    long file_size;
};

struct GenRecord {
    char product_name[21], edition[9], level[2], pixel_x[7], pixel_y[7], unit[4], zone[4];
    char coords[4][11], scale[10], psp[6], one[2], arv[10], brv[10], origin_x[11], origin_y[11];
    char comment[101], numbers[4][7], tile_rows[4], tile_cols[4], tile_width[4], tile_height[4];
    char digits[4][2], pvb[2], image_name[13], tile_map_flag[2], three[3][6];
};

void SRPhdrInit(SRPhdr* h) {
    h->file = nullptr;
    h->nCurRow = h->nTileX = h->nTileY = h->nPCB = h->nPVB = h->nPSP = h->nWS1 = h->nWS2 = -1;
    h->product = 0;
    h->colors = ColorTable{0, nullptr, nullptr, nullptr};
    h->tile_map = TileIndexMap{0, 0, 0, nullptr, -1};
    h->tile_row = nullptr;
    h->data_start = -1;
    h->file_size = 0;
}

void SRPhdrFree(SRPhdr* h) {
    if (h->file) tarn_fclose(h->file);
    free(h->colors.red);
    free(h->colors.green);
    free(h->colors.blue);
    free(h->tile_map.entries);
    free(h->tile_row);
    delete h;
}

// Fixed width when length > 0; otherwise up to a unit terminator (dropped) or
// a field terminator (left for the next read), keeping at most keep characters.
bool retrieveValue(FILE* fp, int length, char* out, int keep) {
    if (length > 0) {
        if (tarn_fread(out, 1, size_t(length), fp) != size_t(length)) return false;
        out[length] = 0;
        return true;
    }
    int n = 0;
    for (;;) {
        const int c = tarn_fgetc(fp);
        if (c == EOF || c == 31) break;
        if (c == 30) {
            tarn_ungetc(c, fp);
            break;
        }
        if (n < keep) out[n++] = char(c);
    }
    out[n] = 0;
    return true;
}

bool read_number(FILE* fp, int width, long* value) {
    char text[16];
    if (width > 15 || !retrieveValue(fp, width, text, 0)) return false;
    long v = 0;
    for (int i = 0; i < width; ++i) {
        if (!isdigit(static_cast<unsigned char>(text[i]))) return false;
        v = v * 10 + (text[i] - '0');
    }
    *value = v;
    return true;
}

bool skip(FILE* fp, long n) { return n >= 0 && tarn_fseek(fp, n, SEEK_CUR) == 0; }

bool drop_separator(FILE* fp) { return tarn_fgetc(fp) != EOF; }

// Directory and base name (without suffix) of an image path.
void split_name(const char* name, std::string* dir, std::string* base) {
    const std::string n(name);
    const size_t slash = n.find_last_of('/');
    *dir = slash == std::string::npos ? "." : n.substr(0, slash);
    std::string file = slash == std::string::npos ? n : n.substr(slash + 1);
    const size_t dot = file.find_last_of('.');
    *base = dot == std::string::npos ? file : file.substr(0, dot);
}

// Real products are upper case; the lower-case name is asked first so that
// both spellings of a product work on a case-sensitive file system.
std::string companion(const std::string& dir, const std::string& base, const char* lower, const char* upper) {
    if (base.empty()) return std::string();
    std::string stem = dir + "/" + base;
    stem.back() = '1';
    for (const char* suffix : {lower, upper}) {
        const std::string path = stem + suffix;
        FILE* f = tarn_fopen(path.c_str(), "rb");
        if (f) {
            tarn_fclose(f);
            return path;
        }
    }
    return std::string();
}

// Stands on the data of the record at the file position; false unless it is
// a GIN record. record_end is where the next record starts.
bool enter_gin_record(FILE* fp, long* record_end) {
    const long start = tarn_ftell(fp);
    long length = 0, base = 0;
    if (start < 0 || !read_number(fp, 5, &length) || !skip(fp, 7) || !read_number(fp, 5, &base)) return false;
    if (length < 24 || base < 24 || base > length || !skip(fp, base - 17)) return false;
    char tag[4];
    if (!retrieveValue(fp, 3, tag, 0)) return false;
    *record_end = start + length;
    return toupper(static_cast<unsigned char>(tag[0])) == 'G' && toupper(static_cast<unsigned char>(tag[1])) == 'I' &&
           toupper(static_cast<unsigned char>(tag[2])) == 'N';
}

int SRPcheckGen(const std::string& dir, const std::string& base) {
    const std::string path = companion(dir, base, ".gen", ".GEN");
    if (path.empty()) return -1;
    FILE* fp = tarn_fopen(path.c_str(), "rb");
    if (!fp) return -1;
    long first = 0, end = 0;
    const bool ok = read_number(fp, 5, &first) && tarn_fseek(fp, first, SEEK_SET) == 0 && enter_gin_record(fp, &end);
    tarn_fclose(fp);
    return ok ? 0 : -1;
}

bool equal_no_case(const char* a, const char* b) {
    for (; *a && *b; ++a, ++b)
        if (tolower(static_cast<unsigned char>(*a)) != tolower(static_cast<unsigned char>(*b))) return false;
    return *a == *b;
}

// One GIN record's fields from the count on; false on a failed test.
bool read_gin_fields(FILE* fp, bool asrp11, GenRecord* r) {
    char count[32];
    if (!retrieveValue(fp, 0, count, 31)) return false;
    if (!asrp11 && atoi(count) < 1) return false;
    if (!drop_separator(fp)) return false;
    // The unit terminator that ends product_name is the separator behind it.
    if (!retrieveValue(fp, 0, r->product_name, 20)) return false;
    const bool asrp = toupper(static_cast<unsigned char>(r->product_name[0])) == 'A';
    if (!retrieveValue(fp, asrp11 ? 8 : 6, r->edition, 0) || !drop_separator(fp)) return false;
    if (!retrieveValue(fp, 1, r->level, 0) || strcmp(r->level, "4") != 0) return false;
    if (!asrp) {
        if (!retrieveValue(fp, 6, r->pixel_x, 0) || !retrieveValue(fp, 6, r->pixel_y, 0) ||
            !retrieveValue(fp, 3, r->unit, 0))
            return false;
    }
    if (!retrieveValue(fp, asrp11 ? 2 : 3, r->zone, 0)) return false;
    for (auto& c : r->coords)
        if (!retrieveValue(fp, 10, c, 0)) return false;
    if (!retrieveValue(fp, 9, r->scale, 0) || !retrieveValue(fp, 5, r->psp, 0) || !retrieveValue(fp, 1, r->one, 0))
        return false;
    if (asrp) {
        if (!retrieveValue(fp, 9, r->arv, 0) || !retrieveValue(fp, 9, r->brv, 0)) return false;
    } else {
        strcpy(r->arv, "-1");
        strcpy(r->brv, "-1");
    }
    if (!retrieveValue(fp, 10, r->origin_x, 0) || !retrieveValue(fp, 10, r->origin_y, 0)) return false;
    if (!retrieveValue(fp, 0, r->comment, 100) || !drop_separator(fp)) return false;
    for (auto& n : r->numbers)
        if (!retrieveValue(fp, 6, n, 0)) return false;
    if (!retrieveValue(fp, 3, r->tile_rows, 0) || !retrieveValue(fp, 3, r->tile_cols, 0) ||
        !retrieveValue(fp, 3, r->tile_width, 0) || !retrieveValue(fp, 3, r->tile_height, 0))
        return false;
    if (strcmp(r->tile_width, "128") != 0 || strcmp(r->tile_height, "128") != 0) return false;
    for (auto& d : r->digits)
        if (!retrieveValue(fp, 1, d, 0)) return false;
    if (!retrieveValue(fp, 1, r->pvb, 0)) return false;
    if (!strchr("048", r->digits[3][0]) || !strchr("048", r->pvb[0]) || !r->digits[3][0] || !r->pvb[0]) return false;
    if (!retrieveValue(fp, 12, r->image_name, 0) || !retrieveValue(fp, 1, r->tile_map_flag, 0) ||
        !drop_separator(fp))
        return false;
    for (auto& n : r->three)
        if (!retrieveValue(fp, 5, n, 0)) return false;
    return drop_separator(fp);
}

int ScanGenFile(const std::string& dir, const std::string& base, bool asrp11, GenRecord* rec, TileIndexMap* map,
                std::string* gen_path) {
    if (map) map->file_offset = -1;
    const std::string wanted = base + ".img";
    const std::string path = companion(dir, base, ".gen", ".GEN");
    if (path.empty()) return -1;
    if (gen_path) *gen_path = path;
    FILE* fp = tarn_fopen(path.c_str(), "rb");
    if (!fp) return -1;
    long first = 0;
    int result = -1;
    if (read_number(fp, 5, &first) && tarn_fseek(fp, first, SEEK_SET) == 0) {
        long end = 0;
        // Every pass moves to the next record, at least 24 bytes on.
        while (enter_gin_record(fp, &end)) {
            memset(rec, 0, sizeof *rec);
            if (!read_gin_fields(fp, asrp11, rec)) break;
            if (equal_no_case(rec->image_name, wanted.c_str())) {
                if (rec->tile_map_flag[0] == 'Y') {
                    if (map) map->file_offset = tarn_ftell(fp);
                } else {
                    // No map: tiles follow one another in the image file.
                    const int shift = rec->pvb[0] == '4' ? 13 : rec->pvb[0] == '8' ? 14 : 0;
                    if (rec->digits[3][0] != '0' || shift == 0) break;
                    if (map) {
                        const int32_t n = atoi(rec->tile_rows) * atoi(rec->tile_cols);
                        free(map->entries);
                        map->entries = static_cast<int32_t*>(calloc(size_t(n > 0 ? n : 1), sizeof(int32_t)));
                        if (!map->entries) break;
                        map->x = atoi(rec->tile_cols);
                        map->y = atoi(rec->tile_rows);
                        map->count = n;
                        for (int32_t i = 0; i < n; ++i) map->entries[i] = (i << shift) | 1;
                    }
                }
                result = 0;
                break;
            }
            if (tarn_fseek(fp, end, SEEK_SET) != 0) break;
        }
    }
    tarn_fclose(fp);
    return result;
}

int scan_both(const std::string& dir, const std::string& base, GenRecord* rec, TileIndexMap* map,
              std::string* gen_path) {
    if (ScanGenFile(dir, base, false, rec, map, gen_path) == 0) return 0;
    return ScanGenFile(dir, base, true, rec, map, gen_path);
}

int SRPhdrRetrieve(const std::string& dir, const std::string& base, SRPhdr* h, double* ox, double* oy, double* px,
                   double* py) {
    GenRecord rec;
    if (scan_both(dir, base, &rec, &h->tile_map, &h->gen_path) < 0) return -1;
    h->product = char(toupper(static_cast<unsigned char>(rec.product_name[0])));
    if (h->product != 'A' && h->product != 'U') return -1;
    h->nTileX = atoi(rec.tile_cols);
    h->nTileY = atoi(rec.tile_rows);
    h->nPCB = rec.digits[3][0] - '0';
    h->nPVB = rec.pvb[0] - '0';
    h->nPSP = atoi(rec.psp);
    if (h->nTileX < 1 || h->nTileY < 1) return -1;
    double x = atof(rec.origin_x), y = atof(rec.origin_y);
    if (h->product == 'A') {
        const int zone = atoi(rec.zone);
        const double arv = atof(rec.arv), brv = atof(rec.brv);
        if (zone < 1 || zone > 18 || arv == 0.0 || brv == 0.0) return -1;
        x /= 3600.0;
        y /= 3600.0;
        const double rad = x * 0.017453292519943;
        if (zone == 9 || zone == 18) {
            *px = 40075016.68558 / arv;
            *py = 40075016.68558 / brv;
            if (zone == 9) {
                const double nx = sin(rad) * (90 - y) * brv / 360 * *px;
                y = -cos(rad) * (brv / 360 * *py * (90 - y));
                x = nx;
            } else {
                const double nx = sin(rad) * (y + 90) * brv / 360 * *px;
                y = cos(rad) * (brv / 360 * *py * (y + 90));
                x = nx;
            }
        } else {
            *px = 360.0 / arv;
            *py = 360.0 / brv;
        }
    } else {
        *px = atof(rec.pixel_x);
        *py = atof(rec.pixel_y);
    }
    *ox = x + *px * 0.5;
    *oy = y - *py * 0.5;
    if (*px == 0.0 || *py == 0.0) *px = *py = 1.0;
    if (h->nPCB != 0 || h->nPVB != 0) return 0;
    return -1;
}

int colorTableRetrieve(const std::string& dir, const std::string& base, ColorTable* table) {
    const std::string path = companion(dir, base, ".qal", ".QAL");
    if (path.empty()) return -1;
    ISO8211File file;
    memset(&file, 0, sizeof file);
    if (Read8211File(&file, path.c_str()) != 0) {
        Close8211File(&file);
        return -1;
    }
    ISO8211Record rec;
    memset(&rec, 0, sizeof rec);
    int result = -1;
    if (Read8211Record(&file, 1, &rec) == 0) {
        result = 0;
        const int f = Find8211Field(&rec, "COL", 0);
        if (f >= 0) {
            int index[256], red[256], green[256], blue[256];
            int n = 0, largest = -1, start = 0;
            while (n < 256) {
                const int c = Find8211SubField(&rec, "CCD", f, start);
                const int r = c < 0 ? -1 : Find8211SubField(&rec, "NSR", f, c + 1);
                const int g = r < 0 ? -1 : Find8211SubField(&rec, "NSG", f, r + 1);
                const int b = g < 0 ? -1 : Find8211SubField(&rec, "NSB", f, g + 1);
                if (b < 0) break;
                const ISO8211SubField* s = rec.fields[f].subfields;
                index[n] = atoi(s[c].value);
                red[n] = atoi(s[r].value);
                green[n] = atoi(s[g].value);
                blue[n] = atoi(s[b].value);
                if (index[n] < 0 || index[n] > 255) {
                    result = -1;
                    break;
                }
                if (index[n] > largest) largest = index[n];
                ++n;
                start = b + 1;
            }
            if (result == 0 && largest >= 0) {
                const size_t count = size_t(largest) + 1;
                table->red = static_cast<uint8_t*>(calloc(count, 1));
                table->green = static_cast<uint8_t*>(calloc(count, 1));
                table->blue = static_cast<uint8_t*>(calloc(count, 1));
                if (!table->red || !table->green || !table->blue) {
                    result = -1;
                } else {
                    table->count = int32_t(count);
                    for (int i = 0; i < n; ++i) {
                        table->red[index[i]] = uint8_t(red[i]);
                        table->green[index[i]] = uint8_t(green[i]);
                        table->blue[index[i]] = uint8_t(blue[i]);
                    }
                }
            }
        }
    }
    Free8211Record(&rec);
    Close8211File(&file);
    return result;
}

int TileIndexMapRead(SRPhdr* h) {
    TileIndexMap* map = &h->tile_map;
    if (map->file_offset < 1) return -1;
    const long n = long(h->nTileX) * h->nTileY;
    if (n < 1) return -1;
    FILE* fp = tarn_fopen(h->gen_path.c_str(), "rb");
    if (!fp) return -1;
    int32_t* entries = static_cast<int32_t*>(calloc(size_t(n), sizeof(int32_t)));
    bool ok = entries && tarn_fseek(fp, map->file_offset, SEEK_SET) == 0;
    for (long i = 0; ok && i < n; ++i) {
        char text[12];
        ok = retrieveValue(fp, 11, text, 0);
        long v = 0;
        for (int k = 0; ok && k < 11; ++k) {
            if (text[k] == ' ') continue;
            if (!isdigit(static_cast<unsigned char>(text[k]))) ok = false;
            else v = v * 10 + (text[k] - '0');
            if (v > 0x7fffffffL) ok = false;
        }
        if (ok) entries[i] = int32_t(v);
    }
    tarn_fclose(fp);
    if (!ok) {
        free(entries);
        return -1;
    }
    map->entries = entries;
    map->x = h->nTileX;
    map->y = h->nTileY;
    map->count = int32_t(n);
    return 0;
}

int TileIndexMapGet(const TileIndexMap* map, int col, int row) {
    if (col < 0 || row < 0 || col >= map->x || row >= map->y) return -1;
    const long i = long(row) * map->x + col;
    if (i >= map->count) return -1;
    return map->entries[i];
}

// Gives the next run of a coding: count and value.
struct RunSource {
    const uint8_t* data;
    size_t size, at = 0;
    int pcb, pvb, ws1, ws2;
    int phase = 0;  // which half of a pair comes next; 0 at each line's start
    int kept = 0;   // a count nibble carried to the next code

    bool next(int* count, int* value) {
        if (pcb == 8 && pvb == 8) {
            if (at + 2 > size) return false;
            *count = data[at];
            *value = data[at + 1];
            at += 2;
        } else if (pcb == 8 && pvb == 0) {
            if (at >= size) return false;
            *count = data[at++];
            *value = phase == 0 ? ws2 : ws1;
            phase ^= 1;
        } else if (pcb == 4 && pvb == 0) {
            if (phase == 0) {
                if (at >= size) return false;
                *count = data[at] >> 4;
                *value = ws2;
            } else {
                *count = data[at++] & 15;
                *value = ws1;
            }
            phase ^= 1;
        } else {  // pcb 4, pvb 8
            if (phase == 0) {
                if (at + 2 > size) return false;
                *count = data[at] >> 4;
                *value = ((data[at] & 15) << 4) | (data[at + 1] >> 4);
                kept = data[at + 1] & 15;
                at += 2;
            } else {
                if (at >= size) return false;
                *count = kept;
                *value = data[at++];
            }
            phase ^= 1;
        }
        return true;
    }
};

}  // namespace

int srp_decode_raw(const uint8_t* data, size_t size, int pvb, uint8_t* out) {
    if (pvb == 8) {
        if (size < SRP_TILE_BYTES) return -1;
        memcpy(out, data, SRP_TILE_BYTES);
        return 0;
    }
    if (pvb != 4 || size < SRP_TILE_BYTES / 2) return -1;
    for (size_t i = 0; i < SRP_TILE_BYTES / 2; ++i) {
        out[2 * i] = uint8_t(data[i] >> 4);
        out[2 * i + 1] = uint8_t(data[i] & 15);
    }
    return 0;
}

int srp_decode_runs(const uint8_t* data, size_t size, int pcb, int pvb, int ws1, int ws2, uint8_t* out) {
    const bool known = (pcb == 8 && (pvb == 8 || pvb == 0)) || (pcb == 4 && (pvb == 0 || pvb == 8));
    if (!known) return 0;
    RunSource src{data, size, 0, pcb, pvb, ws1, ws2};
    // Lines of the 4-bit bi-level coding end one column later than the others.
    const int last = pcb == 4 && pvb == 0 ? 128 : 127;
    for (int line = 0; line < SRP_TILE_SIDE; ++line) {
        uint8_t* dst = out + line * SRP_TILE_SIDE;
        int col = 0;
        // Every line starts a new pair: a half pair left at a line's end is dropped.
        if (pcb == 4 && pvb == 0 && src.phase == 1) ++src.at;
        src.phase = 0;
        while (col <= last) {
            int count = 0, value = 0;
            if (!src.next(&count, &value)) return -1;
            // A run past the line's end loses its excess; the next line starts afresh.
            for (int i = 0; i < count && col + i < SRP_TILE_SIDE; ++i) dst[col + i] = uint8_t(value);
            col += count;
        }
    }
    return 0;
}

namespace {

int SRPTileGet(SRPhdr* h, int col, int row, uint8_t* out) {
    const int entry = TileIndexMapGet(&h->tile_map, col, row);
    if (entry < 0) return -1;
    if (entry == 0) {
        memset(out, 0, SRP_TILE_BYTES);
        return 0;
    }
    const int pcb = h->nPCB, pvb = h->nPVB;
    const bool raw = pcb == 0 && (pvb == 8 || pvb == 4);
    const bool runs = (pcb == 8 && (pvb == 8 || pvb == 0)) || (pcb == 4 && (pvb == 0 || pvb == 8));
    if (!raw && !runs) return 0;
    const long offset = h->data_start + entry - 1;
    if (offset < 0 || offset >= h->file_size || tarn_fseek(h->file, offset, SEEK_SET) != 0) return -1;
    const size_t want = raw ? size_t(pvb == 8 ? SRP_TILE_BYTES : SRP_TILE_BYTES / 2) : 32768;
    uint8_t* buffer = static_cast<uint8_t*>(malloc(want));
    if (!buffer) return -1;
    const size_t got = tarn_fread(buffer, 1, want, h->file);
    int result = -1;
    if (raw) {
        result = srp_decode_raw(buffer, got, pvb, out);
    } else if (got == want || tarn_feof(h->file)) {
        memset(out, 0, SRP_TILE_BYTES);
        result = srp_decode_runs(buffer, got, pcb, pvb, h->nWS1, h->nWS2, out);
    }
    free(buffer);
    return result;
}

}  // namespace

extern "C" {

int SRP_exist(const char* name, char* out_path, FILE* fp) {
    (void)out_path;
    if (!fp || !name) return 0;
    const size_t n = strlen(name);
    if (n < 3 || (strcmp(name + n - 3, "img") != 0 && strcmp(name + n - 3, "IMG") != 0)) return 0;
    std::string dir, base;
    split_name(name, &dir, &base);
    return SRPcheckGen(dir, base) >= 0 ? int(state_SRP.type) : 0;
}

int SRP_open(const char* name, int, int, int, int, UDFHeader* header) {
    if (!name || !header) return -1;
    SRPhdr* h = new SRPhdr;
    SRPhdrInit(h);
    UDFinitial(header);
    std::string dir, base;
    split_name(name, &dir, &base);
    double ox = 0, oy = 0, px = 0, py = 0;
    if (SRPhdrRetrieve(dir, base, h, &ox, &oy, &px, &py) < 0 || h->nTileX > 4096 || h->nTileY > 4096) {
        SRPhdrFree(h);
        return -1;
    }
    // Tiles count from the image's SCN field, wherever its directory puts it.
    ISO8211File img;
    memset(&img, 0, sizeof img);
    long offset = -1, length = 0;
    if (Read8211File(&img, name) == 0)
        for (int i = 1; i <= img.nrecords && offset < 0; ++i)
            if (Locate8211Field(&img, i, "SCN", &offset, &length) != 0) offset = -1;
    Close8211File(&img);
    h->file = offset < 0 ? nullptr : tarn_fopen(name, "rb");
    if (!h->file || tarn_fseek(h->file, 0, SEEK_END) != 0) {
        SRPhdrFree(h);
        return -1;
    }
    h->file_size = tarn_ftell(h->file);
    h->data_start = offset;
    if (colorTableRetrieve(dir, base, &h->colors) < 0 || h->colors.count < 1) {
        SRPhdrFree(h);
        return -1;
    }
    header->ncolors = h->colors.count;
    header->red = h->colors.red;
    header->green = h->colors.green;
    header->blue = h->colors.blue;
    // The span of the components, not of the indices: callers rely on it.
    int low = 255, high = 0;
    for (int i = 0; i < h->colors.count; ++i)
        for (const uint8_t* c : {h->colors.red, h->colors.green, h->colors.blue}) {
            if (c[i] < low) low = c[i];
            if (c[i] > high) high = c[i];
        }
    header->low_index = low;
    header->high_index = high;
    header->origin_x = ox;
    header->origin_y = oy;
    header->pixel_x = px;
    header->pixel_y = py;
    header->type = state_SRP.type;
    header->depth = 8;
    header->rows = h->nTileY * SRP_TILE_SIDE;
    header->columns = h->nTileX * SRP_TILE_SIDE;
    header->nbands = 1;
    header->priv = h;
    return 0;
}

int SRP_close(UDFHeader* header) {
    if (!header) return 0;
    SRPhdr* h = static_cast<SRPhdr*>(header->priv);
    if (h) SRPhdrFree(h);
    header->priv = nullptr;
    header->red = header->green = header->blue = nullptr;
    return 0;
}

int SRP_getrow(int row, void* buffer, UDFHeader* header) {
    SRPhdr* h = header ? static_cast<SRPhdr*>(header->priv) : nullptr;
    if (!h || !buffer || row < 0 || row >= h->nTileY * SRP_TILE_SIDE) return -1;
    if (!h->tile_row) {
        h->tile_row = static_cast<uint8_t*>(calloc(size_t(h->nTileX), SRP_TILE_BYTES));
        if (!h->tile_row) return -1;
    }
    if (!h->tile_map.entries && TileIndexMapRead(h) < 0) return -1;
    if (h->nCurRow < 0 || row < h->nCurRow || row >= h->nCurRow + SRP_TILE_SIDE) {
        h->nCurRow = -1;
        const int tile_row = row / SRP_TILE_SIDE;
        for (int t = 0; t < h->nTileX; ++t)
            if (SRPTileGet(h, t, tile_row, h->tile_row + size_t(t) * SRP_TILE_BYTES) < 0) return -1;
        h->nCurRow = tile_row * SRP_TILE_SIDE;
    }
    const int line = row - h->nCurRow;
    uint8_t* out = static_cast<uint8_t*>(buffer);
    for (int t = 0; t < h->nTileX; ++t)
        memcpy(out + size_t(t) * SRP_TILE_SIDE, h->tile_row + size_t(t) * SRP_TILE_BYTES + line * SRP_TILE_SIDE,
               SRP_TILE_SIDE);
    return 0;
}

char* GetDigestGenMetaData(char* name) {
    static char digestGenMetaData[512];
    digestGenMetaData[0] = 0;
    GenRecord rec;
    std::string dir, base;
    if (name) split_name(name, &dir, &base);
    if (!name || scan_both(dir, base, &rec, nullptr, nullptr) < 0) {
        strcpy(digestGenMetaData, "ERROR");
        return digestGenMetaData;
    }
    snprintf(digestGenMetaData, sizeof digestGenMetaData, "%s;%s;%s;%s;%s;%s;%s;%s;", rec.product_name, rec.zone,
             rec.arv, rec.brv, rec.origin_x, rec.origin_y, rec.tile_cols, rec.tile_rows);
    return digestGenMetaData;
}

}  // extern "C"

extern const RegisteredDriver registered_SRP = {
    SRP_exist, SRP_open, SRP_close, SRP_getrow,
    "SRP", "", "ASRP/USRP (*.img; *.ovr; *.l*)", "*.img;*.ovr;*.l*",
    START_UNGUARDED, true, nullptr, nullptr, &state_SRP,
};
