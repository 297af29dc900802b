#!/usr/bin/env bash
# Times tabrun against cat, grep, ls and the previous release on folders of generated logs,
# checks that its output is the same for every -j, and checks its targets.
#
#   bash bench/run.sh [--smoke] [--cold] [--keep] [--runs N] [--scratch DIR] [--tabrun PATH]
#                     [--previous REV]
#
#   --smoke     small folders (about 20 MB, seconds); missed targets do not fail the run
#   --cold      also time each command after sync and tabrun_gen_corpus evict before every run;
#               stops unless tabrun_gen_corpus resident then finds under 1 % of the pages cached
#   --keep      keep the folders; one is reused only if made with the same parameters and generator
#   --runs N    timed runs of each command, the median is reported (default 5; 3 with --smoke)
#   --scratch   where the folders go (default ${TMPDIR:-/tmp}/tabrun-bench)
#   --tabrun    time this binary; then only the generator is built (into build-bench/)
#   --previous  the commit of the previous release, built into build-bench/previous and timed
#               beside (default: 1.1.0, bd8531f, in a full run; none with --smoke; "" for none)
#
# A full run needs 4.5 GB of free scratch space and 1,000,000 inodes (8 GB and 1.3 million with
# --keep), some minutes (more with --cold), hyperfine and GNU time (apt-get installs them when
# run as root).
# LC_ALL=C throughout. grep is `grep -r --include='*.log' -H -F` with the four markers, writing
# to a file (to /dev/null GNU grep stops at the first match); cat takes the names from
# find | xargs -0; "ls+grep" is `ls -l *.log > list_log` and that grep, the default mode's
# baseline (not on F, whose 200,000 names exceed the argument list; tabrun's default mode is
# not timed there either). Every tabrun runs with its default -j (the CPUs it may use), and on
# the small and tiny corpora C and E also with -j 64 and -j 1024 (t64, t1k, d64, d1k), which
# must take at most 1.2 x the default's time. G, a million tiny logs (full run only), is read
# by --csv and --html alone, for their peak RSS.
# Exit status: 0 when all targets are met (or with --smoke), 1 when one is missed, 2 on an error.

# shellcheck source=bench/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=${TMPDIR:-/tmp}/tabrun-bench smoke=0 cold=0 keep=0 runs="" tabrun="" previous=unset
bench_options "smoke cold keep" "runs scratch tabrun previous" "$@"
[[ -n $runs ]] || runs=$((smoke ? 3 : 5))
[[ $runs =~ ^[1-9][0-9]*$ ]] || die "--runs needs a positive number, not '$runs'"
[[ $previous != unset ]] || previous=$( ((smoke)) || echo bd8531f)
mkdir -p "$scratch"
scratch=$(cd "$scratch" && pwd)
bench_build
for tool in hyperfine:hyperfine time:/usr/bin/time; do # Debian package:command
  command -v "${tool#*:}" >/dev/null && continue
  [[ $(id -u) == 0 ]] || die "${tool#*:} is missing: install the Debian package ${tool%%:*}"
  { apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${tool%%:*}"; } \
    >"$scratch/apt.log" 2>&1 || die "cannot install ${tool%%:*} (log: $scratch/apt.log)"
done
prev=""
if [[ -n $previous ]]; then
  echo "== building the previous release ($previous) into $build/previous"
  rm -rf "$build/previous" && mkdir -p "$build/previous/src"
  { git -C "$repo" archive "$previous" | tar -x -C "$build/previous/src" &&
    cmake -S "$build/previous/src" -B "$build/previous" -DCMAKE_BUILD_TYPE=Release \
      -DTABRUN_BUILD_TESTS=OFF && cmake --build "$build/previous" -j2 --target tabrun; } \
    >"$build/previous.log" 2>&1 || die "cannot build $previous (log: $build/previous.log)"
  prev=$build/previous/tabrun
fi

# NAME LOGS SIZE KIND SEED TARGET...; a target RATIO:LIMIT holds when RATIO <= LIMIT, with the
# ratios of the tables below (c = cold). The peak RSS must stay under 64 MiB everywhere, but for
# --html on G: 128 MiB (rss:LIMIT and hrss:LIMIT, in MiB, change those of one corpus).
sizes=("4 250M" "4 250M" "20000 10k" "200 1M" "200000 300" "20000 300" "1000000 300")
((smoke)) && sizes=("4 2M" "4 2M" "200 10k" "20 100k" "2000 300" "2000 300")
jobs_targets="t64/t:1.2 t1k/t:1.2 d64/d:1.2 d1k/d:1.2"
corpora=("A ${sizes[0]} ordinary 11 t/cat:1 d/cat:1 h/d:1.2 ct/cat:1.1"
  "B ${sizes[1]} annealing 12 t/cat:1 d/cat:1 h/d:1.2"
  "C ${sizes[2]} mixed 13 d/grep:0.8 t/l+g:1 h/d:1.2 ct/cat:0.4"
  "D ${sizes[3]} mixed 14 t/cat:1 d/cat:1 h/d:1.2" "F ${sizes[4]} mixed 15 d/grep:1 h/d:1.2"
  "E ${sizes[5]} mixed 16 $jobs_targets")
((smoke)) || corpora+=("G ${sizes[6]} mixed 17 hrss:128")
corpora[2]+=" $jobs_targets"
gen_hash=$(sha256sum <"$repo/bench/gen_corpus.cc")
grep_cmd="grep -r --include='*.log' -H -F -e 'Control file *.pcr:' -e 'Normal end' -e 'CPU Time:'"
grep_cmd+=" -e 'Chi2:' . >matches.txt"
declare -A cmd=([tabrun]="'$tabrun' >/dev/null" [csv]="'$tabrun' --csv . >/dev/null"
  [html]="'$tabrun' --html . >/dev/null" [prev]="'$prev' >/dev/null"
  [t64]="'$tabrun' -j 64 >/dev/null" [t1k]="'$tabrun' -j 1024 >/dev/null"
  [d64]="'$tabrun' -j 64 --csv . >/dev/null" [d1k]="'$tabrun' -j 1024 --csv . >/dev/null"
  [prevcsv]="'$prev' --csv . >/dev/null" [cat]="find . -name '*.log' -print0 | xargs -0 cat >/dev/null"
  [grep]=$grep_cmd [lsgrep]="ls -l *.log >list_log && $grep_cmd")
warm_columns=(tabrun csv html prev prevcsv cat grep lsgrep t64 t1k d64 d1k)
cold_columns=(tabrun csv prev cat grep)

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

same_output() { # DIR NAME: the outputs of -j 1, 2 and 8 agree, and with the previous release.
  local dir=$1 name=$2 jobs run out=$res/out
  mkdir -p "$out"
  for jobs in 1 2 8; do
    if [[ $name != F ]]; then
      (cd "$dir" && "$tabrun" -j $jobs >"$out/console-$jobs" && cp log.res "$out/res-$jobs")
    fi
    (cd "$dir" && "$tabrun" -j $jobs --csv . >"$out/csv-$jobs") || true # 1: a bad CPU value
  done
  if [[ -n $prev ]]; then
    [[ $name == F ]] || (cd "$dir" && "$prev" >"$out/console-prev" && cp log.res "$out/res-prev")
  fi
  # The rows change by design from one release to the next (new columns, mended figures), so
  # only the default mode's outputs are held against the previous release's.
  for run in console res csv; do
    for jobs in 2 8 prev; do
      [[ ! -f $out/$run-$jobs ]] || cmp -s "$out/$run-1" "$out/$run-$jobs" ||
        { echo "$name: $run of -j 1 and $jobs differ" | tee -a "$scratch/notes" >&2 &&
          echo "$name" >>"$scratch/missed"; }
    done
  done
}

peak_rss() { # DIR NAME: the peak RSS in KiB of tabrun and --csv, then of --html, with -j 1, 2
  local dir=$1 name=$2 label jobs rss=0 hrss=0 # and 1024
  for label in tabrun csv html; do
    [[ ($name != F && $name != G) || $label != tabrun ]] || continue
    for jobs in 1 2 1024; do
      (cd "$dir" && eval "/usr/bin/time -f %M -o '$res/rss' ${cmd[$label]/\'$tabrun\'/\'$tabrun\' -j $jobs}") ||
        true
      if [[ $label == html ]]; then
        hrss=$(awk -v r="$hrss" 'END { print ($1 > r ? $1 : r) }' "$res/rss")
      else
        rss=$(awk -v r="$rss" 'END { print ($1 > r ? $1 : r) }' "$res/rss")
      fi
    done
  done
  echo "$rss $hrss"
}

measure() { # NAME LOGS SIZE KIND SEED TARGET...: appends table rows to $scratch/{warm,cold}.
  local name=$1 count=$2 size=$3 kind=$4 seed=$5 l rss wl=() cl=() times="" mode
  local dir=$scratch/$name-$count-$size-$kind stamp="${*:1:5} $gen_hash"
  shift 5
  if [[ $(cat "$dir/.stamp" 2>/dev/null) != "$stamp" ]]; then
    echo "== $name: generating $count x $size $kind logs in $dir"
    rm -rf "$dir"
    "$gen" gen --dir "$dir" --count "$count" --size "$size" --kind "$kind" --seed "$seed" >/dev/null
    echo "$stamp" >"$dir/.stamp"
  fi
  res=$(mktemp -d "$scratch/results.XXXXXX")
  for l in "${warm_columns[@]}"; do
    [[ ($name == F || $name == G) && ($l == tabrun || $l == prev || $l == lsgrep || $l == t*) ]] &&
      continue
    [[ $name == G && $l != csv && $l != html ]] && continue
    [[ $l == [td]64 || $l == [td]1k ]] && [[ " $* " != *" $jobs_targets"* ]] && continue
    [[ -z $prev && $l == prev* ]] && continue
    wl+=("$l")
    [[ " ${cold_columns[*]} " != *" $l "* ]] || cl+=("$l")
  done
  echo "== $name: outputs for -j 1, 2, 8${prev:+ and $previous}, peak RSS, $runs warm rounds of ${wl[*]}"
  (cd "$dir" && eval "${cmd[cat]}")
  [[ $name == G ]] || same_output "$dir" "$name"
  rss=$(peak_rss "$dir" "$name")
  time_runs "$dir" warm "${wl[@]}"
  ((!cold)) || { echo "== $name: $runs cold rounds of ${cl[*]}" && time_runs "$dir" cold "${cl[@]}"; }
  for mode in warm cold; do
    for l in "${warm_columns[@]}"; do times+=" $mode-$l=$(median "$res/$mode-$l")"; done
  done
  awk -v name="$name" -v logs="$count" -v times="$times" -v rss="$rss" -v targets="$*" \
    -v warm="$scratch/warm" -v cold="$scratch/cold" -v missed="$scratch/missed" '
    function ratio(a, b) { return t[a] == "-" || t[b] == "-" || t[b] == 0 ? "-" : t[a] / t[b] }
    function show(v) { return v == "-" ? v : sprintf("%.2f", v) }
    # A row of the table in `file`: the corpus, the times of `mode` and the ratios named.
    function row(file, mode, times, ratios,   n, w, i) {
      printf "%-2s %6s %5s |", name, logs, sprintf("%.0f", bytes / 1e6) >> file
      n = split(times, w, " ")
      for (i = 1; i <= n; i++) printf " %6s", t[mode "-" w[i]] >> file
      printf " |" >> file
      n = split(ratios, w, " ")
      for (i = 1; i <= n; i++) printf " %6s", show(r[w[i]]) >> file
    }
    { bytes += $1 }
    END {
      n = split(times, list, " ")
      for (i = 1; i <= n; i++) { split(list[i], kv, "="); t[kv[1]] = kv[2] }
      t["warm-l+g"] = t["warm-lsgrep"]
      r["t/cat"] = ratio("warm-tabrun", "warm-cat"); r["d/cat"] = ratio("warm-csv", "warm-cat")
      r["d/grep"] = ratio("warm-csv", "warm-grep"); r["t/l+g"] = ratio("warm-tabrun", "warm-l+g")
      r["h/d"] = ratio("warm-html", "warm-csv"); r["t/prev"] = ratio("warm-tabrun", "warm-prev")
      r["d/prev"] = ratio("warm-csv", "warm-prevcsv")
      r["ct/cat"] = ratio("cold-tabrun", "cold-cat"); r["cd/cat"] = ratio("cold-csv", "cold-cat")
      r["ct/grep"] = ratio("cold-tabrun", "cold-grep"); r["ct/prev"] = ratio("cold-tabrun", "cold-prev")
      r["t64/t"] = ratio("warm-t64", "warm-tabrun"); r["t1k/t"] = ratio("warm-t1k", "warm-tabrun")
      r["d64/d"] = ratio("warm-d64", "warm-csv"); r["d1k/d"] = ratio("warm-d1k", "warm-csv")
      row(warm, "warm", "tabrun csv html prev prevcsv cat grep lsgrep t64 t1k d64 d1k",
          "t/cat d/cat d/grep t/l+g h/d t/prev d/prev t64/t t1k/t d64/d d1k/d")
      split(rss, kib, " "); limit["rss"] = 64; limit["hrss"] = 64
      printf " | %5.1f %5.1f", kib[1] / 1024, kib[2] / 1024 >> warm
      row(cold, "cold", "tabrun csv prev cat grep", "ct/cat cd/cat ct/grep ct/prev")
      for (i = 1; i <= split(targets, list, " "); i++) {
        split(list[i], kv, ":")
        if (kv[1] ~ /rss$/) { limit[kv[1]] = kv[2]; continue }
        if (r[kv[1]] == "-") continue
        pass = r[kv[1]] <= kv[2] + 0
        printf " %s<=%s:%s", kv[1], kv[2], pass ? "PASS" : "FAIL" >> (kv[1] ~ /^c/ ? cold : warm)
        if (!pass) print name >> missed
      }
      for (i = 1; i <= 2; i++) {
        what = i == 1 ? "rss" : "hrss"
        pass = kib[i] < limit[what] * 1024
        printf " %s<%d:%s", what, limit[what], pass ? "PASS" : "FAIL" >> warm
        if (!pass) print name >> missed
      }
      print "" >> warm
      print "" >> cold
    }' < <(find "$dir" -name '*.log' -printf '%s\n')
  rm -rf "$res" "$dir/matches.txt"
  ((keep)) || rm -rf "$dir"
}

rm -f "$scratch"/{warm,cold,missed,notes,resident.log}
for corpus in "${corpora[@]}"; do
  # shellcheck disable=SC2086
  measure $corpus
done
echo
echo "tabrun benchmark of $tabrun: $( ((smoke)) && echo smoke || echo full) run, median of $runs;" \
  "seconds; MB = 10^6 bytes; t = tabrun, d = tabrun --csv ., h = tabrun --html ., prev = the" \
  "previous release${prev:+ ($previous)}, l+g = ls+grep; t64, t1k, d64, d1k = t and d with -j 64" \
  "and -j 1024; RSS = the peak in MiB of t and d, then of h, with -j 1, 2 and 1024"
echo "warm (page cache full)"
printf "%-2s %6s %5s |" "" logs MB
printf " %6s" tabrun csv html prev prevcsv cat grep ls+grep t64 t1k d64 d1k "|" t/cat d/cat \
  d/grep t/l+g h/d t/prev d/prev t64/t t1k/t d64/d d1k/d "|"
printf "   RSS  hRSS targets\n"
cat "$scratch/warm"
if ((cold)); then
  echo "cold (logs evicted before every run)"
  printf "%-2s %6s %5s |" "" logs MB
  printf " %6s" tabrun csv prev cat grep "|" t/cat d/cat t/grep t/prev
  printf " targets\n"
  cat "$scratch/cold"
fi
[[ ! -s $scratch/resident.log ]] || awk '{ p = $2 ? 100 * $1 / $2 : 0; if (p > m) m = p } END {
  printf "cold: %d evictions, at most %.3f %% of the pages still resident after one\n", NR, m }' \
  "$scratch/resident.log"
[[ ! -f $scratch/notes ]] || cat "$scratch/notes"
missed=$(cat "$scratch/missed" 2>/dev/null || true)
rm -f "$scratch"/{warm,cold,missed,notes,resident.log}
((keep)) || rmdir "$scratch" 2>/dev/null || true
[[ -z $missed ]] || { ((smoke)) && echo "(smoke run: missed targets are not enforced)"; } || exit 1
