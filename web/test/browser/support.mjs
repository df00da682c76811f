// A real browser in front of the page.
import assert from 'node:assert/strict';
import { existsSync, mkdirSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { accessPoint } from '../boards.mjs';
import { FakeGate } from '../fake_gate.mjs';

const root = fileURLToPath(new URL('../../..', import.meta.url));
export const files = process.env.VORN_WEB ?? join(root, 'build/release/web/page');
const pictures = process.env.VORN_PICTURES ?? join(root, 'out/web');
mkdirSync(pictures, { recursive: true });

const paths = ['/usr/bin/chromium', '/usr/bin/chromium-browser', '/usr/bin/google-chrome'];

export async function openBrowser() {
  const executablePath = process.env.CHROMIUM ?? paths.find(existsSync);
  if (!executablePath) throw new Error('There is no Chromium: ./dev deps installs it');
  // As root, in a container, Chromium has no sandbox of its own to make.
  return chromium.launch({ executablePath, args: ['--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu'] });
}

export async function withGate(board, task) {
  const gate = new FakeGate(board, { files });
  const address = await gate.listen();
  try {
    return await task(gate, address);
  } finally {
    gate.close();
  }
}

/** A page of a visitor; what goes wrong in it fails the test. */
export async function visit(browser, address, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 900 }, locale: 'en-GB', ignoreHTTPSErrors: true, ...options });
  context.setDefaultTimeout(20000);
  const page = await context.newPage();
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(String(error)));
  page.on('console', (message) => {
    // What the browser itself says of a refused request is no fault of the page.
    if (message.type() === 'error' && !/^Failed to load resource/.test(message.text())) page.faults.push(message.text());
  });
  await page.goto(address);
  return page;
}

/** Waits for what no element of the page tells. */
export async function until(isSo) {
  for (const end = Date.now() + 30000; !isSo();) {
    if (Date.now() > end) throw new Error(`it never came to this: ${isSo}`);
    await new Promise((resolve) => { setTimeout(resolve, 5); });
  }
}

export async function logIn(page, user = 'anna', password = 'secret') {
  await page.getByLabel('User').fill(user);
  await page.getByLabel('Password').fill(password);
  await page.getByRole('button', { name: 'Log in' }).click();
  await page.getByRole('navigation').waitFor();
}

export async function go(page, hash) {
  await page.evaluate((to) => { location.hash = to; }, hash);
  await page.locator('h1').waitFor();
}

/** By Tab, as somebody without a mouse would, until what has the focus is called so; not for ever. */
export async function tabTo(page, name) {
  for (let i = 0; i < 80; i += 1) {
    const focused = await page.evaluate(() => {
      const e = document.activeElement;
      return `${e.getAttribute('aria-label') ?? ''}|${e.labels?.[0]?.textContent ?? ''}|${e.textContent}`.split('|').find(Boolean);
    });
    if (focused?.startsWith(name)) return;
    await page.keyboard.press('Tab');
  }
  assert.fail(`nothing called "${name}" comes by Tab`);
}

/** Nothing has to be scrolled sideways. */
export async function assertFits(page, what) {
  const { wide, room } = await page.evaluate(() => ({ wide: document.documentElement.scrollWidth, room: innerWidth }));
  assert.ok(wide <= room, `${what} is ${wide} px wide in ${room}`);
}

/** What somebody who listens is told of a field beside its label. */
export const descriptionOf = (field) =>
  field.evaluate((element) => (element.getAttribute('aria-describedby') ?? '').split(' ').filter(Boolean).map((id) => document.getElementById(id).textContent.trim()).join(' '));

export const picture = (page, name) => page.screenshot({ path: join(pictures, `${name}.png`), fullPage: true });

/** A page that is logged in, and its gate. What went wrong in the page unseen fails the test. */
export const inPageOf = (browser) => (task, { board = accessPoint(), ...options } = {}) =>
  withGate(board, async (gate, address) => {
    const page = await visit(browser(), address, options);
    await logIn(page);
    await task({ page, gate, address });
    assert.deepEqual(page.faults, []);
    await page.context().close();
  });

export const objectOf = (gate, name) => gate.board.objects.find((o) => o.name === name);
export const press = (page, name) => page.getByRole('button', { name, exact: true }).click();
export const review = (page) => page.getByRole('link', { name: 'Review', exact: true }).click();
export const applied = async (page) => {
  await press(page, 'Apply on trial');
  await page.getByRole('heading', { name: 'Do you want to keep this change?' }).waitFor();
};
export const editAddress = async (page, value, name = 'guests') => {
  await go(page, `#/objects/static-address/${name}`);
  await page.getByLabel('Address needed').fill(value);
};
