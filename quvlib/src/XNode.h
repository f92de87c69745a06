// Ties an object to its window and its owning control.
#pragma once

#include <cstddef>
#include <type_traits>

#include "XControlHost.h"

class XWindow;
class XControl;

/// The window an object belongs to and the control that owns it (null for
/// top-level objects). Both start null. GUI thread.
///
/// Besides the window pointer the node keeps the same window seen as an
/// XControlHost, the interface through which controls call their window; both are
/// set together by SetWindow, which is a template so that this header needs only
/// a declaration of XWindow (the conversion is made where XWindow is complete).
/// A unit-test double that is a host but not an XWindow sets only the host.
class XNode {
  public:
    XWindow* m_pWindow = nullptr;     // the window the object belongs to
    XControl* m_pControl = nullptr;   // the control that owns it (null = top level)
    XControlHost* m_pHost = nullptr;  // m_pWindow as the controls' window interface

    XNode() = default;
    virtual ~XNode() = default;

    /// Sets the window: an XWindow (or a class derived from it), or an
    /// XControlHost test double (then GetWindow stays null).
    template <class W>
    void SetWindow(W* pWindow) {
        if constexpr (std::is_convertible_v<W*, XWindow*>)
            m_pWindow = pWindow;
        else
            m_pWindow = nullptr;
        m_pHost = pWindow;
    }
    /// Clears the window.
    void SetWindow(std::nullptr_t) {
        m_pWindow = nullptr;
        m_pHost = nullptr;
    }
    /// Takes the window of another node (both pointers).
    void SetWindowOf(const XNode& other) {
        m_pWindow = other.m_pWindow;
        m_pHost = other.m_pHost;
    }
    /// The window, or null.
    XWindow* GetWindow() const { return m_pWindow; }
    /// The window as the controls' interface, or null.
    XControlHost* GetHost() const { return m_pHost; }
    /// Sets / reads the owning control.
    void SetControl(XControl* pControl) { m_pControl = pControl; }
    XControl* GetControl() const { return m_pControl; }
};
