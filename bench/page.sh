#!/usr/bin/env bash
# Measures the report page of tabrun --html: its size for an empty batch, per 1,000 runs and for
# 200,000 runs; how long headless Chromium and headless Firefox ESR each take from loading it to
# its data-ready mark for 20,000, 200,000 and 1,000,000 runs; sorting, filtering and switching
# the chart's view (where the page has one) on 200,000 and on 1,000,000 rows; and the time of
# tabrun --html against tabrun --csv on the batches up to 200,000. The same for the page of
# tabrun --compare --html of two batches of 200,000 runs with the same names (200,000 pairs),
# and the time of tabrun --compare --csv against two tabrun --csv scans of those batches.
#
#   bash bench/page.sh [--smoke] [--scratch DIR] [--tabrun PATH]
#
#   --smoke    a tenth of the runs (a twentieth of the 1,000,000), in seconds; targets are
#              printed, not enforced
#   --scratch  where the batches go (default ${TMPDIR:-/tmp}/tabrun-page-bench), removed after
#   --tabrun   measure this binary; then only the corpus generator is built (into build-bench/)
#
# The batches are tiny logs from tabrun_gen_corpus (mixed kinds); "failing" is the 20,000 with
# three logs in ten cut short, which fail and bring their tails into the page. Needs
# hyperfine, Chromium, chromedriver, python3-selenium and Firefox ESR (Debian: chromium
# chromium-driver python3-selenium firefox-esr). Exit status: 0 when the targets are met (or with --smoke), 1 when one is
# missed, 2 on an error.

# shellcheck source=bench/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
scratch=${TMPDIR:-/tmp}/tabrun-page-bench smoke=0 tabrun=""
bench_options "smoke" "scratch tabrun" "$@"
command -v hyperfine >/dev/null || die "hyperfine is missing: install the Debian package hyperfine"
bench_build

huge=1000000 big=200000 mid=20000 small=1000
((!smoke)) || huge=50000 big=20000 mid=2000 small=100
rm -rf "$scratch" && mkdir -p "$scratch/empty"
trap 'rm -rf "$scratch"' EXIT
for count in $small $mid $big $huge; do
  echo "== generating $count tiny logs"
  "$gen" gen --dir "$scratch/r$count" --count "$count" --size 300 --kind mixed --seed 21 >/dev/null
done
# The same names refined again: every run of r$big has its pair here.
"$gen" gen --dir "$scratch/again" --count "$big" --size 300 --kind mixed --seed 22 >/dev/null
cp -r "$scratch/r$mid" "$scratch/failing"
find "$scratch/failing" -name '*[048].log' -exec truncate -s 150 {} +

echo "== page sizes"
for dir in empty r$small r$mid r$big r$huge failing; do
  (cd "$scratch/$dir" && "$tabrun" --html . >"$scratch/$dir.html") || true  # 1: bad CPU values
  logs=$(find "$scratch/$dir" -name '*.log' | wc -l)
  bytes=$(wc -c <"$scratch/$dir.html")
  [[ $dir != empty ]] || empty=$bytes
  printf "%-8s %7s logs %10s bytes" "$dir" "$logs" "$bytes"
  [[ $dir == empty ]] || awk -v b="$bytes" -v e="$empty" -v n="$logs" \
    'BEGIN { printf ", %.1f KB per 1,000 runs above the empty page", (b - e) / n }'
  echo
done

(cd "$scratch" && "$tabrun" --compare --html "r$big" again >compare.html) || true
printf "%-8s %7s pairs %10s bytes\n" compare "$big" "$(wc -c <"$scratch/compare.html")"

# The medians of 11 rounds that run each command once, after a round to warm up: rounds, not
# runs in a row, so that a slow moment of the machine hits all the commands alike.
medians() { # DIR COMMAND...: prints the median seconds of each command, in order
  local dir=$1 c
  shift
  rm -f "$scratch/times"
  for round in -1 {1..11}; do
    (cd "$dir" && hyperfine -i -r 1 -N --style none --export-csv "$scratch/t.csv" "$@" \
      >/dev/null 2>&1)
    ((round < 0)) || awk -F, 'NR > 1 { print NR - 1, $2 }' "$scratch/t.csv" >>"$scratch/times"
  done
  for ((c = 1; c <= $#; c++)); do awk -v c=$c '$1 == c { print $2 }' "$scratch/times" |
    sort -g | awk '{ v[NR] = $1 } END { printf "%s ", v[(NR + 1) / 2] }'; done
  echo
}

echo "== tabrun --html against tabrun --csv (hyperfine, median of 11 rounds that run each once)"
ratios=""
for dir in r$mid r$big failing; do
  read -r csv html < <(medians "$scratch/$dir" "'$tabrun' --csv ." "'$tabrun' --html .")
  ratio=$(awk -v h="$html" -v c="$csv" 'BEGIN { printf "%.2f", h / c }')
  ratios+=" $dir:$ratio"
  rss=$(cd "$scratch/$dir" && /usr/bin/time -f %M "$tabrun" --html . 2>&1 >/dev/null | tail -1)
  printf "%-8s --csv %6.3f s  --html %6.3f s  html/csv %s  peak RSS of --html %.1f MiB\n" "$dir" \
    "$csv" "$html" "$ratio" "$(awk -v k="$rss" 'BEGIN { print k / 1024 }')"
done

echo "== tabrun --compare --csv against two tabrun --csv scans, $big runs each (the same rounds)"
read -r one two compared < <(medians "$scratch" "'$tabrun' --csv r$big" "'$tabrun' --csv again" \
  "'$tabrun' --compare --csv r$big again")
compare_ratio=$(awk -v a="$one" -v b="$two" -v c="$compared" 'BEGIN { printf "%.2f", c / (a + b) }')
rss=$(cd "$scratch" && /usr/bin/time -f %M "$tabrun" --compare --html "r$big" again 2>&1 >/dev/null |
  tail -1)
printf "tabrun --csv %.3f s + %.3f s, --compare --csv %.3f s: ratio %s; peak RSS of --compare --html %.1f MiB\n" \
  "$one" "$two" "$compared" "$compare_ratio" "$(awk -v k="$rss" 'BEGIN { print k / 1024 }')"

echo "== headless Chromium and Firefox ESR"
for browser in chromium firefox; do
  for pages in "r$mid r$big" "r$huge"; do
    # shellcheck disable=SC2086 # the pages are words
    /usr/bin/python3 "$repo/bench/page_timing.py" --browser $browser \
      $(printf "$scratch/%s.html " $pages) | tee -a "$scratch/browser.txt"
  done
  /usr/bin/python3 "$repo/bench/page_timing.py" --browser $browser "$scratch/compare.html" |
    tee -a "$scratch/browser.txt"
done

echo "== targets"
missed=0
target() { # WHAT VALUE LIMIT
  local ok=PASS
  awk -v v="$2" -v l="$3" 'BEGIN { exit !(v <= l) }' || { ok=FAIL && missed=1; }
  printf "%-56s %10s <= %-8s %s\n" "$1" "$2" "$3" "$ok"
}
target "empty page, bytes" "$empty" 150000
target "200,000 runs (or the smoke run's), bytes" "$(wc -c <"$scratch/r$big.html")" 15000000
per=$(awk -v b="$(wc -c <"$scratch/r$big.html")" -v e="$empty" -v n=$big \
  'BEGIN { printf "%.0f", (b - e) * 1000 / n }')
target "bytes per 1,000 runs above the empty page" "$per" 50000
# The 200,000 tiny logs carry the target; the smaller batches, where the page's fixed costs and
# the ends of 6,000 failed logs weigh more, are figures.
for r in $ratios; do
  if [[ ${r%:*} == r$big ]]; then
    target "tabrun --html / tabrun --csv, ${r%:*}" "${r#*:}" 1.2
  else
    printf "%-56s %10s\n" "tabrun --html / tabrun --csv, ${r%:*}" "${r#*:}"
  fi
done
target "tabrun --compare --csv / two tabrun --csv, $big runs" "$compare_ratio" 1.1
# Each browser's lines read "BROWSER PAGE: WHAT: N ms"; a missing figure is a missed target.
# Up to 200,000 runs: ready in 1.5 s, each action in 0.3 s; 1,000,000: 4 s and 1 s.
limit() { [[ $1 == r$huge* ]] && echo "$3" || echo "$2"; }
for browser in chromium firefox; do
  for dir in r$mid r$big r$huge compare; do
    ms=$(sed -n "s/^$browser $dir.html: load to data-ready \([0-9]*\) ms.*/\1/p" \
      "$scratch/browser.txt")
    target "$browser: load to data-ready, ${dir#r} runs, ms" "${ms:-none}" "$(limit $dir 1500 4000)"
  done
done
while IFS=: read -r who action ms; do
  page=${who#* } && rows=${page%.html}
  target "${who%% *}: ${action# }, ${rows#r} rows, ms" "${ms// ms/}" "$(limit "$page" 300 1000)"
done < <(grep -v -e data-ready -e skipped "$scratch/browser.txt")
((missed == 0)) || ((smoke)) || exit 1
