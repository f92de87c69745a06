// The one exception type of the decoder glue.
#pragma once

#include <stdexcept>
#include <string>

/// Raised by CAAudioFile when a step of opening, describing, configuring, reading or
/// closing a sound file fails. Step() is the text of the failed step, e.g.
/// "ExtAudioFileOpen failed" or "Couldn't read audio file"; what() is that text,
/// followed by ": " and the reason when the decoder (or the system) gave one, e.g.
/// "ExtAudioFileOpen failed: File contains data in an unknown format.". Thrown on
/// the thread that called the failing operation.
class CAAudioFileError : public std::runtime_error {
  public:
    /// Carries `text`, the failed step, and `reason` (null or empty: none).
    explicit CAAudioFileError(const char* text, const char* reason = nullptr)
        : std::runtime_error(Message(text, reason)), m_step(text) {}

    /// The text of the failed step alone.
    const char* Step() const { return m_step.c_str(); }

  private:
    static std::string Message(const char* text, const char* reason) {
        std::string message = text;
        if (reason && *reason) message.append(": ").append(reason);
        return message;
    }
    std::string m_step;
};
