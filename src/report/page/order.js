// The page's orders: the natural order of names, texts by code units, and rows by a number of
// each. They hold at any number of rows, and run as fast in every browser: radix sorts of
// plain strings by their code units and of numbers by their bits, without a comparison
// function but for small groups.
'use strict';

const PageOrder = (() => {
  // A number in a name as the rows' name_number reads it: a run of digits, with a '.' and the
  // run of digits right after it when they follow, read from the name's start.
  const NUMBER = /\d+(?:\.\d+)?/g;
  const bits = new DataView(new ArrayBuffer(8));

  // The number's double as four code units, high first, after a '0': numbers hold no sign, and
  // the bits of non-negative doubles order as their values.
  function numberUnits(digits) {
    bits.setFloat64(0, Number(digits));
    return String.fromCharCode(48, bits.getUint16(0), bits.getUint16(2), bits.getUint16(4),
      bits.getUint16(6));
  }

  // A key whose order by code units is the natural order of the texts: each number compares by
  // its value (T5K < T10K < T100K, T12.25K < T12.5K, as name_number reads them) and against
  // other text as a '0' would, the rest by code units. Every number is five units long, so the
  // rest stays aligned. Texts that write equal numbers apart (T05, T5) have equal keys: the
  // texts themselves decide between them, so that T05 comes before T5.
  const naturalKey = (text) => text.replace(NUMBER, numberUnits);
  const byUnits = (a, b) => (a < b ? -1 : a > b ? 1 : 0);
  const naturalCompare = (a, b) => byUnits(naturalKey(a), naturalKey(b)) || byUnits(a, b);

  // The unit of s at `at` plus one, 0 past its end: an end comes before any unit.
  const unit = (s, at) => (at < s.length ? s.charCodeAt(at) + 1 : 0);
  const WIDE = 0x20001;  // the values of unit()

  // The rows of order[from, to) sorted by comparison: by key, then by `ties` (when given),
  // then by row. Few rows go by insertion, without a function or an array made per group.
  function sortSmall({keys, ties, order}, from, to) {
    const compare = (a, b) => byUnits(keys[a], keys[b]) || (ties && byUnits(ties[a], ties[b])) ||
      a - b;
    if (to - from > 24) {
      order.set(Array.from(order.subarray(from, to)).sort(compare), from);
      return;
    }
    for (let i = from + 1; i < to; i++) {
      const row = order[i];
      let j = i - 1;
      for (; j >= from && compare(order[j], row) > 0; j--) order[j + 1] = order[j];
      order[j + 1] = row;
    }
  }

  // The rows that share a key: sorted by the ties, when there are any.
  function settle(sort, from, to) {
    if (sort.ties && to - from > 1) sortSmall(sort, from, to);
  }

  // Sorts the rows of a large group by the unit of their keys at `at`, in a counting sort
  // (stable: rows that agree stay in row order); pushes onto `todo` each run of rows that
  // agree so far and have units left.
  function bucketGroup(sort, from, to, at, todo) {
    const {keys, order} = sort;
    const counts = sort.counts.fill(0);
    const size = to - from;
    const codes = new Uint32Array(size);
    for (let i = 0; i < size; i++) counts[(codes[i] = unit(keys[order[from + i]], at)) + 1]++;
    for (let c = 1; c < counts.length; c++) counts[c] += counts[c - 1];
    const rows = order.slice(from, to);
    for (let i = 0; i < size; i++) order[from + counts[codes[i]]++] = rows[i];
    // counts[c] is now where the rows of code c end.
    let begin = 0;
    for (let c = 0; c < counts.length - 1 && begin < size; c++) {
      const end = counts[c];
      if (c === 0) settle(sort, from, from + end);
      else if (end - begin > 1) todo.push([from + begin, from + end, at + 1]);
      begin = end;
    }
  }

  // Sorts the rows of a group by the units of their keys from `at` on, in one native sort of
  // doubles that pack two units of each row's key and its place in the group; pushes onto
  // `todo` each run of rows that agree so far and have units left.
  function packGroup(sort, from, to, at, todo) {
    const {keys, order} = sort;
    const size = to - from;  // at most 2 ** 18, so that WIDE ** 2 * size < 2 ** 53
    const packed = new Float64Array(size);
    let same = true;
    for (let i = 0; i < size; i++) {
      const key = keys[order[from + i]];
      packed[i] = unit(key, at) * WIDE + unit(key, at + 1);
      same = same && packed[i] === packed[0];
    }
    // A prefix that the whole group shares needs no sort.
    if (same) {
      if (packed[0] % WIDE !== 0) todo.push([from, to, at + 2]);
      else settle(sort, from, to);
      return;
    }
    for (let i = 0; i < size; i++) packed[i] = packed[i] * size + i;
    packed.sort();
    const rows = order.slice(from, to);
    let begin = 0;
    for (let i = 0; i <= size; i++) {
      const code = i < size ? Math.floor(packed[i] / size) : -1;
      if (i < size) order[from + i] = rows[packed[i] - code * size];
      const last = i > 0 ? Math.floor(packed[i - 1] / size) : code;
      if (code === last) continue;
      if (last % WIDE === 0) settle(sort, from + begin, from + i);
      else if (i - begin > 1) todo.push([from + begin, from + i, at + 2]);
      begin = i;
    }
  }

  // The indices of `keys` in the order of the keys by code units, equal keys by `ties` (texts,
  // when given) and then in index order: an MSD radix sort, so that no comparison function
  // runs for large groups.
  function orderOfTexts(keys, ties = null) {
    const sort = {keys, ties, order: Uint32Array.from(keys.keys()),
      counts: new Uint32Array(WIDE + 1 >> 1)};  // a count per unit() and one more
    const todo = [[0, keys.length, 0]];
    while (todo.length) {
      const [from, to, at] = todo.pop();
      if (to - from > 2 ** 16) bucketGroup(sort, from, to, at, todo);
      else if (to - from >= 24) packGroup(sort, from, to, at, todo);
      else sortSmall(sort, from, to);
    }
    return sort.order;
  }

  // For each text, its place in the order of the different texts (0 first; natural order when
  // `natural`, else by code units), NaN for an empty one.
  function textPlaces(texts, natural) {
    const order = natural ? orderOfTexts(texts.map(naturalKey), texts) : orderOfTexts(texts);
    const out = new Float64Array(texts.length);
    let place = -1;
    order.forEach((r, i) => {
      if (i === 0 || texts[r] !== texts[order[i - 1]]) place++;
      out[r] = texts[r] === '' ? NaN : place;
    });
    return out;
  }

  // Which word of a double's bits, seen as two Uint32 words, is the high one.
  const HIGH = new Uint8Array(Uint16Array.of(1).buffer)[0] === 1 ? 1 : 0;

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
      const negative = word[2 * i + HIGH] >>> 31 ? 0xffffffff : 0;
      high[i] = (word[2 * i + HIGH] ^ (negative || 0x80000000) ^ turn) >>> 0;
      low[i] = (word[2 * i + 1 - HIGH] ^ negative ^ turn) >>> 0;
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

  // The rows of `kept` (rows by a key, those without one left out), then those of `shown` that
  // have no key, in the order of `shown`: empty cells come last in either direction.
  function emptyLast(kept, key, shown) {
    const out = new Uint32Array(shown.length);
    out.set(kept);
    out.set(shown.filter((r) => Number.isNaN(key[r])), kept.length);
    return out;
  }

  return {naturalKey, naturalCompare, orderOfTexts, textPlaces, rowsByKey, emptyLast};
})();

if (typeof module === 'object' && module) module.exports = PageOrder;
