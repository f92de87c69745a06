#include "XCheckBox.h"

#include "XDrawLib.h"
#include "XRegn.h"

XCheckBox::XCheckBox(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

XRect XCheckBox::BoxOf(XRect local) {
    XRect box = local;
    box.bottom -= 1;
    box.right = box.left + 14;
    box.top = box.bottom - 14;
    return box;
}

void XCheckBox::OnDraw(XDrawLib* lib) {
    const XColor black(0, 0, 0, 255);
    XRect box = BoxOf(GetLocalRect());
    lib->DrawRect(box, black);
    box.Expand(-1);
    lib->DrawRect(box, black);
    box.Expand(-1);
    if (m_iVal > 0) {
        const int a = 3, b = 8;
        int cx = box.left + box.Width() / 2;
        int cy = box.top + box.Height() / 2 - 1;
        XRegn check;
        check.AddPoint(cx, cy);
        check.AddPoint(cx + b, cy - b);
        check.AddPoint(cx + b + a, cy - b + a);
        check.AddPoint(cx, cy + 2 * a);
        check.AddPoint(cx - 2 * a, cy);
        check.AddPoint(cx - a, cy - a);
        check.AddPoint(cx, cy);
        lib->FillRegn(check, m_colorFore);
        lib->DrawRegn(check, black);
    }
    box.Expand(3);
    if (m_label) {
        lib->SetTextColor(m_colorText);
        lib->DrawText(m_label, box.right + 5, box.top + 4);
    }
}

int XCheckBox::OnMouseDown(XMouseEvent*) {
    SetValueInt(1 - m_iVal);
    Command(m_iVal, 0);
    return 0;
}
