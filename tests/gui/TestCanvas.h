// A white cairo image surface with a drawing library opened on it, read back
// pixel by pixel: the fixture of the drawing tests.
#pragma once

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "XDrawLib.h"

inline const XColor kWhite(255, 255, 255, 255);

class Canvas {
  public:
    Canvas(int w, int h) : m_w(w), m_h(h) {
        m_surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
        m_cr = cairo_create(m_surface);
        cairo_set_source_rgb(m_cr, 1, 1, 1);
        cairo_paint(m_cr);
        lib.Init(&m_fakeWindow, 0, 0);
        EXPECT_TRUE(lib.Open(XRect(0, 0, w - 1, h - 1), m_cr));
    }
    ~Canvas() {
        while (lib.m_level > 0) lib.Close();
        cairo_destroy(m_cr);
        cairo_surface_destroy(m_surface);
    }
    // The pixel at (x, y), opaque pixels only (the canvas is opaque).
    XColor At(int x, int y) {
        cairo_surface_flush(m_surface);
        const unsigned char* data = cairo_image_surface_get_data(m_surface);
        int stride = cairo_image_surface_get_stride(m_surface);
        uint32_t p = *reinterpret_cast<const uint32_t*>(data + y * stride + x * 4);
        return XColor((p >> 16) & 255, (p >> 8) & 255, p & 255, p >> 24);
    }
    // The image as rows of characters: '.' white, else the key of the colour.
    std::vector<std::string> Map(const std::vector<std::pair<char, XColor>>& keys) {
        std::vector<std::string> rows;
        for (int y = 0; y < m_h; ++y) {
            std::string row;
            for (int x = 0; x < m_w; ++x) {
                XColor c = At(x, y);
                char k = '?';
                if (c == kWhite) k = '.';
                for (auto& kv : keys)
                    if (kv.second == c) k = kv.first;
                row += k;
            }
            rows.push_back(row);
        }
        return rows;
    }
    // Whether any pixel in the rectangle is not white.
    bool Inked(XRect rc) {
        for (int y = rc.top; y <= rc.bottom; ++y)
            for (int x = rc.left; x <= rc.right; ++x)
                if (At(x, y) != kWhite) return true;
        return false;
    }
    cairo_t* Context() { return m_cr; }

    XDrawLib lib;

  private:
    int m_w, m_h;
    int m_fakeWindow = 0;  // any non-null window lets the library open
    cairo_surface_t* m_surface;
    cairo_t* m_cr;
};
