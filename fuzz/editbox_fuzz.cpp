// Fuzzes the edit field's keyboard handling. The input is a script of actions, one
// opcode byte each with its operand bytes: library key codes ('kEnt', 'kBck',
// 'kDel', 'kEsc', the arrows, 'kTab') and characters with modifiers, clicks that
// enter the edit or move the cursor, drags that select, formats and sizes from
// SetFormat, focus loss, timer ticks, new labels and values, clipboard text and
// drawing into an off-screen image. No display is needed: the window side is the
// unit tests' host double and drawing goes to a cairo image surface. The clipboard
// itself needs a display, so a paste (control or command with 'v') is replayed with
// text from the input through the same steps the paste takes after reading the
// clipboard: the selection is deleted, then the text (at most 254 bytes) inserted.
#include <cairo.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ControlHostDouble.h"
#include "FourCC.h"
#include "XDrawLib.h"
#include "XEditBox.h"

namespace {

const long kKeys[] = {
    static_cast<long>(FourCC("kEnt")), static_cast<long>(FourCC("kBck")),
    static_cast<long>(FourCC("kDel")), static_cast<long>(FourCC("kEsc")),
    static_cast<long>(FourCC("kArL")), static_cast<long>(FourCC("kArR")),
    static_cast<long>(FourCC("kArU")), static_cast<long>(FourCC("kArD")),
    static_cast<long>(FourCC("kTab")),
};
const long kModControl = 2, kModCommand = 4;

// The input as a stream of operand bytes; zeros once it runs out.
class Script {
  public:
    Script(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool More() const { return m_at < m_size; }
    uint8_t Byte() { return m_at < m_size ? m_data[m_at++] : 0; }
    std::string Text(size_t n) {
        std::string s;
        while (n-- > 0 && More()) s.push_back(static_cast<char>(Byte()));
        return s;
    }

  private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_at = 0;
};

// An off-screen image the field draws into, as a window's view would.
class Canvas {
  public:
    Canvas() {
        m_surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 220, 30);
        m_cr = cairo_create(m_surface);
        m_lib.Init(&m_window, 0, 0);
    }
    ~Canvas() {
        cairo_destroy(m_cr);
        cairo_surface_destroy(m_surface);
    }
    void Draw(XControl* c) {
        if (!m_lib.Open(XRect(0, 0, 219, 29), m_cr)) abort();
        c->Draw(&m_lib);
        m_lib.Close();
    }

  private:
    int m_window = 0;  // any non-null pointer stands for the window
    cairo_surface_t* m_surface;
    cairo_t* m_cr;
    XDrawLib m_lib;
};

void Fail(const char* what, const XEditBox& edit) {
    fprintf(stderr, "edit field: %s (cursor %ld, selection %d)\n", what, edit.m_iCursor,
            edit.m_nSelect);
    abort();
}

// What must hold after every action, whatever the input.
void CheckState(const XEditBox& edit) {
    const void* end = memchr(edit.m_local, 0, sizeof edit.m_local);
    if (!end) Fail("text not terminated within its buffer", edit);
    long len = static_cast<const char*>(end) - edit.m_local;
    long most = sizeof edit.m_local - 1;
    if (len > most) Fail("text longer than the buffer", edit);
    if (edit.m_iCursor < 0 || edit.m_iCursor > most) Fail("cursor outside the buffer", edit);
    if (edit.m_nSelect < 0) Fail("negative selection", edit);
    if (edit.m_caret != 0 && edit.m_caret != 1) Fail("caret neither shown nor hidden", edit);
}

void Paste(XEditBox& edit, const std::string& clipboard) {
    std::string text = clipboard.substr(0, 254);
    if (edit.m_nSelect > 0) edit._delete_char(edit.m_nSelect);
    edit._insert_string(text.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Canvas canvas;
    Script script(data, size);
    ControlHostDouble host;
    XEditBox edit(nullptr, XRect(0, 0, 199, 19), 4);
    PlaceControl(&edit, &host);
    XMouseEvent e;
    bool pressed = false;
    while (script.More()) {
        uint8_t op = script.Byte();
        switch (op % 12) {
            case 0: {  // a library key code with modifiers
                long key = kKeys[script.Byte() % (sizeof kKeys / sizeof kKeys[0])];
                edit.KeyDown(key, script.Byte() & 7);
                break;
            }
            case 1:
            case 2: {  // a character (any byte) with modifiers
                long key = script.Byte();
                long mods = script.Byte() & 7;
                bool editing = edit.m_bEditMode;
                if ((mods & (kModControl | kModCommand)) && (key == 'v' || key == 'V')) {
                    std::string text = script.Text(script.Byte());
                    if (editing) Paste(edit, text);
                } else {
                    // While editing every character is used, except codes above
                    // 127 without control or command (left to the window); outside
                    // editing none is.
                    bool control = (mods & (kModControl | kModCommand)) != 0;
                    bool used = edit.KeyDown(key, mods);
                    if (used != (editing && (key <= 127 || control)))
                        Fail("a character's use is wrong", edit);
                }
                break;
            }
            case 3: {  // a click: enters the edit, or moves the cursor while editing
                int x = script.Byte();
                if (Press(&edit, e, x, 5) != 1) Fail("a click on the field was not kept", edit);
                if (!edit.m_bEditMode) Fail("a click did not enter the edit", edit);
                pressed = true;
                break;
            }
            case 4: {  // the mouse moves (selecting while pressed), or is released
                int x = script.Byte();
                if (pressed && (op & 0x80)) {
                    Release(&edit, e, x, 5);
                    pressed = false;
                } else {
                    MoveTo(&edit, e, x, 5);
                }
                break;
            }
            case 5: {  // a format: any bit set, or the two that read a value
                uint8_t f = script.Byte();
                long format = (op & 0x80) ? ((f & 1) ? 39 : 2) : f;
                edit.SetFormat(format, static_cast<int8_t>(script.Byte()));
                break;
            }
            case 6:  // the window's focus moves elsewhere
                edit.SetFocus(false);
                break;
            case 7:  // a timer tick
                edit.OnTimer(script.Byte());
                break;
            case 8: {  // a new label, up to 510 bytes
                std::string label = script.Text(2u * script.Byte());
                edit.SetLabel(label.c_str());
                break;
            }
            case 9: {  // a new value, as the settings panel sets it
                int v = static_cast<int>(static_cast<uint32_t>(script.Byte()) << 24 |
                                         static_cast<uint32_t>(script.Byte()) << 16 |
                                         static_cast<uint32_t>(script.Byte()) << 8 | script.Byte());
                edit.SetValueInt(v);
                break;
            }
            case 10:  // the field is drawn
                canvas.Draw(&edit);
                break;
            case 11:  // the field's options
                if (op & 0x40) edit.ForceUpperCase();
                if (op & 0x80) edit.DisableAutoValid();
                break;
        }
        CheckState(edit);
    }
    return 0;
}
