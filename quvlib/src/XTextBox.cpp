#include "XTextBox.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "XDrawLib.h"

XTextBox::XTextBox(XNode* owner, XRect rect, long command) {
    if (owner) SetWindowOf(*owner);
    SetWindowRect(rect);
    SetCommand(command);
}

XTextBox::~XTextBox() {
    delete[] m_unit;
}

void XTextBox::SetFormat(int mode, const char* unit) {
    m_kFormat = mode;
    if (unit) {
        // The previous copy is released here (it would otherwise leak).
        size_t n = std::strlen(unit) + 1;
        char* copy = new char[n];
        std::memcpy(copy, unit, n);
        delete[] m_unit;
        m_unit = copy;
    }
}

void XTextBox::SetFormatString(const char* format) {
    // Bounded copy: a longer format is cut to the 19 bytes the field holds.
    std::snprintf(m_format, sizeof m_format, "%s", format ? format : "");
}

// The format is the program's own (SetFormatString), never user text.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
void XTextBox::OnValueChanged(int value) {
    if (m_kFormat == 2)
        PrintValueMilli(value);
    else if (m_kFormat == 3)
        PrintValueMidi(value);
    else
        std::snprintf(m_stemp, sizeof m_stemp, m_format, value);
    Publish();
}

void XTextBox::OnValueChanged(float value) {
    if (m_kFormat == 1)
        PrintValueMilli(static_cast<int>(value * 1000.0f + 0.1f));
    else
        std::snprintf(m_stemp, sizeof m_stemp, m_format, static_cast<double>(value));
    Publish();
}
#pragma GCC diagnostic pop

void XTextBox::Publish() {
    if (m_unit) {
        size_t len = std::strlen(m_stemp);
        std::snprintf(m_stemp + len, sizeof m_stemp - len, "%s", m_unit);
    }
    SetLabel(m_stemp);
}

void XTextBox::PrintValueMilli(int value) {
    if (value > 999)
        std::snprintf(m_stemp, sizeof m_stemp, "%d", value / 1000);
    else
        std::snprintf(m_stemp, sizeof m_stemp, "0");
    int frac = std::abs(value % 1000);
    if (frac == 0) return;
    size_t len = std::strlen(m_stemp);
    char digits[8];
    int n = 0;
    digits[n++] = '.';
    digits[n++] = static_cast<char>('0' + frac / 100);
    if (frac % 100 != 0) digits[n++] = static_cast<char>('0' + frac / 10 % 10);
    if (frac % 10 != 0) digits[n++] = static_cast<char>('0' + frac % 10);
    digits[n] = 0;
    std::snprintf(m_stemp + len, sizeof m_stemp - len, "%s", digits);
}

void XTextBox::PrintValueMidi(int value) {
    static const char* const kNames[12] = {"C",  "C#", "D",  "D#", "E",  "F",
                                           "F#", "G",  "G#", "A",  "A#", "B"};
    // A negative note would index before the table: its name is taken modulo 12
    // upward; the octave stays value / 12 - 2.
    int index = ((value % 12) + 12) % 12;
    std::snprintf(m_stemp, sizeof m_stemp, "%s%d", kNames[index], value / 12 - 2);
}

void XTextBox::OnDraw(XDrawLib* lib) {
    if (!m_label) return;
    XRect local = GetLocalRect();
    lib->SetTextColor(m_colorText);
    lib->SetTextJustify(m_justify);
    lib->DrawText(m_label, &local);
}

int XTextBox::OnMouseDown(XMouseEvent*) {
    Command(0, 0);
    return 0;
}
