// Named colour schemes that give controls their colours.
#pragma once

#include "XColor.h"

/// A named colour scheme: up to five colours (back, grid, fore, frame, text), each
/// either set or not. Windows and the application keep schemes in singly linked
/// lists (GetNext/SetNext); `InitControl` gives a control the colours that are set
/// (XControl::SetColors). GUI thread.
class XClass {
  public:
    /// Indices into m_color.
    enum { kBack = 0, kGrid = 1, kFore = 2, kFrame = 3, kText = 4, kCount = 5 };

    char* m_name;             // owned copy of the name
    XColor* m_color[kCount];  // owned; null = not set by this scheme
    XClass* m_pNext;          // next scheme of the owner's list (not owned)

    /// A scheme named `name` (copied; null counts as ""), with no colour set.
    explicit XClass(const char* name);
    XClass(const XClass&) = delete;
    XClass& operator=(const XClass&) = delete;
    /// Frees the name and the colours (not the next scheme).
    virtual ~XClass();

    /// Whether the scheme's name equals `name` (byte-wise; null never matches).
    bool HasName(const char* name) const;
    /// The scheme's name.
    const char* GetName() const { return m_name; }
    /// Sets colour `index` (kBack..kText); an index out of range is ignored.
    void SetColor(int index, XColor color);
    /// Colour `index`, or null when not set or out of range.
    const XColor* GetColor(int index) const;
    /// Shorthands for SetColor.
    void SetBackColor(XColor c) { SetColor(kBack, c); }
    void SetGridColor(XColor c) { SetColor(kGrid, c); }
    void SetForeColor(XColor c) { SetColor(kFore, c); }
    void SetFrameColor(XColor c) { SetColor(kFrame, c); }
    void SetTextColor(XColor c) { SetColor(kText, c); }
    /// List links.
    XClass* GetNext() const { return m_pNext; }
    void SetNext(XClass* next) { m_pNext = next; }
};
