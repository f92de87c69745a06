// A white image surface to draw controls into through the drawing library, and
// readers of its pixels.
#pragma once

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "XControl.h"
#include "XDrawLib.h"

class ControlCanvas {
  public:
    ControlCanvas(int w, int h) : m_w(w), m_h(h) {
        m_surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        m_cr = cairo_create(m_surface);
        Clear();
        lib.Init(&m_fakeWindow, 0, 0);
    }
    ~ControlCanvas() {
        while (lib.m_level > 0) lib.Close();
        cairo_destroy(m_cr);
        cairo_surface_destroy(m_surface);
    }
    void Clear() {
        cairo_save(m_cr);
        cairo_reset_clip(m_cr);
        cairo_set_source_rgb(m_cr, 1, 1, 1);
        cairo_paint(m_cr);
        cairo_restore(m_cr);
    }
    // Draws `c` (placed in the canvas as its window's control area) the way the
    // window draws a control: open, Draw, close.
    void Draw(XControl* c) {
        EXPECT_TRUE(lib.Open(XRect(0, 0, m_w - 1, m_h - 1), m_cr));
        c->Draw(&lib);
        lib.Close();
        cairo_surface_flush(m_surface);
    }
    XColor At(int x, int y) const {
        const unsigned char* data = cairo_image_surface_get_data(m_surface);
        int stride = cairo_image_surface_get_stride(m_surface);
        uint32_t p = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
        return XColor((p >> 16) & 255, (p >> 8) & 255, p & 255, p >> 24);
    }
    bool IsWhite(int x, int y) const { return At(x, y) == XColor(255, 255, 255, 255); }
    // Whether any pixel in `rc` is not white.
    bool Inked(XRect rc) const {
        for (int y = rc.top; y <= rc.bottom; ++y)
            for (int x = rc.left; x <= rc.right; ++x)
                if (!IsWhite(x, y)) return true;
        return false;
    }
    // The bounding box of pixels darker than `limit` in every channel, or an
    // empty (left > right) rectangle.
    XRect DarkBox(int limit) const {
        XRect box(m_w, m_h, -1, -1);
        for (int y = 0; y < m_h; ++y)
            for (int x = 0; x < m_w; ++x) {
                XColor c = At(x, y);
                if (c.red() < limit && c.green() < limit && c.blue() < limit) {
                    if (x < box.left) box.left = x;
                    if (x > box.right) box.right = x;
                    if (y < box.top) box.top = y;
                    if (y > box.bottom) box.bottom = y;
                }
            }
        return box;
    }
    int Width() const { return m_w; }
    int Height() const { return m_h; }

    XDrawLib lib;

  private:
    int m_w, m_h;
    int m_fakeWindow = 0;  // any non-null window lets the library open
    cairo_surface_t* m_surface;
    cairo_t* m_cr;
};
