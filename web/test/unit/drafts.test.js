import assert from 'node:assert/strict';
import test from 'node:test';
import { Drafts } from '../../src/model/drafts.js';
import { identified } from '../../src/model/identity.js';

const klass = (type, names) => ({ type, properties: names.map((name) => ({ name, writable: true, readable: true })) });
const ethernet = klass('unique-named', ['mtu', 'status']);
const eth0 = (mtu, etag = '"a"') => identified(ethernet, { class: 'ethernet', name: 'eth0', etag, properties: { mtu, status: 'up' } });
const list = klass('group-named', ['mac', 'note']);

test('several edits of several objects are one change, with what was seen', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  drafts.set(eth0('1500'), 'status', 'down');
  drafts.insert('bridge', 'br1', { members: 'eth0', stp: '' });
  drafts.delete(identified(ethernet, { class: 'ethernet', name: 'eth1', etag: '"b"', properties: {} }));
  assert.deepEqual(drafts.changes(), [
    { op: 'update', class: 'ethernet', name: 'eth0', properties: { mtu: '1400', status: 'down' }, 'if-match': '"a"' },
    { op: 'insert', class: 'bridge', name: 'br1', properties: { members: 'eth0' } },
    { op: 'delete', class: 'ethernet', name: 'eth1', 'if-match': '"b"' },
  ]);
});

test('a value that is what it was is no edit', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  drafts.set(eth0('1500'), 'mtu', '1500');
  assert.equal(drafts.size, 0);
});

test('what was made and deleted again never was', () => {
  const drafts = new Drafts();
  drafts.delete(drafts.insert('bridge', 'br1', {}));
  assert.equal(drafts.size, 0);
});

test('entries of a group are told by their values, in quotes that fit', () => {
  const entry = identified(list, { class: 'access-list', name: 'kids', properties: { mac: '02:00', note: 'the "old" one' } });
  assert.equal(entry.target.where, `@name = "kids" and mac = "02:00" and note = 'the "old" one'`);
  const empty = identified(list, { class: 'access-list', name: 'kids', properties: { mac: '', note: `both ' and "` } });
  assert.equal(empty.target.where, '@name = "kids" and not mac');
  const drafts = new Drafts();
  drafts.delete(entry);
  assert.deepEqual(drafts.changes(), [{ op: 'delete', class: 'access-list', where: entry.target.where }]);
});

test('a singleton is meant without a name', () => {
  const drafts = new Drafts();
  drafts.set(identified(klass('singleton', ['level']), { class: 'log', etag: '"l"', properties: { level: '5' } }), 'level', '6');
  assert.deepEqual(drafts.changes(), [{ op: 'update', class: 'log', properties: { level: '6' }, 'if-match': '"l"' }]);
});

test('what somebody else has changed meanwhile is a conflict, also in what was not edited', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'status', 'down');
  const [conflict] = drafts.conflicts(() => eth0('1280', '"z"'));
  assert.deepEqual(conflict.differences, [{ property: 'mtu', seen: '1500', now: '1280', mine: undefined }]);
});

test('what is only measured is no conflict', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'status', 'down');
  assert.deepEqual(drafts.conflicts(() => eth0('1280'), (c, property) => property !== 'mtu'), []);
});

test('an object that differs in nothing that is shown, such as a secret, is changed as it is now', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  assert.deepEqual(drafts.conflicts(() => eth0('1500', '"z"')), []);
  assert.equal(drafts.changes()[0]['if-match'], '"z"');
});

test('an entry without a name of its own is told by what it shows, never by a secret', () => {
  const keys = klass('group-named', ['mac', 'key']);
  keys.properties[1].secret = true;
  const entry = identified(keys, { class: 'station-key', name: 'k', properties: { mac: '00:11:22:33:44:55', key: '********' } });
  assert.equal(entry.target.where, '@name = "k" and mac = "00:11:22:33:44:55"');
});

test('who keeps his own has seen the other value, and is asked no more', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  const [conflict] = drafts.conflicts(() => eth0('1280', '"z"'));
  drafts.keepMine(conflict);
  assert.deepEqual(drafts.conflicts(() => eth0('1280', '"z"')), []);
  assert.equal(drafts.changes()[0]['if-match'], '"z"');
  assert.equal(drafts.changes()[0].properties.mtu, '1400');
});

test('who wanted what the other has done has nothing left to do', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1280');
  drafts.keepMine(drafts.conflicts(() => eth0('1280'))[0]);
  assert.equal(drafts.size, 0);
});

test('who takes theirs lets go of his own, and of nothing else', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  drafts.insert('bridge', 'br1', {});
  const [conflict] = drafts.conflicts(({ name }) => (name === 'eth0' ? eth0('1280') : undefined));
  drafts.takeTheirs(conflict);
  assert.deepEqual(drafts.list.map((d) => d.name), ['br1']);
});

test('an object that is gone, or that somebody else has made, is a conflict', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  assert.equal(drafts.conflicts(() => undefined)[0].what, 'gone');
  drafts.clear();
  drafts.insert('ethernet', 'eth0', {});
  assert.equal(drafts.conflicts(() => eth0('1500'))[0].what, 'exists');
});

test('what somebody may not see any more is a conflict, of whatever kind, that ends when it is left out', () => {
  const drafts = new Drafts();
  drafts.set(eth0('1500'), 'mtu', '1400');
  drafts.insert('ethernet', 'eth1', {});
  drafts.insert('bridge', 'br1', {});
  const told = () => drafts.conflicts(() => undefined, undefined, (className) => className !== 'ethernet');
  assert.deepEqual(told().map(({ draft, what }) => `${draft.name} ${what}`), ['eth0 unseen', 'eth1 unseen']);
  for (const conflict of told()) drafts.takeTheirs(conflict);
  assert.deepEqual(drafts.list.map((d) => d.name), ['br1']);
});
