// Composes Velotune's pictures into mock-ups of the main window (playing panel
// and settings panel, 400 x 135 each, shown twice enlarged without smoothing)
// plus every picture on its own, and writes the sheet as one PNG. It lets a
// reviewer judge the look without running the program; the labels, the
// progress bar and the check box are drawn here the way the window draws them.
//
// Usage: make_contact_sheet <folder with the pictures> <output.png>

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace {

constexpr int kWinW = 400;
constexpr int kWinH = 135;
constexpr int kPanelTop = 35;
constexpr int kZoom = 2;

std::string g_folder;

cairo_surface_t* Load(const char* name) {
    const std::string path = g_folder + "/" + name;
    cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(),
                     cairo_status_to_string(cairo_surface_status(s)));
    }
    return s;
}

void Pic(cairo_t* cr, const char* name, int x, int y) {
    cairo_surface_t* s = Load(name);
    cairo_set_source_surface(cr, s, x, y);
    cairo_paint(cr);
    cairo_surface_destroy(s);
}

void Rgb(cairo_t* cr, int r, int g, int b) {
    cairo_set_source_rgb(cr, r / 255.0, g / 255.0, b / 255.0);
}

// Text of the given pixel size in the window's fallback family; justify -1
// left, 0 centre, 1 right within [left, right]; vertically centred in [top, bottom].
void Text(cairo_t* cr, const char* text, int px, bool bold, int left, int top, int right,
          int bottom, int justify) {
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* font = pango_font_description_from_string("DejaVu Sans");
    pango_font_description_set_absolute_size(font, px * PANGO_SCALE);
    if (bold) pango_font_description_set_weight(font, PANGO_WEIGHT_BOLD);
    pango_layout_set_font_description(layout, font);
    pango_layout_set_text(layout, text, -1);
    int w = 0, h = 0;
    pango_layout_get_pixel_size(layout, &w, &h);
    int x = left;
    if (justify == 0) x = left + (right - left + 1 - w) / 2;
    if (justify > 0) x = right + 1 - w;
    cairo_move_to(cr, x, top + (bottom - top + 1 - h) / 2);
    pango_cairo_show_layout(cr, layout);
    pango_font_description_free(font);
    g_object_unref(layout);
}

void Playlist(cairo_t* cr) {
    Rgb(cr, 16, 18, 24);
    cairo_rectangle(cr, 0, 0, kWinW, kPanelTop);
    cairo_fill(cr);
    Rgb(cr, 47, 50, 196);
    cairo_rectangle(cr, 0, 1, kWinW, 16);
    cairo_fill(cr);
    Rgb(cr, 245, 245, 255);
    Text(cr, "kick_808.wav", 11, false, 6, 1, 300, 16, -1);
    Rgb(cr, 170, 178, 192);
    Text(cr, "pluck_a3.aif", 11, false, 6, 18, 300, 33, -1);
}

void PlayingMockup(cairo_t* cr) {
    Playlist(cr);
    cairo_save(cr);
    cairo_translate(cr, 0, kPanelTop);
    Pic(cr, "pan_main.png", 0, 0);
    // Progress bar 8,13,368,16: back colour, then 40 % in the fore colour with
    // the raised 3D frame (light top-left, dark bottom-right).
    Rgb(cr, 72, 80, 96);
    cairo_rectangle(cr, 8, 13, 361, 4);
    cairo_fill(cr);
    const int barRight = 8 + static_cast<int>(361 * 0.4) - 1;
    Rgb(cr, 20, 20, 140);
    cairo_rectangle(cr, 8, 13, barRight - 8 + 1, 4);
    cairo_fill(cr);
    Rgb(cr, 26, 26, 182);
    cairo_rectangle(cr, 8, 13, barRight - 8 + 1, 1);
    cairo_fill(cr);
    Rgb(cr, 14, 14, 98);
    cairo_rectangle(cr, 8, 16, barRight - 8 + 1, 1);
    cairo_fill(cr);

    Rgb(cr, 245, 245, 255);
    Text(cr, "Rate: 44100 Hz", 11, false, 5, 22, 100, 38, -1);
    Text(cr, "Size: 66150", 11, false, 5, 40, 100, 56, -1);
    Text(cr, "1.50 sec", 11, false, 5, 58, 100, 74, -1);
    Text(cr, "16 bits", 11, false, 5, 76, 100, 92, -1);

    Pic(cr, "btn_stop.png", 114, 56);
    Pic(cr, "btn_prev.png", 137, 47);
    Pic(cr, "btn_pause.png", 173, 39);
    Pic(cr, "btn_next.png", 225, 47);
    Pic(cr, "icn_vol_h.png", 264, 53);
    Pic(cr, "btn_info.png", 375, 5);
    Pic(cr, "btn_home.png", 323, 33);
    Rgb(cr, 120, 130, 140);
    Text(cr, "velotune.test", 9, false, 323, 64, 386, 76, 0);
    cairo_restore(cr);
}

void SettingsMockup(cairo_t* cr) {
    Playlist(cr);
    cairo_save(cr);
    cairo_translate(cr, 0, kPanelTop);
    Pic(cr, "pan_sets.png", 0, 0);
    Pic(cr, "btn_done.png", kWinW - 45, 5);
    // Check box 10,20,115,38: two black frames around 10..24 x 23..37, a tick.
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    cairo_set_line_width(cr, 1);
    Rgb(cr, 0, 0, 0);
    cairo_rectangle(cr, 10.5, 23.5, 14, 14);
    cairo_rectangle(cr, 11.5, 24.5, 12, 12);
    cairo_stroke(cr);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    const int cx = 10 + 15 / 2, cy = 23 + 15 / 2 - 1, a = 3, b = 8;
    cairo_move_to(cr, cx, cy);
    cairo_line_to(cr, cx + b, cy - b);
    cairo_line_to(cr, cx + b + a, cy - b + a);
    cairo_line_to(cr, cx, cy + 2 * a);
    cairo_line_to(cr, cx - 2 * a, cy);
    cairo_line_to(cr, cx - a, cy - a);
    cairo_close_path(cr);
    Rgb(cr, 47, 50, 196);
    cairo_fill_preserve(cr);
    Rgb(cr, 0, 0, 0);
    cairo_stroke(cr);
    Rgb(cr, 255, 255, 255);
    Text(cr, "Playback Limit:", 11, false, 10 + 14 + 3 + 5, 20, 115, 40, -1);
    Rgb(cr, 0, 0, 0);
    Text(cr, "5", 11, false, 120, 22, 150, 38, 0);
    Rgb(cr, 255, 255, 255);
    Text(cr, "seconds", 11, false, 155, 22, 210, 38, -1);
    cairo_restore(cr);
}

// Draws a 400 x 135 mock-up enlarged kZoom times, pixels kept square.
void Zoomed(cairo_t* cr, void (*mockup)(cairo_t*), int x, int y) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWinW, kWinH);
    cairo_t* m = cairo_create(s);
    mockup(m);
    cairo_destroy(m);
    cairo_save(cr);
    cairo_translate(cr, x, y);
    cairo_scale(cr, kZoom, kZoom);
    cairo_set_source_surface(cr, s, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_paint(cr);
    cairo_restore(cr);
    cairo_surface_destroy(s);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s <picture folder> <output.png>\n", argv[0]);
        return 2;
    }
    g_folder = argv[1];
    const int margin = 20;
    const int sheetW = margin * 3 + 2 * kWinW * kZoom;
    const int sheetH = 28 + kWinH * kZoom + 14 + 24 + kWinH + 20 + 190;
    cairo_surface_t* sheet = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, sheetW, sheetH);
    cairo_t* cr = cairo_create(sheet);
    Rgb(cr, 236, 238, 242);
    cairo_paint(cr);

    Rgb(cr, 40, 44, 52);
    Text(cr, "Playing panel (2x)", 14, true, margin, 4, 600, 24, -1);
    Text(cr, "Settings panel (2x)", 14, true, margin * 2 + kWinW * kZoom, 4, 1600, 24, -1);
    Zoomed(cr, PlayingMockup, margin, 28);
    Zoomed(cr, SettingsMockup, margin * 2 + kWinW * kZoom, 28);

    // Actual size, as on screen.
    const int row2 = 28 + kWinH * kZoom + 14;
    Rgb(cr, 40, 44, 52);
    Text(cr, "Actual size", 14, true, margin, row2, 600, row2 + 20, -1);
    cairo_save(cr);
    cairo_translate(cr, margin, row2 + 24);
    PlayingMockup(cr);
    cairo_restore(cr);
    cairo_save(cr);
    cairo_translate(cr, margin * 2 + kWinW, row2 + 24);
    SettingsMockup(cr);
    cairo_restore(cr);

    // Every picture alone, 2x, on a neutral dark tile, with its name and size.
    static const char* const kNames[] = {"btn_stop.png",  "btn_prev.png",  "btn_play.png",
                                         "btn_pause.png", "btn_next.png",  "icn_vol_l.png",
                                         "icn_vol_m.png", "icn_vol_h.png", "btn_info.png",
                                         "btn_home.png",  "btn_done.png",  "velotune.png"};
    int x = margin;
    const int row3 = row2 + 24 + kWinH + 20;
    for (const char* name : kNames) {
        cairo_surface_t* s = Load(name);
        const int w = cairo_image_surface_get_width(s);
        const int h = cairo_image_surface_get_height(s);
        const int zoom = w > 100 ? 1 : kZoom;
        const int scale_div = w > 100 ? 2 : 1;  // the icon shown at half size
        const int tileW = std::max(w * zoom / scale_div, 100) + 16;
        Rgb(cr, 34, 38, 48);
        cairo_rectangle(cr, x, row3, tileW, 150);
        cairo_fill(cr);
        cairo_save(cr);
        cairo_translate(cr, x + (tileW - w * zoom / scale_div) / 2, row3 + 8);
        cairo_scale(cr, static_cast<double>(zoom) / scale_div,
                    static_cast<double>(zoom) / scale_div);
        cairo_set_source_surface(cr, s, 0, 0);
        if (zoom > 1) cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
        cairo_paint(cr);
        cairo_restore(cr);
        char caption[64];
        std::snprintf(caption, sizeof caption, "%s", name);
        Rgb(cr, 40, 44, 52);
        Text(cr, caption, 10, false, x, row3 + 152, x + tileW - 1, row3 + 166, 0);
        std::snprintf(caption, sizeof caption, "%d x %d", w, h);
        Text(cr, caption, 10, false, x, row3 + 166, x + tileW - 1, row3 + 180, 0);
        cairo_surface_destroy(s);
        x += tileW + 8;
    }

    cairo_destroy(cr);
    const cairo_status_t status = cairo_surface_write_to_png(sheet, argv[2]);
    cairo_surface_destroy(sheet);
    if (status != CAIRO_STATUS_SUCCESS) {
        std::fprintf(stderr, "%s: %s\n", argv[2], cairo_status_to_string(status));
        return 1;
    }
    return 0;
}
