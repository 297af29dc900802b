// The script of the page that tabrun --html writes. It unpacks the rows that the page carries
// column by column, draws the chosen figure of the runs on the canvas (by run, as a rank plot or
// as a histogram), sums it up, fills a paged table, shows the end of a failed log on demand and
// keeps the view in the URL's fragment. Text from the batch is only ever set as text
// (textContent), never as markup. The pure functions are PageMath's, in chart.js before it.
'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const M = PageMath;
  const PAGE_ROWS = 40;  // the table's rows: with the listed failures, under 1,500 elements
  const FIRST_FIGURES = ['chi2', 'rf2', 'cpu_seconds'];  // the default: the first any run has
  const HIT = 12;  // how near, in pixels, the pointer must be to a mark
  const group = (count) => count.toLocaleString('en-US');  // 200,000

  let n = 0;       // rows
  let cols = [];   // {name, type: 'text' | 'number' | 'code', data, values}
  const col = {};  // the same by name
  let tails = new Map();  // row -> the end of its log, or null when it is left out of the page
  let figures = [];       // the number columns some run has, but the number in the log name
  let statusNames = [];   // the statuses some run has
  let defaults = {};
  let state = {};
  let shown = new Uint32Array(0);  // the rows that pass the filters, in row order
  let isShown = new Uint8Array(0); // the same, 1 per row shown
  const orders = new Map();        // column or figure -> its rows in order, made once
  let view = shown;                // the same, sorted
  let page = 0;
  let selected = -1;
  let best = -1;        // the row with the lowest value of the figure
  let series = null;    // what the chart shows: {rows, x, y} in x order, or a histogram
  let marks = [];       // what the chart drew, for the pointer and the keys: {x, y, k}
  let focused = -1;     // the mark the keys are on
  let frame = null;     // the last drawing's plot: {left, plotW, x0, x1}

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
    for (let i = 0; i < rows; i++) values[i] = M.parseNumber(list[i]);
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
  const shortText = (v) => String(Number(v.toPrecision(6)));

  function cellText(c, row) {
    if (c.type === 'number') return numberText(c.data[row]);
    return c.type === 'code' ? c.values[c.data[row]] : c.data[row];
  }
  const statusOf = (row) => col.status.values[col.status.data[row]];

  // The end of a failed log: from its listed entry, or from the rows; null when there is none.
  function tailOf(row) {
    const listed = $(`tail-${row}`);
    if (listed) return listed.textContent;
    return tails.get(row) ?? null;
  }

  let lowerNames = null;
  function filterRows() {
    const status = col.status.data;
    const codes = new Set(state.statuses.map((s) => col.status.values.indexOf(s)));
    const q = state.q.toLowerCase();
    if (q && !lowerNames) lowerNames = col.log.data.map((s) => s.toLowerCase());
    const out = new Uint32Array(n);
    let k = 0;
    for (let r = 0; r < n; r++) {
      if (codes.size && !codes.has(status[r])) continue;
      if (q && !lowerNames[r].includes(q)) continue;
      out[k++] = r;
    }
    return out.slice(0, k);
  }

  // A number per row that sorts as the column's cells do, NaN for an empty cell: the number
  // itself, or the place of the text (or code name) among the column's texts, in natural order
  // for the log names; made once.
  function sortKey(c) {
    if (c.type === 'number' || c.key) return c.key || c.data;
    if (c.type === 'code') {
      const place = M.textPlaces(c.values, false);
      c.key = Float64Array.from(c.data, (code) => place[code]);
    } else {
      c.key = M.textPlaces(c.data, c.name === 'log');
    }
    return c.key;
  }

  // Every row whose key is a number, by its key (descending when `desc`), ties in row order;
  // made once per key, so that filtering keeps the order by picking from it.
  function orderOf(name, key, desc) {
    const id = `${desc ? '-' : ''}${name}`;
    if (!orders.has(id)) {
      const rows = [];
      for (let r = 0; r < n; r++) if (!Number.isNaN(key[r])) rows.push(r);
      rows.sort(desc ? (a, b) => key[b] - key[a] || a - b : (a, b) => key[a] - key[b] || a - b);
      orders.set(id, Uint32Array.from(rows));
    }
    const order = orders.get(id);
    return shown.length === n ? order : order.filter((r) => isShown[r]);
  }

  // The shown rows sorted by the sort column; empty cells last in either direction, ties in row
  // order.
  function sortRows() {
    if (!state.sort) return shown;
    const key = sortKey(col[state.sort]);
    const full = orderOf(state.sort, key, state.desc);
    const out = new Uint32Array(shown.length);
    out.set(full);
    out.set(shown.filter((r) => Number.isNaN(key[r])), full.length);
    return out;
  }

  // ---- Chart

  const canvas = $('chart');
  const tip = $('tip');
  const nameNumber = (row) => col.name_number.data[row];
  const valueOf = (row) => {
    const v = col[state.figure].data[row];
    return state.y === 'log' ? (v > 0 ? Math.log10(v) : NaN) : v;
  };

  function findBest() {
    const v = col[state.figure].data;
    best = -1;
    for (const r of shown) if (v[r] < (best < 0 ? Infinity : v[best])) best = r;
    const line = $('best');
    if (best < 0) {
      line.textContent = `No run shown has a ${state.figure}.`;
    } else {
      const name = document.createElement('code');
      name.textContent = col.log.data[best];
      line.replaceChildren(`Best ${state.figure} ${numberText(v[best])}: `, name, '.');
    }
  }

  function summarize() {
    const s = M.summary(Float64Array.from(shown, (r) => col[state.figure].data[r]));
    $('summary').textContent = !s ? '' :
      `${state.figure} of ${group(s.n)} ${s.n === 1 ? 'run' : 'runs'}: best ` +
      `${numberText(s.best)}, shared by ${group(s.ties)}; within 10 % of it ${group(s.near)} ` +
      `(${(100 * s.near / s.n).toFixed(1)} %); median ${shortText(s.median)}, quartiles ` +
      `${shortText(s.q1)} to ${shortText(s.q3)}.`;
  }

  // What the view shows of the shown rows. By run: the rows that have an x, in x order, with
  // their x and y. Rank plot: the rows that have a y, best first, x their rank. Histogram: the
  // bins of the y values within the zoom.
  function buildSeries() {
    if (state.view === 'series') {
      const byName = state.x === 'num';
      const rows = byName ? orderOf('name_number', col.name_number.data, false) : shown;
      return {rows, x: Float64Array.from(rows, (r) => (byName ? nameNumber(r) : r + 1)),
        y: Float64Array.from(rows, valueOf)};
    }
    let rows = orderOf(state.figure, col[state.figure].data, false);
    if (state.y === 'log') rows = rows.filter((r) => col[state.figure].data[r] > 0);
    const y = Float64Array.from(rows, valueOf);
    if (state.view === 'hist') {
      const [lo, hi] = state.zoom || range(y);
      return {rows, y, hist: M.histogram(y, lo, hi)};
    }
    return {rows, x: Float64Array.from(rows, (r, k) => k + 1), y};
  }

  function range(values) {
    let lo = Infinity;
    let hi = -Infinity;
    for (const v of values) {
      if (v < lo) lo = v;
      if (v > hi) hi = v;
    }
    return lo > hi ? [0, 1] : [lo, hi];
  }

  // The axis ticks of [lo, hi], as positions on the axis and texts; `log`: the positions are
  // log10 of the values.
  function axisTicks(lo, hi, count, log, integer) {
    if (!log) return M.ticks(lo, hi, count, integer).map((t) => [t, M.tickLabel(t)]);
    return M.logTicks(10 ** lo, 10 ** hi, count).map((t) => [Math.log10(t), M.tickLabel(t)]);
  }

  // The chart's colours, from the page's style: they follow the light or dark scheme.
  function colours() {
    const style = getComputedStyle(document.documentElement);
    const get = (name) => style.getPropertyValue(`--${name}`).trim();
    return {bg: get('bg'), fg: get('fg'), grid: get('line'), axis: get('muted'),
      line: get('mark-line'),
      point: get('accent'), fail: get('fail'), best: get('best')};
  }

  const triangle = (ctx, x, y) => {
    ctx.beginPath();
    ctx.moveTo(x, y - 5);
    ctx.lineTo(x + 5, y + 4);
    ctx.lineTo(x - 5, y + 4);
    ctx.closePath();
    ctx.fill();
  };

  function ring(ctx, x, y, r, colour, width) {
    ctx.strokeStyle = colour;
    ctx.lineWidth = width;
    ctx.beginPath();
    ctx.arc(x, y, r, 0, 2 * Math.PI);
    ctx.stroke();
  }

  // The legend, right-aligned along the top: what each kind of mark means.
  function legend(ctx, c, right) {
    const items = [];
    if (state.view === 'series') items.push(['\u25B2 failed run', c.fail]);
    items.push(['\u25EF best', c.best]);
    if (selected >= 0) {
      items.push([`\u25EF selected: ${col.log.data[selected]}`.slice(0, 60), c.fg]);
    }
    ctx.textAlign = 'right';
    for (const [text, colour] of items.reverse()) {
      ctx.fillStyle = colour;
      ctx.fillText(text, right, 4);
      right -= ctx.measureText(text).width + 16;
    }
  }

  function draw() {
    if (!series) return;
    const width = canvas.clientWidth;
    const height = canvas.clientHeight;
    const ratio = window.devicePixelRatio || 1;
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    const ctx = canvas.getContext('2d');
    const c = colours();
    ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
    ctx.fillStyle = c.bg;
    ctx.fillRect(0, 0, width, height);
    const left = 64;
    const top = 22;
    const plotW = Math.max(10, Math.floor(width - left - 24));
    const plotH = Math.max(10, Math.floor(height - top - 58));
    const band = top + plotH + 12;  // where the failed runs are marked
    const hist = state.view === 'hist';
    const log = state.y === 'log';
    const {rows, x, y} = series;
    let x0;
    let x1;
    let y0;
    let y1;
    if (hist) {
      [x0, x1] = [series.hist.lo, series.hist.hi];
      [y0, y1] = [0, Math.max(1, ...series.hist.counts) * 1.05];
    } else {
      [x0, x1] = state.zoom || range(x);
      [y0, y1] = range(y.filter((v, k) => !Number.isNaN(v) && x[k] >= x0 && x[k] <= x1));
      const pad = (y1 / 2 - y0 / 2) * 0.1 || Math.abs(y0) * 0.1 || 1;
      [y0, y1] = [Math.max(y0 - pad, -Number.MAX_VALUE), Math.min(y1 + pad, Number.MAX_VALUE)];
    }
    if (!(x1 > x0)) [x0, x1] = [x0 - (Math.abs(x0) * 0.1 || 1), x1 + (Math.abs(x1) * 0.1 || 1)];
    // Halved before the difference, which can overflow.
    const px = (v) => left + ((v / 2 - x0 / 2) / (x1 / 2 - x0 / 2)) * plotW;
    const py = (v) => top + (1 - (v / 2 - y0 / 2) / (y1 / 2 - y0 / 2)) * plotH;
    frame = {left, plotW, x0, x1};

    ctx.font = '12px system-ui, sans-serif';
    ctx.fillStyle = c.axis;
    ctx.strokeStyle = c.grid;
    ctx.lineWidth = 1;
    ctx.textAlign = 'right';
    ctx.textBaseline = 'middle';
    for (const [t, text] of axisTicks(y0, y1, 6, log && !hist, hist)) {
      ctx.beginPath();
      ctx.moveTo(left, Math.round(py(t)) + 0.5);
      ctx.lineTo(left + plotW, Math.round(py(t)) + 0.5);
      ctx.stroke();
      ctx.fillText(text, left - 6, py(t));
    }
    ctx.textAlign = 'center';
    ctx.textBaseline = 'top';
    const integerX = state.view === 'rank' || (state.view === 'series' && state.x === 'pos');
    for (const [t, text] of axisTicks(x0, x1, Math.max(2, Math.floor(plotW / 90)), log && hist,
      integerX)) {
      ctx.fillText(text, px(t), band + 10);
    }
    const scale = log ? ' (log scale)' : '';
    const xName = {series: state.x === 'num' ? 'number in the log name' : 'row',
      rank: 'rank, best first', hist: state.figure + scale}[state.view];
    ctx.fillText(xName, left + plotW / 2, band + 26);
    ctx.textAlign = 'left';
    ctx.fillText(hist ? 'runs' : state.figure + scale, left, 4);
    legend(ctx, c, left + plotW);

    marks = [];
    let note = '';
    if (hist) {
      note = drawHistogram(ctx, c, px, py, top + plotH);
    } else {
      note = drawRuns(ctx, c, px, py, {left, plotW, plotH, top, band});
      // The rings of the best run and the selected one, where they are in view.
      for (const [row, colour, r] of [[best, c.best, 7], [selected, c.fg, 9]]) {
        const k = row < 0 ? -1 : rows.indexOf(row);
        if (k < 0 || x[k] < x0 || x[k] > x1) continue;
        if (!Number.isNaN(y[k])) ring(ctx, px(x[k]), py(y[k]), r, colour, 2);
        else if (statusOf(row) !== 'ok' && r === 9) ring(ctx, px(x[k]), band, r, colour, 2);
      }
    }
    $('thin').textContent = note;
    if (focused >= marks.length) focused = -1;
    if (focused >= 0) ring(ctx, marks[focused].x, marks[focused].y, 12, c.point, 1);
  }

  // The runs by run or by rank: a line and points while they fit, else the count of runs in
  // each pixel, shaded; failed runs as triangles along the bottom.
  function drawRuns(ctx, c, px, py, {left, plotW, plotH, top, band}) {
    const {rows, x, y} = series;
    const [x0, x1] = [frame.x0, frame.x1];
    let from = 0;
    while (from < x.length && x[from] < x0) from++;
    let to = from;
    while (to < x.length && x[to] <= x1) to++;
    const failed = (k) => col.status.data[rows[k]] !== 0;
    const bottom = state.view === 'series';
    if (to - from <= plotW) {
      ctx.strokeStyle = c.line;
      ctx.lineWidth = 1.5;
      ctx.beginPath();
      for (let k = from; k < to; k++) {
        if (Number.isNaN(y[k])) continue;
        if (k > from && !Number.isNaN(y[k - 1])) ctx.lineTo(px(x[k]), py(y[k]));
        else ctx.moveTo(px(x[k]), py(y[k]));
      }
      ctx.stroke();
      for (let k = from; k < to; k++) {
        if (!Number.isNaN(y[k])) marks.push({x: px(x[k]), y: py(y[k]), k});
        if (bottom && failed(k)) marks.push({x: px(x[k]), y: band, k, fail: true});
      }
      for (const m of marks) {
        ctx.fillStyle = m.fail ? c.fail : c.point;
        if (m.fail) triangle(ctx, m.x, m.y);
        else ctx.fillRect(m.x - 2.5, m.y - 2.5, 5, 5);
      }
      return '';
    }
    // More runs than pixel columns: a pixel's shade grows with the runs in it.
    const counts = new Uint32Array(plotW * plotH);
    const low = new Int32Array(plotW).fill(-1);
    const high = new Int32Array(plotW).fill(-1);
    const fail = new Int32Array(plotW).fill(-1);
    for (let k = from; k < to; k++) {
      const p = Math.min(plotW - 1, Math.floor(px(x[k]) - left));
      if (bottom && failed(k) && fail[p] < 0) fail[p] = k;
      if (Number.isNaN(y[k])) continue;
      const line = Math.min(plotH - 1, Math.max(0, Math.floor(py(y[k]) - top)));
      counts[line * plotW + p]++;
      if (low[p] < 0 || y[k] < y[low[p]]) low[p] = k;
      if (high[p] < 0 || y[k] > y[high[p]]) high[p] = k;
    }
    const most = counts.reduce((a, b) => (a > b ? a : b), 1);
    if (!bottom) {
      // Ranked values rise steadily: their curve, through each column's lowest and highest.
      ctx.strokeStyle = c.point;
      ctx.lineWidth = 2;
      ctx.beginPath();
      for (let p = 0; p < plotW; p++) {
        if (low[p] < 0) continue;
        ctx.lineTo(left + p + 0.5, py(y[low[p]]));
        ctx.lineTo(left + p + 0.5, py(y[high[p]]));
      }
      ctx.stroke();
    }
    const shade = document.createElement('canvas');
    [shade.width, shade.height] = [plotW, plotH];
    const sctx = shade.getContext('2d');
    const image = sctx.createImageData(plotW, plotH);
    sctx.fillStyle = c.point;
    sctx.fillRect(0, 0, 1, 1);
    const [r, g, b] = sctx.getImageData(0, 0, 1, 1).data;
    // From 60 % opaque for one run, 3:1 against the background, to opaque for the most.
    const scale = 102 / Math.log(1 + most);
    counts.forEach((count, i) => {
      if (!count) return;
      image.data.set([r, g, b, 153 + Math.round(Math.log(1 + count) * scale)], i * 4);
    });
    sctx.putImageData(image, 0, 0);
    ctx.imageSmoothingEnabled = false;
    if (bottom) ctx.drawImage(shade, left, top);
    ctx.fillStyle = c.fail;
    for (let p = 0; p < plotW; p++) {
      if (high[p] >= 0) marks.push({x: left + p + 0.5, y: py(y[high[p]]), k: high[p]});
      if (low[p] >= 0 && low[p] !== high[p]) {
        marks.push({x: left + p + 0.5, y: py(y[low[p]]), k: low[p]});
      }
      if (fail[p] >= 0) {
        marks.push({x: left + p + 0.5, y: band, k: fail[p], fail: true});
        triangle(ctx, left + p + 0.5, band);
      }
    }
    return `${group(to - from)} runs in ${plotW} pixel columns: ` + (bottom
      ? `the darker a pixel, the more runs it holds (up to ${group(most)}); `
      : 'the curve goes through the lowest and the highest value of each; ') +
      'the pointer names the lowest and the highest run of each column.';
  }

  // The histogram's bars, each a mark that tells its range and count.
  function drawHistogram(ctx, c, px, py, base) {
    const {lo, hi, counts} = series.hist;
    const width = (hi - lo) / counts.length;
    const edge = (i) => (i === counts.length ? hi : lo + i * width);
    const at = (row) => {
      const k = series.rows.indexOf(row);
      if (k < 0 || !(series.y[k] >= lo && series.y[k] <= hi)) return -1;
      const bin = counts.findIndex((_, i) => series.y[k] < edge(i + 1));
      return bin < 0 ? counts.length - 1 : bin;
    };
    const [bestBin, selectedBin] = [at(best), at(selected)];
    counts.forEach((count, i) => {
      const [a, b] = [px(edge(i)), px(edge(i + 1))];
      ctx.fillStyle = c.point;
      ctx.fillRect(a + 0.5, py(count), Math.max(1, b - a - 1), base - py(count));
      for (const [bin, colour] of [[bestBin, c.best], [selectedBin, c.fg]]) {
        if (bin !== i) continue;
        ctx.strokeStyle = colour;
        ctx.lineWidth = 2;
        ctx.strokeRect(a + 1, py(count) - 1, Math.max(1, b - a - 2), base - py(count) + 1);
      }
      marks.push({x: (a + b) / 2, y: py(count), k: -1, bin: i});
    });
    const text = (v) => M.tickLabel(state.y === 'log' ? 10 ** v : v);
    return `${counts.length} bins of equal width${state.y === 'log' ? ' in log10' : ''} from ` +
      `${text(lo)} to ${text(hi)} for ${group(series.y.filter((v) => v >= lo && v <= hi).length)}` +
      ' runs: 2 n^(1/3) bins, rounded up, at most 100.';
  }

  function showTip(index) {
    focused = index;
    if (index < 0) {
      tip.hidden = true;
      return;
    }
    const m = marks[index];
    if (m.bin !== undefined) {
      const {lo, hi, counts} = series.hist;
      const at = (i) => lo + (i * (hi - lo)) / counts.length;
      const text = (v) => shortText(state.y === 'log' ? 10 ** v : v);
      tip.textContent = `${group(counts[m.bin])} runs with ${state.figure} from ` +
        `${text(at(m.bin))} to ${text(at(m.bin + 1))}`;
    } else {
      const row = series.rows[m.k];
      const value = col[state.figure].data[row];
      const status = statusOf(row);
      tip.textContent = `${col.log.data[row]}\n${state.figure} ` +
        (Number.isNaN(value) ? 'none' : numberText(value)) +
        (status === 'ok' ? '' : `, status ${status}`);
    }
    tip.hidden = false;
    tip.style.left = `${Math.max(0, Math.min(m.x + 10, canvas.clientWidth - tip.offsetWidth))}px`;
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

  // Zooms the x axis to [lo, hi] of its values; null shows all.
  function zoomTo(range) {
    const [lo, hi] = range || [];
    state.zoom = range && lo < hi && Number.isFinite(hi - lo)
      ? [lo, hi].map((v) => Number(v.toPrecision(12))) : null;
    if (state.zoom && !(state.zoom[0] < state.zoom[1])) state.zoom = [lo, hi];
    refigure();
  }

  // The x value at a pixel of the last drawing.
  const xAt = (pixel) => frame.x0 + ((pixel - frame.left) / frame.plotW) * (frame.x1 - frame.x0);

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
  // The columns a narrow window keeps: the log name, the status and the chosen figure.
  const kept = (c) => c.name === 'log' || c.name === 'status' || c.name === state.figure;

  function renderTable() {
    const start = page * PAGE_ROWS;
    heads.forEach((th, i) => th.classList.toggle('keep', kept(cols[i])));
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
        td.classList.toggle('keep', kept(c));
      });
    }
    const pages = pageCount();
    $('page').textContent = view.length
      ? `Rows ${group(start + 1)} to ${group(Math.min(start + PAGE_ROWS, view.length))} of ` +
        `${group(view.length)}, page ${group(page + 1)} of ${group(pages)}`
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
    const values = figures.filter((f) => !Number.isNaN(col[f].data[selected]))
      .map((f) => `${f} ${numberText(col[f].data[selected])}`);
    if (values.length) note += ` ${values.join(', ')}.`;
    if (tail !== null) note += ' The last records of its log:';
    else if (status !== 'ok' && status !== 'unreadable') {
      note += tails.has(selected) ? ' The end of its log is left out of this page.'
        : ' Its log is empty.';
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
    state = M.readHash(location.hash.slice(1),
      {figures, columns: cols.map((c) => c.name), statuses: statusNames}, defaults);
  }

  function writeHash() {
    const hash = M.writeHash(state, defaults);
    if (hash !== location.hash.slice(1)) {
      history.replaceState(null, '', hash ? `#${hash}` : location.href.split('#')[0]);
    }
  }

  function showState() {
    for (const key of ['figure', 'view', 'x', 'y', 'q']) $(key).value = state[key];
    $('x').disabled = state.view !== 'series';
    $('zoom-reset').disabled = !state.zoom;
    for (const button of document.querySelectorAll('#counts button')) {
      button.setAttribute('aria-pressed', state.statuses.includes(button.dataset.status));
    }
    heads.forEach((th, i) => {
      if (cols[i].name !== state.sort) th.removeAttribute('aria-sort');
      else th.setAttribute('aria-sort', state.desc ? 'descending' : 'ascending');
    });
    writeHash();
  }

  function refigure() {
    findBest();
    summarize();
    series = buildSeries();
    showTip(-1);
    draw();
    renderTable();
    showState();
  }

  function resort() {
    view = sortRows();
    page = 0;
    renderTable();
    showState();
  }

  function refilter() {
    shown = filterRows();
    isShown = new Uint8Array(n);
    for (const r of shown) isShown[r] = 1;
    view = sortRows();
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

  // The chart as a PNG, under a title that names the page and the figure.
  function png() {
    const ratio = canvas.width / canvas.clientWidth;
    const out = document.createElement('canvas');
    [out.width, out.height] = [canvas.width, canvas.height + Math.round(28 * ratio)];
    const ctx = out.getContext('2d');
    const c = colours();
    ctx.fillStyle = c.bg;
    ctx.fillRect(0, 0, out.width, out.height);
    ctx.scale(ratio, ratio);
    ctx.fillStyle = c.fg;
    ctx.font = '600 14px system-ui, sans-serif';
    ctx.textBaseline = 'top';
    const kind = {series: 'by run', rank: 'rank plot', hist: 'histogram'}[state.view];
    ctx.fillText(`${document.title}: ${state.figure}, ${kind}`, 8, 8);
    ctx.setTransform(1, 0, 0, 1, 0, 0);
    ctx.drawImage(canvas, 0, Math.round(28 * ratio));
    out.toBlob((b) => save(b, 'tabrun-chart.png'));
  }

  function listen() {
    for (const key of ['figure', 'view', 'x', 'y']) {
      $(key).addEventListener('change', (e) => {
        state[key] = e.target.value;
        if (key !== 'figure' || state.view === 'hist') state.zoom = null;
        refigure();
      });
    }
    let typing = 0;
    $('q').addEventListener('input', (e) => {
      clearTimeout(typing);
      typing = setTimeout(() => { state.q = e.target.value; refilter(); }, 150);
    });
    for (const button of document.querySelectorAll('#counts button')) {
      button.addEventListener('click', () => {
        const name = button.dataset.status;
        const on = (s) => state.statuses.includes(s) !== (s === name);
        state.statuses = statusNames.filter(on);
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
    // Dragging across the chart zooms to the dragged range; a click picks a point.
    let dragFrom = null;
    let dragged = false;
    const canvasX = (e) => e.clientX - canvas.getBoundingClientRect().left;
    canvas.addEventListener('mousedown', (e) => { dragFrom = canvasX(e); dragged = false; });
    window.addEventListener('mouseup', (e) => {
      if (dragFrom !== null && Math.abs(canvasX(e) - dragFrom) >= 6 && frame) {
        dragged = true;
        const ends = [xAt(dragFrom), xAt(canvasX(e))].sort((a, b) => a - b);
        zoomTo(ends);
      }
      dragFrom = null;
    });
    canvas.addEventListener('mousemove', (e) => showTip(nearestMark(e)));
    canvas.addEventListener('mouseleave', () => showTip(-1));
    canvas.addEventListener('click', (e) => {
      const i = nearestMark(e);
      if (!dragged && i >= 0 && marks[i].k >= 0) select(series.rows[marks[i].k], true);
    });
    canvas.addEventListener('blur', () => showTip(-1));
    canvas.addEventListener('keydown', (e) => {
      const last = marks.length - 1;
      const to = {ArrowRight: focused + 1, ArrowDown: focused + 1, ArrowLeft: focused - 1,
        ArrowUp: focused - 1, Home: 0, End: last}[e.key];
      const span = frame ? frame.x1 - frame.x0 : 0;
      const middle = frame ? frame.x0 + span / 2 : 0;
      if (frame && (e.key === '+' || e.key === '=')) {
        zoomTo([middle - span / 4, middle + span / 4]);
      } else if (frame && e.key === '-') {
        zoomTo(state.zoom && [middle - span, middle + span]);
      } else if (frame && e.shiftKey && (e.key === 'ArrowLeft' || e.key === 'ArrowRight')) {
        const shift = (e.key === 'ArrowLeft' ? -span : span) / 4;
        zoomTo([frame.x0 + shift, frame.x1 + shift]);
      } else if (to !== undefined && last >= 0) {
        showTip(Math.min(Math.max(to, 0), last));
        draw();
      } else if ((e.key === 'Enter' || e.key === ' ') && focused >= 0 && marks[focused].k >= 0) {
        select(series.rows[marks[focused].k], true);
      } else {
        return;
      }
      e.preventDefault();
    });
    $('zoom-reset').addEventListener('click', () => zoomTo(null));
    $('png').addEventListener('click', png);
    $('csv').addEventListener('click', csv);
    window.addEventListener('hashchange', () => { readHash(); refilter(); });
    new ResizeObserver(() => { showTip(-1); draw(); }).observe($('plot'));
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', draw);
    // Print every listed failure with its end, and put them back as they were afterwards.
    let closed = [];
    window.addEventListener('beforeprint', () => {
      closed = [...document.querySelectorAll('#failed details:not([open])')];
      for (const d of closed) d.open = true;
    });
    window.addEventListener('afterprint', () => { for (const d of closed) d.open = false; });
  }

  async function main() {
    document.documentElement.classList.add('js');
    const data = JSON.parse($('data').textContent);
    n = data.rows;
    cols = await Promise.all(data.columns.map((c) => loadColumn(c, data.rows)));
    for (const c of cols) col[c.name] = c;
    const flat = await unpackJson(data.tails);
    tails = new Map();
    for (let i = 0; i < flat.length; i += 2) tails.set(flat[i], flat[i + 1]);
    const any = (f) => col[f].data.some((v) => !Number.isNaN(v));
    // The number in the log name and the log's size are numbers, not figures of a run.
    const notFigures = ['name_number', 'bytes'];
    figures = cols.filter((c) => c.type === 'number' && !notFigures.includes(c.name) && any(c.name))
      .map((c) => c.name);
    const figure = FIRST_FIGURES.find(any) || 'cpu_seconds';
    if (!figures.includes(figure)) figures.push(figure);
    for (const f of figures) $('figure').add(new Option(f, f));
    const counts = new Uint32Array(col.status.values.length);
    for (const code of col.status.data) counts[code]++;
    statusNames = col.status.values.filter((s, i) => counts[i] > 0);
    // Names that carry different numbers (in most runs): by that number, in natural order.
    const numbers = col.name_number.data.filter((v) => !Number.isNaN(v));
    const numbered = numbers.length * 2 > n && numbers.some((v) => v !== numbers[0]);
    defaults = {figure, view: 'series', x: numbered ? 'num' : 'pos', y: 'lin',
      sort: numbered ? 'log' : ''};
    buildTable();
    readHash();
    $('runs').hidden = false;
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
