// Choosing files and folders with the toolkit's file chooser over a real window:
// what comes back is what a drop of the same items gives.
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ChooserDriver.h"
#include "GuiLoop.h"
#include "SoundFileWriter.h"
#include "XWindowStd.h"

using testgui::ChooserDriver;

using testgui::Pump;

namespace {

// A folder "tree" holding a.wav, b.wav and the folder sub with c.wav.
std::string MakeTree(const std::string& name) {
    std::string dir = testfiles::TempPath(name);
    mkdir(dir.c_str(), 0755);
    mkdir((dir + "/sub").c_str(), 0755);
    for (const char* f : {"/a.wav", "/b.wav", "/sub/c.wav"})
        EXPECT_TRUE(testfiles::WriteBytes(dir + f, {'x'}));
    return dir;
}

class Owner : public XWindow {
  public:
    Owner() {
        SetSize(200, 100);
        SetTitle(const_cast<char*>("chooser owner"));
    }
};

class XWindowChooseFiles : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void SetUp() override {
        if (system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool missing";
        w.Show();
        Pump();
    }
    void TearDown() override {
        w.Hide();
        Pump();
    }
    // Chooses by typing `typed` into the location field (Ctrl+L) and Return.
    bool ChooseTyped(const std::string& typed, std::vector<std::string>* paths,
                     std::string* start = nullptr) {
        ChooserDriver driver([&](GtkWidget* dialog) {
            ChooserDriver::Run(dialog, "xdotool key ctrl+l; xdotool type --delay 40 '" + typed +
                                           "'; xdotool key Return");
        });
        bool chosen = w.ChooseFiles("Open", paths);
        EXPECT_TRUE(driver.Found());
        if (start) *start = driver.StartFolder();
        return chosen;
    }
    Owner w;
};

}  // namespace

TEST_F(XWindowChooseFiles, AFolderTypedWithControlLIsChosenAsThatFolderFromTheHomeFolder) {
    std::string tree = MakeTree("chooser-typed");
    std::vector<std::string> paths;
    std::string start;
    ASSERT_TRUE(ChooseTyped(tree, &paths, &start));
    EXPECT_EQ(start, g_get_home_dir()) << "the first choice starts at home, not in the recent list";
    EXPECT_EQ(paths, std::vector<std::string>{tree + "/"}) << "the folder, not its first file";
}

TEST_F(XWindowChooseFiles,
       ARelativeFolderOrAFileTypedIsTakenAndTheNextChoiceStartsWhereTheLastWas) {
    std::string tree = MakeTree("chooser-relative");
    std::vector<std::string> paths;
    ASSERT_TRUE(ChooseTyped(tree + "/a.wav", &paths));
    EXPECT_EQ(paths, std::vector<std::string>{tree + "/a.wav"});
    std::string start;
    ASSERT_TRUE(ChooseTyped("sub", &paths, &start));
    EXPECT_EQ(start, tree) << "the chooser opens in the folder of the last choice";
    EXPECT_EQ(paths, std::vector<std::string>{tree + "/sub/"}) << "sub itself, not sub/c.wav";
}

TEST_F(XWindowChooseFiles, SeveralFilesAndAFolderSelectedTogetherAreChosenTogether) {
    std::string tree = MakeTree("chooser-several");
    std::vector<std::string> paths;
    ChooserDriver driver([&](GtkWidget* dialog) {
        ASSERT_TRUE(ChooserDriver::ShowFolder(dialog, tree, "b.wav"));
        // Everything in the folder selected with Control+A in its list, then a
        // click on Open.
        int x = 0, y = 0;
        ChooserDriver::ScreenCentre(gtk_dialog_get_widget_for_response(GTK_DIALOG(dialog), 1), &x,
                                    &y);
        ChooserDriver::Run(dialog, "xdotool key ctrl+a; xdotool mousemove " + std::to_string(x) +
                                       " " + std::to_string(y) + " click 1");
    });
    ASSERT_TRUE(w.ChooseFiles("Open", &paths));
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, (std::vector<std::string>{tree + "/a.wav", tree + "/b.wav", tree + "/sub/"}));
}

TEST_F(XWindowChooseFiles, EscapeCancelsAndChoosesNothing) {
    std::vector<std::string> paths = {"left over"};
    ChooserDriver driver(
        [&](GtkWidget* dialog) { ChooserDriver::Run(dialog, "xdotool key Escape"); });
    EXPECT_FALSE(w.ChooseFiles("Open", &paths));
    EXPECT_TRUE(paths.empty());
}
