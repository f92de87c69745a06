#include "XToggle.h"

#include "XDrawLib.h"

XToggle::XToggle(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

void XToggle::SetPic(const char* off, const char* on) {
    if (off) m_pic[0].Load(off);
    if (on) m_pic[1].Load(on);
}

void XToggle::OnDraw(XDrawLib* lib) {
    XRect rc = GetLocalRect();
    int index = m_iVal > 0 ? 1 : 0;
    if (m_pic[index].Exist())
        lib->DrawPic(&m_pic[index], rc.left, rc.top);
    else
        lib->FillAquaRect(rc, index ? m_colorFore : XColor(200, 200, 200, 255));
    if (m_label) {
        lib->SetTextColor(m_colorText);
        lib->SetTextJustify(m_justify);
        lib->DrawText(m_label, &rc);
    }
}

int XToggle::OnMouseDown(XMouseEvent*) {
    int value = 1 - m_iVal;
    if (!SetValueInt(value)) Redraw();
    Command(value, 0);
    // Never keeps the mouse: there is nothing to release.
    return 0;
}
