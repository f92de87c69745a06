#!/usr/bin/env bash
# Starts Velotune. On a desktop it runs the program itself; without a display it
# runs it under Xvfb with the private sound server (tools/run-headless.sh).
set -euo pipefail
exe=$1; shift || true
cd "$(dirname "$0")/.."
if [ ! -x "$exe" ]; then
    echo "Velotune's window is not built yet: nothing to run."
    exit 0
fi
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$exe" "$@"
fi
exec bash tools/run-headless.sh "$exe" "$@"
