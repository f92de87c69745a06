#include "XLabel.h"

#include "XDrawLib.h"

XLabel::XLabel(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

void XLabel::OnDraw(XDrawLib* lib) {
    if (!m_label) return;
    XRect local = GetLocalRect();
    lib->SetTextColor(m_colorText);
    lib->SetTextJustify(-1);
    lib->DrawText(m_label, &local);
}
