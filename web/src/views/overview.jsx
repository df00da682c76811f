// What most people come for: is it well, who is on it, what goes through it.
import { useEffect, useState } from 'preact/hooks';
import { bitsPerSecond, bytes, duration } from '../model/format.js';
import { link } from '../model/routes.js';
import { isSingleton, labelOf } from '../model/schema.js';
import { t } from '../model/texts.js';
import { State } from './form.jsx';
import { Loaded, useFresh } from './loading.jsx';
import { Heading } from './page.jsx';
import { Chart } from './chart.jsx';
import { Stations, stationsOf } from './stations.jsx';
import { Table } from './table.jsx';
import { Label } from './told.jsx';

const often = 2000;
const seldom = 10000;

export function Overview({ app }) {
  if (app.schema.classes.length === 0)
    return (
      <>
        <Heading>{t('nav.overview')}</Heading>
        <p class="notice info">{t('rights.none')}</p>
      </>
    );
  return (
    <>
      <Heading>{t('nav.overview')}</Heading>
      <div class="board">
        <Health app={app} />
        {app.schema.has('interface') && <TrafficCard app={app} />}
        {app.schema.has('radio') && <Radios app={app} />}
        {app.schema.has('interface') && <Ports app={app} />}
      </div>
    </>
  );
}

function Health({ app }) {
  const problems = app.status.problems ?? [];
  return (
    <section class="card" aria-labelledby="health">
      <h2 id="health">{t('health.title')}</h2>
      {problems.length === 0 ? (
        <p class="verdict good">{t(app.seesHealth() ? 'health.good' : 'health.unseen')}</p>
      ) : (
        <>
          <p class="verdict bad">{t('health.problems', { count: problems.length })}</p>
          <ul class="problems">{problems.map((p) => <Problem key={`${p.class} ${p.name} ${p.property}`} app={app} problem={p} />)}</ul>
        </>
      )}
      {app.schema.has('system') && <Vital app={app} />}
    </section>
  );
}

function Problem({ app, problem }) {
  const klass = app.schema.class(problem.class);
  const label = klass ? labelOf(klass) : problem.class;
  const name = [label, problem.name].filter(Boolean).join(' ');
  const href = !klass || isSingleton(klass) || !problem.name ? link('objects', problem.class) : link('objects', problem.class, problem.name);
  const advice = problem.class === 'save' ? 'health.save' : /^waiting/.test(problem.detail) ? 'health.waiting' : 'health.failed';
  return (
    <li>
      <strong lang="en">{name}</strong>
      <span class="detail" lang="en">{problem.detail}</span>
      <span class="help">{t(advice)}</span>
      <a href={href}>{t('health.open')}<span class="unseen">: {name}</span></a>
    </li>
  );
}

function Vital({ app }) {
  useFresh(app, 'system', seldom);
  const saved = { saved: 'yes', none: 'yes', held: 'held' }[app.status.save?.result] ?? 'no';
  return (
    <Loaded app={app} name="system">
      {([system]) => {
        const p = system?.properties ?? {};
        const facts = [
          ['health.uptime', p.uptime && duration(Number(p.uptime))],
          ['health.load', p.load],
          ['health.memory', p['memory-total'] && t('health.memory.of', { free: bytes(p['memory-available'] * 1024), total: bytes(p['memory-total'] * 1024) })],
          ['health.saved', app.status.save?.result && t(`health.saved.${saved}`)],
        ];
        return <dl class="facts">{facts.filter(([, value]) => value).map(([key, value]) => <div key={key}><dt>{t(key)}</dt><dd>{value}</dd></div>)}</dl>;
      }}
    </Loaded>
  );
}

function Radios({ app }) {
  useFresh(app, 'radio', seldom);
  useFresh(app, 'station', seldom);
  useFresh(app, 'wireless-network', seldom);
  const networks = app.schema.has('wireless-network') ? app.objects('wireless-network').objects : [];
  const stations = app.schema.has('station') ? app.objects('station').objects : [];
  return (
    <section class="card" aria-labelledby="radios">
      <h2 id="radios">{t('radios.title')}</h2>
      <Loaded app={app} name="radio">
        {(radios) => radios.length === 0 ? <p class="empty">{t('radios.none')}</p> : radios.map((radio) => {
          const own = networks.filter((n) => n.properties.radio === radio.name);
          return (
            <div class="radio" key={radio.key}>
              <div class="cardhead">
                <h3><a href={link('objects', 'radio', radio.name)}>{radio.name}</a></h3>
                <span class="quiet">{t('radios.channel', { channel: radio.properties.channel })}</span>
                <State text={radio.properties.state} />
              </div>
              {own.length === 0 && <p class="quiet">{t('radios.nonetworks')}</p>}
              {own.map((network) => (
                <div class="network" key={network.key}>
                  <div class="cardhead">
                    <h4><a href={link('objects', 'wireless-network', network.name)}>{network.properties.ssid || network.name}</a></h4>
                    <State text={network.properties.state} />
                  </div>
                  <Stations stations={stationsOf(stations, network)} network={network.properties.ssid || network.name} />
                </div>
              ))}
            </div>
          );
        })}
      </Loaded>
    </section>
  );
}

function Ports({ app }) {
  return (
    <section class="card wide" aria-labelledby="ports">
      <h2 id="ports">{t('ports.title')}</h2>
      <Loaded app={app} name="interface">
        {(ports) => ports.length === 0 ? <p class="empty">{t('ports.none')}</p> : (
          <Table
            labelledby="ports"
            columns={[
              { label: t('ports.name') },
              { label: t('ports.kind') },
              { label: t('ports.state') },
              { label: t('ports.received'), class: 'number' },
              { label: t('ports.sent'), class: 'number' },
            ]}
            rows={ports.map(({ key, class: c, name, properties: p }) => ({
              key,
              cells: [
                <a href={link('objects', c, name)}>{name}</a>,
                <Label of={app.schema.class(c)} />,
                <State text={p.state || p.status} />,
                told(p['rx-bytes']),
                told(p['tx-bytes']),
              ],
            }))}
          />
        )}
      </Loaded>
    </section>
  );
}

const told = (counter) => (counter ? bytes(Number(counter)) : '–');

function TrafficCard({ app }) {
  useFresh(app, 'interface', often);
  const { traffic } = app;
  const [chosen, choose] = useState('');
  const { objects: links } = app.objects('interface');
  useEffect(() => {
    const at = Date.now();
    for (const { name, properties: p } of links)
      if (p['rx-bytes']) traffic.add(name, { rx: Number(p['rx-bytes']), tx: Number(p['tx-bytes']) }, at);
  }, [links]);
  const name = chosen || busiest(links);
  const points = traffic.points(name);
  const last = points.at(-1);
  return (
    <section class="card" aria-labelledby="traffic">
      <div class="cardhead">
        <h2 id="traffic">{t('traffic.title')}</h2>
        <select class="plain" aria-label={t('traffic.of')} value={name} onChange={(event) => choose(event.currentTarget.value)}>
          {links.map((l) => <option key={l.name} value={l.name}>{l.name}</option>)}
        </select>
      </div>
      <p class="legend">
        <span class="rx">{t('traffic.received')} <b>{last ? bitsPerSecond(last.rx) : '–'}</b></span>
        <span class="tx">{t('traffic.sent')} <b>{last ? bitsPerSecond(last.tx) : '–'}</b></span>
      </p>
      <Chart points={points} />
    </section>
  );
}

/** Which port to show at first: the one that most has gone through. */
const busiest = (links) =>
  links.reduce((best, l) => (Number(l.properties['rx-bytes']) > Number(best?.properties['rx-bytes'] ?? -1) ? l : best), links[0])?.name ?? '';
