// Test helper: runs the GUI thread's main loop from a test on a real window.
#pragma once

#include <glib.h>

#include <chrono>
#include <thread>

namespace testgui {

/// Runs the main loop until nothing is left to do (three rounds, so that work
/// queued by the first round's handlers runs too).
inline void Pump() {
    for (int round = 0; round < 3; ++round)
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
}

/// Runs the main loop until `done()` holds or about 10 s passed; whether it holds.
template <class F>
bool PumpUntil(F done) {
    for (int i = 0; i < 1000 && !done(); ++i) {
        Pump();
        if (!done()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

}  // namespace testgui
