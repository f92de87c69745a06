// Routing, messages, timer and platform wiring of a real window on the X display.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "GuiLoop.h"
#include "FourCC.h"
#include "OpaqueDragRef.h"
#include "StdMenu.h"
#include "XApp.h"
#include "XControl.h"
#include "XWindowStd.h"

using testgui::Pump;
using testgui::PumpUntil;

namespace {

constexpr long kTimr = static_cast<long>(FourCC("timr"));
constexpr long kUpdt = static_cast<long>(FourCC("updt"));

// A control that records what the window routes to it.
class Probe : public XControl {
  public:
    int OnMouseDown(XMouseEvent* e) override {
        ++downs;
        lastButton = e->Button();
        return downAnswer;
    }
    void OnMouseMove(XMouseEvent* e) override {
        ++moves;
        lastX = e->x_mouse();
        lastY = e->y_mouse();
    }
    void OnMouseUp(XMouseEvent*) override { ++ups; }
    int OnMouseWheel(int, int, int dx, int dy) override {
        ++wheels;
        lastDx = dx;
        lastDy = dy;
        return wheelAnswer;
    }
    void OnMouseEnter() override { ++enters; }
    void OnMouseLeave() override { ++leaves; }
    int OnKeyDown(long key, long) override {
        ++keys;
        lastKey = key;
        return keyAnswer;
    }
    int OnToolTip(int, int) override {
        ++tooltips;
        return 1;
    }
    void OnTimer(int count) override { timerCounts.push_back(count); }
    void OnSetFocus(bool focus) override { focusCalls.push_back(focus); }
    int OnDrag(int, int) override {
        ++drags;
        return dragAnswer;
    }
    void OnDragLeave() override { ++dragLeaves; }
    void OnDrop(OpaqueDragRef* drag, int, int) override {
        ++drops;
        if (drag) dropped = drag->uris;
    }
    int OnXDrag(int, int, long, long) override { return xdragAnswer; }
    void OnXDrop(int, int, long wParam, long) override {
        ++xdrops;
        xdropParam = wParam;
    }
    void OnDraw(XDrawLib*) override { ++draws; }

    int downAnswer = 1, wheelAnswer = 0, keyAnswer = 0, dragAnswer = 1, xdragAnswer = 1;
    int downs = 0, moves = 0, ups = 0, wheels = 0, enters = 0, leaves = 0, keys = 0, tooltips = 0;
    int drags = 0, dragLeaves = 0, drops = 0, xdrops = 0, draws = 0;
    int lastButton = 0, lastX = 0, lastY = 0, lastDx = 0, lastDy = 0;
    long lastKey = 0, xdropParam = 0;
    std::vector<int> timerCounts;
    std::vector<bool> focusCalls;
    std::vector<std::string> dropped;
};

// A window that records its hooks.
class TestWindow : public XWindow {
  public:
    void Close(bool result) override {
        closes.push_back(result);
        XWindow::Close(result);
    }
    int OnCommand(unsigned long id, long wParam, long) override {
        commands.push_back(id);
        lastCommandParam = wParam;
        return 0;
    }
    int OnMouseDown(XMouseEvent*) override {
        ++windowDowns;
        return windowWants;
    }
    int OnMouseMove(XMouseEvent*) override { return ++windowMoves; }
    int OnMouseUp(XMouseEvent*) override { return ++windowUps; }
    int OnKeyDown(long key, long modifiers) override {
        keys.push_back(key);
        lastModifiers = modifiers;
        return 0;
    }
    int OnDrop(OpaqueDragRef* drag, int, int) override {
        ++windowDrops;
        if (drag) dropped = drag->uris;
        return 0;
    }
    int OnShow() override {
        visibleAtShow = IsVisible();
        return ++shows;
    }
    int OnReady() override { return ++readies; }
    int OnMessage(unsigned long msg, long wParam, long lParam) override {
        messages.push_back({msg, wParam, lParam});
        if (closeOnMessage == msg) Close(true);
        return 0;
    }
    int OnClose() override { return ++onCloses; }

    std::vector<bool> closes;
    std::vector<unsigned long> commands;
    std::vector<long> keys;
    std::vector<XWindowMsg> messages;
    std::vector<std::string> dropped;
    long lastCommandParam = 0, lastModifiers = 0;
    int windowWants = 0, windowDowns = 0, windowMoves = 0, windowUps = 0, windowDrops = 0;
    int shows = 0, readies = 0, onCloses = 0;
    bool visibleAtShow = true;
    unsigned long closeOnMessage = 0;
};

class XWindowTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }

    void SetUp() override {
        w = new TestWindow;
        char title[] = "window test";
        w->SetTitle(title);
        w->SetType(kWindowResizable | kWindowCloseBox);
        w->SetSize(200, 100);
        w->Create();
    }
    void TearDown() override {
        delete w;
        Pump();
    }
    // A probe at (l, t, r, b) in window coordinates, added at top level.
    Probe* AddProbe(int l, int t, int r, int b) {
        Probe* p = new Probe;
        p->SetWindowRect(XRect(l, t, r, b));
        w->AddControl(p);
        return p;
    }
    // Shows the window and lets the 'wrdy' through.
    void ShowAndSettle() {
        w->Show();
        Pump();
    }

    TestWindow* w = nullptr;
};

}  // namespace

// ---- mouse ----

TEST_F(XWindowTest, TwoMovesToTheSamePointProduceOneMove) {
    Probe* p = AddProbe(10, 10, 50, 40);
    ASSERT_TRUE(w->MouseDown(20, 20, 1, false, false));
    w->MouseMove(30, 25, 0);
    EXPECT_EQ(p->moves, 1);
    w->TimerTick();
    ASSERT_EQ(w->GetTimerCount(), 1);
    w->MouseMove(30, 25, 0);           // the same point again
    EXPECT_EQ(p->moves, 1);            // did not reach the control
    EXPECT_EQ(w->GetTimerCount(), 1);  // and did not reset the timer
    w->MouseMove(31, 25, 0);
    EXPECT_EQ(p->moves, 2);
    EXPECT_EQ(w->GetTimerCount(), 0);
}

TEST_F(XWindowTest, ControlWhoseMouseDownReturnsZeroDoesNotCaptureAndTheWindowIsAsked) {
    Probe* p = AddProbe(10, 10, 50, 40);
    p->downAnswer = 0;
    w->windowWants = 1;
    EXPECT_TRUE(w->MouseDown(20, 20, 1, false, false));
    EXPECT_EQ(p->downs, 1);
    EXPECT_EQ(w->GetControlMouse(), nullptr);
    EXPECT_EQ(w->windowDowns, 1);
    w->MouseMove(25, 25, 0);
    EXPECT_EQ(w->windowMoves, 1);  // the window wanted the following moves
    EXPECT_EQ(p->moves, 0);
    w->MouseUp(25, 25, 1);
    EXPECT_EQ(w->windowUps, 1);
    EXPECT_EQ(p->ups, 0);
}

TEST_F(XWindowTest, ControlThatAnswersOneCapturesMovesAndTheButtonUpEvenOutsideIt) {
    Probe* p = AddProbe(10, 10, 50, 40);
    EXPECT_TRUE(w->MouseDown(20, 20, 1, false, false));
    EXPECT_EQ(w->GetControlMouse(), p);
    EXPECT_EQ(w->windowDowns, 0);
    w->MouseMove(150, 90, 1);  // far outside the control
    EXPECT_EQ(p->moves, 1);
    EXPECT_EQ(p->lastX, 140);  // control-local
    w->MouseUp(150, 90, 1);
    EXPECT_EQ(p->ups, 1);
    EXPECT_EQ(w->GetControlMouse(), nullptr);
}

TEST_F(XWindowTest, ButtonDownOnNoControlGoesToTheWindowAndReturnsItsAnswer) {
    EXPECT_FALSE(w->MouseDown(100, 80, 1, false, false));
    EXPECT_EQ(w->windowDowns, 1);
    EXPECT_FALSE(w->MouseDown(100, -1, 1, false, false));  // title-bar zone
    EXPECT_EQ(w->windowDowns, 1);
}

TEST_F(XWindowTest, EarlierControlsInTheListLieOnTop) {
    Probe* first = AddProbe(10, 10, 50, 40);
    Probe* second = AddProbe(30, 20, 80, 60);
    EXPECT_EQ(w->FindControl(35, 25), first);
    EXPECT_EQ(w->FindControl(70, 50), second);
    EXPECT_EQ(w->FindControl(150, 90), nullptr);
}

TEST_F(XWindowTest, HoverEntersAndLeavesControlsAsThePointerMoves) {
    Probe* a = AddProbe(10, 10, 50, 40);
    Probe* b = AddProbe(60, 10, 100, 40);
    w->MouseMove(20, 20, 0);
    EXPECT_EQ(a->enters, 1);
    EXPECT_EQ(w->GetControlOver(), a);
    w->MouseMove(70, 20, 0);
    EXPECT_EQ(a->leaves, 1);
    EXPECT_EQ(b->enters, 1);
    EXPECT_EQ(w->GetControlOver(), b);
    w->MouseMove(150, 80, 0);
    EXPECT_EQ(b->leaves, 1);
    EXPECT_EQ(w->GetControlOver(), nullptr);
    w->MouseMove(20, 20, 0);
    w->MouseLeave();
    EXPECT_EQ(w->GetControlOver(), nullptr);
}

TEST_F(XWindowTest, DoubleClickTriggersTheDoubleClickControlWithOneOne) {
    Probe* list = AddProbe(10, 10, 50, 40);
    Probe* action = AddProbe(100, 10, 140, 40);
    list->SetDoubleClick(action);
    EXPECT_TRUE(w->MouseDoubleClick(20, 20));
    EXPECT_EQ(action->downs, 1);  // a synthetic click: down then up
    EXPECT_EQ(action->ups, 1);
    EXPECT_EQ(w->GetFocus(), action);
    EXPECT_EQ(w->GetControlMouse(), list);  // the hit control became the captured one
}

TEST_F(XWindowTest, DoubleClickOnAControlWithoutDoubleClickControlReturnsFalse) {
    AddProbe(10, 10, 50, 40);
    EXPECT_FALSE(w->MouseDoubleClick(20, 20));
    EXPECT_FALSE(w->MouseDoubleClick(150, 90));
}

TEST_F(XWindowTest, WheelBubblesToTheTopAndIsThenDropped) {
    Probe* parent = AddProbe(10, 10, 100, 80);
    Probe* child = new Probe;
    child->SetWindowRect(XRect(10, 10, 40, 40));
    parent->AddControl(child);
    w->MouseWheel(30, 30, 0, 1);
    EXPECT_EQ(child->wheels, 1);
    EXPECT_EQ(parent->wheels, 1);  // the child did not use it
    parent->wheelAnswer = 1;
    w->MouseWheel(30, 30, 0, -1);
    EXPECT_EQ(parent->wheels, 2);
    EXPECT_EQ(parent->lastDy, -1);
    w->MouseWheel(150, 90, 0, 1);  // no control there: nothing at all
    EXPECT_EQ(parent->wheels, 2);
}

TEST_F(XWindowTest, ScrollEventWithBothDeltasZeroReachesNoControl) {
    Probe* p = AddProbe(0, 0, 199, 99);
    ShowAndSettle();
    GdkEvent* ev = gdk_event_new(GDK_SCROLL);
    ev->scroll.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(w->GetView())));
    ev->scroll.direction = GDK_SCROLL_SMOOTH;
    ev->scroll.x = 50;
    ev->scroll.y = 50;
    ev->scroll.delta_x = 0;
    ev->scroll.delta_y = 0;
    gdk_event_set_device(
        ev, gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
    gtk_widget_event(w->GetView(), ev);
    EXPECT_EQ(p->wheels, 0);
    ev->scroll.delta_y = 1;  // one step down
    gtk_widget_event(w->GetView(), ev);
    EXPECT_EQ(p->wheels, 1);
    EXPECT_EQ(p->lastDy, -1);  // positive means up
    gdk_event_free(ev);
}

TEST_F(XWindowTest, ButtonPressFromTheDisplayReachesTheControlWithTheSecondaryButtonMapped) {
    Probe* p = AddProbe(10, 10, 50, 40);
    ShowAndSettle();
    GdkEvent* ev = gdk_event_new(GDK_BUTTON_PRESS);
    ev->button.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(w->GetView())));
    ev->button.x = 20;
    ev->button.y = 20;
    ev->button.button = 3;  // the right button is the library's secondary (2)
    gdk_event_set_device(
        ev, gdk_seat_get_pointer(gdk_display_get_default_seat(gdk_display_get_default())));
    gtk_widget_event(w->GetView(), ev);
    EXPECT_EQ(p->downs, 1);
    EXPECT_EQ(p->lastButton, 2);
    ev->type = GDK_BUTTON_RELEASE;
    gtk_widget_event(w->GetView(), ev);
    EXPECT_EQ(p->ups, 1);
    gdk_event_free(ev);
}

// ---- keys and commands ----

TEST_F(XWindowTest, ReturnWithNoDefaultControlClosesTheWindowWithTrue) {
    ShowAndSettle();
    w->KeyDown(FourCC("kEnt"), 0);
    ASSERT_EQ(w->closes.size(), 1u);
    EXPECT_TRUE(w->closes[0]);
    EXPECT_TRUE(w->GetReturn());
    EXPECT_FALSE(w->IsVisible());
    EXPECT_FALSE(gtk_widget_get_visible(w->GetGtkWindow()));
}

TEST_F(XWindowTest, EscapeWithNoCancelControlClosesTheWindowWithFalse) {
    ShowAndSettle();
    w->KeyDown(FourCC("kEsc"), 0);
    ASSERT_EQ(w->closes.size(), 1u);
    EXPECT_FALSE(w->closes[0]);
    EXPECT_FALSE(w->GetReturn());
    EXPECT_EQ(w->onCloses, 1);
}

TEST_F(XWindowTest, ReturnAndEscapeTriggerTheDefaultAndCancelControls) {
    Probe* ok = AddProbe(10, 10, 50, 40);
    Probe* cancel = AddProbe(60, 10, 100, 40);
    w->SetDefault(ok);
    w->SetCancel(cancel);
    w->KeyDown(FourCC("kEnt"), 0);
    w->KeyDown(FourCC("kEsc"), 0);
    EXPECT_EQ(ok->downs, 1);
    EXPECT_EQ(ok->ups, 1);
    EXPECT_EQ(cancel->downs, 1);
    EXPECT_TRUE(w->closes.empty());
}

TEST_F(XWindowTest, TheFocusedControlSeesKeysFirst) {
    Probe* edit = AddProbe(10, 10, 50, 40);
    w->SetFocus(edit);
    edit->keyAnswer = 1;
    w->KeyDown(FourCC("kEnt"), 0);
    EXPECT_EQ(edit->keys, 1);
    EXPECT_TRUE(w->closes.empty());  // used by the control: no close
    edit->keyAnswer = 0;
    w->KeyDown('a', 1);
    EXPECT_EQ(edit->keys, 2);
    ASSERT_EQ(w->keys.size(), 1u);
    EXPECT_EQ(w->keys[0], 'a');
    EXPECT_EQ(w->lastModifiers, 1);
}

TEST_F(XWindowTest, ChangingTheFocusTellsTheOldControlItLostIt) {
    Probe* a = AddProbe(10, 10, 50, 40);
    Probe* b = AddProbe(60, 10, 100, 40);
    w->SetFocus(a);
    w->SetFocus(b);
    ASSERT_EQ(a->focusCalls.size(), 1u);
    EXPECT_FALSE(a->focusCalls[0]);
    EXPECT_EQ(w->GetFocus(), b);
}

TEST_F(XWindowTest, KeysTranslateToTheLibraryCodes) {
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Return), FourCC("kEnt"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_KP_Enter), FourCC("kEnt"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_BackSpace), FourCC("kBck"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Delete), FourCC("kDel"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Escape), FourCC("kEsc"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Up), FourCC("kArU"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Down), FourCC("kArD"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Left), FourCC("kArL"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Right), FourCC("kArR"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Tab), FourCC("kTab"));
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_a), 'a');
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_eacute), 0xE9);
    EXPECT_EQ(XWindow::TranslateKey(GDK_KEY_Shift_L), 0);
    EXPECT_EQ(XWindow::TranslateModifiers(GDK_SHIFT_MASK), 1);
    EXPECT_EQ(XWindow::TranslateModifiers(GDK_CONTROL_MASK), 2);
    EXPECT_EQ(XWindow::TranslateModifiers(GDK_SUPER_MASK), 4);
    EXPECT_EQ(XWindow::TranslateModifiers(GDK_SHIFT_MASK | GDK_CONTROL_MASK | GDK_META_MASK), 7);
}

TEST_F(XWindowTest, CommandIdFFFFFFFFNeverReachesOnCommand) {
    w->ControlCommand(0xFFFFFFFFul, 1, 2);
    EXPECT_TRUE(w->commands.empty());
    w->ControlCommand(7, 3, 0);
    ASSERT_EQ(w->commands.size(), 1u);
    EXPECT_EQ(w->commands[0], 7u);
    EXPECT_EQ(w->lastCommandParam, 3);
}

TEST_F(XWindowTest, AControlCommandOfMinusOneNeverLeavesTheControl) {
    Probe* p = AddProbe(10, 10, 50, 40);
    p->SetCommand(-1);
    p->Command(0, 0);
    p->SetCommand(9);
    p->Command(5, 0);
    ASSERT_EQ(w->commands.size(), 1u);
    EXPECT_EQ(w->commands[0], 9u);
}

// ---- timer and tooltip ----

TEST_F(XWindowTest, TooltipShowsOnTheThirdTickAfterTheLastInputAndNeverAgainUntilNewInput) {
    Probe* p = AddProbe(10, 10, 50, 40);
    w->MouseMove(20, 20, 0);
    ASSERT_EQ(w->GetControlOver(), p);
    w->TimerTick();
    w->TimerTick();
    EXPECT_EQ(p->tooltips, 0);
    w->TimerTick();
    EXPECT_EQ(p->tooltips, 1);
    for (int i = 0; i < 5; ++i) w->TimerTick();
    EXPECT_EQ(p->tooltips, 1);  // once
    w->MouseMove(21, 20, 0);    // new input resets the count
    w->TimerTick();
    w->TimerTick();
    w->TimerTick();
    EXPECT_EQ(p->tooltips, 2);
}

TEST_F(XWindowTest, TheTooltipTextIsShownTwentyPixelsBelowThePointer) {
    Probe* p = AddProbe(10, 10, 50, 40);
    ShowAndSettle();
    struct Silent : Probe {
        int OnToolTip(int, int) override { return 0; }
    };
    (void)p;
    Silent* s = new Silent;
    s->SetWindowRect(XRect(60, 10, 100, 40));
    s->SetToolTip("Next sound");
    w->AddControl(s);
    w->MouseMove(70, 20, 0);
    for (int i = 0; i < 3; ++i) w->TimerTick();
    EXPECT_TRUE(w->GetToolTip()->IsShown());
    int x = 70, y = 20;
    w->LocalToScreen(x, y);
    EXPECT_EQ(w->GetToolTip()->ShownX(), x);
    EXPECT_EQ(w->GetToolTip()->ShownY(), y + 20);
    w->KeyDown('x', 0);  // any input hides it
    EXPECT_FALSE(w->GetToolTip()->IsShown());
}

TEST_F(XWindowTest, FocusedControlBlinksFromTheSecondTickAndGetsZeroOnInput) {
    Probe* p = AddProbe(10, 10, 50, 40);
    w->SetFocus(p);
    w->TimerTick();
    EXPECT_TRUE(p->timerCounts.empty());
    w->TimerTick();
    w->TimerTick();
    ASSERT_EQ(p->timerCounts.size(), 2u);
    EXPECT_EQ(p->timerCounts[0], 2);
    EXPECT_EQ(p->timerCounts[1], 3);
    w->TimerReset();
    EXPECT_EQ(p->timerCounts.back(), 0);
}

TEST_F(XWindowTest, TheTimerThreadTicksTheActiveWindow) {
    ShowAndSettle();
    ASSERT_EQ(XWindow::GetActiveWindow(), w);
    EXPECT_TRUE(PumpUntil([&] { return w->GetTimerCount() >= 2; }));
}

// ---- messages ----

TEST_F(XWindowTest, MessagePostedToAHiddenWindowIsLostIncludingUpdtAndTimr) {
    XMessenger m;
    m.PostWindowMsg(w->GetHandle(), 2007, kUpdt, 0);
    m.PostWindowMsg(w->GetHandle(), 2007, kTimr, 0);
    m.PostWindowMsg(w->GetHandle(), 42, 1, 2);
    Pump();
    EXPECT_TRUE(w->messages.empty());
    EXPECT_EQ(w->GetTimerCount(), 0);
    // Shown afterwards, the window does not get them late either.
    ShowAndSettle();
    EXPECT_TRUE(w->messages.empty());
    EXPECT_EQ(w->readies, 1);
    // Once closed, it is hidden again.
    w->Close(true);
    m.PostWindowMsg(w->GetHandle(), 43, 0, 0);
    m.PostWindowMsg(w->GetHandle(), 2007, kTimr, 0);
    Pump();
    EXPECT_TRUE(w->messages.empty());
    EXPECT_EQ(w->GetTimerCount(), 0);
}

TEST_F(XWindowTest, ShowPostsReadySoThatOnReadyRunsAfterShowReturned) {
    w->Show();
    EXPECT_EQ(w->shows, 1);
    EXPECT_FALSE(w->visibleAtShow);  // OnShow runs before the window counts as visible
    EXPECT_TRUE(w->IsVisible());
    EXPECT_EQ(w->readies, 0);
    Pump();
    EXPECT_EQ(w->readies, 1);
    EXPECT_EQ(XWindow::GetActiveWindow(), w);
}

TEST_F(XWindowTest, LibraryMessagesGoToTheirHandlersAndOthersToOnMessage) {
    ShowAndSettle();
    w->Message(2007, kTimr, 0);
    EXPECT_EQ(w->GetTimerCount(), 1);
    w->Message(2007, FourCC("wrdy"), 0);
    EXPECT_EQ(w->readies, 2);
    w->Message(2007, FourCC("othr"), 5);
    w->Message(15999, 1, 2);
    ASSERT_EQ(w->messages.size(), 2u);
    EXPECT_EQ(w->messages[0].msg, 2007u);
    EXPECT_EQ(w->messages[0].lParam, 5);
    EXPECT_EQ(w->messages[1].msg, 15999u);
}

TEST_F(XWindowTest, MessagesPostedFromAnotherThreadArriveInOrder) {
    ShowAndSettle();
    std::thread poster([&] {
        XMessenger m;
        for (long i = 0; i < 200; ++i) m.PostWindowMsg(w->GetHandle(), 100, i, -i);
    });
    poster.join();
    ASSERT_TRUE(PumpUntil([&] { return w->messages.size() >= 200; }));
    for (long i = 0; i < 200; ++i) {
        EXPECT_EQ(w->messages[i].msg, 100u);
        EXPECT_EQ(w->messages[i].wParam, i);
        EXPECT_EQ(w->messages[i].lParam, -i);
    }
}

TEST_F(XWindowTest, RepeatedUpdatesFromAnotherThreadCollapseIntoOneMessage) {
    ShowAndSettle();
    std::thread worker([&] {
        for (int i = 0; i < 50; ++i) w->Update();
    });
    worker.join();
    int updates = 0;
    XWindowMsg m;
    while (w->GetEventQueue()->Pop(&m))
        if (m.msg == 2007 && m.wParam == kUpdt) ++updates;
    EXPECT_EQ(updates, 1);
}

TEST_F(XWindowTest, AnUpdateLostToAHiddenWindowDoesNotBlockLaterUpdates) {
    std::thread([&] { w->Update(); }).join();
    Pump();  // delivered while hidden: lost
    std::thread([&] { w->Update(); }).join();
    int updates = 0;
    XWindowMsg m;
    while (w->GetEventQueue()->Pop(&m))
        if (m.msg == 2007 && m.wParam == kUpdt) ++updates;
    EXPECT_EQ(updates, 1);
}

TEST_F(XWindowTest, DrawControlOffTheGuiThreadDrawsNothingAndReturnsFalse) {
    Probe* p = AddProbe(10, 10, 50, 40);
    ShowAndSettle();
    PumpUntil([&] { return p->draws > 0; });
    int before = p->draws;
    bool result = true;
    std::thread worker([&] { result = w->DrawControl(p); });
    worker.join();
    EXPECT_FALSE(result);
    EXPECT_EQ(p->draws, before);
    // The update it asked for draws the control on the GUI thread.
    ASSERT_TRUE(PumpUntil([&] { return p->draws > before; }));
    EXPECT_TRUE(w->DrawControl(p));  // on the GUI thread it draws at once
}

TEST_F(XWindowTest, TheViewDrawsEveryControlInListOrder) {
    Probe* a = AddProbe(10, 10, 50, 40);
    Probe* b = AddProbe(60, 10, 100, 40);
    ShowAndSettle();
    EXPECT_TRUE(PumpUntil([&] { return a->draws > 0 && b->draws > 0; }));
}

// ---- showing, closing, sizes ----

TEST_F(XWindowTest, ShowModalRunsUntilCloseAndReturnsItsResult) {
    TestWindow parent;
    parent.SetSize(100, 100);
    parent.Show();
    w->closeOnMessage = 77;
    // Posted from inside the modal loop, once the dialog is visible.
    g_idle_add(
        [](gpointer data) -> gboolean {
            XMessenger poster;
            poster.PostWindowMsg(static_cast<XWindow*>(data)->GetHandle(), 77, 0, 0);
            return G_SOURCE_REMOVE;
        },
        w);
    EXPECT_TRUE(w->ShowModal(&parent));
    EXPECT_FALSE(w->IsModal());
    EXPECT_EQ(XWindow::GetActiveWindow(), &parent);
    EXPECT_EQ(w->GetParentWindow(), &parent);
}

TEST_F(XWindowTest, ResizingTheViewResizesTheControlsByTheChange) {
    Probe* stretch = AddProbe(10, 10, -10, -10);  // 10 in from every edge
    stretch->AttachTo(1, 1, 1, 1);
    Probe* follow = AddProbe(-40, -30, -10, -10);  // bottom-right corner
    follow->AttachTo(0, 0, 1, 1);
    EXPECT_EQ(stretch->GetWindowRect(), XRect(10, 10, 189, 89));
    w->ResizeWindow(230, 150);
    EXPECT_EQ(stretch->GetWindowRect(), XRect(10, 10, 219, 139));
    EXPECT_EQ(follow->GetWindowRect(), XRect(189, 119, 219, 139));
    EXPECT_EQ(w->GetWidth(), 230);
    EXPECT_EQ(w->GetHeight(), 150);
}

TEST_F(XWindowTest, TypeBitsDecideResizableAndCloseBox) {
    EXPECT_TRUE(gtk_window_get_resizable(GTK_WINDOW(w->GetGtkWindow())));
    EXPECT_TRUE(gtk_window_get_deletable(GTK_WINDOW(w->GetGtkWindow())));
    TestWindow fixed;
    fixed.SetType(kWindowPlain | kWindowResizable | kWindowCloseBox);
    fixed.SetSize(50, 40);
    fixed.Create();
    EXPECT_FALSE(gtk_window_get_resizable(GTK_WINDOW(fixed.GetGtkWindow())));
    EXPECT_FALSE(gtk_window_get_decorated(GTK_WINDOW(fixed.GetGtkWindow())));
    EXPECT_FALSE(gtk_window_get_deletable(GTK_WINDOW(fixed.GetGtkWindow())));
    EXPECT_EQ(XWindow::GetWindowFromHandle(fixed.GetGtkWindow()), &fixed);
}

TEST_F(XWindowTest, TheTitleGoesToThePlatformWindow) {
    EXPECT_STREQ(gtk_window_get_title(GTK_WINDOW(w->GetGtkWindow())), "window test");
    char title[] = "Velotune";
    w->SetTitle(title);
    EXPECT_STREQ(gtk_window_get_title(GTK_WINDOW(w->GetGtkWindow())), "Velotune");
}

TEST_F(XWindowTest, TheWindowShowsAtItsContentSize) {
    ShowAndSettle();
    ASSERT_TRUE(PumpUntil([&] { return gtk_widget_get_allocated_width(w->GetView()) == 200; }));
    EXPECT_EQ(gtk_widget_get_allocated_height(w->GetView()), 100);
}

TEST_F(XWindowTest, MenuBarSitsAboveTheViewAndItsItemsSendCommands) {
    TestWindow m;
    m.SetSize(120, 80);
    char about[] = "About Velotune...";
    m.AddMacMenuItem(about, 4, false);
    m.CreateMenuBar();
    char label[] = "Preferences";
    m.AddMacMenuItem(label, 11, true);
    m.CreateToolBar(120, 24);
    m.Create();
    m.Show();
    Pump();
    GtkAllocation view;
    gtk_widget_get_allocation(m.GetView(), &view);
    EXPECT_GT(view.y, 0);  // below the menu bar and the toolbar
    EXPECT_EQ(view.height, 80);
    // The application menu: "About Velotune..." (command 4), then the added item.
    GtkWidget* box = gtk_bin_get_child(GTK_BIN(m.GetGtkWindow()));
    GList* rows = gtk_container_get_children(GTK_CONTAINER(box));
    GtkWidget* bar = GTK_WIDGET(rows->data);
    g_list_free(rows);
    ASSERT_TRUE(GTK_IS_MENU_BAR(bar));
    GList* tops = gtk_container_get_children(GTK_CONTAINER(bar));
    GtkWidget* appMenu = gtk_menu_item_get_submenu(GTK_MENU_ITEM(tops->data));
    EXPECT_STREQ(gtk_menu_item_get_label(GTK_MENU_ITEM(tops->data)), "Velotune");
    g_list_free(tops);
    std::vector<GtkWidget*> items;
    GList* entries = gtk_container_get_children(GTK_CONTAINER(appMenu));
    for (GList* e = entries; e; e = e->next)
        if (!GTK_IS_SEPARATOR_MENU_ITEM(e->data)) items.push_back(GTK_WIDGET(e->data));
    g_list_free(entries);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_STREQ(gtk_menu_item_get_label(GTK_MENU_ITEM(items[0])), "About Velotune...");
    gtk_menu_item_activate(GTK_MENU_ITEM(items[0]));
    gtk_menu_item_activate(GTK_MENU_ITEM(items[1]));
    ASSERT_EQ(m.commands.size(), 2u);
    EXPECT_EQ(m.commands[0], 4u);
    EXPECT_EQ(m.commands[1], 11u);
}

TEST_F(XWindowTest, CursorsAreSetByNumber) {
    ShowAndSettle();
    for (long c = 0; c <= 4; ++c) {
        w->SetCursor(c);
        EXPECT_EQ(w->GetCursor(), c);
        EXPECT_NE(gdk_window_get_cursor(gtk_widget_get_window(w->GetGtkWindow())), nullptr);
    }
}

// ---- drag and drop ----

TEST_F(XWindowTest, SystemDragTargetsOnlyAControlThatAnswersOne) {
    Probe* yes = AddProbe(10, 10, 50, 40);
    Probe* no = AddProbe(60, 10, 100, 40);
    no->dragAnswer = 0;
    EXPECT_EQ(w->Drag(70, 20, 0), 0);
    EXPECT_EQ(no->drags, 1);
    EXPECT_EQ(w->Drag(20, 20, 1), 1);
    EXPECT_EQ(w->Drag(25, 20, 1), 1);
    EXPECT_EQ(yes->drags, 2);           // the target gets the move
    EXPECT_EQ(w->Drag(150, 90, 1), 0);  // left the target
    EXPECT_EQ(yes->dragLeaves, 1);
    EXPECT_EQ(w->Drag(20, 20, 0), 1);
    OpaqueDragRef drag;
    drag.uris = {"file:///tmp/a.wav"};
    w->Drop(&drag, 20, 20);
    EXPECT_EQ(yes->drops, 1);
    EXPECT_EQ(yes->dropped, drag.uris);
    EXPECT_EQ(w->windowDrops, 0);
    w->Drop(&drag, 150, 90);  // no target any more: the window takes it
    EXPECT_EQ(w->windowDrops, 1);
    EXPECT_EQ(w->dropped, drag.uris);
}

TEST_F(XWindowTest, DragLeavingTheWindowTellsTheTargetAndClearsIt) {
    Probe* yes = AddProbe(10, 10, 50, 40);
    EXPECT_EQ(w->Drag(20, 20, 0), 1);
    EXPECT_EQ(w->Drag(20, 20, 2), 0);
    EXPECT_EQ(yes->dragLeaves, 1);
}

TEST_F(XWindowTest, InWindowDragDropsOnTheAcceptingControlWithThePlusCursor) {
    Probe* source = AddProbe(10, 10, 50, 40);
    Probe* target = AddProbe(100, 10, 150, 60);
    ShowAndSettle();
    w->XDragStart(source, 5, 5, XRect(0, 0, 40, 12), "kick.wav", 3, 0);
    ASSERT_NE(w->GetDrag().label, nullptr);
    EXPECT_EQ(w->GetDrag().x, 15);
    EXPECT_EQ(w->GetDrag().rc, XRect(10, 10, 50, 22));
    EXPECT_NE(w->GetDrag().hOverlay, nullptr);
    w->MouseMove(110, 20, 1);  // moves during the drag go to the drag
    EXPECT_EQ(w->GetDrag().target, target);
    EXPECT_EQ(w->GetCursor(), 4);
    EXPECT_EQ(w->GetDrag().rc, XRect(105, 15, 145, 27));
    Pump();
    w->MouseUp(110, 20, 1);
    EXPECT_EQ(target->xdrops, 1);
    EXPECT_EQ(target->xdropParam, 3);
    EXPECT_EQ(w->GetCursor(), 0);
    EXPECT_EQ(w->GetDrag().label, nullptr);
    EXPECT_EQ(w->GetDrag().hOverlay, nullptr);
}

// ---- the application handler's wiring ----

namespace {
class LoopApp : public XApp {
  public:
    int OnStart() override {
        ++starts;
        g_idle_add(
            [](gpointer) -> gboolean {
                gtk_main_quit();
                return G_SOURCE_REMOVE;
            },
            nullptr);
        return 1;
    }
    int starts = 0;
};
}  // namespace

TEST_F(XWindowTest, InitRunsOnStartAndTheLoopAndReturnsOne) {
    LoopApp app;
    char name[] = "scheme";
    app.NewClass(name);
    EXPECT_EQ(app.Init(5), 1);
    EXPECT_EQ(app.starts, 1);
    EXPECT_EQ(gInstance, 5);
    EXPECT_EQ(app.GetClass(name), nullptr);  // Init emptied the schemes
}

TEST_F(XWindowTest, OnlyTheInstalledEventTypesReachTheApplicationHandler) {
    LoopApp app;
    EXPECT_EQ(app.DispatchAppEvent(XAppEvent{FourCC("menu"), 8, 0, 0}),
              kAppEventNotHandled);  // not yet
    app.Init(0);
    EXPECT_EQ(app.DispatchAppEvent(XAppEvent{FourCC("menu"), 8, 0, 0}), 0);
    // Activation and commands are not among them: they stay unhandled.
    EXPECT_EQ(app.DispatchAppEvent(XAppEvent{FourCC("cmds"), 1, 4, 128}), kAppEventNotHandled);
    EXPECT_EQ(app.DispatchAppEvent(XAppEvent{FourCC("appl"), 1, 0, 0}), kAppEventNotHandled);
}

TEST_F(XWindowTest, TheApplicationMenuIsTitledWithTheNameTheApplicationSet) {
    const char* set = XApp::GetAppName();
    XApp::SetAppName("Another Sampler");
    TestWindow m;
    char about[] = "About...";
    m.AddMacMenuItem(about, 4, false);
    m.Create();
    XApp::SetAppName(set);
    ASSERT_NE(m.GetMenuBar(), nullptr);
    GList* tops = gtk_container_get_children(GTK_CONTAINER(m.GetMenuBar()->GetHandle()));
    ASSERT_NE(tops, nullptr);  // the application menu is the bar's first
    EXPECT_STREQ(gtk_menu_item_get_label(GTK_MENU_ITEM(tops->data)), "Another Sampler");
    g_list_free(tops);
}
