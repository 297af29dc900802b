// The page's rows under node --test: numbers read as Number() reads them, the start.
'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const d = require('./data.js');
const {numberText, parseNumber} = require('./cells.js');

test('readNumbers: the double that Number() reads, for the texts tabrun writes', () => {
  const texts = ['', '0', '-0', '2.87', '1e-05', '1e+22', '1e+23', '123456789012345',
    '1234567890123456', '0.1', '9007199254740993', '1.7976931348623157e+308', '5e-324', '1e999',
    'abc', '1.', '.5', '-', '1e', '1e+', '12.5e2', '4.35', '0.000000000000000000001'];
  // And every number that tabrun's shortest form gives for random doubles of many sizes.
  for (let i = 0; i < 20000; i++) {
    texts.push(numberText((Math.random() - 0.3) * 10 ** Math.floor(Math.random() * 40 - 20)));
  }
  const got = d.readNumbers(new TextEncoder().encode(texts.join(',')), texts.length);
  texts.forEach((t, i) => assert.ok(Object.is(got[i], parseNumber(t)), `${t}: ${got[i]}`));
});

test('figures and the start: the first figure any run has; numbered names by number', () => {
  const number = (name, ...values) => ({name, type: 'number', data: Float64Array.from(values)});
  const cols = [number('cpu_seconds', 1, NaN), number('chi2', NaN, NaN), number('rf2', NaN, 3),
    number('name_number', 5, 10), number('bytes', 300, 400)];
  assert.deepEqual(d.figuresOf(cols), {figures: ['cpu_seconds', 'rf2'], first: 'rf2'});
  const cases = [[[5, 10, NaN], 'num'], [[5, 5, 5], 'pos'], [[5, NaN, NaN], 'pos'], [[], 'pos']];
  for (const [numbers, x] of cases) {
    const view = d.startView(Float64Array.from(numbers), 'chi2');
    assert.deepEqual([view.x, view.sort], [x, x === 'num' ? 'log' : ''], `${numbers}`);
  }
});

test('load: texts made a cell at a time are the texts of the whole column', async () => {
  const zlib = require('node:zlib');
  const texts = ['', 'a', 'say "hi"', 'back\\', '\\"', '"', 'é ü', '\u{1F600}', 'line\nfeed',
    '\u0001', ',"],['];
  const pack = (value) => zlib.deflateSync(Buffer.from(JSON.stringify(value))).toString('base64');
  const page = await d.load(JSON.stringify({rows: texts.length, columns: [
    {name: 'log', type: 'text', data: pack(texts)},
    {name: 'result', type: 'text', data: pack(texts)}]}));
  assert.deepEqual(page.col.log.data, texts);
  const {result} = page.col;
  // Forwards, finding a row at a time, then backwards among rows found.
  for (const row of texts.keys()) assert.equal(result.cell(row), texts[row]);
  for (const row of [...texts.keys()].reverse()) assert.equal(result.cell(row), texts[row]);
  assert.deepEqual(result.data, texts);
  assert.equal(result.cell(2), texts[2]);
});
