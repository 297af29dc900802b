#!/usr/bin/env bash
# Makes docs/live.png: the live page of tabrun --html --watch over a temperature series that is
# still running (runs finished, two dying of a singular matrix, eight running), in headless
# Chromium. Usage: bash docs/live_screenshot.sh TABRUN
set -euo pipefail
tabrun=$(realpath "$1")
out=$(cd "$(dirname "$0")" && pwd)/live.png
work=$(mktemp -d "${TMPDIR:-/tmp}/tabrun-live.XXXXXX")
trap 'kill -INT $watch 2>/dev/null; wait; rm -rf "$work"' EXIT
mkdir "$work/series"
for ((t = 10; t <= 300; t += 5)); do
  log=$work/series/NdFeB_T$(printf %03d $t)K.log
  printf ' Control file *.pcr: NdFeB_T%03dK\n' $t >"$log"
  if ((t > 260)); then
    printf ' => Cycle: 3\n' >>"$log"  # still refining
  elif ((t == 85 || t == 190)); then
    printf ' => Abnormal end of run: singular matrix\n' >>"$log"
  else
    chi2=$(awk -v t=$t 'BEGIN { printf "%.2f", 1.2 + 2.5 * exp(-((t - 150) / 40) ^ 2) }')
    printf ' => Chi2: %s  Rp: 6.1  Rwp: 8.0  Rexp: 5.2\n Normal end\n CPU Time: %d.5 s\n' \
      "$chi2" $((300 + t)) >>"$log"
  fi
done
(cd "$work" && exec "$tabrun" --html --watch --output live.html series) &
watch=$!
until [[ -s $work/live.html ]]; do sleep 0.2; done
chromium --headless --no-sandbox --disable-gpu --hide-scrollbars --window-size=1200,900 \
  --virtual-time-budget=1500 --screenshot="$out" "file://$work/live.html#figure=chi2&x=num" \
  2>/dev/null
echo "made $out"
