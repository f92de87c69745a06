#include "XPic.h"

#include <cairo.h>
#include <gio/gio.h>

#include <cassert>
#include <cstdio>
#include <cstring>
#include <string>

namespace {
// Feeds a PNG held in memory to cairo's PNG reader.
struct PngSource {
    const unsigned char* data;
    size_t size;
    size_t pos;
};

cairo_status_t ReadPng(void* closure, unsigned char* out, unsigned int length) {
    auto* src = static_cast<PngSource*>(closure);
    if (src->size - src->pos < length) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, src->data + src->pos, length);
    src->pos += length;
    return CAIRO_STATUS_SUCCESS;
}

cairo_surface_t* DecodePng(const void* bytes, size_t size) {
    if (!bytes || size == 0) return nullptr;
    PngSource src{static_cast<const unsigned char*>(bytes), size, 0};
    cairo_surface_t* s = cairo_image_surface_create_from_png_stream(ReadPng, &src);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    return s;
}

// Constant-initialised, so that an application may set it from a static
// constructor before main.
const char* s_resourcePrefix = nullptr;

GBytes* LookUpResource(const char* name) {
    std::string path = std::string(XPic::GetResourcePrefix()) + (name ? name : "");
    return g_resources_lookup_data(path.c_str(), G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr);
}

unsigned char Clamp(float v) {
    return static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
}
}  // namespace

XPic::XPic(const XPic& other) : m_cx(other.m_cx), m_cy(other.m_cy), m_hPic(other.m_hPic) {
    if (m_hPic) cairo_surface_reference(m_hPic);
}

XPic& XPic::operator=(const XPic& other) {
    if (this != &other) {
        if (other.m_hPic) cairo_surface_reference(other.m_hPic);
        Clear();
        m_hPic = other.m_hPic;
        m_cx = other.m_cx;
        m_cy = other.m_cy;
    }
    return *this;
}

XPic::~XPic() {
    Clear();
}

void XPic::Clear() {
    if (m_hPic) cairo_surface_destroy(m_hPic);
    m_hPic = nullptr;
    m_cx = m_cy = 0;
}

bool XPic::TakeSurface(cairo_surface_t* surface) {
    Clear();
    if (!surface) return false;
    m_hPic = surface;
    m_cx = cairo_image_surface_get_width(surface);
    m_cy = cairo_image_surface_get_height(surface);
    return true;
}

void XPic::SetResourcePrefix(const char* prefix) {
    s_resourcePrefix = prefix;
}

const char* XPic::GetResourcePrefix() {
    return s_resourcePrefix ? s_resourcePrefix : "/";
}

bool XPic::Load(const char* name) {
    GBytes* urlRef = LookUpResource(name);
    if (!urlRef) {
        printf("%s not found\r\n", name ? name : "(null)");
        fflush(stdout);
    }
    // A picture the program names must be built in: a missing one is a build fault.
    assert(urlRef != 0);
    if (!urlRef) return false;
    gsize size = 0;
    const void* data = g_bytes_get_data(urlRef, &size);
    bool ok = TakeSurface(DecodePng(data, size));
    g_bytes_unref(urlRef);
    return ok;
}

bool XPic::LoadPath(const char*) {
    // Loads nothing, deliberately: pictures come from the resources only.
    return Exist();
}

bool XPic::SetData(const char* bytes, int size) {
    if (size <= 0) {
        Clear();
        return false;
    }
    return TakeSurface(DecodePng(bytes, static_cast<size_t>(size)));
}

bool XPic::GetResource(const char* name, const char* type) {
    std::string full = name ? name : "";
    if (type && *type) full += std::string(".") + type;
    GBytes* bytes = LookUpResource(full.c_str());
    if (!bytes) {
        Clear();
        return false;
    }
    gsize size = 0;
    const void* data = g_bytes_get_data(bytes, &size);
    bool ok = TakeSurface(DecodePng(data, size));
    g_bytes_unref(bytes);
    return ok;
}

unsigned int XPic::Color32(int r, int g, int b, int a) {
    auto clamp = [](int v) -> unsigned int {
        return static_cast<unsigned int>(v < 0 ? 0 : (v > 255 ? 255 : v));
    };
    return (clamp(a) << 24) | (clamp(r) << 16) | (clamp(g) << 8) | clamp(b);
}

bool XPic::MakeOwnCopy() {
    if (!m_hPic) return false;
    if (cairo_surface_get_reference_count(m_hPic) == 1 &&
        cairo_image_surface_get_format(m_hPic) == CAIRO_FORMAT_ARGB32)
        return true;
    cairo_surface_t* copy = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, m_cx, m_cy);
    cairo_t* cr = cairo_create(copy);
    cairo_set_source_surface(cr, m_hPic, 0, 0);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_paint(cr);
    cairo_destroy(cr);
    return TakeSurface(copy);
}

namespace {
// Calls fn(r, g, b, a) on every pixel, un-premultiplied, and stores the result
// premultiplied again.
template <class Fn>
void ForEachPixel(cairo_surface_t* s, Fn fn) {
    cairo_surface_flush(s);
    unsigned char* data = cairo_image_surface_get_data(s);
    int stride = cairo_image_surface_get_stride(s);
    int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
    for (int y = 0; y < h; ++y) {
        auto* row = reinterpret_cast<uint32_t*>(data + y * stride);
        for (int x = 0; x < w; ++x) {
            uint32_t p = row[x];
            float a = static_cast<float>(p >> 24);
            if (a == 0) continue;
            float r = ((p >> 16) & 255) * 255.0f / a;
            float g = ((p >> 8) & 255) * 255.0f / a;
            float b = (p & 255) * 255.0f / a;
            fn(r, g, b, a);
            unsigned char ca = Clamp(a);
            auto pm = [ca](float v) { return static_cast<uint32_t>(Clamp(v) * ca / 255); };
            row[x] = (static_cast<uint32_t>(ca) << 24) | (pm(r) << 16) | (pm(g) << 8) | pm(b);
        }
    }
    cairo_surface_mark_dirty(s);
}
}  // namespace

void XPic::SetSatur(float factor) {
    if (!MakeOwnCopy()) return;
    ForEachPixel(m_hPic, [factor](float& r, float& g, float& b, float&) {
        float grey = 0.299f * r + 0.587f * g + 0.114f * b;
        r = grey + (r - grey) * factor;
        g = grey + (g - grey) * factor;
        b = grey + (b - grey) * factor;
    });
}

void XPic::SetLight(float factor) {
    if (!MakeOwnCopy()) return;
    ForEachPixel(m_hPic, [factor](float& r, float& g, float& b, float&) {
        r *= factor;
        g *= factor;
        b *= factor;
    });
}

void XPic::SetColor(XColor color) {
    if (!MakeOwnCopy()) return;
    ForEachPixel(m_hPic, [color](float& r, float& g, float& b, float& a) {
        float grey = (0.299f * r + 0.587f * g + 0.114f * b) / 255.0f;
        r = color.red() * grey;
        g = color.green() * grey;
        b = color.blue() * grey;
        a = a * color.alpha() / 255.0f;
    });
}
