#include "UThread.h"

#include <sched.h>
#include <signal.h>
#include <time.h>

#include <cerrno>

UThread::UThread() : m_threadId(0), m_stopit(0) {}

UThread::~UThread() {
    Reap(true);
}

void UThread::Reap(bool destroying) {
    if (!m_unreaped) return;
    m_unreaped = false;
    bool join;
    if (destroying) {
        // A thread the owner never stopped (a worker still looping at process exit) is
        // let go: waiting for it would hang the exit. Any other one, including a killed
        // thread, still uses this object until it leaves, so it is waited for.
        join = m_threadId.load(std::memory_order_acquire) == 0;
    } else {
        // Start never waits on a running thread: one that was killed is let go and runs
        // on beside the new one, as it always has. One that has left, or is leaving
        // after clearing the handle, is collected.
        join = m_live.load(std::memory_order_acquire) == 0 || !m_killed;
    }
    if (join)
        pthread_join(m_handle, nullptr);
    else
        pthread_detach(m_handle);
}

int UThread::Start(long userId, int priority) {
    if (m_threadId.load(std::memory_order_acquire) != 0) return 0;
    Reap(false);
    m_killed = false;
    m_userId.store(userId, std::memory_order_relaxed);
    OnThreadStart();

    // The new thread waits for m_go, so that it sees its own handle in m_threadId and
    // the cleared m_stopit even when it would otherwise finish before Start does.
    m_go.store(false, std::memory_order_relaxed);
    bool made = false;
    pthread_t handle{};
    if (priority != 0) {
        pthread_attr_t attr;
        pthread_attr_init(&attr);
        pthread_attr_setinheritsched(&attr, PTHREAD_EXPLICIT_SCHED);
        sched_param param{};
        param.sched_priority = priority;
        pthread_attr_setschedparam(&attr, &param);
        m_live.fetch_add(1, std::memory_order_relaxed);
        if (pthread_create(&handle, &attr, UThreadProc, this) == 0)
            made = true;
        else
            m_live.fetch_sub(1, std::memory_order_relaxed);
        pthread_attr_destroy(&attr);
    }
    // Deliberately in every case, as it has always been: with a non-zero priority a
    // second thread is started on the same object and the handle names the second.
    // The first one's handle is then lost, so it is detached rather than leaked.
    pthread_t second{};
    m_live.fetch_add(1, std::memory_order_relaxed);
    if (pthread_create(&second, nullptr, UThreadProc, this) == 0) {
        if (made) pthread_detach(handle);
        handle = second;
        made = true;
    } else {
        m_live.fetch_sub(1, std::memory_order_relaxed);
    }
    if (made) {
        m_handle = handle;
        m_unreaped = true;
        m_threadId.store(handle, std::memory_order_release);
    }
    // Cleared only after creation: a stop requested before Start is forgotten.
    m_stopit.store(0, std::memory_order_relaxed);
    m_go.store(true, std::memory_order_release);
    return m_threadId.load(std::memory_order_acquire) != 0 ? 1 : 0;
}

void* UThreadProc(void* arg) {
    UThread* thread = static_cast<UThread*>(arg);
    while (!thread->m_go.load(std::memory_order_acquire)) sched_yield();
    // Leaving is the last access to the object, also when CheckPoint ends the thread
    // with pthread_exit (its forced unwinding runs this destructor).
    struct Leave {
        UThread* t;
        ~Leave() { t->m_live.fetch_sub(1, std::memory_order_release); }
    } leave{thread};
    thread->Run();
    return nullptr;
}

void UThread::Run() {
    OnRun();
    FinishMe(false);
    m_threadId.store(0, std::memory_order_release);
}

void UThread::Stop() {
    m_stopit.fetch_add(1, std::memory_order_relaxed);
}

void UThread::CheckPoint() {
    if (m_threadId.load(std::memory_order_acquire) != 0 &&
        m_stopit.load(std::memory_order_relaxed) != 0) {
        m_threadId.store(0, std::memory_order_release);
        pthread_exit(nullptr);
    }
}

void UThread::Join() {
    const pthread_t id = m_threadId.load(std::memory_order_acquire);
    if (id == 0) return;
    if (m_unreaped && pthread_equal(id, m_handle)) m_unreaped = false;
    pthread_join(id, nullptr);
}

bool UThread::IsRunning() const {
    return m_threadId.load(std::memory_order_acquire) != 0;
}

void UThread::Kill() {
    if (m_threadId.load(std::memory_order_acquire) != 0) {
        m_threadId.store(0, std::memory_order_release);
        m_killed = true;
        // The signal has always been addressed to the handle just cleared, so Kill
        // only ever marked the object as not running. Signalling handle 0 would crash
        // in glibc, so no signal is sent: the thread runs on.
        const pthread_t cleared = m_threadId.load(std::memory_order_relaxed);
        if (cleared != 0) pthread_kill(cleared, SIGHUP);
    }
}

void UThread::Wait(int ms) {
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    if (ms <= 0) return;  // the deadline is now or past
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

void UThread::FinishMe(bool) {
    m_threadId.store(0, std::memory_order_release);
}

long UThread::GetThreadId() const {
    return m_userId.load(std::memory_order_relaxed);
}
