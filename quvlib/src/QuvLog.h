// One process-wide log file that any object deriving from QuvLog writes lines to.
#pragma once

#include <atomic>
#include <cstdio>

/// Mixin base giving LogPrint into the process-wide log file. Until one of the
/// LogOpen operations succeeds, LogPrint writes nothing. One object must not log
/// from two threads at once; different objects may (each has its own buffer).
///
/// Every line is formatted twice: the caller's format and arguments make the text,
/// and that text is then read as a format once more, so a per-cent sign in it is
/// interpreted again. The second pass has no arguments; it is done by the log's own
/// formatter with a defined outcome: "%%" gives "%"; a d, i, u, o, x, X, e, E, f, F,
/// g, G, a or A conversion prints that conversion of 0 (flags, width and precision
/// honoured, "*" taken as 0, widths and precisions above 512 as 512, length
/// modifiers ignored); c and s print as an empty string, p as "(nil)", both padded
/// to the width; n prints nothing; any other character after the per-cent sign (or
/// the end of the text) leaves the sequence as it stands.
class QuvLog {
  public:
    /// Registers one more live log user.
    QuvLog();
    /// The last live QuvLog closes the file.
    virtual ~QuvLog();

    /// Opens (truncates) the log at `path` and writes its header: 29 asterisks, the
    /// title (formatted once, see above), the date line, 29 asterisks and an empty
    /// line. A log already open is closed first. On failure logging is off.
    /// GUI/main thread.
    void LogOpen(const char* path, const char* title);
    /// LogOpen of `name` in the folder that holds the application.
    void LogOpenLocal(const char* name, const char* title);
    /// LogOpen of `name` on the user's desktop.
    void LogOpenDesktop(const char* name, const char* title);
    /// LogOpen of `name` inside `folder` (created if missing) in the user's data folder.
    void LogOpenSupport(const char* folder, const char* name, const char* title);
    /// Number of spaces (0..12) written before each line of this object; larger values
    /// count as 12, negative ones as 0. The object's thread.
    void LogIndent(int n);
    /// Writes one line (printf-style), flushed at once; texts above 510 characters are
    /// cut there. Never on the audio IO thread.
    void LogPrint(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Path given to the last LogOpen ("" before any open; at most 4095 bytes are kept).
    /// For tests and tools. GUI/main thread.
    static const char* LogPath();

  protected:
    static std::atomic<FILE*> m_hLog;       // written by LogOpen and the last destructor
    static char m_path[4096];               // written by LogOpen (GUI thread)
    static std::atomic<long> m_refCounter;  // live QuvLog objects

    char m_stemp[512];
    int m_indent;
};
