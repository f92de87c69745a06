// Draws Velotune's pictures with cairo and writes them as PNG files into the
// folder given on the command line. Run at build time, so the pictures are made
// from this source and never edited by hand.
//
// Every picture is drawn at exactly the size of the control that shows it: the
// window draws pictures at their own size and never scales them. The sizes
// follow the main window's control rectangles, whose edges are inclusive (a
// rectangle from 114 to 127 is 14 pixels wide).
//
// Usage: make_pictures <output folder>

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace {

constexpr double kPi = 3.14159265358979323846;

// The look's palette, as 0..1 colour channels.
struct Rgb {
    double r, g, b;
};
constexpr Rgb Hex(unsigned v) {
    return {((v >> 16) & 0xFF) / 255.0, ((v >> 8) & 0xFF) / 255.0, (v & 0xFF) / 255.0};
}
const Rgb kPanelTop = Hex(0x2C3240);
const Rgb kPanelBottom = Hex(0x1A1E27);
const Rgb kWell = Hex(0x12151C);
const Rgb kKeyTop = Hex(0x454D5E);
const Rgb kKeyBottom = Hex(0x272C37);
const Rgb kKeyRim = Hex(0x0C0E13);
const Rgb kGlyph = Hex(0xE4E9F2);
const Rgb kAccentTop = Hex(0x6E7DFF);
const Rgb kAccentBottom = Hex(0x2F32C4);
const Rgb kAccentRim = Hex(0x14156A);
const Rgb kCyan = Hex(0x4FD1E8);
const Rgb kField = Hex(0xE8ECF3);

void SetRgb(cairo_t* cr, Rgb c, double a = 1.0) {
    cairo_set_source_rgba(cr, c.r, c.g, c.b, a);
}

cairo_pattern_t* VerticalGradient(double y0, double y1, Rgb top, Rgb bottom, double a = 1.0) {
    cairo_pattern_t* p = cairo_pattern_create_linear(0, y0, 0, y1);
    cairo_pattern_add_color_stop_rgba(p, 0, top.r, top.g, top.b, a);
    cairo_pattern_add_color_stop_rgba(p, 1, bottom.r, bottom.g, bottom.b, a);
    return p;
}

void FillWith(cairo_t* cr, cairo_pattern_t* p, bool preserve = false) {
    cairo_set_source(cr, p);
    if (preserve)
        cairo_fill_preserve(cr);
    else
        cairo_fill(cr);
    cairo_pattern_destroy(p);
}

void RoundedRect(cairo_t* cr, double x, double y, double w, double h, double r) {
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -kPi / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, kPi / 2);
    cairo_arc(cr, x + r, y + h - r, r, kPi / 2, kPi);
    cairo_arc(cr, x + r, y + r, r, kPi, 3 * kPi / 2);
    cairo_close_path(cr);
}

// A round key: dark rim, soft vertical gradient, a light edge along its top
// half so it reads as raised under the panel's top light.
void RoundKey(cairo_t* cr, double cx, double cy, double radius, Rgb top, Rgb bottom, Rgb rim) {
    cairo_arc(cr, cx, cy, radius, 0, 2 * kPi);
    SetRgb(cr, rim);
    cairo_fill(cr);
    cairo_arc(cr, cx, cy, radius - 1.0, 0, 2 * kPi);
    FillWith(cr, VerticalGradient(cy - radius, cy + radius, top, bottom));
    cairo_set_line_width(cr, 1.0);
    cairo_arc(cr, cx, cy, radius - 1.5, kPi * 1.1, kPi * 1.9);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.22);
    cairo_stroke(cr);
}

void Triangle(cairo_t* cr, double x0, double y0, double x1, double y1, double x2, double y2) {
    cairo_move_to(cr, x0, y0);
    cairo_line_to(cr, x1, y1);
    cairo_line_to(cr, x2, y2);
    cairo_close_path(cr);
}

// The maker's mark: a mirrored row of bars, a note swelling and fading, from
// the accent blue into cyan. Used on the home button and the application icon.
void WaveMark(cairo_t* cr, double x, double cy, double width, double height, int bars) {
    const double pitch = width / bars;
    const double barW = pitch * 0.62;
    cairo_pattern_t* p = cairo_pattern_create_linear(x, 0, x + width, 0);
    cairo_pattern_add_color_stop_rgb(p, 0, kAccentTop.r, kAccentTop.g, kAccentTop.b);
    cairo_pattern_add_color_stop_rgb(p, 1, kCyan.r, kCyan.g, kCyan.b);
    for (int i = 0; i < bars; ++i) {
        const double t = (i + 0.5) / bars;
        // A swelling and fading note with a little shimmer between bars.
        const double env = std::pow(std::sin(kPi * t), 0.7);
        const double shimmer = 0.72 + 0.28 * std::cos(i * 2.3);
        const double h = std::max(barW, height * env * shimmer);
        RoundedRect(cr, x + i * pitch + (pitch - barW) / 2, cy - h / 2, barW, h, barW / 2);
    }
    cairo_set_source(cr, p);
    cairo_fill(cr);
    cairo_pattern_destroy(p);
}

// A gear outline of n teeth with a hole, filled in the current source.
void Gear(cairo_t* cr, double cx, double cy, double outer, double inner, double hole, int teeth) {
    const double step = 2 * kPi / teeth;
    cairo_new_sub_path(cr);
    for (int i = 0; i < teeth; ++i) {
        const double a = i * step - kPi / 2;
        cairo_line_to(cr, cx + inner * std::cos(a - step * 0.30),
                      cy + inner * std::sin(a - step * 0.30));
        cairo_line_to(cr, cx + outer * std::cos(a - step * 0.17),
                      cy + outer * std::sin(a - step * 0.17));
        cairo_line_to(cr, cx + outer * std::cos(a + step * 0.17),
                      cy + outer * std::sin(a + step * 0.17));
        cairo_line_to(cr, cx + inner * std::cos(a + step * 0.30),
                      cy + inner * std::sin(a + step * 0.30));
        cairo_arc(cr, cx, cy, inner, a + step * 0.30, a + step * 0.70);
    }
    cairo_close_path(cr);
    cairo_new_sub_path(cr);
    cairo_arc_negative(cr, cx, cy, hole, 2 * kPi, 0);
    cairo_close_path(cr);
    cairo_fill(cr);
}

// The panels' common ground: a calm slate gradient with a crisp edge on top
// where the panel meets the playlist.
void PanelGround(cairo_t* cr, int w, int h) {
    cairo_rectangle(cr, 0, 0, w, h);
    FillWith(cr, VerticalGradient(0, h, kPanelTop, kPanelBottom));
    cairo_rectangle(cr, 0, 0, w, 1);
    SetRgb(cr, kKeyRim);
    cairo_fill(cr);
    cairo_rectangle(cr, 0, 1, w, 1);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.07);
    cairo_fill(cr);
}

// A recessed area: darker inside, a faint light line along its lower edge.
void Recess(cairo_t* cr, double x, double y, double w, double h, double r, double depth) {
    RoundedRect(cr, x, y + 1, w, h, r);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.06);
    cairo_fill(cr);
    RoundedRect(cr, x, y, w, h, r);
    cairo_set_source_rgba(cr, 0, 0, 0, depth);
    cairo_fill(cr);
}

void DrawPanMain(cairo_t* cr, int w, int h) {
    PanelGround(cr, w, h);

    // Groove under the progress bar (8..368 x 13..16): the bar paints its own
    // colours inside, the groove frames it by one pixel.
    RoundedRect(cr, 6, 11, 365, 8, 3);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.07);
    cairo_fill(cr);
    RoundedRect(cr, 6, 10, 365, 8, 3);
    SetRgb(cr, kWell);
    cairo_fill(cr);

    // A quiet card behind the four property labels (5..100 x 22..92).
    Recess(cr, 2, 21, 102, 74, 5, 0.20);

    // The transport deck behind stop, previous, play, next and volume.
    Recess(cr, 108, 33, 182, 60, 8, 0.14);

    // The maker's corner: nothing but a faint divider, the home button and
    // its web-domain label bring their own ink.
    cairo_rectangle(cr, 305, 30, 1, 62);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.30);
    cairo_fill(cr);
    cairo_rectangle(cr, 306, 30, 1, 62);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.05);
    cairo_fill(cr);
}

void DrawPanSets(cairo_t* cr, int w, int h) {
    PanelGround(cr, w, h);

    // Card holding the playback limit row (check box 10..115, edit box
    // 120..150, "seconds" 155..210, all between rows 20 and 38).
    Recess(cr, 3, 13, 214, 32, 6, 0.20);

    // The check box draws a black frame 10..24 x 23..37: a light square under
    // it keeps the frame and the tick legible on the dark panel.
    RoundedRect(cr, 10, 23, 15, 15, 2);
    SetRgb(cr, kField);
    cairo_fill(cr);

    // Field under the limit edit box (120..150 x 22..38).
    RoundedRect(cr, 119, 21, 33, 19, 3);
    SetRgb(cr, kKeyRim);
    cairo_fill(cr);
    RoundedRect(cr, 120, 22, 31, 17, 2);
    SetRgb(cr, kField);
    cairo_fill(cr);

    // A large, faint gear as the panel's watermark, away from every control.
    cairo_set_source_rgba(cr, 1, 1, 1, 0.035);
    Gear(cr, 300, 62, 44, 35, 15, 10);
}

void DrawBtnStop(cairo_t* cr, int w, int) {
    const double c = w / 2.0;
    RoundKey(cr, c, c, c, kKeyTop, kKeyBottom, kKeyRim);
    RoundedRect(cr, c - 2.5, c - 2.5, 5, 5, 0.8);
    SetRgb(cr, kGlyph);
    cairo_fill(cr);
}

// Previous and next: a bar and a triangle pointing away from it.
void DrawSkip(cairo_t* cr, int w, bool next) {
    const double c = w / 2.0;
    RoundKey(cr, c, c, c, kKeyTop, kKeyBottom, kKeyRim);
    cairo_save(cr);
    if (next) {
        cairo_translate(cr, w, 0);
        cairo_scale(cr, -1, 1);
    }
    SetRgb(cr, kGlyph);
    RoundedRect(cr, c - 6.5, c - 6, 2.5, 12, 0.8);
    cairo_fill(cr);
    Triangle(cr, c - 3.5, c, c + 6.5, c - 6, c + 6.5, c + 6);
    cairo_fill(cr);
    cairo_restore(cr);
}

// The big play/pause key in the accent colour, with a soft glow around it.
void DrawBigKey(cairo_t* cr, int w, bool pause) {
    const double c = w / 2.0;
    cairo_pattern_t* glow = cairo_pattern_create_radial(c, c, c - 6, c, c, c);
    cairo_pattern_add_color_stop_rgba(glow, 0, kAccentTop.r, kAccentTop.g, kAccentTop.b, 0.35);
    cairo_pattern_add_color_stop_rgba(glow, 1, kAccentTop.r, kAccentTop.g, kAccentTop.b, 0.0);
    cairo_arc(cr, c, c, c, 0, 2 * kPi);
    FillWith(cr, glow);
    RoundKey(cr, c, c, c - 3, kAccentTop, kAccentBottom, kAccentRim);
    SetRgb(cr, {1, 1, 1});
    if (pause) {
        RoundedRect(cr, c - 7, c - 9, 5, 18, 1.2);
        RoundedRect(cr, c + 2, c - 9, 5, 18, 1.2);
        cairo_fill(cr);
    } else {
        // Optically centred: the triangle's centroid sits on the key's centre.
        Triangle(cr, c - 6, c - 10, c - 6, c + 10, c + 11, c);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        cairo_set_line_width(cr, 1.5);
        cairo_fill_preserve(cr);
        cairo_stroke(cr);
    }
}

// Loudspeaker with 1, 2 or 3 lit sound waves.
void DrawVolume(cairo_t* cr, int, int h, int level) {
    const double cy = h / 2.0;
    SetRgb(cr, kGlyph);
    cairo_move_to(cr, 1, cy - 2.5);
    cairo_line_to(cr, 4, cy - 2.5);
    cairo_line_to(cr, 8.5, cy - 6.5);
    cairo_line_to(cr, 8.5, cy + 6.5);
    cairo_line_to(cr, 4, cy + 2.5);
    cairo_line_to(cr, 1, cy + 2.5);
    cairo_close_path(cr);
    cairo_fill(cr);
    cairo_set_line_width(cr, 1.6);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    for (int i = 0; i < 3; ++i) {
        const double radius = 3.5 + i * 3.2;
        const double span = 0.80 - i * 0.06;
        cairo_arc(cr, 8.5, cy, radius, -span, span);
        if (i < level)
            SetRgb(cr, kCyan);
        else
            cairo_set_source_rgba(cr, kGlyph.r, kGlyph.g, kGlyph.b, 0.22);
        cairo_stroke(cr);
    }
}

void DrawBtnInfo(cairo_t* cr, int w, int) {
    const double c = w / 2.0;
    RoundKey(cr, c, c, c, kKeyTop, kKeyBottom, kKeyRim);
    SetRgb(cr, kGlyph);
    Gear(cr, c, c, 6.6, 4.8, 1.9, 8);
}

void DrawBtnHome(cairo_t* cr, int w, int h) {
    RoundedRect(cr, 0.5, 0.5, w - 1, h - 1, 7);
    FillWith(cr, VerticalGradient(0, h, Hex(0x323949), Hex(0x1E222C)), true);
    SetRgb(cr, kKeyRim);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
    RoundedRect(cr, 1.5, 1.5, w - 3, h - 3, 6);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.07);
    cairo_stroke(cr);
    WaveMark(cr, 7, h / 2.0, w - 14, h - 12, 11);
}

void DrawBtnDone(cairo_t* cr, int w, int h) {
    RoundedRect(cr, 0, 0, w, h, h / 2.0);
    SetRgb(cr, kAccentRim);
    cairo_fill(cr);
    RoundedRect(cr, 1, 1, w - 2, h - 2, h / 2.0 - 1);
    FillWith(cr, VerticalGradient(0, h, kAccentTop, kAccentBottom));
    cairo_move_to(cr, w / 2.0 - 5.5, h / 2.0 + 0.5);
    cairo_line_to(cr, w / 2.0 - 1.5, h / 2.0 + 4.0);
    cairo_line_to(cr, w / 2.0 + 5.5, h / 2.0 - 4.0);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_set_line_width(cr, 2.2);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(cr);
}

void DrawAppIcon(cairo_t* cr, int w, int h) {
    RoundedRect(cr, 8, 8, w - 16, h - 16, 52);
    FillWith(cr, VerticalGradient(8, h - 8, Hex(0x343C4E), Hex(0x12151C)), true);
    SetRgb(cr, kKeyRim);
    cairo_set_line_width(cr, 2.0);
    cairo_stroke(cr);
    RoundedRect(cr, 11, 11, w - 22, h - 22, 49);
    cairo_set_source_rgba(cr, 1, 1, 1, 0.08);
    cairo_set_line_width(cr, 2.0);
    cairo_stroke(cr);
    WaveMark(cr, 42, h / 2.0, w - 84, h - 92, 9);
}

using DrawFn = void (*)(cairo_t*, int, int);

struct Picture {
    const char* name;
    int width, height;
    DrawFn draw;
};

const Picture kPictures[] = {
    {"pan_main.png", 400, 100, DrawPanMain},
    {"pan_sets.png", 400, 100, DrawPanSets},
    {"btn_stop.png", 14, 14, DrawBtnStop},
    {"btn_prev.png", 32, 32, [](cairo_t* cr, int w, int) { DrawSkip(cr, w, false); }},
    {"btn_play.png", 48, 48, [](cairo_t* cr, int w, int) { DrawBigKey(cr, w, false); }},
    {"btn_pause.png", 48, 48, [](cairo_t* cr, int w, int) { DrawBigKey(cr, w, true); }},
    {"btn_next.png", 32, 32, [](cairo_t* cr, int w, int) { DrawSkip(cr, w, true); }},
    {"btn_info.png", 20, 20, DrawBtnInfo},
    {"btn_home.png", 64, 32, DrawBtnHome},
    {"btn_done.png", 41, 18, DrawBtnDone},
    {"icn_vol_l.png", 20, 17, [](cairo_t* cr, int w, int h) { DrawVolume(cr, w, h, 1); }},
    {"icn_vol_m.png", 20, 17, [](cairo_t* cr, int w, int h) { DrawVolume(cr, w, h, 2); }},
    {"icn_vol_h.png", 20, 17, [](cairo_t* cr, int w, int h) { DrawVolume(cr, w, h, 3); }},
    {"velotune.png", 256, 256, DrawAppIcon},
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const std::string folder = argv[1];
    for (const Picture& pic : kPictures) {
        cairo_surface_t* surface =
            cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pic.width, pic.height);
        cairo_t* cr = cairo_create(surface);
        pic.draw(cr, pic.width, pic.height);
        cairo_destroy(cr);
        const std::string path = folder + "/" + pic.name;
        const cairo_status_t status = cairo_surface_write_to_png(surface, path.c_str());
        cairo_surface_destroy(surface);
        if (status != CAIRO_STATUS_SUCCESS) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), cairo_status_to_string(status));
            return 1;
        }
    }
    return 0;
}
