import { render } from 'preact';
import { App } from './app.js';
import { prepare } from './model/preferences.js';
import { Page } from './views/page.jsx';

prepare();
const app = new App();
const root = document.getElementById('page');
const draw = () => render(<Page app={app} />, root);

// Much changes at once while the page begins: it is drawn once for all of that.
let isDue = false;
app.onChange(() => {
  if (isDue) return;
  isDue = true;
  requestAnimationFrame(() => {
    isDue = false;
    draw();
  });
});
addEventListener('hashchange', () => app.moved());
addEventListener('beforeunload', (event) => {
  if (app.drafts.size > 0) event.preventDefault();
});
draw();
app.start();
