// A drag out of a real window: a press becomes a drag of a control's file only
// after the pointer has moved past the toolkit's threshold; until then it is an
// ordinary press and release, which the control gets whole.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>

#include "OpaqueDragRef.h"
#include "GuiLoop.h"
#include "XControl.h"
#include "XWindowStd.h"

using testgui::Pump;
using testgui::PumpUntil;

namespace {

// Offers a file from its whole area and records the presses, moves and releases
// it gets (it keeps the mouse, as a button does).
class FileProbe : public XControl {
  public:
    const char* OnDragOutPath(int, int) override { return "/samples/snare.wav"; }
    int OnMouseDown(XMouseEvent*) override {
        ++downs;
        return 1;
    }
    void OnMouseMove(XMouseEvent*) override { ++moves; }
    void OnMouseUp(XMouseEvent*) override { ++ups; }
    int downs = 0, moves = 0, ups = 0;
};

// Takes dropped files, counting the drops.
class DropWindow : public XWindow {
  public:
    int OnDrop(OpaqueDragRef*, int, int) override { return ++drops; }
    int drops = 0;
};

void CountDragEnd(GtkWidget*, GdkDragContext*, gpointer count) {
    ++*static_cast<int*>(count);
}

void CountDragBegin(GtkWidget*, GdkDragContext*, gpointer count) {
    ++*static_cast<int*>(count);
}

class XWindowDragOut : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void SetUp() override {
        if (system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool missing";
        w.SetTitle(const_cast<char*>("drag out"));
        w.SetSize(200, 100);
        w.SetPosition(80, 80);
        w.EnableDropFile();
        w.Create();
        probe = new FileProbe;
        probe->SetWindowRect(XRect(0, 0, 199, 99));
        probe->SetToolTip("/samples/snare.wav");
        w.AddControl(probe);
        w.Show();
        ASSERT_TRUE(PumpUntil([&] { return gtk_widget_get_mapped(w.GetView()); }));
        g_signal_connect(w.GetView(), "drag-begin", G_CALLBACK(CountDragBegin), &begun);
        g_signal_connect(w.GetView(), "drag-end", G_CALLBACK(CountDragEnd), &ended);
        gdk_window_get_origin(gtk_widget_get_window(w.GetView()), &ox, &oy);
    }
    void TearDown() override {
        system("xdotool mouseup 1 mousemove 900 700");
        w.Hide();
        Pump();
    }
    // xdotool `commands` at view point (x, y) offsets, run while the loop goes on.
    void Xdo(const std::string& commands) {
        ASSERT_EQ(system(("xdotool " + commands).c_str()), 0) << commands;
    }
    std::string At(int x, int y) { return std::to_string(ox + x) + " " + std::to_string(oy + y); }
    DropWindow w;
    FileProbe* probe = nullptr;
    int begun = 0, ended = 0;
    int ox = 0, oy = 0;
};

}  // namespace

TEST_F(XWindowDragOut, APressThatMovesLessThanTheThresholdIsAClickAndStartsNoDrag) {
    Xdo("mousemove --sync " + At(50, 50) + " mousedown 1");
    Xdo("mousemove --sync " + At(51, 51) + " mousemove --sync " + At(52, 50) + " mouseup 1");
    ASSERT_TRUE(PumpUntil([&] { return probe->ups == 1; })) << "the release was lost";
    EXPECT_EQ(probe->downs, 1);
    EXPECT_GE(probe->moves, 1);
    Pump();
    EXPECT_EQ(begun, 0);
}

TEST_F(XWindowDragOut, APressThatMovesPastTheThresholdStartsADragOfTheControlsFile) {
    // The pointer comes to rest on the control first, as a user's does.
    Xdo("mousemove --sync " + At(49, 50) + " mousemove --sync " + At(50, 50));
    ASSERT_TRUE(PumpUntil([&] { return w.GetControlOver() == probe; }));
    Xdo("mousedown 1");
    ASSERT_TRUE(PumpUntil([&] { return probe->downs == 1; }));
    for (int step = 1; step <= 6; ++step) Xdo("mousemove --sync " + At(50 + 5 * step, 50));
    EXPECT_TRUE(PumpUntil([&] { return begun > 0; })) << "the drag began";
    EXPECT_EQ(begun, 1);
    EXPECT_EQ(w.GetControlMouse(), nullptr) << "the drag took the rest of the press";
    // The window hears nothing while the drag runs: no tooltip comes up under it.
    for (int tick = 0; tick < 4; ++tick) w.TimerTick();
    EXPECT_FALSE(w.GetToolTip()->IsShown());
    int moves = probe->moves;
    Xdo("mousemove --sync " + At(120, 60) + " mouseup 1");
    Pump();
    EXPECT_EQ(probe->moves, moves) << "no more moves reach the control";
    EXPECT_EQ(probe->ups, 0);
}

TEST_F(XWindowDragOut, AFileDraggedOutAndReleasedOverItsOwnWindowIsNotTakenBack) {
    Xdo("mousemove --sync " + At(50, 50) + " mousedown 1");
    for (int step = 1; step <= 6; ++step) Xdo("mousemove --sync " + At(50 + 5 * step, 50));
    ASSERT_TRUE(PumpUntil([&] { return begun > 0; }));
    for (int step = 1; step <= 8; ++step) {
        Xdo("mousemove --sync " + At(80 + 10 * step, 60));
        Pump();
    }
    Xdo("mouseup 1");
    EXPECT_TRUE(PumpUntil([&] { return ended > 0; })) << "the drag ended";
    Pump();
    EXPECT_EQ(w.drops, 0);
}
