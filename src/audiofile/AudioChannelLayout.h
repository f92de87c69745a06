// The channel layout record that may accompany a client format.
#pragma once

#include <cstdint>

/// Layout tags: the high 16 bits name the layout, the low 16 bits count its channels.
enum : uint32_t {
    kAudioChannelLayoutTag_UseChannelDescriptions = 0u
                                                    << 16,  ///< mNumberChannelDescriptions counts
    kAudioChannelLayoutTag_UseChannelBitmap = 1u << 16,  ///< one bit per channel in mChannelBitmap
    kAudioChannelLayoutTag_Mono = (100u << 16) | 1,      ///< one channel
    kAudioChannelLayoutTag_Stereo = (101u << 16) | 2,    ///< left, right
};

/// Which speaker each channel of a stream feeds. Only the channel count it implies
/// matters to the decoder glue. Plain data.
struct AudioChannelLayout {
    uint32_t mChannelLayoutTag;           ///< a kAudioChannelLayoutTag_... value
    uint32_t mChannelBitmap;              ///< used with ..._UseChannelBitmap
    uint32_t mNumberChannelDescriptions;  ///< used with ..._UseChannelDescriptions
};
