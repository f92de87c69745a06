// Numbered value ports and the wires between them.
#pragma once

/// One port of a module. Integer inputs accept [iMin, iMax], float inputs
/// [fMin, fMax]; a range whose max is not above its min accepts every value.
struct XPort {
    int id;                    // chosen by the owner; looked up by equality, first match wins
    int format;                // 0 integer, 1 float
    int iMin, iMax;            // accepted range of an integer input
    float fMin, fMax;          // accepted range of a float input
    struct XLink* pFirstLink;  // head of an output's links (owned by the module)
    XPort* pNext;
};

/// One wire from an output port to a receiving module's input port.
struct XLink {
    class XModule* pModule;  // receiving module, not owned
    int id;                  // its input port id
    XLink* pNext;
};

/// Gives an object numbered integer and float ports that are wired output to input
/// and pass values along the wires synchronously. GUI thread only (no locks).
/// A receiver must outlive its senders: destroying a module does not remove the
/// links other modules hold towards it.
class XModule {
  public:
    XModule() = default;
    XModule(const XModule&) = delete;
    XModule& operator=(const XModule&) = delete;
    /// Deletes all ports and their links.
    virtual ~XModule();

    /// Received integer value on input `id` (already range-checked). Base: nothing.
    virtual void OnReceive(int id, int value);
    /// Received float value on input `id` (already range-checked). Base: nothing.
    virtual void OnReceive(int id, float value);

    /// Creates and appends an integer input accepting [min, max] (max <= min: all).
    XPort* AddInputInt(int id, int min, int max);
    /// Creates and appends a float input accepting [min, max] (max <= min: all).
    XPort* AddInputFlt(int id, float min, float max);
    /// Creates and appends an integer output.
    XPort* AddOutputInt(int id);
    /// Creates and appends a float output.
    XPort* AddOutputFlt(int id);

    /// Wires output `outId` to input `inId` of `dest`. Returns 1, or 0 when there
    /// is no such output, no such input on `dest` (or `dest` is null), or the two
    /// formats differ. The same pair may be wired more than once.
    int Connect(int outId, XModule* dest, int inId);
    /// Delivers `value` along every link of output `outId`, in link order. Returns 0
    /// when there is no such output, else 1 (also with no links).
    int Transmit(int outId, int value);
    int Transmit(int outId, float value);
    /// Delivers a value to input `inId`: dropped when there is no such input or it
    /// is outside the input's range; else OnReceive. The port's format is not looked at.
    void Receive(int inId, int value);
    void Receive(int inId, float value);

    /// The input / output port `id`, or null.
    XPort* FindInput(int id) const;
    XPort* FindOutput(int id) const;

  protected:
    XPort* m_pFirstPortIn = nullptr;
    XPort* m_pFirstPortOut = nullptr;

  private:
    static XPort* Append(XPort*& head, int id, int format);
    static XPort* Find(XPort* head, int id);
};
