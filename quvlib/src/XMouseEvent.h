// The mouse record a window hands to controls.
#pragma once

/// Where a mouse action happened: the click point, the current point (both in
/// window coordinates) and the origin of the receiving control, so that the
/// readers give positions relative to that control. GUI thread.
class XMouseEvent {
  public:
    int m_x_local = 0, m_y_local = 0;  // origin of the receiving control (window coords)
    int m_x_click = 0, m_y_click = 0;  // where the button went down (window coords)
    int m_x_mouse = 0, m_y_mouse = 0;  // current position (window coords)
    int m_button = 0;                  // 1 primary, 2 secondary, 3 third
    bool m_key_shift = false;
    bool m_key_control = false;

    XMouseEvent() = default;
    virtual ~XMouseEvent() = default;

    /// Zeroes the local, click and mouse points and both key flags; the button stays.
    void Reset();
    /// Sets the receiving control's origin.
    void SetLocal(int x, int y) { m_x_local = x, m_y_local = y; }
    /// Sets the click point and the mouse point to (x, y), and the button.
    void SetClick(int x, int y, int button);
    /// Sets the mouse point only.
    void SetMouse(int x, int y) { m_x_mouse = x, m_y_mouse = y; }
    void SetShiftKey(bool down) { m_key_shift = down; }
    void SetControlKey(bool down) { m_key_control = down; }

    /// Click point relative to the local origin.
    int x_click() const { return m_x_click - m_x_local; }
    int y_click() const { return m_y_click - m_y_local; }
    /// Mouse point relative to the local origin.
    int x_mouse() const { return m_x_mouse - m_x_local; }
    int y_mouse() const { return m_y_mouse - m_y_local; }
    /// Mouse point minus click point (how far the mouse moved since the press).
    int x_diff() const { return m_x_mouse - m_x_click; }
    int y_diff() const { return m_y_mouse - m_y_click; }
    int Button() const { return m_button; }
    bool ShiftKeyDown() const { return m_key_shift; }
    bool ControlKeyDown() const { return m_key_control; }
    /// Shift or control held.
    bool AnyKeyDown() const { return m_key_shift || m_key_control; }
};
