#!/usr/bin/env python3
# Measurement harness: a copy of our shared perf tooling, kept here so that a clean
# clone runs the benchmarks (see bench/perf/README.md).
"""One measured playback: time to first audio, CPU/RSS, sample correctness.

usage: measure.py [options] --input FILE -- COMMAND ARGS...   ('{input}' in ARGS is replaced)

Needs the private PulseAudio from pa_env.sh (its env is applied to the player and recorder).
Prints one JSON object (also appended to --jsonl).  See README.md.
"""
import argparse
import json
import math
import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import perflib as P  # noqa: E402


def run_trial(argv, input_path, label=None, threshold_dbfs=-50.0, preroll_s=0.5, postroll_s=0.7,
              timeout_s=None, stop_after_silence_s=None, trigger_regex=None, trigger_file=None,
              rec_latency_ms=2, calib=None, save_capture=None, log_path=None, fresh_home=True,
              extra_env=None, use_time=True):
    thr = max(1, int(round(32768 * 10 ** (threshold_dbfs / 20.0))))
    ref_path, exact_expected, ref_how = P.reference(input_path)
    ref = P.read_s16(ref_path)
    ref_frames = len(ref) // P.CH
    ref_dur = ref_frames / P.RATE
    ref_on = P.first_loud(ref, thr)
    ref_off = P.last_loud(ref, thr)
    if timeout_s is None:
        timeout_s = ref_dur + 15.0
    argv = [a.replace('{input}', input_path) for a in argv]

    env = P.pa_env(fresh_home=fresh_home)
    if extra_env:
        env.update(extra_env)
    home = env['HOME']
    if calib is None:
        calib = P.load_calibration()
    calib_ms = calib['offset_ms'] if calib else 0.0

    res = {'label': label, 'argv': argv, 'input': input_path, 'ref': ref_path, 'ref_how': ref_how,
           'exact_expected': exact_expected, 'threshold': thr, 'rec_latency_ms': rec_latency_ms,
           'calib_offset_ms': calib_ms, 'calib_spread_ms': (calib or {}).get('spread_ms'),
           'loadavg_before': open('/proc/loadavg').read().split()[:3], 'when': time.strftime('%Y-%m-%dT%H:%M:%S')}

    rec = P.Recorder(env, latency_ms=rec_latency_ms, thr=thr).start()
    pl = None
    try:
        rec.wait_running(preroll_s)
        papid = P.pa_pid()
        pa0 = P.proc_cpu_s(papid) if papid else None
        pre_frames = rec.frames()

        pl = P.Player(argv, env, log_path=log_path, trigger_regex=trigger_regex, use_time=use_time).start()
        stopped_by = 'exit'
        deadline = pl.t_launch + timeout_s
        while not pl.exited.wait(0.01):
            now = time.monotonic()
            if now > deadline:
                stopped_by = 'timeout'
                pl.stop()
                break
            if stop_after_silence_s and rec.last_loud is not None and rec.first_loud is not None \
                    and rec.first_loud >= pre_frames:
                if (rec.frames() - rec.last_loud) / P.RATE >= stop_after_silence_s:
                    stopped_by = 'silence'
                    pl.stop()
                    break
        pl.exited.wait()
        t_exit = pl.t_exit
        # keep recording a little: anything rendered after exit still shows up
        time.sleep(postroll_s)
        pa1 = P.proc_cpu_s(papid) if papid else None
    finally:
        if pl is not None and not pl.exited.is_set():
            pl.stop()
        rec.stop()
        if pl is not None:
            pl.write_log()
        if fresh_home and home.startswith(P.work_dir()):
            import shutil
            shutil.rmtree(home, ignore_errors=True)

    # ---- trigger
    t_trig, trig_kind = pl.t_launch, 'launch'
    if trigger_regex:
        if pl.t_trigger_line is not None:
            t_trig, trig_kind = pl.t_trigger_line, 'regex'
        else:
            trig_kind = 'regex-not-seen(launch used)'
    if trigger_file:
        try:
            t_trig = float(open(trigger_file).read().split()[0])
            trig_kind = 'file'
        except (OSError, ValueError, IndexError):
            trig_kind = 'file-unreadable(launch used)'

    # ---- process figures
    ru = pl.rusage
    cpu = ru.ru_utime + ru.ru_stime
    st = pl.status
    tv = pl.time_report()
    hwm = pl.player_hwm_kb()
    if tv and 'maxrss_kb' in tv:
        maxrss, maxrss_src = tv['maxrss_kb'], 'time -v'
    else:
        maxrss, maxrss_src = hwm, '/proc VmHWM sampled'
    exit_code = os.WEXITSTATUS(st) if os.WIFEXITED(st) else None
    if tv and 'exit_status' in tv:
        exit_code = tv['exit_status']
    res.update({
        'trigger': trig_kind,
        'spawn_ms': round(1e3 * (pl.t_spawned - pl.t_launch), 3),
        'stopped_by': stopped_by,
        'exit_code': exit_code,
        'exit_signal': (tv or {}).get('signal') or (os.WTERMSIG(st) if os.WIFSIGNALED(st) else None),
        'wall_s': round(t_exit - pl.t_launch, 4),
        'cpu_user_s': round(ru.ru_utime, 4),
        'cpu_sys_s': round(ru.ru_stime, 4),
        'cpu_s': round(cpu, 4),
        'cpu_per_audio_s': round(cpu / ref_dur, 5),
        'maxrss_kb': maxrss,
        'maxrss_src': maxrss_src,
        'hwm_sampled_kb': hwm,
        'tree_rss_peak_sampled_kb': pl.tree_rss_peak_kb,
        'time_v': tv,
        'hwm_by_pid': {str(k): v for k, v in pl.hwm_kb.items()},
        'ru_nvcsw': ru.ru_nvcsw, 'ru_nivcsw': ru.ru_nivcsw, 'ru_majflt': ru.ru_majflt,
        'wrapper': 'time -v' if use_time else None,
        'pa_server_cpu_s': round(pa1 - pa0, 3) if pa0 is not None and pa1 is not None else None,
        'ref_dur_s': round(ref_dur, 4),
    })

    # ---- capture analysis
    cap = rec.samples()
    if save_capture:
        rec.save_wav(save_capture)
    m = rec.mapping()
    res['map'] = {k: (round(v, 4) if isinstance(v, float) else v) for k, v in m.items() if k != 'E'}
    res['capture_s'] = round(len(cap) / P.CH / P.RATE, 3)
    # frames delivered before the launch were rendered before it: search for audio after them
    n_from = rec.frames_before(pl.t_launch)
    res['audio_before_launch'] = P.first_loud(cap[:n_from * P.CH], thr) is not None if n_from else False
    n_on = P.first_loud(cap, thr, n_from)
    if n_on is None:
        res.update({'audio': False, 'ttfa_ms': None})
        return res
    n_off = P.last_loud(cap, thr)
    cal = calib_ms / 1000.0
    t_on = rec.arrival_of(n_on) - cal          # sink time of the first audible frame
    t_on_lo = rec.local_time(n_on)             # lower bracket
    t_off = rec.arrival_of(n_off) - cal        # sink time of the last audible frame
    res.update({
        'audio': True,
        'ttfa_ms': round(1e3 * (t_on - t_trig), 2),
        'ttfa_lower_ms': round(1e3 * (t_on_lo - t_trig), 2) if t_on_lo is not None else None,
        'src_onset_ms': round(1e3 * ref_on / P.RATE, 3) if ref_on is not None else None,
        'audio_span_s': round((n_off + 1 - n_on) / P.RATE, 4),
        'exit_after_last_audio_ms': round(1e3 * (t_exit - t_off), 1),
    })

    # ---- alignment and comparison
    if ref_on is not None:
        coarse = n_on - ref_on
        lag = P.best_lag(cap, ref, n_on, ref_on, search=4096)
        if abs(lag - coarse) > 4096:
            lag = coarse
        c = P.compare(cap, ref, lag, track=exact_expected)
        res['lag_frames'] = lag
        res['lag_minus_onset_frames'] = lag - coarse
        # <0: audible output before the source's first sample (decoder padding, pre-echo);
        # >0: the head of the source is missing from the output
        res['onset_vs_content_ms'] = round(1e3 * (n_on - (lag + ref_on)) / P.RATE, 2)
        a_c = rec.arrival_of(lag + ref_on)
        res['ttfa_content_ms'] = round(1e3 * (a_c - cal - t_trig), 2) if a_c else None
        # reference's last audible frame vs the capture's, aligned: >0 = tail cut short
        res['tail_missing_ms'] = round(1e3 * (ref_off + lag - n_off) / P.RATE, 2)
        res['cmp'] = c
    return res


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--input', required=True, help='the file the player plays (also the comparison source)')
    ap.add_argument('--label', default=None)
    ap.add_argument('--threshold-dbfs', type=float, default=-50.0, help='non-silence threshold (default -50 dBFS)')
    ap.add_argument('--preroll', type=float, default=0.5, help='s of steady recording before launch')
    ap.add_argument('--postroll', type=float, default=0.7, help='s of recording after the player exits')
    ap.add_argument('--timeout', type=float, default=None, help='kill the player after this many s (default dur+15)')
    ap.add_argument('--stop-after-silence', type=float, default=None,
                    help='SIGTERM the player once audio has started and then been silent this many s '
                         '(for players/apps that do not exit by themselves)')
    ap.add_argument('--trigger-regex', default=None,
                    help='measure from the first stdout/stderr line of the player matching this regex')
    ap.add_argument('--trigger-file', default=None,
                    help='measure from a CLOCK_MONOTONIC time (s) the player writes to this file')
    ap.add_argument('--rec-latency-ms', type=int, default=2)
    ap.add_argument('--calib', default=None, help='calibration JSON (default $PERF_STATE/calib.json)')
    ap.add_argument('--no-calib', action='store_true')
    ap.add_argument('--save-capture', default=None, help='write the recording to this WAV')
    ap.add_argument('--log', default=None, help='write the player output (timestamped) here')
    ap.add_argument('--keep-home', action='store_true', help='use $PERF_STATE/home instead of a fresh HOME')
    ap.add_argument('--env', action='append', default=[], help='K=V for the player (repeatable)')
    ap.add_argument('--no-time', action='store_true',
                    help='spawn the command directly, not under /usr/bin/time -v (maxrss then from /proc)')
    ap.add_argument('--jsonl', default=None, help='append the result to this JSON-lines file')
    ap.add_argument('cmd', nargs=argparse.REMAINDER)
    a = ap.parse_args()
    cmd = a.cmd[1:] if a.cmd and a.cmd[0] == '--' else a.cmd
    if not cmd:
        ap.error('no command')
    calib = {'offset_ms': 0.0} if a.no_calib else (P.load_calibration(a.calib) if a.calib else None)
    r = run_trial(cmd, a.input, label=a.label, threshold_dbfs=a.threshold_dbfs, preroll_s=a.preroll,
                  postroll_s=a.postroll, timeout_s=a.timeout, stop_after_silence_s=a.stop_after_silence,
                  trigger_regex=a.trigger_regex, trigger_file=a.trigger_file, rec_latency_ms=a.rec_latency_ms,
                  calib=calib, save_capture=a.save_capture, log_path=a.log, fresh_home=not a.keep_home,
                  extra_env=dict(kv.split('=', 1) for kv in a.env), use_time=not a.no_time)
    line = json.dumps(r)
    print(line)
    if a.jsonl:
        with open(a.jsonl, 'a') as f:
            f.write(line + '\n')
    c = r.get('cmp') or {}
    print('# ttfa %s ms (lower bracket %s)  cpu %.3f s (%.2f%% of audio time)  maxrss %.1f MiB  exact=%s corr=%s snr=%s  '
          'tail_missing %s ms  exit_after_audio %s ms' % (
              r.get('ttfa_ms'), r.get('ttfa_lower_ms'), r['cpu_s'], 100 * r['cpu_per_audio_s'],
              r['maxrss_kb'] / 1024, c.get('exact'), c.get('corr'), c.get('snr_db'),
              r.get('tail_missing_ms'), r.get('exit_after_last_audio_ms')), file=sys.stderr)


if __name__ == '__main__':
    main()
