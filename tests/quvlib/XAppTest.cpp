// The application object and its event handler's table, without the toolkit.
#include <glib.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "FourCC.h"
#include "XApp.h"
#include "XClass.h"

namespace {

XAppEvent Cmd(uint32_t command, int menuId) {
    return XAppEvent{FourCC("cmds"), 1, command, menuId};
}

class RecordingApp : public XApp {
  public:
    void OnCommand(unsigned long command, long p1, long p2) override {
        last = command;
        param1 = p1;
        param2 = p2;
        ++count;
    }
    void OnQuit() override { fprintf(stderr, "OnQuit ran\n"); }
    unsigned long last = 0;
    long param1 = 0, param2 = 0;
    int count = 0;
};

}  // namespace

TEST(XApp, TheApplicationNameIsTheOneTheApplicationSetAndTheProgramNameBefore) {
    const char* set = XApp::GetAppName();  // the application's, set by the test main
    XApp::SetAppName(nullptr);
    const char* program = g_get_prgname();
    EXPECT_STREQ(XApp::GetAppName(), program ? program : "");
    XApp::SetAppName("Another Sampler");
    EXPECT_STREQ(XApp::GetAppName(), "Another Sampler");
    XApp::SetAppName(set);
    EXPECT_STREQ(XApp::GetAppName(), set);
}

TEST(XApp, QuitCommandIsNeverReportedHandledWhateverTheMenuId) {
    for (int menu : {0, 1, 127, 128, 129, 200, 32767}) {
        XAppEvent ev = Cmd(FourCC("quit"), menu);
        EXPECT_EQ(macApp(&ev, nullptr), kAppEventNotHandled) << "menu " << menu;
    }
}

TEST(XApp, CommandFromMenu127IsNotHandledAndFromMenu128IsSwallowed) {
    XAppEvent from127 = Cmd(4, 127);
    XAppEvent from128 = Cmd(4, 128);
    EXPECT_EQ(macApp(&from127, nullptr), kAppEventNotHandled);
    EXPECT_EQ(macApp(&from128, nullptr), 0);
}

TEST(XApp, CommandOfAnotherKindIsNotHandled) {
    XAppEvent ev{FourCC("cmds"), 2, 4, 200};
    EXPECT_EQ(macApp(&ev, nullptr), kAppEventNotHandled);
}

TEST(XApp, ActivationSetsTheArrowAndIsNotHandled) {
    XAppEvent ev{FourCC("appl"), 1, 0, 0};
    EXPECT_EQ(macApp(&ev, nullptr), kAppEventNotHandled);
}

TEST(XApp, MenuEnablingIsHandled) {
    XAppEvent ev{FourCC("menu"), 8, 0, 0};
    EXPECT_EQ(macApp(&ev, nullptr), 0);
    XAppEvent other{FourCC("menu"), 9, 0, 0};
    EXPECT_EQ(macApp(&other, nullptr), kAppEventNotHandled);
}

TEST(XApp, AnyOtherEventIsNotHandled) {
    XAppEvent ev{FourCC("wind"), 1, 0, 0};
    EXPECT_EQ(macApp(&ev, nullptr), kAppEventNotHandled);
    XAppEvent odoc{FourCC("aevt"), FourCC("odoc"), 0, 0};
    EXPECT_EQ(macApp(&odoc, nullptr), kAppEventNotHandled);
    EXPECT_EQ(macApp(nullptr, nullptr), kAppEventNotHandled);
}

TEST(XApp, ConstructionMakesTheObjectTheApplication) {
    RecordingApp app;
    EXPECT_EQ(XApp::GetApp(), &app);
}

TEST(XApp, NewClassTwiceWithTheSameNameReturnsTheSameSchemeAndAddsNothing) {
    RecordingApp app;
    char a[] = "panel", b[] = "button";
    XClass* first = app.NewClass(a);
    ASSERT_NE(first, nullptr);
    XClass* again = app.NewClass(a);
    EXPECT_EQ(first, again);
    EXPECT_EQ(first->GetNext(), nullptr);  // nothing was appended
    XClass* second = app.NewClass(b);
    EXPECT_NE(second, first);
    EXPECT_EQ(first->GetNext(), second);  // appended at the tail
    EXPECT_EQ(second->GetNext(), nullptr);
}

TEST(XApp, GetClassOfAnUnknownNameReturnsNull) {
    RecordingApp app;
    char known[] = "panel", unknown[] = "nothing";
    XClass* scheme = app.NewClass(known);
    EXPECT_EQ(app.GetClass(known), scheme);
    EXPECT_EQ(app.GetClass(unknown), nullptr);
}

TEST(XApp, WindowCommandForwardsUnchangedToOnCommand) {
    RecordingApp app;
    app.WindowCommand(12, 34, -56);
    EXPECT_EQ(app.count, 1);
    EXPECT_EQ(app.last, 12u);
    EXPECT_EQ(app.param1, 34);
    EXPECT_EQ(app.param2, -56);
}

TEST(XApp, EventsReachNoHandlerBeforeInitInstalledIt) {
    RecordingApp app;
    EXPECT_FALSE(app.HandlerInstalled());
    EXPECT_EQ(app.DispatchAppEvent(XAppEvent{FourCC("menu"), 8, 0, 0}), kAppEventNotHandled);
}

TEST(XAppDeathTest, QuitNeverReturns) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            RecordingApp app;
            app.Quit();
            fprintf(stderr, "Quit returned\n");
            abort();
        },
        ::testing::ExitedWithCode(0), "OnQuit ran");
}

// ---- OpenGL ----

namespace {
// Restores GDK_GL as it was when the test began.
struct KeepGdkGl {
    std::string value;
    bool set;
    KeepGdkGl() : set(getenv("GDK_GL") != nullptr) {
        if (set) value = getenv("GDK_GL");
    }
    ~KeepGdkGl() {
        if (set)
            setenv("GDK_GL", value.c_str(), 1);
        else
            unsetenv("GDK_GL");
    }
};
}  // namespace

TEST(XAppGl, TheApplicationAsksGdkNotToLoadOpenGl) {
    KeepGdkGl keep;
    unsetenv("GDK_GL");
    XApp app;
    ASSERT_NE(getenv("GDK_GL"), nullptr);
    EXPECT_STREQ(getenv("GDK_GL"), "disable");
}

TEST(XAppGl, AUsersOwnGdkGlSettingWins) {
    KeepGdkGl keep;
    setenv("GDK_GL", "gles", 1);
    XApp app;
    EXPECT_STREQ(getenv("GDK_GL"), "gles");
}
