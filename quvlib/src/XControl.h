// The base of every control of the GUI library.
#pragma once

#include "OpaqueDragRef.h"
#include "XColor.h"
#include "XModule.h"
#include "XMouseEvent.h"
#include "XNode.h"
#include "XPic.h"
#include "XRect.h"

class XClass;
class XDrawLib;
class XWindow;
class XWindowBase;

class XControl;

/// Called when a control's integer value changes; returning 1 skips OnValueChanged.
typedef int (*XCallbackInt)(int value, XControl* control);
/// Called when a control's float value changes; returning 1 skips OnValueChanged.
typedef int (*XCallbackFlt)(float value, XControl* control);
/// A control's text size in pixels (0 = the selected font's own size).
typedef int QuvFont;

/// A control: a rectangle in window coordinates inside a tree of controls owned by
/// one window. It holds geometry, visibility, enabled state, colours, label,
/// tooltip, value (integer and float, range and step) and command id, and turns
/// the window's routed calls into calls of its virtual On... hooks, which the
/// concrete controls override. Every control has two value output ports,
/// FourCC("ival") (integer) and FourCC("fval") (float), on which value changes are
/// transmitted. All operations: GUI thread only.
///
/// The window operations a control calls (XControlHost, implemented by the
/// window that owns it, reached through XNode::m_pHost; with no window each call is
/// skipped):
///   DrawControl(XControl*) -> bool   Redraw, Update without a drawing library
///   ControlCommand(id, wParam, lParam) NotifyHierarchy at the top of the tree
///   SetFocus(XControl*)              MouseDown, Trigger, Command
///   GetFocus()                       HasFocus
///   XDragStart(source, x, y, rc, label, wParam, lParam)   XDragStart
///   GetOffsetY()                     ShowToolTip
///   LocalToScreen(int&, int&)        ShowToolTip, GetScreenRect
///   GetDrawLib()                     DrawRubberBand
///   ShowToolTip(x, y, text, flag, picture)  ShowToolTip (the window's m_tooltip)
///
/// Placement and attach modes
/// --------------------------
/// SetWindowRect takes the rectangle as a layout table gives it, XRect(left, top,
/// right, bottom), relative to the parent: the window's control area for a
/// top-level control, the parent control's rectangle for a child. Numbers count
/// from the parent's edges as follows (pr, pb = the parent's right and bottom
/// pixel, inclusive; pl, pt = its left and top):
///   left  >= 0: pl + left      left  < 0: pr + left
///   top   >= 0: pt + top       top   < 0: pb + top
///   right >  0: pl + right     right <= 0: pr + right
///   bottom > 0: pt + bottom    bottom <= 0: pb + bottom
/// So (0, 35, 0, 0) is a panel from y 35 down to the parent's bottom, full width,
/// and (-45, 5, -5, 22) a button whose right edge is 5 pixels in from the parent's
/// right edge and whose left edge 40 pixels left of that. The request is resolved
/// when the control is placed in its parent: XControl::AddControl does it for
/// children; the window's AddControl calls PlaceIn(XRect(0, 0, cx - 1, cy - 1))
/// with its control area. Calling SetWindowRect on a placed control resolves at
/// once against the parent's current rectangle. Before placement m_rcControl holds
/// the numbers as given.
///
/// AttachTo(left, top, right, bottom) says which parent edges the control's edges
/// follow when the parent grows or shrinks by (dx, dy) (Resize):
///   - the right edge moves by dx when attached right; the bottom by dy when
///     attached bottom;
///   - the left edge moves by dx when not attached left but attached right (the
///     control keeps its width and follows the right edge); the top likewise by dy
///     when not attached top but attached bottom;
///   - an edge pair attached on neither side stays where it is.
/// AttachTo(1, 1, 1, 1) stretches with the parent (the playlist), AttachTo(1, 0, 0,
/// 1) keeps its size and follows the bottom (the panels below it). The default is
/// (1, 1, 0, 0): fixed to the top-left. After moving, the control's children move
/// with its top-left and are resized by its own change of width and height, then
/// OnResize is called.
class XControl : public XNode, public XModule {
  public:
    void* m_user_data = nullptr;  // free for the application
    XRect m_rcControl;            // rectangle in window coordinates; all hit tests use it
    XRect m_rcClip;               // clip: m_rcControl within every ancestor's rectangle
    long m_attach_left = 1, m_attach_top = 1, m_attach_right = 0, m_attach_bottom = 0;
    long m_command = -1;         // command id sent when the control fires; -1 = none
    long m_groupId = 0;          // group for GroupShow / GroupEnable
    bool m_bRubberband = false;  // a press starts a rubber band instead of a click
    bool m_bTracking = false, m_bOffscreen = false, m_bTransparent = false, m_b3D = false;
    bool m_bDirty = false;      // needs drawing at the next update
    bool m_bRedrawing = false;  // guard against re-entrant drawing
    bool m_bMouseDown = false;  // a press is in progress
    bool m_bVisible = true, m_bEnabled = true;
    XRect m_rcRubber;           // the rubber band, control-local
    void* m_hRubber = nullptr;  // overlay of the rubber band (the band is drawn in place: unused)
    XControl* m_pParent = nullptr;
    XControl* m_pNext = nullptr;
    XControl* m_pChild = nullptr;
    XControl* m_pControlDoubleClick = nullptr;  // triggered by a double click on this one
    int m_justify = 0;                          // text alignment: -1 left, 0 centre, 1 right
    char* m_label = nullptr;                    // owned label text
    long m_labelSize = 0;                       // its buffer size
    char* m_tooltip = nullptr;                  // owned tooltip text
    char* m_toolpic = nullptr;                  // owned name of the tooltip's picture
    XColor m_colorBack, m_colorGrid, m_colorFore, m_colorText, m_colorFram;
    int m_framSize = 0;   // frame width (0 = no frame)
    XPic m_backPic;       // background picture
    long m_kJixFont = 0;  // font kind (XDrawLib::SetTextFont)
    QuvFont m_kTextSize = 0;
    int m_iVal = 0, m_iMin = 0, m_iMax = 0, m_iStep = 0, m_iMicro = 0;
    XCallbackInt m_callbackInt = nullptr;
    float m_fVal = 0, m_fMin = 0, m_fMax = 0, m_fStep = 0, m_fMicro = 0;
    XCallbackFlt m_callbackFlt = nullptr;

    /// A visible, enabled control with no window, no command (-1), black text and
    /// the two output ports 'ival' and 'fval'.
    XControl();
    /// Deletes the children, the label and the tooltip texts. Does not unlink
    /// itself from a parent (Detach first when deleting a child on its own).
    ~XControl() override;

    // ---- virtual hooks (base versions do nothing and return 0) ----

    /// Moves this control and all its descendants by (dx, dy); `rcParent` is the
    /// parent's rectangle after the move.
    virtual void OffsetWithChild(long dx, long dy, XRect rcParent);
    /// Focused control's timer: 0 on every user input, the tick count from the
    /// second quiet tick on.
    virtual void OnTimer(int count);
    /// A command from a descendant; return non-zero to stop it here.
    virtual int HandleCommand(unsigned long id, long wParam, long lParam);
    virtual void OnResize();
    /// The control's own drawing, local coordinates, after the base drawing.
    virtual void OnDraw(XDrawLib* lib);
    virtual void OnAdjustLocalRect();
    virtual void OnSetFocus(bool focus);
    /// Return non-zero when the key was used.
    virtual int OnKeyDown(long key, long modifiers);
    /// Return non-zero to keep the mouse (capture) until the button goes up.
    virtual int OnMouseDown(XMouseEvent* event);
    virtual void OnMouseMove(XMouseEvent* event);
    virtual void OnMouseUp(XMouseEvent* event);
    /// Return 1 when used; anything else passes the wheel to the parent.
    virtual int OnMouseWheel(int x, int y, int dx, int dy);
    virtual void OnMouseEnter();
    virtual void OnMouseLeave();
    /// A finished rubber band (normalised, local).
    virtual void OnRubberBand(XRect* rc);
    /// Return 1 to accept a system drag at local (x, y).
    virtual int OnDrag(int x, int y);
    virtual void OnDragLeave();
    virtual void OnDrop(OpaqueDragRef* drag, int x, int y);
    virtual void OnValueChanged(int value);
    virtual void OnValueChanged(float value);
    void OnReceive(int id, int value) override;
    void OnReceive(int id, float value) override;
    /// Return non-zero when an in-window drag may drop at local (x, y).
    virtual int OnXDrag(int x, int y, long wParam, long lParam);
    virtual void OnXDrop(int x, int y, long wParam, long lParam);
    /// Asked on the third quiet timer tick at local (x, y). Return non-zero when
    /// handled; otherwise the control's own tooltip text (if any) is shown.
    virtual int OnToolTip(int x, int y);
    /// The POSIX path of the file that a drag out of the window, started by a
    /// press at local (x, y), carries to another application (a file manager, a
    /// sound editor); null when nothing is dragged out from there.
    virtual const char* OnDragOutPath(int x, int y);

    // ---- tree ----

    /// Appends `child` to the child list (later children draw on top but are
    /// hit-tested after earlier ones), makes this its parent, gives it this
    /// control's window and places its requested rectangle in this control.
    void AddControl(XControl* child);
    void SetNext(XControl* next) { m_pNext = next; }
    XControl* GetNext() const { return m_pNext; }
    XControl* GetParent() const { return m_pParent; }
    XControl* GetChild() const { return m_pChild; }
    /// Unlinks this control from its parent's child list (no-op at top level
    /// beyond clearing the links); the control is then owned by the caller.
    void Detach();

    // ---- geometry ----

    /// Sets which parent edges each edge follows (see the class comment).
    void AttachTo(long left, long top, long right, long bottom);
    /// Reads the four attach flags.
    void GetAttach(long* left, long* top, long* right, long* bottom) const;
    /// Moves this control's rectangle (not its children) by (dx, dy).
    void Offset(long dx, long dy);
    /// Moves every child (with its descendants) by (dx, dy).
    void OffsetChilds(long dx, long dy);
    /// The parent (window or control) whose rectangle is `rcParent` changed size by
    /// (dx, dy): apply the attach rules, move and resize the children, OnResize.
    void Resize(long dx, long dy, XRect rcParent);
    /// Sets the rectangle as a layout table gives it (see the class comment).
    void SetWindowRect(XRect rc);
    /// Places the requested rectangle inside `rcParent` (window coordinates).
    /// Called by the owner when the control joins it.
    void PlaceIn(XRect rcParent);
    /// (0, 0, width - 1, height - 1).
    XRect GetLocalRect() const;
    /// m_rcControl.
    XRect GetWindowRect() const { return m_rcControl; }
    /// m_rcControl in screen coordinates (through the window; as is without one).
    XRect GetScreenRect() const;
    /// Inclusive on all four edges: a control of width w answers for w + 1 columns.
    bool IsInside(int x, int y) const { return m_rcControl.IsInside(x, y); }
    /// This control or its deepest enabled, visible child at (x, y), else null.
    /// Disabled or hidden controls hide their children.
    XControl* FindControl(int x, int y);

    // ---- state ----

    /// Changes the visibility; redraws only when it changed.
    void Show(bool show = true);
    void Hide() { Show(false); }
    /// Sets the flag without drawing.
    void SetVisible(bool visible) { m_bVisible = visible; }
    bool IsVisible() const { return m_bVisible; }
    /// Changes the enabled state; redraws only when it changed.
    void Enable(bool enable = true);
    void Disable() { Enable(false); }
    bool IsEnabled() const { return m_bEnabled; }
    void SetGroup(long group) { m_groupId = group; }
    long GetGroup() const { return m_groupId; }
    /// Shows (true) or hides this control and its descendants of `group`.
    void GroupShow(long group, bool show);
    /// Enables (true) or disables this control and its descendants of `group`.
    void GroupEnable(long group, bool enable);

    // ---- appearance ----

    void SetColorBack(XColor c) { m_colorBack = c; }
    void SetColorGrid(XColor c) { m_colorGrid = c; }
    void SetColorFore(XColor c) { m_colorFore = c; }
    void SetColorText(XColor c) { m_colorText = c; }
    void SetColorFrame(XColor c) { m_colorFram = c; }
    XColor GetColorBack() const { return m_colorBack; }
    XColor GetColorGrid() const { return m_colorGrid; }
    XColor GetColorFore() const { return m_colorFore; }
    XColor GetColorText() const { return m_colorText; }
    XColor GetColorFrame() const { return m_colorFram; }
    /// Takes every colour that `scheme` sets (null: nothing). Used by InitControl.
    void SetColors(const XClass* scheme);
    /// Loads the background picture from the resources (XPic::Load). Returns
    /// whether it loaded.
    bool SetBackPic(const char* name);
    XPic* GetBackPic() { return &m_backPic; }
    void SetFont(long kind) { m_kJixFont = kind; }
    long GetFont() const { return m_kJixFont; }
    void SetTextSize(QuvFont size) { m_kTextSize = size; }
    QuvFont GetTextSize() const { return m_kTextSize; }
    void SetJustify(int justify) { m_justify = justify; }
    int GetJustify() const { return m_justify; }
    /// Copies the label (null clears it).
    void SetLabel(const char* label);
    /// The label, or null.
    const char* GetLabel() const { return m_label; }
    /// Empties the label and marks the control for drawing at the next update.
    void Clear();
    /// A transparent control draws no background.
    void SetTransparent(bool on) { m_bTransparent = on; }
    bool IsTransparent() const { return m_bTransparent; }
    /// Frame width in pixels (0 none), drawn in the frame colour.
    void SetFrame(int size) { m_framSize = size; }
    int GetFrame() const { return m_framSize; }
    /// 3D look: the background gets one raised bevel.
    void Set3D(bool on) { m_b3D = on; }
    bool Is3D() const { return m_b3D; }
    void SetRubberBand(bool on) { m_bRubberband = on; }
    bool IsRubberBand() const { return m_bRubberband; }
    void SetUserData(void* data) { m_user_data = data; }
    void* GetUserData() const { return m_user_data; }

    // ---- values ----

    void SetRangeInt(int min, int max, int step, int micro);
    /// Sets the integer value: equal value 0; with a step, a value outside
    /// [min, max] 0; snapped to the step (micro step when `micro`) when it
    /// exceeds 1; stored, dirty, callback or OnValueChanged, Redraw if still
    /// dirty, transmitted on 'fval' (GetValueFlt) and 'ival'. Returns 1.
    int SetValueInt(int value, bool micro = false);
    int GetValueInt() const { return m_iVal; }
    void SetCallbackInt(XCallbackInt callback) { m_callbackInt = callback; }
    void SetRangeFlt(float min, float max, float step, float micro);
    /// The float mirror of SetValueInt: equal value 0; with a non-zero step a value
    /// outside [min, max] 0; a step above 0 snaps with the same formula in float
    /// (without truncating the step count's fraction away from the offset); stored,
    /// dirty, callback or OnValueChanged(float), Redraw if still dirty, transmitted
    /// on 'fval' and 'ival' (the integer value as it is). Returns 1.
    int SetValueFlt(float value, bool micro = false);
    float GetValueFlt() const { return m_fVal; }
    void SetCallbackFlt(XCallbackFlt callback) { m_callbackFlt = callback; }
    /// With an integer step: SetValueInt(min + round(norm * (max - min))); else
    /// SetValueFlt(fmin + norm * (fmax - fmin)). Returns what that returns.
    int SetValueNorm(float norm, bool micro = false);
    /// (value - min) / (max - min) of the integer value when it has a step, else of
    /// the float value; 0 when the range is empty.
    float GetValueNorm() const;

    // ---- input (called by the window, window coordinates) ----

    /// Press: 0 (no capture) when disabled or hidden; else focus, local origin,
    /// rubber band (returns 1) or OnMouseDown (0 stays 0, anything else 1).
    int MouseDown(XMouseEvent* event);
    void MouseMove(XMouseEvent* event);
    void MouseUp(XMouseEvent* event);
    /// OnMouseWheel with local coordinates; unless it returns 1 the wheel goes to
    /// the parent, and past the top it is dropped. Returns 1 when a control used it.
    int MouseWheel(int x, int y, int dx, int dy);
    void MouseEnter() { OnMouseEnter(); }
    void MouseLeave() { OnMouseLeave(); }
    /// OnKeyDown; returns whether the key was used.
    bool KeyDown(long key, long modifiers) { return OnKeyDown(key, modifiers) != 0; }
    void SetFocus(bool focus) { OnSetFocus(focus); }
    /// Whether the window's focus is this control.
    bool HasFocus() const;
    /// A synthetic click at (x, y) with button 1: focus, OnMouseDown, and when that
    /// returned non-zero OnMouseUp with the same event.
    void Trigger(int x, int y);
    void SetDoubleClick(XControl* control) { m_pControlDoubleClick = control; }
    XControl* GetDoubleClick() const { return m_pControlDoubleClick; }
    /// System drag over window (x, y): 0 when disabled, else OnDrag (local).
    int Drag(int x, int y);
    void DragLeave() { OnDragLeave(); }
    /// System drop at window (x, y): OnDrop (local).
    void Drop(OpaqueDragRef* drag, int x, int y);
    /// Starts an in-window drag from local (x, y) of `rc` (local) labelled `label`.
    void XDragStart(int x, int y, XRect rc, const char* label, long wParam, long lParam = 0);
    /// The control accepting an in-window drag at window (x, y), or null: a leaf
    /// answers itself when OnXDrag accepts; a parent answers its first accepting
    /// descendant and is never a target itself.
    XControl* XDrag(int x, int y, long wParam, long lParam);
    /// OnXDrop (local).
    void XDrop(int x, int y, long wParam, long lParam);
    /// Window (x, y) on the third quiet tick: OnToolTip (local); when that returns 0
    /// and the control has a tooltip text, shows it.
    void ToolTip(int x, int y);
    /// OnDragOutPath for window (x, y) (local to the control).
    const char* DragOutPath(int x, int y);
    /// Copies the tooltip text and picture name (null clears).
    void SetToolTip(const char* text, const char* picture = nullptr);
    const char* GetToolTip() const { return m_tooltip; }
    /// Shows `text` in the window's tooltip 20 pixels below local (x, y) (screen
    /// position plus the window's GetOffsetY).
    void ShowToolTip(int x, int y, const char* text, bool flag, const char* picture);

    // ---- commands ----

    void SetCommand(long id) { m_command = id; }
    long GetCommand() const { return m_command; }
    /// Focus, then NotifyHierarchy(m_command, ...) unless m_command is -1.
    void Command(long wParam, long lParam);
    /// Offers the command to each ancestor's HandleCommand, nearest first, until one
    /// returns non-zero; when none does, the window's ControlCommand.
    void NotifyHierarchy(unsigned long id, long wParam, long lParam);
    /// A menu item `id` chosen from a menu this control opened: NotifyHierarchy(id,
    /// wParam, 0).
    void MenuSelect(unsigned long id, long wParam);

    // ---- drawing ----

    /// The control's own drawing into an open library: drawing rectangle and clip
    /// set to the control, background picture or colour (unless transparent), the
    /// 3D bevel, the frame, OnDraw, and the rubber band while one is dragged.
    /// Clears the dirty flag.
    void Draw(XDrawLib* lib);
    /// When visible: Draw, then each child's DrawWithChilds in order.
    void DrawWithChilds(XDrawLib* lib);
    /// When visible and not redrawing: the window draws it now; when it cannot
    /// (off the GUI thread) the control is marked dirty instead.
    void Redraw();
    /// When visible: a dirty control draws itself with its children (into `lib`
    /// when given, and then stops; else through the window); then the children's
    /// Update.
    void Update(XDrawLib* lib);
    void SetDirty(bool dirty = true) { m_bDirty = dirty; }
    bool IsDirty() const { return m_bDirty; }
    /// Whether the control's own drawing covers its whole rectangle: it is not
    /// transparent and fills it with an opaque back colour (a back picture may
    /// have transparent pixels). A control that is not opaque shows what lies
    /// under it.
    bool IsOpaque() const;
    /// Outlines the rubber band (local m_rcRubber, normalised) in `lib` (or in the
    /// window's library when null and it is open).
    void DrawRubberBand(XDrawLib* lib);

  private:
    static bool IsNoCommand(long id);
    void ResolveRequest();
    XRect m_rcRequest;       // the rectangle as given to SetWindowRect
    XRect m_rcParent;        // the parent's rectangle at placement / last resize
    bool m_bPlaced = false;  // PlaceIn has run
};
