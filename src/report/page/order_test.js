// The page's orders under node --test: natural order, texts at any count, rows by number.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const o = require('./order.js');

test('natural order: numbers by the value name_number reads, ties by the text', () => {
  const sorted = ['', 'T05K', 'T5K', 'T10K', 'T12.25K', 'T12.5K', 'T100K', 'T100K.b', 'Ta',
    'a1.10', 'a1.2.3', 'a1.2.10', 'a2', 'a10', 'b',
    // Every number of a path counts, not only the last; 1e16 and ...01 are one double.
    'n2/S12_t9', 'n2/S12_t10', 'n10/S1_t1', 'r10000000000000000', 'r10000000000000001',
    'r10000000000000002', 'x'.padEnd(400, '9')];
  assert.deepEqual([...sorted].reverse().sort(o.naturalCompare), sorted);
  assert.deepEqual([...o.textPlaces(['T10K', '', 'T5K', 'T10K'], true)], [2, NaN, 1, 2]);
  assert.deepEqual([...o.textPlaces(['T10K', 'T5K'], false)], [0, 1]);
});

// The order by comparison: by natural key (when `natural`), by text, by index.
const compared = (texts, natural) => {
  const keys = natural ? texts.map(o.naturalKey) : texts;
  const byUnits = (a, b) => (a < b ? -1 : a > b ? 1 : 0);
  return [...texts.keys()].sort((a, b) => byUnits(keys[a], keys[b]) ||
    byUnits(texts[a], texts[b]) || a - b);
};

test('orderOfTexts: large groups by code units agree with comparison, at any count', () => {
  const texts = Array.from({length: 3000}, (_, i) => ['', 'a', 'ab', '\uffff'][i % 4] + (i % 7));
  assert.deepEqual([...o.orderOfTexts(texts)], compared(texts, false));
  // Past 2^18 rows a row no longer fits beside two code units in a double.
  const names = Array.from({length: 300000}, (_, i) => `node${(i * 7919) % 61}/S${i % 13}_task` +
    `${(i * 104729) % 300007}`);
  assert.deepEqual([...o.orderOfTexts(names, true)], compared(names, true));
  // Equal keys in large groups: the texts decide, then the rows.
  const series = Array.from({length: 100000}, (_, i) => `x${'0'.repeat(i % 3)}${i % 5000}`);
  assert.deepEqual([...o.orderOfTexts(series, true)], compared(series, true));
  // Texts of ASCII, several units a pass: lengths that end inside a pass, long shared
  // prefixes, the highest unit (\x7f).
  const figures = Array.from({length: 150000}, (_, i) => ' '.repeat(i % 4) +
    `${(i * 7919) % 100003 / 100}` + ['', '\x7f', ' => Rp:  2.95'][i % 3]);
  assert.deepEqual([...o.orderOfTexts(figures)], compared(figures, false));
  // One text above ASCII, near the end, and all the keys stay code units.
  const mixed = [...figures.slice(0, 3000), '\u00e9', 'a', 'b'];
  assert.deepEqual([...o.orderOfTexts(mixed)], compared(mixed, false));
  // A few runs in order already (names as a batch lists them) are merged: ties of keys across
  // runs by the text (run0005 before run5), of texts by the row.
  const bare = Array.from({length: 2000}, (_, i) => `run${i}`);
  const padded = bare.map((_, i) => `run${String(i).padStart(4, '0')}`);
  const runs = [...bare, ...padded, ...bare, ...padded];
  assert.deepEqual([...o.orderOfTexts(runs, true)], compared(runs, true));
  // Equal texts share a place, in small groups and large.
  for (const [list, natural] of [[texts, false], [series, true], [runs, true]]) {
    const distinct = [...new Set(list)].sort(natural ? o.naturalCompare : undefined);
    const rank = new Map(distinct.map((t, k) => [t, k]));
    const places = o.textPlaces(list, natural);
    list.forEach((t, i) => assert.equal(places[i], t ? rank.get(t) : NaN, t));
  }
});

test('columnOrder: numbers as they are, code names and texts by place, empty ones none', () => {
  const code = {type: 'code', values: ['', 'ordinary', 'annealing'], data: Uint8Array.of(1, 0, 2)};
  assert.deepEqual([...o.columnOrder(code, true).places], [2, NaN, 1]);
  const text = {type: 'text', data: ['T10K', '', 'T5K']};
  assert.deepEqual([...o.columnOrder(text, true).places], [2, NaN, 1]);
  assert.deepEqual([...o.columnOrder(text, true).rows], [2, 0]);
  assert.deepEqual([...o.columnOrder(text, false).places], [1, NaN, 2]);
  const number = {type: 'number', data: Float64Array.of(2, NaN)};
  assert.equal(o.columnOrder(number, true).places, number.data);
});

test('rowsByKey: by value either way, ties in row order, rows without a key left out', () => {
  const key = [3, NaN, 0, 1, 3, -0, -Infinity, 2, NaN, 1];
  assert.deepEqual([...o.rowsByKey(key)], [6, 2, 5, 3, 9, 7, 0, 4]);
  assert.deepEqual([...o.rowsByKey(key, true)], [0, 4, 7, 3, 9, 2, 5, 6]);
  assert.deepEqual([...o.reversed(o.rowsByKey(key), key)], [...o.rowsByKey(key, true)]);
  const many = Float64Array.from({length: 300000}, (_, i) => (i * 7919) % 1009 / 7);
  assert.deepEqual([...o.rowsByKey(many)], [...many.keys()].sort((a, b) =>
    many[a] - many[b] || a - b));
  const shown = Uint32Array.of(1, 4, 5, 8, 9);
  const kept = o.rowsByKey(key, true).filter((r) => shown.includes(r));
  assert.deepEqual([...o.emptyLast(kept, key, shown)], [4, 9, 5, 1, 8]);
});
