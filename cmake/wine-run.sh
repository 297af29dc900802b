#!/usr/bin/env bash
# Runs a Windows program under wine: wine-run.sh PREFIX PROGRAM [ARG]...
# PREFIX is the wine prefix, made on first use (wineboot, once, under a lock: it takes a while).
# Wine's own chatter is off, names are UTF-8 on the Linux side, and a run that hangs is stopped
# after TABRUN_WINE_TIMEOUT seconds (default 600).
set -euo pipefail
prefix=$1
shift
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" LC_ALL=C.UTF-8
if [[ ! -f $prefix/system.reg ]]; then
  mkdir -p "$prefix"
  (
    flock 9
    [[ -f $prefix/system.reg ]] || { wineboot -i && wineserver -w; } > /dev/null 2>&1
  ) 9> "$prefix.lock"
fi
exec timeout "${TABRUN_WINE_TIMEOUT:-600}" wine "$@"
