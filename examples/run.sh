#!/usr/bin/env bash
# Runs the built tabrun on a scratch copy of the example batch and shows what it wrote.
# Usage: examples/run.sh [path/to/tabrun]   (default: build/tabrun)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
binary=${1:-$repo/build/tabrun}
tabrun=$(cd "$(dirname "$binary")" && pwd)/$(basename "$binary")  # realpath is not on every Mac
scratch=$(mktemp -d "${TMPDIR:-/tmp}/tabrun-example.XXXXXX")
cp "$repo"/examples/batch/*.log "$scratch"/
cd "$scratch"
echo "== console (tabrun run in $scratch) =="
LC_ALL=C "$tabrun"
echo "== log.res =="
cat log.res
