// The main window and its controller: layout, loading and navigation, commands,
// settings and the displays of the sound being played.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "FourCC.h"
#include "Player.h"
#include "SndList.h"
#include "UThread.h"
#include "XWindowStd.h"
#include "snd_aif.h"
#include "snd_mac.h"
#include "snd_wav.h"

class AudioBus;
class XCheckBox;
class XEditBox;
class XPane;
class XPlayList;
class XProgress;
class XTextBox;
class XToggle;
class XTogVol;

/// The program's one window. Files and folders dropped on it (or named on the
/// command line) are queued; a worker thread ('play') walks the queue, folders
/// depth first in directory order with hidden entries skipped, opens every file
/// whose extension is wav, aif, aiff or mp3 with the libsndfile reader, shows its
/// properties, adds it to the playlist and plays it to the end before the next.
/// When no walk runs, a click on a playlist entry, Play, space or an arrow key
/// plays the entry it names and goes on down the list to the newest entry.
///
/// Threads. Commands, drops, keys and drawing run on the GUI thread. The worker
/// ('play') reads the queue, opens and plays sounds and waits for the player; it
/// changes controls only on the GUI thread, mostly by posting the change
/// (PostToGuiThread) so that no sound waits for drawing, and it asks the playlist
/// for the next entry through CallOnGuiThread. The player reports progress from
/// the audio IO thread through SetProgress, which stores one atomic: the frame
/// timer moves it into the progress bar (OnFrame). The audio device is opened on
/// a start-up thread of its own (StartAudio), beside the toolkit's start-up, so
/// that neither waits for the other.
///
/// A file with an accepted extension that the decoder refuses is skipped after
/// one log line naming it and the decoder's text; it never ends the program. A
/// device that does not open is logged, the time label says "No audio device",
/// and the walk goes through the files without waiting for sounds that cannot
/// play.
class MainDlg : public XWindow, public UThread {
  public:
    /// The maker's web address opened by the link (command 12), its host name
    /// (the link button's tooltip) and its domain (the label under the button).
    static constexpr const char* kWebUrl = "https://www.velotune.test/";
    static constexpr const char* kWebHost = "www.velotune.test";
    static constexpr const char* kWebDomain = "velotune.test";
    /// The worker thread's id.
    static constexpr long kThreadId = static_cast<long>(FourCC("play"));
    /// Longest sleep between two looks at the player while a sound plays; the
    /// player wakes the worker the moment the sound ends.
    static constexpr int kPollMs = 300;
    /// The other audio devices are listed (for the log) this long after the start.
    static constexpr int kListDevicesAfterMs = 3000;
    /// What the time label says when no audio device could be opened.
    static constexpr const char* kNoDeviceText = "No audio device";
    /// The File menu's one item, which lets the user choose files and folders to
    /// play, and its command.
    static constexpr const char* kOpenLabel = "Open\u2026";
    static constexpr unsigned long kCommandOpen = 16;

    std::atomic<bool> m_bStopRequest;  // set by the stop command, cleared by a drop
    SndList m_path_list;               // dropped paths; the worker reads them
    Player m_player;
    float m_vol[3];  // bus volume of each level of the volume toggle
    snd_aif m_aif;
    snd_wav m_wav;
    snd_mac m_mac;
    XPlayList* m_pPlayList = nullptr;
    XPane* m_pPanPlay = nullptr;
    XTextBox* m_pTxtRate = nullptr;
    XTextBox* m_pTxtProp = nullptr;
    XTextBox* m_pTxtSize = nullptr;
    XTextBox* m_pTxtTime = nullptr;
    XProgress* m_pProgress = nullptr;
    XToggle* m_pTogPlay = nullptr;
    XPane* m_pPanSets = nullptr;
    XEditBox* m_pEdtTime = nullptr;

    /// Window type 232, 400 x 135 (limits 400 x 135 to 400 x 600), the title, the
    /// log "velotune.txt" on the desktop headed "test", the two colour schemes and
    /// the volumes 0.1, 0.4, 1.0. Creates no platform window. Before main.
    MainDlg();
    /// Cancels the worker's pending calls to the GUI thread.
    ~MainDlg() override;

    /// The bus the window plays through (the program's one bus, g_audio); null
    /// leaves the window silent. Before Show.
    void SetAudioBus(AudioBus* bus) { m_pBus = bus; }
    AudioBus* GetAudioBus() const { return m_pBus; }

    // ---- window hooks (GUI thread) ----

    /// Builds the menus and the twenty controls of the window.
    int OnCreate() override;
    /// Starts the audio device (StartAudio) unless that was done already.
    int OnShow() override;
    /// Takes the paths given with SetStartPaths as a drop.
    int OnReady() override;
    /// Fades a playing sound out (within 30 ms), ends the worker and the audio
    /// start-up, stops the bus and the driver, then ends the program (status 0).
    int OnClose() override;
    /// Takes the dropped files and folders (see DropPaths).
    int OnDrop(OpaqueDragRef* drag, int x, int y) override;
    /// The commands of the window's controls (4 about, 5 to 15) and of the File
    /// menu (kCommandOpen).
    int OnCommand(unsigned long command, long param1, long param2) override;
    /// Does nothing.
    int OnMessage(unsigned long, long, long) override { return 0; }
    /// Space plays or pauses (as the play/pause toggle), the left and right
    /// arrows go to the previous and next sound.
    int OnKeyDown(long key, long modifiers) override;
    /// While a sound plays (the frame timer runs): moves the progress the player
    /// last reported into the progress bar.
    void OnFrame() override;

    // ---- the audio device ----

    /// Opens the audio device on a start-up thread of its own and returns at
    /// once: a "CoreAudio" driver is added to the bus; device 0 is opened at
    /// 44100 Hz, 32 bits, 2 channels and started, the bus plays the player, and
    /// the player is initialised (only when the bus has a driver). Then the
    /// driver lists the other devices (for the log). Called by main before the
    /// toolkit starts, and by OnShow; a second call does nothing. Any thread.
    void StartAudio();
    /// Waits until StartAudio has opened the device (or failed to); returns at
    /// once when StartAudio was never called (the window stays silent). Returns
    /// whether the device is open. Any thread but the GUI thread before Show.
    bool WaitAudio();
    /// Whether the device opened. Any thread.
    bool AudioOpen() const { return m_bAudioOpen.load(std::memory_order_acquire); }

    // ---- loading and navigation ----

    /// Queues `count` POSIX paths (folders end in "/") and starts the worker when
    /// it is not running, setting the play/pause toggle to playing. GUI thread.
    void DropPaths(const char* const* paths, int count);
    /// Remembers paths named on the command line, made absolute with folders
    /// ending in "/"; PlayStartPaths (or else OnReady) drops them. Before Show.
    void SetStartPaths(const char* const* paths, int count);
    /// Takes the command line's paths as a drop at once, before the window
    /// exists: the worker starts, and the first sound plays as soon as the audio
    /// device is open, while the toolkit is still starting; the window comes up
    /// as usual and shows what the worker posted to it. GUI thread, before Show.
    void PlayStartPaths();
    /// Walks a folder: entries in directory order, hidden ones skipped, subfolders
    /// first walked and then offered to PlayFile. Worker thread.
    void PlayFolder(char* path);
    /// Opens, lists and plays one file, then follows the playlist while the user
    /// picks other entries. Worker thread.
    void PlayFile(char* path);
    /// The reader (always the libsndfile one) with `path` opened and its
    /// properties shown, or null when the extension is not taken or the file does
    /// not open (a decoder error is logged). Worker thread (GUI thread in tests).
    snd_* OpenSound(char* path);
    /// Whether `text`, with A-Z lowered, equals `match`.
    static bool StrMatch(const char* text, const char* match);
    /// Stops the player, marks playlist entry `index` as the next and updates;
    /// when no walk runs, plays it (PlayFromList). GUI thread.
    void PlayList(int index);
    /// When no walk runs: plays the playlist entry chosen to play next (or, with
    /// none chosen, the current entry, else the newest) and goes on down the list
    /// as NextPath gives, up to the newest entry. Returns whether there was an
    /// entry to play. A running walk takes choices by itself. GUI thread.
    bool PlayFromList();
    /// Whether a walk (of dropped paths or of the list) runs. GUI thread.
    bool WalkRuns() const;
    /// PlayFromList, when an entry is chosen to play next. GUI thread.
    void PlayFromListIfChosen();

    // ---- commands, settings and display (GUI thread) ----

    /// Shows the settings panel (true) or the playing panel (false).
    void ShowSettings(bool show);
    /// Enables or disables the playback limit with the edit box's value (0 in
    /// the box becomes 5).
    void ShowPlayerMax(bool enable);
    /// Gives the edit box's value to the player as the limit.
    void UpdatePlayerMax();
    /// Writes "%.2f sec" below 60 s, else "%dm %ds", into the time label.
    void DisplayTime(float seconds);
    /// The formatted time text for `seconds` (what DisplayTime shows).
    static void FormatTime(float seconds, char* out, int size);
    /// The progress of the sound being played, as a fraction of its length. On
    /// the GUI thread it sets the bar at once; on any other thread (the audio IO
    /// thread) it only stores the fraction, which the frame timer brings to the
    /// bar while a sound plays: the IO thread makes no system call for it.
    void SetProgress(float fraction);
    /// The fraction last given to SetProgress (0 before any). Any thread.
    float LastProgress() const { return m_fProgress.load(std::memory_order_relaxed); }
    /// Shows the about box (modal). GUI thread.
    void ShowAbout();
    /// The File menu's "Open…": the files and folders the user chooses are taken
    /// exactly as a drop of them. GUI thread.
    void OpenFiles();

  protected:
    /// The worker: walks the queue, then clears the queue and the displays.
    void OnRun() override;

  private:
    /// Runs `f` on the GUI thread and waits; false when the window is closing.
    template <class F>
    bool OnGui(F&& f) {
        return CallOnGuiThread([](void* p) { (*static_cast<F*>(p))(); }, &f);
    }
    /// Plays `s` and waits for the player to finish (or the window to close),
    /// then empties the progress bar. Without an audio device nothing can play:
    /// it returns at once. Worker thread.
    void PlayAndWait(snd_* s);
    /// Follows the playlist: while NextPath gives a path, opens and plays it.
    /// Worker thread.
    void FollowList();
    /// The audio start-up thread's work (see StartAudio).
    void OpenAudio();
    /// A stopping command (Stop, Next, Previous, an entry) lifts a pause, so that
    /// the fade-out runs and what follows plays. GUI thread.
    void LiftPause();
    /// Sets the play/pause toggle without a command. GUI thread.
    void ShowPlaying(bool playing);

    std::atomic<float> m_fProgress{0.0f};  // written by the IO thread
    std::atomic<bool> m_bClosing{false};   // the window is closing: the worker ends
    SndList m_start_paths;                 // command-line paths, dropped by OnReady
    bool m_bWorkerDone = false;            // the worker cleared the queue and ends; GUI thread
    std::atomic<bool> m_bListPlay{false};  // the worker starts with the playlist; GUI, worker
    AudioBus* m_pBus = nullptr;            // not owned

    // The audio start-up (StartAudio): its thread, and what it found out, which
    // m_audioLock guards until m_bAudioReady is set.
    std::thread m_audioThread;                 // joined by OnClose and the destructor
    std::atomic<bool> m_bAudioStarted{false};  // StartAudio was called
    std::atomic<bool> m_bAudioOpen{false};     // written by the start-up thread
    std::atomic<bool> m_bNoDevice{false};      // the start-up failed to open a device
    std::mutex m_audioLock;
    std::condition_variable m_audioCond;
    bool m_bAudioReady = false;  // the start-up is over; under m_audioLock
};
