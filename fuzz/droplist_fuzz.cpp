// Fuzzes the conversion of dropped URIs into POSIX paths. The input is a
// "text/uri-list" as a drag carries it: one URI per line (CR LF or LF). Every item
// is read with GetPath, and so are indices out of range; each result must be the
// list's own path buffer, NUL-terminated within its 500 bytes; a new path must be
// the item's whole path (a folder's "/" at most added), never a cut of it; and
// reading an item again gives the same path.
#include <glib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "DropList.h"

namespace {
void Check(const CDropList& list, const char* path) {
    if (path != list.m_path) {
        fprintf(stderr, "GetPath returned a pointer other than its path buffer\n");
        abort();
    }
    if (memchr(list.m_path, 0, sizeof list.m_path) == nullptr) {
        fprintf(stderr, "the path is not terminated within %zu bytes\n", sizeof list.m_path);
        abort();
    }
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    OpaqueDragRef drag;
    std::string line;
    for (size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == '\n') {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            drag.uris.push_back(line);
            line.clear();
        } else {
            line.push_back(static_cast<char>(data[i]));
        }
    }
    CDropList list(&drag);
    if (list.m_count != static_cast<int>(drag.uris.size())) abort();
    Check(list, list.GetPath(-1));
    std::string previous = list.m_path;
    for (int i = 0; i < list.m_count; ++i) {
        const char* path = list.GetPath(i);
        Check(list, path);
        if (*path && previous != path) {
            gchar* whole =
                g_filename_from_uri(drag.uris[static_cast<size_t>(i)].c_str(), nullptr, nullptr);
            const bool same =
                whole && (std::string(whole) == path || std::string(whole) + "/" == path);
            g_free(whole);
            if (!same) {
                fprintf(stderr, "item %d gave a path that is not its own whole path\n", i);
                abort();
            }
        }
        previous = path;
        // The same item read twice gives the same path.
        std::string first = path;
        if (first != list.GetPath(i)) abort();
    }
    Check(list, list.GetPath(list.m_count));
    return 0;
}
