// The frame of every page: who and where one is, the way to the others, and what is pending.
import { useEffect, useRef } from 'preact/hooks';
import { setLanguage, setTheme, theme, themes } from '../model/preferences.js';
import { link, parse } from '../model/routes.js';
import { language, languages, t } from '../model/texts.js';
import { Addresses } from './addresses.jsx';
import { Generation, History, Rollback } from './history.jsx';
import { Login } from './login.jsx';
import { Add, ObjectPage, Objects, Settings } from './objects.jsx';
import { Overview } from './overview.jsx';
import { Review } from './review.jsx';
import { TrialBar, TrialPage } from './trial.jsx';
import { Wireless } from './wireless.jsx';
import { Told } from './told.jsx';

const pages = {
  overview: Overview,
  wireless: Wireless,
  addresses: Addresses,
  settings: Settings,
  objects: ({ rest, ...all }) => (rest.length > 1 ? <ObjectPage rest={rest} {...all} /> : <Objects rest={rest} {...all} />),
  add: Add,
  review: Review,
  trial: TrialPage,
  history: ({ rest, ...all }) => (rest.length > 0 ? <Generation rest={rest} {...all} /> : <History {...all} />),
  rollback: Rollback,
};
const inNavigation = ['overview', 'wireless', 'addresses', 'settings', 'history'];
const belongsTo = { objects: 'settings', add: 'settings', rollback: 'history' };

export function Page({ app }) {
  const { page, rest } = parse(location.hash);
  if (!app.started) return <main class="alone"><p class="quiet">{t('app.loading')}</p></main>;
  return (
    <>
      {app.user ? <Inside app={app} page={page} rest={rest} /> : <Login app={app} page={page} />}
      <p class="unseen" role="status">{app.said}</p>
    </>
  );
}

function Inside({ app, page, rest }) {
  const main = useRef(null);
  const first = useRef(true);
  const place = location.hash;
  useEffect(() => {
    const heading = main.current.querySelector('h1');
    document.title = t('app.title', { page: heading?.textContent ?? '', host: app.host });
    // Whoever follows a link by keyboard or by ear goes on where the page begins; not at the first look.
    if (!first.current) {
      heading?.focus();
      scrollTo(0, 0);
    }
    first.current = false;
  }, [place]);
  const View = Object.hasOwn(pages, page) ? pages[page] : NoSuchPage;
  return (
    <div class="frame">
      <a class="skip" href="#content" onClick={(event) => skip(event, main.current)}>{t('app.skip')}</a>
      <Header app={app} />
      <nav aria-label={t('app.nav')}>
        <ul>
          {inNavigation.filter((name) => isThere(app, name)).map((name) => (
            <li key={name}>
              <a href={link(name)} aria-current={(belongsTo[page] ?? page) === name ? 'page' : undefined}>{t(`nav.${name}`)}</a>
            </li>
          ))}
        </ul>
      </nav>
      <main id="content" ref={main}>
        <Notices app={app} page={page} />
        <View key={place} app={app} rest={rest} />
      </main>
      <Pending app={app} page={page} />
    </div>
  );
}

/** One of these classes, or there is nothing to see for this visitor of this device. */
const needs = { wireless: ['radio', 'wireless-network'], addresses: ['address', 'route', 'resolver'], history: ['generation', 'history'] };
const isThere = (app, name) => !needs[name] || needs[name].some((each) => app.schema.has(each));

function skip(event, main) {
  event.preventDefault();
  main.querySelector('h1')?.focus();
}

const NoSuchPage = () => <Heading>{t('app.nothere')}</Heading>;

/** Below it the page's own words, or the device's. */
export function Heading({ children, lead, told }) {
  return (
    <header class="heading">
      <h1 tabIndex={-1}>{children}</h1>
      {(lead || told) && <p class="lead">{lead ?? <Told>{told}</Told>}</p>}
    </header>
  );
}

function Header({ app }) {
  return (
    <header class="top">
      <a class="brand" href={link('overview')}>
        <Logo size={28} />
        <span>{app.host}</span>
      </a>
      <div class="choices">
        <Preferences app={app} />
        <span class="user">{t('app.user', { user: app.user })}</span>
        <button class="plain" type="button" onClick={() => app.logOut()}>{t('app.logout')}</button>
      </div>
    </header>
  );
}

/** Drawn here: as a picture it would be one more request. */
export const Logo = ({ size }) => (
  <svg class="logo" viewBox="0 0 32 32" width={size} height={size} aria-hidden="true">
    <rect width="32" height="32" rx="8" />
    <path d="M7 13a13 13 0 0 1 18 0M11 17.5a7.5 7.5 0 0 1 10 0" />
    <circle cx="16" cy="22.5" r="2.2" />
  </svg>
);

export function Preferences({ app }) {
  const chosen = (set) => (event) => {
    set(event.currentTarget.value);
    app.changed();
  };
  return (
    <>
      <select class="plain" aria-label={t('theme.label')} value={theme()} onChange={chosen(setTheme)}>
        {themes.map((name) => <option key={name} value={name}>{t(`theme.${name}`)}</option>)}
      </select>
      <select class="plain" aria-label={t('language.label')} value={language()} onChange={chosen(setLanguage)}>
        {Object.entries(languages).map(([name, own]) => <option key={name} value={name} lang={name}>{own}</option>)}
      </select>
    </>
  );
}

function Notices({ app, page }) {
  const dismiss = () => {
    app.message = null;
    app.changed();
  };
  return (
    <>
      {app.trial && page !== 'trial' && <TrialBar app={app} />}
      {app.lost && !app.trial && <p class="notice bad">{t('app.lost')}</p>}
      {app.message && (
        <div class={`notice ${app.message.kind}`}>
          <span>{app.message.text}</span>
          <button class="plain" type="button" aria-label={t('app.dismiss')} onClick={dismiss}>×</button>
        </div>
      )}
    </>
  );
}

function Pending({ app, page }) {
  const count = app.drafts.size;
  if (count === 0 || page === 'review') return null;
  const discard = () => {
    app.drafts.clear();
    app.errors.clear();
    app.changed();
  };
  return (
    <section class="pending" aria-label={t('pending.region')}>
      <span>{t('pending.count', { count })}</span>
      <span class="actions">
        <button type="button" onClick={discard}>{t('pending.discard')}</button>
        <a class="button primary" href={link('review')}>{t('pending.review')}</a>
      </span>
    </section>
  );
}
