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

#include "ToolkitTestApp.h"

namespace {

const int kLeft = 0, kTop = 0, kWidth = 120, kHeight = 60;
const unsigned kTimeoutS = 20;

std::string g_uriList;  // the payload, built once from the arguments

void OnDragBegin(GtkWidget*, GdkDragContext*, gpointer) {
    testapp::Say("begin");
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
    testapp::Say("end");
    gtk_main_quit();
}

gboolean OnTimeout(gpointer status) {
    std::fprintf(stderr, "drag_source: no drag ended within %u s\n", kTimeoutS);
    *static_cast<int*>(status) = 2;
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

}  // namespace

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
    GtkWidget* area = nullptr;
    GtkWidget* window = testapp::MakeAreaWindow("drag source", kLeft, kTop, kWidth, kHeight, &area);
    static const GtkTargetEntry targets[] = {{const_cast<gchar*>("text/uri-list"), 0, 0}};
    gtk_drag_source_set(area, GDK_BUTTON1_MASK, targets, 1,
                        GdkDragAction(GDK_ACTION_COPY | GDK_ACTION_LINK | GDK_ACTION_MOVE));
    g_signal_connect(area, "drag-begin", G_CALLBACK(OnDragBegin), nullptr);
    g_signal_connect(area, "drag-data-get", G_CALLBACK(OnDragDataGet), nullptr);
    g_signal_connect(area, "drag-failed", G_CALLBACK(OnDragFailed), &status);
    g_signal_connect(area, "drag-end", G_CALLBACK(OnDragEnd), nullptr);

    g_timeout_add_seconds(kTimeoutS, OnTimeout, &status);
    gtk_widget_show_all(window);
    gtk_main();
    return status;
}
