#!/usr/bin/env bash
# Runs a command with the private sound server and X server of test-env.sh
# started around it, and stops them afterwards whatever the command's result.
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
dir=$(mktemp -d /tmp/velotune-testenv.XXXXXX)
trap 'bash "$here/test-env.sh" stop "$dir"; rm -rf "$dir"' EXIT
bash "$here/test-env.sh" start "$dir" || exit 1
# shellcheck disable=SC1091
. "$dir/env.sh"
"$@"
