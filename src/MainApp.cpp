#include "MainApp.h"

// Defined together, in this order: g_App is constructed first and destroyed last.
MainApp g_App;
AudioBus g_audio;

// g_audio is not constructed yet here; only its address is taken.
MainApp::MainApp() {
    Identify();
    m_dlg.SetAudioBus(&g_audio);
}

int MainApp::OnStart() {
    m_dlg.Show();
    return 1;
}
