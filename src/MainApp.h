// The application object and the program's two global objects.
#pragma once

#include "AudioBus.h"
#include "MainDlg.h"
#include "XApp.h"
#include "XPic.h"

/// The application: it holds the main window by value, so the window with its
/// player, readers and path queue exists from before main to the process's end.
/// GUI thread.
class MainApp : public XApp {
  public:
    static constexpr const char* kAppName = "Velotune";
    /// Where res/velotune.gresource.xml puts the pictures in the executable.
    static constexpr const char* kResourcePrefix = "/velotune/";

    MainDlg m_dlg;

    /// Hands the application's name (its application menu's title) and the folder
    /// of its compiled-in pictures to the window library. The constructor calls
    /// it, before main; so do the test programs, which make the main window and
    /// its controls without this object. Before any window or picture is made.
    static void Identify() {
        XApp::SetAppName(kAppName);
        XPic::SetResourcePrefix(kResourcePrefix);
    }

    /// Builds the main window's controller and hands it the program's bus.
    MainApp();
    /// Shows the main window (creating it and its controls) and returns 1.
    int OnStart() override;
};

/// The one application object, constructed first.
extern MainApp g_App;
/// The one audio bus, constructed after g_App and destroyed before it.
extern AudioBus g_audio;
