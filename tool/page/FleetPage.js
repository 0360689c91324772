// Sorts and filters the rows of the table of devices. Without it all rows are there all the same.
// What is chosen stands in the address after "#", so that it can be kept and passed on.
(() => {
  'use strict';
  const list = document.getElementById('list');
  const body = list.tBodies[0];
  const rows = [...body.rows];
  const heads = [...list.tHead.rows[0].cells];
  const form = document.querySelector('form');
  const count = document.getElementById('count');
  const fields = ['outcome', 'version', 'finding', 'text'].map(id => document.getElementById(id));
  const [outcome, version, finding, text] = fields;
  const order = { key: '', down: false };

  const isWanted = row =>
    (!outcome.value || row.dataset.outcome === outcome.value) &&
    (!version.value || row.dataset.found === version.value) &&
    (!finding.value || row.dataset.findings.split(' ').includes(finding.value)) &&
    (!text.value || row.cells[0].dataset.value.toLowerCase().includes(text.value.toLowerCase()));

  const filter = () => {
    let shown = 0;
    for (const row of rows) {
      row.hidden = !isWanted(row);
      if (!row.hidden) ++shown;
    }
    count.textContent = `${shown} of ${rows.length} devices are shown.`;
  };

  // Rows that are alike stay in the order in which they were made; those without a value come last.
  const sort = () => {
    const column = heads.findIndex(head => head.dataset.key === order.key);
    for (const [i, head] of heads.entries()) {
      if (i === column) head.setAttribute('aria-sort', order.down ? 'descending' : 'ascending');
      else head.removeAttribute('aria-sort');
    }
    let sorted = rows;
    if (column >= 0) {
      const isNumber = 'number' in heads[column].dataset;
      const words = new Intl.Collator('en', { numeric: true });
      const compare = isNumber ? (a, b) => a - b : words.compare;
      const keyed = rows.map(row => [row.cells[column].dataset.value, row]);
      const sign = order.down ? -1 : 1;
      keyed.sort(([a], [b]) => (a === '') - (b === '') || sign * compare(a, b));
      sorted = keyed.map(([, row]) => row);
    }
    body.append(...sorted);
  };

  const remember = () => {
    const chosen = new URLSearchParams();
    for (const field of fields) if (field.value) chosen.set(field.id, field.value);
    if (order.key) chosen.set('sort', (order.down ? '-' : '') + order.key);
    history.replaceState(null, '', '#' + chosen);
  };

  const recall = () => {
    const chosen = new URLSearchParams(location.hash.slice(1));
    for (const field of fields) field.value = chosen.get(field.id) ?? '';
    const key = chosen.get('sort') ?? '';
    order.down = key.startsWith('-');
    order.key = key.replace('-', '');
    sort();
    filter();
  };

  for (const head of heads) {
    const button = document.createElement('button');
    button.type = 'button';
    button.append(...head.childNodes);
    head.append(button);
    button.addEventListener('click', () => {
      order.down = order.key === head.dataset.key && !order.down;
      order.key = head.dataset.key;
      sort();
      remember();
    });
  }
  form.addEventListener('input', () => { filter(); remember(); });
  form.addEventListener('submit', event => event.preventDefault());
  form.addEventListener('reset', () => setTimeout(() => { filter(); remember(); }));
  addEventListener('hashchange', recall);
  form.hidden = false;
  if (location.hash.length > 1) recall();
})();
