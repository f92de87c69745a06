// The toolbar of a real window on the X display: its buttons, their commands and
// their enabled state.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <string>
#include <vector>

#include "StdMenu.h"
#include "StdToolBar.h"
#include "XWindowStd.h"

namespace {

void Pump() {
    for (int round = 0; round < 3; ++round)
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
}

std::vector<GtkWidget*> Children(GtkWidget* container) {
    std::vector<GtkWidget*> out;
    GList* list = gtk_container_get_children(GTK_CONTAINER(container));
    for (GList* l = list; l; l = l->next) out.push_back(GTK_WIDGET(l->data));
    g_list_free(list);
    return out;
}

class ToolWindow : public XWindow {
  public:
    ToolWindow() {
        SetSize(300, 80);
        SetTitle(const_cast<char*>("toolbar"));
    }
    int OnCreate() override {
        CreateMenuBar()->AddMenu("File");
        bar = CreateToolBar(300, 30);
        bar->AddItem("Play", "btn_play.png", 8);
        bar->AddItem("Stop", "btn_stop.png", 6);
        bar->AddItem("Pause", "btn_pause.png", 8);
        bar->AddItem("Plain", nullptr, 9);
        bar->Show();
        return 0;
    }
    int OnCommand(unsigned long id, long, long) override {
        commands.push_back(id);
        return 0;
    }
    StdToolBar* bar = nullptr;
    std::vector<unsigned long> commands;
};

class StdToolBarTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void SetUp() override { w.Create(); }
    void TearDown() override { Pump(); }
    std::vector<bool> Enabled() {
        std::vector<bool> out;
        for (int i = 0; i < w.bar->GetCount(); ++i) out.push_back(w.bar->IsEnabled(i));
        return out;
    }
    ToolWindow w;
};

}  // namespace

TEST_F(StdToolBarTest, TheToolbarSitsBetweenTheMenuBarAndTheViewWithItsButtonsInOrder) {
    ASSERT_NE(w.bar, nullptr);
    EXPECT_EQ(w.CreateToolBar(10, 10), w.bar);  // made once
    EXPECT_EQ(w.GetToolBar(), w.bar);
    std::vector<GtkWidget*> rows = Children(gtk_bin_get_child(GTK_BIN(w.GetGtkWindow())));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], w.GetMenuBar()->GetHandle());
    EXPECT_EQ(rows[1], w.bar->GetHandle());
    EXPECT_EQ(rows[2], w.GetView());
    ASSERT_EQ(w.bar->GetCount(), 4);
    std::vector<GtkWidget*> items = Children(w.bar->GetHandle());
    ASSERT_EQ(items.size(), 4u);
    const char* labels[] = {"Play", "Stop", "Pause", "Plain"};
    int commands[] = {8, 6, 8, 9};
    for (int i = 0; i < 4; ++i) {
        const t_tool* t = w.bar->GetTool(i);
        EXPECT_STREQ(t->label, labels[i]);
        EXPECT_EQ(t->dwCmd, commands[i]);
        EXPECT_EQ(t->itemRef, items[i]);
        EXPECT_STREQ(gtk_tool_button_get_label(GTK_TOOL_BUTTON(items[i])), labels[i]);
    }
    EXPECT_STREQ(w.bar->GetTool(0)->icon, "btn_play.png");
    EXPECT_EQ(w.bar->GetTool(3)->icon, nullptr);
    // A found picture becomes the button's icon; no picture, no icon.
    EXPECT_NE(gtk_tool_button_get_icon_widget(GTK_TOOL_BUTTON(items[0])), nullptr);
    EXPECT_EQ(gtk_tool_button_get_icon_widget(GTK_TOOL_BUTTON(items[3])), nullptr);
    EXPECT_EQ(w.bar->GetTool(4), nullptr);
    EXPECT_EQ(w.bar->GetTool(-1), nullptr);
}

TEST_F(StdToolBarTest, AClickedButtonSendsItsCommandToTheWindow) {
    std::vector<GtkWidget*> items = Children(w.bar->GetHandle());
    for (GtkWidget* item : items) gtk_button_clicked(GTK_BUTTON(gtk_bin_get_child(GTK_BIN(item))));
    EXPECT_EQ(w.commands, (std::vector<unsigned long>{8, 6, 8, 9}));
}

TEST_F(StdToolBarTest, DisablingACommandThatNoToolCarriesChangesNothing) {
    w.bar->DisableButton(6);
    std::vector<bool> before = Enabled();
    ASSERT_EQ(before, (std::vector<bool>{true, false, true, true}));
    w.bar->DisableButton(77);
    EXPECT_EQ(Enabled(), before);
    w.bar->EnableButton(77);
    EXPECT_EQ(Enabled(), before);
}

TEST_F(StdToolBarTest, TwoToolsSharingACommandAreBothDisabledAndEnabled) {
    w.bar->DisableButton(8);
    EXPECT_EQ(Enabled(), (std::vector<bool>{false, true, false, true}));
    w.bar->EnableButton(8);
    EXPECT_EQ(Enabled(), (std::vector<bool>{true, true, true, true}));
}

TEST_F(StdToolBarTest, ButtonsPastThirtyTwoAreIgnored) {
    for (int i = 0; i < 40; ++i) w.bar->AddItem("More", nullptr, 100 + i);
    EXPECT_EQ(w.bar->GetCount(), StdToolBar::kMaxTools);
    EXPECT_EQ(Children(w.bar->GetHandle()).size(), static_cast<size_t>(StdToolBar::kMaxTools));
    EXPECT_EQ(w.bar->GetTool(31)->dwCmd, 127);
}

TEST(StdToolBar, RecordsAreKeptWithoutAPlatformToolbar) {
    StdToolBar bar;
    bar.AddItem("Next", "btn_next.png", 9);
    bar.AddSeparator();
    EXPECT_EQ(bar.GetCount(), 2);
    EXPECT_STREQ(bar.GetTool(0)->label, "Next");
    EXPECT_EQ(bar.GetTool(0)->itemRef, nullptr);
    EXPECT_EQ(bar.GetTool(1)->dwCmd, -1);
    EXPECT_FALSE(bar.IsEnabled(0));
    bar.DisableButton(9);  // nothing to disable: no platform button
    EXPECT_EQ(bar.GetHandle(), nullptr);
}
