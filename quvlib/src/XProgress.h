// A horizontal bar showing a control's normalised value.
#pragma once

#include "XControl.h"

/// A progress bar: a raised bar in the fore colour whose width is the control's
/// normalised value (GetValueNorm) of the whole width, with the label drawn over
/// it in the text colour. GUI thread only.
class XProgress : public XControl {
  public:
    /// Takes the window of `owner` (when given) and the rectangle as a layout
    /// table gives it (see XControl::SetWindowRect).
    XProgress(XNode* owner, XRect rect);
    /// A float value given to a bar with an integer range (a step) is a fraction
    /// of that range: the integer value becomes min + round(fraction x (max -
    /// min)), clamped to the range, so the bar follows SetValueFlt(0 .. 1); a
    /// fraction that lands on the step already shown is not drawn again. A bar
    /// without an integer range keeps its float value as it is.
    void OnValueChanged(float value) override;
    /// The bar (nothing at 0), then the label over the whole rectangle.
    void OnDraw(XDrawLib* lib) override;
};
