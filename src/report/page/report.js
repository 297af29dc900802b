// The wiring of the page that tabrun --html writes (the page with #runs): it loads the rows (PageData), keeps the
// view (what the controls and the URL's fragment say), and hands each part what it shows: the
// chart (PageChart) its scene, the table (PageTable) its rows in order, the header and the
// summary their counts (PageStats). Each control has one small function that wires it. Text
// from the batch is only ever set as text (textContent), never as markup.
'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const group = (count) => count.toLocaleString('en-US');  // 200,000
  const {numberText, shortText} = PageCells;

  let data = null;        // {n, cols, col, tails, fromRows}: the rows
  let figures = [];       // the number columns some run has, but the number in the log name
  let statusNames = [];   // the statuses some run has
  let defaults = {};      // the view at the start
  let state = {};         // the view: PageHash.readHash's fields
  let shown = new Uint32Array(0);   // the rows that pass the filters, in row order
  let isShown = new Uint8Array(0);  // the same, 1 per row shown
  const orders = new Map();         // column or figure -> its rows in order, made once
  let selected = -1;
  let best = -1;          // the row shown with the lowest value of the figure
  let table = null;
  let chart = null;
  let scene = null;

  // ---- Orders

  const sortKeys = new Map();
  // A number per row that sorts as the column's cells do, NaN for an empty cell, in natural
  // order for the log names; made once, and for texts with the ascending order of the rows.
  function sortKey(c) {
    if (c.type === 'number') return c.data;
    if (!sortKeys.has(c.name)) {
      const {places, rows} = PageOrder.columnOrder(c, c.name === 'log');
      sortKeys.set(c.name, places);
      if (rows) orders.set(c.name, rows);
    }
    return sortKeys.get(c.name);
  }

  // The rows shown that have a key, by it; the order of all rows is made once per key.
  function orderOf(name, key, desc) {
    const id = `${desc ? '-' : ''}${name}`;
    if (!orders.has(id) && desc && orders.has(name)) {
      orders.set(id, PageOrder.reversed(orders.get(name), key));
    }
    if (!orders.has(id)) orders.set(id, PageOrder.rowsByKey(key, desc));
    const order = orders.get(id);
    return shown.length === data.n ? order : order.filter((r) => isShown[r]);
  }

  // The shown rows sorted by the sort column; empty cells last in either direction, ties in row
  // order.
  function sortRows() {
    if (!state.sort) return shown;
    const key = sortKey(data.col[state.sort]);
    return PageOrder.emptyLast(orderOf(state.sort, key, state.desc), key, shown);
  }

  // ---- What the chart shows

  const statusOf = (row) => data.col.status.values[data.col.status.data[row]];
  const figureOf = (row) => data.col[state.figure].data[row];

  // The values of the view's figure for `rows`: log10 of them on a logarithmic axis, where
  // those at or below 0 have none (NaN).
  function valuesOf(rows) {
    const figure = data.col[state.figure].data;
    const out = new Float64Array(rows.length);
    for (let k = 0; k < rows.length; k++) {
      const v = figure[rows[k]];
      out[k] = state.y !== 'log' ? v : v > 0 ? Math.log10(v) : NaN;
    }
    return out;
  }

  // The runs of the view as a layer of the chart. By run: the rows that have an x, in x order;
  // rank plot and histogram: the rows that have the figure (above 0 on a logarithmic axis),
  // best first, x their rank.
  function layerOf() {
    // A running run is marked apart from a failed one.
    const running = data.col.status.values.indexOf('running');
    const failed = (rows) => (k) => {
      const code = data.col.status.data[rows[k]];
      return code === 0 ? null : code === running ? 'running' : 'failed';
    };
    if (state.view === 'series') {
      const byName = state.x === 'num';
      const rows = byName ? orderOf('name_number', data.col.name_number.data, false) : shown;
      const x = new Float64Array(rows.length);
      for (let k = 0; k < rows.length; k++) {
        x[k] = byName ? data.col.name_number.data[rows[k]] : rows[k] + 1;
      }
      return {rows, x, y: valuesOf(rows), band: failed(rows), colour: 'accent', line: 'mark-line'};
    }
    let rows = orderOf(state.figure, data.col[state.figure].data, false);
    if (state.y === 'log') rows = rows.filter((r) => figureOf(r) > 0);
    const x = new Float64Array(rows.length);
    for (let k = 0; k < rows.length; k++) x[k] = k + 1;
    return {rows, x, y: valuesOf(rows), band: () => null, colour: 'accent', line: 'accent'};
  }

  // What the chart marks beyond the runs: the best and the selected run, and the legend.
  function marksOf() {
    const legend = [];
    if (state.view === 'series') legend.push(['\u25B2 failed run', 'fail']);
    if (state.view === 'series' && statusNames.includes('running')) {
      legend.push(['\u25C6 running', 'run']);
    }
    legend.push(['\u25EF best', 'best']);
    if (selected >= 0) {
      legend.push([`\u25EF selected: ${data.col.log.data[selected]}`.slice(0, 60), 'fg']);
    }
    return {legend, rings: [{layer: 0, row: best, colour: 'best', radius: 7},
      {layer: 0, row: selected, colour: 'fg', radius: 9}]};
  }

  function sceneOf() {
    const layer = layerOf();
    const out = {view: state.view, figure: state.figure, log: state.y === 'log',
      zoom: state.zoom, layers: [layer], describe: (_, row) => describe(row), ...marksOf(),
      integerX: state.view === 'rank' || (state.view === 'series' && state.x === 'pos'),
      xName: {series: state.x === 'num' ? 'number in the log name' : 'row',
        rank: 'rank, best first', hist: state.figure}[state.view]};
    if (state.view === 'hist') out.hist = histogramOf(layer.y);
    return out;
  }

  function histogramOf(y) {
    let lo = Infinity;
    let hi = -Infinity;
    for (const v of y) [lo, hi] = [Math.min(lo, v), Math.max(hi, v)];
    const [a, b] = state.zoom || (lo > hi ? [0, 1] : [lo, hi]);
    const hist = PageAxes.histogram(y, a, b);
    hist.shown = y.filter((v) => v >= hist.lo && v <= hist.hi).length;
    return hist;
  }

  // A run's tip: its log, its value of the figure and, when it failed, its status.
  function describe(row) {
    const value = figureOf(row);
    const status = statusOf(row);
    return `${data.col.log.data[row]}\n${state.figure} ` +
      (Number.isNaN(value) ? 'none' : numberText(value)) +
      (status === 'ok' ? '' : `, status ${status}`);
  }

  // Draws the scene anew, or again (a new size, scheme or focus), and says how.
  const draw = () => { $('thin').textContent = chart.draw(scene); };
  const redraw = () => { $('thin').textContent = chart.redraw(); };

  // ---- Header, summary and detail

  function showBest() {
    best = PageStats.bestRow(data.col[state.figure].data, shown);
    const line = $('best');
    if (best < 0) {
      line.textContent = `No run shown has a ${state.figure}.`;
      return;
    }
    const name = document.createElement('code');
    name.textContent = data.col.log.data[best];
    line.replaceChildren(`Best ${state.figure} ${numberText(figureOf(best))}: `, name, '.');
  }

  function showSummary() {
    const s = PageStats.summary(PageStats.valuesAt(data.col[state.figure].data, shown));
    $('summary').textContent = !s ? '' :
      `${state.figure} of ${group(s.n)} ${s.n === 1 ? 'run' : 'runs'}: best ` +
      `${numberText(s.best)}, shared by ${group(s.ties)}; within 10 % of it ${group(s.near)} ` +
      `(${(100 * s.near / s.n).toFixed(1)} %); median ${shortText(s.median)}, quartiles ` +
      `${shortText(s.q1)} to ${shortText(s.q3)}.`;
  }

  // The end of a failed log: from its listed entry, or from the rows; null when there is none.
  // A page made from rows has its last record only.
  function tailOf(row) {
    if (data.fromRows) return PageCells.cellText(data.col.last_record, row) || null;
    const listed = $(`tail-${row}`);
    if (listed) return listed.textContent;
    return data.tails.get(row) ?? null;
  }

  function showDetail() {
    $('detail').hidden = selected < 0;
    if (selected < 0) return;
    const {col} = data;
    const status = statusOf(selected);
    const tail = status === 'ok' ? null : tailOf(selected);
    $('detail-title').textContent = col.log.data[selected];
    // The rows may carry why a run failed, in words, as text or as codes.
    const reason = col.reason ? PageCells.cellText(col.reason, selected) : '';
    $('detail-note').textContent = PageTable.detailNote({status, tail, reason,
      error: PageCells.cellText(col.error, selected),
      figures: figures.map((f) => [f, col[f].data[selected]]).filter(([, v]) => !Number.isNaN(v)),
      leftOut: data.tails.has(selected), fromRows: data.fromRows});
    $('detail-tail').textContent = tail ?? '';
    $('detail-tail').hidden = tail === null;
  }

  // ---- The view, and the URL's fragment that holds it

  const tableMarks = () => ({selected, best, figure: state.figure});

  function select(row, fromChart) {
    selected = row;
    const tr = fromChart ? table.goTo(row) : null;
    table.render(tableMarks());
    Object.assign(scene, marksOf());
    draw();
    showDetail();
    if (tr) tr.scrollIntoView({block: 'nearest'});
  }

  function readHash() {
    state = PageHash.readHash(location.hash.slice(1), {figures, statuses: statusNames,
      columns: data.cols.map((c) => c.name)}, defaults);
  }

  function showState() {
    for (const key of ['figure', 'view', 'x', 'y', 'q']) $(key).value = state[key];
    $('x').disabled = state.view !== 'series';
    $('zoom-reset').disabled = !state.zoom;
    for (const button of document.querySelectorAll('#counts button')) {
      button.setAttribute('aria-pressed', state.statuses.includes(button.dataset.status));
    }
    table.showSort(state.sort, state.desc);
    const hash = PageHash.writeHash(state, defaults);
    if (hash !== location.hash.slice(1)) {
      history.replaceState(null, '', hash ? `#${hash}` : location.href.split('#')[0]);
    }
  }

  function refigure() {
    showBest();
    showSummary();
    scene = sceneOf();
    chart.showTip(-1);
    draw();
    table.render(tableMarks());
    showState();
  }

  function resort() {
    table.setRows(sortRows());
    table.render(tableMarks());
    showState();
  }

  let lowerNames = null;
  function refilter() {
    const codes = new Set(state.statuses.map((s) => data.col.status.values.indexOf(s)));
    const q = state.q.toLowerCase();
    if (q && !lowerNames) lowerNames = data.col.log.data.map((s) => s.toLowerCase());
    shown = PageStats.filterRows(data.col.status.data, codes, lowerNames, q);
    isShown = new Uint8Array(data.n);
    for (const r of shown) isShown[r] = 1;
    table.setRows(sortRows());
    refigure();
  }

  function zoomTo(range) {
    state.zoom = range && PageHash.zoomOf(...range);
    refigure();
  }

  // ---- Saving

  // The chart as a PNG, under a title that names the page and the figure.
  function png() {
    const canvas = $('chart');
    const ratio = canvas.width / canvas.clientWidth;
    const out = document.createElement('canvas');
    [out.width, out.height] = [canvas.width, canvas.height + Math.round(28 * ratio)];
    const ctx = out.getContext('2d');
    const style = getComputedStyle(document.documentElement);
    ctx.fillStyle = style.getPropertyValue('--bg').trim();
    ctx.fillRect(0, 0, out.width, out.height);
    ctx.scale(ratio, ratio);
    ctx.fillStyle = style.getPropertyValue('--fg').trim();
    ctx.font = '600 14px system-ui, sans-serif';
    ctx.textBaseline = 'top';
    const kind = {series: 'by run', rank: 'rank plot', hist: 'histogram'}[state.view];
    ctx.fillText(`${document.title}: ${state.figure}, ${kind}`, 8, 8);
    ctx.setTransform(1, 0, 0, 1, 0, 0);
    ctx.drawImage(canvas, 0, Math.round(28 * ratio));
    out.toBlob((b) => PageTable.save(b, 'tabrun-chart.png'));
  }

  function csv() {
    const text = PageCells.csvText(data.cols, table.rows());
    PageTable.save(new Blob([text], {type: 'text/csv'}), 'tabrun-rows.csv');
  }

  // ---- Wiring

  function wireControls() {
    for (const key of ['figure', 'view', 'x', 'y']) {
      $(key).addEventListener('change', (e) => {
        state[key] = e.target.value;
        if (key !== 'figure' || state.view === 'hist') state.zoom = null;
        refigure();
      });
    }
    $('zoom-reset').addEventListener('click', () => zoomTo(null));
    $('png').addEventListener('click', png);
    $('csv').addEventListener('click', csv);
    window.addEventListener('hashchange', () => { readHash(); refilter(); });
  }

  function wireFilters() {
    let typing = 0;
    $('q').addEventListener('input', (e) => {
      clearTimeout(typing);
      typing = setTimeout(() => { state.q = e.target.value; refilter(); }, 150);
    });
    for (const button of document.querySelectorAll('#counts button')) {
      button.addEventListener('click', () => {
        const name = button.dataset.status;
        state.statuses = statusNames.filter((s) => state.statuses.includes(s) !== (s === name));
        refilter();
      });
    }
  }

  // Redraws on a new size or scheme; prints every listed failure with its end, and puts them
  // back as they were afterwards.
  function wireWindow() {
    new ResizeObserver(() => { chart.showTip(-1); redraw(); }).observe($('plot'));
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', redraw);
    let closed = [];
    window.addEventListener('beforeprint', () => {
      closed = [...document.querySelectorAll('#failed details:not([open])')];
      for (const d of closed) d.open = true;
    });
    window.addEventListener('afterprint', () => { for (const d of closed) d.open = false; });
  }

  // The figures offered, the statuses some run has and the view at the start.
  function setUp() {
    const found = PageData.figuresOf(data.cols);
    figures = found.figures;
    for (const f of figures) $('figure').add(new Option(f, f));
    const counts = PageStats.codeCounts(data.col.status.data, data.col.status.values.length);
    statusNames = data.col.status.values.filter((s, i) => counts[i] > 0);
    defaults = PageData.startView(data.col.name_number.data, found.first);
    // A narrow window keeps the log name, the status and the chosen figure.
    const kept = (c) => c.name === 'log' || c.name === 'status' || c.name === state.figure;
    table = PageTable.create($('rows'), data.cols, {kept, onPick: (row) => select(row, false),
      onSort: (name) => {
        state.desc = state.sort === name && !state.desc;
        state.sort = name;
        resort();
      }});
    chart = PageChart.create($('chart'), $('tip'));
  }

  // ---- A live page, which a watch rewrites: it reloads itself and comes back as it was

  const LIVE_KEY = 'tabrun-live-view';

  // The local time of the last update; a reload on the clock, which keeps the fragment and,
  // in the tab's session storage, the selected run, the open failures and the scroll.
  function wireLive() {
    const live = $('live');
    if (!live) return;
    const at = new Date(Number(live.dataset.at) * 1000);
    live.textContent = `live, updated ${at.toLocaleTimeString('en-GB', {hour12: false})}`;
    setTimeout(() => {
      const open = [...document.querySelectorAll('#failed details[open] code')];
      sessionStorage.setItem(LIVE_KEY, JSON.stringify({
        selected: selected >= 0 ? data.col.log.data[selected] : null,
        open: open.map((code) => code.textContent), x: scrollX, y: scrollY}));
      location.reload();
    }, Number(live.dataset.reload) * 1000);
  }

  // The selected run, the open failures and the scroll as they were before the last reload.
  function restoreLive() {
    const kept = JSON.parse(sessionStorage.getItem(LIVE_KEY) || 'null');
    sessionStorage.removeItem(LIVE_KEY);
    if (!kept) return;
    for (const code of document.querySelectorAll('#failed details code')) {
      if (kept.open.includes(code.textContent)) code.closest('details').open = true;
    }
    const row = kept.selected === null ? -1 : data.col.log.data.indexOf(kept.selected);
    if (row >= 0) select(row, true);
    scrollTo(kept.x, kept.y);
  }

  async function main() {
    document.documentElement.classList.add('js');
    data = await PageData.load($('data').textContent);
    setUp();
    readHash();
    $('runs').hidden = false;
    wireControls();
    wireFilters();
    PageChart.wire($('chart'), chart, {zoomTo, redraw, zoomed: () => state.zoom,
      pick: (m) => select(scene.layers[m.layer].rows[m.k], true)});
    wireWindow();
    refilter();
    restoreLive();
    wireLive();
    document.documentElement.dataset.ready = '1';
    performance.mark('data-ready');
    PageData.makeTextsLater(data.cols);
  }

  // The page of tabrun --compare shows its rows itself (compare.js).
  if (!$('runs')) return;
  main().catch((error) => {
    const p = document.createElement('p');
    p.textContent = `This page could not show its rows: ${error}`;
    document.querySelector('header').append(p);
  });
})();
