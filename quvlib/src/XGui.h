// Counts the library's live GUI objects.
#pragma once

#include <atomic>

/// Base that counts live GUI objects (windows). Construction increments the
/// class-wide count, destruction decrements it. Any thread (the count is atomic).
class XGui {
  public:
    XGui() { m_useCount.fetch_add(1, std::memory_order_relaxed); }
    XGui(const XGui&) { m_useCount.fetch_add(1, std::memory_order_relaxed); }
    XGui& operator=(const XGui&) = default;
    virtual ~XGui() { m_useCount.fetch_sub(1, std::memory_order_relaxed); }

    /// Number of live XGui objects.
    static int GetUseCount() { return m_useCount.load(std::memory_order_relaxed); }

    static std::atomic<int> m_useCount;  // written by every constructor/destructor
};
