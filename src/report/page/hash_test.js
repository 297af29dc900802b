// The view in the URL's fragment under node --test.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const h = require('./hash.js');

test('hash: unknown names ignored, only what differs written', () => {
  const known = {figures: ['chi2', 'rp'], columns: ['log', 'chi2'], statuses: ['ok', 'bad_end']};
  const defaults = {figure: 'chi2', view: 'series', x: 'num', y: 'lin', sort: 'log'};
  const cases = [
    ['sort=constructor&figure=__proto__&status=toString,ok&view=valueOf', 'status=ok'],
    ['sort=-hasOwnProperty&x=__proto__&zoom=2,1', ''],
    ['sort=&zoom=1,2,3', 'sort='],
    ['sort=-chi2&view=hist&x=pos&y=log&q=T1&zoom=-1e-3,5',
      'view=hist&x=pos&y=log&sort=-chi2&q=T1&zoom=-0.001,5'],
    // Ends past the doubles' exponents are kept: the axes bound them.
    ['view=hist&y=log&zoom=-400,1', 'view=hist&y=log&zoom=-400,1'],
  ];
  for (const [hash, want] of cases) {
    assert.equal(h.writeHash(h.readHash(hash, known, defaults), defaults), want, hash);
  }
});

test('zoomOf: rounded ends while they stay apart, none when the span overflows', () => {
  const cases = [[[1, 2], [1, 2]], [[0.1 + 0.2, 1], [0.3, 1]],
    [[1, 1 + 2 ** -50], [1, 1 + 2 ** -50]], [[2, 1], null],
    [[-1.7e308, 1.7e308], null], [[NaN, 1], null]];
  for (const [[lo, hi], want] of cases) assert.deepEqual(h.zoomOf(lo, hi), want, `${lo} ${hi}`);
});
