// The table of the rows: its header of sort buttons, PAGE_ROWS rows at a time with a pager,
// and the detail of the selected row under it. It shows the columns it is given, whatever they
// are; a derived column (a number per row) is one more column, and a column may have a `label`
// for its header and a `format(value)` for its cells. Text from the batch is only ever set as
// text (textContent), never as markup.
'use strict';

const PageTable = ((Cells) => {
  const PAGE_ROWS = 40;  // the table's rows: with the listed failures, under 1,500 elements
  const group = (count) => count.toLocaleString('en-US');  // 200,000

  // The pager's words for `count` rows from `start` (0 first) on.
  function pageLabel(start, count) {
    if (!count) return 'No row matches.';
    const pages = Math.max(1, Math.ceil(count / PAGE_ROWS));
    return `Rows ${group(start + 1)} to ${group(Math.min(start + PAGE_ROWS, count))} of ` +
      `${group(count)}, page ${group(Math.floor(start / PAGE_ROWS) + 1)} of ${group(pages)}`;
  }

  // The note under a row's name: its status and error, why it failed when the rows say so
  // (`reason`, when not empty), its figures ([name, value] pairs), and what there is of its
  // log's end: `tail` shown under it, or none (null) because the page left it out
  // (`leftOut`) or the log is empty. A page made from rows (`fromRows`) has only the last
  // record of a log, when the rows hold one.
  function detailNote({status, error, reason, figures, tail, leftOut, fromRows}) {
    let note = `Status ${status}${error ? `: ${error}` : ''}.`;
    if (reason) note += ` Reason: ${reason}${/[.!?]$/.test(reason) ? '' : '.'}`;
    const values = figures.map(([name, v]) => `${name} ${Cells.numberText(v)}`);
    if (values.length) note += ` ${values.join(', ')}.`;
    if (tail !== null) {
      note += fromRows ? ' Its last record (this page was made from rows, which hold no more ' +
        'of its log):' : ' The last records of its log:';
    } else if (status !== 'ok' && status !== 'unreadable' && status !== 'running') {
      note += fromRows ? ' The rows hold no record of its log.' :
        leftOut ? ' The end of its log is left out of this page.' : ' Its log is empty.';
    }
    return note;
  }

  // The table in `element` over the columns `cols`; onSort(name) when a header is pressed,
  // onPick(row) when a row is. `kept(c)` tells the columns that a narrow window keeps.
  function create(element, cols, {onSort, onPick, kept}) {
    const body = element.tBodies[0];
    const heads = cols.map((c) => head(c, onSort));
    element.tHead.rows[0].append(...heads);
    for (let k = 0; k < PAGE_ROWS; k++) body.append(emptyRow(cols));
    body.addEventListener('click', (e) => {
      const tr = e.target.closest('tr');
      if (tr) onPick(Number(tr.dataset.row));
    });
    let rows = new Uint32Array(0);
    let page = 0;
    let marks = {selected: -1, best: -1, figure: ''};
    const table = {
      rows: () => rows,
      // Shows `order` from its first page.
      setRows(order) { rows = order; page = 0; },
      page: () => page,
      pages: () => Math.max(1, Math.ceil(rows.length / PAGE_ROWS)),
      go(p) { page = Math.min(Math.max(p, 0), table.pages() - 1); },
      // Goes to the page that holds `row`, when it is shown; its <tr> or null.
      goTo(row) {
        const at = rows.indexOf(row);
        if (at >= 0) page = Math.floor(at / PAGE_ROWS);
        return at >= 0 ? body.rows[at % PAGE_ROWS] : null;
      },
      // Fills the page; `next`, when given, says which rows to mark: {selected, best (its
      // cell of `figure`)}.
      render(next) {
        if (next) marks = next;
        render(body, cols, heads, rows, page, marks, kept);
      },
      showSort(sort, desc) {
        heads.forEach((th, i) => {
          if (cols[i].name !== sort) th.removeAttribute('aria-sort');
          else th.setAttribute('aria-sort', desc ? 'descending' : 'ascending');
        });
      },
    };
    wirePager(table);
    return table;
  }

  // A row of the table with a cell per column, the first holding the button that picks it.
  function emptyRow(cols) {
    const tr = document.createElement('tr');
    for (const c of cols) tr.insertCell().className = c.type === 'number' ? 'num' : '';
    const pick = document.createElement('button');
    pick.type = 'button';
    pick.className = 'pick';
    tr.cells[0].append(pick);
    return tr;
  }

  function wirePager(table) {
    const to = {first: () => 0, prev: () => table.page() - 1, next: () => table.page() + 1,
      last: () => table.pages() - 1};
    for (const [id, page] of Object.entries(to)) {
      document.getElementById(id).addEventListener('click', () => {
        table.go(page());
        table.render();
      });
    }
  }

  function head(c, onSort) {
    const th = document.createElement('th');
    th.scope = 'col';
    if (c.type === 'number') th.className = 'num';
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = c.label || c.name;
    button.addEventListener('click', () => onSort(c.name));
    th.append(button);
    return th;
  }

  function render(body, cols, heads, rows, page, marks, kept) {
    const start = page * PAGE_ROWS;
    heads.forEach((th, i) => th.classList.toggle('keep', kept(cols[i])));
    for (let k = 0; k < PAGE_ROWS; k++) {
      const tr = body.rows[k];
      tr.hidden = start + k >= rows.length;
      if (!tr.hidden) renderRow(tr, cols, rows[start + k], marks, kept);
    }
    document.getElementById('page').textContent = pageLabel(start, rows.length);
    const last = Math.max(1, Math.ceil(rows.length / PAGE_ROWS)) - 1;
    for (const id of ['first', 'prev']) document.getElementById(id).disabled = page === 0;
    for (const id of ['next', 'last']) document.getElementById(id).disabled = page >= last;
  }

  function renderRow(tr, cols, row, {selected, best, figure}, kept) {
    tr.dataset.row = row;
    tr.classList.toggle('sel', row === selected);
    cols.forEach((c, i) => {
      const td = tr.cells[i];
      const text = c.format ? c.format(c.data[row]) : Cells.cellText(c, row);
      if (i === 0) {
        td.firstChild.textContent = text;
        td.firstChild.setAttribute('aria-pressed', row === selected);
      } else {
        td.textContent = text;
      }
      if (c.type === 'text') td.title = text;
      if (c.name === 'status') {
        td.classList.toggle('fail', text !== 'ok' && text !== 'running');
        td.classList.toggle('run', text === 'running');
      }
      td.classList.toggle('best', row === best && c.name === figure);
      td.classList.toggle('keep', kept(c));
    });
  }

  // Saves `blob` as a download named `name`.
  function save(blob, name) {
    const a = document.createElement('a');
    a.href = URL.createObjectURL(blob);
    a.download = name;
    a.click();
    setTimeout(() => URL.revokeObjectURL(a.href), 60000);
  }

  return {PAGE_ROWS, pageLabel, detailNote, create, save};
})(typeof PageCells === 'object' ? PageCells : require('./cells.js'));

if (typeof module === 'object' && module) module.exports = PageTable;
