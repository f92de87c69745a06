#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FourCC.h"
#include "XClass.h"
#include "XControl.h"

namespace {

// Test double of the window side: records what controls ask of their window.
class FakeWindow : public XControlHost {
  public:
    bool drawResult = true;
    std::vector<XControl*> drawn;
    std::vector<unsigned long> commands;
    XControl* focus = nullptr;
    int focusCalls = 0;
    int offsetY = 0;
    int screenX = 0, screenY = 0;  // top-left of the content on the screen
    struct Tip {
        int x, y;
        std::string text;
    };
    std::vector<Tip> tips;
    struct DragStart {
        XControl* source;
        int x, y;
        long wParam;
    };
    std::vector<DragStart> drags;

    bool DrawControl(XControl* c) override {
        drawn.push_back(c);
        return drawResult;
    }
    void ControlCommand(unsigned long id, long, long) override { commands.push_back(id); }
    void SetFocus(XControl* c) override {
        focus = c;
        ++focusCalls;
    }
    XControl* GetFocus() override { return focus; }
    void XDragStart(XControl* source, int x, int y, XRect, const char*, long wParam,
                    long) override {
        drags.push_back({source, x, y, wParam});
    }
    int GetOffsetY() override { return offsetY; }
    void LocalToScreen(int& x, int& y) override {
        x += screenX;
        y += screenY;
    }
    XDrawLib* GetDrawLib() override { return nullptr; }
    void ShowToolTip(int x, int y, const char* text, bool, const char*) override {
        tips.push_back({x, y, text ? text : ""});
    }
};

// A control that records its hooks.
class Probe : public XControl {
  public:
    int mouseDownResult = 1;
    int wheelResult = 0;
    int dragResult = 0;
    int xdragResult = 0;
    int handleResult = 0;
    int toolTipResult = 0;
    std::vector<std::string> calls;
    std::vector<int> values;
    int lastX = -999, lastY = -999;
    XRect band;

    int OnMouseDown(XMouseEvent* e) override {
        calls.push_back("down");
        lastX = e->x_click(), lastY = e->y_click();
        return mouseDownResult;
    }
    void OnMouseMove(XMouseEvent*) override { calls.push_back("move"); }
    void OnMouseUp(XMouseEvent*) override { calls.push_back("up"); }
    int OnMouseWheel(int x, int y, int, int) override {
        calls.push_back("wheel");
        lastX = x, lastY = y;
        return wheelResult;
    }
    void OnRubberBand(XRect* rc) override {
        calls.push_back("band");
        band = *rc;
    }
    int OnDrag(int x, int y) override {
        lastX = x, lastY = y;
        calls.push_back("drag");
        return dragResult;
    }
    void OnDrop(OpaqueDragRef*, int x, int y) override {
        lastX = x, lastY = y;
        calls.push_back("drop");
    }
    int OnXDrag(int x, int y, long, long) override {
        lastX = x, lastY = y;
        calls.push_back("xdrag");
        return xdragResult;
    }
    void OnXDrop(int x, int y, long, long) override {
        lastX = x, lastY = y;
        calls.push_back("xdrop");
    }
    int HandleCommand(unsigned long, long, long) override {
        calls.push_back("handle");
        return handleResult;
    }
    void OnValueChanged(int v) override { values.push_back(v); }
    void OnValueChanged(float) override { calls.push_back("fchanged"); }
    int OnToolTip(int x, int y) override {
        lastX = x, lastY = y;
        return toolTipResult;
    }
};

// Receives what a control transmits on its output ports.
class Sink : public XModule {
  public:
    std::vector<int> ints;
    std::vector<float> floats;
    Sink() {
        AddInputInt(1, 0, 0);
        AddInputFlt(2, 0, 0);
    }
    void OnReceive(int, int v) override { ints.push_back(v); }
    void OnReceive(int, float v) override { floats.push_back(v); }
};

// A window-level control placed in a 400 x 135 control area.
Probe* TopLevel(FakeWindow& w, XRect rc) {
    Probe* p = new Probe;
    p->SetWindow(&w);
    p->SetWindowRect(rc);
    p->PlaceIn(XRect(0, 0, 399, 134));
    return p;
}

}  // namespace

// ---- hit testing ----

TEST(XControl, APointOnTheRightOrBottomEdgeOfAControlHitsIt) {
    Probe c;
    c.SetWindowRect(XRect(10, 20, 30, 40));
    EXPECT_EQ(c.FindControl(30, 40), &c);
    EXPECT_EQ(c.FindControl(30, 20), &c);
    EXPECT_EQ(c.FindControl(10, 40), &c);
    EXPECT_EQ(c.FindControl(31, 40), nullptr);
    EXPECT_EQ(c.FindControl(30, 41), nullptr);
}

TEST(XControl, ADisabledParentWithAnEnabledChildUnderThePointerYieldsNoControl) {
    Probe parent;
    parent.SetWindowRect(XRect(0, 0, 100, 100));
    Probe* child = new Probe;
    child->SetWindowRect(XRect(10, 10, 20, 20));
    parent.AddControl(child);
    parent.Disable();
    EXPECT_EQ(parent.FindControl(15, 15), nullptr);
}

TEST(XControl, AHiddenParentHidesItsChildren) {
    Probe parent;
    parent.SetWindowRect(XRect(0, 0, 100, 100));
    Probe* child = new Probe;
    child->SetWindowRect(XRect(10, 10, 20, 20));
    parent.AddControl(child);
    parent.SetVisible(false);
    EXPECT_EQ(parent.FindControl(15, 15), nullptr);
}

TEST(XControl, TheDeepestEnabledChildWinsAndEarlierChildrenAreHitFirst) {
    Probe parent;
    parent.SetWindowRect(XRect(0, 0, 100, 100));
    Probe* a = new Probe;
    Probe* b = new Probe;
    Probe* grandchild = new Probe;
    a->SetWindowRect(XRect(10, 10, 50, 50));
    b->SetWindowRect(XRect(10, 10, 50, 50));
    parent.AddControl(a);
    parent.AddControl(b);
    a->AddControl(grandchild);
    grandchild->SetWindowRect(XRect(0, 0, 5, 5));  // placed in a: (10, 10)-(15, 15)
    EXPECT_EQ(parent.FindControl(12, 12), grandchild);
    EXPECT_EQ(parent.FindControl(30, 30), a);  // a was added first
    a->Disable();
    EXPECT_EQ(parent.FindControl(12, 12), b);
    EXPECT_EQ(parent.FindControl(90, 90), &parent);
}

// ---- tree ----

TEST(XControl, AddControlAppendsAndDetachUnlinks) {
    Probe parent;
    Probe* a = new Probe;
    Probe* b = new Probe;
    Probe* c = new Probe;
    parent.AddControl(a);
    parent.AddControl(b);
    parent.AddControl(c);
    EXPECT_EQ(parent.GetChild(), a);
    EXPECT_EQ(a->GetNext(), b);
    EXPECT_EQ(b->GetNext(), c);
    EXPECT_EQ(b->GetParent(), &parent);
    EXPECT_EQ(b->GetControl(), &parent);
    b->Detach();
    EXPECT_EQ(a->GetNext(), c);
    EXPECT_EQ(b->GetParent(), nullptr);
    delete b;
}

TEST(XControl, ChildrenTakeTheirParentsWindow) {
    FakeWindow w;
    Probe parent;
    parent.SetWindow(&w);
    Probe* child = new Probe;
    parent.AddControl(child);
    EXPECT_EQ(child->GetHost(), &w);
    EXPECT_EQ(child->GetWindow(), nullptr);  // the double is no XWindow
}

// ---- mouse ----

TEST(XControl, MouseDownGivesFocusAndLocalCoordinates) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(10, 20, 60, 70));
    XMouseEvent e;
    e.SetClick(15, 27, 1);
    EXPECT_EQ(c->MouseDown(&e), 1);
    EXPECT_EQ(w.focus, c);
    EXPECT_EQ(c->lastX, 5);
    EXPECT_EQ(c->lastY, 7);
    EXPECT_TRUE(c->m_bMouseDown);
    delete c;
}

TEST(XControl, MouseDownMapsZeroToZeroAndAnyOtherResultToOne) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    XMouseEvent e;
    c->mouseDownResult = 0;
    EXPECT_EQ(c->MouseDown(&e), 0);
    c->mouseDownResult = 2;
    EXPECT_EQ(c->MouseDown(&e), 1);
    c->mouseDownResult = -1;
    EXPECT_EQ(c->MouseDown(&e), 1);
    delete c;
}

TEST(XControl, ADisabledOrHiddenControlDoesNotTakeTheMouse) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    XMouseEvent e;
    c->Disable();
    EXPECT_EQ(c->MouseDown(&e), 0);
    c->Enable();
    c->SetVisible(false);
    EXPECT_EQ(c->MouseDown(&e), 0);
    EXPECT_TRUE(c->calls.empty());
    EXPECT_EQ(w.focus, nullptr);
    delete c;
}

TEST(XControl, RubberBandReportsANormalisedRectangle) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(100, 100, 200, 200));
    c->SetRubberBand(true);
    XMouseEvent e;
    e.SetClick(150, 160, 1);
    EXPECT_EQ(c->MouseDown(&e), 1);
    EXPECT_TRUE(c->calls.empty());  // no OnMouseDown with a rubber band
    e.SetMouse(120, 130);
    c->MouseMove(&e);
    c->MouseUp(&e);
    ASSERT_EQ(c->calls, std::vector<std::string>{"band"});
    EXPECT_EQ(c->band, XRect(20, 30, 50, 60));
    delete c;
}

TEST(XControl, ARubberBandOfZeroSizeIsAPlainClick) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(100, 100, 200, 200));
    c->SetRubberBand(true);
    XMouseEvent e;
    e.SetClick(150, 160, 1);
    c->MouseDown(&e);
    c->MouseUp(&e);
    EXPECT_EQ(c->calls, std::vector<std::string>{"up"});
    delete c;
}

TEST(XControl, AWheelEventNotUsedByAnyControlUpTheChainIsDropped) {
    Probe top;
    top.SetWindowRect(XRect(0, 0, 100, 100));
    Probe* mid = new Probe;
    Probe* leaf = new Probe;
    top.AddControl(mid);
    mid->AddControl(leaf);
    EXPECT_EQ(leaf->MouseWheel(5, 5, 0, 1), 0);
    EXPECT_EQ(leaf->calls, std::vector<std::string>{"wheel"});
    EXPECT_EQ(mid->calls, std::vector<std::string>{"wheel"});
    EXPECT_EQ(top.calls, std::vector<std::string>{"wheel"});
}

TEST(XControl, AWheelEventStopsAtTheFirstControlReturningOne) {
    Probe top;
    top.SetWindowRect(XRect(0, 0, 100, 100));
    Probe* mid = new Probe;
    mid->SetWindowRect(XRect(10, 10, 50, 50));
    Probe* leaf = new Probe;
    top.AddControl(mid);
    mid->AddControl(leaf);
    mid->wheelResult = 1;
    leaf->wheelResult = 2;  // not exactly 1: passes on
    EXPECT_EQ(leaf->MouseWheel(15, 17, 0, 1), 1);
    EXPECT_EQ(mid->lastX, 5);
    EXPECT_EQ(mid->lastY, 7);
    EXPECT_TRUE(top.calls.empty());
}

TEST(XControl, TriggerIsASyntheticClick) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(10, 10, 20, 20));
    c->Trigger(1, 1);
    EXPECT_EQ(w.focus, c);
    EXPECT_EQ(c->calls, (std::vector<std::string>{"down", "up"}));
    EXPECT_EQ(c->lastX, 1);
    c->calls.clear();
    c->mouseDownResult = 0;
    c->Trigger(0, 0);
    EXPECT_EQ(c->calls, std::vector<std::string>{"down"});
    delete c;
}

// ---- system drag and in-window drag ----

TEST(XControl, DragReturnsZeroForADisabledControlElseOnDragWithLocalCoordinates) {
    Probe c;
    c.SetWindowRect(XRect(10, 20, 50, 60));
    c.dragResult = 1;
    EXPECT_EQ(c.Drag(15, 25), 1);
    EXPECT_EQ(c.lastX, 5);
    EXPECT_EQ(c.lastY, 5);
    c.Disable();
    EXPECT_EQ(c.Drag(15, 25), 0);
    OpaqueDragRef drag;
    c.Drop(&drag, 12, 22);
    EXPECT_EQ(c.lastX, 2);
    EXPECT_EQ(c.lastY, 2);
}

TEST(XControl, XDragLeafReturnsItselfOnlyWhenOnXDragAccepts) {
    Probe c;
    c.SetWindowRect(XRect(10, 20, 50, 60));
    EXPECT_EQ(c.XDrag(15, 25, 0, 0), nullptr);
    c.xdragResult = 1;
    EXPECT_EQ(c.XDrag(15, 25, 0, 0), &c);
    EXPECT_EQ(c.XDrag(5, 25, 0, 0), nullptr);  // outside
    c.Disable();
    EXPECT_EQ(c.XDrag(15, 25, 0, 0), nullptr);
}

TEST(XControl, XDragParentIsNeverATargetItself) {
    Probe parent;
    parent.SetWindowRect(XRect(0, 0, 100, 100));
    parent.xdragResult = 1;
    Probe* a = new Probe;
    Probe* b = new Probe;
    parent.AddControl(a);
    parent.AddControl(b);
    a->SetWindowRect(XRect(0, 0, 10, 10));
    b->SetWindowRect(XRect(0, 0, 50, 50));
    EXPECT_EQ(parent.XDrag(5, 5, 0, 0), nullptr);  // children refuse, parent not asked
    EXPECT_TRUE(parent.calls.empty());
    b->xdragResult = 1;
    EXPECT_EQ(parent.XDrag(5, 5, 0, 0), b);
    EXPECT_EQ(parent.XDrag(80, 80, 0, 0), nullptr);
    b->XDrop(20, 30, 0, 0);
    EXPECT_EQ(b->lastX, 20);
}

TEST(XControl, XDragStartHandsTheDragToTheWindow) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(10, 10, 20, 20));
    c->XDragStart(3, 4, XRect(0, 0, 5, 5), "x", 77);
    ASSERT_EQ(w.drags.size(), 1u);
    EXPECT_EQ(w.drags[0].source, c);
    EXPECT_EQ(w.drags[0].x, 3);
    EXPECT_EQ(w.drags[0].wParam, 77);
    delete c;
}

// ---- commands ----

TEST(XControl, ACommandIdOfMinusOneNeverLeavesTheControl) {
    FakeWindow w;
    Probe parent;
    parent.SetWindow(&w);
    Probe* child = new Probe;
    parent.AddControl(child);
    child->SetCommand(-1);
    child->Command(0, 0);
    child->SetCommand(0xFFFFFFFFL);
    child->Command(0, 0);
    EXPECT_TRUE(parent.calls.empty());
    EXPECT_TRUE(w.commands.empty());
    EXPECT_EQ(w.focus, child);  // the focus still moves
}

TEST(XControl, CommandsGoUpTheParentsAndThenToTheWindow) {
    FakeWindow w;
    Probe top;
    top.SetWindow(&w);
    Probe* mid = new Probe;
    Probe* leaf = new Probe;
    top.AddControl(mid);
    mid->AddControl(leaf);
    leaf->SetCommand(8);
    leaf->Command(1, 2);
    EXPECT_EQ(mid->calls, std::vector<std::string>{"handle"});
    EXPECT_EQ(top.calls, std::vector<std::string>{"handle"});
    EXPECT_EQ(w.commands, std::vector<unsigned long>{8});
    mid->handleResult = 1;
    leaf->Command(1, 2);
    EXPECT_EQ(top.calls.size(), 1u);  // intercepted by mid
    EXPECT_EQ(w.commands.size(), 1u);
}

// ---- values ----

TEST(XControl,
     SetValueIntWithTheCurrentValueReturnsZeroAndDoesNotCallOnValueChangedTransmitOrRedraw) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    Sink sink;
    c->Connect(FourCC("ival"), &sink, 1);
    c->Connect(FourCC("fval"), &sink, 2);
    c->SetRangeInt(0, 10, 1, 1);
    EXPECT_EQ(c->SetValueInt(0), 0);
    EXPECT_TRUE(c->values.empty());
    EXPECT_TRUE(sink.ints.empty());
    EXPECT_TRUE(sink.floats.empty());
    EXPECT_TRUE(w.drawn.empty());
    delete c;
}

TEST(XControl, SetValueIntStoresNotifiesRedrawsAndTransmits) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    Sink sink;
    ASSERT_EQ(c->Connect(FourCC("ival"), &sink, 1), 1);
    ASSERT_EQ(c->Connect(FourCC("fval"), &sink, 2), 1);
    c->SetRangeInt(0, 10, 1, 1);
    EXPECT_EQ(c->SetValueInt(7), 1);
    EXPECT_EQ(c->GetValueInt(), 7);
    EXPECT_EQ(c->values, std::vector<int>{7});
    EXPECT_EQ(w.drawn, std::vector<XControl*>{c});
    EXPECT_EQ(sink.ints, std::vector<int>{7});
    EXPECT_EQ(sink.floats, std::vector<float>{0.0f});  // the float value, unchanged
    delete c;
}

TEST(XControl, WithStepZeroAValueBeyondMaxIsStoredAsItIs) {
    Probe c;
    c.SetRangeInt(0, 10, 0, 0);
    EXPECT_EQ(c.SetValueInt(500), 1);
    EXPECT_EQ(c.GetValueInt(), 500);
}

TEST(XControl, WithAStepAValueOutsideTheRangeIsRefused) {
    Probe c;
    c.SetRangeInt(0, 10, 1, 1);
    EXPECT_EQ(c.SetValueInt(11), 0);
    EXPECT_EQ(c.SetValueInt(-1), 0);
    EXPECT_EQ(c.GetValueInt(), 0);
    EXPECT_TRUE(c.values.empty());
}

TEST(XControl, SetValueIntSnapsWithAnOffsetSlightlyBelowHalfAStep) {
    Probe c;
    c.SetRangeInt(0, 100, 10, 2);
    // offset = 100 / (100 / 10 + 1) * 0.5 = 4.545...
    c.SetValueInt(15);
    EXPECT_EQ(c.GetValueInt(), 10);  // (15 + 4.545) / 10 = 1.95 -> 1
    c.SetValueInt(16);
    EXPECT_EQ(c.GetValueInt(), 20);  // 2.05 -> 2
    c.SetValueInt(54, true);         // micro step 2: offset 100 / 51 * 0.5 = 0.98
    EXPECT_EQ(c.GetValueInt(), 54);
    c.SetValueInt(55, true);
    EXPECT_EQ(c.GetValueInt(), 54);  // (55 + 0.98) / 2 = 27.99 -> 27
}

TEST(XControl, SetValueIntSnapsFromTheMinimum) {
    Probe c;
    c.SetRangeInt(5, 25, 4, 0);
    c.SetValueInt(12);  // offset 20 / 6 * 0.5 = 1.67; (7 + 1.67) / 4 = 2.17 -> 5 + 8
    EXPECT_EQ(c.GetValueInt(), 13);
}

TEST(XControl, ACallbackReturningOneSkipsOnValueChanged) {
    Probe c;
    c.SetRangeInt(0, 10, 1, 1);
    static int seen;
    seen = -1;
    c.SetCallbackInt([](int v, XControl*) {
        seen = v;
        return 1;
    });
    c.SetValueInt(3);
    EXPECT_EQ(seen, 3);
    EXPECT_TRUE(c.values.empty());
    c.SetCallbackInt([](int, XControl*) { return 2; });
    c.SetValueInt(4);
    EXPECT_EQ(c.values, std::vector<int>{4});
}

TEST(XControl, AControlThatCannotDrawNowStaysDirty) {
    FakeWindow w;
    w.drawResult = false;  // as off the GUI thread
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    c->SetRangeInt(0, 10, 1, 1);
    c->SetValueInt(2);
    EXPECT_TRUE(c->IsDirty());
    w.drawResult = true;
    c->Update(nullptr);
    EXPECT_FALSE(c->IsDirty());
    EXPECT_EQ(w.drawn.size(), 2u);
    delete c;
}

TEST(XControl, SetValueFltMirrorsSetValueInt) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    Sink sink;
    c->Connect(FourCC("fval"), &sink, 2);
    c->SetRangeFlt(0.0f, 1.0f, 0.25f, 0.0f);
    EXPECT_EQ(c->SetValueFlt(0.0f), 0);
    EXPECT_EQ(c->SetValueFlt(1.5f), 0);
    EXPECT_EQ(c->SetValueFlt(0.6f), 1);
    EXPECT_FLOAT_EQ(c->GetValueFlt(), 0.5f);
    EXPECT_EQ(sink.floats.size(), 1u);
    EXPECT_EQ(c->calls, std::vector<std::string>{"fchanged"});
    delete c;
}

TEST(XControl, GetValueNormUsesTheIntegerValueWhenItHasAStep) {
    Probe c;
    c.SetRangeInt(0, 380, 1, 0);
    c.SetValueInt(95);
    EXPECT_FLOAT_EQ(c.GetValueNorm(), 0.25f);
    c.SetRangeInt(0, 0, 0, 0);
    c.SetRangeFlt(-1.0f, 1.0f, 0, 0);
    c.SetValueFlt(0.5f);
    EXPECT_FLOAT_EQ(c.GetValueNorm(), 0.75f);
}

TEST(XControl, GetValueNormOfAnEmptyRangeIsZero) {
    Probe c;
    c.SetRangeInt(5, 5, 1, 0);
    EXPECT_EQ(c.GetValueNorm(), 0.0f);
    c.SetRangeInt(0, 0, 0, 0);
    EXPECT_EQ(c.GetValueNorm(), 0.0f);
}

TEST(XControl, SetValueNormMapsOntoTheRange) {
    Probe c;
    c.SetRangeInt(0, 380, 1, 0);
    c.SetValueNorm(0.5f);
    EXPECT_EQ(c.GetValueInt(), 190);
}

// ---- state and drawing requests ----

TEST(XControl, ShowAndEnableRedrawOnlyWhenTheValueChanges) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    c->Show(true);
    c->Enable(true);
    EXPECT_TRUE(w.drawn.empty());
    c->Enable(false);
    EXPECT_EQ(w.drawn.size(), 1u);
    c->Hide();  // hidden: nothing to draw
    EXPECT_EQ(w.drawn.size(), 1u);
    c->Show(true);
    EXPECT_EQ(w.drawn.size(), 2u);
    delete c;
}

TEST(XControl, UpdateDrawsOnlyDirtyControls) {
    FakeWindow w;
    Probe* top = TopLevel(w, XRect(0, 0, 100, 100));
    Probe* a = new Probe;
    Probe* b = new Probe;
    top->AddControl(a);
    top->AddControl(b);
    b->SetDirty();
    top->Update(nullptr);
    EXPECT_EQ(w.drawn, std::vector<XControl*>{b});
    EXPECT_FALSE(b->IsDirty());
    delete top;
}

TEST(XControl, GroupShowWalksTheTree) {
    Probe top;
    Probe* a = new Probe;
    Probe* b = new Probe;
    top.AddControl(a);
    top.AddControl(b);
    a->SetGroup(3);
    top.GroupShow(3, false);
    EXPECT_FALSE(a->IsVisible());
    EXPECT_TRUE(b->IsVisible());
    top.GroupEnable(3, false);
    EXPECT_FALSE(a->IsEnabled());
}

// ---- tooltips ----

TEST(XControl, ToolTipShowsTwentyPixelsBelowThePointerPlusTheOffset) {
    FakeWindow w;
    w.screenX = 100;
    w.screenY = 200;
    w.offsetY = 7;
    Probe* c = TopLevel(w, XRect(10, 20, 60, 70));
    c->SetToolTip("Stop");
    c->ToolTip(15, 25);
    EXPECT_EQ(c->lastX, 5);
    EXPECT_EQ(c->lastY, 5);
    ASSERT_EQ(w.tips.size(), 1u);
    EXPECT_EQ(w.tips[0].x, 115);
    EXPECT_EQ(w.tips[0].y, 25 + 200 + 7 + 20);
    EXPECT_EQ(w.tips[0].text, "Stop");
    c->toolTipResult = 1;  // handled by the control itself
    c->ToolTip(15, 25);
    EXPECT_EQ(w.tips.size(), 1u);
    delete c;
}

TEST(XControl, NoToolTipTextShowsNothing) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(10, 20, 60, 70));
    c->ToolTip(15, 25);
    EXPECT_TRUE(w.tips.empty());
    delete c;
}

// ---- appearance ----

TEST(XControl, SetColorsTakesOnlyTheColoursASchemeSets) {
    XClass scheme("XTextBox");
    scheme.SetTextColor(XColor(245, 245, 255, 255));
    Probe c;
    c.SetColorBack(XColor(1, 2, 3, 255));
    c.SetColors(&scheme);
    EXPECT_EQ(c.GetColorText(), XColor(245, 245, 255, 255));
    EXPECT_EQ(c.GetColorBack(), XColor(1, 2, 3, 255));
}

TEST(XControl, LabelIsCopied) {
    Probe c;
    char text[] = "seconds";
    c.SetLabel(text);
    text[0] = 'X';
    EXPECT_STREQ(c.GetLabel(), "seconds");
    c.SetLabel(nullptr);
    EXPECT_EQ(c.GetLabel(), nullptr);
}

TEST(XControl, RedrawIsNotReenteredWhileItDraws) {
    struct ReentrantWindow : FakeWindow {
        bool DrawControl(XControl* c) override {
            FakeWindow::DrawControl(c);
            c->Redraw();  // a hook that asks for another redraw while drawing
            return true;
        }
    } w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    c->Redraw();
    EXPECT_EQ(w.drawn.size(), 1u);
    EXPECT_FALSE(c->m_bRedrawing);
    delete c;
}

TEST(XControl, ExtremeRangesAndValuesStayDefined) {
    Probe c;
    c.SetRangeInt(-2147483647 - 1, 2147483647, 0, 3);
    EXPECT_EQ(c.SetValueInt(2147483647, true), 1);  // micro step 3 over the whole int range
    EXPECT_GE(c.GetValueInt(), 2147483000);
    c.SetRangeInt(10, 0, 5, 5);  // reversed range: every value is outside it
    EXPECT_EQ(c.SetValueInt(0), 0);
    EXPECT_EQ(c.SetValueNorm(1.0f), 0);
    EXPECT_EQ(c.GetValueInt(), 2147483647);
    EXPECT_LT(c.GetValueNorm(), 0.0f);
}

TEST(XControl, MoveAndUpReachTheHooksAndUpEndsThePress) {
    FakeWindow w;
    Probe* c = TopLevel(w, XRect(0, 0, 10, 10));
    XMouseEvent e;
    e.SetClick(2, 2, 1);
    c->MouseDown(&e);
    e.SetMouse(4, 4);
    c->MouseMove(&e);
    c->MouseUp(&e);
    EXPECT_EQ(c->calls, (std::vector<std::string>{"down", "move", "up"}));
    EXPECT_FALSE(c->m_bMouseDown);
    delete c;
}

TEST(XControl, WithoutAWindowRedrawCountsAsDrawn) {
    Probe c;
    c.SetDirty();
    c.Redraw();
    EXPECT_FALSE(c.IsDirty());
    c.SetDirty();
    c.Hide();
    c.Redraw();  // hidden: nothing happens
    EXPECT_TRUE(c.IsDirty());
}

TEST(XControl, CommandCarriesItsParametersToTheWindow) {
    struct ParamWindow : FakeWindow {
        long w = 0, l = 0;
        void ControlCommand(unsigned long id, long wParam, long lParam) override {
            FakeWindow::ControlCommand(id, wParam, lParam);
            w = wParam, l = lParam;
        }
    } win;
    Probe* c = TopLevel(win, XRect(0, 0, 10, 10));
    c->SetCommand(14);
    c->Command(3, 4);
    EXPECT_EQ(win.commands, std::vector<unsigned long>{14});
    EXPECT_EQ(win.w, 3);
    EXPECT_EQ(win.l, 4);
    delete c;
}

namespace {
// Offers a file for drags that start in its left half.
class DragOutProbe : public XControl {
  public:
    const char* OnDragOutPath(int x, int y) override {
        lastX = x;
        lastY = y;
        return x < GetLocalRect().Width() / 2 ? "/samples/kick.wav" : nullptr;
    }
    int lastX = -1, lastY = -1;
};
}  // namespace

TEST(XControl, ADragOutIsAskedInLocalCoordinatesAndTheBaseCarriesNothing) {
    XControl plain;
    plain.SetWindowRect(XRect(10, 20, 49, 59));
    EXPECT_EQ(plain.DragOutPath(15, 25), nullptr);
    DragOutProbe probe;
    probe.SetWindowRect(XRect(10, 20, 49, 59));
    EXPECT_STREQ(probe.DragOutPath(15, 25), "/samples/kick.wav");
    EXPECT_EQ(probe.lastX, 5);
    EXPECT_EQ(probe.lastY, 5);
    EXPECT_EQ(probe.DragOutPath(45, 25), nullptr);
}
