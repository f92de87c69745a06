// One process-wide log file that any object deriving from QuvLog writes lines to.
#pragma once

#include <cstdio>

/// Mixin base giving LogPrint into the process-wide log file. Until one of the
/// LogOpen operations succeeds, LogPrint writes nothing. One object must not log
/// from two threads at once; different objects may (each has its own buffer).
class QuvLog {
public:
    /// Registers one more live log user.
    QuvLog();
    /// The last live QuvLog closes the file.
    virtual ~QuvLog();

    /// Opens (truncates) the log at `path` and writes its header. GUI/main thread.
    void LogOpen(const char* path, const char* title);
    /// LogOpen of `name` in the folder that holds the application.
    void LogOpenLocal(const char* name, const char* title);
    /// LogOpen of `name` on the user's desktop.
    void LogOpenDesktop(const char* name, const char* title);
    /// LogOpen of `name` inside `folder` (created if missing) in the user's data folder.
    void LogOpenSupport(const char* folder, const char* name, const char* title);
    /// Number of spaces (0..12) written before each line of this object.
    void LogIndent(int n);
    /// Writes one line (printf-style), flushed at once. Never on the audio IO thread.
    void LogPrint(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Full path of the open log file ("" before any open). For tests and tools.
    static const char* LogPath();

protected:
    static FILE* m_hLog;
    static char m_path[4096];
    static long m_refCounter;

    char m_stemp[512];
    int m_indent;
};
