#!/usr/bin/env bash
# Memory that runs out ends tabrun with one line, "tabrun: out of memory", and status 1, as every
# fatal error does, on whichever thread it runs out: under address-space limits from the
# smallest at which tabrun starts at all (--version) up by 128 KiB steps for 20 MiB, -j 2 and -j 64 --csv
# either write every row or end so. A sanitizer build cannot run under such a limit.
# Usage: bash tests/out_of_memory.sh TABRUN_BINARY
set -euo pipefail
binary=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
scratch=$(mktemp -d "${TMPDIR:-/tmp}/tabrun-oom.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
for i in $(seq 1 40); do
  printf ' Control file *.pcr: r%d\n Normal end\n CPU Time: %d.5\n' "$i" "$i" > "r$i.log"
done
"$binary" --csv . > want.csv

limited() { # KIB COMMAND...: runs COMMAND under an address-space limit of KIB KiB
  (ulimit -v "$1" && shift && exec "$@")
}

start=4096
until limited "$start" "$binary" --version > /dev/null 2>&1; do
  start=$((start + 256))
  ((start < 262144)) || { echo "tabrun --version does not run under 256 MiB: skipped"; exit 77; }
done
failed=0 out_of_memory=0
for ((kib = start; kib < start + 20480; kib += 128)); do
  for jobs in 2 64; do
    status=0
    limited "$kib" "$binary" -j "$jobs" --csv . > got.csv 2> err.txt || status=$?
    if ((status == 1)) && [[ $(cat err.txt) == "tabrun: out of memory" ]]; then
      out_of_memory=$((out_of_memory + 1))
    elif ((status != 0)) || [[ -s err.txt ]] || ! cmp -s want.csv got.csv; then
      echo "limit $kib KiB, -j $jobs: status $status, stderr: $(head -c 300 err.txt)"
      failed=$((failed + 1))
    fi
  done
done
echo "from $start KiB up: $out_of_memory runs ran out of memory, $failed ended otherwise"
((failed == 0 && out_of_memory > 0))
