#include "XPane.h"

#include "XDrawLib.h"

XPane::XPane(XNode* owner, XRect rect) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
}

void XPane::FillRoundRect(XDrawLib* lib, XRect rect) {
    XColor fill = m_colorFore;
    XColor frame = m_colorFram;
    if (frame.IsTransparent()) frame = XColor(0, 0, 0, 255);
    if (rect.Width() < 7 || rect.Height() < 7) {
        lib->FillSolidRect(rect, frame);
        return;
    }
    // The frame: three stacked rectangles, tallest first, each one wider and two
    // rows shorter, so that the corners are cut in three steps.
    XRect r(rect.left, rect.top + 3, rect.right, rect.bottom - 3);
    lib->FillSolidRect(r, frame);
    r = XRect(rect.left + 1, rect.top + 1, rect.right - 1, rect.bottom - 1);
    lib->FillSolidRect(r, frame);
    r = XRect(rect.left + 3, rect.top, rect.right - 3, rect.bottom);
    lib->FillSolidRect(r, frame);
    // The fill, one pixel inside the frame, built the same way: first the
    // rectangle inset by 1 horizontally and 3 vertically, then the steps of the
    // corners.
    r = XRect(rect.left + 1, rect.top + 3, rect.right - 1, rect.bottom - 3);
    lib->FillSolidRect(r, fill);
    r = XRect(rect.left + 2, rect.top + 2, rect.right - 2, rect.bottom - 2);
    lib->FillSolidRect(r, fill);
    r = XRect(rect.left + 3, rect.top + 1, rect.right - 3, rect.bottom - 1);
    lib->FillSolidRect(r, fill);
}

void XPane::OnDraw(XDrawLib* lib) {
    if (m_backPic.Exist()) {
        lib->DrawPic(&m_backPic, 0, 0);
        return;
    }
    XRect rc = GetLocalRect();
    rc.top += m_offset;
    if (rc.top > rc.bottom) return;
    FillRoundRect(lib, rc);
}
