// What a reader has chosen for this browser: colours and language. Kept where the browser lets it.
import { choose, languages } from './texts.js';

export const themes = ['auto', 'light', 'dark'];

function kept(name) {
  try {
    return localStorage.getItem(`vorn-${name}`);
  } catch {
    return null;
  }
}

function keep(name, value) {
  try {
    localStorage.setItem(`vorn-${name}`, value);
  } catch {
    // A browser that keeps nothing shows what was chosen until the page is closed.
  }
}

/** Whether somebody was logged in when the page was here last. */
export const remembers = () => kept('in') === 'yes';
export const remember = (isIn) => keep('in', isIn ? 'yes' : 'no');

export function prepare() {
  setTheme(kept('theme') ?? 'auto');
  setLanguage(kept('language'));
}

export const theme = () => document.documentElement.dataset.theme ?? 'auto';

export function setTheme(name) {
  document.documentElement.dataset.theme = themes.includes(name) ? name : 'auto';
  keep('theme', name);
}

export function setLanguage(name) {
  const known = name in languages ? name : null;
  document.documentElement.lang = choose(known ? [known] : navigator.languages);
  if (known) keep('language', known);
}
