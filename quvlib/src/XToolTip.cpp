#include "XToolTip.h"

#include <gtk/gtk.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "XDrawLib.h"
#include "XWindowStd.h"

namespace {

const char* const kFamily = "Lucida Grande, DejaVu Sans, sans-serif";
constexpr int kFontPixels = 11;
constexpr int kPadX = 3;   // text inset from the left edge
constexpr int kPadY = 1;   // first line's inset from the top edge
constexpr int kSlack = 6;  // room left beside a line's text when wrapping

// A layout in the tooltip's font for `cr`; the caller unrefs it.
PangoLayout* NewLayout(cairo_t* cr) {
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* desc = pango_font_description_from_string(kFamily);
    pango_font_description_set_absolute_size(desc, kFontPixels * PANGO_SCALE);
    pango_layout_set_font_description(layout, desc);
    pango_font_description_free(desc);
    return layout;
}

// Width in pixels of `n` bytes of `s` on one line.
int Measure(PangoLayout* layout, const char* s, int n) {
    pango_layout_set_text(layout, s, n);
    int w = 0, h = 0;
    pango_layout_get_pixel_size(layout, &w, &h);
    return w;
}

void SetSource(cairo_t* cr, XColor c) {
    cairo_set_source_rgba(cr, c.red() / 255.0, c.green() / 255.0, c.blue() / 255.0,
                          c.alpha() / 255.0);
}

gboolean OnDraw(GtkWidget*, cairo_t* cr, gpointer data) {
    static_cast<XToolTip*>(data)->Draw(cr);
    return TRUE;
}

}  // namespace

XToolTip::XToolTip() = default;

XToolTip::~XToolTip() {
    if (m_hWindow) gtk_widget_destroy(m_hWindow);
    delete[] m_text;
}

const char* XToolTip::Line(int i) const {
    if (i < 0 || i >= m_line_count || !m_line[i]) return "";
    return m_line[i];
}

void XToolTip::SetText(const char* text) {
    // A file name in another encoding is shown in its display form.
    std::string shown;
    text = XDrawLib::DisplayText(text, shown);
    size_t need = strlen(text) + 1;
    if (!m_text || need > static_cast<size_t>(m_text_size)) {
        // Grow to at least double, so that a run of longer texts reallocates rarely.
        size_t size = std::max(need, static_cast<size_t>(m_text_size) * 2);
        delete[] m_text;
        m_text = new char[size];
        m_text_size = static_cast<int>(size);
    }
    memcpy(m_text, text, need);
    std::fill(m_line, m_line + kMaxLines, nullptr);
    m_line[0] = m_text;
    m_line_count = 1;
}

bool XToolTip::LoadPic(const char* name) {
    ClearPic();
    // Unlike a control's picture, a tooltip's missing picture is not fatal: the
    // tooltip just shows its text.
    if (!name || !m_hPic.GetResource(name, nullptr)) return false;
    m_cx_pic = m_hPic.Width();
    m_cy_pic = m_hPic.Height();
    return true;
}

void XToolTip::ClearPic() {
    m_hPic.Clear();
    m_cx_pic = 0;
    m_cy_pic = 0;
}

int XToolTip::SplitText(cairo_t* cr, int width) {
    if (!m_text) SetText("");
    std::fill(m_line, m_line + kMaxLines, nullptr);
    PangoLayout* layout = NewLayout(cr);
    char* lineStart = m_text;
    m_line[0] = lineStart;
    m_line_count = 1;
    char* lastBreak = nullptr;  // the space after the last word that fitted on this line
    char* q = m_text;
    for (;;) {
        char* e = q;
        while (*e && *e != ' ' && *e != '\r' && *e != '\n') ++e;
        int w = Measure(layout, lineStart, static_cast<int>(e - lineStart));
        if (w + kSlack > width && lastBreak) {
            // The word overflows: the line is cut at the last space and the word
            // starts the next line (where it is measured again).
            *lastBreak = '\0';
            if (m_line_count == kMaxLines) break;
            lineStart = lastBreak + 1;
            m_line[m_line_count++] = lineStart;
            lastBreak = nullptr;
            q = lineStart;
            continue;
        }
        // The word fits, or it is alone on its line and stays there however wide.
        if (*e == '\0') break;
        if (*e == '\r' || *e == '\n') {
            char* next = e + 1;
            if (*e == '\r' && *next == '\n') ++next;  // CR LF is one line end
            *e = '\0';
            if (m_line_count == kMaxLines) break;
            lineStart = next;
            m_line[m_line_count++] = lineStart;
            lastBreak = nullptr;
            q = next;
            continue;
        }
        lastBreak = e;
        q = e + 1;
    }
    g_object_unref(layout);
    return m_line_count;
}

int XToolTip::WidestLine(cairo_t* cr) const {
    PangoLayout* layout = NewLayout(cr);
    int widest = 0;
    for (int i = 0; i < m_line_count; ++i)
        if (m_line[i]) widest = std::max(widest, Measure(layout, m_line[i], -1));
    g_object_unref(layout);
    return widest;
}

void XToolTip::BreakWideLines(cairo_t* cr, int width) {
    PangoLayout* layout = NewLayout(cr);
    std::vector<std::string> lines;
    for (int i = 0; i < m_line_count && m_line[i]; ++i) {
        std::string line = m_line[i];
        while (static_cast<int>(lines.size()) < kMaxLines - 1 &&
               Measure(layout, line.c_str(), -1) + kSlack > width) {
            // The longest head that fits, cut after its last '/' when it has one
            // (a path breaks between its folders), else after its last character.
            pango_layout_set_text(layout, line.c_str(), -1);
            int index = 0, trailing = 0;
            pango_layout_xy_to_index(layout, (width - kSlack) * PANGO_SCALE, 0, &index, &trailing);
            size_t cut = static_cast<size_t>(index);
            if (cut == 0) cut = g_utf8_next_char(line.c_str()) - line.c_str();  // one at least
            size_t slash = line.rfind('/', cut - 1);
            if (slash != std::string::npos && slash + 1 > cut / 2) cut = slash + 1;
            lines.push_back(line.substr(0, cut));
            line.erase(0, cut);
        }
        if (static_cast<int>(lines.size()) == kMaxLines) break;
        lines.push_back(line);
    }
    g_object_unref(layout);
    // The lines are written one after the other, each with its terminator.
    size_t need = 0;
    for (const std::string& l : lines) need += l.size() + 1;
    if (need > static_cast<size_t>(m_text_size)) {
        delete[] m_text;
        m_text = new char[need];
        m_text_size = static_cast<int>(need);
    }
    std::fill(m_line, m_line + kMaxLines, nullptr);
    char* at = m_text;
    m_line_count = 0;
    for (const std::string& l : lines) {
        memcpy(at, l.c_str(), l.size() + 1);
        m_line[m_line_count++] = at;
        at += l.size() + 1;
    }
}

void XToolTip::Layout(bool fit, int maxWidth) {
    m_cx_win = kDefaultWidth;
    m_cy_win = kDefaultHeight;
    bool pic = m_hPic.Exist();
    if (pic) {
        m_cx_win = m_cx_pic;
        m_cy_win = m_cy_pic;
    }
    // Measured off-screen: the window may not exist yet.
    cairo_surface_t* scratch = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
    cairo_t* cr = cairo_create(scratch);
    PangoLayout* layout = NewLayout(cr);
    int tw = Measure(layout, m_text, static_cast<int>(strlen(m_text)));
    g_object_unref(layout);
    // A line break always splits, so that a short text with a line feed still
    // shows as two lines.
    if (tw + kSlack > m_cx_win || strpbrk(m_text, "\r\n")) {
        SplitText(cr, m_cx_win);
        int widest = WidestLine(cr);
        if (!pic && widest + kSlack > m_cx_win) {
            // A word wider than the tooltip (a long path) stands on its own line
            // and widens the window to hold it, as far as the screen allows, so
            // that nothing is cut at its edge; a line still wider than the screen
            // is broken.
            m_cx_win = std::min(widest + kSlack, std::max(kDefaultWidth, maxWidth));
            if (widest + kSlack > m_cx_win) BreakWideLines(cr, m_cx_win);
        }
    } else if (fit && !pic) {
        m_cx_win = tw + kSlack;
    }
    cairo_destroy(cr);
    cairo_surface_destroy(scratch);
    if (!pic) m_cy_win = std::max(kDefaultHeight, m_line_count * kLineHeight + 2 * kPadY + 1);
}

void XToolTip::Show(XWindow* parent, int x, int y, const char* text, bool fit,
                    const char* picture) {
    SetText(text);
    ClearPic();
    if (picture && *picture) LoadPic(picture);
    m_x = x;
    m_y = y;
    GdkRectangle screen;
    Layout(fit, ScreenAt(parent, &screen) ? screen.width : INT_MAX);
    m_bShown = true;
    ++m_showCount;
    m_xWin = x;
    m_yWin = y;
    Place(parent);
}

bool XToolTip::ScreenAt(XWindow* parent, GdkRectangle* area) const {
    GtkWidget* pw = parent ? parent->GetGtkWindow() : nullptr;
    if (!pw) return false;
    GdkMonitor* monitor = gdk_display_get_monitor_at_point(gtk_widget_get_display(pw), m_x, m_y);
    if (!monitor) return false;
    gdk_monitor_get_geometry(monitor, area);
    return area->width > 0 && area->height > 0;
}

void XToolTip::Place(XWindow* parent) {
    GtkWidget* pw = parent ? parent->GetGtkWindow() : nullptr;
    if (!pw) return;
    if (!m_hWindow) {
        m_hWindow = gtk_window_new(GTK_WINDOW_POPUP);
        gtk_window_set_type_hint(GTK_WINDOW(m_hWindow), GDK_WINDOW_TYPE_HINT_TOOLTIP);
        gtk_widget_set_app_paintable(m_hWindow, TRUE);
        g_signal_connect(m_hWindow, "draw", G_CALLBACK(OnDraw), this);
        // The tooltip never takes a click, a drag or the pointer: with an empty
        // input shape every pointer event goes to the window under it, which
        // hides the tooltip at the first move as any input does.
        cairo_region_t* none = cairo_region_create();
        gtk_widget_input_shape_combine_region(m_hWindow, none);
        cairo_region_destroy(none);
    }
    if (m_hParent != pw) {
        gtk_window_set_transient_for(GTK_WINDOW(m_hWindow), GTK_WINDOW(pw));
        m_hParent = pw;
    }
    // Kept on the screen that holds the asked place.
    GdkRectangle r;
    if (ScreenAt(parent, &r)) {
        m_xWin = std::max(r.x, std::min(m_x, r.x + r.width - m_cx_win));
        m_yWin = std::max(r.y, std::min(m_y, r.y + r.height - m_cy_win));
    }
    GtkWindow* gw = GTK_WINDOW(m_hWindow);
    gtk_widget_set_size_request(m_hWindow, m_cx_win, m_cy_win);
    gtk_window_resize(gw, m_cx_win, m_cy_win);
    gtk_window_move(gw, m_xWin, m_yWin);
    gtk_widget_show(m_hWindow);
    gtk_widget_queue_draw(m_hWindow);
}

void XToolTip::Hide() {
    m_bShown = false;
    if (m_hWindow) gtk_widget_hide(m_hWindow);
}

void XToolTip::Draw(cairo_t* cr) {
    cairo_save(cr);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    SetSource(cr, BackColor());
    cairo_rectangle(cr, 0, 0, m_cx_win, m_cy_win);
    cairo_fill(cr);
    if (m_hPic.Exist()) {
        cairo_set_source_surface(cr, m_hPic.GetHandle(), 0, 0);
        cairo_paint(cr);
    }
    if (m_text) {
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
        PangoLayout* layout = NewLayout(cr);
        SetSource(cr, TextColor());
        for (int i = 0; i < m_line_count; ++i) {
            if (!m_line[i] || !*m_line[i]) continue;
            pango_layout_set_text(layout, m_line[i], -1);
            cairo_move_to(cr, kPadX, kPadY + i * kLineHeight);
            pango_cairo_show_layout(cr, layout);
        }
        g_object_unref(layout);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    }
    SetSource(cr, FrameColor());
    cairo_set_line_width(cr, 1);
    cairo_rectangle(cr, 0.5, 0.5, m_cx_win - 1, m_cy_win - 1);
    cairo_stroke(cr);
    cairo_restore(cr);
}
