// The report view: draws a vlvalidate JSON report (format 3) into an element, for the saved
// HTML report and the live UI alike. A report may still be growing (cases so far, no summary
// yet): update() draws it again and keeps what the reader chose (filters, search, open cases,
// scroll). Case details and timelines are built only when a case is opened, so that a run of
// thousands of cases is readable at once. The trace timeline is report-timeline.js; the
// element builder, times and verdict names are common.js's.
(function () {
  'use strict';

  const { VERDICTS, h, seconds, verdictLabel } = window.VLCommon;
  const FILTERS = ['all', 'failed', 'inconclusive', 'passed', 'flaky'];

  // Whether an expectation's error is the one a failure made from a comment carries.
  function isCommentFailure(error) {
    return error.domain === 'com.kestrel.Vaultline.Validation' && error.code === 0;
  }

  function escapeRegExp(text) {
    return text.replace(/[.*+?^${}()|[\]\\]/g, '\\$&');
  }

  function markSpan(text, mark) {
    const span = h('span', { class: 'vl-mark', title: `mark ${mark}` }, text);
    span.style.setProperty('--mark-hue', String((Number(mark) * 137.508 + 210) % 360));
    return span;
  }

  // A pattern that finds the names and identifiers of a marks table in text, each maybe
  // already followed by its mark; longest first, so that "item-1" never cuts "item-14".
  const patterns = new WeakMap();
  function marksPattern(marks) {
    if (!marks) return null;
    if (!patterns.has(marks)) {
      const names = Object.keys(marks).filter((name) => name.length >= 3).sort((a, b) => b.length - a.length);
      patterns.set(marks, names.length ? new RegExp(`(${names.map(escapeRegExp).join('|')})(?: \\[(\\d+)\\])?|\\[(\\d+)\\]`, 'g') : null);
    }
    return patterns.get(marks);
  }

  // Text in which every marked thing is drawn in its mark's colour, the same across the page,
  // its number always written ("item-14 [0]"): names from `marks` (an attempt's table) and
  // marks already in the text ("[3]").
  function marked(text, marks) {
    const span = h('span');
    if (text === null || text === undefined) return span;
    const source = String(text);
    const pattern = marksPattern(marks) || /()\[(\d+)\]/g;
    pattern.lastIndex = 0;
    let last = 0;
    for (let match; (match = pattern.exec(source));) {
      if (match.index > last) span.append(source.slice(last, match.index));
      const name = match[1];
      if (name && marks && marks[name] !== undefined) span.append(markSpan(`${name} [${marks[name]}]`, marks[name]));
      else span.append(markSpan(match[0], match[3] || match[2]));
      last = match.index + match[0].length;
    }
    span.append(source.slice(last));
    return span;
  }

  // What a person reads for the report's members in the panels; a member not listed here
  // is spelled out from its name ("someMember" reads "Some member").
  const memberWords = {
    selectedCases: 'Selected cases', plannedRuns: 'Planned runs', passed: 'Passed', failed: 'Failed',
    inconclusive: 'Inconclusive', flaky: 'Flaky', notRun: 'Not run', interrupted: 'Interrupted',
    wallTime: 'Wall-clock time', casesTime: 'Time in cases', exitCode: 'Exit status', conclusion: 'Conclusion',
    argument: 'Chosen as', identifier: 'Identifier', alternateRootContainer: 'Alternate root container',
    syncingProvider: 'Syncs with a server', hasNoWorkingSet: 'Has no working set',
    eligibleForValidation: 'Eligible for validation',
    filter: 'Filter', category: 'Category', strict: 'Strict', timeout: 'Time-out (s)', jobs: 'Cases at once',
    repeat: 'Repeat', retries: 'Retries', shuffleSeed: 'Shuffle seed', shardIndex: 'Shard index',
    totalShards: 'Shards', ignoreEligibility: 'Ignore eligibility', failOnInconclusive: 'Fail on inconclusive',
    traceLimit: 'Trace records kept',
  };

  function memberWord(key) {
    if (memberWords[key]) return memberWords[key];
    const words = key.replace(/([a-z0-9])([A-Z])/g, '$1 $2').toLowerCase();
    return words.charAt(0).toUpperCase() + words.slice(1);
  }

  function valueWords(value) {
    if (value === null || value === undefined) return '—';
    if (typeof value === 'boolean') return value ? 'yes' : 'no';
    return String(value);
  }

  function keyValueTable(object) {
    const rows = Object.entries(object || {}).map(([key, value]) =>
      h('tr', null, h('th', { scope: 'row' }, memberWord(key)), h('td', null, valueWords(value))));
    return h('table', { class: 'vl-kv' }, h('tbody', null, rows));
  }

  // The key that tells one planned run from another, stable across updates.
  function caseKey(entry) {
    return `${entry.provider || ''}|${entry.id}|${entry.repetition || 1}`;
  }

  // Counts of a report that has no summary yet (a live run), from its cases.
  function countsOf(report) {
    const counts = { passed: 0, failed: 0, inconclusive: 0, flaky: 0 };
    for (const entry of report.cases || []) {
      if (entry.verdict in counts) counts[entry.verdict] += 1;
      if (entry.flaky) counts.flaky += 1;
    }
    return report.summary ? { ...counts, ...report.summary } : counts;
  }

  // A failed check's near miss (an expectation's "nearMiss"): what it waited for, the
  // closest event, and each expected key beside the closest event's value.
  function nearMissTable(miss, marks) {
    return h('div', { class: 'vl-near-miss' },
      h('p', null, 'Near miss: waited for ', marked(miss.waitingFor, marks), '; closest event: ', marked(miss.closest, marks)),
      h('table', { class: 'vl-table' },
        h('thead', null, h('tr', null, h('th', null, 'key'), h('th', null, 'expected'), h('th', null, 'closest event'), h('th', null, ''))),
        h('tbody', null, (miss.keys || []).map((row) =>
          h('tr', { class: row.differs ? 'vl-differs' : null },
            h('td', null, h('code', null, row.key)), h('td', { class: 'vl-text' }, marked(row.expected, marks)),
            h('td', { class: 'vl-text' }, marked(row.got, marks)), h('td', null, row.differs ? '≠ differs' : '= same'))))));
  }

  function expectationsTable(expectations, marks) {
    if (!expectations.length) return h('p', { class: 'vl-empty' }, 'No expectation was settled.');
    return h('table', { class: 'vl-table vl-expectations' },
      h('thead', null, h('tr', null, h('th', null, 'result'), h('th', null, 'expectation'), h('th', null, 'comment'), h('th', null, 'error'))),
      h('tbody', null, expectations.map((expectation) =>
        h('tr', { 'data-result': expectation.result },
          h('td', null, verdictLabel(expectation.result)),
          h('td', { class: 'vl-text' }, marked(expectation.description, marks)),
          h('td', { class: 'vl-text' }, marked(expectation.comment, marks)),
          // A failure made from a comment carries a code-0 error of the validations' own domain
          // only so that reports have one; the comment says it all.
          h('td', { class: 'vl-text' }, expectation.error && !isCommentFailure(expectation.error)
            ? marked(`${expectation.error.description} (${expectation.error.domain} ${expectation.error.code})`, marks) : '')))));
  }

  function marksLine(marks) {
    const entries = Object.entries(marks || {});
    if (!entries.length) return null;
    entries.sort((a, b) => a[1] - b[1]);
    return h('p', { class: 'vl-marks' }, 'Marks: ', entries.map(([name], index) => [index ? ', ' : '', marked(name, marks)]));
  }

  // The attempts of a case: given, or kept deflated in base64 ("packedAttempts", as the saved
  // page keeps them) and then inflated once, when first needed: a promise of them.
  const inflated = new WeakMap();
  function attemptsOf(entry) {
    if (entry.attempts || !entry.packedAttempts) return entry.attempts || [];
    if (!inflated.has(entry)) {
      const bytes = Uint8Array.from(atob(entry.packedAttempts), (c) => c.charCodeAt(0));
      const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate'));
      inflated.set(entry, new Response(stream).text().then((text) => {
        entry.attempts = JSON.parse(text);
        return entry.attempts;
      }));
    }
    return inflated.get(entry);
  }

  // The near misses of an attempt's failed checks, in the order they were settled.
  function nearMisses(expectations, marks) {
    return expectations.filter((expectation) => expectation.nearMiss).map((expectation) => nearMissTable(expectation.nearMiss, marks));
  }

  // The attempt's trace as a timeline.
  function timeline(trace, records, marks) {
    return window.VLReportTimeline ? window.VLReportTimeline.view(trace, records, (text) => marked(text, marks)) : null;
  }

  function attemptView(attempt, index, count) {
    const title = count > 1 ? `Attempt ${index + 1} of ${count}` : 'Attempt';
    return h('section', { class: 'vl-attempt', 'data-attempt': index + 1 },
      h('h4', null, `${title}: `, verdictLabel(attempt.verdict), ` ${seconds(attempt.runtime)}`),
      expectationsTable(attempt.expectations || [], attempt.marks),
      marksLine(attempt.marks),
      nearMisses(attempt.expectations || [], attempt.marks),
      timeline(attempt.trace, (attempt.trace && attempt.trace.records) || [], attempt.marks));
  }

  function attemptViews(attempts) {
    return attempts.length ? attempts.map((attempt, index) => attemptView(attempt, index, attempts.length))
      : [h('p', { class: 'vl-empty' }, 'Not run yet.')];
  }

  class View {
    constructor(root) {
      this.root = root;
      this.filter = 'all';
      this.search = '';
      this.open = new Set();
      this.rows = new Map();
    }

    draw(report) {
      this.report = report || {};
      const scroll = [window.scrollX, window.scrollY];
      const focusedKey = document.activeElement && document.activeElement.closest && document.activeElement.closest('[data-case-key]');
      this.rows.clear();
      delete this.root.dataset.searchIndex;
      this.root.replaceChildren(h('div', { class: 'vl-report' }, this.header(), this.panels(), this.toolbar(), this.caseGroups()));
      this.applyFilter();
      window.scrollTo(scroll[0], scroll[1]);
      if (focusedKey) {
        const row = this.rows.get(focusedKey.getAttribute('data-case-key'));
        if (row) row.querySelector('.vl-case-toggle').focus({ preventScroll: true });
      }
    }

    header() {
      const report = this.report;
      const counts = countsOf(report);
      const cases = report.cases || [];
      const conclusion = report.summary ? report.summary.conclusion : `Running: ${cases.length} of ${counts.plannedRuns || '?'} runs finished so far`;
      const items = [['failed', counts.failed], ['inconclusive', counts.inconclusive], ['passed', counts.passed]]
        .map(([verdict, number]) => h('li', { 'data-count': verdict }, h('strong', null, number), verdictLabel(verdict)));
      items.push(h('li', { 'data-count': 'flaky' }, h('strong', null, counts.flaky), 'flaky'));
      if (counts.notRun) items.push(h('li', { 'data-count': 'notRun' }, h('strong', null, counts.notRun), 'not run'));
      const sources = report.mergedFrom || [];
      return h('header', { class: 'vl-header' },
        h('h1', null, 'vlvalidate report'),
        h('p', { class: 'vl-muted' }, `${report.provider ? report.provider.argument : ''} · started ${report.startTime || '?'}`,
          report.tool ? ` · ${report.tool.name} ${report.tool.version}` : '',
          sources.length ? ` · merged from ${sources.length} reports` : ''),
        h('p', { class: 'vl-conclusion' }, h('strong', null, 'Result: '), conclusion),
        h('ul', { class: 'vl-counts', 'aria-label': 'counts' }, items));
    }

    panels() {
      const report = this.report;
      const summary = report.summary ? { ...report.summary } : null;
      if (summary) {
        summary.wallTime = seconds(summary.wallTime);
        summary.casesTime = seconds(summary.casesTime);
      }
      const panels = [];
      if (summary) panels.push(h('section', { class: 'vl-panel', 'aria-label': 'summary' }, h('h2', null, 'Summary'), keyValueTable(summary)));
      const sources = report.mergedFrom || [];
      if (sources.length) {
        panels.push(h('section', { class: 'vl-panel vl-sources', 'aria-label': 'merged reports' },
          h('h2', null, `Merged from ${sources.length} reports`),
          h('table', { class: 'vl-kv' }, h('tbody', null, sources.map((source) =>
            h('tr', null, h('th', { scope: 'row' }, source.file), h('td', null,
              `${source.provider.argument} (${source.provider.identifier}), ${source.cases} runs, filter ${source.options.filter}` +
              (source.options.totalShards > 1 ? `, shard ${source.options.shardIndex + 1}/${source.options.totalShards}` : '')))))),
          report.providersDiffer ? h('p', null, 'These reports come from different providers or options: each case names its provider.') : null));
      } else {
        panels.push(h('section', { class: 'vl-panel', 'aria-label': 'provider' }, h('h2', null, 'Provider'),
          keyValueTable({ ...(report.provider || {}), ...(report.validationProperties || {}) })));
      }
      if (report.options && !sources.length) panels.push(h('section', { class: 'vl-panel', 'aria-label': 'options' }, h('h2', null, 'Options'), keyValueTable(report.options)));
      const baseline = report.baseline;
      if (baseline) {
        panels.push(h('section', { class: 'vl-panel', 'aria-label': 'baseline' }, h('h2', null, 'Compared with a baseline'),
          keyValueTable({ File: baseline.file, Started: baseline.startTime, Regressions: baseline.regressions.length,
            Improvements: baseline.improvements.length, Added: baseline.added.length, Gone: baseline.gone.length,
            Unchanged: baseline.unchanged, 'Not run': baseline.notRun })));
      }
      return h('div', { class: 'vl-panels' }, panels);
    }

    toolbar() {
      const buttons = FILTERS.map((name) => h('button', {
        type: 'button', 'data-filter': name, 'aria-pressed': String(this.filter === name),
        onclick: () => { this.filter = name; this.syncToolbar(); this.applyFilter(); },
      }, name === 'all' ? 'All' : (VERDICTS[name] ? `${VERDICTS[name].symbol} ${name}` : name)));
      const search = h('input', {
        type: 'search', placeholder: 'Search cases, expectations…', 'aria-label': 'Search cases', value: this.search,
        oninput: (event) => { this.search = event.target.value; this.applyFilter(); },
      });
      search.value = this.search;
      const expandAll = h('button', { type: 'button', onclick: () => this.setAllOpen(true) }, 'Open shown');
      const collapseAll = h('button', { type: 'button', onclick: () => this.setAllOpen(false) }, 'Close all');
      this.shownLabel = h('span', { class: 'vl-shown', 'aria-live': 'polite' });
      this.toolbarElement = h('div', { class: 'vl-toolbar', role: 'toolbar', 'aria-label': 'Filter cases' },
        h('span', null, 'Show:'), buttons, search, expandAll, collapseAll, this.shownLabel);
      return this.toolbarElement;
    }

    syncToolbar() {
      for (const button of this.toolbarElement.querySelectorAll('[data-filter]')) {
        button.setAttribute('aria-pressed', String(button.dataset.filter === this.filter));
      }
    }

    // Regressions first (with a baseline), then one group per suite in the order of its first case.
    caseGroups() {
      const cases = this.report.cases || [];
      const regressed = new Set(((this.report.baseline || {}).regressions || []).map((change) => change.id));
      const groups = new Map();
      if (regressed.size) groups.set('\u0000regressions', []);
      for (const entry of cases) {
        const name = regressed.has(entry.id) ? '\u0000regressions' : entry.suite;
        if (!groups.has(name)) groups.set(name, []);
        groups.get(name).push(entry);
      }
      if (!cases.length) return h('p', { class: 'vl-empty' }, 'No case has finished yet.');
      const showProvider = !!this.report.providersDiffer;
      return h('div', { class: 'vl-groups' }, [...groups].map(([name, entries]) => {
        const isRegressions = name === '\u0000regressions';
        const failing = entries.filter((entry) => entry.verdict !== 'passed').length;
        const section = h('section', { class: `vl-group${isRegressions ? ' regressions' : ''}`, 'data-suite': isRegressions ? '' : name },
          h('header', null, h('h3', null, isRegressions ? 'Regressions since the baseline' : name),
            h('span', { class: 'vl-muted' }, `${entries.length} runs, ${failing} not passed`)),
          h('ul', { class: 'vl-cases' }, entries.map((entry) => this.caseRow(entry, showProvider))));
        return section;
      }));
    }

    caseRow(entry, showProvider) {
      const key = caseKey(entry);
      const isOpen = this.open.has(key);
      const attempts = entry.attempts ? entry.attempts.length : (entry.attemptCount || 0);
      const toggle = h('button', { type: 'button', class: 'vl-case-toggle', 'aria-expanded': String(isOpen),
        onclick: () => this.toggle(key) },
        h('span', { class: 'vl-caret', 'aria-hidden': 'true' }, isOpen ? '▾' : '▸'),
        verdictLabel(entry.verdict),
        h('code', { class: 'vl-id' }, entry.id),
        entry.repetition > 1 || (this.report.options && this.report.options.repeat > 1) ? h('span', { class: 'vl-badge' }, `#${entry.repetition}`) : null,
        h('span', { class: 'vl-title' }, entry.title),
        entry.flaky ? h('span', { class: 'vl-badge' }, '~ flaky') : null,
        attempts > 1 ? h('span', { class: 'vl-badge' }, `${attempts} attempts`) : null,
        showProvider && entry.provider ? h('span', { class: 'vl-badge vl-provider' }, entry.provider) : null,
        h('span', { class: 'vl-time' }, seconds(entry.runtime)));
      const row = h('li', { class: 'vl-case', 'data-case-key': key, 'data-case-id': entry.id, 'data-verdict': entry.verdict }, toggle);
      row.entry = entry;
      if (isOpen) row.append(this.caseBody(entry));
      this.rows.set(key, row);
      return row;
    }

    caseBody(entry) {
      const documentation = (this.report.documentation || {})[`${entry.suite} ${entry.selector}`];
      const attempts = attemptsOf(entry);
      const attemptsBox = h('div', { class: 'vl-attempts' });
      if (Array.isArray(attempts)) {
        attemptsBox.append(...attemptViews(attempts));
      } else {
        attemptsBox.append(h('p', { class: 'vl-empty' }, 'Unpacking…'));
        attempts.then((list) => attemptsBox.replaceChildren(...attemptViews(list)))
          .catch((error) => attemptsBox.replaceChildren(h('p', { class: 'vl-empty' }, `This case cannot be read: ${error}`)));
      }
      return h('div', { class: 'vl-case-body' },
        h('p', { class: 'vl-muted' }, `${entry.suite} ${entry.selector}${entry.variant ? ` ${entry.variant}` : ''} · category ${entry.category} · ${entry.nameForMarlin}`,
          entry.provider ? ` · provider ${entry.provider}` : ''),
        documentation ? h('div', { class: 'vl-doc', 'aria-label': 'documentation' }, documentation) : null,
        attemptsBox);
    }

    toggle(key) {
      const row = this.rows.get(key);
      if (!row) return;
      const open = !this.open.has(key);
      if (open) this.open.add(key); else this.open.delete(key);
      const toggle = row.querySelector('.vl-case-toggle');
      toggle.setAttribute('aria-expanded', String(open));
      toggle.querySelector('.vl-caret').textContent = open ? '▾' : '▸';
      const body = row.querySelector('.vl-case-body');
      if (body) body.remove();
      if (open) row.append(this.caseBody(row.entry));
    }

    setAllOpen(open) {
      for (const [key, row] of this.rows) {
        if ((open && !row.hidden) !== this.open.has(key) && (!open || !row.hidden)) this.toggle(key);
      }
    }

    // What a case is searched by: its names, verdict and expectations (once its attempts are
    // inflated; until then, its names).
    haystack(row) {
      if (row.haystack === undefined) {
        const entry = row.entry;
        if (!entry.attempts && entry.packedAttempts) return [entry.id, entry.title, entry.suite, entry.selector, entry.verdict].join('\n').toLowerCase();
        const parts = [entry.id, entry.title, entry.suite, entry.selector, entry.verdict, entry.provider || ''];
        for (const attempt of entry.attempts || []) {
          for (const expectation of attempt.expectations || []) parts.push(expectation.description, expectation.comment || '');
        }
        row.haystack = parts.join('\n').toLowerCase();
      }
      return row.haystack;
    }

    // Inflates every packed case once, the first time the reader searches, then searches again.
    inflateForSearch() {
      if (this.root.dataset.searchIndex) return;
      const pending = [...this.rows.values()].map((row) => attemptsOf(row.entry)).filter((each) => !Array.isArray(each));
      this.root.dataset.searchIndex = pending.length ? 'pending' : 'ready';
      if (!pending.length) return;
      Promise.allSettled(pending).then(() => {
        this.root.dataset.searchIndex = 'ready';
        for (const row of this.rows.values()) row.haystack = undefined;
        this.applyFilter();
      });
    }

    applyFilter() {
      const words = this.search.toLowerCase().split(/\s+/).filter(Boolean);
      if (words.length) this.inflateForSearch();
      let shown = 0;
      for (const row of this.rows.values()) {
        const entry = row.entry;
        const passesFilter = this.filter === 'all' || (this.filter === 'flaky' ? entry.flaky : entry.verdict === this.filter);
        const visible = passesFilter && words.every((word) => this.haystack(row).includes(word));
        row.hidden = !visible;
        if (visible) shown += 1;
      }
      for (const group of this.root.querySelectorAll('.vl-group')) {
        group.hidden = !group.querySelector('.vl-case:not([hidden])');
      }
      if (this.shownLabel) this.shownLabel.textContent = `${shown} of ${this.rows.size} runs shown`;
    }
  }

  const views = new WeakMap();
  let last = null;

  window.VLReportView = {
    // Draws `report` (a JSON report, possibly still growing) into `root`, replacing its content.
    render(root, report) {
      let view = views.get(root);
      if (!view) { view = new View(root); views.set(root, view); }
      last = view;
      view.draw(report);
      return view;
    },
    // Draws a newer state of the report last rendered, keeping filters, search, open cases and scroll.
    update(report, root) {
      const view = root ? views.get(root) : last;
      if (!view) throw new Error('VLReportView.update: render() was not called first');
      view.draw(report);
      return view;
    },
    // Exposed for the timeline and tests: text with its marks coloured.
    marked,
    // A near miss as a table (the live page shows one under a failed check as it settles).
    nearMissTable,
  };
})();
