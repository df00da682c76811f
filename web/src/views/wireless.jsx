// Radios with their networks, the settings that people change first.
import { link } from '../model/routes.js';
import { labelOf, mayAdd, mayDelete } from '../model/schema.js';
import { t } from '../model/texts.js';
import { DeleteButton, ObjectForm, State } from './form.jsx';
import { Loaded, useFresh } from './loading.jsx';
import { NewCard } from './objects.jsx';
import { Heading } from './page.jsx';

const ofRadio = ['mode', 'channel', 'power', 'status'];
const ofNetwork = ['ssid', 'security', 'key', 'status', 'hidden', 'bridge'];

export function Wireless({ app }) {
  useFresh(app, 'radio');
  useFresh(app, 'wireless-network');
  const networkClass = app.schema.class('wireless-network');
  if (!app.schema.has('radio')) return <Heading>{t('app.nothere')}</Heading>;
  return (
    <>
      <Heading lead={t('wireless.lead')}>{t('nav.wireless')}</Heading>
      <Loaded app={app} name="radio">
        {(radios) => (
          <>
            {radios.length === 0 && <p class="empty">{t('radios.none')}</p>}
            {radios.map((radio) => (
              <section key={radio.key} class="block">
                <h2>{t('wireless.radio', { name: radio.name })}</h2>
                <ObjectCard app={app} object={radio} only={ofRadio} title={labelOf(app.schema.class('radio'))} />
                {networkClass && <Networks app={app} klass={networkClass} radio={radio.name} radios={radios} />}
              </section>
            ))}
          </>
        )}
      </Loaded>
    </>
  );
}

function Networks({ app, klass, radio }) {
  const made = app.drafts.inserted(klass.name).filter((d) => d.values.radio === radio);
  return (
    <Loaded app={app} name={klass.name}>
      {(networks) => {
        const own = networks.filter((n) => n.properties.radio === radio);
        return (
          <>
            {own.length + made.length === 0 && <p class="empty">{t('radios.nonetworks')}</p>}
            {own.map((n) => <ObjectCard key={n.key} app={app} object={n} only={ofNetwork} title={n.properties.ssid || n.name} canDelete />)}
            {made.map((draft) => <NewCard key={draft.key} app={app} klass={klass} draft={draft} />)}
            {mayAdd(klass) && <p><a class="button" href={link('add', klass.name, `radio=${radio}`)}>{t('wireless.add')}<span class="unseen">: {radio}</span></a></p>}
          </>
        );
      }}
    </Loaded>
  );
}

/** One object with the settings that matter most; the others are a link away. */
export function ObjectCard({ app, object, only, title, canDelete }) {
  const klass = app.schema.class(object.class);
  return (
    <section class="card">
      <div class="cardhead">
        <h3>{title}</h3>
        <State text={object.properties.state} />
        {canDelete && mayDelete(klass) && <DeleteButton app={app} object={object} name={object.name} />}
      </div>
      <ObjectForm app={app} klass={klass} object={object} only={only} />
      {only && <p><a href={link('objects', object.class, object.name)}>{t('objects.more', { name: object.name })}</a></p>}
    </section>
  );
}
