import assert from 'node:assert/strict';
import test from 'node:test';
import { duration, countdown } from '../../src/model/format.js';
import { link, parse } from '../../src/model/routes.js';
import { mayAdd, mayDelete, maySet, parted, Schema } from '../../src/model/schema.js';
import { ceiling, path, Traffic } from '../../src/model/traffic.js';
import { Countdown, effectsByWeight, newPlace } from '../../src/model/trial.js';

const at = (url) => new URL(url);
const moves = (...values) => [{ class: 'static-address', name: 'lan', values: values.map(([property, before, after]) => ({ property, before, after })) }];

test('after a change of the address that it came from, the page is elsewhere, with the trial', () => {
  assert.equal(newPlace(moves(['address', '10.0.0.1', '10.9.0.1']), at('https://10.0.0.1:8443/'), 'ab12'), 'https://10.9.0.1:8443/#/trial/ab12');
  assert.equal(newPlace(moves(['address', '10.0.0.1/24', '10.9.0.1/16']), at('https://10.0.0.1/'), 'ab12'), 'https://10.9.0.1/#/trial/ab12');
});

test('another address, another property or a name leave the page where it is', () => {
  assert.equal(newPlace(moves(['address', '10.0.0.2', '10.9.0.1']), at('https://10.0.0.1/'), 'x'), null);
  assert.equal(newPlace(moves(['gateway', '10.0.0.1', '10.9.0.1']), at('https://10.0.0.1/'), 'x'), null);
  assert.equal(newPlace(moves(['address', '10.0.0.1', '10.9.0.1']), at('https://ap1.lan/'), 'x'), null);
  assert.equal(newPlace(moves(['address', '10.0.0.1', null]), at('https://10.0.0.1/'), 'x'), null);
});

test('an address that only changes its instance is still there', () => {
  const changes = [...moves(['address', '10.0.0.1', '10.9.0.1']), ...moves(['address', null, '10.0.0.1'])];
  assert.equal(newPlace(changes, at('https://10.0.0.1/'), 'x'), null);
});

test('what weighs most comes first, and a weight that is not known is not lost', () => {
  const explanation = { providers: [{ name: 'a', effects: [{ weight: 'nothing', text: '1' }, { weight: 'interrupts', text: '2' }] },
    { name: 'b', effects: [{ weight: 'restarts the device', text: '3' }, { weight: 'unheard-of', text: '4' }] }, { name: 'c' }] };
  assert.deepEqual(effectsByWeight(explanation).map((g) => g.weight), ['unheard-of', 'restarts the device', 'interrupts', 'nothing']);
});

test('a countdown ends at nought', () => {
  const c = new Countdown(2, 1000);
  assert.deepEqual([c.left(1000), c.left(1001), c.left(2999), c.left(9000)], [2, 2, 1, 0]);
  assert.equal(countdown(125), '2:05');
});

test('any name survives a link', () => {
  for (const name of ['lan', 'a/b', '%2F', '#x', 'ä ö', '..'])
    assert.deepEqual(parse(link('objects', 'static-address', name)), { page: 'objects', rest: ['static-address', name] });
  assert.deepEqual(parse(''), { page: 'overview', rest: [] });
  assert.deepEqual(parse('#/objects/%E0%A4%A'), { page: 'objects', rest: ['%E0%A4%A'] });
});

test('an abstract class stands for its members, and is not listed itself', () => {
  const c = (name, more) => ({ name, type: 'unique-named', properties: [], ...more });
  const schema = new Schema({ classes: [c('interface', { abstract: true }), c('vlan', { superclass: 'interface' }), c('bridge', { superclass: 'interface', group: 'Net' }), c('schema-class')] });
  assert.deepEqual(schema.concrete('interface'), ['vlan', 'bridge']);
  assert.deepEqual(schema.concrete('nothing'), []);
  assert.deepEqual(schema.groups().map(([name, all]) => [name, all.map((x) => x.name)]), [['Net', ['bridge']], ['', ['vlan']]]);
});

test('which member of a family it is, nobody is asked', () => {
  const kind = { name: 'kind', writable: true, readable: true };
  const schema = new Schema({ classes: [
    { name: 'interface', abstract: true, 'subclass-identifier': 'kind', properties: [kind] },
    { name: 'vlan', superclass: 'interface', properties: [kind, { name: 'id', writable: true, group: 'Settings' }] }] });
  assert.deepEqual(parted(schema.class('vlan')), { settings: [{ name: '', properties: [schema.property('vlan', 'id')] }], facts: [] });
});

test('only who may is offered to make, to delete and to change something', () => {
  const setting = { name: 'p', writable: true, changeable: true, insertable: false };
  const c = { type: 'unique-named', persistent: true, insertable: true, deletable: false, properties: [setting] };
  assert.deepEqual([mayAdd(c), mayDelete(c)], [true, false]);
  assert.deepEqual([mayAdd({ ...c, insertable: false, deletable: true }), mayDelete({ ...c, deletable: true })], [false, true]);
  for (const other of [{ type: 'singleton' }, { persistent: false }, { properties: [{ ...setting, writable: false }] }])
    assert.deepEqual([mayAdd({ ...c, ...other }), mayDelete({ ...c, deletable: true, ...other })], [false, false]);
  assert.deepEqual([maySet(setting, false), maySet(setting, true)], [true, false]);
  assert.deepEqual([maySet({ ...setting, changeable: false }, false), maySet({ ...setting, insertable: true }, true)], [false, true]);
  assert.deepEqual([maySet({ ...setting, writable: false }, false), maySet({ ...setting, insertable: true, writable: false }, true)], [false, false]);
});

test('a setting that is not to be shown is in no group, nor is a group that has no other', () => {
  const [one, two] = ['one', 'two'].map((name) => ({ name, writable: true, group: name }));
  assert.deepEqual(parted({ properties: [one, two] }).settings.map((g) => g.name), ['one', 'two']);
  assert.deepEqual(parted({ properties: [one, two] }, (p) => p === two).settings, [{ name: '', properties: [two] }]);
});

test('properties stand in the order that was asked for, others as they were declared', () => {
  const schema = new Schema({ classes: [{ name: 'c', properties: [{ name: 'a' }, { name: 'b', order: -1 }, { name: 'c' }] }] });
  assert.deepEqual(schema.class('c').properties.map((p) => p.name), ['b', 'a', 'c']);
});

test('rates come from counters, and a counter that began anew is no traffic', () => {
  const traffic = new Traffic();
  for (const [rx, time] of [[1000, 0], [2000, 1000], [9000, 1010], [100, 2000], [350, 4000]]) traffic.add('eth0', { rx, tx: 0 }, time);
  assert.deepEqual(traffic.points('eth0').map((p) => p.rx), [8000, 0, 1000]);
});

test('an axis ends at a round number, and its line stays within', () => {
  assert.deepEqual([0, 1000, 1001, 4200, 7e6].map((n) => ceiling(n)), [1000, 1000, 2000, 5000, 1e7]);
  assert.equal(path([0, 5, 20], 10, { width: 100, height: 50, most: 3 }), 'M0.0 50.0L50.0 25.0L100.0 0.0');
});

test('durations are told in their two largest parts', () => {
  assert.deepEqual([5, 60, 3700, 90000].map(duration), ['5 seconds', '1 minute', '1 hour 1 minute', '1 day 1 hour']);
});
