// The one exception type of the decoder glue.
#pragma once

#include <stdexcept>

/// Raised by CAAudioFile when a step of opening, describing, configuring, reading or
/// closing a sound file fails; what() is the text of the failed step, e.g.
/// "ExtAudioFileOpen failed" or "Couldn't read audio file". Thrown on the thread that
/// called the failing operation.
class CAAudioFileError : public std::runtime_error {
  public:
    /// Carries `text`, the failed step.
    explicit CAAudioFileError(const char* text) : std::runtime_error(text) {}
};
