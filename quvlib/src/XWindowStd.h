// The platform window: its view, drawing, sizes, menus, toolbar and the delivery of
// posted messages.
#pragma once

#include <pthread.h>

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "XDrawLib.h"
#include "XMessenger.h"
#include "XWindowBase.h"

// Platform types, declared here so that this header needs no platform header.
typedef struct _GtkWidget GtkWidget;
typedef struct _GSource GSource;
typedef struct _cairo cairo_t;

class StdMenu;
class StdToolBar;

/// A saved window position.
struct XPos {
    int16_t left;
    int16_t top;
    int16_t right;
    int16_t bottom;
    int16_t status;
};

/// Window type bits for SetType / Create.
enum : int {
    kWindowCentre = 1,     ///< centred on the screen, or on the parent
    kWindowPlain = 2,      ///< no frame and no window controls
    kWindowFloating = 4,   ///< floating (utility) window
    kWindowResizable = 8,  ///< resizable, collapsible, zoomable
    kWindowMetal = 16,     ///< brushed look (no effect here)
    kWindowCloseBox = 32,  ///< has a close box
};

/// A top-level window of the library: one platform window holding one view on
/// which all controls draw, with an optional menu bar and toolbar above the view.
/// The application's windows derive from it and override the On... hooks.
///
/// Every member is for the GUI thread (the thread that constructed the first
/// XWindow), except: Update, DrawControl and IsGuiThread may be called from any
/// thread; GetHandle / GetEventQueue may be called from any thread and the handle
/// used with XMessenger::PostWindowMsg.
class XWindow : public XWindowBase {
  public:
    /// Zeroes the window; the first window records the calling thread as the GUI
    /// thread. Creates no platform window.
    XWindow();
    /// Destroys the platform window, if any, and stops the timer thread.
    ~XWindow() override;

    // ---- virtual operations ----

    /// The window's message handle (its event queue).
    XWINDOW GetHandle() override { return &m_eventQueue; }
    /// Closes the window: not visible, OnClose, result stored (and handed to a
    /// modal loop, which ends), then Hide.
    void Close(bool result) override;
    /// The application's colour scheme `name`, or null.
    XClass* GetAppClass(char* name) override;
    /// Sets the platform window's title.
    void OnSetTitle() override;
    /// A system drag over the view: phase 0 entered, 1 moved, 2 left. Returns
    /// whether a control is the drag's target.
    virtual int Drag(int x, int y, int phase);
    /// A system drop: to the drag's target control, else to OnDrop.
    virtual int Drop(OpaqueDragRef* drag, int x, int y);
    /// Called by Create once the platform window exists and before its menu bar,
    /// toolbar and view are put in place: the subclass builds its menus and
    /// controls here.
    virtual int OnCreate() { return 0; }
    /// Called by Show just before the window counts as visible.
    virtual int OnShow() { return 0; }
    /// Called once after the first events following Show have been handled.
    virtual int OnReady() { return 0; }
    /// A posted message that is not the library's own.
    virtual int OnMessage(unsigned long, long, long) { return 0; }
    /// Called by Close.
    virtual int OnClose() { return 0; }
    /// Called on the GUI thread by Update before the dirty controls are drawn, so
    /// that a window can move values other threads left for it into its controls.
    virtual void OnUpdate() {}
    /// Called on the GUI thread about 30 times a second while the frame timer runs
    /// (SetFrameTimer): for displays that follow values other threads change
    /// continuously, which then need not post anything.
    virtual void OnFrame() {}

    // ---- setup ----

    /// Content size of the view.
    void SetSize(long cx, long cy);
    /// Screen position of the window.
    void SetPosition(long x, long y);
    /// Reads the screen position into (x, y).
    void GetPosition(long& x, long& y);
    /// Minimum and maximum content size (0 = no limit).
    void SetMinSize(int cx, int cy);
    void SetMaxSize(int cx, int cy);
    /// Takes the saved position record (may be null); its rectangle, when set,
    /// places and sizes the window.
    void AutoPosition(XPos* pos);
    /// Writes the window's position and size into the saved record, if any.
    void SaveWindowPosition();
    /// Application icon: not used on this platform.
    void SetIcon(int) {}
    /// The window's menu bar, made on the first call (later calls return the same
    /// one) and shown above the view; the window owns and deletes it. Menus added
    /// to it follow the application menu. May be called before Create or from
    /// OnCreate.
    StdMenu* CreateMenuBar();
    /// The window's toolbar, made on the first call and shown between the menu
    /// bar and the view, `cy` pixels high when above 0; the window owns and
    /// deletes it. May be called before Create or from OnCreate.
    StdToolBar* CreateToolBar(int cx, int cy);
    /// Adds an item to the application menu, titled XApp::GetAppName() (the first
    /// menu of the menu bar, both made when missing); choosing it sends `command`
    /// to the window as a control command. `separator` adds a separator before it.
    void AddMacMenuItem(char* label, unsigned long command, bool separator);
    /// A command chosen in a menu or on the toolbar: to ControlCommand (and so
    /// OnCommand) unless it is 'swin', then to the application object.
    void DispatchCommand(unsigned long command);
    /// The menu bar and the toolbar, or null when not made.
    StdMenu* GetMenuBar() { return m_pMenuBar; }
    StdToolBar* GetToolBar() { return m_pToolBar; }
    /// Makes the view accept files dropped from other applications.
    void EnableDropFile();
    /// Creates the platform window and its view from the type, size, limits and
    /// title, and starts the timer thread.
    void Create();
    /// Creates the window if needed, shows it, OnShow, visible, active; posts
    /// 'wrdy' so that OnReady runs after the first events.
    void Show();
    /// Shows the window over `parent` and runs a nested event loop until Close;
    /// returns the result given to Close.
    bool ShowModal(XWindow* parent);
    /// Not visible; hides the platform window.
    void Hide();

    // ---- messages, drawing ----

    /// A message delivered on the GUI thread. Nothing happens while the window is
    /// not visible. 2007 'updt' updates, 'wrdy' calls OnReady, 'timr' ticks the
    /// timer; everything else goes to OnMessage.
    void Message(unsigned long msg, long wParam, long lParam);
    /// Passes a command to the application object.
    void Command(unsigned long id, long wParam);
    /// On the GUI thread: draws the dirty controls now. On another thread: posts one
    /// 2007 'updt' (repeated requests collapse while one is pending). Ignored while
    /// drawing. Any thread.
    void Update();
    /// Asks for the whole view to be drawn again.
    void Redraw();
    /// Draws every control, in list order, into `cr` (the view's draw handler).
    void Draw(cairo_t* cr);
    /// Draws one control with its children at once. No window: true, nothing
    /// drawn. Off the GUI thread: false, nothing drawn (an update is posted). Any
    /// thread.
    bool DrawControl(XControl* control) override;
    /// The window's drawing library.
    XDrawLib* GetDrawLib() override { return &m_drawlib; }
    /// The GUI thread's queue for this window.
    XMsgQueue* GetEventQueue() { return &m_eventQueue; }
    /// Content to screen coordinates.
    void LocalToScreen(int& x, int& y) override;

    // ---- other ----

    /// Cursor: 0 arrow, 1 wait, 2 I-beam, 3 cross, 4 plus.
    void SetCursor(long cursor);
    /// The cursor last set (for tests and tools).
    long GetCursor() const { return m_cursor; }
    /// Returns 0.
    int CustomCursor() { return 0; }
    /// Opens `url` with the system's default handler.
    void OpenUrl(char* url);
    /// Lets the user choose files and folders with the toolkit's file chooser,
    /// titled `title`, modal over this window; several may be chosen at once.
    /// The chosen POSIX paths go into `paths`, a folder's ending in "/", as a
    /// drop gives them. The chooser opens in the folder that held the last
    /// choice (the home folder the first time). A path typed in its location
    /// field (Ctrl+L) and confirmed with Return is chosen as it is: a folder as
    /// that folder. Open with nothing selected chooses the folder shown. Returns
    /// false, with `paths` empty, when the user cancels. GUI thread.
    bool ChooseFiles(const char* title, std::vector<std::string>* paths);
    /// The parent window's object, or null.
    XWindow* GetParentWindow();
    /// The XWindow that owns a platform window, or null.
    static XWindow* GetWindowFromHandle(GtkWidget* window);
    /// The platform window (null before Create).
    GtkWidget* GetGtkWindow() { return m_hWindow; }
    /// The view (null before Create).
    GtkWidget* GetView() { return m_hGuiView; }
    /// Content size.
    long GetWidth() const { return m_cx; }
    long GetHeight() const { return m_cy; }
    /// Whether the window counts as visible.
    bool IsVisible() const { return m_bVisible; }
    /// Whether a modal loop runs for the window.
    bool IsModal() const { return m_bModal; }
    /// The result given to the last Close.
    bool GetReturn() const { return m_bReturn; }
    /// Whether the calling thread is the GUI thread. Any thread.
    static bool IsGuiThread();
    /// The active window (the one the timer ticks), or null.
    static XWindow* GetActiveWindow();
    /// Makes `window` the active window.
    static void SetActiveWindow(XWindow* window);
    /// Windows created so far.
    static int GetUseCount() { return m_useCount; }

    // ---- the GUI thread's services for worker threads ----

    /// Ends the application: the application object's Quit (exit status 0), or
    /// exit(0) when there is none. Never returns. GUI thread.
    [[noreturn]] void AppQuit();
    /// Runs fn(arg) on the GUI thread and waits until it has run: at once when
    /// called there; otherwise the call is handed to the GUI thread's main loop
    /// and the caller sleeps until it is done. Returns false without running fn
    /// once CancelGuiCalls was called (a waiting caller gives up, and its call
    /// will not run later). For worker threads that are not real-time: it
    /// allocates and blocks, so never from the audio IO thread.
    bool CallOnGuiThread(void (*fn)(void*), void* arg);
    /// Runs `task` on the GUI thread without waiting for it: at once when called
    /// there; otherwise it is queued behind the calls handed over before it (this
    /// and CallOnGuiThread keep one order) and the caller goes on. Dropped once
    /// CancelGuiCalls was called or the window is destroyed. For worker threads
    /// that must not wait for drawing; it allocates, so never from the audio IO
    /// thread.
    void PostToGuiThread(std::function<void()> task);
    /// Makes waiting and later CallOnGuiThread calls from other threads return
    /// false without running. Used when the window closes, so no worker waits for
    /// a GUI thread that has stopped serving it. Any thread.
    void CancelGuiCalls();
    /// Writes the CLOCK_MONOTONIC time in seconds ("%.6f\n") of the window's first
    /// drawn frame into `path` (null = nothing is written); for measuring start-up.
    /// Call before the window is shown. GUI thread.
    void SetFirstFrameFile(const char* path);
    /// Starts (true) or stops the frame timer that calls OnFrame while the window
    /// is visible. Starting a running timer or stopping a stopped one does nothing.
    /// GUI thread.
    void SetFrameTimer(bool on);
    /// Whether the frame timer runs.
    bool HasFrameTimer() const { return m_frameTimer != 0; }

    // ---- platform event entry points (the view's and window's handlers) ----

    /// The view's size changed to (width, height).
    void ResizeWindow(int width, int height);
    /// The library key code of a platform key value: Return and keypad Enter
    /// 'kEnt', BackSpace 'kBck', Delete 'kDel', Escape 'kEsc', the arrows 'kArU'
    /// 'kArD' 'kArL' 'kArR', Tab 'kTab', otherwise the key's Unicode character
    /// (0 for keys without one). Any thread.
    static long TranslateKey(unsigned keyval);
    /// The library modifiers of a platform modifier state: shift 1, control 2,
    /// Super/Meta 4. Any thread.
    static long TranslateModifiers(unsigned state);

  protected:
    void DragOverlayOpen() override;
    void DragOverlayDraw() override;
    void DragOverlayClose() override;
    void DragCursor(long cursor) override { SetCursor(cursor); }
    int ContentHeight() override { return static_cast<int>(m_cy); }
    XRect ControlArea() override {
        return XRect(0, 0, static_cast<int>(m_cx) - 1, static_cast<int>(m_cy) - 1);
    }

    XDrawLib m_drawlib;
    std::atomic<bool> m_bDrawInProcess;  // GUI thread writes; Update reads from any thread
    GtkWidget* m_hMacMenu;               // the menu bar
    XMsgQueue m_eventQueue;
    bool m_bModalReturn;
    GtkWidget* m_hWindow;
    GtkWidget* m_hParent;
    XPos* m_xpos;
    long m_cx, m_cy;
    long m_xLeft, m_yTop;
    int m_idx, m_idy;
    XControl* m_pControlDrag;
    StdMenu* m_pMenuBar;
    StdToolBar* m_pToolBar;
    int m_minCx, m_minCy, m_maxCx, m_maxCy;
    bool m_bVisible, m_bModal, m_bReturn;
    GtkWidget* m_hGuiView;

    static int m_useCount;
    static std::atomic<bool> m_bGuiThreadSet;
    static pthread_t m_gui_thread;

  private:
    /// Removes the calls this window posted that have not run yet.
    void DropPostedCalls();
    friend struct XWindowPlatform;
    GtkWidget* m_hAppMenu = nullptr;     // the application menu inside the menu bar
    GtkWidget* m_hToolStrip = nullptr;   // the toolbar widget
    GtkWidget* m_hBox = nullptr;         // menu bar, toolbar, view from top to bottom
    GSource* m_hSource = nullptr;        // drains m_eventQueue on the GUI thread
    std::atomic<bool> m_bWakeup{false};  // set by posting threads, cleared by the drain
    bool m_bDropEnabled = false;
    bool m_bDragInside = false;     // a system drag is over the view
    bool m_bDoublePending = false;  // a second press was taken as a double click
    int m_xDrag = 0, m_yDrag = 0;   // its last position
    int m_toolCy = 0;
    long m_cursor = 0;
    double m_wheelX = 0, m_wheelY = 0;              // unused fractions of smooth scrolling
    std::atomic<bool> m_bGuiCallsCancelled{false};  // set by CancelGuiCalls
    char* m_firstFrameFile = nullptr;               // owned; null once written
    unsigned m_frameTimer = 0;                      // the frame timer's source id, 0 = none
    std::string m_chooserFolder;                    // where ChooseFiles opens next ("" = home)
    bool m_bPressForDrag = false;    // button 1 is down and has not yet moved past the threshold
    int m_xPress = 0, m_yPress = 0;  // where it went down
    std::string m_dragOutPath;       // the file a drag out of the window carries ("" = none)
};
