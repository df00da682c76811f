// Which object is meant. Most have a name; entries of a group and anonymous ones are told by their values.
import { isNameless, isSingleton } from './schema.js';

/** Conditions know both quotes and no escapes: what holds both can't be asked for. */
const quoted = (text) => (text.includes('"') ? `'${text}'` : `"${text}"`);
const canBeQuoted = (text) => !(text.includes('"') && text.includes("'"));

/** The condition that an object without a name of its own fulfils, made of what was set in it. */
export function conditionFor(klass, object) {
  const parts = klass.properties
    .filter((p) => p.writable && p.readable && !p.secret && canBeQuoted(object.properties[p.name] ?? ''))
    .map((p) => (object.properties[p.name] ? `${p.name} = ${quoted(object.properties[p.name])}` : `not ${p.name}`));
  if (object.name) parts.unshift(`@name = ${quoted(object.name)}`);
  return parts.join(' and ');
}

/** An object as the gate told it, with a key of its own and what a change has to say to mean it. */
export function identified(klass, object) {
  if (isSingleton(klass)) return { ...object, key: keyOf(object.class), target: {} };
  if (!isNameless(klass)) return { ...object, key: keyOf(object.class, object.name), target: { name: object.name } };
  const where = conditionFor(klass, object);
  return { ...object, key: keyOf(object.class, object.name, where), target: { where } };
}

export const keyOf = (className, name = '', where = '') => JSON.stringify([className, name ?? '', where]);
