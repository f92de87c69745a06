#include "XMouseEvent.h"

void XMouseEvent::Reset() {
    m_x_local = m_y_local = 0;
    m_x_click = m_y_click = 0;
    m_x_mouse = m_y_mouse = 0;
    m_key_shift = m_key_control = false;
}

void XMouseEvent::SetClick(int x, int y, int button) {
    m_x_click = m_x_mouse = x;
    m_y_click = m_y_mouse = y;
    m_button = button;
}
