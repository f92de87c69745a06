// A named pop-up menu that remembers the command chosen from it.
#pragma once

class XWindow;

// Platform types, declared here so that this header needs no platform header.
typedef struct _GtkWidget GtkWidget;

/// A named menu record: a platform menu of items, each with a command id, that a
/// window can pop up. Choosing an item stores its command in the record (read
/// with GetCommand) and, when a window is set, sends the command to that window
/// as a control command. Every member is for the GUI thread.
class XMenu {
  public:
    /// An empty menu called `name` (at most 63 bytes kept; null counts as empty),
    /// command -1 (none chosen).
    explicit XMenu(const char* name = nullptr, XWindow* window = nullptr);
    /// Releases the platform menu.
    ~XMenu();
    XMenu(const XMenu&) = delete;
    XMenu& operator=(const XMenu&) = delete;

    /// Removes every item; the chosen command becomes -1.
    void Clear();
    /// The menu's name.
    const char* GetString() const { return m_name; }
    /// Appends an item showing `text` that stands for `command`.
    void AddItem(const char* text, unsigned long command);
    /// Appends a separator.
    void AddSeparator();
    /// The platform menu.
    GtkWidget* GetHandle() const { return m_hMenu; }
    /// The command of the item chosen last, (unsigned long)-1 when none.
    unsigned long GetCommand() const { return m_dwCmd; }
    /// Items (and separators) in the menu.
    int GetCount() const;

  private:
    static void OnActivate(GtkWidget* item, void* data);

    char m_name[64] = {};
    unsigned long m_dwCmd = static_cast<unsigned long>(-1);
    GtkWidget* m_hMenu = nullptr;  // one reference held by this object
    XWindow* m_pWindow = nullptr;
};
