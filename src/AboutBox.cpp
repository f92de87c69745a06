#include "AboutBox.h"

#include "XButton.h"
#include "XClass.h"
#include "XLabel.h"
#include "XPane.h"

const char* const AboutBox::kLines[kLineCount] = {
    "Velotune 2.0",
    "Auditions sound samples: WAV, AIFF and MP3.",
    "Built on GTK 3, Cairo, Pango, ALSA and libsndfile.",
    "MIT licence. (c) 2026 the Velotune developers.",
    "https://www.velotune.test/",
};

AboutBox::AboutBox() {
    SetType(kWindowCloseBox | kWindowCentre);
    SetSize(320, 150);
    SetMinSize(320, 150);
    SetMaxSize(320, 150);
    SetTitle(const_cast<char*>("About Velotune"));
    NewClass(const_cast<char*>("XLabel"))->SetTextColor(XColor(235, 238, 245, 255));
}

int AboutBox::OnCreate() {
    XPane* pane = new XPane(this, XRect(0, 0, 0, 0));
    pane->SetColorFore(XColor(39, 44, 54, 255));
    pane->SetColorFrame(XColor(71, 79, 98, 255));
    AddControl(pane);
    char scheme[] = "XLabel";
    for (int i = 0; i < kLineCount; ++i) {
        int top = 12 + 20 * i;
        XLabel* line = new XLabel(this, XRect(12, top, -12, top + 16), -1);
        InitControl(line, scheme);
        line->SetJustify(-1);
        if (i == 0) line->SetFont(2);
        line->SetLabel(kLines[i]);
        pane->AddControl(line);
    }
    XButton* done = new XButton(this, XRect(-53, -26, -12, -8), kCmdDone);
    done->SetPic("btn_done.png");
    pane->AddControl(done);
    SetDefault(done);
    return 0;
}

int AboutBox::OnCommand(unsigned long command, long, long) {
    if (command == static_cast<unsigned long>(kCmdDone)) Close(true);
    return 0;
}
