// The live UI's credential stays with its own origin: the page is opened through the address
// `vlvalidate serve` prints, then the same browser visits another server on another port of
// 127.0.0.1, which must receive neither the token nor the session's credential (no cookie,
// no header). And the printed address works once: opened again, it opens nothing.
import { spawn } from 'node:child_process';
import { createServer } from 'node:http';
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { launchBrowser, offlineContext, vlvalidatePath } from './support.mjs';

let serve;
let url;
let other;
const received = [];

before(async () => {
  serve = spawn(vlvalidatePath, ['serve', '--port', '0'], { stdio: ['ignore', 'pipe', 'inherit'] });
  url = await new Promise((resolve, reject) => {
    let out = '';
    serve.stdout.on('data', (chunk) => {
      out += chunk;
      const found = out.match(/http:\/\/127\.0\.0\.1:\d+\/\?token=[0-9a-f]+/);
      if (found) resolve(found[0]);
    });
    serve.on('exit', (code) => reject(new Error(`vlvalidate serve ended (${code}): ${out}`)));
  });
  // Another local server, as a stranger would run one: it keeps every request's headers.
  other = createServer((request, response) => {
    received.push({ url: request.url, headers: request.headers });
    response.setHeader('Content-Type', 'text/html');
    response.end('<!doctype html><title>elsewhere</title><img src="/pixel.png">');
  });
  await new Promise((resolve) => other.listen(0, '127.0.0.1', resolve));
});

after(async () => {
  other.close();
  const ended = new Promise((resolve) => serve.on('exit', resolve));
  serve.kill('SIGINT');
  assert.equal(await ended, 0);
});

test('the credential stays with its origin, and the printed address opens one page once', async () => {
  const browser = await launchBrowser();
  const origin = new URL(url).origin;
  const elsewhere = `http://127.0.0.1:${other.address().port}`;
  const allow = (address) => address.startsWith(`${origin}/`) || address.startsWith(`${elsewhere}/`);
  try {
    const { context } = await offlineContext(browser, { allow });
    const page = await context.newPage();
    await page.goto(url);
    await page.waitForFunction(() => document.querySelectorAll('#quirks input').length > 0);
    assert.equal(page.url(), `${origin}/`, 'the token leaves the address bar');
    const session = await page.evaluate(() => sessionStorage.getItem('vlvalidate-session'));
    assert.match(session ?? '', /^[0-9a-f]{64}$/);
    assert.deepEqual(await context.cookies(), [], 'no cookie holds anything');

    // The same browser, another port of the same host.
    const stranger = await context.newPage();
    await stranger.goto(`${elsewhere}/`);
    await stranger.waitForLoadState('load');
    assert.ok(received.length >= 1);
    const token = new URL(url).searchParams.get('token');
    for (const { url: path, headers } of received) {
      const text = JSON.stringify(headers);
      assert.equal(headers.cookie, undefined, `${path}: no cookie`);
      assert.equal(headers.authorization, undefined, `${path}: no credential`);
      assert.ok(!text.includes(token) && !text.includes(session), `${path}: ${text}`);
    }

    // A reload keeps the session; the page still works.
    await page.reload();
    await page.waitForFunction(() => document.querySelectorAll('#quirks input').length > 0);

    // The printed address again, in a fresh browser profile: spent, it opens nothing.
    const { context: later } = await offlineContext(browser, { allow });
    const copy = await later.newPage();
    await copy.goto(url);
    await copy.waitForSelector('#error:not([hidden])');
    assert.match(await copy.textContent('#error'), /used already/);
    assert.equal(await copy.$$eval('#quirks input', (list) => list.length), 0, 'no choices came');
    const status = await copy.evaluate(async () => (await fetch('/api/choices')).status);
    assert.equal(status, 401);
  } finally {
    await browser.close();
  }
});
