// Opens pages written by plotwright-view in headless Chromium and uses them as a person would: rows and
// labels, tooltips with dictionary names, zoom and pan, the row filter, the numbers of a selected range, short
// events seen in the pixels; every page must load without a console error and without a single request beyond
// its own file and its data folder; a recording given straight to plotwright-view shows the recipes' named rows.
// Reports the time the large generated document takes to its first drawing. With PLOTWRIGHT_DOCS=1 it also
// writes the README's screenshots, docs/viewer.png (the example page) and docs/recipe-sched.png (a recording).
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
function makePage(name, inputs, options) {
  const out = path.join(work, name + '.html');
  execFileSync(viewBin, [...(options || []), '-o', out, ...inputs.map((p) => path.relative(work, p))], { cwd: work, stdio: ['ignore', 'inherit', 'inherit'] });
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
    { label: 'sleep', pivot: { common_tid: 'BIG1' }, group: 'Numbers', info: { 'Trace Field': 'prev_state' }, time: 100, type: 'long', data: [[1, 'BIG1']] },
    { label: 'sleep', pivot: { common_tid: 'BIG2' }, group: 'Numbers', info: { 'Trace Field': 'prev_state' }, time: 100, type: 'long', data: [[2, 1]] },
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
  // 64-bit integers, which JSON.stringify cannot write exactly.
  fs.writeFileSync(a, JSON.stringify(first, null, 1).replace(/"BIG1"/g, '18446744073709551615').replace(/"BIG2"/g, '18446744073709551614'));
  fs.writeFileSync(b, JSON.stringify(second));
  return [a, b];
}

// Opens a page and records what must never happen: console errors, page errors, requests to anything
// but the page's own file.
async function open(file, viewport) {
  const page = await context.newPage();
  if (viewport) await page.setViewportSize(viewport);
  const trouble = [];
  // (The tests' own reading of the canvas draws a warning about readbacks: not the page's.)
  page.on('console', (m) => { if ((m.type() === 'error' || m.type() === 'warning') && !/willReadFrequently/.test(m.text())) trouble.push('console ' + m.type() + ': ' + m.text()); });
  page.on('pageerror', (e) => trouble.push('page error: ' + e.message));
  const folder = 'file://' + file.replace(/\.[^./]*$/, '') + '_files/';
  page.on('request', (r) => { if (r.url() !== 'file://' + file && !r.url().startsWith(folder)) trouble.push('request: ' + r.url()); });
  const began = Date.now();
  await page.goto('file://' + file);
  await page.waitForFunction(() => document.documentElement.dataset.firstDrawMs, null, { timeout: 180000 });
  const wallMs = Date.now() - began;
  return { page, trouble, wallMs };
}

const viewRange = (page) => page.$eval('#plot', (p) => [Number(p.dataset.viewStart), Number(p.dataset.viewEnd)]);
const drawCount = (page) => page.$eval('#plot', (p) => Number(p.dataset.drawCount));
// The README's screenshots, when asked for.
async function screenshot(page, name) {
  if (process.env.PLOTWRIGHT_DOCS !== '1') return;
  fs.mkdirSync(path.join(srcDir, 'docs'), { recursive: true });
  await page.screenshot({ path: path.join(srcDir, 'docs', name) });
}

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

// A row of 1 us spans (state 33; 0, the end state, between them) every second over 100 s; a row of bursts
// of 50 such spans of two alternating states (44, 45) in the middle of every second, 10,000 points, drawn
// from its overview at full view; a number row.
function writeShortEvents() {
  const irq = [], burst = [], load = [];
  for (let k = 0; k < 100; k++) {
    irq.push([k, 33], [k + 1e-6, 0]);
    for (let j = 0; j < 50; j++) burst.push([k + 0.5 + j * 2e-6, 44 + (j % 2)], [k + 0.5 + j * 2e-6 + 1e-6, 0]);
    load.push([k, k % 7], [k + 0.5, 10 + (k % 3)]);
  }
  const doc = [
    { label: 'IRQ', group: 'Short', endState: 0, time: 5, type: 'state', data: irq },
    { label: 'Bursts', group: 'Short', endState: 0, time: 5, type: 'state', data: burst },
    { label: 'Load', group: 'Short', time: 5, type: 'long', data: load },
  ];
  const file = path.join(work, 'short.json');
  fs.writeFileSync(file, JSON.stringify(doc));
  return { file: file, doc: doc };
}

before(async () => {
  assert.ok(fs.existsSync(viewBin), 'no plotwright-view at ' + viewBin);
  pages.example = makePage('example', [convertExample()]);
  fs.copyFileSync(path.join(srcDir, 'tests', 'data', 'recordings', 'subsystems', 'sched.data'), path.join(work, 'sched.data'));
  pages.recording = makePage('recording', [path.join(work, 'sched.data')]);
  pages.crafted = makePage('crafted', writeCrafted());
  pages.short = writeShortEvents();
  pages.short.page = makePage('short', [pages.short.file]);
  // The same page with all its data in script files beside it.
  pages.short.beside = makePage('short-beside', [pages.short.file], ['-m', '0']);
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

test('example page: one row per series under its group, labels that tell rows apart, and the screenshot', async () => {
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

  // Pivoted rows say what they plot; threads of one name get their thread id.
  const labels = await page.$$eval('.row > .lane:first-child .lane-label', (ls) => ls.map((l) => l.innerText.replace(/\s+/g, ' ').trim()));
  assert.ok(labels.some((l) => l.startsWith('CPU 0 next_prio')), labels.join(' | '));
  assert.ok(labels.some((l) => l.startsWith('CPU 0 next_pid')), labels.join(' | '));
  const sleeps = labels.filter((l) => l.startsWith('sleep'));
  assert.ok(sleeps.length >= 2 && sleeps.every((l) => /^sleep \d+ prev_state/.test(l)) && new Set(sleeps).size === sleeps.length, sleeps.join(' | '));

  // The CPU state rows name the task through the process dictionary.
  const cpu0 = doc.findIndex((o) => o.type === 'state' && o.label === 'CPU 0');
  const point = doc[cpu0].data.findIndex((p, i) => p[1] === 2661 && doc[cpu0].data[i + 1]);
  const [t, next] = [doc[cpu0].data[point][0], doc[cpu0].data[point + 1][0]];
  const tip = await hover(page, await page.$(`.row[data-series-index="${cpu0}"] .lane`), (t + next) / 2);
  assert.match(tip, /CPU 0/);
  assert.match(tip, /sh \(2661\)/);

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
  await screenshot(page, 'viewer.png');
  assert.deepEqual(trouble, []);
  await page.close();
});

test('a recording with the recipes: tasks per CPU, thread states by name, wakeups', async () => {
  const { page, trouble } = await open(pages.recording);
  const groups = await page.$$eval('.group', (gs) => gs.map((g) => g.dataset.group));
  assert.deepEqual(groups, ['Scheduler', 'Threads', 'Wakeups']);
  const labels = await page.$$eval('.group[data-group="Threads"] .row', (rs) => rs.map((r) => r.textContent));
  assert.ok(labels.includes('sched-messaging 20995 state'), labels.join(', '));
  const legend = await page.$eval('#legend', (l) => l.textContent);
  for (const name of ['Running (512)', 'Runnable (0)', 'Sleeping (1)', 'idle task (0)']) assert.ok(legend.includes(name), legend);
  await screenshot(page, 'recipe-sched.png');
  assert.deepEqual(trouble, []);
  await page.close();
});

test('crafted documents: names through extends, sub-rows, magnitudes, numbers, 64-bit keys, escaping, alignment', async () => {
  const { page, trouble } = await open(pages.crafted);
  const rows = await page.$$eval('.row', (rs) => rs.map((r) => [r.dataset.seriesIndex, r.dataset.label]));
  assert.deepEqual(rows.sort(), [['0', 'Task on core'], ['1', 'Locks </script><b>held</b>'], ['2', 'Queue depth'], ['3', 'sleep'], ['4', 'sleep'], ['5', 'Other run']]);
  assert.equal(await page.$$eval('b', (b) => b.length), 0);
  // Two rows named alike get their pivot keys, exactly; so does the value shown as the maximum.
  assert.deepEqual(await page.$$eval('.row[data-label="sleep"] .name', (l) => l.map((x) => x.firstChild.textContent)), ['sleep 18446744073709551615', 'sleep 18446744073709551614']);
  assert.equal(await page.$eval('.row[data-series-index="3"] .range .max', (x) => x.textContent), '18446744073709551615');

  const task = await page.$('.row[data-series-index="0"] .lane');
  let tip = await hover(page, task, 2);
  assert.match(tip, /Task on core/);
  assert.match(tip, /next_pid: alpha \(101\)/);
  assert.match(tip, /span: 2 s/);
  tip = await hover(page, task, 4.5);
  assert.match(tip, /beta \(102\)/);
  assert.match(tip, /span: 3 s/);
  // From 6 s on the task is the end state: nothing.
  tip = await hover(page, task, 8);
  assert.match(tip, /nothing \(end state 0\)/);

  // The sub-rows are named through the inner pivot's dictionary; the second series' origin is 0.5 s later.
  assert.deepEqual(await page.$$eval('.row[data-series-index="1"] .lane.sub .lane-label', (l) => l.map((x) => x.textContent)), ['alpha (101)', 'beta (102)']);
  tip = await hover(page, await page.$('.row[data-series-index="1"] .lane.sub[data-key="102"]'), 5);
  assert.match(tip, /State: 8/);
  assert.match(tip, /Y-Axis: 4/);
  assert.match(tip, /span: 8 s \(2 s to 10 s\)/);

  assert.deepEqual(await page.$$eval('.row[data-series-index="2"] .range span', (s) => s.map((x) => x.textContent)), ['9', '1']);
  tip = await hover(page, await page.$('.row[data-series-index="2"] .lane'), 6);
  assert.match(tip, /depth: 9/);

  // Dictionaries belong to their document: the second document has none, so 101 stays a number.
  tip = await hover(page, await page.$('.row[data-series-index="5"] .lane'), 1);
  assert.match(tip, /next_pid: 101\n/);
  assert.match(await page.$eval('#origin', (o) => o.textContent), /100\.000000 s/);

  // Aligned, each document starts at its own first sample: the second one's starts at 0.
  assert.equal(await page.isVisible('#align'), true);
  const n = await drawCount(page);
  await page.check('#align');
  await redrawn(page, n);
  tip = await hover(page, await page.$('.row[data-series-index="5"] .lane'), 0.5);
  assert.match(tip, /span: 2 s \(0 s to 2 s\)/);
  assert.deepEqual(trouble, []);
  await page.close();
});

// The lane's row of canvas pixels at its middle: [r, g, b, a] per column, and the view.
async function lanePixels(page, seriesIndex, y) {
  return page.evaluate(([index, dy]) => {
    const lane = document.querySelector(`.row[data-series-index="${index}"] .lane`);
    const plot = document.getElementById('plot');
    const top = lane.getBoundingClientRect().top - plot.getBoundingClientRect().top;
    const row = Math.round((top + (dy === null ? lane.offsetHeight / 2 : dy)) * window.devicePixelRatio);
    const data = plot.getContext('2d').getImageData(0, row, plot.width, 1).data;
    return { data: Array.from(data), width: plot.width, start: Number(plot.dataset.viewStart), end: Number(plot.dataset.viewEnd) };
  }, [seriesIndex, y]);
}

test('short events never vanish: every 1 us span colours its column at full view, the gaps stay empty', async () => {
  for (const file of [pages.short.page, pages.short.beside]) {
    const { page, trouble } = await open(file, { width: 1400, height: 600 });
    await page.waitForFunction(() => document.getElementById('plot').dataset.waiting === '0');
    await page.evaluate(() => document.getElementById('zoom-reset').click());
    await page.waitForTimeout(100);
    for (const [index, offset] of [[0, 0], [1, 0.5]]) {
      const px = await lanePixels(page, index, null);
      const column = (t) => Math.floor((t + 5 - 5 - px.start) / (px.end - px.start) * px.width);
      const coloured = (x) => px.data[x * 4 + 3] === 255;
      const spans = new Set();
      for (let k = 0; k < 100; k++) {
        const x = column(k + offset);
        spans.add(x);
        assert.ok(coloured(x) || coloured(x + 1), `${file}: row ${index}, span at ${k + offset} s: column ${x} is not coloured`);
      }
      let gaps = 0;
      for (let x = 0; x < px.width; x++) {
        if (spans.has(x) || spans.has(x - 1) || spans.has(x + 1)) continue;
        gaps++;
        assert.ok(!coloured(x), `${file}: row ${index}: column ${x} (an end-state gap) is coloured`);
      }
      assert.ok(gaps > px.width / 2, 'gaps checked: ' + gaps);
    }
    // A burst holds two states: its column carries the mark at the top of the row.
    const top = await lanePixels(page, 1, 2);
    const x = Math.floor((50.5 - top.start) / (top.end - top.start) * top.width);
    const mark = [x, x + 1].map((c) => top.data.slice(c * 4, c * 4 + 3).join(','));
    assert.ok(mark.includes('29,36,48'), 'no mark in the burst column: ' + mark);
    assert.deepEqual(trouble, []);
    await page.close();
  }
});

test('a selected range shows the time in each state and the numbers of number rows, as the document has them', async () => {
  const { page, trouble } = await open(pages.short.page, { width: 1400, height: 600 });
  const plot = await page.$eval('#plot', (p) => { const r = p.getBoundingClientRect(); return { x: r.left, y: r.top, w: r.width }; });
  await page.keyboard.down('Shift');
  await page.mouse.move(plot.x + plot.w * 0.205, plot.y + 40);
  await page.mouse.down();
  await page.mouse.move(plot.x + plot.w * 0.6, plot.y + 40, { steps: 5 });
  await page.mouse.up();
  await page.keyboard.up('Shift');
  await page.waitForSelector('#stats[data-ready="yes"]');
  const [a, b] = await page.$eval('#stats', (s) => [Number(s.dataset.start), Number(s.dataset.end)]);
  const { doc } = pages.short;
  // The document's own answer: time of each state within [a, b] (axis time 0 is the series' origin).
  const expected = (data) => {
    const time = new Map();
    for (let i = 0; i < data.length; i++) {
      const end = i + 1 < data.length ? data[i + 1][0] : 99.500099;
      const overlap = Math.min(end, b) - Math.max(data[i][0], a);
      if (overlap > 0) time.set(String(data[i][1]), (time.get(String(data[i][1])) || 0) + overlap);
    }
    return time;
  };
  for (const [index, states] of [[0, ['33', '0']], [1, ['44', '45', '0']]]) {
    const shown = await page.$$eval(`#stats tr[data-lane="${index}"] .st`, (s) => s.map((x) => [x.dataset.state, Number(x.dataset.seconds), x.textContent]));
    const want = expected(doc[index].data);
    assert.deepEqual(shown.map((x) => x[0]).sort(), states.slice().sort());
    for (const [state, seconds, text] of shown) {
      assert.ok(Math.abs(seconds - want.get(state)) < 1e-9, `state ${state}: ${seconds} s shown, ${want.get(state)} s in the document`);
      if (state === '0') assert.match(text, /^nothing/);
    }
  }
  const load = doc[2].data.filter((p) => p[0] >= a && p[0] <= b).map((p) => p[1]);
  const numbers = await page.$eval('#stats tr[data-lane="2"] td', (td) => td.textContent);
  assert.match(numbers, new RegExp(`^${load.length} points · min ${Math.min(...load)} · max ${Math.max(...load)} · mean `));
  await page.click('#stats-close');
  assert.equal(await page.isVisible('#stats'), false);
  assert.deepEqual(trouble, []);
  await page.close();
});

test('zoom and pan by wheel, keys, buttons and drags change the visible range; the filter hides rows', async () => {
  const { page, trouble } = await open(pages.example);
  const [start, end] = await viewRange(page);
  const plot = await page.$eval('#plot', (p) => { const r = p.getBoundingClientRect(); return { x: r.left, y: r.top, w: r.width }; });
  const axisBox = await page.$eval('#axis', (p) => { const r = p.getBoundingClientRect(); return { y: r.top + r.height / 2 }; });
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

  // Dragging pans by the distance moved; a drag on the axis zooms to the range it covers.
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
    await page.mouse.move(plot.x + plot.w * 0.25, axisBox.y);
    await page.mouse.down();
    await page.mouse.move(plot.x + plot.w * 0.5, axisBox.y, { steps: 4 });
    await page.mouse.up();
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
  console.log(`large document (${mb} MB page, ${(fs.statSync(json).size / 1048576).toFixed(1)} MB plot data): first drawing ${first.toFixed(0)} ms after navigation start, ` +
    `${wallMs} ms from opening; redraws after zoom and pan: ${draws.map((d) => d.toFixed(1)).join(', ')} ms ` +
    `(load average ${os.loadavg()[0].toFixed(1)})`);
  assert.ok(await page.$$eval('.row', (r) => r.length) > 600);
  assert.deepEqual(trouble, []);
  await page.close();
});
