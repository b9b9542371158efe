#!/bin/bash
# Refuses each allocation of a run in turn (or every STRIDE-th) and checks the
# outcome: no signal (crash, abort), and the program's own verdict.
#   alloc_sweep.sh PRELOAD STRIDE EXPECT -- COMMAND...
# EXPECT lists the exit statuses allowed ("0" for the C client, "0 3" for
# vorctl); a vorctl that fails must also say why on stderr. In COMMAND, @D is
# a storage folder whose vor_proc.xms lists /bin/sleep, and @PID a sleep
# process that it makes critical.
set -u
preload=$1 stride=$2 expect=$3
shift 4
dir=$(mktemp -d) out=$(mktemp)
printf '<vor_process_list><vor_process_entry flags="1" path="%s"/></vor_process_list>' \
  "$(realpath /bin/sleep)" >"$dir/vor_proc.xms"
sleep 600 & sleeper=$!
trap 'kill $sleeper; rm -rf "$dir" "$out"' EXIT
command=("${@//@D/$dir}")
command=("${command[@]//@PID/$sleeper}")
set -- "${command[@]}"
report=$dir/count
VOR_FAIL_ALLOC_REPORT=$report LD_PRELOAD=$preload "$@" >/dev/null 2>&1
total=$(cat "$report")
[ -n "$total" ] || { echo "no allocation count from a plain run"; exit 1; }
bad=0 runs=0 n=1
while [ "$n" -le "$total" ]; do
  VOR_FAIL_ALLOC_AT=$n LD_PRELOAD=$preload "$@" >"$out" 2>&1
  status=$?
  runs=$((runs + 1))
  case " $expect " in
    *" $status "*) ;;
    *) bad=$((bad + 1)); echo "allocation $n of $total refused: exit status $status"; tail -5 "$out" ;;
  esac
  if [ "$status" -ne 0 ] && [ "$expect" != 0 ] && ! grep -q '^vorctl: ' "$out"; then
    bad=$((bad + 1)); echo "allocation $n of $total refused: exit status $status, no message"
  fi
  if grep -qE 'terminate called|Aborted|Fatal glibc error|stack trace' "$out"; then
    bad=$((bad + 1)); echo "allocation $n of $total refused:"; cat "$out"
  fi
  n=$((n + stride))
done
echo "$runs runs over $total allocations (every ${stride}th refused in turn): $bad bad"
[ "$bad" -eq 0 ]
