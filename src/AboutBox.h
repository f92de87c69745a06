// The about box of the "About Velotune..." menu item.
#pragma once

#include "XWindowStd.h"

/// A small modal window saying what the program is, its version, what it is
/// built on and its licence, with a Done button. Return or the button closes it
/// accepted, Escape or the close box without. GUI thread.
class AboutBox : public XWindow {
  public:
    /// The lines the box shows, top to bottom.
    static constexpr int kLineCount = 5;
    static const char* const kLines[kLineCount];
    /// Command of the Done button.
    static constexpr long kCmdDone = 1;

    /// A 320 x 150 window with a close box, centred, titled "About Velotune".
    AboutBox();
    /// The background pane, the lines and the Done button (the default control).
    int OnCreate() override;
    /// Done closes the box (accepted).
    int OnCommand(unsigned long command, long, long) override;
};
