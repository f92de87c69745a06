#!/usr/bin/env python3
"""Table rows (markdown) from the measurement harness's results.jsonl: the program's
figures beside the other players', each as median (min-max) over the measured runs.

usage: players_table.py RESULTS.jsonl
"""
import json
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from table import cell  # noqa: E402

ORDER = ['velotune', 'aplay', 'paplay', 'mpv', 'play']


def main():
    rows = [json.loads(line) for line in open(sys.argv[1]) if line.strip()]
    rows = [r for r in rows if not r.get('warmup')]
    by, failed = {}, {}
    for r in rows:
        by.setdefault(r['peer'], [])
        if 'error' in r:
            # a trial the harness could not finish (e.g. the sound server went away)
            failed[r['peer']] = failed.get(r['peer'], 0) + 1
        else:
            by[r['peer']].append(r)
    peers = [p for p in ORDER if p in by] + sorted(p for p in by if p not in ORDER)

    def one(p, fig, prec):
        text = cell([fig(r) for r in by[p]], prec)
        return text + (' (%d runs failed)' % failed[p] if failed.get(p) else '')

    def line(what, fig, prec):
        ours = one('velotune', fig, prec) if 'velotune' in by else 'not built'
        refs = '; '.join('`%s` %s' % (p, one(p, fig, prec)) for p in peers if p != 'velotune')
        print('| %s | %s | %s |' % (what, ours, refs))

    line('first sound after launch, ms (10 s WAV, 44.1 kHz 16-bit stereo)', lambda r: r.get('ttfa_ms'), 1)
    line('CPU s per s of playback (same file; the program: incl. start-up, window and 1 s idle after the sound)',
         lambda r: r.get('cpu_per_audio_s'), 4)
    line('peak RSS, MiB (same file)', lambda r: r['maxrss_kb'] / 1024.0 if r.get('maxrss_kb') else None, 1)

    def exact(p):
        rs = by[p]
        return '%d/%d' % (sum(1 for r in rs if (r.get('cmp') or {}).get('exact')), len(rs) + failed.get(p, 0))
    ours = exact('velotune') if 'velotune' in by else 'not built'
    print('| output sample-identical to the file, runs | %s | %s |' % (
        ours, '; '.join('`%s` %s' % (p, exact(p)) for p in peers if p != 'velotune')))


if __name__ == '__main__':
    main()
