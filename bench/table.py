#!/usr/bin/env python3
"""One row of the benchmark table: the program's figure beside the references',
each as median (min-max, n) of the runs given.

usage: table.py WHAT PRECISION OURS REF...
  OURS and each REF: 'LABEL=v1,v2,...' ('LABEL=' when there is no figure; OURS's
  label is not printed). Example:
  table.py 'start to window drawn, ms' 1 'velotune=210,220,215' 'bare GTK window=90,95'
"""
import sys


def median(v):
    v = sorted(v)
    n = len(v)
    return v[n // 2] if n % 2 else 0.5 * (v[n // 2 - 1] + v[n // 2])


def cell(vals, prec):
    """median (min-max, n=N) of the values that are not None."""
    vals = [v for v in vals if v is not None]
    if not vals:
        return 'no figure'
    if len(vals) == 1:
        return '%.*f (n=1)' % (prec, vals[0])
    return '%.*f (%.*f–%.*f, n=%d)' % (prec, median(vals), prec, min(vals), prec, max(vals), len(vals))


def parse(item):
    label, _, values = item.partition('=')
    return label, [float(v) for v in values.split(',') if v.strip()]


def main():
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    what, prec = sys.argv[1], int(sys.argv[2])
    _, ours = parse(sys.argv[3])
    refs = [parse(s) for s in sys.argv[4:]]
    print('| %s | %s | %s |' % (what, cell(ours, prec),
                                '; '.join('%s %s' % (label, cell(v, prec)) for label, v in refs) or '—'))


if __name__ == '__main__':
    main()
