#!/usr/bin/env bash
# Builds everything and runs vorctl (default command: status). Arguments go to
# vorctl: scripts/run.sh check-file /usr/bin/ls
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec build/default/bin/vorctl "$@"
