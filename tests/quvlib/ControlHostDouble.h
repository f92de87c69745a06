// Test double of the window side of controls, and helpers that click and drag
// a control the way the window does.
#pragma once

#include <vector>

#include "XControl.h"
#include "XMouseEvent.h"

// Records what controls ask of their window.
class ControlHostDouble : public XControlHost {
  public:
    struct Cmd {
        unsigned long id;
        long wParam, lParam;
    };
    std::vector<XControl*> drawn;
    std::vector<Cmd> commands;
    XControl* focus = nullptr;

    bool DrawControl(XControl* c) override {
        drawn.push_back(c);
        return true;
    }
    void ControlCommand(unsigned long id, long wParam, long lParam) override {
        commands.push_back({id, wParam, lParam});
    }
    void SetFocus(XControl* c) override {
        if (focus && focus != c) focus->SetFocus(false);
        focus = c;
    }
    XControl* GetFocus() override { return focus; }
    void XDragStart(XControl*, int, int, XRect, const char*, long, long) override {}
    int GetOffsetY() override { return 0; }
    void LocalToScreen(int&, int&) override {}
    XDrawLib* GetDrawLib() override { return nullptr; }
    void ShowToolTip(int, int, const char*, bool, const char*) override {}
};

// Places `c` in a 200 x 100 control area of `host`, as the window's AddControl does.
inline void PlaceControl(XControl* c, ControlHostDouble* host) {
    c->SetWindow(host);
    c->PlaceIn(XRect(0, 0, 199, 99));
}

// Mouse actions in window coordinates, routed as the window routes them.
inline int Press(XControl* c, XMouseEvent& e, int x, int y) {
    e.SetClick(x, y, 1);
    return c->MouseDown(&e);
}
inline void MoveTo(XControl* c, XMouseEvent& e, int x, int y) {
    e.SetMouse(x, y);
    c->MouseMove(&e);
}
inline void Release(XControl* c, XMouseEvent& e, int x, int y) {
    e.SetMouse(x, y);
    c->MouseUp(&e);
}
