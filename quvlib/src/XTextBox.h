// A value shown as text.
#pragma once

#include "XControl.h"

/// A value shown as text through a format: each new integer or float value is
/// printed into m_stemp (plain format, thousandths or a note name, then the unit
/// text) and that text becomes the label, which is what is drawn. A press sends
/// Command(0, 0). GUI thread only.
class XTextBox : public XControl {
  public:
    char* m_unit = nullptr;  // owned unit text appended after the value, or null
    int m_kFormat = 0;  // 0 plain format, 1 float in thousandths, 2 int in thousandths, 3 note name
    char m_format[20] = "%d";  // the format applied to the value
    char m_stemp[32] = "";     // the formatted text

    /// Takes the window of `owner` (when given), the rectangle as a layout table
    /// gives it (see XControl::SetWindowRect) and the command id.
    XTextBox(XNode* owner, XRect rect, long command);
    ~XTextBox() override;
    /// Sets the display mode and, when `unit` is not null, a new copy of the unit
    /// text.
    void SetFormat(int mode, const char* unit);
    /// Copies the printf format used for plain values (at most 19 bytes are
    /// kept). The format is the program's own, never user text; it must take one
    /// int (integer values) or one double (float values).
    void SetFormatString(const char* format);
    /// Sets the display mode alone.
    void SetDisplayMode(int mode) { m_kFormat = mode; }
    /// Prints an integer value (mode 2 thousandths, 3 note name, else the format)
    /// and makes it the label.
    void OnValueChanged(int value) override;
    /// Prints a float value (mode 1 thousandths, else the format) and makes it
    /// the label.
    void OnValueChanged(float value) override;
    /// Thousandths as a decimal without trailing zeros into m_stemp: 1500 -> "1.5",
    /// 1050 -> "1.05", 2000 -> "2", 7 -> "0.007".
    void PrintValueMilli(int value);
    /// A note number as name and octave into m_stemp: 60 -> "C3", 69 -> "A3".
    void PrintValueMidi(int value);
    /// Draws the label in the text colour, justified.
    void OnDraw(XDrawLib* lib) override;
    /// Command(0, 0); returns 0.
    int OnMouseDown(XMouseEvent* event) override;

  private:
    void Publish();
};
