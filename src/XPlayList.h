// The list of sounds played so far, at the top of the main window.
#pragma once

#include <cstdint>

#include "XControl.h"

/// Lists the sounds played so far, newest at the bottom, with their sample rate,
/// bit depth and channel count; marks the current sound with a green triangle and
/// lets the user pick one to play next. It is also the memory through which the
/// main window's worker goes back and forth: the last 50 entries are kept in a
/// ring, and the oldest is overwritten when the ring is full.
///
/// Layout, in control-local coordinates (w, h = the control's width and height):
///   - a header band from y 0 to 19 with the column titles at y 5: "File Name"
///     at x 4, "Rate" at w - 126, "Bits" at w - 76, "Chan" at w - 36 (each 4 right
///     of its column's left edge: 0, w - 130, w - 80, w - 40);
///   - rows 14 high below it; entry i of the ones shown is drawn at y 22 + 14 i;
///     every second row (the second, fourth, ...) has a darker band;
///   - the marker triangle of the marked entry covers x 4 to 8 of its row; the
///     file name of every entry starts at x 12 (kNameX), right of the marker, so
///     that names line up whether they are marked or not, and it is cut off where
///     the "Rate" column begins;
///   - rate, bits (left out when 0) and channels with "%d", 4 right of their
///     columns' left edges;
///   - while the list is empty, the first row holds a grey hint (kEmptyHint) at
///     kNameX, cut off where the "Rate" column begins.
///
/// Threading: every operation, including the main window's calls made on behalf
/// of its worker (which hands them over to the GUI thread), runs on the GUI
/// thread; the fields are therefore plain, not atomic.
class XPlayList : public XControl {
  public:
    static constexpr int kItems = 50;         // entries in the ring
    static constexpr int kPathSize = 512;     // bytes of an entry's path, NUL included
    static constexpr int kHeaderHeight = 20;  // the header band covers y 0 to 19
    static constexpr int kRowHeight = 14;     // height of one entry's row
    static constexpr int kNameX = 12;         // where a file name starts
    /// What an empty list says in its first row, and the colour it says it in.
    static constexpr const char* kEmptyHint = "Drop sound files or folders here";
    static XColor HintColor() { return XColor(128, 137, 156, 255); }
    /// The longest path an entry holds, in bytes (the NUL not counted).
    static constexpr int kMaxPath = kPathSize - 1;

    /// One entry: the path (always NUL-terminated, at most kMaxPath bytes) and the
    /// numbers shown beside its file name.
    struct Item {
        char path[kPathSize];
        int32_t rate;
        int32_t bits;  // 0 for formats without a fixed bit depth: not shown
        int32_t channels;
    };

    int32_t m_test = 0;           // set to 0 at construction, not used by the list
    Item m_item[kItems] = {};     // the ring of entries
    int32_t m_next = 0;           // ring position the next Add writes, 0 to 49
    int32_t m_count = 0;          // entries held, 0 to 50
    int32_t m_first_visible = 0;  // ring index of the first entry drawn (set by OnDraw)
    int32_t m_select = 0;         // the current (playing) entry
    int32_t m_next_in_line = -1;  // the entry chosen to play next, -1 for none

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id that a click on
    /// an entry sends. Colours: back (39, 44, 54), frame (0, 0, 0), text (255,
    /// 255, 255); an empty list with nothing chosen.
    XPlayList(XNode* owner, XRect rect, long command);

    /// Writes the path (null counts as empty) and the numbers into entry m_next,
    /// makes that entry the current one, advances m_next (after 49 comes 0), raises
    /// m_count up to 50 (then the oldest entry is overwritten), redraws and returns
    /// true. A path longer than kMaxPath bytes is refused (false, nothing changes):
    /// cut, it would name another file, and playing on from the entry would open it.
    bool Add(const char* path, int rate, int bits, int channels);
    /// The path to play next, or null. With a choice pending: that entry becomes
    /// the current one, the choice is cleared and its path returned. Without one:
    /// the current entry advances by one (after 49 comes 0); when it reaches
    /// m_next (the newest entry was current) the result is null and m_select is
    /// left one past the newest entry until the next Add; otherwise its path.
    /// The pointer stays valid until that entry is overwritten by an Add.
    char* NextPath();
    /// Chooses entry `index` to play next (a negative index clears the choice).
    /// An index past the ring (50 or more) names no entry and is ignored.
    void Select(int index);
    /// Chooses the entry before: with no choice, or a choice below 1, the one
    /// before the current entry (so a pending choice of 0 does not wrap to 49,
    /// and with the current entry at 0 the result is -1, no choice); otherwise
    /// the one before the choice. Both rules are deliberate.
    void Prev();
    /// Chooses the entry after the current one, but only when the current entry
    /// is below m_next - 1 (it is not the newest). It counts from the current
    /// entry, not from a pending choice: pressing it twice chooses the same entry.
    void Next();
    /// The part of entry `index`'s path after its last "/" (the whole path when it
    /// has none). An index outside 0..49 gives an empty text.
    char* FileName(int index);
    /// The ring index of the entry at local `y`, or -1: -1 over the header (y
    /// below 20); row = (y - 20) / 14; -1 when the row is m_count or more, or
    /// past the rows the control's height shows; else m_first_visible + row
    /// (less 50 above 49).
    int ItemIndex(int y);

    /// Entries held (m_count).
    int Count() const { return m_count; }
    /// The current entry (m_select).
    int SelectIndex() const { return m_select; }
    /// The entry chosen to play next, -1 for none (m_next_in_line).
    int NextInLine() const { return m_next_in_line; }
    /// The ring position the next Add writes (m_next).
    int NextSlot() const { return m_next; }
    /// Entry `index` of the ring; an index outside 0..49 gives an empty entry.
    const Item& Entry(int index) const;
    /// The entry the marker is drawn before: the pending choice when there is
    /// one, otherwise the current entry.
    int MarkedIndex() const { return m_next_in_line >= 0 ? m_next_in_line : m_select; }
    /// Rows of the control counting the header's: (h - 20) / 14 + 1, h the
    /// control's height (never below 0). Every second of them, from the second,
    /// gets a band.
    int RowCount() const;
    /// Entries that drawing shows: the smaller of RowCount() - 1 and m_count.
    int ShownCount() const;
    /// Ring index of the first entry drawn: m_next - ShownCount() (plus 50 when
    /// negative). OnDraw stores it in m_first_visible.
    int FirstShown() const;

    /// A press on an entry sends the control's command with the entry's index as
    /// the first parameter; a press on the header or below the last entry sends
    /// nothing. Returns 0 (the list does not keep the mouse).
    int OnMouseDown(XMouseEvent* event) override;
    /// Over an entry, shows a tooltip holding its full path and returns 1;
    /// elsewhere returns 0.
    int OnToolTip(int x, int y) override;
    /// A drag that starts on an entry carries that entry's file out of the
    /// window; elsewhere (the header, below the last entry) nothing.
    const char* OnDragOutPath(int x, int y) override;
    /// Draws the header, bands, lines, titles, entries, the marker and the
    /// outline (see the class comment); stores m_first_visible.
    void OnDraw(XDrawLib* lib) override;

  private:
    void Changed();
};
