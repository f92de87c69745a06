#include "QuvLog.h"

#include <cctype>
#include <cstdarg>
#include <cstring>
#include <ctime>

#include "UDir.h"

std::atomic<FILE*> QuvLog::m_hLog{nullptr};
char QuvLog::m_path[4096];
std::atomic<long> QuvLog::m_refCounter{0};

namespace {

constexpr int kMaxField = 512;  // the largest width or precision the second pass honours

// Reads a width or precision; "*" would take an argument that is not there, so it is 0.
int ReadNumber(const char*& s) {
    if (*s == '*') {
        ++s;
        return 0;
    }
    int n = 0;
    while (isdigit(static_cast<unsigned char>(*s))) {
        if (n <= kMaxField) n = n * 10 + (*s - '0');
        ++s;
    }
    return n > kMaxField ? kMaxField : n;
}

// The second formatting pass of a log line: `text` is used as a format without
// arguments, with the defined outcome described in QuvLog.h.
void WriteAsFormat(FILE* f, const char* text) {
    const char* s = text;
    while (*s) {
        if (*s != '%') {
            const char* next = strchr(s, '%');
            const size_t n = next ? static_cast<size_t>(next - s) : strlen(s);
            fwrite(s, 1, n, f);
            s += n;
            continue;
        }
        const char* start = s++;
        if (*s == '%') {
            fputc('%', f);
            ++s;
            continue;
        }
        char fmt[16];
        size_t k = 0;
        fmt[k++] = '%';
        bool seen[128] = {};
        while (*s && strchr("-+ #0", *s)) {
            if (!seen[static_cast<unsigned char>(*s)]) fmt[k++] = *s;
            seen[static_cast<unsigned char>(*s)] = true;
            ++s;
        }
        const int width = ReadNumber(s);
        bool hasPrecision = false;
        int precision = 0;
        if (*s == '.') {
            ++s;
            hasPrecision = true;
            precision = ReadNumber(s);
        }
        while (*s && strchr("hlLqjzt", *s)) ++s;
        const char conv = *s;
        fmt[k++] = '*';
        if (hasPrecision) {
            fmt[k++] = '.';
            fmt[k++] = '*';
        }
        switch (conv) {
            case 'd':
            case 'i':
                fmt[k++] = 'd';
                fmt[k] = 0;
                if (hasPrecision)
                    fprintf(f, fmt, width, precision, 0);
                else
                    fprintf(f, fmt, width, 0);
                break;
            case 'u':
            case 'o':
            case 'x':
            case 'X':
                fmt[k++] = conv;
                fmt[k] = 0;
                if (hasPrecision)
                    fprintf(f, fmt, width, precision, 0u);
                else
                    fprintf(f, fmt, width, 0u);
                break;
            case 'e':
            case 'E':
            case 'f':
            case 'F':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                fmt[k++] = conv;
                fmt[k] = 0;
                if (hasPrecision)
                    fprintf(f, fmt, width, precision, 0.0);
                else
                    fprintf(f, fmt, width, 0.0);
                break;
            case 'c':
            case 's':
            case 'p': {
                // Only the '-' flag means anything for a string.
                const char* value = conv == 'p' ? "(nil)" : "";
                fprintf(f, seen[static_cast<unsigned char>('-')] ? "%-*s" : "%*s", width, value);
                break;
            }
            case 'n':
                break;
            default:
                // Not a conversion: the sequence stays as it stands (the end of the
                // text, a newline, a letter printf does not know).
                fwrite(start, 1, static_cast<size_t>(s - start) + (conv ? 1 : 0), f);
                if (!conv) return;
                break;
        }
        ++s;
    }
}

}  // namespace

QuvLog::QuvLog() : m_stemp{}, m_indent(0) {
    m_refCounter.fetch_add(1, std::memory_order_relaxed);
}

QuvLog::~QuvLog() {
    if (m_refCounter.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        FILE* f = m_hLog.exchange(nullptr, std::memory_order_acq_rel);
        if (f) fclose(f);
    }
}

void QuvLog::LogOpen(const char* path, const char* title) {
    if (!path) return;
    snprintf(m_path, sizeof(m_path), "%s", path);
    // A log that is already open is closed here rather than replaced and left open:
    // the old stream would otherwise never be released.
    FILE* old = m_hLog.exchange(nullptr, std::memory_order_acq_rel);
    if (old) fclose(old);
    FILE* f = fopen(path, "wb");
    if (!f) return;

    fputs("*****************************\n", f);
    WriteAsFormat(f, title ? title : "");
    fputs("\n", f);
    time_t now = time(nullptr);
    struct tm local;
    char date[64] = "";
    if (localtime_r(&now, &local) && asctime_r(&local, date)) {
        // asctime ends in a newline; trailing control characters go, down to index 2.
        for (int i = static_cast<int>(strlen(date)) - 1; i > 2; --i) {
            if (static_cast<unsigned char>(date[i]) >= 20) break;
            date[i] = 0;
        }
    }
    fputs(date, f);
    fputs("\n*****************************\n\n", f);
    fflush(f);
    m_hLog.store(f, std::memory_order_release);
}

void QuvLog::LogOpenLocal(const char* name, const char* title) {
    UDir dir(kPathLocal);
    LogOpen(dir.MakeFilePath(name), title);
}

void QuvLog::LogOpenDesktop(const char* name, const char* title) {
    UDir dir(kPathDesktop);
    LogOpen(dir.MakeFilePath(name), title);
}

void QuvLog::LogOpenSupport(const char* folder, const char* name, const char* title) {
    UDir dir(kPathSupport);
    // The user's data folder may not exist yet on a fresh account.
    dir.MakeSurePathExist();
    dir.CreateFolder(folder);
    LogOpen(dir.MakeFilePath(name), title);
}

void QuvLog::LogIndent(int n) {
    m_indent = n;
}

void QuvLog::LogPrint(const char* format, ...) {
    FILE* f = m_hLog.load(std::memory_order_acquire);
    if (!f || !format) return;
    static const char kSpaces[] = "            ";  // 12
    int indent = m_indent < 0 ? 0 : m_indent;
    if (indent > 12) indent = 12;

    va_list args;
    va_start(args, format);
    // One byte is kept back for the newline: an overlong text is cut at 510 characters.
    vsnprintf(m_stemp, sizeof(m_stemp) - 1, format, args);
    va_end(args);
    strcat(m_stemp, "\n");

    // The line goes out in pieces; the stream's lock keeps lines of other threads out.
    flockfile(f);
    if (indent) fwrite(kSpaces, 1, static_cast<size_t>(indent), f);
    WriteAsFormat(f, m_stemp);
    fflush(f);
    funlockfile(f);
}

const char* QuvLog::LogPath() {
    return m_path;
}
