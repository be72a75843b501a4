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

document.querySelectorAll('table').forEach(makeSortable);
document.querySelectorAll('table').forEach(makeCopyable);
document.querySelectorAll('figure').forEach(makeEnlargeable);
