'use strict';
// Asks for the farm once a second, keeps the last rates of each object, and draws both.
const KEPT = 60;
const EVERY = 1000;
const COLUMNS = [
  { name: 'Name', key: (line) => line.place, text: true },
  { name: 'State', key: (line) => line.state, text: true },
  { name: 'Weight', key: (line) => line.weight },
  { name: 'Active', key: (line) => line.active },
  { name: 'Connections', key: (line) => line.connections },
  { name: 'Per second', key: (line) => line.rate },
];
const STATES = { up: 'up', down: 'down', quiesced: 'quiesced', 'weight 0': 'idle' };

const element = (id) => document.getElementById(id);
const rates = new Map(); // the last rates of each object
const rows = new Map(); // its row of the table
let lines = [];
let order = null;
let isDownwards = false;
let chosen = '';
let chart = null;

function make(tag, attributes, ...children) {
  const made = document.createElement(tag);
  Object.entries(attributes).forEach(([name, value]) => made.setAttribute(name, value));
  made.append(...children);
  return made;
}

function key(line) {
  return JSON.stringify([line.kind, line.cluster, line.port, line.name]);
}

function drawHeadings() {
  COLUMNS.forEach((column) => {
    const button = make('button', { type: 'button' }, column.name);
    const heading = make('th', { scope: 'col', 'class': column.text ? '' : 'number' }, button);
    button.addEventListener('click', () => {
      if (order === column && isDownwards === column.text) {
        order = null; // a third time: the order of the farm
      } else {
        isDownwards = order === column ? !isDownwards : !column.text;
        order = column;
      }
      document.querySelectorAll('th').forEach((other) => other.removeAttribute('aria-sort'));
      if (order) {
        heading.setAttribute('aria-sort', isDownwards ? 'descending' : 'ascending');
      }
      drawTable();
    });
    element('headings').append(heading);
  });
  element('headings').append(make('th', { scope: 'col', 'class': 'rates' }, 'Last minute'));
}

function row(line) {
  let found = rows.get(line.id);
  if (!found) {
    const button = make('button', { type: 'button', 'aria-pressed': 'false' }, (line.kind === 'rule' ? 'rule ' : '') + line.name);
    button.addEventListener('click', () => choose(chosen === line.id ? '' : line.id));
    const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
    const plot = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
    plot.setAttribute('width', '120');
    plot.setAttribute('height', '22');
    plot.setAttribute('aria-hidden', 'true');
    plot.append(path);
    const cells = COLUMNS.map((column) => make('td', { 'class': column.text ? '' : 'number' }));
    cells[0].className = 'name';
    cells[0].append(button);
    found = { row: make('tr', { 'class': line.kind }, ...cells, make('td', { 'class': 'rates' }, plot)), cells, path, button };
    rows.set(line.id, found);
  }
  return found;
}

function fill(line) {
  const found = row(line);
  const state = found.cells[1];
  state.textContent = line.state;
  state.className = STATES[line.state] || '';
  found.cells[2].textContent = line.weight < 0 ? '' : line.weight;
  found.cells[3].textContent = line.active;
  found.cells[4].textContent = line.connections < 0 ? '' : line.connections;
  found.cells[5].textContent = line.rate.toFixed(1);
  found.row.classList.toggle('chosen', line.id === chosen);
  found.button.setAttribute('aria-pressed', String(line.id === chosen));
  const values = rates.get(line.id);
  const highest = Math.max(...values, 1e-9);
  found.path.setAttribute('d', values.map((value, at) =>
    (at ? 'L' : 'M') + (at * 2).toString() + ' ' + (20 - 18 * value / highest).toFixed(1)).join(' '));
  return found.row;
}

function drawTable() {
  const part = element('filter').value.toLowerCase();
  let shown = lines.filter((line) => (line.place + ' ' + line.state).toLowerCase().includes(part));
  if (order) {
    const direction = isDownwards ? -1 : 1;
    shown = shown.slice().sort((one, other) => {
      const first = order.key(one);
      const second = order.key(other);
      return direction * (order.text ? String(first).localeCompare(String(second)) : first - second);
    });
  }
  const focused = document.activeElement;
  element('farm').replaceChildren(...shown.map(fill));
  if (focused && focused.isConnected && focused !== document.activeElement) {
    focused.focus({ preventScroll: true });
  }
  element('shown').textContent = shown.length === lines.length ? '' : shown.length + ' of ' + lines.length;
}

function choose(id) {
  chosen = id;
  const line = lines.find((other) => other.id === id);
  element('plot-title').textContent = (line ? line.place : 'All clusters') + ': connections per second';
  drawTable();
  drawChart();
}

function drawChart() {
  if (typeof Chart === 'undefined') {
    element('plot').hidden = true;
    element('no-chart').hidden = false;
    return;
  }
  const values = rates.get(chosen) || [];
  const style = getComputedStyle(document.documentElement);
  const colour = (name) => style.getPropertyValue(name).trim();
  if (!chart) {
    chart = new Chart(element('chart'), {
      type: 'line',
      data: { labels: [], datasets: [{ data: [], pointRadius: 0, borderWidth: 2, fill: true, tension: 0.2 }] },
      options: {
        animation: false, maintainAspectRatio: false, responsive: true,
        plugins: { legend: { display: false }, tooltip: { enabled: false } },
        scales: { x: { grid: { display: false } }, y: { beginAtZero: true, suggestedMax: 1 } },
      },
    });
  }
  const set = chart.data.datasets[0];
  set.data = values;
  set.borderColor = colour('--accent');
  set.backgroundColor = colour('--accent') + '22';
  chart.data.labels = values.map((value, at) => (at + 1 - values.length) + ' s');
  ['x', 'y'].forEach((axis) => {
    chart.options.scales[axis].ticks = { color: colour('--dim'), maxTicksLimit: 7 };
  });
  chart.options.scales.y.grid = { color: colour('--line') };
  chart.update('none');
}

function keep(id, rate) {
  const values = rates.get(id) || [];
  values.push(rate);
  if (values.length > KEPT) {
    values.shift();
  }
  rates.set(id, values);
}

function take(farm) {
  lines = farm.lines.map((line) => Object.assign(line, {
    id: key(line),
    place: [line.cluster, line.port, line.name].filter((word, at) => word && !(at && word === line.cluster && !line.port)
      && !(at === 2 && line.kind === 'port')).join(' '),
  }));
  const present = new Set(lines.map((line) => line.id).concat(''));
  [...rates.keys()].filter((id) => !present.has(id)).forEach((id) => {
    rates.delete(id);
    rows.delete(id);
  });
  lines.forEach((line) => keep(line.id, line.rate));
  const servers = lines.filter((line) => line.kind === 'server');
  keep('', servers.reduce((sum, line) => sum + line.rate, 0));
  const down = servers.filter((line) => line.state === 'down').length;
  const counted = (count, noun) => count + ' ' + noun + (count === 1 ? '' : 's');
  element('summary').textContent = counted(lines.filter((line) => line.kind === 'cluster').length, 'cluster') + ', '
    + counted(servers.length, 'server') + (down ? ', ' + down + ' down' : '') + ', '
    + counted(servers.reduce((sum, line) => sum + line.active, 0), 'active connection');
}

async function turn() {
  const begun = Date.now();
  try {
    const answer = await fetch('farm.json');
    if (!answer.ok) {
      throw new Error('the executor does not answer');
    }
    take(await answer.json());
    element('failure').hidden = true;
    drawTable();
    drawChart();
  } catch (error) {
    element('failure').textContent = 'What is shown is old: ' + error.message;
    element('failure').hidden = false;
  }
  setTimeout(turn, Math.max(100, EVERY - (Date.now() - begun)));
}

drawHeadings();
element('filter').addEventListener('input', drawTable);
matchMedia('(prefers-color-scheme: dark)').addEventListener('change', drawChart);
turn();
