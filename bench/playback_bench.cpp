// CPU cost of playing a sound file through the engine: reader, player, audio bus
// and ALSA driver, exactly as the program plays it.
//
//   playback_bench make PATH [SECONDS]   writes a 44.1 kHz 16-bit stereo WAV
//   playback_bench play PATH             plays PATH to its end and prints the CPU
//                                        time of the process per second played
//
// The process's CPU time (user + system, every thread: the player's worker, the
// IO thread and the sound service client) is taken with getrusage from just before
// Play to the end of the sound, so start-up and device enumeration are left out.
#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>
#include <time.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "AudioBus.h"
#include "AudioDevCore.h"
#include "MainDlg.h"
#include "Player.h"
#include "UThread.h"
#include "snd_mac.h"

namespace {

double CpuSeconds() {
    rusage u;
    getrusage(RUSAGE_SELF, &u);
    return u.ru_utime.tv_sec + u.ru_utime.tv_usec / 1e6 + u.ru_stime.tv_sec +
           u.ru_stime.tv_usec / 1e6;
}

double WallSeconds() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

// Per-thread CPU time (clock ticks, user + system) of this process, to stderr, so
// that the figure can be split between the fill worker, the IO thread and the sound
// service client.
void PrintThreads() {
    DIR* d = opendir("/proc/self/task");
    if (!d) return;
    const long hz = sysconf(_SC_CLK_TCK);
    while (dirent* e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        char path[300], line[1024];
        std::snprintf(path, sizeof path, "/proc/self/task/%s/stat", e->d_name);
        FILE* f = std::fopen(path, "r");
        if (!f) continue;
        if (std::fgets(line, sizeof line, f)) {
            const char* open = std::strchr(line, '(');
            const char* close = std::strrchr(line, ')');
            unsigned long ut = 0, st = 0;
            if (open && close &&
                std::sscanf(close + 2, "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &ut,
                            &st) == 2) {
                std::fprintf(stderr, "thread %-16.*s %.3f s\n", static_cast<int>(close - open - 1),
                             open + 1, static_cast<double>(ut + st) / hz);
            }
        }
        std::fclose(f);
    }
    closedir(d);
}

void Put32(std::vector<unsigned char>& b, uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<unsigned char>(v >> (8 * i)));
}
void Put16(std::vector<unsigned char>& b, uint16_t v) {
    b.push_back(static_cast<unsigned char>(v));
    b.push_back(static_cast<unsigned char>(v >> 8));
}

// A two-tone signal at half scale, written as a canonical 44-byte-header WAV.
int MakeWav(const char* path, int seconds) {
    const uint32_t frames = 44100u * static_cast<uint32_t>(seconds);
    const uint32_t data = frames * 4;
    std::vector<unsigned char> b;
    b.insert(b.end(), {'R', 'I', 'F', 'F'});
    Put32(b, 36 + data);
    b.insert(b.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    Put32(b, 16);
    Put16(b, 1);  // PCM
    Put16(b, 2);
    Put32(b, 44100);
    Put32(b, 44100 * 4);
    Put16(b, 4);
    Put16(b, 16);
    b.insert(b.end(), {'d', 'a', 't', 'a'});
    Put32(b, data);
    for (uint32_t f = 0; f < frames; ++f) {
        const double t = f / 44100.0;
        Put16(b, static_cast<uint16_t>(static_cast<int16_t>(16000 * std::sin(2 * M_PI * 440 * t))));
        Put16(b, static_cast<uint16_t>(static_cast<int16_t>(16000 * std::sin(2 * M_PI * 660 * t))));
    }
    FILE* f = std::fopen(path, "wb");
    if (!f) return 1;
    const bool ok = std::fwrite(b.data(), 1, b.size(), f) == b.size();
    return std::fclose(f) == 0 && ok ? 0 : 1;
}

int Play(char* path) {
    MainDlg window;
    Player player;
    player.Init(&window);
    AudioBus bus;
    if (bus.AddDriver(new AudioDevCore, "CoreAudio") != 1) {
        std::fprintf(stderr, "no audio driver\n");
        return 1;
    }
    AudioDev* dev = bus.CurrentDriver();
    DEVOPEN play{0, 2, 0};
    if (!dev->Open(nullptr, &play, 44100, 32) || !dev->Start(0)) {
        std::fprintf(stderr, "cannot open the device: %s\n", dev->GetErrorMsg());
        return 1;
    }
    bus.EnableRecord(false);
    bus.EnablePlay(true);
    bus.SetPlaySource(&player);
    bus.Start();

    snd_mac reader;
    if (reader.OpenFile(path) != 1) {
        std::fprintf(stderr, "cannot open %s\n", path);
        return 1;
    }
    const double seconds = reader.SampleSize() / static_cast<double>(reader.SampleRate());
    UThread::Wait(300);  // the IO thread runs steadily by now
    const double cpu0 = CpuSeconds(), wall0 = WallSeconds();
    player.Play(&reader);
    bus.WakeUp();
    while (!player.WaitReady(300)) {
    }
    const double cpu = CpuSeconds() - cpu0, wall = WallSeconds() - wall0;
    if (std::getenv("PLAYBACK_BENCH_THREADS")) PrintThreads();
    bus.Stop();
    bus.SetPlaySource(nullptr);
    dev->Close(2);
    const unsigned long underruns = static_cast<AudioDevCore*>(dev)->UnderrunCount();
    std::printf("%.3f %.3f %.3f %lu\n", seconds, wall, cpu, underruns);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && std::strcmp(argv[1], "make") == 0)
        return MakeWav(argv[2], argc >= 4 ? std::atoi(argv[3]) : 10);
    if (argc >= 3 && std::strcmp(argv[1], "play") == 0) return Play(argv[2]);
    std::fprintf(stderr, "usage: %s make PATH [SECONDS] | play PATH\n", argv[0]);
    return 2;
}
