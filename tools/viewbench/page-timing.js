#!/usr/bin/env node
// Opens a page written by plotwright-view in headless Chromium (as the browser tests start it) and reports, as
// JSON on standard output: the time to the first drawing (from navigation start, and from opening), and the
// drawing time of every redraw after a sequence of zooms and pans from the whole range down to about a
// millionth of it, waiting for data that lies beside the page; then the time to show the last rows (scrolled to
// the end, whose data a large page keeps in its data folder).
// Usage: node page-timing.js PAGE [viewport width] [viewport height]
'use strict';
const path = require('node:path');
const { chromium } = require(path.join(__dirname, '..', '..', 'tests', 'viewer', 'browser', 'node_modules', 'playwright-core'));

(async () => {
  const [file, width, height] = process.argv.slice(2);
  const browser = await chromium.launch({
    executablePath: process.env.PLOTWRIGHT_CHROMIUM || '/usr/bin/chromium', headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking'],
  });
  const page = await browser.newPage({ viewport: { width: Number(width || 1400), height: Number(height || 900) } });
  const trouble = [];
  page.on('pageerror', (e) => trouble.push(e.message));
  page.on('console', (m) => { if (m.type() === 'error') trouble.push(m.text()); });
  const began = Date.now();
  await page.goto('file://' + path.resolve(file), { timeout: 600000 });
  await page.waitForFunction(() => document.documentElement.dataset.firstDrawMs, null, { timeout: 600000, polling: 20 });
  const wall = Date.now() - began;
  const first = await page.evaluate(() => Number(document.documentElement.dataset.firstDrawMs));
  const count = () => page.$eval('#plot', (p) => Number(p.dataset.drawCount));
  const settle = async () => {
    await page.waitForFunction(() => document.getElementById('plot').dataset.waiting === '0', null, { timeout: 600000, polling: 20 });
    await page.waitForTimeout(30);
  };
  await settle();
  const box = await page.$eval('#plot', (p) => { const r = p.getBoundingClientRect(); return { x: r.left, y: r.top, w: r.width }; });
  await page.mouse.move(box.x + box.w * 0.37, box.y + 40);
  const keys = [];
  for (let i = 0; i < 24; i++) keys.push('w', 'w', 'd');
  for (let i = 0; i < 10; i++) keys.push('s', 'a', 's', 's');
  const draws = [];
  const loadWaits = [];
  for (const key of keys) {
    const n = await count();
    const t = Date.now();
    await page.keyboard.press(key);
    await page.waitForFunction((k) => Number(document.getElementById('plot').dataset.drawCount) > k, n, { polling: 5 });
    draws.push(await page.$eval('#plot', (p) => Number(p.dataset.drawMs)));
    const waiting = await page.$eval('#plot', (p) => Number(p.dataset.waiting));
    if (waiting > 0) {
      await settle();
      loadWaits.push(Date.now() - t);
      draws.push(await page.$eval('#plot', (p) => Number(p.dataset.drawMs)));
    }
  }
  const n = await count();
  const scrolled = Date.now();
  await page.evaluate(() => { const s = document.getElementById('scroller'); s.scrollTop = s.scrollHeight; });
  await page.waitForFunction((k) => Number(document.getElementById('plot').dataset.drawCount) > k, n, { polling: 5 });
  await settle();
  const lastRowsMs = Date.now() - scrolled;
  const sorted = draws.slice().sort((a, b) => a - b);
  const [start, end] = await page.$eval('#plot', (p) => [Number(p.dataset.viewStart), Number(p.dataset.viewEnd)]);
  console.log(JSON.stringify({
    firstDrawMs: first, openMs: wall, redraws: draws.length, redrawMedianMs: sorted[sorted.length >> 1],
    redrawMaxMs: sorted[sorted.length - 1], loadWaitsMs: loadWaits, finalViewSeconds: end - start, lastRowsMs: lastRowsMs,
    chunksLoaded: await page.evaluate(() => document.querySelectorAll('script[src]').length), trouble: trouble,
  }));
  await browser.close();
})().catch((e) => { console.error(e); process.exit(1); });
