// The main window's controller on a real (unshown or silent) window: the folder
// walk, the reader choice, the displays, the commands, the keys and the settings.
// Without a bus the window is silent and every sound "plays" at once, so a walk
// runs through in the time the GUI thread takes to serve the worker.
#include <dirent.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "AudioBus.h"
#include "ChooserDriver.h"
#include "DecoderErrorText.h"
#include "MainDlg.h"
#include "ProgramFiles.h"
#include "ProgramKit.h"
#include "SoundFileWriter.h"
#include "StdMenu.h"
#include "XEditBox.h"
#include "XPane.h"
#include "XPlayList.h"
#include "XProgress.h"
#include "XTextBox.h"
#include "XToggle.h"

namespace {

void Pump() {
    for (int round = 0; round < 3; ++round)
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
}

template <class F>
bool PumpUntil(F done, int ms = 10000) {
    for (int waited = 0; !done(); waited += 5) {
        if (waited >= ms) return false;
        Pump();
        if (!done()) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string Folder(const std::string& name) {
    std::string dir = testfiles::TempPath(name);
    mkdir(dir.c_str(), 0755);
    return dir;
}

// A short 16-bit tone file of `rate` Hz and `channels` channels.
void Tone(const std::string& path, int format, int rate = 44100, int channels = 2,
          int frames = 2205) {
    std::vector<float> f = testfiles::Sine(frames, channels, rate, 440.0, 0.5);
    std::vector<short> s(f.size());
    for (size_t i = 0; i < f.size(); ++i) s[i] = static_cast<short>(f[i] * 32767.0f);
    ASSERT_TRUE(testfiles::WriteShorts(path, format, rate, channels, s)) << path;
}

void Wav(const std::string& path, int rate = 44100, int channels = 2, int frames = 2205) {
    Tone(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, rate, channels, frames);
}
void Aiff(const std::string& path, int rate = 44100, int channels = 2, int frames = 2205) {
    Tone(path, SF_FORMAT_AIFF | SF_FORMAT_PCM_16, rate, channels, frames);
}
void Text(const std::string& path, const char* text = "not a sound\n") {
    ASSERT_TRUE(testfiles::WriteBytes(path, std::vector<unsigned char>(text, text + strlen(text))));
}

using programkit::Listing;

// The playlist's entries, oldest first.
std::vector<std::string> Entries(XPlayList* list) {
    std::vector<std::string> out;
    for (int i = 0; i < list->Count(); ++i) out.push_back(list->Entry(i).path);
    return out;
}

// A main window controller, created (controls built) but not shown: silent.
class MainDlgTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void SetUp() override {
        dlg.SetAudioBus(&bus);
        dlg.Create();
    }
    void TearDown() override {
        // A walk still running must not outlive the window it talks to.
        dlg.m_bStopRequest = true;
        dlg.m_player.Stop();
        PumpUntil([&] { return !dlg.IsRunning(); });
    }
    // Drops `paths` and lets the walk run to its end.
    void DropAndWalk(std::vector<std::string> paths) {
        std::vector<const char*> list;
        for (const std::string& p : paths) list.push_back(p.c_str());
        dlg.DropPaths(list.data(), static_cast<int>(list.size()));
        EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); })) << "the walk did not end";
        Pump();
    }
    AudioBus bus;
    MainDlg dlg;
};

}  // namespace

// ---- the folder walk ----

TEST_F(MainDlgTest, AFolderPlaysItsSoundsInDirectoryOrderAndSkipsHiddenAndOtherFiles) {
    std::string dir = Folder("walk");
    Wav(dir + "/A.WAV");
    Aiff(dir + "/b.aiff", 44100, 1);
    Wav(dir + "/.hidden.wav");
    Text(dir + "/c.txt");
    DropAndWalk({dir + "/"});
    std::vector<std::string> expected;
    for (const std::string& name : Listing(dir))
        if (name == "A.WAV" || name == "b.aiff") expected.push_back(dir + "/" + name);
    ASSERT_EQ(expected.size(), 2u);
    EXPECT_EQ(Entries(dlg.m_pPlayList), expected);
    for (int i = 0; i < 2; ++i) {
        bool mono = dlg.m_pPlayList->Entry(i).path == dir + "/b.aiff";
        EXPECT_EQ(dlg.m_pPlayList->Entry(i).rate, 44100);
        EXPECT_EQ(dlg.m_pPlayList->Entry(i).bits, 16);
        EXPECT_EQ(dlg.m_pPlayList->Entry(i).channels, mono ? 1 : 2);
    }
    // The worker ended: queue empty, displays cleared, toggle back to play.
    EXPECT_EQ(dlg.m_path_list.Size(), 0);
    EXPECT_EQ(dlg.m_pTxtRate->GetLabel(), nullptr);
    EXPECT_EQ(dlg.m_pTxtTime->GetLabel(), nullptr);
    EXPECT_EQ(dlg.m_pTogPlay->GetValueInt(), 0);
}

TEST_F(MainDlgTest, SubfoldersAreWalkedDepthFirstWhereTheDirectoryListsThem) {
    std::string dir = Folder("deep");
    mkdir((dir + "/inner").c_str(), 0755);
    Wav(dir + "/inner/one.wav");
    Wav(dir + "/two.wav");
    mkdir((dir + "/.secret").c_str(), 0755);
    Wav(dir + "/.secret/three.wav");
    DropAndWalk({dir + "/"});
    std::vector<std::string> expected;
    for (const std::string& name : Listing(dir))
        expected.push_back(name == "inner" ? dir + "/inner/one.wav" : dir + "/" + name);
    EXPECT_EQ(Entries(dlg.m_pPlayList), expected);
}

TEST_F(MainDlgTest, ASecondDropDuringPlaybackAppendsAfterTheCurrentItemsAndLeavesTheToggle) {
    std::string first = Folder("first"), second = Folder("second");
    Wav(first + "/a.wav");
    Wav(first + "/b.wav");
    Wav(second + "/c.wav");
    std::string f = first + "/";
    const char* one[] = {f.c_str()};
    dlg.DropPaths(one, 1);
    ASSERT_TRUE(dlg.IsRunning());
    EXPECT_EQ(dlg.m_pTogPlay->GetValueInt(), 1);
    // The worker waits for the GUI thread now; the user pauses and drops again.
    dlg.m_pTogPlay->SetValueInt(0);
    std::string s = second + "/";
    const char* two[] = {s.c_str()};
    dlg.DropPaths(two, 1);
    EXPECT_EQ(dlg.m_path_list.Size(), 2);
    EXPECT_EQ(dlg.m_pTogPlay->GetValueInt(), 0) << "the toggle is not set again";
    EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); }));
    Pump();
    std::vector<std::string> entries = Entries(dlg.m_pPlayList);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[2], second + "/c.wav") << "the second drop plays after the first";
}

// With the audio device open the worker waits while each sound plays, so the
// moment of the stop is known: during the first sound.
TEST_F(MainDlgTest, AfterStopTheWalkOpensNoFurtherFilesAndTheNextDropStartsFromItsFirstItem) {
    if (!getenv("PULSE_SERVER")) GTEST_SKIP() << "needs the private sound server";
    dlg.StartAudio();
    ASSERT_TRUE(dlg.WaitAudio()) << "the audio device did not open";
    std::string dir = Folder("stopped"), next = Folder("after");
    for (int i = 0; i < 5; ++i) Wav(dir + "/s" + std::to_string(i) + ".wav", 44100, 2, 44100 * 3);
    Wav(next + "/n0.wav");
    Wav(next + "/n1.wav");
    std::string d = dir + "/";
    const char* one[] = {d.c_str()};
    dlg.DropPaths(one, 1);
    // The first sound is listed and plays (three seconds): the worker waits for it.
    ASSERT_TRUE(
        PumpUntil([&] { return dlg.m_pPlayList->Count() == 1 && !dlg.m_player.IsReady(); }));
    dlg.OnCommand(6, 0, 0);
    EXPECT_TRUE(dlg.m_bStopRequest);
    EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); }));
    Pump();
    EXPECT_EQ(dlg.m_pPlayList->Count(), 1) << "no file is opened after the stop";

    std::string n = next + "/";
    const char* two[] = {n.c_str()};
    dlg.DropPaths(two, 1);
    EXPECT_FALSE(dlg.m_bStopRequest);
    EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); }));
    Pump();
    std::vector<std::string> entries = Entries(dlg.m_pPlayList);
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[1], next + "/" + Listing(next)[0]);
}

TEST_F(MainDlgTest, AnUnreadableFolderAndADanglingPathAreSkippedQuietly) {
    std::string dir = Folder("closed");
    Wav(dir + "/x.wav");
    chmod(dir.c_str(), 0);
    std::string open = Folder("open");
    Wav(open + "/ok.wav");
    DropAndWalk({dir + "/", open + "/missing.wav", open + "/"});
    chmod(dir.c_str(), 0755);
    std::vector<std::string> entries = Entries(dlg.m_pPlayList);
    ASSERT_FALSE(entries.empty());
    EXPECT_EQ(entries.back(), open + "/ok.wav");
    if (geteuid() != 0) {
        EXPECT_EQ(entries.size(), 1u);  // root reads any folder
    }
}

// ---- reader choice and display ----

TEST(MainDlgStrMatch, LetterCaseOfTheTextIsIgnoredButTheWholeWordMustMatch) {
    EXPECT_TRUE(MainDlg::StrMatch("WAV", "wav"));
    EXPECT_TRUE(MainDlg::StrMatch("Wav", "wav"));
    EXPECT_TRUE(MainDlg::StrMatch("wav", "wav"));
    EXPECT_FALSE(MainDlg::StrMatch("wave", "wav"));
    EXPECT_FALSE(MainDlg::StrMatch("wa", "wav"));
    EXPECT_FALSE(MainDlg::StrMatch("wav", "WAV")) << "the pattern is compared as it stands";
}

TEST_F(MainDlgTest, APathOfFiveCharactersIsTakenButShorterOnesAndOtherExtensionsAreNot) {
    std::string dir = Folder("names");
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    Wav("x.wav");
    Wav("a.wa");
    Wav("song.flac");
    Aiff("b.AIFF");
    Aiff("c.aif");
    char x[] = "x.wav", wa[] = "a.wa", flac[] = "song.flac", aiff[] = "b.AIFF", aif[] = "c.aif";
    EXPECT_NE(dlg.OpenSound(x), nullptr);
    EXPECT_EQ(dlg.OpenSound(wa), nullptr);
    EXPECT_EQ(dlg.OpenSound(flac), nullptr);
    EXPECT_NE(dlg.OpenSound(aiff), nullptr);
    EXPECT_NE(dlg.OpenSound(aif), nullptr);
    ASSERT_EQ(chdir(cwd), 0);
}

TEST_F(MainDlgTest, EveryTakenFileIsOpenedWithTheLibsndfileReader) {
    std::string dir = Folder("reader");
    std::string wav = dir + "/w.wav", aif = dir + "/a.aif";
    Wav(wav);
    Aiff(aif);
    EXPECT_EQ(dlg.OpenSound(&wav[0]), static_cast<snd_*>(&dlg.m_mac));
    EXPECT_EQ(dlg.OpenSound(&aif[0]), static_cast<snd_*>(&dlg.m_mac));
}

TEST_F(MainDlgTest, OpeningASoundShowsItsRateSizeTimeAndBits) {
    std::string path = Folder("props") + "/p.wav";
    Wav(path, 22050, 1, 33075);
    ASSERT_NE(dlg.OpenSound(&path[0]), nullptr);
    EXPECT_STREQ(dlg.m_pTxtRate->GetLabel(), "Rate: 22050 Hz");
    EXPECT_STREQ(dlg.m_pTxtSize->GetLabel(), "Size: 33075");
    EXPECT_STREQ(dlg.m_pTxtTime->GetLabel(), "1.50 sec");
    EXPECT_STREQ(dlg.m_pTxtProp->GetLabel(), "16 bits");
    EXPECT_TRUE(dlg.m_pTxtProp->IsVisible());
    // The same numbers again after the labels were cleared are shown again.
    dlg.m_pTxtRate->Clear();
    ASSERT_NE(dlg.OpenSound(&path[0]), nullptr);
    EXPECT_STREQ(dlg.m_pTxtRate->GetLabel(), "Rate: 22050 Hz");
}

TEST_F(MainDlgTest, ASoundWhoseBitDepthIsZeroHidesTheBitsLabel) {
    std::string path = Folder("mp3") + "/m.mp3";
    std::vector<float> tone = testfiles::Sine(44100, 2, 44100, 440.0, 0.5);
    ASSERT_TRUE(testfiles::WriteFloats(path, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44100, 2,
                                       tone, 0.5));
    snd_* s = dlg.OpenSound(&path[0]);
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->BitDepth(), 0);
    EXPECT_FALSE(dlg.m_pTxtProp->IsVisible());
    std::string wav = Folder("mp3") + "/w.wav";
    Wav(wav);
    ASSERT_NE(dlg.OpenSound(&wav[0]), nullptr);
    EXPECT_TRUE(dlg.m_pTxtProp->IsVisible()) << "a sound with bits shows the label again";
}

TEST_F(MainDlgTest, AFileTheDecoderRefusesIsSkippedWithALogLineNamingItAndTheDecodersText) {
    std::string path = Folder("bad") + "/x.wav";
    Text(path, "this is a text file, not a sound, whatever its name says\n");
    EXPECT_EQ(dlg.OpenSound(&path[0]), nullptr);
    std::string log = programkit::ReadText(programkit::LogPath());
    // The step's text first, then the decoder's own reason.
    std::string reason = testfiles::DecoderOpenReason(path);
    ASSERT_FALSE(reason.empty());
    EXPECT_NE(
        log.find("*** MainDlg: skipped " + path + ": ExtAudioFileOpen failed: " + reason + " ***"),
        std::string::npos)
        << log;
}

TEST_F(MainDlgTest, ASoundOfZeroFramesIsRefusedQuietly) {
    std::string path = Folder("empty") + "/e.wav";
    Wav(path, 44100, 2, 0);
    EXPECT_EQ(dlg.OpenSound(&path[0]), nullptr);
    std::string log = programkit::ReadText(programkit::LogPath());
    EXPECT_EQ(log.find(path), std::string::npos) << log;
}

TEST_F(MainDlgTest, AZeroByteFileWithAnAcceptedExtensionIsSkippedWithALogLine) {
    std::string path = Folder("empty") + "/z.wav";
    Text(path, "");
    EXPECT_EQ(dlg.OpenSound(&path[0]), nullptr);
    std::string log = programkit::ReadText(programkit::LogPath());
    EXPECT_NE(log.find("skipped " + path + ": "), std::string::npos) << log;
}

TEST(MainDlgTime, FiftyNineAndAlmostAllSecondsShowSixtyWithTwoDecimalsAndSixtyShowsOneMinute) {
    char text[48];
    MainDlg::FormatTime(59.999f, text, sizeof text);
    EXPECT_STREQ(text, "60.00 sec");
    MainDlg::FormatTime(60.0f, text, sizeof text);
    EXPECT_STREQ(text, "1m 0s");
    MainDlg::FormatTime(3.25f, text, sizeof text);
    EXPECT_STREQ(text, "3.25 sec");
    MainDlg::FormatTime(125.9f, text, sizeof text);
    EXPECT_STREQ(text, "2m 5s");
}

TEST_F(MainDlgTest, DisplayTimeWritesTheTimeLabel) {
    dlg.DisplayTime(59.999f);
    EXPECT_STREQ(dlg.m_pTxtTime->GetLabel(), "60.00 sec");
    dlg.DisplayTime(60.0f);
    EXPECT_STREQ(dlg.m_pTxtTime->GetLabel(), "1m 0s");
}

// ---- commands ----

TEST_F(MainDlgTest, PlayPauseWhileNothingPlaysDoesNothing) {
    ASSERT_FALSE(dlg.IsRunning());
    dlg.OnCommand(8, 0, 0);
    EXPECT_FALSE(dlg.m_player.IsPaused());
}

TEST_F(MainDlgTest, VolumeLevelTwoSetsTheBusToFullAndLevelZeroToATenth) {
    dlg.OnCommand(10, 2, 0);
    EXPECT_FLOAT_EQ(bus.GetVolume(), 1.0f);
    dlg.OnCommand(10, 0, 0);
    EXPECT_FLOAT_EQ(bus.GetVolume(), 0.1f);
    dlg.OnCommand(10, 1, 0);
    EXPECT_FLOAT_EQ(bus.GetVolume(), 0.4f);
}

TEST_F(MainDlgTest, TickingTheLimitWithZeroInTheEditBoxChangesItToFive) {
    ASSERT_FALSE(dlg.m_pEdtTime->IsEnabled());
    ASSERT_EQ(dlg.m_pEdtTime->GetValueInt(), 0);
    dlg.OnCommand(13, 1, 0);
    EXPECT_TRUE(dlg.m_pEdtTime->IsEnabled());
    EXPECT_EQ(dlg.m_pEdtTime->GetValueInt(), 5);
    EXPECT_STREQ(dlg.m_pEdtTime->GetLabel(), "5");
    EXPECT_EQ(dlg.m_player.PlayMax(), 5 * 44100);
    // Unticking keeps the number but plays without a limit.
    dlg.OnCommand(13, 0, 0);
    EXPECT_FALSE(dlg.m_pEdtTime->IsEnabled());
    EXPECT_EQ(dlg.m_pEdtTime->GetValueInt(), 5);
    EXPECT_EQ(dlg.m_player.PlayMax(), Player::kNoLimit);
}

TEST_F(MainDlgTest, TheEditedLimitIsGivenToThePlayerAsItStands) {
    dlg.OnCommand(13, 1, 0);
    dlg.m_pEdtTime->SetValueInt(2);
    dlg.OnCommand(14, 0, 0);
    EXPECT_EQ(dlg.m_player.PlayMax(), 2 * 44100);
}

TEST_F(MainDlgTest, TheSettingsButtonAndDoneSwapThePanels) {
    EXPECT_TRUE(dlg.m_pPanPlay->IsVisible());
    EXPECT_FALSE(dlg.m_pPanSets->IsVisible());
    dlg.OnCommand(11, 0, 0);
    EXPECT_FALSE(dlg.m_pPanPlay->IsVisible());
    EXPECT_TRUE(dlg.m_pPanSets->IsVisible());
    dlg.OnCommand(15, 0, 0);
    EXPECT_TRUE(dlg.m_pPanPlay->IsVisible());
    EXPECT_FALSE(dlg.m_pPanSets->IsVisible());
}

TEST_F(MainDlgTest, PreviousAndNextChooseTheEntryBeforeAndAfterTheCurrentOne) {
    char a[] = "/s/a.wav", b[] = "/s/b.wav", c[] = "/s/c.wav";
    dlg.m_pPlayList->Add(a, 44100, 16, 2);
    dlg.m_pPlayList->Add(b, 44100, 16, 2);
    dlg.m_pPlayList->Add(c, 44100, 16, 2);
    dlg.m_pPlayList->Select(1);  // the user picked b; it became the current one
    ASSERT_STREQ(dlg.m_pPlayList->NextPath(), b);
    dlg.OnCommand(7, 0, 0);
    EXPECT_EQ(dlg.m_pPlayList->NextInLine(), 0);
    dlg.OnCommand(9, 0, 0);
    EXPECT_EQ(dlg.m_pPlayList->NextInLine(), 2);
}

TEST_F(MainDlgTest, AClickOnAnEntryWhileNoWalkRunsWalksTheListFromItToTheNewest) {
    char a[] = "/s/a.wav", b[] = "/s/b.wav", c[] = "/s/c.wav";
    dlg.m_pPlayList->Add(a, 44100, 16, 2);
    dlg.m_pPlayList->Add(b, 44100, 16, 2);
    dlg.m_pPlayList->Add(c, 44100, 16, 2);
    ASSERT_FALSE(dlg.IsRunning());
    dlg.OnCommand(5, 1, 0);
    EXPECT_TRUE(dlg.IsRunning() || dlg.m_pPlayList->NextInLine() < 0)
        << "the click starts the worker on the list";
    EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); }));
    // The worker took the choice and went on to the newest entry (the files do not
    // exist, so each is skipped): the list is past its newest entry again.
    EXPECT_EQ(dlg.m_pPlayList->NextInLine(), -1);
    EXPECT_EQ(dlg.m_pPlayList->SelectIndex(), dlg.m_pPlayList->NextSlot());
    EXPECT_EQ(dlg.m_pTogPlay->GetValueInt(), 0) << "nothing plays any more";
}

// ---- keys ----

TEST_F(MainDlgTest, SpaceWithNothingToPlayLeavesTheToggleAtPlayAndPausesNothing) {
    ASSERT_EQ(dlg.m_pTogPlay->GetValueInt(), 0);
    dlg.KeyDown(' ', 0);
    EXPECT_EQ(dlg.m_pTogPlay->GetValueInt(), 0)
        << "the toggle shows pause only while a sound plays";
    EXPECT_FALSE(dlg.m_player.IsPaused());
    EXPECT_FALSE(dlg.IsRunning());
}

TEST_F(MainDlgTest, TheArrowKeysGoToThePreviousAndNextSound) {
    char a[] = "/s/a.wav", b[] = "/s/b.wav", c[] = "/s/c.wav";
    dlg.m_pPlayList->Add(a, 44100, 16, 2);
    dlg.m_pPlayList->Add(b, 44100, 16, 2);
    dlg.m_pPlayList->Add(c, 44100, 16, 2);
    dlg.m_pPlayList->Select(1);
    ASSERT_STREQ(dlg.m_pPlayList->NextPath(), b);
    dlg.KeyDown(kKeyLeft, 0);
    EXPECT_EQ(dlg.m_pPlayList->NextInLine(), 0);
    dlg.KeyDown(kKeyRight, 0);
    EXPECT_EQ(dlg.m_pPlayList->NextInLine(), 2);
}

// ---- progress ----

TEST_F(MainDlgTest, ProgressReportedFromAnotherThreadReachesTheBarThroughTheFrameTimer) {
    MainDlg silent;  // no bus: showing it opens nothing
    silent.Show();
    Pump();
    std::thread io([&] { silent.SetProgress(0.5f); });
    io.join();
    EXPECT_FLOAT_EQ(silent.LastProgress(), 0.5f);
    Pump();
    EXPECT_EQ(silent.m_pProgress->GetValueInt(), 0) << "the IO thread never touches the bar";
    silent.SetFrameTimer(true);  // what the worker does while a sound plays
    EXPECT_TRUE(PumpUntil([&] { return silent.m_pProgress->GetValueInt() == 190; }));
    EXPECT_FLOAT_EQ(silent.m_pProgress->GetValueNorm(), 0.5f);
    std::thread([&] { silent.SetProgress(1.0f); }).join();
    EXPECT_TRUE(PumpUntil([&] { return silent.m_pProgress->GetValueInt() == 380; }));
    silent.SetFrameTimer(false);
    silent.SetProgress(0.0f);  // on the GUI thread: at once
    EXPECT_EQ(silent.m_pProgress->GetValueInt(), 0);
    silent.Hide();
}

TEST_F(MainDlgTest, TheFrameTimerRunsOnlyWhileASoundPlays) {
    std::string dir = Folder("frames");
    Wav(dir + "/f.wav");
    EXPECT_FALSE(dlg.HasFrameTimer());
    DropAndWalk({dir + "/"});
    EXPECT_EQ(dlg.m_pPlayList->Count(), 1);
    EXPECT_FALSE(dlg.HasFrameTimer()) << "stopped after the last sound";
}

// ---- paths from the command line ----

TEST_F(MainDlgTest,
       CommandLinePathsAreDroppedWhenTheWindowIsReadyMadeAbsoluteWithFoldersEndingInSlash) {
    std::string dir = Folder("cli");
    Wav(dir + "/one.wav");
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(testfiles::TempDir().c_str()), 0);
    std::string relative = dir.substr(testfiles::TempDir().size() + 1);
    const char* args[] = {relative.c_str()};
    dlg.SetStartPaths(args, 1);
    ASSERT_EQ(chdir(cwd), 0);
    EXPECT_EQ(dlg.m_path_list.Size(), 0) << "nothing is queued before the window is ready";
    dlg.OnReady();
    EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); }));
    Pump();
    EXPECT_EQ(Entries(dlg.m_pPlayList), std::vector<std::string>{dir + "/one.wav"});
}

TEST_F(MainDlgTest, TheMenusHoldAboutVelotuneWithCommandFourAndTheFileMenuWithOpen) {
    ASSERT_NE(dlg.GetMenuBar(), nullptr);
    std::vector<std::string> labels;
    GtkWidget* window = dlg.GetGtkWindow();
    ASSERT_NE(window, nullptr);
    // Walk the menu bar's items and their menus.
    std::function<void(GtkWidget*)> walk = [&](GtkWidget* w) {
        if (GTK_IS_MENU_ITEM(w)) {
            const char* label = gtk_menu_item_get_label(GTK_MENU_ITEM(w));
            if (label && *label) labels.push_back(label);
            if (GtkWidget* sub = gtk_menu_item_get_submenu(GTK_MENU_ITEM(w))) walk(sub);
        }
        if (GTK_IS_CONTAINER(w)) {
            GList* children = gtk_container_get_children(GTK_CONTAINER(w));
            for (GList* c = children; c; c = c->next) walk(GTK_WIDGET(c->data));
            g_list_free(children);
        }
    };
    walk(window);
    std::vector<std::string> expected = {"Velotune", "About Velotune...", "File", "Open\u2026"};
    EXPECT_EQ(labels, expected);
}

TEST_F(MainDlgTest, OpenInTheFileMenuTakesTheChosenFolderAsADropOfIt) {
    if (system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool missing";
    std::string dir = Folder("open");
    Wav(dir + "/A.WAV");
    Wav(dir + "/b.wav");
    testgui::ChooserDriver driver([&](GtkWidget* dialog) {
        testgui::ChooserDriver::Run(dialog, "xdotool key ctrl+l; xdotool type --delay 40 '" + dir +
                                                "'; xdotool key Return");
    });
    dlg.OnCommand(MainDlg::kCommandOpen, 0, 0);
    EXPECT_TRUE(driver.Found());
    EXPECT_TRUE(PumpUntil([&] { return !dlg.IsRunning(); })) << "the walk did not end";
    Pump();
    std::vector<std::string> expected;
    for (const std::string& name : Listing(dir)) expected.push_back(dir + "/" + name);
    EXPECT_EQ(Entries(dlg.m_pPlayList), expected) << "the folder's sounds, as a drop plays them";
}

TEST_F(MainDlgTest, TheViewKeepsItsFullSizeBelowTheMenuBar) {
    MainDlg silent;  // no bus: showing it opens nothing
    silent.Show();
    EXPECT_TRUE(PumpUntil([&] {
        return gtk_widget_get_allocated_height(silent.GetView()) == 135 &&
               gtk_widget_get_allocated_width(silent.GetView()) == 400;
    })) << "view "
        << gtk_widget_get_allocated_width(silent.GetView()) << " x "
        << gtk_widget_get_allocated_height(silent.GetView());
    EXPECT_EQ(silent.GetHeight(), 135);
    silent.Hide();
}
