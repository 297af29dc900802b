// The chart's axes and bins: the ends of an axis, its ticks and their labels, and the bins of
// a histogram. Every function is bounded for any pair of doubles, infinite ends included: the
// ends are first brought within the finite doubles (and within the positive ones on a
// logarithmic axis), so that no loop runs for ever and no width overflows.
'use strict';

const PageAxes = (() => {
  const TICK_STEPS = [1, 2, 5, 10];
  const MAX = Number.MAX_VALUE;

  // [lo, hi] brought within the finite doubles (and above `least`); null when either is NaN
  // or lo > hi.
  function within(lo, hi, least = -MAX) {
    if (!(lo <= hi)) return null;
    return [Math.min(Math.max(lo, least), MAX), Math.min(Math.max(hi, least), MAX)];
  }

  // The ends of an axis that shows the values lo to hi: with a twentieth of their span (or a
  // tenth of their size, or 1) to spare on each side when `spare`, else only when lo = hi.
  // Finite, and lo < hi unless both are a limit of the doubles; those of [0, 1] when there is
  // no value (lo > hi).
  function axisEnds(lo, hi, spare) {
    const ends = within(lo, hi) || [0, 1];
    const [a, b] = ends;
    if (!spare && a < b) return ends;
    const pad = (b / 2 - a / 2) * 0.1 || Math.abs(a) * 0.1 || 1;  // halved: b - a can overflow
    return [Math.max(a - pad, -MAX), Math.min(b + pad, MAX)];
  }

  // At most count + 1 round values in [lo, hi] (multiples of 1, 2 or 5 times a power of ten),
  // whole numbers only when `integer`. Values one ulp apart, huge ones and denormals give few
  // ticks or one; infinite ends count as the largest doubles; NaN gives none.
  function ticks(lo, hi, count, integer = false) {
    const ends = within(lo, hi);
    if (!ends) return [];
    [lo, hi] = ends;
    if (lo === hi) return [lo];
    const raw = (hi / 2 - lo / 2) / count * 2;
    if (!(raw > 0) || !Number.isFinite(raw)) return [lo, hi];
    const power = 10 ** Math.floor(Math.log10(raw));
    let step = TICK_STEPS.map((m) => m * power).find((s) => s >= raw && Number.isFinite(s));
    if (!(step > 0)) return [lo, hi];
    if (integer) step = Math.max(1, Math.round(step));
    const first = Math.ceil(lo / step);
    const out = [];
    for (let i = 0; i <= count + 1; i++) {
      // Rounded to 12 digits so that 0.1 * 3 reads 0.3; kept only when it moves and fits.
      const t = Number(((first + i) * step).toPrecision(12));
      if (t > hi) break;
      if (t >= lo && t !== out[out.length - 1]) out.push(t);
    }
    return out.length ? out : [lo, hi];
  }

  // Ticks for a logarithmic axis over the values lo to hi: powers of ten, every k-th one when
  // there are more than count of them, with 2 and 5 times them on ranges of three decades or
  // less; within one decade without a power, the linear ticks of the range. Ends at or below 0
  // count as the least positive double, infinite ones as the largest, so that at most the 634
  // decades of the doubles are visited.
  function logTicks(lo, hi, count) {
    const ends = within(lo, hi, Number.MIN_VALUE);
    if (!ends) return [];
    [lo, hi] = ends;
    const from = Math.ceil(Math.log10(lo));
    const to = Math.floor(Math.log10(hi));
    const every = Math.max(1, Math.ceil((to - from + 1) / count));
    const within10 = to - from < 3 ? [1, 2, 5] : [1];
    const out = [];
    for (let d = from - 1; d <= to; d++) {
      if ((d - from) % every !== 0 && d >= from) continue;
      for (const m of within10) {
        const t = Number((m * 10 ** d).toPrecision(12));
        if (t >= lo && t <= hi) out.push(t);
      }
    }
    return out.length >= 2 ? out : ticks(lo, hi, count);
  }

  // A tick's text, short enough for the chart's left margin: at most five digits, or a power
  // of ten with at most three (1e9, 2.5e-7).
  function tickLabel(v) {
    const plain = String(Number(v.toPrecision(5)));
    if (plain.length <= 7 && !plain.includes('e')) return plain;
    const [mantissa, exponent] = v.toExponential(2).split('e');
    return `${Number(mantissa)}e${Number(exponent)}`;
  }

  // The value at position p of a logarithmic axis, 10^p, within the positive finite doubles.
  const unlog = (p) => Math.min(Math.max(10 ** p, Number.MIN_VALUE), MAX);

  // The ticks of an axis from lo to hi as [position, text] pairs. On a logarithmic axis
  // (`log`) the positions, and lo and hi, are log10 of the values the texts name.
  function axisTicks(lo, hi, count, log, integer) {
    if (!log) return ticks(lo, hi, count, integer).map((t) => [t, tickLabel(t)]);
    return logTicks(unlog(lo), unlog(hi), count).map((t) => [Math.log10(t), tickLabel(t)]);
  }

  // The i-th of the edges that cut [lo, hi] into `bins` of equal width (0 is lo, bins is hi);
  // finite for finite ends, however wide the range.
  function binEdge(lo, hi, bins, i) {
    if (i >= bins) return hi;
    const width = hi - lo;
    if (Number.isFinite(width)) return lo + (width * i) / bins;
    return 2 * (lo / 2 + ((hi / 2 - lo / 2) / bins) * i);  // halved: the width overflows
  }

  // Histogram bins of the values in [lo, hi]: by Rice's rule, 2 n^(1/3) of them rounded up, 1
  // to 100, of equal width (on the axis as drawn: log10 of the values on a logarithmic one;
  // `values` are then already log10). A value on an inner edge goes to the bin above it, hi to
  // the last bin. Infinite ends count as the largest doubles. Returns {lo, hi, counts}.
  function histogram(values, lo, hi) {
    [lo, hi] = within(lo, hi) || [0, 0];
    let n = 0;
    for (const v of values) if (v >= lo && v <= hi) n++;
    const bins = lo < hi ? Math.min(100, Math.max(1, Math.ceil(2 * Math.cbrt(n)))) : 1;
    const counts = new Uint32Array(bins);
    for (const v of values) if (v >= lo && v <= hi) counts[binOf(v, lo, hi, bins)]++;
    return {lo, hi, counts};
  }

  // The bin of v in [lo, hi] cut into `bins`, as binEdge cuts it.
  function binOf(v, lo, hi, bins) {
    let at = Math.min(bins - 1, Math.floor((v / 2 - lo / 2) / (hi / 2 - lo / 2) * bins) || 0);
    // The estimate can miss by one where rounding differs; the edges decide.
    if (at > 0 && v < binEdge(lo, hi, bins, at)) at--;
    if (at < bins - 1 && v >= binEdge(lo, hi, bins, at + 1)) at++;
    return at;
  }

  return {axisEnds, ticks, logTicks, tickLabel, unlog, axisTicks, binEdge, binOf, histogram};
})();

if (typeof module === 'object' && module) module.exports = PageAxes;
