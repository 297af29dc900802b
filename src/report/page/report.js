// The script of the page that tabrun --html writes. It unpacks the rows that the page carries
// column by column, draws one figure per run on the canvas, fills a paged table, shows the end
// of a failed log on demand and keeps the view in the URL's fragment. Text from the batch is only
// ever set as text (textContent), never as markup.
'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const PAGE_ROWS = 40;  // the table's rows: with the listed failures, under 1,500 elements
  const FIRST_FIGURES = ['chi2', 'rf2', 'cpu_seconds'];  // the default: the first any run has
  const HIT = 12;  // how near, in pixels, the pointer must be to a mark

  let n = 0;       // rows
  let cols = [];   // {name, type: 'text' | 'number' | 'code', data, values}
  const col = {};  // the same by name
  let tails = new Map();
  let tailCut = null;
  let defaultFigure = 'cpu_seconds';
  const state = {figure: '', x: 'pos', y: 'lin', sort: '', desc: false, statuses: new Set(), q: ''};
  let shown = new Uint32Array(0);  // the rows that pass the filters, in row order
  let view = shown;                // the same, sorted
  let page = 0;
  let selected = -1;
  let best = -1;        // the row with the lowest value of the figure
  let series = null;    // what the chart shows, in x order
  let marks = [];       // what the chart drew, for the pointer and the keys: {x, y, k}
  let focused = -1;     // the mark the keys are on

  // ---- Rows

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
  const unpackJson = async (base64) => JSON.parse(decoder.decode(await unpack(base64)));

  // A column: a byte of code per row, a JSON array of strings, or numbers as text between
  // commas, an empty text for none.
  async function loadColumn(c, rows) {
    if (c.type === 'code') return {...c, data: await unpack(c.data)};
    if (c.type === 'text') return {...c, data: await unpackJson(c.data)};
    const list = decoder.decode(await unpack(c.data)).split(',');
    const values = new Float64Array(rows);
    for (let i = 0; i < rows; i++) values[i] = list[i] === '' ? NaN : Number(list[i]);
    return {...c, data: values};
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

  function cellText(c, row) {
    if (c.type === 'number') return numberText(c.data[row]);
    return c.type === 'code' ? c.values[c.data[row]] : c.data[row];
  }
  const statusOf = (row) => col.status.values[col.status.data[row]];

  // The end of a failed log: from its listed entry, or from the rows; null when there is none.
  function tailOf(row) {
    const listed = $(`tail-${row}`);
    if (listed) return listed.textContent;
    return tails.has(row) ? tails.get(row) : null;
  }

  let lowerNames = null;
  function filterRows() {
    const status = col.status.data;
    const q = state.q.toLowerCase();
    if (q && !lowerNames) lowerNames = col.log.data.map((s) => s.toLowerCase());
    const out = new Uint32Array(n);
    let k = 0;
    for (let r = 0; r < n; r++) {
      if (state.statuses.size && !state.statuses.has(status[r])) continue;
      if (q && !lowerNames[r].includes(q)) continue;
      out[k++] = r;
    }
    return out.slice(0, k);
  }

  // A number per row that sorts as the column's cells do, NaN for an empty cell: the number
  // itself, or the place of the text (or code name) among the column's texts; made once.
  function sortKey(c) {
    if (c.type === 'number' || c.key) return c.key || c.data;
    if (c.type === 'code') {
      const names = c.values.filter((v) => v).sort();
      const place = c.values.map((v) => (v ? names.indexOf(v) : NaN));
      c.key = Float64Array.from(c.data, (code) => place[code]);
      return c.key;
    }
    const text = c.data;
    const order = Uint32Array.from(text.keys());
    order.sort((a, b) => (text[a] < text[b] ? -1 : text[a] > text[b] ? 1 : 0));
    c.key = new Float64Array(n);
    let place = 0;
    order.forEach((r, i) => {
      if (i > 0 && text[r] !== text[order[i - 1]]) place++;
      c.key[r] = text[r] === '' ? NaN : place;
    });
    return c.key;
  }

  // The rows sorted by the sort column; empty cells last in either direction, ties in row order.
  function sortRows(rows) {
    if (!state.sort) return rows;
    const key = sortKey(col[state.sort]);
    const dir = state.desc ? -1 : 1;
    const full = rows.filter((r) => !Number.isNaN(key[r]));
    full.sort((a, b) => (key[a] - key[b]) * dir || a - b);
    const out = new Uint32Array(rows.length);
    out.set(full);
    out.set(rows.filter((r) => Number.isNaN(key[r])), full.length);
    return out;
  }

  // ---- Chart

  const canvas = $('chart');
  const tip = $('tip');
  let lastNumbers = null;

  // The last number in each log name, so that T5K, T10K and T100K stand at 5, 10 and 100.
  function lastNumberOf(row) {
    if (!lastNumbers) {
      lastNumbers = Float64Array.from(col.log.data, (name) => {
        const m = /(\d+(?:\.\d+)?)\D*$/.exec(name);
        return m ? Number(m[1]) : NaN;
      });
    }
    return lastNumbers[row];
  }

  function findBest() {
    const v = col[state.figure].data;
    best = -1;
    for (let r = 0; r < n; r++) if (v[r] < (best < 0 ? Infinity : v[best])) best = r;
    const line = $('best');
    if (best < 0) {
      line.textContent = `No run has a ${state.figure}.`;
    } else {
      const name = document.createElement('code');
      name.textContent = col.log.data[best];
      line.replaceChildren(`Best ${state.figure} ${numberText(v[best])}: `, name, '.');
    }
  }

  // The shown rows that have an x, in x order, with their x and y.
  function buildSeries() {
    const v = col[state.figure].data;
    const byName = state.x === 'num';
    let rows = shown;
    if (byName) {
      rows = shown.filter((r) => !Number.isNaN(lastNumberOf(r)));
      rows.sort((a, b) => lastNumberOf(a) - lastNumberOf(b) || a - b);
    }
    const x = new Float64Array(rows.length);
    const y = new Float64Array(rows.length);
    for (let k = 0; k < rows.length; k++) {
      const r = rows[k];
      x[k] = byName ? lastNumberOf(r) : r + 1;
      y[k] = state.y === 'log' ? (v[r] > 0 ? Math.log10(v[r]) : NaN) : v[r];
    }
    return {rows, x, y};
  }

  function range(values) {
    let lo = Infinity;
    let hi = -Infinity;
    for (const v of values) {
      if (v < lo) lo = v;
      if (v > hi) hi = v;
    }
    if (lo > hi) return [0, 1];
    return lo === hi ? [lo - 1, hi + 1] : [lo, hi];
  }

  function ticks(lo, hi, count, integer) {
    const raw = (hi - lo) / count;
    const power = 10 ** Math.floor(Math.log10(raw));
    let step = [1, 2, 5, 10].map((m) => m * power).find((s) => s >= raw);
    if (integer) step = Math.max(1, step);
    const out = [];
    for (let t = Math.ceil(lo / step) * step; t <= hi + step * 1e-9; t += step) {
      out.push(Number(t.toPrecision(12)));
    }
    return out;
  }

  const label = (v) => String(Number(v.toPrecision(6)));
  const COLOURS =
    {line: '#8fb3dd', point: '#1f5fa8', fail: '#b42318', best: '#1a7f37', axis: '#57606a'};

  function triangle(ctx, x, y) {
    ctx.beginPath();
    ctx.moveTo(x, y - 5);
    ctx.lineTo(x + 5, y + 4);
    ctx.lineTo(x - 5, y + 4);
    ctx.closePath();
    ctx.fill();
  }

  function ring(ctx, x, y, r, colour, width) {
    ctx.strokeStyle = colour;
    ctx.lineWidth = width;
    ctx.beginPath();
    ctx.arc(x, y, r, 0, 2 * Math.PI);
    ctx.stroke();
  }

  function draw() {
    if (!series) return;
    const width = canvas.clientWidth;
    const height = canvas.clientHeight;
    const ratio = window.devicePixelRatio || 1;
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    const ctx = canvas.getContext('2d');
    ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
    ctx.fillStyle = '#fff';
    ctx.fillRect(0, 0, width, height);
    const left = 70;
    const top = 22;
    const plotW = Math.max(10, width - left - 24);
    const plotH = Math.max(10, height - top - 58);
    const band = top + plotH + 12;  // where the failed runs are marked
    const {rows, x, y} = series;
    const [x0, x1] = range(x);
    let [y0, y1] = range(y.filter((v) => !Number.isNaN(v)));
    const pad = (y1 - y0) * 0.05;
    y0 -= pad;
    y1 += pad;
    const px = (v) => left + ((v - x0) / (x1 - x0)) * plotW;
    const py = (v) => top + (1 - (v - y0) / (y1 - y0)) * plotH;

    ctx.font = '12px system-ui, sans-serif';
    ctx.fillStyle = COLOURS.axis;
    ctx.strokeStyle = '#d0d7de';
    ctx.lineWidth = 1;
    ctx.textAlign = 'right';
    ctx.textBaseline = 'middle';
    for (const t of ticks(y0, y1, 6)) {
      ctx.beginPath();
      ctx.moveTo(left, Math.round(py(t)) + 0.5);
      ctx.lineTo(left + plotW, Math.round(py(t)) + 0.5);
      ctx.stroke();
      ctx.fillText(label(state.y === 'log' ? 10 ** t : t), left - 6, py(t));
    }
    ctx.textAlign = 'center';
    ctx.textBaseline = 'top';
    for (const t of ticks(x0, x1, Math.max(2, Math.floor(plotW / 90)), state.x === 'pos')) {
      ctx.fillText(label(t), px(t), band + 10);
    }
    const xName = state.x === 'num' ? 'last number in the log name' : 'row';
    ctx.fillText(xName, left + plotW / 2, band + 26);
    ctx.textAlign = 'left';
    ctx.fillText(`${state.figure}${state.y === 'log' ? ' (log scale)' : ''}`, left, 4);
    ctx.textAlign = 'right';
    ctx.fillStyle = COLOURS.fail;
    ctx.fillText('\u25B2 failed run', left + plotW, 4);
    ctx.fillStyle = COLOURS.best;
    ctx.fillText('\u25EF best', left + plotW - ctx.measureText('\u25B2 failed run').width - 16, 4);

    const failed = (k) => col.status.data[rows[k]] !== 0;
    marks = [];
    // More runs than pixel columns: each column shows the lowest and the highest of its values.
    const thinned = rows.length > plotW;
    if (!thinned) {
      ctx.strokeStyle = COLOURS.line;
      ctx.lineWidth = 1.5;
      ctx.beginPath();
      for (let k = 0; k < rows.length; k++) {
        if (Number.isNaN(y[k])) continue;
        if (k > 0 && !Number.isNaN(y[k - 1])) ctx.lineTo(px(x[k]), py(y[k]));
        else ctx.moveTo(px(x[k]), py(y[k]));
      }
      ctx.stroke();
      for (let k = 0; k < rows.length; k++) {
        if (!Number.isNaN(y[k])) marks.push({x: px(x[k]), y: py(y[k]), k});
        if (failed(k)) marks.push({x: px(x[k]), y: band, k});
      }
    } else {
      const low = new Int32Array(plotW + 1).fill(-1);
      const high = new Int32Array(plotW + 1).fill(-1);
      const fail = new Int32Array(plotW + 1).fill(-1);
      for (let k = 0; k < rows.length; k++) {
        const c = Math.round(px(x[k]) - left);
        if (failed(k) && fail[c] < 0) fail[c] = k;
        if (Number.isNaN(y[k])) continue;
        if (low[c] < 0 || y[k] < y[low[c]]) low[c] = k;
        if (high[c] < 0 || y[k] > y[high[c]]) high[c] = k;
      }
      ctx.strokeStyle = COLOURS.line;
      ctx.lineWidth = 1;
      for (let c = 0; c <= plotW; c++) {
        if (low[c] >= 0) {
          ctx.beginPath();
          ctx.moveTo(left + c + 0.5, py(y[low[c]]));
          ctx.lineTo(left + c + 0.5, py(y[high[c]]));
          ctx.stroke();
          marks.push({x: left + c, y: py(y[high[c]]), k: high[c]});
          if (low[c] !== high[c]) marks.push({x: left + c, y: py(y[low[c]]), k: low[c]});
        }
        if (fail[c] >= 0) marks.push({x: left + c, y: band, k: fail[c]});
      }
    }
    const values = marks.filter((m) => m.y !== band).length;
    $('thin').textContent = thinned
      ? `${rows.length} runs in ${plotW} pixel columns: each column shows the lowest and the ` +
        `highest ${state.figure} of its runs, ${values} points in all.`
      : '';
    for (const m of marks) {
      if (m.y === band) {
        ctx.fillStyle = COLOURS.fail;
        triangle(ctx, m.x, m.y);
      } else {
        ctx.fillStyle = COLOURS.point;
        ctx.beginPath();
        ctx.arc(m.x, m.y, thinned ? 1.5 : 3, 0, 2 * Math.PI);
        ctx.fill();
      }
    }
    for (const m of marks) {
      const row = rows[m.k];
      if (row === best && m.y !== band) ring(ctx, m.x, m.y, 7, COLOURS.best, 2);
      if (row === selected) ring(ctx, m.x, m.y, 9, '#000', 2);
    }
    if (focused >= marks.length) focused = -1;
    if (focused >= 0) ring(ctx, marks[focused].x, marks[focused].y, 12, '#1f5fa8', 1);
  }

  function showTip(index) {
    focused = index;
    if (index < 0) {
      tip.hidden = true;
      return;
    }
    const m = marks[index];
    const row = series.rows[m.k];
    const value = col[state.figure].data[row];
    const status = statusOf(row);
    tip.textContent = `${col.log.data[row]}\n${state.figure} ` +
      (Number.isNaN(value) ? 'none' : numberText(value)) +
      (status === 'ok' ? '' : `, status ${status}`);
    tip.hidden = false;
    tip.style.left = `${Math.min(m.x + 10, canvas.clientWidth - tip.offsetWidth)}px`;
    tip.style.top = `${m.y + 12}px`;
  }

  function nearestMark(event) {
    const box = canvas.getBoundingClientRect();
    const x = event.clientX - box.left;
    const y = event.clientY - box.top;
    let found = -1;
    let distance = HIT * HIT;
    marks.forEach((m, i) => {
      const d = (m.x - x) ** 2 + (m.y - y) ** 2;
      if (d <= distance) [found, distance] = [i, d];
    });
    return found;
  }

  // ---- Table

  const table = $('rows');
  const rowsBody = table.tBodies[0];
  const heads = [];

  function buildTable() {
    for (const c of cols) {
      const th = document.createElement('th');
      th.scope = 'col';
      if (c.type === 'number') th.className = 'num';
      const button = document.createElement('button');
      button.type = 'button';
      button.textContent = c.name;
      button.addEventListener('click', () => {
        state.desc = state.sort === c.name && !state.desc;
        state.sort = c.name;
        resort();
      });
      th.append(button);
      table.tHead.rows[0].append(th);
      heads.push(th);
    }
    for (let k = 0; k < PAGE_ROWS; k++) {
      const tr = rowsBody.insertRow();
      for (const c of cols) {
        const td = tr.insertCell();
        if (c.type === 'number') td.className = 'num';
      }
      const pick = document.createElement('button');
      pick.type = 'button';
      pick.className = 'pick';
      tr.cells[0].append(pick);
    }
  }

  const pageCount = () => Math.max(1, Math.ceil(view.length / PAGE_ROWS));

  function renderTable() {
    const start = page * PAGE_ROWS;
    for (let k = 0; k < PAGE_ROWS; k++) {
      const tr = rowsBody.rows[k];
      tr.hidden = start + k >= view.length;
      if (tr.hidden) continue;
      const row = view[start + k];
      tr.dataset.row = row;
      tr.classList.toggle('sel', row === selected);
      cols.forEach((c, i) => {
        const td = tr.cells[i];
        const text = cellText(c, row);
        if (i === 0) {
          td.firstChild.textContent = text;
          td.firstChild.setAttribute('aria-pressed', row === selected);
        } else {
          td.textContent = text;
        }
        if (c.type === 'text') td.title = text;
        if (c.name === 'status') td.classList.toggle('fail', text !== 'ok');
        td.classList.toggle('best', row === best && c.name === state.figure);
      });
    }
    const pages = pageCount();
    $('page').textContent = view.length
      ? `Rows ${start + 1} to ${Math.min(start + PAGE_ROWS, view.length)} of ${view.length}, ` +
        `page ${page + 1} of ${pages}`
      : 'No row matches.';
    $('first').disabled = $('prev').disabled = page === 0;
    $('next').disabled = $('last').disabled = page >= pages - 1;
  }

  function showDetail() {
    const box = $('detail');
    box.hidden = selected < 0;
    if (selected < 0) return;
    const status = statusOf(selected);
    const error = col.error.data[selected];
    const tail = status === 'ok' ? null : tailOf(selected);
    let note = `Status ${status}${error ? `: ${error}` : ''}.`;
    if (tail !== null) note += ' The last records of its log:';
    else if (status !== 'ok' && status !== 'unreadable') {
      note += tailCut !== null && selected >= tailCut
        ? ' The end of its log is left out of this page.' : ' Its log is empty.';
    }
    $('detail-title').textContent = col.log.data[selected];
    $('detail-note').textContent = note;
    $('detail-tail').textContent = tail ?? '';
    $('detail-tail').hidden = tail === null;
  }

  // ---- The view, and the URL's fragment that holds it

  function select(row, fromChart) {
    selected = row;
    if (fromChart) {
      const at = view.indexOf(row);
      if (at >= 0) page = Math.floor(at / PAGE_ROWS);
    }
    renderTable();
    draw();
    showDetail();
    if (fromChart) {
      const tr = rowsBody.querySelector(`tr[data-row="${row}"]:not([hidden])`);
      if (tr) tr.scrollIntoView({block: 'nearest'});
    }
  }

  function readHash() {
    const p = new URLSearchParams(location.hash.slice(1));
    const figure = p.get('figure');
    state.figure = col[figure]?.type === 'number' ? figure : defaultFigure;
    state.x = p.get('x') === 'num' ? 'num' : 'pos';
    state.y = p.get('y') === 'log' ? 'log' : 'lin';
    const sort = p.get('sort') || '';
    state.desc = sort.startsWith('-');
    state.sort = col[sort.replace(/^-/, '')] ? sort.replace(/^-/, '') : '';
    const names = (p.get('status') || '').split(',');
    state.statuses = new Set();
    col.status.values.forEach((v, i) => names.includes(v) && state.statuses.add(i));
    state.q = p.get('q') || '';
  }

  function writeHash() {
    const p = new URLSearchParams();
    if (state.figure !== defaultFigure) p.set('figure', state.figure);
    if (state.x !== 'pos') p.set('x', state.x);
    if (state.y !== 'lin') p.set('y', state.y);
    if (state.sort) p.set('sort', (state.desc ? '-' : '') + state.sort);
    const statuses = [...state.statuses].sort().map((i) => col.status.values[i]);
    if (statuses.length) p.set('status', statuses.join(','));
    if (state.q) p.set('q', state.q);
    const hash = p.toString();
    if (hash !== location.hash.slice(1)) {
      history.replaceState(null, '', hash ? `#${hash}` : location.href.split('#')[0]);
    }
  }

  function showState() {
    $('figure').value = state.figure;
    $('x').value = state.x;
    $('y').value = state.y;
    $('q').value = state.q;
    for (const button of document.querySelectorAll('#counts button')) {
      const code = col.status.values.indexOf(button.dataset.status);
      button.setAttribute('aria-pressed', state.statuses.has(code));
    }
    heads.forEach((th, i) => {
      if (cols[i].name !== state.sort) th.removeAttribute('aria-sort');
      else th.setAttribute('aria-sort', state.desc ? 'descending' : 'ascending');
    });
    writeHash();
  }

  function refigure() {
    findBest();
    series = buildSeries();
    showTip(-1);
    draw();
    renderTable();
    showState();
  }

  function resort() {
    view = sortRows(shown);
    page = 0;
    renderTable();
    showState();
  }

  function refilter() {
    shown = filterRows();
    view = sortRows(shown);
    page = 0;
    refigure();
  }

  function save(blob, name) {
    const a = document.createElement('a');
    a.href = URL.createObjectURL(blob);
    a.download = name;
    a.click();
    setTimeout(() => URL.revokeObjectURL(a.href), 60000);
  }

  function csv() {
    const field = (t) => (/[",\r\n]/.test(t) ? `"${t.replaceAll('"', '""')}"` : t);
    const lines = [cols.map((c) => c.name).join(',')];
    for (const row of view) lines.push(cols.map((c) => field(cellText(c, row))).join(','));
    save(new Blob([`${lines.join('\n')}\n`], {type: 'text/csv'}), 'tabrun-rows.csv');
  }

  function listen() {
    $('figure').addEventListener('change', (e) => { state.figure = e.target.value; refigure(); });
    $('x').addEventListener('change', (e) => { state.x = e.target.value; refigure(); });
    $('y').addEventListener('change', (e) => { state.y = e.target.value; refigure(); });
    let typing = 0;
    $('q').addEventListener('input', (e) => {
      clearTimeout(typing);
      typing = setTimeout(() => { state.q = e.target.value; refilter(); }, 150);
    });
    for (const button of document.querySelectorAll('#counts button')) {
      button.addEventListener('click', () => {
        const code = col.status.values.indexOf(button.dataset.status);
        if (!state.statuses.delete(code)) state.statuses.add(code);
        refilter();
      });
    }
    const go = (p) => { page = Math.min(Math.max(p, 0), pageCount() - 1); renderTable(); };
    $('first').addEventListener('click', () => go(0));
    $('prev').addEventListener('click', () => go(page - 1));
    $('next').addEventListener('click', () => go(page + 1));
    $('last').addEventListener('click', () => go(pageCount() - 1));
    rowsBody.addEventListener('click', (e) => {
      const tr = e.target.closest('tr');
      if (tr) select(Number(tr.dataset.row), false);
    });
    canvas.addEventListener('mousemove', (e) => showTip(nearestMark(e)));
    canvas.addEventListener('mouseleave', () => showTip(-1));
    canvas.addEventListener('click', (e) => {
      const i = nearestMark(e);
      if (i >= 0) select(series.rows[marks[i].k], true);
    });
    canvas.addEventListener('blur', () => showTip(-1));
    canvas.addEventListener('keydown', (e) => {
      const last = marks.length - 1;
      const to = {ArrowRight: focused + 1, ArrowDown: focused + 1, ArrowLeft: focused - 1,
        ArrowUp: focused - 1, Home: 0, End: last}[e.key];
      if (to !== undefined && last >= 0) {
        showTip(Math.min(Math.max(to, 0), last));
        draw();
      } else if ((e.key === 'Enter' || e.key === ' ') && focused >= 0) {
        select(series.rows[marks[focused].k], true);
      } else {
        return;
      }
      e.preventDefault();
    });
    $('png').addEventListener('click', () => canvas.toBlob((b) => save(b, 'tabrun-chart.png')));
    $('csv').addEventListener('click', csv);
    window.addEventListener('hashchange', () => { readHash(); refilter(); });
    new ResizeObserver(() => { showTip(-1); draw(); }).observe($('plot'));
    // Print every listed failure with its end, and put them back as they were afterwards.
    let closed = [];
    window.addEventListener('beforeprint', () => {
      closed = [...document.querySelectorAll('#failed details:not([open])')];
      for (const d of closed) d.open = true;
    });
    window.addEventListener('afterprint', () => { for (const d of closed) d.open = false; });
  }

  async function main() {
    const data = JSON.parse($('data').textContent);
    n = data.rows;
    tailCut = data.tail_cut;
    cols = await Promise.all(data.columns.map((c) => loadColumn(c, data.rows)));
    for (const c of cols) col[c.name] = c;
    const flat = await unpackJson(data.tails);
    tails = new Map();
    for (let i = 0; i < flat.length; i += 2) tails.set(flat[i], flat[i + 1]);
    const any = (f) => col[f].data.some((v) => !Number.isNaN(v));
    defaultFigure = FIRST_FIGURES.find(any) || 'cpu_seconds';
    for (const c of cols) if (c.type === 'number') $('figure').add(new Option(c.name, c.name));
    buildTable();
    readHash();
    $('view').hidden = false;
    listen();
    refilter();
    document.documentElement.dataset.ready = '1';
    performance.mark('data-ready');
  }

  main().catch((error) => {
    const p = document.createElement('p');
    p.textContent = `This page could not show its rows: ${error}`;
    document.querySelector('header').append(p);
  });
})();
