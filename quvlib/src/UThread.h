// One POSIX thread per object, running the object's OnRun.
#pragma once

#include <pthread.h>

#include <atomic>

/// A thin wrapper over one POSIX thread: cooperative stop, join, millisecond sleep.
/// Derived classes provide OnRun. Start/Stop/Join/Kill are called by the owner;
/// CheckPoint and Wait by the thread itself (Wait by any thread).
class UThread {
public:
    UThread();
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
    /// Marks the object as not running without stopping the thread (the design
    /// addresses its signal to the handle it has just cleared). Owner's thread.
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

    std::atomic<long> m_userId{0};       // written by Start, read by the thread
    std::atomic<pthread_t> m_threadId;   // written by owner and thread; 0 = none runs
    std::atomic<int> m_stopit;           // written by the owner, read by the thread
};

/// The function handed to pthread_create: runs the UThread's Run().
void* UThreadProc(void* arg);
