#!/usr/bin/env bash
# Throughput of bulk file checks through vorctl, beside its baseline in the
# same run: grep -Fxf of the critical set over the same input, a bare
# membership test of the same paths against the same set. The input is
# copies of `find /usr /etc` (at least a million paths); each tool writes one
# line per path (grep: per match) to a file. Best of RUNS runs each.
#   VORCTL=path/to/vorctl  use that build instead of building the default preset
#   RUNS=3                  runs of each
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ -z "${VORCTL:-}" ]]; then
  scripts/deps.sh
  cmake --preset default >/dev/null
  cmake --build --preset default --target vorctl >/dev/null
  VORCTL=build/default/bin/vorctl
fi
runs=${RUNS:-3}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

find /usr /etc >"$work/one" 2>/dev/null || true
: >"$work/input"
copies=0
while (( copies < 10 || $(wc -l <"$work/input") < 1000000 )); do
  cat "$work/one" >>"$work/input"
  copies=$((copies + 1))
done
paths=$(wc -l <"$work/input")
"$VORCTL" list-files >"$work/set"

# Best wall time of `runs` runs of the command, in seconds.
best() {
  local best_time=""
  for ((i = 0; i < runs; i++)); do
    local start end
    start=$(date +%s.%N)
    "$@" || [[ $? -eq 1 ]]  # exit 1: some paths are not critical, as expected
    end=$(date +%s.%N)
    best_time=$(echo "$start $end ${best_time:-}" |
      awk '{ t = $2 - $1; if ($3 != "" && $3 < t) t = $3; printf "%.4f", t }')
  done
  echo "$best_time"
}
vorctl_time=$(best sh -c '"$0" check-file - <"$1" >"$2"' "$VORCTL" "$work/input" "$work/answers")
grep_time=$(best sh -c 'grep -Fxf "$0" "$1" >"$2"' "$work/set" "$work/input" "$work/matches")

# Both must have found the same critical paths, or the comparison is void.
critical=$(grep -c ': critical$' "$work/answers" || true)
matches=$(wc -l <"$work/matches")
echo "input:            $paths paths ($copies copies of find /usr /etc), $(wc -l <"$work/set") critical set"
echo "answers:          $(wc -l <"$work/answers") lines, $critical critical; grep matched $matches"
awk -v n="$paths" -v v="$vorctl_time" -v g="$grep_time" 'BEGIN {
  printf "vorctl check-file -: %8.3f s  %10.0f paths/s\n", v, n / v
  printf "grep -Fxf:           %8.3f s  %10.0f paths/s\n", g, n / g
  printf "ratio:               %8.1fx\n", v / g
}'
if [[ "$critical" != "$matches" ]]; then
  echo "vorctl and grep disagree on the critical paths" >&2
  exit 1
fi
