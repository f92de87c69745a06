// Device enumeration at start-up and the IO thread's cost during playback.
//
//   enum_bench [RUNS] [SECONDS]
//
// Prints the time of every one of RUNS enumerations before the device opens (Init:
// "default" alone) and of the listing of the other devices that follows later
// (ListMoreDevices), their medians and ranges, the devices found, and the CPU time
// the IO thread spends per second of playback of a silent source.
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "AudioBus.h"
#include "AudioDevCore.h"
#include "UThread.h"

namespace {

double Now(clockid_t clock) {
    timespec ts;
    clock_gettime(clock, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

// Silence, and the IO thread's CPU clock, taken on its first call.
class SilentSource : public AudioSource {
  public:
    std::atomic<bool> haveClock{false};
    clockid_t clock{};
    int OnAudioPlay(float* buffer, int frames, int channels) override {
        if (!haveClock.load(std::memory_order_relaxed)) {
            pthread_getcpuclockid(pthread_self(), &clock);
            haveClock.store(true, std::memory_order_release);
        }
        for (int i = 0; i < frames * channels; ++i) buffer[i] = 0.0f;
        return frames;
    }
};

}  // namespace

int main(int argc, char** argv) {
    int runs = argc > 1 ? std::atoi(argv[1]) : 15;
    int seconds = argc > 2 ? std::atoi(argv[2]) : 5;
    if (runs < 1) runs = 1;
    if (seconds < 1) seconds = 1;

    std::vector<double> ms, more;
    int play = 0, rec = 0;
    for (int i = 0; i < runs; ++i) {
        double t0 = Now(CLOCK_MONOTONIC);
        AudioDevCore core;
        bool ok = core.Init();
        double t1 = Now(CLOCK_MONOTONIC);
        if (!ok) {
            std::printf("enumeration failed\n");
            return 1;
        }
        core.ListMoreDevices();
        double t2 = Now(CLOCK_MONOTONIC);
        ms.push_back((t1 - t0) * 1000.0);
        more.push_back((t2 - t1) * 1000.0);
        play = core.DeviceCount(0);
        rec = core.DeviceCount(1);
    }
    std::printf("enumeration ms of every run:");
    for (size_t i = 0; i < ms.size(); ++i) std::printf("%s%.3f", i ? "," : " ", ms[i]);
    std::printf("\n");
    std::printf("listing of the other devices ms of every run:");
    for (size_t i = 0; i < more.size(); ++i) std::printf("%s%.3f", i ? "," : " ", more[i]);
    std::printf("\n");
    std::sort(ms.begin(), ms.end());
    std::printf("%-44s %10s\n", "measure", "value");
    std::printf("%-44s %10.2f\n", "enumeration median (ms)", ms[ms.size() / 2]);
    std::printf("%-44s %10.2f\n", "enumeration min (ms)", ms.front());
    std::printf("%-44s %10.2f\n", "enumeration max (ms)", ms.back());
    std::printf("%-44s %10d\n", "enumeration runs", runs);
    std::printf("%-44s %10d\n", "playback devices", play);
    std::printf("%-44s %10d\n", "recording devices", rec);

    AudioBus bus;
    AudioDevCore* core = new AudioDevCore;
    if (bus.AddDriver(core, "CoreAudio") != 1) {
        std::printf("driver refused\n");
        return 1;
    }
    DEVOPEN req{0, 2, 0};
    if (!core->Open(nullptr, &req, 44100, 32) || !core->Start(0)) {
        std::printf("open failed: %s\n", core->GetErrorMsg());
        return 1;
    }
    SilentSource source;
    bus.EnableRecord(false);
    bus.EnablePlay(true);
    bus.SetPlaySource(&source);
    bus.Start();
    while (!source.haveClock.load(std::memory_order_acquire)) UThread::Wait(10);
    double cpu0 = Now(source.clock), proc0 = Now(CLOCK_PROCESS_CPUTIME_ID),
           wall0 = Now(CLOCK_MONOTONIC);
    UThread::Wait(seconds * 1000);
    double cpu1 = Now(source.clock), proc1 = Now(CLOCK_PROCESS_CPUTIME_ID),
           wall1 = Now(CLOCK_MONOTONIC);
    bus.Stop();
    double wall = wall1 - wall0;
    std::printf("%-44s %10.3f\n", "IO thread CPU per second of playback (ms)",
                (cpu1 - cpu0) * 1000.0 / wall);
    std::printf("%-44s %10.3f\n", "process CPU per second of playback (ms)",
                (proc1 - proc0) * 1000.0 / wall);
    std::printf("%-44s %10d\n", "period (frames)", core->GetBufferSize());
    std::printf("%-44s %10lu\n", "underruns", core->UnderrunCount());
    bus.SetPlaySource(nullptr);
    return 0;
}
