// What the page says, in the reader's language. {name} takes a value; a text of { one, other } is
// chosen by its {count}.
import de from '../texts/de.json' with { type: 'json' };
import en from '../texts/en.json' with { type: 'json' };

export const languages = { en: 'English', de: 'Deutsch' };
const all = { en, de };
let current = 'en';

export function choose(wanted) {
  const known = wanted.map((w) => w.toLowerCase().split('-')[0]).find((w) => all[w]);
  current = known ?? 'en';
  return current;
}

export const language = () => current;

/** For numbers and times: the reader's own region, where it speaks this language. */
export const locale = () => (globalThis.navigator?.languages ?? []).find((l) => l.split('-')[0] === current) ?? current;

export const has = (key) => key in all[current] || key in en;

function template(key, count) {
  const text = all[current][key] ?? en[key] ?? key;
  if (typeof text !== 'object') return text;
  return text[new Intl.PluralRules(current).select(Number(count))] ?? text.other;
}

export const t = (key, values = {}) =>
  template(key, values.count).replace(/\{(\w+)\}/g, (whole, name) => (name in values ? String(values[name]) : whole));

/** The same in pieces, { text, isValue }: a value may be in another language than the words around it. */
export const pieces = (key, values = {}) =>
  template(key, values.count)
    .split(/(\{\w+\})/)
    .filter(Boolean)
    .map((text) => (text.slice(1, -1) in values && text[0] === '{' ? { text: String(values[text.slice(1, -1)]), isValue: true } : { text, isValue: false }));
