// The about box that "About Velotune..." (command 4) shows.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <string>
#include <vector>

#include "AboutBox.h"
#include "AudioBus.h"
#include "MainDlg.h"
#include "XControl.h"

namespace {

void Pump() {
    for (int round = 0; round < 3; ++round)
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
}

void CollectLabels(XControl* c, std::vector<std::string>& out) {
    for (; c; c = c->GetNext()) {
        if (c->GetLabel()) out.push_back(c->GetLabel());
        CollectLabels(c->GetChild(), out);
    }
}

class AboutBoxTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
};

}  // namespace

TEST_F(AboutBoxTest, ItSaysWhatTheProgramIsItsVersionWhatItIsBuiltOnAndItsLicence) {
    AboutBox about;
    about.Create();
    std::vector<std::string> labels;
    CollectLabels(about.GetFirstControl(), labels);
    ASSERT_EQ(labels.size(), static_cast<size_t>(AboutBox::kLineCount));
    std::string all;
    for (const std::string& l : labels) all += l + "\n";
    EXPECT_NE(all.find("Velotune 2.0"), std::string::npos) << all;
    EXPECT_NE(all.find("WAV, AIFF and MP3"), std::string::npos) << all;
    for (const char* part : {"GTK 3", "Cairo", "Pango", "ALSA", "libsndfile"})
        EXPECT_NE(all.find(part), std::string::npos) << part;
    EXPECT_NE(all.find("MIT licence"), std::string::npos) << all;
    EXPECT_NE(all.find(MainDlg::kWebUrl), std::string::npos) << all;
}

TEST_F(AboutBoxTest, ReturnClosesItAcceptedAndEscapeWithout) {
    AboutBox about;
    about.Show();
    Pump();
    ASSERT_TRUE(about.IsVisible());
    about.KeyDown(kKeyEnter, 0);
    EXPECT_FALSE(about.IsVisible());
    EXPECT_TRUE(about.GetReturn());
    about.Show();
    Pump();
    about.KeyDown(kKeyEscape, 0);
    EXPECT_FALSE(about.IsVisible());
    EXPECT_FALSE(about.GetReturn());
}

TEST_F(AboutBoxTest, CommandFourShowsTheAboutBoxOverTheMainWindowUntilItIsClosed) {
    AudioBus bus;
    MainDlg dlg;  // silent: no device is opened
    dlg.Show();
    Pump();
    static std::string shownTitle;
    static bool wasModal = false;
    shownTitle.clear();
    g_timeout_add(
        100,
        [](gpointer) -> gboolean {
            XWindow* top = XWindow::GetActiveWindow();
            if (!top) return G_SOURCE_CONTINUE;
            shownTitle = top->GetTitle();
            wasModal = top->IsModal();
            top->KeyDown(kKeyEnter, 0);
            return G_SOURCE_REMOVE;
        },
        nullptr);
    dlg.OnCommand(4, 0, 0);  // returns when the box is closed
    EXPECT_EQ(shownTitle, "About Velotune");
    EXPECT_TRUE(wasModal);
    EXPECT_EQ(XWindow::GetActiveWindow(), &dlg) << "the main window is active again";
    dlg.Hide();
}
