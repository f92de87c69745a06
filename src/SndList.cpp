#include "SndList.h"

#include <cstdint>
#include <cstring>
#include <new>

// A node is one block of bytes: the link to the next node followed at once by the
// string and its NUL. The link is atomic because the reader follows it while the
// appender may be writing the next one.
struct SndList::Node {
    std::atomic<Node*> next;
    char* Text() { return reinterpret_cast<char*>(this + 1); }
};

SndList::SndList()
    : m_pFirst(nullptr), m_pLast(nullptr), m_pCurrent(nullptr), m_iCurrent(-1), m_count(0) {}

SndList::~SndList() {
    Clear();
}

int SndList::AddString(char* text) {
    // The length narrowed to a signed 16-bit value is deliberate: longer texts are
    // refused here rather than wrapping into a negative allocation size.
    int16_t len = static_cast<int16_t>(strlen(text) + 1);
    if (len <= 0) return m_count.load(std::memory_order_relaxed);
    char* block = new char[sizeof(Node) + len];
    Node* node = new (block) Node;
    node->next.store(nullptr, std::memory_order_relaxed);
    memcpy(node->Text(), text, len);
    node->Text()[len - 1] = 0;

    int index = m_count.load(std::memory_order_relaxed);
    Node* last = m_pLast.load(std::memory_order_relaxed);
    if (last)
        last->next.store(node, std::memory_order_release);
    else
        m_pFirst = node;
    m_pLast.store(node, std::memory_order_relaxed);
    m_count.store(index + 1, std::memory_order_release);  // publishes the node
    return index;
}

char* SndList::GetString(int index) {
    static char empty[1] = "";
    if (index >= m_count.load(std::memory_order_acquire)) return empty;
    SelectItem(index);
    return m_pCurrent ? m_pCurrent->Text() : empty;
}

void SndList::SelectItem(int index) {
    if (m_iCurrent == index && m_pCurrent) return;
    // A cursor past `index`, or one left without a node, starts again at the head.
    if (m_iCurrent > index || !m_pCurrent) m_iCurrent = -1;
    if (m_iCurrent < 0) {
        m_pCurrent = Size() > 0 ? m_pFirst : nullptr;
        m_iCurrent = 0;
    }
    for (int steps = index - m_iCurrent; steps > 0 && m_pCurrent; --steps) {
        m_pCurrent = m_pCurrent->next.load(std::memory_order_acquire);
        ++m_iCurrent;
    }
    // Stepped off the end: the cursor goes back to the first node, and its index
    // with it, so that a later call never takes the first node for another item.
    if (!m_pCurrent) {
        m_pCurrent = Size() > 0 ? m_pFirst : nullptr;
        m_iCurrent = 0;
    }
}

int SndList::Size() {
    return m_count.load(std::memory_order_acquire);
}

void SndList::Clear() {
    Node* node = m_pFirst;
    for (int i = m_count.load(std::memory_order_acquire); i > 0 && node; --i) {
        Node* next = node->next.load(std::memory_order_relaxed);
        node->~Node();
        delete[] reinterpret_cast<char*>(node);
        node = next;
    }
    m_count.store(0, std::memory_order_relaxed);
    m_pFirst = nullptr;
    m_pLast.store(nullptr, std::memory_order_relaxed);
    m_pCurrent = nullptr;
    m_iCurrent = -1;
}
