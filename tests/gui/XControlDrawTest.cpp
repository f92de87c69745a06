// A control tree drawn through the drawing library into an image surface.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestCanvas.h"
#include "XControl.h"
#include "XDrawLib.h"

namespace {

const XColor kRed(255, 0, 0, 255);
const XColor kBlue(0, 0, 255, 255);
const XColor kGreen(0, 255, 0, 255);

// A control that records the order of its own drawing and draws a dot around
// local (4, 4) in its fore colour.
class Painter : public XControl {
  public:
    std::vector<std::string>* log = nullptr;
    std::string name;
    void OnDraw(XDrawLib* lib) override {
        if (log) log->push_back(name);
        lib->DrawSpot(4, 4, m_colorFore);
    }
};

}  // namespace

TEST(XControlDraw, DrawFillsTheBackgroundFramesAndCallsOnDrawInLocalCoordinates) {
    Canvas s(20, 20);
    Painter c;
    c.SetWindowRect(XRect(5, 5, 14, 14));
    c.SetColorBack(kBlue);
    c.SetColorFrame(kRed);
    c.SetFrame(1);
    c.SetColorFore(kGreen);
    c.SetDirty();
    c.Draw(&s.lib);
    EXPECT_FALSE(c.IsDirty());
    EXPECT_EQ(s.At(4, 4), kWhite);
    EXPECT_EQ(s.At(5, 5), kRed);    // frame on the edge
    EXPECT_EQ(s.At(14, 14), kRed);  // both edges belong to the control
    EXPECT_EQ(s.At(15, 15), kWhite);
    EXPECT_EQ(s.At(8, 8), kGreen);  // OnDraw's spot around local (4, 4)
    EXPECT_EQ(s.At(10, 10), kGreen);
    EXPECT_EQ(s.At(12, 12), kBlue);
}

TEST(XControlDraw, ATransparentControlDrawsNoBackground) {
    Canvas s(20, 20);
    Painter c;
    c.SetWindowRect(XRect(5, 5, 14, 14));
    c.SetColorBack(kBlue);
    c.SetTransparent(true);
    c.Draw(&s.lib);
    EXPECT_EQ(s.At(10, 10), kWhite);
}

TEST(XControlDraw, ChildrenDrawAfterTheirParentInListOrderAndAreClippedToIt) {
    Canvas s(30, 30);
    std::vector<std::string> log;
    Painter parent;
    parent.log = &log;
    parent.name = "parent";
    parent.SetWindowRect(XRect(0, 0, 19, 19));
    parent.SetColorBack(kBlue);
    Painter* a = new Painter;
    Painter* b = new Painter;
    Painter* hidden = new Painter;
    a->log = b->log = hidden->log = &log;
    a->name = "a", b->name = "b", hidden->name = "hidden";
    parent.AddControl(a);
    parent.AddControl(b);
    parent.AddControl(hidden);
    a->SetWindowRect(XRect(10, 10, 25, 25));  // overflows the parent
    a->SetColorBack(kRed);
    b->SetWindowRect(XRect(15, 15, 19, 19));
    b->SetColorBack(kGreen);
    hidden->SetVisible(false);
    parent.DrawWithChilds(&s.lib);
    EXPECT_EQ(log, (std::vector<std::string>{"parent", "a", "b"}));
    EXPECT_EQ(s.At(11, 11), kRed);
    EXPECT_EQ(s.At(17, 17), kGreen);  // b on top of a
    EXPECT_EQ(s.At(22, 22), kWhite);  // a is clipped to its parent
}

TEST(XControlDraw, UpdateWithALibraryDrawsOnlyDirtyControls) {
    Canvas s(30, 30);
    std::vector<std::string> log;
    Painter parent;
    parent.log = &log;
    parent.name = "parent";
    parent.SetWindowRect(XRect(0, 0, 29, 29));
    Painter* a = new Painter;
    Painter* b = new Painter;
    a->log = b->log = &log;
    a->name = "a", b->name = "b";
    parent.AddControl(a);
    parent.AddControl(b);
    b->SetDirty();
    parent.Update(&s.lib);
    EXPECT_EQ(log, std::vector<std::string>{"b"});
    log.clear();
    parent.SetDirty();
    parent.Update(&s.lib);  // a dirty parent draws with its children, then stops
    EXPECT_EQ(log, (std::vector<std::string>{"parent", "a", "b"}));
}

TEST(XControlDraw, A3DControlGetsOneRaisedBevel) {
    Canvas s(20, 20);
    Painter c;
    c.SetWindowRect(XRect(0, 0, 9, 9));
    XColor base(100, 100, 100, 255);
    c.SetColorBack(base);
    c.Set3D(true);
    c.Draw(&s.lib);
    EXPECT_EQ(s.At(0, 4), base.Light(1.3f));
    EXPECT_EQ(s.At(9, 4), base.Light(0.7f));
    EXPECT_EQ(s.At(4, 4), base);
}
