// The finished program in a user's hands, under Xvfb with the private sound server:
// what the window shows after real clicks, a click where a tooltip showed, the
// File menu's Open…, a file dragged out of the playlist to another application,
// the limit's seconds typed over, a sound of six channels, and a terminal that
// stays quiet over a folder of broken files.
//
// With VELOTUNE_WRITE_DOCS=1 the tests that show the empty window, the File menu
// and a drag out also write those screenshots into docs/.
#include <glib.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "../gui/ControlCanvas.h"
#include "DamagedMp3.h"
#include "ProgramFiles.h"
#include "ProgramKit.h"
#include "SoundFileWriter.h"
#include "XPane.h"
#include "XPlayList.h"
#include "XTogVol.h"
#include "XToolTip.h"

using namespace programkit;

namespace {

constexpr const char* kTitle = "Velotune 2.0";
constexpr int kViewHeight = 135;  // the view's height at the window's first size

// A folder of that name in the scratch folder, emptied of an earlier run's files.
std::string EmptyFolder(const std::string& name) {
    std::string dir = testfiles::TempPath(name);
    system(("rm -rf " + Quote(dir)).c_str());
    mkdir(dir.c_str(), 0755);
    return dir;
}

// A 16-bit tone file: channel c holds a sine of hz[c] at half scale (0 Hz: silence).
void WriteTone(const std::string& path, const std::vector<double>& hz, double seconds,
               int rate = 44100) {
    int channels = static_cast<int>(hz.size());
    int frames = static_cast<int>(seconds * rate);
    std::vector<short> s(static_cast<size_t>(frames) * channels);
    for (int f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            s[static_cast<size_t>(f) * channels + c] =
                static_cast<short>(std::lround(16383.0 * std::sin(2.0 * M_PI * hz[c] * f / rate)));
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, rate, channels, s))
        << path;
}

// Whether the recording holds at least `seconds` of sound in all, followed by a
// second of silence: sounds that follow each other may do so without a pause.
bool PlayedAndQuiet(const Recorder& rec, double seconds) {
    std::vector<int16_t> left = rec.Left();
    std::vector<Segment> segs = Segments(left);
    long heard = 0;
    for (const Segment& seg : segs) heard += seg.Length();
    return !segs.empty() && heard >= seconds * 44100 &&
           static_cast<long>(left.size()) - segs.back().end > 44100;
}

// Waits (up to `ms`) until the recording holds at least `seconds` of sound and a
// second of silence after it; returns its runs of sound.
std::vector<Segment> WaitForSound(const Recorder& rec, double seconds, int ms) {
    WaitUntil([&] { return PlayedAndQuiet(rec, seconds); }, ms);
    return Segments(rec.Left());
}

// The longest run of sound (a device that falls behind on a loaded machine can
// leave a short gap in a sound), or an empty run.
Segment Longest(const std::vector<Segment>& segs) {
    Segment best;
    for (const Segment& seg : segs)
        if (seg.Length() > best.Length()) best = seg;
    return best;
}

// The colour of view pixel (x, y) in an RGB screenshot of the window.
XColor At(const std::vector<unsigned char>& shot, const Geometry& g, int viewHeight, int x, int y) {
    size_t at = (static_cast<size_t>(g.height - viewHeight + y) * g.width + x) * 3;
    if (at + 2 >= shot.size()) return XColor(1, 2, 3, 4);
    return XColor(shot[at], shot[at + 1], shot[at + 2], 255);
}

// Whether the view's rectangle `rc` of the screenshot shows what `canvas` holds
// there (each channel within 8).
bool Shows(const std::vector<unsigned char>& shot, const Geometry& g, const ControlCanvas& canvas,
           XRect rc) {
    for (int y = rc.top; y <= rc.bottom; ++y)
        for (int x = rc.left; x <= rc.right; ++x) {
            XColor s = At(shot, g, kViewHeight, x, y), c = canvas.At(x, y);
            if (std::abs(s.red() - c.red()) > 8 || std::abs(s.green() - c.green()) > 8 ||
                std::abs(s.blue() - c.blue()) > 8)
                return false;
        }
    return true;
}

// Writes the screen's rectangle into docs/NAME when VELOTUNE_WRITE_DOCS is set.
void WriteDoc(const std::string& name, int x, int y, int w, int h) {
    const char* write = getenv("VELOTUNE_WRITE_DOCS");
    if (!write || std::string(write) != "1") return;
    std::string out = std::string(VELOTUNE_SOURCE_DIR) + "/docs/" + name;
    std::string cmd = "import -window root -crop " + std::to_string(w) + "x" + std::to_string(h) +
                      "+" + std::to_string(x) + "+" + std::to_string(y) + " +repage " + Quote(out);
    EXPECT_EQ(system(cmd.c_str()), 0) << cmd;
}

class InUse : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(ExpectProgramEnvironment());
        // The pointer starts away from where the window shows.
        system("xdotool mousemove 900 700");
    }
    // Starts the program with `args`, its terminal output going to Output(), and
    // waits for its window.
    void Launch(const std::vector<std::string>& args) {
        m_out = testfiles::TempPath("in-use-terminal.txt");
        // In a sanitizer build the leak checker lists the suppressions it used
        // when the program ends: its own report, not the program's output.
        std::string cmd =
            "LSAN_OPTIONS=\"${LSAN_OPTIONS:+$LSAN_OPTIONS:}print_suppressions=0\" exec " +
            Quote(ProgramPath());
        for (const std::string& a : args) cmd += " " + Quote(a);
        cmd += " >" + Quote(m_out) + " 2>&1";
        ASSERT_TRUE(program.Start({"/bin/sh", "-c", cmd}));
        window = FindWindow(kTitle);
        ASSERT_FALSE(window.empty()) << "no window titled " << kTitle;
    }
    // What the program wrote on its terminal so far.
    std::string Output() const { return ReadText(m_out); }
    int Quit() {
        Key(window, "Escape");
        return program.Wait(30000);  // a sanitizer build checks its heap at exit
    }
    // Makes the view 300 pixels high, for more playlist rows; returns the height
    // of the menu bar above the view.
    int MakeTaller() {
        const int bar = WindowGeometry(window).height - kViewHeight;
        EXPECT_EQ(
            system(("xdotool windowsize --sync " + window + " 400 " + std::to_string(bar + 300))
                       .c_str()),
            0);
        return bar;
    }
    // A screenshot of the window; `g` gets its geometry.
    std::vector<unsigned char> Shot(Geometry* g) {
        return Screenshot(window, testfiles::TempPath("in-use-shot.rgb"), g);
    }
    Process program;
    std::string window;

  private:
    std::string m_out;
};

}  // namespace

// ---- the empty window ----

TEST_F(InUse, TheEmptyWindowShowsTheGreyHintInItsPlaylist) {
    Launch({});
    // What the program's own playlist draws while it is empty (its last row, 35, lies
    // under the playing panel).
    ControlCanvas canvas(400, 36);
    XPlayList list(nullptr, XRect(0, 0, 0, 35), 5);
    list.PlaceIn(XRect(0, 0, 399, 134));
    canvas.Draw(&list);
    Geometry g;
    EXPECT_TRUE(WaitUntil(
        [&] {
            std::vector<unsigned char> shot = Shot(&g);
            return Shows(shot, g, canvas, XRect(0, 20, 399, 34));
        },
        20000))
        << "the first row shows the hint";
    WriteDoc("velotune-empty.png", g.x, g.y, g.width, g.height);
    EXPECT_EQ(Quit(), 0);
}

// ---- the loudspeaker ----

// Every click shows exactly the picture of the new level over the panel, not the
// new picture drawn over the old one.
TEST_F(InUse, TheLoudspeakerShowsThePictureOfEachLevelAfterEveryClick) {
    Launch({});
    // The playing panel as the program draws it, with the loudspeaker at a level.
    ControlCanvas canvas(400, 135);
    XPane pane(nullptr, XRect(0, 35, 0, 0));
    pane.PlaceIn(XRect(0, 0, 399, 134));
    ASSERT_TRUE(pane.SetBackPic("pan_main.png"));
    XTogVol* vol = new XTogVol(nullptr, XRect(264, 53, 283, 69), 10);
    pane.AddControl(vol);
    vol->AddPic("icn_vol_l.png");
    vol->AddPic("icn_vol_m.png");
    vol->AddPic("icn_vol_h.png");
    const XRect icon(264, 88, 283, 104);  // in the view
    auto expect = [&](int level) {
        vol->m_iVal = level;
        canvas.Clear();
        canvas.Draw(&pane);
        canvas.Draw(vol);
    };
    Geometry g;
    auto shows = [&] {
        std::vector<unsigned char> shot = Shot(&g);
        return Shows(shot, g, canvas, icon);
    };
    expect(2);
    ASSERT_TRUE(WaitUntil(shows, 20000)) << "the loudest picture at start";
    for (int level : {0, 1, 2, 0}) {
        ASSERT_EQ(ClickView(window, 273, 96), 0);
        system("xdotool mousemove 900 700");  // no tooltip over the picture
        expect(level);
        EXPECT_TRUE(WaitUntil(shows, 10000)) << "level " << level << " shows its own picture";
    }
    EXPECT_EQ(Quit(), 0);
}

// ---- more than two channels ----

// A 6-channel file: 1200 Hz in its first channel, 1500 Hz in its second, other
// tones in the rest. Heard at its own speed and length, the first two channels
// as left and right.
TEST_F(InUse, ASixChannelToneIsHeardAtItsFrequencyAndLengthFromItsFirstTwoChannels) {
    std::string dir = EmptyFolder("six-channels");
    WriteTone(dir + "/six.wav", {1200.0, 1500.0, 300.0, 0.0, 700.0, 900.0}, 1.0);
    Recorder rec(testfiles::TempPath("six-channels.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir + "/six.wav"});
    std::vector<Segment> segs = WaitForSound(rec, 0.5, 30000);
    rec.Stop();
    ASSERT_FALSE(segs.empty()) << "nothing was heard";
    // Played from the first two channels at their own speed: 1200 Hz, not 200,
    // for one second, not six.
    long heard = segs.back().end - segs.front().start;
    EXPECT_NEAR(static_cast<double>(heard), 44100.0, 2205.0) << "one second long";
    Segment longest = Longest(segs);
    EXPECT_NEAR(longest.hz, 1200.0, 60.0) << "the first channel at its own speed";
    std::vector<int16_t> right = rec.Channel(1);
    EXPECT_NEAR(ToneHz(right, longest.start, longest.end), 1500.0, 75.0)
        << "the second channel on the right";
    EXPECT_EQ(Quit(), 0);
}

// ---- a file dragged out of the playlist ----

namespace {

// Moves the pointer from (x0, y0) to (x1, y1) in steps of at most 20 pixels: the
// drag protocol needs real motion, one position at a time.
void Glide(int x0, int y0, int x1, int y1) {
    int dx = x1 - x0, dy = y1 - y0;
    int n = std::max(std::abs(dx), std::abs(dy)) / 20 + 1;
    for (int i = 1; i <= n; ++i) {
        system(("xdotool mousemove " + std::to_string(x0 + dx * i / n) + " " +
                std::to_string(y0 + dy * i / n))
                   .c_str());
        SleepMs(30);
    }
}

}  // namespace

// A press on the playlist's entry, a move past the drag threshold and a release
// over another application's window hand it the entry's file as a file URI.
TEST_F(InUse, AnEntryDraggedOutOfThePlaylistGivesItsFileToAnotherApplication) {
    std::string dir = EmptyFolder("drag out");
    std::string path = dir + "/kick 1.wav";
    WriteTone(path, {441.0, 441.0}, 0.5);
    Recorder rec(testfiles::TempPath("drag-out.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({path});
    // Listed once it has played.
    ASSERT_TRUE(WaitUntil([&] { return PlayedAndQuiet(rec, 0.4); }, 20000));
    rec.Stop();

    std::string targetOut = testfiles::TempPath("drop-target.txt");
    Process target;
    ASSERT_TRUE(
        target.Start({"/bin/sh", "-c",
                      "exec " + Quote(VELOTUNE_DROP_TARGET) + " 450 60 > " + Quote(targetOut)}));
    ASSERT_TRUE(WaitUntil([&] { return ReadText(targetOut).find("ready") == 0; }, 10000));

    int x = 100, y = 27;  // the entry's row in the view
    ViewToScreen(window, x, y);
    system(
        ("xdotool mousemove --sync " + std::to_string(x) + " " + std::to_string(y) + " mousedown 1")
            .c_str());
    Glide(x, y, x + 30, y + 20);  // past the threshold, still in the window
    Glide(x + 30, y + 20, 560, 120);
    for (int d : {1, 0, 1, 0}) {  // each move a position the target answers
        system(("xdotool mousemove " + std::to_string(560 + d) + " 120").c_str());
        SleepMs(100);
    }
    WriteDoc("velotune-drag-out.png", 0, 0, 660, 190);
    system("xdotool mouseup 1");
    EXPECT_EQ(target.Wait(20000), 0) << "the drop target got no drop:\n" << ReadText(targetOut);
    gchar* uri = g_filename_to_uri(path.c_str(), nullptr, nullptr);
    EXPECT_EQ(ReadText(targetOut), std::string("ready\nuri ") + uri + "\ndropped 1\n");
    g_free(uri);
    EXPECT_TRUE(program.Running());
    EXPECT_EQ(Quit(), 0);
}

// ---- the playlist's tooltip ----

namespace {

// The colour of screen pixel (x, y).
XColor ScreenPixel(int x, int y) {
    std::string path = testfiles::TempPath("in-use-pixel.rgb");
    std::string cmd = "import -window root -crop 1x1+" + std::to_string(x) + "+" +
                      std::to_string(y) + " -depth 8 rgb:" + Quote(path);
    if (system(cmd.c_str()) != 0) return XColor(1, 2, 3, 4);
    std::string px = ReadText(path);
    if (px.size() < 3) return XColor(1, 2, 3, 4);
    return XColor(static_cast<unsigned char>(px[0]), static_cast<unsigned char>(px[1]),
                  static_cast<unsigned char>(px[2]), 255);
}

}  // namespace

// The pointer rests on an entry until its tooltip shows below it, then moves onto
// the tooltip and clicks there: the entry under it, two rows further down, is
// chosen.
TEST_F(InUse, AClickWhereTheTooltipShowsChoosesTheEntryUnderIt) {
    std::string dir = EmptyFolder("tooltip-click");
    for (int i = 0; i < 3; ++i)
        WriteTone(dir + "/t" + std::to_string(i) + ".wav", {441.0 * (i + 1)}, 0.3);
    Recorder rec(testfiles::TempPath("tooltip-click.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir});
    // A taller window shows all three entries.
    const int bar = MakeTaller();
    ASSERT_TRUE(WaitUntil([&] { return PlayedAndQuiet(rec, 3 * 0.3 - 0.05); }, 30000))
        << "the three sounds did not play";
    rec.Stop();
    Geometry g = WindowGeometry(window);
    int px = g.x + 100, py = g.y + bar + 27;  // on the first entry
    system(("xdotool mousemove --sync " + std::to_string(px) + " " + std::to_string(py)).c_str());
    // The tooltip's outline shows 20 pixels below the pointer.
    ASSERT_TRUE(
        WaitUntil([&] { return ScreenPixel(px + 5, py + 20) == XToolTip::FrameColor(); }, 10000))
        << "no tooltip";
    int tx = px + 40, ty = py + 28;  // inside the tooltip, over the third entry's row
    system(
        ("xdotool mousemove --sync " + std::to_string(tx) + " " + std::to_string(ty) + " click 1")
            .c_str());
    // The marker moves to the third entry (view row 2: y 50 to 63).
    Geometry shotSize;
    EXPECT_TRUE(WaitUntil(
        [&] {
            std::vector<unsigned char> shot = Shot(&shotSize);
            return At(shot, shotSize, shotSize.height - bar, 5, 55) == XColor(0, 255, 0, 255);
        },
        10000))
        << "the click did not reach the entry under the tooltip";
    EXPECT_EQ(Quit(), 0);
}

// ---- the File menu's Open… ----

namespace {

// Opens `path` through File > Open… with the keyboard: F10 opens the menu bar,
// Right goes to the File menu, Down to "Open…"; Return chooses it; in the chooser
// Ctrl+L, the path and Return. With `doc` set, the open File menu is written to
// docs/ as `doc`. Returns whether the chooser came and went.
bool OpenThroughTheMenu(const std::string& window, const std::string& path,
                        const std::string& doc = "") {
    // The program's windows on the screen: its window, and a menu once one drops.
    auto shown = [] { return Shell("xdotool search --onlyvisible --classname '^velotune$'"); };
    std::string before = shown();
    if (Key(window, "F10 Right Down") != 0) return false;
    if (!WaitUntil([&] { return shown() != before; }, 10000)) return false;
    Geometry g = WindowGeometry(window);
    if (!doc.empty()) WriteDoc(doc, g.x, g.y, g.width, g.height);
    if (system("xdotool key Return") != 0) return false;
    std::string chooser;
    WaitUntil(
        [&] {
            chooser = Shell("xdotool search --onlyvisible --name '^Open\xe2\x80\xa6$' | head -n1");
            return !chooser.empty();
        },
        10000);
    if (chooser.empty()) return false;
    std::string keys = "xdotool windowfocus --sync " + chooser +
                       " key ctrl+l; xdotool type --delay 30 " + Quote(path) +
                       "; xdotool key Return";
    if (system(keys.c_str()) != 0) return false;
    return WaitUntil(
        [&] {
            return Shell("xdotool search --onlyvisible --name '^Open\xe2\x80\xa6$' | head -n1")
                .empty();
        },
        10000);
}

}  // namespace

TEST_F(InUse, OpenInTheFileMenuPlaysTheChosenFolder) {
    std::string dir = EmptyFolder("open-menu");
    WriteTone(dir + "/one.wav", {661.5, 661.5}, 0.5);
    Recorder rec(testfiles::TempPath("open-menu.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({});
    ASSERT_TRUE(OpenThroughTheMenu(window, dir, "velotune-file-menu.png"));
    std::vector<Segment> segs = WaitForSound(rec, 0.4, 20000);
    rec.Stop();
    ASSERT_FALSE(segs.empty()) << "nothing was heard";
    EXPECT_NEAR(Longest(segs).hz, 661.5, 33.0) << "the folder's sound";
    EXPECT_EQ(Quit(), 0);
}

// ---- the limit's seconds ----

// Ctrl+A selects the 5 the field shows, a letter is refused and 2 replaces it:
// a 4-second sound then stops after 2 seconds.
TEST_F(InUse, TheLimitTypedOverWithControlATakesOnlyItsDigits) {
    std::string dir = EmptyFolder("limit");
    WriteTone(dir + "/long.wav", {882.0, 882.0}, 4.0);
    Recorder rec(testfiles::TempPath("limit.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({});
    ASSERT_EQ(ClickView(window, 384, 49), 0);  // settings
    ASSERT_EQ(ClickView(window, 16, 66), 0);   // limit on: the field shows 5
    ASSERT_EQ(ClickView(window, 135, 65), 0);  // into the field
    ASSERT_EQ(Key(window, "ctrl+a x 2 Return"), 0);
    ASSERT_EQ(ClickView(window, 375, 48), 0);  // done
    ASSERT_TRUE(OpenThroughTheMenu(window, dir + "/long.wav"));
    std::vector<Segment> segs = WaitForSound(rec, 1.0, 20000);
    rec.Stop();
    ASSERT_FALSE(segs.empty()) << "nothing was heard";
    double seconds = static_cast<double>(segs.back().end - segs.front().start) / 44100.0;
    // A limit of 2 s: the fade starts 6000 frames before it and lasts about
    // 18400 frames; 5, 52 or no limit would play all 4 s.
    EXPECT_GT(seconds, 2.0);
    EXPECT_LT(seconds, 2.5);
    EXPECT_EQ(Quit(), 0);
}

// ---- the terminal ----

// A folder of broken files and a name that is not UTF-8, walked, listed, hovered
// for its tooltip and drawn again and again: nothing at all is printed.
TEST_F(InUse, AFolderOfBrokenFilesLeavesTheTerminalQuiet) {
    std::string dir = EmptyFolder("quiet");
    WriteTone(dir + "/good.wav", {441.0, 441.0}, 0.3);
    WriteTone(dir + "/caf\xe9-latin1.wav", {661.5, 661.5}, 0.3);
    ASSERT_TRUE(testfiles::WriteDamagedMp3(dir + "/damaged.mp3", 2));
    ASSERT_TRUE(testfiles::WriteBytes(dir + "/text.mp3", std::vector<unsigned char>(3000, 'y')));
    ASSERT_TRUE(testfiles::WriteBytes(dir + "/text.wav", std::vector<unsigned char>(3000, 'x')));
    ASSERT_TRUE(testfiles::WriteBytes(dir + "/zero-bytes.aiff", {}));
    Recorder rec(testfiles::TempPath("quiet.raw"));
    ASSERT_TRUE(rec.Start());
    Launch({dir});
    const int bar = MakeTaller();
    // The good sounds and the damaged MP3's first part play; then silence.
    ASSERT_TRUE(WaitUntil([&] { return PlayedAndQuiet(rec, 2 * 0.3 + 0.2); }, 30000))
        << "the folder was not walked";
    rec.Stop();
    // Each entry's tooltip, one after the other (the pointer rests on each).
    Geometry g = WindowGeometry(window);
    for (int row = 0; row < 3; ++row) {
        int px = g.x + 100, py = g.y + bar + 27 + 14 * row;
        system(
            ("xdotool mousemove --sync " + std::to_string(px) + " " + std::to_string(py)).c_str());
        EXPECT_TRUE(WaitUntil(
            [&] { return ScreenPixel(px + 5, py + 20) == XToolTip::FrameColor(); }, 10000))
            << "no tooltip over row " << row;
    }
    system("xdotool mousemove 900 700");
    EXPECT_EQ(Quit(), 0);
    EXPECT_EQ(Output(), "") << "not a line on the terminal";
}
