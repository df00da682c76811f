// The page for who may do little: what web/test/board makes rules for. He sees what he may, and is told in words what
// he may not.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { descriptionOf, go, openBrowser, picture, visit } from './browser/support.mjs';

const { VORN_ADDRESS: address, VORN_PASSWORD: password } = process.env;
const slow = { timeout: 30000 };

let browser;
before(async () => {
  browser = await openBrowser();
});
after(() => browser?.close());

async function inPageAs(user, task) {
  const page = await visit(browser, address);
  await page.locator('#user').fill(user);
  await page.locator('#password').fill(password);
  await page.getByRole('button', { name: 'Log in', exact: true }).click();
  await page.getByRole('navigation').waitFor(slow);
  await task(page);
  assert.deepEqual(page.faults, []);
  await page.context().close();
}

const review = (page) => page.getByRole('link', { name: 'Review', exact: true }).click();
const navigation = (page) => page.getByRole('navigation').getByRole('link').allTextContents();

test('who may read everything and change nothing sees all of it, in fields that say so', () =>
  inPageAs('reader', async (page) => {
    await page.getByText('Everything is as it should be.').waitFor(slow);
    assert.deepEqual(await navigation(page), ['Overview', 'Addresses', 'All settings', 'History']);
    await go(page, '#/objects/static-address/lan');
    const prefix = page.getByLabel(/^Prefix/);
    await prefix.waitFor(slow);
    assert.equal(await prefix.inputValue(), '24');
    assert.equal(await prefix.isEditable(), false);
    assert.match(await descriptionOf(prefix), /You may not change this\./);
    assert.equal(await page.getByRole('button', { name: /^Delete/ }).count(), 0);
    await picture(page, 'rights-locked');
    await go(page, '#/objects/static-address');
    await page.getByRole('link', { name: /^lan/ }).waitFor(slow);
    assert.equal(await page.getByRole('link', { name: /^Add[ :]/ }).count(), 0);
  }));

test('who may read everything and change nothing can not go back either', () =>
  inPageAs('reader', async (page) => {
    const first = await page.evaluate(async () => (await (await fetch('api/v1/history')).json()).generations.at(-1).id);
    await go(page, `#/history/${first}`);
    await page.getByRole('heading', { name: 'How the device differs from it now' }).waitFor(slow);
    assert.equal(await page.getByRole('link', { name: 'Go back to this' }).count(), 0);
    await go(page, `#/rollback/${first}`);
    await page.getByRole('heading', { name: 'You may not do this' }).waitFor(slow);
    await page.getByText('Nothing has been changed. Who manages this device decides').waitFor();
    assert.equal(await page.getByRole('button', { name: 'Apply on trial' }).count(), 0);
    await picture(page, 'rights-denied');
  }));

test('who may see one class and change one setting sees that alone, and changes it', () =>
  inPageAs('guest', async (page) => {
    await page.getByText('Nothing is wrong with what you may see.').waitFor(slow);
    assert.deepEqual(await navigation(page), ['Overview', 'All settings']);
    await picture(page, 'rights-few');
    await go(page, '#/objects/static-address/lan');
    await page.getByRole('heading', { name: 'There is no such page.' }).waitFor();
    await go(page, '#/settings');
    assert.deepEqual(await page.locator('.tile strong').allTextContents(), ['Device', 'Trial']);
    await go(page, '#/objects/system');
    const hostname = page.getByLabel(/^Host name/);
    await hostname.waitFor(slow);
    assert.equal(await hostname.isEditable(), false);
    assert.match(await descriptionOf(hostname), /You may not change this\./);
    await page.getByLabel(/^Contact/).fill('Gustav');
    await review(page);
    await page.getByRole('cell', { name: 'Gustav' }).waitFor(slow);
    await page.getByRole('button', { name: 'Apply on trial' }).click();
    await page.getByRole('button', { name: 'Keep', exact: true }).click(slow);
    await page.getByText('The change is kept and saved.').first().waitFor(slow);
    assert.equal(await page.evaluate(async () => (await (await fetch('api/v1/objects/system')).json()).objects[0].properties.contact), 'Gustav');
  }));

test('who may see nothing is told so, and nothing else', () =>
  inPageAs('stranger', async (page) => {
    await page.getByText('You may not see anything of this device.').waitFor(slow);
    assert.deepEqual(await navigation(page), ['Overview', 'All settings']);
    const told = await page.evaluate(async () => {
      const answers = await Promise.all(['schema', 'status', 'history', 'commits', 'objects/system', 'metrics', 'openapi.json', 'trial']
        .map(async (path) => (await fetch(`api/v1/${path}`)).text()));
      return answers.join(' ');
    });
    assert.doesNotMatch(told, /192\.168\.1\.1|attic|static-address|contact|Gustav|eth0/);
    await picture(page, 'rights-none');
  }));
