// The window's menu bar and its menus.
#pragma once

class XWindow;

// Platform types, declared here so that this header needs no platform header.
typedef struct _GtkWidget GtkWidget;

/// A menu of a window: the menu bar itself (made by CreateMenuBar) or one of its
/// menus (made by AddMenu). Choosing an item sends its command to the window as
/// a control command, so that it reaches the window's OnCommand, and then to the
/// application object. Sub-menus are owned by their menu and deleted with it; the
/// menu bar is owned by its window. Every member is for the GUI thread.
class StdMenu {
  public:
    /// An empty menu with no platform menu yet.
    StdMenu();
    /// Deletes the sub-menus and releases the platform menu.
    ~StdMenu();
    StdMenu(const StdMenu&) = delete;
    StdMenu& operator=(const StdMenu&) = delete;

    /// Makes this the menu bar of `window`: the label becomes "menu bar" and a
    /// platform menu bar is made (the window shows it above its view). Returns
    /// false, changing nothing, when it already has a platform menu.
    bool CreateMenuBar(XWindow* window);
    /// Appends an item showing `text` that sends `command` when chosen; the
    /// count grows by one.
    void AddMenuItem(const char* text, unsigned long command);
    /// Appends a separator; the count grows by one.
    void AddMenuSeparator();
    /// Appends a sub-menu named `name` (at most 39 bytes kept) and returns it; it
    /// belongs to this menu. Counts as an item. Null when this menu has no
    /// platform menu.
    StdMenu* AddMenu(const char* name);
    /// Empties the menu: removes every item and deletes the sub-menus; the count
    /// becomes 0.
    void DeleteAllItems();

    /// The first sub-menu named `name`, or null.
    StdMenu* FindMenu(const char* name);
    /// Items added so far (items, separators and sub-menus).
    int GetCount() const { return m_count; }
    /// "menu bar" for the bar, the menu's name for a sub-menu.
    const char* GetLabel() const { return m_label; }
    /// The platform menu (a menu bar or a menu), or null.
    GtkWidget* GetHandle() const { return m_hMenu; }
    /// The first sub-menu, and the one after this in its menu's list.
    StdMenu* GetFirst() const { return m_pFirst; }
    StdMenu* GetNext() const { return m_pNext; }
    /// The window the menu sends its commands to.
    XWindow* GetWindow() const { return m_hWindow; }

  private:
    void Adopt(GtkWidget* menu);

    GtkWidget* m_hMenu = nullptr;  // one reference held by this object
    XWindow* m_hWindow = nullptr;
    int m_count = 0;
    StdMenu* m_pFirst = nullptr;  // sub-menus, linked through m_pNext
    StdMenu* m_pNext = nullptr;
    char m_label[40] = {};
};
