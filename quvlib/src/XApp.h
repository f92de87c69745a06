// The application object of the window library and its application-level event
// handler.
#pragma once

#include <cstdint>

#include "FourCC.h"

class XClass;

/// The instance value handed to XApp::Init; stored, never read by the library.
extern int32_t gInstance;

/// "Event not handled": the application handler's answer for anything it leaves to
/// the system's default handling.
constexpr long kAppEventNotHandled = -9874;

/// One application-level event as the application handler sees it: the event's
/// class and kind, and for command events the command id and the id of the menu
/// the command came from (0 when it came from no menu).
struct XAppEvent {
    uint32_t eventClass;  ///< 'appl', 'cmds', 'menu', ...
    uint32_t kind;        ///< 1 activated / process command, 8 enable menu items
    uint32_t command;     ///< command id of a 'cmds' event ('quit' quits)
    int menuId;           ///< menu the command came from; the library's own start at 128
};

class XApp;

/// The application event handler: decides from the event's class and kind.
/// 'appl' 1 sets the arrow cursor and is not handled; 'cmds' 1 is handled (0) when
/// the command is not 'quit' and the menu id is above 127, else not handled;
/// 'menu' 8 is handled (0); anything else is not handled (kAppEventNotHandled).
/// `app` is the handler's user data (may be null). GUI thread.
long macApp(const XAppEvent* event, XApp* app);

/// The application object: one per process, reachable through GetApp(). It runs the
/// event loop, owns the named colour schemes and receives the commands windows pass
/// up. Every member is for the GUI thread, except GetApp (any thread).
class XApp {
  public:
    /// Records this object as the application object (m_pThisApp).
    XApp();
    /// Deletes every colour scheme of the list.
    virtual ~XApp();

    /// Shows the application's first window; called once by Init. Result ignored.
    virtual int OnStart() { return 0; }
    /// Called by Quit before the process ends. Does nothing in the base.
    virtual void OnQuit() {}
    /// Receives commands passed up by windows. Does nothing in the base.
    virtual void OnCommand(unsigned long command, long param1, long param2);

    /// Stores `inst` in gInstance, empties the scheme list, initialises the toolkit,
    /// installs the application handler, calls OnStart, runs the event loop and
    /// returns 1 when the loop ends.
    long Init(long inst);
    /// Calls OnQuit, then ends the process at once with status 0. Never returns.
    [[noreturn]] void Quit();
    /// Forwards a command unchanged to OnCommand.
    void WindowCommand(unsigned long command, long param1, long param2);
    /// The scheme registered under `name`, created and appended at the tail when
    /// there is none yet. The application owns it.
    XClass* NewClass(char* name);
    /// The first scheme whose name is `name`, or null.
    XClass* GetClass(char* name);
    /// The application object (the last one constructed), or null.
    static XApp* GetApp() { return m_pThisApp; }
    /// Sets the name the library shows for the application: the title of every
    /// window's application menu. The application sets it once at start-up, before
    /// any window is made; `name` must stay valid for the run (a literal). Null
    /// goes back to the default. GUI thread.
    static void SetAppName(const char* name);
    /// The name set by SetAppName; before that, the program's file name (its
    /// toolkit name once the toolkit is initialised), or "". GUI thread.
    static const char* GetAppName();

    /// Hands an application-level event to the handler, but only when its class
    /// and kind are among the event types Init installed the handler for (class
    /// 'menu' kind 8, and class 'aevt' kind 'odoc', which never arrives); other
    /// events, like an activation or a command, are left unhandled without
    /// reaching the handler. Returns the handler's result or kAppEventNotHandled.
    long DispatchAppEvent(const XAppEvent& event);
    /// Whether Init has installed the handler.
    bool HandlerInstalled() const { return m_bHandlerInstalled; }

  protected:
    static XApp* m_pThisApp;
    XClass* m_pFirstClass;

  private:
    void DeleteClasses();
    bool m_bHandlerInstalled = false;
};
