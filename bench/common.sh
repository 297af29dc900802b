# Sourced by the bench scripts: strict mode, C locale, an error line naming the script, their
# options and the Release build they time. Defines repo, build (build-bench/) and die.
set -Eeuo pipefail
export LC_ALL=C
script=bench/$(basename "$0")
trap 'echo "$script: command failed at line $LINENO" >&2; exit 2' ERR
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$repo/build-bench
die() { echo "$script: $*" >&2 && exit 2; }

# bench_options "FLAG..." "VALUED..." ARG...: --FLAG sets FLAG=1 and --VALUED X sets VALUED=X;
# -h and --help print the script's header comment and exit.
bench_options() {
  local flags=" $1 " valued=" $2 "
  shift 2
  while (($#)); do
    if [[ $1 == -h || $1 == --help ]]; then
      sed -n '2,/^$/s/^# \{0,1\}//p' "$0" && exit 0
    elif [[ $1 == --* && $flags == *" ${1#--} "* ]]; then
      declare -g "${1#--}=1"
    elif [[ $1 == --* && $valued == *" ${1#--} "* ]]; then
      (($# >= 2)) || die "missing value after $1"
      declare -g "${1#--}=$2" && shift
    else
      die "unknown option $1 (try --help)"
    fi
    shift
  done
}

# bench_build: builds Release into $build, only the corpus generator when $tabrun is set, and
# sets gen to the generator and tabrun to the binary to time, as an absolute path.
bench_build() {
  echo "== building Release into $build"
  local only=()
  [[ -z $tabrun ]] || only=(--target tabrun_gen_corpus)
  mkdir -p "$build"
  local log=$build/bench.log
  { cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTABRUN_BUILD_BENCHMARKS=ON \
    -DTABRUN_BUILD_TESTS=OFF && cmake --build "$build" -j2 "${only[@]}"; } >"$log" 2>&1 ||
    { tail -30 "$log" >&2 && die "build failed (log: $log)"; }
  gen=$build/bench/tabrun_gen_corpus
  [[ -n $tabrun ]] || tabrun=$build/tabrun
  [[ -f $tabrun && -x $tabrun ]] || die "no tabrun binary at $tabrun"
  tabrun=$(realpath "$tabrun")
}
