// What people do with the page, in a real browser in front of a fake gate.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { accessPoint } from '../boards.mjs';
import { applied, assertFits, editAddress, go, inPageOf, logIn, objectOf, openBrowser, picture, press, review, tabTo, until, visit, withGate } from './support.mjs';

let browser;
before(async () => {
  browser = await openBrowser();
});
after(() => browser?.close());

const inPage = inPageOf(() => browser);

test('a wrong password is told, and too many of them', () =>
  withGate(accessPoint(), async (gate, address) => {
    const page = await visit(browser, address);
    for (const told of [/do not belong together/, /do not belong together/, /do not belong together/, /wait 7 s/]) {
      await page.getByLabel('User').fill('anna');
      await page.getByLabel('Password').fill('wrong');
      await press(page, 'Log in');
      await page.getByRole('alert').getByText(told).waitFor();
    }
    await picture(page, 'login-refused');
    await page.context().close();
  }));

test('a change is edited, reviewed, tried and kept', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await page.getByText('One object edited').waitFor();
    await picture(page, 'edited');
    await review(page);
    await page.getByRole('cell', { name: '10.9.0.1' }).waitFor();
    await page.getByRole('heading', { name: 'Interrupts' }).waitFor();
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
    await picture(page, 'review');
    await page.getByLabel('Why').fill('the guests move');
    await applied(page);
    await picture(page, 'trial');
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.2');
    assert.equal(gate.generations.length, 1);
    await press(page, 'Keep');
    await page.getByText('The change is kept and saved.').first().waitFor();
    assert.equal(gate.trial, null);
    assert.equal(gate.generations[0].comment, 'the guests move');
    await go(page, '#/history');
    await page.getByRole('link', { name: /the guests move/ }).waitFor();
    await picture(page, 'history');
  }));

test('several objects are one change', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await go(page, '#/wireless');
    await page.getByLabel('Channel').fill('11');
    await go(page, '#/objects/access-list');
    await page.getByRole('button', { name: 'Delete kids' }).first().click();
    await page.getByText('3 objects edited').waitFor();
    await review(page);
    await applied(page);
    await press(page, 'Keep');
    await page.getByText('kept and saved').first().waitFor();
    assert.equal(objectOf(gate, 'radio0').properties.channel, '11');
    assert.equal(gate.board.objects.filter((o) => o.class === 'access-list').length, 1);
    assert.equal(gate.requests.filter((r) => r === 'POST /api/v1/changes').length, 2);
  }));

test('an object is made, with what is missing told at its field', () =>
  inPage(async ({ page, gate }) => {
    await go(page, '#/add/static-address');
    await press(page, 'Put it into the change');
    await page.getByText('This is needed.').first().waitFor();
    assert.equal(await page.evaluate(() => document.activeElement.id), 'new-name');
    await page.getByLabel('Name needed').fill('office');
    await page.getByLabel('Address needed').fill('10.8.0.1');
    await page.getByLabel('Prefix length').fill('33');
    await page.getByText('Give a whole number from 1 to 32.').waitFor();
    await picture(page, 'add');
    await page.getByLabel('Prefix length').fill('24');
    await page.getByLabel('Interface').selectOption('br-lan');
    await press(page, 'Put it into the change');
    await page.getByRole('heading', { name: /office New/ }).waitFor();
    await review(page);
    await applied(page);
    assert.equal(objectOf(gate, 'office').properties.address, '10.8.0.1');
  }));

test('what the device refuses stands at its field, and nothing has happened', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.255');
    await review(page);
    await page.getByRole('heading', { name: 'The device would refuse this' }).waitFor();
    await picture(page, 'refused');
    assert.equal(await page.getByRole('button', { name: 'Apply on trial' }).count(), 0);
    await page.getByRole('link', { name: /Go to it/ }).click();
    await page.getByText('it is a broadcast address').waitFor();
    assert.equal(await page.getByLabel('Address needed').getAttribute('aria-invalid'), 'true');
    await page.getByLabel('Address needed').fill('10.9.0.9');
    await page.getByText('it is a broadcast address').waitFor({ state: 'detached' });
    await review(page);
    await applied(page);
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.9');
  }));

test('a browser that has lost the device sees the change taken back', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await review(page);
    await applied(page);
    gate.silence(true);
    await page.getByText('The device does not answer').waitFor();
    await picture(page, 'lost');
    assert.ok(await page.getByRole('button', { name: 'Keep' }).isDisabled());
    gate.takeBack();
    gate.silence(false);
    await page.getByText('The time was over: the change has been taken back.').first().waitFor();
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
  }));

test('a change is taken back by hand', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await review(page);
    await applied(page);
    await press(page, 'Take it back');
    await page.getByText('The change has been taken back.').first().waitFor();
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
  }));

test('who changes the address that he came by goes on at the new one', () =>
  withGate(accessPoint('127.0.0.1'), async (gate, address) => {
    const { port } = new URL(address);
    const page = await visit(browser, address);
    await logIn(page);
    await editAddress(page, '127.0.0.2', 'lan');
    await review(page);
    await page.getByText(`After this the device is at 127.0.0.2:${port}`).waitFor();
    await press(page, 'Apply on trial');
    await page.getByRole('link', { name: `Go to 127.0.0.2:${port}` }).waitFor();
    await picture(page, 'moved');
    // The device leaves its old address for the new one.
    gate.server.closeAllConnections();
    await new Promise((done) => gate.server.close(done));
    await new Promise((done) => gate.server.listen(Number(port), '127.0.0.2', done));
    await page.waitForURL(`http://127.0.0.2:${port}/#/trial/${gate.trial.id}`);
    await page.getByText('A change is waiting to be kept').waitFor();
    await logIn(page);
    await press(page, 'Keep');
    await page.getByText('kept and saved').first().waitFor();
    assert.equal(objectOf(gate, 'lan').properties.address, '127.0.0.2');
    await page.context().close();
  }));

test('of two browsers neither overwrites what it has not seen', () =>
  inPage(async ({ page, gate, address }) => {
    const other = await visit(browser, address);
    await logIn(other, 'ben');
    await editAddress(page, '10.9.0.2');
    await editAddress(other, '10.9.0.3');
    await review(other);
    await applied(other);
    await page.getByRole('link', { name: 'Do you want to keep this change?' }).waitFor();
    await press(other, 'Keep');
    await other.getByText('kept and saved').first().waitFor();
    await review(page);
    await page.getByRole('heading', { name: 'Meanwhile somebody else has changed this' }).waitFor();
    for (const value of ['10.9.0.1', '10.9.0.3', '10.9.0.2']) await page.getByRole('cell', { name: value }).waitFor();
    await picture(page, 'conflict');
    assert.equal(await page.getByRole('button', { name: 'Apply on trial' }).count(), 0);
    await press(page, 'Keep mine: Fixed address guests');
    await page.getByRole('cell', { name: '10.9.0.3' }).waitFor();
    await applied(page);
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.2');
    await other.context().close();
  }));

test('a change that comes between review and apply is seen before anything happens', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await review(page);
    await page.getByRole('button', { name: 'Apply on trial' }).waitFor();
    // No event tells of it: the page hears of it from the refusal.
    objectOf(gate, 'guests').properties.prefix = '16';
    gate.number += 1;
    await press(page, 'Apply on trial');
    await page.getByRole('heading', { name: 'Meanwhile somebody else has changed this' }).waitFor();
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
    await press(page, 'Take theirs: Fixed address guests');
    await page.getByText('Nothing is edited.').waitFor();
  }));

test('what was explained of a device that has moved on is explained anew', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await review(page);
    await page.getByRole('button', { name: 'Apply on trial' }).waitFor();
    // Something else, and again without an event.
    gate.number += 1;
    const explained = page.waitForResponse((r) => r.url().endsWith('/changes') && r.request().postDataJSON().explain);
    await press(page, 'Apply on trial');
    await explained;
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
    await applied(page);
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.2');
  }));

test('what was there before comes back from the history, through review and trial', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await review(page);
    await applied(page);
    await press(page, 'Keep');
    await page.getByText('kept and saved').first().waitFor();
    await go(page, '#/history/1');
    await page.getByRole('cell', { name: '10.9.0.2' }).waitFor();
    await picture(page, 'generation');
    await page.getByRole('link', { name: 'Go back to this' }).click();
    await page.getByRole('cell', { name: '10.9.0.2' }).waitFor();
    await applied(page);
    await press(page, 'Keep');
    await until(() => gate.generations.length === 3);
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
  }));

test('a password is never shown, and stays unless another one is written', () =>
  inPage(async ({ page, gate }) => {
    await go(page, '#/objects/wireless-network/home');
    const key = page.getByLabel('Password', { exact: true });
    assert.equal(await key.inputValue(), '');
    assert.match(await key.getAttribute('placeholder'), /^set;/);
    await key.fill('a new password');
    await key.fill('');
    await page.getByText('One object edited').waitFor({ state: 'detached' });
    await key.fill('a new password');
    await review(page);
    await applied(page);
    assert.equal(objectOf(gate, 'home').properties.key, 'a new password');
  }));

test('a session that ends loses nothing that was edited', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    gate.sessions.clear();
    await review(page);
    await page.getByText('The session has ended.').waitFor();
    await logIn(page);
    await page.getByRole('cell', { name: '10.9.0.2' }).waitFor();
  }));

test('what one had edited is not handed to another', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    gate.sessions.clear();
    await review(page);
    await page.getByText('The session has ended.').waitFor();
    await logIn(page, 'ben');
    await page.getByText('Nothing is edited.').waitFor();
  }));

test('everything can be done with the keyboard alone', () =>
  withGate(accessPoint(), async (gate, address) => {
    const page = await visit(browser, address);
    const { keyboard } = page;
    await page.locator('input:focus').waitFor();
    await keyboard.type('anna');
    await keyboard.press('Tab');
    await keyboard.type('secret');
    await keyboard.press('Enter');
    await page.getByRole('heading', { name: 'Overview' }).waitFor();
    await tabTo(page, 'Skip to the content');
    await keyboard.press('Enter');
    assert.equal(await page.evaluate(() => document.activeElement.tagName), 'H1');
    await page.evaluate(() => document.activeElement.blur());
    await tabTo(page, 'Addresses');
    await keyboard.press('Enter');
    await page.getByRole('heading', { name: 'Addresses' }).waitFor();
    assert.equal(await page.evaluate(() => document.activeElement.outerHTML), '<h1 tabindex="-1">Addresses</h1>');
    await page.getByRole('heading', { name: 'guests' }).waitFor();
    await tabTo(page, 'Address needed');
    await keyboard.press('Control+A');
    await keyboard.type('192.168.1.9');
    await tabTo(page, 'Review');
    await keyboard.press('Enter');
    await page.getByRole('button', { name: 'Apply on trial' }).waitFor();
    await tabTo(page, 'Apply on trial');
    await keyboard.press('Enter');
    await page.getByRole('heading', { name: 'Do you want to keep this change?' }).waitFor();
    await tabTo(page, 'Keep');
    await keyboard.press('Enter');
    await page.getByText('kept and saved').first().waitFor();
    assert.equal(objectOf(gate, 'lan').properties.address, '192.168.1.9');
    await page.context().close();
  }));

test('it is light or dark as chosen, and else as the browser prefers', () =>
  withGate(accessPoint(), async (gate, address) => {
    const page = await visit(browser, address, { colorScheme: 'dark' });
    await logIn(page);
    const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const dark = await ground();
    await page.emulateMedia({ colorScheme: 'light' });
    await page.locator('html[data-shade="light"]').waitFor({ state: 'attached' });
    const light = await ground();
    assert.notEqual(light, dark);
    await page.getByLabel('Colours').selectOption('dark');
    assert.equal(await ground(), dark);
    await page.reload();
    await page.getByRole('navigation').waitFor();
    assert.equal(await ground(), dark);
    await page.getByLabel('Colours').selectOption('auto');
    assert.equal(await ground(), light);
    await page.context().close();
  }));

test('what the device says of itself is marked as English on a German page', () =>
  withGate(accessPoint(), async (gate, address) => {
    const page = await visit(browser, address, { locale: 'de-DE' });
    await page.locator('#user').fill('anna');
    await page.locator('#password').fill('secret');
    await page.keyboard.press('Enter');
    await page.getByRole('navigation').waitFor();
    await go(page, '#/objects/radio/radio0');
    const language = (text) => page.getByText(text).first().evaluate((element) => element.closest('[lang]').lang);
    assert.equal(await language('Mode'), 'en');
    assert.equal(await language('Which band, and how.'), 'en');
    assert.equal(await language(/^Abmelden/), 'de');
    await go(page, '#/add/bridge');
    assert.equal(await language('Hinzufügen:'), 'de');
    assert.equal(await page.locator('h1 [lang="en"]').textContent(), 'Bridge');
    await page.context().close();
  }));

const places = { overview: '#/overview', wireless: '#/wireless', addresses: '#/addresses', settings: '#/settings', object: '#/objects/bridge/br-lan' };
const looks = { light: {}, dark: { colorScheme: 'dark' }, narrow: { viewport: { width: 360, height: 740 } }, german: { locale: 'de-DE' } };
for (const [look, options] of Object.entries(looks))
  test(`it looks as it should: ${look}`, () =>
    withGate(accessPoint(), async (gate, address) => {
      const page = await visit(browser, address, options);
      await page.locator('#user').fill('anna');
      await page.locator('#password').fill('secret');
      await picture(page, `${look}-login`);
      await page.keyboard.press('Enter');
      await page.getByRole('navigation').waitFor();
      for (const [name, hash] of Object.entries(places)) {
        await go(page, hash);
        if (name === 'overview') await page.locator('.chart path.rx[d*="L"]').waitFor();
        await page.getByText(/^(Loading|Wird geladen)/).first().waitFor({ state: 'detached' });
        await picture(page, `${look}-${name}`);
        await assertFits(page, name);
      }
      assert.deepEqual(page.faults, []);
      await page.context().close();
    }));

test('colours are chosen, and stay chosen', () =>
  inPage(async ({ page }) => {
    const ground = () => page.evaluate(() => getComputedStyle(document.body).backgroundColor);
    const light = await ground();
    await page.getByLabel('Colours').selectOption('dark');
    const dark = await ground();
    assert.notEqual(dark, light);
    await page.reload();
    await page.getByRole('navigation').waitFor();
    assert.equal(await ground(), dark);
  }));

test('what comes from the device is never markup', () => {
  const board = accessPoint();
  board.objects.find((o) => o.name === 'home').properties.ssid = '<img src=x onerror="document.title=1"><b>loud</b>';
  return inPage(async ({ page }) => {
    await page.getByRole('link', { name: /<b>loud<\/b>/ }).waitFor();
    assert.equal(await page.locator('main b:text("loud")').count(), 0);
    assert.equal(await page.locator('img[src="x"]').count(), 0);
  }, { board });
});

test('who has looked at much asks only for what he looks at', () =>
  inPage(async ({ page, gate }) => {
    for (const name of ['bridge', 'route', 'system']) {
      await go(page, `#/objects/${name}`);
      await page.getByText('Loading').waitFor({ state: 'detached' });
    }
    await go(page, '#/objects/radio');
    await page.getByRole('link', { name: /^radio0/ }).waitFor();
    gate.requests.length = 0;
    gate.tell();
    await until(() => gate.requests.length >= 2);
    assert.deepEqual(gate.requests.sort(), ['GET /api/v1/objects/radio', 'GET /api/v1/status']);
  }));

test('a cable that was pulled somewhere is noticed while a change is on trial', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await review(page);
    await applied(page);
    gate.isMute = true;
    await page.getByText('The device does not answer').waitFor();
    gate.isMute = false;
    await page.getByText('The device does not answer').waitFor({ state: 'detached' });
    await press(page, 'Keep');
    await page.getByText('kept and saved').first().waitFor();
  }));
