#!/usr/bin/env python3
# Measurement harness: a copy of our shared perf tooling, kept here so that a clean
# clone runs the benchmarks (see bench/perf/README.md).
"""Calibrate the capture time mapping with clicks of known write time.

A long-running `pacat --raw --latency-msec=1` is connected to the null sink first (so its start-up
is not measured); then, at random intervals, this script writes a 1 ms click (+100 ms silence)
into pacat's stdin and notes time.monotonic() just before the write.  Each click is located in the
capture; offset = (arrival of the read that delivered it) - (write time), the same estimator
measure.py uses for first audio.  The true path (pipe -> pacat -> server -> sink) takes >= 0 s,
so the offset bounds the recorder's own delivery delay from above; its median is what
measure.py subtracts and min..max is the error bar.  The local lower envelope (local_time) is
reported alongside: it should sit at or just below 0.

usage: calibrate.py [--clicks 20] [--pacat-latency-ms 1] [--rec-latency-ms 2] [--out FILE] [--no-save]
"""
import argparse
import array
import json
import os
import random
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import perflib as P  # noqa: E402


def calibrate(clicks=20, pacat_latency_ms=1, rec_latency_ms=2, gap=(0.25, 0.45), thr=3000, seed=None):
    env = P.pa_env(fresh_home=False)
    rnd = random.Random(seed)
    click = array.array('h', [26214, -26214] * 44 + [0, 0] * 4410).tobytes()
    rec = P.Recorder(env, latency_ms=rec_latency_ms, thr=thr).start()
    writes = []
    pc = None
    try:
        rec.wait_running(0.5)
        pc = subprocess.Popen(['pacat', '--playback', '--raw', '--format=s16le', '--rate=44100',
                               '--channels=2', '--latency-msec=%d' % pacat_latency_ms],
                              stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env=env)
        time.sleep(0.8)
        fd = pc.stdin.fileno()
        for _ in range(clicks):
            time.sleep(rnd.uniform(*gap))
            t = time.monotonic()
            os.write(fd, click)
            writes.append(t)
        time.sleep(0.4)
        pc.stdin.close()
        pc.wait(timeout=5)
        time.sleep(0.2)
    finally:
        if pc and pc.poll() is None:
            pc.kill()
            pc.wait()
        rec.stop()
    m = rec.mapping()
    cap = rec.samples()
    arr, loc = [], []
    for t in writes:
        n = P.first_loud(cap, thr, rec.frames_before(t))
        if n is None:
            continue
        a = rec.arrival_of(n) - t
        if a < 0.1:           # a click pacat held back (should not happen) is not a calibration
            arr.append(1e3 * a)
            loc.append(1e3 * (rec.local_time(n) - t))

    def stats(v):
        v = sorted(v)
        mean = sum(v) / len(v)
        sd = (sum((x - mean) ** 2 for x in v) / max(1, len(v) - 1)) ** 0.5
        return {'median_ms': round(P.median(v), 3), 'min_ms': round(v[0], 3), 'max_ms': round(v[-1], 3),
                'sd_ms': round(sd, 3), 'values_ms': [round(x, 3) for x in v]}
    sa, sl = stats(arr), stats(loc)
    return {
        # what measure.py subtracts from arrival-based times, and the error bar around it
        'offset_ms': sa['median_ms'],
        'spread_ms': [sa['min_ms'], sa['max_ms']],
        'arrival': sa,
        'local': sl,
        'n': len(arr), 'clicks': clicks,
        'pacat_latency_ms': pacat_latency_ms, 'rec_latency_ms': rec_latency_ms,
        'map': {k: round(v, 4) if isinstance(v, float) else v for k, v in m.items() if k != 'E'},
        'when': time.strftime('%Y-%m-%dT%H:%M:%S'),
    }


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--clicks', type=int, default=20)
    ap.add_argument('--pacat-latency-ms', type=int, default=1)
    ap.add_argument('--rec-latency-ms', type=int, default=2)
    ap.add_argument('--out', default=os.path.join(P.state_dir(), 'calib.json'))
    ap.add_argument('--no-save', action='store_true')
    a = ap.parse_args()
    c = calibrate(a.clicks, a.pacat_latency_ms, a.rec_latency_ms)
    s = json.dumps(c, indent=1)
    print(s)
    if not a.no_save:
        with open(a.out, 'w') as f:
            f.write(s + '\n')
    print('# arrival offset %.2f ms (min %.2f, max %.2f, sd %.2f); local-envelope offset %.2f ms '
          '(min %.2f, max %.2f); n=%d%s' % (
              c['offset_ms'], c['arrival']['min_ms'], c['arrival']['max_ms'], c['arrival']['sd_ms'],
              c['local']['median_ms'], c['local']['min_ms'], c['local']['max_ms'], c['n'],
              '' if a.no_save else '; saved ' + a.out), file=sys.stderr)


if __name__ == '__main__':
    main()
