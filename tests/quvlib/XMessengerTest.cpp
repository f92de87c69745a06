#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

#include "XMessenger.h"

// Allocation counting for the test that Post never allocates: every global operator
// new of this executable goes through here, and counts only while the calling thread
// has switched counting on.
namespace {
thread_local bool t_counting = false;
std::atomic<long> g_allocations{0};

void* CountedAlloc(std::size_t size) {
    if (t_counting) g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (size == 0) size = 1;
    return std::malloc(size);
}

// Out of line, so that the compiler does not pair an inlined operator new with free.
__attribute__((noinline)) void CountedFree(void* p) noexcept {
    std::free(p);
}
}  // namespace

void* operator new(std::size_t size) {
    if (void* p = CountedAlloc(size)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    if (void* p = CountedAlloc(size)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return CountedAlloc(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return CountedAlloc(size);
}
void operator delete(void* p) noexcept {
    CountedFree(p);
}
void operator delete[](void* p) noexcept {
    CountedFree(p);
}
void operator delete(void* p, std::size_t) noexcept {
    CountedFree(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    CountedFree(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    CountedFree(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    CountedFree(p);
}

namespace {

// Counts allocations made on this thread while it lives.
class AllocationScope {
  public:
    AllocationScope() : m_start(g_allocations.load()) { t_counting = true; }
    ~AllocationScope() { t_counting = false; }
    long Count() const { return g_allocations.load() - m_start; }

  private:
    long m_start;
};

// A receiver that records what the drain delivers, into preallocated room.
struct Received {
    std::vector<XWindowMsg> msgs;
    int wakeups = 0;
    Received() { msgs.reserve(1 << 16); }
};

void Receive(void* context, unsigned long msg, long wParam, long lParam) {
    static_cast<Received*>(context)->msgs.push_back(XWindowMsg{msg, wParam, lParam});
}

void CountWakeup(void* context) {
    ++static_cast<Received*>(context)->wakeups;
}

}  // namespace

TEST(XMessenger, MessagesFromOneThreadAreDrainedInPostingOrder) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(nullptr, Receive, &got);
    XMessenger messenger;
    for (long i = 0; i < 100; ++i) messenger.PostWindowMsg(&queue, 2007, i, -i);
    EXPECT_EQ(queue.Drain(), 100);
    ASSERT_EQ(got.msgs.size(), 100u);
    for (long i = 0; i < 100; ++i) {
        EXPECT_EQ(got.msgs[i].msg, 2007u);
        EXPECT_EQ(got.msgs[i].wParam, i);
        EXPECT_EQ(got.msgs[i].lParam, -i);
    }
    EXPECT_EQ(queue.Drain(), 0);
}

TEST(XMessenger, MessagesFromSeveralThreadsKeepEachThreadsPostingOrder) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(nullptr, Receive, &got);
    constexpr int kThreads = 3, kEach = 300;  // all fit: nothing is dropped
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t)
        posters.emplace_back([&queue, t] {
            XMessenger m;
            for (long i = 0; i < kEach; ++i) m.PostWindowMsg(&queue, 100 + t, i, t);
        });
    for (auto& p : posters) p.join();
    EXPECT_EQ(queue.Drain(), kThreads * kEach);
    long next[kThreads] = {};
    for (const XWindowMsg& m : got.msgs) {
        ASSERT_EQ(m.msg, static_cast<unsigned long>(100 + m.lParam));
        EXPECT_EQ(m.wParam, next[m.lParam]++);
    }
    for (long n : next) EXPECT_EQ(n, kEach);
    EXPECT_EQ(queue.Dropped(), 0u);
}

TEST(XMessenger, AFullQueueDropsTheMessageAndCountsIt) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(nullptr, Receive, &got);
    for (unsigned i = 0; i < XMsgQueue::kCapacity; ++i) ASSERT_TRUE(queue.Post(1, i, 0));
    EXPECT_FALSE(queue.Post(1, -1, 0));
    EXPECT_FALSE(queue.Post(1, -2, 0));
    EXPECT_EQ(queue.Dropped(), 2u);
    EXPECT_EQ(queue.Drain(), static_cast<int>(XMsgQueue::kCapacity));
    for (unsigned i = 0; i < XMsgQueue::kCapacity; ++i)
        EXPECT_EQ(got.msgs[i].wParam, static_cast<long>(i));
    // Room again once drained; the count stays.
    EXPECT_TRUE(queue.Post(1, 7, 0));
    EXPECT_EQ(queue.Dropped(), 2u);
}

TEST(XMessenger, TheWakeupHookFiresOncePerBatchNotPerMessage) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(CountWakeup, Receive, &got);
    for (int i = 0; i < 10; ++i) queue.Post(5, i, 0);
    EXPECT_EQ(got.wakeups, 1);
    EXPECT_EQ(queue.Drain(), 10);
    EXPECT_EQ(got.wakeups, 1);
    queue.Post(5, 10, 0);
    queue.Post(5, 11, 0);
    queue.Post(5, 12, 0);
    EXPECT_EQ(got.wakeups, 2);
    EXPECT_EQ(queue.Drain(), 3);
    EXPECT_EQ(queue.Drain(), 0);  // an empty drain does not arm anything
    queue.Post(5, 13, 0);
    EXPECT_EQ(got.wakeups, 3);
}

TEST(XMessenger, DrainDeliversInOrderToTheReceiverWithItsContext) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(nullptr, Receive, &got);
    queue.Post(3, 30, 300);
    queue.Post(1, 10, 100);
    queue.Post(2, 20, 200);
    XWindowMsg first;
    ASSERT_TRUE(queue.Pop(&first));  // Pop takes the oldest
    EXPECT_EQ(first.msg, 3u);
    EXPECT_EQ(queue.Drain(), 2);
    ASSERT_EQ(got.msgs.size(), 2u);
    EXPECT_EQ(got.msgs[0].msg, 1u);
    EXPECT_EQ(got.msgs[0].lParam, 100);
    EXPECT_EQ(got.msgs[1].msg, 2u);
    EXPECT_EQ(got.msgs[1].wParam, 20);
    EXPECT_FALSE(queue.Pop(&first));
}

TEST(XMessenger, SendWindowMsgDeliversAtOnceWithoutQueueing) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(CountWakeup, Receive, &got);
    XMessenger messenger;
    messenger.SendWindowMsg(&queue, 16001, 1, 2);  // no range check on the synchronous path
    ASSERT_EQ(got.msgs.size(), 1u);
    EXPECT_EQ(got.msgs[0].msg, 16001u);
    EXPECT_EQ(got.wakeups, 0);
    EXPECT_EQ(queue.Drain(), 0);
}

TEST(XMessengerDeathTest, ANullWindowReturnsAtOnceWithoutAllocatingOrAsserting) {
    // The sanitizer builds run threads of their own: re-execute instead of forking.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    XMessenger messenger;
    // In the child: the calls must come back (no null dereference, and message
    // 16000 returns before the range assertion would end the process), and the
    // exit status is the number of allocations they made.
    EXPECT_EXIT(
        {
            AllocationScope scope;
            messenger.PostWindowMsg(nullptr, 1, 2, 3);
            messenger.PostWindowMsg(nullptr, 16000, 0, 0);
            messenger.SendWindowMsg(nullptr, 1, 2, 3);
            const long allocations = scope.Count();
            std::fprintf(stderr, "returned after %ld allocations\n", allocations);
            std::exit(static_cast<int>(allocations));
        },
        ::testing::ExitedWithCode(0), "returned after 0 allocations");
}

TEST(XMessenger, PostWindowMsgWithMsg15999Passes) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(nullptr, Receive, &got);
    XMessenger messenger;
    messenger.PostWindowMsg(&queue, 15999, 4, 5);
    EXPECT_EQ(queue.Drain(), 1);
    EXPECT_EQ(got.msgs[0].msg, 15999u);
}

TEST(XMessengerDeathTest, PostWindowMsgWithMsg16000FailsTheAssertion) {
    // The sanitizer builds run threads of their own: re-execute instead of forking.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    XMsgQueue queue;
    XMessenger messenger;
    EXPECT_DEATH(messenger.PostWindowMsg(&queue, 16000, 0, 0), "lMsg < 16000");
}

TEST(XMessenger, PostPerformsNoAllocation) {
    XMsgQueue* queue = new XMsgQueue;
    Received got;  // reserves its room before counting starts
    queue->SetHooks(CountWakeup, Receive, &got);
    XMessenger messenger;
    long during = 0;
    {
        AllocationScope scope;
        for (unsigned i = 0; i < XMsgQueue::kCapacity + 10; ++i) {  // through a full queue
            messenger.PostWindowMsg(queue, 2007, i, 0);
            queue->Post(2007, i, 1);
        }
        during = scope.Count();
        // The counter itself works: an allocation in the scope is seen (a direct
        // call, which the optimiser may not drop as it may a new-expression).
        ::operator delete(::operator new(sizeof(int)));
        EXPECT_EQ(scope.Count(), during + 1);
    }
    EXPECT_EQ(during, 0);
    EXPECT_GT(queue->Dropped(), 0u);
    delete queue;
}

TEST(XMessenger, SeveralPostingThreadsAndADrainingThreadRunCleanAndLoseNothingUncounted) {
    XMsgQueue queue;
    Received got;
    queue.SetHooks(nullptr, Receive, &got);
    constexpr int kThreads = 4;
    constexpr long kEach = 20000;
    std::atomic<int> finished{0};
    std::atomic<long> accepted{0};
    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t)
        posters.emplace_back([&, t] {
            long ok = 0;
            for (long i = 0; i < kEach; ++i)
                if (queue.Post(static_cast<unsigned long>(t), i, 0)) ++ok;
            accepted.fetch_add(ok);
            finished.fetch_add(1);
        });
    // The draining thread checks each poster's order as it goes (drops may leave gaps).
    std::vector<long> last(kThreads, -1);
    bool ordered = true;
    size_t seen = 0;
    long received = 0;
    std::thread drainer([&] {
        for (;;) {
            const bool done = finished.load() == kThreads;
            received += queue.Drain();
            for (; seen < got.msgs.size(); ++seen) {
                const XWindowMsg& m = got.msgs[seen];
                if (m.wParam <= last[m.msg]) ordered = false;
                last[m.msg] = m.wParam;
            }
            if (got.msgs.size() > (1u << 15)) {  // keep the record bounded
                got.msgs.clear();
                seen = 0;
            }
            if (done) break;
            std::this_thread::yield();
        }
    });
    for (auto& p : posters) p.join();
    drainer.join();
    EXPECT_TRUE(ordered);
    EXPECT_EQ(static_cast<unsigned long>(accepted.load()) + queue.Dropped(),
              static_cast<unsigned long>(kThreads * kEach));
    EXPECT_EQ(received, accepted.load());  // every accepted message arrived once
}

namespace {
struct Woken {
    std::atomic<int> pending{0};
};
void SignalWakeup(void* context) {
    static_cast<Woken*>(context)->pending.fetch_add(1);
}
void Ignore(void*, unsigned long, long, long) {}
}  // namespace

TEST(XMessenger, AMessagePostedDuringADrainIsNeverLeftWithoutAWakeup) {
    // The drain side runs only when woken, as the GUI thread does. Once the posters are
    // done and every wake-up has been served, nothing may be left in the queue.
    XMsgQueue queue;
    Woken woken;
    queue.SetHooks(SignalWakeup, Ignore, &woken);
    std::atomic<bool> postersDone{false};
    long drained = 0;
    std::thread gui([&] {
        for (;;) {
            if (woken.pending.load() > 0) {
                woken.pending.fetch_sub(1);
                drained += queue.Drain();
            } else if (postersDone.load()) {
                if (woken.pending.load() == 0) break;
            } else {
                std::this_thread::yield();
            }
        }
    });
    std::vector<std::thread> posters;
    std::atomic<long> accepted{0};
    for (int t = 0; t < 3; ++t)
        posters.emplace_back([&] {
            long ok = 0;
            for (int i = 0; i < 20000; ++i) {
                if (queue.Post(1, i, 0)) ++ok;
                if (i % 64 == 0) std::this_thread::yield();
            }
            accepted.fetch_add(ok);
        });
    for (auto& p : posters) p.join();
    postersDone = true;
    gui.join();
    XWindowMsg left;
    EXPECT_FALSE(queue.Pop(&left)) << "a message stranded without a wake-up";
    EXPECT_EQ(drained, accepted.load());
}
