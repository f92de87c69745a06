#!/usr/bin/env bash
# Runs every benchmark script bench/*.sh (other than this one) inside the private
# sound server and X server, and prints their tables.
set -euo pipefail
cd "$(dirname "$0")/.."
for s in bench/*.sh; do
    [ "$(basename "$s")" = run.sh ] && continue
    echo "== $s =="
    bash tests/scripts/with-test-env.sh bash "$s" build
done
