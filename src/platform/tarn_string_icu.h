#ifndef TARNIMAGE_SRC_PLATFORM_TARN_STRING_ICU_H
#define TARNIMAGE_SRC_PLATFORM_TARN_STRING_ICU_H

/* The ICU string inside a CTarnUString, for library code only: the public
 * header keeps it as opaque storage. */

#include <tarnimage/tarn_string.h>
#include <unicode/unistr.h>

#include <new>

struct CTarnUStringAccess {
    static_assert(sizeof(icu::UnicodeString) <= sizeof(CTarnUString::m_storage),
                  "CTarnUString's storage is too small for this ICU");
    static_assert(alignof(void*) % alignof(icu::UnicodeString) == 0,
                  "CTarnUString's storage is not aligned for this ICU");

    static icu::UnicodeString& unicode(CTarnUString& s) {
        return *std::launder(reinterpret_cast<icu::UnicodeString*>(s.m_storage));
    }
    static const icu::UnicodeString& unicode(const CTarnUString& s) {
        return *std::launder(reinterpret_cast<const icu::UnicodeString*>(s.m_storage));
    }
};

inline const icu::UnicodeString& tarn_unicode(const CTarnUString& s) {
    return CTarnUStringAccess::unicode(s);
}

#endif
