#!/usr/bin/env bash
# Times tabrun against cat, grep and ls on folders of synthetic logs and checks
# its speed and memory targets.
#
#   bench/run.sh [--smoke] [--keep] [--runs N] [--scratch DIR]
#                [--build-dir DIR] [--no-build] [--tabrun PATH]
#
#   --smoke      tiny folders (about 40 MB in all, seconds): prints the
#                table but fails only on errors, never on a missed target
#   --keep       keep the generated folders for the next run (by default they
#                are removed at the end); a folder is reused only if it was
#                made with the same parameters by the same generator
#   --runs N     timed runs of each command per folder (default 5; 3 with --smoke)
#   --scratch    where the folders go (default ${TMPDIR:-/tmp}/tabrun-bench)
#   --build-dir  build tree (default build-bench/ in the repository)
#   --no-build   use the binaries already in the build tree
#   --tabrun     time this binary instead of the one in the build tree
#
# Builds Release into build-bench/, installs hyperfine through apt if it is
# missing (without it, runs are timed with date +%s%N), generates the folders,
# reads each into the page cache, then times the commands in turn, round after
# round, so that drift hits all of them alike. Medians are compared. Peak RSS
# comes from one extra run of tabrun under /usr/bin/time. Everything runs with
# LC_ALL=C, so grep is as fast here as it can be.
#
# Exit status: 0 when every target is met (or with --smoke, when nothing
# failed), 1 when a target is missed, 2 on an error.

set -Eeuo pipefail
trap 'echo "bench/run.sh: command failed at line $LINENO" >&2; exit 2' ERR
export LC_ALL=C

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
scratch="${TMPDIR:-/tmp}/tabrun-bench"
build="$repo/build-bench"
smoke=0
keep=0
runs=""
do_build=1
tabrun=""

die() {
  echo "bench/run.sh: $*" >&2
  exit 2
}

while (($#)); do
  case "$1" in
    --smoke) smoke=1 ;;
    --keep) keep=1 ;;
    --no-build) do_build=0 ;;
    --runs | --scratch | --build-dir | --tabrun)
      (($# >= 2)) || die "missing value after $1"
      case "$1" in
        --runs) runs=$2 ;;
        --scratch) scratch=$2 ;;
        --build-dir) build=$2 ;;
        --tabrun) tabrun=$2 ;;
      esac
      shift
      ;;
    -h | --help)
      sed -n '2,/^$/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}"
      exit 0
      ;;
    *) die "unknown option $1 (try --help)" ;;
  esac
  shift
done
[[ -z $runs ]] && runs=$((smoke ? 3 : 5))
[[ $runs =~ ^[1-9][0-9]*$ ]] || die "--runs needs a positive number, not '$runs'"

# ---------------------------------------------------------------------------
# Build and tools.

if ((do_build)); then
  echo "== building Release into $build"
  mkdir -p "$build"
  cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTABRUN_BUILD_BENCHMARKS=ON \
    -DTABRUN_BUILD_TESTS=OFF >"$build/configure.log" 2>&1 ||
    { tail -20 "$build/configure.log" >&2; die "cmake configure failed (log: $build/configure.log)"; }
  cmake --build "$build" -j2 >"$build/build.log" 2>&1 ||
    { tail -30 "$build/build.log" >&2; die "build failed (log: $build/build.log)"; }
fi
generator="$build/bench/tabrun_gen_corpus"
[[ -n $tabrun ]] || tabrun="$build/tabrun"
[[ -x $generator ]] || die "no generator at $generator"
[[ -x $tabrun ]] || die "no tabrun at $tabrun"
tabrun=$(cd "$(dirname "$tabrun")" && pwd)/$(basename "$tabrun")

# Installs a Debian package if we may; returns non-zero if it is still missing.
apt_install() {
  local package=$1 command=$2
  command -v "$command" >/dev/null && return 0
  [[ $(id -u) -eq 0 ]] && command -v apt-get >/dev/null || return 1
  echo "== installing $package"
  { apt-get install -y -qq "$package" || { apt-get update -qq && apt-get install -y -qq "$package"; }; } \
    >"$scratch/apt-$package.log" 2>&1 || true
  command -v "$command" >/dev/null
}

mkdir -p "$scratch"
use_hyperfine=1
apt_install hyperfine hyperfine || {
  use_hyperfine=0
  echo "== hyperfine unavailable: timing with date +%s%N"
}
time_bin=/usr/bin/time
if ! [[ -x $time_bin ]]; then
  apt_install time /usr/bin/time || time_bin=""
  [[ -n $time_bin ]] || echo "== /usr/bin/time unavailable: peak RSS not measured"
fi

# ---------------------------------------------------------------------------
# Folders: name, logs, bytes per log, kind, seed, targets. A target is
# cat:R (tabrun time <= R x cat), grep:R, lscat:R (<= R x (ls -l + cat)) or
# rss:M (peak RSS < M MiB).

if ((smoke)); then
  corpora=(
    "A 4 2M ordinary 11 cat:2 grep:0.5 rss:64"
    "B 4 2M annealing 12 cat:2 grep:0.5 rss:64"
    "C 200 10k mixed 13 lscat:1.5 rss:64"
    "D 20 100k mixed 14 cat:2 rss:64"
    "E 1 20M ordinary 15 rss:64"
  )
else
  corpora=(
    "A 4 250M ordinary 11 cat:2 grep:0.5 rss:64"
    "B 4 250M annealing 12 cat:2 grep:0.5 rss:64"
    "C 20000 10k mixed 13 lscat:1.5 rss:64"
    "D 200 1M mixed 14 cat:2 rss:64"
    "E 1 2G ordinary 15 rss:64"
  )
fi

bench_dir="$repo/bench"
generator_hash=$(cat "$bench_dir/log_synth.h" "$bench_dir/log_synth.cc" "$bench_dir/gen_corpus.cc" |
  sha256sum | cut -c1-16)

# Makes the folder for one corpus unless an identical one is there already.
prepare_corpus() {
  local dir=$1 count=$2 size=$3 kind=$4 seed=$5
  local stamp="count=$count size=$size kind=$kind seed=$seed generator=$generator_hash"
  if [[ -f $dir/.stamp && $(cat "$dir/.stamp") == "$stamp" ]]; then
    echo "== reusing $dir"
    return
  fi
  echo "== generating $dir ($count x $size, $kind)"
  rm -rf "$dir"
  "$generator" --dir "$dir" --count "$count" --size "$size" --kind "$kind" --seed "$seed" >/dev/null
  # The logs must have exactly the shape tabrun expects, or we time failures.
  (cd "$dir" && find . -maxdepth 1 -name '*.log' -print0 | sort -z |
    xargs -0 awk -f "$bench_dir/check_corpus.awk") >"$dir/.check" ||
    { tail -5 "$dir/.check" >&2; die "generated logs in $dir are malformed"; }
  echo "$stamp" >"$dir/.stamp"
}

# ---------------------------------------------------------------------------
# Timing. Each round runs every command once; times (seconds) are appended to
# $results/<label>.times.

results=""

time_round_hyperfine() {
  local dir=$1
  shift
  local args=() label
  for label in "$@"; do args+=(-n "$label" "${commands[$label]}"); done
  (cd "$dir" && hyperfine --runs 1 --style none --export-csv "$results/round.csv" "${args[@]}") \
    >"$results/hyperfine.log" 2>&1 ||
    { tail -20 "$results/hyperfine.log" >&2; die "a command failed in $dir"; }
  # command,mean,stddev,median,user,system,min,max
  awk -F, -v out="$results" 'NR > 1 { print $4 >> (out "/" $1 ".times") }' "$results/round.csv"
}

time_round_date() {
  local dir=$1
  shift
  local label start end
  for label in "$@"; do
    start=$(date +%s%N)
    (cd "$dir" && sh -c "${commands[$label]}" >/dev/null) || die "'${commands[$label]}' failed in $dir"
    end=$(date +%s%N)
    awk -v ns=$((end - start)) 'BEGIN { printf "%.9f\n", ns / 1e9 }' >>"$results/$label.times"
  done
}

median() {
  sort -g "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

declare -A commands=(
  [tabrun]="'$tabrun'"
  [cat]='cat *.log > /dev/null'
  [grep]='grep -H -e "Control file" -e "Normal end" -e "CPU Time:" -e "Chi2:" *.log > matches.txt'
  [ls]='ls -l *.log > /dev/null'
)

# Appends one table row for a corpus to $scratch/table.rows, and its name to
# $scratch/missed if it missed a target.
measure_corpus() {
  local name=$1 count=$2 size=$3 kind=$4 seed=$5
  shift 5
  local targets=("$@")
  local dir="$scratch/$name-${count}x$size-$kind"
  prepare_corpus "$dir" "$count" "$size" "$kind" "$seed"
  local bytes
  bytes=$(cd "$dir" && find . -maxdepth 1 -name '*.log' -printf '%s\n' | awk '{ s += $1 } END { print s }')

  results=$(mktemp -d "$scratch/results.XXXXXX")
  local labels=(tabrun cat grep)
  [[ $name == C ]] && labels+=(ls)

  echo "== $name: warming the page cache, measuring peak RSS, $runs rounds of ${labels[*]}"
  (cd "$dir" && find . -maxdepth 1 -name '*.log' -print0 | xargs -0 cat >/dev/null)
  local rss_kib=""
  if [[ -n $time_bin ]]; then
    (cd "$dir" && "$time_bin" -f '%M' -o "$results/rss" "$tabrun" >"$scratch/$name.tabrun.out" 2>&1) ||
      { tail -5 "$scratch/$name.tabrun.out" >&2; die "tabrun failed in $dir"; }
    rss_kib=$(tail -1 "$results/rss")
  else
    (cd "$dir" && "$tabrun" >"$scratch/$name.tabrun.out" 2>&1) || die "tabrun failed in $dir"
  fi
  [[ -s $dir/log.res ]] || die "tabrun wrote no log.res in $dir"
  # Every generated log is a complete run; if tabrun saw some otherwise, the
  # timings are of the wrong path.
  local recognised
  recognised=$(grep -c 'Normal end for' "$dir/log.res" || true)
  ((recognised == count)) ||
    echo "bench/run.sh: warning: log.res reports $recognised of $count logs as ended normally" >&2

  local round
  for ((round = 1; round <= runs; round++)); do
    if ((use_hyperfine)); then
      time_round_hyperfine "$dir" "${labels[@]}"
    else
      time_round_date "$dir" "${labels[@]}"
    fi
  done
  [[ -s $dir/matches.txt ]] || die "grep wrote nothing to $dir/matches.txt"

  local t_tabrun t_cat t_grep t_ls=""
  t_tabrun=$(median "$results/tabrun.times")
  t_cat=$(median "$results/cat.times")
  t_grep=$(median "$results/grep.times")
  [[ $name == C ]] && t_ls=$(median "$results/ls.times")
  rm -rf "$results" "$dir/matches.txt"
  ((keep)) || rm -rf "$dir"

  awk -v name="$name" -v logs="$count" -v bytes="$bytes" -v tt="$t_tabrun" -v tc="$t_cat" \
    -v tg="$t_grep" -v tl="$t_ls" -v rss="$rss_kib" -v targets="${targets[*]}" \
    -v missed_file="$scratch/missed" '
    function rate(t) { return t > 0 ? sprintf("%.0f", bytes / t / 1e6) : "-" }
    function ratio(a, b) { return b > 0 ? sprintf("%.2f", a / b) : "-" }
    BEGIN {
      missed = 0
      verdicts = ""
      n = split(targets, list, " ")
      for (i = 1; i <= n; i++) {
        split(list[i], kv, ":")
        limit = kv[2] + 0
        if (kv[1] == "rss") {
          if (rss == "") { v = "n/a" } else { v = (rss / 1024 < limit) ? "PASS" : "FAIL" }
          label = "RSS<" kv[2]
        } else {
          base = kv[1] == "cat" ? tc : kv[1] == "grep" ? tg : tl + tc
          v = (tt <= limit * base) ? "PASS" : "FAIL"
          label = kv[2] "x" (kv[1] == "lscat" ? "(ls+cat)" : kv[1])
        }
        if (v == "FAIL") missed = 1
        verdicts = verdicts (verdicts == "" ? "" : " ") label ":" v
      }
      printf "%-6s %6d %9.0f %9s %9s %9s %9s %6s %6s %8s %8s  %s\n", name, logs, bytes / 1e6,
             rate(tt), rate(tc), rate(tg), tl == "" ? "-" : rate(tl + tc), ratio(tt, tc),
             ratio(tt, tg), tl == "" ? "-" : ratio(tt, tl + tc),
             rss == "" ? "n/a" : sprintf("%.1f", rss / 1024), verdicts
      if (missed) print name >> missed_file
    }' >>"$scratch/table.rows"
}

# ---------------------------------------------------------------------------

rm -f "$scratch/table.rows" "$scratch/missed"
for corpus in "${corpora[@]}"; do
  # shellcheck disable=SC2086
  measure_corpus $corpus
done
missed=0
[[ -f $scratch/missed ]] && missed=1

echo
echo "tabrun benchmark ($( ((smoke)) && echo smoke || echo full), median of $runs runs," \
  "page cache warm, $( ((use_hyperfine)) && echo hyperfine || echo 'date +%s%N'));" \
  "MB = 10^6 bytes, RSS in MiB, t/x = tabrun time / x time"
printf "%-6s %6s %9s %9s %9s %9s %9s %6s %6s %8s %8s  %s\n" corpus logs "size MB" "tabrun" \
  "cat" "grep" "ls+cat" "t/cat" "t/grep" "t/ls+cat" "RSS MiB" "targets"
printf "%-6s %6s %9s %9s %9s %9s %9s %6s %6s %8s %8s\n" "" "" "" "MB/s" "MB/s" "MB/s" "MB/s" \
  "" "" "" ""
cat "$scratch/table.rows"
rm -f "$scratch/table.rows" "$scratch/missed"
((keep)) || rmdir "$scratch" 2>/dev/null || true

if ((missed)); then
  if ((smoke)); then
    echo "(smoke run: missed targets are not enforced)"
  else
    exit 1
  fi
fi
