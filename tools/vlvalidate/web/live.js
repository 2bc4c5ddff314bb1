// The live UI of `vlvalidate serve`: a form that starts a run on the server, and the run as
// it happens, fed by the server's event stream (/api/events). It builds the run's report
// (the JSON report's document, partial while the run goes on) and hands it to the same view
// the HTML report uses; next to it, each planned case shows its expectations as the
// validator settles them. It talks to its own server only. The element builder, times and
// verdict names are common.js's.
'use strict';

(() => {
  const $ = (id) => document.getElementById(id);
  const { h, seconds, verdictText } = window.VLCommon;
  const now = () => performance.timeOrigin + performance.now();

  // The HTML report's own view (report.js) draws the run's report.
  const view = window.VLReportView;

  // What the page knows of the run.
  const run = { report: null, cases: [], rows: [], running: false, delays: [], receipts: [] };
  // The measured delays from a settled expectation to its arrival here and to the frame that
  // shows it, in milliseconds, for whoever watches the page.
  window.vlLive = { delays: run.delays, receipts: run.receipts, medianDelay: () => median(run.delays) };

  function median(values) {
    if (!values.length) return null;
    const sorted = [...values].sort((a, b) => a - b);
    const middle = sorted.length >> 1;
    return sorted.length % 2 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
  }

  // ---- The form: the provider choice, built from the server's own tables.
  // The kinds as the server lists them (/api/choices), in its order.
  let kinds = [];
  const checkedKind = () => (document.querySelector('input[name="kind"]:checked') || {}).value;

  function providerText() {
    const kind = kinds.find((each) => each.prefix === checkedKind());
    if (!kind) return '';
    if (kind.argumentIsSettings) {
      const parts = [...document.querySelectorAll('#quirks input:checked')].map((box) => box.value);
      for (const setting of $('settings').value.split(',')) if (setting.trim()) parts.push(setting.trim());
      return parts.length ? `${kind.prefix}:${parts.join(',')}` : kind.prefix;
    }
    return `${kind.prefix}:${$(`argument-${kind.prefix}`).value.trim()}`;
  }

  function showKind() {
    const chosen = checkedKind();
    for (const kind of kinds) $(`kind-${kind.prefix}`).hidden = kind.prefix !== chosen;
    refreshChoice();
  }

  function refreshChoice() {
    $('choice-text').textContent = providerText();
    const on = document.querySelectorAll('#quirks input:checked').length;
    $('quirk-count').textContent = on ? `(${on} on)` : '';
  }

  // Puts the server's --provider choice into the form.
  function adopt(choice) {
    const colon = choice.indexOf(':');
    const kind = colon < 0 ? choice : choice.slice(0, colon);
    const argument = colon < 0 ? '' : choice.slice(colon + 1);
    const radio = document.querySelector(`input[name="kind"][value="${CSS.escape(kind)}"]`);
    if (radio) radio.checked = true;
    const row = kinds.find((each) => each.prefix === kind);
    if (row && !row.argumentIsSettings) $(`argument-${kind}`).value = argument;
    if (row && row.argumentIsSettings) {
      const settings = [];
      for (const part of argument.split(',').map((text) => text.trim()).filter(Boolean)) {
        const box = document.querySelector(`#quirks input[value="${CSS.escape(part)}"]`);
        if (box) box.checked = true; else settings.push(part);
      }
      $('settings').value = settings.join(',');
      if (argument) $('quirks-box').open = true;
    }
    showKind();
  }

  // ---- The session. The printed address's token opens one session, once: the page trades it
  // for the session's credential, keeps that for this tab (sessionStorage belongs to this
  // origin, port included) and sends it with every request. Never a cookie: a browser would
  // send one to every other server on this host, whatever its port.
  const sessionKey = 'vlvalidate-session';
  let credential = null;

  async function openSession() {
    const token = new URLSearchParams(location.search).get('token');
    if (token !== null) {
      // Out of the address bar and the history at once; the server spends it on first use.
      history.replaceState(null, '', location.pathname);
      const response = await fetch('/api/session', {
        method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify({ token }),
      });
      const answer = await response.json().catch(() => ({}));
      if (response.ok) sessionStorage.setItem(sessionKey, answer.session);
      else if (!sessionStorage.getItem(sessionKey)) throw new Error(answer.error || `${response.status} ${response.statusText}`);
    }
    credential = sessionStorage.getItem(sessionKey);
    if (!credential) throw new Error('This page has no session: open the address that vlvalidate serve printed.');
  }

  const authorized = (headers = {}) => ({ ...headers, Authorization: `Bearer ${credential}` });

  async function loadChoices() {
    const response = await fetch('/api/choices', { headers: authorized() });
    if (!response.ok) throw new Error(await response.text());
    const choices = await response.json();
    for (const [name, range] of Object.entries(choices.options)) {
      Object.assign($(name), { min: range.min, max: range.max, value: range.value });
    }
    kinds = choices.kinds;
    for (const [index, kind] of kinds.entries()) {
      const radio = h('input', { type: 'radio', name: 'kind', value: kind.prefix, checked: index === 0, onchange: showKind });
      $('kinds').append(h('label', null, radio, ` ${kind.label}`));

      const panel = h('div', { class: 'kind-panel', id: `kind-${kind.prefix}`, hidden: index !== 0 },
        h('p', { class: 'hint' }, kind.forms.map((form) => `${form.usage}: ${form.meaning.replace(/\n/g, ' ')}`).join(' · ')));
      if (kind.argumentIsSettings) {
        const settings = $('settings-panel');
        settings.hidden = false;
        panel.append(settings);
      } else {
        panel.append(h('label', { class: 'field' }, `${kind.argumentLabel || 'Argument'} `,
          h('input', { id: `argument-${kind.prefix}`, type: 'text', placeholder: kind.argumentExample || '' })));
      }
      $('kind-panels').append(panel);
    }
    for (const report of choices.reports) {
      $('downloads').append(h('button', { type: 'button', onclick: () => act(() => download(report)) }, report.label));
    }
    for (const quirk of choices.quirks) {
      $('quirks').append(h('label', { class: 'quirk' }, h('input', { type: 'checkbox', value: quirk.name }), ' ',
        h('code', null, quirk.name), h('span', { class: 'hint' }, ` ${quirk.help}`)));
    }
    for (const name of choices.settings) $('setting-names').append(h('option', { value: `${name}=` }));
    const others = choices.allowedProviders.filter((choice) => !/^sim(:|$)/.test(choice));
    $('allowed-list').textContent = others.length ? others.join(', ') : 'none';
    adopt(choices.defaultProvider);
  }

  // ---- Talking to the server.
  async function post(path, body) {
    const response = await fetch(path, {
      method: 'POST', headers: authorized({ 'Content-Type': 'application/json' }), body: JSON.stringify(body),
    });
    const answer = await response.json().catch(() => ({ error: `${response.status} ${response.statusText}` }));
    if (!response.ok) throw new Error(answer.error || `${response.status} ${response.statusText}`);
    return answer;
  }

  function showError(message) {
    $('error').textContent = message || '';
    $('error').hidden = !message;
  }

  async function act(work) {
    showError('');
    try { await work(); } catch (error) { showError(error.message); }
  }

  function startRun(event) {
    event.preventDefault();
    act(() => post('/api/run', {
      provider: providerText(),
      filter: $('filter').value.trim() || '*',
      strict: $('strict').checked,
      timeout: Number($('timeout').value),
      jobs: Number($('jobs').value),
      ignoreEligibility: $('ignore-eligibility').checked,
    }));
  }

  async function download(report) {
    const response = await fetch(report.url, { headers: authorized() });
    if (!response.ok) {
      const answer = await response.json().catch(() => ({}));
      throw new Error(answer.error || `${response.status} ${response.statusText}`);
    }
    const link = h('a', { href: URL.createObjectURL(await response.blob()), download: report.file });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 0);
  }

  // ---- The run as it happens. Events are applied once per frame, so a burst costs one layout.
  const pending = [];
  function enqueue(name, data) {
    if (name === 'expectation') run.receipts.push(now() - data.sentAt);
    if (!pending.length) requestAnimationFrame(flush);
    pending.push([name, data]);
  }

  function flush() {
    let reportChanged = false;
    const shown = [];
    for (const [name, data] of pending.splice(0)) {
      reportChanged = (handlers[name](data, shown) !== false) || reportChanged;
    }
    if (reportChanged && run.report) {
      run.report.cases = run.cases.filter(Boolean);
      view.update(run.report);
    }
    const at = now();
    for (const sentAt of shown) run.delays.push(at - sentAt);
    showStatus();
  }

  function caseRow(order) {
    return run.rows[order];
  }

  function setVerdict(row, verdict) {
    row.dataset.verdict = verdict;
    row.querySelector('.badge').textContent = verdictText(verdict);
  }

  const handlers = {
    run(data) {
      run.report = data.report;
      run.report.cases = [];
      run.cases = [];
      run.running = true;
      showError('');
      run.rows = data.planned.map((id) => {
        const row = h('li', { class: 'case' },
          h('div', { class: 'case-head' }, h('span', { class: 'badge' }), h('code', { class: 'case-id' }, id),
            h('button', { type: 'button', class: 'rerun', onclick: () => act(() => post('/api/rerun', { id })) }, 'Re-run')),
          h('ol', { class: 'expectations' }), h('p', { class: 'trace-line' }));
        setVerdict(row, 'queued');
        return row;
      });
      $('cases').replaceChildren(...run.rows);
      view.render($('report'), run.report);
      return false;
    },
    rerun(data) {
      run.running = true;
      setVerdict(caseRow(data.order), 'queued');
      return false;
    },
    'case-start'(data) {
      const row = caseRow(data.order);
      row.querySelector('.expectations').replaceChildren();
      row.querySelector('.trace-line').textContent = '';
      row.title = data.title;
      setVerdict(row, 'running');
      return false;
    },
    expectation(data, shown) {
      const item = h('li', { class: `expectation result-${data.result}` }, h('span', { class: 'mark' }, verdictText(data.result)), ` ${data.description}`);
      const note = data.comment || (data.error && data.error.description);
      if (note && data.result !== 'passed') item.append(h('div', { class: 'comment' }, note));
      // A failed check's near miss, drawn as the report draws it.
      if (data.nearMiss) item.append(view.nearMissTable(data.nearMiss));
      caseRow(data.order).querySelector('.expectations').append(item);
      shown.push(data.sentAt);
      return false;
    },
    trace(data) {
      const line = caseRow(data.order).querySelector('.trace-line');
      line.textContent = data.last ? `${data.line.trim()} …` : data.line.trim();
      return false;
    },
    case(data) {
      run.cases[data.order] = data.case;
      const row = caseRow(data.order);
      setVerdict(row, data.case.verdict);
      row.querySelector('.trace-line').textContent = '';
      return true;
    },
    stopping(data) {
      $('status').textContent = `Stopping: ${data.running} running case(s) finish first.`;
      return false;
    },
    finished(data) {
      run.running = false;
      showError('');  // a refusal while the run went on no longer holds
      run.report.summary = data.summary;
      return true;
    },
  };

  function showStatus() {
    // Start stays enabled: another page may have a run going, and the server says so.
    $('stop').disabled = !run.running;
    for (const button of document.querySelectorAll('.rerun')) button.disabled = run.running;
    if (!run.report) return;
    const done = run.cases.filter(Boolean);
    const count = (verdict) => done.filter((entry) => entry.verdict === verdict).length;
    let text = `${done.length} of ${run.rows.length} finished · ${count('passed')} passed · ` +
      `${count('failed')} failed · ${count('inconclusive')} inconclusive`;
    const delay = median(run.delays);
    if (delay !== null) text += ` · shown ${seconds(delay / 1000)} after settling (median)`;
    if (!run.running && run.report.summary) text = `${run.report.summary.conclusion} · ${text}`;
    $('status').textContent = text;
  }

  // Reads one server-sent event frame ("id:", "event:" and "data:" lines).
  function parseFrame(frame) {
    const event = { id: null, name: 'message', data: [] };
    for (const line of frame.split('\n')) {
      if (line.startsWith(':')) continue;
      const colon = line.indexOf(':');
      const field = colon < 0 ? line : line.slice(0, colon);
      let value = colon < 0 ? '' : line.slice(colon + 1);
      if (value.startsWith(' ')) value = value.slice(1);
      if (field === 'id') event.id = value;
      else if (field === 'event') event.name = value;
      else if (field === 'data') event.data.push(value);
    }
    return event;
  }

  // The event stream, read with fetch so that it carries the credential as every request
  // does; after a break it asks for what came after the last event it had.
  async function connect() {
    let lastId = null;
    for (;;) {
      try {
        const headers = authorized();
        if (lastId !== null) headers['Last-Event-ID'] = lastId;
        const response = await fetch('/api/events', { headers, cache: 'no-store' });
        if (response.status === 401 || response.status === 403) {
          $('connection').textContent = 'refused';
          showError(await response.text());
          return;
        }
        if (!response.ok || !response.body) throw new Error(`${response.status} ${response.statusText}`);
        $('connection').textContent = 'connected';
        const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
        let buffer = '';
        for (;;) {
          const { value, done } = await reader.read();
          if (done) break;
          buffer += value;
          for (let end = buffer.indexOf('\n\n'); end >= 0; end = buffer.indexOf('\n\n')) {
            const event = parseFrame(buffer.slice(0, end));
            buffer = buffer.slice(end + 2);
            if (event.id !== null) lastId = event.id;
            if (event.data.length && Object.hasOwn(handlers, event.name)) enqueue(event.name, JSON.parse(event.data.join('\n')));
          }
        }
      } catch (error) {
        // A break in the stream: try again below.
      }
      $('connection').textContent = 'reconnecting…';
      await new Promise((resolve) => { setTimeout(resolve, 1000); });
    }
  }

  document.addEventListener('DOMContentLoaded', () => {
    $('run-form').addEventListener('submit', startRun);
    $('run-form').addEventListener('input', refreshChoice);
    $('stop').addEventListener('click', () => act(() => post('/api/stop', {})));
    act(async () => {
      await openSession();
      connect();
      await loadChoices();
    });
  });
})();
