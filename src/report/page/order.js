// The page's orders: the natural order of names, texts by code units, and rows by a number of
// each. They hold at any number of rows, and run as fast in every browser: radix sorts of the
// texts' code units and of the numbers' bits, without a comparison function but for small
// groups, and without a string made per row.
'use strict';

const PageOrder = (() => {
  const POWERS = Array.from({length: 23}, (_, k) => 10 ** k);  // exact doubles
  const double = new Float64Array(1);
  const halves = new Uint16Array(double.buffer);  // its bits, 16 at a time
  const LITTLE = new Uint8Array(Uint16Array.of(1).buffer)[0] === 1;  // the byte order of bits
  const isDigit = (unit) => unit >= 48 && unit <= 57;

  // The keys of texts as one run of code units: the key of text r is units[start[r]] to
  // units[start[r + 1]] (not included). A plain key is the text, one byte a unit when every
  // text is ASCII (half the memory to walk, in the same order). A natural key writes each
  // number of the text as name_number reads it (a run of digits, with a '.' and the run of
  // digits right after it when they follow) as a '0' and the four units of its double, high
  // first: numbers hold no sign, and the bits of non-negative doubles order as their values.
  // So natural keys order numbers by value (T5K < T10K < T100K, T12.25K < T12.5K) and as a '0'
  // against other text, the rest by code units; every number is five units long, so the rest
  // stays aligned. Texts that write equal numbers apart (T05, T5) have equal keys.
  function keysOf(texts, natural) {
    return natural ? naturalKeys(texts) : plainKeys(texts);
  }

  function plainKeys(texts) {
    const start = new Uint32Array(texts.length + 1);
    for (let r = 0; r < texts.length; r++) start[r + 1] = start[r] + texts[r].length;
    const bytes = asciiOf(texts, start[texts.length]);
    if (bytes) return {units: bytes, start};
    const units = new Uint16Array(start[texts.length]);
    for (let r = 0; r < texts.length; r++) writePlain(texts[r], units, start[r]);
    return {units, start};
  }

  function naturalKeys(texts) {
    const start = new Uint32Array(texts.length + 1);
    let units = new Uint16Array(1024);
    let p = 0;
    for (let r = 0; r < texts.length; r++) {
      const text = texts[r];
      start[r] = p;
      if (units.length < p + 5 * text.length) units = grown(units, p + 5 * text.length);
      p = writeNatural(text, units, p);
    }
    start[texts.length] = p;
    return {units, start};
  }

  // The texts' code units as bytes, all in one (a native copy, not one unit at a time), when
  // they are `length` units of ASCII in all; else null.
  const encoder = new TextEncoder();
  function asciiOf(texts, length) {
    if (length > 2 ** 27) return null;  // far below the longest string a browser makes
    const bytes = new Uint8Array(length);
    // A unit above ASCII takes two bytes or more, so then the bytes run out before the units.
    return encoder.encodeInto(texts.join(''), bytes).read === length ? bytes : null;
  }

  function grown(units, least) {
    const out = new Uint16Array(Math.max(least, 2 * units.length));
    out.set(units);
    return out;
  }

  function writePlain(text, units, p) {
    for (let i = 0; i < text.length; i++) units[p++] = text.charCodeAt(i);
    return p;
  }

  function writeNatural(text, units, p) {
    for (let i = 0; i < text.length;) {
      if (!isDigit(text.charCodeAt(i))) {
        units[p++] = text.charCodeAt(i++);
        continue;
      }
      let end = i;
      while (isDigit(text.charCodeAt(end))) end++;
      const point = end;
      if (text.charCodeAt(end) === 46 && isDigit(text.charCodeAt(end + 1))) {
        for (end++; isDigit(text.charCodeAt(end));) end++;
      }
      double[0] = numberIn(text, i, point, end);
      units[p] = 48;
      for (let k = 0; k < 4; k++) units[p + 1 + k] = halves[LITTLE ? 3 - k : k];
      p += 5;
      i = end;
    }
    return p;
  }

  // The number text[from, end), its point (if any) at `point`: digit by digit while the digits
  // and the power of ten are exact doubles, whose one quotient is then rounded once, as
  // Number() rounds the text; else Number() itself.
  function numberIn(text, from, point, end) {
    const scale = end > point ? end - point - 1 : 0;
    if (end - from - (scale ? 1 : 0) > 15 || scale > 22) return Number(text.slice(from, end));
    let mantissa = 0;
    for (let i = from; i < end; i++) {
      if (i !== point) mantissa = mantissa * 10 + text.charCodeAt(i) - 48;
    }
    return mantissa / POWERS[scale];
  }

  const byUnits = (a, b) => (a < b ? -1 : a > b ? 1 : 0);

  // Key a against key b from unit `at` on, as texts compare by code units.
  function compareKeys({units, start}, a, b, at) {
    const [ea, eb] = [start[a + 1], start[b + 1]];
    let [i, j] = [start[a] + at, start[b] + at];
    for (; i < ea && j < eb; i++, j++) if (units[i] !== units[j]) return units[i] - units[j];
    return (ea - i) - (eb - j);
  }

  // A natural key as a text, and the natural order of two texts: by key, then by the texts.
  const naturalKey = (text) => {
    const {units, start} = keysOf([text], true);
    return String.fromCharCode(...units.subarray(0, start[1]));
  };
  const naturalCompare = (a, b) => {
    const keys = keysOf([a, b], true);
    return Math.sign(compareKeys(keys, 0, 1, 0)) || byUnits(a, b);
  };

  // The unit of key r at `at` plus one, 0 past its end: an end comes before any unit.
  function unit({units, start}, r, at) {
    const p = start[r] + at;
    return p < start[r + 1] ? units[p] + 1 : 0;
  }

  // The `count` units of key r from `at` on as one number, each unit() a digit of base `base`,
  // the first the highest: the digits order as the units do.
  function digits(keys, r, at, count, base) {
    let d = 0;
    for (let k = 0; k < count; k++) d = d * base + unit(keys, r, at + k);
    return d;
  }

  // The base of unit() for the keys: 1 above the most it returns, which has the bits that some
  // unit has (texts of ASCII alone sort several units a pass).
  function baseOf({units, start}) {
    let bits = 0;
    for (let p = 0, end = start[start.length - 1]; p < end; p++) bits |= units[p];
    return 2 ** (32 - Math.clz32(bits)) + 1;
  }

  // The most digits of base `base` (above 1) whose numbers stay at or below `limit`, at least
  // one.
  function digitsBelow(base, limit) {
    let [count, power] = [1, base * base];
    for (; power <= limit && base > 1; power *= base) count++;
    return count;
  }

  // Row a against row b, their keys equal before `at`: by key, then by the ties (when there
  // are any), then by row.
  function compareRows({keys, ties}, a, b, at) {
    return compareKeys(keys, a, b, at) || (ties && byUnits(ties[a], ties[b])) || a - b;
  }

  // The rows of order[from, to) sorted by comparison, their keys equal before `at`; each row
  // whose key is the one before it is marked `same`. Few rows go by insertion, without a
  // function or an array made for them.
  function sortSmall(sort, from, to, at) {
    const {order, keys, same} = sort;
    if (to - from > 24) {
      const part = Array.from(order.subarray(from, to));
      order.set(part.sort((a, b) => compareRows(sort, a, b, at)), from);
    } else {
      for (let i = from + 1; i < to; i++) {
        const row = order[i];
        let j = i - 1;
        for (; j >= from && compareRows(sort, order[j], row, at) > 0; j--) order[j + 1] = order[j];
        order[j + 1] = row;
      }
    }
    for (let i = from + 1; i < to; i++) {
      same[i] = compareKeys(keys, order[i - 1], order[i], at) === 0 ? 1 : 0;
    }
  }

  // The rows of order[from, to), whose keys are all the same: sorted by the ties, when there
  // are any, and marked `same` but the first.
  function settle(sort, from, to, at) {
    if (sort.ties) sortSmall(sort, from, to, at);
    else sort.same.fill(1, from + 1, to);
  }

  // Sorts the rows of a large group by the units of their keys from `at` on, as many as make
  // one digits() below the length of `counts`, in a counting sort (stable: rows that agree stay
  // in row order); pushes onto `todo` each run of rows that agree so far and have units left.
  function bucketGroup(sort, from, to, at) {
    const {keys, order, codes, rows, base, bucketUnits: step} = sort;
    const counts = sort.counts.fill(0);
    for (let i = from; i < to; i++) {
      counts[(codes[i] = digits(keys, order[i], at, step, base)) + 1]++;
    }
    // Units that the whole group shares need no moves.
    if (counts[codes[from] + 1] === to - from) {
      if (codes[from] % base === 0) settle(sort, from, to, at);
      else sort.todo.push(from, to, at + step);
      return;
    }
    for (let c = 1; c < counts.length; c++) counts[c] += counts[c - 1];
    rows.set(order.subarray(from, to), from);
    for (let i = from; i < to; i++) order[from + counts[codes[i]]++] = rows[i];
    // counts[c] is now where the rows of code c end.
    let begin = 0;
    for (let c = 0; c < counts.length - 1 && begin < to - from; c++) {
      const end = counts[c];
      if (c % base === 0) settle(sort, from + begin, from + end, at);
      else if (end - begin > 1) sort.todo.push(from + begin, from + end, at + step);
      begin = end;
    }
  }

  // How many units from `at` on the keys of order[from, to) all share.
  function sharedUnits({units, start}, order, from, to, at) {
    const first = start[order[from]] + at;
    let shared = Math.max(0, start[order[from] + 1] - first);
    for (let i = from + 1; i < to && shared > 0; i++) {
      const key = start[order[i]] + at;
      const most = Math.min(shared, start[order[i] + 1] - key);
      let k = 0;
      while (k < most && units[key + k] === units[first + k]) k++;
      shared = k;
    }
    return shared;
  }

  // Sorts the rows of a group by the units of their keys from `start` on: past the units they
  // all share, in one native sort of doubles that pack as many units of each row's key as fit
  // beside its place in the group; pushes onto `todo` each run of rows that agree so far and
  // have units left.
  function packGroup(sort, from, to, start) {
    const {keys, order, rows, base, packUnits: step} = sort;
    const at = start + sharedUnits(keys, order, from, to, start);
    const size = to - from;  // at most 2 ** 16, so that base ** step * size <= 2 ** 53
    const packed = sort.packed.subarray(0, size);
    let same = true;
    for (let i = 0; i < size; i++) {
      packed[i] = digits(keys, order[from + i], at, step, base);
      same = same && packed[i] === packed[0];
    }
    // A prefix that the whole group shares needs no sort.
    if (same) {
      if (packed[0] % base !== 0) sort.todo.push(from, to, at + step);
      else settle(sort, from, to, at);
      return;
    }
    for (let i = 0; i < size; i++) packed[i] = packed[i] * size + i;
    packed.sort();
    rows.set(order.subarray(from, to), from);
    let begin = 0;
    for (let i = 0; i <= size; i++) {
      const code = i < size ? Math.floor(packed[i] / size) : -1;
      if (i < size) order[from + i] = rows[from + packed[i] - code * size];
      const last = i > 0 ? Math.floor(packed[i - 1] / size) : code;
      if (code === last) continue;
      if (last % base === 0) settle(sort, from + begin, from + i, at);
      else if (i - begin > 1) sort.todo.push(from + begin, from + i, at + step);
      begin = i;
    }
  }

  const MOST_RUNS = 16;

  // Sorts the rows by merging the runs of them that are in order already, when there are at
  // most MOST_RUNS: a batch's names come in the order of their code units, and where their
  // numbers are written to one width natural order breaks that only where a number grows a
  // digit (run999999, run1000000). Marks in `same` each row whose key is the one before it;
  // false, with nothing changed, when there are more runs.
  function mergeRuns(sort) {
    const n = sort.order.length;
    let bounds = [0];
    for (let r = 1; r < n; r++) {
      if (compareRows(sort, r - 1, r, 0) > 0 && bounds.push(r) > MOST_RUNS) return false;
    }
    bounds.push(n);
    let [order, spare] = [sort.order, new Uint32Array(n)];
    for (; bounds.length > 2; [order, spare] = [spare, order]) {
      const next = [];
      for (let k = 0; k + 1 < bounds.length; k += 2) {
        const [from, middle] = [bounds[k], bounds[k + 1]];
        const to = bounds[Math.min(k + 2, bounds.length - 1)];
        for (let [i, j, p] = [from, middle, from]; p < to; p++) {
          const right = j < to && (i >= middle || compareRows(sort, order[i], order[j], 0) > 0);
          spare[p] = right ? order[j++] : order[i++];
        }
        next.push(from);
      }
      bounds = [...next, n];
    }
    sort.order = order;
    const {keys, same} = sort;
    for (let i = 1; i < n; i++) same[i] = compareKeys(keys, order[i - 1], order[i], 0) ? 0 : 1;
    return true;
  }

  // The rows of `texts` in order (`order`), and which have the key of the row before them
  // (`same`): an MSD radix sort, so that no comparison function runs for large groups; the
  // groups left to sort wait in `todo` as (from, to, at) triples.
  function sortTexts(texts, natural) {
    const n = texts.length;
    const sort = {keys: keysOf(texts, natural), ties: natural ? texts : null,
      order: new Uint32Array(n), same: new Uint8Array(n)};
    for (let r = 0; r < n; r++) sort.order[r] = r;
    if (mergeRuns(sort)) return sort;
    const base = baseOf(sort.keys);
    const bucketUnits = digitsBelow(base, 2 ** 16);
    Object.assign(sort, {base, bucketUnits, packUnits: digitsBelow(base, 2 ** 37),
      rows: new Uint32Array(n), codes: new Uint32Array(n),
      packed: new Float64Array(Math.min(n, 2 ** 16)),
      counts: new Uint32Array(base ** bucketUnits + 1), todo: [0, n, 0]});
    while (sort.todo.length) {
      const at = sort.todo.pop();
      const to = sort.todo.pop();
      const from = sort.todo.pop();
      if (to - from > 2 ** 16) bucketGroup(sort, from, to, at);
      else if (to - from >= 24) packGroup(sort, from, to, at);
      else sortSmall(sort, from, to, at);
    }
    return sort;
  }

  // The indices of `texts` in order: natural order when `natural` (texts with equal keys by
  // the texts themselves, so that T05 comes before T5), else by code units; equal texts in
  // index order.
  const orderOfTexts = (texts, natural = false) => sortTexts(texts, natural).order;

  // The order of the texts: for each its place among the different texts (0 first; natural
  // order when `natural`, else by code units), NaN for an empty one, and the rows whose text
  // is not empty by their place, ties in row order.
  function textOrder(texts, natural) {
    const {order, same, keys: {start}} = sortTexts(texts, natural);
    const places = new Float64Array(texts.length);
    const rows = new Uint32Array(texts.length);
    let [place, k] = [-1, 0];
    for (let i = 0; i < order.length; i++) {
      const r = order[i];
      if (!same[i] || (natural && texts[r] !== texts[order[i - 1]])) place++;
      // Only an empty text has an empty key.
      places[r] = start[r] === start[r + 1] ? NaN : place;
      if (start[r] !== start[r + 1]) rows[k++] = r;
    }
    return {places, rows: rows.subarray(0, k)};
  }
  const textPlaces = (texts, natural) => textOrder(texts, natural).places;

  // The order of a column's cells ({name, type, data, values}, as PageCells has them): `places`,
  // a number per row that sorts as its cell does, NaN for an empty cell (a number itself, else
  // the place of its text or code name among the column's, in natural order for texts when
  // `natural`); and for a text column `rows`, its rows that have a text by their place.
  function columnOrder(c, natural) {
    if (c.type === 'number') return {places: c.data, rows: null};
    if (c.type === 'text') return textOrder(c.data, natural);
    const place = textPlaces(c.values, false);
    return {places: Float64Array.from(c.data, (code) => place[code]), rows: null};
  }

  // Which word of a double's bits, seen as two Uint32 words, is the high one.
  const HIGH_WORD = LITTLE ? 1 : 0;

  // The rows whose key is a number, by their key (descending when `desc`), ties in row order:
  // an LSD radix sort, 16 bits a pass, of each key's bits made to order as the keys do.
  function rowsByKey(key, desc = false) {
    const values = new Float64Array(key.length);
    const rows = new Uint32Array(key.length);
    let m = 0;
    for (let r = 0; r < key.length; r++) {
      if (Number.isNaN(key[r])) continue;
      values[m] = key[r] === 0 ? 0 : key[r];  // -0 and 0 are one key
      rows[m++] = r;
    }
    const word = new Uint32Array(values.buffer);
    const [low, high] = [new Uint32Array(m), new Uint32Array(m)];
    const turn = desc ? 0xffffffff : 0;
    for (let i = 0; i < m; i++) {
      // Negative doubles order backwards: all their bits flip; the others go above them.
      const negative = word[2 * i + HIGH_WORD] >>> 31 ? 0xffffffff : 0;
      high[i] = (word[2 * i + HIGH_WORD] ^ (negative || 0x80000000) ^ turn) >>> 0;
      low[i] = (word[2 * i + 1 - HIGH_WORD] ^ negative ^ turn) >>> 0;
    }
    let order = Uint32Array.from(rows.subarray(0, m).keys());
    let spare = new Uint32Array(m);
    const counts = new Uint32Array(0x10000);
    for (const [words, shift] of [[low, 0], [low, 16], [high, 0], [high, 16]]) {
      if (countingPass(order, words, shift, counts, spare)) [order, spare] = [spare, order];
    }
    for (let i = 0; i < m; i++) spare[i] = rows[order[i]];
    return spare;
  }

  // Stably sorts `order` into `out` by 16 bits of words[i] from `shift` on; false, and nothing
  // written, when those bits are the same for all.
  function countingPass(order, words, shift, counts, out) {
    counts.fill(0);
    for (let i = 0; i < order.length; i++) counts[(words[i] >>> shift) & 0xffff]++;
    if (!order.length || counts[(words[0] >>> shift) & 0xffff] === order.length) return false;
    let sum = 0;
    for (let d = 0; d < counts.length; d++) {
      const count = counts[d];
      counts[d] = sum;
      sum += count;
    }
    for (let i = 0; i < order.length; i++) {
      const p = order[i];
      out[counts[(words[p] >>> shift) & 0xffff]++] = p;
    }
    return true;
  }

  // `rows` (by a key, ascending, ties in row order) the other way: descending, ties still in
  // row order.
  function reversed(rows, key) {
    const out = new Uint32Array(rows.length);
    let k = 0;
    for (let end = rows.length; end > 0;) {
      let begin = end - 1;
      while (begin > 0 && key[rows[begin - 1]] === key[rows[end - 1]]) begin--;
      out.set(rows.subarray(begin, end), k);
      k += end - begin;
      end = begin;
    }
    return out;
  }

  // The rows of `kept` (rows by a key, those without one left out), then those of `shown` that
  // have no key, in the order of `shown`: empty cells come last in either direction.
  function emptyLast(kept, key, shown) {
    const out = new Uint32Array(shown.length);
    out.set(kept);
    out.set(shown.filter((r) => Number.isNaN(key[r])), kept.length);
    return out;
  }

  return {naturalKey, naturalCompare, orderOfTexts, textOrder, textPlaces, columnOrder, rowsByKey,
    reversed, emptyLast};
})();

if (typeof module === 'object' && module) module.exports = PageOrder;
