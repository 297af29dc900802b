#!/usr/bin/env bash
# The watch at scale: on a folder of tiny logs where some change every second, what one look of
# tabrun --watch costs against a full --csv of the same folder, and the memory of each.
#
#   bash bench/watch.sh [--smoke] [--scratch DIR] [--tabrun PATH] [--seconds N]
#
#   --smoke     5,000 logs and 4 s of watching (seconds); the target does not fail the run
#   --scratch   where the folder goes (default ${TMPDIR:-/tmp}/tabrun-bench-watch)
#   --tabrun    time this binary instead of a Release build into build-bench/
#   --seconds   how long each watch is timed once its first look is done (default 10)
#
# 200,000 logs, 100 of them changed (a line appended) every second. --csv is run 3 times, the
# median's wall and CPU time are reported, and its peak RSS. The watch (--watch --csv, whose
# first look writes every row) is timed from 3 s after the end of its first look (a full read,
# as --csv's) for --seconds: it looks
# once a second while a look takes under half a second, so its CPU seconds per second are the
# cost of one look: on Linux the names inotify gives, a metadata lookup and a read of each
# changed log, with a full look (listing, one metadata lookup per log) every 30 s; elsewhere a
# full look each time. The same for
# --html --watch, which also rewrites the page every 2 s. Targets: a look at most 5 % of --csv's
# time, the watch's peak RSS at most 2 x that of --csv. Exit status 1 when a target is missed.

# shellcheck source=bench/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=${TMPDIR:-/tmp}/tabrun-bench-watch smoke=0 tabrun="" seconds=""
bench_options "smoke" "scratch tabrun seconds" "$@"
logs=$((smoke ? 5000 : 200000))
changing=100
[[ -n $seconds ]] || seconds=$((smoke ? 4 : 10))
bench_build
folder=$scratch/logs-$logs
if [[ ! -f $folder/.complete ]]; then
  echo "== making $logs logs in $folder"
  rm -rf "$folder" && mkdir -p "$folder"
  python3 - "$folder" "$logs" <<'PY'
import os, sys
folder, count = sys.argv[1], int(sys.argv[2])
for i in range(count):
    with open(os.path.join(folder, f"T{i:06}K.log"), "w") as f:
        f.write(f" Control file *.pcr: t{i}\n Chi2: {1 + i % 97 / 10} Rp: 2\n Normal end\n"
                " CPU Time: 12.5 s\n")
PY
  touch "$folder/.complete"
fi
ticks=$(getconf CLK_TCK)
cpu_of() { awk '{ print $14 + $15 }' "/proc/$1/stat"; }

echo "== tabrun --csv, 3 runs"
: >"$scratch/csv.times"
for _ in 1 2 3; do
  /usr/bin/time -f '%e %U %S %M' -a -o "$scratch/csv.times" "$tabrun" --csv "$folder" >/dev/null
done
read -r csv_wall csv_cpu csv_rss < <(sort -n "$scratch/csv.times" | sed -n 2p |
  awk '{ print $1, $2 + $3, $4 }')

# watch MODE...: the watch's CPU seconds per second of watching and its peak RSS in KB.
watch() {
  local out=$scratch/watch.out
  : >"$out"
  "$tabrun" --watch "$@" "$folder" >"$out" 2>/dev/null &
  local pid=$! end=$((SECONDS + 600))
  # The first look is done when its output is there: every row, or the page.
  until [[ $(wc -l <"$out") -gt $logs || -s $scratch/live.html ]]; do
    ((SECONDS < end)) || die "the first look took over 600 s"
    sleep 0.2
  done
  # The first look reads every log, as --csv does; its threads wind down before the timing.
  sleep 3
  local start before
  start=$(date +%s.%N) before=$(cpu_of $pid)
  for ((s = 0; s < seconds; s++)); do
    for ((k = 0; k < changing; k++)); do
      printf '\n' >>"$folder/T$(printf %06d $(((s * changing + k) * 7919 % logs)))K.log"
    done
    sleep 1
  done
  local after now rss
  after=$(cpu_of $pid) now=$(date +%s.%N)
  rss=$(awk '/^VmHWM/ { print $2 }' "/proc/$pid/status")
  kill -INT $pid && wait $pid
  awk -v c=$((after - before)) -v t="$ticks" -v a="$start" -v b="$now" -v r="$rss" \
    'BEGIN { printf "%.4f %d\n", c / t / (b - a), r }'
}
echo "== tabrun --watch --csv, $seconds s with $changing logs changed every second"
read -r look_cpu watch_rss < <(watch --csv)
echo "== tabrun --html --watch, the same"
rm -f "$scratch/live.html"
read -r page_cpu page_rss < <(watch --html --output "$scratch/live.html")
page_bytes=$(stat -c %s "$scratch/live.html")

ratio=$(awk -v a="$look_cpu" -v b="$csv_wall" 'BEGIN { printf "%.1f", 100 * a / b }')
memory=$(awk -v a="$watch_rss" -v b="$csv_rss" 'BEGIN { printf "%.2f", a / b }')
printf '%-44s %10s\n' "logs" "$logs" \
  "full --csv: wall s" "$csv_wall" "full --csv: CPU s" "$csv_cpu" \
  "one look, $changing changed: CPU s" "$look_cpu" "one look / full --csv wall (target <= 5 %)" "$ratio %" \
  "--csv peak RSS (MB)" "$((csv_rss / 1024))" "--watch --csv peak RSS (MB)" "$((watch_rss / 1024))" \
  "watch / --csv RSS (target <= 2)" "$memory" \
  "--html --watch: CPU s per s (page every 2 s)" "$page_cpu" \
  "--html --watch peak RSS (MB)" "$((page_rss / 1024))" "the page (MB)" "$((page_bytes / 1048576))"
missed=$(awk -v r="$ratio" -v m="$memory" 'BEGIN { print (r > 5 || m > 2) }')
if ((missed)); then
  echo "bench/watch.sh: a target is missed" >&2
  ((smoke)) || exit 1
fi
