// The files carried by a drag dropped on a window.
#pragma once

#include "OpaqueDragRef.h"
#include "QuvLog.h"

/// The list of items of a dropped drag, read one at a time as POSIX paths.
/// GUI thread only.
class CDropList : public QuvLog {
  public:
    static constexpr int kPathSize = 500;  ///< bytes of m_path, the NUL included

    const OpaqueDragRef* m_hDrop = nullptr;  // the drag (not owned)
    int m_count = 0;                         // number of dragged items
    char m_path[kPathSize] = "";             // the last path produced

    /// Takes the drag's items (null: none).
    explicit CDropList(const OpaqueDragRef* drag);
    /// The path of item `i` (from 0): the item's file URI as a local path, with
    /// "/" appended when it names a folder. An item that is not a local file
    /// (e.g. http://) or an index out of range leaves m_path unchanged: the
    /// previous result (empty before any) is returned. So does a file URI naming
    /// another host ("file://host/..." other than this machine or "localhost").
    /// A path that does not fit in m_path (more than 499 bytes, its folder "/"
    /// included) is never cut, since the cut would name another file or none: it
    /// is skipped with a line in the log, and the result is "" (which names
    /// nothing to open).
    const char* GetPath(int i);
};
