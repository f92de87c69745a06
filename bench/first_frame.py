#!/usr/bin/env python3
"""Start-up to the first drawn frame of GUI programs, interleaved over repetitions.

Each program gets the path of a stamp file (through an environment variable or a
'{stamp}' argument) and writes into it the CLOCK_MONOTONIC time in seconds of its
first drawn frame. The launch time is time.monotonic() (the same clock) taken just
before the spawn. Once the stamp is there the program is sent SIGTERM.

usage: first_frame.py --reps N --out DIR NAME='ARGV... {stamp}' [NAME='ENV=VAR:ARGV...' ...]
  'env:VAR ARGV...' passes the stamp path in the environment variable VAR instead.
Prints one JSON object per program: {"name", "ms": [...], "failures"}.
"""
import argparse
import json
import os
import random
import shlex
import signal
import subprocess
import sys
import time


def stop(p):
    """Ends a program that is still running: SIGTERM, then SIGKILL after 5 s."""
    if p.poll() is None:
        p.send_signal(signal.SIGTERM)
        try:
            p.wait(5)
        except subprocess.TimeoutExpired:
            p.kill()
            p.wait()


def one_trial(argv, env_var, stamp, log, timeout_s=20.0):
    try:
        os.unlink(stamp)
    except FileNotFoundError:
        pass
    env = dict(os.environ)
    if env_var:
        env[env_var] = stamp
    argv = [a.replace('{stamp}', stamp) for a in argv]
    t0 = time.monotonic()
    p = subprocess.Popen(argv, env=env, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
    value = None
    try:
        while time.monotonic() - t0 < timeout_s and p.poll() is None:
            try:
                with open(stamp) as f:
                    text = f.read()
                if text.endswith('\n'):
                    value = float(text.split()[0])
                    break
            except (OSError, ValueError, IndexError):
                pass
            time.sleep(0.002)
    finally:
        stop(p)
    return None if value is None else 1e3 * (value - t0)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--reps', type=int, default=10)
    ap.add_argument('--out', required=True)
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('programs', nargs='+')
    a = ap.parse_args()
    os.makedirs(a.out, exist_ok=True)
    progs = []
    for item in a.programs:
        name, cmd = item.split('=', 1)
        argv = shlex.split(cmd)
        env_var = None
        if argv[0].startswith('env:'):
            env_var = argv.pop(0)[4:]
        progs.append((name, argv, env_var))
    res = {name: {'name': name, 'ms': [], 'failures': 0} for name, _, _ in progs}
    rnd = random.Random(a.seed)
    stamp = os.path.join(a.out, 'stamp')
    with open(os.path.join(a.out, 'programs.log'), 'ab') as log:
        # one warm-up each (page cache, fontconfig cache), then shuffled repetitions
        plan = [(0, p) for p in progs]
        for rep in range(1, a.reps + 1):
            order = list(progs)
            rnd.shuffle(order)
            plan += [(rep, p) for p in order]
        for rep, (name, argv, env_var) in plan:
            ms = one_trial(argv, env_var, stamp, log)
            print('first frame: %-10s rep %2d: %s ms' % (name, rep, 'none' if ms is None else '%.1f' % ms),
                  file=sys.stderr, flush=True)
            if rep == 0:
                continue
            if ms is None:
                res[name]['failures'] += 1
            else:
                res[name]['ms'].append(round(ms, 2))
            time.sleep(0.2)
    for name, _, _ in progs:
        print(json.dumps(res[name]))


if __name__ == '__main__':
    main()
