#include "CAAudioFile.h"

#include <dlfcn.h>
#include <mpg123.h>
#include <sndfile.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

static_assert(sizeof(float) == 4, "the client format is 32-bit float");
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the canonical format is written for little-endian hosts"
#endif

namespace {

// Bits per sample of the integer and float subtypes; 0 for every coded subtype.
uint32_t PcmBits(int subtype) {
    switch (subtype) {
        case SF_FORMAT_PCM_S8:
        case SF_FORMAT_PCM_U8:
            return 8;
        case SF_FORMAT_PCM_16:
            return 16;
        case SF_FORMAT_PCM_24:
            return 24;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_FLOAT:
            return 32;
        case SF_FORMAT_DOUBLE:
            return 64;
        default:
            return 0;
    }
}

// The id of a coded (non-PCM) stream.
uint32_t CodedFormatId(int major, int subtype) {
    // FLAC keeps its source depth in a PCM subtype, but the stream is coded.
    if (major == SF_FORMAT_FLAC) return kAudioFormatFLAC;
    switch (subtype) {
        case SF_FORMAT_ULAW:
            return kAudioFormatULaw;
        case SF_FORMAT_ALAW:
            return kAudioFormatALaw;
        case SF_FORMAT_IMA_ADPCM:
            return kAudioFormatAppleIMA4;
        case SF_FORMAT_MPEG_LAYER_I:
            return kAudioFormatMPEGLayer1;
        case SF_FORMAT_MPEG_LAYER_II:
            return kAudioFormatMPEGLayer2;
        case SF_FORMAT_MPEG_LAYER_III:
            return kAudioFormatMPEGLayer3;
        case SF_FORMAT_ALAC_16:
        case SF_FORMAT_ALAC_20:
        case SF_FORMAT_ALAC_24:
        case SF_FORMAT_ALAC_32:
            return kAudioFormatAppleLossless;
        case SF_FORMAT_OPUS:
            return kAudioFormatOpus;
        case SF_FORMAT_VORBIS:
            return kAudioFormatVorbis;
        default:
            return kAudioFormatOtherCompressed;
    }
}

// Frames per coded packet where the format fixes it; 0 when unknown.
uint32_t CodedFramesPerPacket(uint32_t formatId, double rate) {
    switch (formatId) {
        case kAudioFormatMPEGLayer1:
            return 384;
        case kAudioFormatMPEGLayer2:
            return 1152;
        case kAudioFormatMPEGLayer3:
            return rate >= 32000 ? 1152 : 576;  // MPEG-2 and 2.5 halve the frame
        default:
            return 0;
    }
}

CAStreamBasicDescription DescribeFile(const SF_INFO& info) {
    CAStreamBasicDescription desc;
    const int major = info.format & SF_FORMAT_TYPEMASK;
    const int subtype = info.format & SF_FORMAT_SUBMASK;
    desc.mSampleRate = info.samplerate;
    desc.mChannelsPerFrame = static_cast<uint32_t>(info.channels);
    const uint32_t bits = major == SF_FORMAT_FLAC ? 0 : PcmBits(subtype);
    if (bits != 0) {
        desc.mFormatID = kAudioFormatLinearPCM;
        desc.mFormatFlags = kAudioFormatFlagIsPacked;
        if (subtype == SF_FORMAT_FLOAT || subtype == SF_FORMAT_DOUBLE) {
            desc.mFormatFlags |= kAudioFormatFlagIsFloat;
        } else if (subtype != SF_FORMAT_PCM_U8) {
            desc.mFormatFlags |= kAudioFormatFlagIsSignedInteger;
        }
        // The decoder hides the stored byte order, so no big-endian flag is claimed.
        desc.mBitsPerChannel = bits;
        desc.mFramesPerPacket = 1;
        desc.mBytesPerFrame = desc.mChannelsPerFrame * bits / 8;
        desc.mBytesPerPacket = desc.mBytesPerFrame;
    } else {
        desc.mFormatID = CodedFormatId(major, subtype);
        desc.mFramesPerPacket = CodedFramesPerPacket(desc.mFormatID, desc.mSampleRate);
    }
    return desc;
}

// How many channels a layout names; 0 when it does not say.
uint32_t LayoutChannels(const AudioChannelLayout& layout) {
    if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions)
        return layout.mNumberChannelDescriptions;
    if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelBitmap)
        return static_cast<uint32_t>(__builtin_popcount(layout.mChannelBitmap));
    return layout.mChannelLayoutTag & 0xFFFFu;
}

}  // namespace

// libsndfile decodes MP3 through a libmpg123 handle of its own and leaves that
// handle's console messages on, so a damaged stream prints lines such as "Note:
// Illegal Audio-MPEG-Header ..." on the terminal; libsndfile has no setting for
// them. The handle is made through this function, which the dynamic linker finds
// before libmpg123's own (the executable comes first): it makes the handle with
// libmpg123's function and switches its printouts off (MPG123_QUIET). Decoding
// failures still come back through libsndfile's error state, and from there in
// this glue's exceptions.
extern "C" mpg123_handle* mpg123_new(const char* decoder, int* error) {
    using NewFn = mpg123_handle* (*)(const char*, int*);
    using ParamFn = int (*)(mpg123_handle*, int, long, double);
    static const NewFn make = reinterpret_cast<NewFn>(dlsym(RTLD_NEXT, "mpg123_new"));
    static const ParamFn param = reinterpret_cast<ParamFn>(dlsym(RTLD_NEXT, "mpg123_param2"));
    if (!make) {
        if (error) *error = MPG123_ERR;
        return nullptr;
    }
    mpg123_handle* handle = make(decoder, error);
    if (handle && param) param(handle, MPG123_ADD_FLAGS, MPG123_QUIET, 0.0);
    return handle;
}

CAAudioFile::CAAudioFile()
    : m_hSnd(nullptr), m_frames(0), m_bClientSet(false), m_clientChannels(0) {}

CAAudioFile::~CAAudioFile() {
    if (m_hSnd) sf_close(m_hSnd);
}

void CAAudioFile::Open(const char* path) {
    // A reader object is reused for every sound, so a previous file is let go here.
    // Its close result is not reported: it was only read, nothing can be lost.
    if (m_hSnd) sf_close(m_hSnd);
    m_hSnd = nullptr;
    m_bClientSet = false;
    m_clientChannels = 0;
    m_frames = 0;
    m_fileFormat = CAStreamBasicDescription();

    if (path == nullptr) throw CAAudioFileError("locate audio file");
    struct stat st;
    if (stat(path, &st) != 0) throw CAAudioFileError("locate audio file", strerror(errno));

    // Only regular files are handed to the decoder: a pipe or device would block
    // the opening thread until someone writes to it, and the decoder's pipe path
    // for MP3 reads past its own header buffer.
    if (!S_ISREG(st.st_mode)) throw CAAudioFileError("ExtAudioFileOpen failed", "not a file");
    SF_INFO info = {};
    SNDFILE* h = sf_open(path, SFM_READ, &info);
    // The decoder keeps the reason of a failed open as its last error.
    if (h == nullptr) throw CAAudioFileError("ExtAudioFileOpen failed", sf_strerror(nullptr));
    // Integer samples come out scaled into -1..1 (the decoder's default, made explicit).
    sf_command(h, SFC_SET_NORM_FLOAT, nullptr, SF_TRUE);

    m_hSnd = h;
    m_frames = info.frames;
    m_fileFormat = DescribeFile(info);
}

int64_t CAAudioFile::GetNumberFrames() const {
    // The decoder reports the largest count when it cannot know the length (a
    // stream it could not scan); kept as a guard, since only regular files open.
    if (m_hSnd == nullptr || m_frames < 0 || m_frames == SF_COUNT_MAX)
        throw CAAudioFileError("Couldn't get file's length");
    return m_frames;
}

CAStreamBasicDescription CAAudioFile::GetFileDataFormat() const {
    if (m_hSnd == nullptr || m_fileFormat.mChannelsPerFrame < 1 || !(m_fileFormat.mSampleRate > 0))
        throw CAAudioFileError("Couldn't get file's data format");
    return m_fileFormat;
}

void CAAudioFile::SetClientFormat(const CAStreamBasicDescription& format,
                                  const AudioChannelLayout* layout) {
    // The decoder converts sample types but neither rate nor channel count, and it
    // delivers one interleaved buffer: that is the only client format it can serve.
    const uint32_t channels = m_fileFormat.mChannelsPerFrame;
    const bool accepted =
        m_hSnd != nullptr && format.mFormatID == kAudioFormatLinearPCM &&
        format.mFormatFlags == (kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked) &&
        format.mBitsPerChannel == 32 && format.mChannelsPerFrame == channels &&
        format.mBytesPerFrame == channels * 4 && format.mFramesPerPacket == 1 &&
        format.mBytesPerPacket == channels * 4 && format.mSampleRate == m_fileFormat.mSampleRate;
    if (!accepted) throw CAAudioFileError("Couldn't set client format");
    if (layout != nullptr && LayoutChannels(*layout) != channels)
        throw CAAudioFileError("Couldn't set client channel layout");
    m_bClientSet = true;
    m_clientChannels = channels;
}

void CAAudioFile::Read(uint32_t& ioNumFrames, AudioBufferList* ioData) {
    if (m_hSnd == nullptr || !m_bClientSet || ioData == nullptr || ioData->mNumberBuffers < 1 ||
        ioData->mBuffers[0].mData == nullptr)
        throw CAAudioFileError("Couldn't read audio file");
    AudioBuffer& buf = ioData->mBuffers[0];
    const uint32_t frameBytes = m_clientChannels * static_cast<uint32_t>(sizeof(float));
    const sf_count_t wanted = std::min<sf_count_t>(ioNumFrames, buf.mDataByteSize / frameBytes);
    const sf_count_t got = sf_readf_float(m_hSnd, static_cast<float*>(buf.mData), wanted);
    // A short read is the end of the sound unless the decoder says it failed: a
    // damaged stream that it cannot resynchronise is reported by the error state,
    // which every read clears first.
    if (got < wanted && sf_error(m_hSnd) != SF_ERR_NO_ERROR)
        throw CAAudioFileError("Couldn't read audio file", sf_strerror(m_hSnd));
    ioNumFrames = static_cast<uint32_t>(got);
    buf.mDataByteSize = static_cast<uint32_t>(got) * frameBytes;
}

void CAAudioFile::Close() {
    if (m_hSnd == nullptr) return;
    SNDFILE* h = m_hSnd;
    // Forget the handle first: the decoder frees it even when closing fails, so a
    // second Close must not touch it.
    m_hSnd = nullptr;
    m_bClientSet = false;
    // A failed close is the system's failure to close the file; its reason is the
    // system's error.
    if (sf_close(h) != 0) throw CAAudioFileError("ExtAudioFileClose failed", strerror(errno));
}
