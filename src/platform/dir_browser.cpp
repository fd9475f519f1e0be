#include "platform/dir_browser.h"

#include <algorithm>
#include <dirent.h>
#include <cstring>

TarnDirBrowser::TarnDirBrowser(CTarnUString& path) : m_path(path.toUTF8()) {}

TarnDirBrowser::~TarnDirBrowser() {}

int TarnDirBrowser::findFirst() {
    m_entries.clear();
    m_name = CTarnUString();
    DIR* dir = m_path.empty() ? nullptr : opendir(m_path.c_str());
    if (!dir) return 0;
    while (const dirent* entry = readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
        m_entries.emplace_back(entry->d_name);
    }
    closedir(dir);
    // std::string compares as unsigned bytes: plain byte order of the UTF-8 names.
    std::sort(m_entries.begin(), m_entries.end());
    return select(0);
}

int TarnDirBrowser::findNext() { return select(m_index + 1); }

int TarnDirBrowser::select(size_t index) {
    m_index = std::min(index, m_entries.size());
    if (m_index == m_entries.size()) {
        m_name = CTarnUString();
        return 0;
    }
    m_name = CTarnUString(m_entries[m_index]);
    return 1;
}
