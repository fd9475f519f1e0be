#include <tarnimage/tarn_string.h>

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

const UChar kSeparator = u'/';

icu::UnicodeString from_utf8(const char* utf8, size_t length) {
    if (length > static_cast<size_t>(INT32_MAX)) length = INT32_MAX;
    return icu::UnicodeString::fromUTF8(icu::StringPiece(utf8, static_cast<int32_t>(length)));
}

/* Leading separators of s, and trailing ones, as counts of code units. */
int32_t leading_separators(const icu::UnicodeString& s) {
    int32_t n = 0;
    while (n < s.length() && s.charAt(n) == kSeparator) ++n;
    return n;
}

int32_t trailing_separators(const icu::UnicodeString& s) {
    int32_t n = 0;
    while (n < s.length() && s.charAt(s.length() - 1 - n) == kSeparator) ++n;
    return n;
}

char* heap_copy(const std::string& bytes) {
    char* buffer = static_cast<char*>(std::malloc(bytes.size() + 1));
    if (!buffer) return nullptr;
    std::memcpy(buffer, bytes.data(), bytes.size());
    buffer[bytes.size()] = '\0';
    return buffer;
}

}  // namespace

CTarnUString::CTarnUString() {}

CTarnUString::CTarnUString(const char* utf8) {
    if (utf8) m_string = from_utf8(utf8, std::strlen(utf8));
    else m_string.setToBogus();
}

CTarnUString::CTarnUString(const char* utf8, long length) {
    if (!utf8) m_string.setToBogus();
    else m_string = from_utf8(utf8, length < 0 ? std::strlen(utf8) : static_cast<size_t>(length));
}

CTarnUString::CTarnUString(const std::string& utf8) : m_string(from_utf8(utf8.data(), utf8.size())) {}

CTarnUString::CTarnUString(const CTarnUString& other) : m_string(other.m_string) {}

CTarnUString& CTarnUString::operator=(const CTarnUString& other) {
    m_string = other.m_string;
    return *this;
}

CTarnUString::~CTarnUString() {}

bool CTarnUString::isBogus() const { return m_string.isBogus(); }
void CTarnUString::setToBogus() { m_string.setToBogus(); }
bool CTarnUString::isEmpty() const { return m_string.isBogus() || m_string.isEmpty(); }
long CTarnUString::length() const { return m_string.length(); }

UChar CTarnUString::charAt(long index) const {
    if (index < 0 || index >= m_string.length()) return 0xFFFF;
    return m_string.charAt(static_cast<int32_t>(index));
}

bool CTarnUString::isEqualTo(const CTarnUString& other) const {
    if (m_string.isBogus() || other.m_string.isBogus())
        return m_string.isBogus() && other.m_string.isBogus();
    return m_string == other.m_string;
}

bool CTarnUString::isEqualTo(const char* utf8) const { return isEqualTo(CTarnUString(utf8)); }

CTarnUString& CTarnUString::append(const CTarnUString& other) {
    if (other.m_string.isBogus()) return *this;
    if (m_string.isBogus()) m_string.remove();  // a bogus string takes no appends; start empty
    m_string.append(other.m_string);
    return *this;
}

CTarnUString& CTarnUString::append(const char* utf8) { return append(CTarnUString(utf8)); }

CTarnUString CTarnUString::right(long count) const {
    CTarnUString result;
    if (m_string.isBogus()) {
        result.setToBogus();
    } else if (count > 0) {
        int32_t n = count >= m_string.length() ? m_string.length() : static_cast<int32_t>(count);
        result.m_string.setTo(m_string, m_string.length() - n);
    }
    return result;
}

bool CTarnUString::endsWith(const char* utf8) const {
    if (!utf8 || m_string.isBogus()) return false;
    return m_string.endsWith(from_utf8(utf8, std::strlen(utf8)));
}

std::string CTarnUString::toUTF8() const {
    std::string out;
    if (!m_string.isBogus()) m_string.toUTF8String(out);
    return out;
}

char* CTarnUString::getUTF8EncodedBuffer() const { return heap_copy(toUTF8()); }

/* Paths on this system are UTF-8, so the plain buffer is the same bytes. */
char* CTarnUString::getCharBuffer() const { return heap_copy(toUTF8()); }

void CTarnUString::releaseCharBuffer(char* buffer) { std::free(buffer); }

long CTarnUString::extractUTF8(char* target, long size) const {
    std::string bytes = toUTF8();
    if (target && size > 0) {
        size_t n = bytes.size() < static_cast<size_t>(size - 1) ? bytes.size() : static_cast<size_t>(size - 1);
        // Never cut a multi-byte sequence in half: back off to a character start.
        if (n < bytes.size())
            while (n > 0 && (static_cast<unsigned char>(bytes[n]) & 0xC0) == 0x80) --n;
        std::memcpy(target, bytes.data(), n);
        target[n] = '\0';
    }
    return static_cast<long>(bytes.size());
}

CTarnUString& CTarnUString::addFile(const CTarnUString& component) {
    if (component.isEmpty()) return *this;
    if (isEmpty()) return *this = component;
    int32_t keep = m_string.length() - trailing_separators(m_string);
    m_string.truncate(keep);  // "/" becomes "", which the separator below restores
    const icu::UnicodeString& tail = component.m_string;
    int32_t skip = leading_separators(tail);
    m_string.append(kSeparator);
    m_string.append(tail, skip, tail.length() - skip);
    return *this;
}

CTarnUString& CTarnUString::correctPath() {
    if (m_string.isBogus()) return *this;
    icu::UnicodeString out;
    for (int32_t i = 0; i < m_string.length(); ++i) {
        UChar c = m_string.charAt(i);
        if (c == u'\\') c = kSeparator;
        if (c == kSeparator && out.length() > 0 && out.charAt(out.length() - 1) == kSeparator) continue;
        out.append(c);
    }
    if (out.length() > 1 && out.charAt(out.length() - 1) == kSeparator) out.truncate(out.length() - 1);
    m_string = out;
    return *this;
}

CTarnUString& CTarnUString::subtractPath() {
    if (m_string.isBogus()) return *this;
    int32_t end = m_string.length() - trailing_separators(m_string);
    if (end == 0) return *this;  // "" stays "", and the root "/" names itself
    int32_t start = m_string.lastIndexOf(kSeparator, 0, end) + 1;
    m_string.setTo(icu::UnicodeString(m_string, start, end - start));
    return *this;
}
