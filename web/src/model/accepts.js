// From what a property accepts to the input that asks for it, and to what is wrong with a value. The
// device has the last word: what is found here is only found sooner.

const longText = 255;

const all = (property) => (Array.isArray(property.accepts) ? property.accepts : []);
const isNothing = (a) => a.kind === 'nothing' || (a.kind === 'words' && a.words?.every((word) => word === ''));

/** What can be written; that nothing may be written is no input of its own. */
const alternatives = (property) =>
  all(property)
    .filter((a) => !isNothing(a))
    .map((a) => (a.kind === 'words' ? { ...a, words: (a.words ?? []).filter(Boolean) } : a));

export const canBeEmpty = (property) =>
  !property.required || all(property).some((a) => isNothing(a) || (a.kind === 'words' && a.words?.includes('')));

/** The input for a property: { kind, ... } with kind password, choice, number, names, long or text. */
export function inputFor(property) {
  if (property.secret) return { kind: 'password' };
  const each = alternatives(property);
  const only = each.length === 1 ? each[0] : undefined;
  if (each.length > 0 && each.every((a) => isChoice(a) && !a.list))
    return { kind: 'choice', words: words(each), classes: classes(each) };
  if (only?.kind === 'name' && only.list) return { kind: 'names', class: only.class };
  if (only?.kind === 'number' && !only.list)
    return { kind: 'number', min: only.from, max: only.to, step: only.step || 1 };
  const longest = each.every((a) => a.kind === 'text' && !a.list) ? Math.max(0, ...each.map((a) => a.max ?? 0)) : 0;
  if (longest > longText) return { kind: 'long' };
  return { kind: 'text', words: words(each), classes: classes(each) };
}

const isChoice = (a) => a.kind === 'words' || a.kind === 'name';
const words = (each) => each.filter((a) => a.kind === 'words').flatMap((a) => a.words);
const classes = (each) => each.filter((a) => a.kind === 'name').map((a) => a.class);

const octet = '(25[0-5]|2[0-4]\\d|1?\\d?\\d)';
const label = '[A-Za-z0-9]([A-Za-z0-9-]{0,61}[A-Za-z0-9])?';
const address = `${octet}(\\.${octet}){3}`;
const forms = {
  ip: new RegExp(`^${address}$`),
  network: new RegExp(`^${address}/\\d{1,2}$`),
  mac: /^[0-9a-f]{2}(:[0-9a-f]{2}){5}$/i,
  'domain-label': new RegExp(`^${label}$`),
};

const takes = {
  words: (a, value) => (a.words ?? []).includes(a.numerals ? value.replace(/^(-?)0+(?=\d)/, '$1') : value),
  number: (a, value) => {
    if (!/^-?\d+$/.test(value)) return false;
    const number = BigInt(value);
    const from = BigInt(Math.trunc(a.from ?? 0));
    return (
      (a.from == null || number >= from) &&
      (a.to == null || number <= BigInt(Math.trunc(a.to))) &&
      (number - from) % BigInt(a.step || 1) === 0n
    );
  },
  real: (a, value) => /^-?\d+(\.\d+)?$/.test(value) && Number(value) >= a.from && Number(value) <= a.to,
  characters: (a, value) => isOfLength(a, value) && [...value].every((c) => pairs(a).some(([from, to]) => c >= from && c <= to)),
  text: (a, value) => isOfLength(a, value),
};

const pairs = (a) => (a.ranges ?? '').match(/../g) ?? [];
const isOfLength = (a, value) => [...value].length >= (a.min ?? 0) && [...value].length <= (a.max ?? Infinity);

function takesOne(a, value) {
  if (takes[a.kind]) return takes[a.kind](a, value);
  // Without `plain` blanks around it are no fault.
  return forms[a.kind] ? forms[a.kind].test(a.plain ? value : value.trim()) : true;
}

const takesAll = (a, value) =>
  a.list ? value.split(' ').filter(Boolean).every((word) => takesOne(a, word)) : takesOne(a, value);

/** Null where nothing is wrong with the value as far as can be told, else a key of the texts and what goes in. */
export function faultIn(property, value) {
  if (value === '') return canBeEmpty(property) ? null : { key: 'fault.required' };
  const each = alternatives(property);
  if (each.length === 0 || each.some((a) => takesAll(a, value))) return null;
  if (each.length > 1) return { key: 'fault.none', values: { limits: property.valid ?? '' } };
  return faultOf(each[0]);
}

function faultOf(a) {
  switch (a.kind) {
    case 'number':
      return { key: a.step > 1 ? 'fault.step' : 'fault.number', values: { from: a.from, to: a.to, step: a.step } };
    case 'real':
      return { key: 'fault.real', values: { from: a.from, to: a.to } };
    case 'text':
      return { key: 'fault.text', values: { min: a.min ?? 0, max: a.max } };
    case 'characters':
      return { key: 'fault.characters', values: { min: a.min ?? 0, max: a.max, of: characters(a) } };
    case 'words':
      return { key: 'fault.words', values: { words: a.words.join(', ') } };
    default:
      return { key: forms[a.kind] ? `fault.${a.kind}` : 'fault.form' };
  }
}

/** "a-z 0-9 _"; of all that can be printed its two ends say enough. */
const characters = (a) => pairs(a).map(([from, to]) => (from === to ? from : `${from}-${to}`.replace(' -~', 'ASCII').replace('!-~', 'ASCII'))).join(' ');

/** What a field says beside itself of what may be in it: keys of the texts with their values. */
export function limitsOf(property) {
  const told = alternatives(property).map(limitOf).filter(Boolean);
  if (told.length === 0 && alternatives(property).length === 0 && property.valid)
    return [{ key: 'limit.valid', values: { valid: property.valid } }];
  return told;
}

function limitOf(a) {
  switch (a.kind) {
    case 'number':
      return { key: a.step > 1 ? 'limit.step' : 'limit.number', values: { from: a.from, to: a.to, step: a.step } };
    case 'real':
      return { key: 'limit.real', list: !!a.list, values: { from: a.from, to: a.to } };
    case 'text':
      if (a.max == null) return null;
      return { key: a.min > 0 ? 'limit.text' : 'limit.short', values: { min: a.min, max: a.max } };
    case 'characters':
      return { key: a.min > 0 ? 'limit.characters' : 'limit.fewcharacters', list: !!a.list, values: { min: a.min, max: a.max, of: characters(a) } };
    case 'words':
    case 'name':
      return null;
    default:
      return { key: `limit.${a.kind}`, list: !!a.list, form: a.kind };
  }
}

/** What a property is filled with when an object is made: what it takes first, where only words are taken. */
export function firstValue(property) {
  const input = inputFor(property);
  return property.required && input.kind === 'choice' && input.classes.length === 0 ? (input.words[0] ?? '') : '';
}
