// Shows generic plot data: one row per series (or per subplot key) under its group, state spans and number
// lines drawn on one canvas, one time axis with zoom and pan, a range's numbers at a glance. The page's data is
// a manifest (JSON) and chunks of binary lane data (base64), in the page or in script files of its data
// folder; it loads nothing else. Every view is drawn in time proportional to its pixels: from a lane's
// overview (per time bucket the states present and their shares, or a number's minimum and maximum) when a
// pixel holds many points, from the points themselves, decoded block by block when needed, when it holds few.
(function () {
  'use strict';

  const MAX_EXTENDS = 32; // dictionary "extends" chains longer than this are treated as cycles
  const LABEL_MIN_SPAN_PX = 44; // state spans at least this wide carry their state name
  const LINE_COLOUR = [38, 92, 186];
  const FILL_COLOUR = [38, 92, 186, 40];
  const GRID_COLOUR = [120, 130, 145, 40];
  const MARK_COLOUR = [29, 36, 48];
  const MARK_PX = 3; // the mark of a column that holds more than one state
  const CACHED_POINTS = 6000000; // decoded points kept for redraws
  const CACHED_CHUNKS = 48; // decoded point chunks kept

  const el = (id) => document.getElementById(id);
  const scroller = el('scroller');
  const rowsBox = el('rows');
  const plot = el('plot');
  const axis = el('axis');
  const tooltip = el('tooltip');
  const selection = el('selection');
  const problems = [];

  // ---- manifest and chunks ---------------------------------------------------------------------------

  function readManifest() {
    const node = el('plot-manifest');
    try {
      const m = JSON.parse(node ? node.textContent : '');
      if (m && Array.isArray(m.documents) && Array.isArray(m.chunks)) return m;
    } catch (e) {
      // reported below
    }
    problems.push('the page holds no readable plot data');
    return { documents: [], chunks: [], sources: [], folder: '', align: false };
  }
  const manifest = readManifest();

  const fromBase64 = typeof Uint8Array.fromBase64 === 'function'
    ? (text) => Uint8Array.fromBase64(text)
    : (text) => {
      const bin = atob(text);
      const out = new Uint8Array(bin.length);
      for (let i = 0; i < bin.length; i++) out[i] = bin.charCodeAt(i);
      return out;
    };

  // Decoded chunks; those of points are dropped again, least recently used first.
  const chunkBytes = new Map();
  const chunkText = new Map(); // external chunks loaded, not yet decoded
  const chunkLoading = new Set();
  const keepChunkLater = new Set(); // chunks of overviews and small lanes: kept once decoded
  let chunkUse = 0;
  let waiting = 0; // external chunks asked for and not yet there
  window.plotwrightChunk = function (id, text) {
    if (!chunkLoading.has(id)) return;
    chunkLoading.delete(id);
    waiting--;
    chunkText.set(id, text);
    onChunkArrived();
  };
  let onChunkArrived = () => {};

  function loadChunk(id) {
    if (chunkLoading.has(id)) return;
    chunkLoading.add(id);
    waiting++;
    const script = document.createElement('script');
    script.src = encodeURI(manifest.folder) + '/c' + id + '.js';
    script.onerror = () => {
      problems.push('the data file ' + manifest.folder + '/c' + id + '.js could not be loaded');
      showProblems();
    };
    document.head.append(script);
  }

  // The bytes of a chunk, or null while it is being loaded from the data folder.
  function chunk(id) {
    let entry = chunkBytes.get(id);
    if (entry) { entry.use = ++chunkUse; return entry.bytes; }
    const info = manifest.chunks[id];
    if (!info) return null;
    let text;
    if (info[0] === 1) {
      const node = el('pw-c' + id);
      text = node ? node.textContent : '';
    } else {
      text = chunkText.get(id);
      if (text === undefined) { loadChunk(id); return null; }
      chunkText.delete(id);
    }
    const bytes = fromBase64(text);
    chunkBytes.set(id, { bytes: bytes, use: ++chunkUse, keep: keepChunkLater.has(id) });
    if (chunkBytes.size > CACHED_CHUNKS) {
      let oldest = null;
      for (const [k, e] of chunkBytes) if (!e.keep && k !== id && (!oldest || e.use < oldest[1].use)) oldest = [k, e];
      if (oldest) chunkBytes.delete(oldest[0]);
    }
    return bytes;
  }

  // ---- decoding -------------------------------------------------------------------------------------

  // A reader of LEB128 varints over bytes; numbers up to 2^53 are exact.
  function Reader(bytes, pos) { this.b = bytes; this.p = pos; }
  Reader.prototype.u = function () {
    const b = this.b;
    let x = b[this.p++];
    if (x < 128) return x;
    x &= 127;
    let mul = 128, c;
    do { c = b[this.p++]; x += (c & 127) * mul; mul *= 128; } while (c >= 128);
    return x;
  };
  Reader.prototype.s = function () { const u = this.u(); return u % 2 === 0 ? u / 2 : -(u + 1) / 2; };

  function readColumn(r, mode, n, table) {
    if (mode === 0) {
      const out = new Uint32Array(n);
      for (let i = 0; i < n; i++) out[i] = r.u();
      return out;
    }
    const out = new Float64Array(n);
    if (mode === 1) {
      let v = 0;
      for (let i = 0; i < n; i++) { v += r.s(); out[i] = v; }
    } else {
      const view = new DataView(r.b.buffer, r.b.byteOffset);
      for (let i = 0; i < n; i++) { out[i] = view.getFloat64(r.p, true); r.p += 8; }
    }
    return out;
  }

  // Decoded blocks, by lane and block; least recently used ones go past CACHED_POINTS.
  const blockCache = new Map();
  let cachedPoints = 0, blockUse = 0;
  function block(lane, k) {
    const key = lane.id * 1048576 + k;
    let e = blockCache.get(key);
    if (e) { e.use = ++blockUse; return e; }
    const bl = lane.blocks[k];
    const bytes = chunk(bl.chunk);
    if (!bytes) return null;
    const s = lane.series, n = bl.count;
    const r = new Reader(bytes, bl.offset);
    const t = new Float64Array(n);
    let tick = r.s();
    t[0] = tick;
    for (let i = 1; i < n; i++) { tick += r.u(); t[i] = tick; }
    const v = readColumn(r, s.valueMode, n);
    const m = s.hasMagnitude ? readColumn(r, s.magnitudeMode, n) : null;
    e = { t: t, v: v, m: m, use: ++blockUse, n: n };
    blockCache.set(key, e);
    cachedPoints += n;
    while (cachedPoints > CACHED_POINTS && blockCache.size > 1) {
      let oldest = null;
      for (const [k2, e2] of blockCache) if (k2 !== key && (!oldest || e2.use < oldest[1].use)) oldest = [k2, e2];
      if (!oldest) break;
      blockCache.delete(oldest[0]);
      cachedPoints -= oldest[1].n;
    }
    return e;
  }

  // The index of the block that holds the point at or before tick (0 when none does).
  function blockAt(lane, tick) {
    const bs = lane.blocks;
    let l = 0, h = bs.length;
    while (l < h) { const mid = (l + h) >>> 1; if (bs[mid].first <= tick) l = mid + 1; else h = mid; }
    return Math.max(0, l - 1);
  }

  // Calls visit(t, v, m, i, n, nextTick) for the lane's points from the one at or before `from` to the first after
  // `to`, block by block; nextTick is the next point's tick (the tail's end after the last). False when a
  // block is not loaded yet (its chunk is on its way).
  function eachBlock(lane, from, to, visit) {
    const bs = lane.blocks;
    if (bs.length === 0) return true;
    let complete = true;
    for (let k = blockAt(lane, from); k < bs.length; k++) {
      const b = block(lane, k);
      if (!b) { complete = false; if (bs[k].first > to) break; continue; }
      const next = k + 1 < bs.length ? bs[k + 1].first : lane.endTick;
      visit(b, next, k);
      if (k + 1 < bs.length && bs[k + 1].first > to) break;
    }
    return complete;
  }

  // Overview levels, decoded once when first needed.
  function level(lane, k) {
    const lv = lane.levels[k];
    if (lv.decoded) return lv.decoded;
    const bytes = chunk(lv.chunk);
    if (!bytes) return null;
    const B = lv.buckets;
    let d;
    if (lane.kind === 'state') {
      const r = new Reader(bytes, lv.offset);
      const off = new Uint32Array(B + 1), more = new Uint8Array(B);
      let st = new Uint32Array(Math.max(16, B * 2)), sh = new Uint8Array(st.length), e = 0;
      for (let b = 0; b < B; b++) {
        const h = r.u(), count = h >>> 1;
        more[b] = h & 1;
        off[b] = e;
        if (e + count > st.length) {
          const st2 = new Uint32Array(st.length * 2 + count); st2.set(st); st = st2;
          const sh2 = new Uint8Array(st.length); sh2.set(sh); sh = sh2;
        }
        for (let j = 0; j < count; j++) { st[e] = r.u(); sh[e] = bytes[r.p++]; e++; }
      }
      off[B] = e;
      d = { off: off, st: st, sh: sh, more: more };
    } else {
      const q = new Uint16Array(B * 4);
      const view = new DataView(bytes.buffer, bytes.byteOffset + lv.offset, B * 8);
      for (let i = 0; i < B * 4; i++) q[i] = view.getUint16(i * 2, true);
      d = { q: q };
    }
    lv.decoded = d;
    return d;
  }

  // ---- dictionaries --------------------------------------------------------------------------------

  const isObject = (v) => v !== null && typeof v === 'object' && !Array.isArray(v);
  const dictKey = (scope, name) => (typeof scope === 'string' ? scope : '') + '\n' + name;

  // The dictionaries of one document, by scope and name. Several definitions of one name add up; a key
  // defined twice takes the later entry.
  function collectDictionaries(objects) {
    const dicts = new Map();
    for (const obj of objects) {
      if (!isObject(obj) || obj.type !== 'dictionaries' || !isObject(obj.dictionaries)) continue;
      for (const name of Object.keys(obj.dictionaries)) {
        const def = obj.dictionaries[name];
        if (!isObject(def)) continue;
        const key = dictKey(obj.scope, name);
        let d = dicts.get(key);
        if (!d) dicts.set(key, (d = { maps: [], ext: null }));
        if (isObject(def.map)) d.maps.unshift(def.map);
        if (isObject(def.extends) && typeof def.extends.dictionary === 'string') d.ext = def.extends;
      }
    }
    return dicts;
  }

  // The entry for key in the dictionary named by ref ({scope, dictionary}), following "extends".
  function lookupEntry(dicts, ref, key) {
    if (!isObject(ref) || typeof ref.dictionary !== 'string') return undefined;
    let k = dictKey(ref.scope, ref.dictionary);
    for (let depth = 0; depth < MAX_EXTENDS; depth++) {
      const d = dicts.get(k);
      if (!d) return undefined;
      for (const map of d.maps) {
        if (Object.prototype.hasOwnProperty.call(map, key)) return map[key];
      }
      if (!d.ext) return undefined;
      k = dictKey(d.ext.scope, d.ext.dictionary);
    }
    return undefined;
  }

  function entryLabel(entry) {
    if (typeof entry === 'string') return entry;
    if (isObject(entry)) {
      if (typeof entry.label === 'string' && entry.label !== '') return entry.label;
      if (typeof entry.name === 'string' && entry.name !== '') return entry.name;
    }
    return null;
  }

  // A function from a value's text to its name through a data dictionary (null when it has none); memoised.
  function makeNamer(dicts, ref) {
    if (!isObject(ref)) return null;
    const memo = new Map();
    return (text) => {
      let name = memo.get(text);
      if (name === undefined) {
        name = entryLabel(lookupEntry(dicts, ref, text));
        memo.set(text, name);
      }
      return name;
    };
  }

  // Column number -> { name, label, namer } from a series' "columnDictionary".
  function readColumns(dicts, cd) {
    const columns = new Map();
    if (!isObject(cd) || !isObject(cd.map)) return columns;
    for (const name of Object.keys(cd.map)) {
      const entry = cd.map[name];
      if (!isObject(entry) || typeof entry.column !== 'number') continue;
      const base = isObject(cd.extends) ? lookupEntry(dicts, cd.extends, name) : undefined;
      const label = entryLabel(entry) || entryLabel(base) || name;
      const dataRef = entry.dataDictionary || (isObject(base) ? base.dataDictionary : undefined);
      columns.set(entry.column, { name: name, label: label, namer: makeNamer(dicts, dataRef) });
    }
    return columns;
  }

  // ---- colours -------------------------------------------------------------------------------------

  const colourCache = new Map();
  const littleEndian = new Uint8Array(new Uint32Array([1]).buffer)[0] === 1;
  function packColour(rgba) {
    const a = rgba.length > 3 ? rgba[3] : 255;
    return littleEndian
      ? ((a << 24) | (rgba[2] << 16) | (rgba[1] << 8) | rgba[0]) >>> 0
      : ((rgba[0] << 24) | (rgba[1] << 16) | (rgba[2] << 8) | a) >>> 0;
  }
  function hslToRgb(h, s, l) {
    const k = (n) => (n + h / 30) % 12;
    const a = s * Math.min(l, 1 - l);
    const f = (n) => l - a * Math.max(-1, Math.min(k(n) - 3, 9 - k(n), 1));
    return [Math.round(f(0) * 255), Math.round(f(8) * 255), Math.round(f(4) * 255)];
  }
  // One colour per state as the page names it (its name and value, or its value), the same in every row: the hue
  // walks over a hash of that text, so neighbouring values (consecutive thread ids) look clearly different, and a
  // value that two channels name differently (0: Runnable, or thread 0) gets two colours.
  function stateColour(text) {
    let c = colourCache.get(text);
    if (c) return c;
    let h = 0x811c9dc5;
    for (let i = 0; i < text.length; i++) h = Math.imul(h ^ text.charCodeAt(i), 0x01000193);
    h = Math.imul(h ^ (h >>> 15), 0x85ebca6b) >>> 0;
    h = Math.imul(h ^ (h >>> 13), 0xc2b2ae35) >>> 0;
    const hue = ((h % 9973) / 9973) * 360;
    const sat = 0.5 + ((h >>> 8) % 4) * 0.08;
    const light = 0.55 + ((h >>> 12) % 3) * 0.07;
    const rgb = hslToRgb(hue, sat, light);
    c = { u32: packColour(rgb), css: 'rgb(' + rgb.join(',') + ')', dark: 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2] < 140 };
    colourCache.set(text, c);
    return c;
  }
  const LINE_U32 = packColour(LINE_COLOUR);
  const FILL_U32 = packColour(FILL_COLOUR);
  const GRID_U32 = packColour(GRID_COLOUR);
  const MARK_U32 = packColour(MARK_COLOUR);


  // ---- text ----------------------------------------------------------------------------------------

  function numberText(v) {
    if (typeof v === 'string') return v;
    if (Number.isInteger(v)) return String(v);
    return String(Math.round(v * 1e6) / 1e6);
  }
  function durationText(d) {
    const a = Math.abs(d);
    if (a === 0) return '0 s';
    if (a < 1e-6) return trim(d * 1e9, 3) + ' ns';
    if (a < 1e-3) return trim(d * 1e6, 3) + ' µs';
    if (a < 1) return trim(d * 1e3, 3) + ' ms';
    return trim(d, 6) + ' s';
  }
  function trim(v, digits) { return String(Number(v.toFixed(digits))); }
  function timeText(t) { return String(Number(t.toFixed(9))) + ' s'; }
  // A state's text: its name through the column's dictionary and its value, or the value alone.
  function stateText(col, text) {
    const name = col.namer ? col.namer(text) : null;
    return name !== null ? name + ' (' + text + ')' : text;
  }
  function stateShortText(col, text) {
    const name = col.namer ? col.namer(text) : null;
    return name !== null ? name : text;
  }

  // ---- model ---------------------------------------------------------------------------------------

  const docs = manifest.documents;
  const sources = Array.isArray(manifest.sources) ? manifest.sources.filter((x) => typeof x === 'string') : [];
  const series = [];
  const lanes = [];
  let laneCount = 0;
  const STATE_LAYOUTS = {
    'state': { key: 0, mag: 0 },
    'state-key': { key: 2, mag: 0 },
    'state-value': { key: 0, mag: 2 },
    'state-key-value': { key: 2, mag: 3 },
  };

  // The earliest series origin: time 0 of the common axis.
  let origin = Infinity;
  for (const doc of docs) for (const s of doc.series) if (Number.isFinite(s.time)) origin = Math.min(origin, s.time);
  const originKnown = Number.isFinite(origin);
  if (!originKnown) origin = 0;

  docs.forEach((doc, d) => {
    doc.number = d;
    doc.dicts = collectDictionaries(doc.dictionaries || []);
    for (const obj of doc.series) series.push(buildSeries(obj, series.length, doc));
  });

  function buildSeries(obj, index, doc) {
    const info = isObject(obj.info) ? obj.info : {};
    const columns = readColumns(doc.dicts, obj.columnDictionary);
    const col = (c) => columns.get(c) || { name: 'column ' + c, label: 'column ' + c, namer: null };
    const layout = STATE_LAYOUTS[obj.type];
    const s = {
      index: index, doc: doc, label: obj.label, group: obj.group, info: info, type: obj.type, time: obj.time,
      kind: layout ? 'state' : 'number', lanes: [], pivotKey: typeof obj.pivotKey === 'string' ? obj.pivotKey : null,
      valueMode: obj.valueMode, magnitudeMode: obj.magnitudeMode, hasMagnitude: !!(layout && layout.mag),
      values: obj.values || [], magnitudes: obj.magnitudes || null, keys: obj.keys || null,
      endIndex: -1, display: obj.label, what: '',
    };
    // What a pivoted row plots, from its "info": the state or the trace field.
    if (isObject(obj.pivot)) {
      const what = layout ? info.State : info['Trace Field'];
      if (typeof what === 'string') s.what = what;
    }
    if (layout) {
      s.stateCol = col(1);
      s.keyCol = layout.key ? col(layout.key) : null;
      s.magCol = layout.mag ? col(layout.mag) : null;
      if (typeof obj.endState === 'string') s.endIndex = s.values.indexOf(obj.endState);
      s.colours = new Uint32Array(s.values.length);
      for (let i = 0; i < s.values.length; i++) s.colours[i] = stateColour(stateText(s.stateCol, s.values[i])).u32;
    } else {
      s.valueCol = col(1);
      const style = isObject(obj.hints) && typeof obj.hints.style === 'string' ? obj.hints.style.toLowerCase() : '';
      s.line = style === 'line' || style === 'lines' || style === 'linear';
      s.valueNumbers = s.valueMode === 0 ? Float64Array.from(s.values, Number) : null;
    }
    const hasKeys = !!(layout && layout.key);
    if (hasKeys) s.lanes.push({ kind: 'heading', series: s });
    for (const l of obj.lanes) {
      const lane = {
        id: laneCount++, kind: s.kind, series: s, doc: doc, n: l.n, tickSec: l.tick * 1e-9, first: l.first, last: l.last,
        blocks: [], levels: [], width: l.width || 0, totals: l.totals || [], low: l.low, high: l.high, min: l.min, max: l.max,
        tail: l.tail, key: hasKeys ? l.key : null, keyLabel: null, shift: 0, endTick: 0,
      };
      for (let i = 0; i + 4 < l.blocks.length; i += 5) {
        lane.blocks.push({ chunk: l.blocks[i], offset: l.blocks[i + 1], bytes: l.blocks[i + 2], count: l.blocks[i + 3], first: l.blocks[i + 4] });
      }
      for (let i = 0; l.levels && i + 3 < l.levels.length; i += 4) {
        lane.levels.push({ chunk: l.levels[i], offset: l.levels[i + 1], bytes: l.levels[i + 2], buckets: l.levels[i + 3], decoded: null });
      }
      if (hasKeys) {
        const text = s.keys[l.key];
        const name = s.keyCol && s.keyCol.namer ? s.keyCol.namer(text) : null;
        lane.keyText = text;
        lane.keyLabel = name !== null ? name + ' (' + text + ')' : text;
      }
      s.lanes.push(lane);
    }
    for (const lane of s.lanes) if (lane.kind !== 'heading') lanes.push(lane);
    return s;
  }

  // Rows of a group that would read alike (same label, same plotted field) get their pivot key: two threads
  // named "sleep" become "sleep 2664" and "sleep 2666". A label that ends with its key already ("CPU 0")
  // keeps it once.
  {
    const seen = new Map();
    const alike = (s) => s.doc.number + '\n' + s.group + '\n' + s.label + '\n' + s.what;
    for (const s of series) seen.set(alike(s), (seen.get(alike(s)) || 0) + 1);
    for (const s of series) {
      if (s.pivotKey !== null && seen.get(alike(s)) > 1 && !s.label.endsWith(' ' + s.pivotKey) && s.label !== s.pivotKey) {
        s.display = s.label + ' ' + s.pivotKey;
      }
    }
  }

  // Where the lanes lie on the axis: time 0 is the earliest series origin of all documents, or with aligned
  // documents each document's own first sample. Gives the whole time range.
  let align = manifest.align === true && docs.length > 1;
  let fullStart = 0, fullEnd = 1;
  function placeLanes() {
    fullStart = Infinity; fullEnd = -Infinity;
    for (const doc of docs) {
      const has = Number.isFinite(doc.start) && Number.isFinite(doc.end);
      doc.axisOrigin = align && has ? doc.start : origin;
      doc.axisEnd = has ? doc.end - doc.axisOrigin : 0;
      if (has) { fullStart = Math.min(fullStart, doc.start - doc.axisOrigin); fullEnd = Math.max(fullEnd, doc.axisEnd); }
    }
    for (const lane of lanes) {
      lane.shift = lane.series.time - lane.doc.axisOrigin;
      lane.endTick = Math.max(lane.last, (lane.doc.axisEnd - lane.shift) / lane.tickSec);
    }
    if (!Number.isFinite(fullStart)) { fullStart = 0; fullEnd = 1; }
    if (fullEnd <= fullStart) fullEnd = fullStart + 1;
  }
  placeLanes();
  const axisTime = (lane, tick) => lane.shift + tick * lane.tickSec;
  const laneTick = (lane, time) => (time - lane.shift) / lane.tickSec;

  // ---- page structure ------------------------------------------------------------------------------

  function make(tag, cls, text) {
    const node = document.createElement(tag);
    if (cls) node.className = cls;
    if (text !== undefined) node.textContent = text;
    return node;
  }

  function buildRows() {
    const groups = new Map();
    const many = docs.length > 1;
    const frag = document.createDocumentFragment();
    for (const s of series) {
      const gkey = (many ? s.doc.number + '\n' : '') + s.group;
      let g = groups.get(gkey);
      if (!g) {
        let title = s.group !== '' ? s.group : '(no group)';
        if (many) title += ' \u2014 ' + s.doc.source + (s.doc.index > 0 ? ' #' + (s.doc.index + 1) : '');
        g = { node: make('section', 'group'), body: make('div', 'group-body'), count: 0, series: [] };
        const head = make('button', 'group-heading');
        head.type = 'button';
        head.setAttribute('aria-expanded', 'true');
        head.append(make('span', 'fold', '\u25be'), make('span', 'name', title));
        g.countNode = make('span', 'count');
        head.append(g.countNode);
        head.addEventListener('click', () => {
          const folded = g.node.classList.toggle('folded');
          head.setAttribute('aria-expanded', folded ? 'false' : 'true');
          relayout();
        });
        g.node.dataset.group = s.group;
        g.node.append(head, g.body);
        groups.set(gkey, g);
        frag.append(g.node);
      }
      g.series.push(s);
      g.body.append(buildRow(s));
    }
    for (const g of groups.values()) g.countNode.textContent = g.series.length + (g.series.length === 1 ? ' row' : ' rows');
    if (series.length === 0) frag.append(make('p', 'empty', 'The input holds no series.'));
    rowsBox.append(frag);
    return Array.from(groups.values());
  }

  function buildRow(s) {
    const row = make('div', 'row ' + s.kind);
    row.setAttribute('role', 'listitem');
    row.dataset.seriesIndex = String(s.index);
    row.dataset.label = s.label;
    s.el = row;
    for (const lane of s.lanes) {
      const sub = lane.keyLabel !== null && lane.keyLabel !== undefined;
      const node = make('div', 'lane ' + lane.kind + (sub ? ' sub' : ''));
      const label = make('div', 'lane-label');
      const name = make('span', 'name', sub ? lane.keyLabel : s.display);
      if (lane.kind === 'number') {
        const range = make('span', 'range');
        const has = lane.n > 0;
        range.append(make('span', 'max', has ? lane.max : ''), make('span', 'min', has ? lane.min : ''));
        range.title = 'maximum and minimum';
        label.append(name);
        if (s.what) name.append(' ', make('span', 'what', s.what));
        label.append(range);
      } else {
        label.append(name);
        if (!sub && s.what) label.append(' ', make('span', 'what', s.what));
      }
      if (sub) node.dataset.key = lane.keyText;
      label.addEventListener('mouseenter', (e) => showLabelTip(e, lane));
      label.addEventListener('mouseleave', hideTip);
      const desc = s.info.description;
      if (typeof desc === 'string' && desc !== '') label.setAttribute('aria-description', desc);
      node.append(label, make('div', 'lane-plot'));
      lane.el = node;
      row.append(node);
    }
    return row;
  }

  // ---- view state ----------------------------------------------------------------------------------

  const view = { start: fullStart, end: fullEnd };
  let visibleLanes = [];
  let plotWidth = 1, plotHeight = 1, dpr = 1;
  let image = null, pixels = null, rowLine = null, gridLine = null, markLine = null;
  let lo = null, hi = null;
  let drawPending = false, firstDrawDone = false, drawCount = 0;

  function clampView(start, end) {
    const full = fullEnd - fullStart;
    const span = Math.min(Math.max(end - start, full * 1e-9, 1e-9), full);
    start = Math.max(fullStart, Math.min(start, fullEnd - span));
    view.start = start;
    view.end = start + span;
    scheduleDraw();
  }
  function zoomAround(time, factor) {
    clampView(time - (time - view.start) * factor, time + (view.end - time) * factor);
  }
  function pan(fraction) {
    const span = view.end - view.start;
    clampView(view.start + span * fraction, view.end + span * fraction);
  }
  function resetView() { clampView(fullStart, fullEnd); }

  function relayout() {
    const labelWidth = parseFloat(getComputedStyle(document.documentElement).getPropertyValue('--label-width')) || 260;
    plotWidth = Math.max(1, scroller.clientWidth - labelWidth);
    plotHeight = Math.max(1, scroller.clientHeight);
    dpr = window.devicePixelRatio || 1;
    visibleLanes = [];
    for (const s of series) {
      for (const lane of s.lanes) {
        if (!lane.el || lane.el.offsetParent === null || lane.hidden) continue;
        lane.top = lane.el.offsetTop;
        lane.height = lane.el.offsetHeight;
        visibleLanes.push(lane);
      }
    }
    // Groups gather series from anywhere in the input, so document order is not screen order.
    visibleLanes.sort((a, b) => a.top - b.top);
    scheduleDraw();
  }

  function scheduleDraw() {
    if (drawPending) return;
    drawPending = true;
    requestAnimationFrame(() => { drawPending = false; draw(); });
  }
  onChunkArrived = () => { scheduleDraw(); if (stats) showStats(); };

  // ---- drawing -------------------------------------------------------------------------------------

  function upperBound(a, x, n) {
    let l = 0, h = n === undefined ? a.length : n;
    while (l < h) {
      const m = (l + h) >>> 1;
      if (a[m] <= x) l = m + 1; else h = m;
    }
    return l;
  }

  function niceStep(span, px, minPx) {
    const raw = span * minPx / Math.max(px, 1);
    const p = Math.pow(10, Math.floor(Math.log10(raw)));
    for (const m of [1, 2, 5, 10]) if (m * p >= raw) return m * p;
    return 10 * p;
  }

  function ensureBuffers(W, H) {
    if (plot.width !== W || plot.height !== H || !image) {
      plot.width = W; plot.height = H;
      plot.style.width = plotWidth + 'px';
      plot.style.height = plotHeight + 'px';
      image = new ImageData(W, H);
      pixels = new Uint32Array(image.data.buffer);
    }
    if (!rowLine || rowLine.length !== W) {
      rowLine = new Uint32Array(W); gridLine = new Uint32Array(W); markLine = new Uint8Array(W);
      lo = new Float64Array(W); hi = new Float64Array(W);
    }
  }

  function draw() {
    const began = performance.now();
    const W = Math.max(1, Math.round(plotWidth * dpr));
    const H = Math.max(1, Math.round(plotHeight * dpr));
    ensureBuffers(W, H);
    pixels.fill(0);
    const span = view.end - view.start;
    const scale = W / span;
    const step = niceStep(span, plotWidth, 90);
    gridLine.fill(0);
    for (let t = Math.ceil(view.start / step) * step; t <= view.end; t += step) {
      const x = Math.round((t - view.start) * scale);
      if (x >= 0 && x < W) gridLine[x] = GRID_U32;
    }
    for (let y = 0; y < H; y++) pixels.set(gridLine, y * W);

    const scrollTop = scroller.scrollTop;
    const labels = [];
    for (let k = firstLaneAt(scrollTop); k < visibleLanes.length; k++) {
      const lane = visibleLanes[k];
      if (lane.top >= scrollTop + plotHeight) break;
      const y0 = Math.round((lane.top - scrollTop) * dpr);
      const y1 = Math.round((lane.top + lane.height - scrollTop) * dpr) - Math.max(1, Math.round(dpr));
      if (lane.kind === 'state') drawStateLane(lane, y0 + Math.round(dpr), y1, W, H, labels);
      else if (lane.kind === 'number') drawNumberLane(lane, y0 + Math.round(2 * dpr), y1 - Math.round(dpr), W, H);
    }
    const ctx = plot.getContext('2d');
    ctx.putImageData(image, 0, 0);
    drawSpanLabels(ctx, labels);
    drawAxis(step);
    if (stats) placeSelection();

    const took = performance.now() - began;
    drawCount++;
    plot.dataset.viewStart = String(view.start);
    plot.dataset.viewEnd = String(view.end);
    plot.dataset.drawMs = took.toFixed(2);
    plot.dataset.drawCount = String(drawCount);
    plot.dataset.waiting = String(waiting);
    if (!firstDrawDone) {
      firstDrawDone = true;
      document.documentElement.dataset.firstDrawMs = performance.now().toFixed(1);
      setTimeout(buildLegend, 0);
      setTimeout(predecode, 0);
    }
  }

  // After the first drawing, while the page waits for the user, the overview levels are decoded one at a time
  // (the coarse ones, which a zoom reaches first, before the fine ones), so that no zoom waits for them.
  let predecodeLane = 0, predecodeLevel = -1;
  function predecode() {
    const began = performance.now();
    while (predecodeLane < lanes.length && performance.now() - began < 8) {
      const lane = lanes[predecodeLane];
      if (predecodeLevel < 0) predecodeLevel = lane.levels.length - 1;
      if (predecodeLevel >= 0 && lane.levels.length) {
        if (!level(lane, predecodeLevel)) { predecodeLevel--; if (predecodeLevel < 0) predecodeLane++; continue; }
        predecodeLevel--;
      }
      if (predecodeLevel < 0) { predecodeLane++; predecodeLevel = -1; }
    }
    if (predecodeLane < lanes.length) setTimeout(predecode, 0);
  }

  function firstLaneAt(y) {
    let l = 0, h = visibleLanes.length;
    while (l < h) {
      const m = (l + h) >>> 1;
      const lane = visibleLanes[m];
      if (lane.top + lane.height <= y) l = m + 1; else h = m;
    }
    return l;
  }

  function fillRows(y0, y1, H, W) {
    for (let y = Math.max(0, y0); y < Math.min(H, y1); y++) pixels.set(rowLine, y * W);
  }

  // The view in a lane's ticks: t0 at the left edge, pw ticks a pixel column.
  function laneView(lane, W) {
    const t0 = laneTick(lane, view.start);
    return { t0: t0, pw: (view.end - view.start) / W / lane.tickSec };
  }

  // The overview level to draw from: the coarsest whose buckets fit in a pixel column, when the view holds
  // many more points than columns; -1 for the points themselves.
  function chooseLevel(lane, t0, t1, pw, W) {
    if (lane.levels.length === 0) return -1;
    const bs = lane.blocks;
    const k0 = blockAt(lane, t0), k1 = blockAt(lane, t1);
    let visible = 0;
    for (let k = k0; k <= k1 && visible <= 2 * W; k++) visible += bs[k].count;
    if (visible <= 2 * W) return -1;
    let chosen = -1;
    for (let k = 0, w = lane.width; k < lane.levels.length; k++, w *= 4) if (w <= pw) chosen = k;
    return chosen;
  }

  // Per pixel column: the states it holds with their time. The state with most time fills the column; a
  // column with more than one state gets a mark.
  const accState = new Int32Array(64), accTime = new Float64Array(64);
  let accCount = 0, accMore = false;
  function accAdd(state, time) {
    for (let j = 0; j < accCount; j++) if (accState[j] === state) { accTime[j] += time; return; }
    if (accCount < 64) { accState[accCount] = state; accTime[accCount] = time; accCount++; } else accMore = true;
  }
  function accFlush(x, colours) {
    if (accCount === 0) { rowLine[x] = gridLine[x]; markLine[x] = 0; return; }
    let best = 0;
    for (let j = 1; j < accCount; j++) if (accTime[j] > accTime[best]) best = j;
    rowLine[x] = colours[accState[best]];
    markLine[x] = accCount > 1 || accMore ? 1 : 0;
    accCount = 0; accMore = false;
  }

  function drawStateLane(lane, y0, y1, W, H, labels) {
    if (lane.n === 0 || y1 <= 0 || y0 >= H) return;
    const { t0, pw } = laneView(lane, W);
    const t1 = t0 + W * pw;
    const k = chooseLevel(lane, t0, t1, pw, W);
    let done = k >= 0 && stateFromLevel(lane, k, t0, pw, W);
    if (!done) done = stateFromPoints(lane, t0, t1, pw, W, labels, y0, y1);
    if (!done && lane.levels.length) done = stateFromLevel(lane, 0, t0, pw, W); // while points load
    if (!done) return;
    fillRows(y0, y1, H, W);
    const markEnd = Math.min(y1, y0 + Math.round(MARK_PX * dpr));
    for (let y = Math.max(0, y0); y < Math.min(H, markEnd); y++) {
      const row = y * W;
      for (let x = 0; x < W; x++) if (markLine[x]) pixels[row + x] = MARK_U32;
    }
  }

  function stateFromLevel(lane, k, t0, pw, W) {
    const d = level(lane, k);
    if (!d) return false;
    const s = lane.series, end = s.endIndex, colours = s.colours;
    const w = lane.width * Math.pow(4, k), B = lane.levels[k].buckets;
    const first = lane.first, last = lane.last, tailEnd = lane.endTick;
    const off = d.off, st = d.st, sh = d.sh, more = d.more;
    const tailShown = lane.tail !== end;
    for (let x = 0; x < W; x++) {
      const c0 = t0 + x * pw, c1 = c0 + pw;
      if (c1 > first && c0 <= last) {
        const b0 = Math.max(0, Math.floor((Math.max(c0, first) - first) / w));
        const b1 = Math.min(B - 1, Math.floor((Math.min(c1, last) - first) / w));
        for (let b = b0; b <= b1; b++) {
          const bs = first + b * w;
          const frac = (Math.min(c1, bs + w) - Math.max(c0, bs)) / w;
          if (frac <= 0 && b !== b0) continue;
          const f = Math.max(frac, 1e-6);
          for (let j = off[b]; j < off[b + 1]; j++) accAdd(st[j], sh[j] * f);
          if (more[b]) accMore = true;
        }
      }
      if (tailShown && c1 > last && c0 < tailEnd) accAdd(lane.tail, Math.max(1e-6, (Math.min(c1, tailEnd) - Math.max(c0, last)) * 255 / w));
      accFlush(x, colours);
    }
    return true;
  }

  function stateFromPoints(lane, t0, t1, pw, W, labels, y0, y1) {
    const s = lane.series, end = s.endIndex, colours = s.colours;
    let x = 0; // the next column to finish
    let run = -1, runStart = 0, runEnd = 0, runLen = 0;
    const wantLabels = lane.n <= 4 * W || (t1 - t0) / (lane.last - lane.first + 1) * lane.n <= 4 * W;
    const flushRun = () => {
      if (run >= 0 && wantLabels && runEnd - runStart >= LABEL_MIN_SPAN_PX * dpr) labels.push({ lane: lane, v: run, x: runStart, w: runEnd - runStart, y: y0, h: y1 - y0 });
      run = -1;
    };
    const complete = eachBlock(lane, t0, t1, (b, next) => {
      const t = b.t, v = b.v, n = b.n;
      let i = Math.max(0, upperBound(t, t0) - 1);
      for (; i < n; i++) {
        const start = t[i];
        if (start > t1) break;
        const stop = i + 1 < n ? t[i + 1] : next;
        const value = v[i];
        const xs = (start - t0) / pw, xe = (stop - t0) / pw;
        if (xe < 0 || (xe === 0 && xs < 0)) continue;
        if (value === end) { flushRun(); continue; }
        const a = Math.max(0, Math.floor(xs));
        const z = Math.min(W - 1, xe > xs && Math.floor(xe) === xe ? xe - 1 : Math.floor(xe));
        for (let c = a; c <= z; c++) {
          while (x < c) accFlush(x++, colours);
          accAdd(value, Math.max(1e-9, Math.min(xe, c + 1) - Math.max(xs, c)));
        }
        const cs = Math.max(0, xs), ce = Math.min(W, xe);
        if (run === value && cs <= runEnd + 0.5) runEnd = Math.max(runEnd, ce);
        else { flushRun(); run = value; runStart = cs; runEnd = ce; }
        runLen++;
      }
    });
    flushRun();
    while (x < W) accFlush(x++, colours);
    return complete;
  }

  // A step line (or a line) reduced to the covered value range per pixel column, over a light fill.
  function drawNumberLane(lane, y0, y1, W, H) {
    if (lane.n === 0 || y1 <= y0 || y1 <= 0 || y0 >= H) return;
    const { t0, pw } = laneView(lane, W);
    const t1 = t0 + W * pw;
    lo.fill(Infinity); hi.fill(-Infinity);
    const k = chooseLevel(lane, t0, t1, pw, W);
    let done = k >= 0 && numberFromLevel(lane, k, t0, pw, W, y0, y1);
    if (!done) done = numberFromPoints(lane, t0, t1, pw, W, y0, y1);
    if (!done && lane.levels.length) { lo.fill(Infinity); hi.fill(-Infinity); done = numberFromLevel(lane, 0, t0, pw, W, y0, y1); }
    if (!done) return;
    const thick = Math.max(1, Math.round(dpr));
    const top = Math.max(0, y0), bottom = Math.min(H, y1 + 1);
    for (let x = 0; x < W; x++) {
      if (hi[x] < lo[x]) continue;
      const a = Math.max(top, Math.round(lo[x])), b = Math.min(bottom, Math.round(hi[x]) + thick);
      for (let y = a; y < b; y++) pixels[y * W + x] = LINE_U32;
      for (let y = Math.max(b, top); y < bottom; y++) pixels[y * W + x] = FILL_U32;
    }
  }

  function yOf(lane, value, y0, y1) {
    const range = lane.high - lane.low;
    return range > 0 ? y1 - (value - lane.low) * (y1 - y0) / range : (y0 + y1) / 2;
  }

  function numberFromLevel(lane, k, t0, pw, W, y0, y1) {
    const d = level(lane, k);
    if (!d) return false;
    const w = lane.width * Math.pow(4, k), B = lane.levels[k].buckets, q = d.q;
    const first = lane.first, last = lane.last, height = y1 - y0;
    const flat = !(lane.high > lane.low);
    const tailY = yOf(lane, lane.tail, y0, y1);
    for (let x = 0; x < W; x++) {
      const c0 = t0 + x * pw, c1 = c0 + pw;
      let a = Infinity, z = -Infinity;
      if (c1 > first && c0 <= last) {
        const b0 = Math.max(0, Math.floor((Math.max(c0, first) - first) / w));
        const b1 = Math.min(B - 1, Math.floor((Math.min(c1, last) - first) / w));
        for (let b = b0; b <= b1; b++) {
          const qa = q[b * 4], qz = q[b * 4 + 1];
          if (qa < a) a = qa;
          if (qz > z) z = qz;
        }
      }
      if (a <= z) {
        lo[x] = flat ? (y0 + y1) / 2 : y1 - z / 65535 * height;
        hi[x] = flat ? (y0 + y1) / 2 : y1 - a / 65535 * height;
      }
      if (!lane.series.line && c1 > last && c0 < lane.endTick) {
        if (tailY < lo[x]) lo[x] = tailY;
        if (tailY > hi[x]) hi[x] = tailY;
      }
    }
    return true;
  }

  function numberFromPoints(lane, t0, t1, pw, W, y0, y1) {
    const s = lane.series, line = s.line, nums = s.valueNumbers;
    let px = NaN, py = NaN, atLast = false;
    const mark = (x, y) => { if (y < lo[x]) lo[x] = y; if (y > hi[x]) hi[x] = y; };
    // The stretch from one point (xa, ya) to the next (xb, yb): a step holds ya and then jumps, a line goes
    // straight.
    const segment = (xa, ya, xb, yb) => {
      if (xb < 0 || xa >= W) return;
      const a = Math.max(0, Math.floor(xa)), z = Math.min(W - 1, Math.floor(xb));
      if (line && xb > xa) {
        const slope = (yb - ya) / (xb - xa);
        for (let x = a; x <= z; x++) {
          mark(x, ya + slope * (Math.max(x, xa) - xa));
          mark(x, ya + slope * (Math.min(x + 1, xb) - xa));
        }
      } else {
        for (let x = a; x <= z; x++) mark(x, ya);
        if (xb < W) mark(z, yb);
      }
    };
    const complete = eachBlock(lane, t0, t1, (b, next, k) => {
      const t = b.t, v = b.v, n = b.n;
      for (let i = Math.max(0, upperBound(t, t0) - 1); i < n; i++) {
        const x = (t[i] - t0) / pw, y = yOf(lane, nums ? nums[v[i]] : v[i], y0, y1);
        if (!Number.isNaN(px)) segment(px, py, x, y);
        else if (x >= 0 && x < W) mark(Math.floor(x), y);
        px = x; py = y;
        atLast = k === lane.blocks.length - 1 && i === n - 1;
        if (t[i] > t1) return;
      }
    });
    // The last value holds to the document's end.
    if (atLast && !line) segment(px, py, (lane.endTick - t0) / pw, py);
    return complete;
  }

  function drawSpanLabels(ctx, labels) {
    if (labels.length === 0) return;
    ctx.save();
    ctx.font = Math.round(11 * dpr) + 'px system-ui, "DejaVu Sans", sans-serif';
    ctx.textBaseline = 'middle';
    for (const l of labels) {
      const s = l.lane.series;
      let text = stateShortText(s.stateCol, s.values[l.v]);
      const room = l.w - 8 * dpr;
      if (ctx.measureText(text).width > room) {
        while (text.length > 1 && ctx.measureText(text + '\u2026').width > room) text = text.slice(0, -1);
        if (text.length <= 1) continue;
        text += '\u2026';
      }
      const colour = stateColour(stateText(s.stateCol, s.values[l.v]));
      ctx.fillStyle = colour.dark ? '#ffffff' : '#14181f';
      ctx.fillText(text, l.x + 4 * dpr, l.y + l.h / 2 + 0.5);
    }
    ctx.restore();
  }

  function drawAxis(step) {
    const W = Math.max(1, Math.round(plotWidth * dpr));
    const H = Math.round(30 * dpr);
    if (axis.width !== W || axis.height !== H) { axis.width = W; axis.height = H; axis.style.width = plotWidth + 'px'; }
    const ctx = axis.getContext('2d');
    ctx.clearRect(0, 0, W, H);
    ctx.font = Math.round(11 * dpr) + 'px system-ui, "DejaVu Sans", sans-serif';
    ctx.fillStyle = '#2a313c';
    ctx.strokeStyle = '#7a8494';
    ctx.textBaseline = 'top';
    const digits = Math.max(0, Math.min(9, -Math.floor(Math.log10(step) + 1e-9)));
    const scale = W / (view.end - view.start);
    ctx.beginPath();
    const minor = step / 5;
    for (let t = Math.ceil(view.start / minor) * minor; t <= view.end; t += minor) {
      const x = Math.round((t - view.start) * scale) + 0.5;
      ctx.moveTo(x, H); ctx.lineTo(x, H - 4 * dpr);
    }
    for (let t = Math.ceil(view.start / step) * step; t <= view.end; t += step) {
      const x = Math.round((t - view.start) * scale) + 0.5;
      ctx.moveTo(x, H); ctx.lineTo(x, H - 10 * dpr);
      const text = (Math.abs(t) < step / 2 ? 0 : t).toFixed(digits);
      const w = ctx.measureText(text).width;
      ctx.fillText(text, Math.min(Math.max(2, x - w / 2), W - w - 2), 4 * dpr);
    }
    ctx.stroke();
  }

  // ---- legend --------------------------------------------------------------------------------------

  // The states by the time they take up in all state rows, with their colours and names; the end state is
  // nothing and has no entry.
  function buildLegend() {
    const legend = el('legend');
    legend.replaceChildren();
    const total = new Map();
    for (const lane of lanes) {
      if (lane.kind !== 'state' || lane.n === 0) continue;
      const s = lane.series;
      const add = (index, time) => {
        const text = stateText(s.stateCol, s.values[index]);
        const e = total.get(text);
        if (e) e.time += time; else total.set(text, { time: time, text: text });
      };
      for (let i = 0; i + 1 < lane.totals.length; i += 2) add(lane.totals[i], lane.totals[i + 1] * lane.tickSec);
      if (lane.tail !== s.endIndex) add(lane.tail, (lane.endTick - lane.last) * lane.tickSec);
    }
    const items = Array.from(total.values()).sort((a, b) => b.time - a.time);
    if (items.length === 0) { legend.hidden = true; relayout(); return; }
    legend.hidden = false;
    legend.append(make('span', 'title', 'States by time taken:'));
    const shown = items.slice(0, 40);
    for (const it of shown) {
      const item = make('span', 'item');
      const sw = make('span', 'swatch');
      sw.style.background = stateColour(it.text).css;
      item.append(sw, document.createTextNode(it.text));
      legend.append(item);
    }
    if (items.length > shown.length) legend.append(make('span', 'item', '+' + (items.length - shown.length) + ' more'));
    relayout();
  }

  // ---- tooltip -------------------------------------------------------------------------------------

  function showTip(x, y, lines) {
    tooltip.replaceChildren();
    lines.forEach((line, n) => {
      const div = make('div', n === 0 ? 'tt-label' : 'tt-line');
      if (line.swatch) {
        const sw = make('span', 'tt-sw');
        sw.style.background = line.swatch;
        div.append(sw);
      }
      if (line.key) div.append(make('span', 'tt-key', line.key + ': '));
      div.append(document.createTextNode(line.text));
      tooltip.append(div);
    });
    tooltip.hidden = false;
    const w = tooltip.offsetWidth, h = tooltip.offsetHeight;
    const left = x + 14 + w > window.innerWidth ? Math.max(0, x - 14 - w) : x + 14;
    const top = y + 16 + h > window.innerHeight ? Math.max(0, y - 10 - h) : y + 16;
    tooltip.style.left = left + 'px';
    tooltip.style.top = top + 'px';
  }
  function hideTip() { tooltip.hidden = true; }

  function laneTitle(lane) {
    const s = lane.series;
    const base = s.display + (s.what ? ' \u00b7 ' + s.what : '');
    return lane.keyLabel !== null && lane.keyLabel !== undefined ? base + ' \u203a ' + lane.keyLabel : base;
  }

  function showLabelTip(e, lane) {
    const s = lane.series;
    const lines = [{ text: laneTitle(lane) }];
    for (const key of Object.keys(s.info)) {
      const value = s.info[key];
      lines.push({ key: key === 'description' ? '' : key, text: typeof value === 'string' ? value : JSON.stringify(value) });
    }
    if (lane.kind === 'number' && lane.n > 0) lines.push({ key: 'range', text: lane.min + ' to ' + lane.max });
    lines.push({ key: 'points', text: String(lane.n) });
    const r = e.target.getBoundingClientRect();
    showTip(r.left + 40, r.top + 4, lines.map((l) => (l.key === '' ? { text: l.text } : l)));
  }

  function laneAtY(y) {
    const k = firstLaneAt(y);
    const lane = visibleLanes[k];
    return lane && lane.top <= y ? lane : null;
  }

  // The point of a lane at or before a time: { i, b (its block), start, end } or null before the first.
  function pointAt(lane, time) {
    if (lane.n === 0) return null;
    const tick = laneTick(lane, time);
    const k = blockAt(lane, tick);
    const b = block(lane, k);
    if (!b) return { loading: true };
    const i = upperBound(b.t, tick) - 1;
    if (i < 0) return null;
    let next;
    if (i + 1 < b.n) next = b.t[i + 1];
    else next = k + 1 < lane.blocks.length ? lane.blocks[k + 1].first : lane.endTick;
    return { i: i, b: b, start: b.t[i], end: next };
  }

  function hover(e) {
    const r = scroller.getBoundingClientRect();
    const px = e.clientX - plot.getBoundingClientRect().left;
    if (px < 0 || px > plotWidth) return;
    const lane = laneAtY(e.clientY - r.top + scroller.scrollTop);
    if (!lane || (lane.kind !== 'state' && lane.kind !== 'number')) { hideTip(); return; }
    const time = view.start + px / plotWidth * (view.end - view.start);
    const s = lane.series;
    const lines = [{ text: laneTitle(lane) }, { key: 'time', text: timeText(time) }];
    const p = pointAt(lane, time);
    if (p && p.loading) {
      lines.push({ text: 'loading the points\u2026' });
    } else if (lane.kind === 'state') {
      if (!p || laneTick(lane, time) > p.end) {
        lines.push({ text: !p ? 'no state yet' : 'after the end of the data' });
      } else {
        const v = p.b.v[p.i];
        const text = s.values[v];
        if (v === s.endIndex) lines.push({ key: s.stateCol.label, text: 'nothing (end state ' + text + ')' });
        else lines.push({ key: s.stateCol.label, text: stateText(s.stateCol, text), swatch: stateColour(stateText(s.stateCol, text)).css });
        if (p.b.m) lines.push({ key: s.magCol.label, text: s.magnitudes ? s.magnitudes[p.b.m[p.i]] : numberText(p.b.m[p.i]) });
        const a = axisTime(lane, p.start), z = axisTime(lane, p.end);
        lines.push({ key: 'span', text: durationText(z - a) + ' (' + timeText(a) + ' to ' + timeText(z) + ')' });
      }
    } else if (!p) {
      lines.push({ text: 'no value yet' });
    } else {
      const v = p.b.v[p.i];
      lines.push({ key: s.valueCol.label, text: s.valueNumbers ? s.values[v] : numberText(v) });
      lines.push({ key: 'since', text: timeText(axisTime(lane, p.start)) });
    }
    showTip(e.clientX, e.clientY, lines);
  }

  // ---- numbers of a range --------------------------------------------------------------------------

  // Per shown row: the time in each state within [a, b] (the end state's time as "nothing"), or the count,
  // minimum, maximum and mean of the points in it. Null while points are still being loaded.
  function rangeNumbers(lane, a, b) {
    const s = lane.series;
    const ta = laneTick(lane, a), tb = laneTick(lane, b);
    if (lane.kind === 'state') {
      const time = new Map();
      const complete = eachBlock(lane, ta, tb, (blk, next) => {
        const t = blk.t, v = blk.v, n = blk.n;
        for (let i = Math.max(0, upperBound(t, ta) - 1); i < n; i++) {
          if (t[i] > tb) break;
          const stop = i + 1 < n ? t[i + 1] : next;
          const overlap = Math.min(stop, tb) - Math.max(t[i], ta);
          if (overlap > 0) time.set(v[i], (time.get(v[i]) || 0) + overlap * lane.tickSec);
        }
      });
      return complete ? { time: time } : null;
    }
    let count = 0, min = Infinity, max = -Infinity, sum = 0, minText = '', maxText = '';
    const nums = s.valueNumbers;
    const complete = eachBlock(lane, ta, tb, (blk) => {
      const t = blk.t, v = blk.v, n = blk.n;
      for (let i = Math.max(0, upperBound(t, ta) - 1); i < n && t[i] <= tb; i++) {
        if (t[i] < ta) continue;
        const x = nums ? nums[v[i]] : v[i];
        count++; sum += x;
        if (x < min) { min = x; minText = nums ? s.values[v[i]] : numberText(x); }
        if (x > max) { max = x; maxText = nums ? s.values[v[i]] : numberText(x); }
      }
    });
    return complete ? { count: count, min: minText, max: maxText, mean: count ? sum / count : NaN } : null;
  }

  let stats = null;
  const statsBox = el('stats');
  function showStats() {
    const a = stats.start, b = stats.end;
    el('stats-title').textContent = 'From ' + timeText(a) + ' to ' + timeText(b) + ' (' + durationText(b - a) + ')';
    const table = make('table');
    let pending = false;
    for (const lane of visibleLanes) {
      if (lane.kind !== 'state' && lane.kind !== 'number') continue;
      const r = rangeNumbers(lane, a, b);
      const tr = make('tr');
      const th = make('th', null, laneTitle(lane));
      const td = make('td');
      tr.dataset.lane = String(lane.id);
      if (!r) {
        pending = true;
        td.textContent = 'loading the points\u2026';
      } else if (lane.kind === 'state') {
        const s = lane.series;
        const entries = Array.from(r.time.entries()).sort((x, y) => y[1] - x[1]);
        if (entries.length === 0) td.textContent = 'no state';
        for (const [v, time] of entries.slice(0, 12)) {
          const span = make('span', 'st');
          const text = s.values[v];
          const isEnd = v === s.endIndex;
          if (!isEnd) {
            const sw = make('span', 'sw');
            sw.style.background = stateColour(stateText(s.stateCol, text)).css;
            span.append(sw);
          }
          span.dataset.state = text;
          span.dataset.seconds = String(time);
          span.append((isEnd ? 'nothing' : stateText(s.stateCol, text)) + ': ' + durationText(time) + ' (' + (time / (b - a) * 100).toFixed(1) + ' %)');
          td.append(span);
        }
        if (entries.length > 12) td.append(make('span', 'st', '+' + (entries.length - 12) + ' more'));
      } else {
        td.dataset.count = String(r.count);
        td.textContent = r.count === 0 ? 'no points' : r.count + ' points \u00b7 min ' + r.min + ' \u00b7 max ' + r.max + ' \u00b7 mean ' + numberText(r.mean);
      }
      tr.append(th, td);
      table.append(tr);
    }
    el('stats-body').replaceChildren(table);
    statsBox.hidden = false;
    statsBox.dataset.ready = pending ? 'no' : 'yes';
    statsBox.dataset.start = String(a);
    statsBox.dataset.end = String(b);
    placeSelection();
  }
  function placeSelection() {
    if (!stats) return;
    const x0 = (stats.start - view.start) / (view.end - view.start) * plotWidth;
    const x1 = (stats.end - view.start) / (view.end - view.start) * plotWidth;
    const left = plot.getBoundingClientRect().left - el('view').getBoundingClientRect().left;
    const a = Math.max(0, Math.min(plotWidth, x0)), b = Math.max(0, Math.min(plotWidth, x1));
    selection.classList.add('kept');
    selection.style.left = left + a + 'px';
    selection.style.width = Math.max(1, b - a) + 'px';
    selection.hidden = b <= 0 || a >= plotWidth;
  }
  function closeStats() {
    stats = null;
    statsBox.hidden = true;
    selection.hidden = true;
    selection.classList.remove('kept');
    relayout();
  }
  el('stats-close').addEventListener('click', closeStats);
  el('stats-zoom').addEventListener('click', () => { if (stats) clampView(stats.start, stats.end); });

  // ---- interaction ---------------------------------------------------------------------------------

  function timeAtClientX(x) {
    const r = plot.getBoundingClientRect();
    return view.start + (x - r.left) / plotWidth * (view.end - view.start);
  }
  function overPlot(e) {
    const r = plot.getBoundingClientRect();
    return e.clientX >= r.left && e.clientX <= r.left + plotWidth;
  }
  let lastMouseTime = null;

  function wheel(e) {
    if (!overPlot(e)) return;
    e.preventDefault();
    const unit = e.deltaMode === 1 ? 16 : e.deltaMode === 2 ? plotHeight : 1;
    const dx = e.deltaX * unit, dy = e.deltaY * unit;
    if (Math.abs(dx) > Math.abs(dy)) pan(dx / plotWidth);
    else zoomAround(timeAtClientX(e.clientX), Math.exp(Math.max(-4, Math.min(4, dy * 0.002))));
  }
  scroller.addEventListener('wheel', wheel, { passive: false });
  axis.addEventListener('wheel', wheel, { passive: false });

  // A drag pans; a drag on the axis zooms to the range it covers; a Shift+drag selects a range and shows its
  // numbers.
  let drag = null;
  function startDrag(e, zoom) {
    if (e.button !== 0 || !overPlot(e)) return;
    e.preventDefault();
    const mode = zoom ? 'zoom' : e.shiftKey ? 'select' : 'pan';
    drag = { x: e.clientX, start: view.start, end: view.end, mode: mode, moved: false };
    document.body.classList.add('dragging');
    hideTip();
  }
  scroller.addEventListener('mousedown', (e) => startDrag(e, false));
  axis.addEventListener('mousedown', (e) => startDrag(e, true));
  window.addEventListener('mousemove', (e) => {
    if (!drag) return;
    const dx = e.clientX - drag.x;
    if (Math.abs(dx) > 2) drag.moved = true;
    if (drag.mode !== 'pan') {
      const r = plot.getBoundingClientRect();
      const a = Math.max(r.left, Math.min(drag.x, e.clientX)), b = Math.min(r.left + plotWidth, Math.max(drag.x, e.clientX));
      const viewRect = el('view').getBoundingClientRect();
      selection.classList.remove('kept');
      selection.style.left = a - viewRect.left + 'px';
      selection.style.width = Math.max(0, b - a) + 'px';
      selection.hidden = !drag.moved;
    } else if (drag.moved) {
      const shift = -dx / plotWidth * (drag.end - drag.start);
      clampView(drag.start + shift, drag.end + shift);
    }
  });
  window.addEventListener('mouseup', (e) => {
    if (!drag) return;
    const d = drag;
    drag = null;
    document.body.classList.remove('dragging');
    if (d.mode !== 'pan' && d.moved) {
      const a = Math.max(timeAtClientX(Math.min(d.x, e.clientX)), view.start);
      const b = Math.min(timeAtClientX(Math.max(d.x, e.clientX)), view.end);
      if (d.mode === 'zoom') {
        selection.hidden = !stats;
        placeSelection();
        clampView(a, b);
      } else {
        stats = { start: a, end: b };
        showStats();
        relayout();
      }
    } else if (d.mode !== 'pan') {
      selection.hidden = !stats;
      placeSelection();
    }
  });
  scroller.addEventListener('mousemove', (e) => {
    if (drag) return;
    lastMouseTime = overPlot(e) ? timeAtClientX(e.clientX) : null;
    if (e.target.classList && e.target.classList.contains('lane-plot')) hover(e);
    else if (!(e.target.closest && e.target.closest('.lane-label'))) hideTip();
  });
  scroller.addEventListener('mouseleave', () => { lastMouseTime = null; hideTip(); });
  scroller.addEventListener('scroll', () => { hideTip(); scheduleDraw(); }, { passive: true });

  const centre = () => (lastMouseTime !== null ? lastMouseTime : (view.start + view.end) / 2);
  el('zoom-in').addEventListener('click', () => zoomAround((view.start + view.end) / 2, 0.5));
  el('zoom-out').addEventListener('click', () => zoomAround((view.start + view.end) / 2, 2));
  el('zoom-reset').addEventListener('click', resetView);
  document.addEventListener('keydown', (e) => {
    if (e.target instanceof HTMLInputElement && e.target.type !== 'checkbox') {
      if (e.key === 'Escape') e.target.blur();
      return;
    }
    if (e.ctrlKey || e.metaKey || e.altKey) return;
    switch (e.key.toLowerCase()) {
      case 'w': zoomAround(centre(), 0.8); break;
      case 's': zoomAround(centre(), 1.25); break;
      case 'a': pan(-0.15); break;
      case 'd': pan(0.15); break;
      case 'escape': if (stats) closeStats(); else return; break;
      default: return;
    }
    e.preventDefault();
  });

  // The filter keeps rows whose label holds the text (any case); a row with sub-rows also keeps the
  // sub-rows whose own label holds it.
  let groupList = [];
  el('filter').addEventListener('input', (e) => {
    const needle = e.target.value.trim().toLowerCase();
    for (const g of groupList) {
      let shown = 0;
      for (const s of g.series) {
        const whole = needle === '' || s.display.toLowerCase().includes(needle) || s.what.toLowerCase().includes(needle);
        let any = whole;
        for (const lane of s.lanes) {
          if (lane.keyLabel === null || lane.keyLabel === undefined) continue;
          lane.hidden = !whole && !lane.keyLabel.toLowerCase().includes(needle);
          lane.el.hidden = lane.hidden;
          if (!lane.hidden) any = true;
        }
        s.el.hidden = !any;
        if (any) shown++;
      }
      g.node.hidden = shown === 0;
    }
    hideTip();
    relayout();
  });

  // Several documents: one absolute axis, or each from its own first sample.
  const alignBox = el('align');
  if (docs.length > 1) {
    el('align-control').hidden = false;
    alignBox.checked = align;
    alignBox.addEventListener('change', () => {
      align = alignBox.checked;
      placeLanes();
      showOrigin();
      if (stats) closeStats();
      resetView();
    });
  }

  window.addEventListener('resize', relayout);

  // ---- start ---------------------------------------------------------------------------------------

  function showProblems() { el('status').textContent = problems.join('; '); }
  function showOrigin() {
    if (align) {
      el('origin').textContent = 'time 0 = each document\u2019s first sample';
    } else if (originKnown) {
      const abs = origin > 1e8
        ? new Date(origin * 1000).toISOString().replace('T', ' ').replace('Z', ' UTC')
        : origin.toFixed(6) + ' s on the recording clock';
      el('origin').textContent = 'time 0 = ' + abs;
    }
  }
  const names = sources.join(', ');
  el('sources').textContent = names;
  if (names) document.title = names + ' \u2014 plotwright view';
  showOrigin();
  if (waiting > 0 || manifest.chunks.some((c) => c[0] !== 1)) el('help').title = 'data beside the page: ' + manifest.folder + '/';
  showProblems();
  // Overviews and small lanes are needed by the first view: their chunks are kept decoded.
  for (const lane of lanes) {
    for (const lv of lane.levels) keepChunkLater.add(lv.chunk);
    if (lane.levels.length === 0) for (const bl of lane.blocks) keepChunkLater.add(bl.chunk);
  }
  groupList = buildRows();
  relayout();
})();
