#!/usr/bin/env bash
# The watch at scale: on a folder of tiny logs where some change every second, what one look of
# tabrun --watch costs against a full --csv of the same folder, and the memory of each form of
# the watch against the one-shot mode it follows.
#
#   bash bench/watch.sh [--smoke] [--scratch DIR] [--tabrun PATH] [--seconds N]
#
#   --smoke     5,000 logs and 4 s of watching (seconds); the targets do not fail the run
#   --scratch   where the folder goes (default ${TMPDIR:-/tmp}/tabrun-bench-watch)
#   --tabrun    time this binary instead of a Release build into build-bench/
#   --seconds   how long each watch is timed once its first look is done (default 10)
#
# 200,000 logs, 100 of them changed (a line appended) every second. --csv and --html are run 3
# times each; the median's wall and CPU time are reported, and their peak RSS. Each form of the
# watch (the view, here one line per event into a file; --watch --csv, whose first look writes
# every row; --html --watch, which also rewrites the page every 2 s) is timed from 3 s after the
# end of its first look (a full read, as --csv's) for --seconds: it looks once a second while a
# look takes under half a second, so its CPU seconds per second are the cost of one look: on
# Linux the names inotify gives, a metadata lookup and a read of each changed log, with a full
# look (listing, one metadata lookup per log) every 30 s; elsewhere (the POSIX-only build) a
# full look each time. Targets: a look of --watch --csv at most 5 % of --csv's time; the peak
# RSS of the view and of --watch --csv at most 2 x that of --csv, of --html --watch at most 2 x
# that of --html. Exit status 1 when a target is missed.

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

# oneshot MODE: the median wall and CPU seconds of 3 runs of tabrun MODE, and its peak RSS in KB.
oneshot() {
  : >"$scratch/oneshot.times"
  for _ in 1 2 3; do
    /usr/bin/time -f '%e %U %S %M' -a -o "$scratch/oneshot.times" "$tabrun" "$1" "$folder" \
      >/dev/null
  done
  sort -n "$scratch/oneshot.times" | sed -n 2p | awk '{ print $1, $2 + $3, $4 }'
}
echo "== tabrun --csv and tabrun --html, 3 runs each"
read -r csv_wall csv_cpu csv_rss < <(oneshot --csv)
read -r html_wall html_cpu html_rss < <(oneshot --html)

# watch READY MODE...: the watch's CPU seconds per second of watching and its peak RSS in KB.
# READY is "rows" (every row written), "line" (the first line) or "page" (the page written).
watch() {
  local ready=$1 out=$scratch/watch.out
  shift
  : >"$out"
  rm -f "$scratch/live.html"
  "$tabrun" --watch "$@" "$folder" >"$out" 2>/dev/null &
  local pid=$! end=$((SECONDS + 600))
  # The first look is done when its output is there.
  until case $ready in
    rows) [[ $(wc -l <"$out") -gt $logs ]] ;;
    line) [[ $(wc -l <"$out") -gt 0 ]] ;;
    page) [[ -s $scratch/live.html ]] ;;
  esac; do
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
echo "== tabrun --watch (the view, as lines into a file), $seconds s with $changing logs changed every second"
read -r view_cpu view_rss < <(watch line)
echo "== tabrun --watch --csv, the same"
read -r look_cpu watch_rss < <(watch rows --csv)
echo "== tabrun --html --watch, the same"
read -r page_cpu page_rss < <(watch page --html --output "$scratch/live.html")
page_bytes=$(stat -c %s "$scratch/live.html")

ratio() { awk -v a="$1" -v b="$2" -v f="$3" 'BEGIN { printf f, a / b }'; }
look=$(awk -v a="$look_cpu" -v b="$csv_wall" 'BEGIN { printf "%.1f", 100 * a / b }')
view_memory=$(ratio "$view_rss" "$csv_rss" %.2f)
rows_memory=$(ratio "$watch_rss" "$csv_rss" %.2f)
page_memory=$(ratio "$page_rss" "$html_rss" %.2f)
printf '%-48s %10s\n' "logs" "$logs" \
  "full --csv: wall s" "$csv_wall" "full --csv: CPU s" "$csv_cpu" \
  "full --html: wall s" "$html_wall" \
  "--watch --csv, one look, $changing changed: CPU s" "$look_cpu" \
  "one look / full --csv wall (target <= 5 %)" "$look %" \
  "--watch (view): CPU s per s" "$view_cpu" \
  "--html --watch: CPU s per s (page every 2 s)" "$page_cpu" \
  "--csv peak RSS (MB)" "$((csv_rss / 1024))" "--html peak RSS (MB)" "$((html_rss / 1024))" \
  "--watch (view) peak RSS (MB)" "$((view_rss / 1024))" \
  "--watch --csv peak RSS (MB)" "$((watch_rss / 1024))" \
  "--html --watch peak RSS (MB)" "$((page_rss / 1024))" \
  "view / --csv RSS (target <= 2)" "$view_memory" \
  "--watch --csv / --csv RSS (target <= 2)" "$rows_memory" \
  "--html --watch / --html RSS (target <= 2)" "$page_memory" \
  "the page (MB)" "$((page_bytes / 1048576))"
missed=$(awk -v l="$look" -v a="$view_memory" -v b="$rows_memory" -v c="$page_memory" \
  'BEGIN { print (l > 5 || a > 2 || b > 2 || c > 2) }')
if ((missed)); then
  echo "bench/watch.sh: a target is missed" >&2
  ((smoke)) || exit 1
fi
