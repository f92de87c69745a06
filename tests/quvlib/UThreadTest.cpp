#include <gtest/gtest.h>

#include <time.h>

#include <atomic>
#include <vector>

#include "FourCC.h"
#include "UThread.h"

namespace {

// Spins (politely) until `done` holds. No time limit: ctest's own timeout ends a
// test that hangs, so nothing here depends on how fast the machine is.
template <class F>
void WaitUntil(F done) {
    while (!done()) UThread::Wait(1);
}

// A worker whose body the test drives through atomics.
class TestThread : public UThread {
  public:
    std::atomic<int> starts{0};            // OnThreadStart calls
    std::atomic<int> runs{0};              // OnRun entries
    std::atomic<bool> release{false};      // lets OnRun return
    std::atomic<bool> releaseRun[4] = {};  // lets only the n-th run's OnRun return
    std::atomic<bool> afterCheckPoint{false};
    std::atomic<bool> useCheckPoint{false};
    std::atomic<bool> sawStop{false};  // OnRun saw the object's IsRunning false
    std::atomic<bool> left{false};     // OnRun is about to return

  protected:
    void OnThreadStart() override { starts.fetch_add(1); }
    void OnRun() override {
        const int me = runs.fetch_add(1);
        while (!release.load() && !(me < 4 && releaseRun[me].load())) {
            if (useCheckPoint.load()) {
                CheckPoint();
            }
            Wait(1);
        }
        if (useCheckPoint.load()) {
            CheckPoint();
            afterCheckPoint.store(true);
        }
        left.store(true);
    }
};

// A fresh object that is never destroyed, for tests that let a thread go: nothing
// tells when a detached thread has left the object. It stays reachable, so it is
// not reported as a leak, and every repetition of a test gets its own.
TestThread& KeptThread() {
    static auto* const kept = new std::vector<TestThread*>;  // never destroyed either
    kept->push_back(new TestThread);
    return *kept->back();
}

long long NowNs() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec * 1000000000LL + t.tv_nsec;
}

}  // namespace

TEST(UThread, StartRunsOnRunOnItsOwnThreadAndReturnsOne) {
    TestThread t;
    EXPECT_FALSE(t.IsRunning());
    EXPECT_EQ(t.Start(FourCC("play"), 0), 1);
    EXPECT_TRUE(t.IsRunning());
    EXPECT_EQ(t.starts.load(), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.release = true;
    t.Join();
    EXPECT_FALSE(t.IsRunning());
}

TEST(UThread, StartOnARunningObjectReturnsZeroAndDoesNotCallOnThreadStart) {
    TestThread t;
    ASSERT_EQ(t.Start(FourCC("play"), 0), 1);
    EXPECT_EQ(t.Start(FourCC("fill"), 0), 0);
    EXPECT_EQ(t.starts.load(), 1);
    EXPECT_EQ(t.GetThreadId(), static_cast<long>(FourCC("play")));  // nothing changed
    t.release = true;
    t.Join();
    EXPECT_EQ(t.runs.load(), 1);
}

TEST(UThread, IsRunningIsFalseAfterOnRunReturns) {
    TestThread t;
    ASSERT_EQ(t.Start(1, 0), 1);
    t.release = true;
    WaitUntil([&] { return !t.IsRunning(); });
    EXPECT_TRUE(t.left.load());
    // Join on the idle object returns at once.
    t.Join();
    EXPECT_FALSE(t.IsRunning());
}

TEST(UThread, IsRunningIsFalseAfterCheckPointEndsTheThread) {
    TestThread t;
    t.useCheckPoint = true;
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.Stop();
    WaitUntil([&] { return !t.IsRunning(); });
    t.Join();
    EXPECT_FALSE(t.left.load());  // the rest of OnRun never ran
    EXPECT_FALSE(t.afterCheckPoint.load());
}

TEST(UThread, CheckPointWithoutAStopRequestReturns) {
    TestThread t;
    t.useCheckPoint = true;
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.release = true;
    t.Join();
    EXPECT_TRUE(t.afterCheckPoint.load());
    EXPECT_FALSE(t.IsRunning());
}

TEST(UThread, AStopRequestedBeforeStartIsForgotten) {
    TestThread t;
    t.useCheckPoint = true;
    t.Stop();
    t.Stop();
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.release = true;  // CheckPoint would have ended it already had the stop survived
    t.Join();
    EXPECT_TRUE(t.afterCheckPoint.load());
    EXPECT_TRUE(t.left.load());
}

TEST(UThread, AStopRequestSurvivesUntilTheNextStart) {
    TestThread t;
    ASSERT_EQ(t.Start(1, 0), 1);
    t.Stop();  // OnRun does not look at it this time
    t.release = true;
    t.Join();
    // The request is still pending: a CheckPoint of the next run would see it, were
    // Start not clearing it. Starting again and checking shows it was cleared.
    t.release = false;
    t.useCheckPoint = true;
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 2; });
    EXPECT_TRUE(t.IsRunning());
    t.release = true;
    t.Join();
    EXPECT_TRUE(t.afterCheckPoint.load());
}

TEST(UThread, KillOnARunningObjectMakesIsRunningFalseWithoutStoppingTheThread) {
    TestThread t;
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.Kill();
    EXPECT_FALSE(t.IsRunning());
    // The thread still runs: it has not left OnRun, and it reaches a point it can only
    // reach alive.
    EXPECT_FALSE(t.left.load());
    t.release = true;  // stopped cooperatively, so that the test ends clean
    WaitUntil([&] { return t.left.load(); });
    EXPECT_FALSE(t.IsRunning());
    t.Join();  // idle object: returns at once
}

TEST(UThread, KillOnAnIdleObjectDoesNothing) {
    TestThread t;
    t.Kill();
    EXPECT_FALSE(t.IsRunning());
    EXPECT_EQ(t.Start(1, 0), 1);
    t.release = true;
    t.Join();
}

TEST(UThread, StartAfterKillStartsASecondThread) {
    // The killed thread is let go by the second Start and nothing tells when it has
    // left, so the object outlives the test (it stays reachable: not a leak).
    TestThread& t = KeptThread();
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.Kill();
    EXPECT_EQ(t.Start(2, 0), 1);
    WaitUntil([&] { return t.runs.load() == 2; });
    EXPECT_TRUE(t.IsRunning());
    EXPECT_EQ(t.GetThreadId(), 2);
    // The second thread is the one the object names: Join waits for it.
    t.releaseRun[1] = true;
    t.Join();
    t.releaseRun[0] = true;  // the first one, detached, ends on its own
}

TEST(UThread, GetThreadIdReturnsTheIdentifierGivenToStart) {
    TestThread t;
    ASSERT_EQ(t.Start(FourCC("play"), 0), 1);
    EXPECT_EQ(t.GetThreadId(), 0x706C6179L);
    t.release = true;
    t.Join();
    EXPECT_EQ(t.GetThreadId(), 0x706C6179L);
    t.release = false;
    ASSERT_EQ(t.Start(FourCC("fill"), 0), 1);
    EXPECT_EQ(t.GetThreadId(), 0x66696C6CL);
    t.release = true;
    t.Join();
}

TEST(UThread, WaitZeroReturnsAtOnce) {
    // The bound is one no scheduler delay reaches on any machine: it fails only when a
    // zero (or negative) wait sleeps, e.g. were it taken as a relative or endless sleep.
    const long long before = NowNs();
    for (int i = 0; i < 10; ++i) {
        UThread::Wait(0);
        UThread::Wait(-5);
    }
    EXPECT_LT(NowNs() - before, 2000LL * 1000000LL);
}

TEST(UThread, WaitFortySleepsAtLeastFortyMilliseconds) {
    // Only the lower bound is checked: the deadline is absolute, so Wait never returns
    // early; how late it returns depends on the machine.
    const long long before = NowNs();
    UThread::Wait(40);
    EXPECT_GE(NowNs() - before, 40LL * 1000000LL);
}

TEST(UThread, WaitAboveOneSecondCarriesIntoTheSeconds) {
    const long long before = NowNs();
    UThread::Wait(1005);
    EXPECT_GE(NowNs() - before, 1005LL * 1000000LL);
}

TEST(UThread, AThreadThatEndsByItselfIsCollectedByTheNextStartAndTheDestructor) {
    // Never joined: the next Start and the destructor collect each thread (the
    // LeakSanitizer build would report any one left behind).
    TestThread t;
    t.release = true;
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(t.Start(i, 0), 1);
        WaitUntil([&] { return !t.IsRunning(); });
    }
    EXPECT_EQ(t.runs.load(), 50);
}

TEST(UThread, DestroyingAnObjectWhoseThreadEndedWithoutJoinIsClean) {
    auto* t = new TestThread;
    t->release = true;
    ASSERT_EQ(t->Start(1, 0), 1);
    WaitUntil([&] { return !t->IsRunning(); });
    delete t;
}

TEST(UThread, ANonZeroPriorityStartsAndEndsCleanly) {
    // With a priority a thread is also asked for under explicit scheduling first; that
    // one may or may not be made (it needs the right) and is let go at once, so the
    // object outlives the test. The default-attribute thread is always made and named.
    TestThread& t = KeptThread();
    EXPECT_EQ(t.Start(5, 5), 1);
    EXPECT_TRUE(t.IsRunning());
    WaitUntil([&] { return t.runs.load() >= 1; });
    t.release = true;
    t.Join();
    EXPECT_FALSE(t.IsRunning());
    EXPECT_GE(t.runs.load(), 1);
    EXPECT_LE(t.runs.load(), 2);
}

TEST(UThread, SuspendAndResumeDoNothing) {
    TestThread t;
    ASSERT_EQ(t.Start(1, 0), 1);
    t.Suspend();
    EXPECT_TRUE(t.IsRunning());
    t.Resume();
    EXPECT_TRUE(t.IsRunning());
    t.release = true;
    t.Join();
}

TEST(UThread, FinishMeMarksTheObjectIdle) {
    TestThread t;
    ASSERT_EQ(t.Start(1, 0), 1);
    WaitUntil([&] { return t.runs.load() == 1; });
    t.FinishMe(true);
    EXPECT_FALSE(t.IsRunning());
    t.release = true;
    WaitUntil([&] { return t.left.load(); });
}
