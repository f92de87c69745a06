#include "XColor.h"

namespace {
unsigned char Clamp255(long v) {
    return static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
}
}  // namespace

void XColor::SetColor(int r, int g, int b, int a) {
    m_rgba[0] = Clamp255(r);
    m_rgba[1] = Clamp255(g);
    m_rgba[2] = Clamp255(b);
    m_rgba[3] = Clamp255(a);
}

QUVCOLOR XColor::rgba() const {
    return (static_cast<QUVCOLOR>(m_rgba[3]) << 24) | (static_cast<QUVCOLOR>(m_rgba[0]) << 16) |
           (static_cast<QUVCOLOR>(m_rgba[1]) << 8) | static_cast<QUVCOLOR>(m_rgba[2]);
}

XColor XColor::Light(float factor) const {
    // Truncation toward zero, then the cap: the bevel shades depend on exactly this.
    auto mul = [factor](unsigned char c) {
        float v = static_cast<float>(c) * factor;
        if (v >= 255.0f) return 255L;
        if (v <= 0.0f) return 0L;
        return static_cast<long>(v);
    };
    XColor out;
    out.m_rgba[0] = Clamp255(mul(m_rgba[0]));
    out.m_rgba[1] = Clamp255(mul(m_rgba[1]));
    out.m_rgba[2] = Clamp255(mul(m_rgba[2]));
    out.m_rgba[3] = m_rgba[3];
    return out;
}

XColor XColor::Inverse() const {
    XColor out;
    out.m_rgba[0] = static_cast<unsigned char>(255 - m_rgba[0]);
    out.m_rgba[1] = static_cast<unsigned char>(255 - m_rgba[1]);
    out.m_rgba[2] = static_cast<unsigned char>(255 - m_rgba[2]);
    out.m_rgba[3] = m_rgba[3];
    return out;
}
