#include "XClass.h"

#include <cstring>

XClass::XClass(const char* name) : m_name(nullptr), m_color{}, m_pNext(nullptr) {
    const char* src = name ? name : "";
    size_t n = std::strlen(src);
    m_name = new char[n + 1];
    std::memcpy(m_name, src, n + 1);
}

XClass::~XClass() {
    delete[] m_name;
    for (XColor*& c : m_color) {
        delete c;
        c = nullptr;
    }
}

bool XClass::HasName(const char* name) const {
    return name && std::strcmp(m_name, name) == 0;
}

void XClass::SetColor(int index, XColor color) {
    if (index < 0 || index >= kCount) return;
    if (m_color[index])
        *m_color[index] = color;
    else
        m_color[index] = new XColor(color);
}

const XColor* XClass::GetColor(int index) const {
    if (index < 0 || index >= kCount) return nullptr;
    return m_color[index];
}
