#include "MainDlg.h"

MainDlg::MainDlg() : m_fProgress(0.0f) {}

void MainDlg::SetProgress(float fraction) {
    m_fProgress.store(fraction, std::memory_order_relaxed);
}

float MainDlg::LastProgress() const {
    return m_fProgress.load(std::memory_order_relaxed);
}
