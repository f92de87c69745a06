// A drag source for the tests: another application's window from which files are
// dragged onto a Velotune window.
//
//   drag_source PATH...
//
// Shows an undecorated 120x60 window at the screen's top-left corner (0, 0) whose
// whole area offers exactly the given paths as "text/uri-list" (one file URI per
// path, in order, each line ended by CRLF). Prints "ready" on stdout once the
// window is mapped, "begin" when a drag starts, "failed N" when the drop did not
// take place (N: the toolkit's GtkDragResult, e.g. 1 no target) and "end" when the
// drag ends. Exit status, after the drag has ended: 0 the drop was taken, 3 it was
// not (released over no drop site, refused, cancelled). Status 2: no drag ended
// within 20 s of start; 1: bad arguments or a path that cannot be made a URI.
//
// The paths are taken as given (relative ones against the current folder);
// nothing is checked on disk, so a test can drag names that do not exist.
#include <gtk/gtk.h>

#include <cstdio>
#include <string>

namespace {

const int kLeft = 0, kTop = 0, kWidth = 120, kHeight = 60;
const unsigned kTimeoutS = 20;

std::string g_uriList;  // the payload, built once from the arguments

void Say(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

gboolean OnMapped(GtkWidget* window, GdkEvent*, gpointer) {
    // Make sure the X server has the window on screen before anyone presses on it.
    gdk_display_sync(gtk_widget_get_display(window));
    Say("ready");
    return FALSE;
}

void OnDragBegin(GtkWidget*, GdkDragContext*, gpointer) {
    Say("begin");
}

void OnDragDataGet(GtkWidget*, GdkDragContext*, GtkSelectionData* data, guint, guint, gpointer) {
    gtk_selection_data_set(data, gdk_atom_intern_static_string("text/uri-list"), 8,
                           reinterpret_cast<const guchar*>(g_uriList.data()),
                           static_cast<gint>(g_uriList.size()));
}

gboolean OnDragFailed(GtkWidget*, GdkDragContext*, GtkDragResult result, gpointer status) {
    std::printf("failed %d\n", static_cast<int>(result));
    std::fflush(stdout);
    *static_cast<int*>(status) = 3;
    return FALSE;  // let the toolkit show its "snap back" as usual
}

void OnDragEnd(GtkWidget*, GdkDragContext*, gpointer) {
    Say("end");
    gtk_main_quit();
}

gboolean OnTimeout(gpointer status) {
    std::fprintf(stderr, "drag_source: no drag ended within %u s\n", kTimeoutS);
    *static_cast<int*>(status) = 2;
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

}  // namespace

// The toolkit keeps its caches (fonts, types, the display) until exit on purpose.
// In a LeakSanitizer build they must not turn a good drag into a failing exit
// status, whatever LSAN_OPTIONS the caller has; elsewhere this is never called.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libglib\nleak:libgobject\nleak:libgtk\nleak:libgdk\n"
           "leak:libpango\nleak:libcairo\nleak:libX11\nleak:libdbus\n";
}

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: drag_source PATH...\n");
        return 1;
    }
    gtk_init(&argc, &argv);
    for (int i = 1; i < argc; ++i) {
        gchar* absolute = g_canonicalize_filename(argv[i], nullptr);
        GError* error = nullptr;
        gchar* uri = g_filename_to_uri(absolute, nullptr, &error);
        g_free(absolute);
        if (!uri) {
            std::fprintf(stderr, "drag_source: %s: %s\n", argv[i], error->message);
            g_error_free(error);
            return 1;
        }
        g_uriList += uri;
        g_uriList += "\r\n";
        g_free(uri);
    }

    int status = 0;
    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_decorated(GTK_WINDOW(window), FALSE);
    gtk_window_set_default_size(GTK_WINDOW(window), kWidth, kHeight);
    gtk_window_set_resizable(GTK_WINDOW(window), FALSE);
    gtk_window_move(GTK_WINDOW(window), kLeft, kTop);
    gtk_window_set_title(GTK_WINDOW(window), "drag source");

    // An event box fills the window, so that the whole area starts the drag.
    GtkWidget* area = gtk_event_box_new();
    gtk_widget_set_size_request(area, kWidth, kHeight);
    gtk_container_add(GTK_CONTAINER(window), area);
    static const GtkTargetEntry targets[] = {{const_cast<gchar*>("text/uri-list"), 0, 0}};
    gtk_drag_source_set(area, GDK_BUTTON1_MASK, targets, 1,
                        GdkDragAction(GDK_ACTION_COPY | GDK_ACTION_LINK | GDK_ACTION_MOVE));
    g_signal_connect(area, "drag-begin", G_CALLBACK(OnDragBegin), nullptr);
    g_signal_connect(area, "drag-data-get", G_CALLBACK(OnDragDataGet), nullptr);
    g_signal_connect(area, "drag-failed", G_CALLBACK(OnDragFailed), &status);
    g_signal_connect(area, "drag-end", G_CALLBACK(OnDragEnd), nullptr);
    g_signal_connect(window, "map-event", G_CALLBACK(OnMapped), nullptr);
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);

    g_timeout_add_seconds(kTimeoutS, OnTimeout, &status);
    gtk_widget_show_all(window);
    gtk_main();
    return status;
}
