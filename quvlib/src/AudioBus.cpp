#include "AudioBus.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

namespace {
// The log names objects by their address printed with "%d", the form of every
// pointer in its lines; through intptr_t so the conversion is defined (the low 32
// bits are what a "%d" line can show).
int PtrAsInt(const void* p) {
    return static_cast<int>(reinterpret_cast<intptr_t>(p));
}
}  // namespace

AudioBus::AudioBus()
    : m_drvCount(0),
      m_drvIndex(0),
      m_blocCount(0),
      m_frameCount(0),
      m_channel_count(0),
      m_buffer(nullptr),
      m_bufferSize(0),
      m_monitor_count(0),
      m_monitor(nullptr),
      m_monitor_size(0),
      m_monSlot(0) {
    for (auto& t : m_auxList) t.store(nullptr, std::memory_order_relaxed);
    std::memset(m_drv, 0, sizeof(m_drv));
    std::memset(m_fPeak, 0, sizeof(m_fPeak));
    std::memset(m_subBuffer, 0, sizeof(m_subBuffer));
    std::memset(m_subMonBuffer, 0, sizeof(m_subMonBuffer));
}

AudioBus::~AudioBus() {
    // The drivers go first: deleting one ends its IO, which calls into this bus.
    for (int i = 0; i < m_drvCount; ++i) {
        AudioDev* dev = m_drv[i].audioDev;
        m_drv[i].audioDev = nullptr;
        if (m_pAudioPlay.load() == dev) m_pAudioPlay.store(nullptr);
        if (m_pAudioRecord.load() == dev) m_pAudioRecord.store(nullptr);
        delete dev;
    }
    delete[] m_buffer;
    delete[] m_monitor;
}

// ---- driver table ------------------------------------------------------------

int AudioBus::AddDriver(AudioDev* dev, const char* name) {
    // Deliberate: a driver without a recording device is refused, even though
    // the program only plays through it.
    if (dev && m_drvCount < kMaxDrivers && dev->Init() && dev->DeviceCount(1) > 0) {
        t_drv& entry = m_drv[m_drvCount];
        entry.audioDev = dev;
        std::memset(entry.name, 0, sizeof(entry.name));
        if (name) std::strncpy(entry.name, name, sizeof(entry.name) - 1);
        ++m_drvCount;
        return 1;
    }
    delete dev;
    return 0;
}

const char* AudioBus::DriverName(int i) const {
    if (i < 0 || i >= m_drvCount) return "";
    return m_drv[i].name;
}

int AudioBus::DriverIndex(const char* name) const {
    if (!name) return -1;
    for (int i = 0; i < m_drvCount; ++i)
        if (std::strcmp(m_drv[i].name, name) == 0) return i;
    return -1;
}

AudioDev* AudioBus::SelectDriver(int i) {
    m_drvIndex = i;
    if (i < 0 || i >= kMaxDrivers) return nullptr;
    return m_drv[i].audioDev;
}

AudioDev* AudioBus::CurrentDriver() const {
    if (m_drvIndex < 0 || m_drvIndex >= kMaxDrivers) return nullptr;
    return m_drv[m_drvIndex].audioDev;
}

// ---- routing and control -----------------------------------------------------

void AudioBus::EnablePlay(bool on) {
    LogPrint("*** AudioBus::EnablePlay(%d) ***", on ? 1 : 0);
    // The old driver lets go of the bus before the new one is bound.
    AudioDev* old = m_pAudioPlay.load();
    if (old) old->SetAudioSource(nullptr);
    AudioDev* dev = on ? CurrentDriver() : nullptr;
    m_pAudioPlay.store(dev);
    if (dev) dev->SetAudioSource(this);
}

void AudioBus::EnableRecord(bool on) {
    LogPrint("*** AudioBus::EnableRecord(%d) ***", on ? 1 : 0);
    AudioDev* old = m_pAudioRecord.load();
    if (old) old->SetAudioTarget(nullptr);
    AudioDev* dev = on ? CurrentDriver() : nullptr;
    m_pAudioRecord.store(dev);
    if (!dev) m_bMonitor.store(false);
    if (dev) dev->SetAudioTarget(this);
}

void AudioBus::SetPlaySource(AudioSource* source) {
    LogPrint("*** AudioBus::SetPlaySource(%d) ***", PtrAsInt(source));
    m_pPlaySource.store(source, std::memory_order_seq_cst);
    if (source) m_bMonitor.store(false);
    if (AudioDev* dev = m_pAudioPlay.load()) {
        dev->SyncWithIo();
        // A stream standing still for want of sound looks at the new source now.
        if (source) dev->WakeUp();
    }
}

void AudioBus::WakeUp() {
    if (AudioDev* dev = m_pAudioPlay.load()) dev->WakeUp();
}

void AudioBus::SetRecordSource(AudioSource* source) {
    LogPrint("*** AudioBus::SetRecordSource(%d) ***", PtrAsInt(source));
    m_pRecordSource.store(source, std::memory_order_release);
}

void AudioBus::AddAudioTarget(AudioTarget* target) {
    LogPrint("*** AudioBus::AddAudioTarget(%d) ***", PtrAsInt(target));
    int count = m_auxCount.load();
    for (int i = 0; i < count; ++i)
        if (m_auxList[i].load() == target) return;
    if (count >= kMaxTargets) return;  // the list is full: refused quietly
    m_auxList[count].store(target, std::memory_order_release);
    m_auxCount.store(count + 1, std::memory_order_release);
}

void AudioBus::RemoveAudioTarget(AudioTarget* target) {
    LogPrint("*** AudioBus::RemoveAudioTarget(%d) ***", PtrAsInt(target));
    int count = m_auxCount.load();
    for (int i = 0; i < count; ++i) {
        if (m_auxList[i].load() != target) continue;
        // Shrink the count first so the IO thread never reads past the live
        // entries while the gap closes.
        m_auxCount.store(count - 1, std::memory_order_release);
        for (int k = i; k < count - 1; ++k) m_auxList[k].store(m_auxList[k + 1].load());
        m_auxList[count - 1].store(nullptr);
        return;
    }
}

void AudioBus::RemoveAllAudioTargets() {
    m_auxCount.store(0, std::memory_order_release);
    for (auto& t : m_auxList) t.store(nullptr);
}

AudioTarget* AudioBus::Target(int i) const {
    if (i < 0 || i >= m_auxCount.load()) return nullptr;
    return m_auxList[i].load();
}

void AudioBus::Start() {
    LogPrint("*** AudioBus::Start() ***");
    m_iBuffer.store(0);
    m_iBloc.store(0);
    m_bMute.store(false, std::memory_order_release);
    WakeUp();  // a stream standing still while the bus was muted plays at once
}

void AudioBus::Stop() {
    LogPrint("*** AudioBus::Stop() ***");
    m_bMute.store(true, std::memory_order_release);
    // The float count is used as a byte count, so only the first quarter of the
    // record buffers is cleared. Left so: those buffers never reach playback, and
    // record targets have always seen this after a stop.
    if (m_buffer) std::memset(m_buffer, 0, static_cast<size_t>(m_bufferSize));
}

void AudioBus::Close() {
    LogPrint("*** AudioBus::Close() ***");
    Stop();
    SetTimer(nullptr, 0, 0.0f);
    SetMonitor(false);
    SetPlaySource(nullptr);
    EnablePlay(false);
    EnableRecord(false);
    AudioDev* dev = CurrentDriver();
    if (dev) {
        dev->Stop(2);
        dev->Close(2);
    }
}

void AudioBus::SetTimer(XWINDOW window, long msg, float seconds) {
    m_lTimerMsg.store(msg);
    m_fTimerDelay.store(seconds);
    m_iTimerCycle.store(2);
    m_hTimerWindow.store(window, std::memory_order_release);
}

void AudioBus::SetPeak(XWINDOW window, long msg, float seconds) {
    std::memset(m_fPeak, 0, sizeof(m_fPeak));
    m_lPeakMsg.store(msg);
    m_fPeakDelay.store(seconds);
    m_iPeakCycle.store(2);
    m_iPeakIndex.store(0);
    m_hPeakWindow.store(window, std::memory_order_release);
}

float* AudioBus::GetPeak(int slot) {
    if (slot < 0 || slot > 3) return nullptr;
    return m_fPeak[slot];
}

bool AudioBus::CreateRecBuffers(int blocCount, int frameCount, int channelCount) {
    // At most 32 blocks per buffer: beyond that the layout table would overflow.
    if (blocCount < 1 || blocCount > kMaxBlocks || frameCount < 0 || channelCount < 0) return false;
    long long need = 2LL * blocCount * frameCount * channelCount;
    if (need > 0x7fffffff) return false;
    m_bufferCount.store(0, std::memory_order_release);  // off while the layout changes
    m_blocCount = blocCount;
    m_frameCount = frameCount;
    m_channel_count = channelCount;
    if (m_bufferSize < need) {
        delete[] m_buffer;
        m_buffer = new (std::nothrow) float[static_cast<size_t>(need)]();
        m_bufferSize = m_buffer ? static_cast<int>(need) : 0;
    }
    if (!m_buffer) return false;
    for (int b = 0; b < 2; ++b)
        for (int k = 0; k < blocCount; ++k)
            m_subBuffer[b][k] =
                m_buffer + static_cast<long>(b * blocCount + k) * frameCount * channelCount;
    m_iBuffer.store(0);
    m_iBloc.store(0);
    m_bufferCount.store(2, std::memory_order_release);
    return true;
}

void AudioBus::DeleteRecBuffers() {
    m_bufferCount.store(0, std::memory_order_release);
    m_blocCount = 0;
    m_frameCount = 0;
    m_channel_count = 0;
}

bool AudioBus::SetMonitorBuffer(int count, int frames, int channels) {
    if (count < 1 || count > kMaxMonitor || frames < 0 || channels < 0) return false;
    long long need = 1LL * count * frames * channels;
    if (need > 0x7fffffff) return false;
    m_monitor_count = count;
    if (m_monitor_size < need) {
        delete[] m_monitor;
        m_monitor = new (std::nothrow) float[static_cast<size_t>(need)]();
        m_monitor_size = m_monitor ? static_cast<long>(need) : 0;
    }
    if (!m_monitor) return false;
    m_monSlot = static_cast<long>(frames) * channels;
    for (int i = 0; i < count; ++i) m_subMonBuffer[i] = m_monitor + i * m_monSlot;
    m_iMonRead.store(-1);
    m_iMonWrite.store(0);
    return true;
}

void AudioBus::SetMonitor(bool on) {
    if (!m_monitor) return;  // without a ring, not even switched off
    m_iMonRead.store(-1);
    m_iMonWrite.store(0);
    // Float count used as byte count: only the first quarter of the ring is cleared,
    // as the monitor always has been (it is not on the playback path).
    std::memset(m_monitor, 0, static_cast<size_t>(m_monitor_size));
    m_bMonitor.store(on, std::memory_order_release);
}

// ---- device callbacks ----------------------------------------------------------

int AudioBus::CycleCount(long rate, float seconds, int frames) {
    // A block of zero frames has no cycle: 0, so the message goes out every block.
    if (frames <= 0) return 0;
    return static_cast<int>(std::trunc(static_cast<float>(rate) * seconds)) / frames;
}

int AudioBus::OnAudioPlay(float* buffer, int frames, int channels) {
    if (!buffer || frames <= 0 || channels <= 0) return 0;
    const int samples = frames * channels;
    if (m_bMute.load(std::memory_order_acquire)) {
        std::memset(buffer, 0, sizeof(float) * samples);
        return frames;
    }
    if (m_bMonitor.load(std::memory_order_acquire)) {
        int count = m_monitor_count;
        int read = m_iMonRead.load(std::memory_order_relaxed);
        if (read < 0)
            read = count > 0 ? (m_iMonWrite.load(std::memory_order_relaxed) + 1) % count : 0;
        if (count > 0 && samples <= m_monSlot)
            std::memcpy(buffer, m_subMonBuffer[read], sizeof(float) * samples);
        else
            std::memset(buffer, 0, sizeof(float) * samples);  // the slot is smaller than the block
        ++read;
        if (read >= count) read = 0;
        m_iMonRead.store(read, std::memory_order_relaxed);
        return frames;
    }
    AudioSource* source = m_pPlaySource.load(std::memory_order_acquire);
    if (!source) return 0;
    int n = source->OnAudioPlay(buffer, frames, channels);
    float volume = m_fVolume.load(std::memory_order_relaxed);
    if (volume < 1.0f) {
        int scaled = (n < 0 ? 0 : n > frames ? frames : n) * channels;
        for (int i = 0; i < scaled; ++i) buffer[i] *= volume;
    }
    XWINDOW window = m_hTimerWindow.load(std::memory_order_acquire);
    if (window) {
        int cycle = m_iTimerCycle.load(std::memory_order_relaxed) - 1;
        if (cycle < 1) {
            AudioDev* dev = m_pAudioPlay.load(std::memory_order_acquire);
            long rate = dev ? dev->GetSampleRate() : 0;
            cycle = CycleCount(rate, m_fTimerDelay.load(std::memory_order_relaxed), frames);
            PostWindowMsg(window, static_cast<unsigned long>(m_lTimerMsg.load()), 0, 0);
        }
        m_iTimerCycle.store(cycle, std::memory_order_relaxed);
    }
    return n;
}

void AudioBus::OnAudioRecord(float* buffer, int frames, int channels) {
    if (m_bMute.load(std::memory_order_acquire) || frames <= 0 || !buffer || channels <= 0) return;

    AudioSource* recSource = m_pRecordSource.load(std::memory_order_acquire);
    if (recSource) recSource->OnAudioPlay(buffer, frames, channels);

    int count = m_auxCount.load(std::memory_order_acquire);
    if (m_bufferCount.load(std::memory_order_acquire)) {
        int ib = m_iBuffer.load(std::memory_order_relaxed);
        int ik = m_iBloc.load(std::memory_order_relaxed);
        float* dst = m_subBuffer[ib][ik];
        // Each slot holds m_frameCount frames of m_channel_count channels; a
        // larger device block is cut to the slot.
        long slotFrames = m_frameCount;
        long n = frames < slotFrames ? frames : slotFrames;
        if (m_channel_count <= 0) {
            // No room kept per frame: nothing to copy.
        } else if (m_channel_count < channels) {
            // One channel kept: every second float, a stride of 2 whatever the
            // device's channel count (the left channel of a stereo recording).
            for (long f = 0; f < n && 2 * f < static_cast<long>(frames) * channels; ++f)
                dst[f] = buffer[2 * f];
        } else {
            long floats = n * channels;
            long room = slotFrames * m_channel_count;
            std::memcpy(dst, buffer, sizeof(float) * (floats < room ? floats : room));
        }
        if (++ik >= m_blocCount) {
            ik = 0;
            float* start = m_subBuffer[ib][0];
            ib = (ib + 1) % 2;
            int total = static_cast<int>(m_blocCount * m_frameCount);
            for (int i = 0; i < count; ++i) {
                AudioTarget* t = m_auxList[i].load(std::memory_order_acquire);
                if (t) t->OnAudioRecord(start, total, channels);
            }
        }
        m_iBuffer.store(ib, std::memory_order_relaxed);
        m_iBloc.store(ik, std::memory_order_relaxed);
    } else {
        for (int i = 0; i < count; ++i) {
            AudioTarget* t = m_auxList[i].load(std::memory_order_acquire);
            if (t) t->OnAudioRecord(buffer, frames, channels);
        }
    }

    if (m_bMonitor.load(std::memory_order_acquire) && m_monitor_count > 0) {
        int w = m_iMonWrite.load(std::memory_order_relaxed);
        long samples = static_cast<long>(frames) * channels;
        long slot = m_monSlot;
        std::memcpy(m_subMonBuffer[w], buffer, sizeof(float) * (samples < slot ? samples : slot));
        if (++w >= m_monitor_count) w = 0;
        m_iMonWrite.store(w, std::memory_order_relaxed);
    }

    XWINDOW window = m_hPeakWindow.load(std::memory_order_acquire);
    if (window) {
        int slot = m_iPeakIndex.load(std::memory_order_relaxed);
        int cycle = m_iPeakCycle.load(std::memory_order_relaxed) - 1;
        if (cycle < 1) {
            AudioDev* dev = m_pAudioRecord.load(std::memory_order_acquire);
            long rate = dev ? dev->GetSampleRate() : 0;
            int size = dev ? dev->GetBufferSize() : 0;
            cycle = CycleCount(rate, m_fPeakDelay.load(std::memory_order_relaxed), size);
            PostWindowMsg(window, static_cast<unsigned long>(m_lPeakMsg.load()), slot, channels);
            slot = (slot + 1) % 4;
            for (float& p : m_fPeak[slot]) p = 0.0f;
            m_iPeakIndex.store(slot, std::memory_order_relaxed);
        }
        m_iPeakCycle.store(cycle, std::memory_order_relaxed);
        int kept = channels < kPeakChannels ? channels : kPeakChannels;
        for (int f = 0; f < frames; ++f)
            for (int c = 0; c < kept; ++c) {
                float v = std::fabs(buffer[f * channels + c]);
                if (v > m_fPeak[slot][c]) m_fPeak[slot][c] = v;
            }
    }
}
