#include "XTextBox.h"

#include <gtest/gtest.h>

#include <string>

#include "ControlHostDouble.h"
#include "XLabel.h"

namespace {
std::string Milli(int v) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.PrintValueMilli(v);
    return box.m_stemp;
}
std::string Midi(int v) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.PrintValueMidi(v);
    return box.m_stemp;
}
}  // namespace

TEST(XTextBox, PrintValueMilliDropsTrailingZeros) {
    EXPECT_EQ(Milli(1500), "1.5");
    EXPECT_EQ(Milli(1050), "1.05");
    EXPECT_EQ(Milli(1005), "1.005");
    EXPECT_EQ(Milli(2000), "2");
    EXPECT_EQ(Milli(7), "0.007");
    EXPECT_EQ(Milli(999), "0.999");
}

TEST(XTextBox, PrintValueMidiNamesTheNoteAndOctave) {
    EXPECT_EQ(Midi(60), "C3");
    EXPECT_EQ(Midi(69), "A3");
    EXPECT_EQ(Midi(0), "C-2");
    EXPECT_EQ(Midi(127), "G8");
}

TEST(XTextBox, ANegativeNoteNumberStillNamesANote) {
    EXPECT_EQ(Midi(-1), "B-2");
}

TEST(XTextBox, IntegerValueGoesThroughTheFormatAndTheUnitIntoTheLabel) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.SetFormatString("Rate: %d Hz");
    box.SetValueInt(44100);
    EXPECT_STREQ(box.GetLabel(), "Rate: 44100 Hz");
    box.SetFormat(0, " x");
    box.SetValueInt(3);
    EXPECT_STREQ(box.GetLabel(), "Rate: 3 Hz x");
}

TEST(XTextBox, IntegerModeTwoPrintsThousandthsAndModeThreeANoteName) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.SetFormat(2, " s");
    box.SetValueInt(1500);
    EXPECT_STREQ(box.GetLabel(), "1.5 s");
    box.SetDisplayMode(3);
    box.SetValueInt(69);
    EXPECT_STREQ(box.GetLabel(), "A3 s");
}

TEST(XTextBox, FloatModeOnePrintsThousandthsElseTheFormatAsDouble) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.SetDisplayMode(1);
    box.SetValueFlt(1.5f);
    EXPECT_STREQ(box.GetLabel(), "1.5");
    box.SetDisplayMode(0);
    box.SetFormatString("%.2f dB");
    box.SetValueFlt(-3.25f);
    EXPECT_STREQ(box.GetLabel(), "-3.25 dB");
}

TEST(XTextBox, ALongFormatIsCutToTheField) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.SetFormatString("0123456789012345678901234 %d");
    EXPECT_EQ(std::string(box.m_format), "0123456789012345678");
}

TEST(XTextBox, TheTextIsBoundedToItsBuffer) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    box.SetFormatString("%030d");
    box.SetFormat(0, "0123456789");
    box.SetValueInt(5);
    EXPECT_EQ(std::string(box.GetLabel()).size(), 31u);
}

TEST(XTextBox, APressSendsTheCommandAndIsNotKept) {
    ControlHostDouble host;
    XTextBox box(nullptr, XRect(0, 0, 50, 10), 77);
    PlaceControl(&box, &host);
    XMouseEvent e;
    EXPECT_EQ(Press(&box, e, 2, 2), 0);
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].id, 77u);
    EXPECT_EQ(host.commands[0].wParam, 0);
}

TEST(XTextBox, SetFormatKeepsItsOwnCopyOfTheUnit) {
    XTextBox box(nullptr, XRect(0, 0, 10, 10), -1);
    char unit[8] = " Hz";
    box.SetFormat(0, unit);
    unit[1] = 'X';
    box.SetFormat(0, nullptr);  // null keeps the unit
    box.SetValueInt(5);
    EXPECT_STREQ(box.GetLabel(), "5 Hz");
    box.SetFormat(0, " kHz");
    box.SetValueInt(6);
    EXPECT_STREQ(box.GetLabel(), "6 kHz");
}
