// A two-state switch.
#pragma once

#include "XControl.h"

/// A two-state switch drawn from two pictures (off, on) or as a glossy lozenge
/// (fore colour when on, grey 200 when off). The value is 0 (off) or 1 (on). A
/// press flips it and sends Command(new value, 0); it never keeps the mouse.
/// GUI thread only.
class XToggle : public XControl {
  public:
    XPic m_pic[2];  // off, on

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XToggle(XNode* owner, XRect rect, long command);
    /// Loads the off and on pictures by resource name (either may be null).
    void SetPic(const char* off, const char* on);
    /// The picture of the current value, or the lozenge; then the label.
    void OnDraw(XDrawLib* lib) override;
    /// Value = 1 - value, redraw, Command(new value, 0); returns 0.
    int OnMouseDown(XMouseEvent* event) override;
};
