// What the device says of its classes, made quick to ask.

const byOrder = (a, b) => (a.order ?? 0) - (b.order ?? 0);

export class Schema {
  constructor({ id = '', classes = [] } = {}) {
    this.id = id;
    this.classes = classes.map((c) => ({ ...c, properties: [...(c.properties ?? [])].sort(byOrder) }));
    this.byName = new Map(this.classes.map((c) => [c.name, c]));
    // Which member of its family an object is says its class; nobody needs to be told twice, or asked.
    for (const c of this.classes) {
      c.identifier = this.byName.get(c.superclass)?.['subclass-identifier'];
      if (c.identifier) c.properties = c.properties.map((p) => (p.name === c.identifier ? { ...p, writable: false } : p));
    }
  }

  class(name) {
    return this.byName.get(name);
  }

  has(name) {
    return this.byName.has(name);
  }

  property(className, name) {
    return this.class(className)?.properties.find((p) => p.name === name);
  }

  /** Whether whoever is logged in may have a plugin do something, by the word that is written for it. */
  may(className, word) {
    return this.property(className, word)?.changeable === true;
  }

  /** A class itself, or the members of the family that an abstract one stands for. */
  concrete(name) {
    const found = this.class(name);
    if (!found) return [];
    if (!found.abstract) return [name];
    return this.classes.filter((c) => c.superclass === name).flatMap((c) => this.concrete(c.name));
  }

  /** What people may look through, under the headings that the plugins gave. */
  groups() {
    const groups = new Map();
    for (const c of [...this.classes].sort(byOrder)) {
      if (c.abstract || c.name.startsWith('schema-')) continue;
      const group = c.group || '';
      if (!groups.has(group)) groups.set(group, []);
      groups.get(group).push(c);
    }
    return [...groups].sort(([a], [b]) => (a === '') - (b === ''));
  }
}

export const isSingleton = (c) => c.type === 'singleton';

/** Objects of these have no name of their own that could be asked for. */
export const isNameless = (c) => c.type === 'anonymous' || c.type === 'group-named';

export const isEditable = (c) => c.properties.some((p) => p.writable);

/** Classes that are never saved tell what is, not what should be. */
const isMadeByPeople = (c) => !isSingleton(c) && isEditable(c) && c.persistent;

/** Whether whoever is logged in may make objects of a class, and delete them. */
export const mayAdd = (c) => isMadeByPeople(c) && c.insertable;
export const mayDelete = (c) => isMadeByPeople(c) && c.deletable;

/** Whether he may set a value, of an object that is there or of one that is still to be made. */
export const maySet = (p, isNew) => p.writable && (isNew ? p.insertable : p.changeable);

export const labelOf = (thing) => thing.label || thing.name;

/** The properties of a class: those that can be set, as far as they are shown, in groups; and those that can't. */
export function parted(c, isShown = () => true) {
  const settings = inGroups(c.properties.filter((p) => p.writable && isShown(p)));
  // One group needs no heading: the page's own says what it is.
  if (settings.length === 1) settings[0].name = '';
  return { settings, facts: c.properties.filter((p) => !p.writable && p.readable && p.name !== c.identifier) };
}

function inGroups(properties) {
  const groups = new Map();
  for (const p of properties) {
    const group = p.group || '';
    if (!groups.has(group)) groups.set(group, []);
    groups.get(group).push(p);
  }
  return [...groups].map(([name, members]) => ({ name, properties: members }));
}
