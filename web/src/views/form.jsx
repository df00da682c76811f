// The form of one object, made of what its class says. What is edited goes into the drafts as it is typed.
import { moment } from '../model/format.js';
import { parted } from '../model/schema.js';
import { t } from '../model/texts.js';
import { Field } from './field.jsx';
import { Label, Told } from './told.jsx';

export const idOf = (...parts) => parts.map((part) => encodeURIComponent(part).replace(/%/g, '_')).join('.');

/** `only` names the properties to show, in that order; all of them without it. */
export function ObjectForm({ app, klass, object, only }) {
  const { settings } = parted(klass);
  const groups = only ? [{ name: '', properties: only.map((n) => app.schema.property(klass.name, n)).filter((p) => p?.writable) }] : settings;
  const isDeleted = app.drafts.get(object.key)?.op === 'delete';
  if (isDeleted) return <Deleted app={app} object={object} />;
  return (
    <form class="object" onSubmit={(event) => event.preventDefault()} noValidate>
      {groups.map(({ name, properties }) => (
        <Group key={name} name={name}>
          {properties.map((p) => <ObjectField key={p.name} {...{ app, klass, object }} property={p} />)}
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

function ObjectField({ app, klass, object, property }) {
  const seen = object.properties[property.name] ?? '';
  const errorKey = `${object.key} ${property.name}`;
  const edit = (value) => {
    app.drafts.set(object, property.name, value);
    app.errors.delete(errorKey);
    app.changed();
  };
  return (
    <Field app={app} klass={klass} property={property} id={idOf(object.class, object.key, property.name)} seen={seen}
      value={app.drafts.valueOf(object, property.name)} fault={app.errors.get(errorKey)} onEdit={edit} onUndo={() => edit(seen)} />
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
