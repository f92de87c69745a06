// The two interfaces every block of audio passes through.
//
// Sample blocks: 32-bit float samples, nominal full scale -1.0 .. +1.0 (nothing
// clips), `frames` frames of `channels` channels interleaved frame by frame:
// sample c of frame f stands at buffer[f * channels + c]. Playback blocks are
// always stereo.
#pragma once

/// Anything that produces sample blocks on demand (the player, and the bus,
/// which is the source a device driver pulls from).
class AudioSource {
  public:
    virtual ~AudioSource() = default;

    /// Request to reposition the source; the engine itself never calls it.
    virtual void OnMoveTo(long position) { (void)position; }

    /// Fills `buffer` with up to `frames` frames of `channels` interleaved channels
    /// and returns the number of frames written (0 .. frames). A short count means
    /// the source ran dry for this block; the caller silences the rest.
    ///
    /// Real-time contract: called on the audio IO thread. It must not allocate,
    /// take a lock, log, touch the GUI, do file I/O or wait on anything.
    virtual int OnAudioPlay(float* buffer, int frames, int channels) = 0;
};

/// Anything that consumes recorded sample blocks (the bus, and the targets
/// that hang on it).
class AudioTarget {
  public:
    virtual ~AudioTarget() = default;

    /// One recorded block, valid only for the duration of the call. Called on the
    /// audio IO thread, under the same real-time contract as OnAudioPlay.
    virtual void OnAudioRecord(float* buffer, int frames, int channels) {
        (void)buffer, (void)frames, (void)channels;
    }
    /// Notification before a recording; the bus does not call it itself.
    virtual void OnAudioRecordStart() {}
    /// Notification after a recording; the bus does not call it itself.
    virtual void OnAudioRecordStop() {}
};
