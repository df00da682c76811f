// What has been edited and not been sent yet: many objects, one change. Each draft remembers what its
// author saw, so that nobody overwrites what he has not seen.
import { keyOf } from './identity.js';

export class Drafts {
  #drafts = new Map();

  /** Another one after each edit. */
  revision = 0;

  get size() {
    return this.#drafts.size;
  }

  get list() {
    return [...this.#drafts.values()];
  }

  get(key) {
    return this.#drafts.get(key);
  }

  inserted(className) {
    return this.list.filter((d) => d.op === 'insert' && d.class === className);
  }

  /** A value of an object; the one that was seen takes the edit back. */
  set(object, property, value) {
    this.revision += 1;
    const draft = this.#drafts.get(object.key) ?? draftOf('update', object);
    if (draft.op === 'update' && value === (draft.seen[property] ?? '')) delete draft.values[property];
    else draft.values[property] = value;
    this.#drafts.set(object.key, draft);
    this.#forgetEmpty(draft);
  }

  /** A new object; its key is that of the one that it will be. */
  insert(className, name, values) {
    this.revision += 1;
    const key = name ? keyOf(className, name) : keyOf(className, '', `new ${this.revision}`);
    const draft = { ...draftOf('insert', { key, class: className, name, properties: {} }), values };
    this.#drafts.set(key, draft);
    return draft;
  }

  delete(object) {
    this.revision += 1;
    if (this.#drafts.get(object.key)?.op === 'insert') this.discard(object.key);
    else this.#drafts.set(object.key, draftOf('delete', object));
  }

  discard(key) {
    this.revision += 1;
    this.#drafts.delete(key);
  }

  clear() {
    this.revision += 1;
    this.#drafts.clear();
  }

  /** A value as it will be: what was edited, over what the device has. */
  valueOf(object, property) {
    return this.get(object.key)?.values[property] ?? object.properties?.[property] ?? '';
  }

  /** As the gate takes it. What was seen goes along, so that it is refused when it is no longer so. */
  changes() {
    return this.list.map(({ op, class: c, name, target, etag, values }) => {
      if (op === 'insert') return { op, class: c, ...(name ? { name } : {}), properties: withoutEmpty(values) };
      const condition = etag && !target.where ? { 'if-match': etag } : {};
      return { op, class: c, ...target, ...(op === 'delete' ? {} : { properties: { ...values } }), ...condition };
    });
  }

  /**
   * What differs between what was seen and what the device has now. `current` tells the object of a
   * draft, or undefined when there is none; `isSetting` leaves out what is only measured; `isSeen` tells whether
   * there is still such a class.
   */
  conflicts(current, isSetting = () => true, isSeen = () => true) {
    return this.list.flatMap((draft) => {
      if (!isSeen(draft.class)) return [{ draft, what: 'unseen', differences: [] }];
      const now = current(draft);
      if (draft.op === 'insert') return now ? [{ draft, what: 'exists', differences: [], now }] : [];
      if (!now) return [{ draft, what: 'gone', differences: [] }];
      const differences = Object.keys({ ...draft.seen, ...now.properties })
        .filter((p) => isSetting(draft.class, p))
        .map((p) => ({
          property: p,
          seen: draft.seen[p] ?? '',
          now: now.properties[p] ?? '',
          mine: draft.values[p],
        }))
        .filter(({ seen, now: found }) => seen !== found);
      if (differences.length > 0) return [{ draft, what: 'changed', differences, now }];
      draft.etag = now.etag;
      return [];
    });
  }

  /** The author lets go of what he wrote. */
  takeTheirs({ draft }) {
    this.discard(draft.key);
  }

  /** The author has seen what is there now, and wants what he wrote all the same. */
  keepMine({ draft, now }) {
    this.revision += 1;
    draft.seen = { ...now.properties };
    draft.etag = now.etag;
    for (const [property, value] of Object.entries(draft.values))
      if (value === (draft.seen[property] ?? '')) delete draft.values[property];
    this.#forgetEmpty(draft);
  }

  #forgetEmpty({ key, op, values }) {
    if (op === 'update' && Object.keys(values).length === 0) this.discard(key);
  }
}

const draftOf = (op, { key, class: c, name, target, etag, properties }) => ({
  op,
  key,
  class: c,
  name,
  target,
  etag,
  seen: { ...properties },
  values: {},
});

/** An insert says nothing of what was left empty. */
const withoutEmpty = (values) => Object.fromEntries(Object.entries(values).filter(([, value]) => value !== ''));
