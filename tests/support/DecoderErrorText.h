// Test helper: the texts of the decoder glue's exception out of a call.
#pragma once

#include <sndfile.h>

#include <string>

#include "CAAudioFileError.h"

namespace testfiles {

/// Runs `fn` and returns the failed step's text (CAAudioFileError::Step) of the
/// CAAudioFileError it throws, "" if none.
template <typename Fn>
std::string ErrorText(Fn fn) {
    try {
        fn();
    } catch (const CAAudioFileError& e) {
        return e.Step();
    }
    return "";
}

/// Runs `fn` and returns the whole message (what(): the step's text and the
/// reason) of the CAAudioFileError it throws, "" if none.
template <typename Fn>
std::string ErrorMessage(Fn fn) {
    try {
        fn();
    } catch (const CAAudioFileError& e) {
        return e.what();
    }
    return "";
}

/// The reason the decoder itself gives for refusing to open `path`, in its own
/// words (libsndfile's error text); "" when it opens the file.
inline std::string DecoderOpenReason(const std::string& path) {
    SF_INFO info = {};
    SNDFILE* h = sf_open(path.c_str(), SFM_READ, &info);
    if (h) {
        sf_close(h);
        return "";
    }
    return sf_strerror(nullptr);
}

}  // namespace testfiles
