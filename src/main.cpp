// The program's entry: hands control to the application object's event loop.
#include <cstdlib>

#include "MainApp.h"

int main(int argc, char** argv) {
    // Paths named on the command line are taken as a drop once the window is ready
    // (how a file manager's "Open With" hands files over).
    if (argc > 1) g_App.m_dlg.SetStartPaths(argv + 1, argc - 1);
    // The audio device opens on its own thread while the toolkit starts, and the
    // command line's sounds play as soon as it is open.
    g_App.m_dlg.StartAudio();
    g_App.m_dlg.PlayStartPaths();
    g_App.Init(0);
    exit(0);
}
