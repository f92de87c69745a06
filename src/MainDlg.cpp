#include "MainDlg.h"

#include <dirent.h>
#include <limits.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "AboutBox.h"
#include "AudioBus.h"
#include "AudioDevCore.h"
#include "DropList.h"
#include "StdMenu.h"
#include "XButton.h"
#include "XCheckBox.h"
#include "XClass.h"
#include "XEditBox.h"
#include "XLabel.h"
#include "XPane.h"
#include "XPlayList.h"
#include "XProgress.h"
#include "XTextBox.h"
#include "XTogVol.h"
#include "XToggle.h"
#include "audiofile/CAAudioFileError.h"

namespace {

// The progress bar's integer range: fractions land on its steps.
constexpr int kProgressSteps = 380;

// Shows `value` in a text box even when it equals the value the box had before
// its label was cleared (SetValueInt ignores an equal value).
void ShowValue(XTextBox* box, int value) {
    if (box->SetValueInt(value) == 0) box->OnValueChanged(value);
}

// A layout table's rectangle: left, top, right, bottom.
XRect Rc(int left, int top, int right, int bottom) {
    return XRect(left, top, right, bottom);
}

}  // namespace

MainDlg::MainDlg() : m_bStopRequest(false), m_vol{0.1f, 0.4f, 1.0f} {
    SetType(232);
    SetSize(400, 135);
    SetMinSize(400, 135);
    SetMaxSize(400, 600);
    SetTitle(const_cast<char*>("Velotune 2.0"));
    LogOpenDesktop("velotune.txt", "test");
    NewClass(const_cast<char*>("XTextBox"))->SetTextColor(XColor(245, 245, 255, 255));
    NewClass(const_cast<char*>("XLabel"))->SetTextColor(XColor(255, 255, 255, 255));
    SetFirstFrameFile(getenv("VELOTUNE_FIRST_FRAME_FILE"));
}

MainDlg::~MainDlg() {
    {
        std::lock_guard<std::mutex> guard(m_audioLock);
        m_bClosing = true;
    }
    m_audioCond.notify_all();
    m_bStopRequest = true;
    CancelGuiCalls();
    m_player.WakeWaiter();
    if (m_audioThread.joinable()) m_audioThread.join();
}

// ---- construction of the window ----

int MainDlg::OnCreate() {
    SetIcon(0);
    AddMacMenuItem(const_cast<char*>("About Velotune..."), 4, false);
    if (StdMenu* bar = CreateMenuBar()) {
        StdMenu* file = bar->AddMenu("File");
        file->AddMenuItem(kOpenLabel, kCommandOpen);
    }
    EnableDropFile();

    char textBox[] = "XTextBox";
    char label[] = "XLabel";

    m_pPlayList = new XPlayList(this, Rc(0, 0, 0, 35), 5);
    m_pPlayList->AttachTo(1, 1, 1, 1);
    AddControl(m_pPlayList);

    m_pPanPlay = new XPane(this, Rc(0, 35, 0, 0));
    m_pPanPlay->AttachTo(1, 0, 0, 1);
    m_pPanPlay->SetBackPic("pan_main.png");
    AddControl(m_pPanPlay);

    m_pProgress = new XProgress(this, Rc(8, 13, 368, 16));
    m_pProgress->SetColorBack(XColor(72, 80, 96, 255));
    m_pProgress->SetColorFore(XColor(20, 20, 140, 255));
    m_pProgress->SetColorFrame(XColor(0, 0, 0, 0));
    m_pProgress->SetRangeInt(0, kProgressSteps, 1, 0);
    m_pPanPlay->AddControl(m_pProgress);

    XTextBox** props[] = {&m_pTxtRate, &m_pTxtSize, &m_pTxtTime, &m_pTxtProp};
    const char* formats[] = {"Rate: %d Hz", "Size: %d", nullptr, "%d bits"};
    for (int i = 0; i < 4; ++i) {
        XTextBox* box = new XTextBox(this, Rc(5, 22 + 18 * i, 100, 38 + 18 * i), -1);
        InitControl(box, textBox);
        if (formats[i]) box->SetFormatString(formats[i]);
        box->SetTransparent(true);
        box->SetJustify(-1);
        m_pPanPlay->AddControl(box);
        *props[i] = box;
    }

    XButton* stop = new XButton(this, Rc(114, 56, 127, 69), 6);
    stop->SetPic("btn_stop.png");
    stop->SetToolTip("Stop");
    m_pPanPlay->AddControl(stop);

    XButton* prev = new XButton(this, Rc(137, 47, 168, 78), 7);
    prev->SetPic("btn_prev.png");
    prev->SetToolTip("Previous Sample");
    m_pPanPlay->AddControl(prev);

    m_pTogPlay = new XToggle(this, Rc(173, 39, 220, 86), 8);
    m_pTogPlay->SetPic("btn_play.png", "btn_pause.png");
    if (WalkRuns()) m_pTogPlay->SetValueInt(1);  // the command line's paths already play
    m_pPanPlay->AddControl(m_pTogPlay);

    XButton* next = new XButton(this, Rc(225, 47, 256, 78), 9);
    next->SetPic("btn_next.png");
    next->SetToolTip("Next Sample");
    m_pPanPlay->AddControl(next);

    XTogVol* vol = new XTogVol(this, Rc(264, 53, 283, 69), 10);
    vol->AddPic("icn_vol_l.png");
    vol->AddPic("icn_vol_m.png");
    vol->AddPic("icn_vol_h.png");
    vol->SetToolTip("Volume");
    m_pPanPlay->AddControl(vol);

    XButton* settings = new XButton(this, Rc(375, 5, 394, 24), 11);
    settings->SetPic("btn_info.png");
    settings->SetToolTip("Settings");
    m_pPanPlay->AddControl(settings);

    XButton* home = new XButton(this, Rc(323, 33, 386, 64), 12);
    home->SetPic("btn_home.png");
    home->SetToolTip(kWebHost);
    m_pPanPlay->AddControl(home);

    XTextBox* link = new XTextBox(this, Rc(323, 64, 386, 76), 12);
    InitControl(link, textBox);
    link->SetTransparent(true);
    link->SetColorText(XColor(120, 130, 140, 255));
    link->SetFont(1);
    link->SetJustify(0);
    link->SetLabel(kWebDomain);
    m_pPanPlay->AddControl(link);

    m_pPanSets = new XPane(this, Rc(0, 35, 0, 0));
    m_pPanSets->AttachTo(1, 0, 0, 1);
    m_pPanSets->SetBackPic("pan_sets.png");
    m_pPanSets->Hide();
    AddControl(m_pPanSets);

    XButton* done = new XButton(this, Rc(-45, 5, -5, 22), 15);
    done->SetPic("btn_done.png");
    m_pPanSets->AddControl(done);

    XCheckBox* limit = new XCheckBox(this, Rc(10, 20, 115, 38), 13);
    InitControl(limit, label);
    limit->SetTransparent(true);
    limit->SetLabel("Playback Limit:");
    m_pPanSets->AddControl(limit);

    m_pEdtTime = new XEditBox(this, Rc(120, 22, 150, 38), 14);
    m_pEdtTime->Disable();
    m_pEdtTime->SetJustify(0);
    m_pEdtTime->SetFormat(2, 3);
    m_pEdtTime->AcceptFormatOnly();  // whole seconds: digits and nothing else
    m_pPanSets->AddControl(m_pEdtTime);

    XLabel* seconds = new XLabel(this, Rc(155, 22, 210, 38), -1);
    InitControl(seconds, label);
    seconds->SetLabel("seconds");
    m_pPanSets->AddControl(seconds);
    return 0;
}

int MainDlg::OnShow() {
    StartAudio();
    return 0;
}

void MainDlg::StartAudio() {
    if (m_bAudioStarted.exchange(true)) return;
    m_audioThread = std::thread([this] { OpenAudio(); });
}

void MainDlg::OpenAudio() {
    AudioDev* dev = nullptr;
    AudioDevCore* core = nullptr;
    if (m_pBus) {
        core = new AudioDevCore();
        if (m_pBus->AddDriver(core, "CoreAudio") != 1) core = nullptr;  // refused: deleted
        dev = m_pBus->CurrentDriver();
    }
    const char* why = m_pBus ? "the sound service offers no device" : "no audio bus";
    if (dev) {
        DEVOPEN play{0, 2, 0};
        if (dev->Open(nullptr, &play, 44100, 32)) {
            dev->Start(0);
            m_pBus->EnableRecord(false);
            m_pBus->EnablePlay(true);
            m_pBus->SetPlaySource(&m_player);
            m_pBus->Start();
            m_bAudioOpen = true;
        } else {
            why = dev->GetErrorMsg();
        }
        m_player.Init(this);
    }
    if (!m_bAudioOpen) {
        m_bNoDevice = true;
        QuvLog log;
        log.LogPrint("*** MainDlg: no audio device: %s ***", why);
        PostToGuiThread([this] {
            if (m_pTxtTime) m_pTxtTime->SetLabel(kNoDeviceText);
            Redraw();
        });
    }
    {
        std::lock_guard<std::mutex> guard(m_audioLock);
        m_bAudioReady = true;
    }
    m_audioCond.notify_all();
    // The other devices are only listed for the log. Probing them loads the sound
    // library's plugins, and loading a library holds a process-wide lock that the
    // toolkit needs while it starts: so they are listed a while after the start,
    // behind everything else the program does, unless the window closes first.
    if (core && dev == core) {
        std::unique_lock<std::mutex> guard(m_audioLock);
        m_audioCond.wait_for(guard, std::chrono::milliseconds(kListDevicesAfterMs),
                             [this] { return m_bClosing.load(); });
        guard.unlock();
        if (m_bClosing) return;
        setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 10);
        core->ListMoreDevices(&m_bClosing);
    }
}

bool MainDlg::WaitAudio() {
    if (!m_bAudioStarted) return false;  // a window never shown stays silent
    std::unique_lock<std::mutex> guard(m_audioLock);
    m_audioCond.wait(guard, [this] { return m_bAudioReady; });
    return m_bAudioOpen;
}

int MainDlg::OnReady() {
    int count = m_start_paths.Size();
    if (count == 0) return 0;
    std::string* paths = new std::string[count];
    const char** list = new const char*[count];
    for (int i = 0; i < count; ++i) {
        paths[i] = m_start_paths.GetString(i);
        list[i] = paths[i].c_str();
    }
    m_start_paths.Clear();
    DropPaths(list, count);
    delete[] list;
    delete[] paths;
    return 0;
}

int MainDlg::OnClose() {
    {
        std::lock_guard<std::mutex> guard(m_audioLock);
        m_bClosing = true;  // also ends the start-up thread's wait (OpenAudio)
    }
    m_audioCond.notify_all();
    m_bStopRequest = true;
    // A sound that plays fades out within 30 ms instead of being cut off.
    if (AudioOpen() && !m_player.IsReady() && !m_player.IsPaused()) {
        m_player.FadeOutQuickly();
        m_player.WaitReady(200);
    }
    // The worker must not wait for a GUI thread that is about to end the process,
    // and must be gone before the objects it uses are destroyed at exit.
    CancelGuiCalls();
    m_player.WakeWaiter();
    for (int i = 0; i < 400 && IsRunning(); ++i) Wait(5);
    const bool workerGone = !IsRunning();
    if (workerGone) Join();
    if (m_audioThread.joinable()) m_audioThread.join();
    if (m_pBus) {
        m_pBus->Stop();
        if (AudioDev* dev = m_pBus->CurrentDriver()) dev->Close(2);
    }
    // A worker held up beyond two seconds (a file system that does not answer)
    // still uses this window's members: the process ends without destroying them.
    if (!workerGone) _exit(0);
    AppQuit();
}

// ---- loading and navigation ----

int MainDlg::OnDrop(OpaqueDragRef* drag, int, int) {
    CDropList list(drag);
    std::string* paths = new std::string[list.m_count > 0 ? list.m_count : 1];
    const char** items = new const char*[list.m_count > 0 ? list.m_count : 1];
    for (int i = 0; i < list.m_count; ++i) {
        paths[i] = list.GetPath(i);
        items[i] = paths[i].c_str();
    }
    DropPaths(items, list.m_count);
    delete[] items;
    delete[] paths;
    return 0;
}

namespace {

// For measuring the time from a drop to the first sound: the CLOCK_MONOTONIC time
// of the first drop, in seconds, into the file VELOTUNE_DROP_TIME_FILE names.
void StampFirstDrop() {
    static bool s_dropStamped = false;
    if (s_dropStamped) return;
    s_dropStamped = true;
    if (const char* file = getenv("VELOTUNE_DROP_TIME_FILE")) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (FILE* f = fopen(file, "w")) {
            fprintf(f, "%.6f\n", static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9);
            fclose(f);
        }
    }
}

}  // namespace

void MainDlg::PlayStartPaths() {
    const int count = m_start_paths.Size();
    if (count == 0 || IsRunning()) return;
    StampFirstDrop();
    for (int i = 0; i < count; ++i) m_path_list.AddString(m_start_paths.GetString(i));
    m_start_paths.Clear();
    m_bStopRequest = false;
    m_bWorkerDone = false;
    Start(kThreadId, 0);
}

void MainDlg::DropPaths(const char* const* paths, int count) {
    StampFirstDrop();
    SetCursor(1);
    m_bStopRequest = false;
    for (int i = 0; i < count; ++i) m_path_list.AddString(const_cast<char*>(paths[i]));
    // A worker that has already cleared the queue is about to end: wait for it,
    // so these paths get a worker of their own instead of being lost.
    if (IsRunning() && m_bWorkerDone) Join();
    if (IsRunning() != 1) {
        m_bWorkerDone = false;
        Start(kThreadId, 0);
        ShowPlaying(true);
    }
    SetCursor(0);
}

void MainDlg::SetStartPaths(const char* const* paths, int count) {
    char cwd[PATH_MAX];
    if (!getcwd(cwd, sizeof cwd)) cwd[0] = 0;
    for (int i = 0; i < count; ++i) {
        if (!paths[i] || !*paths[i]) continue;
        std::string path = paths[i];
        if (path[0] != '/') path = std::string(cwd) + "/" + path;
        struct stat st {};
        if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && path.back() != '/') path += '/';
        m_start_paths.AddString(const_cast<char*>(path.c_str()));
    }
}

void MainDlg::OnRun() {
    if (GetThreadId() != kThreadId) return;
    WaitAudio();
    if (m_bListPlay.exchange(false)) FollowList();
    int i = 0;
    for (;;) {
        for (; i < m_path_list.Size() && !m_bClosing; ++i) {
            char* path = m_path_list.GetString(i);
            size_t n = strlen(path);
            if (n > 0 && path[n - 1] == '/')
                PlayFolder(path);
            else
                PlayFile(path);
        }
        // The queue is cleared on the GUI thread, where drops append to it; a drop
        // that came in after the last look is walked before the worker ends.
        bool finished = false;
        bool served = OnGui([&] {
            if (i < m_path_list.Size()) return;
            m_path_list.Clear();
            m_pTxtRate->Clear();
            m_pTxtProp->Clear();
            m_pTxtSize->Clear();
            m_pTxtTime->Clear();
            if (m_bNoDevice) m_pTxtTime->SetLabel(kNoDeviceText);
            ShowPlaying(false);
            m_bWorkerDone = true;
            finished = true;
            Redraw();
            Update();
        });
        if (finished || !served || m_bClosing) return;
    }
}

void MainDlg::PlayFolder(char* path) {
    if (m_bStopRequest || m_bClosing) return;
    DIR* dir = opendir(path);
    if (!dir) return;
    size_t base = strlen(path);
    // The child path: the folder's path (ending in "/"), a name, "/" and the NUL.
    // A path the buffer cannot hold cannot be opened either, so it is skipped.
    char child[PATH_MAX + NAME_MAX + 2];
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] == '.') continue;
        size_t name = strlen(entry->d_name);
        if (base + name + 2 > sizeof child) continue;
        memcpy(child, path, base);
        memcpy(child + base, entry->d_name, name + 1);
        bool folder = entry->d_type == DT_DIR;
        if (entry->d_type == DT_UNKNOWN) {
            // Some file systems do not tell the type in the listing.
            struct stat st {};
            folder = lstat(child, &st) == 0 && S_ISDIR(st.st_mode);
        }
        if (folder) {
            child[base + name] = '/';
            child[base + name + 1] = 0;
            PlayFolder(child);
        }
        PlayFile(child);
    }
    closedir(dir);
}

void MainDlg::PlayFile(char* path) {
    if (m_bStopRequest || m_bClosing) return;
    // The playlist keeps paths of up to 511 bytes; a longer one is never cut into
    // another name: the file is skipped.
    if (strlen(path) >= static_cast<size_t>(XPlayList::kPathSize)) {
        LogPrint("*** MainDlg: skipped %s: the path is longer than the playlist holds ***", path);
        return;
    }
    snd_* sound = OpenSound(path);
    // A stop that came while the file was being opened ends the walk here too.
    if (!sound || m_bStopRequest) return;
    std::string entry = path;
    const int rate = sound->SampleRate(), bits = sound->BitDepth(), channels = sound->Channel();
    PostToGuiThread([this, entry, rate, bits, channels] {
        m_pPlayList->Add(entry.c_str(), rate, bits, channels);
    });
    PlayAndWait(sound);
    if (m_bStopRequest) return;
    FollowList();
}

void MainDlg::FollowList() {
    char next[XPlayList::kPathSize];
    while (!m_bStopRequest && !m_bClosing) {
        bool have = false;
        if (!OnGui([&] {
                const char* p = m_pPlayList->NextPath();
                if (!p) return;
                snprintf(next, sizeof next, "%s", p);
                have = true;
            }))
            return;
        if (!have) return;
        if (snd_* s = OpenSound(next)) PlayAndWait(s);
    }
}

void MainDlg::PlayAndWait(snd_* s) {
    if (!AudioOpen()) return;  // nothing can play: the walk goes on
    m_player.Play(s);
    if (m_pBus) m_pBus->WakeUp();
    // The bar follows the sound through the frame timer while it plays.
    PostToGuiThread([this] {
        ShowPlaying(!m_player.IsPaused());
        SetFrameTimer(true);
    });
    while (!m_player.IsReady() && !m_bClosing) m_player.WaitReady(kPollMs);
    PostToGuiThread([this] {
        SetFrameTimer(false);
        SetProgress(0.0f);
    });
}

snd_* MainDlg::OpenSound(char* path) {
    size_t n = strlen(path);
    if (n <= 4) return nullptr;
    const char* ext = nullptr;
    if (path[n - 4] == '.')
        ext = path + n - 3;
    else if (path[n - 5] == '.')
        ext = path + n - 4;
    else
        return nullptr;
    snd_* candidate = nullptr;
    if (StrMatch(ext, "wav")) candidate = &m_wav;
    if (StrMatch(ext, "aif")) candidate = &m_aif;
    if (StrMatch(ext, "aiff")) candidate = &m_aif;
    if (StrMatch(ext, "mp3")) candidate = &m_mac;
    if (!candidate) return nullptr;
    // The extension only decides whether a file is taken: libsndfile decodes all.
    try {
        if (m_mac.OpenFile(path) != 1) return nullptr;
    } catch (const std::exception& e) {
        LogPrint("*** MainDlg: skipped %s: %s ***", path, e.what());
        return nullptr;
    }
    snd_* s = &m_mac;
    // The properties go to the labels without waiting for the GUI thread: the
    // values are taken now, while the reader is this file's.
    const int rate = s->SampleRate();
    const int size = s->SampleSize();
    const int bits = s->BitDepth();
    PostToGuiThread([this, rate, size, bits] {
        ShowValue(m_pTxtRate, rate);
        ShowValue(m_pTxtSize, size);
        DisplayTime(rate > 0 ? static_cast<float>(size) / static_cast<float>(rate) : 0.0f);
        if (bits != 0) {
            ShowValue(m_pTxtProp, bits);
            m_pTxtProp->Show();
        } else {
            m_pTxtProp->Hide();
        }
        Redraw();
        Update();
    });
    return s;
}

bool MainDlg::StrMatch(const char* text, const char* match) {
    for (;; ++text, ++match) {
        char c = *text;
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != *match) return false;
        if (c == 0) return true;
    }
}

void MainDlg::PlayList(int index) {
    LiftPause();
    m_player.Stop();
    m_pPlayList->Select(index);
    Update();
    PlayFromListIfChosen();
}

void MainDlg::PlayFromListIfChosen() {
    if (!WalkRuns() && m_pPlayList && m_pPlayList->NextInLine() >= 0) PlayFromList();
}

bool MainDlg::WalkRuns() const {
    return IsRunning() && !m_bWorkerDone;
}

bool MainDlg::PlayFromList() {
    if (WalkRuns() || m_bClosing) return false;
    XPlayList* list = m_pPlayList;
    if (!list || list->Count() == 0) return false;
    if (list->NextInLine() < 0) {
        // No choice pending: the current entry, or the newest when the current
        // one is past it (the walk reached the end of the list).
        int current = list->SelectIndex();
        bool held = current != list->NextSlot() &&
                    (list->Count() == XPlayList::kItems || current < list->NextSlot());
        list->Select(held ? current
                          : (list->NextSlot() + XPlayList::kItems - 1) % XPlayList::kItems);
    }
    // A worker that has already cleared the queue is about to end: wait for it.
    if (IsRunning()) Join();
    m_bStopRequest = false;
    m_bListPlay = true;
    m_bWorkerDone = false;
    Start(kThreadId, 0);
    return true;
}

void MainDlg::LiftPause() {
    if (!m_player.IsPaused()) return;
    m_player.Pause(false);
    if (m_pBus) m_pBus->WakeUp();
    ShowPlaying(true);
}

void MainDlg::ShowPlaying(bool playing) {
    if (m_pTogPlay) m_pTogPlay->SetValueInt(playing ? 1 : 0);
}

// ---- commands, settings and display ----

int MainDlg::OnCommand(unsigned long command, long param1, long) {
    switch (command) {
        case 4:
            ShowAbout();
            break;
        case 5:
            PlayList(static_cast<int>(param1));
            break;
        case 6:
            m_bStopRequest = true;
            LiftPause();
            m_player.Stop();
            break;
        case 7:
            LiftPause();
            m_pPlayList->Prev();
            m_player.Stop();
            PlayFromListIfChosen();
            break;
        case 8:
            if (WalkRuns()) {
                m_player.Pause(param1 == 0);
                if (param1 != 0 && m_pBus) m_pBus->WakeUp();
            } else if (param1 != 0 && !PlayFromList()) {
                ShowPlaying(false);  // nothing to play: the toggle tells the truth
            }
            break;
        case 9:
            LiftPause();
            m_pPlayList->Next();
            m_player.Stop();
            PlayFromListIfChosen();
            break;
        case 10:
            if (m_pBus && param1 >= 0 && param1 < 3) m_pBus->SetVolume(m_vol[param1]);
            break;
        case 11:
            ShowSettings(true);
            break;
        case 12:
            OpenUrl(const_cast<char*>(kWebUrl));
            break;
        case 13:
            ShowPlayerMax(param1 != 0);
            break;
        case 14:
            UpdatePlayerMax();
            break;
        case 15:
            ShowSettings(false);
            break;
        case kCommandOpen:
            OpenFiles();
            break;
        default:
            break;
    }
    return 0;
}

int MainDlg::OnKeyDown(long key, long) {
    if (key == ' ') {
        // As a click on the play/pause toggle: the toggle flips and says so.
        int value = m_pTogPlay->GetValueInt() ? 0 : 1;
        m_pTogPlay->SetValueInt(value);
        OnCommand(8, value, 0);
        return 1;
    }
    if (key == kKeyLeft) {
        OnCommand(7, 0, 0);
        return 1;
    }
    if (key == kKeyRight) {
        OnCommand(9, 0, 0);
        return 1;
    }
    return 0;
}

void MainDlg::ShowSettings(bool show) {
    m_pPanPlay->Show(!show);
    m_pPanSets->Show(show);
    Redraw();
}

void MainDlg::ShowPlayerMax(bool enable) {
    m_pEdtTime->Enable(enable);
    if (enable) {
        int seconds = m_pEdtTime->GetValueInt();
        if (seconds == 0) {
            m_pEdtTime->SetValueInt(5);
            seconds = 5;
        }
        m_player.SetMax(seconds);
    } else {
        m_player.SetMax(0);
    }
    Redraw();
}

void MainDlg::UpdatePlayerMax() {
    m_player.SetMax(m_pEdtTime->GetValueInt());
}

void MainDlg::FormatTime(float seconds, char* out, int size) {
    if (!(seconds < 60.0f)) {
        // Truncated toward zero; values beyond the int range (never from a real
        // file) are held at its end.
        double t = std::isfinite(seconds) ? static_cast<double>(seconds) : 0.0;
        int whole = t >= 2147483647.0 ? 2147483647 : static_cast<int>(t);
        snprintf(out, static_cast<size_t>(size), "%dm %ds", whole / 60, whole % 60);
        return;
    }
    snprintf(out, static_cast<size_t>(size), "%.2f sec", static_cast<double>(seconds));
}

void MainDlg::DisplayTime(float seconds) {
    char text[48];
    FormatTime(seconds, text, sizeof text);
    // Without a device nothing is heard: the label says so instead of a length.
    m_pTxtTime->SetLabel(m_bNoDevice ? kNoDeviceText : text);
    m_pTxtTime->SetDirty();
}

void MainDlg::SetProgress(float fraction) {
    m_fProgress.store(fraction, std::memory_order_relaxed);
    if (!IsGuiThread()) return;
    if (m_pProgress) m_pProgress->SetValueFlt(fraction);
    Update();
}

void MainDlg::OnFrame() {
    if (!m_pProgress) return;
    float fraction = m_fProgress.load(std::memory_order_relaxed);
    if (fraction != m_pProgress->GetValueFlt()) m_pProgress->SetValueFlt(fraction);
}

void MainDlg::OpenFiles() {
    std::vector<std::string> chosen;
    if (!ChooseFiles(kOpenLabel, &chosen)) return;
    std::vector<const char*> paths;
    for (const std::string& path : chosen) paths.push_back(path.c_str());
    DropPaths(paths.data(), static_cast<int>(paths.size()));
}

void MainDlg::ShowAbout() {
    AboutBox about;
    about.ShowModal(this);
}
