// The live UI in a real browser: `vlvalidate serve` is started, the page opened through the
// URL it prints, and a selection run against the simulated provider with two quirks. The
// verdicts and the failed expectations must show while the run still goes on, a failed
// check's near miss as the report's table, a bad choice and a second start must show their
// errors, and the page must reach nothing but its server. Prints the median delay from a
// settled expectation to its display; with VL_SCREENSHOT_DIR set, saves the screenshot the
// README shows and one of a failed case's details (live-near-miss.png).
import { spawn } from 'node:child_process';
import assert from 'node:assert/strict';
import path from 'node:path';
import { after, before, test } from 'node:test';
import { launchBrowser, offlineContext, vlvalidatePath, watchPageErrors } from './support.mjs';

// Renames are refused and tags dropped (a near miss); the item counts pass.
const filter = 'VLAttributeValidation.Rename/*:VLAttributeValidation.Tags/*:VLContainerValidation.ItemCount/*';
const failing = /^VLAttributeValidation\.(Rename|Tags)/;
let server;
let url;

before(async () => {
  server = spawn(vlvalidatePath, ['serve', '--port', '0'], { stdio: ['ignore', 'pipe', 'inherit'] });
  url = await new Promise((resolve, reject) => {
    let out = '';
    server.stdout.on('data', (chunk) => {
      out += chunk;
      const found = out.match(/http:\/\/127\.0\.0\.1:\d+\/\?token=[0-9a-f]+/);
      if (found) resolve(found[0]);
    });
    server.on('exit', (code) => reject(new Error(`vlvalidate serve ended (${code}): ${out}`)));
  });
});

after(async () => {
  const ended = new Promise((resolve) => server.on('exit', resolve));
  server.kill('SIGINT');
  assert.equal(await ended, 0, 'Ctrl-C stops the server cleanly');
});

test('the live UI runs a selection against quirks and shows the verdicts and near misses as they arrive', async () => {
  const browser = await launchBrowser();
  const origin = new URL(url).origin;
  const { context, attempted } = await offlineContext(browser, { allow: (address) => address.startsWith(`${origin}/`) });
  try {
    const page = await context.newPage();
    const errors = watchPageErrors(page);
    await page.goto(url);
    await page.waitForFunction(() => document.querySelectorAll('#quirks input').length > 0);
    assert.equal(page.url(), `${origin}/`, 'the token leaves the address bar');

    // A bad choice shows its error, and the server goes on.
    await page.check('input[name="kind"][value="exec"]');
    await page.click('#start');
    await page.waitForSelector('#error:not([hidden])');
    assert.match(await page.textContent('#error'), /exec needs a command/);

    // The quirk list comes from the server's own table.
    await page.check('input[name="kind"][value="sim"]');
    await page.click('#quirks-box summary');
    await page.check('#quirks input[value="rename-refused"]');
    await page.check('#quirks input[value="tags-dropped"]');
    assert.match(await page.textContent('#choice-text'), /^sim:(rename-refused,tags-dropped|tags-dropped,rename-refused)$/);
    await page.fill('#filter', filter);
    await page.fill('#timeout', '2');
    await page.fill('#jobs', '2');
    await page.click('#start');

    // A failed expectation shows while its case still runs.
    await page.waitForSelector('.case[data-verdict="running"] .expectation.result-failed', { timeout: 120000 });
    // That case waits out its time-out (2 s): a second start meanwhile is refused, in the page.
    await page.click('#start');
    await page.waitForSelector('#error:not([hidden])');
    assert.match(await page.textContent('#error'), /already going on/);
    // The run's end, however long a loaded machine takes for it.
    await page.waitForFunction(() => /cases? failed/.test(document.querySelector('#status').textContent), null,
                               { timeout: 120000 });
    const rows = await page.$$eval('.case', (list) => list.map((row) => [row.querySelector('.case-id').textContent, row.dataset.verdict]));
    assert.ok(rows.length >= 4, `planned cases shown: ${rows.length}`);
    for (const [id, verdict] of rows) {
      assert.equal(verdict, failing.test(id) ? 'failed' : 'passed', id);
    }
    // A tag check's near miss shows under its failed expectation, as the report's table.
    const tagsRow = page.locator('.case', { has: page.locator('.case-id', { hasText: 'VLAttributeValidation.Tags/' }) }).first();
    const differing = await tagsRow.locator('.expectation.result-failed .vl-near-miss tr.vl-differs').allInnerTexts();
    assert.ok(differing.some((text) => /^tags\s+\( Red#7 \)\s+\(\s*\)\s+≠ differs$/.test(text)), differing.join('\n'));
    assert.match(await tagsRow.locator('.badge').innerText(), /✗ FAILED/);
    const reported = await page.$$eval('#report .vl-case', (list) => list.length);
    assert.equal(reported, rows.length, 'the report view holds every finished case');

    const delays = await page.evaluate(() => window.vlLive.delays);
    assert.ok(delays.length > 0);
    const [shown, received] = await page.evaluate(() => {
      const median = (values) => [...values].sort((a, b) => a - b)[values.length >> 1];
      return [window.vlLive.medianDelay(), median(window.vlLive.receipts)];
    });
    console.log(`live UI: settled expectation to display, median ${shown.toFixed(1)} ms ` +
                `(received after ${received.toFixed(1)} ms) over ${delays.length} expectations`);

    if (process.env.VL_SCREENSHOT_DIR) {
      await page.evaluate(() => { document.activeElement.blur(); window.scrollTo(0, 0); });
      await page.screenshot({ path: path.join(process.env.VL_SCREENSHOT_DIR, 'live.png') });
      await tagsRow.screenshot({ path: path.join(process.env.VL_SCREENSHOT_DIR, 'live-near-miss.png') });
    }
    assert.deepEqual(attempted, [], 'the page reaches nothing but its server');
    // The refused requests above are logged by the browser itself; nothing else may be.
    assert.deepEqual(errors.filter((error) => !/status of (400|409)/.test(error)), []);
  } finally {
    await browser.close();
  }
});
