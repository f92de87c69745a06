// Plays one opened sound at a time through the audio bus.
#pragma once

#include <semaphore.h>

#include <atomic>

#include "AudioConnect.h"
#include "QuvLog.h"
#include "UThread.h"

class MainDlg;
class snd_;

/// Streams one sound (a snd_ reader) to the audio bus as stereo 32-bit float
/// frames at 44100 per second. A worker thread ('fill') keeps a one-second ring
/// of ready output filled from the reader, converting any other file rate to
/// 44100 and mono to stereo; the audio IO thread drains the ring through
/// OnAudioPlay. The player also applies the playback limit (with a fade-out that
/// starts 6000 frames before it), pause, a fade-out on Stop, and reports progress
/// to the main window.
///
/// Threads: the main window's worker calls Play, IsReady, Stop, SetMax and Pause;
/// the 'fill' worker runs OnRun; the audio IO thread calls OnAudioPlay. No lock is
/// taken: the words they share are atomics, and each is written in an order that
/// keeps the IO path safe (see the fields).
///
/// A reader that fails while being read (the decoder glue throws) does not end the
/// program: Play and the 'fill' worker write one log line,
///   "*** Player: the sound ends early, reading failed: <what> ***"
/// and the sound ends as if the reader had run dry.
class Player : public AudioSource, public UThread, public QuvLog {
  public:
    /// Output rate, ring size in frames and unit of the playback limit.
    static constexpr int kRate = 44100;
    /// Largest fill of the ring at a time, in frames.
    static constexpr int kBlock = 4096;
    /// The worker fills only while at most this many frames wait in the ring.
    static constexpr int kFillBelow = kRate - kBlock;  // 40004
    /// The fade-out starts this many frames before the playback limit.
    static constexpr int kLimitMargin = 6000;
    /// The value of m_play_max that means "no limit".
    static constexpr int kNoLimit = 2147483647;
    /// Milliseconds the worker sleeps between passes.
    static constexpr int kFillSleepMs = 40;
    /// Floats in the input block: 4096 samples plus one carried stereo frame.
    static constexpr int kInFloats = 4098;
    /// Longest fade-out of FadeOutQuickly, in milliseconds of output.
    static constexpr int kQuickFadeMs = 30;

    /// No sound, no window, no buffers, not paused, no limit. Any thread.
    Player();
    /// Stops and joins the 'fill' worker, then frees both buffers. The bus must no
    /// longer call OnAudioPlay. Owner's thread.
    ~Player() override;

    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    /// Remembers the window that receives progress (may be null: no progress is
    /// reported), allocates the input block and the one-second ring and starts the
    /// 'fill' worker. Everything the player ever allocates is allocated here; a
    /// second call changes nothing. Owner's thread, once, before Play.
    void Init(MainDlg* w);
    /// Sets the playback limit: none for 0, else `seconds` x 44100 output frames
    /// (clamped to the largest int). Main window's worker or GUI thread.
    void SetMax(int seconds);
    /// Starts playing `s`: resets, pre-fills the whole ring from the reader (on the
    /// calling thread), then hands the sound to the worker and the IO thread. Must
    /// only be called when IsReady() is true; `s` must stay alive until the sound
    /// has ended. Main window's worker thread.
    void Play(snd_* s);
    /// Starts the fade-out (and ends streaming) unless a fade is already running;
    /// a second Stop during a fade does nothing. Any thread, including the IO thread
    /// (the playback limit calls it there): it only stores atomics.
    void Stop();
    /// Fades the sound out within kQuickFadeMs of output (starting the fade, or
    /// steepening one that runs), for a program that is closing: the sound ends
    /// without a click but at once. Any thread; only stores atomics.
    void FadeOutQuickly();
    /// While `p` is true the IO thread gets nothing; positions and fade stay. Any
    /// thread.
    void Pause(bool p);
    /// True when no sound is loaded or the last one has ended (m_pos_read is 0).
    /// Any thread.
    bool IsReady();
    /// Sleeps until the sound has ended or `ms` milliseconds have passed,
    /// whichever comes first, and returns IsReady(). The IO thread wakes the
    /// sleeper the moment it ends a sound (one semaphore post, which never
    /// blocks), so the next sound can follow at once. Main window's worker.
    bool WaitReady(int ms);
    /// Ends a WaitReady at once (the window is closing). Any thread.
    void WakeWaiter();

    /// Copies the next ready frames out of the ring (always stereo; `channels` is
    /// not consulted), applies the fade-out and reports progress. Returns the frames
    /// written; the caller silences the rest. Ends the sound when nothing waits (an
    /// underrun of the worker ends it too, deliberately) or when the fade is done.
    /// Audio IO thread only: never allocates, locks, logs or blocks.
    int OnAudioPlay(float* out, int frames, int channels) override;

    /// Produces up to `frames` stereo output frames at 44100 from `s` into `out`
    /// (direct copy at 44100 Hz, else rate conversion); returns the frames produced,
    /// fewer when the reader ran dry or failed. Play's thread or the 'fill' worker,
    /// never both at once.
    int FillBuffer(snd_* s, float* out, int frames);

    /// Observers for tests and diagnostics. Any thread.
    int PosRead() const { return m_pos_read.load(std::memory_order_acquire); }
    int PosPlay() const { return m_pos_play.load(std::memory_order_acquire); }
    bool IsStreaming() const { return m_bStreaming.load(std::memory_order_acquire); }
    float FadeGain() const { return m_fade_out.load(std::memory_order_relaxed); }
    float FadeStep() const { return m_fade_step.load(std::memory_order_relaxed); }
    int PlayMax() const { return m_play_max.load(std::memory_order_relaxed); }
    bool IsPaused() const { return m_bPause.load(std::memory_order_relaxed); }
    /// Source frames per output frame and length in output frames of the sound
    /// last given to Play. Main window's worker (the thread that called Play).
    double Increment() const { return m_dInc; }
    float PlaySize() const { return m_play_size; }
    bool IsDirectPlay() const { return m_bDirectPlay; }

  protected:
    /// The 'fill' worker: tops up the ring every 40 ms while a sound streams, and
    /// sleeps until the next one streams otherwise, until the player is destroyed.
    void OnRun() override;

  private:
    /// Asks the reader for `frames` frames into `dst`; a reader failure is logged
    /// once and read as "no more frames". Off the IO thread only.
    int ReadSource(snd_* s, float* dst, int frames);
    /// One pass of the worker over the ring (the body of OnRun's loop, without
    /// the sleep). Returns whether the pass ended streaming on a short fill.
    bool FillPass();
    /// Ends the sound: both positions back to 0 (IsReady turns true). IO thread.
    void EndSound();

    MainDlg* m_pWindow;  // set by Init; not owned
    // Written by Play (null first, the sound last, release); read by the worker.
    std::atomic<snd_*> m_pSound;
    // Written by Play, the worker (short fill) and Stop; read by the worker and the
    // IO thread.
    std::atomic<bool> m_bStreaming;
    std::atomic<bool> m_bPause;   // written by the owner, read by the IO thread
    std::atomic<int> m_play_max;  // written by SetMax, read by the IO thread

    // Input stage: touched by Play before it publishes the sound, then by the
    // worker only (the handshake on m_bFilling keeps the two apart).
    struct {
        float* buffer;  // kInFloats floats, owned
        int base;       // absolute source frame at buffer[0] (rate conversion)
        int index;      // next frame of buffer to copy (direct play)
        int count;      // frames in buffer
    } m_in;

    float* m_out_buffer;  // ring of 44100 stereo frames, owned
    // Frames written into the ring since the sound began. Advanced (release) by
    // Play and the worker, reset to 0 by the IO thread at the end of a sound.
    std::atomic<int> m_pos_read;
    // Frames handed to the device. Advanced (release) by the IO thread, which also
    // resets it; Play resets it while the player is idle; read by the worker.
    std::atomic<int> m_pos_play;
    // Written by Play before it publishes m_pos_read; read by the IO thread.
    float m_play_size;
    // Gain of the fade-out, 1.0 when not fading. Stop starts it (compare-exchange
    // from exactly 1.0), the IO thread advances it, Play resets it.
    std::atomic<float> m_fade_out;
    // Factor applied to the gain every 8 frames of a fade: 0.998, or a steeper one
    // from FadeOutQuickly. Written by Play and FadeOutQuickly, read by the IO thread.
    std::atomic<float> m_fade_step;
    // Rate conversion state: written by Play before publishing, then by the worker.
    double m_dPos;
    double m_dInc;
    bool m_bDirectPlay;

    // True while the worker is inside a pass. Play clears m_pSound and then waits
    // for this to drop, so Play never touches m_in while the worker does.
    std::atomic<bool> m_bFilling;
    std::atomic<bool> m_bQuit;  // written by the destructor, read by the worker
    // Posted by the IO thread when it ends a sound; WaitReady waits on it.
    sem_t m_ended;
    // Posted by Play when a sound streams (and by the destructor); the worker
    // sleeps on it while nothing streams.
    sem_t m_streams;
};
