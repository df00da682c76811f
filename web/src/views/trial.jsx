// A change that the device takes back by itself unless somebody keeps it in time.
import { useEffect, useRef, useState } from 'preact/hooks';
import { countdown } from '../model/format.js';
import { link } from '../model/routes.js';
import { t } from '../model/texts.js';
import { isToldAloud } from '../model/trial.js';
import { State } from './form.jsx';
import { nameOf } from './explanation.jsx';
import { Heading } from './page.jsx';

function useLeft(app) {
  const [, tick] = useState(0);
  const last = useRef(null);
  const { trial } = app;
  useEffect(() => {
    if (!trial) return undefined;
    const timer = setInterval(() => {
      const left = trial.countdown.left(Date.now());
      if (left === last.current) return;
      last.current = left;
      if (isToldAloud(left)) app.say(t('trial.aloud', { count: left }));
      tick((n) => n + 1);
    }, 250);
    return () => clearInterval(timer);
  }, [trial]);
  return trial?.countdown.left(Date.now()) ?? 0;
}

export function TrialBar({ app }) {
  const left = useLeft(app);
  if (!app.trial) return null;
  return (
    <section class="notice trial" aria-label={t('trial.region')}>
      <span><a href={link('trial', app.trial.id)}>{title(app)}</a> {t('trial.asks', { time: countdown(left) })}</span>
      <Buttons app={app} />
    </section>
  );
}

export const mayKeep = (app) => app.schema.may('trial', 'confirm');

const title = (app) => t(mayKeep(app) ? 'trial.title' : 'trial.others');

function Buttons({ app }) {
  const [fault, setFault] = useState('');
  const end = (how) => async () => {
    setFault('');
    try {
      await app.endTrial(how);
    } catch (error) {
      setFault(error.message);
    }
  };
  const isMute = app.lost || !app.trial.id;
  return (
    <span class="actions">
      {mayKeep(app) && <button class="primary" type="button" disabled={isMute} onClick={end('confirm')}>{t('trial.keep')}</button>}
      {app.schema.may('trial', 'revert') && <button type="button" disabled={isMute} onClick={end('revert')}>{t('trial.revert')}</button>}
      <span role="alert">{fault && <span class="fault">{fault}</span>}</span>
    </span>
  );
}

export function TrialPage({ app }) {
  const left = useLeft(app);
  const { trial } = app;
  useEffect(() => {
    if (!trial) return undefined;
    return app.watchTrial();
  }, [!trial]);
  useEffect(() => {
    // The button that was pressed is gone with the trial.
    if (!trial) document.querySelector('h1')?.focus();
  }, [!trial]);
  if (!trial)
    return (
      <>
        <Heading>{t('trial.none')}</Heading>
        <p><a class="button" href={link('overview')}>{t('nav.overview')}</a></p>
      </>
    );
  const time = countdown(left);
  return (
    <>
      <Heading>{trial.place ? t('trial.moves') : title(app)}</Heading>
      <section class="card ontrial" aria-label={t('trial.region')}>
        <p class="clock" role="timer" aria-label={t('trial.region')}>{time}</p>
        <p>{text(app, left, time)}</p>
        {!mayKeep(app) && <p>{t('trial.nokeep')}</p>}
        {trial.place ? (
          <p><a class="button primary" href={trial.place}>{t('trial.go', { place: new URL(trial.place).host })}</a></p>
        ) : (
          <Buttons app={app} />
        )}
        {trial.holder && <p class="quiet">{t('trial.holder', { holder: trial.holder })}</p>}
      </section>
      {trial.notApplied?.length > 0 && (
        <section>
          <h2>{t('trial.notapplied')}</h2>
          <ul class="problems">{trial.notApplied.map((o, i) => <li key={i}><strong>{nameOf(app, o)}</strong> <State text={o.detail} /></li>)}</ul>
        </section>
      )}
    </>
  );
}

function text(app, left, time) {
  if (app.trial.place) return t('trial.elsewhere', { time });
  if (!app.lost) return t('trial.asks', { time });
  return left > 0 ? t('trial.lost', { time }) : t('trial.waiting');
}
