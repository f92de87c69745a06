// Scheduling for the recorders the system tests start.
#pragma once

#include <sched.h>
#include <sys/stat.h>
#include <time.h>

#include <string>

namespace testfiles {

/// Gives the calling process real-time scheduling where the system allows it (the
/// policy carries over an exec). Called in a recorder's child process before it
/// runs parec: on a busy machine a recorder that is not scheduled in time loses
/// frames that the program under test did play, and the comparison would blame
/// the program.
inline void RealtimeRecorder() {
    sched_param rt{};
    rt.sched_priority = 20;
    (void)sched_setscheduler(0, SCHED_FIFO, &rt);  // best effort
}

/// Waits until the recorder writing into `path` receives the sink in small steps
/// (at most `ms` milliseconds), then a tenth of a second more. A sink that had no
/// recorder renders seconds ahead in one block, and a sound played before that
/// block has passed would reach the recording seconds late, or after it ended.
/// Returns whether the recorder came that far.
inline bool WaitUntilRecording(const std::string& path, int ms) {
    const timespec step{0, 5 * 1000 * 1000};
    long long last = -1;
    for (int waited = 0; waited < ms; waited += 5) {
        struct stat st{};
        const long long size = stat(path.c_str(), &st) == 0 ? st.st_size : 0;
        // A step under a quarter of a second of float stereo (and so of any
        // format the tests record) after the first: the sink renders finely now.
        if (last > 0 && size > last && size - last < 44100 * 8 / 4) {
            const timespec settle{0, 100 * 1000 * 1000};
            nanosleep(&settle, nullptr);
            return true;
        }
        if (size > 0) last = size;
        nanosleep(&step, nullptr);
    }
    return false;
}

}  // namespace testfiles
