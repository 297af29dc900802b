// The changes and classes of a compare page under node --test.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const c = require('./change.js');

test('changeOf: after - before and relative to |before|, as tabrun --compare writes them', () => {
  const max = Number.MAX_VALUE;
  const cases = [
    [3.4, 1.6, 1.6 - 3.4, (1.6 - 3.4) / 3.4],  // better
    [1.5, 2.4, 2.4 - 1.5, (2.4 - 1.5) / 1.5],  // worse
    [2, 2, 0, 0], [-2, -1, 1, 0.5], [0, -0, 0, 0],
    [NaN, 2, NaN, NaN], [2, NaN, NaN, NaN],  // a figure missing on a side: no change, never 0
    [0, 0, 0, 0], [0, 1, 1, NaN], [max, -max, NaN, NaN], [1e-300, 1e300, 1e300, NaN],
  ];
  for (const [before, after, change, relative] of cases) {
    const got = c.changeOf(before, after);
    assert.ok(Object.is(got.change, change) && Object.is(got.relative, relative),
      `${before} -> ${after}: ${got.change} ${got.relative}`);
  }
});

test('classOf: status first, then the figure, then the relative change beyond the threshold',
  () => {
    const cases = [
      // side, ok before, ok after, before, after, threshold %, class
      ['both', true, true, 3.4, 1.6, 5, 'better'],
      ['both', true, true, 1.5, 2.4, 5, 'worse'],
      ['both', true, true, 2, 2, 5, 'unchanged'],
      ['both', true, true, 2, 2.125, 6.25, 'unchanged'],  // exactly 6.25 % is not beyond it
      ['both', true, true, 2, 2.125, 6.2, 'worse'],
      ['both', true, true, 2, 1.875, 6.25, 'unchanged'],
      ['both', true, true, 2, 1.9, 0, 'better'],
      ['both', true, true, 2, 2, 0, 'unchanged'],
      ['both', true, true, 0, 0.5, 5, 'worse'],  // no relative change from 0: any is beyond
      ['both', true, true, 0, -0.5, 1e9, 'better'],
      ['both', true, true, NaN, 1.6, 5, 'no_figure'],
      ['both', true, true, 1.6, NaN, 5, 'no_figure'],
      ['both', false, true, 3.4, 1.6, 5, 'fixed'],
      ['both', true, false, 1.6, 3.4, 5, 'broken'],
      ['both', false, false, 1.6, 3.4, 5, 'failed'],
      ['before', true, false, 1.6, NaN, 5, 'before'],
      ['after', false, true, NaN, 1.6, 5, 'after'],
    ];
    for (const [side, okBefore, okAfter, before, after, threshold, expected] of cases) {
      const {change, relative} = c.changeOf(before, after);
      const got = c.CLASSES[c.classOf(side, okBefore, okAfter, change, relative, threshold)];
      assert.equal(got, expected, `${side} ${okBefore} ${okAfter} ${before} ${after} ${threshold}`);
    }
  });

test('classCodes and changeColumns: a class per row from the columns', () => {
  const code = (values, ...data) => ({values, data: Uint8Array.from(data)});
  const statuses = ['ok', 'no_cpu', 'bad_end', 'no_control_file', 'bad_cpu_value', 'unreadable',
    ''];
  const side = code(['both', 'before', 'after'], 0, 0, 1, 2, 0);
  const before = code(statuses, 0, 0, 0, 6, 2);
  const after = code(statuses, 0, 0, 6, 0, 0);
  const changes = c.changeColumns(Float64Array.of(2, 2, 1, NaN, 5), Float64Array.of(1, 3, NaN, 4,
    4));
  assert.deepEqual([...changes.change], [-1, 1, NaN, NaN, -1]);
  const classes = c.classCodes(side, before, after, changes, 5);
  assert.deepEqual([...classes].map((k) => c.CLASSES[k]),
    ['better', 'worse', 'before', 'after', 'fixed']);
  assert.equal(c.LABELS.length, c.CLASSES.length);
});
