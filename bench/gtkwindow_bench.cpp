// Reference for the start-up benchmark: the plainest GTK 3 program with the same
// shape of window as Velotune's (a menu bar over a 400x135 drawing area). It
// writes the CLOCK_MONOTONIC time in seconds of its first drawn frame ("%.6f\n")
// into the file named on its command line, then waits to be closed or killed.
//
//   gtkwindow_bench STAMP_FILE
#include <gtk/gtk.h>
#include <time.h>

#include <cstdio>

namespace {

const char* g_stampPath = nullptr;

gboolean OnDraw(GtkWidget*, cairo_t* cr, gpointer) {
    cairo_set_source_rgb(cr, 0.2, 0.2, 0.2);
    cairo_paint(cr);
    // The stamp is written once, after the first frame's drawing has been issued,
    // the same point at which the program under test writes its own.
    if (g_stampPath) {
        timespec ts;
        clock_gettime(CLOCK_MONOTONIC, &ts);
        if (FILE* f = std::fopen(g_stampPath, "w")) {
            std::fprintf(f, "%.6f\n", ts.tv_sec + ts.tv_nsec / 1e9);
            std::fclose(f);
        }
        g_stampPath = nullptr;
    }
    return FALSE;
}

}  // namespace

int main(int argc, char** argv) {
    gtk_init(&argc, &argv);
    g_stampPath = argc > 1 ? argv[1] : nullptr;

    GtkWidget* window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
    gtk_window_set_title(GTK_WINDOW(window), "GTK reference window");
    gtk_window_set_resizable(GTK_WINDOW(window), FALSE);
    g_signal_connect(window, "destroy", G_CALLBACK(gtk_main_quit), nullptr);

    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    GtkWidget* bar = gtk_menu_bar_new();
    GtkWidget* menu = gtk_menu_new();
    GtkWidget* item = gtk_menu_item_new_with_label("File");
    gtk_menu_shell_append(GTK_MENU_SHELL(menu), gtk_menu_item_new_with_label("Quit"));
    gtk_menu_item_set_submenu(GTK_MENU_ITEM(item), menu);
    gtk_menu_shell_append(GTK_MENU_SHELL(bar), item);
    GtkWidget* area = gtk_drawing_area_new();
    gtk_widget_set_size_request(area, 400, 135);
    g_signal_connect(area, "draw", G_CALLBACK(OnDraw), nullptr);
    gtk_box_pack_start(GTK_BOX(box), bar, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(box), area, TRUE, TRUE, 0);
    gtk_container_add(GTK_CONTAINER(window), box);
    gtk_widget_show_all(window);
    gtk_main();
    return 0;
}
