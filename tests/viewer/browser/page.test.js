// Opens pages written by plotwright-view in headless Chromium and uses them as a person would: rows and
// labels, tooltips with dictionary names, zoom and pan, the row filter; every page must load without a
// console error and without a single request beyond its own file. Also writes docs/viewer.png of the
// example page and reports the time the large generated document takes to its first drawing.
// Usage: node page.test.js <plotwright-view> <plotwright> <source dir>
'use strict';
const { test, before, after } = require('node:test');
const assert = require('node:assert/strict');
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const [viewBin, plotBin, srcDir] = process.argv.slice(2).map((p) => path.resolve(p));
const CHROMIUM = process.env.PLOTWRIGHT_CHROMIUM || '/usr/bin/chromium';
let chromium;
try {
  ({ chromium } = require('playwright-core'));
} catch (e) {
  console.error('playwright-core is missing: run "npm ci" in ' + __dirname + ' (tools/install-deps.sh does)');
  process.exit(1);
}

const work = fs.mkdtempSync(path.join(os.tmpdir(), 'plotwright-page-'));
let context;
const pages = {};

// The inputs lie in the scratch folder and are named relative to it, so that the page (and the screenshot
// made of it) shows the same file names on every run.
function makePage(name, inputs) {
  const out = path.join(work, name + '.html');
  execFileSync(viewBin, ['-o', out, ...inputs.map((p) => path.relative(work, p))], { cwd: work, stdio: ['ignore', 'inherit', 'inherit'] });
  return out;
}

// Plot data of the example recording, converted by the built plotwright.
function convertExample() {
  const conf = path.join(work, 'example.conf');
  const ex = (f) => path.join(srcDir, 'examples', f);
  fs.writeFileSync(conf, JSON.stringify({
    eventDatabase: ex('sched-events.json'), inputPerfFile: ex('sched.data'), inputChannelFile: ex('sched-channels.json'),
    whitespace: true, log: { default: 'WARN', adapter: { type: 'file', baseName: path.join(work, 'plotwright.log') } },
  }));
  const out = path.join(work, 'sched-plot.json');
  execFileSync(plotBin, ['-c', conf, '-o', out], { stdio: ['ignore', 'ignore', 'inherit'] });
  return out;
}

// Two documents: the first with dictionaries that reach the names through a chain of "extends", a state
// series, a state series with sub-rows and magnitudes, and a number series drawn as a line, with their own
// time origins; the second without dictionaries, so the same value there stays a number.
function writeCrafted() {
  const columns = (map) => ({ type: 'map', extends: { scope: 'plotwright', dictionary: 'statePlotColumns' }, map: map });
  const first = [
    {
      label: 'Task on core', columnDictionary: columns({ next_pid: { column: 1, description: 'next_pid', dataDictionary: { scope: 'plotwright', dictionary: 'common_pid' } } }),
      group: 'Cores', endState: 0, info: { description: 'Which task runs' }, time: 100, type: 'state',
      data: [[0, 0], [1, 101], [3, 102], [6, 0]],
    },
    {
      label: 'Locks </script><b>held</b>', columnDictionary: columns({
        state: { column: 1 }, inner_pivot: { column: 2, dataDictionary: { dictionary: 'common_tid' } }, magnitude: { column: 3 },
      }),
      group: 'Cores', endState: 0, info: {}, time: 100.5, type: 'state-key-value',
      data: [[0.5, 7, 101, 2.5], [1.5, 8, 102, 4], [2, 9, 101, 1]],
    },
    { label: 'Queue depth', columnDictionary: { type: 'map', map: { depth: { column: 1 } } }, group: 'Numbers', info: {}, hints: { style: 'line' }, time: 100, type: 'long', data: [[0, 3], [5, 9], [10, 1]] },
    {
      type: 'dictionaries', scope: 'plotwright', dictionaries: {
        statePlotColumns: { type: 'map', map: { state: { label: 'State' }, inner_pivot: { label: 'Subplot' }, magnitude: { label: 'Y-Axis' } } },
      },
    },
    { type: 'dictionaries', dictionaries: { common_tid: { type: 'map', map: { 101: { label: 'alpha' }, 102: { pid: 101, label: 'beta' } } }, common_pid: { type: 'map', extends: { dictionary: 'common_tid' }, map: {} } } },
    {
      type: 'dictionaries', scope: 'plotwright', dictionaries: {
        common_tid: { type: 'map', extends: { dictionary: 'common_tid' }, map: {} },
        common_pid: { type: 'map', extends: { scope: 'plotwright', dictionary: 'common_tid' }, map: {} },
      },
    },
  ];
  const second = [{
    label: 'Other run', columnDictionary: { type: 'map', map: { next_pid: { column: 1, dataDictionary: { scope: 'plotwright', dictionary: 'common_pid' } } } },
    group: 'Cores', time: 100, type: 'state', data: [[0, 101], [2, 102]],
  }];
  const a = path.join(work, 'crafted.json'), b = path.join(work, 'second.json');
  fs.writeFileSync(a, JSON.stringify(first, null, 1));
  fs.writeFileSync(b, JSON.stringify(second));
  return [a, b];
}

// Opens a page and records what must never happen: console errors, page errors, requests to anything
// but the page's own file.
async function open(file, viewport) {
  const page = await context.newPage();
  if (viewport) await page.setViewportSize(viewport);
  const trouble = [];
  page.on('console', (m) => { if (m.type() === 'error' || m.type() === 'warning') trouble.push('console ' + m.type() + ': ' + m.text()); });
  page.on('pageerror', (e) => trouble.push('page error: ' + e.message));
  page.on('request', (r) => { if (r.url() !== 'file://' + file) trouble.push('request: ' + r.url()); });
  const began = Date.now();
  await page.goto('file://' + file);
  await page.waitForFunction(() => document.documentElement.dataset.firstDrawMs, null, { timeout: 180000 });
  const wallMs = Date.now() - began;
  return { page, trouble, wallMs };
}

const viewRange = (page) => page.$eval('#plot', (p) => [Number(p.dataset.viewStart), Number(p.dataset.viewEnd)]);
const drawCount = (page) => page.$eval('#plot', (p) => Number(p.dataset.drawCount));
async function redrawn(page, before) {
  await page.waitForFunction((n) => Number(document.getElementById('plot').dataset.drawCount) > n, before);
}

// Moves the mouse over the lane element at the given time and returns the tooltip's text.
async function hover(page, lane, time) {
  const [start, end] = await viewRange(page);
  const plot = await page.$eval('#plot', (p) => { const r = p.getBoundingClientRect(); return { left: r.left, width: r.width }; });
  const box = await lane.boundingBox();
  await page.mouse.move(plot.left + (time - start) / (end - start) * plot.width, box.y + box.height / 2);
  await page.waitForSelector('#tooltip:not([hidden])');
  return page.$eval('#tooltip', (t) => t.innerText);
}

before(async () => {
  assert.ok(fs.existsSync(viewBin), 'no plotwright-view at ' + viewBin);
  pages.example = makePage('example', [convertExample()]);
  pages.crafted = makePage('crafted', writeCrafted());
  context = await chromium.launchPersistentContext(path.join(work, 'profile'), {
    executablePath: CHROMIUM, headless: true, offline: true, viewport: { width: 1400, height: 900 },
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
  });
});

after(async () => {
  if (context) await context.close();
  fs.rmSync(work, { recursive: true, force: true });
});

test('example page: one row per series under its group, foldable, and the screenshot', async () => {
  const { page, trouble } = await open(pages.example, { width: 1400, height: 1500 });
  const doc = JSON.parse(fs.readFileSync(path.join(work, 'sched-plot.json'), 'utf8')).filter((o) => o.type !== 'dictionaries');
  const rows = await page.$$eval('.row', (rs) => rs.map((r) => ({ index: Number(r.dataset.seriesIndex), label: r.dataset.label, group: r.closest('.group').dataset.group })));
  assert.equal(rows.length, doc.length);
  for (const row of rows) {
    assert.equal(row.label, doc[row.index].label);
    assert.equal(row.group, doc[row.index].group);
  }
  assert.deepEqual(rows.map((r) => r.index).sort((a, b) => a - b), doc.map((_, i) => i));
  assert.deepEqual(await page.$$eval('.group-heading .name', (h) => h.map((x) => x.textContent)), ['Scheduler per CPU', 'Scheduler per task', 'Wakeups']);

  // The CPU state rows name the task through the process dictionary.
  const cpu0 = doc.findIndex((o) => o.type === 'state' && o.label === 'CPU 0');
  const point = doc[cpu0].data.findIndex((p, i) => p[1] === 2661 && doc[cpu0].data[i + 1]);
  const [t, next] = [doc[cpu0].data[point][0], doc[cpu0].data[point + 1][0]];
  const tip = await hover(page, await page.$(`.row[data-series-index="${cpu0}"] .lane`), (t + next) / 2);
  assert.match(tip, /CPU 0/);
  assert.match(tip, /sh \(2661\)/);

  // Wait and wake sub-rows, and a number row with its range.
  const wait = await page.$$eval('.row.state .lane.sub', (l) => l.length);
  assert.ok(wait > 3, 'sub-rows of the wait and wake plot: ' + wait);

  const heading = await page.$('.group[data-group="Wakeups"] .group-heading');
  await heading.click();
  assert.equal(await page.isVisible('.group[data-group="Wakeups"] .row'), false);
  await heading.click();
  assert.equal(await page.isVisible('.group[data-group="Wakeups"] .row'), true);

  await page.mouse.move(5, 5);
  const before = await drawCount(page);
  await page.evaluate(() => document.getElementById('zoom-reset').click());
  await redrawn(page, before).catch(() => {});
  await page.waitForTimeout(200);
  fs.mkdirSync(path.join(srcDir, 'docs'), { recursive: true });
  await page.screenshot({ path: path.join(srcDir, 'docs', 'viewer.png') });
  assert.deepEqual(trouble, []);
  await page.close();
});

test('crafted documents: dictionary names through extends, sub-rows, magnitudes, numbers, escaping', async () => {
  const { page, trouble } = await open(pages.crafted);
  const rows = await page.$$eval('.row', (rs) => rs.map((r) => [r.dataset.seriesIndex, r.dataset.label]));
  assert.deepEqual(rows.sort(), [['0', 'Task on core'], ['1', 'Locks </script><b>held</b>'], ['2', 'Queue depth'], ['3', 'Other run']]);
  assert.equal(await page.$$eval('b', (b) => b.length), 0);

  const task = await page.$('.row[data-series-index="0"] .lane');
  let tip = await hover(page, task, 2);
  assert.match(tip, /Task on core/);
  assert.match(tip, /next_pid: alpha \(101\)/);
  assert.match(tip, /span: 2 s/);
  tip = await hover(page, task, 4.5);
  assert.match(tip, /beta \(102\)/);
  assert.match(tip, /span: 3 s/);
  // The last span lasts to the end of the document's data (10 s, the number series' last point).
  tip = await hover(page, task, 8);
  assert.match(tip, /span: 4 s/);

  // The sub-rows are named through the inner pivot's dictionary; the second series' origin is 0.5 s later.
  assert.deepEqual(await page.$$eval('.row[data-series-index="1"] .lane.sub .lane-label', (l) => l.map((x) => x.textContent)), ['alpha (101)', 'beta (102)']);
  tip = await hover(page, await page.$('.row[data-series-index="1"] .lane.sub[data-key="102"]'), 5);
  assert.match(tip, /State: 8/);
  assert.match(tip, /Y-Axis: 4/);
  assert.match(tip, /span: 8 s \(2 s to 10 s\)/);

  // The number row shows its own minimum and maximum, and the line's value.
  assert.deepEqual(await page.$$eval('.row[data-series-index="2"] .range span', (s) => s.map((x) => x.textContent)), ['9', '1']);
  tip = await hover(page, await page.$('.row[data-series-index="2"] .lane'), 6);
  assert.match(tip, /depth: 9/);

  // Dictionaries belong to their document: the second document has none, so 101 stays a number.
  tip = await hover(page, await page.$('.row[data-series-index="3"] .lane'), 1);
  assert.match(tip, /next_pid: 101\n/);
  assert.match(await page.$eval('#origin', (o) => o.textContent), /100\.000000 s/);
  assert.deepEqual(trouble, []);
  await page.close();
});

test('zoom and pan by wheel, keys, buttons and drags change the visible range; the filter hides rows', async () => {
  const { page, trouble } = await open(pages.example);
  const [start, end] = await viewRange(page);
  const plot = await page.$eval('#plot', (p) => { const r = p.getBoundingClientRect(); return { x: r.left, y: r.top, w: r.width }; });
  const act = async (what) => {
    const n = await drawCount(page);
    await what();
    await redrawn(page, n);
    return viewRange(page);
  };
  const width = ([a, b]) => b - a;

  await page.mouse.move(plot.x + plot.w / 4, plot.y + 60);
  let r = await act(() => page.mouse.wheel(0, -400));
  assert.ok(width(r) < (end - start) * 0.7, 'wheel zooms in: ' + r);
  assert.ok(r[0] >= start && r[1] <= end);
  r = await act(() => page.keyboard.press('w'));
  const zoomed = r;
  r = await act(() => page.keyboard.press('d'));
  assert.ok(r[0] > zoomed[0] && Math.abs(width(r) - width(zoomed)) < 1e-9, 'D pans right');
  r = await act(() => page.keyboard.press('a'));
  assert.ok(Math.abs(r[0] - zoomed[0]) < 1e-9, 'A pans back');
  r = await act(() => page.keyboard.press('s'));
  assert.ok(width(r) > width(zoomed), 'S zooms out');

  // Dragging pans by the distance moved; a shift-drag zooms to the range it covers.
  const before = r;
  r = await act(async () => {
    await page.mouse.move(plot.x + 600, plot.y + 60);
    await page.mouse.down();
    await page.mouse.move(plot.x + 400, plot.y + 60, { steps: 4 });
    await page.mouse.up();
  });
  assert.ok(Math.abs((r[0] - before[0]) - 200 / plot.w * width(before)) < width(before) * 1e-3, 'drag pans: ' + r + ' from ' + before);
  r = await act(() => page.click('#zoom-reset'));
  assert.deepEqual(r, [start, end]);
  r = await act(async () => {
    await page.keyboard.down('Shift');
    await page.mouse.move(plot.x + plot.w * 0.25, plot.y + 60);
    await page.mouse.down();
    await page.mouse.move(plot.x + plot.w * 0.5, plot.y + 60, { steps: 4 });
    await page.mouse.up();
    await page.keyboard.up('Shift');
  });
  assert.ok(Math.abs(r[0] - (start + (end - start) * 0.25)) < (end - start) * 1e-2 && Math.abs(width(r) - (end - start) / 4) < (end - start) * 1e-2, 'range zoom: ' + r);
  r = await act(() => page.click('#zoom-out'));
  assert.ok(Math.abs(width(r) - (end - start) / 2) < (end - start) * 1e-2);
  r = await act(() => page.click('#zoom-in'));
  assert.ok(Math.abs(width(r) - (end - start) / 4) < (end - start) * 1e-2);

  await page.fill('#filter', 'sleep');
  const visible = await page.$$eval('.row', (rs) => rs.filter((r) => r.offsetParent !== null).map((r) => r.dataset.label));
  assert.ok(visible.length >= 1 && visible.every((l) => l.includes('sleep')), 'filtered rows: ' + visible);
  assert.equal(await page.isVisible('.group[data-group="Wakeups"]'), false);
  await page.fill('#filter', '');
  assert.equal(await page.$$eval('.row', (rs) => rs.filter((r) => r.offsetParent === null).length), 0);
  assert.deepEqual(trouble, []);
  await page.close();
});

test('large document: time to first drawing and to redraw after zoom and pan', async () => {
  const json = path.join(work, 'large.json');
  execFileSync(process.execPath, [path.join(srcDir, 'tools', 'make-large-plot.js'), json], { stdio: 'inherit' });
  const file = makePage('large', [json]);
  const { page, trouble, wallMs } = await open(file);
  const first = await page.evaluate(() => Number(document.documentElement.dataset.firstDrawMs));
  const draws = [];
  const plot = await page.$eval('#plot', (p) => { const r = p.getBoundingClientRect(); return { x: r.left, y: r.top, w: r.width }; });
  await page.mouse.move(plot.x + plot.w / 2, plot.y + 100);
  for (const key of ['w', 'w', 'd', 's', 'a', 's']) {
    const n = await drawCount(page);
    await page.keyboard.press(key);
    await redrawn(page, n);
    draws.push(await page.$eval('#plot', (p) => Number(p.dataset.drawMs)));
  }
  const mb = (fs.statSync(file).size / 1048576).toFixed(1);
  console.log(`large document (${mb} MB page): first drawing ${first.toFixed(0)} ms after navigation start, ` +
    `${wallMs} ms from opening; redraws after zoom and pan: ${draws.map((d) => d.toFixed(1)).join(', ')} ms ` +
    `(load average ${os.loadavg()[0].toFixed(1)})`);
  assert.ok(await page.$$eval('.row', (r) => r.length) > 600);
  assert.deepEqual(trouble, []);
  await page.close();
});
