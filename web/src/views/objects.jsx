// Every class of the device, generated from what it says of itself.
import { useRef, useState } from 'preact/hooks';
import { faultIn, firstValue } from '../model/accepts.js';
import { link } from '../model/routes.js';
import { isNameless, isSingleton, labelOf, mayAdd, mayDelete, maySet, parted } from '../model/schema.js';
import { t } from '../model/texts.js';
import { Field } from './field.jsx';
import { DeleteButton, Facts, Group, idOf, ObjectForm, State } from './form.jsx';
import { Loaded, useFresh } from './loading.jsx';
import { Heading } from './page.jsx';
import { Label, Sentence, Told } from './told.jsx';

export function Settings({ app }) {
  const [wanted, setWanted] = useState('');
  const text = wanted.trim().toLowerCase();
  const fits = (c) => `${c.name} ${c.label} ${c.help}`.toLowerCase().includes(text) || c.properties.some((p) => `${p.name} ${p.label}`.toLowerCase().includes(text));
  const groups = app.schema.groups().map(([name, classes]) => [name, classes.filter(fits)]).filter(([, classes]) => classes.length > 0);
  return (
    <>
      <Heading lead={t('settings.lead')}>{t('nav.settings')}</Heading>
      <div class="field find">
        <label for="find">{t('settings.filter')}</label>
        <input id="find" type="search" value={wanted} onInput={(event) => setWanted(event.currentTarget.value)} />
      </div>
      {groups.length === 0 && <p class="empty" role="status">{t('settings.nothing', { text: wanted })}</p>}
      {groups.map(([name, classes]) => (
        <section key={name} class="classes">
          <h2>{name ? <Told>{name}</Told> : t('settings.other')}</h2>
          <ul class="tiles">{classes.map((c) => <li key={c.name}><ClassTile klass={c} /></li>)}</ul>
        </section>
      ))}
    </>
  );
}

const ClassTile = ({ klass }) => (
  <a class="tile" href={link('objects', klass.name)}>
    <strong><Label of={klass} /></strong>
    <span class="help">{klass.help ? <Told>{klass.help}</Told> : t('settings.classname', { name: klass.name })}</span>
  </a>
);

export function Objects({ app, rest: [className] }) {
  const klass = app.schema.class(className);
  useFresh(app, className);
  if (!klass) return <Heading>{t('app.nothere')}</Heading>;
  return (
    <>
      <Crumb />
      <Heading told={klass.help}><Label of={klass} /></Heading>
      <Loaded app={app} name={className}>
        {(objects) => (isSingleton(klass) ? <Whole app={app} klass={klass} object={objects[0]} /> : <List app={app} klass={klass} objects={objects} />)}
      </Loaded>
    </>
  );
}

const Crumb = ({ klass }) => (
  <p class="crumb">
    <a href={klass ? link('objects', klass.name) : link('settings')}>{klass ? <Sentence of="objects.back" values={{ label: labelOf(klass) }} /> : t('nav.settings')}</a>
  </p>
);

/** Settings and facts of one object. */
function Whole({ app, klass, object }) {
  if (!object) return <p class="empty">{t('objects.none')}</p>;
  const { settings, facts } = parted(klass);
  return (
    <>
      {settings.length > 0 && <section class="card"><ObjectForm app={app} klass={klass} object={object} /></section>}
      {facts.some((p) => object.properties[p.name]) && (
        <section class="card">
          <h2>{t('objects.facts')}</h2>
          <Facts klass={klass} object={object} />
        </section>
      )}
    </>
  );
}

function List({ app, klass, objects }) {
  const made = app.drafts.inserted(klass.name);
  return (
    <>
      {mayAdd(klass) && <p><a class="button" href={link('add', klass.name)}><Sentence of="objects.addof" values={{ label: labelOf(klass) }} /></a></p>}
      {objects.length + made.length === 0 && <p class="empty">{t('objects.none')}</p>}
      {made.map((draft) => <NewCard key={draft.key} app={app} klass={klass} draft={draft} />)}
      {isNameless(klass) ? <Entries app={app} klass={klass} objects={objects} /> : <Names app={app} klass={klass} objects={objects} />}
    </>
  );
}

export function NewCard({ app, klass, draft }) {
  const object = { ...draft, properties: {} };
  return (
    <section class="card new">
      <div class="cardhead">
        <h2>{draft.name || <Label of={klass} />} <span class="tag">{t('objects.new')}</span></h2>
        <DeleteButton app={app} object={object} name={draft.name || labelOf(klass)} />
      </div>
      <ObjectForm app={app} klass={klass} object={object} />
    </section>
  );
}

const Names = ({ app, klass, objects }) => (
  <ul class="rows">
    {objects.map((object) => (
      <li key={object.key}>
        <a class="row" href={link('objects', klass.name, object.name)}>
          <strong>{object.name}</strong>
          <span class="summary"><Told>{summary(klass, object)}</Told></span>
          <Draft app={app} object={object} />
          <State text={object.properties.state} />
        </a>
      </li>
    ))}
  </ul>
);

function Draft({ app, object }) {
  const op = app.drafts.get(object.key)?.op;
  if (!op) return null;
  return <span class="tag">{op === 'delete' ? t('objects.deleted') : t('objects.edited')}</span>;
}

function summary(klass, object) {
  return parted(klass)
    .settings.flatMap(({ properties }) => properties)
    .filter((p) => !p.secret && object.properties[p.name])
    .slice(0, 3)
    .map((p) => `${labelOf(p)}: ${object.properties[p.name]}${p.unit ? ` ${p.unit}` : ''}`)
    .join(' · ');
}

const Entries = ({ app, klass, objects }) =>
  objects.map((object, i) => {
    const name = object.name || t('objects.unnamed', { number: i + 1 });
    return (
      <section key={object.key} class="card">
        <div class="cardhead">
          <h2>{name}</h2>
          {mayDelete(klass) && <DeleteButton app={app} object={object} name={name} />}
        </div>
        <ObjectForm app={app} klass={klass} object={object} />
        <Facts klass={klass} object={object} />
      </section>
    );
  });

export function ObjectPage({ app, rest: [className, name] }) {
  const klass = app.schema.class(className);
  useFresh(app, className);
  if (!klass) return <Heading>{t('app.nothere')}</Heading>;
  return (
    <>
      <Crumb klass={klass} />
      <Heading told={klass.help}><Label of={klass} /> {name}</Heading>
      <Loaded app={app} name={className}>
        {(objects) => {
          const object = objects.find((o) => o.name === name);
          if (!object) return <p class="empty">{t('objects.gone', { name })}</p>;
          return (
            <>
              <Whole app={app} klass={klass} object={object} />
              {mayDelete(klass) && <p><DeleteButton app={app} object={object} name={name} isWhole /></p>}
            </>
          );
        }}
      </Loaded>
    </>
  );
}

/** A new object: nothing of it is in the change before it is whole. */
export function Add({ app, rest: [className, ...given] }) {
  const klass = app.schema.class(className);
  const preset = Object.fromEntries(given.map((pair) => pair.split('=')));
  const [values, setValues] = useState(() => firstValues(klass, preset));
  const [name, setName] = useState('');
  const [isTried, setTried] = useState(false);
  const form = useRef(null);
  if (!klass || !mayAdd(klass)) return <Heading>{t('app.nothere')}</Heading>;
  const { settings } = parted(klass, isSetInNew);
  const needsName = klass.type !== 'anonymous';
  const nameFault = needsName && faultInName(app, klass, name);
  const submit = (event) => {
    event.preventDefault();
    setTried(true);
    const wrong = nameFault || klass.properties.some((p) => isSetInNew(p) && faultIn(p, values[p.name] ?? ''));
    if (wrong) {
      requestAnimationFrame(() => form.current.querySelector('[aria-invalid]')?.focus());
      return;
    }
    app.drafts.insert(className, needsName ? name : undefined, values);
    app.say(t('pending.count', { count: app.drafts.size }));
    location.hash = link('objects', className);
  };
  return (
    <>
      <Crumb klass={klass} />
      <Heading told={klass.help}><Sentence of="objects.addof" values={{ label: labelOf(klass) }} /></Heading>
      <form class="card object" ref={form} onSubmit={submit} noValidate>
        {needsName && (
          <Field app={app} klass={klass} id="new-name" value={name} seen="" onEdit={setName}
            property={{ name: 'name', label: t('objects.name'), help: t('objects.namehelp'), required: true, isOurs: true }}
            fault={isTried && nameFault ? t(nameFault) : ''} />
        )}
        {settings.map(({ name: group, properties }) => (
          <Group key={group} name={group}>
            {properties.map((p) => {
              const value = values[p.name] ?? '';
              const fault = (isTried || value) && faultIn(p, value);
              return (
                <Field key={p.name} app={app} klass={klass} property={p} id={idOf('new', p.name)} value={value} seen=""
                  fault={fault ? t(fault.key, fault.values) : ''} onEdit={(text) => setValues((old) => ({ ...old, [p.name]: text }))} />
              );
            })}
          </Group>
        ))}
        <p class="actions"><button class="primary">{t('objects.addsubmit')}</button></p>
      </form>
    </>
  );
}

const isSetInNew = (p) => maySet(p, true);

const firstValues = (klass, preset) =>
  Object.fromEntries((klass?.properties ?? []).filter(isSetInNew).map((p) => [p.name, preset[p.name] ?? firstValue(p)]));

function faultInName(app, klass, name) {
  if (!name) return 'fault.required';
  if (isNameless(klass)) return null;
  const isTaken = app.objects(klass.name).objects.some((o) => o.name === name) || app.drafts.inserted(klass.name).some((d) => d.name === name);
  return isTaken ? 'fault.exists' : null;
}
