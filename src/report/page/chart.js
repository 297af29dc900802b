// The pure part of the report page's script: axis ticks and their labels, natural order, the
// numbers of the rows, the summary of a figure, histogram bins and the URL's fragment. Nothing
// here touches the page, so that node --test runs it (chart_test.js) as the browser does.
'use strict';

const PageMath = (() => {
  const TICK_STEPS = [1, 2, 5, 10];

  // At most count + 1 round values in [lo, hi] (multiples of 1, 2 or 5 times a power of ten),
  // for any finite lo <= hi; whole numbers only when `integer`. Values one ulp apart, huge ones
  // and denormals give few ticks or one, never a loop that does not end.
  function ticks(lo, hi, count, integer = false) {
    if (!(lo < hi)) return Number.isFinite(lo) && lo === hi ? [lo] : [];
    const raw = (hi / 2 - lo / 2) / count * 2;  // halved first: hi - lo can overflow
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

  // Ticks for a logarithmic axis over the values lo to hi (0 < lo <= hi): powers of ten, every
  // k-th one when there are more than count of them, with 2 and 5 times them on ranges of three
  // decades or less; within one decade without a power, the linear ticks of the range.
  function logTicks(lo, hi, count) {
    const from = Math.ceil(Math.log10(lo));
    const to = Math.floor(Math.log10(hi));
    const decades = to - from;
    const every = Math.max(1, Math.ceil((decades + 1) / count));
    const within = decades < 3 ? [1, 2, 5] : [1];
    const out = [];
    for (let d = from - 1; d <= to; d++) {
      if ((d - from) % every !== 0 && d >= from) continue;
      for (const m of within) {
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

  // A key whose order, by code units, is the natural order of the texts: runs of digits
  // compare as numbers (T5K < T10K < T100K), the rest by code units; on a tie the texts
  // themselves decide, so that T05 comes before T5.
  function naturalKey(text) {
    const key = text.replace(/\d+/g, (digits) => {
      const number = digits.replace(/^0+(?=\d)/, '');
      return `0${String.fromCharCode(number.length)}${number}`;
    });
    return `${key}\0${text}`;
  }
  const naturalCompare = (a, b) => {
    const [ka, kb] = [naturalKey(a), naturalKey(b)];
    return ka < kb ? -1 : ka > kb ? 1 : 0;
  };

  // The indices of `keys` in the order of the keys by code units, equal keys in index order:
  // an MSD radix sort, two code units a pass, each pass a native sort of numbers (code units
  // and index packed in one double), so that no comparison function runs for large groups.
  function orderOfTexts(keys) {
    const order = Uint32Array.from(keys.keys());
    const chunk = (s, at) => (at < s.length ? s.charCodeAt(at) + 1 : 0) * 0x20001 +
      (at + 1 < s.length ? s.charCodeAt(at + 1) + 1 : 0);
    const todo = [[0, order.length, 0]];
    while (todo.length) {
      const [from, to, at] = todo.pop();
      if (to - from < 24) {
        const part = Array.from(order.subarray(from, to));
        part.sort((a, b) => (keys[a] < keys[b] ? -1 : keys[a] > keys[b] ? 1 : a - b));
        order.set(part, from);
        continue;
      }
      const packed = new Float64Array(to - from);
      for (let i = from; i < to; i++) {
        packed[i - from] = chunk(keys[order[i]], at) * 262144 + order[i];
      }
      packed.sort();
      let start = from;
      for (let i = from; i <= to; i++) {
        const code = i < to ? Math.floor(packed[i - from] / 262144) : -1;
        if (i < to) order[i] = packed[i - from] - code * 262144;
        if (i > from && (i === to || code !== Math.floor(packed[i - from - 1] / 262144))) {
          const last = Math.floor(packed[i - from - 1] / 262144);
          if (i - start > 1 && last % 0x20001 !== 0) todo.push([start, i, at + 2]);
          start = i;
        }
      }
    }
    return order;
  }

  // For each text, its place in the order of the different texts (0 first; natural order when
  // `natural`, else by code units), NaN for an empty one. Keys are made once and compared as
  // plain strings, collator-free, so that 200,000 rows sort fast in every browser.
  function textPlaces(texts, natural) {
    const keys = natural ? texts.map(naturalKey) : texts;
    const order = orderOfTexts(keys);
    const out = new Float64Array(texts.length);
    let place = -1;
    order.forEach((r, i) => {
      if (i === 0 || keys[r] !== keys[order[i - 1]]) place++;
      out[r] = texts[r] === '' ? NaN : place;
    });
    return out;
  }

  // A number cell as the rows carry it: tabrun's text of a finite double; an empty cell, or
  // one that does not read as a finite number, has none (NaN).
  function parseNumber(text) {
    const v = text === '' ? NaN : Number(text);
    return Number.isFinite(v) ? v : NaN;
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

  // Histogram bins of the finite values in [lo, hi]: by Rice's rule, 2 n^(1/3) of them rounded
  // up, 1 to 100, of equal width (on the axis as drawn: log10 of the values on a logarithmic
  // one; `values` are then already log10). A value on an inner edge goes to the bin above it,
  // hi to the last bin. Returns {lo, hi, counts}.
  function histogram(values, lo, hi) {
    let n = 0;
    for (const v of values) if (v >= lo && v <= hi) n++;
    const bins = lo < hi ? Math.min(100, Math.max(1, Math.ceil(2 * Math.cbrt(n)))) : 1;
    const counts = new Uint32Array(bins);
    const width = hi / 2 - lo / 2;
    for (const v of values) {
      if (!(v >= lo && v <= hi)) continue;
      const at = width > 0 ? Math.floor(((v / 2 - lo / 2) / width) * bins) : 0;
      counts[Math.min(bins - 1, at)]++;
    }
    return {lo, hi, counts};
  }

  // The view from the URL's fragment (the part after #). `known` lists what may appear:
  // {figures, columns, statuses}; a name it does not list, inherited object members included,
  // is ignored, as is any value a key does not take. `defaults` gives what is missing; an
  // empty sort= is the rows' own order.
  function readHash(fragment, known, defaults) {
    const p = new URLSearchParams(fragment);
    const pick = (key, allowed) => (allowed.includes(p.get(key)) ? p.get(key) : defaults[key]);
    const sort = p.get('sort') || '';
    const column = sort.replace(/^-/, '');
    const zoom = (p.get('zoom') || '').split(',').map((t) => parseNumber(t));
    return {
      figure: pick('figure', known.figures),
      view: pick('view', ['series', 'rank', 'hist']),
      x: pick('x', ['pos', 'num']),
      y: pick('y', ['lin', 'log']),
      sort: known.columns.includes(column) ? column
        : sort === '' && p.has('sort') ? '' : defaults.sort,
      desc: known.columns.includes(column) && sort.startsWith('-'),
      statuses: (p.get('status') || '').split(',').filter((s) => known.statuses.includes(s)),
      q: p.get('q') || '',
      zoom: zoom.length === 2 && zoom[0] < zoom[1] ? zoom : null,
    };
  }

  // The fragment of a view: only what differs from `defaults`, in a fixed order.
  function writeHash(state, defaults) {
    const p = new URLSearchParams();
    for (const key of ['figure', 'view', 'x', 'y']) {
      if (state[key] !== defaults[key]) p.set(key, state[key]);
    }
    if (state.sort !== defaults.sort || state.desc) {
      p.set('sort', (state.desc ? '-' : '') + state.sort);
    }
    if (state.statuses.length) p.set('status', state.statuses.join(','));
    if (state.q) p.set('q', state.q);
    if (state.zoom) p.set('zoom', state.zoom.join(','));
    return p.toString().replaceAll('%2C', ',');  // a comma needs no escape in a fragment
  }

  return {ticks, logTicks, tickLabel, naturalKey, naturalCompare, parseNumber,
    summary, histogram, readHash, writeHash, textPlaces,
    orderOfTexts};
})();

if (typeof module === 'object' && module) module.exports = PageMath;
