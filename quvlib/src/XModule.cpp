#include "XModule.h"

#include <initializer_list>

XModule::~XModule() {
    for (XPort* head : {m_pFirstPortIn, m_pFirstPortOut}) {
        while (head) {
            XPort* next = head->pNext;
            XLink* link = head->pFirstLink;
            while (link) {
                XLink* nextLink = link->pNext;
                delete link;
                link = nextLink;
            }
            delete head;
            head = next;
        }
    }
}

void XModule::OnReceive(int, int) {}

void XModule::OnReceive(int, float) {}

XPort* XModule::Append(XPort*& head, int id, int format) {
    XPort* port = new XPort{};
    port->id = id;
    port->format = format;
    XPort** tail = &head;
    while (*tail) tail = &(*tail)->pNext;
    *tail = port;
    return port;
}

XPort* XModule::Find(XPort* head, int id) {
    for (XPort* p = head; p; p = p->pNext)
        if (p->id == id) return p;
    return nullptr;
}

XPort* XModule::AddInputInt(int id, int min, int max) {
    XPort* p = Append(m_pFirstPortIn, id, 0);
    p->iMin = min;
    p->iMax = max;
    return p;
}

XPort* XModule::AddInputFlt(int id, float min, float max) {
    XPort* p = Append(m_pFirstPortIn, id, 1);
    p->fMin = min;
    p->fMax = max;
    return p;
}

XPort* XModule::AddOutputInt(int id) {
    return Append(m_pFirstPortOut, id, 0);
}

XPort* XModule::AddOutputFlt(int id) {
    return Append(m_pFirstPortOut, id, 1);
}

XPort* XModule::FindInput(int id) const {
    return Find(m_pFirstPortIn, id);
}

XPort* XModule::FindOutput(int id) const {
    return Find(m_pFirstPortOut, id);
}

int XModule::Connect(int outId, XModule* dest, int inId) {
    XPort* out = FindOutput(outId);
    if (!out || !dest) return 0;
    XPort* in = dest->FindInput(inId);
    if (!in || in->format != out->format) return 0;
    XLink* link = new XLink{dest, inId, nullptr};
    XLink** tail = &out->pFirstLink;
    while (*tail) tail = &(*tail)->pNext;
    *tail = link;
    return 1;
}

int XModule::Transmit(int outId, int value) {
    XPort* out = FindOutput(outId);
    if (!out) return 0;
    for (XLink* l = out->pFirstLink; l; l = l->pNext) l->pModule->Receive(l->id, value);
    return 1;
}

int XModule::Transmit(int outId, float value) {
    XPort* out = FindOutput(outId);
    if (!out) return 0;
    for (XLink* l = out->pFirstLink; l; l = l->pNext) l->pModule->Receive(l->id, value);
    return 1;
}

void XModule::Receive(int inId, int value) {
    XPort* in = FindInput(inId);
    if (!in) return;
    if (in->iMax > in->iMin && (value < in->iMin || value > in->iMax)) return;
    OnReceive(inId, value);
}

void XModule::Receive(int inId, float value) {
    XPort* in = FindInput(inId);
    if (!in) return;
    if (in->fMax > in->fMin && (value < in->fMin || value > in->fMax)) return;
    OnReceive(inId, value);
}
