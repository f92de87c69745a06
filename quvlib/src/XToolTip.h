// The one tooltip window each window owns.
#pragma once

#include "XPic.h"

class XWindow;

// Platform types, declared here so that this header needs no platform header.
typedef struct _GtkWidget GtkWidget;
typedef struct _cairo cairo_t;
typedef struct _cairo_rectangle_int cairo_rectangle_int_t;
typedef cairo_rectangle_int_t GdkRectangle;

/// The window's tooltip: a small borderless popup window, made on first use and
/// kept above its window, showing a few lines of text and optionally a picture.
/// Every member is for the GUI thread.
class XToolTip {
  public:
    /// Most lines a tooltip text is laid out in; the rest of a longer text is not
    /// shown.
    static constexpr int kMaxLines = 32;
    /// Window size when no picture is given.
    static constexpr int kDefaultWidth = 180;
    static constexpr int kDefaultHeight = 16;
    /// Height of one laid-out line of text, in pixels.
    static constexpr int kLineHeight = 13;

    /// An empty tooltip: no window, no text. Touches no platform service.
    XToolTip();
    /// Destroys the tooltip window, if one was made, and frees the text.
    ~XToolTip();
    XToolTip(const XToolTip&) = delete;
    XToolTip& operator=(const XToolTip&) = delete;

    /// Shows `text` (null counts as empty; a file name that is not UTF-8 in its
    /// display form) at screen (x, y) for `parent`: copies the text, sizes the
    /// window (180 x 16, or the picture's size when `picture` names a loadable
    /// picture resource), wraps the text into lines when it does not fit on one
    /// or holds a line break, keeps the window on the screen and shows it. A
    /// word wider than the tooltip (a long path) widens the window to hold it,
    /// up to the screen's width; a line wider than the screen is broken after
    /// its last '/' that fits, else after its last character that fits. `fit`
    /// true narrows a one-line tooltip without picture to its text; false keeps
    /// the default width. The window takes no pointer input: clicks and drags go
    /// to the window under it. With a null `parent`, or a parent without a
    /// platform window, the text is laid out (without a screen limit) but no
    /// window is made.
    void Show(XWindow* parent, int x, int y, const char* text, bool fit, const char* picture);
    /// Hides the tooltip window if it exists.
    void Hide();
    /// Loads the picture resource `name` (e.g. "btn_info.png") as the tooltip's
    /// picture and takes its size. Returns false, holding no picture, when there
    /// is no such resource.
    bool LoadPic(const char* name);
    /// Drops the picture.
    void ClearPic();
    /// Greedy word wrap of the text, in place, for lines of `width` pixels
    /// measured in `cr`'s font setup: a line grows word by word while its width
    /// plus 6 stays within `width`; a carriage return or line feed ends a line at
    /// once; a word that would overflow starts the next line; a word wider than
    /// `width` stands on its own line. Line ends become terminators. Returns the
    /// number of lines (at most kMaxLines; 1 for an empty text).
    int SplitText(cairo_t* cr, int width);
    /// Draws the tooltip into `cr` at (0, 0): background, picture, lines of
    /// text, outline, over the current window size.
    void Draw(cairo_t* cr);

    /// Whether the last request was Show.
    bool IsShown() const { return m_bShown; }
    /// Number of Show requests so far.
    int ShowCount() const { return m_showCount; }
    /// Where the last Show asked for (screen coordinates, before keeping the
    /// window on the screen).
    int ShownX() const { return m_x; }
    int ShownY() const { return m_y; }
    /// Number of laid-out lines, and line `i` (empty past the end).
    int LineCount() const { return m_line_count; }
    const char* Line(int i) const;
    /// Size of the tooltip window as laid out by the last Show.
    int Width() const { return m_cx_win; }
    int Height() const { return m_cy_win; }
    /// The size of the picture held, 0 x 0 when none.
    int PicWidth() const { return m_cx_pic; }
    int PicHeight() const { return m_cy_pic; }
    /// The popup window (null until a Show with a parent window made it).
    GtkWidget* GetWindow() const { return m_hWindow; }
    /// Where the popup window was placed last (screen coordinates, after keeping
    /// it on the screen).
    int PlacedX() const { return m_xWin; }
    int PlacedY() const { return m_yWin; }

    /// Colours of the tooltip (red, green, blue, alpha), for drawing and tests.
    static XColor BackColor() { return XColor(38, 42, 52, 255); }
    static XColor TextColor() { return XColor(230, 234, 242, 255); }
    static XColor FrameColor() { return XColor(110, 120, 140, 255); }

  private:
    void SetText(const char* text);
    void Layout(bool fit, int maxWidth);
    int WidestLine(cairo_t* cr) const;
    void BreakWideLines(cairo_t* cr, int width);
    bool ScreenAt(XWindow* parent, GdkRectangle* area) const;
    void Place(XWindow* parent);

    GtkWidget* m_hWindow = nullptr;  // the popup window, made on first use
    GtkWidget* m_hParent = nullptr;  // the platform window it belongs to
    char* m_text = nullptr;          // owned copy of the text; lines split in place
    int m_text_size = 0;             // size of m_text's buffer
    char* m_line[kMaxLines] = {};    // start of each laid-out line inside m_text
    int m_line_count = 0;
    XPic m_hPic;  // the picture, empty when none
    int m_cx_pic = 0, m_cy_pic = 0;
    int m_cx_win = kDefaultWidth, m_cy_win = kDefaultHeight;
    int m_xWin = 0, m_yWin = 0;

    bool m_bShown = false;
    int m_showCount = 0;
    int m_x = 0;
    int m_y = 0;
};
