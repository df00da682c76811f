// How soon the page is of use in a browser whose processor is four times slower, and what it asks for.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { accessPoint } from '../boards.mjs';
import { logIn, openBrowser, visit, withGate } from './support.mjs';

const slower = 4;
const most = { milliseconds: Number(process.env.VORN_USABLE_MS ?? 1000), requests: 6 };

let browser;
before(async () => {
  browser = await openBrowser();
});
after(() => browser?.close());

async function slowed(page) {
  const session = await page.context().newCDPSession(page);
  await session.send('Emulation.setCPUThrottlingRate', { rate: slower });
}

/** Milliseconds from the beginning of a load until `selector` is there and the page can be typed into. */
async function usable(page, address, selector) {
  await page.goto('about:blank');
  await page.goto(address, { waitUntil: 'commit' });
  return page.evaluate(
    (wanted) =>
      new Promise((done) => {
        const seen = () => (document.querySelector(wanted) ? setTimeout(() => done(performance.now())) : requestAnimationFrame(seen));
        seen();
      }),
    selector,
  );
}

/** Milliseconds of some work in the page: on a quiet machine of ours `workMs`, and more on a busy or a slower one. */
const workMs = 400;
const work = (page) =>
  page.evaluate(() => {
    const begin = performance.now();
    let sum = 1;
    for (let i = 0; i < 2e7; i += 1) sum = (sum * 31 + i) | 0;
    return performance.now() - begin + (sum & 0);
  });

const median = (all) => all.sort((a, b) => a - b)[all.length >> 1];

test('the page is of use within a second, and asks for little', (t) =>
  withGate(accessPoint(), async (gate, address) => {
    const page = await visit(browser, address);
    await page.locator('#user').waitFor();
    const first = gate.requests.map((r) => r.replace('/api/v1', ''));
    assert.deepEqual([...first].sort(), ['GET /', 'GET /app.js', 'GET /icon.svg', 'GET /page.css', 'GET /session']);
    assert.ok(first.length <= most.requests);
    await logIn(page);
    await slowed(page);
    const told = {};
    const worked = [];
    for (const [name, place, selector] of [['overview', '#/overview', '.radio .network'], ['addresses', '#/addresses', 'form.object input']]) {
      const times = [];
      for (let i = 0; i < 5; i += 1) {
        times.push(await usable(page, `${address}/${place}`, selector));
        worked.push(await work(page));
      }
      told[name] = Math.round(median(times));
    }
    await page.getByRole('button', { name: 'Log out' }).click();
    told.login = Math.round(await usable(page, address, '#password'));
    worked.push(await work(page));
    t.diagnostic(`usable after ms: ${JSON.stringify(told)}; beside work of ms: ${worked.map(Math.round)}`);
    const allowed = most.milliseconds * Math.max(1, ...worked.map((ms) => ms / workMs));
    for (const [name, time] of Object.entries(told)) assert.ok(time <= allowed, `${name}: ${time} ms`);
    await page.context().close();
  }));
