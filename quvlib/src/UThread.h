// One POSIX thread per object, running the object's OnRun.
#pragma once

#include <pthread.h>

#include <atomic>

/// A thin wrapper over one POSIX thread: cooperative stop, join, millisecond sleep.
/// Derived classes provide OnRun. Start/Stop/Join/Kill are called by the owner;
/// CheckPoint and Wait by the thread itself (Wait by any thread).
///
/// Thread resources: a thread that ends by itself is never left unjoined. The next
/// Start collects it (pthread_join once it has ended; a killed thread that still runs
/// is detached, so Start never waits). The destructor joins the last thread unless it
/// is still marked running (a worker never stopped before process exit, which is
/// detached): a killed or finishing thread still uses the object, so it is waited for.
class UThread {
  public:
    UThread();
    /// Collects the last thread (see above). Owner's thread.
    virtual ~UThread();

    /// Starts a thread running Run() with the caller's identifier. Returns 1 when a
    /// thread runs afterwards, 0 when one was already running (nothing changes, and
    /// OnThreadStart is not called) or creation failed. Owner's thread.
    int Start(long userId, int priority);
    /// The thread's body: OnRun(), then FinishMe(false), then marks the object idle.
    void Run();
    /// Requests a stop (increments the stop counter); does not wait. Any thread.
    void Stop();
    /// Called by the thread itself: with a stop pending, marks the object idle and
    /// ends the calling thread at once (pthread_exit).
    void CheckPoint();
    /// Joins the running thread, if any. Owner's thread.
    void Join();
    /// Whether a thread is running. Any thread.
    bool IsRunning() const;
    /// Marks the object as not running without stopping the thread: the handle is
    /// cleared before the signal would be sent, so no thread is signalled, and the
    /// thread runs on. Owner's thread.
    void Kill();
    /// Sleeps the calling thread until `ms` milliseconds after now (an absolute
    /// CLOCK_MONOTONIC deadline). Any thread.
    static void Wait(int ms);
    /// Does nothing.
    void Suspend() {}
    /// Does nothing.
    void Resume() {}
    /// Marks the object idle; the argument is ignored.
    void FinishMe(bool);
    /// The identifier given to Start (not the system handle). Any thread.
    long GetThreadId() const;

  protected:
    /// The thread body, provided by the derived class.
    virtual void OnRun() = 0;
    /// Called on the starting thread before the thread exists.
    virtual void OnThreadStart() {}
    /// Never called by UThread itself.
    virtual void OnThreadFinish() {}

  private:
    friend void* UThreadProc(void* arg);
    /// Joins or detaches the last created thread, if not yet done. Owner's thread.
    void Reap(bool destroying);

    std::atomic<long> m_userId{0};      // written by Start, read by the thread
    std::atomic<pthread_t> m_threadId;  // written by owner and thread; 0 = none runs
    std::atomic<int> m_stopit;          // written by the owner, read by the thread

    // Bookkeeping that keeps threads from leaking; not part of the observable state.
    pthread_t m_handle{};           // last created thread; owner's thread only
    bool m_unreaped = false;        // m_handle is neither joined nor detached; owner only
    bool m_killed = false;          // Kill cleared m_threadId; owner only
    std::atomic<int> m_live{0};     // threads inside UThreadProc; owner adds, thread removes
    std::atomic<bool> m_go{false};  // set by Start once m_threadId and m_stopit are final
};

/// The function handed to pthread_create: runs the UThread's Run().
void* UThreadProc(void* arg);
