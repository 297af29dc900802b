#!/usr/bin/env bash
# Runs the README's recipe for archives too big for one machine with GNU parallel on this
# machine alone: the merged CSV must be what one tabrun --csv over all the directories writes.
# Usage: bash tests/shard_recipe.sh [--emulator 'COMMAND ARGS'] TABRUN_BINARY
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
emulator=""
if [[ $1 == --emulator ]]; then emulator=$2; shift 2; fi
binary=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
if ! parallel --version 2>/dev/null | grep -q '^GNU parallel'; then
  echo "shard recipe: skipped: GNU parallel is missing (Debian package: parallel)"
  [[ ${TABRUN_NO_SKIP:-} == 1 ]] && exit 1
  exit 77
fi
# The sh block that follows the marker line.
recipe=$(awk '/<!-- shard recipe -->/ { found = 1; next }
  found && /^```sh$/ { on = 1; next } on && /^```$/ { exit } on' "$repo/README.md")
[[ $recipe == *"/archive"* ]] || { echo "shard recipe: not found in the README"; exit 1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/tabrun-shard.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
# The recipe calls `tabrun`: this one, through the emulator when there is one.
mkdir bin
printf '#!/bin/sh\nexec %s %q "$@"\n' "$emulator" "$binary" > bin/tabrun
chmod 755 bin/tabrun
mkdir -p "archive/run 1" archive/run2 archive/run3 archive/run4
cp "$repo"/examples/batch/*.log "archive/run 1/"
cp "$repo"/examples/batch/cu2o_rt.log archive/run2/
printf ' Control file *.pcr: lf\n Normal end\n CPU Time: 2\n' > archive/run4/$'line\nfeed.log'
echo : > nodes.txt  # ':' is this machine
logs=$(find archive -name '*.log' -exec printf x \; | wc -c)
export LC_ALL=C PATH=$work/bin:$PATH
bash -c "${recipe//\/archive/archive}"
tabrun --csv archive/* > whole.csv || true
if ! cmp -s whole.csv all.csv; then
  echo "shard recipe: the merged CSV differs from one run over all directories:"
  diff whole.csv all.csv | head -20
  exit 1
fi
# A tabrun that cannot run leaves both sides empty: the rows are counted too. The header, a
# row per log, and one line more for the row whose name holds a line feed.
lines=$(wc -l < all.csv)
if ((lines != logs + 2)); then
  echo "shard recipe: $lines lines merged for $logs logs, not $((logs + 2))"
  exit 1
fi
echo "shard recipe: $logs rows merged under one header"
