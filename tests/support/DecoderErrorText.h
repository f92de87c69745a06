// Test helper: the text of the decoder glue's exception out of a call.
#pragma once

#include <string>

#include "CAAudioFileError.h"

namespace testfiles {

/// Runs `fn` and returns the text of the CAAudioFileError it throws, "" if none.
template <typename Fn>
std::string ErrorText(Fn fn) {
    try {
        fn();
    } catch (const CAAudioFileError& e) {
        return e.what();
    }
    return "";
}

}  // namespace testfiles
