#!/usr/bin/env node
// Writes a large generic plot data document shaped like the output of a busy scheduler recording:
// per-CPU priority, task and state series, one task-state series per thread, the wakeup CPU, and a
// state plot with one sub-row per thread, with the thread and column dictionaries. The same arguments
// always give the same bytes (fixed pseudo-random sequence).
// Usage: make-large-plot.js OUTPUT [switches per CPU (default 28000)]
'use strict';
const fs = require('fs');

const out = process.argv[2];
if (!out) {
  process.stderr.write('usage: make-large-plot.js OUTPUT [switches per CPU]\n');
  process.exit(2);
}
const perCpu = Number(process.argv[3] || 28000);
const CPUS = 8;
const THREADS = 600;
const FIRST_TID = 3000;
const ORIGIN = 52731.402117;

let seed = 0x2545f491;
function random() {
  seed = (seed + 0x6d2b79f5) | 0;
  let t = Math.imul(seed ^ (seed >>> 15), 1 | seed);
  t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
  return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
}
const pick = (n) => Math.floor(random() * n);
const time = (t) => Number(t.toFixed(6));

const names = ['worker', 'kworker/u16:', 'ksoftirqd/', 'irq/', 'postgres', 'nginx', 'java', 'python3', 'ssh', 'bash'];
const threads = [];
for (let i = 0; i < THREADS; i++) {
  const tid = FIRST_TID + i;
  threads.push({ tid: tid, pid: FIRST_TID + (i - (i % 4)), name: names[i % names.length] + (i % 97), prio: i % 13 === 0 ? 100 : 120 });
}

// The scheduler: every CPU switches between threads; the thread switched out either blocks (and is
// woken later) or is preempted.
const cpuPrio = [], cpuPid = [], cpuState = [], taskState = new Map(), waitWake = [], wakeCpu = [];
for (let c = 0; c < CPUS; c++) {
  const prio = [], pid = [], state = [];
  let t = random() * 0.001, current = null;
  for (let k = 0; k < perCpu; k++) {
    t += 0.00002 + random() * random() * 0.0008;
    const idle = random() < 0.15;
    const next = idle ? null : threads[pick(THREADS)];
    prio.push([time(t), next ? next.prio : 120]);
    pid.push([time(t), next ? next.pid : 0]);
    state.push([time(t), next ? next.pid : 0]);
    if (current) {
      const blocked = random() < 0.6;
      const st = blocked ? (random() < 0.9 ? 1 : 2) : 256;
      let list = taskState.get(current.tid);
      if (!list) taskState.set(current.tid, (list = []));
      list.push([time(t), st]);
      if (blocked) {
        const woken = t + random() * 0.004;
        waitWake.push([time(t), 372, current.tid], [time(woken), 374, current.tid]);
        wakeCpu.push([time(woken), pick(CPUS)]);
      }
    }
    current = next;
  }
  cpuPrio.push(prio); cpuPid.push(pid); cpuState.push(state);
}
const byTime = (a, b) => a[0] - b[0];
waitWake.sort(byTime);
for (const list of taskState.values()) list.sort(byTime);
wakeCpu.sort(byTime);

const series = [];
const numberSeries = (label, pivot, field, group, description, hints, data) => {
  const s = { label: label };
  if (pivot) s.pivot = pivot;
  s.columnDictionary = { type: 'map', map: { [field]: { column: 1, description: 'Field ' + field + ' from trace event sched:sched_switch' } } };
  s.group = group;
  s.info = Object.assign({ description: description }, pivot || {}, { 'Trace Event': 'sched:sched_switch', 'Trace Field': field });
  if (hints) s.hints = hints;
  s.time = ORIGIN;
  s.type = 'long';
  s.data = data;
  return s;
};
const columns = (map) => ({ type: 'map', extends: { scope: 'plotwright', dictionary: 'statePlotColumns' }, map: map });
for (let c = 0; c < CPUS; c++) {
  series.push(numberSeries('CPU ' + c, { common_cpu: c }, 'next_prio', 'Scheduler per CPU', 'Priority of the task switched in', { style: 'steps' }, cpuPrio[c]));
}
for (let c = 0; c < CPUS; c++) {
  series.push(numberSeries('CPU ' + c, { common_cpu: c }, 'next_pid', 'Scheduler per CPU', 'Process id of the task switched in', { style: 'steps' }, cpuPid[c]));
}
for (const th of threads) {
  const data = taskState.get(th.tid);
  if (data) series.push(numberSeries(th.name, { common_tid: th.tid }, 'prev_state', 'Scheduler per task', 'Kernel task state when it leaves the CPU', null, data));
}
series.push(numberSeries('CPU chosen for woken tasks', null, 'target_cpu', 'Wakeups', 'The CPU on which each woken task is to run', { style: 'line' }, wakeCpu));
for (let c = 0; c < CPUS; c++) {
  series.push({
    label: 'CPU ' + c, pivot: { common_cpu: c },
    columnDictionary: columns({ next_pid: { column: 1, description: 'next_pid', dataDictionary: { scope: 'plotwright', dictionary: 'common_pid' } } }),
    group: 'Scheduler per CPU', endState: 0,
    info: { description: 'The task that runs on the CPU', common_cpu: c, State: 'next_pid', 'Trace Events': 'sched:sched_switch' },
    time: ORIGIN, type: 'state', data: cpuState[c],
  });
}
series.push({
  label: 'Threads waiting or woken',
  columnDictionary: columns({
    common_type: { column: 1, description: 'common_type' },
    inner_pivot: { column: 2, description: 'Composite of fields: pid, prev_pid', dataDictionary: { scope: 'plotwright', dictionary: 'common_tid' } },
  }),
  group: 'Scheduler per task', endState: 0,
  info: { description: 'Per thread: waiting from the moment it blocks until it is woken', State: 'common_type', Subplot: 'Composite of fields: pid, prev_pid', 'Trace Events': 'sched:sched_switch, sched:sched_wakeup' },
  time: ORIGIN, type: 'state-key', data: waitWake,
});
series.push({
  type: 'dictionaries', scope: 'plotwright',
  dictionaries: {
    statePlotColumns: {
      type: 'map',
      map: {
        state: { label: 'State', description: 'Event state as defined in the configuration.', correlate: 0 },
        inner_pivot: { label: 'Subplot', description: 'Key that separates the plots within a chart as defined in the configuration.', correlate: 0 },
        magnitude: { label: 'Y-Axis', description: 'Point value as defined in the configuration.', correlate: 0 },
      },
    },
  },
});
const tidMap = {};
for (const th of threads) tidMap[th.tid] = th.pid !== th.tid ? { pid: th.pid, label: th.name } : { label: th.name };
series.push({ type: 'dictionaries', dictionaries: { common_tid: { type: 'map', map: tidMap }, common_pid: { type: 'map', extends: { dictionary: 'common_tid' }, map: {} } } });
series.push({
  type: 'dictionaries', scope: 'plotwright',
  dictionaries: {
    common_tid: { type: 'map', extends: { dictionary: 'common_tid' }, map: {} },
    common_pid: { type: 'map', extends: { scope: 'plotwright', dictionary: 'common_tid' }, map: {} },
  },
});

const text = JSON.stringify(series);
fs.writeFileSync(out, text);
let points = 0;
for (const s of series) if (s.data) points += s.data.length;
process.stdout.write(out + ': ' + points + ' points, ' + text.length + ' bytes\n');
