// The view in the URL's fragment (the part after #): read from it, and written back with only
// what differs from the page's start.
'use strict';

const PageHash = ((Cells) => {
  // The view from the fragment. `known` lists what may appear: {figures, columns, statuses,
  // and on a compare page classes}; a name it does not list, inherited object members
  // included, is ignored, as is any value a key does not take. `defaults` gives what is
  // missing; an empty sort= is the rows' own order. threshold= takes a percentage, a finite
  // number of 0 or more.
  function readHash(fragment, known, defaults) {
    const p = new URLSearchParams(fragment);
    const pick = (key, allowed) => (allowed.includes(p.get(key)) ? p.get(key) : defaults[key]);
    const sort = p.get('sort') || '';
    const column = sort.replace(/^-/, '');
    const zoom = (p.get('zoom') || '').split(',').map((t) => Cells.parseNumber(t));
    const threshold = Cells.parseNumber(p.get('threshold') || '');
    const list = (key, names) => (p.get(key) || '').split(',').filter((s) => names.includes(s));
    return {
      figure: pick('figure', known.figures),
      view: pick('view', ['series', 'rank', 'hist']),
      x: pick('x', ['pos', 'num']),
      y: pick('y', ['lin', 'log']),
      sort: known.columns.includes(column) ? column
        : sort === '' && p.has('sort') ? '' : defaults.sort,
      desc: known.columns.includes(column) && sort.startsWith('-'),
      statuses: list('status', known.statuses),
      classes: list('class', known.classes || []),
      threshold: threshold >= 0 ? threshold : defaults.threshold,
      q: p.get('q') || '',
      zoom: zoom.length === 2 && zoom[0] < zoom[1] ? zoom : null,
    };
  }

  // The fragment of a view: only what differs from `defaults`, in a fixed order.
  function writeHash(state, defaults) {
    const p = new URLSearchParams();
    for (const key of ['figure', 'view', 'x', 'y']) {
      if (state[key] !== defaults[key]) p.set(key, state[key]);
    }
    if (state.sort !== defaults.sort || state.desc) {
      p.set('sort', (state.desc ? '-' : '') + state.sort);
    }
    if (state.statuses.length) p.set('status', state.statuses.join(','));
    if (state.threshold !== defaults.threshold) p.set('threshold', state.threshold);
    if (state.classes && state.classes.length) p.set('class', state.classes.join(','));
    if (state.q) p.set('q', state.q);
    if (state.zoom) p.set('zoom', state.zoom.join(','));
    return p.toString().replaceAll('%2C', ',');  // a comma needs no escape in a fragment
  }

  // The zoom to [lo, hi] on x, its ends rounded to 12 digits where that keeps them apart; null
  // (all) when there is no range, it is not finite or its span overflows.
  function zoomOf(lo, hi) {
    if (!(lo < hi) || !Number.isFinite(hi - lo)) return null;
    const round = [lo, hi].map((v) => Number(v.toPrecision(12)));
    return round[0] < round[1] ? round : [lo, hi];
  }

  return {readHash, writeHash, zoomOf};
})(typeof PageCells === 'object' ? PageCells : require('./cells.js'));

if (typeof module === 'object' && module) module.exports = PageHash;
