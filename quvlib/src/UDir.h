// One folder path that moves into and out of subfolders and starts from well-known places.
#pragma once

/// Well-known places a UDir can start from.
enum XPATH {
    kPathLocal = 0,    ///< the folder that holds the application's executable
    kPathSupport = 1,  ///< the user's application data folder
    kPathDesktop = 2,  ///< the user's desktop (the home folder when there is none)
};

/// Holds one folder path, always ending in its separator once set, and moves it
/// around. Paths are POSIX ("/" between components); a path that does not start
/// with "/" is treated as the old colon style (separator ":"), which only affects
/// the separator: no colon-style folder exists on this platform.
///
/// Bounds: the path holds at most 299 bytes and each result (MakeFilePath,
/// MakeAppPath, SubPath) at most 399. An operation whose path would not fit is
/// refused and leaves the path as it was (SetPath returns 0, OpenFolder and
/// CreateFolder return false); a result that would not fit is the empty string.
///
/// One object must not be used from two threads at once; different objects may.
class UDir {
  public:
    /// Empty path, separator backslash.
    UDir();
    /// SetPath(path); the object then reports the POSIX style whatever the path.
    explicit UDir(const char* path);
    /// SetPath(where); the object then reports the POSIX style whatever the path.
    explicit UDir(XPATH where);
    virtual ~UDir() = default;

    /// Copies `path` and normalises it (VerifPath). Returns 1, or 0 when the
    /// normalised path would not fit (the path is then unchanged).
    int SetPath(const char* path);
    /// Sets the path to a well-known place: the executable's folder, the user data
    /// folder, or the desktop (falling back to $HOME when the desktop is unset or
    /// missing). Any other value leaves the path. Returns 1.
    int SetPath(XPATH where);
    /// Normalises the path: nothing when empty; trailing blanks removed; the
    /// separator becomes "/" when the path starts with "/", else ":"; the separator
    /// is appended when missing. Returns the length before the blanks were removed.
    int VerifPath();
    /// The current path.
    const char* GetPath() const { return m_path; }
    /// The current separator, '/' or ':' (a backslash before any path was set).
    char GetDelim() const { return m_delim; }
    /// Whether the object reports the POSIX style.
    bool IsPosix() const { return m_bPosix; }

    /// Goes up one level (/a/b/ becomes /a/); without an earlier separator (the path
    /// "/") nothing changes. The argument is not used.
    void CloseFolder(const char* unused = nullptr);
    /// Moves into the subfolder `name` when it exists; otherwise the path stays.
    /// Returns whether it exists.
    bool OpenFolder(const char* name);
    /// Moves into the subfolder `name`, creating it (mode 0777 less the umask) when
    /// missing. Returns success; on failure the path stays.
    bool CreateFolder(const char* name);
    /// Creates every missing folder of the path, the first component excepted.
    /// Returns false at the first folder that cannot be made.
    bool MakeSurePathExist();

    /// Path + `name`, plus "." and `ext` when `ext` is given and not empty (no second
    /// "." when `ext` begins with one). Overwrites the object's result buffer.
    const char* MakeFilePath(const char* name, const char* ext = nullptr);
    /// Path + `name` + ".app". Overwrites the object's result buffer.
    const char* MakeAppPath(const char* name);
    /// Records the positions of the path's separators (at most 20) and returns how
    /// many were recorded.
    int SubPathCount();
    /// Component `i`, between separator i - 1 (the start for 0) and separator i, as
    /// recorded by the last SubPathCount: for /a/b/ 0 is "", 1 is "a", 2 is "b". Out
    /// of that range: "". Overwrites the object's result buffer.
    const char* SubPath(int i);
    /// Free bytes on the root file system; 0 on failure.
    long long FreeSpace();

  private:
    /// Appends `name` to the path and normalises; false (path unchanged) if it
    /// would not fit.
    bool Append(const char* name);
    /// Whether the path names an existing folder.
    bool Exists() const;
    /// Joins `count` strings into the result buffer, or "" if they do not fit.
    const char* Result(const char* parts[], int count);

    char m_delim;
    char m_path[300];
    char m_temp[400];
    int m_delimPos[20];
    int m_delimCount;
    bool m_bPosix;
};
