// What was edited, before it happens: whether it is still what its author saw, and what it will do.
import { useEffect, useState } from 'preact/hooks';
import { link } from '../model/routes.js';
import { t } from '../model/texts.js';
import { Apply } from './apply.jsx';
import { ChangeCard, errorsOf, Explanation, labelOfProperty, nameOf, Refused, Value } from './explanation.jsx';
import { Heading } from './page.jsx';
import { Table } from './table.jsx';
import { Told } from './told.jsx';

export function Review({ app }) {
  const [step, setStep] = useState({ name: 'checking' });
  const look = async () => {
    setStep({ name: 'checking' });
    setStep(await nextStep(app));
  };
  useEffect(() => {
    look();
  }, [app.drafts.revision, app.commit]);

  const refused = async (error) => {
    if (error.status === 412) await look();
    else {
      app.noteErrors(error.errors);
      setStep({ name: 'refused', errors: errorsOf(error) });
    }
  };
  if (app.drafts.size === 0)
    return (
      <>
        <Heading>{t('review.title')}</Heading>
        <p class="empty">{t('review.empty')}</p>
        <p><a class="button" href={link('overview')}>{t('nav.overview')}</a></p>
      </>
    );
  const leaveOut = (draft) => {
    if (draft) app.drafts.discard(draft.key);
    document.querySelector('h1').focus();
    app.changed();
  };
  const drop = (change) => leaveOut(app.drafts.list.find((d) => d.class === change.class && (d.name ?? '') === (change.name ?? '')));
  return (
    <>
      <Heading lead={t('review.lead')}>{t('review.title')}</Heading>
      <div aria-live="polite" aria-busy={step.name === 'checking'}>
        {step.name === 'checking' && <p class="quiet">{t('app.busy')}</p>}
        {step.name === 'conflict' && <Conflicts app={app} conflicts={step.conflicts} />}
        {step.name === 'refused' && <Refused app={app} errors={step.errors} />}
        {step.name === 'explained' && <Explanation app={app} explanation={step.explanation} onDrop={drop} />}
        {isRefusedUntold(step) && <Edited app={app} onDrop={leaveOut} />}
      </div>
      {step.name === 'explained' && step.explanation.refused.length === 0 && (
        <Apply app={app} path="/changes" body={{ changes: app.drafts.changes() }} explanation={step.explanation} onRefused={refused} back={lastEdited(app)} />
      )}
      {step.name === 'refused' && <p class="actions"><button type="button" onClick={look}>{t('app.again')}</button></p>}
    </>
  );
}

const isRefusedUntold = ({ name, explanation }) => name === 'refused' || (explanation?.refused.length > 0 && explanation.changes.length === 0);

const actions = { insert: 'inserted', update: 'updated', delete: 'deleted' };

/** The drafts, where the device refuses the whole and tells no differences: any may be what is in the way. */
function Edited({ app, onDrop }) {
  return (
    <section aria-labelledby="edited">
      <h2 id="edited">{t('review.edited')}</h2>
      {app.drafts.list.map((draft) => {
        const labels = Object.keys(draft.values).map((property) => labelOfProperty(app, draft.class, property));
        return (
          <ChangeCard key={draft.key} name={nameOf(app, draft)} action={actions[draft.op]} onDrop={() => onDrop(draft)}>
            {labels.length > 0 && <p class="quiet"><Told>{labels.join(', ')}</Told></p>}
          </ChangeCard>
        );
      })}
    </section>
  );
}

function lastEdited(app) {
  const draft = app.drafts.list.at(-1);
  return draft.op === 'update' && draft.name && draft.target?.name ? link('objects', draft.class, draft.name) : link('objects', draft.class);
}

async function nextStep(app) {
  try {
    const conflicts = await app.conflicts();
    if (conflicts.length > 0) return { name: 'conflict', conflicts };
    if (app.drafts.size === 0) return { name: 'checking' };
    const explanation = await app.api.post('/changes', { changes: app.drafts.changes(), ...app.joining(), explain: true });
    app.noteErrors(explanation.refused);
    return { name: 'explained', explanation };
  } catch (error) {
    app.noteErrors(error.errors ?? []);
    const isBusy = error.type === 'trial' && !(error.errors?.length > 0);
    return { name: 'refused', errors: isBusy ? [{ detail: `${t('review.busy')} ${error.message}` }] : errorsOf(error) };
  }
}

function Conflicts({ app, conflicts }) {
  const decide = (decision) => {
    decision();
    app.changed();
  };
  return (
    <section aria-labelledby="conflict">
      <div class="notice bad tall">
        <h2 id="conflict">{t('conflict.title')}</h2>
        <p>{t('conflict.lead')}</p>
      </div>
      {conflicts.map((conflict) => {
        const { draft, what } = conflict;
        const name = nameOf(app, draft);
        return (
          <section class="card" key={draft.key}>
            <h3><Told>{name}</Told></h3>
            {what !== 'changed' && <p>{t(`conflict.${what}`)}</p>}
            {what === 'changed' && <Differing app={app} conflict={conflict} name={name} />}
            <p class="actions">
              {what === 'changed' && (
                <button type="button" aria-label={t('conflict.keepof', { name })} onClick={() => decide(() => app.drafts.keepMine(conflict))}>{t('conflict.keep')}</button>
              )}
              <button type="button" aria-label={t(what === 'unseen' ? 'review.dropof' : 'conflict.theirsof', { name })} onClick={() => decide(() => app.drafts.takeTheirs(conflict))}>
                {t(what === 'unseen' ? 'review.drop' : 'conflict.theirs')}
              </button>
            </p>
          </section>
        );
      })}
    </section>
  );
}

const Differing = ({ app, conflict: { draft, differences }, name }) => (
  <Table
    caption={name}
    kind="diff"
    columns={[{ label: t('review.setting') }, ...['seen', 'now', 'mine'].map((key) => ({ label: t(`conflict.${key}`) }))]}
    rows={differences.map(({ property, seen, now, mine }) => ({
      key: property,
      cells: [
        <Told>{labelOfProperty(app, draft.class, property)}</Told>,
        <Value text={seen} />,
        <Value text={now} />,
        mine === undefined ? <span class="quiet">{t('conflict.unchanged')}</span> : <Value text={mine} />,
      ],
    }))}
  />
);
