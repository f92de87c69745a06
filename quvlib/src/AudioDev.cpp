#include "AudioDev.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "UThread.h"

AudioDev::AudioDev()
    : m_devRecCount(0),
      m_devPlayCount(0),
      m_devPlayDefault(-1),
      m_devRecDefault(-1),
      m_devOpenRec{0, 0, 0},
      m_devOpenPlay{0, 0, 0},
      m_numFrames(0) {
    m_errMsg[0] = 0;
    m_channelName[0] = 0;
    std::memset(m_devRec, 0, sizeof(m_devRec));
    std::memset(m_devPlay, 0, sizeof(m_devPlay));
    std::memset(m_current, 0, sizeof(m_current));
}

static void FreeDevice(DEVINFO* info) {
    if (!info) return;
    for (int c = 0; c < AudioDev::kMaxChannels; ++c) free(info->channelName[c]);
    delete info;
}

AudioDev::~AudioDev() {
    for (int i = 0; i < m_devRecCount; ++i) FreeDevice(m_devRec[i]);
    for (int i = 0; i < m_devPlayCount; ++i) FreeDevice(m_devPlay[i]);
}

DEVINFO** AudioDev::List(int dir, int** count) {
    if (dir == 1) {
        *count = &m_devRecCount;
        return m_devRec;
    }
    if (dir == 0) {
        *count = &m_devPlayCount;
        return m_devPlay;
    }
    *count = nullptr;
    return nullptr;
}

bool AudioDev::Init() {
    m_errMsg[0] = 0;
    if (m_devRecCount > 0 || m_devPlayCount > 0) return true;
    return OnInit() == 0;
}

void AudioDev::Exit() {
    OnExit();
}

bool AudioDev::AddDevice(const DEVINFO* info, int dir) {
    int* count;
    DEVINFO** list = List(dir, &count);
    // The lists are fixed at 64 entries; a 65th device is refused rather than
    // written past the end.
    if (!list || !info || *count >= kMaxDevices) return false;
    DEVINFO* copy = new DEVINFO(*info);
    if (copy->channelCount > kMaxChannels) copy->channelCount = kMaxChannels;
    if (copy->channelCount < 0) copy->channelCount = 0;
    if (copy->rateCount > 32) copy->rateCount = 32;
    if (copy->rateCount < 0) copy->rateCount = 0;
    copy->name[sizeof(copy->name) - 1] = 0;
    for (int c = 0; c < kMaxChannels; ++c) {
        const char* name = c < copy->channelCount ? info->channelName[c] : nullptr;
        copy->channelName[c] = name ? strdup(name) : nullptr;
    }
    list[(*count)++] = copy;
    return true;
}

DEVINFO* AudioDev::GetDevice(int i, int dir) {
    int* count;
    DEVINFO** list = List(dir, &count);
    if (!list || i < 0 || i >= *count) return nullptr;
    return list[i];
}

int AudioDev::DeviceCount(int dir) const {
    if (dir == 1) return m_devRecCount;
    if (dir == 0) return m_devPlayCount;
    return 0;
}

const char* AudioDev::DeviceName(int i, int dir) {
    DEVINFO* info = GetDevice(i, dir);
    return info ? info->name : "";
}

int AudioDev::DeviceIndex(const char* name, int dir) {
    if (!name) return -1;
    for (int i = 0; i < DeviceCount(dir); ++i)
        if (std::strcmp(GetDevice(i, dir)->name, name) == 0) return i;
    return -1;
}

void AudioDev::SetDefault(int i, int dir) {
    if (dir == 1) m_devRecDefault = i;
    if (dir == 0) m_devPlayDefault = i;
}

int AudioDev::GetDefault(int dir) const {
    if (dir == 1) return m_devRecDefault;
    if (dir == 0) return m_devPlayDefault;
    return -1;
}

int AudioDev::DeviceChannelCount(int i, int dir) {
    DEVINFO* info = GetDevice(i, dir);
    return info ? info->channelCount : 0;
}

int AudioDev::DeviceBitDepth(int i, int dir) {
    DEVINFO* info = GetDevice(i, dir);
    return info ? info->bitDepth : 0;
}

const char* AudioDev::DeviceChannelName(int i, int dir, int ch) {
    DEVINFO* info = GetDevice(i, dir);
    if (info && ch >= 0 && ch < kMaxChannels && info->channelName[ch]) return info->channelName[ch];
    std::snprintf(m_channelName, sizeof(m_channelName), dir == 1 ? "in:%d" : "out:%d", ch + 1);
    return m_channelName;
}

int AudioDev::DeviceRates(int i, int dir, int* out, int max, int lo, int hi) {
    if (!out || max <= 0) return 0;
    for (int k = 0; k < max; ++k) out[k] = 0;
    DEVINFO* info = GetDevice(i, dir);
    if (!info) return 0;
    int n = 0;
    for (int k = 0; k < info->rateCount && n < max; ++k)
        if (info->rate[k] >= lo && info->rate[k] <= hi) out[n++] = info->rate[k];
    return n;
}

int AudioDev::MatchingDev(int i, int dir) {
    DEVINFO* info = GetDevice(i, dir);
    if (!info || (dir != 0 && dir != 1)) return -1;
    int other = 1 - dir;
    int best = -1, bestLen = 0;
    for (int k = 0; k < DeviceCount(other); ++k) {
        const char* a = info->name;
        const char* b = GetDevice(k, other)->name;
        int len = 0;
        while (a[len] && a[len] == b[len]) ++len;
        if (len > bestLen) {
            bestLen = len;
            best = k;
        }
    }
    return best;
}

void AudioDev::SetAudioSource(AudioSource* source) {
    m_pAudioSource.store(source, std::memory_order_seq_cst);
    OnSyncWithIo();
}

void AudioDev::SetAudioTarget(AudioTarget* target) {
    m_pAudioTarget.store(target, std::memory_order_seq_cst);
    OnSyncWithIo();
}

void AudioDev::OnAudioRecord(float* buffer, int frames, int channels) {
    AudioTarget* target = m_pAudioTarget.load(std::memory_order_acquire);
    if (target) target->OnAudioRecord(buffer, frames, channels);
}

// Resolves a negative index to the default, then to 0, and checks it against the
// list; stores the request and says whether it differs from the stored one.
static bool CheckRequest(DEVOPEN* req, int def, int count) {
    if (req->iDev < 0) req->iDev = def < 0 ? 0 : def;
    return req->iDev < count;
}

static bool StoreRequest(DEVOPEN* req, DEVOPEN* stored, int channelCount) {
    bool changed = req->iDev != stored->iDev || req->channel != stored->channel ||
                   req->offset != stored->offset;
    if (req->offset >= channelCount) req->offset = 0;
    *stored = *req;
    return changed;
}

bool AudioDev::Open(DEVOPEN* rec, DEVOPEN* play, long sampleRate, int bitDepth) {
    m_errMsg[0] = 0;
    if (!rec && !play) {
        SetErrorMsg("Error: Nothing to open");
        return false;
    }
    if (rec && !CheckRequest(rec, m_devRecDefault, m_devRecCount)) {
        SetErrorMsg("Error: Recording device out of range");
        return false;
    }
    if (play && !CheckRequest(play, m_devPlayDefault, m_devPlayCount)) {
        SetErrorMsg("Error: Playback device out of range");
        return false;
    }
    bool changed = false;
    if (rec) changed |= StoreRequest(rec, &m_devOpenRec, m_devRec[rec->iDev]->channelCount);
    if (play) changed |= StoreRequest(play, &m_devOpenPlay, m_devPlay[play->iDev]->channelCount);

    long previous = m_sampRate.exchange(sampleRate, std::memory_order_relaxed);
    if (previous == sampleRate && !changed) return true;

    if (!OnOpen(rec, play, sampleRate, bitDepth)) return false;

    if (rec)
        m_current[1] = t_current{
            rec->iDev, static_cast<int>(sampleRate), bitDepth, rec->channel, rec->offset, 0, 0, 0};
    if (play)
        m_current[0] = t_current{
            play->iDev, static_cast<int>(sampleRate), bitDepth, 0, 0, play->channel, play->offset,
            0};
    return true;
}

bool AudioDev::Close(int dir) {
    m_errMsg[0] = 0;
    SetAudioSource(nullptr);
    SetAudioTarget(nullptr);
    if (!OnClose(dir)) return false;
    m_devOpenRec = DEVOPEN{0, 0, 0};
    m_devOpenPlay = DEVOPEN{0, 0, 0};
    return true;
}

bool AudioDev::Start(int dir) {
    m_errMsg[0] = 0;
    return OnStart(dir);
}

bool AudioDev::Stop(int dir) {
    m_errMsg[0] = 0;
    return OnStop(dir);
}

int AudioDev::TimeToBuffer(float seconds) {
    int size = GetBufferSize();
    // A driver with no block size yet has no blocks in any time.
    if (size == 0) return 0;
    return static_cast<int>(std::trunc(static_cast<float>(GetSampleRate()) * seconds)) / size;
}

void AudioDev::SetErrorMsg(const char* msg) {
    std::snprintf(m_errMsg, sizeof(m_errMsg), "%s", msg ? msg : "");
}

void AudioDev::Pause(int ms) {
    UThread::Wait(ms);
}
