// A plain filled panel with a zoom toward a minimum rectangle.
#pragma once

#include "XControl.h"

/// A filled panel with rounded corners in the fore colour. SetZoom computes a
/// rectangle between the full local rectangle (zoom 1) and the minimum rectangle
/// (zoom 0); drawing always fills the whole control. GUI thread only.
class XPanel : public XControl {
  public:
    XRect m_rcMin;   // the rectangle the panel shrinks toward at zoom 0
    XRect m_rcDraw;  // the rectangle computed by the last SetZoom

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it and the command id; colours back (0, 0, 0, 0), fore (20, 20, 40),
    /// text (255, 255, 240), frame (0, 0, 0, 0).
    XPanel(XNode* owner, XRect rect, long command);
    /// Copies `rc` into m_rcMin.
    void SetMinRect(XRect rc) { m_rcMin = rc; }
    /// m_rcDraw = the local rectangle moved toward m_rcMin by 1 - zoom (each
    /// coordinate c -> c + trunc((m - c) x (1 - zoom))), then redraw.
    void SetZoom(float zoom);
    /// Fills the local rectangle with rounded corners in the fore colour.
    void OnDraw(XDrawLib* lib) override;
};
