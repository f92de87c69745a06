// The record of a drag from another application.
#pragma once

#include <string>
#include <vector>

/// What a system drag carries: the dropped items as URIs ("file:///..."), in the
/// order the source listed them. Filled by the window from the "text/uri-list"
/// data; read by the drop handlers. GUI thread.
struct OpaqueDragRef {
    std::vector<std::string> uris;
};
