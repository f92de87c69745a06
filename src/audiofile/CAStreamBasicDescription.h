// A stream description with the helpers the readers need.
#pragma once

#include "AudioStreamBasicDescription.h"

/// AudioStreamBasicDescription with construction from a plain record and the
/// canonical-format helper. Plain data; any thread may use its own copy.
class CAStreamBasicDescription : public AudioStreamBasicDescription {
  public:
    /// All fields zero.
    CAStreamBasicDescription();
    /// A copy of `desc`.
    CAStreamBasicDescription(
        const AudioStreamBasicDescription& desc);  // NOLINT: implicit, so a description converts

    /// Turns this description into the canonical linear PCM format: native-endian
    /// 32-bit float, packed, `channels` channels, interleaved when `interleaved` is
    /// true (then one frame holds every channel), else one channel per buffer.
    /// The sample rate stays as it was.
    void SetCanonical(uint32_t channels, bool interleaved);

    /// True when this is linear PCM stored as floating point.
    bool IsFloat() const;
    /// True when the channels are interleaved in one buffer.
    bool IsInterleaved() const;
};
