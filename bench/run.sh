#!/usr/bin/env bash
# Times tabrun against cat, grep and ls on folders of generated logs and checks its targets.
#
#   bash bench/run.sh [--smoke] [--cold] [--keep] [--runs N] [--scratch DIR] [--tabrun PATH]
#
#   --smoke    small folders (about 20 MB, seconds); missed targets do not fail the run
#   --cold     also time each command after sync and tabrun_gen_corpus evict before every run;
#              stops unless tabrun_gen_corpus resident then finds under 1 % of the pages cached
#   --keep     keep the folders; one is reused only if made with the same parameters and generator
#   --runs N   timed runs of each command, the median is reported (default 5; 3 with --smoke)
#   --scratch  where the folders go (default ${TMPDIR:-/tmp}/tabrun-bench)
#   --tabrun   time this binary; then only the generator is built (into build-bench/)
#
# A full run needs 1.2 GB of free scratch space (3.5 GB and 230,000 inodes with --keep), some
# minutes (more with --cold), hyperfine and GNU time (apt-get installs them when run as root).
# LC_ALL=C throughout. cat, grep and ls take the names from find | xargs -0, as the 200,000 names
# of F exceed the argument list. The direct mode is timed if tabrun --help mentions --csv, and
# the report page (warm only) if it mentions --html.
# Exit status: 0 when all targets are met (or with --smoke), 1 when one is missed, 2 on an error.

# shellcheck source=bench/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=${TMPDIR:-/tmp}/tabrun-bench smoke=0 cold=0 keep=0 runs="" tabrun=""
bench_options "smoke cold keep" "runs scratch tabrun" "$@"
[[ -n $runs ]] || runs=$((smoke ? 3 : 5))
[[ $runs =~ ^[1-9][0-9]*$ ]] || die "--runs needs a positive number, not '$runs'"
mkdir -p "$scratch"
scratch=$(cd "$scratch" && pwd)
bench_build
for tool in hyperfine:hyperfine time:/usr/bin/time; do # Debian package:command
  command -v "${tool#*:}" >/dev/null && continue
  [[ $(id -u) == 0 ]] || die "${tool#*:} is missing: install the Debian package ${tool%%:*}"
  { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${tool%%:*}"; } \
    >"$scratch/apt.log" 2>&1 || die "cannot install ${tool%%:*} (log: $scratch/apt.log)"
done
direct=0 html=0
[[ $("$tabrun" --help 2>&1 || true) != *--csv* ]] || direct=1
[[ $("$tabrun" --help 2>&1 || true) != *--html* ]] || html=1

# NAME LOGS SIZE KIND SEED TARGETS; a target RATIO:LIMIT holds when RATIO <= LIMIT. Warm:
# cat, grep, lscat = tabrun / cat, grep, (ls + cat); direct = tabrun --csv / tabrun. Cold:
# ccat, cgrep = tabrun / cat, grep. html = tabrun --html / tabrun --csv, on every corpus. The
# peak RSS must stay under 64 MiB everywhere.
sizes=("4 250M" "4 250M" "20000 10k" "200 1M" "200000 300")
((smoke)) && sizes=("4 2M" "4 2M" "200 10k" "20 100k" "2000 300")
corpora=("A ${sizes[0]} ordinary 11 cat:2 grep:0.5 direct:1.1 ccat:1.3 html:1.2"
  "B ${sizes[1]} annealing 12 cat:2 grep:0.5 direct:1.1 html:1.2"
  "C ${sizes[2]} mixed 13 cat:1 lscat:1.5 direct:1.1 ccat:0.5 cgrep:0.6 html:1.2"
  "D ${sizes[3]} mixed 14 cat:2 direct:1.1 html:1.2" "F ${sizes[4]} mixed 15 html:1.2")
fmt="%-2s %6s %6s | %6s %6s %6s %6s %6s | %5s %5s %5s %5s | %6s %6s %6s %6s | %5s %5s"
fmt+=" | %6s %5s | %5s"
gen_hash=$(sha256sum <"$repo/bench/gen_corpus.cc")
files="find . -name '*.log' -print0 | xargs -0"
declare -A cmd=([tabrun]="'$tabrun' >/dev/null" [direct]="'$tabrun' --csv . >/dev/null"
  [html]="'$tabrun' --html . >/dev/null"
  [cat]="$files cat >/dev/null" [ls]="$files ls -l >/dev/null"
  [grep]="$files grep -H -e 'Control file' -e 'Normal end' -e 'CPU Time:' -e 'Chi2:' >matches.txt")

median() { # FILE: the median of its numbers; - without the file.
  [[ -f $1 ]] || { echo - && return; }
  sort -g "$1" | awk '{ v[NR] = $1 }
    END { printf "%.3f", NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

time_runs() { # DIR MODE LABEL...: rounds of each command; seconds go to $res/MODE-LABEL.
  local dir=$1 mode=$2 round label args=()
  shift 2
  for label in "$@"; do args+=(-n "$label" "${cmd[$label]}"); done
  [[ $mode == warm ]] ||
    args+=(--prepare "sync && '$gen' evict . && '$gen' resident . >>'$scratch/resident.log'")
  for ((round = 1; round <= runs; round++)); do
    (cd "$dir" && hyperfine --runs 1 --style none --export-csv "$res/round.csv" "${args[@]}") \
      >"$res/hyperfine.log" 2>&1 || { tail -20 "$res/hyperfine.log" >&2 && die "a command failed in $dir"; }
    [[ $mode == warm ]] || awk '$1 * 100 >= $2 && $2 { exit 1 }' "$scratch/resident.log" ||
      die "eviction failed in $dir: $(tail -1 "$scratch/resident.log") (resident, total pages)"
    awk -F, -v to="$res/$mode-" 'NR > 1 { print $4 >> (to $1) }' "$res/round.csv"
  done
}

measure() { # NAME LOGS SIZE KIND SEED TARGET...: appends a table row to $scratch/rows.
  local name=$1 count=$2 size=$3 kind=$4 seed=$5 l ok rss=0 wl=() cl=()
  local dir=$scratch/$name-$count-$size-$kind stamp="${*:1:5} $gen_hash"
  shift 5
  if [[ $(cat "$dir/.stamp" 2>/dev/null) != "$stamp" ]]; then
    echo "== $name: generating $count x $size $kind logs in $dir"
    rm -rf "$dir"
    "$gen" gen --dir "$dir" --count "$count" --size "$size" --kind "$kind" --seed "$seed" >/dev/null
    echo "$stamp" >"$dir/.stamp"
  fi
  res=$(mktemp -d "$scratch/results.XXXXXX")
  wl=(cat)
  ((!direct)) || wl=(direct "${wl[@]}")
  [[ $name == F ]] || wl=(tabrun "${wl[@]}" grep) # F: too many names for tabrun's ls -l *.log
  cl=("${wl[@]}")
  ((!html)) || wl+=(html)
  [[ $name != [CF] ]] || wl+=(ls)
  echo "== $name: one read, peak RSS, $runs warm rounds of ${wl[*]}"
  (cd "$dir" && eval "${cmd[cat]}")
  for l in tabrun direct html; do
    [[ " ${wl[*]} " == *" $l "* ]] || continue
    (cd "$dir" && eval "/usr/bin/time -f %M -o '$res/rss' ${cmd[$l]}") || die "$l failed in $dir"
    rss=$(awk -v r="$rss" 'END { print ($1 > r ? $1 : r) }' "$res/rss")
  done
  ok=$count
  [[ $name == F ]] || ok=$(grep -c '^ => Normal end for' "$dir/log.res" || true)
  ((ok == count)) || echo "warning: $name: log.res has $ok of $count logs as \"Normal end for\"" |
    tee -a "$scratch/notes" >&2
  time_runs "$dir" warm "${wl[@]}"
  ((!cold)) || { echo "== $name: $runs cold rounds of ${cl[*]}" && time_runs "$dir" cold "${cl[@]}"; }
  local times="" mode
  for mode in warm cold; do
    for l in tabrun direct cat grep ls; do times+=" $(median "$res/$mode-$l")"; done
  done
  times+=" $(median "$res/warm-html")"
  # warm: tabrun direct cat grep ls, cold: tabrun direct cat grep (ls is never timed cold), then
  # warm html
  awk -v name="$name" -v logs="$count" -v times="$times" -v rss="$rss" -v targets="$*" \
    -v fmt="$fmt" -v missed="$scratch/missed" '
    function ratio(a, b) { return a == "-" || b == "-" || b == 0 ? "-" : a / b }
    function show(v) { return v == "-" ? v : sprintf("%.2f", v) }
    { bytes += $1 }
    END {
      split(times, x, " ")
      r["cat"] = ratio(x[1], x[3]); r["grep"] = ratio(x[1], x[4]); r["direct"] = ratio(x[2], x[1])
      r["lscat"] = x[5] == "-" ? "-" : ratio(x[1], x[5] + x[3])
      r["ccat"] = ratio(x[6], x[8]); r["cgrep"] = ratio(x[6], x[9]); r["html"] = ratio(x[11], x[2])
      printf fmt, name, logs, sprintf("%.0f", bytes / 1e6), x[1], x[2], x[3], x[4], x[5],
        show(r["cat"]), show(r["grep"]), show(r["lscat"]), show(r["direct"]), x[6], x[7], x[8], x[9],
        show(r["ccat"]), show(r["cgrep"]), x[11], show(r["html"]),
        rss ? sprintf("%.1f", rss / 1024) : "-"
      for (i = 1; i <= split(targets, list, " "); i++) {
        if (split(list[i], kv, ":") && r[kv[1]] == "-") continue
        pass = r[kv[1]] <= kv[2] + 0
        printf " %s<=%s:%s", kv[1], kv[2], pass ? "PASS" : "FAIL"
        if (!pass) print name >> missed
      }
      if (rss) printf " rss<64:%s", rss < 65536 ? "PASS" : "FAIL"
      if (rss >= 65536) print name >> missed
      print ""
    }' < <(find "$dir" -name '*.log' -printf '%s\n') >>"$scratch/rows"
  rm -rf "$res" "$dir/matches.txt"
  ((keep)) || rm -rf "$dir"
}

rm -f "$scratch"/{rows,missed,notes,resident.log}
for corpus in "${corpora[@]}"; do
  # shellcheck disable=SC2086
  measure $corpus
done
echo
echo "tabrun benchmark of $tabrun: $( ((smoke)) && echo smoke || echo full) run, median of $runs;" \
  "seconds, MB = 10^6 bytes, t = tabrun, d = tabrun --csv ., h = tabrun --html ., RSS = the" \
  "peak of the three in MiB"
printf "%17s| %-34s | %-23s | %-27s | %-11s | %-12s |\n" "" "warm (page cache full)" \
  "warm ratios" "cold (logs evicted first)" "cold ratios" "warm --html"
# shellcheck disable=SC2059
printf "$fmt targets\n" "" logs MB tabrun direct cat grep ls t/cat t/grp t/l+c d/t tabrun direct cat \
  grep t/cat t/grp html h/d RSS
cat "$scratch/rows"
[[ ! -s $scratch/resident.log ]] || awk '{ p = $2 ? 100 * $1 / $2 : 0; if (p > m) m = p } END {
  printf "cold: %d evictions, at most %.3f %% of the pages still resident after one\n", NR, m }' \
  "$scratch/resident.log"
[[ ! -f $scratch/notes ]] || cat "$scratch/notes"
missed=$(cat "$scratch/missed" 2>/dev/null || true)
rm -f "$scratch"/{rows,missed,notes,resident.log}
((keep)) || rmdir "$scratch" 2>/dev/null || true
[[ -z $missed ]] || { ((smoke)) && echo "(smoke run: missed targets are not enforced)"; } || exit 1
