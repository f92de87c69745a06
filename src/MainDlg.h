// The main window's controller. For now only the piece the player talks to: this
// class grows into the main window (its layout, loading, navigation and commands).
#pragma once

#include <atomic>

/// The main window's controller; at present it only keeps the playback progress
/// that the player reports.
class MainDlg {
  public:
    MainDlg();

    /// Sets the progress of the sound being played, as a fraction of its length.
    /// Called by the player on the audio IO thread: it only stores an atomic.
    void SetProgress(float fraction);
    /// The fraction last given to SetProgress (0 before any). Any thread.
    float LastProgress() const;

  private:
    std::atomic<float> m_fProgress;  // written by the IO thread, read by any thread
};
