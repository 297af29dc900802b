// The cells of the rows: numbers read from the rows' text and written back as tabrun writes
// them, a cell's text by its column, and the rows as the CSV of tabrun --csv. A column is
// {name, type, data, values}: type 'number' (data a Float64Array, NaN for none), 'text' (data
// an array of strings; a column may also make a row's text alone, with cell(row)) or 'code'
// (data a byte per row, the index of its text in `values`).
'use strict';

const PageCells = (() => {
  // A number cell as the rows carry it: tabrun's text of a finite double; an empty cell, or
  // one that does not read as a finite number, has none (NaN).
  function parseNumber(text) {
    const v = text === '' ? NaN : Number(text);
    return Number.isFinite(v) ? v : NaN;
  }

  // A number as tabrun writes it: the shortest digits that read back, in fixed or scientific
  // form, whichever is shorter (fixed on a tie), the exponent with a sign and two digits or more.
  function numberText(v) {
    if (Number.isNaN(v)) return '';
    const sign = v < 0 || Object.is(v, -0) ? '-' : '';
    const [mantissa, e] = Math.abs(v).toExponential().split('e');
    const exp = Number(e);
    const digits = mantissa.replace('.', '');
    const exponent = `${exp < 0 ? '-' : '+'}${String(Math.abs(exp)).padStart(2, '0')}`;
    const sci = `${sign}${mantissa}e${exponent}`;
    let fixed;
    if (exp >= digits.length - 1) {
      fixed = sign + BigInt(Math.abs(v)).toString();  // every digit, as printf writes it
    } else if (exp >= 0) {
      fixed = `${sign}${digits.slice(0, exp + 1)}.${digits.slice(exp + 1)}`;
    } else {
      fixed = `${sign}0.${'0'.repeat(-exp - 1)}${digits}`;
    }
    return fixed.length <= sci.length ? fixed : sci;
  }

  // A number in six digits at most, for the summary and the tooltips.
  const shortText = (v) => String(Number(v.toPrecision(6)));

  // The text of a column's cell in a row, as --csv writes it.
  function cellText(c, row) {
    if (c.type === 'number') return numberText(c.data[row]);
    if (c.type === 'code') return c.values[c.data[row]];
    return c.cell ? c.cell(row) : c.data[row];
  }

  // The columns' header and the rows, in the order given, as tabrun --csv writes them: a field
  // quoted only when it holds a comma, a double quote, a CR or a LF; every line ended by a LF.
  function csvText(cols, rows) {
    const field = (t) => (/[",\r\n]/.test(t) ? `"${t.replaceAll('"', '""')}"` : t);
    const lines = [cols.map((c) => c.name).join(',')];
    for (const row of rows) lines.push(cols.map((c) => field(cellText(c, row))).join(','));
    return `${lines.join('\n')}\n`;
  }

  return {parseNumber, numberText, shortText, cellText, csvText};
})();

if (typeof module === 'object' && module) module.exports = PageCells;
