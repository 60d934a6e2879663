// Shows generic plot data documents: one row per series under its group, state spans and number lines
// drawn on one canvas, one shared time axis with zoom and pan. The documents and their file names are
// embedded in the page as JSON; the page loads nothing else.
(function () {
  'use strict';

  const MAX_EXTENDS = 32; // dictionary "extends" chains longer than this are treated as cycles
  const LABEL_MIN_SPAN_PX = 44; // state spans at least this wide carry their state name
  const END_STATE_COLOUR = [222, 225, 230];
  const LINE_COLOUR = [38, 92, 186];
  const FILL_COLOUR = [38, 92, 186, 40];
  const GRID_COLOUR = [120, 130, 145, 40];

  const el = (id) => document.getElementById(id);
  const scroller = el('scroller');
  const rowsBox = el('rows');
  const plot = el('plot');
  const axis = el('axis');
  const tooltip = el('tooltip');
  const selection = el('selection');
  const problems = [];

  // ---- input ---------------------------------------------------------------------------------------

  function readEmbedded(id, fast) {
    const node = el(id);
    const text = node ? node.textContent.trim() : '';
    if (text === '' || text.startsWith('/*@')) return [];
    let value;
    try {
      value = fast ? parseDocuments(text) : JSON.parse(text);
    } catch (e) {
      try {
        value = JSON.parse(text);
      } catch (e2) {
        problems.push('the embedded ' + id + ' is not JSON');
        return [];
      }
    }
    return Array.isArray(value) ? value : [value];
  }

  // A reader for the documents that turns every "data" array of number rows straight into one typed
  // array per column (a table), instead of a million small arrays; everything else, and any "data" that
  // is not such a table, goes through JSON.parse. Throws on text that is not JSON (the caller then lets
  // JSON.parse report it).
  const POW10 = [];
  for (let i = 0; i <= 22; i++) POW10.push(Math.pow(10, i));
  function parseDocuments(text) {
    let pos = 0;
    const len = text.length;
    const fail = () => { throw new SyntaxError('bad JSON at ' + pos); };
    const ws = () => {
      while (pos < len) {
        const c = text.charCodeAt(pos);
        if (c === 32 || c === 10 || c === 13 || c === 9) pos++; else break;
      }
    };
    // The end of the string that starts at pos (a double quote).
    const stringEnd = (p) => {
      for (p++; p < len; p++) {
        const c = text.charCodeAt(p);
        if (c === 92) p++;
        else if (c === 34) return p + 1;
      }
      return fail();
    };
    // Any value, by finding its end and handing the text to JSON.parse.
    const generic = () => {
      const start = pos;
      let depth = 0;
      while (pos < len) {
        const c = text.charCodeAt(pos);
        if (c === 34) { pos = stringEnd(pos); if (depth === 0) break; continue; }
        if (c === 91 || c === 123) depth++;
        else if (c === 93 || c === 125) { if (--depth < 0) break; if (depth === 0) { pos++; break; } }
        else if (depth === 0 && (c === 44 || c === 32 || c === 10 || c === 13 || c === 9)) break;
        pos++;
      }
      return JSON.parse(text.slice(start, pos));
    };
    const number = () => {
      const start = pos;
      let neg = false, mant = 0, digits = 0, frac = 0, simple = true;
      if (text.charCodeAt(pos) === 45) { neg = true; pos++; }
      let c = text.charCodeAt(pos);
      if (c < 48 || c > 57) fail();
      while (c >= 48 && c <= 57) { mant = mant * 10 + (c - 48); digits++; c = text.charCodeAt(++pos); }
      if (c === 46) {
        c = text.charCodeAt(++pos);
        if (c < 48 || c > 57) fail();
        while (c >= 48 && c <= 57) { mant = mant * 10 + (c - 48); digits++; frac++; c = text.charCodeAt(++pos); }
      }
      if (c === 101 || c === 69) {
        simple = false;
        c = text.charCodeAt(++pos);
        if (c === 43 || c === 45) c = text.charCodeAt(++pos);
        if (c < 48 || c > 57) fail();
        while (c >= 48 && c <= 57) c = text.charCodeAt(++pos);
      }
      // Up to 15 digits and 22 decimals, one division of two exact numbers is correctly rounded.
      if (!simple || digits > 15 || frac > 22) return Number(text.slice(start, pos));
      const v = frac ? mant / POW10[frac] : mant;
      return neg ? -v : v;
    };
    // [[n, n, ...], ...] with rows of one to four numbers, as columns; null when it is anything else.
    // Rows go to scratch columns shared by all tables (grown when a table outgrows them), then are copied
    // out at the table's end.
    let cap = 4096;
    let cols = [new Float64Array(cap), new Float64Array(cap), new Float64Array(cap), new Float64Array(cap)];
    const table = () => {
      const start = pos;
      let n = 0, width = 0;
      pos++;
      ws();
      if (text.charCodeAt(pos) === 93) { pos++; return { table: true, n: 0, width: 0, cols: [] }; }
      for (;;) {
        if (text.charCodeAt(pos) !== 91) { pos = start; return null; }
        pos++;
        if (n === cap) {
          cap *= 2;
          cols = cols.map((a) => { const b = new Float64Array(cap); b.set(a); return b; });
        }
        let k = 0;
        ws();
        for (;;) {
          const c = text.charCodeAt(pos);
          if (k >= 4 || !(c === 45 || (c >= 48 && c <= 57))) { pos = start; return null; }
          cols[k++][n] = number();
          ws();
          const d = text.charCodeAt(pos++);
          if (d === 93) break;
          if (d !== 44) { pos = start; return null; }
          ws();
        }
        for (let j = k; j < 4; j++) cols[j][n] = NaN;
        if (k > width) width = k;
        n++;
        ws();
        const d = text.charCodeAt(pos++);
        if (d === 93) break;
        if (d !== 44) { pos = start; return null; }
        ws();
      }
      return { table: true, n: n, width: width, cols: cols.slice(0, width).map((a) => a.slice(0, n)) };
    };
    // The top-level array of documents, each an array of objects: walked here, so that each object's
    // "data" can be read as a table.
    const value = (level) => {
      ws();
      const c = text.charCodeAt(pos);
      if (c === 91 && level < 2) {
        const out = [];
        pos++;
        ws();
        if (text.charCodeAt(pos) === 93) { pos++; return out; }
        for (;;) {
          out.push(value(level + 1));
          ws();
          const d = text.charCodeAt(pos++);
          if (d === 93) return out;
          if (d !== 44) fail();
        }
      }
      if (c === 123 && level === 2) {
        const out = {};
        pos++;
        ws();
        if (text.charCodeAt(pos) === 125) { pos++; return out; }
        for (;;) {
          ws();
          if (text.charCodeAt(pos) !== 34) fail();
          const a = pos;
          pos = stringEnd(pos);
          const key = JSON.parse(text.slice(a, pos));
          ws();
          if (text.charCodeAt(pos++) !== 58) fail();
          ws();
          let v = null;
          if (key === 'data' && text.charCodeAt(pos) === 91) v = table();
          if (v === null) v = generic();
          if (key !== '__proto__') out[key] = v;
          ws();
          const d = text.charCodeAt(pos++);
          if (d === 125) return out;
          if (d !== 44) fail();
        }
      }
      return generic();
    };
    const result = value(0);
    ws();
    if (pos !== len) fail();
    return result;
  }

  const isObject = (v) => v !== null && typeof v === 'object' && !Array.isArray(v);
  const dictKey = (scope, name) => (typeof scope === 'string' ? scope : '') + '\n' + name;

  // The dictionaries of one document, by scope and name. Several definitions of one name add up; a key
  // defined twice takes the later entry.
  function collectDictionaries(doc) {
    const dicts = new Map();
    for (const obj of doc) {
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

  // A function from a value to its name through a data dictionary (null when it has none); memoised.
  function makeNamer(dicts, ref) {
    if (!isObject(ref)) return null;
    const memo = new Map();
    return (value) => {
      let name = memo.get(value);
      if (name === undefined) {
        name = entryLabel(lookupEntry(dicts, ref, numberText(value)));
        memo.set(value, name);
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

  const STATE_LAYOUTS = {
    'state': { key: 0, mag: 0 },
    'state-key': { key: 2, mag: 0 },
    'state-value': { key: 0, mag: 2 },
    'state-key-value': { key: 2, mag: 3 },
  };
  const NUMBER_TYPES = new Set(['long', 'double', 'number']);

  // Reads the points of a series into typed arrays sorted by time: t (shifted onto the common axis) and
  // one array per wanted column. Points that are not arrays of finite numbers are counted as unreadable.
  function readPoints(data, cols, shift) {
    if (isObject(data) && data.table === true) return readTable(data, cols, shift);
    const n0 = Array.isArray(data) ? data.length : 0;
    const need = Math.max.apply(null, cols);
    const c1 = cols[0], c2 = cols.length > 1 ? cols[1] : cols[0], c3 = cols.length > 2 ? cols[2] : cols[0];
    const t = new Float64Array(n0);
    const a1 = new Float64Array(n0), a2 = cols.length > 1 ? new Float64Array(n0) : null, a3 = cols.length > 2 ? new Float64Array(n0) : null;
    let n = 0, sorted = true, last = -Infinity;
    for (let i = 0; i < n0; i++) {
      const p = data[i];
      if (!Array.isArray(p) || p.length <= need) continue;
      const time = p[0], x1 = p[c1], x2 = p[c2], x3 = p[c3];
      if (typeof time !== 'number' || !Number.isFinite(time) || !Number.isFinite(x1) || !Number.isFinite(x2) || !Number.isFinite(x3)) continue;
      const tt = time + shift;
      if (tt < last) sorted = false;
      last = tt;
      t[n] = tt; a1[n] = x1;
      if (a2) a2[n] = x2;
      if (a3) a3[n] = x3;
      n++;
    }
    let out = [a1, a2, a3].filter((a) => a !== null);
    let times = n === n0 ? t : t.slice(0, n);
    if (n !== n0) out = out.map((a) => a.slice(0, n));
    return finishPoints(times, out, sorted, n0 - n);
  }

  function readTable(data, cols, shift) {
    const n0 = data.n, src = data.cols;
    if (cols.some((c) => c >= data.width)) return { t: new Float64Array(0), cols: cols.map(() => new Float64Array(0)), bad: n0 };
    const time = src[0];
    const wanted = cols.map((c) => src[c]);
    const w1 = wanted[0], w2 = wanted[wanted.length > 1 ? 1 : 0], w3 = wanted[wanted.length > 2 ? 2 : 0];
    // The table's columns are this page's own: when every point is whole and in order, they are used as
    // they are, shifted onto the common time axis in place.
    let good = true, sorted = true, last = -Infinity;
    for (let i = 0; i < n0; i++) {
      const tt = time[i];
      if (!(Number.isFinite(tt) && Number.isFinite(w1[i]) && Number.isFinite(w2[i]) && Number.isFinite(w3[i]))) { good = false; break; }
      if (tt < last) sorted = false;
      last = tt;
    }
    if (good) {
      if (shift !== 0) for (let i = 0; i < n0; i++) time[i] += shift;
      return finishPoints(time, wanted, sorted, 0);
    }
    let n = 0;
    sorted = true; last = -Infinity;
    const t = new Float64Array(n0);
    const out = cols.map(() => new Float64Array(n0));
    for (let i = 0; i < n0; i++) {
      const tt = time[i] + shift;
      if (!(Number.isFinite(tt) && Number.isFinite(w1[i]) && Number.isFinite(w2[i]) && Number.isFinite(w3[i]))) continue;
      if (tt < last) sorted = false;
      last = tt;
      t[n] = tt;
      for (let k = 0; k < wanted.length; k++) out[k][n] = wanted[k][i];
      n++;
    }
    return finishPoints(t.slice(0, n), out.map((a) => a.slice(0, n)), sorted, n0 - n);
  }

  function finishPoints(times, out, sorted, bad) {
    if (!sorted) {
      const n = times.length;
      const order = Array.from({ length: n }, (_, i) => i).sort((a, b) => times[a] - times[b] || a - b);
      const src = times;
      times = Float64Array.from(order, (i) => src[i]);
      out = out.map((col) => Float64Array.from(order, (i) => col[i]));
    }
    return { t: times, cols: out, bad: bad };
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
  // One colour per state value, the same in every row: the hue walks the golden angle over a hash of
  // the value, so neighbouring values (consecutive thread ids) look clearly different. A series' end
  // state is a pale grey.
  function stateColour(value, endState) {
    const isEnd = endState !== null && value === endState;
    const key = isEnd ? 'end' : value;
    let c = colourCache.get(key);
    if (c) return c;
    let rgb;
    if (isEnd) {
      rgb = END_STATE_COLOUR;
    } else {
      let h = Math.imul((value | 0) ^ Math.floor(value / 4294967296), 0x9e3779b1) >>> 0;
      h = Math.imul(h ^ (h >>> 15), 0x85ebca6b) >>> 0;
      const hue = ((h % 9973) / 9973) * 360;
      const sat = 0.5 + ((h >>> 8) % 4) * 0.08;
      const light = 0.55 + ((h >>> 12) % 3) * 0.07;
      rgb = hslToRgb(hue, sat, light);
    }
    c = { u32: packColour(rgb), css: 'rgb(' + rgb.join(',') + ')', dark: 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2] < 140 };
    colourCache.set(key, c);
    return c;
  }
  const LINE_U32 = packColour(LINE_COLOUR);
  const FILL_U32 = packColour(FILL_COLOUR);
  const GRID_U32 = packColour(GRID_COLOUR);

  // ---- text ----------------------------------------------------------------------------------------

  function numberText(v) {
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
  function stateText(col, value) {
    const name = col.namer ? col.namer(value) : null;
    return name !== null ? name + ' (' + numberText(value) + ')' : numberText(value);
  }
  function stateShortText(col, value) {
    const name = col.namer ? col.namer(value) : null;
    return name !== null ? name : numberText(value);
  }

  // ---- model ---------------------------------------------------------------------------------------

  const docs = readEmbedded('plot-data', true);
  const sources = readEmbedded('plot-sources').filter((s) => typeof s === 'string');
  const series = [];
  const lanes = [];
  let unreadablePoints = 0;

  const docInfo = docs.map((doc, d) => {
    if (!Array.isArray(doc)) {
      problems.push('input ' + (d + 1) + ' is not plot data');
      return { dicts: new Map(), objects: [], end: -Infinity };
    }
    return { dicts: collectDictionaries(doc), objects: doc, end: -Infinity };
  });

  let origin = Infinity;
  for (const info of docInfo) {
    for (const obj of info.objects) {
      if (isObject(obj) && obj.type !== 'dictionaries' && Number.isFinite(obj.time)) origin = Math.min(origin, obj.time);
    }
  }
  const originKnown = Number.isFinite(origin);
  if (!originKnown) origin = 0;

  let seriesIndex = 0;
  docInfo.forEach((info, d) => {
    for (const obj of info.objects) {
      if (!isObject(obj) || obj.type === 'dictionaries') continue;
      const s = buildSeries(obj, seriesIndex++, d, info);
      series.push(s);
      for (const lane of s.lanes) {
        if (lane.t && lane.t.length) info.end = Math.max(info.end, lane.t[lane.t.length - 1]);
      }
    }
  });

  function buildSeries(obj, index, d, info) {
    const label = typeof obj.label === 'string' ? obj.label : '';
    const s = {
      index: index, doc: d, label: label,
      group: typeof obj.group === 'string' ? obj.group : '',
      info: isObject(obj.info) ? obj.info : {},
      type: typeof obj.type === 'string' ? obj.type : '',
      lanes: [], columns: readColumns(info.dicts, obj.columnDictionary),
      endState: Number.isFinite(obj.endState) ? obj.endState : null,
    };
    const shift = Number.isFinite(obj.time) ? obj.time - origin : 0;
    const col = (c) => s.columns.get(c) || { name: 'column ' + c, label: 'column ' + c, namer: null };
    const layout = STATE_LAYOUTS[s.type];
    if (layout) {
      s.kind = 'state';
      s.stateCol = col(1);
      s.keyCol = layout.key ? col(layout.key) : null;
      s.magCol = layout.mag ? col(layout.mag) : null;
      const wanted = [1];
      if (layout.key) wanted.push(layout.key);
      if (layout.mag) wanted.push(layout.mag);
      const pts = readPoints(obj.data, wanted, shift);
      unreadablePoints += pts.bad;
      const v = pts.cols[0];
      const m = layout.mag ? pts.cols[wanted.indexOf(layout.mag)] : null;
      if (!layout.key) {
        s.lanes.push(stateLane(s, info, pts.t, v, m, null));
      } else {
        const keys = pts.cols[1];
        // One pass to count the points per key, one to place them: linear in the points.
        const slot = new Map();
        for (let i = 0; i < keys.length; i++) {
          const e = slot.get(keys[i]);
          if (e) e.n++; else slot.set(keys[i], { n: 1, j: 0, t: null, v: null, m: null });
        }
        for (const e of slot.values()) {
          e.t = new Float64Array(e.n); e.v = new Float64Array(e.n);
          if (m) e.m = new Float64Array(e.n);
        }
        for (let i = 0; i < keys.length; i++) {
          const e = slot.get(keys[i]);
          e.t[e.j] = pts.t[i]; e.v[e.j] = v[i];
          if (m) e.m[e.j] = m[i];
          e.j++;
        }
        s.lanes.push({ kind: 'heading', series: s });
        for (const key of Array.from(slot.keys()).sort((a, b) => a - b)) {
          const e = slot.get(key);
          s.lanes.push(stateLane(s, info, e.t, e.v, e.m, key));
        }
      }
    } else if (NUMBER_TYPES.has(s.type)) {
      s.kind = 'number';
      s.valueCol = col(1);
      const style = isObject(obj.hints) && typeof obj.hints.style === 'string' ? obj.hints.style.toLowerCase() : '';
      s.line = style === 'line' || style === 'lines' || style === 'linear';
      const pts = readPoints(obj.data, [1], shift);
      unreadablePoints += pts.bad;
      const v = pts.cols[0];
      let min = Infinity, max = -Infinity;
      for (let i = 0; i < v.length; i++) { if (v[i] < min) min = v[i]; if (v[i] > max) max = v[i]; }
      s.min = min; s.max = max;
      s.lanes.push({ kind: 'number', series: s, doc: info, t: pts.t, v: v });
    } else {
      s.kind = 'other';
      s.lanes.push({ kind: 'other', series: s });
      problems.push('series "' + label + '" has the type "' + s.type + '", which is not shown');
    }
    for (const lane of s.lanes) lanes.push(lane);
    obj.data = null; // the points live on in the lanes' typed arrays
    return s;
  }

  function stateLane(s, info, t, v, m, key) {
    const c = new Uint32Array(v.length);
    for (let i = 0; i < v.length; i++) c[i] = stateColour(v[i], s.endState).u32;
    let keyLabel = null;
    if (key !== null) {
      const name = s.keyCol && s.keyCol.namer ? s.keyCol.namer(key) : null;
      keyLabel = name !== null ? name + ' (' + numberText(key) + ')' : numberText(key);
    }
    return { kind: 'state', series: s, doc: info, t: t, v: v, m: m, c: c, key: key, keyLabel: keyLabel };
  }

  // The whole time range, and each document's end (where the last state span of a series ends).
  let fullStart = Infinity, fullEnd = -Infinity;
  for (const lane of lanes) {
    if (!lane.t || lane.t.length === 0) continue;
    fullStart = Math.min(fullStart, lane.t[0]);
    fullEnd = Math.max(fullEnd, lane.t[lane.t.length - 1]);
  }
  if (!Number.isFinite(fullStart)) { fullStart = 0; fullEnd = 1; }
  if (fullEnd <= fullStart) fullEnd = fullStart + 1;
  for (const info of docInfo) if (!Number.isFinite(info.end)) info.end = fullEnd;
  if (unreadablePoints > 0) problems.push(unreadablePoints + ' points could not be read');

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
      const gkey = (many ? s.doc + '\n' : '') + s.group;
      let g = groups.get(gkey);
      if (!g) {
        let title = s.group !== '' ? s.group : '(no group)';
        if (many) title += ' \u2014 ' + (sources.length === docs.length ? sources[s.doc] : 'document ' + (s.doc + 1));
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
      const node = make('div', 'lane ' + lane.kind + (lane.key !== undefined && lane.key !== null ? ' sub' : ''));
      const label = make('div', 'lane-label');
      const text = lane.keyLabel !== null && lane.keyLabel !== undefined ? lane.keyLabel : s.label;
      if (lane.kind === 'number') {
        const range = make('span', 'range');
        const has = Number.isFinite(s.min);
        range.append(make('span', 'max', has ? numberText(s.max) : ''), make('span', 'min', has ? numberText(s.min) : ''));
        range.title = 'maximum and minimum';
        label.append(make('span', 'name', text), range);
      } else if (lane.kind === 'other') {
        label.textContent = text + ' (type "' + s.type + '" not shown)';
      } else {
        label.textContent = text;
      }
      if (lane.key !== null && lane.key !== undefined) node.dataset.key = numberText(lane.key);
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
  let image = null, pixels = null, rowLine = null, gridLine = null, cover = null, colourAt = null;
  let lo = null, hi = null;
  let drawPending = false, firstDrawDone = false, drawCount = 0;

  function clampView(start, end) {
    const full = fullEnd - fullStart;
    let span = Math.min(Math.max(end - start, full * 1e-9, 1e-9), full);
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
    for (const lane of lanes) {
      if (!lane.el || lane.el.offsetParent === null || lane.hidden) continue;
      lane.top = lane.el.offsetTop;
      lane.height = lane.el.offsetHeight;
      visibleLanes.push(lane);
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

  // ---- drawing -------------------------------------------------------------------------------------

  function upperBound(a, x) {
    let l = 0, h = a.length;
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
      rowLine = new Uint32Array(W); gridLine = new Uint32Array(W); cover = new Float32Array(W);
      colourAt = new Uint32Array(W); lo = new Float64Array(W); hi = new Float64Array(W);
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
    let k = firstLaneAt(scrollTop);
    for (; k < visibleLanes.length; k++) {
      const lane = visibleLanes[k];
      if (lane.top >= scrollTop + plotHeight) break;
      const y0 = Math.round((lane.top - scrollTop) * dpr);
      const y1 = Math.round((lane.top + lane.height - scrollTop) * dpr) - Math.max(1, Math.round(dpr));
      if (lane.kind === 'state') drawStateLane(lane, y0 + Math.round(dpr), y1, W, H, scale, labels);
      else if (lane.kind === 'number') drawNumberLane(lane, y0 + Math.round(2 * dpr), y1 - Math.round(dpr), W, H, scale);
    }
    const ctx = plot.getContext('2d');
    ctx.putImageData(image, 0, 0);
    drawSpanLabels(ctx, labels);
    drawAxis(step);

    const took = performance.now() - began;
    drawCount++;
    plot.dataset.viewStart = String(view.start);
    plot.dataset.viewEnd = String(view.end);
    plot.dataset.drawMs = took.toFixed(2);
    plot.dataset.drawCount = String(drawCount);
    if (!firstDrawDone) {
      firstDrawDone = true;
      document.documentElement.dataset.firstDrawMs = performance.now().toFixed(1);
      setTimeout(buildLegend, 0);
    }
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

  // Per pixel column, the state whose span covers most of that column; O(points in view + width).
  function drawStateLane(lane, y0, y1, W, H, scale, labels) {
    const t = lane.t, n = t.length;
    if (n === 0 || y1 <= 0 || y0 >= H) return;
    cover.fill(0);
    const end = lane.doc.end;
    let i = Math.max(0, upperBound(t, view.start) - 1);
    const last = upperBound(t, view.end);
    for (; i < last; i++) {
      const s = t[i], e = i + 1 < n ? t[i + 1] : end;
      if (e <= view.start || e <= s) continue;
      const xs = Math.max(0, (s - view.start) * scale), xe = Math.min(W, (e - view.start) * scale);
      if (xe <= xs) continue;
      const c = lane.c[i];
      const a = Math.floor(xs), b = Math.floor(xe);
      if (a === b) {
        const f = xe - xs;
        if (f > cover[a]) { cover[a] = f; colourAt[a] = c; }
        continue;
      }
      const f = a + 1 - xs;
      if (f > cover[a]) { cover[a] = f; colourAt[a] = c; }
      for (let x = a + 1; x < b; x++) { cover[x] = 1; colourAt[x] = c; }
      if (b < W) { const g = xe - b; if (g > cover[b]) { cover[b] = g; colourAt[b] = c; } }
    }
    for (let x = 0; x < W; x++) rowLine[x] = cover[x] > 0 ? colourAt[x] : gridLine[x];
    fillRows(y0, y1, H, W);
    // State names go on runs of one state that are wide enough, once per run; the end state has none.
    const first = Math.max(0, upperBound(t, view.start) - 1);
    if (last - first > 4 * W) return;
    const v = lane.v, endState = lane.series.endState;
    let run = -1, runStart = 0, runEnd = 0;
    const flush = () => {
      if (run >= 0 && runEnd - runStart >= LABEL_MIN_SPAN_PX * dpr) labels.push({ lane: lane, i: run, x: runStart, w: runEnd - runStart, y: y0, h: y1 - y0 });
    };
    for (let j = first; j < last; j++) {
      const xs = Math.max(0, (t[j] - view.start) * scale), xe = Math.min(W, ((j + 1 < n ? t[j + 1] : end) - view.start) * scale);
      if (run >= 0 && v[j] === v[run] && xs <= runEnd + 0.5) { runEnd = Math.max(runEnd, xe); continue; }
      flush();
      run = v[j] === endState ? -1 : j;
      runStart = xs; runEnd = xe;
    }
    flush();
  }

  // A step line (or a line) reduced to the covered value range per pixel column, over a light fill.
  function drawNumberLane(lane, y0, y1, W, H, scale) {
    const s = lane.series, t = lane.t, v = lane.v, n = t.length;
    if (n === 0 || y1 <= y0 || y1 <= 0 || y0 >= H) return;
    const range = s.max - s.min;
    lo.fill(Infinity); hi.fill(-Infinity);
    const min = s.min, height = y1 - y0, k = range > 0 ? height / range : 0, mid = (y0 + y1) / 2;
    let i = Math.max(0, upperBound(t, view.start) - 1);
    const last = Math.min(n, upperBound(t, view.end) + 1);
    const end = lane.doc.end, start = view.start, line = s.line;
    for (; i < last; i++) {
      const xs = (t[i] - start) * scale;
      const hasNext = i + 1 < n;
      const xe = ((hasNext ? t[i + 1] : (line ? t[i] : end)) - start) * scale;
      if (xe < 0 || xs >= W) continue;
      const a = xs > 0 ? Math.floor(xs) : 0, b = xe < W - 1 ? Math.floor(xe) : W - 1;
      const ya = range > 0 ? y1 - (v[i] - min) * k : mid;
      if (!line || !hasNext || xe <= xs) {
        for (let x = a; x <= b; x++) {
          if (ya < lo[x]) lo[x] = ya;
          if (ya > hi[x]) hi[x] = ya;
        }
        if (hasNext && xe < W && xe >= 0) {
          const yb = range > 0 ? y1 - (v[i + 1] - min) * k : mid;
          if (yb < lo[b]) lo[b] = yb;
          if (yb > hi[b]) hi[b] = yb;
        }
      } else {
        const yb = range > 0 ? y1 - (v[i + 1] - min) * k : mid;
        const slope = (yb - ya) / (xe - xs);
        for (let x = a; x <= b; x++) {
          const p = ya + slope * ((x > xs ? x : xs) - xs), q = ya + slope * ((x + 1 < xe ? x + 1 : xe) - xs);
          const l = p < q ? p : q, h = p < q ? q : p;
          if (l < lo[x]) lo[x] = l;
          if (h > hi[x]) hi[x] = h;
        }
      }
    }
    const thick = Math.max(1, Math.round(dpr));
    const top = Math.max(0, y0), bottom = Math.min(H, y1 + 1);
    for (let x = 0; x < W; x++) {
      if (hi[x] < lo[x]) continue;
      const a = Math.max(top, Math.round(lo[x])), b = Math.min(bottom, Math.round(hi[x]) + thick);
      for (let y = a; y < b; y++) pixels[y * W + x] = LINE_U32;
      for (let y = Math.max(b, top); y < bottom; y++) pixels[y * W + x] = FILL_U32;
    }
  }

  function drawSpanLabels(ctx, labels) {
    if (labels.length === 0) return;
    ctx.save();
    ctx.font = Math.round(11 * dpr) + 'px system-ui, "DejaVu Sans", sans-serif';
    ctx.textBaseline = 'middle';
    for (const l of labels) {
      const s = l.lane.series;
      let text = stateShortText(s.stateCol, l.lane.v[l.i]);
      const room = l.w - 8 * dpr;
      if (ctx.measureText(text).width > room) {
        while (text.length > 1 && ctx.measureText(text + '\u2026').width > room) text = text.slice(0, -1);
        if (text.length <= 1) continue;
        text += '\u2026';
      }
      const colour = stateColour(l.lane.v[l.i], s.endState);
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

  // The state values by the time they take up in all state rows, with their colours and names.
  function buildLegend() {
    const legend = el('legend');
    const total = new Map();
    for (const lane of lanes) {
      if (lane.kind !== 'state') continue;
      const t = lane.t, v = lane.v, n = t.length, end = lane.doc.end, s = lane.series;
      for (let i = 0; i < n; i++) {
        if (s.endState !== null && v[i] === s.endState) continue;
        const d = (i + 1 < n ? t[i + 1] : end) - t[i];
        const e = total.get(v[i]);
        if (e) e.time += d; else total.set(v[i], { time: d, col: s.stateCol, value: v[i], endState: s.endState });
      }
    }
    const items = Array.from(total.values()).sort((a, b) => b.time - a.time);
    if (items.length === 0) { legend.hidden = true; relayout(); return; }
    legend.append(make('span', 'title', 'States by time taken:'));
    const shown = items.slice(0, 40);
    for (const it of shown) {
      const item = make('span', 'item');
      const sw = make('span', 'swatch');
      sw.style.background = stateColour(it.value, it.endState).css;
      item.append(sw, document.createTextNode(stateText(it.col, it.value)));
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
    return lane.keyLabel !== null && lane.keyLabel !== undefined ? lane.series.label + ' \u203a ' + lane.keyLabel : lane.series.label;
  }

  function showLabelTip(e, lane) {
    const s = lane.series;
    const lines = [{ text: laneTitle(lane) }];
    for (const key of Object.keys(s.info)) {
      const value = s.info[key];
      lines.push({ key: key === 'description' ? '' : key, text: typeof value === 'string' ? value : JSON.stringify(value) });
    }
    if (s.kind === 'number' && Number.isFinite(s.min)) lines.push({ key: 'range', text: numberText(s.min) + ' to ' + numberText(s.max) });
    const r = e.target.getBoundingClientRect();
    showTip(r.left + 40, r.top + 4, lines.map((l) => (l.key === '' ? { text: l.text } : l)));
  }

  function laneAtY(y) {
    const k = firstLaneAt(y);
    const lane = visibleLanes[k];
    return lane && lane.top <= y ? lane : null;
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
    const i = upperBound(lane.t, time) - 1;
    if (lane.kind === 'state') {
      const end = i + 1 < lane.t.length ? lane.t[i + 1] : lane.doc.end;
      if (i < 0 || time > end) {
        lines.push({ text: i < 0 ? 'no state yet' : 'after the end of the data' });
      } else {
        const v = lane.v[i];
        lines.push({ key: s.stateCol.label, text: stateText(s.stateCol, v), swatch: stateColour(v, s.endState).css });
        if (lane.m) lines.push({ key: s.magCol.label, text: numberText(lane.m[i]) });
        lines.push({ key: 'span', text: durationText(end - lane.t[i]) + ' (' + timeText(lane.t[i]) + ' to ' + timeText(end) + ')' });
      }
    } else if (i < 0) {
      lines.push({ text: 'no value yet' });
    } else {
      lines.push({ key: s.valueCol.label, text: numberText(lane.v[i]) });
      lines.push({ key: 'since', text: timeText(lane.t[i]) });
    }
    showTip(e.clientX, e.clientY, lines);
  }

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

  let drag = null;
  function startDrag(e, range) {
    if (e.button !== 0 || !overPlot(e)) return;
    e.preventDefault();
    drag = { x: e.clientX, start: view.start, end: view.end, range: range || e.shiftKey, moved: false };
    document.body.classList.add('dragging');
    hideTip();
  }
  scroller.addEventListener('mousedown', (e) => startDrag(e, false));
  axis.addEventListener('mousedown', (e) => startDrag(e, true));
  window.addEventListener('mousemove', (e) => {
    if (!drag) return;
    const dx = e.clientX - drag.x;
    if (Math.abs(dx) > 2) drag.moved = true;
    if (drag.range) {
      const r = plot.getBoundingClientRect();
      const a = Math.max(r.left, Math.min(drag.x, e.clientX)), b = Math.min(r.left + plotWidth, Math.max(drag.x, e.clientX));
      const viewRect = el('view').getBoundingClientRect();
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
    selection.hidden = true;
    if (d.range && d.moved) {
      const a = timeAtClientX(Math.min(d.x, e.clientX)), b = timeAtClientX(Math.max(d.x, e.clientX));
      clampView(Math.max(a, view.start), Math.min(b, view.end));
    }
  });
  scroller.addEventListener('mousemove', (e) => {
    if (drag) return;
    lastMouseTime = overPlot(e) ? timeAtClientX(e.clientX) : null;
    if (e.target.classList && e.target.classList.contains('lane-plot')) hover(e);
    else if (!(e.target.classList && e.target.classList.contains('lane-label'))) hideTip();
  });
  scroller.addEventListener('mouseleave', () => { lastMouseTime = null; hideTip(); });
  scroller.addEventListener('scroll', () => { hideTip(); scheduleDraw(); }, { passive: true });

  const centre = () => (lastMouseTime !== null ? lastMouseTime : (view.start + view.end) / 2);
  el('zoom-in').addEventListener('click', () => zoomAround((view.start + view.end) / 2, 0.5));
  el('zoom-out').addEventListener('click', () => zoomAround((view.start + view.end) / 2, 2));
  el('zoom-reset').addEventListener('click', resetView);
  document.addEventListener('keydown', (e) => {
    if (e.target instanceof HTMLInputElement) {
      if (e.key === 'Escape') e.target.blur();
      return;
    }
    if (e.ctrlKey || e.metaKey || e.altKey) return;
    switch (e.key.toLowerCase()) {
      case 'w': zoomAround(centre(), 0.8); break;
      case 's': zoomAround(centre(), 1.25); break;
      case 'a': pan(-0.15); break;
      case 'd': pan(0.15); break;
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
        const whole = needle === '' || s.label.toLowerCase().includes(needle);
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

  window.addEventListener('resize', relayout);

  // ---- start ---------------------------------------------------------------------------------------

  const names = sources.length ? sources.join(', ') : '';
  el('sources').textContent = names;
  if (names) document.title = names + ' \u2014 plotwright view';
  if (originKnown) {
    const abs = origin > 1e8
      ? new Date(origin * 1000).toISOString().replace('T', ' ').replace('Z', ' UTC')
      : origin.toFixed(6) + ' s on the recording clock';
    el('origin').textContent = 'time 0 = ' + abs;
  }
  if (problems.length) el('status').textContent = problems.join('; ');
  groupList = buildRows();
  relayout();
})();
