// The finished program under the test X server and the private sound server:
// what it plays is recorded at the sink and compared with the files it was given.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <set>
#include <vector>

#include "../gui/ControlCanvas.h"
#include "DecoderErrorText.h"
#include "ProgramFiles.h"
#include "ProgramKit.h"
#include "SoundFileWriter.h"
#include "XPlayList.h"

using namespace programkit;

namespace {

constexpr const char* kTitle = "Velotune 2.0";

// The largest difference between `expected` and the recording from `start` on,
// at the best alignment near `start`: the first loud sample of a sine that starts
// at 0 is its first or second sample, and a sound that followed another without
// a pause is only placed to within one 2205-frame window (SplitByTone).
int BestMatch(const std::vector<int16_t>& rec, long start, const std::vector<short>& expected) {
    int best = 1 << 20;
    for (long offset = start - 2210; offset <= start + 2210; ++offset) {
        if (offset < 0 ||
            offset + static_cast<long>(expected.size()) > static_cast<long>(rec.size()))
            continue;
        int worst = 0;
        for (size_t i = 0; i < expected.size() && worst < best; ++i)
            worst = std::max(worst, std::abs(rec[static_cast<size_t>(offset) + i] - expected[i]));
        best = std::min(best, worst);
    }
    return best;
}

// The sounds of a recording: runs of sound, split where the tone changes, since
// two sounds can follow each other without a pause between them.
std::vector<Segment> Sounds(const std::vector<int16_t>& left) {
    std::vector<Segment> out;
    for (const Segment& run : Segments(left)) {
        std::vector<Segment> pieces = SplitByTone(left, run);
        if (pieces.size() <= 1) {
            out.push_back(run);  // keeps the exact edges
            continue;
        }
        for (const Segment& p : pieces)
            if (p.Length() >= 2 * 2205) out.push_back(p);
    }
    return out;
}

// Waits until the recording holds `count` sounds followed by `quiet` seconds of
// silence, or `ms` passed; returns the sounds found.
std::vector<Segment> WaitForSounds(const Recorder& rec, size_t count, double quiet, int ms) {
    std::vector<Segment> segs;
    WaitUntil(
        [&] {
            std::vector<int16_t> left = rec.Left();
            segs = Sounds(left);
            return segs.size() >= count && static_cast<double>(static_cast<long>(left.size()) -
                                                               segs.back().end) > quiet * 44100;
        },
        ms);
    return segs;
}

// The share of pixels that differ (any channel by more than 8) between the
// view's top `rows` rows in an RGB screenshot of the window and `canvas`.
double Mismatch(const std::vector<unsigned char>& shot, const Geometry& g, int viewTop,
                const ControlCanvas& canvas, int rows) {
    long differ = 0, total = 0;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < canvas.Width(); ++x) {
            size_t at = (static_cast<size_t>(viewTop + y) * g.width + x) * 3;
            if (at + 2 >= shot.size()) return 1.0;
            XColor c = canvas.At(x, y);
            int d = std::max({std::abs(shot[at] - c.red()), std::abs(shot[at + 1] - c.green()),
                              std::abs(shot[at + 2] - c.blue())});
            differ += d > 8;
            ++total;
        }
    return total ? static_cast<double>(differ) / total : 1.0;
}

// What the playlist should show after the two sounds of a folder played, drawn
// off the screen by the program's own playlist view.
void DrawExpectedList(ControlCanvas& canvas, const std::vector<std::string>& paths,
                      const std::vector<int>& bits, const std::vector<int>& channels, int rate) {
    XPlayList list(nullptr, XRect(0, 0, canvas.Width() - 1, canvas.Height() - 1), 5);
    list.PlaceIn(XRect(0, 0, canvas.Width() - 1, canvas.Height() - 1));
    for (size_t i = 0; i < paths.size(); ++i) {
        list.Add(const_cast<char*>(paths[i].c_str()), rate, bits[i], channels[i]);
        list.NextPath();  // the worker asks for the next entry at every sound's end
    }
    canvas.Clear();
    canvas.Draw(&list);
}

class Velotune : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(ExpectProgramEnvironment());
    }
    // Starts the program with `args` and waits for its window.
    void Launch(std::vector<std::string> args) {
        args.insert(args.begin(), ProgramPath());
        ASSERT_TRUE(program.Start(args));
        window = FindWindow(kTitle);
        ASSERT_FALSE(window.empty()) << "no window titled " << kTitle;
    }
    // Ends the program with Escape; its exit status.
    int Quit() {
        Key(window, "Escape");
        return program.Wait(30000);  // a sanitizer build checks its heap at exit
    }
    Process program;
    std::string window;
};

}  // namespace

TEST_F(Velotune, AFolderOnTheCommandLinePlaysItsSoundsInOrderAndTheRecordingMatchesThem) {
    std::string dir = Folder("folder-a");
    std::vector<short> a = WriteTone(dir + "/A.WAV", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 441.0, 1.0);
    std::vector<short> b =
        WriteTone(dir + "/b.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 661.5, 1.0);
    WriteTone(dir + "/.hidden.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 882.0, 1.0);
    ASSERT_TRUE(testfiles::WriteBytes(dir + "/c.txt", {'t', 'e', 'x', 't', '\n'}));
    std::vector<std::string> order;
    for (const std::string& n : Listing(dir))
        if (n == "A.WAV" || n == "b.aiff") order.push_back(n);
    ASSERT_EQ(order.size(), 2u);

    Recorder rec(testfiles::TempPath("folder-a.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir});
    std::vector<Segment> segs = WaitForSounds(rec, 2, 1.5, 20000);
    rec.Stop();
    std::vector<int16_t> left = rec.Left();
    ASSERT_EQ(segs.size(), 2u) << "exactly the two sound files are heard";
    for (size_t i = 0; i < 2; ++i) {
        const std::vector<short>& expected = order[i] == "A.WAV" ? a : b;
        double hz = order[i] == "A.WAV" ? 441.0 : 661.5;
        EXPECT_NEAR(segs[i].hz, hz, 2.0) << order[i];
        EXPECT_NEAR(static_cast<double>(segs[i].Length()), 44100.0, 2300.0) << order[i];
        EXPECT_LE(BestMatch(left, segs[i].start, expected), 2)
            << order[i] << " is not what was recorded";
    }
    // The playlist shows both entries with rate, bits and channels: make the
    // window one row taller, so two rows fit, and compare it with the view drawn
    // off the screen.
    Geometry g = WindowGeometry(window);
    ASSERT_EQ(system(("xdotool windowsize --sync " + window + " " + std::to_string(g.width) + " " +
                      std::to_string(g.height + 14))
                         .c_str()),
              0);
    SleepMs(500);
    Geometry shotSize;
    std::vector<unsigned char> shot =
        Screenshot(window, testfiles::TempPath("folder-a.rgb"), &shotSize);
    ASSERT_EQ(shot.size(), static_cast<size_t>(shotSize.width) * shotSize.height * 3);
    int viewTop = shotSize.height - 149;
    std::vector<std::string> paths = {dir + "/" + order[0], dir + "/" + order[1]};
    auto bitsOf = [](const std::string&) { return 16; };
    auto channelsOf = [](const std::string&) { return 2; };
    // The playlist is 0 to 35 high at first (its last row lies under the panel
    // below), 50 rows once the window grew by 14; 49 of them are seen.
    ControlCanvas expected(shotSize.width, 50);
    DrawExpectedList(expected, paths, {bitsOf(order[0]), bitsOf(order[1])},
                     {channelsOf(order[0]), channelsOf(order[1])}, 44100);
    double same = Mismatch(shot, shotSize, viewTop, expected, 49);
    ControlCanvas wrong(shotSize.width, 50);
    DrawExpectedList(wrong, paths, {16, 16}, {2, 2}, 48000);
    double other = Mismatch(shot, shotSize, viewTop, wrong, 49);
    EXPECT_LT(same, 0.01) << "the playlist does not show the two entries as expected";
    EXPECT_GT(other, same + 0.002) << "the comparison does not tell rates apart";
    EXPECT_EQ(Quit(), 0);
}

TEST_F(Velotune, EscapeEndsTheProgramWithStatusZero) {
    Launch({});
    EXPECT_EQ(Quit(), 0);
}

TEST_F(Velotune, ReturnAlsoEndsTheProgramWithStatusZero) {
    Launch({});
    Key(window, "Return");
    EXPECT_EQ(program.Wait(30000), 0);
}

TEST_F(Velotune, AFolderWithATextFileNamedWavPlaysBothGoodSoundsAndLogsTheSkippedFile) {
    std::string dir = Folder("folder-f");
    std::vector<short> one =
        WriteTone(dir + "/1.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 441.0, 0.6);
    ASSERT_TRUE(testfiles::WriteBytes(dir + "/x.wav", std::vector<unsigned char>(2000, 'x')));
    std::vector<short> two =
        WriteTone(dir + "/2.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 661.5, 0.6);
    std::vector<std::string> order;
    for (const std::string& n : Listing(dir))
        if (n != "x.wav") order.push_back(n);
    Recorder rec(testfiles::TempPath("folder-f.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir});
    std::vector<Segment> segs = WaitForSounds(rec, 2, 1.0, 20000);
    rec.Stop();
    ASSERT_EQ(segs.size(), 2u);
    std::vector<int16_t> left = rec.Left();
    for (size_t i = 0; i < 2; ++i) {
        bool first = order[i] == "1.wav";
        EXPECT_NEAR(segs[i].hz, first ? 441.0 : 661.5, 2.0) << order[i];
        EXPECT_LE(BestMatch(left, segs[i].start, first ? one : two), 2) << order[i];
    }
    EXPECT_TRUE(program.Running()) << "a bad file never ends the program";
    std::string log = ReadText(LogPath());
    std::string reason = testfiles::DecoderOpenReason(dir + "/x.wav");
    ASSERT_FALSE(reason.empty());
    EXPECT_NE(log.find("*** MainDlg: skipped " + dir +
                       "/x.wav: ExtAudioFileOpen failed: " + reason + " ***"),
              std::string::npos)
        << log;
    EXPECT_EQ(Quit(), 0);
}

namespace {

// The recording as a list of events: runs of 50-ms windows with the same tone
// (within 5 %) and level (within 30 %), and silences (hz 0). A run is labelled
// with its second window's tone and level.
struct Event {
    double hz;
    double rms;
    double seconds;
};

std::vector<Event> Events(const std::vector<int16_t>& s) {
    const long window = 2205;
    std::vector<Event> out;
    for (long w = 0; w + window <= static_cast<long>(s.size()); w += window) {
        double rms = Rms(s, w, w + window);
        double hz = rms < 30 ? 0 : ToneHz(s, w, w + window);
        bool same = !out.empty() && ((hz == 0 && out.back().hz == 0) ||
                                     (hz > 0 && out.back().hz > 0 &&
                                      std::fabs(hz - out.back().hz) < 0.05 * out.back().hz &&
                                      std::fabs(rms - out.back().rms) < 0.3 * out.back().rms));
        if (same) {
            // The first window of a run may straddle its edge (the end of a fade
            // and the start of the next sound in one window): the run takes its
            // tone and level from its second window, a whole one.
            if (out.back().seconds < 0.06) {
                out.back().hz = hz;
                out.back().rms = rms;
            }
            out.back().seconds += 0.05;
        } else {
            out.push_back({hz, rms, 0.05});
        }
    }
    // Fades and the edges of pauses leave one-window events between the runs.
    std::vector<Event> runs;
    for (const Event& e : out)
        if (e.seconds > 0.11) runs.push_back(e);
    return runs;
}

std::string Describe(const std::vector<Event>& events) {
    std::string text;
    char line[96];
    for (const Event& e : events) {
        snprintf(line, sizeof line, "  %7.1f Hz  rms %6.0f  %5.2f s\n", e.hz, e.rms, e.seconds);
        text += line;
    }
    return text;
}

// The index of the first event from `from` on with tone `hz` (0 = silence) whose
// level is within `level` (fraction of full-volume tones, 0 = any), or -1.
int Find(const std::vector<Event>& ev, size_t from, double hz, double level = 0) {
    const double full = 0.5 * 32767 / std::sqrt(2.0);  // rms of the half-scale tones
    for (size_t i = from; i < ev.size(); ++i) {
        bool tone = hz == 0 ? ev[i].hz == 0 : std::fabs(ev[i].hz - hz) < 0.03 * hz;
        bool loud = level == 0 || std::fabs(ev[i].rms / full - level) < 0.25 * level;
        if (tone && loud) return static_cast<int>(i);
    }
    return -1;
}

}  // namespace

// Clicks on every control of the playing panel and on the settings panel change
// what is heard as the buttons say: pause and resume, next, previous, the volume
// levels, a playback limit of 2 seconds, and stop.
TEST_F(Velotune, RealClicksOnTheControlsChangeWhatIsHeardAsTheButtonsSay) {
    std::string dir = Folder("clicks");
    const double hz[4] = {441.0, 661.5, 882.0, 1102.5};
    std::vector<std::string> files;
    for (int i = 0; i < 4; ++i) {
        files.push_back(dir + "/s" + std::to_string(i) + ".wav");
        WriteTone(files.back(), SF_FORMAT_WAV | SF_FORMAT_PCM_16, hz[i], 4.0);
    }
    Recorder rec(testfiles::TempPath("clicks.raw"));
    ASSERT_TRUE(rec.Start());
    Launch(files);
    ASSERT_FALSE(WaitForSounds(rec, 1, -100, 20000).empty()) << "nothing is heard";
    auto click = [&](int x, int y, int pauseMs) {
        ASSERT_EQ(ClickView(window, x, y), 0);
        SleepMs(pauseMs);
    };
    SleepMs(700);
    click(196, 97, 1200);  // play/pause: pause
    click(196, 97, 600);   // and resume
    click(240, 97, 1200);  // next: s1 stops, s2 plays
    click(152, 97, 1000);  // previous: s1 again
    click(273, 96, 800);   // volume: level 2 -> 0 (a tenth)
    click(273, 96, 600);   // volume: level 0 -> 1 (0.4)
    click(384, 49, 300);   // settings
    click(16, 66, 300);    // limit on: the edit box shows 5
    click(135, 65, 300);   // edit the limit
    ASSERT_EQ(Key(window, "BackSpace 2 Return"), 0);
    SleepMs(300);
    click(375, 48, 300);  // done: back to the playing panel
    // s1 is past 2 s: the limit ends it; s2 then plays 2 s and s3 follows.
    ASSERT_TRUE(WaitUntil(
        [&] {
            std::vector<Event> ev = Events(rec.Left());
            return Find(ev, 0, hz[2]) >= 0;
        },
        15000))
        << "s3 never played";
    SleepMs(600);
    click(120, 97, 2500);  // stop during s3: nothing more is heard
    rec.Stop();
    std::vector<Event> ev = Events(rec.Left());
    SCOPED_TRACE("heard:\n" + Describe(ev));

    int a = Find(ev, 0, hz[0], 1.0);
    ASSERT_GE(a, 0) << "s1 at full volume";
    int pause = Find(ev, static_cast<size_t>(a), 0);
    ASSERT_GE(pause, 0);
    EXPECT_GT(ev[static_cast<size_t>(pause)].seconds, 0.8) << "the pause silences the sound";
    int resumed = Find(ev, static_cast<size_t>(pause), hz[0], 1.0);
    ASSERT_GE(resumed, 0) << "play resumes s1";
    int s2 = Find(ev, static_cast<size_t>(resumed), hz[1], 1.0);
    ASSERT_GE(s2, 0) << "next plays s2";
    int again = Find(ev, static_cast<size_t>(s2), hz[0], 1.0);
    ASSERT_GE(again, 0) << "previous plays s1 again";
    int quiet = Find(ev, static_cast<size_t>(again), hz[0], 0.1);
    ASSERT_GE(quiet, 0) << "volume level 0 plays at a tenth";
    int middle = Find(ev, static_cast<size_t>(quiet), hz[0], 0.4);
    ASSERT_GE(middle, 0) << "volume level 1 plays at 0.4";
    int limited = Find(ev, static_cast<size_t>(middle), hz[1], 0.4);
    ASSERT_GE(limited, 0) << "s2 follows at 0.4";
    EXPECT_GT(ev[static_cast<size_t>(limited)].seconds, 1.6) << "the limit is 2 s";
    EXPECT_LT(ev[static_cast<size_t>(limited)].seconds, 2.1) << "the limit is 2 s";
    int s3 = Find(ev, static_cast<size_t>(limited), hz[2], 0.4);
    ASSERT_GE(s3, 0);
    EXPECT_LT(ev[static_cast<size_t>(s3)].seconds, 2.1);
    EXPECT_EQ(Find(ev, static_cast<size_t>(s3), hz[3]), -1) << "after stop nothing more plays";
    EXPECT_EQ(Quit(), 0);
}

// ---- real drags from another application ----

namespace {

// Drags `paths` from the test drag source onto view point (x, y) of the window.
int DragOnto(const std::string& window, int x, int y, const std::vector<std::string>& paths) {
    ViewToScreen(window, x, y);
    std::string cmd = "VELOTUNE_DRAG_SOURCE=" + Quote(VELOTUNE_DRAG_SOURCE) + " bash " +
                      Quote(std::string(VELOTUNE_SOURCE_DIR) + "/tests/scripts/drag-files.sh") +
                      " " + std::to_string(x) + " " + std::to_string(y);
    for (const std::string& p : paths) cmd += " " + Quote(p);
    int rc = system(cmd.c_str());
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

}  // namespace

TEST_F(Velotune, AFolderDroppedByARealDragPlaysLikeOneGivenOnTheCommandLine) {
    std::string dir = Folder("folder-b");
    std::vector<short> a = WriteTone(dir + "/A.WAV", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 441.0, 1.0);
    std::vector<short> b =
        WriteTone(dir + "/b.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 661.5, 1.0);
    WriteTone(dir + "/.hidden.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 882.0, 1.0);
    ASSERT_TRUE(testfiles::WriteBytes(dir + "/c.txt", {'t', 'e', 'x', 't', '\n'}));
    std::vector<std::string> order;
    for (const std::string& n : Listing(dir))
        if (n == "A.WAV" || n == "b.aiff") order.push_back(n);

    Recorder rec(testfiles::TempPath("folder-b.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({});
    // Onto the playlist, away from the drag source's window at the top left.
    ASSERT_EQ(DragOnto(window, 300, 20, {dir}), 0) << "the window did not take the drop";
    std::vector<Segment> segs = WaitForSounds(rec, 2, 1.5, 20000);
    rec.Stop();
    std::vector<int16_t> left = rec.Left();
    ASSERT_EQ(segs.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        bool first = order[i] == "A.WAV";
        EXPECT_NEAR(segs[i].hz, first ? 441.0 : 661.5, 2.0) << order[i];
        EXPECT_LE(BestMatch(left, segs[i].start, first ? a : b), 2) << order[i];
    }
    EXPECT_EQ(Quit(), 0);
}

TEST_F(Velotune, ASecondDropDuringPlaybackPlaysAfterTheCurrentItems) {
    std::string first = Folder("drop-e1"), second = Folder("drop-e2");
    WriteTone(first + "/1.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 441.0, 1.5);
    WriteTone(first + "/2.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 661.5, 1.5);
    WriteTone(second + "/3.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 882.0, 0.8);
    Recorder rec(testfiles::TempPath("drop-e.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({first});
    ASSERT_FALSE(WaitForSounds(rec, 1, -100, 20000).empty());
    ASSERT_EQ(DragOnto(window, 300, 20, {second}), 0);
    std::vector<Segment> segs = WaitForSounds(rec, 3, 1.5, 20000);
    rec.Stop();
    ASSERT_EQ(segs.size(), 3u);
    double low = std::min(segs[0].hz, segs[1].hz), high = std::max(segs[0].hz, segs[1].hz);
    EXPECT_NEAR(low, 441.0, 2.0) << "the first folder's two sounds come first";
    EXPECT_NEAR(high, 661.5, 2.0) << "the first folder's two sounds come first";
    EXPECT_NEAR(segs[2].hz, 882.0, 2.0) << "the dropped folder plays after the first one";
    for (const Segment& s : segs) EXPECT_GT(s.Length(), 0.7 * 44100) << "nothing was cut short";
    EXPECT_EQ(Quit(), 0);
}
