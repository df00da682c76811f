// One property, asked for: its label, what it is, in what unit and within what limits, and what is wrong.
import { Fragment } from 'preact';
import { canBeEmpty, faultIn, inputFor, limitsOf } from '../model/accepts.js';
import { labelOf } from '../model/schema.js';
import { has, t } from '../model/texts.js';
import { Told } from './told.jsx';

const stars = '********';

/** `value` as it will be, `seen` as it is; `fault` is what the device said of it. */
export function Field({ app, klass, property, id, value, seen, fault, onEdit, onUndo }) {
  const input = inputFor(property);
  const isEdited = onUndo && value !== seen;
  const wrong = fault ?? told(isEdited || !onUndo ? faultIn(property, value) : null);
  const label = labelOf(property);
  const limits = hint(property, input);
  const hasHelp = Boolean(property.help || limits);
  const described = [hasHelp && `${id}-help`, wrong && `${id}-fault`].filter(Boolean).join(' ') || undefined;
  const shared = {
    id,
    'aria-describedby': described,
    'aria-invalid': wrong ? 'true' : undefined,
    'aria-required': property.required && input.kind !== 'names' ? 'true' : undefined,
  };
  const isGroup = input.kind === 'names';
  const undo = () => {
    document.getElementById(id)?.focus();
    onUndo();
  };
  const Words = property.isOurs ? Fragment : Told;
  const Frame = isGroup ? 'fieldset' : 'div';
  return (
    <Frame class={`field ${isEdited ? 'edited' : ''} ${wrong ? 'wrong' : ''}`} aria-describedby={isGroup ? described : undefined}>
      {isGroup ? <legend><Words>{label}</Words></legend> : <label for={id}><Words>{label}</Words>{property.required && <small> {t('field.required')}</small>}</label>}
      <div class="input">
        <Input kind={input.kind} {...{ app, input, property, shared, value, seen, onEdit, label, klass }} />
        {property.unit && <span class="unit"><Told>{property.unit}</Told></span>}
        {isEdited && (
          <button class="plain" type="button" aria-label={t('field.undoof', { label })} onClick={undo}>{t('field.undo')}</button>
        )}
      </div>
      {hasHelp && <p class="help" id={`${id}-help`}><Words>{property.help}</Words> {limits}</p>}
      {wrong && <p class="fault" id={`${id}-fault`}>{wrong}</p>}
    </Frame>
  );
}

/** What may be read and not set: everybody comes to it and can copy it; `locked` says why, unless it is null. */
export function LockedField({ property, id, value, locked }) {
  const described = [property.help && `${id}-help`, locked ?? `${id}-locked`].filter(Boolean).join(' ');
  const shared = { id, value: property.secret && value ? t('field.set') : value, readOnly: true, 'aria-describedby': described };
  return (
    <div class="field locked">
      <label for={id}><Told>{labelOf(property)}</Told></label>
      <div class="input">
        {inputFor(property).kind === 'long' ? <textarea {...shared} rows={2} /> : <input {...shared} type="text" />}
        {property.unit && <span class="unit"><Told>{property.unit}</Told></span>}
      </div>
      {property.help && <p class="help" id={`${id}-help`}><Told>{property.help}</Told></p>}
      {!locked && <p class="help" id={`${id}-locked`}>{t('field.locked')}</p>}
    </div>
  );
}

const told = (fault) => fault && t(fault.key, fault.values);

function hint(property, input) {
  const limits = limitsOf(property)
    .map(({ key, values, list, form }) => {
      const text = form && !has(key) ? '' : t(key, values);
      return text && list ? t('limit.list', { limit: text }) : text;
    })
    .filter(Boolean);
  // What can be chosen needs no example.
  if (property.example && !['choice', 'names'].includes(input.kind)) limits.push(t('field.example', { example: property.example }));
  return limits.length > 0 ? `${limits.join('. ')}.` : '';
}

function Input({ kind, ...all }) {
  return inputs[kind](all);
}

const inputs = {
  password: ({ shared, value, seen, onEdit }) => (
    <input {...shared} type="password" autocomplete="new-password" value={value === stars ? '' : value}
      placeholder={seen ? t('field.secret.set') : ''} onInput={(event) => onEdit(event.currentTarget.value || seen)} />
  ),

  choice: ({ app, input, property, shared, value, onEdit }) => {
    const options = [...new Set([...input.words, ...namesOf(app, input.classes)])];
    if (value && !options.includes(value)) options.push(value);
    return (
      <select {...shared} value={value} onChange={(event) => onEdit(event.currentTarget.value)}>
        {(canBeEmpty(property) || value === '') && <option value="">{t('field.unset')}</option>}
        {options.map((option) => <option key={option} value={option}>{option}</option>)}
      </select>
    );
  },

  number: ({ input, shared, value, onEdit }) => (
    <input {...shared} type="number" inputMode="numeric" min={input.min} max={input.max} step={input.step} value={value}
      onInput={(event) => onEdit(numberIn(event.currentTarget))} />
  ),

  names: ({ app, input, shared, value, onEdit, label }) => {
    const chosen = value.split(' ').filter(Boolean);
    const options = [...new Set([...namesOf(app, [input.class]), ...chosen])];
    const toggled = (name) => (event) => {
      const without = chosen.filter((word) => word !== name);
      onEdit((event.currentTarget.checked ? [...without, name] : without).join(' '));
    };
    if (options.length === 0) return <p class="quiet">{t('field.nonames')}</p>;
    return (
      <div class="checks" role="group" aria-label={label}>
        {options.map((name, i) => (
          <label key={name}>
            <input type="checkbox" id={i === 0 ? shared.id : undefined} checked={chosen.includes(name)} onChange={toggled(name)} />
            {name}
          </label>
        ))}
      </div>
    );
  },

  long: ({ shared, value, onEdit }) => (
    <textarea {...shared} rows={2} value={value} onInput={(event) => onEdit(event.currentTarget.value)} />
  ),

  text: ({ app, input, shared, value, onEdit }) => {
    const suggestions = [...new Set([...input.words, ...namesOf(app, input.classes)])];
    const list = suggestions.length > 0 ? `${shared.id}-list` : undefined;
    return (
      <>
        <input {...shared} type="text" list={list} autocomplete="off" autocapitalize="none" spellcheck={false} value={value}
          onInput={(event) => onEdit(event.currentTarget.value)} />
        {list && <datalist id={list}>{suggestions.map((s) => <option key={s} value={s} />)}</datalist>}
      </>
    );
  },
};

/** What is no number at all is empty for the browser; the field must not be taken for one that was emptied. */
const numberIn = (input) => (input.validity.badInput ? '?' : input.value);

/** Names that can be chosen, those of objects that are still to be made included. */
function namesOf(app, classes) {
  return classes
    .filter((name) => app.schema.has(name))
    .flatMap((name) => [
      ...app.objects(name).objects.map((o) => o.name),
      ...app.schema.concrete(name).flatMap((c) => app.drafts.inserted(c).map((d) => d.name)),
    ])
    .filter(Boolean);
}
