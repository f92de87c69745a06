// One control of each kind in a real window on the X display, with the menu bar,
// the toolbar and a tooltip: the screen must show what the controls draw
// off-screen. With VELOTUNE_WRITE_DOCS=1 the picture of the window is written to
// docs/controls.png.
#include <cairo.h>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "StdMenu.h"
#include "StdToolBar.h"
#include "XButton.h"
#include "XCheckBox.h"
#include "XDrawLib.h"
#include "XEditBox.h"
#include "XLabel.h"
#include "XPane.h"
#include "XPanel.h"
#include "XProgress.h"
#include "XTextBox.h"
#include "XTogVol.h"
#include "XToggle.h"
#include "XToolTip.h"
#include "XWindowStd.h"

namespace {

constexpr int kViewW = 400, kViewH = 170;
const XColor kLight(235, 238, 245, 255);
// The popup's text is rasterised with the screen's font options, which may
// differ from an image surface's at the edges of glyphs.
constexpr double kTipTolerance = 0.05;

void Pump() {
    for (int round = 0; round < 3; ++round)
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
}

// The window of the gallery: every control kind, built in OnCreate.
class GalleryWindow : public XWindow {
  public:
    GalleryWindow() {
        SetSize(kViewW, kViewH);
        SetTitle(const_cast<char*>("Velotune controls"));
        SetType(kWindowCloseBox);
        SetPosition(20, 20);
    }
    int OnCreate() override {
        AddMacMenuItem(const_cast<char*>("About Velotune..."), 4, false);
        StdMenu* file = CreateMenuBar()->AddMenu("File");
        file->AddMenuItem("New File", 0);
        file->AddMenuItem("Open File", 1);
        file->AddMenuItem("Save File", 2);
        StdToolBar* tools = CreateToolBar(kViewW, 0);
        tools->AddItem("Previous", "btn_prev.png", 7);
        tools->AddItem("Next", "btn_next.png", 9);
        tools->AddItem("Settings", "btn_info.png", 11);
        tools->Show();

        auto* back = new XPane(this, XRect(0, 0, kViewW - 1, kViewH - 1));
        back->SetColorFore(XColor(40, 44, 54, 255));
        back->SetColorFrame(XColor(70, 76, 92, 255));
        Add(back);
        auto* button = new XButton(this, XRect(10, 10, 57, 57), 8);
        button->SetPic("btn_play.png");
        button->SetToolTip("Play");
        Add(button);
        auto* toggle = new XToggle(this, XRect(66, 10, 113, 57), 8);
        toggle->SetPic("btn_play.png", "btn_pause.png");
        toggle->SetRangeInt(0, 1, 1, 0);
        toggle->SetValueInt(1);
        Add(toggle);
        auto* check = new XCheckBox(this, XRect(124, 12, 244, 30), 13);
        check->SetTransparent(true);
        check->SetColorText(kLight);
        check->SetLabel("Playback Limit:");
        check->SetRangeInt(0, 1, 1, 0);
        check->SetValueInt(1);
        Add(check);
        auto* edit = new XEditBox(this, XRect(248, 14, 278, 30), 14);
        edit->SetJustify(0);
        edit->SetFormat(2, 3);
        edit->SetColorText(kLight);
        edit->SetLabel("30");
        Add(edit);
        auto* label = new XLabel(this, XRect(283, 14, 338, 30), -1);
        label->SetColorText(kLight);
        label->SetLabel("seconds");
        Add(label);
        auto* text = new XTextBox(this, XRect(124, 38, 244, 54), -1);
        text->SetTransparent(true);
        text->SetJustify(-1);
        text->SetColorText(XColor(245, 245, 255, 255));
        text->SetLabel("Rate: 44100 Hz");
        Add(text);
        auto* progress = new XProgress(this, XRect(10, 68, 389, 80));
        progress->SetColorBack(XColor(72, 80, 96, 255));
        progress->SetColorFore(XColor(20, 20, 140, 255));
        progress->SetColorFrame(XColor(0, 0, 0, 0));
        progress->SetRangeInt(0, 100, 1, 0);
        progress->SetValueInt(60);
        Add(progress);
        auto* panel = new XPanel(this, XRect(10, 92, 180, 160), -1);
        Add(panel);
        auto* vol = new XTogVol(this, XRect(196, 96, 215, 112), 10);
        vol->AddPic("icn_vol_l.png");
        vol->AddPic("icn_vol_m.png");
        vol->AddPic("icn_vol_h.png");
        Add(vol);
        auto* pane = new XPane(this, XRect(230, 92, 389, 160));
        pane->SetColorFore(XColor(60, 66, 82, 255));
        Add(pane);
        return 0;
    }
    void Add(XControl* c) {
        AddControl(c);
        order.push_back(c);
    }
    std::vector<XControl*> order;
};

// An RGB image read from the screen.
struct Shot {
    GdkPixbuf* pix = nullptr;
    ~Shot() {
        if (pix) g_object_unref(pix);
    }
    XColor At(int x, int y) const {
        const guchar* p = gdk_pixbuf_read_pixels(pix) + y * gdk_pixbuf_get_rowstride(pix) +
                          x * gdk_pixbuf_get_n_channels(pix);
        return XColor(p[0], p[1], p[2], 255);
    }
};

// An image surface the controls draw into, as the window draws them.
struct OffScreen {
    cairo_surface_t* surface;
    cairo_t* cr;
    OffScreen(int w, int h, XColor background) {
        surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        cr = cairo_create(surface);
        cairo_set_source_rgb(cr, background.red() / 255.0, background.green() / 255.0,
                             background.blue() / 255.0);
        cairo_paint(cr);
    }
    ~OffScreen() {
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
    }
    XColor At(int x, int y) {
        cairo_surface_flush(surface);
        const unsigned char* data = cairo_image_surface_get_data(surface);
        uint32_t p = *reinterpret_cast<const uint32_t*>(
            data + y * cairo_image_surface_get_stride(surface) + x * 4);
        return XColor((p >> 16) & 255, (p >> 8) & 255, p & 255, 255);
    }
};

bool Near(XColor a, XColor b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

// Share of the pixels of `rc` (in off-screen coordinates, at (dx, dy) on the
// shot) whose colours differ by more than a little. Text may be rasterised with
// other font options on the screen than in an image, hence the tolerance.
double Mismatch(const Shot& shot, int dx, int dy, OffScreen& off, XRect rc) {
    int bad = 0, all = 0;
    for (int y = rc.top; y <= rc.bottom; ++y)
        for (int x = rc.left; x <= rc.right; ++x) {
            ++all;
            if (!Near(shot.At(dx + x, dy + y), off.At(x, y), 24)) ++bad;
        }
    return all ? static_cast<double>(bad) / all : 1.0;
}

bool ScreenOrigin(GtkWidget* w, int& x, int& y) {
    GtkWidget* top = gtk_widget_get_toplevel(w);
    if (!gtk_widget_get_mapped(w)) return false;
    int ox = 0, oy = 0, tx = 0, ty = 0;
    gdk_window_get_origin(gtk_widget_get_window(top), &ox, &oy);
    if (!gtk_widget_translate_coordinates(w, top, 0, 0, &tx, &ty)) return false;
    x = ox + tx;
    y = oy + ty;
    return true;
}

}  // namespace

TEST(ControlGallery, TheScreenShowsWhatEachControlAndTheTooltipDrawOffScreen) {
    ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    g_object_set(gtk_settings_get_default(), "gtk-application-prefer-dark-theme", TRUE, nullptr);
    GalleryWindow w;
    w.Show();
    int vx = 0, vy = 0;
    for (int i = 0; i < 500 && !ScreenOrigin(w.GetView(), vx, vy); ++i) {
        Pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(ScreenOrigin(w.GetView(), vx, vy));
    ASSERT_EQ(w.GetWidth(), kViewW);
    ASSERT_EQ(w.GetHeight(), kViewH);
    // The tooltip of the play button, over the right-hand pane.
    const char* tipText = "Play\nStarts the sound under the cursor";
    int tx = vx + 236, ty = vy + 104;
    w.GetToolTip()->Show(&w, tx, ty, tipText, false, nullptr);
    XToolTip* tip = w.GetToolTip();

    // What the controls draw off-screen, over the view's own background (read
    // from the screen at the pane's cut corner, which no control covers).
    GdkWindow* root = gdk_get_default_root_window();
    const XRect tipRect(236, 104, 236 + tip->Width() - 1, 104 + tip->Height() - 1);
    double worst = 1.0;
    Shot shot;
    for (int attempt = 0; attempt < 300; ++attempt) {
        Pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        Pump();
        if (shot.pix) g_object_unref(shot.pix);
        shot.pix = gdk_pixbuf_get_from_window(root, vx, vy, kViewW, kViewH);
        ASSERT_NE(shot.pix, nullptr);
        OffScreen off(kViewW, kViewH, shot.At(0, 0));
        XDrawLib lib;
        int fakeWindow = 0;
        lib.Init(&fakeWindow, 0, 0);
        ASSERT_TRUE(lib.Open(XRect(0, 0, kViewW - 1, kViewH - 1), off.cr));
        for (XControl* c = w.GetFirstControl(); c; c = c->GetNext()) c->DrawWithChilds(&lib);
        lib.Close();
        worst = 0;
        for (XControl* c : w.order) {
            XRect rc = c->GetWindowRect();
            if (rc.right >= tipRect.left && rc.bottom >= tipRect.top && c != w.order.front())
                continue;  // under the tooltip: checked below with it
            XRect part = rc;
            if (c == w.order.front()) part.bottom = tipRect.top - 1;  // the background
            worst = std::max(worst, Mismatch(shot, 0, 0, off, part));
        }
        // Solid pixels are exact: the progress bar at 60 % and the panel.
        if (shot.At(100, 74) != off.At(100, 74) || shot.At(300, 74) != off.At(300, 74) ||
            shot.At(95, 126) != off.At(95, 126))
            worst = 1.0;
        if (worst < 0.01) break;
    }
    EXPECT_LT(worst, 0.01);

    // The tooltip: its popup on the screen equals its drawing off-screen.
    ASSERT_TRUE(gtk_widget_get_mapped(tip->GetWindow()));
    OffScreen tipOff(tip->Width(), tip->Height(), XColor(255, 255, 255, 255));
    tip->Draw(tipOff.cr);
    Shot tipShot;
    double tipWorst = 1.0;
    for (int attempt = 0; attempt < 300 && tipWorst >= kTipTolerance; ++attempt) {
        Pump();
        if (tipShot.pix) g_object_unref(tipShot.pix);
        tipShot.pix = gdk_pixbuf_get_from_window(root, tx, ty, tip->Width(), tip->Height());
        ASSERT_NE(tipShot.pix, nullptr);
        tipWorst =
            Mismatch(tipShot, 0, 0, tipOff, XRect(0, 0, tip->Width() - 1, tip->Height() - 1));
        if (tipWorst >= kTipTolerance) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_LT(tipWorst, kTipTolerance);
    EXPECT_EQ(tipShot.At(0, 0), XToolTip::FrameColor());
    EXPECT_EQ(tipShot.At(tip->Width() - 4, tip->Height() / 2), XToolTip::BackColor());

    // The picture of the whole window with its tooltip, for the documentation.
    const char* write = getenv("VELOTUNE_WRITE_DOCS");
    if (write && strcmp(write, "1") == 0) {
        GdkWindow* frame = gtk_widget_get_window(w.GetGtkWindow());
        int fx = 0, fy = 0;
        gdk_window_get_origin(frame, &fx, &fy);
        int fw = gdk_window_get_width(frame), fh = gdk_window_get_height(frame);
        fw = std::max(fw, tx + tip->Width() - fx);
        fh = std::max(fh, ty + tip->Height() - fy);
        GdkPixbuf* all = gdk_pixbuf_get_from_window(root, fx, fy, fw, fh);
        ASSERT_NE(all, nullptr);
        std::string path = std::string(VELOTUNE_SOURCE_DIR) + "/docs/controls.png";
        GError* error = nullptr;
        EXPECT_TRUE(gdk_pixbuf_save(all, path.c_str(), "png", &error, nullptr))
            << (error ? error->message : "");
        if (error) g_error_free(error);
        g_object_unref(all);
    }
    tip->Hide();
    Pump();
}
