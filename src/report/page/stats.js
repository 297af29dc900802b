// What the page counts and sums up over the rows shown: the rows that pass the filters, the
// rows of each status, the best run and the summary of a figure.
'use strict';

const PageStats = (() => {
  // The rows, in row order, whose code is one of `codes` (all when it is empty) and whose
  // lowered name holds `q` (all when it is empty).
  function filterRows(code, codes, lowerNames, q) {
    const out = new Uint32Array(code.length);
    let k = 0;
    for (let r = 0; r < code.length; r++) {
      if (codes.size && !codes.has(code[r])) continue;
      if (q && !lowerNames[r].includes(q)) continue;
      out[k++] = r;
    }
    return out.slice(0, k);
  }

  // How many rows have each of the `kinds` codes.
  function codeCounts(code, kinds) {
    const counts = new Uint32Array(kinds);
    for (const c of code) counts[c]++;
    return counts;
  }

  // The first of `rows` with the lowest value, -1 when none has a value.
  function bestRow(values, rows) {
    let best = -1;
    for (const r of rows) if (values[r] < (best < 0 ? Infinity : values[best])) best = r;
    return best;
  }

  // values[r] for each of `rows`, in their order.
  function valuesAt(values, rows) {
    const out = new Float64Array(rows.length);
    for (let k = 0; k < rows.length; k++) out[k] = values[rows[k]];
    return out;
  }

  // The q-quantile of ascending `sorted` values, interpolated between the two nearest ranks
  // (the rule of R's default and of spreadsheets' QUARTILE.INC).
  function quantile(sorted, q) {
    const h = (sorted.length - 1) * q;
    const i = Math.floor(h);
    const f = h - i;
    return f === 0 ? sorted[i] : sorted[i] * (1 - f) + sorted[i + 1] * f;
  }

  // The summary of a figure over the runs that have it (lower is better): the best value, how
  // many runs have exactly it, how many lie within 10 % of it (best + |best| / 10 or less),
  // the median and the quartiles; null without values.
  function summary(values) {
    const sorted = Float64Array.from(values).filter((v) => !Number.isNaN(v)).sort();
    const n = sorted.length;
    if (n === 0) return null;
    const best = sorted[0];
    const limit = best + Math.abs(best) / 10;
    let ties = 0;
    while (ties < n && sorted[ties] === best) ties++;
    let near = ties;
    while (near < n && sorted[near] <= limit) near++;
    return {n, best, ties, near, q1: quantile(sorted, 0.25), median: quantile(sorted, 0.5),
      q3: quantile(sorted, 0.75)};
  }

  return {filterRows, codeCounts, bestRow, valuesAt, summary};
})();

if (typeof module === 'object' && module) module.exports = PageStats;
