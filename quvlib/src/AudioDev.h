// The base of every audio device driver: device lists per direction, defaults,
// the open request and the last error text. Platform-free; a driver derives from
// it and supplies the On... hooks.
#pragma once

#include <atomic>

#include "AudioConnect.h"

/// One device side as a driver found it. Owned by the driver's device list.
struct DEVINFO {
    int devId;                           ///< the platform's id for the device
    char name[64];                       ///< NUL-terminated device name
    int channelCount;                    ///< at most 64
    char* channelName[64];               ///< owned copies; null where the device gives no name
    int channelIndex[64];                ///< per channel, free for the driver
    int bitDepth;                        ///< bits per sample of the device's format
    int rate[32];                        ///< supported sample rates
    int rateCount;                       ///< entries used in `rate`
    alignas(8) unsigned char extra[40];  ///< reserved for the driver's own record
};

/// An open request for one direction.
struct DEVOPEN {
    int iDev;     ///< device index within the direction; negative = the default
    int channel;  ///< number of channels to use
    int offset;   ///< first device channel used
};

/// What is open in one direction.
struct t_current {
    int device;
    int sampRate;
    int bitDepth;
    int recChannel;
    int recOffset;
    int playChannel;
    int playOffset;
    int running;
};

/// Base of the audio device drivers. Direction codes: 0 playback, 1 recording,
/// 2 both (only Close, Start and Stop pass 2 on); other codes yield "nothing".
///
/// Threads: every operation is for the owner's (main) thread, except
/// OnAudioRecord, GetSampleRate and GetBufferSize, which the driver's IO thread
/// and the bus's block callbacks use.
class AudioDev {
  public:
    static constexpr int kMaxDevices = 64;   ///< bound of each device list
    static constexpr int kMaxChannels = 64;  ///< bound of a device's channels
    static constexpr int kErrSize = 400;     ///< capacity of the error text

    /// Empty lists, defaults -1, no source or target.
    AudioDev();
    /// Frees every device record and its channel names.
    virtual ~AudioDev();

    /// Empties the error; true at once when devices are already known, else
    /// whether OnInit() returns 0. Main thread.
    bool Init();
    /// Calls OnExit(). Main thread.
    void Exit();

    /// Appends a copy of `info` (channel names copied too; the caller keeps its
    /// own) to the list of `dir` (1 recording, 0 playback), with channelCount
    /// clamped to 0..64. Returns false, adding nothing, for another direction or
    /// a full list. Main thread (the driver's OnInit).
    bool AddDevice(const DEVINFO* info, int dir);
    /// The record of device `i`; null when out of range. Main thread.
    DEVINFO* GetDevice(int i, int dir);
    /// Number of devices in the direction (0 for other codes). Any thread.
    int DeviceCount(int dir) const;
    /// The device's name; "" when out of range. Main thread.
    const char* DeviceName(int i, int dir);
    /// Index of the first device named exactly `name`, else -1. Main thread.
    int DeviceIndex(const char* name, int dir);
    /// Sets the default device of a direction. Main thread.
    void SetDefault(int i, int dir);
    /// The default device of a direction, -1 for none or other codes. Main thread.
    int GetDefault(int dir) const;
    /// The device's channel count; 0 when out of range. Main thread.
    int DeviceChannelCount(int i, int dir);
    /// The device's bit depth; 0 when out of range. Main thread.
    int DeviceBitDepth(int i, int dir);
    /// The stored name of channel `ch`, or "in:N" / "out:N" (N = ch + 1) made in
    /// this object's name buffer (valid until the next call). Main thread.
    const char* DeviceChannelName(int i, int dir, int ch);
    /// Zeroes `max` entries of `out`, then copies the device's rates within
    /// lo..hi (inclusive), in list order, up to `max`. Returns how many. Main thread.
    int DeviceRates(int i, int dir, int* out, int max, int lo, int hi);
    /// Index in the other direction's list of the device whose name shares the
    /// longest prefix with device `i`'s (first on a tie); -1 when none shares
    /// even the first character. Main thread.
    int MatchingDev(int i, int dir);

    /// Stores the source the playback side pulls from (null: none) and returns
    /// once the IO thread has left any call into the previous one, so that the
    /// caller may destroy it. Main thread; never the IO thread.
    void SetAudioSource(AudioSource* source);
    /// Stores the target the recording side feeds (null: none) and, like
    /// SetAudioSource, returns once the IO thread has left the previous one.
    /// Main thread; never the IO thread.
    void SetAudioTarget(AudioTarget* target);
    /// Returns once the IO threads have left every source or target call they
    /// were making when it was called (OnSyncWithIo). Any thread but an IO thread.
    void SyncWithIo() { OnSyncWithIo(); }
    /// Tells the driver that its source has sound again (a new sound was handed
    /// to the player, or a pause was lifted): a driver that lets its device stand
    /// still while the source is silent starts pulling at once (OnWakeUp). Any
    /// thread but an IO thread; never blocks.
    void WakeUp() { OnWakeUp(); }
    /// The current source. Any thread.
    AudioSource* GetAudioSource() const { return m_pAudioSource.load(std::memory_order_acquire); }
    /// The current target. Any thread.
    AudioTarget* GetAudioTarget() const { return m_pAudioTarget.load(std::memory_order_acquire); }
    /// Forwards a recorded block to the target, if one is set. IO thread.
    void OnAudioRecord(float* buffer, int frames, int channels);

    /// Checks and records the requests, then opens through OnOpen. Fails with
    /// "Error: Nothing to open", "Error: Recording device out of range",
    /// "Error: Playback device out of range" or the driver's text. Identical
    /// requests and rate succeed without calling the driver. Main thread.
    bool Open(DEVOPEN* rec, DEVOPEN* play, long sampleRate, int bitDepth);
    /// Empties the error, unbinds source and target, then OnClose(dir); on
    /// success forgets both requests and returns true. Main thread.
    bool Close(int dir);
    /// Empties the error, then OnStart(dir). Main thread.
    bool Start(int dir);
    /// Empties the error, then OnStop(dir). Main thread.
    bool Stop(int dir);

    /// Number of blocks in `seconds`: trunc(rate * seconds) / buffer size, 0
    /// when the buffer size is 0. Any thread.
    int TimeToBuffer(float seconds);
    /// OnControlPanel(false). Main thread.
    bool HasControlPanel() { return OnControlPanel(false); }
    /// OnControlPanel(true). Main thread.
    bool ShowControlPanel() { return OnControlPanel(true); }
    /// OnSetBufferSize(frames). Main thread.
    bool SetBufferSize(long frames) { return OnSetBufferSize(frames); }
    /// OnGetBufferSize(): frames per block. Any thread.
    int GetBufferSize() { return OnGetBufferSize(); }
    /// Sample rate of the last open. Any thread (the IO path reads it).
    long GetSampleRate() const { return m_sampRate.load(std::memory_order_relaxed); }
    /// The last error text. Main thread.
    const char* GetErrorMsg() const { return m_errMsg; }
    /// Copies `msg` into the error text, cut to its capacity. Main thread.
    void SetErrorMsg(const char* msg);
    /// Sleeps the caller `ms` milliseconds. Any thread but the IO thread.
    void Pause(int ms);

    /// What is open per direction (0 playback, 1 recording). Main thread.
    const t_current& Current(int dir) const { return m_current[dir == 1 ? 1 : 0]; }

  protected:
    /// Fills the device lists through AddDevice; 0 = success.
    virtual int OnInit() { return 0; }
    virtual void OnExit() {}
    /// Opens the devices; the requests are already checked.
    virtual bool OnOpen(DEVOPEN* rec, DEVOPEN* play, long sampleRate, int bitDepth) {
        (void)rec, (void)play, (void)sampleRate, (void)bitDepth;
        return false;
    }
    virtual bool OnClose(int dir) { return (void)dir, false; }
    virtual bool OnStart(int dir) { return (void)dir, false; }
    virtual bool OnStop(int dir) { return (void)dir, false; }
    virtual bool OnControlPanel(bool show) { return (void)show, false; }
    virtual bool OnSetBufferSize(long frames) { return (void)frames, false; }
    /// Frames per block; called from any thread.
    virtual int OnGetBufferSize() { return 0; }
    /// Waits until no IO thread is inside a source or target call begun before
    /// this call. Drivers without IO threads have nothing to wait for.
    virtual void OnSyncWithIo() {}
    /// The source has sound again; see WakeUp.
    virtual void OnWakeUp() {}

    std::atomic<AudioSource*> m_pAudioSource{nullptr};  // written by the owner, read by IO
    std::atomic<AudioTarget*> m_pAudioTarget{nullptr};  // written by the owner, read by IO
    char m_errMsg[kErrSize];
    char m_channelName[20];
    DEVINFO* m_devRec[kMaxDevices];
    int m_devRecCount;
    DEVINFO* m_devPlay[kMaxDevices];
    int m_devPlayCount;
    int m_devPlayDefault;
    int m_devRecDefault;
    DEVOPEN m_devOpenRec;
    DEVOPEN m_devOpenPlay;
    std::atomic<long> m_sampRate{0};  // written by Open, read by the bus on the IO thread
    t_current m_current[2];
    unsigned long m_numFrames;

  private:
    DEVINFO** List(int dir, int** count);
};
