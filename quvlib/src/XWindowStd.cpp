#include "XWindowStd.h"

#include <gtk/gtk.h>
#include <pango/pangocairo.h>

#include <sys/stat.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>

#include "OpaqueDragRef.h"
#include "StdMenu.h"
#include "StdToolBar.h"
#include "XApp.h"
#include "XControl.h"

int XWindow::m_useCount = 0;
std::atomic<bool> XWindow::m_bGuiThreadSet{false};
pthread_t XWindow::m_gui_thread{};

namespace {

const char* const kWindowKey = "quvlib-xwindow";  // the window's reference value
const char* const kCursorNames[] = {"default", "wait", "text", "crosshair", "copy"};
const char* const kLabelFont = "Lucida Grande, DejaVu Sans, sans-serif";

// The source that drains a window's queue on the GUI thread: it is ready while a
// posting thread has signalled and the drain has not yet run.
struct QueueSource {
    GSource base;
    XWindow* window;
    std::atomic<bool>* wakeup;
};

gboolean QueuePrepare(GSource* source, gint* timeout) {
    *timeout = -1;
    return reinterpret_cast<QueueSource*>(source)->wakeup->load(std::memory_order_acquire);
}

gboolean QueueCheck(GSource* source) {
    return reinterpret_cast<QueueSource*>(source)->wakeup->load(std::memory_order_acquire);
}

gboolean QueueDispatch(GSource* source, GSourceFunc, gpointer) {
    QueueSource* qs = reinterpret_cast<QueueSource*>(source);
    qs->wakeup->store(false, std::memory_order_release);
    qs->window->GetEventQueue()->Drain();
    return G_SOURCE_CONTINUE;
}

GSourceFuncs kQueueFuncs = {QueuePrepare, QueueCheck, QueueDispatch, nullptr, nullptr, nullptr};

}  // namespace

// The platform's event handlers, with access to the window's fields.
struct XWindowPlatform {
    // Any thread: a post found the queue idle. Must not block (the audio IO thread
    // posts): one atomic store and the main context's wake-up.
    static void Wakeup(void* context) {
        XWindow* w = static_cast<XWindow*>(context);
        w->m_bWakeup.store(true, std::memory_order_release);
        g_main_context_wakeup(nullptr);
    }

    // GUI thread: one drained message.
    static void Receive(void* context, unsigned long msg, long wParam, long lParam) {
        XWindow* w = static_cast<XWindow*>(context);
        // The pending-update flag is cleared whether or not the message is then
        // lost to a hidden window, so that later updates can post again.
        if (msg == kMsgLibrary && static_cast<uint32_t>(wParam) == FourCC("updt"))
            w->m_bUpdate.store(false, std::memory_order_release);
        w->Message(msg, wParam, lParam);
    }

    static gboolean OnDraw(GtkWidget*, cairo_t* cr, gpointer data) {
        static_cast<XWindow*>(data)->Draw(cr);
        return FALSE;  // later handlers (an overlay, a test probe) may draw on top
    }

    static void OnSizeAllocate(GtkWidget*, GdkRectangle* rc, gpointer data) {
        static_cast<XWindow*>(data)->ResizeWindow(rc->width, rc->height);
    }

    static gboolean OnButtonPress(GtkWidget* widget, GdkEventButton* ev, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        int x = static_cast<int>(ev->x), y = static_cast<int>(ev->y);
        if (ev->type == GDK_3BUTTON_PRESS) return FALSE;
        if (ev->type == GDK_2BUTTON_PRESS) {
            // Already acted on when the second press arrived (see below).
            if (w->m_bDoublePending) {
                w->m_bDoublePending = false;
                return FALSE;
            }
            w->MouseDoubleClick(x, y);
            return FALSE;
        }
        // The platform reports the click count after the second press; a double
        // click is recognised before that press goes on, as the click count 2
        // would be: a used double click leaves the press to the platform.
        GdkEvent* next = gdk_event_peek();
        bool dbl = next && next->type == GDK_2BUTTON_PRESS && next->button.window == ev->window;
        if (next) gdk_event_free(next);
        if (dbl) {
            w->m_bDoublePending = true;
            if (w->MouseDoubleClick(x, y)) return FALSE;
        }
        int button = 1;
        if (ev->button == 3) button = 2;
        if (ev->button == 2) button = 3;
        gtk_widget_grab_focus(widget);
        // A press of the first button may become a drag out of the window once
        // the pointer has moved past the toolkit's threshold; until then it is
        // an ordinary press, delivered below.
        w->m_bPressForDrag = ev->button == 1;
        w->m_xPress = x;
        w->m_yPress = y;
        bool shift = (ev->state & GDK_SHIFT_MASK) != 0;
        bool control = (ev->state & GDK_CONTROL_MASK) != 0;
        if (!w->MouseDown(x, y, button, shift, control)) return FALSE;
        return TRUE;
    }

    static gboolean OnButtonRelease(GtkWidget*, GdkEventButton* ev, gpointer data) {
        if (ev->button == 1) static_cast<XWindow*>(data)->m_bPressForDrag = false;
        int button = ev->button == 3 ? 2 : ev->button == 2 ? 3 : 1;
        static_cast<XWindow*>(data)->MouseUp(static_cast<int>(ev->x), static_cast<int>(ev->y),
                                             button);
        return TRUE;
    }

    static gboolean OnMotion(GtkWidget* widget, GdkEventMotion* ev, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        int x = static_cast<int>(ev->x), y = static_cast<int>(ev->y);
        if (w->m_bPressForDrag && (ev->state & GDK_BUTTON1_MASK) &&
            gtk_drag_check_threshold(widget, w->m_xPress, w->m_yPress, x, y)) {
            w->m_bPressForDrag = false;
            const char* path = w->m_drag.label ? nullptr : w->DragOutPath(w->m_xPress, w->m_yPress);
            if (path && *path) {
                BeginDragOut(w, widget, path, reinterpret_cast<GdkEvent*>(ev));
                return TRUE;
            }
        }
        if (ev->state & (GDK_BUTTON1_MASK | GDK_BUTTON2_MASK | GDK_BUTTON3_MASK)) {
            int m =
                ((ev->state & GDK_SHIFT_MASK) ? 1 : 0) + ((ev->state & GDK_CONTROL_MASK) ? 2 : 0);
            w->MouseMove(x, y, m);
        } else if (w->m_hWindow && gtk_window_is_active(GTK_WINDOW(w->m_hWindow))) {
            w->MouseMove(x, y, 0);
        }
        return TRUE;
    }

    static gboolean OnScroll(GtkWidget*, GdkEventScroll* ev, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        // Positive deltas mean up and left, as the library's wheel has always had.
        int dx = 0, dy = 0;
        switch (ev->direction) {
            case GDK_SCROLL_UP:
                dy = 1;
                break;
            case GDK_SCROLL_DOWN:
                dy = -1;
                break;
            case GDK_SCROLL_LEFT:
                dx = 1;
                break;
            case GDK_SCROLL_RIGHT:
                dx = -1;
                break;
            case GDK_SCROLL_SMOOTH: {
                // Fractions (touchpads) add up until they make a whole step.
                w->m_wheelX -= ev->delta_x;
                w->m_wheelY -= ev->delta_y;
                dx = static_cast<int>(std::trunc(w->m_wheelX));
                dy = static_cast<int>(std::trunc(w->m_wheelY));
                w->m_wheelX -= dx;
                w->m_wheelY -= dy;
                break;
            }
        }
        if (dx != 0 || dy != 0)
            w->MouseWheel(static_cast<int>(ev->x), static_cast<int>(ev->y), dx, dy);
        return FALSE;
    }

    static gboolean OnKeyPress(GtkWidget*, GdkEventKey* ev, gpointer data) {
        long key = XWindow::TranslateKey(ev->keyval);
        if (key == 0) return FALSE;  // a modifier alone, or no character
        static_cast<XWindow*>(data)->KeyDown(key, XWindow::TranslateModifiers(ev->state));
        return FALSE;  // not handled: menu shortcuts still see the key
    }

    static gboolean OnEnter(GtkWidget*, GdkEventCrossing*, gpointer data) {
        static_cast<XWindow*>(data)->MouseEnter();
        return FALSE;
    }

    static gboolean OnLeave(GtkWidget*, GdkEventCrossing* ev, gpointer data) {
        if (ev->mode == GDK_CROSSING_NORMAL) static_cast<XWindow*>(data)->MouseLeave();
        return FALSE;
    }

    static gboolean OnDelete(GtkWidget*, GdkEvent*, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        w->Close(true);
        if (w->m_hWindow) gtk_widget_destroy(w->m_hWindow);
        return TRUE;
    }

    static void OnDestroy(GtkWidget*, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        w->m_hWindow = nullptr;
        w->m_hGuiView = nullptr;
        w->m_hMacMenu = nullptr;
        w->m_hAppMenu = nullptr;
        w->m_hToolStrip = nullptr;
        w->m_hBox = nullptr;
        w->m_bVisible = false;
    }

    static gboolean OnFocusIn(GtkWidget*, GdkEventFocus*, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        XWindow::SetActiveWindow(w);
        // Activation, for the application handler (which is not installed for it).
        if (XApp* app = XApp::GetApp()) {
            XAppEvent ev{FourCC("appl"), 1, 0, 0};
            app->DispatchAppEvent(ev);
        }
        return FALSE;
    }

    static void OnMenuShow(GtkWidget*, gpointer) {
        if (XApp* app = XApp::GetApp()) {
            XAppEvent ev{FourCC("menu"), 8, 0, 0};
            app->DispatchAppEvent(ev);
        }
    }

    static void OnMenuItem(GtkMenuItem* item, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        w->DispatchCommand(static_cast<unsigned long>(
            GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(item), "quvlib-command"))));
    }

    static GdkAtom UriListAtom() { return gdk_atom_intern_static_string("text/uri-list"); }

    // ---- a drag out of the window ----

    // Hands the file to the toolkit's drag as "text/uri-list", the form file
    // managers and sound editors take. Only a copy is offered: the file stays.
    static void BeginDragOut(XWindow* w, GtkWidget* view, const char* path, GdkEvent* event) {
        w->m_dragOutPath = path;
        w->DragOutBegun();
        GtkTargetList* targets = gtk_target_list_new(nullptr, 0);
        gtk_target_list_add_uri_targets(targets, 0);
        gtk_drag_begin_with_coordinates(view, targets, GDK_ACTION_COPY, 1, event, w->m_xPress,
                                        w->m_yPress);
        gtk_target_list_unref(targets);
    }

    // The drag's picture: the file's name on a small dark label, the pointer at
    // its left end.
    static void OnDragOutBegin(GtkWidget*, GdkDragContext* ctx, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        if (w->m_dragOutPath.empty()) return;
        const std::string& path = w->m_dragOutPath;
        size_t slash = path.rfind('/');
        std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
        std::string shown;
        cairo_surface_t* scratch = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
        cairo_t* measure = cairo_create(scratch);
        PangoLayout* layout = pango_cairo_create_layout(measure);
        PangoFontDescription* font = pango_font_description_from_string(kLabelFont);
        pango_font_description_set_absolute_size(font, 11 * PANGO_SCALE);
        pango_layout_set_font_description(layout, font);
        pango_layout_set_text(layout, XDrawLib::DisplayText(name.c_str(), shown), -1);
        int tw = 0, th = 0;
        pango_layout_get_pixel_size(layout, &tw, &th);
        int cx = std::min(tw, 400) + 10, cy = th + 4;
        cairo_surface_t* icon = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, cx, cy);
        cairo_t* cr = cairo_create(icon);
        cairo_set_source_rgb(cr, 38 / 255.0, 42 / 255.0, 52 / 255.0);
        cairo_paint(cr);
        cairo_set_source_rgb(cr, 110 / 255.0, 120 / 255.0, 140 / 255.0);
        cairo_set_line_width(cr, 1);
        cairo_rectangle(cr, 0.5, 0.5, cx - 1, cy - 1);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_move_to(cr, 5, 2);
        pango_cairo_update_layout(cr, layout);
        pango_cairo_show_layout(cr, layout);
        cairo_destroy(cr);
        cairo_surface_set_device_offset(icon, -2, -cy / 2);
        gtk_drag_set_icon_surface(ctx, icon);
        cairo_surface_destroy(icon);
        pango_font_description_free(font);
        g_object_unref(layout);
        cairo_destroy(measure);
        cairo_surface_destroy(scratch);
    }

    static void OnDragOutData(GtkWidget*, GdkDragContext*, GtkSelectionData* data, guint, guint,
                              gpointer user) {
        XWindow* w = static_cast<XWindow*>(user);
        if (w->m_dragOutPath.empty()) return;
        gchar* uri = g_filename_to_uri(w->m_dragOutPath.c_str(), nullptr, nullptr);
        if (!uri) return;
        gchar* uris[] = {uri, nullptr};
        gtk_selection_data_set_uris(data, uris);
        g_free(uri);
    }

    static void OnDragOutEnd(GtkWidget*, GdkDragContext*, gpointer data) {
        static_cast<XWindow*>(data)->m_dragOutPath.clear();
    }

    static gboolean OnDragMotion(GtkWidget* widget, GdkDragContext* ctx, gint x, gint y, guint time,
                                 gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        // A file dragged out of this window is not taken back by it.
        if (gtk_drag_get_source_widget(ctx) == widget) {
            gdk_drag_status(ctx, GdkDragAction(0), time);
            return TRUE;
        }
        // A target left over from a drop that ended on another widget (its leave
        // was held back for a drop that never came here) is told now.
        if (!w->m_bDragInside && w->m_pControlDrag) w->Drag(w->m_xDrag, w->m_yDrag, 2);
        int phase = w->m_bDragInside ? 1 : 0;
        w->m_bDragInside = true;
        w->m_xDrag = x;
        w->m_yDrag = y;
        w->Drag(x, y, phase);
        // The window hears every drag, but only one that carries files may drop.
        GdkDragAction action = GdkDragAction(0);
        if (gtk_drag_dest_find_target(widget, ctx, nullptr) == UriListAtom()) {
            GdkDragAction offered = gdk_drag_context_get_actions(ctx);
            action = (offered & GDK_ACTION_COPY) ? GDK_ACTION_COPY
                                                 : gdk_drag_context_get_suggested_action(ctx);
        }
        gdk_drag_status(ctx, action, time);
        return TRUE;
    }

    static void OnDragLeave(GtkWidget*, GdkDragContext*, guint, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        w->m_bDragInside = false;
        // The toolkit also sends a leave just before a drop. Passing that on would
        // take the target away from the drop, so the drop handler ends the drag.
        GdkEvent* event = gtk_get_current_event();
        bool dropping = event && event->type == GDK_DROP_START;
        if (event) gdk_event_free(event);
        if (!dropping) w->Drag(w->m_xDrag, w->m_yDrag, 2);
    }

    static gboolean OnDragDrop(GtkWidget* widget, GdkDragContext* ctx, gint, gint, guint time,
                               gpointer data) {
        if (gtk_drag_get_source_widget(ctx) == widget ||
            gtk_drag_dest_find_target(widget, ctx, nullptr) != UriListAtom()) {
            XWindow* w = static_cast<XWindow*>(data);
            w->Drag(w->m_xDrag, w->m_yDrag, 2);
            gtk_drag_finish(ctx, FALSE, FALSE, time);
            return TRUE;
        }
        gtk_drag_get_data(widget, ctx, UriListAtom(), time);
        return TRUE;
    }

    static void OnDragData(GtkWidget*, GdkDragContext* ctx, gint x, gint y, GtkSelectionData* data,
                           guint, guint time, gpointer user) {
        XWindow* w = static_cast<XWindow*>(user);
        gchar** uris = gtk_selection_data_get_uris(data);
        if (!uris) {
            // The source sent nothing usable: no drop, the drag just ends.
            w->Drag(x, y, 2);
            gtk_drag_finish(ctx, FALSE, FALSE, time);
            return;
        }
        OpaqueDragRef drag;
        for (gchar** u = uris; *u; ++u) drag.uris.push_back(*u);
        g_strfreev(uris);
        w->Drop(&drag, x, y);
        gtk_drag_finish(ctx, TRUE, FALSE, time);
    }

    // The in-window drag overlay: the rectangle's outline and its label band.
    static gboolean OnOverlayDraw(GtkWidget*, cairo_t* cr, gpointer data) {
        XWindow* w = static_cast<XWindow*>(data);
        const XRect& rc = w->m_drag.rc;
        cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_set_line_width(cr, 1);
        cairo_rectangle(cr, rc.left + 0.5, rc.top + 0.5, rc.right - rc.left, rc.bottom - rc.top);
        cairo_stroke(cr);
        if (w->m_drag.label) {
            cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);  // the text alone is smoothed
            PangoLayout* layout = pango_cairo_create_layout(cr);
            PangoFontDescription* font = pango_font_description_from_string(kLabelFont);
            pango_font_description_set_absolute_size(font, 11 * PANGO_SCALE);
            pango_layout_set_font_description(layout, font);
            std::string shown;
            pango_layout_set_text(layout, XDrawLib::DisplayText(w->m_drag.label, shown), -1);
            int baseline = pango_layout_get_baseline(layout) / PANGO_SCALE;
            cairo_move_to(cr, rc.left + 4, rc.top + 11 - baseline);
            pango_cairo_show_layout(cr, layout);
            pango_font_description_free(font);
            g_object_unref(layout);
        }
        return TRUE;
    }
};

// ---- construction ----

XWindow::XWindow()
    : m_bDrawInProcess(false),
      m_hMacMenu(nullptr),
      m_bModalReturn(false),
      m_hWindow(nullptr),
      m_hParent(nullptr),
      m_xpos(nullptr),
      m_cx(0),
      m_cy(0),
      m_xLeft(0),
      m_yTop(0),
      m_idx(0),
      m_idy(0),
      m_pControlDrag(nullptr),
      m_pMenuBar(nullptr),
      m_pToolBar(nullptr),
      m_minCx(0),
      m_minCy(0),
      m_maxCx(0),
      m_maxCy(0),
      m_bVisible(false),
      m_bModal(false),
      m_bReturn(false),
      m_hGuiView(nullptr) {
    if (!m_bGuiThreadSet.load(std::memory_order_acquire)) {
        m_gui_thread = pthread_self();
        m_bGuiThreadSet.store(true, std::memory_order_release);
    }
    m_eventQueue.SetHooks(&XWindowPlatform::Wakeup, &XWindowPlatform::Receive, this);
}

XWindow::~XWindow() {
    CancelGuiCalls();
    DropPostedCalls();  // they would reach a window that is gone
    SetFrameTimer(false);
    delete[] m_firstFrameFile;
    // No tick may be posted into the queue while it goes away.
    TimerStop();
    if (GetActiveWindowBase() == this) SetActiveWindowBase(nullptr);
    if (m_drag.hOverlay) DragOverlayClose();
    if (m_hSource) {
        g_source_destroy(m_hSource);
        g_source_unref(m_hSource);
        m_hSource = nullptr;
    }
    if (m_hWindow) {
        g_signal_handlers_disconnect_matched(m_hWindow, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr,
                                             this);
        if (m_hGuiView)
            g_signal_handlers_disconnect_matched(m_hGuiView, G_SIGNAL_MATCH_DATA, 0, 0, nullptr,
                                                 nullptr, this);
        gtk_widget_destroy(m_hWindow);
        m_hWindow = nullptr;
    }
    // The menu bar and toolbar each hold their platform widget until now.
    delete m_pMenuBar;
    m_pMenuBar = nullptr;
    m_hMacMenu = nullptr;
    delete m_pToolBar;
    m_pToolBar = nullptr;
    m_hToolStrip = nullptr;
}

bool XWindow::IsGuiThread() {
    return m_bGuiThreadSet.load(std::memory_order_acquire) &&
           pthread_equal(pthread_self(), m_gui_thread);
}

XWindow* XWindow::GetActiveWindow() {
    return dynamic_cast<XWindow*>(GetActiveWindowBase());
}

void XWindow::SetActiveWindow(XWindow* window) {
    SetActiveWindowBase(window);
}

XClass* XWindow::GetAppClass(char* name) {
    XApp* app = XApp::GetApp();
    return app ? app->GetClass(name) : nullptr;
}

void XWindow::OnSetTitle() {
    if (m_hWindow) gtk_window_set_title(GTK_WINDOW(m_hWindow), GetTitle());
}

// ---- setup ----

void XWindow::SetSize(long cx, long cy) {
    m_cx = cx;
    m_cy = cy;
    if (m_hWindow) {
        int extra = 0;
        if (m_hMacMenu) extra += gtk_widget_get_allocated_height(m_hMacMenu);
        if (m_hToolStrip) extra += gtk_widget_get_allocated_height(m_hToolStrip);
        gtk_window_resize(GTK_WINDOW(m_hWindow), static_cast<int>(cx + m_idx),
                          static_cast<int>(cy + m_idy) + extra);
    }
}

void XWindow::SetPosition(long x, long y) {
    m_xLeft = x;
    m_yTop = y;
    if (m_hWindow) gtk_window_move(GTK_WINDOW(m_hWindow), static_cast<int>(x), static_cast<int>(y));
}

void XWindow::GetPosition(long& x, long& y) {
    if (m_hWindow) {
        int wx = 0, wy = 0;
        gtk_window_get_position(GTK_WINDOW(m_hWindow), &wx, &wy);
        m_xLeft = wx;
        m_yTop = wy;
    }
    x = m_xLeft;
    y = m_yTop;
}

void XWindow::SetMinSize(int cx, int cy) {
    m_minCx = cx;
    m_minCy = cy;
}

void XWindow::SetMaxSize(int cx, int cy) {
    m_maxCx = cx;
    m_maxCy = cy;
}

void XWindow::AutoPosition(XPos* pos) {
    m_xpos = pos;
    if (!pos || pos->right <= pos->left || pos->bottom <= pos->top) return;
    SetPosition(pos->left, pos->top);
    SetSize(pos->right - pos->left, pos->bottom - pos->top);
}

void XWindow::SaveWindowPosition() {
    if (!m_xpos) return;
    long x = 0, y = 0;
    GetPosition(x, y);
    m_xpos->left = static_cast<int16_t>(x);
    m_xpos->top = static_cast<int16_t>(y);
    m_xpos->right = static_cast<int16_t>(x + m_cx);
    m_xpos->bottom = static_cast<int16_t>(y + m_cy);
    m_xpos->status = 1;
}

StdMenu* XWindow::CreateMenuBar() {
    if (m_pMenuBar) return m_pMenuBar;
    m_pMenuBar = new StdMenu;
    m_pMenuBar->CreateMenuBar(this);
    m_hMacMenu = m_pMenuBar->GetHandle();
    if (m_hBox) {
        // Made after the window: it still goes on top.
        gtk_box_pack_start(GTK_BOX(m_hBox), m_hMacMenu, FALSE, FALSE, 0);
        gtk_box_reorder_child(GTK_BOX(m_hBox), m_hMacMenu, 0);
        gtk_widget_show_all(m_hMacMenu);
    }
    return m_pMenuBar;
}

void XWindow::AddMacMenuItem(char* label, unsigned long command, bool separator) {
    CreateMenuBar();
    if (!m_hAppMenu) {
        // The application menu (the library's menu 128), always the bar's first.
        GtkWidget* top = gtk_menu_item_new_with_label(XApp::GetAppName());
        m_hAppMenu = gtk_menu_new();
        gtk_menu_item_set_submenu(GTK_MENU_ITEM(top), m_hAppMenu);
        gtk_menu_shell_prepend(GTK_MENU_SHELL(m_hMacMenu), top);
        g_signal_connect(m_hAppMenu, "show", G_CALLBACK(XWindowPlatform::OnMenuShow), this);
        // Emptying the menu bar destroys it; the next item makes a new one.
        g_signal_connect(m_hAppMenu, "destroy", G_CALLBACK(gtk_widget_destroyed), &m_hAppMenu);
        gtk_widget_show(top);
    }
    if (separator) {
        GtkWidget* sep = gtk_separator_menu_item_new();
        gtk_menu_shell_append(GTK_MENU_SHELL(m_hAppMenu), sep);
        gtk_widget_show(sep);
    }
    GtkWidget* item = gtk_menu_item_new_with_label(label ? label : "");
    g_object_set_data(G_OBJECT(item), "quvlib-command",
                      GSIZE_TO_POINTER(static_cast<gsize>(command)));
    g_signal_connect(item, "activate", G_CALLBACK(XWindowPlatform::OnMenuItem), this);
    gtk_menu_shell_append(GTK_MENU_SHELL(m_hAppMenu), item);
    gtk_widget_show(item);
}

void XWindow::DispatchCommand(unsigned long command) {
    // A command event: first the window (all but 'swin'), then the application,
    // which also sees every command.
    if (command != FourCC("swin")) ControlCommand(command, 0, 0);
    if (XApp* app = XApp::GetApp()) {
        XAppEvent ev{FourCC("cmds"), 1, static_cast<uint32_t>(command), 128};
        app->DispatchAppEvent(ev);
    }
}

StdToolBar* XWindow::CreateToolBar(int cx, int cy) {
    if (m_pToolBar) return m_pToolBar;
    m_pToolBar = new StdToolBar;
    m_pToolBar->CreateToolBar(this, cx, cy);
    m_hToolStrip = m_pToolBar->GetHandle();
    m_toolCy = cy;
    if (m_hBox) {
        // Made after the window: just below the menu bar, if any.
        gtk_box_pack_start(GTK_BOX(m_hBox), m_hToolStrip, FALSE, FALSE, 0);
        gtk_box_reorder_child(GTK_BOX(m_hBox), m_hToolStrip, m_hMacMenu ? 1 : 0);
        gtk_widget_show_all(m_hToolStrip);
    }
    return m_pToolBar;
}

void XWindow::EnableDropFile() {
    m_bDropEnabled = true;
    if (!m_hGuiView) return;
    // Called again by Create for a view made later: connect each view only once.
    if (g_object_get_data(G_OBJECT(m_hGuiView), "quvlib-drop")) return;
    g_object_set_data(G_OBJECT(m_hGuiView), "quvlib-drop", this);
    static const GtkTargetEntry targets[] = {{const_cast<gchar*>("text/uri-list"), 0, 0}};
    gtk_drag_dest_set(m_hGuiView, GtkDestDefaults(0), targets, 1,
                      GdkDragAction(GDK_ACTION_COPY | GDK_ACTION_MOVE | GDK_ACTION_LINK));
    g_signal_connect(m_hGuiView, "drag-motion", G_CALLBACK(XWindowPlatform::OnDragMotion), this);
    g_signal_connect(m_hGuiView, "drag-leave", G_CALLBACK(XWindowPlatform::OnDragLeave), this);
    g_signal_connect(m_hGuiView, "drag-drop", G_CALLBACK(XWindowPlatform::OnDragDrop), this);
    g_signal_connect(m_hGuiView, "drag-data-received", G_CALLBACK(XWindowPlatform::OnDragData),
                     this);
}

void XWindow::Create() {
    if (m_hWindow) return;
    ++m_useCount;
    GtkWidget* win = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    m_hWindow = win;
    GtkWindow* gw = GTK_WINDOW(win);
    g_object_set_data(G_OBJECT(win), kWindowKey, this);

    // Attributes from the type bits.
    bool resizable = (m_type & kWindowResizable) != 0;
    bool closeBox = (m_type & kWindowCloseBox) != 0;
    if (m_type & kWindowFloating) {
        gtk_window_set_type_hint(gw, GDK_WINDOW_TYPE_HINT_UTILITY);
        gtk_window_set_keep_above(gw, TRUE);
    }
    if (m_type & kWindowPlain) {
        // A plain window: no frame, and none of the other attributes.
        gtk_window_set_decorated(gw, FALSE);
        resizable = false;
        closeBox = false;
    }
    gtk_window_set_deletable(gw, closeBox);
    gtk_window_set_resizable(gw, resizable);
    gtk_window_set_title(gw, GetTitle());

    // The subclass builds its menus, toolbar and controls now: the platform window
    // exists, and the menu bar and toolbar it makes are packed just below.
    OnCreate();

    // Menu bar above, toolbar between, the view below and taking the rest.
    m_hBox = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_container_add(GTK_CONTAINER(win), m_hBox);
    int extra = 0, minH = 0, natH = 0;
    if (m_hMacMenu) {
        gtk_box_pack_start(GTK_BOX(m_hBox), m_hMacMenu, FALSE, FALSE, 0);
        // Measured with its items shown: hidden items would make it 0 high, and
        // the view would lose the menu bar's height.
        gtk_widget_show_all(m_hMacMenu);
        gtk_widget_get_preferred_height(m_hMacMenu, &minH, &natH);
        extra += natH;
    }
    if (m_hToolStrip) {
        gtk_box_pack_start(GTK_BOX(m_hBox), m_hToolStrip, FALSE, FALSE, 0);
        gtk_widget_show_all(m_hToolStrip);
        gtk_widget_get_preferred_height(m_hToolStrip, &minH, &natH);
        extra += natH;
    }
    m_hGuiView = gtk_drawing_area_new();
    gtk_widget_set_can_focus(m_hGuiView, TRUE);
    gtk_widget_add_events(
        m_hGuiView, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_POINTER_MOTION_MASK |
                        GDK_SCROLL_MASK | GDK_SMOOTH_SCROLL_MASK | GDK_ENTER_NOTIFY_MASK |
                        GDK_LEAVE_NOTIFY_MASK | GDK_KEY_PRESS_MASK | GDK_FOCUS_CHANGE_MASK);
    gtk_box_pack_start(GTK_BOX(m_hBox), m_hGuiView, TRUE, TRUE, 0);
    ++m_view_count;

    // Sizes: the content size, and its limits through the geometry hints.
    int cx = static_cast<int>(m_cx + m_idx), cy = static_cast<int>(m_cy + m_idy);
    if (resizable) {
        gtk_widget_set_size_request(m_hGuiView, 1, 1);
        gtk_window_set_default_size(gw, cx, cy + extra);
        GdkGeometry hints;
        memset(&hints, 0, sizeof(hints));
        int mask = 0;
        if (m_minCx > 0 || m_minCy > 0) {
            hints.min_width = m_minCx;
            hints.min_height = m_minCy + extra;
            mask |= GDK_HINT_MIN_SIZE;
        }
        if (m_maxCx > 0 || m_maxCy > 0) {
            hints.max_width = m_maxCx > 0 ? m_maxCx : G_MAXSHORT;
            hints.max_height = m_maxCy > 0 ? m_maxCy + extra : G_MAXSHORT;
            mask |= GDK_HINT_MAX_SIZE;
        }
        if (mask) gtk_window_set_geometry_hints(gw, nullptr, &hints, GdkWindowHints(mask));
    } else {
        gtk_widget_set_size_request(m_hGuiView, cx, cy);
    }

    // Placement.
    if (m_type & kWindowCentre) {
        if (m_hParent) {
            gtk_window_set_transient_for(gw, GTK_WINDOW(m_hParent));
            gtk_window_set_position(gw, GTK_WIN_POS_CENTER_ON_PARENT);
        } else {
            gtk_window_set_position(gw, GTK_WIN_POS_CENTER);
        }
    } else {
        gtk_window_move(gw, static_cast<int>(m_xLeft), static_cast<int>(m_yTop));
    }

    // Handlers.
    g_signal_connect(m_hGuiView, "draw", G_CALLBACK(XWindowPlatform::OnDraw), this);
    g_signal_connect(m_hGuiView, "size-allocate", G_CALLBACK(XWindowPlatform::OnSizeAllocate),
                     this);
    g_signal_connect(m_hGuiView, "button-press-event", G_CALLBACK(XWindowPlatform::OnButtonPress),
                     this);
    g_signal_connect(m_hGuiView, "button-release-event",
                     G_CALLBACK(XWindowPlatform::OnButtonRelease), this);
    g_signal_connect(m_hGuiView, "motion-notify-event", G_CALLBACK(XWindowPlatform::OnMotion),
                     this);
    g_signal_connect(m_hGuiView, "scroll-event", G_CALLBACK(XWindowPlatform::OnScroll), this);
    g_signal_connect(m_hGuiView, "enter-notify-event", G_CALLBACK(XWindowPlatform::OnEnter), this);
    g_signal_connect(m_hGuiView, "leave-notify-event", G_CALLBACK(XWindowPlatform::OnLeave), this);
    g_signal_connect(m_hGuiView, "drag-begin", G_CALLBACK(XWindowPlatform::OnDragOutBegin), this);
    g_signal_connect(m_hGuiView, "drag-data-get", G_CALLBACK(XWindowPlatform::OnDragOutData), this);
    g_signal_connect(m_hGuiView, "drag-end", G_CALLBACK(XWindowPlatform::OnDragOutEnd), this);
    g_signal_connect(win, "key-press-event", G_CALLBACK(XWindowPlatform::OnKeyPress), this);
    g_signal_connect(win, "delete-event", G_CALLBACK(XWindowPlatform::OnDelete), this);
    g_signal_connect(win, "destroy", G_CALLBACK(XWindowPlatform::OnDestroy), this);
    g_signal_connect(win, "focus-in-event", G_CALLBACK(XWindowPlatform::OnFocusIn), this);
    if (m_bDropEnabled) EnableDropFile();

    // Posted messages are drained by the GUI thread's main loop.
    if (!m_hSource) {
        m_hSource = g_source_new(&kQueueFuncs, sizeof(QueueSource));
        QueueSource* qs = reinterpret_cast<QueueSource*>(m_hSource);
        qs->window = this;
        qs->wakeup = &m_bWakeup;
        g_source_set_name(m_hSource, "quvlib window messages");
        g_source_attach(m_hSource, nullptr);
        // Anything posted before the source existed is drained at the next turn.
        m_bWakeup.store(true, std::memory_order_release);
    }
    TimerStart();
}

// ---- showing, closing ----

void XWindow::Show() {
    if (!m_hWindow) Create();
    m_bModal = false;
    m_drawlib.Init(this, 0, 0);
    gtk_widget_show_all(m_hWindow);
    gtk_window_present(GTK_WINDOW(m_hWindow));
    if (m_type & kWindowCentre) {
        int x = 0, y = 0;
        gtk_window_get_position(GTK_WINDOW(m_hWindow), &x, &y);
        m_xLeft = x;
        m_yTop = y;
    }
    OnShow();
    m_bVisible = true;
    SetActiveWindow(this);
    PostWindowMsg(GetHandle(), kMsgLibrary, static_cast<long>(FourCC("wrdy")), 0);
}

bool XWindow::ShowModal(XWindow* parent) {
    m_hParent = parent ? parent->m_hWindow : nullptr;
    Show();
    m_bModal = true;
    if (m_hWindow) {
        if (m_hParent) gtk_window_set_transient_for(GTK_WINDOW(m_hWindow), GTK_WINDOW(m_hParent));
        gtk_window_set_modal(GTK_WINDOW(m_hWindow), TRUE);
    }
    gtk_main();  // ended by Close
    if (m_hWindow) gtk_window_set_modal(GTK_WINDOW(m_hWindow), FALSE);
    if (parent) {
        SetActiveWindow(parent);
        if (parent->m_hWindow) gtk_window_present(GTK_WINDOW(parent->m_hWindow));
    }
    return m_bModalReturn;
}

void XWindow::Close(bool result) {
    m_bVisible = false;
    SaveWindowPosition();
    OnClose();
    m_bReturn = result;
    if (m_bModal) {
        m_bModalReturn = result;
        gtk_main_quit();
        m_bModal = false;
    }
    Hide();
}

void XWindow::Hide() {
    m_bVisible = false;
    if (m_hWindow) gtk_widget_hide(m_hWindow);
}

void XWindow::ResizeWindow(int width, int height) {
    long dx = width - m_idx - m_cx;
    long dy = height - m_idy - m_cy;
    if (dx != 0 || dy != 0) ResizeControls(dx, dy);
    // The view's bounds are in its own coordinates: their origin is (0, 0).
    m_xLeft = 0;
    m_yTop = 0;
    m_cx = width - m_idx;
    m_cy = height - m_idy;
}

// ---- messages ----

void XWindow::Message(unsigned long msg, long wParam, long lParam) {
    if (!m_bVisible) return;  // messages to a hidden window are lost
    if (msg == kMsgLibrary) {
        uint32_t what = static_cast<uint32_t>(wParam);
        if (what == FourCC("updt")) {
            Update();
            return;
        }
        if (what == FourCC("wrdy")) {
            OnReady();
            return;
        }
        if (what == FourCC("timr")) {
            TimerTick();
            return;
        }
    }
    OnMessage(msg, wParam, lParam);
}

void XWindow::Command(unsigned long id, long wParam) {
    if (XApp* app = XApp::GetApp()) app->WindowCommand(id, wParam, 0);
}

// ---- drawing ----

void XWindow::Update() {
    if (m_bDrawInProcess.load(std::memory_order_acquire)) return;
    if (IsGuiThread()) {
        OnUpdate();
        UpdateControls();
        return;
    }
    // Repeated requests collapse into one pending message.
    if (!m_bUpdate.exchange(true, std::memory_order_acq_rel))
        PostWindowMsg(GetHandle(), kMsgLibrary, static_cast<long>(FourCC("updt")), 0);
}

void XWindow::Redraw() {
    if (m_hGuiView) gtk_widget_queue_draw(m_hGuiView);
}

void XWindow::Draw(cairo_t* cr) {
    m_bDrawInProcess.store(true, std::memory_order_release);
    XRect rc(0, 0, static_cast<int>(m_cx) - 1, static_cast<int>(m_cy) - 1);
    rc.Offset(GetOffsetX(), GetOffsetY());
    if (m_drawlib.Open(rc, cr)) {
        for (XControl* control = m_pChild; control; control = control->GetNext())
            control->DrawWithChilds(&m_drawlib);
        m_drawlib.Close();
    }
    m_bDrawInProcess.store(false, std::memory_order_release);
    if (m_firstFrameFile) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (FILE* f = fopen(m_firstFrameFile, "w")) {
            fprintf(f, "%.6f\n", static_cast<double>(now.tv_sec) + now.tv_nsec / 1e9);
            fclose(f);
        }
        delete[] m_firstFrameFile;
        m_firstFrameFile = nullptr;
    }
}

bool XWindow::DrawControl(XControl* control) {
    if (!m_hWindow || !control) return true;
    if (!IsGuiThread()) {
        // Never touch the platform from another thread: the GUI thread draws the
        // control at the update this posts.
        control->SetDirty(true);
        Update();
        return false;
    }
    GdkWindow* gdkWin = m_hGuiView ? gtk_widget_get_window(m_hGuiView) : nullptr;
    if (!gdkWin || !gtk_widget_get_mapped(m_hGuiView) ||
        m_bDrawInProcess.load(std::memory_order_acquire)) {
        // Not on screen yet (or inside the draw): the next draw shows it.
        if (m_hGuiView) gtk_widget_queue_draw(m_hGuiView);
        return true;
    }
    XRect rc = control->GetWindowRect();
    cairo_rectangle_int_t area = {rc.left, rc.top, rc.right - rc.left + 1, rc.bottom - rc.top + 1};
    cairo_region_t* region = cairo_region_create_rectangle(&area);
    GdkDrawingContext* dc = gdk_window_begin_draw_frame(gdkWin, region);
    cairo_t* cr = gdk_drawing_context_get_cairo_context(dc);
    m_bDrawInProcess.store(true, std::memory_order_release);
    if (m_drawlib.Open(rc, cr)) {
        // The frame holds only this control's rectangle: what lies under the
        // control is drawn again first, so that its transparent pixels show the
        // window's current drawing, not what the control drew there before.
        DrawUnder(control, &m_drawlib);
        control->DrawWithChilds(&m_drawlib);
        m_drawlib.Close();
    }
    m_bDrawInProcess.store(false, std::memory_order_release);
    gdk_window_end_draw_frame(gdkWin, dc);
    cairo_region_destroy(region);
    return true;
}

void XWindow::LocalToScreen(int& x, int& y) {
    GdkWindow* gdkWin = m_hGuiView ? gtk_widget_get_window(m_hGuiView) : nullptr;
    if (!gdkWin) return;
    int ox = 0, oy = 0;
    gdk_window_get_origin(gdkWin, &ox, &oy);
    x += ox;
    y += oy;
}

// ---- system drag ----

int XWindow::Drag(int x, int y, int phase) {
    if (phase == 2) {
        if (m_pControlDrag) m_pControlDrag->DragLeave();
        m_pControlDrag = nullptr;
    }
    if (phase == 1 && m_pControlDrag) {
        if (!m_pControlDrag->IsInside(x, y)) {
            m_pControlDrag->DragLeave();
            m_pControlDrag = nullptr;
        } else {
            m_pControlDrag->Drag(x, y);
        }
    }
    if ((phase == 0 || phase == 1) && !m_pControlDrag) {
        XControl* control = FindControl(x, y);
        // Only an answer of exactly 1 makes the control the target.
        if (control && control->Drag(x, y) == 1) m_pControlDrag = control;
    }
    return m_pControlDrag != nullptr;
}

int XWindow::Drop(OpaqueDragRef* drag, int x, int y) {
    if (m_pControlDrag) {
        XControl* target = m_pControlDrag;
        m_pControlDrag = nullptr;
        target->Drop(drag, x, y);
        return 0;
    }
    OnDrop(drag, x, y);
    return 0;
}

// ---- in-window drag overlay ----

void XWindow::DragOverlayOpen() {
    if (!m_hWindow || m_drag.hOverlay) return;
    GtkWidget* overlay = gtk_window_new(GTK_WINDOW_POPUP);
    gtk_window_set_transient_for(GTK_WINDOW(overlay), GTK_WINDOW(m_hWindow));
    gtk_widget_set_app_paintable(overlay, TRUE);
    gtk_window_set_default_size(GTK_WINDOW(overlay), static_cast<int>(m_cx > 0 ? m_cx : 1),
                                static_cast<int>(m_cy > 0 ? m_cy : 1));
    int x = 0, y = 0;
    LocalToScreen(x, y);
    gtk_window_move(GTK_WINDOW(overlay), x, y);
    g_signal_connect(overlay, "draw", G_CALLBACK(XWindowPlatform::OnOverlayDraw), this);
    gtk_widget_realize(overlay);
    // The overlay never takes a click.
    cairo_region_t* none = cairo_region_create();
    gdk_window_input_shape_combine_region(gtk_widget_get_window(overlay), none, 0, 0);
    cairo_region_destroy(none);
    m_drag.hOverlay = overlay;
    DragOverlayDraw();
    gtk_widget_show(overlay);
}

void XWindow::DragOverlayDraw() {
    GtkWidget* overlay = static_cast<GtkWidget*>(m_drag.hOverlay);
    if (!overlay) return;
    // Without a compositor the overlay shows only where it is shaped: the outline
    // and the label band; the view stays visible everywhere else.
    const XRect& rc = m_drag.rc;
    cairo_region_t* shape = cairo_region_create();
    cairo_rectangle_int_t edges[] = {
        {rc.left, rc.top, rc.right - rc.left + 1, 1},
        {rc.left, rc.bottom, rc.right - rc.left + 1, 1},
        {rc.left, rc.top, 1, rc.bottom - rc.top + 1},
        {rc.right, rc.top, 1, rc.bottom - rc.top + 1},
        {rc.left + 1, rc.top + 1, rc.right - rc.left - 1,
         rc.bottom - rc.top < 16 ? rc.bottom - rc.top - 1 : 14},
    };
    for (const cairo_rectangle_int_t& r : edges)
        if (r.width > 0 && r.height > 0) cairo_region_union_rectangle(shape, &r);
    gdk_window_shape_combine_region(gtk_widget_get_window(overlay), shape, 0, 0);
    cairo_region_destroy(shape);
    gtk_widget_queue_draw(overlay);
}

void XWindow::DragOverlayClose() {
    GtkWidget* overlay = static_cast<GtkWidget*>(m_drag.hOverlay);
    if (!overlay) return;
    m_drag.hOverlay = nullptr;
    gtk_widget_destroy(overlay);
}

// ---- other ----

void XWindow::SetCursor(long cursor) {
    m_cursor = cursor;
    if (cursor < 0 || cursor > 4) return;
    if (!m_hWindow) return;
    GdkWindow* gdkWin = gtk_widget_get_window(m_hWindow);
    if (!gdkWin) return;
    GdkCursor* c = gdk_cursor_new_from_name(gdk_window_get_display(gdkWin), kCursorNames[cursor]);
    gdk_window_set_cursor(gdkWin, c);
    if (m_hGuiView && gtk_widget_get_window(m_hGuiView))
        gdk_window_set_cursor(gtk_widget_get_window(m_hGuiView), c);
    if (c) g_object_unref(c);
}

void XWindow::OpenUrl(char* url) {
    if (!url) return;
    GError* error = nullptr;
    if (!gtk_show_uri_on_window(m_hWindow ? GTK_WINDOW(m_hWindow) : nullptr, url, GDK_CURRENT_TIME,
                                &error)) {
        LogPrint("cannot open %s: %s", url, error ? error->message : "");
        if (error) g_error_free(error);
    }
}

XWindow* XWindow::GetParentWindow() {
    return m_hParent ? GetWindowFromHandle(m_hParent) : nullptr;
}

XWindow* XWindow::GetWindowFromHandle(GtkWidget* window) {
    if (!window) return nullptr;
    return static_cast<XWindow*>(g_object_get_data(G_OBJECT(window), kWindowKey));
}

long XWindow::TranslateKey(unsigned keyval) {
    switch (keyval) {
        case GDK_KEY_Return:
        case GDK_KEY_KP_Enter:
        case GDK_KEY_ISO_Enter:
            return kKeyEnter;
        case GDK_KEY_BackSpace:
            return kKeyBack;
        case GDK_KEY_Delete:
        case GDK_KEY_KP_Delete:
            return kKeyDelete;
        case GDK_KEY_Escape:
            return kKeyEscape;
        case GDK_KEY_Up:
        case GDK_KEY_KP_Up:
            return kKeyUp;
        case GDK_KEY_Down:
        case GDK_KEY_KP_Down:
            return kKeyDown;
        case GDK_KEY_Left:
        case GDK_KEY_KP_Left:
            return kKeyLeft;
        case GDK_KEY_Right:
        case GDK_KEY_KP_Right:
            return kKeyRight;
        case GDK_KEY_Tab:
        case GDK_KEY_KP_Tab:
        case GDK_KEY_ISO_Left_Tab:
            return kKeyTab;
        default:
            return static_cast<long>(gdk_keyval_to_unicode(keyval));
    }
}

long XWindow::TranslateModifiers(unsigned state) {
    long m = 0;
    if (state & GDK_SHIFT_MASK) m += 1;
    if (state & GDK_CONTROL_MASK) m += 2;
    if (state & (GDK_SUPER_MASK | GDK_META_MASK)) m += 4;
    return m;
}

// ---- the GUI thread's services for worker threads ----

void XWindow::AppQuit() {
    if (XApp* app = XApp::GetApp()) app->Quit();
    TimerStop();  // as XApp::Quit does: exit() must not wait for the timer thread
    exit(0);
}

namespace {

// One call handed to the GUI thread. Shared by the waiting caller and the main
// loop's idle callback, so whichever finishes last frees it; a caller that gives
// up marks it abandoned and the callback then does not run it.
struct GuiCall {
    void (*fn)(void*) = nullptr;
    void* arg = nullptr;
    std::function<void()> task;                    // a posted call, which nobody waits for
    const XWindow* window = nullptr;               // the window that posted it
    const std::atomic<bool>* cancelled = nullptr;  // that window's CancelGuiCalls
    std::mutex lock;
    std::condition_variable cv;
    bool done = false;
    bool abandoned = false;
};

// The calls waiting for the GUI thread, in the order they were handed over. Kept
// under a mutex of our own rather than passed through the main loop, so the
// hand-over is visible to the thread checker as well.
// Made on first use and never destroyed: windows of static storage duration hand
// calls over, or drop theirs, while the program's statics are being destroyed.
struct GuiCalls {
    std::mutex lock;
    std::deque<std::shared_ptr<GuiCall>> queue;
};
GuiCalls& TheGuiCalls() {
    static GuiCalls* calls = new GuiCalls;
    return *calls;
}

gboolean RunGuiCall(gpointer) {
    std::shared_ptr<GuiCall> next;
    {
        std::lock_guard<std::mutex> guard(TheGuiCalls().lock);
        if (TheGuiCalls().queue.empty()) return G_SOURCE_REMOVE;
        next = std::move(TheGuiCalls().queue.front());
        TheGuiCalls().queue.pop_front();
    }
    GuiCall& call = *next;
    if (call.task) {
        if (!call.cancelled->load(std::memory_order_acquire)) call.task();
        return G_SOURCE_REMOVE;
    }
    {
        std::unique_lock<std::mutex> guard(call.lock);
        if (!call.abandoned) {
            // Run outside the lock: the call may itself take a while (drawing), and
            // the caller only waits for `done`.
            guard.unlock();
            call.fn(call.arg);
            guard.lock();
        }
        call.done = true;
    }
    call.cv.notify_all();
    return G_SOURCE_REMOVE;
}

}  // namespace

bool XWindow::CallOnGuiThread(void (*fn)(void*), void* arg) {
    if (!fn) return false;
    if (IsGuiThread()) {
        fn(arg);
        return true;
    }
    if (m_bGuiCallsCancelled.load(std::memory_order_acquire)) return false;
    auto call = std::make_shared<GuiCall>();
    call->fn = fn;
    call->arg = arg;
    // Always through the GUI thread's loop: invoking directly would run the call
    // on this thread whenever the GUI thread is not iterating its loop.
    {
        std::lock_guard<std::mutex> guard(TheGuiCalls().lock);
        TheGuiCalls().queue.push_back(call);
    }
    g_idle_add_full(G_PRIORITY_DEFAULT, RunGuiCall, nullptr, nullptr);
    std::unique_lock<std::mutex> guard(call->lock);
    while (!call->done) {
        // Wake now and then to notice a window that closes meanwhile: its GUI
        // thread may never come back to the main loop.
        call->cv.wait_for(guard, std::chrono::milliseconds(50));
        if (!call->done && m_bGuiCallsCancelled.load(std::memory_order_acquire)) {
            call->abandoned = true;
            return false;
        }
    }
    return true;
}

void XWindow::PostToGuiThread(std::function<void()> task) {
    if (!task || m_bGuiCallsCancelled.load(std::memory_order_acquire)) return;
    if (IsGuiThread()) {
        task();
        return;
    }
    auto call = std::make_shared<GuiCall>();
    call->task = std::move(task);
    call->window = this;
    call->cancelled = &m_bGuiCallsCancelled;
    {
        std::lock_guard<std::mutex> guard(TheGuiCalls().lock);
        TheGuiCalls().queue.push_back(std::move(call));
    }
    g_idle_add_full(G_PRIORITY_DEFAULT, RunGuiCall, nullptr, nullptr);
}

void XWindow::CancelGuiCalls() {
    m_bGuiCallsCancelled.store(true, std::memory_order_release);
}

void XWindow::DropPostedCalls() {
    std::lock_guard<std::mutex> guard(TheGuiCalls().lock);
    auto& queue = TheGuiCalls().queue;
    for (auto it = queue.begin(); it != queue.end();)
        it = (*it)->window == this ? queue.erase(it) : std::next(it);
}

void XWindow::SetFirstFrameFile(const char* path) {
    delete[] m_firstFrameFile;
    m_firstFrameFile = nullptr;
    if (!path || !*path) return;
    size_t n = strlen(path) + 1;
    m_firstFrameFile = new char[n];
    memcpy(m_firstFrameFile, path, n);
}

namespace {
gboolean FrameTick(gpointer data) {
    XWindow* w = static_cast<XWindow*>(data);
    if (w->IsVisible()) w->OnFrame();
    return G_SOURCE_CONTINUE;
}
}  // namespace

void XWindow::SetFrameTimer(bool on) {
    if (on == (m_frameTimer != 0)) return;
    if (on) {
        // 25 frames a second: smooth for a bar, cheap for the GUI thread.
        m_frameTimer = g_timeout_add(40, FrameTick, this);
    } else {
        g_source_remove(m_frameTimer);
        m_frameTimer = 0;
    }
}

// ---- choosing files ----

namespace {

// The Open button's response: not one of the toolkit's accept responses, so the
// chooser's own idea of Open (a selected folder is entered rather than chosen)
// stays out of the way.
constexpr int kResponseChoose = 1;

bool IsFolder(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A path as a drop gives it: a folder's ends in "/".
std::string DropPath(std::string path) {
    if (IsFolder(path) && (path.empty() || path.back() != '/')) path += '/';
    return path;
}

// The path typed in a chooser's location field, without what its completion
// proposes (the selected part at its end), made absolute against `folder`
// ("~" is the home folder, "." and ".." are resolved); "" when nothing is typed.
std::string TypedLocation(GtkWidget* entry, const std::string& folder) {
    const char* text = gtk_entry_get_text(GTK_ENTRY(entry));
    std::string typed = text ? text : "";
    int start = 0, end = 0;
    if (gtk_editable_get_selection_bounds(GTK_EDITABLE(entry), &start, &end) &&
        end == g_utf8_strlen(typed.c_str(), -1))
        typed.resize(
            static_cast<size_t>(g_utf8_offset_to_pointer(typed.c_str(), start) - typed.c_str()));
    if (typed.empty()) return "";
    if (typed == "~" || typed.compare(0, 2, "~/") == 0)
        typed = std::string(g_get_home_dir()) + typed.substr(1);
    gchar* absolute =
        g_canonicalize_filename(typed.c_str(), folder.empty() ? nullptr : folder.c_str());
    typed = absolute;
    g_free(absolute);
    return typed;
}

// The chooser's folder as a path ("" when it shows none, as in its search).
std::string ChooserFolder(GtkWidget* chooser) {
    gchar* folder = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(chooser));
    std::string path = folder ? folder : "";
    g_free(folder);
    return path;
}

// Return in the location field (Ctrl+L) chooses what it names, a folder as that
// folder: the chooser itself would enter the folder, and its completion would
// then offer the folder's first file to the next Return. The key is looked at
// wherever it goes first (the dialog, or the completion's list, which takes the
// keyboard while it shows), before any handler acts on it.
gboolean OnChooserKey(GSignalInvocationHint*, guint count, const GValue* values, gpointer data) {
    GtkWidget* dialog = static_cast<GtkWidget*>(data);
    if (count < 2 || g_object_get_data(G_OBJECT(dialog), "quvlib-typed")) return TRUE;
    const GdkEvent* ev = static_cast<const GdkEvent*>(g_value_get_boxed(&values[1]));
    if (!ev || ev->type != GDK_KEY_PRESS ||
        (ev->key.keyval != GDK_KEY_Return && ev->key.keyval != GDK_KEY_KP_Enter))
        return TRUE;
    GtkWidget* focus = gtk_window_get_focus(GTK_WINDOW(dialog));
    if (!focus || !GTK_IS_ENTRY(focus) ||
        strcmp(G_OBJECT_TYPE_NAME(focus), "GtkFileChooserEntry") != 0)
        return TRUE;
    std::string typed = TypedLocation(focus, ChooserFolder(dialog));
    struct stat st {};
    if (typed.empty() || stat(typed.c_str(), &st) != 0) return TRUE;
    g_object_set_data_full(G_OBJECT(dialog), "quvlib-typed", g_strdup(typed.c_str()), g_free);
    gtk_dialog_response(GTK_DIALOG(dialog), kResponseChoose);
    return TRUE;  // the hook stays for the dialog's life
}

}  // namespace

bool XWindow::ChooseFiles(const char* title, std::vector<std::string>* paths) {
    if (!paths) return false;
    paths->clear();
    GtkWidget* dialog =
        gtk_file_chooser_dialog_new(title ? title : "", m_hWindow ? GTK_WINDOW(m_hWindow) : nullptr,
                                    GTK_FILE_CHOOSER_ACTION_OPEN, "_Cancel", GTK_RESPONSE_CANCEL,
                                    "_Open", kResponseChoose, nullptr);
    GtkFileChooser* chooser = GTK_FILE_CHOOSER(dialog);
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), kResponseChoose);
    gtk_file_chooser_set_select_multiple(chooser, TRUE);
    gtk_file_chooser_set_local_only(chooser, TRUE);
    // Where the last choice was made, else home: never the recently used list,
    // which the chooser would show otherwise.
    std::string start = IsFolder(m_chooserFolder) ? m_chooserFolder : g_get_home_dir();
    gtk_file_chooser_set_current_folder(chooser, start.c_str());
    guint keySignal = g_signal_lookup("key-press-event", GTK_TYPE_WIDGET);
    gulong keyHook = g_signal_add_emission_hook(keySignal, 0, OnChooserKey, dialog, nullptr);
    gtk_window_set_modal(GTK_WINDOW(dialog), TRUE);
    int response = gtk_dialog_run(GTK_DIALOG(dialog));
    g_signal_remove_emission_hook(keySignal, keyHook);
    if (response == kResponseChoose) {
        std::string folder = ChooserFolder(dialog);
        if (const char* typed =
                static_cast<const char*>(g_object_get_data(G_OBJECT(dialog), "quvlib-typed"))) {
            paths->push_back(DropPath(typed));
        } else {
            GSList* files = gtk_file_chooser_get_files(chooser);
            for (GSList* f = files; f; f = f->next)
                if (gchar* path = g_file_get_path(G_FILE(f->data))) {
                    paths->push_back(DropPath(path));
                    g_free(path);
                }
            g_slist_free_full(files, g_object_unref);
        }
        // Open with nothing selected takes the folder shown.
        if (paths->empty() && !folder.empty()) paths->push_back(DropPath(folder));
        if (!paths->empty()) {
            // The next choice starts where this one was made: the folder that
            // holds the first item chosen.
            std::string first = paths->front();
            if (!first.empty() && first.back() == '/') first.pop_back();
            size_t slash = first.rfind('/');
            m_chooserFolder = slash == std::string::npos ? folder : first.substr(0, slash + 1);
        }
    }
    gtk_widget_destroy(dialog);
    return !paths->empty();
}
