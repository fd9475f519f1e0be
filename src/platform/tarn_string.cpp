#include "platform/tarn_string_icu.h"

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

icu::UnicodeString& us(CTarnUString& s) { return CTarnUStringAccess::unicode(s); }
const icu::UnicodeString& us(const CTarnUString& s) { return CTarnUStringAccess::unicode(s); }

}  // namespace

CTarnUString::CTarnUString() { new (m_storage) icu::UnicodeString(); }

CTarnUString::CTarnUString(const char* utf8) {
    icu::UnicodeString* s = new (m_storage) icu::UnicodeString();
    if (utf8) *s = from_utf8(utf8, std::strlen(utf8));
    else s->setToBogus();
}

CTarnUString::CTarnUString(const char* utf8, long length) {
    icu::UnicodeString* s = new (m_storage) icu::UnicodeString();
    if (!utf8) s->setToBogus();
    else *s = from_utf8(utf8, length < 0 ? std::strlen(utf8) : static_cast<size_t>(length));
}

CTarnUString::CTarnUString(const std::string& utf8) {
    new (m_storage) icu::UnicodeString(from_utf8(utf8.data(), utf8.size()));
}

CTarnUString::CTarnUString(const CTarnUString& other) { new (m_storage) icu::UnicodeString(us(other)); }

CTarnUString& CTarnUString::operator=(const CTarnUString& other) {
    us(*this) = us(other);
    return *this;
}

CTarnUString::~CTarnUString() { us(*this).~UnicodeString(); }

bool CTarnUString::isBogus() const { return us(*this).isBogus(); }
void CTarnUString::setToBogus() { us(*this).setToBogus(); }
bool CTarnUString::isEmpty() const { return us(*this).isBogus() || us(*this).isEmpty(); }
long CTarnUString::length() const { return us(*this).length(); }

char16_t CTarnUString::charAt(long index) const {
    if (index < 0 || index >= us(*this).length()) return 0xFFFF;
    return us(*this).charAt(static_cast<int32_t>(index));
}

bool CTarnUString::isEqualTo(const CTarnUString& other) const {
    const icu::UnicodeString& self = us(*this);
    if (self.isBogus() || us(other).isBogus())
        return self.isBogus() && us(other).isBogus();
    return self == us(other);
}

bool CTarnUString::isEqualTo(const char* utf8) const { return isEqualTo(CTarnUString(utf8)); }

CTarnUString& CTarnUString::append(const CTarnUString& other) {
    icu::UnicodeString& self = us(*this);
    if (us(other).isBogus()) return *this;
    if (self.isBogus()) self.remove();  // a bogus string takes no appends; start empty
    self.append(us(other));
    return *this;
}

CTarnUString& CTarnUString::append(const char* utf8) { return append(CTarnUString(utf8)); }

CTarnUString CTarnUString::right(long count) const {
    const icu::UnicodeString& self = us(*this);
    CTarnUString result;
    if (self.isBogus()) {
        result.setToBogus();
    } else if (count > 0) {
        int32_t n = count >= self.length() ? self.length() : static_cast<int32_t>(count);
        us(result).setTo(self, self.length() - n);
    }
    return result;
}

bool CTarnUString::endsWith(const char* utf8) const {
    if (!utf8 || us(*this).isBogus()) return false;
    return us(*this).endsWith(from_utf8(utf8, std::strlen(utf8)));
}

std::string CTarnUString::toUTF8() const {
    std::string out;
    if (!us(*this).isBogus()) us(*this).toUTF8String(out);
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
    icu::UnicodeString& self = us(*this);
    if (component.isEmpty()) return *this;
    if (isEmpty()) return *this = component;
    int32_t keep = self.length() - trailing_separators(self);
    self.truncate(keep);  // "/" becomes "", which the separator below restores
    const icu::UnicodeString& tail = us(component);
    int32_t skip = leading_separators(tail);
    self.append(kSeparator);
    self.append(tail, skip, tail.length() - skip);
    return *this;
}

CTarnUString& CTarnUString::correctPath() {
    icu::UnicodeString& self = us(*this);
    if (self.isBogus()) return *this;
    icu::UnicodeString out;
    for (int32_t i = 0; i < self.length(); ++i) {
        UChar c = self.charAt(i);
        if (c == u'\\') c = kSeparator;
        if (c == kSeparator && out.length() > 0 && out.charAt(out.length() - 1) == kSeparator) continue;
        out.append(c);
    }
    if (out.length() > 1 && out.charAt(out.length() - 1) == kSeparator) out.truncate(out.length() - 1);
    self = out;
    return *this;
}

CTarnUString& CTarnUString::subtractPath() {
    icu::UnicodeString& self = us(*this);
    if (self.isBogus()) return *this;
    int32_t end = self.length() - trailing_separators(self);
    if (end == 0) return *this;  // "" stays "", and the root "/" names itself
    int32_t start = self.lastIndexOf(kSeparator, 0, end) + 1;
    self.setTo(icu::UnicodeString(self, start, end - start));
    return *this;
}
