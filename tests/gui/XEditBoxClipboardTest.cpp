// The edit field against the real X clipboard and its drawing.
#include <gtk/gtk.h>
#include <gtest/gtest.h>

#include <string>

#include "../quvlib/ControlHostDouble.h"
#include "ControlCanvas.h"
#include "XEditBox.h"

namespace {
// Owns the CLIPBOARD selection with `text`, as another application would.
void OwnClipboard(const std::string& text) {
    GtkClipboard* clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
    gtk_clipboard_set_text(clipboard, text.c_str(), static_cast<gint>(text.size()));
}

struct ClipboardFixture : ::testing::Test {
    ControlHostDouble host;
    XEditBox edit{nullptr, XRect(0, 0, 199, 19), 4};
    XMouseEvent e;
    void SetUp() override {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "needs an X display";
        PlaceControl(&edit, &host);
    }
    void Enter(const char* label) {
        edit.SetLabel(label);
        Press(&edit, e, 5, 5);
        Release(&edit, e, 5, 5);
    }
};
}  // namespace

TEST_F(ClipboardFixture, ControlVPastesTheClipboardTextAtTheCursor) {
    OwnClipboard("mid");
    Enter("ab");
    edit.m_iCursor = 1;
    EXPECT_TRUE(edit.KeyDown('v', 2));
    EXPECT_STREQ(edit.m_local, "amidb");
    EXPECT_EQ(edit.m_iCursor, 4);
}

TEST_F(ClipboardFixture, CommandShiftVPastesAndReplacesTheSelection) {
    OwnClipboard("XY");
    Enter("abcd");
    edit.m_iCursor = 1;
    edit.m_nSelect = 2;
    EXPECT_TRUE(edit.KeyDown('V', 4 | 1));
    EXPECT_STREQ(edit.m_local, "aXYd");
}

TEST_F(ClipboardFixture, AClipboardTextLongerThan254BytesIsCutTo254) {
    OwnClipboard(std::string(300, 'k'));
    Enter("");
    EXPECT_TRUE(edit.KeyDown('v', 2));
    EXPECT_EQ(std::string(edit.m_local), std::string(254, 'k'));
}

TEST_F(ClipboardFixture, UTF8TextIsPastedAsItsBytes) {
    OwnClipboard("\xc3\xa9t\xc3\xa9");
    Enter("");
    edit.KeyDown('v', 2);
    EXPECT_STREQ(edit.m_local, "\xc3\xa9t\xc3\xa9");
}

TEST_F(ClipboardFixture, AFieldThatAcceptsItsFormatOnlyPastesOnlyThoseCharacters) {
    OwnClipboard("1 min 20 s");
    edit.SetFormat(2, 0);
    edit.AcceptFormatOnly();
    Enter("");
    EXPECT_TRUE(edit.KeyDown('v', 2));
    EXPECT_STREQ(edit.m_local, "120");
}

TEST_F(ClipboardFixture, DrawingWhileEditingFillsThePositionsAndDrawsTheCaret) {
    ControlCanvas canvas(220, 30);
    Enter("Hello");
    canvas.Draw(&edit);
    EXPECT_LT(edit.m_pos[0], edit.m_pos[1]);
    EXPECT_LT(edit.m_pos[4], edit.m_pos[5]);
    int x = edit.m_pos[5];
    // The caret after the last letter: a vertical line of text colour.
    EXPECT_EQ(canvas.At(x, 10), XColor(0, 0, 0, 255));
    edit.OnTimer(1);  // odd tick: caret hidden
    canvas.Clear();
    canvas.Draw(&edit);
    EXPECT_NE(canvas.At(x, 10), XColor(0, 0, 0, 255));
}

TEST_F(ClipboardFixture, AClickWhileEditingMovesTheCursorAndADragSelects) {
    ControlCanvas canvas(220, 30);
    Enter("Hello");
    canvas.Draw(&edit);
    int x0 = edit.m_pos[1], x1 = edit.m_pos[3];  // character boundaries
    Press(&edit, e, x0, 5);
    EXPECT_EQ(edit.m_iCursor, 1);
    MoveTo(&edit, e, x1, 5);
    EXPECT_EQ(edit.m_iCursor, 1);
    EXPECT_EQ(edit.m_nSelect, 2);
    Release(&edit, e, x1, 5);
    edit.KeyDown('J', 0);
    EXPECT_STREQ(edit.m_local, "HJlo");
}
