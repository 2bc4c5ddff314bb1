// What the report view, its timeline and the live page share: the element builder, the time
// formatter and the names of verdicts, so that the three draw them alike. It runs first: a
// saved report inlines it before the other scripts, and live.html loads it before them.
(function () {
  'use strict';

  // The verdicts a case or an expectation can have, as a symbol and a word, so that a
  // verdict reads without colour.
  const VERDICTS = {
    failed: { symbol: '✗', word: 'FAILED' },
    inconclusive: { symbol: '?', word: 'INCONCLUSIVE' },
    passed: { symbol: '✓', word: 'PASSED' },
  };

  // Makes an element: h('div', {class: 'x', onclick: f, text: 't'}, child, 'text', [more]).
  // An attribute that is null, undefined or false is left out (true sets it empty); children
  // may be nested arrays, and null, undefined and false among them are skipped.
  function h(tag, attributes, ...children) {
    const element = document.createElement(tag);
    for (const [key, value] of Object.entries(attributes || {})) {
      if (value === null || value === undefined || value === false) continue;
      if (key.startsWith('on')) element.addEventListener(key.slice(2), value);
      else if (key === 'text') element.textContent = value;
      else element.setAttribute(key, value === true ? '' : String(value));
    }
    for (const child of children.flat(Infinity)) {
      if (child === null || child === undefined || child === false) continue;
      element.append(child instanceof Node ? child : document.createTextNode(String(child)));
    }
    return element;
  }

  // A time in seconds as people read it: "0.42 ms", "12 ms", "3.14 s"; `extraDigits` more
  // decimals for times that must tell close moments apart (a trace's timeline). Nothing for
  // a value that is not a number.
  function seconds(value, extraDigits = 0) {
    if (typeof value !== 'number' || !Number.isFinite(value)) return '';
    if (value < 1) return `${(value * 1000).toFixed((value < 0.01 ? 2 : 0) + extraDigits)} ms`;
    return `${value.toFixed(2 + extraDigits)} s`;
  }

  // A verdict in words: "✗ FAILED"; one still under way (or unknown) as "… RUNNING", "… QUEUED".
  function verdictText(verdict) {
    const known = VERDICTS[verdict];
    return known ? `${known.symbol} ${known.word}` : `… ${String(verdict || 'running').toUpperCase()}`;
  }

  // The word of a verdict alone: "FAILED", "RUNNING".
  function verdictWord(verdict) {
    const known = VERDICTS[verdict];
    return known ? known.word : String(verdict || 'running').toUpperCase();
  }

  // A verdict as a label: verdictText() in a span whose class names the verdict (for colour).
  function verdictLabel(verdict) {
    return h('span', { class: `vl-verdict ${VERDICTS[verdict] ? verdict : 'other'}` }, verdictText(verdict));
  }

  window.VLCommon = Object.freeze({ VERDICTS, h, seconds, verdictText, verdictWord, verdictLabel });
})();
