// The trace of one attempt as a timeline: one lane per stream (its events as dots, its
// checks as bars from start to end), a lane of actions and one of expectations (bars from
// scheduled or created to finished or settled), and one of provider facts when there are
// any. Zoomable (buttons, or Ctrl + wheel); every item is a button whose description shows
// below the lanes on hover or focus. The records are also listed as text, for reading
// without the drawing. The element builder, times and verdict words are common.js's.
(function () {
  'use strict';

  const { h, seconds, verdictWord } = window.VLCommon;

  const FIT_WIDTH = 1000;  // px the whole trace takes before zooming
  const ROW_HEIGHT = 14;   // px of one row of bars within a lane
  const POINT_GAP = 10;    // px from one event's dot to the next one's, at least

  // A moment of the trace, one digit finer than a duration: close records stay apart.
  const secondsText = (t) => seconds(t, 1);

  // One line per record, as people read it.
  function recordLine(record) {
    const fields = Object.entries(record)
      .filter(([key, value]) => key !== 't' && key !== 'kind' && value !== null)
      .map(([key, value]) => `${key}: ${typeof value === 'string' ? value.replace(/\n/g, ' ⏎ ') : value}`);
    return `${(record.t || 0).toFixed(4).padStart(9)}  ${record.kind.padEnd(11)} ${fields.join(' · ')}`;
  }

  // Turns records into lanes of items {start, end, kind, state, text}.
  function lanesOf(records) {
    const streams = new Map();
    const actions = [];
    const expectations = [];
    const provider = [];
    const openActions = new Map();
    const openChecks = new Map();
    const openExpectations = new Map();
    const streamLane = (record) => {
      if (!streams.has(record.streamID)) streams.set(record.streamID, { key: `stream-${record.streamID}`, label: `#${record.streamID} ${record.stream}`, items: [] });
      return streams.get(record.streamID);
    };
    for (const record of records) {
      const t = record.t || 0;
      if (record.kind === 'stream') streamLane(record);
      else if (record.kind === 'event') {
        streamLane(record).items.push({ start: t, end: t, kind: 'event', state: record.type,
          text: `${secondsText(t)} event @${record.position} ${record.type}${record.item ? `: ${record.item}` : ''}` });
      } else if (record.kind === 'check' && record.phase === 'began') {
        const item = { start: t, end: null, kind: 'check', state: 'waiting', text: `${secondsText(t)} check #${record.id} waiting for ${record.waitingFor} (from @${record.from}, time-out ${record.timeout} s)` };
        openChecks.set(record.id, item);
        streamLane(record).items.push(item);
      } else if (record.kind === 'check') {
        const item = openChecks.get(record.id) || { start: t - (record.waited || 0), kind: 'check' };
        if (!openChecks.has(record.id)) streamLane(record).items.push(item);
        openChecks.delete(record.id);
        Object.assign(item, { end: t, state: record.outcome,
          text: `${secondsText(item.start)}–${secondsText(t)} check #${record.id} ${record.outcome}${record.position !== null && record.position !== undefined ? ` @${record.position}` : ''}: waited for ${record.waitingFor}${record.reason ? `\n${record.reason}` : ''}${record.match ? `\nmatch: ${record.match}` : ''}` });
      } else if (record.kind === 'action' && record.phase === 'scheduled') {
        const item = { start: t, end: null, kind: 'action', state: 'running', text: `${secondsText(t)} action #${record.id} ${record.action}${record.expectedToFail ? ' (expected to fail)' : ''}` };
        openActions.set(record.id, item);
        actions.push(item);
      } else if (record.kind === 'action') {
        const item = openActions.get(record.id) || { start: t - (record.duration || 0), kind: 'action' };
        if (!openActions.has(record.id)) actions.push(item);
        openActions.delete(record.id);
        Object.assign(item, { end: t, state: record.outcome,
          text: `${secondsText(item.start)}–${secondsText(t)} action #${record.id} ${record.outcome}: ${record.action}${record.error ? `\nerror: ${record.error}` : ''}` });
      } else if (record.kind === 'expectation' && record.phase === 'created') {
        const item = { start: t, end: null, kind: 'expectation', state: 'open', text: `${secondsText(t)} expectation: ${record.description}` };
        if (!openExpectations.has(record.description)) openExpectations.set(record.description, []);
        openExpectations.get(record.description).push(item);
        expectations.push(item);
      } else if (record.kind === 'expectation') {
        const waiting = openExpectations.get(record.description) || [];
        const item = waiting.shift() || { start: t, kind: 'expectation' };
        if (!expectations.includes(item)) expectations.push(item);
        Object.assign(item, { end: t, state: record.result,
          text: `${secondsText(item.start)}–${secondsText(t)} expectation ${verdictWord(record.result)}: ${record.description}${record.comment ? `\n${record.comment}` : ''}` });
      } else if (record.kind === 'provider') {
        provider.push({ start: t, end: t, kind: 'provider', state: record.fact, text: `${secondsText(t)} provider ${record.fact}: ${record.text}` });
      }
    }
    const lanes = [...streams.values()];
    lanes.push({ key: 'actions', label: 'actions', items: actions });
    lanes.push({ key: 'expectations', label: 'expectations', items: expectations });
    if (provider.length) lanes.push({ key: 'provider', label: 'provider', items: provider });
    for (const lane of lanes) lane.rows = stack(lane.items);
    return lanes;
  }

  // Gives each item of a lane a row: events (points) share the first, and a bar goes to the
  // first row below where it overlaps nothing. Returns how many rows the lane needs.
  function stack(items) {
    const ends = [];
    const hasEvents = items.some((item) => item.kind === 'event');
    for (const item of items) {
      if (item.kind === 'event') { item.row = 0; continue; }
      let row = hasEvents ? 1 : 0;
      while (ends[row] !== undefined && ends[row] > item.start) row += 1;
      ends[row] = item.end ?? Infinity;
      item.row = row;
    }
    return Math.max(ends.length, hasEvents ? 1 : 0, 1);
  }

  // A time for the axis, as precise as the step between marks needs.
  function axisText(t, step) {
    if (step >= 1) return `${t.toFixed(0)} s`;
    if (step >= 0.01) return `${t.toFixed(2)} s`;
    const digits = Math.max(0, -Math.floor(Math.log10(step * 1000)));
    return `${(t * 1000).toFixed(digits)} ms`;
  }

  // The timeline of `trace`, whose records are `records`; `marked(text)` draws text with its marks.
  function view(trace, records, marked) {
    const container = h('section', { class: 'vl-timeline', 'aria-label': 'trace timeline' });
    if (!records.length) {
      container.append(h('p', { class: 'vl-empty' }, trace && trace.count ? `Trace of ${trace.count} records not kept (--trace-limit 0).` : 'No trace.'));
      return container;
    }
    const lanes = lanesOf(records);
    const end = Math.max(...records.map((record) => record.t || 0), 0.001);
    let scale = FIT_WIDTH / end;
    const hover = h('div', { class: 'vl-hover', 'aria-live': 'polite' }, 'Hover over or focus an item to read it.');
    const laneBox = h('div', { class: 'vl-lanes' });
    const axis = h('div', { class: 'vl-axis', 'aria-hidden': 'true' });
    const zoomLabel = h('span', { class: 'vl-muted' });
    const placed = [];

    const layout = () => {
      const width = Math.max(Math.ceil(end * scale) + 280, ...lanes.map((lane) => 240 + lane.items.filter((item) => item.kind === 'event').length * POINT_GAP));
      laneBox.style.width = `${width}px`;
      // Points closer than a dot's width are nudged apart, in order, so each can be pointed at.
      const lastPoint = new Map();
      for (const { element, item, lane } of placed) {
        let left = item.start * scale + 200;
        if (item.kind === 'event' || item.kind === 'provider') {
          left = Math.max(left, (lastPoint.get(lane) ?? -Infinity) + POINT_GAP);
          lastPoint.set(lane, left);
        } else {
          element.style.width = `${Math.max(((item.end ?? end) - item.start) * scale, 4)}px`;
        }
        element.style.left = `${left}px`;
      }
      axis.replaceChildren();
      const step = niceStep(end / (width / 110));
      for (let i = 0; i * step <= end + step / 2; i += 1) {
        const label = h('span', null, axisText(i * step, step));
        label.style.left = `${i * step * scale + 200}px`;
        axis.append(label);
      }
      zoomLabel.textContent = `${Math.round(scale * end / FIT_WIDTH * 100)} %`;
    };
    const zoom = (factor) => { scale = factor ? scale * factor : FIT_WIDTH / end; layout(); };

    laneBox.append(axis);
    for (const lane of lanes) {
      const row = h('div', { class: 'vl-lane', 'data-lane': lane.key }, h('span', { class: 'vl-lane-label', title: lane.label }, marked(lane.label)));
      row.style.height = `${Math.max(24, 6 + lane.rows * ROW_HEIGHT)}px`;
      for (const item of lane.items) {
        const element = h('button', { type: 'button', class: `vl-item ${item.kind} ${item.state || ''}`, title: item.text, 'aria-label': item.text });
        element.style.top = `${4 + item.row * ROW_HEIGHT}px`;
        const show = () => hover.replaceChildren(marked(item.text));
        element.addEventListener('mouseenter', show);
        element.addEventListener('focus', show);
        placed.push({ element, item, lane: lane.key });
        row.append(element);
      }
      laneBox.append(row);
    }
    const scroller = h('div', { class: 'vl-timeline-scroll' }, laneBox);
    scroller.addEventListener('wheel', (event) => {
      if (!event.ctrlKey) return;
      event.preventDefault();
      zoom(event.deltaY < 0 ? 1.25 : 0.8);
    }, { passive: false });
    const omitted = trace.omitted ? h('span', { class: 'vl-muted' }, ` · ${trace.omitted} records left out after the first ${trace.omittedAfter} (--trace-limit)`) : null;
    container.append(
      h('div', { class: 'vl-timeline-bar' }, h('strong', null, 'Timeline'),
        h('button', { type: 'button', 'aria-label': 'Zoom in', onclick: () => zoom(2) }, '+'),
        h('button', { type: 'button', 'aria-label': 'Zoom out', onclick: () => zoom(0.5) }, '−'),
        h('button', { type: 'button', onclick: () => zoom(0) }, 'Fit'), zoomLabel,
        h('span', { class: 'vl-muted' }, `${trace.count} records`), omitted),
      scroller, hover);
    const list = h('details', { class: 'vl-record-list' }, h('summary', null, `Trace records as text (${records.length})`));
    list.addEventListener('toggle', () => {
      if (list.open && !list.querySelector('.vl-records')) list.append(h('div', { class: 'vl-records vl-mono' }, marked(records.map(recordLine).join('\n'))));
    });
    container.append(list);
    layout();
    return container;
  }

  function niceStep(raw) {
    const power = 10 ** Math.floor(Math.log10(Math.max(raw, 1e-6)));
    for (const factor of [1, 2, 5, 10]) if (raw <= factor * power) return factor * power;
    return 10 * power;
  }

  window.VLReportTimeline = { view, lanesOf };
})();
