#include "StdToolBar.h"

#include <gtk/gtk.h>

#include <cstring>

#include "XPic.h"
#include "XWindowStd.h"

namespace {

const char* const kCommandKey = "quvlib-command";

char* Copy(const char* s) {
    if (!s) return nullptr;
    size_t n = strlen(s) + 1;
    char* c = new char[n];
    memcpy(c, s, n);
    return c;
}

void OnClicked(GtkToolButton* button, gpointer data) {
    auto* window = static_cast<XWindow*>(data);
    long command =
        static_cast<long>(GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(button), kCommandKey)));
    if (window) window->DispatchCommand(static_cast<unsigned long>(static_cast<int>(command)));
}

}  // namespace

StdToolBar::StdToolBar() = default;

StdToolBar::~StdToolBar() {
    for (int i = 0; i < m_toolCount; ++i) {
        delete[] m_tool[i].label;
        delete[] m_tool[i].icon;
    }
    if (m_hToolBar) g_object_unref(m_hToolBar);
}

bool StdToolBar::CreateToolBar(XWindow* window, int, int cy) {
    if (m_hToolBar) return false;
    m_hWindow = window;
    // The toolbar lives as long as this object, whether or not a window packs it.
    m_hToolBar = GTK_WIDGET(g_object_ref_sink(gtk_toolbar_new()));
    gtk_toolbar_set_style(GTK_TOOLBAR(m_hToolBar), GTK_TOOLBAR_BOTH_HORIZ);
    if (cy > 0) gtk_widget_set_size_request(m_hToolBar, -1, cy);
    return true;
}

void StdToolBar::AddItem(const char* label, const char* icon, int command) {
    // The record array is fixed; a 33rd button is dropped rather than written
    // past its end.
    if (m_toolCount >= kMaxTools) return;
    t_tool& t = m_tool[m_toolCount++];
    t.label = Copy(label);
    t.icon = Copy(icon);
    t.dwCmd = command;
    t.itemRef = nullptr;
    if (!m_hToolBar) return;
    GtkWidget* image = nullptr;
    XPic pic;
    if (icon && pic.GetResource(icon, nullptr)) image = gtk_image_new_from_surface(pic.GetHandle());
    GtkToolItem* item = gtk_tool_button_new(image, label ? label : "");
    gtk_tool_item_set_is_important(item, TRUE);  // the label shows beside the icon
    g_object_set_data(G_OBJECT(item), kCommandKey,
                      GSIZE_TO_POINTER(static_cast<gsize>(static_cast<unsigned>(command))));
    g_signal_connect(item, "clicked", G_CALLBACK(OnClicked), m_hWindow);
    gtk_toolbar_insert(GTK_TOOLBAR(m_hToolBar), item, -1);
    gtk_widget_show_all(GTK_WIDGET(item));
    t.itemRef = GTK_WIDGET(item);
}

void StdToolBar::AddSeparator() {
    if (m_toolCount >= kMaxTools) return;
    t_tool& t = m_tool[m_toolCount++];
    t = t_tool{nullptr, nullptr, -1, nullptr};
    if (!m_hToolBar) return;
    GtkToolItem* item = gtk_separator_tool_item_new();
    gtk_toolbar_insert(GTK_TOOLBAR(m_hToolBar), item, -1);
    gtk_widget_show(GTK_WIDGET(item));
    t.itemRef = GTK_WIDGET(item);
}

void StdToolBar::Show() {
    if (!m_hToolBar) return;
    gtk_toolbar_set_icon_size(GTK_TOOLBAR(m_hToolBar), GTK_ICON_SIZE_SMALL_TOOLBAR);
    gtk_widget_show_all(m_hToolBar);
}

void StdToolBar::SetEnabled(int command, bool enabled) {
    // Several buttons may carry one command: all of them follow.
    for (int i = 0; i < m_toolCount; ++i)
        if (m_tool[i].dwCmd == command && m_tool[i].itemRef)
            gtk_widget_set_sensitive(m_tool[i].itemRef, enabled);
}

void StdToolBar::EnableButton(int command) {
    SetEnabled(command, true);
}

void StdToolBar::DisableButton(int command) {
    SetEnabled(command, false);
}

const t_tool* StdToolBar::GetTool(int i) const {
    if (i < 0 || i >= m_toolCount) return nullptr;
    return &m_tool[i];
}

bool StdToolBar::IsEnabled(int i) const {
    const t_tool* t = GetTool(i);
    return t && t->itemRef && gtk_widget_get_sensitive(t->itemRef);
}
