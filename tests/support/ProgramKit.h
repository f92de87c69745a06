// Test helper for system tests of the finished program: start it, record what the
// private sound server plays, find and drive its window with xdotool, take
// screenshots, and read the recording as tones. Header-only. Needs the test
// environment of tests/scripts/with-test-env.sh (PULSE_SERVER, DISPLAY, HOME).
#pragma once

#include <signal.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "RealtimeRecorder.h"

namespace programkit {

inline void SleepMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

/// Runs `cmd` with the shell and returns its standard output (without the last
/// line feed); `status` gets the exit status when given.
inline std::string Shell(const std::string& cmd, int* status = nullptr) {
    std::string out;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) {
        if (status) *status = -1;
        return out;
    }
    char buf[4096];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
    int rc = pclose(p);
    if (status) *status = WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    while (!out.empty() && (out.back() == '\n' || out.back() == '\r')) out.pop_back();
    return out;
}

/// Quotes `s` for the shell.
inline std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) {
        if (c == '\'')
            q += "'\\''";
        else
            q += c;
    }
    return q + "'";
}

/// The program under test.
inline std::string ProgramPath() {
    return std::string(VELOTUNE_BINARY_DIR) + "/velotune";
}

/// Where the program writes its log: the desktop folder of the test HOME.
inline std::string LogPath() {
    const char* home = getenv("HOME");
    std::string h = home ? home : "/tmp";
    struct stat st {};
    if (stat((h + "/Desktop").c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        return h + "/Desktop/velotune.txt";
    return h + "/velotune.txt";
}

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

/// One started process; killed when the object goes away while it still runs.
class Process {
  public:
    Process() = default;
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process() { Kill(); }

    /// Starts `argv[0]` with the arguments; `env` entries are "NAME=value".
    bool Start(const std::vector<std::string>& argv, const std::vector<std::string>& env = {}) {
        m_pid = fork();
        if (m_pid == 0) {
            for (const std::string& e : env) putenv(const_cast<char*>(e.c_str()));
            std::vector<char*> args;
            for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
            args.push_back(nullptr);
            execv(args[0], args.data());
            _exit(127);
        }
        return m_pid > 0;
    }
    /// Waits up to `ms` for the process to end: its exit status, -1 when a signal
    /// ended it, -2 when it still runs.
    int Wait(int ms) {
        if (m_pid <= 0) return m_status;
        for (int waited = 0;; waited += 20) {
            int status = 0;
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
                m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
                return m_status;
            }
            if (waited >= ms) return -2;
            SleepMs(20);
        }
    }
    bool Running() { return Wait(0) == -2; }
    /// SIGTERM, then SIGKILL when it does not end within a second.
    void Kill() {
        if (m_pid <= 0) return;
        kill(m_pid, SIGTERM);
        if (Wait(1000) == -2) {
            kill(m_pid, SIGKILL);
            int status = 0;
            waitpid(m_pid, &status, 0);
            m_pid = -1;
        }
    }
    pid_t Pid() const { return m_pid; }

  private:
    pid_t m_pid = -1;
    int m_status = -3;
};

/// Records the sink "out" of the private sound server as 16-bit stereo frames at
/// 44100 per second into a file, from Start to Stop.
class Recorder {
  public:
    explicit Recorder(std::string path) : m_path(std::move(path)) {}
    bool Start() {
        unlink(m_path.c_str());
        // Real-time where the system allows it, so that a busy machine does not
        // make the recording lose frames that the program did play.
        std::string cmd =
            "rt=; chrt -f 20 true 2>/dev/null && rt='chrt -f 20'; "
            "exec $rt parec -d out.monitor --raw --format=s16le --rate=44100 --channels=2 "
            "--latency-msec=20 > " +
            Quote(m_path);
        bool ok = m_proc.Start({"/bin/sh", "-c", cmd});
        // The recorder is running once the sink hands it sound in small steps.
        return ok && testfiles::WaitUntilRecording(m_path, 10000);
    }
    void Stop() { m_proc.Kill(); }
    /// Frames recorded so far.
    long Frames() const {
        struct stat st {};
        return stat(m_path.c_str(), &st) == 0 ? static_cast<long>(st.st_size / 4) : 0;
    }
    /// The left channel of everything recorded so far.
    std::vector<int16_t> Left() const { return Channel(0); }
    std::vector<int16_t> Channel(int c) const {
        std::string bytes = ReadText(m_path);
        std::vector<int16_t> out(bytes.size() / 4);
        for (size_t i = 0; i < out.size(); ++i) memcpy(&out[i], bytes.data() + i * 4 + c * 2, 2);
        return out;
    }
    const std::string& Path() const { return m_path; }

  private:
    std::string m_path;
    Process m_proc;
};

/// A run of sound in a recording: frames [start, end), its dominant frequency
/// (from zero crossings) and its RMS level (full scale 32768).
struct Segment {
    long start = 0;
    long end = 0;
    double hz = 0;
    double rms = 0;
    long Length() const { return end - start; }
};

/// The frequency of a pure tone from its upward zero crossings.
inline double ToneHz(const std::vector<int16_t>& s, long start, long end) {
    long first = -1, last = -1, count = 0;
    for (long i = start + 1; i < end; ++i)
        if (s[i - 1] < 0 && s[i] >= 0) {
            if (first < 0) first = i;
            last = i;
            ++count;
        }
    if (count < 2) return 0;
    return 44100.0 * static_cast<double>(count - 1) / static_cast<double>(last - first);
}

inline double Rms(const std::vector<int16_t>& s, long start, long end) {
    if (end <= start) return 0;
    double sum = 0;
    for (long i = start; i < end; ++i) sum += static_cast<double>(s[i]) * s[i];
    return std::sqrt(sum / static_cast<double>(end - start));
}

/// Splits a recording into runs of sound separated by at least `gapFrames` of
/// samples within +-`threshold`; runs shorter than `minFrames` are dropped.
inline std::vector<Segment> Segments(const std::vector<int16_t>& s, int threshold = 60,
                                     long gapFrames = 1323, long minFrames = 441) {
    std::vector<Segment> out;
    long i = 0, n = static_cast<long>(s.size());
    while (i < n) {
        while (i < n && std::abs(s[i]) <= threshold) ++i;
        if (i >= n) break;
        long start = i, lastLoud = i;
        while (i < n && i - lastLoud < gapFrames) {
            if (std::abs(s[i]) > threshold) lastLoud = i;
            ++i;
        }
        long end = lastLoud + 1;
        if (end - start >= minFrames) {
            Segment seg;
            seg.start = start;
            seg.end = end;
            seg.hz = ToneHz(s, start, end);
            seg.rms = Rms(s, start, end);
            out.push_back(seg);
        }
    }
    return out;
}

/// Splits one run of sound further where its frequency changes (sounds that
/// follow each other without a silence between them): windows of `window`
/// frames, a new piece when the frequency differs by more than 5 %.
inline std::vector<Segment> SplitByTone(const std::vector<int16_t>& s, const Segment& seg,
                                        long window = 2205) {
    std::vector<Segment> out;
    for (long w = seg.start; w + window <= seg.end; w += window) {
        double hz = ToneHz(s, w, w + window);
        if (out.empty() || std::fabs(hz - out.back().hz) > 0.05 * out.back().hz) {
            Segment piece;
            piece.start = w;
            piece.end = w + window;
            piece.hz = hz;
            out.push_back(piece);
        } else {
            out.back().end = w + window;
        }
    }
    for (Segment& p : out) p.rms = Rms(s, p.start, p.end);
    return out;
}

// ---- the window ----

/// The X window id of the visible window titled `title`, or "" after ~20 s.
inline std::string FindWindow(const std::string& title) {
    for (int i = 0; i < 100; ++i) {
        std::string id = Shell("xdotool search --onlyvisible --name " + Quote("^" + title + "$") +
                               " 2>/dev/null | head -n1");
        if (!id.empty()) return id;
        SleepMs(200);
    }
    return "";
}

struct Geometry {
    int x = 0, y = 0, width = 0, height = 0;
};

inline Geometry WindowGeometry(const std::string& id) {
    Geometry g;
    std::string out = Shell("xdotool getwindowgeometry --shell " + id);
    sscanf(strstr(out.c_str(), "X=") ? strstr(out.c_str(), "X=") : "", "X=%d", &g.x);
    sscanf(strstr(out.c_str(), "Y=") ? strstr(out.c_str(), "Y=") : "", "Y=%d", &g.y);
    sscanf(strstr(out.c_str(), "WIDTH=") ? strstr(out.c_str(), "WIDTH=") : "", "WIDTH=%d",
           &g.width);
    sscanf(strstr(out.c_str(), "HEIGHT=") ? strstr(out.c_str(), "HEIGHT=") : "", "HEIGHT=%d",
           &g.height);
    return g;
}

/// Clicks button 1 at (x, y) of the window's view, whose height is `viewHeight`
/// (the menu bar sits above it).
inline int ClickView(const std::string& id, int x, int y, int viewHeight = 135) {
    Geometry g = WindowGeometry(id);
    int top = g.height - viewHeight;
    std::string sx = std::to_string(g.x + x), sy = std::to_string(g.y + top + y);
    // "--sync" waits for the pointer to move: a click where the pointer already
    // is would wait for ever, so it first steps one pixel aside.
    return system(("xdotool mousemove --sync " + std::to_string(g.x + x + 1) + " " + sy +
                   " mousemove --sync " + sx + " " + sy + " click 1")
                      .c_str());
}

/// Screen position of view point (x, y).
inline void ViewToScreen(const std::string& id, int& x, int& y, int viewHeight = 135) {
    Geometry g = WindowGeometry(id);
    x += g.x;
    y += g.y + g.height - viewHeight;
}

/// Focuses the window and types `keys` (xdotool key names).
inline int Key(const std::string& id, const std::string& keys) {
    return system(("xdotool windowfocus --sync " + id + " key " + keys).c_str());
}

/// A screenshot of the window as RGB rows; empty on failure.
inline std::vector<unsigned char> Screenshot(const std::string& id, const std::string& path,
                                             Geometry* size = nullptr) {
    // Without a window id, import would wait for a click on the screen.
    if (id.empty()) return {};
    Geometry g = WindowGeometry(id);
    if (size) *size = g;
    if (system(("import -window " + id + " -depth 8 rgb:" + Quote(path)).c_str()) != 0) return {};
    std::string bytes = ReadText(path);
    return std::vector<unsigned char>(bytes.begin(), bytes.end());
}

/// Waits (up to `ms`) until `done()` holds.
template <class F>
bool WaitUntil(F done, int ms) {
    // Wall-clock time: a check that takes long (reading a long recording in a
    // sanitizer build) must not stretch the limit.
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end) return false;
        SleepMs(100);
    }
    return true;
}

}  // namespace programkit
