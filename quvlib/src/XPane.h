// A background panel with rounded corners on which other controls sit.
#pragma once

#include "XControl.h"

/// A pane: a rounded rectangle in the fore colour, framed in the frame colour
/// (black when that is transparent), or its background picture when one is set.
/// GUI thread only.
class XPane : public XControl {
  public:
    int m_offset = 0;  // rows at the top left out of the rounded fill (SetTopOffset)

    /// Takes the window of `owner` (when given) and the rectangle as a layout
    /// table gives it (see XControl::SetWindowRect).
    XPane(XNode* owner, XRect rect);
    /// The fill starts `offset` rows below the top of the pane.
    void SetTopOffset(int offset) { m_offset = offset; }
    /// Fills `rect` (local) with rounded corners built from stacked solid
    /// rectangles: the fore colour inside, a one-pixel edge in the frame colour.
    void FillRoundRect(XDrawLib* lib, XRect rect);
    /// The background picture when it exists (the base drawing showed it), else
    /// the rounded fill of the local rectangle below the top offset.
    void OnDraw(XDrawLib* lib) override;
};
