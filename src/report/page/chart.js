// The chart on the canvas. It draws the scene it is given and keeps only what it drew (the
// marks, for the pointer and the keys, and the plot's frame, for zooming):
//   {view: 'series' | 'rank' | 'hist', figure, log (the value axis is logarithmic; values and
//    positions are then log10), xName, integerX, zoom ([lo, hi] on x, or null),
//    layers: [{rows, x, y, band(k), colour, line, shape}] (by run or rank: x ascending; band(k)
//      names the kind of mark a run gets on the bottom band, or null; shape is that of its
//      points, 'square' when not given, or 'circle'; a histogram's one layer needs only rows
//      and y, to find the rings' bins), hist: {lo, hi, counts, shown}
//    (histogram: the bins, and how many values lie within them),
//    rings: [{layer, row, colour, radius}], legend: [[text, colour]],
//    lines: [{y, colour}] (level lines across the plot, within its value axis; may be absent),
//    describe(layer, row): the tip of a run's mark}.
// Colours are names of the page's style variables, so that they follow its scheme.
'use strict';

const PageChart = ((Axes, Cells) => {
  const HIT = 12;  // how near, in pixels, the pointer must be to a mark
  const group = (count) => count.toLocaleString('en-US');

  function triangle(ctx, x, y) {
    ctx.beginPath();
    ctx.moveTo(x, y - 5);
    ctx.lineTo(x + 5, y + 4);
    ctx.lineTo(x - 5, y + 4);
    ctx.closePath();
    ctx.fill();
  }

  function diamond(ctx, x, y) {
    ctx.beginPath();
    ctx.moveTo(x, y - 5);
    ctx.lineTo(x + 5, y);
    ctx.lineTo(x, y + 5);
    ctx.lineTo(x - 5, y);
    ctx.closePath();
    ctx.fill();
  }

  function openTriangle(ctx, x, y) {
    ctx.strokeStyle = ctx.fillStyle;
    ctx.lineWidth = 1.5;
    ctx.beginPath();
    ctx.moveTo(x, y - 4);
    ctx.lineTo(x + 4.5, y + 3.5);
    ctx.lineTo(x - 4.5, y + 3.5);
    ctx.closePath();
    ctx.stroke();
  }

  // The kinds of mark on the bottom band, each with its colour and shape.
  const BAND_MARKS = {failed: {colour: 'fail', shape: triangle},
    running: {colour: 'run', shape: diamond},
    'failed-before': {colour: 'fail', shape: openTriangle}};

  // The shapes of a layer's points.
  const POINTS = {
    square: (ctx, x, y) => ctx.fillRect(x - 2.5, y - 2.5, 5, 5),
    circle: (ctx, x, y) => {
      ctx.beginPath();
      ctx.arc(x, y, 3, 0, 2 * Math.PI);
      ctx.fill();
    },
  };

  function ring(ctx, x, y, r, colour, width) {
    ctx.strokeStyle = colour;
    ctx.lineWidth = width;
    ctx.beginPath();
    ctx.arc(x, y, r, 0, 2 * Math.PI);
    ctx.stroke();
  }

  // The colours of the page's style that the chart uses, by name.
  const COLOURS = ['bg', 'fg', 'line', 'muted', 'accent', 'mark-line', 'fail', 'best', 'run',
    'before', 'before-line'];
  function colours() {
    const style = getComputedStyle(document.documentElement);
    return Object.fromEntries(COLOURS.map((name) => [name,
      style.getPropertyValue(`--${name}`).trim()]));
  }

  // The plot's size and the scales of a scene on a canvas of width x height.
  function frameOf(scene, width, height) {
    const left = 64;
    const top = 22;
    const plotW = Math.max(10, Math.floor(width - left - 24));
    const plotH = Math.max(10, Math.floor(height - top - 58));
    let x0, x1, y0, y1;
    if (scene.view === 'hist') {
      [x0, x1] = Axes.axisEnds(scene.hist.lo, scene.hist.hi, false);
      [y0, y1] = [0, Math.max(1, ...scene.hist.counts) * 1.05];
    } else {
      const all = scene.layers.map((l) => extent(l.x, () => true));
      [x0, x1] = Axes.axisEnds(...(scene.zoom || merge(all)), false);
      const inX = (l) => extent(l.y, (k) => l.x[k] >= x0 && l.x[k] <= x1);
      const levels = (scene.lines || []).map(({y}) => [y, y]);
      [y0, y1] = Axes.axisEnds(...merge([...scene.layers.map(inX), ...levels]), true);
    }
    // Halved before the difference, which can overflow.
    const px = (v) => left + ((v / 2 - x0 / 2) / (x1 / 2 - x0 / 2)) * plotW;
    const py = (v) => top + (1 - (v / 2 - y0 / 2) / (y1 / 2 - y0 / 2)) * plotH;
    return {left, top, plotW, plotH, band: top + plotH + 12, x0, x1, y0, y1, px, py};
  }

  // The lowest and highest of the values (not NaN) at the indices that `take`.
  function extent(values, take) {
    let [lo, hi] = [Infinity, -Infinity];
    values.forEach((v, k) => {
      if (Number.isNaN(v) || !take(k)) return;
      if (v < lo) lo = v;
      if (v > hi) hi = v;
    });
    return [lo, hi];
  }
  const merge = (ranges) => ranges.reduce(([a, b], [c, d]) => [Math.min(a, c), Math.max(b, d)],
    [Infinity, -Infinity]);

  function drawAxes(ctx, c, scene, f) {
    const hist = scene.view === 'hist';
    ctx.font = '12px system-ui, sans-serif';
    ctx.fillStyle = c.muted;
    ctx.strokeStyle = c.line;
    ctx.lineWidth = 1;
    ctx.textAlign = 'right';
    ctx.textBaseline = 'middle';
    for (const [t, text] of Axes.axisTicks(f.y0, f.y1, 6, scene.log && !hist, hist)) {
      const y = Math.round(f.py(t)) + 0.5;
      ctx.beginPath();
      ctx.moveTo(f.left, y);
      ctx.lineTo(f.left + f.plotW, y);
      ctx.stroke();
      ctx.fillText(text, f.left - 6, f.py(t));
    }
    ctx.textAlign = 'center';
    ctx.textBaseline = 'top';
    const count = Math.max(2, Math.floor(f.plotW / 90));
    for (const [t, text] of Axes.axisTicks(f.x0, f.x1, count, scene.log && hist, scene.integerX)) {
      ctx.fillText(text, f.px(t), f.band + 10);
    }
    const scale = scene.log ? ' (log scale)' : '';
    ctx.fillText(scene.xName + (hist ? scale : ''), f.left + f.plotW / 2, f.band + 26);
    ctx.textAlign = 'left';
    ctx.fillText(hist ? 'runs' : scene.figure + scale, f.left, 4);
    // The legend, right-aligned along the top: what each kind of mark means.
    ctx.textAlign = 'right';
    let right = f.left + f.plotW;
    for (const [text, colour] of [...scene.legend].reverse()) {
      ctx.fillStyle = c[colour];
      ctx.fillText(text, right, 4);
      right -= ctx.measureText(text).width + 16;
    }
  }

  // The level lines across the plot.
  function drawLines(ctx, c, scene, f) {
    ctx.lineWidth = 1;
    for (const {y, colour} of scene.lines || []) {
      ctx.strokeStyle = c[colour];
      ctx.beginPath();
      ctx.moveTo(f.left, Math.round(f.py(y)) + 0.5);
      ctx.lineTo(f.left + f.plotW, Math.round(f.py(y)) + 0.5);
      ctx.stroke();
    }
  }

  // A layer's runs within the frame's x: a line and points while they fit, else the count of
  // runs in each pixel, shaded (by run) or a curve through each pixel column's lowest and
  // highest value (by rank); the band's marks along the bottom. Returns the marks and a note.
  function drawLayer(ctx, c, scene, f, index) {
    const layer = scene.layers[index];
    let from = 0;
    while (from < layer.x.length && layer.x[from] < f.x0) from++;
    let to = from;
    while (to < layer.x.length && layer.x[to] <= f.x1) to++;
    if (to - from <= f.plotW) return {marks: drawPoints(ctx, c, f, layer, index, from, to)};
    return drawDensity(ctx, c, scene, f, index, from, to);
  }

  function drawPoints(ctx, c, f, {x, y, band, colour, line, shape}, layer, from, to) {
    ctx.strokeStyle = c[line];
    ctx.lineWidth = 1.5;
    ctx.beginPath();
    for (let k = from; k < to; k++) {
      if (Number.isNaN(y[k])) continue;
      if (k > from && !Number.isNaN(y[k - 1])) ctx.lineTo(f.px(x[k]), f.py(y[k]));
      else ctx.moveTo(f.px(x[k]), f.py(y[k]));
    }
    ctx.stroke();
    const marks = [];
    for (let k = from; k < to; k++) {
      if (!Number.isNaN(y[k])) marks.push({x: f.px(x[k]), y: f.py(y[k]), layer, k});
      const kind = band(k);
      if (kind) marks.push({x: f.px(x[k]), y: f.band, layer, k, kind});
    }
    const point = POINTS[shape] || POINTS.square;
    for (const m of marks) {
      const onBand = BAND_MARKS[m.kind];
      ctx.fillStyle = c[onBand ? onBand.colour : colour];
      if (onBand) onBand.shape(ctx, m.x, m.y);
      else point(ctx, m.x, m.y);
    }
    return marks;
  }

  // More runs than pixel columns: per pixel column its lowest and highest run and the first
  // with a band mark, and per pixel how many runs it holds.
  function bin(f, {x, y, band}, from, to) {
    const counts = new Uint32Array(f.plotW * f.plotH);
    const low = new Int32Array(f.plotW).fill(-1);
    const high = new Int32Array(f.plotW).fill(-1);
    const marked = new Int32Array(f.plotW).fill(-1);
    for (let k = from; k < to; k++) {
      const p = Math.min(f.plotW - 1, Math.floor(f.px(x[k]) - f.left));
      if (marked[p] < 0 && band(k)) marked[p] = k;
      if (Number.isNaN(y[k])) continue;
      const line = Math.min(f.plotH - 1, Math.max(0, Math.floor(f.py(y[k]) - f.top)));
      counts[line * f.plotW + p]++;
      if (low[p] < 0 || y[k] < y[low[p]]) low[p] = k;
      if (high[p] < 0 || y[k] > y[high[p]]) high[p] = k;
    }
    return {counts, low, high, marked};
  }

  function drawDensity(ctx, c, scene, f, layer, from, to) {
    const l = scene.layers[layer];
    const {counts, low, high, marked} = bin(f, l, from, to);
    const most = counts.reduce((a, b) => (a > b ? a : b), 1);
    if (scene.view === 'series') shade(ctx, c[l.colour], f, counts, most);
    else curve(ctx, c[l.colour], f, l.y, low, high);
    const marks = [];
    for (let p = 0; p < f.plotW; p++) {
      const x = f.left + p + 0.5;
      if (high[p] >= 0) marks.push({x, y: f.py(l.y[high[p]]), layer, k: high[p]});
      if (low[p] >= 0 && low[p] !== high[p]) {
        marks.push({x, y: f.py(l.y[low[p]]), layer, k: low[p]});
      }
      if (marked[p] < 0) continue;
      const kind = l.band(marked[p]);
      marks.push({x, y: f.band, layer, k: marked[p], kind});
      ctx.fillStyle = c[BAND_MARKS[kind].colour];
      BAND_MARKS[kind].shape(ctx, x, f.band);
    }
    const note = `${group(to - from)} runs in ${f.plotW} pixel columns: ` +
      (scene.view === 'series'
        ? `the darker a pixel, the more runs it holds (up to ${group(most)}); `
        : 'the curve goes through the lowest and the highest value of each; ') +
      'the pointer names the lowest and the highest run of each column.';
    return {marks, note};
  }

  // Ranked values rise steadily: their curve, through each column's lowest and highest.
  function curve(ctx, colour, f, y, low, high) {
    ctx.strokeStyle = colour;
    ctx.lineWidth = 2;
    ctx.beginPath();
    for (let p = 0; p < f.plotW; p++) {
      if (low[p] < 0) continue;
      ctx.lineTo(f.left + p + 0.5, f.py(y[low[p]]));
      ctx.lineTo(f.left + p + 0.5, f.py(y[high[p]]));
    }
    ctx.stroke();
  }

  // Each pixel in `colour`, from 60 % opaque for one run (3:1 against the background) to
  // opaque for the most.
  function shade(ctx, colour, f, counts, most) {
    const canvas = document.createElement('canvas');
    [canvas.width, canvas.height] = [f.plotW, f.plotH];
    const sctx = canvas.getContext('2d');
    const image = sctx.createImageData(f.plotW, f.plotH);
    sctx.fillStyle = colour;
    sctx.fillRect(0, 0, 1, 1);
    const [r, g, b] = sctx.getImageData(0, 0, 1, 1).data;
    const scale = 102 / Math.log(1 + most);
    counts.forEach((count, i) => {
      if (count) image.data.set([r, g, b, 153 + Math.round(Math.log(1 + count) * scale)], i * 4);
    });
    sctx.putImageData(image, 0, 0);
    ctx.imageSmoothingEnabled = false;
    ctx.drawImage(canvas, f.left, f.top);
  }

  // The histogram's bars, each a mark that tells its range and count; the bins of the rings'
  // rows outlined.
  function drawHistogram(ctx, c, scene, f) {
    const {lo, hi, counts} = scene.hist;
    const edge = (i) => Axes.binEdge(lo, hi, counts.length, i);
    const outlined = scene.rings.map(({layer, row, colour}) => {
      const l = scene.layers[layer];
      const k = row < 0 ? -1 : l.rows.indexOf(row);
      const v = k < 0 ? NaN : l.y[k];
      return [v >= lo && v <= hi ? Axes.binOf(v, lo, hi, counts.length) : -1, colour];
    });
    const base = f.top + f.plotH;
    const marks = [];
    counts.forEach((count, i) => {
      const [a, b] = [f.px(edge(i)), f.px(edge(i + 1))];
      ctx.fillStyle = c.accent;
      ctx.fillRect(a + 0.5, f.py(count), Math.max(1, b - a - 1), base - f.py(count));
      for (const [at, colour] of outlined) {
        if (at !== i) continue;
        ctx.strokeStyle = c[colour];
        ctx.lineWidth = 2;
        ctx.strokeRect(a + 1, f.py(count) - 1, Math.max(1, b - a - 2), base - f.py(count) + 1);
      }
      marks.push({x: (a + b) / 2, y: f.py(count), bin: i});
    });
    const text = (v) => Axes.tickLabel(scene.log ? Axes.unlog(v) : v);
    const note = `${counts.length} bins of equal width${scene.log ? ' in log10' : ''} from ` +
      `${text(lo)} to ${text(hi)} for ${group(scene.hist.shown)} runs: 2 n^(1/3) bins, ` +
      'rounded up, at most 100.';
    return {marks, note};
  }

  // The rings of the scene's rows, where they are in view: on the value, or on the band for a
  // run without one that has a band mark.
  function drawRings(ctx, c, scene, f) {
    for (const {layer, row, colour, radius} of scene.rings) {
      const l = scene.layers[layer];
      const k = row < 0 ? -1 : l.rows.indexOf(row);
      if (k < 0 || l.x[k] < f.x0 || l.x[k] > f.x1) continue;
      if (!Number.isNaN(l.y[k])) ring(ctx, f.px(l.x[k]), f.py(l.y[k]), radius, c[colour], 2);
      else if (l.band(k)) ring(ctx, f.px(l.x[k]), f.band, radius, c[colour], 2);
    }
  }

  // The tip of a mark: a run's, or a bar's range and count.
  function tipText(scene, m) {
    if (m.bin === undefined) return scene.describe(m.layer, scene.layers[m.layer].rows[m.k]);
    const {lo, hi, counts} = scene.hist;
    const edge = (i) => Axes.binEdge(lo, hi, counts.length, i);
    const text = (i) => Cells.shortText(scene.log ? Axes.unlog(edge(i)) : edge(i));
    return `${group(counts[m.bin])} runs with ${scene.figure} from ${text(m.bin)} to ` +
      `${text(m.bin + 1)}`;
  }

  // The chart on `canvas`, its tips in `tip`: draw(scene) draws it anew, redraw() draws the
  // last scene again (a new size or scheme), showTip(i) shows mark i's tip and puts the keys'
  // focus on it (-1: none), and markAt(event), mark(i), focused(), xAt(pixel) and frame() tell
  // what the last drawing holds. Returns the note on how it was drawn.
  function create(canvas, tip) {
    let scene = null;
    let marks = [];
    let focused = -1;
    let frame = null;
    const chart = {
      draw(next) { scene = next; return chart.redraw(); },
      redraw() {
        if (!scene) return '';
        const drawn = paint(canvas, scene);
        ({marks, frame} = drawn);
        if (focused >= marks.length) focused = -1;
        if (focused >= 0) focusRing(canvas, marks[focused]);
        return drawn.note;
      },
      showTip(index) {
        focused = index;
        tip.hidden = index < 0;
        if (index < 0) return;
        const m = marks[index];
        tip.textContent = tipText(scene, m);
        const left = Math.min(m.x + 10, canvas.clientWidth - tip.offsetWidth);
        tip.style.left = `${Math.max(0, left)}px`;
        tip.style.top = `${m.y + 12}px`;
      },
      markAt(event) { return nearest(canvas, marks, event); },
      mark: (i) => marks[i],
      marks: () => marks.length,
      focused: () => focused,
      frame: () => frame,
      xAt: (pixel) => frame.x0 + ((pixel - frame.left) / frame.plotW) * (frame.x1 - frame.x0),
    };
    return chart;
  }

  function paint(canvas, scene) {
    const [width, height] = [canvas.clientWidth, canvas.clientHeight];
    const ratio = window.devicePixelRatio || 1;
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
    const ctx = canvas.getContext('2d');
    const c = colours();
    ctx.setTransform(ratio, 0, 0, ratio, 0, 0);
    ctx.fillStyle = c.bg;
    ctx.fillRect(0, 0, width, height);
    const f = frameOf(scene, width, height);
    drawAxes(ctx, c, scene, f);
    // The legend in words too, for a screen reader.
    canvas.setAttribute('aria-description',
      `Legend: ${scene.legend.map(([text]) => text).join('; ')}`);
    if (scene.view === 'hist') return {...drawHistogram(ctx, c, scene, f), frame: f};
    drawLines(ctx, c, scene, f);
    const marks = [];
    const notes = [];
    scene.layers.forEach((_, i) => {
      const drawn = drawLayer(ctx, c, scene, f, i);
      marks.push(...drawn.marks);
      if (drawn.note) notes.push(drawn.note);
    });
    drawRings(ctx, c, scene, f);
    return {marks, frame: f, note: notes.join(' ')};
  }

  function focusRing(canvas, m) {
    const ctx = canvas.getContext('2d');
    ring(ctx, m.x, m.y, 12, colours().accent, 1);
  }

  function nearest(canvas, marks, event) {
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

  // Dragging across the chart zooms to the dragged range (when it zooms); a click picks a point.
  function wirePointer(canvas, chart, on) {
    let dragFrom = null;
    let dragged = false;
    const canvasX = (e) => e.clientX - canvas.getBoundingClientRect().left;
    canvas.addEventListener('mousedown', (e) => { dragFrom = canvasX(e); dragged = false; });
    window.addEventListener('mouseup', (e) => {
      const far = dragFrom !== null && Math.abs(canvasX(e) - dragFrom) >= 6;
      if (far && chart.frame() && on.zoomTo) {
        dragged = true;
        on.zoomTo([chart.xAt(dragFrom), chart.xAt(canvasX(e))].sort((a, b) => a - b));
      }
      dragFrom = null;
    });
    canvas.addEventListener('mousemove', (e) => chart.showTip(chart.markAt(e)));
    canvas.addEventListener('mouseleave', () => chart.showTip(-1));
    canvas.addEventListener('blur', () => chart.showTip(-1));
    canvas.addEventListener('click', (e) => {
      const m = chart.mark(chart.markAt(e));
      if (!dragged && m && m.k !== undefined) on.pick(m);
    });
  }

  // The keys on the chart: arrows go from mark to mark, Enter or Space picks it, + and - zoom
  // (when it zooms), Shift and an arrow pan.
  function wireKeys(canvas, chart, on) {
    canvas.addEventListener('keydown', (e) => {
      const [focused, last, frame] = [chart.focused(), chart.marks() - 1, chart.frame()];
      const to = {ArrowRight: focused + 1, ArrowDown: focused + 1, ArrowLeft: focused - 1,
        ArrowUp: focused - 1, Home: 0, End: last}[e.key];
      const span = frame ? frame.x1 - frame.x0 : 0;
      const middle = frame ? frame.x0 + span / 2 : 0;
      const m = chart.mark(focused);
      const zoom = frame && on.zoomTo;
      if (zoom && (e.key === '+' || e.key === '=')) {
        on.zoomTo([middle - span / 4, middle + span / 4]);
      } else if (zoom && e.key === '-') {
        on.zoomTo(on.zoomed() && [middle - span, middle + span]);
      } else if (zoom && e.shiftKey && (e.key === 'ArrowLeft' || e.key === 'ArrowRight')) {
        const shift = (e.key === 'ArrowLeft' ? -span : span) / 4;
        on.zoomTo([frame.x0 + shift, frame.x1 + shift]);
      } else if (to !== undefined && last >= 0) {
        chart.showTip(Math.min(Math.max(to, 0), last));
        on.redraw();
      } else if ((e.key === 'Enter' || e.key === ' ') && m && m.k !== undefined) {
        on.pick(m);
      } else {
        return;
      }
      e.preventDefault();
    });
  }

  // Wires the pointer and the keys of `canvas` to `chart`. on: {pick(mark) for a run's mark,
  // redraw() after the focus moved, and for a chart that zooms zoomTo([lo, hi] on x, or null
  // for all) and zoomed() (the zoom now, or null)}.
  function wire(canvas, chart, on) {
    wirePointer(canvas, chart, on);
    wireKeys(canvas, chart, on);
  }

  return {tipText, create, wire};
})(typeof PageAxes === 'object' ? PageAxes : require('./axes.js'),
  typeof PageCells === 'object' ? PageCells : require('./cells.js'));

if (typeof module === 'object' && module) module.exports = PageChart;
