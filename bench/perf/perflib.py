# Measurement harness: a copy of our shared perf tooling, kept here so that a clean
# clone runs the benchmarks (see bench/perf/README.md).
"""Shared code for the audio-player perf harness (python3 standard library only).

Pieces:
  Recorder       parec on the null sink's monitor, every chunk timestamped on arrival
  spawn_player   posix_spawn a command, timestamp its output lines, sample /proc, wait4 it
  reference()    a 44.1 kHz s16 stereo WAV of an input file to compare the capture with
  analyse()      onset, time mapping, alignment and sample comparison

Time base: time.monotonic() (CLOCK_MONOTONIC), the clock PulseAudio's null sink paces itself by.
See README.md for the method and its error bars.
"""
import array
import cmath
import json
import math
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import wave

RATE = 44100
CH = 2
BPF = 4  # bytes per frame, s16le stereo
TICK = os.sysconf('SC_CLK_TCK')
HERE = os.path.dirname(os.path.abspath(__file__))


def state_dir():
    return os.environ.get('PERF_STATE', '/tmp/perf-pa')


def work_dir():
    d = os.environ.get('PERF_WORK', '/tmp/perf-work')
    os.makedirs(d, exist_ok=True)
    return d


def pa_env(fresh_home=True):
    """Environment for clients of the private PulseAudio started by pa_env.sh."""
    st = state_dir()
    envfile = os.path.join(st, 'env.sh')
    if not os.path.exists(envfile):
        raise SystemExit('no %s: run pa_env.sh start first' % envfile)
    env = dict(os.environ)
    for line in open(envfile):
        m = re.match(r'export (\w+)=(.*)$', line.strip())
        if m:
            env[m.group(1)] = m.group(2)
    if fresh_home:
        # a per-trial HOME: only .asoundrc and the pulse client.conf, no player config or state
        home = tempfile.mkdtemp(prefix='home-', dir=work_dir())
        os.makedirs(os.path.join(home, '.config', 'pulse'))
        shutil.copy(os.path.join(st, 'home', '.asoundrc'), home)
        shutil.copy(os.path.join(st, 'home', '.config', 'pulse', 'client.conf'),
                    os.path.join(home, '.config', 'pulse'))
        env['HOME'] = home
        env['PULSE_CLIENTCONFIG'] = os.path.join(home, '.config', 'pulse', 'client.conf')
    return env


def pa_pid():
    try:
        pid = int(open(os.path.join(state_dir(), 'pa.pid')).read())
        if open('/proc/%d/comm' % pid).read().strip() == 'pulseaudio':
            return pid
    except (OSError, ValueError):
        pass
    return None


def proc_cpu_s(pid):
    """utime+stime of a live process in seconds, or None."""
    try:
        s = open('/proc/%d/stat' % pid).read()
        f = s[s.rindex(')') + 2:].split()
        return (int(f[11]) + int(f[12])) / TICK
    except (OSError, ValueError, IndexError):
        return None


# --------------------------------------------------------------------------- recorder

class Recorder:
    """parec -d <monitor> --raw s16le/44.1k/2ch into a pipe; a thread reads it and notes
    (arrival time, cumulative frames) for every read.  A frame's sink time is taken from the
    arrival of the read that delivered it (arrival_of, upper bound) and bracketed from below
    by the local lower envelope (local_time).  The recorder's requested latency (default 2 ms)
    caps the null sink's block size, and so the delivery delay, at about that much."""

    def __init__(self, env, device='out.monitor', latency_ms=2, thr=104):
        self.env = env
        self.device = device
        self.latency_ms = latency_ms
        self.thr = thr
        self.buf = bytearray()
        self.chunks = []          # (t_arrival, cumulative_frames)
        self.first_loud = None    # frame index, tracked online
        self.last_loud = None
        self.proc = None
        self.t_start = None
        self._lock = threading.Lock()

    def start(self):
        cmd = ['parec', '-d', self.device, '--raw', '--format=s16le', '--rate=%d' % RATE,
               '--channels=%d' % CH, '--latency-msec=%d' % self.latency_ms]
        self.t_start = time.monotonic()
        self.proc = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                     stdin=subprocess.DEVNULL, env=self.env)
        self.thread = threading.Thread(target=self._reader, daemon=True)
        self.thread.start()
        return self

    def _reader(self):
        fd = self.proc.stdout.fileno()
        done = 0  # bytes already scanned for loudness
        while True:
            b = os.read(fd, 1 << 16)
            t = time.monotonic()
            if not b:
                break
            with self._lock:
                self.buf += b
                nfr = len(self.buf) // BPF
                self.chunks.append((t, nfr))
            end = nfr * BPF
            if end > done:
                a = array.array('h', bytes(self.buf[done:end]))
                if a and (max(a) >= self.thr or -min(a) >= self.thr):
                    idx = [i for i, v in enumerate(a) if v >= self.thr or -v >= self.thr]
                    base = done // 2
                    if self.first_loud is None:
                        self.first_loud = (base + idx[0]) // CH
                    self.last_loud = (base + idx[-1]) // CH
                done = end

    def frames(self):
        return len(self.buf) // BPF

    def wait_running(self, preroll_s=0.5, timeout_s=8.0):
        """Wait until data flows and preroll_s of steady stream has been received.
        (When nothing listens, the null sink renders 2 s blocks; the first chunk can take
        up to ~2 s to arrive after parec connects.)"""
        t_end = time.monotonic() + timeout_s
        while time.monotonic() < t_end:
            if self.proc.poll() is not None:
                raise RuntimeError('parec exited: %s' % self.proc.stderr.read().decode(errors='replace'))
            with self._lock:
                if self.chunks and self.chunks[-1][0] - self.chunks[0][0] >= preroll_s:
                    return
            time.sleep(0.01)
        raise RuntimeError('no steady data from parec after %.1f s' % timeout_s)

    def stop(self):
        if self.proc and self.proc.poll() is None:
            self.proc.send_signal(signal.SIGINT)
            try:
                self.proc.wait(timeout=3)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.thread.join(timeout=3)

    def mapping(self):
        """Global envelope E = min_i(t_i - N_i/RATE) and how far chunks sit above it.  Only a
        diagnostic: the null sink's block size changes when a client asks for a lower latency
        (the offset of E then jumps by up to a block), and with blocks that are not a whole
        number of microseconds the sink runs fast (pa_bytes_to_usec rounds down: 22-frame
        blocks = +0.17 %), so one E for a whole run is not reliable; see local_time()."""
        ch = self.chunks
        vals = [t - n / RATE for t, n in ch]
        e = min(vals)
        d = sorted(v - e for v in vals)
        k = max(1, len(vals) // 3)
        e1, e2 = min(vals[:k]), min(vals[-k:])
        sizes = sorted(ch[i][1] - ch[i - 1][1] for i in range(1, len(ch))) or [0]
        return {
            'E': e,
            'env_spread_med_ms': 1e3 * d[len(d) // 2],
            'env_spread_p95_ms': 1e3 * d[int(len(d) * 0.95)],
            'env_drift_ms': 1e3 * (e2 - e1),
            'span_s': ch[-1][0] - ch[0][0],
            'chunks': len(ch),
            'chunk_frames_median': sizes[len(sizes) // 2],
        }

    def _chunk_index(self, n):
        """Index of the read that delivered frame n (binary search), or None."""
        lo, hi = 0, len(self.chunks)
        while lo < hi:
            mid = (lo + hi) // 2
            if self.chunks[mid][1] > n:
                hi = mid
            else:
                lo = mid + 1
        return lo if lo < len(self.chunks) else None

    def arrival_of(self, n):
        """Arrival time of the read that delivered frame n: an upper bound for the time the sink
        rendered it (nothing is delivered before it is rendered).  Calibrated with calibrate.py."""
        j = self._chunk_index(n)
        return None if j is None else self.chunks[j][0]

    def local_time(self, n, window_s=0.25):
        """Lower-envelope estimate of frame n's time from the reads in the window_s after the
        one that delivered it: min_j(t_j - (N_j - n)/RATE).  Regime-local (no drift, no block-size
        jump inside the window); tends to read early by up to one sink block."""
        j0 = self._chunk_index(n)
        if j0 is None:
            return None
        t0 = self.chunks[j0][0]
        best = None
        for t, cum in self.chunks[j0:]:
            if t > t0 + window_s:
                break
            v = t - (cum - n) / RATE
            if best is None or v < best:
                best = v
        return best

    def frames_before(self, t):
        """Frames delivered by reads that arrived at or before time t (all rendered before t)."""
        n = 0
        for tc, cum in self.chunks:
            if tc > t:
                break
            n = cum
        return n

    def save_wav(self, path):
        w = wave.open(path, 'wb')
        w.setnchannels(CH)
        w.setsampwidth(2)
        w.setframerate(RATE)
        w.writeframes(bytes(self.buf[:self.frames() * BPF]))
        w.close()

    def samples(self):
        return array.array('h', bytes(self.buf[:self.frames() * BPF]))


# --------------------------------------------------------------------------- player

TIME_FIELDS = {
    'User time (seconds)': 'user_s', 'System time (seconds)': 'sys_s',
    'Maximum resident set size (kbytes)': 'maxrss_kb', 'Major (requiring I/O) page faults': 'majflt',
    'Minor (reclaiming a frame) page faults': 'minflt', 'Voluntary context switches': 'nvcsw',
    'Involuntary context switches': 'nivcsw', 'Exit status': 'exit_status',
    'Elapsed (wall clock) time (h:mm:ss or m:ss)': 'elapsed', 'Percent of CPU this job got': 'pct_cpu',
}


def parse_time_v(path):
    out = {}
    try:
        for line in open(path):
            if ':' not in line:
                continue
            k, v = line.strip().rsplit(': ', 1) if ': ' in line else (line.strip(), '')
            if k in TIME_FIELDS:
                out[TIME_FIELDS[k]] = v
            elif line.startswith('Command terminated by signal'):
                out['signal'] = line.split()[-1]
    except OSError:
        pass
    for k in ('user_s', 'sys_s'):
        if k in out:
            out[k] = float(out[k])
    for k in ('maxrss_kb', 'majflt', 'minflt', 'nvcsw', 'nivcsw', 'exit_status'):
        if k in out:
            out[k] = int(out[k])
    return out


class Player:
    """posix_spawnp a command (stdin /dev/null, stdout+stderr into a pipe we timestamp),
    sample /proc for RSS/CPU of it and its descendants, reap it with wait4 for rusage.

    By default the command runs under `/usr/bin/time -v -o FILE`: a child's ru_maxrss is
    at least the RSS of the memory image it was forked/vforked from, so a player spawned straight
    from this ~20 MB python would report >= 20 MB.  time(1) is small, so its child's figure is
    the player's own.  CPU comes from our wait4 on time(1) (microsecond resolution, includes
    time's own ~1 ms); time(1)'s own figures are kept as a cross-check."""

    def __init__(self, argv, env, log_path=None, trigger_regex=None, sample_ms=50, use_time=True):
        self.use_time = use_time
        self.timefile = None
        if use_time:
            fd, self.timefile = tempfile.mkstemp(prefix='time-', suffix='.txt', dir=work_dir())
            os.close(fd)
            argv = ['/usr/bin/time', '-v', '-o', self.timefile, '--'] + list(argv)
        self.argv = argv
        self.env = env
        self.log_path = log_path
        self.trigger_re = re.compile(trigger_regex) if trigger_regex else None
        self.t_trigger_line = None
        self.sample_ms = sample_ms
        self.lines = []
        self.exited = threading.Event()
        self.t_exit = None
        self.status = None
        self.rusage = None
        self.hwm_kb = {}      # pid -> (comm, max VmHWM seen)
        self.tree_rss_peak_kb = 0
        self.descendants = set()

    def start(self):
        r, w = os.pipe()
        fa = [(os.POSIX_SPAWN_OPEN, 0, '/dev/null', os.O_RDONLY, 0),
              (os.POSIX_SPAWN_DUP2, w, 1),
              (os.POSIX_SPAWN_DUP2, w, 2)]
        self.t_launch = time.monotonic()
        self.pid = os.posix_spawnp(self.argv[0], self.argv, self.env, file_actions=fa)
        self.t_spawned = time.monotonic()
        os.close(w)
        self._r = r
        threading.Thread(target=self._out_reader, daemon=True).start()
        threading.Thread(target=self._waiter, daemon=True).start()
        threading.Thread(target=self._sampler, daemon=True).start()
        return self

    def _out_reader(self):
        pend = b''
        while True:
            try:
                b = os.read(self._r, 65536)
            except OSError:
                break
            t = time.monotonic()
            if not b:
                break
            pend += b
            parts = re.split(rb'[\r\n]', pend)
            pend = parts.pop()
            for p in parts:
                if not p:
                    continue
                s = p.decode(errors='replace')
                self.lines.append((t - self.t_launch, s))
                if self.trigger_re and self.t_trigger_line is None and self.trigger_re.search(s):
                    self.t_trigger_line = t
        if pend:
            self.lines.append((time.monotonic() - self.t_launch, pend.decode(errors='replace')))
        os.close(self._r)

    def _waiter(self):
        _, status, ru = os.wait4(self.pid, 0)
        self.t_exit = time.monotonic()
        self.status = status
        self.rusage = ru
        self.exited.set()

    def _children(self, pid):
        out = []
        try:
            for tid in os.listdir('/proc/%d/task' % pid):
                try:
                    out += [int(x) for x in open('/proc/%d/task/%s/children' % (pid, tid)).read().split()]
                except OSError:
                    pass
        except OSError:
            pass
        return out

    def _sampler(self):
        while not self.exited.is_set():
            tree, todo = [], [self.pid]
            while todo:
                p = todo.pop()
                tree.append(p)
                todo += self._children(p)
            total = 0
            for p in tree:
                try:
                    st = open('/proc/%d/status' % p).read()
                except OSError:
                    continue
                m1 = re.search(r'VmHWM:\s+(\d+)', st)
                m2 = re.search(r'VmRSS:\s+(\d+)', st)
                mc = re.search(r'Name:\s+(\S+)', st)
                if not m1:
                    continue
                comm = mc.group(1) if mc else '?'
                if p != self.pid:
                    self.descendants.add(p)
                old = self.hwm_kb.get(p, (comm, 0))[1]
                self.hwm_kb[p] = (comm, max(old, int(m1.group(1))))
                total += int(m2.group(1))
            self.tree_rss_peak_kb = max(self.tree_rss_peak_kb, total)
            self.exited.wait(self.sample_ms / 1000.0)

    def stop(self, grace_s=2.0):
        """SIGTERM (then SIGKILL) the processes we started, by PID: the player's own processes
        (descendants of what we spawned, e.g. the child of time(1)) first, then the spawned PID."""
        for sig in (signal.SIGTERM, signal.SIGKILL):
            if self.exited.is_set():
                break
            kids = self._children(self.pid)
            for p in (kids or [self.pid]):
                try:
                    os.kill(p, sig)
                except (ProcessLookupError, PermissionError):
                    pass
            self.exited.wait(grace_s)
            if not self.exited.is_set() and kids:
                try:
                    os.kill(self.pid, sig)
                except ProcessLookupError:
                    pass
                self.exited.wait(0.5)
        for p in self.descendants:
            try:
                os.kill(p, 0)
            except (ProcessLookupError, PermissionError):
                continue
            try:
                os.kill(p, signal.SIGTERM)
            except (ProcessLookupError, PermissionError):
                pass

    def time_report(self):
        if not self.timefile:
            return None
        r = parse_time_v(self.timefile)
        try:
            os.unlink(self.timefile)
        except OSError:
            pass
        return r

    def player_hwm_kb(self):
        """Largest VmHWM sampled from /proc among the player's processes (not time(1) itself)."""
        vals = [v[1] for p, v in self.hwm_kb.items() if not (self.use_time and p == self.pid)]
        return max(vals) if vals else None

    def write_log(self):
        if self.log_path:
            with open(self.log_path, 'w') as f:
                f.write('# argv: %s\n' % json.dumps(self.argv))
                for t, s in self.lines:
                    f.write('[%8.3f] %s\n' % (t, s))


# --------------------------------------------------------------------------- inputs / reference

def soxi(path):
    """(rate, bits, channels, encoding, frames) as sox sees the file."""
    out = {}
    for k in ('r', 'b', 'c', 'e', 's'):
        r = subprocess.run(['soxi', '-' + k, path], capture_output=True, text=True)
        out[k] = r.stdout.strip()
    return int(out['r'] or 0), int(out['b'] or 0), int(out['c'] or 0), out['e'], int(out['s'] or 0)


def is_wav_s16_441(path):
    try:
        w = wave.open(path, 'rb')
        ok = (w.getframerate() == RATE and w.getsampwidth() == 2 and w.getnchannels() == CH
              and w.getcomptype() == 'NONE')
        w.close()
        return ok
    except (wave.Error, EOFError, OSError):
        return False


def reference(path):
    """(ref_wav_path, exact_expected, how).  44.1 kHz s16 stereo PCM inputs (WAV, AIFF) are
    compared sample for sample; other inputs against a conversion made here (sox 'rate -v'
    for PCM, ffmpeg for MP3, which honours the LAME gapless header) by correlation/SNR."""
    if is_wav_s16_441(path):
        return path, True, 'source'
    rate, bits, chans, enc, _ = soxi(path)
    st = os.stat(path)
    key = '%s-%d-%d' % (re.sub(r'[^A-Za-z0-9_.-]', '_', os.path.abspath(path)), st.st_size, int(st.st_mtime))
    refdir = os.path.join(work_dir(), 'refs')
    os.makedirs(refdir, exist_ok=True)
    out = os.path.join(refdir, key + '.wav')
    pcm = 'PCM' in enc or 'Floating' in enc
    exact = pcm and rate == RATE and bits == 16 and chans == CH
    if pcm:
        how = 'sox -D -b16 -r44100 -c2 (rate -v)' if not exact else 'sox byte-order copy'
        if not os.path.exists(out):
            cmd = ['sox', '-D', path, '-b', '16', '-e', 'signed-integer', '-c', '2', out]
            if rate != RATE:
                cmd += ['rate', '-v', str(RATE)]
            subprocess.run(cmd, check=True)
    else:
        how = 'ffmpeg decode to s16 44.1k'
        if not os.path.exists(out):
            subprocess.run(['ffmpeg', '-v', 'error', '-y', '-i', path, '-ac', '2', '-ar', str(RATE),
                            '-sample_fmt', 's16', out], check=True)
    return out, exact, how


def read_s16(path):
    w = wave.open(path, 'rb')
    assert w.getsampwidth() == 2 and w.getnchannels() == CH, path
    a = array.array('h', w.readframes(w.getnframes()))
    w.close()
    if sys.byteorder != 'little':
        a.byteswap()
    return a


# --------------------------------------------------------------------------- analysis helpers

def first_loud(a, thr, start_frame=0):
    """First frame (of interleaved stereo a) with |sample| >= thr, or None."""
    blk = 4096
    i = start_frame * CH
    n = len(a)
    while i < n:
        b = a[i:i + blk]
        if max(b) >= thr or -min(b) >= thr:
            for j, v in enumerate(b):
                if v >= thr or -v >= thr:
                    return (i + j) // CH
        i += blk
    return None


def last_loud(a, thr):
    blk = 4096
    i = len(a)
    while i > 0:
        s = max(0, i - blk)
        b = a[s:i]
        if max(b) >= thr or -min(b) >= thr:
            for j in range(len(b) - 1, -1, -1):
                v = b[j]
                if v >= thr or -v >= thr:
                    return (s + j) // CH
        i = s
    return None


def _fft(x, inv=False):
    """Iterative radix-2 FFT on a list of complex (len power of two)."""
    n = len(x)
    x = list(x)
    j = 0
    for i in range(1, n):
        bit = n >> 1
        while j & bit:
            j ^= bit
            bit >>= 1
        j |= bit
        if i < j:
            x[i], x[j] = x[j], x[i]
    size = 2
    sgn = 1 if inv else -1
    while size <= n:
        half = size // 2
        w = [cmath.exp(sgn * 2j * math.pi * k / size) for k in range(half)]
        for start in range(0, n, size):
            for k in range(half):
                a = x[start + k]
                b = x[start + k + half] * w[k]
                x[start + k] = a + b
                x[start + k + half] = a - b
        size *= 2
    if inv:
        x = [v / n for v in x]
    return x


def best_lag(cap, ref, cap_on, ref_on, search=4096, win=8192):
    """Lag L (capture frame = reference frame + L) maximising the cross-correlation of the
    left channels around the two onsets; FFT based, searches cap_on-ref_on +- search."""
    n = 1
    while n < win + 2 * search + win:
        n *= 2
    c0 = cap_on - search
    xs = [0.0] * n
    for k in range(win + 2 * search):
        idx = (c0 + k) * CH
        if 0 <= idx < len(cap):
            xs[k] = float(cap[idx])
    ys = [0.0] * n
    for k in range(win):
        idx = (ref_on + k) * CH
        if 0 <= idx < len(ref):
            ys[k] = float(ref[idx])
    X = _fft(xs)
    Y = _fft(ys)
    r = _fft([a * b.conjugate() for a, b in zip(X, Y)], inv=True)
    best, bk = None, 0
    for k in range(0, 2 * search + 1):
        v = r[k].real
        if best is None or v > best:
            best, bk = v, k
    return c0 + bk - ref_on


def compare(cap, ref, lag, block_frames=4410, track=True):
    """Sample comparison of reference vs capture shifted by lag frames (track: look for slips,
    meaningful where a bit-exact path is expected)."""
    nref = len(ref) // CH
    s0 = lag * CH
    # fast path: whole reference identical
    if 0 <= s0 and s0 + len(ref) <= len(cap) and cap[s0:s0 + len(ref)] == ref:
        return {'frames': nref, 'exact_frames': nref, 'exact': True, 'first_mismatch_s': None,
                'max_abs_diff': 0, 'snr_db': None, 'corr': 1.0, 'gain_db': 0.0,
                'snr_gainfit_db': None, 'bad_blocks': 0, 'bad_block_times_s': [],
                'snr_lti_db': None, 'glitch_blocks': 0, 'glitch_block_times_s': [],
                'slips': [], 'blocks_unmatched': 0}
    sxx = syy = sxy = sdd = 0.0
    maxd = 0
    exact_frames = 0
    first_mis = None
    bad = []
    for b0 in range(0, nref, block_frames):
        b1 = min(nref, b0 + block_frames)
        r = ref[b0 * CH:b1 * CH]
        lo = (b0 + lag) * CH
        hi = (b1 + lag) * CH
        if lo >= 0 and hi <= len(cap):
            c = cap[lo:hi]
        else:
            c = array.array('h', [cap[k] if 0 <= k < len(cap) else 0 for k in range(lo, hi)])
        if c == r:
            exact_frames += b1 - b0
            bx = sum(v * v for v in r)
            sxx += bx
            syy += bx
            sxy += bx
            continue
        bxx = byy = bxy = bdd = 0
        for k in range(len(r)):
            x = r[k]
            y = c[k]
            d = y - x
            bxx += x * x
            byy += y * y
            bxy += x * y
            if d:
                bdd += d * d
                if d > maxd or -d > maxd:
                    maxd = abs(d)
        for k in range(0, len(r), CH):
            if r[k] == c[k] and r[k + 1] == c[k + 1]:
                exact_frames += 1
            elif first_mis is None:
                first_mis = b0 + k // CH
        sxx += bxx
        syy += byy
        sxy += bxy
        sdd += bdd
        bc = bxy / math.sqrt(bxx * byy) if bxx > 0 and byy > 0 else 0.0
        if bc < 0.999:
            bad.append(round(b0 / RATE, 3))
    corr = sxy / math.sqrt(sxx * syy) if sxx > 0 and syy > 0 else 0.0
    gain = sxy / sxx if sxx > 0 else 0.0
    resid = syy - sxy * sxy / sxx if sxx > 0 else syy
    lti = lti_fit(cap, ref, lag)
    slips, unmatched = track_slips(cap, ref, lag) if track and exact_frames > 0 else ([], None)
    return {
        'slips': slips,
        'blocks_unmatched': unmatched,
        'snr_lti_db': lti['snr_lti_db'],
        'glitch_blocks': lti.get('glitch_blocks', 0),
        'glitch_block_times_s': lti['glitch_block_times_s'],
        'frames': nref,
        'exact_frames': exact_frames,
        'exact': exact_frames == nref,
        'first_mismatch_s': None if first_mis is None else round(first_mis / RATE, 6),
        'max_abs_diff': maxd,
        'snr_db': round(10 * math.log10(sxx / sdd), 2) if sdd > 0 else None,
        'corr': round(corr, 6),
        'gain_db': round(20 * math.log10(gain), 3) if gain > 0 else None,
        'snr_gainfit_db': round(10 * math.log10(syy / resid), 2) if resid > 0 else None,
        'bad_blocks': len(bad),
        'bad_block_times_s': bad[:20],
    }


def track_slips(cap, ref, lag, block_frames=4410, search=4096, max_searches=40):
    """For bit-exact paths: follow the reference block by block; where a block does not match
    at the current lag, look for a lag within +-search frames at which it matches exactly.
    Returns [(time_s, lag_change_frames)] for each slip found (a dropout or inserted silence
    shows as +N, skipped audio as -N), plus the number of blocks that matched nowhere."""
    nref = len(ref) // CH
    cur = lag
    slips, unmatched, searches = [], 0, 0
    for b0 in range(0, nref - block_frames + 1, block_frames):
        r = ref[b0 * CH:(b0 + block_frames) * CH]
        s0 = (b0 + cur) * CH
        if 0 <= s0 and s0 + len(r) <= len(cap) and cap[s0:s0 + len(r)] == r:
            continue
        if searches >= max_searches:
            unmatched += 1
            continue
        searches += 1
        found = None
        for d in sorted(range(-search, search + 1), key=abs):
            if d == 0:
                continue
            s1 = (b0 + cur + d) * CH
            if 0 <= s1 and s1 + len(r) <= len(cap) and cap[s1] == r[0] and cap[s1:s1 + len(r)] == r:
                found = d
                break
        if found is None:
            unmatched += 1
        else:
            cur += found
            slips.append((round(b0 / RATE, 3), found))
    return slips, unmatched


def _solve(A, b):
    """Gaussian elimination with partial pivoting (small dense systems)."""
    n = len(b)
    M = [row[:] + [b[i]] for i, row in enumerate(A)]
    for c in range(n):
        p = max(range(c, n), key=lambda r: abs(M[r][c]))
        M[c], M[p] = M[p], M[c]
        if M[c][c] == 0:
            return None
        for r in range(c + 1, n):
            f = M[r][c] / M[c][c]
            if f:
                for k in range(c, n + 1):
                    M[r][k] -= f * M[c][k]
    x = [0.0] * n
    for r in range(n - 1, -1, -1):
        x[r] = (M[r][n] - sum(M[r][k] * x[k] for k in range(r + 1, n))) / M[r][r]
    return x


def lti_fit(cap, ref, lag, taps=16, n_fit=6000, step=4, margin_s=0.1, block_frames=4410, seed=1):
    """Least-squares FIR (taps around the lag) from reference to capture, then the residual.

    Absorbs what a linear time-invariant path does to the audio (sub-sample delays, a
    resampler's pass-band, gain), so what is left is glitches, dropouts, clipping, decoder
    differences.  Fitted on n_fit random frames, evaluated on every step-th frame; the first and
    last margin_s are left out (edge clicks, and cut tails are reported separately).
    Returns {'snr_lti_db', 'glitch_block_times_s' (100 ms blocks with residual SNR < 20 dB)}."""
    nref = len(ref) // CH
    half = taps // 2
    lo = max(int(margin_s * RATE), half)
    hi = min(nref - int(margin_s * RATE), nref - taps)
    hi = min(hi, len(cap) // CH - lag - 1)
    if lag + lo < 0 or hi - lo < RATE // 10:
        return {'snr_lti_db': None, 'glitch_block_times_s': []}
    rnd = random.Random(seed)
    A = [[0.0] * taps for _ in range(taps)]
    bv = [0.0] * taps
    for _ in range(n_fit):
        f = rnd.randrange(lo, hi)
        for c in range(CH):
            x = ref[(f - half) * CH + c:(f - half + taps) * CH + c:CH]
            y = cap[(f + lag) * CH + c]
            for i in range(taps):
                xi = x[i]
                bv[i] += xi * y
                Ai = A[i]
                for j in range(i, taps):
                    Ai[j] += xi * x[j]
    tr = sum(A[i][i] for i in range(taps))
    for i in range(taps):
        A[i][i] += 1e-9 * tr
        for j in range(i):
            A[i][j] = A[j][i]
    h = _solve(A, bv)
    if h is None:
        return {'snr_lti_db': None, 'glitch_block_times_s': []}
    sy = se = 0.0
    blocks = {}
    for f in range(lo, hi, step):
        for c in range(CH):
            x = ref[(f - half) * CH + c:(f - half + taps) * CH + c:CH]
            y = cap[(f + lag) * CH + c]
            e = y - sum(hi_ * xi for hi_, xi in zip(h, x))
            sy += y * y
            se += e * e
            bk = f // block_frames
            bb = blocks.setdefault(bk, [0.0, 0.0])
            bb[0] += y * y
            bb[1] += e * e
    glitches = [round(k * block_frames / RATE, 3) for k, (yy, ee) in sorted(blocks.items())
                if ee > 0 and (yy == 0 or 10 * math.log10(yy / ee) < 20)]
    return {'snr_lti_db': round(10 * math.log10(sy / se), 2) if se > 0 else None,
            'glitch_block_times_s': glitches[:20], 'glitch_blocks': len(glitches)}


def load_calibration(path=None):
    path = path or os.path.join(state_dir(), 'calib.json')
    try:
        c = json.load(open(path))
        return c
    except (OSError, ValueError):
        return None


def median(v):
    v = sorted(x for x in v if x is not None)
    if not v:
        return None
    n = len(v)
    return v[n // 2] if n % 2 else 0.5 * (v[n // 2 - 1] + v[n // 2])
