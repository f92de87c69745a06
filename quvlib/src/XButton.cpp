#include "XButton.h"

#include "XDrawLib.h"

XButton::XButton(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

void XButton::SetPics(const char* normal, const char* pressed, const char* hover) {
    if (normal) m_pics[0].Load(normal);
    if (pressed) m_pics[1].Load(pressed);
    if (hover)
        m_pics[2].Load(hover);
    else
        m_pics[2].Clear();
    SetTransparent(true);
}

void XButton::SetPic(const char* name) {
    if (name) m_pics[0].Load(name);
    m_pics[1] = XPic();
    if (m_pics[0].Exist() && m_pics[1].Load(name)) m_pics[1].SetLight(0.8f);
    m_pics[2].Clear();
    SetTransparent(true);
}

void XButton::SetIcon(const char* name) {
    if (name) m_icon.Load(name);
}

void XButton::SetPicColor(XColor color) {
    for (XPic& pic : m_pics)
        if (pic.Exist()) pic.SetColor(color);
    if (m_icon.Exist()) m_icon.SetColor(color);
}

void XButton::SetClose() {
    m_stock_icon = 1;
    SetTransparent(true);
}

void XButton::SetPositive() {
    m_colorFore = XColor(53, 110, 187, 255);
    m_colorText = XColor(255, 255, 255, 255);
}

void XButton::SetPressed(int value) {
    // SetValueInt redraws when the value changes; an equal value still redraws
    // here so that every press and release shows.
    if (!SetValueInt(value)) Redraw();
}

int XButton::OnMouseDown(XMouseEvent*) {
    m_rcButton = GetLocalRect();
    SetPressed(1);
    return 1;
}

void XButton::OnMouseMove(XMouseEvent* event) {
    bool inside = m_rcButton.IsInside(event->x_mouse(), event->y_mouse());
    if (m_iVal > 0 && !inside)
        SetPressed(0);
    else if (m_iVal == 0 && inside && m_bMouseDown)
        SetPressed(1);
}

void XButton::OnMouseUp(XMouseEvent*) {
    // A release outside fires nothing: leaving the button already cleared the value.
    if (m_iVal <= 0) return;
    SetPressed(0);
    Command(0, 0);
}

void XButton::OnMouseEnter() {
    m_bInside = true;
    // Other buttons look the same under the mouse: not redrawn, to save drawing.
    if (m_pics[2].Exist() || m_stock_icon) Redraw();
}

void XButton::OnMouseLeave() {
    m_bInside = false;
    if (m_pics[2].Exist() || m_stock_icon) Redraw();
}

void XButton::DrawStockIcon(XDrawLib* lib, XRect rc) {
    if (m_stock_icon != 1) return;
    // The close icon: a small X of two 2-pixel diagonals, 8 x 8, centred; darker
    // under the mouse and when pressed.
    XColor color = (m_iVal > 0 || m_bInside) ? XColor(40, 40, 40, 255) : XColor(110, 110, 110, 255);
    if (!m_bEnabled) color = XColor(200, 200, 200, 255);
    int size = 8;
    int x0 = rc.left + (rc.Width() - size) / 2;
    int y0 = rc.top + (rc.Height() - size) / 2;
    for (int i = 0; i < 2; ++i) {
        lib->DrawLine(x0 + i, y0, x0 + size - 1, y0 + size - 1 - i, color);
        lib->DrawLine(x0, y0 + i, x0 + size - 1 - i, y0 + size - 1, color);
        lib->DrawLine(x0 + size - 1 - i, y0, x0, y0 + size - 1 - i, color);
        lib->DrawLine(x0 + size - 1, y0 + i, x0 + i, y0 + size - 1, color);
    }
}

void XButton::OnDraw(XDrawLib* lib) {
    m_rcButton = GetLocalRect();
    XRect rc = m_rcButton;
    bool pressed = m_iVal > 0;
    if (m_stock_icon) {
        DrawStockIcon(lib, rc);
    } else if (m_pics[0].Exist()) {
        XPic* pic = &m_pics[0];
        if (pressed && m_pics[1].Exist())
            pic = &m_pics[1];
        else if (!pressed && m_bInside && m_pics[2].Exist())
            pic = &m_pics[2];
        lib->DrawPic(pic, rc.left, rc.top);
    } else {
        lib->FillSolidRect(rc, m_colorFore);
        if (pressed) {
            XRect outline = rc;
            outline.Expand(1);
            lib->DrawRect(outline, m_colorFore.Light(0.6f));
        }
        XColor shade = m_colorFore.Light(0.7f);
        lib->MoveTo(rc.left, rc.bottom);
        lib->SetPenColor(shade);
        lib->LineTo(rc.right, rc.bottom);
        lib->LineTo(rc.right, rc.top);
        if (m_icon.Exist())
            lib->DrawPic(&m_icon, rc.left + (rc.Width() - m_icon.Width()) / 2,
                         rc.top + (rc.Height() - m_icon.Height()) / 2);
    }
    if (m_label) {
        lib->SetTextColor(m_bEnabled ? m_colorText : XColor(200, 200, 200, 255));
        XRect text = rc;
        if (pressed) text.Offset(1, 1);  // the label sinks with the button
        lib->SetTextJustify(m_justify);
        lib->DrawText(m_label, &text);
    }
}
