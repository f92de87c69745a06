#include "XWindowBase.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

#include <pthread.h>
#include <time.h>

#include <cstdlib>
#include <cstring>

#include "XClass.h"
#include "XControl.h"
#include "XWindowStd.h"

pthread_t XWindowBase::m_hTimer{};
std::atomic<bool> XWindowBase::m_bTimerRunning{false};
std::atomic<XWindowBase*> XWindowBase::m_pActiveWindow{nullptr};
std::atomic<XMsgQueue*> XWindowBase::m_pActiveQueue{nullptr};

namespace {

bool Overlaps(const XRect& a, const XRect& b) {
    return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

bool IsAncestorOf(const XControl* up, const XControl* control) {
    for (const XControl* c = control->GetParent(); c; c = c->GetParent())
        if (c == up) return true;
    return false;
}

// Draws `control` (with its children when asked) as a backdrop: each keeps its
// dirty mark, since it is drawn only where another control lies over it.
void DrawBackdrop(XControl* control, XDrawLib* lib, bool children) {
    if (!control->IsVisible()) return;
    bool dirty = control->IsDirty();
    control->Draw(lib);
    control->SetDirty(dirty);
    if (children)
        for (XControl* c = control->GetChild(); c; c = c->GetNext()) DrawBackdrop(c, lib, true);
}

// Draws what lies under `target` among `first` and the siblings after it, in the
// order the window draws them. Returns true once the target's place is reached.
bool DrawUnderAmong(XControl* first, XControl* target, XDrawLib* lib) {
    for (XControl* c = first; c; c = c->GetNext()) {
        if (c == target) return true;
        if (!c->IsVisible()) continue;
        if (IsAncestorOf(c, target)) {
            DrawBackdrop(c, lib, false);
            return DrawUnderAmong(c->GetChild(), target, lib);
        }
        if (Overlaps(c->GetWindowRect(), target->GetWindowRect())) DrawBackdrop(c, lib, true);
    }
    return false;
}

char* CopyText(const char* text) {
    if (!text) text = "";
    size_t n = strlen(text) + 1;
    char* copy = static_cast<char*>(malloc(n));
    if (copy) memcpy(copy, text, n);
    return copy;
}

}  // namespace

XWindowBase::XWindowBase()
    : m_bUpdate(false),
      m_type(0),
      m_title(nullptr),
      m_pFirstClass(nullptr),
      m_pChild(nullptr),
      m_view_count(0),
      m_xOffset(0),
      m_yOffset(0),
      m_pControlMouse(nullptr),
      m_pControlOver(nullptr),
      m_pControlFocus(nullptr),
      m_pControlDefault(nullptr),
      m_pControlCancel(nullptr),
      m_xMouse(0),
      m_yMouse(0),
      m_timer_count(0),
      m_bWindowWantMouse(false) {
    m_drag = t_drag();
}

XWindowBase::~XWindowBase() {
    TimerStop();
    if (m_pActiveWindow.load(std::memory_order_acquire) == this) SetActiveWindowBase(nullptr);
    XControl* control = m_pChild;
    m_pChild = nullptr;
    while (control) {
        XControl* next = control->GetNext();
        delete control;
        control = next;
    }
    XClass* cls = m_pFirstClass;
    m_pFirstClass = nullptr;
    while (cls) {
        XClass* next = cls->GetNext();
        delete cls;
        cls = next;
    }
    free(m_title);
    free(m_drag.label);
}

void XWindowBase::SetTitle(char* title) {
    char* copy = CopyText(title);
    free(m_title);
    m_title = copy;
    OnSetTitle();
}

// ---- controls ----

XClass* XWindowBase::NewClass(char* name) {
    XClass* last = nullptr;
    for (XClass* cls = m_pFirstClass; cls; cls = cls->GetNext()) {
        if (cls->HasName(name)) return cls;
        last = cls;
    }
    XClass* cls = new XClass(name);
    if (last)
        last->SetNext(cls);
    else
        m_pFirstClass = cls;
    return cls;
}

void XWindowBase::InitControl(XControl* control, char* className) {
    if (!control) return;
    XClass* scheme = nullptr;
    for (XClass* cls = m_pFirstClass; cls && className; cls = cls->GetNext())
        if (cls->HasName(className)) {
            scheme = cls;
            break;
        }
    if (!scheme && className) scheme = GetAppClass(className);
    if (scheme) control->SetColors(scheme);
    if (XWindow* window = dynamic_cast<XWindow*>(this))
        control->SetWindow(window);
    else
        control->SetWindow(static_cast<XControlHost*>(this));
}

void XWindowBase::AddControl(XControl* control) {
    if (!control) return;
    if (!control->GetHost()) {
        if (XWindow* window = dynamic_cast<XWindow*>(this))
            control->SetWindow(window);
        else
            control->SetWindow(static_cast<XControlHost*>(this));
    }
    control->SetNext(nullptr);
    // The control's rectangle is resolved against the control area it joins.
    control->PlaceIn(ControlArea());
    if (!m_pChild) {
        m_pChild = control;
        return;
    }
    XControl* last = m_pChild;
    while (last->GetNext()) last = last->GetNext();
    last->SetNext(control);
}

XControl* XWindowBase::FindControl(int x, int y) {
    for (XControl* control = m_pChild; control; control = control->GetNext()) {
        XControl* hit = control->FindControl(x, y);
        if (hit) return hit;
    }
    return nullptr;
}

void XWindowBase::SetOffset(int x, int y) {
    m_xOffset = x;
    m_yOffset = y;
}

void XWindowBase::ResizeControls(long cx, long cy) {
    XRect area = ControlArea();
    area.right += static_cast<int>(cx);
    area.bottom += static_cast<int>(cy);
    for (XControl* control = m_pChild; control; control = control->GetNext())
        control->Resize(cx, cy, area);
}

void XWindowBase::UpdateControls() {
    for (XControl* control = m_pChild; control; control = control->GetNext())
        control->Update(nullptr);
}

void XWindowBase::DrawUnder(XControl* control, XDrawLib* lib) {
    if (!control || !lib || control->IsOpaque()) return;
    DrawUnderAmong(m_pChild, control, lib);
}

void XWindowBase::GroupShow(long group) {
    for (XControl* control = m_pChild; control; control = control->GetNext())
        control->GroupShow(group, 1);
}

void XWindowBase::GroupHide(long group) {
    for (XControl* control = m_pChild; control; control = control->GetNext())
        control->GroupShow(group, 0);
}

void XWindowBase::GroupEnable(long group) {
    for (XControl* control = m_pChild; control; control = control->GetNext())
        control->GroupEnable(group, 1);
}

void XWindowBase::GroupDisable(long group) {
    for (XControl* control = m_pChild; control; control = control->GetNext())
        control->GroupEnable(group, 0);
}

void XWindowBase::SetFocus(XControl* control) {
    if (control != m_pControlFocus && m_pControlFocus) m_pControlFocus->SetFocus(false);
    m_pControlFocus = control;
}

// ---- mouse ----

bool XWindowBase::MouseDown(int x, int y, int button, bool shift, bool control) {
    TimerReset();
    if (y < 0) return false;
    m_mouse.Reset();
    m_mouse.SetClick(x, y, button);
    m_mouse.SetShiftKey(shift);
    m_mouse.SetControlKey(control);
    m_pControlMouse = FindControl(x, y);
    if (m_pControlMouse) {
        // Only an answer of exactly 1 keeps the capture.
        if (m_pControlMouse->MouseDown(&m_mouse) != 1) m_pControlMouse = nullptr;
    }
    if (m_pControlMouse) return true;
    m_mouse.SetLocal(0, 0);
    m_bWindowWantMouse = OnMouseDown(&m_mouse) != 0;
    return m_bWindowWantMouse;
}

void XWindowBase::MouseMove(int x, int y, int modifiers) {
    if (x == m_xMouse && y == m_yMouse) return;  // the same point twice is one move
    m_xMouse = x;
    m_yMouse = y;
    TimerReset();
    if (m_drag.label) {
        XDrag(x, y);
        return;
    }
    m_mouse.SetMouse(x, y);
    m_mouse.SetShiftKey((modifiers & 1) != 0);
    m_mouse.SetControlKey((modifiers & 2) != 0);
    if (m_pControlMouse) {
        m_pControlMouse->MouseMove(&m_mouse);
        return;
    }
    if (m_pControlOver) {
        XControl* over =
            m_pControlOver->IsInside(x, y) ? m_pControlOver->FindControl(x, y) : nullptr;
        if (over != m_pControlOver) {
            m_pControlOver->MouseLeave();
            m_pControlOver = over;
            if (over) over->MouseEnter();
        }
    }
    if (!m_pControlOver) {
        m_pControlOver = FindControl(x, y);
        if (m_pControlOver) m_pControlOver->MouseEnter();
    }
    if (m_bWindowWantMouse) OnMouseMove(&m_mouse);
}

void XWindowBase::MouseUp(int x, int y, int /*button*/) {
    if (m_drag.label) {
        XDrop(x, y);
        return;
    }
    m_mouse.SetMouse(x, y);
    if (m_pControlMouse) {
        XControl* captured = m_pControlMouse;
        m_pControlMouse = nullptr;
        captured->MouseUp(&m_mouse);
    } else {
        if (m_bWindowWantMouse) OnMouseUp(&m_mouse);
        m_bWindowWantMouse = false;
    }
}

bool XWindowBase::MouseDoubleClick(int x, int y) {
    XControl* control = m_pControlMouse;
    if (!control) {
        control = FindControl(x, y);
        m_pControlMouse = control;
    }
    if (!control) return false;
    XControl* target = control->GetDoubleClick();
    if (!target) return false;
    target->Trigger(1, 1);
    return true;
}

void XWindowBase::MouseWheel(int x, int y, int dx, int dy) {
    XControl* control = FindControl(x, y);
    if (control) control->MouseWheel(x, y, dx, dy);
}

void XWindowBase::MouseLeave() {
    m_pControlOver = nullptr;
}

// ---- keys and commands ----

void XWindowBase::KeyDown(long key, long modifiers) {
    TimerReset();
    if (m_pControlFocus && m_pControlFocus->KeyDown(key, modifiers)) return;
    if (key == kKeyEnter) {
        if (m_pControlDefault)
            m_pControlDefault->Trigger(0, 0);
        else
            Close(true);
    } else if (key == kKeyEscape) {
        if (m_pControlCancel)
            m_pControlCancel->Trigger(0, 0);
        else
            Close(false);
    } else {
        OnKeyDown(key, modifiers);
    }
}

void XWindowBase::ControlCommand(unsigned long id, long wParam, long lParam) {
    // 0xFFFFFFFF deliberately means "no command".
    if (static_cast<uint32_t>(id) == 0xFFFFFFFFu) return;
    OnCommand(id, wParam, lParam);
}

// ---- in-window drag ----

void XWindowBase::XDragStart(XControl* source, int x, int y, XRect rc, const char* label,
                             long wParam, long lParam) {
    if (!source) return;
    if (m_drag.label) XDrop(m_drag.x, m_drag.y);
    XRect src = source->GetWindowRect();
    m_drag.x = src.left + x;
    m_drag.y = src.top + y;
    rc.Offset(src.left, src.top);
    m_drag.rc = rc;
    m_drag.label = CopyText(label);
    m_drag.wParam = wParam;
    m_drag.lParam = lParam;
    m_drag.target = nullptr;
    m_drag.height = ContentHeight();
    DragOverlayOpen();
}

void XWindowBase::XDrag(int x, int y) {
    if (!m_drag.label) return;
    m_drag.rc.Offset(x - m_drag.x, y - m_drag.y);
    m_drag.x = x;
    m_drag.y = y;
    DragOverlayDraw();
    XControl* target = nullptr;
    for (XControl* control = m_pChild; control && !target; control = control->GetNext())
        target = control->XDrag(x, y, m_drag.wParam, m_drag.lParam);
    if (target && !m_drag.target) DragCursor(4);
    if (!target && m_drag.target) DragCursor(0);
    m_drag.target = target;
}

void XWindowBase::XDrop(int x, int y) {
    DragOverlayClose();
    if (m_drag.target) {
        DragCursor(0);
        m_drag.target->XDrop(x, y, m_drag.wParam, m_drag.lParam);
    }
    free(m_drag.label);
    m_drag = t_drag();
}

// ---- drag out to other applications ----

const char* XWindowBase::DragOutPath(int x, int y) {
    XControl* control = FindControl(x, y);
    return control ? control->DragOutPath(x, y) : nullptr;
}

void XWindowBase::DragOutBegun() {
    m_pControlMouse = nullptr;
    m_bWindowWantMouse = false;
    // The window hears no moves while the drag runs: nothing is hovered, and no
    // tooltip may show up under the dragged file.
    m_pControlOver = nullptr;
    TimerReset();
}

// ---- timer ----

namespace {

// The timer thread sleeps on a condition variable with an absolute monotonic
// deadline, so TimerStop wakes it at once and joins it. Cancelling the thread
// instead would unwind it from inside the wait, which the sanitizer runtimes do
// not survive; the timer thread is never on the audio path, so a mutex is fine.
std::mutex g_timerMutex;
std::condition_variable g_timerWake;
bool g_timerStop = false;

void* QuvTimerProc(void*) {
    std::unique_lock<std::mutex> lock(g_timerMutex);
    for (;;) {
        // Wait until 500 ms after the current up-time (absolute deadline).
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
        if (g_timerWake.wait_until(lock, deadline, [] { return g_timerStop; })) break;
        XMsgQueue* queue = XWindowBase::ActiveQueue();
        if (queue) queue->Post(kMsgLibrary, static_cast<long>(FourCC("timr")), 0);
    }
    return nullptr;
}

}  // namespace

void XWindowBase::TimerStart() {
    if (m_bTimerRunning.load(std::memory_order_acquire)) return;
    {
        std::lock_guard<std::mutex> lock(g_timerMutex);
        g_timerStop = false;
    }
    if (pthread_create(&m_hTimer, nullptr, QuvTimerProc, nullptr) == 0)
        m_bTimerRunning.store(true, std::memory_order_release);
}

void XWindowBase::TimerStop() {
    if (!m_bTimerRunning.load(std::memory_order_acquire)) return;
    {
        std::lock_guard<std::mutex> lock(g_timerMutex);
        g_timerStop = true;
    }
    g_timerWake.notify_all();
    // Joined, so that no tick is still being posted once a window goes.
    pthread_join(m_hTimer, nullptr);
    m_bTimerRunning.store(false, std::memory_order_release);
}

void XWindowBase::SetActiveWindowBase(XWindowBase* window) {
    m_pActiveWindow.store(window, std::memory_order_release);
    m_pActiveQueue.store(window ? window->GetHandle() : nullptr, std::memory_order_release);
}

void XWindowBase::TimerReset() {
    m_timer_count = 0;
    if (m_pControlFocus) m_pControlFocus->OnTimer(0);
    m_tooltip.Hide();
}

void XWindowBase::TimerTick() {
    ++m_timer_count;
    if (m_pControlFocus && m_timer_count > 1) m_pControlFocus->OnTimer(m_timer_count);
    if (m_pControlOver && m_timer_count == 3)
        m_pControlOver->ToolTip(m_xMouse, m_yMouse - m_yOffset);
}

void XWindowBase::ShowToolTip(int x, int y, const char* text, bool flag, const char* picture) {
    m_tooltip.Show(dynamic_cast<XWindow*>(this), x, y, text, flag, picture);
}
