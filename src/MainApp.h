// The application object and the program's two global objects.
#pragma once

#include "AudioBus.h"
#include "MainDlg.h"
#include "XApp.h"

/// The application: it holds the main window by value, so the window with its
/// player, readers and path queue exists from before main to the process's end.
/// GUI thread.
class MainApp : public XApp {
  public:
    MainDlg m_dlg;

    /// Builds the main window's controller and hands it the program's bus.
    MainApp();
    /// Shows the main window (creating it and its controls) and returns 1.
    int OnStart() override;
};

/// The one application object, constructed first.
extern MainApp g_App;
/// The one audio bus, constructed after g_App and destroyed before it.
extern AudioBus g_audio;
