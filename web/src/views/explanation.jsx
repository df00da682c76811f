// What would happen: the differences, whom it interrupts, and what the device has against it.
import { link } from '../model/routes.js';
import { isSingleton, labelOf } from '../model/schema.js';
import { t } from '../model/texts.js';
import { effectsByWeight } from '../model/trial.js';
import { Table } from './table.jsx';
import { Told } from './told.jsx';

export function nameOf(app, { class: c, name }) {
  const klass = app.schema.class(c);
  return [klass ? labelOf(klass) : c, name].filter(Boolean).join(' ');
}

export function placeOf(app, { class: c, name }) {
  const klass = app.schema.class(c);
  return klass && name && !isSingleton(klass) && klass.type === 'unique-named' ? link('objects', c, name) : link('objects', c);
}

export function Explanation({ app, explanation, onDrop }) {
  const refused = explanation.refused ?? [];
  if (refused.length > 0) return <><Refused app={app} errors={refused} /><Differences app={app} changes={explanation.changes} onDrop={onDrop} /></>;
  return (
    <>
      <section aria-labelledby="changes">
        <h2 id="changes">{t('review.changes')}</h2>
        {explanation.changes.length === 0 && <p class="empty">{t('review.same')}</p>}
        <Differences app={app} changes={explanation.changes} onDrop={onDrop} />
      </section>
      <Effects explanation={explanation} />
    </>
  );
}

export function Differences({ app, changes, onDrop }) {
  return (changes ?? []).map((change) => {
    const name = nameOf(app, change);
    return (
      <ChangeCard key={`${change.class} ${change.name} ${change.action}`} name={name} action={change.action} onDrop={onDrop && (() => onDrop(change))}>
        {change.values.length > 0 && <Values app={app} change={change} name={name} />}
      </ChangeCard>
    );
  });
}

/** One object of a change; `onDrop` leaves it out. */
export const ChangeCard = ({ name, action, onDrop, children }) => (
  <section class={`card change ${action}`}>
    <div class="cardhead">
      <h3><Told>{name}</Told> <span class="tag">{t(`action.${action}`)}</span></h3>
      {onDrop && <button class="plain" type="button" aria-label={t('review.dropof', { name })} onClick={onDrop}>{t('review.drop')}</button>}
    </div>
    {children}
  </section>
);

const Values = ({ app, change, name }) => (
  <Table
    caption={name}
    kind="diff"
    columns={[{ label: t('review.setting') }, { label: t('review.before'), class: 'before' }, { label: t('review.after'), class: 'after' }]}
    rows={change.values.map(({ property, before, after }) => ({
      key: property,
      cells: [<Told>{labelOfProperty(app, change.class, property)}</Told>, <Value text={before} />, <Value text={after} />],
    }))}
  />
);

export function labelOfProperty(app, className, property) {
  const known = app.schema.property(className, property);
  return known ? labelOf(known) : property;
}

export const Value = ({ text }) => (text ? <span class="value">{text}</span> : <span class="quiet">{t('review.nothing')}</span>);

function Effects({ explanation }) {
  const groups = effectsByWeight(explanation);
  return (
    <section aria-labelledby="effects">
      <h2 id="effects">{t('review.effects')}</h2>
      {groups.length === 0 && <p class="quiet">{t('review.noeffects')}</p>}
      {groups.map(({ weight, effects }) => (
        <div key={weight} class={`effects ${weight.split(' ')[0]}`}>
          <h3>{t(`weight.${weight}`)}</h3>
          <ul>{effects.map(({ provider, text }, i) => <li key={i}><Told>{text}</Told> <span class="quiet">({provider})</span></li>)}</ul>
        </div>
      ))}
    </section>
  );
}

/** What is wrong in the device's eyes, from an answer that it refused with. */
export function errorsOf(problem) {
  const errors = problem.errors?.length > 0 ? problem.errors : [{ detail: problem.message }];
  return problem.type === 'access-denied' ? errors.map((error) => ({ ...error, isDenied: true })) : errors;
}

export function Refused({ app, errors }) {
  const isDenied = errors.every((error) => error.isDenied);
  return (
    <section class="notice bad tall" aria-labelledby="refused">
      <h2 id="refused" tabIndex={-1}>{t(isDenied ? 'review.denied' : 'review.refused')}</h2>
      <p>{t(isDenied ? 'review.denied.lead' : 'review.refused.lead')}</p>
      <ul>
        {errors.map((error, i) => (
          <li key={i}>
            {error.class && <strong><Told>{nameOf(app, error)}: </Told></strong>}
            {error.isDenied && error.property ? <Told>{labelOfProperty(app, error.class, error.property)}</Told> : <Told>{error.detail ?? error.reason}</Told>}
            {error.class && <> <a href={placeOf(app, error)}>{t('review.mend')}<span class="unseen">: {nameOf(app, error)}</span></a></>}
          </li>
        ))}
      </ul>
    </section>
  );
}
