// Test helper: drives the toolkit's file chooser dialog that a call such as
// XWindow::ChooseFiles runs modally, from inside its own event loop.
#pragma once

#include <gtk/gtk.h>

#include <cstdlib>
#include <functional>
#include <string>

// The X window id of a GDK window. Declared here: the X headers' own XColor
// clashes with the library's.
extern "C" unsigned long gdk_x11_window_get_xid(GdkWindow* window);

namespace testgui {

/// Waits for a file chooser dialog to be on the screen, then calls `act` with it
/// once (on the GUI thread, inside the dialog's loop). Start it before the call
/// that runs the dialog; it gives up after about 20 s.
class ChooserDriver {
  public:
    explicit ChooserDriver(std::function<void(GtkWidget*)> act) : m_act(std::move(act)) {
        m_source = g_timeout_add(50, &ChooserDriver::Look, this);
    }
    ~ChooserDriver() {
        if (m_source) g_source_remove(m_source);
        if (m_watch) g_source_remove(m_watch);
        if (m_dialog) g_object_remove_weak_pointer(G_OBJECT(m_dialog), &m_dialogPointer);
    }
    ChooserDriver(const ChooserDriver&) = delete;
    ChooserDriver& operator=(const ChooserDriver&) = delete;

    /// Whether a dialog was found, and the folder it showed when it was.
    bool Found() const { return m_found; }
    const std::string& StartFolder() const { return m_start; }

    /// Focuses `dialog` and then runs `commands` (a shell command line, e.g.
    /// xdotool calls) in the background, so that the dialog's loop goes on
    /// meanwhile.
    static void Run(GtkWidget* dialog, const std::string& commands) {
        unsigned long xid = gdk_x11_window_get_xid(gtk_widget_get_window(dialog));
        std::string cmd = "(xdotool windowfocus --sync " + std::to_string(xid) + "; " + commands +
                          ") >/dev/null 2>&1 &";
        if (system(cmd.c_str()) != 0) return;
    }

    /// Shows `folder` in the chooser and waits (running the loop, up to about
    /// 20 s) until its listing holds `name`. Returns whether it does.
    static bool ShowFolder(GtkWidget* dialog, const std::string& folder, const std::string& name) {
        GtkFileChooser* chooser = GTK_FILE_CHOOSER(dialog);
        gtk_file_chooser_set_current_folder(chooser, folder.c_str());
        const std::string path = folder + "/" + name;
        for (int i = 0; i < 2000; ++i) {
            // Selecting works once the listing has the entry; it then comes back.
            gtk_file_chooser_select_filename(chooser, path.c_str());
            gchar* selected = gtk_file_chooser_get_filename(chooser);
            bool there = selected && path == selected;
            g_free(selected);
            if (there) return true;
            g_main_context_iteration(nullptr, FALSE);
            g_usleep(10000);
        }
        return false;
    }

    /// The screen position of the middle of `widget`.
    static void ScreenCentre(GtkWidget* widget, int* x, int* y) {
        GtkAllocation a;
        gtk_widget_get_allocation(widget, &a);
        int ox = 0, oy = 0;
        gdk_window_get_origin(gtk_widget_get_window(widget), &ox, &oy);
        // A widget without a window of its own is placed within its parent's.
        if (!gtk_widget_get_has_window(widget)) {
            ox += a.x;
            oy += a.y;
        }
        *x = ox + a.width / 2;
        *y = oy + a.height / 2;
    }

  private:
    static gboolean Look(gpointer data) {
        auto* self = static_cast<ChooserDriver*>(data);
        if (++self->m_tries > 400) {
            self->m_source = 0;
            return G_SOURCE_REMOVE;
        }
        GList* windows = gtk_window_list_toplevels();
        GtkWidget* dialog = nullptr;
        for (GList* w = windows; w; w = w->next)
            if (GTK_IS_FILE_CHOOSER_DIALOG(w->data) && gtk_widget_get_mapped(GTK_WIDGET(w->data)))
                dialog = GTK_WIDGET(w->data);
        g_list_free(windows);
        if (!dialog) return G_SOURCE_CONTINUE;
        // The chooser takes its folder a moment after it shows.
        gchar* folder = gtk_file_chooser_get_current_folder(GTK_FILE_CHOOSER(dialog));
        self->m_start = folder ? folder : "";
        g_free(folder);
        if (self->m_start.empty() && self->m_tries < 100) return G_SOURCE_CONTINUE;
        self->m_found = true;
        self->m_source = 0;
        self->m_dialog = dialog;
        self->m_dialogPointer = dialog;
        g_object_add_weak_pointer(G_OBJECT(dialog), &self->m_dialogPointer);
        // A dialog the test could not close is cancelled after a while, so that a
        // failing test ends instead of waiting for ever.
        self->m_watch = g_timeout_add_seconds(20, &ChooserDriver::GiveUp, self);
        self->m_act(dialog);
        return G_SOURCE_REMOVE;
    }

    static gboolean GiveUp(gpointer data) {
        auto* self = static_cast<ChooserDriver*>(data);
        self->m_watch = 0;
        if (self->m_dialogPointer)
            gtk_dialog_response(GTK_DIALOG(self->m_dialogPointer), GTK_RESPONSE_CANCEL);
        return G_SOURCE_REMOVE;
    }

    std::function<void(GtkWidget*)> m_act;
    guint m_source = 0;
    guint m_watch = 0;
    GtkWidget* m_dialog = nullptr;
    gpointer m_dialogPointer = nullptr;  // cleared when the dialog goes
    int m_tries = 0;
    bool m_found = false;
    std::string m_start;
};

}  // namespace testgui
