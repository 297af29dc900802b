#!/usr/bin/env bash
# Runs the two marked recipes of README.md with GNU parallel on this machine alone: the one
# for a shared file system over ':' (this machine), the one for node-local scratch disks over two
# stand-in nodes (an ssh that runs the command here, in a directory of the node's own, where
# `hostname` names the node). Their CSV must be what one tabrun --csv over all the logs writes,
# their JSON what one tabrun --json writes, and their pages must hold the rows and counts of one
# tabrun --html over them.
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
# The sh block that follows the marker line of recipe $1.
recipe() {
  awk -v mark="<!-- shard recipe: $1 -->" '$0 == mark { found = 1; next }
    found && /^```sh$/ { on = 1; next } on && /^```$/ { exit } on' "$repo/README.md"
}
shared=$(recipe shared) scratch=$(recipe scratch)
if [[ $shared != *"/archive"* || $scratch != *"/scratch"* ]]; then
  echo "shard recipe: the recipes are not found in README.md"
  exit 1
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/tabrun-shard.XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
# The recipes call `tabrun`: this one, through the emulator when there is one.
mkdir bin
printf '#!/bin/sh\nexec %s %q "$@"\n' "$emulator" "$binary" > bin/tabrun
# The stand-in ssh: ssh [OPTIONS] HOST [--] COMMAND runs COMMAND in nodes/HOST, with SHELL set
# as sshd sets it (GNU parallel's remote side runs its command with $SHELL).
cat > bin/ssh-here <<EOF
#!/bin/sh
while [ "\${1#-}" != "\$1" ]; do shift; done
host=\$1; shift; [ "\$1" = -- ] && shift
export SHELL=/bin/sh
cd "$work/nodes/\$host" && PATH="$work/nodes/\$host/bin:\$PATH" exec sh -c "\$*"
EOF
chmod 755 bin/tabrun bin/ssh-here
export LC_ALL=C PATH=$work/bin:$PATH SOURCE_DATE_EPOCH=0

fail() { echo "shard recipe: $*"; exit 1; }
# What a page says of its rows: its columns, its counts, its CPU time and best run.
rows_of() { grep -o '"columns":.*"tails"' "$1"; sed -n '/<p id="counts">/,/<\/header>/p' "$1"; }
same_rows() { cmp -s <(rows_of "$1") <(rows_of "$2") || fail "$3 does not hold the rows of $1"; }

# Shared: every node sees the archive; rows come back over ssh.
mkdir -p "archive/run 1" archive/run2 archive/run3 archive/run4
cp "$repo"/examples/batch/*.log "archive/run 1/"
cp "$repo"/examples/batch/cu2o_rt.log archive/run2/
printf ' Control file *.pcr: lf\n Normal end\n CPU Time: 2\n' > archive/run4/$'line\nfeed.log'
echo : > nodes.txt  # ':' is this machine
logs=$(find archive -name '*.log' -exec printf x \; | wc -c)
bash -c "${shared//\/archive/archive}"
tabrun --csv archive/* > whole.csv || true
tabrun --html archive/* > whole.html || true
if ! cmp -s whole.csv all.csv; then
  diff whole.csv all.csv | head -20
  fail "the merged CSV differs from one run over all directories"
fi
# A tabrun that cannot run leaves both sides empty: the rows are counted too. The header, a
# row per log, and one line more for the row whose name holds a line feed.
lines=$(wc -l < all.csv)
((lines == logs + 2)) || fail "$lines lines merged for $logs logs, not $((logs + 2))"
same_rows whole.html campaign.html "the shared recipe's page"

# Node-local: each stand-in node has its own scratch/runs; rows come back over ssh as JSON.
for node in node01 node02; do
  mkdir -p nodes/$node/bin nodes/$node/scratch/runs
  printf '#!/bin/sh\necho %s\n' $node > nodes/$node/bin/hostname
  chmod 755 nodes/$node/bin/hostname
done
cp "$repo"/examples/batch/*.log nodes/node01/scratch/runs/
cp "$repo"/examples/batch/cu2o_rt.log nodes/node02/scratch/runs/
printf 'node01\nnode02\n' > nodes.txt
PARALLEL_SSH=$work/bin/ssh-here bash -c "${scratch//\/scratch/scratch}"
# One run over both nodes' logs, named as the links in the recipe name them.
mkdir one && ln -s ../nodes/node01/scratch/runs one/node01 && ln -s ../nodes/node02/scratch/runs one/node02
(cd one && tabrun --json node01 node02 > ../one.json; tabrun --csv node01 node02 > ../one.csv
  tabrun --html node01 node02 > ../one.html) || true
cmp -s one.json campaign.json || fail "the nodes' JSON differs from one run over their logs"
cmp -s one.csv campaign.csv || fail "the CSV of the nodes' rows differs from one run's"
same_rows one.html campaign.html "the node-local recipe's page"
echo "shard recipe: $logs rows merged under one header, $(wc -l < one.json) from two nodes;" \
  "the pages hold them"
