#include "StdMenu.h"

#include <gtk/gtk.h>

#include <cstdio>
#include <cstring>

#include "XWindowStd.h"

namespace {

const char* const kCommandKey = "quvlib-command";

void OnActivate(GtkMenuItem* item, gpointer data) {
    auto* window = static_cast<XWindow*>(data);
    unsigned long command = static_cast<unsigned long>(
        GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(item), kCommandKey)));
    if (window) window->DispatchCommand(command);
}

}  // namespace

StdMenu::StdMenu() = default;

StdMenu::~StdMenu() {
    DeleteAllItems();
    if (m_hMenu) g_object_unref(m_hMenu);
}

void StdMenu::Adopt(GtkWidget* menu) {
    // The menu lives as long as this object, whether or not a window packs it.
    m_hMenu = GTK_WIDGET(g_object_ref_sink(menu));
}

bool StdMenu::CreateMenuBar(XWindow* window) {
    if (m_hMenu) return false;
    m_hWindow = window;
    snprintf(m_label, sizeof(m_label), "%s", "menu bar");
    Adopt(gtk_menu_bar_new());
    return true;
}

void StdMenu::AddMenuItem(const char* text, unsigned long command) {
    if (!m_hMenu) return;
    GtkWidget* item = gtk_menu_item_new_with_label(text ? text : "");
    g_object_set_data(G_OBJECT(item), kCommandKey, GSIZE_TO_POINTER(static_cast<gsize>(command)));
    g_signal_connect(item, "activate", G_CALLBACK(OnActivate), m_hWindow);
    gtk_menu_shell_append(GTK_MENU_SHELL(m_hMenu), item);
    gtk_widget_show(item);
    ++m_count;
}

void StdMenu::AddMenuSeparator() {
    if (!m_hMenu) return;
    GtkWidget* item = gtk_separator_menu_item_new();
    gtk_menu_shell_append(GTK_MENU_SHELL(m_hMenu), item);
    gtk_widget_show(item);
    ++m_count;
}

StdMenu* StdMenu::AddMenu(const char* name) {
    if (!m_hMenu) return nullptr;
    auto* sub = new StdMenu;
    sub->m_hWindow = m_hWindow;
    snprintf(sub->m_label, sizeof(sub->m_label), "%s", name ? name : "");
    sub->Adopt(gtk_menu_new());
    GtkWidget* item = gtk_menu_item_new_with_label(sub->m_label);
    gtk_menu_item_set_submenu(GTK_MENU_ITEM(item), sub->m_hMenu);
    gtk_menu_shell_append(GTK_MENU_SHELL(m_hMenu), item);
    gtk_widget_show(item);
    ++m_count;
    // Appended at the end of the list, so that sub-menus stay in the order made.
    StdMenu** link = &m_pFirst;
    while (*link) link = &(*link)->m_pNext;
    *link = sub;
    return sub;
}

void StdMenu::DeleteAllItems() {
    if (m_hMenu) {
        GList* items = gtk_container_get_children(GTK_CONTAINER(m_hMenu));
        for (GList* i = items; i; i = i->next) gtk_widget_destroy(GTK_WIDGET(i->data));
        g_list_free(items);
    }
    while (m_pFirst) {
        StdMenu* next = m_pFirst->m_pNext;
        delete m_pFirst;
        m_pFirst = next;
    }
    m_count = 0;
}

StdMenu* StdMenu::FindMenu(const char* name) {
    for (StdMenu* m = m_pFirst; m; m = m->m_pNext)
        if (name && strcmp(m->m_label, name) == 0) return m;
    return nullptr;
}
