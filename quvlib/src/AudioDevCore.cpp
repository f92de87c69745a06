#include "AudioDevCore.h"

#include <alsa/asoundlib.h>
#include <dlfcn.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <new>

constexpr int AudioDevCore::kRates[4];

// One open device side: its PCM, its IO thread and the thread's wake-up.
//
// The owner commands the thread through one word: the command sequence number
// shifted left once, with the low bit saying "run". The thread acknowledges the
// sequence number it has acted on, so Stop and Close can wait until the thread
// has left the device.
struct AudioDevCore::Side {
    AudioDevCore* owner = nullptr;
    int io = 0;
    snd_pcm_t* pcm = nullptr;
    int wakeFd = -1;
    pthread_t thread{};
    bool hasThread = false;
    int frames = 0;          // frames per IO cycle: the block asked of the source
    int capacity = 0;        // frames `period` holds: playback writes up to two blocks at once
    int channels = 0;        // device channels interleaved in the block
    int rate = 0;            // frames per second of the open device
    char pcmName[128] = {};  // the PCM's name, for reopening it
    unsigned long devPeriod = 0, devBuffer = 0;  // the device's period and buffer, frames
    float* period = nullptr;
    t_ioBufferList list{};
    pollfd fds[17];
    int nfds = 0;                   // recording: PCM descriptors, then the eventfd
    int pollMs = -1;                // recording: longest wait for the PCM, half a period
    std::atomic<unsigned> cmd{0};   // written by the owner, read by the thread
    std::atomic<unsigned> ack{0};   // written by the thread, read by the owner
    std::atomic<bool> quit{false};  // written by the owner, read by the thread
    // Odd while the thread is inside a source or target call; written by the
    // thread, read by the owner (OnSyncWithIo).
    std::atomic<unsigned> inCall{0};
};

namespace {

// Waits (on the owner's thread) until the IO thread has acted on command `seq`.
// Bounded so that a wedged sound service cannot hang the program; the wait for
// the thread to leave the source does not depend on it (OnSyncWithIo).
void WaitAck(const std::atomic<unsigned>& ack, unsigned seq) {
    for (int i = 0; i < 3000 && static_cast<int>(ack.load(std::memory_order_acquire) - seq) < 0;
         ++i) {
        timespec ts{0, 1000000};
        nanosleep(&ts, nullptr);
    }
}

void Wake(int fd) {
    if (fd < 0) return;
    uint64_t one = 1;
    ssize_t r = write(fd, &one, sizeof(one));
    (void)r;
}

// Waits until the eventfd is signalled or `seconds` have passed (negative: no
// limit), and empties it.
void WaitWake(int fd, double seconds) {
    pollfd p{fd, POLLIN, 0};
    timespec ts{};
    timespec* limit = nullptr;
    if (seconds >= 0) {
        ts.tv_sec = static_cast<time_t>(seconds);
        ts.tv_nsec = static_cast<long>((seconds - static_cast<double>(ts.tv_sec)) * 1e9);
        limit = &ts;
    }
    if (ppoll(&p, 1, limit, nullptr) > 0 && (p.revents & POLLIN)) {
        uint64_t v;
        ssize_t r = read(fd, &v, sizeof(v));
        (void)r;
    }
}

double NowSeconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Probing plugins that have nothing behind them (no card, no server) makes the
// sound library print complaints; enumeration is quiet about sides it skips.
void QuietAlsa(const char*, int, const char*, int, const char*, ...) {}
void QuietJackText(const char*) {}

// The sound library's JACK plugin links the JACK client library, which prints
// several lines on stderr when no JACK server runs. Its printers are replaced
// with silent ones in the same library instance the plugin then loads (a library
// is loaded once per process), before any such name is probed. Without the
// library there is nothing to quiet.
void QuietJack() {
    static void* lib = dlopen("libjack.so.0", RTLD_LAZY | RTLD_LOCAL);
    if (!lib) return;
    using SetPrinter = void (*)(void (*)(const char*));
    for (const char* name : {"jack_set_error_function", "jack_set_info_function"})
        if (auto set = reinterpret_cast<SetPrinter>(dlsym(lib, name))) set(QuietJackText);
}

void CopyName(char* dst, size_t size, const char* src) {
    size_t n = strnlen(src, size - 1);
    std::memcpy(dst, src, n);
    dst[n] = 0;
}

// Real-time scheduling for the calling thread while it lives, where the system
// grants it; the previous policy comes back at the end. The sound service's
// client library starts its own thread inside snd_pcm_open, and that thread
// carries every block to the server: created under this guard, it inherits the
// real-time policy, like the IO thread it serves.
class RealtimeWhileAlive {
  public:
    RealtimeWhileAlive() {
        m_ok = pthread_getschedparam(pthread_self(), &m_policy, &m_param) == 0;
        if (!m_ok) return;
        sched_param rt{};
        rt.sched_priority = sched_get_priority_min(SCHED_FIFO) + 10;
        m_changed = pthread_setschedparam(pthread_self(), SCHED_FIFO, &rt) == 0;
    }
    ~RealtimeWhileAlive() {
        if (m_changed) pthread_setschedparam(pthread_self(), m_policy, &m_param);
    }

  private:
    bool m_ok = false, m_changed = false;
    int m_policy = SCHED_OTHER;
    sched_param m_param{};
};

}  // namespace

AudioDevCore::AudioDevCore()
    : m_pcmCount(0),
      m_err(0),
      m_devId{0, 0},
      m_state(0),
      m_sampRateOpen(0),
      m_buffer_rec(nullptr),
      m_buffer_play(nullptr),
      m_mapCount{0, 0},
      m_pDevInfoEx{nullptr, nullptr} {
    std::memset(m_pcmName, 0, sizeof(m_pcmName));
    std::memset(m_pcmIo, 0, sizeof(m_pcmIo));
    m_blockFrames[0] = m_blockFrames[1] = 0;
    std::memset(m_inBuffer, 0, sizeof(m_inBuffer));
    std::memset(m_inChannel, 0, sizeof(m_inChannel));
    std::memset(m_outBuffer, 0, sizeof(m_outBuffer));
    std::memset(m_outChannel, 0, sizeof(m_outChannel));
    for (int io = 0; io < 2; ++io) {
        m_side[io] = new Side;
        m_side[io]->owner = this;
        m_side[io]->io = io;
    }
}

AudioDevCore::~AudioDevCore() {
    // A playback-only driver stays open after Close (a kept quirk); nothing may
    // outlive the driver, so both sides are released whatever the state.
    // (Non-virtual calls: a derived double is already gone at this point.)
    AudioDevCore::_releaseSide(kAudioPlay);
    AudioDevCore::_releaseSide(kAudioRec);
    delete m_side[0];
    delete m_side[1];
    delete[] m_buffer_rec;
    delete[] m_buffer_play;
}

const char* AudioDevCore::_error(long code) {
    switch (code) {
        case kAudioHardwareNoError:
            return "no error";
        case kAudioHardwareUnspecifiedError:
            return "unspecified audio hardware error";
        case kAudioHardwareNotRunningError:
            return "audio hardware not running";
        case kAudioHardwareUnknownPropertyError:
            return "unknown property";
        case kAudioHardwareBadPropertySizeError:
            return "bad property";
        case kAudioHardwareBadDeviceError:
            return "bad device";
        case kAudioHardwareBadStreamError:
            return "bad stream";
        case kAudioHardwareIllegalOperationError:
            return "illegal operation";
        case kAudioDeviceUnsupportedFormatError:
            return "unsupported format";
        case kAudioDevicePermissionsError:
            return "device permissions error";
        default:
            return "unknown error";
    }
}

const char* AudioDevCore::PcmName(int devId) const {
    if (devId < 1 || devId > m_pcmCount) return "";
    return m_pcmName[devId - 1];
}

DEVINFOEX* AudioDevCore::DevInfoEx(int i, int dir) {
    DEVINFO* info = GetDevice(i, dir);
    return info ? reinterpret_cast<DEVINFOEX*>(info->extra) : nullptr;
}

t_formatDesc AudioDevCore::FormatFromProbe(const t_sideProbe& side) {
    t_formatDesc f{};
    if (!side.present || side.channels <= 0 || side.bits <= 0) return f;  // no stream
    f.mFormatID = kFormatLinearPCM;
    f.mFormatFlags =
        kFormatFlagIsPacked | (side.canFloat ? kFormatFlagIsFloat : kFormatFlagIsSignedInteger);
    int bits = side.canFloat ? 32 : side.bits;
    f.mBytesPerFrame = static_cast<uint32_t>(bits / 8 * side.channels);
    f.mBytesPerPacket = f.mBytesPerFrame;
    f.mFramesPerPacket = 1;
    f.mChannelsPerFrame = static_cast<uint32_t>(side.channels);
    f.mBitsPerChannel = static_cast<uint32_t>(bits);
    return f;
}

// Only "default" is probed here: it is what the desktop routes to its sound
// server and the device the program opens, so opening it never waits for the
// other names (ListMoreDevices). The trace is that of every device.
int AudioDevCore::OnInit() {
    LogPrint(">> AudioCore::OnInit()");
    std::memset(m_pcmName, 0, sizeof(m_pcmName));
    CopyName(m_pcmName[0], sizeof(m_pcmName[0]), "default");
    m_pcmIo[0] = 3;
    m_pcmCount = 1;
    LogPrint("Device count : %d", m_pcmCount);
    // The probes are big (channel names); one pair serves the whole walk.
    t_sideProbe* probe = new t_sideProbe[2];
    _probeAndAdd(1, probe);
    delete[] probe;
    if (DeviceCount(0) + DeviceCount(1) == 0) return 2;
    m_state = 1;
    LogPrint(">> AudioInit done");
    return 0;
}

int AudioDevCore::ListMoreDevices(const std::atomic<bool>* cancel) {
    LogPrint(">> AudioCore::ListMoreDevices()");
    int count = _listDevices();
    if (count < 0) return -1;
    LogPrint("Device count : %d", count);
    t_sideProbe* probe = new t_sideProbe[2];
    for (int d = 1; d < count; ++d) {
        if (cancel && cancel->load(std::memory_order_acquire)) break;
        _probeAndAdd(d + 1, probe);
    }
    delete[] probe;
    LogPrint(">> AudioInit done");
    return count;
}

void AudioDevCore::_probeAndAdd(int devId, t_sideProbe* probe) {
    LogPrint("  Device(%d)", devId - 1);
    LogPrint("    AudioDeviceID: %d", devId);
    std::memset(probe, 0, 2 * sizeof(t_sideProbe));
    snd_lib_error_set_handler(QuietAlsa);
    _probeDevice(devId, &probe[0], &probe[1]);
    snd_lib_error_set_handler(nullptr);
    for (int io = 0; io < 2; ++io) _addSide(probe[io], devId - 1, io);
}

bool AudioDevCore::_addSide(const t_sideProbe& side, int device, int io) {
    LogPrint("    IO(%d)", io);
    if (!side.present) return false;  // the side did not open
    char name[64];
    CopyName(name, sizeof(name), side.name);
    LogPrint("      Name: %s", name);
    // The camera's microphone is never offered; deliberate.
    if (std::strcmp(name, "iSight") == 0) return false;

    t_formatDesc f = FormatFromProbe(side);
    if (f.mFormatID == 0) return false;  // no stream on this side
    if (f.mFormatID != kFormatLinearPCM || !(f.mFormatFlags & kFormatFlagIsFloat))
        SetErrorMsg("ERROR - not LinearPCM & Float32");  // still offered
    LogPrint("      formatDesc.mFormatID: %d", static_cast<int>(f.mFormatID));
    LogPrint("      formatDesc.mFormatFlags: %d", static_cast<int>(f.mFormatFlags));
    LogPrint("      formatDesc.mBytesPerPacket: %d", static_cast<int>(f.mBytesPerPacket));
    LogPrint("      formatDesc.mFramesPerPacket: %d", static_cast<int>(f.mFramesPerPacket));
    LogPrint("      formatDesc.mBytesPerFrame: %d", static_cast<int>(f.mBytesPerFrame));
    LogPrint("      formatDesc.mChannelsPerFrame: %d", static_cast<int>(f.mChannelsPerFrame));
    LogPrint("      formatDesc.mBitsPerChannel: %d", static_cast<int>(f.mBitsPerChannel));

    DEVINFO info;
    std::memset(&info, 0, sizeof(info));
    info.devId = device + 1;
    std::memcpy(info.name, name, sizeof(name));
    info.bitDepth = static_cast<int>(f.mBytesPerFrame / f.mChannelsPerFrame * 8);
    LogPrint("      BitDepth: %d", info.bitDepth);
    for (int r = 0; r < 4; ++r)
        if (side.rateOk[r]) info.rate[info.rateCount++] = kRates[r];
    LogPrint("      RateCount: %d", info.rateCount);
    LogPrint("      BufferSize: %d", side.periodSize);

    // An interleaved PCM is one buffer holding every channel.
    int total = side.channels;
    LogPrint("      BufferCount: %d", 1);
    LogPrint("        ChannelCount[%d]: %d", 0, total);
    LogPrint("      Channel total: %d", total);
    if (total > kMaxChannels) total = kMaxChannels;
    info.channelCount = total;

    DEVINFOEX* ex = new (info.extra) DEVINFOEX{device + 1, side.periodSize};
    if (ex->bufferSize < kMinBufferSize) ex->bufferSize = kMinBufferSize;
    LogPrint("      pDevInfoEx: %d", ex->bufferSize);

    for (int ch = 1; ch <= total; ++ch) {
        const char* chName = side.chanName[ch - 1];
        int size = chName[0] ? static_cast<int>(strnlen(chName, 15)) + 1 : 0;
        LogPrint("Chan:%d, Dev:%d, io:%d, size:%d", ch, device + 1, io, size);
        LogPrint("  kAudioDevicePropertyChannelNameCFString err:%d, size:%d", size ? 0 : -1, size);
        if (!size) continue;  // channels without a name keep none
        LogPrint("        [%d] %s", ch, chName);
        info.channelName[ch - 1] = const_cast<char*>(chName);  // AddDevice copies it
    }
    return AddDevice(&info, io);
}

bool AudioDevCore::OnOpen(DEVOPEN* rec, DEVOPEN* play, long sampleRate, int bitDepth) {
    (void)bitDepth;  // blocks are always 32-bit float
    LogPrint("AudioDevCore::OnOpen");
    if (rec) LogPrint("  Record=%d, offset=%d", rec->iDev, rec->offset);
    if (play) LogPrint("Playback=%d, offset=%d", play->iDev, play->offset);

    DEVINFO* info[2] = {nullptr, nullptr};
    DEVOPEN* req[2] = {play, rec};
    for (int io = 0; io < 2; ++io) {
        if (!req[io]) continue;
        m_channel[io].count.store(req[io]->channel, std::memory_order_relaxed);
        m_channel[io].offset.store(req[io]->offset, std::memory_order_relaxed);
        info[io] = GetDevice(req[io]->iDev, io);
    }
    int wanted[2];
    for (int io = 0; io < 2; ++io)
        wanted[io] = info[io] ? reinterpret_cast<DEVINFOEX*>(info[io]->extra)->devId : 0;
    if (sampleRate == m_sampRateOpen && wanted[0] == m_devId[0] && wanted[1] == m_devId[1])
        return true;

    if (m_state > 1) OnClose(2);
    // OnClose leaves a playback-only driver open; the PCMs and IO threads of the
    // previous open are released here so that none is left behind.
    for (int io = 0; io < 2; ++io) _releaseSide(io);
    m_devId[0] = m_devId[1] = 0;
    if (m_state > 1) m_state = 1;
    m_pDevInfoEx[0] = m_pDevInfoEx[1] = nullptr;
    m_sampRateOpen = 0;
    m_err = 0;

    for (int io = 1; io >= 0; --io) {
        if (!info[io]) continue;
        DEVINFO* d = info[io];
        DEVINFOEX* ex = reinterpret_cast<DEVINFOEX*>(d->extra);
        LogPrint(" Device name: %s", d->name);
        LogPrint(" DevInfo.devId = %d", d->devId);
        LogPrint(" DevInfo.channels = %d", d->channelCount);
        m_pDevInfoEx[io] = ex;
        if (io == kAudioRec)
            LogPrint("      m_pDevInfoEx[kAudioRec]: %d", ex->devId);
        else
            LogPrint("      m_pDevInfoEx[kAudioPlay]: %d", ex->devId);
        m_devId[io] = ex->devId;
        LogPrint(" DevInfoEx.devId = %d", ex->devId);

        int frames = ex->bufferSize;
        t_ioBufferList config{};
        int err = _openSide(io, ex->devId, sampleRate, d->channelCount, &frames, &config);
        if (err < 0) {
            m_err = err;
            SetErrorMsg(snd_strerror(err));
            for (int k = 0; k < 2; ++k) _releaseSide(k);
            m_devId[0] = m_devId[1] = 0;
            return false;
        }
        ex->bufferSize = frames;  // what the device granted
        _buildChannelMap(config, io);
    }
    m_sampRateOpen = static_cast<int>(sampleRate);

    if (!_allocBuffers()) {
        m_err = kAudioHardwareUnspecifiedError;
        SetErrorMsg(_error(m_err));
        return false;
    }
    for (int io = 1; io >= 0; --io) {
        if (!m_devId[io]) continue;
        int err = _startThread(io);
        m_err = err;
        if (err == 0) m_state = 2;
    }
    if (m_err) SetErrorMsg(snd_strerror(static_cast<int>(m_err)));
    return m_err == 0;
}

void AudioDevCore::_buildChannelMap(const t_ioBufferList& config, int io) {
    int* buf = io == kAudioRec ? m_inBuffer : m_outBuffer;
    int* pos = io == kAudioRec ? m_inChannel : m_outChannel;
    int k = 0;
    int nb =
        config.mNumberBuffers < t_ioBufferList::kMax ? config.mNumberBuffers : t_ioBufferList::kMax;
    for (int b = 0; b < nb; ++b)
        for (int c = 0; c < config.mBuffers[b].mNumberChannels && k < 96; ++c, ++k) {
            buf[k] = b;
            pos[k] = c;
        }
    m_mapCount[io] = k;
}

bool AudioDevCore::_allocBuffers() {
    if (!m_devId[0] && !m_devId[1]) return false;
    float** block[2] = {&m_buffer_play, &m_buffer_rec};
    for (int io = 0; io < 2; ++io) {
        if (!m_devId[io] || !m_pDevInfoEx[io]) continue;
        int frames = m_pDevInfoEx[io]->bufferSize;
        if (frames > m_blockFrames[io] || !*block[io]) {
            // The IO path always works in stereo blocks, whatever count was asked.
            int count = m_channel[io].count.load() > 2 ? m_channel[io].count.load() : 2;
            delete[] * block[io];
            *block[io] = new (std::nothrow) float[static_cast<size_t>(frames) * count]();
            m_blockFrames[io] = *block[io] ? frames : 0;
        }
        if (frames > m_bufferSize.load(std::memory_order_relaxed))
            m_bufferSize.store(frames, std::memory_order_relaxed);
    }
    for (int io = 0; io < 2; ++io)
        if (m_devId[io] && !*block[io]) return false;
    return true;
}

bool AudioDevCore::OnStart(int dir) {
    (void)dir;  // always both directions
    if (m_state != 2 || (!m_devId[0] && !m_devId[1])) return false;
    for (int io = 1; io >= 0; --io) {
        if (!m_devId[io]) continue;
        m_err = _runSide(io, true);
        if (m_err == 0) m_state = 3;
    }
    return m_state == 3;
}

bool AudioDevCore::OnStop(int dir) {
    (void)dir;
    if (m_state != 3 || (!m_devId[0] && !m_devId[1])) return false;
    for (int io = 1; io >= 0; --io) {
        if (!m_devId[io]) continue;
        m_err = _runSide(io, false);
        if (m_err == 0) m_state = 2;
    }
    return m_state == 2;
}

bool AudioDevCore::OnClose(int dir) {
    (void)dir;
    // Only a driver with a recording device closes; with playback alone this does
    // nothing and fails, a quirk kept for the bus's callers (the destructor
    // releases that case).
    if (!m_devId[kAudioRec]) return false;
    if (m_state == 3) {
        for (int io = 1; io >= 0; --io) {
            if (!m_devId[io]) continue;
            m_err = _runSide(io, false);
            if (m_err == 0) m_state = 2;
        }
    }
    if (m_state == 2) {
        for (int io = 1; io >= 0; --io) {
            if (!m_devId[io]) continue;
            _releaseSide(io);
            m_state = 1;
        }
    }
    m_devId[0] = m_devId[1] = 0;
    m_sampRateOpen = 0;
    return m_state == 1;
}

// ---- the IO path -----------------------------------------------------------

void AudioDevCore::HandleInput(const t_ioBufferList* list) {
    int o = m_channel[kAudioRec].offset.load(std::memory_order_relaxed);
    if (!list || !m_buffer_rec || o < 0 || o >= m_mapCount[kAudioRec]) return;
    int lb = m_inBuffer[o];
    if (lb >= list->mNumberBuffers || lb >= t_ioBufferList::kMax) return;
    const t_ioBuffer& left = list->mBuffers[lb];
    if (left.mNumberChannels <= 0 || !left.mData) return;
    int frames = left.mDataByteSize / (left.mNumberChannels * 4);
    if (frames > m_blockFrames[kAudioRec]) frames = m_blockFrames[kAudioRec];
    const t_ioBuffer* right = nullptr;
    if (o + 1 < m_mapCount[kAudioRec]) {
        int rb = m_inBuffer[o + 1];
        if (rb < list->mNumberBuffers && rb < t_ioBufferList::kMax) right = &list->mBuffers[rb];
    }
    // A mono device has no right channel: the left one is used for both.
    int rightPos = right ? m_inChannel[o + 1] : m_inChannel[o];
    if (!right || !right->mData || right->mNumberChannels <= 0) right = &left;
    int rightFrames = right->mDataByteSize / (right->mNumberChannels * 4);
    for (int f = 0; f < frames; ++f) {
        m_buffer_rec[2 * f] = left.mData[f * left.mNumberChannels + m_inChannel[o]];
        m_buffer_rec[2 * f + 1] =
            f < rightFrames ? right->mData[f * right->mNumberChannels + rightPos] : 0.0f;
    }
    OnAudioRecord(m_buffer_rec, frames, 2);
}

int AudioDevCore::HandleOutput(const t_ioBufferList* list) {
    AudioSource* source = GetAudioSource();
    int o = m_channel[kAudioPlay].offset.load(std::memory_order_relaxed);
    if (!source || !list || !m_buffer_play || o < 0 || o >= m_mapCount[kAudioPlay]) return 0;
    int lb = m_outBuffer[o];
    if (lb >= list->mNumberBuffers || lb >= t_ioBufferList::kMax) return 0;
    const t_ioBuffer& left = list->mBuffers[lb];
    if (left.mNumberChannels <= 0 || !left.mData) return 0;
    int frames = left.mDataByteSize / (left.mNumberChannels * 4);
    if (frames > m_blockFrames[kAudioPlay]) frames = m_blockFrames[kAudioPlay];

    int n = source->OnAudioPlay(m_buffer_play, frames, 2);
    if (n < 0) n = 0;
    if (n > frames) n = frames;
    if (n < frames) std::memset(m_buffer_play + 2 * n, 0, sizeof(float) * 2 * (frames - n));

    float* l = left.mData + m_outChannel[o];
    for (int f = 0; f < n; ++f) l[f * left.mNumberChannels] = m_buffer_play[2 * f];
    if (o + 1 >= m_mapCount[kAudioPlay]) return n;  // a mono device gets the left channel
    int rb = m_outBuffer[o + 1];
    if (rb >= list->mNumberBuffers || rb >= t_ioBufferList::kMax) return n;
    const t_ioBuffer& right = list->mBuffers[rb];
    if (right.mNumberChannels <= 0 || !right.mData) return n;
    int rn = right.mDataByteSize / (right.mNumberChannels * 4);
    if (rn > n) rn = n;
    float* r = right.mData + m_outChannel[o + 1];
    for (int f = 0; f < rn; ++f) r[f * right.mNumberChannels] = m_buffer_play[2 * f + 1];
    return n;
}

void* AudioDevCore::IoThreadProc(void* arg) {
    Side* side = static_cast<Side*>(arg);
    side->owner->IoLoop(side->io);
    return nullptr;
}

void AudioDevCore::IoLoop(int io) {
    if (io == kAudioPlay)
        PlaybackLoop(*m_side[io]);
    else
        RecordLoop(*m_side[io]);
}

void AudioDevCore::OnSyncWithIo() {
    // Both sides change the mark by read-modify-write (this one adds nothing), so
    // the two are ordered in the mark's own history: if the IO thread's entry comes
    // first, this reads it inside and waits; if this comes first, the entry reads
    // what this wrote and so sees the new source or target stored before it.
    for (Side* s : m_side) {
        if (!s->hasThread) continue;
        const unsigned mark = s->inCall.fetch_add(0, std::memory_order_acq_rel);
        if (!(mark & 1)) continue;
        // A source call is short (it copies one block); yield until it is over.
        while (s->inCall.load(std::memory_order_acquire) == mark) sched_yield();
    }
}

void AudioDevCore::OnWakeUp() {
    Side& s = *m_side[kAudioPlay];
    if (s.hasThread) Wake(s.wakeFd);
}

namespace {

// Marks the IO thread as inside a source or target call for OnSyncWithIo.
struct InCall {
    std::atomic<unsigned>& mark;
    explicit InCall(std::atomic<unsigned>& m) : mark(m) {
        mark.fetch_add(1, std::memory_order_acq_rel);
    }
    ~InCall() { mark.fetch_add(1, std::memory_order_release); }
};

}  // namespace

AudioDevCore::QueuePolicy::QueuePolicy(double rate) : m_rate(rate) {}

void AudioDevCore::QueuePolicy::Late(double lateMs, double nowMs) {
    if (lateMs < kNoticeMs) return;
    const double wanted = lateMs * 2 < kMostMs ? lateMs * 2 : kMostMs;
    if (wanted > m_watermarkMs) {
        m_watermarkMs = wanted;
        m_lastRaiseMs = nowMs;
    }
}

void AudioDevCore::QueuePolicy::Underrun(double nowMs) {
    m_watermarkMs = m_watermarkMs + kRaiseMs < kMostMs ? m_watermarkMs + kRaiseMs : kMostMs;
    m_lastRaiseMs = nowMs;
}

void AudioDevCore::QueuePolicy::Tick(double nowMs) {
    if (m_watermarkMs <= 0 || nowMs - m_lastRaiseMs < kCalmMs) return;
    m_watermarkMs = m_watermarkMs > kLowerMs ? m_watermarkMs - kLowerMs : 0;
    m_lastRaiseMs = nowMs;  // the next step down after another calm spell
}

long AudioDevCore::QueuePolicy::Low() const {
    return static_cast<long>(m_rate * (kQueueLowMs + m_watermarkMs) / 1000.0);
}

long AudioDevCore::QueuePolicy::High() const {
    return static_cast<long>(m_rate * (kQueueHighMs + m_watermarkMs) / 1000.0);
}

// The playback side (see the class comment for the policy). It never polls the
// PCM: the sound service's descriptors wake only once a period, far too late for
// a queue of a few tens of milliseconds, so the thread keeps time itself and
// sleeps on its eventfd, which the owner's commands and WakeUp signal. The queue
// is estimated from the frames written since the stream started and the time that
// has passed, and corrected from the service's own delay figure every few turns.
void AudioDevCore::PlaybackLoop(Side& s) {
    const double rate = s.rate > 0 ? s.rate : 44100;
    auto frames = [rate](int ms) { return static_cast<long long>(rate * ms / 1000.0); };
    QueuePolicy policy(rate);
    const long long idleHold = frames(kIdleHoldMs);
    int silencePiece = static_cast<int>(frames(kSilenceMs));
    if (silencePiece > s.frames) silencePiece = s.frames;
    if (silencePiece < 1) silencePiece = 1;

    bool running = false;   // the stream has been started and plays
    long long written = 0;  // frames written since it (re)started
    double started = 0;     // when it started; moved by the corrections
    long long silent = 0;   // silence written in a row while the source is dry
    unsigned turns = 0;

    // Ends an underrun (or a suspend): the queued sound is gone, the stream is
    // prepared again and starts with the next write.
    // The stream stops and a fresh one waits, ready to start at once. The PCM is
    // opened again rather than prepared: the sound server's plugin loses the first
    // milliseconds of a stream it prepared twice. Not on the path of any sound: it
    // follows an idle spell or an underrun.
    auto reset = [&]() {
        if (!_reopenPlayback(s)) WaitWake(s.wakeFd, 0.05);  // the server is gone: retry later
        running = false;
        m_streamRunning.store(false, std::memory_order_relaxed);
        written = 0;
        silent = 0;
    };
    // Ends an underrun (or a suspend): the queued sound is gone; the queue grows
    // deeper for what follows.
    auto underrun = [&]() {
        m_underruns.fetch_add(1, std::memory_order_relaxed);
        policy.Underrun(NowSeconds() * 1000.0);
        m_watermarkMs.store(policy.WatermarkMs(), std::memory_order_relaxed);
    };
    auto recover = [&](int err) {
        if (err == -EPIPE || err == -ESTRPIPE) underrun();
        reset();
    };
    // Writes `n` frames of `data` (device layout) and starts a standing stream.
    auto write = [&](const float* data, int n) {
        int done = 0, waits = 0;
        while (done < n && !s.quit.load(std::memory_order_relaxed)) {
            snd_pcm_sframes_t w = snd_pcm_writei(s.pcm, data + done * s.channels, n - done);
            if (w > 0) {
                done += static_cast<int>(w);
                written += w;
            } else if (w == -EAGAIN || w == 0) {
                if (++waits > 200) break;  // the device takes nothing: give up this block
                WaitWake(s.wakeFd, 0.001);
            } else {
                recover(static_cast<int>(w));
            }
        }
        if (!running && written > 0 && snd_pcm_start(s.pcm) == 0) {
            running = true;
            started = NowSeconds();
            m_queuePeak.store(0, std::memory_order_relaxed);
            m_streamStarts.fetch_add(1, std::memory_order_relaxed);
            m_streamRunning.store(true, std::memory_order_relaxed);
        }
    };
    // The queue: frames written less what the clock says has played since the
    // start. The device's clock may run a little apart from ours, so every few turns
    // its own delay figure corrects the estimate: at once when the device holds
    // less than thought (the side that would run dry), by at most kDriftStep when it
    // holds more. A sound server's figure is interpolated and can jump ahead by tens
    // of milliseconds on a busy machine; taken whole, such a jump would starve the
    // stream. The first quarter second after a start has no figure worth reading.
    const long long driftStep = frames(1);
    auto queued = [&]() -> long long {
        if (!running) return 0;
        const double now = NowSeconds();
        long long q = written - static_cast<long long>((now - started) * rate);
        if (++turns % 16 == 0 && now - started > 0.25) {
            snd_pcm_sframes_t delay = 0;
            int err = snd_pcm_delay(s.pcm, &delay);
            if (err == 0) {
                long long target = delay;
                if (target > q + driftStep) target = q + driftStep;
                started += static_cast<double>(target - q) / rate;
                q = target;
            } else if (err == -EPIPE || err == -ESTRPIPE) {
                recover(err);
                return 0;
            }
        }
        return q < 0 ? 0 : q;
    };

    while (!s.quit.load(std::memory_order_acquire)) {
        if (!s.pcm) reset();  // a reopening that failed: try again
        const unsigned cmd = s.cmd.load(std::memory_order_acquire);
        if (!(cmd & 1u)) {
            if (running) {
                // What is queued (the end of a fade-out) plays before the stream
                // stops; bounded by the queue's depth.
                long long q = queued();
                if (q > 0 && q < frames(250)) WaitWake(s.wakeFd, static_cast<double>(q) / rate);
                reset();
            }
            s.ack.store(cmd >> 1, std::memory_order_release);
            WaitWake(s.wakeFd, -1);
            continue;
        }
        s.ack.store(cmd >> 1, std::memory_order_release);

        long long q = queued();
        if (running && q <= 0 && written > 0 && NowSeconds() - started > 0.05) {
            // By our own clock everything written has played: the device ran dry,
            // whether or not the sound service tells. It goes on, and stays sound.
            underrun();
        }
        const long long queueLow = policy.Low();
        if (q < queueLow) {
            // Up to the high mark in one write: each write costs the sound
            // service's client thread a wake-up, so fewer, larger ones are cheaper.
            long long want = policy.High() - q;
            if (want > s.capacity) want = s.capacity;
            int filled = 0;
            while (filled < want) {
                int ask = static_cast<int>(want) - filled;
                if (ask > s.frames) ask = s.frames;
                float* at = s.period + static_cast<size_t>(filled) * s.channels;
                std::memset(at, 0, sizeof(float) * ask * s.channels);
                s.list.mBuffers[0].mData = at;
                s.list.mBuffers[0].mDataByteSize = ask * s.channels * 4;
                int n;
                {
                    InCall inside(s.inCall);
                    n = HandleOutput(&s.list);
                }
                filled += n;
                // A short block may be the sound's end: the next pull, at once,
                // lets the source see that and say so (0 frames).
                if (n == 0) break;
            }
            if (filled > 0) {
                silent = 0;
                write(s.period, filled);
                const long after = static_cast<long>(queued());
                if (after > m_queuePeak.load(std::memory_order_relaxed))
                    m_queuePeak.store(after, std::memory_order_relaxed);
                continue;
            }
            if (!running) {
                // Standing still and nothing to play: sleep until woken, looking at
                // the source now and then in case a wake-up was missed.
                WaitWake(s.wakeFd, m_standStillLookMs.load(std::memory_order_relaxed) / 1000.0);
                continue;
            }
            if (silent >= idleHold) {
                reset();
                continue;
            }
            // Dry while the stream runs: silence keeps the queue from running out,
            // in short pieces, so that sound handed over meanwhile follows soon.
            std::memset(s.period, 0, sizeof(float) * silencePiece * s.channels);
            write(s.period, silencePiece);
            silent += silencePiece;
            continue;
        }
        // Asleep until the queue runs down to the low mark; a late wake-up raises
        // the marks (QueuePolicy).
        const double sleep = static_cast<double>(q - queueLow + 1) / rate;
        const double due = NowSeconds() + sleep;
        WaitWake(s.wakeFd, sleep);
        const double now = NowSeconds();
        if (now > due) policy.Late((now - due) * 1000.0, now * 1000.0);
        policy.Tick(now * 1000.0);
        m_watermarkMs.store(policy.WatermarkMs(), std::memory_order_relaxed);
    }
    if (running) snd_pcm_drop(s.pcm);
    m_streamRunning.store(false, std::memory_order_relaxed);
}

// The recording side: it blocks only in poll(), on the PCM's descriptors and the
// eventfd; everything else is bounded work on preallocated memory.
void AudioDevCore::RecordLoop(Side& s) {
    bool active = false;  // the PCM is moving
    int pending = 0;      // frames of the current period still to read
    int done = 0;         // frames of it already read
    int idleSpins = 0;
    while (!s.quit.load(std::memory_order_acquire)) {
        const unsigned cmd = s.cmd.load(std::memory_order_acquire);
        if (!(cmd & 1u)) {
            if (active) {
                snd_pcm_drop(s.pcm);
                snd_pcm_prepare(s.pcm);
                active = false;
                pending = done = 0;
            }
            s.ack.store(cmd >> 1, std::memory_order_release);
            WaitWake(s.wakeFd, -1);
            continue;
        }
        if (!active) {
            snd_pcm_start(s.pcm);
            active = true;
        }
        s.ack.store(cmd >> 1, std::memory_order_release);

        if (pending == 0) {
            pending = s.frames;
            done = 0;
        }
        snd_pcm_sframes_t r = snd_pcm_readi(s.pcm, s.period + done * s.channels, pending);
        if (r > 0) {
            done += static_cast<int>(r);
            pending -= static_cast<int>(r);
            if (pending == 0) {
                InCall inside(s.inCall);
                HandleInput(&s.list);
            }
            idleSpins = 0;
            continue;
        }
        if (r == -EAGAIN || r == 0) {
            for (int i = 0; i < s.nfds; ++i) s.fds[i].revents = 0;
            // The timeout keeps the thread going when whatever signals the
            // PCM's descriptors (a sound-server plugin's own thread) is held up.
            int ready = poll(s.fds, static_cast<nfds_t>(s.nfds), s.pollMs);
            if (ready > 0 && (s.fds[s.nfds - 1].revents & POLLIN)) {
                uint64_t v;
                ssize_t rr = read(s.wakeFd, &v, sizeof(v));
                (void)rr;
            }
            // A device that wakes the poll without data would spin a real-time
            // thread; after many empty turns it yields a millisecond.
            if (ready != 0 && ++idleSpins > 1000) {
                WaitWake(s.wakeFd, 0.001);
                idleSpins = 0;
            }
            continue;
        }
        // Overrun (or suspend): recover and carry on.
        if (r == -EPIPE || r == -ESTRPIPE) m_underruns.fetch_add(1, std::memory_order_relaxed);
        if (snd_pcm_recover(s.pcm, static_cast<int>(r), 1) < 0) {
            snd_pcm_prepare(s.pcm);
            WaitWake(s.wakeFd, 0.001);
        }
        snd_pcm_start(s.pcm);
    }
    if (active) snd_pcm_drop(s.pcm);
}

// ---- the platform layer ------------------------------------------------------

int AudioDevCore::_listDevices() {
    QuietJack();
    m_pcmCount = 0;
    // "default" is what the desktop routes to its sound server; it is always
    // device 0, the one the main window opens.
    CopyName(m_pcmName[0], sizeof(m_pcmName[0]), "default");
    m_pcmIo[0] = 3;
    m_pcmCount = 1;
    void** hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0) return m_pcmCount;
    for (void** h = hints; *h && m_pcmCount < kMaxPcm; ++h) {
        char* name = snd_device_name_get_hint(*h, "NAME");
        char* ioid = snd_device_name_get_hint(*h, "IOID");
        if (name && std::strcmp(name, "default") != 0 && std::strcmp(name, "null") != 0 &&
            std::strlen(name) < sizeof(m_pcmName[0])) {
            CopyName(m_pcmName[m_pcmCount], sizeof(m_pcmName[0]), name);
            int sides = 3;
            if (ioid && std::strcmp(ioid, "Output") == 0) sides = 1;
            if (ioid && std::strcmp(ioid, "Input") == 0) sides = 2;
            m_pcmIo[m_pcmCount++] = sides;
        }
        free(name);
        free(ioid);
    }
    snd_device_name_free_hint(hints);
    return m_pcmCount;
}

// The buffer as a whole number of periods, the nearest the device allows.
static int SetPeriods(snd_pcm_t* pcm, snd_pcm_hw_params_t* hw, unsigned periods) {
    int dir = 0;
    return snd_pcm_hw_params_set_periods_near(pcm, hw, &periods, &dir);
}

static void ProbeSide(const char* pcmName, snd_pcm_stream_t stream, t_sideProbe* out) {
    snd_pcm_t* pcm = nullptr;
    if (snd_pcm_open(&pcm, pcmName, stream, SND_PCM_NONBLOCK) < 0) return;
    snd_pcm_hw_params_t* hw;
    snd_pcm_hw_params_alloca(&hw);
    if (snd_pcm_hw_params_any(pcm, hw) < 0) {
        snd_pcm_close(pcm);
        return;
    }
    out->present = true;
    CopyName(out->name, sizeof(out->name), pcmName);
    unsigned cmin = 0, cmax = 0;
    snd_pcm_hw_params_get_channels_min(hw, &cmin);
    snd_pcm_hw_params_get_channels_max(hw, &cmax);
    // Stereo where the device takes it, else its nearest count.
    unsigned ch = 2;
    if (cmax < 2) ch = cmax;
    if (cmin > 2) ch = cmin;
    out->channels = static_cast<int>(ch);
    out->canFloat = snd_pcm_hw_params_test_format(pcm, hw, SND_PCM_FORMAT_FLOAT_LE) == 0;
    if (out->canFloat)
        out->bits = 32;
    else if (snd_pcm_hw_params_test_format(pcm, hw, SND_PCM_FORMAT_S32_LE) == 0)
        out->bits = 32;
    else if (snd_pcm_hw_params_test_format(pcm, hw, SND_PCM_FORMAT_S24_3LE) == 0)
        out->bits = 24;
    else if (snd_pcm_hw_params_test_format(pcm, hw, SND_PCM_FORMAT_S16_LE) == 0)
        out->bits = 16;
    for (int r = 0; r < 4; ++r)
        out->rateOk[r] = snd_pcm_hw_params_test_rate(pcm, hw, AudioDevCore::kRates[r], 0) == 0;
    snd_pcm_uframes_t period = 0;
    int dir = 0;
    if (snd_pcm_hw_params_get_period_size_min(hw, &period, &dir) == 0)
        out->periodSize = period > 65536 ? 65536 : static_cast<int>(period);
    snd_pcm_chmap_query_t** maps = snd_pcm_query_chmaps(pcm);
    if (maps) {
        for (snd_pcm_chmap_query_t** m = maps; *m; ++m) {
            if ((*m)->map.channels != ch) continue;
            for (unsigned c = 0; c < ch && c < 64; ++c) {
                const char* n = snd_pcm_chmap_name(static_cast<snd_pcm_chmap_position>(
                    (*m)->map.pos[c] & SND_CHMAP_POSITION_MASK));
                if (n) CopyName(out->chanName[c], sizeof(out->chanName[c]), n);
            }
            break;
        }
        snd_pcm_free_chmaps(maps);
    }
    snd_pcm_close(pcm);
}

void AudioDevCore::_probeDevice(int devId, t_sideProbe* out, t_sideProbe* in) {
    const char* name = PcmName(devId);
    if (!name[0]) return;
    if (m_pcmIo[devId - 1] & 1) ProbeSide(name, SND_PCM_STREAM_PLAYBACK, out);
    if (m_pcmIo[devId - 1] & 2) ProbeSide(name, SND_PCM_STREAM_CAPTURE, in);
}

bool AudioDevCore::CanRate(int devId, long rate, int io) {
    const char* name = PcmName(devId);
    if (!name[0]) return false;
    snd_pcm_t* pcm = nullptr;
    m_err =
        snd_pcm_open(&pcm, name, io == kAudioRec ? SND_PCM_STREAM_CAPTURE : SND_PCM_STREAM_PLAYBACK,
                     SND_PCM_NONBLOCK);
    if (m_err < 0) return false;
    snd_pcm_hw_params_t* hw;
    snd_pcm_hw_params_alloca(&hw);
    bool ok = snd_pcm_hw_params_any(pcm, hw) >= 0 &&
              snd_pcm_hw_params_test_rate(pcm, hw, static_cast<unsigned>(rate), 0) == 0;
    snd_pcm_close(pcm);
    return ok;
}

// Opens PCM `name` in direction `play` with the driver's format and sizes: the
// period and buffer asked for are updated to what the device granted. On failure
// nothing stays open. The PCM is left prepared by its hardware parameters: a second
// prepare must be avoided, since the sound server's plugin then loses the first
// few milliseconds written to the new stream.
static int OpenPcm(const char* name, bool play, long rate, int channels, snd_pcm_uframes_t* period,
                   snd_pcm_uframes_t* buffer, snd_pcm_t** out) {
    snd_pcm_t* pcm = nullptr;
    int err = snd_pcm_open(&pcm, name, play ? SND_PCM_STREAM_PLAYBACK : SND_PCM_STREAM_CAPTURE,
                           SND_PCM_NONBLOCK);
    if (err < 0) return err;
    snd_pcm_hw_params_t* hw;
    snd_pcm_hw_params_alloca(&hw);
    int dir = 0;
    if ((err = snd_pcm_hw_params_any(pcm, hw)) < 0 ||
        (err = snd_pcm_hw_params_set_access(pcm, hw, SND_PCM_ACCESS_RW_INTERLEAVED)) < 0 ||
        (err = snd_pcm_hw_params_set_format(pcm, hw, SND_PCM_FORMAT_FLOAT_LE)) < 0 ||
        (err = snd_pcm_hw_params_set_channels(pcm, hw, static_cast<unsigned>(channels))) < 0 ||
        (err = snd_pcm_hw_params_set_rate(pcm, hw, static_cast<unsigned>(rate), 0)) < 0 ||
        (err = snd_pcm_hw_params_set_period_size_near(pcm, hw, period, &dir)) < 0 ||
        (err = SetPeriods(pcm, hw, static_cast<unsigned>(*buffer / *period))) < 0 ||
        (err = snd_pcm_hw_params(pcm, hw)) < 0) {
        snd_pcm_close(pcm);
        return err;
    }
    snd_pcm_hw_params_get_period_size(hw, period, &dir);
    snd_pcm_hw_params_get_buffer_size(hw, buffer);
    snd_pcm_sw_params_t* sw;
    snd_pcm_sw_params_alloca(&sw);
    snd_pcm_sw_params_current(pcm, sw);
    snd_pcm_sw_params_set_avail_min(pcm, sw, *period);
    // Playback is started by the IO thread itself, the moment it has written the
    // first sound; recording starts at once.
    snd_pcm_uframes_t boundary = *buffer;
    snd_pcm_sw_params_get_boundary(sw, &boundary);
    snd_pcm_sw_params_set_start_threshold(pcm, sw, play ? boundary : 1);
    if ((err = snd_pcm_sw_params(pcm, sw)) < 0) {
        snd_pcm_close(pcm);
        return err;
    }
    *out = pcm;
    return 0;
}

bool AudioDevCore::_reopenPlayback(Side& s) {
    if (s.pcm) snd_pcm_close(s.pcm);
    s.pcm = nullptr;
    snd_pcm_uframes_t period = s.devPeriod, buffer = s.devBuffer;
    return OpenPcm(s.pcmName, true, s.rate, s.channels, &period, &buffer, &s.pcm) == 0;
}

int AudioDevCore::_openSide(int io, int devId, long rate, int channels, int* frames,
                            t_ioBufferList* config) {
    Side& s = *m_side[io];
    const char* name = PcmName(devId);
    if (!name[0] || channels <= 0) return -ENODEV;
    const bool play = io == kAudioPlay;
    // Playback: the IO thread keeps the queue short by its own clock, so the
    // buffer is only a ceiling (kDeviceBuffer). The period matters: a sound server
    // lets its sink take that much of the stream at a time, so it must stay well
    // below the shortest queue the IO thread keeps. Recording reads whole blocks:
    // eight of them ride out a busy machine.
    auto scaled = [rate](int framesAt44100) {
        return static_cast<snd_pcm_uframes_t>(static_cast<long>(framesAt44100) * rate / 44100);
    };
    snd_pcm_uframes_t period =
        play ? scaled(kDevicePeriod) : static_cast<snd_pcm_uframes_t>(*frames);
    snd_pcm_uframes_t buffer = play ? scaled(kDeviceBuffer) : period * 8;
    if (period < 1) period = 1;
    int err;
    {
        RealtimeWhileAlive realtime;  // for the client thread the open may start
        err = OpenPcm(name, play, rate, channels, &period, &buffer, &s.pcm);
    }
    if (err < 0) {
        s.pcm = nullptr;
        return err;
    }
    CopyName(s.pcmName, sizeof(s.pcmName), name);
    s.devPeriod = period;
    s.devBuffer = buffer;
    // The block asked of the source: what the caller asked for (at least the
    // minimum buffer size) on playback, the device's period on recording.
    s.frames = play ? (*frames > 0 ? *frames : kMinBufferSize) : static_cast<int>(period);
    if (play && buffer < static_cast<snd_pcm_uframes_t>(s.frames))
        s.frames = static_cast<int>(buffer);
    s.channels = channels;
    s.rate = static_cast<int>(rate);
    s.pollMs = static_cast<int>(period * 500 / static_cast<snd_pcm_uframes_t>(rate));
    if (s.pollMs < 1) s.pollMs = 1;
    s.capacity = play ? 2 * s.frames : s.frames;
    s.period = new (std::nothrow) float[static_cast<size_t>(s.capacity) * channels]();
    s.wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    int n = snd_pcm_poll_descriptors_count(s.pcm);
    if (!s.period || s.wakeFd < 0 || n <= 0 || n > 16) {
        _releaseSide(io);
        return -ENOMEM;
    }
    snd_pcm_poll_descriptors(s.pcm, s.fds, static_cast<unsigned>(n));
    s.fds[n] = pollfd{s.wakeFd, POLLIN, 0};
    s.nfds = n + 1;
    s.list.mNumberBuffers = 1;
    s.list.mBuffers[0] = t_ioBuffer{channels, s.frames * channels * 4, s.period};
    *config = s.list;
    *frames = s.frames;
    return 0;
}

int AudioDevCore::_startThread(int io) {
    Side& s = *m_side[io];
    if (!s.pcm) return -ENODEV;
    if (s.hasThread) return 0;
    s.quit.store(false, std::memory_order_relaxed);
    s.cmd.store(0, std::memory_order_relaxed);
    s.ack.store(0, std::memory_order_relaxed);
    // Real-time scheduling where the system grants it, else the normal policy.
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setinheritsched(&attr, PTHREAD_EXPLICIT_SCHED);
    pthread_attr_setschedpolicy(&attr, SCHED_FIFO);
    sched_param param{};
    param.sched_priority = sched_get_priority_min(SCHED_FIFO) + 10;
    pthread_attr_setschedparam(&attr, &param);
    int err = pthread_create(&s.thread, &attr, IoThreadProc, &s);
    pthread_attr_destroy(&attr);
    if (err != 0) err = pthread_create(&s.thread, nullptr, IoThreadProc, &s);
    if (err != 0) return -err;
    s.hasThread = true;
    return 0;
}

int AudioDevCore::_runSide(int io, bool run) {
    Side& s = *m_side[io];
    if (!s.hasThread) return -ENODEV;
    unsigned seq = (s.cmd.load(std::memory_order_relaxed) >> 1) + 1;
    s.cmd.store((seq << 1) | (run ? 1u : 0u), std::memory_order_release);
    Wake(s.wakeFd);
    // Stopping waits until the thread has left the device and the source.
    if (!run) WaitAck(s.ack, seq);
    return 0;
}

void AudioDevCore::_releaseSide(int io) {
    Side& s = *m_side[io];
    const bool used = s.hasThread;
    if (s.hasThread) {
        s.quit.store(true, std::memory_order_release);
        Wake(s.wakeFd);
        pthread_join(s.thread, nullptr);
        s.hasThread = false;
    }
    // The count covers both sides since the driver was made.
    if (used && io == kAudioPlay)
        LogPrint("*** AudioDevCore: %lu underruns ***",
                 m_underruns.load(std::memory_order_relaxed));
    if (s.pcm) snd_pcm_close(s.pcm);
    s.pcm = nullptr;
    if (s.wakeFd >= 0) close(s.wakeFd);
    s.wakeFd = -1;
    delete[] s.period;
    s.period = nullptr;
    s.frames = s.capacity = s.channels = s.nfds = 0;
    s.list = t_ioBufferList{};
}
