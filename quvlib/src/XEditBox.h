// A one-line edit field.
#pragma once

#include "XControl.h"

/// A one-line edit field: a click enters editing with a copy of the label; keys
/// and the clipboard edit the copy; Return (or losing the focus, unless
/// DisableAutoValid) commits it into the label and sends the command with the
/// value read from it, Escape cancels. The window's timer blinks the caret.
/// GUI thread only.
///
/// Accepted characters (SetFormat's bit set, tested in this order): bit 0 (1)
/// letters, bit 1 (2) digits, bit 2 (4) '+' '-', bit 3 (8) '.', bit 5 (32) '#',
/// bit 6 (64) '/' accept at once; anything else is accepted unless bit 4 (16) is
/// set and it is '"', '\'', '/' or ':'. The class bits only ever accept; only bit
/// 4 refuses. Codes below 32 and 127 are always refused. AcceptFormatOnly makes
/// the class bits the whole filter: then only the characters they name go in,
/// typed or pasted (a seconds field takes digits and nothing else).
///
/// Keys: Control (or Command) with 'a' selects the whole text, with 'v' pastes.
///
/// Value read at commit: format 2 reads an integer (_get_int) and sets it as the
/// control's value; format 39 reads a note name (_get_midi); other formats send 0.
class XEditBox : public XControl {
  public:
    bool m_bAutoValid = true;        // losing the focus commits the edit
    long m_kEditFormat = 0;          // bit set of accepted characters
    long m_size = 0;                 // most characters the text may hold (0: the buffer's 399)
    char m_local[400] = "";          // the text being edited
    long m_xMouse[2] = {0, 0};       // local x of the press that started editing, and of the mouse
    bool m_bEditMode = false;        // editing
    bool m_bForceUpperCase = false;  // letters are typed upper case
    bool m_bFormatOnly = false;      // only the format's classes go in (AcceptFormatOnly)
    long m_iCursor = 0;              // insertion point (character index into m_local)
    int m_caret = 0;                 // 1 = caret drawn, 0 = hidden
    int m_nSelect = 0;               // number of selected characters from the cursor on
    int m_pos[256] = {};             // local x of each character, filled when drawing

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XEditBox(XNode* owner, XRect rect, long command);
    /// Sets the accepted characters (bit set above) and the most characters the
    /// text may hold (0 or less: limited by the 400-byte buffer only).
    void SetFormat(long format, long size);
    /// Typed letters a-z become A-Z.
    void ForceUpperCase() { m_bForceUpperCase = true; }
    /// Losing the focus cancels the edit instead of committing it.
    void DisableAutoValid() { m_bAutoValid = false; }
    /// Only the characters the format's class bits name go in, typed or pasted;
    /// everything else is refused.
    void AcceptFormatOnly() { m_bFormatOnly = true; }

    /// The edited text with its selection and caret while editing, else the label.
    void OnDraw(XDrawLib* lib) override;
    /// Enters editing (text = the label, cursor at its end) or, while editing,
    /// moves the cursor to the click. Keeps the mouse (returns 1).
    int OnMouseDown(XMouseEvent* event) override;
    /// While pressed: selects from the press to the mouse.
    void OnMouseMove(XMouseEvent* event) override;
    void OnMouseUp(XMouseEvent* event) override;
    /// While editing: caret shown for an even count, hidden for an odd one; redraw.
    void OnTimer(int count) override;
    /// Losing the focus while editing commits (auto valid) or cancels.
    void OnSetFocus(bool focus) override;
    /// The editing keys (see the class comment of the key table in the .cpp);
    /// returns 1 when used. Not editing: 0.
    int OnKeyDown(long key, long modifiers) override;
    /// With format 2 the label shows the new value.
    void OnValueChanged(int value) override;

    /// Ends editing: cancel redraws only; commit takes the text into the label
    /// and sends Command(value, 0), unless the text equals the label. With format
    /// 2 the label then shows the number read from the text, the value the field
    /// holds ("007" shows 7, an empty text 0).
    void _stop_edit(bool commit);
    /// Whether the format accepts character code `c`.
    bool _valid_char(long c) const;
    /// Inserts `c` at the cursor (upper case when forced), when it fits.
    void _insert_char(int c);
    /// Removes `n` characters at the cursor, clears the selection, redraws.
    void _delete_char(int n);
    /// Inserts as much of `text` at the cursor as fits, cursor after it.
    void _insert_string(const char* text);
    /// Replaces the selection with the clipboard's UTF-8 text (at most 254 bytes).
    void _paste_string();
    /// Moves the cursor to the character boundary nearest local x; clears the
    /// selection.
    void _set_cursor(long x);
    /// The integer at the start of `text` (leading blanks, optional sign, then
    /// digits up to the first other character): "12a" -> 12; none -> 0. Clamped
    /// to the int range.
    static int _get_int(const char* text);
    /// A note number read from `text`: a plain number ("60") as it is, or a
    /// note name: letter A-G (any case), any number of '#' (up) or 'b' (down),
    /// then an optional octave (signed integer; missing = 3), as printed by the
    /// value text boxes: "C3" -> 60, "A3" -> 69, "C#-2" -> 1. Leading and
    /// trailing blanks are allowed. Anything else, or a note outside 0..127: -1.
    static int _get_midi(const char* text);

  private:
    bool ClassAccepts(long c) const;
    long Length() const;
    long MaxLength() const;
    int IndexAt(long x) const;
    int m_posCount = 0;  // entries of m_pos filled by the last drawing
};
