// The drawing object of a window: every control draws through it.
#pragma once

#include <string>

#include "XColor.h"
#include "XRect.h"
#include "XRegn.h"

class XPic;

// The drawing context type, declared as the platform declares it so that users of
// this header need not include the platform's headers.
typedef struct _cairo cairo_t;
typedef struct _PangoLayout PangoLayout;
typedef struct _PangoFontDescription PangoFontDescription;

/// A thin state machine over a drawing context (cairo_t). It keeps the current
/// context, the rectangle of the control being drawn (so that controls draw in
/// their own local coordinates), the clip, colours, font and justification.
///
/// Coordinates of every drawing call are local to m_rcDraw: local (x, y) is device
/// pixel (m_rcDraw.left + m_xOffset + x, m_rcDraw.top + m_yOffset + y), y downward.
/// Lines are one pixel wide and pixel-exact: a line from (x0, y0) to (x1, y1)
/// covers both end pixels. Rectangles cover right - left + 1 by bottom - top + 1.
///
/// Open needs a window (Init); for drawing outside a window (tests, off-screen
/// pictures) Init with any non-null pointer and Open on any cairo_t.
/// GUI thread only.
class XDrawLib {
  public:
    int m_level = 0;                   // nesting depth of Open
    cairo_t* m_hDraw = nullptr;        // the current context; null when closed
    cairo_t* m_hSave = nullptr;        // context of the measuring surface (made on demand)
    const void* m_hWindow = nullptr;   // the window it draws for
    XRect m_rcMax;                     // the whole drawable area (set by the outermost Open)
    XRect m_rcDraw;                    // rectangle of the control being drawn (window coords)
    int m_xOffset = 0, m_yOffset = 0;  // added to every device position
    int m_xLast = 0, m_yLast = 0;      // pen position for MoveTo / LineTo (local)
    long m_kJixFont = -1;              // the selected font kind; -1 = none selected
    long m_currentFontSize = 0;        // line metric of the selected font
    XColor m_clrPen, m_clrFill, m_clrStroke;  // last colour set for each use
    XColor m_clrText{0, 0, 0, 255};           // text colour: black until set
    long m_kJustify = 0;                      // text justification: -1 left, 0 centre, 1 right
    bool m_bIgnoreClipping = false;
    bool m_bLocalDrawHandle = false;  // the library made m_hSave itself

    XDrawLib() = default;
    XDrawLib(const XDrawLib&) = delete;
    XDrawLib& operator=(const XDrawLib&) = delete;
    virtual ~XDrawLib();

    /// Sets the window and the device offset; resets the drawing state.
    void Init(const void* window, int xOffset, int yOffset);
    /// Forgets the context and the nesting level (without restoring anything).
    void Reset();
    void SetOffset(int x, int y) { m_xOffset = x, m_yOffset = y; }
    void ClearOffset() { SetOffset(0, 0); }
    /// The current context (null when closed).
    cairo_t* GetHandle() const { return m_hDraw; }

    /// Starts drawing on `context`. Without a window: false, nothing happens. Opens
    /// nest: only the outermost (level 1) takes `context` and `rect` (as m_rcMax and
    /// m_rcDraw) and prepares the state: justification 0, clipping honoured, pen,
    /// fill and stroke black, line width 1, antialiasing off, font 0 selected, the
    /// state saved. Returns true.
    bool Open(XRect rect, cairo_t* context);
    /// Ends one Open. Below level 1 the state is restored and the context flushed;
    /// at exactly 0 the context is forgotten. The font is deselected (kind -1) so
    /// that the next Open selects it again.
    void Close();
    /// Pushes what was drawn to the target surface.
    void Flush();

    /// m_rcDraw = draw; clips to `clip` (window coordinates); justification 0.
    void SetDrawRect(XRect draw, XRect clip);
    /// Clips to `rc` (local coordinates, inclusive), replacing the previous clip;
    /// ignored while clipping is ignored.
    void SetClipping(XRect rc);
    void IgnoreClipping(bool on) { m_bIgnoreClipping = on; }
    /// Antialiasing of lines and fills on or off (off after Open).
    void SetSmoothing(bool on);

    /// Pen (line) colour.
    void SetPenColor(XColor color);
    void MoveTo(int x, int y);
    /// Draws a one-pixel line in the pen colour from the pen position to (x, y),
    /// both ends included, and moves the pen there.
    void LineTo(int x, int y);
    void DrawLine(int x1, int y1, int x2, int y2, XColor color);

    /// Fills `rc` with `color` (nothing when transparent); then |bevel| nested
    /// frames, each one pixel further in: left and top in color.Light(1.3), right
    /// and bottom in color.Light(0.7). The sign of `bevel` is ignored.
    void FillSolidRect(XRect rc, XColor color, int bevel = 0);
    /// Fills `rc` with corners rounded by `radius` pixels (stacked rectangles,
    /// pixel-exact; radius 0 is a plain fill).
    void FillRoundRect(XRect rc, XColor color, int radius = 3);
    /// Outlines `rc` in `color`: right - left + 1 by bottom - top + 1 pixels.
    void DrawRect(XRect rc, XColor color);
    /// A push button face: an aqua fill in `color` (pressed: darkened to 0.8) with
    /// a notched frame, raised (light left/top) or, when pressed, sunken.
    void DrawButton(XRect rc, XColor color, bool pressed);
    /// Fills `rc` with `color` and one bevel frame: raised (light left/top) or
    /// sunken (dark left/top).
    void Fill3dRect(XRect rc, XColor color, bool raised = true);
    /// Vertical gradient from `top` to `bottom` colour in horizontal bands;
    /// consecutive bands overlap by one row. Alpha is not used.
    void FillGradRect(XRect& rc, XColor top, XColor bottom);
    /// Glossy fill: gradient color -> color*0.8 over rc, then color*1.25 -> color
    /// over the upper half inset by 2 at the sides and 1 at the top.
    void FillAquaRect(XRect rc, XColor color);
    /// A soft shadow `size` pixels wide right of and below `rc` (black, alpha
    /// falling from 96 to 0 outward).
    void DrawShadow(XRect rc, int size = 3);
    /// A one-pixel frame with notched corners: left/top in `light`, right/bottom
    /// in `dark` (light first = raised, dark first = sunken).
    void DrawInRect(XRect rc, XColor light, XColor dark);
    /// A frame in `color`: DrawRect, or with `rounded` a frame whose corners are cut
    /// by one pixel.
    void DrawFrame(XRect rc, XColor color, bool rounded);
    /// Draws `pic` with its top-left at (x, y), at its own size. Nothing for null
    /// or empty pictures.
    void DrawPic(XPic* pic, int x, int y);

    /// Text colour.
    void SetTextColor(XColor color);
    /// Justification of DrawText(text, rect): -1 left, 0 centre, 1 right.
    void SetTextJustify(int justify) { m_kJustify = justify; }
    /// Selects font kind 0 (default, 11 px), 1 (small, 9 px), 2 (bold, 11 px) or
    /// 3 (large, 14 px), only when the kind changes; sets m_currentFontSize to 9,
    /// 7, 9 or 12. Other kinds select kind 0.
    void SetTextFont(long kind);
    /// Draws one line with the top of its line box at (x, y): the baseline is at
    /// y + m_currentFontSize.
    void DrawText(const char* text, int x, int y);
    /// Draws one line inside `rc`, justified by m_kJustify (left and right keep 2
    /// pixels from the edge) and centred vertically.
    void DrawText(const char* text, XRect* rc);
    /// As DrawText(text, rc); stores in pos[i] (i < count) the local x at which
    /// character i starts, and in pos[len] (when len < count) the x after the
    /// last. Returns the text's width.
    int DrawTextPos(const char* text, XRect* rc, int* pos, int count);
    /// Measures one line: left 0, right = width (truncated), top 0, bottom =
    /// m_currentFontSize.
    XRect DrawTextSize(const char* text);
    /// Lays out `text` word-wrapped in `box` like DrawTextBox without drawing;
    /// returns the height used.
    int DrawTextSize(const char* text, XRect box);
    /// Draws `text` word-wrapped in `box` (line advance 16); returns the height
    /// used: 14 for one line, 30 for two.
    int DrawTextBox(const char* text, XRect box);

    /// The text as it is shown: `text` itself when it is UTF-8; otherwise (a file
    /// name in another encoding) its display form as the toolkit makes it
    /// (g_filename_display_name), written into `shown`. Every text drawn or
    /// measured goes through it, so a name in any encoding shows and measures
    /// without a warning. Returns a NUL-terminated UTF-8 text valid while `text`
    /// and `shown` are. Any thread.
    static const char* DisplayText(const char* text, std::string& shown);

    /// Fills the polygon in `color`.
    void FillRegn(XRegn& regn, XColor color);
    /// Outlines the polygon in `color` (one-pixel lines between consecutive points).
    void DrawRegn(XRegn& regn, XColor color);
    /// A 3x3 dot centred on (x, y).
    void DrawSpot(int x, int y, XColor color);
    /// A check mark in the pen colour in the 9x9 box whose top-left is (x, y).
    void DrawCheck(int x, int y);
    /// Draws a `cols` x `rows` matrix of cells over `rc`: cell (c, r) is filled with
    /// palette[cells[r * cols + c]] (0xAARRGGBB); a null palette uses 0 = nothing,
    /// other = the pen colour. Cells share rc evenly (integer division).
    void FillMatrix(XRect rc, char* cells, int cols, int rows, unsigned int* palette);
    /// Draws `cx` x `cy` pixels of 0xAARRGGBB (not premultiplied) at (x, y).
    void DrawBitmap(unsigned int* pixels, int x, int y, int cx, int cy);

  private:
    int X0() const { return m_rcDraw.left + m_xOffset; }
    int Y0() const { return m_rcDraw.top + m_yOffset; }
    void SetSource(XColor color);
    void FillDevice(double x, double y, double w, double h);
    void BevelFrame(XRect rc, XColor leftTop, XColor rightBottom);
    void ApplyFont(long kind);
    cairo_t* TextContext();
    PangoLayout* MakeLayout(const char* text, int len);
    int MeasureWidth(const char* text, int len);
    int JustifiedX(XRect* rc, int width) const;
    int CentredY(XRect* rc) const;
    void ShowText(const char* text, int len, int x, int y);
    int LayoutBox(const char* text, XRect box, bool draw);
    bool m_bSmooth = false;
    bool m_bClipSaved = false;
    PangoFontDescription* m_fontDesc = nullptr;  // font of the selected kind
};
