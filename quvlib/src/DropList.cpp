#include "DropList.h"

#include <glib.h>
#include <sys/stat.h>

#include <cstring>

CDropList::CDropList(const OpaqueDragRef* drag) : m_hDrop(drag) {
    m_count = drag ? static_cast<int>(drag->uris.size()) : 0;
}

const char* CDropList::GetPath(int i) {
    if (!m_hDrop || i < 0 || i >= m_count) return m_path;
    gchar* host = nullptr;
    gchar* file =
        g_filename_from_uri(m_hDrop->uris[static_cast<size_t>(i)].c_str(), &host, nullptr);
    // A file on another machine names no local path: like an item that is not a
    // file at all, it has no file-system form and the previous result stands.
    bool local = !host || !*host || std::strcmp(host, "localhost") == 0 ||
                 std::strcmp(host, g_get_host_name()) == 0;
    g_free(host);
    if (!file || !local) {
        g_free(file);
        return m_path;
    }
    size_t len = std::strlen(file);
    struct stat st;
    const bool slash =
        len > 0 && file[len - 1] != '/' && stat(file, &st) == 0 && S_ISDIR(st.st_mode);
    const size_t need = len + (slash ? 1 : 0);
    if (need > sizeof m_path - 1) {
        // Cut, the path would name another file or folder, or none: skip the item.
        LogPrint("*** CDropList: skipped a path of %zu bytes (at most %zu fit): %.120s... ***",
                 need, sizeof m_path - 1, file);
        g_free(file);
        m_path[0] = 0;
        return m_path;
    }
    std::memcpy(m_path, file, len);
    if (slash) m_path[len++] = '/';
    m_path[len] = 0;
    g_free(file);
    return m_path;
}
