// The stream description record exchanged with the audio file service.
#pragma once

#include <cstdint>

#include "FourCC.h"

/// Format ids of AudioStreamBasicDescription::mFormatID.
enum : uint32_t {
    kAudioFormatLinearPCM = FourCC("lpcm"),        ///< integer or float samples, uncompressed
    kAudioFormatULaw = FourCC("ulaw"),             ///< G.711 mu-law
    kAudioFormatALaw = FourCC("alaw"),             ///< G.711 A-law
    kAudioFormatAppleIMA4 = FourCC("ima4"),        ///< IMA ADPCM
    kAudioFormatMPEGLayer1 = FourCC(".mp1"),       ///< MPEG audio layer I
    kAudioFormatMPEGLayer2 = FourCC(".mp2"),       ///< MPEG audio layer II
    kAudioFormatMPEGLayer3 = FourCC(".mp3"),       ///< MPEG audio layer III
    kAudioFormatFLAC = FourCC("flac"),             ///< FLAC
    kAudioFormatAppleLossless = FourCC("alac"),    ///< Apple Lossless
    kAudioFormatOpus = FourCC("opus"),             ///< Opus
    kAudioFormatVorbis = FourCC("vorb"),           ///< Ogg Vorbis
    kAudioFormatOtherCompressed = FourCC("cmpr"),  ///< any other coded format the decoder reads
};

/// Bits of AudioStreamBasicDescription::mFormatFlags for kAudioFormatLinearPCM.
enum : uint32_t {
    kAudioFormatFlagIsFloat = 1u << 0,
    kAudioFormatFlagIsBigEndian = 1u << 1,
    kAudioFormatFlagIsSignedInteger = 1u << 2,
    kAudioFormatFlagIsPacked = 1u << 3,
    kAudioFormatFlagIsNonInterleaved = 1u << 5,
};

/// Describes a stream of audio: the file's own format or the format in which reads
/// are delivered. Plain data; any thread may use its own copy.
struct AudioStreamBasicDescription {
    double mSampleRate;          ///< frames per second
    uint32_t mFormatID;          ///< one of the kAudioFormat... ids
    uint32_t mFormatFlags;       ///< kAudioFormatFlag... bits
    uint32_t mBytesPerPacket;    ///< 0 when packets vary in size
    uint32_t mFramesPerPacket;   ///< 1 for linear PCM; 0 when unknown
    uint32_t mBytesPerFrame;     ///< 0 for compressed formats
    uint32_t mChannelsPerFrame;  ///< interleaved channels
    uint32_t mBitsPerChannel;    ///< 0 for compressed formats, which report none
    uint32_t mReserved;          ///< always 0
};
