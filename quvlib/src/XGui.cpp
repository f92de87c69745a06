#include "XGui.h"

std::atomic<int> XGui::m_useCount{0};
