#include "Player.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>

#include "FourCC.h"
#include "MainDlg.h"
#include "snd_.h"

namespace {

constexpr float kFadeStart = 0.999f;
constexpr float kFadeStep = 0.998f;
constexpr float kFadeEnd = 0.01f;
constexpr int kFadeGroup = 8;  // frames per fade step
// The step that takes the gain from 1 below kFadeEnd within kQuickFadeMs:
// 0.01 ^ (8 / (44100 * 0.030)) = 0.9725.
constexpr float kQuickFadeStep = 0.9725f;
static_assert(Player::kQuickFadeMs == 30, "kQuickFadeStep is computed for 30 ms");

// The rate conversion's difference term: (b - a) * frac truncated toward zero and
// narrowed to a signed 16-bit integer. The narrowing is deliberate: for samples in
// -1..1 the term is almost always 0, so the conversion holds each source sample.
// Values beyond the 16-bit range (24-bit material scaled far above 1.0, raw 32-bit
// bytes read as floats) are clamped to it before the cast, and NaN gives 0, so the
// narrowing is defined for every input.
inline float DifferenceTerm(float a, float b, float frac) {
    float d = std::trunc((b - a) * frac);
    if (!(d == d)) return 0.0f;  // NaN
    if (d > 32767.0f) d = 32767.0f;
    if (d < -32768.0f) d = -32768.0f;
    return static_cast<float>(static_cast<int16_t>(d));
}

}  // namespace

Player::Player()
    : m_pWindow(nullptr),
      m_pSound(nullptr),
      m_bStreaming(false),
      m_bPause(false),
      m_play_max(kNoLimit),
      m_in{nullptr, 0, 0, 0},
      m_out_buffer(nullptr),
      m_pos_read(0),
      m_pos_play(0),
      m_play_size(0.0f),
      m_fade_out(1.0f),
      m_fade_step(kFadeStep),
      m_dPos(0.0),
      m_dInc(1.0),
      m_bDirectPlay(true),
      m_bFilling(false),
      m_bQuit(false) {
    sem_init(&m_ended, 0, 0);
    sem_init(&m_streams, 0, 0);
}

Player::~Player() {
    // The worker's loop runs until told otherwise; stop it cooperatively and wait
    // for it before the buffers it fills go away.
    m_bQuit.store(true, std::memory_order_release);
    sem_post(&m_streams);  // a worker asleep for want of a sound sees the quit
    UThread::Stop();
    Join();
    delete[] m_in.buffer;
    delete[] m_out_buffer;
    sem_destroy(&m_ended);
    sem_destroy(&m_streams);
}

void Player::Init(MainDlg* w) {
    if (m_out_buffer) return;
    m_pWindow = w;
    m_in.buffer = new float[kInFloats]();
    m_out_buffer = new float[2 * kRate]();
    Start(static_cast<long>(FourCC("fill")), 0);
}

void Player::SetMax(int seconds) {
    long long frames = static_cast<long long>(seconds) * kRate;
    if (seconds == 0 || frames > INT_MAX) frames = kNoLimit;
    if (frames < INT_MIN) frames = INT_MIN;
    m_play_max.store(static_cast<int>(frames), std::memory_order_relaxed);
}

void Player::Play(snd_* s) {
    // Acquire: pairs with the IO thread's release when it ended the last sound, so
    // its last reads of the ring come before the writes below.
    (void)m_pos_read.load(std::memory_order_acquire);
    m_bStreaming.store(false, std::memory_order_relaxed);
    m_pSound.store(nullptr, std::memory_order_seq_cst);
    // Handshake with the worker: it raises m_bFilling before it looks at m_pSound,
    // so once the flag is down it either saw null or has finished its pass. Not a
    // real-time thread: waiting here is fine.
    while (m_bFilling.load(std::memory_order_seq_cst)) UThread::Wait(1);

    m_pos_read.store(0, std::memory_order_relaxed);
    m_pos_play.store(0, std::memory_order_relaxed);
    m_in.base = m_in.index = m_in.count = 0;
    m_fade_out.store(1.0f, std::memory_order_relaxed);
    m_fade_step.store(kFadeStep, std::memory_order_relaxed);
    m_dPos = 0.0;
    m_dInc = 1.0;
    m_bDirectPlay = true;
    if (!s || !m_out_buffer) return;

    m_play_size = static_cast<float>(s->SampleSize());
    const int rate = s->SampleRate();
    if (rate != kRate) {
        m_bDirectPlay = false;
        m_dInc = rate / 44100.0;
        // A rate of 0 or less would step backwards or stand still for ever; such a
        // sound plays nothing (FillBuffer produces no frames for it).
        m_play_size = rate > 0 ? static_cast<float>(s->SampleSize() / m_dInc) : 0.0f;
    }

    const int filled = FillBuffer(s, m_out_buffer, kRate);
    // Release: the IO thread may start draining the moment it sees the count, so the
    // ring, m_play_size and the fade reset must be visible first.
    m_pos_read.store(filled, std::memory_order_release);
    m_bStreaming.store(filled == kRate, std::memory_order_release);
    m_pSound.store(s, std::memory_order_release);
    if (filled == kRate) sem_post(&m_streams);  // the worker has a ring to keep full
}

void Player::Stop() {
    float expected = 1.0f;
    // Only when the gain is exactly 1.0: a running fade is left alone.
    if (m_fade_out.compare_exchange_strong(expected, kFadeStart, std::memory_order_relaxed)) {
        m_bStreaming.store(false, std::memory_order_relaxed);
    }
}

void Player::FadeOutQuickly() {
    m_fade_step.store(kQuickFadeStep, std::memory_order_relaxed);
    Stop();
}

void Player::Pause(bool p) {
    m_bPause.store(p, std::memory_order_relaxed);
}

bool Player::IsReady() {
    return m_pos_read.load(std::memory_order_acquire) == 0;
}

bool Player::WaitReady(int ms) {
    timespec deadline{};
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += ms / 1000;
    deadline.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    while (!IsReady()) {
        if (sem_clockwait(&m_ended, CLOCK_MONOTONIC, &deadline) == 0) {
            // A post: the sound ended, or a wake-up that asks the caller to look.
            return IsReady();
        }
        if (errno != EINTR) break;  // the time is up
    }
    return IsReady();
}

void Player::WakeWaiter() {
    int pending = 0;
    if (sem_getvalue(&m_ended, &pending) == 0 && pending == 0) sem_post(&m_ended);
}

void Player::EndSound() {
    m_pos_play.store(0, std::memory_order_relaxed);
    // Release: Play, on the main window's worker, may reuse everything once it sees 0.
    m_pos_read.store(0, std::memory_order_release);
    // Wakes the main window's worker now rather than at its next look: a post
    // never blocks, and one pending post is enough.
    WakeWaiter();
}

int Player::OnAudioPlay(float* out, int frames, int channels) {
    (void)channels;  // the output is always stereo
    if (m_bPause.load(std::memory_order_relaxed)) return 0;

    const int play = m_pos_play.load(std::memory_order_relaxed);
    const int read = m_pos_read.load(std::memory_order_acquire);
    if (play == read) {
        // Nothing waits: the sound has ended. An underrun of the worker lands here
        // too and ends the sound; that is deliberate.
        if (read != 0) EndSound();
        return 0;
    }

    if (m_bStreaming.load(std::memory_order_relaxed) &&
        static_cast<long long>(play) >=
            static_cast<long long>(m_play_max.load(std::memory_order_relaxed)) - kLimitMargin) {
        Stop();
    }

    if (m_pWindow) {
        m_pWindow->SetProgress(m_play_size > 0.0f ? static_cast<float>(play) / m_play_size : 0.0f);
    }

    int n = read - play;
    if (frames < n) n = frames;
    if (n < 0) n = 0;

    // Copy in two pieces when the ring wraps.
    const int off = play % kRate;
    const int first = n < kRate - off ? n : kRate - off;
    std::memcpy(out, m_out_buffer + 2 * off, sizeof(float) * 2 * first);
    if (n > first) {
        std::memcpy(out + 2 * first, m_out_buffer, sizeof(float) * 2 * (n - first));
    }
    // Release: the worker may overwrite these ring frames once it sees the advance.
    m_pos_play.store(play + n, std::memory_order_release);

    float fade = m_fade_out.load(std::memory_order_relaxed);
    if (fade < 1.0f) {
        const float step = m_fade_step.load(std::memory_order_relaxed);
        float* p = out;
        const int groups = n / kFadeGroup;
        for (int g = 0; g < groups; ++g) {
            for (int k = 0; k < 2 * kFadeGroup; ++k) *p++ *= fade;
            fade *= step;
        }
        // The remainder is scaled with the current gain, which stays as it is.
        for (int k = 0; k < 2 * (n % kFadeGroup); ++k) *p++ *= fade;
        m_fade_out.store(fade, std::memory_order_relaxed);
        if (fade < kFadeEnd) EndSound();
    }
    return n;
}

int Player::ReadSource(snd_* s, float* dst, int frames) {
    try {
        return s->GetAudio(dst, frames);
    } catch (const std::exception& e) {
        // The decoder glue throws when a damaged file cannot be read on; the sound
        // ends here as if the reader had run dry, and the program carries on.
        LogPrint("*** Player: the sound ends early, reading failed: %s ***", e.what());
        return 0;
    }
}

int Player::FillBuffer(snd_* s, float* out, int frames) {
    const int ch = s->Channel();
    if (ch < 1 || (!m_bDirectPlay && m_dInc <= 0.0)) return 0;
    // Mono is duplicated to both channels. A sound of more than two channels plays
    // its first two as left and right (the front pair in the WAV, AIFF and MP3
    // channel orders) and leaves the others out: a downmix would change the level
    // of the front pair, which a sample is auditioned for.
    const bool stereo = ch >= 2;
    int done = 0;

    while (done < frames) {
        if (m_bDirectPlay) {
            const float* src = m_in.buffer + m_in.index * ch;
            while (m_in.index < m_in.count) {
                if (done == frames) return done;
                out[2 * done] = src[0];
                out[2 * done + 1] = stereo ? src[1] : src[0];
                src += ch;
                ++m_in.index;
                ++done;
            }
            if (done == frames) return done;
        } else {
            for (;;) {
                if (done == frames) return done;
                const int i = static_cast<int>(m_dPos) - m_in.base;
                if (i >= m_in.count - 1) break;  // the next source frame is not here
                const float frac = static_cast<float>(m_dPos - (m_in.base + i));
                const float* a = m_in.buffer + i * ch;
                const float* b = a + ch;
                const float left = a[0] + DifferenceTerm(a[0], b[0], frac);
                // Mono writes its value to both channels, as direct play does.
                const float right = stereo ? a[1] + DifferenceTerm(a[1], b[1], frac) : left;
                out[2 * done] = left;
                out[2 * done + 1] = right;
                ++done;
                m_dPos += m_dInc;
            }
        }

        // Refill: the block is used up.
        int carried = 0;
        if (m_in.count != 0) {
            if (m_bDirectPlay) {
                m_in.count = 0;
            } else {
                // Carry the last frame so the frame after it can be read behind it.
                std::memmove(m_in.buffer, m_in.buffer + (m_in.count - 1) * ch, sizeof(float) * ch);
                m_in.base += m_in.count - 1;
                m_in.count = 1;
                carried = ch;
            }
        }
        int ask = kBlock / ch;
        // Bounds: with more than three channels a carried frame plus 4096/ch frames
        // would pass the block's end; ask for less instead.
        if (ask * ch + carried > kInFloats) ask = (kInFloats - carried) / ch;
        const int got = ReadSource(s, m_in.buffer + carried, ask);
        if (got <= 0) return done;
        m_in.index = 0;
        m_in.count += got;
    }
    return done;
}

bool Player::FillPass() {
    snd_* s = m_pSound.load(std::memory_order_seq_cst);
    if (!s || !m_bStreaming.load(std::memory_order_acquire)) return false;
    const int play = m_pos_play.load(std::memory_order_acquire);
    const int read = m_pos_read.load(std::memory_order_acquire);
    if (!(play < read && read - play <= kFillBelow)) return false;

    const int off = read % kRate;
    const int n = off + kBlock > kRate ? kRate - off : kBlock;
    int got = FillBuffer(s, m_out_buffer + 2 * off, n);
    int expected = read;
    // The IO thread may have ended the sound (an underrun) while this pass filled;
    // then the positions stay at 0 and streaming ends.
    if (!m_pos_read.compare_exchange_strong(expected, read + got, std::memory_order_release,
                                            std::memory_order_relaxed)) {
        m_bStreaming.store(false, std::memory_order_relaxed);
        return true;
    }
    if (got < n) {
        m_bStreaming.store(false, std::memory_order_relaxed);
        return true;
    }
    if (n < kBlock) {
        // The ring wrapped: the rest of the block goes to its start.
        got = FillBuffer(s, m_out_buffer, kBlock - n);
        expected = read + n;
        if (!m_pos_read.compare_exchange_strong(expected, read + n + got, std::memory_order_release,
                                                std::memory_order_relaxed) ||
            got < kBlock - n) {
            m_bStreaming.store(false, std::memory_order_relaxed);
            return true;
        }
    }
    return false;
}

void Player::OnRun() {
    while (!m_bQuit.load(std::memory_order_acquire)) {
        m_bFilling.store(true, std::memory_order_seq_cst);
        const bool again = FillPass();
        m_bFilling.store(false, std::memory_order_seq_cst);
        // A short fill ends streaming and starts the next pass at once.
        if (again) continue;
        if (m_bStreaming.load(std::memory_order_acquire)) {
            UThread::Wait(kFillSleepMs);
        } else {
            // Nothing streams: there is nothing to top up until Play hands over a
            // sound, so the worker sleeps until then instead of waking 25 times a
            // second for nothing.
            while (sem_wait(&m_streams) != 0 && errno == EINTR) {
            }
        }
    }
}
