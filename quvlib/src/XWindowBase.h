// The platform-free half of a window: its controls, mouse, keys, focus, timer and
// the in-window drag between controls.
#pragma once

#include <pthread.h>

#include <atomic>

#include "FourCC.h"
#include "QuvLog.h"
#include "XGui.h"
#include "XMessenger.h"
#include "XMouseEvent.h"
#include "XNode.h"
#include "XRect.h"
#include "XToolTip.h"
#include "XControlHost.h"

class XClass;
class XControl;
struct OpaqueDragRef;
class XDrawLib;

/// Library key codes made from the platform's keys.
constexpr long kKeyEnter = FourCC("kEnt");
constexpr long kKeyBack = FourCC("kBck");
constexpr long kKeyDelete = FourCC("kDel");
constexpr long kKeyEscape = FourCC("kEsc");
constexpr long kKeyUp = FourCC("kArU");
constexpr long kKeyDown = FourCC("kArD");
constexpr long kKeyLeft = FourCC("kArL");
constexpr long kKeyRight = FourCC("kArR");
constexpr long kKeyTab = FourCC("kTab");

/// The library's own message number; its wParam is 'updt', 'wrdy' or 'timr'.
constexpr unsigned long kMsgLibrary = 2007;

/// The in-window drag of a labelled rectangle between controls. Zeroed when no
/// drag is in progress; `label` non-null means a drag is in progress.
struct t_drag {
    int x = 0;  ///< last position, window coordinates
    int y = 0;
    XRect rc;               ///< the dragged rectangle, window coordinates
    char* label = nullptr;  ///< owned copy of the label
    long wParam = 0;        ///< payload handed to the target
    long lParam = 0;
    XControl* target = nullptr;  ///< control that accepted the last move
    void* hSave = nullptr;       ///< saved bitmap (never filled)
    void* hOverlay = nullptr;    ///< overlay window on which the rectangle is drawn
    int height = 0;              ///< content height
};

/// Controls, mouse and key routing, focus, the process-wide timer and the in-window
/// drag of one window. Every member runs on the GUI thread unless its comment says
/// otherwise. Positions are window content coordinates, y growing downward.
class XWindowBase : public XNode,
                    public XMessenger,
                    public XGui,
                    public QuvLog,
                    public XControlHost {
  public:
    XWindowBase();
    /// Deletes the top-level controls and the colour schemes, frees the title and
    /// stops the timer thread.
    ~XWindowBase() override;
    XWindowBase(const XWindowBase&) = delete;
    XWindowBase& operator=(const XWindowBase&) = delete;

    // ---- virtual operations (base versions do nothing and return 0) ----

    /// The window's message handle (its event queue); null in the base.
    virtual XWINDOW GetHandle() { return nullptr; }
    /// Closes the window with a result (true = accepted).
    virtual void Close(bool) {}
    /// The application-wide colour scheme named `name`, or null.
    virtual XClass* GetAppClass(char*) { return nullptr; }
    /// Called after SetTitle stored the new title.
    virtual void OnSetTitle() {}
    /// A command from a control (never 0xFFFFFFFF).
    virtual int OnCommand(unsigned long, long, long) { return 0; }
    /// A button-down on no capturing control; returns whether the window wants the
    /// following moves and the button-up.
    virtual int OnMouseDown(XMouseEvent*) { return 0; }
    /// A move while the window took the button-down.
    virtual int OnMouseMove(XMouseEvent*) { return 0; }
    /// The button-up after the window took the button-down.
    virtual int OnMouseUp(XMouseEvent*) { return 0; }
    /// A key no control used (neither Return nor Escape).
    virtual int OnKeyDown(long, long) { return 0; }
    /// A system drop on no control.
    virtual int OnDrop(OpaqueDragRef*, int, int) { return 0; }

    // ---- setup ----

    /// Sets the window type bits (see XWindow::Create).
    void SetType(int type) { m_type = type; }
    /// Stores a copy of the title (null counts as "") and calls OnSetTitle.
    void SetTitle(char* title);
    /// The title ("" before any SetTitle).
    const char* GetTitle() const { return m_title ? m_title : ""; }

    // ---- controls ----

    /// The window's colour scheme `name`, appended at the list's end when new.
    XClass* NewClass(char* name);
    /// Gives `control` the colours of the scheme `className` (the window's own
    /// first, then the application's) and ties it to this window.
    void InitControl(XControl* control, char* className);
    /// Appends `control` to the top-level list; the window then owns it.
    void AddControl(XControl* control);
    /// The topmost enabled, visible control at (x, y) (earlier controls in the list
    /// lie on top), or null.
    XControl* FindControl(int x, int y);
    /// The first top-level control, or null.
    XControl* GetFirstControl() { return m_pChild; }
    /// Offset of the control area inside the content.
    void SetOffset(int x, int y);
    int GetOffsetX() const { return m_xOffset; }
    int GetOffsetY() override { return m_yOffset; }
    /// Moves and stretches every top-level control by a content size change of
    /// (cx, cy), each after its attach modes.
    void ResizeControls(long cx, long cy);
    /// Draws every dirty control now (the window's update walk).
    void UpdateControls();
    /// Draws into `lib` what lies under `control` when it is drawn on its own:
    /// unless the control is opaque, its ancestors' own drawing (without their
    /// other children) and every control drawn before it in the window's order
    /// (with its children) that overlaps it. The caller limits the drawing to the
    /// control's rectangle (the window draws a single control into a frame of
    /// exactly that rectangle). Every control drawn keeps its dirty mark: it was
    /// only drawn in part.
    void DrawUnder(XControl* control, XDrawLib* lib);
    /// Group operations over the top-level list.
    void GroupShow(long group);
    void GroupHide(long group);
    void GroupEnable(long group);
    void GroupDisable(long group);
    /// The control Return triggers, the one Escape triggers (null = none).
    void SetDefault(XControl* control) { m_pControlDefault = control; }
    void SetCancel(XControl* control) { m_pControlCancel = control; }
    /// Moves the keyboard focus; the old focus is told it lost it.
    void SetFocus(XControl* control) override;
    XControl* GetFocus() override { return m_pControlFocus; }
    /// The control under the mouse, the captured one.
    XControl* GetControlOver() { return m_pControlOver; }
    XControl* GetControlMouse() { return m_pControlMouse; }

    // ---- input entry points ----

    /// Button-down: capture by the control under the point when its MouseDown
    /// returns exactly 1, else the window's OnMouseDown. Returns whether someone
    /// took the press. y < 0 (title bar) returns false.
    bool MouseDown(int x, int y, int button, bool shift, bool control);
    /// Pointer moved; `modifiers` bit 0 shift, bit 1 control. The same point twice
    /// counts once.
    void MouseMove(int x, int y, int modifiers);
    /// Button released.
    void MouseUp(int x, int y, int button);
    /// Second click: triggers the double-click control of the captured (or hit)
    /// control; returns whether one was triggered.
    bool MouseDoubleClick(int x, int y);
    /// Wheel: the control under the point gets it (and bubbles it up); none: nothing.
    void MouseWheel(int x, int y, int dx, int dy);
    /// The pointer entered the view (does nothing).
    void MouseEnter() {}
    /// The pointer left the view: no control is hovered any more.
    void MouseLeave();
    /// A library key code: the focused control first, then Return/Escape, then
    /// OnKeyDown.
    void KeyDown(long key, long modifiers);
    /// Calls OnCommand, except for id 0xFFFFFFFF, which means no command.
    void ControlCommand(unsigned long id, long wParam, long lParam) override;

    // ---- in-window drag ----

    /// Starts dragging `rc` (relative to `source`, as is (x, y)) with `label`.
    void XDragStart(XControl* source, int x, int y, XRect rc, const char* label, long wParam,
                    long lParam) override;
    /// Moves the drag to (x, y) and offers the drop to the controls.
    void XDrag(int x, int y);
    /// Ends the drag at (x, y), dropping on the accepting control if any.
    void XDrop(int x, int y);
    /// The drag in progress (zeroed when none).
    const t_drag& GetDrag() const { return m_drag; }

    // ---- drag out to other applications ----

    /// The file that a drag out of the window, started by a press at (x, y),
    /// carries: the path the topmost control there names (XControl::DragOutPath),
    /// or null.
    const char* DragOutPath(int x, int y);
    /// A drag out of the window has begun: the platform's drag takes the rest of
    /// the press, so no control or window keeps the mouse for its button-up, no
    /// control is hovered and the tooltip is hidden.
    void DragOutBegun();

    // ---- timer ----

    /// Starts the process-wide timer thread when none runs.
    static void TimerStart();
    /// Cancels the timer thread, if any.
    static void TimerStop();
    /// Input happened: count 0, the focused control's timer gets 0, tooltip hidden.
    void TimerReset();
    /// One 500 ms tick: focused control blink from the second tick, the hovered
    /// control's tooltip on exactly the third.
    void TimerTick();
    /// Ticks since the last input.
    int GetTimerCount() const { return m_timer_count; }
    /// The window the timer thread ticks (any thread may read it).
    static XWindowBase* GetActiveWindowBase() {
        return m_pActiveWindow.load(std::memory_order_acquire);
    }
    /// The event queue of the active window (timer thread).
    static XMsgQueue* ActiveQueue() { return m_pActiveQueue.load(std::memory_order_acquire); }
    /// Makes `window` the one the timer ticks (null = none).
    static void SetActiveWindowBase(XWindowBase* window);
    /// The window's tooltip.
    XToolTip* GetToolTip() { return &m_tooltip; }
    /// Shows the window's tooltip at screen (x, y).
    void ShowToolTip(int x, int y, const char* text, bool flag, const char* picture) override;

  protected:
    // Platform work the in-window drag needs, done by the platform window class.
    virtual void DragOverlayOpen() {}
    virtual void DragOverlayDraw() {}
    virtual void DragOverlayClose() {}
    virtual void DragCursor(long) {}
    virtual int ContentHeight() { return 0; }
    /// The control area, (0, 0, width - 1, height - 1) of the content.
    virtual XRect ControlArea() { return XRect(); }

    std::atomic<bool> m_bUpdate;  // an 'updt' message is pending: set by any thread
                                  // that posts one, cleared on the GUI thread
    int m_type;
    char* m_title;
    XClass* m_pFirstClass;
    XControl* m_pChild;
    int m_view_count;
    int m_xOffset, m_yOffset;
    XMouseEvent m_mouse;
    XControl* m_pControlMouse;
    XControl* m_pControlOver;
    XControl* m_pControlFocus;
    XControl* m_pControlDefault;
    XControl* m_pControlCancel;
    int m_xMouse, m_yMouse;
    int m_timer_count;
    XToolTip m_tooltip;
    bool m_bWindowWantMouse;
    t_drag m_drag;

    static pthread_t m_hTimer;
    static std::atomic<bool> m_bTimerRunning;
    static std::atomic<XWindowBase*> m_pActiveWindow;
    static std::atomic<XMsgQueue*>
        m_pActiveQueue;  // written by the GUI thread, read by the timer thread
};
