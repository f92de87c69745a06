#include "AudioDevCore.h"

#include <alsa/asoundlib.h>
#include <poll.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

constexpr int AudioDevCore::kRates[4];

// One open device side: its PCM, its IO thread and the thread's wake-up.
//
// The owner commands the thread through one word: the command sequence number
// shifted left once, with the low bit saying "run". The thread acknowledges the
// sequence number it has acted on, so Stop and Close can wait until the thread
// has left the device (and the source) before they return.
struct AudioDevCore::Side {
    AudioDevCore* owner = nullptr;
    int io = 0;
    snd_pcm_t* pcm = nullptr;
    int wakeFd = -1;
    pthread_t thread{};
    bool hasThread = false;
    int frames = 0;    // period size granted, frames
    int channels = 0;  // device channels interleaved in the period
    float* period = nullptr;
    t_ioBufferList list{};
    pollfd fds[17];
    int nfds = 0;                   // PCM descriptors, then the eventfd
    std::atomic<unsigned> cmd{0};   // written by the owner, read by the thread
    std::atomic<unsigned> ack{0};   // written by the thread, read by the owner
    std::atomic<bool> quit{false};  // written by the owner, read by the thread
};

namespace {

// Waits (on the owner's thread) until the IO thread has acted on command `seq`.
// Bounded so that a wedged sound service cannot hang the program.
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

// Probing plugins that have nothing behind them (no card, no server) makes the
// sound library print complaints; enumeration is quiet about sides it skips.
void QuietAlsa(const char*, int, const char*, int, const char*, ...) {}

void CopyName(char* dst, size_t size, const char* src) {
    size_t n = strnlen(src, size - 1);
    std::memcpy(dst, src, n);
    dst[n] = 0;
}

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
    // The design leaves a playback-only driver open after Close; here nothing
    // may outlive the driver, so both sides are released whatever the state.
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

int AudioDevCore::OnInit() {
    LogPrint(">> AudioCore::OnInit()");
    int count = _listDevices();
    if (count < 0) return 1;
    LogPrint("Device count : %d", count);
    if (count <= 0) return 2;
    // The probes are big (channel names); one pair lives for the whole walk.
    t_sideProbe* probe = new t_sideProbe[2];
    snd_lib_error_set_handler(QuietAlsa);
    for (int d = 0; d < count; ++d) {
        LogPrint("  Device(%d)", d);
        LogPrint("    AudioDeviceID: %d", d + 1);
        std::memset(probe, 0, 2 * sizeof(t_sideProbe));
        _probeDevice(d + 1, &probe[0], &probe[1]);
        for (int io = 0; io < 2; ++io) _addSide(probe[io], d, io);
    }
    snd_lib_error_set_handler(nullptr);
    delete[] probe;
    m_state = 1;
    LogPrint(">> AudioInit done");
    return 0;
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
    // Only a driver with a recording device closes; with playback alone this
    // does nothing and fails, as designed (the destructor releases that case).
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

void AudioDevCore::HandleOutput(const t_ioBufferList* list) {
    AudioSource* source = GetAudioSource();
    int o = m_channel[kAudioPlay].offset.load(std::memory_order_relaxed);
    if (!source || !list || !m_buffer_play || o < 0 || o >= m_mapCount[kAudioPlay]) return;
    int lb = m_outBuffer[o];
    if (lb >= list->mNumberBuffers || lb >= t_ioBufferList::kMax) return;
    const t_ioBuffer& left = list->mBuffers[lb];
    if (left.mNumberChannels <= 0 || !left.mData) return;
    int frames = left.mDataByteSize / (left.mNumberChannels * 4);
    if (frames > m_blockFrames[kAudioPlay]) frames = m_blockFrames[kAudioPlay];

    int n = source->OnAudioPlay(m_buffer_play, frames, 2);
    if (n < 0) n = 0;
    if (n > frames) n = frames;
    if (n < frames) std::memset(m_buffer_play + 2 * n, 0, sizeof(float) * 2 * (frames - n));

    float* l = left.mData + m_outChannel[o];
    for (int f = 0; f < n; ++f) l[f * left.mNumberChannels] = m_buffer_play[2 * f];
    if (o + 1 >= m_mapCount[kAudioPlay]) return;  // a mono device gets the left channel
    int rb = m_outBuffer[o + 1];
    if (rb >= list->mNumberBuffers || rb >= t_ioBufferList::kMax) return;
    const t_ioBuffer& right = list->mBuffers[rb];
    if (right.mNumberChannels <= 0 || !right.mData) return;
    int rn = right.mDataByteSize / (right.mNumberChannels * 4);
    if (rn > n) rn = n;
    float* r = right.mData + m_outChannel[o + 1];
    for (int f = 0; f < rn; ++f) r[f * right.mNumberChannels] = m_buffer_play[2 * f + 1];
}

void* AudioDevCore::IoThreadProc(void* arg) {
    Side* side = static_cast<Side*>(arg);
    side->owner->IoLoop(side->io);
    return nullptr;
}

// One loop per open side. It blocks only in poll(), on the PCM's descriptors
// and the eventfd; everything else is bounded work on preallocated memory.
void AudioDevCore::IoLoop(int io) {
    Side& s = *m_side[io];
    bool active = false;  // the PCM is moving
    int pending = 0;      // frames of the current period still to transfer
    int done = 0;         // frames of it already transferred
    int idleSpins = 0;
    pollfd wake{s.wakeFd, POLLIN, 0};
    while (!s.quit.load(std::memory_order_acquire)) {
        unsigned cmd = s.cmd.load(std::memory_order_acquire);
        bool run = cmd & 1u;
        if (!run) {
            if (active) {
                snd_pcm_drop(s.pcm);
                snd_pcm_prepare(s.pcm);
                active = false;
                pending = done = 0;
            }
            s.ack.store(cmd >> 1, std::memory_order_release);
            wake.revents = 0;
            if (poll(&wake, 1, -1) > 0 && (wake.revents & POLLIN)) {
                uint64_t v;
                ssize_t r = read(s.wakeFd, &v, sizeof(v));
                (void)r;
            }
            continue;
        }
        if (!active) {
            if (io == kAudioRec) snd_pcm_start(s.pcm);
            active = true;
        }
        s.ack.store(cmd >> 1, std::memory_order_release);

        snd_pcm_sframes_t r;
        if (io == kAudioPlay) {
            if (pending == 0) {
                std::memset(s.period, 0, sizeof(float) * s.frames * s.channels);
                HandleOutput(&s.list);
                pending = s.frames;
                done = 0;
            }
            r = snd_pcm_writei(s.pcm, s.period + done * s.channels, pending);
        } else {
            if (pending == 0) {
                pending = s.frames;
                done = 0;
            }
            r = snd_pcm_readi(s.pcm, s.period + done * s.channels, pending);
        }
        if (r > 0) {
            done += static_cast<int>(r);
            pending -= static_cast<int>(r);
            if (pending == 0 && io == kAudioRec) HandleInput(&s.list);
            idleSpins = 0;
            continue;
        }
        if (r == -EAGAIN || r == 0) {
            for (int i = 0; i < s.nfds; ++i) s.fds[i].revents = 0;
            int ready = poll(s.fds, static_cast<nfds_t>(s.nfds), -1);
            if (ready > 0 && (s.fds[s.nfds - 1].revents & POLLIN)) {
                uint64_t v;
                ssize_t rr = read(s.wakeFd, &v, sizeof(v));
                (void)rr;
            }
            // A device that wakes the poll without room to write would spin a
            // real-time thread; after many empty turns it yields a millisecond.
            if (++idleSpins > 1000) {
                timespec ts{0, 1000000};
                clock_nanosleep(CLOCK_MONOTONIC, 0, &ts, nullptr);
                idleSpins = 0;
            }
            continue;
        }
        // Underrun (or overrun, or suspend): recover and carry on.
        if (r == -EPIPE || r == -ESTRPIPE) m_underruns.fetch_add(1, std::memory_order_relaxed);
        if (snd_pcm_recover(s.pcm, static_cast<int>(r), 1) < 0) {
            snd_pcm_prepare(s.pcm);
            timespec ts{0, 1000000};
            clock_nanosleep(CLOCK_MONOTONIC, 0, &ts, nullptr);
        }
        if (io == kAudioRec) snd_pcm_start(s.pcm);
    }
    if (active) snd_pcm_drop(s.pcm);
}

// ---- the platform layer ------------------------------------------------------

int AudioDevCore::_listDevices() {
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

int AudioDevCore::_openSide(int io, int devId, long rate, int channels, int* frames,
                            t_ioBufferList* config) {
    Side& s = *m_side[io];
    const char* name = PcmName(devId);
    if (!name[0] || channels <= 0) return -ENODEV;
    int err = snd_pcm_open(&s.pcm, name,
                           io == kAudioRec ? SND_PCM_STREAM_CAPTURE : SND_PCM_STREAM_PLAYBACK,
                           SND_PCM_NONBLOCK);
    if (err < 0) {
        s.pcm = nullptr;
        return err;
    }
    snd_pcm_hw_params_t* hw;
    snd_pcm_hw_params_alloca(&hw);
    snd_pcm_uframes_t period = static_cast<snd_pcm_uframes_t>(*frames);
    snd_pcm_uframes_t buffer = period * 4;
    int dir = 0;
    if ((err = snd_pcm_hw_params_any(s.pcm, hw)) < 0 ||
        (err = snd_pcm_hw_params_set_access(s.pcm, hw, SND_PCM_ACCESS_RW_INTERLEAVED)) < 0 ||
        (err = snd_pcm_hw_params_set_format(s.pcm, hw, SND_PCM_FORMAT_FLOAT_LE)) < 0 ||
        (err = snd_pcm_hw_params_set_channels(s.pcm, hw, static_cast<unsigned>(channels))) < 0 ||
        (err = snd_pcm_hw_params_set_rate(s.pcm, hw, static_cast<unsigned>(rate), 0)) < 0 ||
        (err = snd_pcm_hw_params_set_period_size_near(s.pcm, hw, &period, &dir)) < 0 ||
        (err = snd_pcm_hw_params_set_buffer_size_near(s.pcm, hw, &buffer)) < 0 ||
        (err = snd_pcm_hw_params(s.pcm, hw)) < 0) {
        _releaseSide(io);
        return err;
    }
    snd_pcm_hw_params_get_period_size(hw, &period, &dir);
    snd_pcm_hw_params_get_buffer_size(hw, &buffer);
    snd_pcm_sw_params_t* sw;
    snd_pcm_sw_params_alloca(&sw);
    snd_pcm_sw_params_current(s.pcm, sw);
    snd_pcm_sw_params_set_avail_min(s.pcm, sw, period);
    // Playback starts once the buffer is full, so the first periods cannot underrun.
    snd_pcm_sw_params_set_start_threshold(s.pcm, sw, io == kAudioPlay ? buffer : 1);
    if ((err = snd_pcm_sw_params(s.pcm, sw)) < 0 || (err = snd_pcm_prepare(s.pcm)) < 0) {
        _releaseSide(io);
        return err;
    }
    s.frames = static_cast<int>(period);
    s.channels = channels;
    s.period = new (std::nothrow) float[static_cast<size_t>(period) * channels]();
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
    if (s.hasThread) {
        s.quit.store(true, std::memory_order_release);
        Wake(s.wakeFd);
        pthread_join(s.thread, nullptr);
        s.hasThread = false;
    }
    if (s.pcm) snd_pcm_close(s.pcm);
    s.pcm = nullptr;
    if (s.wakeFd >= 0) close(s.wakeFd);
    s.wakeFd = -1;
    delete[] s.period;
    s.period = nullptr;
    s.frames = s.channels = s.nfds = 0;
    s.list = t_ioBufferList{};
}
