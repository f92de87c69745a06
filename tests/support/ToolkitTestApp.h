// Test helper for the small toolkit programs that play another application's
// window in the drag-and-drop tests (drag_source, drop_target).
#pragma once

#include <gtk/gtk.h>

#include <cstdio>

namespace testapp {

/// Writes `line` and a line feed on stdout at once.
inline void Say(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

inline gboolean SayReadyWhenMapped(GtkWidget* window, GdkEvent*, gpointer) {
    // Make sure the X server has the window on screen before anyone uses it.
    gdk_display_sync(gtk_widget_get_display(window));
    Say("ready");
    return FALSE;
}

/// An undecorated window titled `title`, `width` x `height` at screen (left,
/// top), filled by an event box (returned in `area`) so that its whole area
/// takes part in a drag. It says "ready" on stdout once mapped; closing it ends
/// the main loop. Not shown yet.
inline GtkWidget* MakeAreaWindow(const char* title, int left, int top, int width, int height,
                                 GtkWidget** area) {
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
    gtk_window_set_default_size(GTK_WINDOW(window), width, height);
    gtk_window_set_resizable(GTK_WINDOW(window), FALSE);
    gtk_window_move(GTK_WINDOW(window), left, top);
    gtk_window_set_title(GTK_WINDOW(window), title);
    *area = gtk_event_box_new();
    gtk_widget_set_size_request(*area, width, height);
    gtk_container_add(GTK_CONTAINER(window), *area);
    g_signal_connect(window, "map-event", G_CALLBACK(SayReadyWhenMapped), nullptr);
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);
    return window;
}

}  // namespace testapp

// The toolkit keeps its caches (fonts, types, the display) until exit on purpose.
// In a LeakSanitizer build they must not turn a good run into a failing exit
// status, whatever LSAN_OPTIONS the caller has; elsewhere this is never called.
// Defined here, not inline, so that it is there for the runtime to find: each
// of these programs is one source file, which includes this header once.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libglib\nleak:libgobject\nleak:libgtk\nleak:libgdk\n"
           "leak:libpango\nleak:libcairo\nleak:libX11\nleak:libdbus\n";
}
