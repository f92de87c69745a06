// The menu bar, its menus and the application menu of a real window on the X
// display, and the pop-up menu record.
#include <gtest/gtest.h>
#include <gtk/gtk.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "GuiLoop.h"
#include "StdMenu.h"
#include "XMenu.h"
#include "XWindowStd.h"

using testgui::Pump;
using testgui::PumpUntil;

namespace {

std::vector<GtkWidget*> Children(GtkWidget* container) {
    std::vector<GtkWidget*> out;
    GList* list = gtk_container_get_children(GTK_CONTAINER(container));
    for (GList* l = list; l; l = l->next) out.push_back(GTK_WIDGET(l->data));
    g_list_free(list);
    return out;
}

std::vector<std::string> Labels(GtkWidget* menu) {
    std::vector<std::string> out;
    for (GtkWidget* w : Children(menu))
        out.push_back(GTK_IS_SEPARATOR_MENU_ITEM(w) ? "-"
                                                    : gtk_menu_item_get_label(GTK_MENU_ITEM(w)));
    return out;
}

// A window that builds its menus in OnCreate, as the main window does.
class MenuWindow : public XWindow {
  public:
    MenuWindow() {
        SetSize(240, 100);
        SetTitle(const_cast<char*>("menus"));
        SetType(kWindowCloseBox);
    }
    int OnCreate() override {
        SetIcon(0);
        AddMacMenuItem(const_cast<char*>("About Velotune..."), 4, false);
        StdMenu* bar = CreateMenuBar();
        file = bar->AddMenu("File");
        file->AddMenuItem("New File", 0);
        file->AddMenuItem("Open File", 1);
        file->AddMenuItem("Save File", 2);
        return 0;
    }
    int OnCommand(unsigned long id, long, long) override {
        commands.push_back(id);
        return 0;
    }
    StdMenu* file = nullptr;
    std::vector<unsigned long> commands;
};

class StdMenuTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        ASSERT_TRUE(gtk_init_check(nullptr, nullptr)) << "no X display";
    }
    void TearDown() override { Pump(); }
};

// The screen position of the centre of `w`.
bool ScreenCentre(GtkWidget* w, int& x, int& y) {
    GtkWidget* top = gtk_widget_get_toplevel(w);
    GdkWindow* gw = gtk_widget_get_window(top);
    if (!gw || !gtk_widget_get_mapped(w)) return false;
    int ox = 0, oy = 0, tx = 0, ty = 0;
    gdk_window_get_origin(gw, &ox, &oy);
    if (!gtk_widget_translate_coordinates(w, top, 0, 0, &tx, &ty)) return false;
    x = ox + tx + gtk_widget_get_allocated_width(w) / 2;
    y = oy + ty + gtk_widget_get_allocated_height(w) / 2;
    return true;
}

}  // namespace

TEST_F(StdMenuTest, MenusMadeInOnCreateHoldTheirItemsInOrderAndSendTheirCommands) {
    MenuWindow w;
    w.Create();
    StdMenu* bar = w.GetMenuBar();
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(w.CreateMenuBar(), bar);  // made once
    EXPECT_STREQ(bar->GetLabel(), "menu bar");
    EXPECT_EQ(bar->GetCount(), 1);  // "File"; the application menu is the window's
    EXPECT_EQ(Labels(bar->GetHandle()), (std::vector<std::string>{"Velotune", "File"}));
    std::vector<GtkWidget*> tops = Children(bar->GetHandle());
    GtkWidget* appMenu = gtk_menu_item_get_submenu(GTK_MENU_ITEM(tops[0]));
    EXPECT_EQ(Labels(appMenu), (std::vector<std::string>{"About Velotune..."}));
    ASSERT_NE(w.file, nullptr);
    EXPECT_STREQ(w.file->GetLabel(), "File");
    EXPECT_EQ(w.file->GetCount(), 3);
    EXPECT_EQ(gtk_menu_item_get_submenu(GTK_MENU_ITEM(tops[1])), w.file->GetHandle());
    EXPECT_EQ(Labels(w.file->GetHandle()),
              (std::vector<std::string>{"New File", "Open File", "Save File"}));
    // The menu bar is packed above the view.
    GtkWidget* box = gtk_bin_get_child(GTK_BIN(w.GetGtkWindow()));
    EXPECT_EQ(Children(box).front(), bar->GetHandle());

    for (GtkWidget* item : Children(w.file->GetHandle()))
        gtk_menu_item_activate(GTK_MENU_ITEM(item));
    gtk_menu_item_activate(GTK_MENU_ITEM(Children(appMenu)[0]));
    EXPECT_EQ(w.commands, (std::vector<unsigned long>{0, 1, 2, 4}));
}

TEST_F(StdMenuTest, TheApplicationMenuStaysFirstWhenMenusWereAddedBeforeIt) {
    XWindow w;
    StdMenu* bar = w.CreateMenuBar();
    bar->AddMenu("File");
    w.AddMacMenuItem(const_cast<char*>("About Velotune..."), 4, false);
    w.AddMacMenuItem(const_cast<char*>("Preferences"), 11, true);
    EXPECT_EQ(Labels(bar->GetHandle()), (std::vector<std::string>{"Velotune", "File"}));
    GtkWidget* appMenu = gtk_menu_item_get_submenu(GTK_MENU_ITEM(Children(bar->GetHandle())[0]));
    EXPECT_EQ(Labels(appMenu), (std::vector<std::string>{"About Velotune...", "-", "Preferences"}));
}

TEST_F(StdMenuTest, SeparatorsAndSubMenusCountAsItemsAndDeleteAllItemsEmptiesTheMenu) {
    XWindow w;
    StdMenu* bar = w.CreateMenuBar();
    StdMenu* edit = bar->AddMenu("Edit");
    StdMenu* view = bar->AddMenu("View");
    EXPECT_EQ(bar->GetFirst(), edit);
    EXPECT_EQ(edit->GetNext(), view);
    EXPECT_EQ(bar->FindMenu("View"), view);
    EXPECT_EQ(bar->FindMenu("Help"), nullptr);
    edit->AddMenuItem("Cut", 20);
    edit->AddMenuSeparator();
    StdMenu* more = edit->AddMenu("More");
    more->AddMenuItem("Paste Special", 21);
    EXPECT_EQ(edit->GetCount(), 3);
    EXPECT_EQ(Labels(edit->GetHandle()), (std::vector<std::string>{"Cut", "-", "More"}));

    edit->DeleteAllItems();
    EXPECT_EQ(edit->GetCount(), 0);
    EXPECT_EQ(edit->GetFirst(), nullptr);
    EXPECT_TRUE(Children(edit->GetHandle()).empty());
    edit->AddMenuItem("Copy", 22);
    EXPECT_EQ(Labels(edit->GetHandle()), (std::vector<std::string>{"Copy"}));

    // Emptying the bar also drops the application menu; the next application
    // item makes a new one, first again.
    w.AddMacMenuItem(const_cast<char*>("About Velotune..."), 4, false);
    bar->DeleteAllItems();
    EXPECT_TRUE(Children(bar->GetHandle()).empty());
    bar->AddMenu("File");
    w.AddMacMenuItem(const_cast<char*>("About Velotune..."), 4, false);
    EXPECT_EQ(Labels(bar->GetHandle()), (std::vector<std::string>{"Velotune", "File"}));
}

TEST_F(StdMenuTest, AMenuNameIsCutToThirtyNineBytes) {
    XWindow w;
    std::string longName(60, 'n');
    StdMenu* m = w.CreateMenuBar()->AddMenu(longName.c_str());
    EXPECT_EQ(std::string(m->GetLabel()), std::string(39, 'n'));
}

TEST_F(StdMenuTest, AMenuBarMadeAfterTheWindowStillSitsOnTop) {
    XWindow w;
    w.SetSize(100, 60);
    w.Create();
    StdMenu* bar = w.CreateMenuBar();
    GtkWidget* box = gtk_bin_get_child(GTK_BIN(w.GetGtkWindow()));
    EXPECT_EQ(Children(box).front(), bar->GetHandle());
}

TEST_F(StdMenuTest, APopUpMenuRecordsTheChosenCommandAndSendsItToItsWindow) {
    MenuWindow w;
    XMenu menu("Sounds", &w);
    EXPECT_STREQ(menu.GetString(), "Sounds");
    EXPECT_EQ(menu.GetCommand(), static_cast<unsigned long>(-1));
    menu.AddItem("Reveal", 30);
    menu.AddSeparator();
    menu.AddItem("Remove", 31);
    EXPECT_EQ(menu.GetCount(), 3);
    EXPECT_EQ(Labels(menu.GetHandle()), (std::vector<std::string>{"Reveal", "-", "Remove"}));
    gtk_menu_item_activate(GTK_MENU_ITEM(Children(menu.GetHandle())[2]));
    EXPECT_EQ(menu.GetCommand(), 31u);
    EXPECT_EQ(w.commands, (std::vector<unsigned long>{31}));
    menu.Clear();
    EXPECT_EQ(menu.GetCount(), 0);
    EXPECT_EQ(menu.GetCommand(), static_cast<unsigned long>(-1));
}

TEST_F(StdMenuTest, ClickingVelotuneThenAboutOnTheScreenSendsCommandFour) {
    if (system("command -v xdotool > /dev/null 2>&1") != 0) GTEST_SKIP() << "xdotool missing";
    MenuWindow w;
    w.SetPosition(40, 40);
    w.Show();
    GtkWidget* appItem = Children(w.GetMenuBar()->GetHandle())[0];
    int x = 0, y = 0;
    ASSERT_TRUE(PumpUntil([&] { return ScreenCentre(appItem, x, y); }));
    std::string click =
        "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1";
    ASSERT_EQ(system(click.c_str()), 0);
    GtkWidget* appMenu = gtk_menu_item_get_submenu(GTK_MENU_ITEM(appItem));
    GtkWidget* about = Children(appMenu)[0];
    ASSERT_TRUE(
        PumpUntil([&] { return gtk_widget_get_mapped(appMenu) && ScreenCentre(about, x, y); }));
    // Let the menu settle where it was mapped before aiming at its item.
    Pump();
    ASSERT_TRUE(ScreenCentre(about, x, y));
    click = "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " click 1";
    ASSERT_EQ(system(click.c_str()), 0);
    ASSERT_TRUE(PumpUntil([&] { return !w.commands.empty(); }));
    EXPECT_EQ(w.commands, (std::vector<unsigned long>{4}));
    EXPECT_TRUE(PumpUntil([&] { return !gtk_widget_get_mapped(appMenu); }));
}
