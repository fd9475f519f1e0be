#include <tarnimage/tarn_file.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <new>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Read-only files are stdio streams over positioned reads: a seek only moves
// our offset, so reading every eighth row of an image costs one system call
// a row instead of two.
struct ReadFile {
    int fd;
    off64_t position;
};

ssize_t read_file(void* cookie, char* buffer, size_t size) {
    ReadFile* f = static_cast<ReadFile*>(cookie);
    ssize_t n;
    do n = pread(f->fd, buffer, size, f->position);
    while (n < 0 && errno == EINTR);
    if (n > 0) f->position += n;
    return n;
}

int seek_file(void* cookie, off64_t* offset, int whence) {
    ReadFile* f = static_cast<ReadFile*>(cookie);
    off64_t base = 0;
    if (whence == SEEK_CUR) {
        base = f->position;
    } else if (whence == SEEK_END) {
        struct stat st;
        if (fstat(f->fd, &st) != 0) return -1;
        base = st.st_size;
    } else if (whence != SEEK_SET) {
        return -1;
    }
    if ((*offset > 0 && base > INT64_MAX - *offset) || base + *offset < 0) {
        errno = EINVAL;
        return -1;
    }
    f->position = base + *offset;
    *offset = f->position;
    return 0;
}

int close_file(void* cookie) {
    ReadFile* f = static_cast<ReadFile*>(cookie);
    int result = close(f->fd);
    delete f;
    return result;
}

}  // namespace

FILE* tarn_fopen(const char* name, const char* mode) {
    if (!name || !*name || !mode) return nullptr;
    if (mode[0] == 'r' && !std::strchr(mode, '+')) {
        // Reads take regular files only, opened without blocking: a FIFO in an
        // image directory would hang the open, a device might never end a read.
        int fd = open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) return nullptr;
        struct stat st;
        if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) ||
            fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK) != 0) {
            close(fd);
            return nullptr;
        }
        ReadFile* cookie = new (std::nothrow) ReadFile{fd, 0};
        FILE* file = cookie ? fopencookie(cookie, "r", {read_file, nullptr, seek_file, close_file}) : nullptr;
        if (!file) {
            delete cookie;
            close(fd);
            return nullptr;
        }
        // A small buffer: reads of a window's part of a row copy that part,
        // not the 8 KiB around it; larger reads go straight to the caller.
        setvbuf(file, nullptr, _IOFBF, 1024);
        return file;
    }
    // Close-on-exec, so a host that spawns processes doesn't leak our handles.
    char flags[16];
    size_t n = strnlen(mode, sizeof flags - 2);
    std::memcpy(flags, mode, n);
    flags[n] = 'e';
    flags[n + 1] = '\0';
    FILE* file = fopen(name, flags);
    if (!file) return nullptr;
    // Linux opens a directory for reading; refuse it on the open handle, not by name.
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || S_ISDIR(st.st_mode)) {
        fclose(file);
        return nullptr;
    }
    return file;
}

FILE* tarn_fopen(const CTarnUString& name, const char* mode) {
    if (name.isEmpty()) return nullptr;
    return tarn_fopen(name.toUTF8().c_str(), mode);
}

int tarn_fclose(FILE* file) { return file ? fclose(file) : 0; }

size_t tarn_fread(void* buffer, size_t size, size_t count, FILE* file) {
    return file && buffer ? fread(buffer, size, count, file) : 0;
}

size_t tarn_fwrite(const void* buffer, size_t size, size_t count, FILE* file) {
    return file && buffer ? fwrite(buffer, size, count, file) : 0;
}

int tarn_fseek(FILE* file, long offset, int whence) { return file ? fseek(file, offset, whence) : -1; }
long tarn_ftell(FILE* file) { return file ? ftell(file) : -1L; }
void tarn_rewind(FILE* file) { if (file) rewind(file); }
int tarn_feof(FILE* file) { return file ? feof(file) : 1; }
int tarn_ferror(FILE* file) { return file ? ferror(file) : 1; }
// A handle belongs to one open image and one thread at a time, so the
// per-call stream lock buys nothing; byte-wise decoders call this per byte.
int tarn_fgetc(FILE* file) { return file ? getc_unlocked(file) : EOF; }
int tarn_ungetc(int c, FILE* file) { return file ? ungetc(c, file) : EOF; }

int tarn_fprintf(FILE* file, const char* format, ...) {
    if (!file || !format) return -1;
    va_list args;
    va_start(args, format);
    int result = vfprintf(file, format, args);
    va_end(args);
    return result;
}

int tarn_accessFile(const char* name, int mode) {
    return name && *name && access(name, mode) == 0 ? 0 : -1;
}

int tarn_deleteFile(const char* name) {
    return name && *name && unlink(name) == 0 ? 0 : -1;
}

int tarn_isDirectory(const char* name) {
    struct stat st;
    return name && *name && stat(name, &st) == 0 && S_ISDIR(st.st_mode) ? 1 : 0;
}

namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v'; }

/* One line as a finite number, with blanks around it. Parsing ignores the
 * host's locale: a world file always has a decimal point. */
bool parse_number(const char* begin, const char* end, double* value) {
    while (begin < end && is_blank(*begin)) ++begin;
    while (end > begin && is_blank(end[-1])) --end;
    if (begin < end && *begin == '+') ++begin;
    if (begin == end) return false;
    auto [stop, ec] = std::from_chars(begin, end, *value);
    return ec == std::errc() && stop == end && std::isfinite(*value);
}

}  // namespace

int tarn_read_world_file(FILE* file, double values[6]) {
    if (!file || !values) return 0;
    // Six numbers fit easily; reading a bounded prefix keeps a large binary
    // file from costing more than this.
    char text[4096];
    size_t size = fread(text, 1, sizeof text, file);
    bool whole = size < sizeof text;
    double read[6];
    int count = 0;
    const char* p = text;
    const char* end = text + size;
    while (count < 6 && p < end) {
        const char* eol = static_cast<const char*>(std::memchr(p, '\n', end - p));
        if (!eol && !whole) return 0;  // the line runs past what was read
        const char* stop = eol ? eol : end;
        const char* q = p;
        while (q < stop && is_blank(*q)) ++q;
        if (q < stop && !parse_number(p, stop, &read[count++])) return 0;
        p = eol ? eol + 1 : end;
    }
    if (count < 6) return 0;
    std::memcpy(values, read, sizeof read);
    return 1;
}

void tarn_setFileSystemPath(CTarnUString& target, const char* path) {
    target = CTarnUString(path ? path : "");
}
