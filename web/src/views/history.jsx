// What was saved, by whom and when, and the way back.
import { useEffect, useState } from 'preact/hooks';
import { moment } from '../model/format.js';
import { link } from '../model/routes.js';
import { t } from '../model/texts.js';
import { Apply } from './apply.jsx';
import { Differences, errorsOf, Explanation, Refused } from './explanation.jsx';
import { Heading } from './page.jsx';
import { Table } from './table.jsx';

/** What a question is answered with, asked anew when `again` changes. */
function useAnswer(ask, again) {
  const [answer, setAnswer] = useState({ state: 'loading' });
  useEffect(() => {
    let isWanted = true;
    ask().then(
      (value) => isWanted && setAnswer({ state: 'ready', value }),
      (error) => isWanted && setAnswer({ state: 'failed', reason: error.message, error }),
    );
    return () => {
      isWanted = false;
    };
  }, again);
  return answer;
}

function Answered({ answer, children }) {
  if (answer.state === 'loading') return <p class="quiet">{t('app.loading')}</p>;
  if (answer.state === 'failed') return <p class="notice bad">{t('app.failed', { reason: answer.reason })}</p>;
  return children(answer.value);
}

export function History({ app }) {
  const history = useAnswer(() => app.api.get('/history'), [app.version]);
  const commits = useAnswer(() => app.api.get('/commits'), [app.version]);
  return (
    <>
      <Heading lead={t('history.lead')}>{t('history.title')}</Heading>
      <Answered answer={history}>
        {({ generations }) => generations.length === 0 ? <p class="empty">{t('history.none')}</p> : <Generations generations={generations} />}
      </Answered>
      <h2 id="recent">{t('history.recent')}</h2>
      <Answered answer={commits}>
        {(answer) => answer.commits.length === 0 ? <p class="empty">{t('history.same')}</p> : <Recent commits={answer.commits} />}
      </Answered>
    </>
  );
}

const Recent = ({ commits }) => (
  <div class="card">
    <Table
      labelledby="recent"
      columns={['number', 'when', 'who', 'what', 'result'].map((key) => ({
        label: t(`history.${key}`),
        class: { when: 'number', what: 'words' }[key],
      }))}
      rows={commits.map((c) => ({
        key: c.number,
        cells: [
          c.number,
          moment(c.time),
          c.user || t('history.device'),
          c.changes,
          <>{c.result}{c.failures && <span class="fault"> {c.failures}</span>}</>,
        ],
      }))}
    />
  </div>
);

const Generations = ({ generations }) => (
  <ol class="rows">
    {generations.map((g, i) => (
      <li key={g.id}>
        <a class="row" href={link('history', g.id)}>
          <strong>{g.id}</strong>
          <span class="summary">
            <span>{g.comment || g.changes || t('history.open', { id: g.id })}</span>
            <span class="quiet">{[moment(g.time), g.user || t('history.device')].filter(Boolean).join(' · ')}</span>
          </span>
          {i === 0 && <span class="tag">{t('history.current')}</span>}
          {g.proven && <span class="state good">{t('history.proven')}</span>}
          {g.state && g.state !== 'good' && <span class="state bad">{t('history.damaged')}</span>}
        </a>
      </li>
    ))}
  </ol>
);

export function Generation({ app, rest: [id] }) {
  const answer = useAnswer(async () => {
    const { generations } = await app.api.get('/history');
    const at = generations.findIndex((g) => String(g.id) === id);
    if (at < 0) throw new Error(t('objects.gone', { name: id }));
    const before = generations[at + 1];
    const [did, since] = await Promise.all([
      before ? app.api.get(`/history/${before.id}/diff/${encodeURIComponent(id)}`) : null,
      app.api.get(`/history/${encodeURIComponent(id)}/diff`),
    ]);
    return { generation: generations[at], did, since };
  }, [id, app.version]);
  return (
    <>
      <p class="crumb"><a href={link('history')}>{t('history.title')}</a></p>
      <Heading>{t('history.open', { id })}</Heading>
      <Answered answer={answer}>
        {({ generation: g, did, since }) => (
          <>
            <dl class="facts card">
              <div><dt>{t('history.when')}</dt><dd>{moment(g.time)}</dd></div>
              <div><dt>{t('history.who')}</dt><dd>{[g.user || t('history.device'), g.program].filter(Boolean).join(', ')}</dd></div>
              {g.comment && <div><dt>{t('history.why')}</dt><dd>{g.comment}</dd></div>}
            </dl>
            {since.changes.length > 0 && app.schema.may('history', 'rollback') && <p><a class="button primary" href={link('rollback', id)}>{t('history.back')}</a></p>}
            <h2>{t('history.did')}</h2>
            {did ? <Changes app={app} changes={did.changes} /> : <p class="quiet">{t('history.first')}</p>}
            <h2>{t('history.since')}</h2>
            <Changes app={app} changes={since.changes} />
          </>
        )}
      </Answered>
    </>
  );
}

const Changes = ({ app, changes }) => (changes.length > 0 ? <Differences app={app} changes={changes} /> : <p class="quiet">{t('history.same')}</p>);

export function Rollback({ app, rest: [id] }) {
  const [refused, setRefused] = useState(null);
  const [round, setRound] = useState(0);
  const path = `/history/${encodeURIComponent(id)}/rollback`;
  const answer = useAnswer(() => app.api.post(path, { explain: true, ...app.joining() }), [id, app.commit, round]);
  const onRefused = (error) => {
    if (error.status === 412) setRound((n) => n + 1);
    else setRefused(errorsOf(error));
  };
  return (
    <>
      <p class="crumb"><a href={link('history', id)}>{t('history.open', { id })}</a></p>
      <Heading lead={t('review.lead')}>{t('history.rollback', { id })}</Heading>
      {refused && <Refused app={app} errors={refused} />}
      {answer.error?.type === 'access-denied' ? <Refused app={app} errors={errorsOf(answer.error)} /> : <Answered answer={answer}>
        {(explanation) => (
          <>
            <Explanation app={app} explanation={explanation} />
            {(explanation.refused ?? []).length === 0 && explanation.changes.length > 0 && (
              <Apply app={app} path={path} body={{}} explanation={explanation} onRefused={onRefused} back={link('history', id)} />
            )}
          </>
        )}
      </Answered>}
    </>
  );
}
