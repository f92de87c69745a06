#include "XToolTip.h"

void XToolTip::Show(XWindow*, int x, int y, const char*, bool, const char*) {
    m_bShown = true;
    ++m_showCount;
    m_x = x;
    m_y = y;
}

void XToolTip::Hide() {
    m_bShown = false;
}
