#include "XPlayList.h"

#include <cstdio>
#include <cstring>

#include "XDrawLib.h"
#include "XMouseEvent.h"
#include "XRegn.h"

namespace {
const XColor kHeaderBand(100, 120, 180, 255);
const XColor kRowBand(42, 47, 57, 255);
const XColor kLine(35, 38, 50, 255);
const XColor kOutline(71, 79, 98, 255);
const XColor kMarker(0, 255, 0, 255);
const XColor kHeaderText(255, 255, 255, 255);
}  // namespace

XPlayList::XPlayList(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
    memset(m_item, 0, sizeof m_item);
    SetColorBack(XColor(39, 44, 54, 255));
    SetColorFrame(XColor(0, 0, 0, 255));
    SetColorText(XColor(255, 255, 255, 255));
}

void XPlayList::Add(char* path, int rate, int bits, int channels) {
    Entry& e = m_item[Ring(m_next)];
    snprintf(e.path, sizeof e.path, "%s", path ? path : "");
    e.rate = rate;
    e.bits = bits;
    e.channels = channels;
    m_select = m_next;
    m_next = m_next >= kEntries - 1 ? 0 : m_next + 1;
    if (m_count < kEntries) ++m_count;
    Redraw();
}

char* XPlayList::NextPath() {
    if (m_next_in_line < 0) {
        m_select = m_select >= kEntries - 1 ? 0 : m_select + 1;
        if (m_select == m_next) return nullptr;
        Redraw();
        return m_item[Ring(m_select)].path;
    }
    m_select = m_next_in_line;
    m_next_in_line = -1;
    Redraw();
    return m_item[Ring(m_select)].path;
}

void XPlayList::Select(int index) {
    m_next_in_line = index;
    Redraw();
}

void XPlayList::Prev() {
    // Both rules kept as they are: a pending choice of 0 goes back to the entry
    // before the current one, and the current entry 0 gives -1 (no choice).
    if (m_next_in_line < 1)
        m_next_in_line = m_select - 1;
    else
        m_next_in_line = m_next_in_line - 1;
    Redraw();
}

void XPlayList::Next() {
    if (m_select < m_next - 1) {
        m_next_in_line = m_select + 1;
        Redraw();
    }
}

char* XPlayList::FileName(int index) {
    char* path = m_item[Ring(index)].path;
    char* slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

int XPlayList::ItemIndex(int y) {
    if (y < kHeader) return -1;
    int row = (y - kHeader) / kRow;
    if (row >= m_count) return -1;
    int index = m_first_visible + row;
    return index > kEntries - 1 ? index - kEntries : index;
}

int XPlayList::OnMouseDown(XMouseEvent* event) {
    int index = ItemIndex(event->y_mouse());
    if (index >= 0) Command(index, 0);
    return 0;
}

int XPlayList::OnToolTip(int x, int y) {
    int index = ItemIndex(y);
    if (index < 0) return 0;
    ShowToolTip(x, y, m_item[index].path, false, nullptr);
    return 1;
}

void XPlayList::OnDraw(XDrawLib* lib) {
    XRect local = GetLocalRect();
    int w = local.Width(), h = local.Height();
    const int columns[4] = {0, w - 130, w - 80, w - 40};  // name, rate, bits, channels
    const char* titles[4] = {"File Name", "Rate", "Bits", "Chan"};

    lib->FillAquaRect(XRect(0, 0, w - 1, kHeader - 1), kHeaderBand);
    int rows = (h - kHeader) / kRow + 1;
    for (int k = 1; k < rows; k += 2)
        lib->FillSolidRect(XRect(0, kRow * k + 21, w - 1, kRow * k + 34), kRowBand);
    lib->DrawLine(0, kHeader - 1, w - 1, kHeader - 1, kLine);
    for (int x : columns) lib->DrawLine(x, 0, x, h - 1, kLine);

    lib->SetTextJustify(-1);
    lib->SetTextColor(kHeaderText);
    for (int c = 0; c < 4; ++c) lib->DrawText(titles[c], columns[c] + 4, 5);

    int n = rows - 1 < m_count ? rows - 1 : m_count;
    int first = m_next - n;
    if (first < 0) first += kEntries;
    m_first_visible = first;
    int marked = MarkedIndex();
    lib->SetTextColor(m_colorText);
    char number[16];
    for (int i = 0; i < n; ++i) {
        int index = (first + i) % kEntries;
        int y = 22 + kRow * i;
        const Entry& e = m_item[index];
        if (index == marked) {
            XRegn triangle;
            triangle.AddPoint(4, y + 1);
            triangle.AddPoint(8, y + 5);
            triangle.AddPoint(4, y + 9);
            lib->FillRegn(triangle, kMarker);
        }
        // The name is cut where the rate column starts.
        XRect name(kNameX, y, columns[1] - 2, y + kRow - 1);
        lib->DrawText(FileName(index), &name);
        snprintf(number, sizeof number, "%d", e.rate);
        lib->DrawText(number, columns[1] + 4, y);
        if (e.bits != 0) {
            snprintf(number, sizeof number, "%d", e.bits);
            lib->DrawText(number, columns[2] + 4, y);
        }
        snprintf(number, sizeof number, "%d", e.channels);
        lib->DrawText(number, columns[3] + 4, y);
    }
    XRect outline = local;
    outline.Expand(-1);
    lib->DrawRect(outline, kOutline);
}
