// From what was explained to the trial: why, for how long, and where the device will be.
import { useState } from 'preact/hooks';
import { Lost } from '../api.js';
import { link } from '../model/routes.js';
import { t } from '../model/texts.js';
import { newPlace } from '../model/trial.js';
import { mayKeep } from './trial.jsx';

const minutes = [1, 2, 5, 10];

// The answer of a change that takes the way away may never come: the page does not wait for it for long.
const patienceWhenMoving = 6000;

/** `path` and `body` are what was explained; `onRefused` takes what the device says to it now. */
export function Apply({ app, path, body, explanation, onRefused, back }) {
  const [comment, setComment] = useState('');
  const [trial, setTrial] = useState(2);
  const [isBusy, setBusy] = useState(false);
  const place = newPlace(explanation.changes, location, '');
  const submit = async (event) => {
    event.preventDefault();
    setBusy(true);
    const seconds = trial * 60;
    try {
      const whole = { ...body, ...app.joining(), trial: seconds, 'if-match': explanation.commit, ...(comment ? { comment } : {}) };
      const answer = await app.api.post(path, whole, place ? patienceWhenMoving : undefined);
      if (answer.trial) app.tried(answer, { place: newPlace(explanation.changes, location, answer.trial.id) });
      else app.applied(answer);
    } catch (error) {
      if (!(error instanceof Lost)) {
        setBusy(false);
        onRefused(error);
        return;
      }
      app.tried({ trial: { id: '', 'deadline-seconds': seconds } }, { place, isUnsure: true });
    }
    location.hash = app.trial ? link('trial', app.trial.id) : link('overview');
  };
  if (!app.schema.may('trial', 'seconds')) return <p class="notice info">{t('review.notrial')}</p>;
  return (
    <form class="card apply" onSubmit={submit}>
      {!mayKeep(app) && <p class="notice info">{t('review.nokeep')}</p>}
      {place && <p class="notice info">{t('review.moves', { place: new URL(place).host })}</p>}
      <div class="field">
        <label for="comment">{t('review.comment')}</label>
        <input id="comment" maxLength={200} value={comment} onInput={(event) => setComment(event.currentTarget.value)} />
      </div>
      <div class="field">
        <label for="trial">{t('review.trial')}</label>
        <select id="trial" value={trial} onChange={(event) => setTrial(Number(event.currentTarget.value))}>
          {minutes.map((count) => <option key={count} value={count}>{t('review.minutes', { count })}</option>)}
        </select>
      </div>
      <p class="actions">
        <button class="primary" disabled={isBusy}>{isBusy ? t('app.busy') : t('review.apply')}</button>
        <a class="button" href={back}>{t('review.edit')}</a>
      </p>
    </form>
  );
}
