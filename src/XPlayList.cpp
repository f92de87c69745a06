#include "XPlayList.h"

#include <cstdio>
#include <cstring>

#include "XDrawLib.h"
#include "XRegn.h"

namespace {
// Column left edges, counted from the control's right edge.
constexpr int kRateFromRight = 130;
constexpr int kBitsFromRight = 80;
constexpr int kChanFromRight = 40;
constexpr int kTextInset = 4;  // texts start 4 right of their column's left edge

const XColor kHeader(100, 120, 180, 255);
const XColor kBand(42, 47, 57, 255);
const XColor kLine(35, 38, 50, 255);
const XColor kTitle(255, 255, 255, 255);
const XColor kMarker(0, 255, 0, 255);
const XColor kOutline(71, 79, 98, 255);

int Wrap(int index) {
    return index >= XPlayList::kItems ? index - XPlayList::kItems : index;
}

XRect Intersect(XRect a, XRect b) {
    XRect r;
    r.left = a.left > b.left ? a.left : b.left;
    r.top = a.top > b.top ? a.top : b.top;
    r.right = a.right < b.right ? a.right : b.right;
    r.bottom = a.bottom < b.bottom ? a.bottom : b.bottom;
    return r;
}

void DrawNumber(XDrawLib* lib, int value, int x, int y) {
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    lib->DrawText(text, x, y);
}
}  // namespace

XPlayList::XPlayList(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
    m_colorBack = XColor(39, 44, 54, 255);
    m_colorFram = XColor(0, 0, 0, 255);
    m_colorText = XColor(255, 255, 255, 255);
}

void XPlayList::Changed() {
    Redraw();
    Update(nullptr);
}

bool XPlayList::Add(const char* path, int rate, int bits, int channels) {
    size_t len = path ? strnlen(path, kMaxPath + 1) : 0;
    if (len > static_cast<size_t>(kMaxPath)) return false;
    Item& item = m_item[m_next];
    // memmove, because the path may be one of the ring's own (from NextPath).
    if (len) std::memmove(item.path, path, len);
    item.path[len] = 0;
    item.rate = rate;
    item.bits = bits;
    item.channels = channels;
    m_select = m_next;
    m_next = Wrap(m_next + 1);
    if (m_count < kItems) ++m_count;
    Redraw();
    return true;
}

char* XPlayList::NextPath() {
    if (m_next_in_line < 0) {
        m_select = Wrap(m_select + 1);
        // Deliberately leaves m_select one past the newest entry; the next Add
        // sets it again.
        if (m_select == m_next) return nullptr;
    } else {
        m_select = m_next_in_line;
        m_next_in_line = -1;
    }
    Changed();
    return m_item[m_select].path;
}

void XPlayList::Select(int index) {
    // Only Select can name an index; past the ring it would reach beyond m_item.
    if (index >= kItems) return;
    m_next_in_line = index;
    Changed();
}

void XPlayList::Prev() {
    // Deliberate: a pending 0 goes back from the current entry instead of
    // wrapping, and a current entry of 0 gives -1, which means no choice.
    if (m_next_in_line < 1)
        m_next_in_line = m_select - 1;
    else
        m_next_in_line = m_next_in_line - 1;
    Changed();
}

void XPlayList::Next() {
    // Deliberate: always counted from the current entry, so pressing it twice
    // before the player moves on chooses the same entry.
    if (m_select < m_next - 1) {
        m_next_in_line = m_select + 1;
        Changed();
    }
}

char* XPlayList::FileName(int index) {
    static char empty[1] = {0};
    if (index < 0 || index >= kItems) return empty;
    char* path = m_item[index].path;
    char* slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

int XPlayList::RowCount() const {
    int rows = (GetLocalRect().Height() - kHeaderHeight) / kRowHeight + 1;
    return rows > 0 ? rows : 0;
}

int XPlayList::ShownCount() const {
    int rows = RowCount() - 1;
    if (rows < 0) rows = 0;
    return rows < m_count ? rows : m_count;
}

int XPlayList::FirstShown() const {
    int first = m_next - ShownCount();
    return first < 0 ? first + kItems : first;
}

int XPlayList::ItemIndex(int y) {
    if (y < kHeaderHeight) return -1;
    int row = (y - kHeaderHeight) / kRowHeight;
    if (row >= m_count) return -1;
    // The strip below the last row drawn, when more entries are held than the
    // control shows, names no entry on screen: nothing there either.
    if (row >= RowCount() - 1) return -1;
    return Wrap(m_first_visible + row);
}

const XPlayList::Item& XPlayList::Entry(int index) const {
    static const Item empty = {};
    if (index < 0 || index >= kItems) return empty;
    return m_item[index];
}

int XPlayList::OnMouseDown(XMouseEvent* event) {
    int index = ItemIndex(event->y_click());
    if (index >= 0) Command(index, 0);
    return 0;
}

int XPlayList::OnToolTip(int x, int y) {
    int index = ItemIndex(y);
    if (index < 0) return 0;
    ShowToolTip(x, y, m_item[index].path, false, nullptr);
    return 1;
}

const char* XPlayList::OnDragOutPath(int, int y) {
    int index = ItemIndex(y);
    return index < 0 ? nullptr : m_item[index].path;
}

void XPlayList::OnDraw(XDrawLib* lib) {
    XRect local = GetLocalRect();
    int w = local.Width(), h = local.Height();
    int colRate = w - kRateFromRight, colBits = w - kBitsFromRight, colChan = w - kChanFromRight;

    lib->FillAquaRect(XRect(0, 0, w - 1, kHeaderHeight - 1), kHeader);

    int rows = RowCount();
    for (int k = 1; k < rows; k += 2) {
        int top = kRowHeight * k + kHeaderHeight + 1;
        lib->FillSolidRect(XRect(0, top, w - 1, top + kRowHeight - 1), kBand);
    }

    lib->DrawLine(0, kHeaderHeight - 1, w - 1, kHeaderHeight - 1, kLine);
    for (int x : {0, colChan, colBits, colRate}) lib->DrawLine(x, 0, x, h - 1, kLine);

    const int titleY = 5;
    lib->SetTextColor(kTitle);
    lib->DrawText("File Name", kTextInset, titleY);
    lib->DrawText("Rate", colRate + kTextInset, titleY);
    lib->DrawText("Bits", colBits + kTextInset, titleY);
    lib->DrawText("Chan", colChan + kTextInset, titleY);

    int shown = ShownCount();
    m_first_visible = FirstShown();
    const int firstY = kHeaderHeight + 2;
    int marked = MarkedIndex();
    lib->SetTextColor(m_colorText);

    // Names are cut off where the rate column begins, within the control's clip.
    XRect clip = m_rcClip;
    clip.Offset(-m_rcControl.left, -m_rcControl.top);
    lib->SetClipping(Intersect(clip, XRect(0, 0, colRate - 1, h - 1)));
    for (int i = 0; i < shown; ++i) {
        int index = Wrap(m_first_visible + i);
        lib->DrawText(FileName(index), kNameX, firstY + kRowHeight * i);
    }
    if (m_count == 0 && RowCount() > 1) {
        // A new user sees what the window is for.
        lib->SetTextColor(HintColor());
        lib->DrawText(kEmptyHint, kNameX, firstY);
        lib->SetTextColor(m_colorText);
    }
    lib->SetClipping(clip);

    for (int i = 0; i < shown; ++i) {
        int index = Wrap(m_first_visible + i);
        int y = firstY + kRowHeight * i;
        const Item& item = m_item[index];
        if (index == marked) {
            XRegn marker;
            marker.AddPoint(4, y + 1);
            marker.AddPoint(8, y + 5);
            marker.AddPoint(4, y + 9);
            marker.AddPoint(4, y + 1);
            lib->FillRegn(marker, kMarker);
        }
        DrawNumber(lib, item.rate, colRate + kTextInset, y);
        if (item.bits != 0) DrawNumber(lib, item.bits, colBits + kTextInset, y);
        DrawNumber(lib, item.channels, colChan + kTextInset, y);
    }

    XRect outline = local;
    outline.Expand(-1);
    lib->DrawRect(outline, kOutline);
}
