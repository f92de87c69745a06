#include "XMessenger.h"

#include <cassert>

// The queue is the bounded multi-producer ring of sequence-numbered cells: each
// cell's sequence says whether it is free for the producer of that turn or full
// for the consumer of that turn, so producers claim a cell with one CAS on the
// enqueue index and publish it with a release store of the sequence.

XMsgQueue::XMsgQueue() {
    for (unsigned i = 0; i < kCapacity; ++i) m_cells[i].seq.store(i, std::memory_order_relaxed);
}

void XMsgQueue::SetHooks(Wakeup wakeup, Receiver receiver, void* context) {
    m_wakeup = wakeup;
    m_receiver = receiver;
    m_context = context;
}

bool XMsgQueue::Post(unsigned long msg, long wParam, long lParam) {
    unsigned pos = m_enqueue.load(std::memory_order_relaxed);
    Cell* cell;
    for (;;) {
        cell = &m_cells[pos & (kCapacity - 1)];
        unsigned seq = cell->seq.load(std::memory_order_acquire);
        int diff = static_cast<int>(seq - pos);
        if (diff == 0) {
            if (m_enqueue.compare_exchange_weak(pos, pos + 1, std::memory_order_relaxed)) break;
        } else if (diff < 0) {
            m_dropped.fetch_add(1, std::memory_order_relaxed);
            return false;  // full
        } else {
            pos = m_enqueue.load(std::memory_order_relaxed);
        }
    }
    cell->data = XWindowMsg{msg, wParam, lParam};
    cell->seq.store(pos + 1, std::memory_order_release);
    // One wake-up per batch: only the post that finds no wake-up pending signals.
    if (m_wakeup && !m_wakePending.exchange(true, std::memory_order_acq_rel)) m_wakeup(m_context);
    return true;
}

bool XMsgQueue::Pop(XWindowMsg* out) {
    unsigned pos = m_dequeue.load(std::memory_order_relaxed);
    Cell* cell = &m_cells[pos & (kCapacity - 1)];
    unsigned seq = cell->seq.load(std::memory_order_acquire);
    if (static_cast<int>(seq - (pos + 1)) < 0) return false;  // empty
    *out = cell->data;
    cell->seq.store(pos + kCapacity, std::memory_order_release);
    m_dequeue.store(pos + 1, std::memory_order_relaxed);
    return true;
}

int XMsgQueue::Drain() {
    // Clear the flag first: a post that lands after this point signals again. It is
    // cleared with an exchange, not a store: reading the flag synchronises with the
    // last post that found it set, so the pops below see that post's message. A plain
    // store could let the pops run ahead of it (store-load reordering), and a message
    // posted just then would wait in the queue with no wake-up to come.
    m_wakePending.exchange(false, std::memory_order_acq_rel);
    int n = 0;
    XWindowMsg m;
    while (Pop(&m)) {
        ++n;
        if (m_receiver) m_receiver(m_context, m.msg, m.wParam, m.lParam);
    }
    return n;
}

void XMsgQueue::Deliver(unsigned long msg, long wParam, long lParam) {
    if (m_receiver) m_receiver(m_context, msg, wParam, lParam);
}

void XMessenger::PostWindowMsg(XWINDOW window, unsigned long lMsg, long wParam, long lParam) {
    if (!window) return;
    assert(lMsg < 16000);
    if (lMsg >= 16000) return;  // builds without assertions: the message is not posted
    window->Post(lMsg, wParam, lParam);
}

void XMessenger::SendWindowMsg(XWINDOW window, unsigned long msg, long wParam, long lParam) {
    if (!window) return;
    window->Deliver(msg, wParam, lParam);
}
