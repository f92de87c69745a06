#include "XDrawLib.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "XPic.h"

namespace {
// The font family list: the original face first, then a fallback that is always
// installed, so that layouts are the same on every machine that has it.
const char* const kFamily = "Lucida Grande, DejaVu Sans, sans-serif";

struct FontKind {
    int pixels;  // absolute size
    bool bold;
    long lineMetric;  // m_currentFontSize: deliberately smaller than the size
};
const FontKind kFonts[4] = {{11, false, 9}, {9, false, 7}, {11, true, 9}, {14, false, 12}};

const int kLineAdvance = 16;  // DrawTextBox's line advance, whatever the font
}  // namespace

XDrawLib::~XDrawLib() {
    if (m_hSave) {
        cairo_surface_t* s = cairo_get_target(m_hSave);
        cairo_surface_reference(s);
        cairo_destroy(m_hSave);
        cairo_surface_destroy(s);
    }
    if (m_fontDesc) pango_font_description_free(m_fontDesc);
}

void XDrawLib::Init(const void* window, int xOffset, int yOffset) {
    Reset();
    m_hWindow = window;
    SetOffset(xOffset, yOffset);
}

void XDrawLib::Reset() {
    m_level = 0;
    m_hDraw = nullptr;
    m_bClipSaved = false;
    m_kJixFont = -1;
    m_kJustify = 0;
    m_bIgnoreClipping = false;
}

bool XDrawLib::Open(XRect rect, cairo_t* context) {
    if (!m_hWindow) return false;
    if (m_level == 0 && !context) return false;
    ++m_level;
    if (m_level != 1) return true;  // nested: the state of the outer Open stays
    m_hDraw = context;
    m_rcMax = m_rcDraw = rect;
    m_kJustify = 0;
    m_bIgnoreClipping = false;
    cairo_save(m_hDraw);  // restored by the Close that ends level 1
    cairo_set_source_rgba(m_hDraw, 0, 0, 0, 1);
    m_clrPen = m_clrFill = m_clrStroke = XColor();  // remembered colours forgotten
    cairo_set_line_width(m_hDraw, 1.0);
    m_bSmooth = false;
    cairo_set_antialias(m_hDraw, CAIRO_ANTIALIAS_NONE);
    m_kJixFont = -1;
    SetTextFont(0);
    cairo_save(m_hDraw);  // the base every SetClipping returns to
    m_bClipSaved = true;
    return true;
}

void XDrawLib::Close() {
    if (m_level <= 0) return;
    --m_level;
    if (m_level < 1 && m_hDraw) {
        if (m_bClipSaved) cairo_restore(m_hDraw);
        m_bClipSaved = false;
        cairo_restore(m_hDraw);
        cairo_surface_flush(cairo_get_target(m_hDraw));
        if (m_level == 0) m_hDraw = nullptr;
    }
    m_kJixFont = -1;  // the next Open selects the font again
}

void XDrawLib::Flush() {
    if (m_hDraw) cairo_surface_flush(cairo_get_target(m_hDraw));
}

void XDrawLib::SetDrawRect(XRect draw, XRect clip) {
    m_rcDraw = draw;
    clip.Offset(-draw.left, -draw.top);
    SetClipping(clip);
    m_kJustify = 0;
}

void XDrawLib::SetClipping(XRect rc) {
    if (m_bIgnoreClipping || !m_hDraw || !m_bClipSaved) return;
    cairo_restore(m_hDraw);
    cairo_save(m_hDraw);
    cairo_set_antialias(m_hDraw, m_bSmooth ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
    int w = rc.Width(), h = rc.Height();
    cairo_rectangle(m_hDraw, X0() + rc.left, Y0() + rc.top, w > 0 ? w : 0, h > 0 ? h : 0);
    cairo_clip(m_hDraw);
}

void XDrawLib::SetSmoothing(bool on) {
    m_bSmooth = on;
    if (m_hDraw) cairo_set_antialias(m_hDraw, on ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
}

void XDrawLib::SetSource(XColor c) {
    cairo_set_source_rgba(m_hDraw, c.red() / 255.0, c.green() / 255.0, c.blue() / 255.0,
                          c.alpha() / 255.0);
}

void XDrawLib::FillDevice(double x, double y, double w, double h) {
    if (w <= 0 || h <= 0) return;
    cairo_rectangle(m_hDraw, x, y, w, h);
    cairo_fill(m_hDraw);
}

// ---- lines ----

void XDrawLib::SetPenColor(XColor color) {
    m_clrPen = color;
}

void XDrawLib::MoveTo(int x, int y) {
    m_xLast = x;
    m_yLast = y;
}

void XDrawLib::LineTo(int x, int y) {
    if (m_hDraw) {
        SetSource(m_clrPen);
        if (x == m_xLast || y == m_yLast) {
            // Straight lines are filled as the exact pixel run, both ends included.
            int x0 = x < m_xLast ? x : m_xLast, y0 = y < m_yLast ? y : m_yLast;
            int w = std::abs(x - m_xLast) + 1, h = std::abs(y - m_yLast) + 1;
            FillDevice(X0() + x0, Y0() + y0, w, h);
        } else {
            // Slanted lines run between pixel centres; square caps cover both ends.
            cairo_save(m_hDraw);
            cairo_set_line_cap(m_hDraw, CAIRO_LINE_CAP_SQUARE);
            cairo_move_to(m_hDraw, X0() + m_xLast + 0.5, Y0() + m_yLast + 0.5);
            cairo_line_to(m_hDraw, X0() + x + 0.5, Y0() + y + 0.5);
            cairo_stroke(m_hDraw);
            cairo_restore(m_hDraw);
        }
    }
    m_xLast = x;
    m_yLast = y;
}

void XDrawLib::DrawLine(int x1, int y1, int x2, int y2, XColor color) {
    SetPenColor(color);
    MoveTo(x1, y1);
    LineTo(x2, y2);
}

// ---- rectangles ----

void XDrawLib::FillSolidRect(XRect rc, XColor color, int bevel) {
    if (!m_hDraw || color.IsTransparent()) return;
    m_clrFill = color;
    SetSource(color);
    FillDevice(X0() + rc.left, Y0() + rc.top, rc.Width(), rc.Height());
    // The sign of the count is ignored, deliberately: a negative bevel is raised too.
    long count = bevel < 0 ? -static_cast<long>(bevel) : bevel;
    XColor light = color.Light(1.3f), dark = color.Light(0.7f);
    for (long i = 0; i < count && rc.left <= rc.right && rc.top <= rc.bottom; ++i) {
        BevelFrame(rc, light, dark);
        rc.Expand(-1);
    }
}

void XDrawLib::BevelFrame(XRect rc, XColor leftTop, XColor rightBottom) {
    SetPenColor(leftTop);
    MoveTo(rc.left, rc.bottom);
    LineTo(rc.left, rc.top);
    LineTo(rc.right, rc.top);
    SetPenColor(rightBottom);
    MoveTo(rc.right, rc.top);
    LineTo(rc.right, rc.bottom);
    LineTo(rc.left, rc.bottom);
}

void XDrawLib::FillRoundRect(XRect rc, XColor color, int radius) {
    if (!m_hDraw || color.IsTransparent()) return;
    int half = (rc.Width() < rc.Height() ? rc.Width() : rc.Height()) / 2;
    if (radius > half) radius = half;
    if (radius < 0) radius = 0;
    m_clrFill = color;
    SetSource(color);
    FillDevice(X0() + rc.left, Y0() + rc.top + radius, rc.Width(), rc.Height() - 2 * radius);
    for (int k = 0; k < radius; ++k) {
        double dy = radius - k - 0.5;
        int inset =
            radius - static_cast<int>(std::floor(std::sqrt(radius * radius - dy * dy) + 0.5));
        FillDevice(X0() + rc.left + inset, Y0() + rc.top + k, rc.Width() - 2 * inset, 1);
        FillDevice(X0() + rc.left + inset, Y0() + rc.bottom - k, rc.Width() - 2 * inset, 1);
    }
}

void XDrawLib::DrawRect(XRect rc, XColor color) {
    SetPenColor(color);
    MoveTo(rc.left, rc.bottom);
    LineTo(rc.left, rc.top);
    LineTo(rc.right, rc.top);
    LineTo(rc.right, rc.bottom);
    LineTo(rc.left, rc.bottom);
}

void XDrawLib::DrawButton(XRect rc, XColor color, bool pressed) {
    FillAquaRect(rc, pressed ? color.Light(0.8f) : color);
    XColor light = color.Light(1.3f), dark = color.Light(0.5f);
    if (pressed)
        DrawInRect(rc, dark, light);
    else
        DrawInRect(rc, light, dark);
}

void XDrawLib::Fill3dRect(XRect rc, XColor color, bool raised) {
    if (!m_hDraw || color.IsTransparent()) return;
    FillSolidRect(rc, color, 0);
    BevelFrame(rc, color.Light(raised ? 1.3f : 0.7f), color.Light(raised ? 0.7f : 1.3f));
}

void XDrawLib::FillGradRect(XRect& rc, XColor top, XColor bottom) {
    if (!m_hDraw) return;
    double x = X0() + rc.left, y = Y0() + rc.top, w = rc.Width(), h = 0;
    int br = top.red(), bg = top.green(), bb = top.blue();
    for (int row = rc.top; row <= rc.bottom; ++row) {
        // One row: t would be 0 / 0; it is 0 there.
        float t = rc.bottom != rc.top
                      ? static_cast<float>(row - rc.top) / static_cast<float>(rc.bottom - rc.top)
                      : 0.0f;
        int r = static_cast<int>(top.red() + (bottom.red() - top.red()) * t);
        int g = static_cast<int>(top.green() + (bottom.green() - top.green()) * t);
        int b = static_cast<int>(top.blue() + (bottom.blue() - top.blue()) * t);
        if (r == br && g == bg && b == bb && row != rc.bottom) {
            h += 1;
        } else {
            cairo_set_source_rgba(m_hDraw, br / 255.0, bg / 255.0, bb / 255.0, 1.0);
            FillDevice(x, y, w, h);
            br = r, bg = g, bb = b;
            y = Y0() + row;
            // Height 2, deliberately: consecutive bands overlap by one row so no seam shows.
            h = 2;
        }
    }
    cairo_set_source_rgba(m_hDraw, 0, 0, 0, 1);
    m_clrFill = XColor();
}

void XDrawLib::FillAquaRect(XRect rc, XColor color) {
    FillGradRect(rc, color, color.Light(0.8f));
    XRect upper = rc;
    upper.left += 2;
    upper.right -= 2;
    upper.bottom = upper.top + (rc.bottom - rc.top + 1) / 2;
    upper.top += 1;
    FillGradRect(upper, color.Light(1.25f), color);
}

void XDrawLib::DrawShadow(XRect rc, int size) {
    for (int i = 1; i <= size; ++i) {
        int alpha = 96 * (size - i + 1) / (size + 1);
        SetPenColor(XColor(0, 0, 0, alpha));
        MoveTo(rc.right + i, rc.top + i);
        LineTo(rc.right + i, rc.bottom + i);
        MoveTo(rc.left + i, rc.bottom + i);
        LineTo(rc.right + i - 1, rc.bottom + i);
    }
}

void XDrawLib::DrawInRect(XRect rc, XColor light, XColor dark) {
    SetPenColor(light);
    MoveTo(rc.left + 1, rc.bottom);
    LineTo(rc.left + 1, rc.bottom - 1);
    LineTo(rc.left, rc.bottom - 1);
    LineTo(rc.left, rc.top + 1);
    LineTo(rc.left + 1, rc.top + 1);
    LineTo(rc.left + 1, rc.top);
    LineTo(rc.right - 1, rc.top);
    LineTo(rc.right - 1, rc.top + 1);
    LineTo(rc.right, rc.top + 1);
    SetPenColor(dark);
    LineTo(rc.right, rc.top + 1);
    LineTo(rc.right, rc.bottom - 1);
    LineTo(rc.right - 1, rc.bottom - 1);
    LineTo(rc.right - 1, rc.bottom);
    LineTo(rc.left + 1, rc.bottom);
}

void XDrawLib::DrawFrame(XRect rc, XColor color, bool rounded) {
    if (!rounded) {
        DrawRect(rc, color);
        return;
    }
    DrawLine(rc.left + 1, rc.top, rc.right - 1, rc.top, color);
    DrawLine(rc.right, rc.top + 1, rc.right, rc.bottom - 1, color);
    DrawLine(rc.right - 1, rc.bottom, rc.left + 1, rc.bottom, color);
    DrawLine(rc.left, rc.bottom - 1, rc.left, rc.top + 1, color);
}

void XDrawLib::DrawPic(XPic* pic, int x, int y) {
    if (!m_hDraw || !pic || !pic->GetHandle()) return;
    double dx = X0() + x, dy = Y0() + y;
    cairo_save(m_hDraw);
    cairo_set_source_surface(m_hDraw, pic->GetHandle(), dx, dy);
    cairo_rectangle(m_hDraw, dx, dy, pic->Width(), pic->Height());
    cairo_fill(m_hDraw);
    cairo_restore(m_hDraw);
}

// ---- text ----

void XDrawLib::SetTextColor(XColor color) {
    m_clrText = color;
}

void XDrawLib::ApplyFont(long kind) {
    const FontKind& f = kFonts[kind];
    if (m_fontDesc) pango_font_description_free(m_fontDesc);
    m_fontDesc = pango_font_description_from_string(kFamily);
    pango_font_description_set_absolute_size(m_fontDesc, f.pixels * PANGO_SCALE);
    pango_font_description_set_weight(m_fontDesc, f.bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    m_currentFontSize = f.lineMetric;
}

void XDrawLib::SetTextFont(long kind) {
    if (kind < 0 || kind > 3) kind = 0;
    if (kind == m_kJixFont) return;
    m_kJixFont = kind;
    ApplyFont(kind);
}

cairo_t* XDrawLib::TextContext() {
    if (m_hDraw) return m_hDraw;
    if (!m_hSave) {
        cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
        m_hSave = cairo_create(s);
        cairo_surface_destroy(s);  // the context keeps it
        m_bLocalDrawHandle = true;
    }
    return m_hSave;
}

PangoLayout* XDrawLib::MakeLayout(const char* text, int len) {
    if (!m_fontDesc) {
        ApplyFont(0);
        if (m_kJixFont < 0) m_currentFontSize = kFonts[0].lineMetric;
    }
    PangoLayout* layout = pango_cairo_create_layout(TextContext());
    // Unhinted metrics: the same text measures the same on every surface.
    cairo_font_options_t* opts = cairo_font_options_create();
    cairo_font_options_set_hint_metrics(opts, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(opts, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_antialias(opts, CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout), opts);
    pango_layout_context_changed(layout);
    cairo_font_options_destroy(opts);
    pango_layout_set_font_description(layout, m_fontDesc);
    if (text && !g_utf8_validate(text, len, nullptr)) {
        std::string shown;
        pango_layout_set_text(layout, DisplayText(std::string(text, len).c_str(), shown), -1);
    } else {
        pango_layout_set_text(layout, text ? text : "", text ? len : 0);
    }
    return layout;
}

const char* XDrawLib::DisplayText(const char* text, std::string& shown) {
    if (!text) return "";
    if (g_utf8_validate(text, -1, nullptr)) return text;
    gchar* name = g_filename_display_name(text);
    shown = name;
    g_free(name);
    return shown.c_str();
}

int XDrawLib::MeasureWidth(const char* text, int len) {
    PangoLayout* layout = MakeLayout(text, len);
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    g_object_unref(layout);
    return logical.width / PANGO_SCALE;  // truncated toward zero
}

void XDrawLib::ShowText(const char* text, int len, int x, int y) {
    if (!m_hDraw || !text) return;
    PangoLayout* layout = MakeLayout(text, len);
    double baseline = pango_layout_get_baseline(layout) / static_cast<double>(PANGO_SCALE);
    SetSource(m_clrText);
    cairo_move_to(m_hDraw, X0() + x, Y0() + y + m_currentFontSize - baseline);
    pango_cairo_show_layout(m_hDraw, layout);
    cairo_new_path(m_hDraw);
    g_object_unref(layout);
}

void XDrawLib::DrawText(const char* text, int x, int y) {
    if (!text) return;
    ShowText(text, static_cast<int>(std::strlen(text)), x, y);
}

int XDrawLib::JustifiedX(XRect* rc, int width) const {
    if (m_kJustify < 0) return rc->left + 2;
    if (m_kJustify > 0) return rc->right - 2 - width;
    return rc->left + (rc->Width() - width) / 2;
}

int XDrawLib::CentredY(XRect* rc) const {
    return rc->top + (rc->Height() - static_cast<int>(m_currentFontSize)) / 2;
}

void XDrawLib::DrawText(const char* text, XRect* rc) {
    if (!text || !rc) return;
    int len = static_cast<int>(std::strlen(text));
    int width = MeasureWidth(text, len);
    ShowText(text, len, JustifiedX(rc, width), CentredY(rc));
}

int XDrawLib::DrawTextPos(const char* text, XRect* rc, int* pos, int count) {
    if (!text || !rc) return 0;
    int len = static_cast<int>(std::strlen(text));
    PangoLayout* layout = MakeLayout(text, len);
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    int width = logical.width / PANGO_SCALE;
    int x = JustifiedX(rc, width);
    for (int i = 0; pos && i <= len && i < count; ++i) {
        PangoRectangle r;
        pango_layout_index_to_pos(layout, i, &r);
        pos[i] = x + r.x / PANGO_SCALE;
    }
    g_object_unref(layout);
    ShowText(text, len, x, CentredY(rc));
    return width;
}

XRect XDrawLib::DrawTextSize(const char* text) {
    if (m_kJixFont < 0 && !m_fontDesc) SetTextFont(0);
    int width = text ? MeasureWidth(text, static_cast<int>(std::strlen(text))) : 0;
    return XRect(0, 0, width, static_cast<int>(m_currentFontSize));
}

int XDrawLib::LayoutBox(const char* text, XRect box, bool draw) {
    const char* p = text ? text : "";
    int x = box.left + 2, y = box.top + 2;
    std::string line;
    bool hasWords = false;
    const int avail = box.Width() - 4;
    auto isBreak = [](char c) { return c == '\r' || c == '\n'; };
    auto emit = [&]() {
        if (draw) ShowText(line.c_str(), static_cast<int>(line.size()), x, y);
    };
    while (isBreak(*p)) ++p;
    while (*p) {
        size_t wordInLine = line.size();
        const char* wordInText = p;
        while (*p && *p != ' ' && !isBreak(*p)) line += *p++;
        if (MeasureWidth(line.c_str(), static_cast<int>(line.size())) < avail) {
            if (isBreak(*p)) {
                ++p;
                if (isBreak(*p)) ++p;  // a CR LF pair ends one line
                emit();
                y += kLineAdvance;
                line.clear();
                hasWords = false;
            } else if (*p == ' ') {
                line += ' ';
                ++p;
                hasWords = true;
            } else {
                emit();
                break;
            }
        } else {
            if (hasWords) {
                // Back to the space before the word; it is stepped over below.
                line.resize(wordInLine > 0 ? wordInLine - 1 : 0);
                p = wordInText - 1;
            }
            emit();  // a first word wider than the box goes out alone, overflowing
            y += kLineAdvance;
            if (*p) ++p;
            line.clear();
            hasWords = false;
        }
    }
    // A text that ends in a space leaves its last line undrawn, as laid out.
    return y - box.top + 12;
}

int XDrawLib::DrawTextSize(const char* text, XRect box) {
    return LayoutBox(text, box, false);
}

int XDrawLib::DrawTextBox(const char* text, XRect box) {
    return LayoutBox(text, box, true);
}

// ---- polygons, marks, bitmaps ----

void XDrawLib::FillRegn(XRegn& regn, XColor color) {
    if (!m_hDraw || regn.GetCount() < 2 || color.IsTransparent()) return;
    SetSource(color);
    for (int i = 0; i < regn.GetCount(); ++i) {
        double px = X0() + regn.GetX(i) + 0.5, py = Y0() + regn.GetY(i) + 0.5;
        if (i == 0)
            cairo_move_to(m_hDraw, px, py);
        else
            cairo_line_to(m_hDraw, px, py);
    }
    cairo_close_path(m_hDraw);
    cairo_fill(m_hDraw);
    DrawRegn(regn, color);  // the outline pixels belong to the region, as a rectangle's edges do
}

void XDrawLib::DrawRegn(XRegn& regn, XColor color) {
    if (regn.GetCount() < 1) return;
    SetPenColor(color);
    MoveTo(regn.GetX(0), regn.GetY(0));
    if (regn.GetCount() == 1) LineTo(regn.GetX(0), regn.GetY(0));
    for (int i = 1; i < regn.GetCount(); ++i) LineTo(regn.GetX(i), regn.GetY(i));
}

void XDrawLib::DrawSpot(int x, int y, XColor color) {
    if (!m_hDraw || color.IsTransparent()) return;
    SetSource(color);
    FillDevice(X0() + x - 1, Y0() + y - 1, 3, 3);
}

void XDrawLib::DrawCheck(int x, int y) {
    for (int d = 0; d < 2; ++d) {  // two pixels thick
        MoveTo(x + 1, y + 4 + d);
        LineTo(x + 3, y + 6 + d);
        LineTo(x + 7, y + 2 + d);
    }
}

void XDrawLib::FillMatrix(XRect rc, char* cells, int cols, int rows, unsigned int* palette) {
    if (!m_hDraw || !cells || cols <= 0 || rows <= 0) return;
    int cw = rc.Width() / cols, ch = rc.Height() / rows;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) {
            unsigned char v = static_cast<unsigned char>(cells[r * cols + c]);
            XColor color;
            if (palette) {
                unsigned int p = palette[v];
                color = XColor((p >> 16) & 255, (p >> 8) & 255, p & 255, (p >> 24) & 255);
            } else if (v) {
                color = m_clrPen;
            }
            if (color.IsTransparent()) continue;
            SetSource(color);
            FillDevice(X0() + rc.left + c * cw, Y0() + rc.top + r * ch, cw, ch);
        }
    }
}

void XDrawLib::DrawBitmap(unsigned int* pixels, int x, int y, int cx, int cy) {
    if (!m_hDraw || !pixels || cx <= 0 || cy <= 0) return;
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, cx, cy);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return;
    }
    unsigned char* data = cairo_image_surface_get_data(s);
    int stride = cairo_image_surface_get_stride(s);
    for (int j = 0; j < cy; ++j) {
        auto* row = reinterpret_cast<uint32_t*>(data + j * stride);
        for (int i = 0; i < cx; ++i) {
            uint32_t p = pixels[j * cx + i];
            uint32_t a = p >> 24;
            auto pm = [a](uint32_t v) { return v * a / 255; };
            row[i] =
                (a << 24) | (pm((p >> 16) & 255) << 16) | (pm((p >> 8) & 255) << 8) | pm(p & 255);
        }
    }
    cairo_surface_mark_dirty(s);
    double dx = X0() + x, dy = Y0() + y;
    cairo_save(m_hDraw);
    cairo_set_source_surface(m_hDraw, s, dx, dy);
    cairo_rectangle(m_hDraw, dx, dy, cx, cy);
    cairo_fill(m_hDraw);
    cairo_restore(m_hDraw);
    cairo_surface_destroy(s);
}
