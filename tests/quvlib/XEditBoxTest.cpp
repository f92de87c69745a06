#include "XEditBox.h"

#include <gtest/gtest.h>

#include <string>

#include "ControlHostDouble.h"
#include "FourCC.h"

namespace {
const long kEnt = static_cast<long>(FourCC("kEnt"));
const long kEsc = static_cast<long>(FourCC("kEsc"));
const long kBck = static_cast<long>(FourCC("kBck"));
const long kDel = static_cast<long>(FourCC("kDel"));
const long kArL = static_cast<long>(FourCC("kArL"));
const long kArR = static_cast<long>(FourCC("kArR"));
const long kArU = static_cast<long>(FourCC("kArU"));
const long kTab = static_cast<long>(FourCC("kTab"));

struct EditFixture : ::testing::Test {
    ControlHostDouble host;
    XEditBox edit{nullptr, XRect(10, 10, 109, 29), 31};
    XMouseEvent e;
    void SetUp() override { PlaceControl(&edit, &host); }
    void Enter(const char* label) {
        edit.SetLabel(label);
        Press(&edit, e, 20, 20);
        Release(&edit, e, 20, 20);
    }
    void Type(const char* text) {
        for (const char* p = text; *p; ++p) edit.KeyDown(*p, 0);
    }
    std::string Text() const { return edit.m_local; }
};

bool Valid(long format, long c) {
    XEditBox edit(nullptr, XRect(0, 0, 10, 10), -1);
    edit.SetFormat(format, 0);
    return edit._valid_char(c);
}
}  // namespace

TEST_F(EditFixture, APressEntersEditingWithTheLabelAndKeepsTheMouse) {
    edit.SetLabel("abc");
    EXPECT_EQ(Press(&edit, e, 25, 20), 1);
    EXPECT_TRUE(edit.m_bEditMode);
    EXPECT_EQ(Text(), "abc");
    EXPECT_EQ(edit.m_iCursor, 3);
    EXPECT_EQ(edit.m_xMouse[0], 15);
    EXPECT_EQ(edit.m_xMouse[1], 15);
    EXPECT_EQ(host.focus, &edit);
}

TEST_F(EditFixture, KeysAreNotUsedWhenNotEditing) {
    EXPECT_FALSE(edit.KeyDown('a', 0));
    EXPECT_FALSE(edit.KeyDown(kEnt, 0));
}

TEST_F(EditFixture, ReturnCommitsTheTextIntoTheLabelAndSendsTheCommand) {
    Enter("abc");
    Type("de");
    EXPECT_TRUE(edit.KeyDown(kEnt, 0));
    EXPECT_FALSE(edit.m_bEditMode);
    EXPECT_STREQ(edit.GetLabel(), "abcde");
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].id, 31u);
    EXPECT_EQ(host.commands[0].wParam, 0);
}

TEST_F(EditFixture, EscapeCancelsAndLeavesTheLabel) {
    Enter("abc");
    Type("de");
    EXPECT_TRUE(edit.KeyDown(kEsc, 0));
    EXPECT_FALSE(edit.m_bEditMode);
    EXPECT_STREQ(edit.GetLabel(), "abc");
    EXPECT_TRUE(host.commands.empty());
}

TEST_F(EditFixture, CommittingTextEqualToTheLabelSendsNoCommand) {
    Enter("same");
    EXPECT_TRUE(edit.KeyDown(kEnt, 0));
    EXPECT_TRUE(host.commands.empty());
    EXPECT_FALSE(edit.m_bEditMode);
}

TEST_F(EditFixture, LosingTheFocusCommitsByDefault) {
    Enter("ab");
    Type("c");
    edit.SetFocus(false);
    EXPECT_STREQ(edit.GetLabel(), "abc");
    EXPECT_EQ(host.commands.size(), 1u);
}

TEST_F(EditFixture, LosingTheFocusCancelsWhenAutoValidIsDisabled) {
    edit.DisableAutoValid();
    Enter("ab");
    Type("c");
    edit.SetFocus(false);
    EXPECT_FALSE(edit.m_bEditMode);
    EXPECT_STREQ(edit.GetLabel(), "ab");
    EXPECT_TRUE(host.commands.empty());
}

TEST_F(EditFixture, BackspaceAtTheStartWithNoSelectionChangesNothingAndStillCountsAsUsed) {
    Enter("xy");
    edit.m_iCursor = 0;
    EXPECT_TRUE(edit.KeyDown(kBck, 0));
    EXPECT_EQ(Text(), "xy");
    EXPECT_EQ(edit.m_iCursor, 0);
}

TEST_F(EditFixture, BackspaceDeletesTheCharacterBeforeTheCursor) {
    Enter("xyz");
    EXPECT_TRUE(edit.KeyDown(kBck, 0));
    EXPECT_EQ(Text(), "xy");
    EXPECT_EQ(edit.m_iCursor, 2);
}

TEST_F(EditFixture, BackspaceAndDeleteRemoveTheSelection) {
    Enter("abcdef");
    edit.m_iCursor = 1;
    edit.m_nSelect = 2;
    EXPECT_TRUE(edit.KeyDown(kBck, 0));
    EXPECT_EQ(Text(), "adef");
    EXPECT_EQ(edit.m_nSelect, 0);
    edit.m_iCursor = 2;
    edit.m_nSelect = 5;  // more than is left: cut at the end
    EXPECT_TRUE(edit.KeyDown(kDel, 0));
    EXPECT_EQ(Text(), "ad");
}

TEST_F(EditFixture, DeleteRemovesTheCharacterAtTheCursor) {
    Enter("abc");
    edit.m_iCursor = 1;
    EXPECT_TRUE(edit.KeyDown(kDel, 0));
    EXPECT_EQ(Text(), "ac");
    edit.m_iCursor = 2;
    EXPECT_TRUE(edit.KeyDown(kDel, 0));  // at the end: nothing to delete
    EXPECT_EQ(Text(), "ac");
}

TEST_F(EditFixture, ArrowsMoveTheCursorAndCollapseTheSelection) {
    Enter("abcdef");
    EXPECT_TRUE(edit.KeyDown(kArL, 0));
    EXPECT_EQ(edit.m_iCursor, 5);
    edit.m_iCursor = 2;
    edit.m_nSelect = 3;
    EXPECT_TRUE(edit.KeyDown(kArL, 0));
    EXPECT_EQ(edit.m_iCursor, 2);
    EXPECT_EQ(edit.m_nSelect, 0);
    edit.m_nSelect = 3;
    EXPECT_TRUE(edit.KeyDown(kArR, 0));
    EXPECT_EQ(edit.m_iCursor, 5);
    EXPECT_TRUE(edit.KeyDown(kArR, 0));
    EXPECT_EQ(edit.m_iCursor, 6);
    EXPECT_TRUE(edit.KeyDown(kArR, 0));
    EXPECT_EQ(edit.m_iCursor, 6);
    edit.m_iCursor = 0;
    EXPECT_TRUE(edit.KeyDown(kArL, 0));
    EXPECT_EQ(edit.m_iCursor, 0);
}

TEST_F(EditFixture, OtherCodesAbove127AreNotUsed) {
    Enter("a");
    EXPECT_FALSE(edit.KeyDown(kArU, 0));
    EXPECT_FALSE(edit.KeyDown(kTab, 0));
    EXPECT_FALSE(edit.KeyDown(200, 0));
    EXPECT_EQ(Text(), "a");
}

TEST_F(EditFixture, ControlKeysOtherThanPasteAreSwallowed) {
    Enter("a");
    EXPECT_TRUE(edit.KeyDown('x', 2));
    EXPECT_TRUE(edit.KeyDown('c', 4));
    EXPECT_EQ(Text(), "a");
}

TEST_F(EditFixture, ControlASelectsTheWholeTextAndTheNextCharacterReplacesIt) {
    Enter("5");
    EXPECT_TRUE(edit.KeyDown('a', 2));
    EXPECT_EQ(edit.m_iCursor, 0);
    EXPECT_EQ(edit.m_nSelect, 1);
    EXPECT_TRUE(edit.KeyDown('2', 0));
    EXPECT_EQ(Text(), "2");
    Type("47");
    EXPECT_TRUE(edit.KeyDown('A', 4));  // Command as well, and either case
    EXPECT_EQ(edit.m_nSelect, 3);
    EXPECT_TRUE(edit.KeyDown(kBck, 0));
    EXPECT_EQ(Text(), "");
}

TEST_F(EditFixture, AFieldThatAcceptsItsFormatOnlyTakesDigitsAndNothingElse) {
    edit.SetFormat(2, 3);
    edit.AcceptFormatOnly();
    Enter("");
    Type("x1 a2-b.3:4");
    EXPECT_EQ(Text(), "123") << "only digits, and at most three";
    EXPECT_TRUE(edit.KeyDown('q', 0)) << "a refused key is still used";
    EXPECT_FALSE(edit._valid_char('a'));
    EXPECT_TRUE(edit._valid_char('7'));
}

TEST_F(EditFixture, WithFormatTwoTheCommittedLabelShowsTheNumberTheFieldHolds) {
    edit.SetFormat(2, 3);
    edit.SetValueInt(5);
    Enter("5");
    Type("x");  // no filter here: "5x" reads as 5, the value it already had
    edit.KeyDown(kEnt, 0);
    EXPECT_EQ(edit.GetValueInt(), 5);
    EXPECT_STREQ(edit.GetLabel(), "5");
    Enter("5");
    edit.KeyDown('a', 2);
    Type("007");
    edit.KeyDown(kEnt, 0);
    EXPECT_EQ(edit.GetValueInt(), 7);
    EXPECT_STREQ(edit.GetLabel(), "7");
    Enter("7");
    edit.KeyDown('a', 2);
    edit.KeyDown(kBck, 0);
    edit.KeyDown(kEnt, 0);
    EXPECT_EQ(edit.GetValueInt(), 0);
    EXPECT_STREQ(edit.GetLabel(), "0");
}

TEST_F(EditFixture, APrintableCharacterReplacesTheSelection) {
    Enter("abcd");
    edit.m_iCursor = 1;
    edit.m_nSelect = 2;
    EXPECT_TRUE(edit.KeyDown('X', 0));
    EXPECT_EQ(Text(), "aXd");
    EXPECT_EQ(edit.m_iCursor, 2);
}

TEST_F(EditFixture, ARefusedCharacterIsSwallowedAndNotInserted) {
    edit.SetFormat(16, 0);
    Enter("a");
    EXPECT_TRUE(edit.KeyDown(':', 0));
    EXPECT_EQ(Text(), "a");
}

TEST_F(EditFixture, ForceUpperCaseTurnsTypedLettersUpper) {
    edit.ForceUpperCase();
    Enter("");
    Type("ab1");
    EXPECT_EQ(Text(), "AB1");
}

TEST_F(EditFixture, WithFormatTwoTypingALetterIsStillAcceptedAndCommitting12aSetsTwelve) {
    edit.SetFormat(2, 0);
    Enter("");
    Type("12a");
    EXPECT_EQ(Text(), "12a");
    EXPECT_TRUE(edit.KeyDown(kEnt, 0));
    EXPECT_EQ(edit.GetValueInt(), 12);
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].wParam, 12);
}

TEST_F(EditFixture, WithFormat39TheCommandCarriesTheNoteNumber) {
    edit.SetFormat(39, 0);
    Enter("");
    Type("A3");
    edit.KeyDown(kEnt, 0);
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].wParam, 69);
    EXPECT_STREQ(edit.GetLabel(), "A3");
}

TEST_F(EditFixture, InsertingStopsAtTheSizeLimit) {
    edit.SetFormat(0, 4);
    Enter("");
    Type("abcdef");
    EXPECT_EQ(Text(), "abcd");
}

TEST_F(EditFixture, InsertingStopsAtTheBuffer) {
    Enter("");
    std::string big(600, 'q');
    edit._insert_string(big.c_str());
    EXPECT_EQ(Text().size(), 399u);
    EXPECT_TRUE(edit.KeyDown('z', 0));
    EXPECT_EQ(Text().size(), 399u);
}

TEST_F(EditFixture, TheCaretShowsOnEvenTicksAndHidesOnOddOnes) {
    Enter("a");
    size_t before = host.drawn.size();
    edit.OnTimer(3);
    EXPECT_EQ(edit.m_caret, 0);
    edit.OnTimer(4);
    EXPECT_EQ(edit.m_caret, 1);
    edit.OnTimer(0);
    EXPECT_EQ(edit.m_caret, 1);
    EXPECT_EQ(host.drawn.size(), before + 3);
}

TEST_F(EditFixture, TheTimerDoesNothingWhenNotEditing) {
    edit.OnTimer(3);
    EXPECT_TRUE(host.drawn.empty());
}

TEST(XEditBox, EveryClassBitAcceptsItsCharacters) {
    EXPECT_TRUE(Valid(1 | 16, 'q'));
    EXPECT_TRUE(Valid(2 | 16, '7'));
    EXPECT_TRUE(Valid(4 | 16, '+'));
    EXPECT_TRUE(Valid(4 | 16, '-'));
    EXPECT_TRUE(Valid(8 | 16, '.'));
    EXPECT_TRUE(Valid(32 | 16, '#'));
}

TEST(XEditBox, ClassBitsNeverRestrictOnlyBitFourRefuses) {
    EXPECT_TRUE(Valid(2, 'a'));
    EXPECT_TRUE(Valid(1, ':'));
    EXPECT_TRUE(Valid(0, '"'));
    EXPECT_FALSE(Valid(16, '"'));
    EXPECT_FALSE(Valid(16, '\''));
    EXPECT_TRUE(Valid(16, 'a'));
    EXPECT_TRUE(Valid(16, ' '));
}

TEST(XEditBox, WithBitFourColonIsRefusedWhileSlashIsAcceptedOnlyWhenBitSixIsAlsoSet) {
    EXPECT_FALSE(Valid(16, ':'));
    EXPECT_FALSE(Valid(16, '/'));
    EXPECT_TRUE(Valid(16 | 64, '/'));
    EXPECT_FALSE(Valid(16 | 64, ':'));
}

TEST(XEditBox, ControlCodesAndDeleteAreAlwaysRefused) {
    EXPECT_FALSE(Valid(0, 31));
    EXPECT_FALSE(Valid(0, 0));
    EXPECT_FALSE(Valid(127, 127));
    EXPECT_TRUE(Valid(0, 32));
}

TEST(XEditBox, GetIntReadsTheLeadingInteger) {
    EXPECT_EQ(XEditBox::_get_int("12a"), 12);
    EXPECT_EQ(XEditBox::_get_int("  -34"), -34);
    EXPECT_EQ(XEditBox::_get_int("+5"), 5);
    EXPECT_EQ(XEditBox::_get_int("abc"), 0);
    EXPECT_EQ(XEditBox::_get_int(""), 0);
    EXPECT_EQ(XEditBox::_get_int("99999999999999"), 2147483647);
    EXPECT_EQ(XEditBox::_get_int("-99999999999999"), -2147483647 - 1);
}

TEST(XEditBox, GetMidiReadsNoteNamesAndNumbers) {
    EXPECT_EQ(XEditBox::_get_midi("C3"), 60);
    EXPECT_EQ(XEditBox::_get_midi("a3"), 69);
    EXPECT_EQ(XEditBox::_get_midi("C#3"), 61);
    EXPECT_EQ(XEditBox::_get_midi("Db3"), 61);
    EXPECT_EQ(XEditBox::_get_midi("C-2"), 0);
    EXPECT_EQ(XEditBox::_get_midi("G8"), 127);
    EXPECT_EQ(XEditBox::_get_midi("E"), 64);
    EXPECT_EQ(XEditBox::_get_midi(" 72 "), 72);
}

TEST(XEditBox, GetMidiRefusesOtherTextWithMinusOne) {
    EXPECT_EQ(XEditBox::_get_midi("H3"), -1);
    EXPECT_EQ(XEditBox::_get_midi("C3x"), -1);
    EXPECT_EQ(XEditBox::_get_midi("G#8"), -1);
    EXPECT_EQ(XEditBox::_get_midi("200"), -1);
    EXPECT_EQ(XEditBox::_get_midi(""), -1);
    EXPECT_EQ(XEditBox::_get_midi("C-"), -1);
    EXPECT_EQ(XEditBox::_get_midi("C99999999999"), -1);
}

TEST_F(EditFixture, WithFormatTwoANewValueShowsAsTheLabel) {
    edit.SetFormat(2, 0);
    edit.SetValueInt(42);
    EXPECT_STREQ(edit.GetLabel(), "42");
}

TEST_F(EditFixture, OtherFormatsSendZeroAsTheValue) {
    edit.SetFormat(1, 0);
    Enter("");
    Type("abc");
    edit.KeyDown(kEnt, 0);
    ASSERT_EQ(host.commands.size(), 1u);
    EXPECT_EQ(host.commands[0].wParam, 0);
    EXPECT_EQ(edit.GetValueInt(), 0);
}
