#include "XControl.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#include "FourCC.h"
#include "XClass.h"
#include "XDrawLib.h"

namespace {
char* CopyText(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    char* copy = new char[n];
    std::memcpy(copy, text, n);
    return copy;
}

XRect Intersect(XRect a, XRect b) {
    XRect r;
    r.left = a.left > b.left ? a.left : b.left;
    r.top = a.top > b.top ? a.top : b.top;
    r.right = a.right < b.right ? a.right : b.right;
    r.bottom = a.bottom < b.bottom ? a.bottom : b.bottom;
    return r;
}

// A float as an int: values beyond int's range are clamped, NaN gives `fallback`.
int ToInt(float v, int fallback) {
    if (std::isnan(v)) return fallback;
    if (v >= 2147483648.0f) return 2147483647;
    if (v <= -2147483648.0f) return -2147483647 - 1;
    return static_cast<int>(v);
}

const int kPortInt = static_cast<int>(FourCC("ival"));
const int kPortFlt = static_cast<int>(FourCC("fval"));
}  // namespace

XControl::XControl() {
    m_colorText = XColor(0, 0, 0, 255);
    AddOutputInt(kPortInt);
    AddOutputFlt(kPortFlt);
}

XControl::~XControl() {
    XControl* child = m_pChild;
    while (child) {
        XControl* next = child->m_pNext;
        delete child;
        child = next;
    }
    delete[] m_label;
    delete[] m_tooltip;
    delete[] m_toolpic;
}

// ---- hooks ----

void XControl::OffsetWithChild(long dx, long dy, XRect rcParent) {
    Offset(dx, dy);
    m_rcParent = rcParent;
    m_rcClip = m_pParent ? Intersect(m_rcControl, m_pParent->m_rcClip) : m_rcControl;
    for (XControl* c = m_pChild; c; c = c->m_pNext) c->OffsetWithChild(dx, dy, m_rcControl);
}
void XControl::OnTimer(int) {}
int XControl::HandleCommand(unsigned long, long, long) {
    return 0;
}
void XControl::OnResize() {}
void XControl::OnDraw(XDrawLib*) {}
void XControl::OnAdjustLocalRect() {}
void XControl::OnSetFocus(bool) {}
int XControl::OnKeyDown(long, long) {
    return 0;
}
int XControl::OnMouseDown(XMouseEvent*) {
    return 0;
}
void XControl::OnMouseMove(XMouseEvent*) {}
void XControl::OnMouseUp(XMouseEvent*) {}
int XControl::OnMouseWheel(int, int, int, int) {
    return 0;
}
void XControl::OnMouseEnter() {}
void XControl::OnMouseLeave() {}
void XControl::OnRubberBand(XRect*) {}
int XControl::OnDrag(int, int) {
    return 0;
}
void XControl::OnDragLeave() {}
void XControl::OnDrop(OpaqueDragRef*, int, int) {}
void XControl::OnValueChanged(int) {}
void XControl::OnValueChanged(float) {}
void XControl::OnReceive(int, int) {}
void XControl::OnReceive(int, float) {}
int XControl::OnXDrag(int, int, long, long) {
    return 0;
}
void XControl::OnXDrop(int, int, long, long) {}
int XControl::OnToolTip(int, int) {
    return 0;
}
const char* XControl::OnDragOutPath(int, int) {
    return nullptr;
}

// ---- tree ----

void XControl::AddControl(XControl* child) {
    if (!child) return;
    child->m_pParent = this;
    child->m_pNext = nullptr;
    child->SetControl(this);
    child->SetWindowOf(*this);
    XControl** tail = &m_pChild;
    while (*tail) tail = &(*tail)->m_pNext;
    *tail = child;
    child->PlaceIn(m_rcControl);
}

void XControl::Detach() {
    if (m_pParent) {
        XControl** link = &m_pParent->m_pChild;
        while (*link && *link != this) link = &(*link)->m_pNext;
        if (*link) *link = m_pNext;
    }
    m_pParent = nullptr;
    m_pNext = nullptr;
    SetControl(nullptr);
}

// ---- geometry ----

void XControl::AttachTo(long left, long top, long right, long bottom) {
    m_attach_left = left;
    m_attach_top = top;
    m_attach_right = right;
    m_attach_bottom = bottom;
}

void XControl::GetAttach(long* left, long* top, long* right, long* bottom) const {
    if (left) *left = m_attach_left;
    if (top) *top = m_attach_top;
    if (right) *right = m_attach_right;
    if (bottom) *bottom = m_attach_bottom;
}

void XControl::Offset(long dx, long dy) {
    m_rcControl.Offset(static_cast<int>(dx), static_cast<int>(dy));
    m_rcClip.Offset(static_cast<int>(dx), static_cast<int>(dy));
}

void XControl::OffsetChilds(long dx, long dy) {
    for (XControl* c = m_pChild; c; c = c->m_pNext) c->OffsetWithChild(dx, dy, m_rcControl);
}

void XControl::Resize(long dx, long dy, XRect rcParent) {
    XRect old = m_rcControl;
    XRect& rc = m_rcControl;
    if (m_attach_right) rc.right += static_cast<int>(dx);
    if (!m_attach_left && m_attach_right) rc.left += static_cast<int>(dx);
    if (m_attach_bottom) rc.bottom += static_cast<int>(dy);
    if (!m_attach_top && m_attach_bottom) rc.top += static_cast<int>(dy);
    m_rcParent = rcParent;
    m_rcClip = m_pParent ? Intersect(rc, m_pParent->m_rcClip) : rc;
    long moveX = rc.left - old.left, moveY = rc.top - old.top;
    long growX = rc.Width() - old.Width(), growY = rc.Height() - old.Height();
    if (moveX || moveY) OffsetChilds(moveX, moveY);
    if (growX || growY)
        for (XControl* c = m_pChild; c; c = c->m_pNext) c->Resize(growX, growY, m_rcControl);
    OnResize();
}

void XControl::SetWindowRect(XRect rc) {
    m_rcRequest = rc;
    if (m_pParent) m_rcParent = m_pParent->m_rcControl;
    if (m_bPlaced || m_pParent)
        ResolveRequest();
    else
        m_rcControl = m_rcClip = rc;
}

void XControl::PlaceIn(XRect rcParent) {
    m_rcParent = rcParent;
    m_bPlaced = true;
    ResolveRequest();
}

void XControl::ResolveRequest() {
    const XRect& p = m_rcParent;
    const XRect& q = m_rcRequest;
    XRect rc;
    rc.left = q.left >= 0 ? p.left + q.left : p.right + q.left;
    rc.top = q.top >= 0 ? p.top + q.top : p.bottom + q.top;
    rc.right = q.right > 0 ? p.left + q.right : p.right + q.right;
    rc.bottom = q.bottom > 0 ? p.top + q.bottom : p.bottom + q.bottom;
    long dx = rc.left - m_rcControl.left, dy = rc.top - m_rcControl.top;
    m_rcControl = rc;
    m_rcClip = m_pParent ? Intersect(rc, m_pParent->m_rcClip) : rc;
    // Children placed before this control was placed move with it.
    if (dx || dy) OffsetChilds(dx, dy);
}

XRect XControl::GetLocalRect() const {
    return XRect(0, 0, m_rcControl.Width() - 1, m_rcControl.Height() - 1);
}

XRect XControl::GetScreenRect() const {
    XRect rc = m_rcControl;
    if (XControlHost* host = GetHost()) {
        int x = rc.left, y = rc.top;
        host->LocalToScreen(x, y);
        rc.Offset(x - rc.left, y - rc.top);
    }
    return rc;
}

XControl* XControl::FindControl(int x, int y) {
    if (!m_bEnabled || !m_bVisible || !IsInside(x, y)) return nullptr;
    for (XControl* c = m_pChild; c; c = c->m_pNext)
        if (XControl* hit = c->FindControl(x, y)) return hit;
    return this;
}

// ---- state ----

void XControl::Show(bool show) {
    if (m_bVisible == show) return;
    m_bVisible = show;
    Redraw();
}

void XControl::Enable(bool enable) {
    if (m_bEnabled == enable) return;
    m_bEnabled = enable;
    Redraw();
}

void XControl::GroupShow(long group, bool show) {
    if (m_groupId == group) Show(show);
    for (XControl* c = m_pChild; c; c = c->m_pNext) c->GroupShow(group, show);
}

void XControl::GroupEnable(long group, bool enable) {
    if (m_groupId == group) Enable(enable);
    for (XControl* c = m_pChild; c; c = c->m_pNext) c->GroupEnable(group, enable);
}

// ---- appearance ----

void XControl::SetColors(const XClass* scheme) {
    if (!scheme) return;
    if (const XColor* c = scheme->GetColor(XClass::kBack)) m_colorBack = *c;
    if (const XColor* c = scheme->GetColor(XClass::kGrid)) m_colorGrid = *c;
    if (const XColor* c = scheme->GetColor(XClass::kFore)) m_colorFore = *c;
    if (const XColor* c = scheme->GetColor(XClass::kFrame)) m_colorFram = *c;
    if (const XColor* c = scheme->GetColor(XClass::kText)) m_colorText = *c;
}

bool XControl::SetBackPic(const char* name) {
    return m_backPic.Load(name);
}

void XControl::SetLabel(const char* label) {
    if (label == m_label) return;
    char* copy = CopyText(label);
    delete[] m_label;
    m_label = copy;
    m_labelSize = copy ? static_cast<long>(std::strlen(copy) + 1) : 0;
}

void XControl::Clear() {
    SetLabel(nullptr);
    m_bDirty = true;
}

// ---- values ----

void XControl::SetRangeInt(int min, int max, int step, int micro) {
    m_iMin = min;
    m_iMax = max;
    m_iStep = step;
    m_iMicro = micro;
}

int XControl::SetValueInt(int value, bool micro) {
    if (value == m_iVal) return 0;
    if (m_iStep != 0 && (value < m_iMin || value > m_iMax)) return 0;
    int step = micro ? m_iMicro : m_iStep;
    if (step > 1) {
        // Deliberately kept as built: single precision and a rounding offset of half
        // of range / (range / step + 1), slightly less than half a step.
        float fmin = static_cast<float>(m_iMin);
        float range = static_cast<float>(m_iMax) - fmin;
        float fstep = static_cast<float>(step);
        float offset = (range / (range / fstep + 1.0f)) * 0.5f;
        float count = std::trunc(((static_cast<float>(value) - fmin) + offset) / fstep);
        value = ToInt(fmin + count * fstep, value);
    }
    m_iVal = value;
    m_bDirty = true;
    if (!(m_callbackInt && m_callbackInt(m_iVal, this) == 1)) OnValueChanged(m_iVal);
    if (m_bDirty) Redraw();
    Transmit(kPortFlt, GetValueFlt());
    Transmit(kPortInt, m_iVal);
    return 1;
}

void XControl::SetRangeFlt(float min, float max, float step, float micro) {
    m_fMin = min;
    m_fMax = max;
    m_fStep = step;
    m_fMicro = micro;
}

int XControl::SetValueFlt(float value, bool micro) {
    if (value == m_fVal) return 0;
    if (m_fStep != 0 && (value < m_fMin || value > m_fMax)) return 0;
    float step = micro ? m_fMicro : m_fStep;
    if (step > 0) {
        // The integer snapping formula, in float: steps may be fractions here.
        float range = m_fMax - m_fMin;
        float offset = (range / (range / step + 1.0f)) * 0.5f;
        float snapped = m_fMin + std::trunc(((value - m_fMin) + offset) / step) * step;
        if (std::isfinite(snapped)) value = snapped;
    }
    m_fVal = value;
    m_bDirty = true;
    if (!(m_callbackFlt && m_callbackFlt(m_fVal, this) == 1)) OnValueChanged(m_fVal);
    if (m_bDirty) Redraw();
    Transmit(kPortFlt, m_fVal);
    Transmit(kPortInt, m_iVal);
    return 1;
}

int XControl::SetValueNorm(float norm, bool micro) {
    if (m_iStep != 0) {
        double v =
            static_cast<double>(m_iMin) +
            std::floor(static_cast<double>(norm) * (static_cast<double>(m_iMax) - m_iMin) + 0.5);
        return SetValueInt(ToInt(static_cast<float>(v), m_iVal), micro);
    }
    return SetValueFlt(m_fMin + norm * (m_fMax - m_fMin), micro);
}

float XControl::GetValueNorm() const {
    if (m_iStep != 0) {
        if (m_iMax == m_iMin) return 0.0f;
        return static_cast<float>((static_cast<double>(m_iVal) - m_iMin) /
                                  (static_cast<double>(m_iMax) - m_iMin));
    }
    if (m_fMax == m_fMin) return 0.0f;
    return (m_fVal - m_fMin) / (m_fMax - m_fMin);
}

// ---- input ----

int XControl::MouseDown(XMouseEvent* event) {
    if (!m_bEnabled || !m_bVisible) return 0;
    if (XControlHost* host = GetHost()) host->SetFocus(this);
    event->SetLocal(m_rcControl.left, m_rcControl.top);
    if (m_bRubberband) {
        m_rcRubber = XRect(event->x_click(), event->y_click(), event->x_click(), event->y_click());
        m_bMouseDown = true;
        return 1;
    }
    m_bMouseDown = true;
    return OnMouseDown(event) == 0 ? 0 : 1;
}

void XControl::MouseMove(XMouseEvent* event) {
    if (m_bRubberband) {
        m_rcRubber.right = event->x_mouse();
        m_rcRubber.bottom = event->y_mouse();
        Redraw();
        return;
    }
    OnMouseMove(event);
}

void XControl::MouseUp(XMouseEvent* event) {
    m_bMouseDown = false;
    if (m_bRubberband) {
        Redraw();  // erases the band: it is drawn only while the button is down
        XRect& r = m_rcRubber;
        if (r.left > r.right) std::swap(r.left, r.right);
        if (r.top > r.bottom) std::swap(r.top, r.bottom);
        if (r.left == r.right && r.top == r.bottom)
            OnMouseUp(event);
        else
            OnRubberBand(&m_rcRubber);
        return;
    }
    OnMouseUp(event);
}

int XControl::MouseWheel(int x, int y, int dx, int dy) {
    for (XControl* c = this; c; c = c->m_pParent)
        if (c->OnMouseWheel(x - c->m_rcControl.left, y - c->m_rcControl.top, dx, dy) == 1) return 1;
    return 0;  // nobody up the chain used it: dropped
}

bool XControl::HasFocus() const {
    XControlHost* host = GetHost();
    return host && host->GetFocus() == this;
}

void XControl::Trigger(int x, int y) {
    if (XControlHost* host = GetHost()) host->SetFocus(this);
    XMouseEvent event;
    event.SetClick(x, y, 1);
    if (OnMouseDown(&event)) OnMouseUp(&event);
}

int XControl::Drag(int x, int y) {
    if (!m_bEnabled) return 0;
    return OnDrag(x - m_rcControl.left, y - m_rcControl.top);
}

void XControl::Drop(OpaqueDragRef* drag, int x, int y) {
    OnDrop(drag, x - m_rcControl.left, y - m_rcControl.top);
}

void XControl::XDragStart(int x, int y, XRect rc, const char* label, long wParam, long lParam) {
    if (XControlHost* host = GetHost()) host->XDragStart(this, x, y, rc, label, wParam, lParam);
}

XControl* XControl::XDrag(int x, int y, long wParam, long lParam) {
    if (!m_bEnabled || !m_bVisible || !IsInside(x, y)) return nullptr;
    if (!m_pChild)
        return OnXDrag(x - m_rcControl.left, y - m_rcControl.top, wParam, lParam) ? this : nullptr;
    // A control with children is never a drop target itself, deliberately.
    for (XControl* c = m_pChild; c; c = c->m_pNext)
        if (XControl* target = c->XDrag(x, y, wParam, lParam)) return target;
    return nullptr;
}

void XControl::XDrop(int x, int y, long wParam, long lParam) {
    OnXDrop(x - m_rcControl.left, y - m_rcControl.top, wParam, lParam);
}

void XControl::ToolTip(int x, int y) {
    int lx = x - m_rcControl.left, ly = y - m_rcControl.top;
    if (OnToolTip(lx, ly) == 0 && m_tooltip) ShowToolTip(lx, ly, m_tooltip, false, m_toolpic);
}

const char* XControl::DragOutPath(int x, int y) {
    return OnDragOutPath(x - m_rcControl.left, y - m_rcControl.top);
}

void XControl::SetToolTip(const char* text, const char* picture) {
    char* t = CopyText(text);
    char* p = CopyText(picture);
    delete[] m_tooltip;
    delete[] m_toolpic;
    m_tooltip = t;
    m_toolpic = p;
}

void XControl::ShowToolTip(int x, int y, const char* text, bool flag, const char* picture) {
    XControlHost* host = GetHost();
    if (!host) return;
    int sx = x + m_rcControl.left, sy = y + m_rcControl.top;
    host->LocalToScreen(sx, sy);
    sy += host->GetOffsetY() + 20;  // the tip shows 20 pixels below the pointer
    host->ShowToolTip(sx, sy, text, flag, picture);
}

// ---- commands ----

bool XControl::IsNoCommand(long id) {
    return static_cast<uint32_t>(id) == 0xFFFFFFFFu;
}

void XControl::Command(long wParam, long lParam) {
    if (XControlHost* host = GetHost()) host->SetFocus(this);
    if (!IsNoCommand(m_command)) NotifyHierarchy(static_cast<uint32_t>(m_command), wParam, lParam);
}

void XControl::NotifyHierarchy(unsigned long id, long wParam, long lParam) {
    for (XControl* p = m_pParent; p; p = p->m_pParent)
        if (p->HandleCommand(id, wParam, lParam)) return;
    if (XControlHost* host = GetHost()) host->ControlCommand(id, wParam, lParam);
}

void XControl::MenuSelect(unsigned long id, long wParam) {
    NotifyHierarchy(id, wParam, 0);
}

// ---- drawing ----

void XControl::Draw(XDrawLib* lib) {
    m_bDirty = false;
    if (!lib) return;
    lib->SetDrawRect(m_rcControl, m_rcClip);
    lib->SetTextFont(m_kJixFont);
    XRect local = GetLocalRect();
    if (!m_bTransparent) {
        if (m_backPic.Exist())
            lib->DrawPic(&m_backPic, 0, 0);
        else
            lib->FillSolidRect(local, m_colorBack, m_b3D ? 1 : 0);
    }
    XRect frame = local;
    for (int i = 0; i < m_framSize && !m_colorFram.IsTransparent(); ++i) {
        lib->DrawRect(frame, m_colorFram);
        frame.Expand(-1);
    }
    OnDraw(lib);
    if (m_bRubberband && m_bMouseDown) DrawRubberBand(lib);
}

bool XControl::IsOpaque() const {
    return !m_bTransparent && !m_backPic.Exist() && m_colorBack.alpha() == 255;
}

void XControl::DrawWithChilds(XDrawLib* lib) {
    if (!m_bVisible) return;
    Draw(lib);
    for (XControl* c = m_pChild; c; c = c->m_pNext) c->DrawWithChilds(lib);
}

void XControl::Redraw() {
    if (!m_bVisible || m_bRedrawing) return;
    // A hidden ancestor hides this control too: nothing may appear on screen (a
    // bar of a hidden panel must not draw over the panel shown in its place).
    for (XControl* up = m_pParent; up; up = up->m_pParent)
        if (!up->m_bVisible) {
            m_bDirty = true;
            return;
        }
    m_bRedrawing = true;
    XControlHost* host = GetHost();
    // With no window there is nothing to draw into: counts as drawn, as the
    // window's DrawControl answers.
    bool drawn = host ? host->DrawControl(this) : true;
    if (drawn)
        m_bDirty = false;
    else
        m_bDirty = true;
    m_bRedrawing = false;
}

void XControl::Update(XDrawLib* lib) {
    if (!m_bVisible) return;
    if (m_bDirty && !m_bRedrawing) {
        if (lib) {
            DrawWithChilds(lib);
            return;
        }
        XControlHost* host = GetHost();
        if (!host || host->DrawControl(this)) m_bDirty = false;
    }
    for (XControl* c = m_pChild; c; c = c->m_pNext) c->Update(lib);
}

void XControl::DrawRubberBand(XDrawLib* lib) {
    if (!lib) {
        XControlHost* host = GetHost();
        lib = host ? host->GetDrawLib() : nullptr;
        if (!lib || !lib->GetHandle()) return;
    }
    XRect r = m_rcRubber;
    if (r.left > r.right) std::swap(r.left, r.right);
    if (r.top > r.bottom) std::swap(r.top, r.bottom);
    XColor c = m_colorFore.IsTransparent() ? XColor(128, 128, 128, 255) : m_colorFore;
    lib->DrawRect(r, c);
}
