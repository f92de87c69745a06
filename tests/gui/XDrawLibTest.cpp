// Pixel tests of the drawing library: every primitive draws into a cairo image
// surface, which is then read back pixel by pixel.
#include <cairo.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "StandardError.h"
#include "TestCanvas.h"
#include "XDrawLib.h"
#include "XPic.h"

namespace {

const XColor kRed(255, 0, 0, 255);
const XColor kBlue(0, 0, 255, 255);

}  // namespace

// ---- opening and closing ----

TEST(XDrawLib, OpenWithoutAWindowReturnsFalse) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 4, 4);
    cairo_t* cr = cairo_create(s);
    XDrawLib lib;
    EXPECT_FALSE(lib.Open(XRect(0, 0, 3, 3), cr));
    EXPECT_EQ(lib.m_level, 0);
    EXPECT_EQ(lib.GetHandle(), nullptr);
    cairo_destroy(cr);
    cairo_surface_destroy(s);
}

TEST(XDrawLib, OpenTwiceThenCloseOnceLeavesTheContextOpenAndTheStateUntouched) {
    Canvas c(8, 8);
    cairo_t* cr = c.Context();
    c.lib.SetTextJustify(1);
    c.lib.SetTextFont(3);
    EXPECT_TRUE(c.lib.Open(XRect(2, 2, 5, 5), cr));
    EXPECT_EQ(c.lib.m_level, 2);
    EXPECT_EQ(c.lib.m_kJustify, 1);  // not reset by the nested Open
    EXPECT_EQ(c.lib.m_currentFontSize, 12);
    EXPECT_EQ(c.lib.m_rcDraw, XRect(0, 0, 7, 7));
    c.lib.Close();
    EXPECT_EQ(c.lib.m_level, 1);
    EXPECT_EQ(c.lib.GetHandle(), cr);
    EXPECT_EQ(cairo_get_antialias(cr), CAIRO_ANTIALIAS_NONE);  // not restored yet
    EXPECT_DOUBLE_EQ(cairo_get_line_width(cr), 1.0);
    c.lib.Close();
    EXPECT_EQ(c.lib.m_level, 0);
    EXPECT_EQ(c.lib.GetHandle(), nullptr);
    EXPECT_EQ(cairo_get_antialias(cr), CAIRO_ANTIALIAS_DEFAULT);  // restored
    EXPECT_DOUBLE_EQ(cairo_get_line_width(cr), 2.0);              // cairo's own default
}

TEST(XDrawLib, AfterCloseTheNextOpenReselectsFontZeroEvenIfItWasSelectedBefore) {
    Canvas c(8, 8);
    EXPECT_EQ(c.lib.m_kJixFont, 0);
    c.lib.Close();
    EXPECT_EQ(c.lib.m_kJixFont, -1);
    ASSERT_TRUE(c.lib.Open(XRect(0, 0, 7, 7), c.Context()));
    EXPECT_EQ(c.lib.m_kJixFont, 0);
    EXPECT_EQ(c.lib.m_currentFontSize, 9);
    c.lib.SetTextFont(3);
    c.lib.Close();
    ASSERT_TRUE(c.lib.Open(XRect(0, 0, 7, 7), c.Context()));
    EXPECT_EQ(c.lib.m_kJixFont, 0);
    EXPECT_EQ(c.lib.m_currentFontSize, 9);
}

TEST(XDrawLib, OpenPreparesBlackColoursNoAntialiasingAndJustificationZero) {
    Canvas c(4, 4);
    EXPECT_EQ(c.lib.m_kJustify, 0);
    EXPECT_FALSE(c.lib.m_bIgnoreClipping);
    EXPECT_EQ(cairo_get_antialias(c.Context()), CAIRO_ANTIALIAS_NONE);
    double r, g, b, a;
    cairo_pattern_get_rgba(cairo_get_source(c.Context()), &r, &g, &b, &a);
    EXPECT_EQ(r + g + b, 0.0);
    EXPECT_EQ(a, 1.0);
}

TEST(XDrawLib, FontKindsHaveTheirLineMetrics) {
    Canvas c(4, 4);
    const long metric[4] = {9, 7, 9, 12};
    for (long kind = 3; kind >= 0; --kind) {
        c.lib.SetTextFont(kind);
        EXPECT_EQ(c.lib.m_kJixFont, kind);
        EXPECT_EQ(c.lib.m_currentFontSize, metric[kind]);
        EXPECT_EQ(c.lib.DrawTextSize("Ag").bottom, metric[kind]);
    }
}

// ---- outlines ----

TEST(XDrawLib, DrawRectCoversRightMinusLeftPlusOneByBottomMinusTopPlusOne) {
    Canvas c(10, 8);
    c.lib.DrawRect(XRect(2, 1, 7, 5), kRed);
    std::vector<std::string> expected = {
        "..........",  //
        "..RRRRRR..",  //
        "..R....R..",  //
        "..R....R..",  //
        "..R....R..",  //
        "..RRRRRR..",  //
        "..........",  //
        "..........",
    };
    EXPECT_EQ(c.Map({{'R', kRed}}), expected);
}

TEST(XDrawLib, DrawInRectNotchesItsFourCornersAndShadesLeftTopAgainstRightBottom) {
    Canvas c(10, 8);
    c.lib.DrawInRect(XRect(1, 1, 8, 6), kRed, kBlue);
    std::vector<std::string> expected = {
        "..........",  //
        "..LLLLLL..",  //
        ".LL....LD.",  //
        ".L......D.",  //
        ".L......D.",  //
        ".LL....DD.",  //
        "..DDDDDD..",  //
        "..........",
    };
    EXPECT_EQ(c.Map({{'L', kRed}, {'D', kBlue}}), expected);
}

TEST(XDrawLib, LinesCoverBothEndPixels) {
    Canvas c(8, 8);
    c.lib.DrawLine(1, 1, 5, 1, kRed);
    c.lib.DrawLine(6, 6, 6, 2, kRed);
    c.lib.DrawLine(0, 3, 3, 6, kBlue);  // slanted
    EXPECT_EQ(c.At(1, 1), kRed);
    EXPECT_EQ(c.At(5, 1), kRed);
    EXPECT_EQ(c.At(6, 1), kWhite);
    EXPECT_EQ(c.At(6, 2), kRed);
    EXPECT_EQ(c.At(6, 6), kRed);
    EXPECT_EQ(c.At(6, 7), kWhite);
    for (int i = 0; i <= 3; ++i) EXPECT_EQ(c.At(i, 3 + i), kBlue) << i;
}

TEST(XDrawLib, DrawFrameRoundedLeavesTheCornersOut) {
    Canvas c(6, 6);
    c.lib.DrawFrame(XRect(0, 0, 5, 5), kRed, true);
    EXPECT_EQ(c.At(0, 0), kWhite);
    EXPECT_EQ(c.At(5, 5), kWhite);
    EXPECT_EQ(c.At(1, 0), kRed);
    EXPECT_EQ(c.At(0, 4), kRed);
    c.lib.DrawFrame(XRect(0, 0, 5, 5), kBlue, false);
    EXPECT_EQ(c.At(0, 0), kBlue);
}

// ---- fills ----

TEST(XDrawLib, FillSolidRectWithATransparentColourDrawsNothing) {
    Canvas c(6, 6);
    c.lib.FillSolidRect(XRect(0, 0, 5, 5), XColor(0, 0, 0, 0), 2);
    EXPECT_FALSE(c.Inked(XRect(0, 0, 5, 5)));
}

TEST(XDrawLib, FillSolidRectCoversBothEdges) {
    Canvas c(8, 8);
    c.lib.FillSolidRect(XRect(2, 3, 4, 6), kRed, 0);
    std::vector<std::string> expected = {
        "........", "........", "........", "..RRR...",
        "..RRR...", "..RRR...", "..RRR...", "........",
    };
    EXPECT_EQ(c.Map({{'R', kRed}}), expected);
}

TEST(XDrawLib, FillSolidRectBevelsAreLightenedBy13AndDarkenedBy07Truncated) {
    Canvas c(8, 8);
    XColor base(200, 100, 7, 255);
    XColor light(255, 130, 9, 255);  // 260 capped, 9.1 truncated
    XColor dark(140, 70, 4, 255);    // 4.9 truncated
    c.lib.FillSolidRect(XRect(0, 0, 7, 7), base, 2);
    std::vector<std::string> expected = {
        "LLLLLLLD",  //
        "LLLLLLDD",  //
        "LL....DD",  //
        "LL....DD",  //
        "LL....DD",  //
        "LL....DD",  //
        "LDDDDDDD",  //
        "DDDDDDDD",
    };
    EXPECT_EQ(c.Map({{'L', light}, {'D', dark}, {'.', base}}), expected);
}

TEST(XDrawLib, FillSolidRectWithANegativeBevelCountDrawsTheSameRaisedFrames) {
    Canvas a(8, 8), b(8, 8);
    a.lib.FillSolidRect(XRect(0, 0, 7, 7), XColor(90, 120, 150, 255), 2);
    b.lib.FillSolidRect(XRect(0, 0, 7, 7), XColor(90, 120, 150, 255), -2);
    EXPECT_EQ(a.Map({}), b.Map({}));
    EXPECT_EQ(b.At(0, 0), XColor(90, 120, 150, 255).Light(1.3f));
    EXPECT_EQ(b.At(7, 7), XColor(90, 120, 150, 255).Light(0.7f));
}

TEST(XDrawLib, FillGradRectFromBlackToWhiteOver256RowsChangesColourAtEveryRow) {
    Canvas c(2, 256);
    XRect rc(0, 0, 1, 255);
    c.lib.FillGradRect(rc, XColor(0, 0, 0, 255), XColor(255, 255, 255, 255));
    for (int row = 0; row <= 254; ++row) {
        EXPECT_EQ(c.At(0, row), XColor(row, row, row, 255)) << "row " << row;
        EXPECT_EQ(c.At(1, row), c.At(0, row));
    }
    // The last band started at row 254 with height 2 covers the last row too.
    EXPECT_EQ(c.At(0, 255), XColor(254, 254, 254, 255));
}

TEST(XDrawLib, FillGradRectBetweenTwoEqualColoursFillsOneBand) {
    Canvas c(3, 12);
    XRect rc(0, 1, 2, 10);
    c.lib.FillGradRect(rc, kRed, kRed);
    EXPECT_EQ(c.At(1, 0), kWhite);
    // One band grown row by row up to the row before the last, then filled.
    for (int row = 1; row <= 9; ++row) EXPECT_EQ(c.At(1, row), kRed) << row;
    EXPECT_EQ(c.At(1, 10), kWhite);
    EXPECT_EQ(c.At(1, 11), kWhite);
}

TEST(XDrawLib, FillGradRectBandsOverlapByOneRow) {
    // Blue 0 -> 3 over rows 0..9: rows give 0 0 0 1 1 1 2 2 2 3. The band of 1
    // starts at row 3 with height 2 and grows to 4 rows (3..6); the band of 2
    // starts at row 6 and covers 6..9. The band of 3 is never filled.
    Canvas c(1, 10);
    XRect rc(0, 0, 0, 9);
    c.lib.FillGradRect(rc, XColor(0, 0, 0, 255), XColor(0, 0, 3, 255));
    const int expected[10] = {0, 0, 0, 1, 1, 1, 2, 2, 2, 2};
    for (int row = 0; row < 10; ++row) EXPECT_EQ(c.At(0, row).blue(), expected[row]) << row;
    EXPECT_EQ(c.lib.m_clrFill, XColor());  // remembered fill colour forgotten
}

TEST(XDrawLib, FillAquaRectDrawsTwoGradients) {
    Canvas c(20, 10);
    c.lib.FillAquaRect(XRect(0, 0, 19, 9), XColor(100, 100, 100, 255));
    // Whole rectangle: 100 -> 80 (100 * 0.8) over rows 0..9.
    const int outer[10] = {100, 97, 95, 93, 91, 88, 86, 84, 82, 82};
    // Upper half: columns 2..17, rows 1..5 (top + 1 to top + 10 / 2), 125 -> 100.
    const int upper[5] = {125, 118, 112, 106, 106};
    for (int row = 0; row < 10; ++row) {
        for (int x : {0, 1, 18, 19}) EXPECT_EQ(c.At(x, row).red(), outer[row]) << x << "," << row;
        int inner = (row >= 1 && row <= 5) ? upper[row - 1] : outer[row];
        for (int x : {2, 10, 17}) EXPECT_EQ(c.At(x, row).green(), inner) << x << "," << row;
    }
}

TEST(XDrawLib, Fill3dRectRaisedAndSunken) {
    Canvas c(6, 6);
    XColor base(100, 100, 100, 255);
    c.lib.Fill3dRect(XRect(0, 0, 5, 5), base, true);
    EXPECT_EQ(c.At(0, 2), base.Light(1.3f));
    EXPECT_EQ(c.At(5, 2), base.Light(0.7f));
    EXPECT_EQ(c.At(2, 2), base);
    c.lib.Fill3dRect(XRect(0, 0, 5, 5), base, false);
    EXPECT_EQ(c.At(0, 2), base.Light(0.7f));
    EXPECT_EQ(c.At(5, 2), base.Light(1.3f));
}

TEST(XDrawLib, FillRoundRectCutsTheCorners) {
    Canvas c(12, 12);
    c.lib.FillRoundRect(XRect(0, 0, 11, 11), kRed, 3);
    EXPECT_EQ(c.At(0, 0), kWhite);
    EXPECT_EQ(c.At(11, 11), kWhite);
    EXPECT_EQ(c.At(0, 5), kRed);
    EXPECT_EQ(c.At(5, 0), kRed);
    EXPECT_EQ(c.At(5, 5), kRed);
}

TEST(XDrawLib, DrawButtonFillsAndFramesTheFace) {
    Canvas c(12, 12);
    c.lib.DrawButton(XRect(0, 0, 11, 11), XColor(100, 100, 200, 255), false);
    EXPECT_EQ(c.At(0, 0), XColor(100, 100, 200, 255));              // notched corner: the face
    EXPECT_EQ(c.At(0, 5), XColor(100, 100, 200, 255).Light(1.3f));  // raised: light left
    EXPECT_EQ(c.At(11, 5), XColor(100, 100, 200, 255).Light(0.5f));
}

TEST(XDrawLib, DrawShadowDarkensRightAndBelow) {
    Canvas c(12, 12);
    c.lib.DrawShadow(XRect(0, 0, 7, 7), 3);
    EXPECT_FALSE(c.Inked(XRect(0, 0, 7, 7)));
    EXPECT_LT(c.At(8, 4).red(), 255);
    EXPECT_LT(c.At(4, 8).red(), 255);
    EXPECT_LT(c.At(8, 4).red(), c.At(10, 6).red());  // fading outward
}

// ---- pictures, clipping and local coordinates ----

TEST(XDrawLib, DrawPicDrawsThePictureUnscaledAtItsOwnSize) {
    cairo_surface_t* img = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 3, 2);
    cairo_t* icr = cairo_create(img);
    cairo_set_source_rgb(icr, 0, 0, 1);
    cairo_paint(icr);
    cairo_destroy(icr);
    XPic pic;
    pic.m_hPic = img;  // the picture takes the reference
    pic.m_cx = 3;
    pic.m_cy = 2;
    Canvas c(10, 8);
    c.lib.DrawPic(&pic, 5, 4);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 10; ++x) {
            bool inside = x >= 5 && x <= 7 && y >= 4 && y <= 5;
            EXPECT_EQ(c.At(x, y), inside ? kBlue : kWhite) << x << "," << y;
        }
}

TEST(XDrawLib, SetDrawRectMakesCoordinatesLocalAndClips) {
    Canvas c(12, 12);
    c.lib.SetTextJustify(1);
    c.lib.SetDrawRect(XRect(4, 4, 7, 7), XRect(4, 4, 7, 7));
    EXPECT_EQ(c.lib.m_kJustify, 0);
    c.lib.FillSolidRect(XRect(-4, -4, 10, 10), kRed, 0);
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 12; ++x) {
            bool inside = x >= 4 && x <= 7 && y >= 4 && y <= 7;
            EXPECT_EQ(c.At(x, y), inside ? kRed : kWhite) << x << "," << y;
        }
}

TEST(XDrawLib, IgnoredClippingLeavesTheClipAlone) {
    Canvas c(12, 12);
    c.lib.IgnoreClipping(true);
    c.lib.SetDrawRect(XRect(4, 4, 7, 7), XRect(4, 4, 7, 7));
    c.lib.FillSolidRect(XRect(-4, -4, 0, 0), kRed, 0);
    EXPECT_EQ(c.At(0, 0), kRed);
}

TEST(XDrawLib, OffsetShiftsEveryDevicePosition) {
    Canvas c(8, 8);
    c.lib.SetOffset(2, 3);
    c.lib.DrawSpot(1, 1, kRed);  // 3x3 around (1, 1) -> device (2..4, 3..5)
    EXPECT_EQ(c.At(2, 3), kRed);
    EXPECT_EQ(c.At(4, 5), kRed);
    EXPECT_EQ(c.At(1, 3), kWhite);
    EXPECT_EQ(c.At(5, 5), kWhite);
}

// ---- regions, marks, matrices, bitmaps ----

TEST(XDrawLib, FillRegnFillsThePolygonWithItsOutline) {
    Canvas c(10, 10);
    XRegn r;
    r.AddPoint(1, 1);
    r.AddPoint(8, 1);
    r.AddPoint(8, 8);
    r.AddPoint(1, 1);
    c.lib.FillRegn(r, kRed);
    EXPECT_EQ(c.At(1, 1), kRed);
    EXPECT_EQ(c.At(8, 8), kRed);
    EXPECT_EQ(c.At(7, 3), kRed);
    EXPECT_EQ(c.At(2, 7), kWhite);
    Canvas d(10, 10);
    d.lib.DrawRegn(r, kBlue);
    EXPECT_EQ(d.At(8, 4), kBlue);
    EXPECT_EQ(d.At(7, 3), kWhite);
}

TEST(XDrawLib, DrawCheckUsesThePenColourInsideItsBox) {
    Canvas c(12, 12);
    c.lib.SetPenColor(kBlue);
    c.lib.DrawCheck(1, 1);
    EXPECT_EQ(c.At(2, 5), kBlue);
    EXPECT_EQ(c.At(4, 7), kBlue);
    EXPECT_EQ(c.At(8, 3), kBlue);
    EXPECT_FALSE(c.Inked(XRect(10, 0, 11, 11)));
}

TEST(XDrawLib, FillMatrixFillsCellsFromThePalette) {
    Canvas c(4, 4);
    char cells[4] = {0, 1, 1, 0};
    unsigned int palette[2] = {0x00000000u, 0xFFFF0000u};
    c.lib.FillMatrix(XRect(0, 0, 3, 3), cells, 2, 2, palette);
    EXPECT_EQ(c.At(0, 0), kWhite);
    EXPECT_EQ(c.At(3, 0), kRed);
    EXPECT_EQ(c.At(1, 3), kRed);
    EXPECT_EQ(c.At(3, 3), kWhite);
}

TEST(XDrawLib, DrawBitmapCopiesPixelsAtTheirPlace) {
    Canvas c(4, 4);
    unsigned int px[2] = {0xFFFF0000u, 0xFF0000FFu};
    c.lib.DrawBitmap(px, 1, 2, 2, 1);
    EXPECT_EQ(c.At(1, 2), kRed);
    EXPECT_EQ(c.At(2, 2), kBlue);
    EXPECT_EQ(c.At(3, 2), kWhite);
}

// ---- text ----

TEST(XDrawLib, DrawTextSizeMeasuresOneLineWithoutDrawing) {
    Canvas c(60, 20);
    XRect one = c.lib.DrawTextSize("M");
    XRect three = c.lib.DrawTextSize("MMM");
    EXPECT_EQ(one.left, 0);
    EXPECT_EQ(one.top, 0);
    EXPECT_EQ(one.bottom, 9);
    EXPECT_GT(one.right, 4);
    EXPECT_NEAR(three.right, 3 * one.right, 2);
    EXPECT_FALSE(c.Inked(XRect(0, 0, 59, 19)));
}

TEST(XDrawLib, DrawTextPutsTheBaselineAtTheLineMetric) {
    Canvas c(60, 30);
    c.lib.SetTextColor(XColor(0, 0, 0, 255));
    c.lib.DrawText("HH", 5, 10);
    // Capitals sit on the baseline at y 10 + 9: ink above it, none below.
    EXPECT_TRUE(c.Inked(XRect(5, 10, 30, 18)));
    EXPECT_FALSE(c.Inked(XRect(0, 20, 59, 29)));
    EXPECT_FALSE(c.Inked(XRect(0, 0, 59, 8)));
}

TEST(XDrawLib, DrawTextInARectangleFollowsTheJustification) {
    Canvas left(100, 20), right(100, 20);
    XRect rc(0, 0, 99, 19);
    left.lib.SetTextJustify(-1);
    left.lib.DrawText("ab", &rc);
    right.lib.SetTextJustify(1);
    right.lib.DrawText("ab", &rc);
    EXPECT_TRUE(left.Inked(XRect(0, 0, 20, 19)));
    EXPECT_FALSE(left.Inked(XRect(50, 0, 99, 19)));
    EXPECT_TRUE(right.Inked(XRect(80, 0, 99, 19)));
    EXPECT_FALSE(right.Inked(XRect(0, 0, 50, 19)));
}

TEST(XDrawLib, DrawTextPosReportsCharacterPositions) {
    Canvas c(100, 20);
    XRect rc(0, 0, 99, 19);
    c.lib.SetTextJustify(-1);
    int pos[8] = {0};
    int width = c.lib.DrawTextPos("abc", &rc, pos, 8);
    EXPECT_EQ(pos[0], 2);
    EXPECT_LT(pos[0], pos[1]);
    EXPECT_LT(pos[1], pos[2]);
    EXPECT_EQ(pos[3], 2 + width);
}

TEST(XDrawLib, DrawTextBoxReturns14ForOneLine) {
    Canvas c(200, 40);
    EXPECT_EQ(c.lib.DrawTextBox("Hello world", XRect(0, 0, 199, 39)), 14);
    EXPECT_TRUE(c.Inked(XRect(2, 2, 100, 15)));
}

TEST(XDrawLib, DrawTextBoxReturns30ForTwoLines) {
    Canvas c(200, 60);
    int wHello = c.lib.DrawTextSize("Hello").right;
    int wBoth = c.lib.DrawTextSize("Hello world").right;
    ASSERT_LT(wHello + 10, wBoth);
    // Wide enough for "Hello", too narrow for "Hello world".
    XRect box(0, 0, wHello + 8, 59);
    EXPECT_EQ(c.lib.DrawTextSize("Hello world", box), 30);
    EXPECT_FALSE(c.Inked(XRect(0, 0, 199, 59)));  // measuring draws nothing
    EXPECT_EQ(c.lib.DrawTextBox("Hello world", box), 30);
    EXPECT_TRUE(c.Inked(XRect(0, 2, 199, 15)));   // first line
    EXPECT_TRUE(c.Inked(XRect(0, 18, 199, 31)));  // second line, 16 lower
    EXPECT_FALSE(c.Inked(XRect(0, 34, 199, 59)));
}

TEST(XDrawLib, DrawTextBoxBreaksAtCarriageReturnLineFeedOnce) {
    Canvas c(200, 80);
    XRect box(0, 0, 199, 79);
    EXPECT_EQ(c.lib.DrawTextSize("one\r\ntwo", box), 30);
    EXPECT_EQ(c.lib.DrawTextSize("\r\n\none", box), 14);  // leading breaks skipped
    EXPECT_EQ(c.lib.DrawTextSize("a\nb\nc", box), 46);
}

TEST(XDrawLib, AWordWiderThanItsBoxIsDrawnOnOneLineOverflowingTheBox) {
    Canvas c(300, 60);
    XRect box(0, 0, 19, 59);
    c.lib.DrawTextBox("Supercalifragilistic", box);
    EXPECT_TRUE(c.Inked(XRect(20, 0, 299, 59)));   // beyond the box's right edge
    EXPECT_FALSE(c.Inked(XRect(0, 18, 299, 59)));  // nothing on a second line
}

// ---- names in other encodings ----

namespace {

// The pixels of `text` drawn at (2, 2) on a white canvas.
std::vector<XColor> Drawn(const char* text) {
    Canvas s(120, 16);
    s.lib.DrawText(text, 2, 2);
    std::vector<XColor> pixels;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 120; ++x) pixels.push_back(s.At(x, y));
    return pixels;
}

}  // namespace

TEST(XDrawLib, DisplayTextKeepsUtf8AsItIsAndShowsOtherBytesAsTheToolkitsDisplayName) {
    std::string shown;
    const char* utf8 = "caf\xc3\xa9.wav";
    EXPECT_EQ(XDrawLib::DisplayText(utf8, shown), utf8);
    const char* latin1 = "caf\xe9.wav";
    gchar* expected = g_filename_display_name(latin1);
    EXPECT_STREQ(XDrawLib::DisplayText(latin1, shown), expected);
    EXPECT_TRUE(g_utf8_validate(shown.c_str(), -1, nullptr));
    g_free(expected);
}

TEST(XDrawLib, ANameThatIsNotUtf8DrawsAsItsDisplayNameWithoutAWarning) {
    const char* latin1 = "caf\xe9-latin1.wav";
    gchar* name = g_filename_display_name(latin1);
    std::vector<XColor> expected = Drawn(name);
    g_free(name);
    std::vector<XColor> got;
    std::string printed = testfiles::StandardErrorOf([&] {
        got = Drawn(latin1);
        Canvas s(200, 40);
        s.lib.DrawTextSize(latin1);
        s.lib.DrawTextBox(latin1, XRect(0, 0, 60, 39));
    });
    EXPECT_EQ(printed, "") << "no warning of the text layout";
    EXPECT_TRUE(got == expected) << "drawn as its display name";
}
