#include "XRect.h"

void XRect::Offset(int dx, int dy) {
    left += dx;
    right += dx;
    top += dy;
    bottom += dy;
}

void XRect::SetWidth(int cx) {
    right = left + cx - 1;
}

void XRect::SetHeight(int cy) {
    bottom = top + cy - 1;
}

void XRect::Expand(int n) {
    left -= n;
    top -= n;
    right += n;
    bottom += n;
}

bool XRect::IsInside(int x, int y) const {
    // Inclusive on all four edges, deliberately: controls answer for their edge pixels.
    return left <= x && x <= right && top <= y && y <= bottom;
}
