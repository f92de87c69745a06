// The GUI's colour value type.
#pragma once

#include <cstdint>

/// A packed colour: alpha in the top byte, then red, green, blue (0xAARRGGBB),
/// the same packing as XPic::Color32.
typedef uint32_t QUVCOLOR;

/// A colour of four channels (red, green, blue, alpha), each 0..255. Plain value;
/// any thread. The default colour is transparent black.
class XColor {
  public:
    unsigned char m_rgba[4] = {0, 0, 0, 0};  // red, green, blue, alpha

    /// Transparent black.
    XColor() = default;
    /// The given channels; values outside 0..255 are clamped.
    XColor(int r, int g, int b, int a = 255) { SetColor(r, g, b, a); }

    /// Sets the four channels; values outside 0..255 are clamped.
    void SetColor(int r, int g, int b, int a = 255);
    /// Channel values 0..255.
    int red() const { return m_rgba[0]; }
    int green() const { return m_rgba[1]; }
    int blue() const { return m_rgba[2]; }
    int alpha() const { return m_rgba[3]; }
    /// Channel values as 0..1 floats (value / 255).
    float fred() const { return m_rgba[0] / 255.0f; }
    float fgreen() const { return m_rgba[1] / 255.0f; }
    float fblue() const { return m_rgba[2] / 255.0f; }
    float falpha() const { return m_rgba[3] / 255.0f; }
    /// The packed value 0xAARRGGBB.
    QUVCOLOR rgba() const;
    /// The colour with red, green and blue multiplied by `factor`, each truncated
    /// toward zero and capped at 0..255; alpha kept. Light(1.3f) and Light(0.7f)
    /// are the bevel shades of the drawing library.
    XColor Light(float factor) const;
    /// 255 minus each of red, green and blue; alpha kept.
    XColor Inverse() const;
    /// Whether alpha is 0.
    bool IsTransparent() const { return m_rgba[3] == 0; }

    bool operator==(const XColor& o) const { return rgba() == o.rgba(); }
    bool operator!=(const XColor& o) const { return !(*this == o); }
};
