#include "MonitorPage.h"

namespace skylark::tool {
namespace {

// Everything is built with textContent and setAttribute: beacon URLs, ad
// ids and titles come from ad documents, never as markup.
constexpr std::string_view kPage = R"PAGE(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<title>Skylark SSAI monitor</title>
<link rel="icon" href="data:,">
<style>
  body { font: 13px system-ui, sans-serif; margin: 0; background: #f4f5f7; color: #1d2330; }
  header { display: flex; gap: 28px; align-items: baseline; padding: 10px 16px;
           background: #1d2330; color: #fff; }
  header h1 { font-size: 15px; margin: 0; }
  header b { font-variant-numeric: tabular-nums; }
  #status { margin-left: auto; }
  #source { color: #aab3c5; overflow: hidden; text-overflow: ellipsis; max-width: 40vw; }
  main { display: grid; grid-template-columns: 1fr 1.3fr; gap: 12px; padding: 12px 16px; }
  section { background: #fff; border: 1px solid #dde1e7; border-radius: 6px;
            padding: 6px 12px 10px; min-width: 0; }
  section.wide { grid-column: 1 / 3; }
  h2 { font-size: 13px; margin: 4px 0 8px; color: #4a5568; }
  .scroll { max-height: 440px; overflow: auto; }
  #events-scroll { max-height: 720px; }
  table { border-collapse: collapse; width: 100%; }
  th { position: sticky; top: 0; background: #fff; color: #4a5568; font-weight: 600; }
  th, td { text-align: left; padding: 2px 8px 2px 0; border-bottom: 1px solid #eef0f3;
           white-space: nowrap; }
  td.num, th.num { text-align: right; font-variant-numeric: tabular-nums; }
  td.url { white-space: normal; word-break: break-all; }
  tr.ad td { color: #9a4d00; }
  .ok { color: #137333; } .bad { color: #b3261e; font-weight: 600; } .wait { color: #8a6d00; }
  svg { width: 100%; height: auto; display: block; }
  svg text { font-size: 11px; fill: #1d2330; }
  .content { fill: #c9d7ee; } .ad-rect { fill: #f4a03a; stroke: #fff; stroke-width: 1; }
  .playhead { stroke: #b3261e; stroke-width: 2; } .axis { stroke: #8892a6; }
</style>
</head>
<body data-state="connecting">
<header>
  <h1>Skylark SSAI monitor</h1>
  <span id="source"></span>
  <span>stream <b id="stream-time">&ndash;</b> s</span>
  <span>content <b id="content-time">&ndash;</b> s</span>
  <span>rate <b id="rate">&ndash;</b></span>
  <span id="status">connecting&hellip;</span>
</header>
<main>
  <section class="wide">
    <h2>Stream timeline: breaks and their ads on the stream's axis, the playhead in red</h2>
    <svg id="timeline" viewBox="0 0 1000 96" preserveAspectRatio="xMinYMin meet"></svg>
  </section>
  <section>
    <h2>Lifecycle events and the player</h2>
    <div class="scroll" id="events-scroll"><table>
      <thead><tr><th class="num">stream</th><th class="num">content</th><th>event</th></tr></thead>
      <tbody id="events"></tbody>
    </table></div>
  </section>
  <section>
    <h2>Beacons: what became of each (the session's delivery ledger)</h2>
    <div class="scroll"><table>
      <thead><tr><th>ad</th><th>type</th><th class="num">sent</th><th class="num">2xx</th>
        <th class="num">other</th><th class="num">failed</th><th class="num">waiting</th>
        <th class="num">retried</th></tr></thead>
      <tbody id="delivery"></tbody>
    </table></div>
    <h2>Each beacon: when it was handed over, its answer, the requests it took, and how long from hand-over to answer</h2>
    <div class="scroll"><table>
      <thead><tr><th class="num">stream</th><th class="num">content</th><th>ad</th><th>type</th>
        <th>result</th><th class="num">tries</th><th class="num">ms</th><th>URL</th></tr></thead>
      <tbody id="requests"></tbody>
    </table></div>
    <div id="polls-section" hidden>
      <h2>Tracking polls of the live session</h2>
      <div class="scroll"><table>
        <thead><tr><th class="num">stream</th><th>result</th><th class="num">avails answered</th>
          <th class="num">on the timeline</th><th>URL</th></tr></thead>
        <tbody id="polls"></tbody>
      </table></div>
    </div>
  </section>
</main>
<script>
'use strict';
const SVG = 'http://www.w3.org/2000/svg';
const $ = (id) => document.getElementById(id);
let session = 0;     // the run shown on the timeline (the demo plays two)
let timeline = null;
let playhead = { t: 0, content: 0, rate: 0 };
const deliveries = new Map();  // session -> rows
const beacons = new Map();     // 'session/n' -> its row in the requests table

function cell(row, text, className) {
  const td = document.createElement('td');
  td.textContent = text;
  if (className) td.className = className;
  row.appendChild(td);
  return td;
}
// A table scrolled to its last row keeps showing the last row as rows come.
function place(body, row, before) {
  const box = body.closest('.scroll');
  const atEnd = !box || box.scrollHeight - box.scrollTop - box.clientHeight < 24;
  body.insertBefore(row, before || null);
  if (box && atEnd) box.scrollTop = box.scrollHeight;
}
function seconds(value) { return typeof value === 'number' ? value.toFixed(3) : ''; }
function shape(name, attributes, text) {
  const node = document.createElementNS(SVG, name);
  for (const [key, value] of Object.entries(attributes)) node.setAttribute(key, value);
  if (text !== undefined) node.textContent = text;
  return node;
}

function reset() {
  session = 0;
  timeline = null;
  playhead = { t: 0, content: 0, rate: 0 };
  deliveries.clear();
  beacons.clear();
  for (const id of ['events', 'delivery', 'requests', 'polls']) $(id).replaceChildren();
  $('polls-section').hidden = true;
  draw();
}

// The axis: a VOD's whole stream; for a live stream two minutes around the playhead.
function axis() {
  if (timeline && !timeline.live && timeline.timeline.payloadLength > 0) {
    return [0, timeline.timeline.payloadLength];
  }
  return [Math.max(0, playhead.t - 90), Math.max(0, playhead.t - 90) + 120];
}

function draw() {
  const svg = $('timeline');
  svg.replaceChildren();
  const [from, to] = axis();
  const x = (t) => 30 + ((t - from) / (to - from)) * 940;
  svg.appendChild(shape('rect', { class: 'content', x: 30, y: 22, width: 940, height: 30 }));
  for (const sequence of (timeline && timeline.timeline.adSequences) || []) {
    const ads = sequence.ads || [];
    const group = shape('g', { class: 'break', 'data-ads': ads.map((ad) => ad.adId).join(' ') });
    for (const ad of ads) {
      const left = Math.max(x(ad.beginTime), 30), right = Math.min(x(ad.endTime), 970);
      if (right <= 30 || left >= 970) continue;
      const rect = shape('rect', { class: 'ad-rect', x: left, y: 22, width: Math.max(right - left, 2), height: 30 });
      rect.appendChild(shape('title', {}, ad.adId + ' ' + seconds(ad.beginTime) + '-' + seconds(ad.endTime) + ' s'));
      group.appendChild(rect);
    }
    if (x(sequence.beginTime) >= 30 && x(sequence.beginTime) <= 970) {
      group.appendChild(shape('text', { x: x(sequence.beginTime) + 2, y: 16 }, ads.map((ad) => ad.adId).join(' ')));
    }
    svg.appendChild(group);
  }
  svg.appendChild(shape('line', { class: 'axis', x1: 30, y1: 60, x2: 970, y2: 60 }));
  for (let i = 0; i <= 10; ++i) {
    const t = from + ((to - from) * i) / 10;
    svg.appendChild(shape('line', { class: 'axis', x1: x(t), y1: 60, x2: x(t), y2: 64 }));
    svg.appendChild(shape('text', { x: x(t), y: 78, 'text-anchor': 'middle' }, t.toFixed(0) + ' s'));
  }
  const at = Math.min(Math.max(x(playhead.t), 30), 970);
  svg.appendChild(shape('line', { class: 'playhead', x1: at, y1: 18, x2: at, y2: 56 }));
  svg.appendChild(shape('text', { x: Math.min(at + 4, 880), y: 92 }, 'content ' + seconds(playhead.content) + ' s'));
}

function showPlayhead(data) {
  playhead = data;
  $('stream-time').textContent = seconds(data.t);
  $('content-time').textContent = seconds(data.content);
  $('rate').textContent = String(data.rate);
  draw();
}

function showLine(data) {
  const fields = data.fields || {};
  // Beacons and polls have tables of their own, fed by their own events.
  if (fields.beacon !== undefined || fields.poll !== undefined) return;
  const row = document.createElement('tr');
  row.className = fields.lifecycle !== undefined ? 'lifecycle' : 'player';
  if (fields.adId !== undefined) row.classList.add('ad');
  cell(row, seconds(fields.t), 'num');
  cell(row, seconds(fields.content), 'num');
  cell(row, data.text);
  place($('events'), row);
}

function showDelivery(data) {
  deliveries.set(data.session, data.rows);
  const body = $('delivery');
  body.replaceChildren();
  for (const rows of deliveries.values()) {
    for (const entry of rows) {
      const row = document.createElement('tr');
      row.className = 'delivery';
      const counts = { ad: entry.adId, type: entry.type, handed: entry.handed, ok: entry.answered2xx,
                       other: entry.answeredOther, failed: entry.transportFailed, retried: entry.retried };
      for (const [key, value] of Object.entries(counts)) row.setAttribute('data-' + key, String(value));
      const waiting = counts.handed - counts.ok - counts.other - counts.failed;
      cell(row, counts.ad || '(content)');
      cell(row, counts.type);
      cell(row, String(counts.handed), 'num');
      cell(row, String(counts.ok), 'num ok');
      cell(row, String(counts.other), counts.other ? 'num bad' : 'num');
      cell(row, String(counts.failed), counts.failed ? 'num bad' : 'num');
      cell(row, String(waiting), waiting ? 'num wait' : 'num');
      cell(row, String(counts.retried), counts.retried ? 'num wait' : 'num');
      body.appendChild(row);
    }
  }
}

// One beacon: a row as it is handed over, filled in when its answer comes.
// Rows stay in the order beacons were handed over, however late a page
// connects (a snapshot lists them by key).
function showBeacon(data) {
  const key = data.session + '/' + data.n;
  const row = document.createElement('tr');
  row.className = 'request';
  for (const name of ['session', 'n', 'url', 'outcome', 'attempts']) {
    if (data[name] !== undefined) row.setAttribute('data-' + name, String(data[name]));
  }
  cell(row, seconds(data.t), 'num');
  cell(row, seconds(data.content), 'num');
  cell(row, data.ad || '(content)');
  cell(row, data.type);
  const classes = { '2xx': 'ok', other: 'bad', failed: 'bad', waiting: 'wait' };
  cell(row, data.result || data.outcome, classes[data.outcome] || '');
  cell(row, data.attempts === undefined ? '' : String(data.attempts), data.attempts > 1 ? 'num wait' : 'num');
  cell(row, data.ms === undefined ? '' : data.ms.toFixed(1), 'num');
  cell(row, data.url, 'url');
  const body = $('requests');
  const old = beacons.get(key);
  beacons.set(key, row);
  if (old) { old.replaceWith(row); return; }
  let next = null;  // mostly the end: beacons come in order
  for (let other = body.lastElementChild; other; other = other.previousElementSibling) {
    const s = Number(other.getAttribute('data-session')), n = Number(other.getAttribute('data-n'));
    if (s < data.session || (s === data.session && n < data.n)) break;
    next = other;
  }
  place(body, row, next);
}

function showPoll(data) {
  $('polls-section').hidden = false;
  const row = document.createElement('tr');
  row.className = 'poll';
  row.setAttribute('data-avails', String(data.availsAnswered));
  if (data.error !== undefined) row.setAttribute('data-error', data.error);
  cell(row, seconds(data.t), 'num');
  if (data.error !== undefined) {
    cell(row, data.error, 'bad');
  } else {
    cell(row, data.timelineChanged ? 'merged: the timeline changed' : 'nothing new', 'ok');
  }
  cell(row, String(data.availsAnswered), 'num');
  cell(row, String(data.availsKnown), 'num');
  cell(row, data.url, 'url');
  place($('polls'), row);
}

const handlers = {
  session: (data) => {
    session = data.session;
    timeline = null;
    $('source').textContent = data.source;
    draw();
  },
  timeline: (data) => {
    if (data.session !== session) return;
    timeline = data;
    draw();
  },
  playhead: showPlayhead,
  line: showLine,
  delivery: showDelivery,
  beacon: showBeacon,
  poll: showPoll,
  over: () => {
    document.body.setAttribute('data-state', 'over');
    $('status').textContent = 'the session is over';
    events.close();
  },
};

const events = new EventSource('/events');
events.addEventListener('open', () => {
  document.body.setAttribute('data-state', 'live');
  $('status').textContent = 'live';
});
events.addEventListener('error', () => {
  if (document.body.getAttribute('data-state') === 'over') return;
  document.body.setAttribute('data-state', 'reconnecting');
  $('status').textContent = 'reconnecting\u2026';
});
events.addEventListener('snapshot', (message) => {
  reset();
  for (const item of JSON.parse(message.data)) handlers[item.event](item.data);
});
for (const name of Object.keys(handlers)) {
  events.addEventListener(name, (message) => handlers[name](JSON.parse(message.data)));
}
draw();
</script>
</body>
</html>
)PAGE";

}  // namespace

std::string_view monitorPage() { return kPage; }

}  // namespace skylark::tool
