// What somebody sees who may not do everything, in a real browser in front of a fake gate.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { accessPoint, lockedBut } from '../boards.mjs';
import { applied, descriptionOf, editAddress, go, inPageOf, objectOf, openBrowser, picture, press, review, until } from './support.mjs';

let browser;
before(async () => {
  browser = await openBrowser();
});
after(() => browser?.close());

const inPage = inPageOf(() => browser);

test('what may not be changed can be read, and says so to who listens', () =>
  inPage(async ({ page }) => {
    await go(page, '#/objects/static-address/guests');
    const address = page.getByLabel('Address', { exact: true });
    await address.waitFor();
    assert.equal(await address.inputValue(), '10.9.0.1');
    assert.equal(await address.isEditable(), false);
    assert.match(await descriptionOf(address), /You may not change this\./);
    const prefix = page.getByLabel('Prefix length');
    assert.equal(await prefix.isEditable(), true);
    assert.doesNotMatch(await descriptionOf(prefix), /You may not/);
    await picture(page, 'locked');
    await prefix.fill('25');
    await review(page);
    await page.getByRole('cell', { name: '25' }).waitFor();
  }, { board: lockedBut(accessPoint(), 'static-address prefix') }));

test('of a password that may not be changed it is told whether there is one', () =>
  inPage(async ({ page }) => {
    await go(page, '#/wireless');
    await page.getByLabel('Password').first().waitFor();
    const told = await page.getByLabel('Password').evaluateAll((fields) => fields.map((field) => field.value));
    assert.deepEqual(told, ['set', '']);
  }, { board: lockedBut(accessPoint()) }));

test('where nothing may be changed it is said once, and nothing is offered to be made or deleted', () =>
  inPage(async ({ page }) => {
    await go(page, '#/objects/system');
    const contact = page.getByLabel('Contact');
    await contact.waitFor();
    assert.equal(await page.getByText('You may not change this.').count(), 1);
    assert.equal(await descriptionOf(contact), 'Whom to call. You may not change this.');
    for (const place of ['addresses', 'wireless', 'objects/static-address', 'objects/static-address/guests', 'objects/access-list']) {
      await go(page, `#/${place}`);
      await page.getByText(/guests|radio0|kids/).first().waitFor();
      assert.equal(await page.getByRole('button', { name: /^Delete/ }).count(), 0, place);
      assert.equal(await page.getByRole('link', { name: /^Add[ :]/ }).count(), 0, place);
    }
    await go(page, '#/add/static-address');
    await page.getByRole('heading', { name: 'There is no such page.' }).waitFor();
  }, { board: lockedBut(accessPoint()) }));

test('who may decide about no trial is told of it and asked nothing', () =>
  inPage(async ({ page, gate }) => {
    await go(page, '#/objects/static-address/guests');
    await page.getByLabel('Prefix length').fill('25');
    await review(page);
    await page.getByText('it is taken back unless somebody who may keeps it in time').waitFor();
    await press(page, 'Apply on trial');
    await page.getByRole('heading', { name: 'A change is on trial.' }).waitFor();
    await page.getByText('Whether it is kept is not yours to decide.').waitFor();
    await picture(page, 'trial-of-others');
    const buttons = page.getByRole('button', { name: /^(Keep|Take it back)$/ });
    assert.equal(await buttons.count(), 0);
    await go(page, '#/overview');
    await page.getByRole('region', { name: 'Change on trial' }).getByText('It is taken back by itself').waitFor();
    assert.equal(await buttons.count(), 0);
    gate.board = { ...gate.board, schema: lockedBut(accessPoint(), 'trial revert').schema };
    gate.board.schema.id = 'may revert';
    gate.tell();
    await buttons.first().waitFor();
    assert.deepEqual(await buttons.allTextContents(), ['Take it back']);
    await press(page, 'Take it back');
    await page.getByText('The change has been taken back.').first().waitFor();
  }, { board: lockedBut(accessPoint(), 'static-address prefix', 'trial seconds') }));

test('who may put nothing on trial is offered nothing to apply', () =>
  inPage(async ({ page }) => {
    await go(page, '#/objects/static-address/guests');
    await page.getByLabel('Prefix length').fill('25');
    await review(page);
    await page.getByText('You may not put a change on trial').waitFor();
    assert.equal(await page.getByRole('button', { name: 'Apply on trial' }).count(), 0);
  }, { board: lockedBut(accessPoint(), 'static-address prefix') }));

for (const [setting, count] of [['system contact', 0], ['history rollback', 1]])
  test(`going back is offered ${count} times to who may change ${setting}`, () =>
    inPage(async ({ page, gate }) => {
      gate.board.objects[0].properties.contact = 'Gustav';
      await go(page, '#/history/1');
      await page.getByText('Gustav').waitFor();
      assert.equal(await page.getByRole('link', { name: 'Go back to this' }).count(), count);
    }, { board: lockedBut(accessPoint(), setting) }));

test('what somebody may change from now on he can, as soon as he is told of any change', () =>
  inPage(async ({ page, gate }) => {
    await go(page, '#/objects/system');
    const contact = page.getByLabel('Contact');
    await contact.waitFor();
    assert.equal(await contact.isEditable(), false);
    await until(() => gate.listeners > 0);
    gate.board.schema = accessPoint().schema;
    gate.tell();
    await page.getByText('You may not change this.').waitFor({ state: 'detached' });
    await contact.fill('Gustav');
    await page.getByText('One object edited').waitFor();
  }, { board: lockedBut(accessPoint()) }));

test('what somebody may not change any more is told at review', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    gate.board = lockedBut(gate.board);
    await review(page);
    await page.getByRole('heading', { name: 'You may not do this' }).waitFor();
    await page.getByText('Nothing has been changed. Who manages this device decides').waitFor();
    assert.equal(await page.getByRole('button', { name: 'Apply on trial' }).count(), 0);
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
  }));

// Nobody has to look for where he had edited it.
test('what somebody may not change any more is left out at review, and the rest is applied', () =>
  inPage(async ({ page, gate }) => {
    await editAddress(page, '10.9.0.2');
    await go(page, '#/objects/system');
    await page.getByLabel('Contact').fill('Gustav');
    gate.board = lockedBut(gate.board, 'system contact', 'trial seconds', 'trial confirm', 'trial revert');
    await review(page);
    await page.getByRole('heading', { name: 'What you have edited' }).waitFor();
    await picture(page, 'denied');
    await press(page, 'Leave this out: Fixed address guests');
    await page.getByRole('cell', { name: 'Gustav' }).waitFor();
    await applied(page);
    assert.equal(objectOf(gate, 'guests').properties.address, '10.9.0.1');
  }));

for (const edit of ['an address', 'a new address'])
  test(`what somebody may not see any more is left out at review: ${edit}`, () =>
    inPage(async ({ page, gate }) => {
      if (edit === 'an address') await editAddress(page, '10.9.0.2');
      else {
        await go(page, '#/add/static-address');
        await page.getByLabel('Name needed').fill('office');
        await page.getByLabel('Address needed').fill('10.8.0.1');
        await page.getByLabel('Prefix length').fill('24');
        await page.getByLabel('Interface').selectOption('br-lan');
        await press(page, 'Put it into the change');
      }
      await go(page, '#/objects/system');
      await page.getByLabel('Contact').fill('Gustav');
      const { schema, objects } = gate.board;
      const classes = schema.classes.filter((each) => each.name !== 'static-address');
      gate.board = { ...gate.board, schema: { id: 'fewer', classes }, objects: objects.filter((each) => each.class !== 'static-address') };
      await review(page);
      await page.getByText('There is none of this for you any more').waitFor();
      await picture(page, 'unseen');
      assert.equal(await page.getByRole('button', { name: 'Apply on trial' }).count(), 0);
      await press(page, `Leave this out: Fixed address ${edit === 'an address' ? 'guests' : 'office'}`);
      await page.getByRole('cell', { name: 'Gustav' }).waitFor();
      await applied(page);
    }));
