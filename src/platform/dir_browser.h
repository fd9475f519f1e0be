#ifndef TARN_PLATFORM_DIR_BROWSER_H
#define TARN_PLATFORM_DIR_BROWSER_H

#include <tarnimage/tarn_string.h>

#include <string>
#include <vector>

/* Walks the entries of one directory, files and sub-directories alike, without
 * descending. "." and ".." are left out; names come in byte order of their
 * UTF-8 spelling, so a walk is the same on every file system. */
class TarnDirBrowser {
public:
    explicit TarnDirBrowser(CTarnUString& path);
    ~TarnDirBrowser();
    TarnDirBrowser(const TarnDirBrowser&) = delete;
    TarnDirBrowser& operator=(const TarnDirBrowser&) = delete;

    /* Each gives non-zero while an entry is there; findFirst reads the directory afresh. */
    int findFirst();
    int findNext();
    /* The current entry's name, relative to the directory. */
    const CTarnUString& getName() const { return m_name; }

private:
    int select(size_t index);

    std::string m_path;
    std::vector<std::string> m_entries;
    size_t m_index = 0;
    CTarnUString m_name;
};

#endif
