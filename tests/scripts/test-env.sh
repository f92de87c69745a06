#!/usr/bin/env bash
# A private sound server and X server for the system tests.
#
#   test-env.sh start DIR   start them with their state in DIR; writes DIR/env.sh
#   test-env.sh stop DIR    stop exactly the processes start recorded
#
# Sound: a PulseAudio of its own (no default script, anonymous unix socket) with one
# null sink "out" at 44.1 kHz s16 stereo, paced in real time by the server's clock;
# norewinds=1 keeps the monitor capture gap-free when a stream starts. ALSA's
# "default" PCM is routed to it through ALSA_CONFIG_PATH, so the program under test
# goes through ALSA exactly as on a desktop. X: an Xvfb on a free display number
# from 90 on.
set -euo pipefail
cmd=${1:-} dir=${2:-}
[ -n "$dir" ] || { echo "usage: $0 start|stop DIR" >&2; exit 2; }

start_pulse() {
    mkdir -p "$dir/xdg" "$dir/home/.config/pulse" "$dir/home/Desktop"
    chmod 700 "$dir/xdg"
    printf '</usr/share/alsa/alsa.conf>\npcm.!default { type pulse }\nctl.!default { type pulse }\n' \
        > "$dir/asound.conf"
    printf 'autospawn = no\n' > "$dir/home/.config/pulse/client.conf"
    XDG_RUNTIME_DIR=$dir/xdg HOME=$dir/home PULSE_CLIENTCONFIG=$dir/home/.config/pulse/client.conf \
    setsid pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --system=no \
        --disallow-exit --log-target=stderr --log-level=notice \
        -L "module-null-sink sink_name=out rate=44100 format=s16le channels=2 norewinds=1" \
        -L "module-native-protocol-unix auth-anonymous=1 socket=$dir/xdg/pulse-native" \
        -L module-always-sink >"$dir/pulse.log" 2>&1 </dev/null &
    echo $! > "$dir/pulse.pid"
    for _ in $(seq 1 100); do
        PULSE_SERVER=unix:$dir/xdg/pulse-native pactl info >/dev/null 2>&1 && break
        sleep 0.1
    done
    PULSE_SERVER=unix:$dir/xdg/pulse-native pactl set-default-sink out \
        || { echo "pulseaudio did not come up:" >&2; cat "$dir/pulse.log" >&2; return 1; }
    # The server's sink thread runs real-time (SCHED_RR 5), but the thread that
    # takes the clients' sound off their sockets and hands it to the sink is an
    # ordinary one (nice -11). Beside a parallel build the sink was seen to play
    # 8 ms of silence in the middle of a sound that the client had written in time
    # (its own clock saw its queue never run out). The tests judge the program, not
    # the server under a build: that thread runs real-time too, just below the sink
    # thread, where the system allows it.
    chrt -r -p 4 "$(cat "$dir/pulse.pid")" >/dev/null 2>&1 || true
}

start_x() {
    local n pid
    for n in $(seq 90 140); do
        [ -e /tmp/.X11-unix/X$n ] || [ -e /tmp/.X$n-lock ] && continue
        # -noreset: an X server resets itself when its last client leaves and
        # refuses connections meanwhile; a program a test starts just then failed
        # with "cannot open display".
        setsid Xvfb :$n -screen 0 1024x768x24 -nolisten tcp -ac -noreset \
            >"$dir/xvfb.log" 2>&1 </dev/null &
        pid=$!
        echo $pid > "$dir/xvfb.pid"
        for _ in $(seq 1 100); do
            # Ours only when the display's lock names our Xvfb: two environments
            # started at once may both try this number, and the one that loses
            # the lock ends at once.
            if [ -e /tmp/.X11-unix/X$n ] && [ "$(tr -dc '0-9' < /tmp/.X$n-lock 2>/dev/null)" = "$pid" ]; then
                echo ":$n" > "$dir/display"
                return 0
            fi
            kill -0 "$pid" 2>/dev/null || break
            sleep 0.05
        done
        kill "$pid" 2>/dev/null || true
    done
    echo "Xvfb did not start:" >&2; cat "$dir/xvfb.log" >&2; return 1
}

case "$cmd" in
start)
    mkdir -p "$dir"
    start_pulse
    start_x
    cat > "$dir/env.sh" <<EOT
export VELOTUNE_TEST_ENV=$dir
export PULSE_SERVER=unix:$dir/xdg/pulse-native
export PULSE_CLIENTCONFIG=$dir/home/.config/pulse/client.conf
export ALSA_CONFIG_PATH=$dir/asound.conf
export XDG_RUNTIME_DIR=$dir/xdg
export HOME=$dir/home
export XDG_DESKTOP_DIR=$dir/home/Desktop
export DISPLAY=$(cat "$dir/display")
export GDK_BACKEND=x11
export NO_AT_BRIDGE=1
# The toolkit's settings (the file chooser's among them) in memory: no settings
# daemon to start, nothing written to a user's settings, and none of its worker
# threads for the thread checker to report on.
export GSETTINGS_BACKEND=memory
EOT
    ;;
stop)
    for f in pulse xvfb; do
        [ -f "$dir/$f.pid" ] || continue
        pid=$(cat "$dir/$f.pid")
        kill -TERM "$pid" 2>/dev/null || true
        for _ in $(seq 1 30); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
        kill -KILL "$pid" 2>/dev/null || true
        rm -f "$dir/$f.pid"
    done
    ;;
*) echo "usage: $0 start|stop DIR" >&2; exit 2 ;;
esac
