// The chart's axes and bins under node --test: bounded for any pair of doubles.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const a = require('./axes.js');

const MAX = Number.MAX_VALUE;
// Ends that were padded, zoomed out or sit at the limits of the doubles.
const HOSTILE = [[0, 1], [1, 1.0000000000000002], [1e16, 1e16 + 2], [-5e-324, 5e-324],
  [5e-324, 1e-323], [-1.7e308, 1.7e308], [1e300, MAX], [-30, -7], [3, 3], [0, 0],
  [-Infinity, Infinity], [0, Infinity], [-Infinity, -Infinity], [Infinity, Infinity]];

test('ticks: at most count + 2, rising, within the finite part of the range', () => {
  for (const [lo, hi] of HOSTILE) {
    const t = a.ticks(lo, hi, 6);
    assert.ok(t.length >= 1 && t.length <= 8, `${lo} ${hi}: ${t}`);
    const finite = (v) => Math.min(Math.max(v, -MAX), MAX);
    const inside = (v) => v >= finite(lo) && v <= finite(hi);
    assert.ok(t.every((v, i) => inside(v) && (i === 0 || v > t[i - 1])), `${lo} ${hi}: ${t}`);
  }
  assert.deepEqual(a.ticks(0, 1, 5), [0, 0.2, 0.4, 0.6, 0.8, 1]);
  assert.deepEqual(a.ticks(1, 4, 10, true), [1, 2, 3, 4]);
  assert.deepEqual(a.ticks(NaN, 1, 5), []);
});

test('logTicks: decades, with 2 and 5 between them on short ranges', () => {
  const cases = [[1, 100, 6, [1, 2, 5, 10, 20, 50, 100]], [1e9, 1e20, 6, [1e9, 1e11, 1e13,
    1e15, 1e17, 1e19]], [3, 40, 6, [5, 10, 20]], [1.1, 1.9, 4, [1.2, 1.4, 1.6, 1.8]],
    // Ends at 0 or past the doubles stand for their limits: 634 decades, every 106th.
    [0, Infinity, 6, [1e-323, 1e-217, 1e-111, 1e-5, 1e101, 1e207]]];
  for (const [lo, hi, count, want] of cases) assert.deepEqual(a.logTicks(lo, hi, count), want);
  for (const [lo, hi] of [...HOSTILE, [-5, 0], [1e-300, 1e-300]]) {
    const t = a.logTicks(lo, hi, 6);
    assert.ok(t.length <= 8 && t.every((v) => v > 0 && v <= MAX), `${lo} ${hi}: ${t}`);
  }
});

test('axisTicks: a logarithmic axis zoomed out past the doubles ends', () => {
  // The positions are log10: -400 and 400 are values of 1e-400 (0) and 1e400 (Infinity).
  for (const [lo, hi] of [[-400, 1], [1, 400], [-400, 400], [-Infinity, Infinity]]) {
    const t = a.axisTicks(lo, hi, 6, true, false);
    assert.ok(t.length >= 2 && t.length <= 8, `${lo} ${hi}: ${t}`);
    assert.ok(t.every(([p, text]) => Number.isFinite(p) && !/NaN|Infinity/.test(text)));
  }
  assert.deepEqual([-400, 0, 400].map(a.unlog), [5e-324, 1, MAX]);
});

test('axisEnds: finite, apart, spare room only where asked', () => {
  const cases = [[0, 10, true, [-0.5, 10.5]], [0, 10, false, [0, 10]], [5, 5, false, [4.5, 5.5]],
    [0, 0, true, [-1, 1]], [Infinity, -Infinity, false, [0, 1]], [-MAX, MAX, true, [-MAX, MAX]],
    [MAX, MAX, false, [MAX * 0.9, MAX]], [1e-300, 1e-300, true, [9e-301, 1.1e-300]]];
  for (const [lo, hi, spare, want] of cases) {
    assert.deepEqual(a.axisEnds(lo, hi, spare), want, `${lo} ${hi} ${spare}`);
  }
});

test('tickLabel: short enough for the margin', () => {
  const cases = [[1e9, '1e9'], [1e12, '1e12'], [2.5e-7, '2.5e-7'], [0.001, '0.001'],
    [123456, '123460'], [-0.5, '-0.5'], [1.0000000000000002, '1'], [5e-324, '4.94e-324']];
  for (const [v, want] of cases) assert.equal(a.tickLabel(v), want);
});

test('histogram: Rice rule, edges to the bin above, hi in the last, any width', () => {
  const cases = [
    [[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, NaN, 11], 0, 10, [2, 2, 2, 2, 3]],
    [[1, 1], 1, 1, [2]],
    // Wider than the largest double: the width overflows unless halved.
    [[-1.5e308, -1e308, 1e308, 1.5e308], -1.5e308, 1.5e308, [2, 0, 0, 2]],
    [[-MAX, MAX, 0], -Infinity, Infinity, [1, 1, 1]],
  ];
  for (const [values, lo, hi, want] of cases) {
    const h = a.histogram(values, lo, hi);
    assert.deepEqual([...h.counts], want, `${values}`);
    const edges = want.map((_, i) => a.binEdge(h.lo, h.hi, want.length, i));
    assert.ok(edges.every((e, i) => Number.isFinite(e) && (i === 0 || e > edges[i - 1])));
  }
  // A value on an edge as binEdge makes it goes to the bin above.
  // Where the quotient that estimates the bin rounds the other way, the edges decide.
  for (const [lo, hi, bins] of [[9.24, 14.74, 14], [1.86, 7.24, 19], [1.35, 10.69, 20]]) {
    for (let i = 1; i < bins; i++) {
      const edge = a.binEdge(lo, hi, bins, i);
      const bits = new BigUint64Array(Float64Array.of(edge).buffer);
      bits[0] -= 1n;
      const below = new Float64Array(bits.buffer)[0];  // the double below the edge (> 0)
      assert.deepEqual([a.binOf(below, lo, hi, bins), a.binOf(edge, lo, hi, bins)], [i - 1, i],
        `${lo} ${hi} ${i}`);
    }
  }
});
