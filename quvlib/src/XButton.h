// A push button.
#pragma once

#include "XControl.h"

/// A push button that fires its command when released inside. It is drawn from
/// pictures (normal, pressed, hover), as a flat button in the fore colour with an
/// optional centred icon, or as the stock close icon. The value is 0 (up) or 1
/// (held down). GUI thread only.
class XButton : public XControl {
  public:
    XRect m_rcButton;        // local rectangle, refreshed at each draw and press
    XPic m_icon;             // drawn centred on a flat button
    XPic m_pics[3];          // normal, pressed, hover
    int m_stock_icon = 0;    // 0 none, 1 the close icon
    bool m_bInside = false;  // the mouse is over the button

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XButton(XNode* owner, XRect rect, long command);
    /// Loads the normal, pressed and hover pictures by resource name (`hover`
    /// may be null) and makes the button transparent.
    void SetPics(const char* normal, const char* pressed, const char* hover);
    /// One picture for every state: the pressed look is the same picture darkened
    /// to 0.8 and there is no hover picture. Makes the button transparent.
    void SetPic(const char* name);
    /// Loads the icon drawn centred on the flat button.
    void SetIcon(const char* name);
    /// Tints the three pictures and the icon with `color` (XPic::SetColor).
    void SetPicColor(XColor color);
    /// The stock close icon (a small X) and transparent.
    void SetClose();
    /// The window's main action look: fore colour (53, 110, 187), white text.
    void SetPositive();

    /// Stock icon, picture or flat face, then the label (grey when disabled,
    /// moved by (1, 1) when pressed).
    void OnDraw(XDrawLib* lib) override;
    /// Value 1, redraw; keeps the mouse (returns 1).
    int OnMouseDown(XMouseEvent* event) override;
    /// Leaving m_rcButton while pressed clears the value; coming back sets it.
    void OnMouseMove(XMouseEvent* event) override;
    /// When the value is positive: value 0, redraw, Command(0, 0).
    void OnMouseUp(XMouseEvent* event) override;
    /// Sets m_bInside; redraws only with a hover picture or a stock icon.
    void OnMouseEnter() override;
    /// Clears m_bInside; redraws only with a hover picture or a stock icon.
    void OnMouseLeave() override;
    /// Draws the stock icon in `rc` (local).
    void DrawStockIcon(XDrawLib* lib, XRect rc);

  private:
    void SetPressed(int value);
};
