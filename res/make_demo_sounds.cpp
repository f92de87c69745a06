// Synthesises Velotune's demo sounds and writes each of them as WAV, AIFF and
// MP3 with libsndfile into the folder given on the command line. `make run` on a
// machine without a display plays them, so a fresh checkout has something to
// audition; the three formats exercise the three readers.
//
// Sounds (name: rate, channels, seconds):
//   pluck: 44100 Hz, mono, 1.5 s  - a plucked string (A3) from a damped delay line
//   kick:  48000 Hz, mono, 1.0 s  - a drum kick, a falling sine with a click
//   pad:   44100 Hz, stereo, 3.0 s - an A minor chord, detuned saws, slow swell
// WAV and AIFF are 16-bit PCM (the pad's WAV is 24-bit); MP3 is MPEG layer III.
//
// The synthesis is fixed (no random seeds from the clock), so every build writes
// the same PCM files.
//
// Usage: make_demo_sounds <output folder>

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr double kPi = 3.14159265358979323846;

struct Sound {
    const char* name;
    int rate;
    int channels;
    std::vector<float> frames;  // interleaved
};

// A small linear congruential generator: the same noise on every build.
struct Noise {
    uint32_t state = 0x1234567u;
    float Next() {
        state = state * 1664525u + 1013904223u;
        return static_cast<float>(state >> 8) / 8388608.0f - 1.0f;
    }
};

void Normalise(std::vector<float>& s, float peak) {
    float max = 0.0f;
    for (float v : s) max = std::max(max, std::fabs(v));
    if (max > 0.0f)
        for (float& v : s) v *= peak / max;
}

// Karplus-Strong: a noise burst circulating in a delay line with a gentle
// low-pass, which is how a plucked string decays.
Sound Pluck() {
    Sound s{"pluck", 44100, 1, {}};
    const int n = s.rate * 3 / 2;
    const double freq = 220.0;
    const int period = static_cast<int>(std::lround(s.rate / freq));
    std::vector<float> line(period);
    Noise noise;
    for (float& v : line) v = noise.Next();
    // Soften the burst: raw white noise sounds like a pick on a wire and its
    // top end overshoots once encoded as MP3.
    for (int pass = 0; pass < 2; ++pass)
        for (int i = 1; i < period; ++i) line[i] = 0.5f * (line[i] + line[i - 1]);
    s.frames.resize(n);
    int pos = 0;
    float prev = 0.0f;
    for (int i = 0; i < n; ++i) {
        const float cur = line[pos];
        const float out = 0.996f * 0.5f * (cur + prev);
        prev = cur;
        line[pos] = out;
        pos = (pos + 1) % period;
        s.frames[i] = cur;
    }
    // A short fade at the very end so the file closes on silence.
    const int fade = s.rate / 50;
    for (int i = 0; i < fade; ++i) s.frames[n - 1 - i] *= static_cast<float>(i) / fade;
    Normalise(s.frames, 0.75f);
    return s;
}

Sound Kick() {
    Sound s{"kick", 48000, 1, {}};
    const int n = s.rate;
    s.frames.resize(n);
    double phase = 0.0;
    Noise noise;
    for (int i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / s.rate;
        const double freq = 45.0 + 110.0 * std::exp(-t * 28.0);
        phase += 2 * kPi * freq / s.rate;
        const double body = std::sin(phase) * std::exp(-t * 5.5);
        const double click = noise.Next() * std::exp(-t * 400.0) * 0.5;
        const double fade = t > 0.95 ? (1.0 - t) / 0.05 : 1.0;
        s.frames[i] = static_cast<float>(std::tanh(1.6 * (body + click)) * fade);
    }
    Normalise(s.frames, 0.9f);
    return s;
}

Sound Pad() {
    Sound s{"pad", 44100, 2, {}};
    const int n = s.rate * 3;
    s.frames.assign(static_cast<size_t>(n) * 2, 0.0f);
    const double notes[] = {220.0, 261.63, 329.63, 440.0};  // A3 C4 E4 A4
    const double detune[] = {-0.004, 0.0, 0.005};
    for (size_t k = 0; k < 4; ++k) {
        for (size_t d = 0; d < 3; ++d) {
            const double f = notes[k] * (1.0 + detune[d]);
            // Each voice leans left or right a little, for width.
            const double pan = 0.5 + 0.35 * std::sin(static_cast<double>(k * 3 + d) * 1.7);
            double lowpassed = 0.0;
            for (int i = 0; i < n; ++i) {
                const double t = static_cast<double>(i) / s.rate;
                const double saw = 2.0 * std::fmod(f * t + 0.13 * d, 1.0) - 1.0;
                lowpassed += 0.08 * (saw - lowpassed);  // soften the saw
                const double env = std::min(1.0, t / 0.9) * std::min(1.0, (3.0 - t) / 0.8);
                const double v = lowpassed * env;
                s.frames[2 * i] += static_cast<float>(v * (1.0 - pan));
                s.frames[2 * i + 1] += static_cast<float>(v * pan);
            }
        }
    }
    Normalise(s.frames, 0.7f);
    return s;
}

bool Write(const std::string& path, const Sound& s, int format) {
    SF_INFO info{};
    info.samplerate = s.rate;
    info.channels = s.channels;
    info.format = format;
    SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!f) {
        std::fprintf(stderr, "%s: %s\n", path.c_str(), sf_strerror(nullptr));
        return false;
    }
    const sf_count_t frames = static_cast<sf_count_t>(s.frames.size()) / s.channels;
    const sf_count_t written = sf_writef_float(f, s.frames.data(), frames);
    sf_close(f);
    if (written != frames) {
        std::fprintf(stderr, "%s: wrote %lld of %lld frames\n", path.c_str(),
                     static_cast<long long>(written), static_cast<long long>(frames));
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output folder>\n", argv[0]);
        return 2;
    }
    const std::string folder = argv[1];
    const Sound sounds[] = {Pluck(), Kick(), Pad()};
    bool ok = true;
    for (const Sound& s : sounds) {
        const std::string base = folder + "/" + s.name;
        const int wavPcm = s.channels == 2 ? SF_FORMAT_PCM_24 : SF_FORMAT_PCM_16;
        ok = Write(base + ".wav", s, SF_FORMAT_WAV | wavPcm) && ok;
        ok = Write(base + ".aif", s, SF_FORMAT_AIFF | SF_FORMAT_PCM_16) && ok;
        ok = Write(base + ".mp3", s, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III) && ok;
    }
    return ok ? 0 : 1;
}
