// The rows that the page carries, unpacked: each column compressed with zlib and base64-coded
// in the page's JSON (codes as a byte per row, texts as a JSON array, numbers as text between
// commas, an empty text for none), and the ends of failed logs that the page does not list.
// Also what the rows decide of the page's start: the figures offered and the first view.
'use strict';

const PageData = ((Cells) => {
  const FIRST_FIGURES = ['chi2', 'rf2', 'cpu_seconds'];  // the default: the first any run has

  function fromBase64(base64) {
    if (Uint8Array.fromBase64) return Uint8Array.fromBase64(base64);
    const text = atob(base64);
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; i++) bytes[i] = text.charCodeAt(i);
    return bytes;
  }

  async function unpack(base64) {
    const bytes = fromBase64(base64);
    const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
    return new Uint8Array(await new Response(stream).arrayBuffer());
  }

  const decoder = new TextDecoder();
  const readJson = (bytes) => JSON.parse(decoder.decode(bytes));
  const unpackJson = async (base64) => readJson(await unpack(base64));

  // The log names are needed at once (the first order, the tips, the filter); other texts are
  // made a cell at a time for the rows shown, until a sort or a save needs them all.
  async function loadColumn(c, rows) {
    if (c.type === 'code') return {...c, data: await unpack(c.data)};
    if (c.type === 'text' && c.name === 'log') return {...c, data: await unpackJson(c.data)};
    if (c.type === 'text') return lazyTexts(c, await unpack(c.data), rows);
    return {...c, data: readNumbers(await unpack(c.data), rows)};
  }

  // Past this many cells made one at a time, a column makes all of its texts at once.
  const MOST_CELLS = 4096;

  // A text column of `rows` texts that are made when they are asked for, from its bytes (a
  // JSON array of strings): cell(row) makes one, finding the starts of the rows before it once;
  // data makes them all, once.
  function lazyTexts(c, bytes, rows) {
    let texts = null;
    let [known, made] = [0, 0];  // the rows whose end is known; the cells made
    const starts = new Uint32Array(rows + 1);  // where each row's '"' is, past the '['
    starts[0] = 1;
    return {...c,
      get data() {
        if (!texts) [texts, bytes] = [readJson(bytes), null];
        return texts;
      },
      cell(row) {
        if (texts || ++made > MOST_CELLS) return this.data[row];
        for (; known <= row; known++) {
          let p = starts[known] + 1;
          for (let b = bytes[p]; b !== 34; b = bytes[++p]) if (b === 92) p++;  // '"', '\\'
          starts[known + 1] = p + 2;  // past the '"' and the ',' (or the ']')
        }
        return readJson(bytes.subarray(starts[row], starts[row + 1] - 1));
      }};
  }

  // Makes the texts of every column that makes them when asked, one column a task, so that a
  // sort or a save later finds them made.
  function makeTextsLater(cols) {
    const later = cols.filter((c) => c.cell);
    const next = () => {
      if (!later.length) return;
      void later.shift().data;
      setTimeout(next);
    };
    setTimeout(next);
  }

  const POWERS = Array.from({length: 23}, (_, k) => 10 ** k);  // exact doubles

  // The numbers of a column of `rows` from its bytes: texts between commas, each as
  // Cells.parseNumber reads it (an empty one is none, NaN).
  function readNumbers(bytes, rows) {
    const out = new Float64Array(rows);
    let at = 0;
    for (let row = 0; row < rows; row++) {
      let end = at;
      while (end < bytes.length && bytes[end] !== 44) end++;  // ','
      out[row] = end > at ? readNumber(bytes, at, end) : NaN;
      at = end + 1;
    }
    return out;
  }

  // The number in bytes [from, to). Read digit by digit when it is [-]digits[.digits] with 15
  // digits at most and 22 after the point at most: the digits and the power of ten are then
  // exact doubles, and their one quotient is rounded once, as Number() rounds the text. Other
  // texts (an exponent among them) go to Number().
  function readNumber(bytes, from, to) {
    const negative = bytes[from] === 45;  // '-'
    let mantissa = 0;
    let point = -1;
    let at = negative ? from + 1 : from;
    for (; at < to; at++) {
      const byte = bytes[at];
      if (byte >= 48 && byte <= 57) mantissa = mantissa * 10 + byte - 48;
      else if (byte === 46 && point < 0) point = at;  // '.'
      else break;
    }
    const digits = to - (negative ? from + 1 : from) - (point < 0 ? 0 : 1);
    const scale = point < 0 ? 0 : to - point - 1;
    if (at !== to || digits === 0 || digits > 15 || scale > 22) {
      return Cells.parseNumber(decoder.decode(bytes.subarray(from, to)));
    }
    const v = mantissa / POWERS[scale];
    return negative ? -v : v;
  }

  // The page's rows from the text of its data element: {n, cols, col (the same by name),
  // tails (row -> the end of its log, or null when it is left out of the page; none when the
  // page carries no tails), fromRows (the page was made from rows that tabrun wrote, which hold
  // no log ends)}.
  async function load(json) {
    const data = JSON.parse(json);
    const cols = await Promise.all(data.columns.map((c) => loadColumn(c, data.rows)));
    const col = Object.fromEntries(cols.map((c) => [c.name, c]));
    const flat = data.tails ? await unpackJson(data.tails) : [];
    const tails = new Map();
    for (let i = 0; i < flat.length; i += 2) tails.set(flat[i], flat[i + 1]);
    return {n: data.rows, cols, col, tails, fromRows: data.from_rows === true};
  }

  // Number columns that are not figures of a run: the number in the log name, the log's size.
  const NOT_FIGURES = ['name_number', 'bytes'];

  // The figures some run has: the number columns but those above, and the first figure, the
  // default, which is there even when no run has it.
  function figuresOf(cols) {
    const any = (c) => c.data.some((v) => !Number.isNaN(v));
    const numbers = cols.filter((c) => c.type === 'number' && !NOT_FIGURES.includes(c.name));
    const figures = numbers.filter(any).map((c) => c.name);
    const first = FIRST_FIGURES.find((f) => figures.includes(f)) || 'cpu_seconds';
    if (!figures.includes(first)) figures.push(first);
    return {figures, first};
  }

  // The view at the start: names that carry different numbers (in most runs) go by that number
  // on the chart and in natural order in the table.
  function startView(nameNumbers, figure) {
    let [count, first, differ] = [0, NaN, false];
    for (const v of nameNumbers) {
      if (Number.isNaN(v)) continue;
      if (count++ === 0) first = v;
      else differ = differ || v !== first;
    }
    const numbered = count * 2 > nameNumbers.length && differ;
    return {figure, view: 'series', x: numbered ? 'num' : 'pos', y: 'lin',
      sort: numbered ? 'log' : ''};
  }

  return {load, makeTextsLater, readNumbers, figuresOf, startView};
})(typeof PageCells === 'object' ? PageCells : require('./cells.js'));

if (typeof module === 'object' && module) module.exports = PageData;
