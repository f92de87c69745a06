#!/usr/bin/env python3
"""Response figures of the program in its real window, measured at the sound
server's sink with the harness's timestamped recorder (bench/perf/perflib.py),
beside references measured the same way in the same run.

  response.py drop  BUILD N   a real drag-and-drop of a file onto the idle open
                              window -> its first sound; aplay's launch -> first
                              sound as the reference
  response.py gaps  BUILD N   the silence between consecutive sounds of a walk
                              over a folder of tones that hold no silence; sox's
                              play of the same files as the reference
  response.py next  BUILD N   a click on Next -> the start of the fade-out, and the
                              end of the fade-out -> the next sound
  response.py cpu   BUILD N   CPU per second with the window open: idle, and while
                              a sound plays with the bar moving; a bare GTK window
                              (idle), aplay and mpv (playing) as references

Each prints one JSON object per line: {"row": ..., "ours": [...], "refs": {...}}
(response.sh turns them into table rows). The program runs as on a desktop: the
accessibility bridge on (NO_AT_BRIDGE removed from the environment), its own HOME.
Needs the test environment (tests/scripts/with-test-env.sh: DISPLAY, the private
sound server) and the recorder's calibration (bench/perf/calibrate.py).
"""
import array
import math
import os
import shutil
import subprocess
import sys
import tempfile
import time
import wave

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(HERE, 'perf'))
import perflib as P  # noqa: E402
from first_frame import stop  # noqa: E402  (SIGTERM, then SIGKILL after 5 s)

TITLE = 'Velotune 2.0'
RATE = 44100
THRESHOLD = 104  # -50 dBFS, the harness's first-sound threshold


def log(*a):
    print(*a, file=sys.stderr, flush=True)


# ---- files ----------------------------------------------------------------

def write_tone(path, hz, seconds, amplitude=0.5):
    """A 16-bit stereo sine that starts at phase 0 and holds no silence."""
    n = int(seconds * RATE)
    a = array.array('h')
    for i in range(n):
        v = int(round(amplitude * 32767 * math.sin(2 * math.pi * hz * i / RATE)))
        a.append(v)
        a.append(v)
    w = wave.open(path, 'wb')
    w.setnchannels(2)
    w.setsampwidth(2)
    w.setframerate(RATE)
    w.writeframes(a.tobytes())
    w.close()


# ---- the program and its window -------------------------------------------

def desktop_env(extra=None):
    env = P.pa_env()  # a fresh HOME with the sound server's client settings
    env.pop('NO_AT_BRIDGE', None)
    os.makedirs(os.path.join(env['HOME'], 'Desktop'), exist_ok=True)
    if extra:
        env.update(extra)
    return env


def xdotool(*args):
    return subprocess.run(['xdotool'] + list(args), capture_output=True, text=True).stdout.strip()


def find_window(title, timeout_s=20):
    end = time.monotonic() + timeout_s
    while time.monotonic() < end:
        ids = xdotool('search', '--onlyvisible', '--name', '^%s$' % title).split()
        if ids:
            return ids[0]
        time.sleep(0.05)
    return None


def geometry(wid):
    g = {}
    for line in xdotool('getwindowgeometry', '--shell', wid).splitlines():
        k, _, v = line.partition('=')
        g[k] = int(v) if v.lstrip('-').isdigit() else v
    return g


def view_point(wid, x, y, view_height=135):
    """Screen position of point (x, y) of the window's view (under the menu bar)."""
    g = geometry(wid)
    return g['X'] + x, g['Y'] + g['HEIGHT'] - view_height + y


def launch(build, args, env):
    return subprocess.Popen([os.path.join(build, 'velotune')] + list(args), env=env,
                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


# ---- the recording ----------------------------------------------------------

class Capture:
    """The harness's recorder, calibrated: frames of the sink's monitor with their time."""

    def __init__(self):
        self.rec = P.Recorder(P.pa_env(fresh_home=False)).start()
        self.rec.wait_running()
        calib = P.load_calibration()
        self.offset = (calib or {}).get('offset_ms', 0.0) / 1000.0

    def stop(self):
        self.rec.stop()

    def frames(self):
        return self.rec.frames()

    def samples(self):
        return self.rec.samples()  # interleaved s16 stereo

    def time_of(self, frame):
        t = self.rec.arrival_of(frame)
        return None if t is None else t - self.offset

    def first_loud(self, start, threshold=THRESHOLD, timeout_s=10):
        """The first frame from `start` on with a sample at or above the threshold."""
        end = time.monotonic() + timeout_s
        while time.monotonic() < end:
            s = self.samples()
            for i in range(2 * start, len(s)):
                if abs(s[i]) >= threshold:
                    return i // 2
            start = max(start, len(s) // 2 - 1)
            time.sleep(0.02)
        return None


def left(s):
    return s[0::2]


def rms(x, a, b):
    if b <= a:
        return 0.0
    return math.sqrt(sum(float(v) * v for v in x[a:b]) / (b - a))


# ---- drop -------------------------------------------------------------------

def bench_drop(build, n):
    tmp = tempfile.mkdtemp(prefix='velotune-drop-')
    wav = os.path.join(tmp, 'drop.wav')
    write_tone(wav, 441.0, 1.0)
    cap = Capture()
    drag = os.path.join(ROOT, 'tests', 'scripts', 'drag-files.sh')
    ours, aplay = [], []
    for rep in range(n + 1):  # the first of each is a warm-up
        stamp = os.path.join(tmp, 'stamp-%d' % rep)
        env = desktop_env({'VELOTUNE_DROP_TIME_FILE': stamp})
        p = launch(build, [], env)
        wid = find_window(TITLE)
        value = None
        if wid:
            time.sleep(2.5)  # the window is up and idle; its device stands still
            x, y = view_point(wid, 300, 20)
            start = cap.frames()
            denv = dict(os.environ, VELOTUNE_DRAG_SOURCE=os.path.join(build, 'tests', 'drag_source'))
            rc = subprocess.run(['bash', drag, str(x), str(y), wav], env=denv,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode
            frame = cap.first_loud(start) if rc == 0 else None
            try:
                dropped = float(open(stamp).read().split()[0])
            except (OSError, ValueError, IndexError):
                dropped = None
            if frame is not None and dropped is not None:
                value = 1e3 * (cap.time_of(frame) - dropped)
        stop(p)
        # aplay: its launch to its first sound
        time.sleep(0.3)
        start = cap.frames()
        t0 = time.monotonic()
        a = subprocess.Popen(['aplay', '-q', wav], env=P.pa_env(), stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
        frame = cap.first_loud(start)
        a.wait()
        ref = None if frame is None else 1e3 * (cap.time_of(frame) - t0)
        log('drop rep %d: velotune %s ms, aplay %s ms' % (rep, fmt(value), fmt(ref)))
        if rep:
            ours.append(value)
            aplay.append(ref)
        time.sleep(0.5)
    cap.stop()
    shutil.rmtree(tmp, ignore_errors=True)
    emit('drop', ours, {'`aplay` launch to first sound': aplay})


# ---- gaps -------------------------------------------------------------------

def silent_runs(x, a, b, min_frames=4):
    """Runs of frames a..b of the left channel below the threshold, longer than
    min_frames (a sine passes its zero crossings in a frame or two)."""
    runs, start = [], None
    for i in range(a, b):
        if abs(x[i]) < THRESHOLD:
            if start is None:
                start = i
        else:
            if start is not None and i - start >= min_frames:
                runs.append(i - start)
            start = None
    return runs


def walk_gaps(cap, start, count):
    """Waits for `count` tones after `start` and a second of silence; the silent runs
    between the first loud frame and the last (the gaps between the tones)."""
    end = time.monotonic() + 30
    while time.monotonic() < end:
        x = left(cap.samples())
        loud = [i for i in range(start, len(x)) if abs(x[i]) >= THRESHOLD]
        if loud and len(x) - loud[-1] > RATE:
            first, last = loud[0], loud[-1]
            expected = count * int(0.4 * RATE)
            if last - first >= expected - RATE // 10:
                return [1e3 * r / RATE for r in silent_runs(x, first, last)]
        time.sleep(0.2)
    return None


def bench_gaps(build, n):
    tmp = tempfile.mkdtemp(prefix='velotune-gaps-')
    folder = os.path.join(tmp, 'tones')
    os.makedirs(folder)
    files = []
    for k in range(6):
        files.append(os.path.join(folder, 't%d.wav' % k))
        write_tone(files[-1], 300.0 + 100 * k, 0.4)
    cap = Capture()
    ours, play = [], []
    for rep in range(n + 1):
        start = cap.frames()
        p = launch(build, [folder], desktop_env())
        gaps = walk_gaps(cap, start, len(files))
        stop(p)
        time.sleep(0.3)
        start = cap.frames()
        s = subprocess.Popen(['play', '-q'] + files, env=P.pa_env(), stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
        ref = walk_gaps(cap, start, len(files))
        stop(s)
        log('gaps rep %d: velotune %s, play %s' % (rep, gaps, ref))
        if rep:
            # a gap of none is a silence of 0 ms
            ours += (gaps or []) + [0.0] * (len(files) - 1 - len(gaps or []))
            play += (ref or []) + [0.0] * (len(files) - 1 - len(ref or []))
        time.sleep(0.3)
    cap.stop()
    shutil.rmtree(tmp, ignore_errors=True)
    emit('gaps', ours, {"sox's `play` of the same files": play})


# ---- next -------------------------------------------------------------------

def bench_next(build, n):
    tmp = tempfile.mkdtemp(prefix='velotune-next-')
    a, b = os.path.join(tmp, 'a.wav'), os.path.join(tmp, 'b.wav')
    write_tone(a, 441.0, 8.0)
    write_tone(b, 882.0, 1.0)
    cap = Capture()
    to_fade, to_next, fade_len = [], [], []
    for rep in range(n + 1):
        start = cap.frames()
        p = launch(build, [a, b], desktop_env())
        wid = find_window(TITLE)
        first = cap.first_loud(start) if wid else None
        result = None
        if first is not None:
            time.sleep(2.0)
            x, y = view_point(wid, 240, 97)  # the Next button
            xdotool('mousemove', '--sync', str(x + 1), str(y))
            xdotool('mousemove', '--sync', str(x), str(y))
            clicked = time.monotonic()
            xdotool('click', '1')
            time.sleep(2.5)
            result = analyse_next(cap, first, clicked)
        stop(p)
        log('next rep %d: %s' % (rep, result))
        if rep and result:
            to_fade.append(result[0])
            to_next.append(result[1])
            fade_len.append(result[2])
        time.sleep(0.3)
    cap.stop()
    shutil.rmtree(tmp, ignore_errors=True)
    emit('next-fade', to_fade, {})
    emit('next-sound', to_next, {'the fade-out itself': fade_len})


def analyse_next(cap, first, clicked):
    x = left(cap.samples())
    win = 100  # one period of the 441 Hz tone: its level does not depend on the phase
    # the frame heard at the click: the last frame delivered before it
    at = cap.rec.frames_before(clicked + cap.offset)
    steady = rms(x, at - RATE // 5, at)
    if steady < 1000:
        return None
    i = at
    while i + win < len(x) and rms(x, i, i + win) > 0.995 * steady:
        i += 10
    fade_start = i
    while i + win < len(x) and rms(x, i, i + win) > 0.01 * steady:
        i += 10
    fade_end = i
    j = fade_end
    while j < len(x) and abs(x[j]) < 0.1 * steady:
        j += 1
    if j >= len(x) or fade_end >= len(x):
        return None
    t_fade = cap.time_of(fade_start)
    return (1e3 * (t_fade - clicked), 1e3 * (j - fade_end) / RATE, 1e3 * (fade_end - fade_start) / RATE)


# ---- cpu --------------------------------------------------------------------

def cpu_ns(pid):
    """CPU time of every live thread of `pid` (ns, from schedstat)."""
    total = 0
    try:
        for t in os.listdir('/proc/%d/task' % pid):
            try:
                total += int(open('/proc/%d/task/%s/schedstat' % (pid, t)).read().split()[0])
            except (OSError, ValueError, IndexError):
                pass
    except OSError:
        pass
    return total


def cpu_over(pid, seconds):
    c0, t0 = cpu_ns(pid), time.monotonic()
    time.sleep(seconds)
    c1, t1 = cpu_ns(pid), time.monotonic()
    return (c1 - c0) / 1e6 / (t1 - t0)  # ms of CPU per second


def bench_cpu(build, n):
    tmp = tempfile.mkdtemp(prefix='velotune-cpu-')
    wav = os.path.join(tmp, 'twelve.wav')
    write_tone(wav, 441.0, 12.0)
    cap = Capture()  # the sink is listened to, as in every other row
    idle, gtk_idle, playing, aplay, mpv = [], [], [], [], []
    gtk = os.path.join(build, 'bench', 'gtkwindow_bench')
    for rep in range(n + 1):
        p = launch(build, [], desktop_env())
        v = None
        if find_window(TITLE):
            time.sleep(4)  # start-up over, the device stands still
            v = cpu_over(p.pid, 8)
        stop(p)
        g = subprocess.Popen([gtk], env=desktop_env({'GDK_GL': 'disable'}), stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
        gv = None
        if find_window('GTK reference window'):
            time.sleep(4)
            gv = cpu_over(g.pid, 8)
        stop(g)
        p = launch(build, [wav], desktop_env())
        pv = None
        if find_window(TITLE):
            time.sleep(2.5)
            pv = cpu_over(p.pid, 7)
        stop(p)
        refs = []
        for argv in (['aplay', '-q', wav], ['mpv', '--no-video', '--really-quiet', wav]):
            if not shutil.which(argv[0]):
                refs.append(None)
                continue
            r = subprocess.Popen(argv, env=P.pa_env(), stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
            time.sleep(2.5)
            refs.append(cpu_over(r.pid, 7))
            stop(r)
        log('cpu rep %d: idle %s, gtk idle %s, playing %s, aplay %s, mpv %s'
            % (rep, fmt(v), fmt(gv), fmt(pv), fmt(refs[0]), fmt(refs[1])))
        if rep:
            idle.append(v)
            gtk_idle.append(gv)
            playing.append(pv)
            aplay.append(refs[0])
            mpv.append(refs[1])
    cap.stop()
    shutil.rmtree(tmp, ignore_errors=True)
    emit('cpu-idle', idle, {'bare GTK 3 window (`gtkwindow_bench`) with OpenGL off': gtk_idle})
    emit('cpu-playing', playing, {'`aplay`': aplay, '`mpv`': mpv})


# ---- output -----------------------------------------------------------------

def fmt(v):
    return 'none' if v is None else '%.2f' % v


def emit(row, ours, refs):
    import json
    print(json.dumps({'row': row, 'ours': [v for v in ours if v is not None],
                      'refs': {k: [v for v in vs if v is not None] for k, vs in refs.items()}}),
          flush=True)


def main():
    if len(sys.argv) != 4 or sys.argv[1] not in ('drop', 'gaps', 'next', 'cpu'):
        sys.exit(__doc__)
    build, n = os.path.abspath(sys.argv[2]), int(sys.argv[3])
    {'drop': bench_drop, 'gaps': bench_gaps, 'next': bench_next, 'cpu': bench_cpu}[sys.argv[1]](build, n)


if __name__ == '__main__':
    main()
