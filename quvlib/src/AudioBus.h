// The single router between the audio device driver and the rest of the program.
#pragma once

#include <atomic>

#include "AudioConnect.h"
#include "AudioDev.h"
#include "QuvLog.h"
#include "XMessenger.h"

/// One entry of the bus's driver table.
struct t_drv {
    AudioDev* audioDev;  ///< owned by the bus once accepted
    char name[20];       ///< NUL-terminated
};

/// Routes blocks between the current driver, the play source, the record
/// targets and the monitor ring; applies volume and mute; posts timer and peak
/// messages. It is the AudioSource the driver pulls from and the AudioTarget it
/// pushes into.
///
/// Threads: OnAudioPlay and OnAudioRecord run on the driver's IO thread and never
/// allocate, lock, log or block. Every other operation is for the main thread or
/// a worker (one at a time); the words the IO thread reads are atomics, and the
/// order of each setter's steps keeps the IO path safe. Buffers are changed only
/// while the corresponding path is off (the bus stopped or the feature disabled).
class AudioBus : public AudioSource, public AudioTarget, public XMessenger, public QuvLog {
  public:
    static constexpr int kMaxDrivers = 12;
    static constexpr int kMaxTargets = 32;
    static constexpr int kMaxBlocks = 32;
    static constexpr int kMaxMonitor = 32;
    static constexpr int kPeakChannels = 32;

    /// Stopped (muted), volume 1.0, no driver.
    AudioBus();
    /// Deletes the drivers in the table (which ends their IO), then the buffers.
    ~AudioBus() override;

    // ---- driver table (main thread) ----

    /// Initialises `dev`; accepts it (returns 1) only when it reports at least
    /// one recording device, even though it is then used for playback: the
    /// table only takes drivers with an input side. Otherwise, or with the table
    /// full, deletes it and returns 0.
    int AddDriver(AudioDev* dev, const char* name);
    /// Number of drivers.
    int DriverCount() const { return m_drvCount; }
    /// The name of driver `i` ("" out of range).
    const char* DriverName(int i) const;
    /// Index of the first driver named exactly `name`, else -1.
    int DriverIndex(const char* name) const;
    /// Makes driver `i` current and returns it (null out of range).
    AudioDev* SelectDriver(int i);
    /// The current driver, null while the table is empty.
    AudioDev* CurrentDriver() const;

    // ---- routing and control (main thread or a worker) ----

    /// Binds the bus as the current driver's source (on) or unbinds it.
    void EnablePlay(bool on);
    /// Binds the bus as the current driver's target (on) or unbinds it; off also
    /// ends monitoring.
    void EnableRecord(bool on);
    /// The source pulled for playback; a source switches monitoring off. Returns
    /// once the play driver's IO thread has left the previous source, so that the
    /// caller may destroy it.
    void SetPlaySource(AudioSource* source);
    /// A source that overwrites each recorded block before it is distributed.
    void SetRecordSource(AudioSource* source);
    /// Appends a record target (once; a full list refuses quietly).
    void AddAudioTarget(AudioTarget* target);
    /// Removes a record target, keeping the others' order.
    void RemoveAudioTarget(AudioTarget* target);
    /// Empties the target list.
    void RemoveAllAudioTargets();
    /// Unmutes; restarts regrouping at the first block.
    void Start();
    /// The play source has sound again: the play driver starts pulling at once
    /// (AudioDev::WakeUp). Any thread but the IO thread; never blocks.
    void WakeUp();
    /// Mutes (playback gives silence, recording is ignored).
    void Stop();
    /// Stops, detaches everything and stops and closes the current driver.
    void Close();
    /// Playback gain, applied only while below 1.0. Any thread.
    void SetVolume(float v) { m_fVolume.store(v, std::memory_order_relaxed); }
    /// The playback gain. Any thread.
    float GetVolume() const { return m_fVolume.load(std::memory_order_relaxed); }
    /// Posts `msg` to `window` every `seconds` of playback (null window: off).
    void SetTimer(XWINDOW window, long msg, float seconds);
    /// Posts `msg` (wParam = slot just closed, lParam = channels) to `window`
    /// every `seconds` of recording and measures peaks (null window: off).
    void SetPeak(XWINDOW window, long msg, float seconds);
    /// The 32 channel peaks of slot `slot` (0..3; null otherwise).
    float* GetPeak(int slot);
    /// Regroups recorded blocks into buffers of `blocCount` device blocks
    /// (refused beyond 32). Returns whether the buffers exist.
    bool CreateRecBuffers(int blocCount, int frameCount, int channelCount);
    /// Sends recorded blocks straight to the targets again (memory kept).
    void DeleteRecBuffers();
    /// Sizes the monitor ring to `count` slots (refused beyond 32). Returns
    /// whether the ring exists.
    bool SetMonitorBuffer(int count, int frames, int channels);
    /// Plays the monitor ring instead of the source; does nothing without a ring.
    void SetMonitor(bool on);
    /// Whether the bus is muted. Any thread.
    bool IsMuted() const { return m_bMute.load(std::memory_order_relaxed); }
    /// Whether playback comes from the monitor ring. Any thread.
    bool IsMonitoring() const { return m_bMonitor.load(std::memory_order_relaxed); }
    /// Number of record targets.
    int TargetCount() const { return m_auxCount.load(std::memory_order_relaxed); }
    /// Record target `i` (null out of range).
    AudioTarget* Target(int i) const;
    /// The driver used for playback / recording (null: none).
    AudioDev* PlayDriver() const { return m_pAudioPlay.load(std::memory_order_relaxed); }
    AudioDev* RecordDriver() const { return m_pAudioRecord.load(std::memory_order_relaxed); }

    // ---- device callbacks (IO thread) ----

    /// One playback block: silence while muted, else the monitor ring, else the
    /// play source with volume and the timer message. IO thread.
    int OnAudioPlay(float* buffer, int frames, int channels) override;
    /// One recorded block: record source, distribution, monitor, peaks. IO thread.
    void OnAudioRecord(float* buffer, int frames, int channels) override;

  private:
    static int CycleCount(long rate, float seconds, int frames);

    std::atomic<AudioDev*> m_pAudioPlay{nullptr};        // owner writes, IO reads
    std::atomic<AudioDev*> m_pAudioRecord{nullptr};      // owner writes, IO reads
    std::atomic<AudioSource*> m_pPlaySource{nullptr};    // owner writes, IO reads
    std::atomic<AudioSource*> m_pRecordSource{nullptr};  // owner writes, IO reads
    std::atomic<AudioTarget*> m_auxList[kMaxTargets];    // owner writes, IO reads
    std::atomic<int> m_auxCount{0};                      // owner writes, IO reads
    std::atomic<float> m_fVolume{1.0f};                  // owner writes, IO reads
    std::atomic<bool> m_bMute{true};                     // owner writes, IO reads
    t_drv m_drv[kMaxDrivers];
    int m_drvCount;
    int m_drvIndex;
    float m_fPeak[4][kPeakChannels];               // IO thread (SetPeak zeroes them while off)
    std::atomic<int> m_iPeakIndex{0};              // IO thread (reset by SetPeak)
    std::atomic<XWINDOW> m_hPeakWindow{nullptr};   // owner writes, IO reads
    std::atomic<long> m_lPeakMsg{0};               // owner writes, IO reads
    std::atomic<float> m_fPeakDelay{0};            // owner writes, IO reads
    std::atomic<int> m_iPeakCycle{0};              // reset by the owner, counted by IO
    std::atomic<XWINDOW> m_hTimerWindow{nullptr};  // owner writes, IO reads
    std::atomic<float> m_fTimerDelay{0};           // owner writes, IO reads
    std::atomic<int> m_iTimerCycle{0};             // reset by the owner, counted by IO
    std::atomic<long> m_lTimerMsg{0};              // owner writes, IO reads
    std::atomic<int> m_bufferCount{0};             // owner writes (after the layout), IO reads
    int m_blocCount;
    long m_frameCount;
    int m_channel_count;
    float* m_buffer;
    float* m_subBuffer[kMaxBlocks][kMaxBlocks];
    int m_bufferSize;
    std::atomic<int> m_iBuffer{0};  // IO thread (reset by Start)
    std::atomic<int> m_iBloc{0};    // IO thread (reset by Start)
    int m_monitor_count;
    float* m_monitor;
    long m_monitor_size;
    long m_monSlot;  // floats per monitor slot
    float* m_subMonBuffer[kMaxMonitor];
    std::atomic<int> m_iMonRead{0};       // IO thread (reset by SetMonitor)
    std::atomic<int> m_iMonWrite{0};      // IO thread (reset by SetMonitor)
    std::atomic<bool> m_bMonitor{false};  // owner writes, IO reads
};
