// No page has what axe-core calls a violation of WCAG 2.2 AA: those of an access point, in each look, and
// those of boards that nobody has thought of. VORN_BOARDS says how many of these.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { after, before, test } from 'node:test';
import { accessPoint, lockedBut, randomBoard } from '../boards.mjs';
import { go, logIn, openBrowser, visit, withGate } from './support.mjs';

const axe = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const rules = ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'];
const boards = Number(process.env.VORN_BOARDS ?? 200);
const firstSeed = Number(process.env.VORN_SEED ?? 1);

let browser;
before(async () => {
  browser = await openBrowser();
});
after(() => browser?.close());

async function violations(page, where) {
  if (!(await page.evaluate(() => 'axe' in window))) await page.evaluate(axe);
  const found = await page.evaluate(
    (tags) => window.axe.run({ runOnly: tags, resultTypes: ['violations'] }).then((r) => r.violations),
    rules,
  );
  return found.map((v) => `${where}: ${v.id}: ${v.help}: ${v.nodes.slice(0, 2).map((n) => n.html.slice(0, 160)).join(' | ')}`);
}

const settled = (page) => page.waitForFunction(() => !document.querySelector('[aria-busy="true"]') && !/Loading …|Wird geladen/.test(document.body.textContent));

async function look(page, hash) {
  await go(page, hash);
  await settled(page);
  return violations(page, hash);
}

const places = ['overview', 'wireless', 'addresses', 'settings', 'history', 'history/1', 'objects/bridge', 'objects/bridge/br-lan', 'objects/system',
  'objects/access-list', 'objects/station', 'add/wireless-network', 'nowhere', 'objects/nothing', 'review'].map((p) => `#/${p}`);
const looks = { light: {}, dark: { colorScheme: 'dark' }, narrow: { viewport: { width: 360, height: 740 }, colorScheme: 'dark' }, german: { locale: 'de-DE' } };

for (const [name, options] of Object.entries(looks))
  test(`no page of an access point has a violation: ${name}`, () =>
    withGate(accessPoint(), async (gate, address) => {
      const page = await visit(browser, address, options);
      const found = await violations(page, 'login');
      await page.locator('#user').fill('anna');
      await page.locator('#password').fill('secret');
      await page.keyboard.press('Enter');
      await page.getByRole('navigation').waitFor();
      for (const hash of places) found.push(...(await look(page, hash)));
      assert.deepEqual(found, []);
      await page.context().close();
    }));

test('no page of somebody who may change little has a violation', () =>
  withGate(lockedBut(accessPoint(), 'system contact'), async (gate, address) => {
    const page = await visit(browser, address);
    await logIn(page);
    const found = [];
    for (const hash of places) found.push(...(await look(page, hash)));
    assert.deepEqual(found, []);
    await page.context().close();
  }));

test('no step of a change has a violation', () =>
  withGate(accessPoint(), async (gate, address) => {
    const page = await visit(browser, address);
    await logIn(page);
    await go(page, '#/objects/static-address/guests');
    await page.getByLabel('Address needed').fill('10.9.0');
    const found = await violations(page, 'fault');
    await page.getByLabel('Address needed').fill('10.9.0.255');
    found.push(...(await look(page, '#/review')));
    await go(page, '#/objects/static-address/guests');
    found.push(...(await violations(page, 'refused at its field')));
    await page.getByLabel('Address needed').fill('10.9.0.7');
    gate.board.objects.find((o) => o.name === 'guests').properties.prefix = '8';
    found.push(...(await look(page, '#/review')));
    await page.getByRole('button', { name: /^Keep mine/ }).click();
    await page.getByRole('button', { name: 'Apply on trial' }).waitFor();
    found.push(...(await violations(page, 'explained')));
    await page.getByRole('button', { name: 'Apply on trial' }).click();
    await page.getByRole('button', { name: 'Keep' }).waitFor();
    found.push(...(await violations(page, 'trial')), ...(await look(page, '#/overview')));
    await page.getByRole('button', { name: 'Keep' }).click();
    await page.getByText('kept and saved').first().waitFor();
    found.push(...(await violations(page, 'kept')), ...(await look(page, '#/history/2')), ...(await look(page, '#/rollback/1')));
    assert.deepEqual(found, []);
    await page.context().close();
  }));

// What stands at review instead of differences: what the device refuses as a whole, and what is not there any more.
for (const [name, options] of Object.entries(looks))
  test(`no list of what can be left out at review has a violation: ${name}`, () =>
    withGate(accessPoint(), async (gate, address) => {
      const page = await visit(browser, address, options);
      await page.locator('#user').fill('anna');
      await page.locator('#password').fill('secret');
      await page.keyboard.press('Enter');
      await page.getByRole('navigation').waitFor();
      const edit = async (place, property, value) => {
        await go(page, place);
        await settled(page);
        await page.getByLabel(property).fill(value);
      };
      await edit('#/objects/static-address/guests', /^Address/, '10.9.0.7');
      await edit('#/objects/system', 'Contact', 'Gustav');
      const free = gate.board;
      gate.board = lockedBut(free, 'system contact', 'trial seconds');
      const found = await look(page, '#/review');
      await page.locator('#edited').waitFor();
      assert.equal(await page.locator('[aria-labelledby="edited"] button').count(), 2);
      const classes = free.schema.classes.filter((each) => each.name !== 'static-address');
      gate.board = { ...free, schema: { id: 'fewer', classes }, objects: free.objects.filter((each) => each.class !== 'static-address') };
      await go(page, '#/overview');
      found.push(...(await look(page, '#/review')));
      await page.locator('#conflict').waitFor();
      await page.locator('[aria-labelledby="conflict"] button').last().focus();
      found.push(...(await violations(page, 'with the focus on leaving it out')));
      await page.keyboard.press('Enter');
      await page.locator('#changes').waitFor();
      found.push(...(await violations(page, 'left out')));
      assert.deepEqual(found, []);
      await page.context().close();
    }));

/** Of every so many random boards from `first` on. */
const visitRandomBoards = (first, step) =>
  withGate(randomBoard(0), async (gate, address) => {
    const page = await visit(browser, address);
    await logIn(page);
    const found = [];
    for (let seed = first; seed < firstSeed + boards; seed += step) {
      gate.board = randomBoard(seed);
      await page.goto('about:blank');
      await page.goto(`${address}/#/settings`);
      await page.locator('h1').waitFor();
      found.push(...(await violations(page, `board ${seed}, settings`)));
      // Each seed shows two of its classes: as a list or a form, and one where something is made.
      for (const turn of [0, 1]) {
        const { classes } = gate.board.schema;
        const { name, type, persistent, insertable } = classes[(seed + turn) % classes.length];
        const adds = turn === 1 && type !== 'singleton' && persistent && insertable;
        const object = gate.board.objects.find((o) => o.class === name && type === 'unique-named');
        const parts = adds ? ['add', name] : object ? ['objects', name, object.name] : ['objects', name];
        found.push(...(await look(page, `#/${parts.map(encodeURIComponent).join('/')}`)).map((f) => `board ${seed}: ${f}`));
      }
    }
    assert.deepEqual(found, []);
    assert.deepEqual(page.faults, []);
    await page.context().close();
  });

// A tab keeps one processor busy.
const tabs = [0, 1];
test(`no page of ${boards} random boards has a violation`, () => Promise.all(tabs.map((tab) => visitRandomBoards(firstSeed + tab, tabs.length))));
