#include "XApp.h"

#include <gtk/gtk.h>

#include <cstdlib>
#include <cstring>

#include "XClass.h"
#include "XWindowStd.h"

int32_t gInstance = 0;
XApp* XApp::m_pThisApp = nullptr;

namespace {

// The event types Init installs the handler for, in this order. The second pairs
// an event class with an event id from another family and is kept exactly so on
// purpose, although no event ever arrives under that pair.
const XAppEvent kInstalledTypes[] = {
    {FourCC("menu"), 8, 0, 0},
    {FourCC("aevt"), FourCC("odoc"), 0, 0},
};

}  // namespace

long macApp(const XAppEvent* event, XApp* /*app*/) {
    long result = kAppEventNotHandled;
    if (!event) return result;
    switch (event->eventClass) {
        case FourCC("appl"):
            if (event->kind == 1) {
                // Activation brings back the arrow; the event still goes on.
                XWindow* active = XWindow::GetActiveWindow();
                if (active) active->SetCursor(0);
            }
            break;
        case FourCC("cmds"):
            // Commands from the library's own menus (128 on) have already been seen
            // by the window's handlers and are swallowed here; 'quit' always goes on
            // to the default handling, which quits.
            if (event->kind == 1 && event->command != FourCC("quit") && event->menuId > 127)
                result = 0;
            break;
        case FourCC("menu"):
            // Enabling menu items: the front window's class is fetched and not used.
            if (event->kind == 8) {
                (void)XWindow::GetActiveWindow();
                result = 0;
            }
            break;
        default:
            break;
    }
    return result;
}

namespace {
// Constant-initialised, so that an application may set it from a static
// constructor before main.
const char* s_appName = nullptr;
}  // namespace

void XApp::SetAppName(const char* name) {
    s_appName = name;
}

const char* XApp::GetAppName() {
    if (s_appName) return s_appName;
    const char* prg = g_get_prgname();
    return prg ? prg : "";
}

XApp::XApp() : m_pFirstClass(nullptr) {
    m_pThisApp = this;
    // Everything is drawn with Cairo: GDK need not probe and load OpenGL, which
    // costs tens of megabytes and milliseconds at start-up. A user's own GDK_GL
    // stays. Done here, before main, while no other thread reads the environment.
    setenv("GDK_GL", "disable", 0);
}

XApp::~XApp() {
    DeleteClasses();
    if (m_pThisApp == this) m_pThisApp = nullptr;
}

void XApp::DeleteClasses() {
    XClass* cls = m_pFirstClass;
    while (cls) {
        XClass* next = cls->GetNext();  // taken before the scheme goes
        delete cls;
        cls = next;
    }
    m_pFirstClass = nullptr;
}

void XApp::OnCommand(unsigned long, long, long) {}

long XApp::Init(long inst) {
    gInstance = static_cast<int32_t>(inst);
    DeleteClasses();
    gtk_init(nullptr, nullptr);
    m_bHandlerInstalled = true;
    OnStart();
    gtk_main();
    return 1;
}

void XApp::Quit() {
    OnQuit();
    // The timer thread waits on a process-wide condition variable that exit()
    // destroys, and destroying one waits for its waiters: stopped first, the
    // process ends at once instead of after the thread's next tick or two.
    XWindowBase::TimerStop();
    exit(0);  // the event loop is not left first
}

void XApp::WindowCommand(unsigned long command, long param1, long param2) {
    OnCommand(command, param1, param2);
}

XClass* XApp::NewClass(char* name) {
    XClass* found = GetClass(name);
    if (found) return found;
    XClass* cls = new XClass(name);
    if (!m_pFirstClass) {
        m_pFirstClass = cls;
    } else {
        XClass* last = m_pFirstClass;
        while (last->GetNext()) last = last->GetNext();
        last->SetNext(cls);
    }
    return cls;
}

XClass* XApp::GetClass(char* name) {
    for (XClass* cls = m_pFirstClass; cls; cls = cls->GetNext())
        if (cls->HasName(name)) return cls;
    return nullptr;
}

long XApp::DispatchAppEvent(const XAppEvent& event) {
    if (!m_bHandlerInstalled) return kAppEventNotHandled;
    for (const XAppEvent& type : kInstalledTypes)
        if (type.eventClass == event.eventClass && type.kind == event.kind)
            return macApp(&event, this);
    return kAppEventNotHandled;
}
