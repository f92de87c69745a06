#include "XProgress.h"

#include <cmath>

#include "XDrawLib.h"

XProgress::XProgress(XNode* owner, XRect rect) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
}

void XProgress::OnDraw(XDrawLib* lib) {
    XRect local = GetLocalRect();
    float value = GetValueNorm();
    if (value > 0) {
        XRect bar = local;
        // The width counted here is right - left (one less than the columns), and
        // the bar ends one column before left + width x value: deliberately, a
        // full bar leaves the last column unfilled.
        int width = local.right - local.left;
        bar.right = bar.left + static_cast<int>(static_cast<float>(width) * value) - 1;
        if (bar.right >= bar.left) lib->Fill3dRect(bar, m_colorFore, true);
    }
    if (m_label) {
        lib->SetTextColor(m_colorText);
        lib->SetTextJustify(m_justify);
        lib->DrawText(m_label, &local);
    }
}

void XProgress::OnValueChanged(float value) {
    if (m_iStep == 0 || !std::isfinite(value)) return;
    // The bar is drawn from the integer value (GetValueNorm reads it when there is
    // a step): a fraction lands on the nearest step of the range.
    float clamped = value < 0.0f ? 0.0f : (value > 1.0f ? 1.0f : value);
    const int step =
        m_iMin + static_cast<int>(std::lround(clamped * static_cast<float>(m_iMax - m_iMin)));
    // A fraction that lands on the step already shown changes nothing on the
    // screen: the bar is not drawn again (a frame timer feeds it many of these).
    if (step == m_iVal) SetDirty(false);
    m_iVal = step;
}
