#include "CAStreamBasicDescription.h"

CAStreamBasicDescription::CAStreamBasicDescription() : AudioStreamBasicDescription() {}

CAStreamBasicDescription::CAStreamBasicDescription(const AudioStreamBasicDescription& desc)
    : AudioStreamBasicDescription(desc) {}

void CAStreamBasicDescription::SetCanonical(uint32_t channels, bool interleaved) {
    const uint32_t sampleBytes = sizeof(float);
    mFormatID = kAudioFormatLinearPCM;
    // Native endian means no big-endian flag: the program only builds for
    // little-endian hosts (see the static_assert in CAAudioFile.cpp).
    mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    mBitsPerChannel = 8 * sampleBytes;
    mChannelsPerFrame = channels;
    mFramesPerPacket = 1;
    if (interleaved) {
        mBytesPerFrame = channels * sampleBytes;
    } else {
        mFormatFlags |= kAudioFormatFlagIsNonInterleaved;
        mBytesPerFrame = sampleBytes;
    }
    mBytesPerPacket = mBytesPerFrame;
    mReserved = 0;
}

bool CAStreamBasicDescription::IsFloat() const {
    return mFormatID == kAudioFormatLinearPCM && (mFormatFlags & kAudioFormatFlagIsFloat) != 0;
}

bool CAStreamBasicDescription::IsInterleaved() const {
    return (mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}
