// Static text.
#pragma once

#include "XControl.h"

/// Static text: draws its label left-justified in the text colour, or nothing
/// when it has none. GUI thread only.
class XLabel : public XControl {
  public:
    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XLabel(XNode* owner, XRect rect, long command);
    /// The label, left-justified (2 pixels in) and centred vertically.
    void OnDraw(XDrawLib* lib) override;
};
