// A control drawn again on its own (Redraw, or an update of a dirty control) on a
// real window: what lies under it is drawn first, so its transparent pixels show
// the window as it is now, not what the control drew there before.
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <thread>

#include "GuiLoop.h"
#include "XControl.h"
#include "XDrawLib.h"
#include "XWindowStd.h"

using testgui::Pump;
using testgui::PumpUntil;

namespace {

const XColor kBlue(0, 0, 255, 255);
const XColor kRed(255, 0, 0, 255);
const XColor kYellow(255, 255, 0, 255);
const XColor kGreen(0, 255, 0, 255);

// Fills its rectangle with its fore colour in OnDraw: not opaque as the framework
// sees it (no back colour), like a pane drawn from a picture.
class Fill : public XControl {
  public:
    void OnDraw(XDrawLib* lib) override {
        ++draws;
        lib->FillSolidRect(GetLocalRect(), m_colorFore);
    }
    int draws = 0;
};

// Transparent: a full red square while `big`, else a 4 x 4 green corner.
class Spot : public XControl {
  public:
    Spot() { SetTransparent(true); }
    void OnDraw(XDrawLib* lib) override {
        if (big)
            lib->FillSolidRect(GetLocalRect(), kRed);
        else
            lib->FillSolidRect(XRect(0, 0, 3, 3), kGreen);
    }
    bool big = true;
};

class XWindowOwnRedraw : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void SetUp() override {
        w.SetTitle(const_cast<char*>("own redraw"));
        w.SetSize(120, 60);
        w.Create();
    }
    void TearDown() override {
        w.Hide();
        Pump();
    }
    // The view's pixel at (x, y) as the X server holds it.
    XColor At(int x, int y) {
        GdkPixbuf* pix = gdk_pixbuf_get_from_window(gtk_widget_get_window(w.GetView()), x, y, 1, 1);
        if (!pix) return XColor(1, 2, 3, 4);
        const guchar* p = gdk_pixbuf_get_pixels(pix);
        XColor c(p[0], p[1], p[2], 255);
        g_object_unref(pix);
        return c;
    }
    void ShowAndWaitFor(int x, int y, XColor c) {
        w.Show();
        ASSERT_TRUE(PumpUntil([&] { return At(x, y) == c; })) << "the window was never drawn";
    }
    XWindow w;
};

}  // namespace

TEST_F(XWindowOwnRedraw, ATransparentChildRedrawnOnItsOwnShowsItsParentsDrawingAgain) {
    Fill* pane = new Fill;
    pane->SetWindowRect(XRect(0, 0, 119, 59));
    pane->SetColorFore(kBlue);
    w.AddControl(pane);
    Spot* spot = new Spot;
    pane->AddControl(spot);
    spot->SetWindowRect(XRect(20, 10, 59, 49));
    ShowAndWaitFor(40, 30, kRed);
    spot->big = false;
    spot->Redraw();
    EXPECT_TRUE(PumpUntil([&] { return At(40, 30) == kBlue; })) << "the old picture stays";
    EXPECT_EQ(At(20, 10), kGreen) << "the new picture is drawn over the parent";
    EXPECT_EQ(At(59, 49), kBlue);
    EXPECT_EQ(At(10, 10), kBlue);
}

TEST_F(XWindowOwnRedraw, AnEarlierOverlappingControlIsDrawnUnderItAndKeepsItsDirtyMark) {
    Fill* below = new Fill;
    below->SetWindowRect(XRect(0, 0, 59, 59));
    below->SetColorFore(kYellow);
    w.AddControl(below);
    Fill* beside = new Fill;  // does not overlap: not drawn again
    beside->SetWindowRect(XRect(100, 0, 119, 59));
    beside->SetColorFore(kBlue);
    w.AddControl(beside);
    Spot* spot = new Spot;
    spot->SetWindowRect(XRect(40, 20, 79, 59));
    w.AddControl(spot);
    Fill* above = new Fill;  // later in the list: lies over the spot, not under it
    above->SetWindowRect(XRect(70, 20, 89, 59));
    above->SetColorFore(kBlue);
    w.AddControl(above);
    ShowAndWaitFor(50, 30, kRed);
    int belowDraws = below->draws, besideDraws = beside->draws, aboveDraws = above->draws;
    below->SetDirty(true);
    spot->big = false;
    spot->Redraw();
    EXPECT_TRUE(PumpUntil([&] { return At(50, 30) == kYellow; })) << "the old picture stays";
    EXPECT_EQ(At(40, 20), kGreen);
    EXPECT_TRUE(below->IsDirty()) << "drawn only in part, it still needs its own drawing";
    EXPECT_EQ(below->draws, belowDraws + 1);
    EXPECT_EQ(beside->draws, besideDraws) << "a control that does not overlap is not drawn";
    EXPECT_EQ(above->draws, aboveDraws) << "a control drawn after it does not lie under it";
}

TEST_F(XWindowOwnRedraw, AnOpaqueControlIsDrawnWithoutWhatLiesUnderIt) {
    Fill* pane = new Fill;
    pane->SetWindowRect(XRect(0, 0, 119, 59));
    pane->SetColorFore(kBlue);
    w.AddControl(pane);
    XControl* solid = new XControl;
    pane->AddControl(solid);
    solid->SetWindowRect(XRect(20, 10, 59, 49));
    solid->SetColorBack(kGreen);
    EXPECT_TRUE(solid->IsOpaque());
    ShowAndWaitFor(40, 30, kGreen);
    pane->SetColorFore(kRed);  // would show if the pane were drawn under the control
    solid->Redraw();
    Pump();
    EXPECT_EQ(At(20, 10), kGreen);
    EXPECT_EQ(At(10, 10), kBlue) << "nothing outside the control is drawn";
    solid->SetTransparent(true);
    EXPECT_FALSE(solid->IsOpaque());
    solid->SetTransparent(false);
    solid->SetColorBack(XColor(0, 255, 0, 128));
    EXPECT_FALSE(solid->IsOpaque()) << "a translucent back colour shows what is under it";
}
