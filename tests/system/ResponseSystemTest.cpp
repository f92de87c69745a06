// The finished program as a musician meets it: the playlist played again after a
// walk, a pause lifted by the commands that move on, a sound faded out when the
// window closes, a machine without an audio device, a quiet terminal, no OpenGL,
// and closing during playback again and again.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "ProgramFiles.h"
#include "ProgramKit.h"
#include "SoundFileWriter.h"

using namespace programkit;

namespace {

constexpr const char* kTitle = "Velotune 2.0";

// The tones heard, in order: the runs of sound, split where the tone changes
// (a sound that follows another without a pause is part of the same run), with
// the silences between runs as 0.
std::vector<double> Heard(const std::vector<int16_t>& left) {
    std::vector<double> out;
    for (const Segment& run : Segments(left)) {
        if (!out.empty()) out.push_back(0);
        for (const Segment& piece : SplitByTone(left, run)) {
            if (piece.Length() < 2 * 2205 || piece.hz <= 0) continue;  // an edge or a fade
            if (out.empty() || out.back() == 0 ||
                std::fabs(piece.hz - out.back()) > 0.03 * piece.hz)
                out.push_back(piece.hz);
        }
    }
    return out;
}

// The tones of Heard without the silences.
std::vector<double> Tones(const std::vector<int16_t>& left) {
    std::vector<double> out;
    for (double hz : Heard(left))
        if (hz > 0) out.push_back(hz);
    return out;
}

std::string Describe(const std::vector<double>& tones) {
    std::string text;
    for (double hz : tones) text += " " + std::to_string(static_cast<int>(std::lround(hz)));
    return text;
}

bool Near(double a, double b) {
    return std::fabs(a - b) < 0.02 * b;
}

class Response : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(ExpectProgramEnvironment());
    }
    // Starts the program through the shell (`prefix` before it, its standard error
    // into `errPath` when given) and waits for its window.
    void Launch(const std::vector<std::string>& args, const std::string& prefix = "",
                const std::string& errPath = "") {
        std::string cmd = "exec " + prefix + " " + Quote(ProgramPath());
        for (const std::string& a : args) cmd += " " + Quote(a);
        if (!errPath.empty()) cmd += " 2>" + Quote(errPath);
        ASSERT_TRUE(program.Start({"/bin/sh", "-c", cmd}));
        window = FindWindow(kTitle);
        ASSERT_FALSE(window.empty()) << "no window titled " << kTitle;
    }
    int Quit() {
        Key(window, "Escape");
        return program.Wait(30000);  // a sanitizer build checks its heap at exit
    }
    // Makes the window `rows` playlist rows taller, so that they can be clicked.
    void Taller(int rows) {
        Geometry g = WindowGeometry(window);
        ASSERT_EQ(system(("xdotool windowsize --sync " + window + " " + std::to_string(g.width) +
                          " " + std::to_string(g.height + 14 * rows))
                             .c_str()),
                  0);
        SleepMs(400);
    }
    // Waits until the recording holds `count` runs of sound and then a second of
    // silence; their tones.
    std::vector<double> WaitForRuns(const Recorder& rec, size_t count, int ms = 20000) {
        std::vector<double> tones;
        WaitUntil(
            [&] {
                std::vector<int16_t> left = rec.Left();
                std::vector<Segment> segs = Segments(left);
                tones.clear();
                for (const Segment& s : segs) tones.push_back(s.hz);
                return segs.size() >= count &&
                       static_cast<long>(left.size()) - segs.back().end > 44100;
            },
            ms);
        return tones;
    }
    Process program;
    std::string window;
};

}  // namespace

// After the walk has ended the list is a way back: a click on an entry plays it
// and the entries after it, and space or the left arrow play an entry too. The
// list stands one past its newest entry once it was played to the end, so both
// choose the newest (the left arrow chooses the entry before the current one).
TEST_F(Response, AfterTheWalkAClickSpaceAndAnArrowPlayTheListAgain) {
    const std::string dir = Folder("again");
    const double hz[3] = {441.0, 661.5, 882.0};
    for (int i = 0; i < 3; ++i) WriteTone(dir + "/t" + std::to_string(i) + ".wav", hz[i], 0.4);
    std::vector<double> order;  // the tones in the order the folder lists them
    for (const std::string& n : Listing(dir)) order.push_back(hz[n[1] - '0']);
    ASSERT_EQ(order.size(), 3u);

    Recorder rec(testfiles::TempPath("again.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir});
    std::vector<double> heard = WaitForRuns(rec, 1);
    ASSERT_FALSE(heard.empty()) << "the walk was not heard";
    Taller(3);  // the playlist shows four rows: the three entries
    rec.Stop();

    // A click on the second entry: it and the third play.
    Recorder click(testfiles::TempPath("again-click.raw"));
    ASSERT_TRUE(click.Start());
    ASSERT_EQ(ClickView(window, 100, 22 + 14 + 5, 135 + 42), 0);
    SleepMs(2500);
    click.Stop();
    std::vector<double> pieces = Tones(click.Left());
    SCOPED_TRACE("after the click:" + Describe(pieces));
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_TRUE(Near(pieces[0], order[1])) << "the clicked entry plays first";
    EXPECT_TRUE(Near(pieces[1], order[2])) << "then the list goes on to the newest";

    // Space: the list stands past its newest entry, so the newest plays again.
    Recorder space(testfiles::TempPath("again-space.raw"));
    ASSERT_TRUE(space.Start());
    ASSERT_EQ(Key(window, "space"), 0);
    SleepMs(1500);
    space.Stop();
    std::vector<double> afterSpace = Tones(space.Left());
    SCOPED_TRACE("after space:" + Describe(afterSpace));
    ASSERT_EQ(afterSpace.size(), 1u);
    EXPECT_TRUE(Near(afterSpace[0], order[2]));

    // The left arrow: the entry before the one past the newest.
    Recorder left(testfiles::TempPath("again-left.raw"));
    ASSERT_TRUE(left.Start());
    ASSERT_EQ(Key(window, "Left"), 0);
    SleepMs(2500);
    left.Stop();
    std::vector<double> afterLeft = Tones(left.Left());
    SCOPED_TRACE("after the left arrow:" + Describe(afterLeft));
    ASSERT_EQ(afterLeft.size(), 1u);
    EXPECT_TRUE(Near(afterLeft[0], order[2])) << "the entry before the one past the newest";
    EXPECT_EQ(Quit(), 0);
}

// Next while paused takes effect: the pause is lifted, the fade-out runs and the
// next sound follows without pressing play.
TEST_F(Response, NextWhilePausedLiftsThePauseSoThatTheNextSoundFollows) {
    const std::string dir = Folder("paused");
    WriteTone(dir + "/a.wav", 441.0, 4.0);
    WriteTone(dir + "/b.wav", 882.0, 1.0);
    Recorder rec(testfiles::TempPath("paused.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir + "/a.wav", dir + "/b.wav"});
    ASSERT_TRUE(WaitUntil([&] { return !Segments(rec.Left()).empty(); }, 10000));
    SleepMs(600);
    ASSERT_EQ(ClickView(window, 196, 97), 0);  // pause
    SleepMs(800);
    ASSERT_EQ(ClickView(window, 240, 97), 0);  // next, while paused
    std::vector<double> tones;
    ASSERT_TRUE(WaitUntil(
        [&] {
            tones = Tones(rec.Left());
            return !tones.empty() && Near(tones.back(), 882.0);
        },
        10000))
        << "b never played; heard:" << Describe(tones);
    rec.Stop();
    std::vector<double> heard = Heard(rec.Left());
    SCOPED_TRACE("heard:" + Describe(heard));
    // a, the pause, a again while it fades out, then b.
    ASSERT_EQ(heard.size(), 4u);
    EXPECT_TRUE(Near(heard[0], 441.0));
    EXPECT_EQ(heard[1], 0);
    EXPECT_TRUE(Near(heard[2], 441.0)) << "the pause was lifted: a fades out";
    EXPECT_TRUE(Near(heard[3], 882.0));
    EXPECT_EQ(Quit(), 0);
}

// Closing while a sound plays fades it out over at most 30 ms: the recording ends
// in a falling envelope, not in a cut at full level.
TEST_F(Response, ClosingWhileASoundPlaysFadesItOutWithin30Milliseconds) {
    const std::string dir = Folder("closing");
    WriteTone(dir + "/long.wav", 441.0, 6.0);
    Recorder rec(testfiles::TempPath("closing.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir + "/long.wav"});
    ASSERT_TRUE(WaitUntil([&] { return !Segments(rec.Left()).empty(); }, 10000));
    SleepMs(1000);
    EXPECT_EQ(Quit(), 0);
    SleepMs(500);
    rec.Stop();
    std::vector<int16_t> left = rec.Left();
    std::vector<Segment> segs = Segments(left, 30);
    ASSERT_EQ(segs.size(), 1u);
    const Segment& s = segs[0];
    EXPECT_LT(s.Length(), 4 * 44100) << "the sound was not cut short by the close";
    // The level over the last milliseconds, 5 ms (220 frames) at a time.
    auto level = [&](long end) { return Rms(left, end - 220, end); };
    const double full = level(s.end - 44100 / 2);
    ASSERT_GT(full, 8000);
    // Where the level first falls below 90 % of the tone's, to the end of the sound.
    long fadeStart = s.end;
    while (fadeStart - 220 > s.start && level(fadeStart) < 0.9 * full) fadeStart -= 44;
    const double fadeMs = 1000.0 * static_cast<double>(s.end - fadeStart) / 44100.0;
    EXPECT_LE(fadeMs, 40.0) << "the fade takes at most 30 ms (plus the 5-ms window)";
    EXPECT_LT(level(s.end), 0.15 * full) << "the sound ends at a low level, not in a cut";
    double biggest = 0;
    for (long i = s.end - 88; i < s.end; ++i) biggest = std::max(biggest, std::fabs(1.0 * left[i]));
    EXPECT_LT(biggest, 0.1 * 16384) << "the last two milliseconds are nearly silent";
}

// Without an audio device (the sound server cannot be reached) the program still
// starts, says so in the log and in the time label, walks the files without
// waiting for sounds that cannot play, and closes at once.
TEST_F(Response, WithoutAnAudioDeviceTheWalkGoesThroughAndTheWindowSaysSo) {
    const std::string dir = Folder("nodevice");
    for (int i = 0; i < 3; ++i) WriteTone(dir + "/n" + std::to_string(i) + ".wav", 441.0, 5.0);
    Launch({dir}, "env PULSE_SERVER=unix:/nonexistent/socket");
    ASSERT_TRUE(WaitUntil(
        [&] {
            return ReadText(LogPath()).find("*** MainDlg: no audio device: ") != std::string::npos;
        },
        15000))
        << ReadText(LogPath());
    // Fifteen seconds of sound would take that long to play; the walk does not wait.
    SleepMs(1500);
    const std::string log = ReadText(LogPath());
    EXPECT_EQ(log.find("AudioBus::Start()"), std::string::npos) << "no device, no bus";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Quit(), 0);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count(), 8.0)
        << "closing waited for a walk that hangs";
}

// Probing the devices, the JACK plugin among them, prints nothing: the terminal
// stays quiet while the program starts, lists its devices and closes.
TEST_F(Response, TheTerminalStaysQuietFromStartToClose) {
    const std::string err = testfiles::TempPath("quiet.err");
    Launch({}, "", err);
    SleepMs(4500);  // the other devices are listed three seconds after the start
    EXPECT_EQ(Quit(), 0);
    EXPECT_EQ(ReadText(err), "");
    EXPECT_NE(ReadText(LogPath()).find(">> AudioCore::ListMoreDevices()"), std::string::npos)
        << "the other devices were listed";
}

// With the accessibility bridge on, as on a desktop, the program maps no OpenGL
// library: GDK is told not to load it. A user's own GDK_GL setting wins.
TEST_F(Response, TheProgramLoadsNoOpenGlUnlessTheUserAsksGdkForIt) {
    auto glMapped = [&](const std::string& prefix) {
        Launch({}, "env -u NO_AT_BRIDGE " + prefix);
        SleepMs(1000);
        const std::string maps = ReadText("/proc/" + std::to_string(program.Pid()) + "/maps");
        const bool gl = maps.find("libGLX_mesa") != std::string::npos ||
                        maps.find("libLLVM") != std::string::npos ||
                        maps.find("_dri.so") != std::string::npos;
        EXPECT_EQ(Quit(), 0);
        return gl;
    };
    EXPECT_FALSE(glMapped("-u GDK_GL")) << "OpenGL was loaded";
    EXPECT_TRUE(glMapped("GDK_GL=always")) << "the user's own GDK_GL was overridden";
}

// Closing during playback, again and again: the worker, the device and the
// player go away in order, and the program always ends with status 0 (and
// without a report in the sanitizer builds).
TEST_F(Response, ClosingDuringPlaybackAgainAndAgainAlwaysEndsCleanly) {
    const std::string dir = Folder("cycles");
    for (int i = 0; i < 3; ++i) WriteTone(dir + "/c" + std::to_string(i) + ".wav", 441.0, 3.0);
    const int cycles = getenv("VELOTUNE_CLOSE_CYCLES") ? atoi(getenv("VELOTUNE_CLOSE_CYCLES")) : 5;
    for (int i = 0; i < cycles; ++i) {
        Recorder rec(testfiles::TempPath("cycles.raw"));
        ASSERT_TRUE(rec.Start());
        Launch({dir});
        ASSERT_TRUE(WaitUntil([&] { return !Segments(rec.Left()).empty(); }, 10000))
            << "cycle " << i << ": nothing heard";
        SleepMs(100 + 97 * i % 400);
        ASSERT_EQ(Quit(), 0) << "cycle " << i;
        rec.Stop();
    }
}
