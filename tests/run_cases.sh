#!/usr/bin/env bash
# End-to-end cases: tabrun runs in a scratch copy of tests/cases/<case>/work and what it leaves
# is compared byte for byte with tests/cases/<case>/expect/. A case folder holds:
#   work/    the start directory (absent: empty)    args     tabrun's arguments, one per line
#   listing  what a stand-in `ls` prints instead    env      extra VAR=value lines for tabrun
#   chmod    "MODE PATH" lines applied before the run; as root, tabrun then runs as nobody
#   setup    a bash script run in the work dir before the run
#   close    the descriptors (e.g. "2") that tabrun starts with closed
#   platforms  the words of linux, posix, windows where the case can run (absent: everywhere)
#   expect/  stdout, stderr, status, `files` (LC_ALL=C ls -A of the work dir) and any file
#            of the work dir by its name
# Every case runs with -j 1, -j 2 and -j 8 in front of its args (JOBS="..." to choose), and
# each run must give the expected output.
# Usage: bash tests/run_cases.sh [--update] [--platform NAME] [--emulator 'COMMAND ARGS']
#          TABRUN_BINARY [CASE_DIR...]
# --update records the actual stdout, stderr, status and every file already in expect/, of
# the first run. --platform (default linux) skips the cases not meant for it; --emulator puts
# a command (qemu-aarch64 -L /, wine) in front of every run of the binary.
# It runs on bash 3.2, and without GNU timeout.
set -euo pipefail

update=false platform=linux emulator=()
while (($#)); do
  case $1 in
    --update) update=true; shift ;;
    --platform) platform=$2; shift 2 ;;
    --emulator) read -r -a emulator <<< "$2"; shift 2 ;;
    *) break ;;
  esac
done
if (($# < 1)); then
  echo "usage: bash $0 [--update] [--platform NAME] [--emulator 'COMMAND ARGS'] TABRUN_BINARY [CASE_DIR...]" >&2
  exit 2
fi
# The runs see only a fixed PATH: the emulator is found now.
if ((${#emulator[@]})); then emulator[0]=$(command -v "${emulator[0]}"); fi
binary=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
shift
cases=("$@")
((${#cases[@]})) || cases=("$(dirname "$0")"/cases/*/)

# At most 120 seconds a run: an alarm that the exec of each program in the chain keeps (perl, so
# that it needs no GNU timeout).
limit() { perl -e 'alarm 120; exec @ARGV or die "$ARGV[0]: $!\n"' "$@"; }

scratch=""
cleanup() {
  if [[ -n $scratch ]]; then chmod -R u+rwX "$scratch" && rm -rf "$scratch"; fi
  scratch=""
}
trap cleanup EXIT

# Runs case $1 with -j $2 in a fresh $scratch: $scratch/work, and stdout, stderr and status
# beside it.
run_case() {
  local dir=$1 path=/usr/local/bin:/usr/bin:/bin bin=$binary status=0 mode file
  local run=(limit) args=(-j "$2") envs=() closer=() line
  scratch=$(mktemp -d "${TMPDIR:-/tmp}/tabrun-case.XXXXXX")
  mkdir "$scratch/bin"
  if [[ -d $dir/work ]]; then cp -a "$dir/work" "$scratch/work"; else mkdir "$scratch/work"; fi
  if [[ -f $dir/listing ]]; then
    cp "$dir/listing" "$scratch/bin/listing"
    printf '#!/bin/sh\nexec cat %q\n' "$scratch/bin/listing" > "$scratch/bin/ls"
    chmod 755 "$scratch/bin/ls"
    path=$scratch/bin:$path
  fi
  if [[ -f $dir/args ]]; then while IFS= read -r line; do args+=("$line"); done < "$dir/args"; fi
  if [[ -f $dir/env ]]; then while IFS= read -r line; do envs+=("$line"); done < "$dir/env"; fi
  if [[ -f $dir/setup ]]; then (cd "$scratch/work" && bash "$dir/setup"); fi
  if [[ -f $dir/close ]]; then
    closer=(bash -c 'for fd in '"$(cat "$dir/close")"'; do eval "exec $fd>&-"; done; exec "$@"' -)
  fi
  if [[ -f $dir/chmod ]]; then
    while read -r mode file; do chmod "$mode" "$scratch/work/$file"; done < "$dir/chmod"
    if ((EUID == 0)); then  # permissions stop only others: run as nobody, from a reachable copy
      chmod 755 "$scratch" && cp "$binary" "$scratch/bin/tabrun" && chmod 755 "$scratch/bin/tabrun"
      bin=$scratch/bin/tabrun
      run+=(setpriv --reuid=65534 --regid=65534 --clear-groups)
    fi
  fi
  (cd "$scratch/work" \
    && "${run[@]}" env -i "PATH=$path" LC_ALL=C ${envs[@]+"${envs[@]}"} ${closer[@]+"${closer[@]}"} \
      ${emulator[@]+"${emulator[@]}"} "$bin" "${args[@]}") \
    < /dev/null > "$scratch/stdout" 2> "$scratch/stderr" || status=$?
  echo "$status" > "$scratch/status"
  (cd "$scratch/work" && LC_ALL=C ls -A) > "$scratch/files"
}

passed=0 failed=0 skipped=0
for dir in "${cases[@]}"; do
  dir=$(cd "$dir" && pwd) name=$(basename "$dir") ok=true first=true
  if [[ -f $dir/platforms ]] && ! grep -qw -- "$platform" "$dir/platforms"; then
    echo "skip $name (platforms: $(cat "$dir/platforms"))" && skipped=$((skipped + 1))
    continue
  fi
  for jobs in ${JOBS:-1 2 8}; do
    run_case "$dir" "$jobs"
    if $update && $first; then mkdir -p "$dir/expect"; fi
    others=$(ls -A "$dir/expect" 2>/dev/null | grep -vxE 'stdout|stderr|status' || true)
    for file in stdout stderr status $others; do
      expected=$dir/expect/$file actual=$scratch/work/$file
      case $file in stdout | stderr | status | files) actual=$scratch/$file ;; esac
      if $update && $first && [[ -f $actual ]]; then
        cp "$actual" "$expected"
      elif ! cmp -s "$expected" "$actual"; then
        echo "  $name -j $jobs: $file differs (< expected, > actual, cat -vet):"
        diff <(cat -vet "$expected" 2>&1) <(cat -vet "$actual" 2>&1) | head -20 | cut -c1-200 || true
        ok=false
      fi
    done
    cleanup
    first=false
  done
  if $ok; then echo "ok   $name" && passed=$((passed + 1))
  else echo "FAIL $name" && failed=$((failed + 1)); fi
done
echo "$passed passed, $failed failed, $skipped skipped"
((failed == 0))
