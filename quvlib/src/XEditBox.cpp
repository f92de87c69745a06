#include "XEditBox.h"

#include <gtk/gtk.h>

#include <climits>
#include <cstdio>
#include <cstring>

#include "FourCC.h"
#include "XDrawLib.h"

namespace {
const long kEnt = static_cast<long>(FourCC("kEnt"));
const long kEsc = static_cast<long>(FourCC("kEsc"));
const long kBck = static_cast<long>(FourCC("kBck"));
const long kDel = static_cast<long>(FourCC("kDel"));
const long kArL = static_cast<long>(FourCC("kArL"));
const long kArR = static_cast<long>(FourCC("kArR"));
const long kModControl = 2, kModCommand = 4;  // the window's modifier bits
const long kBuffer = 400;                     // bytes of m_local, terminator included
}  // namespace

XEditBox::XEditBox(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

void XEditBox::SetFormat(long format, long size) {
    m_kEditFormat = format;
    m_size = size;
}

long XEditBox::Length() const {
    return static_cast<long>(std::strlen(m_local));
}

long XEditBox::MaxLength() const {
    long most = kBuffer - 1;
    if (m_size > 0 && m_size < most) most = m_size;
    return most;
}

// ---- drawing ----

void XEditBox::OnDraw(XDrawLib* lib) {
    XRect local = GetLocalRect();
    lib->SetTextJustify(-1);
    if (!m_bEditMode) {
        if (m_label) {
            lib->SetTextColor(m_colorText);
            lib->DrawText(m_label, &local);
        }
        return;
    }
    lib->FillSolidRect(local, XColor(255, 255, 255, 255));
    lib->DrawRect(local, XColor(120, 120, 120, 255));
    // The positions are measured first with nothing visible, so that the
    // selection can be filled under the text.
    XColor none(0, 0, 0, 0);
    lib->SetTextColor(none);
    lib->DrawTextPos(m_local, &local, m_pos, 256);
    long len = Length();
    m_posCount = static_cast<int>(len < 255 ? len + 1 : 256);
    if (m_nSelect > 0 && m_iCursor < m_posCount) {
        long end = m_iCursor + m_nSelect;
        if (end >= m_posCount) end = m_posCount - 1;
        XRect sel(m_pos[m_iCursor], local.top + 2, m_pos[end] - 1, local.bottom - 2);
        if (sel.right >= sel.left) lib->FillSolidRect(sel, XColor(181, 213, 255, 255));
    }
    lib->SetTextColor(m_colorText);
    lib->DrawText(m_local, &local);
    if (m_caret && m_iCursor < m_posCount) {
        int x = m_pos[m_iCursor];
        lib->DrawLine(x, local.top + 2, x, local.bottom - 2, m_colorText);
    }
}

// ---- mouse ----

int XEditBox::IndexAt(long x) const {
    if (m_posCount <= 0) return static_cast<int>(Length() < 255 ? Length() : 255);
    for (int i = 0; i + 1 < m_posCount; ++i)
        if (x < (m_pos[i] + m_pos[i + 1]) / 2) return i;
    return m_posCount - 1;
}

void XEditBox::_set_cursor(long x) {
    m_iCursor = IndexAt(x);
    m_nSelect = 0;
}

int XEditBox::OnMouseDown(XMouseEvent* event) {
    long x = event->x_click();
    m_xMouse[0] = m_xMouse[1] = x;
    if (!m_bEditMode) {
        std::snprintf(m_local, sizeof m_local, "%s", m_label ? m_label : "");
        m_bEditMode = true;
        m_iCursor = Length();
        m_nSelect = 0;
        m_posCount = 0;  // positions of the label no longer apply
    } else {
        _set_cursor(x);
    }
    m_caret = 1;
    Redraw();
    return 1;
}

void XEditBox::OnMouseMove(XMouseEvent* event) {
    if (!m_bEditMode || !m_bMouseDown || m_posCount <= 0) return;
    m_xMouse[1] = event->x_mouse();
    int a = IndexAt(m_xMouse[0]), b = IndexAt(m_xMouse[1]);
    m_iCursor = a < b ? a : b;
    m_nSelect = a < b ? b - a : a - b;
    Redraw();
}

void XEditBox::OnMouseUp(XMouseEvent*) {}

// ---- focus and timer ----

void XEditBox::OnTimer(int count) {
    if (!m_bEditMode) return;
    m_caret = (count % 2 == 0) ? 1 : 0;
    Redraw();
}

void XEditBox::OnSetFocus(bool focus) {
    if (!focus && m_bEditMode) _stop_edit(m_bAutoValid);
}

void XEditBox::OnValueChanged(int value) {
    if (m_kEditFormat != 2) return;
    char text[16];
    std::snprintf(text, sizeof text, "%d", value);
    SetLabel(text);
}

// ---- ending the edit ----

void XEditBox::_stop_edit(bool commit) {
    m_bEditMode = false;
    m_nSelect = 0;
    if (!commit) {
        Redraw();
        return;
    }
    if (m_label ? std::strcmp(m_label, m_local) == 0 : m_local[0] == 0) {
        Redraw();
        return;
    }
    SetLabel(m_local);
    int value = 0;
    if (m_kEditFormat == 2) {
        value = _get_int(m_local);
        // The label shows the number the field now holds, also when it did not
        // change (SetValueInt leaves an equal value alone).
        if (!SetValueInt(value)) {
            OnValueChanged(value);
            Redraw();
        }
    } else if (m_kEditFormat == 39) {
        value = _get_midi(m_local);
        Redraw();
    } else {
        Redraw();
    }
    Command(value, 0);
}

// ---- keys ----
//
// 'kEnt' commit, 'kEsc' cancel, 'kBck' / 'kDel' delete, 'kArL' / 'kArR' move;
// other codes above 127 are not used (the window sees them); with control or
// command held 'a' selects all, 'v' pastes and anything else is swallowed (as
// the desktop's text fields do); a printable character
// the format accepts replaces the selection. Every other key while editing is
// swallowed so that the window does not act on it.

int XEditBox::OnKeyDown(long key, long modifiers) {
    if (!m_bEditMode) return 0;
    if (key == kEnt) {
        _stop_edit(true);
        return 1;
    }
    if (key == kEsc) {
        _stop_edit(false);
        return 1;
    }
    if (key == kBck) {
        if (m_nSelect > 0) {
            _delete_char(m_nSelect);
        } else if (m_iCursor > 0) {
            --m_iCursor;
            _delete_char(1);
        }
        return 1;
    }
    if (key == kDel) {
        _delete_char(m_nSelect > 0 ? m_nSelect : 1);
        return 1;
    }
    if (key == kArL) {
        if (m_nSelect == 0 && m_iCursor > 0) --m_iCursor;
        m_nSelect = 0;
        Redraw();
        return 1;
    }
    if (key == kArR) {
        m_iCursor += m_nSelect > 0 ? m_nSelect : 1;
        if (m_iCursor > Length()) m_iCursor = Length();
        m_nSelect = 0;
        Redraw();
        return 1;
    }
    if (modifiers & (kModControl | kModCommand)) {
        if (key == 'a' || key == 'A') {
            m_iCursor = 0;
            m_nSelect = static_cast<int>(Length());
            Redraw();
        }
        if (key == 'v' || key == 'V') _paste_string();
        return 1;
    }
    if (key > 127 || key < 0) return 0;
    if (_valid_char(key)) {
        if (m_nSelect > 0) _delete_char(m_nSelect);
        _insert_char(static_cast<int>(key));
    }
    return 1;
}

bool XEditBox::ClassAccepts(long c) const {
    long f = m_kEditFormat;
    bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return ((f & 1) && letter) || ((f & 2) && c >= '0' && c <= '9') ||
           ((f & 4) && (c == '+' || c == '-')) || ((f & 8) && c == '.') || ((f & 32) && c == '#') ||
           ((f & 64) && c == '/');
}

bool XEditBox::_valid_char(long c) const {
    if (c < 32 || c == 127) return false;
    if (ClassAccepts(c)) return true;
    if (m_bFormatOnly) return false;
    long f = m_kEditFormat;
    // Deliberately, the class bits above only ever accept: only bit 4 refuses,
    // and only the four characters unsafe in file names.
    if (!(f & 16)) return true;
    return !(c == 34 || c == 39 || c == '/' || c == ':');
}

// ---- editing primitives ----

void XEditBox::_insert_char(int c) {
    if (m_bForceUpperCase && c >= 'a' && c <= 'z') c = c - 'a' + 'A';
    char text[2] = {static_cast<char>(c), 0};
    _insert_string(text);
}

void XEditBox::_insert_string(const char* text) {
    if (!text) return;
    long len = Length();
    if (m_iCursor > len) m_iCursor = len;
    if (m_iCursor < 0) m_iCursor = 0;
    long room = MaxLength() - len;
    long n = static_cast<long>(std::strlen(text));
    if (n > room) n = room;
    if (n <= 0) return;
    std::memmove(m_local + m_iCursor + n, m_local + m_iCursor,
                 static_cast<size_t>(len - m_iCursor + 1));
    std::memcpy(m_local + m_iCursor, text, static_cast<size_t>(n));
    m_iCursor += n;
    Redraw();
}

void XEditBox::_delete_char(int n) {
    long len = Length();
    if (m_iCursor > len) m_iCursor = len;
    if (m_iCursor < 0) m_iCursor = 0;
    if (n > len - m_iCursor) n = static_cast<int>(len - m_iCursor);
    if (n > 0)
        std::memmove(m_local + m_iCursor, m_local + m_iCursor + n,
                     static_cast<size_t>(len - m_iCursor - n + 1));
    m_nSelect = 0;
    Redraw();
}

void XEditBox::_paste_string() {
    GtkClipboard* clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
    if (!clipboard) return;
    gchar* text = gtk_clipboard_wait_for_text(clipboard);  // UTF-8 or null
    if (!text) return;
    char buffer[255];
    size_t n = 0;
    for (const char* p = text; *p && n < 254; ++p) {
        // A field that takes only its format's characters takes only those of
        // the pasted text too.
        if (m_bFormatOnly && !_valid_char(static_cast<unsigned char>(*p))) continue;
        buffer[n++] = *p;
    }
    buffer[n] = 0;
    g_free(text);
    if (m_nSelect > 0) _delete_char(m_nSelect);
    _insert_string(buffer);
}

// ---- reading the text ----

int XEditBox::_get_int(const char* text) {
    if (!text) return 0;
    while (*text == ' ' || *text == '\t') ++text;
    bool negative = false;
    if (*text == '+' || *text == '-') negative = *text++ == '-';
    long long value = 0;
    while (*text >= '0' && *text <= '9') {
        value = value * 10 + (*text++ - '0');
        if (value > static_cast<long long>(INT_MAX) + 1)
            value = static_cast<long long>(INT_MAX) + 1;
    }
    if (negative) value = -value;
    if (value > INT_MAX) value = INT_MAX;
    return static_cast<int>(value);
}

int XEditBox::_get_midi(const char* text) {
    if (!text) return -1;
    while (*text == ' ') ++text;
    long long note;
    if (*text >= '0' && *text <= '9') {
        note = _get_int(text);
        while (*text >= '0' && *text <= '9') ++text;
    } else {
        static const int kPitch[7] = {9, 11, 0, 2, 4, 5, 7};  // A B C D E F G
        char letter = *text;
        if (letter >= 'a' && letter <= 'g') letter = static_cast<char>(letter - 'a' + 'A');
        if (letter < 'A' || letter > 'G') return -1;
        ++text;
        int pitch = kPitch[letter - 'A'];
        while (*text == '#' || *text == 'b') pitch += *text++ == '#' ? 1 : -1;
        int octave = 3;
        if (*text == '-' || *text == '+' || (*text >= '0' && *text <= '9')) {
            const char* start = text;
            if (*text == '-' || *text == '+') ++text;
            if (!(*text >= '0' && *text <= '9')) return -1;
            while (*text >= '0' && *text <= '9') ++text;
            long long oct = _get_int(start);
            if (oct < -10 || oct > 20) return -1;
            octave = static_cast<int>(oct);
        }
        note = static_cast<long long>(octave + 2) * 12 + pitch;
    }
    while (*text == ' ') ++text;
    if (*text != 0) return -1;
    if (note < 0 || note > 127) return -1;
    return static_cast<int>(note);
}
