// How late a real-time thread wakes up on this machine: a SCHED_FIFO thread (as
// the ALSA driver's IO thread) sleeps 10 ms again and again and notes how much
// later than asked it runs. The audio queue must ride out the worst of these.
//
//   lateness_bench [SECONDS]
//
// Prints the count of wake-ups, how many came later than 0.1, 0.5, 1, 2, 5, 10 and
// 20 ms, and the worst, in milliseconds. Falls back to normal scheduling (and says
// so) where real-time scheduling is not allowed.
#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <cstdio>
#include <cstdlib>

namespace {
double Now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec * 1e-9;
}
}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 30;
    sched_param rt{};
    rt.sched_priority = sched_get_priority_min(SCHED_FIFO) + 10;
    const bool realtime = pthread_setschedparam(pthread_self(), SCHED_FIFO, &rt) == 0;
    const double limits[] = {0.1, 0.5, 1, 2, 5, 10, 20};
    long over[7] = {0}, count = 0;
    double worst = 0;
    const double end = Now() + seconds;
    while (Now() < end) {
        timespec ts{0, 10000000};
        const double before = Now();
        clock_nanosleep(CLOCK_MONOTONIC, 0, &ts, nullptr);
        const double late = (Now() - before - 0.010) * 1000.0;
        ++count;
        if (late > worst) worst = late;
        for (int i = 0; i < 7; ++i)
            if (late > limits[i]) ++over[i];
    }
    std::printf("%s thread, %ld wake-ups of 10 ms in %.0f s\n",
                realtime ? "real-time (SCHED_FIFO)" : "normal (no real-time allowed)", count,
                seconds);
    for (int i = 0; i < 7; ++i) std::printf("later than %4.1f ms: %ld\n", limits[i], over[i]);
    std::printf("worst: %.2f ms\n", worst);
    return 0;
}
