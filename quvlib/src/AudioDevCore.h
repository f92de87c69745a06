// The audio device driver over the system's sound service (ALSA on Linux),
// registered in the bus as "CoreAudio".
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "AudioDev.h"
#include "FourCC.h"
#include "QuvLog.h"

/// Direction index of the per-direction arrays: playback.
constexpr int kAudioPlay = 0;
/// Direction index of the per-direction arrays: recording.
constexpr int kAudioRec = 1;

/// Error codes of the driver's error table (four-character codes).
constexpr long kAudioHardwareNoError = 0;
constexpr long kAudioHardwareUnspecifiedError = FourCC("what");
constexpr long kAudioHardwareNotRunningError = FourCC("stop");
constexpr long kAudioHardwareUnknownPropertyError = FourCC("who?");
constexpr long kAudioHardwareBadPropertySizeError = FourCC("!siz");
constexpr long kAudioHardwareBadDeviceError = FourCC("!dev");
constexpr long kAudioHardwareBadStreamError = FourCC("!str");
constexpr long kAudioHardwareIllegalOperationError = FourCC("nope");
constexpr long kAudioDeviceUnsupportedFormatError = FourCC("!dat");
constexpr long kAudioDevicePermissionsError = FourCC("!hog");

/// Channels requested in one direction and the first device channel used.
/// Both words are read by the IO thread while the owner may change them on a
/// reopen of the same devices, so they are atomics.
struct t_channel {
    std::atomic<int> count{0};
    std::atomic<int> offset{0};
};

/// The driver's own part of a device record (kept in DEVINFO::extra).
struct DEVINFOEX {
    int devId;       ///< the driver's device id: PCM name table index + 1 (0 = none)
    int bufferSize;  ///< frames per IO cycle to ask for, at least 1024
};
static_assert(sizeof(DEVINFOEX) <= sizeof(DEVINFO::extra), "DEVINFOEX fits in DEVINFO::extra");

/// One buffer of a device's IO cycle: interleaved 32-bit float frames.
struct t_ioBuffer {
    int mNumberChannels;  ///< channels interleaved in this buffer
    int mDataByteSize;    ///< bytes of sample data
    float* mData;
};

/// The buffers of one IO cycle, in the device's stream order.
struct t_ioBufferList {
    static constexpr int kMax = 8;
    int mNumberBuffers;
    t_ioBuffer mBuffers[kMax];
};

/// The stream format of one device side, derived from what the sound service
/// reports (the trace logs every field).
struct t_formatDesc {
    uint32_t mFormatID;     ///< 'lpcm', or 0 when the side has no stream
    uint32_t mFormatFlags;  ///< kFormatFlagIsFloat when float samples are accepted
    uint32_t mBytesPerPacket;
    uint32_t mFramesPerPacket;
    uint32_t mBytesPerFrame;
    uint32_t mChannelsPerFrame;
    uint32_t mBitsPerChannel;
};

/// What the sound service reported about one side (output or input) of one
/// device during enumeration. The driver turns it into a device record.
struct t_sideProbe {
    bool present;           ///< the side opened
    char name[64];          ///< the side's name
    int channels;           ///< channel count it will be opened with
    bool canFloat;          ///< accepts 32-bit float samples
    int bits;               ///< bits per sample of its best format
    bool rateOk[4];         ///< accepts 44100, 48000, 88200, 96000
    int periodSize;         ///< the side's period (buffer frame size), frames
    char chanName[64][16];  ///< channel names from the channel map ("" = none)
};

/// Driver over the system's sound service. The main thread initialises, opens,
/// starts, stops and closes it; each open device side gets its own IO thread,
/// which pulls playback blocks from the AudioSource and pushes recorded blocks
/// to the AudioTarget without allocating, locking or logging.
///
/// Enumeration comes in two steps, so that opening the device the desktop routes
/// to never waits for the others: OnInit probes "default" (device 0) alone, and
/// ListMoreDevices adds every other PCM the sound service names. Probing is
/// quiet on the terminal, whatever the plugins behind the names print.
///
/// Playback queue. The IO thread keeps only a little sound queued ahead of the
/// listener, so that a new sound, a fade or a stop is heard within tens of
/// milliseconds: whenever less than kQueueLowMs remain queued it tops the queue
/// up to kQueueHighMs in one write, pulling blocks of at most OnGetBufferSize
/// frames, by its own clock (the sound service's poll
/// descriptors only wake once per period, which is far coarser), and checks the
/// service's delay figure now and then. While the source is dry (it returns
/// fewer frames than asked) the queue is topped up with pieces of kSilenceMs of
/// silence, so that sound handed over meanwhile is heard soon after;
/// after kIdleHoldMs of silence the stream is stopped altogether, and the next
/// WakeUp (or the owner's Start) starts it again on demand. A stream is never
/// left to run dry: an underrun (reported by the device, or seen by the IO thread
/// itself when its estimate of the queue falls below nothing) is recovered and
/// counted (the count is logged when the side closes), and both an underrun and
/// a late wake-up deepen the queue for a while (QueuePolicy), since a busy
/// machine wakes a thread late more than once.
///
/// Release of the system resources: a playback-only driver stays open after
/// OnClose (it returns false and does nothing, a kept quirk). So that no PCM or
/// IO thread outlives its use, reopening releases the previous sides first and
/// the destructor always stops every IO thread and closes every PCM.
class AudioDevCore : public AudioDev, public QuvLog {
  public:
    static constexpr int kRates[4] = {44100, 48000, 88200, 96000};
    static constexpr int kMinBufferSize = 1024;  ///< frames per cycle at least
    static constexpr int kMaxPcm = 64;           ///< bound of the PCM name table
    static constexpr uint32_t kFormatLinearPCM = FourCC("lpcm");
    static constexpr uint32_t kFormatFlagIsFloat = 1;
    static constexpr uint32_t kFormatFlagIsSignedInteger = 4;
    static constexpr uint32_t kFormatFlagIsPacked = 8;
    /// Playback queue policy (see the class comment), in milliseconds of sound.
    static constexpr int kQueueLowMs = 18;    ///< the queue is topped up below this
    static constexpr int kQueueHighMs = 38;   ///< ... to this
    static constexpr int kSilenceMs = 10;     ///< silence pieces while the source is dry
    static constexpr int kIdleHoldMs = 1000;  ///< silence before the stream stops

    /// How deep the playback queue is kept: the low and high marks, raised by a
    /// watermark when the machine proves slower than they allow. A wake-up of the
    /// IO thread that comes late by L raises the watermark to twice L at once (a
    /// busy machine that was late by a few milliseconds will soon be late by
    /// more); an underrun raises it by kRaiseMs. After kCalmMs without a raise it
    /// comes down by kLowerMs, so that a machine that has calmed down gets its
    /// short queue back. Platform-free arithmetic; the playback IO thread owns it.
    class QueuePolicy {
      public:
        static constexpr double kRaiseMs = 10;    ///< raise after an underrun
        static constexpr double kMostMs = 60;     ///< the watermark's ceiling
        static constexpr double kNoticeMs = 1;    ///< lateness below this is noise
        static constexpr double kCalmMs = 10000;  ///< quiet time before it comes down
        static constexpr double kLowerMs = 2;     ///< ... by this much each time

        /// The marks at `rate` frames per second, no watermark.
        explicit QueuePolicy(double rate);
        /// A wake-up came `lateMs` after it was due; `nowMs` is the time.
        void Late(double lateMs, double nowMs);
        /// The device ran dry at `nowMs`.
        void Underrun(double nowMs);
        /// Lets the watermark come down when it has been calm; `nowMs` the time.
        void Tick(double nowMs);
        /// The marks in frames: top up below Low, to High.
        long Low() const;
        long High() const;
        /// The watermark in milliseconds.
        double WatermarkMs() const { return m_watermarkMs; }

      private:
        double m_rate;
        double m_watermarkMs = 0;
        double m_lastRaiseMs = 0;
    };

    /// The device's period and buffer, in frames at 44100 Hz (scaled with the
    /// rate): the buffer is only a ceiling, the IO thread keeps far less queued.
    static constexpr int kDevicePeriod = 441;
    static constexpr int kDeviceBuffer = 4410;

    /// State 0, no devices, no blocks. Main thread.
    AudioDevCore();
    /// Stops every IO thread, closes every PCM, frees the blocks. Main thread.
    ~AudioDevCore() override;

    /// Whether device side `io` (0 out, 1 in) of device id `devId` accepts
    /// `rate`. Main thread.
    bool CanRate(int devId, long rate, int io = 1);
    /// The text of an error code of the table, "unknown error" otherwise. Any thread.
    static const char* _error(long code);

    /// Copies one recorded cycle (stereo pair at the recording offset, through
    /// the input channel map) into the local block and hands it to the target.
    /// IO thread.
    void HandleInput(const t_ioBufferList* list);
    /// Pulls one block from the source into the local playback block, zeroes
    /// behind a short count and copies the returned frames into the stereo pair
    /// at the playback offset, through the output channel map. Returns the
    /// frames the source produced (0 without a source). IO thread.
    int HandleOutput(const t_ioBufferList* list);

    /// Adds the devices other than "default": every PCM name the sound service
    /// lists ("null" left out), each side probed quietly and logged as OnInit
    /// logs "default". Returns the number of devices listed in all (default
    /// included), or -1 when listing fails. Owner's thread, after Init; the IO
    /// threads may run meanwhile. `cancel`, when given and set, ends the walk
    /// early (between two devices).
    int ListMoreDevices(const std::atomic<bool>* cancel = nullptr);

    /// 0 new, 1 initialised or closed, 2 open, 3 running. Main thread.
    int State() const { return m_state; }
    /// Underruns (and overruns) recovered on the IO threads. Any thread.
    unsigned long UnderrunCount() const { return m_underruns.load(std::memory_order_relaxed); }
    /// Times the playback stream was started (on demand, after standing still or
    /// after an underrun). Any thread.
    unsigned long StreamStarts() const { return m_streamStarts.load(std::memory_order_relaxed); }
    /// The queue's current watermark in milliseconds (QueuePolicy). Any thread.
    double QueueWatermarkMs() const { return m_watermarkMs.load(std::memory_order_relaxed); }
    /// Whether the playback stream is moving (false while it stands still for
    /// want of sound). Any thread.
    bool StreamRunning() const { return m_streamRunning.load(std::memory_order_relaxed); }
    /// The most playback frames queued ahead of the listener right after a write
    /// since the stream last started (the IO thread's estimate). Any thread.
    long QueuePeak() const { return m_queuePeak.load(std::memory_order_relaxed); }
    /// Result of the last platform call. Main thread.
    long LastError() const { return m_err; }
    /// The sound service's name of the PCM behind device id `devId` ("" if none).
    const char* PcmName(int devId) const;
    /// The record extra of device `i` of direction `dir` (null when out of range).
    DEVINFOEX* DevInfoEx(int i, int dir);

    /// Derives the logged stream format of a probed side. Any thread.
    static t_formatDesc FormatFromProbe(const t_sideProbe& side);

  protected:
    int OnInit() override;
    void OnExit() override {}
    bool OnOpen(DEVOPEN* rec, DEVOPEN* play, long sampleRate, int bitDepth) override;
    bool OnClose(int dir) override;
    bool OnStart(int dir) override;
    bool OnStop(int dir) override;
    int OnGetBufferSize() override { return m_bufferSize.load(std::memory_order_relaxed); }
    void OnSyncWithIo() override;
    void OnWakeUp() override;

    bool _allocBuffers();
    /// Builds the channel map of direction `io` from the side's buffer layout.
    void _buildChannelMap(const t_ioBufferList& config, int io);
    /// Turns one probed side into a device record (logging the trace). Returns
    /// whether a device was added.
    bool _addSide(const t_sideProbe& side, int device, int io);
    /// Probes device id `devId` and adds its sides, with the trace.
    void _probeAndAdd(int devId, t_sideProbe* probe);

    // The platform layer: the few calls into the sound service. Test doubles
    // override them to drive the driver's logic without a device.

    /// Lists the PCM names ("default" first, "null" left out) into the name
    /// table and returns how many; negative on failure. Only "default" is
    /// needed to open the device the desktop routes to; the others are listed
    /// by ListMoreDevices.
    virtual int _listDevices();
    /// Probes both sides of device id `devId`.
    virtual void _probeDevice(int devId, t_sideProbe* out, t_sideProbe* in);
    /// Opens side `io` of device id `devId` at `rate` with `channels` channels asking for
    /// `*frames` frames per period; stores the granted period in `*frames` and
    /// the side's buffer layout in `*config`. Returns 0 or a negative error.
    virtual int _openSide(int io, int devId, long rate, int channels, int* frames,
                          t_ioBufferList* config);
    /// Creates the IO thread of an opened side (idle until started).
    virtual int _startThread(int io);
    /// Starts or stops the IO of an opened side; the stop waits for the thread
    /// to leave the device.
    virtual int _runSide(int io, bool run);
    /// Ends the IO thread and closes the PCM of side `io`, if open.
    virtual void _releaseSide(int io);

    char m_pcmName[kMaxPcm][128];
    int m_pcmIo[kMaxPcm];  // sides the name offers: bit 0 output, bit 1 input
    int m_pcmCount;
    int m_blockFrames[2];  // capacity of each local block, frames

    long m_err;
    int m_devId[2];  // open device id per direction; 0 = none
    int m_state;
    int m_sampRateOpen;
    std::atomic<int> m_bufferSize{0};  // written on open, read by the bus on IO
    float* m_buffer_rec;
    float* m_buffer_play;
    int m_inBuffer[96];
    int m_inChannel[96];
    int m_outBuffer[96];
    int m_outChannel[96];
    int m_mapCount[2];
    t_channel m_channel[2];
    DEVINFOEX* m_pDevInfoEx[2];
    std::atomic<unsigned long> m_underruns{0};     // written by the IO threads
    std::atomic<unsigned long> m_streamStarts{0};  // written by the playback IO thread
    std::atomic<bool> m_streamRunning{false};      // written by the playback IO thread
    std::atomic<long> m_queuePeak{0};              // written by the playback IO thread
    std::atomic<double> m_watermarkMs{0};          // written by the playback IO thread
    // How often a stream that stands still looks at its source anyway, in case a
    // wake-up was missed, in milliseconds. Set before Start; read by the IO thread.
    // Every sound a player starts comes with a wake-up, so this is only a safety
    // net: each look costs an idle window a wake-up of this thread (a quarter of a
    // millisecond of CPU on a virtual machine where system calls are dear).
    std::atomic<int> m_standStillLookMs{5000};

  private:
    struct Side;
    Side* m_side[2];
    static void* IoThreadProc(void* arg);
    void IoLoop(int io);
    void PlaybackLoop(Side& s);
    /// Closes and opens the playback PCM again, ready to start. Playback IO thread.
    bool _reopenPlayback(Side& s);
    void RecordLoop(Side& s);
};
