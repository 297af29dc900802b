// The cells, the counts and the table's words under node --test.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const c = require('./cells.js');
const s = require('./stats.js');
const t = require('./table.js');

test('numbers: read as tabrun writes them, written back the same', () => {
  const cases = [['1e-05', 1e-5], ['-0', -0], ['123456789012345683968', 1.2345678901234568e20],
    ['3.87', 3.87], ['1e+22', 1e22], ['1e+39', 1e39], ['1e-04', 1e-4], ['0.001', 1e-3],
    ['', NaN], ['abc', NaN], ['1e999', NaN]];
  for (const [text, want] of cases) {
    assert.equal(c.parseNumber(text), want, text);
    if (!Number.isNaN(want)) assert.equal(c.numberText(want), text);
  }
});

test('csvText: quoted only when needed, the columns of each kind', () => {
  const cols = [{name: 'log', type: 'text', data: ['a,b', 'say "hi"', 'x\ny', 'plain']},
    {name: 'status', type: 'code', data: Uint8Array.of(0, 1, 0, 1), values: ['ok', 'bad_end']},
    {name: 'chi2', type: 'number', data: Float64Array.of(1e-5, NaN, 2.5, -0)}];
  assert.equal(c.csvText(cols, [3, 0, 1, 2]), 'log,status,chi2\nplain,bad_end,-0\n' +
    '"a,b",ok,1e-05\n"say ""hi""",bad_end,\n"x\ny",ok,2.5\n');
});

test('summary: best, ties, within 10 %, quartiles by interpolation', () => {
  assert.deepEqual(s.summary([NaN, 7, 5, 5, 5.5, 9, 20]),
    {n: 6, best: 5, ties: 2, near: 3, q1: 5.125, median: 6.25, q3: 8.5});
  assert.deepEqual(s.summary([-10, -9.5, -8]),
    {n: 3, best: -10, ties: 1, near: 2, q1: -9.75, median: -9.5, q3: -8.75});
  assert.equal(s.summary([NaN]), null);
});

test('rows shown: filters, counts and the best of those shown', () => {
  const code = Uint8Array.of(0, 2, 0, 1, 2);
  const names = ['t1', 't2', 'x1', 'T1', 'x2'];
  assert.deepEqual([...s.filterRows(code, new Set([0, 2]), names, 'x')], [2, 4]);
  assert.deepEqual([...s.filterRows(code, new Set(), names, '')], [0, 1, 2, 3, 4]);
  assert.deepEqual([...s.codeCounts(code, 4)], [2, 1, 2, 0]);
  assert.equal(s.bestRow([3, 1, NaN, 1], Uint32Array.of(0, 2, 3, 1)), 3);
  assert.equal(s.bestRow([NaN], [0]), -1);
});

test('detailNote: status, error, reason when there is one, figures and the log end', () => {
  const note = (fields) => t.detailNote({status: 'bad_end', error: '', reason: '', figures: [],
    tail: 'x', leftOut: false, ...fields});
  const cases = [
    [{}, 'Status bad_end. The last records of its log:'],
    [{reason: 'singular matrix'}, 'Status bad_end. Reason: singular matrix. The last records of ' +
      'its log:'],
    [{reason: 'stopped.', tail: null}, 'Status bad_end. Reason: stopped. Its log is empty.'],
    [{reason: undefined, tail: null, leftOut: true}, 'Status bad_end. The end of its log is left ' +
      'out of this page.'],
    [{status: 'unreadable', error: 'cannot open: Is a directory', tail: null},
      'Status unreadable: cannot open: Is a directory.'],
    [{status: 'ok', figures: [['cpu_seconds', 1e-5], ['chi2', 2]], tail: null},
      'Status ok. cpu_seconds 1e-05, chi2 2.'],
    [{fromRows: true}, 'Status bad_end. Its last record (this page was made from rows, which ' +
      'hold no more of its log):'],
    [{fromRows: true, tail: null}, 'Status bad_end. The rows hold no record of its log.'],
    [{fromRows: true, status: 'unreadable', tail: null}, 'Status unreadable.'],
  ];
  for (const [fields, want] of cases) assert.equal(note(fields), want);
  assert.equal(t.pageLabel(40, 200000), 'Rows 41 to 80 of 200,000, page 2 of 5,000');
  assert.equal(t.pageLabel(0, 0), 'No row matches.');
});
