// The tooltip: text layout, its popup window on the X display, and its drawing.
#include <cairo.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <pango/pangocairo.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "GuiLoop.h"
#include "XControl.h"
#include "XToolTip.h"
#include "XWindowStd.h"

using testgui::Pump;
using testgui::PumpUntil;

namespace {

// Width of `text` in the tooltip's font, measured as the tooltip measures.
int TextWidth(const std::string& text) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
    cairo_t* cr = cairo_create(s);
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* desc =
        pango_font_description_from_string("Lucida Grande, DejaVu Sans, sans-serif");
    pango_font_description_set_absolute_size(desc, 11 * PANGO_SCALE);
    pango_layout_set_font_description(layout, desc);
    pango_font_description_free(desc);
    pango_layout_set_text(layout, text.c_str(), -1);
    int w = 0, h = 0;
    pango_layout_get_pixel_size(layout, &w, &h);
    g_object_unref(layout);
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    return w;
}

XColor PixelAt(cairo_surface_t* s, int x, int y) {
    cairo_surface_flush(s);
    const unsigned char* data = cairo_image_surface_get_data(s);
    int stride = cairo_image_surface_get_stride(s);
    uint32_t p = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
    return XColor((p >> 16) & 255, (p >> 8) & 255, p & 255, p >> 24);
}

class ParentWindow : public XWindow {
  public:
    ParentWindow() {
        SetSize(160, 90);
        SetTitle(const_cast<char*>("tooltip parent"));
    }
};

}  // namespace

// ---- layout (no window) ----

TEST(XToolTip, ATooltipTextWithAnEmbeddedLineFeedShowsTwoLinesEvenWhenItIsShort) {
    XToolTip tip;
    tip.Show(nullptr, 0, 0, "Stop\nNow", false, nullptr);
    ASSERT_EQ(tip.LineCount(), 2);
    EXPECT_STREQ(tip.Line(0), "Stop");
    EXPECT_STREQ(tip.Line(1), "Now");
    EXPECT_EQ(tip.Width(), XToolTip::kDefaultWidth);
    EXPECT_GT(tip.Height(), XToolTip::kDefaultHeight);
}

TEST(XToolTip, ACarriageReturnEndsALineAndCarriageReturnLineFeedCountsOnce) {
    XToolTip tip;
    tip.Show(nullptr, 0, 0, "a\rb\r\nc", false, nullptr);
    ASSERT_EQ(tip.LineCount(), 3);
    EXPECT_STREQ(tip.Line(0), "a");
    EXPECT_STREQ(tip.Line(1), "b");
    EXPECT_STREQ(tip.Line(2), "c");
}

TEST(XToolTip, ASingleWordWiderThanTheTooltipStaysOnALineOfItsOwn) {
    std::string wide(60, 'W');
    ASSERT_GT(TextWidth(wide), XToolTip::kDefaultWidth);
    std::string text = "go " + wide + " on";
    XToolTip tip;
    tip.Show(nullptr, 0, 0, text.c_str(), false, nullptr);
    ASSERT_EQ(tip.LineCount(), 3);
    EXPECT_STREQ(tip.Line(0), "go");
    EXPECT_EQ(std::string(tip.Line(1)), wide);
    EXPECT_STREQ(tip.Line(2), "on");
}

TEST(XToolTip, AWordWiderThanTheTooltipWidensItSoThatNothingIsCut) {
    std::string path = "/home/musician/Samples/" + std::string(50, 'k') + "-kick-long-name.wav";
    ASSERT_GT(TextWidth(path) + 6, XToolTip::kDefaultWidth);
    XToolTip tip;
    tip.Show(nullptr, 0, 0, path.c_str(), false, nullptr);
    ASSERT_EQ(tip.LineCount(), 1);
    EXPECT_EQ(std::string(tip.Line(0)), path);
    EXPECT_EQ(tip.Width(), TextWidth(path) + 6);
}

TEST(XToolTip, AShortTextStaysOnOneLineAtTheDefaultSize) {
    XToolTip tip;
    tip.Show(nullptr, 5, 6, "Next Sample", false, nullptr);
    EXPECT_EQ(tip.LineCount(), 1);
    EXPECT_STREQ(tip.Line(0), "Next Sample");
    EXPECT_EQ(tip.Width(), 180);
    EXPECT_EQ(tip.Height(), 16);
    EXPECT_TRUE(tip.IsShown());
    EXPECT_EQ(tip.ShownX(), 5);
    EXPECT_EQ(tip.ShownY(), 6);
    EXPECT_EQ(tip.GetWindow(), nullptr);  // no parent window: nothing made
}

TEST(XToolTip, FitNarrowsAOneLineTooltipToItsText) {
    XToolTip tip;
    tip.Show(nullptr, 0, 0, "Stop", true, nullptr);
    EXPECT_EQ(tip.Width(), TextWidth("Stop") + 6);
    EXPECT_LT(tip.Width(), 180);
}

TEST(XToolTip, ALongTextWrapsGreedilyWithEveryLineWithinTheWidth) {
    std::string text =
        "Drop sound files or whole folders onto the window and they play one after "
        "the other while the list below keeps every name";
    XToolTip tip;
    tip.Show(nullptr, 0, 0, text.c_str(), false, nullptr);
    ASSERT_GT(tip.LineCount(), 2);
    std::string joined;
    for (int i = 0; i < tip.LineCount(); ++i) {
        std::string line = tip.Line(i);
        EXPECT_LE(TextWidth(line) + 6, 180) << line;
        // Greedy: the next line's first word would not have fitted on this one.
        if (i + 1 < tip.LineCount()) {
            std::string next = tip.Line(i + 1);
            std::string first = next.substr(0, next.find(' '));
            EXPECT_GT(TextWidth(line + " " + first) + 6, 180) << line;
        }
        joined += (i ? " " : "") + line;
    }
    EXPECT_EQ(joined, text);
    EXPECT_EQ(tip.Height(), tip.LineCount() * XToolTip::kLineHeight + 3);
}

TEST(XToolTip, AtMostThirtyTwoLinesAreLaidOut) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += std::to_string(i) + "\n";
    XToolTip tip;
    tip.Show(nullptr, 0, 0, text.c_str(), false, nullptr);
    EXPECT_EQ(tip.LineCount(), XToolTip::kMaxLines);
    EXPECT_STREQ(tip.Line(31), "31");
    EXPECT_STREQ(tip.Line(32), "");
}

TEST(XToolTip, TheTextBufferGrowsForALongerTextAndKeepsEachCopy) {
    XToolTip tip;
    tip.Show(nullptr, 0, 0, "ab", false, nullptr);
    std::string longer(300, 'x');
    tip.Show(nullptr, 0, 0, longer.c_str(), false, nullptr);
    EXPECT_EQ(std::string(tip.Line(0)), longer);
    tip.Show(nullptr, 0, 0, "cd", false, nullptr);
    EXPECT_STREQ(tip.Line(0), "cd");
    tip.Show(nullptr, 0, 0, nullptr, false, nullptr);
    EXPECT_EQ(tip.LineCount(), 1);
    EXPECT_STREQ(tip.Line(0), "");
}

TEST(XToolTip, APictureGivesTheWindowItsSizeAndAMissingOneTheDefault) {
    XToolTip tip;
    tip.Show(nullptr, 0, 0, "Settings", false, "btn_info.png");
    ASSERT_GT(tip.PicWidth(), 0);
    EXPECT_EQ(tip.Width(), tip.PicWidth());
    EXPECT_EQ(tip.Height(), tip.PicHeight());
    tip.Show(nullptr, 0, 0, "Settings", false, "no_such_picture.png");
    EXPECT_EQ(tip.PicWidth(), 0);
    EXPECT_EQ(tip.Width(), 180);
    EXPECT_EQ(tip.Height(), 16);
    tip.Show(nullptr, 0, 0, "Settings", false, "btn_info.png");
    tip.ClearPic();
    EXPECT_EQ(tip.PicWidth(), 0);
}

TEST(XToolTip, ANameThatIsNotUtf8IsLaidOutAsItsDisplayName) {
    const char* path = "/samples/caf\xe9-latin1.wav";
    gchar* name = g_filename_display_name(path);
    XToolTip tip;
    tip.Show(nullptr, 0, 0, path, false, nullptr);
    ASSERT_EQ(tip.LineCount(), 1);
    EXPECT_STREQ(tip.Line(0), name);
    g_free(name);
}

// ---- drawing ----

TEST(XToolTip, DrawFillsTheBackgroundWritesTheTextAndStrokesTheOutline) {
    XToolTip tip;
    tip.Show(nullptr, 0, 0, "Volume", false, nullptr);
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 200, 30);
    cairo_t* cr = cairo_create(s);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    tip.Draw(cr);
    // Outline on all four edges of the 180 x 16 window.
    EXPECT_EQ(PixelAt(s, 0, 0), XToolTip::FrameColor());
    EXPECT_EQ(PixelAt(s, 179, 0), XToolTip::FrameColor());
    EXPECT_EQ(PixelAt(s, 0, 15), XToolTip::FrameColor());
    EXPECT_EQ(PixelAt(s, 179, 15), XToolTip::FrameColor());
    EXPECT_EQ(PixelAt(s, 90, 15), XToolTip::FrameColor());
    // Background right of the short text; nothing outside the window.
    EXPECT_EQ(PixelAt(s, 170, 8), XToolTip::BackColor());
    EXPECT_EQ(PixelAt(s, 185, 8), XColor(255, 255, 255, 255));
    EXPECT_EQ(PixelAt(s, 10, 20), XColor(255, 255, 255, 255));
    // The text: light pixels inside its measured extent only.
    int tw = TextWidth("Volume");
    int lit = 0;
    for (int y = 1; y < 15; ++y)
        for (int x = 1; x < 179; ++x) {
            XColor c = PixelAt(s, x, y);
            if (c.red() > 120) {
                ++lit;
                EXPECT_LT(x, 3 + tw + 1) << x << "," << y;
            }
        }
    EXPECT_GT(lit, 10);
    cairo_destroy(cr);
    cairo_surface_destroy(s);
}

// ---- the popup window ----

class XToolTipWindow : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void TearDown() override { Pump(); }
};

TEST_F(XToolTipWindow, AShownTooltipIsMappedAtTheAskedPlaceAndHiddenByHide) {
    ParentWindow parent;
    parent.Create();
    parent.Show();
    Pump();
    XToolTip tip;
    tip.Show(&parent, 100, 120, "Previous Sample", false, nullptr);
    GtkWidget* win = tip.GetWindow();
    ASSERT_NE(win, nullptr);
    EXPECT_EQ(gtk_window_get_transient_for(GTK_WINDOW(win)), GTK_WINDOW(parent.GetGtkWindow()));
    ASSERT_TRUE(PumpUntil([&] { return gtk_widget_get_mapped(win); }));
    int x = -1, y = -1;
    ASSERT_TRUE(PumpUntil([&] {
        gdk_window_get_origin(gtk_widget_get_window(win), &x, &y);
        return x == 100 && y == 120;
    })) << x
        << "," << y;
    EXPECT_EQ(gdk_window_get_width(gtk_widget_get_window(win)), 180);
    EXPECT_EQ(gdk_window_get_height(gtk_widget_get_window(win)), 16);
    tip.Hide();
    EXPECT_FALSE(tip.IsShown());
    EXPECT_TRUE(PumpUntil([&] { return !gtk_widget_get_mapped(win); }));
    // Shown again, the same window is used.
    tip.Show(&parent, 50, 60, "Next", false, nullptr);
    EXPECT_EQ(tip.GetWindow(), win);
    EXPECT_TRUE(PumpUntil([&] { return gtk_widget_get_mapped(win); }));
    EXPECT_EQ(tip.ShowCount(), 2);
}

TEST_F(XToolTipWindow, ATooltipAskedPastTheScreenEdgeIsKeptOnTheScreen) {
    ParentWindow parent;
    parent.Create();
    GdkDisplay* display = gtk_widget_get_display(parent.GetGtkWindow());
    GdkMonitor* monitor = gdk_display_get_monitor_at_point(display, 0, 0);
    ASSERT_NE(monitor, nullptr);
    GdkRectangle r;
    gdk_monitor_get_geometry(monitor, &r);
    XToolTip tip;
    tip.Show(&parent, r.x + r.width - 10, r.y + r.height - 4, "Stop", false, nullptr);
    EXPECT_EQ(tip.ShownX(), r.x + r.width - 10);  // the asked place is recorded
    EXPECT_EQ(tip.PlacedX(), r.x + r.width - 180);
    EXPECT_EQ(tip.PlacedY(), r.y + r.height - 16);
    tip.Show(&parent, r.x - 30, r.y - 30, "Stop", false, nullptr);
    EXPECT_EQ(tip.PlacedX(), r.x);
    EXPECT_EQ(tip.PlacedY(), r.y);
    tip.Hide();
}

// A path far wider than the screen: broken into lines between its folders, none
// wider than the screen, and the tooltip stays on the screen.
TEST_F(XToolTipWindow, ATooltipWiderThanTheScreenIsBrokenToItsWidthAndStaysOnIt) {
    ParentWindow parent;
    parent.Create();
    GdkMonitor* monitor =
        gdk_display_get_monitor_at_point(gtk_widget_get_display(parent.GetGtkWindow()), 0, 0);
    ASSERT_NE(monitor, nullptr);
    GdkRectangle r;
    gdk_monitor_get_geometry(monitor, &r);
    std::string path;
    for (int i = 0; i < 12; ++i) path += "/" + std::string(30, static_cast<char>('a' + i));
    path += "/" + std::string(300, 'z') + ".wav";  // one name wider than the screen
    ASSERT_GT(TextWidth(path), 2 * r.width);
    XToolTip tip;
    tip.Show(&parent, r.x + r.width - 100, r.y + 10, path.c_str(), false, nullptr);
    EXPECT_LE(tip.Width(), r.width);
    EXPECT_GE(tip.PlacedX(), r.x);
    EXPECT_LE(tip.PlacedX() + tip.Width(), r.x + r.width);
    ASSERT_GT(tip.LineCount(), 2);
    std::string joined;
    for (int i = 0; i < tip.LineCount(); ++i) {
        EXPECT_LE(TextWidth(tip.Line(i)) + 6, tip.Width()) << i;
        joined += tip.Line(i);
    }
    EXPECT_EQ(joined, path) << "nothing is lost";
    EXPECT_EQ(std::string(tip.Line(0)).back(), '/') << "a path breaks between its folders";
    EXPECT_EQ(tip.Height(), tip.LineCount() * XToolTip::kLineHeight + 3);
    tip.Hide();
}

namespace {

// Records the presses that reach it.
class ClickProbe : public XControl {
  public:
    int OnMouseDown(XMouseEvent* e) override {
        ++downs;
        x = e->x_click();
        y = e->y_click();
        return 1;
    }
    int downs = 0, x = -1, y = -1;
};

}  // namespace

// The pointer moves onto the place where the tooltip shows and clicks there: the
// window under it gets the move (which hides the tooltip) and the click.
TEST_F(XToolTipWindow, AClickWhereTheTooltipShowsReachesTheWindowUnderIt) {
    if (system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool missing";
    ParentWindow parent;
    parent.SetPosition(60, 60);
    parent.Create();
    ClickProbe* probe = new ClickProbe;
    probe->SetWindowRect(XRect(0, 0, 159, 89));
    parent.AddControl(probe);
    parent.Show();
    GdkWindow* view = nullptr;
    ASSERT_TRUE(PumpUntil([&] {
        view = gtk_widget_get_window(parent.GetView());
        return view && gtk_widget_get_mapped(parent.GetView());
    }));
    int ox = 0, oy = 0;
    gdk_window_get_origin(view, &ox, &oy);
    // Where the window's timer would show it: 20 pixels below a pointer at (30, 20).
    parent.ShowToolTip(ox + 30, oy + 40, "/samples/kick.wav", false, nullptr);
    GtkWidget* tip = parent.GetToolTip()->GetWindow();
    ASSERT_NE(tip, nullptr);
    ASSERT_TRUE(PumpUntil([&] { return gtk_widget_get_mapped(tip); }));
    int tx = 0, ty = 0;
    ASSERT_TRUE(PumpUntil([&] {
        gdk_window_get_origin(gtk_widget_get_window(tip), &tx, &ty);
        return tx == ox + 30 && ty == oy + 40;
    }));
    // Into the middle of the tooltip, and a click there.
    std::string move =
        "xdotool mousemove --sync " + std::to_string(tx + 40) + " " + std::to_string(ty + 8);
    ASSERT_EQ(system(move.c_str()), 0);
    EXPECT_TRUE(PumpUntil([&] { return !parent.GetToolTip()->IsShown(); }))
        << "the move reached the window and hid the tooltip";
    ASSERT_EQ(system("xdotool click 1"), 0);
    ASSERT_TRUE(PumpUntil([&] { return probe->downs == 1; })) << "the click was lost";
    EXPECT_EQ(probe->x, 70);
    EXPECT_EQ(probe->y, 48);
}
