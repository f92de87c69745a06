#include "XTogVol.h"

#include "XDrawLib.h"

XTogVol::XTogVol(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

void XTogVol::AddPic(const char* name) {
    if (m_pic_count >= 3) return;
    m_pic[m_pic_count].Load(name);
    ++m_pic_count;
    SetRangeInt(0, m_pic_count, 1, 0);
    // Without notification: the bus keeps its own initial volume until the first
    // click.
    m_iVal = m_pic_count - 1;
}

void XTogVol::OnDraw(XDrawLib* lib) {
    if (m_iVal < 0 || m_iVal >= m_pic_count) return;
    XRect rc = GetLocalRect();
    if (m_pic[m_iVal].Exist()) lib->DrawPic(&m_pic[m_iVal], rc.left, rc.top);
}

int XTogVol::OnMouseDown(XMouseEvent*) {
    // With no picture there is no cycle: the level stays 0 (no division by 0).
    int level = m_pic_count > 0 ? (m_iVal + 1) % m_pic_count : 0;
    m_iVal = level;
    Redraw();
    Command(level, 0);
    return 0;
}
