// The one tooltip window each window owns.
#pragma once

class XWindow;

/// The window's tooltip. For now it only remembers whether it was asked to show and
/// where: no tooltip window is drawn yet (Show and Hide touch no window). GUI thread.
class XToolTip {
  public:
    XToolTip() = default;
    ~XToolTip() = default;
    XToolTip(const XToolTip&) = delete;
    XToolTip& operator=(const XToolTip&) = delete;

    /// Asks the tooltip to show `text` at screen (x, y) for `parent`; records the
    /// request (no window yet).
    void Show(XWindow* parent, int x, int y, const char* text, bool flag, const char* picture);
    /// Hides the tooltip (records the request).
    void Hide();
    /// Whether the last request was Show.
    bool IsShown() const { return m_bShown; }
    /// Number of Show requests so far.
    int ShowCount() const { return m_showCount; }
    /// Where the last Show asked for.
    int ShownX() const { return m_x; }
    int ShownY() const { return m_y; }

  private:
    bool m_bShown = false;
    int m_showCount = 0;
    int m_x = 0;
    int m_y = 0;
};
