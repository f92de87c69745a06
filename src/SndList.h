// The queue of dropped paths that the main window's worker walks.
#pragma once

#include <atomic>

/// Append-only singly linked list of copied strings with a remembered cursor, so
/// that reading items in rising order costs one step each.
///
/// Threads: one thread appends (AddString) while one other thread reads by index
/// (Size, GetString, SelectItem). The count is published only after the new node
/// is linked and its text copied, so a reader bounded by Size() never sees a
/// half-made item. Clear must not run concurrently with either.
class SndList {
  public:
    SndList();
    virtual ~SndList();

    /// Copies `text` into a new node at the tail; returns the new item's index (the
    /// count before adding). The copy length strlen(text) + 1 is held as a signed
    /// 16-bit value, so texts are limited to 32766 bytes. Appending thread.
    int AddString(char* text);
    /// The text of item `index` (owned by the list, valid until Clear), moving the
    /// cursor there; "" when `index` is Size() or more. Reading thread.
    char* GetString(int index);
    /// Moves the cursor to `index` (a negative index lands on the first item).
    void SelectItem(int index);
    /// Number of items. Any thread.
    int Size();
    /// Frees every item and resets the list.
    void Clear();

  private:
    friend class SndListProbe;  // the unit tests read the cursor

    struct Node;

    Node* m_pFirst;
    std::atomic<Node*> m_pLast;  // written by the appender only
    Node* m_pCurrent;            // the reader's cursor
    int m_iCurrent;
    std::atomic<int> m_count;  // release by the appender, acquire by the reader
};
