// Scheduling for the recorders the system tests start.
#pragma once

#include <sched.h>

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

}  // namespace testfiles
