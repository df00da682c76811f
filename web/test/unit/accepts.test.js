import assert from 'node:assert/strict';
import test from 'node:test';
import { faultIn, firstValue, inputFor, limitsOf } from '../../src/model/accepts.js';

const takes = (...accepts) => ({ name: 'p', accepts });
const words = { kind: 'words', words: ['on', 'off'] };
const number = { kind: 'number', from: 68, to: 9000, step: 4 };

test('words and names are chosen from a list', () => {
  assert.deepEqual(inputFor(takes(words)), { kind: 'choice', words: ['on', 'off'], classes: [] });
  assert.deepEqual(inputFor(takes({ kind: 'words', words: ['none'] }, { kind: 'name', class: 'bridge' })), {
    kind: 'choice', words: ['none'], classes: ['bridge'],
  });
});

test('a number has its limits and its step', () => {
  assert.deepEqual(inputFor(takes(number)), { kind: 'number', min: 68, max: 9000, step: 4 });
});

test('a word or a number is written, with the word offered', () => {
  assert.deepEqual(inputFor(takes({ kind: 'words', words: ['auto'] }, number)), { kind: 'text', words: ['auto'], classes: [] });
});

test('a secret is a password whatever it accepts', () => {
  assert.equal(inputFor({ ...takes(words), secret: true }).kind, 'password');
});

test('several names are ticked, a long text has room, and what nobody described is text', () => {
  assert.equal(inputFor(takes({ kind: 'name', class: 'interface', list: true })).kind, 'names');
  assert.equal(inputFor(takes({ kind: 'text', max: 1000 })).kind, 'long');
  assert.equal(inputFor({ name: 'p' }).kind, 'text');
});

test('a number outside of its limits, or between its steps, is a fault', () => {
  for (const good of ['68', '72', '9000']) assert.equal(faultIn(takes(number), good), null);
  for (const bad of ['64', '9004', '70', '7e2', ' 68', '68.0', '٦٨']) assert.equal(faultIn(takes(number), bad)?.key, 'fault.step');
});

test('one of several numbers may have zeros before it, a word may not', () => {
  const channels = { kind: 'words', numerals: true, words: ['-1', '0', '6', '11'] };
  for (const good of ['6', '06', '0011', '0', '00', '-01']) assert.equal(faultIn(takes(channels), good), null);
  for (const bad of ['60', '16', '+6', '-6', '0x6', '6.0', '06 ']) assert.equal(faultIn(takes(channels), bad)?.key, 'fault.words');
  assert.equal(faultIn(takes({ kind: 'words', words: ['6'] }), '06')?.key, 'fault.words');
  assert.deepEqual(inputFor(takes(channels)).words, channels.words);
});

test('an address is judged as the device judges it', () => {
  for (const good of ['0.0.0.0', '192.168.1.255', '9.9.9.9']) assert.equal(faultIn(takes({ kind: 'ip' }), good), null);
  for (const bad of ['1.2.3', '1.2.3.256', '1.2.3.4.5', 'a.b.c.d']) assert.equal(faultIn(takes({ kind: 'ip' }), bad)?.key, 'fault.ip');
});

test('characters are counted, not their parts', () => {
  assert.equal(faultIn(takes({ kind: 'text', min: 1, max: 2 }), '🙂🙂'), null);
  assert.equal(faultIn(takes({ kind: 'text', min: 1, max: 2 }), 'abc')?.key, 'fault.text');
});

test('characters are those of the ranges, and so many', () => {
  const digest = takes({ kind: 'characters', ranges: '09af', min: 4, max: 6 });
  for (const good of ['0a9f', 'ffffff']) assert.equal(faultIn(digest, good), null);
  for (const bad of ['0a9', '0a9fabc', '0a9g', '0A9F', '0a 9']) assert.equal(faultIn(digest, bad)?.key, 'fault.characters');
  assert.deepEqual(limitsOf(digest), [{ key: 'limit.characters', list: false, values: { min: 4, max: 6, of: '0-9 a-f' } }]);
  assert.equal(limitsOf(takes({ kind: 'characters', ranges: ' ~', min: 0, max: 6 }))[0].values.of, 'ASCII');
});

test('a real number may have a fraction, and no exponent', () => {
  const power = takes({ kind: 'real', from: -2.5, to: 30 });
  for (const good of ['-2.5', '0', '29.99', '30.0']) assert.equal(faultIn(power, good), null);
  for (const bad of ['-2.51', '30.1', '1e1', '.5', '1.', '1,5']) assert.equal(faultIn(power, bad)?.key, 'fault.real');
});

test('each word of a list is judged', () => {
  const list = takes({ kind: 'ip', list: true });
  assert.equal(faultIn(list, '1.1.1.1 8.8.8.8'), null);
  assert.equal(faultIn(list, '1.1.1.1 8.8.8')?.key, 'fault.ip');
});

test('one alternative that takes a value is enough', () => {
  assert.equal(faultIn(takes(words, number), 'on'), null);
  assert.equal(faultIn(takes(words, number), '68'), null);
  assert.equal(faultIn({ ...takes(words, number), valid: 'on|off|68..9000' }, 'maybe')?.key, 'fault.none');
});

test('a kind that is not known is left to the device', () => {
  assert.equal(faultIn(takes({ kind: 'from-tomorrow' }), '???'), null);
});

test('that nothing may be written is no choice of its own', () => {
  const p = takes({ kind: 'name', class: 'bridge' }, { kind: 'nothing' });
  assert.equal(inputFor(p).kind, 'choice');
  assert.equal(faultIn({ ...p, required: true }, ''), null);
  assert.equal(inputFor(takes({ kind: 'ip', plain: true }, { kind: 'nothing' })).kind, 'text');
  assert.equal(faultIn(takes({ kind: 'ip', plain: true }, { kind: 'nothing' }), ' 1.2.3.4')?.key, 'fault.ip');
  assert.deepEqual(inputFor(takes({ kind: 'words', words: ['', 'on'] })).words, ['on']);
});

test('only what is required may not be empty', () => {
  assert.equal(faultIn(takes(number), ''), null);
  assert.equal(faultIn({ ...takes(number), required: true }, '')?.key, 'fault.required');
});

test('limits come from what is accepted, and from the syntax where nothing else is known', () => {
  assert.deepEqual(limitsOf(takes(number)), [{ key: 'limit.step', values: { from: 68, to: 9000, step: 4 } }]);
  assert.deepEqual(limitsOf({ accepts: [], valid: 'default|<network>' }), [{ key: 'limit.valid', values: { valid: 'default|<network>' } }]);
});

test('what is required and chosen begins with its first word', () => {
  assert.equal(firstValue({ ...takes(words), required: true }), 'on');
  assert.equal(firstValue(takes(words)), '');
});
