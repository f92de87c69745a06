// The playlist view at the top of the main window.
#pragma once

#include <cstdint>

#include "XControl.h"

/// Lists the sounds played so far, newest at the bottom, with their rate, bit
/// depth and channel count; marks the current sound (or the one chosen to play
/// next) with a green triangle; a click on an entry sends the control's command
/// with the entry's index; hovering an entry shows its full path. It keeps the
/// last 50 entries in a ring, through which the main window's worker goes back
/// and forth (NextPath).
///
/// GUI thread only: the main window's worker hands its calls (Add, NextPath) to
/// the GUI thread, so the fields need no atomics. The file name is drawn from
/// x = 12 on every row, so the marker before it (x 4 to 8) never covers it.
class XPlayList : public XControl {
  public:
    static constexpr int kEntries = 50;
    static constexpr int kPathSize = 512;
    static constexpr int kHeader = 20;  // header band height
    static constexpr int kRow = 14;     // row height
    static constexpr int kNameX = 12;   // where file names start

    struct Entry {
        char path[kPathSize];  // NUL-terminated; longer paths are cut at 511 bytes
        int32_t rate;
        int32_t bits;
        int32_t channels;
    };

    int32_t m_test = 0;           // kept for the list's users; not read here
    Entry m_item[kEntries];       // the ring
    int32_t m_next = 0;           // ring position the next Add writes
    int32_t m_count = 0;          // entries held, 0 to 50
    int32_t m_first_visible = 0;  // ring index of the first entry drawn
    int32_t m_select = 0;         // the current (playing) entry
    int32_t m_next_in_line = -1;  // the entry chosen to play next, -1 for none

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it and the command id. Dark back colour, black frame, white text.
    XPlayList(XNode* owner, XRect rect, long command);

    /// Copies the path (cut to 511 bytes) and the numbers into entry m_next, makes
    /// it the current entry, advances m_next (49 wraps to 0), counts it (the
    /// oldest is overwritten once 50 are held) and redraws.
    void Add(char* path, int rate, int bits, int channels);
    /// The path to play next: the chosen entry when there is one (the choice is
    /// then used up), else the entry after the current one, or null when the
    /// current one was the newest (m_select is then one past it).
    char* NextPath();
    /// Chooses entry `index` to play next.
    void Select(int index);
    /// Chooses the entry before the current one, or before the pending choice
    /// when that is 1 or more. With the current entry at 0 the result is -1: no
    /// choice.
    void Prev();
    /// Chooses the entry after the current one, unless the current one is the
    /// newest. Counts from the current entry, so twice chooses the same entry.
    void Next();
    /// The part of entry `index`'s path after its last "/".
    char* FileName(int index);
    /// The entry at local y: -1 on the header or below the last entry.
    int ItemIndex(int y);

    /// A click on an entry sends Command(index, 0). Returns 0 (no capture).
    int OnMouseDown(XMouseEvent* event) override;
    /// Over an entry: a tooltip with its full path (returns 1); else 0.
    int OnToolTip(int x, int y) override;
    /// Header band, row bands, lines, header texts, entries and marker, outline.
    void OnDraw(XDrawLib* lib) override;

    // ---- for the main window and tests ----
    int Count() const { return m_count; }
    int SelectIndex() const { return m_select; }
    int NextInLine() const { return m_next_in_line; }
    /// Entry at ring index `index` (0 to 49).
    const char* EntryPath(int index) const { return m_item[Ring(index)].path; }
    int EntryRate(int index) const { return m_item[Ring(index)].rate; }
    int EntryBits(int index) const { return m_item[Ring(index)].bits; }
    int EntryChannels(int index) const { return m_item[Ring(index)].channels; }
    /// The entry drawn with the marker: the chosen one, else the current one.
    int MarkedIndex() const { return m_next_in_line >= 0 ? m_next_in_line : m_select; }

  private:
    static int Ring(int index) { return index < 0 ? 0 : index % kEntries; }
};
