// Pixel tests of the playlist view.
#include <cairo.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "../quvlib/ControlHostDouble.h"
#include "ControlCanvas.h"
#include "XPlayList.h"
#include "XWindowStd.h"

namespace {
const XColor kBack(39, 44, 54, 255);
const XColor kHeader(100, 120, 180, 255);
const XColor kBand(42, 47, 57, 255);
const XColor kLine(35, 38, 50, 255);
const XColor kGreen(0, 255, 0, 255);
const XColor kOutline(71, 79, 98, 255);

constexpr int kW = 400;
constexpr int kRows = 6;
constexpr int kH = 20 + 14 * kRows;  // six entry rows below the header

// A list filling a canvas of its own size.
struct Drawn {
    ControlHostDouble host;
    XPlayList list;
    ControlCanvas canvas;
    explicit Drawn(int w = kW, int h = kH) : list(nullptr, XRect(0, 0, 0, 0), 5), canvas(w, h) {
        list.SetWindow(&host);
        list.PlaceIn(XRect(0, 0, w - 1, h - 1));
    }
    void Draw() {
        canvas.Clear();
        canvas.Draw(&list);
    }
};

// Whether any pixel of `rc` differs from `base`.
bool InkedOver(const ControlCanvas& c, XRect rc, XColor base) {
    for (int y = rc.top; y <= rc.bottom; ++y)
        for (int x = rc.left; x <= rc.right; ++x)
            if (c.At(x, y) != base) return true;
    return false;
}

// The rightmost column in `rc` with a pixel that differs from `base`, or -1.
int RightmostInk(const ControlCanvas& c, XRect rc, XColor base) {
    for (int x = rc.right; x >= rc.left; --x)
        for (int y = rc.top; y <= rc.bottom; ++y)
            if (c.At(x, y) != base) return x;
    return -1;
}

// The colour under entry row `i` (banded rows are the odd ones).
XColor RowBase(int i) {
    return i % 2 ? kBand : kBack;
}

// The pixels of entry row `i` between x `left` and `right`, inside the outline.
XRect RowCell(int i, int left, int right) {
    int top = 21 + 14 * i;
    return XRect(left, top, right, top + 13);
}
}  // namespace

TEST(XPlayListDraw, TheHeaderBandIsAnAquaFillInTheHeaderColour) {
    Drawn d;
    d.Draw();
    // The same aqua fill drawn on its own, to compare with where nothing covers it.
    ControlCanvas ref(kW, kH);
    struct AquaOnly : XControl {
        void OnDraw(XDrawLib* lib) override {
            lib->FillAquaRect(XRect(0, 0, kW - 1, 19), XColor(100, 120, 180, 255));
        }
    } aqua;
    aqua.PlaceIn(XRect(0, 0, kW - 1, kH - 1));
    ref.Draw(&aqua);
    EXPECT_EQ(d.canvas.At(10, 0), kHeader);  // the gradient starts in the colour itself
    for (int y = 2; y <= 18; ++y)
        for (int x : {2, 3, kW - 4, kW - 3})
            EXPECT_EQ(d.canvas.At(x, y), ref.At(x, y)) << x << "," << y;
    for (int x = 2; x <= kW - 3; ++x) {
        if (x == kW - 130 || x == kW - 80 || x == kW - 40) continue;  // column lines
        EXPECT_EQ(d.canvas.At(x, 0), ref.At(x, 0)) << x;
    }
    // Glossy: lighter than the colour near the top, darker toward the bottom.
    EXPECT_GT(d.canvas.At(2, 2).blue(), kHeader.blue());
    EXPECT_LT(d.canvas.At(2, 18).blue(), kHeader.blue());
}

TEST(XPlayListDraw, EverySecondRowFromTheSecondHasABandFrom14kPlus21To14kPlus34) {
    Drawn d;
    d.Draw();
    int rows = kRows + 1;  // counting the header's
    for (int k = 1; k < rows; ++k) {
        for (int y = 14 * k + 21; y <= 14 * k + 34 && y < kH - 2; ++y) {
            XColor expected = k % 2 ? kBand : kBack;
            EXPECT_EQ(d.canvas.At(2, y), expected) << "k " << k << " y " << y;
            EXPECT_EQ(d.canvas.At(kW / 2, y), expected) << "k " << k << " y " << y;
        }
    }
    for (int y = 20; y <= 34; ++y) EXPECT_EQ(d.canvas.At(2, y), kBack) << y;
}

TEST(XPlayListDraw, LinesRunAtY19AndAtTheColumnsLeftEdges) {
    Drawn d;
    d.Draw();
    for (int x = 2; x <= kW - 3; ++x) EXPECT_EQ(d.canvas.At(x, 19), kLine) << x;
    for (int x : {0, kW - 130, kW - 80, kW - 40})
        for (int y = 2; y <= kH - 3; ++y) EXPECT_EQ(d.canvas.At(x, y), kLine) << x << "," << y;
    EXPECT_NE(d.canvas.At(kW - 131, 50), kLine);
    EXPECT_NE(d.canvas.At(kW - 129, 50), kLine);
}

TEST(XPlayListDraw, TheOutlineIsTheRectangleShrunkByOne) {
    Drawn d;
    d.Draw();
    for (int x = 1; x <= kW - 2; ++x) {
        EXPECT_EQ(d.canvas.At(x, 1), kOutline) << x;
        EXPECT_EQ(d.canvas.At(x, kH - 2), kOutline) << x;
    }
    for (int y = 1; y <= kH - 2; ++y) {
        EXPECT_EQ(d.canvas.At(1, y), kOutline) << y;
        EXPECT_EQ(d.canvas.At(kW - 2, y), kOutline) << y;
    }
    EXPECT_EQ(d.canvas.At(kW - 1, 50), kBack);  // the outermost column is background
    EXPECT_EQ(d.canvas.At(50, kH - 1), kBand);  // the last row is banded
}

TEST(XPlayListDraw, HeaderTitlesAreWhiteTextInTheirColumns) {
    Drawn d;
    d.Draw();
    XColor white(255, 255, 255, 255);
    auto hasWhite = [&](int left, int right) {
        for (int y = 2; y <= 17; ++y)
            for (int x = left; x <= right; ++x)
                if (d.canvas.At(x, y) == white) return true;
        return false;
    };
    EXPECT_TRUE(hasWhite(4, 60));                // "File Name"
    EXPECT_TRUE(hasWhite(kW - 126, kW - 82));    // "Rate"
    EXPECT_TRUE(hasWhite(kW - 76, kW - 42));     // "Bits"
    EXPECT_TRUE(hasWhite(kW - 36, kW - 3));      // "Chan"
    EXPECT_FALSE(hasWhite(kW - 129, kW - 128));  // nothing before "Rate"'s inset
}

TEST(XPlayListDraw, TheMarkerTriangleIsGreenAtTheCurrentEntrysRowOnly) {
    Drawn d;
    d.list.Add("/s/a.wav", 44100, 16, 2);
    d.list.Add("/s/b.wav", 44100, 16, 2);
    d.list.Add("/s/c.wav", 44100, 16, 2);
    d.Draw();
    int y = 22 + 14 * 2;  // the current (newest) entry's row
    EXPECT_EQ(d.canvas.At(4, y + 1), kGreen);
    EXPECT_EQ(d.canvas.At(4, y + 9), kGreen);
    EXPECT_EQ(d.canvas.At(6, y + 5), kGreen);
    EXPECT_EQ(d.canvas.At(8, y + 5), kGreen);
    EXPECT_NE(d.canvas.At(9, y + 5), kGreen);
    EXPECT_NE(d.canvas.At(4, y), kGreen);
    for (int row : {0, 1}) EXPECT_FALSE(InkedOver(d.canvas, RowCell(row, 3, 9), RowBase(row)));
}

TEST(XPlayListDraw, APendingChoiceCarriesTheMarkerInsteadOfTheCurrentEntry) {
    Drawn d;
    for (int i = 0; i < 4; ++i) d.list.Add(("/s/" + std::to_string(i) + ".wav").c_str(), 1, 2, 3);
    d.list.Select(1);
    d.Draw();
    EXPECT_EQ(d.canvas.At(6, 22 + 14 + 5), kGreen);
    EXPECT_FALSE(InkedOver(d.canvas, RowCell(3, 3, 9), RowBase(3)));
}

TEST(XPlayListDraw, TheBitsColumnIsLeftOutWhenTheBitDepthIsZero) {
    Drawn d;
    d.list.Add("/s/a.mp3", 44100, 0, 2);
    d.list.Add("/s/b.wav", 44100, 16, 2);
    d.Draw();
    XRect bits0 = RowCell(0, kW - 79, kW - 41), bits1 = RowCell(1, kW - 79, kW - 41);
    EXPECT_FALSE(InkedOver(d.canvas, bits0, RowBase(0)));
    EXPECT_TRUE(InkedOver(d.canvas, bits1, RowBase(1)));
    // Rate and channels are shown on both rows.
    for (int row : {0, 1}) {
        EXPECT_TRUE(InkedOver(d.canvas, RowCell(row, kW - 129, kW - 81), RowBase(row)));
        EXPECT_TRUE(InkedOver(d.canvas, RowCell(row, kW - 39, kW - 3), RowBase(row)));
    }
}

TEST(XPlayListDraw, FileNamesStartRightOfTheMarkerAndStopBeforeTheRateColumn) {
    Drawn d;
    d.list.Add(("/s/" + std::string(200, 'W') + ".wav").c_str(), 44100, 16, 2);
    d.Draw();
    EXPECT_FALSE(InkedOver(d.canvas, RowCell(0, 9, 11), RowBase(0)));
    EXPECT_TRUE(InkedOver(d.canvas, RowCell(0, 12, 20), RowBase(0)));
    // The long name is cut at the rate column's line; the rate stays readable.
    EXPECT_EQ(RightmostInk(d.canvas, RowCell(0, 12, kW - 131), RowBase(0)), kW - 131);
    for (int y = 21; y <= 34; ++y) EXPECT_EQ(d.canvas.At(kW - 130, y), kLine);
    Drawn rateOnly;
    rateOnly.list.Add("/s/x.wav", 44100, 16, 2);
    rateOnly.Draw();
    XRect rate = RowCell(0, kW - 129, kW - 81);
    for (int y = rate.top; y <= rate.bottom; ++y)
        for (int x = rate.left; x <= rate.right; ++x)
            ASSERT_EQ(d.canvas.At(x, y), rateOnly.canvas.At(x, y)) << x << "," << y;
}

TEST(XPlayListDraw, AnEmptyListShowsAGreyHintInItsFirstRowUntilTheFirstEntry) {
    Drawn d;
    d.Draw();
    const XColor hint = XPlayList::HintColor();
    XRect row = RowCell(0, 2, kW - 131);  // inside the outline, up to the rate column
    ASSERT_TRUE(InkedOver(d.canvas, row, kBack)) << "an empty list says something";
    // Grey text: every pixel lies between the row's colour and the hint's grey.
    for (int y = row.top; y <= row.bottom; ++y)
        for (int x = row.left; x <= row.right; ++x) {
            XColor c = d.canvas.At(x, y);
            ASSERT_TRUE(c.red() >= kBack.red() && c.red() <= hint.red() &&
                        c.blue() >= kBack.blue() && c.blue() <= hint.blue())
                << x << "," << y;
        }
    // It starts where names start and is as wide as the hint's text.
    ControlCanvas measure(1, 1);
    int width = measure.lib.DrawTextSize(XPlayList::kEmptyHint).right;
    EXPECT_FALSE(InkedOver(d.canvas, RowCell(0, 2, XPlayList::kNameX - 1), kBack));
    int right = RightmostInk(d.canvas, row, kBack);
    EXPECT_GT(right, XPlayList::kNameX + width - 8);
    EXPECT_LE(right, XPlayList::kNameX + width + 1);
    EXPECT_FALSE(InkedOver(d.canvas, RowCell(1, 2, kW - 131), kBand)) << "one line only";

    d.list.Add("/s/a.wav", 44100, 16, 2);
    d.Draw();
    Drawn plain;
    plain.list.Add("/s/a.wav", 44100, 16, 2);
    plain.Draw();
    for (int y = row.top; y <= row.bottom; ++y)
        for (int x = row.left; x <= row.right; ++x)
            ASSERT_EQ(d.canvas.At(x, y), plain.canvas.At(x, y)) << "no hint once listed";
    EXPECT_LE(RightmostInk(d.canvas, RowCell(0, 20, kW - 131), kBack),
              XPlayList::kNameX + measure.lib.DrawTextSize("a.wav").right + 1);
}

TEST(XPlayListDraw, TheNewestEntryIsTheLastLineAndOlderOnesScrollOffTheTop) {
    // Names grow longer with each entry, so each row's ink reaches further right.
    Drawn full;
    for (int i = 0; i < 10; ++i)
        full.list.Add(("/s/" + std::string(i + 1, 'm') + ".wav").c_str(), 44100, 16, 2);
    full.Draw();
    EXPECT_EQ(full.list.m_first_visible, 4);
    int previous = -1;
    for (int row = 0; row < kRows; ++row) {
        int right = RightmostInk(full.canvas, RowCell(row, 10, kW - 131), RowBase(row));
        EXPECT_GT(right, previous) << row;
        previous = right;
    }
    // The same view as a list that only ever held the six newest entries.
    Drawn last;
    for (int i = 4; i < 10; ++i)
        last.list.Add(("/s/" + std::string(i + 1, 'm') + ".wav").c_str(), 44100, 16, 2);
    last.Draw();
    for (int y = 20; y < kH; ++y)
        for (int x = 0; x < kW; ++x)
            ASSERT_EQ(full.canvas.At(x, y), last.canvas.At(x, y)) << x << "," << y;
}

TEST(XPlayListDraw, AfterTheRingWrappedTheRowsFollowTheRingOrder) {
    Drawn d;
    for (int i = 0; i < 53; ++i)
        d.list.Add(("/s/" + std::string(i % 7 + 1, 'm') + ".wav").c_str(), 44100, 16, 2);
    d.Draw();
    EXPECT_EQ(d.list.m_first_visible, 47);
    Drawn same;
    for (int i = 47; i < 53; ++i)
        same.list.Add(("/s/" + std::string(i % 7 + 1, 'm') + ".wav").c_str(), 44100, 16, 2);
    same.Draw();
    for (int y = 20; y < kH; ++y)
        for (int x = 0; x < kW; ++x)
            ASSERT_EQ(d.canvas.At(x, y), same.canvas.At(x, y)) << x << "," << y;
}

TEST(XPlayListDraw, AClickOnADrawnRowChoosesTheEntryDrawnThere) {
    Drawn d;
    for (int i = 0; i < 55; ++i) d.list.Add("/s/a.wav", 44100, 16, 2);
    d.Draw();
    XMouseEvent e;
    e.SetClick(30, 22 + 14 * 5, 1);  // the last row: the newest entry, slot 4
    d.list.MouseDown(&e);
    e.SetClick(30, 22, 1);  // the first row: slot 4 - 5 + 50
    d.list.MouseDown(&e);
    ASSERT_EQ(d.host.commands.size(), 2u);
    EXPECT_EQ(d.host.commands[0].wParam, 4);
    EXPECT_EQ(d.host.commands[1].wParam, 49);
}

TEST(XPlayListDraw, AControlShorterThanTheHeaderDrawsNoEntry) {
    Drawn d(200, 12);
    d.list.Add("/s/a.wav", 44100, 16, 2);
    d.Draw();
    EXPECT_EQ(d.list.m_first_visible, 1);
    for (int y = 0; y < 12; ++y) EXPECT_NE(d.canvas.At(6, y), kGreen);
}

namespace {
// A window that records the commands its controls send.
class ListWindow : public XWindow {
  public:
    int OnCommand(unsigned long id, long wParam, long) override {
        commands.push_back({id, wParam});
        return 0;
    }
    std::vector<std::pair<unsigned long, long>> commands;
};

void Pump() {
    for (int round = 0; round < 3; ++round)
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
}
}  // namespace

TEST(XPlayListWindow, InARealWindowAClickOnARowSendsItsEntryAndATooltipShowsOverIt) {
    ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    ListWindow* w = new ListWindow;
    char title[] = "playlist test";
    w->SetTitle(title);
    w->SetSize(400, 135);
    w->Create();
    XPlayList* list = new XPlayList(nullptr, XRect(0, 0, 0, 0), 5);
    w->AddControl(list);
    w->Show();
    Pump();
    for (int i = 0; i < 10; ++i)
        list->Add(("/s/" + std::to_string(i) + ".wav").c_str(), 44100, 16, 2);
    // Drawing is what records the first entry shown; give the window time to draw.
    for (int i = 0; i < 1000 && list->m_first_visible != 2; ++i) {
        Pump();
        if (list->m_first_visible != 2) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // 135 pixels show (135 - 20) / 14 = 8 rows: the entries in slots 2 to 9.
    EXPECT_EQ(list->m_first_visible, 2);
    w->MouseDown(50, 10, 1, false, false);  // the header
    w->MouseUp(50, 10, 1);
    EXPECT_TRUE(w->commands.empty());
    w->MouseDown(50, 20 + 14 * 7 + 3, 1, false, false);  // the last row: the newest entry
    w->MouseUp(50, 20 + 14 * 7 + 3, 1);
    w->MouseDown(50, 20 + 3, 1, false, false);  // the first row
    w->MouseUp(50, 20 + 3, 1);
    ASSERT_EQ(w->commands.size(), 2u);
    EXPECT_EQ(w->commands[0].first, 5u);
    EXPECT_EQ(w->commands[0].second, 9);
    EXPECT_EQ(w->commands[1].second, 2);
    w->MouseMove(60, 40, 0);
    for (int i = 0; i < 3; ++i) w->TimerTick();
    EXPECT_TRUE(w->GetToolTip()->IsShown());
    w->MouseMove(60, 8, 0);  // over the header: no entry, no tooltip
    for (int i = 0; i < 3; ++i) w->TimerTick();
    EXPECT_FALSE(w->GetToolTip()->IsShown());
    delete w;
    Pump();
}

// Renders a sample playlist for the documentation when VELOTUNE_WRITE_DOCS=1.
TEST(XPlayListDraw, ASamplePlaylistRendersAndCanBeWrittenForTheDocumentation) {
    Drawn d(kW, 20 + 14 * 7);
    d.list.Add("/home/me/samples/drums/kick_deep.wav", 44100, 24, 2);
    d.list.Add("/home/me/samples/drums/snare_tight.aif", 48000, 16, 2);
    d.list.Add("/home/me/samples/fx/riser_long.mp3", 44100, 0, 2);
    d.list.Add("/home/me/samples/bass/sub_c1.wav", 96000, 32, 1);
    d.list.Add("/home/me/samples/keys/rhodes_chord.aiff", 44100, 16, 2);
    d.list.Prev();  // the user chose the entry before the current one
    d.Draw();
    EXPECT_EQ(d.canvas.At(6, 22 + 14 * 3 + 5), kGreen);
    const char* write = std::getenv("VELOTUNE_WRITE_DOCS");
    if (!write || std::strcmp(write, "1") != 0) return;
    int w = d.canvas.Width(), h = d.canvas.Height();
    cairo_surface_t* out = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
    unsigned char* data = cairo_image_surface_get_data(out);
    int stride = cairo_image_surface_get_stride(out);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            XColor c = d.canvas.At(x, y);
            auto* p = reinterpret_cast<uint32_t*>(data + y * stride + x * 4);
            *p = 0xFF000000u | (static_cast<uint32_t>(c.red()) << 16) |
                 (static_cast<uint32_t>(c.green()) << 8) | static_cast<uint32_t>(c.blue());
        }
    cairo_surface_mark_dirty(out);
    std::string path = std::string(VELOTUNE_SOURCE_DIR) + "/docs/playlist.png";
    EXPECT_EQ(cairo_surface_write_to_png(out, path.c_str()), CAIRO_STATUS_SUCCESS);
    cairo_surface_destroy(out);
}
