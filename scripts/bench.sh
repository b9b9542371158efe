#!/usr/bin/env bash
# Builds the default preset's benchmark suites and runs each one: console
# output here, JSON in build/bench-results/<suite>.json, then a table of each
# measured operation against its baseline. Extra arguments go to every suite
# (for instance --benchmark_min_time=0.5).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake --preset default >/dev/null

suites=()
for source in bench/*_bench.cc; do
  suites+=("$(basename "$source" .cc)")
done
cmake --build --preset default --target vor "${suites[@]}"

results=build/bench-results
mkdir -p "$results"
for suite in "${suites[@]}"; do
  printf '\n=== %s\n' "$suite"
  "build/default/bench/$suite" --benchmark_out="$results/$suite.json" \
    --benchmark_out_format=json "$@"
done
printf '\n'
python3 scripts/bench_ratios.py "$results"
