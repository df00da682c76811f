// How the device is reached and which way it takes: addresses, routes, name servers.
import { link } from '../model/routes.js';
import { isSingleton, labelOf, mayAdd } from '../model/schema.js';
import { t } from '../model/texts.js';
import { ObjectForm } from './form.jsx';
import { Loaded, useFresh } from './loading.jsx';
import { NewCard } from './objects.jsx';
import { Heading } from './page.jsx';
import { ObjectCard } from './wireless.jsx';
import { Label, Told } from './told.jsx';

const shown = ['address', 'route', 'resolver', 'dhcp', 'dhcp-pool'];

export function Addresses({ app }) {
  const classes = shown.flatMap((name) => app.schema.concrete(name)).map((name) => app.schema.class(name));
  return (
    <>
      <Heading lead={t('addresses.lead')}>{t('nav.addresses')}</Heading>
      {classes.map((klass) => <Family key={klass.name} app={app} klass={klass} />)}
    </>
  );
}

function Family({ app, klass }) {
  useFresh(app, klass.name);
  const made = app.drafts.inserted(klass.name);
  return (
    <section class="block">
      <h2><Label of={klass} /></h2>
      {klass.help && <p class="lead"><Told>{klass.help}</Told></p>}
      <Loaded app={app} name={klass.name}>
        {(objects) => {
          if (isSingleton(klass)) return objects.map((o) => <section key={o.key} class="card"><ObjectForm app={app} klass={klass} object={o} /></section>);
          return (
            <>
              {objects.length + made.length === 0 && <p class="empty">{t('addresses.empty')}</p>}
              {objects.map((o) => <ObjectCard key={o.key} app={app} object={o} title={o.name} canDelete />)}
              {made.map((draft) => <NewCard key={draft.key} app={app} klass={klass} draft={draft} />)}
              {mayAdd(klass) && <p><a class="button" href={link('add', klass.name)}>{t('objects.addof', { label: labelOf(klass) })}</a></p>}
            </>
          );
        }}
      </Loaded>
    </section>
  );
}
