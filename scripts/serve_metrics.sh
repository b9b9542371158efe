#!/usr/bin/env bash
# vorctl's metrics as node_exporter serves them: installs Debian's
# prometheus-node-exporter (its service kept from starting), runs a private
# instance on loopback with the textfile collector alone, writes the metrics
# into its folder, scrapes it and checks the vor metrics are there and parsed
# without error. Needs root (apt-get). VORCTL: the vorctl to run.
set -euo pipefail
cd "$(dirname "$0")/.."
vorctl=${VORCTL:-build/default/bin/vorctl}
if ! command -v prometheus-node-exporter >/dev/null; then
  # A policy-rc.d that refuses every start: the package's own service stays down.
  policy=/usr/sbin/policy-rc.d
  existing=$([[ -e $policy ]] && echo yes || echo no)
  [[ $existing == yes ]] && cp "$policy" "$policy.vor-saved"
  printf '#!/bin/sh\nexit 101\n' >"$policy"
  chmod 755 "$policy"
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    prometheus-node-exporter curl >/dev/null
  if [[ $existing == yes ]]; then mv "$policy.vor-saved" "$policy"; else rm -f "$policy"; fi
fi
work=$(mktemp -d)
port=$((20000 + RANDOM % 20000))
exporter=""
cleanup() {
  if [[ -n $exporter ]]; then
    kill "$exporter" 2>/dev/null
    wait "$exporter" 2>/dev/null || true  # it ends by the signal: not a failure here
  fi
  rm -rf "$work"
}
trap cleanup EXIT
mkdir "$work/textfile"
"$vorctl" metrics --output "$work/textfile/vor.prom"
prometheus-node-exporter --web.listen-address="127.0.0.1:$port" --collector.disable-defaults \
  --collector.textfile --collector.textfile.directory="$work/textfile" >"$work/log" 2>&1 &
exporter=$!
for _ in $(seq 100); do
  curl -fsS "http://127.0.0.1:$port/metrics" >"$work/scrape" 2>/dev/null && break
  sleep 0.1
done
grep -E '^(vor_|node_textfile_scrape_error)' "$work/scrape"
grep -q '^node_textfile_scrape_error 0$' "$work/scrape" || { cat "$work/log" >&2; exit 1; }
for metric in vor_module_info vor_os_release_info vor_critical_files_listed vor_critical_files_present \
              vor_critical_files_missing vor_process_list_state vor_process_list_entries \
              vor_process_list_last_load_result vor_process_list_matches_every_process \
              vor_critical_processes vor_processes_other_mount_namespace vor_metrics_run_seconds; do
  grep -q "^$metric[ {]" "$work/scrape" || { echo "node_exporter does not serve $metric" >&2; exit 1; }
done
echo "node_exporter served the vor metrics (textfile scrape without error)"
