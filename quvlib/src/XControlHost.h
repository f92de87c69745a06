// The window operations a control calls.
#pragma once

class XControl;
class XDrawLib;
class XRect;

/// The window side of a control: exactly the operations XControl calls on the
/// window that owns it. XWindowBase (and XWindow for the drawing ones) derives
/// from this interface and implements them; unit tests use a small test double.
/// All GUI thread, except DrawControl, which may be called from any thread and
/// then reports false.
class XControlHost {
  public:
    virtual ~XControlHost() = default;

    /// Draws one control with its children at once. True when drawn (or when
    /// there is nothing to draw into), false off the GUI thread (nothing drawn).
    virtual bool DrawControl(XControl* control) = 0;
    /// A command that reached the top of a control tree: calls the window's
    /// OnCommand unless `id` is 0xFFFFFFFF.
    virtual void ControlCommand(unsigned long id, long wParam, long lParam) = 0;
    /// Gives the keyboard focus to `control` (null: none); the old focus control
    /// is told it lost the focus when the focus changes.
    virtual void SetFocus(XControl* control) = 0;
    /// The control holding the keyboard focus, or null.
    virtual XControl* GetFocus() = 0;
    /// Starts an in-window drag of a labelled rectangle from `source`: (x, y) and
    /// `rc` are local to `source`; `label` is copied.
    virtual void XDragStart(XControl* source, int x, int y, XRect rc, const char* label,
                            long wParam, long lParam) = 0;
    /// Vertical offset of the control area inside the content (toolbar strip).
    virtual int GetOffsetY() = 0;
    /// Turns window content coordinates into screen coordinates in place.
    virtual void LocalToScreen(int& x, int& y) = 0;
    /// The window's drawing library.
    virtual XDrawLib* GetDrawLib() = 0;
    /// Shows the window's tooltip (m_tooltip) at screen (x, y) with `text`;
    /// `flag` and `picture` are passed through to XToolTip::Show.
    virtual void ShowToolTip(int x, int y, const char* text, bool flag, const char* picture) = 0;
};
