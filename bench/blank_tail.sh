#!/usr/bin/env bash
# Times tabrun --csv, --html and the default mode on one failed log that ends in a 100 MB
# blank tail (a runaway program killed while it printed empty records): its last record, its
# reason and its tail must come from one pass back over the blanks, not a re-read per record.
#
#   bash bench/blank_tail.sh [--smoke] [--runs N] [--scratch DIR] [--tabrun PATH]
#
#   --smoke     a 10 MB tail; the target is not enforced
#   --runs N    timed runs of each command, the median is reported (default 3)
#   --scratch   where the log goes (default ${TMPDIR:-/tmp}/tabrun-blank-tail)
#   --tabrun    time this binary; otherwise a Release build in build-bench/
#
# Target: each command under 0.5 s on the 100 MB tail, page cache warm.
# Exit status: 0 when the target is met (or with --smoke), 1 when it is missed, 2 on an error.

# shellcheck source=bench/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=${TMPDIR:-/tmp}/tabrun-blank-tail smoke=0 runs=3 tabrun=""
bench_options "smoke" "runs scratch tabrun" "$@"
[[ $runs =~ ^[1-9][0-9]*$ ]] || die "--runs needs a positive number, not '$runs'"
bench_build
megabytes=$((smoke ? 10 : 100))
mkdir -p "$scratch"
log=$scratch/runaway.log
{
  printf ' => Control file *.pcr: runaway\n => Cycle: 1\n => Abnormal end of run: overflow\n'
  head -c "$((megabytes * 1000000))" /dev/zero | tr '\0' '\n'
} >"$log"
echo "== $log: $(wc -c <"$log") bytes, of them $megabytes MB of empty records"
cat "$log" >/dev/null  # warm

seconds() { # COMMAND...: the median wall time of $runs runs, in seconds
  local times=() start
  for ((i = 0; i < runs; i++)); do
    start=$EPOCHREALTIME
    (cd "$scratch" && "$@" >/dev/null) || true
    times+=("$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.4f", b - a }')")
  done
  printf '%s\n' "${times[@]}" | sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'
}

missed=0
for mode in --csv --html default; do
  if [[ $mode == default ]]; then
    time=$(seconds "$tabrun")
  else
    time=$(seconds "$tabrun" "$mode" runaway.log)
  fi
  pass=$(awk -v t="$time" 'BEGIN { print (t < 0.5) ? "PASS" : "FAIL" }')
  [[ $pass == PASS ]] || missed=1
  printf '%-8s %8s s  target < 0.5 s: %s\n' "$mode" "$time" "$pass"
done
(cd "$scratch" && "$tabrun" --csv runaway.log | cut -d, -f3,17 | tail -1)
rm -rf "$scratch"
((missed == 0 || smoke)) || exit 1
