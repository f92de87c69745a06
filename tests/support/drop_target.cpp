// A drop target for the tests: another application's window onto which files are
// dragged out of a Velotune window, as onto a file manager or a sound editor.
//
//   drop_target [X Y]
//
// Shows an undecorated 200x120 window at screen position (X, Y) (default 600,
// 400) whose whole area takes drops of "text/uri-list" (copy, move or link).
// Prints "ready" on stdout once the window is mapped, "uri U" for every URI a
// drop carries, in order, then "dropped N" (N: how many). Exit status: 0 after
// the first drop; 2 when no drop came within 30 s; 1 on bad arguments.
#include <gtk/gtk.h>

#include <cstdio>
#include <cstdlib>

#include "ToolkitTestApp.h"

namespace {

const int kWidth = 200, kHeight = 120;
const unsigned kTimeoutS = 30;

void OnDataReceived(GtkWidget*, GdkDragContext*, gint, gint, GtkSelectionData* data, guint, guint,
                    gpointer) {
    gchar** uris = gtk_selection_data_get_uris(data);
    int count = 0;
    for (gchar** u = uris; u && *u; ++u, ++count) {
        std::printf("uri %s\n", *u);
    }
    std::printf("dropped %d\n", count);
    std::fflush(stdout);
    g_strfreev(uris);
    // The drop is finished by the toolkit (GTK_DEST_DEFAULT_ALL) after this
    // returns; the program ends at the next turn of its loop.
    g_idle_add(
        [](gpointer) -> gboolean {
            gtk_main_quit();
            return G_SOURCE_REMOVE;
        },
        nullptr);
}

gboolean OnTimeout(gpointer status) {
    std::fprintf(stderr, "drop_target: no drop within %u s\n", kTimeoutS);
    *static_cast<int*>(status) = 2;
    gtk_main_quit();
    return G_SOURCE_REMOVE;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 1 && argc != 3) {
        std::fprintf(stderr, "usage: drop_target [X Y]\n");
        return 1;
    }
    int left = argc == 3 ? std::atoi(argv[1]) : 600;
    int top = argc == 3 ? std::atoi(argv[2]) : 400;
    gtk_init(&argc, &argv);
    int status = 0;
    GtkWidget* area = nullptr;
    GtkWidget* window = testapp::MakeAreaWindow("drop target", left, top, kWidth, kHeight, &area);
    static const GtkTargetEntry targets[] = {{const_cast<gchar*>("text/uri-list"), 0, 0}};
    gtk_drag_dest_set(area, GTK_DEST_DEFAULT_ALL, targets, 1,
                      GdkDragAction(GDK_ACTION_COPY | GDK_ACTION_MOVE | GDK_ACTION_LINK));
    g_signal_connect(area, "drag-data-received", G_CALLBACK(OnDataReceived), nullptr);

    g_timeout_add_seconds(kTimeoutS, OnTimeout, &status);
    gtk_widget_show_all(window);
    gtk_main();
    return status;
}
