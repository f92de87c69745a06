// What a window offers worker threads: calls run on the GUI thread, the update
// hook, and the first-frame time stamp.
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "GuiLoop.h"
#include "XWindowStd.h"

using testgui::Pump;
using testgui::PumpUntil;

namespace {

class CountingWindow : public XWindow {
  public:
    CountingWindow() {
        SetSize(120, 80);
        SetTitle(const_cast<char*>("services"));
    }
    void OnUpdate() override { ++updates; }
    void OnFrame() override { ++frames; }
    std::atomic<int> updates{0};
    std::atomic<int> frames{0};
};

struct CallRecord {
    std::atomic<int> runs{0};
    std::atomic<bool> onGuiThread{false};
};

void RecordCall(void* arg) {
    auto* r = static_cast<CallRecord*>(arg);
    r->onGuiThread = XWindow::IsGuiThread();
    ++r->runs;
}

double MonotonicNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9;
}

class XWindowServices : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
};

}  // namespace

TEST_F(XWindowServices, ACallFromAWorkerRunsOnTheGuiThreadAndTheWorkerWaitsForIt) {
    CountingWindow w;
    CallRecord record;
    std::atomic<int> result{-1};
    std::thread worker([&] { result = w.CallOnGuiThread(RecordCall, &record) ? 1 : 0; });
    // Nothing runs until the GUI thread serves its main loop.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(record.runs.load(), 0);
    EXPECT_EQ(result.load(), -1) << "the worker must still be waiting";
    EXPECT_TRUE(PumpUntil([&] { return result.load() != -1; }));
    worker.join();
    EXPECT_EQ(result.load(), 1);
    EXPECT_EQ(record.runs.load(), 1);
    EXPECT_TRUE(record.onGuiThread.load());
}

TEST_F(XWindowServices, ACallOnTheGuiThreadRunsAtOnce) {
    CountingWindow w;
    CallRecord record;
    EXPECT_TRUE(w.CallOnGuiThread(RecordCall, &record));
    EXPECT_EQ(record.runs.load(), 1);
}

TEST_F(XWindowServices, CancelledCallsReturnFalseAndNeverRun) {
    CountingWindow w;
    CallRecord waiting;
    std::atomic<int> result{-1};
    std::thread worker([&] { result = w.CallOnGuiThread(RecordCall, &waiting) ? 1 : 0; });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    w.CancelGuiCalls();
    worker.join();  // gives up without the GUI thread serving it
    EXPECT_EQ(result.load(), 0);
    Pump();  // the abandoned call is not run later
    EXPECT_EQ(waiting.runs.load(), 0);

    CallRecord later;
    std::thread late([&] { result = w.CallOnGuiThread(RecordCall, &later) ? 1 : 0; });
    late.join();
    EXPECT_EQ(result.load(), 0);
    Pump();
    EXPECT_EQ(later.runs.load(), 0);
}

TEST_F(XWindowServices, UpdateCallsTheUpdateHookOnTheGuiThread) {
    CountingWindow w;
    w.Show();
    Pump();
    int before = w.updates.load();
    w.Update();
    EXPECT_EQ(w.updates.load(), before + 1);
    // From another thread the update is posted and the hook runs on delivery.
    std::thread([&] { w.Update(); }).join();
    EXPECT_EQ(w.updates.load(), before + 1);
    EXPECT_TRUE(PumpUntil([&] { return w.updates.load() == before + 2; }));
    w.Hide();
}

TEST_F(XWindowServices, TheFirstFrameTimeIsWrittenOnceWhenTheWindowFirstDraws) {
    std::string path =
        std::string(getenv("VELOTUNE_TEST_TMP") ? getenv("VELOTUNE_TEST_TMP") : "/tmp") +
        "/first-frame-" + std::to_string(getpid());
    unlink(path.c_str());
    double before = MonotonicNow();
    CountingWindow w;
    w.SetFirstFrameFile(path.c_str());
    w.Show();
    EXPECT_TRUE(PumpUntil([&] { return access(path.c_str(), F_OK) == 0; }));
    FILE* f = fopen(path.c_str(), "r");
    ASSERT_NE(f, nullptr);
    double stamp = 0;
    EXPECT_EQ(fscanf(f, "%lf", &stamp), 1);
    fclose(f);
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, MonotonicNow());
    unlink(path.c_str());
    w.Redraw();
    Pump();
    EXPECT_NE(access(path.c_str(), F_OK), 0) << "only the first frame is stamped";
    w.Hide();
}

TEST_F(XWindowServices, TheFrameTimerCallsOnFrameWhileItRunsAndTheWindowIsVisible) {
    CountingWindow w;
    w.Show();
    Pump();
    w.SetFrameTimer(true);
    w.SetFrameTimer(true);  // a second start changes nothing
    EXPECT_TRUE(w.HasFrameTimer());
    EXPECT_TRUE(PumpUntil([&] { return w.frames.load() >= 3; }));
    w.SetFrameTimer(false);
    EXPECT_FALSE(w.HasFrameTimer());
    int stopped = w.frames.load();
    for (int i = 0; i < 10; ++i) {
        Pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(w.frames.load(), stopped) << "no frames after the timer stopped";
    w.SetFrameTimer(true);
    w.Hide();
    int hidden = w.frames.load();
    for (int i = 0; i < 10; ++i) {
        Pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(w.frames.load(), hidden) << "a hidden window gets no frames";
    w.SetFrameTimer(false);
}
