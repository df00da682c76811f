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

const prefersDark = () => matchMedia('(prefers-color-scheme: dark)');

export function prepare() {
  setTheme(kept('theme') ?? 'auto');
  prefersDark().addEventListener('change', shade);
  setLanguage(kept('language'));
}

export const theme = () => document.documentElement.dataset.theme ?? 'auto';

/** What the reader chose or, when he left it open, what the browser prefers: light or dark, for the style. */
function shade() {
  const chosen = theme();
  document.documentElement.dataset.shade = chosen === 'auto' ? (prefersDark().matches ? 'dark' : 'light') : chosen;
}

export function setTheme(name) {
  document.documentElement.dataset.theme = themes.includes(name) ? name : 'auto';
  shade();
  keep('theme', name);
}

export function setLanguage(name) {
  const known = name in languages ? name : null;
  document.documentElement.lang = choose(known ? [known] : navigator.languages);
  if (known) keep('language', known);
}
