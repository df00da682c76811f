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

export function t(key, values = {}) {
  let text = all[current][key] ?? en[key] ?? key;
  if (typeof text === 'object')
    text = text[new Intl.PluralRules(current).select(Number(values.count))] ?? text.other;
  return text.replace(/\{(\w+)\}/g, (whole, name) => (name in values ? String(values[name]) : whole));
}
