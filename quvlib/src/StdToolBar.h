// A window's toolbar of command buttons.
#pragma once

class XWindow;

// Platform types, declared here so that this header needs no platform header.
typedef struct _GtkWidget GtkWidget;

/// One button of a toolbar.
struct t_tool {
    char* label;         ///< owned copy of the button's text
    char* icon;          ///< owned copy of the icon's picture resource name (may be null)
    int dwCmd;           ///< command the button sends
    GtkWidget* itemRef;  ///< the platform button, once made
};

/// The toolbar of a window, shown between its menu bar and its view: a row of
/// buttons, each with a text and an icon picture, sending its command to the
/// window as an ordinary command (which reaches OnCommand) when clicked. Owned by
/// its window (XWindow::CreateToolBar). Every member is for the GUI thread.
class StdToolBar {
  public:
    /// Most buttons a toolbar holds; further AddItem calls are ignored.
    static constexpr int kMaxTools = 32;

    /// An empty toolbar with no platform toolbar yet.
    StdToolBar();
    /// Frees the records and releases the platform toolbar.
    ~StdToolBar();
    StdToolBar(const StdToolBar&) = delete;
    StdToolBar& operator=(const StdToolBar&) = delete;

    /// Makes the platform toolbar for `window`, `cy` pixels high when `cy` is
    /// above 0 (`cx` is not used: the toolbar spans the window). Returns false,
    /// changing nothing, when it was already made.
    bool CreateToolBar(XWindow* window, int cx, int cy);
    /// Appends a button showing `label` and the picture resource `icon` (null or
    /// a missing resource: no picture) that sends `command` when clicked. Both
    /// strings are copied. Ignored when kMaxTools buttons exist.
    void AddItem(const char* label, const char* icon, int command);
    /// Appends a separator (a record with command -1 and no text).
    void AddSeparator();
    /// Small icons, and the toolbar shown.
    void Show();
    /// Enables, or disables, every button whose command is `command`; a command
    /// no button carries changes nothing.
    void EnableButton(int command);
    void DisableButton(int command);

    /// Buttons added so far.
    int GetCount() const { return m_toolCount; }
    /// Button record `i`, or null outside 0 .. GetCount() - 1.
    const t_tool* GetTool(int i) const;
    /// Whether button `i` is enabled (false outside the range).
    bool IsEnabled(int i) const;
    /// The platform toolbar, or null.
    GtkWidget* GetHandle() const { return m_hToolBar; }

  private:
    void SetEnabled(int command, bool enabled);

    XWindow* m_hWindow = nullptr;
    GtkWidget* m_hToolBar = nullptr;  // one reference held by this object
    t_tool m_tool[kMaxTools] = {};
    int m_toolCount = 0;
};
