#!/usr/bin/env bash
# Throughput of bulk file checks through vorctl, by entry (the default) and
# by the module's letter (--exact), beside a baseline in the same run: grep
# -Fxf of the critical set over the same input, a bare membership test of the
# same paths against the same set. The input is copies of `find /usr /etc`
# (at least a million paths); each writes one line per path (grep: per match)
# to a file. Best of RUNS runs each, taken in turns so that a busy machine
# weighs on all alike.
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

# Runs the command once; prints the lesser of its wall time and $1 (the
# best so far, "" for none), in seconds.
keep() {
  local so_far=$1 start end
  shift
  start=$(date +%s.%N)
  "$@" || [[ $? -eq 1 ]]  # exit 1: some paths are not critical, as expected
  end=$(date +%s.%N)
  echo "$start $end $so_far" | awk '{ t = $2 - $1; if ($3 != "" && $3 < t) t = $3; printf "%.4f", t }'
}
entry_time=""
exact_time=""
grep_time=""
for ((round = 0; round < runs; round++)); do
  entry_time=$(keep "$entry_time" sh -c '"$0" check-file - <"$1" >"$2"' "$VORCTL" "$work/input" "$work/entry")
  exact_time=$(keep "$exact_time" sh -c '"$0" check-file --exact - <"$1" >"$2"' "$VORCTL" "$work/input" "$work/exact")
  grep_time=$(keep "$grep_time" sh -c 'grep -Fxf "$0" "$1" >"$2"' "$work/set" "$work/input" "$work/matches")
done

# grep and --exact must have found the same critical paths, and the answers
# by entry at least those, or the comparison is void.
by_entry=$(grep -c ': critical' "$work/entry" || true)
by_letter=$(grep -c ': critical$' "$work/exact" || true)
matches=$(wc -l <"$work/matches")
echo "input:            $paths paths ($copies copies of find /usr /etc), $(wc -l <"$work/set") critical set"
echo "answers:          $(wc -l <"$work/entry") lines, $by_entry critical by entry, $by_letter by the letter; grep matched $matches"
awk -v n="$paths" -v e="$entry_time" -v x="$exact_time" -v g="$grep_time" 'BEGIN {
  printf "vorctl check-file -:          %8.3f s  %10.0f paths/s\n", e, n / e
  printf "vorctl check-file --exact -:  %8.3f s  %10.0f paths/s\n", x, n / x
  printf "grep -Fxf:                    %8.3f s  %10.0f paths/s\n", g, n / g
  printf "by entry / --exact:           %8.2fx\n", e / x
  printf "--exact / grep:               %8.1fx\n", x / g
}'
if [[ "$by_letter" != "$matches" || "$by_entry" -lt "$by_letter" ]]; then
  echo "vorctl and grep disagree on the critical paths" >&2
  exit 1
fi
