'use strict';

const status = document.getElementById('status');

/** What a cell holds: a number with all its digits, or its text. */
const content = (cell) => cell.dataset.v ?? cell.textContent;

/** Undefined numbers come last in both directions. */
function compare(a, b, direction) {
  if (a === b) return 0;
  const [x, y] = [Number(a), Number(b)];
  const [isXMissing, isYMissing] = [a === 'NA' || a === '', b === 'NA' || b === ''];
  if (isXMissing || isYMissing) return isXMissing - isYMissing;
  if (!Number.isNaN(x) && !Number.isNaN(y)) return (x - y) * direction;
  return a.localeCompare(b, undefined, {numeric: true}) * direction;
}

function makeSortable(table) {
  const body = table.tBodies[0];
  const given = [...body.rows];
  const heads = [...table.tHead.rows[0].cells];
  heads.forEach((head, col) => {
    const button = document.createElement('button');
    button.type = 'button';
    button.append(...head.childNodes);
    head.append(button);
    head.setAttribute('aria-sort', 'none');
    button.addEventListener('click', () => {
      const next = {none: 'ascending', ascending: 'descending', descending: 'none'}[head.getAttribute('aria-sort')];
      for (const other of heads) other.setAttribute('aria-sort', 'none');
      head.setAttribute('aria-sort', next);
      const direction = next === 'descending' ? -1 : 1;
      const rows = next === 'none' ? given : given.map((row) => [content(row.cells[col]), row])
        .sort(([a], [b]) => compare(a, b, direction)).map(([, row]) => row);
      body.append(...rows);
      status.textContent = next === 'none' ? 'The order given' : `Sorted by ${button.textContent}, ${next}`;
    });
  });
}

/** Where the page may not write to the clipboard itself, a selection can be copied. */
async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const area = document.createElement('textarea');
    area.value = text;
    document.body.append(area);
    area.select();
    document.execCommand('copy');
    area.remove();
  }
}

function makeCopyable(table) {
  const button = document.createElement('button');
  button.type = 'button';
  button.textContent = 'Copy';
  button.title = 'Copy the table with all digits, to paste it into a spreadsheet';
  button.addEventListener('click', async () => {
    // Tabs and line breaks within names would be taken for those between cells.
    const line = (row) => [...row.cells].map((cell) => content(cell).replace(/[\t\r\n]+/g, ' ')).join('\t');
    await copy([...table.rows].map(line).join('\n') + '\n');
    status.textContent = `${table.tBodies[0].rows.length} rows copied`;
    button.textContent = 'Copied';
    setTimeout(() => { button.textContent = 'Copy'; }, 1500);
  });
  table.closest('section').querySelector('h2').after(button);
}

/** A picture that had to shrink can be seen as large as it is, and scrolled. */
function makeEnlargeable(figure) {
  const picture = figure.querySelector('svg');
  if (picture.width.baseVal.value <= picture.getBoundingClientRect().width + 1) return;
  const button = document.createElement('button');
  button.type = 'button';
  button.textContent = 'Full size';
  button.setAttribute('aria-pressed', 'false');
  button.addEventListener('click', () => {
    button.setAttribute('aria-pressed', String(figure.classList.toggle('large')));
  });
  figure.querySelector('figcaption').append(' ', button);
}

/** Tells the names and the number of the cell under the pointer, as the first table has them. */
function makeReadable(picture, table) {
  const grid = JSON.parse(picture.dataset.grid);
  const rows = [...table.tBodies[0].rows];
  const heads = [...table.tHead.rows[0].cells];
  const tip = document.createElement('div');
  tip.className = 'tip';
  tip.hidden = true;
  document.body.append(tip);
  picture.addEventListener('pointermove', (event) => {
    const at = new DOMPoint(event.clientX, event.clientY).matrixTransform(picture.getScreenCTM().inverse());
    const row = grid.rows[Math.floor((at.y - grid.top) / grid.height * grid.rows.length)];
    const col = grid.cols[Math.floor((at.x - grid.left) / grid.width * grid.cols.length)];
    tip.hidden = row === undefined || col === undefined;
    if (tip.hidden) return;
    const cells = rows[row].cells;
    tip.textContent = `${cells[0].textContent}, ${heads[col + 1].textContent}: ${cells[col + 1].textContent.trim()}`;
    tip.style.left = `${Math.max(0, Math.min(event.clientX + 12, window.innerWidth - tip.offsetWidth - 8))}px`;
    tip.style.top = `${event.clientY + (event.clientY < window.innerHeight / 2 ? 16 : -16 - tip.offsetHeight)}px`;
  });
  picture.addEventListener('pointerleave', () => { tip.hidden = true; });
}

// Letters on paper are smaller than those of the screen, in pixels of which paper has at least so many in a line.
const PAPER_SCALE = 10 / 14;
const PAPER_WIDTH = 680;
// As page.css has it: names of rows are wrapped there.
const WIDEST_NAME = 190;

/** Paper does not scroll: a table that is too wide for it is printed in parts, each with the columns that name its rows. */
function foldForPaper(table) {
  const heads = [...table.tHead.rows[0].cells];
  const first = table.tBodies[0].rows[0];
  if (first === undefined) return;
  const keys = [...first.cells].filter((cell) => cell.tagName === 'TH').length;
  const widths = heads.map((head) => head.offsetWidth * PAPER_SCALE)
    .map((width, col) => (col < keys ? Math.min(width, WIDEST_NAME) : width));
  const sum = (values) => values.reduce((total, value) => total + value, 0);
  if (sum(widths) <= PAPER_WIDTH) return;
  const room = PAPER_WIDTH - sum(widths.slice(0, keys));
  const parts = [[]];
  for (let col = keys; col < heads.length; ++col) {
    const part = parts.at(-1);
    if (part.length > 0 && sum(part.map((other) => widths[other])) + widths[col] > room) parts.push([col]);
    else part.push(col);
  }
  for (const part of parts) {
    const columns = [...Array(keys).keys(), ...part];
    const copy = table.cloneNode(false);
    copy.className = 'part';
    const take = (row, section) => {
      section.insertRow().append(...columns.map((col) => row.cells[col].cloneNode(true)));
    };
    take(table.tHead.rows[0], copy.createTHead());
    const body = copy.createTBody();
    for (const row of table.tBodies[0].rows) take(row, body);
    table.parentNode.append(copy);
  }
  table.classList.add('folded');
}

function unfold() {
  document.querySelectorAll('.part').forEach((part) => part.remove());
  document.querySelectorAll('.folded').forEach((table) => table.classList.remove('folded'));
}

window.addEventListener('beforeprint', () => {
  unfold();
  document.querySelectorAll('table').forEach(foldForPaper);
});
window.addEventListener('afterprint', unfold);

const picture = document.querySelector('svg[data-grid]');
const first = document.querySelector('table');
if (picture && first) makeReadable(picture, first);
document.querySelectorAll('table').forEach(makeSortable);
document.querySelectorAll('table').forEach(makeCopyable);
document.querySelectorAll('figure').forEach(makeEnlargeable);
