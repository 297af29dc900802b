#!/usr/bin/env bash
# Times tabrun on a stand-in for a network file system, at its default and with -j 8, 32 and
# 128, beside ripgrep at its default and a parallel cat, and checks its targets.
#
#   bash bench/netfs.sh [--smoke] [--runs N] [--logs N] [--size BYTES] [--rtts "US..."]
#                       [--scratch DIR] [--tabrun PATH]
#
#   --smoke    300 logs at a 1 ms round trip, one run each, in seconds; targets are not enforced
#   --runs N   runs of each command, the median is reported (default 3; 1 with --smoke)
#   --logs N   --size BYTES: the logs (default 2000 of 10k; k, M as tabrun_gen_corpus takes them)
#   --rtts     the round trips timed, in microseconds (default "1000 200"; "1000" with --smoke)
#   --scratch  where the logs and the mount point go (default ${TMPDIR:-/tmp}/tabrun-netfs)
#   --tabrun   time this binary; then only the generator and the relay are built
#
# The stand-in needs no network and no kernel module beyond FUSE: sshfs mounts the logs' folder
# with -o ssh_command='tabrun_latency_relay HALF', which starts the local sftp server
# (/usr/lib/openssh/sftp-server) and relays both directions, holding every message for half the
# round trip without holding up those behind it. Every command runs on a fresh mount, so that
# no cache of sshfs or of the kernel carries over. Needs the Debian packages sshfs,
# openssh-sftp-server and ripgrep, and /dev/fuse; without the first two or /dev/fuse it says so
# and skips, but not in CI (CI=true), where they are installed. Every step is bounded by a
# timeout, and the mount is taken away on exit.
#
# Columns: t = tabrun (the default mode; its ls -l runs on the mount too), d = tabrun --csv .;
# t8, t32, t128, d8, d32, d128 = the same with -j; rg = ripgrep with the four markers of
# bench/run.sh's grep; cat = find | xargs -0 -P 64 -n 16 cat. Targets at each round trip: t and d
# at most 1.2 x the best of their -j 8, 32 and 128; d at most 0.4 x rg at 1 ms and 0.6 x at
# 0.2 ms (t/rg is shown: t runs ls -l, which rg does not, and which no -j changes). Exit status:
# 0 when the targets are met (or with --smoke), 1 when one is missed, 2 on an error.

# shellcheck source=bench/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=${TMPDIR:-/tmp}/tabrun-netfs smoke=0 runs="" logs="" size="" rtts="" tabrun=""
bench_options "smoke" "runs logs size rtts scratch tabrun" "$@"
((smoke)) && : "${runs:=1}" "${logs:=300}" "${rtts:=1000}"
: "${runs:=3}" "${logs:=2000}" "${size:=10k}" "${rtts:=1000 200}"
[[ $runs =~ ^[1-9][0-9]*$ ]] || die "--runs needs a positive number, not '$runs'"

server=/usr/lib/openssh/sftp-server
skip() { # WHY: a missing piece ends the run, as a skip outside CI and as an error in it
  [[ ${CI:-} != true ]] || die "$1"
  echo "$script: skipped: $1" && exit 0
}
[[ -e /dev/fuse ]] || skip "/dev/fuse is missing: FUSE is not available here"
command -v sshfs >/dev/null || skip "sshfs is missing: install the Debian package sshfs"
[[ -x $server ]] || skip "$server is missing: install the Debian package openssh-sftp-server"
rg=$(command -v rg || true)
[[ -n $rg || ${CI:-} != true ]] || die "rg is missing: install the Debian package ripgrep"
[[ -n $rg ]] || echo "$script: rg is missing (Debian package ripgrep): no ripgrep column"

bench_build
relay=$build/bench/tabrun_latency_relay
cmake --build "$build" -j2 --target tabrun_latency_relay >"$build/relay.log" 2>&1 ||
  { tail -20 "$build/relay.log" >&2 && die "cannot build the relay (log: $build/relay.log)"; }
mkdir -p "$scratch"
scratch=$(cd "$scratch" && pwd)
logs_dir=$scratch/logs mount=$scratch/mnt res=$scratch/results
unmount() {
  mountpoint -q "$mount" 2>/dev/null || return 0
  timeout 20 fusermount3 -u "$mount" 2>/dev/null || umount -l "$mount"
}
trap 'unmount; rm -rf "$res"' EXIT
mount_at() { # HALF_US: a fresh mount of the logs with that delay each way
  unmount
  timeout 20 sshfs -o ssh_command="$relay $1" "netfs:$logs_dir" "$mount" ||
    skip "sshfs cannot mount here (FUSE needs root or fusermount3's setuid)"
}

stamp="$logs $size $(sha256sum <"$repo/bench/gen_corpus.cc")"
if [[ $(cat "$logs_dir/.stamp" 2>/dev/null) != "$stamp" ]]; then
  echo "== generating $logs logs of $size in $logs_dir"
  rm -rf "$logs_dir"
  "$gen" gen --dir "$logs_dir" --count "$logs" --size "$size" --kind mixed --seed 21 >/dev/null
  echo "$stamp" >"$logs_dir/.stamp"
fi
rm -rf "$res" "$mount" && mkdir -p "$res" "$mount"
"$tabrun" --csv "$logs_dir" | sed "s|^$logs_dir/||" >"$res/want.csv" || true

markers=(-e 'Control file *.pcr:' -e 'Normal end' -e 'CPU Time:' -e 'Chi2:')
declare -A cmd=([t]="'$tabrun' >/dev/null" [d]="'$tabrun' --csv . >/dev/null"
  [cat]="find . -name '*.log' -print0 | xargs -0 -P 64 -n 16 cat >/dev/null")
for j in 8 32 128; do
  cmd[t$j]="'$tabrun' -j $j >/dev/null" cmd[d$j]="'$tabrun' -j $j --csv . >/dev/null"
done
columns=(t t8 t32 t128 d d8 d32 d128 cat)
if [[ -n $rg ]]; then
  cmd[rg]="'$rg' -F -H --glob '*.log' ${markers[*]@Q} . >'$res/matches.txt'"
  columns+=(rg)
fi

median() { sort -g "$1" | awk '{ v[NR] = $1 } END { printf "%.3f", NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

missed=0
printf "%-6s |" rtt
printf " %6s" "${columns[@]}"
printf " | %6s %6s %6s %6s | targets\n" t/best d/best t/rg d/rg
for rtt in $rtts; do
  [[ $rtt =~ ^[1-9][0-9]*$ ]] || die "a round trip is a number of microseconds, not '$rtt'"
  half=$((rtt / 2))
  mount_at "$half"
  (cd "$mount" && timeout 300 "$tabrun" --csv . >"$res/got.csv") || true
  cmp -s "$res/want.csv" "$res/got.csv" || die "tabrun --csv on the mount differs from the folder's"
  # Rounds of every command, so that a slower spell of the machine falls on all of them.
  for ((round = 1; round <= runs; round++)); do
    for c in "${columns[@]}"; do
      mount_at "$half"
      start=$EPOCHREALTIME
      (cd "$mount" && timeout 300 bash -c "${cmd[$c]}") || [[ $c == [td]* ]] ||
        die "$c failed at a round trip of $rtt us"
      awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.4f\n", b - a }' >>"$res/$rtt-$c"
    done
  done
  unmount
  declare -A m=()
  for c in "${columns[@]}"; do m[$c]=$(median "$res/$rtt-$c"); done
  printf "%4s us |" "$rtt"
  for c in "${columns[@]}"; do printf " %6s" "${m[$c]}"; done
  rg_limit=$(awk -v r="$rtt" 'BEGIN { print (r >= 1000 ? 0.4 : 0.6) }')
  line=$(awk -v t="${m[t]}" -v d="${m[d]}" -v rg="${m[rg]:-}" -v lim="$rg_limit" \
    -v bt="$(printf '%s\n' "${m[t8]}" "${m[t32]}" "${m[t128]}" | sort -g | head -1)" \
    -v bd="$(printf '%s\n' "${m[d8]}" "${m[d32]}" "${m[d128]}" | sort -g | head -1)" '
    function show(v) { return v == "" ? "-" : sprintf("%.2f", v) }
    function check(name, v, limit) {
      if (v == "") return
      printf " %s<=%s:%s", name, limit, v <= limit ? "PASS" : "FAIL"
      if (v > limit) failed = 1
    }
    BEGIN {
      r["t/best"] = t / bt; r["d/best"] = d / bd
      if (rg != "") { r["t/rg"] = t / rg; r["d/rg"] = d / rg }
      printf " | %6s %6s %6s %6s |", show(r["t/best"]), show(r["d/best"]), show(r["t/rg"]), show(r["d/rg"])
      check("t/best", r["t/best"], 1.2); check("d/best", r["d/best"], 1.2)
      check("d/rg", r["d/rg"], lim)
      print ""
      exit failed
    }') || missed=1
  echo "$line"
done
echo "tabrun on sshfs through a relay that holds each message for half the round trip: $logs logs" \
  "of $size, median of $runs, seconds; $(nproc) CPUs"
((missed == 0)) || { ((smoke)) && echo "(smoke run: missed targets are not enforced)"; } || exit 1
