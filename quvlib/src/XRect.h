// The GUI's rectangle value type.
#pragma once

/// A rectangle in pixels, y growing downward. All four edges belong to the
/// rectangle: a rectangle from left 0 to right 9 covers 10 columns, and the inside
/// test is inclusive on every edge. Plain value; any thread.
class XRect {
  public:
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;

    /// A zero rectangle.
    XRect() = default;
    /// Takes the edges in the order a layout table lists them: left, top, right,
    /// bottom. (The fields keep their own order: left, right, top, bottom.)
    XRect(int l, int t, int r, int b) : left(l), right(r), top(t), bottom(b) {}

    /// Moves all four edges by (dx, dy).
    void Offset(int dx, int dy);
    /// Sets right so that Width() is `cx` (right = left + cx - 1).
    void SetWidth(int cx);
    /// Sets bottom so that Height() is `cy` (bottom = top + cy - 1).
    void SetHeight(int cy);
    /// right - left + 1: both edges count.
    int Width() const { return right - left + 1; }
    /// bottom - top + 1: both edges count.
    int Height() const { return bottom - top + 1; }
    /// Grows the rectangle by `n` on every side (a negative `n` shrinks it).
    void Expand(int n);
    /// Whether left <= x <= right and top <= y <= bottom.
    bool IsInside(int x, int y) const;

    bool operator==(const XRect& o) const {
        return left == o.left && right == o.right && top == o.top && bottom == o.bottom;
    }
    bool operator!=(const XRect& o) const { return !(*this == o); }
};
