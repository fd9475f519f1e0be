#ifndef TARNIMAGE_TARN_STRING_H
#define TARNIMAGE_TARN_STRING_H

#include <tarnimage/export.h>
#include <string>

/* A Unicode string that speaks UTF-8 at its edges. A string may be "bogus"
 * (no value at all), which differs from the empty string. Comparison is by
 * UTF-16 code units: no case folding, no normalisation. */
class TARN_EXPORT CTarnUString {
public:
    CTarnUString();                         /* empty */
    CTarnUString(const char* utf8);         /* null gives a bogus string */
    CTarnUString(const char* utf8, long length);
    CTarnUString(const std::string& utf8);
    CTarnUString(const CTarnUString& other);
    CTarnUString& operator=(const CTarnUString& other);
    ~CTarnUString();

    bool isBogus() const;
    void setToBogus();
    bool isEmpty() const;                   /* empty or bogus */
    long length() const;                    /* UTF-16 code units */
    char16_t charAt(long index) const;      /* 0xFFFF outside the string */

    bool isEqualTo(const CTarnUString& other) const;
    bool isEqualTo(const char* utf8) const;
    bool operator==(const CTarnUString& other) const { return isEqualTo(other); }
    bool operator!=(const CTarnUString& other) const { return !isEqualTo(other); }

    CTarnUString& append(const CTarnUString& other);
    CTarnUString& append(const char* utf8);
    CTarnUString right(long count) const;   /* the last count code units */
    bool endsWith(const char* utf8) const;

    std::string toUTF8() const;
    /* Heap copies as NUL-terminated bytes; give each back to releaseCharBuffer. */
    char* getUTF8EncodedBuffer() const;
    char* getCharBuffer() const;
    static void releaseCharBuffer(char* buffer);
    /* Copies at most size - 1 bytes of UTF-8 and terminates; the full length is returned. */
    long extractUTF8(char* target, long size) const;

    /* Paths. addFile appends a component with one '/' between; correctPath turns
     * '\' into '/', folds repeated separators and drops a trailing one;
     * subtractPath keeps only the last component. */
    CTarnUString& addFile(const CTarnUString& component);
    CTarnUString& correctPath();
    CTarnUString& subtractPath();

private:
    friend struct CTarnUStringAccess;

    /* The string's state lives here, built in place by the library, so that a
     * host compiles without the Unicode library's headers. */
    alignas(void*) unsigned char m_storage[64];
};

/* The name interfaces that take an 8-bit string use; one class serves both. */
typedef CTarnUString CTarnString;

#endif
