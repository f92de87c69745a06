#!/usr/bin/env python3
# Measurement harness: a copy of our shared perf tooling, kept here so that a clean
# clone runs the benchmarks (see bench/perf/README.md).
"""Run measure.run_trial over peers x inputs x repetitions and summarise.

usage:
  bench.py [--reps 5] [--out DIR] [--only aplay,paplay] [--inputs-dir DIR]
           [--peer 'NAME=CMD ... {input}' ...] [--input 'NAME=PATH' ...] [--no-defaults]
           [--no-warmup] [--stop-after-silence S] [--threshold-dbfs DB] [--seed N]
  bench.py --summarise DIR/results.jsonl      (re-make summary.md from saved results)

Default peers: aplay, paplay, play (sox), mpv --no-video --ao=alsa, mpv --no-video (default AO),
ffplay -nodisp -autoexit.  Default inputs: the four files from gen_inputs.sh.  A peer can be
limited to some inputs with 'NAME[in1,in2]=CMD'.  Order: repetition-major, peers and inputs
shuffled within a repetition; one unrecorded warm-up run per peer first (page cache, fontconfig
and the like), its figures kept in the JSONL with "warmup": true.
"""
import argparse
import json
import os
import random
import re
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import perflib as P  # noqa: E402
import measure  # noqa: E402

DEFAULT_PEERS = [
    # name, command (shell-split on spaces; {input} replaced), inputs it can play (None = all)
    ('aplay', 'aplay -q {input}', ['wav441', 'wav48k24']),   # aplay reads WAV/VOC/AU/raw only
    ('paplay', 'paplay {input}', None),
    ('play', 'play -q {input}', None),
    ('mpv-alsa', 'mpv --no-video --ao=alsa {input}', None),
    ('mpv', 'mpv --no-video {input}', None),
    ('ffplay', 'ffplay -nodisp -autoexit {input}', None),
]
DEFAULT_INPUTS = [
    ('wav441', 'ref441.wav'),
    ('wav48k24', 'w48k24.wav'),
    ('aiff441', 'ref441.aiff'),
    ('mp3', 'mp3_128.mp3'),
]


def parse_peer(peer_def):
    m = re.match(r'^([\w.-]+)(?:\[([\w,.-]+)\])?=(.+)$', peer_def)
    if not m:
        raise SystemExit('bad --peer %r (NAME[=inputs]=CMD)' % peer_def)
    return m.group(1), m.group(3), (m.group(2).split(',') if m.group(2) else None)


def fmt_range(vals, scale=1.0, prec=1):
    v = sorted(x * scale for x in vals if x is not None)
    if not v:
        return '–'
    med = P.median(v)
    if len(v) == 1:
        return '%.*f' % (prec, med)
    return '%.*f (%.*f–%.*f)' % (prec, med, prec, v[0], prec, v[-1])


def summarise(rows, out_md=None):
    rows = [r for r in rows if not r.get('warmup')]
    peers, inputs = [], []
    for r in rows:
        if r['peer'] not in peers:
            peers.append(r['peer'])
        if r['input_name'] not in inputs:
            inputs.append(r['input_name'])
    # known names in their default order, others after them in order of appearance
    po = [p[0] for p in DEFAULT_PEERS]
    io = [i[0] for i in DEFAULT_INPUTS]
    # (list.sort empties the list while it sorts: look positions up in copies)
    seen_p, seen_i = list(peers), list(inputs)
    peers.sort(key=lambda p: po.index(p) if p in po else len(po) + seen_p.index(p))
    inputs.sort(key=lambda i: io.index(i) if i in io else len(io) + seen_i.index(i))
    lines = []
    lines.append('| peer | input | n | first audio ms | CPU ms per audio s | peak RSS MiB | sample check | tail missing ms | exit after last audio ms |')
    lines.append('|---|---|---|---|---|---|---|---|---|')
    for inp in inputs:
        for peer in peers:
            rs = [r for r in rows if r['peer'] == peer and r['input_name'] == inp]
            if not rs:
                continue
            ok = [r for r in rs if r.get('audio')]
            if ok and all('cmp' in r for r in ok):
                ex = sum(1 for r in ok if r['cmp']['exact'])
                if rs[0].get('exact_expected'):
                    chk = 'exact %d/%d' % (ex, len(rs))
                    bad = [r for r in ok if not r['cmp']['exact']]
                    if bad:
                        fm = [r['cmp'].get('first_mismatch_s') for r in bad]
                        chk += '; others differ from %s s' % fmt_range(fm, 1, 2)
                        sl = [s for r in bad for s in r['cmp'].get('slips') or []]
                        if sl:
                            chk += ', slips %s' % ' '.join('%+d@%.2fs' % (d, t) for t, d in sl[:4])
                elif ex == len(ok):
                    chk = 'bit-identical to reference %d/%d' % (ex, len(rs))
                else:
                    chk = 'SNR %s, LTI %s dB' % (fmt_range([r['cmp']['snr_db'] for r in ok], 1, 0),
                                                fmt_range([r['cmp'].get('snr_lti_db') for r in ok], 1, 0))
                    gl = sum(1 for r in ok if r['cmp'].get('glitch_blocks'))
                    if gl:
                        chk += ', glitches in %d' % gl
                lagd = set(r.get('onset_vs_content_ms') for r in ok)
                if lagd - {0, 0.0, None}:
                    chk += '; onset %s ms vs content' % fmt_range(list(lagd), 1, 1)
            else:
                chk = 'no audio %d/%d' % (len(rs) - len(ok), len(rs))
            stop = set(r['stopped_by'] for r in rs)
            note = '' if stop == {'exit'} else ' (stopped: %s)' % ','.join(sorted(stop))
            lines.append('| %s%s | %s | %d | %s | %s | %s | %s | %s | %s |' % (
                peer, note, inp, len(rs),
                fmt_range([r.get('ttfa_ms') for r in rs], 1, 1),
                fmt_range([r['cpu_per_audio_s'] for r in rs], 1000, 1),
                fmt_range([r['maxrss_kb'] for r in rs], 1 / 1024.0, 1),
                chk,
                fmt_range([r.get('tail_missing_ms') for r in rs], 1, 1),
                fmt_range([r.get('exit_after_last_audio_ms') for r in rs], 1, 0)))
    lines.append('')
    lines.append('Medians with (min–max) over n runs.  first audio: launch -> first sample above threshold '
                 'delivered by the null sink monitor, calibrated.  CPU: user+sys of the player (wait4, incl. '
                 '~1 ms for time(1)) / 10 s.  RSS: ru_maxrss of the player via time -v.  Sample check: bit-exact '
                 'runs where exactness is expected; otherwise SNR vs the converted reference and the SNR left '
                 'after a 16-tap LTI fit (ignores sub-sample delay / resampler pass-band).')
    # secondary table: server CPU, wall, lower bracket
    lines.append('')
    lines.append('| peer | input | wall s | first audio lower bracket ms | first source sample ms | PA server CPU s (whole run) | player CPU s user / sys |')
    lines.append('|---|---|---|---|---|---|---|')
    for inp in inputs:
        for peer in peers:
            rs = [r for r in rows if r['peer'] == peer and r['input_name'] == inp]
            if not rs:
                continue
            lines.append('| %s | %s | %s | %s | %s | %s | %s / %s |' % (
                peer, inp, fmt_range([r['wall_s'] for r in rs], 1, 3),
                fmt_range([r.get('ttfa_lower_ms') for r in rs], 1, 1),
                fmt_range([r.get('ttfa_content_ms') for r in rs], 1, 1),
                fmt_range([r.get('pa_server_cpu_s') for r in rs], 1, 2),
                fmt_range([r['cpu_user_s'] for r in rs], 1, 3),
                fmt_range([r['cpu_sys_s'] for r in rs], 1, 3)))
    text = '\n'.join(lines) + '\n'
    if out_md:
        with open(out_md, 'w') as f:
            f.write(text)
    return text


def idle_baseline(seconds=10.0):
    """PulseAudio server CPU per second with only the recorder attached (no player)."""
    env = P.pa_env(fresh_home=False)
    rec = P.Recorder(env).start()
    try:
        rec.wait_running(0.5)
        pid = P.pa_pid()
        c0, t0 = P.proc_cpu_s(pid), time.monotonic()
        time.sleep(seconds)
        c1, t1 = P.proc_cpu_s(pid), time.monotonic()
    finally:
        rec.stop()
    return {'cpu_per_s': round((c1 - c0) / (t1 - t0), 5), 'seconds': round(t1 - t0, 2)}


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--reps', type=int, default=5)
    ap.add_argument('--out', default=None, help='results dir (default $PERF_WORK/results/<timestamp>)')
    ap.add_argument('--inputs-dir', default=os.path.join(P.work_dir(), 'inputs'))
    ap.add_argument('--peer', action='append', default=[], help="'NAME=CMD {input}' or 'NAME[in1,in2]=CMD'")
    ap.add_argument('--input', action='append', default=[], help="'NAME=PATH'")
    ap.add_argument('--no-defaults', action='store_true', help='only the --peer/--input given')
    ap.add_argument('--only', default=None, help='comma list of peer names to run')
    ap.add_argument('--only-inputs', default=None, help='comma list of input names to run')
    ap.add_argument('--no-warmup', action='store_true')
    ap.add_argument('--stop-after-silence', type=float, default=None)
    ap.add_argument('--threshold-dbfs', type=float, default=-50.0)
    ap.add_argument('--seed', type=int, default=1)
    ap.add_argument('--summarise', default=None, help='only re-make the summary from this results.jsonl')
    a = ap.parse_args()

    if a.summarise:
        rows = [json.loads(l) for l in open(a.summarise) if l.strip()]
        print(summarise(rows, os.path.join(os.path.dirname(a.summarise), 'summary.md')))
        return

    peers = [] if a.no_defaults else list(DEFAULT_PEERS)
    peers += [parse_peer(s) for s in a.peer]
    inputs = [] if a.no_defaults else [(n, os.path.join(a.inputs_dir, f)) for n, f in DEFAULT_INPUTS]
    inputs += [tuple(s.split('=', 1)) for s in a.input]
    if a.only:
        keep = a.only.split(',')
        peers = [p for p in peers if p[0] in keep]
    if a.only_inputs:
        keep = a.only_inputs.split(',')
        inputs = [i for i in inputs if i[0] in keep]
    for _, path in inputs:
        if not os.path.exists(path):
            raise SystemExit('missing input %s (run gen_inputs.sh)' % path)
    out = a.out or os.path.join(P.work_dir(), 'results', time.strftime('%Y%m%d-%H%M%S'))
    os.makedirs(os.path.join(out, 'logs'), exist_ok=True)
    jsonl = os.path.join(out, 'results.jsonl')
    calib = P.load_calibration()
    if not calib:
        print('# no calibration found: run calibrate.py first (using 0 ms)', file=sys.stderr)
        calib = {'offset_ms': 0.0}
    meta = {'calib': calib, 'peers': peers, 'inputs': inputs, 'reps': a.reps,
            'uname': os.uname().release, 'nproc': os.cpu_count(),
            'versions': {}}
    for tool, cmd in (('mpv', ['mpv', '--version']), ('ffplay', ['ffplay', '-version']),
                      ('sox', ['sox', '--version']), ('aplay', ['aplay', '--version']),
                      ('pulseaudio', ['pulseaudio', '--version']), ('paplay', ['paplay', '--version'])):
        try:
            meta['versions'][tool] = subprocess.run(cmd, capture_output=True, text=True).stdout.splitlines()[0]
        except (OSError, IndexError):
            pass
    meta['pa_idle'] = idle_baseline()
    print('# PA server CPU with only the recorder attached: %.4f s per s' % meta['pa_idle']['cpu_per_s'],
          file=sys.stderr)
    json.dump(meta, open(os.path.join(out, 'meta.json'), 'w'), indent=1)

    cases = [(p, i) for p in peers for i in inputs if p[2] is None or i[0] in p[2]]
    rnd = random.Random(a.seed)
    plan = []
    if not a.no_warmup:
        for p in peers:
            ins = [i for i in inputs if p[2] is None or i[0] in p[2]]
            if ins:
                plan.append((0, p, ins[0]))
    for rep in range(1, a.reps + 1):
        c = list(cases)
        rnd.shuffle(c)
        plan += [(rep, p, i) for p, i in c]
    print('# %d trials -> %s' % (len(plan), out), file=sys.stderr)
    rows = []
    t_start = time.time()
    for k, (rep, (pname, pcmd, _), (iname, ipath)) in enumerate(plan):
        log = os.path.join(out, 'logs', '%s-%s-%d.log' % (pname, iname, rep))
        try:
            r = measure.run_trial(pcmd.split(), ipath, label='%s/%s' % (pname, iname),
                                  threshold_dbfs=a.threshold_dbfs, stop_after_silence_s=a.stop_after_silence,
                                  calib=calib, log_path=log)
        except Exception as e:  # keep going; record the failure
            r = {'error': repr(e), 'argv': pcmd, 'input': ipath}
        r.update({'peer': pname, 'input_name': iname, 'rep': rep, 'warmup': rep == 0})
        with open(jsonl, 'a') as f:
            f.write(json.dumps(r) + '\n')
        if 'error' not in r:
            rows.append(r)
        c = r.get('cmp') or {}
        print('[%3d/%d %5.0fs] %-9s %-8s rep %d: ttfa %7s ms  cpu %.3f s  rss %5.1f MiB  exact=%s corr=%s tail_missing=%s exit_after=%s %s' % (
            k + 1, len(plan), time.time() - t_start, pname, iname, rep, r.get('ttfa_ms'), r.get('cpu_s', -1),
            r.get('maxrss_kb', 0) / 1024.0, c.get('exact'), c.get('corr'), r.get('tail_missing_ms'),
            r.get('exit_after_last_audio_ms'), r.get('error', '')), file=sys.stderr, flush=True)
    print(summarise(rows, os.path.join(out, 'summary.md')))
    print('# results: %s' % out, file=sys.stderr)


if __name__ == '__main__':
    main()
