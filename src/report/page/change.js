// What two batches' rows say of each run on a compare page: the change of a figure from before
// to after, and the class of each run (better, worse, unchanged beyond a threshold, a status
// that changed, one batch only), with the labels the page counts them under.
'use strict';

const PageChange = (() => {
  // The classes, in the order the page counts them; a run's class is its index here.
  const CLASSES = ['better', 'worse', 'unchanged', 'no_figure', 'fixed', 'broken', 'failed',
    'before', 'after'];
  const LABELS = ['better', 'worse', 'unchanged', 'no figure on a side', 'failed \u2192 ok',
    'ok \u2192 failed', 'failed in both', 'only before', 'only after'];
  const [BETTER, WORSE, UNCHANGED, NO_FIGURE, FIXED, BROKEN, FAILED, BEFORE, AFTER] =
    CLASSES.keys();

  // The change from `before` to `after` as tabrun --compare writes it: change = after - before
  // and relative = change / |before|, NaN for none: when either value is NaN, when a result is
  // not a finite double, and for the relative change of a before of 0 unless after is 0 too
  // (then 0). A change of zero is +0.
  function changeOf(before, after) {
    const change = after - before + 0;
    if (!Number.isFinite(change)) return {change: NaN, relative: NaN};
    const relative = before !== 0 ? change / Math.abs(before) : change === 0 ? 0 : NaN;
    return {change, relative: Number.isFinite(relative) ? relative : NaN};
  }

  // changeOf for each row of two columns of values: {change, relative} as Float64Arrays.
  function changeColumns(before, after) {
    const change = new Float64Array(before.length);
    const relative = new Float64Array(before.length);
    for (let r = 0; r < before.length; r++) {
      ({change: change[r], relative: relative[r]} = changeOf(before[r], after[r]));
    }
    return {change, relative};
  }

  // The class of a run: `side` is 'both', 'before' or 'after'; okBefore and okAfter whether its
  // status is ok on each side; change and relative as changeOf gives them; `threshold` a
  // percentage. A status that changed, or failed on both sides, decides first; then a run
  // without the figure on a side has none (no_figure); then the relative change beyond the
  // threshold (|relative| > threshold / 100) is better when below 0 and worse above, and
  // within it unchanged. A before of 0 has no relative change: any change is beyond.
  function classOf(side, okBefore, okAfter, change, relative, threshold) {
    if (side !== 'both') return side === 'before' ? BEFORE : AFTER;
    if (okBefore !== okAfter) return okAfter ? FIXED : BROKEN;
    if (!okBefore) return FAILED;
    if (Number.isNaN(change)) return NO_FIGURE;
    const beyond = Number.isNaN(relative) ? change !== 0 : Math.abs(relative) > threshold / 100;
    if (!beyond) return UNCHANGED;
    return change < 0 ? BETTER : WORSE;
  }

  // The class of each row: `side`, `statusBefore` and `statusAfter` are code columns (a side
  // column's values are both, before and after; status code 0 is ok).
  function classCodes(side, statusBefore, statusAfter, {change, relative}, threshold) {
    const names = side.values;
    const out = new Uint8Array(side.data.length);
    for (let r = 0; r < out.length; r++) {
      out[r] = classOf(names[side.data[r]], statusBefore.data[r] === 0,
        statusAfter.data[r] === 0, change[r], relative[r], threshold);
    }
    return out;
  }

  return {CLASSES, LABELS, changeOf, changeColumns, classOf, classCodes};
})();

if (typeof module === 'object' && module) module.exports = PageChange;
