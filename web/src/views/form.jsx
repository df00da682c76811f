// The form of one object, made of what its class says. What is edited goes into the drafts as it is typed.
import { moment } from '../model/format.js';
import { maySet, parted } from '../model/schema.js';
import { t } from '../model/texts.js';
import { Field, LockedField } from './field.jsx';
import { Label, Told } from './told.jsx';

export const idOf = (...parts) => parts.map((part) => encodeURIComponent(part).replace(/%/g, '_')).join('.');

/** `only` names the properties to show, in that order; all of them without it. */
export function ObjectForm({ app, klass, object, only }) {
  const op = app.drafts.get(object.key)?.op;
  if (op === 'delete') return <Deleted app={app} object={object} />;
  const isLocked = (p) => !maySet(p, op === 'insert');
  // A value that may neither be set nor read, or is still to be given, is nothing to look at.
  const isShown = (p) => !isLocked(p) || p.name in object.properties;
  const chosen = only?.map((name) => app.schema.property(klass.name, name)).filter((p) => p?.writable && isShown(p));
  const groups = chosen ? [{ name: '', properties: chosen }] : parted(klass, isShown).settings;
  const all = groups.flatMap(({ properties }) => properties);
  // Said once when it goes for all of them.
  const locked = all.length > 1 && all.every(isLocked) ? idOf(object.class, object.key, 'locked') : null;
  return (
    <form class="object" onSubmit={(event) => event.preventDefault()} noValidate>
      {locked && <p class="help" id={locked}>{t('field.locked')}</p>}
      {groups.map(({ name, properties }) => (
        <Group key={name} name={name}>
          {properties.map((p) => <ObjectField key={p.name} {...{ app, klass, object, locked }} property={p} isLocked={isLocked(p)} />)}
        </Group>
      ))}
    </form>
  );
}

export function Group({ name, children }) {
  if (!name) return <div class="fields">{children}</div>;
  return (
    <fieldset class="group">
      <legend><Told>{name}</Told></legend>
      <div class="fields">{children}</div>
    </fieldset>
  );
}

function ObjectField({ app, klass, object, property, isLocked, locked }) {
  const seen = object.properties[property.name] ?? '';
  const id = idOf(object.class, object.key, property.name);
  const value = app.drafts.valueOf(object, property.name);
  // What was edited while it could be is there to be taken back.
  if (isLocked && value === seen) return <LockedField property={property} id={id} value={value} locked={locked} />;
  const errorKey = `${object.key} ${property.name}`;
  const edit = (value) => {
    app.drafts.set(object, property.name, value);
    app.errors.delete(errorKey);
    app.changed();
  };
  return (
    <Field app={app} klass={klass} property={property} id={id} seen={seen} value={value}
      fault={app.errors.get(errorKey)} onEdit={edit} onUndo={() => edit(seen)} />
  );
}

function Deleted({ app, object }) {
  const undo = () => {
    app.drafts.discard(object.key);
    app.changed();
  };
  return (
    <p class="notice info">
      <span>{t('objects.deleted')}</span>
      <button type="button" onClick={undo}>{t('objects.undelete')}</button>
    </p>
  );
}

export function DeleteButton({ app, object, name, isWhole }) {
  if (app.drafts.get(object.key)?.op === 'delete') return null;
  const remove = () => {
    app.drafts.delete(object);
    app.changed();
  };
  return <button class={isWhole ? 'danger' : 'plain danger'} type="button" aria-label={t('objects.deleteof', { name })} onClick={remove}>{t('objects.delete')}</button>;
}

/** What the device tells and nobody sets. */
export function Facts({ klass, object, only }) {
  const facts = parted(klass).facts.filter((p) => !only || only.includes(p.name));
  const known = facts.filter((p) => object.properties[p.name]);
  if (known.length === 0) return null;
  return (
    <dl class="facts">
      {known.map((p) => (
        <div key={p.name}>
          <dt><Label of={p} /></dt>
          <dd>{p.name === 'state' ? <State text={object.properties.state} /> : <Fact property={p} value={object.properties[p.name]} />}</dd>
        </div>
      ))}
    </dl>
  );
}

const isMoment = /^\d{4}-\d\d-\d\dT\d\d:\d\d/;
const Fact = ({ property, value }) => <>{isMoment.test(value) ? moment(value) : value}{property.unit && <> <Told>{property.unit}</Told></>}</>;

export function kindOfState(text) {
  if (/^failed|not saved/.test(text)) return 'bad';
  if (/^(waiting|applying|starting|stopping)/.test(text)) return 'busy';
  return /^(applied|running|up)\b/.test(text) ? 'good' : 'off';
}

export function State({ text }) {
  if (!text) return null;
  return <span class={`state ${kindOfState(text)}`} lang="en">{text}</span>;
}
