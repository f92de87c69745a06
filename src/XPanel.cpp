#include "XPanel.h"

#include "XDrawLib.h"

XPanel::XPanel(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
    m_colorBack = XColor(0, 0, 0, 0);
    m_colorFore = XColor(20, 20, 40, 255);
    m_colorText = XColor(255, 255, 240, 255);
    m_colorFram = XColor(0, 0, 0, 0);
}

namespace {
int Toward(int c, int m, float f) {
    return c + static_cast<int>(static_cast<float>(m - c) * f);
}
}  // namespace

void XPanel::SetZoom(float zoom) {
    float f = 1.0f - zoom;
    XRect rc = GetLocalRect();
    rc.left = Toward(rc.left, m_rcMin.left, f);
    rc.top = Toward(rc.top, m_rcMin.top, f);
    rc.right = Toward(rc.right, m_rcMin.right, f);
    rc.bottom = Toward(rc.bottom, m_rcMin.bottom, f);
    m_rcDraw = rc;
    Redraw();
}

void XPanel::OnDraw(XDrawLib* lib) {
    lib->FillRoundRect(GetLocalRect(), m_colorFore);
}
