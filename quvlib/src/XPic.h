// Pictures: PNG images from the executable's resources or from memory.
#pragma once

#include "XColor.h"

// The image type of the drawing library, declared as the platform declares it so
// that users of this header need not include the platform's headers.
typedef struct _cairo_surface cairo_surface_t;

/// A picture: a decoded PNG image (an ARGB32 image surface) and its size. Pictures
/// are drawn at their own size, never scaled (XDrawLib::DrawPic). Copies share the
/// image (reference counted). GUI thread.
class XPic {
  public:
    int m_cx = 0;                       // width in pixels
    int m_cy = 0;                       // height in pixels
    cairo_surface_t* m_hPic = nullptr;  // the image; null when there is none

    XPic() = default;
    XPic(const XPic& other);
    XPic& operator=(const XPic& other);
    virtual ~XPic();

    /// Loads the PNG resource `name` (with its extension, e.g. "btn_play.png") from
    /// the executable's compiled-in resources, path GetResourcePrefix() + name. Returns
    /// whether an image was made. A missing name prints "<name> not found\r\n" on
    /// stdout and fails the assertion "urlRef != 0". Replaces any image held.
    bool Load(const char* name);
    /// Loads nothing: reports whether the picture already holds an image (loading
    /// by path is deliberately not offered).
    bool LoadPath(const char* path);
    /// Decodes a PNG held in memory (`size` bytes at `bytes`). Returns whether an
    /// image was made; on failure the picture is left empty.
    bool SetData(const char* bytes, int size);
    /// The image, or null.
    cairo_surface_t* GetHandle() const { return m_hPic; }
    /// Whether an image is held.
    bool Exist() const { return m_hPic != nullptr; }
    int Width() const { return m_cx; }
    int Height() const { return m_cy; }
    /// Loads the resource `name` + "." + `type` (just `name` when `type` is null or
    /// empty), as Load does, but without the assertion: a missing resource returns
    /// false and leaves the picture empty.
    bool GetResource(const char* name, const char* type);
    /// Frees the image.
    void Clear();

    /// Sets the folder of the compiled-in resources that Load and GetResource look
    /// in, with its trailing "/" (for example "/myapp/"). The application sets it
    /// once at start-up, before any picture is loaded; `prefix` must stay valid for
    /// the run (a literal). Null goes back to the default "/". GUI thread.
    static void SetResourcePrefix(const char* prefix);
    /// The folder set by SetResourcePrefix, "/" before that. GUI thread.
    static const char* GetResourcePrefix();

    /// Clamps each value to 0..255 and packs alpha in the top byte, then red,
    /// green, blue: Color32(300, -5, 128, 255) == 0xFFFF0080.
    static unsigned int Color32(int r, int g, int b, int a);

    /// Recolouring (the picture's pixels change; other copies sharing the image get
    /// their own copy first). Alpha is kept in all three.
    /// SetSatur: scales each pixel's saturation by `factor` around its grey value
    /// (0 = greyscale, 1 = unchanged, above 1 more saturated), clamped.
    void SetSatur(float factor);
    /// SetLight: multiplies red, green and blue by `factor`, clamped to 0..255.
    void SetLight(float factor);
    /// SetColor: tints the picture: each pixel takes `color`'s red, green and blue
    /// scaled by the pixel's own grey value (so shading is kept); `color`'s alpha
    /// scales the pixel's alpha.
    void SetColor(XColor color);

  private:
    bool TakeSurface(cairo_surface_t* surface);
    bool MakeOwnCopy();
};
