// A check box.
#pragma once

#include "XControl.h"

/// A check box: a 14 x 14 box at the bottom-left of the control with a check mark
/// when the value is 1, and the label to its right. A press flips the value and
/// sends Command(value, 0); it never keeps the mouse. GUI thread only.
class XCheckBox : public XControl {
  public:
    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XCheckBox(XNode* owner, XRect rect, long command);
    /// The box (two black outlines), the check mark when checked, the label.
    void OnDraw(XDrawLib* lib) override;
    /// Value = 1 - value (redrawn through the value change), Command(value, 0);
    /// returns 0.
    int OnMouseDown(XMouseEvent* event) override;
    /// The 14 x 14 box of the local rectangle `local` (bottom-left, up by 1).
    static XRect BoxOf(XRect local);
};
