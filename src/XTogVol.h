// The loudspeaker toggle of the playing panel.
#pragma once

#include <cstdint>

#include "XControl.h"

/// A picture toggle that cycles through up to three levels on each click and
/// sends the new level as its command's first parameter. The integer value is
/// the current level, counted from 0. GUI thread only.
class XTogVol : public XControl {
  public:
    XPic m_pic[3];            // one picture per level, in level order
    int32_t m_pic_count = 0;  // pictures added so far, 0 to 3

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XTogVol(XNode* owner, XRect rect, long command);
    /// Loads the named picture into the next free slot (a fourth is ignored),
    /// sets the range 0 .. count with step 1 and the value to count - 1 without
    /// notification: the control stands at its loudest level, no command sent.
    void AddPic(const char* name);
    /// The picture of the current level at the top-left, or nothing.
    void OnDraw(XDrawLib* lib) override;
    /// Next level (modulo the picture count), set without notification, redraw,
    /// Command(level, 0); returns 0. Before any picture the level stays 0 and the
    /// command still goes out with 0.
    int OnMouseDown(XMouseEvent* event) override;
};
