#include "XMenu.h"

#include <gtk/gtk.h>

#include <cstdio>

#include "XWindowStd.h"

namespace {
const char* const kCommandKey = "quvlib-command";
}

XMenu::XMenu(const char* name, XWindow* window) : m_pWindow(window) {
    snprintf(m_name, sizeof(m_name), "%s", name ? name : "");
    m_hMenu = GTK_WIDGET(g_object_ref_sink(gtk_menu_new()));
}

XMenu::~XMenu() {
    gtk_widget_destroy(m_hMenu);
    g_object_unref(m_hMenu);
}

void XMenu::Clear() {
    GList* items = gtk_container_get_children(GTK_CONTAINER(m_hMenu));
    for (GList* i = items; i; i = i->next) gtk_widget_destroy(GTK_WIDGET(i->data));
    g_list_free(items);
    m_dwCmd = static_cast<unsigned long>(-1);
}

void XMenu::AddItem(const char* text, unsigned long command) {
    GtkWidget* item = gtk_menu_item_new_with_label(text ? text : "");
    g_object_set_data(G_OBJECT(item), kCommandKey, GSIZE_TO_POINTER(static_cast<gsize>(command)));
    g_signal_connect(item, "activate", G_CALLBACK(&XMenu::OnActivate), this);
    gtk_menu_shell_append(GTK_MENU_SHELL(m_hMenu), item);
    gtk_widget_show(item);
}

void XMenu::AddSeparator() {
    GtkWidget* item = gtk_separator_menu_item_new();
    gtk_menu_shell_append(GTK_MENU_SHELL(m_hMenu), item);
    gtk_widget_show(item);
}

int XMenu::GetCount() const {
    GList* items = gtk_container_get_children(GTK_CONTAINER(m_hMenu));
    int n = static_cast<int>(g_list_length(items));
    g_list_free(items);
    return n;
}

void XMenu::OnActivate(GtkWidget* item, void* data) {
    auto* menu = static_cast<XMenu*>(data);
    menu->m_dwCmd = static_cast<unsigned long>(
        GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(item), kCommandKey)));
    if (menu->m_pWindow) menu->m_pWindow->DispatchCommand(menu->m_dwCmd);
}
