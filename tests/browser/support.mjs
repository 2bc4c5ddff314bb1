// What every browser test shares: Debian's chromium driven by Playwright (which downloads no
// browser of its own), a scratch folder per test, the runner's programs, and a context that
// refuses every network request and remembers it, so a test can assert a page needed none.
//
// The CMake registration passes the programs through the environment:
//   VLVALIDATE       the built vlvalidate
//   VL_PROVIDER_SIM  the built vlprovider-sim
//   VL_CHROMIUM      the browser (default /usr/bin/chromium)
//   VL_BROWSER_TMP   where scratch folders go (default the system's temporary folder)
import { spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import { chromium } from 'playwright-core';

process.env.PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD = '1';

export const vlvalidatePath = requiredEnv('VLVALIDATE');
export const providerSimPath = process.env.VL_PROVIDER_SIM ?? '';
export const chromiumPath = process.env.VL_CHROMIUM || '/usr/bin/chromium';

function requiredEnv(name) {
  const value = process.env[name];
  if (!value) throw new Error(`${name} is not set: run the browser tests through ctest (label "browser")`);
  return value;
}

// A fresh folder for one test, removed by the returned cleanup.
export function scratchFolder(prefix = 'vl-browser-') {
  const folder = mkdtempSync(path.join(process.env.VL_BROWSER_TMP || tmpdir(), prefix));
  return { folder, remove: () => rmSync(folder, { recursive: true, force: true }) };
}

// Runs vlvalidate with `args`; returns { status, stdout, stderr }. Throws when it could not
// start at all.
export function runVlvalidate(args, options = {}) {
  const result = spawnSync(vlvalidatePath, args, { encoding: 'utf8', timeout: 300_000, ...options });
  if (result.error) throw result.error;
  return { status: result.status, stdout: result.stdout, stderr: result.stderr };
}

// Starts headless chromium without any of its own traffic (updates, sync, QUIC probes). Its
// profile is fresh: Playwright passes chromium a --user-data-dir of a new temporary folder
// (removed when the browser closes) and refuses one given here.
export async function launchBrowser() {
  return chromium.launch({
    executablePath: chromiumPath,
    headless: true,
    args: [
      '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
    ],
  });
}

// A browser context whose every http(s)/ws request is aborted and listed in `attempted`, so a
// test can open a page as if offline and check that it tried nothing. `allow(url)` lets chosen
// URLs through (a local server of the test's own).
export async function offlineContext(browser, { allow = () => false, viewport = { width: 1280, height: 900 } } = {}) {
  const context = await browser.newContext({ viewport, serviceWorkers: 'block' });
  const attempted = [];
  await context.route('**/*', (route) => {
    const url = route.request().url();
    if (url.startsWith('file:') || url.startsWith('data:') || url.startsWith('blob:') || allow(url)) {
      return route.continue();
    }
    attempted.push(url);
    return route.abort('internetdisconnected');
  });
  await context.routeWebSocket(/.*/, (socket) => {
    if (allow(socket.url())) return socket.connectToServer();
    attempted.push(socket.url());
    return socket.close();
  });
  return { context, attempted };
}

// Collects the page's uncaught errors and console errors, so a test can assert there were none.
export function watchPageErrors(page) {
  const errors = [];
  page.on('pageerror', (error) => errors.push(String(error)));
  page.on('console', (message) => {
    if (message.type() === 'error') errors.push(message.text());
  });
  return errors;
}
