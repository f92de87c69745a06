// Numbered messages posted to a window from any thread.
#pragma once

#include <atomic>
#include <cstdint>

/// One posted message.
struct XWindowMsg {
    unsigned long msg;
    long wParam;
    long lParam;
};

/// A window's bounded, lock-free message queue: many posting threads (the audio IO
/// thread among them), one draining thread (the GUI thread). Posting never
/// allocates, locks or blocks; a full queue drops the message. Messages from one
/// thread are drained in posting order.
class XMsgQueue {
  public:
    static constexpr unsigned kCapacity = 1024;  // a power of two

    /// Wake-up hook, called after a post that found the queue idle (any thread;
    /// must itself be non-blocking: the GUI side uses g_main_context_wakeup).
    using Wakeup = void (*)(void* context);
    /// Synchronous receiver used by SendWindowMsg and by the drain (GUI thread).
    using Receiver = void (*)(void* context, unsigned long msg, long wParam, long lParam);

    XMsgQueue();
    XMsgQueue(const XMsgQueue&) = delete;
    XMsgQueue& operator=(const XMsgQueue&) = delete;

    /// Sets the hooks; call before any thread posts. GUI thread.
    void SetHooks(Wakeup wakeup, Receiver receiver, void* context);
    /// Appends a message. Returns false (and counts a drop) when the queue is full.
    /// Any thread; real-time safe.
    bool Post(unsigned long msg, long wParam, long lParam);
    /// Takes the oldest message. Returns false when empty. Draining thread only.
    bool Pop(XWindowMsg* out);
    /// Pops every waiting message into the receiver, in order; returns how many.
    /// Draining (GUI) thread only.
    int Drain();
    /// Calls the receiver at once with one message. Draining (GUI) thread only.
    void Deliver(unsigned long msg, long wParam, long lParam);
    /// Messages dropped because the queue was full. Any thread.
    unsigned long Dropped() const { return m_dropped.load(std::memory_order_relaxed); }

  private:
    struct Cell {
        std::atomic<unsigned> seq;
        XWindowMsg data;
    };
    Cell m_cells[kCapacity];
    alignas(64) std::atomic<unsigned> m_enqueue{0};
    alignas(64) std::atomic<unsigned> m_dequeue{0};
    std::atomic<bool> m_wakePending{false};  // set by a poster, cleared by Drain
    std::atomic<unsigned long> m_dropped{0};
    Wakeup m_wakeup = nullptr;
    Receiver m_receiver = nullptr;
    void* m_context = nullptr;
};

/// The handle a message is addressed to: a window's queue. XWindow owns one
/// (m_eventQueue) and hands it out as its message handle.
typedef XMsgQueue* XWINDOW;

/// Posts numbered messages to windows. A base of the windows and of the audio bus.
class XMessenger {
  public:
    virtual ~XMessenger() = default;

    /// Queues `msg` for `window` and returns at once; a null window does nothing.
    /// `msg` must be below 16000 (asserted). Any thread; real-time safe.
    void PostWindowMsg(XWINDOW window, unsigned long msg, long wParam, long lParam);
    /// Delivers `msg` to `window` at once. GUI thread only.
    void SendWindowMsg(XWINDOW window, unsigned long msg, long wParam, long lParam);
};
