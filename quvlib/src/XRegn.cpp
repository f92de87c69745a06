#include "XRegn.h"

void XRegn::AddPoint(int x, int y) {
    m_x.push_back(x);
    m_y.push_back(y);
}
