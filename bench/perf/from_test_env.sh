#!/usr/bin/env bash
# Gives the measurement harness the layout it expects ($PERF_STATE with env.sh,
# pa.pid and a client HOME) for the sound server that tests/scripts/test-env.sh
# started, so that the harness and the program share one server and one Xvfb.
#   bash bench/perf/from_test_env.sh STATE_DIR   (inside with-test-env.sh)
set -euo pipefail
state=${1:?usage: from_test_env.sh STATE_DIR}
env_dir=${VELOTUNE_TEST_ENV:?run inside tests/scripts/with-test-env.sh}
mkdir -p "$state/home/.config/pulse"
printf 'pcm.!default { type pulse }\nctl.!default { type pulse }\n' > "$state/home/.asoundrc"
printf 'autospawn = no\n' > "$state/home/.config/pulse/client.conf"
cp "$env_dir/pulse.pid" "$state/pa.pid"
cat > "$state/env.sh" <<EOT
export XDG_RUNTIME_DIR=$XDG_RUNTIME_DIR
export PULSE_SERVER=$PULSE_SERVER
export PULSE_CLIENTCONFIG=$state/home/.config/pulse/client.conf
export HOME=$state/home
export PERF_STATE=$state
EOT
