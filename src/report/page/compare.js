// The wiring of the page that tabrun --compare --html writes (the page with #compare): it loads
// the rows (PageData), keeps the view (the controls and the URL's fragment), works out each
// run's change and class (PageChange), and hands the parts what they show: the chart of both
// batches and the chart of the change (PageChart), the counts, and the table (PageTable). Text
// from the batches is only ever set as text (textContent), never as markup.
'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const group = (count) => count.toLocaleString('en-US');  // 200,000
  const {numberText, shortText} = PageCells;
  const FIGURES = ['cpu_seconds', 'chi2', 'rp', 'rwp', 'rexp', 'rf2', 'rf2w', 'rf'];
  const SIDES = [['before', 'before', 'before-line', 'circle', 'failed-before'],
    ['after', 'accent', 'mark-line', 'square', 'failed']];

  let data = null;       // {n, cols, col}: the rows
  let figures = [];      // the figures some run has on either side
  let defaults = {};
  let state = {};        // the view: PageHash.readHash's fields
  const changes = new Map();  // figure -> {change, relative}, made once
  // name_number or a figure -> the rows by it (its relative change); a batch's rows by x
  const orders = new Map();
  let classes = new Uint8Array(0);  // each row's PageChange class for the figure and threshold
  let classesOf = '';               // the figure and threshold of `classes`
  let shown = new Uint32Array(0);   // the rows that pass the filters, in row order
  let isShown = new Uint8Array(0);
  let selected = -1;
  let table = null;
  let tableCols = [];
  let charts = {};       // runs, change: {chart, scene, note}

  // ---- Values

  const valuesOf = (figure, side) => data.col[`${figure}_${side}`].data;
  function changeOf(figure) {
    if (!changes.has(figure)) {
      changes.set(figure, PageChange.changeColumns(valuesOf(figure, 'before'),
        valuesOf(figure, 'after')));
    }
    return changes.get(figure);
  }
  // The rows that have a key, by it, made once: by the number in the name, or by the relative
  // change of a figure.
  function orderOf(name) {
    if (!orders.has(name)) {
      orders.set(name, PageOrder.rowsByKey(name === 'name_number' ? data.col.name_number.data
        : changeOf(name).relative));
    }
    return orders.get(name);
  }
  const codeOf = (name, row) => data.col[name].values[data.col[name].data[row]];
  const percent = (v) => (Number.isNaN(v) ? '' : shortText(v * 100));
  // A change in 12 digits, so that 1.6 - 3.4 reads -1.8 in the table.
  const twelve = (v) => numberText(Number(v.toPrecision(12)));

  // The rows shown, of `rows` in their order.
  const onlyShown = (rows) => (shown.length === data.n ? rows : rows.filter((r) => isShown[r]));

  // ---- The chart of both batches

  // A batch as a layer of the chart: its runs shown that have a value or failed, by x.
  function sideLayer([name, colour, line, shape, failedMark]) {
    const byName = state.x === 'num';
    const has = data.col.side.values.indexOf(name);
    const id = `${name} by ${byName ? 'name_number' : 'row'}`;
    if (!orders.has(id)) {
      const side = data.col.side.data;
      const all = byName ? orderOf('name_number') : Uint32Array.from(side.keys());
      orders.set(id, all.filter((r) => side[r] === 0 || side[r] === has));
    }
    const rows = onlyShown(orders.get(id));
    const figure = valuesOf(state.figure, name);
    const status = data.col[`status_${name}`].data;
    const [x, y] = [new Float64Array(rows.length), new Float64Array(rows.length)];
    for (let k = 0; k < rows.length; k++) {
      const [r, v] = [rows[k], figure[rows[k]]];
      x[k] = byName ? data.col.name_number.data[r] : r + 1;
      y[k] = state.y !== 'log' ? v : v > 0 ? Math.log10(v) : NaN;
    }
    return {rows, x, y, colour, line, shape,
      band: (k) => (status[rows[k]] !== 0 ? failedMark : null)};
  }

  function runsScene() {
    return {view: 'series', figure: state.figure, log: state.y === 'log', zoom: state.zoom,
      layers: SIDES.map(sideLayer), lines: [], ...runsMarks(), describe: (_, row) => describe(row),
      integerX: state.x === 'pos', xName: state.x === 'num' ? 'number in the log name' : 'row'};
  }

  // The legend and the rings of the selected run, on each of `layers`.
  const marksOf = (legend, layers) => ({
    legend: selected < 0 ? legend :
      [...legend, [`\u25EF selected: ${data.col.log.data[selected]}`.slice(0, 60), 'fg']],
    rings: Array.from({length: layers}, (_, layer) => ({layer, row: selected, colour: 'fg',
      radius: 9}))});
  const runsMarks = () => marksOf([['\u25CF before', 'before'], ['\u25A0 after', 'accent'],
    ['\u25B3 failed before', 'fail'], ['\u25B2 failed after', 'fail']], 2);
  const changeMarks = () => marksOf([['\u25A0 better', 'best'],
    [`\u25A0 within \u00B1${state.threshold} %`, 'muted'], ['\u25A0 worse', 'fail']], 3);

  // ---- The chart of the change

  // The runs ok in both batches with a relative change, shown, by it: the better ones, those
  // within the threshold and the worse ones, each a layer, x their rank.
  function changeScene() {
    const {relative} = changeOf(state.figure);
    const rows = onlyShown(orderOf(state.figure));
    // Layers of the classes better, unchanged and worse (0, 2 and 1), drawn in that order.
    const LAYER = [0, 2, 1];
    const counts = new Uint32Array(3);
    for (const r of rows) if (classes[r] <= 2) counts[LAYER[classes[r]]]++;
    const layers = ['best', 'muted', 'fail'].map((colour, i) => ({colour, line: colour,
      rows: new Uint32Array(counts[i]), x: new Float64Array(counts[i]),
      y: new Float64Array(counts[i]), shape: 'square', band: () => null}));
    const filled = new Uint32Array(3);
    let rank = 0;
    for (const r of rows) {
      if (classes[r] > 2) continue;
      const layer = layers[LAYER[classes[r]]];
      const k = filled[LAYER[classes[r]]]++;
      layer.rows[k] = r;
      layer.x[k] = ++rank;
      layer.y[k] = relative[r] * 100;
    }
    const t = state.threshold;
    return {view: 'rank', figure: `${state.figure} change, %`, log: false, zoom: null, layers,
      lines: [{y: 0, colour: 'fg'}, {y: t, colour: 'muted'}, {y: -t, colour: 'muted'}],
      ...changeMarks(), describe: (_, row) => describe(row), integerX: true,
      xName: 'runs by relative change, best first'};
  }

  // A run's tip: its log, the figure before and after, the change, and failed statuses.
  function describe(row) {
    const {change, relative} = changeOf(state.figure);
    const value = (side) => {
      const v = valuesOf(state.figure, side)[row];
      return Number.isNaN(v) ? 'none' : numberText(v);
    };
    const [before, after] = ['before', 'after'].map((side) => codeOf(`status_${side}`, row) ||
      'none');
    const statuses = before === 'ok' && after === 'ok' ? '' : `; status ${before} \u2192 ${after}`;
    const moved = Number.isNaN(change[row]) ? '' :
      `, change ${shortText(change[row])}${Number.isNaN(relative[row]) ? '' :
        ` (${percent(relative[row])} %)`}`;
    return `${data.col.log.data[row]}\n${state.figure} ${value('before')} \u2192 ` +
      `${value('after')}${moved}${statuses}`;
  }

  function draw(which) {
    const {chart, scene, note, more} = charts[which];
    $(note).textContent = `${chart.draw(scene)} ${more || ''}`.trim();
  }

  function redrawCharts() {
    charts.runs.scene = runsScene();
    charts.change.scene = changeScene();
    const {relative} = changeOf(state.figure);
    const drawn = charts.change.scene.layers.reduce((sum, l) => sum + l.rows.length, 0);
    const zeros = shown.filter((r) => classes[r] <= 1 && Number.isNaN(relative[r])).length;
    charts.change.more = `${group(drawn)} runs ok in both batches with a relative change of ` +
      `${state.figure}` + (zeros ? `; ${group(zeros)} with a ${state.figure} of 0 before have ` +
      'none and are counted by the sign of their change.' : '.');
    for (const which of ['runs', 'change']) {
      charts[which].chart.showTip(-1);
      draw(which);
    }
  }

  // ---- Counts, table, detail

  function showCounts() {
    const counts = PageStats.codeCounts(classes, PageChange.CLASSES.length);
    const p = $('classes');
    if (!p.childElementCount) {
      p.append("Runs, by what changed: ");
      PageChange.CLASSES.forEach((name, i) => {
        const button = document.createElement('button');
        button.type = 'button';
        button.dataset.class = name;
        button.append(`${PageChange.LABELS[i]} `, document.createElement('b'));
        button.addEventListener('click', () => {
          state.classes = PageChange.CLASSES.filter((c) => state.classes.includes(c) !==
            (c === name));
          refilter();
        });
        p.append(button, ' ');
      });
    }
    for (const button of p.querySelectorAll('button')) {
      const i = PageChange.CLASSES.indexOf(button.dataset.class);
      const pressed = state.classes.includes(button.dataset.class);
      button.querySelector('b').textContent = group(counts[i]);
      button.disabled = counts[i] === 0 && !pressed;
      button.setAttribute('aria-pressed', pressed);
    }
  }

  // The table's columns: the run, both statuses, and the chosen figure before and after, its
  // change and its relative change in %.
  function makeTableCols() {
    const number = (name, label, format) => ({name, label, type: 'number', data: null, format});
    tableCols = [data.col.log, data.col.side, data.col.status_before, data.col.status_after,
      number('before', 'before'), number('after', 'after'), number('change', 'change', twelve),
      number('relative', 'change %', percent)];
  }

  function fillTableCols() {
    const {change, relative} = changeOf(state.figure);
    const [before, after, diff, rel] = tableCols.slice(4);
    [before.data, after.data] = [valuesOf(state.figure, 'before'), valuesOf(state.figure, 'after')];
    [diff.data, rel.data] = [change, relative];
  }

  const textKeys = new Map();  // column -> its key, made once
  // A number per row that sorts as the column's cells do, NaN for an empty cell.
  function sortKey(c) {
    if (c.type === 'number') return c.data;
    if (!textKeys.has(c.name)) textKeys.set(c.name, PageOrder.columnOrder(c, true).places);
    return textKeys.get(c.name);
  }

  // The shown rows in the table's order; empty cells last either way, ties in row order. The
  // order of all rows is made once for a column (and figure, for its numbers) and direction.
  function sortRows() {
    const c = tableCols.find((col) => col.name === state.sort);
    if (!c) return shown;
    const key = sortKey(c);
    const id = `sort ${c.name} ${c.type === 'number' ? state.figure : ''} ${state.desc}`;
    if (!orders.has(id)) orders.set(id, PageOrder.rowsByKey(key, state.desc));
    return PageOrder.emptyLast(onlyShown(orders.get(id)), key, shown);
  }

  function showDetail() {
    $('detail').hidden = selected < 0;
    if (selected < 0) return;
    $('detail-title').textContent = data.col.log.data[selected];
    const side = codeOf('side', selected);
    const parts = [`In ${side === 'both' ? 'both batches' : `the batch ${side} only`}: status ` +
      `before ${codeOf('status_before', selected) || 'none'}, after ` +
      `${codeOf('status_after', selected) || 'none'}.`];
    for (const figure of figures) {
      const [b, a] = ['before', 'after'].map((s) => valuesOf(figure, s)[selected]);
      if (Number.isNaN(b) && Number.isNaN(a)) continue;
      const {change, relative} = changeOf(figure);
      const text = (v) => (Number.isNaN(v) ? 'none' : numberText(v));
      parts.push(`${figure} ${text(b)} \u2192 ${text(a)}` + (Number.isNaN(change[selected]) ? ''
        : ` (${numberText(change[selected])}${Number.isNaN(relative[selected]) ? '' :
          `, ${percent(relative[selected])} %`})`));
    }
    $('detail-note').textContent = parts.join(' ');
  }

  // ---- The view, and the URL's fragment that holds it

  function select(row, fromChart) {
    selected = row;
    const tr = fromChart ? table.goTo(row) : null;
    table.render({selected, best: -1, figure: ''});
    for (const [which, marks] of [['runs', runsMarks], ['change', changeMarks]]) {
      Object.assign(charts[which].scene, marks());
      draw(which);
    }
    showDetail();
    if (tr) tr.scrollIntoView({block: 'nearest'});
  }

  function readHash() {
    state = PageHash.readHash(location.hash.slice(1), {figures, statuses: [],
      classes: PageChange.CLASSES, columns: tableCols.map((c) => c.name)}, defaults);
  }

  function showState() {
    for (const key of ['figure', 'x', 'y', 'q', 'threshold']) {
      if (document.activeElement !== $(key)) $(key).value = state[key];
    }
    $('zoom-reset').disabled = !state.zoom;
    table.showSort(state.sort, state.desc);
    const hash = PageHash.writeHash(state, defaults);
    if (hash !== location.hash.slice(1)) {
      history.replaceState(null, '', hash ? `#${hash}` : location.href.split('#')[0]);
    }
  }

  let lowerNames = null;
  // The classes for the figure and threshold, the rows that pass the filters, and all they show.
  function refilter() {
    fillTableCols();
    if (classesOf !== `${state.figure} ${state.threshold}`) {
      classes = PageChange.classCodes(data.col.side, data.col.status_before,
        data.col.status_after, changeOf(state.figure), state.threshold);
      classesOf = `${state.figure} ${state.threshold}`;
    }
    const codes = new Set(state.classes.map((c) => PageChange.CLASSES.indexOf(c)));
    const q = state.q.toLowerCase();
    if (q && !lowerNames) lowerNames = data.col.log.data.map((s) => s.toLowerCase());
    shown = PageStats.filterRows(classes, codes, lowerNames, q);
    isShown = new Uint8Array(data.n);
    for (const r of shown) isShown[r] = 1;
    showCounts();
    table.setRows(sortRows());
    table.render({selected, best: -1, figure: ''});
    redrawCharts();
    showState();
  }

  function zoomTo(range) {
    state.zoom = range && PageHash.zoomOf(...range);
    charts.runs.scene = runsScene();
    draw('runs');
    showState();
  }

  // ---- Wiring

  function wireControls() {
    for (const key of ['figure', 'x', 'y']) {
      $(key).addEventListener('change', (e) => {
        state[key] = e.target.value;
        state.zoom = null;
        refilter();
      });
    }
    let typing = 0;
    for (const key of ['q', 'threshold']) {
      $(key).addEventListener('input', (e) => {
        clearTimeout(typing);
        typing = setTimeout(() => {
          const threshold = PageCells.parseNumber(e.target.value);
          if (key === 'q') state.q = e.target.value;
          else if (threshold >= 0) state.threshold = threshold;
          refilter();
        }, 150);
      });
    }
    $('zoom-reset').addEventListener('click', () => zoomTo(null));
    $('csv').addEventListener('click', () => {
      const text = PageCells.csvText(csvCols(), table.rows());
      PageTable.save(new Blob([text], {type: 'text/csv'}), 'tabrun-compare.csv');
    });
    window.addEventListener('hashchange', () => { readHash(); refilter(); });
    new ResizeObserver(() => { for (const which in charts) draw(which); }).observe($('plot'));
    matchMedia('(prefers-color-scheme: dark)').addEventListener('change', () => {
      for (const which in charts) draw(which);
    });
  }

  // The columns of tabrun --compare --csv, the changes worked out here.
  function csvCols() {
    const cols = ['log', 'side', 'status_before', 'status_after', 'name_number']
      .map((name) => data.col[name]);
    for (const figure of FIGURES) {
      const {change, relative} = changeOf(figure);
      cols.push(data.col[`${figure}_before`], data.col[`${figure}_after`],
        {name: `${figure}_change`, type: 'number', data: change},
        {name: `${figure}_relative`, type: 'number', data: relative});
    }
    return cols;
  }

  function setUp() {
    const any = (figure) => ['before', 'after'].some((side) => valuesOf(figure, side)
      .some((v) => !Number.isNaN(v)));
    figures = FIGURES.filter(any);
    const first = ['chi2', 'rf2', 'cpu_seconds'].find((f) => figures.includes(f)) ||
      'cpu_seconds';
    if (!figures.includes(first)) figures.push(first);
    for (const f of figures) $('figure').add(new Option(f, f));
    defaults = {...PageData.startView(data.col.name_number.data, first), sort: '',
      threshold: 5};
    makeTableCols();
    const kept = (c) => ['log', 'status_after', 'change', 'relative'].includes(c.name);
    table = PageTable.create($('rows'), tableCols, {kept, onPick: (row) => select(row, false),
      onSort: (name) => {
        state.desc = state.sort === name && !state.desc;
        state.sort = name;
        table.setRows(sortRows());
        table.render();
        showState();
      }});
    const pick = (which) => (m) => select(charts[which].scene.layers[m.layer].rows[m.k], true);
    for (const [which, canvas, tip, note] of [['runs', 'chart', 'tip', 'thin'],
      ['change', 'change', 'change-tip', 'change-note']]) {
      const chart = PageChart.create($(canvas), $(tip));
      charts[which] = {chart, scene: null, note};
      PageChart.wire($(canvas), chart, {pick: pick(which), redraw: () => draw(which),
        ...(which === 'runs' ? {zoomTo, zoomed: () => state.zoom} : {})});
    }
  }

  async function main() {
    document.documentElement.classList.add('js');
    data = await PageData.load($('data').textContent);
    setUp();
    readHash();
    $('compare').hidden = false;
    wireControls();
    refilter();
    document.documentElement.dataset.ready = '1';
    performance.mark('data-ready');
  }

  if (!$('compare')) return;
  main().catch((error) => {
    const p = document.createElement('p');
    p.textContent = `This page could not show its rows: ${error}`;
    document.querySelector('header').append(p);
  });
})();
