#include "UDir.h"

#include <glib.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

UDir::UDir() : m_delim('\\'), m_path{}, m_temp{}, m_delimPos{}, m_delimCount(0), m_bPosix(true) {}

UDir::UDir(const char* path) : UDir() {
    SetPath(path);
    m_bPosix = true;  // deliberately whatever the path's style, as it has always been
}

UDir::UDir(XPATH where) : UDir() {
    SetPath(where);
    m_bPosix = true;  // deliberately whatever the path's style, as it has always been
}

int UDir::SetPath(const char* path) {
    if (!path) return 0;
    // Measure the normalised length first, so that an overlong path is refused whole
    // instead of being cut into another, existing folder's name.
    size_t len = strlen(path);
    while (len > 0 && path[len - 1] == ' ') --len;
    const char delim = path[0] == '/' ? '/' : ':';
    const bool addDelim = path[0] != 0 && (len == 0 || path[len - 1] != delim);
    const size_t need = len + (addDelim ? 1 : 0);
    if (need + 1 > sizeof(m_path)) return 0;
    if (strlen(path) < sizeof(m_path)) {
        memcpy(m_path, path, strlen(path) + 1);
    } else {
        memcpy(m_path, path, len);  // the blanks beyond the room go; VerifPath drops them anyway
        m_path[len] = 0;
    }
    VerifPath();
    return 1;
}

int UDir::SetPath(XPATH where) {
    switch (where) {
        case kPathLocal: {
            char exe[1024];
            const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe));
            if (n > 0 && static_cast<size_t>(n) < sizeof(exe)) {
                exe[n] = 0;
                // The executable's own path as a folder, then one level up: its folder.
                if (SetPath(exe)) CloseFolder();
            }
            break;
        }
        case kPathSupport:
            SetPath(g_get_user_data_dir());
            break;
        case kPathDesktop: {
            const char* desk = g_get_user_special_dir(G_USER_DIRECTORY_DESKTOP);
            struct stat st;
            if (desk && stat(desk, &st) == 0 && S_ISDIR(st.st_mode)) {
                SetPath(desk);
            } else {
                const char* home = getenv("HOME");
                SetPath(home && *home ? home : g_get_home_dir());
            }
            break;
        }
    }
    return 1;
}

int UDir::VerifPath() {
    size_t len = strlen(m_path);
    if (len == 0) return 0;
    const int before = static_cast<int>(len);
    while (len > 0 && m_path[len - 1] == ' ') m_path[--len] = 0;
    m_delim = m_path[0] == '/' ? '/' : ':';
    m_bPosix = m_delim == '/';
    if ((len == 0 || m_path[len - 1] != m_delim) && len + 1 < sizeof(m_path)) {
        m_path[len] = m_delim;
        m_path[len + 1] = 0;
    }
    return before;
}

void UDir::CloseFolder(const char*) {
    const int len = static_cast<int>(strlen(m_path));
    for (int i = len - 2; i >= 0; --i) {
        if (m_path[i] == m_delim) {
            m_path[i + 1] = 0;
            return;
        }
    }
}

bool UDir::Append(const char* name) {
    if (!name) return false;
    const size_t len = strlen(m_path);
    size_t add = strlen(name);
    size_t trimmed = add;
    while (trimmed > 0 && name[trimmed - 1] == ' ') --trimmed;
    // Room for the name without its trailing blanks, a separator and the terminator.
    if (len + trimmed + 2 > sizeof(m_path)) return false;
    if (len + add + 1 > sizeof(m_path)) add = trimmed;
    memcpy(m_path + len, name, add);
    m_path[len + add] = 0;
    VerifPath();
    return true;
}

bool UDir::Exists() const {
    struct stat st;
    // The path ends in "/", so stat succeeds for folders only.
    return m_path[0] != 0 && stat(m_path, &st) == 0;
}

bool UDir::OpenFolder(const char* name) {
    if (!Append(name)) return false;
    if (Exists()) return true;
    CloseFolder();
    return false;
}

bool UDir::CreateFolder(const char* name) {
    if (OpenFolder(name)) return true;
    if (!Append(name)) return false;
    if (Exists() || mkdir(m_path, 0777) == 0) return true;
    CloseFolder();
    return false;
}

bool UDir::MakeSurePathExist() {
    VerifPath();
    if (m_path[0] == 0) return true;
    char copy[sizeof(m_path)];
    memcpy(copy, m_path, sizeof(copy));
    const char delim = m_delim;
    // The first component, with its separator(s), is taken to exist.
    char* first = strchr(copy + 1, delim);
    if (!first) return true;
    char saved = first[1];
    first[1] = 0;
    SetPath(copy);
    first[1] = saved;
    char* p = first + 1;
    while (*p) {
        char* end = strchr(p, delim);
        if (end) *end = 0;
        if (*p && !CreateFolder(p)) return false;
        if (!end) break;
        p = end + 1;
    }
    return true;
}

const char* UDir::Result(const char* parts[], int count) {
    size_t total = 0;
    for (int i = 0; i < count; ++i) total += strlen(parts[i]);
    if (total + 1 > sizeof(m_temp)) {
        m_temp[0] = 0;
        return m_temp;
    }
    char* out = m_temp;
    for (int i = 0; i < count; ++i) {
        const size_t n = strlen(parts[i]);
        memcpy(out, parts[i], n);
        out += n;
    }
    *out = 0;
    return m_temp;
}

const char* UDir::MakeFilePath(const char* name, const char* ext) {
    if (!name) name = "";
    if (ext && *ext) {
        const char* parts[] = {m_path, name, ext[0] == '.' ? "" : ".", ext};
        return Result(parts, 4);
    }
    const char* parts[] = {m_path, name};
    return Result(parts, 2);
}

const char* UDir::MakeAppPath(const char* name) {
    const char* parts[] = {m_path, name ? name : "", ".app"};
    return Result(parts, 3);
}

int UDir::SubPathCount() {
    m_delimCount = 0;
    for (int i = 0; m_path[i] && m_delimCount < 20; ++i)
        if (m_path[i] == m_delim) m_delimPos[m_delimCount++] = i;
    return m_delimCount;
}

const char* UDir::SubPath(int i) {
    m_temp[0] = 0;
    if (i < 0 || i >= m_delimCount) return m_temp;
    const int from = i == 0 ? 0 : m_delimPos[i - 1] + 1;
    const int len = m_delimPos[i] - from;
    memcpy(m_temp, m_path + from, len);
    m_temp[len] = 0;
    return m_temp;
}

long long UDir::FreeSpace() {
    struct statvfs vfs;
    if (statvfs("/", &vfs) != 0) return 0;
    return static_cast<long long>(vfs.f_bavail) * static_cast<long long>(vfs.f_frsize);
}
