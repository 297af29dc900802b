#!/usr/bin/env bash
# Builds the libFuzzer targets with clang into build-fuzz/ and runs each one, one after the
# other, for SECONDS seconds (default 60) on a scratch copy of its seed corpus, which it runs
# first: an input that once crashed belongs there. Exits non-zero when any target crashes,
# traps or times out; the crashing inputs are kept in the scratch directory it names.
#
#   bash fuzz/run.sh [SECONDS]
#
# Environment: FUZZ_BUILD_DIR (default build-fuzz), FUZZ_WORK_DIR (default a new temporary
# directory), FUZZ_BUILD_JOBS (default 2), FUZZ_MAX_LEN (default 16384).

set -euo pipefail

duration="${1:-60}"
if ! [[ "$duration" =~ ^[0-9]+$ ]] || (( duration < 1 )); then
  echo "usage: bash fuzz/run.sh [SECONDS]" >&2
  exit 2
fi

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${FUZZ_BUILD_DIR:-$root/build-fuzz}"
work="${FUZZ_WORK_DIR:-$(mktemp -d "${TMPDIR:-/tmp}/tabrun-fuzz.XXXXXX")}"
targets=(log_scan listing batch row_file)
binaries=()
for name in "${targets[@]}"; do binaries+=("tabrun_${name}_fuzzer"); done

# clang with the libFuzzer and sanitizer runtimes (Debian: clang libclang-rt-14-dev).
command -v clang++ >/dev/null || { echo "run.sh: install clang and libclang-rt-14-dev" >&2; exit 1; }

CC=clang CXX=clang++ cmake -S "$root" -B "$build" \
  -DTABRUN_BUILD_FUZZERS=ON -DTABRUN_BUILD_TESTS=OFF -DTABRUN_BUILD_BENCHMARKS=OFF \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --parallel "${FUZZ_BUILD_JOBS:-2}" --target "${binaries[@]}"

echo "run.sh: scratch directory $work"
failed=()
for name in "${targets[@]}"; do
  binary="$build/fuzz/tabrun_${name}_fuzzer"
  corpus="$work/$name/corpus"
  artifacts="$work/$name/artifacts"
  mkdir -p "$corpus" "$artifacts"
  cp -R "$root/fuzz/corpus/$name/." "$corpus/"

  echo "run.sh: $name: fuzzing for ${duration}s"
  # One process, one worker: the machine is shared.
  if "$binary" "$corpus" \
      -dict="$root/fuzz/markers.dict" \
      -max_total_time="$duration" \
      -max_len="${FUZZ_MAX_LEN:-16384}" \
      -timeout=25 \
      -rss_limit_mb=2048 \
      -print_final_stats=1 \
      -artifact_prefix="$artifacts/" \
      >"$work/$name/fuzz.txt" 2>&1; then
    grep -E '^#[0-9]+[[:space:]]+DONE|^stat::number_of_executed_units|^stat::average_exec_per_sec' \
      "$work/$name/fuzz.txt" || true
  else
    tail -n 60 "$work/$name/fuzz.txt" >&2
    echo "run.sh: $name: FAILED, inputs in $artifacts" >&2
    failed+=("$name")
  fi
done

if (( ${#failed[@]} > 0 )); then
  echo "run.sh: failing targets: ${failed[*]} (see $work)" >&2
  exit 1
fi
if [[ -z "${FUZZ_WORK_DIR:-}" ]]; then rm -rf "$work"; fi
echo "run.sh: all targets ran clean"
