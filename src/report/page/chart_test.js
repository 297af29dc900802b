// The page's pure functions, run by `node --test` without a browser.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const m = require('./chart.js');

test('ticks: bounded, round and inside the range for any pair of finite doubles', () => {
  const pairs = [[0, 1], [1, 1.0000000000000002], [1e16, 1e16 + 2], [-5e-324, 5e-324],
    [5e-324, 1e-323], [-1.7e308, 1.7e308], [1e300, 1.7e308], [-30, -7], [3, 3], [0, 0]];
  for (const [lo, hi] of pairs) {
    const t = m.ticks(lo, hi, 6);
    assert.ok(t.length >= 1 && t.length <= 8, `${lo} ${hi}: ${t}`);
    assert.ok(t.every((v, i) => v >= lo && v <= hi && (i === 0 || v > t[i - 1])), `${lo} ${hi}`);
  }
  assert.deepEqual(m.ticks(0, 1, 5), [0, 0.2, 0.4, 0.6, 0.8, 1]);
  assert.deepEqual(m.ticks(1, 4, 10, true), [1, 2, 3, 4]);
});

test('logTicks: decades, with 2 and 5 between them on short ranges', () => {
  const cases = [[1, 100, 6, [1, 2, 5, 10, 20, 50, 100]], [1e9, 1e20, 6, [1e9, 1e11, 1e13,
    1e15, 1e17, 1e19]], [3, 40, 6, [5, 10, 20]], [1.1, 1.9, 4, [1.2, 1.4, 1.6, 1.8]]];
  for (const [lo, hi, count, want] of cases) assert.deepEqual(m.logTicks(lo, hi, count), want);
});

test('tickLabel: short enough for the margin', () => {
  const cases = [[1e9, '1e9'], [1e12, '1e12'], [2.5e-7, '2.5e-7'], [0.001, '0.001'],
    [123456, '123460'], [-0.5, '-0.5'], [1.0000000000000002, '1'], [5e-324, '4.94e-324']];
  for (const [v, want] of cases) assert.equal(m.tickLabel(v), want);
});

test('natural order: digits as numbers, ties by the text', () => {
  const sorted = ['', 'T05K', 'T5K', 'T10K', 'T100K', 'T100K.b', 'Ta', 'a2', 'a10', 'b'];
  assert.deepEqual([...sorted].reverse().sort(m.naturalCompare), sorted);
  assert.deepEqual([...m.textPlaces(['T10K', '', 'T5K', 'T10K'], true)], [2, NaN, 1, 2]);
  assert.deepEqual([...m.textPlaces(['T10K', 'T5K'], false)], [0, 1]);
  // Large groups go by code units two at a time, small ones by comparison: both agree.
  const texts = Array.from({length: 3000}, (_, i) => ['', 'a', 'ab', '\uffff'][i % 4] + (i % 7));
  const order = [...texts.keys()].sort((a, b) => (texts[a] < texts[b] ? -1 : texts[a] > texts[b]));
  assert.deepEqual([...m.orderOfTexts(texts)], order);
});

test('parseNumber: finite numbers as tabrun writes them, else none', () => {
  const cases = [['1e-05', 1e-5], ['-0', -0], ['123456789012345678901', 1.2345678901234568e20],
    ['', NaN], ['abc', NaN], ['1e999', NaN]];
  for (const [text, want] of cases) assert.equal(m.parseNumber(text), want);
});

test('summary: best, ties, within 10 %, quartiles by interpolation', () => {
  assert.deepEqual(m.summary([NaN, 7, 5, 5, 5.5, 9, 20]),
    {n: 6, best: 5, ties: 2, near: 3, q1: 5.125, median: 6.25, q3: 8.5});
  assert.deepEqual(m.summary([-10, -9.5, -8]),
    {n: 3, best: -10, ties: 1, near: 2, q1: -9.75, median: -9.5, q3: -8.75});
  assert.equal(m.summary([NaN]), null);
});

test('histogram: Rice rule, edges to the bin above, hi in the last', () => {
  const h = m.histogram([0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, NaN, 11], 0, 10);
  assert.deepEqual([...h.counts], [2, 2, 2, 2, 3]);
  assert.deepEqual([...m.histogram([1, 1], 1, 1).counts], [2]);
});

test('hash: unknown names ignored, only what differs written', () => {
  const known = {figures: ['chi2', 'rp'], columns: ['log', 'chi2'], statuses: ['ok', 'bad_end']};
  const defaults = {figure: 'chi2', view: 'series', x: 'num', y: 'lin', sort: 'log'};
  const cases = [
    ['sort=constructor&figure=__proto__&status=toString,ok&view=valueOf', 'status=ok'],
    ['sort=-hasOwnProperty&x=__proto__&zoom=2,1', ''],
    ['sort=&zoom=1,2,3', 'sort='],
    ['sort=-chi2&view=hist&x=pos&y=log&q=T1&zoom=-1e-3,5',
      'view=hist&x=pos&y=log&sort=-chi2&q=T1&zoom=-0.001,5'],
  ];
  for (const [hash, want] of cases) {
    assert.equal(m.writeHash(m.readHash(hash, known, defaults), defaults), want, hash);
  }
});
