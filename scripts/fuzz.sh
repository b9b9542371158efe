#!/usr/bin/env bash
# Builds and runs the libFuzzer targets of fuzz/ (clang, ASan, UBSan).
#
#   scripts/fuzz.sh smoke            each fuzzer over its seed corpus for a short
#                                    while (FUZZ_SMOKE_SECONDS, default 15); CI
#   scripts/fuzz.sh long [SECONDS]   each fuzzer for SECONDS (default 600), at most
#                                    FUZZ_JOBS (default 2) at once, on a scratch
#                                    corpus under FUZZ_WORK (default /tmp/vor-fuzz)
#
# The committed corpora are only read: new inputs go to a scratch directory, so
# a run never changes the repository. Crashing inputs land in the work
# directory's artifacts/; the exit status is non-zero when any fuzzer failed.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
mode=${1:-smoke}
case "$mode" in
  smoke) seconds=${FUZZ_SMOKE_SECONDS:-15}; jobs=1 ;;
  long) seconds=${2:-600}; jobs=${FUZZ_JOBS:-2} ;;
  *) echo "usage: $0 smoke | long [SECONDS]" >&2; exit 2 ;;
esac

"$root/scripts/deps.sh" --fuzz
cd "$root"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target vor_fuzzers -- -j2

fuzzers=(key_value release_file proc_status file_list_xml process_list_xml utf trace_line elf_export)
bin="$root/build/fuzz/fuzz"
work=${FUZZ_WORK:-/tmp/vor-fuzz}/$mode
rm -rf "$work"
mkdir -p "$work/artifacts" "$work/logs"

# Runs one fuzzer and records its exit status next to its log.
run_fuzzer() {
  local name=$1
  local corpus="$work/corpus/$name"
  local options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1
                 -artifact_prefix="$work/artifacts/$name-")
  [[ -f "$root/fuzz/$name.dict" ]] && options+=(-dict="$root/fuzz/$name.dict")
  mkdir -p "$corpus"
  local status=0
  "$bin/${name}_fuzzer" "${options[@]}" "$corpus" "$root/fuzz/corpus/$name" \
    >"$work/logs/$name.log" 2>&1 || status=$?
  echo "$status" >"$work/logs/$name.status"
}

started=$SECONDS
running=0
for name in "${fuzzers[@]}"; do
  if (( running >= jobs )); then
    wait -n || true
    running=$(( running - 1 ))
  fi
  echo "fuzzing $name for ${seconds}s"
  run_fuzzer "$name" &
  running=$(( running + 1 ))
done
wait

failed=0
printf '\n%-18s %12s %8s %8s %8s %9s\n' fuzzer executions cov ft corpus findings
for name in "${fuzzers[@]}"; do
  log="$work/logs/$name.log"
  executions=$(awk '/stat::number_of_executed_units/ {print $2}' "$log")
  last=$(grep -E '^#[0-9]+.*cov: ' "$log" | tail -n 1 || true)
  cov=$(sed -nE 's/.* cov: ([0-9]+).*/\1/p' <<<"$last")
  ft=$(sed -nE 's/.* ft: ([0-9]+).*/\1/p' <<<"$last")
  corpus=$(sed -nE 's/.* corp: ([0-9]+\/[0-9A-Za-z]+).*/\1/p' <<<"$last")
  findings=$(find "$work/artifacts" -name "$name-*" -type f | wc -l)
  status=$(cat "$work/logs/$name.status")
  printf '%-18s %12s %8s %8s %8s %9s\n' "$name" "${executions:-?}" "${cov:-?}" "${ft:-?}" \
    "$corpus" "$findings"
  if [[ "$status" != 0 || "$findings" != 0 ]]; then
    failed=1
    echo "  $name failed (exit $status); log: $log" >&2
    grep -E 'ERROR|SUMMARY|fuzz check failed|runtime error' "$log" | head -n 5 >&2 || true
  fi
done
echo "total time: $(( SECONDS - started ))s; logs and artifacts under $work"
exit "$failed"
